#include "model/model_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <typeinfo>

namespace {

template<typename T, typename... Args>
T* addTo(HwStruct& parent, Args&&... args)
{
    return static_cast<T*>(parent.addElement(std::make_unique<T>(std::forward<Args>(args)...)));
}

TEST(ElementTest, AnElementWithoutParentIsItsOwnRoot)
{
    HwRegister32 reg(QStringLiteral("ctrl"));
    reg.remap(0x40001000);
    EXPECT_EQ(reg.getPath(), QStringLiteral("$ctrl"));
    EXPECT_EQ(reg.getBaseAddress(), 0x40001000u);
    EXPECT_EQ(reg.getAddressString(), QStringLiteral("0x40001000"));
    EXPECT_EQ(reg.getTopParent(), nullptr);
    EXPECT_EQ(reg.getRootArchive(), nullptr);
    EXPECT_EQ(reg.getTopArchive(), nullptr);
    EXPECT_TRUE(reg.isRootElement());
    EXPECT_FALSE(reg.isInstance());
    EXPECT_EQ(reg.getArrayNumber(), -1);
    EXPECT_EQ(reg.getFlags(), 0u);
}

// root archive
//  +- uart (struct at 0x01A00000, an instance)
//      +- cfg (reg32 @0), fifo (reg8 x4 @4), ptr (uint32* @8) -> target (@8 inside), regs (struct @12)
//                                                                                 +- inner (reg16 @2)
struct Tree {
    HwRootArchive root {QStringLiteral("chip")};
    HwStruct* uart = nullptr;
    HwRegister32* cfg = nullptr;
    HwArray* fifo = nullptr;
    HwPointer* ptr = nullptr;
    HwRegister16* inner = nullptr;
    HwStruct* regs = nullptr;
    HwXMLElement* pointed = nullptr;

    Tree()
    {
        auto uartType = std::make_unique<HwStruct>(QStringLiteral("uart"), QStringLiteral("UART"));
        cfg = addTo<HwRegister32>(*uartType, QStringLiteral("cfg"));
        fifo =
            addTo<HwArray>(*uartType, QStringLiteral("fifo"), HwRegister8(QStringLiteral("x")), 4, QString());
        ptr = addTo<HwPointer>(*uartType, QStringLiteral("ptr"), QStringLiteral("uint32"));
        regs = addTo<HwStruct>(*uartType, QStringLiteral("regs"), QString());
        regs->addElement(std::make_unique<HwRegister8>(QStringLiteral("pad")));
        inner = addTo<HwRegister16>(*regs, QStringLiteral("inner"));
        auto target = std::make_unique<HwUnsignedInt32>(QStringLiteral("target"));
        target->remap(8); // ignored behind a pointer
        pointed = ptr->pointTo(std::move(target));
        uartType->remap(0x01A00000);
        uart = static_cast<HwStruct*>(root.addElement(std::move(uartType)));
    }
};

TEST(ElementTest, PathsFollowMembersIndicesAndPointers)
{
    Tree tree;
    auto bitField = std::make_unique<HwBitField>(QStringLiteral("en"), true, HwBitField::WRITE_NORMAL,
        QStringLiteral("0"), 0, QStringLiteral("0"), 0, 0, false, DISPLAY_HEX);
    HwBitField* en = tree.cfg->addBitField(std::move(bitField));
    // The item's own name is never used: it is reached by its index.
    HwXMLElement* item = tree.fifo->getMemberList()[3].get();
    item->setName(QStringLiteral("renamed"));

    const struct {
        const HwXMLElement* element;
        const char* path;
    } rows[] = {
        {tree.uart, "$uart"},
        {tree.cfg, "$uart.cfg"},
        {en, "$uart.cfg.en"},
        {tree.fifo, "$uart.fifo"},
        {item, "$uart.fifo[3]"},
        {tree.ptr, "$uart.ptr"},
        {tree.pointed, "$uart.ptr.>"},
        {tree.inner, "$uart.regs.inner"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(row.element->getPath(), QLatin1String(row.path));
    }
}

TEST(ElementTest, BaseAddressesAddOffsetsExceptBehindPointers)
{
    Tree tree;
    tree.ptr->setValue(0x20000000);
    EXPECT_EQ(tree.cfg->getBaseAddress(), 0x01A00000u);
    EXPECT_EQ(tree.fifo->getMemberList()[2]->getBaseAddress(), 0x01A00006u);
    EXPECT_EQ(tree.ptr->getBaseAddress(), 0x01A00008u);
    EXPECT_EQ(tree.pointed->getAddress(), 8u);
    EXPECT_EQ(tree.pointed->getBaseAddress(), 0x20000000u);
    EXPECT_EQ(tree.regs->getBaseAddress(), 0x01A0000Cu);
    EXPECT_EQ(tree.inner->getBaseAddress(), 0x01A0000Eu);
    EXPECT_EQ(tree.uart->offsetOf(tree.inner), 0xEu);
    // offsetOf is a plain 32-bit difference, negative results wrap.
    EXPECT_EQ(tree.inner->offsetOf(tree.uart), 0xFFFFFFF2u);
    EXPECT_EQ(tree.pointed->offsetOf(tree.uart), 0x01A00000u - 0x20000000u);
}

TEST(ElementTest, BaseAddressesWrapAt32Bits)
{
    HwStruct outer(QStringLiteral("outer"), QString());
    outer.remap(0xFFFFFFF0u);
    HwXMLElement* member = outer.addElement(std::make_unique<FixedElement>(QStringLiteral("m"), 4, 0));
    member->remap(0x20);
    EXPECT_EQ(member->getBaseAddress(), 0x10u);
    EXPECT_EQ(member->getAddressString(), QStringLiteral("0x00000010"));
}

TEST(ElementTest, AddressStringsAndLinkNamesUseEightUpperCaseDigits)
{
    const struct {
        unsigned int address;
        const char* addressString;
        const char* href;
    } rows[] = {
        {0, "0x00000000", "00000000"},
        {0x40, "0x00000040", "00000040"},
        {0x01A00000, "0x01A00000", "01A00000"},
        {0xDEADBEEF, "0xDEADBEEF", "DEADBEEF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.addressString);
        HwMemory memory(QStringLiteral("m"), 4);
        memory.remap(row.address);
        EXPECT_EQ(memory.getAddressString(), QLatin1String(row.addressString));
        EXPECT_EQ(memory.getHrefName(), QLatin1String(row.href));
    }
}

TEST(ElementTest, ArchivesAnswerTopParentAndInstanceQueries)
{
    Tree tree;
    EXPECT_EQ(tree.inner->getTopParent(), &tree.root);
    EXPECT_EQ(tree.inner->getRootArchive(), &tree.root);
    EXPECT_EQ(tree.inner->getTopArchive(), nullptr);
    EXPECT_TRUE(tree.uart->isInstance());
    EXPECT_TRUE(tree.uart->isRootElement());
    EXPECT_FALSE(tree.cfg->isInstance());
    EXPECT_FALSE(tree.cfg->isRootElement());
    EXPECT_EQ(tree.root.getTopParent(), nullptr);

    // A type declared in an archive file under the root: root element, but no instance.
    auto archive = std::make_unique<HwXMLArchive>(QStringLiteral("uart.xml"));
    HwXMLArchive* file = archive.get();
    tree.root.addElement(std::move(archive));
    auto type = std::make_unique<HwStruct>(QStringLiteral("T"), QStringLiteral("T"));
    HwRegister8* reg = addTo<HwRegister8>(*type, QStringLiteral("r"));
    HwXMLElement* typeElement = file->addElement(std::move(type));
    EXPECT_EQ(typeElement->getPath(), QStringLiteral("$T"));
    EXPECT_TRUE(typeElement->isRootElement());
    EXPECT_FALSE(typeElement->isInstance());
    EXPECT_EQ(reg->getTopArchive(), file);
    EXPECT_EQ(reg->getRootArchive(), &tree.root);

    // Without the root archive on top there is no root archive, however deep the tree.
    HwXMLArchive lone(QStringLiteral("lone.xml"));
    HwXMLElement* member = lone.addElement(std::make_unique<HwRegister8>(QStringLiteral("x")));
    EXPECT_EQ(member->getRootArchive(), nullptr);
    EXPECT_EQ(member->getTopArchive(), &lone);
}

TEST(ElementTest, RubyClassNamesFollowTypeNameOrPlace)
{
    Tree tree;
    auto bitField = std::make_unique<HwBitField>(QStringLiteral("en"), true, HwBitField::WRITE_NORMAL,
        QStringLiteral("0"), 0, QStringLiteral("0"), 0, 0, false, DISPLAY_HEX);
    HwBitField* en = tree.cfg->addBitField(std::move(bitField));
    HwArray* named =
        addTo<HwArray>(*tree.regs, QStringLiteral("named"), HwRegister8(QStringLiteral("x")), 2, QString());
    named->getMemberList()[0]->setTypeName(QStringLiteral("reg8"));

    const struct {
        const HwXMLElement* element;
        const char* className;
        const char* prefix;
    } rows[] = {
        {tree.uart, "CH__UART", "CH__UART"},
        {tree.cfg, "CH__UART__cfg", "CH__UART__cfg"},
        {en, "CH__UART__cfg__en", "CH__UART__cfg__en"},
        {tree.fifo->getMemberList()[1].get(), "CH__UART__fifo__content", "CH__UART__fifo__content"},
        {tree.inner, "CH__UART__regs__inner", "CH__UART__regs__inner"},
        {named->getMemberList()[0].get(), "CH__reg8", "CH__reg8"},
        {tree.ptr, "CHPointer", "CHPointer"},
        {tree.pointed, "CHUnsignedInt", "CHUnsignedInt"},
        {&tree.root, "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.className);
        EXPECT_EQ(row.element->getRubyClassName(), QLatin1String(row.className));
        EXPECT_EQ(row.element->getRubyPrefix(), QLatin1String(row.prefix));
    }
    HwHole hole(8);
    HwMemory memory(QStringLiteral("m"), 4);
    HwExternal external(QStringLiteral("ext"), 4);
    HwXMLArchive archive(QStringLiteral("a.xml"));
    EXPECT_EQ(hole.getRubyClassName(), QStringLiteral("CRHole"));
    EXPECT_EQ(memory.getRubyClassName(), QStringLiteral("CRMemory"));
    EXPECT_EQ(external.getRubyPrefix(), QStringLiteral("CRExternal"));
    EXPECT_EQ(archive.getRubyClassName(), QString());
}

TEST(ElementTest, CTypeStringsUseTheTypeNameOrTheConvertedTypeString)
{
    HwRegister32 reg(QStringLiteral("r"));
    EXPECT_EQ(reg.getCTypeString(), QStringLiteral("REG32"));
    reg.setTypeName(QStringLiteral("my_reg_t"));
    EXPECT_EQ(reg.getCTypeString(), QStringLiteral("my_reg_t"));
    EXPECT_EQ(HwInt8(QStringLiteral("i")).getCTypeString(), QStringLiteral("INT8"));
    EXPECT_EQ(HwStruct(QStringLiteral("s"), QString()).getCTypeString(), QStringLiteral("_T"));
    EXPECT_EQ(HwHole(8).getCTypeString(), QStringLiteral("HOLE_T"));
    EXPECT_EQ(
        HwPointer(QStringLiteral("p"), QStringLiteral("uart")).getCTypeString(), QStringLiteral("UART_T*"));
    EXPECT_EQ(
        HwPointer(QStringLiteral("p"), QStringLiteral("uint8")).getCTypeString(), QStringLiteral("UINT8*"));

    const struct {
        const char* type;
        const char* cType;
    } rows[] = {
        {"uint32", "UINT32"},
        {"Reg16", "REG16"},
        {"bool", "BOOL"},
        {"memory", "MEMORY"},
        {"uart", "UART_T"},
        {"UART_T", "UART_T"},
        {"uart_t", "UART_T_T"},
        {"uint64", "UINT64_T"},
        {"", "_T"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        EXPECT_EQ(ESDRTypeConvert(QLatin1String(row.type)), QLatin1String(row.cType));
    }
}

TEST(ElementTest, FlagsKeepReadErrorAndCopyMarkApart)
{
    HwRegister8 reg(QStringLiteral("r"));
    reg.setReadError(true);
    EXPECT_EQ(reg.getFlags(), 1u);
    reg.setCopyMark(true);
    EXPECT_EQ(reg.getFlags(), 3u);
    reg.setReadError(false);
    EXPECT_EQ(reg.getFlags(), 2u);
    EXPECT_FALSE(reg.hasReadError());
    EXPECT_TRUE(reg.hasCopyMark());
    reg.setCopyMark(false);
    EXPECT_EQ(reg.getFlags(), 0u);
}

void decorate(HwXMLElement& element, HwXMLElement* parent)
{
    element.reparent(parent);
    element.remap(0x24);
    element.setComment(QStringLiteral("comment"));
    element.setTypeName(QStringLiteral("type"));
    element.setArrayNumber(5);
    element.addCKeywords({QStringLiteral("volatile"), QStringLiteral("const")});
    element.setAltAddress(QStringLiteral("ALT"), 0x100);
    element.setCategory(QStringLiteral("Unclassified"));
    element.setAnnotation(QStringLiteral("note"));
    element.setReadError(true);
    element.setCopyMark(true);
}

TEST(ElementTest, AnonymousCopyMakesTheSourceClassAndKeepsTheElementFields)
{
    HwStruct parent(QStringLiteral("parent"), QString());
    const HwRegister8 prototype(QStringLiteral("x"));
    const std::function<std::unique_ptr<HwXMLElement>()> makers[] = {
        [] { return std::make_unique<HwHole>(24); },
        [] { return std::make_unique<HwRegister32>(QStringLiteral("e")); },
        [] { return std::make_unique<HwRegister16>(QStringLiteral("e")); },
        [] { return std::make_unique<HwRegister8>(QStringLiteral("e")); },
        [] { return std::make_unique<HwInternalRegister8>(QStringLiteral("e")); },
        [] {
            return std::make_unique<HwBitField>(QStringLiteral("e"), true, 1, QStringLiteral("3"), 3,
                QStringLiteral("0"), 0, 0, false, DISPLAY_HEX);
        },
        [] { return std::make_unique<HwPointer>(QStringLiteral("e"), QStringLiteral("void")); },
        [] { return std::make_unique<HwInt32>(QStringLiteral("e")); },
        [] { return std::make_unique<HwInt16>(QStringLiteral("e")); },
        [] { return std::make_unique<HwInt8>(QStringLiteral("e")); },
        [] { return std::make_unique<HwUnsignedInt32>(QStringLiteral("e")); },
        [] { return std::make_unique<HwUnsignedInt16>(QStringLiteral("e")); },
        [] { return std::make_unique<HwUnsignedInt8>(QStringLiteral("e")); },
        [] { return std::make_unique<HwBoolean>(QStringLiteral("e")); },
        [] { return std::make_unique<HwStruct>(QStringLiteral("e"), QStringLiteral("T")); },
        [&prototype] { return std::make_unique<HwArray>(QStringLiteral("e"), prototype, 2, QString()); },
        [] { return std::make_unique<HwMemory>(QStringLiteral("e"), 16); },
        [] { return std::make_unique<HwVoid>(QStringLiteral("e")); },
        [] { return std::make_unique<HwExternal>(QStringLiteral("e"), 12); },
    };
    for (const auto& make : makers) {
        std::unique_ptr<HwXMLElement> source = make();
        SCOPED_TRACE(source->getType());
        decorate(*source, &parent);
        if (source->isValuable())
            static_cast<HwValuable*>(source.get())->setValue(0xA5A5A5A5);

        std::unique_ptr<HwXMLElement> copy = HwXMLElement::anonymousCopy(source.get());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(typeid(*copy), typeid(*source));
        EXPECT_EQ(copy->getType(), source->getType());
        EXPECT_EQ(copy->getFlags(), 3u);
        EXPECT_EQ(copy->getParent(), &parent);
        EXPECT_EQ(copy->getAddress(), 0x24u);
        EXPECT_EQ(copy->getName(), source->getName());
        EXPECT_EQ(copy->getComment(), QStringLiteral("comment"));
        EXPECT_EQ(copy->getTypeName(), QStringLiteral("type"));
        EXPECT_EQ(copy->getArrayNumber(), 5);
        EXPECT_EQ(copy->getCKeywords(), (QStringList {QStringLiteral("volatile"), QStringLiteral("const")}));
        EXPECT_EQ(copy->getAltAddresses().value(QStringLiteral("ALT")), 0x100u);
        EXPECT_EQ(copy->getCategory(), QStringLiteral("Unclassified"));
        EXPECT_EQ(copy->getAnnotation(), QStringLiteral("note"));
        EXPECT_EQ(copy->sizeOf(), source->sizeOf());
        if (source->isValuable()) {
            EXPECT_EQ(static_cast<HwValuable*>(copy.get())->getValue(),
                static_cast<HwValuable*>(source.get())->getValue());
        }
    }
}

TEST(ElementTest, AnonymousCopyRefusesArchivesAndUnknownKinds)
{
    HwXMLArchive archive(QStringLiteral("a.xml"));
    HwRootArchive root(QStringLiteral("chip"));
    FixedElement unknown(QStringLiteral("u"), 4, 4);
    EXPECT_EQ(HwXMLElement::anonymousCopy(&archive), nullptr);
    EXPECT_EQ(HwXMLElement::anonymousCopy(&root), nullptr);
    EXPECT_EQ(HwXMLElement::anonymousCopy(&unknown), nullptr);
    EXPECT_EQ(HwXMLElement::anonymousCopy(nullptr), nullptr);
}

TEST(ElementTest, DumpPrintsAnIndentedTree)
{
    Tree tree;
    auto bitField = std::make_unique<HwBitField>(
        QStringLiteral("en"), true, 1, QStringLiteral("0"), 0, QStringLiteral("0"), 0, 0, false, DISPLAY_HEX);
    tree.cfg->addBitField(std::move(bitField));
    tree.regs->addElement(std::make_unique<HwHole>(8));

    testing::internal::CaptureStdout();
    HwXMLElement::dumpIndent(0);
    HwXMLElement::dumpIndent(-3);
    tree.root.dumpInfo(0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out,
        "19 chip\n"
        " |_15 uart\n"
        "  |_2 cfg\n"
        "   |_6 en\n"
        "  |_16 fifo\n"
        "   |_4 fifo[0]\n"
        "   |_4 fifo[1]\n"
        "   |_4 fifo[2]\n"
        "   |_4 fifo[3]\n"
        "  |_7 ptr\n"
        "   |_11 target\n"
        "  |_15 regs\n"
        "   |_4 pad\n"
        "   |_3 inner\n"
        "NO INFO\n");
}

} // namespace
