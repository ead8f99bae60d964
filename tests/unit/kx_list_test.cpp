// kx_list_test.cpp: the pointer list: creation, access and removal, on plain, shifted and wrapped ranges.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <vector>

#include "support/list_fixture.h"

namespace orkan {
namespace {

// --- creation, size, capacity ---

TEST_F(ListTest, NewListIsAllZeroAndInThePool) {
    kx_list *list = __kx_list_create();
    EXPECT_EQ(memPool->num, 1);
    EXPECT_EQ(list->tab, nullptr);
    EXPECT_EQ(list->tab_size, 0);
    EXPECT_EQ(list->start, 0);
    EXPECT_EQ(list->len, 0);
    kx_list_destroy(list, nullptr);
    EXPECT_EQ(memPool->num, 0);
}

TEST_F(ListTest, RefusedMemoryGivesNoList) {
    kx_list *list = list_of({1, 2});
    refuse_pool();
    EXPECT_EQ(__kx_list_create(), nullptr);
    EXPECT_EQ(kx_list_clone(list), nullptr);
}

TEST_F(ListTest, CloneThatIsRefusedItsSlotsIsNoListAndLeavesNothing) {
    kx_list *list = list_of(up_to(500));
    void *hole = kx_malloc(memPool, 64);
    kx_malloc(memPool, 8);
    refuse_pool();
    kx_free(memPool, hole);
    const kx_i64 blocks = memPool->num;
    EXPECT_EQ(kx_list_clone(list), nullptr);
    EXPECT_EQ(memPool->num, blocks);
}

TEST_F(ListTest, CloneCopiesSlotsAndPositionAndSharesItems) {
    kx_list *list = ring(5, 3, {1, 2, 3});
    kx_list *copy = kx_list_clone(list);
    EXPECT_NE(copy->tab, list->tab);
    EXPECT_EQ(copy->tab_size, 5);
    EXPECT_EQ(copy->start, 3);
    EXPECT_EQ(copy->len, 3);
    EXPECT_EQ(std::memcmp(copy->tab, list->tab, 5 * sizeof(void *)), 0);
    kx_list_delete(copy, 0, 1);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
    EXPECT_EQ(numbers(copy), (Numbers{2, 3}));
}

TEST_F(ListTest, CloneOfNullIsNullAndOfAnEmptyListAnEmptyList) {
    EXPECT_EQ(kx_list_clone(nullptr), nullptr);
    kx_list *copy = kx_list_clone(__kx_list_create());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->tab_size, 0);
    EXPECT_EQ(kx_list_append(copy, item(1)), 0);
}

TEST_F(ListTest, InitMakesExactlyNNullItems) {
    kx_list *list = ring(8, 5, {1, 2, 3, 4});
    for (kx_i64 n : {3, 0, 20}) {
        EXPECT_EQ(kx_list_init(list, n), 0);
        EXPECT_EQ(list->tab_size, n);
        EXPECT_EQ(list->start, 0);
        EXPECT_EQ(numbers(list), Numbers(to_size(n), -1));
    }
}

TEST_F(ListTest, InitThatIsRefusedLeavesTheList) {
    kx_list *list = ring(8, 5, {1, 2, 3, 4});
    for (kx_i64 n : {kx_i64{1} << 40, kx_i64{1} << 62, kx_i64{LLONG_MAX}, kx_i64{-1}}) {
        EXPECT_EQ(kx_list_init(list, n), 1);
        EXPECT_EQ(list->tab_size, 8);
        EXPECT_EQ(list->start, 5);
        EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4}));
    }
}

TEST_F(ListTest, EnlargeAddsSlotsOnly) {
    kx_list *list = ring(4, 1, {1, 2});
    EXPECT_EQ(kx_list_enlarge(list, 7), 0);
    EXPECT_EQ(list->tab_size, 11);
    EXPECT_EQ(list->start, 1);
    EXPECT_EQ(numbers(list), (Numbers{1, 2}));
    kx_list *fresh = __kx_list_create();
    EXPECT_EQ(kx_list_enlarge(fresh, 3), 0);
    EXPECT_EQ(fresh->tab_size, 3);
    EXPECT_EQ(fresh->len, 0);
}

TEST_F(ListTest, EnlargeKeepsAWrappedRange) {
    kx_list *list = ring(6, 4, {1, 2, 3, 4, 5});
    EXPECT_EQ(kx_list_enlarge(list, 2), 0);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4, 5}));
}

TEST_F(ListTest, EnlargeThatIsRefusedLeavesTheList) {
    kx_list *list = ring(4, 3, {1, 2});
    for (kx_i64 n : {kx_i64{1} << 40, kx_i64{LLONG_MAX}, kx_i64{-1}}) {
        EXPECT_EQ(kx_list_enlarge(list, n), 1);
        EXPECT_EQ(list->tab_size, 4);
        EXPECT_EQ(numbers(list), (Numbers{1, 2}));
    }
}

TEST_F(ListTest, LengthOfNullIsZero) {
    EXPECT_EQ(kx_list_len(nullptr), 0);
    EXPECT_EQ(kx_list_len(list_of({1, 2, 3})), 3);
}

TEST_F(ListTest, LastPosIsTheSlotOfTheLastItem) {
    EXPECT_EQ(kx_list_last_pos(ring(5, 1, {1, 2})), 2);
    EXPECT_EQ(kx_list_last_pos(ring(5, 4, {1, 2, 3})), 1);
    EXPECT_EQ(kx_list_last_pos(ring(5, 0, {})), -1);
    EXPECT_EQ(kx_list_last_pos(ring(5, 2, {})), 1);
    EXPECT_EQ(kx_list_last_pos(__kx_list_create()), -1);
}

TEST_F(ListTest, WaitUntilNonemptyNeverWaits) {
    EXPECT_EQ(kx_list_wait_until_nonempty(__kx_list_create()), -1);
    EXPECT_EQ(kx_list_wait_until_nonempty(list_of({1})), 1);
}

TEST_F(ListTest, CheckHookDoesNothing) {
    kx_list *list = list_of({3, 1, 2});
    kx_list_check(list, by_key);
    EXPECT_EQ(numbers(list), (Numbers{3, 1, 2}));
}

TEST_F(ListTest, RingCheckSeesEveryBrokenInvariant) {
    void *slots[4] = {};
    EXPECT_TRUE((kx_ring_check(std::array{kx_list{slots, 4, 3, 4}}.data())));
    for (const kx_list &broken :
         {kx_list{slots, 4, 0, 5}, kx_list{slots, 4, 4, 0}, kx_list{slots, 4, -1, 0}, kx_list{slots, 4, 0, -1},
          kx_list{nullptr, 4, 0, 0}, kx_list{slots, -1, 0, 0}, kx_list{nullptr, 0, 0, 1}, kx_list{nullptr, 0, 1, 0}}) {
        EXPECT_FALSE(kx_ring_check(&broken));
    }
}

// --- access ---

TEST_F(ListTest, GetAndSetWrapAroundTheSlots) {
    kx_list *list = ring(5, 3, {1, 2, 3, 4});
    EXPECT_EQ(list->tab[3], item(1));
    EXPECT_EQ(list->tab[4], item(2));
    EXPECT_EQ(list->tab[0], item(3));
    EXPECT_EQ(kx_list_get(list, 2), item(3));
    kx_list_set(list, 3, item(9));
    EXPECT_EQ(list->tab[1], item(9));
}

TEST_F(ListTest, BadIndexReachesSomeSlotOfTheRing) {
    kx_list *list = ring(5, 3, {1, 2, 3, 4, 5});
    for (kx_i64 i : {kx_i64{5}, kx_i64{-5}, kx_i64{5000}, kx_i64{1} << 60}) {
        EXPECT_EQ(kx_list_get(list, i), kx_list_get(list, i % 5)) << i;
    }
    kx_list_set(list, 6, item(7));
    EXPECT_EQ(kx_list_get(list, 1), item(7));
    kx_list *fresh = __kx_list_create();
    kx_list_set(fresh, 0, item(1));
    EXPECT_EQ(kx_list_get(fresh, 0), nullptr);
}

TEST_F(ListTest, ExtractFirstTakesItemsInOrderOverTheWrap) {
    kx_list *list = ring(4, 3, {1, 2, 3});
    EXPECT_EQ(kx_list_extract_first(list), item(1));
    EXPECT_EQ(list->start, 0);
    EXPECT_EQ(list->len, 2);
    EXPECT_EQ(kx_list_extract_first(list), item(2));
    EXPECT_EQ(list->start, 1);
    EXPECT_EQ(kx_list_extract_first(list), item(3));
    EXPECT_EQ(kx_list_extract_first(list), nullptr);
    EXPECT_EQ(kx_list_extract_first(__kx_list_create()), nullptr);
}

TEST_F(ListTest, ExtractFirstOnAOneItemListLeavesStart) {
    kx_list *list = ring(4, 2, {1});
    EXPECT_EQ(kx_list_extract_first(list), item(1));
    EXPECT_EQ(list->start, 2);
    EXPECT_EQ(list->len, 0);
}

std::vector<void *> called_with;
void note_call(void *p) { called_with.push_back(p); }

TEST_F(ListTest, CallbackMeetsEachItemInOrder) {
    called_with.clear();
    kx_list_callback(ring(4, 3, {1, 2, 3}), note_call);
    EXPECT_EQ(called_with, (std::vector<void *>{item(1), item(2), item(3)}));
}

// --- removal ---

TEST_F(ListTest, DeletingTheLastItemsOnlyShortensTheList) {
    kx_list *list = ring(5, 3, {1, 2, 3, 4});
    kx_list_delete(list, 1, 3);
    EXPECT_EQ(list->len, 1);
    EXPECT_EQ(list->start, 3);
    EXPECT_EQ(list->tab[1], item(4)); // untouched
    kx_list_delete(list, 0, 1);
    EXPECT_EQ(list->len, 0);
    EXPECT_EQ(list->start, 3);
}

TEST_F(ListTest, DeletingFromIndexZeroOnlyMovesStart) {
    kx_list *list = ring(5, 3, {1, 2, 3, 4});
    kx_list_delete(list, 0, 3);
    EXPECT_EQ(list->start, 1);
    EXPECT_EQ(list->len, 1);
    EXPECT_EQ(list->tab[3], item(1)); // untouched
    EXPECT_EQ(numbers(list), Numbers{4});
}

TEST_F(ListTest, DeletingInTheMiddleMovesTheTailDown) {
    for (auto operation : {kx_list_delete, __kx_delete_items_from_list}) {
        for (kx_i64 start = 0; start < 9; ++start) { // plain, up to the end, wrapped
            kx_list *list = ring(9, start, {1, 2, 3, 4, 5, 6});
            operation(list, 2, 2);
            EXPECT_EQ(list->start, start);
            EXPECT_EQ(numbers(list), (Numbers{1, 2, 5, 6})) << start;
        }
    }
}

TEST_F(ListTest, DeletingWhatIsNotInTheListDoesNothing) {
    kx_list *list = ring(5, 3, {1, 2, 3, 4});
    kx_list_delete(list, 2, 3);
    kx_list_delete(list, -1, 2);
    kx_list_delete(list, 4, 1);
    kx_list_delete(list, 1, 0);
    kx_list_delete(list, 1, -1);
    kx_list_delete(list, 1, LLONG_MAX);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4}));
}

TEST_F(ListTest, DeleteMatchingKeepsTheOrderOfTheRest) {
    kx_list *list = ring(7, 5, {1, 2, 3, 5, 4, 7});
    EXPECT_EQ(kx_list_delete_matching(list, nullptr, is_odd), 4);
    EXPECT_EQ(numbers(list), (Numbers{2, 4}));
    EXPECT_EQ(kx_list_delete_matching(list, nullptr, is_odd), 0);
}

TEST_F(ListTest, DeleteEqualRemovesThatVeryPointer) {
    kx_list *list = ring(7, 5, {1, 2, 1, 3, 1});
    set_keys({0, 5, 5, 5});
    EXPECT_EQ(kx_list_delete_equal(list, item(1)), 3);
    EXPECT_EQ(numbers(list), (Numbers{2, 3}));
    EXPECT_EQ(kx_list_delete_equal(list, item(1)), 0);
}

TEST_F(ListTest, ExtractMatchingMovesTheItemsToANewList) {
    kx_list *list = ring(7, 5, {1, 2, 3, 4, 5});
    kx_list *moved = __kx_list_extract_matching(list, nullptr, is_odd);
    EXPECT_EQ(numbers(moved), (Numbers{1, 3, 5}));
    EXPECT_EQ(numbers(list), (Numbers{2, 4}));
    const kx_i64 blocks = memPool->num;
    EXPECT_EQ(__kx_list_extract_matching(list, nullptr, is_odd), nullptr);
    EXPECT_EQ(memPool->num, blocks); // the list without items is gone again
}

TEST_F(ListTest, ExtractMatchingWithoutMemoryLosesNothing) {
    kx_list *list = list_of({1, 2, 3});
    void *hole = kx_malloc(memPool, 64); // room for a list record, not for its slots
    kx_malloc(memPool, 8);
    refuse_pool();
    EXPECT_EQ(__kx_list_extract_matching(list, nullptr, is_odd), nullptr);
    EXPECT_EQ(__kx_list_search_all(list, nullptr, is_odd), nullptr);
    kx_free(memPool, hole);
    EXPECT_EQ(__kx_list_extract_matching(list, nullptr, is_odd), nullptr);
    EXPECT_EQ(__kx_list_search_all(list, nullptr, is_odd), nullptr);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
}

TEST_F(ListTest, DestroyGivesSlotsAndRecordBack) {
    kx_list_destroy(nullptr, nullptr);
    kx_list *list = list_of({1, 2, 3});
    called_with.clear();
    kx_list_destroy(list, note_call);
    EXPECT_EQ(called_with, (std::vector<void *>{item(1), item(2), item(3)}));
    EXPECT_EQ(memPool->num, 0);
}

TEST_F(ListTest, DestroyStopsDrainingAtANullItem) {
    kx_list *list = list_of({1, 2, 3});
    kx_list_set(list, 1, nullptr);
    called_with.clear();
    kx_list_destroy(list, note_call);
    EXPECT_EQ(called_with, (std::vector<void *>{item(1)}));
    EXPECT_EQ(memPool->num, 0);
}

TEST_F(ListTest, OwnerDestroysTheListUnlessItIsHandedOn) {
    kx_list *handed_on = nullptr;
    {
        kx_list_owner dropped(list_of({1}));
        kx_list_owner kept(list_of({2}));
        handed_on = kept.release();
    }
    EXPECT_EQ(numbers(handed_on), Numbers{2});
    EXPECT_EQ(memPool->num, 2);
}

} // namespace
} // namespace orkan
