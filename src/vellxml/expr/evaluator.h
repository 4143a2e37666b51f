#ifndef VELLXML_EXPR_EVALUATOR_H
#define VELLXML_EXPR_EVALUATOR_H

#include <vellxml/expr/variant.h>
#include <vellxml/vellxml_export.h>

#include <cstddef>
#include <memory>
#include <string>

namespace cexev {

/// The evaluation context: which characters form identifiers, what identifiers are worth, and how
/// operators and functions are computed. Derive from it to give identifiers values (archive variables)
/// or to add functions; the defaults know only "pi" and the function sin.
class VELLXML_EXPORT CExEvCtx {
public:
    /// An operator or function implementation: `argc` arguments in `argv`, the value in `result`.
    /// Returns nonzero when it could compute a value for these arguments.
    using Handler = int (*)(int argc, const variant::Variant* argv, variant::Variant& result);

    /// One row of an operator or function table; a row with a null name ends the table.
    ///
    /// The signature's first character names the result kind and is not checked; each further character
    /// is the type character an argument must have ('?' accepts any kind, '*' accepts all remaining
    /// arguments). A row also accepts fewer arguments than it lists, never more.
    struct SFunctionDef {
        const char* name;
        const char* signature;
        const char* description;
        Handler handler;
    };

    /// Operators, searched in order so that the first row whose name and signature match wins: unary
    /// forms come first, then string concatenation, then the numeric forms.
    static const SFunctionDef m_stdOpDef[];
    /// Functions known to every context: sin.
    static const SFunctionDef m_stdFuncDef[];

    CExEvCtx() = default;
    virtual ~CExEvCtx();

    /// ASCII letters and '_'.
    virtual int isValidIdentStartChar(int ch);
    /// Identifier start characters, digits and ".:?", so that a.b, x:y and c? are single identifiers.
    virtual int isValidIdentChar(int ch);
    /// The value of an identifier: "pi" only by default. Sets `result` to Null and fails otherwise.
    virtual int getValue(const char* name, variant::Variant& result);
    virtual int callFunction(
        const char* name, int argc, const variant::Variant* argv, variant::Variant& result);
    virtual int callOperator(
        const char* name, int argc, const variant::Variant* argv, variant::Variant& result);

    /// Calls the first row of `table` that matches `name` and the arguments' kinds. `result` is set to
    /// Null first; returns 0 when no row matches, else the handler's result.
    static int doCallFunction(const SFunctionDef* table, const char* name, int argc,
        const variant::Variant* argv, variant::Variant& result);

    /// The binding strength of a binary operator (10 for * / % down to 1 for ||); 0 for any other name.
    static int operatorPriority(const char* name);
};

class CExEv;

/// One token of an expression: its value (a constant's value, or the text of an identifier, operator or
/// function name) and its kind. The evaluator chains tokens into its stack and free list.
class VELLXML_EXPORT CExEv_Token : public variant::Variant {
public:
    enum Kind : int {
        TK_NULL = 0,
        TK_UNKNOWN = 1,
        TK_CONST = 0x101,
        TK_IDENT = 0x102,
        TK_OPAREN = 0x201,
        TK_CPAREN = 0x202,
        TK_COMMA = 0x301,
        TK_OPERATOR = 0x401,
        TK_FUNC = 0x402,
    };

    CExEv_Token() = default;
    /// Destroys the tokens chained behind this one iteratively, so that a chain of any length is safe.
    ~CExEv_Token() override;
    CExEv_Token(const CExEv_Token&) = delete;
    CExEv_Token& operator=(const CExEv_Token&) = delete;

    int getKind() const { return m_kind; }
    void setKind(int kind) { m_kind = kind; }
    /// Kind NULL and a Null value.
    void clear();
    /// A readable form for debugging, e.g. "<CONST>[14]", "<OPERATOR>+", "<IDENT>[pi]".
    void dump(std::string& out) const;

private:
    friend class CExEv;

    int m_kind = TK_NULL;
    std::unique_ptr<CExEv_Token> m_next;
};

/// The infix expression evaluator.
///
/// Numbers are decimal (an Int, or a DWORD when above INT_MAX; a dot or exponent makes a Real),
/// 'c' is a character code, "text" a String; operators are those of C without assignment, with C's
/// priorities; identifiers and functions are resolved through the context. Unary operators bind
/// loosely: a leading unary operator applies to everything up to the next pending binary reduction, so
/// "-1 + 2" is -3 while "-1 * 2 + 3" is 1; a unary operator directly after a binary one is refused.
/// Equal priorities group left to right.
class VELLXML_EXPORT CExEv : public CExEvCtx {
public:
    enum ErrorCode : int {
        ERR_NONE = 0,
        ERR_SYNTAX = 1, ///< bad character, bad escape, bad number, or no single value at the end
        ERR_NO_TOKEN = 2, ///< no memory for a token
        ERR_UNKNOWN_TOKEN = 4, ///< the tokenizer returned a token it could not classify
        ERR_NO_VALUE = 5, ///< an identifier the context has no value for
        ERR_MISPLACED = 6, ///< a token where the grammar does not allow it
        ERR_OPERATION = 7, ///< a binary operator or a function refused its arguments
        ERR_UNARY = 8, ///< a unary operator refused its argument
        ERR_UNCLOSED = 9, ///< an opening parenthesis without its closing one
    };

    /// Evaluates with itself as context.
    CExEv();
    /// Evaluates with `context` (not owned) giving identifiers, functions and operators.
    explicit CExEv(CExEvCtx* context);
    ~CExEv() override;
    CExEv(const CExEv&) = delete;
    CExEv& operator=(const CExEv&) = delete;

    /// Evaluates `text` (null counts as empty). Returns 0 and the value in `result`, or the first error
    /// code met, with `result` Null.
    int evalExpression(const char* text, variant::Variant& result);

    /// Drops the text and every token; resets the error.
    void clear();
    /// Records `code` unless an error is already recorded; returns the recorded code.
    int setError(int code);
    int getError() const { return m_error; }

protected:
    /// Reads the next token into the current token and returns its kind; NULL at the end of the text.
    /// Derived evaluators may extend the syntax. A token left UNKNOWN without an error is refused with
    /// ERR_UNKNOWN_TOKEN.
    virtual int getNextToken();
    /// A cleared token to fill, made the current token; null when no memory is left (ERR_NO_TOKEN set).
    CExEv_Token* newToken();
    /// The token that getNextToken filled last, or null.
    CExEv_Token* currentToken() const { return m_current.get(); }

    std::string m_text;
    std::size_t m_pos = 0;

private:
    void pushCurrent();
    void pushToken(std::unique_ptr<CExEv_Token> token);
    std::unique_ptr<CExEv_Token> popToken();
    void recycle(std::unique_ptr<CExEv_Token> token);
    bool pendingBinary() const;
    // Returns true when the expression is complete.
    bool reduce(int incomingKind, int incomingPriority);
    int readNumber(CExEv_Token& token);
    int readCharacter(CExEv_Token& token);
    int readString(CExEv_Token& token);
    int readEscape(char& out);

    std::unique_ptr<CExEv_Token> m_stack;
    std::unique_ptr<CExEv_Token> m_free;
    std::unique_ptr<CExEv_Token> m_current;
    int m_error = ERR_NONE;
    CExEvCtx* m_context;
    std::string m_buffer;
};

} // namespace cexev

#endif
