#include "model/model_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace {

using Maker = std::function<std::unique_ptr<HwXMLElement>()>;

Maker reg8()
{
    return [] { return std::make_unique<HwRegister8>(QStringLiteral("r8")); };
}
Maker reg16()
{
    return [] { return std::make_unique<HwRegister16>(QStringLiteral("r16")); };
}
Maker reg32()
{
    return [] { return std::make_unique<HwRegister32>(QStringLiteral("r32")); };
}
Maker fixed(unsigned int size, unsigned int alignment)
{
    return [=] { return std::make_unique<FixedElement>(QStringLiteral("fixed"), size, alignment); };
}
Maker bits(int up, int down)
{
    return [=] {
        return std::make_unique<HwBitField>(
            QStringLiteral("bf"), true, 1, QString(), up, QString(), down, 0, false, DISPLAY_HEX);
    };
}

TEST(StructTest, MembersArePlacedOnTheirAlignmentUpToFourBytes)
{
    const struct {
        const char* label;
        std::vector<Maker> members;
        std::vector<unsigned int> offsets;
        unsigned int currentSize;
        unsigned int size;
        unsigned int alignment;
    } rows[] = {
        {"empty", {}, {}, 0, 0, 0},
        {"reg8 reg32", {reg8(), reg32()}, {0, 4}, 8, 8, 4},
        {"reg8 reg16 reg8", {reg8(), reg16(), reg8()}, {0, 2, 4}, 5, 6, 2},
        {"reg32 reg8", {reg32(), reg8()}, {0, 4}, 5, 8, 4},
        {"reg8 reg8 reg8", {reg8(), reg8(), reg8()}, {0, 1, 2}, 3, 3, 1},
        // An alignment of 8 is placed on a multiple of 4 only, but the structure still records 8.
        {"reg8 align8", {reg8(), fixed(8, 8)}, {0, 4}, 12, 16, 8},
        {"reg16 align16", {reg16(), fixed(2, 16)}, {0, 4}, 6, 16, 16},
        // Members of alignment 0 are placed unaligned, and alone they leave the structure without size.
        {"bitfields only", {bits(15, 0), bits(7, 0)}, {0, 2}, 3, 0, 0},
        {"reg8 bitfield reg16", {reg8(), bits(15, 0), reg16()}, {0, 1, 4}, 6, 6, 2},
        {"odd alignment", {reg8(), fixed(3, 3), reg8()}, {0, 3, 6}, 7, 9, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
        for (const Maker& make : row.members)
            s.addElement(make());
        ASSERT_EQ(s.getMemberList().size(), row.offsets.size());
        for (std::size_t i = 0; i < row.offsets.size(); ++i) {
            EXPECT_EQ(s.getMemberList()[i]->getAddress(), row.offsets[i]) << "member " << i;
            EXPECT_EQ(s.getMemberList()[i]->getParent(), &s);
        }
        EXPECT_EQ(s.getCurrentSize(), row.currentSize);
        EXPECT_EQ(s.sizeOf(), row.size);
        EXPECT_EQ(s.getAlignConstraint(), row.alignment);
    }
}

TEST(StructTest, NestedStructuresAndArraysUseTheirOwnSizesAndAlignments)
{
    auto inner = std::make_unique<HwStruct>(QStringLiteral("inner"), QString());
    inner->addElement(std::make_unique<HwRegister8>(QStringLiteral("a")));
    inner->addElement(std::make_unique<HwRegister16>(QStringLiteral("b")));
    inner->addElement(std::make_unique<HwRegister8>(QStringLiteral("c")));
    ASSERT_EQ(inner->sizeOf(), 6u);

    HwArray three(QStringLiteral("three"), *inner, 3, QString());
    EXPECT_EQ(three.sizeOf(), 18u);
    EXPECT_EQ(three.getAlignConstraint(), 2u);

    HwStruct outer(QStringLiteral("outer"), QStringLiteral("OUTER"));
    outer.addElement(std::make_unique<HwRegister8>(QStringLiteral("head")));
    HwXMLElement* array = outer.addElement(std::make_unique<HwArray>(three));
    HwXMLElement* tail =
        outer.addElement(std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("void")));
    EXPECT_EQ(array->getAddress(), 2u);
    EXPECT_EQ(tail->getAddress(), 20u);
    EXPECT_EQ(outer.sizeOf(), 24u);
    EXPECT_EQ(outer.getAlignConstraint(), 4u);
    EXPECT_TRUE(outer.isStruct());
    EXPECT_EQ(outer.getTypeString(), QStringLiteral("OUTER"));

    // Only a top-level structure that is not a typedef is a module structure.
    EXPECT_TRUE(outer.isRootStruct());
    auto* nested =
        static_cast<HwStruct*>(outer.addElement(std::make_unique<HwStruct>(QStringLiteral("n"), QString())));
    EXPECT_FALSE(nested->isRootStruct());
    outer.setTypedef(true);
    EXPECT_FALSE(outer.isRootStruct());
}

TEST(ArrayTest, ItemsAreNamedNumberedAndPlacedFromThePrototype)
{
    HwRegister16 element(QStringLiteral("ignored"));
    element.setTypeName(QStringLiteral("reg16"));
    element.setValue(0x1234);
    element.remap(0x99);
    HwArray regs(QStringLiteral("regs"), element, 4, QStringLiteral("NB_REGS"));

    EXPECT_EQ(regs.getType(), TYPE_ARRAY);
    EXPECT_TRUE(regs.isArray());
    EXPECT_EQ(regs.count(), 4);
    EXPECT_EQ(regs.getCountText(), QStringLiteral("NB_REGS"));
    EXPECT_EQ(regs.sizeOf(), 8u);
    EXPECT_EQ(regs.getAlignConstraint(), 2u);
    EXPECT_EQ(regs.getTypeString(), QStringLiteral("reg16[]"));

    const HwXMLElement* prototype = regs.getElementType();
    ASSERT_NE(prototype, nullptr);
    EXPECT_NE(prototype, &element);
    EXPECT_EQ(prototype->getParent(), &regs);
    EXPECT_EQ(prototype->getAddress(), 0u);
    EXPECT_EQ(prototype->getArrayNumber(), 0);
    EXPECT_EQ(prototype->getName(), QStringLiteral("ignored"));

    ASSERT_EQ(regs.getMemberList().size(), 4u);
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const HwXMLElement* item = regs.getMemberList()[static_cast<std::size_t>(i)].get();
        EXPECT_EQ(item->getType(), TYPE_REG16);
        EXPECT_EQ(item->getName(), QStringLiteral("regs[%1]").arg(i));
        EXPECT_EQ(item->getArrayNumber(), i);
        EXPECT_EQ(item->getAddress(), static_cast<unsigned int>(2 * i));
        EXPECT_EQ(item->getParent(), &regs);
        EXPECT_EQ(static_cast<const HwValuable*>(item)->getValue(), 0x1234u);
        EXPECT_EQ(item->getPath(), QStringLiteral("$regs[%1]").arg(i));
    }
    // The source element is left as it was.
    EXPECT_EQ(element.getArrayNumber(), -1);
    EXPECT_EQ(element.getAddress(), 0x99u);

    regs.setName(QStringLiteral("ctl"));
    EXPECT_EQ(regs.getName(), QStringLiteral("ctl"));
    EXPECT_EQ(regs.getMemberList()[3]->getName(), QStringLiteral("ctl[3]"));
}

TEST(ArrayTest, CountTextDefaultsToTheCountAndSmallCountsMakeNoItems)
{
    const struct {
        int count;
        const char* countText;
        const char* expectedText;
        std::size_t items;
        unsigned int size;
    } rows[] = {
        {3, "", "3", 3, 12},
        {0, "", "0", 0, 0},
        {-2, "", "-2", 0, 0},
        {1, "N - 1", "N - 1", 1, 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.count);
        HwArray array(
            QStringLiteral("a"), HwRegister32(QStringLiteral("r")), row.count, QLatin1String(row.countText));
        EXPECT_EQ(array.getCountText(), QLatin1String(row.expectedText));
        EXPECT_EQ(array.getMemberList().size(), row.items);
        EXPECT_EQ(array.sizeOf(), row.size);
        EXPECT_EQ(array.getAlignConstraint(), 4u);
    }
}

TEST(ArrayTest, AnElementThatCannotBeCopiedGivesAnEmptyArray)
{
    HwArray array(QStringLiteral("a"), HwXMLArchive(QStringLiteral("x.xml")), 3, QString());
    EXPECT_EQ(array.getElementType(), nullptr);
    EXPECT_TRUE(array.getMemberList().empty());
    EXPECT_EQ(array.sizeOf(), 0u);
    EXPECT_EQ(array.getAlignConstraint(), 0u);
    EXPECT_EQ(array.getTypeString(), QStringLiteral("Array"));
}

TEST(ArrayTest, ArraysOfArraysNameEveryLevel)
{
    HwArray row(QStringLiteral("row"), HwRegister8(QStringLiteral("r")), 2, QString());
    HwArray grid(QStringLiteral("grid"), row, 3, QString());
    EXPECT_EQ(grid.sizeOf(), 6u);
    const auto* second = static_cast<const HwArray*>(grid.getMemberList()[1].get());
    EXPECT_EQ(second->getName(), QStringLiteral("grid[1]"));
    EXPECT_EQ(second->getAddress(), 2u);
    EXPECT_EQ(second->getMemberList()[1]->getName(), QStringLiteral("grid[1][1]"));
    EXPECT_EQ(second->getMemberList()[1]->getBaseAddress(), 3u);
    EXPECT_EQ(second->getMemberList()[1]->getPath(), QStringLiteral("$grid[1][1]"));
}

TEST(CompositeCopyTest, StructuresAndArraysCopyDeeply)
{
    HwStruct source(QStringLiteral("s"), QStringLiteral("S"));
    auto* value =
        static_cast<HwRegister32*>(source.addElement(std::make_unique<HwRegister32>(QStringLiteral("v"))));
    value->setValue(7);
    source.addElement(
        std::make_unique<HwArray>(QStringLiteral("a"), HwUnsignedInt16(QStringLiteral("u")), 3, QString()));
    source.addElement(std::make_unique<HwHole>(16));
    source.addElement(std::make_unique<HwRegister8>(QStringLiteral("tail")));

    std::unique_ptr<HwXMLElement> copied = HwXMLElement::anonymousCopy(&source);
    ASSERT_NE(copied, nullptr);
    auto& copy = static_cast<HwStruct&>(*copied);
    EXPECT_EQ(copy.sizeOf(), source.sizeOf());
    EXPECT_EQ(copy.getCurrentSize(), source.getCurrentSize());
    EXPECT_EQ(copy.getAlignConstraint(), 4u);
    ASSERT_EQ(copy.getMemberList().size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const HwXMLElement* member = copy.getMemberList()[i].get();
        EXPECT_NE(member, source.getMemberList()[i].get());
        EXPECT_EQ(member->getParent(), &copy);
        EXPECT_EQ(member->getAddress(), source.getMemberList()[i]->getAddress());
        EXPECT_EQ(member->getName(), source.getMemberList()[i]->getName());
    }
    auto* copiedArray = static_cast<HwArray*>(copy.getMemberList()[1].get());
    EXPECT_EQ(copiedArray->getElementType()->getParent(), copiedArray);
    ASSERT_EQ(copiedArray->getMemberList().size(), 3u);
    EXPECT_EQ(copiedArray->getMemberList()[2]->getParent(), copiedArray);
    EXPECT_EQ(copiedArray->getMemberList()[2]->getName(), QStringLiteral("a[2]"));
    EXPECT_EQ(copiedArray->getMemberList()[2]->getArrayNumber(), 2);
    EXPECT_EQ(copy.getMemberList()[2]->getName(), QStringLiteral("Reserved_0000000A_16"));

    static_cast<HwRegister32*>(copy.getMemberList()[0].get())->setValue(9);
    EXPECT_EQ(value->getValue(), 7u);
    copy.remap(0x1000);
    EXPECT_EQ(copy.getMemberList()[3]->getBaseAddress(), 0x100Cu);
    EXPECT_EQ(source.getMemberList()[3]->getBaseAddress(), 0xCu);
}

TEST(PointerTest, ThePointedElementLivesAtTheAddressHeld)
{
    HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
    s.remap(0x100);
    auto* p = static_cast<HwPointer*>(
        s.addElement(std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("T"))));
    EXPECT_EQ(p->getTypeString(), QStringLiteral("T*"));
    EXPECT_TRUE(p->isPointer());
    EXPECT_EQ(p->getPointedElement(), nullptr);

    auto target = std::make_unique<HwStruct>(QStringLiteral("t"), QString());
    target->addElement(std::make_unique<HwRegister8>(QStringLiteral("a")));
    HwXMLElement* second = target->addElement(std::make_unique<HwRegister32>(QStringLiteral("b")));
    HwXMLElement* pointed = p->pointTo(std::move(target));
    EXPECT_EQ(pointed->getParent(), p);
    p->setValue(0x20000000);
    EXPECT_EQ(pointed->getBaseAddress(), 0x20000000u);
    EXPECT_EQ(second->getBaseAddress(), 0x20000004u);
    EXPECT_EQ(second->getPath(), QStringLiteral("$s.p.>.b"));
    EXPECT_EQ(pointed->getRubyClassName(), QStringLiteral("HwPOINTER_BASIC_RUBY_TYPE_ERROR"));

    const unsigned char image[8] = {0x11, 0xEE, 0xEE, 0xEE, 0x44, 0x33, 0x22, 0x11};
    EXPECT_FALSE(p->setInnerData(image, 7));
    EXPECT_TRUE(p->setInnerData(image, 8));
    EXPECT_EQ(static_cast<HwValuable*>(second)->getValue(), 0x11223344u);

    p->deletePointedElement();
    EXPECT_EQ(p->getPointedElement(), nullptr);
    EXPECT_FALSE(p->setInnerData(image, 8));
}

TEST(PointerTest, RubyBasicTypesFollowThePointedTypeName)
{
    const struct {
        const char* type;
        const char* ruby;
    } rows[] = {
        {"uint", "CHUnsignedInt"},
        {"uint32", "CHUnsignedInt"},
        {"uint16", "CHUnsignedInt"},
        {"uint8", "CHUnsignedInt"},
        {"int", "CHInt"},
        {"int32", "CHInt"},
        {"int16", "CHInt"},
        {"int8", "CHInt"},
        {"bool", "CHBool"},
        {"void", "CHVoid"},
        {"memory", "CHMemory"},
        {"UINT32", "HwPOINTER_BASIC_RUBY_TYPE_ERROR"},
        {"uart", "HwPOINTER_BASIC_RUBY_TYPE_ERROR"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        EXPECT_EQ(HwPointer(QStringLiteral("p"), QLatin1String(row.type)).getRubyBasicType(),
            QLatin1String(row.ruby));
    }
}

TEST(PointerTest, AllocationNeedsTheRootArchiveAndABasicType)
{
    HwPointer lone(QStringLiteral("p"), QStringLiteral("uint16"));
    EXPECT_EQ(lone.allocatePointedElement(), nullptr);

    HwRootArchive root(QStringLiteral("chip"));
    auto* p = static_cast<HwPointer*>(
        root.addElement(std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("uint16"))));
    HwXMLElement* pointed = p->allocatePointedElement();
    ASSERT_NE(pointed, nullptr);
    EXPECT_EQ(pointed->getType(), TYPE_UINT16);
    EXPECT_EQ(pointed->getName(), QStringLiteral("*(p)"));
    EXPECT_EQ(pointed->getParent(), p);
    EXPECT_EQ(pointed->getPath(), QStringLiteral("$p.>"));
    EXPECT_EQ(pointed->getRubyClassName(), QStringLiteral("CHUnsignedInt"));
    EXPECT_EQ(p->allocatePointedElement(), pointed);

    auto* unknown = static_cast<HwPointer*>(
        root.addElement(std::make_unique<HwPointer>(QStringLiteral("q"), QStringLiteral("uart"))));
    EXPECT_EQ(unknown->allocatePointedElement(), nullptr);

    const struct {
        const char* type;
        XMLElementType kind;
    } rows[] = {{"void", TYPE_VOID}, {"int8", TYPE_INT8}, {"uint8", TYPE_UINT8}, {"int16", TYPE_INT16},
        {"uint16", TYPE_UINT16}, {"int32", TYPE_INT32}, {"uint32", TYPE_UINT32}, {"bool", TYPE_BOOL}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        std::unique_ptr<HwXMLElement> element =
            root.allocateElementFromTypeName(QLatin1String(row.type), QStringLiteral("n"));
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->getType(), row.kind);
        EXPECT_EQ(element->getName(), QStringLiteral("n"));
    }
}

TEST(PointerTest, CopyTakesThePointedElementAlong)
{
    HwPointer source(QStringLiteral("p"), QStringLiteral("uint8"));
    source.setValue(0x3000);
    source.pointTo(std::make_unique<HwUnsignedInt8>(QStringLiteral("*(p)")));
    std::unique_ptr<HwXMLElement> copied = HwXMLElement::anonymousCopy(&source);
    auto& copy = static_cast<HwPointer&>(*copied);
    EXPECT_EQ(copy.getValue(), 0x3000u);
    EXPECT_EQ(copy.getPointedTypeName(), QStringLiteral("uint8"));
    ASSERT_NE(copy.getPointedElement(), nullptr);
    EXPECT_NE(copy.getPointedElement(), source.getPointedElement());
    EXPECT_EQ(copy.getPointedElement()->getParent(), &copy);
    EXPECT_EQ(copy.getPointedElement()->getBaseAddress(), 0x3000u);
}

TEST(CompositeTest, ReadErrorsReachEveryDescendant)
{
    HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
    HwXMLElement* reg = s.addElement(std::make_unique<HwRegister32>(QStringLiteral("r")));
    auto* array = static_cast<HwArray*>(s.addElement(
        std::make_unique<HwArray>(QStringLiteral("a"), HwRegister8(QStringLiteral("x")), 2, QString())));
    auto* p = static_cast<HwPointer*>(
        s.addElement(std::make_unique<HwPointer>(QStringLiteral("p"), QStringLiteral("T"))));
    auto target = std::make_unique<HwStruct>(QStringLiteral("t"), QString());
    HwXMLElement* deep = target->addElement(std::make_unique<HwRegister16>(QStringLiteral("deep")));
    p->pointTo(std::move(target));
    HwBitField* bf = static_cast<HwRegister32*>(reg)->addBitField(std::make_unique<HwBitField>(
        QStringLiteral("f"), true, 1, QString(), 1, QString(), 0, 0, false, DISPLAY_HEX));

    const std::vector<const HwXMLElement*> reached {&s, reg, array, array->getMemberList()[0].get(),
        array->getMemberList()[1].get(), p, p->getPointedElement(), deep};
    s.setReadError(true);
    for (const HwXMLElement* element : reached)
        EXPECT_TRUE(element->hasReadError()) << element->getName().toStdString();
    // A valuable does not pass the flag to its bitfields.
    EXPECT_FALSE(bf->hasReadError());
    s.setReadError(false);
    for (const HwXMLElement* element : reached)
        EXPECT_FALSE(element->hasReadError()) << element->getName().toStdString();
}

TEST(CompositeTest, HolesNameThemselvesFromOffsetAndSize)
{
    HwHole hole(16);
    hole.remap(0x2C);
    EXPECT_EQ(hole.HwXMLElement::getName(), QString());
    EXPECT_EQ(hole.getName(), QStringLiteral("Reserved_0000002C_16"));
    // The name made is also kept as the element's own.
    EXPECT_EQ(hole.HwXMLElement::getName(), QStringLiteral("Reserved_0000002C_16"));
    EXPECT_EQ(hole.getType(), TYPE_HOLE);
    EXPECT_EQ(hole.getTypeString(), QStringLiteral("Hole"));
    EXPECT_EQ(hole.getPath(), QString());
    EXPECT_EQ(hole.sizeOf(), 2u);
    EXPECT_EQ(hole.getAlignConstraint(), 1u);
    EXPECT_EQ(hole.getSizeInBits(), 16);

    HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
    s.addElement(std::make_unique<HwRegister8>(QStringLiteral("a")));
    HwXMLElement* placed = s.addElement(std::make_unique<HwHole>(12));
    EXPECT_EQ(placed->getName(), QStringLiteral("Reserved_00000001_12"));
    EXPECT_EQ(placed->sizeOf(), 1u);
    EXPECT_EQ(placed->getPath(), QString());
    EXPECT_EQ(HwHole(-8).sizeOf(), 0u);
}

TEST(CompositeTest, StructureImagesCombineTheMembers)
{
    HwStruct s(QStringLiteral("s"), QStringLiteral("S"));
    s.remap(0x4000);
    auto add = [&s](auto member) { return s.addElement(std::move(member)); };
    static_cast<HwValuable*>(add(std::make_unique<HwRegister8>(QStringLiteral("a"))))->setValue(0x11);
    add(std::make_unique<HwHole>(8));
    static_cast<HwValuable*>(add(std::make_unique<HwRegister16>(QStringLiteral("b"))))->setValue(0x2233);
    static_cast<HwValuable*>(add(std::make_unique<HwRegister32>(QStringLiteral("c"), false, true)))
        ->setValue(0x44556677);
    add(std::make_unique<HwExternal>(QStringLiteral("ext"), 4));
    add(std::make_unique<HwMemory>(QStringLiteral("m"), 4));
    static_cast<HwValuable*>(add(std::make_unique<HwInt8>(QStringLiteral("i"))))->setValue(0xFF);
    ASSERT_EQ(s.sizeOf(), 20u);

    std::vector<unsigned char> image(21, 0xEE);
    s.memGet(image.data());
    EXPECT_EQ(image,
        (std::vector<unsigned char> {0x11, 0x00, 0x33, 0x22, 0x77, 0x66, 0x55, 0x44, 0xFF, 0xFF, 0xFF, 0xFF,
            0x00, 0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00, 0xEE}));

    std::vector<unsigned char> mask(21, 0xEE);
    s.getReadMask(mask.data());
    EXPECT_EQ(mask,
        (std::vector<unsigned char> {0xFF, 0x00, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
            0x00, 0x00, 0x00, 0x00, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE}));

    std::unique_ptr<HwXMLElement> copied = HwXMLElement::anonymousCopy(&s);
    auto& copy = static_cast<HwStruct&>(*copied);
    for (const auto& member : copy.getMemberList()) {
        if (member->isValuable())
            static_cast<HwValuable*>(member.get())->setValue(0);
    }
    copy.memSet(image.data());
    const auto valueOf = [&copy](std::size_t i) {
        return static_cast<const HwValuable*>(copy.getMemberList()[i].get())->getValue();
    };
    EXPECT_EQ(valueOf(0), 0x11u);
    EXPECT_EQ(valueOf(2), 0x2233u);
    EXPECT_EQ(valueOf(3), 0x44556677u);
    EXPECT_EQ(valueOf(6), 0xFFFFFFFFu);
}

TEST(CompositeTest, ArrayImagesCoverEveryItem)
{
    HwArray array(QStringLiteral("a"), HwUnsignedInt16(QStringLiteral("u")), 3, QString());
    for (std::size_t i = 0; i < 3; ++i)
        static_cast<HwValuable*>(array.getMemberList()[i].get())
            ->setValue(0x0101u * static_cast<unsigned int>(i + 1));
    std::vector<unsigned char> image(7, 0xEE);
    array.memGet(image.data());
    EXPECT_EQ(image, (std::vector<unsigned char> {0x01, 0x01, 0x02, 0x02, 0x03, 0x03, 0xEE}));
    std::vector<unsigned char> mask(7, 0xEE);
    array.getReadMask(mask.data());
    EXPECT_EQ(mask, (std::vector<unsigned char> {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xEE}));
    const unsigned char loaded[6] = {0xAA, 0x00, 0xBB, 0x00, 0xCC, 0x00};
    array.memSet(loaded);
    EXPECT_EQ(static_cast<HwValuable*>(array.getMemberList()[2].get())->getValue(), 0xCCu);
}

TEST(CompositeTest, MemoriesAndExternalsAreNeverRead)
{
    HwExternal external(QStringLiteral("dma"), 4);
    EXPECT_EQ(external.getTypeName(), QStringLiteral("dma"));
    EXPECT_EQ(external.getTypeString(), QStringLiteral("dma"));
    EXPECT_EQ(external.getPath(), QString());
    EXPECT_EQ(external.getAlignConstraint(), 1u);
    EXPECT_TRUE(external.isExternal());
    std::vector<unsigned char> image(5, 0x00);
    external.memGet(image.data());
    EXPECT_EQ(image, (std::vector<unsigned char> {0xFF, 0xFF, 0xFF, 0xFF, 0x00}));
    std::vector<unsigned char> mask(5, 0xEE);
    external.getReadMask(mask.data());
    EXPECT_EQ(mask, (std::vector<unsigned char> {0x00, 0x00, 0x00, 0x00, 0xEE}));

    HwMemory memory(QStringLiteral("sram"), 3);
    EXPECT_EQ(memory.getTypeString(), QStringLiteral("memory"));
    EXPECT_EQ(memory.sizeOf(), 3u);
    EXPECT_EQ(memory.getAlignConstraint(), 4u);
    image.assign(5, 0xEE);
    memory.memGet(image.data());
    EXPECT_EQ(image, std::vector<unsigned char>(5, 0xEE));
    memory.getReadMask(image.data());
    EXPECT_EQ(image, (std::vector<unsigned char> {0x00, 0x00, 0x00, 0xEE, 0xEE}));

    EXPECT_EQ(HwMemory(QStringLiteral("m"), -1).sizeOf(), 0u);
    EXPECT_EQ(HwExternal(QStringLiteral("e"), -1).sizeOf(), 0u);
}

TEST(CompositeTest, InternalRegistersAreFoundInNestedMembers)
{
    HwStruct plain(QStringLiteral("plain"), QStringLiteral("P"));
    plain.addElement(std::make_unique<HwRegister8>(QStringLiteral("r")));
    EXPECT_FALSE(plain.hasInternalRegisters());

    HwStruct nested(QStringLiteral("nested"), QStringLiteral("N"));
    auto inner = std::make_unique<HwStruct>(QStringLiteral("inner"), QString());
    inner->addElement(std::make_unique<HwInternalRegister8>(QStringLiteral("i")));
    nested.addElement(std::move(inner));
    EXPECT_TRUE(nested.hasInternalRegisters());

    HwStruct arrayed(QStringLiteral("arrayed"), QStringLiteral("A"));
    arrayed.addElement(std::make_unique<HwArray>(
        QStringLiteral("a"), HwInternalRegister8(QStringLiteral("i")), 2, QString()));
    EXPECT_TRUE(arrayed.hasInternalRegisters());
}

TEST(ArchiveTest, ArchivesAreSizelessParents)
{
    HwRootArchive root(QStringLiteral("chip"));
    auto file = std::make_unique<HwXMLArchive>(QStringLiteral("uart.xml"));
    HwXMLArchive* archive = file.get();
    root.addElement(std::move(file));
    HwXMLElement* type =
        archive->addElement(std::make_unique<HwStruct>(QStringLiteral("UART"), QStringLiteral("UART")));

    EXPECT_EQ(root.getType(), TYPE_ROOTARCHIVE);
    EXPECT_EQ(archive->getType(), TYPE_ARCHIVE);
    EXPECT_EQ(root.getTypeString(), QStringLiteral("rootarchive"));
    EXPECT_EQ(archive->getTypeString(), QStringLiteral("archive"));
    for (const HwXMLElement* element :
        {static_cast<const HwXMLElement*>(&root), static_cast<const HwXMLElement*>(archive)}) {
        EXPECT_EQ(element->sizeOf(), 0u);
        EXPECT_EQ(element->getAlignConstraint(), 0u);
        EXPECT_EQ(element->getRubyPrefix(), QString());
        std::vector<unsigned char> bytes(2, 0xEE);
        element->memGet(bytes.data());
        element->getReadMask(bytes.data());
        EXPECT_EQ(bytes, std::vector<unsigned char>(2, 0xEE));
    }
    EXPECT_EQ(archive->getParent(), &root);
    EXPECT_EQ(type->getParent(), archive);
    EXPECT_EQ(root.getElements().size(), 1u);
    EXPECT_EQ(archive->getElements().size(), 1u);
    EXPECT_EQ(archive->getPath(), QStringLiteral("$uart.xml"));
}

} // namespace
