// Random valid chip descriptions shaped like vendor chips: large sparse peripherals with holes, bases at
// 0x4000_0000 and above 0x8000_0000, register arrays, nested structures and typedef arrays, memories,
// pointers, alternative addresses, a conditional include, archives of one file name in two folders and a
// dotted file name, and names drawn from hostile sets (C and VHDL keywords, trailing and double
// underscores, leading digits and underscores, names equal but for case).
#include "generated_check.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace gencheck {

namespace {

/// splitmix64: the same sequence on every platform.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}
    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    int below(int n) { return n <= 0 ? 0 : static_cast<int>(next() % static_cast<std::uint64_t>(n)); }
    bool chance(int percent) { return below(100) < percent; }

private:
    std::uint64_t m_state;
};

const char* const kHostile[] = {"int", "break", "INT", "BREAK", "HPB0_", "a__b", "_lead", "signal", "out",
    "in", "Reserved", "reserved", "case", "default", "entity", "data", "Data", "sizeof", "range", "end",
    "TRAIL_", "x__", "type", "register", "static", "process", "REG32", "volatile", "is", "port"};

/// Names for one scope: hostile or plain, never twice the same text (case-only differences allowed).
class Names {
public:
    explicit Names(Random& random) : m_random(random) {}
    std::string take(const char* plain)
    {
        for (;;) {
            std::string name = m_random.chance(35) ? kHostile[m_random.below(sizeof(kHostile) / sizeof(kHostile[0]))]
                                                   : std::string(plain) + std::to_string(m_random.below(40));
            if (m_used.insert(name).second)
                return name;
        }
    }

private:
    Random& m_random;
    std::set<std::string> m_used;
};

struct Writer {
    Random& random;
    std::string text;
    std::vector<std::string> typedefs; // declared so far, usable by later members

    void bitfields(int width, int level)
    {
        Names names(random);
        int pos = 0;
        while (pos < width && random.chance(70)) {
            pos += random.below(4);
            if (pos >= width)
                break;
            const int w = 1 + random.below(std::min(8, width - pos));
            const int up = pos + w - 1;
            text += std::string(level * 2, ' ') + "<bits name=\"" + names.take("F") + "\" pos=\""
                + (w == 1 ? std::to_string(pos) : std::to_string(up) + ":" + std::to_string(pos)) + "\"/>\n";
            pos = up + 1;
        }
        if (random.chance(20)) // a field at the top bit: its masks reach bit 31 of a 32-bit register
            text += std::string(level * 2, ' ') + "<bits name=\"TOPBIT\" pos=\"" + std::to_string(width - 1)
                + "\"/>\n";
    }

    void members(int level, int depth, int count)
    {
        Names names(random);
        const std::string pad(level * 2, ' ');
        for (int i = 0; i < count; ++i) {
            const int kind = random.below(depth > 0 ? 11 : 9);
            const std::string name = names.take("M");
            const std::string counted = random.chance(15) ? " count=\"" + std::to_string(1 + random.below(4)) + "\"" : "";
            switch (kind) {
            case 0:
            case 1:
            case 2: {
                static const char* const tags[] = {"reg8", "reg16", "reg32"};
                static const int widths[] = {8, 16, 32};
                const int k = random.below(3);
                text += pad + "<" + tags[k] + " name=\"" + name + "\"" + counted + ">\n";
                bitfields(widths[k], level + 1);
                text += pad + "</" + tags[k] + ">\n";
                break;
            }
            case 3:
                text += pad + "<hole size=\"" + std::to_string(8 * (1 + random.below(random.chance(20) ? 4000 : 6))) + "\"/>\n";
                break;
            case 4:
                text += pad + "<memory name=\"" + name + "\" size=\"" + std::to_string(random.below(12)) + "\"/>\n";
                break;
            case 5: {
                static const char* const tags[] = {"uint8", "uint16", "uint32", "int8", "int16", "int32", "bool"};
                text += pad + "<" + tags[random.below(7)] + " name=\"" + name + "\"" + counted + "/>\n";
                break;
            }
            case 6:
                if (!typedefs.empty())
                    text += pad + "<ptr name=\"" + name + "\" type=\"" + typedefs[random.below(static_cast<int>(typedefs.size()))] + "\"/>\n";
                else
                    text += pad + "<ptr name=\"" + name + "\" type=\"uint8\"/>\n";
                break;
            case 7:
                if (!typedefs.empty()) {
                    text += pad + "<instance name=\"" + name + "\" type=\"" + typedefs[random.below(static_cast<int>(typedefs.size()))] + "\"" + counted + "/>\n";
                    break;
                }
                [[fallthrough]];
            case 8:
                text += pad + "<reg32 name=\"" + name + "\" count=\"" + std::to_string(2 + random.below(6)) + "\">\n";
                bitfields(32, level + 1);
                text += pad + "</reg32>\n";
                break;
            default:
                text += pad + "<struct name=\"" + name + "\"" + counted + ">\n";
                members(level + 1, depth - 1, 1 + random.below(4));
                text += pad + "</struct>\n";
                break;
            }
        }
    }
};

bool writeFile(const QString& path, const std::string& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.data(), static_cast<qint64>(text.size())) >= 0;
}

} // namespace

QString writeRandomChip(const QString& directory, std::uint64_t seed)
{
    Random random(seed * 0x2545F4914F6CDD1Dull + 1);
    struct Part {
        QString file;
        std::string type;
        std::string text;
    };
    // Sub-archives: two of one file name in different folders, and a dotted file name.
    const QString files[] = {QStringLiteral("a/blk.xml"), QStringLiteral("b/blk.xml"), QStringLiteral("my.uart.xml")};
    std::vector<Part> parts;
    std::vector<std::string> types;
    int typeNumber = 0;
    for (const QString& file : files) {
        Writer writer {random, {}, {}};
        std::string body;
        for (int t = 0; t < 1 + random.below(2); ++t) {
            const std::string name = "TD" + std::to_string(typeNumber++);
            writer.text.clear();
            writer.text += "  <typedef name=\"" + name + "\">\n";
            writer.members(2, 1, 1 + random.below(4));
            writer.text += "  </typedef>\n";
            body += writer.text;
            writer.typedefs.push_back(name);
        }
        const int modules = 1 + random.below(3);
        for (int m = 0; m < modules; ++m) {
            const std::string name = "MOD" + std::to_string(typeNumber++) + (random.chance(30) ? "_" : "");
            writer.text.clear();
            writer.text += "  <module name=\"" + name + "\">\n";
            writer.members(2, 2, 2 + random.below(10));
            writer.text += "  </module>\n";
            body += writer.text;
            types.push_back(name);
        }
        parts.push_back({file, {}, "<?xml version=\"1.0\"?>\n<archive asm=\"yes\">\n"
                + std::string(random.chance(50) ? "  <var name=\"SUB_BASE" + std::to_string(parts.size())
                            + "\" value=\"0x" + std::to_string(8 + random.below(2)) + "0000000\"/>\n" : "")
                + body + "</archive>\n"});
    }
    const int revision = random.below(3);
    std::string root = "<?xml version=\"1.0\"?>\n<archive asm=\"yes\">\n  <comment>Random chip " + std::to_string(seed)
        + ". A comment line ending in a backslash \\</comment>\n";
    root += "  <var name=\"REV\" value=\"" + std::to_string(revision) + "\"/>\n";
    root += "  <var name=\"HIGH_BASE\" value=\"0x80000000\"/>\n  <var name=\"APB_BASE\" value=\"0x40000000\"/>\n";
    root += "  <include file=\"a/blk.xml\"/>\n  <include file=\"my.uart.xml\"/>\n";
    root += "  <include>\n    <case cond=\"REV &gt;= 2\" file=\"b/blk.xml\"/>\n"
            "    <case cond=\"REV == 1\" file=\"b/blk.xml\"/>\n    <default file=\"b/blk.xml\"/>\n  </include>\n";
    std::uint64_t address = random.chance(50) ? 0x40000000ull : 0x80000000ull;
    int instance = 0;
    for (const std::string& type : types) {
        for (int k = 0; k < 1 + random.below(2); ++k) {
            char hexText[16];
            std::snprintf(hexText, sizeof hexText, "0x%08llX", static_cast<unsigned long long>(address));
            root += "  <instance name=\"" + std::string(random.chance(30) ? "int" : "I") + std::to_string(instance++)
                + "\" type=\"" + type + "\" address=\"" + hexText + "\"";
            if (random.chance(30))
                root += "><altaddress name=\"secure\" address=\"" + std::string(hexText) + " + 0x10000000\"/></instance>\n";
            else
                root += "/>\n";
            address += 0x100000ull * (1 + static_cast<std::uint64_t>(random.below(8)));
            if (address > 0xF0000000ull)
                address = 0x40000000ull;
        }
    }
    root += "</archive>\n";
    for (const Part& part : parts)
        writeFile(directory + QLatin1Char('/') + part.file, part.text);
    const QString rootFile = directory + QStringLiteral("/chip.xml");
    writeFile(rootFile, root);
    return rootFile;
}

} // namespace gencheck
