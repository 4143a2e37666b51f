#ifndef VELLXML_MODEL_VALUABLE_H
#define VELLXML_MODEL_VALUABLE_H

#include <vellxml/model/element.h>
#include <vellxml/vellxml_export.h>

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

class HwBitField;
class HwBitGroup;

/// How a value is shown. DISPLAY_DEFAULT asks for the valuable's or bitfield's own format.
enum DisplayType : int { DISPLAY_DEC = 0, DISPLAY_HEX = 1, DISPLAY_BIN = 2, DISPLAY_DEFAULT = 3 };

/// An element holding one 8, 16 or 32-bit value: a register, an integer, a boolean or a pointer.
///
/// The value is a cache: the last value the client read or set. Reading and writing the target is
/// HwXMLElement::read/write; storing the result is the client's job (setValue, setReadError). A valuable
/// owns its bitfields and bit groups.
class VELLXML_EXPORT HwValuable : public HwXMLElement {
public:
    HwValuable(const QString& name, bool readable, bool writable);
    ~HwValuable() override;

    /// The valuable's own size.
    unsigned int getAlignConstraint() const override;
    bool isValuable() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_content() override;
    QString c_typedefSerialize() override;
    QString c_bitfieldSerialize(const QString& prefix) override;
    QString c_serialize(int level) override;
    QString asm_content() override;
    QString asmarm_content() override;
    QString asm_serialize(const QString& prefix, const QString& base) override;
    QString macro_serialize(const QString& prefix, QHash<QString, QString>& macros) override;
    QString vhdl_serialize(int level, HwVHDLNames& names) override;

    // Path lookup and completion (access/).
    /// The valuable's bitfields and bit groups, its access methods (and ">" on a pointer); with a further
    /// token, the list of the first bitfield of that name.
    CXMLCompletionList getCompletionListFromTokens(const QStringList& tokens) override;
    /// This valuable, or with two or more tokens its first bitfield named by the second token; later
    /// tokens are not looked at.
    HwXMLElement* getElementFromPathTokens(const QStringList& tokens) override;

    /// Assigns the bitfields their packed physical positions: in list order from bit 0 up, without gaps.
    virtual void buildPhysicalMap();
    /// The physical top position that buildPhysicalMap() left: the last field's physical high position
    /// (the register's width minus one when it has no bitfields).
    int getPhysicalTop() const { return m_physicalTop; }
    QString getPhysicalTopExpression() const
    {
        if (m_physicalTopIsNumber)
            return QString::number(m_physicalTop);
        return m_valuableExtras ? m_valuableExtras->physicalTopExpr : QString();
    }
    /// The value as a signed number's bit pattern (the signed classes already sign-extend getValue()).
    virtual unsigned int getSignedValue() const;
    /// The cached value, zero- or sign-extended to 32 bits.
    virtual unsigned int getValue() const = 0;
    /// Sets the cached value, truncated to the class width.
    virtual void setValue(unsigned int value) = 0;
    /// The cache with the bits of every write-one-to-set and write-one-to-clear bitfield cleared: the base
    /// of a read-modify-write that must not trigger the fields it does not target.
    virtual unsigned int getValueForWritingBitfieldFromCache(unsigned int cache) const;
    virtual unsigned int getValueForWritingBitfield() const;
    virtual bool isSigned() const;

    /// Adopts the bitfield (re-parented here) and appends it.
    HwBitField* addBitField(std::unique_ptr<HwBitField> bitField);
    /// Adopts the bit group and appends it.
    HwBitGroup* addBitGroup(std::unique_ptr<HwBitGroup> bitGroup);
    /// The first bitfield of that exact name, or null.
    HwBitField* getBitFieldByName(const QString& name) const;
    /// The first bit group of that exact name, or null.
    HwBitGroup* getBitGroupByName(const QString& name) const;
    const std::vector<std::unique_ptr<HwBitField>>& getBitFields() const { return m_bitFields; }
    const std::vector<std::unique_ptr<HwBitGroup>>& getBitGroups() const;

    /// The value after reset that the bitfields describe, within the valuable's width: each field's reset
    /// value in its bits; the bits of fields without one are `unknown` (and 0 in `value`); bits of no field
    /// are reserved, 0 at reset. `described` is false when no field has a reset value.
    struct ResetValue {
        std::uint32_t value = 0;
        std::uint32_t unknown = 0;
        bool described = false;
    };
    ResetValue getResetValue() const;
    /// The reset value as documentation shows it: "0x" and one hexadecimal digit per 4 bits of the width,
    /// "x" for a digit holding unknown bits; "-" when no field has a reset value. The one text of the reset
    /// value of a register, wherever it is shown.
    QString getResetString() const;

    bool isReadable() const { return m_readable; }
    bool isWritable() const { return m_writable; }
    /// "r" or "-", then "w" or "-".
    QString getProtectString() const;
    /// The value in a display format; "?" when read-protected.
    QString getValueString(DisplayType format) const;
    DisplayType getDisplayType() const { return m_displayType; }
    void setDisplayType(DisplayType displayType) { m_displayType = displayType; }

    /// Names of the low and high halves, which the C generator overlays on the register.
    QString getLowPartName() const { return m_valuableExtras ? m_valuableExtras->lowPartName : QString(); }
    void setLowPartName(const QString& name);
    QString getHighPartName() const { return m_valuableExtras ? m_valuableExtras->highPartName : QString(); }
    void setHighPartName(const QString& name);
    /// Free text of the valuable's tag, kept for the C generator.
    QString getExtraText() const { return m_valuableExtras ? m_valuableExtras->extraText : QString(); }
    void setExtraText(const QString& text);
    /// True for a register that only carries an enum's values.
    bool isEnumHolder() const { return m_enumHolder; }
    void setEnumHolder(bool enumHolder) { m_enumHolder = enumHolder; }

protected:
    /// Copies the element fields, protection, display and flags, then the bitfields and the bit groups,
    /// whose members are re-linked to the copied bitfields of the same names.
    explicit HwValuable(const HwValuable& other);

private:
    /// Bit groups, halves, extra text and the physical top: few registers have any of them, so they are
    /// allocated on first use.
    struct ValuableExtras : Pooled {
        std::vector<std::unique_ptr<HwBitGroup>> bitGroups;
        QString extraText;
        QString lowPartName;
        QString highPartName;
        QString physicalTopExpr;
    };
    ValuableExtras& valuableExtras();
    void storeRareText(QString ValuableExtras::*field, const QString& text);
    /// Records what buildPhysicalMap() computed.
    void setPhysicalTop(int top, const QString& expression);

    std::vector<std::unique_ptr<HwBitField>> m_bitFields;
    std::unique_ptr<ValuableExtras> m_valuableExtras;
    int m_physicalTop = -1;
    DisplayType m_displayType = DISPLAY_HEX;
    bool m_readable;
    bool m_writable;
    bool m_enumHolder = false;
    // The physical top's text is its number (nearly always): kept as this flag, not as a text.
    bool m_physicalTopIsNumber = false;
};

/// A valuable of a fixed width: the cached value is `Storage` wide, and getValue() sign-extends it when
/// `Signed`. The alignment is the width (HwValuable::getAlignConstraint).
template<typename Storage, bool Signed>
class VELLXML_EXPORT HwFixedWidthValuable : public HwValuable {
public:
    unsigned int sizeOf() const override { return sizeof(Storage); }
    unsigned int getValue() const override
    {
        if constexpr (Signed && sizeof(Storage) < 4) {
            constexpr unsigned int sign = 1u << (8 * sizeof(Storage) - 1);
            return (m_value & sign) ? (m_value | ~((sign << 1) - 1)) : m_value;
        } else {
            return m_value;
        }
    }
    void setValue(unsigned int value) override { m_value = static_cast<Storage>(value); }
    bool isSigned() const override { return Signed; }

protected:
    using HwValuable::HwValuable;
    explicit HwFixedWidthValuable(const HwFixedWidthValuable& other)
        : HwValuable(other)
        , m_value(other.m_value)
    {
    }

private:
    Storage m_value = 0; // the bit pattern
};

/// A 32-bit target register.
class VELLXML_EXPORT HwRegister32 : public HwFixedWidthValuable<std::uint32_t, false> {
public:
    explicit HwRegister32(const QString& name, bool readable = true, bool writable = true);
    explicit HwRegister32(const HwRegister32& other);
    /// The type name when set, else "Reg32".
    QString getTypeString() const override;
};

/// A 16-bit target register.
class VELLXML_EXPORT HwRegister16 : public HwFixedWidthValuable<std::uint16_t, false> {
public:
    explicit HwRegister16(const QString& name, bool readable = true, bool writable = true);
    explicit HwRegister16(const HwRegister16& other);
    /// The type name when set, else "Reg16".
    QString getTypeString() const override;
};

/// An 8-bit target register.
class VELLXML_EXPORT HwRegister8 : public HwFixedWidthValuable<std::uint8_t, false> {
public:
    explicit HwRegister8(const QString& name, bool readable = true, bool writable = true);
    explicit HwRegister8(const HwRegister8& other);
    /// The type name when set, else "Reg8".
    QString getTypeString() const override;
};

/// An 8-bit register of the debug side, reached through the host's internal access.
class VELLXML_EXPORT HwInternalRegister8 : public HwRegister8 {
public:
    explicit HwInternalRegister8(const QString& name, bool readable = true, bool writable = true);
    explicit HwInternalRegister8(const HwInternalRegister8& other);
    ~HwInternalRegister8() override;
};

/// A signed 32-bit integer of a memory structure; shown in decimal.
class VELLXML_EXPORT HwInt32 : public HwFixedWidthValuable<std::uint32_t, true> {
public:
    explicit HwInt32(const QString& name);
    explicit HwInt32(const HwInt32& other);
    QString getTypeString() const override;
};

/// A signed 16-bit integer; getValue() sign-extends it.
class VELLXML_EXPORT HwInt16 : public HwFixedWidthValuable<std::uint16_t, true> {
public:
    explicit HwInt16(const QString& name);
    explicit HwInt16(const HwInt16& other);
    QString getTypeString() const override;
};

/// A signed 8-bit integer; getValue() sign-extends it.
class VELLXML_EXPORT HwInt8 : public HwFixedWidthValuable<std::uint8_t, true> {
public:
    explicit HwInt8(const QString& name);
    explicit HwInt8(const HwInt8& other);
    QString getTypeString() const override;
};

/// An unsigned 32-bit integer.
class VELLXML_EXPORT HwUnsignedInt32 : public HwFixedWidthValuable<std::uint32_t, false> {
public:
    explicit HwUnsignedInt32(const QString& name);
    explicit HwUnsignedInt32(const HwUnsignedInt32& other);
    QString getTypeString() const override;
};

/// An unsigned 16-bit integer.
class VELLXML_EXPORT HwUnsignedInt16 : public HwFixedWidthValuable<std::uint16_t, false> {
public:
    explicit HwUnsignedInt16(const QString& name);
    explicit HwUnsignedInt16(const HwUnsignedInt16& other);
    QString getTypeString() const override;
};

/// An unsigned 8-bit integer.
class VELLXML_EXPORT HwUnsignedInt8 : public HwFixedWidthValuable<std::uint8_t, false> {
public:
    explicit HwUnsignedInt8(const QString& name);
    explicit HwUnsignedInt8(const HwUnsignedInt8& other);
    QString getTypeString() const override;
};

/// A boolean: an unsigned 8-bit integer of its own kind.
class VELLXML_EXPORT HwBoolean : public HwUnsignedInt8 {
public:
    explicit HwBoolean(const QString& name);
    explicit HwBoolean(const HwBoolean& other);
    QString getTypeString() const override;
};

/// A value of unknown meaning: 32 bits, shown in hexadecimal, never read or written on the target.
class VELLXML_EXPORT HwVoid : public HwUnsignedInt32 {
public:
    explicit HwVoid(const QString& name);
    explicit HwVoid(const HwVoid& other);
    QString getTypeString() const override;
};

#endif
