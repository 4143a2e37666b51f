#ifndef VELLXML_LOADER_XML_ELEMENT_P_H
#define VELLXML_LOADER_XML_ELEMENT_P_H

#include <vellxml/loader/document.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class HwXmlDocument;
class HwXmlChildElements;

namespace vellxml::text_p {
class TextStore;
} // namespace vellxml::text_p

/// What the tag handlers read of each element of one document, kept while the description checks run:
/// an attribute nobody asked for, or an element nobody looked at, is something the loader ignored. The
/// names asked for are the handlers' own, so they are also the suggestions for a misspelt one.
///
/// A load asks for a dozen attributes of each of millions of elements: the record is a table indexed by
/// the document's node index and one array of names, each element holding a run of it, so that recording
/// costs no allocation per element.
class HwXmlReadRecord {
public:
    struct Entry {
        /// The run of names asked for (as the handlers spell them), present or not.
        std::uint32_t first = 0;
        std::uint32_t count = 0;
        bool read = false;
        /// Read as free markup (comment, cjoker): what is inside is text, not tags.
        bool markup = false;
    };

    /// Room for the nodes of a document of `nodes` nodes without growing.
    void reserve(std::size_t nodes);
    /// A handler asked for attribute `name` of node `node` (null `name`: it walked the node's children).
    void noteRead(std::int32_t node, const char* name);
    void noteMarkup(std::int32_t node) { entryOf(node).markup = true; }
    /// Null when no handler looked at the node.
    const Entry* find(std::int32_t node) const;
    /// Whether the handler of `entry` asked for `name`, and the names it asked for.
    bool asked(const Entry& entry, const char* name) const;
    std::vector<const char*> askedNames(const Entry& entry) const;

private:
    Entry& entryOf(std::int32_t node);

    std::vector<Entry> m_entries;
    std::vector<const char*> m_names;
};

/// One node of a parsed archive: an element, or the text of a run of character data or a CDATA section.
/// Nodes live in their document's table and refer to each other by index (-1 for none).
struct HwXmlNode {
    enum Kind : std::uint8_t { Element, Text, CData };

    /// An element's tag name, or the text; NUL-terminated, held by the document.
    const char* name = nullptr;
    std::uint32_t length = 0;
    Kind kind = Element;
    std::int32_t firstChild = -1;
    std::int32_t nextSibling = -1;
    std::int32_t firstAttribute = 0;
    std::int32_t attributeCount = 0;
    /// 1-based line and column (in characters) of an element's "<" when they were taken while parsing;
    /// otherwise (line 0) the byte offset of the "<" in the text, turned into a position when asked for.
    std::int32_t line = 0;
    std::int32_t column = 0;
    std::int64_t offset = 0;
};

/// One attribute, name and value NUL-terminated and held by the document.
struct HwXmlAttribute {
    const char* name;
    const char* value;
    std::uint32_t valueLength;
};

/// A read-only view of one element of a parsed archive: what the tag handlers look at. Cheap to copy;
/// valid while its document lives.
class HwXmlElementView {
public:
    HwXmlElementView(const HwXmlDocument* document, std::int32_t index)
        : m_document(document)
        , m_index(index)
    {
    }

    /// The tag name as written.
    QString tagName() const;
    /// The tag name in lower case: tags are compared this way.
    QString lowerTagName() const;
    /// lowerTagName() == lowerName, without making the QString when the name is ASCII (nearly always).
    bool hasTag(QLatin1String lowerName) const;
    /// The lower-case tag name as a value that compares with literals through hasTag().
    class LowerTag lowerTag() const;
    /// The attribute's value; `fallback` when the attribute is absent (an empty value is kept). A "name"
    /// is kept in the document's text store when it has one: names are what the model keeps.
    QString attribute(const char* name, const QString& fallback = QString()) const;
    /// The attribute's value as the document holds it (UTF-8), without making a QString; empty with a
    /// null data() when the attribute is absent. For values that are compared with literals.
    std::string_view attributeUtf8(const char* name) const;
    /// A value attributeUtf8() gave, as the QString attribute() gives.
    QString valueText(std::string_view value) const;
    /// The child elements in document order, walked as they are read (no list is made).
    HwXmlChildElements childElements() const;
    /// The text of every text and CDATA node below the element, in document order.
    QString text() const;
    /// The element and its content written back as markup, attributes and text escaped.
    QString serialize() const;
    /// 1-based line and column of the start tag's "<".
    int line() const;
    int column() const;
    const HwXmlDocument* document() const { return m_document; }
    std::int32_t index() const { return m_index; }
    /// The names of the element's attributes, in document order, into `names` (cleared first).
    void attributeNames(std::vector<const char*>& names) const;
    /// 1-based line and column of attribute `name` (of the start tag when it is not found in the text, as
    /// for a default the document type supplied).
    void attributePosition(const char* name, int& line, int& column) const;
    /// The same element seen through two views has the same identity.
    std::int32_t identity() const { return m_index; }
    /// Where reads of the element are recorded, null when nothing records them.
    HwXmlReadRecord* readRecord() const;
    /// The text as the model is to keep it: a copy in the document's text store when it has one.
    QString kept(const QString& text) const;

private:
    const HwXmlDocument* m_document;
    std::int32_t m_index;
};

/// A tag name in lower case, compared with lower-case literals (see HwXmlElementView::hasTag).
class LowerTag {
public:
    explicit LowerTag(const HwXmlElementView& element)
        : m_element(element)
    {
    }
    bool operator==(QLatin1String lowerName) const { return m_element.hasTag(lowerName); }
    bool operator!=(QLatin1String lowerName) const { return !m_element.hasTag(lowerName); }
    QString toString() const { return m_element.lowerTagName(); }

private:
    HwXmlElementView m_element;
};

inline LowerTag HwXmlElementView::lowerTag() const
{
    return LowerTag(*this);
}

/// A parsed archive: the element tree of a well-formed XML document.
///
/// The text is parsed by expat, a conforming XML processor: a document that is not well-formed is refused
/// with expat's message at the line and column where it found the fault. A document type declaration is
/// read for its internal subset only: internal entities are expanded (within expat's amplification limits)
/// and declared attribute defaults applied; external DTDs and external entities are never read, a
/// reference to an external entity standing for nothing. Comments and processing instructions are
/// dropped, and so is text made of white space alone. The encodings are those expat knows: UTF-8, UTF-16,
/// ISO-8859-1 and US-ASCII.
///
/// Before expat, a fast reader of its own (xml_fast_reader.cpp) tries the common case: UTF-8 text (with
/// or without a byte-order mark), an optional XML declaration `<?xml version="1.0"` with at most an
/// encoding of UTF-8 (in any case) and a standalone declaration, then comments, elements with attributes
/// of ASCII names, text, CDATA sections and references to the five predefined entities or to characters.
/// It checks every well-formedness rule that such a text is bound by and gives the builder the same
/// events, so the tables it builds are expat's. Anything else it declines - a document type declaration,
/// a processing instruction, another entity reference, another encoding or declaration, a byte that is not
/// a plain name character inside markup, any fault at all, an element past the depth limit - and the text
/// is then parsed by expat from the start: every document that is refused is refused by expat, with its
/// message and position.
class HwXmlDocument {
public:
    HwXmlDocument();
    ~HwXmlDocument();
    HwXmlDocument(const HwXmlDocument&) = delete;
    HwXmlDocument& operator=(const HwXmlDocument&) = delete;

    /// Parses the bytes of a file. On failure gives the 1-based position (0 when not known) and the
    /// reason.
    bool parse(const QByteArray& bytes, const HwLoadLimits& limits, int& line, int& column, QString& error);
    /// The two readers behind parse(), apart (for tests). parseFast() is the fast reader alone: false when
    /// it declines the text, the document then holding nothing. parseWithExpat() is parse() without it.
    bool parseFast(const QByteArray& bytes, const HwLoadLimits& limits);
    bool parseWithExpat(
        const QByteArray& bytes, const HwLoadLimits& limits, int& line, int& column, QString& error);
    /// The first difference between the tables of two parsed documents (node kinds, texts and their
    /// lengths, links, attributes in order, positions), said in words; empty when there is none. For
    /// comparing the two readers.
    std::string differenceFrom(const HwXmlDocument& other) const;
    HwXmlElementView documentElement() const { return HwXmlElementView(this, m_documentElement); }

    const HwXmlNode& node(std::int32_t index) const { return m_nodes[static_cast<std::size_t>(index)]; }
    /// 1-based line and column (in characters) of an element's "<".
    void position(const HwXmlNode& node, int& line, int& column) const;
    /// 1-based line and column (in characters) of attribute `name` of an element; false when the text
    /// does not show where it is.
    bool attributePosition(const HwXmlNode& node, const char* name, int& line, int& column) const;
    std::size_t nodeCount() const { return m_nodes.size(); }
    /// True when every element name is known to be ASCII (the fast reader read the text).
    bool asciiNames() const { return m_asciiNames; }

    /// Records what the views of this document read, until set back to null.
    void setReadRecord(HwXmlReadRecord* record) { m_readRecord = record; }
    HwXmlReadRecord* readRecord() const { return m_readRecord; }
    /// Where the texts that the model keeps are copied (names and comments), until set back to null.
    void setTextStore(vellxml::text_p::TextStore* store) { m_textStore = store; }
    vellxml::text_p::TextStore* textStore() const { return m_textStore; }
    const HwXmlAttribute& attribute(std::int32_t index) const
    {
        return m_attributes[static_cast<std::size_t>(index)];
    }

private:
    friend struct HwXmlBuilder;
    friend struct HwXmlExpatEvents;
    /// Empties the document for a parse of `bytes`.
    void reset(const QByteArray& bytes);
    /// Drops the nodes, attributes and stored texts (a parse that failed or was declined leaves none).
    void clearTables();
    /// A NUL-terminated copy of the text, held until the document goes.
    const char* store(const char* text, std::size_t length)
    {
        if (length + 1 > m_freeLength)
            newBlock(length);
        char* const copy = m_free;
        if (length > 0)
            std::memcpy(copy, text, length);
        copy[length] = '\0';
        m_free += length + 1;
        m_freeLength -= length + 1;
        return copy;
    }
    /// Room for a text of `length` bytes and more.
    void newBlock(std::size_t length);
    /// 1-based line and column of a byte offset of a UTF-8 text.
    void positionOfOffset(std::int64_t offset, int& line, int& column) const;

    HwXmlReadRecord* m_readRecord = nullptr;
    vellxml::text_p::TextStore* m_textStore = nullptr;

    friend class HwXmlElementView;
    /// Short texts that the views already converted (tag names in lower case, attribute values): a
    /// document is read by one thread at a time, its views reuse them. Made on first use.
    struct TextCaches;
    TextCaches& textCaches() const;
    mutable std::unique_ptr<TextCaches> m_textCaches;

    // The parsed text, kept (shared, not copied) for the positions of UTF-8 documents; elements of other
    // encodings have theirs taken while parsing.
    QByteArray m_text;
    bool m_utf8 = false;
    bool m_asciiNames = false;
    mutable std::vector<std::int64_t> m_lineStarts;
    std::vector<HwXmlNode> m_nodes;
    std::vector<HwXmlAttribute> m_attributes;
    std::vector<std::unique_ptr<char[]>> m_blocks;
    char* m_free = nullptr;
    std::size_t m_freeLength = 0;
    std::int32_t m_documentElement = -1;
};

/// The element children of one element, for a range-based for loop.
class HwXmlChildElements {
public:
    class iterator {
    public:
        iterator(const HwXmlDocument* document, std::int32_t index)
            : m_document(document)
            , m_index(index)
        {
            skipOtherNodes();
        }
        HwXmlElementView operator*() const { return HwXmlElementView(m_document, m_index); }
        iterator& operator++()
        {
            m_index = m_document->node(m_index).nextSibling;
            skipOtherNodes();
            return *this;
        }
        bool operator!=(const iterator& other) const { return m_index != other.m_index; }

    private:
        void skipOtherNodes()
        {
            while (m_index >= 0 && m_document->node(m_index).kind != HwXmlNode::Element)
                m_index = m_document->node(m_index).nextSibling;
        }

        const HwXmlDocument* m_document;
        std::int32_t m_index;
    };

    HwXmlChildElements(const HwXmlDocument* document, std::int32_t parent)
        : m_document(document)
        , m_parent(parent)
    {
    }
    iterator begin() const { return iterator(m_document, m_document->node(m_parent).firstChild); }
    iterator end() const { return iterator(m_document, -1); }

private:
    const HwXmlDocument* m_document;
    std::int32_t m_parent;
};

inline HwXmlReadRecord* HwXmlElementView::readRecord() const
{
    return m_document->readRecord();
}

namespace vellxml::loader_p {

/// How reading an archive file ended: the codes of loadXMLDocument.
enum ReadResult : int { READ_OK = 0, READ_NOT_OPENED = 1, READ_INVALID = 3 };

/// Reads the bytes of a plain archive, or the plain text of an encrypted one, bounded by the size limit.
/// The encoding is left to the parser. READ_NOT_OPENED leaves `error` empty; READ_INVALID sets it. With
/// `room`, the file is read into the memory it gives (FileSource::readInto): a plain archive's `bytes`
/// then refer to that memory.
int readArchiveFile(const QString& path, const HwLoadLimits& limits, QByteArray& bytes, QString& error,
    const std::function<char*(std::int64_t)>* room = nullptr);

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
