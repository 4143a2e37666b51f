#include "loader_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

using loadertest::messages;

namespace {

class TypeTagsTest : public loadertest::Fixture {
protected:
    const HwXMLArchive* first() const { return m_map.getChipRootArchive()->getArchives().front().get(); }
    static const HwXMLElement* member(const HwXMLElement* parent, int index)
    {
        const auto& members = parent->isArray() ? static_cast<const HwArray*>(parent)->getMemberList()
                                                : static_cast<const HwStruct*>(parent)->getMemberList();
        return members.at(static_cast<std::size_t>(index)).get();
    }
};

TEST_F(TypeTagsTest, StructsInstancesPointersAndMemories)
{
    HwRootArchive* root = loadArchive(
        "<typedef name=\"pair\"><uint16 name=\"lo\"/><uint16 name=\"hi\"/></typedef>\n"
        "<module name=\"dev\">\n"
        "  <struct name=\"regs\" count=\"2\" ckeywords=\"const\"><comment>Two</comment><reg32 name=\"a\"/>"
        "<struct name=\"inner\"><reg8 name=\"b\"/></struct></struct>\n"
        "  <instance name=\"p\" type=\"pair\" count=\"3\" "
        "ckeywords=\"far\"><comment>Pairs</comment></instance>\n"
        "  <ptr name=\"next\" type=\"pair\"><comment>Link</comment></ptr>\n"
        "  <ptr name=\"raw\" type=\"uint8\" count=\"2\"/>\n"
        "  <memory name=\"ram\" size=\"0x10\" ckeywords=\"v\"><comment>RAM</comment></memory>\n"
        "</module>\n"
        "<instance name=\"DEV0\" type=\"dev\" address=\"0x1000\" category=\"Bus\">\n"
        "  <comment>The device</comment><altaddress name=\"alt\" address=\"0x2000\"/>"
        "<altaddress name=\"ALT\" address=\"0x3000\"/><altaddress name=\"sec\" "
        "address=\"0x9000\"/><ignored/>\n"
        "</instance>");
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(messages().error.empty());
    const HwXMLElement* dev = root->getTemplate(QStringLiteral("dev"));
    ASSERT_NE(dev, nullptr);
    const HwXMLElement* regs = member(dev, 0);
    ASSERT_TRUE(regs->isArray());
    EXPECT_EQ(static_cast<const HwArray*>(regs)->getMemberList().size(), 2u);
    const HwXMLElement* regs1 = member(regs, 1);
    EXPECT_EQ(regs1->getComment(), QStringLiteral("Two"));
    EXPECT_EQ(regs1->getCKeywords(), QStringList {"const"});
    EXPECT_EQ(member(member(regs1, 1), 0)->getName(), QStringLiteral("b"));

    const HwXMLElement* pairs = member(dev, 1);
    ASSERT_TRUE(pairs->isArray());
    EXPECT_EQ(static_cast<const HwArray*>(pairs)->getMemberList().size(), 3u);
    const HwXMLElement* pair2 = member(pairs, 2);
    EXPECT_EQ(pair2->getTypeName(), QStringLiteral("pair"));
    EXPECT_EQ(pair2->getComment(), QStringLiteral("Pairs"));
    EXPECT_EQ(pair2->getCKeywords(), QStringList {"far"});
    EXPECT_EQ(member(pair2, 1)->getName(), QStringLiteral("hi"));

    const auto* next = static_cast<const HwPointer*>(member(dev, 2));
    ASSERT_TRUE(next->isPointer());
    EXPECT_EQ(next->getPointedTypeName(), QStringLiteral("pair"));
    EXPECT_EQ(next->getComment(), QStringLiteral("Link"));
    EXPECT_TRUE(member(dev, 3)->isArray());
    const HwXMLElement* ram = member(dev, 4);
    EXPECT_EQ(ram->getType(), TYPE_MEMORY);
    EXPECT_EQ(ram->sizeOf(), 16u);
    EXPECT_EQ(ram->getComment(), QStringLiteral("RAM"));

    const HwXMLElement* dev0 = root->getInstanciatedTemplates().at(0);
    EXPECT_EQ(dev0->getCategory(), QStringLiteral("Bus"));
    EXPECT_EQ(dev0->getComment(), QStringLiteral("The device"));
    EXPECT_EQ(dev0->getBaseAddress(), 0x1000u);
    EXPECT_EQ(dev0->getAltAddresses(), (QMap<QString, std::uint32_t> {{"ALT", 0x3000u}, {"SEC", 0x9000u}}));

    // Following the pointer of the placed copy builds the registered type behind it.
    auto* placedNext = static_cast<HwPointer*>(const_cast<HwXMLElement*>(member(dev0, 2)));
    HwXMLElement* pointed = placedNext->allocatePointedElement();
    ASSERT_NE(pointed, nullptr);
    EXPECT_TRUE(pointed->isStruct());
    EXPECT_EQ(pointed->getName(), QStringLiteral("*(next)"));
    EXPECT_EQ(pointed->sizeOf(), 4u);
    auto* raw0 = static_cast<HwPointer*>(const_cast<HwXMLElement*>(member(member(dev0, 3), 0)));
    ASSERT_NE(raw0->allocatePointedElement(), nullptr);
    EXPECT_EQ(raw0->getPointedElement()->getType(), TYPE_UINT8);
}

// A pointer names its type; the pointed element is made on demand, so a type may point to itself.
TEST_F(TypeTagsTest, PointersToTheirOwnType)
{
    HwRootArchive* root =
        loadArchive("<typedef name=\"node\"><uint32 name=\"v\"/><ptr name=\"next\" type=\"node\"/>"
                    "</typedef>\n<instance name=\"N\" type=\"node\" address=\"0x100\"/>");
    ASSERT_NE(root, nullptr);
    auto* next =
        static_cast<HwPointer*>(const_cast<HwXMLElement*>(member(root->getInstanciatedTemplates()[0], 1)));
    HwXMLElement* pointed = next->allocatePointedElement();
    ASSERT_NE(pointed, nullptr);
    auto* nextOfNext = static_cast<HwPointer*>(const_cast<HwXMLElement*>(member(pointed, 1)));
    ASSERT_TRUE(nextOfNext->isPointer());
    EXPECT_EQ(nextOfNext->getPointedElement(), nullptr);
    EXPECT_NE(nextOfNext->allocatePointedElement(), nullptr);
    EXPECT_EQ(next->getTypeName(), QString());
}

TEST_F(TypeTagsTest, AliasesExternalsAndDeclarations)
{
    HwRootArchive* root = loadArchive(
        "<var name=\"BASE\" value=\"0x100\"><comment>Base</comment></var>\n"
        "<var name=\"HIDDEN\" value=\"BASE / 2\" export=\"no\"/>\n"
        "<range name=\"R\" left=\"7\" right=\"BASE - 256\" dir=\"up\"/>\n"
        "<range name=\"D\" left=\"3\" right=\"0\"/>\n"
        "<enum name=\"MODE\"><comment>Modes</comment><entry name=\"IDLE\"/><entry name=\"RUN\" value=\"4\">"
        "<comment>Running</comment></entry><bound name=\"MODE_COUNT\"/></enum>\n"
        "<external name=\"blob\" size=\"BASE\"/>\n"
        "<module name=\"m\"><instance name=\"x\" type=\"blob\"/><var name=\"LOCAL\" value=\"RUN + "
        "MODE_COUNT\"/></module>\n"
        "<alias name=\"view\"><comment>Alias</comment><reg32 name=\"a\"/><struct name=\"s\"/></alias>");
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(messages().error.empty());
    const HwXMLArchive* archive = first();
    const HwVariableManager& vars = archive->getVariableManager();
    EXPECT_EQ(vars.find(QStringLiteral("BASE"))->getOrigin(), QStringLiteral("Base"));
    EXPECT_TRUE(vars.find(QStringLiteral("BASE"))->isExported());
    EXPECT_FALSE(vars.find(QStringLiteral("HIDDEN"))->isExported());
    EXPECT_EQ(vars.find(QStringLiteral("HIDDEN"))->getValue(), 128);
    const HwIntVar* range = vars.find(QStringLiteral("R"));
    ASSERT_NE(range, nullptr);
    EXPECT_TRUE(range->isRange());
    EXPECT_EQ(range->getDirection(), HwIntVar::Up);
    EXPECT_EQ(range->getSecondValue(), 0);
    EXPECT_EQ(vars.find(QStringLiteral("D"))->getDirection(), HwIntVar::Down);

    HwEnum* mode = vars.getEnumByName(QStringLiteral("MODE"));
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->getEntries(), (QStringList {"IDLE", "RUN"}));
    EXPECT_EQ(vars.find(QStringLiteral("IDLE"))->getValue(), 0);
    EXPECT_EQ(vars.find(QStringLiteral("RUN"))->getValue(), 4);
    EXPECT_EQ(vars.find(QStringLiteral("RUN"))->getEnum(), mode);
    EXPECT_EQ(vars.find(QStringLiteral("MODE_COUNT"))->getValue(), 2);
    EXPECT_EQ(vars.find(QStringLiteral("LOCAL"))->getValue(), 6);

    // The archive's elements: the enum holder, the external, the module, the alias.
    const auto& elements = archive->getElements();
    ASSERT_EQ(elements.size(), 4u);
    const auto* holder = static_cast<const HwValuable*>(elements[0].get());
    EXPECT_TRUE(holder->isEnumHolder());
    EXPECT_EQ(holder->getName(), QStringLiteral("MODE"));
    EXPECT_EQ(holder->getComment(), QStringLiteral("Modes"));
    ASSERT_EQ(holder->getBitFields().size(), 1u);
    const HwBitField* values = holder->getBitFields()[0].get();
    EXPECT_EQ(values->getName(), QStringLiteral("enum"));
    EXPECT_EQ(values->getUpPos(), 31);
    ASSERT_EQ(values->getOptions().size(), 2);
    EXPECT_EQ(values->getOptions()[1].value, 4u);
    EXPECT_EQ(values->getOptions()[1].description, QStringLiteral("Running"));

    EXPECT_EQ(elements[1]->getType(), TYPE_EXTERNAL);
    EXPECT_EQ(elements[1]->sizeOf(), 256u);
    EXPECT_EQ(elements[1]->getCategory(), QStringLiteral("Unclassified"));
    EXPECT_EQ(root->getTemplate(QStringLiteral("blob")), elements[1].get());
    EXPECT_EQ(member(elements[2].get(), 0)->getType(), TYPE_EXTERNAL);
    EXPECT_EQ(elements[3]->getName(), QStringLiteral("view"));
    EXPECT_EQ(elements[3]->getComment(), QStringLiteral("Alias"));
    EXPECT_EQ(static_cast<const HwStruct*>(elements[3].get())->getMemberList().size(), 2u);
    EXPECT_EQ(root->getTemplate(QStringLiteral("view")), nullptr);
}

TEST_F(TypeTagsTest, EveryMessageWithItsPosition)
{
    struct Case {
        const char* content;
        int line;
        int column;
        const char* error;
    };
    // Content starts on line 2 of a.xml.
    const Case cases[] = {
        {"<module name=\"m\">\n<struct/></module>", 3, 1, "Tag defining 'm' contains struct with no name !"},
        {"<module name=\"m\">\n<struct name=\"s\" count=\"N\"/></module>", 3, 1,
            "Tag defining 'm' contains struct 's' with an error in its count expression !"},
        {"<module name=\"m\"><struct name=\"s\">\n<bits/></struct></module>", 3, 1,
            "Struct 's' contains an unvalid 'bits' tag.\n"},
        {"<module name=\"m\">\n<instance name=\"i\"/></module>", 3, 1, "Instance 'i' has no type!.\n"},
        {"<module name=\"m\">\n<instance type=\"t\"/></module>", 3, 1, "Found instance with no name!.\n"},
        {"<module name=\"m\">\n<instance name=\"i\" type=\"t\" count=\"(\"/></module>", 3, 1,
            "Tag defining 'm' contains instance 'i' with an error in its count expression !"},
        {"<module name=\"m\">\n<instance name=\"i\" type=\"later\"/></module><module name=\"later\"/>", 3, 1,
            "Instance 'i' uses type 'later' which does not exist (or which must be declared before) !.\n"},
        {"<instance name=\"I\" type=\"t\" address=\"0x\"/>", 2, 1,
            "Address of instance 'I' of type 't' contains an error in its expression !"},
        {"<instance type=\"t\"/>", 2, 1, "Instance of 't' has no name!"},
        {"<instance name=\"I\"/>", 2, 1,
            "Could not instanciate instance 'I'! (missing module or typedef name)"},
        {"<instance name=\"I\" type=\"t\"/>", 2, 1,
            "Could not instanciate instance 'I' of type 't'! (missing include or include not valid?)"},
        {"<module name=\"t\"/><instance name=\"I\" type=\"t\">\n<altaddress name=\"a\" "
         "address=\"?\"/></instance>",
            3, 1, "Address of instance 'I' of type 't' contains an error in its expression !"},
        {"<module name=\"m\">\n<ptr name=\"p\" type=\"uint8\" count=\"?\"/></module>", 3, 1,
            "Tag defining 'm' contains ptr array 'p' with an error in its count expression !"},
        {"<module name=\"m\">\n<ptr name=\"p\" type=\"uint8\" count=\"-2\"/></module>", 3, 1,
            "Invalid '-2' array count of type 'ptr' for array 'p'\n"},
        {"<module name=\"m\"><ptr name=\"p\" type=\"uint8\">\n<x/></ptr></module>", 3, 1,
            "Pointer 'p' contains an unvalid 'x' tag.\n"},
        {"<module name=\"m\">\n<memory name=\"ram\" size=\"?\"/></module>", 3, 1,
            "Memory 'ram' : error in the size expression !"},
        {"<module name=\"m\"><memory name=\"ram\">\n<x/></memory></module>", 3, 1,
            "Memory 'ram' contains an unvalid 'x' tag.\n"},
        {"<alias name=\"al\">\n<hole size=\"8\"/></alias>", 3, 1,
            "Alias 'al' contains an unvalid 'hole' tag.\n"},
        {"<external size=\"4\"/>", 2, 1, "External has no name!"},
        {"<external name=\"e\"/>", 2, 1, "External has no size!"},
        {"<external name=\"e\" size=\"?\"/>", 2, 1,
            "External size expression ? : Error in expression of : ?\n"},
        {"<module name=\"e\"/>\n<external name=\"e\" size=\"4\"/>", 3, 1,
            "Type 'e' already exists or already loaded !"},
        {"<var value=\"1\"/>", 2, 1, "A variable of the archive 'a.xml' has no name!"},
        {"<var name=\"V\"/>", 2, 1, "The variable 'V' of the archive 'a.xml' has no value!"},
        {"<var name=\"V\" value=\"W\"/>", 2, 1,
            "In archive 'a.xml', variable 'V' declaration : Error in expression of : V"},
        {"<range name=\"R\" left=\"1\" right=\"0\" dir=\"sideways\"/>", 2, 1,
            "Invalid direction 'sideways' for range 'R' ."},
        {"<range left=\"1\" right=\"0\"/>", 2, 1, "Range has no name!"},
        {"<range name=\"R\" left=\"1\"/>", 2, 1, "The range 'R' misses left or right value!"},
        {"<range name=\"R\" left=\"1\" right=\"?\"/>", 2, 1,
            "In range 'R' declaration : Error in expression of : R"},
        {"<enum name=\"E\">\n<value/></enum>", 3, 1, "Enum 'E' contains an unvalid 'value' tag."},
        {"<enum name=\"E\">\n<entry/></enum>", 3, 1, "This entry has no name!"},
        {"<enum name=\"E\">\n<bound/></enum>", 3, 1, "A bound of the enum 'E' has no name!"},
        {"<enum name=\"E\">\n<entry name=\"A\" value=\"B\"/></enum>", 3, 1,
            "Enum 'E', expression 'B' : Error in expression of : A\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.content);
        messages() = loadertest::Messages();
        EXPECT_EQ(loadArchive(c.content), nullptr);
        expectOnlyError(at(QStringLiteral("a.xml"), c.line, c.column, QString::fromUtf8(c.error)));
        EXPECT_EQ(m_map.getChipRootArchive(), nullptr);
    }
}

// Plain numbers skip the evaluator; they must give what it gives.
TEST_F(TypeTagsTest, LiteralsMatchTheEvaluator)
{
    const char* literals[] = {"0", "7", "123456789", "0x0", "0x1f", "0xABCDEF01", "0xFFFFFFFF", "0x80000000",
        "010", "1234567890", "0x123456789"};
    QByteArray content;
    int index = 0;
    for (const char* literal : literals) {
        content += QStringLiteral("<var name=\"A%1\" value=\"%2\"/><var name=\"B%1\" value=\"(%2)\"/>\n")
                       .arg(index++)
                       .arg(QString::fromLatin1(literal))
                       .toUtf8();
    }
    ASSERT_NE(loadArchive(content), nullptr);
    const HwVariableManager& vars = first()->getVariableManager();
    for (int i = 0; i < index; ++i) {
        SCOPED_TRACE(literals[i]);
        EXPECT_EQ(vars.find(QStringLiteral("A%1").arg(i))->getValue(),
            vars.find(QStringLiteral("B%1").arg(i))->getValue());
    }
    EXPECT_EQ(vars.find(QStringLiteral("A6"))->getValue(), -1);
}

} // namespace
