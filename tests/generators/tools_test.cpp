// The #error guards of the generated headers, checked with the real preprocessor. The outputs themselves are
// checked with the real tools by the generated-files check (generated_check.h).
#include "c_prelude.h"
#include "generator_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QRegularExpression>
#include <QSet>

#include <functional>

using gentest::LoadedChip;
using gentest::runTool;
using gentest::Switches;
using gentest::SwitchGuard;
using gentest::ToolRun;
using gentest::writeText;

namespace {

const QString kCompiler = QStringLiteral(VELLXML_TEST_CC);
const QString kGhdl = QStringLiteral(VELLXML_GHDL);

using vellxml_test::kCPrelude;

// What an including assembler environment provides.
const char* const kAsmPrelude = R"(#define BASE_HI(address) (((address) >> 16) & 0xFFFF)
#define BASE_LO(address) ((address) & 0xFFFF)
#define EXP2(n) (1 << (n))
)";

struct Chip {
    const char* name;
    QString rootFile;
    Switches switches;
};

std::vector<Chip> chips()
{
    std::vector<Chip> list;
#ifdef VELLXML_DEMO_DIR
    list.push_back({"demo", QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), {1, false, false}});
#endif
    list.push_back({"fixture", QStringLiteral(VELLXML_SOURCE_DIR "/tests/generators/data/fixture/chip.xml"),
        {3, true, true}});
    return list;
}


class ToolsTest : public ::testing::TestWithParam<Chip> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        SwitchGuard guard(GetParam().switches);
        m_chip = std::make_unique<LoadedChip>(GetParam().rootFile);
        ASSERT_NE(m_chip->root, nullptr);
        m_chip->map.setGenerateArmAsm(true);
        testing::internal::CaptureStdout();
        const bool written = m_chip->map.generateCHeaders(out(), true) && m_chip->map.generateVHDL(out());
        testing::internal::GetCapturedStdout();
        ASSERT_TRUE(written);
        writeText(m_dir.path() + QStringLiteral("/prelude.h"), QString::fromLatin1(kCPrelude));
        writeText(m_dir.path() + QStringLiteral("/asm_prelude.h"), QString::fromLatin1(kAsmPrelude));
        // Includes name headers by file name: every directory of the output is searched.
        QSet<QString> dirs;
        for (const QString& file : gentest::filesUnder(out()))
            dirs.insert(QFileInfo(out() + '/' + file).absolutePath());
        QStringList sorted(dirs.begin(), dirs.end());
        sorted.sort();
        for (const QString& dir : sorted)
            m_includes << QStringLiteral("-I") + dir;
    }

    QString out() const { return m_dir.path() + QStringLiteral("/out"); }
    QString scratch(const QString& name) const { return m_dir.path() + '/' + name; }

    std::vector<const HwXMLArchive*> archivesWithHeaders() const
    {
        std::vector<const HwXMLArchive*> list;
        for (const auto& archive : m_chip->root->getArchives()) {
            if (archive->getGenerateHeader())
                list.push_back(archive.get());
        }
        return list;
    }

    ToolRun compile(const QStringList& arguments) const
    {
        return runTool(kCompiler, QStringList {QStringLiteral("-I") + m_dir.path()} + m_includes + arguments);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<LoadedChip> m_chip;
    QStringList m_includes;
};

// Each header refuses the other language.
TEST_P(ToolsTest, HeadersStopInTheWrongLanguage)
{
    for (const auto& archive : m_chip->root->getArchives()) {
        if (!archive->getGenerateHeader() || !archive->getGenerateAsm())
            continue;
        const QString base = archive->getBaseName();
        const QString cSource = scratch(QStringLiteral("wrong.c"));
        writeText(cSource,
            QStringLiteral("#include \"%1\"\n").arg(out() + '/' + archive->getASMFileRelativeName()));
        const ToolRun inC = compile({QStringLiteral("-fsyntax-only"), cSource});
        EXPECT_NE(inC.exitCode, 0);
        EXPECT_TRUE(inC.output.contains(QStringLiteral(
            "#error \"You are trying to use in a normal C code the assembly H description of '%1'.\"")
                                            .arg(base)))
            << inC.output.toStdString();

        const QString asmSource = scratch(QStringLiteral("wrong.S"));
        writeText(asmSource,
            QStringLiteral("#include \"%1\"\n").arg(out() + '/' + archive->getHFileRelativeName()));
        const ToolRun inAsm = compile({QStringLiteral("-DHB_ASM"), QStringLiteral("-E"), asmSource});
        EXPECT_NE(inAsm.exitCode, 0);
        EXPECT_TRUE(inAsm.output.contains(QStringLiteral(
            "#error \"You are trying to use in an assembly code the normal H description of '%1'.\"")
                                              .arg(base)))
            << inAsm.output.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Chips, ToolsTest, ::testing::ValuesIn(chips()),
    [](const ::testing::TestParamInfo<Chip>& param) { return std::string(param.param.name); });

} // namespace
