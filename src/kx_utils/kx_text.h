// kx_text.h: trimming, splitting, bounded and quote-aware search, path parts.
//
// Nothing here uses the memory pool; new strings are system memory that the caller frees.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Tab, line feed, vertical tab, form feed, carriage return, space; the same in every locale.
constexpr bool is_white_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// A copy in system memory; null when the text is null or the memory is refused.
char *kx_copy_text(const char *text);

/// Both texts in a row, in system memory; null when memory is refused.
char *kx_join_text(const char *first, const char *second);

/// Takes leading and trailing white space off, in place. Null: nothing.
void kx_trim_spaces(char *text);

/// True when the data's last bytes are `code`; an empty code ends everything.
bool ends_with(Bytes data, Bytes code);

/// Splits at the first occurrence of the separator: 0 and two new strings (null where memory is refused), or 1 and
/// the pair untouched when the separator does not occur.
int kx_strSplit(char *(&pair)[2], const char *text, const char *separator);

/// The part behind the last separator, or the whole path; a pointer into it. Null gives null.
const char *kx_getFileName(const char *path, char separator);

/// A new string with everything up to and including the last separator; null when there is none.
char *kx_getDir(const char *path, char separator);

/// The first place in the n bytes at `buffer` where the whole pattern stands; null when there is none, the buffer is
/// null, n < 1 or the pattern is empty.
const char *kx_findstr(const char *buffer, kx_i64 n, Bytes pattern);

/// As kx_findstr, but only where the number of quote characters so far, the byte at the candidate place included, is
/// even: what stands inside quotes is skipped.
const char *kx_findstr_csv(const char *buffer, kx_i64 n, Bytes pattern, char quote);

/// As kx_findstr_csv, faster where bytes behind the n ones may be looked at: all before `readable`. They never count.
const char *kx_findstr_csv_within(const char *buffer, kx_i64 n, Bytes pattern, char quote, const char *readable);

/// How many quote characters stand in a row from p forwards (backwards: p, p - 1, ...), at most n.
int kx_judgeQuote_front(const char *p, kx_i64 n, char quote);
int kx_judgeQuote_back(const char *p, kx_i64 n, char quote);

} // namespace orkan
