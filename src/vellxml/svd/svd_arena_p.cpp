#include "svd_arena_p.h"

#include <vellxml/huge_blocks_p.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vellxml::svd_p {

namespace {

using vellxml::memory_p::kHugeBlock;
using vellxml::memory_p::mapHugeBlock;
using vellxml::memory_p::unmapHugeBlock;

/// The smallest block: most imports need two or three.
constexpr std::size_t blockSize = 2 * kHugeBlock;

std::size_t roundUp(std::size_t value, std::size_t align)
{
    return (value + align - 1) / align * align;
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
        unmapHugeBlock(block.base, block.size);
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
        const std::size_t bytes = std::max(blockSize, roundUp(size + align, kHugeBlock));
        char* const base = mapHugeBlock(bytes, true);
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
