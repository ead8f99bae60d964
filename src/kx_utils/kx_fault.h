// kx_fault.h: the places where the operating system may say no, so that tests can say it.
//
// In the tests' build (ORKAN_FAULT_HOOKS) each call asks the hook whether to fail; in the product the question is
// a constant and costs nothing.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

enum class kx_site { open, read, write, seek, close, unlink, setvbuf, stat, allocate };

#ifdef ORKAN_FAULT_HOOKS
/// Set by a test: true makes the call at that site fail. `bytes` is the size asked for at `allocate`, else 0.
extern bool (*kx_fault_hook)(kx_site site, kx_i64 bytes);
inline bool kx_fault(kx_site site, kx_i64 bytes = 0) { return kx_fault_hook != nullptr && kx_fault_hook(site, bytes); }
#else
constexpr bool kx_fault(kx_site /*site*/, kx_i64 /*bytes*/ = 0) { return false; }
#endif

} // namespace orkan
