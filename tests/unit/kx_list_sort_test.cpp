// kx_list_sort_test.cpp: the pointer list: its sorts.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/list_fixture.h"

namespace orkan {
namespace {

int widely(const void *a, const void *b) { return 7 * slots_by_key(a, b); }

class SortTest : public ListTest {
  protected:
    static Numbers random_keys(int n, int different, unsigned seed) {
        std::mt19937 random(seed);
        Numbers keys;
        for (int i = 0; i < n; ++i) {
            keys.push_back(static_cast<int>(random() % static_cast<unsigned>(different)));
        }
        return keys;
    }
    static Numbers stably_sorted(const Numbers &keys) {
        Numbers order = up_to(static_cast<int>(keys.size()));
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return keys[to_size(a)] < keys[to_size(b)]; });
        return order;
    }
    static Numbers result_of_qsort(const Numbers &keys, kx_i64 start, kx_list_compare cmp = slots_by_key) {
        set_keys(keys);
        const int n = static_cast<int>(keys.size());
        kx_list *list = ring(n + 4, start, up_to(n));
        kx_list_qsort(list, cmp);
        Numbers result = numbers(list);
        kx_list_destroy(list, nullptr);
        return result;
    }
};

TEST_F(SortTest, MsortKeepsEqualElementsInInputOrder) {
    for (int n : {0, 1, 2, 3, 4, 5, 7, 8, 100, 1000}) {
        for (int different : {1, 2, 10, 100000}) {
            const Numbers keys = random_keys(n, different, static_cast<unsigned>(n + different));
            set_keys(keys);
            for (kx_i64 start : {0, 2}) {
                kx_list *list = ring(n + 3, start, up_to(n));
                EXPECT_EQ(kx_list_msort(list, slots_by_key), 0);
                EXPECT_EQ(numbers(list), stably_sorted(keys));
            }
        }
    }
    EXPECT_EQ(memPool->qnum, 0);
}

TEST_F(SortTest, MsortTakesTheRightElementOnOneOrMore) {
    const Numbers keys = random_keys(100, 10, 1);
    set_keys(keys);
    kx_list *list = list_of(up_to(100));
    EXPECT_EQ(kx_list_msort(list, widely), 0);
    EXPECT_EQ(numbers(list), stably_sorted(keys));
}

TEST_F(SortTest, MsortReportsARefusedBuffer) {
    kx_list *list = list_of({2, 1, 3});
    kx_list *empty = __kx_list_create();
    kx_list *one = list_of({1});
    refuse_pool();
    EXPECT_EQ(kx_list_msort(list, slots_by_key), 1);
    Numbers left = numbers(list);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (Numbers{1, 2, 3}));
    EXPECT_EQ(kx_list_msort(empty, slots_by_key), 0);
    EXPECT_EQ(kx_list_msort(one, slots_by_key), 0);
    EXPECT_EQ(_kx_msort(nullptr, 0, 0, 8, slots_by_key), 0);
}

struct Wide {
    int key;
    char payload[9];
};
int wide_by_key(const void *a, const void *b) {
    return sign(static_cast<const Wide *>(a)->key - static_cast<const Wide *>(b)->key);
}

TEST_F(SortTest, MergeSortTakesElementsOfAnyWidth) {
    std::vector<Wide> elements_to_sort;
    for (int key : random_keys(200, 20, 3)) {
        Wide wide{key, {}};
        std::snprintf(wide.payload, sizeof wide.payload, "%d", static_cast<int>(elements_to_sort.size()));
        elements_to_sort.push_back(wide);
    }
    std::vector<Wide> expected = elements_to_sort;
    std::stable_sort(expected.begin() + 10, expected.end() - 5,
                     [](const Wide &a, const Wide &b) { return a.key < b.key; });
    EXPECT_EQ(_kx_msort(elements_to_sort.data(), 10, 194, sizeof(Wide), wide_by_key), 0);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(elements_to_sort[i].key, expected[i].key) << i;
        EXPECT_STREQ(elements_to_sort[i].payload, expected[i].payload) << i;
    }
}

TEST_F(SortTest, MergeJoinsTwoSortedRanges) {
    const auto ascending = [](const void *a, const void *b) {
        return sign(*static_cast<const int *>(a) - *static_cast<const int *>(b));
    };
    int values[] = {99, 1, 4, 7, 2, 3, 9, 0};
    EXPECT_EQ(_kx_merge(values, 1, 3, 6, sizeof(int), ascending), 0);
    EXPECT_EQ((Numbers(values, values + 8)), (Numbers{99, 1, 2, 3, 4, 7, 9, 0}));
    refuse_pool();
    EXPECT_EQ(_kx_merge(values, 1, 3, 6, sizeof(int), ascending), 1);
}

TEST_F(SortTest, QsortSortsPlainAndWrappedRanges) {
    for (int n : {0, 1, 2, 5, 12, 13, 14, 50, 1000, 4097}) {
        for (int different : {1, 3, 1000000}) {
            const Numbers keys = random_keys(n, different, static_cast<unsigned>(7 * n + different));
            for (kx_i64 start : {0, 3, n / 2 + 3}) {
                const Numbers result = result_of_qsort(keys, start);
                EXPECT_EQ(keys_of(result), keys_of(stably_sorted(keys)));
            }
        }
    }
}

TEST_F(SortTest, QsortTakesSortedAndReversedInput) {
    Numbers ascending = up_to(500);
    EXPECT_EQ(result_of_qsort(ascending, 0), ascending);
    Numbers descending(ascending.rbegin(), ascending.rend());
    EXPECT_EQ(result_of_qsort(descending, 0), descending);
}

TEST_F(SortTest, QsortGivesTheSameOutputWithAndWithoutMemory) {
    for (int n : {2, 3, 12, 13, 100, 1000, 3000}) {
        const Numbers keys = random_keys(n, 1 + n / 3, static_cast<unsigned>(n));
        const Numbers with = result_of_qsort(keys, 0, widely);
        EXPECT_EQ(keys_of(with), keys_of(stably_sorted(keys)));
        refuse_system();
        EXPECT_EQ(result_of_qsort(keys, 0, widely), with);
        kx_fault_hook = nullptr;
    }
}

TEST_F(SortTest, QsortTakesNothingFromThePool) {
    kx_list *list = list_of({3, 1, 2});
    refuse_pool();
    kx_list_qsort(list, slots_by_key);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
    kx_list_qsort(nullptr, slots_by_key);
}

std::mt19937 whims;
int at_whim(const void *, const void *) { return static_cast<int>(whims() % 5) - 2; }

TEST_F(SortTest, ComparatorWithoutAnyOrderLosesNoItem) {
    const kx_list_compare comparators[] = {at_whim, [](const void *, const void *) { return 1; },
                                           [](const void *, const void *) { return -1; },
                                           [](const void *, const void *) { return 0; }};
    for (kx_list_compare cmp : comparators) {
        for (bool refused : {false, true}) {
            for (int n : {2, 13, 300, 2000}) {
                kx_fault_hook = refused ? refuse_large : nullptr;
                refuse_all = refused;
                Numbers result = result_of_qsort(up_to(n), 1, cmp);
                std::sort(result.begin(), result.end());
                EXPECT_EQ(result, up_to(n));
                kx_list *list = list_of(up_to(n));
                EXPECT_EQ(kx_list_msort(list, cmp), 0);
                for (int i = 0; i < 20; ++i) {
                    kx_list_isort2(list, static_cast<kx_i64>(whims() % static_cast<unsigned>(n)), cmp);
                    kx_list_isort(list, cmp);
                }
                result = numbers(list);
                std::sort(result.begin(), result.end());
                EXPECT_EQ(result, up_to(n));
                kx_list_destroy(list, nullptr);
            }
        }
    }
}

} // namespace
} // namespace orkan
