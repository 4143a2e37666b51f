// The fast reader of plain UTF-8 descriptions, in front of expat (see HwXmlDocument). It reads a strict
// subset of XML 1.0 and declines everything else; what it accepts, it checks for every well-formedness rule
// that applies, and it gives the builder the events expat would give. Declining costs the time read so far:
// expat then parses the text from the start.
//
// What it takes:
//   document  ::= BOM? XmlDecl? Misc* element Misc*
//   XmlDecl   ::= '<?xml' S 'version' Eq ('"1.0"' | "'1.0'") (S 'encoding' Eq UTF-8 in any case, quoted)?
//                 (S 'standalone' Eq ('yes' | 'no'), quoted)? S? '?>'
//   Misc      ::= Comment | S
//   element   ::= '<' Name (S Attribute)* S? ('/>' | '>' content '</' Name S? '>')
//   content   ::= (CharData | Reference | element | CDSect | Comment)*
//   Name      ::= [A-Za-z_:] [A-Za-z0-9_:.-]*   (ASCII only)
//   Reference ::= '&lt;' | '&gt;' | '&amp;' | '&apos;' | '&quot;' | '&#' [0-9]+ ';' | '&#x' [0-9a-fA-F]+ ';'
// Text, attribute values, comments and CDATA sections hold valid UTF-8 of legal characters. Declined: a
// document type declaration, any processing instruction, other entity references, other encodings, an
// element with more than maxAttributes attributes, an element past the depth limit, and every fault.

#include "xml_builder_p.h"
#include "xml_element_p.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// Classes of the bytes, one bit each. The "stop" classes are where a scan of that kind of text must look
// closer: markup, references, line ends to normalise, bytes that are not plain ASCII characters.
enum : std::uint8_t {
    NameStart = 1 << 0,
    NameChar = 1 << 1,
    Blank = 1 << 2,
    TextStop = 1 << 3,
    CommentStop = 1 << 4,
    CDataStop = 1 << 5,
    QuotStop = 1 << 6,
    AposStop = 1 << 7,
};

struct ByteClasses {
    std::uint8_t of[256];
};

constexpr ByteClasses makeByteClasses()
{
    ByteClasses classes {};
    for (int c = 0; c < 256; ++c) {
        std::uint8_t bits = 0;
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (letter || c == '_' || c == ':')
            bits |= NameStart | NameChar;
        if ((c >= '0' && c <= '9') || c == '.' || c == '-')
            bits |= NameChar;
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            bits |= Blank;
        // Bytes that are no character alone: C0 controls other than tab, line feed and carriage return,
        // and every byte of a multi-byte UTF-8 sequence.
        const bool odd = (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c >= 0x80;
        if (odd || c == '<' || c == '&' || c == '\r' || c == ']')
            bits |= TextStop;
        if (odd || c == '-')
            bits |= CommentStop;
        if (odd || c == '\r' || c == ']')
            bits |= CDataStop;
        if (odd || c < 0x20 || c == '<' || c == '&') {
            bits |= QuotStop | AposStop;
        }
        if (c == '"')
            bits |= QuotStop;
        if (c == '\'')
            bits |= AposStop;
        classes.of[c] = bits;
    }
    return classes;
}

constexpr ByteClasses byteClasses = makeByteClasses();

inline std::uint8_t classOf(char c)
{
    return byteClasses.of[static_cast<unsigned char>(c)];
}

// An element with more attributes than this is left to expat: the reader finds duplicates by comparing
// each name with those before it.
constexpr std::size_t maxAttributes = 64;

#if defined(__SSE2__)
// The bytes of a block of 16 that stop a scan of the given class, as one bit each.
template<std::uint8_t Stop>
inline unsigned stopMask(__m128i v)
{
    const auto is = [v](char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
    // Signed: the bytes below 0x20 and those from 0x80.
    const __m128i low = _mm_cmplt_epi8(v, _mm_set1_epi8(0x20));
    __m128i stop;
    if constexpr (Stop == TextStop) {
        stop = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(is('\t'), is('\n')), low),
            _mm_or_si128(_mm_or_si128(is('<'), is('&')), is(']')));
    } else if constexpr (Stop == CommentStop) {
        stop = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(_mm_or_si128(is('\t'), is('\n')), is('\r')), low),
            is('-'));
    } else if constexpr (Stop == CDataStop) {
        stop = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(is('\t'), is('\n')), low), is(']'));
    } else if constexpr (Stop == QuotStop) {
        stop = _mm_or_si128(low, _mm_or_si128(_mm_or_si128(is('<'), is('&')), is('"')));
    } else {
        static_assert(Stop == AposStop);
        stop = _mm_or_si128(low, _mm_or_si128(_mm_or_si128(is('<'), is('&')), is('\'')));
    }
    return static_cast<unsigned>(_mm_movemask_epi8(stop));
}
#endif

// The first byte from `p` of class `Stop`, or `end`.
template<std::uint8_t Stop>
inline const char* scan(const char* p, const char* end)
{
#if defined(__SSE2__)
    while (end - p >= 16) {
        const unsigned mask = stopMask<Stop>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
        if (mask != 0)
            return p + __builtin_ctz(mask);
        p += 16;
    }
#endif
    while (p < end && (classOf(*p) & Stop) == 0)
        ++p;
    return p;
}

// The first byte from `p` that is not a space, tab or line feed, or `end`.
inline const char* skipLayout(const char* p, const char* end)
{
#if defined(__SSE2__)
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i layout = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')),
                                                _mm_cmpeq_epi8(v, _mm_set1_epi8('\n'))),
            _mm_cmpeq_epi8(v, _mm_set1_epi8('\t')));
        const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(layout));
        if (mask != 0xFFFF)
            return p + __builtin_ctz(~mask);
        p += 16;
    }
#endif
    while (p < end && (*p == ' ' || *p == '\n' || *p == '\t'))
        ++p;
    return p;
}

// The length of the UTF-8 sequence at `p` (its first byte from 0x80) when it is one legal character
// (XML 1.0 Char: no surrogate, no U+FFFE or U+FFFF, nothing past U+10FFFF, no overlong form); else 0.
inline std::size_t utf8Character(const char* text, const char* end)
{
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    const std::ptrdiff_t left = end - text;
    const auto follows = [](unsigned char c) { return (c & 0xC0) == 0x80; };
    const unsigned lead = p[0];
    if (lead < 0xC2)
        return 0;
    if (lead < 0xE0)
        return left >= 2 && follows(p[1]) ? 2 : 0;
    if (lead < 0xF0) {
        if (left < 3 || !follows(p[1]) || !follows(p[2]))
            return 0;
        if ((lead == 0xE0 && p[1] < 0xA0) || (lead == 0xED && p[1] >= 0xA0)
            || (lead == 0xEF && p[1] == 0xBF && p[2] >= 0xBE))
            return 0;
        return 3;
    }
    if (lead < 0xF5) {
        if (left < 4 || !follows(p[1]) || !follows(p[2]) || !follows(p[3]))
            return 0;
        if ((lead == 0xF0 && p[1] < 0x90) || (lead == 0xF4 && p[1] >= 0x90))
            return 0;
        return 4;
    }
    return 0;
}

bool isLegalCharacter(std::uint32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD)
        || (c >= 0x10000 && c <= 0x10FFFF);
}

void appendUtf8(std::string& out, std::uint32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

class FastReader {
public:
    FastReader(const QByteArray& text, HwXmlBuilder& builder)
        : m_begin(text.constData())
        , m_p(text.constData())
        , m_end(text.constData() + text.size())
        , m_builder(builder)
    {
    }

    // Reads the whole text into the builder; false when it declines.
    bool read()
    {
        if (left() >= 3 && std::memcmp(m_p, "\xEF\xBB\xBF", 3) == 0)
            m_p += 3;
        if (left() >= 5 && std::memcmp(m_p, "<?xml", 5) == 0 && !declaration())
            return false;
        // Comments and white space, then the document element.
        for (;;) {
            skipBlanks();
            if (left() < 2 || m_p[0] != '<')
                return false;
            if (m_p[1] != '!')
                break;
            if (!comment())
                return false;
        }
        if ((classOf(m_p[1]) & NameStart) == 0 || !elements())
            return false;
        for (;;) {
            skipBlanks();
            if (m_p == m_end)
                return true;
            if (!comment())
                return false;
        }
    }

private:
    struct Name {
        const char* text;
        std::size_t length;
    };

    std::ptrdiff_t left() const { return m_end - m_p; }

    bool startsWith(const char* literal, std::size_t length) const
    {
        return left() >= static_cast<std::ptrdiff_t>(length) && std::memcmp(m_p, literal, length) == 0;
    }

    // Moves past a literal when it comes next.
    template<std::size_t N>
    bool take(const char (&literal)[N])
    {
        if (!startsWith(literal, N - 1))
            return false;
        m_p += N - 1;
        return true;
    }

    // Moves past white space; whether there was any.
    bool skipBlanks()
    {
        const char* const from = m_p;
        while (m_p < m_end && (classOf(*m_p) & Blank) != 0)
            ++m_p;
        return m_p != from;
    }

    void skipName()
    {
        while (m_p < m_end && (classOf(*m_p) & NameChar) != 0)
            ++m_p;
    }

    // S? '=' S?
    bool equals()
    {
        skipBlanks();
        if (m_p == m_end || *m_p != '=')
            return false;
        ++m_p;
        skipBlanks();
        return true;
    }

    // A quoted value of the XML declaration, compared in ASCII case or exactly; moves past it.
    bool quoted(const char* expected, bool anyCase)
    {
        if (m_p == m_end || (*m_p != '"' && *m_p != '\''))
            return false;
        const char quote = *m_p;
        const std::size_t length = std::strlen(expected);
        if (left() < static_cast<std::ptrdiff_t>(length) + 2 || m_p[length + 1] != quote)
            return false;
        for (std::size_t i = 0; i < length; ++i) {
            char c = m_p[1 + i];
            if (anyCase && c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
            if (c != expected[i])
                return false;
        }
        m_p += length + 2;
        return true;
    }

    // At "<?xml": the declaration in its plain form only.
    bool declaration()
    {
        m_p += 5;
        if (!skipBlanks() || !take("version") || !equals() || !quoted("1.0", false))
            return false;
        bool blank = skipBlanks();
        if (blank && take("encoding")) {
            if (!equals() || !quoted("utf-8", true))
                return false;
            blank = skipBlanks();
        }
        if (blank && take("standalone")) {
            if (!equals() || !(quoted("yes", false) || quoted("no", false)))
                return false;
            skipBlanks();
        }
        return take("?>");
    }

    // At "<!": a comment, its text dropped.
    bool comment()
    {
        if (!take("<!--"))
            return false;
        for (;;) {
            m_p = scan<CommentStop>(m_p, m_end);
            if (m_p == m_end)
                return false;
            if (*m_p == '-') {
                if (left() >= 2 && m_p[1] == '-') {
                    // "--" ends the comment, and only as "-->".
                    if (left() < 3 || m_p[2] != '>')
                        return false;
                    m_p += 3;
                    return true;
                }
                ++m_p;
            } else if (const std::size_t length = utf8Character(m_p, m_end)) {
                m_p += length;
            } else {
                return false;
            }
        }
    }

    // At '&': the character a reference stands for, appended to `out`.
    bool reference(std::string& out)
    {
        const char* p = m_p + 1;
        if (p < m_end && *p == '#') {
            ++p;
            const bool hexadecimal = p < m_end && *p == 'x';
            if (hexadecimal)
                ++p;
            const char* const digits = p;
            std::uint32_t value = 0;
            for (; p < m_end; ++p) {
                const char c = *p;
                std::uint32_t digit = 0;
                if (c >= '0' && c <= '9')
                    digit = static_cast<std::uint32_t>(c - '0');
                else if (hexadecimal && c >= 'a' && c <= 'f')
                    digit = static_cast<std::uint32_t>(c - 'a' + 10);
                else if (hexadecimal && c >= 'A' && c <= 'F')
                    digit = static_cast<std::uint32_t>(c - 'A' + 10);
                else
                    break;
                value = value * (hexadecimal ? 16 : 10) + digit;
                if (value > 0x10FFFF)
                    return false;
            }
            if (p == digits || p == m_end || *p != ';' || !isLegalCharacter(value))
                return false;
            appendUtf8(out, value);
            m_p = p + 1;
            return true;
        }
        struct Predefined {
            const char* name;
            std::size_t length;
            char character;
        };
        static constexpr Predefined predefined[] = {
            {"&lt;", 4, '<'}, {"&gt;", 4, '>'}, {"&amp;", 5, '&'}, {"&apos;", 6, '\''}, {"&quot;", 6, '"'}};
        for (const Predefined& entity : predefined) {
            if (startsWith(entity.name, entity.length)) {
                out += entity.character;
                m_p += entity.length;
                return true;
            }
        }
        return false;
    }

    // Starts the decoded copy of a text that needs one: what was read of it so far, unchanged.
    void decodeFrom(const char* copied, bool& decoded)
    {
        if (!decoded) {
            m_decoded.clear();
            decoded = true;
        }
        m_decoded.append(copied, static_cast<std::size_t>(m_p - copied));
    }

    // At a carriage return: a line feed for it, and for a line feed after it, in the decoded copy.
    void lineEnd(const char*& copied, bool& decoded)
    {
        decodeFrom(copied, decoded);
        m_decoded += '\n';
        ++m_p;
        if (m_p < m_end && *m_p == '\n')
            ++m_p;
        copied = m_p;
    }

    // Gives the builder the run of character data from `start` to here, none of it layout alone: the
    // decoded copy when there is one, else the text itself.
    void giveRun(const char* start, const char* copied, bool decoded)
    {
        if (decoded) {
            m_decoded.append(copied, static_cast<std::size_t>(m_p - copied));
            m_builder.characters(m_decoded.data(), m_decoded.size());
        } else if (m_p != start) {
            m_builder.textCharacters(start, static_cast<std::size_t>(m_p - start), false);
        }
    }

    // Character data up to the next '<', given to the builder. Line ends become line feeds and
    // references their characters; "]]>" is not allowed.
    bool text()
    {
        const char* const start = m_p;
        // Most runs between tags are a line end and indentation: the builder then need not look at them.
        m_p = skipLayout(m_p, m_end);
        if (m_p < m_end && *m_p == '<') {
            if (m_p != start)
                m_builder.textCharacters(start, static_cast<std::size_t>(m_p - start), true);
            return true;
        }
        const char* copied = start;
        bool decoded = false;
        for (;;) {
            m_p = scan<TextStop>(m_p, m_end);
            if (m_p == m_end)
                return false;
            const char c = *m_p;
            if (c == '<')
                break;
            if (c == ']') {
                if (left() >= 3 && m_p[1] == ']' && m_p[2] == '>')
                    return false;
                ++m_p;
            } else if (c == '\r') {
                lineEnd(copied, decoded);
            } else if (c == '&') {
                decodeFrom(copied, decoded);
                if (!reference(m_decoded))
                    return false;
                copied = m_p;
            } else if (const std::size_t length = utf8Character(m_p, m_end)) {
                m_p += length;
            } else {
                return false;
            }
        }
        // Not layout alone: the character that stopped skipLayout() is not.
        giveRun(start, copied, decoded);
        return true;
    }

    // At "<![CDATA[": the section, its line ends normalised.
    bool cdata()
    {
        m_p += 9;
        m_builder.startCData();
        const char* const start = m_p;
        const char* copied = start;
        bool decoded = false;
        for (;;) {
            m_p = scan<CDataStop>(m_p, m_end);
            if (m_p == m_end)
                return false;
            const char c = *m_p;
            if (c == ']') {
                if (left() >= 3 && m_p[1] == ']' && m_p[2] == '>')
                    break;
                ++m_p;
            } else if (c == '\r') {
                lineEnd(copied, decoded);
            } else if (const std::size_t length = utf8Character(m_p, m_end)) {
                m_p += length;
            } else {
                return false;
            }
        }
        giveRun(start, copied, decoded);
        m_p += 3;
        m_builder.endCData();
        return true;
    }

    // At a quote: an attribute value, normalised as for an attribute of type CDATA (a tab, line feed,
    // carriage return or carriage return and line feed is one space; a character from a reference is
    // kept). Gives the value and moves past its closing quote.
    template<std::uint8_t Stop>
    bool attributeValue(const char*& value, std::size_t& length)
    {
        const char quote = *m_p++;
        const char* const start = m_p;
        const char* copied = start;
        bool decoded = false;
        for (;;) {
            m_p = scan<Stop>(m_p, m_end);
            if (m_p == m_end)
                return false;
            const char c = *m_p;
            if (c == quote)
                break;
            if (c == '\t' || c == '\n' || c == '\r') {
                decodeFrom(copied, decoded);
                m_decoded += ' ';
                ++m_p;
                if (c == '\r' && m_p < m_end && *m_p == '\n')
                    ++m_p;
                copied = m_p;
            } else if (c == '&') {
                decodeFrom(copied, decoded);
                if (!reference(m_decoded))
                    return false;
                copied = m_p;
            } else if (static_cast<unsigned char>(c) < 0x80) {
                // '<', or a control character.
                return false;
            } else if (const std::size_t size = utf8Character(m_p, m_end)) {
                m_p += size;
            } else {
                return false;
            }
        }
        if (decoded) {
            m_decoded.append(copied, static_cast<std::size_t>(m_p - copied));
            value = m_decoded.data();
            length = m_decoded.size();
        } else {
            value = start;
            length = static_cast<std::size_t>(m_p - start);
        }
        ++m_p;
        return true;
    }

    // At '<' and a name's first character: a start tag, or an empty element.
    bool startTag()
    {
        const char* const open = m_p;
        const char* const name = ++m_p;
        ++m_p;
        skipName();
        const auto nameLength = static_cast<std::size_t>(m_p - name);
        if (m_builder.atDepthLimit())
            return false;
        HwXmlNode node;
        node.offset = open - m_begin;
        m_builder.startElement(node, name, nameLength);
        std::size_t attributes = 0;
        for (;;) {
            const bool blank = skipBlanks();
            if (m_p == m_end)
                return false;
            if (*m_p == '>') {
                ++m_p;
                return true;
            }
            if (*m_p == '/') {
                if (left() < 2 || m_p[1] != '>')
                    return false;
                m_p += 2;
                m_builder.endElement();
                return true;
            }
            // An attribute, after white space.
            if (!blank || (classOf(*m_p) & NameStart) == 0)
                return false;
            const char* const attribute = m_p++;
            skipName();
            const auto attributeLength = static_cast<std::size_t>(m_p - attribute);
            if (!equals() || m_p == m_end)
                return false;
            for (std::size_t i = 0; i < attributes; ++i) {
                const Name& before = m_attributeNames[i];
                if (before.length == attributeLength && std::memcmp(before.text, attribute, attributeLength) == 0)
                    return false;
            }
            if (attributes == maxAttributes)
                return false;
            m_attributeNames[attributes++] = {attribute, attributeLength};
            const char* value = nullptr;
            std::size_t valueLength = 0;
            if (*m_p == '"') {
                if (!attributeValue<QuotStop>(value, valueLength))
                    return false;
            } else if (*m_p == '\'') {
                if (!attributeValue<AposStop>(value, valueLength))
                    return false;
            } else {
                return false;
            }
            m_builder.attribute(attribute, attributeLength, value, valueLength);
        }
    }

    // At "</": the end tag of the innermost open element.
    bool endTag()
    {
        m_p += 2;
        const HwXmlNode& open = m_builder.innermost();
        if (!startsWith(open.name, open.length))
            return false;
        // A longer name has a name character next, which is neither white space nor '>'.
        m_p += open.length;
        skipBlanks();
        if (m_p == m_end || *m_p != '>')
            return false;
        ++m_p;
        m_builder.endElement();
        return true;
    }

    // At the '<' of the document element: it and everything in it.
    bool elements()
    {
        for (;;) {
            // At a '<'.
            if (left() < 2)
                return false;
            const char next = m_p[1];
            bool read = false;
            if (next == '/')
                read = endTag();
            else if (next == '!')
                read = left() >= 4 && m_p[2] == '-' ? comment()
                                                    : startsWith("<![CDATA[", 9) && cdata();
            else if ((classOf(next) & NameStart) != 0)
                read = startTag();
            if (!read)
                return false;
            if (m_builder.open.empty())
                return true;
            if (!text())
                return false;
        }
    }

    const char* const m_begin;
    const char* m_p;
    const char* const m_end;
    HwXmlBuilder& m_builder;
    // The names of the attributes of the current start tag, in the text.
    Name m_attributeNames[maxAttributes];
    // A text or value that references or line ends changed.
    std::string m_decoded;
};

} // namespace

bool HwXmlDocument::parseFast(const QByteArray& bytes, const HwLoadLimits& limits)
{
    reset(bytes);
    // A text whose encoding the first bytes do not show to be UTF-8 keeps its positions as lines and
    // columns: expat's.
    if (m_utf8) {
        HwXmlBuilder builder(*this, std::max(limits.maxElementDepth, 0));
        FastReader reader(bytes, builder);
        if (reader.read()) {
            m_asciiNames = true; // the reader takes no other names
            return true;
        }
    }
    clearTables();
    return false;
}
