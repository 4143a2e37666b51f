#ifndef VELLXML_EXPR_VARIABLES_H
#define VELLXML_EXPR_VARIABLES_H

#include <vellxml/expr/evaluator.h>
#include <vellxml/vellxml_export.h>

#include <QSet>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class HwEnum;
class HwVariableManager;

/// Tells the variable managers that a variable's name or value, or the set of variables visible from some
/// archive, may have changed in a way they cannot follow step by step: they rebuild their name lookup
/// before the next evaluation. Records and tables call it themselves for renames, new values, truncation
/// and assignment; a scope calls it when it changes other than by gaining an include (see
/// HwVariableScope). Appended variables and added includes are followed without it.
VELLXML_EXPORT void noteVariablesChanged();
/// A count that noteVariablesChanged() increments (process-wide).
VELLXML_EXPORT std::uint64_t variablesGeneration();

/// One integer variable or range declared by an archive, with the expressions that gave its values.
class VELLXML_EXPORT HwIntVar {
public:
    /// The direction of a range ("up": ascending, "down": descending). Plain variables carry Down.
    enum direction : int { Up = 0, Down = 1 };

    HwIntVar() = default;
    /// A plain variable.
    HwIntVar(const QString& name, const QString& expression, int value);

    const QString& getName() const { return m_name; }
    void setName(const QString& name)
    {
        m_name = name;
        noteVariablesChanged();
    }
    /// The expression of a variable, or the "from" expression of a range.
    const QString& getExpression() const { return m_expression; }
    void setExpression(const QString& expression) { m_expression = expression; }
    /// The "to" expression of a range; empty for a variable.
    const QString& getSecondExpression() const { return m_secondExpression; }
    void setSecondExpression(const QString& expression) { m_secondExpression = expression; }
    /// The value of a variable, or the "from" value of a range.
    int getValue() const { return m_value; }
    void setValue(int value)
    {
        m_value = value;
        noteVariablesChanged();
    }
    /// The "to" value of a range; 0 for a variable.
    int getSecondValue() const { return m_secondValue; }
    void setSecondValue(int value) { m_secondValue = value; }
    int getDirection() const { return m_direction; }
    void setDirection(int value) { m_direction = value; }
    bool isRange() const { return m_isRange != 0; }
    void setRange(bool isRange) { m_isRange = isRange ? 1 : 0; }
    /// The enumeration the value belongs to (not owned), or null.
    HwEnum* getEnum() const { return m_enum; }
    void setEnum(HwEnum* e) { m_enum = e; }
    /// A text the declaring tag attaches, kept as given.
    const QString& getOrigin() const { return m_origin; }
    void setOrigin(const QString& origin) { m_origin = origin; }
    /// Whether the generators write the variable (a `var` with export="no" is for expressions only).
    bool isExported() const { return m_exported; }
    void setExported(bool exported) { m_exported = exported; }

    // C, assembly and VHDL generation (generators/).
    /// The C text of the variable: a "#define" line, or inside an enum (inEnum) a member without line
    /// break; a spacer gives a blank line and its comment.
    QString c_serialize(bool inEnum) const;

private:
    QString m_expression;
    QString m_secondExpression;
    int m_value = 0;
    int m_secondValue = 0;
    int m_direction = Down;
    int m_isRange = 0;
    HwEnum* m_enum = nullptr;
    QString m_name;
    QString m_origin;
    bool m_exported = true;
};

/// An ordered list of variables. Appending copies the record; references to records already in the
/// table stay valid.
class VELLXML_EXPORT HwIntVarTable {
public:
    using const_iterator = std::deque<HwIntVar>::const_iterator;

    HwIntVarTable() = default;
    HwIntVarTable(const HwIntVarTable&) = default;
    HwIntVarTable(HwIntVarTable&& other);
    HwIntVarTable& operator=(const HwIntVarTable& other);
    HwIntVarTable& operator=(HwIntVarTable&& other);
    virtual ~HwIntVarTable();

    /// Appends a copy. The managers that see this table take the new variable into their lookups.
    void append(const HwIntVar& variable);
    /// Drops the variables past the first `count` (a failed load takes back what it declared).
    void truncate(int count)
    {
        if (count >= 0 && static_cast<std::size_t>(count) < m_variables.size()) {
            m_variables.resize(static_cast<std::size_t>(count));
            noteVariablesChanged();
        }
    }
    int count() const { return static_cast<int>(m_variables.size()); }
    bool isEmpty() const { return m_variables.empty(); }
    const HwIntVar& at(int index) const { return m_variables.at(static_cast<std::size_t>(index)); }
    /// A record to change in place: its setters of name and value announce the change themselves.
    HwIntVar& at(int index) { return m_variables.at(static_cast<std::size_t>(index)); }
    /// The first variable of that exact name, or null.
    const HwIntVar* find(const QString& name) const;
    const_iterator begin() const { return m_variables.begin(); }
    const_iterator end() const { return m_variables.end(); }

    /// Marks the table as seen by managers other than its own (its archive is included somewhere): from
    /// then on its changes make those managers look again. Permanent.
    void markShared() { m_shared = true; }
    bool isShared() const { return m_shared; }
    /// How many changes this table made while shared (appends, and includes its archive gained).
    std::uint64_t sharedChanges() const { return m_sharedChanges; }
    /// Counts a change of what the table's archive sees other than an append: an include it gained.
    void noteSharedChange();

private:
    std::deque<HwIntVar> m_variables;
    bool m_shared = false;
    std::uint64_t m_sharedChanges = 0;
};

/// A named enumeration; entries are addressed by position.
class VELLXML_EXPORT HwEnum {
public:
    explicit HwEnum(const QString& name = QString())
        : m_name(name)
    {
    }

    const QString& getName() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    void addEntry(const QString& name) { m_entries.append(name); }
    int getEntryCount() const { return static_cast<int>(m_entries.size()); }
    const QStringList& getEntries() const { return m_entries; }
    /// The entry's name; "0" for a negative index, and the index itself in decimal past the last entry.
    QString getEntryName(int index) const;
    const QString& getComment() const { return m_comment; }
    void setComment(const QString& comment) { m_comment = comment; }

    // C, assembly and VHDL generation (generators/).
    /// The C "typedef enum" of the enum, its members being the variables of the table linked to it.
    QString c_serialize(const HwIntVarTable& variables) const;

private:
    QString m_name;
    QStringList m_entries;
    QString m_comment;
};

/// What a variable manager needs from the archive that owns it. The archive implements it so that the
/// archive's expressions see the variables of the archives it includes, and enum lookups search those
/// archives first. Without it a manager works on its own variables and enums only.
class VELLXML_EXPORT HwVariableScope {
public:
    virtual ~HwVariableScope();

    /// Every variable visible from the archive: its own and those of every archive it includes, directly
    /// or not. When two share a name, the later one in the list is the one expressions see. The manager
    /// keeps what it was given until noteVariablesChanged() is called: a scope whose list changes other
    /// than through a variable table (an include added, a move in the tree) calls it.
    virtual std::vector<const HwIntVar*> getVisibleVariables() const = 0;
    /// The variable managers of the archives that the archive includes directly, in include order.
    virtual std::vector<const HwVariableManager*> getIncludedVariableManagers() const = 0;

    /// Whether the scope describes its visible variables in the parts below, which lets the manager follow
    /// appends and new includes without rebuilding its lookup. getVisibleVariables() must then equal:
    /// the global variables, collectIncludedVariables(0, {this}), the manager's own variables.
    virtual bool hasVisibleParts() const { return false; }
    /// The global variables that the scope sees first, or null.
    virtual const HwIntVarTable* getGlobalVariables() const { return nullptr; }
    /// How many includes the scope has; includes are only ever added at the end.
    virtual std::size_t getIncludeCount() const { return 0; }
    /// Appends the variables of includes `first` onwards, depth first, skipping the scopes in `seen` and
    /// adding those it walks.
    virtual void collectIncludedVariables(std::size_t first, std::unordered_set<const HwVariableScope*>& seen,
        std::vector<const HwIntVar*>& out) const;

protected:
    HwVariableScope() = default;
    HwVariableScope(const HwVariableScope&) = default;
    HwVariableScope& operator=(const HwVariableScope&) = default;
};

/// The variables, ranges and enums declared by one archive, and the evaluation of the archive's
/// expressions against them.
///
/// Evaluation never throws: a failing expression gives the value -1, `failed` set and the message
/// "Error in expression of : <name>".
class VELLXML_EXPORT HwVariableManager : public HwIntVarTable {
public:
    explicit HwVariableManager(HwVariableScope* archive = nullptr);
    ~HwVariableManager();
    HwVariableManager(const HwVariableManager&) = delete;
    HwVariableManager& operator=(const HwVariableManager&) = delete;

    /// The owning archive (not owned), or null while it is not known.
    HwVariableScope* getArchive() const { return m_archive; }
    void setArchive(HwVariableScope* archive)
    {
        m_archive = archive;
        noteVariablesChanged();
    }

    /// Appends to the own variables; names are not checked (see hasVariable).
    void addVar(const HwIntVar& variable) { append(variable); }
    /// Whether an own variable has exactly this name.
    bool hasVariable(const QString& name) const { return find(name) != nullptr; }

    /// Takes the enum; returns it for the variables that will refer to it.
    HwEnum* addEnum(std::unique_ptr<HwEnum> e);
    const std::vector<std::unique_ptr<HwEnum>>& getEnums() const { return m_enums; }
    /// Searches the managers of the included archives first, in include order and each with its own
    /// includes before its own enums, then the own enums in declaration order. Null when none matches.
    HwEnum* getEnumByName(const QString& name) const;

    /// Evaluates `expression` against the variables visible from the owning archive (the own ones when
    /// no archive is set). `name` names the expression in the error text.
    int evalExpression(
        const QString& name, const QString& expression, QString& errorText, bool& failed) const;
    /// As above; the error text names the expression itself.
    int evalExpression(const QString& expression, QString& errorText, bool& failed) const;
    /// Evaluates and, on success only, appends a variable; returns its value.
    int evalExpressionAndAddVar(const QString& name, const QString& expression, const QString& origin,
        HwEnum* e, QString& errorText, bool& failed);
    /// Evaluates both bounds and, when both succeed, appends a range; returns the "from" value.
    int evalExpressionAndAddRange(const QString& name, const QString& fromExpression,
        const QString& toExpression, int direction, const QString& origin, QString& errorText, bool& failed);

    /// The name-to-value lookup that evaluations use; opaque outside the expression engine.
    struct Lookup;

private:
    HwEnum* findEnum(const QString& name, QSet<const HwVariableManager*>& visited) const;
    std::shared_ptr<const Lookup> currentLookup() const;
    std::shared_ptr<Lookup> buildLookup() const;
    bool followChanges(Lookup& lookup) const;

    std::vector<std::unique_ptr<HwEnum>> m_enums;
    HwVariableScope* m_archive = nullptr;
    // Evaluations are the loader's most frequent operation and the root archive of a chip sees more than a
    // thousand variables: the lookup is built once, then follows appended variables and added includes one
    // by one, and is rebuilt only after noteVariablesChanged() or a change it cannot follow.
    mutable std::mutex m_lookupMutex;
    mutable std::shared_ptr<Lookup> m_lookup;
};

/// An evaluation context whose identifiers are integer variables. It adds the function exp2(n), 2 to the
/// power of the low 5 bits of n as an Int.
class VELLXML_EXPORT CXMLVarCtx : public cexev::CExEvCtx {
public:
    /// Binds `name` to `value`, replacing an earlier binding of the same name.
    void setVariable(const QString& name, int value);

    int getValue(const char* name, variant::Variant& result) override;
    int callFunction(
        const char* name, int argc, const variant::Variant* argv, variant::Variant& result) override;

private:
    std::unordered_map<std::string, int> m_values;
};

/// Evaluates an archive expression: hexadecimal and binary literals are rewritten to decimal, identifiers
/// take the values of `variables` (a later variable of a name hides an earlier one). On failure returns
/// -1 with `failed` set and `errorText` "Error in expression of : <name>"; on success the value (a Real
/// floored, a result without an integer value such as a String gives 0), `failed` false and `errorText`
/// empty.
VELLXML_EXPORT int evaluateExpressionWithVariables(const HwIntVarTable& variables, const QString& name,
    const QString& expression, QString& errorText, bool& failed);
VELLXML_EXPORT int evaluateExpressionWithVariables(const std::vector<const HwIntVar*>& variables,
    const QString& name, const QString& expression, QString& errorText, bool& failed);

/// Rewrites each hexadecimal literal (0x...) and then each binary literal (0b...) that does not follow a
/// letter, digit or '_' into its unsigned decimal text, keeping the low 32 bits of its value.
VELLXML_EXPORT QString hexadecimalPreparseExpression(const QString& expression);

/// The binary digits after an optional 0b/0B prefix, most significant first, up to the first other
/// character; only the low 32 bits (the last 32 digits) are kept.
VELLXML_EXPORT unsigned int convertBinaryStringToUnsignedInt(const QString& text);

/// White space simplified, then every character other than a letter, digit or '_' replaced by '_'.
VELLXML_EXPORT QString regularizeVariableName(const QString& name);

#endif
