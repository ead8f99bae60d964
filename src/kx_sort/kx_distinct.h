// kx_distinct.h: drops duplicates before a sort for unique output, where a sample finds that there are many.
//
// The keys met so far are found by a hash table with open addressing and linear probing (Knuth, The Art of Computer
// Programming 3, 6.4, algorithm L), which holds copies of them side by side: the records lie too far apart to be read
// again for every comparison. It may miss a duplicate, as where too many keys want the same place, or there are more or
// longer keys than it has room for: the sort drops what is left. It never takes different keys for equal ones.
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

/// Calls use(bytes) for each of the record's keys, or the record where that is the key, until one is refused: false.
template <class View, class Use> bool kx_every_key(const View &record, Use use) {
    if (argsInfo.bRecSort != kRecSortNone) {
        return use(record.record);
    }
    for (kx_i64 k = 0; k < argsInfo.keyNums; ++k) {
        if (!use(record.key(argsInfo.arrSortKey[k], k))) {
            return false;
        }
    }
    return true;
}

/// A hash of all keys of the record.
template <class View> kx_hash kx_hash_keys(const View &record) {
    kx_hash hash = 0;
    kx_every_key(record, [&](Bytes key) {
        hash = kx_hash_bytes(hash, key);
        return true;
    });
    return hash;
}

/// Keys of the same bytes are equal. Not so numbers that go on behind their key.
inline bool kx_same_bytes_are_same_keys() {
    const auto is_text = [](const KeyInfo &key) { return key.type != kTypeNum; };
    const KeyInfo *keys = argsInfo.arrSortKey;
    return argsInfo.bRecSort != kRecSortNone || numbers_end_with_keys() ||
           std::all_of(keys, keys + argsInfo.keyNums, is_text);
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

/// The keys met so far.
///
///   | place | place | ...    | length | bytes | length | bytes | ... |    the keys of a record begin at 8 bytes
class kx_distinct_table {
  public:
    /// The bytes that the places for so many keys take.
    static kx_i64 bytes_for(kx_i64 keys) { return places_for(keys) * to_i64(sizeof(Place)); }

    /// In `bytes` bytes of memory, which are more than those.
    kx_distinct_table(char *memory, kx_i64 bytes, kx_i64 keys)
        : places_(reinterpret_cast<Place *>(memory)), mask_(static_cast<kx_hash>(places_for(keys) - 1)),
          keys_(memory + bytes_for(keys)), room_(bytes - bytes_for(keys)) {
        std::memset(memory, 0xff, to_size(bytes_for(keys)));
    }

    void touch_place(kx_hash hash) const { __builtin_prefetch(places_ + (hash & mask_)); }

    /// The keys in that place, if they may be the same.
    void touch_keys(kx_hash hash) const {
        constexpr kx_i64 kCacheLine = 64;
        const Place &place = places_[hash & mask_];
        if (place.keys != kFree && place.tag == tag_of(hash)) {
            __builtin_prefetch(at(place));
            __builtin_prefetch(at(place) + kCacheLine);
        }
    }

    /// Are the keys of the record there? If not they are entered, while there is room.
    template <class View> bool meet(kx_hash hash, const View &record) {
        for (kx_hash step = 0; step < kMostSteps; ++step) {
            Place &place = places_[(hash + step) & mask_];
            if (place.keys == kFree) {
                enter(place, hash, record);
                return false;
            }
            if (place.tag == tag_of(hash) && same(at(place), record)) {
                return true;
            }
        }
        return false;
    }

  private:
    struct Place {
        std::uint32_t tag, keys; ///< where the keys begin, in units
    };
    using Length = std::uint32_t;
    static constexpr std::uint32_t kFree = 0xffffffff;
    static constexpr kx_i64 kUnit = 8;
    static constexpr kx_hash kMostSteps = 32; ///< so that no input makes it slow

    static kx_i64 places_for(kx_i64 keys) { return to_i64(std::bit_ceil(2 * to_size(std::max<kx_i64>(keys, 1)))); }
    static std::uint32_t tag_of(kx_hash hash) { return static_cast<std::uint32_t>(hash >> 32); }

    [[nodiscard]] char *at(const Place &place) const { return keys_ + place.keys * kUnit; }

    template <class View> static bool same(const char *keys, const View &record) {
        return kx_every_key(record, [&](Bytes key) {
            const Bytes held{keys + sizeof(Length), load_unaligned<Length>(keys)};
            keys = held.ptr + held.len;
            return same_bytes(held, key);
        });
    }

    template <class View> void enter(Place &place, kx_hash hash, const View &record) {
        kx_i64 size = 0;
        kx_every_key(record, [&](Bytes key) {
            size += to_i64(sizeof(Length)) + key.len;
            return true;
        });
        const kx_i64 units = (size + kUnit - 1) / kUnit;
        if (units * kUnit > room_ - taken_ * kUnit) {
            return;
        }
        place = {tag_of(hash), static_cast<std::uint32_t>(taken_)};
        taken_ += units;
        char *to = at(place);
        kx_every_key(record, [&](Bytes key) {
            const auto length = static_cast<Length>(key.len);
            std::memcpy(to, &length, sizeof length);
            std::copy_n(key.ptr, key.len, to + sizeof length);
            to += sizeof length + length;
            return true;
        });
    }

    Place *places_;
    kx_hash mask_;
    char *keys_;
    kx_i64 room_, taken_ = 0; ///< bytes; units
};

/// Drops most items whose keys were there before, if a sample says that most items are such; what is left keeps its
/// order. `memory` has room for 8 bytes an item. Returns how many are left of the n.
template <class Items> kx_i64 kx_drop_frequent(void **slots, kx_i64 n, char *memory) {
    constexpr kx_i64 kWorthwhile = 8, kBatch = 32;
    const auto hash_of = [&](kx_i64 i) { return kx_hash_keys(Items::view(slots[i])); };
    const kx_i64 expected = kx_same_bytes_are_same_keys() ? kx_guess_distinct(n, hash_of) : n;
    if (expected > n / kWorthwhile) {
        return n;
    }
    kx_distinct_table table(memory, n * to_i64(sizeof *slots), expected);
    std::array<kx_hash, kBatch> hashes;
    kx_i64 i = 0, kept = 0;
    while (i < n && kept < 2 * expected) {
        const kx_i64 first = i, end = std::min(n, i + kBatch);
        for (i = first; i < end; ++i) {
            table.touch_place(hashes[to_size(i - first)] = hash_of(i));
        }
        for (i = first; i < end; ++i) {
            table.touch_keys(hashes[to_size(i - first)]);
        }
        for (i = first; i < end; ++i) {
            if (!table.meet(hashes[to_size(i - first)], Items::view(slots[i]))) {
                slots[kept++] = slots[i];
            }
        }
    }
    std::copy(slots + i, slots + n, slots + kept);
    return kept + n - i;
}

} // namespace orkan
