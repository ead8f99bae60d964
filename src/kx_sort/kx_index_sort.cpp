// kx_index_sort.cpp: sorts an index by the leading key bytes cached next to each item.
//
//   slots     | item | item | ...      what an index is before and after
//   prefixes  | p0 | p1 | p2 | ...     in the same place: 8 leading key bytes of each item
//   entries   | window, number | ...   in buckets (kx_entries.h), then sorted, with the slots as scratch memory; groups
//                                      of equal windows by the bytes behind, groups of equal keys by the next key
//
// The prefix is an order-preserving integer of a key, so the same sort serves text, numbers and both directions. What
// the prefixes do not tell is settled by the comparator. Everything is stable, so the stable sort and the other one
// give the same order. For unique output equal keys that are met on the way are dropped from the index, so that nobody
// has to compare them again; where there are many (kx_distinct.h), most are dropped before the sort.
//
// Verbose runs count comparator calls and so compare throughout, as do small indexes.
#include "kx_sort/kx_index_sort.h"

#include <bit>
#include <cstdlib>

#include "kx_sort/kx_distinct.h"
#include "kx_sort/kx_entries.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_system_memory.h"

namespace orkan {

namespace {

constexpr kx_i64 kSmallIndex = 512;  ///< below, three allocations and the histograms cost more than they save
constexpr kx_i64 kManyItems = 65536; ///< from here on duplicates are looked for before a sort
constexpr kx_i64 kMostRecords = std::numeric_limits<kx_item_number>::max();
constexpr int kDeepest = 64; ///< groups within groups; then the comparator takes over

// Items of a group lie far apart: their locators, fields and texts are asked of the memory system so far ahead.
constexpr kx_i64 kLocatorsAhead = 32, kFieldsAhead = 24, kTextsAhead = 16;

/// Scratch memory of so many bytes; null when refused.
char *take_scratch(kx_i64 bytes) {
    if (bytes > sortScratch.size) {
        kx_release_sort_scratch();
        sortScratch.memory = static_cast<char *>(kx_system_malloc(bytes));
        sortScratch.size = sortScratch.memory != nullptr ? bytes : 0;
        kx_prefer_huge_pages(sortScratch.memory, sortScratch.size);
    }
    return sortScratch.memory;
}

// The items of an index, in buffer order before it is sorted: what their views are, and how far apart they lie.

struct FixedItems {
    static auto view(const void *item) { return fixed_item(item); }
    static kx_i64 stride() { return argsInfo.recLen; }
    static void touch(const void * /*item*/) {}
    static void touch_fields(const void * /*item*/, kx_i64 /*key*/) {}
};

struct VariableItems {
    static auto view(const void *item) { return variable_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo); }
    static void touch(const void *item) { __builtin_prefetch(item); }
    static void touch_fields(const void * /*item*/, kx_i64 /*key*/) {}
};

struct CsvItems {
    static auto view(const void *item) { return csv_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo_csv); }
    static void touch(const void *item) { __builtin_prefetch(item); }
    static void touch_fields(const void *item, kx_i64 key) {
        __builtin_prefetch(static_cast<const RecordInfo_csv *>(item)->keyInfo + key);
    }
};

/// How many of the first `most` bytes a and b share, when they share the first `known`.
kx_i64 common_length(const char *a, const char *b, kx_i64 known, kx_i64 most) {
    kx_i64 at = known;
    for (; at + kPrefixSize <= most; at += kPrefixSize) {
        const kx_prefix difference = load_unaligned<kx_prefix>(a + at) ^ load_unaligned<kx_prefix>(b + at);
        if (difference != 0) {
            return at + std::countr_zero(difference) / 8;
        }
    }
    while (at < most && a[at] == b[at]) {
        ++at;
    }
    return at;
}

/// The items of an index by their numbers: their places among those that the builder left, without the gaps that
/// refused records and dropped duplicates leave.
template <class Items> class Numbering {
  public:
    /// `table` has room for n numbers; null where there are no gaps.
    Numbering(void *const *slots, kx_i64 n, kx_item_number *table)
        : first_(static_cast<const char *>(slots[0])), table_(table) {
        if (table == nullptr) {
            return;
        }
        const char *at = first_;
        kx_i64 place = 0;
        for (kx_i64 i = 0; i < n; ++i) {
            const auto *item = static_cast<const char *>(slots[i]);
            place += item == at + stride_ ? 1 : (item - at) / stride_; // nearly always the next one
            at = item;
            table[i] = static_cast<kx_item_number>(place);
        }
    }

    [[nodiscard]] const char *item(kx_item_number number) const {
        return first_ + stride_ * (table_ == nullptr ? number : table_[number]);
    }

    /// The places from the first item to the last; without gaps as many as there are items.
    static kx_i64 places(void *const *slots, kx_i64 n) {
        return (static_cast<const char *>(slots[n - 1]) - static_cast<const char *>(slots[0])) / Items::stride() + 1;
    }

  private:
    const char *first_;
    const kx_item_number *table_;
    kx_i64 stride_ = Items::stride();
};

/// One index being sorted.
template <class Items> class IndexSort {
  public:
    /// `entries` has room for n.
    IndexSort(void **slots, kx_i64 n, kx_slot_entry *entries, Numbering<Items> numbering)
        : slots_(slots), n_(n), entries_(entries), numbering_(numbering) {}

    /// The number of items left, which is n but for unique output: of equal keys it keeps the first.
    kx_i64 sort() {
        switch (order_of_items()) {
        case Order::ascending: return n_;
        case Order::descending: std::reverse(slots_, slots_ + n_); return n_;
        case Order::none: break;
        }
        kx_prefix_range range;
        for (kx_i64 i = 0; i < n_; ++i) {
            prefixes_[i] = rule_.of(Items::view(slots_[i]));
            range.add(prefixes_[i]);
        }
        const kx_shown_bits shown(range, kx_buckets::digit_bits(n_));
        const Told told{rule_, told_by(rule_, shown.hidden())};
        kx_buckets(prefixes_, n_, shown, entries_).for_each([&](kx_i64 first, kx_i64 end) {
            kx_sort_entries(entries_ + first, scratch_ + first, end - first);
            if (drops_ || !all_told(told)) {
                settle_groups(first, end, told, 0);
            }
        });
        return put_back();
    }

  private:
    static constexpr kx_item_number kDropped = std::numeric_limits<kx_item_number>::max();

    /// How far the entries of a group tell keys apart.
    struct Told {
        kx_prefix_rule rule; ///< of the key that the windows are of
        kx_i64 bytes;        ///< of a text: told so far; kAll: as much as a prefix holds; of other numbers: 0
    };
    static constexpr kx_i64 kAll = std::numeric_limits<kx_i64>::max();

    /// What prefixes by this rule tell of a key, without so many of their last bits. Under -N they are one bit short.
    static kx_i64 told_by(const kx_prefix_rule &rule, int hidden) {
        const bool short_of_a_bit = rule.empty_last && kx_record_format() == kx_format::csv;
        const bool is_number = rule.key.type == kTypeNum;
        if (short_of_a_bit) {
            return 0;
        }
        return hidden == 0 && (is_number || rule.decisive) ? kAll : is_number ? 0 : bytes_told(hidden);
    }
    static kx_i64 bytes_told(int hidden) { return kPrefixSize - (hidden + 7) / 8; }

    static bool all_told(const Told &told) { return told.rule.decisive && told.bytes == kAll; }

    [[nodiscard]] const char *item(kx_item_number number) const { return numbering_.item(number); }
    [[nodiscard]] const char *item_at(kx_i64 i) const { return item(kx_number_of(entries_[i])); }
    [[nodiscard]] auto view(kx_i64 i) const { return Items::view(item_at(i)); }

    enum class Order { ascending, descending, none };

    /// How the items lie; descending means that no two are equal. Told after a few of them where it is neither.
    [[nodiscard]] Order order_of_items() const {
        bool ascending = true, descending = true;
        kx_prefix previous = rule_.of(Items::view(slots_[0]));
        for (kx_i64 i = 1; i < n_ && (ascending || descending); ++i) {
            const kx_prefix prefix = rule_.of(Items::view(slots_[i]));
            const int order = prefix != previous ? (previous < prefix ? -1 : 1)
                              : rule_.decisive   ? 0
                                                 : compare_(&slots_[i - 1], &slots_[i]);
            ascending = ascending && order <= 0;
            descending = descending && order > 0;
            previous = prefix;
        }
        return ascending ? Order::ascending : descending ? Order::descending : Order::none;
    }

    kx_i64 put_back() const {
        kx_i64 kept = 0;
        for (kx_i64 i = 0; i < n_; ++i) {
            const kx_item_number number = kx_number_of(entries_[i]);
            if (number != kDropped) {
                slots_[kept++] = const_cast<char *>(item(number));
            }
        }
        return kept;
    }

    /// Entries with equal keys.
    void drop_duplicates(kx_i64 first, kx_i64 last) {
        for (kx_i64 i = first + 1; drops_ && i < last; ++i) {
            entries_[i] = kx_make_entry(kx_window_of(entries_[i]), kDropped);
        }
    }

    /// Sorts the groups of equal windows within [first, end).
    void settle_groups(kx_i64 first, kx_i64 end, const Told &told, int depth) {
        for (kx_i64 last = first; first < end; first = last) {
            while (last < end && kx_window_of(entries_[last]) == kx_window_of(entries_[first])) {
                ++last;
            }
            if (last - first > 1) {
                settle(first, last, told, depth);
            }
        }
    }

    enum class Next { alike, deeper, shorter_first, number, next_key, compare, equal };

    void settle(kx_i64 first, kx_i64 last, Told told, int depth) {
        for (; depth < kDeepest; ++depth) {
            const Next next = what_next(first, last, told);
            switch (next) {
            case Next::alike: continue;
            case Next::deeper: break; // the look has read them
            case Next::shorter_first: read_lengths(first, last, told); break;
            case Next::number: read_number(first, last, told); break;
            case Next::next_key: read_next_key(first, last, told); break;
            case Next::equal: drop_duplicates(first, last); return;
            case Next::compare: compare(first, last); return;
            }
            kx_prefix_range range;
            for (kx_i64 i = first; i < last; ++i) {
                range.add(prefixes_[i]);
            }
            const kx_shown_bits shown(range, 0);
            switch (next) {
            case Next::deeper: told.bytes += bytes_told(shown.hidden()); break;
            case Next::number: told.bytes = shown.hidden() == 0 ? kAll : 0; break;
            case Next::next_key: told.bytes = told_by(told.rule, shown.hidden()); break;
            default: break;
            }
            if (range.least < range.greatest) {
                order_group(first, last, shown);
                settle_groups(first, last, told, depth + 1);
                return;
            }
        }
        compare(first, last);
    }

    /// Sorts a group by its new prefixes.
    void order_group(kx_i64 first, kx_i64 last, const kx_shown_bits &shown) {
        const bool in_order = std::is_sorted(prefixes_ + first, prefixes_ + last);
        for (kx_i64 i = first; i < last; ++i) {
            entries_[i] = kx_make_entry(shown.window(prefixes_[i]), kx_number_of(entries_[i]));
        }
        if (!in_order) {
            kx_sort_entries(entries_ + first, scratch_ + first, last - first);
        }
    }

    /// Hands the records of a group to use(entry, record), which reads texts behind what is told, up to `depth`.
    template <class Use> void for_group(kx_i64 first, kx_i64 last, const Told &told, kx_i64 depth, Use use) {
        const kx_i64 begin = told.bytes == kAll ? 0 : told.bytes;
        for (kx_i64 i = first; i < last; ++i) {
            if (i + kLocatorsAhead < last) {
                Items::touch(item_at(i + kLocatorsAhead));
            }
            if (i + kFieldsAhead < last) {
                Items::touch_fields(item_at(i + kFieldsAhead), told.rule.number);
            }
            if (i + kTextsAhead < last) {
                const Bytes text = told.rule.bytes_of(view(i + kTextsAhead));
                if (text.len > begin) { // a field cut off has no place at all
                    __builtin_prefetch(text.ptr + begin);
                    __builtin_prefetch(text.ptr + std::clamp(depth, begin, text.len));
                }
            }
            use(i, view(i));
        }
    }

    Next what_next(kx_i64 first, kx_i64 last, Told &told) {
        if (all_told(told)) {
            return Next::equal;
        }
        if (told.bytes == kAll) {
            return told.rule.empty_may_be_among(view(first)) ? Next::compare : behind_equal_keys(told);
        }
        if (told.rule.key.type == kTypeNum) { // -N sorts empty fields apart from others
            const bool empty = told.rule.empty_last && told.rule.bytes_of(view(first)).len == 0;
            return empty ? behind_equal_keys(told) : Next::number;
        }
        return look_deeper(first, last, told);
    }

    /// What the texts of a group have in common.
    struct Look {
        kx_i64 shortest, longest; ///< bytes
        kx_i64 common;            ///< leading bytes that all share
    };

    /// Makes the 8 bytes from `depth` on the prefixes of the group's texts.
    Look look_at(kx_i64 first, kx_i64 last, const Told &told, kx_i64 depth) {
        const Bytes pattern = told.rule.bytes_of(view(first));
        Look seen{kAll, 0, pattern.len};
        for_group(first, last, told, depth, [&](kx_i64 i, const auto &record) {
            const Bytes text = told.rule.bytes_of(record);
            seen.shortest = std::min(seen.shortest, text.len);
            seen.longest = std::max(seen.longest, text.len);
            seen.common = common_length(pattern.ptr, text.ptr, told.bytes, std::min(seen.common, text.len));
            prefixes_[i] = text.len > depth ? told.rule.deeper(text, depth) : 0;
        });
        return seen;
    }

    /// How many leading bytes some texts of a large group share; it may be fewer for all of them.
    [[nodiscard]] kx_i64 guess_common(kx_i64 first, kx_i64 last, const Told &told) const {
        constexpr kx_i64 kLargeGroup = 64, kSamples = 8;
        if (last - first < kLargeGroup) {
            return told.bytes;
        }
        const Bytes pattern = told.rule.bytes_of(view(first));
        kx_i64 common = pattern.len;
        for (kx_i64 k = 1; k <= kSamples; ++k) {
            const Bytes text = told.rule.bytes_of(view(first + k * (last - 1 - first) / kSamples));
            common = common_length(pattern.ptr, text.ptr, told.bytes, std::min(common, text.len));
        }
        return std::max(common, told.bytes);
    }

    /// Makes the next 8 bytes of the group's texts their prefixes, where all go on: those behind what the texts share.
    Next look_deeper(kx_i64 first, kx_i64 last, Told &told) {
        const kx_i64 guess = guess_common(first, last, told);
        Look seen = look_at(first, last, told, guess);
        told.bytes = std::max(std::min(guess, seen.common), told.bytes);
        if (told.bytes < guess) {
            seen = look_at(first, last, told, told.bytes);
        }
        if (seen.shortest > told.bytes) {
            const bool alike = seen.common >= told.bytes + kPrefixSize;
            told.bytes = alike ? seen.common : told.bytes;
            return alike ? Next::alike : Next::deeper;
        }
        if (seen.shortest == seen.longest) {
            return behind_equal_keys(told);
        }
        return told.rule.whole ? Next::compare : Next::shorter_first;
    }

    [[nodiscard]] static Next behind_equal_keys(const Told &told) {
        if (told.rule.whole) {
            return kx_record_format() == kx_format::csv ? Next::compare : Next::equal; // by the other fields
        }
        return told.rule.number + 1 < argsInfo.keyNums ? Next::next_key : Next::equal;
    }

    /// Of texts that agree as far as told, those that end come first, the shorter before the longer.
    void read_lengths(kx_i64 first, kx_i64 last, const Told &told) {
        for_group(first, last, told, 0, [&](kx_i64 i, const auto &record) {
            prefixes_[i] = told.rule.of_length(std::min(told.rule.bytes_of(record).len, told.bytes + 1));
        });
    }

    void read_number(kx_i64 first, kx_i64 last, const Told &told) {
        for_group(first, last, told, 0,
                  [&](kx_i64 i, const auto &record) { prefixes_[i] = told.rule.whole_number(record); });
    }

    void read_next_key(kx_i64 first, kx_i64 last, Told &told) {
        told.rule = kx_prefix_rule_of_key(told.rule.number + 1);
        told.bytes = 0;
        for_group(first, last, told, 0, [&](kx_i64 i, const auto &record) { prefixes_[i] = told.rule.of(record); });
    }

    void compare(kx_i64 first, kx_i64 last) {
        kx_merge_sort_entries(entries_ + first, scratch_ + first, last - first,
                              [this](kx_item_number a, kx_item_number b) {
                                  const char *x = item(a), *y = item(b);
                                  return compare_(&x, &y) <= 0;
                              });
    }

    void **slots_;
    kx_i64 n_;
    kx_slot_entry *entries_;
    Numbering<Items> numbering_;
    // The slots are prefixes and scratch memory meanwhile, never both at the same place.
    kx_slot_prefix *prefixes_ = reinterpret_cast<kx_slot_prefix *>(slots_);
    kx_slot_entry *scratch_ = reinterpret_cast<kx_slot_entry *>(slots_);
    static_assert(sizeof(kx_prefix) == sizeof(void *) && sizeof(kx_entry) == sizeof(void *));
    kx_prefix_rule rule_ = kx_choose_prefix_rule();
    kx_compare compare_ = kx_choose_index_comparator();
    bool drops_ = argsInfo.bUnique != 0;
};

/// False when memory is refused or numbers would not do: the items are in buffer order still.
template <class Items> bool sort_by_prefix(kx_list *list) {
    kx_i64 n = kx_list_len(list);
    void **slots = &list->tab[kx_ring_slot(list, 0)];
    constexpr kx_i64 kPerEntry = sizeof(kx_entry), kPerNumber = sizeof(kx_item_number);
    char *memory = take_scratch(n * kPerEntry);
    if (memory != nullptr && argsInfo.bUnique != 0 && n >= kManyItems) { // the table stands where the entries will
        const kx_i64 left = kx_drop_frequent<Items>(slots, n, memory);
        kx_list_delete(list, left, n - left);
        n = left;
    }
    const kx_i64 places = Numbering<Items>::places(slots, n);
    if (places > kMostRecords) {
        return false;
    }
    const bool gaps = places > n;
    memory = memory != nullptr && gaps ? take_scratch(n * (kPerEntry + kPerNumber)) : memory;
    if (memory == nullptr) {
        return false;
    }
    auto *entries = reinterpret_cast<kx_slot_entry *>(memory);
    auto *table = gaps ? reinterpret_cast<kx_item_number *>(entries + n) : nullptr;
    const kx_i64 left = IndexSort<Items>(slots, n, entries, Numbering<Items>(slots, n, table)).sort();
    kx_list_delete(list, left, n - left);
    return true;
}

bool sort_by_prefix(kx_list *list) {
    switch (kx_record_format()) {
    case kx_format::fixed: return sort_by_prefix<FixedItems>(list);
    case kx_format::csv: return sort_by_prefix<CsvItems>(list);
    default: return sort_by_prefix<VariableItems>(list);
    }
}

bool prefix_sort_applies(const kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    return VERBOSE == 0 && n >= kx_least_indexed(kSmallIndex) && n <= kMostRecords;
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

void kx_release_sort_scratch() {
    std::free(sortScratch.memory);
    sortScratch = {};
}

} // namespace orkan
