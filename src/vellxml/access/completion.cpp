// Completion lists: what may follow a partly typed path, with the commands each element offers.

#include "command_table_p.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

namespace {

/// Entry kinds by element type; 5 and 16 are never given.
CXMLCompletionEntry::CompletionEntryType entryKind(XMLElementType type)
{
    switch (type) {
    case TYPE_REG32:
        return 1;
    case TYPE_REG16:
        return 2;
    case TYPE_REG8:
        return 3;
    case TYPE_IREG8:
        return 4;
    case TYPE_POINTER:
        return 6;
    case TYPE_INT32:
        return 7;
    case TYPE_INT16:
        return 8;
    case TYPE_INT8:
        return 9;
    case TYPE_UINT32:
        return 10;
    case TYPE_UINT16:
        return 11;
    case TYPE_UINT8:
        return 12;
    case TYPE_BOOL:
        return 13;
    case TYPE_STRUCT:
        return 14;
    case TYPE_ARRAY:
        return 15;
    case TYPE_VOID:
        return 17;
    default:
        return -1;
    }
}

constexpr CXMLCompletionEntry::CompletionEntryType kOtherKind = 17;

void addElementEntry(CXMLCompletionList& list, const HwXMLElement* element)
{
    list.insert(element->getName(), HwMemoryMap::getCompletionEntryFromElement(element));
}

void addCommandEntries(CXMLCompletionList& list, const HwXMLElement* element)
{
    for (const vellxml::access_p::CommandEntry* command : vellxml::access_p::commandsOf(element)) {
        CXMLCompletionEntry entry;
        entry.name = command->name;
        entry.arguments = command->arguments;
        entry.result = command->result;
        entry.help = command->help;
        entry.kind = 0;
        list.insert(entry.name, entry);
    }
}

/// The member of the structure, or the item of a member array, that the token names first.
HwXMLElement* memberNamed(const HwStruct& structure, const QString& token)
{
    // The lookup of a one-token path finds exactly that: a member of that name, or through the
    // transparent arrays an item of that name. The structure's name is put in front to ask it.
    return const_cast<HwStruct&>(structure).getElementFromPathTokens(
        QStringList {structure.getName(), token});
}

} // namespace

CXMLCompletionEntry HwMemoryMap::getCompletionEntryFromElement(const HwXMLElement* element)
{
    CXMLCompletionEntry entry;
    entry.kind = kOtherKind;
    if (!element)
        return entry;
    const CXMLCompletionEntry::CompletionEntryType kind = entryKind(element->getType());
    if (kind < 0)
        return entry;
    entry.kind = kind;
    entry.name = element->getName();
    entry.result = element->getTypeString();
    entry.help = element->getComment();
    return entry;
}

CXMLCompletionList HwXMLElement::getCompletionListFromTokens(const QStringList&)
{
    return CXMLCompletionList();
}

CXMLCompletionList HwBitField::getCompletionListFromTokens(const QStringList&)
{
    CXMLCompletionList list;
    addCommandEntries(list, this);
    return list;
}

CXMLCompletionList HwValuable::getCompletionListFromTokens(const QStringList& tokens)
{
    if (tokens.size() > 2) {
        const QString& next = tokens.at(1);
        // Behind a pointer the pointed element completes the rest, as the lookup reaches it.
        if (isPointer() && (next == QLatin1String(">") || next.startsWith(QLatin1String(">[")))) {
            HwXMLElement* pointed = static_cast<HwPointer*>(this)->allocatePointedElement();
            if (!pointed)
                return CXMLCompletionList();
            QStringList rest = tokens.mid(1);
            rest.first() = next == QLatin1String(">") ? pointed->getName() : pointed->getName() + next.mid(1);
            // ">" reaches the pointed element itself, ">[n]" an item of a pointed array.
            HwXMLElement* target = pointed->getElementFromPathTokens(QStringList {rest.first()});
            if (!target)
                return CXMLCompletionList();
            return target->getCompletionListFromTokens(rest);
        }
        if (HwBitField* field = getBitFieldByName(next))
            return field->getCompletionListFromTokens(tokens.mid(1));
        CXMLCompletionList list;
        if (getBitGroupByName(next)) {
            for (const HwCommandInfo& command : bitGroupCommands()) {
                CXMLCompletionEntry entry;
                entry.name = command.name;
                entry.arguments = command.arguments;
                entry.result = command.result;
                entry.help = command.help;
                entry.kind = 0;
                list.insert(entry.name, entry);
            }
        }
        return list;
    }
    CXMLCompletionList list;
    for (const auto& field : getBitFields())
        addElementEntry(list, field.get());
    // A bit group is no element: it is offered under its name, as an element of no listed kind.
    for (const auto& group : getBitGroups())
        list.insert(group->getName(), HwMemoryMap::getCompletionEntryFromElement(nullptr));
    addCommandEntries(list, this);
    return list;
}

CXMLCompletionList HwStruct::getCompletionListFromTokens(const QStringList& tokens)
{
    if (tokens.size() > 2) {
        HwXMLElement* member = memberNamed(*this, tokens.at(1));
        return member ? member->getCompletionListFromTokens(tokens.mid(1)) : CXMLCompletionList();
    }
    CXMLCompletionList list;
    for (const auto& member : getMemberList())
        addElementEntry(list, member.get());
    return list;
}

CXMLCompletionList HwMemoryMap::getCompletionListFromPath(const QString& path) const
{
    CXMLCompletionList list;
    HwRootArchive* root = getChipRootArchive();
    if (!root)
        return list;
    QStringList tokens = path.split(QLatin1Char('.'));
    if (tokens.size() == 1) {
        for (const HwXMLElement* instance : root->getInstanciatedTemplates())
            addElementEntry(list, instance);
        return list;
    }
    if (tokens.first().startsWith(QLatin1Char('$')))
        tokens.first().remove(0, 1);
    // The instance, or the item of an instance array, that the first token names.
    HwXMLElement* instance = root->getElementFromInstances(QStringList {tokens.first()});
    if (!instance)
        return list;
    return instance->getCompletionListFromTokens(tokens);
}
