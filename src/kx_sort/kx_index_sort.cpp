// kx_index_sort.cpp: sorts an index by the leading key bytes cached next to each pointer.
//
//   index slots      entries                             index slots
//   | p | p | ...    | first 8 key bytes, p | ... radix  | p | p | p | ...
//                                                              '---'  equal prefixes: settled by the comparator
//
// The prefix is an order-preserving integer of the first key, so one least-significant-digit radix sort serves text,
// numbers and both directions (Knuth, The Art of Computer Programming 3, 5.2.5, algorithm R). It is stable, so the
// stable sort and the other one give the same order. Verbose runs count comparator calls and so compare throughout,
// as do small indexes.
#include "kx_sort/kx_index_sort.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_compare_core.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

namespace {

using Prefix = std::uint64_t;

constexpr kx_i64 kSmallIndex = 512; ///< below this many records the histograms cost more than they save
constexpr int kDigitBits = 11;
constexpr std::size_t kDigits = 6; ///< 6 x 11 bits cover the 64 of a prefix
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;

struct Entry {
    Prefix prefix;
    void *item;
};

/// System memory that lives as long as the block it is declared in.
class Scratch {
  public:
    explicit Scratch(kx_i64 entries)
        : entries_(static_cast<Entry *>(kx_system_malloc(multiply_saturating(entries, to_i64(sizeof(Entry)))))) {}
    ~Scratch() { std::free(entries_); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    [[nodiscard]] Entry *get() const { return entries_; }

  private:
    Entry *entries_;
};

// --- prefixes ----------------------------------------------------------------------------------------------------

/// The first 8 bytes as a big-endian number, missing ones as 0: ordered like the bytes.
Prefix text_prefix(Bytes text) {
    std::array<unsigned char, sizeof(Prefix)> bytes{};
    if (text.len > 0) {
        std::memcpy(bytes.data(), text.ptr, to_size(std::min<kx_i64>(text.len, sizeof(Prefix))));
    }
    Prefix value = 0;
    for (const unsigned char byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

/// Ordered like the signed value.
Prefix number_prefix(kx_i64 value) {
    return static_cast<Prefix>(value) ^ Prefix { 1 } << 63;
}

/// How the records of one run get their prefix.
struct PrefixRule {
    KeyInfo key;   ///< the first sort key; a whole record counts as one text key
    bool decisive; ///< equal prefixes mean equal records

    [[nodiscard]] Prefix of(const void *item) const {
        const auto view = fixed_item(item);
        const Bytes bytes = view.key(key, 0);
        const Prefix ascending =
            key.type == kTypeNum ? number_prefix(number_at(bytes, bytes.len, view.end)) : text_prefix(bytes);
        return key.srtSeq == kSeqDesc ? ~ascending : ascending;
    }
};

PrefixRule prefix_rule() {
    constexpr kx_i64 kWhole = sizeof(Prefix);
    if (argsInfo.bRecSort != kRecSortNone) {
        const auto len = static_cast<std::int32_t>(std::min(argsInfo.recLen, kWhole));
        return {{nullptr, 0, len, kTypeAscii, static_cast<std::int32_t>(argsInfo.bRecSort)}, argsInfo.recLen <= kWhole};
    }
    const KeyInfo &first = argsInfo.arrSortKey[0];
    return {first, argsInfo.keyNums == 1 && (first.type == kTypeNum || first.len <= kWhole)};
}

// --- radix sort --------------------------------------------------------------------------------------------------

std::size_t digit(Prefix prefix, std::size_t d) { return prefix >> (d * kDigitBits) & (kBuckets - 1); }

using Histogram = std::array<kx_i64, kBuckets>;

/// Moves the entries to `to` in the order of digit d; `count` becomes the places behind each bucket.
void scatter(const Entry *from, Entry *to, kx_i64 n, std::size_t d, Histogram &count) {
    kx_i64 place = 0;
    for (kx_i64 &bucket : count) {
        place += std::exchange(bucket, place);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        to[count[digit(from[i].prefix, d)]++] = from[i];
    }
}

/// Sorts by prefix, keeping equal ones in order; the result is in one of the two arrays. Digits that are the same in
/// all entries cost nothing.
const Entry *radix_sort(Entry *entries, Entry *other, kx_i64 n) {
    static_assert(sizeof(std::array<Histogram, kDigits>) <= 131072, "lives on the stack");
    std::array<Histogram, kDigits> counts{};
    for (kx_i64 i = 0; i < n; ++i) {
        for (std::size_t d = 0; d < kDigits; ++d) {
            ++counts[d][digit(entries[i].prefix, d)];
        }
    }
    for (std::size_t d = 0; d < kDigits; ++d) {
        if (counts[d][digit(entries[0].prefix, d)] != n) {
            scatter(entries, other, n, d, counts[d]);
            std::swap(entries, other);
        }
    }
    return entries;
}

/// Fills the entries; true when they are in order already.
bool take_entries(const kx_list *list, const PrefixRule &rule, Entry *entries) {
    const kx_i64 n = kx_list_len(list);
    bool ordered = true;
    Prefix previous = 0;
    for (kx_i64 i = 0; i < n; ++i) {
        void *item = kx_list_get(list, i);
        const Prefix prefix = rule.of(item);
        entries[i] = {prefix, item};
        ordered = ordered && prefix >= previous;
        previous = prefix;
    }
    return ordered;
}

/// Sorts each group of equal prefixes by the comparator. False when a merge buffer was refused.
bool settle_equal_prefixes(const Entry *sorted, kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    const kx_compare compare = kx_choose_index_comparator();
    void **slots = &list->tab[kx_ring_slot(list, 0)];
    for (kx_i64 first = 0, last = 0; first < n; first = last) {
        while (last < n && sorted[last].prefix == sorted[first].prefix) {
            ++last;
        }
        if (last - first > 1 && _kx_msort(slots, first, last - 1, sizeof(void *), compare) != 0) {
            return false;
        }
    }
    return true;
}

/// False when memory is refused: the list then is a permutation that keeps equal records in order.
bool sort_by_prefix(kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    const Scratch entries(n);
    const Scratch other(n);
    if (entries.get() == nullptr || other.get() == nullptr) {
        return false;
    }
    const PrefixRule rule = prefix_rule();
    const Entry *sorted = entries.get();
    if (!take_entries(list, rule, entries.get())) {
        sorted = radix_sort(entries.get(), other.get(), n);
        for (kx_i64 i = 0; i < n; ++i) {
            kx_list_set(list, i, sorted[i].item);
        }
    }
    return rule.decisive || settle_equal_prefixes(sorted, list);
}

bool prefix_sort_applies(const kx_list *list) {
    return VERBOSE == 0 && kx_list_len(list) >= kSmallIndex && kx_record_format() == kx_format::fixed;
}

int sort_by_comparator(kx_list *list, bool stable) {
    if (stable) {
        return kx_list_msort(list, kx_choose_index_comparator());
    }
    kx_list_qsort(list, kx_choose_index_comparator());
    return 0;
}

} // namespace

int kx_sort_index(kx_list *list, bool stable) {
    const bool sorted = prefix_sort_applies(list) && sort_by_prefix(list);
    return sorted ? 0 : sort_by_comparator(list, stable);
}

} // namespace orkan
