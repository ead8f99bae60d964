// kx_index_sort.cpp: sorts an index by the leading key bytes cached next to each item.
//
//   slots    | item | item | ...      what an index is before and after
//   first    | prefix ... | number ...   item i as its prefix and its number in the array of items
//   second   | prefix ... | number ...   the other side of each radix pass; its prefixes live in the slots
//
// The prefix is an order-preserving integer of the first key, so one least-significant-digit radix sort serves text,
// numbers and both directions (Knuth, The Art of Computer Programming 3, 5.2.5, algorithm R). It is stable, so the
// stable sort and the other one give the same order. Groups of equal prefixes are settled by the comparator. Verbose
// runs count comparator calls and so compare throughout, as do small indexes.
#include "kx_sort/kx_index_sort.h"

#include <cstdlib>
#include <utility>

#include "kx_sort/kx_prefix.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

namespace {

constexpr kx_i64 kSmallIndex = 512; ///< below this many records the histograms cost more than they save
constexpr int kDigitBits = 11;
constexpr std::size_t kDigits = 6; ///< 6 x 11 bits cover the 64 of a prefix
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;

using Number = std::uint32_t;
constexpr kx_i64 kMostRecords = std::numeric_limits<Number>::max();

/// A prefix that may stand where the slots' pointers do.
using SlotPrefix [[gnu::may_alias]] = kx_prefix;

/// Entries of a radix sort: prefix and number side by side, 12 bytes a record.
struct Entries {
    SlotPrefix *prefixes;
    Number *numbers;
};

/// System memory that lives as long as the block it is declared in.
template <class T> class Scratch {
  public:
    explicit Scratch(kx_i64 count)
        : memory_(static_cast<T *>(kx_system_malloc(multiply_saturating(count, to_i64(sizeof(T)))))) {}
    ~Scratch() { std::free(memory_); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    [[nodiscard]] T *get() const { return memory_; }

  private:
    T *memory_;
};

// The items of an index, in buffer order before it is sorted: what their views are, and how far apart they lie.

struct FixedItems {
    char *first;
    static auto view(const void *item) { return fixed_item(item); }
    static kx_i64 stride() { return argsInfo.recLen; }
};

struct VariableItems {
    char *first;
    static auto view(const void *item) { return variable_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo); }
};

struct CsvItems {
    char *first;
    static auto view(const void *item) { return csv_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo_csv); }
};

// --- radix sort --------------------------------------------------------------------------------------------------

std::size_t digit(kx_prefix prefix, std::size_t d) { return prefix >> (d * kDigitBits) & (kBuckets - 1); }

using Histogram = std::array<Number, kBuckets>;

/// Moves the entries to `to` in the order of digit d; `count` becomes the places behind each bucket.
void scatter(const Entries &from, const Entries &to, kx_i64 n, std::size_t d, Histogram &count) {
    Number place = 0;
    for (Number &bucket : count) {
        place += std::exchange(bucket, place);
    }
    for (kx_i64 i = 0; i < n; ++i) {
        const Number target = count[digit(from.prefixes[i], d)]++;
        to.prefixes[target] = from.prefixes[i];
        to.numbers[target] = from.numbers[i];
    }
}

/// Sorts by prefix, keeping equal ones in order; the result is in `entries`, which may be swapped with `other`. Digits
/// that are the same in all entries cost nothing.
void radix_sort(Entries &entries, Entries &other, kx_i64 n) {
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
}

/// Fills the entries in buffer order; true when their prefixes ascend already.
template <class Items>
bool take_entries(const Items &items, void *const *slots, kx_i64 n, const kx_prefix_rule &rule,
                  const Entries &entries) {
    const kx_i64 stride = items.stride();
    bool ascending = true;
    kx_prefix previous = 0;
    for (kx_i64 i = 0; i < n; ++i) {
        const auto *item = static_cast<const char *>(slots[i]);
        KX_ASSERT(item >= items.first && (item - items.first) % stride == 0);
        const kx_prefix prefix = rule.of(items.view(item));
        entries.prefixes[i] = prefix;
        entries.numbers[i] = static_cast<Number>((item - items.first) / stride);
        ascending = ascending && prefix >= previous;
        previous = prefix;
    }
    return ascending;
}

/// Puts the items into the slots in the order of the entries.
template <class Items> void put_items(const Items &items, void **slots, kx_i64 n, const Entries &entries) {
    const kx_i64 stride = items.stride();
    for (kx_i64 i = 0; i < n; ++i) {
        slots[i] = items.first + stride * entries.numbers[i];
    }
}

/// Sorts each group of equal prefixes by the comparator. False when a merge buffer was refused.
bool settle_equal_prefixes(const SlotPrefix *prefixes, void **slots, kx_i64 n) {
    const kx_compare compare = kx_choose_index_comparator();
    for (kx_i64 first = 0, last = 0; first < n; first = last) {
        while (last < n && prefixes[last] == prefixes[first]) {
            ++last;
        }
        if (last - first > 1 && _kx_msort(slots, first, last - 1, sizeof(void *), compare) != 0) {
            return false;
        }
    }
    return true;
}

/// False when memory is refused: the slots then hold a permutation that keeps equal records in order.
template <class Items> bool sort_by_prefix(const Items &items, void **slots, kx_i64 n) {
    const Scratch<kx_prefix> prefixes(n);
    const Scratch<Number> numbers(n);
    const Scratch<Number> other_numbers(n);
    if (prefixes.get() == nullptr || numbers.get() == nullptr || other_numbers.get() == nullptr) {
        return false;
    }
    const kx_prefix_rule rule = kx_choose_prefix_rule();
    static_assert(sizeof(kx_prefix) == sizeof(void *), "the slots hold prefixes meanwhile");
    Entries entries{prefixes.get(), numbers.get()};
    if (!take_entries(items, slots, n, rule, entries)) {
        Entries other{reinterpret_cast<SlotPrefix *>(slots), other_numbers.get()};
        radix_sort(entries, other, n);
        if (entries.prefixes != prefixes.get()) {
            std::memcpy(prefixes.get(), entries.prefixes, to_size(n) * sizeof(kx_prefix));
        }
        put_items(items, slots, n, entries);
    }
    return rule.decisive || settle_equal_prefixes(prefixes.get(), slots, n);
}

bool sort_by_prefix(kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    void **slots = &list->tab[kx_ring_slot(list, 0)];
    auto *first = static_cast<char *>(slots[0]);
    switch (kx_record_format()) {
    case kx_format::fixed: return sort_by_prefix(FixedItems{first}, slots, n);
    case kx_format::csv: return sort_by_prefix(CsvItems{first}, slots, n);
    default: return sort_by_prefix(VariableItems{first}, slots, n);
    }
}

bool prefix_sort_applies(const kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    return VERBOSE == 0 && n >= kSmallIndex && n <= kMostRecords;
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
