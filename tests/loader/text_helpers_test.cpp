#include "loader_support.h"

#include <vellxml/loader/text_helpers.h>

#include <QDomDocument>

namespace {

QDomElement parse(QDomDocument& document, const QString& text)
{
    EXPECT_TRUE(document.setContent(text));
    return document.documentElement();
}

TEST(TextHelpersTest, CommentTagsKeepTheirMarkupAsText)
{
    struct Case {
        const char* xml;
        const char* comment;
    };
    const Case cases[] = {
        {"<comment>First line<br/>second   line</comment>", "First line<br>second line"},
        {"<comment>  say \"hi\"\n  now </comment>", "say \"hi\" now"},
        {"<comment/>", ""},
        {"<comment>a <b>bold</b> word</comment>", "a <b>bold</b> word"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.xml);
        QDomDocument document;
        EXPECT_EQ(readCommentFromCommentTag(parse(document, QString::fromUtf8(c.xml))),
            QString::fromUtf8(c.comment));
    }
    QDomDocument document;
    EXPECT_EQ(readCJokerFromCommentTag(parse(document,
                  QStringLiteral("<cjoker>#define A(x) ((x) &lt; 2 &amp;&amp; \"s\")\n  int y;</cjoker>"))),
        QStringLiteral("#define A(x) ((x) < 2 && \"s\")\n  int y;"));
}

// The loader's own reader gives the same texts as the DOM versions.
class LoaderCommentTest : public loadertest::Fixture { };

// Plain lines are text, not markup: written back as a comment (escaped, joined with breaks) they read as
// the same lines, and no line holds a line break.
void expectPlainLinesRoundTrip(const QString& comment)
{
    const QStringList lines = commentToPlainLines(comment);
    QStringList escaped;
    for (QString line : lines) {
        EXPECT_FALSE(line.contains(QLatin1Char('\n')) || line.contains(QLatin1Char('\r'))) << line.toStdString();
        line.replace(QLatin1Char('&'), QLatin1String("&amp;"));
        line.replace(QLatin1Char('<'), QLatin1String("&lt;"));
        line.replace(QLatin1Char('>'), QLatin1String("&gt;"));
        escaped << line;
    }
    EXPECT_EQ(commentToPlainLines(escaped.join(QLatin1String("<br>"))), lines) << comment.toStdString();
}

TEST_F(LoaderCommentTest, ArchiveCommentAndCJoker)
{
    HwRootArchive* root =
        loadArchive("<comment>One<br/>  two &quot;q&quot; <i>x</i></comment>\n"
                    "<cjoker>#define M(a) ((a) &lt;&lt; 1 &amp; 3)\n  static int z;&#xd;</cjoker>");
    ASSERT_NE(root, nullptr);
    const HwXMLArchive* archive = root->getArchives().front().get();
    EXPECT_EQ(archive->getComment(), QStringLiteral("One<br> two \"q\" <i>x</i>"));
    EXPECT_EQ(archive->getCJoker(), QStringLiteral("#define M(a) ((a) << 1 & 3)\n  static int z;"));
}

// Plain comments take a shorter way than markup ones; both must give the texts the markup way gives.
TEST_F(LoaderCommentTest, PlainAndMarkupCommentsAgree)
{
    struct Case {
        const char* xml;
        const char* comment;
    };
    const Case cases[] = {
        {"One line, plain.", "One line, plain."},
        {"two  blanks", "two blanks"},
        {" lead", "lead"},
        {"trail ", "trail"},
        {"a&amp;quot;b", "a&amp;quot;b"},
        {"x &lt;br/&gt; y", "x &lt;br/&gt; y"},
        {"\xc2\xa0lead\xe2\x80\x83mid\xe3\x80\x80 tail\xc2\xa0", "lead mid tail"},
        {"tab\tand\r\nnewline &#13;cr&#xd; end", "tab and newline &#xd;cr&#xd; end"},
        {"&#x85;nel&#x2028;ls", "nel ls"},
        {"q &quot;x&quot; 'y' &gt; &lt; &amp;amp; &amp;", "q \"x\" 'y' &gt; &lt; &amp;amp; &amp;"},
        {"", ""},
        {"   \n  ", ""},
        {"a<!-- c -->b", "ab"},
        {"emoji \xf0\x9f\x98\x80  x", "emoji \xf0\x9f\x98\x80 x"},
        {"<![CDATA[ a  <b> &quot; ]]>", "<![CDATA[ a <b> \" ]]>"},
        {"a <br/>\n <br /> b", "a <br><br> b"},
        {"<br/>lead", "<br>lead"},
        {"trail <br/>", "trail <br>"},
        {" <br/> ", "<br>"},
        {"x<br/>y", "x<br>y"},
        {"a <br/>&#13;<br/> &quot;q&quot; ", "a <br>&#xd;<br> \"q\""},
        {"a <br x=\"1\"/> b", "a <br x=\"1\"/> b"},
        {"a <br></br> b", "a <br> b"},
        {"a <BR/> b", "a <BR/> b"},
        {"a <b>bold</b> <comment/> c", "a <b>bold</b> c"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.xml);
        HwMemoryMap map;
        HwRootArchive* root = m_loader.loadRootArchiveFromFile(&map,
            write(QStringLiteral("c.xml"), QByteArray("<archive><comment>") + c.xml + "</comment></archive>"),
            loadertest::onLog, loadertest::onError, loadertest::onWarning, true);
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(root->getArchives().front()->getComment(), QString::fromUtf8(c.comment));
        expectPlainLinesRoundTrip(root->getArchives().front()->getComment());
    }
}

TEST(TextHelpersTest, CommentsAsPlainTextLines)
{
    const struct {
        const char* comment;
        QStringList lines;
    } rows[] = {
        {"", {}},
        {"One line.", {QStringLiteral("One line.")}},
        {"a <br> b<BR/>c<br />d", {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")}},
        {"<br>x<br><br>y<br>", {QStringLiteral("x"), QString(), QStringLiteral("y")}},
        {"1 &lt; 2 &amp;&amp; &quot;q&quot; &apos;s&apos; &gt;&#65;&#x42;&#xd;", {QStringLiteral("1 < 2 && \"q\" 's' >AB")}},
        {"&amp;lt; &bogus; & &#xFFFFFF; &#0;", {QStringLiteral("&lt; &bogus; & &#xFFFFFF; &#0;")}},
        {"a\r\nb", {QStringLiteral("a"), QStringLiteral("b")}},
        {"a <br x=\"1\"/> <b>b</b>", {QStringLiteral("a <br x=\"1\"/> <b>b</b>")}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.comment);
        EXPECT_EQ(commentToPlainLines(QString::fromUtf8(row.comment)), row.lines);
        expectPlainLinesRoundTrip(QString::fromUtf8(row.comment));
    }
}

TEST(TextHelpersTest, CommentsBecomeCCommentBlocks)
{
    struct Case {
        const char* text;
        int width;
        int level;
        const char* expected;
    };
    const Case cases[] = {
        {"short text", 80, 0, "/// short text"},
        {"  one<br>two<br><br>three  ", 80, 1, "    /// one\n    /// two\n    ///\n    /// three"},
        // The effective width never leaves less than 40 columns: width 20 at level 0 behaves as 40.
        {"aaaa bbbb cccc dddd eeee ffff gggg hhhh iiii", 20, 0,
            "/// aaaa bbbb cccc dddd eeee ffff gggg\n/// hhhh iiii"},
        {"alpha beta gamma", 16, 0, "/// alpha beta gamma"},
        {"x&#xd;y", 80, 0, "/// xy"},
        // A word longer than the room stands alone.
        {"a abcdefghijabcdefghijabcdefghijabcdefghijabcdefghij b", 40, 0,
            "/// a\n/// abcdefghijabcdefghijabcdefghijabcdefghijabcdefghij\n/// b"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(convertCommentToCComment(QString::fromUtf8(c.text), c.width, c.level),
            QString::fromUtf8(c.expected));
    }
}

TEST(TextHelpersTest, ColumnPadding)
{
    EXPECT_EQ(space_complement_to(QStringLiteral("abcdefghij"), 8), QStringLiteral(" "));
    EXPECT_EQ(space_complement_to(QStringLiteral("abcdefgh"), 8), QStringLiteral(" "));
    EXPECT_EQ(space_complement_to(QStringLiteral("abc"), 8), QStringLiteral("     "));
    EXPECT_EQ(two_fields_line(QStringLiteral("#define A"), QStringLiteral("1"), 12),
        QStringLiteral("#define A   1\n"));
}

TEST(TextHelpersTest, SpacersAreNumberedAcrossTheProcess)
{
    const HwIntVar first = generateSpacer();
    const HwIntVar second = generateSpacer();
    ASSERT_TRUE(first.getName().startsWith(QLatin1String("VELLXMLSPACER_")));
    const int n = first.getName().mid(14).toInt();
    EXPECT_EQ(second.getName(), QStringLiteral("VELLXMLSPACER_%1").arg(n + 1));
    EXPECT_EQ(first.getValue(), 0);
    EXPECT_EQ(first.getDirection(), HwIntVar::Down);
    EXPECT_EQ(first.getEnum(), nullptr);
}

TEST(TextHelpersTest, RecursiveMkdirCreatesEachLevel)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    EXPECT_TRUE(recursiveMkdir(dir.path(), QStringLiteral("a/b//c")));
    EXPECT_TRUE(QDir(dir.path() + QStringLiteral("/a/b/c")).exists());
    EXPECT_TRUE(recursiveMkdir(dir.path(), QStringLiteral("a/b")));
    QFile blocker(dir.path() + QStringLiteral("/file"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    EXPECT_FALSE(recursiveMkdir(dir.path(), QStringLiteral("file/sub")));
}

} // namespace
