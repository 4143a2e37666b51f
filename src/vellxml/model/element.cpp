#include "format_p.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <cstdio>

using vellxml::model_p::hex8;

QString ESDRTypeConvert(const QString& type)
{
    static const QStringList m_basicTypes = {QStringLiteral("uint"), QStringLiteral("uint32"),
        QStringLiteral("uint16"), QStringLiteral("uint8"), QStringLiteral("int"), QStringLiteral("int32"),
        QStringLiteral("int16"), QStringLiteral("int8"), QStringLiteral("memory"), QStringLiteral("void"),
        QStringLiteral("bool"), QStringLiteral("reg32"), QStringLiteral("reg16"), QStringLiteral("reg8")};
    if (m_basicTypes.contains(type.toLower()) || type.endsWith(QLatin1String("_T")))
        return type.toUpper();
    return type.toUpper() + QLatin1String("_T");
}

HwXMLElement::HwXMLElement(const QString& name, XMLElementType type)
    : m_type(type)
    , m_name(name)
{
}

HwXMLElement::HwXMLElement(const HwXMLElement& other)
    : m_flags(other.m_flags)
    , m_type(other.m_type)
    , m_parent(other.m_parent)
    , m_address(other.m_address)
    , m_arrayNumber(other.m_arrayNumber)
    , m_name(other.m_name)
    , m_comment(other.m_comment)
    , m_typeName(other.m_typeName)
    , m_extras(other.m_extras ? std::make_unique<ElementExtras>(*other.m_extras) : nullptr)
{
}

HwXMLElement::~HwXMLElement() = default;

// The common element stays small: a bitfield or register is built on it millions of times over.
static_assert(sizeof(HwXMLElement) <= 4 * sizeof(std::uint64_t) + 3 * sizeof(QString) + sizeof(void*),
    "HwXMLElement grew: keep rarely used fields in ElementExtras");

HwXMLElement::ElementExtras& HwXMLElement::extras()
{
    if (!m_extras)
        m_extras = std::make_unique<ElementExtras>();
    return *m_extras;
}

QStringList HwXMLElement::getCKeywords() const
{
    return m_extras ? m_extras->cKeywords : QStringList();
}

void HwXMLElement::addCKeywords(const QStringList& words)
{
    if (!words.isEmpty())
        extras().cKeywords += words;
}

QMap<QString, std::uint32_t> HwXMLElement::getAltAddresses() const
{
    return m_extras ? m_extras->altAddresses : QMap<QString, std::uint32_t>();
}

void HwXMLElement::setAltAddress(const QString& selector, std::uint32_t address)
{
    extras().altAddresses[selector] = address;
}

QString HwXMLElement::getCategory() const
{
    return m_extras ? m_extras->category : QString();
}

void HwXMLElement::setCategory(const QString& category)
{
    // Clearing a field that was never set allocates nothing.
    if (m_extras || !category.isEmpty())
        extras().category = category;
}

QString HwXMLElement::getAnnotation() const
{
    return m_extras ? m_extras->annotation : QString();
}

void HwXMLElement::setAnnotation(const QString& annotation)
{
    if (m_extras || !annotation.isEmpty())
        extras().annotation = annotation;
}

void HwXMLElement::reparent(HwXMLElement* parent)
{
    m_parent = parent;
}

void HwXMLElement::remap(unsigned int address)
{
    m_address = address;
}

unsigned int HwXMLElement::getBitSize() const
{
    return sizeOf() * 8;
}

QString HwXMLElement::getName() const
{
    return m_name;
}

QString HwXMLElement::getComment() const
{
    return m_comment;
}

int HwXMLElement::getArrayNumber() const
{
    return m_arrayNumber;
}

unsigned int HwXMLElement::getBaseAddress() const
{
    if (!m_parent)
        return m_address;
    // The element behind a pointer lives where the pointer points: its own offset does not count.
    if (m_parent->isPointer())
        return static_cast<const HwValuable*>(m_parent)->getValue();
    return m_parent->getBaseAddress() + m_address;
}

bool HwXMLElement::isValuable() const
{
    return false;
}

bool HwXMLElement::isStruct() const
{
    return false;
}

bool HwXMLElement::isArray() const
{
    return false;
}

bool HwXMLElement::isPointer() const
{
    return false;
}

bool HwXMLElement::isExternal() const
{
    return false;
}

bool HwXMLElement::isBitfield() const
{
    return false;
}

QString HwXMLElement::getRubyClassName() const
{
    if (!m_typeName.isEmpty())
        return QLatin1String("CH__") + m_typeName;
    // An inline type is named after the place where it is declared.
    if (m_parent && m_parent->getType() == TYPE_ARRAY)
        return m_parent->getRubyPrefix() + QLatin1String("__content");
    if (m_parent && m_parent->getType() == TYPE_POINTER)
        return static_cast<const HwPointer*>(m_parent)->getRubyBasicType();
    const QString parentPrefix = m_parent ? m_parent->getRubyPrefix() : QString();
    return parentPrefix + QLatin1String("__") + getName();
}

QString HwXMLElement::getRubyPrefix() const
{
    return getRubyClassName();
}

QString HwXMLElement::getPath() const
{
    if (!m_parent || m_parent->getType() == TYPE_ROOTARCHIVE || m_parent->getType() == TYPE_ARCHIVE)
        return QLatin1Char('$') + getName();
    // Array items and pointed elements are reached by index and by ">", never by their own names.
    if (m_arrayNumber != -1)
        return m_parent->getPath() + QLatin1Char('[') + QString::number(m_arrayNumber) + QLatin1Char(']');
    if (m_parent->getType() == TYPE_POINTER)
        return m_parent->getPath() + QLatin1String(".>");
    return m_parent->getPath() + QLatin1Char('.') + getName();
}

QString HwXMLElement::getCTypeString() const
{
    if (!m_typeName.isEmpty())
        return m_typeName;
    return ESDRTypeConvert(getTypeString().toUpper());
}

XMLElementType HwXMLElement::getType() const
{
    return m_type;
}

void HwXMLElement::setName(const QString& name)
{
    m_name = name;
    if (m_parent)
        m_parent->childRenamed();
}

void HwXMLElement::childRenamed()
{
}

QString HwXMLElement::getAddressString() const
{
    return QLatin1String("0x") + hex8(getBaseAddress());
}

QString HwXMLElement::getHrefName() const
{
    return hex8(getBaseAddress());
}

QString HwXMLElement::vhdl_serialize(int, HwVHDLNames&)
{
    return QString();
}

QString HwXMLElement::c_content()
{
    return QString();
}

QString HwXMLElement::c_typedefSerialize()
{
    return QString();
}

QString HwXMLElement::c_bitfieldSerialize(const QString&)
{
    return QString();
}

QString HwXMLElement::c_serialize(int)
{
    return QString();
}

QString HwXMLElement::asm_content()
{
    return QString();
}

QString HwXMLElement::asmarm_content()
{
    return QString();
}

QString HwXMLElement::vhdl_content()
{
    return QString();
}

QString HwXMLElement::html_serialize(int)
{
    return QString();
}

QString HwXMLElement::treenode_serialize(int, const QString&)
{
    return QString();
}

QString HwXMLElement::asm_serialize(const QString&, const QString&)
{
    return QString();
}

QString HwXMLElement::macro_serialize(const QString&, QHash<QString, QString>&)
{
    return QString();
}

// getCompletionListFromTokens and getElementFromPathTokens live with path lookup (access/).

void HwXMLElement::setReadError(bool error)
{
    if (error)
        m_flags |= FlagReadError;
    else
        m_flags &= ~static_cast<std::uint32_t>(FlagReadError);
}

void HwXMLElement::setCopyMark(bool mark)
{
    if (mark)
        m_flags |= FlagCopyMark;
    else
        m_flags &= ~static_cast<std::uint32_t>(FlagCopyMark);
}

void HwXMLElement::dumpInfo(int) const
{
    std::fputs("NO INFO\n", stdout);
}

HwXMLElement* HwXMLElement::getTopParent() const
{
    HwXMLElement* top = m_parent;
    while (top && top->m_parent)
        top = top->m_parent;
    return top;
}

HwRootArchive* HwXMLElement::getRootArchive() const
{
    HwXMLElement* top = getTopParent();
    return top ? top->asRootArchive() : nullptr;
}

HwXMLArchive* HwXMLElement::getTopArchive() const
{
    for (HwXMLElement* ancestor = m_parent; ancestor; ancestor = ancestor->m_parent) {
        if (HwXMLArchive* archive = ancestor->asXMLArchive())
            return archive;
    }
    return nullptr;
}

HwXMLArchive* HwXMLElement::asXMLArchive()
{
    return nullptr;
}

HwRootArchive* HwXMLElement::asRootArchive()
{
    return nullptr;
}

bool HwXMLElement::isRootElement() const
{
    return !m_parent || m_parent->getType() == TYPE_ROOTARCHIVE || m_parent->getType() == TYPE_ARCHIVE;
}

bool HwXMLElement::isInstance() const
{
    return m_parent && m_parent->getType() == TYPE_ROOTARCHIVE;
}

unsigned int HwXMLElement::offsetOf(const HwXMLElement* other) const
{
    return other->getBaseAddress() - getBaseAddress();
}

void HwXMLElement::dumpIndent(int level)
{
    if (level < 1)
        return;
    for (int i = 0; i < level; ++i)
        std::fputc(' ', stdout);
    std::fputs("|_", stdout);
}

namespace {

template<typename T>
std::unique_ptr<HwXMLElement> copyAs(const HwXMLElement* source)
{
    return std::make_unique<T>(*static_cast<const T*>(source));
}

} // namespace

std::unique_ptr<HwXMLElement> HwXMLElement::anonymousCopy(const HwXMLElement* source)
{
    if (!source)
        return nullptr;
    // The kind number, which only the constructors of the matching classes set, selects the class.
    switch (source->getType()) {
    case TYPE_HOLE:
        return copyAs<HwHole>(source);
    case TYPE_REG32:
        return copyAs<HwRegister32>(source);
    case TYPE_REG16:
        return copyAs<HwRegister16>(source);
    case TYPE_REG8:
        return copyAs<HwRegister8>(source);
    case TYPE_IREG8:
        return copyAs<HwInternalRegister8>(source);
    case TYPE_INT32:
        return copyAs<HwInt32>(source);
    case TYPE_INT16:
        return copyAs<HwInt16>(source);
    case TYPE_INT8:
        return copyAs<HwInt8>(source);
    case TYPE_UINT32:
        return copyAs<HwUnsignedInt32>(source);
    case TYPE_UINT16:
        return copyAs<HwUnsignedInt16>(source);
    case TYPE_UINT8:
        return copyAs<HwUnsignedInt8>(source);
    case TYPE_BOOL:
        return copyAs<HwBoolean>(source);
    case TYPE_VOID:
        return copyAs<HwVoid>(source);
    case TYPE_BITFIELD:
        return copyAs<HwBitField>(source);
    case TYPE_POINTER:
        return copyAs<HwPointer>(source);
    case TYPE_STRUCT:
        return copyAs<HwStruct>(source);
    case TYPE_ARRAY:
        return copyAs<HwArray>(source);
    case TYPE_MEMORY:
        return copyAs<HwMemory>(source);
    case TYPE_EXTERNAL:
        return copyAs<HwExternal>(source);
    case TYPE_VALUABLE:
    case TYPE_ARCHIVE:
    case TYPE_ROOTARCHIVE:
        break;
    }
    return nullptr;
}
