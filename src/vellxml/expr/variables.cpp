#include "int32_p.h"

#include <vellxml/expr/variables.h>

#include <QByteArray>
#include <QRegularExpression>

#include <cstring>

namespace {

const QString internalName = QStringLiteral("____internal");

template<typename Variables>
int evaluate(const Variables& variables, const QString& name, const QString& expression, QString& errorText,
    bool& failed)
{
    CXMLVarCtx context;
    for (const auto& variable : variables)
        context.setVariable(variable.getName(), variable.getValue());
    const QByteArray text = hexadecimalPreparseExpression(expression).toUtf8();
    cexev::CExEv evaluator(&context);
    variant::Variant result;
    if (evaluator.evalExpression(text.constData(), result) != cexev::CExEv::ERR_NONE) {
        errorText = QStringLiteral("Error in expression of : %1").arg(name);
        failed = true;
        return -1;
    }
    errorText.clear();
    failed = false;
    int value = 0;
    result.asInt(value);
    return value;
}

// Lets evaluate() walk a list of pointers like a table of records.
struct PointerList {
    struct const_iterator {
        std::vector<const HwIntVar*>::const_iterator it;
        const HwIntVar& operator*() const { return **it; }
        const_iterator& operator++()
        {
            ++it;
            return *this;
        }
        bool operator!=(const const_iterator& other) const { return it != other.it; }
    };
    const std::vector<const HwIntVar*>& list;
    const_iterator begin() const { return {list.begin()}; }
    const_iterator end() const { return {list.end()}; }
};

// Replaces each literal that `pattern` finds (capture group 2) by the decimal text of its value. The
// search goes on right after the rewritten literal, so the character that follows it may open the next
// match.
template<typename Converter>
void rewriteLiterals(QString& text, const QRegularExpression& pattern, Converter toValue)
{
    qsizetype position = 0;
    for (;;) {
        const QRegularExpressionMatch match = pattern.match(text, position);
        if (!match.hasMatch())
            return;
        const QString decimal = QString::number(toValue(match.captured(2)));
        const qsizetype start = match.capturedStart(2);
        text.replace(start, match.capturedLength(2), decimal);
        position = start + decimal.size();
    }
}

unsigned int hexadecimalValue(const QString& literal)
{
    std::uint32_t value = 0;
    for (qsizetype i = 2; i < literal.size(); ++i) {
        // The pattern admits only hexadecimal digits here; shifting keeps the low 32 bits.
        const std::uint32_t c = literal.at(i).unicode();
        const std::uint32_t digit = c <= '9' ? c - '0' : (c | 0x20u) - 'a' + 10u;
        value = (value << 4) | digit;
    }
    return value;
}

} // namespace

HwIntVar::HwIntVar(const QString& name, const QString& expression, int value)
    : m_expression(expression)
    , m_value(value)
    , m_name(name)
{
}

HwIntVarTable::~HwIntVarTable() = default;

const HwIntVar* HwIntVarTable::find(const QString& name) const
{
    for (const HwIntVar& variable : m_variables) {
        if (variable.getName() == name)
            return &variable;
    }
    return nullptr;
}

QString HwEnum::getEntryName(int index) const
{
    if (index < 0)
        return QStringLiteral("0");
    if (index < getEntryCount())
        return m_entries.at(index);
    return QStringLiteral("%1").arg(index);
}

HwVariableScope::~HwVariableScope() = default;

HwVariableManager::HwVariableManager(HwVariableScope* archive)
    : m_archive(archive)
{
}

HwVariableManager::~HwVariableManager() = default;

HwEnum* HwVariableManager::addEnum(std::unique_ptr<HwEnum> e)
{
    if (!e)
        return nullptr;
    m_enums.push_back(std::move(e));
    return m_enums.back().get();
}

HwEnum* HwVariableManager::getEnumByName(const QString& name) const
{
    QSet<const HwVariableManager*> visited;
    return findEnum(name, visited);
}

HwEnum* HwVariableManager::findEnum(const QString& name, QSet<const HwVariableManager*>& visited) const
{
    // An archive reached twice (two archives including the same one) has nothing new the second time,
    // and a cycle must not loop.
    if (visited.contains(this))
        return nullptr;
    visited.insert(this);
    if (m_archive) {
        for (const HwVariableManager* included : m_archive->getIncludedVariableManagers()) {
            if (!included)
                continue;
            if (HwEnum* found = included->findEnum(name, visited))
                return found;
        }
    }
    for (const std::unique_ptr<HwEnum>& e : m_enums) {
        if (e->getName() == name)
            return e.get();
    }
    return nullptr;
}

int HwVariableManager::evalExpression(
    const QString& name, const QString& expression, QString& errorText, bool& failed) const
{
    if (m_archive)
        return evaluateExpressionWithVariables(
            m_archive->getVisibleVariables(), name, expression, errorText, failed);
    return evaluateExpressionWithVariables(*this, name, expression, errorText, failed);
}

int HwVariableManager::evalExpression(const QString& expression, QString& errorText, bool& failed) const
{
    const int value = evalExpression(internalName, expression, errorText, failed);
    errorText.replace(internalName, expression);
    return value;
}

int HwVariableManager::evalExpressionAndAddVar(const QString& name, const QString& expression,
    const QString& origin, HwEnum* e, QString& errorText, bool& failed)
{
    const int value = evalExpression(name, expression, errorText, failed);
    if (failed)
        return value;
    HwIntVar variable(name, expression, value);
    variable.setEnum(e);
    variable.setOrigin(origin);
    addVar(variable);
    return value;
}

int HwVariableManager::evalExpressionAndAddRange(const QString& name, const QString& fromExpression,
    const QString& toExpression, int direction, const QString& origin, QString& errorText, bool& failed)
{
    const int from = evalExpression(name, fromExpression, errorText, failed);
    if (failed)
        return from;
    const int to = evalExpression(name, toExpression, errorText, failed);
    if (failed)
        return to;
    HwIntVar range(name, fromExpression, from);
    range.setSecondExpression(toExpression);
    range.setSecondValue(to);
    range.setDirection(direction);
    range.setRange(true);
    range.setOrigin(origin);
    addVar(range);
    return from;
}

void CXMLVarCtx::setVariable(const QString& name, int value)
{
    m_values[name.toStdString()] = value;
}

int CXMLVarCtx::getValue(const char* name, variant::Variant& result)
{
    if (name) {
        const auto it = m_values.find(name);
        if (it != m_values.end()) {
            result.setInt(it->second);
            return 1;
        }
    }
    return CExEvCtx::getValue(name, result);
}

int CXMLVarCtx::callFunction(
    const char* name, int argc, const variant::Variant* argv, variant::Variant& result)
{
    if (name && argc == 1 && std::strcmp(name, "exp2") == 0) {
        result.setNull();
        int exponent = 0;
        if (!argv[0].asInt(exponent))
            return 0;
        result.setInt(vellxml::detail::toSigned(1u << (vellxml::detail::toBits(exponent) & 31u)));
        return 1;
    }
    return CExEvCtx::callFunction(name, argc, argv, result);
}

int evaluateExpressionWithVariables(const HwIntVarTable& variables, const QString& name,
    const QString& expression, QString& errorText, bool& failed)
{
    return evaluate(variables, name, expression, errorText, failed);
}

int evaluateExpressionWithVariables(const std::vector<const HwIntVar*>& variables, const QString& name,
    const QString& expression, QString& errorText, bool& failed)
{
    return evaluate(PointerList {variables}, name, expression, errorText, failed);
}

QString hexadecimalPreparseExpression(const QString& expression)
{
    static const QRegularExpression hexadecimal(QStringLiteral("(^|[^A-Za-z0-9_])(0(x|X)[A-Fa-f0-9]+)"));
    static const QRegularExpression binary(QStringLiteral("(^|[^A-Za-z0-9_])(0(b|B)[01]+)"));
    QString text = expression;
    rewriteLiterals(text, hexadecimal, hexadecimalValue);
    rewriteLiterals(text, binary, convertBinaryStringToUnsignedInt);
    return text;
}

unsigned int convertBinaryStringToUnsignedInt(const QString& text)
{
    qsizetype i = 0;
    if (text.size() >= 2 && text.at(0) == QLatin1Char('0')
        && (text.at(1) == QLatin1Char('b') || text.at(1) == QLatin1Char('B')))
        i = 2;
    std::uint32_t value = 0;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != QLatin1Char('0') && c != QLatin1Char('1'))
            break;
        value = (value << 1) | (c == QLatin1Char('1') ? 1u : 0u);
    }
    return value;
}

QString regularizeVariableName(const QString& name)
{
    static const QRegularExpression other(QStringLiteral("[^A-Za-z0-9_]"));
    return name.simplified().replace(other, QStringLiteral("_"));
}
