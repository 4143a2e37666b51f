#include "command.h"

#include <vellxml/expr/evaluator.h>
#include <vellxml/expr/variables.h>

#include <QString>

#include <cinttypes>
#include <utility>

namespace vellxml::cli {
namespace {

const char evalHelp[] = "Usage: vellxml eval EXPR [--var NAME=VALUE]...\n"
                        "\n"
                        "Evaluates EXPR as a description's attribute is evaluated and prints its value\n"
                        "followed by its type: I signed integer, D unsigned 32-bit integer, R real,\n"
                        "B boolean, S string.\n"
                        "\n"
                        "Hexadecimal (0x...) and binary (0b...) literals are accepted, exp2(N) gives 2 to\n"
                        "the power N, and every variable given with --var is visible as an identifier.\n"
                        "\n"
                        "Options:\n"
                        "  --var NAME=VALUE  declare a variable; VALUE is itself an expression, evaluated\n"
                        "                    with the variables declared before it (may be repeated);\n"
                        "                    NAME is one identifier of the evaluator: a letter or _, then\n"
                        "                    letters, digits, _ . : ? (a.b is one name)\n"
                        "  -h, --help        show this help\n"
                        "  --                end of options (for an expression that starts with --)\n"
                        "\n"
                        "Examples:\n"
                        "  vellxml eval \"2*(3+4)\"                      prints 14 (I)\n"
                        "  vellxml eval 0xFFFFFFFF                     prints 4294967295 (D)\n"
                        "  vellxml eval \"BASE + 4*N\" --var BASE=0x100 --var N=3\n"
                        "\n"
                        "Exit status: 0, 1 when the expression fails (\"error N: ...\", N the evaluator's\n"
                        "code: 1 syntax, 5 unknown name, 6 misplaced token, 7 operation refused, 8 unary\n"
                        "operation refused, 9 unclosed parenthesis), 2 for usage errors.\n";

struct Evaluation {
    int error = 0;
    variant::Variant value;
};

// Evaluates a description expression with the variables bound in `context`, keeping the typed value
// (the library's integer-only entry point would lose the kind the user asked to see).
Evaluation evaluate(CXMLVarCtx& context, const QString& expression)
{
    Evaluation result;
    const QByteArray text = hexadecimalPreparseExpression(expression).toUtf8();
    cexev::CExEv evaluator(&context);
    result.error = evaluator.evalExpression(text.constData(), result.value);
    return result;
}

// The value as a person reads it, then its type character.
std::string formatValue(const variant::Variant& value)
{
    std::string text;
    switch (value.getType()) {
    case variant::Variant::Int:
        text = std::to_string(value.getInt());
        break;
    case variant::Variant::DWORD:
        text = std::to_string(value.getDWORD());
        break;
    default:
        value.asString(text);
        break;
    }
    return text + " (" + value.getTypeChar() + ")";
}

int reportFailure(int error, const QString& expression)
{
    printError(
        "error " + std::to_string(error) + ": Error in expression of : " + expression.toUtf8().toStdString());
    return ExitFailure;
}

// Whether `name` is read by the evaluator as one identifier, so that the expression can name it: the
// context's own rules (a letter or '_', then also digits, '.', ':' and '?': "a.b" is one identifier).
bool isIdentifier(CXMLVarCtx& context, const QString& name)
{
    const QByteArray text = name.toUtf8();
    if (text.isEmpty() || !context.isValidIdentStartChar(static_cast<unsigned char>(text.front())))
        return false;
    for (const char c : text) {
        if (!context.isValidIdentChar(static_cast<unsigned char>(c)))
            return false;
    }
    return true;
}

int runEval(const std::vector<std::string>& args)
{
    CXMLVarCtx context;
    std::vector<std::pair<QString, QString>> variables;
    std::vector<std::string> positional;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.rfind("--", 0) != 0) {
            positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        std::string definition;
        if (arg == "--var") {
            if (i + 1 >= args.size())
                return usageError(evalCommand, "option '--var' needs NAME=VALUE");
            definition = args[++i];
        } else if (arg.rfind("--var=", 0) == 0) {
            definition = arg.substr(6);
        } else {
            return usageError(evalCommand, "unknown option '" + arg + "'");
        }
        const std::size_t equals = definition.find('=');
        const QString name = QString::fromStdString(definition.substr(0, equals)).trimmed();
        if (equals == std::string::npos || !isIdentifier(context, name))
            return usageError(
                evalCommand, "'--var " + definition + "' is not NAME=VALUE with NAME an identifier");
        variables.emplace_back(name, QString::fromStdString(definition.substr(equals + 1)));
    }
    if (positional.size() != 1)
        return usageError(evalCommand, positional.empty() ? "missing expression" : "too many expressions");

    // Variables are declared in order, each visible to the ones after it, as a description's variables are;
    // a failing one is named, as a description's var is.
    for (const auto& [name, expression] : variables) {
        const Evaluation declared = evaluate(context, expression);
        if (declared.error != 0)
            return reportFailure(declared.error, name);
        int value = 0;
        if (!declared.value.asInt(value)) {
            printError("variable " + name.toStdString()
                + " has no integer value: " + expression.toUtf8().toStdString());
            return ExitFailure;
        }
        context.setVariable(name, value);
    }

    const QString expression = QString::fromStdString(positional.front());
    const Evaluation result = evaluate(context, expression);
    if (result.error != 0)
        return reportFailure(result.error, expression);
    std::printf("%s\n", formatValue(result.value).c_str());
    return ExitOk;
}

} // namespace

const Command evalCommand {"eval", "evaluate an expression as a description would", evalHelp, runEval};

} // namespace vellxml::cli
