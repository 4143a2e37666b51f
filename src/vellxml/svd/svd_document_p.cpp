#include "svd_document_p.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_set>

namespace vellxml::svd_p {

namespace {

// The parser does not check that attribute names are unique; XML requires it.
bool uniqueAttributes(const pugi::xml_node& node, QString& duplicate)
{
    // Tags have a handful of attributes: compare their names pairwise, and hash only a long list.
    constexpr int shortList = 8;
    const char* names[shortList];
    int count = 0;
    pugi::xml_attribute attribute = node.first_attribute();
    for (; attribute && count < shortList; attribute = attribute.next_attribute())
        names[count++] = attribute.name();
    if (!attribute) {
        for (int a = 0; a < count; ++a) {
            for (int b = a + 1; b < count; ++b) {
                if (names[a][0] == names[b][0] && std::strcmp(names[a], names[b]) == 0) {
                    duplicate = QString::fromUtf8(names[a]);
                    return false;
                }
            }
        }
        return true;
    }
    std::unordered_set<std::string_view> seen;
    for (const pugi::xml_attribute& each : node.attributes()) {
        if (!seen.insert(std::string_view(each.name())).second) {
            duplicate = QString::fromUtf8(each.name());
            return false;
        }
    }
    return true;
}

// The declared encoding of an XML declaration at the start of the text, empty when none is declared: the
// first "encoding" in the declaration followed by \s*=\s*["']([^"']*)["'] (ASCII white space), read by hand
// rather than by a regular expression compiled for the one match of an import.
QString declaredEncoding(const QByteArray& text)
{
    if (!text.startsWith("<?xml"))
        return QString();
    const int end = text.indexOf("?>");
    if (end < 0)
        return QString();
    const std::string_view declaration(text.constData(), std::size_t(end));
    auto space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    auto quote = [](char c) { return c == '"' || c == '\''; };
    constexpr std::string_view name = "encoding";
    for (std::size_t at = declaration.find(name); at != std::string_view::npos;
         at = declaration.find(name, at + 1)) {
        std::size_t i = at + name.size();
        while (i < declaration.size() && space(declaration[i]))
            ++i;
        if (i >= declaration.size() || declaration[i] != '=')
            continue;
        ++i;
        while (i < declaration.size() && space(declaration[i]))
            ++i;
        if (i >= declaration.size() || !quote(declaration[i]))
            continue;
        const std::size_t first = ++i;
        while (i < declaration.size() && !quote(declaration[i]))
            ++i;
        if (i < declaration.size())
            return QString::fromLatin1(declaration.data() + first, qsizetype(i - first));
    }
    return QString();
}

QByteArray utf16ToUtf8(const QByteArray& bytes, bool bigEndian)
{
    QString text;
    text.reserve(bytes.size() / 2);
    for (int i = 2; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        text += QChar(static_cast<char16_t>(bigEndian ? (first << 8) | second : (second << 8) | first));
    }
    return text.toUtf8();
}

} // namespace

bool svdTextToUtf8(QByteArray& bytes, QString& error)
{
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF")) {
        bytes = utf16ToUtf8(bytes, bytes.startsWith("\xFE\xFF"));
        return true;
    }
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    const QString encoding = declaredEncoding(bytes).toLower();
    if (encoding.isEmpty() || encoding == QLatin1String("utf-8") || encoding == QLatin1String("utf8"))
        return true;
    if (encoding == QLatin1String("iso-8859-1") || encoding == QLatin1String("latin1")
        || encoding == QLatin1String("latin-1")) {
        bytes = QString::fromLatin1(bytes).toUtf8();
        return true;
    }
    error =
        QStringLiteral("Unsupported encoding '%1' (UTF-8, UTF-16 with a byte-order mark or ISO-8859-1 only).")
            .arg(declaredEncoding(bytes));
    return false;
}

bool SvdText::assign(const char* bytes, std::size_t n)
{
    // The bytes may lie in the arena given up.
    SvdArena fresh;
    auto* const copy = static_cast<char*>(fresh.allocate(n + 1, 1));
    if (copy == nullptr)
        return false;
    std::memcpy(copy, bytes, n);
    copy[n] = 0;
    arena = std::move(fresh);
    data = copy;
    size = n;
    return true;
}

// pugixml takes its nodes through process-wide allocation functions, which a library loaded into another
// program must leave alone: the tree's memory comes from the general heap.
SvdXmlDocument::~SvdXmlDocument() = default;

bool SvdXmlDocument::parse(SvdText text, const HwLoadLimits& limits, int& line, int& column, QString& error)
{
    m_document.reset();
    m_text = std::move(text);
    // One pass over the text into a table in the arena that grows where it lies (nothing else is taken
    // from the arena meanwhile).
    const char* const begin = m_text.data;
    const char* const end = begin + m_text.size;
    std::size_t capacity = m_text.size / 32 + 64;
    auto* starts = static_cast<std::ptrdiff_t*>(
        m_text.arena.allocate(capacity * sizeof(std::ptrdiff_t), alignof(std::ptrdiff_t)));
    std::size_t lines = 0;
    auto add = [&](std::ptrdiff_t start) {
        if (lines == capacity) {
            const std::size_t more = capacity * 2;
            if (!m_text.arena.resize(
                    starts, capacity * sizeof(std::ptrdiff_t), more * sizeof(std::ptrdiff_t))) {
                auto* const moved = static_cast<std::ptrdiff_t*>(
                    m_text.arena.allocate(more * sizeof(std::ptrdiff_t), alignof(std::ptrdiff_t)));
                if (moved == nullptr)
                    return false;
                std::memcpy(moved, starts, lines * sizeof(std::ptrdiff_t));
                starts = moved;
            }
            capacity = more;
        }
        starts[lines++] = start;
        return true;
    };
    bool stored = starts != nullptr && add(0);
    for (const char* at = begin;
         stored && (at = static_cast<const char*>(std::memchr(at, '\n', end - at))) != nullptr;) {
        ++at;
        stored = add(at - begin);
    }
    if (!stored) {
        pugi::xml_parse_result outOfMemory;
        outOfMemory.status = pugi::status_out_of_memory;
        error = QString::fromUtf8(outOfMemory.description());
        return false;
    }
    m_text.arena.resize(starts, capacity * sizeof(std::ptrdiff_t), lines * sizeof(std::ptrdiff_t));
    m_lineStarts = starts;
    m_lines = lines;
    line = 0;
    column = 0;
    const unsigned int options = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol
        | pugi::parse_wconv_attribute | pugi::parse_doctype | pugi::parse_embed_pcdata;
    // The line starts are taken before the parse changes the text.
    const pugi::xml_parse_result result
        = m_document.load_buffer_inplace(m_text.data, m_text.size, options, pugi::encoding_utf8);
    if (!result) {
        positionOfOffset(result.offset, line, column);
        error = QString::fromUtf8(result.description());
        return false;
    }
    // This parser would leave a document type's entities and defaults unapplied: an SVD file has none.
    for (const pugi::xml_node& node : m_document.children()) {
        if (node.type() == pugi::node_doctype) {
            const std::string_view whole(m_text.data, m_text.size);
            const std::size_t at = whole.find("<!DOCTYPE");
            positionOfOffset(at == std::string_view::npos ? 0 : std::ptrdiff_t(at), line, column);
            error = QStringLiteral("A document type declaration is not allowed.");
            return false;
        }
    }
    if (!m_document.document_element()) {
        error = QStringLiteral("No document element found");
        return false;
    }
    // Walk the tree without recursion to bound the nesting that later recursive code will meet.
    QString duplicate;
    pugi::xml_node node = m_document.document_element();
    const pugi::xml_node top = node;
    int depth = 1;
    while (node) {
        if (node.type() == pugi::node_element && !uniqueAttributes(node, duplicate)) {
            position(node, line, column);
            error = QStringLiteral("Duplicate attribute '%1'.").arg(duplicate);
            return false;
        }
        if (node.type() == pugi::node_element && depth > limits.maxElementDepth) {
            position(node, line, column);
            error = QStringLiteral("Elements are nested deeper than %1 levels.").arg(limits.maxElementDepth);
            return false;
        }
        if (node.first_child()) {
            node = node.first_child();
            ++depth;
            continue;
        }
        while (node && node != top && !node.next_sibling()) {
            node = node.parent();
            --depth;
        }
        if (!node || node == top)
            break;
        node = node.next_sibling();
    }
    return true;
}

void SvdXmlDocument::position(const pugi::xml_node& element, int& line, int& column) const
{
    // The element's offset is that of its name; the start tag begins one byte earlier.
    positionOfOffset(element.offset_debug() - 1, line, column);
}

void SvdXmlDocument::positionOfOffset(std::ptrdiff_t offset, int& line, int& column) const
{
    offset = std::clamp<std::ptrdiff_t>(offset, 0, std::ptrdiff_t(m_text.size));
    const auto next = std::upper_bound(m_lineStarts, m_lineStarts + m_lines, offset);
    const std::ptrdiff_t start = *(next - 1);
    line = static_cast<int>(next - m_lineStarts);
    column = 1;
    for (std::ptrdiff_t i = start; i < offset; ++i) {
        // Count characters, not bytes: UTF-8 continuation bytes do not start one.
        if ((static_cast<unsigned char>(m_text.data[i]) & 0xC0) != 0x80)
            ++column;
    }
}

} // namespace vellxml::svd_p
