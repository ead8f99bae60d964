// kx_system_memory.h: the system allocator as every part of the system calls it.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// A block to be given back with std::free; null when refused or bytes is negative.
void *kx_system_malloc(kx_i64 bytes);

/// As kx_system_malloc, for growing a block; on null the old block is still there.
void *kx_system_realloc(void *old, kx_i64 bytes);

/// Releases a block of either. The C library may keep it for later; the memory of a large one the system gets anyway.
void kx_system_free(void *block);

/// The bytes of a huge page, which begins at a multiple of them.
inline constexpr kx_i64 kHugePage = kx_i64{2} << 20;

/// Asks for huge pages where a block will be used whole: its first touch costs an eighth then (500 MB: 0.02 s against
/// 0.16 s), and gathering records from all over it misses fewer translations. A system without them ignores the wish.
/// Nothing for small blocks: clearing one huge page takes as long as the rest of a small sort.
void kx_prefer_huge_pages(void *block, kx_i64 bytes);

/// Copies a block's bytes to another block and gives the memory of the huge pages that it leaves to the system, one by
/// one, so that few bytes take memory twice. What is in `from` is lost.
void kx_move_bytes(void *to, void *from, kx_i64 bytes);

/// At least so much data are worth it, in bytes.
inline constexpr kx_i64 kWorthHugePages = kx_i64{4} << 20;

} // namespace orkan
