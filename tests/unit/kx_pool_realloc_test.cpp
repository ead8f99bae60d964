// kx_pool_realloc_test.cpp: growing in place, by moving, and shrinking.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

// --- kx_realloc ---

TEST(PoolRealloc, NullIsMallocHwm) {
    Verbose verbose;
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 64);
    void *last = kx_malloc(pool, 8);
    kx_free(pool, hole);
    EXPECT_EQ(header(kx_realloc(pool, nullptr, 64)), header(last)->next);
    EXPECT_EQ(_kx_realloc, 1);
    EXPECT_EQ(_kx_malloc_hwm, 1);
}

TEST(PoolRealloc, SmallerOrEqualSizeReturnsTheSamePointerAndChangesNothing) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 100);
    const Sizes before = free_sizes(pool);
    for (kx_i64 n : {104, 103, 97, 8, 1, 0}) {
        EXPECT_EQ(kx_realloc(pool, p, n), p);
        EXPECT_EQ(header(p)->size, 104);
        EXPECT_EQ(free_sizes(pool), before);
    }
    EXPECT_EQ(kx_realloc(pool, p, -1), nullptr);
    EXPECT_EQ(kx_realloc_both(pool, p, -1), nullptr);
    EXPECT_EQ(header(p)->size, 104);
}

TEST(PoolRealloc, GrowsInPlaceAndMovesTheFreeBlock) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 16);
    const kx_i64 rest = tail(pool)->size;
    EXPECT_EQ(kx_realloc(pool, p, 24), p); // the new header overlaps the old one
    EXPECT_EQ(header(p)->size, 24);
    EXPECT_EQ(free_sizes(pool), Sizes{rest - 8});
    EXPECT_EQ(header(p)->next, tail(pool));
    EXPECT_EQ(tail(pool)->prev, header(p));
    EXPECT_EQ(kx_realloc(pool, p, 200), p);
    EXPECT_EQ(free_sizes(pool), Sizes{rest - 184});
    EXPECT_EQ(pool->num, 1);
}

TEST(PoolRealloc, GrowsInPlaceUnderABackBlock) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 600);
    void *p = kx_malloc(pool, 16);
    kx_free(pool, hole);
    void *back = kx_qmalloc(pool, tail(pool)->size - 208); // the tail's entry lags: 200 bytes in front of 600
    EXPECT_EQ(kx_realloc(pool, p, 100), p);
    EXPECT_EQ(free_sizes(pool), (Sizes{200 + 16 - 104, 600}));
    kx_qfree(pool, back);
}

TEST(PoolRealloc, AbsorbsTheFreeBlockWholeWhenLessThanABlockWouldRemain) {
    // A block of 16 and a free block of 48 behind it: 96 bytes in all, header included.
    for (kx_i64 n : {56, 57, 64, 65, 88}) {
        OwnPool pool(4096);
        void *p = kx_malloc(pool, 16);
        void *next = kx_malloc(pool, 48);
        kx_malloc(pool, 8);
        kx_free(pool, next);
        EXPECT_EQ(kx_realloc(pool, p, n), p) << n;
        const bool whole = n > 56;
        EXPECT_EQ(header(p)->size, whole ? 96 : 56) << n;
        EXPECT_EQ(kx_list_len(pool->listFree), whole ? 1 : 2) << n;
        EXPECT_CONSISTENT(pool);
    }
}

TEST(PoolRealloc, MovesWhenTheFreeBlockGivesExactlyTheSize) {
    OwnPool pool(4096);
    auto *p = static_cast<char *>(kx_malloc(pool, 16));
    void *next = kx_malloc(pool, 48);
    kx_malloc(pool, 8);
    std::memcpy(p, "sixteen bytes ..", 16);
    kx_free(pool, next);
    auto *q = static_cast<char *>(kx_realloc(pool, p, 96)); // 16 + 32 + 48 is not strictly more
    EXPECT_NE(q, p);
    EXPECT_EQ(std::string(q, 16), "sixteen bytes ..");
    EXPECT_EQ(header(q)->size, 96);
    EXPECT_EQ(free_sizes(pool)[0], 96); // the old block joined its free neighbour
    EXPECT_EQ(pool->num, 2);
}

TEST(PoolRealloc, MovesToTheHighWaterMarkWhenTheNextBlockIsInUse) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 200);
    void *p = kx_malloc(pool, 16);
    void *last = kx_malloc(pool, 8);
    kx_free(pool, hole);
    std::memset(p, 3, 16);
    void *q = kx_realloc(pool, p, 100);
    EXPECT_EQ(header(q), header(last)->next);
    EXPECT_EQ(std::string(static_cast<char *>(q), 16), std::string(16, 3));
}

TEST(PoolRealloc, RefusedMoveLeavesTheBlock) {
    OwnPool pool(kKib);
    void *p = kx_malloc(pool, 16);
    kx_malloc(pool, 8);
    std::memset(p, 3, 16);
    EXPECT_EQ(kx_realloc(pool, p, 4096), nullptr);
    EXPECT_EQ(kx_realloc_both(pool, p, 4096), nullptr);
    EXPECT_EQ(std::string(static_cast<char *>(p), 16), std::string(16, 3));
    kx_free(pool, p);
    EXPECT_EQ(pool->num, 1);
}

TEST(PoolRealloc, BackBlockMovesToTheFrontWhenItIsTooSmall) {
    for (auto operation : {kx_realloc, kx_realloc_both}) {
        OwnPool pool(4096);
        void *p = kx_qmalloc(pool, 16);
        std::memset(p, 3, 16);
        EXPECT_EQ(operation(pool, p, 16), p);
        EXPECT_EQ(operation(pool, p, 1), p);
        void *q = operation(pool, p, 100);
        EXPECT_EQ(header(q), pool->start);
        EXPECT_EQ(std::string(static_cast<char *>(q), 16), std::string(16, 3));
        EXPECT_EQ(pool->qnum, 0);
        EXPECT_EQ(pool->edge, pool->end);
        EXPECT_EQ(operation(pool, p, 200), nullptr);
    }
}

// --- kx_realloc_both ---

TEST(PoolReallocBoth, NullIsMalloc) {
    Verbose verbose;
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 64);
    kx_malloc(pool, 8);
    kx_free(pool, hole);
    EXPECT_EQ(kx_realloc_both(pool, nullptr, 64), hole);
    EXPECT_EQ(_kx_realloc, 0);
}

TEST(PoolReallocBoth, EqualSizeReturnsTheSamePointer) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 64);
    const Sizes before = free_sizes(pool);
    EXPECT_EQ(kx_realloc_both(pool, p, 57), p);
    EXPECT_EQ(free_sizes(pool), before);
}

TEST(PoolReallocBoth, ShrinkingExtendsTheFreeBlockBehind) {
    for (kx_i64 n : {96, 72, 64, 8, 0}) {
        OwnPool pool(4096);
        void *p = kx_malloc(pool, 104);
        const kx_i64 rest = tail(pool)->size;
        std::memset(p, 5, 104);
        EXPECT_EQ(kx_realloc_both(pool, p, n), p);
        EXPECT_EQ(header(p)->size, n);
        EXPECT_EQ(free_sizes(pool), Sizes{rest + 104 - n});
        EXPECT_EQ(header(p)->next, tail(pool));
        EXPECT_EQ(tail(pool)->prev, header(p));
        EXPECT_EQ(std::string(static_cast<char *>(p), to_size(n)), std::string(to_size(n), 5));
        EXPECT_CONSISTENT(pool);
    }
}

TEST(PoolReallocBoth, ShrinkingMakesABlockAndLinksBothNeighboursToIt) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 104);
    void *next = kx_malloc(pool, 8);
    EXPECT_EQ(kx_realloc_both(pool, p, 64), p);
    EXPECT_EQ(header(p)->size, 64);
    EXPECT_EQ(free_sizes(pool)[0], 8);
    EXPECT_EQ(header(p)->next->size, 8);
    EXPECT_EQ(header(p)->next->next, header(next));
    EXPECT_EQ(header(next)->prev, header(p)->next);
    EXPECT_CONSISTENT(pool);
    kx_free(pool, p);
    EXPECT_EQ(free_sizes(pool)[0], 104);
}

TEST(PoolReallocBoth, TooLittleToGiveBackLeavesTheBlock) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 104);
    kx_malloc(pool, 8);
    EXPECT_EQ(kx_realloc_both(pool, p, 72), p);
    EXPECT_EQ(header(p)->size, 104);
    EXPECT_EQ(kx_list_len(pool->listFree), 1);
}

TEST(PoolReallocBoth, RefusedSlotLeavesTheBlock) {
    OwnPool pool(1024 * kKib);
    std::vector<void *> blocks;
    for (int i = 0; i < 2100; ++i) {
        blocks.push_back(kx_malloc(pool, 8));
    }
    void *p = kx_malloc(pool, 104);
    kx_malloc(pool, 8);
    Refuse refuse;
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        kx_free(pool, blocks[i]);
    }
    EXPECT_EQ(kx_realloc_both(pool, p, 8), p);
    EXPECT_EQ(header(p)->size, 104);
    EXPECT_CONSISTENT(pool);
}

TEST(PoolReallocBoth, GrowsLikeRealloc) {
    OwnPool pool(4096);
    void *p = kx_malloc(pool, 16);
    EXPECT_EQ(kx_realloc_both(pool, p, 64), p);
    EXPECT_EQ(header(p)->size, 64);
    kx_malloc(pool, 8);
    void *q = kx_realloc_both(pool, p, 640);
    EXPECT_NE(q, p);
    EXPECT_EQ(header(q)->size, 640);
}

} // namespace
} // namespace orkan
