// kx_entries.h: entries of an index sort, and sorting them by prefix.
//
//   prefixes | p0 | p1 | p2 | ...     the leading key bytes as an integer (kx_prefix.h)
//   numbers  | n0 | n1 | n2 | ...     which item of the index they belong to
//
// Side by side they take 12 bytes an entry. Every sort here is stable and moves entries between two sets of arrays.
#pragma once

#include "kx_sort/kx_prefix.h"

namespace orkan {

using kx_item_number = std::uint32_t;

/// A prefix that may stand where the pointers of an index do.
using kx_slot_prefix [[gnu::may_alias]] = kx_prefix;

struct kx_entries {
    kx_slot_prefix *prefixes;
    kx_item_number *numbers;

    [[nodiscard]] kx_entries from(kx_i64 first) const { return {prefixes + first, numbers + first}; }
};

/// Sorts n entries by prefix; equal ones keep their order. `scratch` has room for n.
void kx_sort_entries(kx_entries entries, kx_entries scratch, kx_i64 n);

/// As kx_sort_entries, but may leave the result in either: the one returned.
kx_entries kx_sort_entries_either(kx_entries entries, kx_entries scratch, kx_i64 n);

/// Sorts n numbers by less_or_equal(a, b), keeping equal ones in order; `scratch` has room for n. Merges bottom-up
/// from runs of one (Knuth, The Art of Computer Programming 3, 5.2.4).
template <class LessOrEqual>
void kx_sort_numbers(kx_item_number *numbers, kx_item_number *scratch, kx_i64 n, LessOrEqual less_or_equal) {
    kx_item_number *from = numbers;
    kx_item_number *to = scratch;
    for (kx_i64 width = 1; width < n; width *= 2, std::swap(from, to)) {
        for (kx_i64 first = 0; first < n; first += 2 * width) {
            const kx_i64 middle = std::min(first + width, n), end = std::min(first + 2 * width, n);
            kx_i64 left = first, right = middle;
            for (kx_i64 k = first; k < end; ++k) {
                const bool take_left = right == end || (left < middle && less_or_equal(from[left], from[right]));
                to[k] = take_left ? from[left++] : from[right++];
            }
        }
    }
    if (from != numbers) {
        std::memcpy(numbers, from, to_size(n) * sizeof(kx_item_number));
    }
}

} // namespace orkan
