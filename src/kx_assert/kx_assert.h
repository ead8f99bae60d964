// kx_assert.h: what a caller guarantees and a loop keeps. Input can never trip one.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Writes "FILE:LINE: FUNCTION: Assertion `EXPRESSION' failed." to standard error and ends the process, status 1.
[[noreturn]] void kx_panic(const char *file, kx_i64 line, const char *function, const char *expression);

} // namespace orkan

#ifdef NDEBUG
#define KX_ASSERT(condition) static_cast<void>(sizeof(decltype(condition)))
#else
#define KX_ASSERT(condition)                                                                                           \
    ((condition) ? static_cast<void>(0) : ::orkan::kx_panic(__FILE__, __LINE__, __func__, #condition))
#endif
