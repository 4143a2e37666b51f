#ifndef VELLXML_SVD_SVD_DOCUMENT_P_H
#define VELLXML_SVD_SVD_DOCUMENT_P_H

#include <vellxml/loader/document.h>
#include <vellxml/svd/svd_arena_p.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <pugixml.hpp>

namespace vellxml::svd_p {

/// The text of an SVD file in memory of an arena of its own, which the table of its line starts shares.
struct SvdText {
    SvdArena arena;
    char* data = nullptr;
    std::size_t size = 0;
    /// The bytes copied into a new arena (the old one is given up); false when no memory is left.
    bool assign(const char* bytes, std::size_t n);
};

/// A parsed SVD file with the line starts of its text, for positions.
///
/// Vendor SVD files are large and plain (no document type, no entities): they are parsed with pugixml,
/// whose tree the reader walks and searches directly. The text is parsed inside its own buffer, without
/// the parser's copy of it (the nodes come from the general heap: pugixml takes memory only through
/// process-wide functions, which a library loaded into another program leaves alone). The text an element
/// starts with is kept as the element's own value rather than as a child node (half the nodes of a document
/// of short text elements): child_value() reads it, first_child() does not see it. Positions come from the nodes' byte offsets in
/// the text, turned into 1-based lines and columns (in characters) with a table of line starts taken before
/// the parse changes the text; a column behind a character reference that decodes to a non-ASCII character
/// may be counted off. The checks a hostile file needs (no document type, bounded nesting, unique attribute
/// names) are made here, once.
class SvdXmlDocument {
public:
    SvdXmlDocument() = default;
    SvdXmlDocument(const SvdXmlDocument&) = delete;
    SvdXmlDocument& operator=(const SvdXmlDocument&) = delete;
    ~SvdXmlDocument();

    /// Parses UTF-8 text. On failure gives the 1-based position (0 when not known) and the reason.
    bool parse(SvdText text, const HwLoadLimits& limits, int& line, int& column, QString& error);
    pugi::xml_node documentElement() const { return m_document.document_element(); }
    /// 1-based line and column (in characters) of the start tag of an element.
    void position(const pugi::xml_node& element, int& line, int& column) const;

private:
    void positionOfOffset(std::ptrdiff_t offset, int& line, int& column) const;

    SvdText m_text;
    pugi::xml_document m_document;
    const std::ptrdiff_t* m_lineStarts = nullptr; ///< in the text's arena
    std::size_t m_lines = 0;
};

/// Turns the bytes of an SVD file into UTF-8: UTF-16 with a byte-order mark, or ISO-8859-1 when the
/// declaration says so; a UTF-8 byte-order mark is dropped. False, with the reason, for another encoding.
bool svdTextToUtf8(QByteArray& bytes, QString& error);

} // namespace vellxml::svd_p

#endif
