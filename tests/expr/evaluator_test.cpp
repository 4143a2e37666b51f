#include "expr/test_support.h"

#include <vellxml/expr/evaluator.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

using namespace exprtest;
using cexev::CExEv;
using cexev::CExEv_Token;
using cexev::CExEvCtx;
using variant::Variant;

namespace {

struct ValueRow {
    const char* expression;
    const char* expected;
};

void PrintTo(const ValueRow& row, std::ostream* os)
{
    *os << row.expression;
}

class EvaluatorValueTest : public testing::TestWithParam<ValueRow> { };

TEST_P(EvaluatorValueTest, Evaluates)
{
    CExEv evaluator;
    Variant result;
    ASSERT_EQ(evaluator.evalExpression(GetParam().expression, result), 0);
    EXPECT_EQ(show(result), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Table, EvaluatorValueTest,
    testing::Values(ValueRow {"2*(3+4)", "I:14"}, ValueRow {"7/2", "I:3"}, ValueRow {"7/2.0", "R:3.5000"},
        ValueRow {"1e3", "R:1000.0000"}, ValueRow {"1.5e+2", "R:150.0000"}, ValueRow {"25E-1", "R:2.5000"},
        ValueRow {"1e", "R:1.0000"}, ValueRow {".5", "R:0.5000"}, ValueRow {"1.", "R:1.0000"},
        ValueRow {"007", "I:7"}, ValueRow {"2147483647", "I:2147483647"},
        ValueRow {"2147483648", "D:0x80000000"}, ValueRow {"3000000000", "D:0xB2D05E00"},
        // Decimal literals keep their low 32 bits.
        ValueRow {"4294967297", "D:0x00000001"}, ValueRow {"'a'", "I:97"}, ValueRow {"'\\n'", "I:10"},
        ValueRow {"'\\\\'", "I:92"}, ValueRow {"'\\''", "I:39"}, ValueRow {"'\"'", "I:34"},
        ValueRow {"'\\a'", "I:7"}, ValueRow {"'\xE9'", "I:-23"}, ValueRow {"\"ab\"+1", "S:ab1"},
        ValueRow {"1+\"ab\"", "S:1ab"}, ValueRow {"\"a\" + \"b\"", "S:ab"},
        ValueRow {"\"t\\tq\\\"\"", "S:t\tq\""}, ValueRow {"\"\"", "S:"}, ValueRow {"sin(0)", "R:0.0000"},
        ValueRow {"sin(pi/2)", "R:1.0000"}, ValueRow {"sin(-1)", "R:-0.8415"},
        ValueRow {"sin(1+2*3)", "R:0.6570"}, ValueRow {"pi", "R:3.1416"},
        // A leading unary operator waits for the reduction that reaches it.
        ValueRow {"-1 + 2", "I:-3"}, ValueRow {"-1 * 2 + 3", "I:1"}, ValueRow {"-(1) + 2", "I:-3"},
        ValueRow {"(-1) + 2", "I:1"}, ValueRow {"-(-1)", "I:1"}, ValueRow {"+5", "I:5"},
        ValueRow {"!0", "B:1"}, ValueRow {"!1.5", "B:0"}, ValueRow {"~0", "I:-1"}, ValueRow {"-'a'", "I:-97"},
        ValueRow {"-(0-2147483647-1)", "I:-2147483648"}, ValueRow {"-3000000000", "D:0x4D2FA200"},
        // Equal priorities group left to right.
        ValueRow {"8-4-2", "I:2"}, ValueRow {"64/4/2", "I:8"}, ValueRow {"7%4%2", "I:1"},
        ValueRow {"1+2*3", "I:7"}, ValueRow {"(1+2)*3", "I:9"}, ValueRow {"1 << 2 + 1", "I:8"},
        ValueRow {"1 + 2 < 4", "B:1"}, ValueRow {"3 > 2 > 1", "B:0"}, ValueRow {"1 < 2 == 1", "B:1"},
        ValueRow {"3 & 6 ^ 1 | 8", "I:11"}, ValueRow {"1 || 0 && 0", "B:1"}, ValueRow {"2 != 2", "B:0"},
        ValueRow {"1.5 >= 1.5", "B:1"}, ValueRow {"\"abc\" < \"abd\"", "B:1"},
        ValueRow {"(0-2147483647-1)/(0-1)", "I:-2147483648"}, ValueRow {"4294967295/2", "D:0x00000000"},
        ValueRow {"4294967295 >> 4", "D:0xFFFFFFFF"}, ValueRow {"1 << 33", "I:2"},
        ValueRow {"\t\n\r 42 ", "I:42"}, ValueRow {"((((7))))", "I:7"}));

struct ErrorRow {
    const char* expression;
    int code;
};

void PrintTo(const ErrorRow& row, std::ostream* os)
{
    *os << (row.expression ? row.expression : "(null)");
}

class EvaluatorErrorTest : public testing::TestWithParam<ErrorRow> { };

TEST_P(EvaluatorErrorTest, Fails)
{
    CExEv evaluator;
    Variant result = makeInt(99);
    EXPECT_EQ(evaluator.evalExpression(GetParam().expression, result), GetParam().code);
    EXPECT_EQ(evaluator.getError(), GetParam().code);
    EXPECT_EQ(result.getType(), Variant::Null);
}

INSTANTIATE_TEST_SUITE_P(Table, EvaluatorErrorTest,
    testing::Values(ErrorRow {"", CExEv::ERR_SYNTAX}, ErrorRow {"  ", CExEv::ERR_SYNTAX},
        ErrorRow {nullptr, CExEv::ERR_SYNTAX}, ErrorRow {"@", CExEv::ERR_SYNTAX},
        ErrorRow {"1 = 2", CExEv::ERR_SYNTAX}, ErrorRow {"'ab'", CExEv::ERR_SYNTAX},
        ErrorRow {"''", CExEv::ERR_SYNTAX}, ErrorRow {"'\\q'", CExEv::ERR_SYNTAX},
        ErrorRow {"'a", CExEv::ERR_SYNTAX}, ErrorRow {"\"abc", CExEv::ERR_SYNTAX},
        ErrorRow {"\"a\\qb\"", CExEv::ERR_SYNTAX}, ErrorRow {".", CExEv::ERR_SYNTAX},
        ErrorRow {".5.5", CExEv::ERR_SYNTAX}, ErrorRow {"1 +", CExEv::ERR_SYNTAX},
        ErrorRow {"(", CExEv::ERR_SYNTAX}, ErrorRow {"-", CExEv::ERR_SYNTAX},
        ErrorRow {"foo", CExEv::ERR_NO_VALUE}, ErrorRow {"1 + x", CExEv::ERR_NO_VALUE},
        ErrorRow {"pi2", CExEv::ERR_NO_VALUE}, ErrorRow {"1 2", CExEv::ERR_MISPLACED},
        ErrorRow {"pi pi", CExEv::ERR_MISPLACED}, ErrorRow {"1.2.3", CExEv::ERR_MISPLACED},
        // A unary operator right after a binary one is out of place.
        ErrorRow {"1 + -2", CExEv::ERR_MISPLACED}, ErrorRow {"--1", CExEv::ERR_MISPLACED},
        ErrorRow {"(1)(2)", CExEv::ERR_MISPLACED}, ErrorRow {")", CExEv::ERR_MISPLACED},
        ErrorRow {"()", CExEv::ERR_MISPLACED}, ErrorRow {"1)", CExEv::ERR_MISPLACED},
        ErrorRow {"1,2", CExEv::ERR_MISPLACED}, ErrorRow {"sin(1", CExEv::ERR_MISPLACED},
        // Functions take a single argument.
        ErrorRow {"sin(1,2)", CExEv::ERR_MISPLACED},
        // An operator that completes a reduction down to a function's argument list is refused.
        ErrorRow {"sin(1*2+3)", CExEv::ERR_MISPLACED}, ErrorRow {"1/0", CExEv::ERR_OPERATION},
        ErrorRow {"7 % 0", CExEv::ERR_OPERATION}, ErrorRow {"\"a\" == 1", CExEv::ERR_OPERATION},
        ErrorRow {"\"a\" - 1", CExEv::ERR_OPERATION}, ErrorRow {"1.0 % 2", CExEv::ERR_OPERATION},
        ErrorRow {"1 ! 2", CExEv::ERR_OPERATION}, ErrorRow {"sin()", CExEv::ERR_OPERATION},
        ErrorRow {"sin(\"x\")", CExEv::ERR_OPERATION}, ErrorRow {"foo(1)", CExEv::ERR_OPERATION},
        ErrorRow {"-\"a\"", CExEv::ERR_UNARY}, ErrorRow {"~1.5", CExEv::ERR_UNARY},
        ErrorRow {"!\"a\"", CExEv::ERR_UNARY}, ErrorRow {"+\"a\"", CExEv::ERR_UNARY},
        ErrorRow {"(1", CExEv::ERR_UNCLOSED}, ErrorRow {"((1+2)", CExEv::ERR_UNCLOSED},
        ErrorRow {"2*(3", CExEv::ERR_UNCLOSED},
        // The first error wins.
        ErrorRow {"1/0 + foo", CExEv::ERR_OPERATION}, ErrorRow {"foo + 1/0", CExEv::ERR_NO_VALUE}));

// Extends the syntax with '#', which it leaves unclassified without recording an error.
class UnclassifyingEvaluator : public CExEv {
protected:
    int getNextToken() override
    {
        std::size_t pos = m_pos;
        while (m_text[pos] == ' ')
            ++pos;
        if (m_text[pos] != '#')
            return CExEv::getNextToken();
        m_pos = pos + 1;
        newToken()->setKind(CExEv_Token::TK_UNKNOWN);
        return CExEv_Token::TK_UNKNOWN;
    }
};

TEST(EvaluatorTest, UnclassifiedTokenIsRefused)
{
    UnclassifyingEvaluator evaluator;
    Variant result;
    EXPECT_EQ(evaluator.evalExpression("1 + 2", result), 0);
    EXPECT_EQ(show(result), "I:3");
    EXPECT_EQ(evaluator.evalExpression("1 # 2", result), CExEv::ERR_UNKNOWN_TOKEN);
}

// Exposes the tokenizer to list the tokens of a text.
class Tokenizer : public CExEv {
public:
    std::vector<std::string> tokens(const char* text)
    {
        clear();
        m_text = text;
        std::vector<std::string> dumps;
        for (;;) {
            const int kind = getNextToken();
            std::string dump;
            currentToken()->dump(dump);
            dumps.push_back(dump);
            if (kind == CExEv_Token::TK_NULL || kind == CExEv_Token::TK_UNKNOWN)
                return dumps;
        }
    }
};

TEST(EvaluatorTest, TokenizerAndDump)
{
    Tokenizer tokenizer;
    const std::vector<std::string> expected = {"<IDENT>[sin]", "<OPAREN>(", "<IDENT>[a.b:c?]", "<COMMA>,",
        "<CONST>[1.5000]", "<CPAREN>)", "<OPERATOR><=", "<CONST>[97]", "<OPERATOR>&&", "<CONST>[s]",
        "<OPERATOR>!=", "<OPERATOR>!", "<OPERATOR><<", "<OPERATOR>>>", "<OPERATOR>>=", "<OPERATOR>||",
        "<OPERATOR>|", "<OPERATOR>&", "<OPERATOR>^", "<OPERATOR>~", "<OPERATOR>%", "<NULL>"};
    EXPECT_EQ(tokenizer.tokens("sin(a.b:c?, 1.5) <= 'a' && \"s\" != ! << >> >= || | & ^ ~ %"), expected);

    const std::vector<std::string> unknown = {"<CONST>[1]", "<UNKNOWN>"};
    EXPECT_EQ(tokenizer.tokens("1 $"), unknown);
    EXPECT_EQ(tokenizer.getError(), CExEv::ERR_SYNTAX);

    struct Row {
        int kind;
        const char* expected;
    };
    const Row rows[] = {
        {CExEv_Token::TK_NULL, "<NULL>"},
        {CExEv_Token::TK_UNKNOWN, "<UNKNOWN>"},
        {CExEv_Token::TK_CONST, "<CONST>[x]"},
        {CExEv_Token::TK_IDENT, "<IDENT>[x]"},
        {CExEv_Token::TK_OPAREN, "<OPAREN>("},
        {CExEv_Token::TK_CPAREN, "<CPAREN>)"},
        {CExEv_Token::TK_COMMA, "<COMMA>,"},
        {CExEv_Token::TK_OPERATOR, "<OPERATOR>x"},
        {CExEv_Token::TK_FUNC, "<FUNC>x"},
        {0x999, "<Impossible!>"},
    };
    for (const Row& row : rows) {
        CExEv_Token token;
        token.setString("x");
        token.setKind(row.kind);
        std::string dump = "old";
        token.dump(dump);
        EXPECT_EQ(dump, row.expected);
    }
    CExEv_Token token;
    token.setInt(3);
    token.setKind(CExEv_Token::TK_CONST);
    token.clear();
    EXPECT_EQ(token.getKind(), CExEv_Token::TK_NULL);
    EXPECT_EQ(token.getType(), Variant::Null);
}

TEST(EvaluatorTest, ErrorKeepsTheFirstCodeUntilCleared)
{
    CExEv evaluator;
    EXPECT_EQ(evaluator.setError(6), 6);
    EXPECT_EQ(evaluator.setError(7), 6);
    evaluator.clear();
    EXPECT_EQ(evaluator.getError(), 0);

    Variant result;
    EXPECT_EQ(evaluator.evalExpression("1/0", result), CExEv::ERR_OPERATION);
    EXPECT_EQ(evaluator.evalExpression("6*7", result), 0);
    EXPECT_EQ(show(result), "I:42");
}

// Identifiers are "$" followed by letters; their value is their length. The only function, twice(x),
// takes one argument.
class DollarContext : public CExEvCtx {
public:
    int isValidIdentStartChar(int ch) override { return ch == '$'; }
    int isValidIdentChar(int ch) override { return ch == '$' || (ch >= 'a' && ch <= 'z'); }
    int getValue(const char* name, Variant& result) override
    {
        names.emplace_back(name);
        result.setInt(static_cast<int>(std::strlen(name)));
        return 1;
    }
    int callFunction(const char* name, int argc, const Variant* argv, Variant& result) override
    {
        if (std::strcmp(name, "$twice") == 0 && argc == 1)
            return Variant::ADD(argv[0], argv[0], result);
        return CExEvCtx::callFunction(name, argc, argv, result);
    }
    std::vector<std::string> names;
};

TEST(EvaluatorTest, ContextGivesIdentifiersAndFunctions)
{
    DollarContext context;
    CExEv evaluator(&context);
    Variant result;
    ASSERT_EQ(evaluator.evalExpression("$abc * 10 + $twice($a)", result), 0);
    EXPECT_EQ(show(result), "I:44");
    EXPECT_EQ(context.names, (std::vector<std::string> {"$abc", "$a"}));
    // "pi" no longer starts an identifier for this context.
    EXPECT_EQ(evaluator.evalExpression("pi", result), CExEv::ERR_SYNTAX);

    CExEv own(nullptr);
    ASSERT_EQ(own.evalExpression("pi", result), 0);
    EXPECT_EQ(show(result), "R:3.1416");
}

TEST(EvaluatorTest, DefaultIdentifierCharacters)
{
    CExEvCtx context;
    const char* const starts = "AZaz_";
    const char* const notStarts = "09.:?$ @";
    const char* const inside = "AZaz_09.:?";
    const char* const notInside = "$ @-+(";
    for (const char* c = starts; *c; ++c)
        EXPECT_TRUE(context.isValidIdentStartChar(*c)) << *c;
    for (const char* c = notStarts; *c; ++c)
        EXPECT_FALSE(context.isValidIdentStartChar(*c)) << *c;
    for (const char* c = inside; *c; ++c)
        EXPECT_TRUE(context.isValidIdentChar(*c)) << *c;
    for (const char* c = notInside; *c; ++c)
        EXPECT_FALSE(context.isValidIdentChar(*c)) << *c;

    Variant v = makeInt(1);
    EXPECT_EQ(context.getValue("x", v), 0);
    EXPECT_EQ(v.getType(), Variant::Null);
}

int tagHandler(int tag, Variant& result)
{
    result.setInt(tag);
    return 1;
}

int firstRow(int, const Variant*, Variant& result)
{
    return tagHandler(1, result);
}

int secondRow(int, const Variant*, Variant& result)
{
    return tagHandler(2, result);
}

int thirdRow(int, const Variant*, Variant& result)
{
    return tagHandler(3, result);
}

TEST(EvaluatorTest, SignatureSelectsTheFirstMatchingRow)
{
    const CExEvCtx::SFunctionDef table[] = {
        {"f", "RI", "one Int", firstRow},
        {"f", "RSS", "two Strings", secondRow},
        {"f", "R*", "anything", thirdRow},
        {"g", "R??", "two of any kind", firstRow},
        {nullptr, nullptr, nullptr, nullptr},
    };
    struct Row {
        const char* name;
        std::vector<Variant> args;
        const char* expected; // null: no row matches
    };
    const Row rows[] = {
        {"f", {makeInt(1)}, "I:1"},
        {"f", {makeString("a"), makeString("b")}, "I:2"},
        {"f", {makeString("a"), makeInt(1)}, "I:3"},
        {"f", {makeReal(1.0)}, "I:3"},
        {"f", {}, "I:1"}, // fewer arguments than the first row lists
        {"g", {makeInt(1), makeReal(2.0)}, "I:1"},
        {"g", {makeInt(1), makeInt(2), makeInt(3)}, nullptr},
        {"h", {makeInt(1)}, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Variant result = makeString("old");
        const int done = CExEvCtx::doCallFunction(
            table, row.name, static_cast<int>(row.args.size()), row.args.data(), result);
        if (!row.expected) {
            EXPECT_EQ(done, 0);
            EXPECT_EQ(result.getType(), Variant::Null);
        } else {
            EXPECT_EQ(done, 1);
            EXPECT_EQ(show(result), row.expected);
        }
    }
}

TEST(EvaluatorTest, StandardTables)
{
    CExEvCtx context;
    Variant result;
    const Variant one[] = {makeInt(4)};
    ASSERT_EQ(context.callOperator("-", 1, one, result), 1);
    EXPECT_EQ(show(result), "I:-4");
    const Variant mixed[] = {makeString("a"), makeString("b")};
    ASSERT_EQ(context.callOperator("+", 2, mixed, result), 1);
    EXPECT_EQ(show(result), "S:ab");
    EXPECT_EQ(context.callOperator("-", 2, mixed, result), 0);
    EXPECT_EQ(context.callOperator("=", 2, mixed, result), 0);
    const Variant three[] = {makeInt(1), makeInt(2), makeInt(3)};
    EXPECT_EQ(context.callOperator("+", 3, three, result), 0);
    EXPECT_EQ(context.callFunction("sin", 0, nullptr, result), 0);
    EXPECT_EQ(context.callFunction("cos", 1, one, result), 0);

    struct Row {
        const char* name;
        int priority;
    };
    const Row rows[] = {{"*", 10}, {"%", 10}, {"-", 9}, {">>", 8}, {"<=", 7}, {"!=", 6}, {"&", 5}, {"^", 4},
        {"|", 3}, {"&&", 2}, {"||", 1}, {"!", 0}, {"=", 0}, {")", 0}};
    for (const Row& row : rows)
        EXPECT_EQ(CExEvCtx::operatorPriority(row.name), row.priority) << row.name;
}

std::string repeat(const std::string& piece, std::size_t count)
{
    std::string text;
    text.reserve(piece.size() * count);
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

// A million tokens must neither overflow the stack (tokens are chained and released iteratively) nor take
// quadratic time.
TEST(EvaluatorTest, MillionTokens)
{
    CExEv evaluator;
    Variant result;

    const std::string sum = "1" + repeat("+1", 499999);
    ASSERT_EQ(evaluator.evalExpression(sum.c_str(), result), 0);
    EXPECT_EQ(show(result), "I:500000");

    const std::string nested = repeat("(", 500000) + "7" + repeat(")", 500000);
    ASSERT_EQ(evaluator.evalExpression(nested.c_str(), result), 0);
    EXPECT_EQ(show(result), "I:7");

    const std::string negations = repeat("-(", 300000) + "5" + repeat(")", 300000);
    ASSERT_EQ(evaluator.evalExpression(negations.c_str(), result), 0);
    EXPECT_EQ(show(result), "I:5");

    // Left on the stack by the failure, then released by the next evaluation and by the destructor.
    const std::string unclosed = repeat("(1+", 400000) + "1";
    EXPECT_EQ(evaluator.evalExpression(unclosed.c_str(), result), CExEv::ERR_UNCLOSED);
    EXPECT_EQ(evaluator.evalExpression(nested.c_str(), result), 0);
    EXPECT_EQ(evaluator.evalExpression(unclosed.c_str(), result), CExEv::ERR_UNCLOSED);
}

TEST(EvaluatorTest, NumbersIgnoreTheProcessLocale)
{
    const std::string previous = std::setlocale(LC_NUMERIC, nullptr);
    const char* const commaLocales[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"};
    bool switched = false;
    for (const char* name : commaLocales)
        switched = switched || std::setlocale(LC_NUMERIC, name) != nullptr;
    if (!switched)
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    CExEv evaluator;
    Variant result;
    const int code = evaluator.evalExpression("3.5 * 2", result);
    std::string textValue;
    result.asString(textValue);
    std::setlocale(LC_NUMERIC, previous.c_str());
    EXPECT_EQ(code, 0);
    EXPECT_EQ(textValue, "7.0000");
}

} // namespace
