#include "xml_element_p.h"

#include "load_seams_p.h"

#include <QRegularExpression>
#include <QVarLengthArray>

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>
#include <string_view>
#include <unordered_set>

namespace {

QString fromPugi(const char* text)
{
    return QString::fromUtf8(text);
}

void appendEscaped(QString& out, const char* text, bool attribute)
{
    for (const QChar c : QString::fromUtf8(text)) {
        switch (c.unicode()) {
        case '&':
            out += QLatin1String("&amp;");
            break;
        case '<':
            out += QLatin1String("&lt;");
            break;
        case '>':
            out += QLatin1String("&gt;");
            break;
        case '"':
            out += QLatin1String("&quot;");
            break;
        case '\r':
            out += QLatin1String("&#xd;");
            break;
        case '\n':
            out += attribute ? QLatin1String("&#xa;") : QLatin1String("\n");
            break;
        default:
            out += c;
        }
    }
}

// Writes markup the way the comment readers expect it: no added white space, empty elements as "<x/>",
// text and attribute values escaped (a double quote as "&quot;", a carriage return as "&#xd;").
void serializeNode(const pugi::xml_node& node, QString& out)
{
    switch (node.type()) {
    case pugi::node_element: {
        out += QLatin1Char('<') + fromPugi(node.name());
        for (const pugi::xml_attribute& attribute : node.attributes()) {
            out += QLatin1Char(' ') + fromPugi(attribute.name()) + QLatin1String("=\"");
            appendEscaped(out, attribute.value(), true);
            out += QLatin1Char('"');
        }
        if (!node.first_child()) {
            out += QLatin1String("/>");
            return;
        }
        out += QLatin1Char('>');
        for (const pugi::xml_node& child : node.children())
            serializeNode(child, out);
        out += QLatin1String("</") + fromPugi(node.name()) + QLatin1Char('>');
        return;
    }
    case pugi::node_pcdata:
        appendEscaped(out, node.value(), false);
        return;
    case pugi::node_cdata:
        out += QLatin1String("<![CDATA[") + fromPugi(node.value()) + QLatin1String("]]>");
        return;
    default:
        return;
    }
}

void collectText(const pugi::xml_node& node, QString& out)
{
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
            out += fromPugi(child.value());
        else if (child.type() == pugi::node_element)
            collectText(child, out);
    }
}

// The parser does not check that attribute names are unique; XML requires it.
bool uniqueAttributes(const pugi::xml_node& node, QString& duplicate)
{
    // Tags have a handful of attributes: compare their names pairwise, gathered once (every step through
    // the parser's list is a call into its library), and hash only a long list.
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
                    duplicate = fromPugi(names[a]);
                    return false;
                }
            }
        }
        return true;
    }
    std::unordered_set<std::string_view> seen;
    for (const pugi::xml_attribute& each : node.attributes()) {
        if (!seen.insert(std::string_view(each.name())).second) {
            duplicate = fromPugi(each.name());
            return false;
        }
    }
    return true;
}

// Tag names and attribute values repeat all over a description ("bits", "rw", "4:0"). Each thread keeps
// the last short text seen in each slot of a small table, so that a repeated one costs a compare and a
// shared copy instead of a conversion and an allocation. Copies of a QString share its data safely across
// threads.
class ShortTextCache {
public:
    template<typename Convert>
    QString get(const char* text, std::size_t length, Convert convert)
    {
        if (length == 0 || length > maxLength)
            return convert(text, length);
        std::uint32_t hash = 2166136261u;
        for (std::size_t i = 0; i < length; ++i)
            hash = (hash ^ static_cast<unsigned char>(text[i])) * 16777619u;
        Slot& slot = m_slots[(hash ^ (hash >> 16)) % slotCount];
        if (slot.length != length || std::memcmp(slot.bytes, text, length) != 0) {
            slot.text = convert(text, length);
            std::memcpy(slot.bytes, text, length);
            slot.length = length;
        }
        return slot.text;
    }

private:
    static constexpr std::size_t maxLength = 16;
    static constexpr std::size_t slotCount = 509;
    struct Slot {
        char bytes[maxLength];
        std::size_t length = 0;
        QString text;
    };
    Slot m_slots[slotCount];
};

QString utf8Text(const char* text, std::size_t length)
{
    return QString::fromUtf8(text, static_cast<qsizetype>(length));
}

QString lowerUtf8Text(const char* text, std::size_t length)
{
    return QString::fromUtf8(text, static_cast<qsizetype>(length)).toLower();
}

QString sizeLimitMessage(std::int64_t limit)
{
    return QStringLiteral("The file is larger than %1 bytes.").arg(limit);
}

// The declared encoding of an XML declaration at the start of the text, empty when none is declared.
QString declaredEncoding(const QByteArray& text)
{
    if (!text.startsWith("<?xml"))
        return QString();
    const int end = text.indexOf("?>");
    if (end < 0)
        return QString();
    static const QRegularExpression pattern(QStringLiteral("encoding\\s*=\\s*[\"']([^\"']*)[\"']"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(text.left(end)));
    return match.hasMatch() ? match.captured(1) : QString();
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

// The plain text of an encrypted archive, or an error. `file` holds the whole file, magic included.
bool decryptArchive(const QByteArray& file, const HwLoadLimits& limits, QByteArray& plain, QString& error)
{
    const std::int64_t fileSize = file.size();
    if (fileSize < static_cast<std::int64_t>(XMD_HEADER_SIZE)) {
        error = QStringLiteral("Encrypted file shorter than its %1-byte header.").arg(XMD_HEADER_SIZE);
        return false;
    }
    const auto* header = reinterpret_cast<const unsigned char*>(file.constData()) + 4;
    const std::uint32_t plainLength = static_cast<std::uint32_t>(header[2])
        | (static_cast<std::uint32_t>(header[3]) << 8) | (static_cast<std::uint32_t>(header[4]) << 16)
        | (static_cast<std::uint32_t>(header[5]) << 24);
    const unsigned char* iv = header + 6;
    const std::int64_t cipherLength = fileSize - static_cast<std::int64_t>(XMD_HEADER_SIZE);
    const std::int64_t expected = (static_cast<std::int64_t>(plainLength) + 15) / 16 * 16;
    if (cipherLength != expected) {
        error = QStringLiteral(
            "Encrypted file declares %1 bytes of plain text but holds %2 bytes of cipher text.")
                    .arg(plainLength)
                    .arg(cipherLength);
        return false;
    }
    // The cipher counts its bytes in an int, whatever limit the caller set.
    const std::int64_t sizeLimit = std::min<std::int64_t>(limits.maxFileSize, INT_MAX - 16);
    if (static_cast<std::int64_t>(plainLength) > sizeLimit) {
        error = sizeLimitMessage(sizeLimit);
        return false;
    }
    plain.resize(static_cast<int>(cipherLength));
    if (cipherLength > 0
        && !AES_Decrypt(reinterpret_cast<const unsigned char*>(file.constData()) + XMD_HEADER_SIZE,
            reinterpret_cast<unsigned char*>(plain.data()), static_cast<int>(cipherLength), iv, nullptr)) {
        error = QStringLiteral("Encrypted file could not be decrypted.");
        return false;
    }
    plain.truncate(static_cast<int>(plainLength));
    // A wrong key gives bytes that are not text; report that rather than a puzzling parse error.
    int first = 0;
    if (plain.startsWith("\xEF\xBB\xBF"))
        first = 3;
    while (first < plain.size() && std::strchr(" \t\r\n", plain[first]) && plain[first] != '\0')
        ++first;
    if (plain.contains('\0') || first >= plain.size() || plain[first] != '<') {
        error = QStringLiteral("Encrypted file does not decrypt to an XML document (wrong key?).");
        return false;
    }
    return true;
}

} // namespace

QString HwXmlElementView::tagName() const
{
    return fromPugi(m_node.name());
}

QString HwXmlElementView::lowerTagName() const
{
    thread_local ShortTextCache lowerNames;
    const char* name = m_node.name();
    return lowerNames.get(name, std::strlen(name), lowerUtf8Text);
}

const char* HwXmlElementView::findAttribute(const char* name) const
{
    if (m_attributeCount == -1) {
        int count = 0;
        pugi::xml_attribute attribute = m_node.first_attribute();
        for (; attribute && count < gatheredAttributes; attribute = attribute.next_attribute()) {
            m_attributeNames[count] = attribute.name();
            m_attributeValues[count] = attribute.value();
            ++count;
        }
        m_attributeCount = attribute ? -2 : count;
    }
    if (m_attributeCount == -2) {
        const pugi::xml_attribute attribute = m_node.attribute(name);
        return attribute ? attribute.value() : nullptr;
    }
    for (int i = 0; i < m_attributeCount; ++i) {
        if (m_attributeNames[i][0] == name[0] && std::strcmp(m_attributeNames[i], name) == 0)
            return m_attributeValues[i];
    }
    return nullptr;
}

QString HwXmlElementView::attribute(const char* name, const QString& fallback) const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteRead(identity(), name);
    const char* value = findAttribute(name);
    if (!value)
        return fallback;
    thread_local ShortTextCache values;
    return values.get(value, std::strlen(value), utf8Text);
}

HwXmlChildElements HwXmlElementView::childElements() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteRead(identity(), nullptr);
    return HwXmlChildElements(m_node, m_document);
}

QString HwXmlElementView::text() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteMarkup(identity());
    QString out;
    collectText(m_node, out);
    return out;
}

QString HwXmlElementView::serialize() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteMarkup(identity());
    QString out;
    serializeNode(m_node, out);
    return out;
}

void HwXmlElementView::attributeNames(std::vector<const char*>& names) const
{
    names.clear();
    for (const pugi::xml_attribute& each : m_node.attributes())
        names.push_back(each.name());
}

std::size_t HwXmlReadRecord::slotOf(const void* node) const
{
    auto key = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(node));
    key = (key ^ (key >> 29)) * 0xBF58476D1CE4E5B9ull;
    key ^= key >> 32;
    const std::size_t mask = m_table.size() - 1;
    std::size_t slot = static_cast<std::size_t>(key) & mask;
    while (m_table[slot].node && m_table[slot].node != node)
        slot = (slot + 1) & mask;
    return slot;
}

void HwXmlReadRecord::reserve(std::size_t elements)
{
    std::size_t size = 1024;
    while (size < elements * 2)
        size *= 2;
    if (size <= m_table.size())
        return;
    std::vector<Entry> old(size);
    old.swap(m_table);
    for (const Entry& entry : old) {
        if (entry.node)
            m_table[slotOf(entry.node)] = entry;
    }
    m_last = nullptr;
}

HwXmlReadRecord::Entry& HwXmlReadRecord::entryOf(const void* node)
{
    // A handler reads one element's attributes one after another.
    if (m_last && m_last->node == node)
        return *m_last;
    if ((m_used + 1) * 2 > m_table.size())
        reserve(m_used + 1);
    Entry& entry = m_table[slotOf(node)];
    if (!entry.node) {
        entry.node = node;
        entry.first = static_cast<std::uint32_t>(m_names.size());
        ++m_used;
    }
    m_last = &entry;
    return entry;
}

void HwXmlReadRecord::noteRead(const void* node, const char* name)
{
    Entry& entry = entryOf(node);
    if (!name)
        return;
    // Names are kept as one run per element; a read that comes back to an element after others moves its
    // run to the end.
    if (entry.first + entry.count != m_names.size()) {
        const auto first = static_cast<std::uint32_t>(m_names.size());
        for (std::uint32_t i = 0; i < entry.count; ++i)
            m_names.push_back(m_names[entry.first + i]);
        entry.first = first;
    }
    m_names.push_back(name);
    ++entry.count;
}

const HwXmlReadRecord::Entry* HwXmlReadRecord::find(const void* node) const
{
    if (m_table.empty())
        return nullptr;
    const Entry& entry = m_table[slotOf(node)];
    return entry.node ? &entry : nullptr;
}

bool HwXmlReadRecord::asked(const Entry& entry, const char* name) const
{
    for (std::uint32_t i = 0; i < entry.count; ++i) {
        if (std::strcmp(m_names[entry.first + i], name) == 0)
            return true;
    }
    return false;
}

std::vector<const char*> HwXmlReadRecord::askedNames(const Entry& entry) const
{
    return std::vector<const char*>(
        m_names.begin() + entry.first, m_names.begin() + entry.first + entry.count);
}

void HwXmlElementView::attributePosition(const char* name, int& line, int& column) const
{
    const std::ptrdiff_t tag = m_node.offset_debug() - 1;
    const std::ptrdiff_t at = m_document->attributeOffset(tag, name);
    m_document->position(at < 0 ? tag : at, line, column);
}

int HwXmlElementView::line() const
{
    int line = 0;
    int column = 0;
    // The element's offset is that of its name; the start tag begins one byte earlier.
    m_document->position(m_node.offset_debug() - 1, line, column);
    return line;
}

int HwXmlElementView::column() const
{
    int line = 0;
    int column = 0;
    m_document->position(m_node.offset_debug() - 1, line, column);
    return column;
}

bool HwXmlDocument::parseText(
    QByteArray utf8, bool inPlace, const HwLoadLimits& limits, int& line, int& column, QString& error)
{
    m_text = std::move(utf8);
    m_inPlace = inPlace;
    m_lineStarts.assign(1, 0);
    m_elementCount = 0;
    const char* const begin = m_text.constData();
    const char* const end = begin + m_text.size();
    std::size_t lines = 1;
    for (const char* at = begin; (at = static_cast<const char*>(std::memchr(at, '\n', end - at))) != nullptr;
         ++at)
        ++lines;
    m_lineStarts.reserve(lines);
    for (const char* at = begin;
         (at = static_cast<const char*>(std::memchr(at, '\n', end - at))) != nullptr;) {
        ++at;
        m_lineStarts.push_back(at - begin);
    }
    line = 0;
    column = 0;
    const unsigned int options = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol
        | pugi::parse_wconv_attribute | pugi::parse_doctype | (inPlace ? pugi::parse_embed_pcdata : 0);
    // The line starts are taken before an in-place parse changes the text.
    const pugi::xml_parse_result result = inPlace
        ? m_document.load_buffer_inplace(
            m_text.data(), static_cast<std::size_t>(m_text.size()), options, pugi::encoding_utf8)
        : m_document.load_buffer(
            m_text.constData(), static_cast<std::size_t>(m_text.size()), options, pugi::encoding_utf8);
    if (!result) {
        position(result.offset, line, column);
        error = fromPugi(result.description());
        return false;
    }
    for (const pugi::xml_node& node : m_document.children()) {
        if (node.type() == pugi::node_doctype && !limits.allowDocumentType) {
            const int at = m_text.indexOf("<!DOCTYPE");
            position(at < 0 ? 0 : at, line, column);
            error = QStringLiteral("A document type declaration is not allowed.");
            return false;
        }
    }
    if (!m_document.document_element()) {
        error = QStringLiteral("No document element found");
        return false;
    }
    // Walk the tree without recursion to bound the nesting that later recursive code will meet.
    int depth = 0;
    QString duplicate;
    pugi::xml_node node = m_document.document_element();
    const pugi::xml_node top = node;
    depth = 1;
    while (node) {
        if (node.type() == pugi::node_element && !uniqueAttributes(node, duplicate)) {
            position(node.offset_debug() - 1, line, column);
            error = QStringLiteral("Duplicate attribute '%1'.").arg(duplicate);
            return false;
        }
        if (node.type() == pugi::node_element)
            ++m_elementCount;
        if (node.type() == pugi::node_element && depth > limits.maxElementDepth) {
            position(node.offset_debug() - 1, line, column);
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

HwXmlElementView HwXmlDocument::documentElement() const
{
    return HwXmlElementView(m_document.document_element(), this);
}

std::ptrdiff_t HwXmlDocument::attributeOffset(std::ptrdiff_t tagOffset, const char* name) const
{
    // The parser keeps no offsets of attributes: look for the name, standing alone and followed by '=',
    // inside the start tag (a '>' inside a quoted value is skipped with the value).
    if (m_inPlace)
        return -1; // the parse has changed the text
    const std::size_t length = std::strlen(name);
    const char* const text = m_text.constData();
    const std::ptrdiff_t size = m_text.size();
    char quote = 0;
    for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(tagOffset, 0) + 1; i < size; ++i) {
        const char c = text[i];
        if (quote) {
            if (c == quote)
                quote = 0;
            continue;
        }
        if (c == '"' || c == '\'')
            quote = c;
        else if (c == '>')
            return -1;
        else if ((c == ' ' || c == '\t' || c == '\n' || c == '\r')
            && i + 1 + static_cast<std::ptrdiff_t>(length) < size
            && std::memcmp(text + i + 1, name, length) == 0) {
            std::ptrdiff_t after = i + 1 + static_cast<std::ptrdiff_t>(length);
            while (after < size
                && (text[after] == ' ' || text[after] == '\t' || text[after] == '\n' || text[after] == '\r'))
                ++after;
            if (after < size && text[after] == '=')
                return i + 1;
        }
    }
    return -1;
}

void HwXmlDocument::position(std::ptrdiff_t offset, int& line, int& column) const
{
    offset = std::clamp<std::ptrdiff_t>(offset, 0, m_text.size());
    const auto next = std::upper_bound(m_lineStarts.begin(), m_lineStarts.end(), offset);
    const std::ptrdiff_t start = *(next - 1);
    line = static_cast<int>(next - m_lineStarts.begin());
    column = 1;
    for (std::ptrdiff_t i = start; i < offset; ++i) {
        // Count characters, not bytes: UTF-8 continuation bytes do not start one.
        if ((static_cast<unsigned char>(m_text.constData()[i]) & 0xC0) != 0x80)
            ++column;
    }
}

namespace vellxml::loader_p {

namespace {

// The bytes of an archive file as the file source delivers them, bounded by the size limit (an encrypted
// file holds its header and up to one block of filler beyond the plain text).
int readFileBytes(const QString& path, const HwLoadLimits& limits, QByteArray& bytes, QString& error)
{
    const std::int64_t maxBytes = limits.maxFileSize > std::numeric_limits<std::int64_t>::max() - 64
        ? limits.maxFileSize
        : limits.maxFileSize + static_cast<std::int64_t>(XMD_HEADER_SIZE) + 16;
    switch (currentFileSource().read(path, maxBytes, bytes)) {
    case FileRead::Ok:
        return READ_OK;
    case FileRead::NotOpened:
        return READ_NOT_OPENED;
    case FileRead::TooLarge:
        error = sizeLimitMessage(limits.maxFileSize);
        return READ_INVALID;
    case FileRead::NotRegular:
        error = QStringLiteral("Not a regular file.");
        return READ_INVALID;
    case FileRead::Failed:
        break;
    }
    error = QStringLiteral("The file could not be read.");
    return READ_INVALID;
}

} // namespace

int readArchiveFile(const QString& path, const HwLoadLimits& limits, QByteArray& utf8, QString& error)
{
    QByteArray bytes;
    if (const int read = readFileBytes(path, limits, bytes, error); read != READ_OK)
        return read;
    if (bytes.startsWith("EXML")) {
        QByteArray plain;
        if (!decryptArchive(bytes, limits, plain, error))
            return READ_INVALID;
        bytes = std::move(plain);
    } else if (bytes.size() > limits.maxFileSize) {
        error = sizeLimitMessage(limits.maxFileSize);
        return READ_INVALID;
    }
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF")) {
        utf8 = utf16ToUtf8(bytes, bytes.startsWith("\xFE\xFF"));
        return READ_OK;
    }
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);
    const QString encoding = declaredEncoding(bytes).toLower();
    if (encoding.isEmpty() || encoding == QLatin1String("utf-8") || encoding == QLatin1String("utf8")) {
        utf8 = std::move(bytes);
        return READ_OK;
    }
    if (encoding == QLatin1String("iso-8859-1") || encoding == QLatin1String("latin1")
        || encoding == QLatin1String("latin-1")) {
        utf8 = QString::fromLatin1(bytes).toUtf8();
        return READ_OK;
    }
    error =
        QStringLiteral("Unsupported encoding '%1' (UTF-8, UTF-16 with a byte-order mark or ISO-8859-1 only).")
            .arg(declaredEncoding(bytes));
    return READ_INVALID;
}

int readEncryptedArchive(const QString& path, const HwLoadLimits& limits, QByteArray& plain, QString& error)
{
    QByteArray bytes;
    if (const int read = readFileBytes(path, limits, bytes, error); read != READ_OK)
        return read;
    if (!bytes.startsWith("EXML")) {
        error = QStringLiteral("Not an encrypted archive (no EXML header).");
        return READ_INVALID;
    }
    return decryptArchive(bytes, limits, plain, error) ? READ_OK : READ_INVALID;
}

QString commentFromMarkup(QString markup)
{
    markup.remove(QStringLiteral("<comment>"));
    markup.remove(QStringLiteral("</comment>"));
    markup.remove(QStringLiteral("<comment/>"));
    markup = markup.simplified();
    markup.replace(QStringLiteral("<br/>"), QStringLiteral("<br>"));
    markup = markup.simplified();
    markup.replace(QStringLiteral("&quot;"), QStringLiteral("\""));
    return markup;
}

QString cjokerFromMarkup(QString markup)
{
    markup.remove(QStringLiteral("<cjoker>"));
    markup.remove(QStringLiteral("</cjoker>"));
    markup.remove(QStringLiteral("<cjoker/>"));
    markup.replace(QStringLiteral("&quot;"), QStringLiteral("\""));
    markup.replace(QStringLiteral("&amp;"), QStringLiteral("&"));
    markup.replace(QStringLiteral("&gt;"), QStringLiteral(">"));
    markup.replace(QStringLiteral("&lt;"), QStringLiteral("<"));
    markup.remove(QStringLiteral("&#xd;"));
    return markup;
}

} // namespace vellxml::loader_p

namespace {

// Nearly every comment is plain text, some with "<br/>" line breaks. For those the markup need not be
// written and then taken apart again: the text is escaped as serializeNode() escapes it, its white space
// collapsed as simplified() collapses it, a break written "<br>" and a double quote kept (commentFromMarkup
// turns "&quot;" back). A carriage return is escaped before the collapsing, so it is no blank. Other
// comments (attributes, other elements, CDATA, another spelling of the tag) take the general way.
bool isPlainBreak(const pugi::xml_node& node)
{
    return node.type() == pugi::node_element && std::strcmp(node.name(), "br") == 0 && !node.first_attribute()
        && !node.first_child();
}

bool plainCommentText(const pugi::xml_node& node, QString& out)
{
    if (std::strcmp(node.name(), "comment") != 0 || node.first_attribute())
        return false;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_pcdata && !isPlainBreak(child))
            return false;
    }
    // Most often the comment is one line of printable ASCII with single blanks and nothing to escape: then
    // it is its own result.
    const pugi::xml_node only = node.first_child();
    if (only && !only.next_sibling() && only.type() == pugi::node_pcdata) {
        const char* const value = only.value();
        bool verbatim = value[0] != ' ';
        std::size_t length = 0;
        for (; verbatim && value[length] != '\0'; ++length) {
            const auto c = static_cast<unsigned char>(value[length]);
            verbatim = c < 0x7F && (c > ' ' || (c == ' ' && value[length + 1] > ' ')) && c != '&' && c != '<'
                && c != '>';
        }
        if (verbatim) {
            out = QString::fromLatin1(value, static_cast<qsizetype>(length));
            return true;
        }
    }
    // Written through a pointer into room for the worst case (every character escaped to five).
    QVarLengthArray<QChar, 512> buffer;
    qsizetype used = 0;
    bool blank = false;
    const auto put = [&buffer, &used](QLatin1String text) {
        for (const char c : text)
            buffer[used++] = QLatin1Char(c);
    };
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_pcdata) {
            buffer.resize(used + 5);
            if (blank)
                buffer[used++] = QLatin1Char(' ');
            blank = false;
            put(QLatin1String("<br>"));
            continue;
        }
        const QString text = QString::fromUtf8(child.value());
        buffer.resize(used + 1 + text.size() * 5);
        for (const QChar c : text) {
            if (c != QLatin1Char('\r') && c.isSpace()) {
                blank = used != 0;
                continue;
            }
            if (blank) {
                buffer[used++] = QLatin1Char(' ');
                blank = false;
            }
            switch (c.unicode()) {
            case '&':
                put(QLatin1String("&amp;"));
                break;
            case '<':
                put(QLatin1String("&lt;"));
                break;
            case '>':
                put(QLatin1String("&gt;"));
                break;
            case '\r':
                put(QLatin1String("&#xd;"));
                break;
            default:
                buffer[used++] = c;
            }
        }
    }
    out = QString(buffer.constData(), used);
    return true;
}

} // namespace

QString readCommentFromCommentTag(const HwXmlElementView& element)
{
    if (HwXmlReadRecord* record = element.readRecord())
        record->noteMarkup(element.identity());
    QString text;
    if (plainCommentText(element.node(), text))
        return text;
    return vellxml::loader_p::commentFromMarkup(element.serialize());
}

QString readCJokerFromCommentTag(const HwXmlElementView& element)
{
    return vellxml::loader_p::cjokerFromMarkup(element.serialize());
}
