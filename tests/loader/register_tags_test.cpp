#include "loader_support.h"

#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

using loadertest::messages;

namespace {

class RegisterTagsTest : public loadertest::Fixture {
protected:
    /// Loads a module "m" whose content starts on line 3, column 1 of a.xml.
    const HwStruct* loadModule(const QByteArray& body)
    {
        HwRootArchive* root = loadArchive("<module name=\"m\">\n" + body + "\n</module>");
        if (!root)
            return nullptr;
        return static_cast<const HwStruct*>(root->getTemplate(QStringLiteral("m")));
    }
    static const HwValuable* valuable(const HwStruct* module, int index)
    {
        return static_cast<const HwValuable*>(
            module->getMemberList().at(static_cast<std::size_t>(index)).get());
    }
};

TEST_F(RegisterTagsTest, ValuableTagsMakeTheirClasses)
{
    const HwStruct* m =
        loadModule("<reg32 name=\"a b\" protect=\"rw\" ckeywords=\"const\" display=\"bin\">"
                   "<comment>A reg</comment><l name=\"lo\"/><h name=\"hi\"/></reg32>\n"
                   "<reg16 name=\"b\" protect=\"R\"/><reg8 name=\"c\" protect=\"w\"/>"
                   "<ireg name=\"d\" protect=\"r\"/><uint name=\"e\"/><uint32 name=\"f\"/>"
                   "<uint16 name=\"g\"/><uint8 name=\"h\"/><int32 name=\"i\"/><int16 name=\"j\"/>"
                   "<int8 name=\"k\"/><bool name=\"l\" display=\"notdef\"/>"
                   "<struct name=\"s\"><reg name=\"r\"/><int name=\"n\"/></struct>");
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(messages().error.empty());
    struct Expected {
        XMLElementType type;
        const char* name;
        bool readable;
        bool writable;
    };
    const Expected expected[] = {{TYPE_REG32, "a_b", false, false}, {TYPE_REG16, "b", true, true},
        {TYPE_REG8, "c", true, false}, {TYPE_IREG8, "d", false, true}, {TYPE_UINT32, "e", true, true},
        {TYPE_UINT32, "f", true, true}, {TYPE_UINT16, "g", true, true}, {TYPE_UINT8, "h", true, true},
        {TYPE_INT32, "i", true, true}, {TYPE_INT16, "j", true, true}, {TYPE_INT8, "k", true, true},
        {TYPE_BOOL, "l", true, true}};
    ASSERT_EQ(m->getMemberList().size(), std::size(expected) + 1);
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(expected[i].name);
        const HwValuable* v = valuable(m, static_cast<int>(i));
        EXPECT_EQ(v->getType(), expected[i].type);
        EXPECT_EQ(v->getName(), QString::fromLatin1(expected[i].name));
        EXPECT_EQ(v->isReadable(), expected[i].readable);
        EXPECT_EQ(v->isWritable(), expected[i].writable);
    }
    const HwValuable* a = valuable(m, 0);
    EXPECT_EQ(a->getComment(), QStringLiteral("A reg"));
    EXPECT_EQ(a->getLowPartName(), QStringLiteral("lo"));
    EXPECT_EQ(a->getHighPartName(), QStringLiteral("hi"));
    EXPECT_EQ(a->getDisplayType(), DISPLAY_BIN);
    EXPECT_EQ(a->getCKeywords(), QStringList {"const"});
    EXPECT_EQ(valuable(m, 11)->getDisplayType(), HwBoolean(QStringLiteral("x")).getDisplayType());
    const auto* s = static_cast<const HwStruct*>(m->getMemberList().back().get());
    EXPECT_EQ(s->getMemberList()[0]->getType(), TYPE_REG32);
    EXPECT_EQ(s->getMemberList()[1]->getType(), TYPE_INT32);
}

TEST_F(RegisterTagsTest, ValuableArrays)
{
    const HwStruct* m = loadModule(
        "<var name=\"N\" value=\"3\"/><reg16 name=\"r\" count=\"N\"/><reg8 name=\"z\" count=\"0\"/>");
    ASSERT_NE(m, nullptr);
    const auto* array = static_cast<const HwArray*>(m->getMemberList()[0].get());
    ASSERT_TRUE(array->isArray());
    EXPECT_EQ(array->getName(), QStringLiteral("r"));
    ASSERT_EQ(array->getMemberList().size(), 3u);
    EXPECT_EQ(array->getMemberList()[2]->getAddress(), 4u);
    EXPECT_EQ(array->getMemberList()[0]->getTypeString(), QStringLiteral("reg16"));
    EXPECT_EQ(static_cast<const HwArray*>(m->getMemberList()[1].get())->getMemberList().size(), 0u);
}

TEST_F(RegisterTagsTest, BitfieldPositionsResetsAndAccess)
{
    const HwStruct* m =
        loadModule("<var name=\"HI\" value=\"15\"/>\n"
                   "<reg32 name=\"r\">\n"
                   "<bits name=\"one\" pos=\"7\" rst=\"1\" display=\"hex\"/>\n"
                   "<bits name=\"down\" pos=\"HI:8\" rst=\"ALL1\"/>\n"
                   "<bits name=\"up\" pos=\"16:HI+8\" access=\"r\"/>\n"
                   "<bits name=\"opt\" pos=\"3:0\"><options default=\"yes\" mask=\"yes\">"
                   "<option name=\"off\" value=\"0\"/><option name=\"on\" value=\"0x1\">"
                   "<comment>Switched on</comment></option></options><comment>Mode</comment></bits>\n"
                   "</reg32>");
    ASSERT_NE(m, nullptr);
    const auto& fields = valuable(m, 0)->getBitFields();
    ASSERT_EQ(fields.size(), 4u);
    EXPECT_EQ(fields[0]->getUpPos(), 7);
    EXPECT_EQ(fields[0]->getDownPos(), 7);
    EXPECT_EQ(fields[0]->getResetValue(), 1u);
    EXPECT_TRUE(fields[0]->hasResetValue());
    EXPECT_EQ(fields[0]->getDisplayType(), DISPLAY_HEX);
    EXPECT_EQ(fields[1]->getUpExpr(), QStringLiteral("HI"));
    EXPECT_EQ(fields[1]->getDownExpr(), QStringLiteral("8"));
    EXPECT_EQ(fields[1]->getResetValue(), 0xFFFFFFFFu);
    // Written low end first: the ends are swapped with their texts.
    EXPECT_EQ(fields[2]->getUpPos(), 23);
    EXPECT_EQ(fields[2]->getDownPos(), 16);
    EXPECT_EQ(fields[2]->getUpExpr(), QStringLiteral("HI+8"));
    EXPECT_EQ(fields[2]->getDownExpr(), QStringLiteral("16"));
    EXPECT_FALSE(fields[2]->hasResetValue());
    EXPECT_EQ(fields[2]->getAccessString(), QStringLiteral("r-"));
    EXPECT_EQ(fields[3]->getComment(), QStringLiteral("Mode"));
    EXPECT_TRUE(fields[3]->hasValueMacro());
    EXPECT_TRUE(fields[3]->hasMaskMacro());
    EXPECT_FALSE(fields[3]->hasShiftMacro());
    ASSERT_EQ(fields[3]->getOptions().size(), 2);
    EXPECT_EQ(fields[3]->getOptions()[1].name, QStringLiteral("on"));
    EXPECT_EQ(fields[3]->getOptions()[1].value, 1u);
    EXPECT_EQ(fields[3]->getOptions()[1].description, QStringLiteral("Switched on"));

    struct Access {
        const char* text;
        const char* shown;
    };
    for (const Access& a : {Access {"", "rw"}, Access {"rw", "rw"}, Access {"w", "-w"}, Access {"-w", "-w"},
             Access {"--", "--"}, Access {"rs", "rs"}, Access {"s", "rs"}, Access {"rc", "rc"},
             Access {"c", "rc"}, Access {"r-", "r-"}, Access {"-c", "-c"}}) {
        SCOPED_TRACE(a.text);
        messages() = loadertest::Messages();
        const HwStruct* one =
            loadModule(QStringLiteral("<reg8 name=\"r\"><bits name=\"b\" pos=\"0\" access=\"%1\"/></reg8>")
                           .arg(a.text)
                           .toUtf8());
        ASSERT_NE(one, nullptr);
        EXPECT_EQ(valuable(one, 0)->getBitFields()[0]->getAccessString(), QString::fromLatin1(a.shown));
    }
}

TEST_F(RegisterTagsTest, CutBitfieldsAndBitGroups)
{
    const HwStruct* m =
        loadModule("<enum name=\"CH\"><entry name=\"RED\"/><entry name=\"GREEN\"/>"
                   "<entry name=\"BLUE\"/></enum>\n"
                   "<reg32 name=\"r\">\n"
                   "<bits name=\"n\" pos=\"15:8\" cut=\"4\" cutstart=\"2\" cutprefix=\"N\" rst=\"0xA5\">"
                   "<comment>Nibble</comment><options shift=\"yes\"><option name=\"Z\"/></options></bits>\n"
                   "<bits name=\"c\" pos=\"5:0\" cut=\"2\" cutenum=\"CH\" cutprefix=\"C_\"/>\n"
                   "<bits name=\"top\" pos=\"31\"/>\n"
                   "<bitgroup name=\"g\"><entry ref=\"top\"/><entry ref=\"n\"/></bitgroup>\n"
                   "</reg32>");
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(messages().error.empty());
    const HwValuable* r = valuable(m, 0);
    QStringList names;
    for (const auto& field : r->getBitFields())
        names.append(
            QStringLiteral("%1@%2:%3").arg(field->getName()).arg(field->getUpPos()).arg(field->getDownPos()));
    EXPECT_EQ(
        names, (QStringList {"N2@11:8", "N3@15:12", "C_RED@1:0", "C_GREEN@3:2", "C_BLUE@5:4", "top@31:31"}));
    // The pieces share the field's comment and options and take their own bits of its reset value.
    const auto& fields = r->getBitFields();
    EXPECT_EQ(fields[0]->getResetValue(), 0x5u);
    EXPECT_EQ(fields[1]->getResetValue(), 0xAu);
    EXPECT_FALSE(fields[2]->hasResetValue());
    EXPECT_EQ(fields[1]->getComment(), QStringLiteral("Nibble"));
    EXPECT_TRUE(fields[1]->hasShiftMacro());
    ASSERT_EQ(fields[1]->getOptions().size(), 1);
    EXPECT_EQ(fields[1]->getOptions()[0].name, QStringLiteral("Z"));
    EXPECT_TRUE(fields[2]->getOptions().isEmpty());
    ASSERT_EQ(r->getBitGroups().size(), 3u);
    EXPECT_EQ(r->getBitGroups()[0]->getName(), QStringLiteral("n"));
    EXPECT_EQ(r->getBitGroups()[0]->getFullValueUnshifted(), 0xFF00u);
    EXPECT_EQ(r->getBitGroups()[1]->getFullValueUnshifted(), 0x3Fu);
    EXPECT_EQ(r->getBitGroups()[2]->getName(), QStringLiteral("g"));
    EXPECT_EQ(r->getBitGroups()[2]->getFullValueUnshifted(), 0x8000FF00u);
}

TEST_F(RegisterTagsTest, HolesAndSpacers)
{
    HwRootArchive* root =
        loadArchive("<spacer><comment>Clocks</comment></spacer>\n"
                    "<module name=\"m\"><reg8 name=\"a\"/><hole size=\"3*8\"/><reg8 name=\"b\"/>"
                    "<spacer/></module>");
    ASSERT_NE(root, nullptr);
    const auto* m = static_cast<const HwStruct*>(root->getTemplate(QStringLiteral("m")));
    ASSERT_EQ(m->getMemberList().size(), 3u);
    EXPECT_EQ(m->getMemberList()[1]->getType(), TYPE_HOLE);
    EXPECT_EQ(m->getMemberList()[1]->sizeOf(), 3u);
    EXPECT_EQ(m->getMemberList()[2]->getAddress(), 4u);
    const HwVariableManager& variables = root->getArchives()[0]->getVariableManager();
    ASSERT_EQ(variables.count(), 2);
    EXPECT_TRUE(variables.at(0).getName().startsWith(QLatin1String("VELLXMLSPACER_")));
    EXPECT_EQ(variables.at(0).getOrigin(), QStringLiteral("Clocks"));
    EXPECT_NE(variables.at(0).getName(), variables.at(1).getName());
}

TEST_F(RegisterTagsTest, EveryMessageWithItsPosition)
{
    struct Case {
        const char* body;
        int line;
        int column;
        const char* error;
    };
    const Case cases[] = {
        {"<reg32 count=\"1 +\" name=\"r\"/>", 3, 1,
            "Tag defining 'm' contains reg32 array 'r' with an error in its count expression !"},
        {"<reg16 count=\"-1\" name=\"r\"/>", 3, 1,
            "Invalid '-1' array count of type 'reg16' for array 'r'\n"},
        {"<reg8/>", 3, 1, "Module contains an unamed reg8\n"},
        {"<reg32 name=\"r\">\n  <foo/>\n</reg32>", 4, 3, "Reg32 r contains an unvalid foo tag.\n"},
        {"<reg32 name=\"r\">\n<bits pos=\"1\"/></reg32>", 4, 1, "Valuable r contains an unamed bitfield.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\"/></reg32>", 4, 1,
            "Valuable r, bitfield b : position undefined\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"X:0\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression X : Error in expression of : X\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\" rst=\"1 +\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression 1 + : Error in expression of : 1 +\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\" access=\"rx\"/></reg32>", 4, 1,
            "Bitfield 'b' has an invalid access 'rx'.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"3:0\">\n <x/></bits></reg32>", 5, 2,
            "Bitfield 'b' contains an unvalid 'x' tag.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"3:0\" cut=\"z\"/></reg32>", 4, 1,
            "Valuable r, bitfield b : bad cut size\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"7:0\" cut=\"3\"/></reg32>", 4, 1,
            "Valuable r, bitfield b : cutting bitfield with divisor non-multiple of total bitfield size\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"7:0\" cut=\"4\" cutenum=\"E\"/></reg32>", 4, 1,
            "Bitfield 'b' is cut thanks to an undefined enum 'E'.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"7:0\" cut=\"4\" cutstart=\"Q\"/></reg32>", 4, 1,
            "Valuable 'r', bitfield 'b', expression 'Q' : Error in expression of : Q\n"},
        {"<reg32 name=\"r\"><bits name=\"b\" pos=\"0\"/>\n<bitgroup name=\"g\">\n<entry "
         "ref=\"zz\"/></bitgroup></reg32>",
            5, 1, "Bitgroup 'g' contains an undefined bitfield or bitgroup 'zz'.\n"},
        {"<reg32 name=\"r\">\n<bitgroup name=\"g\"><x/></bitgroup></reg32>", 4, 20,
            "Bitgroup g contains an unvalid x tag.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\">\n<options linkenum=\"E\"/></bits></reg32>", 5, 1,
            "Options of bitfield 'b' is linked to an undefined enum 'E'.\n"},
        {"<enum name=\"E\"><entry name=\"E0\" value=\"0\"/></enum><reg32 name=\"r\">\n<bits name=\"b\" "
         "pos=\"0\">"
         "<options linkenum=\"E\">\n<option name=\"o\"/></options></bits></reg32>",
            5, 1, "Options of bitfield 'b' is linked to enum 'E' but tries to define an other option.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\"><options>\n<x/></options></bits></reg32>", 5, 1,
            "Options of bitfield 'b' contains an unvalid 'x' tag.\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\"><options>\n<option name=\"o\" value=\"1 "
         "+\"/></options></bits>"
         "</reg32>",
            5, 1, "Option expression 1 + : Error in expression of : 1 +\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"0\"><options><option "
         "name=\"o\">\n<x/></option></options></bits>"
         "</reg32>",
            5, 1, "Bitfield options 'o' contains an unvalid 'x' tag.\n"},
        {"<hole size=\"Q\"/>", 3, 1, "Hole expression Q : Error in expression of : Q\n"},
        // A position splits at the last ':' that leaves both sides non-empty; a line break keeps it whole.
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"4:\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression 4: : Error in expression of : 4:\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\":4\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression :4 : Error in expression of : :4\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"a:b:\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression a : Error in expression of : a\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"3::\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression : : Error in expression of : :\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"1:2:3\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression 1:2 : Error in expression of : 1:2\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"1:&#10;0\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression 1:\n0 : Error in expression of : 1:\n0\n"},
        {"<reg32 name=\"r\">\n<bits name=\"b\" pos=\"1&#10;:0\"/></reg32>", 4, 1,
            "Valuable r, bitfield b, expression 1\n:0 : Error in expression of : 1\n:0\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body);
        messages() = loadertest::Messages();
        EXPECT_EQ(loadModule(c.body), nullptr);
        expectOnlyError(at(QStringLiteral("a.xml"), c.line, c.column, QString::fromUtf8(c.error)));
        EXPECT_EQ(m_map.getChipRootArchive(), nullptr);
    }
}

} // namespace
