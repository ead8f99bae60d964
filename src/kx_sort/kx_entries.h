// kx_entries.h: entries of an index sort, and sorting them.
//
//   prefix   8 leading key bytes as an integer (kx_prefix.h), for as long as an entry is made of it
//   entry    | window, 32 bits | number, 32 bits |
//
// The window is what prefixes that are sorted together need most: the highest bits in which they differ. The number
// says which item it belongs to. Items that count as equal keep the order of their numbers, so that an entry is one
// integer, none is there twice, and however they are sorted, the sort is stable.
#pragma once

#include <span>

#include "kx_sort/kx_prefix.h"

namespace orkan {

using kx_item_number = std::uint32_t;

using kx_entry = std::uint64_t;

/// Either may stand where the pointers of an index do.
using kx_slot_entry [[gnu::may_alias]] = kx_entry;
using kx_slot_prefix [[gnu::may_alias]] = kx_prefix;

inline constexpr int kWindowBits = 32;
inline constexpr int kMostDigitBits = 11; ///< of a radix sort: more buckets than these outgrow the caches

inline kx_entry kx_make_entry(std::uint64_t window, kx_item_number number) { return window << kWindowBits | number; }
inline std::uint32_t kx_window_of(kx_entry entry) { return static_cast<std::uint32_t>(entry >> kWindowBits); }
inline kx_item_number kx_number_of(kx_entry entry) { return static_cast<kx_item_number>(entry); }

/// The least and the greatest of some prefixes.
struct kx_prefix_range {
    kx_prefix least = ~kx_prefix{0}, greatest = 0;

    void add(kx_prefix prefix) {
        least = std::min(least, prefix);
        greatest = std::max(greatest, prefix);
    }
};

/// The bits of prefixes within a range that entries show. Those of a leading digit are shown by the bucket that an
/// entry lies in, and 32 more by its window.
class kx_shown_bits {
  public:
    kx_shown_bits(const kx_prefix_range &range, int most_digit_bits);

    /// So many of the lowest bits are not shown.
    [[nodiscard]] int hidden() const { return hidden_; }
    [[nodiscard]] std::uint64_t window(kx_prefix prefix) const { return (prefix >> hidden_) - base_; }
    [[nodiscard]] std::size_t bucket(kx_prefix prefix) const { return window(prefix) >> below_digit_; }

  private:
    std::uint64_t base_; ///< what is shown of the least
    int hidden_ = 0, below_digit_;
};

/// Sorts n entries; `scratch` has room for n. Where windows are equal, the numbers are in order beforehand.
void kx_sort_entries(kx_slot_entry *entries, kx_slot_entry *scratch, kx_i64 n);

/// Very many entries are told apart by a leading digit first, so that the rest happens within the processor's caches.
class kx_buckets {
  public:
    /// The bits of that digit, for n entries.
    static int digit_bits(kx_i64 n);

    /// Fills `entries` with those of n prefixes, numbered from 0, bucket by bucket.
    kx_buckets(const kx_slot_prefix *prefixes, kx_i64 n, const kx_shown_bits &shown, kx_slot_entry *entries);

    /// Calls use(first, end) for the entries of every bucket that has any.
    template <class Use> void for_each(Use use) const {
        kx_i64 first = 0;
        for (const kx_i64 end : ends_) {
            if (first < end) {
                use(first, end);
                first = end;
            }
        }
    }

  private:
    std::array<kx_item_number, std::size_t{1} << kMostDigitBits> ends_{};
};

/// Sorts n entries by less_or_equal(a, b) of their numbers, keeping equal ones in order; `scratch` has room for n.
/// Merges bottom-up from runs of one (Knuth, The Art of Computer Programming 3, 5.2.4).
template <class LessOrEqual>
void kx_merge_sort_entries(kx_slot_entry *entries, kx_slot_entry *scratch, kx_i64 n, LessOrEqual less_or_equal) {
    const auto ordered = [&](kx_entry a, kx_entry b) { return less_or_equal(kx_number_of(a), kx_number_of(b)); };
    kx_slot_entry *from = entries;
    kx_slot_entry *to = scratch;
    for (kx_i64 width = 1; width < n; width *= 2, std::swap(from, to)) {
        for (kx_i64 first = 0; first < n; first += 2 * width) {
            const kx_i64 middle = std::min(first + width, n), end = std::min(first + 2 * width, n);
            kx_i64 left = first, right = middle;
            for (kx_i64 k = first; k < end; ++k) {
                const bool take_left = right == end || (left < middle && ordered(from[left], from[right]));
                to[k] = take_left ? from[left++] : from[right++];
            }
        }
    }
    if (from != entries) {
        std::memcpy(entries, from, to_size(n) * sizeof(kx_entry));
    }
}

} // namespace orkan
