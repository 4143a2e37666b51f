#ifndef VELLXML_MODEL_BITFIELD_H
#define VELLXML_MODEL_BITFIELD_H

#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>
#include <vellxml/vellxml_export.h>

#include <QList>
#include <QSharedData>
#include <QSharedDataPointer>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

/// A named value of a bitfield. The value is already shifted down to bit 0.
struct HwBitFieldOption {
    QString name;
    std::uint32_t value = 0;
    QString description; ///< shown in the documentation's table of options
};

/// A run of bits inside one valuable (its parent), with its access, reset value and options.
///
/// Positions are bit numbers in the valuable: upPos the highest, downPos the lowest. A field whose up
/// position is below its down position is empty: its masks and values are 0 and its bit strings empty.
class VELLXML_EXPORT HwBitField : public HwXMLElement {
public:
    /// How the field reacts to writes.
    enum WriteKind : int {
        WRITE_NONE = 0, ///< read-only
        WRITE_NORMAL = 1,
        WRITE_SET = 2, ///< writing 1 sets the bit, writing 0 leaves it
        WRITE_CLEAR = 3 ///< writing 1 clears the bit, writing 0 leaves it
    };

    HwBitField(const QString& name, bool readable, int writeKind, const QString& upExpr, int upPos,
        const QString& downExpr, int downPos, std::uint32_t resetValue, bool hasReset,
        DisplayType displayType);
    /// Copies the element fields and every field of the bitfield, options included.
    explicit HwBitField(const HwBitField& other);
    ~HwBitField() override;

    /// The field's width in bytes, rounded down: a field of fewer than 8 bits has size 0.
    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    /// upPos - downPos + 1; 0 for an empty field.
    unsigned int getBitSize() const override;
    /// The valuable's base address; 0 without parent.
    unsigned int getBaseAddress() const override;
    bool isBitfield() const override;
    /// The valuable's path, ".", the name; the name alone without parent.
    QString getPath() const override;
    QString getTypeString() const override;
    // The valuable carries the bytes: a bitfield has no memory image of its own.
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;

    // HTML documentation (htmldoc/): the anchor and the menu node (a field's row is written by its valuable).
    QString getHrefName() const override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    /// The VHDL constant or subtype of the field's logical (l_) and physical (p_) positions.
    virtual QString vhdl_logical_serialize(int level, HwVHDLNames& names);
    virtual QString vhdl_physical_serialize(int level, HwVHDLNames& names);

    // Path lookup and completion (access/).
    /// The bitfield's access methods.
    CXMLCompletionList getCompletionListFromTokens(const QStringList& tokens) override;

    void setPositions(const QString& upExpr, int upPos, const QString& downExpr, int downPos);
    void setPhysicalPositions(const QString& upExpr, int upPos, const QString& downExpr, int downPos);
    int getUpPos() const { return m_upPos; }
    int getDownPos() const { return m_downPos; }
    /// The positions' texts. Most are the positions' own decimal numbers, which are not stored but made when
    /// asked: a large chip then keeps no text at all for most of its fields.
    /// True when both position texts are the positions' decimal numbers (no expression to evaluate).
    bool positionTextsAreNumbers() const { return m_upIsNumber && m_downIsNumber; }
    QString getUpExpr() const
    {
        return m_upIsNumber ? QString::number(m_upPos) : extrasOrNull() ? extrasOrNull()->upExpr : QString();
    }
    QString getDownExpr() const
    {
        return m_downIsNumber ? QString::number(m_downPos) : extrasOrNull() ? extrasOrNull()->downExpr : QString();
    }
    /// Physical positions exist once the VHDL generator has built its packed map (0 and "" before).
    int getPhysUpPos() const { return extrasOrNull() ? extrasOrNull()->physUpPos : 0; }
    int getPhysDownPos() const { return extrasOrNull() ? extrasOrNull()->physDownPos : 0; }
    QString getPhysUpExpr() const { return extrasOrNull() ? extrasOrNull()->physUpExpr : QString(); }
    QString getPhysDownExpr() const { return extrasOrNull() ? extrasOrNull()->physDownExpr : QString(); }

    bool isReadable() const { return m_readable; }
    int getWriteKind() const { return m_writeKind; }
    std::uint32_t getResetValue() const { return m_resetValue; }
    bool hasResetValue() const { return m_hasReset; }
    DisplayType getDisplayType() const { return m_displayType; }

    // Which C macros the generator writes for the field besides the forced ones.
    bool hasValueMacro() const { return m_valueMacro; }
    void setValueMacro(bool on) { m_valueMacro = on; }
    bool hasMaskMacro() const { return m_maskMacro; }
    void setMaskMacro(bool on) { m_maskMacro = on; }
    bool hasShiftMacro() const { return m_shiftMacro; }
    void setShiftMacro(bool on) { m_shiftMacro = on; }

    void addOption(const HwBitFieldOption& option);
    const QList<HwBitFieldOption>& getOptions() const;

    /// The owning valuable, or null.
    HwValuable* getValuable() const;

    /// "r" or "-", then "-", "w", "s" or "c" for the write kind.
    QString getAccessString() const;
    /// The reset value in a display format; "-" without reset value. The values 0 and 1 have no "0x" or
    /// "0b" prefix.
    QString getResetString(DisplayType format) const;
    /// The field's width of bits of value, most significant first.
    QString convertValueToBitString(std::uint32_t value) const;
    /// The field's bits of a valuable value, moved down to bit 0.
    std::uint32_t getValueFromCache(std::uint32_t cache) const;
    /// The field's bits of the valuable's cached value.
    std::uint32_t getValue() const;
    /// The cached value as bits; "?" when the field or its valuable is not readable.
    QString getBitString() const;
    /// The field's mask in place (bits downPos..upPos).
    std::uint32_t getFullValueUnshifted() const;
    /// The field's mask moved down to bit 0.
    std::uint32_t getFullValueShifted() const;
    /// The valuable value cache with the field's bits replaced by value (taken from bit 0).
    std::uint32_t insertValueInCache(std::uint32_t cache, std::uint32_t value) const;
    /// A field value as text, with the name of the first option of that value when useOptions:
    /// "number (OPTION)", or "OPTION" alone when optionOnly.
    QString convertValueToValueString(
        std::uint32_t value, DisplayType format, bool useOptions, bool optionOnly) const;
    /// As convertValueToValueString with options; "?" when the field or its valuable is not readable,
    /// unless force.
    QString getValueStringFromCache(
        std::uint32_t value, DisplayType format, bool optionOnly, bool force) const;
    /// getValueStringFromCache of the field's cached value.
    QString getValueString(DisplayType format, bool optionOnly, bool force) const;
    /// The value of the first option of that exact name; 0 when there is none.
    std::uint32_t getValueFromOptionName(const QString& name) const;

private:
    /// upPos - downPos + 1, negative for an empty field.
    long long fieldWidth() const;

    /// Options and the physical map: most fields have no options, and only VHDL generation places fields
    /// physically. Allocated on first use; a copy shares them with its source until either changes them.
    struct FieldExtras : QSharedData, Pooled {
        QString upExpr; ///< when not the up position's number
        QString downExpr; ///< when not the down position's number
        QList<HwBitFieldOption> options;
        QString physUpExpr;
        QString physDownExpr;
        int physUpPos = 0;
        int physDownPos = 0;
    };
    FieldExtras& fieldExtras();
    const FieldExtras* extrasOrNull() const { return m_fieldExtras.constData(); }

    // The flags first: they fill the rounding at the end of the common element.
    bool m_readable;
    bool m_hasReset;
    bool m_valueMacro = false;
    bool m_maskMacro = false;
    bool m_shiftMacro = false;
    // The texts are the positions' decimal numbers and are not stored; otherwise they are in FieldExtras.
    bool m_upIsNumber = false;
    bool m_downIsNumber = false;
    int m_writeKind;
    DisplayType m_displayType;
    int m_upPos;
    int m_downPos;
    std::uint32_t m_resetValue;
    QSharedDataPointer<FieldExtras> m_fieldExtras;
};

/// Orders bitfields by their down positions, lowest first.
VELLXML_EXPORT bool BitFieldPosLess(const HwBitField* a, const HwBitField* b);
/// Orders bitfields by their down positions, highest first.
VELLXML_EXPORT bool BitFieldPosGreater(const HwBitField* a, const HwBitField* b);

/// Several bitfields of one valuable under one name, adjacent or not. The valuable owns both the group
/// and the bitfields; the group only refers to them.
class VELLXML_EXPORT HwBitGroup : public HwXMLElement::Pooled {
public:
    HwBitGroup(const QString& name, HwValuable* valuable);
    HwBitGroup(const HwBitGroup&) = delete;
    HwBitGroup& operator=(const HwBitGroup&) = delete;

    void addBitField(HwBitField* bitField);
    /// Appends the other group's bitfields, in its order.
    void addBitGroup(const HwBitGroup* other);

    QString getName() const { return m_name; }
    HwValuable* getValuable() const { return m_valuable; }
    const QList<HwBitField*>& getBitFields() const { return m_bitFields; }

    /// The OR of the members' masks, in place.
    std::uint32_t getFullValueUnshifted() const;
    /// The combined mask moved down by getShift().
    std::uint32_t getFullValueShifted() const;
    /// The number of bits of the combined mask.
    int getTotalBits() const;
    /// The lowest down position of the members; 32 for an empty group.
    int getShift() const;
    /// True when the shifted mask has no gap: 0, or ones from bit 0 up.
    bool isContiguous() const;
    /// Whether the members' physical positions span exactly getTotalBits() bits. The span's top is taken
    /// from a member's physUpPos whenever the running top is below that member's physDownPos; the VHDL
    /// generator's report of non-contiguous groups relies on this exact rule.
    bool isPhysicalContiguous() const;
    /// The downExpr of the member with the lowest downPos; empty for an empty group.
    QString getDownPosExpression() const;
    /// The upExpr of the member with the highest upPos; empty for an empty group.
    QString getUpPosExpression() const;
    QString getDownPosPhysicalExpression() const;
    QString getUpPosPhysicalExpression() const;

    // C, assembly and VHDL generation (generators/).
    /// The VHDL constant or subtype of the group's logical (l_) and physical (p_) positions.
    QString vhdl_logical_serialize(int level, HwVHDLNames& names) const;
    QString vhdl_physical_serialize(int level, HwVHDLNames& names) const;

private:
    QList<HwBitField*> m_bitFields;
    HwValuable* m_valuable;
    QString m_name;
};

#endif
