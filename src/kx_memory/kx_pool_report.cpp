// kx_pool_report.cpp: what the pool tells about itself: the verbose report and the consistency check.

#include <algorithm>

#include "kx_memory/kx_pool_messages.h"
#include "kx_memory/kx_pool_parts.h"
#include "orkan/kx_run_state.h"

namespace orkan {

using namespace mmu;

namespace {

struct block_count {
    kx_i64 in_use = 0;
    kx_i64 free = 0;
};

/// P1 to P3; counts the front blocks.
const char *check_chain(const kx_mem_pool *pool, block_count &count) {
    const kx_mmu *sentinel = pool->edge_mmu;
    if (sentinel->status != 0 || sentinel->size != 0 || sentinel->next != pool->start) {
        return "P2: the sentinel";
    }
    const kx_mmu *previous = sentinel;
    const char *place = reinterpret_cast<const char *>(pool->start);
    for (const kx_mmu *block = sentinel->next; block != sentinel; previous = block, block = block->next) {
        if (reinterpret_cast<const char *>(block) != place || pool->edge - place < kHeaderBytes) {
            return "P2: a gap in front of a block";
        }
        if (block->prev != previous || (block->status != kMmuAllocated && block->status != kMmuFree)) {
            return "P2: a block's links or status";
        }
        if (!is_block_size(block->size) || block->size > pool->edge - payload_of(block)) {
            return "P1: a block's size";
        }
        if (is_free(block) && is_free(previous)) {
            return "P3: free neighbours";
        }
        ++(is_free(block) ? count.free : count.in_use);
        place = payload_of(block) + block->size;
    }
    return place == pool->edge && sentinel->prev == previous ? nullptr : "P2: the tail ends at the edge";
}

/// P4, for a chain that is in order. The list has as many entries as there are free blocks, all free and strictly
/// ascending, so each block stands in it once.
const char *check_free_list(const kx_mem_pool *pool, kx_i64 free_blocks) {
    const kx_list *list = pool->listFree;
    if (!kx_ring_check(list) || kx_list_len(list) != free_blocks) {
        return "P4: entries of the free list";
    }
    const kx_mmu *tail = tail_of(pool);
    if (pool->tail_lag != 0 && !is_free(tail)) {
        return "P4: a tail in use lags";
    }
    kx_i64 previous_size = -1;
    const void *previous = nullptr;
    for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
        const auto *block = static_cast<const kx_mmu *>(kx_list_get(list, i));
        if (address(block) < address(pool->start) || address(block) >= address(pool->edge) || !is_free(block)) {
            return "P4: an entry that is no free block";
        }
        const kx_i64 size = block->size + (block == tail ? pool->tail_lag : 0);
        if (size < previous_size || (size == previous_size && address(block) <= address(previous))) {
            return "P4: the order of the free list";
        }
        previous_size = size;
        previous = block;
    }
    return nullptr;
}

const char *check_back(const kx_mem_pool *pool) {
    kx_i64 in_use = 0;
    for (const char *place = pool->edge; place != pool->end;) {
        const kx_i64 word = *reinterpret_cast<const kx_i64 *>(place);
        const kx_i64 bytes = back_bytes(word);
        if (!is_block_size(bytes) || bytes < kWordBytes || bytes > pool->end - place) {
            return "P6: a back block's size";
        }
        if (is_released(word) && place == pool->edge) {
            return "P6: a released block at the edge";
        }
        in_use += is_released(word) ? 0 : 1;
        place += bytes;
    }
    const char *newest = pool->edge < pool->end ? pool->edge + kWordBytes : nullptr;
    return in_use == pool->qnum && newest == pool->lastarr_back ? nullptr : "P6: qnum or lastarr_back";
}

const char *check_system_list(const kx_mem_pool *pool) {
    const kx_list *list = &pool->listSystem;
    if (!kx_ring_check(list)) {
        return "system blocks: the list";
    }
    for (kx_i64 i = 1; i < kx_list_len(list); ++i) {
        if ((address(kx_list_get(list, i - 1)) | 1) >= (address(kx_list_get(list, i)) & ~std::uintptr_t{1})) {
            return "system blocks: the order";
        }
    }
    return nullptr;
}

} // namespace

const char *kx_pool_check(const kx_mem_pool *pool) {
    const bool aligned = address(pool->start) % kWordBytes == 0 && address(pool->edge) % kWordBytes == 0 &&
                         address(pool->end) % kWordBytes == 0;
    if (!aligned || pool->edge > pool->end) {
        return "P1: the bounds";
    }
    block_count count;
    if (const char *broken = check_chain(pool, count)) {
        return broken;
    }
    if (const char *broken = check_free_list(pool, count.free)) {
        return broken;
    }
    if (count.in_use != pool->num) {
        return "P5: num";
    }
    const char *broken = check_back(pool);
    return broken != nullptr ? broken : check_system_list(pool);
}

void kx_reset_pool_counters() {
    _kx_malloc = _kx_malloc_hwm = _kx_qmalloc = _kx_realloc = 0;
    _malloc = _realloc = _free = _qfree = 0;
}

void kx_memInfo_print(const kx_mem_pool *pool) {
    if (VERBOSE == 0) {
        return;
    }
    const kx_i64 free_blocks = kx_list_len(pool->listFree);
    kx_i64 total = 0;
    kx_i64 largest = 0;
    for (kx_i64 i = 0; i < free_blocks; ++i) {
        const kx_i64 size = static_cast<const kx_mmu *>(kx_list_get(pool->listFree, i))->size;
        total += size;
        largest = std::max(largest, size);
    }
    kx_say(msg::kPoolMallocCalls, _kx_malloc);
    kx_say(msg::kPoolMallocHwmCalls, _kx_malloc_hwm);
    kx_say(msg::kPoolQmallocCalls, _kx_qmalloc);
    kx_say(msg::kPoolReallocCalls, _kx_realloc);
    kx_say(msg::kSystemMallocCalls, _malloc);
    kx_say(msg::kSystemReallocCalls, _realloc);
    kx_say(msg::kSystemFreeCalls, _free);
    kx_say(msg::kSystemQfreeCalls, _qfree);
    kx_say(msg::kPoolBlocksInUse, pool->num, pool->qnum);
    kx_say(msg::kPoolFreeMemory, free_blocks, kib_round_up(total), kib_round_up(largest));
}

} // namespace orkan
