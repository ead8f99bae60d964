// kx_pool_poison.h: under the address sanitizer the pool's free memory is nobody's, as the system's is: who reads or
// writes behind a block or after its release is found. In other builds nothing happens.
//
// Headers and size words are never poisoned; what free blocks have between them is.
#pragma once

#include "kx_types/kx_bytes.h"

#if defined(__SANITIZE_ADDRESS__)
#define KX_POISONS_FREE_MEMORY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KX_POISONS_FREE_MEMORY
#endif
#endif

#ifdef KX_POISONS_FREE_MEMORY
#include <sanitizer/asan_interface.h>

/// For functions that look at a stale pointer before they know it for one.
#define KX_MAY_READ_FREE_MEMORY [[gnu::no_sanitize_address]]
#else
#define KX_MAY_READ_FREE_MEMORY
#endif

namespace orkan::mmu {

#ifdef KX_POISONS_FREE_MEMORY
inline void poison(const void *begin, kx_i64 bytes) { __asan_poison_memory_region(begin, to_size(bytes)); }
inline void unpoison(const void *begin, kx_i64 bytes) { __asan_unpoison_memory_region(begin, to_size(bytes)); }
inline bool is_poisoned(const void *begin) { return __asan_address_is_poisoned(begin) != 0; }
#else
inline void poison(const void * /*begin*/, kx_i64 /*bytes*/) {}
inline void unpoison(const void * /*begin*/, kx_i64 /*bytes*/) {}
#endif

} // namespace orkan::mmu
