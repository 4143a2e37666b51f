#include "loader_support.h"

#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

namespace {

// The root archive's type services, on a tree built by hand.
TEST(RootArchiveTest, TypesAreFoundInLoadOrderAndCopied)
{
    HwRootArchive root(QStringLiteral("chip"));
    HwXMLArchive* first = root.addXMLArchive(std::make_unique<HwXMLArchive>(QStringLiteral("a.xml")));
    HwXMLArchive* second = root.addXMLArchive(std::make_unique<HwXMLArchive>(QStringLiteral("sub/b.xml")));
    first->setDirectory(QStringLiteral("/d"));
    auto type = std::make_unique<HwStruct>(QStringLiteral("T"), QStringLiteral("T"));
    type->addElement(std::make_unique<HwRegister32>(QStringLiteral("r")));
    HwXMLElement* t = second->addElement(std::move(type));
    second->getTemplateManager().addTemplate(t, QStringLiteral("T"));
    auto shadow = std::make_unique<HwStruct>(QStringLiteral("T"), QStringLiteral("T"));
    HwXMLElement* s = first->addElement(std::move(shadow));

    EXPECT_EQ(root.getTemplate(QStringLiteral("T")), t);
    first->getTemplateManager().addTemplate(s, QStringLiteral("T"));
    EXPECT_EQ(root.getTemplate(QStringLiteral("T")), s);
    EXPECT_EQ(root.getTemplate(QStringLiteral("U")), nullptr);
    EXPECT_EQ(second->getTemplateManager().getTypeNames(), QStringList {"T"});

    EXPECT_EQ(root.hasArchive(QString(), QStringLiteral("sub/b.xml")), second);
    EXPECT_EQ(root.hasArchive(QStringLiteral("/d"), QStringLiteral("sub/b.xml")), nullptr);
    EXPECT_EQ(second->getTotalPath(), QStringLiteral("/sub/b.xml"));

    EXPECT_EQ(root.instanciateTemplate(QStringLiteral("U"), QStringLiteral("X"), 0x10), nullptr);
    first->getTemplateManager().addTemplate(t, QStringLiteral("T"));
    HwXMLElement* instance = root.instanciateTemplate(QStringLiteral("T"), QStringLiteral("X"), 0x10);
    ASSERT_NE(instance, nullptr);
    EXPECT_NE(instance, t);
    EXPECT_EQ(instance->getPath(), QStringLiteral("$X"));
    EXPECT_EQ(instance->getBaseAddress(), 0x10u);
    EXPECT_EQ(root.getInstanciatedTemplates(), std::vector<HwXMLElement*> {instance});

    struct Allocation {
        const char* type;
        XMLElementType kind;
    };
    for (const Allocation& a :
        {Allocation {"void", TYPE_VOID}, Allocation {"int8", TYPE_INT8}, Allocation {"uint16", TYPE_UINT16},
            Allocation {"uint32", TYPE_UINT32}, Allocation {"bool", TYPE_BOOL},
            Allocation {"memory", TYPE_MEMORY}, Allocation {"T", TYPE_STRUCT}}) {
        SCOPED_TRACE(a.type);
        const std::unique_ptr<HwXMLElement> element =
            root.allocateElementFromTypeName(QString::fromLatin1(a.type), QStringLiteral("e"));
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->getType(), a.kind);
        EXPECT_EQ(element->getName(), QStringLiteral("e"));
    }
    EXPECT_EQ(root.allocateElementFromTypeName(QStringLiteral("U"), QStringLiteral("e")), nullptr);
}

TEST(XMLArchiveTest, VisibleVariablesPutNearerDeclarationsLast)
{
    HwMemoryMap map;
    map.getGlobalVariables().addVar(HwIntVar(QStringLiteral("V"), QStringLiteral("1"), 1));
    HwRootArchive root(&map, QStringLiteral("chip"));
    HwXMLArchive* a = root.addXMLArchive(std::make_unique<HwXMLArchive>(QStringLiteral("a.xml")));
    HwXMLArchive* b = root.addXMLArchive(std::make_unique<HwXMLArchive>(QStringLiteral("b.xml")));
    a->addIncludedArchive(b);
    b->addIncludedArchive(a); // a cycle is walked once
    b->getVariableManager().addVar(HwIntVar(QStringLiteral("V"), QStringLiteral("2"), 2));
    QString error;
    bool failed = false;
    EXPECT_EQ(a->getVariableManager().evalExpression(QStringLiteral("V"), error, failed), 2);
    a->getVariableManager().addVar(HwIntVar(QStringLiteral("V"), QStringLiteral("3"), 3));
    EXPECT_EQ(a->getVariableManager().evalExpression(QStringLiteral("V"), error, failed), 3);
    EXPECT_EQ(a->getAllIncludedVariables().size(), 2u);
    EXPECT_EQ(a->getMemoryMap(), &map);
}

// Evaluations reuse a name lookup: an include, a new global or a move under a memory map after an
// evaluation must still be seen by the next one.
TEST(XMLArchiveTest, EvaluationsSeeLaterIncludesGlobalsAndPlace)
{
    HwMemoryMap map;
    auto detached = std::make_unique<HwXMLArchive>(QStringLiteral("a.xml"));
    HwVariableManager& variables = detached->getVariableManager();
    QString error;
    bool failed = false;
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), -1);
    map.getGlobalVariables().addVar(HwIntVar(QStringLiteral("G"), QStringLiteral("1"), 1));
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), -1); // no map above it yet
    HwRootArchive root(&map, QStringLiteral("chip"));
    HwXMLArchive* a = root.addXMLArchive(std::move(detached));
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), 1);
    map.getGlobalVariables().at(0).setValue(5);
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), 5);

    HwXMLArchive* b = root.addXMLArchive(std::make_unique<HwXMLArchive>(QStringLiteral("b.xml")));
    b->getVariableManager().addVar(HwIntVar(QStringLiteral("G"), QStringLiteral("7"), 7));
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), 5);
    a->addIncludedArchive(b);
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), 7); // included hides global
    map.getGlobalVariables().truncate(0);
    b->getVariableManager().truncate(0);
    EXPECT_EQ(variables.evalExpression(QStringLiteral("G"), error, failed), -1);
    EXPECT_TRUE(failed);
}

} // namespace
