#include <vellxml/svd/svd_document_p.h>
#include <vellxml/svd/svd_model_p.h>

#include <QHash>

#include <algorithm>
#include <cstring>
#include <limits>

namespace vellxml::svd_p {

namespace {

using pugi::xml_node;

/// Size, access and reset as inherited from the device down to the fields.
struct Properties {
    int size = 32;
    QString access = QStringLiteral("read-write");
    bool hasReset = false;
    std::uint64_t reset = 0;
    std::uint64_t resetMask = ~std::uint64_t {0};
};

enum class Kind { Peripheral, RegisterOrCluster, Field, EnumeratedValues };

/// The child elements a register, cluster or field is read from.
enum Tag {
    TagName,
    TagDescription,
    TagAddressOffset,
    TagDim,
    TagDimIncrement,
    TagDimIndex,
    TagBitRange,
    TagLsb,
    TagMsb,
    TagBitOffset,
    TagBitWidth,
    TagAccess,
    TagModifiedWriteValues,
    TagReadAction,
    TagWriteConstraint,
    TagCount,
};

int tagOf(const char* name)
{
    auto is = [name](const char* tag) { return std::strcmp(name + 1, tag + 1) == 0; };
    switch (name[0]) {
    case 'n':
        return is("name") ? TagName : TagCount;
    case 'd':
        return is("description") ? TagDescription
            : is("dim")          ? TagDim
            : is("dimIncrement") ? TagDimIncrement
            : is("dimIndex")     ? TagDimIndex
                                 : TagCount;
    case 'a':
        return is("addressOffset") ? TagAddressOffset : is("access") ? TagAccess : TagCount;
    case 'b':
        return is("bitRange") ? TagBitRange
            : is("bitOffset") ? TagBitOffset
            : is("bitWidth")  ? TagBitWidth
                              : TagCount;
    case 'l':
        return is("lsb") ? TagLsb : TagCount;
    case 'm':
        return is("msb") ? TagMsb : is("modifiedWriteValues") ? TagModifiedWriteValues : TagCount;
    case 'r':
        return is("readAction") ? TagReadAction : TagCount;
    case 'w':
        return is("writeConstraint") ? TagWriteConstraint : TagCount;
    default:
        return TagCount;
    }
}

/// The first child of each tag along a derivation chain, the own element's (last of the chain) before its
/// bases': one pass over the children instead of a search for each tag.
class Children {
public:
    explicit Children(const std::vector<xml_node>& chain)
    {
        for (const xml_node& node : chain) {
            bool seen[TagCount] = {};
            for (xml_node child = node.first_child(); child; child = child.next_sibling()) {
                const int tag = tagOf(child.name());
                if (tag != TagCount && !seen[tag]) {
                    seen[tag] = true;
                    m_nodes[tag] = child;
                }
            }
        }
    }
    xml_node operator[](Tag tag) const { return m_nodes[tag]; }

private:
    xml_node m_nodes[TagCount];
};

/// A `dim` of an element: count copies, `increment` bytes (bits for fields) apart, named by `indices`.
struct Dim {
    int count = -1;
    std::uint64_t increment = 0;
    QStringList indices;
    bool bracket = false; ///< the name holds "[%s]": an array in our format when the layout allows it
};

bool sameName(const QString& a, const QString& b)
{
    if (a == b)
        return true;
    auto plain = [](QString s) {
        s.remove(QStringLiteral("[%s]"));
        s.remove(QStringLiteral("%s"));
        return s;
    };
    return plain(a) == plain(b);
}

/// The text with white space collapsed, as QString::simplified() gives it. Nearly every SVD text is ASCII:
/// those are collapsed byte by byte into memory of `arena` and referred to there (QString::fromRawData), so
/// that the many short texts of a description take no allocation each; the arena outlives every use of
/// them. A text with other characters (which may be Unicode spaces, such as no-break or ideographic
/// spaces) takes QString::simplified(). Without an arena (texts compared in a search and dropped) the text
/// is a QString of its own.
QString cleanText(const char* raw, SvdArena* arena)
{
    bool clean = *raw != ' ';
    bool ascii = true;
    const char* at = raw;
    for (; *at; ++at) {
        const char c = *at;
        if ((c >= '\t' && c <= '\r') || (c == ' ' && (at[1] == ' ' || at[1] == 0)))
            clean = false;
        else if (static_cast<unsigned char>(c) >= 0x80)
            ascii = false;
    }
    const auto length = qsizetype(at - raw);
    if (!ascii) // the text may hold Unicode spaces, which only QString knows
        return QString::fromUtf8(raw, length).simplified();
    if (length == 0)
        return QString::fromLatin1(raw, 0);
    auto* const first = arena != nullptr
        ? static_cast<QChar*>(arena->allocate(std::size_t(length) * sizeof(QChar), alignof(QChar)))
        : nullptr;
    if (first == nullptr)
        return clean ? QString::fromLatin1(raw, length) : QString::fromLatin1(raw, length).simplified();
    QChar* out = first;
    if (clean) {
        for (const char* in = raw; in < at; ++in)
            *out++ = QLatin1Char(*in);
    } else {
        bool space = true; // at the start, or after a space: further white space is dropped
        for (const char* in = raw; in < at; ++in) {
            const char c = *in;
            if (c == ' ' || (c >= '\t' && c <= '\r')) {
                if (!space)
                    *out++ = QLatin1Char(' ');
                space = true;
            } else {
                *out++ = QLatin1Char(c);
                space = false;
            }
        }
        if (out > first && space)
            --out;
        // The room not taken is left unused.
    }
    return QString::fromRawData(first, qsizetype(out - first));
}

/// A bit range "[msb:lsb]", spaces allowed anywhere. A number beyond 64 bits gives the largest value, which
/// the caller refuses as out of range.
bool parseBitRange(const char* text, std::uint64_t& msb, std::uint64_t& lsb)
{
    auto skip = [&] {
        while (*text == ' ')
            ++text;
    };
    auto expect = [&](char c) {
        skip();
        if (*text != c)
            return false;
        ++text;
        return true;
    };
    auto number = [&](std::uint64_t& value) {
        skip();
        if (*text < '0' || *text > '9')
            return false;
        value = 0;
        while (*text >= '0' && *text <= '9') {
            const auto digit = std::uint64_t(*text - '0');
            value = value > (std::numeric_limits<std::uint64_t>::max() - digit) / 10
                ? std::numeric_limits<std::uint64_t>::max()
                : value * 10 + digit;
            ++text;
            skip();
        }
        return true;
    };
    if (!expect('[') || !number(msb) || !expect(':') || !number(lsb) || !expect(']'))
        return false;
    skip();
    // As a pattern anchored with '$' would, a single final line break is accepted.
    if (*text == '\n') {
        ++text;
        skip();
    }
    return *text == 0;
}

std::uint64_t itemExtent(const SvdItem& item);

std::uint64_t itemsExtent(const std::vector<SvdItem>& items)
{
    std::uint64_t end = 0;
    for (const SvdItem& item : items)
        end = std::max(end, item.offset() + itemExtent(item));
    return end;
}

std::uint64_t itemExtent(const SvdItem& item)
{
    if (item.reg)
        return std::uint64_t(item.reg->size / 8) * std::uint64_t(item.reg->count >= 0 ? item.reg->count : 1);
    if (item.cluster->count >= 0)
        return item.cluster->stride * std::uint64_t(item.cluster->count);
    return itemsExtent(item.cluster->items);
}

/// Registers and fields held by the items, array items counted one by one (saturating).
std::int64_t itemsWeight(const std::vector<SvdItem>& items)
{
    constexpr std::int64_t cap = std::int64_t {1} << 40;
    std::int64_t weight = 0;
    for (const SvdItem& item : items) {
        const std::int64_t one =
            item.reg ? 1 + std::int64_t(item.reg->fields.size()) : itemsWeight(item.cluster->items);
        const int n = item.reg ? item.reg->count : item.cluster->count;
        weight = std::min(cap, weight + std::min(cap, one * std::max(n, 1)));
    }
    return weight;
}

std::vector<SvdItem> cloneItems(const std::vector<SvdItem>& items);

SvdItem cloneItem(const SvdItem& item)
{
    SvdItem copy;
    if (item.reg) {
        copy.reg = std::make_unique<SvdRegister>(*item.reg);
    } else {
        copy.cluster = std::make_unique<SvdCluster>();
        SvdCluster& c = *copy.cluster;
        c.name = item.cluster->name;
        c.description = item.cluster->description;
        c.offset = item.cluster->offset;
        c.count = item.cluster->count;
        c.stride = item.cluster->stride;
        c.items = cloneItems(item.cluster->items);
    }
    return copy;
}

std::vector<SvdItem> cloneItems(const std::vector<SvdItem>& items)
{
    std::vector<SvdItem> copies;
    copies.reserve(items.size());
    for (const SvdItem& item : items)
        copies.push_back(cloneItem(item));
    return copies;
}

/// The name of copy `index` of a dimensioned element.
QString dimName(QString name, const QString& index)
{
    name.replace(QStringLiteral("[%s]"), index);
    name.replace(QStringLiteral("%s"), index);
    return name;
}

class Reader {
public:
    Reader(const SvdXmlDocument& document, const HwSvdImportLimits& limits, SvdMessages& messages,
        SvdArena& strings)
        : m_document(document)
        , m_limits(limits)
        , m_messages(messages)
        , m_strings(strings)
    {
    }

    bool run(SvdDevice& device);

private:
    void warn(xml_node node, const QString& text) const
    {
        int line = 0;
        int column = 0;
        m_document.position(node, line, column);
        m_messages.warn(line, column, text);
    }
    bool fail(xml_node node, const QString& text) const
    {
        int line = 0;
        int column = 0;
        m_document.position(node, line, column);
        m_messages.fail(line, column, text);
        return false;
    }

    QString childText(xml_node node, const char* child) const
    {
        return cleanText(node.child(child).child_value(), &m_strings);
    }
    /// childText() for a comparison: the text does not stay in the arena.
    static QString searchText(xml_node node, const char* child)
    {
        return cleanText(node.child(child).child_value(), nullptr);
    }
    /// The last non-empty value of `child` along a derivation chain (own element last).
    static xml_node lastChild(const std::vector<xml_node>& chain, const char* child)
    {
        for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
            if (xml_node found = it->child(child))
                return found;
        }
        return xml_node();
    }
    QString chainText(const std::vector<xml_node>& chain, const char* child) const
    {
        return cleanText(lastChild(chain, child).child_value(), &m_strings);
    }
    QString text(const Children& children, Tag tag) const
    {
        return cleanText(children[tag].child_value(), &m_strings);
    }

    bool number(xml_node node, std::uint64_t& value) const
    {
        if (parseSvdNumber(node.child_value(), value))
            return true;
        return fail(node,
            QStringLiteral("'%1' of <%2> is not a number.")
                .arg(QString::fromUtf8(node.child_value()).simplified(), QString::fromUtf8(node.name())));
    }

    bool chainOf(xml_node node, Kind kind, std::vector<xml_node>& chain);
    xml_node resolve(xml_node node, const QString& reference, Kind kind);
    xml_node walk(const QStringList& tokens) const;
    bool applyProperties(Properties& properties, const std::vector<xml_node>& chain);
    bool readDim(const Children& children, const QString& name, Dim& dim);
    bool readItems(const std::vector<xml_node>& containers, const Properties& properties, int depth,
        std::vector<SvdItem>& items);
    bool readRegister(xml_node node, const Properties& inherited, std::vector<SvdItem>& items);
    bool readCluster(xml_node node, const Properties& inherited, int depth, std::vector<SvdItem>& items);
    bool readFields(const std::vector<xml_node>& chain, const Properties& properties, const QString& owner,
        SvdVector<SvdField>& fields);
    bool readField(
        xml_node node, const Properties& properties, const QString& owner, SvdVector<SvdField>& fields);
    bool readValues(xml_node set, SvdField& field);
    bool count(std::int64_t n, xml_node node)
    {
        m_elements += n;
        if (m_elements <= m_limits.maxElements)
            return true;
        return fail(node,
            QStringLiteral("The description has more than %1 registers and fields.")
                .arg(m_limits.maxElements));
    }

    const SvdXmlDocument& m_document;
    const HwSvdImportLimits& m_limits;
    SvdMessages& m_messages;
    SvdArena& m_strings; ///< the texts of the description, as long as the device lives
    QHash<QString, xml_node> m_peripherals;
    QMultiHash<QString, xml_node> m_enumerations;
    bool m_enumerationsIndexed = false;
    std::int64_t m_elements = 0;
};

bool Reader::chainOf(xml_node node, Kind kind, std::vector<xml_node>& chain)
{
    chain.clear();
    xml_node current = node;
    for (;;) {
        chain.push_back(current);
        const QString reference = QString::fromUtf8(current.attribute("derivedFrom").value()).trimmed();
        if (reference.isEmpty())
            break;
        if (int(chain.size()) > m_limits.maxDerivationDepth)
            return fail(node,
                QStringLiteral("derivedFrom chain longer than %1 elements.")
                    .arg(m_limits.maxDerivationDepth));
        const xml_node base = resolve(current, reference, kind);
        if (!base) {
            warn(current, QStringLiteral("derivedFrom '%1' names no element; ignored.").arg(reference));
            break;
        }
        if (std::find(chain.begin(), chain.end(), base) != chain.end())
            return fail(current, QStringLiteral("derivedFrom '%1' is cyclic.").arg(reference));
        current = base;
    }
    std::reverse(chain.begin(), chain.end());
    return true;
}

xml_node Reader::walk(const QStringList& tokens) const
{
    xml_node node = m_peripherals.value(tokens.value(0));
    for (int i = 1; node && i < tokens.size(); ++i) {
        xml_node next;
        auto look = [&](xml_node parent, const char* tag) {
            for (xml_node child = parent.child(tag); child && !next; child = child.next_sibling(tag)) {
                if (sameName(searchText(child, "name"), tokens[i]))
                    next = child;
            }
        };
        const QString tag = QString::fromUtf8(node.name());
        if (tag == QLatin1String("peripheral")) {
            look(node.child("registers"), "register");
            look(node.child("registers"), "cluster");
        } else if (tag == QLatin1String("cluster")) {
            look(node, "register");
            look(node, "cluster");
        } else if (tag == QLatin1String("register")) {
            look(node.child("fields"), "field");
        } else if (tag == QLatin1String("field")) {
            look(node, "enumeratedValues");
        }
        node = next;
    }
    return node;
}

xml_node Reader::resolve(xml_node node, const QString& reference, Kind kind)
{
    if (kind == Kind::Peripheral)
        return m_peripherals.value(reference);
    if (!reference.contains(QLatin1Char('.'))) {
        const xml_node parent = node.parent();
        for (xml_node sibling = parent.child(node.name()); sibling;
             sibling = sibling.next_sibling(node.name())) {
            if (sibling != node && sameName(searchText(sibling, "name"), reference))
                return sibling;
        }
        if (kind == Kind::RegisterOrCluster) {
            const char* other = std::strcmp(node.name(), "register") == 0 ? "cluster" : "register";
            for (xml_node sibling = parent.child(other); sibling; sibling = sibling.next_sibling(other)) {
                if (sameName(searchText(sibling, "name"), reference))
                    return sibling;
            }
        }
    } else if (const xml_node found = walk(reference.split(QLatin1Char('.')))) {
        return found;
    }
    if (kind == Kind::EnumeratedValues) {
        // Vendors name enumerations across registers by their last name alone; take the first of that name.
        if (!m_enumerationsIndexed) {
            m_enumerationsIndexed = true;
            for (pugi::xpath_node found : m_document.documentElement().select_nodes("//enumeratedValues")) {
                const QString name = childText(found.node(), "name");
                if (!name.isEmpty())
                    m_enumerations.insert(name, found.node());
            }
        }
        const QString last = reference.section(QLatin1Char('.'), -1);
        xml_node first;
        for (auto it = m_enumerations.constFind(last); it != m_enumerations.constEnd() && it.key() == last;
             ++it) {
            if (it.value() != node && (!first || it.value().offset_debug() < first.offset_debug()))
                first = it.value();
        }
        return first;
    }
    return xml_node();
}

bool Reader::applyProperties(Properties& properties, const std::vector<xml_node>& chain)
{
    for (const xml_node& node : chain) {
        std::uint64_t value = 0;
        if (const xml_node size = node.child("size")) {
            if (!number(size, value))
                return false;
            if (value == 0 || value > 64)
                return fail(
                    size, QStringLiteral("Register size %1 is not between 1 and 64 bits.").arg(value));
            properties.size = int(value);
        }
        if (const xml_node access = node.child("access"))
            properties.access = QString::fromUtf8(access.child_value()).trimmed();
        if (const xml_node reset = node.child("resetValue")) {
            if (!number(reset, value))
                return false;
            properties.reset = value;
            properties.hasReset = true;
        }
        if (const xml_node mask = node.child("resetMask")) {
            if (!number(mask, value))
                return false;
            properties.resetMask = value;
        }
    }
    return true;
}

bool Reader::readDim(const Children& children, const QString& name, Dim& dim)
{
    const xml_node dimNode = children[TagDim];
    if (!dimNode)
        return true;
    std::uint64_t value = 0;
    if (!number(dimNode, value))
        return false;
    if (value > std::uint64_t(m_limits.maxDim))
        return fail(dimNode,
            QStringLiteral("dim %1 is larger than the limit of %2.").arg(value).arg(m_limits.maxDim));
    dim.count = int(value);
    const xml_node increment = children[TagDimIncrement];
    if (!increment)
        return fail(dimNode, QStringLiteral("dim without dimIncrement."));
    if (!number(increment, dim.increment))
        return false;
    if (dim.increment > 0xFFFFFFFFu)
        return fail(increment, QStringLiteral("dimIncrement %1 is beyond 32 bits.").arg(dim.increment));
    dim.bracket = name.contains(QStringLiteral("[%s]"));
    const xml_node indexNode = children[TagDimIndex];
    const QString index = QString::fromUtf8(indexNode.child_value()).simplified().remove(QLatin1Char(' '));
    // A range of numbers ("0-7") or of capital letters ("A-D"), or a list.
    auto digits = [](QStringView text) {
        return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
            return c.unicode() >= '0' && c.unicode() <= '9';
        });
    };
    auto capital = [](QChar c) { return c.unicode() >= 'A' && c.unicode() <= 'Z'; };
    const qsizetype dash = index.indexOf(QLatin1Char('-'));
    if (dash > 0 && digits(QStringView(index).left(dash)) && digits(QStringView(index).mid(dash + 1))) {
        const qint64 first = index.left(dash).toLongLong();
        const qint64 last = index.mid(dash + 1).toLongLong();
        for (qint64 i = first; i <= last && dim.indices.size() <= dim.count; ++i)
            dim.indices.append(QString::number(i));
    } else if (index.size() == 3 && dash == 1 && capital(index[0]) && capital(index[2])) {
        for (QChar c = index[0]; c <= index[2]; c = QChar(c.unicode() + 1))
            dim.indices.append(QString(c));
    } else if (!index.isEmpty()) {
        dim.indices = index.split(QLatin1Char(','));
    }
    if (indexNode && dim.indices.size() != dim.count) {
        warn(indexNode,
            QStringLiteral("dimIndex '%1' does not give %2 names; the copies are numbered.")
                .arg(index)
                .arg(dim.count));
        dim.indices.clear();
    }
    if (dim.indices.isEmpty()) {
        for (int i = 0; i < dim.count; ++i)
            dim.indices.append(QString::number(i));
    }
    if (!name.contains(QStringLiteral("%s")))
        warn(dimNode,
            QStringLiteral("'%1' has a dim but no %s in its name; the copies are numbered.").arg(name));
    return true;
}

bool Reader::readItems(const std::vector<xml_node>& containers, const Properties& properties, int depth,
    std::vector<SvdItem>& items)
{
    // A derived container takes its base's members; a member of its own replaces the base's of that name.
    std::vector<xml_node> members;
    QHash<QString, std::size_t> inherited;
    for (const xml_node& container : containers) {
        const bool own = &container == &containers.back();
        for (xml_node child = container.first_child(); child; child = child.next_sibling()) {
            const bool isRegister = std::strcmp(child.name(), "register") == 0;
            if (!isRegister && std::strcmp(child.name(), "cluster") != 0)
                continue;
            if (containers.size() > 1) {
                const QString name = childText(child, "name");
                if (!own) {
                    inherited.insert(name, members.size());
                } else if (const auto same = inherited.constFind(name); same != inherited.constEnd()) {
                    members[*same] = child;
                    continue;
                }
            }
            members.push_back(child);
        }
    }
    for (const xml_node& member : members) {
        const bool ok = std::strcmp(member.name(), "register") == 0
            ? readRegister(member, properties, items)
            : readCluster(member, properties, depth, items);
        if (!ok)
            return false;
    }
    return true;
}

bool Reader::readRegister(xml_node node, const Properties& inherited, std::vector<SvdItem>& items)
{
    std::vector<xml_node> chain;
    if (!chainOf(node, Kind::RegisterOrCluster, chain))
        return false;
    Properties properties = inherited;
    if (!applyProperties(properties, chain))
        return false;
    SvdRegister reg;
    const Children children(chain);
    const QString rawName = text(children, TagName);
    if (rawName.isEmpty())
        return fail(node, QStringLiteral("Register without a name."));
    reg.description = text(children, TagDescription);
    const xml_node offset = children[TagAddressOffset];
    if (!offset)
        return fail(node, QStringLiteral("Register '%1' has no addressOffset.").arg(rawName));
    if (!number(offset, reg.offset))
        return false;
    if (reg.offset > 0xFFFFFFFFu)
        return fail(offset, QStringLiteral("Offset %1 is beyond 32 bits.").arg(reg.offset));
    if (properties.size > 32)
        return fail(node,
            QStringLiteral("Register '%1' of %2 bits: registers wider than 32 bits cannot be "
                           "represented.")
                .arg(rawName)
                .arg(properties.size));
    reg.size = properties.size <= 8 ? 8 : properties.size <= 16 ? 16 : 32;
    if (reg.size != properties.size)
        warn(node,
            QStringLiteral("Register '%1' of %2 bits is written as a %3-bit register.")
                .arg(rawName)
                .arg(properties.size)
                .arg(reg.size));
    reg.readable =
        properties.access != QLatin1String("write-only") && properties.access != QLatin1String("writeOnce");
    reg.writable = properties.access != QLatin1String("read-only");
    Dim dim;
    if (!readDim(children, rawName, dim))
        return false;
    // The fields and their named values, most of the description, take the texts' arena too.
    reg.fields = SvdVector<SvdField>(SvdAllocator<SvdField>(&m_strings));
    if (!readFields(chain, properties, rawName, reg.fields))
        return false;
    const std::uint64_t wholeMask = (std::uint64_t {1} << reg.size) - 1;
    if (reg.fields.empty() && properties.hasReset && (properties.resetMask & wholeMask) == wholeMask) {
        // Our registers keep their reset value in their fields: one field over the whole register holds it.
        // Without a reset value the register stays without fields, its access in its protection.
        SvdField whole;
        whole.name = QStringLiteral("VALUE");
        whole.msb = reg.size - 1;
        whole.access = reg.readable && reg.writable ? QStringLiteral("rw")
            : reg.readable                          ? QStringLiteral("r")
                                                    : QStringLiteral("w");
        whole.hasReset = true;
        whole.reset = properties.reset & wholeMask;
        reg.fields.push_back(std::move(whole));
    }
    const std::int64_t copies = dim.count >= 0 ? dim.count : 1;
    if (!count(copies * std::int64_t(1 + reg.fields.size()), node))
        return false;
    if (dim.count < 0) {
        reg.name = identifier(rawName);
        items.push_back(SvdItem {std::make_unique<SvdRegister>(std::move(reg)), nullptr});
        return true;
    }
    if (dim.bracket && dim.increment == std::uint64_t(reg.size / 8)) {
        reg.name = identifier(QString(rawName).remove(QStringLiteral("[%s]")));
        reg.count = dim.count;
        items.push_back(SvdItem {std::make_unique<SvdRegister>(std::move(reg)), nullptr});
        return true;
    }
    for (int i = 0; i < dim.count; ++i) {
        auto copy = std::make_unique<SvdRegister>(reg);
        copy->name = identifier(dimName(rawName, dim.indices[i]));
        copy->offset = reg.offset + std::uint64_t(i) * dim.increment;
        copy->description.replace(QStringLiteral("%s"), dim.indices[i]);
        items.push_back(SvdItem {std::move(copy), nullptr});
    }
    return true;
}

bool Reader::readCluster(xml_node node, const Properties& inherited, int depth, std::vector<SvdItem>& items)
{
    if (depth >= m_limits.maxClusterDepth)
        return fail(
            node, QStringLiteral("Clusters are nested deeper than %1 levels.").arg(m_limits.maxClusterDepth));
    std::vector<xml_node> chain;
    if (!chainOf(node, Kind::RegisterOrCluster, chain))
        return false;
    Properties properties = inherited;
    if (!applyProperties(properties, chain))
        return false;
    auto cluster = std::make_unique<SvdCluster>();
    const Children children(chain);
    const QString rawName = text(children, TagName);
    if (rawName.isEmpty())
        return fail(node, QStringLiteral("Cluster without a name."));
    cluster->description = text(children, TagDescription);
    const xml_node offset = children[TagAddressOffset];
    if (!offset)
        return fail(node, QStringLiteral("Cluster '%1' has no addressOffset.").arg(rawName));
    if (!number(offset, cluster->offset))
        return false;
    if (cluster->offset > 0xFFFFFFFFu)
        return fail(offset, QStringLiteral("Offset %1 is beyond 32 bits.").arg(cluster->offset));
    Dim dim;
    if (!readDim(children, rawName, dim))
        return false;
    if (!readItems(chain, properties, depth + 1, cluster->items))
        return false;
    const std::uint64_t extent = itemsExtent(cluster->items);
    const bool array = dim.bracket && extent <= dim.increment && dim.increment % 4 == 0;
    // Each copy of an unrolled cluster holds its own registers and fields: charge them before making them.
    if (dim.count > 1 && !array && !count(std::int64_t(dim.count - 1) * itemsWeight(cluster->items), node))
        return false;
    if (dim.count < 0) {
        cluster->name = identifier(rawName);
        items.push_back(SvdItem {nullptr, std::move(cluster)});
        return true;
    }
    if (array) {
        cluster->name = identifier(QString(rawName).remove(QStringLiteral("[%s]")));
        cluster->count = dim.count;
        cluster->stride = dim.increment;
        items.push_back(SvdItem {nullptr, std::move(cluster)});
        return true;
    }
    for (int i = 0; i < dim.count; ++i) {
        auto copy = std::make_unique<SvdCluster>();
        copy->name = identifier(dimName(rawName, dim.indices[i]));
        copy->description = cluster->description;
        copy->offset = cluster->offset + std::uint64_t(i) * dim.increment;
        copy->items = cloneItems(cluster->items);
        items.push_back(SvdItem {nullptr, std::move(copy)});
    }
    return true;
}

bool Reader::readFields(const std::vector<xml_node>& chain, const Properties& properties,
    const QString& owner, SvdVector<SvdField>& fields)
{
    std::vector<xml_node> members;
    QHash<QString, std::size_t> inherited;
    for (const xml_node& node : chain) {
        const bool own = &node == &chain.back();
        for (xml_node field = node.child("fields").child("field"); field;
             field = field.next_sibling("field")) {
            if (chain.size() > 1) {
                const QString name = childText(field, "name");
                if (own) {
                    if (const auto same = inherited.constFind(name); same != inherited.constEnd()) {
                        members[*same] = field;
                        continue;
                    }
                } else {
                    inherited.insert(name, members.size());
                }
            }
            members.push_back(field);
        }
    }
    fields.reserve(fields.size() + members.size());
    for (const xml_node& member : members) {
        if (!readField(member, properties, owner, fields))
            return false;
    }
    return true;
}

bool Reader::readField(
    xml_node node, const Properties& properties, const QString& owner, SvdVector<SvdField>& fields)
{
    std::vector<xml_node> chain;
    if (!chainOf(node, Kind::Field, chain))
        return false;
    SvdField field;
    field.values = SvdVector<SvdEnumValue>(SvdAllocator<SvdEnumValue>(&m_strings));
    const Children children(chain);
    const QString rawName = text(children, TagName);
    if (rawName.isEmpty())
        return fail(node, QStringLiteral("Field of register '%1' without a name.").arg(owner));
    QStringList notes;
    field.description = text(children, TagDescription);
    std::uint64_t lsb = 0;
    std::uint64_t msb = 0;
    if (const xml_node range = children[TagBitRange]) {
        if (!parseBitRange(range.child_value(), msb, lsb))
            return fail(range,
                QStringLiteral("Bit range '%1' is not [msb:lsb].")
                    .arg(QString::fromUtf8(range.child_value())));
    } else if (const xml_node low = children[TagLsb]) {
        const xml_node high = children[TagMsb];
        if (!high)
            return fail(node, QStringLiteral("Field '%1' has lsb but no msb.").arg(rawName));
        if (!number(low, lsb) || !number(high, msb))
            return false;
    } else if (const xml_node offset = children[TagBitOffset]) {
        std::uint64_t width = 1;
        if (!number(offset, lsb))
            return false;
        if (const xml_node widthNode = children[TagBitWidth]; widthNode && !number(widthNode, width))
            return false;
        if (width == 0 || width > 64 || lsb > 64)
            return fail(node, QStringLiteral("Field '%1' has a bit width of %2.").arg(rawName).arg(width));
        msb = lsb + width - 1;
    } else {
        return fail(node, QStringLiteral("Field '%1' has no bit range.").arg(rawName));
    }
    if (msb < lsb || msb > 63)
        return fail(
            node, QStringLiteral("Field '%1' has the bit range [%2:%3].").arg(rawName).arg(msb).arg(lsb));
    field.lsb = int(lsb);
    field.msb = int(msb);
    // Access, as our format's access attribute plus notes for what it cannot hold.
    QString access = text(children, TagAccess);
    if (access.isEmpty())
        access = properties.access;
    const bool readable = access != QLatin1String("write-only") && access != QLatin1String("writeOnce");
    const bool writable = access != QLatin1String("read-only");
    if (access == QLatin1String("writeOnce") || access == QLatin1String("read-writeOnce"))
        notes.append(QStringLiteral("Written once after reset."));
    const QString modified = text(children, TagModifiedWriteValues);
    if (writable && modified == QLatin1String("oneToClear"))
        field.access = readable ? QStringLiteral("rc") : QStringLiteral("-c");
    else if (writable && modified == QLatin1String("oneToSet"))
        field.access = readable ? QStringLiteral("rs") : QStringLiteral("-s");
    else
        field.access = readable && writable ? QStringLiteral("rw")
            : readable                      ? QStringLiteral("r")
                                            : QStringLiteral("w");
    if (!modified.isEmpty() && modified != QLatin1String("modify") && !field.access.endsWith(QLatin1Char('c'))
        && !field.access.endsWith(QLatin1Char('s')))
        notes.append(QStringLiteral("Writes: %1.").arg(modified));
    if (const QString action = text(children, TagReadAction); !action.isEmpty())
        notes.append(QStringLiteral("Reading: %1.").arg(action));
    if (const xml_node constraint = children[TagWriteConstraint]) {
        if (const xml_node range = constraint.child("range"))
            notes.append(QStringLiteral("Values written: %1 to %2.")
                             .arg(childText(range, "minimum"), childText(range, "maximum")));
        else if (childText(constraint, "useEnumeratedValues") == QLatin1String("true"))
            notes.append(QStringLiteral("Values written: the named values only."));
        else if (childText(constraint, "writeAsRead") == QLatin1String("true"))
            notes.append(QStringLiteral("Values written: the value read."));
    }
    // The named values: the own sets of the last element of the chain that has any.
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (!it->child("enumeratedValues"))
            continue;
        for (xml_node set = it->child("enumeratedValues"); set; set = set.next_sibling("enumeratedValues")) {
            if (!readValues(set, field))
                return false;
        }
        break;
    }
    for (const SvdEnumValue& value : field.values) {
        if (value.isDefault)
            notes.append(
                QStringLiteral("Other values: %1%2")
                    .arg(value.name,
                        value.description.isEmpty() ? QStringLiteral(".")
                                                    : QStringLiteral(" (%1).").arg(value.description)));
    }
    if (!notes.isEmpty())
        field.description =
            (field.description.isEmpty() ? QStringList() : QStringList {field.description} + notes)
                .join(QLatin1Char(' '));
    if (field.description.isEmpty() && !notes.isEmpty())
        field.description = notes.join(QLatin1Char(' '));

    const int width = field.msb - field.lsb + 1;
    Dim dim;
    if (!readDim(children, rawName, dim))
        return false;
    const int copies = dim.count >= 0 ? dim.count : 1;
    for (int i = 0; i < copies; ++i) {
        // The last copy takes the field itself; only its bit numbers are read after this.
        SvdField copy = i + 1 == copies ? std::move(field) : field;
        const std::uint64_t shift = dim.count >= 0 ? std::uint64_t(i) * dim.increment : 0;
        if (std::uint64_t(field.lsb) + shift > 63 || std::uint64_t(field.msb) + shift > 63)
            return fail(
                node, QStringLiteral("Copy %1 of field '%2' lies beyond bit 63.").arg(i).arg(rawName));
        copy.lsb = field.lsb + int(shift);
        copy.msb = field.msb + int(shift);
        copy.name = identifier(dim.count >= 0 ? dimName(rawName, dim.indices[i]) : rawName);
        if (copy.msb >= properties.size) {
            if (copy.lsb >= properties.size) {
                warn(node,
                    QStringLiteral(
                        "Field '%1' (bits %2 to %3) lies outside its %4-bit register '%5'; left out.")
                        .arg(copy.name)
                        .arg(copy.lsb)
                        .arg(copy.msb)
                        .arg(properties.size)
                        .arg(owner));
                continue;
            }
            warn(node,
                QStringLiteral(
                    "Field '%1' (bits %2 to %3) is wider than its %4-bit register '%5'; cut to bit %6.")
                    .arg(copy.name)
                    .arg(copy.lsb)
                    .arg(copy.msb)
                    .arg(properties.size)
                    .arg(owner)
                    .arg(properties.size - 1));
            copy.msb = properties.size - 1;
        }
        const int copyWidth = copy.msb - copy.lsb + 1;
        const std::uint64_t mask =
            copyWidth >= 64 ? ~std::uint64_t {0} : (std::uint64_t {1} << copyWidth) - 1;
        copy.hasReset = properties.hasReset && ((properties.resetMask >> copy.lsb) & mask) == mask;
        copy.reset = copy.hasReset ? (properties.reset >> copy.lsb) & mask : 0;
        if (copyWidth != width) {
            SvdVector<SvdEnumValue> kept(copy.values.get_allocator());
            for (const SvdEnumValue& value : copy.values) {
                if ((value.value & ~mask) == 0)
                    kept.push_back(value);
            }
            copy.values = std::move(kept);
        }
        fields.push_back(std::move(copy));
    }
    return true;
}

bool Reader::readValues(xml_node set, SvdField& field)
{
    std::vector<xml_node> chain;
    if (!chainOf(set, Kind::EnumeratedValues, chain))
        return false;
    QString usage = chainText(chain, "usage");
    if (usage.isEmpty())
        usage = QStringLiteral("read-write");
    const int width = field.msb - field.lsb + 1;
    const std::uint64_t mask = width >= 64 ? ~std::uint64_t {0} : (std::uint64_t {1} << width) - 1;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (!it->child("enumeratedValue"))
            continue;
        // Counted first: a field of many values would otherwise move them again and again as they grow.
        std::size_t count = 0;
        for (xml_node node = it->child("enumeratedValue"); node; node = node.next_sibling("enumeratedValue"))
            ++count;
        field.values.reserve(field.values.size() + count);
        for (xml_node node = it->child("enumeratedValue"); node;
             node = node.next_sibling("enumeratedValue")) {
            SvdEnumValue value;
            value.name = childText(node, "name");
            value.description = childText(node, "description");
            value.usage = usage;
            value.isDefault = childText(node, "isDefault") == QLatin1String("true");
            if (value.name.isEmpty()) {
                warn(node, QStringLiteral("Enumerated value without a name; left out."));
                continue;
            }
            if (!value.isDefault) {
                const xml_node valueNode = node.child("value");
                if (!valueNode) {
                    warn(node,
                        QStringLiteral("Enumerated value '%1' has no value; left out.").arg(value.name));
                    continue;
                }
                if (!parseSvdNumber(valueNode.child_value(), value.value, &value.dontCare)) {
                    warn(valueNode,
                        QStringLiteral("Enumerated value '%1': '%2' is not a number; left out.")
                            .arg(value.name, QString::fromUtf8(valueNode.child_value()).simplified()));
                    continue;
                }
                if (((value.value | value.dontCare) & ~mask) != 0) {
                    warn(valueNode,
                        QStringLiteral("Enumerated value '%1' does not fit its %2-bit field; left out.")
                            .arg(value.name)
                            .arg(width));
                    continue;
                }
            }
            field.values.push_back(std::move(value));
        }
        break;
    }
    return true;
}

bool Reader::run(SvdDevice& device)
{
    const xml_node root = m_document.documentElement();
    if (std::strcmp(root.name(), "device") != 0)
        return fail(root,
            QStringLiteral("The document element is <%1>, not <device>.")
                .arg(QString::fromUtf8(root.name())));
    device.name = identifier(childText(root, "name"));
    if (device.name.isEmpty())
        device.name = QStringLiteral("chip");
    device.description = childText(root, "description");
    if (const xml_node unit = root.child("addressUnitBits");
        unit && childText(root, "addressUnitBits") != QLatin1String("8"))
        warn(unit,
            QStringLiteral("addressUnitBits %1 is taken as 8.").arg(childText(root, "addressUnitBits")));
    if (const xml_node cpu = root.child("cpu")) {
        for (xml_node item = cpu.first_child(); item; item = item.next_sibling()) {
            // Items that start with text (kept as the element's value by the parse), not CDATA or elements.
            if (item.type() != pugi::node_element || *item.value() == 0)
                continue;
            const QString tag = QString::fromUtf8(item.name());
            const QString text = QString::fromUtf8(item.child_value()).simplified();
            device.cpuLines.append(QStringLiteral("%1: %2").arg(tag, text));
            std::uint64_t value = 0;
            const bool isBoolean = text == QLatin1String("true") || text == QLatin1String("false")
                || text == QLatin1String("1") || text == QLatin1String("0");
            if (isBoolean
                || (tag != QLatin1String("revision") && parseSvdNumber(text.toUtf8().constData(), value)
                    && value <= 0x7FFFFFFF)) {
                if (isBoolean)
                    value = text == QLatin1String("true") || text == QLatin1String("1") ? 1 : 0;
                device.cpuValues.append(
                    {QStringLiteral("CPU_") + identifier(tag).toUpper(), std::int64_t(value)});
            }
        }
    }
    Properties properties;
    if (!applyProperties(properties, {root}))
        return false;

    const xml_node list = root.child("peripherals");
    for (xml_node p = list.child("peripheral"); p; p = p.next_sibling("peripheral")) {
        const QString name = childText(p, "name");
        if (name.isEmpty())
            return fail(p, QStringLiteral("Peripheral without a name."));
        if (!m_peripherals.contains(name))
            m_peripherals.insert(name, p);
    }
    // A peripheral without registers of its own is an instance of the type of the one it derives from.
    QHash<QString, QString> typeOfOwner; // owner peripheral name -> type name
    QHash<QString, int> typeNames;
    for (xml_node p = list.child("peripheral"); p; p = p.next_sibling("peripheral")) {
        std::vector<xml_node> chain;
        if (!chainOf(p, Kind::Peripheral, chain))
            return false;
        xml_node owner = p;
        for (auto it = chain.rbegin(); it != chain.rend() && !it->child("registers"); ++it) {
            if (it + 1 != chain.rend())
                owner = *(it + 1);
        }
        if (!owner.child("registers"))
            owner = p;
        Properties peripheralProperties = properties;
        if (!applyProperties(peripheralProperties, chain))
            return false;
        const QString rawName = childText(p, "name");
        const QString ownerName = childText(owner, "name");
        SvdPeripheral peripheral;
        peripheral.description = chainText(chain, "description");
        peripheral.group = identifier(chainText(chain, "groupName"));
        const xml_node baseNode =
            p.child("baseAddress") ? p.child("baseAddress") : lastChild(chain, "baseAddress");
        if (!baseNode)
            return fail(p, QStringLiteral("Peripheral '%1' has no baseAddress.").arg(rawName));
        if (!number(baseNode, peripheral.base))
            return false;
        if (peripheral.base > 0xFFFFFFFFu)
            return fail(
                baseNode, QStringLiteral("Base address %1 is beyond 32 bits.").arg(peripheral.base, 0, 16));
        peripheral.ownsType = !typeOfOwner.contains(ownerName);
        if (peripheral.ownsType) {
            QString type =
                identifier(QString(ownerName).remove(QStringLiteral("[%s]")).remove(QStringLiteral("%s")));
            const int n = typeNames.value(type.toUpper());
            typeNames.insert(type.toUpper(), n + 1);
            if (n > 0)
                type += QStringLiteral("_%1").arg(n);
            typeOfOwner.insert(ownerName, type);
            std::vector<xml_node> owners;
            if (!chainOf(owner, Kind::Peripheral, owners))
                return false;
            std::vector<xml_node> containers;
            for (const xml_node& node : owners)
                containers.push_back(node.child("registers"));
            Properties ownerProperties = properties;
            if (!applyProperties(ownerProperties, owners)
                || !readItems(containers, ownerProperties, 0, peripheral.items))
                return false;
            if (peripheral.items.empty())
                warn(p, QStringLiteral("Peripheral '%1' has no registers.").arg(rawName));
        }
        peripheral.typeName = typeOfOwner.value(ownerName);
        for (xml_node irq = p.child("interrupt"); irq; irq = irq.next_sibling("interrupt")) {
            SvdInterrupt interrupt;
            interrupt.name = identifier(childText(irq, "name"));
            interrupt.description = childText(irq, "description");
            interrupt.peripheral = rawName;
            std::uint64_t value = 0;
            if (!number(irq.child("value"), value))
                return false;
            if (value > 0x7FFFFFFF)
                return fail(irq, QStringLiteral("Interrupt number %1 is too large.").arg(value));
            interrupt.value = std::int64_t(value);
            device.interrupts.push_back(interrupt);
        }
        Dim dim;
        if (!readDim(Children({p}), rawName, dim))
            return false;
        if (dim.count < 0) {
            peripheral.name = identifier(rawName);
            device.peripherals.push_back(std::move(peripheral));
            continue;
        }
        for (int i = 0; i < dim.count; ++i) {
            SvdPeripheral copy;
            copy.name = identifier(dimName(rawName, dim.indices[i]));
            copy.description = peripheral.description;
            copy.group = peripheral.group;
            copy.typeName = peripheral.typeName;
            copy.base = peripheral.base + std::uint64_t(i) * dim.increment;
            if (copy.base > 0xFFFFFFFFu)
                return fail(
                    p, QStringLiteral("Copy %1 of peripheral '%2' lies beyond 32 bits.").arg(i).arg(rawName));
            copy.ownsType = i == 0 && peripheral.ownsType;
            if (copy.ownsType)
                copy.items = std::move(peripheral.items);
            device.peripherals.push_back(std::move(copy));
        }
    }
    return true;
}

} // namespace

std::uint64_t SvdItem::offset() const
{
    return reg ? reg->offset : cluster->offset;
}

void SvdMessages::warn(int line, int column, const QString& text)
{
    ++warnings;
    if (warning)
        warning(QStringLiteral("%1:%2:%3: warning: %4")
                    .arg(path)
                    .arg(line)
                    .arg(column)
                    .arg(text)
                    .toUtf8()
                    .constData());
}

void SvdMessages::fail(int line, int column, const QString& text)
{
    failed = true;
    if (error)
        error(QStringLiteral("%1:%2:%3: error: %4")
                  .arg(path)
                  .arg(line)
                  .arg(column)
                  .arg(text)
                  .toUtf8()
                  .constData());
}

bool parseSvdNumber(const char* text, std::uint64_t& value, std::uint64_t* dontCare)
{
    const char* begin = text;
    const char* end = text + std::strlen(text);
    while (begin < end && (*begin == ' ' || *begin == '\t' || *begin == '\n' || *begin == '\r'))
        ++begin;
    while (end > begin && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == '\n' || end[-1] == '\r'))
        --end;
    // k, M and G are no hexadecimal digits, so a multiplier never hides one.
    std::uint64_t multiplier = 1;
    if (end > begin) {
        switch (end[-1] | 0x20) {
        case 'k':
            multiplier = 1024;
            break;
        case 'm':
            multiplier = 1024 * 1024;
            break;
        case 'g':
            multiplier = 1024 * 1024 * 1024;
            break;
        default:
            break;
        }
        if (multiplier != 1)
            --end;
    }
    int base = 10;
    if (end - begin >= 2 && begin[0] == '0' && (begin[1] | 0x20) == 'x') {
        base = 16;
        begin += 2;
    } else if (end - begin >= 1 && begin[0] == '#') {
        base = 2;
        begin += 1;
    } else if (end - begin >= 2 && begin[0] == '0' && (begin[1] | 0x20) == 'b') {
        base = 2;
        begin += 2;
    }
    if (begin == end)
        return false;
    std::uint64_t result = 0;
    std::uint64_t cares = 0;
    const std::uint64_t bitsPerDigit = base == 16 ? 4 : base == 2 ? 1 : 0;
    for (const char* at = begin; at < end; ++at) {
        int digit = -1;
        const char c = char(*at | 0x20);
        if (*at >= '0' && *at <= '9')
            digit = *at - '0';
        else if (c >= 'a' && c <= 'f' && base == 16)
            digit = c - 'a' + 10;
        bool isDontCare = false;
        if (c == 'x' && dontCare && base != 10) {
            digit = 0;
            isDontCare = true;
        }
        if (digit < 0 || digit >= base)
            return false;
        if (result > (std::numeric_limits<std::uint64_t>::max() - std::uint64_t(digit)) / std::uint64_t(base))
            return false;
        result = result * std::uint64_t(base) + std::uint64_t(digit);
        if (bitsPerDigit) {
            if (cares >> (64 - bitsPerDigit))
                return false;
            cares = (cares << bitsPerDigit) | (isDontCare ? (std::uint64_t {1} << bitsPerDigit) - 1 : 0);
        }
    }
    if (multiplier != 1 && result > std::numeric_limits<std::uint64_t>::max() / multiplier)
        return false;
    value = result * multiplier;
    if (dontCare)
        *dontCare = cares;
    return true;
}

QString identifier(const QString& name)
{
    // Vendor names are identifiers already, nearly always.
    bool plain = !name.isEmpty();
    for (const QChar c : name) {
        const char16_t u = c.unicode();
        if (!((u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_')) {
            plain = false;
            break;
        }
    }
    if (plain)
        return name;
    QString out = name.simplified();
    for (QChar& c : out) {
        if (!(c.isLetterOrNumber() && c.unicode() < 128) && c != QLatin1Char('_'))
            c = QLatin1Char('_');
    }
    return out;
}

bool readSvd(SvdText text, const HwSvdImportLimits& limits, SvdMessages& messages, SvdArena& strings,
    SvdDevice& device)
{
    SvdXmlDocument document;
    int line = 0;
    int column = 0;
    QString error;
    if (!document.parse(std::move(text), limits.document, line, column, error)) {
        messages.fail(line, column, error);
        return false;
    }
    Reader reader(document, limits, messages, strings);
    return reader.run(device) && !messages.failed;
}

} // namespace vellxml::svd_p
