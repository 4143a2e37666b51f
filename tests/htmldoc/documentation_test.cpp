#include "loader/loader_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDirIterator>
#include <QRegularExpression>
#include <QSet>

#include <functional>

namespace {

// A small chip that uses every element kind a page shows: fields with options and without reset value, a
// bit group, a register array, a structure array, a hole, a memory; comments with markup and entities;
// instance names that are a fixed page's name and that hold path characters.
const QByteArray kChip = R"(<?xml version="1.0" encoding="UTF-8"?>
<archive>
  <comment>Test chip.<br/>Second line &amp; more.</comment>
  <module name="UART" category="Communication">
    <comment>Serial port: a &lt; b &amp;&amp; c &gt; d.</comment>
    <reg32 name="CR">
      <comment>Control.<br/>Second line.</comment>
      <bits name="EN" pos="0" rst="1"><comment>Enable.</comment></bits>
      <bits name="MODE" pos="5:4" rst="2">
        <options>
          <option name="OFF" value="0"/>
          <option name="FAST" value="2"><comment>Fast &lt;10 ns&gt;.</comment></option>
        </options>
      </bits>
      <bits name="TX_LEVEL" pos="15:8"/>
      <bitgroup name="CFG"><entry ref="EN"/><entry ref="MODE"/></bitgroup>
    </reg32>
    <reg16 name="DATA" count="2" protect="w"><bits name="D" pos="15:0" access="r"/></reg16>
    <hole size="32"/>
    <struct name="CH" count="2">
      <reg32 name="CCR"><bits name="ON" pos="0" rst="0"/></reg32>
    </struct>
    <memory name="BUF" size="8"/>
  </module>
  <instance name="UART0" type="UART" address="0x40000000"><comment>Console.</comment></instance>
  <instance name="chip" type="UART" address="0x40001000"/>
  <instance name="x/../y" type="UART" address="0x40002000"/>
</archive>
)";

class DocumentationTest : public loadertest::Fixture {
protected:
    HwRootArchive* loadChip()
    {
        write(QStringLiteral("chip.xml"), kChip);
        return load(QStringLiteral("chip.xml"));
    }
    QString out(const QString& name = QStringLiteral("doc")) const
    {
        return m_dir.path() + QLatin1Char('/') + name;
    }
    static QByteArray read(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Every file below dir, by relative path.
    static QMap<QString, QByteArray> tree(const QString& dir)
    {
        QMap<QString, QByteArray> files;
        QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            files.insert(path.mid(dir.size() + 1), read(path));
        }
        return files;
    }
};

// Byte-exact comparison with tests/data/htmldoc/<name>; UPDATE_GOLDEN=1 rewrites the golden file.
void expectGolden(const QByteArray& actual, const QString& name)
{
    const QString path = QStringLiteral(VELLXML_TEST_DATA_DIR "/htmldoc/") + name;
    if (qEnvironmentVariableIntValue("UPDATE_GOLDEN") == 1) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write(actual);
        return;
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString() << " (run with UPDATE_GOLDEN=1)";
    EXPECT_EQ(actual.toStdString(), file.readAll().toStdString()) << "golden file " << path.toStdString();
}

TEST(CommentHtmlTest, MarkupOfTheDescriptionNeverReachesThePage)
{
    const struct {
        const char* comment;
        const char* html;
    } rows[] = {
        {"a < b & c > d", "a &lt; b &amp; c &gt; d"},
        // The loader keeps the entities of the description: they pass as they are, not escaped twice.
        {"x &lt; y &amp;&amp; z &gt; 0 &quot;q&quot; &apos;",
            "x &lt; y &amp;&amp; z &gt; 0 &quot;q&quot; &apos;"},
        {"one<br>two<br/>three<BR />four", "one<br>two<br>three<br>four"},
        {"first\nsecond\r\nthird", "first<br>second<br>third"},
        {"<script>alert(1)</script><b>x</b>", "&lt;script&gt;alert(1)&lt;/script&gt;&lt;b&gt;x&lt;/b&gt;"},
        {"&#65;&#x42;&#xd;&#13;|&bogus; & &#; &#x;", "&#65;&#x42;|&amp;bogus; &amp; &amp;#; &amp;#x;"},
        {"say \"hi\"", "say \"hi\""},
        {"", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.comment);
        HwRegister32 reg(QStringLiteral("r"));
        reg.setComment(QString::fromUtf8(row.comment));
        EXPECT_EQ(reg.html_comment_serialize(0), QString::fromUtf8(row.html));
    }
}

TEST_F(DocumentationTest, WritesTheFixedPagesResourcesAndOnePagePerInstance)
{
    ASSERT_NE(loadChip(), nullptr);
    QString error;
    ASSERT_TRUE(m_map.generateDocumentation(out(), &error)) << error.toStdString();
    const QStringList files = tree(out()).keys();
    const QStringList expected = {QStringLiteral("UART0.html"), QStringLiteral("chip.html"),
        QStringLiteral("chip_2.html"), QStringLiteral("docpool/icons/array.svg"),
        QStringLiteral("docpool/icons/chip.svg"), QStringLiteral("docpool/icons/external.svg"),
        QStringLiteral("docpool/icons/field.svg"), QStringLiteral("docpool/icons/folder.svg"),
        QStringLiteral("docpool/icons/memory.svg"), QStringLiteral("docpool/icons/pointer.svg"),
        QStringLiteral("docpool/icons/register.svg"), QStringLiteral("docpool/icons/search.svg"),
        QStringLiteral("docpool/icons/struct.svg"), QStringLiteral("docpool/icons/toggle.svg"),
        QStringLiteral("docpool/icons/value.svg"), QStringLiteral("docpool/index.js"),
        QStringLiteral("docpool/page.js"), QStringLiteral("docpool/tree.js"),
        QStringLiteral("docpool/vellxml.css"), QStringLiteral("index.html"), QStringLiteral("menu.html"),
        QStringLiteral("menu.js"), QStringLiteral("menu/0.js"), QStringLiteral("search/0.js"),
        QStringLiteral("search/index.js"), QStringLiteral("x_.._y.html")};
    EXPECT_EQ(files, expected);
    // The instance named like the title page has its own page; the title page is the chip's.
    EXPECT_TRUE(read(out(QStringLiteral("doc/chip_2.html")))
                    .contains("<h1><a class=\"self\" href=\"#40001000\">chip</a></h1>"));
    EXPECT_TRUE(read(out(QStringLiteral("doc/index.html"))).contains("src=\"menu.html\""));
    EXPECT_TRUE(read(out(QStringLiteral("doc/index.html"))).contains("name=\"content\" src=\"chip.html\""));
    // Nothing was written beside the output directory.
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
        (QStringList {QStringLiteral("chip.xml"), QStringLiteral("doc")}));
}

TEST_F(DocumentationTest, PagesMenuAndSearchChunksMatchTheGoldenFiles)
{
    ASSERT_NE(loadChip(), nullptr);
    ASSERT_TRUE(m_map.generateDocumentation(out()));
    expectGolden(read(out(QStringLiteral("doc/UART0.html"))), QStringLiteral("UART0.html"));
    expectGolden(read(out(QStringLiteral("doc/chip.html"))), QStringLiteral("chip.html"));
    expectGolden(read(out(QStringLiteral("doc/menu.js"))), QStringLiteral("menu.js"));
    expectGolden(read(out(QStringLiteral("doc/menu/0.js"))), QStringLiteral("menu-0.js"));
    expectGolden(read(out(QStringLiteral("doc/search/index.js"))), QStringLiteral("search-index.js"));
    expectGolden(read(out(QStringLiteral("doc/search/0.js"))), QStringLiteral("search-0.js"));
}

// The ids of a page are exactly the link names of what it documents, each once.
TEST_F(DocumentationTest, PageAnchorsAreTheLinkNamesOfItsElements)
{
    HwRootArchive* root = loadChip();
    ASSERT_NE(root, nullptr);
    ASSERT_TRUE(m_map.generateDocumentation(out()));
    const HwXMLElement* uart = root->getInstanciatedTemplates().front();

    QStringList expected;
    std::function<void(const HwXMLElement*)> walk = [&](const HwXMLElement* element) {
        expected.append(element->getHrefName());
        if (element->isValuable()) {
            for (const auto& field : static_cast<const HwValuable*>(element)->getBitFields())
                expected.append(field->getHrefName());
        } else if (element->isStruct()) {
            for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
                walk(member.get());
        } else if (element->isArray()) {
            for (const auto& item : static_cast<const HwArray*>(element)->getMemberList())
                walk(item.get());
        }
    };
    walk(uart);

    const QString page = QString::fromUtf8(read(out(QStringLiteral("doc/UART0.html"))));
    QStringList ids;
    static const QRegularExpression idAttribute(QStringLiteral(" id=\"([^\"]*)\""));
    for (auto it = idAttribute.globalMatch(page); it.hasNext();)
        ids.append(it.next().captured(1));
    EXPECT_EQ(ids, expected);
    EXPECT_EQ(QSet<QString>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(expected.mid(0, 6),
        (QStringList {QStringLiteral("40000000"), QStringLiteral("40000000_CR"),
            QStringLiteral("40000000_CR.EN"), QStringLiteral("40000000_CR.MODE"),
            QStringLiteral("40000000_CR.TX_LEVEL"), QStringLiteral("40000004_DATA")}));
    EXPECT_TRUE(expected.contains(QStringLiteral("40000010_CH.1.CCR.ON")));
}

TEST_F(DocumentationTest, OutputDependsOnlyOnTheModel)
{
    ASSERT_NE(loadChip(), nullptr);
    ASSERT_TRUE(m_map.generateDocumentation(out(QStringLiteral("a"))));
    ASSERT_TRUE(m_map.generateDocumentation(out(QStringLiteral("b"))));
    // Writing over an earlier output gives the same files again.
    ASSERT_TRUE(m_map.generateDocumentation(out(QStringLiteral("b"))));
    const QMap<QString, QByteArray> a = tree(out(QStringLiteral("a")));
    const QMap<QString, QByteArray> b = tree(out(QStringLiteral("b")));
    EXPECT_EQ(a.keys(), b.keys());
    EXPECT_TRUE(a == b);
}

TEST_F(DocumentationTest, FailuresAreReported)
{
    QString error;
    EXPECT_FALSE(m_map.generateDocumentation(out(), &error));
    EXPECT_EQ(error, QStringLiteral("No chip is loaded."));

    ASSERT_NE(loadChip(), nullptr);
    // A file where the directory should be.
    write(QStringLiteral("taken"), "x");
    EXPECT_FALSE(m_map.generateDocumentation(out(QStringLiteral("taken")), &error));
    EXPECT_EQ(error, QStringLiteral("Cannot create the directory ") + out(QStringLiteral("taken")));
}

} // namespace
