// Times the generators on a chip description: one load, then every output (C headers, both assembly headers,
// VHDL packages) written to a directory. A timed command-line run rather than a Google Benchmark: one pass
// over a large chip takes seconds, and its peak memory is the other half of the result.
//
// The in-memory pass produces the same texts without writing them, which tells the cost of producing text
// from that of the files.
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QDir>
#include <QString>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

namespace {

using namespace vellxml::bench;

/// Wall and CPU seconds of a step.
class Step {
public:
    explicit Step(const char* name)
        : m_name(name)
        , m_wall(std::chrono::steady_clock::now())
        , m_cpu(cpuSeconds())
    {
    }
    void report() const
    {
        const double wall = secondsSince(m_wall);
        std::fprintf(stderr, "%-28s wall %8.3f s   cpu %8.3f s   peak RSS %7.1f MiB\n", m_name, wall,
            cpuSeconds() - m_cpu, static_cast<double>(peakKiB()) / 1024.0);
    }

private:
    const char* m_name;
    std::chrono::steady_clock::time_point m_wall;
    double m_cpu;
};

int usage()
{
    std::fprintf(stderr,
        "usage: vellxml_gen_bench ROOT_FILE OUTPUT_DIRECTORY [--bitfields MODE] [--force-mask-shift] "
        "[--max-elements N]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return usage();
    const QString rootFile = QString::fromLocal8Bit(argv[1]);
    const QString output = QString::fromLocal8Bit(argv[2]);
    HwMemoryMap::m_bitfieldGen = 3;
    long long maxElements = 0;
    for (int i = 3; i < argc; ++i) {
        if (std::strcmp(argv[i], "--bitfields") == 0 && i + 1 < argc)
            HwMemoryMap::m_bitfieldGen = static_cast<unsigned int>(std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "--force-mask-shift") == 0)
            HwMemoryMap::m_forceMaskShift = true;
        else if (std::strcmp(argv[i], "--max-elements") == 0 && i + 1 < argc)
            maxElements = std::atoll(argv[++i]);
        else
            return usage();
    }

    HwMemoryMap map;
    map.setGenerateArmAsm(true);
    HwMemoryMapLoader loader;
    if (maxElements > 0)
        loader.limits().maxElements = maxElements;
    {
        const Step step("load");
        if (!loader.loadRootArchiveFromFile(&map, rootFile, nullptr, onLoadError, onLoadError, true)
            || loadErrors()) {
            std::fprintf(stderr, "vellxml_gen_bench: the load failed\n");
            return 1;
        }
        step.report();
    }
    HwRootArchive* root = map.getChipRootArchive();

    // Texts only: what producing them costs.
    long long characters = 0;
    {
        const Step step("texts in memory");
        for (const auto& archive : root->getArchives()) {
            characters += archive->c_content().size();
            characters += archive->asm_content().size();
            characters += archive->asmarm_content().size();
            characters += archive->vhdl_content().size();
        }
        step.report();
    }
    std::fprintf(stderr, "%-28s %lld characters in %zu archives\n", "produced", characters,
        root->getArchives().size());

    // The generators' progress lines go to standard output; the figures go to standard error.
    {
        const Step step("C and assembly headers");
        if (!map.generateCHeaders(output, true))
            std::fprintf(stderr, "vellxml_gen_bench: some headers were not written\n");
        std::fflush(stdout);
        step.report();
    }
    {
        const Step step("VHDL packages");
        if (!map.generateVHDL(output))
            std::fprintf(stderr, "vellxml_gen_bench: some packages were not written\n");
        std::fflush(stdout);
        step.report();
    }
    return 0;
}
