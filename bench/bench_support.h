#ifndef VELLXML_BENCH_BENCH_SUPPORT_H
#define VELLXML_BENCH_BENCH_SUPPORT_H

// Measurements shared by the timed benchmark programs: CPU time, resident memory, load errors.

#include <chrono>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace vellxml::bench {

/// User and system CPU seconds of the process so far.
inline double cpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

/// System CPU seconds of the process so far (the kernel's share: page faults, reads).
inline double systemSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_stime.tv_sec) + static_cast<double>(usage.ru_stime.tv_usec) / 1e6;
}

/// Page faults of the process so far that were served without reading from disk (first touches of memory).
inline long minorFaults()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

/// Wall seconds since `since`.
inline double secondsSince(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

/// Peak resident set size so far, in kibibytes (Linux reports ru_maxrss in KiB).
inline long peakKiB()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Current resident set size in kibibytes, or -1 where /proc is not available.
inline long currentKiB()
{
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    if (!file)
        return -1;
    long pages = 0;
    long resident = -1;
    if (std::fscanf(file, "%ld %ld", &pages, &resident) != 2)
        resident = -1;
    std::fclose(file);
    return resident < 0 ? -1 : resident * (sysconf(_SC_PAGESIZE) / 1024);
}

inline double mib(long kib)
{
    return static_cast<double>(kib) / 1024.0;
}

/// Errors reported by the loads of this process.
inline long& loadErrors()
{
    static long count = 0;
    return count;
}

/// A load's error callback: counts every error and prints the first twenty.
inline void onLoadError(const char* text)
{
    if (++loadErrors() <= 20)
        std::fprintf(stderr, "error: %s\n", text);
}

} // namespace vellxml::bench

#endif
