#ifndef VELLXML_LOADER_TEXT_HELPERS_H
#define VELLXML_LOADER_TEXT_HELPERS_H

#include <vellxml/expr/variables.h>
#include <vellxml/vellxml_export.h>

#include <QString>
#include <QStringList>

class QDomElement;

/// The text of a `comment` element: markup inside it kept as text ("<br/>" becomes "<br>", "&quot;" a
/// double quote), white space collapsed.
VELLXML_EXPORT QString readCommentFromCommentTag(const QDomElement& element);
/// The text of a `cjoker` element: verbatim C code with its white space, entities decoded.
VELLXML_EXPORT QString readCJokerFromCommentTag(const QDomElement& element);

/// A comment as plain text lines, for a terminal or any other reader without HTML: a line break ("<br>",
/// "<br/>", "<br />" in any case, or a new line) starts a line, character references ("&amp;", "&lt;",
/// "&gt;", "&quot;", "&apos;", "&#N;", "&#xN;") become their characters, carriage returns are dropped and
/// each line is trimmed. Empty lines at the start and the end are left out; an empty comment gives none.
VELLXML_EXPORT QStringList commentToPlainLines(const QString& comment);

/// A comment as a block of "///" lines indented by level * 4 blanks, words filled within `width` columns
/// (at least 40 columns of text remain whatever the level). "<br>" starts a new line; empty lines are kept.
VELLXML_EXPORT QString convertCommentToCComment(const QString& text, int width, int level);

/// The blanks that pad `text` to `width` columns; one blank when it is already as long, so two fields never
/// touch.
VELLXML_EXPORT QString space_complement_to(const QString& text, int width);
/// first, padded to `width`, then second and a line break.
VELLXML_EXPORT QString two_fields_line(const QString& first, const QString& second, int width);

/// A new spacer variable "VELLXMLSPACER_<n>" (value 0, direction down, no enum), n counting the calls of
/// the process from 0.
VELLXML_EXPORT HwIntVar generateSpacer();

/// Creates every missing directory of the "/"-separated `path` below `base`. Returns false when one cannot
/// be created.
VELLXML_EXPORT bool recursiveMkdir(const QString& base, const QString& path);

#endif
