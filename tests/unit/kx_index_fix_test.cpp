// kx_index_fix_test.cpp: the index of fixed-length records.
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "kx_sort_fix/kx_sort_fix.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;

class FixedIndex : public RunState {
  protected:
    /// A block of exactly `size` bytes, so that a sanitizer sees the builder touch anything else.
    const char *bytes(std::size_t size) {
        block_.reset(new char[size]);
        return block_.get();
    }

    void expect_index(kx_i64 record_length, kx_i64 size, kx_i64 records) {
        SCOPED_TRACE(std::to_string(size) + " bytes of records of " + std::to_string(record_length));
        set_fixed(record_length);
        const char *buf = bytes(to_size(size));
        const kx_list_owner list(_kx_get_indexList(buf, size));
        ASSERT_NE(list.get(), nullptr);
        ASSERT_EQ(kx_list_len(list.get()), records);
        EXPECT_TRUE(kx_ring_check(list.get()));
        for (kx_i64 i = 0; i < records; ++i) {
            ASSERT_EQ(kx_list_get(list.get(), i), buf + i * record_length) << "record " << i;
        }
        EXPECT_EQ(dataEnd, buf + size);
    }

  private:
    std::unique_ptr<char[]> block_;
};

TEST_F(FixedIndex, HoldsTheAddressesInOrder) {
    expect_index(4, 12, 3);
    expect_index(1, 5, 5);
    expect_index(100, 100, 1);
    expect_index(7, 35000, 5000);
}

TEST_F(FixedIndex, LeavesATrailingRemainderOut) {
    expect_index(4, 13, 3);
    expect_index(4, 15, 3);
    expect_index(4, 3, 0);
}

TEST_F(FixedIndex, OfNothingIsAnEmptyList) { expect_index(4, 0, 0); }

// A numeric key may read on behind its record, so also into the remainder that is left out.
TEST_F(FixedIndex, DataEndBehindTheRemainder) {
    set_fixed(10);
    const char *buf = bytes(25);
    const kx_list_owner list(_kx_get_indexList(buf, 25));
    EXPECT_EQ(dataEnd, buf + 25);
}

TEST_F(FixedIndex, CountsNoRecordsAndKeepsNoArrays) {
    expect_index(4, 12, 3);
    EXPECT_EQ(argsInfo.totalRecNum, 0);
    EXPECT_EQ(recordInfoArray, nullptr);
    EXPECT_EQ(keyInfoArray, nullptr);
}

TEST_F(FixedIndex, IsSilentUnlessVerbose) {
    EXPECT_EQ(messages_of([&] { expect_index(4, 12, 3); }), "");
    EXPECT_EQ(finish, 0) << "no clock is read";
}

// Kept: the time runs from the stamp that the caller set last, not from the builder's entry.
TEST_F(FixedIndex, TellsTheTimeSinceTheCallersStamp) {
    VERBOSE = 1;
    for (const bool japanese : {false, true}) {
        if (japanese) {
            speak_japanese();
        }
        start = 1000 - kx_i64{5000000} * 1000;
        const std::string text = messages_of([&] { expect_index(4, 12, 3); });
        EXPECT_EQ(start, 1000 - kx_i64{5000000} * 1000) << "the stamp stays";
        EXPECT_GE(finish, 0);
        char line[200];
        std::snprintf(line, sizeof line, "[_kx_get_indexList]がかかった[%8.0f]msです。\n",
                      static_cast<double>(finish - start) / 1000000.0 * 1000.0);
        EXPECT_EQ(text, line);
    }
}

TEST_F(FixedIndex, TellsShortTimesEightPlacesWide) {
    VERBOSE = 1;
    set_fixed(4);
    start = std::clock();
    const std::string text = messages_of([&] { kx_list_destroy(_kx_get_indexList(bytes(8), 8), nullptr); });
    EXPECT_EQ(steady(text), "[_kx_get_indexList]がかかった[#]msです。\n");
}

/// A pool of a few KiB that cannot grow and holds the index of `size` bytes or not.
std::string refused(kx_i64 record_length, kx_i64 size, const char *buf) {
    argsInfo.recLen = record_length;
    return messages_of([&] { EXPECT_EQ(_kx_get_indexList(buf, size), nullptr); });
}

TEST_F(FixedIndex, RefusedSlotsAreReportedWithTheirSize) {
    use_pool(4096, false);
    set_fixed(1);
    const char *buf = bytes(2048);
    EXPECT_EQ(refused(1, 2048, buf), "☆ Failed to allocate [16]KB memory!\n");
    EXPECT_EQ(refused(1, 1000, buf), "☆ Failed to allocate [8]KB memory!\n");
    speak_japanese();
    EXPECT_EQ(refused(1, 2048, buf), "☆[16]KBメモリの割当は失敗しました！\n");
    EXPECT_EQ(memPool->num, 0) << "the list record is given back";
    EXPECT_EQ(memPool->qnum, 0);
}

TEST_F(FixedIndex, RefusedSystemMemoryIsReported) {
    use_pool(4096, true);
    set_fixed(1);
    const char *buf = bytes(2048);
    const Fault fault({.onwards = true});
    EXPECT_EQ(refused(1, 2048, buf), "☆ Failed to allocate [16]KB memory!\n");
    EXPECT_EQ(memPool->num, 0);
}

TEST_F(FixedIndex, ARefusedListIsReported) {
    use_pool(4096, false);
    set_fixed(1);
    while (kx_malloc(memPool, 8) != nullptr) { // to the last byte
    }
    EXPECT_EQ(refused(1, 100, bytes(100)), "☆ Failed to allocate [1]KB memory!\n");
}

TEST_F(FixedIndex, WorksAgainAfterARefusal) {
    use_pool(16384, false);
    set_fixed(1);
    EXPECT_NE(refused(1, 5000, bytes(5000)), "");
    expect_index(1, 1000, 1000);
}

} // namespace
