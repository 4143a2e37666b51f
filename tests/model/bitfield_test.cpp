#include "model/model_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

std::unique_ptr<HwBitField> field(const QString& name, int up, int down, bool readable = true,
    int writeKind = HwBitField::WRITE_NORMAL, std::uint32_t reset = 0, bool hasReset = false,
    DisplayType display = DISPLAY_HEX)
{
    return std::make_unique<HwBitField>(name, readable, writeKind, QStringLiteral("U%1").arg(up), up,
        QStringLiteral("D%1").arg(down), down, reset, hasReset, display);
}

TEST(BitFieldTest, MasksWidthsAndCutValuesFollowThePositions)
{
    const struct {
        int up;
        int down;
        std::uint32_t unshifted;
        std::uint32_t shifted;
        unsigned int bits;
        unsigned int size;
        std::uint32_t cache;
        std::uint32_t value;
        const char* bitString;
    } rows[] = {
        {7, 4, 0xF0, 0x0F, 4, 0, 0xA5, 0xA, "1010"},
        {0, 0, 0x1, 0x1, 1, 0, 0xFFFFFFFE, 0x0, "0"},
        {15, 8, 0xFF00, 0xFF, 8, 1, 0x1234, 0x12, "00010010"},
        {31, 31, 0x80000000, 0x1, 1, 0, 0x80000000, 0x1, "1"},
        {31, 28, 0xF0000000, 0xF, 4, 0, 0xC0000000, 0xC, "1100"},
        {31, 0, 0xFFFFFFFF, 0xFFFFFFFF, 32, 4, 0xDEADBEEF, 0xDEADBEEF, "11011110101011011011111011101111"},
        {30, 0, 0x7FFFFFFF, 0x7FFFFFFF, 31, 3, 0xFFFFFFFF, 0x7FFFFFFF, "1111111111111111111111111111111"},
        // An empty field: down above up.
        {3, 5, 0, 0, 0, 0, 0xFFFFFFFF, 0, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.up << ":" << row.down);
        auto bf = field(QStringLiteral("f"), row.up, row.down);
        EXPECT_EQ(bf->getFullValueUnshifted(), row.unshifted);
        EXPECT_EQ(bf->getFullValueShifted(), row.shifted);
        EXPECT_EQ(bf->getBitSize(), row.bits);
        EXPECT_EQ(bf->sizeOf(), row.size);
        EXPECT_EQ(bf->getValueFromCache(row.cache), row.value);
        EXPECT_EQ(bf->convertValueToBitString(row.value), QLatin1String(row.bitString));
        // Putting the value back into an all-ones or all-zeros cache only changes the field's bits.
        EXPECT_EQ(bf->insertValueInCache(0, row.value), row.cache & row.unshifted);
        EXPECT_EQ(bf->insertValueInCache(0xFFFFFFFF, 0), ~row.unshifted);
    }
}

TEST(BitFieldTest, PositionsOutsideTheWordAreSafe)
{
    auto negative = field(QStringLiteral("n"), 2, -2);
    EXPECT_EQ(negative->getFullValueUnshifted(), 0x7u);
    EXPECT_EQ(negative->getFullValueShifted(), 0x1Cu);
    EXPECT_EQ(negative->getValueFromCache(0x5), 0x14u);
    EXPECT_EQ(negative->insertValueInCache(0, 0x1C), 0x7u);
    auto beyond = field(QStringLiteral("b"), 40, 33);
    EXPECT_EQ(beyond->getFullValueUnshifted(), 0u);
    EXPECT_EQ(beyond->getFullValueShifted(), 0u);
    EXPECT_EQ(beyond->getValueFromCache(0xFFFFFFFF), 0u);
    EXPECT_EQ(beyond->convertValueToBitString(0xFF), QStringLiteral("11111111"));
    auto extreme = field(QStringLiteral("x"), 0x7FFFFFFF, static_cast<int>(0x80000000u));
    EXPECT_EQ(extreme->getFullValueUnshifted(), 0xFFFFFFFFu);
    EXPECT_EQ(extreme->getFullValueShifted(), 0u);
}

TEST(BitFieldTest, AccessStringsCombineReadAndWriteKind)
{
    const struct {
        bool readable;
        int writeKind;
        const char* access;
    } rows[] = {
        {true, 0, "r-"},
        {true, 1, "rw"},
        {true, 2, "rs"},
        {true, 3, "rc"},
        {false, 1, "-w"},
        {false, 0, "--"},
        {true, 7, "r-"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.access);
        EXPECT_EQ(field(QStringLiteral("f"), 3, 0, row.readable, row.writeKind)->getAccessString(),
            QLatin1String(row.access));
    }
}

TEST(BitFieldTest, ResetStringsDropThePrefixForZeroAndOne)
{
    const struct {
        int up;
        int down;
        std::uint32_t reset;
        bool hasReset;
        DisplayType display;
        DisplayType format;
        const char* expected;
    } rows[] = {
        {0, 0, 1, true, DISPLAY_HEX, DISPLAY_HEX, "1"},
        {0, 0, 1, true, DISPLAY_HEX, DISPLAY_BIN, "1"},
        {0, 0, 0, true, DISPLAY_HEX, DISPLAY_HEX, "0"},
        {3, 0, 2, true, DISPLAY_HEX, DISPLAY_HEX, "0x2"},
        {3, 0, 2, true, DISPLAY_HEX, DISPLAY_BIN, "0b0010"},
        {3, 0, 0, true, DISPLAY_HEX, DISPLAY_BIN, "0000"},
        {3, 0, 1, true, DISPLAY_HEX, DISPLAY_BIN, "0001"},
        {7, 0, 0xAB, true, DISPLAY_HEX, DISPLAY_HEX, "0xAB"},
        {7, 0, 0xAB, true, DISPLAY_HEX, DISPLAY_DEC, "171"},
        {7, 0, 0xAB, true, DISPLAY_BIN, DISPLAY_DEFAULT, "0b10101011"},
        {7, 0, 0xAB, true, DISPLAY_DEC, DISPLAY_DEFAULT, "171"},
        {7, 0, 0xAB, true, DISPLAY_HEX, static_cast<DisplayType>(9), ""},
        {7, 0, 0xAB, false, DISPLAY_HEX, DISPLAY_HEX, "-"},
        {7, 0, 0, false, DISPLAY_DEC, DISPLAY_DEC, "-"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        auto bf = field(QStringLiteral("f"), row.up, row.down, true, 1, row.reset, row.hasReset, row.display);
        EXPECT_EQ(bf->getResetString(row.format), QLatin1String(row.expected));
    }
}

TEST(BitFieldTest, ValueStringsNameTheMatchingOption)
{
    auto bf = field(QStringLiteral("mode"), 5, 4, true, 1, 0, false, DISPLAY_BIN);
    bf->addOption({QStringLiteral("OFF"), 0, QStringLiteral("off")});
    bf->addOption({QStringLiteral("ENABLED"), 3, QStringLiteral("on")});
    bf->addOption({QStringLiteral("ALSO_THREE"), 3, QString()});

    const struct {
        std::uint32_t value;
        DisplayType format;
        bool useOptions;
        bool optionOnly;
        const char* expected;
    } rows[] = {
        {3, DISPLAY_HEX, true, false, "0x3 (ENABLED)"},
        {3, DISPLAY_HEX, true, true, "ENABLED"},
        {3, DISPLAY_HEX, false, false, "0x3"},
        {3, DISPLAY_HEX, false, true, "0x3"},
        {3, DISPLAY_DEC, true, false, "3 (ENABLED)"},
        {3, DISPLAY_DEFAULT, true, false, "0b11 (ENABLED)"},
        {0, DISPLAY_BIN, true, false, "0b00 (OFF)"},
        {2, DISPLAY_HEX, true, true, "0x2"},
        {2, DISPLAY_BIN, true, false, "0b10"},
        // Only the field's width of the value counts.
        {0x7, DISPLAY_HEX, true, false, "0x3 (ENABLED)"},
        {0xC, DISPLAY_DEC, true, true, "OFF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(bf->convertValueToValueString(row.value, row.format, row.useOptions, row.optionOnly),
            QLatin1String(row.expected));
    }
    EXPECT_EQ(bf->getValueFromOptionName(QStringLiteral("ENABLED")), 3u);
    EXPECT_EQ(bf->getValueFromOptionName(QStringLiteral("enabled")), 0u);
    EXPECT_EQ(bf->getValueFromOptionName(QStringLiteral("OFF")), 0u);
}

TEST(BitFieldTest, FieldValuesComeFromTheValuableCacheUnlessUnreadable)
{
    const struct {
        bool registerReadable;
        bool fieldReadable;
        const char* bits;
        const char* value;
        const char* forced;
    } rows[] = {
        {true, true, "11", "ENABLED", "ENABLED"},
        {false, true, "?", "?", "ENABLED"},
        {true, false, "?", "?", "ENABLED"},
        {false, false, "?", "?", "ENABLED"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.registerReadable << row.fieldReadable);
        HwRegister32 reg(QStringLiteral("r"), row.registerReadable, true);
        reg.setValue(0x30);
        HwBitField* bf = reg.addBitField(field(QStringLiteral("mode"), 5, 4, row.fieldReadable));
        bf->addOption({QStringLiteral("ENABLED"), 3, QString()});
        EXPECT_EQ(bf->getValue(), 3u);
        EXPECT_EQ(bf->getBitString(), QLatin1String(row.bits));
        EXPECT_EQ(bf->getValueString(DISPLAY_HEX, true, false), QLatin1String(row.value));
        EXPECT_EQ(bf->getValueString(DISPLAY_HEX, true, true), QLatin1String(row.forced));
        EXPECT_EQ(bf->getValueStringFromCache(1, DISPLAY_DEC, false, true), QStringLiteral("1"));
    }
    // Without a valuable the field reads 0 and only its own protection counts.
    auto lone = field(QStringLiteral("lone"), 3, 0);
    EXPECT_EQ(lone->getValue(), 0u);
    EXPECT_EQ(lone->getBitString(), QStringLiteral("0000"));
    EXPECT_EQ(lone->getValueString(DISPLAY_HEX, false, false), QStringLiteral("0x0"));
}

TEST(BitFieldTest, ElementOperationsDeferToTheValuable)
{
    auto bf = field(QStringLiteral("en"), 0, 0);
    EXPECT_EQ(bf->getPath(), QStringLiteral("en"));
    EXPECT_EQ(bf->getBaseAddress(), 0u);
    EXPECT_EQ(bf->getAddressString(), QStringLiteral("0x00000000"));
    EXPECT_EQ(bf->getType(), TYPE_BITFIELD);
    EXPECT_EQ(bf->getTypeString(), QStringLiteral("Bitfield"));
    EXPECT_EQ(bf->getAlignConstraint(), 0u);
    EXPECT_TRUE(bf->isBitfield());
    EXPECT_FALSE(bf->isValuable());

    HwRegister16 reg(QStringLiteral("ctrl"));
    reg.remap(0x4000);
    HwBitField* en = reg.addBitField(std::move(bf));
    en->remap(0x10); // a bitfield's own address never counts
    EXPECT_EQ(en->getPath(), QStringLiteral("$ctrl.en"));
    EXPECT_EQ(en->getBaseAddress(), 0x4000u);
    EXPECT_EQ(en->getAddressString(), QStringLiteral("0x00004000"));
    EXPECT_EQ(en->getValuable(), &reg);

    std::array<unsigned char, 4> bytes {1, 2, 3, 4};
    en->memGet(bytes.data());
    en->getReadMask(bytes.data());
    en->memSet(bytes.data());
    EXPECT_EQ(bytes, (std::array<unsigned char, 4> {1, 2, 3, 4}));
}

TEST(BitFieldTest, CopyKeepsEveryField)
{
    HwRegister32 reg(QStringLiteral("r"));
    HwBitField* source = reg.addBitField(field(QStringLiteral("f"), 9, 2, false, 3, 0x2A, true, DISPLAY_BIN));
    source->setPhysicalPositions(QStringLiteral("P7"), 7, QStringLiteral("P0"), 0);
    source->setValueMacro(true);
    source->setShiftMacro(true);
    source->addOption({QStringLiteral("A"), 1, QStringLiteral("first")});
    source->setComment(QStringLiteral("c"));

    std::unique_ptr<HwXMLElement> copied = HwXMLElement::anonymousCopy(source);
    ASSERT_NE(copied, nullptr);
    auto& copy = static_cast<HwBitField&>(*copied);
    EXPECT_EQ(copy.getParent(), &reg);
    EXPECT_EQ(copy.getUpPos(), 9);
    EXPECT_EQ(copy.getDownPos(), 2);
    EXPECT_EQ(copy.getUpExpr(), QStringLiteral("U9"));
    EXPECT_EQ(copy.getDownExpr(), QStringLiteral("D2"));
    EXPECT_EQ(copy.getPhysUpPos(), 7);
    EXPECT_EQ(copy.getPhysDownPos(), 0);
    EXPECT_EQ(copy.getPhysUpExpr(), QStringLiteral("P7"));
    EXPECT_EQ(copy.getPhysDownExpr(), QStringLiteral("P0"));
    EXPECT_FALSE(copy.isReadable());
    EXPECT_EQ(copy.getWriteKind(), 3);
    EXPECT_EQ(copy.getResetValue(), 0x2Au);
    EXPECT_TRUE(copy.hasResetValue());
    EXPECT_EQ(copy.getDisplayType(), DISPLAY_BIN);
    EXPECT_TRUE(copy.hasValueMacro());
    EXPECT_FALSE(copy.hasMaskMacro());
    EXPECT_TRUE(copy.hasShiftMacro());
    ASSERT_EQ(copy.getOptions().size(), 1);
    EXPECT_EQ(copy.getOptions()[0].name, QStringLiteral("A"));
    EXPECT_EQ(copy.getOptions()[0].value, 1u);
    EXPECT_EQ(copy.getOptions()[0].description, QStringLiteral("first"));
    EXPECT_EQ(copy.getComment(), QStringLiteral("c"));

    copy.setPositions(QStringLiteral("a"), 1, QStringLiteral("b"), 0);
    EXPECT_EQ(source->getUpPos(), 9);
}

// A field keeps no text for a position written as its own decimal number and gives the number back; any
// other text (leading zeros or sign, blanks, another number) is kept as written. Random values of every
// magnitude, each with texts that are and are not its number.
TEST(BitFieldTest, PositionTextsComeBackAsWritten)
{
    std::mt19937 random(7);
    std::vector<int> values = {0, 1, -1, 9, 10, -10, 2147483647, -2147483647 - 1};
    for (int i = 0; i < 3000; ++i)
        values.push_back(static_cast<int>(random()) >> (random() % 32));
    for (const int value : values) {
        const QString number = QString::number(value);
        const QString texts[] = {number, QLatin1Char('0') + number, QLatin1Char('+') + number,
            number + QLatin1Char(' '), QString::number(value / 10), number.left(number.size() - 1) + QLatin1Char('x'),
            QString()};
        for (const QString& text : texts) {
            HwBitField bits(QStringLiteral("f"), true, HwBitField::WRITE_NORMAL, text, value, number, value, 0, false,
                DISPLAY_HEX);
            SCOPED_TRACE(text.toStdString() + " for " + std::to_string(value));
            EXPECT_EQ(bits.getUpExpr(), text);
            EXPECT_EQ(bits.getDownExpr(), number);
            EXPECT_EQ(bits.positionTextsAreNumbers(), text == number);
        }
    }
}

TEST(BitFieldTest, SortPredicatesCompareDownPositionsOnly)
{
    auto a = field(QStringLiteral("a"), 7, 4);
    auto b = field(QStringLiteral("b"), 1, 0);
    auto c = field(QStringLiteral("c"), 5, 4);
    auto d = field(QStringLiteral("d"), 31, 8);
    std::vector<HwBitField*> fields {a.get(), b.get(), c.get(), d.get()};
    std::stable_sort(fields.begin(), fields.end(), BitFieldPosLess);
    EXPECT_EQ(fields, (std::vector<HwBitField*> {b.get(), a.get(), c.get(), d.get()}));
    std::stable_sort(fields.begin(), fields.end(), BitFieldPosGreater);
    EXPECT_EQ(fields, (std::vector<HwBitField*> {d.get(), a.get(), c.get(), b.get()}));
    EXPECT_FALSE(BitFieldPosLess(a.get(), c.get()));
    EXPECT_FALSE(BitFieldPosLess(c.get(), a.get()));
}

struct Span {
    int up;
    int down;
};

TEST(BitGroupTest, GroupsCombineTheMembersMasks)
{
    const struct {
        const char* label;
        std::vector<Span> members;
        std::uint32_t unshifted;
        int shift;
        std::uint32_t shifted;
        int totalBits;
        bool contiguous;
        const char* downExpr;
        const char* upExpr;
    } rows[] = {
        {"empty", {}, 0, 32, 0, 0, true, "", ""},
        {"gap", {{1, 0}, {4, 3}}, 0x1B, 0, 0x1B, 4, false, "D0", "U4"},
        {"adjacent", {{3, 2}, {7, 4}}, 0xFC, 2, 0x3F, 6, true, "D2", "U7"},
        {"reversed order", {{7, 4}, {3, 2}}, 0xFC, 2, 0x3F, 6, true, "D2", "U7"},
        {"single", {{12, 9}}, 0x1E00, 9, 0xF, 4, true, "D9", "U12"},
        {"whole word", {{31, 16}, {15, 0}}, 0xFFFFFFFF, 0, 0xFFFFFFFF, 32, true, "D0", "U31"},
        {"overlapping", {{5, 2}, {4, 3}}, 0x3C, 2, 0xF, 4, true, "D2", "U5"},
        {"top gap", {{31, 31}, {29, 28}}, 0xB0000000, 28, 0xB, 3, false, "D28", "U31"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        HwRegister32 reg(QStringLiteral("r"));
        HwBitGroup group(QStringLiteral("g"), &reg);
        for (const Span& span : row.members)
            group.addBitField(reg.addBitField(field(QStringLiteral("f"), span.up, span.down)));
        EXPECT_EQ(group.getFullValueUnshifted(), row.unshifted);
        EXPECT_EQ(group.getShift(), row.shift);
        EXPECT_EQ(group.getFullValueShifted(), row.shifted);
        EXPECT_EQ(group.getTotalBits(), row.totalBits);
        EXPECT_EQ(group.isContiguous(), row.contiguous);
        EXPECT_EQ(group.getDownPosExpression(), QLatin1String(row.downExpr));
        EXPECT_EQ(group.getUpPosExpression(), QLatin1String(row.upExpr));
    }
}

TEST(BitGroupTest, PhysicalContiguityKeepsItsRule)
{
    struct Member {
        Span logical;
        Span physical;
    };
    const struct {
        const char* label;
        std::vector<Member> members;
        bool contiguous;
        const char* physDownExpr;
        const char* physUpExpr;
    } rows[] = {
        {"packed", {{{1, 0}, {1, 0}}, {{9, 8}, {3, 2}}}, true, "P0", "P3"},
        {"packed out of order", {{{9, 8}, {3, 2}}, {{1, 0}, {1, 0}}}, true, "P0", "P3"},
        {"gap", {{{1, 0}, {1, 0}}, {{9, 8}, {4, 3}}}, false, "P0", "P4"},
        // The top is only taken from members that start above it: B starts inside A, so the span stays
        // 0..3 although B reaches 5, and four bits are not the group's six.
        {"overlap keeps the earlier top", {{{3, 0}, {3, 0}}, {{5, 4}, {5, 2}}}, false, "P0", "P5"},
        {"empty", {}, false, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        HwRegister32 reg(QStringLiteral("r"));
        HwBitGroup group(QStringLiteral("g"), &reg);
        for (const Member& member : row.members) {
            HwBitField* bf =
                reg.addBitField(field(QStringLiteral("f"), member.logical.up, member.logical.down));
            bf->setPhysicalPositions(QStringLiteral("P%1").arg(member.physical.up), member.physical.up,
                QStringLiteral("P%1").arg(member.physical.down), member.physical.down);
            group.addBitField(bf);
        }
        EXPECT_EQ(group.isPhysicalContiguous(), row.contiguous);
        EXPECT_EQ(group.getDownPosPhysicalExpression(), QLatin1String(row.physDownExpr));
        EXPECT_EQ(group.getUpPosPhysicalExpression(), QLatin1String(row.physUpExpr));
    }
}

TEST(BitGroupTest, AddingAGroupAppendsItsMembersInOrder)
{
    HwRegister32 reg(QStringLiteral("r"));
    HwBitField* a = reg.addBitField(field(QStringLiteral("a"), 1, 0));
    HwBitField* b = reg.addBitField(field(QStringLiteral("b"), 3, 2));
    HwBitField* c = reg.addBitField(field(QStringLiteral("c"), 5, 4));
    HwBitGroup inner(QStringLiteral("inner"), &reg);
    inner.addBitField(c);
    inner.addBitField(a);
    HwBitGroup outer(QStringLiteral("outer"), &reg);
    outer.addBitField(b);
    outer.addBitGroup(&inner);
    EXPECT_EQ(outer.getBitFields(), (QList<HwBitField*> {b, c, a}));
    EXPECT_EQ(outer.getValuable(), &reg);
    EXPECT_EQ(outer.getName(), QStringLiteral("outer"));
    EXPECT_EQ(inner.getBitFields().size(), 2);
}

} // namespace
