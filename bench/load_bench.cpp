// Times one load of a chip description: wall and CPU time, peak memory, what was built, the time to delete it,
// and a pugixml parse of the same files as the yardstick of the load's time. A timed command-line run rather
// than a Google Benchmark, since one load of a large chip takes seconds and its peak memory is the other half
// of the result.
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QString>

#include <pugixml.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace vellxml::bench;

struct MessageCounts {
    long errors = 0;
    long warnings = 0;
    long logs = 0;
    bool verbose = false;
};

MessageCounts g_messages;
// Start of the load, so that verbose log lines show where the time goes file by file.
std::chrono::steady_clock::time_point g_loadStart;
// Messages beyond these are counted, not printed.
constexpr long kPrintedMessages = 20;

void onError(const char* text)
{
    if (++g_messages.errors <= kPrintedMessages)
        std::fprintf(stderr, "error: %s%s", text, text[0] && text[std::strlen(text) - 1] == '\n' ? "" : "\n");
}

void onWarning(const char* text)
{
    if (++g_messages.warnings <= kPrintedMessages)
        std::fprintf(
            stderr, "warning: %s%s", text, text[0] && text[std::strlen(text) - 1] == '\n' ? "" : "\n");
}

void onLog(const char* text)
{
    ++g_messages.logs;
    if (g_messages.verbose) {
        const double elapsed = secondsSince(g_loadStart);
        std::fprintf(stderr, "log %8.3f s: %s%s", elapsed, text,
            text[0] && text[std::strlen(text) - 1] == '\n' ? "" : "\n");
    }
}

/// What a loaded tree holds, counted by walking it once.
struct TreeCounts {
    std::int64_t elements = 0;
    std::int64_t structures = 0;
    std::int64_t arrays = 0;
    std::int64_t valuables = 0;
    std::int64_t bitfields = 0;
};

void count(const HwXMLElement* element, TreeCounts& counts)
{
    ++counts.elements;
    if (element->isArray()) {
        ++counts.arrays;
        for (const auto& item : static_cast<const HwArray*>(element)->getMemberList())
            count(item.get(), counts);
    } else if (element->isStruct()) {
        ++counts.structures;
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList())
            count(member.get(), counts);
    } else if (element->isValuable()) {
        // Pointed elements are built on demand and are not walked.
        ++counts.valuables;
        const auto* valuable = static_cast<const HwValuable*>(element);
        counts.bitfields += static_cast<std::int64_t>(valuable->getBitFields().size());
        counts.elements += static_cast<std::int64_t>(valuable->getBitFields().size());
    }
}

/// Instances whose address ranges overlap the next instance's (by base address).
int overlappingInstances(const HwRootArchive& root)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    for (const HwXMLElement* instance : root.getInstanciatedTemplates())
        ranges.emplace_back(instance->getBaseAddress(), instance->sizeOf());
    std::sort(ranges.begin(), ranges.end());
    int overlaps = 0;
    for (std::size_t i = 1; i < ranges.size(); ++i)
        if (ranges[i - 1].first + ranges[i - 1].second > ranges[i].first)
            ++overlaps;
    return overlaps;
}

/// The plain XML files the load read (encrypted archives are left out: pugixml cannot read them).
struct ParseResult {
    int files = 0;
    int skipped = 0;
    int failed = 0;
    double cpuSeconds = 0;
    double wallSeconds = 0;
};

/// Parses every archive file of the loaded chip with pugixml, one document at a time, each freed before the
/// next: the cost of reading the same XML into a DOM, in the same process and run as the load.
ParseResult parseWithPugixml(const HwRootArchive& root)
{
    ParseResult result;
    const double cpuStart = cpuSeconds();
    const auto wallStart = std::chrono::steady_clock::now();
    for (const auto& archive : root.getArchives()) {
        const QString file = archive->getTotalPath();
        if (!file.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive)) {
            ++result.skipped;
            continue;
        }
        pugi::xml_document document;
        if (document.load_file(file.toLocal8Bit().constData()))
            ++result.files;
        else
            ++result.failed;
    }
    result.cpuSeconds = cpuSeconds() - cpuStart;
    result.wallSeconds = secondsSince(wallStart);
    return result;
}

void usage()
{
    std::fprintf(stderr,
        "usage: vellxml_load_bench ROOT_FILE [--soft] [--verbose] [--checks] [--max-elements N]\n"
        "Loads ROOT_FILE once and prints the load's wall and CPU time, peak memory and what it built.\n"
        "--verbose prints the loader's log lines (one per file read) with the time since the load began.\n"
        "--checks runs the description checks during the load (their findings count as warnings).\n"
        "Exits 1 when the load fails or reports an error, 2 on bad arguments.\n");
}

} // namespace

int main(int argc, char** argv)
{
    QString path;
    bool chip = true;
    long long maxElements = -1;
    bool checks = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--soft") == 0) {
            chip = false;
        } else if (std::strcmp(argv[i], "--verbose") == 0) {
            g_messages.verbose = true;
        } else if (std::strcmp(argv[i], "--checks") == 0) {
            checks = true;
        } else if (std::strcmp(argv[i], "--max-elements") == 0 && i + 1 < argc) {
            char* end = nullptr;
            maxElements = std::strtoll(argv[++i], &end, 0);
            if (!end || *end || maxElements <= 0) {
                usage();
                return 2;
            }
        } else if (argv[i][0] != '-' && path.isEmpty()) {
            path = QString::fromLocal8Bit(argv[i]);
        } else {
            usage();
            return 2;
        }
    }
    if (path.isEmpty()) {
        usage();
        return 2;
    }

    auto memoryMap = std::make_unique<HwMemoryMap>();
    HwMemoryMapLoader loader;
    if (maxElements > 0)
        loader.limits().maxElements = maxElements;
    loader.checks().enabled = checks;

    const long baselinePeak = peakKiB();
    const long baselineCurrent = currentKiB();
    const double cpuStart = cpuSeconds();
    const double systemStart = systemSeconds();
    const long faultsStart = minorFaults();
    const auto wallStart = std::chrono::steady_clock::now();
    g_loadStart = wallStart;
    HwRootArchive* root =
        loader.loadRootArchiveFromFile(memoryMap.get(), path, onLog, onError, onWarning, chip);
    const auto wallEnd = std::chrono::steady_clock::now();
    const double cpuEnd = cpuSeconds();
    const double systemEnd = systemSeconds();
    const long faultsEnd = minorFaults();
    const long loadedPeak = peakKiB();
    const long loadedCurrent = currentKiB();

    const double wall = std::chrono::duration<double>(wallEnd - wallStart).count();
    std::printf("file:                %s\n", path.toLocal8Bit().constData());
    std::printf("result:              %s\n", root ? "loaded" : "failed");
    std::printf("errors:              %ld\n", g_messages.errors);
    std::printf("warnings:            %ld\n", g_messages.warnings);
    std::printf("log lines:           %ld\n", g_messages.logs);
    std::printf("load wall time:      %.3f s\n", wall);
    std::printf("load cpu time:       %.3f s\n", cpuEnd - cpuStart);
    std::printf(
        "load system time:    %.3f s (%ld page faults)\n", systemEnd - systemStart, faultsEnd - faultsStart);
    std::printf("peak rss:            %.1f MiB (ru_maxrss)\n", mib(loadedPeak));
    std::printf("peak rss increase:   %.1f MiB (over %.1f MiB before the load)\n",
        mib(loadedPeak - baselinePeak), mib(baselinePeak));
    if (baselineCurrent >= 0 && loadedCurrent >= 0)
        std::printf("rss after load:      %.1f MiB (+%.1f MiB)\n", mib(loadedCurrent),
            mib(loadedCurrent - baselineCurrent));

    TreeCounts types;
    TreeCounts placed;
    ParseResult parse;
    if (root) {
        // Walking the tree and parsing the files are not part of the load's time.
        std::int64_t typeNames = 0;
        for (const auto& archive : root->getArchives()) {
            typeNames += archive->getTemplateManager().getTypeNames().size();
            for (const auto& element : archive->getElements())
                count(element.get(), types);
        }
        for (const auto& element : root->getElements())
            count(element.get(), placed);
        std::printf("archives:            %zu\n", root->getArchives().size());
        std::printf("types:               %lld\n", static_cast<long long>(typeNames));
        std::printf("instances:           %zu (%d overlapping)\n", root->getInstanciatedTemplates().size(),
            overlappingInstances(*root));
        std::printf(
            "type elements:       %lld (%lld valuables, %lld bitfields, %lld structures, %lld arrays)\n",
            static_cast<long long>(types.elements), static_cast<long long>(types.valuables),
            static_cast<long long>(types.bitfields), static_cast<long long>(types.structures),
            static_cast<long long>(types.arrays));
        std::printf(
            "instance elements:   %lld (%lld valuables, %lld bitfields, %lld structures, %lld arrays)\n",
            static_cast<long long>(placed.elements), static_cast<long long>(placed.valuables),
            static_cast<long long>(placed.bitfields), static_cast<long long>(placed.structures),
            static_cast<long long>(placed.arrays));
        parse = parseWithPugixml(*root);
    }

    const double freeCpuStart = cpuSeconds();
    const double freeSystemStart = systemSeconds();
    const auto freeStart = std::chrono::steady_clock::now();
    memoryMap.reset();
    const auto freeEnd = std::chrono::steady_clock::now();
    const double freeCpu = cpuSeconds() - freeCpuStart;
    const double freeSystem = systemSeconds() - freeSystemStart;
    const double freeWall = std::chrono::duration<double>(freeEnd - freeStart).count();
    std::printf("unload wall time:    %.3f s\n", freeWall);
    std::printf("unload cpu time:     %.3f s\n", freeCpu);
    std::printf("unload system time:  %.3f s\n", freeSystem);

    if (root) {
        // The figures to compare between builds: memory per element of the model (the elements described
        // plus every instance's copy of them), teardown against load, load against a plain XML parse.
        const double loadCpu = cpuEnd - cpuStart;
        const std::int64_t elements = types.elements + placed.elements;
        const double peakBytes = static_cast<double>(loadedPeak - baselinePeak) * 1024.0;
        std::printf("summary elements:    %lld (%lld described, %lld in instances)\n",
            static_cast<long long>(elements), static_cast<long long>(types.elements),
            static_cast<long long>(placed.elements));
        if (elements > 0)
            std::printf("summary memory:      %.0f peak bytes per element (%.0f per described element)\n",
                peakBytes / static_cast<double>(elements),
                types.elements > 0 ? peakBytes / static_cast<double>(types.elements) : 0.0);
        if (loadCpu > 0) {
            std::printf("summary teardown:    %.1f %% of the load (cpu %.3f s of %.3f s)\n",
                100.0 * freeCpu / loadCpu, freeCpu, loadCpu);
            std::printf("summary parse:       %d files by pugixml in %.3f s cpu, %.3f s wall (%d encrypted "
                        "skipped, %d failed)\n",
                parse.files, parse.cpuSeconds, parse.wallSeconds, parse.skipped, parse.failed);
            if (parse.cpuSeconds > 0)
                std::printf("summary load/parse:  %.2f (cpu)\n", loadCpu / parse.cpuSeconds);
        }
    }

    return root && g_messages.errors == 0 ? 0 : 1;
}
