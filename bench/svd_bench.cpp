// Times the import of CMSIS-SVD files beside the load of what the import writes: the median CPU time of a
// number of runs and the peak memory of each step, each run in a child process of its own so that one
// step's peak does not hide the other's. Import and load runs alternate, so that a machine busy with other
// work slows both alike. A timed command-line run, like the load benchmark.
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/svd/svd_import.h>

#include <QFileInfo>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vellxml::bench;

struct Run {
    double cpu = 0; ///< user and system CPU seconds
    long peakKiB = 0;
    bool ok = false;
};

struct Step {
    std::vector<double> cpu; ///< of every run
    long peakKiB = 0; ///< largest peak resident memory of the runs
    bool ok = true;
    void add(const Run& run)
    {
        cpu.push_back(run.cpu);
        peakKiB = std::max(peakKiB, run.peakKiB);
        ok = ok && run.ok;
    }
    double median() const
    {
        std::vector<double> sorted = cpu;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0 : sorted[sorted.size() / 2];
    }
};

void quiet(const char*)
{
}

/// Runs `work` once in a child process.
template<typename Work>
Run measure(Work work)
{
    Run run;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
        std::_Exit(work() ? 0 : 1);
    int status = 0;
    rusage usage {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child)
        return run;
    run.cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    run.peakKiB = usage.ru_maxrss;
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

} // namespace

int main(int argc, char** argv)
{
    int first = 2;
    int runs = 11;
    if (argc > 3 && std::strcmp(argv[1], "--runs") == 0) {
        runs = std::max(1, std::atoi(argv[2]));
        first = 4;
    }
    if (argc < first + 1) {
        std::fprintf(stderr, "usage: %s [--runs N] OUTPUT_DIR FILE.svd...\n", argv[0]);
        return 2;
    }
    const QString output = QString::fromLocal8Bit(argv[first - 1]);
    std::printf("median of %d runs\n", runs);
    std::printf("%-28s %9s %12s %9s %12s %9s %12s %6s\n", "file", "size KiB", "import cpu s", "peak MiB",
        "load cpu s", "peak MiB", "import/load", "");
    int failures = 0;
    for (int i = first; i < argc; ++i) {
        const QString svd = QString::fromLocal8Bit(argv[i]);
        const QString dir = output + QLatin1Char('/') + QFileInfo(svd).completeBaseName();
        Step import;
        Step load;
        for (int run = 0; run < runs; ++run) {
            import.add(measure([&] { return importSvdFile(svd, dir, onLoadError, quiet); }));
            load.add(measure([&] {
                HwMemoryMap map;
                HwMemoryMapLoader loader;
                return loader.loadRootArchiveFromFile(
                           &map, dir + QStringLiteral("/chip.xml"), nullptr, onLoadError, nullptr, true)
                    != nullptr;
            }));
        }
        const double ratio = import.median() / std::max(load.median(), 1e-6);
        const bool ok = import.ok && load.ok;
        failures += ok ? 0 : 1;
        std::printf("%-28s %9lld %12.3f %9.1f %12.3f %9.1f %12.2f %6s\n",
            qPrintable(QFileInfo(svd).completeBaseName()),
            static_cast<long long>(QFileInfo(svd).size() / 1024), import.median(), mib(import.peakKiB),
            load.median(), mib(load.peakKiB), ratio, ok ? "" : "FAILED");
    }
    return failures == 0 ? 0 : 1;
}
