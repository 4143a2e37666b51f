#ifndef VELLXML_TESTS_EXPR_TEST_SUPPORT_H
#define VELLXML_TESTS_EXPR_TEST_SUPPORT_H

#include <vellxml/expr/variant.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace exprtest {

// A value as its type character and text: "I:14", "R:3.5000", "S:ab1". DWORDs are shown as eight
// hexadecimal digits so that their 32 bits can be read directly.
inline std::string show(const variant::Variant& v)
{
    std::string text;
    if (v.getType() == variant::Variant::DWORD) {
        char buffer[16];
        std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<unsigned>(v.getDWORD()));
        text = buffer;
    } else {
        v.asString(text);
    }
    return std::string(1, v.getTypeChar()) + ":" + text;
}

inline variant::Variant makeBool(int b)
{
    variant::Variant v;
    v.setBool(b);
    return v;
}

inline variant::Variant makeInt(int i)
{
    variant::Variant v;
    v.setInt(i);
    return v;
}

inline variant::Variant makeDWORD(std::uint32_t d)
{
    variant::Variant v;
    v.setDWORD(d);
    return v;
}

inline variant::Variant makeReal(double r)
{
    variant::Variant v;
    v.setReal(r);
    return v;
}

inline variant::Variant makeString(const char* s)
{
    variant::Variant v;
    v.setString(s);
    return v;
}

} // namespace exprtest

#endif
