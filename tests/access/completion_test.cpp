#include "access/access_support.h"

#include <vellxml/access/commands.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>

#include <ostream>

// Readable failure messages for entries.
inline void PrintTo(const CXMLCompletionEntry& entry, std::ostream* os)
{
    *os << "{" << entry.name.toStdString() << " (" << entry.arguments.toStdString() << ") -> "
        << entry.result.toStdString() << " kind " << entry.kind << ": " << entry.help.toStdString() << "}";
}

inline bool operator==(const CXMLCompletionEntry& a, const CXMLCompletionEntry& b)
{
    return a.name == b.name && a.arguments == b.arguments && a.result == b.result && a.help == b.help
        && a.kind == b.kind;
}

namespace {

using Entries = std::vector<std::pair<QString, CXMLCompletionEntry>>;

Entries entries(const CXMLCompletionList& list)
{
    Entries out;
    for (auto it = list.cbegin(); it != list.cend(); ++it)
        out.emplace_back(it.key(), it.value());
    return out;
}

CXMLCompletionEntry method(const char* name, const char* arguments, const char* result, const char* help)
{
    return {QString::fromUtf8(name), QString::fromUtf8(arguments), QString::fromUtf8(result),
        QString::fromUtf8(help), 0};
}

CXMLCompletionEntry element(const char* name, const char* type, const char* help, int kind)
{
    return {QString::fromUtf8(name), QString(), QString::fromUtf8(type), QString::fromUtf8(help), kind};
}

const CXMLCompletionEntry kOther {QString(), QString(), QString(), QString(), 17};

// The access methods of a valuable, by name.
const Entries kValuableMethods = {
    {"R", method("R", "", "", "Reads this valuable and then returns its value. Does not print the result.")},
    {"RF",
        method("RF", "", "",
            "Forces the reading of this valuable and then returns its value (besides the read protection). "
            "Does not print the result.")},
    {"address", method("address", "", "", "Returns the address of the bitfield.")},
    {"doc", method("doc", "", "str", "Returns the documentation of this valuable.")},
    {"getl", method("getl", "", "", "Returns the cache value of this valuable.")},
    {"prepl",
        method("prepl", "cacheval", "newcacheval",
            "Modifies a 'cacheval' value, taken as the valuable value, by setting all the set and clear "
            "bits to 0. Returns the modified value.")},
    {"r", method("r", "", "", "Reads this valuable and then returns its value. Prints the result in hex.")},
    {"rf",
        method("rf", "", "",
            "Forces the reading of this valuable and then returns its value (besides the read protection). "
            "Prints the result in hex.")},
    {"setl", method("setl", "", "", "Sets the cache value of this valuable.")},
    {"w", method("w", "value", "", "Writes 'value' into the valuable.")},
    {"wf", method("wf", "value", "", "Writes 'value' into the valuable (overiding the write protection).")},
};

const CXMLCompletionEntry kDereference = method(">", "", "value",
    "Dereferences the pointer (reads its value, and returns the element at the pointed address).");

const Entries kBitfieldMethods = {
    {"R",
        method("R", "", "val",
            "Reads the parent register and then returns the value of the bitfield. Does not print the "
            "result.")},
    {"RF",
        method("RF", "", "val",
            "Forces the reading of the parent register and then returns the value of the bitfield (besides "
            "the read protection). Does not print the result.")},
    {"address", method("address", "", "", "Returns the address of the bitfield.")},
    {"clear", method("clear", "", "", "Clears the bitfield.")},
    {"doc", method("doc", "", "str", "Returns the documentation of the bitfield.")},
    {"r",
        method("r", "", "val",
            "Reads the parent register and then returns the value of the bitfield. Prints the result in "
            "hex.")},
    {"rf",
        method("rf", "", "val",
            "Forces the reading of the parent register and then returns the value of the bitfield (besides "
            "the read protection). Prints the result in hex.")},
    {"rl",
        method("rl", "cacheval", "val",
            "\"Read local\". Returns the value of the bitfield, interpreted from 'cacheval', taken as the "
            "parent register's value.")},
    {"set", method("set", "", "", "Sets the bitfield.")},
    {"w",
        method("w", "value", "",
            "Writes 'value' into the bitfield. (It's a read modify write in the parent register, with the "
            "clear and set bits set to 0 if some exist).")},
    {"wf",
        method("wf", "value", "",
            "Writes 'value' into the bitfield (overiding the write protection). (It's a read modify write "
            "in the parent register, with the clear and set bits set to 0 if some exist).")},
    {"wl",
        method("wl", "cacheval,value", "newcacheval",
            "\"Write local\". Sets the value of the bitfield inside the 'cacheval', taken as the parent "
            "register's value. Returns the modified cache.")},
};

/// The methods plus the given entries, sorted by name as a completion list is.
Entries with(Entries methods, const Entries& more)
{
    methods.insert(methods.end(), more.begin(), more.end());
    std::sort(methods.begin(), methods.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return methods;
}

class CompletionTest : public accesstest::ChipFixture {
protected:
    Entries complete(const char* path)
    {
        return entries(m_map.getCompletionListFromPath(QString::fromUtf8(path)));
    }
};

TEST_F(CompletionTest, TopLevelInstances)
{
    const Entries expected = {
        {"DEV", element("DEV", "port", "", 14)}, {"OTHER", element("OTHER", "port", "", 14)}};
    // Two instances named DEV: the list keeps one entry per name.
    EXPECT_EQ(complete(""), expected);
    EXPECT_EQ(complete("DE"), expected); // the last token does not filter
}

TEST_F(CompletionTest, StructureMembers)
{
    const Entries expected = {
        {"bad", element("bad", "nosuch*", "", 6)},
        {"bytes", element("bytes", "uint8*", "", 6)},
        {"ch", element("ch", "ch[]", "", 15)},
        {"ctrl", element("ctrl", "Reg32", "Control", 1)},
        {"dup", element("dup", "dup", "", 14)}, // the later member of the same name replaces the register
        {"head", element("head", "node*", "List", 6)},
        {"level", element("level", "int16", "", 8)},
        {"ports", element("ports", "port[]", "", 15)},
        {"ram", kOther},
        {"regs", element("regs", "reg32[]", "", 15)},
    };
    EXPECT_EQ(complete("DEV."), expected);
    EXPECT_EQ(complete("$DEV.c"), expected);
}

TEST_F(CompletionTest, RegistersPointersAndBitfields)
{
    // Fields and bit groups of a register are offered besides its methods; neither is of a listed kind.
    EXPECT_EQ(
        complete("DEV.ctrl."), with(kValuableMethods, {{"en", kOther}, {"grp", kOther}, {"mode", kOther}}));
    EXPECT_EQ(complete("DEV.regs[2].x"), with(kValuableMethods, {{"v", kOther}}));
    EXPECT_EQ(complete("DEV.level."), kValuableMethods);
    EXPECT_EQ(complete("DEV.head."), with(kValuableMethods, {{">", kDereference}}));
    EXPECT_EQ(complete("DEV.ctrl.mode."), kBitfieldMethods);
    EXPECT_EQ(complete("DEV.ctrl.mode.x.y"), kBitfieldMethods);
    EXPECT_EQ(complete("DEV.ports[1].odr.p0."), kBitfieldMethods);
    EXPECT_EQ(complete("DEV.ch[1]."), (Entries {{"cfg", element("cfg", "Reg32", "", 1)}}));
    // Behind a pointer the pointed structure completes.
    EXPECT_EQ(complete("DEV.head.>."),
        (Entries {{"next", element("next", "node*", "", 6)}, {"val", element("val", "uint32", "", 10)}}));
    EXPECT_EQ(complete("DEV.head.>.next."), with(kValuableMethods, {{">", kDereference}}));
}

TEST_F(CompletionTest, MissesGiveEmptyLists)
{
    for (const char* path : {"NONE.", "DEV.nope.", "DEV.ctrl.nope.", "DEV.regs[4].", "DEV.ram.", "DEV.bad.>.",
             "DEV.head.>[1].", "DEV.regs."}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(complete(path), Entries {});
    }
}

TEST(CompletionEntryTest, KindsByElementType)
{
    const struct {
        std::unique_ptr<HwXMLElement> element;
        int kind;
    } rows[] = {
        {std::make_unique<HwRegister32>(QStringLiteral("e")), 1},
        {std::make_unique<HwRegister16>(QStringLiteral("e")), 2},
        {std::make_unique<HwRegister8>(QStringLiteral("e")), 3},
        {std::make_unique<HwInternalRegister8>(QStringLiteral("e")), 4},
        {std::make_unique<HwPointer>(QStringLiteral("e"), QStringLiteral("t")), 6},
        {std::make_unique<HwInt32>(QStringLiteral("e")), 7},
        {std::make_unique<HwInt16>(QStringLiteral("e")), 8},
        {std::make_unique<HwInt8>(QStringLiteral("e")), 9},
        {std::make_unique<HwUnsignedInt32>(QStringLiteral("e")), 10},
        {std::make_unique<HwUnsignedInt16>(QStringLiteral("e")), 11},
        {std::make_unique<HwUnsignedInt8>(QStringLiteral("e")), 12},
        {std::make_unique<HwBoolean>(QStringLiteral("e")), 13},
        {std::make_unique<HwStruct>(QStringLiteral("e"), QStringLiteral("T")), 14},
        {std::make_unique<HwArray>(QStringLiteral("e"), HwRegister8(QStringLiteral("r")), 2, QString()), 15},
        {std::make_unique<HwVoid>(QStringLiteral("e")), 17},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.element->getTypeString().toStdString());
        row.element->setComment(QStringLiteral("c"));
        EXPECT_EQ(HwMemoryMap::getCompletionEntryFromElement(row.element.get()),
            (CXMLCompletionEntry {QStringLiteral("e"), QString(), row.element->getTypeString(),
                QStringLiteral("c"), row.kind}));
    }
    for (const auto& other :
        {std::unique_ptr<HwXMLElement>(std::make_unique<HwMemory>(QStringLiteral("m"), 4)),
            std::unique_ptr<HwXMLElement>(std::make_unique<HwHole>(8))}) {
        EXPECT_EQ(HwMemoryMap::getCompletionEntryFromElement(other.get()), kOther);
    }
    EXPECT_EQ(HwMemoryMap::getCompletionEntryFromElement(nullptr), kOther);
}

// The completion lists and the dispatcher read one table.
TEST_F(CompletionTest, MethodsAreTheElementCommands)
{
    for (const char* path : {"DEV.ctrl", "DEV.ctrl.mode", "DEV.head", "DEV.ram"}) {
        const HwXMLElement* target = m_map.getElementFromPath(QString::fromUtf8(path));
        ASSERT_NE(target, nullptr);
        QStringList offered;
        for (const CXMLCompletionEntry& entry :
            m_map.getCompletionListFromPath(QString::fromUtf8(path) + '.'))
            if (entry.kind == 0)
                offered << entry.name;
        QStringList commands;
        for (const HwCommandInfo& info : elementCommands(target))
            commands << info.name;
        commands.sort();
        EXPECT_EQ(offered, commands) << path;
    }
}

} // namespace
