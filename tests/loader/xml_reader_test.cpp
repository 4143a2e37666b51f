// The document reader's two paths against each other: the fast reader of plain UTF-8 text and expat. For
// every input, a text the fast reader accepts is accepted by expat too, with the same node and attribute
// tables; a text it declines leaves the document empty; and parse(), which tries the fast reader first,
// ends as expat alone does (the same tables, or the same error at the same place). The inputs are the
// files of the W3C XML conformance suite, the repository's descriptions, generated chips, random documents
// inside what the fast reader takes (which it must all read), and many random mutations of small
// documents that walk its rules.
#include <vellxml/loader/xml_element_p.h>

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Outcome {
    bool fast = false;
    bool expat = false;
};

// Runs both paths and parse() on one text and checks what they promise each other.
Outcome compareReaders(const QByteArray& text, const HwLoadLimits& limits, const std::string& what)
{
    Outcome outcome;
    HwXmlDocument fast;
    outcome.fast = fast.parseFast(text, limits);
    HwXmlDocument expat;
    int line = 0;
    int column = 0;
    QString error;
    outcome.expat = expat.parseWithExpat(text, limits, line, column, error);
    HwXmlDocument both;
    int bothLine = 0;
    int bothColumn = 0;
    QString bothError;
    const bool parsed = both.parse(text, limits, bothLine, bothColumn, bothError);

    if (outcome.fast) {
        EXPECT_TRUE(outcome.expat) << what << ": the fast reader accepts what expat refuses ("
                                   << error.toStdString() << " at " << line << ":" << column << ")";
        if (outcome.expat) {
            EXPECT_EQ(fast.differenceFrom(expat), "") << what;
        }
    } else {
        EXPECT_EQ(fast.nodeCount(), 0u) << what << ": a declined text left nodes";
    }
    EXPECT_EQ(parsed, outcome.expat) << what;
    if (parsed && outcome.expat) {
        EXPECT_EQ(both.differenceFrom(expat), "") << what;
    } else if (!parsed && !outcome.expat) {
        EXPECT_EQ(bothError, error) << what;
        EXPECT_EQ(bothLine, line) << what;
        EXPECT_EQ(bothColumn, column) << what;
    }
    return outcome;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::vector<QString> filesUnder(const QString& directory, const QStringList& patterns)
{
    std::vector<QString> paths;
    QDirIterator it(directory, patterns, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.push_back(it.next());
    std::sort(paths.begin(), paths.end());
    return paths;
}

// Descriptions as the project writes them: the fast reader must take every one.
void expectAllReadFast(const std::vector<QString>& paths)
{
    for (const QString& path : paths) {
        const Outcome outcome = compareReaders(readFile(path), HwLoadLimits(), path.toStdString());
        EXPECT_TRUE(outcome.fast) << path.toStdString() << " was left to expat";
        EXPECT_TRUE(outcome.expat) << path.toStdString();
    }
}

TEST(XmlReaderTest, RepositoryDescriptionsAreReadFastAndAlike)
{
    std::vector<QString> paths = filesUnder(QStringLiteral(VELLXML_SOURCE_DIR "/examples/demo"), {"*.xml"});
    for (const QString& directory : {QStringLiteral(VELLXML_SOURCE_DIR "/tests/data"),
             QStringLiteral(VELLXML_SOURCE_DIR "/tests/generators/data")}) {
        const std::vector<QString> more = filesUnder(directory, {"*.xml"});
        paths.insert(paths.end(), more.begin(), more.end());
    }
    ASSERT_GE(paths.size(), 10u);
    expectAllReadFast(paths);
}

#ifdef VELLXML_MAKE_CHIP
TEST(XmlReaderTest, GeneratedChipsAreReadFastAndAlike)
{
    for (int seed = 1; seed <= 2; ++seed) {
        QTemporaryDir directory;
        ASSERT_TRUE(directory.isValid());
        QProcess make;
        make.start(QStringLiteral(VELLXML_MAKE_CHIP),
            {directory.path(), QStringLiteral("--files"), QStringLiteral("3"), QStringLiteral("--modules"),
                QStringLiteral("4"), QStringLiteral("--registers"), QStringLiteral("12"), QStringLiteral("--seed"),
                QString::number(seed)});
        ASSERT_TRUE(make.waitForFinished(60000));
        ASSERT_EQ(make.exitCode(), 0) << make.readAllStandardError().toStdString();
        const std::vector<QString> paths = filesUnder(directory.path(), {"*.xml"});
        ASSERT_EQ(paths.size(), 3u);
        expectAllReadFast(paths);
    }
}
#endif

TEST(XmlReaderTest, ConformanceSuiteFilesAreReadAlike)
{
    const QString suite = QStringLiteral(VELLXML_SHARED_DIR "/xmlconf");
    if (!QFile::exists(suite + QStringLiteral("/xmlconf.xml")))
        GTEST_SKIP() << "no conformance suite at " << suite.toStdString();
    const std::vector<QString> paths = filesUnder(suite, {});
    ASSERT_GE(paths.size(), 3000u);
    int fast = 0;
    int wellFormed = 0;
    for (const QString& path : paths) {
        const Outcome outcome = compareReaders(readFile(path), HwLoadLimits(), path.toStdString());
        fast += outcome.fast ? 1 : 0;
        wellFormed += outcome.expat ? 1 : 0;
    }
    std::printf("conformance suite: %zu files, %d well-formed, %d read by the fast reader\n", paths.size(),
        wellFormed, fast);
    // Most of the suite's documents have a document type or declare another encoding; the plain ones
    // must not all be left to expat.
    EXPECT_GE(fast, 400);
}

// Small documents that hold, between them, everything the fast reader takes, with runs of text long
// enough to be scanned a block at a time; and two it must always decline.
struct Seed {
    const char* text;
    bool fast;
};

const Seed seeds[] = {
    {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- A description of one block, for the reader -->\n"
     "<archive vhdlpkg=\"block_pkg\" kind='plain text value of some length'>\n"
     "  <var name=\"BLOCK_BASE\" value=\"0x40000000 + (1 &lt;&lt; 12) &amp; 0xFFFFF000\"/>\n"
     "  <comment>Clock &amp; reset control of the block, with enough text to fill blocks.<br/>"
     "Second line &lt;here&gt; with &quot;quotes&quot; and &apos;apostrophes&apos;.</comment>\n"
     "  <reg32 name=\"CTRL\" offset=\"0x0\"><bits name=\"EN\" pos=\"0\"/><bits name=\"MODE\" pos=\"2:1\"/></reg32>\n"
     "</archive>\n",
        true},
    {"<?xml version='1.0'?>\r\n<root a=\"tab\there\r\nand\rthere, a long enough value\" "
     "b='refs &#9;&#10;&#13;&#x20; stay as they are'>\r\n  line one of a long text that spans\r\n"
     "  several lines\rwith lone returns\r\n  <empty />\r\n  <x>&#13;&#xD;</x>\r\n</root>\r\n",
        true},
    {"<r><![CDATA[a <b> & c ]] ]> of a section that is long enough to scan ]]>  <![CDATA[]]>\n"
     "  text before<!-- a comment - with dashes - inside it -->and after, joined\n"
     "  <![CDATA[\r\nline\r\n]]> \n <x/> \n</r>",
        true},
    {"\xEF\xBB\xBF<?xml version = '1.0' encoding = 'utf-8' standalone = 'no' ?>\n"
     "<!----><r><!-- --><s></s ><t\n/></r><!-- trailing comment -->\n\n",
        true},
    {"<?xml version=\"1.0\" standalone=\"yes\"?><r a=\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 and more text "
     "after the characters\">\xC3\xA9t\xC3\xA9 \xE2\x80\x94 text &#xE9;&#233;&#x1F600;&#128512; "
     "\xEF\xBF\xBD\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF end</r>",
        true},
    {"<a>\n <b>\n  <c>\n   <d>\n    <e/>\n   </d>\n  </c>\n </b>\n <b2 x='1' y='2' z='3'/>\n</a>", true},
    {"<ns:r _x=\"1\" a.b-c=\"2\" x:y='3' Z9='4'><_/><:a/><A.-_9/> text ]</ns:r>", true},
    {"<!DOCTYPE r [<!ENTITY e \"value\"><!ATTLIST r d CDATA \"default\">]><r>&e;</r>", false},
    {"<?pi data?><r><?inner?></r>", false},
};

// Pieces the mutations insert: markup, references good and bad, line ends, bytes that are not UTF-8 or
// not characters, and constructs the fast reader leaves to expat.
const char* const tokens[] = {"<", ">", "&", "&#0;", "&#x10FFFF;", "&#x110000;", "&#xD800;", "&#xFFFE;", "&#65;",
    "&#x41;", "&#X41;", "&#;", "&lt;", "&gt", "&amp;", "&bogus;", "&#13;", "]]>", "]]", "--", "-->", "<!--",
    "<![CDATA[", "\r", "\r\n", "\n", "\t", " ", "\"", "'", "=", "/", "/>", "</", "</r>", "<r>", "<x/>", " a='1'",
    " b=\"2\"", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC0\x80", "\xC3", "\xED\xA0\x80", "\xEF\xBF\xBE",
    "\xEF\xBF\xBF", "\xF4\x90\x80\x80", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\x80", "\xFF", "\0",
    "\x01", "\x7F", "<!DOCTYPE r>", "<?pi?>", "<?xml version='1.0'?>", " encoding='ISO-8859-1'", " standalone='yes'",
    "\xEF\xBB\xBF", "xml", "1.1"};

class Mutator {
public:
    explicit Mutator(std::uint32_t seed)
        : m_random(seed)
    {
    }

    QByteArray mutate(QByteArray text)
    {
        const std::size_t count = 1 + below(3);
        for (std::size_t i = 0; i < count; ++i) {
            const int at = static_cast<int>(below(static_cast<std::size_t>(text.size()) + 1));
            switch (below(8)) {
            case 0:
            case 1:
                text.insert(at, token());
                break;
            case 2:
                text.replace(at, static_cast<int>(1 + below(3)), token());
                break;
            case 3:
                text.remove(at, static_cast<int>(1 + below(4)));
                break;
            case 4:
                if (at < text.size())
                    text[at] = static_cast<char>(below(256));
                break;
            case 5:
                duplicateAttribute(text);
                break;
            case 6:
                renameEndTag(text);
                break;
            default:
                // A byte from the text elsewhere: quotes, brackets and names in new places.
                if (!text.isEmpty())
                    text.insert(at, text[static_cast<int>(below(static_cast<std::size_t>(text.size())))]);
            }
        }
        return text;
    }

private:
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(m_random); }

    QByteArray token()
    {
        const char* const chosen = tokens[below(std::size(tokens))];
        // The one token that is empty as a C string stands for a NUL byte.
        return *chosen == '\0' ? QByteArray(1, '\0') : QByteArray(chosen);
    }

    // Copies one attribute (white space, name, '=' and quoted value) right after itself.
    void duplicateAttribute(QByteArray& text)
    {
        std::vector<int> equals;
        for (int i = 1; i + 1 < text.size(); ++i) {
            if (text[i] == '=' && (text[i + 1] == '"' || text[i + 1] == '\''))
                equals.push_back(i);
        }
        if (equals.empty())
            return;
        const int at = equals[below(equals.size())];
        int first = at;
        while (first > 0 && text[first - 1] != ' ' && text[first - 1] != '\n' && text[first - 1] != '\t')
            --first;
        const int close = text.indexOf(text[at + 1], at + 2);
        if (first == 0 || close < 0)
            return;
        text.insert(close + 1, text.mid(first - 1, close + 2 - first));
    }

    // Changes one character of an end tag's name, or drops it.
    void renameEndTag(QByteArray& text)
    {
        std::vector<int> ends;
        for (int i = 0; i + 2 < text.size(); ++i) {
            if (text[i] == '<' && text[i + 1] == '/')
                ends.push_back(i + 2);
        }
        if (ends.empty())
            return;
        const int at = ends[below(ends.size())];
        if (below(2) == 0)
            text.remove(at, 1);
        else
            text[at] = "abrxA:_"[below(7)];
    }

    std::mt19937 m_random;
};

// Random documents inside what the fast reader takes: nested elements with attributes, text, comments and
// CDATA sections made of pieces that put references, line ends, multi-byte characters and brackets at every
// place in a 16-byte block.
class DocumentMaker {
public:
    explicit DocumentMaker(std::uint32_t seed)
        : m_random(seed)
    {
    }

    QByteArray make()
    {
        static const char* const prologs[] = {"", "<?xml version=\"1.0\"?>\n",
            "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>\r\n<!-- head -->", "\n\t<!---->\n"};
        QByteArray out = prologs[below(std::size(prologs))];
        element(out, 0);
        out += below(2) == 0 ? "\n" : "<!-- tail -->\r\n";
        return out;
    }

private:
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(m_random); }

    QByteArray filler()
    {
        static const char letters[] = "abcdefghijklmnopqrstuvwxyz0123456789 .,;:()+";
        QByteArray text;
        for (std::size_t n = below(40); n > 0; --n)
            text += letters[below(sizeof letters - 1)];
        return text;
    }

    // Pieces of text; with `inValue`, none holds a double quote.
    QByteArray piece(bool inValue)
    {
        static const char* const pieces[] = {" ", "\n    ", "\r\n", "\r", "\t", "&lt;", "&gt;", "&amp;", "&apos;",
            "&quot;", "&#13;", "&#10;", "&#9;", "&#x20;", "&#xE9;", "&#128512;", "\xC3\xA9", "\xE2\x82\xAC",
            "\xF0\x9F\x98\x80", "]", "]]", ">", "'", "-", "="};
        if (below(3) == 0)
            return filler();
        const QByteArray chosen = pieces[below(std::size(pieces))];
        return inValue && chosen == "\"" ? QByteArray("&quot;") : chosen;
    }

    // A run of text that never holds "]]>" (nor, with `comment`, "--" or a final '-'; nor references).
    QByteArray run(bool comment, bool cdata)
    {
        QByteArray text;
        for (std::size_t n = below(6); n > 0; --n) {
            const QByteArray next = piece(false);
            if ((comment || cdata) && next.contains('&'))
                continue;
            const QByteArray longer = text + next;
            if (longer.contains("]]>") || (comment && (longer.contains("--") || longer.endsWith('-'))))
                continue;
            text = longer;
        }
        return text;
    }

    void element(QByteArray& out, int depth)
    {
        static const char* const names[] = {"reg32", "bits", "comment", "a", "x:y", "_n.m-1"};
        const QByteArray name = names[below(std::size(names))];
        out += '<' + name;
        static const char* const attributes[] = {"name", "pos", "offset", "a", "b:c", "_d"};
        const std::size_t first = below(std::size(attributes));
        for (std::size_t i = 0, n = below(4); i < n && first + i < std::size(attributes); ++i) {
            out += below(4) == 0 ? "\r\n  " : " ";
            out += attributes[first + i];
            out += below(4) == 0 ? " = " : "=";
            const char quote = below(2) == 0 ? '"' : '\'';
            QByteArray value;
            for (std::size_t k = below(5); k > 0; --k)
                value += piece(true);
            value.replace(quote, quote == '"' ? "&quot;" : "&apos;");
            out += quote + value + quote;
        }
        if (below(4) == 0 || depth == 5) {
            out += below(2) == 0 ? "/>" : " />";
            return;
        }
        out += '>';
        for (std::size_t n = below(5); n > 0; --n) {
            switch (below(5)) {
            case 0:
                element(out, depth + 1);
                break;
            case 1:
                out += "<!--" + run(true, false) + "-->";
                break;
            case 2:
                out += "<![CDATA[" + run(false, true) + "]]>";
                break;
            default: {
                // Text, unless it would make "]]>" with what comes before.
                const QByteArray text = run(false, false);
                if (!(out + text).endsWith("]]>") && !(out.endsWith(']') && text.startsWith("]>"))
                    && !(out.endsWith("]]") && text.startsWith('>')))
                    out += text;
            }
            }
        }
        out += "</" + name + (below(4) == 0 ? "\n>" : ">");
    }

    std::mt19937 m_random;
};

TEST(XmlReaderTest, RandomPlainDocumentsAreReadFastAndAlike)
{
    DocumentMaker maker(7);
    for (int i = 0; i < 3000; ++i) {
        const QByteArray text = maker.make();
        const Outcome outcome = compareReaders(text, HwLoadLimits(), text.toStdString());
        EXPECT_TRUE(outcome.fast) << text.toStdString();
        EXPECT_TRUE(outcome.expat) << text.toStdString();
        if (::testing::Test::HasFailure())
            break;
    }
}

TEST(XmlReaderTest, SeedDocumentsAreReadAsExpected)
{
    for (const Seed& seed : seeds) {
        const Outcome outcome = compareReaders(QByteArray(seed.text), HwLoadLimits(), seed.text);
        EXPECT_EQ(outcome.fast, seed.fast) << seed.text;
        EXPECT_TRUE(outcome.expat) << seed.text;
    }
}

TEST(XmlReaderTest, MutatedDocumentsAreReadAlikeOrLeftToExpat)
{
    Mutator mutator(20261125);
    DocumentMaker maker(11);
    HwLoadLimits shallow;
    shallow.maxElementDepth = 3;
    int fast = 0;
    int refused = 0;
    constexpr int mutations = 40000;
    for (int i = 0; i < mutations; ++i) {
        // The seeds in turn, and every fourth time a random plain document.
        const Seed& seed = seeds[static_cast<std::size_t>(i) % std::size(seeds)];
        const QByteArray text = mutator.mutate(i % 4 == 3 ? maker.make() : QByteArray(seed.text));
        // Some inputs under a depth limit that the deeper seeds pass.
        const HwLoadLimits& limits = i % 7 == 0 ? shallow : HwLoadLimits();
        const Outcome outcome = compareReaders(text, limits, "mutation " + std::to_string(i) + ": " + text.toStdString());
        fast += outcome.fast ? 1 : 0;
        refused += outcome.expat ? 0 : 1;
        if (::testing::Test::HasFailure())
            break;
    }
    std::printf("%d mutations: %d read by the fast reader, %d refused by expat\n", mutations, fast, refused);
    // Both kinds of mutation are common: the property is not checked on one side only.
    EXPECT_GE(fast, mutations / 20);
    EXPECT_GE(refused, mutations / 4);
}

// Parses a text that must be well-formed; the reason otherwise.
testing::AssertionResult parses(HwXmlDocument& document, const QByteArray& text)
{
    int line = 0;
    int column = 0;
    QString error;
    if (document.parse(text, HwLoadLimits(), line, column, error))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error.toStdString() << " at " << line << ":" << column;
}

// Tag names are compared in lower case byte by byte in a document of ASCII names (the fast reader's); the
// answer must be the one the lower-case QString gives, for any name. Names with other characters, whose
// lower case may be shorter (KELVIN SIGN is "k"), send the document through expat and Qt's lower case.
TEST(XmlReaderTest, TagComparisonsAgreeWithLowerCaseNames)
{
    const char* const pieces[] = {"reg", "REG", "Bits", "b", "I", "i", "3", "2", "_", "-", ".", "k",
        "\xE2\x84\xAA" /* KELVIN SIGN */, "\xC4\xB0" /* I WITH DOT ABOVE */, "\xC3\x89"};
    const std::size_t asciiPieces = 12;
    const QLatin1String literals[] = {QLatin1String("reg"), QLatin1String("reg32"), QLatin1String("bits"),
        QLatin1String("k"), QLatin1String("kk"), QLatin1String("i"), QLatin1String("comment"),
        QLatin1String("")};
    std::mt19937 random(11);
    for (const bool others : {false, true}) {
        QByteArray text = "<root>";
        for (int i = 0; i < 3000; ++i) {
            QByteArray name = random() % 3 ? "r" : "k"; // names start with a letter
            for (unsigned n = random() % 4; n > 0; --n)
                name += pieces[random() % (others ? std::size(pieces) : asciiPieces)];
            // Now and then exactly a literal in upper case.
            if (random() % 4 == 0)
                name = QByteArray(literals[random() % (std::size(literals) - 1)].data()).toUpper();
            text += "<" + name + "/>";
        }
        text += "</root>";
        HwXmlDocument document;
        ASSERT_TRUE(parses(document, text));
        ASSERT_EQ(document.asciiNames(), !others);
        int checked = 0;
        for (const HwXmlElementView& element : document.documentElement().childElements()) {
            for (const QLatin1String literal : literals) {
                ASSERT_EQ(element.hasTag(literal), element.lowerTagName() == literal)
                    << element.tagName().toStdString() << " against " << literal.data();
                ASSERT_EQ(element.lowerTag() == literal, element.hasTag(literal));
                ++checked;
            }
        }
        EXPECT_EQ(checked, 3000 * static_cast<int>(std::size(literals)));
    }
}

// Plain comments are collapsed straight from the document's text; the result must be the one the markup
// way gives (written back, then taken apart), for random plain comments: ASCII and other text, every kind
// of blank, the escaped characters, line breaks, runs of each.
TEST(XmlReaderTest, PlainCommentsReadAsTheirMarkup)
{
    const char* const pieces[] = {"a", "Bc", "word ", " ", "  ", "\t", "\n", "\r\n", "&#13;", "&amp;", "&lt;",
        "&gt;", "&quot;", "'", "<br/>", "<br></br>", " <br/> ", "\xC3\xA9", "\xC2\xA0", "\xE2\x80\x83", "x1;",
        "&#9;", "&#x85;"};
    std::mt19937 random(5);
    QByteArray text = "<root>";
    for (int i = 0; i < 2000; ++i) {
        text += "<comment>";
        for (unsigned n = random() % 12; n > 0; --n)
            text += pieces[random() % std::size(pieces)];
        text += "</comment>";
    }
    text += "</root>";
    HwXmlDocument document;
    ASSERT_TRUE(parses(document, text));
    int compared = 0;
    for (const HwXmlElementView& comment : document.documentElement().childElements()) {
        ASSERT_EQ(readCommentFromCommentTag(comment), vellxml::loader_p::commentFromMarkup(comment.serialize()))
            << comment.serialize().toStdString();
        ++compared;
    }
    EXPECT_EQ(compared, 2000);
}

// Values compared with words are read as the document holds them; they must be the attribute's text in
// UTF-8, absent exactly when attribute() gives its fallback, whichever reader built the document: random
// values with references, blanks, other characters and empty ones, on elements that have some of the
// names asked for.
TEST(XmlReaderTest, AttributeBytesAreTheAttributeTexts)
{
    const char* const names[] = {"rst", "cut", "access", "display", "r", "rstx", "cutstart"};
    const char* const pieces[] = {"no", "NO", "all1", "All1", "rw", " ", "&amp;", "&#233;", "&#x2028;",
        "\xC3\xA9", "\xE2\x84\xAA", "&quot;", "'", "0x1F", "&#10;", "\t"};
    const QString absent = QStringLiteral("\x01absent");
    std::mt19937 random(17);
    for (const bool expat : {false, true}) {
        QByteArray text = expat ? "<!DOCTYPE root><root>" : "<root>";
        for (int i = 0; i < 1500; ++i) {
            text += "<e";
            for (const char* name : names) {
                if (random() % 3 != 0)
                    continue;
                text += QByteArray(" ") + name + "=\"";
                for (unsigned n = random() % 4; n > 0; --n)
                    text += pieces[random() % std::size(pieces)];
                text += "\"";
            }
            text += "/>";
        }
        text += "</root>";
        HwXmlDocument document;
        ASSERT_TRUE(parses(document, text));
        ASSERT_EQ(document.asciiNames(), !expat);
        int present = 0;
        int asked = 0;
        for (const HwXmlElementView& element : document.documentElement().childElements()) {
            for (const char* name : names) {
                const std::string_view bytes = element.attributeUtf8(name);
                const QString value = element.attribute(name, absent);
                ASSERT_EQ(bytes.data() == nullptr, value == absent) << name;
                ASSERT_EQ(QString::fromUtf8(bytes.data(), qsizetype(bytes.size())),
                    value == absent ? QString() : value);
                present += bytes.data() != nullptr;
                ++asked;
            }
        }
        EXPECT_EQ(asked, 1500 * static_cast<int>(std::size(names)));
        EXPECT_GT(present, asked / 4);
    }
}

} // namespace
