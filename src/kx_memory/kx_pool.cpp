// kx_pool.cpp: creation, the free list, and the front blocks: best fit, splitting, coalescing.

#include <cstdlib>
#include <new>

#include "kx_memory/kx_pool_parts.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_run_state.h"

namespace orkan {

kx_i64 _kx_malloc, _kx_malloc_hwm;

namespace mmu {

namespace {

constexpr kx_i64 kBookkeeping = sizeof(kx_mem_pool) + sizeof(kx_list) + kHeaderBytes;
static_assert(kBookkeeping % kWordBytes == 0);

kx_mmu *listed(const kx_mem_pool *pool, kx_i64 entry) {
    return static_cast<kx_mmu *>(kx_list_get(pool->listFree, entry));
}

void list_changed(kx_mem_pool *pool) { kx_list_check(pool->listFree, _cmpIfSizeAddr_check); }

/// True when a block header may stand there.
bool is_header_place(const kx_mem_pool *pool, const kx_mmu *block) {
    return address(block) % kWordBytes == 0 && address(block) >= address(pool->start) &&
           address(block) + kHeaderBytes <= address(pool->edge);
}

/// As a number: behind a stale pointer the size may be anything.
KX_MAY_READ_FREE_MEMORY std::uintptr_t payload_end(const kx_mmu *block) {
    return address(payload_of(block)) + static_cast<std::uintptr_t>(block->size);
}

KX_MAY_READ_FREE_MEMORY bool follows_its_previous(const kx_mem_pool *pool, const kx_mmu *block) {
    const kx_mmu *previous = block->prev;
    if (previous == pool->edge_mmu) {
        return block == pool->start && previous->next == block;
    }
    return is_header_place(pool, previous) && previous->next == block && payload_end(previous) == address(block);
}

KX_MAY_READ_FREE_MEMORY bool precedes_its_next(const kx_mem_pool *pool, const kx_mmu *block) {
    const kx_mmu *next = block->next;
    if (next == pool->edge_mmu) {
        return next->prev == block && payload_end(block) == address(pool->edge);
    }
    return is_header_place(pool, next) && next->prev == block && payload_end(block) == address(next);
}

/// Hands a free block out, split when at least `least_rest` payload bytes remain behind it.
void *hand_out(kx_mem_pool *pool, kx_i64 entry, kx_i64 r, kx_i64 least_rest) {
    kx_mmu *block = listed(pool, entry);
    KX_ASSERT(is_free(block) && block->size >= r && pool->tail_lag == 0);
    if (block->size >= kHeaderBytes + r + least_rest) {
        replace_entry(pool, entry, split(block, r));
    } else {
        delete_entry(pool, entry); // handed out whole, larger than asked for
    }
    block->status = kMmuAllocated;
    unpoison(payload_of(block), block->size);
    ++pool->num;
    KX_ASSERT(kx_pool_check(pool) == nullptr);
    return payload_of(block);
}

void release_front(kx_mem_pool *pool, kx_mmu *block) {
    settle_tail(pool);
    kx_mmu *previous = block->prev;
    kx_mmu *next = block->next;
    kx_i64 entry;
    if (is_free(previous)) {
        if (is_free(next)) {
            delete_entry(pool, entry_of(pool, next));
        }
        entry = entry_of(pool, previous);
    } else {
        entry = is_free(next) ? entry_of(pool, next) : add_entry(pool, block);
    }
    if (entry < 0) {
        return; // no slot for it: the block stays in use rather than free and unlisted
    }
    block->status = kMmuFree;
    poison(payload_of(block), block->size);
    if (is_free(next)) {
        absorb(block, next);
    }
    if (is_free(previous)) {
        absorb(previous, block);
        block = previous;
    }
    --pool->num;
    replace_entry(pool, entry, block);
    KX_ASSERT(kx_pool_check(pool) == nullptr);
}

/// kx_free and kx_qfree differ in the counter of what goes to the system.
void release(kx_mem_pool *pool, void *p, kx_i64 &system_count) {
    if (p == nullptr) {
        return;
    }
    if (is_system(pool, p)) {
        system_free(pool, p, system_count);
    } else if (kx_mmu *block = front_in_use(pool, p)) {
        release_front(pool, block);
    } else if (kx_i64 *word = back_in_use(pool, p)) {
        release_back(pool, word);
    }
}

/// Lays the bookkeeping out at the low end of the region, and one free block over the rest.
kx_mem_pool *lay_out(void *region, kx_i64 bytes, kx_i64 autoExtend, void **slots) {
    auto *pool = ::new (region) kx_mem_pool{};
    auto *list = ::new (static_cast<void *>(pool + 1)) kx_list{slots, kListGrowth, 0, 1};
    auto *sentinel = ::new (static_cast<void *>(list + 1)) kx_mmu{};
    const kx_i64 usable = bytes - bytes % kWordBytes;
    pool->start = sentinel + 1;
    pool->totalSize = bytes;
    pool->end = pool->edge = static_cast<char *>(region) + usable;
    pool->size = usable - kBookkeeping;
    pool->edge_mmu = sentinel;
    pool->listFree = list;
    pool->hsize = kHeaderBytes;
    pool->autoExtend = autoExtend;
    ::new (static_cast<void *>(pool->start)) kx_mmu{sentinel, sentinel, kMmuFree, pool->size - kHeaderBytes};
    sentinel->prev = sentinel->next = pool->start;
    poison(payload_of(pool->start), pool->start->size);
    slots[0] = pool->start;
    KX_ASSERT(kx_pool_check(pool) == nullptr);
    return pool;
}

} // namespace

void settle_tail(kx_mem_pool *pool) {
    if (pool->tail_lag == 0) {
        return;
    }
    kx_mmu *tail = tail_of(pool);
    KX_ASSERT(is_free(tail));
    tail->size += pool->tail_lag; // the size by which the entry stands in order
    const kx_i64 entry = entry_of(pool, tail);
    tail->size -= pool->tail_lag;
    pool->tail_lag = 0;
    replace_entry(pool, entry, tail);
}

kx_i64 entry_of(const kx_mem_pool *pool, const kx_mmu *block) {
    const kx_i64 entry = kx_list_search_pos_dichotomize(pool->listFree, block, _cmpIfEqual_dichotomize);
    KX_ASSERT(entry >= 0);
    return entry;
}

kx_i64 add_entry(kx_mem_pool *pool, kx_mmu *block) {
    kx_list *list = pool->listFree;
    if (kx_ring_at_end(list)) {
        kx_ring_unwrap(list); // deletions moved the range up: slide it down rather than grow without end
    }
    if (kx_list_append_memPool(list, block) != 0) {
        return -1;
    }
    return list->len - 1;
}

void replace_entry(kx_mem_pool *pool, kx_i64 entry, kx_mmu *block) {
    if (entry >= 0) {
        kx_list_set(pool->listFree, entry, block);
        kx_list_isort2(pool->listFree, entry, _cmpMmuSize);
        list_changed(pool);
    }
}

void delete_entry(kx_mem_pool *pool, kx_i64 entry) {
    kx_list_delete(pool->listFree, entry, 1);
    list_changed(pool);
}

KX_MAY_READ_FREE_MEMORY kx_mmu *front_in_use(const kx_mem_pool *pool, void *p) {
    if (address(p) < address(pool->start) + kHeaderBytes || address(p) > address(pool->edge)) {
        return nullptr;
    }
    auto *block = reinterpret_cast<kx_mmu *>(static_cast<char *>(p) - kHeaderBytes);
    const bool in_use = is_header_place(pool, block) && block->status == kMmuAllocated && is_block_size(block->size) &&
                        follows_its_previous(pool, block) && precedes_its_next(pool, block);
    return in_use ? block : nullptr;
}

kx_mmu *split(kx_mmu *block, kx_i64 r) {
    KX_ASSERT(is_block_size(r) && block->size >= kHeaderBytes + r);
    unpoison(payload_of(block) + r, kHeaderBytes);
    auto *rest = ::new (static_cast<void *>(payload_of(block) + r)) kx_mmu{};
    rest->status = kMmuFree;
    rest->size = block->size - kHeaderBytes - r;
    link_blocks(rest, block->next);
    link_blocks(block, rest);
    block->size = r;
    poison(payload_of(rest), rest->size);
    return rest;
}

void absorb(kx_mmu *block, kx_mmu *right) {
    KX_ASSERT(block->next == right && payload_of(block) + block->size == reinterpret_cast<char *>(right));
    KX_ASSERT(is_free(right)); // and stays so: who still knows its payload cannot pass it for a block in use
    const kx_i64 gained = kHeaderBytes + right->size;
    block->size += gained;
    link_blocks(block, right->next);
    is_free(block) ? poison(right, gained) : unpoison(right, gained);
}

} // namespace mmu

using namespace mmu;

int _cmpMmuSize(const void *a, const void *b) {
    const auto *left = static_cast<const kx_mmu *>(a);
    const auto *right = static_cast<const kx_mmu *>(b);
    const bool behind = left->size != right->size ? left->size > right->size : address(a) > address(b);
    return behind ? 1 : -1;
}

int _cmpIfEqual_dichotomize(const void *sought, const void *listed, kx_i64 /*slot*/) {
    return sought == listed ? 0 : _cmpMmuSize(sought, listed);
}

int _cmpIfSizeLarge(const void *block, const void *wanted, kx_i64 /*slot*/) {
    return static_cast<const kx_mmu *>(block)->size >= *static_cast<const kx_i64 *>(wanted) ? 1 : 0;
}

int _cmpIfSizeAddr_check(const void *a, const void *b) { return _cmpMmuSize(a, b) == 1 ? -1 : 0; }

kx_mem_pool *kx_mem_pool_create(kx_i64 bytes, kx_i64 autoExtend) {
    if (bytes < kBookkeeping + kHeaderBytes) {
        return nullptr;
    }
    void *region = kx_system_malloc(bytes);
    if (region == nullptr) {
        return nullptr;
    }
    auto **slots = static_cast<void **>(kx_system_malloc(kListGrowth * to_i64(sizeof(void *))));
    if (slots == nullptr) {
        std::free(region);
        return nullptr;
    }
    return lay_out(region, bytes, autoExtend, slots);
}

void kx_mem_pool_free(kx_mem_pool *pool) {
    if (pool == nullptr) {
        return;
    }
    KX_ASSERT(kx_pool_check(pool) == nullptr);
    system_free_all(pool);
    unpoison(pool->start, pool->end - reinterpret_cast<char *>(pool->start));
    void *slots = pool->listFree->tab;
    if (address(slots) < address(pool) || address(slots) >= address(pool->end)) {
        std::free(slots);
    }
    std::free(pool);
}

void *kx_malloc(kx_mem_pool *pool, kx_i64 n) {
    if (n < 0) {
        return nullptr;
    }
    count_call(_kx_malloc);
    settle_tail(pool);
    const kx_i64 r = rounded(n);
    const kx_i64 listed_blocks = kx_list_len(pool->listFree);
    if (listed_blocks > 0 && listed(pool, listed_blocks - 1)->size >= r) {
        return hand_out(pool, kx_list_search_pos(pool->listFree, &r, _cmpIfSizeLarge), r, 0);
    }
    return pool->autoExtend == 1 ? system_malloc(pool, n) : nullptr;
}

void *kx_malloc_hwm(kx_mem_pool *pool, kx_i64 n) {
    if (n < 0) {
        return nullptr;
    }
    count_call(_kx_malloc_hwm);
    settle_tail(pool);
    const kx_mmu *tail = tail_of(pool);
    const kx_i64 r = rounded(n);
    if (!is_free(tail) || tail->size < r) {
        return kx_malloc(pool, n);
    }
    // The tail's own entry: it need not be the last one, a larger block may have been freed elsewhere.
    const kx_i64 entry = entry_of(pool, tail);
    return entry < 0 ? kx_malloc(pool, n) : hand_out(pool, entry, r, kWordBytes);
}

void kx_free(kx_mem_pool *pool, void *p) { release(pool, p, _free); }

void kx_qfree(kx_mem_pool *pool, void *p) { release(pool, p, _qfree); }

} // namespace orkan
