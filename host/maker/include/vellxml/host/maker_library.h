#ifndef VELLXML_HOST_MAKER_LIBRARY_H
#define VELLXML_HOST_MAKER_LIBRARY_H

#include <vellxml/host/backend.h>

#include <memory>
#include <optional>
#include <string>

namespace vellxml::host {

/// The maker's probe library (libvellhost_library.so) as a backend. It is loaded at run time with
/// dlopen, privately: its PROBE_* functions are looked up in it alone, so the dispatching PROBE_*
/// functions of VellXml's own probe library never stand in for them, and a process that never opens it
/// never loads it.
class VELLHOST_EXPORT MakerLibraryBackend final : public ProbeBackend {
public:
    /// Loads the library at path. With a target, every access goes to that handle of the maker's
    /// library; without, the handle of the PROBE_* call is passed on. Null with error set when the file
    /// does not load or lacks one of the eight functions.
    static std::unique_ptr<MakerLibraryBackend> load(
        const std::string& path, std::optional<int> target, std::string& error);
    ~MakerLibraryBackend() override;

    int read(int target, std::uint32_t address, Width width, std::uint32_t& value) override;
    int write(int target, std::uint32_t address, Width width, std::uint32_t value) override;
    std::string describe() const override;

    /// Where a build made with VELLXML_HOST_LIBRARY found the maker's library; empty in other builds.
    static std::string builtInPath();

private:
    struct Functions;
    MakerLibraryBackend(
        void* handle, std::string path, std::optional<int> target, std::unique_ptr<Functions> functions);

    void* m_handle;
    std::string m_path;
    std::optional<int> m_target;
    std::unique_ptr<Functions> m_functions;
};

} // namespace vellxml::host

#endif
