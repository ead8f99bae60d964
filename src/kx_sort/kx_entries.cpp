// kx_entries.cpp: radix sort (Knuth, The Art of Computer Programming 3, 5.2.5) by as many digits of the windows as tell
// most of the entries apart, counted from the highest bit in which the least and the greatest differ: least significant
// of them first (algorithm R), then group by group where more are needed. Few entries are inserted instead.
#include "kx_sort/kx_entries.h"

#include <bit>
#include <utility>

namespace orkan {

namespace {

constexpr int kSpareBits = 6;            ///< sorted by, beyond those that number the entries: text spreads unevenly
constexpr int kMostDigits = 3;           ///< cover the bits of that for fewer than kManyEntries
constexpr kx_i64 kFewEntries = 31;       ///< inserted; for one more two digits of 6 bits will do
constexpr kx_i64 kManyEntries = 1 << 17; ///< from here on they no longer lie in the processor's second cache
constexpr int kGroupBits = 13;           ///< number the entries of a group that does

using Histogram = std::array<kx_item_number, std::size_t{1} << kMostDigitBits>;

int bits_of(std::uint64_t value) { return static_cast<int>(std::bit_width(value)); }

/// From counts to the places where the buckets begin.
template <class Counts> void counts_to_places(Counts &counts, std::size_t buckets) {
    kx_item_number place = 0;
    for (std::size_t bucket = 0; bucket < buckets; ++bucket) {
        place += std::exchange(counts[bucket], place);
    }
}

/// The digits to sort by, of an entry less the least window: `count` of them, of `width` bits, from bit `low` on.
struct Digits {
    kx_entry least;
    int low, width, count;

    [[nodiscard]] std::size_t buckets() const { return std::size_t{1} << width; }
    [[nodiscard]] std::size_t of(kx_entry entry, int d) const {
        return (entry - least) >> (low + d * width) & (buckets() - 1);
    }
    /// What all digits together tell, and more, is the same.
    [[nodiscard]] bool alike(kx_entry a, kx_entry b) const { return (a - least) >> low == (b - least) >> low; }
};

Digits choose_digits(const kx_slot_entry *entries, kx_i64 n) {
    kx_entry least = entries[0], greatest = least;
    for (kx_i64 i = 1; i < n; ++i) {
        least = std::min(least, entries[i]);
        greatest = std::max(greatest, entries[i]);
    }
    least = kx_make_entry(kx_window_of(least), 0);
    const int bits = bits_of(kx_window_of(greatest - least)), numbering = bits_of(static_cast<std::uint64_t>(n));
    if (n >= kManyEntries) {
        const int width = std::min({bits, numbering - kGroupBits, kMostDigitBits});
        return {least, kWindowBits + bits - width, width, 1};
    }
    const int needed = std::min(bits, numbering + kSpareBits);
    const int count = (needed + kMostDigitBits - 1) / kMostDigitBits;
    const int width = count > 0 ? (needed + count - 1) / count : 0;
    return {least, kWindowBits + std::max(bits - count * width, 0), width, count};
}

/// Moves the entries to `to` in the order of digit d, of which there are so many of each value.
void scatter(const kx_slot_entry *from, kx_slot_entry *to, kx_i64 n, const Digits &digits, int d, Histogram &counts) {
    counts_to_places(counts, digits.buckets());
    for (kx_i64 i = 0; i < n; ++i) {
        to[counts[digits.of(from[i], d)]++] = from[i];
    }
}

/// In which of the two the result is. Digits that are the same in all entries cost nothing.
kx_slot_entry *sort_by_digits(kx_slot_entry *entries, kx_slot_entry *other, kx_i64 n, const Digits &digits) {
    std::array<Histogram, kMostDigits> counts;
    static_assert(sizeof counts <= 32768, "lives on the stack");
    KX_ASSERT(digits.count <= kMostDigits);
    for (int d = 0; d < digits.count; ++d) {
        std::fill_n(counts[to_size(d)].begin(), digits.buckets(), 0);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        for (int d = 0; d < digits.count; ++d) {
            ++counts[to_size(d)][digits.of(entries[i], d)];
        }
    }
    for (int d = 0; d < digits.count; ++d) {
        if (counts[to_size(d)][digits.of(entries[0], d)] != n) {
            scatter(entries, other, n, digits, d, counts[to_size(d)]);
            std::swap(entries, other);
        }
    }
    return entries;
}

void insertion_sort(kx_slot_entry *entries, kx_i64 n) {
    for (kx_i64 i = 1; i < n; ++i) {
        const kx_entry entry = entries[i];
        kx_i64 place = i;
        for (; place > 0 && entries[place - 1] > entry; --place) {
            entries[place] = entries[place - 1];
        }
        entries[place] = entry;
    }
}

/// Sorts what the digits left in disorder: the groups around entries that are less than the one before.
void sort_groups(kx_slot_entry *entries, kx_slot_entry *scratch, kx_i64 n, const Digits &digits) {
    for (kx_i64 i = 1; i < n; ++i) {
        if (entries[i - 1] <= entries[i]) {
            continue;
        }
        kx_i64 first = i - 1, end = i + 1;
        while (first > 0 && digits.alike(entries[first - 1], entries[i])) {
            --first;
        }
        while (end < n && digits.alike(entries[end], entries[i])) {
            ++end;
        }
        kx_sort_entries(entries + first, scratch + first, end - first);
        i = end;
    }
}

} // namespace

kx_shown_bits::kx_shown_bits(const kx_prefix_range &range, int most_digit_bits) {
    while (bits_of((range.greatest >> hidden_) - (range.least >> hidden_)) > kWindowBits + most_digit_bits) {
        ++hidden_;
    }
    base_ = range.least >> hidden_;
    below_digit_ = std::max(bits_of(window(range.greatest)) - most_digit_bits, 0);
}

void kx_sort_entries(kx_slot_entry *entries, kx_slot_entry *scratch, kx_i64 n) {
    if (n <= kFewEntries) {
        insertion_sort(entries, n);
        return;
    }
    const Digits digits = choose_digits(entries, n);
    if (sort_by_digits(entries, scratch, n, digits) != entries) {
        std::memcpy(entries, scratch, to_size(n) * sizeof(kx_entry));
    }
    if (digits.low > kWindowBits) {
        sort_groups(entries, scratch, n, digits);
    }
}

int kx_buckets::digit_bits(kx_i64 n) {
    return std::clamp(bits_of(static_cast<std::uint64_t>(n)) - kGroupBits, 0, kMostDigitBits);
}

kx_buckets::kx_buckets(const kx_slot_prefix *prefixes, kx_i64 n, const kx_shown_bits &shown, kx_slot_entry *entries) {
    for (kx_i64 i = 0; i < n; ++i) {
        ++ends_[shown.bucket(prefixes[i])];
    }
    counts_to_places(ends_, ends_.size());
    for (kx_i64 i = 0; i < n; ++i) {
        const kx_prefix prefix = prefixes[i];
        entries[ends_[shown.bucket(prefix)]++] = kx_make_entry(shown.window(prefix), static_cast<kx_item_number>(i));
    }
}

} // namespace orkan
