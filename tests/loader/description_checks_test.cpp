// The description checks: what fires where, with which text, and what must stay silent.
#include "loader_support.h"

#include <vellxml/loader/description_checks.h>
#include <vellxml/model/composites.h>

#include <QProcess>

#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>

using loadertest::messages;

namespace {

class DescriptionChecksTest : public loadertest::Fixture {
protected:
    /// Loads "a.xml" holding `content` inside <archive>, the checks on unless told; true when it loaded.
    bool loadChecked(const QByteArray& content, bool checks = true, const QStringList& silenced = {})
    {
        messages() = loadertest::Messages();
        m_loader.checks().enabled = checks;
        m_loader.checks().silenced = silenced;
        return loadArchive(content) != nullptr;
    }
    /// A warning of "a.xml" as the checks give it.
    std::string warning(int line, int column, const QString& text, const char* code) const
    {
        return at(QStringLiteral("a.xml"), line, column,
            text + QStringLiteral(" [") + QLatin1String(code) + QLatin1Char(']'));
    }
};

// Each row is a description that the format accepts, with every finding the checks must give (the
// archive tag is line 1, so the body starts on line 2). Rows without findings are the near misses.
TEST_F(DescriptionChecksTest, FindingsWithTheirPositionAndText)
{
    struct Row {
        const char* body;
        std::vector<std::tuple<int, int, const char*, const char*>> findings;
    };
    const Row rows[] = {
        // Attributes and tags the loader ignores, with the handler's own names as suggestions.
        {"<module name=\"m\"/>\n<instance name=\"I\" type=\"m\" adress=\"0x1000\"/>",
            {{3, 29,
                "attribute 'adress' of 'instance' is not part of the format and is ignored; did you mean "
                "'address'?",
                "unknown-attribute"}}},
        {"<module name=\"m\"><reg32 name=\"r\" protec=\"w\">\n<bits name=\"b\" pos=\"0\" acess=\"r\" "
         "rts=\"1\"/></reg32></module>",
            {{3, 24,
                 "attribute 'acess' of 'bits' is not part of the format and is ignored; did you mean "
                 "'access'?",
                 "unknown-attribute"},
                {3, 34,
                    "attribute 'rts' of 'bits' is not part of the format and is ignored; did you mean 'rst'?",
                    "unknown-attribute"},
                {2, 34,
                    "attribute 'protec' of 'reg32' is not part of the format and is ignored; did you mean "
                    "'protect'?",
                    "unknown-attribute"}}},
        {"<module name=\"m\" colour=\"red\"/>",
            {{2, 18, "attribute 'colour' of 'module' is not part of the format and is ignored",
                "unknown-attribute"}}},
        {"<module name=\"m\"><comment/></module>\n<instance name=\"I\" type=\"m\">\n  <comemnt>x</comemnt>\n "
         " <altaddress "
         "name=\"s\" address=\"4\"/>\n</instance>",
            {{4, 3, "tag 'comemnt' is not read inside 'instance' and is ignored; did you mean 'comment'?",
                "unknown-tag"}}},
        {"<module name=\"m\"><hole size=\"8\">\n<x/></hole></module>",
            {{3, 1, "tag 'x' is not read inside 'hole' and is ignored", "unknown-tag"}}},
        // Markup inside comments, and namespace attributes for editors, are not the format's business.
        {"<module name=\"m\" xmlns:xsi=\"u\" xsi:noNamespaceSchemaLocation=\"s\"><comment>a<br/>b <i "
         "x=\"1\">c</i></comment></module>",
            {}},
        // Fields against their register.
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"f\" pos=\"36:26\"/></reg32></module>",
            {{3, 1, "field 'f' (bits 36:26) lies outside the 32 bits of reg32 'r'",
                "field-beyond-register"}}},
        {"<module name=\"m\"><reg8 name=\"r\">\n<bits name=\"f\" pos=\"8\"/>\n<bits name=\"g\" "
         "pos=\"7:0\"/></reg8></module>",
            {{3, 1, "field 'f' (bit 8) lies outside the 8 bits of reg8 'r'", "field-beyond-register"}}},
        {"<module name=\"m\"><reg16 name=\"r\">\n<bits name=\"a\" pos=\"7:4\"/>\n<bits name=\"b\" "
         "pos=\"3:0\"/>\n<bits name=\"c\" pos=\"4\"/>\n<bits name=\"d\" pos=\"15:8\"/></reg16></module>",
            {{5, 1, "field 'c' (bit 4) shares bits with field 'a' (bits 7:4, line 3) of reg16 'r'",
                "field-overlap"}}},
        // A field inside a wide one overlaps it even when sorted after a narrower neighbour.
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"w\" pos=\"31:0\"/>\n<bits name=\"x\" "
         "pos=\"3:1\"/>\n<bits name=\"y\" pos=\"20:10\"/></reg32></module>",
            {{4, 1, "field 'x' (bits 3:1) shares bits with field 'w' (bits 31:0, line 3) of reg32 'r'",
                 "field-overlap"},
                {5, 1, "field 'y' (bits 20:10) shares bits with field 'w' (bits 31:0, line 3) of reg32 'r'",
                    "field-overlap"}}},
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"a\" pos=\"0\"/>\n<bits name=\"a\" "
         "pos=\"1\"/></reg32></module>",
            {{4, 1, "reg32 'r' already has a field 'a' (line 3); only the first is reachable by path",
                "duplicate-field"}}},
        // Cut pieces are fields of their own: two cuts of one prefix collide.
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"a\" pos=\"3:0\" cut=\"2\" "
         "cutprefix=\"P\"/>\n<bits name=\"b\" pos=\"7:4\" cut=\"4\" cutprefix=\"P\"/></reg32></module>",
            {{4, 1, "reg32 'r' already has a field 'P0' (line 3); only the first is reachable by path",
                "duplicate-field"}}},
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"a\" pos=\"0\" rst=\"5\"/>\n<bits name=\"b\" "
         "pos=\"3:1\" rst=\"7\"/>\n<bits name=\"c\" pos=\"31:4\" rst=\"all1\"/></reg32></module>",
            {{3, 24, "reset value 0x5 of field 'a' does not fit in its 1 bit", "reset-too-wide"}}},
        {"<module name=\"m\"><reg32 name=\"r\">\n<bits name=\"a\" pos=\"1:0\"><options>\n<option name=\"X\" "
         "value=\"3\"/>\n<option name=\"Y\" value=\"4\"/>\n<option name=\"X\" "
         "value=\"1\"/></options></bits></reg32></module>",
            {{5, 1, "value 0x4 of option 'Y' does not fit in the 2 bits of field 'a'", "option-too-wide"},
                {6, 1, "field 'a' already has an option 'X'", "duplicate-option"}}},
        // Members of a structure, and the layout it is given.
        {"<module name=\"m\">\n<reg32 name=\"r\"/>\n<reg32 name=\"r\"/>\n<struct name=\"s\"><uint8 "
         "name=\"u\"/>\n<uint8 name=\"u\"/></struct></module>",
            {{6, 1, "'s' already has a member 'u' (line 5); only the first is reachable by path",
                 "duplicate-member"},
                {4, 1, "'m' already has a member 'r' (line 3); only the first is reachable by path",
                    "duplicate-member"}}},
        {"<module name=\"m\">\n<reg8 name=\"a\"/>\n<reg32 name=\"b\"/>\n<reg8 name=\"c\"/>\n<hole "
         "size=\"24\"/>\n<reg32 name=\"d\"/></module>",
            {{4, 1,
                "'b' is aligned to offset 0x4 of 'm', leaving 3 bytes unused after offset 0x1; add a hole to "
                "make the gap explicit",
                "member-padding"}}},
        {"<module name=\"m\">\n<hole size=\"4\"/>\n<reg8 name=\"a\"/></module>",
            {{3, 1, "hole of 4 bits takes 0 bytes: holes are sized in bits and take whole bytes",
                "hole-size"}}},
        // Instances placed in memory.
        {"<module name=\"m\"><reg32 name=\"r\"/><reg32 name=\"s\"/></module>\n<instance name=\"A\" "
         "type=\"m\" address=\"0x100\"/>\n<instance name=\"B\" type=\"m\" address=\"0x104\"/>\n<instance "
         "name=\"C\" type=\"m\" address=\"0x108\"/>\n<instance name=\"A\" type=\"m\" address=\"0x200\"/>",
            {{6, 1,
                 "an instance named 'A' already exists (@:3); only the first is reachable "
                 "by path",
                 "duplicate-member"},
                {4, 1, "instance 'B' (0x104..0x10B) overlaps instance 'A' (0x100..0x107, @:3)",
                    "instance-overlap"},
                {5, 1, "instance 'C' (0x108..0x10F) overlaps instance 'B' (0x104..0x10B, @:4)",
                    "instance-overlap"}}},
    };
    const QString file = path(QStringLiteral("a.xml"));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body);
        std::vector<std::string> expected;
        for (const auto& [line, column, text, code] : row.findings)
            expected.push_back(
                warning(line, column, QString::fromUtf8(text).replace(QLatin1Char('@'), file), code));
        std::sort(expected.begin(), expected.end());
        ASSERT_TRUE(loadChecked(row.body)) << (messages().error.empty() ? "" : messages().error.front());
        std::vector<std::string> found = messages().warning;
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, expected);

        // Without the checks the same description loads as quietly as before; with every code of the row
        // silenced nothing is said either.
        ASSERT_TRUE(loadChecked(row.body, false));
        EXPECT_EQ(messages().warning, std::vector<std::string> {});
        QStringList codes;
        for (const auto& finding : row.findings)
            codes.append(QLatin1String(std::get<3>(finding)));
        ASSERT_TRUE(loadChecked(row.body, true, codes));
        EXPECT_EQ(messages().warning, std::vector<std::string> {});
    }
}

// Random registers laid out without a mistake give no finding; each then gets one mistake of a random kind,
// and exactly that one is found, at its field. The fields are random partitions of the register with gaps,
// so the overlap sweep meets neighbours, gaps, single bits and full-width fields.
TEST_F(DescriptionChecksTest, RandomRegistersFindExactlyTheMistakesMade)
{
    std::mt19937 random(20261125);
    const auto pick = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    struct Fault {
        int line;
        const char* code;
    };
    for (int round = 0; round < 2; ++round) {
        const bool faulty = round == 1;
        QByteArray body = "<module name=\"m\">";
        int line = 2;
        std::vector<Fault> faults;
        for (int r = 0; r < 300; ++r) {
            const int widths[] = {8, 16, 32};
            const int width = widths[pick(0, 2)];
            struct Bits {
                int up;
                int down;
            };
            std::vector<Bits> fields;
            for (int down = pick(0, 2); down < width; down += pick(0, 2)) {
                const int up = std::min(width - 1, down + pick(0, width / 4));
                fields.push_back({up, down});
                down = up + 1;
            }
            const int kind = faulty ? pick(0, 4) : -1;
            const int victim = pick(0, static_cast<int>(fields.size()) - 1);
            // An overlap needs a neighbour above; a field beyond the register is the highest one.
            const bool canOverlap = victim + 1 < static_cast<int>(fields.size());
            const int chosen = kind == 2 && !canOverlap ? 0 : kind;
            const int target = chosen == 0 ? static_cast<int>(fields.size()) - 1 : victim;
            body += "\n<reg" + QByteArray::number(width) + " name=\"R" + QByteArray::number(r) + "\">";
            ++line;
            for (int f = 0; f < static_cast<int>(fields.size()); ++f) {
                Bits bits = fields[static_cast<std::size_t>(f)];
                const int fieldWidth = bits.up - bits.down + 1;
                const auto limit = fieldWidth >= 31 ? 0x7FFFFFFFu : (1u << fieldWidth) - 1;
                unsigned int reset = std::uniform_int_distribution<unsigned int>(0, limit)(random);
                unsigned int option = std::uniform_int_distribution<unsigned int>(0, limit)(random);
                QByteArray name = "F" + QByteArray::number(f);
                const char* code = nullptr;
                if (f == target) {
                    if (chosen == 0) {
                        bits.up = width + pick(0, 5);
                        code = "field-beyond-register";
                    } else if (chosen == 1 && f > 0) {
                        name = "F" + QByteArray::number(f - 1);
                        code = "duplicate-field";
                    } else if (chosen == 2) {
                        bits.up = fields[static_cast<std::size_t>(f + 1)].down;
                        code = "field-overlap";
                    } else if (chosen == 3 && fieldWidth < 32) {
                        reset = (limit + 1) | reset;
                        code = "reset-too-wide";
                    } else if (chosen == 4 && fieldWidth < 32) {
                        option = limit + 1 + option;
                        code = "option-too-wide";
                    }
                }
                body += "\n<bits name=\"" + name + "\" pos=\"" + QByteArray::number(bits.up) + ":"
                    + QByteArray::number(bits.down) + "\" rst=\"0x" + QByteArray::number(reset, 16) + "\">"
                    + "<options><option name=\"O\" value=\"0x" + QByteArray::number(option, 16)
                    + "\"/></options></bits>";
                ++line;
                // The overlap is found at the field written later: the neighbour above.
                if (code)
                    faults.push_back({std::strcmp(code, "field-overlap") == 0 ? line + 1 : line, code});
            }
            body += "</reg" + QByteArray::number(width) + ">";
        }
        body += "</module>";
        // Registers of mixed widths one after another are aligned without holes: not what this is about.
        ASSERT_TRUE(loadChecked(body, true, {QStringLiteral("member-padding")})) << messages().error.front();
        std::vector<std::string> expected;
        for (const Fault& fault : faults)
            expected.push_back(path(QStringLiteral("a.xml")).toStdString() + ":" + std::to_string(fault.line)
                + ":" + fault.code);
        std::vector<std::string> found;
        for (const std::string& each : messages().warning) {
            // file:line:column:text [code] -> file:line:code
            const std::size_t lineEnd = each.find(':', path(QStringLiteral("a.xml")).size() + 1);
            const std::size_t codeStart = each.rfind('[');
            found.push_back(
                each.substr(0, lineEnd + 1) + each.substr(codeStart + 1, each.size() - codeStart - 2));
        }
        std::sort(expected.begin(), expected.end());
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, expected);
        if (faulty) {
            EXPECT_GT(faults.size(), 200u);
        }
    }
}

// Descriptions written without mistakes give no finding: the demo chip, and synthetic chips of every kind
// of tag the benchmark generator writes (conditional includes, cut fields, enums, aliases, arrays of
// modules, pointers, memories), over several seeds.
#ifdef VELLXML_DEMO_DIR
TEST_F(DescriptionChecksTest, DemoChipHasNoFindings)
{
    m_loader.checks().enabled = true;
    ASSERT_NE(m_loader.loadRootArchiveFromFile(&m_map, QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"),
                  loadertest::onLog, loadertest::onError, loadertest::onWarning, true),
        nullptr);
    EXPECT_EQ(messages().warning, std::vector<std::string> {});
}
#endif

#ifdef VELLXML_MAKE_CHIP
TEST_F(DescriptionChecksTest, GeneratedChipsHaveNoFindings)
{
    for (int seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        messages() = loadertest::Messages();
        const QString dir = path(QStringLiteral("chip%1").arg(seed));
        QProcess make;
        make.start(QStringLiteral(VELLXML_MAKE_CHIP),
            {dir, QStringLiteral("--files"), QStringLiteral("4"), QStringLiteral("--modules"),
                QStringLiteral("6"), QStringLiteral("--registers"), QStringLiteral("12"),
                QStringLiteral("--bitfields"), QString::number(seed * 5), QStringLiteral("--seed"),
                QString::number(seed)});
        ASSERT_TRUE(make.waitForFinished(60000));
        ASSERT_EQ(make.exitCode(), 0) << make.readAllStandardError().toStdString();
        HwMemoryMap map;
        HwMemoryMapLoader loader;
        loader.checks().enabled = true;
        ASSERT_NE(loader.loadRootArchiveFromFile(&map, dir + QStringLiteral("/chip.xml"), loadertest::onLog,
                      loadertest::onError, loadertest::onWarning, true),
            nullptr)
            << (messages().error.empty() ? "" : messages().error.front());
        EXPECT_EQ(messages().warning, std::vector<std::string> {});
    }
}
#endif

} // namespace
