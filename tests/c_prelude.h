#pragma once

// What a C environment that includes the generated headers provides: the register and integer types, the
// access macro, and EXP2() for descriptions whose variables use it. Shared by every test that compiles them.
namespace vellxml_test {

inline constexpr char kCPrelude[] = R"(#include <stdint.h>
typedef volatile uint32_t REG32;
typedef volatile uint16_t REG16;
typedef volatile uint8_t REG8;
typedef uint32_t UINT32;
typedef uint16_t UINT16;
typedef uint8_t UINT8;
typedef int32_t INT32;
typedef int16_t INT16;
typedef int8_t INT8;
typedef uint8_t BOOL;
typedef void VOID;
#define REG_ACCESS_ADDRESS(address) ((uintptr_t)(address))
#define EXP2(n) (1 << (n))
)";

} // namespace vellxml_test
