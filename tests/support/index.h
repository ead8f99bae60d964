// index.h: fixed-length data with their index, what a sort must make of it, and random bytes worth sorting.
#pragma once

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kx_sort/kx_comparators.h"
#include "kx_sort_fix/kx_sort_fix.h"
#include "orkan/kx_run_state.h"

namespace support {

using namespace orkan;

using Items = std::vector<const void *>;

/// The data of one index in a block of exactly its size.
class Data {
  public:
    explicit Data(const std::string &bytes) : size_(to_i64(bytes.size())), block_(new char[bytes.size()]) {
        bytes.copy(block_.get(), bytes.size());
    }
    [[nodiscard]] kx_list *index() const { return _kx_get_indexList(block_.get(), size_); }

  private:
    kx_i64 size_;
    std::unique_ptr<char[]> block_;
};

inline Items items_of(const kx_list *list) {
    Items items;
    for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
        items.push_back(kx_list_get(list, i));
    }
    return items;
}

/// What a stable sort gives with the run's comparator.
inline Items expected_order(const kx_list *list) {
    Items items = items_of(list);
    const auto compare = argsInfo.bRecSort != kRecSortNone ? _cmpList_totalRec : _cmpList;
    std::stable_sort(items.begin(), items.end(), [&](const void *a, const void *b) { return compare(&a, &b) < 0; });
    return items;
}

/// Random bytes that collide in some ways and differ in others.
struct Alphabet {
    const char *name;
    std::string bytes; ///< empty: any byte at all
};

inline const Alphabet kAlphabets[] = {
    {"any byte", ""},
    {"two values", "ab"},
    {"numbers", " \t-+0123456789"},
    {"mostly digits", "0123456789012345678901234567890123456789 x-"},
    {"mostly blanks", "       \t\n5-"},
    {"high and low", std::string("\0\x7f\x80\xff", 4)},
    {"one value", "="},
    {"long stretches of blanks", std::string(140, ' ') + std::string(50, '\n') + "123456789-"},
};

inline std::string random_bytes(std::mt19937 &random, const Alphabet &alphabet, std::size_t size) {
    std::string bytes(size, '\0');
    const std::string &from = alphabet.bytes;
    for (char &c : bytes) {
        c = from.empty() ? static_cast<char>(random()) : from[random() % from.size()];
    }
    return bytes;
}

} // namespace support
