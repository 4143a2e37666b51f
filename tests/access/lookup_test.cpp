#include "access/access_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <functional>
#include <random>
#include <vector>

namespace {

class LookupTest : public accesstest::ChipFixture {
protected:
    HwXMLElement* find(const char* path) { return m_map.getElementFromPath(QString::fromUtf8(path)); }
};

TEST_F(LookupTest, EveryPathForm)
{
    // Path asked, and the path of the element found ("" for none).
    const struct {
        const char* path;
        const char* found;
    } rows[] = {
        {"", ""},
        {"DEV", "$DEV"},
        {"$DEV", ""}, // "$" is only dropped from paths of two or more tokens
        {"NONE", ""},
        {"$OTHER.odr", "$OTHER.odr"},
        {"OTHER.odr", "$OTHER.odr"},
        {".DEV.ctrl", ""},
        {"DEV..ctrl", ""},
        {"DEV.ctrl.", ""},
        {"DEV.ctrl", "$DEV.ctrl"},
        {"DEV.Ctrl", ""},
        {"DEV.ctrl.mode", "$DEV.ctrl.mode"},
        {"DEV.ctrl.mode.extra.more", "$DEV.ctrl.mode"},
        {"DEV.ctrl.grp", ""}, // a bit group is no element
        {"DEV.ctrl.nope", ""},
        {"DEV.regs", "$DEV.regs"},
        {"DEV.regs.v", "$DEV.regs"}, // an array named by the token is the answer, whatever follows
        {"DEV.regs[0]", "$DEV.regs[0]"},
        {"DEV.regs[3].v", "$DEV.regs[3].v"},
        {"DEV.regs[4]", ""},
        {"DEV.regs[-1]", ""},
        {"DEV.regs[03]", ""},
        {"DEV.ch[1].cfg", "$DEV.ch[1].cfg"},
        {"DEV.ch.cfg", "$DEV.ch"},
        {"DEV.ports[2].odr.p0", "$DEV.ports[2].odr.p0"},
        {"DEV.head", "$DEV.head"},
        {"DEV.head.>", "$DEV.head.>"},
        {"DEV.head.>.val", "$DEV.head.>.val"},
        {"DEV.head.>.next.>.next", "$DEV.head.>.next.>.next"},
        {"DEV.head.val", ""},
        {"DEV.head.>[0]", ""}, // the pointed element is no array
        {"DEV.head.>.nope", ""},
        {"DEV.bytes.>", "$DEV.bytes.>"},
        {"DEV.bad.>", ""},
        {"DEV.ram", "$DEV.ram"},
        {"DEV.ram.x", ""},
        {"DEV.dup.x", "$DEV.dup.x"}, // the register dup has no field x: the structure dup answers
        {"DEV.odr.p0", "$DEV.odr.p0"}, // the first DEV has no odr: the second instance DEV answers
        {"OTHER.odr.p0.x", "$OTHER.odr.p0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const HwXMLElement* element = find(row.path);
        if (row.found[0] == '\0') {
            EXPECT_EQ(element, nullptr) << element->getPath().toStdString();
            continue;
        }
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->getPath(), QString::fromUtf8(row.found));
    }
}

TEST_F(LookupTest, FirstMatchInOrder)
{
    // Two members named dup: a register first, then a structure.
    ASSERT_NE(find("DEV.dup"), nullptr);
    EXPECT_EQ(find("DEV.dup")->getType(), TYPE_REG32);
    ASSERT_NE(find("DEV.dup.x"), nullptr);
    EXPECT_EQ(find("DEV.dup.x")->getParent()->getType(), TYPE_STRUCT);
    // Two instances named DEV: one token gives the first, and longer paths try them in order.
    EXPECT_EQ(find("DEV")->getTypeName(), QStringLiteral("dev"));
    EXPECT_EQ(find("DEV.odr")->getParent()->getTypeName(), QStringLiteral("port"));
}

TEST_F(LookupTest, PointersAllocateOnDemandAndFollowTheirValue)
{
    auto* head = static_cast<HwPointer*>(find("DEV.head"));
    ASSERT_NE(head, nullptr);
    EXPECT_EQ(head->getPointedElement(), nullptr);
    // A pointer holding 0 still leads to its pointed element, which then lives at address 0.
    HwXMLElement* value = find("DEV.head.>.val");
    ASSERT_NE(head->getPointedElement(), nullptr);
    EXPECT_EQ(head->getPointedElement()->getName(), QStringLiteral("*(head)"));
    EXPECT_EQ(value->getAddressString(), QStringLiteral("0x00000000"));
    head->setValue(0x2000);
    EXPECT_EQ(value->getAddressString(), QStringLiteral("0x00002000"));
    // The same element is found again: nothing is made twice.
    EXPECT_EQ(find("DEV.head.>.val"), value);
    EXPECT_EQ(find("DEV.head.>")->getType(), TYPE_STRUCT);
    EXPECT_EQ(find("DEV.bytes.>")->getType(), TYPE_UINT8);
}

// Built by hand: the indexes must follow a structure that grows and an array that is renamed after a
// lookup, and keep duplicate names in order.
TEST(LookupIndexTest, FollowsChangesAfterTheFirstLookup)
{
    HwStruct top(QStringLiteral("top"), QStringLiteral("T"));
    top.addElement(std::make_unique<HwRegister32>(QStringLiteral("a")));
    const QStringList tokens {QStringLiteral("top"), QStringLiteral("b")};
    EXPECT_EQ(top.getElementFromPathTokens(tokens), nullptr);
    HwXMLElement* b = top.addElement(std::make_unique<HwRegister16>(QStringLiteral("b")));
    EXPECT_EQ(top.getElementFromPathTokens(tokens), b);
    HwXMLElement* b2 = top.addElement(std::make_unique<HwRegister8>(QStringLiteral("b")));
    EXPECT_EQ(top.getElementFromPathTokens(tokens), b);
    auto* field =
        static_cast<HwValuable*>(b2)->addBitField(std::make_unique<HwBitField>(QStringLiteral("f"), true,
            HwBitField::WRITE_NORMAL, QStringLiteral("0"), 0, QStringLiteral("0"), 0, 0, false, DISPLAY_HEX));
    EXPECT_EQ(top.getElementFromPathTokens({QStringLiteral("top"), QStringLiteral("b"), QStringLiteral("f")}),
        field);

    auto* array = static_cast<HwArray*>(top.addElement(
        std::make_unique<HwArray>(QStringLiteral("arr"), HwRegister32(QStringLiteral("r")), 3, QString())));
    EXPECT_EQ(top.getElementFromPathTokens({QStringLiteral("top"), QStringLiteral("arr[2]")}),
        array->getMemberList()[2].get());
    array->setName(QStringLiteral("renamed"));
    EXPECT_EQ(top.getElementFromPathTokens({QStringLiteral("top"), QStringLiteral("arr[2]")}), nullptr);
    EXPECT_EQ(
        array->getElementFromPathTokens({QStringLiteral("renamed[1]")}), array->getMemberList()[1].get());
    // An item renamed on its own is still found by its name, and no longer by its place.
    array->getMemberList()[0]->setName(QStringLiteral("odd"));
    HwArray copy(*array);
    EXPECT_EQ(copy.getElementFromPathTokens({QStringLiteral("odd")}), copy.getMemberList()[0].get());
    EXPECT_EQ(copy.getElementFromPathTokens({QStringLiteral("renamed[0]")}), nullptr);
    EXPECT_EQ(copy.getElementFromPathTokens({QStringLiteral("renamed[2]")}), copy.getMemberList()[2].get());
}

TEST(LookupIndexTest, NestedArraysResolveEveryIndex)
{
    HwArray inner(QStringLiteral("m"), HwRegister8(QStringLiteral("r")), 2, QString());
    HwStruct top(QStringLiteral("top"), QStringLiteral("T"));
    auto* outer = static_cast<HwArray*>(
        top.addElement(std::make_unique<HwArray>(QStringLiteral("m"), inner, 3, QString())));
    const HwXMLElement* item =
        top.getElementFromPathTokens({QStringLiteral("top"), QStringLiteral("m[2][1]")});
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item, static_cast<HwArray*>(outer->getMemberList()[2].get())->getMemberList()[1].get());
    EXPECT_EQ(item->getPath(), QStringLiteral("$top.m[2][1]"));
    EXPECT_EQ(top.getElementFromPathTokens({QStringLiteral("top"), QStringLiteral("m[2][2]")}), nullptr);
    EXPECT_EQ(outer->getItemByName(QStringLiteral("m[1][0]")),
        item->getParent()->getParent()->getElementFromPathTokens({QStringLiteral("m[1][0]")}));
}

// Every element of a loaded description, depth first: instances, members, array items, bitfields.
std::vector<HwXMLElement*> everyElement(const HwMemoryMap& map)
{
    std::vector<HwXMLElement*> all;
    const std::function<void(HwXMLElement*)> walk = [&](HwXMLElement* element) {
        all.push_back(element);
        if (element->isStruct()) {
            for (const auto& member : static_cast<HwStruct*>(element)->getMemberList())
                walk(member.get());
        } else if (element->isArray()) {
            for (const auto& item : static_cast<HwArray*>(element)->getMemberList())
                walk(item.get());
        } else if (element->isValuable()) {
            for (const auto& field : static_cast<HwValuable*>(element)->getBitFields())
                walk(field.get());
        }
    };
    for (HwXMLElement* instance : map.getChipRootArchive()->getInstanciatedTemplates())
        walk(instance);
    return all;
}

// What a tool lists, a user can look up: the path every element prints (getPath) finds an element of that
// path (the element itself, or the first of duplicate names), also after renames made once lookups have
// indexed the names. Members, items, fields and instances are renamed at random.
void expectEveryPathFound(HwMemoryMap& map, unsigned int seed)
{
    std::vector<HwXMLElement*> all = everyElement(map);
    ASSERT_GT(all.size(), 10u);
    const auto check = [&map, &all] {
        for (HwXMLElement* element : all) {
            const QString path = element->getPath();
            if (path.isEmpty()) // holes and externals have no path, and are not listed
                continue;
            const HwXMLElement* found = map.findElement(path);
            ASSERT_NE(found, nullptr) << path.toStdString();
            EXPECT_EQ(found->getPath(), path);
        }
    };
    check();
    std::mt19937 random(seed);
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 8; ++i) {
            HwXMLElement* element = all[random() % all.size()];
            // Array items are named after their array and place; renaming the array renames them.
            if (element->getParent() && element->getParent()->isArray())
                continue;
            const QString before = element->getPath();
            if (before.isEmpty())
                continue;
            element->setName(QStringLiteral("renamed%1_%2").arg(round).arg(i));
            const HwXMLElement* stale = map.findElement(before);
            EXPECT_TRUE(!stale || stale->getPath() == before) << before.toStdString();
        }
        check();
    }
}

TEST_F(LookupTest, EveryListedPathIsFoundAfterRenames)
{
    for (unsigned int seed = 1; seed <= 5; ++seed) {
        SCOPED_TRACE(seed);
        accesstest::ChipFixture::SetUp();
        expectEveryPathFound(m_map, seed);
    }
    // A top-level instance alone is listed as "$NAME": the one form getElementFromPath leaves alone.
    accesstest::ChipFixture::SetUp();
    EXPECT_EQ(m_map.getElementFromPath(QStringLiteral("$OTHER")), nullptr);
    ASSERT_NE(m_map.findElement(QStringLiteral("$OTHER")), nullptr);
    EXPECT_EQ(m_map.findElement(QStringLiteral("$OTHER"))->getPath(), QStringLiteral("$OTHER"));
    EXPECT_EQ(m_map.findElement(QStringLiteral("$")), nullptr);
    EXPECT_EQ(m_map.findElement(QStringLiteral("$NONE")), nullptr);
}

#ifdef VELLXML_DEMO_DIR

TEST(DemoLookupTest, EveryListedPathIsFoundAfterRenames)
{
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    ASSERT_NE(loader.loadRootArchiveFromFile(
                  &map, QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), nullptr, nullptr, nullptr, true),
        nullptr);
    expectEveryPathFound(map, 7);
}

TEST(DemoLookupTest, PathsOfTheDemoChip)
{
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    ASSERT_NE(loader.loadRootArchiveFromFile(
                  &map, QStringLiteral(VELLXML_DEMO_DIR "/chip.xml"), nullptr, nullptr, nullptr, true),
        nullptr);
    const struct {
        const char* path;
        const char* address;
        XMLElementType type;
    } rows[] = {
        {"UART0.CR1.PARITY", "0x40004400", TYPE_BITFIELD},
        {"$UART1.CR1", "0x40004800", TYPE_REG32},
        {"GPIO.PORT[2].AFR[1]", "0x48000824", TYPE_REG32},
        {"GPIO.PORT[4].BSRR.BR", "0x48001018", TYPE_BITFIELD},
        {"DAP.DATA[3]", "0x00000007", TYPE_IREG8},
        {"DMA1.CH[7].DESC.>.CTRL.COUNT", "0x00000000", TYPE_BITFIELD},
        {"INTC", "0x40024000", TYPE_STRUCT},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const HwXMLElement* element = map.getElementFromPath(QString::fromUtf8(row.path));
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->getAddressString(), QString::fromUtf8(row.address));
        EXPECT_EQ(element->getType(), row.type);
    }
    EXPECT_EQ(map.getElementFromPath(QStringLiteral("GPIO.PORT[5]")), nullptr);
    EXPECT_EQ(map.getElementFromPath(QStringLiteral("USB.x")), nullptr);
}

#endif

} // namespace
