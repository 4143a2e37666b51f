#include "c_prelude.h"
#include "generated_check.h"

#include <vellxml/expr/names.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <functional>
#include <memory>
#include <set>

namespace gencheck {

namespace {

using vellxml_test::kCPrelude;

// The assembler environment: BASE_LO gives the whole address, so that both flavours give plain addresses.
const char* const kAsmPrelude = R"(#define BASE_HI(address) (((address) >> 16) & 0xFFFF)
#define BASE_LO(address) (address)
#define EXP2(n) (1 << (n))
)";

struct Run {
    int exitCode = -1;
    QString output;
};

Run run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    Run result;
    if (!process.waitForStarted(30000)) {
        result.output = QStringLiteral("cannot start ") + program;
        return result;
    }
    process.waitForFinished(600000);
    result.output = QString::fromUtf8(process.readAll());
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

bool writeText(const QString& path, const QString& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    return file.write(text.toUtf8()) >= 0;
}

QString readText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString hex(std::uint32_t value)
{
    return QStringLiteral("0x%1u").arg(value, 8, 16, QLatin1Char('0'));
}

void silent(const char*) {}

QString errorsText;
void collectError(const char* text)
{
    errorsText += QString::fromUtf8(text) + QLatin1Char('\n');
}

/// offsetof checks of a member and everything inside it, designated from the outermost structure.
void memberChecks(const HwXMLElement* member, const QString& designator, std::uint32_t typeBase,
    const QString& type, QStringList& checks)
{
    const auto check = [&checks, &type](const QString& path, std::uint32_t at) {
        checks << QStringLiteral("    CHECK(offsetof(%1, %2) == %3, \"offsetof(%1, %2)\");")
                      .arg(type, path, hex(at));
    };
    const auto inner = [&](const HwStruct* structure, const QString& path) {
        const QStringList names = cMemberNames(structure);
        int i = 0;
        for (const auto& m : structure->getMemberList())
            memberChecks(m.get(), path + QLatin1Char('.') + names[i++], typeBase, type, checks);
    };
    if (member->isArray()) {
        const auto* array = static_cast<const HwArray*>(member);
        if (array->count() < 1)
            return;
        const bool single = array->count() == 1;
        for (std::size_t i = 0; i < array->getMemberList().size(); ++i) {
            const HwXMLElement* item = array->getMemberList()[i].get();
            const QString itemPath = single ? designator : designator + QStringLiteral("[%1]").arg(i);
            check(itemPath, item->getBaseAddress() - typeBase);
            if (item->isStruct())
                inner(static_cast<const HwStruct*>(item), itemPath);
        }
        return;
    }
    if (member->sizeOf() == 0)
        return;
    check(designator, member->getBaseAddress() - typeBase);
    if (member->isStruct())
        inner(static_cast<const HwStruct*>(member), designator);
}

/// Addresses of every register (any valuable but an enum holder) inside an element, through structures
/// and array items.
void registerAddresses(const HwXMLElement* element, std::int64_t base, std::set<std::uint32_t>& out)
{
    if (element->isStruct()) {
        for (const auto& m : static_cast<const HwStruct*>(element)->getMemberList())
            registerAddresses(m.get(), base, out);
    } else if (element->isArray()) {
        for (const auto& m : static_cast<const HwArray*>(element)->getMemberList())
            registerAddresses(m.get(), base, out);
    } else if (element->isValuable() && !static_cast<const HwValuable*>(element)->isEnumHolder()) {
        out.insert(static_cast<std::uint32_t>(element->getBaseAddress() - base));
    }
}

class Checker {
public:
    Checker(const QString& rootFile, const QString& workDir, const Tools& tools, const Settings& settings)
        : m_rootFile(rootFile)
        , m_work(workDir)
        , m_tools(tools)
        , m_settings(settings)
    {
    }

    QStringList check()
    {
        HwMemoryMap::m_bitfieldGen = m_settings.bitfieldGen;
        HwMemoryMap::m_bitfieldGenIgnoreReserved = m_settings.ignoreReserved;
        HwMemoryMap::m_forceMaskShift = m_settings.forceMaskShift;
        HwMemoryMapLoader loader;
        errorsText.clear();
        m_root = loader.loadRootArchiveFromFile(&m_map, m_rootFile, silent, collectError, silent, true);
        if (!m_root) {
            m_failures << QStringLiteral("%1 does not load:\n%2").arg(m_rootFile, errorsText);
            return m_failures;
        }
        QDir(out()).removeRecursively();
        m_map.setGenerateArmAsm(true);
        if (!m_map.generateCHeaders(out(), true) || !m_map.generateVHDL(out())) {
            m_failures << QStringLiteral("generation failed");
            return m_failures;
        }
        writeText(m_work + QStringLiteral("/prelude/prelude.h"), QString::fromLatin1(kCPrelude));
        writeText(m_work + QStringLiteral("/prelude/asm_prelude.h"), QString::fromLatin1(kAsmPrelude));
        checkCProgram();
        checkIncludedHeaders();
        checkAssembly();
        checkVhdl();
        HwMemoryMap::m_bitfieldGen = 0;
        HwMemoryMap::m_bitfieldGenIgnoreReserved = false;
        HwMemoryMap::m_forceMaskShift = false;
        return m_failures;
    }

private:
    QString out() const { return m_work + QStringLiteral("/out"); }

    Run compile(const QStringList& arguments) const
    {
        return run(m_tools.cc, QStringList {QStringLiteral("-I") + m_work + QStringLiteral("/prelude")} + arguments);
    }

    std::vector<const HwXMLArchive*> archivesWithHeaders() const
    {
        std::vector<const HwXMLArchive*> list;
        for (const auto& archive : m_root->getArchives()) {
            if (archive->getGenerateHeader())
                list.push_back(archive.get());
        }
        return list;
    }

    void checkCProgram()
    {
        static const QRegularExpression define(
            QStringLiteral("^#define ([A-Za-z_][A-Za-z0-9_]*)(\\(n\\))?[ \\t]+\\S"),
            QRegularExpression::MultilineOption);
        QStringList includes;
        QStringList checks;
        QStringList uses;
        QSet<QString> used;
        for (const HwXMLArchive* archive : archivesWithHeaders()) {
            const QString header = out() + QLatin1Char('/') + archive->getHFileRelativeName();
            includes << QStringLiteral("#include \"%1\"").arg(header);
            for (const auto& element : archive->getElements()) {
                if (!element->isStruct())
                    continue;
                const auto* structure = static_cast<const HwStruct*>(element.get());
                const QString type = cStructTypeName(structure);
                checks << QStringLiteral("    CHECK(sizeof(%1) == %2, \"sizeof(%1)\");")
                              .arg(type, hex(structure->sizeOf()));
                const QStringList names = cMemberNames(structure);
                int i = 0;
                for (const auto& member : structure->getMemberList())
                    memberChecks(member.get(), names[i++], structure->getBaseAddress(), type, checks);
            }
            // Every macro, used once: value macros with an argument get one.
            for (auto it = define.globalMatch(readText(header)); it.hasNext();) {
                const QRegularExpressionMatch match = it.next();
                const QString name = match.captured(1);
                if (used.contains(name))
                    continue;
                used.insert(name);
                uses << (match.captured(2).isEmpty() ? QStringLiteral("    (void)(%1);").arg(name)
                                                      : QStringLiteral("    (void)(%1(1u));").arg(name));
            }
        }
        for (const HwXMLElement* instance : m_root->getInstanciatedTemplates()) {
            const HwXMLElement* type = m_root->getTemplate(instance->getTypeString());
            if (instance->isExternal() || !type || !type->getTopArchive()->getGenerateHeader())
                continue;
            checks << QStringLiteral("    CHECK(REG_%1_BASE == %2, \"REG_%1_BASE\");")
                          .arg(NameUpper(instance->getName()), hex(instance->getBaseAddress()));
        }
        const QString source = m_work + QStringLiteral("/layout.c");
        writeText(source,
            QStringLiteral(
                "#include \"prelude.h\"\n%1\n#include <stddef.h>\n"
                "#define CHECK(condition, text) _Static_assert(condition, text)\n"
                "%2\n"
                "void useMacros(void);\nvoid useMacros(void)\n{\n%3\n}\n")
                .arg(includes.join(QLatin1Char('\n')), checks.join(QLatin1Char('\n')), uses.join(QLatin1Char('\n'))));
        for (const QString& bits : {QStringLiteral("-m32"), QStringLiteral("-m64")}) {
            // The layout checks are static assertions: the program need not run on the host.
            const Run build = compile({bits, QStringLiteral("-std=c11"), QStringLiteral("-Wall"),
                QStringLiteral("-Wextra"), QStringLiteral("-Wshift-overflow=2"), QStringLiteral("-Werror"),
                QStringLiteral("-c"), source, QStringLiteral("-o"), m_work + QStringLiteral("/layout.o")});
            if (build.exitCode != 0)
                m_failures << QStringLiteral("C headers (%1) fail to compile or differ from the model:\n%2")
                                  .arg(bits, build.output.left(6000));
        }
    }

    // The root header, compiled with no definition, includes exactly the headers of the loaded archives.
    void checkIncludedHeaders()
    {
        const HwXMLArchive* rootArchive = nullptr;
        for (const auto& archive : m_root->getArchives()) {
            if (QFileInfo(archive->getTotalPath()).canonicalFilePath() == QFileInfo(m_rootFile).canonicalFilePath())
                rootArchive = archive.get();
        }
        if (!rootArchive || !rootArchive->getGenerateHeader())
            return;
        QSet<QString> expected {QDir::cleanPath(out() + QLatin1Char('/') + rootArchive->getHFileRelativeName())};
        for (const HwXMLArchive* included : rootArchive->getIncludedArchivesClosure()) {
            if (included->getGenerateHeader())
                expected.insert(QDir::cleanPath(out() + QLatin1Char('/') + included->getHFileRelativeName()));
        }
        const QString source = m_work + QStringLiteral("/root.c");
        writeText(source,
            QStringLiteral("#include \"prelude.h\"\n#include \"%1\"\n")
                .arg(out() + QLatin1Char('/') + rootArchive->getHFileRelativeName()));
        const Run deps = compile({QStringLiteral("-std=c11"), QStringLiteral("-M"), source});
        if (deps.exitCode != 0) {
            m_failures << QStringLiteral("root header does not preprocess:\n%1").arg(deps.output.left(4000));
            return;
        }
        QSet<QString> found;
        const QString prefix = QDir::cleanPath(out()) + QLatin1Char('/');
        for (QString word : deps.output.split(QRegularExpression(QStringLiteral("[\\s\\\\]+")), Qt::SkipEmptyParts)) {
            word = QDir::cleanPath(word);
            if (word.startsWith(prefix))
                found.insert(word);
        }
        if (found != expected) {
            QStringList a(found.begin(), found.end());
            QStringList b(expected.begin(), expected.end());
            a.sort();
            b.sort();
            m_failures << QStringLiteral("root header includes\n  %1\ninstead of\n  %2")
                              .arg(a.join(QStringLiteral("\n  ")), b.join(QStringLiteral("\n  ")));
        }
    }

    void checkAssembly()
    {
        static const QRegularExpression define(
            QStringLiteral("^#define (REG_[A-Za-z0-9_]*) "), QRegularExpression::MultilineOption);
        for (const auto& archive : m_root->getArchives()) {
            if (!archive->getGenerateHeader() || !archive->getGenerateAsm())
                continue;
            std::set<std::uint32_t> absolute;
            std::set<std::uint32_t> offsets;
            for (const auto& element : archive->getElements())
                registerAddresses(element.get(), element->getBaseAddress(), offsets);
            for (const HwXMLElement* instance : m_root->getInstanciatedTemplates()) {
                const HwXMLElement* type = m_root->getTemplate(instance->getTypeString());
                if (type && type->getTopArchive() == archive.get())
                    registerAddresses(instance, 0, absolute);
            }
            for (const QString& header : {archive->getASMFileRelativeName(), archive->getASMARMFileRelativeName()})
                checkAssemblyFile(header, absolute, offsets, define);
        }
    }

    void checkAssemblyFile(const QString& header, const std::set<std::uint32_t>& absolute,
        const std::set<std::uint32_t>& offsets, const QRegularExpression& define)
    {
        const QString text = readText(out() + QLatin1Char('/') + header);
        QStringList data;
        QSet<QString> names;
        for (auto it = define.globalMatch(text); it.hasNext();) {
            const QString name = it.next().captured(1);
            if (name.endsWith(QLatin1String("_BASE")) || name.endsWith(QLatin1String("_BASE_HI"))
                || name.endsWith(QLatin1String("_BASE_LO")) || names.contains(name))
                continue;
            names.insert(name);
            data << QStringLiteral("    .long ") + name;
        }
        const QString source = m_work + QStringLiteral("/check.S");
        const QString object = m_work + QStringLiteral("/check.o");
        const QString binary = m_work + QStringLiteral("/check.bin");
        writeText(source,
            QStringLiteral("#include \"asm_prelude.h\"\n#include \"%1\"\n    .data\n%2\n")
                .arg(out() + QLatin1Char('/') + header, data.join(QLatin1Char('\n'))));
        const Run assembled = compile({QStringLiteral("-DHB_ASM"), QStringLiteral("-c"), source,
            QStringLiteral("-o"), object});
        if (assembled.exitCode != 0) {
            m_failures << QStringLiteral("%1 does not assemble:\n%2").arg(header, assembled.output.left(4000));
            return;
        }
        const Run copied = run(m_tools.objcopy, {QStringLiteral("-O"), QStringLiteral("binary"),
            QStringLiteral("-j"), QStringLiteral(".data"), object, binary});
        QFile file(binary);
        if (copied.exitCode != 0 || !file.open(QIODevice::ReadOnly)) {
            m_failures << QStringLiteral("%1: no data read back: %2").arg(header, copied.output);
            return;
        }
        const QByteArray bytes = file.readAll();
        std::set<std::uint32_t> values;
        for (int i = 0; i + 3 < bytes.size(); i += 4) {
            values.insert(static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]))
                | static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8
                | static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 2])) << 16
                | static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 3])) << 24);
        }
        QStringList problems;
        for (std::uint32_t address : absolute) {
            if (!values.count(address))
                problems << QStringLiteral("register address %1 missing").arg(hex(address));
        }
        for (std::uint32_t value : values) {
            if (!absolute.count(value) && !offsets.count(value))
                problems << QStringLiteral("value %1 is no register address").arg(hex(value));
        }
        if (!problems.isEmpty())
            m_failures << header + QStringLiteral(":\n  ") + problems.mid(0, 20).join(QStringLiteral("\n  "));
    }

    void checkVhdl()
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
        for (const auto& archive : m_root->getArchives())
            visit(archive.get());
        const QString work = m_work + QStringLiteral("/ghdl");
        QDir(work).removeRecursively();
        QDir().mkpath(work);
        for (const HwXMLArchive* archive : order) {
            const Run result = run(m_tools.ghdl, {QStringLiteral("-a"), QStringLiteral("--std=08"),
                QStringLiteral("--workdir=") + work, out() + QLatin1Char('/') + archive->getVHDLFileRelativeName()});
            if (result.exitCode != 0 || !result.output.trimmed().isEmpty())
                m_failures << QStringLiteral("%1 does not analyse cleanly:\n%2")
                                  .arg(archive->getVHDLFileRelativeName(), result.output.left(4000));
        }
    }

    QString m_rootFile;
    QString m_work;
    Tools m_tools;
    Settings m_settings;
    HwMemoryMap m_map;
    HwRootArchive* m_root = nullptr;
    QStringList m_failures;
};

} // namespace

QStringList checkGeneratedFiles(
    const QString& rootFile, const QString& workDir, const Tools& tools, const Settings& settings)
{
    Checker checker(rootFile, workDir, tools, settings);
    return checker.check();
}

} // namespace gencheck
