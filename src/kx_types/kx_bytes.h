// kx_bytes.h: the size type of the system and a stretch of bytes.
//
// Byte counts, positions and record counts are signed 64-bit everywhere; 32-bit integers appear only in structs
// whose layout says so, std::size_t only where the C library is called.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace orkan {

using kx_i64 = std::int64_t;

/// A stretch of bytes that somebody else owns.
struct Bytes {
    const char *ptr = nullptr;
    kx_i64 len = 0;
};

/// A byte count for the C library; the caller guarantees n >= 0.
constexpr std::size_t to_size(kx_i64 n) { return static_cast<std::size_t>(n); }

/// A byte count from the C library; no object is larger than 2^63 - 1 bytes.
constexpr kx_i64 to_i64(std::size_t n) { return static_cast<kx_i64>(n); }

/// a + b for non-negative operands, staying at the largest value instead of overflowing.
constexpr kx_i64 add_saturating(kx_i64 a, kx_i64 b) {
    const kx_i64 most = std::numeric_limits<kx_i64>::max();
    return a > most - b ? most : a + b;
}

/// a * b for non-negative operands, staying at the largest value instead of overflowing.
constexpr kx_i64 multiply_saturating(kx_i64 a, kx_i64 b) {
    const kx_i64 most = std::numeric_limits<kx_i64>::max();
    return b != 0 && a > most / b ? most : a * b;
}

/// Kibibytes of n bytes, rounded up; the division truncates towards zero, so 0 bytes give 1.
constexpr kx_i64 kib_round_up(kx_i64 n) { return (n - 1) / 1024 + 1; }

} // namespace orkan
