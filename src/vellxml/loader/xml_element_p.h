#ifndef VELLXML_LOADER_XML_ELEMENT_P_H
#define VELLXML_LOADER_XML_ELEMENT_P_H

#include <vellxml/loader/document.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class HwXmlDocument;
class HwXmlChildElements;

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
    const HwXmlDocument* document() const { return m_document; }
    std::int32_t index() const { return m_index; }

private:
    const HwXmlDocument* m_document;
    std::int32_t m_index;
};

/// A parsed archive: the element tree of a well-formed XML document.
///
/// The text is parsed by expat, a conforming XML processor: a document that is not well-formed is refused
/// with expat's message at the line and column where it found the fault. A document type declaration is
/// read for its internal subset only: internal entities are expanded (within expat's amplification limits)
/// and declared attribute defaults applied; external DTDs and external entities are never read, a
/// reference to an external entity standing for nothing. Comments and processing instructions are
/// dropped, and so is text made of white space alone. The encodings are those expat knows: UTF-8, UTF-16,
/// ISO-8859-1 and US-ASCII.
class HwXmlDocument {
public:
    HwXmlDocument();
    ~HwXmlDocument();
    HwXmlDocument(const HwXmlDocument&) = delete;
    HwXmlDocument& operator=(const HwXmlDocument&) = delete;

    /// Parses the bytes of a file. On failure gives the 1-based position (0 when not known) and the
    /// reason.
    bool parse(const QByteArray& bytes, const HwLoadLimits& limits, int& line, int& column, QString& error);
    HwXmlElementView documentElement() const { return HwXmlElementView(this, m_documentElement); }

    const HwXmlNode& node(std::int32_t index) const { return m_nodes[static_cast<std::size_t>(index)]; }
    /// 1-based line and column (in characters) of an element's "<".
    void position(const HwXmlNode& node, int& line, int& column) const;
    const HwXmlAttribute& attribute(std::int32_t index) const
    {
        return m_attributes[static_cast<std::size_t>(index)];
    }

private:
    friend struct HwXmlBuilder;
    /// A NUL-terminated copy of the text, held until the document goes.
    const char* store(const char* text, std::size_t length);

    // The parsed text, kept (shared, not copied) for the positions of UTF-8 documents; elements of other
    // encodings have theirs taken while parsing.
    QByteArray m_text;
    bool m_utf8 = false;
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

namespace vellxml::loader_p {

/// How reading an archive file ended: the codes of loadXMLDocument.
enum ReadResult : int { READ_OK = 0, READ_NOT_OPENED = 1, READ_INVALID = 3 };

/// Reads the bytes of a plain archive, or the plain text of an encrypted one, bounded by the size limit.
/// The encoding is left to the parser. READ_NOT_OPENED leaves `error` empty; READ_INVALID sets it.
int readArchiveFile(const QString& path, const HwLoadLimits& limits, QByteArray& bytes, QString& error);

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
