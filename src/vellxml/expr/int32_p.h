#ifndef VELLXML_EXPR_INT32_P_H
#define VELLXML_EXPR_INT32_P_H

#include <cstdint>

namespace vellxml::detail {

// 32-bit arithmetic wraps in unsigned; this reads the result back as two's complement without relying on
// the implementation-defined unsigned-to-signed conversion.
inline std::int32_t toSigned(std::uint32_t bits)
{
    if (bits < 0x80000000u)
        return static_cast<std::int32_t>(bits);
    return static_cast<std::int32_t>(bits - 0x80000000u) + INT32_MIN;
}

inline std::uint32_t toBits(std::int32_t value)
{
    return static_cast<std::uint32_t>(value);
}

} // namespace vellxml::detail

#endif
