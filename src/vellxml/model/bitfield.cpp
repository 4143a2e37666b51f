#include "format_p.h"

#include <vellxml/model/bitfield.h>

#include <algorithm>
#include <bitset>
#include <cstdio>

using vellxml::model_p::hexUpper;
using vellxml::model_p::printDumpLine;
using vellxml::model_p::shiftRight;

namespace {

/// The ones of a field of width bits, from bit 0.
std::uint32_t onesOfWidth(long long width)
{
    if (width <= 0)
        return 0;
    if (width >= 32)
        return 0xFFFFFFFFu;
    return (1u << width) - 1u;
}

/// True when text is exactly QString::number(value); checked without allocating or formatting, once per
/// field made.
bool isOwnNumber(const QString& text, int value)
{
    const bool negative = value < 0;
    // The magnitude as unsigned: INT_MIN has no positive int.
    std::uint32_t magnitude = negative ? 0u - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
    char digits[10];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (text.size() != count + (negative ? 1 : 0))
        return false;
    const QChar* at = text.constData();
    if (negative && *at++ != QLatin1Char('-'))
        return false;
    while (count > 0) {
        if (*at++ != QLatin1Char(digits[--count]))
            return false;
    }
    return true;
}

} // namespace

HwBitField::HwBitField(const QString& name, bool readable, int writeKind, const QString& upExpr, int upPos,
    const QString& downExpr, int downPos, std::uint32_t resetValue, bool hasReset, DisplayType displayType)
    : HwXMLElement(name, TYPE_BITFIELD)
    , m_readable(readable)
    , m_hasReset(hasReset)
    , m_writeKind(writeKind)
    , m_displayType(displayType)
    , m_upPos(upPos)
    , m_downPos(downPos)
    , m_resetValue(resetValue)
{
    setPositions(upExpr, upPos, downExpr, downPos);
}

HwBitField::HwBitField(const HwBitField& other)
    : HwXMLElement(other)
    , m_readable(other.m_readable)
    , m_hasReset(other.m_hasReset)
    , m_valueMacro(other.m_valueMacro)
    , m_maskMacro(other.m_maskMacro)
    , m_shiftMacro(other.m_shiftMacro)
    , m_upIsNumber(other.m_upIsNumber)
    , m_downIsNumber(other.m_downIsNumber)
    , m_writeKind(other.m_writeKind)
    , m_displayType(other.m_displayType)
    , m_upPos(other.m_upPos)
    , m_downPos(other.m_downPos)
    , m_resetValue(other.m_resetValue)
    , m_fieldExtras(other.m_fieldExtras)
{
}

HwBitField::~HwBitField() = default;

// A large chip holds millions of bitfields: the common element, the positions, a few flags and one pointer.
static_assert(sizeof(HwBitField) <= sizeof(HwXMLElement) + 4 * sizeof(std::uint64_t),
    "HwBitField grew: keep rarely used fields in FieldExtras");

HwBitField::FieldExtras& HwBitField::fieldExtras()
{
    if (!m_fieldExtras.constData())
        m_fieldExtras = QSharedDataPointer<FieldExtras>(new FieldExtras);
    return *m_fieldExtras.data(); // a copy's own from here on
}

void HwBitField::addOption(const HwBitFieldOption& option)
{
    fieldExtras().options.append(option);
}

const QList<HwBitFieldOption>& HwBitField::getOptions() const
{
    static const QList<HwBitFieldOption> none;
    return m_fieldExtras.constData() ? m_fieldExtras.constData()->options : none;
}

unsigned int HwBitField::sizeOf() const
{
    return getBitSize() / 8;
}

unsigned int HwBitField::getAlignConstraint() const
{
    return 0;
}

unsigned int HwBitField::getBitSize() const
{
    return m_upPos < m_downPos ? 0u : static_cast<unsigned int>(fieldWidth());
}

long long HwBitField::fieldWidth() const
{
    // Positions come from description expressions: compute wide so that no pair of them overflows.
    return static_cast<long long>(m_upPos) - m_downPos + 1;
}

unsigned int HwBitField::getBaseAddress() const
{
    return getParent() ? getParent()->getBaseAddress() : 0u;
}

bool HwBitField::isBitfield() const
{
    return true;
}

QString HwBitField::getPath() const
{
    if (!getParent())
        return getName();
    return getParent()->getPath() + QLatin1Char('.') + getName();
}

QString HwBitField::getTypeString() const
{
    return QStringLiteral("Bitfield");
}

void HwBitField::memSet(const unsigned char*)
{
}

void HwBitField::getReadMask(unsigned char*) const
{
}

void HwBitField::memGet(unsigned char*) const
{
}

void HwBitField::dumpInfo(int level) const
{
    dumpIndent(level);
    printDumpLine(getType(), getName());
}

void HwBitField::setPositions(const QString& upExpr, int upPos, const QString& downExpr, int downPos)
{
    m_upPos = upPos;
    m_downPos = downPos;
    m_upIsNumber = isOwnNumber(upExpr, upPos);
    m_downIsNumber = isOwnNumber(downExpr, downPos);
    // Texts that are not the numbers (expressions, mostly) are rare: only they cost an allocation, and a
    // copy given the texts it already has keeps sharing them.
    const QString up = m_upIsNumber ? QString() : upExpr;
    const QString down = m_downIsNumber ? QString() : downExpr;
    const FieldExtras* shared = m_fieldExtras.constData();
    if (shared ? (shared->upExpr != up || shared->downExpr != down) : (!up.isEmpty() || !down.isEmpty())) {
        FieldExtras& extras = fieldExtras();
        extras.upExpr = up;
        extras.downExpr = down;
    }
}

void HwBitField::setPhysicalPositions(const QString& upExpr, int upPos, const QString& downExpr, int downPos)
{
    FieldExtras& extras = fieldExtras();
    extras.physUpExpr = upExpr;
    extras.physUpPos = upPos;
    extras.physDownExpr = downExpr;
    extras.physDownPos = downPos;
}

HwValuable* HwBitField::getValuable() const
{
    HwXMLElement* parent = getParent();
    return parent && parent->isValuable() ? static_cast<HwValuable*>(parent) : nullptr;
}

QString HwBitField::getAccessString() const
{
    QString access = QLatin1String(m_readable ? "r" : "-");
    switch (m_writeKind) {
    case WRITE_NORMAL:
        return access + QLatin1Char('w');
    case WRITE_SET:
        return access + QLatin1Char('s');
    case WRITE_CLEAR:
        return access + QLatin1Char('c');
    default:
        return access + QLatin1Char('-');
    }
}

QString HwBitField::getResetString(DisplayType format) const
{
    if (!m_hasReset)
        return QStringLiteral("-");
    if (format == DISPLAY_DEFAULT)
        format = m_displayType;
    // 0 and 1 read the same in every base, so they go without prefix.
    const bool prefixed = m_resetValue > 1;
    switch (format) {
    case DISPLAY_HEX:
        return (prefixed ? QStringLiteral("0x") : QString()) + hexUpper(m_resetValue);
    case DISPLAY_DEC:
        return QString::number(m_resetValue);
    case DISPLAY_BIN:
        return (prefixed ? QStringLiteral("0b") : QString()) + convertValueToBitString(m_resetValue);
    default:
        return QString();
    }
}

QString HwBitField::convertValueToBitString(std::uint32_t value) const
{
    QString bits;
    for (long long bit = fieldWidth() - 1; bit >= 0; --bit)
        bits += QLatin1Char(bit < 32 && ((value >> bit) & 1u) ? '1' : '0');
    return bits;
}

std::uint32_t HwBitField::getValueFromCache(std::uint32_t cache) const
{
    std::uint32_t value = 0;
    for (int bit = std::max(m_downPos, 0); bit <= std::min(m_upPos, 31); ++bit) {
        const long long target = static_cast<long long>(bit) - m_downPos;
        if (target < 32 && ((cache >> bit) & 1u))
            value |= 1u << target;
    }
    return value;
}

std::uint32_t HwBitField::getValue() const
{
    const HwValuable* valuable = getValuable();
    return valuable ? getValueFromCache(valuable->getValue()) : 0u;
}

QString HwBitField::getBitString() const
{
    const HwValuable* valuable = getValuable();
    if (!m_readable || (valuable && !valuable->isReadable()))
        return QStringLiteral("?");
    return convertValueToBitString(getValue());
}

std::uint32_t HwBitField::getFullValueUnshifted() const
{
    std::uint32_t mask = 0;
    for (int bit = std::max(m_downPos, 0); bit <= std::min(m_upPos, 31); ++bit)
        mask |= 1u << bit;
    return mask;
}

std::uint32_t HwBitField::getFullValueShifted() const
{
    return shiftRight(getFullValueUnshifted(), m_downPos);
}

std::uint32_t HwBitField::insertValueInCache(std::uint32_t cache, std::uint32_t value) const
{
    const std::uint32_t mask = getFullValueUnshifted();
    return (cache & ~mask) | (shiftRight(value, -static_cast<long long>(m_downPos)) & mask);
}

QString HwBitField::convertValueToValueString(
    std::uint32_t value, DisplayType format, bool useOptions, bool optionOnly) const
{
    const std::uint32_t fieldValue = value & onesOfWidth(fieldWidth());
    QString optionName;
    bool matched = false;
    if (useOptions) {
        for (const HwBitFieldOption& option : getOptions()) {
            if (option.value == fieldValue) {
                optionName = option.name;
                matched = true;
                break;
            }
        }
    }
    if (format == DISPLAY_DEFAULT)
        format = m_displayType;
    QString number;
    if (format == DISPLAY_HEX)
        number = QLatin1String("0x") + hexUpper(fieldValue);
    else if (format == DISPLAY_BIN)
        number = QLatin1String("0b") + convertValueToBitString(fieldValue);
    else
        number = QString::number(fieldValue);
    if (!matched)
        return number;
    if (optionOnly)
        return optionName;
    return number + QLatin1String(" (") + optionName + QLatin1Char(')');
}

QString HwBitField::getValueStringFromCache(
    std::uint32_t value, DisplayType format, bool optionOnly, bool force) const
{
    const HwValuable* valuable = getValuable();
    if (!force && (!m_readable || (valuable && !valuable->isReadable())))
        return QStringLiteral("?");
    return convertValueToValueString(value, format, true, optionOnly);
}

QString HwBitField::getValueString(DisplayType format, bool optionOnly, bool force) const
{
    return getValueStringFromCache(getValue(), format, optionOnly, force);
}

std::uint32_t HwBitField::getValueFromOptionName(const QString& name) const
{
    for (const HwBitFieldOption& option : getOptions()) {
        if (option.name == name)
            return option.value;
    }
    return 0;
}

bool BitFieldPosLess(const HwBitField* a, const HwBitField* b)
{
    return a->getDownPos() < b->getDownPos();
}

bool BitFieldPosGreater(const HwBitField* a, const HwBitField* b)
{
    return a->getDownPos() > b->getDownPos();
}

// Bit groups --------------------------------------------------------------------------------------------

HwBitGroup::HwBitGroup(const QString& name, HwValuable* valuable)
    : m_valuable(valuable)
    , m_name(name)
{
}

void HwBitGroup::addBitField(HwBitField* bitField)
{
    m_bitFields.append(bitField);
}

void HwBitGroup::addBitGroup(const HwBitGroup* other)
{
    m_bitFields.append(other->m_bitFields);
}

std::uint32_t HwBitGroup::getFullValueUnshifted() const
{
    std::uint32_t mask = 0;
    for (const HwBitField* bitField : m_bitFields)
        mask |= bitField->getFullValueUnshifted();
    return mask;
}

std::uint32_t HwBitGroup::getFullValueShifted() const
{
    return shiftRight(getFullValueUnshifted(), getShift());
}

int HwBitGroup::getTotalBits() const
{
    return static_cast<int>(std::bitset<32>(getFullValueUnshifted()).count());
}

int HwBitGroup::getShift() const
{
    int shift = 32;
    for (const HwBitField* bitField : m_bitFields) {
        if (bitField->getDownPos() < shift)
            shift = bitField->getDownPos();
    }
    return shift;
}

bool HwBitGroup::isContiguous() const
{
    const std::uint32_t mask = getFullValueShifted();
    // Ones from bit 0 up and nothing above: adding 1 carries through all of them.
    return (mask & (mask + 1u)) == 0;
}

bool HwBitGroup::isPhysicalContiguous() const
{
    int min = 32;
    for (const HwBitField* bitField : m_bitFields) {
        if (bitField->getPhysDownPos() < min)
            min = bitField->getPhysDownPos();
    }
    int max = -1;
    for (const HwBitField* bitField : m_bitFields) {
        if (max < bitField->getPhysDownPos())
            max = bitField->getPhysUpPos();
    }
    return static_cast<long long>(max) + 1 - min == getTotalBits();
}

QString HwBitGroup::getDownPosExpression() const
{
    const HwBitField* lowest = nullptr;
    for (const HwBitField* bitField : m_bitFields) {
        if (!lowest || bitField->getDownPos() < lowest->getDownPos())
            lowest = bitField;
    }
    return lowest ? lowest->getDownExpr() : QString();
}

QString HwBitGroup::getUpPosExpression() const
{
    const HwBitField* highest = nullptr;
    for (const HwBitField* bitField : m_bitFields) {
        if (!highest || bitField->getUpPos() > highest->getUpPos())
            highest = bitField;
    }
    return highest ? highest->getUpExpr() : QString();
}

QString HwBitGroup::getDownPosPhysicalExpression() const
{
    const HwBitField* lowest = nullptr;
    for (const HwBitField* bitField : m_bitFields) {
        if (!lowest || bitField->getPhysDownPos() < lowest->getPhysDownPos())
            lowest = bitField;
    }
    return lowest ? lowest->getPhysDownExpr() : QString();
}

QString HwBitGroup::getUpPosPhysicalExpression() const
{
    const HwBitField* highest = nullptr;
    for (const HwBitField* bitField : m_bitFields) {
        if (!highest || bitField->getPhysUpPos() > highest->getPhysUpPos())
            highest = bitField;
    }
    return highest ? highest->getPhysUpExpr() : QString();
}
