// kx_entries.cpp: least-significant-digit radix sort (Knuth, The Art of Computer Programming 3, 5.2.5, algorithm R)
// with 11-bit digits, and insertion sort where so few entries do not pay for the histograms.
#include "kx_sort/kx_entries.h"

#include <utility>

namespace orkan {

namespace {

constexpr int kDigitBits = 11;
constexpr std::size_t kDigits = 6; ///< 6 x 11 bits cover the 64 of a prefix
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
constexpr kx_i64 kFewEntries = 24;
constexpr kx_i64 kSomeEntries = 2048; ///< below, merging beats six histograms of 2,048 buckets

std::size_t digit(kx_prefix prefix, std::size_t d) { return prefix >> (d * kDigitBits) & (kBuckets - 1); }

using Histogram = std::array<kx_item_number, kBuckets>;

/// Moves the entries to `to` in the order of digit d; `count` becomes the places behind each bucket.
void scatter(const kx_entries &from, const kx_entries &to, kx_i64 n, std::size_t d, Histogram &count) {
    kx_item_number place = 0;
    for (kx_item_number &bucket : count) {
        place += std::exchange(bucket, place);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        const kx_item_number target = count[digit(from.prefixes[i], d)]++;
        to.prefixes[target] = from.prefixes[i];
        to.numbers[target] = from.numbers[i];
    }
}

/// Digits that are the same in all entries cost nothing.
kx_entries radix_sort(kx_entries entries, kx_entries other, kx_i64 n) {
    std::array<Histogram, kDigits> counts{};
    static_assert(sizeof counts <= 65536, "lives on the stack");
    for (kx_i64 i = 0; i < n; ++i) {
        for (std::size_t d = 0; d < kDigits; ++d) {
            ++counts[d][digit(entries.prefixes[i], d)];
        }
    }
    for (std::size_t d = 0; d < kDigits; ++d) {
        if (counts[d][digit(entries.prefixes[0], d)] != n) {
            scatter(entries, other, n, d, counts[d]);
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
