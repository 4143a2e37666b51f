#ifndef VELLXML_LOADER_XML_ELEMENT_P_H
#define VELLXML_LOADER_XML_ELEMENT_P_H

#include <vellxml/loader/document.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <pugixml.hpp>
#include <vector>

class HwXmlDocument;
class HwXmlChildElements;

/// What the tag handlers read of each element of one document, kept while the description checks run:
/// an attribute nobody asked for, or an element nobody looked at, is something the loader ignored. The
/// names asked for are the handlers' own, so they are also the suggestions for a misspelt one.
///
/// A load asks for a dozen attributes of each of millions of elements: the record is a flat open-addressed
/// table of elements and one array of names, each element holding a run of it, so that recording costs no
/// allocation per element.
class HwXmlReadRecord {
public:
    struct Entry {
        const void* node = nullptr;
        /// The run of names asked for (as the handlers spell them), present or not.
        std::uint32_t first = 0;
        std::uint32_t count = 0;
        /// Read as free markup (comment, cjoker): what is inside is text, not tags.
        bool markup = false;
    };

    /// Room for `elements` elements without growing.
    void reserve(std::size_t elements);
    /// A handler asked for attribute `name` of `node` (null `name`: it walked the node's children).
    void noteRead(const void* node, const char* name);
    void noteMarkup(const void* node) { entryOf(node).markup = true; }
    /// Null when no handler looked at the node.
    const Entry* find(const void* node) const;
    /// Whether the handler of `entry` asked for `name`, and the names it asked for.
    bool asked(const Entry& entry, const char* name) const;
    std::vector<const char*> askedNames(const Entry& entry) const;

private:
    Entry& entryOf(const void* node);
    std::size_t slotOf(const void* node) const;

    std::vector<Entry> m_table;
    std::size_t m_used = 0;
    std::vector<const char*> m_names;
    Entry* m_last = nullptr;
};

/// A read-only view of one element of a parsed archive: what the tag handlers look at. Cheap to copy;
/// valid while its document lives.
class HwXmlElementView {
public:
    HwXmlElementView(pugi::xml_node node, const HwXmlDocument* document)
        : m_node(node)
        , m_document(document)
    {
    }

    /// The tag name as written.
    QString tagName() const;
    /// The tag name in lower case: tags are compared this way.
    QString lowerTagName() const;
    /// The attribute's value; `fallback` when the attribute is absent (an empty value is kept).
    QString attribute(const char* name, const QString& fallback = QString()) const;
    /// The child elements in document order, walked as they are read (no list is made).
    HwXmlChildElements childElements() const;
    /// The text of every text and CDATA node below the element, in document order.
    QString text() const;
    /// The element and its content written back as markup, attributes and text escaped.
    QString serialize() const;
    /// 1-based line and column of the start tag's "<".
    int line() const;
    int column() const;
    /// The parsed node itself, for readers that walk it directly.
    const pugi::xml_node& node() const { return m_node; }
    /// The names of the element's attributes, in document order, into `names` (cleared first).
    void attributeNames(std::vector<const char*>& names) const;
    /// 1-based line and column of attribute `name` (of the start tag when it is not found).
    void attributePosition(const char* name, int& line, int& column) const;
    /// The same element seen through two views has the same identity.
    const void* identity() const { return m_node.internal_object(); }
    /// Where reads of the element are recorded, null when nothing records them.
    HwXmlReadRecord* readRecord() const;

private:
    // Handlers ask for a dozen attributes of elements that hold a handful; the names and values are
    // gathered on the first request so that the later ones compare in place instead of calling into the
    // parser's library for every step of its list. Longer lists are searched by the parser.
    static constexpr int gatheredAttributes = 8;
    const char* findAttribute(const char* name) const;

    pugi::xml_node m_node;
    const HwXmlDocument* m_document;
    mutable int m_attributeCount = -1;
    mutable const char* m_attributeNames[gatheredAttributes] = {};
    mutable const char* m_attributeValues[gatheredAttributes] = {};
};

/// The element children of one element, for a range-based for loop.
class HwXmlChildElements {
public:
    class iterator {
    public:
        iterator(pugi::xml_node node, const HwXmlDocument* document)
            : m_node(node)
            , m_document(document)
        {
            skipOtherNodes();
        }
        HwXmlElementView operator*() const { return HwXmlElementView(m_node, m_document); }
        iterator& operator++()
        {
            m_node = m_node.next_sibling();
            skipOtherNodes();
            return *this;
        }
        bool operator!=(const iterator& other) const { return m_node != other.m_node; }

    private:
        void skipOtherNodes()
        {
            while (m_node && m_node.type() != pugi::node_element)
                m_node = m_node.next_sibling();
        }

        pugi::xml_node m_node;
        const HwXmlDocument* m_document;
    };

    HwXmlChildElements(pugi::xml_node parent, const HwXmlDocument* document)
        : m_parent(parent)
        , m_document(document)
    {
    }
    iterator begin() const { return iterator(m_parent.first_child(), m_document); }
    iterator end() const { return iterator(pugi::xml_node(), m_document); }

private:
    pugi::xml_node m_parent;
    const HwXmlDocument* m_document;
};

/// A parsed archive file with the line starts of its text, for positions.
///
/// Archives are parsed with pugixml rather than into a QDomDocument: a chip of a million bitfields loads
/// several times faster and in a fraction of the memory. Positions come from the nodes' byte offsets in the
/// text, turned into 1-based lines and columns (in characters) with a table of line starts. The checks a
/// hostile file needs (no document type, bounded nesting, unique attribute names) are made here, once.
class HwXmlDocument {
public:
    /// Parses UTF-8 text. On failure gives the 1-based position (0 when not known) and the reason.
    bool parse(QByteArray utf8, const HwLoadLimits& limits, int& line, int& column, QString& error)
    {
        return parseText(std::move(utf8), false, limits, line, column, error);
    }
    /// Parses UTF-8 text inside its own buffer, without the parser's copy of it, for a large text read
    /// once, as an imported file is. The parse changes the text, so attributeOffset() finds nothing and
    /// a column behind a character reference that decodes to a non-ASCII character may be counted off.
    /// The text an element starts with is kept as the element's own value rather than as a child node
    /// (half the nodes of a document of short text elements): child_value() reads it, first_child() does
    /// not see it.
    bool parseInPlace(QByteArray utf8, const HwLoadLimits& limits, int& line, int& column, QString& error)
    {
        return parseText(std::move(utf8), true, limits, line, column, error);
    }
    HwXmlElementView documentElement() const;
    /// 1-based line and column (in characters) of a byte offset of the text.
    void position(std::ptrdiff_t offset, int& line, int& column) const;
    /// The byte offset of attribute `name` in the start tag that begins at `tagOffset`, or -1.
    std::ptrdiff_t attributeOffset(std::ptrdiff_t tagOffset, const char* name) const;

    /// The number of elements of the parsed document.
    std::size_t elementCount() const { return m_elementCount; }
    /// Records what the views of this document read, until set back to null.
    void setReadRecord(HwXmlReadRecord* record) { m_readRecord = record; }
    HwXmlReadRecord* readRecord() const { return m_readRecord; }

private:
    bool parseText(
        QByteArray utf8, bool inPlace, const HwLoadLimits& limits, int& line, int& column, QString& error);

    HwXmlReadRecord* m_readRecord = nullptr;
    std::size_t m_elementCount = 0;
    bool m_inPlace = false;
    QByteArray m_text;
    pugi::xml_document m_document;
    std::vector<std::ptrdiff_t> m_lineStarts;
};

inline HwXmlReadRecord* HwXmlElementView::readRecord() const
{
    return m_document->readRecord();
}

namespace vellxml::loader_p {

/// How reading an archive file ended: the codes of loadXMLDocument.
enum ReadResult : int { READ_OK = 0, READ_NOT_OPENED = 1, READ_INVALID = 3 };

/// Reads a plain or encrypted archive and converts it to UTF-8 (from UTF-16 with a byte-order mark, or
/// ISO-8859-1 when its declaration says so). READ_NOT_OPENED leaves `error` empty; READ_INVALID sets it.
int readArchiveFile(const QString& path, const HwLoadLimits& limits, QByteArray& utf8, QString& error);

/// Reads the plain bytes of an encrypted archive, exactly as they were before encryption. A file that is
/// not an encrypted archive is READ_INVALID with its own message.
int readEncryptedArchive(const QString& path, const HwLoadLimits& limits, QByteArray& plain, QString& error);

/// The free text of a comment tag's markup (see readCommentFromCommentTag).
QString commentFromMarkup(QString markup);
/// The verbatim text of a cjoker tag's markup (see readCJokerFromCommentTag).
QString cjokerFromMarkup(QString markup);

} // namespace vellxml::loader_p

/// The text of a `comment` tag: markup inside it kept as text ("<br/>" as "<br>"), white space collapsed.
QString readCommentFromCommentTag(const HwXmlElementView& element);
/// The text of a `cjoker` tag: verbatim C code, white space kept, entities decoded.
QString readCJokerFromCommentTag(const HwXmlElementView& element);

#endif
