// kx_pool_quick_test.cpp: back blocks, taken from the top and given back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

TEST(PoolQuick, BlocksStackDownwardsAndComeBackInReverse) {
    OwnPool pool(4096);
    const kx_i64 all = tail(pool)->size;
    char *a = static_cast<char *>(kx_qmalloc(pool, 16));
    char *b = static_cast<char *>(kx_qmalloc(pool, 24));
    EXPECT_EQ(b, a - 8 - 24);
    EXPECT_EQ(pool->lastarr_back, b);
    EXPECT_EQ(tail(pool)->size, all - 24 - 32);
    kx_qfree(pool, b);
    EXPECT_EQ(pool->lastarr_back, a);
    EXPECT_EQ(pool->qnum, 1);
    kx_qfree(pool, a);
    EXPECT_EQ(pool->edge, pool->end);
    EXPECT_EQ(free_sizes(pool), Sizes{all});
}

TEST(PoolQuick, ZeroBytesTakeOneWord) {
    OwnPool pool(4096, 1);
    void *p = kx_qmalloc(pool, 0);
    EXPECT_EQ(p, pool->end);
    EXPECT_EQ(pool->edge, pool->end - 8);
    kx_qfree(pool, p);
    kx_qfree(pool, p); // not the system's
    EXPECT_EQ(pool->edge, pool->end);
}

TEST(PoolQuick, TakesTheTailDownToTheLastWord) {
    OwnPool pool(4096);
    const kx_i64 all = tail(pool)->size;
    void *p = kx_qmalloc(pool, all - 8);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(tail(pool)->size, 0);
    EXPECT_EQ(pool->qnum, 1);
    kx_qfree(pool, p);
    EXPECT_EQ(free_sizes(pool), Sizes{all});
}

TEST(PoolQuick, TouchesNoListUntilSomethingElseNeedsIt) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 1000);
    kx_malloc(pool, 8);
    kx_free(pool, hole);
    kx_qmalloc(pool, tail(pool)->size - 100);
    EXPECT_EQ(kx_list_get(pool->listFree, 1), tail(pool)); // smaller than its neighbour, not moved yet
    EXPECT_CONSISTENT(pool);
    kx_malloc(pool, 8);
    EXPECT_CONSISTENT(pool);
    EXPECT_EQ(static_cast<kx_mmu *>(kx_list_get(pool->listFree, 1))->size, 1000);
}

TEST(PoolQuick, TailHandedOutWholeByMallocIsNotCarved) {
    OwnPool pool(4096);
    const kx_i64 all = tail(pool)->size;
    auto *whole = static_cast<char *>(kx_malloc(pool, all));
    std::memset(whole, 0x5a, to_size(all));
    EXPECT_EQ(kx_qmalloc(pool, 16), nullptr);
    EXPECT_EQ(std::string(whole, to_size(all)), std::string(to_size(all), 0x5a));
    EXPECT_EQ(pool->edge, pool->end);
}

TEST(PoolQuick, TailHandedOutWholeByMallocHwmIsNotCarved) {
    OwnPool pool(4096);
    auto *whole = static_cast<char *>(kx_malloc_hwm(pool, tail(pool)->size));
    ASSERT_EQ(header(whole), tail(pool));
    EXPECT_EQ(kx_qmalloc(pool, 16), nullptr);
    EXPECT_EQ(pool->edge, pool->end);
}

TEST(PoolQuick, FallbackIntoTheLastFrontBlockIsFreedAsAFrontBlock) {
    OwnPool pool(4096);
    const kx_i64 all = tail(pool)->size;
    void *p = kx_qmalloc(pool, all); // no room for the word of a back block
    ASSERT_EQ(header(p), tail(pool));
    EXPECT_EQ(pool->num, 1);
    EXPECT_EQ(pool->qnum, 0);
    kx_qfree(pool, p);
    EXPECT_EQ(free_sizes(pool), Sizes{all});
    EXPECT_EQ(pool->num, 0);
}

TEST(PoolQuick, FallbackIntoAHoleIsFreedAsAFrontBlock) {
    OwnPool pool(4096);
    void *hole = kx_malloc(pool, 200);
    kx_malloc(pool, 8);
    kx_malloc(pool, tail(pool)->size);
    kx_free(pool, hole);
    void *p = kx_qmalloc(pool, 100);
    EXPECT_EQ(p, hole);
    EXPECT_EQ(pool->num, 3);
    EXPECT_EQ(pool->qnum, 0);
    kx_qfree(pool, p);
    EXPECT_EQ(free_sizes(pool), Sizes{200});
    EXPECT_EQ(pool->num, 2);
}

TEST(PoolQuick, ReleasedOutOfOrderBytesComeBackWithThoseBelow) {
    OwnPool pool(4096);
    const kx_i64 all = tail(pool)->size;
    void *a = kx_qmalloc(pool, 8);
    void *b = kx_qmalloc(pool, 16);
    void *c = kx_qmalloc(pool, 24);
    std::memset(c, 0x11, 24);
    kx_qfree(pool, a);
    kx_qfree(pool, b);
    EXPECT_EQ(pool->qnum, 1);
    EXPECT_EQ(pool->lastarr_back, c);
    EXPECT_EQ(tail(pool)->size, all - 16 - 24 - 32);
    EXPECT_EQ(std::string(static_cast<char *>(c), 24), std::string(24, 0x11));
    EXPECT_CONSISTENT(pool);
    kx_qfree(pool, c);
    EXPECT_EQ(tail(pool)->size, all);
    EXPECT_EQ(pool->edge, pool->end);
}

TEST(PoolQuick, SecondReleaseIsIgnoredAtTheEdgeAndBelowIt) {
    OwnPool pool(4096);
    void *a = kx_qmalloc(pool, 8);
    void *b = kx_qmalloc(pool, 8);
    kx_qfree(pool, a);
    kx_qfree(pool, a);
    EXPECT_EQ(pool->qnum, 1);
    kx_qfree(pool, b);
    kx_qfree(pool, b);
    kx_free(pool, b);
    kx_qfree(pool, a);
    EXPECT_EQ(pool->qnum, 0);
    EXPECT_EQ(pool->edge, pool->end);
}

TEST(PoolQuick, BytesReleasedUnderATailInUseGoToThatBlock) {
    OwnPool pool(4096);
    void *back = kx_qmalloc(pool, 56);
    void *front = kx_malloc(pool, tail(pool)->size);
    const kx_i64 held = header(front)->size;
    kx_qfree(pool, back);
    EXPECT_EQ(header(front)->size, held + 64);
    EXPECT_EQ(pool->edge, pool->end);
    EXPECT_EQ(kx_list_len(pool->listFree), 0);
    kx_free(pool, front);
    EXPECT_EQ(free_sizes(pool), Sizes{held + 64});
}

TEST(PoolQuick, FrontBlockOfZeroBytesThatEndsAtTheEdgeIsAFrontBlock) {
    OwnPool pool(4096, 1);
    const kx_i64 all = tail(pool)->size;
    void *first = kx_malloc(pool, all - kHeader); // leaves a tail of 0 bytes
    ASSERT_EQ(tail(pool)->size, 0);
    void *empty = kx_malloc(pool, 0);
    EXPECT_EQ(empty, pool->edge);
    for (int again = 0; again < 2; ++again) {
        kx_qfree(pool, empty);
        EXPECT_EQ(pool->num, 1);
        EXPECT_EQ(free_sizes(pool), Sizes{0});
    }
    kx_free(pool, first);
    EXPECT_EQ(free_sizes(pool), Sizes{all});
}

TEST(PoolQuick, GuardGivesItsBlockBack) {
    OwnPool pool(4096);
    {
        const kx_quick_block outer(pool, 100);
        const kx_quick_block inner(pool, 100);
        EXPECT_LT(inner.get(), outer.get());
        EXPECT_EQ(pool->qnum, 2);
    }
    EXPECT_EQ(pool->edge, pool->end);
}

} // namespace
} // namespace orkan
