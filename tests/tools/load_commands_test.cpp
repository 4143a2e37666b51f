// check, list and decrypt, run as a user runs them.
#include "tool_runner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString demoRoot = QStringLiteral(VELLXML_DEMO_DIR "/chip.xml");

class ToolFiles : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& text)
    {
        const QString path = m_dir.path() + QLatin1Char('/') + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path;
    }
    QByteArray read(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }
    QTemporaryDir m_dir;
};

TEST(CheckCommand, DemoChipLoadsWithLogOnStandardErrorAndASummary)
{
    const ToolRun run = runTool({QStringLiteral("check"), demoRoot});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith(demoRoot + QStringLiteral(": ok, 11 archives, 14 instances,")))
        << run.out.toStdString();
    EXPECT_TRUE(run.err.contains(QStringLiteral("Loading ") + QFileInfo(demoRoot).absolutePath()));
    EXPECT_FALSE(run.err.contains(QStringLiteral("error:")));
}

TEST_F(ToolFiles, CheckMarksErrorsWithTheirPositionForEditors)
{
    const QString root = write(QStringLiteral("bad.xml"),
        "<archive>\n<module name=\"m\">\n<reg32 name=\"r\">\n  <foo/>\n</reg32>\n</module>\n</archive>\n");
    const ToolRun run = runTool({QStringLiteral("check"), root});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(root + QStringLiteral(":4:3: error: Reg32 r contains an unvalid foo tag.")))
        << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("failed to load (1 error, 0 warnings)")))
        << run.out.toStdString();
}

// The checks warn with their code; --strict turns every warning into an error and the status into 1;
// --no-warn leaves a code out, and an unknown code is a usage error.
TEST_F(ToolFiles, CheckWarnsStrictFailsAndCodesCanBeSilenced)
{
    const QString root = write(QStringLiteral("typo.xml"),
        "<archive>\n<module name=\"m\"><reg32 name=\"r\"/></module>\n<instance name=\"I\" type=\"m\" "
        "adress=\"0x1000\"/>\n</archive>\n");
    const QString finding = root
        + QStringLiteral(":3:29: %1: attribute 'adress' of 'instance' is not part of the format and is "
                         "ignored; did you mean 'address'? [unknown-attribute]");
    struct Row {
        QStringList options;
        int exitCode;
        QString err; // empty: no finding on standard error
        QString summary;
    };
    const Row rows[] = {
        {{}, 0, finding.arg(QStringLiteral("warning")),
            QStringLiteral(": ok, 1 archive, 1 instance, 2 elements, 0 bitfields, 1 warning")},
        {{QStringLiteral("--strict")}, 1, finding.arg(QStringLiteral("error")),
            QStringLiteral(": failed (--strict), 1 archive, 1 instance, 2 elements, 0 bitfields, 1 warning")},
        {{QStringLiteral("--strict"), QStringLiteral("--no-warn"), QStringLiteral("unknown-attribute")}, 0,
            QString(), QStringLiteral(": ok, 1 archive, 1 instance, 2 elements, 0 bitfields, 0 warnings")},
        {{QStringLiteral("--no-warn=unknown-attribute")}, 0, QString(),
            QStringLiteral(": ok, 1 archive, 1 instance, 2 elements, 0 bitfields, 0 warnings")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options.join(QLatin1Char(' ')).toStdString());
        const ToolRun run = runTool(QStringList {QStringLiteral("check"), root} + row.options);
        EXPECT_EQ(run.exitCode, row.exitCode) << run.err.toStdString();
        if (row.err.isEmpty()) {
            EXPECT_FALSE(run.err.contains(QStringLiteral("[unknown-attribute]"))) << run.err.toStdString();
        } else {
            EXPECT_TRUE(run.err.contains(row.err + QLatin1Char('\n'))) << run.err.toStdString();
        }
        EXPECT_EQ(run.out, root + row.summary + QLatin1Char('\n'));
    }
    const ToolRun unknown =
        runTool({QStringLiteral("check"), root, QStringLiteral("--no-warn"), QStringLiteral("typo")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("unknown check code 'typo' (codes: unknown-attribute, ")))
        << unknown.err.toStdString();
}

TEST_F(ToolFiles, CheckOfAMissingFileFails)
{
    const ToolRun run = runTool({QStringLiteral("check"), m_dir.path() + QStringLiteral("/none.xml")});
    EXPECT_EQ(run.exitCode, 1);
    // The root file is required: its absence is an error, counted as one.
    EXPECT_TRUE(run.err.contains(QStringLiteral("error: Unable to open file"))) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("failed to load (1 error, 0 warnings)"))) << run.out.toStdString();
}

TEST(LoadCommands, UsageErrorsExitWithTwo)
{
    const QStringList cases[] = {
        {QStringLiteral("check")},
        {QStringLiteral("check"), QStringLiteral("a.xml"), QStringLiteral("b.xml")},
        {QStringLiteral("check"), QStringLiteral("--hard"), QStringLiteral("a.xml")},
        {QStringLiteral("list")},
        {QStringLiteral("list"), QStringLiteral("--x"), QStringLiteral("a.xml")},
        {QStringLiteral("decrypt"), QStringLiteral("a.xmd")},
    };
    for (const QStringList& args : cases) {
        const ToolRun run = runTool(args);
        EXPECT_EQ(run.exitCode, 2) << args.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_TRUE(run.err.contains(QStringLiteral("--help"))) << run.err.toStdString();
    }
}

TEST_F(ToolFiles, ListPrintsTheTreeInOrderWithSizesAndBitPositions)
{
    const QString root = write(QStringLiteral("chip.xml"),
        "<archive>\n"
        "<module name=\"blk\">\n"
        "  <reg32 name=\"ctl\"><bits name=\"en\" pos=\"0\"/><bits name=\"mode\" pos=\"7:4\"/></reg32>\n"
        "  <reg8 name=\"st\"/>\n"
        "  <hole size=\"3*8\"/>\n"
        "  <reg16 name=\"buf\" count=\"2\"/>\n"
        "</module>\n"
        "<instance name=\"B0\" type=\"blk\" address=\"0x4000\"/>\n"
        "</archive>\n");
    const ToolRun run = runTool({QStringLiteral("list"), root});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.toStdString(),
        "$B0\tblk\t0x00004000\t12\n"
        "$B0.ctl\tReg32\t0x00004000\t4\n"
        "$B0.ctl.en\tBitfield\t0x00004000\t0:0\n"
        "$B0.ctl.mode\tBitfield\t0x00004000\t7:4\n"
        "$B0.st\tReg8\t0x00004004\t1\n"
        "$B0.buf\treg16[]\t0x00004008\t4\n"
        "$B0.buf[0]\treg16\t0x00004008\t2\n"
        "$B0.buf[1]\treg16\t0x0000400A\t2\n");
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
}

TEST_F(ToolFiles, CompleteOffersArrayItemsOnceTheArrayIsNamed)
{
    // Arrays of a module type (PORT), of structures (CH) and of registers (buf), and a field cut into
    // pieces (MODE): what the shell's Tab offers for each, since both ask the same function.
    const QString root = write(QStringLiteral("chip.xml"),
        "<archive>\n"
        "<typedef name=\"port\"><reg32 name=\"IN\"/><reg32 name=\"OUT\"/></typedef>\n"
        "<module name=\"blk\">\n"
        "  <reg32 name=\"ctl\"><bits name=\"MODE\" pos=\"7:0\" cut=\"2\" cutprefix=\"MODE\"/></reg32>\n"
        "  <struct name=\"CH\" count=\"3\"><comment>A channel.</comment><reg32 name=\"CTRL\"/></struct>\n"
        "  <reg16 name=\"buf\" count=\"12\"/>\n"
        "  <reg16 name=\"bufctl\"/>\n"
        "  <instance type=\"port\" name=\"PORT\" count=\"2\"/>\n"
        "</module>\n"
        "<instance name=\"B0\" type=\"blk\" address=\"0x4000\"/>\n"
        "</archive>\n");
    struct Row {
        const char* partial;
        const char* names; // the first column of every line, blank-separated
    };
    const Row rows[] = {
        {"B0.CH[", "CH[0] CH[1] CH[2]"},
        {"B0.CH", "CH CH[0] CH[1] CH[2]"},
        {"B0.buf[1", "buf[1] buf[10] buf[11]"},
        {"B0.bu", "buf bufctl"}, // items only once the whole name is typed
        {"B0.bufc", "bufctl"},
        {"$B0.PORT[", "PORT[0] PORT[1]"},
        {"B0.PORT[1].", "IN OUT"},
        {"B0.CH[2].C", "CTRL"},
        {"B0.ctl.MODE", "MODE MODE0 MODE1 MODE2 MODE3"},
        {"B0.CH[3", ""},
        {"B0.nothing[", ""},
        {"$B", "B0"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.partial);
        const ToolRun run = runTool({QStringLiteral("complete"), root, QString::fromLatin1(row.partial)});
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        QStringList names;
        for (const QString& line : run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            names << line.section(QLatin1Char('\t'), 0, 0);
        EXPECT_EQ(names.join(QLatin1Char(' ')).toStdString(), row.names);
    }
    // An item is described as an element of its own: kind (14 a structure, 2 a 16-bit register), type and
    // comment.
    const ToolRun channel = runTool({QStringLiteral("complete"), root, QStringLiteral("B0.CH[1")});
    EXPECT_EQ(channel.out.toStdString(), "CH[1]\t14\t\tCH\tA channel.\n");
    const ToolRun word = runTool({QStringLiteral("complete"), root, QStringLiteral("B0.buf[1]")});
    EXPECT_EQ(word.out.toStdString(), "buf[1]\t2\t\treg16\t\n");
}

TEST(ListCommand, DemoChipListsEveryInstanceWithoutEmptyPaths)
{
    const ToolRun run = runTool({QStringLiteral("list"), demoRoot});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    int instances = 0;
    for (const QString& line : lines) {
        const QStringList fields = line.split(QLatin1Char('\t'));
        ASSERT_EQ(fields.size(), 4) << line.toStdString();
        EXPECT_TRUE(fields[0].startsWith(QLatin1Char('$'))) << line.toStdString();
        if (!fields[0].contains(QLatin1Char('.')))
            ++instances;
    }
    EXPECT_EQ(instances, 13); // the 14th, USB_OTG, is an external: no path
}

// Whatever list prints, get finds: every instance ("$NAME" alone included) and a spread of the other paths.
TEST(ListCommand, GetFindsTheListedPaths)
{
    const ToolRun list = runTool({QStringLiteral("list"), demoRoot});
    ASSERT_EQ(list.exitCode, 0) << list.err.toStdString();
    const QStringList lines = list.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_GT(lines.size(), 100);
    int asked = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QString path = lines[i].section(QLatin1Char('\t'), 0, 0);
        if (path.contains(QLatin1Char('.')) && i % 37 != 0)
            continue;
        const ToolRun get = runTool({QStringLiteral("get"), demoRoot, path});
        EXPECT_EQ(get.exitCode, 0) << path.toStdString() << ": " << get.err.toStdString();
        EXPECT_EQ(get.out.section(QLatin1Char('\n'), 0, 0), path);
        ++asked;
    }
    EXPECT_GT(asked, 20);
}

// get and complete show comments as plain text, and the reset value that the HTML pages and the shell use.
TEST_F(ToolFiles, GetAndCompleteShowPlainCommentsAndTheResetValue)
{
    const QString root = write(QStringLiteral("c.xml"),
        "<archive><module name=\"m\"><reg32 name=\"r\"><comment>First &amp; only<br/>second &lt;line&gt;"
        "</comment><bits name=\"a\" pos=\"0\" rst=\"1\"/><bits name=\"b\" pos=\"5:4\"/></reg32>"
        "</module><instance name=\"M\" type=\"m\" address=\"0x100\"/></archive>");
    const ToolRun get = runTool({QStringLiteral("get"), root, QStringLiteral("M.r")});
    ASSERT_EQ(get.exitCode, 0) << get.err.toStdString();
    EXPECT_TRUE(get.out.contains(QStringLiteral("\nReset: 0x000000x1\n"))) << get.out.toStdString();
    EXPECT_TRUE(get.out.contains(QStringLiteral("\nComment: First & only\n  second <line>\n")))
        << get.out.toStdString();
    const ToolRun complete = runTool({QStringLiteral("complete"), root, QStringLiteral("M.r")});
    ASSERT_EQ(complete.exitCode, 0) << complete.err.toStdString();
    EXPECT_TRUE(complete.out.contains(QStringLiteral("\tFirst & only second <line>\n"))) << complete.out.toStdString();
}

TEST_F(ToolFiles, DecryptGivesBackTheEncryptedBytes)
{
    // Bytes the XML reader would normalise (CR LF, a BOM) must survive unchanged.
    const QByteArray plain("\xEF\xBB\xBF<archive>\r\n<!-- kept -->\r\n</archive>\r\n");
    const QString in = write(QStringLiteral("a.xml"), plain);
    const QString xmd = m_dir.path() + QStringLiteral("/a.xmd");
    const QString out = m_dir.path() + QStringLiteral("/back.xml");
    ASSERT_EQ(runTool({QStringLiteral("encrypt"), in, xmd}).exitCode, 0);
    const ToolRun run = runTool({QStringLiteral("decrypt"), xmd, out});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(read(out), plain);
}

TEST_F(ToolFiles, DecryptRefusesWhatIsNotAnEncryptedArchiveAndWritesNothing)
{
    const QString plain = write(QStringLiteral("a.xml"), "<archive/>\n");
    const QString truncated = write(QStringLiteral("t.xmd"), QByteArray("EXML\x01\x00\x10\x00\x00\x00", 10));
    const QString out = m_dir.path() + QStringLiteral("/out.xml");
    const struct {
        QString input;
        QString message;
    } cases[] = {
        {plain, QStringLiteral("Not an encrypted archive")},
        {truncated, QStringLiteral("shorter than its 26-byte header")},
        {m_dir.path() + QStringLiteral("/none.xmd"), QStringLiteral("Unable to open file")},
    };
    for (const auto& c : cases) {
        const ToolRun run = runTool({QStringLiteral("decrypt"), c.input, out});
        EXPECT_EQ(run.exitCode, 1) << c.input.toStdString();
        EXPECT_TRUE(run.err.contains(c.message)) << run.err.toStdString();
        EXPECT_FALSE(QFile::exists(out));
    }
}

} // namespace
