// Every output of the demo chip and of the generator fixture, byte for byte against the golden files under
// tests/generators/golden/. After a deliberate change, regenerate them with UPDATE_GOLDEN=1.
#include "generator_support.h"

#include <vellxml/loader/memory_map.h>

using gentest::filesUnder;
using gentest::LoadedChip;
using gentest::readText;
using gentest::Switches;
using gentest::SwitchGuard;

namespace {

/// Generates every output of the chip into dir; returns the generators' standard output, the output
/// directory written as "OUT".
QString generateAll(LoadedChip& chip, const QString& dir)
{
    chip.map.setGenerateArmAsm(true);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(chip.map.generateCHeaders(dir, true));
    EXPECT_TRUE(chip.map.generateVHDL(dir));
    return QString::fromStdString(testing::internal::GetCapturedStdout()).replace(dir, QStringLiteral("OUT"));
}

void compareWithGolden(const QString& name, const QString& rootFile, const Switches& switches)
{
    SwitchGuard guard(switches);
    LoadedChip chip(rootFile);
    ASSERT_NE(chip.root, nullptr);
    QTemporaryDir first;
    QTemporaryDir second;
    const QString output = generateAll(chip, first.path());
    EXPECT_EQ(generateAll(chip, second.path()), output);
    // The standard output is compared as one more file.
    gentest::writeText(first.path() + QStringLiteral("/generator-output.txt"), output);

    // Two runs give the same bytes.
    const QStringList files = filesUnder(first.path());
    QStringList secondFiles = filesUnder(second.path());
    secondFiles.append(QStringLiteral("generator-output.txt"));
    secondFiles.sort();
    ASSERT_EQ(files, secondFiles);
    for (const QString& file : filesUnder(second.path()))
        EXPECT_EQ(readText(first.path() + '/' + file), readText(second.path() + '/' + file))
            << file.toStdString();

    const QString golden = QStringLiteral(VELLXML_SOURCE_DIR "/tests/generators/golden/") + name;
    if (qEnvironmentVariableIsSet("UPDATE_GOLDEN")) {
        QDir(golden).removeRecursively();
        for (const QString& file : files)
            gentest::writeText(golden + '/' + file, readText(first.path() + '/' + file));
        GTEST_SKIP() << "golden files of " << name.toStdString() << " rewritten";
    }
    EXPECT_EQ(files, filesUnder(golden)) << "the set of generated files changed";
    for (const QString& file : files) {
        const QString expected = golden + '/' + file;
        const QString actual = first.path() + '/' + file;
        if (readText(expected) == readText(actual))
            continue;
        const gentest::ToolRun diff =
            gentest::runTool(QStringLiteral("diff"), {QStringLiteral("-u"), expected, actual});
        ADD_FAILURE() << file.toStdString() << " differs from its golden file:\n"
                      << diff.output.toStdString();
    }
}

#ifdef VELLXML_DEMO_DIR
TEST(GoldenTest, DemoChip)
{
    compareWithGolden(
        QStringLiteral("demo"), QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), Switches {1, false, false});
}
#endif

TEST(GoldenTest, FixtureWithEverySwitch)
{
    compareWithGolden(QStringLiteral("fixture"),
        QStringLiteral(VELLXML_SOURCE_DIR "/tests/generators/data/fixture/chip.xml"),
        Switches {3, true, true});
}

} // namespace
