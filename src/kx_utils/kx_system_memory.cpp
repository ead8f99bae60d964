#include "kx_utils/kx_system_memory.h"

#include <cstdlib>
#include <sys/mman.h>

#include "kx_utils/kx_fault.h"

namespace orkan {

namespace {

constexpr kx_i64 kHugePage = kx_i64{2} << 20;
constexpr kx_i64 kWorthAsking = 2 * kHugePage; ///< below, less than one aligned huge page may fit

/// Whole huge pages inside the block only: its neighbours are not ours to advise.
void *with_huge_pages(void *block, kx_i64 bytes) {
#ifdef MADV_HUGEPAGE
    if (block != nullptr && bytes >= kWorthAsking) {
        constexpr auto kMask = static_cast<std::uintptr_t>(kHugePage - 1);
        const auto first = (reinterpret_cast<std::uintptr_t>(block) + kMask) & ~kMask;
        const auto end = (reinterpret_cast<std::uintptr_t>(block) + to_size(bytes)) & ~kMask;
        madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
    }
#endif
    return block;
}

} // namespace

void *kx_system_malloc(kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr
                                                           : with_huge_pages(std::malloc(to_size(bytes)), bytes);
}

void *kx_system_realloc(void *old, kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr
                                                           : with_huge_pages(std::realloc(old, to_size(bytes)), bytes);
}

} // namespace orkan
