// kx_pool_parts.h: what the sources of the pool share. Nobody else includes it.
#pragma once

#include "kx_assert/kx_assert.h"
#include "kx_memory/kx_memory.h"
#include "kx_memory/kx_pool_poison.h"

namespace orkan::mmu {

inline constexpr kx_i64 kHeaderBytes = sizeof(kx_mmu);
inline constexpr kx_i64 kWordBytes = sizeof(kx_i64);

/// More than any region holds, and far enough from the largest number for sums of a few sizes.
inline constexpr kx_i64 kBeyondAnyPool = kx_i64{1} << 60;

/// A request in whole words: 0 gives 0, 1 to 8 give 8. n >= 0.
constexpr kx_i64 rounded(kx_i64 n) { return n > kBeyondAnyPool ? kBeyondAnyPool : ((n - 1) & ~kx_i64{7}) + 8; }

inline char *payload_of(kx_mmu *block) { return reinterpret_cast<char *>(block) + kHeaderBytes; }
inline const char *payload_of(const kx_mmu *block) { return reinterpret_cast<const char *>(block) + kHeaderBytes; }
inline bool is_free(const kx_mmu *block) { return block->status == kMmuFree; }
inline kx_mmu *tail_of(const kx_mem_pool *pool) { return pool->edge_mmu->prev; }

inline void link_blocks(kx_mmu *first, kx_mmu *second) {
    first->next = second;
    second->prev = first;
}

/// The address as a number: distances between unrelated pointers are no business of the language.
inline std::uintptr_t address(const void *p) { return reinterpret_cast<std::uintptr_t>(p); }

inline bool is_block_size(kx_i64 n) { return n >= 0 && n % kWordBytes == 0; }

// --- free list (kx_pool.cpp) ---

/// Puts the tail's entry in order after back blocks changed its size. Everything that looks into the list calls it
/// first.
void settle_tail(kx_mem_pool *pool);

/// The index of a free block's entry; -1 when it has none.
kx_i64 entry_of(const kx_mem_pool *pool, const kx_mmu *block);

/// Appends an entry, not sorted yet; its index, or -1 when the slot array could not grow.
kx_i64 add_entry(kx_mem_pool *pool, kx_mmu *block);

/// Makes the entry stand for this block, and moves it to its place.
void replace_entry(kx_mem_pool *pool, kx_i64 entry, kx_mmu *block);
void delete_entry(kx_mem_pool *pool, kx_i64 entry);

// --- front blocks (kx_pool.cpp) ---

/// The front block in use with this payload; null when there is none such.
kx_mmu *front_in_use(const kx_mem_pool *pool, void *p);

/// Cuts the block at r payload bytes; gives the free block behind the cut, which has no entry yet.
kx_mmu *split(kx_mmu *block, kx_i64 r);

/// Joins a block to its left neighbour.
void absorb(kx_mmu *block, kx_mmu *right);

// --- back blocks (kx_pool_back.cpp) ---

/// The size word of the back block in use with this payload; null when there is none such.
kx_i64 *back_in_use(const kx_mem_pool *pool, const void *p);

/// Marks a back block released, and gives the released ones at the edge back to the tail.
void release_back(kx_mem_pool *pool, kx_i64 *word);

/// Bytes of a back block, its word included, released or not.
constexpr kx_i64 back_bytes(kx_i64 word) { return word & ~kx_i64{1}; }
constexpr bool is_released(kx_i64 word) { return (word & 1) != 0; }

// --- system blocks (kx_pool_system.cpp) ---

/// True when the address is to be treated as system memory.
bool is_system(const kx_mem_pool *pool, const void *p);

/// As the C library's operations; a block released already is ignored and refused. `count` counts a release.
void *system_malloc(kx_mem_pool *pool, kx_i64 n);
void *system_realloc(kx_mem_pool *pool, void *p, kx_i64 n);
void system_free(kx_mem_pool *pool, void *p, kx_i64 &count);
void system_free_all(kx_mem_pool *pool);

} // namespace orkan::mmu
