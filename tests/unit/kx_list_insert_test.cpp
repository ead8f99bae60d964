// kx_list_insert_test.cpp: the pointer list: appending, inserting and growing, and refused memory.
#include <gtest/gtest.h>

#include <cstring>

#include "support/list_fixture.h"

namespace orkan {
namespace {

using Append = int (*)(kx_list *, void *);

class AppendTest : public ListTest, public ::testing::WithParamInterface<Append> {
  protected:
    /// Slots as the appending function expects them: from the pool or the system.
    static kx_list *ring_for(Append append, kx_i64 size, kx_i64 start, const Numbers &all) {
        kx_list *list = ring(size, start, all);
        if (append == kx_list_append_memPool) {
            auto **tab = static_cast<void **>(std::malloc(to_size(size) * sizeof(void *)));
            std::memcpy(tab, list->tab, to_size(size) * sizeof(void *));
            list->tab = tab;
        }
        return list;
    }
    static void drop(Append append, kx_list *list) {
        if (append == kx_list_append_memPool) {
            std::free(list->tab);
        }
    }
};

TEST_P(AppendTest, FirstAppendTakes1024Slots) {
    kx_list *list = __kx_list_create();
    EXPECT_EQ(GetParam()(list, item(5)), 0);
    EXPECT_EQ(list->tab_size, 1024);
    EXPECT_EQ(list->start, 0);
    EXPECT_EQ(numbers(list), Numbers{5});
    drop(GetParam(), list);
}

TEST_P(AppendTest, RangeThatReachesTheEndGrowsBy1024EvenWithFreeSlotsInFront) {
    kx_list *list = ring_for(GetParam(), 8, 5, {1, 2, 3});
    EXPECT_EQ(GetParam()(list, item(4)), 0);
    EXPECT_EQ(list->tab_size, 8 + 1024);
    EXPECT_EQ(list->start, 5);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4}));
    drop(GetParam(), list);
}

TEST_P(AppendTest, RangeWithRoomBehindDoesNotGrow) {
    kx_list *list = ring_for(GetParam(), 8, 4, {1, 2, 3});
    EXPECT_EQ(GetParam()(list, item(4)), 0);
    EXPECT_EQ(list->tab_size, 8);
    EXPECT_EQ(list->tab[7], item(4));
    drop(GetParam(), list);
}

TEST_P(AppendTest, FewWrappedItemsMoveBehindTheOldEnd) {
    kx_list *list = ring_for(GetParam(), 8, 6, {1, 2, 3, 4, 5});
    EXPECT_EQ(GetParam()(list, item(6)), 0);
    EXPECT_EQ(list->tab_size, 8 + 1024);
    EXPECT_EQ(list->start, 6);
    EXPECT_EQ(list->tab[8], item(3));
    EXPECT_EQ(list->tab[11], item(6));
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4, 5, 6}));
    drop(GetParam(), list);
}

TEST_P(AppendTest, ManyWrappedItemsFillTheNewSlotsAndSlideToTheFront) {
    const Numbers all = up_to(3000);
    for (kx_i64 wrapped : {1023, 1024, 1025, 2500}) {
        kx_list *list = ring_for(GetParam(), 3000, wrapped, all); // full: `wrapped` items in front of start
        EXPECT_EQ(GetParam()(list, item(3000)), 0);
        EXPECT_EQ(list->tab_size, 4024);
        EXPECT_EQ(numbers(list), up_to(3001));
        if (wrapped > 1024) {
            EXPECT_EQ(list->tab[0], item(3000 - wrapped + 1024));
        }
        drop(GetParam(), list);
    }
}

TEST_P(AppendTest, RefusedMemoryIsReportedAndLeavesTheList) {
    kx_list *list = ring_for(GetParam(), 4, 2, {1, 2, 3});
    refuse_system();
    refuse_pool();
    EXPECT_EQ(GetParam()(list, item(4)), 1);
    EXPECT_EQ(list->tab_size, 4);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
    drop(GetParam(), list);
}

INSTANTIATE_TEST_SUITE_P(PoolAndSystem, AppendTest, ::testing::Values(kx_list_append, kx_list_append_memPool));

TEST_F(ListTest, AppendMemPoolTakesNothingFromThePool) {
    kx_list list{};
    const kx_i64 blocks = memPool->num;
    EXPECT_EQ(kx_list_append_memPool(&list, item(1)), 0);
    EXPECT_EQ(memPool->num, blocks);
    std::free(list.tab);
}

TEST_F(ListTest, AppendUniqueSkipsWhatMatches) {
    kx_list *list = __kx_list_create();
    const auto same_key = [](const void *a, const void *b, kx_i64) { return key_of(a) == key_of(b) ? 1 : 0; };
    set_keys({7, 8, 7, 9});
    for (int i : {0, 1, 2, 3}) {
        kx_list_append_unique(list, item(i), same_key);
    }
    EXPECT_EQ(numbers(list), (Numbers{0, 1, 3}));
    EXPECT_EQ(list->tab_size, 3); // one slot at a time
}

TEST_F(ListTest, AppendUniqueWithoutMemoryDoesNothing) {
    kx_list *list = list_of({1});
    refuse_pool();
    kx_list_append_unique(list, item(2), [](const void *, const void *, kx_i64) { return 0; });
    EXPECT_EQ(numbers(list), Numbers{1});
}

TEST_F(ListTest, InsertShiftsTheItemsBehind) {
    for (int at = 0; at <= 3; ++at) {
        kx_list *list = ring(4, 2, {1, 2, 3});
        EXPECT_EQ(kx_list_insert(list, at, item(9)), 0);
        Numbers expected{1, 2, 3};
        expected.insert(expected.begin() + at, 9);
        EXPECT_EQ(numbers(list), expected);
        EXPECT_EQ(list->tab_size, 4 + 1024);
    }
}

TEST_F(ListTest, InsertThatIsRefusedLeavesTheList) {
    kx_list *list = list_of({1, 2});
    refuse_pool();
    EXPECT_EQ(kx_list_insert(list, 1, item(3)), 1);
    EXPECT_EQ(numbers(list), (Numbers{1, 2}));
}

TEST_F(ListTest, MakeBiggerAddsNSlotsWhenFewerAreLeftBehindTheRange) {
    kx_list *list = ring(8, 2, {1, 2, 3});
    EXPECT_EQ(__kx_make_bigger(list, 3, 1), 0);
    EXPECT_EQ(list->tab_size, 8);
    EXPECT_EQ(__kx_make_bigger(list, 4, 1), 0);
    EXPECT_EQ(list->tab_size, 12);
    EXPECT_EQ(numbers(list), (Numbers{1, 2, 3}));
}

TEST_F(ListTest, MakeBiggerStraightensAWrappedRange) {
    for (kx_i64 n : {2, 3, 4}) {
        kx_list *list = ring(6, 4, {1, 2, 3, 4, 5}); // 3 wrapped
        EXPECT_EQ(__kx_make_bigger(list, n, 1), 0);
        EXPECT_EQ(list->tab_size, 6 + n);
        EXPECT_EQ(numbers(list), (Numbers{1, 2, 3, 4, 5}));
    }
}

TEST_F(ListTest, MakeBiggerGrowsSystemSlotsWithTheSystem) {
    kx_list list{};
    const kx_i64 blocks = memPool->num;
    EXPECT_EQ(__kx_make_bigger(&list, 10, 0), 0);
    EXPECT_EQ(list.tab_size, 10);
    EXPECT_EQ(memPool->num, blocks);
    refuse_system();
    EXPECT_EQ(__kx_make_bigger(&list, 20, 0), 1);
    EXPECT_EQ(list.tab_size, 10);
    std::free(list.tab);
}

} // namespace
} // namespace orkan
