#include "xml_element_p.h"

#include "load_seams_p.h"
#include "xml_builder_p.h"

#include <vellxml/text_store_p.h>

#include <QVarLengthArray>

// expat declares its entity-expansion bounds only for builds that read document types, as Debian's does.
#define XML_DTD
#include <expat.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>
#include <string>

namespace {

QString fromUtf8Text(const char* text)
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
void serializeNode(const HwXmlDocument& document, std::int32_t index, QString& out)
{
    const HwXmlNode& node = document.node(index);
    switch (node.kind) {
    case HwXmlNode::Element: {
        out += QLatin1Char('<') + fromUtf8Text(node.name);
        for (std::int32_t a = 0; a < node.attributeCount; ++a) {
            const HwXmlAttribute& attribute = document.attribute(node.firstAttribute + a);
            out += QLatin1Char(' ') + fromUtf8Text(attribute.name) + QLatin1String("=\"");
            appendEscaped(out, attribute.value, true);
            out += QLatin1Char('"');
        }
        if (node.firstChild < 0) {
            out += QLatin1String("/>");
            return;
        }
        out += QLatin1Char('>');
        for (std::int32_t child = node.firstChild; child >= 0; child = document.node(child).nextSibling)
            serializeNode(document, child, out);
        out += QLatin1String("</") + fromUtf8Text(node.name) + QLatin1Char('>');
        return;
    }
    case HwXmlNode::Text:
        appendEscaped(out, node.name, false);
        return;
    case HwXmlNode::CData:
        out += QLatin1String("<![CDATA[") + fromUtf8Text(node.name) + QLatin1String("]]>");
        return;
    }
}

void collectText(const HwXmlDocument& document, std::int32_t index, QString& out)
{
    for (std::int32_t child = document.node(index).firstChild; child >= 0;
         child = document.node(child).nextSibling) {
        const HwXmlNode& node = document.node(child);
        if (node.kind == HwXmlNode::Element)
            collectText(document, child, out);
        else
            out += QString::fromUtf8(node.name, static_cast<qsizetype>(node.length));
    }
}

// Tag names and attribute values repeat all over a description ("bits", "rw", "4:0"). A document keeps
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
    return fromUtf8Text(m_document->node(m_index).name);
}

struct HwXmlDocument::TextCaches {
    ShortTextCache lowerNames;
    ShortTextCache values;
    ShortTextCache names; ///< values of "name" attributes, in the text store
};

HwXmlDocument::TextCaches& HwXmlDocument::textCaches() const
{
    if (!m_textCaches)
        m_textCaches = std::make_unique<TextCaches>();
    return *m_textCaches;
}

QString HwXmlElementView::lowerTagName() const
{
    const HwXmlNode& node = m_document->node(m_index);
    return m_document->textCaches().lowerNames.get(node.name, node.length, lowerUtf8Text);
}

bool HwXmlElementView::hasTag(QLatin1String lowerName) const
{
    // Outside ASCII, lower case may change the length (U+212A KELVIN SIGN is "k"): ask Qt.
    if (!m_document->asciiNames())
        return lowerTagName() == lowerName;
    const HwXmlNode& node = m_document->node(m_index);
    if (static_cast<qsizetype>(node.length) != lowerName.size())
        return false;
    for (std::size_t i = 0; i < node.length; ++i) {
        const auto c = static_cast<unsigned char>(node.name[i]);
        if ((c >= 'A' && c <= 'Z' ? c | 0x20 : c) != static_cast<unsigned char>(lowerName.data()[i]))
            return false;
    }
    return true;
}

QString HwXmlElementView::attribute(const char* name, const QString& fallback) const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteRead(m_index, name);
    const HwXmlNode& node = m_document->node(m_index);
    for (std::int32_t a = 0; a < node.attributeCount; ++a) {
        const HwXmlAttribute& attribute = m_document->attribute(node.firstAttribute + a);
        if (attribute.name[0] != name[0] || std::strcmp(attribute.name, name) != 0)
            continue;
        vellxml::text_p::TextStore* store = m_document->textStore();
        if (store && std::strcmp(name, "name") == 0) {
            return m_document->textCaches().names.get(attribute.value, attribute.valueLength,
                [store](const char* text, std::size_t length) { return store->keepUtf8(text, length); });
        }
        return m_document->textCaches().values.get(attribute.value, attribute.valueLength, utf8Text);
    }
    return fallback;
}

std::string_view HwXmlElementView::attributeUtf8(const char* name) const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteRead(m_index, name);
    const HwXmlNode& node = m_document->node(m_index);
    for (std::int32_t a = 0; a < node.attributeCount; ++a) {
        const HwXmlAttribute& attribute = m_document->attribute(node.firstAttribute + a);
        if (attribute.name[0] == name[0] && std::strcmp(attribute.name, name) == 0)
            return std::string_view(attribute.value ? attribute.value : "", attribute.valueLength);
    }
    return std::string_view();
}

QString HwXmlElementView::valueText(std::string_view value) const
{
    return m_document->textCaches().values.get(value.data(), value.size(), utf8Text);
}

QString HwXmlElementView::kept(const QString& text) const
{
    vellxml::text_p::TextStore* store = m_document->textStore();
    return store ? store->keep(text) : text;
}

HwXmlChildElements HwXmlElementView::childElements() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteRead(m_index, nullptr);
    return HwXmlChildElements(m_document, m_index);
}

QString HwXmlElementView::text() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteMarkup(m_index);
    QString out;
    collectText(*m_document, m_index, out);
    return out;
}

QString HwXmlElementView::serialize() const
{
    if (HwXmlReadRecord* record = m_document->readRecord())
        record->noteMarkup(m_index);
    QString out;
    serializeNode(*m_document, m_index, out);
    return out;
}

void HwXmlElementView::attributeNames(std::vector<const char*>& names) const
{
    names.clear();
    const HwXmlNode& node = m_document->node(m_index);
    for (std::int32_t a = 0; a < node.attributeCount; ++a)
        names.push_back(m_document->attribute(node.firstAttribute + a).name);
}

void HwXmlElementView::attributePosition(const char* name, int& line, int& column) const
{
    const HwXmlNode& node = m_document->node(m_index);
    if (!m_document->attributePosition(node, name, line, column))
        m_document->position(node, line, column);
}

void HwXmlReadRecord::reserve(std::size_t nodes)
{
    if (nodes > m_entries.size())
        m_entries.resize(nodes);
}

HwXmlReadRecord::Entry& HwXmlReadRecord::entryOf(std::int32_t node)
{
    const auto at = static_cast<std::size_t>(node);
    if (at >= m_entries.size())
        m_entries.resize(std::max(at + 1, m_entries.size() * 2));
    Entry& entry = m_entries[at];
    if (!entry.read) {
        entry.read = true;
        entry.first = static_cast<std::uint32_t>(m_names.size());
    }
    return entry;
}

void HwXmlReadRecord::noteRead(std::int32_t node, const char* name)
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

const HwXmlReadRecord::Entry* HwXmlReadRecord::find(std::int32_t node) const
{
    const auto at = static_cast<std::size_t>(node);
    return at < m_entries.size() && m_entries[at].read ? &m_entries[at] : nullptr;
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

int HwXmlElementView::line() const
{
    int line = 0;
    int column = 0;
    m_document->position(m_document->node(m_index), line, column);
    return line;
}

int HwXmlElementView::column() const
{
    int line = 0;
    int column = 0;
    m_document->position(m_document->node(m_index), line, column);
    return column;
}

// Counted as the parser counts: a line ends at a line feed, a carriage return and line feed, or a lone
// carriage return; a column is a character (a UTF-8 sequence is one).
void HwXmlDocument::position(const HwXmlNode& node, int& line, int& column) const
{
    if (node.line > 0) {
        line = node.line;
        column = node.column;
        return;
    }
    positionOfOffset(node.offset, line, column);
}

void HwXmlDocument::positionOfOffset(std::int64_t at, int& line, int& column) const
{
    const char* const text = m_text.constData();
    const std::int64_t size = m_text.size();
    if (m_lineStarts.empty()) {
        m_lineStarts.push_back(m_text.startsWith("\xEF\xBB\xBF") ? 3 : 0);
        for (std::int64_t i = 0; i < size; ++i) {
            if (text[i] == '\n' || (text[i] == '\r' && (i + 1 == size || text[i + 1] != '\n')))
                m_lineStarts.push_back(i + 1);
        }
    }
    const std::int64_t offset = std::clamp<std::int64_t>(at, m_lineStarts.front(), size);
    const auto next = std::upper_bound(m_lineStarts.begin(), m_lineStarts.end(), offset);
    line = static_cast<int>(next - m_lineStarts.begin());
    column = 1;
    for (std::int64_t i = *(next - 1); i < offset; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            ++column;
    }
}

bool HwXmlDocument::attributePosition(const HwXmlNode& node, const char* name, int& line, int& column) const
{
    // Only an element whose "<" was found in a UTF-8 text has its start tag there to be searched: the
    // parser keeps no offsets of attributes. Look for the name, standing alone and followed by '=', inside
    // the start tag (a '>' inside a quoted value is skipped with the value). A default the document type
    // supplied is not in the tag.
    if (node.line > 0)
        return false;
    const std::size_t length = std::strlen(name);
    const char* const text = m_text.constData();
    const std::int64_t size = m_text.size();
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    char quote = 0;
    for (std::int64_t i = node.offset + 1; i < size; ++i) {
        const char c = text[i];
        if (quote) {
            if (c == quote)
                quote = 0;
            continue;
        }
        if (c == '"' || c == '\'')
            quote = c;
        else if (c == '>')
            return false;
        else if (isBlank(c) && i + 1 + static_cast<std::int64_t>(length) < size
            && std::memcmp(text + i + 1, name, length) == 0) {
            std::int64_t after = i + 1 + static_cast<std::int64_t>(length);
            while (after < size && isBlank(text[after]))
                ++after;
            if (after < size && text[after] == '=') {
                positionOfOffset(i + 1, line, column);
                return true;
            }
        }
    }
    return false;
}

std::string HwXmlDocument::differenceFrom(const HwXmlDocument& other) const
{
    const auto say = [](std::size_t index, const char* what) {
        return "node " + std::to_string(index) + ": " + what;
    };
    const auto sameText = [](const char* a, const char* b, std::size_t length) {
        return std::memcmp(a, b, length) == 0 && a[length] == '\0' && b[length] == '\0';
    };
    if (m_nodes.size() != other.m_nodes.size())
        return "node count " + std::to_string(m_nodes.size()) + " against " + std::to_string(other.m_nodes.size());
    if (m_documentElement != other.m_documentElement)
        return "document element";
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        const HwXmlNode& a = m_nodes[i];
        const HwXmlNode& b = other.m_nodes[i];
        if (a.kind != b.kind)
            return say(i, "kind");
        if (a.length != b.length || !sameText(a.name, b.name, a.length))
            return say(i, "name or text \"") + std::string(a.name, a.length) + "\" against \""
                + std::string(b.name, b.length) + "\"";
        if (a.firstChild != b.firstChild || a.nextSibling != b.nextSibling)
            return say(i, "links");
        if (a.firstAttribute != b.firstAttribute || a.attributeCount != b.attributeCount)
            return say(i, "attribute run");
        int lineA = 0;
        int columnA = 0;
        int lineB = 0;
        int columnB = 0;
        position(a, lineA, columnA);
        other.position(b, lineB, columnB);
        if (lineA != lineB || columnA != columnB)
            return say(i, "position");
        for (std::int32_t n = 0; n < a.attributeCount; ++n) {
            const HwXmlAttribute& x = attribute(a.firstAttribute + n);
            const HwXmlAttribute& y = other.attribute(b.firstAttribute + n);
            if (std::strcmp(x.name, y.name) != 0)
                return say(i, "attribute name");
            if (x.valueLength != y.valueLength || !sameText(x.value, y.value, x.valueLength))
                return say(i, "attribute value \"") + std::string(x.value, x.valueLength) + "\" against \""
                    + std::string(y.value, y.valueLength) + "\"";
        }
    }
    if (m_attributes.size() != other.m_attributes.size())
        return "attribute count";
    return std::string();
}

HwXmlDocument::HwXmlDocument() = default;
HwXmlDocument::~HwXmlDocument() = default;

void HwXmlDocument::newBlock(std::size_t length)
{
    // Texts share blocks; a long one has a block of its own.
    constexpr std::size_t blockSize = 64 * 1024;
    const std::size_t size = std::max(blockSize, length + 1);
    m_blocks.push_back(std::unique_ptr<char[]>(new char[size])); // written before read: not cleared
    m_free = m_blocks.back().get();
    m_freeLength = size;
}

// expat's callbacks, passed on to the builder. A limit of ours stops the parser, with its own message.
struct HwXmlExpatEvents {
    HwXmlExpatEvents(HwXmlBuilder& target, XML_Parser xmlParser)
        : builder(target)
        , parser(xmlParser)
    {
    }

    HwXmlBuilder& builder;
    XML_Parser parser;
    // A limit of ours stopped the parser: its message and place.
    QString stopReason;
    int stopLine = 0;
    int stopColumn = 0;

    // The parser's 1-based column, the byte-order mark (which it counts on the first line) left out.
    std::int32_t parserColumn(std::int32_t line) const
    {
        const auto column = static_cast<std::int32_t>(XML_GetCurrentColumnNumber(parser)) + 1;
        const QByteArray& text = builder.document.m_text;
        const bool mark =
            text.startsWith("\xEF\xBB\xBF") || text.startsWith("\xFF\xFE") || text.startsWith("\xFE\xFF");
        return line == 1 && mark && column > 1 ? column - 1 : column;
    }

    static void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes)
    {
        auto* self = static_cast<HwXmlExpatEvents*>(data);
        const HwXmlDocument& document = self->builder.document;
        HwXmlNode node;
        // A UTF-8 text keeps the offset of the "<" alone: most positions are never asked for. Elsewhere
        // (other encodings, elements that an entity's text holds) the parser's position is taken now.
        node.offset = XML_GetCurrentByteIndex(self->parser);
        if (!document.m_utf8 || node.offset < 0 || node.offset >= document.m_text.size()
            || document.m_text.constData()[node.offset] != '<') {
            node.line = static_cast<std::int32_t>(XML_GetCurrentLineNumber(self->parser));
            node.column = self->parserColumn(node.line);
        }
        if (self->builder.atDepthLimit()) {
            self->stopReason =
                QStringLiteral("Elements are nested deeper than %1 levels.").arg(self->builder.maxDepth);
            document.position(node, self->stopLine, self->stopColumn);
            XML_StopParser(self->parser, XML_FALSE);
            return;
        }
        self->builder.startElement(node, name, std::strlen(name));
        for (const XML_Char** attribute = attributes; *attribute; attribute += 2)
            self->builder.attribute(attribute[0], std::strlen(attribute[0]), attribute[1], std::strlen(attribute[1]));
    }

    static void XMLCALL endElement(void* data, const XML_Char*)
    {
        static_cast<HwXmlExpatEvents*>(data)->builder.endElement();
    }

    static void XMLCALL characters(void* data, const XML_Char* text, int length)
    {
        static_cast<HwXmlExpatEvents*>(data)->builder.characters(text, static_cast<std::size_t>(length));
    }

    static void XMLCALL startCData(void* data) { static_cast<HwXmlExpatEvents*>(data)->builder.startCData(); }

    static void XMLCALL endCData(void* data) { static_cast<HwXmlExpatEvents*>(data)->builder.endCData(); }
};

namespace {

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// Whether the text is UTF-8 as the parser will read it: no UTF-16 byte-order mark or layout, and no
// encoding declared other than UTF-8.
bool isUtf8(const QByteArray& text)
{
    if (text.startsWith("\xFE\xFF") || text.startsWith("\xFF\xFE") || text.startsWith(QByteArray("<\0", 2))
        || text.startsWith(QByteArray("\0<", 2)))
        return false;
    const QByteArray start = text.startsWith("\xEF\xBB\xBF") ? text.mid(3, 200) : text.left(200);
    if (!start.startsWith("<?xml"))
        return true;
    const int end = start.indexOf("?>");
    const int encoding = start.indexOf("encoding");
    if (encoding < 0 || (end >= 0 && encoding > end))
        return true;
    int value = encoding + 8;
    while (value < start.size() && (start[value] == ' ' || start[value] == '=' || start[value] == '\t'
               || start[value] == '\r' || start[value] == '\n'))
        ++value;
    if (value >= start.size() || (start[value] != '"' && start[value] != '\''))
        return false;
    const QByteArray name = start.mid(value + 1, 5).toLower();
    return name == "utf-8" && value + 6 < start.size() && start[value + 6] == start[value];
}

// Entity expansion may multiply the text at most this many times once it passes the threshold: expat's own
// defaults, stated here so that they hold whatever the library's build chose.
constexpr float maxAmplification = 100.0f;
constexpr unsigned long long amplificationThreshold = 8 * 1024 * 1024;

} // namespace

void HwXmlDocument::clearTables()
{
    m_nodes.clear();
    m_attributes.clear();
    m_blocks.clear();
    m_free = nullptr;
    m_freeLength = 0;
    m_documentElement = -1;
}

void HwXmlDocument::reset(const QByteArray& bytes)
{
    clearTables();
    m_lineStarts.clear();
    m_text = bytes;
    m_utf8 = isUtf8(bytes);
    m_asciiNames = false;
    // Room for a description's usual density (an element of a few attributes every few dozen bytes), so
    // that the tables are not copied as they grow.
    m_nodes.reserve(static_cast<std::size_t>(bytes.size() / 32));
    m_attributes.reserve(static_cast<std::size_t>(bytes.size() / 24));
}

bool HwXmlDocument::parse(
    const QByteArray& bytes, const HwLoadLimits& limits, int& line, int& column, QString& error)
{
    line = 0;
    column = 0;
    return parseFast(bytes, limits) || parseWithExpat(bytes, limits, line, column, error);
}

bool HwXmlDocument::parseWithExpat(
    const QByteArray& bytes, const HwLoadLimits& limits, int& line, int& column, QString& error)
{
    reset(bytes);
    line = 0;
    column = 0;
    const std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreate(nullptr));
    if (!parser) {
        error = QStringLiteral("Out of memory.");
        return false;
    }
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser.get(), maxAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser.get(), amplificationThreshold);
    // External DTDs and parameter entities are never read (this is also expat's default).
    XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);
    HwXmlBuilder builder(*this, std::max(limits.maxElementDepth, 0));
    HwXmlExpatEvents events(builder, parser.get());
    XML_SetUserData(parser.get(), &events);
    XML_SetElementHandler(parser.get(), HwXmlExpatEvents::startElement, HwXmlExpatEvents::endElement);
    XML_SetCharacterDataHandler(parser.get(), HwXmlExpatEvents::characters);
    XML_SetCdataSectionHandler(parser.get(), HwXmlExpatEvents::startCData, HwXmlExpatEvents::endCData);

    // Fed in small pieces: the parser copies what it is given into a buffer of its own, which then stays
    // small and in the cache instead of growing to the size of the file. It keeps its position across them.
    constexpr qsizetype piece = 256 * 1024;
    const char* data = bytes.constData();
    qsizetype left = bytes.size();
    XML_Status status = XML_STATUS_OK;
    do {
        const qsizetype now = std::min(left, piece);
        status = XML_Parse(parser.get(), data, static_cast<int>(now), now == left ? XML_TRUE : XML_FALSE);
        data += now;
        left -= now;
    } while (status == XML_STATUS_OK && left > 0);
    if (status == XML_STATUS_OK)
        return true;
    if (!events.stopReason.isEmpty()) {
        line = events.stopLine;
        column = events.stopColumn;
        error = events.stopReason;
    } else {
        line = static_cast<int>(XML_GetCurrentLineNumber(parser.get()));
        column = events.parserColumn(line);
        error = QString::fromUtf8(XML_ErrorString(XML_GetErrorCode(parser.get())));
    }
    clearTables();
    return false;
}

namespace vellxml::loader_p {

namespace {

// The bytes of an archive file as the file source delivers them, bounded by the size limit (an encrypted
// file holds its header and up to one block of filler beyond the plain text).
int readFileBytes(const QString& path, const HwLoadLimits& limits, QByteArray& bytes, QString& error,
    const std::function<char*(std::int64_t)>* room = nullptr)
{
    const std::int64_t maxBytes = limits.maxFileSize > std::numeric_limits<std::int64_t>::max() - 64
        ? limits.maxFileSize
        : limits.maxFileSize + static_cast<std::int64_t>(XMD_HEADER_SIZE) + 16;
    FileSource& source = currentFileSource();
    switch (room != nullptr ? source.readInto(path, maxBytes, *room, bytes)
                            : source.read(path, maxBytes, bytes)) {
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

int readArchiveFile(const QString& path, const HwLoadLimits& limits, QByteArray& bytes, QString& error,
    const std::function<char*(std::int64_t)>* room)
{
    if (const int read = readFileBytes(path, limits, bytes, error, room); read != READ_OK)
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
    return READ_OK;
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
bool isPlainBreak(const HwXmlNode& node)
{
    return node.kind == HwXmlNode::Element && std::strcmp(node.name, "br") == 0 && node.attributeCount == 0
        && node.firstChild < 0;
}

// The text goes into the document's text store when it has one.
bool plainCommentText(const HwXmlDocument& document, std::int32_t index, QString& out)
{
    const HwXmlNode& node = document.node(index);
    if (std::strcmp(node.name, "comment") != 0 || node.attributeCount != 0)
        return false;
    for (std::int32_t child = node.firstChild; child >= 0; child = document.node(child).nextSibling) {
        if (document.node(child).kind != HwXmlNode::Text && !isPlainBreak(document.node(child)))
            return false;
    }
    // Most often the comment is one line of printable ASCII with single blanks and nothing to escape: then
    // it is its own result.
    if (node.firstChild >= 0 && document.node(node.firstChild).nextSibling < 0
        && document.node(node.firstChild).kind == HwXmlNode::Text) {
        // Printable ASCII other than the three characters escaped; a blank is one when a character of
        // these follows it.
        struct Printable {
            bool of[256];
        };
        static constexpr Printable printable = [] {
            Printable table {};
            for (int c = '!'; c < 0x7F; ++c)
                table.of[c] = c != '&' && c != '<' && c != '>';
            return table;
        }();
        const HwXmlNode& textNode = document.node(node.firstChild);
        const char* const value = textNode.name;
        const std::size_t length = textNode.length;
        bool verbatim = value[0] != ' ';
        for (std::size_t i = 0; verbatim && i < length; ++i) {
            const auto c = static_cast<unsigned char>(value[i]);
            verbatim = c == ' ' ? printable.of[static_cast<unsigned char>(value[i + 1])] : printable.of[c];
        }
        if (verbatim) {
            // Printable ASCII alone: the same characters as UTF-8 and as Latin-1.
            vellxml::text_p::TextStore* store = document.textStore();
            out = store ? store->keepUtf8(value, length)
                        : QString::fromLatin1(value, static_cast<qsizetype>(length));
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
    for (std::int32_t child = node.firstChild; child >= 0; child = document.node(child).nextSibling) {
        if (document.node(child).kind != HwXmlNode::Text) {
            buffer.resize(used + 5);
            if (blank)
                buffer[used++] = QLatin1Char(' ');
            blank = false;
            put(QLatin1String("<br>"));
            continue;
        }
        const auto take = [&](const QChar c) {
            if (c != QLatin1Char('\r') && c.isSpace()) {
                blank = used != 0;
                return;
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
        };
        const HwXmlNode& textNode = document.node(child);
        const auto* bytes = reinterpret_cast<const unsigned char*>(textNode.name);
        bool ascii = true;
        for (std::size_t i = 0; ascii && i < textNode.length; ++i)
            ascii = bytes[i] < 0x80;
        // ASCII text is its own UTF-16 (one unit per byte); other text is converted first.
        if (ascii) {
            // Characters that are neither blank nor escaped are copied a run at a time.
            static const struct Kept {
                bool of[128];
            } kept = [] {
                Kept table {};
                for (int c = 0; c < 128; ++c)
                    table.of[c] = !QChar(c).isSpace() && c != '&' && c != '<' && c != '>' && c != '\r';
                return table;
            }();
            buffer.resize(used + 1 + static_cast<qsizetype>(textNode.length) * 5);
            for (std::size_t i = 0; i < textNode.length;) {
                std::size_t end = i;
                while (end < textNode.length && kept.of[bytes[end]])
                    ++end;
                if (end == i) {
                    take(QLatin1Char(static_cast<char>(bytes[i++])));
                    continue;
                }
                if (blank) {
                    buffer[used++] = QLatin1Char(' ');
                    blank = false;
                }
                QChar* const to = buffer.data() + used;
                for (std::size_t k = i; k < end; ++k)
                    to[k - i] = QLatin1Char(static_cast<char>(bytes[k]));
                used += static_cast<qsizetype>(end - i);
                i = end;
            }
        } else {
            const QString text = QString::fromUtf8(textNode.name, static_cast<qsizetype>(textNode.length));
            buffer.resize(used + 1 + text.size() * 5);
            for (const QChar c : text)
                take(c);
        }
    }
    vellxml::text_p::TextStore* store = document.textStore();
    out = store ? store->keep(QStringView(buffer.constData(), used)) : QString(buffer.constData(), used);
    return true;
}

} // namespace

QString readCommentFromCommentTag(const HwXmlElementView& element)
{
    if (HwXmlReadRecord* record = element.readRecord())
        record->noteMarkup(element.identity());
    QString text;
    if (plainCommentText(*element.document(), element.index(), text))
        return text;
    return element.kept(vellxml::loader_p::commentFromMarkup(element.serialize()));
}

QString readCJokerFromCommentTag(const HwXmlElementView& element)
{
    return vellxml::loader_p::cjokerFromMarkup(element.serialize());
}
