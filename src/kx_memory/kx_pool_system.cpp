// kx_pool_system.cpp: blocks that the exhausted pool took from the system.
//
// The pool keeps the address of each one, also after its release. Blocks left over when the pool ends go with it, and
// a second release, which the CSV sorts do at the end of a run, is recognised instead of reaching the C library. An
// address that the system hands out again counts as in use again. When there is no memory to keep an address, the
// request is refused. Memory that others took from the system and hand to the pool's free operations is passed on,
// too.

#include <cstdlib>

#include "kx_memory/kx_pool_messages.h"
#include "kx_memory/kx_pool_parts.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_run_state.h"

namespace orkan {

kx_i64 _malloc, _realloc, _free, _qfree;

namespace mmu {

namespace {

/// Entries are addresses with the mark in bit 0; blocks lie on even addresses.
std::uintptr_t address_of_entry(const void *entry) { return address(entry) & ~std::uintptr_t{1}; }

int order_entries(const void *a, const void *b) { return address_of_entry(a) > address_of_entry(b) ? 1 : -1; }

int order_key(const void *key, const void *entry, kx_i64 /*slot*/) {
    return address_of_entry(key) == address_of_entry(entry) ? 0 : order_entries(key, entry);
}

kx_i64 find(const kx_mem_pool *pool, const void *p) {
    return kx_list_search_pos_dichotomize(&pool->listSystem, p, order_key);
}

bool is_marked_released(const kx_mem_pool *pool, kx_i64 entry) {
    return entry >= 0 && (address(kx_list_get(&pool->listSystem, entry)) & 1) != 0;
}

void mark_released(kx_mem_pool *pool, kx_i64 entry) {
    if (entry >= 0) {
        const std::uintptr_t marked = address(kx_list_get(&pool->listSystem, entry)) | 1;
        kx_list_set(&pool->listSystem, entry, reinterpret_cast<void *>(marked));
    }
}

/// Room for one more address; false when memory for it is refused.
bool reserve_entry(kx_mem_pool *pool) {
    kx_list *list = &pool->listSystem;
    if (kx_ring_at_end(list)) {
        if (kx_list_append_memPool(list, nullptr) != 0) {
            return false;
        }
        --list->len;
    }
    return true;
}

/// After reserve_entry.
void *remember(kx_mem_pool *pool, void *p) {
    kx_list *list = &pool->listSystem;
    const kx_i64 entry = find(pool, p);
    if (entry >= 0) {
        kx_list_set(list, entry, p);
    } else {
        KX_ASSERT(!kx_ring_at_end(list));
        kx_list_append_memPool(list, p);
        kx_list_isort2(list, kx_list_len(list) - 1, order_entries);
    }
    return p;
}

} // namespace

bool is_system(const kx_mem_pool *pool, const void *p) {
    if (pool->autoExtend != 1) {
        return false;
    }
    if (address(p) == address(pool->end)) {
        // A block of 0 bytes at the very top of the region, or one that the system placed right behind it.
        const kx_i64 entry = find(pool, p);
        return entry >= 0 && !is_marked_released(pool, entry);
    }
    return address(p) < address(pool->start) || address(p) > address(pool->end);
}

void *system_malloc(kx_mem_pool *pool, kx_i64 n) {
    if (VERBOSE != 0) {
        ++_malloc;
        kx_memInfo_print(pool);
        kx_say(msg::kMallocFromSystem, (n - 1) / 1024, n);
    }
    void *p = reserve_entry(pool) ? kx_system_malloc(n) : nullptr;
    return p == nullptr ? nullptr : remember(pool, p);
}

void *system_realloc(kx_mem_pool *pool, void *p, kx_i64 n) {
    const kx_i64 entry = find(pool, p);
    if (is_marked_released(pool, entry) || !reserve_entry(pool)) {
        return nullptr;
    }
    // Never 0 bytes: to the C library that would be a release.
    void *moved = kx_system_realloc(p, n > 0 ? n : 1);
    if (moved == nullptr) {
        return nullptr;
    }
    mark_released(pool, entry);
    return remember(pool, moved);
}

void system_free(kx_mem_pool *pool, void *p, kx_i64 &count) {
    const kx_i64 entry = find(pool, p);
    if (is_marked_released(pool, entry)) {
        return;
    }
    count_call(count);
    mark_released(pool, entry);
    kx_system_free(p);
}

void system_free_all(kx_mem_pool *pool) {
    kx_list *list = &pool->listSystem;
    for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
        if (!is_marked_released(pool, i)) {
            std::free(kx_list_get(list, i));
        }
    }
    std::free(list->tab);
    *list = kx_list{};
}

} // namespace mmu

} // namespace orkan
