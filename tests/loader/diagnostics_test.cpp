// The structured diagnostics of a load and the text callbacks over them, checked on many inputs: the
// documents of the W3C XML conformance suite (mostly no archives at all, many malformed, some with
// document types and entities) and archives that break in every way the loader reports.
#include "loader_support.h"

#include <vellxml/diagnostic.h>

#include <QDirIterator>
#include <QSet>

#include <algorithm>

namespace {

using loadertest::messages;

const QSet<QString>& knownCodes()
{
    static const QSet<QString> codes {QString::fromLatin1(vellxml::code::Progress),
        QString::fromLatin1(vellxml::code::FileOpen), QString::fromLatin1(vellxml::code::FileRead),
        QString::fromLatin1(vellxml::code::XmlSyntax), QString::fromLatin1(vellxml::code::ArchiveFormat),
        QString::fromLatin1(vellxml::code::IncludeSkipped), QString::fromLatin1(vellxml::code::Expression),
        QString::fromLatin1(vellxml::code::Description), QString::fromLatin1(vellxml::code::DuplicateType),
        QString::fromLatin1(vellxml::code::Limit)};
    return codes;
}

class DiagnosticsTest : public loadertest::Fixture {
protected:
    // Loads `path` through the sink and through the callbacks, and checks that they tell the same story.
    void expectSameStory(const QString& path)
    {
        SCOPED_TRACE(path.toStdString());
        vellxml::DiagnosticList diagnostics;
        HwMemoryMap sinkMap;
        const bool loaded = m_loader.loadRootArchiveFromFile(&sinkMap, path, diagnostics, true) != nullptr;
        messages() = loadertest::Messages();
        HwMemoryMap callbackMap;
        const bool loadedToo =
            m_loader.loadRootArchiveFromFile(&callbackMap, path, loadertest::onLog, loadertest::onError,
                loadertest::onWarning, true)
            != nullptr;
        EXPECT_EQ(loaded, loadedToo);
        // A load fails exactly when it reports an error.
        EXPECT_EQ(loaded, static_cast<bool>(diagnostics));

        loadertest::Messages texts;
        for (const vellxml::Diagnostic& d : diagnostics.diagnostics()) {
            EXPECT_TRUE(knownCodes().contains(d.code)) << d.code.toStdString();
            EXPECT_FALSE(d.text.isEmpty());
            EXPECT_GE(d.line, 0);
            EXPECT_GE(d.column, 0);
            EXPECT_TRUE(d.line > 0 || d.column == 0) << d.callbackText().toStdString();
            // The person's form keeps the position and the text.
            EXPECT_TRUE(d.description().endsWith(d.text));
            EXPECT_EQ(d.description().startsWith(d.file), true);
            const std::string text = d.callbackText().toStdString();
            if (d.severity == vellxml::Severity::Error)
                texts.error.push_back(text);
            else if (d.severity == vellxml::Severity::Warning)
                texts.warning.push_back(text);
            else
                texts.log.push_back(text);
        }
        EXPECT_EQ(texts.error, messages().error);
        EXPECT_EQ(texts.warning, messages().warning);
        EXPECT_EQ(texts.log, messages().log);
    }
};

TEST_F(DiagnosticsTest, ConformanceSuiteDocumentsTellTheSameStoryBothWays)
{
    const QString suite = QStringLiteral(VELLXML_SHARED_DIR "/xmlconf");
    if (!QFileInfo::exists(suite))
        GTEST_SKIP() << "no XML conformance suite at " << suite.toStdString();
    QStringList files;
    QDirIterator it(suite, {QStringLiteral("*.xml")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next();
    std::sort(files.begin(), files.end());
    ASSERT_GT(files.size(), 1000);
    // Every third document keeps the run short and still covers each part of the suite.
    for (int i = 0; i < files.size(); i += 3)
        expectSameStory(files.at(i));
}

TEST_F(DiagnosticsTest, BrokenArchivesTellTheSameStoryBothWays)
{
    write(QStringLiteral("types.xml"), "<archive><module name=\"m\"/></archive>");
    const QByteArray contents[] = {
        "<archive><var name=\"V\" value=\"1 +\"/></archive>",
        "<archive><include file=\"missing.xml\"/></archive>",
        "<archive><include file=\"missing.xml\" optional=\"yes\"/></archive>",
        "<archive><include><case cond=\"?\" file=\"x.xml\"/></include></archive>",
        "<archive><include file=\"types.xml\"/><module name=\"m\"/></archive>",
        "<archive><nonsense/></archive>",
        "<module name=\"old\"/>",
        "<chip/>",
        "<bigarchive/>",
        "<archive><module name=\"m2\"><reg32 name=\"r\" count=\"x\"/></module></archive>",
        "<archive>",
        "",
    };
    int n = 0;
    for (const QByteArray& content : contents)
        expectSameStory(write(QStringLiteral("broken%1.xml").arg(n++), content));
    expectSameStory(path(QStringLiteral("absent.xml")));
}

// The codes a caller reacts to, and where the problems are.
TEST_F(DiagnosticsTest, CodesAndPositions)
{
    const QString missing = path(QStringLiteral("absent.xml"));
    const struct {
        QByteArray content;
        vellxml::Severity severity;
        const char* code;
        int line;
        int column;
    } rows[] = {
        {"<archive>\n<var name=\"V\" value=\"1 +\"/></archive>", vellxml::Severity::Error,
            vellxml::code::Expression, 2, 1},
        {"<archive><include file=\"absent.xml\"/></archive>", vellxml::Severity::Warning,
            vellxml::code::FileOpen, 0, 0},
        {"<archive>\n  <nonsense/></archive>", vellxml::Severity::Error, vellxml::code::Description, 2, 3},
        {"<archive>\n<module name=\"a\"/>\n<module name=\"a\"/></archive>", vellxml::Severity::Error,
            vellxml::code::DuplicateType, 3, 1},
        {"<archive><x></archive>", vellxml::Severity::Error, vellxml::code::XmlSyntax, 1, 15},
        {"<chip/>", vellxml::Severity::Error, vellxml::code::ArchiveFormat, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content.toStdString());
        vellxml::DiagnosticList diagnostics;
        HwMemoryMap map;
        m_loader.loadRootArchiveFromFile(&map, write(QStringLiteral("c.xml"), row.content), diagnostics, true);
        const auto& all = diagnostics.diagnostics();
        const auto first = std::find_if(all.begin(), all.end(),
            [](const vellxml::Diagnostic& d) { return d.severity != vellxml::Severity::Log; });
        ASSERT_NE(first, all.end());
        EXPECT_EQ(first->severity, row.severity);
        EXPECT_EQ(first->code, QString::fromLatin1(row.code));
        EXPECT_EQ(first->line, row.line);
        EXPECT_EQ(first->column, row.column);
    }
    // The root file is required: its absence is an error, which a caller listening to errors only sees.
    vellxml::DiagnosticList diagnostics;
    HwMemoryMap map;
    EXPECT_EQ(m_loader.loadRootArchiveFromFile(&map, missing, diagnostics, true), nullptr);
    ASSERT_EQ(diagnostics.diagnostics().size(), 1);
    EXPECT_EQ(diagnostics.diagnostics().front().severity, vellxml::Severity::Error);
    EXPECT_EQ(diagnostics.diagnostics().front().code, QString::fromLatin1(vellxml::code::FileOpen));
    EXPECT_EQ(diagnostics.diagnostics().front().description(),
        QStringLiteral("error: Unable to open file ") + missing);
}

} // namespace
