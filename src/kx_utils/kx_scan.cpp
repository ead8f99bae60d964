#include "kx_utils/kx_scan.h"

#ifdef __x86_64__
#include <immintrin.h>
#if __has_include(<sys/platform/x86.h>) && !defined(__clang__) // clang knows no _Bool in C++
#include <sys/platform/x86.h>
#endif
#endif

namespace orkan {

namespace {

constexpr kx_mask kOnes = 0x0101010101010101, kHighBits = kOnes << 7;

/// Bit i is set when byte i of the 8 bytes is `byte`. A byte of zero after the exclusive or is the only one without a
/// high bit after the sum (Warren, Hacker's Delight, 6-1).
kx_mask equal_bytes(const char *from, char byte) {
    kx_mask bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    bytes ^= kOnes * static_cast<unsigned char>(byte);
    const kx_mask zeros = ~(((bytes & ~kHighBits) + ~kHighBits) | bytes | ~kHighBits);
    return (zeros >> 7) * 0x0102040810204080 >> 56;
}

kx_mask mask_of(const char *block, char byte) {
    kx_mask mask = 0;
    for (kx_i64 i = 0; i < 8; ++i) {
        mask |= equal_bytes(block + 8 * i, byte) << (8 * i);
    }
    return mask;
}

/// Bit i of the result is the parity of bits 0 .. i.
kx_mask prefix_parity(kx_mask bits) {
    for (int distance = 1; distance < kMaskBytes; distance *= 2) {
        bits ^= bits << distance;
    }
    return bits;
}

/// All ones or all zeros, as the last byte of a block is inside quotes or not.
kx_mask carried(kx_mask inside) { return static_cast<kx_mask>(static_cast<std::int64_t>(inside) >> 63); }

#ifdef __x86_64__

[[gnu::target("avx2")]] kx_mask mask_of_avx2(const char *block, __m256i byte) {
    const auto *from = reinterpret_cast<const __m256i *>(block);
    const auto low =
        static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_loadu_si256(from), byte)));
    const auto high =
        static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_loadu_si256(from + 1), byte)));
    return kx_mask{high} << 32 | low;
}

/// The carry-less product with all ones.
[[gnu::target("avx2,pclmul")]] kx_mask prefix_parity_clmul(kx_mask bits) {
    const __m128i product =
        _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<std::int64_t>(bits)), _mm_set1_epi8(-1), 0);
    return static_cast<kx_mask>(_mm_cvtsi128_si64(product));
}

[[gnu::target("avx2,pclmul")]] void scan_avx2(const char *from, kx_i64 blocks, kx_scan_rule rule, kx_mask *masks,
                                              kx_mask &inside) {
    const __m256i first = _mm256_set1_epi8(rule.first), quote = _mm256_set1_epi8(rule.quote);
    for (kx_i64 i = 0; i < blocks; ++i, from += kMaskBytes) {
        masks[i] = mask_of_avx2(from, first);
        if (rule.quoted) {
            inside ^= prefix_parity_clmul(mask_of_avx2(from, quote));
            masks[i] &= ~inside;
            inside = carried(inside);
        }
    }
}

// What the C library has found out already: asking the processor again takes longer than a small sort in some virtual
// machines.
#ifdef CPU_FEATURE_ACTIVE
bool has_avx2_and_clmul() { return CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(PCLMULQDQ); }
#else
bool has_avx2_and_clmul() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("pclmul") != 0;
}
#endif

kx_scan_kernel choose_kernel() { return has_avx2_and_clmul() ? scan_avx2 : kx_scan_portably; }

#else

kx_scan_kernel choose_kernel() { return kx_scan_portably; }

#endif

} // namespace

void kx_scan_portably(const char *from, kx_i64 blocks, kx_scan_rule rule, kx_mask *masks, kx_mask &inside) {
    for (kx_i64 i = 0; i < blocks; ++i, from += kMaskBytes) {
        masks[i] = mask_of(from, rule.first);
        if (rule.quoted) {
            inside ^= prefix_parity(mask_of(from, rule.quote));
            masks[i] &= ~inside;
            inside = carried(inside);
        }
    }
}

const kx_scan_kernel kx_scan_blocks = choose_kernel();

} // namespace orkan
