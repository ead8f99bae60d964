// kx_fault.h: the places where the operating system may say no, so that tests can say it, and the sizes that tests may
// shrink.
//
// In the tests' build (ORKAN_FAULT_HOOKS) each call asks the hook whether to fail; in the product the question is
// a constant and costs nothing.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

enum class kx_site {
    open,
    read,
    write,
    seek,
    close,
    unlink,
    setvbuf,
    stat,
    allocate,
    access,
    lock,
    truncate,
    reserve,   ///< space in a file
    duplicate, ///< a descriptor
    position,  ///< asking for it
    mode       ///< of a file
};

#ifdef ORKAN_FAULT_HOOKS
/// Set by a test: true makes the call at that site fail. `bytes` is the size asked for at `allocate`, else 0.
extern bool (*kx_fault_hook)(kx_site site, kx_i64 bytes);
inline bool kx_fault(kx_site site, kx_i64 bytes = 0) { return kx_fault_hook != nullptr && kx_fault_hook(site, bytes); }
#else
constexpr bool kx_fault(kx_site /*site*/, kx_i64 /*bytes*/ = 0) { return false; }
#endif

// Sizes that tests make small, so that a handful of records fills them.

#ifdef ORKAN_FAULT_HOOKS
struct kx_small_sizes {
    kx_i64 budget, pool, buffer, locators = 0, mapping = 0, record = 0, index = 0; ///< 0: as in the product
};
extern kx_small_sizes kx_small;
inline kx_i64 kx_budget_bytes(kx_i64 size) { return kx_small.budget > 0 ? kx_small.budget : size; }
inline kx_i64 kx_pool_bytes(kx_i64 size) { return kx_small.pool > 0 ? kx_small.pool : size; }
inline kx_i64 kx_buffer_bytes(kx_i64 size) { return kx_small.buffer > 0 && size > 0 ? kx_small.buffer : size; }
inline kx_i64 kx_first_locators(kx_i64 count) { return kx_small.locators > 0 ? kx_small.locators : count; }
inline kx_i64 kx_least_mapped(kx_i64 size) { return kx_small.mapping > 0 ? kx_small.mapping : size; }
inline kx_i64 kx_record_bytes(kx_i64 size) { return kx_small.record > 0 ? kx_small.record : size; }
inline kx_i64 kx_least_indexed(kx_i64 count) { return kx_small.index > 0 ? kx_small.index : count; }
#else
constexpr kx_i64 kx_budget_bytes(kx_i64 size) { return size; }
constexpr kx_i64 kx_pool_bytes(kx_i64 size) { return size; }
constexpr kx_i64 kx_buffer_bytes(kx_i64 size) { return size; }
constexpr kx_i64 kx_first_locators(kx_i64 count) { return count; }
constexpr kx_i64 kx_least_mapped(kx_i64 size) { return size; }
constexpr kx_i64 kx_record_bytes(kx_i64 size) { return size; }
constexpr kx_i64 kx_least_indexed(kx_i64 count) { return count; }
#endif

} // namespace orkan
