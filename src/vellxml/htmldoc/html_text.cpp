// Text helpers of the HTML documentation: escaping, comments, anchors and register reset values.
#include "html_p.h"

#include <vellxml/loader/markup_p.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <QStringView>
#include <QVarLengthArray>

#include <algorithm>

namespace vellxml::htmldoc_p {

namespace {

bool isAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool isHexDigit(QChar c)
{
    return isAsciiDigit(c) || (c >= QLatin1Char('a') && c <= QLatin1Char('f'))
        || (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
}

bool isAnchorChar(QChar c)
{
    return isAsciiDigit(c) || (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
        || (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) || c == QLatin1Char('_');
}

/// Length of a character reference at `at` that is kept as it is, or 0.
int referenceLength(const QString& text, int at)
{
    const QStringView rest = QStringView(text).mid(at);
    for (const QLatin1String name : {QLatin1String("&amp;"), QLatin1String("&lt;"), QLatin1String("&gt;"),
             QLatin1String("&quot;"), QLatin1String("&apos;")}) {
        if (rest.startsWith(name))
            return static_cast<int>(name.size());
    }
    if (!rest.startsWith(QLatin1String("&#")))
        return 0;
    const bool hex = rest.size() > 2 && (rest[2] == QLatin1Char('x') || rest[2] == QLatin1Char('X'));
    int i = hex ? 3 : 2;
    const int first = i;
    while (i < rest.size() && i - first < 8 && (hex ? isHexDigit(rest[i]) : isAsciiDigit(rest[i])))
        ++i;
    if (i == first || i >= rest.size() || rest[i] != QLatin1Char(';'))
        return 0;
    return i + 1;
}

/// True for a reference to a carriage return (13), which comments carry from Windows line ends.
bool isCarriageReturn(QStringView reference)
{
    const bool hex = reference.size() > 2 && reference[2].toLower() == QLatin1Char('x');
    bool ok = false;
    const uint value =
        reference.mid(hex ? 3 : 2, reference.size() - (hex ? 4 : 3)).toUInt(&ok, hex ? 16 : 10);
    return reference.startsWith(QLatin1String("&#")) && ok && value == 13;
}

} // namespace

QString anchorName(const QString& name)
{
    if (name.isEmpty())
        return QStringLiteral("_");
    bool plain = true;
    for (const QChar c : name)
        plain = plain && isAnchorChar(c);
    if (plain)
        return name;
    QString out = name;
    for (QChar& c : out) {
        if (!isAnchorChar(c))
            c = QLatin1Char('_');
    }
    return out;
}

namespace {

/// True when the element is documented as a page of its own: it has no parent or hangs under an archive.
bool isPageRoot(const HwXMLElement* element)
{
    const HwXMLElement* parent = element->getParent();
    return !parent || parent->getType() == TYPE_ARCHIVE || parent->getType() == TYPE_ROOTARCHIVE;
}

} // namespace

QString escapeHtml(const QString& text)
{
    // Most names and values need nothing: hand back the shared text.
    bool plain = true;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        plain = plain && u != '&' && u != '<' && u != '>' && u != '"';
    }
    if (plain)
        return text;
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '&':
            out += QLatin1String("&amp;");
            break;
        case '<':
            out += QLatin1String("&lt;");
            break;
        case '>':
            out += QLatin1String("&gt;");
            break;
        case '"':
            out += QLatin1String("&quot;");
            break;
        default:
            out += c;
        }
    }
    return out;
}

QString commentToHtml(const QString& comment)
{
    bool plain = true;
    for (const QChar c : comment) {
        const char16_t u = c.unicode();
        plain = plain && u != '&' && u != '<' && u != '>' && u != '\n' && u != '\r';
    }
    if (plain)
        return comment;
    QString out;
    out.reserve(comment.size() + 16);
    const int size = static_cast<int>(comment.size());
    for (int i = 0; i < size; ++i) {
        const QChar c = comment[i];
        switch (c.unicode()) {
        case '<':
            if (const int length = vellxml::markup_p::lineBreakTagLength(comment, i)) {
                out += QLatin1String("<br>");
                i += length - 1;
            } else {
                out += QLatin1String("&lt;");
            }
            break;
        case '>':
            out += QLatin1String("&gt;");
            break;
        case '&':
            if (const int length = referenceLength(comment, i)) {
                const QStringView reference = QStringView(comment).mid(i, length);
                if (!isCarriageReturn(reference))
                    out += reference;
                i += length - 1;
            } else {
                out += QLatin1String("&amp;");
            }
            break;
        case '\n':
            out += QLatin1String("<br>");
            break;
        case '\r':
            break;
        default:
            out += c;
        }
    }
    return out;
}

QString jsString(const QString& text)
{
    bool plain = true;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        plain = plain && u >= 0x20 && u != '\\' && u != '"' && u != '<' && u != 0x2028 && u != 0x2029;
    }
    if (plain)
        return QLatin1Char('"') + text + QLatin1Char('"');
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == '\\' || u == '"') {
            out += QLatin1Char('\\');
            out += c;
        } else if (u < 0x20 || u == '<' || u == 0x2028 || u == 0x2029) {
            // "<" too, so that no "</script>" can appear in the text.
            out += QStringLiteral("\\u%1").arg(static_cast<uint>(u), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    out += QLatin1Char('"');
    return out;
}

QString hex8(std::uint32_t value)
{
    static const char digits[] = "0123456789ABCDEF";
    QString out(8, Qt::Uninitialized);
    for (int i = 7; i >= 0; --i, value >>= 4)
        out[i] = QLatin1Char(digits[value & 0xF]);
    return out;
}

QString anchorPath(const HwXMLElement* element)
{
    // The parts from the element up to (not including) its page root, joined from the top down.
    QVarLengthArray<const HwXMLElement*, 16> chain;
    for (const HwXMLElement* e = element; !isPageRoot(e); e = e->getParent())
        chain.append(e);
    const int depth = static_cast<int>(chain.size());
    QString path;
    for (int i = depth - 1; i >= 0; --i) {
        const HwXMLElement* e = chain[i];
        if (i != depth - 1)
            path += QLatin1Char('.');
        if (e->getArrayNumber() != -1)
            path += QString::number(e->getArrayNumber());
        else if (e->getParent()->isPointer() && !e->isBitfield())
            path += QLatin1Char('-');
        else
            path += anchorName(e->getName());
    }
    return path;
}

QString hrefNameOf(const HwXMLElement* element)
{
    const QString path = anchorPath(element);
    const QString address = hex8(element->getBaseAddress());
    return path.isEmpty() ? address : address + QLatin1Char('_') + path;
}

QString displayPath(const HwXMLElement* element)
{
    const QString path = element->getPath();
    if (path.isEmpty())
        return element->getName();
    const HwXMLElement* top = element;
    while (!isPageRoot(top))
        top = top->getParent();
    if (top == element)
        return element->getName();
    const QString prefix = top->getPath();
    if (path.startsWith(prefix) && path.size() > prefix.size()) {
        const int skip = static_cast<int>(prefix.size()) + (path[prefix.size()] == QLatin1Char('.') ? 1 : 0);
        return path.mid(skip);
    }
    return element->getName();
}

} // namespace vellxml::htmldoc_p
