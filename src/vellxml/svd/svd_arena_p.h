#ifndef VELLXML_SVD_SVD_ARENA_P_H
#define VELLXML_SVD_SVD_ARENA_P_H

#include <cstddef>
#include <vector>

namespace vellxml::svd_p {

/// Memory that an import takes piece by piece and gives back all at once: the SVD text and its parse
/// tree, the texts read from it, the archives written.
///
/// An import touches some megabytes of fresh memory once, and on a virtual machine the first touch of each
/// 4 KiB page (a page fault) costs more than the work done in it. The arena takes its memory in large
/// blocks aligned to 2 MiB and asks the kernel for transparent huge pages there, so that one fault maps
/// 2 MiB. Where that is not available the blocks are ordinary memory. Pieces are never freed one by one.
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

} // namespace vellxml::svd_p

#endif
