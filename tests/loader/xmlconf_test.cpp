// The document reader against the W3C XML conformance suite (../shared/xmlconf): every XML 1.0 (fifth
// edition) document that is not well-formed is refused with one positioned error, every well-formed one
// (valid or invalid, which a reader that does not validate treats alike) is read. The entries left out
// are counted by reason, and the tally is printed.
#include "loader_support.h"

#include <vellxml/loader/document.h>

#include <QDir>
#include <QDomDocument>
#include <QDomElement>
#include <QDomNamedNodeMap>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using loadertest::messages;

struct SuiteEntry {
    QString id;
    QString path;
    QString type;
    QString entities;
    QString edition;
    QString recommendation;
    QString version;
    QString output;
};

QString suiteDirectory()
{
    return QStringLiteral(VELLXML_SHARED_DIR "/xmlconf");
}

// The per-collection catalogues that xmlconf.xml includes through external entities, each with the base
// directory of the TESTCASES element that refers to it.
std::vector<std::pair<QString, QString>> collectionCatalogues(const QString& suite)
{
    QFile file(suite + QStringLiteral("/xmlconf.xml"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    QMap<QString, QString> entityFiles;
    static const QRegularExpression entity(QStringLiteral("<!ENTITY\\s+(\\S+)\\s+SYSTEM\\s+\"([^\"]+)\">"));
    for (auto it = entity.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        entityFiles.insert(match.captured(1), match.captured(2));
    }
    std::vector<std::pair<QString, QString>> out;
    static const QRegularExpression block(
        QStringLiteral("<TESTCASES[^>]*xml:base=\"([^\"]*)\"[^>]*>(.*?)</TESTCASES>"),
        QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression reference(QStringLiteral("&([^;\\s]+);"));
    for (auto it = block.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        for (auto refs = reference.globalMatch(match.captured(2)); refs.hasNext();) {
            const QString name = refs.next().captured(1);
            if (entityFiles.contains(name))
                out.emplace_back(suite + QLatin1Char('/') + entityFiles.value(name), match.captured(1));
        }
    }
    return out;
}

// The TEST entries of one catalogue, their paths resolved against the nested xml:base attributes.
void readCatalogue(const QString& catalogue, const QString& base, const QString& suite,
    std::vector<SuiteEntry>& out)
{
    QFile file(catalogue);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << catalogue.toStdString();
    // Some catalogues are fragments of several TEST elements: read them inside one element.
    QByteArray text = file.readAll();
    if (text.startsWith("<?xml"))
        text = text.mid(text.indexOf("?>") + 2);
    QXmlStreamReader reader("<CATALOGUE>" + text + "</CATALOGUE>");
    std::vector<QString> bases {base};
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("TESTCASES")) {
            const QString nested = reader.attributes().value(QStringLiteral("xml:base")).toString();
            bases.push_back(bases.back() + nested);
        } else if (reader.isEndElement() && reader.name() == QLatin1String("TESTCASES")) {
            bases.pop_back();
        } else if (reader.isStartElement() && reader.name() == QLatin1String("TEST")) {
            const QXmlStreamAttributes a = reader.attributes();
            const QString directory = suite + QLatin1Char('/') + bases.back();
            SuiteEntry entry;
            entry.id = a.value(QStringLiteral("ID")).toString();
            entry.path = QDir::cleanPath(directory + a.value(QStringLiteral("URI")).toString());
            entry.type = a.value(QStringLiteral("TYPE")).toString();
            entry.entities = a.value(QStringLiteral("ENTITIES")).toString();
            entry.edition = a.value(QStringLiteral("EDITION")).toString();
            entry.recommendation = a.value(QStringLiteral("RECOMMENDATION")).toString();
            entry.version = a.value(QStringLiteral("VERSION")).toString();
            if (a.hasAttribute(QStringLiteral("OUTPUT")))
                entry.output = QDir::cleanPath(directory + a.value(QStringLiteral("OUTPUT")).toString());
            out.push_back(entry);
        }
    }
    ASSERT_FALSE(reader.hasError()) << catalogue.toStdString() << ": " << reader.errorString().toStdString();
}

// Why an entry is outside what the reader promises, or empty when it is inside.
QString exclusion(const SuiteEntry& entry)
{
    if (entry.recommendation.startsWith(QLatin1String("NS")))
        return QStringLiteral("namespaces: names with a colon are plain names here");
    if (entry.recommendation == QLatin1String("XML1.1") || entry.version == QLatin1String("1.1"))
        return QStringLiteral("XML 1.1 documents are not read");
    if (!entry.edition.isEmpty() && !entry.edition.split(QLatin1Char(' ')).contains(QLatin1String("5")))
        return QStringLiteral("rules of earlier editions that the fifth edition changed");
    if (entry.type == QLatin1String("error"))
        return QStringLiteral("errors that a processor may or may not report");
    return QString();
}

// The canonical form the suite's OUTPUT files use: elements with their attributes sorted by name, text
// with '&', '<', '>', '"', tab, line feed and carriage return as references. Text of white space alone is
// left out: the reader drops it.
void canonical(const QDomNode& node, QString& out)
{
    const auto escape = [](const QString& text) {
        QString escaped;
        for (const QChar c : text) {
            switch (c.unicode()) {
            case '&':
                escaped += QLatin1String("&amp;");
                break;
            case '<':
                escaped += QLatin1String("&lt;");
                break;
            case '>':
                escaped += QLatin1String("&gt;");
                break;
            case '"':
                escaped += QLatin1String("&quot;");
                break;
            case '\t':
                escaped += QLatin1String("&#9;");
                break;
            case '\n':
                escaped += QLatin1String("&#10;");
                break;
            case '\r':
                escaped += QLatin1String("&#13;");
                break;
            default:
                escaped += c;
            }
        }
        return escaped;
    };
    if (node.isElement()) {
        const QDomElement element = node.toElement();
        out += QLatin1Char('<') + element.tagName();
        const QDomNamedNodeMap attributes = element.attributes();
        std::vector<std::pair<QString, QString>> sorted;
        for (int i = 0; i < attributes.count(); ++i) {
            const QDomAttr attribute = attributes.item(i).toAttr();
            sorted.emplace_back(attribute.name(), attribute.value());
        }
        std::sort(sorted.begin(), sorted.end());
        for (const auto& [name, value] : sorted)
            out += QLatin1Char(' ') + name + QLatin1String("=\"") + escape(value) + QLatin1Char('"');
        out += QLatin1Char('>');
        // Adjacent text and CDATA nodes make one run of text.
        QString run;
        const auto flush = [&run, &out, &escape] {
            static const QRegularExpression blank(QStringLiteral("^[ \\t\\r\\n]*$"));
            if (!blank.match(run).hasMatch())
                out += escape(run);
            run.clear();
        };
        for (QDomNode child = node.firstChild(); !child.isNull(); child = child.nextSibling()) {
            if (child.isText() || child.isCDATASection()) {
                run += child.nodeValue();
            } else if (child.isElement()) {
                flush();
                canonical(child, out);
            }
        }
        flush();
        out += QLatin1String("</") + element.tagName() + QLatin1Char('>');
    }
}

struct Tally {
    QMap<QString, int> passed;
    QMap<QString, int> excluded;
    int outputsCompared = 0;
    int outputsSkipped = 0;
};

TEST(XmlConformanceTest, SuiteDocumentsAreReadOrRefusedAsTheirTypeSays)
{
    const QString suite = suiteDirectory();
    if (!QFile::exists(suite + QStringLiteral("/xmlconf.xml")))
        GTEST_SKIP() << "no conformance suite at " << suite.toStdString();
    std::vector<SuiteEntry> entries;
    const auto catalogues = collectionCatalogues(suite);
    ASSERT_GE(catalogues.size(), 10u);
    for (const auto& [catalogue, base] : catalogues)
        readCatalogue(catalogue, base, suite, entries);
    ASSERT_GE(entries.size(), 2000u);

    static const QRegularExpression positioned(QStringLiteral("^(.*):(\\d+):(\\d+):(.+)$"),
        QRegularExpression::DotMatchesEverythingOption);
    Tally tally;
    for (const SuiteEntry& entry : entries) {
        SCOPED_TRACE(entry.id.toStdString() + " " + entry.path.toStdString());
        const QString excluded = exclusion(entry);
        messages() = loadertest::Messages();
        QDomDocument document;
        const int result = loadXMLDocument(entry.path, document, loadertest::onLog, loadertest::onError,
            loadertest::onWarning, true);
        // Every entry is read, excluded or not: none may crash, hang or give more than one error.
        ASSERT_NE(result, 1) << "missing file";
        ASSERT_LE(messages().error.size(), 1u);
        ASSERT_TRUE(messages().warning.empty());
        if (!excluded.isEmpty()) {
            ++tally.excluded[excluded];
            continue;
        }
        const bool wellFormed = entry.type == QLatin1String("valid") || entry.type == QLatin1String("invalid");
        if (wellFormed && result == 3 && messages().error.front().size() > 0
            && QString::fromStdString(messages().error.front()).endsWith(QLatin1String(":unknown encoding"))) {
            // Only UTF-8 and UTF-16 must be read; the refusal names the cause.
            ++tally.excluded[QStringLiteral("encodings other than UTF-8, UTF-16, ISO-8859-1 and US-ASCII")];
            continue;
        }
        if (wellFormed && result == 3 && entry.edition == QLatin1String("5")
            && QString::fromStdString(messages().error.front())
                   .endsWith(QLatin1String(":not well-formed (invalid token)"))) {
            ++tally.excluded[QStringLiteral(
                "names with characters that only the fifth edition allows (expat keeps the earlier ones)")];
            continue;
        }
        if (entry.type == QLatin1String("not-wf") && entry.entities != QLatin1String("none") && result == 0) {
            ++tally.excluded[QStringLiteral("faults inside external entities, which are never read")];
            continue;
        }
        if (wellFormed) {
            EXPECT_EQ(result, 0);
            EXPECT_TRUE(messages().error.empty())
                << (messages().error.empty() ? std::string() : messages().error.front());
            // The read tree against the suite's own: expanded entities, normalised attribute values,
            // defaults from the internal subset. Outputs of documents with external entities hold what
            // those give, and the reader keeps no processing instructions or notations.
            if (result == 0 && !entry.output.isEmpty()) {
                QFile expectedFile(entry.output);
                ASSERT_TRUE(expectedFile.open(QIODevice::ReadOnly));
                const QByteArray expectedText = expectedFile.readAll();
                QDomDocument expectedDocument;
                if (entry.entities != QLatin1String("none") || expectedText.contains("<?")
                    || expectedText.contains("<!") || !expectedDocument.setContent(expectedText)) {
                    ++tally.outputsSkipped;
                } else {
                    QString actual;
                    QString expected;
                    canonical(document.documentElement(), actual);
                    canonical(expectedDocument.documentElement(), expected);
                    EXPECT_EQ(actual, expected);
                    ++tally.outputsCompared;
                }
            }
        } else {
            ASSERT_EQ(entry.type, QStringLiteral("not-wf"));
            EXPECT_EQ(result, 3);
            ASSERT_EQ(messages().error.size(), 1u);
            const QRegularExpressionMatch match =
                positioned.match(QString::fromStdString(messages().error.front()));
            ASSERT_TRUE(match.hasMatch()) << messages().error.front();
            EXPECT_EQ(match.captured(1), entry.path);
            // The fault has a place in the file, and the parser names it.
            QFile file(entry.path);
            ASSERT_TRUE(file.open(QIODevice::ReadOnly));
            const int lines = static_cast<int>(file.readAll().count('\n')) + 1;
            EXPECT_GE(match.captured(2).toInt(), 1);
            EXPECT_LE(match.captured(2).toInt(), lines);
            EXPECT_GE(match.captured(3).toInt(), 1);
            EXPECT_FALSE(match.captured(4).trimmed().isEmpty());
        }
        ++tally.passed[entry.type];
    }

    int total = 0;
    std::printf("XML conformance suite: %zu entries\n", entries.size());
    for (auto it = tally.passed.cbegin(); it != tally.passed.cend(); ++it) {
        std::printf("  %-8s %5d as expected\n", qPrintable(it.key()), it.value());
        total += it.value();
    }
    std::printf("  canonical outputs: %d compared, %d skipped (external entities, processing instructions)\n",
        tally.outputsCompared, tally.outputsSkipped);
    for (auto it = tally.excluded.cbegin(); it != tally.excluded.cend(); ++it) {
        std::printf("  excluded %5d: %s\n", it.value(), qPrintable(it.key()));
        total += it.value();
    }
    EXPECT_EQ(total, static_cast<int>(entries.size()));
}

} // namespace
