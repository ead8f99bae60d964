// kx_budget_test.cpp: the pool size for a run, and whether the run sorts in memory.
#include "kx_sort/kx_budget.h"

#include <limits>

#include "support/capture.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;

constexpr kx_i64 kMiB = 1048576;
constexpr kx_i64 kMost = std::numeric_limits<kx_i64>::max();
constexpr kx_i64 kUntouched = 7;

enum class Form { fixed, lines, csv_keys, csv_whole };

/// What the rule depends on.
struct Case {
    const char *name;
    Form form = Form::lines;
    kx_i64 files = 0;   ///< total bytes of the inputs
    kx_i64 records = 0; ///< fixed-length records in them
    kx_i64 wanted = 0;  ///< -W
    bool stable = false;
    kx_i64 pool = 0;      ///< expected
    kx_i64 in_memory = 1; ///< expected; kUntouched: left as it was
};

class Budget : public RunState {
  protected:
    static void configure(const Case &c) {
        argsInfo.bFixVar = c.form == Form::fixed ? kFix : kVariable;
        argsInfo.bCsv = c.form == Form::csv_keys || c.form == Form::csv_whole ? 1 : 0;
        set_keys(c.form == Form::csv_whole ? std::vector<KeyInfo>{} : std::vector<KeyInfo>{key(1, 0)});
        argsInfo.totalFileSize = c.files;
        argsInfo.totalRecNum = c.records;
        argsInfo.totalMemSize = c.wanted;
        argsInfo.bStabilize = c.stable ? 1 : 0;
        argsInfo.bMemory = kUntouched;
    }

    static void expect(const Case &c) {
        SCOPED_TRACE(c.name);
        configure(c);
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(kx_calculate_memsize(), c.pool); }), "");
        EXPECT_EQ(argsInfo.bMemory, c.in_memory);
        EXPECT_EQ(argsInfo.totalMemSize, c.wanted) << "the driver's to change";
        EXPECT_EQ(argsInfo.totalFileSize, c.files);
    }

    /// The messages of a verbose run of the rule.
    static std::string verbose(const Case &c) {
        configure(c);
        VERBOSE = 1;
        return messages_of([&] { EXPECT_EQ(kx_calculate_memsize(), c.pool) << c.name; });
    }
};

TEST_F(Budget, IsTheDataTheReserveAndTheIndex) {
    const kx_i64 size = 32 * kMiB;
    for (const Case &c : {
             Case{.name = "lines", .form = Form::lines, .files = size, .pool = size + kMiB + size / 4},
             Case{.name = "CSV by keys", .form = Form::csv_keys, .files = size, .pool = size + kMiB + size / 2},
             Case{.name = "CSV whole", .form = Form::csv_whole, .files = size, .pool = size + kMiB + size},
             Case{.name = "fixed", .form = Form::fixed, .files = size, .records = 1000, .pool = size + kMiB + 8000},
             Case{.name = "fixed, not counted", .form = Form::fixed, .files = size, .pool = size + kMiB},
         }) {
        expect(c);
    }
}

TEST_F(Budget, AStableSortTakesTheIndexTwice) {
    const kx_i64 size = 32 * kMiB;
    for (const Case &c : {
             Case{.name = "lines", .files = size, .stable = true, .pool = size + kMiB + size / 2},
             Case{.name = "CSV", .form = Form::csv_keys, .files = size, .stable = true, .pool = size + kMiB + size},
             Case{.name = "CSV whole",
             .form = Form::csv_whole,
             .files = size,
             .stable = true,
             .pool = size + kMiB + 2 * size},
             Case{.name = "fixed",
             .form = Form::fixed,
             .files = size,
             .records = 1000,
             .stable = true,
             .pool = size + kMiB + 16000},
         }) {
        expect(c);
    }
}

// The index is rounded down before it is doubled.
TEST_F(Budget, DividesWithoutRounding) {
    const kx_i64 odd = 20000003;
    expect({.name = "a quarter", .files = odd, .pool = odd + kMiB + 5000000});
    expect({.name = "two quarters", .files = odd, .stable = true, .pool = odd + kMiB + 10000000});
    expect({.name = "a half", .form = Form::csv_keys, .files = odd, .pool = odd + kMiB + 10000001});
    expect({.name = "two halves", .form = Form::csv_keys, .files = odd, .stable = true, .pool = odd + kMiB + 20000002});
}

TEST_F(Budget, ARecordLengthWinsOverCsv) {
    const kx_i64 size = 32 * kMiB;
    configure({.name = "", .form = Form::fixed, .files = size, .records = 10});
    argsInfo.bCsv = 1;
    EXPECT_EQ(kx_calculate_memsize(), size + kMiB + 80);
}

TEST_F(Budget, TheWantedSizeIsALimitAndNotAFloor) {
    const kx_i64 size = 32 * kMiB;
    const kx_i64 need = size + kMiB + size / 4;
    expect({.name = "just enough", .files = size, .wanted = need, .pool = need, .in_memory = 1});
    expect({.name = "one too few", .files = size, .wanted = need - 1, .pool = need - 1, .in_memory = 0});
    expect({.name = "plenty", .files = size, .wanted = 1000 * kMiB, .pool = need, .in_memory = 1});
    expect({.name = "the limit counts the second index",
            .files = size,
            .wanted = need,
            .stable = true,
            .pool = need,
            .in_memory = 0});
    expect({.name = "below the minimum", .files = size, .wanted = 4096, .pool = 16 * kMiB, .in_memory = 0});
    expect(
        {.name = "beyond the maximum", .files = 4096 * kMiB, .wanted = 3072 * kMiB, .pool = 64 * kMiB, .in_memory = 0});
}

TEST_F(Budget, WithoutDataTheWantedSizeOrSixtyFourMiB) {
    expect({.name = "none given", .pool = 64 * kMiB, .in_memory = kUntouched});
    expect({.name = "stable", .stable = true, .pool = 64 * kMiB, .in_memory = kUntouched});
    expect({.name = "given", .wanted = 20 * kMiB, .pool = 20 * kMiB, .in_memory = kUntouched});
    expect({.name = "small", .wanted = 1, .pool = 16 * kMiB, .in_memory = kUntouched});
    expect({.name = "minimum", .wanted = 16777216, .pool = 16777216, .in_memory = kUntouched});
    expect({.name = "maximum", .wanted = 2147483647, .pool = 2147483647, .in_memory = kUntouched});
    expect({.name = "too much", .wanted = 2147483648, .pool = 64 * kMiB, .in_memory = 0});
    expect({.name = "far too much", .wanted = kMost, .pool = 64 * kMiB, .in_memory = 0});
}

TEST_F(Budget, SmallDataGetTheMinimumAndSortInMemory) {
    expect({.name = "a byte", .files = 1, .pool = 16 * kMiB});
    expect({.name = "a byte, limited", .files = 1, .wanted = 2 * kMiB, .pool = 16 * kMiB});
    // The limit is looked at before the minimum.
    expect({.name = "a byte, limited below the reserve", .files = 1, .wanted = 5, .pool = 16 * kMiB, .in_memory = 0});
}

TEST_F(Budget, BoundsToTheByte) {
    // Fixed-length data without an index: the size is the data and the reserve.
    const auto fixed = [](const char *name, kx_i64 size, kx_i64 pool, kx_i64 in_memory) {
        expect({.name = name, .form = Form::fixed, .files = size - kMiB, .pool = pool, .in_memory = in_memory});
    };
    fixed("one below the minimum", 16777215, 16777216, 1);
    fixed("the minimum", 16777216, 16777216, 1);
    fixed("one above the minimum", 16777217, 16777217, 1);
    fixed("one below the maximum", 2147483646, 2147483646, 1);
    fixed("the maximum", 2147483647, 2147483647, 1);
    fixed("one above the maximum", 2147483648, 67108864, 0);
}

TEST_F(Budget, SizesNearTheEndOfTheNumbersSplit) {
    for (const kx_i64 size : {kMost, kMost - 1, kMost - kMiB, kMost / 2 + 1, kMost / 2, kMost / 3, kMost / 4}) {
        for (const bool stable : {false, true}) {
            for (const Form form : {Form::fixed, Form::lines, Form::csv_keys, Form::csv_whole}) {
                expect({.name = "huge",
                        .form = form,
                        .files = size,
                        .records = size,
                        .stable = stable,
                        .pool = 64 * kMiB,
                        .in_memory = 0});
                expect({.name = "huge, limited",
                        .form = form,
                        .files = size,
                        .records = size,
                        .wanted = 32 * kMiB,
                        .stable = stable,
                        .pool = 32 * kMiB,
                        .in_memory = 0});
            }
        }
    }
    expect(
        {.name = "many records", .form = Form::fixed, .files = 1, .records = kMost, .pool = 64 * kMiB, .in_memory = 0});
}

// By design the bounds read the size as unsigned, so a negative one is beyond the maximum, not below the minimum.
TEST_F(Budget, ANegativeWishIsBeyondTheMaximum) {
    expect({.name = "wanted, no data", .wanted = -1, .pool = 64 * kMiB, .in_memory = 0});
    expect({.name = "wanted", .files = 100, .wanted = -1, .pool = 64 * kMiB, .in_memory = 0});
}

TEST_F(Budget, NegativeDataAreBeyondTheMaximum) {
    expect({.name = "data", .files = -20 * kMiB, .pool = 64 * kMiB, .in_memory = 0});
}

TEST_F(Budget, SaysInAVerboseRunWhichBoundItUsed) {
    const std::string most = "最大メモリサイズ[2097152]KBを超えたので、デフォルトメモリサイズを使用する。\n";
    const std::string least = "最小メモリサイズ[16384]KBを使用する。\n";
    EXPECT_EQ(verbose({.name = "large", .files = 4096 * kMiB, .pool = 64 * kMiB}), most);
    EXPECT_EQ(verbose({.name = "large wish", .wanted = 4096 * kMiB, .pool = 64 * kMiB}), most);
    EXPECT_EQ(verbose({.name = "small", .files = 1, .pool = 16 * kMiB}), least);
    EXPECT_EQ(verbose({.name = "small wish", .wanted = 1, .pool = 16 * kMiB}), least);
    EXPECT_EQ(verbose({.name = "neither", .files = 32 * kMiB, .pool = 41 * kMiB}), "");
    EXPECT_EQ(verbose({.name = "the default", .pool = 64 * kMiB}), "");
    EXPECT_EQ(verbose({.name = "limited", .files = 32 * kMiB, .wanted = 20 * kMiB, .pool = 20 * kMiB}), "");
    speak_japanese();
    EXPECT_EQ(verbose({.name = "large", .files = 4096 * kMiB, .pool = 64 * kMiB}), most);
    EXPECT_EQ(verbose({.name = "small", .files = 1, .pool = 16 * kMiB}), least);
}

TEST_F(Budget, TheReserveIsOneMiB) { EXPECT_EQ(BASIC_SIZE, kMiB); }

} // namespace
