#include "loader_support.h"

#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <random>

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

// The managers follow appended variables, new includes and new globals step by step instead of rebuilding
// their lookup; the root archive finds types through an index. Over random sequences of declarations,
// includes (cycles too), renames, truncations, new archives and type registrations, every answer must be
// the one a fresh walk gives: the last of the visible variables with the name, the type of the first archive
// in load order that has it.
TEST(XMLArchiveTest, IncrementalLookupsAnswerLikeAFreshWalk)
{
    const QStringList names {"A", "B", "C", "D", "E"};
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto pick = [&random](std::size_t count) {
            return static_cast<std::size_t>(random() % static_cast<unsigned>(count));
        };
        HwMemoryMap map;
        HwRootArchive root(&map, QStringLiteral("chip"));
        std::vector<HwXMLArchive*> archives;
        std::vector<std::unique_ptr<HwStruct>> types;
        const auto addArchive = [&] {
            auto archive = std::make_unique<HwXMLArchive>(QStringLiteral("a%1.xml").arg(archives.size()));
            // Sometimes with types of its own before it joins the load order.
            if (pick(3) == 0) {
                types.push_back(std::make_unique<HwStruct>(QStringLiteral("T"), QStringLiteral("T")));
                archive->getTemplateManager().addTemplate(types.back().get(), names.at(static_cast<int>(pick(5))));
            }
            archives.push_back(root.addXMLArchive(std::move(archive)));
        };
        addArchive();
        int value = 0;
        for (int step = 0; step < 400; ++step) {
            HwXMLArchive* archive = archives[pick(archives.size())];
            const QString name = names.at(static_cast<int>(pick(static_cast<std::size_t>(names.size()))));
            switch (pick(20)) {
            case 0:
                addArchive();
                break;
            case 1:
            case 2:
                archive->addIncludedArchive(archives[pick(archives.size())]);
                break;
            case 3:
                map.getGlobalVariables().addVar(HwIntVar(name, QString(), ++value));
                break;
            case 4: {
                HwVariableManager& variables = archive->getVariableManager();
                if (!variables.isEmpty() && pick(4) == 0)
                    variables.truncate(static_cast<int>(pick(static_cast<std::size_t>(variables.count()))));
                else if (!variables.isEmpty())
                    variables.at(static_cast<int>(pick(static_cast<std::size_t>(variables.count())))).setValue(++value);
                break;
            }
            case 5:
                types.push_back(std::make_unique<HwStruct>(QStringLiteral("T"), QStringLiteral("T")));
                archive->getTemplateManager().addTemplate(types.back().get(), name);
                break;
            case 6:
            case 7:
            case 8:
            case 9:
            case 10:
            case 11: {
                QString error;
                bool failed = false;
                const int got = archive->getVariableManager().evalExpression(name, error, failed);
                QString expectedError;
                bool expectedFailed = false;
                const int expected = evaluateExpressionWithVariables(
                    archive->getVisibleVariables(), QStringLiteral("____internal"), name, expectedError,
                    expectedFailed);
                ASSERT_EQ(got, expected) << "step " << step;
                ASSERT_EQ(failed, expectedFailed);
                HwXMLElement* firstType = nullptr;
                for (const auto& each : root.getArchives()) {
                    if ((firstType = each->contains(name)) != nullptr)
                        break;
                }
                ASSERT_EQ(root.getTemplate(name), firstType) << "step " << step;
                break;
            }
            default: {
                QString error;
                bool failed = false;
                archive->getVariableManager().evalExpressionAndAddVar(
                    name, QString::number(++value), QString(), nullptr, error, failed);
            }
            }
        }
    }
}

} // namespace
