// vellxml gen: which outputs each flag selects, the generator switches, usage errors.
#include "tool_runner.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString demoRoot = QStringLiteral(VELLXML_DEMO_DIR "/chip.xml");

/// The files under dir, relative, sorted; the documentation's folders count as one entry each.
QStringList filesUnder(const QString& dir)
{
    QStringList files;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = QDir(dir).relativeFilePath(it.next());
        const QString top = relative.section(QLatin1Char('/'), 0, 0);
        if (top == QLatin1String("docpool") || top == QLatin1String("menu") || top == QLatin1String("search"))
            files << top + QLatin1Char('/');
        else
            files << relative;
    }
    files.removeDuplicates();
    files.sort();
    return files;
}

QStringList withSuffix(const QStringList& files, const QString& suffix)
{
    QStringList kept;
    for (const QString& file : files)
        if (file.endsWith(suffix))
            kept << file;
    return kept;
}

TEST(GenCommand, EachOutputFlagWritesItsKindOnly)
{
    struct Case {
        const char* flag;
        const char* suffix; // every file written ends so
    };
    const Case cases[] = {
        {"--asm", "_asm.h"},
        {"--asm-arm", "_asm_arm.h"},
        {"--vhdl", ".vhd"},
    };
    for (const Case& c : cases) {
        QTemporaryDir out;
        const ToolRun run = runTool(
            {QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), out.path(), QString::fromLatin1(c.flag)});
        ASSERT_EQ(run.exitCode, 0) << c.flag << run.err.toStdString();
        const QStringList files = filesUnder(out.path());
        EXPECT_FALSE(files.isEmpty()) << c.flag;
        EXPECT_EQ(withSuffix(files, QString::fromLatin1(c.suffix)), files) << c.flag;
    }
    QTemporaryDir out;
    ASSERT_EQ(
        runTool({QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), out.path(), QStringLiteral("--c")})
            .exitCode,
        0);
    const QStringList files = filesUnder(out.path());
    EXPECT_TRUE(files.contains(QStringLiteral("periph/uart.h")))
        << files.join(QLatin1Char(' ')).toStdString();
    for (const QString& file : files)
        EXPECT_TRUE(file.endsWith(QLatin1String(".h")) && !file.endsWith(QLatin1String("_asm.h"))
            && !file.endsWith(QLatin1String("_asm_arm.h")))
            << file.toStdString();
}

TEST(GenCommand, NoOutputFlagWritesEverythingAndSaysWhereTheDocumentationIs)
{
    QTemporaryDir out;
    const ToolRun run = runTool({QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), out.path()});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList files = filesUnder(out.path());
    for (const char* expected : {"periph/uart.h", "periph/uart_asm.h", "periph/uart_asm_arm.h", "index.html",
             "UART0.html", "docpool/", "search/"})
        EXPECT_TRUE(files.contains(QString::fromLatin1(expected))) << expected;
    EXPECT_FALSE(withSuffix(files, QStringLiteral(".vhd")).isEmpty());
    EXPECT_TRUE(
        run.out.contains(QStringLiteral("Documentation: ") + out.path() + QStringLiteral("/index.html")))
        << run.out.toStdString();
}

TEST(GenCommand, SwitchesReachTheGenerators)
{
    QTemporaryDir plain;
    QTemporaryDir unions;
    const QStringList base {QStringLiteral("gen"), demoRoot, QStringLiteral("--c"), QStringLiteral("-o")};
    ASSERT_EQ(runTool(base + QStringList {plain.path()}).exitCode, 0);
    ASSERT_EQ(runTool(base
                  + QStringList {unions.path(), QStringLiteral("--bitfields"), QStringLiteral("both"),
                      QStringLiteral("--force-mask-shift")})
                  .exitCode,
        0);
    QFile a(plain.path() + QStringLiteral("/periph/uart.h"));
    QFile b(unions.path() + QStringLiteral("/periph/uart.h"));
    ASSERT_TRUE(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
    const QByteArray without = a.readAll();
    const QByteArray with = b.readAll();
    // The bitfield unions: one per register with fields, and the two byte orders.
    EXPECT_FALSE(without.contains("typedef union {"));
    EXPECT_TRUE(with.contains("typedef union {"));
    EXPECT_TRUE(with.contains("__ORDER_BIG_ENDIAN__"));
    EXPECT_GT(with.count("_MASK"), without.count("_MASK"));
}

TEST(GenCommand, UsageErrors)
{
    const QStringList cases[] = {
        {QStringLiteral("gen"), demoRoot},
        {QStringLiteral("gen"), QStringLiteral("-o"), QStringLiteral("/tmp/x")},
        {QStringLiteral("gen"), demoRoot, QStringLiteral("-o")},
        {QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), QStringLiteral("/tmp/x"),
            QStringLiteral("--bitfields"), QStringLiteral("middle")},
        {QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), QStringLiteral("/tmp/x"),
            QStringLiteral("--pdf")},
    };
    for (const QStringList& args : cases) {
        const ToolRun run = runTool(args);
        EXPECT_EQ(run.exitCode, 2) << args.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(run.err.contains(QStringLiteral("vellxml gen --help"))) << run.err.toStdString();
    }
}

TEST(GenCommand, ALoadFailureWritesNothing)
{
    QTemporaryDir in;
    QTemporaryDir out;
    QFile root(in.path() + QStringLiteral("/chip.xml"));
    ASSERT_TRUE(root.open(QIODevice::WriteOnly));
    root.write("<archive><module name=\"m\"><reg32/></module></archive>\n");
    root.close();
    const ToolRun run = runTool({QStringLiteral("gen"), root.fileName(), QStringLiteral("-o"), out.path()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(QStringLiteral("error:"))) << run.err.toStdString();
    EXPECT_TRUE(filesUnder(out.path()).isEmpty());
}

// A file that cannot be written is named, with the reason; so is an output directory that cannot be made.
TEST(GenCommand, UnwritableOutputsAreNamedWithTheReason)
{
    QTemporaryDir out;
    // A directory where the C header of the demo chip's root archive goes: the file cannot be written.
    ASSERT_TRUE(QDir(out.path()).mkpath(QStringLiteral("chip.h")));
    const ToolRun run = runTool({QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), out.path(), QStringLiteral("--c")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(out.path() + QStringLiteral("/chip.h: error: Cannot write the file: ")))
        << run.err.toStdString();

    QFile blocker(out.path() + QStringLiteral("/file"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const ToolRun under = runTool(
        {QStringLiteral("gen"), demoRoot, QStringLiteral("-o"), blocker.fileName() + QStringLiteral("/sub")});
    EXPECT_EQ(under.exitCode, 1);
    EXPECT_TRUE(under.err.contains(QStringLiteral("cannot make the output directory ") + blocker.fileName()
        + QStringLiteral("/sub: Not a directory")))
        << under.err.toStdString();
}

} // namespace
