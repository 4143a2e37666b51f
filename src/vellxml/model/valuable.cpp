#include "format_p.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>

#include <cstring>

using vellxml::model_p::hexUpper;
using vellxml::model_p::printDumpLine;

HwValuable::HwValuable(const QString& name, bool readable, bool writable)
    : HwXMLElement(name, TYPE_VALUABLE)
    , m_readable(readable)
    , m_writable(writable)
{
}

HwValuable::HwValuable(const HwValuable& other)
    : HwXMLElement(other)
    , m_displayType(other.m_displayType)
    , m_readable(other.m_readable)
    , m_writable(other.m_writable)
    , m_enumHolder(other.m_enumHolder)
{
    // The physical top is not copied: a copy has its own once the VHDL generator maps it.
    if (other.m_valuableExtras) {
        ValuableExtras& extras = valuableExtras();
        extras.extraText = other.m_valuableExtras->extraText;
        extras.lowPartName = other.m_valuableExtras->lowPartName;
        extras.highPartName = other.m_valuableExtras->highPartName;
    }
    m_bitFields.reserve(other.m_bitFields.size());
    for (const auto& bitField : other.m_bitFields)
        addBitField(std::make_unique<HwBitField>(*bitField));
    // A group refers to bitfields by pointer: point the copy's groups at the copied bitfields.
    for (const auto& group : other.getBitGroups()) {
        auto copy = std::make_unique<HwBitGroup>(group->getName(), this);
        for (const HwBitField* member : group->getBitFields()) {
            if (HwBitField* copiedMember = getBitFieldByName(member->getName()))
                copy->addBitField(copiedMember);
        }
        addBitGroup(std::move(copy));
    }
}

HwValuable::~HwValuable() = default;

// Registers are the second most numerous elements: the common element, the bitfields and a few flags.
static_assert(sizeof(HwValuable) <= sizeof(HwXMLElement) + sizeof(std::vector<int>) + 3 * sizeof(std::uint64_t),
    "HwValuable grew: keep rarely used fields in ValuableExtras");

HwValuable::ValuableExtras& HwValuable::valuableExtras()
{
    if (!m_valuableExtras)
        m_valuableExtras = std::make_unique<ValuableExtras>();
    return *m_valuableExtras;
}

const std::vector<std::unique_ptr<HwBitGroup>>& HwValuable::getBitGroups() const
{
    static const std::vector<std::unique_ptr<HwBitGroup>> none;
    return m_valuableExtras ? m_valuableExtras->bitGroups : none;
}

void HwValuable::storeRareText(QString ValuableExtras::*field, const QString& text)
{
    // Clearing a text that was never set allocates nothing.
    if (m_valuableExtras || !text.isEmpty())
        valuableExtras().*field = text;
}

void HwValuable::setLowPartName(const QString& name)
{
    storeRareText(&ValuableExtras::lowPartName, name);
}

void HwValuable::setHighPartName(const QString& name)
{
    storeRareText(&ValuableExtras::highPartName, name);
}

void HwValuable::setExtraText(const QString& text)
{
    storeRareText(&ValuableExtras::extraText, text);
}

void HwValuable::setPhysicalTop(int top, const QString& expression)
{
    m_physicalTop = top;
    m_physicalTopIsNumber = expression == QString::number(top);
    storeRareText(&ValuableExtras::physicalTopExpr, m_physicalTopIsNumber ? QString() : expression);
}

unsigned int HwValuable::getAlignConstraint() const
{
    return sizeOf();
}

bool HwValuable::isValuable() const
{
    return true;
}

void HwValuable::memSet(const unsigned char* image)
{
    switch (getBitSize()) {
    case 8:
        setValue(image[0]);
        break;
    case 16: {
        std::uint16_t value;
        std::memcpy(&value, image, sizeof value);
        setValue(value);
        break;
    }
    case 32: {
        std::uint32_t value;
        std::memcpy(&value, image, sizeof value);
        setValue(value);
        break;
    }
    default:
        break;
    }
}

void HwValuable::getReadMask(unsigned char* mask) const
{
    const unsigned int bits = getBitSize();
    if (bits == 8 || bits == 16 || bits == 32)
        std::memset(mask, m_readable ? 0xFF : 0x00, bits / 8);
}

void HwValuable::memGet(unsigned char* image) const
{
    switch (getBitSize()) {
    case 8:
        image[0] = static_cast<unsigned char>(getValue());
        break;
    case 16: {
        const auto value = static_cast<std::uint16_t>(getValue());
        std::memcpy(image, &value, sizeof value);
        break;
    }
    case 32: {
        const std::uint32_t value = getValue();
        std::memcpy(image, &value, sizeof value);
        break;
    }
    default:
        break;
    }
}

void HwValuable::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
    for (const auto& bitField : m_bitFields)
        bitField->dumpInfo(level + 1);
}

unsigned int HwValuable::getSignedValue() const
{
    return getValue();
}

unsigned int HwValuable::getValueForWritingBitfieldFromCache(unsigned int cache) const
{
    for (const auto& bitField : m_bitFields) {
        const int kind = bitField->getWriteKind();
        if (kind == HwBitField::WRITE_SET || kind == HwBitField::WRITE_CLEAR)
            cache &= ~bitField->getFullValueUnshifted();
    }
    return cache;
}

unsigned int HwValuable::getValueForWritingBitfield() const
{
    return getValueForWritingBitfieldFromCache(getValue());
}

bool HwValuable::isSigned() const
{
    return false;
}

HwBitField* HwValuable::addBitField(std::unique_ptr<HwBitField> bitField)
{
    bitField->reparent(this);
    m_bitFields.push_back(std::move(bitField));
    return m_bitFields.back().get();
}

HwBitGroup* HwValuable::addBitGroup(std::unique_ptr<HwBitGroup> bitGroup)
{
    auto& groups = valuableExtras().bitGroups;
    groups.push_back(std::move(bitGroup));
    return groups.back().get();
}

HwValuable::ResetValue HwValuable::getResetValue() const
{
    const unsigned int bits = getBitSize();
    const std::uint32_t width = bits == 0 || bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1u;
    ResetValue reset;
    std::uint32_t known = 0;
    for (const auto& field : m_bitFields) {
        const std::uint32_t mask = field->getFullValueUnshifted() & width;
        if (field->hasResetValue()) {
            reset.value = field->insertValueInCache(reset.value, field->getResetValue());
            known |= mask;
            reset.described = true;
        } else {
            reset.unknown |= mask;
        }
    }
    // A bit that a field with a reset value describes is known, even if another field overlaps it.
    reset.unknown &= ~known;
    reset.value &= width & ~reset.unknown;
    return reset;
}

QString HwValuable::getResetString() const
{
    const ResetValue reset = getResetValue();
    if (!reset.described)
        return QStringLiteral("-");
    const unsigned int bits = getBitSize();
    const int digits = bits == 0 || bits >= 32 ? 8 : static_cast<int>((bits + 3) / 4);
    QString text = QStringLiteral("0x");
    for (int digit = digits - 1; digit >= 0; --digit) {
        const unsigned int shift = static_cast<unsigned int>(digit) * 4;
        if ((reset.unknown >> shift) & 0xFu)
            text += QLatin1Char('x');
        else
            text += QString::number((reset.value >> shift) & 0xFu, 16).toUpper();
    }
    return text;
}

HwBitField* HwValuable::getBitFieldByName(const QString& name) const
{
    for (const auto& bitField : m_bitFields) {
        if (bitField->getName() == name)
            return bitField.get();
    }
    return nullptr;
}

HwBitGroup* HwValuable::getBitGroupByName(const QString& name) const
{
    for (const auto& group : getBitGroups()) {
        if (group->getName() == name)
            return group.get();
    }
    return nullptr;
}

QString HwValuable::getProtectString() const
{
    return QLatin1String(m_readable ? "r" : "-") + QLatin1String(m_writable ? "w" : "-");
}

QString HwValuable::getValueString(DisplayType format) const
{
    if (format == DISPLAY_DEFAULT)
        format = m_displayType;
    if (!m_readable)
        return QStringLiteral("?");
    switch (format) {
    case DISPLAY_HEX: {
        QString digits = hexUpper(getValue());
        // A negative number shows the bit pattern of its own width, not the sign-extended 32 bits.
        if (isSigned())
            digits = digits.right(static_cast<int>(sizeOf() * 2));
        return QLatin1String("0x") + digits;
    }
    case DISPLAY_BIN: {
        QString bits = QStringLiteral("0b");
        const unsigned int value = getValue();
        for (int bit = static_cast<int>(getBitSize()) - 1; bit >= 0; --bit)
            bits += QLatin1Char(bit < 32 && ((value >> bit) & 1u) ? '1' : '0');
        return bits;
    }
    default:
        if (isSigned())
            return QString::number(static_cast<std::int32_t>(getSignedValue()));
        return QString::number(getValue());
    }
}

// Registers ---------------------------------------------------------------------------------------------

HwRegister32::HwRegister32(const QString& name, bool readable, bool writable)
    : HwFixedWidthValuable(name, readable, writable)
{
    setElementType(TYPE_REG32);
}

HwRegister32::HwRegister32(const HwRegister32& other)
    : HwFixedWidthValuable(other)
{
}

QString HwRegister32::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("Reg32") : getTypeName();
}

HwRegister16::HwRegister16(const QString& name, bool readable, bool writable)
    : HwFixedWidthValuable(name, readable, writable)
{
    setElementType(TYPE_REG16);
}

HwRegister16::HwRegister16(const HwRegister16& other)
    : HwFixedWidthValuable(other)
{
}

QString HwRegister16::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("Reg16") : getTypeName();
}

HwRegister8::HwRegister8(const QString& name, bool readable, bool writable)
    : HwFixedWidthValuable(name, readable, writable)
{
    setElementType(TYPE_REG8);
}

HwRegister8::HwRegister8(const HwRegister8& other)
    : HwFixedWidthValuable(other)
{
}

QString HwRegister8::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("Reg8") : getTypeName();
}

HwInternalRegister8::HwInternalRegister8(const QString& name, bool readable, bool writable)
    : HwRegister8(name, readable, writable)
{
    setElementType(TYPE_IREG8);
}

HwInternalRegister8::HwInternalRegister8(const HwInternalRegister8& other)
    : HwRegister8(other)
{
}

HwInternalRegister8::~HwInternalRegister8() = default;

// Integers ----------------------------------------------------------------------------------------------
// Built readable and writable, shown in decimal. The signed ones keep their bit pattern and sign-extend it
// in getValue().

HwInt32::HwInt32(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_INT32);
    setDisplayType(DISPLAY_DEC);
}

HwInt32::HwInt32(const HwInt32& other)
    : HwFixedWidthValuable(other)
{
}

QString HwInt32::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("int32") : getTypeName();
}

HwInt16::HwInt16(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_INT16);
    setDisplayType(DISPLAY_DEC);
}

HwInt16::HwInt16(const HwInt16& other)
    : HwFixedWidthValuable(other)
{
}

QString HwInt16::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("int16") : getTypeName();
}

HwInt8::HwInt8(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_INT8);
    setDisplayType(DISPLAY_DEC);
}

HwInt8::HwInt8(const HwInt8& other)
    : HwFixedWidthValuable(other)
{
}

QString HwInt8::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("int8") : getTypeName();
}

HwUnsignedInt32::HwUnsignedInt32(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_UINT32);
    setDisplayType(DISPLAY_DEC);
}

HwUnsignedInt32::HwUnsignedInt32(const HwUnsignedInt32& other)
    : HwFixedWidthValuable(other)
{
}

QString HwUnsignedInt32::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("uint32") : getTypeName();
}

HwUnsignedInt16::HwUnsignedInt16(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_UINT16);
    setDisplayType(DISPLAY_DEC);
}

HwUnsignedInt16::HwUnsignedInt16(const HwUnsignedInt16& other)
    : HwFixedWidthValuable(other)
{
}

QString HwUnsignedInt16::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("uint16") : getTypeName();
}

HwUnsignedInt8::HwUnsignedInt8(const QString& name)
    : HwFixedWidthValuable(name, true, true)
{
    setElementType(TYPE_UINT8);
    setDisplayType(DISPLAY_DEC);
}

HwUnsignedInt8::HwUnsignedInt8(const HwUnsignedInt8& other)
    : HwFixedWidthValuable(other)
{
}

QString HwUnsignedInt8::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("uint8") : getTypeName();
}

HwBoolean::HwBoolean(const QString& name)
    : HwUnsignedInt8(name)
{
    setElementType(TYPE_BOOL);
}

HwBoolean::HwBoolean(const HwBoolean& other)
    : HwUnsignedInt8(other)
{
}

QString HwBoolean::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("bool") : getTypeName();
}

HwVoid::HwVoid(const QString& name)
    : HwUnsignedInt32(name)
{
    setElementType(TYPE_VOID);
    setDisplayType(DISPLAY_HEX);
}

HwVoid::HwVoid(const HwVoid& other)
    : HwUnsignedInt32(other)
{
}

QString HwVoid::getTypeString() const
{
    return getTypeName().isEmpty() ? QStringLiteral("void") : getTypeName();
}
