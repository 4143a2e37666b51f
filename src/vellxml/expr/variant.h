#ifndef VELLXML_EXPR_VARIANT_H
#define VELLXML_EXPR_VARIANT_H

#include <vellxml/vellxml_export.h>

#include <cstdint>
#include <string>

namespace variant {

/// A dynamically typed value: every constant, identifier value, operand and result of the expression
/// evaluator is one.
///
/// A Variant owns its String and Binary payloads; a Ptr is only borrowed. Conversions and operations
/// return 1 when they are done and 0 when the kinds involved do not allow them, in which case the output
/// is left untouched. Integer results wrap at 32 bits.
class VELLXML_EXPORT Variant {
public:
    /// Kind tags; `m_cTypeChar[tag]` is the kind's type character.
    enum Type : int { Null = 0, Bool = 1, Int = 2, DWORD = 3, Real = 4, String = 5, Binary = 6, Ptr = 7 };

    /// "0BIDRSXP": the type character of each kind, indexed by its tag.
    static const char m_cTypeChar[];

    Variant() = default;
    Variant(const Variant& other);
    Variant(Variant&& other) noexcept;
    virtual ~Variant();
    Variant& operator=(const Variant& other);
    Variant& operator=(Variant&& other) noexcept;

    /// Releases a String or Binary payload (length becomes 0); the kind is kept.
    void free();

    void setNull();
    /// Stores a truth value, normalised to 0 or 1.
    void setBool(int value);
    void setInt(int value);
    void setDWORD(std::uint32_t value);
    void setReal(double value);
    /// Copies a NUL-terminated text; a null pointer gives an empty String without payload.
    void setString(const char* text);
    /// Copies `size` bytes; a size of 0 or less gives an empty Binary without payload.
    void setBinary(const void* data, int size);
    /// Stores a borrowed pointer, never released by the Variant.
    void setPtr(void* pointer);

    int getType() const { return m_type; }
    char getTypeChar() const { return m_cTypeChar[m_type]; }
    /// String: text length plus terminator; Binary: byte count; the scalar kinds: size of the scalar.
    int getLength() const { return m_length; }

    // The getters convert nothing: a different kind gives 0, 0.0 or null.
    int getBool() const;
    int getInt() const;
    std::uint32_t getDWORD() const;
    double getReal() const;
    const char* getString() const;
    const unsigned char* getBinary() const;
    void* getPtr() const;

    /// Copies at most `size` bytes of the value into `buffer`: the scalar itself, or the String/Binary
    /// payload. Returns the number of bytes copied, or the length unchanged when it is below 1.
    int getData(void* buffer, int size) const;

    /// Turns the value into a String holding its text (see asString) followed by `text`; null does nothing.
    void appendToString(const char* text);
    /// Same with one character; 0 does nothing.
    void appendToString(int ch);

    /// Writes the value as text into `out`. `format`, when not null, replaces the kind's printf format and
    /// receives an int (Int), an unsigned long (DWORD) or a double (Real); it is ignored for Bool and Ptr.
    /// Defaults: Bool "1"/"0", Int "%d", DWORD "%lu" of the value sign-extended from 32 bits, Real "%.4lf",
    /// Binary two upper-case hexadecimal digits per byte, Ptr "%p", Null empty. Numbers are always written
    /// with the C locale's decimal point. Always succeeds.
    int asString(std::string& out, const char* format = nullptr) const;

    /// Bool as 0/1, Int and DWORD as their 32 bits, Real floored and saturated to the int range (NaN: 0).
    int asInt(int& out) const;
    /// As asInt, except that a Real is floored and saturated to [-2^31, 2^32-1] and its low 32 bits kept,
    /// so that negative values keep the two's complement pattern that asInt gives them.
    int asDWORD(std::uint32_t& out) const;
    /// Bool as 0.0/1.0, Int as signed, DWORD as a signed 32-bit number, Real as itself.
    int asReal(double& out) const;
    /// Bool, Int, DWORD: value != 0; Real: anything but exactly 0.0 (NaN is true).
    int asBool(int& out) const;

    /// Three-way comparison: `result` < 0, 0 or > 0. Strings compare only with Strings (strcmp), a Real on
    /// either side compares both as reals, Int and DWORD compare by value across signedness, and two Ints
    /// compare by the sign of their 32-bit wrapped difference.
    static int compare(const Variant& a, const Variant& b, int& result);

    // Relational operators: a Bool result, or 0 when compare fails.
    static int LT(const Variant& a, const Variant& b, Variant& result);
    static int GT(const Variant& a, const Variant& b, Variant& result);
    static int LE(const Variant& a, const Variant& b, Variant& result);
    static int GE(const Variant& a, const Variant& b, Variant& result);
    static int EQ(const Variant& a, const Variant& b, Variant& result);
    static int NE(const Variant& a, const Variant& b, Variant& result);

    /// Arithmetic over Bool (0/1), Int, DWORD and Real: any Real gives a Real (a DWORD then counts as
    /// signed), else any DWORD gives a DWORD, else an Int.
    static int ADD(const Variant& a, const Variant& b, Variant& result);
    static int SUB(const Variant& a, const Variant& b, Variant& result);
    static int MUL(const Variant& a, const Variant& b, Variant& result);
    /// Fails on a zero Bool/Int/DWORD divisor or a Real divisor within 1e-12 of zero. A Bool dividend gives
    /// the Real 0.0 or 1.0 / b; any Real gives a Real; integer quotients are always signed 32-bit
    /// divisions (also DWORD by DWORD), with INT_MIN / -1 giving INT_MIN.
    static int DIV(const Variant& a, const Variant& b, Variant& result);
    /// Int and DWORD only: signed 32-bit remainder; DWORD on the left gives a DWORD, else an Int.
    static int MOD(const Variant& a, const Variant& b, Variant& result);
    /// Shifts an Int or DWORD by the low 5 bits of an Int or DWORD count; right shifts propagate the
    /// sign for both kinds.
    static int BITLEFT(const Variant& a, const Variant& b, Variant& result);
    static int BITRIGHT(const Variant& a, const Variant& b, Variant& result);
    /// Int and DWORD only; any DWORD gives a DWORD.
    static int BITAND(const Variant& a, const Variant& b, Variant& result);
    static int BITXOR(const Variant& a, const Variant& b, Variant& result);
    static int BITOR(const Variant& a, const Variant& b, Variant& result);
    /// Both operands through asBool (both always converted); a Bool result.
    static int LOGAND(const Variant& a, const Variant& b, Variant& result);
    static int LOGOR(const Variant& a, const Variant& b, Variant& result);

private:
    union Value {
        std::uint32_t dword;
        double real;
        char* string;
        unsigned char* binary;
        void* pointer;
    };

    void setScalar(Type type, std::uint32_t bits);
    void takeFrom(Variant& other) noexcept;

    int m_type = Null;
    Value m_value {};
    int m_length = 0;
};

} // namespace variant

#endif
