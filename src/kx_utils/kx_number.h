// kx_number.h: the digit test and the bounded integer parser of numeric keys.
#pragma once

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

/// The value of a numeric key: leading white space (bytes 9 to 13, space) is skipped without counting against the
/// limit, then an optional sign (which counts) and at most the remaining limit of decimal digits are read, up to the
/// first other byte. No digit gives 0; the value wraps on overflow. Nothing at or behind `end` is read: there the
/// bytes end as if a NUL stood there, so a key with leading blanks may take digits from behind its last byte, but
/// never from foreign memory.
inline kx_i64 atol2_within(const char *s, kx_i64 limit, const char *end) {
    return parse_number(s, limit, [end](const char *p) { return p >= end; });
}

/// atol2_within for bytes that a NUL or other non-digit ends.
kx_i64 atol2(const char *s, kx_i64 limit);

/// A placeholder that nothing calls: 0.1 whatever the arguments.
double atof2(const char *s, kx_i64 limit);

} // namespace orkan
