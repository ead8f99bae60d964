#include "kx_utils/kx_system_memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <sys/mman.h>

#include "kx_utils/kx_fault.h"

namespace orkan {

void *kx_system_malloc(kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr : std::malloc(to_size(bytes));
}

void *kx_system_realloc(void *old, kx_i64 bytes) {
    return bytes < 0 || kx_fault(kx_site::allocate, bytes) ? nullptr : std::realloc(old, to_size(bytes));
}

namespace {

/// For the whole huge pages inside the block only: its neighbours are not ours to advise.
void advise(void *block, kx_i64 bytes, int advice) {
    if (block != nullptr && bytes >= kWorthHugePages) {
        constexpr std::uintptr_t kMask = kHugePage - 1;
        const auto first = (reinterpret_cast<std::uintptr_t>(block) + kMask) & ~kMask;
        const auto end = (reinterpret_cast<std::uintptr_t>(block) + to_size(bytes)) & ~kMask;
        madvise(reinterpret_cast<void *>(first), end - first, advice);
    }
}

} // namespace

void kx_prefer_huge_pages(void *block, kx_i64 bytes) {
#ifdef MADV_HUGEPAGE
    advise(block, bytes, MADV_HUGEPAGE);
#endif
}

void kx_system_free(void *block) {
    advise(block, to_i64(malloc_usable_size(block)), MADV_DONTNEED);
    std::free(block);
}

void kx_move_bytes(void *to, void *from, kx_i64 bytes) {
    auto *target = static_cast<char *>(to), *source = static_cast<char *>(from);
    for (kx_i64 moved = 0; moved < bytes;) {
        const auto behind = to_i64(reinterpret_cast<std::uintptr_t>(source + moved) % kHugePage);
        const kx_i64 step = std::min(bytes - moved, kHugePage - behind);
        std::memcpy(target + moved, source + moved, to_size(step));
        if (step == kHugePage) {
            madvise(source + moved, kHugePage, MADV_DONTNEED);
        }
        moved += step;
    }
}

} // namespace orkan
