// Path resolution: HwMemoryMap::getElementFromPath and the getElementFromPathTokens of every element kind.

#include "name_index_p.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

using vellxml::access_p::nameIndexFor;

void HwNameIndexDeleter::operator()(HwNameIndex* index) const
{
    delete index;
}

HwXMLElement* HwXMLElement::getElementFromPathTokens(const QStringList& tokens)
{
    // Holes, memories, externals and bitfields have nothing below them.
    if (tokens.size() == 1 && tokens.first() == getName())
        return this;
    return nullptr;
}

HwXMLElement* HwValuable::getElementFromPathTokens(const QStringList& tokens)
{
    if (tokens.isEmpty() || tokens.first() != getName())
        return nullptr;
    if (tokens.size() == 1)
        return this;
    // Fields have no children: whatever follows the field's name is not looked at.
    return getBitFieldByName(tokens.at(1));
}

HwXMLElement* HwStruct::getElementFromPathTokens(const QStringList& tokens)
{
    if (tokens.isEmpty() || tokens.first() != getName())
        return nullptr;
    if (tokens.size() == 1)
        return this;
    const QStringList rest = tokens.mid(1);
    const HwNameIndex& index = nameIndexFor(m_nameIndex, m_members, QString());
    HwNameIndex::Candidates candidates;
    index.candidates(rest.first(), candidates);
    for (int position : candidates) {
        if (HwXMLElement* found =
                m_members[static_cast<std::size_t>(position)]->getElementFromPathTokens(rest))
            return found;
    }
    return nullptr;
}

HwXMLElement* HwArray::getElementFromPathTokens(const QStringList& tokens)
{
    if (tokens.isEmpty())
        return nullptr;
    if (tokens.first() == getName())
        return this;
    // Transparent: the items answer to their own bracketed names, with the same tokens.
    const HwNameIndex& index = nameIndexFor(m_nameIndex, m_items, getName(), true);
    HwNameIndex::Candidates candidates;
    index.candidates(tokens.first(), candidates);
    for (int position : candidates) {
        if (HwXMLElement* found =
                m_items[static_cast<std::size_t>(position)]->getElementFromPathTokens(tokens))
            return found;
    }
    return nullptr;
}

void HwStruct::childRenamed()
{
    m_nameIndex.reset();
}

void HwArray::childRenamed()
{
    m_nameIndex.reset();
}

void HwXMLArchive::childRenamed()
{
    if (HwRootArchive* root = getRootArchive())
        root->childRenamed();
}

void HwRootArchive::childRenamed()
{
    m_instanceIndex.reset();
}

HwXMLElement* HwArray::getItemByName(const QString& name) const
{
    const HwNameIndex& index = nameIndexFor(m_nameIndex, m_items, getName(), true);
    HwNameIndex::Candidates candidates;
    index.candidates(name, candidates);
    for (int position : candidates) {
        HwXMLElement* item = m_items[static_cast<std::size_t>(position)].get();
        if (item->getName() == name)
            return item;
        if (item->isArray()) {
            if (HwXMLElement* nested = static_cast<const HwArray*>(item)->getItemByName(name))
                return nested;
        }
    }
    return nullptr;
}

HwXMLElement* HwPointer::getElementFromPathTokens(const QStringList& tokens)
{
    if (tokens.isEmpty() || tokens.first() != getName())
        return nullptr;
    if (tokens.size() == 1)
        return this;
    const QString& next = tokens.at(1);
    const bool dereference = next == QLatin1String(">");
    if (!dereference && !next.startsWith(QLatin1String(">[")))
        return nullptr;
    HwXMLElement* pointed = allocatePointedElement();
    if (!pointed)
        return nullptr;
    // The pointed element answers to its own name; ">[n]" becomes that name with the index, which an array
    // of pointed elements resolves.
    QStringList rest = tokens.mid(1);
    rest.first() = dereference ? pointed->getName() : pointed->getName() + next.mid(1);
    return pointed->getElementFromPathTokens(rest);
}

HwXMLElement* HwRootArchive::getInstanceByName(const QString& name) const
{
    const HwNameIndex& index = nameIndexFor(m_instanceIndex, m_instances, QString());
    HwNameIndex::Candidates candidates;
    index.candidates(name, candidates);
    for (int position : candidates) {
        HwXMLElement* instance = m_instances[static_cast<std::size_t>(position)];
        if (instance->getName() == name)
            return instance;
    }
    return nullptr;
}

HwXMLElement* HwRootArchive::getElementFromInstances(const QStringList& tokens) const
{
    if (tokens.isEmpty())
        return nullptr;
    const HwNameIndex& index = nameIndexFor(m_instanceIndex, m_instances, QString());
    HwNameIndex::Candidates candidates;
    index.candidates(tokens.first(), candidates);
    for (int position : candidates) {
        if (HwXMLElement* found =
                m_instances[static_cast<std::size_t>(position)]->getElementFromPathTokens(tokens))
            return found;
    }
    return nullptr;
}

HwXMLElement* HwMemoryMap::getElementFromPath(const QString& path) const
{
    HwRootArchive* root = getChipRootArchive();
    if (!root || path.isEmpty())
        return nullptr;
    QStringList tokens = path.split(QLatin1Char('.'));
    if (tokens.size() == 1) {
        // A lone token is an instance's name as it stands: "$" is not dropped here.
        return root->getInstanceByName(tokens.first());
    }
    if (tokens.first().isEmpty())
        return nullptr;
    if (tokens.first().startsWith(QLatin1Char('$')))
        tokens.first().remove(0, 1);
    return root->getElementFromInstances(tokens);
}

HwXMLElement* HwMemoryMap::findElement(const QString& path) const
{
    if (HwXMLElement* element = getElementFromPath(path))
        return element;
    // getPath() names a top-level instance "$name"; getElementFromPath strips the "$" only before a ".".
    if (path.size() > 1 && path.startsWith(QLatin1Char('$')) && !path.contains(QLatin1Char('.')))
        return getElementFromPath(path.mid(1));
    return nullptr;
}
