// kx_byte_masks.h: 64 bytes at a time as one bit each.
#pragma once

#include <cstring>

#include "kx_types/kx_bytes.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace orkan {

inline constexpr kx_i64 kMaskBytes = 64;

using kx_mask = std::uint64_t;

/// Bit i is set when byte i of the 64 bytes at `block` is `byte`.
inline kx_mask mask_of(const char *block, char byte) {
    kx_mask mask = 0;
#ifdef __SSE2__
    const __m128i wanted = _mm_set1_epi8(byte);
    for (int i = 0; i < 4; ++i) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block + kx_i64{16} * i));
        const auto equal = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted)));
        mask |= kx_mask{equal} << (16 * i);
    }
#else
    for (int i = 0; i < kMaskBytes; ++i) {
        mask |= kx_mask{block[i] == byte} << i;
    }
#endif
    return mask;
}

/// Bit i of the result is the parity of bits 0 .. i.
constexpr kx_mask prefix_parity(kx_mask bits) {
    for (int distance = 1; distance < kMaskBytes; distance *= 2) {
        bits ^= bits << distance;
    }
    return bits;
}

/// The lowest n bits, 0 <= n <= 64.
constexpr kx_mask lowest_bits(kx_i64 n) { return n >= kMaskBytes ? ~kx_mask{0} : (kx_mask{1} << n) - 1; }

} // namespace orkan
