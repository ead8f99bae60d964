// kx_number.h: the digit test and the bounded integer parser of numeric keys.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// 0 when the text is non-empty and all decimal digits, else 1. The inverted sense is deliberate.
int kx_isnumeric(const char *text);

/// The value of a numeric key: leading white space (bytes 9 to 13, space) is skipped without counting against the
/// limit, then an optional sign (which counts) and at most the remaining limit of decimal digits are read, up to the
/// first other byte. No digit gives 0; the value wraps on overflow. Nothing at or behind `end` is read: there the
/// bytes end as if a NUL stood there, so a key with leading blanks may take digits from behind its last byte, but
/// never from foreign memory.
kx_i64 atol2_within(const char *s, kx_i64 limit, const char *end);

/// atol2_within for bytes that a NUL or other non-digit ends.
kx_i64 atol2(const char *s, kx_i64 limit);

/// A placeholder that nothing calls: 0.1 whatever the arguments.
double atof2(const char *s, kx_i64 limit);

} // namespace orkan
