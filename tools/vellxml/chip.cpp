#include "chip.h"

#include "command.h"

#include <vellxml/diagnostic.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>

#include <QString>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace vellxml::cli {
namespace {

LoadChecks g_checks;

long long nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Prints a load's diagnostics on standard error, one per line, and counts them. The progress line and the
// messages share standard error: a message first clears the line.
class LoadPrinter : public vellxml::DiagnosticSink {
public:
    LoadPrinter(Progress& progress, bool showLog, LoadCounts& counts)
        : m_progress(progress)
        , m_showLog(showLog)
        , m_counts(counts)
    {
    }

    void report(const vellxml::Diagnostic& diagnostic) override
    {
        if (diagnostic.severity == vellxml::Severity::Log) {
            // Each file read is one step of the progress line.
            const QString prefix = QStringLiteral("Loading ");
            if (diagnostic.code == QLatin1String(vellxml::code::Progress) && diagnostic.text.startsWith(prefix)) {
                QString file = diagnostic.text.mid(prefix.size());
                if (file.endsWith(QLatin1String("...")))
                    file.chop(3);
                m_progress.step(file.toStdString());
            }
            if (!m_showLog)
                return;
        } else if (diagnostic.severity == vellxml::Severity::Error) {
            ++m_counts.errors;
        } else {
            ++m_counts.warnings;
        }
        m_progress.finish();
        vellxml::Diagnostic shown = diagnostic;
        if (shown.severity == vellxml::Severity::Warning && g_checks.warningsAsErrors)
            shown.severity = vellxml::Severity::Error; // --strict: counted as a warning, shown as an error
        std::fprintf(stderr, "%s\n", shown.description().toUtf8().constData());
    }

private:
    Progress& m_progress;
    bool m_showLog;
    LoadCounts& m_counts;
};

// How long work runs before its progress shows: 300 ms, or VELLXML_PROGRESS_DELAY_MS.
long long progressDelay()
{
    const char* text = std::getenv("VELLXML_PROGRESS_DELAY_MS");
    char* end = nullptr;
    const long long delay = text ? std::strtoll(text, &end, 10) : -1;
    return text && *text && end && *end == '\0' && delay >= 0 ? delay : 300;
}

} // namespace

int parseOperands(const Command& command, const std::vector<std::string>& args, std::size_t count,
    const char* expected, std::vector<std::string>& operands, bool* soft)
{
    bool options = true;
    for (const std::string& arg : args) {
        if (options && arg == "--")
            options = false;
        else if (options && soft && arg == "--soft")
            *soft = true;
        else if (options && arg.size() > 1 && arg[0] == '-')
            return usageError(command, "unknown option '" + arg + "'");
        else
            operands.push_back(arg);
    }
    if (operands.size() != count)
        return usageError(command, std::string(command.name) + " takes " + expected);
    return ExitOk;
}

void setLoadChecks(const LoadChecks& checks)
{
    g_checks = checks;
}

std::unique_ptr<HwMemoryMap> loadChip(
    const std::string& path, bool soft, LoadMessages messages, LoadCounts* counts)
{
    LoadCounts own;
    LoadCounts& counted = counts ? *counts : own;
    counted = LoadCounts();
    auto map = std::make_unique<HwMemoryMap>();
    Progress progress("loading");
    LoadPrinter printer(progress, messages == LoadMessages::Log, counted);
    HwMemoryMapLoader loader;
    loader.checks().enabled = g_checks.enabled;
    for (const std::string& code : g_checks.silenced)
        loader.checks().silenced.append(QString::fromStdString(code));
    HwRootArchive* root = loader.loadRootArchiveFromFile(map.get(), QString::fromStdString(path), printer, !soft);
    progress.finish();
    if (!root) {
        if (counted.errors == 0)
            printError("cannot load " + path);
        return nullptr;
    }
    HwMemoryMap::m_activeMemoryMap = map.get();
    return map;
}

HwRootArchive* rootOf(const HwMemoryMap& map, bool soft)
{
    return soft ? map.getSoftRootArchive() : map.getChipRootArchive();
}

void forEachElement(HwXMLElement& element, const std::function<void(HwXMLElement&)>& visit)
{
    visit(element);
    if (element.isStruct()) {
        for (const auto& member : static_cast<HwStruct&>(element).getMemberList())
            forEachElement(*member, visit);
    } else if (element.isArray()) {
        for (const auto& item : static_cast<HwArray&>(element).getMemberList())
            forEachElement(*item, visit);
    }
}

Progress::Progress(const char* what)
    : m_what(what)
    , m_started(nowMs())
    , m_delay(progressDelay())
    , m_active(isatty(STDERR_FILENO) == 1)
{
}

Progress::~Progress()
{
    finish();
}

void Progress::step(const std::string& detail)
{
    ++m_steps;
    if (!m_active)
        return;
    const long long now = nowMs();
    // Short work stays silent; long work redraws a few times a second.
    if (now - m_started < m_delay || now - m_shown < 100)
        return;
    m_shown = now;
    std::string shown = detail;
    if (shown.size() > 50)
        shown = "..." + shown.substr(shown.size() - 47);
    std::fprintf(stderr, "\r\033[K%s: %lu  %s", m_what, m_steps, shown.c_str());
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::finish()
{
    if (!m_drawn)
        return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    m_drawn = false;
}

} // namespace vellxml::cli
