#include "expr/test_support.h"

#include <vellxml/expr/names.h>
#include <vellxml/expr/variables.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using namespace exprtest;

namespace {

TEST(PreparseTest, HexadecimalAndBinaryLiteralsBecomeDecimal)
{
    struct Row {
        const char* expression;
        const char* expected;
    };
    const Row rows[] = {
        {"0x10 + 0b11", "16 + 3"},
        {"0xFFFFFFFF", "4294967295"},
        {"0x1FFFFFFFF", "4294967295"}, // low 32 bits
        {"0x10+0x20", "16+32"},
        {"(0X1f)*0Xa", "(31)*10"},
        {"-0x8", "-8"},
        {"0b101+0B1", "5+1"},
        {"0x0b1", "177"}, // the hexadecimal pass reads the b as a digit
        {"abc0x10", "abc0x10"},
        {"x0x1", "x0x1"},
        {"a_0x1", "a_0x1"},
        {"10x5", "10x5"},
        {"0x", "0x"},
        {"0b2", "0b2"},
        {"A.0x1", "A.1"},
        {"A0B1", "A0B1"},
        {"10 + x0 - 0 b1", "10 + x0 - 0 b1"}, // no literal at all
        {"", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expression);
        EXPECT_EQ(hexadecimalPreparseExpression(QString::fromLatin1(row.expression)),
            QString::fromLatin1(row.expected));
    }
}

TEST(PreparseTest, BinaryStrings)
{
    struct Row {
        QString text;
        unsigned int expected;
    };
    const Row rows[] = {
        {QStringLiteral("0b101"), 5u},
        {QStringLiteral("0B0"), 0u},
        {QStringLiteral("101"), 5u},
        {QStringLiteral("0b") + QString(32, QLatin1Char('1')), 0xFFFFFFFFu},
        // Past 32 digits only the last 32 count.
        {QStringLiteral("0b1") + QString(32, QLatin1Char('0')), 0u},
        {QStringLiteral("0b11") + QString(30, QLatin1Char('0')) + QStringLiteral("1"), 0x80000001u},
        {QStringLiteral("0b1012"), 5u},
        {QString(), 0u},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.toStdString());
        EXPECT_EQ(convertBinaryStringToUnsignedInt(row.text), row.expected);
    }
}

TEST(NamesTest, Normalisation)
{
    struct Row {
        QString in;
        QString regularized;
        QString upper;
        QString lower;
        QString esdr;
    };
    const Row rows[] = {
        {QStringLiteral("  my  var-1 "), QStringLiteral("my_var_1"), QStringLiteral("MY__VAR_1"),
            QStringLiteral("my__var_1"), QStringLiteral("  my  var-1 ")},
        {QStringLiteral("rx fifo[2]"), QStringLiteral("rx_fifo_2_"), QStringLiteral("RX_FIFO_2_"),
            QStringLiteral("rx_fifo_2_"), QStringLiteral("rx fifo[2]")},
        {QStringLiteral("rx_fifo"), QStringLiteral("rx_fifo"), QStringLiteral("RX_FIFO"),
            QStringLiteral("rx_fifo"), QStringLiteral("rxFifo")},
        {QStringLiteral("RxFifo"), QStringLiteral("RxFifo"), QStringLiteral("RXFIFO"),
            QStringLiteral("rxfifo"), QStringLiteral("rxFifo")},
        {QStringLiteral("RX_FIFO"), QStringLiteral("RX_FIFO"), QStringLiteral("RX_FIFO"),
            QStringLiteral("rx_fifo"), QStringLiteral("rxFifo")},
        {QStringLiteral("uartCtrlReg"), QStringLiteral("uartCtrlReg"), QStringLiteral("UARTCTRLREG"),
            QStringLiteral("uartctrlreg"), QStringLiteral("uartCtrlReg")},
        {QStringLiteral("_a__b_"), QStringLiteral("_a__b_"), QStringLiteral("_A__B_"),
            QStringLiteral("_a__b_"), QStringLiteral("AB")},
        {QStringLiteral("a.b\u00e9"), QStringLiteral("a_b_"), QStringLiteral("A_B_"), QStringLiteral("a_b_"),
            QStringLiteral("a.b\u00e9")},
        {QString(), QString(), QString(), QString(), QString()},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.in.toStdString());
        EXPECT_EQ(regularizeVariableName(row.in), row.regularized);
        EXPECT_EQ(NameUpper(row.in), row.upper);
        EXPECT_EQ(NameLower(row.in), row.lower);
        EXPECT_EQ(ESDRConvert(row.in), row.esdr);
    }
}

// White space is what QString::simplified() takes for it (Unicode blanks included) and becomes one '_';
// a character outside the BMP is one character, so one '_'.
TEST(NamesTest, RegularizedNamesOfAnyText)
{
    struct Row {
        const char* in;
        const char* regularized;
    };
    const Row rows[] = {
        {" \u00a0a\u2003b\u3000c\t\r\n\v\f", "a_b_c"},
        {"x\u0085y\u2028z", "x_y_z"},
        {"smile\U0001F600end", "smile_end"},
        {"a  - b", "a___b"},
        {"____", "____"},
        {"9lives", "9lives"},
        {"\u00e9t\u00e9", "_t_"},
        {"   ", ""},
        {"a\x01"
         "b",
            "a_b"},
        {"tab\there", "tab_here"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.in);
        EXPECT_EQ(regularizeVariableName(QString::fromUtf8(row.in)), QString::fromUtf8(row.regularized));
    }
}

TEST(EnumTest, EntryNames)
{
    HwEnum e(QStringLiteral("mode"));
    e.addEntry(QStringLiteral("off"));
    e.addEntry(QStringLiteral("on"));
    EXPECT_EQ(e.getEntryCount(), 2);
    EXPECT_EQ(e.getEntryName(-1), QStringLiteral("0"));
    EXPECT_EQ(e.getEntryName(INT_MIN), QStringLiteral("0"));
    EXPECT_EQ(e.getEntryName(0), QStringLiteral("off"));
    EXPECT_EQ(e.getEntryName(1), QStringLiteral("on"));
    EXPECT_EQ(e.getEntryName(2), QStringLiteral("2"));
    EXPECT_EQ(e.getEntryName(17), QStringLiteral("17"));
}

HwIntVarTable table(std::initializer_list<std::pair<const char*, int>> variables)
{
    HwIntVarTable t;
    for (const auto& [name, value] : variables)
        t.append(HwIntVar(QString::fromLatin1(name), QString::number(value), value));
    return t;
}

TEST(EvaluateWithVariablesTest, Values)
{
    const HwIntVarTable variables = table({{"A", 4}, {"B", 1}, {"B", 7}, {"pi", 10}, {"reg.base", 256}});
    struct Row {
        const char* expression;
        int expected;
    };
    const Row rows[] = {
        {"A*2", 8}, {"B", 7}, // a later variable hides an earlier one of the same name
        {"pi", 10}, {"reg.base + 0x10", 272}, {"0x10 + 0b11", 19}, {"0xFFFFFFFF", -1},
        {"0x80000000 >> 31", -1}, {"exp2(4)", 16}, {"exp2(33)", 2}, {"exp2(31)", INT_MIN},
        {"exp2(A) - 1", 15}, {"exp2(1.9)", 2}, {"exp2(0xFFFFFFFF)", INT_MIN}, {"sin(0)", 0}, {"7/2.0", 3},
        {"-7/2.0", -4}, {"1 < A", 1}, {"\"text\"", 0}, // no integer value
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expression);
        QString errorText = QStringLiteral("stale");
        bool failed = true;
        EXPECT_EQ(evaluateExpressionWithVariables(
                      variables, QStringLiteral("n"), QString::fromLatin1(row.expression), errorText, failed),
            row.expected);
        EXPECT_FALSE(failed);
        EXPECT_TRUE(errorText.isEmpty());
    }
}

// An expression that is one name is looked up without the evaluator: for random tables (names hidden by
// later ones, names of the evaluator's own such as "pi", long names, names with '.' or a leading digit)
// and random names, asked or not, it must evaluate as the same name in parentheses, which goes through the
// evaluator.
TEST(EvaluateWithVariablesTest, NamesEvaluateAsTheEvaluatorFindsThem)
{
    const char* const pieces[] = {"A", "b", "_", "7", "Reg", "x", ".", "pi", "exp2", "0", "Z9", "LONGNAME"};
    std::mt19937 random(23);
    const auto randomName = [&] {
        QString name;
        for (unsigned n = 1 + random() % (random() % 8 == 0 ? 12 : 3); n > 0; --n)
            name += QString::fromLatin1(pieces[random() % std::size(pieces)]);
        return name;
    };
    int found = 0;
    for (int round = 0; round < 200; ++round) {
        HwIntVarTable variables;
        for (unsigned n = random() % 20; n > 0; --n) {
            const int value = static_cast<int>(random());
            variables.append(HwIntVar(randomName(), QString::number(value), value));
        }
        for (int ask = 0; ask < 20; ++ask) {
            const QString name = random() % 2 && variables.count() > 0
                ? (variables.begin() + static_cast<std::ptrdiff_t>(random() % unsigned(variables.count())))
                      ->getName()
                : randomName();
            QString plainError;
            QString wrappedError;
            bool plainFailed = false;
            bool wrappedFailed = false;
            const int plain = evaluateExpressionWithVariables(
                variables, QStringLiteral("n"), name, plainError, plainFailed);
            const int wrapped = evaluateExpressionWithVariables(variables, QStringLiteral("n"),
                QLatin1Char('(') + name + QLatin1Char(')'), wrappedError, wrappedFailed);
            ASSERT_EQ(plainFailed, wrappedFailed) << name.toStdString();
            ASSERT_EQ(plain, wrapped) << name.toStdString();
            ASSERT_EQ(plainError, wrappedError);
            found += !plainFailed;
        }
    }
    EXPECT_GT(found, 1000);
}

TEST(EvaluateWithVariablesTest, Failures)
{
    const HwIntVarTable variables = table({{"A", 4}});
    const char* const expressions[] = {
        "UNDECLARED + 1", "a", "exp2()", "exp2(\"x\")", "exp2(1, 2)", "A / 0", "0x", "cos(1)"};
    for (const char* expression : expressions) {
        SCOPED_TRACE(expression);
        QString errorText;
        bool failed = false;
        EXPECT_EQ(evaluateExpressionWithVariables(
                      variables, QStringLiteral("base"), QString::fromLatin1(expression), errorText, failed),
            -1);
        EXPECT_TRUE(failed);
        EXPECT_EQ(errorText, QStringLiteral("Error in expression of : base"));
    }
}

TEST(VariableManagerTest, OwnVariables)
{
    HwVariableManager manager;
    EXPECT_EQ(manager.getArchive(), nullptr);
    manager.addVar(HwIntVar(QStringLiteral("Width"), QStringLiteral("8"), 8));
    EXPECT_TRUE(manager.hasVariable(QStringLiteral("Width")));
    EXPECT_FALSE(manager.hasVariable(QStringLiteral("width")));

    QString errorText;
    bool failed = true;
    EXPECT_EQ(
        manager.evalExpression(QStringLiteral("size"), QStringLiteral("Width * 4"), errorText, failed), 32);
    EXPECT_FALSE(failed);

    EXPECT_EQ(
        manager.evalExpression(QStringLiteral("size"), QStringLiteral("Height"), errorText, failed), -1);
    EXPECT_TRUE(failed);
    EXPECT_EQ(errorText, QStringLiteral("Error in expression of : size"));

    // The unnamed form names the expression itself.
    EXPECT_EQ(manager.evalExpression(QStringLiteral("Height + 1"), errorText, failed), -1);
    EXPECT_EQ(errorText, QStringLiteral("Error in expression of : Height + 1"));
    EXPECT_EQ(
        manager.evalExpression(QStringLiteral("____internal"), QStringLiteral("Height"), errorText, failed),
        -1);
    EXPECT_EQ(errorText, QStringLiteral("Error in expression of : ____internal"));
    EXPECT_EQ(manager.evalExpression(QStringLiteral("Width + 1"), errorText, failed), 9);
    EXPECT_FALSE(failed);
    EXPECT_TRUE(errorText.isEmpty());
}

TEST(VariableManagerTest, EvalAndAdd)
{
    HwVariableManager manager;
    HwEnum* mode = manager.addEnum(std::make_unique<HwEnum>(QStringLiteral("mode")));
    QString errorText;
    bool failed = true;

    EXPECT_EQ(manager.evalExpressionAndAddVar(QStringLiteral("BASE"), QStringLiteral("0x100"),
                  QStringLiteral("origin"), mode, errorText, failed),
        256);
    EXPECT_FALSE(failed);
    ASSERT_EQ(manager.count(), 1);
    const HwIntVar& base = manager.at(0);
    EXPECT_EQ(base.getName(), QStringLiteral("BASE"));
    EXPECT_EQ(base.getExpression(), QStringLiteral("0x100"));
    EXPECT_EQ(base.getValue(), 256);
    EXPECT_EQ(base.getSecondExpression(), QString());
    EXPECT_EQ(base.getSecondValue(), 0);
    EXPECT_EQ(base.getDirection(), HwIntVar::Down);
    EXPECT_FALSE(base.isRange());
    EXPECT_EQ(base.getEnum(), mode);
    EXPECT_EQ(base.getOrigin(), QStringLiteral("origin"));

    EXPECT_EQ(manager.evalExpressionAndAddVar(
                  QStringLiteral("BAD"), QStringLiteral("NOPE"), QString(), nullptr, errorText, failed),
        -1);
    EXPECT_TRUE(failed);
    EXPECT_EQ(errorText, QStringLiteral("Error in expression of : BAD"));
    EXPECT_EQ(manager.count(), 1);

    EXPECT_EQ(manager.evalExpressionAndAddRange(QStringLiteral("FIELD"), QStringLiteral("BASE / 16 - 1"),
                  QStringLiteral("4"), HwIntVar::Up, QStringLiteral("r"), errorText, failed),
        15);
    EXPECT_FALSE(failed);
    ASSERT_EQ(manager.count(), 2);
    const HwIntVar& range = manager.at(1);
    EXPECT_EQ(&base, &manager.at(0)); // appending keeps earlier records in place
    EXPECT_EQ(range.getName(), QStringLiteral("FIELD"));
    EXPECT_EQ(range.getExpression(), QStringLiteral("BASE / 16 - 1"));
    EXPECT_EQ(range.getSecondExpression(), QStringLiteral("4"));
    EXPECT_EQ(range.getValue(), 15);
    EXPECT_EQ(range.getSecondValue(), 4);
    EXPECT_EQ(range.getDirection(), HwIntVar::Up);
    EXPECT_TRUE(range.isRange());
    EXPECT_EQ(range.getEnum(), nullptr);
    EXPECT_EQ(range.getOrigin(), QStringLiteral("r"));

    const char* const bounds[][2] = {{"X", "1"}, {"1", "X"}};
    for (const auto& bound : bounds) {
        EXPECT_EQ(manager.evalExpressionAndAddRange(QStringLiteral("R"), QString::fromLatin1(bound[0]),
                      QString::fromLatin1(bound[1]), HwIntVar::Down, QString(), errorText, failed),
            -1);
        EXPECT_TRUE(failed);
        EXPECT_EQ(errorText, QStringLiteral("Error in expression of : R"));
        EXPECT_EQ(manager.count(), 2);
    }
}

// An archive with its includes, as the loader's archives will present themselves to their managers.
class FakeArchive : public HwVariableScope {
public:
    FakeArchive() { manager.setArchive(this); }

    std::vector<const HwIntVar*> getVisibleVariables() const override
    {
        std::vector<const HwIntVar*> visible;
        for (const FakeArchive* included : includes) {
            for (const HwIntVar* variable : included->getVisibleVariables())
                visible.push_back(variable);
        }
        for (const HwIntVar& variable : manager)
            visible.push_back(&variable);
        return visible;
    }

    std::vector<const HwVariableManager*> getIncludedVariableManagers() const override
    {
        std::vector<const HwVariableManager*> managers;
        for (const FakeArchive* included : includes)
            managers.push_back(&included->manager);
        return managers;
    }

    HwEnum* addEnum(const char* name)
    {
        return manager.addEnum(std::make_unique<HwEnum>(QString::fromLatin1(name)));
    }

    HwVariableManager manager;
    std::vector<const FakeArchive*> includes;
};

TEST(VariableManagerTest, IncludedArchivesAreVisible)
{
    FakeArchive root;
    FakeArchive included;
    root.includes = {&included};
    included.manager.addVar(HwIntVar(QStringLiteral("CLOCK"), QStringLiteral("50"), 50));
    root.manager.addVar(HwIntVar(QStringLiteral("DIV"), QStringLiteral("5"), 5));
    EXPECT_FALSE(root.manager.hasVariable(QStringLiteral("CLOCK")));

    QString errorText;
    bool failed = true;
    EXPECT_EQ(root.manager.evalExpressionAndAddVar(QStringLiteral("RATE"), QStringLiteral("CLOCK / DIV"),
                  QString(), nullptr, errorText, failed),
        10);
    EXPECT_FALSE(failed);
    EXPECT_TRUE(root.manager.hasVariable(QStringLiteral("RATE")));
    EXPECT_EQ(root.manager.evalExpression(QStringLiteral("RATE * 2"), errorText, failed), 20);

    // The included archive does not see the including one.
    EXPECT_EQ(included.manager.evalExpression(QStringLiteral("DIV"), errorText, failed), -1);
    EXPECT_EQ(errorText, QStringLiteral("Error in expression of : DIV"));

    // Without an archive only the own variables count.
    root.manager.setArchive(nullptr);
    EXPECT_EQ(root.manager.evalExpression(QStringLiteral("CLOCK"), errorText, failed), -1);
    EXPECT_TRUE(failed);
}

// Evaluations reuse a name lookup; every kind of change to what an archive sees must reach them.
TEST(VariableManagerTest, EvaluationsSeeEveryLaterChange)
{
    FakeArchive root;
    FakeArchive included;
    root.manager.addVar(HwIntVar(QStringLiteral("A"), QStringLiteral("1"), 1));
    QString errorText;
    bool failed = false;
    const auto eval = [&](const char* expression) {
        return root.manager.evalExpression(QString::fromLatin1(expression), errorText, failed);
    };
    EXPECT_EQ(eval("A"), 1);
    root.manager.at(0).setValue(2);
    EXPECT_EQ(eval("A"), 2);
    root.manager.at(0).setName(QStringLiteral("B"));
    EXPECT_EQ(eval("B"), 2);
    EXPECT_EQ(eval("A"), -1);

    // An include made after an evaluation, announced as a scope must announce it.
    root.includes = {&included};
    noteVariablesChanged();
    EXPECT_EQ(eval("C"), -1);
    included.manager.addVar(HwIntVar(QStringLiteral("C"), QStringLiteral("3"), 3));
    EXPECT_EQ(eval("C + B"), 5);
    // The own variable hides the included one of the same name.
    included.manager.addVar(HwIntVar(QStringLiteral("B"), QStringLiteral("9"), 9));
    EXPECT_EQ(eval("B"), 2);
    root.manager.truncate(0);
    EXPECT_EQ(eval("B"), 9);

    HwVariableManager copy;
    copy.addVar(HwIntVar(QStringLiteral("D"), QStringLiteral("4"), 4));
    EXPECT_EQ(copy.evalExpression(QStringLiteral("D"), errorText, failed), 4);
    static_cast<HwIntVarTable&>(copy) = HwIntVarTable();
    EXPECT_EQ(copy.evalExpression(QStringLiteral("D"), errorText, failed), -1);
    EXPECT_TRUE(failed);
}

TEST(VariableManagerTest, EnumLookupSearchesIncludesFirst)
{
    // root includes a then b; a includes c.
    FakeArchive root;
    FakeArchive a;
    FakeArchive b;
    FakeArchive c;
    root.includes = {&a, &b};
    a.includes = {&c};

    HwEnum* rootShared = root.addEnum("shared");
    HwEnum* rootOwn = root.addEnum("own");
    a.addEnum("shared");
    HwEnum* bShared = b.addEnum("shared");
    HwEnum* bOnly = b.addEnum("bonly");
    HwEnum* cShared = c.addEnum("shared");
    HwEnum* cDeep = c.addEnum("deep");
    HwEnum* rootDup = root.addEnum("dup");
    root.addEnum("dup");

    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("shared")), cShared);
    EXPECT_EQ(a.manager.getEnumByName(QStringLiteral("shared")), cShared);
    EXPECT_EQ(b.manager.getEnumByName(QStringLiteral("shared")), bShared);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("bonly")), bOnly);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("deep")), cDeep);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("own")), rootOwn);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("dup")), rootDup);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("Own")), nullptr);
    EXPECT_EQ(c.manager.getEnumByName(QStringLiteral("own")), nullptr);

    // Without the archive only the own enums are searched.
    root.manager.setArchive(nullptr);
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("shared")), rootShared);
    root.manager.setArchive(&root);

    // An include cycle ends the search instead of looping.
    c.includes = {&root};
    EXPECT_EQ(root.manager.getEnumByName(QStringLiteral("missing")), nullptr);
    EXPECT_EQ(c.manager.getEnumByName(QStringLiteral("bonly")), bOnly);
}

TEST(VarContextTest, BindingsAndExp2)
{
    CXMLVarCtx context;
    context.setVariable(QStringLiteral("x"), 3);
    context.setVariable(QStringLiteral("x"), 5);
    variant::Variant result;
    ASSERT_EQ(context.getValue("x", result), 1);
    EXPECT_EQ(show(result), "I:5");
    ASSERT_EQ(context.getValue("pi", result), 1);
    EXPECT_EQ(show(result), "R:3.1416");
    EXPECT_EQ(context.getValue("y", result), 0);

    const variant::Variant args[] = {makeInt(-1)};
    ASSERT_EQ(context.callFunction("exp2", 1, args, result), 1);
    EXPECT_EQ(show(result), "I:-2147483648");
    const variant::Variant real[] = {makeReal(0.5)};
    ASSERT_EQ(context.callFunction("sin", 1, real, result), 1);
    EXPECT_EQ(show(result), "R:0.4794");
}

} // namespace
