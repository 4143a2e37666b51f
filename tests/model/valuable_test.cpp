#include "model/model_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace {

using Maker = std::function<std::unique_ptr<HwValuable>()>;

template<typename T>
Maker maker()
{
    return [] { return std::make_unique<T>(QStringLiteral("v")); };
}

struct ClassRow {
    const char* label;
    Maker make;
    XMLElementType type;
    unsigned int size;
    bool isSigned;
    const char* typeString;
    DisplayType display;
    std::uint32_t afterSettingFFFFFF80; // setValue truncates, getValue extends
};

TEST(ValuableTest, ConcreteClassesHaveTheirWidthsKindsAndDefaults)
{
    const ClassRow rows[] = {
        {"reg32", maker<HwRegister32>(), TYPE_REG32, 4, false, "Reg32", DISPLAY_HEX, 0xFFFFFF80},
        {"reg16", maker<HwRegister16>(), TYPE_REG16, 2, false, "Reg16", DISPLAY_HEX, 0xFF80},
        {"reg8", maker<HwRegister8>(), TYPE_REG8, 1, false, "Reg8", DISPLAY_HEX, 0x80},
        {"ireg8", maker<HwInternalRegister8>(), TYPE_IREG8, 1, false, "Reg8", DISPLAY_HEX, 0x80},
        {"int32", maker<HwInt32>(), TYPE_INT32, 4, true, "int32", DISPLAY_DEC, 0xFFFFFF80},
        {"int16", maker<HwInt16>(), TYPE_INT16, 2, true, "int16", DISPLAY_DEC, 0xFFFFFF80},
        {"int8", maker<HwInt8>(), TYPE_INT8, 1, true, "int8", DISPLAY_DEC, 0xFFFFFF80},
        {"uint32", maker<HwUnsignedInt32>(), TYPE_UINT32, 4, false, "uint32", DISPLAY_DEC, 0xFFFFFF80},
        {"uint16", maker<HwUnsignedInt16>(), TYPE_UINT16, 2, false, "uint16", DISPLAY_DEC, 0xFF80},
        {"uint8", maker<HwUnsignedInt8>(), TYPE_UINT8, 1, false, "uint8", DISPLAY_DEC, 0x80},
        {"bool", maker<HwBoolean>(), TYPE_BOOL, 1, false, "bool", DISPLAY_DEC, 0x80},
        {"void", maker<HwVoid>(), TYPE_VOID, 4, false, "void", DISPLAY_HEX, 0xFFFFFF80},
        {"pointer", [] { return std::make_unique<HwPointer>(QStringLiteral("v"), QStringLiteral("uart")); },
            TYPE_POINTER, 4, false, "uart*", DISPLAY_HEX, 0xFFFFFF80},
    };
    for (const ClassRow& row : rows) {
        SCOPED_TRACE(row.label);
        std::unique_ptr<HwValuable> v = row.make();
        EXPECT_EQ(v->getType(), row.type);
        EXPECT_EQ(v->sizeOf(), row.size);
        EXPECT_EQ(v->getAlignConstraint(), row.size);
        EXPECT_EQ(v->getBitSize(), row.size * 8);
        EXPECT_EQ(v->isSigned(), row.isSigned);
        EXPECT_EQ(v->getTypeString(), QLatin1String(row.typeString));
        EXPECT_EQ(v->getDisplayType(), row.display);
        EXPECT_TRUE(v->isValuable());
        EXPECT_TRUE(v->isReadable());
        EXPECT_TRUE(v->isWritable());
        EXPECT_EQ(v->getValue(), 0u);
        v->setValue(0xFFFFFF80u);
        EXPECT_EQ(v->getValue(), row.afterSettingFFFFFF80);
        EXPECT_EQ(v->getSignedValue(), row.afterSettingFFFFFF80);
        v->setValue(0x12345678u);
        EXPECT_EQ(v->getValue(), 0x12345678u & (row.size == 4 ? 0xFFFFFFFFu : (1u << (row.size * 8)) - 1u));
    }
}

TEST(ValuableTest, TypeNameReplacesTheTypeStringExceptForPointers)
{
    HwRegister16 reg(QStringLiteral("r"));
    reg.setTypeName(QStringLiteral("reg16"));
    EXPECT_EQ(reg.getTypeString(), QStringLiteral("reg16"));
    HwBoolean flag(QStringLiteral("b"));
    flag.setTypeName(QStringLiteral("flag_t"));
    EXPECT_EQ(flag.getTypeString(), QStringLiteral("flag_t"));
    HwPointer ptr(QStringLiteral("p"), QStringLiteral("uint8"));
    ptr.setTypeName(QStringLiteral("ptr"));
    EXPECT_EQ(ptr.getTypeString(), QStringLiteral("uint8*"));
}

struct ValueStringRow {
    const char* label;
    Maker make;
    std::uint32_t value;
    DisplayType format;
    const char* expected;
};

TEST(ValuableTest, ValueStringsFollowTheFormatAndSignedness)
{
    const ValueStringRow rows[] = {
        {"int16 min dec", maker<HwInt16>(), 0x8000, DISPLAY_DEC, "-32768"},
        {"int16 min hex", maker<HwInt16>(), 0x8000, DISPLAY_HEX, "0x8000"},
        {"int16 min default", maker<HwInt16>(), 0x8000, DISPLAY_DEFAULT, "-32768"},
        {"int16 small hex", maker<HwInt16>(), 0x12, DISPLAY_HEX, "0x12"},
        {"int8 -1 hex", maker<HwInt8>(), 0xFF, DISPLAY_HEX, "0xFF"},
        {"int8 -1 dec", maker<HwInt8>(), 0xFF, DISPLAY_DEC, "-1"},
        {"int8 -1 bin", maker<HwInt8>(), 0xFF, DISPLAY_BIN, "0b11111111"},
        {"int32 min dec", maker<HwInt32>(), 0x80000000, DISPLAY_DEC, "-2147483648"},
        {"int32 -2 hex", maker<HwInt32>(), 0xFFFFFFFE, DISPLAY_HEX, "0xFFFFFFFE"},
        {"uint32 max dec", maker<HwUnsignedInt32>(), 0xFFFFFFFF, DISPLAY_DEC, "4294967295"},
        {"uint16 default", maker<HwUnsignedInt16>(), 0x8000, DISPLAY_DEFAULT, "32768"},
        {"reg32 zero hex", maker<HwRegister32>(), 0, DISPLAY_HEX, "0x0"},
        {"reg32 default", maker<HwRegister32>(), 0xBEEF, DISPLAY_DEFAULT, "0xBEEF"},
        {"reg16 bin", maker<HwRegister16>(), 0x0005, DISPLAY_BIN, "0b0000000000000101"},
        {"reg8 dec", maker<HwRegister8>(), 0xFF, DISPLAY_DEC, "255"},
        {"bool bin", maker<HwBoolean>(), 1, DISPLAY_BIN, "0b00000001"},
        {"void default", maker<HwVoid>(), 0x1000, DISPLAY_DEFAULT, "0x1000"},
    };
    for (const ValueStringRow& row : rows) {
        SCOPED_TRACE(row.label);
        std::unique_ptr<HwValuable> v = row.make();
        v->setValue(row.value);
        EXPECT_EQ(v->getValueString(row.format), QLatin1String(row.expected));
    }
}

TEST(ValuableTest, ProtectionShowsInProtectStringAndHidesTheValue)
{
    const struct {
        bool readable;
        bool writable;
        const char* protect;
    } rows[] = {{true, true, "rw"}, {true, false, "r-"}, {false, true, "-w"}, {false, false, "--"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.protect);
        HwRegister32 reg(QStringLiteral("r"), row.readable, row.writable);
        reg.setValue(0x42);
        EXPECT_EQ(reg.getProtectString(), QLatin1String(row.protect));
        const auto shown = [&](const char* text) {
            return row.readable ? QLatin1String(text) : QLatin1String("?");
        };
        EXPECT_EQ(reg.getValueString(DISPLAY_DEC), shown("66"));
        EXPECT_EQ(reg.getValueString(DISPLAY_HEX), shown("0x42"));
        EXPECT_EQ(reg.getValueString(DISPLAY_BIN), shown("0b00000000000000000000000001000010"));
        EXPECT_EQ(reg.getValueString(DISPLAY_DEFAULT), shown("0x42"));
    }
}

std::unique_ptr<HwBitField> field(const char* name, int writeKind, int up, int down)
{
    return std::make_unique<HwBitField>(QLatin1String(name), true, writeKind, QString::number(up), up,
        QString::number(down), down, 0, false, DISPLAY_HEX);
}

TEST(ValuableTest, WritingABitfieldClearsTheSetAndClearBitsOfTheCache)
{
    HwRegister32 single(QStringLiteral("r"));
    single.addBitField(field("s", HwBitField::WRITE_SET, 7, 4));
    EXPECT_EQ(single.getValueForWritingBitfieldFromCache(0xFF), 0x0Fu);

    HwRegister32 reg(QStringLiteral("status"));
    reg.addBitField(field("irq", HwBitField::WRITE_CLEAR, 1, 0));
    reg.addBitField(field("mode", HwBitField::WRITE_NORMAL, 7, 4));
    reg.addBitField(field("start", HwBitField::WRITE_SET, 9, 8));
    reg.addBitField(field("ro", HwBitField::WRITE_NONE, 31, 28));
    reg.addBitField(field("wide_clear", HwBitField::WRITE_CLEAR, 23, 16));
    EXPECT_EQ(reg.getValueForWritingBitfieldFromCache(0xFFFFFFFF), 0xFF00FCFCu);
    EXPECT_EQ(reg.getValueForWritingBitfieldFromCache(0), 0u);
    reg.setValue(0x12345678);
    EXPECT_EQ(reg.getValueForWritingBitfield(), 0x12005478u);
}

TEST(ValuableTest, BitfieldAndGroupLookupsAnswerTheFirstExactName)
{
    HwRegister32 reg(QStringLiteral("r"));
    HwBitField* first = reg.addBitField(field("en", 1, 0, 0));
    HwBitField* second = reg.addBitField(field("en", 1, 1, 1));
    HwBitField* mode = reg.addBitField(field("mode", 1, 5, 4));
    EXPECT_EQ(first->getParent(), &reg);
    EXPECT_EQ(second->getParent(), &reg);
    EXPECT_EQ(reg.getBitFieldByName(QStringLiteral("en")), first);
    EXPECT_EQ(reg.getBitFieldByName(QStringLiteral("mode")), mode);
    EXPECT_EQ(reg.getBitFieldByName(QStringLiteral("EN")), nullptr);
    EXPECT_EQ(reg.getBitFieldByName(QString()), nullptr);

    HwBitGroup* group = reg.addBitGroup(std::make_unique<HwBitGroup>(QStringLiteral("g"), &reg));
    reg.addBitGroup(std::make_unique<HwBitGroup>(QStringLiteral("g"), &reg));
    EXPECT_EQ(reg.getBitGroupByName(QStringLiteral("g")), group);
    EXPECT_EQ(reg.getBitGroupByName(QStringLiteral("G")), nullptr);
    EXPECT_EQ(reg.getBitFields().size(), 3u);
    EXPECT_EQ(reg.getBitGroups().size(), 2u);
}

TEST(ValuableTest, CopyRelinksBitGroupsToTheCopiedBitfields)
{
    HwRegister32 source(QStringLiteral("ctrl"), true, false);
    source.setDisplayType(DISPLAY_BIN);
    source.setEnumHolder(true);
    source.setLowPartName(QStringLiteral("lo"));
    source.setHighPartName(QStringLiteral("hi"));
    source.setExtraText(QStringLiteral("extra"));
    source.setValue(0xCAFEF00D);
    HwBitField* a = source.addBitField(field("a", 1, 3, 0));
    HwBitField* b = source.addBitField(field("b", 3, 7, 4));
    HwBitField* c = source.addBitField(field("c", 2, 15, 8));
    auto group = std::make_unique<HwBitGroup>(QStringLiteral("ac"), &source);
    group->addBitField(c);
    group->addBitField(a);
    source.addBitGroup(std::move(group));

    std::unique_ptr<HwXMLElement> copied = HwXMLElement::anonymousCopy(&source);
    ASSERT_NE(copied, nullptr);
    auto& copy = static_cast<HwRegister32&>(*copied);
    EXPECT_EQ(copy.getValue(), 0xCAFEF00Du);
    EXPECT_EQ(copy.getProtectString(), QStringLiteral("r-"));
    EXPECT_EQ(copy.getDisplayType(), DISPLAY_BIN);
    EXPECT_TRUE(copy.isEnumHolder());
    EXPECT_EQ(copy.getLowPartName(), QStringLiteral("lo"));
    EXPECT_EQ(copy.getHighPartName(), QStringLiteral("hi"));
    EXPECT_EQ(copy.getExtraText(), QStringLiteral("extra"));

    ASSERT_EQ(copy.getBitFields().size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        const HwBitField* copiedField = copy.getBitFields()[i].get();
        EXPECT_NE(copiedField, source.getBitFields()[i].get());
        EXPECT_EQ(copiedField->getName(), source.getBitFields()[i]->getName());
        EXPECT_EQ(copiedField->getParent(), &copy);
        EXPECT_EQ(copiedField->getWriteKind(), source.getBitFields()[i]->getWriteKind());
    }
    EXPECT_EQ(copy.getBitFieldByName(QStringLiteral("b"))->getValue(), 0x0u);
    EXPECT_EQ(copy.getBitFieldByName(QStringLiteral("c"))->getValue(), 0xF0u);
    EXPECT_EQ(b->getPath(), QStringLiteral("$ctrl.b"));

    ASSERT_EQ(copy.getBitGroups().size(), 1u);
    const HwBitGroup* copiedGroup = copy.getBitGroups()[0].get();
    EXPECT_EQ(copiedGroup->getName(), QStringLiteral("ac"));
    EXPECT_EQ(copiedGroup->getValuable(), &copy);
    EXPECT_EQ(copiedGroup->getBitFields(),
        (QList<HwBitField*> {
            copy.getBitFieldByName(QStringLiteral("c")), copy.getBitFieldByName(QStringLiteral("a"))}));

    // The copy is independent of its source.
    copy.setValue(0);
    EXPECT_EQ(source.getValue(), 0xCAFEF00Du);
    EXPECT_EQ(copy.getValueForWritingBitfieldFromCache(0xFFFF), 0x000Fu);
}

TEST(ValuableTest, MemoryImagesUseTheClassWidthInHostOrder)
{
    const struct {
        const char* label;
        Maker make;
        std::uint32_t value;
        std::array<unsigned char, 6> image; // one sentinel byte before, four bytes, one after
    } rows[] = {
        {"reg8", maker<HwRegister8>(), 0xA5, {0xEE, 0xA5, 0xEE, 0xEE, 0xEE, 0xEE}},
        {"int16", maker<HwInt16>(), 0xBEEF, {0xEE, 0xEF, 0xBE, 0xEE, 0xEE, 0xEE}},
        {"reg32", maker<HwRegister32>(), 0x12345678, {0xEE, 0x78, 0x56, 0x34, 0x12, 0xEE}},
        {"void", maker<HwVoid>(), 0x01020304, {0xEE, 0x04, 0x03, 0x02, 0x01, 0xEE}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        std::unique_ptr<HwValuable> v = row.make();
        v->setValue(row.value);
        std::array<unsigned char, 6> image;
        image.fill(0xEE);
        v->memGet(image.data() + 1);
        EXPECT_EQ(image, row.image);

        std::unique_ptr<HwValuable> loaded = row.make();
        loaded->memSet(image.data() + 1);
        EXPECT_EQ(loaded->getValue(), v->getValue());
    }
}

TEST(ValuableTest, ReadMaskCoversTheValuableWhenReadable)
{
    std::array<unsigned char, 6> mask;
    mask.fill(0xEE);
    HwRegister32(QStringLiteral("r"), false, true).getReadMask(mask.data() + 1);
    EXPECT_EQ(mask, (std::array<unsigned char, 6> {0xEE, 0, 0, 0, 0, 0xEE}));
    mask.fill(0xEE);
    HwRegister16(QStringLiteral("r")).getReadMask(mask.data() + 1);
    EXPECT_EQ(mask, (std::array<unsigned char, 6> {0xEE, 0xFF, 0xFF, 0xEE, 0xEE, 0xEE}));
    mask.fill(0xEE);
    HwUnsignedInt8(QStringLiteral("u")).getReadMask(mask.data() + 1);
    EXPECT_EQ(mask, (std::array<unsigned char, 6> {0xEE, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(ValuableTest, DumpListsTheBitfields)
{
    HwRegister8 reg(QStringLiteral("r"));
    reg.addBitField(field("a", 1, 3, 0));
    reg.addBitField(field("b", 1, 7, 4));
    testing::internal::CaptureStdout();
    reg.dumpInfo(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " |_4 r\n  |_6 a\n  |_6 b\n");
}

} // namespace

namespace {

struct FieldSpec {
    int up;
    int down;
    bool hasReset;
    std::uint32_t reset;
};

template<typename Register>
std::unique_ptr<HwValuable> registerWith(const std::vector<FieldSpec>& fields)
{
    auto reg = std::make_unique<Register>(QStringLiteral("r"));
    int n = 0;
    for (const FieldSpec& f : fields)
        reg->addBitField(std::make_unique<HwBitField>(QStringLiteral("f%1").arg(n++), true,
            HwBitField::WRITE_NORMAL, QString::number(f.up), f.up, QString::number(f.down), f.down, f.reset,
            f.hasReset, DISPLAY_HEX));
    return reg;
}

} // namespace

// The one reset value of a register: the shell starts at `value`, get and the HTML pages show the text.
TEST(ValuableTest, ResetValueOfARegisterFromItsFields)
{
    const struct {
        std::vector<FieldSpec> fields;
        int width;
        std::uint32_t value;
        std::uint32_t unknown;
        const char* text;
    } rows[] = {
        {{}, 32, 0, 0, "-"},
        {{{0, 0, false, 0}}, 32, 0, 0x1, "-"},
        // A field reset to 1 beside a field without a reset value.
        {{{0, 0, true, 1}, {5, 4, false, 0}}, 32, 0x1, 0x30, "0x000000x1"},
        {{{31, 28, true, 0xA}, {7, 0, true, 0x5C}}, 32, 0xA000005C, 0, "0xA000005C"},
        {{{7, 4, true, 0x3}}, 8, 0x30, 0, "0x30"},
        {{{15, 0, true, 0x1234}, {3, 0, false, 0}}, 16, 0x1234, 0, "0x1234"}, // described bits stay known
        {{{3, 0, true, 0x1F}}, 8, 0xF, 0, "0x0F"}, // a reset value wider than its field is cut
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        std::unique_ptr<HwValuable> reg = row.width == 8 ? registerWith<HwRegister8>(row.fields)
            : row.width == 16                            ? registerWith<HwRegister16>(row.fields)
                                                         : registerWith<HwRegister32>(row.fields);
        const HwValuable::ResetValue reset = reg->getResetValue();
        EXPECT_EQ(reset.value, row.value);
        EXPECT_EQ(reset.unknown, row.unknown);
        EXPECT_EQ(reg->getResetString(), QString::fromLatin1(row.text));
    }
}
