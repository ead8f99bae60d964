// kx_distinct.h: drops duplicates before a sort for unique output, where a sample finds that there are many.
//
// The keys met so far stand in a hash table with open addressing and linear probing (Knuth, The Art of Computer
// Programming 3, 6.4, algorithm L). It may miss a duplicate, as where too many keys want the same place or there are
// more keys than expected: the sort drops what is left. It never takes different keys for equal ones.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "kx_sort/kx_prefix.h"

namespace orkan {

using kx_hash = std::uint64_t;

/// Goes on with a hash by the bytes of one more key, 8 at a time.
inline kx_hash kx_hash_bytes(kx_hash hash, Bytes bytes) {
    const auto mix = [](kx_hash value) {
        value *= 0x9e3779b97f4a7c15; // odd, and no pattern in its bits
        return value ^ value >> 32;
    };
    constexpr kx_i64 kStep = sizeof(kx_hash);
    hash = mix(hash ^ static_cast<kx_hash>(bytes.len + 1)); // none is not nothing
    kx_i64 at = 0;
    for (; at + kStep < bytes.len; at += kStep) {
        hash = mix(hash ^ load_unaligned<kx_hash>(bytes.ptr + at));
    }
    return mix(hash ^
               (bytes.len >= kStep ? load_unaligned<kx_hash>(bytes.ptr + bytes.len - kStep) : text_prefix(bytes)));
}

/// A hash of the record's keys, or of the record where that is the key.
template <class View> kx_hash kx_hash_keys(const View &record) {
    if (argsInfo.bRecSort != kRecSortNone) {
        return kx_hash_bytes(0, record.record);
    }
    kx_hash hash = 0;
    for (kx_i64 k = 0; k < argsInfo.keyNums; ++k) {
        hash = kx_hash_bytes(hash, record.key(argsInfo.arrSortKey[k], k));
    }
    return hash;
}

/// The keys have the same bytes, and so are equal.
template <class View> bool kx_same_key_bytes(const View &a, const View &b) {
    if (argsInfo.bRecSort != kRecSortNone) {
        return same_bytes(a.record, b.record);
    }
    for (kx_i64 k = 0; k < argsInfo.keyNums; ++k) {
        const KeyInfo &key = argsInfo.arrSortKey[k];
        if (!same_bytes(a.key(key, k), b.key(key, k))) {
            return false;
        }
    }
    return true;
}

/// Not so of numbers that go on behind their key.
inline bool kx_same_bytes_are_same_keys() {
    const auto is_text = [](const KeyInfo &key) { return key.type != kTypeNum; };
    const KeyInfo *keys = argsInfo.arrSortKey;
    return argsInfo.bRecSort != kRecSortNone || numbers_end_with_keys() ||
           std::all_of(keys, keys + argsInfo.keyNums, is_text);
}

/// Asks the memory system for the first and the last of the bytes.
inline void kx_touch(Bytes bytes) {
    if (bytes.len > 0) {
        __builtin_prefetch(bytes.ptr);
        __builtin_prefetch(bytes.ptr + bytes.len - 1);
    }
}

/// How many different keys n items seem to have, by a sample of their hashes; n when hardly any two of it are equal.
template <class HashOf> kx_i64 kx_guess_distinct(kx_i64 n, HashOf hash_of) {
    constexpr kx_i64 kSample = 4096;
    std::array<kx_hash, kSample> hashes;
    for (kx_i64 k = 0; k < kSample; ++k) {
        hashes[to_size(k)] = hash_of(k * (n - 1) / (kSample - 1));
    }
    std::sort(hashes.begin(), hashes.end());
    const kx_i64 different = std::unique(hashes.begin(), hashes.end()) - hashes.begin();
    // Of d keys equally frequent, s^2/2d in a sample of s are met again.
    return different == kSample ? n : std::min(n, kSample * kSample / (2 * (kSample - different)));
}

/// The keys met so far, by the numbers of their items.
class kx_distinct_table {
  public:
    /// Bytes for a table of so many keys.
    static kx_i64 bytes_for(kx_i64 keys) { return places_for(keys) * to_i64(sizeof(Place)); }

    kx_distinct_table(char *memory, kx_i64 keys)
        : places_(reinterpret_cast<Place *>(memory)), mask_(static_cast<kx_hash>(places_for(keys) - 1)) {
        std::memset(memory, 0xff, to_size(bytes_for(keys)));
    }

    void prefetch(kx_hash hash) const { __builtin_prefetch(places_ + (hash & mask_)); }

    /// The item in the place of a key, if it may be the same; otherwise more than there can be.
    [[nodiscard]] std::uint32_t likely(kx_hash hash) const {
        const Place &place = places_[hash & mask_];
        return place.tag == static_cast<std::uint32_t>(hash >> 32) ? place.number : kFree;
    }

    /// Is the key there? Same(number) compares with that of another item. If not it is entered, while there is room.
    template <class Same> bool meet(kx_hash hash, std::uint32_t number, Same same) {
        const auto tag = static_cast<std::uint32_t>(hash >> 32);
        for (kx_hash step = 0; step < kMostSteps; ++step) {
            Place &place = places_[(hash + step) & mask_];
            if (place.number == kFree) {
                place = {tag, number};
                return false;
            }
            if (place.tag == tag && same(place.number)) {
                return true;
            }
        }
        return false;
    }

  private:
    struct Place {
        std::uint32_t tag, number;
    };
    static constexpr std::uint32_t kFree = 0xffffffff;
    static constexpr kx_hash kMostSteps = 32; ///< so that no input makes it slow

    static kx_i64 places_for(kx_i64 keys) { return to_i64(std::bit_ceil(4 * to_size(std::max<kx_i64>(keys, 1)))); }

    Place *places_;
    kx_hash mask_;
};

/// Drops most items whose keys were there before, if a sample says that most items are such; what is left keeps its
/// order. `memory` has room for 8 bytes an item. Returns how many are left of the n.
template <class Items> kx_i64 kx_drop_frequent(const Items &items, void **slots, kx_i64 n, char *memory) {
    constexpr kx_i64 kWorthwhile = 8, kBatch = 32;
    const auto hash_of = [&](kx_i64 i) { return kx_hash_keys(items.view(slots[i])); };
    const kx_i64 expected = kx_same_bytes_are_same_keys() ? kx_guess_distinct(n, hash_of) : n;
    if (expected > n / kWorthwhile) {
        return n;
    }
    KX_ASSERT(kx_distinct_table::bytes_for(expected) <= n * 8);
    kx_distinct_table table(memory, expected);
    std::array<kx_hash, kBatch> hashes;
    kx_i64 i = 0, kept = 0;
    while (i < n && kept < 2 * expected) {
        const kx_i64 first = i, end = std::min(n, i + kBatch);
        for (i = first; i < end; ++i) {
            table.prefetch(hashes[to_size(i - first)] = hash_of(i));
        }
        const auto for_likely = [&](auto use) { // the items that the table says may be the same
            for (kx_i64 k = 0; k < end - first; ++k) {
                const std::uint32_t number = table.likely(hashes[to_size(k)]);
                if (number < kept) {
                    use(slots[number]);
                }
            }
        };
        for_likely([&](const void *item) { items.touch(item); });
        for_likely([&](const void *item) {
            kx_touch(items.view(item).record);
            items.touch_fields(item, 0);
        });
        for (i = first; i < end; ++i) {
            const auto same = [&](std::uint32_t number) {
                return kx_same_key_bytes(items.view(slots[number]), items.view(slots[i]));
            };
            if (!table.meet(hashes[to_size(i - first)], static_cast<std::uint32_t>(kept), same)) {
                slots[kept++] = slots[i];
            }
        }
    }
    std::copy(slots + i, slots + n, slots + kept);
    return kept + n - i;
}

} // namespace orkan
