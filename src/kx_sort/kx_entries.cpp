// kx_entries.cpp: radix sort (Knuth, The Art of Computer Programming 3, 5.2.5) by as many 11-bit digits as tell most of
// the entries apart, counted from the highest bit in which any two differ: least significant of them first
// (algorithm R), then group by group where more digits are needed. Few entries are merged and inserted instead, and
// very many are told apart by their highest digit first, so that the rest happens within the processor's caches.
#include "kx_sort/kx_entries.h"

#include <bit>
#include <utility>

namespace orkan {

namespace {

constexpr int kDigitBits = 11;
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
constexpr int kMostDigits = 6; ///< 6 x 11 bits cover the 64 of a prefix
constexpr int kSpareBits = 8;  ///< sorted by, beyond those that number the entries: text spreads unevenly
constexpr kx_i64 kFewEntries = 24;
constexpr kx_i64 kSomeEntries = 2048;    ///< below, merging beats histograms of 2,048 buckets
constexpr kx_i64 kManyEntries = 1 << 20; ///< from here on they no longer lie in the processor's caches

using Histogram = std::array<kx_item_number, kBuckets>;

/// The digits to sort by: `count` of them from bit `low` on.
struct Digits {
    int low;
    int count;

    [[nodiscard]] std::size_t of(kx_prefix prefix, int d) const {
        return prefix >> (low + d * kDigitBits) & (kBuckets - 1);
    }
};

/// Bits in which any two prefixes differ.
kx_prefix varying_bits(const kx_entries &entries, kx_i64 n) {
    kx_prefix varying = 0;
    for (kx_i64 i = 1; i < n; ++i) {
        varying |= entries.prefixes[i] ^ entries.prefixes[0];
    }
    return varying;
}

int bits_of(std::uint64_t value) { return static_cast<int>(std::bit_width(value)); }

/// Of many entries with more than two digits only the highest: each group then fits the processor's caches.
Digits choose_digits(kx_prefix varying, kx_i64 n) {
    const int bits = bits_of(varying);
    const int enough = bits_of(static_cast<std::uint64_t>(n)) + kSpareBits;
    const int needed = (std::min(bits, enough) + kDigitBits - 1) / kDigitBits;
    const int count = n >= kManyEntries && needed > 2 ? 1 : needed;
    return {std::max(bits - count * kDigitBits, 0), count};
}

/// Moves the entries to `to` in the order of digit d; `count` becomes the places behind each bucket.
void scatter(const kx_entries &from, const kx_entries &to, kx_i64 n, const Digits &digits, int d, Histogram &count) {
    kx_item_number place = 0;
    for (kx_item_number &bucket : count) {
        place += std::exchange(bucket, place);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        const kx_item_number target = count[digits.of(from.prefixes[i], d)]++;
        to.prefixes[target] = from.prefixes[i];
        to.numbers[target] = from.numbers[i];
    }
}

/// Digits that are the same in all entries cost nothing.
kx_entries sort_by_digits(kx_entries entries, kx_entries other, kx_i64 n, const Digits &digits) {
    std::array<Histogram, kMostDigits> counts;
    static_assert(sizeof counts <= 65536, "lives on the stack");
    for (int d = 0; d < digits.count; ++d) {
        counts[to_size(d)].fill(0);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        for (int d = 0; d < digits.count; ++d) {
            ++counts[to_size(d)][digits.of(entries.prefixes[i], d)];
        }
    }
    for (int d = 0; d < digits.count; ++d) {
        if (counts[to_size(d)][digits.of(entries.prefixes[0], d)] != n) {
            scatter(entries, other, n, digits, d, counts[to_size(d)]);
            std::swap(entries, other);
        }
    }
    return entries;
}

void insertion_sort(const kx_entries &entries, kx_i64 n) {
    for (kx_i64 i = 1; i < n; ++i) {
        const kx_prefix prefix = entries.prefixes[i];
        const kx_item_number number = entries.numbers[i];
        kx_i64 place = i;
        for (; place > 0 && entries.prefixes[place - 1] > prefix; --place) {
            entries.prefixes[place] = entries.prefixes[place - 1];
            entries.numbers[place] = entries.numbers[place - 1];
        }
        entries.prefixes[place] = prefix;
        entries.numbers[place] = number;
    }
}

void copy(const kx_entries &from, const kx_entries &to, kx_i64 first, kx_i64 n) {
    std::memcpy(to.prefixes + first, from.prefixes + first, to_size(n) * sizeof(kx_prefix));
    std::memcpy(to.numbers + first, from.numbers + first, to_size(n) * sizeof(kx_item_number));
}

/// Joins the sorted [first, middle) and [middle, end) into `to`.
void merge(const kx_entries &from, const kx_entries &to, kx_i64 first, kx_i64 middle, kx_i64 end) {
    kx_i64 left = first, right = middle;
    for (kx_i64 k = first; k < end; ++k) {
        const bool take_left = right == end || (left < middle && from.prefixes[left] <= from.prefixes[right]);
        const kx_i64 taken = take_left ? left++ : right++;
        to.prefixes[k] = from.prefixes[taken];
        to.numbers[k] = from.numbers[taken];
    }
}

kx_entries merge_sort(kx_entries from, kx_entries to, kx_i64 n) {
    for (kx_i64 first = 0; first < n; first += kFewEntries) {
        insertion_sort(from.from(first), std::min(kFewEntries, n - first));
    }
    for (kx_i64 width = kFewEntries; width < n; width *= 2, std::swap(from, to)) {
        for (kx_i64 first = 0; first < n; first += 2 * width) {
            merge(from, to, first, std::min(first + width, n), std::min(first + 2 * width, n));
        }
    }
    return from;
}

/// Sorts groups that are equal from bit `low` on by the bits below.
void sort_groups(const kx_entries &entries, const kx_entries &other, kx_i64 n, int low);

kx_entries radix_sort(kx_entries entries, kx_entries other, kx_i64 n) {
    const Digits digits = choose_digits(varying_bits(entries, n), n);
    const kx_entries sorted = sort_by_digits(entries, other, n, digits);
    if (digits.low > 0) {
        sort_groups(sorted, sorted.prefixes == entries.prefixes ? other : entries, n, digits.low);
    }
    return sorted;
}

void sort_groups(const kx_entries &entries, const kx_entries &other, kx_i64 n, int low) {
    for (kx_i64 first = 0, last = 0; first < n; first = last) {
        for (last = first + 1; last < n && (entries.prefixes[last] ^ entries.prefixes[first]) >> low == 0; ++last) {
        }
        if (last - first > kFewEntries) {
            kx_sort_entries(entries.from(first), other.from(first), last - first);
        } else {
            insertion_sort(entries.from(first), last - first);
        }
    }
}

} // namespace

kx_entries kx_sort_entries_either(kx_entries entries, kx_entries scratch, kx_i64 n) {
    return n < kSomeEntries ? merge_sort(entries, scratch, n) : radix_sort(entries, scratch, n);
}

void kx_sort_entries(kx_entries entries, kx_entries scratch, kx_i64 n) {
    const kx_entries sorted = kx_sort_entries_either(entries, scratch, n);
    if (sorted.prefixes != entries.prefixes) {
        copy(sorted, entries, 0, n);
    }
}

} // namespace orkan
