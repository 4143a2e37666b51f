#ifndef VELLXML_HOST_BACKEND_H
#define VELLXML_HOST_BACKEND_H

#include <vellxml/host/vellhost_export.h>

#include <cstdint>
#include <memory>
#include <string>

/// The connections behind the PROBE_* functions of <vellxml/host/probe.h>.
///
/// The target handle of every PROBE_* call selects a backend: a handle returned by openTarget() reaches
/// the backend opened with it; a handle below kFirstOpenHandle reaches the default backend (the
/// simulated target, or the maker's probe library in a build made with VELLXML_HOST_LIBRARY) with the
/// handle passed on unchanged; any other handle fails with kProbeNoTarget. Opening and closing are not
/// locked: like the PROBE_* calls themselves, they belong to the caller's one thread.
namespace vellxml::host {

/// The width of one target access.
enum class Width {
    Bits8,
    Bits16,
    Bits32,
    /// An internal (debug-side) 8-bit register: PROBE_ReadInternal and PROBE_WriteInternal.
    Internal8
};

/// The number of bytes an access of width moves (Internal8 moves one).
VELLHOST_EXPORT int bytesOf(Width width);

/// The first handle openTarget() gives out; the handles below it belong to the default backend.
inline constexpr int kFirstOpenHandle = 0x40000000;
/// The result of a PROBE_* call with a handle that no open target has.
inline constexpr int kProbeNoTarget = 39;

/// One way of reaching targets. Each backend is its own file: the simulator, the GDB remote serial
/// protocol client and the maker's probe library.
class VELLHOST_EXPORT ProbeBackend {
public:
    ProbeBackend() = default;
    ProbeBackend(const ProbeBackend&) = delete;
    ProbeBackend& operator=(const ProbeBackend&) = delete;
    virtual ~ProbeBackend();

    /// Reads one access of width at address; value receives it zero-extended. target is the handle the
    /// PROBE_* call came with. Returns 0 or the backend's error code, leaving value alone on failure.
    virtual int read(int target, std::uint32_t address, Width width, std::uint32_t& value) = 0;
    /// Writes the low bits of value as one access of width at address. Returns 0 or an error code.
    virtual int write(int target, std::uint32_t address, Width width, std::uint32_t value) = 0;
    /// What the backend reaches, for people ("simulated target", "gdb://localhost:3333").
    virtual std::string describe() const = 0;
};

/// Opens a target on backend; returns its handle (kFirstOpenHandle or above, never reused).
VELLHOST_EXPORT int openTarget(std::unique_ptr<ProbeBackend> backend);
/// Opens the target a location names, or returns -1 with error set:
///   "sim"                           the simulated target, a fresh one per call;
///   "gdb://HOST:PORT[?OPTIONS]"     a GDB server (see <vellxml/host/gdb_remote.h> for the options);
///   "probe:N"                       target N of the maker's probe library (builds with
///   VELLXML_HOST_LIBRARY).
VELLHOST_EXPORT int openTarget(const std::string& location, std::string& error);
/// Closes an open target (the backend is deleted); false when handle is not open.
VELLHOST_EXPORT bool closeTarget(int handle);
/// The backend a handle reaches, or null when none does.
VELLHOST_EXPORT ProbeBackend* backendOf(int handle);

} // namespace vellxml::host

#endif
