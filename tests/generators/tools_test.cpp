// The generated files checked by the real tools: the C compiler (every header, and a program that checks the
// layout of every structure and every base address against the model, built for a 32-bit target and run), the
// assembler, the #error guards, and GHDL for the VHDL packages.
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

// What an including C environment provides: the register and integer types, the access macro, and exp2()
// for descriptions whose variables use it.
const char* const kCPrelude = R"(#include <stdint.h>
typedef volatile uint32_t REG32;
typedef volatile uint16_t REG16;
typedef volatile uint8_t REG8;
typedef uint32_t UINT32;
typedef uint16_t UINT16;
typedef uint8_t UINT8;
typedef int32_t INT32;
typedef int16_t INT16;
typedef int8_t INT8;
typedef uint8_t BOOL;
typedef void VOID;
#define REG_ACCESS_ADDRESS(address) ((uintptr_t)(address))
#define EXP2(n) (1 << (n))
)";

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

QString hex(std::uint32_t value)
{
    return QStringLiteral("0x%1u").arg(value, 8, 16, QLatin1Char('0'));
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

TEST_P(ToolsTest, CHeadersCompile)
{
    for (const HwXMLArchive* archive : archivesWithHeaders()) {
        const QString source = scratch(QStringLiteral("check.c"));
        writeText(source,
            QStringLiteral("#include \"prelude.h\"\n#include \"%1\"\n")
                .arg(out() + '/' + archive->getHFileRelativeName()));
        const ToolRun run = compile({QStringLiteral("-std=c11"), QStringLiteral("-Wall"),
            QStringLiteral("-Wextra"), QStringLiteral("-Werror"), QStringLiteral("-fsyntax-only"), source});
        EXPECT_EQ(run.exitCode, 0) << archive->getHFileRelativeName().toStdString() << "\n"
                                   << run.output.toStdString();
    }
}

QString memberName(const HwXMLElement* member)
{
    if (member->getType() == TYPE_HOLE)
        return QStringLiteral("Reserved_")
            + QStringLiteral("%1").arg(member->getAddress(), 8, 16, QLatin1Char('0')).toUpper();
    return member->getName();
}

/// offsetof checks of a member and everything inside it, designated from the outermost structure.
void memberChecks(const HwXMLElement* member, const QString& designator, std::uint32_t typeBase,
    const QString& type, QStringList& checks)
{
    const std::uint32_t offset = member->getBaseAddress() - typeBase;
    const auto check = [&checks, &type](const QString& path, std::uint32_t at) {
        checks << QStringLiteral("    CHECK(offsetof(%1, %2) == %3, \"offsetof(%1, %2)\");")
                      .arg(type, path, hex(at));
    };
    if (member->isArray()) {
        const auto* array = static_cast<const HwArray*>(member);
        if (array->count() == 0)
            return;
        check(designator, offset);
        for (std::size_t i = 0; i < array->getMemberList().size(); ++i) {
            const HwXMLElement* item = array->getMemberList()[i].get();
            const QString itemPath = designator + QStringLiteral("[%1]").arg(i);
            check(itemPath, item->getBaseAddress() - typeBase);
            if (item->isStruct()) {
                for (const auto& inner : static_cast<const HwStruct*>(item)->getMemberList())
                    memberChecks(
                        inner.get(), itemPath + '.' + memberName(inner.get()), typeBase, type, checks);
            }
        }
        return;
    }
    if (member->getType() == TYPE_MEMORY && member->sizeOf() == 0)
        return;
    check(designator, offset);
    if (member->isStruct()) {
        for (const auto& inner : static_cast<const HwStruct*>(member)->getMemberList())
            memberChecks(inner.get(), designator + '.' + memberName(inner.get()), typeBase, type, checks);
    }
}

void structureChecks(const HwStruct* structure, const QString& type, QStringList& checks)
{
    checks
        << QStringLiteral("    CHECK(sizeof(%1) == %2, \"sizeof(%1)\");").arg(type, hex(structure->sizeOf()));
    for (const auto& member : structure->getMemberList())
        memberChecks(member.get(), memberName(member.get()), structure->getBaseAddress(), type, checks);
}

// A program built for a 32-bit target, as the chips are, that checks every structure's size and member
// offsets and every base address against the model, then runs.
TEST_P(ToolsTest, LayoutMatchesTheModel)
{
    QStringList includes;
    QStringList checks;
    for (const HwXMLArchive* archive : archivesWithHeaders()) {
        includes << QStringLiteral("#include \"%1\"").arg(out() + '/' + archive->getHFileRelativeName());
        for (const auto& element : archive->getElements()) {
            if (!element->isStruct())
                continue;
            const auto* structure = static_cast<const HwStruct*>(element.get());
            const QString type = structure->isRootStruct()
                ? QStringLiteral("HWP_%1_T").arg(structure->getName().toUpper())
                : ESDRTypeConvert(structure->getTypeName());
            structureChecks(structure, type, checks);
        }
    }
    for (const HwXMLElement* instance : m_chip->root->getInstanciatedTemplates()) {
        const HwXMLElement* type = m_chip->root->getTemplate(instance->getTypeString());
        if (instance->isExternal() || !type || !type->getTopArchive()->getGenerateHeader())
            continue;
        checks << QStringLiteral("    CHECK(REG_%1_BASE == %2, \"REG_%1_BASE\");")
                      .arg(instance->getName().toUpper(), hex(instance->getBaseAddress()));
    }
    ASSERT_GT(checks.size(), 10);
    const QString source = scratch(QStringLiteral("layout.c"));
    writeText(source,
        QStringLiteral(
            "#include \"prelude.h\"\n%1\n#include <stddef.h>\n#include <stdio.h>\n"
            "static int failures;\n"
            "#define CHECK(condition, text) do { if (!(condition)) { puts(text); ++failures; } } while (0)\n"
            "int main(void)\n{\n%2\n    return failures != 0;\n}\n")
            .arg(includes.join('\n'), checks.join('\n')));
    const QString program = scratch(QStringLiteral("layout"));
    const ToolRun build =
        compile({QStringLiteral("-m32"), QStringLiteral("-std=c11"), QStringLiteral("-Wall"),
            QStringLiteral("-Wextra"), QStringLiteral("-Werror"), source, QStringLiteral("-o"), program});
    ASSERT_EQ(build.exitCode, 0) << build.output.toStdString();
    const ToolRun run = runTool(program, {});
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
    EXPECT_EQ(run.output, QString());
}

// Every object-like define of both assembly flavours assembles as data, given BASE_HI and BASE_LO.
TEST_P(ToolsTest, AssemblyHeadersAssemble)
{
    static const QRegularExpression define(
        QStringLiteral("^#define ([A-Za-z_][A-Za-z0-9_]*) "), QRegularExpression::MultilineOption);
    int files = 0;
    for (const auto& archive : m_chip->root->getArchives()) {
        if (!archive->getGenerateHeader() || !archive->getGenerateAsm())
            continue;
        for (const QString& header :
            {archive->getASMFileRelativeName(), archive->getASMARMFileRelativeName()}) {
            const QString text = gentest::readText(out() + '/' + header);
            QStringList data;
            for (auto it = define.globalMatch(text); it.hasNext();)
                data << QStringLiteral("    .long ") + it.next().captured(1);
            const QString source = scratch(QStringLiteral("check.S"));
            writeText(source,
                QStringLiteral("#include \"asm_prelude.h\"\n#include \"%1\"\n    .data\n%2\n")
                    .arg(out() + '/' + header, data.join('\n')));
            const ToolRun run = compile({QStringLiteral("-DHB_ASM"), QStringLiteral("-c"), source,
                QStringLiteral("-o"), scratch(QStringLiteral("check.o"))});
            EXPECT_EQ(run.exitCode, 0) << header.toStdString() << "\n" << run.output.toStdString();
            ++files;
        }
    }
    EXPECT_GT(files, 0);
}

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

// Every package analyses, the packages of included archives first.
TEST_P(ToolsTest, VhdlPackagesAnalyse)
{
    std::vector<const HwXMLArchive*> order;
    QSet<const HwXMLArchive*> seen;
    const std::function<void(const HwXMLArchive*)> visit = [&](const HwXMLArchive* archive) {
        if (seen.contains(archive))
            return;
        seen.insert(archive);
        for (const HwXMLArchive* included : archive->getIncludedArchives())
            visit(included);
        order.push_back(archive);
    };
    for (const auto& archive : m_chip->root->getArchives())
        visit(archive.get());
    const QString work = scratch(QStringLiteral("work"));
    QDir().mkpath(work);
    for (const HwXMLArchive* archive : order) {
        const ToolRun run = runTool(kGhdl,
            {QStringLiteral("-a"), QStringLiteral("--std=08"), QStringLiteral("--workdir=") + work,
                out() + '/' + archive->getVHDLFileRelativeName()});
        EXPECT_EQ(run.exitCode, 0) << archive->getVHDLFileRelativeName().toStdString() << "\n"
                                   << run.output.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Chips, ToolsTest, ::testing::ValuesIn(chips()),
    [](const ::testing::TestParamInfo<Chip>& param) { return std::string(param.param.name); });

} // namespace
