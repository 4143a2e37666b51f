#include <vellxml/svd/svd_model_p.h>

#include <QHash>
#include <QSet>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>

namespace vellxml::svd_p {

namespace {

/// Markup written straight into UTF-8 bytes, indented two spaces a level. The archive sets are large (a
/// vendor chip gives megabytes) and this is most of an import's work, so it stays this simple: one buffer
/// that becomes the file without a copy, texts appended without a converted copy of each. With an arena the
/// buffer is taken from it and grows in place there (each archive is written whole before the next one
/// starts, so its buffer is the arena's last piece).
class XmlOut {
public:
    explicit XmlOut(SvdArena* arena)
        : m_arena(arena)
    {
        reserve(std::size_t {1} << 16);
    }
    /// The text written; the writer is empty afterwards.
    QByteArray take()
    {
        const std::size_t size = m_size;
        m_size = 0;
        if (m_arena != nullptr && m_data != nullptr) {
            // The room not written is given back to the arena for the next archive.
            m_arena->resize(m_data, m_capacity, size);
            const char* const data = m_data;
            m_data = nullptr;
            m_capacity = 0;
            return QByteArray::fromRawData(data, qsizetype(size));
        }
        m_text.truncate(qsizetype(size));
        m_data = nullptr;
        m_capacity = 0;
        return std::move(m_text);
    }

    void writeStartDocument() { *this += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"; }
    void writeEndDocument() { *this += '\n'; }
    void writeStartElement(const char* tag)
    {
        closeStart();
        indent();
        *this += '<';
        *this += tag;
        m_open.push_back({tag, false});
        m_startOpen = true;
    }
    void writeEmptyElement(const char* tag)
    {
        writeStartElement(tag);
        m_open.back().empty = true;
    }
    void writeAttribute(const char* name, const QString& value)
    {
        *this += ' ';
        *this += name;
        *this += "=\"";
        escape(value, true);
        *this += '"';
    }
    /// A number in decimal, or in hexadecimal with a 0x prefix.
    void writeAttribute(const char* name, std::uint64_t value, bool hexadecimal = false)
    {
        char digits[24];
        const auto result = std::to_chars(digits, digits + sizeof digits, value, hexadecimal ? 16 : 10);
        if (hexadecimal) {
            for (char* at = digits; at < result.ptr; ++at)
                *at = *at >= 'a' ? char(*at - 'a' + 'A') : *at;
        }
        *this += ' ';
        *this += name;
        *this += hexadecimal ? "=\"0x" : "=\"";
        append(digits, std::size_t(result.ptr - digits));
        *this += '"';
    }
    /// A bit range "MSB:LSB" in decimal.
    void writeRangeAttribute(const char* name, int msb, int lsb)
    {
        char digits[24];
        *this += ' ';
        *this += name;
        *this += "=\"";
        append(digits, std::size_t(std::to_chars(digits, digits + sizeof digits, msb).ptr - digits));
        *this += ':';
        append(digits, std::size_t(std::to_chars(digits, digits + sizeof digits, lsb).ptr - digits));
        *this += '"';
    }
    void writeCharacters(const QString& text)
    {
        closeStart();
        m_mixed = m_open.size();
        escape(text, false);
    }
    void writeTextElement(const char* tag, const QString& text)
    {
        writeStartElement(tag);
        writeCharacters(text);
        writeEndElement();
    }
    void writeEndElement()
    {
        // An empty element closes itself: this end is its parent's.
        if (m_startOpen && m_open.back().empty)
            closeStart();
        if (m_startOpen) {
            *this += "/>";
            m_startOpen = false;
        } else {
            if (m_mixed != m_open.size())
                indent(-1);
            *this += "</";
            *this += m_open.back().tag;
            *this += '>';
        }
        if (m_mixed == m_open.size())
            m_mixed = 0;
        m_open.pop_back();
    }

private:
    struct Open {
        const char* tag;
        bool empty;
    };

    void closeStart()
    {
        if (!m_startOpen)
            return;
        m_startOpen = false;
        if (m_open.back().empty) {
            *this += "/>";
            m_open.pop_back();
        } else {
            *this += '>';
        }
    }
    void indent(int adjust = 0)
    {
        if (m_mixed != 0)
            return;
        *this += '\n';
        const auto spaces = std::size_t(std::max<std::ptrdiff_t>(0, std::ptrdiff_t(m_open.size()) + adjust) * 2);
        std::memset(room(spaces), ' ', spaces);
    }
    /// Appends the text as UTF-8 with the markup characters escaped (and the quote, in an attribute).
    void escape(const QString& text, bool attribute)
    {
        const QChar* at = text.constData();
        const QChar* const end = at + text.size();
        // ASCII runs, the whole text nearly always, are copied a character at a time as bytes.
        char* out = room(std::size_t(text.size()));
        for (; at < end; ++at) {
            const char16_t u = at->unicode();
            if (u >= 0x80 || u == '&' || u == '<' || u == '>' || (attribute && u == '"'))
                break;
            *out++ = char(u);
        }
        m_size = std::size_t(out - m_data);
        if (at == end)
            return;
        // The rest, from the first character that needs more than a byte.
        const QByteArray bytes = QStringView(at, end - at).toUtf8();
        for (const char c : bytes) {
            switch (c) {
            case '&':
                *this += "&amp;";
                break;
            case '<':
                *this += "&lt;";
                break;
            case '>':
                *this += "&gt;";
                break;
            case '"':
                if (attribute)
                    *this += "&quot;";
                else
                    *this += c;
                break;
            default:
                *this += c;
                break;
            }
        }
    }

    /// Room for `n` more bytes, taken: the caller writes them.
    char* room(std::size_t n)
    {
        if (m_size + n > m_capacity)
            reserve(std::max(m_size + n, m_capacity * 2));
        char* at = m_data + m_size;
        m_size += n;
        return at;
    }
    void reserve(std::size_t capacity)
    {
        if (m_arena != nullptr) {
            if (m_data != nullptr && m_arena->resize(m_data, m_capacity, capacity)) {
                m_capacity = capacity;
                return;
            }
            if (auto* const data = static_cast<char*>(m_arena->allocate(capacity, 1))) {
                if (m_size > 0)
                    std::memcpy(data, m_data, m_size);
                m_data = data;
                m_capacity = capacity;
                return;
            }
            // Out of arena memory: the buffer goes on in memory of its own.
            m_text = QByteArray(m_data, qsizetype(m_size));
            m_arena = nullptr;
        }
        m_text.resize(qsizetype(capacity));
        m_data = m_text.data();
        m_capacity = capacity;
    }
    void append(const char* bytes, std::size_t n) { std::memcpy(room(n), bytes, n); }
    XmlOut& operator+=(const char* text)
    {
        append(text, std::strlen(text));
        return *this;
    }
    XmlOut& operator+=(char c)
    {
        *room(1) = c;
        return *this;
    }

    SvdArena* m_arena;
    /// The text is the first m_size bytes of m_data (m_text's, without an arena); the rest, up to
    /// m_capacity, is room to grow into.
    QByteArray m_text;
    char* m_data = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_size = 0;
    std::vector<Open> m_open;
    std::size_t m_mixed = 0; ///< depth of the element holding text: no indentation inside it
    bool m_startOpen = false;
};

/// A member of a module or structure as our format lays it out: a register (array), or one layer of a
/// cluster (array) as a structure.
struct Member {
    const SvdRegister* reg = nullptr;
    const SvdCluster* cluster = nullptr;
    std::uint64_t offset = 0;
    std::uint64_t size = 0; ///< bytes taken, every array item included
    std::uint64_t elementSize = 0;
    unsigned align = 1;
    std::vector<Member> children;
};

/// Members that do not overlap, in offset order. Our format places members one after another, so
/// registers that share addresses (alternate registers, alternate clusters, peripherals laid over one
/// another) go to further layers, each written as a module of its own placed at the same base address.
struct Layer {
    std::vector<Member> members;
    std::uint64_t end = 0;
    std::uint64_t shift = 0; ///< the layer starts this many bytes after the peripheral's base
};

std::uint64_t roundUp(std::uint64_t value, unsigned align)
{
    return (value + align - 1) / align * align;
}

class Layout {
public:
    explicit Layout(SvdMessages& messages)
        : m_messages(messages)
    {
    }

    bool layers(const std::vector<SvdItem>& items, bool top, std::vector<Layer>& out)
    {
        std::vector<Member> candidates;
        for (const SvdItem& item : items) {
            if (item.reg) {
                Member m;
                m.reg = item.reg.get();
                m.offset = item.reg->offset;
                m.elementSize = std::uint64_t(item.reg->size / 8);
                m.size = m.elementSize * std::uint64_t(item.reg->count >= 0 ? item.reg->count : 1);
                m.align = unsigned(std::min<std::uint64_t>(m.elementSize, 4));
                candidates.push_back(std::move(m));
                continue;
            }
            std::vector<Layer> inner;
            if (!layers(item.cluster->items, false, inner))
                return false;
            for (Layer& layer : inner) {
                Member m;
                m.cluster = item.cluster.get();
                m.offset = item.cluster->offset;
                for (const Member& child : layer.members)
                    m.align = std::max(m.align, child.align);
                m.elementSize = roundUp(layer.end, m.align);
                if (item.cluster->count >= 0)
                    m.elementSize = item.cluster->stride;
                m.size = m.elementSize * std::uint64_t(item.cluster->count >= 0 ? item.cluster->count : 1);
                m.children = std::move(layer.members);
                candidates.push_back(std::move(m));
            }
        }
        std::stable_sort(candidates.begin(), candidates.end(),
            [](const Member& a, const Member& b) { return a.offset < b.offset; });
        for (Member& m : candidates) {
            Layer* home = nullptr;
            for (Layer& layer : out) {
                if (layer.end <= m.offset && (m.offset - layer.shift) % m.align == 0) {
                    home = &layer;
                    break;
                }
            }
            if (!home) {
                const std::uint64_t misalignment = m.offset % m.align;
                if (misalignment != 0 && !top) {
                    m_messages.fail(0, 0,
                        QStringLiteral("'%1' at offset 0x%2 of its cluster is not aligned to its "
                                       "size and cannot be represented.")
                            .arg(m.reg ? m.reg->name : m.cluster->name)
                            .arg(m.offset, 0, 16));
                    return false;
                }
                out.push_back(Layer {});
                home = &out.back();
                home->shift = misalignment != 0 ? m.offset : 0;
                home->end = home->shift;
            }
            home->end = m.offset + m.size;
            home->members.push_back(std::move(m));
        }
        return true;
    }

private:
    SvdMessages& m_messages;
};

/// Option names of one field with their values, found regardless of ASCII case (the names are
/// identifiers, ASCII only). Most fields have a few options, looked up in a list; a long list gets an index.
class TakenNames {
public:
    void clear()
    {
        m_list.clear();
        m_index.clear();
    }
    const std::uint64_t* find(const QString& name) const
    {
        if (!m_index.isEmpty()) {
            const auto it = m_index.constFind(name.toUpper());
            return it == m_index.constEnd() ? nullptr : &it.value();
        }
        for (const auto& entry : m_list) {
            if (sameIgnoringCase(entry.first, name))
                return &entry.second;
        }
        return nullptr;
    }
    void insert(const QString& name, std::uint64_t value)
    {
        m_list.emplace_back(name, value);
        if (!m_index.isEmpty()) {
            m_index.insert(name.toUpper(), value);
        } else if (m_list.size() > 32) {
            for (const auto& entry : m_list)
                m_index.insert(entry.first.toUpper(), entry.second);
        }
    }

private:
    static bool sameIgnoringCase(const QString& a, const QString& b)
    {
        if (a.size() != b.size())
            return false;
        for (qsizetype i = 0; i < a.size(); ++i) {
            char16_t x = a.at(i).unicode();
            char16_t y = b.at(i).unicode();
            x = x >= 'a' && x <= 'z' ? char16_t(x - 'a' + 'A') : x;
            y = y >= 'a' && y <= 'z' ? char16_t(y - 'a' + 'A') : y;
            if (x != y)
                return false;
        }
        return true;
    }

    std::vector<std::pair<QString, std::uint64_t>> m_list;
    QHash<QString, std::uint64_t> m_index; ///< upper-cased names, once the list is long
};

class Writer {
public:
    Writer(HwSvdImportSummary& summary)
        : m_summary(summary)
    {
    }

    static void comment(XmlOut& xml, const QString& text)
    {
        if (!text.isEmpty())
            xml.writeTextElement("comment", text);
    }

    static void hole(XmlOut& xml, std::uint64_t bytes)
    {
        // Sizes are in bits and expressions are 32-bit: write large gaps in pieces.
        constexpr std::uint64_t piece = 0x10000000;
        while (bytes > 0) {
            const std::uint64_t now = std::min(bytes, piece);
            xml.writeEmptyElement("hole");
            xml.writeAttribute("size", now * 8);
            bytes -= now;
        }
    }

    void members(XmlOut& xml, const std::vector<Member>& list, std::uint64_t start, std::uint64_t padTo,
        std::int64_t multiplier)
    {
        std::uint64_t at = start;
        for (const Member& m : list) {
            hole(xml, m.offset - at);
            const std::int64_t items = m.reg ? std::max(m.reg->count, 0) : std::max(m.cluster->count, 0);
            const std::int64_t copies =
                multiplier * ((m.reg ? m.reg->count : m.cluster->count) >= 0 ? items : 1);
            if (m.reg) {
                reg(xml, *m.reg, copies);
            } else {
                xml.writeStartElement("struct");
                xml.writeAttribute("name", m.cluster->name);
                if (m.cluster->count >= 0)
                    xml.writeAttribute("count", std::uint64_t(m.cluster->count));
                comment(xml, m.cluster->description);
                members(xml, m.children, 0, m.cluster->count >= 0 ? m.elementSize : 0, copies);
                xml.writeEndElement();
            }
            at = m.offset + m.size;
        }
        if (padTo > at)
            hole(xml, padTo - at);
    }

    void reg(XmlOut& xml, const SvdRegister& r, std::int64_t copies)
    {
        m_summary.registers += copies;
        m_summary.fields += copies * std::int64_t(r.fields.size());
        xml.writeStartElement(r.size == 8 ? "reg8" : r.size == 16 ? "reg16" : "reg32");
        xml.writeAttribute("name", r.name);
        if (!r.readable || !r.writable)
            xml.writeAttribute("protect", r.readable ? QStringLiteral("w") : QStringLiteral("r"));
        if (r.count >= 0)
            xml.writeAttribute("count", std::uint64_t(r.count));
        comment(xml, r.description);
        for (const SvdField& f : r.fields) {
            xml.writeStartElement("bits");
            xml.writeAttribute("name", f.name);
            if (f.msb == f.lsb) {
                xml.writeAttribute("pos", std::uint64_t(f.lsb));
            } else {
                xml.writeRangeAttribute("pos", f.msb, f.lsb);
            }
            if (f.access != QLatin1String("rw"))
                xml.writeAttribute("access", f.access);
            if (f.hasReset)
                xml.writeAttribute("rst", f.reset, true);
            comment(xml, f.description);
            options(xml, f);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }

    void options(XmlOut& xml, const SvdField& f)
    {
        // Names already given (compared upper-cased, as the C names made of them are), with their values.
        TakenNames& taken = m_taken;
        taken.clear();
        bool open = false;
        auto option = [&](QString name, std::uint64_t value, const SvdEnumValue& source,
                          const QString& note) {
            if (const std::uint64_t* given = taken.find(name)) {
                if (*given == value)
                    return;
                // The same name for another value, as read and write enumerations often have.
                name += QLatin1Char('_') + QString::number(value);
                if (taken.find(name))
                    return;
            }
            taken.insert(name, value);
            if (!open) {
                xml.writeStartElement("options");
                open = true;
            }
            xml.writeStartElement("option");
            xml.writeAttribute("name", name);
            xml.writeAttribute("value", value, true);
            if (note.isEmpty() && source.usage != QLatin1String("read")
                && source.usage != QLatin1String("write")) {
                comment(xml, source.description);
            } else {
                QString text = source.description;
                if (source.usage == QLatin1String("read") || source.usage == QLatin1String("write"))
                    text += (text.isEmpty() ? QString() : QStringLiteral(" "))
                        + QStringLiteral("(On %1.)").arg(source.usage);
                if (!note.isEmpty())
                    text += (text.isEmpty() ? QString() : QStringLiteral(" ")) + note;
                comment(xml, text);
            }
            xml.writeEndElement();
        };
        for (const SvdEnumValue& v : f.values) {
            if (v.isDefault)
                continue;
            const QString name = identifier(v.name);
            std::vector<int> bits;
            for (int b = 0; b < 64; ++b) {
                if ((v.dontCare >> b) & 1)
                    bits.push_back(b);
            }
            if (bits.size() > 4) {
                option(
                    name, v.value, v, QStringLiteral("(Any value of the bits 0x%1.)").arg(v.dontCare, 0, 16));
                continue;
            }
            // One option per value the pattern matches: the first keeps the name.
            for (unsigned combination = 0; combination < (1u << bits.size()); ++combination) {
                std::uint64_t value = v.value;
                for (std::size_t i = 0; i < bits.size(); ++i) {
                    if ((combination >> i) & 1)
                        value |= std::uint64_t {1} << bits[i];
                }
                option(combination == 0 ? name : QStringLiteral("%1_%2").arg(name).arg(value), value, v,
                    QString());
            }
        }
        if (open)
            xml.writeEndElement();
    }

private:
    HwSvdImportSummary& m_summary;
    TakenNames m_taken;
};

} // namespace

bool writeArchives(const SvdDevice& device, const HwSvdImportLimits& limits, SvdMessages& messages,
    QList<QPair<QString, QByteArray>>& files, HwSvdImportSummary& summary, SvdArena* output)
{
    Q_UNUSED(limits);
    Layout layout(messages);
    Writer writer(summary);
    QHash<QString, std::vector<std::uint64_t>> shifts; // type -> start of each layer
    QList<QPair<QString, QByteArray>> archives;
    for (const SvdPeripheral& p : device.peripherals) {
        if (!p.ownsType)
            continue;
        std::vector<Layer> layers;
        if (!layout.layers(p.items, true, layers))
            return false;
        if (layers.empty())
            layers.push_back(Layer {});
        XmlOut xml(output);
        xml.writeStartDocument();
        xml.writeStartElement("archive");
        std::vector<std::uint64_t>& starts = shifts[p.typeName];
        for (std::size_t k = 0; k < layers.size(); ++k) {
            xml.writeStartElement("module");
            xml.writeAttribute(
                "name", k == 0 ? p.typeName : QStringLiteral("%1_ALT%2").arg(p.typeName).arg(k));
            if (!p.group.isEmpty())
                xml.writeAttribute("category", p.group);
            QString description = p.description;
            if (k > 0)
                description =
                    QStringLiteral("Registers of %1 that overlap others (layer %2).").arg(p.typeName).arg(k);
            Writer::comment(xml, description);
            writer.members(xml, layers[k].members, layers[k].shift, 0, 1);
            xml.writeEndElement();
            starts.push_back(layers[k].shift);
        }
        ++summary.types;
        summary.types += int(layers.size()) - 1;
        xml.writeEndElement();
        xml.writeEndDocument();
        archives.append({p.typeName + QStringLiteral(".xml"), xml.take()});
    }

    XmlOut xml(output);
    xml.writeStartDocument();
    xml.writeStartElement("archive");
    xml.writeStartElement("comment");
    xml.writeCharacters(
        device.name + (device.description.isEmpty() ? QString() : QStringLiteral(": ") + device.description));
    for (const QString& line : device.cpuLines) {
        xml.writeEmptyElement("br");
        xml.writeCharacters(QStringLiteral("CPU ") + line);
    }
    xml.writeEndElement();
    for (const auto& value : device.cpuValues) {
        xml.writeEmptyElement("var");
        xml.writeAttribute("name", value.first);
        xml.writeAttribute("value", QString::number(value.second));
    }
    if (!device.interrupts.empty()) {
        xml.writeStartElement("enum");
        xml.writeAttribute("name", device.name + QStringLiteral("_IRQn"));
        Writer::comment(xml, QStringLiteral("Interrupt numbers."));
        QSet<QString> seen;
        for (const SvdInterrupt& irq : device.interrupts) {
            const QString name = irq.name + QStringLiteral("_IRQn");
            if (seen.contains(name))
                continue;
            seen.insert(name);
            xml.writeStartElement("entry");
            xml.writeAttribute("name", name);
            xml.writeAttribute("value", QString::number(irq.value));
            Writer::comment(xml,
                irq.peripheral
                    + (irq.description.isEmpty() ? QString() : QStringLiteral(": ") + irq.description));
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    for (const auto& archive : archives) {
        xml.writeEmptyElement("include");
        xml.writeAttribute("file", archive.first);
    }
    for (const SvdPeripheral& p : device.peripherals) {
        const std::vector<std::uint64_t>& starts = shifts[p.typeName];
        for (std::size_t k = 0; k < starts.size(); ++k) {
            const std::uint64_t address = p.base + starts[k];
            if (address > 0xFFFFFFFFu) {
                messages.fail(
                    0, 0, QStringLiteral("Registers of '%1' lie beyond 32-bit addresses.").arg(p.name));
                return false;
            }
            xml.writeStartElement("instance");
            xml.writeAttribute("name", k == 0 ? p.name : QStringLiteral("%1_ALT%2").arg(p.name).arg(k));
            xml.writeAttribute(
                "type", k == 0 ? p.typeName : QStringLiteral("%1_ALT%2").arg(p.typeName).arg(k));
            if (!p.group.isEmpty())
                xml.writeAttribute("category", p.group);
            xml.writeAttribute("address",
                QStringLiteral("0x%1")
                    .arg(address, 8, 16, QLatin1Char('0'))
                    .toUpper()
                    .replace(QLatin1Char('X'), QLatin1Char('x')));
            Writer::comment(xml, p.description);
            xml.writeEndElement();
            ++summary.peripherals;
        }
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    files.clear();
    files.append({QString::fromLatin1(SVD_ROOT_FILE_NAME), xml.take()});
    files.append(archives);
    return true;
}

} // namespace vellxml::svd_p
