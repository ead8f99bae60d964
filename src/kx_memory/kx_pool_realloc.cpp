// kx_pool_realloc.cpp: growing a block in place or by moving it, and shrinking it.

#include <cstring>

#include "kx_memory/kx_pool_messages.h"
#include "kx_memory/kx_pool_parts.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_run_state.h"

namespace orkan {

kx_i64 _kx_realloc;

using namespace mmu;

namespace {

/// Moves the boundary between a block in use and the free block behind it to r payload bytes.
void move_boundary(kx_mem_pool *pool, kx_mmu *block, kx_i64 r) {
    kx_mmu *next = block->next;
    const kx_i64 entry = entry_of(pool, next);
    absorb(block, next); // first: the new header may overlap the old one
    replace_entry(pool, entry, split(block, r));
}

/// Grows into a free right neighbour; false when there is none or it is too small.
bool grow_in_place(kx_mem_pool *pool, kx_mmu *block, kx_i64 r) {
    settle_tail(pool);
    kx_mmu *next = block->next;
    if (!is_free(next) || kHeaderBytes + block->size + next->size <= r) {
        return false;
    }
    if (next->size < r - block->size + kWordBytes) {
        delete_entry(pool, entry_of(pool, next));
        absorb(block, next);
    } else {
        move_boundary(pool, block, r);
    }
    KX_ASSERT(kx_pool_check(pool) == nullptr);
    return true;
}

/// Gives what is behind r payload bytes back, where it can be a block or part of one.
void shrink_in_place(kx_mem_pool *pool, kx_mmu *block, kx_i64 r) {
    settle_tail(pool);
    if (is_free(block->next)) {
        move_boundary(pool, block, r);
    } else if (block->size - kHeaderBytes - kWordBytes >= r) {
        auto *rest = reinterpret_cast<kx_mmu *>(payload_of(block) + r);
        const kx_i64 entry = add_entry(pool, rest); // may be refused, so before anything changes
        if (entry >= 0) {
            replace_entry(pool, entry, split(block, r));
        }
    }
    KX_ASSERT(kx_pool_check(pool) == nullptr);
}

void *move_to_new_block(kx_mem_pool *pool, void *p, kx_i64 held, kx_i64 r) {
    void *to = kx_malloc_hwm(pool, r);
    if (to != nullptr) {
        if (is_system(pool, to)) {
            kx_move_bytes(to, p, held); // or both would be in memory
        } else {
            std::memcpy(to, p, to_size(held));
        }
        kx_free(pool, p);
    }
    return to;
}

/// What both operations do with a block inside the region.
void *resize(kx_mem_pool *pool, void *p, kx_i64 r, bool may_shrink) {
    if (kx_mmu *block = front_in_use(pool, p)) {
        if (may_shrink && block->size > r) {
            shrink_in_place(pool, block, r);
        }
        const bool large_enough = block->size >= r || grow_in_place(pool, block, r);
        return large_enough ? p : move_to_new_block(pool, p, block->size, r);
    }
    if (const kx_i64 *word = back_in_use(pool, p)) {
        const kx_i64 held = *word - kWordBytes;
        return held >= r ? p : move_to_new_block(pool, p, held, r);
    }
    return nullptr; // no block in use
}

} // namespace

void *kx_realloc(kx_mem_pool *pool, void *p, kx_i64 n) {
    count_call(_kx_realloc);
    if (p == nullptr) {
        return kx_malloc_hwm(pool, n);
    }
    if (n < 0) {
        return nullptr;
    }
    if (!is_system(pool, p)) {
        return resize(pool, p, rounded(n), false);
    }
    if (VERBOSE != 0) {
        ++_realloc;
        kx_memInfo_print(pool);
        kx_say(msg::kReallocFromSystem, (n - 1) / 1024, n);
    }
    return system_realloc(pool, p, n);
}

void *kx_realloc_both(kx_mem_pool *pool, void *p, kx_i64 n) {
    if (p == nullptr) {
        return kx_malloc(pool, n);
    }
    if (n < 0) {
        return nullptr;
    }
    if (!is_system(pool, p)) {
        return resize(pool, p, rounded(n), true);
    }
    if (VERBOSE != 0) {
        ++_realloc;
        kx_memInfo_print(pool);
        kx_say(msg::kReallocBothFromSystem, (n - 1) / 1024);
    }
    return system_realloc(pool, p, n);
}

} // namespace orkan
