// Times the import of CMSIS-SVD files beside the load of what the import writes: CPU and wall time (best
// of a few runs) and the peak memory of each step, measured in a child process of its own so that one
// step's peak does not hide the other's. A timed command-line run, like the load benchmark.
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/svd/svd_import.h>

#include <QFileInfo>
#include <QString>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vellxml::bench;

struct Step {
    double cpu = 1e9; ///< best CPU seconds
    double wall = 1e9; ///< best wall seconds
    long peakKiB = 0; ///< largest peak resident memory of the runs
    bool ok = true;
};

void quiet(const char*)
{
}

/// Runs `work` in a child process `runs` times and keeps the best times and the largest peak.
template<typename Work>
Step measure(int runs, Work work)
{
    Step step;
    for (int i = 0; i < runs; ++i) {
        std::fflush(nullptr);
        const auto start = std::chrono::steady_clock::now();
        const pid_t child = fork();
        if (child == 0)
            std::_Exit(work() ? 0 : 1);
        int status = 0;
        rusage usage {};
        if (child < 0 || wait4(child, &status, 0, &usage) != child) {
            step.ok = false;
            return step;
        }
        const double wall = secondsSince(start);
        const double cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
            + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
        step.ok = step.ok && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        step.cpu = std::min(step.cpu, cpu);
        step.wall = std::min(step.wall, wall);
        step.peakKiB = std::max(step.peakKiB, long(usage.ru_maxrss));
    }
    return step;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIR FILE.svd...\n", argv[0]);
        return 2;
    }
    const QString output = QString::fromLocal8Bit(argv[1]);
    constexpr int runs = 5;
    std::printf("%-28s %9s %12s %9s %12s %9s %12s %6s\n", "file", "size KiB", "import cpu s", "peak MiB",
        "load cpu s", "peak MiB", "import/load", "");
    int failures = 0;
    for (int i = 2; i < argc; ++i) {
        const QString svd = QString::fromLocal8Bit(argv[i]);
        const QString dir = output + QLatin1Char('/') + QFileInfo(svd).completeBaseName();
        const Step import = measure(runs, [&] { return importSvdFile(svd, dir, onLoadError, quiet); });
        const Step load = measure(runs, [&] {
            HwMemoryMap map;
            HwMemoryMapLoader loader;
            return loader.loadRootArchiveFromFile(
                       &map, dir + QStringLiteral("/chip.xml"), nullptr, onLoadError, nullptr, true)
                != nullptr;
        });
        const double ratio = import.cpu / std::max(load.cpu, 1e-6);
        const bool ok = import.ok && load.ok;
        failures += ok ? 0 : 1;
        std::printf("%-28s %9lld %12.3f %9.1f %12.3f %9.1f %12.2f %6s\n",
            qPrintable(QFileInfo(svd).completeBaseName()),
            static_cast<long long>(QFileInfo(svd).size() / 1024), import.cpu, mib(import.peakKiB), load.cpu,
            mib(load.peakKiB), ratio, ok ? "" : "FAILED");
    }
    return failures == 0 ? 0 : 1;
}
