// Writes a synthetic chip description for load benchmarks: a root archive that includes every other
// archive, each archive declaring variables, an enum, a range, a few typedefs, modules (plain peripherals
// and GPIO-like blocks of ports) and the instances that place them at distinct, non-overlapping addresses.
//
// The output depends only on the parameters and the seed: the pseudo-random choices use a fixed generator
// and never the standard distributions, whose results differ between standard libraries.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

struct Parameters {
    std::string outputDirectory;
    int files = 50;
    int modulesPerFile = 25;
    int registersPerModule = 100;
    int bitfieldsPerRegister = 8;
    int registerArraySize = 4;
    int moduleArraySize = 4;
    int instancesPerModule = 2;
    int variablesPerFile = 20;
    std::uint64_t seed = 1;
};

/// What the description holds; type definitions and the copies that instances make are counted apart.
struct Statistics {
    std::int64_t files = 0;
    std::int64_t modules = 0;
    std::int64_t typedefs = 0;
    std::int64_t instances = 0;
    std::int64_t variables = 0;
    // Register items (array items one by one) and their bitfields, in module bodies.
    std::int64_t registers = 0;
    std::int64_t bitfields = 0;
    // Same, in the bodies of typedefs: built once as type definitions, copied where modules use them.
    std::int64_t typedefRegisters = 0;
    std::int64_t typedefBitfields = 0;
    // Register items and bitfields of all instances together (module bodies times instances).
    std::int64_t placedRegisters = 0;
    std::int64_t placedBitfields = 0;
    std::int64_t xmlElements = 0;
    std::int64_t bytes = 0;
    std::uint64_t lastAddress = 0;
};

/// splitmix64: small, fast, and the same sequence on every platform.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }
    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    /// A value in [0, bound); bound must be positive.
    int below(int bound) { return static_cast<int>(next() % static_cast<std::uint64_t>(bound)); }
    /// A value in [low, high].
    int between(int low, int high) { return low + below(high - low + 1); }
    /// True with the given chance in percent.
    bool percent(int chance) { return below(100) < chance; }
    template<typename T>
    const T& pick(const std::vector<T>& values)
    {
        return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
    }

private:
    std::uint64_t m_state;
};

const std::vector<std::string> kWords = {"CTRL", "STAT", "CFG", "MODE", "DATA", "INT", "MASK", "EN", "SEL",
    "DIV", "CNT", "LOAD", "VAL", "FLAG", "CLR", "SET", "TX", "RX", "FIFO", "DMA", "CLK", "RST", "PWR", "LVL",
    "THR", "CMP", "CAP", "PRE", "OVF", "ERR", "BUSY", "RDY", "ACK", "ADDR", "LEN", "PRIO", "SYNC", "EDGE",
    "POL", "GAIN", "OFS", "TRIM", "CAL", "WIN", "PAR", "STOP", "BAUD", "IDLE", "WAKE", "LOCK", "KEY", "SRC",
    "DST", "BURST"};
const std::vector<std::string> kCategories = {
    "Communication", "Timers", "System", "Analog", "GPIO", "DMA", "Security", "Memory", "Interrupts"};
const std::vector<std::string> kCommentWords = {"the", "a", "of", "when", "is", "set", "cleared", "by",
    "hardware", "software", "writing", "one", "zero", "to", "this", "field", "register", "enables", "selects",
    "clock", "interrupt", "request", "pending", "channel", "counter", "value", "reset", "after", "before",
    "reads", "returns", "last", "sample", "transfer", "complete", "error", "flag", "mode", "status",
    "divider", "input", "output", "level", "edge", "threshold", "window", "buffer", "period", "cycles", "bus",
    "access"};
const std::vector<std::string> kAccesses = {"", "rw", "r", "w", "rs", "rc", "c", "s", "r-", "-w"};
const std::vector<std::string> kDisplays = {"hex", "bin", "dec"};
constexpr std::uint64_t kPeripheralBase = 0x40000000ULL;
constexpr std::uint64_t kAddressLimit = 0x100000000ULL;
constexpr int kPortRegisters = 8;

std::string hex(std::uint64_t value, int digits = 0)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return buffer;
}

std::string padded(int value, int width)
{
    std::string text = std::to_string(value);
    return std::string(static_cast<std::size_t>(std::max(0, width - static_cast<int>(text.size()))), '0')
        + text;
}

std::uint64_t alignUp(std::uint64_t value, std::uint64_t alignment)
{
    return alignment <= 1 ? value : (value + alignment - 1) / alignment * alignment;
}

/// Escapes the characters that XML text and attribute values cannot hold as they are.
std::string escaped(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

/// The byte size and alignment of a laid-out member, following the format's layout rules.
struct Layout {
    std::uint64_t size = 0;
    std::uint64_t alignment = 1;
};

/// Text of a member sequence (a type body or a structure) together with its layout and counts.
struct Body {
    std::string text;
    std::uint64_t offset = 0;
    std::uint64_t alignment = 1;
    std::int64_t registers = 0;
    std::int64_t bitfields = 0;

    void place(const Layout& member)
    {
        const std::uint64_t clamped = std::min<std::uint64_t>(member.alignment, 4);
        offset = alignUp(offset, clamped) + member.size;
        alignment = std::max(alignment, clamped);
    }
    Layout layout() const { return {alignUp(offset, alignment), alignment}; }
};

/// Builds one archive's text. Element counts go to the statistics as tags are written.
class ArchiveWriter {
public:
    ArchiveWriter(const Parameters& parameters, Statistics& statistics, Random& random, int index, int digits)
        : m_parameters(parameters)
        , m_statistics(statistics)
        , m_random(random)
        , m_prefix("F" + padded(index, digits) + "_")
    {
    }

    std::string prefix() const { return m_prefix; }

    /// Opens a tag `<name attributes` (attributes already formatted, each with its leading blank).
    std::string open(const std::string& name, const std::string& attributes = std::string())
    {
        ++m_statistics.xmlElements;
        return "<" + name + attributes + ">";
    }
    std::string empty(const std::string& name, const std::string& attributes = std::string())
    {
        ++m_statistics.xmlElements;
        return "<" + name + attributes + "/>";
    }
    static std::string attribute(const std::string& name, const std::string& value)
    {
        return " " + name + "=\"" + escaped(value) + "\"";
    }

    std::string sentence(int minimum, int maximum)
    {
        const int count = m_random.between(minimum, maximum);
        std::string text;
        for (int i = 0; i < count; ++i) {
            std::string word = m_random.pick(kCommentWords);
            if (i == 0)
                word[0] = static_cast<char>(word[0] - 'a' + 'A');
            text += (i ? " " : "") + word;
        }
        return text + ".";
    }
    /// A comment element: one or two sentences, sometimes with a line break, sometimes with characters that
    /// must be escaped.
    std::string comment()
    {
        std::string text = escaped(sentence(3, 12));
        if (m_random.percent(20))
            text += "<br/>" + escaped(sentence(4, 14));
        if (m_random.percent(5))
            text += escaped(" Bits 7 & 6 are ignored when < 2 cycles.");
        ++m_statistics.xmlElements;
        return "<comment>" + text + "</comment>";
    }

    /// A name made of one or two words and a number that is unique in its scope.
    std::string name(int& counter)
    {
        std::string text = m_random.pick(kWords);
        if (m_random.percent(50))
            text += m_random.pick(kWords);
        return text + std::to_string(counter++);
    }

    void writeHeader(std::string& out, const std::string& description)
    {
        out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
        out += "<!-- Synthetic chip for load benchmarks: " + description + " -->\n";
        out += open("archive", attribute("vhdlpkg", "bench_" + lower(m_prefix) + "pkg")) + "\n";
        out += "  " + comment() + "\n";
    }

    /// The declarations every archive makes before its types: its base address, counts and sizes used by
    /// expressions below, filler variables, a range and an enum.
    void writeDeclarations(std::string& out, std::uint64_t base)
    {
        out += "  " + open("spacer") + comment() + "</spacer>\n";
        int written = 0;
        auto variable = [&](const std::string& variableName, const std::string& value, bool withComment) {
            std::string attributes = attribute("name", variableName) + attribute("value", value);
            if (m_random.percent(10))
                attributes += attribute("export", "no");
            if (withComment)
                out += "  " + open("var", attributes) + comment() + "</var>\n";
            else
                out += "  " + empty("var", attributes) + "\n";
            m_variableNames.push_back(variableName);
            ++m_statistics.variables;
            ++written;
        };
        variable(m_prefix + "BASE", "BENCH_PERIPH_BASE + " + hex(base - kPeripheralBase, 8), true);
        variable(m_prefix + "ARRAY_N", std::to_string(m_parameters.registerArraySize), false);
        variable(m_prefix + "PORTS", std::to_string(m_parameters.moduleArraySize), false);
        variable(m_prefix + "DESC_WORDS", "4", false);
        const std::size_t fixed = m_variableNames.size();
        for (int i = written; i < m_parameters.variablesPerFile; ++i) {
            const std::string variableName = m_prefix + m_random.pick(kWords) + "_" + std::to_string(i);
            std::string value;
            switch (m_random.below(4)) {
            case 0:
                value = std::to_string(m_random.between(0, 100000));
                break;
            case 1:
                value = hex(m_random.next() & 0xFFFFFF);
                break;
            case 2:
                value =
                    m_variableNames[static_cast<std::size_t>(1 + m_random.below(static_cast<int>(fixed) - 1))]
                    + " * " + std::to_string(m_random.between(1, 16)) + " + "
                    + hex(m_random.between(0, 0xFFF));
                break;
            default:
                // Only + - * / and numbers: variable values are copied into the C and VHDL outputs.
                value = "(" + m_variableNames.back() + " - " + std::to_string(m_random.between(0, 64))
                    + ") / " + std::to_string(m_random.between(1, 8));
                break;
            }
            variable(variableName, value, m_random.percent(20));
        }
        out += "  "
            + empty("range",
                attribute("name", m_prefix + "LINES") + attribute("left", m_prefix + "ARRAY_N - 1")
                    + attribute("right", "0"))
            + "\n";
        ++m_statistics.variables;

        // The enum whose entries name the values of two-bit fields (options linkenum).
        m_enumName = m_prefix + "LEVEL";
        out += "  " + open("enum", attribute("name", m_enumName)) + "\n    " + comment() + "\n";
        for (int i = 0; i < 4; ++i) {
            const std::string attributes =
                attribute("name", m_enumName + "_" + kWords[static_cast<std::size_t>(i * 3)])
                + attribute("value", std::to_string(i));
            if (i == 3)
                out += "    " + open("entry", attributes) + comment() + "</entry>\n";
            else
                out += "    " + empty("entry", attributes) + "\n";
            ++m_statistics.variables;
        }
        out += "    " + empty("bound", attribute("name", m_enumName + "_COUNT")) + "\n";
        out += "  </enum>\n";
    }

    /// A register tag with its bitfields, options and bit groups. `fieldCounter` keeps field names unique in
    /// the enclosing type.
    std::string registerTag(const std::string& indent, const std::string& registerName,
        const std::string& count, int& fieldCounter, Layout& layout, std::int64_t& bitfields)
    {
        const int fields = m_parameters.bitfieldsPerRegister;
        std::vector<int> widths;
        if (fields <= 8)
            widths = {32, 32, 32, 32, 32, 32, 32, 16, 16, 8};
        else if (fields <= 16)
            widths = {32, 32, 32, 16};
        else
            widths = {32};
        const int width = m_random.pick(widths);
        const std::string tag = width == 32 ? "reg32" : width == 16 ? "reg16" : "reg8";
        layout = {static_cast<std::uint64_t>(width / 8), static_cast<std::uint64_t>(width / 8)};

        std::string attributes = attribute("name", registerName);
        if (!count.empty())
            attributes += attribute("count", count);
        if (m_random.percent(15))
            attributes += attribute("protect", m_random.percent(60) ? "w" : "r");
        if (m_random.percent(15))
            attributes += attribute("display", m_random.pick(kDisplays));
        std::string out = indent + open(tag, attributes) + "\n";
        const std::string inner = indent + "  ";
        if (m_random.percent(60))
            out += inner + comment() + "\n";
        if (width > 8 && m_random.percent(5)) {
            out += inner + empty("l", attribute("name", registerName + "L")) + "\n";
            out += inner + empty("h", attribute("name", registerName + "H")) + "\n";
        }

        // Field widths: one bit each, the rest of the used bits spread at random; unused bits become gaps.
        std::vector<int> fieldWidths(static_cast<std::size_t>(fields), 1);
        if (fields > 0) {
            const int used = m_random.between(fields, width);
            for (int extra = used - fields; extra > 0; --extra)
                ++fieldWidths[static_cast<std::size_t>(m_random.below(fields))];
            int gaps = width - used;
            std::vector<std::string> names;
            int position = 0;
            for (int i = 0; i < fields; ++i) {
                const int gap = gaps > 0 && m_random.percent(30) ? m_random.between(1, gaps) : 0;
                gaps -= gap;
                position += gap;
                const int fieldWidth = fieldWidths[static_cast<std::size_t>(i)];
                const int low = position;
                const int high = position + fieldWidth - 1;
                position += fieldWidth;
                const std::string fieldName = name(fieldCounter);
                names.push_back(fieldName);
                out += bitsTag(inner, fieldName, low, high);
            }
            bitfields += fields;
            if (fields >= 3 && m_random.percent(15)) {
                out += inner + open("bitgroup", attribute("name", "GRP" + std::to_string(fieldCounter++)))
                    + "\n";
                const int first = m_random.below(fields - 1);
                for (int i = first; i < std::min(fields, first + 3); ++i)
                    out += inner + "  " + empty("entry", attribute("ref", names[static_cast<std::size_t>(i)]))
                        + "\n";
                out += inner + "</bitgroup>\n";
            }
        }
        out += indent + "</" + tag + ">\n";
        return out;
    }

    std::string bitsTag(const std::string& indent, const std::string& fieldName, int low, int high)
    {
        const int width = high - low + 1;
        std::string position;
        if (low == high)
            position = std::to_string(low);
        else if (low >= 2 && low % 2 == 0 && m_random.percent(10))
            position = "2 * " + std::to_string(low / 2) + " + " + std::to_string(width - 1) + ":2 * "
                + std::to_string(low / 2);
        else if (m_random.percent(5))
            position = std::to_string(low) + ":" + std::to_string(high);
        else
            position = std::to_string(high) + ":" + std::to_string(low);
        std::string attributes = attribute("name", fieldName) + attribute("pos", position);
        const std::string access = m_random.pick(kAccesses);
        if (!access.empty())
            attributes += attribute("access", access);
        const std::uint64_t mask = width >= 32 ? 0xFFFFFFFFULL : (1ULL << width) - 1;
        const int reset = m_random.below(10);
        if (reset < 4)
            attributes += attribute("rst", "0");
        else if (reset < 6)
            attributes += attribute("rst", std::to_string(m_random.next() & mask));
        else if (reset < 8)
            attributes += attribute("rst", hex(m_random.next() & mask));
        else if (reset < 9)
            attributes += attribute("rst", "all1");
        if (m_random.percent(10))
            attributes += attribute("display", m_random.pick(kDisplays));

        std::string children;
        const std::string inner = indent + "  ";
        if (m_random.percent(30))
            children += inner + comment() + "\n";
        if (m_random.percent(25)) {
            std::string flags;
            if (m_random.percent(30))
                flags += attribute("default", "yes");
            if (m_random.percent(30))
                flags += attribute("mask", "yes");
            if (m_random.percent(30))
                flags += attribute("shift", "yes");
            if (width == 2 && m_random.percent(40)) {
                children += inner + empty("options", attribute("linkenum", m_enumName) + flags) + "\n";
            } else {
                children += inner + open("options", flags) + "\n";
                const int options =
                    static_cast<int>(std::min<std::uint64_t>(mask + 1, 2 + m_random.below(3)));
                for (int i = 0; i < options; ++i) {
                    const std::string optionAttributes =
                        attribute("name",
                            kWords[static_cast<std::size_t>((i * 7 + low) % kWords.size())] + "_"
                                + std::to_string(i))
                        + attribute("value", i == options - 1 ? hex(mask) : std::to_string(i));
                    if (m_random.percent(10))
                        children +=
                            inner + "  " + open("option", optionAttributes) + comment() + "</option>\n";
                    else
                        children += inner + "  " + empty("option", optionAttributes) + "\n";
                }
                children += inner + "</options>\n";
            }
        }
        if (children.empty())
            return indent + empty("bits", attributes) + "\n";
        return indent + open("bits", attributes) + "\n" + children + indent + "</bits>\n";
    }

    /// Pads the body to a multiple of `alignment` with an explicit hole, as descriptions are asked to.
    void alignWithHole(Body& body, const std::string& indent, std::uint64_t alignment)
    {
        const std::uint64_t gap = alignUp(body.offset, alignment) - body.offset;
        if (gap > 0)
            addHole(body, indent, gap);
    }
    void addHole(Body& body, const std::string& indent, std::uint64_t bytes)
    {
        body.text += indent + empty("hole", attribute("size", std::to_string(bytes * 8))) + "\n";
        body.place({bytes, 1});
    }

    /// One register (or a register array of `count` items) appended to the body.
    void addRegister(Body& body, const std::string& indent, int& nameCounter, int& fieldCounter, int count,
        const std::string& countText)
    {
        Layout layout;
        std::int64_t bitfields = 0;
        const std::string registerName = name(nameCounter);
        std::string text = registerTag(indent, registerName, countText, fieldCounter, layout, bitfields);
        alignWithHole(body, indent, layout.alignment);
        body.text += text;
        body.place({layout.size * static_cast<std::uint64_t>(count), layout.alignment});
        body.registers += count;
        body.bitfields += bitfields * count;
    }

    /// A structure of a few registers holding a nested structure array of two items.
    void addStruct(Body& body, const std::string& indent, int& nameCounter, int& fieldCounter, int registers)
    {
        const std::string inner = indent + "  ";
        Body structure;
        if (m_random.percent(40))
            structure.text += inner + comment() + "\n";
        for (int i = 0; i < registers - 2; ++i)
            addRegister(structure, inner, nameCounter, fieldCounter, 1, std::string());
        Body nested;
        addRegister(nested, inner + "  ", nameCounter, fieldCounter, 1, std::string());
        alignWithHole(nested, inner + "  ", 4);
        const Layout nestedLayout = nested.layout();
        alignWithHole(structure, inner, nestedLayout.alignment);
        structure.text += inner
            + open(
                "struct", attribute("name", "SUB" + std::to_string(nameCounter++)) + attribute("count", "2"))
            + "\n" + nested.text + inner + "</struct>\n";
        structure.place({nestedLayout.size * 2, nestedLayout.alignment});
        structure.registers += nested.registers * 2;
        structure.bitfields += nested.bitfields * 2;

        const Layout layout = structure.layout();
        alignWithHole(body, indent, layout.alignment);
        body.text += indent + open("struct", attribute("name", "BLK" + std::to_string(nameCounter++))) + "\n"
            + structure.text + indent + "</struct>\n";
        body.place(layout);
        body.registers += structure.registers;
        body.bitfields += structure.bitfields;
    }

    /// Members that are not registers: a pointer to the file's descriptor, a memory window, an integer.
    void addExtra(Body& body, const std::string& indent, int& nameCounter)
    {
        switch (m_random.below(4)) {
        case 0:
            alignWithHole(body, indent, 4);
            body.text += indent
                + empty("ptr",
                    attribute("name", "DESC" + std::to_string(nameCounter++))
                        + attribute("type", m_prefix + "DESC"))
                + "\n";
            body.place({4, 4});
            break;
        case 1:
            alignWithHole(body, indent, 4);
            body.text += indent
                + open("memory",
                    attribute("name", "FIFO" + std::to_string(nameCounter++)) + attribute("size", "16"))
                + comment() + "</memory>\n";
            body.place({16, 4});
            break;
        case 2:
            alignWithHole(body, indent, 4);
            body.text +=
                indent + empty("uint32", attribute("name", "COUNT" + std::to_string(nameCounter++))) + "\n";
            body.place({4, 4});
            break;
        default:
            addHole(body, indent, 4 * static_cast<std::uint64_t>(m_random.between(1, 4)));
            break;
        }
    }

    /// The typedefs of the archive: a DMA-like descriptor (pointed to by modules) and, when modules have
    /// port arrays, the port of the GPIO-like blocks padded to its stride.
    void writeTypedefs(std::string& out)
    {
        int nameCounter = 0;
        int fieldCounter = 0;
        Body descriptor;
        addRegister(descriptor, "    ", nameCounter, fieldCounter, 1, std::string());
        for (const char* member : {"SRC_ADDR", "DST_ADDR"}) {
            descriptor.text += "    " + empty("uint32", attribute("name", member)) + "\n";
            descriptor.place({4, 4});
        }
        descriptor.text +=
            "    " + empty("ptr", attribute("name", "NEXT") + attribute("type", "void")) + "\n";
        descriptor.place({4, 4});
        out += "  " + open("typedef", attribute("name", m_prefix + "DESC") + attribute("category", "DMA"))
            + "\n    " + comment() + "\n" + descriptor.text + "  </typedef>\n";
        ++m_statistics.typedefs;
        m_statistics.typedefRegisters += descriptor.registers;
        m_statistics.typedefBitfields += descriptor.bitfields;

        if (m_parameters.moduleArraySize <= 0)
            return;
        Body port;
        nameCounter = 0;
        fieldCounter = 0;
        for (int i = 0; i < kPortRegisters; ++i)
            addRegister(port, "    ", nameCounter, fieldCounter, 1, std::string());
        // Pad the port to a power-of-two stride, as real port blocks are.
        std::uint64_t stride = 0x40;
        while (stride < port.offset)
            stride *= 2;
        m_portStride = stride;
        if (stride > port.offset)
            addHole(port, "    ", stride - port.offset);
        m_portRegisters = port.registers;
        m_portBitfields = port.bitfields;
        out += "  " + open("typedef", attribute("name", m_prefix + "PORT") + attribute("category", "GPIO"))
            + "\n    " + comment() + "\n" + port.text + "  </typedef>\n";
        ++m_statistics.typedefs;
        m_statistics.typedefRegisters += port.registers;
        m_statistics.typedefBitfields += port.bitfields;
    }

    /// One module of exactly `registersPerModule` register items. Every fourth module is a GPIO-like block
    /// holding an array of ports. Returns the module's size in bytes.
    std::uint64_t writeModule(std::string& out, const std::string& moduleName)
    {
        Body body;
        int nameCounter = 0;
        int fieldCounter = 0;
        const std::string indent = "    ";
        int budget = m_parameters.registersPerModule;
        const bool portBlock = m_parameters.moduleArraySize > 0 && m_moduleCounter % 4 == 3
            && m_portRegisters * m_parameters.moduleArraySize <= budget;
        ++m_moduleCounter;
        if (portBlock) {
            alignWithHole(body, indent, 4);
            body.text += indent
                + open("instance",
                    attribute("type", m_prefix + "PORT") + attribute("name", "PORT")
                        + attribute("count", m_prefix + "PORTS"))
                + comment() + "</instance>\n";
            body.place({m_portStride * static_cast<std::uint64_t>(m_parameters.moduleArraySize), 4});
            body.registers += m_portRegisters * m_parameters.moduleArraySize;
            body.bitfields += m_portBitfields * m_parameters.moduleArraySize;
            budget -= static_cast<int>(m_portRegisters) * m_parameters.moduleArraySize;
        }
        while (budget > 0) {
            const int choice = m_random.below(100);
            const int arraySize = m_parameters.registerArraySize;
            if (choice < 8 && arraySize > 1 && arraySize <= budget) {
                addRegister(body, indent, nameCounter, fieldCounter, arraySize,
                    m_random.percent(50) ? m_prefix + "ARRAY_N" : std::to_string(arraySize));
                budget -= arraySize;
            } else if (choice < 12 && budget >= 5) {
                const int registers = m_random.between(4, std::min(budget, 6));
                addStruct(body, indent, nameCounter, fieldCounter, registers);
                budget -= registers;
            } else {
                addRegister(body, indent, nameCounter, fieldCounter, 1, std::string());
                --budget;
            }
            if (m_random.percent(4))
                addExtra(body, indent, nameCounter);
        }
        std::string attributes =
            attribute("name", moduleName) + attribute("category", m_random.pick(kCategories));
        out += "  " + open("module", attributes) + "\n    " + comment() + "\n" + body.text + "  </module>\n";
        ++m_statistics.modules;
        m_statistics.registers += body.registers;
        m_statistics.bitfields += body.bitfields;
        m_lastRegisters = body.registers;
        m_lastBitfields = body.bitfields;
        return body.layout().size;
    }

    /// Places `instancesPerModule` copies of the module from `address` on, each on its own 256-byte aligned
    /// slot; returns the address after the last one.
    std::uint64_t writeInstances(std::string& out, const std::string& moduleName, std::uint64_t size,
        std::uint64_t base, std::uint64_t address)
    {
        const std::uint64_t stride = alignUp(std::max<std::uint64_t>(size, 1), 0x100);
        for (int i = 0; i < m_parameters.instancesPerModule; ++i) {
            std::string attributes = attribute("name", moduleName + "_" + std::to_string(i))
                + attribute("type", moduleName)
                + attribute("address", m_prefix + "BASE + " + hex(address - base));
            if (m_random.percent(20))
                attributes += attribute("category", m_random.pick(kCategories));
            std::string children;
            if (m_random.percent(20))
                children += "    " + comment() + "\n";
            if (m_random.percent(5))
                children += "    "
                    + empty("altaddress",
                        attribute("name", "secure")
                            + attribute("address",
                                m_prefix + "BASE + " + hex(address - base) + " + BENCH_SECURE_OFFSET"))
                    + "\n";
            if (children.empty())
                out += "  " + empty("instance", attributes) + "\n";
            else
                out += "  " + open("instance", attributes) + "\n" + children + "  </instance>\n";
            address += stride;
            ++m_statistics.instances;
            m_statistics.placedRegisters += m_lastRegisters;
            m_statistics.placedBitfields += m_lastBitfields;
        }
        return address;
    }

    /// The archive's own content after its includes: declarations, typedefs, modules and instances.
    /// Returns the first free address after its instances.
    std::uint64_t writeContent(std::string& out, std::uint64_t base)
    {
        writeDeclarations(out, base);
        writeTypedefs(out);
        std::uint64_t address = base;
        std::string instances;
        int nameCounter = 0;
        for (int i = 0; i < m_parameters.modulesPerFile; ++i) {
            const std::string moduleName = m_prefix + name(nameCounter);
            const std::uint64_t size = writeModule(out, moduleName);
            address = writeInstances(instances, moduleName, size, base, address);
        }
        out += "  " + open("spacer") + comment() + "</spacer>\n";
        out += instances;
        return address;
    }

    static std::string lower(std::string text)
    {
        for (char& c : text)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
        return text;
    }

private:
    const Parameters& m_parameters;
    Statistics& m_statistics;
    Random& m_random;
    std::string m_prefix;
    std::vector<std::string> m_variableNames;
    std::string m_enumName;
    std::uint64_t m_portStride = 0;
    std::int64_t m_portRegisters = 0;
    std::int64_t m_portBitfields = 0;
    int m_moduleCounter = 0;
    std::int64_t m_lastRegisters = 0;
    std::int64_t m_lastBitfields = 0;
};

/// File names relative to the root file's directory: the root, the common archive, then the peripherals.
std::string archivePath(int index, int digits)
{
    if (index == 0)
        return "chip.xml";
    if (index == 1)
        return "common.xml";
    return "periph/p" + padded(index, digits) + ".xml";
}

bool writeFile(const std::filesystem::path& path, const std::string& text, Statistics& statistics)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        std::fprintf(stderr, "vellxml_make_chip: cannot write %s\n", path.string().c_str());
        return false;
    }
    statistics.bytes += static_cast<std::int64_t>(text.size());
    ++statistics.files;
    return true;
}

/// The root's include of peripheral `index`: plain most of the time, every fifth one through cases over the
/// root's revision variable (each case names an existing archive, so any revision loads).
std::string includeTag(ArchiveWriter& writer, int index, int digits)
{
    const std::string file = archivePath(index, digits);
    if (index % 5 != 2)
        return "  " + writer.empty("include", ArchiveWriter::attribute("file", file)) + "\n";
    const std::string previous = archivePath(index - 1, digits);
    std::string out = "  " + writer.open("include") + "\n    " + writer.comment() + "\n";
    out += "    "
        + writer.empty("case",
            ArchiveWriter::attribute("cond", "BENCH_REV >= 2 && BENCH_VARIANT != 0")
                + ArchiveWriter::attribute("file", file))
        + "\n";
    out += "    "
        + writer.empty("case",
            ArchiveWriter::attribute("cond", "BENCH_REV == 1") + ArchiveWriter::attribute("file", previous))
        + "\n";
    out += "    " + writer.empty("default", ArchiveWriter::attribute("file", file)) + "\n";
    out += "  </include>\n";
    return out;
}

int generate(const Parameters& parameters, Statistics& statistics)
{
    // Refuse before writing anything when even one byte per register cannot place every instance.
    const double slot = std::max(256.0, static_cast<double>(parameters.registersPerModule));
    const double lowestEnd = static_cast<double>(kPeripheralBase)
        + static_cast<double>(parameters.files) * parameters.modulesPerFile * parameters.instancesPerModule
            * slot;
    if (lowestEnd > static_cast<double>(kAddressLimit - 0x10000000ULL)) {
        std::fprintf(stderr,
            "vellxml_make_chip: %d files of %d modules with %d instances each do not fit below 0xF0000000; "
            "use fewer or smaller modules\n",
            parameters.files, parameters.modulesPerFile, parameters.instancesPerModule);
        return 1;
    }
    Random random(parameters.seed);
    const int digits = std::max(2, static_cast<int>(std::to_string(parameters.files - 1).size()));
    const std::filesystem::path directory(parameters.outputDirectory);
    std::uint64_t address = kPeripheralBase;

    for (int index = 0; index < parameters.files; ++index) {
        ArchiveWriter writer(parameters, statistics, random, index, digits);
        std::string out;
        if (index == 0) {
            writer.writeHeader(out, "root archive, load this file");
            out += "  " + writer.open("cjoker") + "\n#define BENCH_CHIP_SEED " + hex(parameters.seed)
                + "u\n</cjoker>\n";
            out += "  "
                + writer.open("var",
                    ArchiveWriter::attribute("name", "BENCH_REV") + ArchiveWriter::attribute("value", "2"))
                + writer.comment() + "</var>\n";
            out += "  "
                + writer.empty("var",
                    ArchiveWriter::attribute("name", "BENCH_VARIANT")
                        + ArchiveWriter::attribute("value", "3"))
                + "\n";
            statistics.variables += 2;
            if (parameters.files > 1)
                out += "  "
                    + writer.empty("include", ArchiveWriter::attribute("file", archivePath(1, digits)))
                    + "\n";
            for (int other = 2; other < parameters.files; ++other)
                out += includeTag(writer, other, digits);
            out += "  "
                + writer.open("include",
                    ArchiveWriter::attribute("file", "board.xml")
                        + ArchiveWriter::attribute("optional", "yes"))
                + "\n    " + writer.comment() + "\n  </include>\n";
            if (parameters.files == 1)
                out += "  "
                    + writer.empty("var",
                        ArchiveWriter::attribute("name", "BENCH_PERIPH_BASE")
                            + ArchiveWriter::attribute("value", hex(kPeripheralBase)))
                    + "\n";
        } else if (index == 1) {
            writer.writeHeader(out, "common definitions");
            out += "  "
                + writer.empty("var",
                    ArchiveWriter::attribute("name", "BENCH_PERIPH_BASE")
                        + ArchiveWriter::attribute("value", hex(kPeripheralBase)))
                + "\n";
            out += "  "
                + writer.empty("var",
                    ArchiveWriter::attribute("name", "BENCH_SECURE_OFFSET")
                        + ArchiveWriter::attribute("value", "0x10000000")
                        + ArchiveWriter::attribute("export", "no"))
                + "\n";
            statistics.variables += 2;
        } else {
            writer.writeHeader(out, "peripheral archive");
            out += "  " + writer.open("include", ArchiveWriter::attribute("file", "../common.xml")) + "\n    "
                + writer.comment() + "\n  </include>\n";
            if (index % 10 == 3)
                out += "  "
                    + writer.empty("include",
                        ArchiveWriter::attribute("file", "p" + padded(index - 1, digits) + ".xml")
                            + ArchiveWriter::attribute("load", "no"))
                    + "\n";
        }
        if (index == 0 && parameters.files == 1)
            out += "  "
                + writer.empty("var",
                    ArchiveWriter::attribute("name", "BENCH_SECURE_OFFSET")
                        + ArchiveWriter::attribute("value", "0x10000000"))
                + "\n";
        const std::uint64_t base = address;
        address = alignUp(writer.writeContent(out, base), 0x10000);
        if (address > kAddressLimit - 0x10000000ULL) {
            std::fprintf(stderr,
                "vellxml_make_chip: the instances do not fit below 0xF0000000 (reached %s after %d files); "
                "use fewer or smaller modules\n",
                hex(address).c_str(), index + 1);
            return 1;
        }
        statistics.lastAddress = address;
        out += "</archive>\n";
        if (!writeFile(directory / archivePath(index, digits), out, statistics))
            return 1;
    }
    return 0;
}

void usage()
{
    const Parameters defaults;
    std::fprintf(stderr,
        "usage: vellxml_make_chip OUTPUT_DIRECTORY [options]\n"
        "Writes OUTPUT_DIRECTORY/chip.xml, common.xml and periph/p*.xml: a synthetic chip description.\n"
        "  --files N            archives, root and common included (default %d)\n"
        "  --modules N          modules per archive (default %d)\n"
        "  --registers N        register items per module, array items counted one by one (default %d)\n"
        "  --bitfields N        bitfields per register, 0 to 32 (default %d)\n"
        "  --register-array N   items of the register arrays (default %d)\n"
        "  --module-array N     ports of the GPIO-like blocks, every fourth module; 0 for none (default %d)\n"
        "  --instances N        instances of each module (default %d)\n"
        "  --variables N        var tags per archive, at least 4 (default %d)\n"
        "  --seed N             seed of the pseudo-random choices (default %llu)\n",
        defaults.files, defaults.modulesPerFile, defaults.registersPerModule, defaults.bitfieldsPerRegister,
        defaults.registerArraySize, defaults.moduleArraySize, defaults.instancesPerModule,
        defaults.variablesPerFile, static_cast<unsigned long long>(defaults.seed));
}

bool parseNumber(const char* text, long long minimum, long long maximum, long long& value)
{
    char* end = nullptr;
    value = std::strtoll(text, &end, 0);
    return end && *end == '\0' && end != text && value >= minimum && value <= maximum;
}

bool parseArguments(int argc, char** argv, Parameters& parameters)
{
    struct Option {
        const char* name;
        int* target;
        long long minimum;
        long long maximum;
    };
    const Option options[] = {
        {"--files", &parameters.files, 1, 100000},
        {"--modules", &parameters.modulesPerFile, 0, 1000000},
        {"--registers", &parameters.registersPerModule, 0, 10000000},
        {"--bitfields", &parameters.bitfieldsPerRegister, 0, 32},
        {"--register-array", &parameters.registerArraySize, 0, 100000},
        {"--module-array", &parameters.moduleArraySize, 0, 100000},
        {"--instances", &parameters.instancesPerModule, 0, 100000},
        {"--variables", &parameters.variablesPerFile, 4, 1000000},
    };
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-h" || argument == "--help")
            return false;
        if (argument.rfind("--", 0) != 0) {
            if (!parameters.outputDirectory.empty())
                return false;
            parameters.outputDirectory = argument;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "vellxml_make_chip: %s needs a value\n", argument.c_str());
            return false;
        }
        const char* value = argv[++i];
        long long number = 0;
        if (argument == "--seed") {
            if (!parseNumber(value, 0, 0x7FFFFFFFFFFFFFFFLL, number)) {
                std::fprintf(stderr, "vellxml_make_chip: bad value '%s' for --seed\n", value);
                return false;
            }
            parameters.seed = static_cast<std::uint64_t>(number);
            continue;
        }
        bool known = false;
        for (const Option& option : options) {
            if (argument != option.name)
                continue;
            known = true;
            if (!parseNumber(value, option.minimum, option.maximum, number)) {
                std::fprintf(stderr, "vellxml_make_chip: bad value '%s' for %s (%lld to %lld)\n", value,
                    option.name, option.minimum, option.maximum);
                return false;
            }
            *option.target = static_cast<int>(number);
        }
        if (!known) {
            std::fprintf(stderr, "vellxml_make_chip: unknown option %s\n", argument.c_str());
            return false;
        }
    }
    return !parameters.outputDirectory.empty();
}

} // namespace

int main(int argc, char** argv)
{
    Parameters parameters;
    if (!parseArguments(argc, argv, parameters)) {
        usage();
        return 2;
    }
    Statistics statistics;
    if (generate(parameters, statistics) != 0)
        return 1;
    std::printf("files:                 %lld\n", static_cast<long long>(statistics.files));
    std::printf("modules:               %lld\n", static_cast<long long>(statistics.modules));
    std::printf("typedefs:              %lld\n", static_cast<long long>(statistics.typedefs));
    std::printf("registers (modules):   %lld\n", static_cast<long long>(statistics.registers));
    std::printf("bitfields (modules):   %lld\n", static_cast<long long>(statistics.bitfields));
    std::printf("registers (typedefs):  %lld\n", static_cast<long long>(statistics.typedefRegisters));
    std::printf("bitfields (typedefs):  %lld\n", static_cast<long long>(statistics.typedefBitfields));
    std::printf("instances:             %lld\n", static_cast<long long>(statistics.instances));
    std::printf("registers (instances): %lld\n", static_cast<long long>(statistics.placedRegisters));
    std::printf("bitfields (instances): %lld\n", static_cast<long long>(statistics.placedBitfields));
    std::printf("variables:             %lld (var, range and enum entries)\n",
        static_cast<long long>(statistics.variables));
    std::printf("xml elements:          %lld\n", static_cast<long long>(statistics.xmlElements));
    std::printf("bytes written:         %lld\n", static_cast<long long>(statistics.bytes));
    std::printf("address range:         0x40000000 - %s\n", hex(statistics.lastAddress, 8).c_str());
    return 0;
}
