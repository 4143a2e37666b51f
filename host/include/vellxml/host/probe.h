#ifndef VELLXML_HOST_PROBE_H
#define VELLXML_HOST_PROBE_H

/* The host-access interface: the eight functions of the maker's libvellhost_library through which the
 * library reads and writes a target. Each takes the caller's target handle, handed through unchanged, and
 * a 32-bit target address; each returns 0 on success or the host's own error code. Multi-byte values are
 * exchanged in host byte order. */

#include <stdint.h>

#if defined(__GNUC__)
#define VELLXML_PROBE_API __attribute__((visibility("default")))
#else
#define VELLXML_PROBE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Reads one byte at address into *value. */
VELLXML_PROBE_API int PROBE_Read8(int target, uint32_t address, uint8_t* value);
/** Reads 16 bits at address into *value. */
VELLXML_PROBE_API int PROBE_Read16(int target, uint32_t address, uint16_t* value);
/** Reads 32 bits at address into *value. */
VELLXML_PROBE_API int PROBE_Read32(int target, uint32_t address, uint32_t* value);
/** Reads the internal (debug-side) 8-bit register at address into *value. */
VELLXML_PROBE_API int PROBE_ReadInternal(int target, uint32_t address, uint8_t* value);
/** Writes one byte at address. */
VELLXML_PROBE_API int PROBE_Write8(int target, uint32_t address, uint8_t value);
/** Writes 16 bits at address. */
VELLXML_PROBE_API int PROBE_Write16(int target, uint32_t address, uint16_t value);
/** Writes 32 bits at address. */
VELLXML_PROBE_API int PROBE_Write32(int target, uint32_t address, uint32_t value);
/** Writes the internal (debug-side) 8-bit register at address. */
VELLXML_PROBE_API int PROBE_WriteInternal(int target, uint32_t address, uint8_t value);

#ifdef __cplusplus
}
#endif

#endif
