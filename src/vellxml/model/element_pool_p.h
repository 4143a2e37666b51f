#ifndef VELLXML_MODEL_ELEMENT_POOL_P_H
#define VELLXML_MODEL_ELEMENT_POOL_P_H

#include <cstddef>

namespace vellxml::model_p {

/// Memory for the model's small objects (elements, their side structures, bit groups) from the element
/// pool: made by a load by the million and deleted with their chip, they cost the general heap's
/// bookkeeping twice each. Sizes the pool does not serve (and every size in sanitizer builds) come from the
/// general heap; poolRelease must be given the size that poolAllocate was.
void* poolAllocate(std::size_t size);
void poolRelease(void* block, std::size_t size) noexcept;

} // namespace vellxml::model_p

#endif
