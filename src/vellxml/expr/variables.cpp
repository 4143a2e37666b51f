#include "int32_p.h"

#include <vellxml/expr/variables.h>

#include <QByteArray>
#include <QRegularExpression>

#include <atomic>
#include <cstring>
#include <string>
#include <string_view>

namespace {

const QString internalName = QStringLiteral("____internal");

// Changes that lookups cannot follow (noteVariablesChanged).
std::atomic<std::uint64_t> generation {1};
// Changes made by shared tables: appends, and includes gained by their archives.
std::atomic<std::uint64_t> sharedChangeCount {0};
// Every append and every include gained, shared or not.
std::atomic<std::uint64_t> appendCount {0};

} // namespace

// Names are kept as UTF-8, the form the evaluator asks for, so that a look-up converts nothing. The views
// point into `names`, whose strings stay in place when the deque grows.
//
// Each name remembers the layer that gave its value: the global variables, then the included archives',
// then the own ones, each hiding the ones before. A variable added later to a layer hides the earlier
// ones of its layer, so an appended variable or a newly included archive is taken in by one insertion
// each, in the order a rebuild would meet them.
struct HwVariableManager::Lookup {
    enum Layer : int { Global = 0, Included = 1, Own = 2 };
    struct Entry {
        int value;
        int layer;
    };

    std::deque<std::string> names;
    std::unordered_map<std::string_view, Entry> values;

    // What the lookup was built from, to tell what changed since.
    std::uint64_t generation = 0;
    std::uint64_t sharedChanges = 0;
    std::uint64_t appends = 0;
    std::uint64_t ownSharedChanges = 0;
    const HwIntVarTable* globals = nullptr;
    int globalCount = 0;
    std::size_t includeCount = 0;
    int ownCount = 0;
    std::unordered_set<const HwVariableScope*> seen;

    Lookup() = default;
    template<typename Variables>
    explicit Lookup(const Variables& variables)
    {
        for (const auto& variable : variables)
            put(variable, Own);
    }

    void put(const HwIntVar& variable, int layer)
    {
        const QByteArray utf8 = variable.getName().toUtf8();
        const std::string_view key(utf8.constData(), static_cast<std::size_t>(utf8.size()));
        const auto it = values.find(key);
        if (it != values.end()) {
            if (it->second.layer <= layer)
                it->second = {variable.getValue(), layer};
            return;
        }
        names.emplace_back(key);
        values.emplace(std::string_view(names.back()), Entry {variable.getValue(), layer});
    }
};

namespace {

// The variables of a prepared lookup, then those of CXMLVarCtx (none) and the evaluator's own.
class LookupContext : public CXMLVarCtx {
public:
    explicit LookupContext(const HwVariableManager::Lookup& lookup)
        : m_lookup(lookup)
    {
    }

    int getValue(const char* name, variant::Variant& result) override
    {
        if (name) {
            const auto it = m_lookup.values.find(std::string_view(name));
            if (it != m_lookup.values.end()) {
                result.setInt(it->second.value);
                return 1;
            }
        }
        return CXMLVarCtx::getValue(name, result);
    }

private:
    const HwVariableManager::Lookup& m_lookup;
};

// The value of an expression that is one plain name ([A-Za-z_][A-Za-z0-9_]*) of a variable the lookup
// holds - an enum entry, a position or count given by name - as the evaluator would find it; null
// otherwise.
const HwVariableManager::Lookup::Entry* plainVariable(
    const HwVariableManager::Lookup& lookup, const QString& expression)
{
    constexpr qsizetype longest = 64;
    const qsizetype length = expression.size();
    if (length == 0 || length > longest)
        return nullptr;
    char name[longest];
    const QChar* const data = expression.constData();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t c = data[i].unicode();
        const bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_';
        if (!letter && (i == 0 || c < u'0' || c > u'9'))
            return nullptr;
        name[i] = static_cast<char>(c);
    }
    const auto it = lookup.values.find(std::string_view(name, static_cast<std::size_t>(length)));
    return it != lookup.values.end() ? &it->second : nullptr;
}

int evaluate(const HwVariableManager::Lookup& lookup, const QString& name, const QString& expression,
    QString& errorText, bool& failed)
{
    if (const HwVariableManager::Lookup::Entry* variable = plainVariable(lookup, expression)) {
        errorText.clear();
        failed = false;
        return variable->value;
    }
    LookupContext context(lookup);
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

void noteVariablesChanged()
{
    generation.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t variablesGeneration()
{
    return generation.load(std::memory_order_relaxed);
}

void HwIntVarTable::append(const HwIntVar& variable)
{
    m_variables.push_back(variable);
    noteSharedChange();
}

void HwIntVarTable::noteSharedChange()
{
    appendCount.fetch_add(1, std::memory_order_relaxed);
    if (m_shared) {
        sharedChangeCount.fetch_add(1, std::memory_order_relaxed);
        ++m_sharedChanges;
    }
}

void HwVariableScope::collectIncludedVariables(
    std::size_t, std::unordered_set<const HwVariableScope*>&, std::vector<const HwIntVar*>&) const
{
}

HwIntVarTable::HwIntVarTable(HwIntVarTable&& other)
    : m_variables(std::move(other.m_variables))
{
    noteVariablesChanged();
}

HwIntVarTable& HwIntVarTable::operator=(const HwIntVarTable& other)
{
    m_variables = other.m_variables;
    noteVariablesChanged();
    return *this;
}

HwIntVarTable& HwIntVarTable::operator=(HwIntVarTable&& other)
{
    m_variables = std::move(other.m_variables);
    noteVariablesChanged();
    return *this;
}

// A manager may still hold a lookup that includes this table's variables.
HwIntVarTable::~HwIntVarTable()
{
    noteVariablesChanged();
}

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

std::shared_ptr<HwVariableManager::Lookup> HwVariableManager::buildLookup() const
{
    auto lookup = std::make_shared<Lookup>();
    // Read the counts before collecting: a change made meanwhile leaves the lookup marked out of date.
    lookup->generation = variablesGeneration();
    lookup->sharedChanges = sharedChangeCount.load(std::memory_order_relaxed);
    lookup->appends = appendCount.load(std::memory_order_relaxed);
    lookup->ownSharedChanges = sharedChanges();
    if (m_archive && !m_archive->hasVisibleParts()) {
        for (const HwIntVar* variable : m_archive->getVisibleVariables())
            lookup->put(*variable, Lookup::Own);
        return lookup;
    }
    if (m_archive) {
        lookup->globals = m_archive->getGlobalVariables();
        if (lookup->globals) {
            for (const HwIntVar& variable : *lookup->globals)
                lookup->put(variable, Lookup::Global);
            lookup->globalCount = lookup->globals->count();
        }
        lookup->includeCount = m_archive->getIncludeCount();
        lookup->seen.insert(m_archive);
        std::vector<const HwIntVar*> included;
        m_archive->collectIncludedVariables(0, lookup->seen, included);
        for (const HwIntVar* variable : included)
            lookup->put(*variable, Lookup::Included);
    }
    for (const HwIntVar& variable : *this)
        lookup->put(variable, Lookup::Own);
    lookup->ownCount = count();
    return lookup;
}

// Takes in what was appended and included since the lookup was made, when that is all that changed.
// False when the lookup must be rebuilt.
bool HwVariableManager::followChanges(Lookup& lookup) const
{
    const std::uint64_t shared = sharedChangeCount.load(std::memory_order_relaxed);
    if (m_archive && !m_archive->hasVisibleParts())
        return false;
    // A shared table other than this one changed: some archive that this one sees, maybe.
    if (shared - lookup.sharedChanges != sharedChanges() - lookup.ownSharedChanges)
        return false;
    const HwIntVarTable* globals = m_archive ? m_archive->getGlobalVariables() : nullptr;
    if (globals != lookup.globals || (globals && globals->count() < lookup.globalCount)
        || count() < lookup.ownCount)
        return false;
    lookup.appends = appendCount.load(std::memory_order_relaxed);
    lookup.sharedChanges = shared;
    lookup.ownSharedChanges = sharedChanges();
    if (globals) {
        for (int i = lookup.globalCount; i < globals->count(); ++i)
            lookup.put(globals->at(i), Lookup::Global);
        lookup.globalCount = globals->count();
    }
    if (m_archive) {
        const std::size_t includes = m_archive->getIncludeCount();
        if (includes < lookup.includeCount)
            return false;
        if (includes > lookup.includeCount) {
            std::vector<const HwIntVar*> included;
            m_archive->collectIncludedVariables(lookup.includeCount, lookup.seen, included);
            for (const HwIntVar* variable : included)
                lookup.put(*variable, Lookup::Included);
            lookup.includeCount = includes;
        }
    }
    for (int i = lookup.ownCount; i < count(); ++i)
        lookup.put(at(i), Lookup::Own);
    lookup.ownCount = count();
    return true;
}

std::shared_ptr<const HwVariableManager::Lookup> HwVariableManager::currentLookup() const
{
    const std::lock_guard<std::mutex> lock(m_lookupMutex);
    if (m_lookup && m_lookup->generation == variablesGeneration()) {
        const bool unchanged = m_lookup->appends == appendCount.load(std::memory_order_relaxed)
            && (!m_archive || !m_archive->hasVisibleParts() || m_archive->getGlobalVariables() == m_lookup->globals);
        if (unchanged)
            return m_lookup;
        // Changed in place only while no evaluation holds it.
        if (m_lookup.use_count() == 1 && followChanges(*m_lookup))
            return m_lookup;
    }
    m_lookup = buildLookup();
    return m_lookup;
}

int HwVariableManager::evalExpression(
    const QString& name, const QString& expression, QString& errorText, bool& failed) const
{
    const std::shared_ptr<const Lookup> lookup = currentLookup();
    return evaluate(*lookup, name, expression, errorText, failed);
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
    return evaluate(HwVariableManager::Lookup(variables), name, expression, errorText, failed);
}

int evaluateExpressionWithVariables(const std::vector<const HwIntVar*>& variables, const QString& name,
    const QString& expression, QString& errorText, bool& failed)
{
    return evaluate(HwVariableManager::Lookup(PointerList {variables}), name, expression, errorText, failed);
}

QString hexadecimalPreparseExpression(const QString& expression)
{
    // Every literal starts with "0x" or "0b" (either case): most expressions have none, and a scan is far
    // cheaper than two pattern searches.
    bool maybeLiteral = false;
    const QChar* const data = expression.constData();
    for (qsizetype i = 0; i + 1 < expression.size() && !maybeLiteral; ++i) {
        if (data[i] == QLatin1Char('0')) {
            const unsigned int next = data[i + 1].unicode() | 0x20u;
            maybeLiteral = next == 'x' || next == 'b';
        }
    }
    if (!maybeLiteral)
        return expression;
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
    const auto isWordCharacter = [](QChar c) {
        const char16_t u = c.unicode();
        return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'_';
    };
    // Most names are identifiers already; they come back shared, without a copy.
    const QChar* const data = name.constData();
    qsizetype end = name.size();
    qsizetype i = 0;
    while (i < end && isWordCharacter(data[i]))
        ++i;
    if (i == end)
        return name;
    // White space as simplified() sees it: trimmed, each inner run one blank, which then becomes '_' like
    // every other character outside [A-Za-z0-9_]. A surrogate pair is one character.
    qsizetype begin = 0;
    while (begin < end && data[begin].isSpace())
        ++begin;
    while (end > begin && data[end - 1].isSpace())
        --end;
    QString out;
    out.reserve(end - begin);
    for (i = begin; i < end; ++i) {
        const QChar c = data[i];
        if (isWordCharacter(c)) {
            out += c;
            continue;
        }
        if (c.isSpace()) {
            while (i + 1 < end && data[i + 1].isSpace())
                ++i;
        } else if (c.isHighSurrogate() && i + 1 < end && data[i + 1].isLowSurrogate()) {
            ++i;
        }
        out += QLatin1Char('_');
    }
    return out;
}
