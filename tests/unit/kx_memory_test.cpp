// The memory pool: each operation, each guard, the report's texts, and long random sequences against a model.
#include "kx_memory/kx_memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"

namespace orkan {
namespace {

constexpr kx_i64 kHeader = 32;
constexpr kx_i64 kKib = 1024;

/// A pool that ends with the test, and must be consistent then.
class OwnPool {
  public:
    explicit OwnPool(kx_i64 bytes, kx_i64 autoExtend = 0) : pool_(kx_mem_pool_create(bytes, autoExtend)) {}
    ~OwnPool() {
        if (pool_ != nullptr) {
            EXPECT_STREQ(kx_pool_check(pool_), nullptr);
        }
        kx_mem_pool_free(pool_);
    }
    OwnPool(const OwnPool &) = delete;
    OwnPool &operator=(const OwnPool &) = delete;
    // NOLINTNEXTLINE(google-explicit-constructor): stands wherever a pool does
    operator kx_mem_pool *() const { return pool_; }
    kx_mem_pool *operator->() const { return pool_; }

  private:
    kx_mem_pool *pool_;
};

/// A verbose run with counters from zero, for the length of a block.
class Verbose {
  public:
    Verbose() {
        for (kx_i64 *counter :
             {&_kx_malloc, &_kx_malloc_hwm, &_kx_qmalloc, &_kx_realloc, &_malloc, &_realloc, &_free, &_qfree}) {
            *counter = 0;
        }
        VERBOSE = 1;
    }
    ~Verbose() { VERBOSE = 0; }
    Verbose(const Verbose &) = delete;
    Verbose &operator=(const Verbose &) = delete;
};

kx_i64 accepted_requests; // system requests still granted
kx_i64 least_refused;     // smaller ones are always granted
std::vector<kx_i64> requested_sizes;

/// Refuses the system's memory after so many requests, for the length of a block.
class Refuse {
  public:
    explicit Refuse(kx_i64 accepted = 0, kx_i64 at_least = 0) {
        accepted_requests = accepted;
        least_refused = at_least;
        requested_sizes.clear();
        kx_fault_hook = [](kx_site site, kx_i64 bytes) {
            if (site != kx_site::allocate) {
                return false;
            }
            requested_sizes.push_back(bytes);
            return bytes >= least_refused && accepted_requests-- <= 0;
        };
    }
    ~Refuse() { kx_fault_hook = nullptr; }
    Refuse(const Refuse &) = delete;
    Refuse &operator=(const Refuse &) = delete;
};

kx_mmu *header(void *p) { return reinterpret_cast<kx_mmu *>(static_cast<char *>(p) - kHeader); }
kx_mmu *tail(const kx_mem_pool *pool) { return pool->edge_mmu->prev; }

bool in_region(const kx_mem_pool *pool, const void *p) {
    const auto *place = static_cast<const char *>(p);
    return place >= reinterpret_cast<const char *>(pool->start) && place <= pool->end;
}

std::vector<kx_i64> free_sizes(const kx_mem_pool *pool) {
    std::vector<kx_i64> sizes;
    for (kx_i64 i = 0; i < kx_list_len(pool->listFree); ++i) {
        sizes.push_back(static_cast<kx_mmu *>(kx_list_get(pool->listFree, i))->size);
    }
    return sizes;
}

using Sizes = std::vector<kx_i64>;

#define EXPECT_CONSISTENT(pool) EXPECT_STREQ(kx_pool_check(pool), nullptr)

/// Takes everything that is free in the pool, so that the next request finds nothing.
void exhaust(kx_mem_pool *pool) {
    while (kx_list_len(pool->listFree) > 0) {
        ASSERT_NE(kx_malloc(pool, free_sizes(pool).back()), nullptr);
    }
}

// --- creation and layout ---

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

// --- kx_qmalloc, kx_qfree ---

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

// --- kx_free ---

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

// --- system memory ---

TEST(PoolSystem, LargeRequestComesFromTheSystemUnrounded) {
    OwnPool pool(kKib, 1);
    Refuse none(100);
    void *p = kx_malloc(pool, 4001);
    ASSERT_NE(p, nullptr);
    EXPECT_FALSE(in_region(pool, p));
    EXPECT_EQ(requested_sizes.back(), 4001);
    EXPECT_EQ(pool->num, 0);
    std::memset(p, 1, 4001);
    kx_free(pool, p);
}

TEST(PoolSystem, FreeOperationsRecogniseItByAddress) {
    Verbose verbose;
    ::testing::internal::CaptureStderr();
    {
        OwnPool pool(kKib, 1);
        void *a = kx_malloc(pool, 4000);
        void *b = kx_malloc_hwm(pool, 4000);
        void *c = kx_qmalloc(pool, 4000);
        EXPECT_EQ(_malloc, 3);
        kx_free(pool, a);
        kx_qfree(pool, b);
        kx_qfree(pool, c);
        EXPECT_EQ(pool->num + pool->qnum, 0);
    }
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(_free, 1);
    EXPECT_EQ(_qfree, 2);
}

TEST(PoolSystem, MemoryThatOthersTookIsPassedOn) {
    OwnPool pool(kKib, 1);
    kx_free(pool, std::malloc(100)); // the leak sanitizer sees it when it is not
    kx_qfree(pool, std::malloc(100));
    void *p = kx_realloc(pool, std::malloc(100), 200);
    EXPECT_NE(p, nullptr);
    kx_free(pool, p);
}

TEST(PoolSystem, ReallocKeepsTheBytes) {
    OwnPool pool(kKib, 1);
    auto *p = static_cast<char *>(kx_malloc(pool, 4000));
    std::memset(p, 7, 4000);
    p = static_cast<char *>(kx_realloc(pool, p, 400000));
    EXPECT_EQ(std::string(p, 4000), std::string(4000, 7));
    p = static_cast<char *>(kx_realloc_both(pool, p, 10));
    EXPECT_EQ(std::string(p, 10), std::string(10, 7));
    p = static_cast<char *>(kx_realloc(pool, p, 0)); // still a block
    ASSERT_NE(p, nullptr);
    kx_free(pool, p);
}

TEST(PoolSystem, SecondReleaseIsIgnored) {
    OwnPool pool(kKib, 1);
    void *p = kx_malloc(pool, 4000);
    kx_free(pool, p);
    kx_free(pool, p);
    kx_qfree(pool, p);
    EXPECT_EQ(kx_realloc(pool, p, 10), nullptr);
    EXPECT_EQ(kx_realloc_both(pool, p, 10), nullptr);
}

TEST(PoolSystem, AddressHandedOutAgainIsInUseAgain) {
    OwnPool pool(kKib, 1);
    std::map<void *, int> seen;
    for (int i = 0; i < 200; ++i) {
        void *p = kx_malloc(pool, 4000);
        std::memset(p, i, 4000);
        ++seen[p];
        kx_free(pool, p);
        kx_free(pool, p);
    }
    EXPECT_LE(kx_list_len(&pool->listSystem), 200);
    EXPECT_EQ(kx_list_len(&pool->listSystem), static_cast<kx_i64>(seen.size()));
}

TEST(PoolSystem, RefusedMemoryGivesNullAndChangesNothing) {
    OwnPool pool(kKib, 1);
    auto *p = static_cast<char *>(kx_malloc(pool, 4000));
    std::memset(p, 9, 4000);
    {
        Refuse refuse;
        EXPECT_EQ(kx_malloc(pool, 4000), nullptr);
        EXPECT_EQ(kx_malloc_hwm(pool, 4000), nullptr);
        EXPECT_EQ(kx_qmalloc(pool, 4000), nullptr);
        EXPECT_EQ(kx_realloc(pool, p, 8000), nullptr);
        EXPECT_EQ(kx_realloc_both(pool, p, 8000), nullptr);
    }
    EXPECT_EQ(std::string(p, 4000), std::string(4000, 9));
    kx_free(pool, p);
}

TEST(PoolSystem, NoMemoryToKeepTheAddressRefusesTheRequest) {
    OwnPool pool(kKib, 1);
    Refuse refuse(0, 8192); // the slots of the address list
    EXPECT_EQ(kx_malloc(pool, 4000), nullptr);
}

TEST(PoolSystem, ForeignAddressIsLeftAloneWithoutAutoExtend) {
    OwnPool pool(kKib, 0);
    void *p = std::malloc(10);
    kx_free(pool, p);
    kx_qfree(pool, p);
    EXPECT_EQ(kx_realloc(pool, p, 20), nullptr);
    std::free(p); // the address sanitizer sees it when the pool had freed it
}

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

// --- comparators ---

TEST(PoolOrder, SizeThenAddressAndNeverEqual) {
    kx_mmu blocks[2] = {{nullptr, nullptr, 'F', 8}, {nullptr, nullptr, 'F', 8}};
    EXPECT_EQ(_cmpMmuSize(&blocks[1], &blocks[0]), 1);
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[1]), -1);
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[0], &blocks[0], 0), 0);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[1], &blocks[0], 0), 1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[1], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[0], &blocks[1]), 0);
    blocks[0].size = 16;
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[1]), 1);
    EXPECT_EQ(_cmpMmuSize(&blocks[1], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[1], &blocks[0], 0), -1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[0], &blocks[1]), -1);
    const kx_i64 wanted = 16;
    EXPECT_NE(_cmpIfSizeLarge(&blocks[0], &wanted, 0), 0);
    EXPECT_EQ(_cmpIfSizeLarge(&blocks[1], &wanted, 0), 0);
}

// --- counters and report ---

TEST(PoolReport, CountersCountOnlyInAVerboseRun) {
    const auto use_everything = [] {
        OwnPool pool(kKib, 1);
        void *a = kx_malloc(pool, 8);
        void *b = kx_malloc_hwm(pool, 8);
        void *c = kx_qmalloc(pool, 8);
        a = kx_realloc(pool, a, 8);
        void *d = kx_realloc(pool, kx_malloc(pool, 4000), 8000);
        void *e = kx_qmalloc(pool, 4000);
        for (void *p : {a, b, d}) {
            kx_free(pool, p);
        }
        for (void *p : {e, c}) {
            kx_qfree(pool, p);
        }
    };
    const auto counters = [] {
        return Sizes{_kx_malloc, _kx_malloc_hwm, _kx_qmalloc, _kx_realloc, _malloc, _realloc, _free, _qfree};
    };
    {
        Verbose verbose;
        VERBOSE = 0;
        use_everything();
        EXPECT_EQ(counters(), Sizes(8, 0));
    }
    Verbose verbose;
    ::testing::internal::CaptureStderr();
    use_everything();
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(counters(), (Sizes{3, 1, 2, 2, 2, 1, 1, 1}));
}

const char *const kReport = "\n###メモリ割当函数[kx_malloc]のコール回数は：1\n"
                            "###メモリ快速割当函数[kx_malloc_hwm]のコール回数は：2\n"
                            "###メモリ最快速割当函数[kx_qmalloc]のコール回数は：3\n"
                            "###メモリ再割当函数[kx_realloc]のコール回数は：4\n"
                            "###メモリ割当函数[malloc]のコール回数は：5\n"
                            "###メモリ再割当函数[realloc]のコール回数は：6\n"
                            "###メモリ解放函数[free]のコール回数は：7\n"
                            "###メモリ解放函数[qfree]のコール回数は：8\n";

void set_counters() {
    kx_i64 value = 0;
    for (kx_i64 *counter :
         {&_kx_malloc, &_kx_malloc_hwm, &_kx_qmalloc, &_kx_realloc, &_malloc, &_realloc, &_free, &_qfree}) {
        *counter = ++value;
    }
}

template <class Action> std::string printed_by(Action action) {
    ::testing::internal::CaptureStderr();
    action();
    return ::testing::internal::GetCapturedStderr();
}

TEST(PoolReport, PrintsCountersAndMemoryInJapaneseInEveryLocale) {
    OwnPool pool(64 * kKib, 1);
    kx_malloc(pool, 100);
    kx_malloc(pool, 2000);
    kx_qmalloc(pool, 3000);
    Verbose verbose;
    set_counters();
    for (const char *language : {"C", "en_US.UTF-8", "ja_JP.UTF-8"}) {
        setenv("LANG", language, 1);
        const kx_i64 kib = (tail(pool)->size - 1) / 1024 + 1;
        EXPECT_EQ(printed_by([&] { kx_memInfo_print(pool); }),
                  std::string(kReport) +
                      "###フロント側の割当済みメモリブロックは[2]個、バック側の割当済みメモリブロックは[1]個です。\n"
                      "###トータルフリーメモリ数[1]個、サイズは[" +
                      std::to_string(kib) + "]KB、最大フリーメモリブロックサイズは[" + std::to_string(kib) +
                      "]KBです。\n");
    }
    unsetenv("LANG");
}

TEST(PoolReport, TotalsAndLargestAreRoundedUpToKib) {
    OwnPool pool(64 * kKib);
    void *p = kx_malloc(pool, 1032);
    kx_malloc(pool, tail(pool)->size);
    kx_free(pool, p);
    Verbose verbose;
    const std::string text = printed_by([&] { kx_memInfo_print(pool); });
    EXPECT_NE(text.find("数[1]個、サイズは[2]KB、最大フリーメモリブロックサイズは[2]KBです。\n"), std::string::npos);
}

TEST(PoolReport, EmptyTotalShowsOneKib) {
    OwnPool pool(kKib);
    exhaust(pool);
    Verbose verbose;
    const std::string text = printed_by([&] { kx_memInfo_print(pool); });
    EXPECT_NE(text.find("数[0]個、サイズは[1]KB、最大フリーメモリブロックサイズは[1]KBです。\n"), std::string::npos);
}

TEST(PoolReport, SilentWhenNotVerbose) {
    OwnPool pool(kKib, 1);
    EXPECT_EQ(printed_by([&] {
                  kx_memInfo_print(pool);
                  kx_free(pool, kx_realloc(pool, kx_malloc(pool, 4000), 5000));
              }),
              "");
}

TEST(PoolReport, FallbackPrintsTheReportAndThenItsMessage) {
    OwnPool pool(kKib, 1);
    exhaust(pool);
    Verbose verbose;
    set_counters();
    void *p = nullptr;
    std::string text = printed_by([&] { p = kx_malloc(pool, 2049); });
    EXPECT_EQ(text.find("\n###メモリ割当函数[kx_malloc]のコール回数は：2\n"), 0U);
    EXPECT_NE(text.find("###メモリ割当函数[malloc]のコール回数は：6\n"), std::string::npos);
    EXPECT_TRUE(
        text.ends_with("KBです。\nメモリプールから[2]KB、[2049]バイトが割当できなかったので、ヒップから割当てる！\n"));

    text = printed_by([&] { p = kx_realloc(pool, p, 3072); });
    EXPECT_NE(text.find("###メモリ再割当函数[realloc]のコール回数は：7\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with(
        "KBです。\nメモリプールから[2]KB、[3072]バイトが再割当できなかったので、ヒップから再割当てる！\n"));

    text = printed_by([&] { p = kx_realloc_both(pool, p, 3073); });
    EXPECT_NE(text.find("###メモリ再割当函数[realloc]のコール回数は：8\n"), std::string::npos);
    EXPECT_TRUE(
        text.ends_with("KBです。\nメモリプールから[3]KBバイトが再割当できなかったので、ヒップから再割当てる！\n"));

    text = printed_by([&] { kx_free(pool, kx_malloc(pool, 0)); });
    EXPECT_TRUE(text.ends_with("メモリプールから[0]KB、[0]バイトが割当できなかったので、ヒップから割当てる！\n"));
    kx_free(pool, p);
}

// --- the checker itself: it must see what is broken ---

TEST(PoolCheck, NamesTheBrokenInvariant) {
    const auto verdict = [](auto damage) {
        kx_mem_pool *pool = kx_mem_pool_create(4096, 0);
        void *a = kx_malloc(pool, 64);
        kx_malloc(pool, 64);
        kx_free(pool, a);
        kx_qmalloc(pool, 64);
        auto restore = damage(pool, header(a));
        const char *broken = kx_pool_check(pool);
        std::string text = broken == nullptr ? "" : std::string(broken).substr(0, 2);
        restore();
        EXPECT_STREQ(kx_pool_check(pool), nullptr);
        kx_mem_pool_free(pool);
        return text;
    };
    const auto changed = [](auto &field, auto value) {
        const auto old = field;
        field = value;
        return [&field, old] { field = old; };
    };
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->edge, p->edge + 1); }), "P1");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->size, kx_i64{63}); }), "P1");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->size, kx_i64{72}); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->next->prev, b->next); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->status, kx_i64{0}); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->next->status, kx_i64{'F'}); }), "P3");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->status, kx_i64{'A'}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listFree->len, kx_i64{1}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listFree->tab[0], p->listFree->tab[1]); }),
              "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->num, kx_i64{2}); }), "P5");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->edge_mmu->size, kx_i64{8}); }), "P2");
    EXPECT_EQ(
        verdict([&](kx_mem_pool *p, kx_mmu *b) { return changed(p->listFree->tab[0], static_cast<void *>(b->next)); }),
        "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->tail_lag, kx_i64{-1000000}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) {
                  return changed(*reinterpret_cast<kx_i64 *>(p->edge), kx_i64{72 + 1});
              }),
              "P6");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listSystem.start, kx_i64{1}); }), "sy");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->qnum, kx_i64{2}); }), "P6");
    EXPECT_EQ(
        verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(*reinterpret_cast<kx_i64 *>(p->edge), kx_i64{64}); }),
        "P6");
}

// --- random sequences against a model ---

class PoolModel {
  public:
    PoolModel(kx_i64 bytes, kx_i64 autoExtend, unsigned seed) : pool_(bytes, autoExtend), random_(seed) {}

    void step() {
        refuse_for_a_while();
        const int what = number(0, 99);
        if (what < 14) {
            take(kx_malloc, false);
        } else if (what < 26) {
            take(kx_malloc_hwm, false);
        } else if (what < 46) {
            take(kx_qmalloc, true);
        } else if (what < 58) {
            resize(kx_realloc);
        } else if (what < 68) {
            resize(kx_realloc_both);
        } else if (what < 82) {
            give(number(0, 1) == 0 ? kx_free : kx_qfree, pick());
        } else if (what < 93) {
            give_newest_quick();
        } else {
            give_stale();
        }
        verify();
    }

    void give_everything() {
        kx_fault_hook = nullptr;
        while (!live_.empty()) {
            give(kx_free, pick());
        }
        EXPECT_EQ(pool_->num, 0);
        EXPECT_EQ(pool_->qnum, 0);
        EXPECT_EQ(free_sizes(pool_), Sizes{pool_->size - kHeader});
    }

  private:
    struct Block {
        kx_i64 bytes;
        unsigned char pattern;
    };
    using Live = std::map<char *, Block>;

    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

    kx_i64 size() {
        switch (number(0, 9)) {
        case 0: return 0;
        case 1: return number(1, 9);
        case 2: return number(500, 3000);
        case 3: return free_sizes(pool_).empty() ? 1 : std::max<kx_i64>(0, free_sizes(pool_).back() - number(0, 50));
        case 4: return number(0, 20) == 0 ? 20000 : number(1, 100);
        default: return number(1, 300);
        }
    }

    void refuse_for_a_while() {
        if (number(0, 30) == 0) {
            least_refused = 0;
            accepted_requests = number(0, 3) == 0 ? 0 : LLONG_MAX;
            kx_fault_hook = [](kx_site, kx_i64) { return accepted_requests == 0; };
        }
    }

    void fill(char *p, kx_i64 bytes) {
        const Block block{bytes, static_cast<unsigned char>(number(0, 255))};
        ASSERT_TRUE(live_.emplace(p, block).second) << "handed out twice";
        std::memset(p, block.pattern, to_size(bytes));
    }

    static bool holds(const char *p, kx_i64 bytes, unsigned char pattern) {
        for (kx_i64 i = 0; i < bytes; ++i) {
            if (static_cast<unsigned char>(p[i]) != pattern) {
                return false;
            }
        }
        return true;
    }

    template <class Operation> void take(Operation operation, bool quick) {
        const kx_i64 bytes = size();
        auto *p = static_cast<char *>(operation(pool_, bytes));
        if (p != nullptr) {
            fill(p, bytes);
            if (quick) {
                quick_.push_back(p);
            }
        }
    }

    Live::iterator pick() {
        return live_.empty() ? live_.end() : std::next(live_.begin(), number(0, static_cast<int>(live_.size()) - 1));
    }

    template <class Operation> void resize(Operation operation) {
        const auto at = pick();
        if (at == live_.end()) {
            return;
        }
        char *const old = at->first;
        const Block block = at->second;
        const kx_i64 bytes = size();
        auto *p = static_cast<char *>(operation(pool_, old, bytes));
        if (p == nullptr) {
            return; // refused: the old block is checked with all others
        }
        EXPECT_TRUE(holds(p, std::min(bytes, block.bytes), block.pattern));
        live_.erase(at);
        if (p != old) {
            stale_.push_back(old);
        }
        fill(p, bytes);
    }

    template <class Operation> void give(Operation operation, Live::iterator at) {
        if (at != live_.end()) {
            operation(pool_, at->first);
            stale_.push_back(at->first);
            live_.erase(at);
        }
    }

    void give_newest_quick() {
        if (!quick_.empty()) {
            give(kx_qfree, live_.find(quick_.back()));
            quick_.pop_back();
        }
    }

    /// A pointer that was released before, unless it is somebody's block again.
    void give_stale() {
        if (!stale_.empty()) {
            char *p = stale_[to_size(number(0, static_cast<int>(stale_.size()) - 1))];
            if (live_.find(p) == live_.end()) {
                number(0, 1) == 0 ? kx_free(pool_, p) : kx_qfree(pool_, p);
                EXPECT_EQ(kx_realloc(pool_, p, 10), nullptr);
            }
        }
    }

    void verify() const {
        ASSERT_STREQ(kx_pool_check(pool_), nullptr);
        for (const auto &[p, block] : live_) {
            ASSERT_TRUE(holds(p, block.bytes, block.pattern)) << "somebody wrote into a block";
        }
    }

    OwnPool pool_;
    std::mt19937 random_;
    Live live_;
    std::vector<char *> quick_, stale_;
};

class PoolRandom : public ::testing::TestWithParam<int> {};

TEST_P(PoolRandom, NoSequenceOfCallsHarmsALiveBlock) {
    const int seed = GetParam();
    const kx_i64 bytes = 700 + (seed * 977) % 9000; // of every remainder by 8
    PoolModel model(bytes, seed % 3 == 0 ? 0 : 1, static_cast<unsigned>(seed));
    for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) {
        model.step();
        ASSERT_FALSE(HasFailure()) << "seed " << seed << ", step " << i;
    }
    model.give_everything();
}

INSTANTIATE_TEST_SUITE_P(Seeds, PoolRandom, ::testing::Range(0, 60));

} // namespace
} // namespace orkan
