// The HTML documentation of every element kind: the sections of an instance page (html_serialize), the
// comments (html_comment_serialize), the nodes of the tree menu (treenode_serialize) and the anchors
// (getHrefName).
//
// A page is one instance. Registers are sections holding their facts, comment and a table of their
// bitfields; docpool/page.js draws each register's bit picture and field decoder from that table when the
// register comes into view, so a page carries no per-bit markup. Menu nodes are JavaScript array literals:
// [kind, label, anchor, children] with the kinds "s" structure, "a" array, "r" register, "i" integer,
// "p" pointer, "m" memory and "x" external; a bitfield is its bare name (its anchor is the register's
// anchor, ".", the name) unless its name needs the long form ["f", label, anchor].
#include "html_p.h"

#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <QStringList>

#include <algorithm>

using namespace vellxml::htmldoc_p;

namespace {

/// The heading tag of a nesting level: h1 for the instance, down to h6.
QString headingTag(int level)
{
    return QStringLiteral("h%1").arg(std::clamp(level + 1, 1, 6));
}

/// The instance (page root) holding the element.
const HwXMLElement* pageRootOf(const HwXMLElement* element)
{
    const HwXMLElement* top = element;
    while (top->getParent() && top->getParent()->getType() != TYPE_ARCHIVE
        && top->getParent()->getType() != TYPE_ROOTARCHIVE)
        top = top->getParent();
    return top;
}

QString hexNumber(std::uint32_t value)
{
    return QLatin1String("0x") + QString::number(value, 16).toUpper();
}

/// "+0x1C": the element's offset in its instance.
QString offsetText(const HwXMLElement* element)
{
    return QLatin1Char('+') + hexNumber(element->getBaseAddress() - pageRootOf(element)->getBaseAddress());
}

QString sizeText(std::uint32_t size)
{
    return QStringLiteral("%1 (%2 bytes)").arg(hexNumber(size)).arg(size);
}

/// A list of facts: `<dl class="facts">` of term and HTML value pairs.
class Facts {
public:
    Facts& add(const char* term, const QString& html)
    {
        m_html += QLatin1String("<dt>") + QLatin1String(term) + QLatin1String("</dt><dd>") + html
            + QLatin1String("</dd>");
        return *this;
    }
    QString html() const { return QLatin1String("<dl class=\"facts\">") + m_html + QLatin1String("</dl>\n"); }

private:
    QString m_html;
};

/// The opening of an element's section with its anchor and heading; level 0 is the page's title.
QString openSection(const HwXMLElement* element, const char* kind, int level, const QString& title)
{
    const QString anchor = escapeHtml(element->getHrefName());
    const QString tag = headingTag(level);
    QString out = QStringLiteral("<section class=\"%1\" id=\"%2\">").arg(QLatin1String(kind), anchor);
    out += QLatin1Char('<') + tag + QLatin1String("><a class=\"self\" href=\"#") + anchor
        + QLatin1String("\">") + escapeHtml(title) + QLatin1String("</a></") + tag + QLatin1String(">\n");
    return out;
}

QString titleOf(const HwXMLElement* element, int level)
{
    return level == 0 ? element->getName() : displayPath(element);
}

/// The comment as a paragraph, or nothing.
QString commentBlock(HwXMLElement* element, int level)
{
    const QString html = element->html_comment_serialize(level);
    return html.isEmpty() ? QString() : QLatin1String("<p class=\"cm\">") + html + QLatin1String("</p>\n");
}

QString addressRange(const HwXMLElement* element)
{
    const std::uint32_t size = element->sizeOf();
    QString out = element->getAddressString();
    if (size > 1)
        out += QStringLiteral(" \u2013 0x") + hex8(element->getBaseAddress() + size - 1);
    return out;
}

/// The facts of a page's own element: type, address range, size, category, alternative addresses.
Facts instanceFacts(const HwXMLElement* element)
{
    Facts facts;
    facts.add("Type", escapeHtml(element->getTypeString()));
    facts.add("Address", addressRange(element));
    facts.add("Size", sizeText(element->sizeOf()));
    if (!element->getCategory().isEmpty())
        facts.add("Category", escapeHtml(element->getCategory()));
    const QMap<QString, std::uint32_t> alternatives = element->getAltAddresses();
    for (auto it = alternatives.cbegin(); it != alternatives.cend(); ++it)
        facts.add("Also at", escapeHtml(it.key()) + QLatin1String(" 0x") + hex8(it.value()));
    return facts;
}

void appendBits(QString& out, const HwBitField* field)
{
    out += QString::number(field->getUpPos());
    if (field->getUpPos() != field->getDownPos()) {
        out += QLatin1Char(':');
        out += QString::number(field->getDownPos());
    }
}

/// A field's anchor: its register's, ".", the field's name. This is what getHrefName() gives (a field has
/// its register's base address), built without walking up again: a large chip has millions of fields.
QString fieldAnchor(const QString& registerAnchor, const HwBitField* field)
{
    return registerAnchor + QLatin1Char('.') + anchorName(field->getName());
}

void appendFieldRow(QString& out, const QString& registerAnchor, HwBitField* field, int level)
{
    out += QLatin1String("<tr id=\"");
    out += escapeHtml(fieldAnchor(registerAnchor, field));
    out += QLatin1String("\"><td>");
    appendBits(out, field);
    out += QLatin1String("</td><td>");
    out += escapeHtml(field->getName());
    out += QLatin1String("</td><td>");
    out += field->getAccessString();
    out += QLatin1String("</td><td>");
    out += escapeHtml(field->getResetString(DISPLAY_DEFAULT));
    out += QLatin1String("</td><td>");
    out += field->html_comment_serialize(level);
    const QList<HwBitFieldOption>& options = field->getOptions();
    if (!options.isEmpty()) {
        out += QLatin1String("<table class=\"opts\">");
        for (const HwBitFieldOption& option : options) {
            out += QLatin1String("<tr data-v=\"");
            out += QString::number(option.value);
            out += QLatin1String("\"><td>");
            out += escapeHtml(field->convertValueToValueString(option.value, DISPLAY_DEFAULT, false, false));
            out += QLatin1String("</td><td>");
            out += escapeHtml(option.name);
            out += QLatin1String("</td><td>");
            out += commentToHtml(option.description);
            out += QLatin1String("</td></tr>");
        }
        out += QLatin1String("</table>");
    }
    out += QLatin1String("</td></tr>\n");
}

QString bitGroupTable(const HwValuable* valuable)
{
    if (valuable->getBitGroups().empty())
        return QString();
    const int digits = static_cast<int>(std::min(valuable->getBitSize(), 32u) / 4);
    QString out = QStringLiteral("<table class=\"groups\"><thead><tr><th>Bit "
                                 "group</th><th>Fields</th><th>Mask</th></tr></thead><tbody>\n");
    for (const auto& group : valuable->getBitGroups()) {
        QStringList links;
        for (HwBitField* member : group->getBitFields()) {
            links.append(QLatin1String("<a href=\"#") + escapeHtml(member->getHrefName())
                + QLatin1String("\">") + escapeHtml(member->getName()) + QLatin1String("</a>"));
        }
        out += QLatin1String("<tr><td>") + escapeHtml(group->getName()) + QLatin1String("</td><td>")
            + links.join(QLatin1String(", ")) + QLatin1String("</td><td>0x")
            + QStringLiteral("%1").arg(group->getFullValueUnshifted(), digits, 16, QLatin1Char('0')).toUpper()
            + QLatin1String("</td></tr>\n");
    }
    out += QLatin1String("</tbody></table>\n");
    return out;
}

/// Appends a summary row for every valuable below `element`, in layout order.
void summaryRows(const HwXMLElement* element, QString& out)
{
    if (element->isValuable()) {
        const auto* valuable = static_cast<const HwValuable*>(element);
        out += QLatin1String("<tr><td>") + offsetText(element) + QLatin1String("</td><td><a href=\"#")
            + escapeHtml(element->getHrefName()) + QLatin1String("\">") + escapeHtml(displayPath(element))
            + QLatin1String("</a></td><td>") + escapeHtml(element->getTypeString())
            + QLatin1String("</td><td>") + valuable->getProtectString() + QLatin1String("</td><td>")
            + valuable->getResetString() + QLatin1String("</td></tr>\n");
        return;
    }
    if (element->isStruct()) {
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
            summaryRows(member.get(), out);
    } else if (element->isArray()) {
        for (const auto& item : static_cast<const HwArray*>(element)->getMemberList())
            summaryRows(item.get(), out);
    }
}

QString summaryTable(const HwXMLElement* element)
{
    QString rows;
    summaryRows(element, rows);
    if (rows.isEmpty())
        return QString();
    return QStringLiteral("<table class=\"summary\"><thead><tr><th>Offset</th><th>Register</th><th>Type</th>"
                          "<th>Access</th><th>Reset</th></tr></thead><tbody>\n")
        + rows + QLatin1String("</tbody></table>\n");
}

/// A menu node: [kind, label, anchor] and the children when there are any.
QString menuNode(const char* kind, const HwXMLElement* element, const QStringList& children)
{
    QString out = QLatin1String("[\"") + QLatin1String(kind) + QLatin1String("\",")
        + jsString(element->getName()) + QLatin1Char(',') + jsString(element->getHrefName());
    if (!children.isEmpty())
        out += QLatin1String(",[") + children.join(QLatin1Char(',')) + QLatin1Char(']');
    out += QLatin1Char(']');
    return out;
}

/// The HTML of a memory or an external: a section of facts only.
QString blockHtml(HwXMLElement* element, const char* kind, int level)
{
    QString out = openSection(element, level == 0 ? "inst" : kind, level, titleOf(element, level));
    Facts facts;
    if (level == 0) {
        facts = instanceFacts(element);
    } else {
        facts.add("Type", escapeHtml(element->getTypeString()));
        facts.add("Address", addressRange(element));
        facts.add("Offset", offsetText(element));
        facts.add("Size", sizeText(element->sizeOf()));
    }
    out += facts.html();
    out += commentBlock(element, level);
    out += QLatin1String("</section>\n");
    return out;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------
// Comments: one rule for every element.

QString HwXMLElement::html_comment_serialize(int)
{
    return commentToHtml(getComment());
}

// ---------------------------------------------------------------------------------------------------------
// Anchors.

QString HwHole::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwValuable::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwBitField::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwStruct::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwArray::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwMemory::getHrefName() const
{
    return hrefNameOf(this);
}

QString HwExternal::getHrefName() const
{
    return hrefNameOf(this);
}

// ---------------------------------------------------------------------------------------------------------
// Valuables: registers, integers, pointers.

QString HwValuable::html_serialize(int level)
{
    QString out = openSection(this, "reg", level, titleOf(this, level));
    Facts facts;
    facts.add("Address", getAddressString());
    if (level > 0)
        facts.add("Offset", offsetText(this));
    facts.add("Type", escapeHtml(getTypeString()));
    facts.add("Access", getProtectString());
    facts.add("Reset", getResetString());
    if (isPointer())
        facts.add("Points to", escapeHtml(static_cast<HwPointer*>(this)->getPointedTypeName()));
    out += facts.html();
    out += commentBlock(this, level);
    if (!m_bitFields.empty()) {
        out += QStringLiteral("<table class=\"fields\" data-w=\"%1\"><thead><tr><th>Bits</th><th>Field</th>"
                              "<th>Access</th><th>Reset</th><th>Description</th></tr></thead><tbody>\n")
                   .arg(std::min(getBitSize(), 32u));
        const QString anchor = getHrefName();
        out.reserve(out.size() + 200 * static_cast<int>(m_bitFields.size()));
        for (const auto& field : m_bitFields)
            appendFieldRow(out, anchor, field.get(), level + 1);
        out += QLatin1String("</tbody></table>\n");
        out += bitGroupTable(this);
    }
    if (isPointer()) {
        if (HwXMLElement* pointed = static_cast<HwPointer*>(this)->getPointedElement())
            out += pointed->html_serialize(level + 1);
    }
    out += QLatin1String("</section>\n");
    return out;
}

QString HwValuable::treenode_serialize(int level, const QString& page)
{
    QStringList children;
    children.reserve(static_cast<int>(m_bitFields.size()) + 1);
    for (const auto& field : m_bitFields)
        children.append(field->treenode_serialize(level + 1, page));
    if (isPointer()) {
        if (HwXMLElement* pointed = static_cast<HwPointer*>(this)->getPointedElement()) {
            const QString node = pointed->treenode_serialize(level + 1, page);
            if (!node.isEmpty())
                children.append(node);
        }
    }
    const XMLElementType type = getType();
    const char* kind = isPointer() ? "p" : (type >= TYPE_REG32 && type <= TYPE_IREG8) ? "r" : "i";
    return menuNode(kind, this, children);
}

QString HwBitField::treenode_serialize(int, const QString&)
{
    const QString name = getName();
    bool plain = !name.isEmpty();
    for (const QChar c : name)
        plain = plain && (c.isDigit() || c == QLatin1Char('_') || (c.unicode() < 128 && c.isLetter()));
    if (plain)
        return jsString(name);
    return QLatin1String("[\"f\",") + jsString(name) + QLatin1Char(',') + jsString(getHrefName())
        + QLatin1Char(']');
}

// ---------------------------------------------------------------------------------------------------------
// Structures and arrays.

QString HwStruct::html_serialize(int level)
{
    QString out = openSection(this, level == 0 ? "inst" : "struct", level, titleOf(this, level));
    if (level == 0) {
        out += instanceFacts(this).html();
        out += commentBlock(this, level);
        out += summaryTable(this);
    } else {
        Facts facts;
        facts.add("Type", escapeHtml(getTypeString()));
        facts.add("Address", addressRange(this));
        facts.add("Offset", offsetText(this));
        facts.add("Size", sizeText(sizeOf()));
        out += facts.html();
        out += commentBlock(this, level);
    }
    for (const auto& member : m_members)
        out += member->html_serialize(level + 1);
    out += QLatin1String("</section>\n");
    return out;
}

QString HwStruct::treenode_serialize(int level, const QString& page)
{
    QStringList children;
    for (const auto& member : m_members) {
        const QString node = member->treenode_serialize(level + 1, page);
        if (!node.isEmpty())
            children.append(node);
    }
    return menuNode("s", this, children);
}

QString HwArray::html_serialize(int level)
{
    QString out = openSection(this, level == 0 ? "inst" : "array", level, titleOf(this, level));
    Facts facts;
    facts.add("Items",
        escapeHtml(m_countText == QString::number(m_count)
                ? m_countText
                : QStringLiteral("%1 (%2)").arg(m_count).arg(m_countText)));
    if (m_elementType) {
        facts.add("Item type", escapeHtml(m_elementType->getTypeString()));
        facts.add("Item size", sizeText(m_elementType->sizeOf()));
    }
    facts.add("Address", addressRange(this));
    if (level > 0)
        facts.add("Offset", offsetText(this));
    facts.add("Size", sizeText(sizeOf()));
    out += facts.html();
    out += commentBlock(this, level);
    if (level == 0)
        out += summaryTable(this);
    for (const auto& item : m_items)
        out += item->html_serialize(level + 1);
    out += QLatin1String("</section>\n");
    return out;
}

QString HwArray::treenode_serialize(int level, const QString& page)
{
    QStringList children;
    for (const auto& item : m_items) {
        const QString node = item->treenode_serialize(level + 1, page);
        if (!node.isEmpty())
            children.append(node);
    }
    return menuNode("a", this, children);
}

// ---------------------------------------------------------------------------------------------------------
// Holes, memories, externals.

QString HwHole::html_serialize(int)
{
    const std::uint32_t base = getBaseAddress();
    QString out = QLatin1String("<p class=\"hole\" id=\"") + escapeHtml(getHrefName())
        + QLatin1String("\">Reserved: 0x") + hex8(base);
    if (sizeOf() > 1)
        out += QStringLiteral(" \u2013 0x") + hex8(base + sizeOf() - 1);
    out += QStringLiteral(" (%1 bits)</p>\n").arg(getSizeInBits());
    return out;
}

QString HwHole::treenode_serialize(int, const QString&)
{
    // Reserved space is shown on the page, not in the menu.
    return QString();
}

QString HwMemory::html_serialize(int level)
{
    return blockHtml(this, "mem", level);
}

QString HwMemory::treenode_serialize(int, const QString&)
{
    return menuNode("m", this, QStringList());
}

QString HwExternal::html_serialize(int level)
{
    return blockHtml(this, "ext", level);
}

QString HwExternal::treenode_serialize(int, const QString&)
{
    return menuNode("x", this, QStringList());
}
