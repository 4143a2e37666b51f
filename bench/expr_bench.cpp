// Expression evaluation cost: descriptions evaluate an expression for nearly every
// address, size, count and bit position, so a large chip evaluates millions of them.
#include <vellxml/expr/evaluator.h>
#include <vellxml/expr/variables.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

void BM_EvaluatePlainArithmetic(benchmark::State& state)
{
    cexev::CExEv evaluator;
    variant::Variant result;
    for (auto _ : state) {
        evaluator.evalExpression("(4096 + 256 * 3) << 2 | 1", result);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(BM_EvaluatePlainArithmetic);

// A typical register address: hexadecimal literals and variables, through the
// same entry point the loader uses.
void BM_EvaluateDescriptionExpression(benchmark::State& state)
{
    HwVariableManager variables;
    QString error;
    bool failed = false;
    for (int i = 0; i < state.range(0); ++i)
        variables.evalExpressionAndAddVar(
            QStringLiteral("VAR_%1").arg(i), QString::number(i), QString(), nullptr, error, failed);
    variables.evalExpressionAndAddVar(
        QStringLiteral("UART_BASE"), QStringLiteral("0x40010000"), QString(), nullptr, error, failed);
    const QString expression = QStringLiteral("UART_BASE + 0x400 * 3 + 0x1C");
    for (auto _ : state)
        benchmark::DoNotOptimize(variables.evalExpression(expression, error, failed));
    state.counters["variables"] = static_cast<double>(state.range(0) + 1);
}
BENCHMARK(BM_EvaluateDescriptionExpression)->Arg(0)->Arg(100)->Arg(1000);

// Long expressions must stay linear in their length.
void BM_EvaluateLongSum(benchmark::State& state)
{
    std::string text = "1";
    for (int i = 1; i < state.range(0); ++i)
        text += "+1";
    cexev::CExEv evaluator;
    variant::Variant result;
    for (auto _ : state) {
        evaluator.evalExpression(text.c_str(), result);
        benchmark::DoNotOptimize(result);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_EvaluateLongSum)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity(benchmark::oN);

} // namespace
