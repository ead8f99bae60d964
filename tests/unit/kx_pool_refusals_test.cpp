// kx_pool_refusals_test.cpp: what the pool leaves alone: pointers that look like its blocks but for one sign, and a
// system block that it could not keep track of.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "kx_memory/kx_memory.h"
#include "support/fault.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr kx_i64 kHeader = sizeof(kx_mmu), kPayload = 16;

kx_mmu *header_at(void *place) { return static_cast<kx_mmu *>(place); }
kx_mmu *header_of(void *payload) { return header_at(payload) - 1; }

/// A pool of which every byte is in use, so that all of it can be looked at.
class FullPool : public RunState {
  protected:
    static constexpr kx_i64 kFirst = 3 * (kHeader + kPayload);

    FullPool() {
        use_pool(4096, false);
        first = take(kFirst);
        last = take(memPool->edge_mmu->prev->size);
    }

    static char *take(kx_i64 bytes) {
        void *block = kx_malloc(memPool, bytes);
        std::memset(block, 'x', to_size(bytes));
        return static_cast<char *>(block);
    }

    /// Bookkeeping, headers and payloads.
    static string everything() { return {reinterpret_cast<const char *>(memPool), to_size(memPool->totalSize)}; }

    /// With that value in the field, which is a sign of the block in use with this payload, nothing takes it for one.
    template <class Field, class Value>
    static void expect_left_alone(const char *mistake, void *payload, Field &field, Value value) {
        SCOPED_TRACE(mistake);
        EXPECT_EQ(kx_realloc(memPool, payload, 1), payload) << "without the mistake it is a block";
        const Field right = std::exchange(field, value);
        const string before = everything();
        kx_free(memPool, payload);
        kx_qfree(memPool, payload);
        for (const kx_i64 bytes : {0, 1, 1000}) {
            EXPECT_EQ(kx_realloc(memPool, payload, bytes), nullptr);
            EXPECT_EQ(kx_realloc_both(memPool, payload, bytes), nullptr);
        }
        EXPECT_TRUE(everything() == before);
        field = right;
        EXPECT_STREQ(kx_pool_check(memPool), nullptr);
    }

    char *first, *last;
};

TEST_F(FullPool, ABlockThatTheListDoesNotLeadToIsLeftAlone) {
    kx_mmu *sentinel = memPool->edge_mmu;
    expect_left_alone("the first block is another", first, sentinel->next, header_of(last));
    expect_left_alone("the last block is another", last, sentinel->prev, header_of(first));
}

TEST_F(FullPool, ALastBlockThatDoesNotEndAtTheEdgeIsLeftAlone) {
    expect_left_alone("before it", last, header_of(last)->size, header_of(last)->size - 8);
    expect_left_alone("behind it", last, header_of(last)->size, header_of(last)->size + 8);
}

/// Inside the first block stand three headers as those of neighbours in use would stand there.
class ForgedBlock : public FullPool {
  protected:
    ForgedBlock() {
        char *place = first;
        for (kx_mmu **header : {&previous, &block, &next}) {
            *header = ::new (static_cast<void *>(place)) kx_mmu{nullptr, nullptr, kMmuAllocated, kPayload};
            place += kHeader + kPayload;
        }
        previous->next = next->prev = block;
        block->prev = previous;
        block->next = next;
    }

    template <class Field, class Value> void expect_left_alone_with(const char *mistake, Field &field, Value value) {
        expect_left_alone(mistake, block + 1, field, value);
    }

    /// Where no header can stand, and a mistake as a neighbour.
    void expect_no_neighbour_outside(kx_mmu *&neighbour) {
        char *edge = memPool->edge;
        expect_left_alone_with("off its boundary", neighbour, header_at(reinterpret_cast<char *>(neighbour) + 4));
        expect_left_alone_with("in front of the blocks", neighbour, header_at(memPool));
        expect_left_alone_with("across the edge", neighbour, header_at(edge - 8));
        expect_left_alone_with("behind the edge", neighbour, header_at(edge));
        expect_left_alone_with("the sentinel", neighbour, memPool->edge_mmu);
    }

    kx_mmu *previous, *block, *next;
};

TEST_F(ForgedBlock, IsLeftAloneUnlessItIsInUse) {
    for (const kx_i64 status : {kMmuFree, kx_i64{0}, kMmuAllocated + 1}) {
        expect_left_alone_with("status", block->status, status);
    }
}

TEST_F(ForgedBlock, IsLeftAloneWithASizeThatNoBlockHas) {
    for (const kx_i64 size : {kx_i64{-8}, -kPayload, kPayload + 1, kPayload - 4}) {
        expect_left_alone_with("size", block->size, size);
    }
}

TEST_F(ForgedBlock, IsLeftAloneWithoutAPreviousBlockThatLeadsToIt) {
    expect_no_neighbour_outside(block->prev);
    expect_left_alone_with("it leads elsewhere", previous->next, next);
    expect_left_alone_with("it ends too early", previous->size, kPayload - 8);
    expect_left_alone_with("it ends too late", previous->size, kPayload + 8);
}

TEST_F(ForgedBlock, IsLeftAloneWithoutANextBlockThatLeadsBack) {
    expect_no_neighbour_outside(block->next);
    expect_left_alone_with("it leads elsewhere", next->prev, previous);
    expect_left_alone_with("it begins later", block->size, kPayload - 8);
    expect_left_alone_with("it begins earlier", block->size, kPayload + 8);
}

// --- system blocks ---

class SystemBlocks : public RunState {};

TEST_F(SystemBlocks, AreNotGrownWhereTheirNewAddressCannotBeKept) {
    use_pool(1024);
    constexpr kx_i64 kBytes = 2000;
    auto *block = static_cast<char *>(kx_malloc(memPool, kBytes));
    std::memset(block, 'b', kBytes);
    const kx_list &kept = memPool->listSystem;
    while (kept.len < kept.tab_size) {
        ASSERT_NE(kx_malloc(memPool, kBytes), nullptr);
    }
    const string contents(kBytes, 'b');
    const kx_i64 count = kept.len;
    for (const auto grow : {kx_realloc, kx_realloc_both}) {
        const Fault fault({.site = kx_site::allocate, .smallest = 8 * (count + 1)}); // the larger list
        EXPECT_EQ(grow(memPool, block, kBytes + 1), nullptr);
        EXPECT_EQ(Fault::calls(), 1);
        EXPECT_EQ(kept.len, count);
        EXPECT_EQ(string(block, kBytes), contents);
    }
    auto *grown = static_cast<char *>(kx_realloc(memPool, block, kBytes + 1));
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(string(grown, kBytes), contents);
}

} // namespace
