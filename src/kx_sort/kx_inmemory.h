// kx_inmemory.h: sorting data that lie in one buffer.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Sort the `size` bytes at `buf` (a pool block, taken over and released) and write the output: unstable, and stable.
/// Without data the output is created empty and the result is 1, in complete mode 0. 0, or 1 on failure.
int kx_qsortInMemory(char *buf, kx_i64 size);
int kx_msortInMemory(char *buf, kx_i64 size);

} // namespace orkan
