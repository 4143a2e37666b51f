#ifndef VELLXML_SVD_SVD_DOCUMENT_P_H
#define VELLXML_SVD_SVD_DOCUMENT_P_H

#include <vellxml/loader/document.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <pugixml.hpp>
#include <utility>
#include <vector>

namespace vellxml::svd_p {

/// A parsed SVD file with the line starts of its text, for positions.
///
/// Vendor SVD files are large and plain (no document type, no entities): they are parsed with pugixml,
/// whose tree the reader walks and searches directly. Positions come from the nodes' byte offsets in the
/// text, turned into 1-based lines and columns (in characters) with a table of line starts. The checks a
/// hostile file needs (no document type, bounded nesting, unique attribute names) are made here, once.
class SvdXmlDocument {
public:
    /// Parses UTF-8 text. On failure gives the 1-based position (0 when not known) and the reason.
    bool parse(QByteArray utf8, const HwLoadLimits& limits, int& line, int& column, QString& error)
    {
        return parseText(std::move(utf8), false, limits, line, column, error);
    }
    /// Parses UTF-8 text inside its own buffer, without the parser's copy of it, for a large text read
    /// once, as an imported file is. The parse changes the text, so a column behind a character reference
    /// that decodes to a non-ASCII character may be counted off. The text an element starts with is kept as
    /// the element's own value rather than as a child node (half the nodes of a document of short text
    /// elements): child_value() reads it, first_child() does not see it.
    bool parseInPlace(QByteArray utf8, const HwLoadLimits& limits, int& line, int& column, QString& error)
    {
        return parseText(std::move(utf8), true, limits, line, column, error);
    }
    pugi::xml_node documentElement() const { return m_document.document_element(); }
    /// 1-based line and column (in characters) of the start tag of an element.
    void position(const pugi::xml_node& element, int& line, int& column) const;

private:
    bool parseText(
        QByteArray utf8, bool inPlace, const HwLoadLimits& limits, int& line, int& column, QString& error);
    void positionOfOffset(std::ptrdiff_t offset, int& line, int& column) const;

    QByteArray m_text;
    pugi::xml_document m_document;
    std::vector<std::ptrdiff_t> m_lineStarts;
};

/// Turns the bytes of an SVD file into UTF-8: UTF-16 with a byte-order mark, or ISO-8859-1 when the
/// declaration says so; a UTF-8 byte-order mark is dropped. False, with the reason, for another encoding.
bool svdTextToUtf8(QByteArray& bytes, QString& error);

} // namespace vellxml::svd_p

#endif
