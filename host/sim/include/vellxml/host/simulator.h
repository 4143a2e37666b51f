#ifndef VELLXML_HOST_SIMULATOR_H
#define VELLXML_HOST_SIMULATOR_H

#include <vellxml/host/backend.h>
#include <vellxml/host/vellhost_export.h>

#include <cstdint>
#include <string>
#include <vector>

/// Control of the simulated target, the default backend of the PROBE_* functions of <vellxml/host/probe.h>
/// (and the one that the location "sim" opens): tests and tools use it in place of a chip.
///
/// Any number of targets exist, each made on first use of its handle: a sparse byte-addressed memory read
/// and written little-endian (bytes never written read 0), and a separate space of internal 8-bit
/// registers. Per byte address, bits may be read-only, write-one-to-clear or write-one-to-set, and an
/// address may fail every access that touches it with a fixed error code. Every PROBE_* call is logged.
///
/// The state is process-wide and unlocked: the simulator is not thread-safe.
namespace vellxml::sim {

/// The two address spaces of a target.
enum class Space { Memory, Internal };

/// The host operation a logged call made.
enum class Operation { Read8, Read16, Read32, ReadInternal, Write8, Write16, Write32, WriteInternal };

/// One logged PROBE_* call.
struct HostCall {
    Operation operation;
    int target;
    std::uint32_t address;
    /// The value written, or the value a successful read delivered (0 when the read failed).
    std::uint32_t value;
    /// What the call returned.
    int result;

    friend bool operator==(const HostCall& a, const HostCall& b)
    {
        return a.operation == b.operation && a.target == b.target && a.address == b.address
            && a.value == b.value && a.result == b.result;
    }
    friend bool operator!=(const HostCall& a, const HostCall& b) { return !(a == b); }
};

/// Forgets every target and the call log.
VELLHOST_EXPORT void reset();
/// Forgets one target: its memory, internal registers, bit behaviours and error codes.
VELLHOST_EXPORT void resetTarget(int target);

/// Stores bytes (1 to 4) of value little-endian from address, bypassing bit behaviours and the log.
VELLHOST_EXPORT void poke(
    int target, std::uint32_t address, std::uint32_t value, int bytes = 4, Space space = Space::Memory);
/// Loads bytes (1 to 4) little-endian from address, bypassing error codes and the log.
VELLHOST_EXPORT std::uint32_t peek(
    int target, std::uint32_t address, int bytes = 4, Space space = Space::Memory);

// Bit behaviours of writes, given as a mask over bytes (1 to 4) from address, little-endian, like a value.
// A mask replaces the earlier mask of the same kind on those bytes. A bit that is read-only keeps its value
// whatever else it is; a write-one-to-clear bit clears where 1 is written; a write-one-to-set bit sets where
// 1 is written; both keep their value where 0 is written.
VELLHOST_EXPORT void setReadOnlyBits(
    int target, std::uint32_t address, std::uint32_t mask, int bytes = 4, Space space = Space::Memory);
VELLHOST_EXPORT void setWriteOneToClearBits(
    int target, std::uint32_t address, std::uint32_t mask, int bytes = 4, Space space = Space::Memory);
VELLHOST_EXPORT void setWriteOneToSetBits(
    int target, std::uint32_t address, std::uint32_t mask, int bytes = 4, Space space = Space::Memory);

/// Makes every access that touches the byte at address fail with code, reading and writing nothing; the
/// lowest failing byte of an access decides its code. A code of 0 removes the failure.
VELLHOST_EXPORT void setErrorCode(int target, std::uint32_t address, int code, Space space = Space::Memory);

/// The PROBE_* calls since the last reset() or clearCalls(), oldest first.
VELLHOST_EXPORT std::vector<HostCall> calls();
VELLHOST_EXPORT void clearCalls();

/// The simulator as a probe backend: each call acts on the simulated target of the call's handle.
class VELLHOST_EXPORT SimulatorBackend final : public host::ProbeBackend {
public:
    int read(int target, std::uint32_t address, host::Width width, std::uint32_t& value) override;
    int write(int target, std::uint32_t address, host::Width width, std::uint32_t value) override;
    std::string describe() const override;
};

} // namespace vellxml::sim

#endif
