// kx_index_sort_memory_test.cpp: sorting an index while memory is refused.
#include <algorithm>
#include <random>
#include <string>

#include "kx_sort/kx_index_sort.h"
#include "support/fault.h"
#include "support/index.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

/// Sorts while what `plan` says is refused and gives the status; a list of 0 must be in order. `refused` records in the
/// middle are not in the index.
int sort_refused(const string &bytes, bool stable, FaultPlan plan, kx_i64 refused = 0) {
    const Data data(bytes);
    const kx_list_owner list(data.index());
    kx_list_delete(list.get(), kx_list_len(list.get()) / 2, refused);
    const Items before = items_of(list.get());
    const Items expected = expected_order(list.get());
    kx_release_sort_scratch(); // kept from the sort before
    const Fault fault(plan);
    const int status = kx_sort_index(list.get(), stable);
    EXPECT_GE(Fault::calls(), 1) << "nothing was refused";
    Items after = items_of(list.get());
    if (status == 0) {
        EXPECT_TRUE(after == expected);
    }
    EXPECT_TRUE(std::is_permutation(after.begin(), after.end(), before.begin(), before.end()));
    return status;
}

class IndexSortRefused : public RunState {
  protected:
    IndexSortRefused() {
        set_fixed(12);
        set_keys({key(0, 10)}); // longer than what is cached of a key, so ties remain to be settled
        std::mt19937 random(5);
        for (int i = 0; i < 2000; ++i) {
            bytes_ += random_bytes(random, kAlphabets[1], 12);
        }
    }

    /// A pool that sends every request to the system.
    static void use_exhausted_pool() {
        use_pool(4096);
        while (memPool->edge_mmu->prev->size >= 64) {
            ASSERT_NE(kx_qmalloc(memPool, 8), nullptr);
        }
    }

    string bytes_;
};

// Merge buffers come from the pool here, so only what speeds the sort up is refused.
TEST_F(IndexSortRefused, ScratchMemoryIsNotNeeded) {
    use_pool(1 << 20);
    for (const bool stable : {true, false}) {
        EXPECT_EQ(sort_refused(bytes_, stable, {.onwards = true}), 0);
        EXPECT_EQ(sort_refused(bytes_, stable, {.call = 2, .onwards = true}), 0);
    }
}

TEST_F(IndexSortRefused, NumbersForAnIndexWithGapsAreNotNeeded) {
    use_pool(1 << 20);
    for (const bool stable : {true, false}) {
        EXPECT_EQ(sort_refused(bytes_, stable, {.call = 2, .onwards = true}, 3), 0);
    }
}

TEST_F(IndexSortRefused, APlainSortNeedsNoMemoryAtAll) {
    use_exhausted_pool();
    EXPECT_EQ(sort_refused(bytes_, false, {.onwards = true}), 0);
}

TEST_F(IndexSortRefused, AStableSortWithoutMergeBuffersFails) {
    use_exhausted_pool();
    EXPECT_EQ(sort_refused(bytes_, true, {.onwards = true}), 1);
}

TEST_F(IndexSortRefused, AnyOneRequestMayBeRefused) {
    for (int call = 1; call <= 12; ++call) {
        for (const bool stable : {true, false}) {
            SCOPED_TRACE("request " + std::to_string(call) + (stable ? ", stable" : ", plain"));
            use_exhausted_pool();
            const int status = sort_refused(bytes_, stable, {.call = call});
            EXPECT_TRUE(status == 0 || (stable && status == 1)) << status;
        }
    }
}

} // namespace
