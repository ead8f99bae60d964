// kx_compare_core.h: the rules by which records are ordered and recognised as duplicates, each written once over
// record views (kx_views.h).
//
//   by_keys          every format: key after key, by value or by bytes
//   by_record        whole fixed-length and variable-length records
//   by_all_fields    whole CSV records, field after field
//   first_run_on_tie the stable merges' tie-break
//   differ           the duplicate test, by keys or whole records
//
// The key rules are forced inline: left to itself the compiler keeps one copy per view and passes the views through
// memory (_cmpList 11.0 ns a call, inlined 8.0, the same written by hand 7.3; g++ 12 -O3, 10-byte key, 4096 random
// records of 100 bytes, best of 15).
//
// Orders are -1, 0 or +1. Where members of the family differ on purpose, the difference is a named value below.
#pragma once

#include "kx_sort/kx_views.h"
#include "kx_utils/kx_number.h"

namespace orkan {

// ---- Directions --------------------------------------------------------------------------------------------------

static_assert(kSeqAsc == kRecSortAsc && kSeqDesc == kRecSortDesc, "keys and whole records share the two below");

template <class T> constexpr int order_of(T a, T b) { return a < b ? -1 : a > b ? 1 : 0; }

/// An ascending order in the wanted direction; a direction that is neither decides nothing.
constexpr int directed(kx_i64 direction, int order) {
    return direction == kSeqAsc ? order : direction == kSeqDesc ? -order : 0;
}

/// As directed, but whatever is not ascending counts as descending. Lengths and field counts are compared so.
constexpr int directed_or_reversed(kx_i64 direction, int order) { return direction == kSeqAsc ? order : -order; }

// ---- Bytes and numbers -------------------------------------------------------------------------------------------

/// The order of the bytes that both have.
inline int by_common_bytes(Bytes a, Bytes b) {
    const kx_i64 common = std::min(a.len, b.len);
    return common < 1 ? 0 : order_of(std::memcmp(a.ptr, b.ptr, to_size(common)), 0);
}

inline bool same_bytes(Bytes a, Bytes b) { return a.len == b.len && by_common_bytes(a, b) == 0; }

/// The number that starts where `key` does, of at most `limit` bytes; 0 for a key without a place. In complete mode the
/// key's own bytes and no others.
template <class View> kx_i64 number_at(Bytes key, kx_i64 limit, const View &view) {
    if (key.ptr == nullptr) {
        return 0;
    }
    return numbers_end_with_keys() ? atol2_within(key.ptr, key.len, key.ptr + key.len, &numberMemo)
                                   : atol2_within(key.ptr, limit, view.end, &numberMemo);
}

// ---- Order by sort keys ------------------------------------------------------------------------------------------

/// Under -N the emptiness of a field decides in both directions; two empty fields tie.
inline bool emptiness_decides(Bytes a, Bytes b) { return argsInfo.bNullLastOut != 0 && (a.len == 0 || b.len == 0); }
inline int empty_last(Bytes a, Bytes b) { return order_of(a.len == 0 ? 1 : 0, b.len == 0 ? 1 : 0); }

/// Of equal numbers an empty column comes before a 0 where they are different keys.
inline int empty_before_zero(Bytes a, Bytes b) {
    return tells_empty_from_zero() ? order_of(a.len == 0 ? 0 : 1, b.len == 0 ? 0 : 1) : 0;
}

/// The shorter of two texts that agree otherwise comes first; only CSV fields (and cut records) differ in length.
inline int by_text(std::int32_t direction, Bytes a, Bytes b) {
    const int order = by_common_bytes(a, b);
    return order != 0 ? directed(direction, order) : directed_or_reversed(direction, order_of(a.len, b.len));
}

template <class View>
[[gnu::always_inline]] inline int by_key(const KeyInfo &key, kx_i64 number, const View &a, const View &b) {
    const Bytes x = a.key(key, number), y = b.key(key, number);
    if (View::kIsCsv && emptiness_decides(x, y)) {
        return empty_last(x, y);
    }
    if (key.type == kTypeNum) {
        const int order = order_of(number_at(x, x.len, a), number_at(y, y.len, b));
        return directed(key.srtSeq, order != 0 || !View::kIsCsv ? order : empty_before_zero(x, y));
    }
    return by_text(key.srtSeq, x, y);
}

/// By the first sort key that differs; without keys all records are equal.
template <class View> [[gnu::always_inline]] inline int by_keys(const View &a, const View &b) {
    int order = 0;
    for (kx_i64 k = 0; order == 0 && k < argsInfo.keyNums; ++k) {
        order = by_key(argsInfo.arrSortKey[k], k, a, b);
    }
    return order;
}

// ---- Order by whole records --------------------------------------------------------------------------------------

/// How whole records are ordered when one is the beginning of the other.
struct record_rule {
    bool length_decides;          ///< the shorter first; otherwise the two are equal
    bool length_alone_undirected; ///< with neither direction set: by length although the bytes differ
};

/// Kept: in memory "abc" and "abcd" are equal, in a merge "abc" comes first.
inline constexpr record_rule kRuleInMemory{false, false};
inline constexpr record_rule kRuleRunHead{true, true};
inline constexpr record_rule kRulePresorted{true, false};

template <record_rule rule, class View> int by_record(const View &a, const View &b) {
    const int bytes = by_common_bytes(a.record, b.record);
    const int order = directed(argsInfo.bRecSort, bytes);
    const bool decided = rule.length_alone_undirected ? order != 0 : bytes != 0;
    if (decided || !rule.length_decides) {
        return order;
    }
    return directed_or_reversed(argsInfo.bRecSort, order_of(a.record.len, b.record.len));
}

/// What a whole-record CSV comparison looks at when two fields agree over their common length, before it looks at the
/// lengths of these two fields.
enum class csv_tie { nothing, field_count, first_field_length };

/// Kept: three rules for one order. A run head's field count decides at the first agreeing field already; a presorted
/// input looks at the records' first fields where the current ones are meant. All three stop where one record has no
/// further field: none is made up for it, also with -N, and the counts decide. Complete mode has the first rule only.
inline constexpr csv_tie kFieldRuleInMemory = csv_tie::nothing;
inline constexpr csv_tie kFieldRuleRunHead = csv_tie::field_count;
inline constexpr csv_tie kFieldRulePresorted = csv_tie::first_field_length;

template <csv_tie rule, class View> int by_field(kx_i64 k, const View &a, const View &b) {
    const Bytes x = a.field(k), y = b.field(k);
    if (emptiness_decides(x, y)) {
        return empty_last(x, y);
    }
    const kx_i64 direction = argsInfo.bRecSort;
    const int bytes = by_common_bytes(x, y);
    if (bytes != 0) {
        return directed(direction, bytes);
    }
    int sooner = 0;
    if (rule == csv_tie::field_count && !orders_alike()) {
        sooner = order_of(a.num, b.num);
    } else if (rule == csv_tie::first_field_length && !orders_alike()) {
        sooner = order_of(a.field(0).len, b.field(0).len);
    }
    return sooner != 0 ? directed_or_reversed(direction, sooner) : directed(direction, order_of(x.len, y.len));
}

/// Field after field; where one record has no further field, the field counts decide.
template <csv_tie rule, class View> int by_all_fields(const View &a, const View &b) {
    const kx_i64 common = std::min(a.num, b.num);
    int order = 0;
    for (kx_i64 k = 0; order == 0 && k < common; ++k) {
        order = by_field<rule>(k, a, b);
    }
    return order != 0 ? order : directed_or_reversed(argsInfo.bRecSort, order_of(a.num, b.num));
}

// ---- Stable merges -----------------------------------------------------------------------------------------------

/// Equal heads leave in the order of their runs. Never 0; a run compared with itself gives +1.
inline int first_run_on_tie(int order, const void *slot_a, const void *slot_b) {
    return order != 0 ? order : run_in(slot_a).index < run_in(slot_b).index ? -1 : 1;
}

// ---- Duplicates: 0 equal, 1 different ----------------------------------------------------------------------------

/// How many bytes of a candidate's numeric key are taken.
enum class number_limit { own_length, last_output_length };

template <number_limit rule, class Last, class View>
bool same_key(const KeyInfo &key, kx_i64 number, const Last &last, const View &candidate) {
    const Bytes x = last.key(key, number), y = candidate.key(key, number);
    if (key.type == kTypeNum) {
        if (View::kIsCsv && empty_before_zero(x, y) != 0) {
            return false;
        }
        const kx_i64 limit = rule == number_limit::own_length ? y.len : x.len;
        return number_at(x, x.len, last) == number_at(y, limit, candidate);
    }
    return same_bytes(x, y);
}

template <number_limit rule, class Last, class View> bool same_keys(const Last &last, const View &candidate) {
    bool same = true;
    for (kx_i64 k = 0; same && k < argsInfo.keyNums; ++k) {
        same = same_key<rule>(argsInfo.arrSortKey[k], k, last, candidate);
    }
    return same;
}

template <class Last, class View> bool same_record(const Last &last, const View &candidate) {
    if constexpr (!View::kIsCsv) {
        return same_bytes(last.record, candidate.record);
    } else {
        bool same = last.num == candidate.num;
        for (kx_i64 k = 0; same && k < last.num; ++k) {
            same = same_bytes(last.field(k), candidate.field(k));
        }
        return same;
    }
}

/// Compares whole records when these are sorted, else the sort keys; -N plays no part.
template <number_limit rule = number_limit::own_length, class Last, class View>
int differ(const Last &last, const View &candidate) {
    const bool same =
        argsInfo.bRecSort != kRecSortNone ? same_record(last, candidate) : same_keys<rule>(last, candidate);
    return same ? 0 : 1;
}

} // namespace orkan
