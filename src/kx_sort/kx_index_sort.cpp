// kx_index_sort.cpp: sorts an index by the leading key bytes cached next to each item.
//
//   slots    | item | item | ...        what an index is before and after
//   entries  | prefix, number | ...     sorted by prefix; groups of equal prefixes by the next 8 bytes, and so on;
//                                       groups of equal keys by the next key
//
// The prefix is an order-preserving integer of a key, so the same sort serves text, numbers and both directions. What
// the prefixes do not tell is settled by the comparator. Everything is stable, so the stable sort and
// the other one give the same order. The slots serve as half of the scratch memory meanwhile.
//
// Verbose runs count comparator calls and so compare throughout, as do small indexes.
#include "kx_sort/kx_index_sort.h"

#include <cstdlib>

#include "kx_sort/kx_entries.h"
#include "kx_utils/kx_system_memory.h"

namespace orkan {

namespace {

constexpr kx_i64 kSmallIndex = 512; ///< below, three allocations and the histograms cost more than they save
constexpr kx_i64 kMostRecords = std::numeric_limits<kx_item_number>::max();
constexpr int kDeepest = 64; ///< groups within groups; then the comparator takes over

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
    const char *first;
    static auto view(const void *item) { return fixed_item(item); }
    static kx_i64 stride() { return argsInfo.recLen; }
};

struct VariableItems {
    const char *first;
    static auto view(const void *item) { return variable_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo); }
};

struct CsvItems {
    const char *first;
    static auto view(const void *item) { return csv_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo_csv); }
};

/// One index being sorted.
template <class Items> class IndexSort {
  public:
    IndexSort(Items items, kx_entries entries, kx_entries scratch)
        : items_(items), entries_(entries), scratch_(scratch) {}

    void sort(void **slots, kx_i64 n) {
        if (!take_entries(slots, n)) {
            const kx_entries sorted = kx_sort_entries_either(entries_, scratch_, n);
            scratch_ = sorted.prefixes == entries_.prefixes ? scratch_ : entries_;
            entries_ = sorted;
        }
        if (!rule_.decisive) {
            settle_groups(0, n, {rule_, first_told(rule_)}, 0);
        }
        for (kx_i64 i = 0; i < n; ++i) {
            slots[i] = const_cast<char *>(item(entries_.numbers[i]));
        }
    }

  private:
    /// How far the entries' prefixes tell the keys of a group apart.
    struct Told {
        kx_prefix_rule rule; ///< of the key the prefixes are of
        kx_i64 bytes;        ///< of a text: told so far; of a number: kAll, or 0 when its last bit is not
    };
    static constexpr kx_i64 kAll = std::numeric_limits<kx_i64>::max();

    /// What prefixes by this rule tell. Under -N they are one bit short.
    static kx_i64 first_told(const kx_prefix_rule &rule) {
        const bool short_of_a_bit = rule.empty_last && kx_record_format() == kx_format::csv;
        return short_of_a_bit ? 0 : rule.key.type == kTypeNum ? kAll : kPrefixSize;
    }

    [[nodiscard]] const char *item(kx_item_number number) const { return items_.first + stride_ * number; }
    [[nodiscard]] auto view(kx_i64 i) const { return items_.view(item(entries_.numbers[i])); }

    /// Fills the entries in buffer order; true when their prefixes ascend already.
    bool take_entries(void *const *slots, kx_i64 n) {
        bool ascending = true;
        kx_prefix previous = 0;
        for (kx_i64 i = 0; i < n; ++i) {
            const auto *from = static_cast<const char *>(slots[i]);
            KX_ASSERT(from >= items_.first && (from - items_.first) % stride_ == 0);
            const kx_prefix prefix = rule_.of(items_.view(from));
            entries_.prefixes[i] = prefix;
            entries_.numbers[i] = static_cast<kx_item_number>((from - items_.first) / stride_);
            ascending = ascending && prefix >= previous;
            previous = prefix;
        }
        return ascending;
    }

    /// Sorts the groups of equal prefixes within [first, end).
    void settle_groups(kx_i64 first, kx_i64 end, const Told &told, int depth) {
        for (kx_i64 last = first; first < end; first = last) {
            while (last < end && entries_.prefixes[last] == entries_.prefixes[first]) {
                ++last;
            }
            if (last - first > 1) {
                settle(first, last, told, depth);
            }
        }
    }

    enum class Next { deeper, next_key, compare, equal };

    void settle(kx_i64 first, kx_i64 last, Told told, int depth) {
        for (; depth < kDeepest; ++depth) {
            switch (what_next(first, last, told)) {
            case Next::deeper: read_deeper(first, last, told); break;
            case Next::next_key: read_next_key(first, last, told); break;
            case Next::equal: return;
            case Next::compare: compare(first, last); return;
            }
            if (entries_.prefixes[first] != entries_.prefixes[last - 1]) {
                settle_groups(first, last, told, depth + 1);
                return;
            }
        }
        compare(first, last);
    }

    [[nodiscard]] Next what_next(kx_i64 first, kx_i64 last, const Told &told) const {
        kx_i64 shortest = kAll, longest = 0;
        for (kx_i64 i = first; told.bytes != kAll && i < last; ++i) {
            const kx_i64 length = told.rule.bytes_of(view(i)).len;
            shortest = std::min(shortest, length);
            longest = std::max(longest, length);
        }
        const bool numeric = told.rule.key.type == kTypeNum;
        const bool all_empty = longest == 0;
        if (told.bytes != kAll && !all_empty && (numeric || shortest > told.bytes)) {
            return Next::deeper;
        }
        if (told.bytes != kAll && (shortest != longest || longest > told.bytes)) {
            return Next::compare; // one text ends where others go on
        }
        return behind_equal_keys(told);
    }

    [[nodiscard]] static Next behind_equal_keys(const Told &told) {
        if (told.rule.whole) {
            return kx_record_format() == kx_format::csv ? Next::compare : Next::equal; // by the other fields
        }
        return told.rule.number + 1 < argsInfo.keyNums ? Next::next_key : Next::equal;
    }

    void read_deeper(kx_i64 first, kx_i64 last, Told &told) {
        if (told.rule.key.type == kTypeNum) {
            reread(first, last,
                   [&](const auto &record) { return told.rule.whole_number(told.rule.bytes_of(record), record.end); });
            told.bytes = kAll;
        } else {
            reread(first, last,
                   [&](const auto &record) { return told.rule.deeper(told.rule.bytes_of(record), told.bytes); });
            told.bytes += kPrefixSize;
        }
    }

    void read_next_key(kx_i64 first, kx_i64 last, Told &told) {
        told.rule = kx_prefix_rule_of_key(told.rule.number + 1);
        told.bytes = first_told(told.rule);
        reread(first, last, [&](const auto &record) { return told.rule.of(record); });
    }

    /// Gives the entries of a group new prefixes and sorts them.
    template <class Prefix> void reread(kx_i64 first, kx_i64 last, Prefix prefix) {
        bool ascending = true;
        for (kx_i64 i = first; i < last; ++i) {
            entries_.prefixes[i] = prefix(view(i));
            ascending = ascending && (i == first || entries_.prefixes[i] >= entries_.prefixes[i - 1]);
        }
        if (!ascending) {
            kx_sort_entries(entries_.from(first), scratch_.from(first), last - first);
        }
    }

    void compare(kx_i64 first, kx_i64 last) {
        kx_sort_numbers(entries_.numbers + first, scratch_.numbers + first, last - first,
                        [this](kx_item_number a, kx_item_number b) {
                            const char *x = item(a), *y = item(b);
                            return compare_(&x, &y) <= 0;
                        });
    }

    Items items_;
    kx_entries entries_, scratch_;
    kx_i64 stride_ = Items::stride();
    kx_prefix_rule rule_ = kx_choose_prefix_rule();
    kx_compare compare_ = kx_choose_index_comparator();
};

/// False when memory is refused: nothing has changed.
bool sort_by_prefix(kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    const Scratch<kx_prefix> prefixes(n);
    const Scratch<kx_item_number> numbers(n);
    const Scratch<kx_item_number> other_numbers(n);
    if (prefixes.get() == nullptr || numbers.get() == nullptr || other_numbers.get() == nullptr) {
        return false;
    }
    void **slots = &list->tab[kx_ring_slot(list, 0)];
    static_assert(sizeof(kx_prefix) == sizeof(void *), "the slots hold prefixes meanwhile");
    const kx_entries entries{prefixes.get(), numbers.get()};
    const kx_entries scratch{reinterpret_cast<kx_slot_prefix *>(slots), other_numbers.get()};
    const auto *first = static_cast<const char *>(slots[0]);
    switch (kx_record_format()) {
    case kx_format::fixed: IndexSort(FixedItems{first}, entries, scratch).sort(slots, n); break;
    case kx_format::csv: IndexSort(CsvItems{first}, entries, scratch).sort(slots, n); break;
    default: IndexSort(VariableItems{first}, entries, scratch).sort(slots, n); break;
    }
    return true;
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
