// The generators' texts on small descriptions: the worked UART module in its three outputs, bitfield unions
// in each mode, the macro registry, the VHDL helpers and the driver's file rules.
#include "generator_support.h"

#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QFileInfo>
#include <QThread>

using gentest::LoadedChip;
using gentest::readText;
using gentest::Switches;
using gentest::SwitchGuard;
using gentest::writeText;

namespace {

const char* const kUart = R"(<archive>
  <module name="UART">
    <reg32 name="cfg">
      <bits name="enable" pos="0"><options mask="yes" shift="yes"/></bits>
      <bits name="mode" pos="5:4" access="r"><options mask="yes" shift="yes"/></bits>
    </reg32>
  </module>
  <instance name="uart" type="UART" address="0x01A00000"/>
</archive>
)";

class GeneratorTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    /// Writes the description as chip.xml and loads it.
    std::unique_ptr<LoadedChip> load(const char* xml, const QString& name = QStringLiteral("chip.xml"))
    {
        writeText(path(name), QString::fromUtf8(xml));
        auto chip = std::make_unique<LoadedChip>(path(name));
        EXPECT_NE(chip->root, nullptr);
        return chip;
    }
    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }
    static HwXMLElement* element(const LoadedChip& chip, int archive, int index)
    {
        return chip.root->getArchives().at(archive)->getElements().at(index).get();
    }

    QTemporaryDir m_dir;
};

TEST_F(GeneratorTest, WorkedExampleCHeaderTypes)
{
    SwitchGuard guard;
    auto chip = load(kUart);
    ASSERT_NE(chip->root, nullptr);
    testing::internal::CaptureStdout();
    const QString text = element(*chip, 0, 0)->c_content();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "UART\n");
    EXPECT_EQ(text,
        QStringLiteral(
            "#define REG_UART_BASE              0x01A00000\n"
            "\n"
            "typedef struct\n"
            "{\n"
            "    REG32                          cfg;                          //0x00000000\n"
            "} HWP_UART_T;\n"
            "\n"
            "#define hwp_uart                   ((HWP_UART_T*) REG_ACCESS_ADDRESS(REG_UART_BASE))\n"
            "\n"
            "//cfg\n"
            "typedef union {\n"
            "    REG32 v;\n"
            "    struct {\n"
            "        REG32 enable : 1; // [0]\n"
            "        REG32 __3_1 : 3;\n"
            "        REG32 mode : 2; // [5:4], read only\n"
            "        REG32 __31_6 : 26;\n"
            "    } b;\n"
            "} REG_UART_CFG_T;\n"
            "\n"
            "//cfg\n"
            "#define UART_ENABLE                (1u<<0)\n"
            "#define UART_ENABLE_MASK           (1u<<0)\n"
            "#define UART_ENABLE_SHIFT          (0)\n"
            "#define UART_MODE(n)               (((n)&3u)<<4)\n"
            "#define UART_MODE_MASK             (3u<<4)\n"
            "#define UART_MODE_SHIFT            (4)\n"
            "\n"));
}

TEST_F(GeneratorTest, WorkedExampleAssemblyHeaders)
{
    SwitchGuard guard;
    auto chip = load(kUart);
    ASSERT_NE(chip->root, nullptr);
    EXPECT_EQ(element(*chip, 0, 0)->asm_content(),
        QStringLiteral("#define REG_UART_BASE              0x01A00000\n"
                       "\n"
                       "#define REG_UART_BASE_HI           BASE_HI(REG_UART_BASE)\n"
                       "#define REG_UART_BASE_LO           BASE_LO(REG_UART_BASE)\n"
                       "\n"
                       "#define REG_UART_CFG               REG_UART_BASE_LO + 0x00000000\n"
                       "\n"));
    EXPECT_EQ(element(*chip, 0, 0)->asmarm_content(),
        QStringLiteral("#define REG_UART_BASE              0x01A00000\n"
                       "\n"
                       "#define REG_UART_CFG                  0x01A00000\n"
                       "\n"));
}

TEST_F(GeneratorTest, WorkedExampleVhdlModule)
{
    auto chip = load(kUart);
    ASSERT_NE(chip->root, nullptr);
    EXPECT_EQ(element(*chip, 0, 0)->vhdl_content(),
        QStringLiteral("-- Register definition\n"
                       "-- Register Map\n"
                       "-- Address bit for register decoding\n"
                       "constant UART_REG_NBA: natural := 2;\n"
                       "\n"
                       "-- Registers are defined by\n"
                       "--  * an address :          at_REG_NAME\n"
                       "--  * a logical map :       constant or ranges for each field l_Field_Name\n"
                       "--  * a physical map :      constant or ranges for each field p_Field_Name\n"
                       "--  * a physical range :    range_Reg_Name\n"
                       "\n"
                       "constant at_CFG:                                integer := 0;\n"
                       "-- logical map\n"
                       "constant l_enable:                              integer := 0;\n"
                       "subtype  l_mode is                              integer range 5 downto 4;\n"
                       "-- physical map\n"
                       "constant p_enable:                              integer := 0;\n"
                       "subtype  p_mode is                              integer range 2 downto 1;\n"
                       "subtype range_cfg is                            integer range 2 downto 0;\n"
                       "\n"));
}

// One register, every union mode; reserved names become gaps only on request.
TEST_F(GeneratorTest, BitfieldUnionModes)
{
    auto chip = load(R"(<archive><module name="T"><reg16 name="r">
      <bits name="lo" pos="1:0"/><bits name="reserved_3" pos="4"/><bits name="hi" pos="15:12" access="s"/>
    </reg16></module></archive>)");
    ASSERT_NE(chip->root, nullptr);
    HwXMLElement* module = element(*chip, 0, 0);
    const QString little = QStringLiteral("        REG16 lo : 2; // [1:0]\n"
                                          "        REG16 __3_2 : 2;\n"
                                          "        REG16 reserved_3 : 1; // [4]\n"
                                          "        REG16 __11_5 : 7;\n"
                                          "        REG16 hi : 4; // [15:12], write set");
    const QString big = QStringLiteral("        REG16 hi : 4; // [15:12], write set\n"
                                       "        REG16 __11_5 : 7;\n"
                                       "        REG16 reserved_3 : 1; // [4]\n"
                                       "        REG16 __3_2 : 2;\n"
                                       "        REG16 lo : 2; // [1:0]");
    const auto wrap = [](const QString& lines) {
        return QStringLiteral("//r\ntypedef union {\n    REG16 v;\n    struct {\n") + lines
            + QStringLiteral("\n    } b;\n} REG_T_R_T;\n\n");
    };
    const struct {
        Switches switches;
        QString expected;
    } rows[] = {
        {{0, false, false}, QString()},
        {{1, false, false}, wrap(little)},
        {{2, false, false}, wrap(big)},
        {{3, false, false},
            wrap(QStringLiteral("#if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)\n") + big
                + QStringLiteral("\n#elif (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__)\n") + little
                + QStringLiteral("\n#endif"))},
        {{1, true, false},
            wrap(QStringLiteral("        REG16 lo : 2; // [1:0]\n"
                                "        REG16 __11_2 : 10;\n"
                                "        REG16 hi : 4; // [15:12], write set"))},
    };
    for (const auto& row : rows) {
        SwitchGuard guard(row.switches);
        EXPECT_EQ(module->c_bitfieldSerialize(QStringLiteral("T")), row.expected) << row.switches.bitfieldGen;
    }
}

// Macro numbers, option macros, the commented "reserved" field and a field that fills its
// register (macros but no union).
TEST_F(GeneratorTest, BitfieldMacros)
{
    auto chip = load(R"(<archive><module name="M">
      <reg32 name="a"><bits name="byte" pos="15:8"/><bits name="five" pos="20:16"/>
        <bits name="Reserved" pos="31"/>
        <bits name="sel" pos="1:0"><options><option name="x" value="2"/></options></bits>
        <bitgroup name="g"><entry ref="byte"/><entry ref="five"/></bitgroup></reg32>
      <reg8 name="full"><bits name="all" pos="7:0"/></reg8>
    </module></archive>)");
    ASSERT_NE(chip->root, nullptr);
    HwXMLElement* module = element(*chip, 0, 0);
    SwitchGuard guard(Switches {1, false, false});
    QHash<QString, QString> macros;
    EXPECT_EQ(module->macro_serialize(QStringLiteral("M"), macros),
        QStringLiteral("//a\n"
                       "#define M_BYTE(n)                  (((n)&0xFFu)<<8)\n"
                       "#define M_FIVE(n)                  (((n)&31u)<<16)\n"
                       "//#define M_RESERVED               (1u<<31)\n"
                       "#define M_SEL_X                    (2u<<0)\n"
                       "#define M_SEL_V_X                  2u\n"
                       "#define M_G(n)                     (((n)&0x1FFFu)<<8)\n"
                       "#define M_G_MASK                   (0x1FFFu<<8)\n"
                       "#define M_G_SHIFT                  (8)\n"
                       "\n"
                       "//full\n"
                       "#define M_ALL(n)                   (((n)&0xFFu)<<0)\n"
                       "\n"));
    // The register "full" has one field over all its bits: macros, but no union.
    EXPECT_EQ(module->c_bitfieldSerialize(QStringLiteral("M")).count(QStringLiteral("typedef union")), 1);
}

TEST(OuputMacroTest, RegistryDecidesBetweenDefineCommentAndSuffix)
{
    QHash<QString, QString> macros;
    const struct {
        bool commented;
        bool argument;
        const char* name;
        const char* value;
        const char* line;
        const char* stdoutText;
    } rows[] = {
        {false, false, "UART_MODE", "(3<<4)", "#define UART_MODE                  (3<<4)\n", ""},
        {false, false, "UART_MODE", "(3<<4)", "//#define UART_MODE                (3<<4)\n", ""},
        {false, true, "UART_MODE", "(((n)&3)<<8)", "#define UART_MODE_X1(n)            (((n)&3)<<8)\n",
            "Conflict macro: UART_MODE\n"},
        {false, true, "UART_MODE", "(((n)&3)<<8)", "//#define UART_MODE_X1(n)          (((n)&3)<<8)\n",
            "Conflict macro: UART_MODE\n"},
        {false, false, "UART_MODE", "(1<<0)", "#define UART_MODE_X2               (1<<0)\n",
            "Conflict macro: UART_MODE\n"},
        {true, false, "NEW_ONE", "(1)", "//#define NEW_ONE                  (1)\n", ""},
        {false, false, "A_VERY_LONG_MACRO_NAME_BEYOND_35", "(0)",
            "#define A_VERY_LONG_MACRO_NAME_BEYOND_35 (0)\n", ""},
    };
    for (const auto& row : rows) {
        testing::internal::CaptureStdout();
        const QString line = OuputMacro(row.commented, row.argument, QString::fromLatin1(row.name),
            QString::fromLatin1(row.value), macros);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.stdoutText) << row.line;
        EXPECT_EQ(line, QString::fromLatin1(row.line));
    }
    // A commented macro never enters the registry.
    EXPECT_FALSE(macros.contains(QStringLiteral("NEW_ONE")));
}

TEST(VhdlTextTest, ExpressionsAndAddressBits)
{
    const struct {
        const char* in;
        const char* out;
    } expressions[] = {
        {"exp2(N)+0x10", "2**(N)+16#10#"},
        {"0XfF", "16#fF#"},
        {"A0x10 + (0x2)", "A0x10 + (16#2#)"},
        {"EXP2(4) + exp2(2)", "2**(4) + 2**(2)"},
        {"BASE_0x1", "BASE_0x1"},
    };
    for (const auto& row : expressions)
        EXPECT_EQ(vhdl_clean_expr(QString::fromLatin1(row.in)), QString::fromLatin1(row.out)) << row.in;
    const struct {
        unsigned int bits;
        int result;
    } sizes[] = {{0, 1}, {8, 0}, {16, 1}, {24, 2}, {32, 2}, {40, 3}, {64, 3}, {0x8000, 12}, {0x8008, 13}};
    for (const auto& row : sizes)
        EXPECT_EQ(vhdl_log2(row.bits), row.result) << row.bits;
}

// Physical maps pack fields in list order; a name declared twice in a package (in any case) is commented
// out; a group whose bits leave a gap is announced.
TEST_F(GeneratorTest, VhdlPhysicalMapsAndRepeatedNames)
{
    auto chip = load(R"(<archive><module name="M">
      <reg32 name="a"><bits name="x" pos="7:4"/><bits name="y" pos="1"/><bits name="z" pos="12"/>
        <bitgroup name="g"><entry ref="y"/><entry ref="z"/></bitgroup></reg32>
      <reg32 name="b"><bits name="X" pos="2"/></reg32>
    </module></archive>)");
    ASSERT_NE(chip->root, nullptr);
    HwVHDLNames names;
    const QString text = element(*chip, 0, 0)->vhdl_serialize(0, names);
    EXPECT_EQ(text,
        QStringLiteral("constant at_A:                                  integer := 0;\n"
                       "-- logical map\n"
                       "subtype  l_x is                                 integer range 7 downto 4;\n"
                       "constant l_y:                                   integer := 1;\n"
                       "constant l_z:                                   integer := 12;\n"
                       "-- Not Contiguous BitGroup: g\n"
                       "subtype  l_g is                                 integer range 12 downto 1;\n"
                       "-- physical map\n"
                       "subtype  p_x is                                 integer range 3 downto 0;\n"
                       "constant p_y:                                   integer := 4;\n"
                       "constant p_z:                                   integer := 5;\n"
                       "subtype  p_g is                                 integer range 5 downto 4;\n"
                       "subtype range_a is                              integer range 5 downto 0;\n"
                       "\n"
                       "constant at_B:                                  integer := 4;\n"
                       "-- logical map\n"
                       "--constant l_X:                                   integer := 2;\n"
                       "-- physical map\n"
                       "--constant p_X:                                   integer := 0;\n"
                       "subtype range_b is                              integer range 0 downto 0;\n"
                       "\n"));
}

// A file whose path leaves the output directory is refused, the others are still written.
TEST_F(GeneratorTest, FilesOutsideTheOutputDirectoryAreRefused)
{
    SwitchGuard guard;
    writeText(path(QStringLiteral("in/sub/evil.xml")),
        QStringLiteral("<archive relative=\"../../../escaped.xml\"><var name=\"E\" value=\"1\"/></archive>"));
    auto chip = load(R"(<archive><include file="sub/evil.xml"/><var name="A" value="1"/></archive>)",
        QStringLiteral("in/chip.xml"));
    ASSERT_NE(chip->root, nullptr);
    const QString out = path(QStringLiteral("out/deep"));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(chip->map.generateCHeaders(out, true));
    EXPECT_FALSE(chip->map.generateVHDL(out));
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("outside the output directory"), std::string::npos) << errors;
    EXPECT_EQ(gentest::filesUnder(m_dir.path()),
        (QStringList {QStringLiteral("in/chip.xml"), QStringLiteral("in/sub/evil.xml"),
            QStringLiteral("out/deep/chip.h"), QStringLiteral("out/deep/chip_asm.h"),
            QStringLiteral("out/deep/chip_reg_pkg.vhd")}));
}

// The driver's progress lines and options: h="no" avoids the header, an up-to-date header is skipped when
// asked, the ARM flavour only on request.
TEST_F(GeneratorTest, DriverOptions)
{
    SwitchGuard guard;
    writeText(path(QStringLiteral("noh.xml")), QStringLiteral("<archive h=\"no\"/>"));
    auto chip = load(R"(<archive><include file="noh.xml"/></archive>)");
    ASSERT_NE(chip->root, nullptr);
    const QString out = path(QStringLiteral("out"));
    testing::internal::CaptureStdout();
    EXPECT_TRUE(chip->map.generateCHeaders(out, true));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Avoiding " + out.toStdString() + "/noh.h\n");
    EXPECT_EQ(
        gentest::filesUnder(out), (QStringList {QStringLiteral("chip.h"), QStringLiteral("chip_asm.h")}));

    // Newer than its description: skipped, and left as it is.
    QThread::msleep(20);
    writeText(out + QStringLiteral("/chip.h"), QStringLiteral("kept"));
    chip->map.setSkipNewerHeaders(true);
    chip->map.setGenerateArmAsm(true);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(chip->map.generateCHeaders(out, true));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        "Skipping " + out.toStdString() + "/chip.h\nAvoiding " + out.toStdString() + "/noh.h\n");
    EXPECT_EQ(readText(out + QStringLiteral("/chip.h")), QStringLiteral("kept"));

    chip->map.setSkipNewerHeaders(false);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(chip->map.generateCHeaders(out, true));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(gentest::filesUnder(out),
        (QStringList {
            QStringLiteral("chip.h"), QStringLiteral("chip_asm.h"), QStringLiteral("chip_asm_arm.h")}));
    // The soft description is not loaded: nothing to write.
    EXPECT_TRUE(chip->map.generateCHeaders(path(QStringLiteral("soft")), false));
    EXPECT_FALSE(QFileInfo::exists(path(QStringLiteral("soft"))));
}

} // namespace
