// The CMSIS-SVD export: every export validates against the schema, and an independent reading of the file
// (svdDigest) finds exactly the model's registers and fields (modelDigest with SVD names), for the demo
// chip, the generator fixtures and random descriptions.
#include "digest.h"
#include "random_description.h"
#include "tools/tool_runner.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/svd/svd_export.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

QStringList g_loadErrors;

void onLoadError(const char* text)
{
    g_loadErrors << QString::fromUtf8(text);
}

std::unique_ptr<HwMemoryMap> load(const QString& root)
{
    g_loadErrors.clear();
    auto map = std::make_unique<HwMemoryMap>();
    HwMemoryMapLoader loader;
    if (!loader.loadRootArchiveFromFile(map.get(), root, nullptr, onLoadError, nullptr, true))
        return nullptr;
    return map;
}

/// xmllint's verdict on the file against the CMSIS-SVD schema: empty when valid.
QString schemaErrors(const QString& path)
{
    QProcess lint;
    lint.start(QStringLiteral(VELLXML_XMLLINT),
        {QStringLiteral("--noout"), QStringLiteral("--schema"), QStringLiteral(VELLXML_SVD_SCHEMA), path});
    if (!lint.waitForFinished(60000))
        return QStringLiteral("xmllint did not finish");
    if (lint.exitStatus() == QProcess::NormalExit && lint.exitCode() == 0)
        return QString();
    return QString::fromUtf8(lint.readAllStandardError()).left(4000);
}

/// Exports the chip of `root` and checks the file against the schema and against the model.
void checkExport(const QString& root, const QString& what)
{
    SCOPED_TRACE(what.toStdString());
    const auto map = load(root);
    ASSERT_TRUE(map) << g_loadErrors.join(QLatin1Char('\n')).toStdString();
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("chip.svd"));
    const HwSvdExportResult result = svdExportFile(*map, path);
    ASSERT_TRUE(result) << result.error.toStdString();
    EXPECT_EQ(schemaErrors(path).toStdString(), "");

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList fromFile;
    QString error;
    ASSERT_TRUE(svdDigest(file.readAll(), fromFile, error)) << error.toStdString();
    const QStringList fromModel = modelDigest(*map->getChipRootArchive(), DigestNames::Svd);
    EXPECT_FALSE(fromModel.isEmpty());
    EXPECT_EQ(
        fromFile.join(QLatin1Char('\n')).toStdString(), fromModel.join(QLatin1Char('\n')).toStdString());
}

TEST(SvdExport, DemoChip)
{
    checkExport(QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), QStringLiteral("demo"));
}

TEST(SvdExport, GeneratorFixture)
{
    checkExport(QStringLiteral(VELLXML_SOURCE_DIR "/tests/generators/data/fixture/chip.xml"),
        QStringLiteral("fixture"));
}

TEST(SvdExport, RandomDescriptions)
{
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        QTemporaryDir dir;
        const QString root = writeRandomDescription(dir.path(), seed);
        ASSERT_FALSE(root.isEmpty());
        checkExport(root, QStringLiteral("seed %1").arg(seed));
        if (::testing::Test::HasFailure()) {
            QFile file(root);
            file.open(QIODevice::ReadOnly);
            ADD_FAILURE() << file.readAll().toStdString();
            return;
        }
    }
}

TEST(SvdExport, FailureLeavesTheFileAsItWas)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("kept.svd"));
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("previous");
    }
    HwMemoryMap empty;
    const HwSvdExportResult nothingLoaded = svdExportFile(empty, path);
    EXPECT_FALSE(nothingLoaded);
    EXPECT_EQ(nothingLoaded.error.toStdString(), "No chip is loaded.");

    const auto map = load(QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"));
    ASSERT_TRUE(map);
    const HwSvdExportResult unwritable =
        svdExportFile(*map, dir.filePath(QStringLiteral("missing/dir/x.svd")));
    EXPECT_FALSE(unwritable);
    EXPECT_TRUE(unwritable.error.startsWith(QStringLiteral("Cannot write ")))
        << unwritable.error.toStdString();

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("previous"));
}

TEST(SvdExport, ToolCommand)
{
    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("demo.svd"));
    const QString demo = QStringLiteral(VELLXML_DEMO_DIR "/chip.xml");
    const struct {
        QStringList args;
        int status;
        const char* errorStart; // of standard error
    } cases[] = {
        {{demo}, 2, "vellxml: export-svd needs an output file (-o FILE.svd)"},
        {{QStringLiteral("-o"), out}, 2, "vellxml: export-svd needs a root file"},
        {{demo, demo, QStringLiteral("-o"), out}, 2, "vellxml: export-svd takes one root file"},
        {{demo, QStringLiteral("--bogus"), QStringLiteral("-o"), out}, 2,
            "vellxml: unknown option '--bogus'"},
        {{dir.filePath(QStringLiteral("none.xml")), QStringLiteral("-o"), out}, 1, ""},
        {{demo, QStringLiteral("-o"), dir.filePath(QStringLiteral("no/such/dir.svd")), QStringLiteral("-q")},
            1, "vellxml: Cannot write "},
    };
    for (const auto& c : cases) {
        const ToolRun run = runTool(QStringList {QStringLiteral("export-svd")} + c.args);
        EXPECT_EQ(run.exitCode, c.status)
            << c.args.join(QLatin1Char(' ')).toStdString() << run.err.toStdString();
        EXPECT_TRUE(run.err.startsWith(QLatin1String(c.errorStart))) << run.err.toStdString();
        EXPECT_FALSE(QFile::exists(out));
    }

    const ToolRun help = runTool({QStringLiteral("export-svd"), QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith(QLatin1String("Usage: vellxml export-svd ROOT -o FILE.svd")));

    const ToolRun run =
        runTool({QStringLiteral("export-svd"), demo, QStringLiteral("-o"), out, QStringLiteral("--name"),
            QStringLiteral("VX-100"), QStringLiteral("--version"), QStringLiteral("2.1")});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(schemaErrors(out).toStdString(), "");
    // Each warning names the file and the element.
    EXPECT_TRUE(
        run.err.contains(out + QStringLiteral(": warning: $UART0.ISR: the bit group ERRORS is left out\n")))
        << run.err.toStdString();
    QFile file(out);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray svd = file.readAll();
    EXPECT_TRUE(svd.contains("<name>VX_100</name>\n  <version>2.1</version>")) << svd.left(400).toStdString();
}

} // namespace

namespace {

/// What the model holds that SVD cannot is reported, element by element.
TEST(SvdExport, WarningsNameWhatIsLeftOutOrChanged)
{
    QTemporaryDir dir;
    const QString root = dir.filePath(QStringLiteral("chip.xml"));
    {
        QFile file(root);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(R"(<archive>
  <module name="BLK">
    <reg32 name="my-reg"/>
    <reg32 name="my_reg"/>
    <ireg name="IR"/>
    <reg32 name="S">
      <bits name="A" pos="0" access="--"/>
      <bits name="B" pos="2:1"><options><option name="W" value="5"/><option name="K" value="3"/></options></bits>
      <bitgroup name="G1"><entry ref="A"/><entry ref="B"/></bitgroup>
      <bitgroup name="G2"><entry ref="A"/></bitgroup>
    </reg32>
    <struct name="EMPTY"><hole size="32"/></struct>
    <struct name="INNER"><memory name="BUF" size="4"/><reg8 name="R"/></struct>
    <memory name="TOP" size="8"/>
  </module>
  <instance name="9blk" type="BLK" address="0x1000"/>
</archive>
)");
    }
    const auto map = load(root);
    ASSERT_TRUE(map) << g_loadErrors.join(QLatin1Char('\n')).toStdString();
    QByteArray svd;
    const HwSvdExportResult result = svdExportDocument(*map, svd);
    ASSERT_TRUE(result) << result.error.toStdString();
    EXPECT_EQ(result.warnings.join(QLatin1Char('\n')).toStdString(),
        "$9blk: name '9blk' written as '_9blk'\n"
        "$9blk.IR: an internal (debug-side) register is written as an ordinary register\n"
        "$9blk.S.A: neither readable nor writable: written read-only\n"
        "$9blk.S.B: option W = 0x5 does not fit the field and is left out\n"
        "$9blk.S: the bit groups G1, G2 are left out\n"
        "$9blk.EMPTY: a structure without registers is left out\n"
        "$9blk.INNER.BUF: a memory inside a structure is left out\n"
        "$9blk: the name my_reg is written more than once");
    // The memory directly in the instance is a buffer block beside the registers' block.
    EXPECT_TRUE(
        svd.contains("<offset>0x0</offset>\n        <size>0x24</size>\n        <usage>registers</usage>"))
        << svd.toStdString();
    EXPECT_TRUE(
        svd.contains("<offset>0x1C</offset>\n        <size>0x8</size>\n        <usage>buffer</usage>"))
        << svd.toStdString();
}

} // namespace
