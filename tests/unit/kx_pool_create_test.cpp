// kx_pool_create_test.cpp: a fresh pool, its bookkeeping, and its end.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

TEST(PoolCreate, FreshPoolHoldsOneFreeBlockOverTheWholeRegion) {
    OwnPool pool(64 * kKib, 1);
    EXPECT_EQ(pool->totalSize, 64 * kKib);
    EXPECT_EQ(pool->end, reinterpret_cast<char *>(static_cast<kx_mem_pool *>(pool)) + 64 * kKib);
    EXPECT_EQ(pool->edge, pool->end);
    EXPECT_EQ(pool->hsize, kHeader);
    EXPECT_EQ(pool->size, 64 * kKib - kx_i64{sizeof(kx_mem_pool) + sizeof(kx_list) + sizeof(kx_mmu)});
    EXPECT_EQ(pool->num, 0);
    EXPECT_EQ(pool->qnum, 0);
    EXPECT_EQ(pool->autoExtend, 1);
    EXPECT_EQ(pool->edge_mmu->prev, pool->start);
    EXPECT_EQ(pool->edge_mmu->next, pool->start);
    EXPECT_EQ(pool->edge_mmu->status, 0);
    EXPECT_EQ(pool->edge_mmu->size, 0);
    EXPECT_EQ(pool->start->prev, pool->edge_mmu);
    EXPECT_EQ(pool->start->next, pool->edge_mmu);
    EXPECT_EQ(pool->start->status, 70);
    EXPECT_EQ(pool->start->size, pool->size - kHeader);
    EXPECT_EQ(pool->listFree->tab_size, 1024);
    EXPECT_EQ(kx_list_get(pool->listFree, 0), pool->start);
    EXPECT_EQ(kx_list_len(pool->listFree), 1);
    EXPECT_CONSISTENT(pool);
}

TEST(PoolCreate, RecordsStandInFrontOfTheFirstBlockInOrder) {
    OwnPool pool(kKib);
    auto *record = reinterpret_cast<char *>(static_cast<kx_mem_pool *>(pool));
    EXPECT_EQ(reinterpret_cast<char *>(pool->listFree), record + sizeof(kx_mem_pool));
    EXPECT_EQ(reinterpret_cast<char *>(pool->edge_mmu), record + sizeof(kx_mem_pool) + sizeof(kx_list));
    EXPECT_EQ(reinterpret_cast<char *>(pool->start), reinterpret_cast<char *>(pool->edge_mmu) + kHeader);
}

TEST(PoolCreate, TakesTheRegionAndThenTheSlotsOfTheFreeList) {
    Refuse none(2);
    OwnPool pool(10000);
    EXPECT_EQ(requested_sizes, (Sizes{10000, 8192}));
}

TEST(PoolCreate, EitherRefusedRequestGivesNull) {
    for (kx_i64 accepted : {0, 1}) {
        Refuse refuse(accepted);
        EXPECT_EQ(kx_mem_pool_create(10000, 1), nullptr) << accepted;
    }
}

TEST(PoolCreate, RegionTooSmallForTheBookkeepingGivesNull) {
    const kx_i64 least = sizeof(kx_mem_pool) + sizeof(kx_list) + 2 * sizeof(kx_mmu);
    EXPECT_EQ(kx_mem_pool_create(least - 1, 1), nullptr);
    EXPECT_EQ(kx_mem_pool_create(0, 1), nullptr);
    EXPECT_EQ(kx_mem_pool_create(-1, 1), nullptr);
    EXPECT_EQ(kx_mem_pool_create(LLONG_MIN, 1), nullptr);
    OwnPool pool(least);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(free_sizes(pool), Sizes{0});
    EXPECT_EQ(kx_malloc(pool, 1), nullptr);
}

TEST(PoolCreate, RegionOfOddSizeKeepsEveryBlockOnAnEightByteBoundary) {
    for (kx_i64 odd = 0; odd < 16; ++odd) {
        OwnPool pool(4096 + odd);
        EXPECT_EQ(pool->totalSize, 4096 + odd);
        for (void *p : {kx_malloc(pool, 3), kx_malloc_hwm(pool, 5), kx_qmalloc(pool, 7), kx_qmalloc(pool, 1)}) {
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 8, 0U);
        }
        EXPECT_CONSISTENT(pool);
    }
}

TEST(PoolFree, NullIsIgnored) { kx_mem_pool_free(nullptr); }

TEST(PoolFree, SlotArrayInsideTheRegionGoesWithTheRegion) {
    kx_mem_pool *pool = kx_mem_pool_create(64 * kKib, 0);
    void *old = pool->listFree->tab;
    void *slots = kx_malloc(pool, 8192);
    std::memcpy(slots, old, 8192);
    pool->listFree->tab = static_cast<void **>(slots);
    std::free(old);
    kx_mem_pool_free(pool); // the address sanitizer sees a wrong free
}

TEST(PoolFree, SystemBlocksLeftOverGoWithThePool) {
    OwnPool pool(kKib, 1);
    void *p = kx_malloc(pool, 4096);
    ASSERT_FALSE(in_region(pool, p)); // the leak sanitizer sees it when it is not released
}

} // namespace
} // namespace orkan
