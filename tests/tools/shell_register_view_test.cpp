// The shell and `vellxml get` as a register view: what a line does and says, decoded reads, memory and
// elements by address, bit groups, and properties over every element and many values of the demo chip.
#include "tool_runner.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <random>
#include <string>

namespace {

const QString demoRoot = QStringLiteral(VELLXML_DEMO_DIR "/chip.xml");

ToolRun shell(const QString& root, const QByteArray& script)
{
    return runTool({QStringLiteral("shell"), root}, script);
}

struct ShellRow {
    const char* what;
    const char* script;
    const char* out;
    const char* err;
    int status;
};

void PrintTo(const ShellRow& row, std::ostream* out)
{
    *out << row.what;
}

class ShellLine : public testing::TestWithParam<ShellRow> { };

TEST_P(ShellLine, PrintsAndReportsExactly)
{
    const ShellRow& row = GetParam();
    const ToolRun run = shell(demoRoot, row.script);
    EXPECT_EQ(run.out.toStdString(), row.out) << row.what;
    EXPECT_EQ(run.err.toStdString(), row.err) << row.what;
    EXPECT_EQ(run.exitCode, row.status) << row.what;
}

const ShellRow kShellRows[] = {
    {"a signed integer shows by its own width and sign", //
        "BOOTINFO.VDD_TRIM.w -1\nBOOTINFO.VDD_TRIM.r dec\nBOOTINFO.VDD_TRIM.r\nBOOTINFO.VDD_TRIM.r bin\n"
        "BOOTINFO.VDD_TRIM.getl dec\n",
        "-1\n0xFFFF\n0b1111111111111111\n-1\n", "", 0},
    {"a path may start with $, as list prints it", "$UART0.CR1.UE.set\n$UART0.CR1.r\n", "0x00000001\n", "",
        0},
    {"a word that is no command says so", "read UART0.CR1\n", "",
        "line 1: error: unknown command 'read': element commands follow a path (UART0.CR1.r); 'help' lists "
        "the shell's own\n",
        1},
    {"an expression is no number", "UART0.CR1.w 1+1\n", "",
        "line 1: error: UART0.CR1.w: '1+1' is not a number (decimal, 0x.., 0b..)\n", 1},
    {"a missing value", "UART0.CR1.w\n", "", "line 1: error: UART0.CR1.w: missing argument: w takes value\n",
        1},
    {"an unknown option lists the options", "UART0.CR1.WL.w NINE\n", "",
        "line 1: error: UART0.CR1.WL.w: 'NINE' is not a number (decimal, 0x.., 0b..) nor an option of WL "
        "(BITS_8, BITS_9)\n",
        1},
    {"an argument too many", "UART0.CR1.r 1\n", "",
        "line 1: error: UART0.CR1.r: too many arguments: r takes no argument\n", 1},
    {"a token after a bitfield is refused before any access", "UART0.CR1.UE.TE.w 1\nUART0.CR1.r\n",
        "0x00000000\n", "line 1: error: UART0.CR1.UE is a bitfield: nothing follows it (TE)\n", 1},
    {"a typo after a bitfield names the bitfield", "TIM2.SR.UIF.clr\n", "",
        "line 1: error: TIM2.SR.UIF has no command 'clr'\n", 1},
    {"wl takes its arguments as its entry lists them", "UART0.CR1.WL.wl 0x1,1\nUART0.CR1.WL.wl 0x1 1\n",
        "0x00001001\n0x00001001\n", "", 0},
    {"a bit group reads by its name", "UART0.ISR.ERRORS.r\nUART0.ISR.ERRORS.r bin\n", "0x0\n0b0000\n", "", 0},
    {"a bit group of a read-only register is not written", "UART0.ISR.ERRORS.w 1\n", "",
        "line 1: error: UART0.ISR.ERRORS.w: write-protected (force the write to write it)\n", 1},
    {"nothing follows a bit group", "UART0.ISR.ERRORS.PE.r\n", "",
        "line 1: error: UART0.ISR.ERRORS is a bit group: nothing follows it (PE)\n", 1},
    {"line numbers count comments and blank lines", "# a comment\n\nNOPE.r\nUART0.CR1.r\n", "0x00000000\n",
        "line 3: error: no element NOPE\n", 1},
    {"a decoded read names each field's option",
        "UART0.CR1.WL.w BITS_9\nUART0.CR1.PARITY.w 2\nUART0.CR1.UE.set\nshow UART0.CR1\n",
        "UART0.CR1 = 0x00001401\n"
        "  UE     [0]    = 0x1\n"
        "  RE     [2]    = 0x0\n"
        "  TE     [3]    = 0x0\n"
        "  IDLEIE [4]    = 0x0\n"
        "  RXNEIE [5]    = 0x0\n"
        "  TCIE   [6]    = 0x0\n"
        "  TXEIE  [7]    = 0x0\n"
        "  PARITY [10:9] = 0x2 (UART_PARITY_EVEN)\n"
        "  WL     [12]   = 0x1 (BITS_9)\n"
        "  OVER8  [15]   = 0x0 (OVERSAMPLE_16)\n",
        "", 0},
    {"show of a field, of a bit group, by address, in decimal",
        "show UART0.ISR.TC\nshow UART0.ISR.ERRORS\nshow 0x40004408 dec\n",
        "UART0.ISR.TC = 0x1\nUART0.ISR.ERRORS = 0x0\nUART0.BRR = 0\n  DIV_FRACTION [3:0]  = 0\n"
        "  DIV_MANTISSA [15:4] = 0\n",
        "", 0},
    {"find names the element at an address and the offset into it",
        "find 0x4000440C\nfind 0x4000440F\nfind 0x4000440B\nfind 0x4000002C\nfind 0x40020031\nfind 0x10\n",
        "UART0.ISR\nUART0.ISR + 0x3\nUART0.Reserved_0000000A_16 + 0x1\nTIM2.CCR[3]\nDMA1.CH[1].DESC + 0x1\n",
        "line 6: error: no element at 0x10\n", 1},
    {"ls of an array lists its items, inside an array item too",
        "ls DMA1.CH[1].MAR\nls DMA1.CH[1].MAR.\n",
        "MAR[0]                   uint8*  Memory buffers of circular mode.\n"
        "MAR[1]                   uint8*  Memory buffers of circular mode.\n"
        "MAR[0]                   uint8*  Memory buffers of circular mode.\n"
        "MAR[1]                   uint8*  Memory buffers of circular mode.\n",
        "", 0},
    {"memory by address, with the width of each access",
        "write32 0x40004400 0x1001\nUART0.CR1.r\nread8 0x40004401\nread16 0x40004400 2\n"
        "write8 0x40004401 0x1FF\nread32 0x40004402\nread32 0x40004400 0\n",
        "0x00001001\n0x40004401: 0x10\n0x40004400: 0x1001 0x0000\n",
        "line 5: error: 0x1FF is wider than 8 bits\nline 6: error: 0x40004402 is not aligned to 4 bytes\n"
        "line 7: error: the count is a number from 1 to 65536\n",
        1},
};

INSTANTIATE_TEST_SUITE_P(Rows, ShellLine, testing::ValuesIn(kShellRows));

TEST(ShellRegisterView, ATrailingDotListsAsThePathDoes)
{
    const ToolRun withDot = shell(demoRoot, "ls UART0.BRR.\nUART0.BRR.\n");
    const ToolRun plain = shell(demoRoot, "ls UART0.BRR\nUART0.BRR\n");
    EXPECT_EQ(withDot.exitCode, 0) << withDot.err.toStdString();
    EXPECT_TRUE(withDot.out.contains(QStringLiteral("DIV_MANTISSA")));
    EXPECT_EQ(withDot.out, plain.out);
}

TEST(ShellRegisterView, ShowOfABlockDecodesEveryRegisterInOrder)
{
    const ToolRun run = shell(demoRoot, "show UART0\n");
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    QStringList heads;
    for (const QString& line : run.out.split(QLatin1Char('\n')))
        if (line.startsWith(QLatin1String("UART0.")))
            heads << line;
    EXPECT_EQ(heads,
        QStringList({QStringLiteral("UART0.CR1 = 0x00000000"), QStringLiteral("UART0.CR2 = 0x00000000"),
            QStringLiteral("UART0.BRR = 0x0000"), QStringLiteral("UART0.ISR = 0x000000C0"),
            QStringLiteral("UART0.ICR = ? (read-protected)"), QStringLiteral("UART0.RDR = 0x00"),
            QStringLiteral("UART0.TDR = ? (read-protected)"), QStringLiteral("UART0.GTPR = 0x00000000")}));
}

TEST(ShellRegisterView, ABitGroupIsWrittenAsOneValueAndSparesItsNeighbours)
{
    QTemporaryDir dir;
    const QString root = dir.path() + QStringLiteral("/chip.xml");
    QFile file(root);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("<archive>\n"
               "<module name=\"blk\">\n"
               "  <reg32 name=\"ctl\">\n"
               "    <bits name=\"lo\" pos=\"1:0\" rst=\"0\"/>\n"
               "    <bits name=\"hi\" pos=\"5:4\" rst=\"0\"/>\n"
               "    <bits name=\"flag\" pos=\"8\" access=\"rc\" rst=\"1\"/>\n"
               "    <bitgroup name=\"G\"><entry ref=\"lo\"/><entry ref=\"hi\"/></bitgroup>\n"
               "  </reg32>\n"
               "</module>\n"
               "<instance name=\"B\" type=\"blk\" address=\"0x1000\"/>\n"
               "</archive>\n");
    file.close();
    const ToolRun run = shell(root,
        "B.ctl.G.w 0x33\n" // the write-one-to-clear flag goes out as 0 and stays set
        "B.ctl.r\n"
        "B.ctl.G.r\n"
        "B.ctl.G.w 0x4\n" // bit 2 lies between the fields
        "B.ctl.G.clear\n"
        "B.ctl.r\n"
        "B.ctl.G.set\n"
        "B.ctl.G.r bin\n");
    EXPECT_EQ(run.out.toStdString(), "0x00000133\n0x33\n0x00000100\n0b110011\n");
    EXPECT_EQ(run.err.toStdString(), "line 4: error: B.ctl.G.w: value too wide\n");
    EXPECT_EQ(run.exitCode, 1);
}

struct GetRow {
    const char* what;
    const char* operand;
    const char* firstLine; ///< of standard output, or empty
    const char* err;
    int status;
};

void PrintTo(const GetRow& row, std::ostream* out)
{
    *out << row.what;
}

class GetOperand : public testing::TestWithParam<GetRow> { };

TEST_P(GetOperand, FindsOrRefuses)
{
    const GetRow& row = GetParam();
    const ToolRun run = runTool({QStringLiteral("get"), demoRoot, QString::fromLatin1(row.operand)});
    EXPECT_EQ(run.out.section(QLatin1Char('\n'), 0, 0).toStdString(), row.firstLine) << row.what;
    EXPECT_EQ(run.err.toStdString(), QString::fromLatin1(row.err).arg(demoRoot).toStdString()) << row.what;
    EXPECT_EQ(run.exitCode, row.status) << row.what;
}

const GetRow kGetRows[] = {
    {"a token after a bitfield", "UART0.CR1.UE.TE", "",
        "vellxml: UART0.CR1.UE is a bitfield: nothing follows it (TE) in %1\n", 1},
    {"a bit group", "UART0.ISR.ERRORS", "$UART0.ISR.ERRORS", "", 0},
    {"an address inside a register", "0x4000440E", "$UART0.ISR", "", 0},
    {"an address in a reserved gap", "0x4000440A", "$UART0.Reserved_0000000A_16", "", 0},
    {"an address of nothing", "0x10", "", "vellxml: no element at 0x10 in %1\n", 1},
};

INSTANTIATE_TEST_SUITE_P(Rows, GetOperand, testing::ValuesIn(kGetRows));

// Every example of `vellxml shell --help` runs as written on the demo chip.
TEST(ShellRegisterView, EveryHelpExampleRunsOnTheDemoChip)
{
    const ToolRun help = runTool({QStringLiteral("shell"), QStringLiteral("--help")});
    ASSERT_EQ(help.exitCode, 0);
    QByteArray script;
    int examples = 0;
    const QRegularExpression example(QStringLiteral("^  (\\S+(?: \\S+)*)\\s{2,}\\S"));
    for (const QString& line : help.out.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch match = example.match(line);
        if (!match.hasMatch() || match.captured(1).startsWith(QLatin1Char('-')))
            continue;
        script += match.captured(1).toUtf8() + '\n';
        ++examples;
    }
    EXPECT_GE(examples, 15) << help.out.toStdString();
    const ToolRun run = shell(demoRoot, script);
    EXPECT_EQ(run.exitCode, 0) << script.toStdString();
    EXPECT_EQ(run.err.toStdString(), "") << script.toStdString();
}

// For every element `vellxml list` prints, `find` of its address names it or an element inside it, and
// exactly it when nothing is listed inside it.
TEST(ShellRegisterView, FindInvertsTheAddressesOfEveryListedElement)
{
    const ToolRun list = runTool({QStringLiteral("list"), demoRoot});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    QStringList paths;
    QByteArray script;
    const QStringList lines = list.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const QStringList columns = line.split(QLatin1Char('\t'));
        ASSERT_EQ(columns.size(), 4) << line.toStdString();
        if (columns[3].contains(QLatin1Char(':')) || columns[3] == QLatin1String("0"))
            continue; // bitfields, empty elements
        paths << columns[0].mid(1);
        script += "find " + columns[2].toLatin1() + '\n';
    }
    ASSERT_GT(paths.size(), 200);
    const ToolRun run = shell(demoRoot, script);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList found = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(found.size(), paths.size());
    const auto isInside = [](const QString& inner, const QString& outer) {
        return inner == outer || inner.startsWith(outer + QLatin1Char('.'))
            || inner.startsWith(outer + QLatin1Char('['));
    };
    for (int i = 0; i < paths.size(); ++i) {
        bool leaf = true;
        for (const QString& other : paths)
            leaf = leaf && (other == paths[i] || !isInside(other, paths[i]));
        if (leaf)
            EXPECT_EQ(found[i], paths[i]);
        else
            EXPECT_TRUE(isInside(found[i], paths[i]))
                << found[i].toStdString() << " for " << paths[i].toStdString();
    }
}

// Random values written in decimal read back, for every integer width and signedness, as the test computes
// them on its own: decimal with the sign of the type, hexadecimal and binary with every digit of the width.
TEST(ShellRegisterView, IntegersReadBackByTheirOwnWidthAndSign)
{
    struct Member {
        const char* path;
        int bits;
        bool isSigned;
    };
    const Member members[] = {{"BOOTINFO.TEMP_OFFSET", 32, true}, {"BOOTINFO.VDD_TRIM", 16, true},
        {"BOOTINFO.HSI_TRIM_DELTA", 8, true}, {"BOOTINFO.MAGIC", 32, false},
        {"BOOTINFO.ROM_VERSION", 16, false}, {"BOOTINFO.RESET_CAUSE", 8, false}};
    std::mt19937 random(20261125);
    QByteArray script;
    std::string expected;
    for (const Member& member : members) {
        const std::uint64_t span = std::uint64_t {1} << member.bits;
        for (int i = 0; i < 60; ++i) {
            const std::uint32_t pattern = static_cast<std::uint32_t>(random() % span);
            // Edge values first: 0, the largest, the sign bit alone, all ones.
            const std::uint32_t edges[] = {0, static_cast<std::uint32_t>(span / 2 - 1),
                static_cast<std::uint32_t>(span / 2), static_cast<std::uint32_t>(span - 1)};
            const std::uint32_t bits = i < 4 ? edges[i] : pattern;
            const long long value = member.isSigned && bits >= span / 2
                ? static_cast<long long>(bits) - static_cast<long long>(span)
                : static_cast<long long>(bits);
            script += QByteArray(member.path) + ".w " + QByteArray::number(value) + '\n';
            script += QByteArray(member.path) + ".r dec\n" + member.path + ".r\n" + member.path + ".r bin\n";
            expected += std::to_string(value) + '\n';
            expected += "0x"
                + QString::number(bits, 16)
                      .toUpper()
                      .rightJustified(member.bits / 4, QLatin1Char('0'))
                      .toStdString()
                + '\n';
            expected += "0b"
                + QString::number(bits, 2).rightJustified(member.bits, QLatin1Char('0')).toStdString() + '\n';
        }
    }
    const ToolRun run = shell(demoRoot, script);
    EXPECT_EQ(run.err.toStdString(), "");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out.toStdString(), expected);
}

} // namespace
