#include <vellxml/host/maker_library.h>

#include <dlfcn.h>

namespace vellxml::host {

struct MakerLibraryBackend::Functions {
    int (*read8)(int, std::uint32_t, std::uint8_t*) = nullptr;
    int (*read16)(int, std::uint32_t, std::uint16_t*) = nullptr;
    int (*read32)(int, std::uint32_t, std::uint32_t*) = nullptr;
    int (*readInternal)(int, std::uint32_t, std::uint8_t*) = nullptr;
    int (*write8)(int, std::uint32_t, std::uint8_t) = nullptr;
    int (*write16)(int, std::uint32_t, std::uint16_t) = nullptr;
    int (*write32)(int, std::uint32_t, std::uint32_t) = nullptr;
    int (*writeInternal)(int, std::uint32_t, std::uint8_t) = nullptr;
};

namespace {

template<typename Function>
bool lookUp(void* handle, const char* name, Function& function, std::string& error)
{
    void* symbol = dlsym(handle, name);
    if (!symbol) {
        error = std::string("the probe library has no ") + name;
        return false;
    }
    // POSIX guarantees that a dlsym result converts to a function pointer.
    function = reinterpret_cast<Function>(symbol);
    return true;
}

} // namespace

std::unique_ptr<MakerLibraryBackend> MakerLibraryBackend::load(
    const std::string& path, std::optional<int> target, std::string& error)
{
    // RTLD_LOCAL keeps the maker's symbols out of the global scope, where they would meet ours.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* why = dlerror();
        error = "cannot load the probe library " + path + ": " + (why ? why : "unknown error");
        return nullptr;
    }
    auto functions = std::make_unique<Functions>();
    if (!lookUp(handle, "PROBE_Read8", functions->read8, error)
        || !lookUp(handle, "PROBE_Read16", functions->read16, error)
        || !lookUp(handle, "PROBE_Read32", functions->read32, error)
        || !lookUp(handle, "PROBE_ReadInternal", functions->readInternal, error)
        || !lookUp(handle, "PROBE_Write8", functions->write8, error)
        || !lookUp(handle, "PROBE_Write16", functions->write16, error)
        || !lookUp(handle, "PROBE_Write32", functions->write32, error)
        || !lookUp(handle, "PROBE_WriteInternal", functions->writeInternal, error)) {
        error += " (" + path + ")";
        dlclose(handle);
        return nullptr;
    }
    return std::unique_ptr<MakerLibraryBackend>(
        new MakerLibraryBackend(handle, path, target, std::move(functions)));
}

MakerLibraryBackend::MakerLibraryBackend(
    void* handle, std::string path, std::optional<int> target, std::unique_ptr<Functions> functions)
    : m_handle(handle)
    , m_path(std::move(path))
    , m_target(target)
    , m_functions(std::move(functions))
{
}

MakerLibraryBackend::~MakerLibraryBackend()
{
    dlclose(m_handle);
}

int MakerLibraryBackend::read(int target, std::uint32_t address, Width width, std::uint32_t& value)
{
    const int handle = m_target.value_or(target);
    int result = 0;
    switch (width) {
    case Width::Bits8:
    case Width::Internal8: {
        std::uint8_t byte = 0;
        result = width == Width::Bits8 ? m_functions->read8(handle, address, &byte)
                                       : m_functions->readInternal(handle, address, &byte);
        if (result == 0)
            value = byte;
        return result;
    }
    case Width::Bits16: {
        std::uint16_t half = 0;
        result = m_functions->read16(handle, address, &half);
        if (result == 0)
            value = half;
        return result;
    }
    case Width::Bits32: {
        std::uint32_t word = 0;
        result = m_functions->read32(handle, address, &word);
        if (result == 0)
            value = word;
        return result;
    }
    }
    return result;
}

int MakerLibraryBackend::write(int target, std::uint32_t address, Width width, std::uint32_t value)
{
    const int handle = m_target.value_or(target);
    switch (width) {
    case Width::Bits8:
        return m_functions->write8(handle, address, static_cast<std::uint8_t>(value));
    case Width::Internal8:
        return m_functions->writeInternal(handle, address, static_cast<std::uint8_t>(value));
    case Width::Bits16:
        return m_functions->write16(handle, address, static_cast<std::uint16_t>(value));
    case Width::Bits32:
        return m_functions->write32(handle, address, value);
    }
    return 0;
}

std::string MakerLibraryBackend::describe() const
{
    return "probe library " + m_path + (m_target ? ", target " + std::to_string(*m_target) : std::string());
}

std::string MakerLibraryBackend::builtInPath()
{
#ifdef VELLXML_MAKER_LIBRARY_PATH
    return VELLXML_MAKER_LIBRARY_PATH;
#else
    return {};
#endif
}

} // namespace vellxml::host
