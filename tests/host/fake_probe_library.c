/* A stand-in for the maker's probe library, loaded by the tests through the maker-library backend. Reads
 * answer a value made of the handle, the address and the width; writes are remembered. */
#include <stdint.h>

#define API __attribute__((visibility("default")))

static int g_lastTarget = -1;
static uint32_t g_lastAddress = 0;
static uint32_t g_lastValue = 0;
static int g_lastWidth = 0;

static uint32_t answer(int target, uint32_t address, int width)
{
    return ((uint32_t)target << 24) ^ address ^ ((uint32_t)width << 28);
}

static int record(int target, uint32_t address, uint32_t value, int width)
{
    g_lastTarget = target;
    g_lastAddress = address;
    g_lastValue = value;
    g_lastWidth = width;
    return address == 0xDEAD ? 77 : 0;
}

API int PROBE_Read8(int target, uint32_t address, uint8_t* value)
{
    *value = (uint8_t)answer(target, address, 1);
    return address == 0xDEAD ? 77 : 0;
}
API int PROBE_Read16(int target, uint32_t address, uint16_t* value)
{
    *value = (uint16_t)answer(target, address, 2);
    return 0;
}
API int PROBE_Read32(int target, uint32_t address, uint32_t* value)
{
    *value = answer(target, address, 4);
    return 0;
}
API int PROBE_ReadInternal(int target, uint32_t address, uint8_t* value)
{
    *value = (uint8_t)(answer(target, address, 9) ^ 0x80);
    return 0;
}
API int PROBE_Write8(int target, uint32_t address, uint8_t value)
{
    return record(target, address, value, 1);
}
API int PROBE_Write16(int target, uint32_t address, uint16_t value)
{
    return record(target, address, value, 2);
}
API int PROBE_Write32(int target, uint32_t address, uint32_t value)
{
    return record(target, address, value, 4);
}
API int PROBE_WriteInternal(int target, uint32_t address, uint8_t value)
{
    return record(target, address, value, 9);
}

/* What the last write did, for the tests: the handle, address, value and width (9 for internal). */
API void FAKE_lastWrite(int* target, uint32_t* address, uint32_t* value, int* width)
{
    *target = g_lastTarget;
    *address = g_lastAddress;
    *value = g_lastValue;
    *width = g_lastWidth;
}
