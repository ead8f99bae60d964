// kx_prefix.h: the leading bytes of the first sort key as one integer, so that most comparisons need no record.
//
// The integer orders like the records as far as it goes: when two differ, so do the records, in the same direction.
// Equal ones leave the decision to the comparator unless the rule is decisive.
//
//   text         first 8 bytes, big-endian, missing ones 0     number   the value with its sign bit flipped
//   descending   all bits inverted                             -N       one bit shorter; empty fields all ones
#pragma once

#include <array>

#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_compare_core.h"

namespace orkan {

using kx_prefix = std::uint64_t;

inline constexpr kx_i64 kPrefixSize = sizeof(kx_prefix);

inline kx_prefix text_prefix(Bytes text) {
    kx_prefix value = 0;
    if (text.len >= kPrefixSize) {
        value = __builtin_bswap64(load_unaligned<kx_prefix>(text.ptr));
    } else if (text.ptr != nullptr) {
        for (kx_i64 i = 0; i < text.len; ++i) {
            value |= kx_prefix{static_cast<unsigned char>(text.ptr[i])} << (56 - 8 * i);
        }
    }
    return value;
}

inline kx_prefix number_prefix(kx_i64 value) {
    return static_cast<kx_prefix>(value) ^ kx_prefix { 1 } << 63;
}

/// How records get the prefix of one of their sort keys, usually the first.
struct kx_prefix_rule {
    KeyInfo key;     ///< the sort key
    kx_i64 number;   ///< which one it is, from 0
    bool whole;      ///< the record's own bytes are the key
    bool empty_last; ///< -N
    bool decisive;   ///< equal prefixes mean equal records, by all keys

    template <class View> [[nodiscard]] Bytes bytes_of(const View &view) const {
        return whole && !View::kIsCsv ? view.record : view.key(key, number);
    }

    template <class View> [[nodiscard]] kx_prefix of(const View &view) const {
        const Bytes bytes = bytes_of(view);
        if (View::kIsCsv && empty_last && bytes.len == 0) {
            return ~kx_prefix{0};
        }
        const kx_prefix ascending =
            key.type == kTypeNum ? number_prefix(number_at(bytes, bytes.len, view)) : text_prefix(bytes);
        return View::kIsCsv && empty_last ? directed_prefix(ascending) >> 1 : directed_prefix(ascending);
    }

    /// The prefix of a text's bytes from `depth` on, between texts that agree so far and go further.
    [[nodiscard]] kx_prefix deeper(Bytes text, kx_i64 depth) const {
        return directed_prefix(text_prefix({text.ptr + depth, text.len - depth}));
    }

    /// The prefix of a text's bytes from `depth` on, none behind its end.
    [[nodiscard]] kx_prefix at(Bytes text, kx_i64 depth) const {
        return depth < text.len ? deeper(text, depth) : directed_prefix(0);
    }

    /// Equal prefixes may go on differing in the bytes behind.
    [[nodiscard]] bool deepens() const {
        return key.type != kTypeNum && !decisive && !(empty_last && kx_record_format() == kx_format::csv);
    }

    /// Records with the number of this one may have an empty column or a 0, which are not the same.
    template <class View> [[nodiscard]] bool empty_may_be_among(const View &view) const {
        const Bytes bytes = bytes_of(view);
        return View::kIsCsv && tells_empty_from_zero() && number_at(bytes, bytes.len, view) == 0;
    }

    /// The whole number, where -N has cost the prefix its last bit.
    template <class View> [[nodiscard]] kx_prefix whole_number(const View &view) const {
        const Bytes bytes = bytes_of(view);
        return directed_prefix(number_prefix(number_at(bytes, bytes.len, view)));
    }

    /// Orders texts by their lengths.
    [[nodiscard]] kx_prefix of_length(kx_i64 length) const { return directed_prefix(static_cast<kx_prefix>(length)); }

  private:
    [[nodiscard]] kx_prefix directed_prefix(kx_prefix ascending) const {
        return key.srtSeq == kSeqDesc ? ~ascending : ascending;
    }
};

/// The rule for the first key of the configured format. Whole CSV records begin with their first field.
kx_prefix_rule kx_choose_prefix_rule();

/// The rule for sort key k.
kx_prefix_rule kx_prefix_rule_of_key(kx_i64 k);

} // namespace orkan
