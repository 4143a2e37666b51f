#include "expr/test_support.h"

#include <vellxml/expr/variant.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <vector>

using namespace exprtest;
using variant::Variant;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

Variant makeBinary(std::vector<unsigned char> bytes)
{
    Variant v;
    v.setBinary(bytes.data(), static_cast<int>(bytes.size()));
    return v;
}

Variant makePtr(void* p)
{
    Variant v;
    v.setPtr(p);
    return v;
}

std::string text(const Variant& v, const char* format = nullptr)
{
    std::string out = "untouched";
    EXPECT_EQ(v.asString(out, format), 1);
    return out;
}

TEST(VariantTest, AsStringUsesTheKindsFormats)
{
    struct Row {
        Variant value;
        const char* format;
        const char* expected;
    };
    const Row rows[] = {
        {Variant(), nullptr, ""},
        {makeBool(1), nullptr, "1"},
        {makeBool(1), "%x", "1"},
        {makeBool(0), nullptr, "0"},
        {makeInt(-5), nullptr, "-5"},
        {makeInt(255), "%04X", "00FF"},
        {makeDWORD(0x7FFFFFFFu), nullptr, "2147483647"},
        {makeDWORD(0xFFFFFFFFu), nullptr, "18446744073709551615"},
        {makeDWORD(0x80000000u), nullptr, "18446744071562067968"},
        {makeDWORD(0x10u), "%lx", "10"},
        {makeReal(2.5), nullptr, "2.5000"},
        {makeReal(-0.125), "%.2f", "-0.12"},
        {makeString("ab"), nullptr, "ab"},
        {makeString("ab"), "%d", "ab"},
        {makeString(nullptr), nullptr, ""},
        {makeBinary({0x01, 0xAB, 0xFF, 0x00}), nullptr, "01ABFF00"},
        {makeBinary({}), nullptr, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(text(row.value, row.format), row.expected);
    }
}

TEST(VariantTest, AsStringWritesLongNumbersAndPointersWhole)
{
    const std::string big = text(makeReal(1e30));
    EXPECT_EQ(big, "1000000000000000019884624838656.0000");

    int target = 0;
    char expected[32];
    std::snprintf(expected, sizeof expected, "%p", static_cast<void*>(&target));
    EXPECT_EQ(text(makePtr(&target), "%d"), expected);
}

TEST(VariantTest, SettersStoreKindValueAndLength)
{
    Variant v;
    EXPECT_EQ(v.getType(), Variant::Null);
    EXPECT_EQ(v.getLength(), 0);

    v.setBool(5);
    EXPECT_EQ(show(v), "B:1");
    EXPECT_EQ(v.getLength(), 4);
    v.setInt(-7);
    EXPECT_EQ(v.getInt(), -7);
    EXPECT_EQ(v.getLength(), 4);
    v.setReal(1.5);
    EXPECT_EQ(v.getLength(), 8);
    v.setString("abc");
    EXPECT_STREQ(v.getString(), "abc");
    EXPECT_EQ(v.getLength(), 4);
    v.setString(nullptr);
    EXPECT_EQ(v.getType(), Variant::String);
    EXPECT_EQ(v.getString(), nullptr);
    EXPECT_EQ(v.getLength(), 0);
    const unsigned char bytes[] = {1, 2, 3};
    v.setBinary(bytes, -3);
    EXPECT_EQ(v.getType(), Variant::Binary);
    EXPECT_EQ(v.getBinary(), nullptr);
    EXPECT_EQ(v.getLength(), 0);
    v.setBinary(bytes, 3);
    ASSERT_NE(v.getBinary(), bytes);
    EXPECT_EQ(std::memcmp(v.getBinary(), bytes, 3), 0);
    EXPECT_EQ(v.getLength(), 3);
    v.setNull();
    EXPECT_EQ(v.getType(), Variant::Null);
    EXPECT_EQ(v.getLength(), 0);

    // A String can be set from its own payload.
    v.setString("self");
    v.setString(v.getString());
    EXPECT_EQ(show(v), "S:self");
}

TEST(VariantTest, GettersDoNotConvert)
{
    const Variant i = makeInt(3);
    EXPECT_EQ(i.getBool(), 0);
    EXPECT_EQ(i.getDWORD(), 0u);
    EXPECT_EQ(i.getReal(), 0.0);
    EXPECT_EQ(i.getString(), nullptr);
    EXPECT_EQ(i.getBinary(), nullptr);
    EXPECT_EQ(i.getPtr(), nullptr);
    EXPECT_EQ(makeReal(2.0).getInt(), 0);
    EXPECT_EQ(makeDWORD(5).getInt(), 0);
}

TEST(VariantTest, CopiesOwnTheirPayloads)
{
    Variant original = makeString("abc");
    Variant copy(original);
    Variant assigned;
    assigned = original;
    original.setString("changed");
    EXPECT_EQ(show(copy), "S:abc");
    EXPECT_EQ(show(assigned), "S:abc");
    EXPECT_NE(copy.getString(), assigned.getString());

    Variant binary = makeBinary({0xDE, 0xAD});
    Variant binaryCopy = binary;
    binary.setNull();
    EXPECT_EQ(text(binaryCopy), "DEAD");

    Variant& alias = copy;
    copy = alias;
    EXPECT_EQ(show(copy), "S:abc");

    Variant moved(std::move(copy));
    EXPECT_EQ(show(moved), "S:abc");
    EXPECT_EQ(copy.getType(), Variant::Null); // NOLINT(bugprone-use-after-move): moved-from state is defined
    assigned = std::move(moved);
    EXPECT_EQ(show(assigned), "S:abc");
}

TEST(VariantTest, GetDataCopiesTheValueBytes)
{
    unsigned char buffer[8] = {};
    EXPECT_EQ(makeInt(0x12345678).getData(buffer, sizeof buffer), 4);
    std::uint32_t word = 0;
    std::memcpy(&word, buffer, 4);
    EXPECT_EQ(word, 0x12345678u);

    std::memset(buffer, 0, sizeof buffer);
    EXPECT_EQ(makeString("hello").getData(buffer, 3), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 3), "hel");
    EXPECT_EQ(makeBinary({9, 8}).getData(buffer, sizeof buffer), 2);
    EXPECT_EQ(buffer[0], 9);
    EXPECT_EQ(buffer[1], 8);

    EXPECT_EQ(Variant().getData(buffer, sizeof buffer), 0);
    EXPECT_EQ(makeInt(1).getData(buffer, 0), 0);
}

TEST(VariantTest, AppendToStringTurnsTheValueIntoText)
{
    Variant v = makeInt(12);
    v.appendToString("ab");
    EXPECT_EQ(show(v), "S:12ab");
    v.appendToString('!');
    EXPECT_EQ(show(v), "S:12ab!");

    Variant untouched = makeInt(3);
    untouched.appendToString(nullptr);
    untouched.appendToString(0);
    EXPECT_EQ(show(untouched), "I:3");

    Variant empty;
    empty.appendToString('x');
    EXPECT_EQ(show(empty), "S:x");
    Variant real = makeReal(0.5);
    real.appendToString("");
    EXPECT_EQ(show(real), "S:0.5000");
}

TEST(VariantTest, NumericConversions)
{
    struct Row {
        const char* name;
        Variant value;
        bool ok;
        int asInt;
        std::uint32_t asDWORD;
        double asReal;
        int asBool;
    };
    const Row rows[] = {
        {"bool", makeBool(1), true, 1, 1u, 1.0, 1},
        {"int", makeInt(-3), true, -3, 0xFFFFFFFDu, -3.0, 1},
        {"zero", makeInt(0), true, 0, 0u, 0.0, 0},
        {"dword high", makeDWORD(0xFFFFFFFFu), true, -1, 0xFFFFFFFFu, -1.0, 1},
        {"real floors", makeReal(-1.5), true, -2, 0xFFFFFFFEu, -1.5, 1},
        {"real 2.9", makeReal(2.9), true, 2, 2u, 2.9, 1},
        {"real above int", makeReal(3e9), true, INT_MAX, 3000000000u, 3e9, 1},
        {"real above dword", makeReal(1e12), true, INT_MAX, 0xFFFFFFFFu, 1e12, 1},
        {"real below int", makeReal(-1e10), true, INT_MIN, 0x80000000u, -1e10, 1},
        {"infinity", makeReal(kInf), true, INT_MAX, 0xFFFFFFFFu, kInf, 1},
        {"minus infinity", makeReal(-kInf), true, INT_MIN, 0x80000000u, -kInf, 1},
        {"minus zero", makeReal(-0.0), true, 0, 0u, -0.0, 0},
        {"string", makeString("1"), false, 0, 0u, 0.0, 0},
        {"null", Variant(), false, 0, 0u, 0.0, 0},
        {"binary", makeBinary({1}), false, 0, 0u, 0.0, 0},
        {"ptr", makePtr(nullptr), false, 0, 0u, 0.0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        int i = 77;
        std::uint32_t d = 77;
        double r = 77.0;
        int b = 77;
        EXPECT_EQ(row.value.asInt(i), row.ok ? 1 : 0);
        EXPECT_EQ(row.value.asDWORD(d), row.ok ? 1 : 0);
        EXPECT_EQ(row.value.asReal(r), row.ok ? 1 : 0);
        EXPECT_EQ(row.value.asBool(b), row.ok ? 1 : 0);
        EXPECT_EQ(i, row.ok ? row.asInt : 77);
        EXPECT_EQ(d, row.ok ? row.asDWORD : 77u);
        EXPECT_EQ(r, row.ok ? row.asReal : 77.0);
        EXPECT_EQ(b, row.ok ? row.asBool : 77);
    }

    const Variant nan = makeReal(kNaN);
    int i = 5;
    std::uint32_t d = 5;
    int b = 0;
    EXPECT_EQ(nan.asInt(i), 1);
    EXPECT_EQ(i, 0);
    EXPECT_EQ(nan.asDWORD(d), 1);
    EXPECT_EQ(d, 0u);
    EXPECT_EQ(nan.asBool(b), 1);
    EXPECT_EQ(b, 1);
}

TEST(VariantTest, Compare)
{
    struct Row {
        const char* name;
        Variant a;
        Variant b;
        bool ok;
        int sign;
    };
    const Row rows[] = {
        {"strings", makeString("a"), makeString("b"), true, -1},
        {"strings reversed", makeString("b"), makeString("a"), true, 1},
        {"empty string payload", makeString(nullptr), makeString(""), true, 0},
        {"string with int", makeString("a"), makeInt(1), false, 0},
        {"int with string", makeInt(1), makeString("a"), false, 0},
        {"real with int", makeReal(1.5), makeInt(2), true, -1},
        {"high dword as real", makeDWORD(0xFFFFFFFFu), makeReal(0.0), true, -1},
        {"nan", makeReal(kNaN), makeReal(1.0), true, 0},
        {"real with null", makeReal(1.0), Variant(), false, 0},
        {"equal ints", makeInt(3), makeInt(3), true, 0},
        {"ints", makeInt(-4), makeInt(3), true, -1},
        // Two Ints compare by their wrapped difference.
        {"wrapped difference", makeInt(INT_MAX), makeInt(-1), true, -1},
        {"negative int with dword", makeInt(-1), makeDWORD(0), true, -1},
        {"int with high dword", makeInt(5), makeDWORD(0xFFFFFFFFu), true, -1},
        {"int with equal dword", makeInt(5), makeDWORD(5), true, 0},
        {"int with bool", makeInt(5), makeBool(1), true, 1},
        {"int with null", makeInt(1), Variant(), false, 0},
        {"dwords", makeDWORD(0xFFFFFFFFu), makeDWORD(1), true, 1},
        {"dword with negative int", makeDWORD(0), makeInt(-1), true, 1},
        {"dword with int", makeDWORD(3), makeInt(3), true, 0},
        {"dword with bool", makeDWORD(1), makeBool(1), true, 0},
        {"bool with int", makeBool(1), makeInt(2), true, -1},
        {"bool with high dword", makeBool(1), makeDWORD(0xFFFFFFFFu), true, 1},
        {"null with int", Variant(), makeInt(0), false, 0},
        {"ptr with int", makePtr(nullptr), makeInt(0), false, 0},
        {"binary with int", makeBinary({1}), makeInt(0), false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        int result = 42;
        ASSERT_EQ(Variant::compare(row.a, row.b, result), row.ok ? 1 : 0);
        if (!row.ok) {
            EXPECT_EQ(result, 42);
            continue;
        }
        EXPECT_EQ((result > 0) - (result < 0), row.sign);
    }
}

TEST(VariantTest, RelationalOperators)
{
    using Op = int (*)(const Variant&, const Variant&, Variant&);
    struct Row {
        const char* name;
        Op op;
        const char* less;
        const char* equal;
        const char* greater;
    };
    const Row rows[] = {
        {"LT", Variant::LT, "B:1", "B:0", "B:0"},
        {"GT", Variant::GT, "B:0", "B:0", "B:1"},
        {"LE", Variant::LE, "B:1", "B:1", "B:0"},
        {"GE", Variant::GE, "B:0", "B:1", "B:1"},
        {"EQ", Variant::EQ, "B:0", "B:1", "B:0"},
        {"NE", Variant::NE, "B:1", "B:0", "B:1"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Variant result;
        ASSERT_EQ(row.op(makeInt(1), makeInt(2), result), 1);
        EXPECT_EQ(show(result), row.less);
        ASSERT_EQ(row.op(makeString("x"), makeString("x"), result), 1);
        EXPECT_EQ(show(result), row.equal);
        ASSERT_EQ(row.op(makeDWORD(0xFFFFFFFFu), makeInt(7), result), 1);
        EXPECT_EQ(show(result), row.greater);

        Variant kept = makeString("kept");
        EXPECT_EQ(row.op(makeString("a"), makeInt(1), kept), 0);
        EXPECT_EQ(show(kept), "S:kept");
    }
}

using Operation = int (*)(const Variant&, const Variant&, Variant&);

struct OperationRow {
    const char* name;
    Operation op;
    Variant a;
    Variant b;
    const char* expected; // null: the operation is refused
};

void PrintTo(const OperationRow& row, std::ostream* os)
{
    *os << row.name;
}

class VariantOperationTest : public testing::TestWithParam<OperationRow> { };

TEST_P(VariantOperationTest, ComputesOrRefuses)
{
    const OperationRow& row = GetParam();
    Variant result = makeString("kept");
    const int done = row.op(row.a, row.b, result);
    if (!row.expected) {
        EXPECT_EQ(done, 0);
        EXPECT_EQ(show(result), "S:kept");
        return;
    }
    EXPECT_EQ(done, 1);
    EXPECT_EQ(show(result), row.expected);
}

const OperationRow kOperations[] = {
    {"bool_plus_bool", Variant::ADD, makeBool(1), makeBool(1), "I:2"},
    {"int_plus_dword", Variant::ADD, makeInt(-1), makeDWORD(2), "D:0x00000001"},
    {"bool_plus_dword", Variant::ADD, makeBool(1), makeDWORD(2), "D:0x00000003"},
    {"int_plus_real", Variant::ADD, makeInt(1), makeReal(0.5), "R:1.5000"},
    {"dword_plus_real_is_signed", Variant::ADD, makeDWORD(0xFFFFFFFFu), makeReal(1.0), "R:0.0000"},
    {"int_overflow_wraps", Variant::ADD, makeInt(INT_MAX), makeInt(1), "I:-2147483648"},
    {"dword_overflow_wraps", Variant::ADD, makeDWORD(0xFFFFFFFFu), makeInt(1), "D:0x00000000"},
    {"string_plus_int", Variant::ADD, makeString("a"), makeInt(1), nullptr},
    {"null_plus_int", Variant::ADD, Variant(), makeInt(1), nullptr},
    {"int_min_minus_one", Variant::SUB, makeInt(INT_MIN), makeInt(1), "I:2147483647"},
    {"dword_minus_int", Variant::SUB, makeDWORD(0), makeInt(1), "D:0xFFFFFFFF"},
    {"real_minus_bool", Variant::SUB, makeReal(2.5), makeBool(1), "R:1.5000"},
    {"mul_wraps", Variant::MUL, makeInt(65536), makeInt(65536), "I:0"},
    {"mul_int_min_by_minus_one", Variant::MUL, makeInt(INT_MIN), makeInt(-1), "I:-2147483648"},
    {"mul_dword", Variant::MUL, makeDWORD(0x80000000u), makeInt(3), "D:0x80000000"},
    {"div_by_zero", Variant::DIV, makeInt(7), makeInt(0), nullptr},
    {"div_by_zero_dword", Variant::DIV, makeInt(7), makeDWORD(0), nullptr},
    {"div_by_false", Variant::DIV, makeReal(1.0), makeBool(0), nullptr},
    {"div_ints", Variant::DIV, makeInt(7), makeInt(2), "I:3"},
    {"div_truncates_to_zero", Variant::DIV, makeInt(-7), makeInt(2), "I:-3"},
    {"div_int_min_by_minus_one", Variant::DIV, makeInt(INT_MIN), makeInt(-1), "I:-2147483648"},
    {"div_dword_is_signed", Variant::DIV, makeDWORD(0xFFFFFFFFu), makeInt(2), "D:0x00000000"},
    {"div_dwords_are_signed", Variant::DIV, makeDWORD(0xFFFFFFFEu), makeDWORD(0xFFFFFFFFu), "D:0x00000002"},
    {"div_dword_min_by_minus_one", Variant::DIV, makeDWORD(0x80000000u), makeInt(-1), "D:0x80000000"},
    {"div_int_by_true", Variant::DIV, makeInt(7), makeBool(1), "I:7"},
    {"div_real", Variant::DIV, makeInt(7), makeReal(2.0), "R:3.5000"},
    {"div_tiny_real", Variant::DIV, makeReal(1.0), makeReal(1e-13), nullptr},
    {"div_tiny_negative_real", Variant::DIV, makeReal(1.0), makeReal(-1e-13), nullptr},
    {"div_small_real", Variant::DIV, makeReal(1.0), makeReal(1e-11), "R:100000000000.0000"},
    {"div_true_dividend", Variant::DIV, makeBool(1), makeInt(4), "R:0.2500"},
    {"div_false_dividend", Variant::DIV, makeBool(0), makeInt(4), "R:0.0000"},
    {"div_true_by_high_dword", Variant::DIV, makeBool(1), makeDWORD(0xFFFFFFFCu), "R:-0.2500"},
    {"div_string", Variant::DIV, makeInt(1), makeString("1"), nullptr},
    {"mod_ints", Variant::MOD, makeInt(7), makeInt(3), "I:1"},
    {"mod_sign_of_dividend", Variant::MOD, makeInt(-7), makeInt(3), "I:-1"},
    {"mod_dword_is_signed", Variant::MOD, makeDWORD(0xFFFFFFFFu), makeInt(2), "D:0xFFFFFFFF"},
    {"mod_int_by_dword", Variant::MOD, makeInt(7), makeDWORD(4), "I:3"},
    {"mod_int_min_by_minus_one", Variant::MOD, makeInt(INT_MIN), makeInt(-1), "I:0"},
    {"mod_by_zero", Variant::MOD, makeInt(7), makeInt(0), nullptr},
    {"mod_real", Variant::MOD, makeReal(7.0), makeInt(2), nullptr},
    {"mod_bool", Variant::MOD, makeBool(1), makeInt(2), nullptr},
    {"shift_count_masked", Variant::BITLEFT, makeInt(1), makeInt(33), "I:2"},
    {"shift_negative_left", Variant::BITLEFT, makeInt(-1), makeInt(31), "I:-2147483648"},
    {"shift_dword_left", Variant::BITLEFT, makeDWORD(3), makeDWORD(30), "D:0xC0000000"},
    {"shift_real", Variant::BITLEFT, makeReal(1.0), makeInt(1), nullptr},
    {"shift_by_real", Variant::BITLEFT, makeInt(1), makeReal(1.0), nullptr},
    {"shift_bool", Variant::BITLEFT, makeBool(1), makeInt(1), nullptr},
    {"shift_right_negative", Variant::BITRIGHT, makeInt(-8), makeInt(1), "I:-4"},
    {"shift_right_dword_propagates_sign", Variant::BITRIGHT, makeDWORD(0x80000000u), makeInt(31),
        "D:0xFFFFFFFF"},
    {"shift_right_masked", Variant::BITRIGHT, makeInt(8), makeInt(33), "I:4"},
    {"shift_right_positive_dword", Variant::BITRIGHT, makeDWORD(0x40000000u), makeInt(30), "D:0x00000001"},
    {"and", Variant::BITAND, makeInt(6), makeInt(3), "I:2"},
    {"and_dword", Variant::BITAND, makeInt(-1), makeDWORD(0xF0u), "D:0x000000F0"},
    {"xor", Variant::BITXOR, makeInt(6), makeInt(3), "I:5"},
    {"or", Variant::BITOR, makeDWORD(6), makeInt(3), "D:0x00000007"},
    {"or_bool", Variant::BITOR, makeBool(1), makeInt(3), nullptr},
    {"and_real", Variant::BITAND, makeInt(1), makeReal(1.0), nullptr},
    {"logand", Variant::LOGAND, makeInt(2), makeReal(0.5), "B:1"},
    {"logand_false", Variant::LOGAND, makeDWORD(1), makeInt(0), "B:0"},
    {"logor_false", Variant::LOGOR, makeInt(0), makeReal(0.0), "B:0"},
    {"logor", Variant::LOGOR, makeBool(0), makeReal(kNaN), "B:1"},
    {"logor_string", Variant::LOGOR, makeInt(1), makeString("x"), nullptr},
};

INSTANTIATE_TEST_SUITE_P(Table, VariantOperationTest, testing::ValuesIn(kOperations),
    [](const testing::TestParamInfo<OperationRow>& row) { return std::string(row.param.name); });

TEST(VariantTest, OperationsMayWriteIntoAnOperand)
{
    Variant a = makeString("x");
    Variant b = makeInt(1);
    ASSERT_EQ(Variant::ADD(b, b, b), 1);
    EXPECT_EQ(show(b), "I:2");
    ASSERT_EQ(Variant::EQ(a, a, a), 1);
    EXPECT_EQ(show(a), "B:1");
}

} // namespace
