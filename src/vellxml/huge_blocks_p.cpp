#include "huge_blocks_p.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vellxml::memory_p {

char* mapHugeBlock(std::size_t size, bool hugePages)
{
#if defined(__linux__)
    // Mapped with a block of slack and trimmed to an aligned start: only whole aligned 2 MiB ranges can be
    // huge pages, and the owner of the block may find its start by rounding an address in it down.
    void* const mapped =
        mmap(nullptr, size + kHugeBlock, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t aligned = (start + kHugeBlock - 1) & ~(std::uintptr_t {kHugeBlock} - 1);
    if (aligned > start)
        munmap(mapped, aligned - start);
    if (const std::size_t tail = kHugeBlock - (aligned - start); tail > 0)
        munmap(reinterpret_cast<void*>(aligned + size), tail);
#if defined(MADV_HUGEPAGE)
    if (hugePages)
        madvise(reinterpret_cast<void*>(aligned), size, MADV_HUGEPAGE);
#else
    (void)hugePages;
#endif
    return reinterpret_cast<char*>(aligned);
#else
    (void)hugePages;
    return static_cast<char*>(::operator new(size, std::align_val_t {kHugeBlock}, std::nothrow));
#endif
}

void populate(char* start, std::size_t size) noexcept
{
#if defined(__linux__)
#if !defined(MADV_POPULATE_WRITE)
    constexpr int MADV_POPULATE_WRITE = 23; // Linux 5.14
#endif
    // A kernel without it refuses it once; it is not asked again.
    static std::atomic<bool> refused {false};
    if (!refused.load(std::memory_order_relaxed) && madvise(start, size, MADV_POPULATE_WRITE) != 0
        && errno == EINVAL)
        refused.store(true, std::memory_order_relaxed);
#else
    (void)start;
    (void)size;
#endif
}

void unmapHugeBlock(char* base, std::size_t size) noexcept
{
#if defined(__linux__)
    munmap(base, size);
#else
    (void)size;
    ::operator delete(base, std::align_val_t {kHugeBlock});
#endif
}

} // namespace vellxml::memory_p
