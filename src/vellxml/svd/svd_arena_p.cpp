#include "svd_arena_p.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vellxml::svd_p {

namespace {

constexpr std::size_t hugePage = std::size_t {2} << 20;
/// The smallest block: most imports need two or three.
constexpr std::size_t blockSize = std::size_t {4} << 20;

std::size_t roundUp(std::size_t value, std::size_t align)
{
    return (value + align - 1) / align * align;
}

char* mapBlock(std::size_t size)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Mapped with a huge page of slack and trimmed to a 2 MiB aligned start: only whole aligned 2 MiB
    // ranges can be huge pages. Only touched pages take memory.
    void* const mapped =
        mmap(nullptr, size + hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t aligned = roundUp(start, hugePage);
    if (aligned > start)
        munmap(mapped, aligned - start);
    if (const std::size_t tail = hugePage - (aligned - start); tail > 0)
        munmap(reinterpret_cast<void*>(aligned + size), tail);
    madvise(reinterpret_cast<void*>(aligned), size, MADV_HUGEPAGE);
    return reinterpret_cast<char*>(aligned);
#else
    return static_cast<char*>(std::malloc(size));
#endif
}

void unmapBlock(char* base, std::size_t size)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    munmap(base, size);
#else
    (void)size;
    std::free(base);
#endif
}

} // namespace

SvdArena::SvdArena(SvdArena&& other) noexcept
    : m_blocks(std::move(other.m_blocks))
    , m_next(std::exchange(other.m_next, nullptr))
    , m_end(std::exchange(other.m_end, nullptr))
{
    other.m_blocks.clear();
}

SvdArena& SvdArena::operator=(SvdArena&& other) noexcept
{
    if (this != &other) {
        release();
        m_blocks = std::move(other.m_blocks);
        other.m_blocks.clear();
        m_next = std::exchange(other.m_next, nullptr);
        m_end = std::exchange(other.m_end, nullptr);
    }
    return *this;
}

SvdArena::~SvdArena()
{
    release();
}

void SvdArena::release()
{
    for (const Block& block : m_blocks)
        unmapBlock(block.base, block.size);
    m_blocks.clear();
    m_next = nullptr;
    m_end = nullptr;
}

void* SvdArena::allocate(std::size_t size, std::size_t align)
{
    for (;;) {
        const auto next = reinterpret_cast<std::uintptr_t>(m_next);
        const std::uintptr_t at = roundUp(next, align);
        if (m_next != nullptr && at <= reinterpret_cast<std::uintptr_t>(m_end)
            && size <= std::size_t(reinterpret_cast<std::uintptr_t>(m_end) - at)) {
            m_next = reinterpret_cast<char*>(at + size);
            return reinterpret_cast<char*>(at);
        }
        // A new block, with room for the alignment; the rest of the last one stays unused.
        const std::size_t bytes = std::max(blockSize, roundUp(size + align, hugePage));
        char* const base = mapBlock(bytes);
        if (base == nullptr)
            return nullptr;
        m_blocks.push_back({base, bytes});
        m_next = base;
        m_end = base + bytes;
    }
}

bool SvdArena::resize(void* at, std::size_t size, std::size_t newSize)
{
    char* const piece = static_cast<char*>(at);
    if (piece + size != m_next || (newSize > size && newSize - size > std::size_t(m_end - m_next)))
        return false;
    m_next = piece + newSize;
    return true;
}

bool SvdArena::contains(const void* p) const
{
    const char* const c = static_cast<const char*>(p);
    return std::any_of(m_blocks.begin(), m_blocks.end(),
        [c](const Block& block) { return c >= block.base && c < block.base + block.size; });
}

} // namespace vellxml::svd_p
