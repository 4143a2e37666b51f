#include "format_p.h"

#include <vellxml/model/archive.h>
#include <vellxml/model/valuable.h>

using vellxml::model_p::printDumpLine;

HwXMLArchive::HwXMLArchive(const QString& name)
    : HwXMLElement(name, TYPE_ARCHIVE)
{
}

HwXMLArchive::~HwXMLArchive() = default;

unsigned int HwXMLArchive::sizeOf() const
{
    return 0;
}

unsigned int HwXMLArchive::getAlignConstraint() const
{
    return 0;
}

QString HwXMLArchive::getRubyClassName() const
{
    return QString();
}

QString HwXMLArchive::getRubyPrefix() const
{
    return QString();
}

QString HwXMLArchive::getTypeString() const
{
    return QStringLiteral("archive");
}

void HwXMLArchive::memSet(const unsigned char*)
{
}

void HwXMLArchive::getReadMask(unsigned char*) const
{
}

void HwXMLArchive::memGet(unsigned char*) const
{
}

void HwXMLArchive::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& element : m_elements)
        element->dumpInfo(level + 1);
}

HwXMLElement* HwXMLArchive::addElement(std::unique_ptr<HwXMLElement> element)
{
    element->reparent(this);
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

HwRootArchive::HwRootArchive(const QString& name)
    : HwXMLElement(name, TYPE_ROOTARCHIVE)
{
}

HwRootArchive::~HwRootArchive() = default;

unsigned int HwRootArchive::sizeOf() const
{
    return 0;
}

unsigned int HwRootArchive::getAlignConstraint() const
{
    return 0;
}

QString HwRootArchive::getRubyClassName() const
{
    return QString();
}

QString HwRootArchive::getRubyPrefix() const
{
    return QString();
}

QString HwRootArchive::getTypeString() const
{
    return QStringLiteral("rootarchive");
}

void HwRootArchive::memSet(const unsigned char*)
{
}

void HwRootArchive::getReadMask(unsigned char*) const
{
}

void HwRootArchive::memGet(unsigned char*) const
{
}

void HwRootArchive::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& element : m_elements)
        element->dumpInfo(level + 1);
}

HwXMLElement* HwRootArchive::addElement(std::unique_ptr<HwXMLElement> element)
{
    element->reparent(this);
    m_elements.push_back(std::move(element));
    return m_elements.back().get();
}

std::unique_ptr<HwXMLElement> HwRootArchive::allocateElementFromTypeName(
    const QString& typeName, const QString& name)
{
    if (typeName == QLatin1String("void"))
        return std::make_unique<HwVoid>(name);
    if (typeName == QLatin1String("int8"))
        return std::make_unique<HwInt8>(name);
    if (typeName == QLatin1String("uint8"))
        return std::make_unique<HwUnsignedInt8>(name);
    if (typeName == QLatin1String("int16"))
        return std::make_unique<HwInt16>(name);
    if (typeName == QLatin1String("uint16"))
        return std::make_unique<HwUnsignedInt16>(name);
    if (typeName == QLatin1String("int32"))
        return std::make_unique<HwInt32>(name);
    if (typeName == QLatin1String("uint32"))
        return std::make_unique<HwUnsignedInt32>(name);
    if (typeName == QLatin1String("bool"))
        return std::make_unique<HwBoolean>(name);
    return nullptr;
}
