// Feeds arbitrary text to the description expression path: literal rewriting,
// variables and the evaluator. Any input must give a value or an error code.
#include <vellxml/expr/variables.h>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static HwVariableManager* variables = [] {
        auto* manager = new HwVariableManager;
        QString error;
        bool failed = false;
        manager->evalExpressionAndAddVar(
            QStringLiteral("BASE"), QStringLiteral("0x40000000"), QString(), nullptr, error, failed);
        manager->evalExpressionAndAddVar(
            QStringLiteral("N"), QStringLiteral("exp2(3)"), QString(), nullptr, error, failed);
        return manager;
    }();

    const QString expression = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QString error;
    bool failed = false;
    const int value = variables->evalExpression(expression, error, failed);
    if (failed && (value != -1 || error.isEmpty()))
        __builtin_trap();
    if (!failed && !error.isEmpty())
        __builtin_trap();
    return 0;
}
