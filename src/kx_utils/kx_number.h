// kx_number.h: the digit test and the bounded integer parser of numeric keys.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "kx_utils/kx_number_memo.h"
#include "kx_utils/kx_text.h"

namespace orkan {

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// 0 when the text is non-empty and all decimal digits, else 1. The inverted sense is deliberate.
int kx_isnumeric(const char *text);

/// The rule of both parsers below; at_end(p) tells that nothing may be read at p.
template <class AtEnd> kx_i64 parse_number(const char *s, kx_i64 limit, AtEnd at_end) {
    const auto byte = [&](const char *p) { return at_end(p) ? '\0' : *p; };
    while (is_white_space(byte(s))) {
        ++s;
    }
    const bool negative = byte(s) == '-';
    if (negative || byte(s) == '+') {
        ++s;
        --limit;
    }
    std::uint64_t value = 0; // unsigned: wraps without overflow
    for (; limit > 0 && is_digit(byte(s)); ++s, --limit) {
        value = value * 10 + static_cast<std::uint64_t>(*s - '0');
    }
    return static_cast<kx_i64>(negative ? 0 - value : value);
}

/// Text 8 bytes at a time, the first one lowest: how it begins, and what its digits are worth. The tricks with such
/// words are of Lamport, Multiple byte processing with full-word instructions, CACM 18, 1975.
class kx_eight_bytes {
  public:
    static constexpr kx_i64 kSize = 8;

    explicit kx_eight_bytes(const char *text) { std::memcpy(&bytes_, text, sizeof bytes_); }

    [[nodiscard]] kx_i64 leading_blanks() const { return leading_zeros_of(bytes_ ^ every(' ')); }
    [[nodiscard]] kx_i64 leading_digits() const {
        const std::uint64_t less = bytes_ ^ every('0'); // 0 to 9 for digits and nothing else
        return leading_zeros_of((less | (less + every(0x76))) &
                                every(0x80)); // carries only go behind the first other byte
    }
    /// Of the first `count` bytes, all digits.
    [[nodiscard]] std::uint64_t number(kx_i64 count) const {
        if (count < 1) {
            return 0;
        }
        std::uint64_t tens = (bytes_ & every(0x0f)) << (64 - 8 * count); // zeros in front
        tens = (tens * (1 + (10 << 8)) >> 8) & 0x00ff00ff00ff00ff;
        tens = (tens * (1 + (100 << 16)) >> 16) & 0x0000ffff0000ffff;
        return tens * (1 + (std::uint64_t{10000} << 32)) >> 32;
    }

  private:
    static constexpr std::uint64_t every(unsigned char byte) { return std::uint64_t{0x0101010101010101} * byte; }
    static kx_i64 leading_zeros_of(std::uint64_t bytes) { return std::countr_zero(bytes) / 8; }

    std::uint64_t bytes_ = 0;
};

/// atol2_within, byte by byte.
kx_i64 kx_number_within(const char *s, kx_i64 limit, const char *end);

/// atol2_within where white space or digits may go on for long.
kx_i64 atol2_of_any_length(const char *s, kx_i64 limit, const char *end, kx_number_memo *memo);

/// The value of a numeric key: leading white space (bytes 9 to 13, space) is skipped without counting against the
/// limit, then an optional sign (which counts) and at most the remaining limit of decimal digits are read, up to the
/// first other byte. No digit gives 0; the value wraps on overflow. Nothing at or behind `end` is read: there the
/// bytes end as if a NUL stood there, so a key with leading blanks may take digits from behind its last byte, but
/// never from foreign memory. `memo`: what is remembered of them, if anything is.
inline kx_i64 atol2_within(const char *s, kx_i64 limit, const char *end, kx_number_memo *memo = nullptr) {
    constexpr kx_i64 kEight = kx_eight_bytes::kSize, kReach = 3 * kEight + 1; // blanks, a sign, and digits twice
    constexpr kx_i64 kNear = 8 * kEight;
    constexpr std::array<std::uint64_t, kEight + 1> kPowers{1,      10,      100,      1000,     10000,
                                                            100000, 1000000, 10000000, 100000000};
    kx_i64 blanks = kEight;
    for (kx_i64 passed = 0; blanks == kEight && passed < kNear && end - s >= kReach; passed += blanks) {
        blanks = kx_eight_bytes(s).leading_blanks();
        s += blanks;
    }
    if (blanks == kEight || is_white_space(*s)) {
        return atol2_of_any_length(s, limit, end, memo);
    }
    const bool negative = *s == '-', is_signed = negative || *s == '+';
    const char *digits = s + is_signed;
    const kx_i64 most = std::max<kx_i64>(limit - is_signed, 0);
    const kx_eight_bytes first(digits);
    kx_i64 count = std::min(first.leading_digits(), most);
    std::uint64_t value = first.number(count);
    if (count == kEight) {
        const kx_eight_bytes next(digits + kEight);
        count = std::min(next.leading_digits(), most - kEight);
        if (count == kEight) {
            return atol2_of_any_length(s, limit, end, memo);
        }
        value = value * kPowers[to_size(count)] + next.number(count);
    }
    return static_cast<kx_i64>(negative ? 0 - value : value);
}

/// atol2_within for bytes that a NUL or other non-digit ends.
kx_i64 atol2(const char *s, kx_i64 limit);

/// A placeholder that nothing calls: 0.1 whatever the arguments.
double atof2(const char *s, kx_i64 limit);

} // namespace orkan
