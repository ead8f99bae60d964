// kx_index_sort.cpp: sorts an index by the leading key bytes cached next to each item.
//
//   slots    | item | item | ...        what an index is before and after
//   entries  | prefix, number | ...     sorted by prefix; groups of equal prefixes by the next 8 bytes, and so on;
//                                       groups of equal keys by the next key
//
// The prefix is an order-preserving integer of a key, so the same sort serves text, numbers and both directions. What
// the prefixes do not tell is settled by the comparator. Everything is stable, so the stable sort and
// the other one give the same order. The slots serve as half of the scratch memory meanwhile. For unique output equal
// keys that are met on the way are dropped from the index, so that nobody has to compare them again; where there are
// many (kx_distinct.h), most are dropped before the sort.
//
// Verbose runs count comparator calls and so compare throughout, as do small indexes.
#include "kx_sort/kx_index_sort.h"

#include <bit>
#include <cstdlib>

#include "kx_sort/kx_distinct.h"
#include "kx_sort/kx_entries.h"
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
    const char *first;
    static auto view(const void *item) { return fixed_item(item); }
    static kx_i64 stride() { return argsInfo.recLen; }
    static void touch(const void * /*item*/) {}
    static void touch_fields(const void * /*item*/, kx_i64 /*key*/) {}
};

struct VariableItems {
    const char *first;
    static auto view(const void *item) { return variable_item(item); }
    static kx_i64 stride() { return sizeof(RecordInfo); }
    static void touch(const void *item) { __builtin_prefetch(item); }
    static void touch_fields(const void * /*item*/, kx_i64 /*key*/) {}
};

struct CsvItems {
    const char *first;
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

/// One index being sorted.
template <class Items> class IndexSort {
  public:
    IndexSort(Items items, kx_entries entries, kx_entries scratch)
        : items_(items), entries_(entries), scratch_(scratch) {}

    /// The number of items left, which is n but for unique output: of equal keys it keeps the first.
    kx_i64 sort(void **slots, kx_i64 n) {
        if (drops_ && n >= kManyItems) { // the table stands where the entries will
            n = kx_drop_frequent(items_, slots, n, reinterpret_cast<char *>(entries_.prefixes));
        }
        switch (order_of(slots, n)) {
        case Order::ascending: return n;
        case Order::descending: std::reverse(slots, slots + n); return n;
        case Order::none: break;
        }
        take_entries(slots, n);
        const kx_entries sorted = kx_sort_entries_either(entries_, scratch_, n);
        scratch_ = sorted.prefixes == entries_.prefixes ? scratch_ : entries_;
        entries_ = sorted;
        if (!rule_.decisive) {
            settle_groups(0, n, {rule_, first_told(rule_)}, 0);
        }
        return put_back(slots, n);
    }

  private:
    static constexpr kx_item_number kDropped = std::numeric_limits<kx_item_number>::max();

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

    enum class Order { ascending, descending, none };

    /// How the items lie; descending means that no two are equal. Told after a few of them where it is neither.
    [[nodiscard]] Order order_of(void *const *slots, kx_i64 n) const {
        bool ascending = true, descending = true;
        kx_prefix previous = rule_.of(items_.view(slots[0]));
        for (kx_i64 i = 1; i < n && (ascending || descending); ++i) {
            const kx_prefix prefix = rule_.of(items_.view(slots[i]));
            const int order = prefix != previous ? (previous < prefix ? -1 : 1)
                              : rule_.decisive   ? 0
                                                 : compare_(&slots[i - 1], &slots[i]);
            ascending = ascending && order <= 0;
            descending = descending && order > 0;
            previous = prefix;
        }
        return ascending ? Order::ascending : descending ? Order::descending : Order::none;
    }

    /// Fills the entries in buffer order.
    void take_entries(void *const *slots, kx_i64 n) {
        const char *at = items_.first;
        kx_i64 number = 0;
        for (kx_i64 i = 0; i < n; ++i) {
            const auto *from = static_cast<const char *>(slots[i]);
            number += from == at + stride_ ? 1 : (from - at) / stride_; // nearly always the next one
            at = from;
            KX_ASSERT(at == item(static_cast<kx_item_number>(number)));
            entries_.prefixes[i] = rule_.of(items_.view(from));
            entries_.numbers[i] = static_cast<kx_item_number>(number);
        }
    }

    /// The slots may be where the prefixes are: each is read before it is overwritten.
    kx_i64 put_back(void **slots, kx_i64 n) const {
        const bool by_prefix = drops_ && rule_.decisive;
        kx_i64 kept = 0;
        kx_prefix previous = n > 0 ? ~entries_.prefixes[0] : 0;
        for (kx_i64 i = 0; i < n; ++i) {
            const kx_prefix prefix = entries_.prefixes[i];
            const bool dropped = by_prefix ? prefix == previous : entries_.numbers[i] == kDropped;
            previous = prefix;
            if (!dropped) {
                slots[kept++] = const_cast<char *>(item(entries_.numbers[i]));
            }
        }
        return kept;
    }

    /// Entries with equal keys.
    void drop_duplicates(kx_i64 first, kx_i64 last) {
        if (drops_) {
            std::fill(entries_.numbers + first + 1, entries_.numbers + last, kDropped);
        }
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

    enum class Next { alike, deeper, shorter_first, number, next_key, compare, equal };

    void settle(kx_i64 first, kx_i64 last, Told told, int depth) {
        for (; depth < kDeepest; ++depth) {
            switch (what_next(first, last, told)) {
            case Next::alike: continue;
            case Next::deeper: told.bytes += kPrefixSize; break; // the look has read them
            case Next::shorter_first: read_lengths(first, last, told); break;
            case Next::number: read_number(first, last, told); break;
            case Next::next_key: read_next_key(first, last, told); break;
            case Next::equal: drop_duplicates(first, last); return;
            case Next::compare: compare(first, last); return;
            }
            if (!order_group(first, last)) {
                settle_groups(first, last, told, depth + 1);
                return;
            }
        }
        compare(first, last);
    }

    /// Sorts a group by its new prefixes; true when they are all the same.
    bool order_group(kx_i64 first, kx_i64 last) {
        const kx_slot_prefix *begin = entries_.prefixes + first, *end = entries_.prefixes + last;
        if (!std::is_sorted(begin, end)) {
            kx_sort_entries(entries_.from(first), scratch_.from(first), last - first);
            return false;
        }
        return *begin == end[-1];
    }

    /// Hands the records of a group to use(entry, record).
    template <class Use> void for_group(kx_i64 first, kx_i64 last, const Told &told, Use use) {
        const kx_i64 depth = told.bytes == kAll ? 0 : told.bytes;
        for (kx_i64 i = first; i < last; ++i) {
            if (i + kLocatorsAhead < last) {
                items_.touch(item(entries_.numbers[i + kLocatorsAhead]));
            }
            if (i + kFieldsAhead < last) {
                items_.touch_fields(item(entries_.numbers[i + kFieldsAhead]), told.rule.number);
            }
            if (i + kTextsAhead < last) {
                const Bytes text = told.rule.bytes_of(view(i + kTextsAhead));
                if (text.len > depth) { // a field cut off has no place at all
                    __builtin_prefetch(text.ptr + depth);
                }
            }
            use(i, view(i));
        }
    }

    Next what_next(kx_i64 first, kx_i64 last, Told &told) {
        if (told.bytes == kAll) {
            return told.rule.empty_may_be_among(view(first)) ? Next::compare : behind_equal_keys(told);
        }
        if (told.rule.key.type == kTypeNum) { // -N sorts empty fields apart from others
            return told.rule.bytes_of(view(first)).len == 0 ? behind_equal_keys(told) : Next::number;
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
        for_group(first, last, told, [&](kx_i64 i, const auto &record) {
            const Bytes text = told.rule.bytes_of(record);
            seen.shortest = std::min(seen.shortest, text.len);
            seen.longest = std::max(seen.longest, text.len);
            seen.common = common_length(pattern.ptr, text.ptr, told.bytes, std::min(seen.common, text.len));
            entries_.prefixes[i] = text.len > depth ? told.rule.deeper(text, depth) : 0;
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
        for_group(first, last, told, [&](kx_i64 i, const auto &record) {
            entries_.prefixes[i] = told.rule.of_length(std::min(told.rule.bytes_of(record).len, told.bytes + 1));
        });
    }

    void read_number(kx_i64 first, kx_i64 last, Told &told) {
        for_group(first, last, told, [&](kx_i64 i, const auto &record) {
            entries_.prefixes[i] = told.rule.whole_number(told.rule.bytes_of(record), record.end);
        });
        told.bytes = kAll;
    }

    void read_next_key(kx_i64 first, kx_i64 last, Told &told) {
        told.rule = kx_prefix_rule_of_key(told.rule.number + 1);
        told.bytes = 0;
        for_group(first, last, told,
                  [&](kx_i64 i, const auto &record) { entries_.prefixes[i] = told.rule.of(record); });
        told.bytes = first_told(told.rule);
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
    bool drops_ = argsInfo.bUnique != 0;
};

/// False when memory is refused: nothing has changed.
bool sort_by_prefix(kx_list *list) {
    const kx_i64 n = kx_list_len(list);
    constexpr kx_i64 kPerRecord = to_i64(sizeof(kx_prefix) + 2 * sizeof(kx_item_number));
    char *memory = take_scratch(multiply_saturating(n, kPerRecord));
    if (memory == nullptr) {
        return false;
    }
    auto *prefixes = reinterpret_cast<kx_slot_prefix *>(memory);
    auto *numbers = reinterpret_cast<kx_item_number *>(prefixes + n);
    void **slots = &list->tab[kx_ring_slot(list, 0)];
    static_assert(sizeof(kx_prefix) == sizeof(void *), "the slots hold prefixes meanwhile");
    const kx_entries entries{prefixes, numbers};
    const kx_entries scratch{reinterpret_cast<kx_slot_prefix *>(slots), numbers + n};
    const auto *first = static_cast<const char *>(slots[0]);
    kx_i64 left = 0;
    switch (kx_record_format()) {
    case kx_format::fixed: left = IndexSort(FixedItems{first}, entries, scratch).sort(slots, n); break;
    case kx_format::csv: left = IndexSort(CsvItems{first}, entries, scratch).sort(slots, n); break;
    default: left = IndexSort(VariableItems{first}, entries, scratch).sort(slots, n); break;
    }
    kx_list_delete(list, left, n - left);
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

void kx_release_sort_scratch() {
    std::free(sortScratch.memory);
    sortScratch = {};
}

} // namespace orkan
