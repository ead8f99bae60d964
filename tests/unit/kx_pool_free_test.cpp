// kx_pool_free_test.cpp: released blocks join their neighbours, wrong pointers are ignored, and the free list.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

class PoolFreeNeighbours : public ::testing::Test {
  protected:
    OwnPool pool{64 * kKib};
    void *a = kx_malloc(pool, 40);
    void *b = kx_malloc(pool, 48);
    void *c = kx_malloc(pool, 56);
    void *d = kx_malloc(pool, 8);
    kx_i64 rest = tail(pool)->size;
};

TEST_F(PoolFreeNeighbours, BothFreeJoinIntoOneBlock) {
    kx_free(pool, a);
    kx_free(pool, c);
    EXPECT_EQ(free_sizes(pool), (Sizes{40, 56, rest}));
    kx_free(pool, b);
    EXPECT_EQ(free_sizes(pool), (Sizes{40 + 48 + 56 + 2 * kHeader, rest}));
    EXPECT_EQ(header(a)->next, header(d));
    EXPECT_EQ(header(d)->prev, header(a));
    EXPECT_EQ(pool->num, 1);
}

TEST_F(PoolFreeNeighbours, PreviousFreeAbsorbsTheBlock) {
    kx_free(pool, a);
    kx_free(pool, b);
    EXPECT_EQ(free_sizes(pool), (Sizes{40 + 48 + kHeader, rest}));
    EXPECT_EQ(header(a)->next, header(c));
}

TEST_F(PoolFreeNeighbours, NextFreeIsAbsorbed) {
    kx_free(pool, c);
    kx_free(pool, b);
    EXPECT_EQ(free_sizes(pool), (Sizes{48 + 56 + kHeader, rest}));
    EXPECT_EQ(header(b)->next, header(d));
    EXPECT_EQ(header(b)->status, 'F');
}

TEST_F(PoolFreeNeighbours, NeitherFreeMakesABlockOfItsOwn) {
    kx_free(pool, b);
    EXPECT_EQ(free_sizes(pool), (Sizes{48, rest}));
    EXPECT_EQ(header(b)->status, 'F');
    EXPECT_EQ(pool->num, 3);
}

TEST_F(PoolFreeNeighbours, EverythingFreedIsOneBlockAgain) {
    for (void *p : {b, d, a, c}) {
        kx_free(pool, p);
        EXPECT_CONSISTENT(pool);
    }
    EXPECT_EQ(free_sizes(pool), Sizes{pool->size - kHeader});
}

TEST_F(PoolFreeNeighbours, BlockAlreadyFreeIsIgnoredAlsoAfterItWasAbsorbed) {
    for (void *p : {a, c, b}) {
        kx_free(pool, p);
    }
    const Sizes before = free_sizes(pool);
    for (void *p : {a, b, c}) {
        kx_free(pool, p);
        kx_qfree(pool, p);
        EXPECT_EQ(kx_realloc(pool, p, 1000), nullptr);
        EXPECT_EQ(kx_realloc_both(pool, p, 1), nullptr);
        EXPECT_EQ(free_sizes(pool), before);
        EXPECT_CONSISTENT(pool);
    }
    EXPECT_EQ(pool->num, 1);
}

TEST_F(PoolFreeNeighbours, StalePointerIntoALiveBlockIsIgnored) {
    for (void *p : {a, b, c}) {
        kx_free(pool, p);
    }
    auto *reused = static_cast<char *>(kx_malloc(pool, 40 + 48 + 56 + 2 * kHeader));
    ASSERT_EQ(reused, a);
    std::memset(reused, 'A', to_size(header(reused)->size));
    kx_free(pool, b);
    kx_free(pool, c);
    EXPECT_EQ(pool->num, 2);
    EXPECT_EQ(std::string(reused, 200), std::string(200, 'A'));
}

TEST_F(PoolFreeNeighbours, PointersThatWereNeverBlocksAreIgnored) {
    char *middle = static_cast<char *>(b) + 8;
    int foreign = 0;
    for (void *p : {static_cast<void *>(middle), static_cast<void *>(static_cast<char *>(b) + 1),
                    static_cast<void *>(pool->start), static_cast<void *>(pool->end), static_cast<void *>(&foreign),
                    reinterpret_cast<void *>(std::uintptr_t{1})}) {
        kx_free(pool, p);
        kx_qfree(pool, p);
        EXPECT_EQ(kx_realloc(pool, p, 8), nullptr);
    }
    EXPECT_EQ(pool->num, 4);
}

TEST_F(PoolFreeNeighbours, NullIsIgnored) {
    kx_free(pool, nullptr);
    kx_qfree(pool, nullptr);
    EXPECT_EQ(pool->num, 4);
}

TEST_F(PoolFreeNeighbours, BackBlockIsReleasedAsSuch) {
    void *back = kx_qmalloc(pool, 100);
    kx_free(pool, back);
    EXPECT_EQ(pool->qnum, 0);
    EXPECT_EQ(pool->num, 4);
    EXPECT_EQ(tail(pool)->size, rest);
}

TEST_F(PoolFreeNeighbours, FreeingIntoALaggingTailKeepsTheList) {
    kx_free(pool, a);
    void *back = kx_qmalloc(pool, rest - 16);
    kx_free(pool, d); // joins the tail of 8 bytes, which stood last in the list and is the smallest now
    EXPECT_EQ(free_sizes(pool), (Sizes{40, 8 + 8 + kHeader}));
    EXPECT_CONSISTENT(pool);
    kx_qfree(pool, back);
    EXPECT_EQ(free_sizes(pool), (Sizes{40, rest + 8 + kHeader}));
}

TEST(PoolFreeList, RefusedSlotsLeaveTheBlockInUse) {
    OwnPool pool(1024 * kKib);
    std::vector<void *> blocks;
    for (int i = 0; i < 2100; ++i) {
        blocks.push_back(kx_malloc(pool, 8));
        ASSERT_NE(blocks.back(), nullptr);
    }
    Refuse refuse;
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        kx_free(pool, blocks[i]);
    }
    EXPECT_CONSISTENT(pool);
    EXPECT_EQ(kx_list_len(pool->listFree), 1024);
    EXPECT_EQ(pool->num, 2100 - 1023);
    for (std::size_t i = 1; i < blocks.size(); i += 2) {
        kx_free(pool, blocks[i]); // needs no slot where a neighbour is free
        EXPECT_CONSISTENT(pool);
    }
    for (void *p : blocks) {
        kx_free(pool, p);
    }
    EXPECT_EQ(free_sizes(pool), Sizes{pool->size - kHeader});
    EXPECT_EQ(pool->num, 0);
}

TEST(PoolFreeList, SlotsGrowByFixedSteps) {
    OwnPool pool(1024 * kKib);
    std::vector<void *> blocks;
    for (int i = 0; i < 2100; ++i) {
        blocks.push_back(kx_malloc(pool, 8));
    }
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        kx_free(pool, blocks[i]);
    }
    EXPECT_EQ(pool->listFree->tab_size, 2048);
    EXPECT_EQ(kx_list_len(pool->listFree), 1051);
}

TEST(PoolFreeList, ManyCyclesDoNotGrowTheSlots) {
    OwnPool pool(64 * kKib);
    kx_malloc(pool, 8);
    void *block = kx_malloc(pool, 64);
    kx_malloc(pool, 8);
    for (int i = 0; i < 5000; ++i) {
        kx_free(pool, block);
        ASSERT_EQ(kx_malloc(pool, 64), block); // deletes entry 0, which only moves the list's start
    }
    EXPECT_EQ(pool->listFree->tab_size, 1024);
}

} // namespace
} // namespace orkan
