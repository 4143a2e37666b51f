#include "clocale_p.h"
#include "int32_p.h"

#include <vellxml/expr/evaluator.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace cexev {

using variant::Variant;
using vellxml::detail::toBits;
using vellxml::detail::toSigned;

namespace {

bool isNumericKind(const Variant& v)
{
    const int t = v.getType();
    return t == Variant::Bool || t == Variant::Int || t == Variant::DWORD || t == Variant::Real;
}

int opUnaryPlus(int argc, const Variant* argv, Variant& result)
{
    if (argc != 1 || !isNumericKind(argv[0]))
        return 0;
    result = argv[0];
    return 1;
}

int opUnaryMinus(int argc, const Variant* argv, Variant& result)
{
    if (argc != 1)
        return 0;
    const Variant& x = argv[0];
    switch (x.getType()) {
    case Variant::Int:
        result.setInt(toSigned(0u - toBits(x.getInt()))); // -INT_MIN wraps to INT_MIN
        return 1;
    case Variant::DWORD:
        result.setDWORD(0u - x.getDWORD());
        return 1;
    case Variant::Real:
        result.setReal(-x.getReal());
        return 1;
    case Variant::Bool:
        result.setInt(-x.getBool());
        return 1;
    default:
        return 0;
    }
}

int opUnaryBitNot(int argc, const Variant* argv, Variant& result)
{
    if (argc != 1)
        return 0;
    const Variant& x = argv[0];
    if (x.getType() == Variant::Int)
        result.setInt(~x.getInt());
    else if (x.getType() == Variant::DWORD)
        result.setDWORD(~x.getDWORD());
    else
        return 0;
    return 1;
}

int opUnaryLogNot(int argc, const Variant* argv, Variant& result)
{
    if (argc != 1)
        return 0;
    const Variant& x = argv[0];
    switch (x.getType()) {
    case Variant::Int:
        result.setBool(x.getInt() == 0);
        return 1;
    case Variant::DWORD:
        result.setBool(x.getDWORD() == 0);
        return 1;
    case Variant::Real:
        result.setBool(x.getReal() == 0.0);
        return 1;
    case Variant::Bool:
        result.setBool(!x.getBool());
        return 1;
    default:
        return 0;
    }
}

int opPlusS_S(int argc, const Variant* argv, Variant& result)
{
    if (argc != 2 || argv[1].getType() != Variant::String)
        return 0;
    std::string text;
    argv[0].asString(text);
    if (const char* right = argv[1].getString())
        text += right;
    result.setString(text.c_str());
    return 1;
}

int opPlusSS_(int argc, const Variant* argv, Variant& result)
{
    if (argc != 2 || argv[0].getType() != Variant::String)
        return 0;
    std::string right;
    argv[1].asString(right);
    std::string text = argv[0].getString() ? argv[0].getString() : "";
    text += right;
    result.setString(text.c_str());
    return 1;
}

template<int (*Operation)(const Variant&, const Variant&, Variant&)>
int binary(int argc, const Variant* argv, Variant& result)
{
    return argc == 2 ? Operation(argv[0], argv[1], result) : 0;
}

int fnSin(int argc, const Variant* argv, Variant& result)
{
    double x = 0.0;
    if (argc != 1 || !argv[0].asReal(x))
        return 0;
    result.setReal(std::sin(x));
    return 1;
}

// A row accepts the arguments when each one has the kind its signature character asks for; the check
// ends when the arguments run out or at a '*'.
bool signatureMatches(const char* signature, int argc, const Variant* argv)
{
    const char* p = *signature ? signature + 1 : signature;
    for (int i = 0; i < argc; ++i, ++p) {
        if (*p == '\0')
            return false;
        if (*p == '*')
            return true;
        if (*p != '?' && *p != argv[i].getTypeChar())
            return false;
    }
    return true;
}

struct OperatorPriority {
    const char* name;
    int priority;
};

const OperatorPriority m_opPriority[] = {
    {"*", 10},
    {"/", 10},
    {"%", 10},
    {"+", 9},
    {"-", 9},
    {"<<", 8},
    {">>", 8},
    {"<", 7},
    {">", 7},
    {"<=", 7},
    {">=", 7},
    {"==", 6},
    {"!=", 6},
    {"&", 5},
    {"^", 4},
    {"|", 3},
    {"&&", 2},
    {"||", 1},
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

const CExEvCtx::SFunctionDef CExEvCtx::m_stdOpDef[] = {
    {"+", "??", "Unary plus", opUnaryPlus},
    {"-", "??", "Unary minus", opUnaryMinus},
    {"~", "??", "Unary bitnot", opUnaryBitNot},
    {"!", "??", "Unary not", opUnaryLogNot},
    {"+", "S?S", "Append string", opPlusS_S},
    {"+", "SS?", "Append to string", opPlusSS_},
    {"*", "???", "Mul", binary<Variant::MUL>},
    {"/", "???", "Div", binary<Variant::DIV>},
    {"%", "???", "Mod", binary<Variant::MOD>},
    {"+", "???", "Add", binary<Variant::ADD>},
    {"-", "???", "Sub", binary<Variant::SUB>},
    {"<<", "???", "Bitleft", binary<Variant::BITLEFT>},
    {">>", "???", "Bitright", binary<Variant::BITRIGHT>},
    {"<", "???", "LT", binary<Variant::LT>},
    {">", "???", "GT", binary<Variant::GT>},
    {"<=", "???", "LE", binary<Variant::LE>},
    {">=", "???", "GE", binary<Variant::GE>},
    {"==", "???", "EQ", binary<Variant::EQ>},
    {"!=", "???", "NE", binary<Variant::NE>},
    {"&", "???", "BitAnd", binary<Variant::BITAND>},
    {"^", "???", "BitXor", binary<Variant::BITXOR>},
    {"|", "???", "BitOr", binary<Variant::BITOR>},
    {"&&", "???", "LogAnd", binary<Variant::LOGAND>},
    {"||", "???", "LogOr", binary<Variant::LOGOR>},
    {nullptr, nullptr, nullptr, nullptr},
};

const CExEvCtx::SFunctionDef CExEvCtx::m_stdFuncDef[] = {
    {"sin", "R?", "Sinus", fnSin},
    {nullptr, nullptr, nullptr, nullptr},
};

CExEvCtx::~CExEvCtx() = default;

int CExEvCtx::isValidIdentStartChar(int ch)
{
    return (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') || ch == '_';
}

int CExEvCtx::isValidIdentChar(int ch)
{
    // The default set, also for contexts that only change where identifiers start.
    return CExEvCtx::isValidIdentStartChar(ch) || (ch >= '0' && ch <= '9') || ch == '.' || ch == ':'
        || ch == '?';
}

int CExEvCtx::getValue(const char* name, Variant& result)
{
    if (name && std::strcmp(name, "pi") == 0) {
        result.setReal(3.141592653);
        return 1;
    }
    result.setNull();
    return 0;
}

int CExEvCtx::callFunction(const char* name, int argc, const Variant* argv, Variant& result)
{
    return doCallFunction(m_stdFuncDef, name, argc, argv, result);
}

int CExEvCtx::callOperator(const char* name, int argc, const Variant* argv, Variant& result)
{
    return doCallFunction(m_stdOpDef, name, argc, argv, result);
}

int CExEvCtx::doCallFunction(
    const SFunctionDef* table, const char* name, int argc, const Variant* argv, Variant& result)
{
    result.setNull();
    if (!table || !name)
        return 0;
    for (const SFunctionDef* row = table; row->name; ++row) {
        if (std::strcmp(row->name, name) == 0 && signatureMatches(row->signature, argc, argv))
            return row->handler(argc, argv, result);
    }
    return 0;
}

int CExEvCtx::operatorPriority(const char* name)
{
    if (!name)
        return 0;
    for (const OperatorPriority& row : m_opPriority) {
        if (std::strcmp(row.name, name) == 0)
            return row.priority;
    }
    return 0;
}

CExEv_Token::~CExEv_Token()
{
    // Unlink one node at a time: letting each unique_ptr destroy its successor would recurse once per
    // token and overflow the stack on long expressions.
    std::unique_ptr<CExEv_Token> next = std::move(m_next);
    while (next)
        next = std::move(next->m_next);
}

void CExEv_Token::clear()
{
    m_kind = TK_NULL;
    setNull();
}

void CExEv_Token::dump(std::string& out) const
{
    std::string value;
    asString(value);
    switch (m_kind) {
    case TK_NULL:
        out = "<NULL>";
        break;
    case TK_UNKNOWN:
        out = "<UNKNOWN>";
        break;
    case TK_CONST:
        out = "<CONST>[" + value + "]";
        break;
    case TK_IDENT:
        out = "<IDENT>[" + value + "]";
        break;
    case TK_OPAREN:
        out = "<OPAREN>(";
        break;
    case TK_CPAREN:
        out = "<CPAREN>)";
        break;
    case TK_COMMA:
        out = "<COMMA>,";
        break;
    case TK_OPERATOR:
        out = "<OPERATOR>" + value;
        break;
    case TK_FUNC:
        out = "<FUNC>" + value;
        break;
    default:
        out = "<Impossible!>";
        break;
    }
}

CExEv::CExEv()
    : m_context(this)
{
}

CExEv::CExEv(CExEvCtx* context)
    : m_context(context ? context : this)
{
}

CExEv::~CExEv() = default;

void CExEv::clear()
{
    m_text.clear();
    m_pos = 0;
    m_stack.reset();
    m_free.reset();
    m_current.reset();
    m_buffer.clear();
    m_error = ERR_NONE;
}

int CExEv::setError(int code)
{
    if (m_error == ERR_NONE)
        m_error = code;
    return m_error;
}

CExEv_Token* CExEv::newToken()
{
    if (!m_current) {
        if (m_free) {
            m_current = std::move(m_free);
            m_free = std::move(m_current->m_next);
        } else {
            m_current.reset(new (std::nothrow) CExEv_Token);
            if (!m_current) {
                setError(ERR_NO_TOKEN);
                return nullptr;
            }
        }
    }
    m_current->clear();
    return m_current.get();
}

void CExEv::pushToken(std::unique_ptr<CExEv_Token> token)
{
    token->m_next = std::move(m_stack);
    m_stack = std::move(token);
}

void CExEv::pushCurrent()
{
    pushToken(std::move(m_current));
}

std::unique_ptr<CExEv_Token> CExEv::popToken()
{
    std::unique_ptr<CExEv_Token> token = std::move(m_stack);
    m_stack = std::move(token->m_next);
    return token;
}

void CExEv::recycle(std::unique_ptr<CExEv_Token> token)
{
    token->clear();
    token->m_next = std::move(m_free);
    m_free = std::move(token);
}

int CExEv::readEscape(char& out)
{
    // m_pos is on the backslash.
    static const char letters[] = "\\'\"tnrba";
    static const char values[] = "\\'\"\t\n\r\b\a";
    const char letter = m_text[m_pos + 1];
    const char* found = letter ? std::strchr(letters, letter) : nullptr;
    if (!found)
        return 0;
    out = values[found - letters];
    m_pos += 2;
    return 1;
}

int CExEv::readNumber(CExEv_Token& token)
{
    const std::size_t start = m_pos;
    const bool leadingDot = m_text[m_pos] == '.';
    bool dot = false;
    bool digits = false;
    while (isDigit(m_text[m_pos]) || m_text[m_pos] == '.') {
        if (m_text[m_pos] == '.') {
            if (dot) {
                if (leadingDot) {
                    setError(ERR_SYNTAX);
                    token.setKind(CExEv_Token::TK_UNKNOWN);
                    return CExEv_Token::TK_UNKNOWN;
                }
                break; // a second dot ends the number
            }
            dot = true;
        } else {
            digits = true;
        }
        ++m_pos;
    }
    if (!digits) {
        setError(ERR_SYNTAX);
        token.setKind(CExEv_Token::TK_UNKNOWN);
        return CExEv_Token::TK_UNKNOWN;
    }
    bool exponent = false;
    if (m_text[m_pos] == 'e' || m_text[m_pos] == 'E') {
        exponent = true;
        ++m_pos;
        if (m_text[m_pos] == '+' || m_text[m_pos] == '-')
            ++m_pos;
        for (int n = 0; n < 3 && isDigit(m_text[m_pos]); ++n)
            ++m_pos;
    }
    token.setKind(CExEv_Token::TK_CONST);
    if (dot || exponent) {
        const std::string literal = m_text.substr(start, m_pos - start);
        vellxml::detail::CLocaleScope cLocale;
        token.setReal(std::strtod(literal.c_str(), nullptr));
        return CExEv_Token::TK_CONST;
    }
    // Decimal integers keep their low 32 bits; above INT_MAX they are DWORDs.
    std::uint32_t value = 0;
    bool aboveInt = false;
    for (std::size_t i = start; i < m_pos; ++i) {
        const auto digit = static_cast<std::uint32_t>(m_text[i] - '0');
        if (!aboveInt && (std::uint64_t(value) * 10u + digit) > 0x7FFFFFFFu)
            aboveInt = true;
        value = value * 10u + digit;
    }
    if (aboveInt)
        token.setDWORD(value);
    else
        token.setInt(toSigned(value));
    return CExEv_Token::TK_CONST;
}

int CExEv::readCharacter(CExEv_Token& token)
{
    ++m_pos; // the opening quote
    char ch = m_text[m_pos];
    bool ok = true;
    if (ch == '\\')
        ok = readEscape(ch) != 0;
    else if (ch == '\0' || ch == '\'')
        ok = false;
    else
        ++m_pos;
    if (!ok || m_text[m_pos] != '\'') {
        setError(ERR_SYNTAX);
        token.setKind(CExEv_Token::TK_UNKNOWN);
        return CExEv_Token::TK_UNKNOWN;
    }
    ++m_pos;
    token.setInt(static_cast<signed char>(ch));
    token.setKind(CExEv_Token::TK_CONST);
    return CExEv_Token::TK_CONST;
}

int CExEv::readString(CExEv_Token& token)
{
    ++m_pos; // the opening double quote
    m_buffer.clear();
    for (;;) {
        char ch = m_text[m_pos];
        if (ch == '"') {
            ++m_pos;
            break;
        }
        bool ok = ch != '\0';
        if (ch == '\\')
            ok = readEscape(ch) != 0; // also moves past the escape
        else if (ok)
            ++m_pos;
        if (!ok) {
            setError(ERR_SYNTAX);
            token.setKind(CExEv_Token::TK_UNKNOWN);
            return CExEv_Token::TK_UNKNOWN;
        }
        m_buffer += ch;
    }
    token.setString(m_buffer.c_str());
    token.setKind(CExEv_Token::TK_CONST);
    return CExEv_Token::TK_CONST;
}

int CExEv::getNextToken()
{
    CExEv_Token* token = newToken();
    if (!token)
        return CExEv_Token::TK_NULL;
    while (isBlank(m_text[m_pos]))
        ++m_pos;
    const char c = m_text[m_pos];
    auto single = [&](int kind) {
        ++m_pos;
        token->setKind(kind);
        return kind;
    };
    switch (c) {
    case '\0':
        return CExEv_Token::TK_NULL;
    case '(':
        return single(CExEv_Token::TK_OPAREN);
    case ')':
        return single(CExEv_Token::TK_CPAREN);
    case ',':
        return single(CExEv_Token::TK_COMMA);
    case '\'':
        return readCharacter(*token);
    case '"':
        return readString(*token);
    default:
        break;
    }
    if (isDigit(c) || c == '.')
        return readNumber(*token);

    const auto uc = [](char ch) { return static_cast<int>(static_cast<unsigned char>(ch)); };
    if (m_context->isValidIdentStartChar(uc(c))) {
        const std::size_t start = m_pos++;
        while (m_text[m_pos] && m_context->isValidIdentChar(uc(m_text[m_pos])))
            ++m_pos;
        token->setString(m_text.substr(start, m_pos - start).c_str());
        token->setKind(CExEv_Token::TK_IDENT);
        return CExEv_Token::TK_IDENT;
    }

    // Operators, longest match first.
    const char next = m_text[m_pos + 1];
    const char* op = nullptr;
    switch (c) {
    case '!':
        op = next == '=' ? "!=" : "!";
        break;
    case '&':
        op = next == '&' ? "&&" : "&";
        break;
    case '|':
        op = next == '|' ? "||" : "|";
        break;
    case '<':
        op = next == '<' ? "<<" : (next == '=' ? "<=" : "<");
        break;
    case '>':
        op = next == '>' ? ">>" : (next == '=' ? ">=" : ">");
        break;
    case '=':
        op = next == '=' ? "==" : nullptr;
        break;
    case '%':
        op = "%";
        break;
    case '*':
        op = "*";
        break;
    case '+':
        op = "+";
        break;
    case '-':
        op = "-";
        break;
    case '/':
        op = "/";
        break;
    case '^':
        op = "^";
        break;
    case '~':
        op = "~";
        break;
    default:
        break;
    }
    if (!op) {
        setError(ERR_SYNTAX);
        token->setKind(CExEv_Token::TK_UNKNOWN);
        return CExEv_Token::TK_UNKNOWN;
    }
    m_pos += std::strlen(op);
    token->setString(op);
    token->setKind(CExEv_Token::TK_OPERATOR);
    return CExEv_Token::TK_OPERATOR;
}

bool CExEv::pendingBinary() const
{
    const CExEv_Token* top = m_stack.get();
    const CExEv_Token* op = top ? top->m_next.get() : nullptr;
    const CExEv_Token* left = op ? op->m_next.get() : nullptr;
    return top && top->m_kind == CExEv_Token::TK_CONST && op && op->m_kind == CExEv_Token::TK_OPERATOR && left
        && left->m_kind == CExEv_Token::TK_CONST;
}

bool CExEv::reduce(int incomingKind, int incomingPriority)
{
    for (;;) {
        CExEv_Token* top = m_stack.get();
        if (!top) {
            setError(ERR_SYNTAX);
            return false;
        }
        if (top->m_kind == CExEv_Token::TK_FUNC) {
            if (incomingKind != CExEv_Token::TK_CPAREN) {
                setError(ERR_MISPLACED);
                return false;
            }
            Variant value;
            if (!m_context->callFunction(top->getString(), 0, nullptr, value)) {
                setError(ERR_OPERATION);
                return false;
            }
            static_cast<Variant&>(*top) = std::move(value);
            top->m_kind = CExEv_Token::TK_CONST;
            return false;
        }
        if (top->m_kind != CExEv_Token::TK_CONST) {
            setError(ERR_MISPLACED);
            return false;
        }
        CExEv_Token* below = top->m_next.get();
        if (!below) {
            if (incomingKind != CExEv_Token::TK_OPERATOR)
                setError(ERR_SYNTAX);
            return false;
        }
        switch (below->m_kind) {
        case CExEv_Token::TK_OPERATOR: {
            const CExEv_Token* left = below->m_next.get();
            if (!left || left->m_kind != CExEv_Token::TK_CONST) {
                // A unary operator applies as soon as a reduction reaches it, whatever comes next.
                std::unique_ptr<CExEv_Token> operand = popToken();
                const Variant argument(std::move(static_cast<Variant&>(*operand)));
                Variant value;
                if (!m_context->callOperator(m_stack->getString(), 1, &argument, value)) {
                    setError(ERR_UNARY);
                    return false;
                }
                static_cast<Variant&>(*m_stack) = std::move(value);
                m_stack->m_kind = CExEv_Token::TK_CONST;
                recycle(std::move(operand));
                continue;
            }
            if (incomingPriority > operatorPriority(below->getString()))
                return false;
            std::unique_ptr<CExEv_Token> right = popToken();
            std::unique_ptr<CExEv_Token> op = popToken();
            const Variant arguments[2] = {
                std::move(static_cast<Variant&>(*m_stack)), std::move(static_cast<Variant&>(*right))};
            Variant value;
            if (!m_context->callOperator(op->getString(), 2, arguments, value)) {
                setError(ERR_OPERATION);
                return false;
            }
            static_cast<Variant&>(*m_stack) = std::move(value);
            recycle(std::move(right));
            recycle(std::move(op));
            continue;
        }
        case CExEv_Token::TK_OPAREN:
            if (incomingKind == CExEv_Token::TK_CPAREN) {
                std::unique_ptr<CExEv_Token> value = popToken();
                recycle(popToken());
                pushToken(std::move(value));
            } else if (incomingKind == CExEv_Token::TK_NULL) {
                setError(ERR_UNCLOSED);
            }
            return false;
        case CExEv_Token::TK_FUNC: {
            if (incomingKind != CExEv_Token::TK_CPAREN) {
                setError(ERR_MISPLACED);
                return false;
            }
            std::unique_ptr<CExEv_Token> operand = popToken();
            const Variant argument(std::move(static_cast<Variant&>(*operand)));
            Variant value;
            if (!m_context->callFunction(m_stack->getString(), 1, &argument, value)) {
                setError(ERR_OPERATION);
                return false;
            }
            static_cast<Variant&>(*m_stack) = std::move(value);
            m_stack->m_kind = CExEv_Token::TK_CONST;
            recycle(std::move(operand));
            return false;
        }
        case CExEv_Token::TK_NULL:
            if (incomingKind == CExEv_Token::TK_NULL)
                return true;
            if (incomingKind == CExEv_Token::TK_CPAREN)
                setError(ERR_MISPLACED);
            return false;
        default:
            // Functions take one argument: a value after a comma is never reduced.
            setError(ERR_MISPLACED);
            return false;
        }
    }
}

int CExEv::evalExpression(const char* text, Variant& result)
{
    result.setNull();
    clear();
    m_text = text ? text : "";
    if (!newToken())
        return m_error;
    pushCurrent(); // the bottom of the stack: a NULL token

    while (m_error == ERR_NONE) {
        const int kind = getNextToken();
        if (m_error != ERR_NONE)
            break;
        if (!m_current) {
            setError(ERR_NO_TOKEN);
            break;
        }
        if (kind == CExEv_Token::TK_UNKNOWN) {
            setError(ERR_UNKNOWN_TOKEN);
            break;
        }
        CExEv_Token* top = m_stack.get();
        if (top->m_kind == CExEv_Token::TK_IDENT) {
            if (kind == CExEv_Token::TK_OPAREN) {
                top->m_kind = CExEv_Token::TK_FUNC; // the parenthesis opens its argument list
                continue;
            }
            Variant value;
            if (!m_context->getValue(top->getString(), value)) {
                setError(ERR_NO_VALUE);
                break;
            }
            static_cast<Variant&>(*top) = std::move(value);
            top->m_kind = CExEv_Token::TK_CONST;
        }
        const int topKind = top->m_kind;
        const bool afterOpening = topKind == CExEv_Token::TK_NULL || topKind == CExEv_Token::TK_OPAREN
            || topKind == CExEv_Token::TK_COMMA || topKind == CExEv_Token::TK_FUNC;

        switch (kind) {
        case CExEv_Token::TK_CONST:
        case CExEv_Token::TK_IDENT:
        case CExEv_Token::TK_OPAREN:
            if (afterOpening || topKind == CExEv_Token::TK_OPERATOR)
                pushCurrent();
            else
                setError(ERR_MISPLACED);
            break;
        case CExEv_Token::TK_CPAREN:
            if (topKind == CExEv_Token::TK_CONST || topKind == CExEv_Token::TK_FUNC)
                reduce(kind, 0);
            else
                setError(ERR_MISPLACED);
            break;
        case CExEv_Token::TK_OPERATOR:
            if (afterOpening) {
                pushCurrent(); // unary
            } else if (topKind == CExEv_Token::TK_CONST) {
                if (pendingBinary())
                    reduce(kind, operatorPriority(m_current->getString()));
                if (m_error == ERR_NONE)
                    pushCurrent();
            } else {
                setError(ERR_MISPLACED);
            }
            break;
        case CExEv_Token::TK_COMMA: {
            const CExEv_Token* below = top->m_next.get();
            if (topKind == CExEv_Token::TK_CONST && below
                && (below->m_kind == CExEv_Token::TK_COMMA || below->m_kind == CExEv_Token::TK_FUNC))
                pushCurrent();
            else
                setError(ERR_MISPLACED);
            break;
        }
        case CExEv_Token::TK_NULL: {
            if (topKind != CExEv_Token::TK_CONST || !reduce(kind, 0)) {
                setError(ERR_SYNTAX);
                break;
            }
            const CExEv_Token* bottom = m_stack->m_next.get();
            if (m_stack->m_kind != CExEv_Token::TK_CONST || !bottom || bottom->m_kind != CExEv_Token::TK_NULL
                || bottom->m_next) {
                setError(ERR_SYNTAX);
                break;
            }
            result = std::move(static_cast<Variant&>(*m_stack));
            return ERR_NONE;
        }
        default:
            setError(ERR_SYNTAX);
            break;
        }
    }
    return m_error;
}

} // namespace cexev
