#include "register_view.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>

#include <algorithm>

namespace vellxml::cli {

namespace {

int widthOf(const HwXMLElement* element)
{
    if (!element)
        return 32;
    const unsigned int bits = element->getBitSize();
    return bits > 0 && bits <= 32 ? static_cast<int>(bits) : 32;
}

std::uint32_t maskOf(int bits)
{
    return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1u;
}

bool contains(const HwXMLElement& element, std::uint32_t address)
{
    const std::uint64_t base = element.getBaseAddress();
    return address >= base && address < base + element.sizeOf();
}

} // namespace

QList<PathCompletion> completePath(const HwMemoryMap& map, const QString& text)
{
    QString path = text;
    if (path.startsWith(QLatin1Char('$')))
        path.remove(0, 1);
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    const QString partial = path.mid(dot + 1);
    QList<PathCompletion> offers;
    // The list is that of the element the complete tokens reach; the last, partial token filters it.
    const CXMLCompletionList list = map.getCompletionListFromPath(path);
    for (auto it = list.cbegin(); it != list.cend(); ++it) {
        if (it.key().isEmpty())
            continue;
        if (it.key().startsWith(partial))
            offers.append({it.key(), it.value()});
        // An array lists under its own name; its items are offered once that name is typed.
        if (it.value().kind != 15 || !partial.startsWith(it.key()))
            continue;
        const HwXMLElement* array = map.getElementFromPath(path.left(dot + 1) + it.key());
        if (!array || !array->isArray())
            continue;
        for (const auto& item : static_cast<const HwArray*>(array)->getMemberList())
            if (item->getName().startsWith(partial))
                offers.append({item->getName(), HwMemoryMap::getCompletionEntryFromElement(item.get())});
    }
    return offers;
}

PathTarget resolvePath(const HwMemoryMap& map, const QString& path, QString& error, const PointerHook& hook)
{
    QStringList tokens = path.split(QLatin1Char('.'));
    if (tokens.first().startsWith(QLatin1Char('$')))
        tokens.first().remove(0, 1);
    PathTarget target;
    QString walked;
    for (int i = 0; i < tokens.size(); ++i) {
        const QString& token = tokens.at(i);
        if (target.group || (target.element && target.element->isBitfield())) {
            error = QStringLiteral("%1 is a %2: nothing follows it (%3)")
                        .arg(walked, QLatin1String(target.group ? "bit group" : "bitfield"), token);
            return PathTarget();
        }
        if (token == QLatin1String(">") && target.element && target.element->isPointer() && hook
            && !hook(*target.element, walked, error))
            return PathTarget();
        const QString previous = walked;
        walked += (i ? QStringLiteral(".") : QString()) + token;
        HwXMLElement* element = token.isEmpty() ? nullptr : map.getElementFromPath(walked);
        if (!element && target.element && target.element->isValuable()) {
            target.group = static_cast<HwValuable*>(target.element)->getBitGroupByName(token);
            if (target.group) {
                target.element = nullptr;
                continue;
            }
        }
        if (!element) {
            error = token.isEmpty() ? QStringLiteral("empty name after '%1'").arg(previous)
                                    : QStringLiteral("no element %1").arg(walked);
            return PathTarget();
        }
        target.element = element;
    }
    return target;
}

QString userPath(const HwXMLElement& element)
{
    // A reserved gap has no path of its own; it is named inside its structure.
    if (element.getType() == TYPE_HOLE && element.getParent())
        return userPath(*element.getParent()) + QLatin1Char('.') + element.getName();
    QString path = element.getPath();
    if (path.startsWith(QLatin1Char('$')))
        path.remove(0, 1);
    return path;
}

QString userPath(const HwBitGroup& group)
{
    return userPath(*group.getValuable()) + QLatin1Char('.') + group.getName();
}

bool parseAddress(const QString& text, std::uint32_t& address)
{
    if (!text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) || text.size() < 3 || text.size() > 10)
        return false;
    bool ok = false;
    address = text.mid(2).toUInt(&ok, 16);
    return ok;
}

HwXMLElement* elementAtAddress(const HwMemoryMap& map, std::uint32_t address)
{
    HwRootArchive* root = map.getChipRootArchive();
    if (!root)
        return nullptr;
    for (HwXMLElement* instance : root->getInstanciatedTemplates()) {
        if (!contains(*instance, address))
            continue;
        HwXMLElement* found = instance;
        for (bool deeper = true; deeper;) {
            deeper = false;
            const std::vector<std::unique_ptr<HwXMLElement>>* children = nullptr;
            if (found->isStruct())
                children = &static_cast<HwStruct*>(found)->getMemberList();
            else if (found->isArray())
                children = &static_cast<HwArray*>(found)->getMemberList();
            if (!children)
                break;
            for (const auto& child : *children) {
                if (child->sizeOf() > 0 && contains(*child, address)) {
                    found = child.get();
                    deeper = true;
                    break;
                }
            }
        }
        return found;
    }
    return nullptr;
}

QString describeAddress(const HwXMLElement& element, std::uint32_t address)
{
    QString text = userPath(element);
    if (address != element.getBaseAddress())
        text += QStringLiteral(" + 0x") + QString::number(address - element.getBaseAddress(), 16).toUpper();
    return text;
}

QString formatValue(const HwXMLElement* element, std::uint32_t value, DisplayType format)
{
    if (element && element->isBitfield())
        return static_cast<const HwBitField*>(element)->convertValueToValueString(value, format, true, false);
    const int bits = widthOf(element);
    const std::uint32_t masked = value & maskOf(bits);
    switch (format) {
    case DISPLAY_DEC:
        if (element && element->isValuable() && static_cast<const HwValuable*>(element)->isSigned()) {
            const std::uint32_t sign = 1u << (bits - 1);
            const qint64 signedValue =
                (masked & sign) ? static_cast<qint64>(masked) - (static_cast<qint64>(1) << bits) : masked;
            return QString::number(signedValue);
        }
        return QString::number(masked);
    case DISPLAY_BIN:
        return QStringLiteral("0b") + QString::number(masked, 2).rightJustified(bits, QLatin1Char('0'));
    default:
        return QStringLiteral("0x")
            + QString::number(masked, 16).toUpper().rightJustified((bits + 3) / 4, QLatin1Char('0'));
    }
}

QString formatGroupValue(const HwBitGroup& group, std::uint32_t value, DisplayType format)
{
    int span = 0;
    for (const HwBitField* field : group.getBitFields())
        span = std::max(span, static_cast<int>(field->getUpPos()) + 1 - group.getShift());
    switch (format) {
    case DISPLAY_DEC:
        return QString::number(value);
    case DISPLAY_BIN:
        return QStringLiteral("0b") + QString::number(value, 2).rightJustified(span, QLatin1Char('0'));
    default:
        return QStringLiteral("0x") + QString::number(value, 16).toUpper();
    }
}

QString decodedValuable(const HwValuable& valuable, DisplayType format)
{
    QString text = userPath(valuable) + QStringLiteral(" = ")
        + formatValue(&valuable, valuable.getValue(), format) + QLatin1Char('\n');
    int nameWidth = 0;
    int bitsWidth = 0;
    QStringList positions;
    for (const auto& field : valuable.getBitFields()) {
        const QString bits = field->getUpPos() == field->getDownPos()
            ? QStringLiteral("[%1]").arg(field->getUpPos())
            : QStringLiteral("[%1:%2]").arg(field->getUpPos()).arg(field->getDownPos());
        positions << bits;
        nameWidth = std::max(nameWidth, static_cast<int>(field->getName().size()));
        bitsWidth = std::max(bitsWidth, static_cast<int>(bits.size()));
    }
    int i = 0;
    for (const auto& field : valuable.getBitFields()) {
        text += QStringLiteral("  ") + field->getName().leftJustified(nameWidth) + QLatin1Char(' ')
            + positions.at(i++).leftJustified(bitsWidth) + QStringLiteral(" = ")
            + field->getValueStringFromCache(field->getValue(), format, false, false) + QLatin1Char('\n');
    }
    return text;
}

} // namespace vellxml::cli
