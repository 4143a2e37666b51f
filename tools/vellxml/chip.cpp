#include "chip.h"

#include "command.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>

#include <QRegularExpression>
#include <QString>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace vellxml::cli {
namespace {

int g_errors = 0;
int g_warnings = 0;
bool g_showLog = false;
LoadChecks g_checks;
Progress* g_progress = nullptr;

long long nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// The progress line and the messages share standard error: a message first clears the line.
void showMessage(const std::string& line)
{
    if (g_progress)
        g_progress->finish();
    std::fprintf(stderr, "%s\n", line.c_str());
}

void onLog(const char* text)
{
    const QString message = QString::fromUtf8(text);
    if (g_progress && message.startsWith(QLatin1String("Loading ")))
        g_progress->step(
            message.mid(8).chopped(message.endsWith(QLatin1String("...")) ? 3 : 0).toStdString());
    if (g_showLog)
        showMessage(formatMessage("", text));
}

void onError(const char* text)
{
    ++g_errors;
    showMessage(formatMessage("error", text));
}

void onWarning(const char* text)
{
    ++g_warnings;
    showMessage(formatMessage(g_checks.warningsAsErrors ? "error" : "warning", text));
}

// How long work runs before its progress shows: 300 ms, or VELLXML_PROGRESS_DELAY_MS.
long long progressDelay()
{
    const char* text = std::getenv("VELLXML_PROGRESS_DELAY_MS");
    char* end = nullptr;
    const long long delay = text ? std::strtoll(text, &end, 10) : -1;
    return text && *text && end && *end == '\0' && delay >= 0 ? delay : 300;
}

} // namespace

std::string formatMessage(const char* kind, const char* text)
{
    static const QRegularExpression positioned(
        QStringLiteral("^(.+?):(\\d+):(\\d+):(.*)$"), QRegularExpression::DotMatchesEverythingOption);
    const QString message = QString::fromUtf8(text);
    const QString label = *kind ? QString::fromLatin1(kind) + QStringLiteral(": ") : QString();
    const QRegularExpressionMatch match = positioned.match(message);
    if (!match.hasMatch())
        return (label + message).toStdString();
    const QString file = match.captured(1);
    const QString line = match.captured(2);
    const QString column = match.captured(3);
    const QString rest = match.captured(4);
    if (line == QLatin1String("0") && column == QLatin1String("0"))
        return (file + QStringLiteral(": ") + label + rest).toStdString();
    return (file + QLatin1Char(':') + line + QLatin1Char(':') + column + QStringLiteral(": ") + label + rest)
        .toStdString();
}

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

std::unique_ptr<HwMemoryMap> loadChip(const std::string& path, bool soft, LoadMessages messages)
{
    g_errors = 0;
    g_warnings = 0;
    g_showLog = messages == LoadMessages::Log;
    auto map = std::make_unique<HwMemoryMap>();
    Progress progress("loading");
    g_progress = &progress;
    HwMemoryMapLoader loader;
    loader.checks().enabled = g_checks.enabled;
    for (const std::string& code : g_checks.silenced)
        loader.checks().silenced.append(QString::fromStdString(code));
    HwRootArchive* root = loader.loadRootArchiveFromFile(
        map.get(), QString::fromStdString(path), onLog, onError, onWarning, !soft);
    progress.finish();
    g_progress = nullptr;
    if (!root) {
        if (g_errors == 0)
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

int lastLoadErrors()
{
    return g_errors;
}

int lastLoadWarnings()
{
    return g_warnings;
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
