// kx_budget.h: how much memory a run takes, and what is held back from every chunk and buffer computation.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

inline constexpr kx_i64 BASIC_SIZE = 1048576;          ///< bytes of the budget kept for the system's own work
inline constexpr kx_i64 kMinimumPoolSize = 16777216;   ///< bytes
inline constexpr kx_i64 kDefaultPoolSize = 67108864;   ///< bytes
inline constexpr kx_i64 kMaximumPoolSize = 2147483647; ///< bytes

/// The pool size in bytes for the configured inputs and -W, between the minimum and the maximum above. Sets
/// argsInfo.bMemory: 1 when everything is to be sorted in memory.
kx_i64 kx_calculate_memsize();

/// Bytes of a chunk of whole fixed-length records within the pool's budget, each counted at its own bytes plus its slot
/// (two with a stable sort). 0 when not even one fits.
kx_i64 kx_fixed_chunk_size();

/// Bytes of a chunk of lines, and of CSV records: the part of the pool's budget that leaves room for their locators.
kx_i64 kx_line_chunk_size();
kx_i64 kx_csv_chunk_size();

} // namespace orkan
