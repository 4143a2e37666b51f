#include <vellxml/host/backend.h>
#include <vellxml/host/gdb_remote.h>
#include <vellxml/host/maker_library.h>
#include <vellxml/host/probe.h>
#include <vellxml/host/simulator.h>

#include <cstdlib>
#include <map>

namespace vellxml::host {

ProbeBackend::~ProbeBackend() = default;

int bytesOf(Width width)
{
    switch (width) {
    case Width::Bits16:
        return 2;
    case Width::Bits32:
        return 4;
    default:
        return 1;
    }
}

namespace {

struct Registry {
    std::map<int, std::unique_ptr<ProbeBackend>> open;
    int next = kFirstOpenHandle;
    std::unique_ptr<ProbeBackend> fallback;
    bool fallbackTried = false;
};

Registry& registry()
{
    static Registry m_registry;
    return m_registry;
}

/// The backend of the handles nobody opened, made on first use: the maker's library where the build
/// names one (a debugger's own probe handles keep reaching it), else the simulated target.
ProbeBackend* defaultBackend()
{
    Registry& r = registry();
    if (!r.fallbackTried) {
        r.fallbackTried = true;
        const std::string path = MakerLibraryBackend::builtInPath();
        std::string error;
        if (path.empty())
            r.fallback = std::make_unique<sim::SimulatorBackend>();
        else
            r.fallback = MakerLibraryBackend::load(path, std::nullopt, error);
    }
    return r.fallback.get();
}

} // namespace

int openTarget(std::unique_ptr<ProbeBackend> backend)
{
    Registry& r = registry();
    const int handle = r.next++;
    r.open.emplace(handle, std::move(backend));
    return handle;
}

int openTarget(const std::string& location, std::string& error)
{
    std::unique_ptr<ProbeBackend> backend;
    if (location == "sim") {
        backend = std::make_unique<sim::SimulatorBackend>();
    } else if (location.rfind("gdb://", 0) == 0) {
        backend = GdbRemoteBackend::connect(location, error);
    } else if (location.rfind("probe:", 0) == 0) {
        const std::string number = location.substr(6);
        char* end = nullptr;
        const long target = std::strtol(number.c_str(), &end, 0);
        if (number.empty() || *end != '\0' || target < 0 || target >= kFirstOpenHandle) {
            error = "probe: takes a target number, not '" + number + "'";
            return -1;
        }
        const std::string path = MakerLibraryBackend::builtInPath();
        if (path.empty()) {
            error = "this build has no probe library (configure with VELLXML_HOST_LIBRARY)";
            return -1;
        }
        backend = MakerLibraryBackend::load(path, static_cast<int>(target), error);
    } else {
        error = "unknown target '" + location + "' (sim, gdb://HOST:PORT or probe:N)";
        return -1;
    }
    return backend ? openTarget(std::move(backend)) : -1;
}

bool closeTarget(int handle)
{
    return registry().open.erase(handle) > 0;
}

ProbeBackend* backendOf(int handle)
{
    if (handle < kFirstOpenHandle)
        return defaultBackend();
    const auto found = registry().open.find(handle);
    return found == registry().open.end() ? nullptr : found->second.get();
}

} // namespace vellxml::host

using vellxml::host::Width;

namespace {

template<typename Value>
int dispatchRead(int target, std::uint32_t address, Width width, Value* value)
{
    vellxml::host::ProbeBackend* backend = vellxml::host::backendOf(target);
    if (!backend)
        return vellxml::host::kProbeNoTarget;
    std::uint32_t read = 0;
    const int result = backend->read(target, address, width, read);
    if (result == 0)
        *value = static_cast<Value>(read);
    return result;
}

int dispatchWrite(int target, std::uint32_t address, Width width, std::uint32_t value)
{
    vellxml::host::ProbeBackend* backend = vellxml::host::backendOf(target);
    return backend ? backend->write(target, address, width, value) : vellxml::host::kProbeNoTarget;
}

} // namespace

extern "C" {

int PROBE_Read8(int target, uint32_t address, uint8_t* value)
{
    return dispatchRead(target, address, Width::Bits8, value);
}

int PROBE_Read16(int target, uint32_t address, uint16_t* value)
{
    return dispatchRead(target, address, Width::Bits16, value);
}

int PROBE_Read32(int target, uint32_t address, uint32_t* value)
{
    return dispatchRead(target, address, Width::Bits32, value);
}

int PROBE_ReadInternal(int target, uint32_t address, uint8_t* value)
{
    return dispatchRead(target, address, Width::Internal8, value);
}

int PROBE_Write8(int target, uint32_t address, uint8_t value)
{
    return dispatchWrite(target, address, Width::Bits8, value);
}

int PROBE_Write16(int target, uint32_t address, uint16_t value)
{
    return dispatchWrite(target, address, Width::Bits16, value);
}

int PROBE_Write32(int target, uint32_t address, uint32_t value)
{
    return dispatchWrite(target, address, Width::Bits32, value);
}

int PROBE_WriteInternal(int target, uint32_t address, uint8_t value)
{
    return dispatchWrite(target, address, Width::Internal8, value);
}

} // extern "C"
