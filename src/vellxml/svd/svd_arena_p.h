#ifndef VELLXML_SVD_SVD_ARENA_P_H
#define VELLXML_SVD_SVD_ARENA_P_H

#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

namespace vellxml::svd_p {

/// Memory that an import takes piece by piece and gives back all at once: the SVD text and its table of
/// line starts, the texts read from it, the archives written.
///
/// An import touches some megabytes of fresh memory once, and on a virtual machine the first touch of each
/// 4 KiB page (a page fault) costs more than the work done in it. The arena takes its memory in blocks of
/// huge pages (memory_p::mapHugeBlock), so that one fault maps 2 MiB. Pieces are never freed one by one.
class SvdArena {
public:
    SvdArena() = default;
    SvdArena(SvdArena&& other) noexcept;
    SvdArena& operator=(SvdArena&& other) noexcept;
    SvdArena(const SvdArena&) = delete;
    SvdArena& operator=(const SvdArena&) = delete;
    ~SvdArena();

    /// `size` bytes aligned to `align` (a power of two); null when no memory is left.
    void* allocate(std::size_t size, std::size_t align = alignof(std::max_align_t));
    /// Makes the piece at `at` of `size` bytes `newSize` bytes long where it lies: possible when it is the
    /// last piece taken and, to grow, its block has room.
    bool resize(void* at, std::size_t size, std::size_t newSize);
    /// Whether `p` lies in memory of this arena.
    bool contains(const void* p) const;

private:
    struct Block {
        char* base;
        std::size_t size;
    };
    void release();

    std::vector<Block> m_blocks;
    char* m_next = nullptr; ///< free room of the last block
    char* m_end = nullptr;
};

/// An allocator for std::vector that takes memory from an arena, or from the heap without one (or when the
/// arena has none left). Memory of the arena is given back with the arena. It travels with the memory when
/// a vector is copied, moved or swapped.
template<typename T>
class SvdAllocator {
public:
    using value_type = T;
    using propagate_on_container_copy_assignment = std::true_type;
    using propagate_on_container_move_assignment = std::true_type;
    using propagate_on_container_swap = std::true_type;

    SvdAllocator() noexcept = default;
    explicit SvdAllocator(SvdArena* arena) noexcept
        : m_arena(arena)
    {
    }
    template<typename U>
    SvdAllocator(const SvdAllocator<U>& other) noexcept
        : m_arena(other.arena())
    {
    }

    T* allocate(std::size_t n)
    {
        if (m_arena != nullptr) {
            if (void* const p = m_arena->allocate(n * sizeof(T), alignof(T)))
                return static_cast<T*>(p);
        }
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) noexcept
    {
        if (m_arena == nullptr || !m_arena->contains(p))
            std::allocator<T>().deallocate(p, n);
    }
    SvdArena* arena() const noexcept { return m_arena; }

    friend bool operator==(const SvdAllocator& a, const SvdAllocator& b) noexcept
    {
        return a.m_arena == b.m_arena;
    }
    friend bool operator!=(const SvdAllocator& a, const SvdAllocator& b) noexcept
    {
        return a.m_arena != b.m_arena;
    }

private:
    SvdArena* m_arena = nullptr;
};

template<typename T>
using SvdVector = std::vector<T, SvdAllocator<T>>;

} // namespace vellxml::svd_p

#endif
