#ifndef VELLXML_LOADER_XML_BUILDER_P_H
#define VELLXML_LOADER_XML_BUILDER_P_H

#include "xml_element_p.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Builds a document's node and attribute tables from the events of a reader: expat's callbacks, or the
/// fast reader of plain UTF-8 text (xml_fast_reader.cpp). Both give the same events for the same
/// document, so both give the same tables. Texts come with their lengths; the builder copies them into
/// the document.
///
/// Character data may come in pieces (expat splits it at line ends and references, a comment splits a
/// run): the pieces of one run are joined, and the run becomes a node at the next element or CDATA
/// boundary.
struct HwXmlBuilder {
    struct Open {
        std::int32_t index;
        std::int32_t lastChild;
    };

    HwXmlBuilder(HwXmlDocument& target, int depthLimit)
        : document(target)
        , maxDepth(depthLimit)
    {
    }

    HwXmlDocument& document;
    int maxDepth;
    std::vector<Open> open;
    // The run of character data so far: while it is one piece of the parsed text itself (which outlives
    // the parse), that piece; else a copy of its pieces, joined.
    const char* kept = nullptr;
    std::size_t keptLength = 0;
    bool keptLayout = false;
    std::string joined;
    HwXmlNode::Kind pendingKind = HwXmlNode::Text;

    /// Whether one more element would be nested deeper than the limit allows.
    bool atDepthLimit() const { return static_cast<int>(open.size()) >= maxDepth; }

    std::int32_t append(const HwXmlNode& node)
    {
        const auto index = static_cast<std::int32_t>(document.m_nodes.size());
        document.m_nodes.push_back(node);
        if (!open.empty()) {
            Open& parent = open.back();
            if (parent.lastChild < 0)
                document.m_nodes[static_cast<std::size_t>(parent.index)].firstChild = index;
            else
                document.m_nodes[static_cast<std::size_t>(parent.lastChild)].nextSibling = index;
            parent.lastChild = index;
        }
        return index;
    }

    // Text of white space alone between elements only lays the markup out; beside a CDATA section it is
    // part of the text. A carriage return is content: line ends reach us as line feeds, so it came from a
    // character reference.
    void flushText(bool besideCData = false)
    {
        const char* const text = keptLength != 0 ? kept : joined.data();
        const std::size_t length = keptLength != 0 ? keptLength : joined.size();
        if (length == 0)
            return;
        const bool layout = keptLength != 0 ? keptLayout : isLayout(text, length);
        keptLength = 0;
        if (pendingKind == HwXmlNode::Text && !besideCData && layout) {
            const std::int32_t last = open.empty() ? -1 : open.back().lastChild;
            if (last < 0 || document.m_nodes[static_cast<std::size_t>(last)].kind != HwXmlNode::CData) {
                joined.clear();
                return;
            }
        }
        HwXmlNode node;
        node.kind = pendingKind;
        node.name = document.store(text, length);
        node.length = static_cast<std::uint32_t>(length);
        append(node);
        joined.clear();
    }

    static bool isLayout(const char* text, std::size_t length)
    {
        for (std::size_t i = 0; i < length; ++i) {
            if (text[i] != ' ' && text[i] != '\n' && text[i] != '\t')
                return false;
        }
        return true;
    }

    /// An element named by `length` bytes at `name`, its position already in `node` (offset, or line and
    /// column); its attributes follow through attribute(). The caller checks the depth limit first.
    void startElement(HwXmlNode node, const char* name, std::size_t length)
    {
        flushText();
        node.kind = HwXmlNode::Element;
        node.name = document.store(name, length);
        node.length = static_cast<std::uint32_t>(length);
        node.firstAttribute = static_cast<std::int32_t>(document.m_attributes.size());
        node.attributeCount = 0;
        const std::int32_t index = append(node);
        if (open.empty())
            document.m_documentElement = index;
        open.push_back({index, -1});
    }

    /// One attribute of the element just started, in document order.
    void attribute(const char* name, std::size_t nameLength, const char* value, std::size_t valueLength)
    {
        document.m_attributes.push_back({document.store(name, nameLength), document.store(value, valueLength),
            static_cast<std::uint32_t>(valueLength)});
        ++document.m_nodes.back().attributeCount;
    }

    /// The innermost open element.
    const HwXmlNode& innermost() const { return document.m_nodes[static_cast<std::size_t>(open.back().index)]; }

    void endElement()
    {
        flushText();
        open.pop_back();
    }

    /// A piece of character data that may go once the call returns: copied.
    void characters(const char* text, std::size_t length)
    {
        if (keptLength != 0) {
            joined.assign(kept, keptLength);
            keptLength = 0;
        }
        joined.append(text, length);
    }

    /// A piece of character data in the parsed text itself, which stays until the parse ends: copied
    /// only when a run has more than one piece. `layout`: whether it is white space alone (space, tab and
    /// line feed), as the reader found while scanning it.
    void textCharacters(const char* text, std::size_t length, bool layout)
    {
        if (keptLength == 0 && joined.empty()) {
            kept = text;
            keptLength = length;
            keptLayout = layout;
        } else {
            characters(text, length);
        }
    }

    void startCData()
    {
        flushText(true);
        pendingKind = HwXmlNode::CData;
    }

    void endCData()
    {
        // An empty section is still a section.
        if (keptLength == 0 && joined.empty()) {
            HwXmlNode node;
            node.kind = HwXmlNode::CData;
            node.name = document.store("", 0);
            append(node);
        }
        flushText();
        pendingKind = HwXmlNode::Text;
    }
};

#endif
