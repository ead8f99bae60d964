// kx_entries.cpp: radix sort (Knuth, The Art of Computer Programming 3, 5.2.5) by as many digits as tell most of the
// entries apart, counted from the highest bit in which the least and the greatest differ: least significant of them
// first (algorithm R), then group by group where more are needed. Few entries are inserted instead; very many are told
// apart by their highest digit first, so that the rest happens within the processor's caches.
#include "kx_sort/kx_entries.h"

#include <bit>
#include <utility>

namespace orkan {

namespace {

constexpr int kMostDigitBits = 11;       ///< more buckets than these outgrow the caches
constexpr int kSpareBits = 6;            ///< sorted by, beyond those that number the entries: text spreads unevenly
constexpr int kMostDigits = 3;           ///< cover the bits of that for fewer than kManyEntries
constexpr kx_i64 kFewEntries = 31;       ///< inserted; for one more two digits of 6 bits will do
constexpr kx_i64 kManyEntries = 1 << 17; ///< from here on they no longer lie in the processor's second cache
constexpr int kGroupBits = 13;           ///< number the entries of a group that does

using Histogram = std::array<kx_item_number, std::size_t{1} << kMostDigitBits>;

int bits_of(std::uint64_t value) { return static_cast<int>(std::bit_width(value)); }

/// The digits to sort by, of a prefix less the least one: `count` of them, of `width` bits, from bit `low` on.
struct Digits {
    kx_prefix least;
    int low, width, count;

    [[nodiscard]] std::size_t buckets() const { return std::size_t{1} << width; }
    [[nodiscard]] std::size_t of(kx_prefix prefix, int d) const {
        return (prefix - least) >> (low + d * width) & (buckets() - 1);
    }
    /// What all digits together tell, and more, is the same.
    [[nodiscard]] bool alike(kx_prefix a, kx_prefix b) const { return (a - least) >> low == (b - least) >> low; }
};

Digits choose_digits(const kx_entries &entries, kx_i64 n) {
    kx_prefix least = entries.prefixes[0], greatest = least;
    for (kx_i64 i = 1; i < n; ++i) {
        const kx_prefix prefix = entries.prefixes[i];
        least = std::min(least, prefix);
        greatest = std::max(greatest, prefix);
    }
    const int bits = bits_of(greatest - least), numbering = bits_of(static_cast<std::uint64_t>(n));
    if (n >= kManyEntries) {
        const int width = std::min({bits, numbering - kGroupBits, kMostDigitBits});
        return {least, bits - width, width, 1};
    }
    const int needed = std::min(bits, numbering + kSpareBits);
    const int count = (needed + kMostDigitBits - 1) / kMostDigitBits;
    const int width = count > 0 ? (needed + count - 1) / count : 0;
    return {least, std::max(bits - count * width, 0), width, count};
}

/// Moves the entries to `to` in the order of digit d; `count` becomes the places behind each bucket.
void scatter(const kx_entries &from, const kx_entries &to, kx_i64 n, const Digits &digits, int d, Histogram &count) {
    kx_item_number place = 0;
    for (std::size_t bucket = 0; bucket < digits.buckets(); ++bucket) {
        place += std::exchange(count[bucket], place);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        const kx_prefix prefix = from.prefixes[i];
        const kx_item_number target = count[digits.of(prefix, d)]++;
        to.prefixes[target] = prefix;
        to.numbers[target] = from.numbers[i];
    }
}

/// Digits that are the same in all entries cost nothing.
kx_entries sort_by_digits(kx_entries entries, kx_entries other, kx_i64 n, const Digits &digits) {
    std::array<Histogram, kMostDigits> counts;
    static_assert(sizeof counts <= 32768, "lives on the stack");
    KX_ASSERT(digits.count <= kMostDigits);
    for (int d = 0; d < digits.count; ++d) {
        std::fill_n(counts[to_size(d)].begin(), digits.buckets(), 0);
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

/// Sorts what the digits left in disorder: the groups around entries that are less than the one before.
void sort_groups(const kx_entries &entries, const kx_entries &other, kx_i64 n, const Digits &digits) {
    const kx_slot_prefix *prefixes = entries.prefixes;
    for (kx_i64 i = 1; i < n; ++i) {
        if (prefixes[i - 1] <= prefixes[i]) {
            continue;
        }
        kx_i64 first = i - 1, end = i + 1;
        while (first > 0 && digits.alike(prefixes[first - 1], prefixes[i])) {
            --first;
        }
        while (end < n && digits.alike(prefixes[end], prefixes[i])) {
            ++end;
        }
        kx_sort_entries(entries.from(first), other.from(first), end - first);
        i = end;
    }
}

kx_entries radix_sort(const kx_entries &entries, const kx_entries &other, kx_i64 n) {
    const Digits digits = choose_digits(entries, n);
    const kx_entries sorted = sort_by_digits(entries, other, n, digits);
    if (digits.low > 0) {
        sort_groups(sorted, sorted.prefixes == entries.prefixes ? other : entries, n, digits);
    }
    return sorted;
}

} // namespace

kx_entries kx_sort_entries_either(kx_entries entries, kx_entries scratch, kx_i64 n) {
    if (n > kFewEntries) {
        return radix_sort(entries, scratch, n);
    }
    insertion_sort(entries, n);
    return entries;
}

void kx_sort_entries(kx_entries entries, kx_entries scratch, kx_i64 n) {
    const kx_entries sorted = kx_sort_entries_either(entries, scratch, n);
    if (sorted.prefixes != entries.prefixes) {
        std::memcpy(entries.prefixes, sorted.prefixes, to_size(n) * sizeof(kx_prefix));
        std::memcpy(entries.numbers, sorted.numbers, to_size(n) * sizeof(kx_item_number));
    }
}

} // namespace orkan
