#include "format_p.h"

#include <vellxml/model/composites.h>

#include <algorithm>
#include <cstring>

using vellxml::model_p::hex8;
using vellxml::model_p::printDumpLine;

namespace {

/// value rounded up to a multiple of alignment (not 0), wrapping at 32 bits like every address.
unsigned int roundUp(unsigned int value, unsigned int alignment)
{
    const unsigned int remainder = value % alignment;
    return remainder == 0 ? value : value + (alignment - remainder);
}

unsigned int nonNegative(int size)
{
    return size < 0 ? 0u : static_cast<unsigned int>(size);
}

// Fills an image or mask of `size` bytes. An element of size 0 may be given an empty buffer, whose data
// pointer can be null: memset must not see it.
void fillBytes(unsigned char* bytes, int value, unsigned int size)
{
    if (size != 0)
        std::memset(bytes, value, size);
}

} // namespace

// Structures --------------------------------------------------------------------------------------------

HwStruct::HwStruct(const QString& name, const QString& typeName)
    : HwXMLElement(name, TYPE_STRUCT)
{
    setTypeName(typeName);
}

HwStruct::HwStruct(const HwStruct& other)
    : HwXMLElement(other)
    , m_typedef(other.m_typedef)
    , m_rubyConstants(other.m_rubyConstants)
    , m_currentSize(other.m_currentSize)
    , m_alignment(other.m_alignment)
{
    // The copies keep their offsets: the layout was made once, when the source grew.
    m_members.reserve(other.m_members.size());
    for (const auto& member : other.m_members) {
        std::unique_ptr<HwXMLElement> copy = anonymousCopy(member.get());
        if (!copy)
            continue;
        copy->reparent(this);
        m_members.push_back(std::move(copy));
    }
}

HwStruct::~HwStruct() = default;

unsigned int HwStruct::sizeOf() const
{
    return m_alignment == 0 ? 0u : roundUp(m_currentSize, m_alignment);
}

unsigned int HwStruct::getAlignConstraint() const
{
    return m_alignment;
}

bool HwStruct::isStruct() const
{
    return true;
}

QString HwStruct::getTypeString() const
{
    return getTypeName();
}

void HwStruct::memSet(const unsigned char* image)
{
    for (const auto& member : m_members)
        member->memSet(image + offsetOf(member.get()));
}

void HwStruct::getReadMask(unsigned char* mask) const
{
    for (const auto& member : m_members)
        member->getReadMask(mask + offsetOf(member.get()));
}

void HwStruct::memGet(unsigned char* image) const
{
    fillBytes(image, 0, sizeOf());
    for (const auto& member : m_members)
        member->memGet(image + offsetOf(member.get()));
}

void HwStruct::setReadError(bool error)
{
    HwXMLElement::setReadError(error);
    for (const auto& member : m_members)
        member->setReadError(error);
}

void HwStruct::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& member : m_members)
        member->dumpInfo(level + 1);
}

HwXMLElement* HwStruct::addElement(std::unique_ptr<HwXMLElement> member)
{
    const unsigned int alignment = member->getAlignConstraint();
    // Members are never placed on boundaries wider than 4 bytes, while the structure still records the
    // wider alignment a member asks for: both halves of that rule are part of the chips' layouts.
    const unsigned int placement = std::min(alignment, 4u);
    const unsigned int offset = placement == 0 ? m_currentSize : roundUp(m_currentSize, placement);
    HwXMLElement* added = member.get();
    m_members.push_back(std::move(member));
    added->remap(offset);
    added->reparent(this);
    m_currentSize = offset + added->sizeOf();
    m_alignment = std::max(m_alignment, alignment);
    return added;
}

bool HwStruct::hasInternalRegisters() const
{
    for (const auto& member : m_members) {
        const HwXMLElement* element = member.get();
        if (element->isArray())
            element = static_cast<const HwArray*>(element)->getElementType();
        if (!element)
            continue;
        if (element->getType() == TYPE_IREG8)
            return true;
        if (element->isStruct() && static_cast<const HwStruct*>(element)->hasInternalRegisters())
            return true;
    }
    return false;
}

// Arrays ------------------------------------------------------------------------------------------------

HwArray::HwArray(const QString& name, const HwXMLElement& elementType, int count, const QString& countText)
    : HwXMLElement(name, TYPE_ARRAY)
    , m_elementType(anonymousCopy(&elementType))
    , m_count(count)
    , m_countText(countText.isEmpty() ? QString::number(count) : countText)
{
    if (m_elementType) {
        m_elementType->setArrayNumber(0);
        m_elementType->remap(0);
        m_elementType->reparent(this);
        const unsigned int itemSize = m_elementType->sizeOf();
        for (int i = 0; i < count; ++i) {
            std::unique_ptr<HwXMLElement> item = anonymousCopy(m_elementType.get());
            item->setArrayNumber(i);
            item->remap(static_cast<unsigned int>(i) * itemSize);
            item->reparent(this);
            m_items.push_back(std::move(item));
        }
    }
    HwArray::setName(name);
}

HwArray::HwArray(const HwArray& other)
    : HwXMLElement(other)
    , m_elementType(anonymousCopy(other.m_elementType.get()))
    , m_count(other.m_count)
    , m_countText(other.m_countText)
{
    if (m_elementType)
        m_elementType->reparent(this);
    for (const auto& item : other.m_items) {
        std::unique_ptr<HwXMLElement> copy = anonymousCopy(item.get());
        copy->reparent(this);
        m_items.push_back(std::move(copy));
    }
}

HwArray::~HwArray() = default;

unsigned int HwArray::sizeOf() const
{
    // A count below 1 makes no items, hence no bytes.
    if (!m_elementType || m_count < 1)
        return 0;
    return static_cast<unsigned int>(m_count) * m_elementType->sizeOf();
}

unsigned int HwArray::getAlignConstraint() const
{
    return m_elementType ? m_elementType->getAlignConstraint() : 0u;
}

bool HwArray::isArray() const
{
    return true;
}

QString HwArray::getTypeString() const
{
    return m_elementType ? m_elementType->getTypeString() + QLatin1String("[]") : QStringLiteral("Array");
}

void HwArray::setName(const QString& name)
{
    HwXMLElement::setName(name);
    // Path resolution finds items by these bracketed names.
    for (std::size_t i = 0; i < m_items.size(); ++i)
        m_items[i]->setName(QStringLiteral("%1[%2]").arg(name).arg(i));
}

void HwArray::memSet(const unsigned char* image)
{
    for (const auto& item : m_items)
        item->memSet(image + offsetOf(item.get()));
}

void HwArray::getReadMask(unsigned char* mask) const
{
    for (const auto& item : m_items)
        item->getReadMask(mask + offsetOf(item.get()));
}

void HwArray::memGet(unsigned char* image) const
{
    fillBytes(image, 0, sizeOf());
    for (const auto& item : m_items)
        item->memGet(image + offsetOf(item.get()));
}

void HwArray::setReadError(bool error)
{
    HwXMLElement::setReadError(error);
    for (const auto& item : m_items)
        item->setReadError(error);
}

void HwArray::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& item : m_items)
        item->dumpInfo(level + 1);
}

// Pointers ----------------------------------------------------------------------------------------------

HwPointer::HwPointer(const QString& name, const QString& pointedTypeName)
    : HwValuable(name, true, true)
    , m_pointedTypeName(pointedTypeName)
{
    setElementType(TYPE_POINTER);
}

HwPointer::HwPointer(const HwPointer& other)
    : HwValuable(other)
    , m_value(other.m_value)
    , m_pointedTypeName(other.m_pointedTypeName)
    , m_pointedElement(anonymousCopy(other.m_pointedElement.get()))
{
    if (m_pointedElement)
        m_pointedElement->reparent(this);
}

HwPointer::~HwPointer() = default;

unsigned int HwPointer::sizeOf() const
{
    return 4;
}

unsigned int HwPointer::getAlignConstraint() const
{
    return 4;
}

bool HwPointer::isPointer() const
{
    return true;
}

QString HwPointer::getRubyClassName() const
{
    return QStringLiteral("CHPointer");
}

QString HwPointer::getRubyPrefix() const
{
    return QStringLiteral("CHPointer");
}

QString HwPointer::getCTypeString() const
{
    return ESDRTypeConvert(m_pointedTypeName) + QLatin1Char('*');
}

QString HwPointer::getTypeString() const
{
    return m_pointedTypeName + QLatin1Char('*');
}

void HwPointer::setReadError(bool error)
{
    HwXMLElement::setReadError(error);
    if (m_pointedElement)
        m_pointedElement->setReadError(error);
}

void HwPointer::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    if (m_pointedElement)
        m_pointedElement->dumpInfo(level + 1);
}

unsigned int HwPointer::getValue() const
{
    return m_value;
}

void HwPointer::setValue(unsigned int value)
{
    m_value = value;
}

// HwPointer::allocatePointedElement() lives with the root archive (loader/archive.cpp), which knows the
// registered types.

void HwPointer::deletePointedElement()
{
    m_pointedElement.reset();
}

HwXMLElement* HwPointer::pointTo(std::unique_ptr<HwXMLElement> element)
{
    m_pointedElement = std::move(element);
    if (m_pointedElement)
        m_pointedElement->reparent(this);
    return m_pointedElement.get();
}

bool HwPointer::setInnerData(const unsigned char* image, int size)
{
    if (!m_pointedElement || size < 0 || static_cast<unsigned int>(size) < m_pointedElement->sizeOf())
        return false;
    m_pointedElement->memSet(image);
    return true;
}

QString HwPointer::getRubyBasicType() const
{
    const QString& type = m_pointedTypeName;
    if (type == QLatin1String("uint") || type == QLatin1String("uint32") || type == QLatin1String("uint16")
        || type == QLatin1String("uint8"))
        return QStringLiteral("CHUnsignedInt");
    if (type == QLatin1String("int") || type == QLatin1String("int32") || type == QLatin1String("int16")
        || type == QLatin1String("int8"))
        return QStringLiteral("CHInt");
    if (type == QLatin1String("bool"))
        return QStringLiteral("CHBool");
    if (type == QLatin1String("void"))
        return QStringLiteral("CHVoid");
    if (type == QLatin1String("memory"))
        return QStringLiteral("CHMemory");
    return QStringLiteral("HwPOINTER_BASIC_RUBY_TYPE_ERROR");
}

// Holes -------------------------------------------------------------------------------------------------

HwHole::HwHole(int sizeInBits)
    : HwXMLElement(QString(), TYPE_HOLE)
    , m_sizeInBits(sizeInBits)
{
}

HwHole::HwHole(const HwHole& other)
    : HwXMLElement(other)
    , m_sizeInBits(other.m_sizeInBits)
{
}

unsigned int HwHole::sizeOf() const
{
    return m_sizeInBits < 0 ? 0u : static_cast<unsigned int>(m_sizeInBits / 8);
}

unsigned int HwHole::getAlignConstraint() const
{
    return 1;
}

QString HwHole::getName() const
{
    // The offset is only known once the hole is placed, so the name is made when asked.
    QString name =
        QStringLiteral("Reserved_") + hex8(getAddress()) + QLatin1Char('_') + QString::number(m_sizeInBits);
    storeComputedName(name);
    return name;
}

QString HwHole::getRubyClassName() const
{
    return QStringLiteral("CRHole");
}

QString HwHole::getRubyPrefix() const
{
    return QStringLiteral("CRHole");
}

QString HwHole::getPath() const
{
    return QString();
}

QString HwHole::getTypeString() const
{
    return QStringLiteral("Hole");
}

void HwHole::memSet(const unsigned char*)
{
}

void HwHole::getReadMask(unsigned char* mask) const
{
    fillBytes(mask, 0, sizeOf());
}

void HwHole::memGet(unsigned char* image) const
{
    fillBytes(image, 0, sizeOf());
}

// Memories and externals --------------------------------------------------------------------------------

HwMemory::HwMemory(const QString& name, int size)
    : HwXMLElement(name, TYPE_MEMORY)
    , m_size(size)
{
}

HwMemory::HwMemory(const HwMemory& other)
    : HwXMLElement(other)
    , m_size(other.m_size)
{
}

unsigned int HwMemory::sizeOf() const
{
    return nonNegative(m_size);
}

unsigned int HwMemory::getAlignConstraint() const
{
    return 4;
}

QString HwMemory::getRubyClassName() const
{
    return QStringLiteral("CRMemory");
}

QString HwMemory::getRubyPrefix() const
{
    return QStringLiteral("CRMemory");
}

QString HwMemory::getTypeString() const
{
    return QStringLiteral("memory");
}

void HwMemory::memSet(const unsigned char*)
{
}

void HwMemory::getReadMask(unsigned char* mask) const
{
    fillBytes(mask, 0, sizeOf());
}

void HwMemory::memGet(unsigned char*) const
{
}

HwExternal::HwExternal(const QString& name, int size)
    : HwXMLElement(name, TYPE_EXTERNAL)
    , m_size(size)
{
    setTypeName(name);
}

HwExternal::HwExternal(const HwExternal& other)
    : HwXMLElement(other)
    , m_size(other.m_size)
{
}

unsigned int HwExternal::sizeOf() const
{
    return nonNegative(m_size);
}

unsigned int HwExternal::getAlignConstraint() const
{
    return 1;
}

bool HwExternal::isExternal() const
{
    return true;
}

QString HwExternal::getRubyClassName() const
{
    return QStringLiteral("CRExternal");
}

QString HwExternal::getRubyPrefix() const
{
    return QStringLiteral("CRExternal");
}

QString HwExternal::getPath() const
{
    return QString();
}

QString HwExternal::getTypeString() const
{
    return getTypeName();
}

void HwExternal::memSet(const unsigned char*)
{
}

void HwExternal::getReadMask(unsigned char* mask) const
{
    fillBytes(mask, 0, sizeOf());
}

void HwExternal::memGet(unsigned char* image) const
{
    fillBytes(image, 0xFF, sizeOf());
}
