#include "clocale_p.h"
#include "int32_p.h"

#include <vellxml/expr/variant.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace variant {

const char Variant::m_cTypeChar[] = "0BIDRSXP";

namespace {

using vellxml::detail::toBits;
using vellxml::detail::toSigned;

bool isInteger(const Variant& v)
{
    return v.getType() == Variant::Int || v.getType() == Variant::DWORD;
}

bool isNumeric(const Variant& v)
{
    return v.getType() == Variant::Bool || isInteger(v) || v.getType() == Variant::Real;
}

// The 32 bits of a Bool, Int or DWORD.
std::uint32_t bitsOf(const Variant& v)
{
    switch (v.getType()) {
    case Variant::Bool:
        return static_cast<std::uint32_t>(v.getBool());
    case Variant::Int:
        return toBits(v.getInt());
    case Variant::DWORD:
        return v.getDWORD();
    default:
        return 0;
    }
}

double realOf(const Variant& v)
{
    double r = 0.0;
    v.asReal(r);
    return r;
}

template<typename T>
int threeWay(T a, T b)
{
    return a < b ? -1 : (a > b ? 1 : 0);
}

// Signed 32-bit division and remainder. INT_MIN / -1 overflows in C++; the quotient wraps to INT_MIN
// and the remainder is 0, which is what two's complement hardware without a trap would give.
std::int32_t signedDiv(std::int32_t a, std::int32_t b)
{
    if (b == -1)
        return toSigned(0u - toBits(a));
    return a / b;
}

std::int32_t signedMod(std::int32_t a, std::int32_t b)
{
    if (b == -1)
        return 0;
    return a % b;
}

enum class Kind { None, Int, DWORD, Real };

// Result kind of the arithmetic operators.
Kind promote(const Variant& a, const Variant& b)
{
    if (!isNumeric(a) || !isNumeric(b))
        return Kind::None;
    if (a.getType() == Variant::Real || b.getType() == Variant::Real)
        return Kind::Real;
    if (a.getType() == Variant::DWORD || b.getType() == Variant::DWORD)
        return Kind::DWORD;
    return Kind::Int;
}

void setIntegerResult(Variant& result, bool dword, std::uint32_t bits)
{
    if (dword)
        result.setDWORD(bits);
    else
        result.setInt(toSigned(bits));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
// The format is the caller's printf format for exactly one argument of type T.
template<typename T>
std::string formatted(const char* format, T value)
{
    vellxml::detail::CLocaleScope cLocale;
    char small[64];
    const int n = std::snprintf(small, sizeof small, format, value);
    if (n < 0)
        return {};
    if (static_cast<std::size_t>(n) < sizeof small)
        return std::string(small, static_cast<std::size_t>(n));
    std::string text(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(text.data(), text.size(), format, value);
    text.resize(static_cast<std::size_t>(n));
    return text;
}
#pragma GCC diagnostic pop

} // namespace

Variant::Variant(const Variant& other)
{
    *this = other;
}

Variant::Variant(Variant&& other) noexcept
{
    takeFrom(other);
}

Variant::~Variant()
{
    free();
}

Variant& Variant::operator=(const Variant& other)
{
    if (this == &other)
        return *this;
    switch (other.m_type) {
    case String:
        setString(other.m_value.string);
        break;
    case Binary:
        setBinary(other.m_value.binary, other.m_length);
        break;
    default:
        free();
        m_type = other.m_type;
        m_value = other.m_value;
        m_length = other.m_length;
        break;
    }
    return *this;
}

Variant& Variant::operator=(Variant&& other) noexcept
{
    if (this != &other) {
        free();
        takeFrom(other);
    }
    return *this;
}

void Variant::takeFrom(Variant& other) noexcept
{
    m_type = other.m_type;
    m_value = other.m_value;
    m_length = other.m_length;
    other.m_type = Null;
    other.m_value = Value {};
    other.m_length = 0;
}

void Variant::free()
{
    if (m_type == String)
        delete[] m_value.string;
    else if (m_type == Binary)
        delete[] m_value.binary;
    else
        return;
    m_value.pointer = nullptr;
    m_length = 0;
}

void Variant::setScalar(Type type, std::uint32_t bits)
{
    free();
    m_type = type;
    m_value.dword = bits;
    m_length = 4;
}

void Variant::setNull()
{
    free();
    m_type = Null;
    m_value = Value {};
    m_length = 0;
}

void Variant::setBool(int value)
{
    setScalar(Bool, value != 0 ? 1u : 0u);
}

void Variant::setInt(int value)
{
    setScalar(Int, toBits(value));
}

void Variant::setDWORD(std::uint32_t value)
{
    setScalar(DWORD, value);
}

void Variant::setReal(double value)
{
    free();
    m_type = Real;
    m_value.real = value;
    m_length = static_cast<int>(sizeof(double));
}

void Variant::setString(const char* text)
{
    // Copy first: text may point into this variant's own payload.
    char* copy = nullptr;
    int length = 0;
    if (text) {
        const std::size_t n = std::strlen(text) + 1;
        copy = new char[n];
        std::memcpy(copy, text, n);
        length = static_cast<int>(n);
    }
    free();
    m_type = String;
    m_value.string = copy;
    m_length = length;
}

void Variant::setBinary(const void* data, int size)
{
    unsigned char* copy = nullptr;
    int length = 0;
    if (size > 0 && data) {
        copy = new unsigned char[static_cast<std::size_t>(size)];
        std::memcpy(copy, data, static_cast<std::size_t>(size));
        length = size;
    }
    free();
    m_type = Binary;
    m_value.binary = copy;
    m_length = length;
}

void Variant::setPtr(void* pointer)
{
    free();
    m_type = Ptr;
    m_value.pointer = pointer;
    m_length = static_cast<int>(sizeof(void*));
}

int Variant::getBool() const
{
    return m_type == Bool ? static_cast<int>(m_value.dword) : 0;
}

int Variant::getInt() const
{
    return m_type == Int ? toSigned(m_value.dword) : 0;
}

std::uint32_t Variant::getDWORD() const
{
    return m_type == DWORD ? m_value.dword : 0u;
}

double Variant::getReal() const
{
    return m_type == Real ? m_value.real : 0.0;
}

const char* Variant::getString() const
{
    return m_type == String ? m_value.string : nullptr;
}

const unsigned char* Variant::getBinary() const
{
    return m_type == Binary ? m_value.binary : nullptr;
}

void* Variant::getPtr() const
{
    return m_type == Ptr ? m_value.pointer : nullptr;
}

int Variant::getData(void* buffer, int size) const
{
    if (m_length < 1)
        return m_length;
    if (!buffer || size <= 0)
        return 0;
    const int n = std::min(size, m_length);
    const void* source = &m_value;
    if (m_type == String)
        source = m_value.string;
    else if (m_type == Binary)
        source = m_value.binary;
    std::memcpy(buffer, source, static_cast<std::size_t>(n));
    return n;
}

void Variant::appendToString(const char* text)
{
    if (!text)
        return;
    std::string s;
    asString(s);
    s += text;
    setString(s.c_str());
}

void Variant::appendToString(int ch)
{
    if (ch == 0)
        return;
    const char text[2] = {static_cast<char>(ch), '\0'};
    appendToString(text);
}

int Variant::asString(std::string& out, const char* format) const
{
    switch (m_type) {
    case Bool:
        out = m_value.dword ? "1" : "0";
        break;
    case Int:
        out = formatted(format ? format : "%d", toSigned(m_value.dword));
        break;
    case DWORD: {
        // The text of the value widened as a signed 32-bit number, read back as unsigned long: 0xFFFFFFFF
        // prints as 18446744073709551615.
        unsigned long widened = m_value.dword;
        if (m_value.dword & 0x80000000u)
            widened |= ~0xFFFFFFFFul;
        out = formatted(format ? format : "%lu", widened);
        break;
    }
    case Real:
        out = formatted(format ? format : "%.4lf", m_value.real);
        break;
    case String:
        out = m_value.string ? m_value.string : "";
        break;
    case Binary: {
        static const char hex[] = "0123456789ABCDEF";
        out.clear();
        out.reserve(static_cast<std::size_t>(m_length) * 2);
        for (int i = 0; i < m_length; ++i) {
            out += hex[m_value.binary[i] >> 4];
            out += hex[m_value.binary[i] & 0xF];
        }
        break;
    }
    case Ptr:
        out = formatted("%p", m_value.pointer);
        break;
    default:
        out.clear();
        break;
    }
    return 1;
}

int Variant::asInt(int& out) const
{
    switch (m_type) {
    case Bool:
    case Int:
    case DWORD:
        out = toSigned(m_value.dword);
        return 1;
    case Real: {
        const double f = std::floor(m_value.real);
        if (std::isnan(f))
            out = 0;
        else if (f <= static_cast<double>(INT32_MIN))
            out = INT32_MIN;
        else if (f >= static_cast<double>(INT32_MAX))
            out = INT32_MAX;
        else
            out = static_cast<int>(f);
        return 1;
    }
    default:
        return 0;
    }
}

int Variant::asDWORD(std::uint32_t& out) const
{
    switch (m_type) {
    case Bool:
    case Int:
    case DWORD:
        out = m_value.dword;
        return 1;
    case Real: {
        const double f = std::floor(m_value.real);
        std::int64_t v = 0;
        if (std::isnan(f))
            v = 0;
        else if (f <= static_cast<double>(INT32_MIN))
            v = INT32_MIN;
        else if (f >= static_cast<double>(UINT32_MAX))
            v = UINT32_MAX;
        else
            v = static_cast<std::int64_t>(f);
        out = static_cast<std::uint32_t>(v);
        return 1;
    }
    default:
        return 0;
    }
}

int Variant::asReal(double& out) const
{
    switch (m_type) {
    case Bool:
    case Int:
    case DWORD:
        // A DWORD of 2^31 or more reads as negative here, as it does everywhere a DWORD meets a Real.
        out = static_cast<double>(toSigned(m_value.dword));
        return 1;
    case Real:
        out = m_value.real;
        return 1;
    default:
        return 0;
    }
}

int Variant::asBool(int& out) const
{
    switch (m_type) {
    case Bool:
    case Int:
    case DWORD:
        out = m_value.dword != 0;
        return 1;
    case Real:
        out = !(m_value.real == 0.0);
        return 1;
    default:
        return 0;
    }
}

int Variant::compare(const Variant& a, const Variant& b, int& result)
{
    if (a.m_type == String || b.m_type == String) {
        if (a.m_type != b.m_type)
            return 0;
        result =
            std::strcmp(a.m_value.string ? a.m_value.string : "", b.m_value.string ? b.m_value.string : "");
        return 1;
    }
    if (a.m_type == Real || b.m_type == Real) {
        double x = 0.0;
        double y = 0.0;
        if (!a.asReal(x) || !b.asReal(y))
            return 0;
        result = threeWay(x, y);
        return 1;
    }
    if (a.m_type == Int) {
        const std::int32_t x = toSigned(a.m_value.dword);
        if (b.m_type == Int) {
            // The sign of the wrapped 32-bit difference decides, so INT_MAX compares below -1; existing
            // descriptions were written against this rule.
            result = toSigned(a.m_value.dword - b.m_value.dword);
        } else if (b.m_type == DWORD) {
            result = x < 0 ? -1 : threeWay(a.m_value.dword, b.m_value.dword);
        } else {
            int y = 0;
            if (!b.asInt(y))
                return 0;
            result = threeWay<std::int32_t>(x, y);
        }
        return 1;
    }
    if (a.m_type == DWORD) {
        if (b.m_type == DWORD) {
            result = threeWay(a.m_value.dword, b.m_value.dword);
        } else if (b.m_type == Int) {
            result = b.getInt() < 0 ? 1 : threeWay(a.m_value.dword, b.m_value.dword);
        } else {
            std::uint32_t y = 0;
            if (!b.asDWORD(y))
                return 0;
            result = threeWay(a.m_value.dword, y);
        }
        return 1;
    }
    int x = 0;
    int y = 0;
    if (!a.asInt(x) || !b.asInt(y))
        return 0;
    result = threeWay(x, y);
    return 1;
}

namespace {

template<typename Predicate>
int relational(const Variant& a, const Variant& b, Variant& result, Predicate holds)
{
    int c = 0;
    if (!Variant::compare(a, b, c))
        return 0;
    result.setBool(holds(c));
    return 1;
}

} // namespace

int Variant::LT(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c < 0; });
}

int Variant::GT(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c >= 1; });
}

int Variant::LE(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c < 1; });
}

int Variant::GE(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c >= 0; });
}

int Variant::EQ(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c == 0; });
}

int Variant::NE(const Variant& a, const Variant& b, Variant& result)
{
    return relational(a, b, result, [](int c) { return c != 0; });
}

namespace {

template<typename IntegerOp, typename RealOp>
int arithmetic(const Variant& a, const Variant& b, Variant& result, IntegerOp integerOp, RealOp realOp)
{
    switch (promote(a, b)) {
    case Kind::Real:
        result.setReal(realOp(realOf(a), realOf(b)));
        return 1;
    case Kind::DWORD:
    case Kind::Int:
        setIntegerResult(result, promote(a, b) == Kind::DWORD, integerOp(bitsOf(a), bitsOf(b)));
        return 1;
    case Kind::None:
        break;
    }
    return 0;
}

template<typename Op>
int bitwise(const Variant& a, const Variant& b, Variant& result, Op op)
{
    if (!isInteger(a) || !isInteger(b))
        return 0;
    const bool dword = a.getType() == Variant::DWORD || b.getType() == Variant::DWORD;
    setIntegerResult(result, dword, op(bitsOf(a), bitsOf(b)));
    return 1;
}

template<typename Op>
int shift(const Variant& a, const Variant& b, Variant& result, Op op)
{
    if (!isInteger(a) || !isInteger(b))
        return 0;
    setIntegerResult(result, a.getType() == Variant::DWORD, op(bitsOf(a), bitsOf(b) & 31u));
    return 1;
}

} // namespace

int Variant::ADD(const Variant& a, const Variant& b, Variant& result)
{
    return arithmetic(
        a, b, result, [](std::uint32_t x, std::uint32_t y) { return x + y; },
        [](double x, double y) { return x + y; });
}

int Variant::SUB(const Variant& a, const Variant& b, Variant& result)
{
    return arithmetic(
        a, b, result, [](std::uint32_t x, std::uint32_t y) { return x - y; },
        [](double x, double y) { return x - y; });
}

int Variant::MUL(const Variant& a, const Variant& b, Variant& result)
{
    return arithmetic(
        a, b, result, [](std::uint32_t x, std::uint32_t y) { return x * y; },
        [](double x, double y) { return x * y; });
}

int Variant::DIV(const Variant& a, const Variant& b, Variant& result)
{
    if (!isNumeric(a) || !isNumeric(b))
        return 0;
    if (b.m_type == Real) {
        if (b.m_value.real > -1e-12 && b.m_value.real < 1e-12)
            return 0;
    } else if (bitsOf(b) == 0) {
        return 0;
    }
    if (a.m_type == Bool) {
        result.setReal(a.getBool() ? 1.0 / realOf(b) : 0.0);
        return 1;
    }
    if (a.m_type == Real || b.m_type == Real) {
        result.setReal(realOf(a) / realOf(b));
        return 1;
    }
    // Also DWORD by DWORD: the quotient is a signed division of the two 32-bit patterns.
    const std::int32_t q = signedDiv(toSigned(bitsOf(a)), toSigned(bitsOf(b)));
    setIntegerResult(result, a.m_type == DWORD || b.m_type == DWORD, toBits(q));
    return 1;
}

int Variant::MOD(const Variant& a, const Variant& b, Variant& result)
{
    if (!isInteger(a) || !isInteger(b) || bitsOf(b) == 0)
        return 0;
    const std::int32_t r = signedMod(toSigned(bitsOf(a)), toSigned(bitsOf(b)));
    setIntegerResult(result, a.m_type == DWORD, toBits(r));
    return 1;
}

int Variant::BITLEFT(const Variant& a, const Variant& b, Variant& result)
{
    return shift(a, b, result, [](std::uint32_t x, std::uint32_t n) { return x << n; });
}

int Variant::BITRIGHT(const Variant& a, const Variant& b, Variant& result)
{
    // Sign-propagating for DWORD too: 0x80000000 >> 31 is 0xFFFFFFFF.
    return shift(a, b, result,
        [](std::uint32_t x, std::uint32_t n) { return (x & 0x80000000u) ? ~(~x >> n) : x >> n; });
}

int Variant::BITAND(const Variant& a, const Variant& b, Variant& result)
{
    return bitwise(a, b, result, [](std::uint32_t x, std::uint32_t y) { return x & y; });
}

int Variant::BITXOR(const Variant& a, const Variant& b, Variant& result)
{
    return bitwise(a, b, result, [](std::uint32_t x, std::uint32_t y) { return x ^ y; });
}

int Variant::BITOR(const Variant& a, const Variant& b, Variant& result)
{
    return bitwise(a, b, result, [](std::uint32_t x, std::uint32_t y) { return x | y; });
}

int Variant::LOGAND(const Variant& a, const Variant& b, Variant& result)
{
    int x = 0;
    int y = 0;
    if (!a.asBool(x) || !b.asBool(y))
        return 0;
    result.setBool(x && y);
    return 1;
}

int Variant::LOGOR(const Variant& a, const Variant& b, Variant& result)
{
    int x = 0;
    int y = 0;
    if (!a.asBool(x) || !b.asBool(y))
        return 0;
    result.setBool(x || y);
    return 1;
}

} // namespace variant
