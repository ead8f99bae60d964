// kx_pool_back.cpp: the stack of quick blocks at the top of the region.

#include "kx_memory/kx_pool_parts.h"
#include "orkan/kx_run_state.h"

namespace orkan {

kx_i64 _kx_qmalloc;

namespace mmu {

namespace {

kx_i64 *word_at(char *place) { return reinterpret_cast<kx_i64 *>(place); }

/// Takes the released blocks at the edge off the stack; their bytes.
kx_i64 pop_released(kx_mem_pool *pool) {
    kx_i64 popped = 0;
    while (pool->edge < pool->end && is_released(*word_at(pool->edge))) {
        const kx_i64 bytes = back_bytes(*word_at(pool->edge));
        KX_ASSERT(bytes >= kWordBytes && bytes <= pool->end - pool->edge);
        pool->edge += bytes;
        popped += bytes;
    }
    return popped;
}

} // namespace

kx_i64 *back_in_use(const kx_mem_pool *pool, const void *p) {
    const std::uintptr_t wanted = address(p) - kWordBytes;
    if (wanted < address(pool->edge) || wanted >= address(pool->end)) {
        return nullptr;
    }
    // The newest block is found at once; only one that is released out of order has to be searched for.
    char *place = pool->edge;
    while (address(place) < wanted) {
        KX_ASSERT(back_bytes(*word_at(place)) >= kWordBytes);
        place += back_bytes(*word_at(place));
    }
    return address(place) == wanted && !is_released(*word_at(place)) ? word_at(place) : nullptr;
}

void release_back(kx_mem_pool *pool, kx_i64 *word) {
    KX_ASSERT(!is_released(*word) && pool->qnum > 0);
    poison(word + 1, *word - kWordBytes);
    *word |= 1;
    --pool->qnum;
    const kx_i64 popped = pop_released(pool);
    if (popped == 0) {
        return; // newer blocks stand below it: its bytes come back with theirs
    }
    pool->lastarr_back = pool->edge < pool->end ? pool->edge + kWordBytes : nullptr;
    kx_mmu *tail = tail_of(pool);
    tail->size += popped;
    is_free(tail) ? poison(pool->edge - popped, popped) : unpoison(pool->edge - popped, popped);
    if (is_free(tail)) {
        pool->tail_lag -= popped; // often 0 now: taken and given back without the list having seen it
        settle_tail(pool);
    }
}

} // namespace mmu

using namespace mmu;

void *kx_qmalloc(kx_mem_pool *pool, kx_i64 n) {
    if (n < 0) {
        return nullptr;
    }
    count_call(_kx_qmalloc);
    kx_mmu *tail = tail_of(pool);
    const kx_i64 bytes = rounded(n) + kWordBytes;
    // kx_malloc and kx_malloc_hwm may have handed the tail out whole; then its top is somebody's data.
    if (!is_free(tail) || tail->size < bytes) {
        return kx_malloc(pool, n);
    }
    pool->edge -= bytes;
    unpoison(pool->edge, bytes);
    *word_at(pool->edge) = bytes;
    tail->size -= bytes;
    pool->tail_lag += bytes;
    ++pool->qnum;
    pool->lastarr_back = pool->edge + kWordBytes;
    return pool->lastarr_back;
}

} // namespace orkan
