// kx_distinct_test.cpp: dropping frequent duplicates of an index before it is sorted.
#include "kx_sort/kx_distinct.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

struct FixedItems {
    static auto view(const void *item) { return fixed_item(item); }
};

constexpr std::size_t kLength = 12, kKeyLength = 6;

/// Records that begin with one of the keys and go on with their number.
string records_with(const std::vector<string> &keys) {
    string bytes;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        string number = std::to_string(i);
        number.resize(kLength - kKeyLength, ' ');
        bytes += keys[i] + number;
    }
    return bytes;
}

string key_text(std::size_t number) {
    string text = std::to_string(number);
    return string(kKeyLength - text.size(), '0') + text;
}

class Distinct : public RunState {
  protected:
    Distinct() {
        set_fixed(kLength);
        set_keys({key(0, kKeyLength)});
    }

    /// The numbers of the records that are left.
    static std::vector<std::size_t> left_of(const string &bytes) {
        std::vector<void *> slots;
        for (std::size_t at = 0; at < bytes.size(); at += to_size(argsInfo.recLen)) {
            slots.push_back(const_cast<char *>(bytes.data() + at));
        }
        kx_data_in({bytes.data(), to_i64(bytes.size())});
        std::vector<std::uint64_t> memory(slots.size());
        const kx_i64 left =
            kx_drop_frequent<FixedItems>(slots.data(), to_i64(slots.size()), reinterpret_cast<char *>(memory.data()));
        std::vector<std::size_t> numbers;
        for (kx_i64 i = 0; i < left; ++i) {
            numbers.push_back(to_size(static_cast<const char *>(slots[to_size(i)]) - bytes.data()) /
                              to_size(argsInfo.recLen));
        }
        return numbers;
    }

    static std::vector<std::size_t> first_of_each(const std::vector<string> &keys) {
        std::map<string, std::size_t> first;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            first.emplace(keys[i], i);
        }
        std::vector<std::size_t> numbers;
        for (const auto &[text, number] : first) {
            numbers.push_back(number);
        }
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }

    static std::vector<string> random_keys(std::size_t count, std::size_t kinds) {
        std::mt19937 random(static_cast<unsigned>(kinds));
        std::vector<string> keys(count);
        std::generate(keys.begin(), keys.end(), [&] { return key_text(random() % kinds); });
        return keys;
    }
};

TEST_F(Distinct, OfFrequentKeysTheFirstRecordOfEachIsLeftInOrder) {
    for (const std::size_t kinds : {1U, 2U, 50U, 3000U}) {
        SCOPED_TRACE(kinds);
        const std::vector<string> keys = random_keys(70'000, kinds);
        EXPECT_TRUE(left_of(records_with(keys)) == first_of_each(keys));
    }
}

TEST_F(Distinct, KeysThatAreMostlyDifferentAreLeftAlone) {
    const std::vector<string> keys = random_keys(70'000, 100'000);
    EXPECT_EQ(left_of(records_with(keys)).size(), keys.size());
}

TEST_F(Distinct, WhereThereAreMoreKeysThanTheSampleToldNoKeyIsLost) {
    std::vector<string> keys = random_keys(70'000, 10);
    for (std::size_t i = 1000; i < keys.size(); i += 3) {
        keys[i] = key_text(100 + i);
    }
    const std::vector<std::size_t> left = left_of(records_with(keys)), first = first_of_each(keys);
    EXPECT_LT(left.size(), keys.size());
    EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
    EXPECT_TRUE(std::includes(left.begin(), left.end(), first.begin(), first.end()));
}

TEST_F(Distinct, WholeRecordsAreComparedToTheirEnds) {
    set_keys({});
    argsInfo.bRecSort = kRecSortAsc;
    const std::vector<string> keys = random_keys(70'000, 3);
    EXPECT_EQ(left_of(records_with(keys)).size(), keys.size()) << "their numbers differ";
    string same;
    for (const string &text : keys) {
        same += text + "tail..";
    }
    EXPECT_TRUE(left_of(same) == first_of_each(keys));
}

TEST_F(Distinct, NumbersAreLeftToTheSortUnlessTheyEndWithTheirKeys) {
    set_keys({key(0, 3), key(3, 3, kTypeNum)});
    const std::vector<string> keys = random_keys(70'000, 50);
    EXPECT_EQ(left_of(records_with(keys)).size(), keys.size());
    completeMode = true;
    EXPECT_TRUE(left_of(records_with(keys)) == first_of_each(keys));
}

TEST_F(Distinct, WhereKeysAreTooLongForTheTableNoneIsLost) {
    constexpr std::size_t kLong = 600;
    set_fixed(kLong);
    set_keys({key(0, kLong - 1)});
    const std::vector<string> keys = random_keys(20'000, 300);
    string bytes;
    for (const string &text : keys) {
        bytes += text + string(kLong - kKeyLength, '.');
    }
    const std::vector<std::size_t> left = left_of(bytes), first = first_of_each(keys);
    EXPECT_LT(left.size(), keys.size());
    EXPECT_GT(left.size(), first.size()) << "there was room for all";
    EXPECT_TRUE(std::includes(left.begin(), left.end(), first.begin(), first.end()));
}

TEST_F(Distinct, KeysOfOneHashAreToldApart) {
    const string bytes = records_with(random_keys(100, 1)); // whole records differ by their numbers
    argsInfo.bRecSort = kRecSortAsc;
    std::vector<std::uint64_t> memory(10'000);
    kx_distinct_table table(reinterpret_cast<char *>(memory.data()), 80'000, 100);
    constexpr kx_hash kHash = 0x1234567812345678;
    std::size_t found = 0;
    for (std::size_t number = 0; number < 100; ++number) {
        const auto record = fixed_item(bytes.data() + number * kLength);
        EXPECT_FALSE(table.meet(kHash, record));
        found += table.meet(kHash, record) ? 1U : 0U;
    }
    EXPECT_GT(found, 10U) << "those near their place are found";
    EXPECT_LT(found, 100U) << "nor is looked for the others for ever";
}

TEST_F(Distinct, AHashTakesEveryByteAndTheBordersBetweenKeys) {
    const string text = "0123456789abcdefghijklmnopqrs";
    std::vector<kx_hash> hashes;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        hashes.push_back(kx_hash_bytes(0, {text.data(), to_i64(length)}));
        for (std::size_t at = 0; at < length; ++at) {
            string changed = text.substr(0, length);
            changed[at] = static_cast<char>(changed[at] ^ 1);
            hashes.push_back(kx_hash_bytes(0, {changed.data(), to_i64(length)}));
        }
    }
    const auto both = [&](kx_i64 border) {
        return kx_hash_bytes(kx_hash_bytes(0, {text.data(), border}), {text.data() + border, 20 - border});
    };
    for (kx_i64 border = 0; border <= 20; ++border) {
        hashes.push_back(both(border));
    }
    std::sort(hashes.begin(), hashes.end());
    EXPECT_TRUE(std::adjacent_find(hashes.begin(), hashes.end()) == hashes.end());
}

} // namespace
