// kx_views_test.cpp: records of the temporary file as they are read, whole, cut off and damaged.
#include "kx_sort/kx_views.h"

#include <string>

#include <gtest/gtest.h>

#include "support/lists.h"

namespace {

using namespace orkan;
using std::string;
using support::int32_bytes;

Bytes all_of(const string &held) { return {held.data(), to_i64(held.size())}; }

TEST(KxViews, ALineTakesItsHeaderAndItsBytesInTheFile) {
    const string held = int32_bytes(3) + "ab\nrest";
    const TempRecord record = read_variable_temp(all_of(held));
    EXPECT_EQ(string(record.bytes.ptr, to_size(record.bytes.len)), "ab\n");
    EXPECT_EQ(record.stored_size, 7);
}

TEST(KxViews, ALineWithoutBytesIsOne) {
    const string held = int32_bytes(0);
    EXPECT_EQ(read_variable_temp(all_of(held)).stored_size, 4);
}

TEST(KxViews, ANegativeLengthOrHalfAHeaderIsNoLine) {
    for (const string &held : {int32_bytes(-1) + "abc", string("\1\0\0", 3), string()}) {
        const TempRecord record = read_variable_temp(all_of(held));
        EXPECT_EQ(record.stored_size, -1);
        EXPECT_EQ(record.bytes.len, 0);
    }
}

TEST(KxViews, ACsvRecordTakesItsHeaderItsLocatorsAndItsBytesInTheFile) {
    const string held = int32_bytes(2) + int32_bytes(1) + int32_bytes(0) + int32_bytes(1) + "a\nrest";
    const TempRecord record = read_csv_temp(all_of(held));
    EXPECT_EQ(string(record.bytes.ptr, to_size(record.bytes.len)), "a\n");
    EXPECT_EQ(record.locators.len, 8);
    EXPECT_EQ(record.stored_size, 18);
}

TEST(KxViews, ACsvRecordMayHaveNoBytesAndNoFields) {
    const string held = int32_bytes(0) + int32_bytes(0);
    EXPECT_EQ(read_csv_temp(all_of(held)).stored_size, 8);
}

TEST(KxViews, ANegativeLengthOrCountIsNoCsvRecord) {
    for (const string &held : {int32_bytes(-1) + int32_bytes(0), int32_bytes(0) + int32_bytes(-1)}) {
        EXPECT_EQ(read_csv_temp(all_of(held)).stored_size, -1);
    }
}

TEST(KxViews, ABufferHoldsFromTheCurrentRecordToItsEnd) {
    char bytes[] = "abcdefgh";
    UnitDataInfo run{};
    run.buf = bytes;
    run.bufSize = 6;
    run.bufOffset = 2;
    EXPECT_EQ(held_from_current(run).ptr, bytes + 2);
    EXPECT_EQ(held_from_current(run).len, 4);
    for (const kx_i64 outside : {-1, 6, 7}) {
        run.bufOffset = outside;
        EXPECT_EQ(held_from_current(run).len, 0);
    }
}

TEST(KxViews, AStretchLiesWithinTheRecordOrIsEmpty) {
    const string text = "abcdef";
    const Bytes whole = all_of(text);
    EXPECT_EQ(stretch_within(whole, 2, 3).len, 3);
    EXPECT_EQ(stretch_within(whole, 2, 100).len, 4);
    EXPECT_EQ(stretch_within(whole, 6, 1).len, 0);
    EXPECT_EQ(stretch_within(whole, 6, 1).ptr, text.data() + 6) << "at its end there is a place";
    EXPECT_EQ(stretch_within(whole, 7, 1).ptr, nullptr);
    EXPECT_EQ(stretch_within(whole, -1, 1).ptr, nullptr);
    EXPECT_EQ(stretch_within(whole, 1, -1).len, 0);
}

} // namespace
