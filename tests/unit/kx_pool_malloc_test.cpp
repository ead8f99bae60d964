// kx_pool_malloc_test.cpp: front blocks, best fit and from the high water mark.
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <vector>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

// --- kx_malloc ---

TEST(PoolMalloc, FreshPoolServesFrontFromBottomAndQuickFromTop) {
    OwnPool pool(64 * kKib);
    const kx_i64 before = free_sizes(pool)[0];
    void *front = kx_malloc(pool, 100);
    void *back = kx_qmalloc(pool, 50);
    EXPECT_EQ(header(front), pool->start);
    EXPECT_EQ(back, pool->end - 56);
    EXPECT_EQ(pool->edge, pool->end - 64);
    EXPECT_EQ(*reinterpret_cast<kx_i64 *>(pool->edge), 64);
    EXPECT_EQ(pool->lastarr_back, back);
    EXPECT_EQ(pool->num, 1);
    EXPECT_EQ(pool->qnum, 1);
    EXPECT_EQ(free_sizes(pool), Sizes{before - 104 - kHeader - 64});
}

TEST(PoolMalloc, RequestsAreRoundedUpToEight) {
    OwnPool pool(64 * kKib);
    const std::map<kx_i64, kx_i64> rounded{{0, 0}, {1, 8}, {8, 8}, {9, 16}, {16, 16}, {17, 24}, {1023, 1024}};
    for (auto [asked, got] : rounded) {
        EXPECT_EQ(header(kx_malloc(pool, asked))->size, got) << asked;
    }
}

TEST(PoolMalloc, NegativeSizeGivesNull) {
    OwnPool pool(64 * kKib, 1);
    for (kx_i64 n : {kx_i64{-1}, kx_i64{LLONG_MIN}}) {
        EXPECT_EQ(kx_malloc(pool, n), nullptr);
        EXPECT_EQ(kx_malloc_hwm(pool, n), nullptr);
        EXPECT_EQ(kx_qmalloc(pool, n), nullptr);
        EXPECT_EQ(kx_realloc(pool, nullptr, n), nullptr);
        EXPECT_EQ(kx_realloc_both(pool, nullptr, n), nullptr);
    }
    EXPECT_EQ(pool->num + pool->qnum, 0);
}

TEST(PoolMalloc, HugeSizeIsRefusedWithoutOverflow) {
    Refuse refuse(2); // the pool's own two requests
    OwnPool pool(64 * kKib, 1);
    void *p = kx_malloc(pool, 8);
    void *q = kx_qmalloc(pool, 8);
    for (kx_i64 n = LLONG_MAX; n > LLONG_MAX - 70; --n) {
        EXPECT_EQ(kx_malloc(pool, n), nullptr);
        EXPECT_EQ(kx_malloc_hwm(pool, n), nullptr);
        EXPECT_EQ(kx_qmalloc(pool, n), nullptr);
        EXPECT_EQ(kx_realloc(pool, p, n), nullptr);
        EXPECT_EQ(kx_realloc(pool, q, n), nullptr);
        EXPECT_EQ(kx_realloc_both(pool, p, n), nullptr);
    }
    EXPECT_EQ(pool->num, 1);
    EXPECT_EQ(pool->qnum, 1);
}

TEST(PoolMalloc, SmallestFreeBlockThatFitsIsTaken) {
    OwnPool pool(64 * kKib);
    void *large = kx_malloc(pool, 400);
    kx_malloc(pool, 8);
    void *fitting = kx_malloc(pool, 200);
    kx_malloc(pool, 8);
    void *small = kx_malloc(pool, 100);
    kx_malloc(pool, 8);
    for (void *p : {large, fitting, small}) {
        kx_free(pool, p);
    }
    EXPECT_EQ(kx_malloc(pool, 150), fitting);
    EXPECT_EQ(kx_malloc(pool, 97), small);
    EXPECT_EQ(kx_malloc(pool, 201), large);
}

TEST(PoolMalloc, AmongEqualSizesTheLowestAddressIsTaken) {
    OwnPool pool(64 * kKib);
    std::vector<void *> blocks;
    for (int i = 0; i < 3; ++i) {
        blocks.push_back(kx_malloc(pool, 200));
        kx_malloc(pool, 8);
    }
    for (int i : {1, 2, 0}) {
        kx_free(pool, blocks[static_cast<std::size_t>(i)]);
    }
    for (void *expected : blocks) {
        EXPECT_EQ(kx_malloc(pool, 200), expected);
    }
}

TEST(PoolMalloc, SplitLeavingExactlyAHeaderCreatesAFreeBlockOfSizeZero) {
    OwnPool pool(64 * kKib);
    void *p = kx_malloc(pool, 96);
    kx_malloc(pool, 8);
    kx_free(pool, p);
    EXPECT_EQ(kx_malloc(pool, 64), p);
    EXPECT_EQ(header(p)->size, 64);
    EXPECT_EQ(free_sizes(pool)[0], 0);
    EXPECT_EQ(header(p)->next->size, 0);
    EXPECT_EQ(header(p)->next->status, 'F');
    EXPECT_CONSISTENT(pool);
    kx_free(pool, p);
    EXPECT_EQ(free_sizes(pool)[0], 96);
}

TEST(PoolMalloc, BlockWithoutRoomForASplitIsHandedOutWhole) {
    OwnPool pool(64 * kKib);
    void *p = kx_malloc(pool, 88);
    kx_malloc(pool, 8);
    kx_free(pool, p);
    EXPECT_EQ(kx_malloc(pool, 64), p);
    EXPECT_EQ(header(p)->size, 88);
    EXPECT_EQ(kx_list_len(pool->listFree), 1);
}

TEST(PoolMalloc, ExhaustedPoolGivesNullWithoutAutoExtend) {
    for (kx_i64 autoExtend : {0, 2, -1}) {
        OwnPool pool(kKib, autoExtend);
        EXPECT_EQ(kx_malloc(pool, kKib), nullptr);
        EXPECT_EQ(kx_malloc_hwm(pool, kKib), nullptr);
        EXPECT_EQ(kx_qmalloc(pool, kKib), nullptr);
        exhaust(pool);
        EXPECT_EQ(kx_malloc(pool, 0), nullptr);
    }
}

TEST(PoolMalloc, SizesBehindTheTailOfBackBlocksStillGiveTheBestFit) {
    // The tail's entry lags behind after kx_qmalloc; the block freed elsewhere is larger now and must be found.
    OwnPool pool(4096);
    void *freed = kx_malloc(pool, 1000);
    kx_malloc(pool, 8);
    void *back = kx_qmalloc(pool, tail(pool)->size - 8 - 104);
    kx_free(pool, freed);
    EXPECT_EQ(tail(pool)->size, 104);
    EXPECT_EQ(free_sizes(pool), (Sizes{104, 1000}));
    EXPECT_EQ(kx_malloc(pool, 1000), freed);
    kx_qfree(pool, back);
}

TEST(PoolMalloc, LaggingTailIsNotMistakenForALargeBlock) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 1000);
    kx_malloc(pool, 8);
    kx_free(pool, hole); // list: 1000, tail
    ASSERT_NE(kx_qmalloc(pool, tail(pool)->size - 8 - 48), nullptr);
    EXPECT_EQ(kx_malloc(pool, 500), hole); // the list's last entry is the tail, 48 bytes by now
    EXPECT_CONSISTENT(pool);
}

// --- kx_malloc_hwm ---

TEST(PoolMallocHwm, TakesFromTheTailEvenWhenASmallerBlockWouldFit) {
    OwnPool pool(64 * kKib);
    void *hole = kx_malloc(pool, 64);
    void *last = kx_malloc(pool, 8);
    kx_free(pool, hole);
    void *p = kx_malloc_hwm(pool, 64);
    EXPECT_EQ(header(p), header(last)->next);
    EXPECT_EQ(header(p)->size, 64);
    EXPECT_EQ(header(p)->next, tail(pool));
    EXPECT_EQ(kx_malloc(pool, 64), hole);
}

TEST(PoolMallocHwm, SplitsOnlyWhenEightBytesRemainBehindTheNewHeader) {
    for (kx_i64 remaining : {0, 8, 24, 32, 40}) {
        OwnPool pool(4096);
        const kx_i64 all = tail(pool)->size;
        void *p = kx_malloc_hwm(pool, all - remaining);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(free_sizes(pool), remaining == 40 ? Sizes{8} : Sizes{}) << remaining;
        EXPECT_EQ(header(p)->size, remaining == 40 ? all - 40 : all) << remaining;
        EXPECT_EQ(pool->num, 1);
    }
}

TEST(PoolMallocHwm, TailTooSmallBecomesMalloc) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 1000);
    kx_malloc(pool, 8);
    kx_free(pool, hole);
    kx_malloc_hwm(pool, tail(pool)->size - 100);
    EXPECT_EQ(kx_malloc_hwm(pool, 900), hole);
}

TEST(PoolMallocHwm, TailInUseBecomesMalloc) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 200);
    kx_malloc(pool, 8);
    ASSERT_NE(kx_malloc(pool, tail(pool)->size), nullptr);
    kx_free(pool, hole);
    EXPECT_EQ(kx_malloc_hwm(pool, 16), hole);
}

TEST(PoolMallocHwm, HandingTheTailOutWholeDeletesItsOwnEntryNotTheLargest) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 2000);
    kx_malloc(pool, 8);
    kx_free(pool, hole); // larger than the tail
    const kx_i64 rest = tail(pool)->size;
    ASSERT_LT(rest, 2000);
    void *p = kx_malloc_hwm(pool, rest);
    EXPECT_EQ(header(p), tail(pool));
    EXPECT_EQ(free_sizes(pool), Sizes{2000});
    EXPECT_CONSISTENT(pool);
}

} // namespace
} // namespace orkan
