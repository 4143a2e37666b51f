// Feeds arbitrary text to the expression engine, both as the raw evaluator sees it and through the path
// every description attribute takes (literal rewriting, variables, exp2). Lines before the last declare
// variables ("NAME=EXPR", each evaluated with those before it); the last line is evaluated. Any input must
// give a value or an error, never both and never neither.
#include "fuzz_support.h"

#include <vellxml/expr/evaluator.h>
#include <vellxml/expr/variables.h>

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using vellxml::fuzz::require;
    const std::string text(reinterpret_cast<const char*>(data), size);

    // The evaluator alone, on the bytes as they are (it stops at the first NUL).
    {
        cexev::CExEv evaluator;
        variant::Variant result;
        const int code = evaluator.evalExpression(text.c_str(), result);
        require(code >= cexev::CExEv::ERR_NONE && code <= cexev::CExEv::ERR_UNCLOSED, "unknown error code");
        require((code == 0) == (evaluator.getError() == 0), "returned code differs from the recorded one");
        if (code != 0)
            require(result.getTypeChar() == '0', "failed evaluation left a value");
    }

    // Description expressions, with variables declared by the input on top of two fixed ones.
    HwVariableManager variables;
    QString error;
    bool failed = false;
    variables.evalExpressionAndAddVar(
        QStringLiteral("BASE"), QStringLiteral("0x40000000"), QString(), nullptr, error, failed);
    variables.evalExpressionAndAddVar(
        QStringLiteral("N"), QStringLiteral("exp2(3)"), QString(), nullptr, error, failed);
    require(!failed && variables.count() == 2, "fixed variables did not declare");

    const QStringList lines =
        QString::fromUtf8(text.data(), static_cast<int>(text.size())).split(QLatin1Char('\n'));
    for (int i = 0; i + 1 < lines.size() && i < 16; ++i) {
        const int equals = lines[i].indexOf(QLatin1Char('='));
        if (equals < 1)
            continue;
        const int before = variables.count();
        error.clear();
        failed = false;
        const int value = variables.evalExpressionAndAddVar(
            lines[i].left(equals), lines[i].mid(equals + 1), QString(), nullptr, error, failed);
        require(failed ? (value == -1 && !error.isEmpty() && variables.count() == before)
                       : (error.isEmpty() && variables.count() == before + 1),
            "declaration neither failed cleanly nor declared one variable");
    }
    error.clear();
    failed = false;
    const int value = variables.evalExpression(lines.back(), error, failed);
    require(failed ? (value == -1 && !error.isEmpty()) : error.isEmpty(),
        "evaluation neither failed with a message nor succeeded without one");
    return 0;
}
