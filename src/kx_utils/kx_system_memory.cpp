#include "kx_utils/kx_system_memory.h"

#include <cstdlib>
#include <sys/mman.h>

#include "kx_utils/kx_fault.h"

namespace orkan {

void *kx_system_malloc(kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr : std::malloc(to_size(bytes));
}

void *kx_system_realloc(void *old, kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr : std::realloc(old, to_size(bytes));
}

/// Whole huge pages inside the block only: its neighbours are not ours to advise.
void kx_prefer_huge_pages(void *block, kx_i64 bytes) {
#ifdef MADV_HUGEPAGE
    if (block != nullptr && bytes >= kWorthHugePages) {
        constexpr std::uintptr_t kMask = kHugePage - 1;
        const auto first = (reinterpret_cast<std::uintptr_t>(block) + kMask) & ~kMask;
        const auto end = (reinterpret_cast<std::uintptr_t>(block) + to_size(bytes)) & ~kMask;
        madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
    }
#endif
}

} // namespace orkan
