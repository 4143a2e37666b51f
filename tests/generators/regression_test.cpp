// Descriptions that once gave wrong outputs, each checked whole by the generated-files check: C layout equal
// to the model on -m32 and -m64, every macro well-defined, the includes the loader chose, plain addresses in
// both assembly flavours, and VHDL packages that analyse without a warning.
#include "generated_check.h"
#include "generator_support.h"

#include <QTemporaryDir>

namespace {

struct Row {
    const char* name;
    std::vector<std::pair<const char*, const char*>> files; // the first is the root
};

const gencheck::Tools kTools {QStringLiteral(VELLXML_TEST_CC), QStringLiteral(VELLXML_OBJCOPY),
    QStringLiteral(VELLXML_GHDL)};

const Row kRows[] = {
    {"memory_after_byte_register",
        {{"chip.xml", R"(<archive asm="yes"><module name="M"><reg8 name="R8"/><memory name="MEMA" size="8"/>
            <reg16 name="R16"/></module><instance name="m" type="M" address="0x40000000"/></archive>)"}}},
    {"word_hole_among_bytes",
        {{"chip.xml", R"(<archive><module name="M"><reg8 name="A"/><reg8 name="B"/><reg8 name="C"/>
            <reg8 name="D"/><hole size="32"/><reg8 name="E"/></module>
            <module name="N"><reg8 name="X"/><instance name="IN" type="M"/></module>
            <instance name="n" type="N" address="0x40000000"/></archive>)"}}},
    {"conditional_include_after_its_variable",
        {{"chip.xml", R"(<archive><var name="REV" value="2"/><include>
            <case cond="REV &gt;= 2" file="v2.xml"/><case cond="REV == 1" file="v1.xml"/>
            <default file="v1.xml"/></include></archive>)"},
            {"v2.xml", R"(<archive><module name="CRC"><reg32 name="DR"/></module>
            <instance name="crc" type="CRC" address="0x40023000"/></archive>)"}}},
    {"keywords_and_illegal_names",
        {{"chip.xml", R"(<archive asm="yes"><module name="M"><reg32 name="int"><bits name="BREAK" pos="0"/>
            <bits name="INT" pos="1"/><bits name="__3_1" pos="4"/></reg32><reg32 name="2nd"/>
            <uint8 name="case"/></module><instance name="default" type="M" address="0x40000000"/></archive>)"}}},
    {"duplicate_names",
        {{"chip.xml", R"(<archive asm="yes"><include file="a/blk.xml"/><include file="b/blk.xml"/>
            <include file="my.uart.xml"/><module name="M"><struct name="S1"><reg32 name="PROTECT">
            <bits name="reserved" pos="0"/><bits name="Reserved" pos="1"/><bits name="X" pos="2"/></reg32>
            </struct><struct name="S2"><reg32 name="PROTECT"><bits name="Y" pos="3"/></reg32></struct>
            <reg32 name="data"/><reg32 name="Data"/></module>
            <instance name="m" type="M" address="0x40000000"/></archive>)"},
            {"a/blk.xml", R"(<archive><var name="A_ONE" value="1"/></archive>)"},
            {"b/blk.xml", R"(<archive><var name="B_ONE" value="1"/></archive>)"},
            {"my.uart.xml", R"(<archive><var name="U_ONE" value="1"/></archive>)"}}},
    {"external_and_pointer_types",
        {{"chip.xml", R"(<archive><external name="EXTB" size="16"/><module name="INNER"><reg32 name="R"/></module>
            <module name="M"><instance name="EX" type="EXTB"/><ptr name="P" type="INNER"/>
            <ptr name="Q" type="memory"/><reg8 name="B"/></module>
            <instance name="m" type="M" address="0x40000000"/></archive>)"}}},
    {"comment_ending_in_backslash",
        {{"chip.xml", R"(<archive><module name="M"><reg32 name="A"><comment>ends in \</comment></reg32>
            <reg32 name="B"><comment>ends in ??/</comment></reg32></module>
            <instance name="m" type="M" address="0x40000000"/></archive>)"}}},
    {"fields_reaching_bit_31",
        {{"chip.xml", R"(<archive><module name="M"><reg32 name="A"><bits name="TOP" pos="31"/>
            <bits name="HIGH" pos="31:24"/><bits name="OPT" pos="30:29"><options><option name="X" value="3"/>
            </options></bits><bitgroup name="G"><entry ref="TOP"/><entry ref="OPT"/></bitgroup></reg32></module>
            <instance name="m" type="M" address="0x40000000"/></archive>)"}}},
    {"vhdl_names_and_ranges",
        {{"chip.xml", R"(<archive><var name="HIGH_BASE" value="0x80000000"/><var name="NEXT" value="HIGH_BASE + 4"/>
            <var name="out" value="1"/><module name="TINY"><reg8 name="R"><bits name="HPB0_" pos="0"/>
            <bits name="a__b" pos="1"/><bits name="_x" pos="2"/><bits name="X" pos="3"/></reg8></module>
            <module name="BIG"><reg32 name="R"/><hole size="65536"/><reg32 name="signal" count="2"/></module>
            <instance name="tiny" type="TINY" address="0x90000000"/>
            <instance name="big" type="BIG" address="HIGH_BASE"/></archive>)"}}},
};

class RegressionTest : public ::testing::TestWithParam<Row> {};

TEST_P(RegressionTest, EveryOutputIsRight)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const auto& file : GetParam().files)
        gentest::writeText(dir.path() + QStringLiteral("/chip/") + QString::fromUtf8(file.first),
            QString::fromUtf8(file.second));
    testing::internal::CaptureStdout();
    const QStringList failures = gencheck::checkGeneratedFiles(
        dir.path() + QStringLiteral("/chip/chip.xml"), dir.path() + QStringLiteral("/work"), kTools);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(failures.isEmpty()) << failures.join(QLatin1Char('\n')).toStdString();
}

INSTANTIATE_TEST_SUITE_P(Rows, RegressionTest, ::testing::ValuesIn(kRows),
    [](const ::testing::TestParamInfo<Row>& param) { return std::string(param.param.name); });

} // namespace
