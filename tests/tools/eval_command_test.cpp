#include "tools/tool_runner.h"

#include <gtest/gtest.h>

namespace {

struct EvalCase {
    QStringList args;
    int exitCode;
    const char* out;
    const char* err; // exact; nullptr: only "starts with vellxml: " is required
};

void PrintTo(const EvalCase& c, std::ostream* os)
{
    *os << c.args.join(QLatin1Char(' ')).toStdString();
}

class EvalCommand : public testing::TestWithParam<EvalCase> { };

TEST_P(EvalCommand, PrintsValueTypeAndStatus)
{
    const EvalCase& c = GetParam();
    const ToolRun run = runTool(QStringList {QStringLiteral("eval")} + c.args);
    EXPECT_EQ(run.exitCode, c.exitCode);
    EXPECT_EQ(run.out.toStdString(), c.out);
    if (c.err)
        EXPECT_EQ(run.err.toStdString(), c.err);
    else
        EXPECT_TRUE(run.err.startsWith(QStringLiteral("vellxml: "))) << run.err.toStdString();
}

const auto S = [](const char* s) { return QString::fromUtf8(s); };

INSTANTIATE_TEST_SUITE_P(Values, EvalCommand,
    testing::Values(
        // Each kind printed as a person reads it.
        EvalCase {{S("2*(3+4)")}, 0, "14 (I)\n", ""}, EvalCase {{S("0xFFFFFFFF")}, 0, "4294967295 (D)\n", ""},
        EvalCase {{S("3000000000")}, 0, "3000000000 (D)\n", ""}, EvalCase {{S("0 - 5")}, 0, "-5 (I)\n", ""},
        EvalCase {{S("7/2.0")}, 0, "3.5000 (R)\n", ""}, EvalCase {{S("3 > 2")}, 0, "1 (B)\n", ""},
        EvalCase {{S("3 < 2")}, 0, "0 (B)\n", ""}, EvalCase {{S("\"ab\" + 1")}, 0, "ab1 (S)\n", ""},
        // The description format's own rules.
        EvalCase {{S("-1 + 2")}, 0, "-3 (I)\n", ""},
        EvalCase {{S("0x80000000 >> 31")}, 0, "4294967295 (D)\n", ""},
        EvalCase {{S("0b1010 | 0x10")}, 0, "26 (I)\n", ""}, EvalCase {{S("exp2(4)")}, 0, "16 (I)\n", ""},
        // Variables, each evaluated with the ones before it.
        EvalCase {{S("BASE + STRIDE * 2"), S("--var"), S("BASE=0x1000"), S("--var"), S("STRIDE=0x10")}, 0,
            "4128 (I)\n", ""},
        EvalCase {{S("--var=N=exp2(3)"), S("--var"), S("M=N*N"), S("M - 1")}, 0, "63 (I)\n", ""},
        EvalCase {{S("X"), S("--var"), S("X=1"), S("--var"), S("X=2")}, 0, "2 (I)\n", ""},
        // A name is whatever the evaluator reads as one identifier: dots, colons and "?" included.
        EvalCase {{S("--var"), S("a.b=3"), S("--var"), S("c:d?=a.b+1"), S("--"), S("a.b * c:d?")}, 0,
            "12 (I)\n", ""},
        EvalCase {{S("--"), S("--1")}, 1, "", nullptr},
        // Evaluation failures: status 1 and the evaluator's code.
        EvalCase {{S("x + 1")}, 1, "", "vellxml: error 5: Error in expression of : x + 1\n"},
        EvalCase {{S("(1 + 2")}, 1, "", "vellxml: error 9: Error in expression of : (1 + 2\n"},
        EvalCase {{S("1 / 0")}, 1, "", "vellxml: error 7: Error in expression of : 1 / 0\n"},
        EvalCase {{S("1 = 2")}, 1, "", "vellxml: error 1: Error in expression of : 1 = 2\n"},
        EvalCase {{S("1 2")}, 1, "", "vellxml: error 6: Error in expression of : 1 2\n"},
        EvalCase {
            {S("A"), S("--var"), S("A=B+1")}, 1, "", "vellxml: error 5: Error in expression of : A\n"},
        // Usage errors: status 2.
        EvalCase {
            {}, 2, "", "vellxml: missing expression\nTry 'vellxml eval --help' for more information.\n"},
        EvalCase {{S("1"), S("2")}, 2, "", nullptr}, EvalCase {{S("1"), S("--var")}, 2, "", nullptr},
        EvalCase {{S("1"), S("--var"), S("9X=1")}, 2, "", nullptr},
        EvalCase {{S("1"), S("--var"), S(".a=1")}, 2, "", nullptr},
        EvalCase {{S("1"), S("--var"), S("a-b=1")}, 2, "", nullptr},
        EvalCase {{S("1"), S("--var"), S("NOVALUE")}, 2, "", nullptr},
        EvalCase {{S("1"), S("--bogus")}, 2, "", nullptr}));

TEST(Tool, HelpAndUnknownCommand)
{
    const ToolRun help = runTool({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith(QStringLiteral("Usage: vellxml COMMAND")));
    EXPECT_TRUE(help.out.contains(QStringLiteral("\n  eval ")));

    const ToolRun evalHelp = runTool({QStringLiteral("eval"), QStringLiteral("--help")});
    EXPECT_EQ(evalHelp.exitCode, 0);
    EXPECT_TRUE(evalHelp.out.startsWith(QStringLiteral("Usage: vellxml eval EXPR")));

    const ToolRun none = runTool({});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_TRUE(none.out.isEmpty());

    const ToolRun unknown = runTool({QStringLiteral("frobnicate")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_EQ(unknown.err.toStdString(),
        "vellxml: unknown command 'frobnicate'\nTry 'vellxml --help' for the list of commands.\n");
}

} // namespace
