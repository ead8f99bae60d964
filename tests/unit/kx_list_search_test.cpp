// kx_list_search_test.cpp: the pointer list: searching, and placing one item.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>

#include "support/list_fixture.h"

namespace orkan {
namespace {

// --- searching ---

TEST_F(ListTest, SearchFindsTheFirstMatch) {
    kx_list *list = ring(6, 4, {1, 2, 3, 4});
    set_keys({0, 10, 20, 30, 20});
    int key = 20;
    EXPECT_EQ(kx_list_search(list, &key, has_key), item(2));
    EXPECT_EQ(kx_list_search_pos(list, &key, has_key), 1);
    kx_list *all = __kx_list_search_all(list, &key, has_key);
    EXPECT_EQ(numbers(all), (Numbers{2, 4}));
    EXPECT_EQ(kx_list_len(list), 4);
    key = 99;
    EXPECT_EQ(kx_list_search(list, &key, has_key), nullptr);
    EXPECT_EQ(kx_list_search_pos(list, &key, has_key), -1);
    EXPECT_EQ(__kx_list_search_all(list, &key, has_key), nullptr);
    EXPECT_EQ(kx_list_search(__kx_list_create(), &key, has_key), nullptr);
    EXPECT_EQ(kx_list_search_pos(__kx_list_create(), &key, has_key), -1);
    EXPECT_EQ(__kx_list_search_all(__kx_list_create(), &key, has_key), nullptr);
}

TEST_F(ListTest, MatchersLearnTheSlot) {
    kx_list *list = ring(5, 3, {1, 2, 3});
    const auto in_slot = [](const void *, const void *key, kx_i64 slot) {
        return slot == *static_cast<const kx_i64 *>(key) ? 1 : 0;
    };
    const kx_i64 slots[] = {3, 4, 0};
    for (kx_i64 i = 0; i < 3; ++i) {
        EXPECT_EQ(kx_list_search_pos(list, &slots[i], in_slot), i);
    }
}

TEST_F(ListTest, FindEqualGivesZeroForAPointerThatIsNotInTheList) {
    EXPECT_EQ(kx_list_find_equal(ring(4, 3, {1, 2}), item(3)), 0);
    EXPECT_EQ(kx_list_find_equal(__kx_list_create(), item(3)), 0);
}

void find_until_the_alarm(const kx_list *list, const void *p) {
    const itimerval soon{{0, 0}, {0, 100000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    kx_list_find_equal(list, p);
    _exit(0); // it returned
}

TEST_F(ListTest, FindEqualDoesNotReturnForAPointerInTheList) {
    kx_list *list = ring(4, 3, {1, 2});
    EXPECT_EXIT(find_until_the_alarm(list, item(2)), ::testing::KilledBySignal(SIGALRM), "");
}

TEST_F(ListTest, DichotomizedSearchFindsEveryItemAndNothingElse) {
    for (int n = 0; n < 20; ++n) {
        kx_list *list = ring(20, 13, up_to(n));
        for (int i = 0; i < n; ++i) {
            elements[i].key = 2 * i;
        }
        for (int key = -1; key <= 2 * n; ++key) {
            const kx_i64 expected = key >= 0 && key % 2 == 0 && key < 2 * n ? key / 2 : -1;
            EXPECT_EQ(kx_list_search_pos_dichotomize(list, &key, key_against_item), expected);
        }
    }
}

TEST_F(ListTest, DichotomizedSearchOnAnEmptyListGivesMinusOne) {
    const int key = 0;
    EXPECT_EQ(kx_list_search_pos_dichotomize(__kx_list_create(), &key, key_against_item), -1);
}

TEST_F(ListTest, DichotomizedSearchTakesTheMiddleOfEqualItemsFirst) {
    kx_list *list = list_of({0, 1, 2, 3});
    set_keys({5, 5, 5, 5});
    const int key = 5;
    EXPECT_EQ(kx_list_search_pos_dichotomize(list, &key, key_against_item), 1);
}

// --- placing one item ---

/// Every list of up to 7 items in which one is out of place, on a plain and on a wrapped range.
template <class Action> void for_each_misplaced(Action action) {
    for (int n = 1; n <= 7; ++n) {
        for (int pos = 0; pos < n; ++pos) {
            for (int rank = 0; rank < n; ++rank) { // the place that the item at pos belongs to
                Numbers keys;
                for (int i = 0, next = 0; i < n; ++i) {
                    next += next == rank && i != pos ? 1 : 0;
                    keys.push_back(i == pos ? rank : next++);
                }
                for (kx_i64 start : {0, 2, 5}) {
                    action(n, pos, rank, start, keys);
                }
            }
        }
    }
}

TEST_F(ListTest, Isort2PutsTheItemInPlace) {
    for_each_misplaced([](int n, int pos, int, kx_i64 start, const Numbers &keys) {
        set_keys(keys);
        kx_list *list = ring(8, start, up_to(n));
        kx_list_isort2(list, pos, by_key_strict);
        EXPECT_EQ(keys_of(numbers(list)), up_to(n)) << n << ' ' << pos << ' ' << start;
    });
}

TEST_F(ListTest, Isort2OldPutsTheItemInPlace) {
    for_each_misplaced([](int n, int pos, int, kx_i64 start, const Numbers &keys) {
        set_keys(keys);
        kx_list *list = ring(8, start, up_to(n));
        kx_list_isort2_old(list, pos, by_key);
        EXPECT_EQ(keys_of(numbers(list)), up_to(n)) << n << ' ' << pos << ' ' << start;
    });
}

TEST_F(ListTest, InsertPositionNamesTheItemToStandInFrontOf) {
    for_each_misplaced([](int n, int pos, int rank, kx_i64 start, const Numbers &keys) {
        set_keys(keys);
        kx_list *list = ring(8, start, up_to(n));
        const kx_i64 place = kx_list_search_insert_pos_dichotomize(list, pos, by_key_strict);
        if (place == -1) { // in place, or swapped into place
            EXPECT_EQ(keys_of(numbers(list)), up_to(n));
        } else {
            EXPECT_EQ(place, rank <= pos ? rank : rank + 1);
            EXPECT_EQ(numbers(list), up_to(n));
        }
    });
}

TEST_F(ListTest, InsertPositionOfAOneItemListIsMinusOne) {
    EXPECT_EQ(kx_list_search_insert_pos_dichotomize(list_of({3}), 0, by_key_strict), -1);
}

TEST_F(ListTest, InsertPositionSwapsAtOnceWhenOnlyOnePlaceIsInQuestion) {
    kx_list *list = list_of({5, 3});
    EXPECT_EQ(kx_list_search_insert_pos_dichotomize(list, 0, by_key_strict), -1);
    EXPECT_EQ(numbers(list), (Numbers{3, 5}));
    list = list_of({5, 3});
    EXPECT_EQ(kx_list_search_insert_pos_dichotomize(list, 1, by_key_strict), -1);
    EXPECT_EQ(numbers(list), (Numbers{3, 5}));
}

TEST_F(ListTest, IsortSinksTheFirstItem) {
    for (kx_i64 start : {0, 3}) {
        kx_list *list = ring(6, start, {3, 1, 2, 4, 5});
        kx_list_isort(list, slots_by_key);
        EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4, 5}));
    }
    kx_list_isort(__kx_list_create(), slots_by_key);
}

TEST_F(ListTest, IsortStopsAtTheFirstItemThatIsNotSmaller) {
    kx_list *list = list_of({3, 1, 4, 2});
    kx_list_isort(list, slots_by_key);
    EXPECT_EQ(numbers(list), (Numbers{1, 3, 4, 2}));
}

TEST_F(ListTest, IsortLeavesTheFirstItemInFrontOfATie) {
    set_keys({0, 5, 5, 6});
    kx_list *list = list_of({1, 2, 3});
    kx_list_isort(list, slots_by_key);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
}

TEST_F(ListTest, IsortMovesOnlyOnExactlyOne) {
    kx_list *list = list_of({3, 1});
    kx_list_isort(list, [](const void *a, const void *b) { return 2 * slots_by_key(a, b); });
    EXPECT_EQ(numbers(list), (Numbers{3, 1}));
}

} // namespace
} // namespace orkan
