#ifndef VELLXML_TOOLS_CHIP_H
#define VELLXML_TOOLS_CHIP_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

class HwMemoryMap;
class HwRootArchive;
class HwXMLElement;

namespace vellxml::cli {

struct Command;

/// What a load prints on standard error besides its errors and warnings.
enum class LoadMessages {
    Quiet, ///< errors and warnings only (and a progress line when standard error is a terminal)
    Log, ///< the log lines too, as `vellxml check` shows them
};

/// Reads the operands, and the --soft option unless `soft` is null, of a command that takes `count`
/// operands (`expected` names them for the usage message; "--" ends the options). Returns ExitOk, or the
/// usage error's status.
int parseOperands(const Command& command, const std::vector<std::string>& args, std::size_t count,
    const char* expected, std::vector<std::string>& operands, bool* soft);

/// The description checks of the loads that follow (none by default), and whether their warnings, and
/// the loader's own, count and print as errors.
struct LoadChecks {
    bool enabled = false;
    bool warningsAsErrors = false;
    std::vector<std::string> silenced; ///< codes not reported
};
void setLoadChecks(const LoadChecks& checks);
/// How many errors and warnings a load reported.
struct LoadCounts {
    int errors = 0;
    int warnings = 0;
};

/// Loads the description whose root file is `path` into a new memory map. Errors and warnings go to
/// standard error one per line, as "FILE:LINE:COLUMN: error: TEXT" (or "warning:") so that editors can
/// jump to them, and are counted in `counts` when given. Returns null when the load fails; the library
/// then has reported at least one error.
std::unique_ptr<HwMemoryMap> loadChip(
    const std::string& path, bool soft, LoadMessages messages, LoadCounts* counts = nullptr);

/// The root archive of a memory map made by loadChip.
HwRootArchive* rootOf(const HwMemoryMap& map, bool soft = false);

/// Calls `visit` on `element`, then, depth first and in declaration order, on every member of its structures
/// and item of its arrays. Bitfields and what pointers point to are not visited.
void forEachElement(HwXMLElement& element, const std::function<void(HwXMLElement&)>& visit);

/// A one-line progress display on standard error, shown only when it is a terminal and the work lasts
/// long enough to be worth it (300 ms; the environment variable VELLXML_PROGRESS_DELAY_MS changes it).
/// Each update replaces the line; finish() clears it.
class Progress {
public:
    explicit Progress(const char* what);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void step(const std::string& detail);
    void finish();

private:
    const char* m_what;
    long long m_started;
    long long m_delay;
    long long m_shown = 0;
    unsigned long m_steps = 0;
    bool m_active;
    bool m_drawn = false;
};

} // namespace vellxml::cli

#endif
