#include "tools/tool_runner.h"

#include <vellxml/loader/document.h>

#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(EncryptCommand, WritesAnArchiveTheLibraryReads)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString input = dir.filePath(QStringLiteral("in.xml"));
    const QString output = dir.filePath(QStringLiteral("out.xmd"));
    QFile file(input);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("<archive relative=\"secret\"/>");
    file.close();

    const ToolRun run = runTool({QStringLiteral("encrypt"), input, output});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.isEmpty());
    QDomDocument document;
    ASSERT_EQ(loadXMLDocument(output, document, nullptr, nullptr, nullptr, true), 0);
    EXPECT_EQ(document.documentElement().attribute(QStringLiteral("relative")), QStringLiteral("secret"));

    const QString missing = dir.filePath(QStringLiteral("missing.xml"));
    const ToolRun failed = runTool({QStringLiteral("encrypt"), missing, output});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(failed.err.toStdString(), "vellxml: Unable to open file " + missing.toStdString() + "\n");

    const ToolRun usage = runTool({QStringLiteral("encrypt"), input});
    EXPECT_EQ(usage.exitCode, 2);
    EXPECT_EQ(usage.err.toStdString(),
        "vellxml: encrypt takes an input and an output file\nTry 'vellxml encrypt --help' for more "
        "information.\n");
}

} // namespace
