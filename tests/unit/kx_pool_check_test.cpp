// kx_pool_check_test.cpp: the pool's self-check says what is broken, whichever field it is.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kx_memory/kx_memory.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

kx_mmu *header_at(char *place) { return reinterpret_cast<kx_mmu *>(place); }

/// What the check says with that value in the field, which then gets its own back.
template <class Field, class Value> string verdict(Field &field, Value value) {
    const Field right = std::exchange(field, value);
    const char *broken = kx_pool_check(memPool);
    field = right;
    return broken == nullptr ? "in order" : broken;
}

/// A hole, a block in use, a free tail and a back block; the pool must be in order again at the end of a test.
class BrokenPool : public RunState {
  protected:
    BrokenPool() {
        use_pool(4096, false);
        void *hole = kx_malloc(memPool, 64);
        block = static_cast<kx_mmu *>(kx_malloc(memPool, 64)) - 1;
        kx_free(memPool, hole);
        kx_qmalloc(memPool, 64);
        tail = memPool->edge_mmu->prev;
        word = reinterpret_cast<kx_i64 *>(memPool->edge);
    }

    kx_mmu *block, *tail;
    kx_i64 *word;
};

TEST_F(BrokenPool, Bounds) {
    const string bounds = "P1: the bounds";
    auto *start = reinterpret_cast<char *>(memPool->start);
    EXPECT_EQ(verdict(memPool->start, header_at(start + 4)), bounds);
    EXPECT_EQ(verdict(memPool->edge, memPool->edge + 4), bounds);
    EXPECT_EQ(verdict(memPool->edge, memPool->end + 8), bounds);
    EXPECT_EQ(verdict(memPool->end, memPool->end + 4), bounds);
}

TEST_F(BrokenPool, Sentinel) {
    kx_mmu *sentinel = memPool->edge_mmu;
    EXPECT_EQ(verdict(sentinel->status, kMmuFree), "P2: the sentinel");
    EXPECT_EQ(verdict(sentinel->size, 8), "P2: the sentinel");
    EXPECT_EQ(verdict(sentinel->next, block), "P2: the sentinel");
    EXPECT_EQ(verdict(sentinel->prev, block), "P2: the tail ends at the edge");
}

TEST_F(BrokenPool, Blocks) {
    EXPECT_EQ(verdict(block->size, -8), "P1: a block's size");
    EXPECT_EQ(verdict(block->size, kx_i64{1} << 20), "P1: a block's size");
    EXPECT_EQ(verdict(tail->size, tail->size + 8), "P1: a block's size");
    EXPECT_EQ(verdict(tail->size, tail->size - 8), "P2: the tail ends at the edge");
}

TEST_F(BrokenPool, ABlockWithoutRoomForItsHeader) {
    tail->size -= 8;
    EXPECT_EQ(verdict(tail->next, header_at(memPool->edge - 8)), "P2: a gap in front of a block");
    tail->size += 8;
}

TEST_F(BrokenPool, FreeList) {
    kx_list *list = memPool->listFree;
    const string no_free_block = "P4: an entry that is no free block";
    EXPECT_EQ(verdict(list->start, list->tab_size), "P4: entries of the free list");
    EXPECT_EQ(verdict(list->tab[list->start], memPool->edge_mmu), no_free_block);
    EXPECT_EQ(verdict(list->tab[list->start], memPool->edge), no_free_block);
    EXPECT_EQ(verdict(list->tab[list->start], block), no_free_block);
}

TEST_F(BrokenPool, ATailInUseThatLags) {
    use_pool(4096, false);
    ASSERT_NE(kx_malloc(memPool, memPool->edge_mmu->prev->size), nullptr);
    EXPECT_EQ(verdict(memPool->tail_lag, 8), "P4: a tail in use lags");
}

TEST_F(BrokenPool, BackBlocks) {
    for (const kx_i64 bytes : {kx_i64{0}, kx_i64{-8}, *word + 4, *word + 8}) {
        EXPECT_EQ(verdict(*word, bytes), "P6: a back block's size") << bytes;
    }
    EXPECT_EQ(verdict(*word, *word + 1), "P6: a released block at the edge");
    EXPECT_EQ(verdict(memPool->qnum, 0), "P6: qnum or lastarr_back");
    EXPECT_EQ(verdict(memPool->lastarr_back, memPool->lastarr_back + 8), "P6: qnum or lastarr_back");
    EXPECT_EQ(verdict(memPool->lastarr_back, nullptr), "P6: qnum or lastarr_back");
}

TEST_F(BrokenPool, SystemBlocks) {
    use_pool(1024);
    for (int i = 0; i < 2; ++i) {
        ASSERT_NE(kx_malloc(memPool, 4096), nullptr);
    }
    kx_list &list = memPool->listSystem;
    EXPECT_EQ(verdict(list.start, list.tab_size), "system blocks: the list");
    EXPECT_EQ(verdict(list.tab[1], list.tab[0]), "system blocks: the order");
    std::swap(list.tab[0], list.tab[1]);
    EXPECT_STREQ(kx_pool_check(memPool), "system blocks: the order");
    std::swap(list.tab[0], list.tab[1]);
}

} // namespace
