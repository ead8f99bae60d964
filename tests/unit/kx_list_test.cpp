// The pointer list: each operation on plain, shifted and wrapped ranges, refused memory, the sorts, and long random
// sequences against std::deque.
#include "kx_list/kx_list.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstring>
#include <deque>
#include <random>
#include <vector>

#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"

namespace orkan {
namespace {

/// Items are elements of an array, so that an item has a number and a key to sort by.
struct Element {
    int key;
};
Element elements[20000];

void *item(kx_i64 number) { return &elements[number]; }
int key_of(const void *p) { return static_cast<const Element *>(p)->key; }
int sign(int n) { return n < 0 ? -1 : n > 0 ? 1 : 0; }

/// Comparators over items, and over pointers to slots. By key; the strict ones never tie.
int by_key(const void *a, const void *b) { return sign(key_of(a) - key_of(b)); }
int by_key_strict(const void *a, const void *b) {
    const int order = by_key(a, b);
    return order != 0 ? order : a > b ? 1 : -1;
}
int slots_by_key(const void *a, const void *b) {
    return by_key(*static_cast<void *const *>(a), *static_cast<void *const *>(b));
}
int key_against_item(const void *key, const void *p, kx_i64 /*slot*/) {
    return sign(*static_cast<const int *>(key) - key_of(p));
}
int has_key(const void *p, const void *key, kx_i64 /*slot*/) { return key_of(p) == *static_cast<const int *>(key); }
int is_odd(const void *p, const void * /*key*/, kx_i64 /*slot*/) { return key_of(p) % 2; }

bool refuse_all; // every request to the system
bool refuse_large(kx_site site, kx_i64 bytes) { return site == kx_site::allocate && (refuse_all || bytes > 8192); }

class ListTest : public ::testing::Test {
  public:
    ~ListTest() override {
        kx_fault_hook = nullptr;
        refuse_all = false;
        EXPECT_STREQ(kx_pool_check(memPool), nullptr);
        kx_mem_pool_free(memPool);
        memPool = nullptr;
    }
    ListTest(const ListTest &) = delete;
    ListTest &operator=(const ListTest &) = delete;

  protected:
    ListTest() {
        memPool = kx_mem_pool_create(8 << 20, 0);
        for (int i = 0; i < 20000; ++i) {
            elements[i].key = i;
        }
    }

    static void refuse_system() {
        refuse_all = true;
        kx_fault_hook = refuse_large;
    }
    static void refuse_pool() {
        while (kx_list_len(memPool->listFree) > 0) {
            kx_malloc(memPool, static_cast<kx_mmu *>(kx_list_get(memPool->listFree, 0))->size);
        }
    }

    /// A list of `size` slots whose range begins at slot `start`, with the items of these numbers.
    static kx_list *ring(kx_i64 size, kx_i64 start, const std::vector<int> &numbers) {
        kx_list *list = __kx_list_create();
        EXPECT_EQ(kx_list_init(list, size), 0);
        list->start = start;
        list->len = static_cast<kx_i64>(numbers.size());
        for (kx_i64 i = 0; i < list->len; ++i) {
            kx_list_set(list, i, item(numbers[to_size(i)]));
        }
        EXPECT_TRUE(kx_ring_check(list));
        return list;
    }
    static kx_list *list_of(const std::vector<int> &numbers) {
        return ring(static_cast<kx_i64>(numbers.size()), 0, numbers);
    }
    static void set_keys(const std::vector<int> &keys) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            elements[i].key = keys[i];
        }
    }
    static std::vector<int> numbers(const kx_list *list) {
        EXPECT_TRUE(kx_ring_check(list));
        std::vector<int> all;
        for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
            const auto *element = static_cast<const Element *>(kx_list_get(list, i));
            all.push_back(element == nullptr ? -1 : static_cast<int>(element - elements));
        }
        return all;
    }
};

using Numbers = std::vector<int>;

Numbers up_to(int n) {
    Numbers all;
    for (int i = 0; i < n; ++i) {
        all.push_back(i);
    }
    return all;
}

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

// --- insertion ---

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

Numbers keys_of(const Numbers &numbers) {
    Numbers keys;
    for (int i : numbers) {
        keys.push_back(elements[i].key);
    }
    return keys;
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

// --- sorts ---

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

// --- random sequences against std::deque ---

class ListRandom : public ListTest, public ::testing::WithParamInterface<unsigned> {
  protected:
    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

    /// Moves the range to any slot, so that it wraps as often as not.
    void turn() {
        if (list_->tab_size > 0) {
            const Numbers all = numbers(list_);
            list_->start = number(0, static_cast<int>(list_->tab_size) - 1);
            for (kx_i64 i = 0; i < list_->len; ++i) {
                kx_list_set(list_, i, item(all[to_size(i)]));
            }
        }
    }

    void grow_step() {
        const int what = number(0, 5);
        const int next = number(0, 999);
        if (what < 2) {
            ASSERT_EQ(kx_list_append(list_, item(next)), 0);
            model_.push_back(next);
        } else if (what == 2) {
            const int at = number(0, static_cast<int>(model_.size()));
            ASSERT_EQ(kx_list_insert(list_, at, item(next)), 0);
            model_.insert(model_.begin() + at, next);
        } else if (what == 3) {
            kx_list_append_unique(list_, item(next), has_that_key);
            if (std::find(model_.begin(), model_.end(), next) == model_.end()) {
                model_.push_back(next);
            }
        } else if (what == 4) {
            ASSERT_EQ(kx_list_enlarge(list_, number(0, 3)), 0);
        } else {
            ASSERT_EQ(__kx_make_bigger(list_, number(0, 40), 1), 0);
        }
    }
    static int has_that_key(const void *p, const void *other, kx_i64 /*slot*/) { return key_of(p) == key_of(other); }

    void shrink_step() {
        const int n = static_cast<int>(model_.size());
        const int key = number(0, 999);
        switch (number(0, 5)) {
        case 0:
            EXPECT_EQ(kx_list_extract_first(list_), n == 0 ? nullptr : item(model_.front()));
            if (n > 0) {
                model_.pop_front();
            }
            break;
        case 1:
        case 2: {
            const int at = number(0, n);
            const int count = number(0, std::min(4, n - at));
            kx_list_delete(list_, at, count);
            model_.erase(model_.begin() + at, model_.begin() + at + count);
            break;
        }
        case 3: EXPECT_EQ(kx_list_delete_matching(list_, &key, has_key), std::erase(model_, key)); break;
        case 4: EXPECT_EQ(kx_list_delete_equal(list_, item(key)), std::erase(model_, key)); break;
        default: {
            kx_list *moved = number(0, 9) == 0 ? __kx_list_extract_matching(list_, nullptr, is_odd) : nullptr;
            if (moved != nullptr) {
                Numbers odd;
                std::copy_if(model_.begin(), model_.end(), std::back_inserter(odd), [](int i) { return i % 2 == 1; });
                EXPECT_EQ(numbers(moved), odd);
                std::erase_if(model_, [](int i) { return i % 2 == 1; });
                kx_list_destroy(moved, nullptr);
            }
        }
        }
    }

    void other_step() {
        switch (number(0, 5)) {
        case 0: turn(); break;
        case 1: {
            kx_list *copy = kx_list_clone(list_);
            kx_list_destroy(list_, nullptr);
            list_ = copy;
            break;
        }
        case 2:
            if (!model_.empty()) {
                const int at = number(0, static_cast<int>(model_.size()) - 1);
                const int next = number(0, 999);
                kx_list_set(list_, at, item(next));
                model_[to_size(at)] = next;
            }
            break;
        case 3:
            kx_list_qsort(list_, slots_by_key);
            std::sort(model_.begin(), model_.end());
            break;
        case 4:
            EXPECT_EQ(kx_list_msort(list_, slots_by_key), 0);
            std::sort(model_.begin(), model_.end());
            break;
        default: misplace_one();
        }
    }

    /// Only distinct items have one right order.
    void misplace_one() {
        std::sort(model_.begin(), model_.end());
        if (model_.empty() || std::adjacent_find(model_.begin(), model_.end()) != model_.end()) {
            std::sort(model_.begin(), model_.end());
            kx_list_qsort(list_, slots_by_key);
            return;
        }
        kx_list_qsort(list_, slots_by_key);
        const int from = number(0, static_cast<int>(model_.size()) - 1);
        const int to = number(0, static_cast<int>(model_.size()) - 1);
        Numbers all = numbers(list_);
        const int moved = all[to_size(from)];
        all.erase(all.begin() + from);
        all.insert(all.begin() + to, moved);
        for (std::size_t i = 0; i < all.size(); ++i) {
            kx_list_set(list_, to_i64(i), item(all[i]));
        }
        number(0, 1) == 0 ? kx_list_isort2(list_, to, by_key_strict) : kx_list_isort2_old(list_, to, by_key_strict);
    }

    void compare() {
        ASSERT_EQ(numbers(list_), Numbers(model_.begin(), model_.end()));
        const int key = number(0, 999);
        const auto first = std::find(model_.begin(), model_.end(), key);
        const kx_i64 expected = first == model_.end() ? -1 : first - model_.begin();
        EXPECT_EQ(kx_list_search_pos(list_, &key, has_key), expected);
    }

    std::mt19937 random_{GetParam()};
    kx_list *list_ = __kx_list_create();
    std::deque<int> model_;
};

TEST_P(ListRandom, EveryOperationAgreesWithTheModel) {
    for (int i = 0; i < 800 && !HasFailure(); ++i) {
        const bool growing = number(0, 99) < (model_.size() < 60 ? 60 : 20);
        number(0, 9) == 0 ? other_step() : growing ? grow_step() : shrink_step();
        compare();
        ASSERT_STREQ(kx_pool_check(memPool), nullptr);
    }
    kx_list_destroy(list_, nullptr);
    EXPECT_EQ(memPool->num, 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ListRandom, ::testing::Range(0U, 25U));

} // namespace
} // namespace orkan
