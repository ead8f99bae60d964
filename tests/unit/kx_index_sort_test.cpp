// kx_index_sort_test.cpp: sorting an index, against the standard library's stable sort.
#include "kx_sort/kx_index_sort.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <sys/mman.h>
#include <utility>
#include <vector>

#include "kx_sort/kx_comparators.h"
#include "kx_utils/kx_fault.h"
#include "support/index.h"
#include "support/model.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class IndexSort : public RunState {
  protected:
    IndexSort() { use_pool(kx_i64{1} << 23); }

    /// Sorts the index of the data both ways, without some of its records, and compares with the model.
    static void expect_sorted(const string &bytes, kx_i64 first_refused = 0, kx_i64 refused = 0) {
        const Data data(bytes);
        for (const bool stable : {true, false}) {
            const kx_list_owner list(data.index());
            ASSERT_NE(list.get(), nullptr);
            kx_list_delete(list.get(), first_refused, refused);
            const Items expected = expected_order(list.get());
            ASSERT_EQ(kx_sort_index(list.get(), stable), 0);
            ASSERT_TRUE(items_of(list.get()) == expected) << (stable ? "stable" : "plain");
        }
    }

    /// Random data of several shapes for the configured keys.
    static void expect_sorted_for_all(std::initializer_list<kx_i64> counts, unsigned seeds = 2) {
        for (const Alphabet &alphabet : kAlphabets) {
            for (const kx_i64 count : counts) {
                for (unsigned seed = 0; seed < seeds && !HasFatalFailure(); ++seed) {
                    SCOPED_TRACE(string(alphabet.name) + ", " + std::to_string(count) + " records, seed " +
                                 std::to_string(seed));
                    std::mt19937 random(seed * 1000 + static_cast<unsigned>(count));
                    const std::size_t remainder = random() % to_size(argsInfo.recLen);
                    expect_sorted(random_bytes(random, alphabet, to_size(count * argsInfo.recLen) + remainder));
                }
            }
        }
    }
};

// Around the size where small indexes end, and beyond.
constexpr std::initializer_list<kx_i64> kCounts = {0, 1, 2, 3, 13, 100, 511, 512, 513, 3000};

TEST_F(IndexSort, RecordsThatAreNotInTheIndexLeaveGaps) {
    set_fixed(24);
    set_keys({key(3, 10)});
    std::mt19937 random(3);
    const string bytes = random_bytes(random, kAlphabets[1], std::size_t{24} * 2000);
    for (const kx_i64 first : {0, 1, 700, 1999}) { // those in front leave none
        expect_sorted(bytes, first, 1);
    }
    expect_sorted(bytes, 100, 1300);
}

// More places than numbers have bits: of 64 GiB of addresses three pages are used.
TEST_F(IndexSort, RecordsTooFarApartForTheirNumbersAreCompared) {
    constexpr kx_i64 kLength = 16, kFar = (kx_i64{1} << 32) + 5;
    constexpr std::size_t kBytes = to_size((kFar + 2) * kLength);
    void *const region =
        mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (region == MAP_FAILED) {
        GTEST_SKIP() << "no such many addresses";
    }
    set_fixed(kLength);
    set_keys({key(0, 4)});
    kx_small.index = 2;
    auto *bytes = static_cast<char *>(region);
    kx_data_in({bytes, kBytes});
    const kx_list_owner list(__kx_list_create());
    for (const auto &[place, text] : {std::pair<kx_i64, const char *>{0, "b"}, {kFar, "c"}, {kFar + 1, "a"}}) {
        std::strcpy(bytes + place * kLength, text);
        ASSERT_EQ(kx_list_append(list.get(), bytes + place * kLength), 0);
    }
    ASSERT_EQ(kx_sort_index(list.get(), false), 0);
    kx_small = {};
    EXPECT_TRUE((items_of(list.get()) == Items{bytes + (kFar + 1) * kLength, bytes, bytes + kFar * kLength}));
    munmap(region, kBytes);
}

TEST_F(IndexSort, TextKeysOfEveryLength) {
    set_fixed(24);
    for (std::int32_t length = 0; length <= 20; ++length) {
        for (const std::int32_t sequence : {kSeqAsc, kSeqDesc}) {
            SCOPED_TRACE("length " + std::to_string(length) + ", sequence " + std::to_string(sequence));
            set_keys({key(length % 5, length, kTypeAscii, sequence)});
            expect_sorted_for_all({512, 1500}, 1);
        }
    }
}

// What a few records share is a guess at what all of a large group share: one record here and there shares less.
TEST_F(IndexSort, SharedBeginningsOfWhichAFewRecordsShareLess) {
    constexpr std::size_t kWidth = 40, kRecords = 1000;
    set_fixed(to_i64(kWidth));
    for (const std::int32_t sequence : {kSeqAsc, kSeqDesc}) {
        set_keys({key(0, static_cast<std::int32_t>(kWidth), kTypeAscii, sequence)});
        for (std::size_t shared = 0; shared < kWidth; shared += 3) {
            std::mt19937 random(static_cast<unsigned>(shared));
            string bytes;
            for (std::size_t i = 0; i < kRecords; ++i) {
                const std::size_t differs_at = i % 333 == 7 ? random() % (shared + 1) : shared;
                string record(kWidth, 'p');
                for (std::size_t at = differs_at; at < kWidth; ++at) {
                    record[at] = static_cast<char>('a' + random() % 4);
                }
                bytes += record;
            }
            SCOPED_TRACE(shared);
            expect_sorted(bytes);
        }
    }
}

TEST_F(IndexSort, NumericKeysOfEveryLength) {
    set_fixed(24);
    for (const std::int32_t length : {0, 1, 2, 5, 7, 8, 9, 12, 18, 19, 20, 24}) {
        for (const std::int32_t sequence : {kSeqAsc, kSeqDesc}) {
            SCOPED_TRACE("length " + std::to_string(length) + ", sequence " + std::to_string(sequence));
            set_keys({key(24 - length, length, kTypeNum, sequence)}); // ends with the record: blanks read on behind it
            expect_sorted_for_all({512, 1500}, 1);
        }
    }
}

TEST_F(IndexSort, AllSizes) {
    set_fixed(9);
    for (const std::int32_t type : {kTypeAscii, kTypeNum, kTypeDatetime}) {
        for (const std::int32_t sequence : {kSeqAsc, kSeqDesc}) {
            set_keys({key(2, 3, type, sequence)});
            expect_sorted_for_all(kCounts);
        }
    }
}

TEST_F(IndexSort, DateTimeKeysCompareBytes) {
    set_fixed(14);
    set_keys({key(0, 14, kTypeDatetime)});
    expect_sorted_for_all({600});
    const Data data("20240229235959"
                    "20240229000000"
                    "19991231235959");
    const kx_list_owner list(data.index());
    const Items before = items_of(list.get());
    ASSERT_EQ(kx_sort_index(list.get(), true), 0);
    EXPECT_EQ(items_of(list.get()), (Items{before[2], before[1], before[0]}));
}

TEST_F(IndexSort, SeveralKeys) {
    set_fixed(20);
    const std::vector<std::vector<KeyInfo>> settings = {
        {key(0, 1), key(1, 2, kTypeNum), key(3, 9, kTypeAscii, kSeqDesc)},
        {key(0, 1, kTypeNum, kSeqDesc), key(4, 8)},
        {key(0, 8), key(8, 8)},
        {key(0, 10), key(0, 10, kTypeAscii, kSeqDesc)},
        {key(0, 0), key(5, 2, kTypeAscii, kSeqDesc)},
        {key(19, 1), key(18, 1), key(0, 20, kTypeNum)},
        {key(2, 3, kTypeDatetime), key(2, 3, kTypeNum, kSeqDesc)},
    };
    for (const auto &keys : settings) {
        set_keys(keys);
        expect_sorted_for_all({40, 511, 512, 2500});
    }
}

TEST_F(IndexSort, WholeRecords) {
    for (const kx_i64 length : {1, 2, 7, 8, 9, 16, 30}) {
        for (const kx_i64 sequence : {kRecSortAsc, kRecSortDesc}) {
            SCOPED_TRACE("length " + std::to_string(length) + ", sequence " + std::to_string(sequence));
            set_fixed(length);
            argsInfo.bRecSort = sequence;
            expect_sorted_for_all({30, 512, 2000}, 1);
        }
    }
}

// -A and -R go before keys that are there all the same.
TEST_F(IndexSort, WholeRecordsEvenWithKeys) {
    set_fixed(6);
    set_keys({key(5, 1)});
    argsInfo.bRecSort = kRecSortDesc;
    expect_sorted_for_all({100, 700});
}

TEST_F(IndexSort, WithoutKeysAllRecordsAreEqual) {
    const Outcome o = in_child([] {
        set_fixed(4);
        set_keys({});
        std::mt19937 random(1);
        for (const std::size_t count : {5U, 511U, 512U, 2000U}) {
            const Data data(random_bytes(random, kAlphabets[0], count * 4));
            const kx_list_owner list(data.index());
            const Items before = items_of(list.get());
            if (kx_sort_index(list.get(), true) != 0 || items_of(list.get()) != before) {
                return 1;
            }
        }
        return 42;
    });
    EXPECT_EQ(o.status, 42);
}

TEST_F(IndexSort, OrderedReversedAndSawtoothInput) {
    set_fixed(8);
    const std::vector<std::function<int(int)>> shapes = {
        [](int i) { return i; },
        [](int i) { return 99999 - i; },
        [](int i) { return i / 10; },
        [](int i) { return i % 37; },
        [](int i) { return (9999 - i) / 50; },
        [](int i) { return i == 4999 ? 0 : i + 1; },
        [](int i) { return -i; },
        [](int i) { return i - 2500; },
    };
    for (const std::int32_t type : {kTypeAscii, kTypeNum}) {
        for (const std::int32_t sequence : {kSeqAsc, kSeqDesc}) {
            set_keys({key(0, 6, type, sequence)});
            for (std::size_t shape = 0; shape < shapes.size(); ++shape) {
                SCOPED_TRACE("shape " + std::to_string(shape));
                string bytes;
                for (int i = 0; i < 5000; ++i) {
                    char record[32];
                    std::snprintf(record, sizeof record, "%06d%02d", shapes[shape](i), i % 100);
                    bytes.append(record, 8);
                }
                expect_sorted(bytes);
            }
        }
    }
}

// The models know nothing of the comparators: numbers that wrap, and blanks that read on into the next record.
TEST_F(IndexSort, NumbersAgreeWithAnIndependentModel) {
    for (const std::size_t length : {3U, 20U, 22U}) {
        const Rules rules{.keys = {{.position = 1, .length = length, .numeric = true}}, .stable = true};
        set_fixed(to_i64(length) + 1);
        set_keys({key(1, static_cast<std::int32_t>(length), kTypeNum)});
        for (const Alphabet &alphabet : kAlphabets) {
            std::mt19937 random(static_cast<unsigned>(length));
            const string bytes = random_bytes(random, alphabet, 1000 * (length + 1));
            const Data data(bytes);
            const kx_list_owner list(data.index());
            ASSERT_EQ(kx_sort_index(list.get(), false), 0);
            string sorted;
            for (const void *item : items_of(list.get())) {
                sorted.append(static_cast<const char *>(item), length + 1);
            }
            EXPECT_TRUE(is_sorted_output(sorted, fixed_items(bytes, length + 1, rules), rules)) << alphabet.name;
        }
    }
}

TEST_F(IndexSort, AVerboseRunGivesTheSameOrderAndCountsCalls) {
    set_fixed(6);
    std::mt19937 random(4);
    const string bytes = random_bytes(random, kAlphabets[1], 18000);
    for (const kx_i64 whole : {kRecSortNone, kRecSortAsc}) {
        argsInfo.bRecSort = whole;
        set_keys({key(1, 3)});
        kx_i64 &counter = whole != kRecSortNone ? cmpList_totalRec : cmpList;
        const Data data(bytes);
        for (const bool stable : {true, false}) {
            const kx_list_owner list(data.index());
            const Items expected = expected_order(list.get());
            VERBOSE = 1;
            counter = 0;
            EXPECT_EQ(kx_sort_index(list.get(), stable), 0);
            EXPECT_GE(counter, 2999) << "no fewer comparisons can sort them";
            VERBOSE = 0;
            counter = 0;
            EXPECT_TRUE(items_of(list.get()) == expected);
        }
    }
}

} // namespace
