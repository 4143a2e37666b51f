#ifndef VELLXML_HUGE_BLOCKS_P_H
#define VELLXML_HUGE_BLOCKS_P_H

#include <cstddef>

namespace vellxml::memory_p {

/// The size and alignment of a huge page (2 MiB).
inline constexpr std::size_t kHugeBlock = std::size_t {2} << 20;

/// `size` bytes (a multiple of kHugeBlock) that start on a kHugeBlock boundary, or null when no memory is
/// left. With `hugePages`, the system is asked to back them with huge pages where it can: on a virtual
/// machine the first touch of each 4 KiB page costs more than the work done in it, and a huge page takes
/// one fault per 2 MiB. Only touched pages take memory.
char* mapHugeBlock(std::size_t size, bool hugePages);
/// Gives back a block of mapHugeBlock().
void unmapHugeBlock(char* base, std::size_t size) noexcept;
/// Has the system give `size` bytes of memory from `start` (mapped, in small pages) now, in one call,
/// rather than a page at a time on first touches: on a virtual machine that costs about half. Does nothing
/// where the system cannot.
void populate(char* start, std::size_t size) noexcept;

} // namespace vellxml::memory_p

#endif
