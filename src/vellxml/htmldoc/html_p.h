#ifndef VELLXML_HTMLDOC_HTML_P_H
#define VELLXML_HTMLDOC_HTML_P_H

#include <QString>

#include <cstdint>

class HwXMLElement;
class HwValuable;

namespace vellxml::htmldoc_p {

/// Text as HTML character data: "&", "<", ">" and '"' escaped.
QString escapeHtml(const QString& text);

/// A description comment as HTML. Comments hold the text of their description tag with its markup kept:
/// "<br>" (or "<br/>") is a line break and the XML entities of "&", "<", ">" are already escaped. Line
/// breaks (and plain newlines) become "<br>", the entities "&amp;", "&lt;", "&gt;", "&quot;", "&apos;" and
/// numeric references pass as they are, carriage returns are dropped, and every other "&", "<" or ">" is
/// escaped, so that no markup of the description reaches the page.
QString commentToHtml(const QString& comment);

/// A JavaScript string literal (double quotes), safe inside any script file.
QString jsString(const QString& text);

/// Eight upper-case hexadecimal digits.
QString hex8(std::uint32_t value);

/// A name as a part of an anchor: letters, digits and "_" kept, any other character "_"; "_" when empty.
QString anchorName(const QString& name);

/// The element's path below the page it is documented on (its instance): member names joined by ".",
/// array items by their index, "-" behind a pointer; names reduced to letters, digits and "_". Empty for the
/// instance itself and for any element without parent or directly under an archive.
QString anchorPath(const HwXMLElement* element);

/// The anchor of an element on its page: its base address as eight digits, then "_" and anchorPath()
/// unless that is empty.
QString hrefNameOf(const HwXMLElement* element);

/// The element's path as the debugger writes it, without the instance ("CH[2].CCR"); the name for
/// elements without a path (holes, externals).
QString displayPath(const HwXMLElement* element);

} // namespace vellxml::htmldoc_p

#endif
