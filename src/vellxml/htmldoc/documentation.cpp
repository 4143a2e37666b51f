// HwMemoryMap::generateDocumentation: the files of the browsable documentation of a chip.
//
// The pages are opened from disk (file://), where browsers refuse fetch() and XMLHttpRequest, so every piece
// of data is a script file that calls a function of the fixed scripts when loaded (vellxmlMenu.chunk,
// vellxmlSearch.chunk ...). Nothing big is loaded eagerly: menu.js holds the chip, its instances grouped by
// category and its archives; the subtree of an instance comes from a menu/N.js chunk when the instance is
// opened; the search index is split into search/N.js chunks of consecutive keys, of which the menu loads
// only those that can hold the typed prefix.
#include "html_p.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QSaveFile>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using namespace vellxml::htmldoc_p;

namespace {

// A menu chunk is closed once it holds this much text; a search chunk holds this many entries.
constexpr int kMenuChunkChars = 256 * 1024;
constexpr std::size_t kSearchChunkEntries = 16384;

const QString kResourcePrefix = QStringLiteral(":/vellxml/docpool");

/// Writes files below one directory, each through QSaveFile: a file is replaced whole or left as it was.
class FileWriter {
public:
    explicit FileWriter(const QString& dir)
        : m_dir(QDir(dir).absolutePath())
    {
    }

    /// `relative` is made by the generator from sanitized names: never absolute, never with "..".
    bool write(const QString& relative, const QByteArray& data)
    {
        if (!m_error.isEmpty())
            return false;
        const QString path = m_dir + QLatin1Char('/') + relative;
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
            m_error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
            return false;
        }
        return true;
    }

    bool makeDir(const QString& relative)
    {
        if (!m_error.isEmpty())
            return false;
        const QString path = relative.isEmpty() ? m_dir : m_dir + QLatin1Char('/') + relative;
        if (!QDir().mkpath(path)) {
            m_error = QStringLiteral("Cannot create the directory %1").arg(path);
            return false;
        }
        return true;
    }

    const QString& error() const { return m_error; }

private:
    QString m_dir;
    QString m_error;
};

/// Kinds of search entries; docpool/tree.js names them.
enum SearchKind : std::uint8_t {
    KindField = 0,
    KindRegister,
    KindStruct,
    KindArray,
    KindBlock,
    KindInstance,
    KindAddress ///< a register found by its address: the key is "0x" and the anchor's eight digits
};

/// Every name the menu's search finds: instances, structures, arrays, registers, fields, memories and
/// externals. Each element gives one entry keyed by its lower-case name and one more per word that follows
/// a "_" in the name, so that "EN" finds TX_EN; each register one more keyed by its address ("0x4000440c"),
/// so that an address from a debugger's log finds its register. Anchors and keys are ASCII (anchorName()),
/// kept in one buffer: the default synthetic chip has 2.3 million entries.
class SearchIndex {
public:
    void add(std::uint32_t page, SearchKind kind, const QString& anchor, const QString& name)
    {
        const auto anchorAt = static_cast<std::uint32_t>(m_text.size());
        appendLatin1(anchor);
        addKeys(page, kind, anchorAt, name);
    }

    /// A register by its address: the key is "0x" and the first eight characters of its anchor (the
    /// address digits, see hrefNameOf()) in lower case.
    void addAddress(std::uint32_t page, const QString& anchor)
    {
        const auto anchorAt = static_cast<std::uint32_t>(m_text.size());
        appendLatin1(anchor);
        const auto keyAt = static_cast<std::uint32_t>(m_text.size());
        m_text += "0x";
        for (std::size_t i = anchorAt; i < anchorAt + 8 && i < keyAt; ++i)
            m_text +=
                static_cast<char>(m_text[i] >= 'A' && m_text[i] <= 'Z' ? m_text[i] - 'A' + 'a' : m_text[i]);
        Entry entry;
        entry.key = keyAt;
        entry.keyLength = static_cast<std::uint16_t>(m_text.size() - keyAt);
        entry.anchor = anchorAt;
        entry.anchorLength = static_cast<std::uint16_t>(std::min<std::size_t>(keyAt - anchorAt, 0xFFFF));
        entry.page = page;
        entry.kind = KindAddress;
        m_entries.push_back(entry);
    }

    /// A field: its anchor is its register's anchor, ".", its name (see getHrefName()).
    void addField(std::uint32_t page, const QString& registerAnchor, const QString& name)
    {
        const auto anchorAt = static_cast<std::uint32_t>(m_text.size());
        appendLatin1(registerAnchor);
        m_text += '.';
        appendLatin1(anchorName(name));
        addKeys(page, KindField, anchorAt, name);
    }

    /// Sorts by key (byte order, which is the browser's string order for ASCII), then page and anchor, so
    /// that the chunks do not depend on the order of the walk.
    void sort()
    {
        std::sort(m_entries.begin(), m_entries.end(), [this](const Entry& a, const Entry& b) {
            if (const int c = compare(a.key, a.keyLength, b.key, b.keyLength))
                return c < 0;
            if (a.page != b.page)
                return a.page < b.page;
            if (const int c = compare(a.anchor, a.anchorLength, b.anchor, b.anchorLength))
                return c < 0;
            return a.offset < b.offset;
        });
    }

    std::size_t size() const { return m_entries.size(); }

    QByteArray key(std::size_t i) const
    {
        const Entry& e = m_entries[i];
        return QByteArray(m_text.data() + e.key, e.keyLength);
    }

    /// One entry as the chunk writes it: [page, "anchor"] and, unless 0, kind + 8 * offset.
    void appendEntry(std::size_t i, QByteArray& out) const
    {
        const Entry& e = m_entries[i];
        out += '[';
        out += QByteArray::number(e.page);
        out += ",\"";
        out.append(m_text.data() + e.anchor, e.anchorLength);
        out += '"';
        const int code = e.kind + 8 * e.offset;
        if (code != 0) {
            out += ',';
            out += QByteArray::number(code);
        }
        out += ']';
    }

private:
    struct Entry {
        std::uint32_t key = 0;
        std::uint32_t anchor = 0;
        std::uint32_t page = 0;
        std::uint16_t keyLength = 0;
        std::uint16_t anchorLength = 0;
        SearchKind kind = KindField;
        std::uint8_t offset = 0;
    };

    int compare(std::uint32_t a, std::uint16_t aLength, std::uint32_t b, std::uint16_t bLength) const
    {
        const int c = std::memcmp(m_text.data() + a, m_text.data() + b, std::min(aLength, bLength));
        if (c != 0)
            return c;
        return aLength < bLength ? -1 : (aLength > bLength ? 1 : 0);
    }

    void appendLatin1(const QString& text)
    {
        for (const QChar c : text)
            m_text += static_cast<char>(c.unicode() < 128 ? c.unicode() : '_');
    }

    /// The entries of one element whose anchor was just appended from anchorAt: one per word start of its
    /// lower-case name.
    void addKeys(std::uint32_t page, SearchKind kind, std::uint32_t anchorAt, const QString& name)
    {
        const auto anchorLength =
            static_cast<std::uint16_t>(std::min<std::size_t>(m_text.size() - anchorAt, 0xFFFF));
        const auto keyAt = static_cast<std::uint32_t>(m_text.size());
        appendLatin1(anchorName(name));
        for (std::size_t i = keyAt; i < m_text.size(); ++i) {
            if (m_text[i] >= 'A' && m_text[i] <= 'Z')
                m_text[i] = static_cast<char>(m_text[i] - 'A' + 'a');
        }
        const std::size_t keyLength = m_text.size() - keyAt;
        const char* key = m_text.data() + keyAt;
        for (std::size_t offset = 0; offset < std::min<std::size_t>(keyLength, 255); ++offset) {
            const bool wordStart =
                offset == 0 || (key[offset - 1] == '_' && key[offset] >= 'a' && key[offset] <= 'z');
            if (!wordStart)
                continue;
            Entry entry;
            entry.key = keyAt + static_cast<std::uint32_t>(offset);
            entry.keyLength = static_cast<std::uint16_t>(std::min<std::size_t>(keyLength - offset, 0xFFFF));
            entry.anchor = anchorAt;
            entry.anchorLength = anchorLength;
            entry.page = page;
            entry.kind = kind;
            entry.offset = static_cast<std::uint8_t>(offset);
            m_entries.push_back(entry);
        }
    }

    std::string m_text;
    std::vector<Entry> m_entries;
};

/// Adds the element and everything below it. Array items and pointed elements are not entries of their
/// own (their anchors end in an index or "-"), but what they hold is.
void collectSearchEntries(const HwXMLElement* element, std::uint32_t page, bool named, SearchIndex& index)
{
    if (element->isValuable()) {
        const auto* valuable = static_cast<const HwValuable*>(element);
        const QString anchor = element->getHrefName();
        if (named)
            index.add(page, KindRegister, anchor, element->getName());
        index.addAddress(page, anchor);
        for (const auto& field : valuable->getBitFields())
            index.addField(page, anchor, field->getName());
        if (element->isPointer()) {
            if (const HwXMLElement* pointed = static_cast<const HwPointer*>(element)->getPointedElement())
                collectSearchEntries(pointed, page, false, index);
        }
    } else if (element->isStruct()) {
        if (named)
            index.add(page, KindStruct, element->getHrefName(), element->getName());
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
            collectSearchEntries(member.get(), page, member->getArrayNumber() == -1, index);
    } else if (element->isArray()) {
        if (named)
            index.add(page, KindArray, element->getHrefName(), element->getName());
        for (const auto& item : static_cast<const HwArray*>(element)->getMemberList())
            collectSearchEntries(item.get(), page, false, index);
    } else if (element->getType() == TYPE_MEMORY || element->isExternal()) {
        if (named)
            index.add(page, KindBlock, element->getHrefName(), element->getName());
    }
}

/// The menu and search kind letter of an instance.
const char* instanceKind(const HwXMLElement* element)
{
    if (element->isStruct())
        return "s";
    if (element->isArray())
        return "a";
    if (element->isExternal())
        return "x";
    if (element->isPointer())
        return "p";
    if (element->isValuable())
        return "r";
    return "m";
}

/// File stems of the instance pages: the instance name with every character but letters, digits, "_", "-"
/// and "." replaced by "_" (so no stem leaves the directory), never starting with ".", never one of the
/// fixed pages, and unique without regard to case; a clash gets "_2", "_3" ...
class PageNames {
public:
    QString take(const QString& name)
    {
        QString stem = name;
        for (QChar& c : stem) {
            const bool keep = (c.unicode() < 128 && c.isLetterOrNumber()) || c == QLatin1Char('_')
                || c == QLatin1Char('-') || c == QLatin1Char('.');
            if (!keep)
                c = QLatin1Char('_');
        }
        if (stem.isEmpty())
            stem = QStringLiteral("instance");
        if (stem.startsWith(QLatin1Char('.')))
            stem[0] = QLatin1Char('_');
        QString candidate = stem;
        for (int n = 2; m_taken.contains(candidate.toLower()); ++n)
            candidate = stem + QLatin1Char('_') + QString::number(n);
        m_taken.insert(candidate.toLower());
        return candidate;
    }

private:
    QSet<QString> m_taken {QStringLiteral("index"), QStringLiteral("menu"), QStringLiteral("chip"),
        QStringLiteral("docpool"), QStringLiteral("search")};
};

QString pageHead(const QString& title, const QString& bodyClass, const QString& scripts)
{
    return QStringLiteral(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n<title>%1</title>\n"
        "<link rel=\"stylesheet\" href=\"docpool/vellxml.css\">\n%2</head>\n<body class=\"%3\">\n")
        .arg(escapeHtml(title), scripts, bodyClass);
}

const QString kPageEnd = QStringLiteral("</body>\n</html>\n");

QString instancePage(HwXMLElement* instance, const QString& chipName)
{
    QString out = pageHead(instance->getName() + QStringLiteral(" \u00B7 ") + chipName, QStringLiteral("doc"),
        QStringLiteral("<script src=\"docpool/page.js\" defer></script>\n"));
    out += QLatin1String("<p class=\"crumbs\"><a href=\"chip.html\">") + escapeHtml(chipName)
        + QStringLiteral("</a> \u203A ") + escapeHtml(instance->getName()) + QLatin1String("</p>\n");
    out += instance->html_serialize(0);
    out += kPageEnd;
    return out;
}

struct PageRecord {
    HwXMLElement* instance = nullptr;
    QString file;
    int menuChunk = 0;
};

QString chipPage(const HwRootArchive* root, const std::vector<PageRecord>& pages)
{
    const QString chipName = root->getName();
    QString out = pageHead(chipName, QStringLiteral("doc chip"), QString());
    out += QLatin1String("<section class=\"inst\" id=\"chip\"><h1>") + escapeHtml(chipName)
        + QLatin1String("</h1>\n");
    const auto& archives = root->getArchives();
    if (!archives.empty() && !archives.front()->getComment().isEmpty())
        out += QLatin1String("<p class=\"cm\">") + archives.front()->html_comment_serialize(0)
            + QLatin1String("</p>\n");

    out += QStringLiteral(
        "<h2 id=\"instances\">Instances</h2>\n<table class=\"summary\"><thead><tr><th>Instance</th>"
        "<th>Type</th><th>Address</th><th>Size</th><th>Category</th><th>Description</th></tr>"
        "</thead><tbody>\n");
    for (const PageRecord& page : pages) {
        HwXMLElement* instance = page.instance;
        out += QLatin1String("<tr><td><a href=\"") + escapeHtml(page.file) + QLatin1String("\">")
            + escapeHtml(instance->getName()) + QLatin1String("</a></td><td>")
            + escapeHtml(instance->getTypeString()) + QLatin1String("</td><td>")
            + instance->getAddressString() + QLatin1String("</td><td>0x")
            + QString::number(instance->sizeOf(), 16).toUpper() + QLatin1String("</td><td>")
            + escapeHtml(instance->getCategory()) + QLatin1String("</td><td>")
            + instance->html_comment_serialize(0) + QLatin1String("</td></tr>\n");
    }
    out += QLatin1String("</tbody></table>\n");

    out += QStringLiteral(
        "<h2 id=\"archives\">Archives</h2>\n<table class=\"summary\"><thead><tr><th>Archive</th>"
        "<th>Description</th><th>Types</th></tr></thead><tbody>\n");
    int number = 0;
    for (const auto& archive : archives) {
        out += QStringLiteral("<tr id=\"archive-%1\"><td>").arg(++number) + escapeHtml(archive->getName())
            + QLatin1String("</td><td>") + archive->html_comment_serialize(0) + QLatin1String("</td><td>")
            + escapeHtml(archive->getTemplateManager().getTypeNames().join(QLatin1String(", ")))
            + QLatin1String("</td></tr>\n");
    }
    out += QLatin1String("</tbody></table>\n</section>\n");
    out += kPageEnd;
    return out;
}

QString indexPage(const QString& chipName)
{
    QString out = pageHead(chipName, QStringLiteral("frames"), QString());
    out += QStringLiteral("<iframe name=\"menu\" src=\"menu.html\" title=\"Menu\"></iframe>\n"
                          "<iframe name=\"content\" src=\"chip.html\" title=\"Content\"></iframe>\n"
                          "<script src=\"docpool/index.js\"></script>\n");
    out += kPageEnd;
    return out;
}

QString menuPage(const QString& chipName)
{
    QString out = pageHead(chipName + QStringLiteral(" \u00B7 menu"), QStringLiteral("menu"), QString());
    out += QLatin1String("<header><a class=\"chip\" href=\"chip.html\" target=\"content\">")
        + escapeHtml(chipName) + QLatin1String("</a></header>\n");
    out += QStringLiteral(
        "<div class=\"search\"><input id=\"search\" type=\"search\" autocomplete=\"off\" "
        "spellcheck=\"false\" "
        "placeholder=\"Find an instance, register or field\" aria-label=\"Search\">"
        "<div id=\"results\" role=\"listbox\"></div></div>\n<nav id=\"tree\" aria-label=\"Chip\"></nav>\n"
        "<script src=\"docpool/tree.js\"></script>\n<script src=\"menu.js\"></script>\n"
        "<script src=\"search/index.js\"></script>\n");
    out += kPageEnd;
    return out;
}

/// Copies the fixed resources compiled into the library, in name order.
bool copyResources(FileWriter& writer)
{
    QStringList files;
    QDirIterator it(kResourcePrefix, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(it.next().mid(kResourcePrefix.size() + 1));
    files.sort();
    if (files.isEmpty())
        return false;
    for (const QString& name : files) {
        QFile resource(kResourcePrefix + QLatin1Char('/') + name);
        if (!resource.open(QIODevice::ReadOnly))
            return false;
        const int slash = static_cast<int>(name.lastIndexOf(QLatin1Char('/')));
        if (slash > 0 && !writer.makeDir(QStringLiteral("docpool/") + name.left(slash)))
            return false;
        if (!writer.write(QStringLiteral("docpool/") + name, resource.readAll()))
            return false;
    }
    return true;
}

} // namespace

bool HwMemoryMap::generateDocumentation(const QString& dir, vellxml::DiagnosticSink& sink) const
{
    QString error;
    if (generateDocumentation(dir, &error))
        return true;
    vellxml::Diagnostic diagnostic;
    diagnostic.severity = vellxml::Severity::Error;
    diagnostic.code = QString::fromLatin1(vellxml::code::OutputWrite);
    diagnostic.text = error;
    sink.report(diagnostic);
    return false;
}

bool HwMemoryMap::generateDocumentation(const QString& dir, QString* error) const
{
    auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    HwRootArchive* root = getChipRootArchive();
    if (!root)
        return fail(QStringLiteral("No chip is loaded."));
    FileWriter writer(dir);
    if (!writer.makeDir(QString()) || !writer.makeDir(QStringLiteral("docpool"))
        || !writer.makeDir(QStringLiteral("menu")) || !writer.makeDir(QStringLiteral("search")))
        return fail(writer.error());
    if (!copyResources(writer))
        return fail(writer.error().isEmpty() ? QStringLiteral("The documentation resources are missing.")
                                             : writer.error());

    const QString chipName = root->getName();
    PageNames names;
    std::vector<PageRecord> pages;
    SearchIndex search;
    QString menuChunk;
    int menuChunks = 0;
    auto flushMenuChunk = [&]() {
        if (menuChunk.isEmpty())
            return true;
        const QString text =
            QStringLiteral("vellxmlMenu.chunk(%1,{\n").arg(menuChunks) + menuChunk + QLatin1String("});\n");
        menuChunk.clear();
        return writer.write(QStringLiteral("menu/%1.js").arg(menuChunks++), text.toUtf8());
    };

    for (HwXMLElement* instance : root->getInstanciatedTemplates()) {
        PageRecord page;
        page.instance = instance;
        page.file = names.take(instance->getName()) + QStringLiteral(".html");
        if (!writer.write(page.file, instancePage(instance, chipName).toUtf8()))
            return fail(writer.error());
        menuChunk += jsString(page.file) + QLatin1Char(':') + instance->treenode_serialize(0, page.file)
            + QLatin1String(",\n");
        page.menuChunk = menuChunks;
        const auto pageNumber = static_cast<std::uint32_t>(pages.size());
        search.add(pageNumber, KindInstance, instance->getHrefName(), instance->getName());
        collectSearchEntries(instance, pageNumber, false, search);
        pages.push_back(page);
        if (menuChunk.size() >= kMenuChunkChars && !flushMenuChunk())
            return fail(writer.error());
    }
    if (!flushMenuChunk())
        return fail(writer.error());

    // The search chunks and their directory: each chunk's first and last key.
    search.sort();
    QByteArray chunkKeys;
    int searchChunks = 0;
    for (std::size_t first = 0; first < search.size(); first += kSearchChunkEntries) {
        const std::size_t last = std::min(first + kSearchChunkEntries, search.size()) - 1;
        QByteArray text = "vellxmlSearch.chunk(" + QByteArray::number(searchChunks) + ",[\n";
        for (std::size_t i = first; i <= last; ++i) {
            search.appendEntry(i, text);
            text += i == last ? "\n" : ",\n";
        }
        text += "]);\n";
        if (!writer.write(QStringLiteral("search/%1.js").arg(searchChunks++), text))
            return fail(writer.error());
        chunkKeys += (first ? ",\n[\"" : "[\"") + search.key(first) + "\",\"" + search.key(last) + "\"]";
    }
    QString pageList;
    for (const PageRecord& page : pages) {
        if (!pageList.isEmpty())
            pageList += QLatin1String(",\n");
        pageList += QLatin1Char('[') + jsString(page.file) + QLatin1Char(',')
            + jsString(page.instance->getName()) + QLatin1Char(']');
    }
    const QByteArray searchIndex = "vellxmlSearch.index({\"pages\":[\n" + pageList.toUtf8()
        + "],\n\"chunks\":[\n" + chunkKeys + "]});\n";
    if (!writer.write(QStringLiteral("search/index.js"), searchIndex))
        return fail(writer.error());

    // menu.js: instances by category, in the order in which the categories first appear, then archives.
    QStringList categories;
    QHash<QString, QStringList> byCategory;
    for (const PageRecord& page : pages) {
        QString category = page.instance->getCategory();
        if (category.isEmpty())
            category = QStringLiteral("Unclassified");
        if (!byCategory.contains(category))
            categories.append(category);
        byCategory[category].append(QLatin1String("[\"") + QLatin1String(instanceKind(page.instance))
            + QLatin1String("\",") + jsString(page.instance->getName()) + QLatin1Char(',')
            + jsString(page.file) + QLatin1Char(',') + QString::number(page.menuChunk) + QLatin1Char(']'));
    }
    QString menu =
        QLatin1String("vellxmlMenu.tree({\"chip\":") + jsString(chipName) + QLatin1String(",\"groups\":[\n");
    for (int i = 0; i < categories.size(); ++i) {
        menu += QLatin1Char('[') + jsString(categories[i]) + QLatin1String(",[\n")
            + byCategory[categories[i]].join(QLatin1String(",\n")) + QLatin1String("]]");
        menu += i + 1 < categories.size() ? QLatin1String(",\n") : QLatin1String("\n");
    }
    menu += QLatin1String("],\"archives\":[\n");
    int number = 0;
    for (const auto& archive : root->getArchives()) {
        menu += (number ? QLatin1String(",\n[") : QLatin1String("[")) + jsString(archive->getName())
            + QLatin1Char(',') + jsString(QStringLiteral("chip.html#archive-%1").arg(number + 1))
            + QLatin1Char(']');
        ++number;
    }
    menu += QLatin1String("]});\n");

    if (!writer.write(QStringLiteral("menu.js"), menu.toUtf8())
        || !writer.write(QStringLiteral("chip.html"), chipPage(root, pages).toUtf8())
        || !writer.write(QStringLiteral("menu.html"), menuPage(chipName).toUtf8())
        || !writer.write(QStringLiteral("index.html"), indexPage(chipName).toUtf8()))
        return fail(writer.error());
    return true;
}
