// Times the HTML documentation of a chip: one load, then one HwMemoryMap::generateDocumentation into an
// output directory; prints the wall and CPU time of each, the peak resident set size and the size of what
// was written. A timed command-line run, like vellxml_load_bench.
//
//   vellxml_doc_bench ROOT_FILE OUTPUT_DIRECTORY
#include "bench_support.h"

#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QString>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sys/resource.h>

namespace {

using namespace vellxml::bench;

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: vellxml_doc_bench ROOT_FILE OUTPUT_DIRECTORY\n");
        return 2;
    }
    HwMemoryMap map;
    HwMemoryMapLoader loader;
    auto start = std::chrono::steady_clock::now();
    double cpu = cpuSeconds();
    if (!loader.loadRootArchiveFromFile(
            &map, QString::fromLocal8Bit(argv[1]), nullptr, onLoadError, onLoadError, true)
        || loadErrors()) {
        std::fprintf(stderr, "the chip did not load\n");
        return 1;
    }
    std::printf("load wall time:      %.3f s\nload cpu time:       %.3f s\npeak rss after load: %.1f MiB\n",
        secondsSince(start), cpuSeconds() - cpu, mib(peakKiB()));

    const QString output = QString::fromLocal8Bit(argv[2]);
    start = std::chrono::steady_clock::now();
    cpu = cpuSeconds();
    QString error;
    if (!map.generateDocumentation(output, &error)) {
        std::fprintf(stderr, "%s\n", error.toLocal8Bit().constData());
        return 1;
    }
    std::printf("doc wall time:       %.3f s\ndoc cpu time:        %.3f s\npeak rss:            %.1f MiB\n",
        secondsSince(start), cpuSeconds() - cpu, mib(peakKiB()));

    long long bytes = 0;
    long files = 0;
    long pages = 0;
    long long largestPage = 0;
    QDirIterator it(output, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        bytes += info.size();
        ++files;
        if (info.suffix() == QLatin1String("html") && info.dir() == QDir(output)) {
            ++pages;
            largestPage = std::max(largestPage, static_cast<long long>(info.size()));
        }
    }
    std::printf("output:              %ld files, %.1f MiB (%ld pages, the largest %.1f KiB)\n", files,
        static_cast<double>(bytes) / 1048576.0, pages, static_cast<double>(largestPage) / 1024.0);
    return 0;
}
