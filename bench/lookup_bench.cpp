// Times path lookups on a loaded chip: random register and bitfield paths resolved through
// HwMemoryMap::getElementFromPath. A timed command-line run like vellxml_load_bench: the chip takes seconds
// to load, and the memory the lookup indexes add is the other half of the result.
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace vellxml::bench;

/// Every register and bitfield below the element (pointed elements are not made).
void collect(HwXMLElement* element, std::vector<HwXMLElement*>& registers, std::vector<HwXMLElement*>& fields)
{
    if (element->isArray()) {
        for (const auto& item : static_cast<HwArray*>(element)->getMemberList())
            collect(item.get(), registers, fields);
    } else if (element->isStruct()) {
        for (const auto& member : static_cast<HwStruct*>(element)->getMemberList())
            collect(member.get(), registers, fields);
    } else if (element->isValuable() && !element->isPointer()) {
        registers.push_back(element);
        for (const auto& field : static_cast<HwValuable*>(element)->getBitFields())
            fields.push_back(field.get());
    }
}

/// Resolves every path once; returns the seconds taken and counts the answers that are not the expected
/// element.
double cpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct PassTimes {
    double wall = 0;
    double cpu = 0;
    long wrong = 0;
};

/// Resolves every path once, counting the answers that are not the expected element.
PassTimes resolveAll(
    const HwMemoryMap& map, const std::vector<QString>& paths, const std::vector<HwXMLElement*>& expected)
{
    PassTimes times;
    const double cpuStart = cpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (map.getElementFromPath(paths[i]) != expected[i])
            ++times.wrong;
    }
    times.wall = secondsSince(start);
    times.cpu = cpuSeconds() - cpuStart;
    return times;
}

void usage()
{
    std::fprintf(stderr,
        "usage: vellxml_lookup_bench ROOT_FILE [--lookups N] [--seed N] [--max-elements N]\n"
        "Loads ROOT_FILE, picks N (100000) random register and bitfield paths, half of each, and times\n"
        "their resolution through HwMemoryMap::getElementFromPath: a first pass, which builds the name\n"
        "indexes, and a second one. Exits 1 when the load fails or a path resolves to another element,\n"
        "2 on bad arguments.\n");
}

bool readCount(const char* text, long long& value)
{
    char* end = nullptr;
    value = std::strtoll(text, &end, 0);
    return end && !*end && value > 0;
}

} // namespace

int main(int argc, char** argv)
{
    QString path;
    long long lookups = 100000;
    long long seed = 1;
    long long maxElements = -1;
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "--lookups") == 0 && hasValue) {
            if (!readCount(argv[++i], lookups))
                return usage(), 2;
        } else if (std::strcmp(argv[i], "--seed") == 0 && hasValue) {
            if (!readCount(argv[++i], seed))
                return usage(), 2;
        } else if (std::strcmp(argv[i], "--max-elements") == 0 && hasValue) {
            if (!readCount(argv[++i], maxElements))
                return usage(), 2;
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

    HwMemoryMap map;
    HwMemoryMapLoader loader;
    if (maxElements > 0)
        loader.limits().maxElements = maxElements;
    const auto loadStart = std::chrono::steady_clock::now();
    HwRootArchive* root = loader.loadRootArchiveFromFile(&map, path, nullptr, onLoadError, nullptr, true);
    const double loadSeconds = secondsSince(loadStart);
    if (!root || loadErrors() != 0) {
        std::fprintf(stderr, "vellxml_lookup_bench: the load failed\n");
        return 1;
    }
    const long loadedPeak = peakKiB();

    std::vector<HwXMLElement*> registers;
    std::vector<HwXMLElement*> fields;
    for (HwXMLElement* instance : root->getInstanciatedTemplates())
        collect(instance, registers, fields);
    if (registers.empty() || fields.empty()) {
        std::fprintf(stderr, "vellxml_lookup_bench: the chip has no registers or no bitfields\n");
        return 1;
    }

    // Half registers, half bitfields, drawn with a fixed seed; the paths are made before the clock starts.
    std::mt19937_64 random(static_cast<std::uint64_t>(seed));
    std::vector<HwXMLElement*> expected;
    std::vector<QString> paths;
    expected.reserve(static_cast<std::size_t>(lookups));
    paths.reserve(static_cast<std::size_t>(lookups));
    for (long long i = 0; i < lookups; ++i) {
        const std::vector<HwXMLElement*>& pool = i % 2 == 0 ? registers : fields;
        HwXMLElement* element = pool[std::uniform_int_distribution<std::size_t>(0, pool.size() - 1)(random)];
        expected.push_back(element);
        paths.push_back(element->getPath());
    }

    // Memory measured from here on is the lookups' own: the name indexes they build, pointed elements.
    const long loadedCurrent = currentKiB();
    const PassTimes first = resolveAll(map, paths, expected);
    const long indexedCurrent = currentKiB();
    const PassTimes second = resolveAll(map, paths, expected);

    std::printf("file:                %s\n", path.toLocal8Bit().constData());
    std::printf("load wall time:      %.3f s\n", loadSeconds);
    std::printf("registers:           %zu\n", registers.size());
    std::printf("bitfields:           %zu\n", fields.size());
    std::printf("lookups:             %lld (half registers, half bitfields; seed %lld)\n", lookups, seed);
    std::printf("first pass:          %.3f s wall, %.3f s cpu (%.2f us per path; builds the name indexes)\n",
        first.wall, first.cpu, first.wall * 1e6 / static_cast<double>(lookups));
    std::printf("second pass:         %.3f s wall, %.3f s cpu (%.2f us per path)\n", second.wall, second.cpu,
        second.wall * 1e6 / static_cast<double>(lookups));
    std::printf("wrong answers:       %ld, %ld\n", first.wrong, second.wrong);
    std::printf("peak rss after load: %.1f MiB (ru_maxrss)\n", mib(loadedPeak));
    if (loadedCurrent >= 0 && indexedCurrent >= 0)
        std::printf(
            "rss before lookups:  %.1f MiB; after the first pass %.1f MiB (+%.1f MiB: name indexes)\n",
            mib(loadedCurrent), mib(indexedCurrent), mib(indexedCurrent - loadedCurrent));
    std::printf("peak rss at the end: %.1f MiB (ru_maxrss)\n", mib(peakKiB()));
    return first.wrong == 0 && second.wrong == 0 ? 0 : 1;
}
