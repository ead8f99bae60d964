// memory_test.cpp: the memory pool cannot be had in the wanted size, or at all.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "orkan/kx_run_state.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using namespace support;

using Args = std::vector<string>;
using Sizes = std::vector<orkan::kx_i64>;

constexpr orkan::kx_i64 kMib = orkan::kx_i64{1} << 20;
constexpr orkan::kx_i64 kMinimum = 16 * kMib, kDefault = 64 * kMib, kWanted = 100 * kMib;

void refuse(const Sizes &sizes) {
    for (const orkan::kx_i64 size : sizes) {
        support::refuse_allocations({size});
    }
}

const string kToDefault = "☆ Failed to allocate [102400]KB memory! Allocating default memory [65536]KB.\n";
const string kToDefaultJa = "☆[102400]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n";
const string kToMinimum = "☆ Failed to allocate [65536]KB memory! Allocating minimum memory [16384]KB.\n";
const string kToMinimumJa = "☆[65536]KBメモリの割当は失敗しました！最小メモリ[16384]KBを割当します。\n";
const string kNoSort = "☆ Failed to allocate [16384]KB memory, sorting cannot be performed!\n";
const string kNoSortJa = "☆[16384]KBメモリの割当は失敗しました、ソートできませんでした！\n";

// Runs without data: -W is what they want.

struct Row {
    const char *name;
    Args args;
    Sizes refused;
    int status;
    string english, japanese; ///< between the banner and the end
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Pool : public testing::TestWithParam<Row> {};

TEST_P(Pool, FallsBackOrFails) {
    const Row &row = GetParam();
    for (const bool japanese : {false, true}) {
        SCOPED_TRACE(japanese);
        const Box box;
        box.write("empty", "");
        const Outcome o =
            box.run({.args = row.args, .lang = japanese ? kJapanese : "C", .before = [&row] { refuse(row.refused); }});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, row.status);
        EXPECT_EQ(o.out, "");
        const string end = row.status == 0 ? kEnd : japanese ? kFailedJa : kFailed;
        EXPECT_EQ(o.err, kStart + (japanese ? row.japanese : row.english) + end);
        EXPECT_EQ(box.files(), "empty tmp/");
    }
}

INSTANTIATE_TEST_SUITE_P(AboveTheDefault, Pool,
                         testing::Values(
                             // By design: with the minimum a run without inputs merges nothing, successfully.
                             Row{"minimum_without_inputs",
                                 {"-W100m"},
                                 {kWanted, kDefault},
                                 0,
                                 kToDefault + kToMinimum,
                                 kToDefaultJa + kToMinimumJa},
                             Row{"minimum_without_inputs_merging",
                                 {"-M", "-W100m"},
                                 {kWanted, kDefault},
                                 0,
                                 kToDefault + kToMinimum,
                                 kToDefaultJa + kToMinimumJa},
                             Row{"no_memory_at_all",
                                 {"-W100m", "empty"},
                                 {kWanted, kDefault, kMinimum},
                                 1,
                                 kToDefault + kToMinimum + kNoSort,
                                 kToDefaultJa + kToMinimumJa + kNoSortJa}),
                         [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    UpToTheDefault, Pool,
    testing::Values(
        // By design: the default is announced but not tried, and the second message is Japanese everywhere.
        Row{"minimum_wanted",
            {"-L2", "-W1", "empty"},
            {kMinimum},
            1,
            "☆ Failed to allocate [16384]KB memory! Allocating default memory [65536]KB.\n" + kNoSortJa,
            "☆[16384]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n" + kNoSortJa},
        Row{"default_wanted",
            {"-L2"},
            {kDefault},
            1,
            "☆ Failed to allocate [65536]KB memory! Allocating default memory [65536]KB.\n" + kNoSortJa,
            "☆[65536]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n" + kNoSortJa},
        Row{"odd_size_rounds_up",
            {"-L2", "-W20000001", "empty"},
            {20000001},
            1,
            "☆ Failed to allocate [19532]KB memory! Allocating default memory [65536]KB.\n" + kNoSortJa,
            "☆[19532]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n" + kNoSortJa},
        Row{"free_list_refused",
            {"-L2", "-W1", "empty"},
            {8192},
            1,
            "☆ Failed to allocate [16384]KB memory! Allocating default memory [65536]KB.\n" + kNoSortJa,
            "☆[16384]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n" + kNoSortJa}),
    [](const auto &row) { return row.param.name; });

// The temporary file is refused too, to end the run where it would begin to sort.
TEST(PoolFallback, AnyFailedCreationRulesOutTheSortInMemory) {
    const Box box;
    box.write("in.dat", "");
    std::filesystem::resize_file(box.path("in.dat"), 64 * kMib); // with the reserve and 64 index items 65 MiB + 512
    const Outcome o = box.run({.args = {"-L1048576", "-O", "out", "in.dat"}, .before = [] {
                                   support::refuse_allocations_from(kDefault + 1);
                                   support::fail_call(orkan::kx_site::open, 1);
                               }});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(support::steady(o), kStart +
                                      "☆ Failed to allocate [66561]KB memory! Allocating default memory [65536]KB.\n" +
                                      "☆ Failed to create temporary file [tmp/orkan_<pid>.tmp]!\n" + kFailed);
    EXPECT_EQ(box.files(), "in.dat tmp/");
}

TEST(PoolFallback, TheDefaultKeepsPresortedMergeAndStandardInput) {
    const Box box;
    box.write("empty", "");
    const auto begins = [&box](const Args &args, const string &line) {
        const string err = box.run({.args = args, .input = "b2a1", .before = [] { refuse({kWanted}); }}).err;
        return err.find(kToDefault) != string::npos && err.find(line) != string::npos;
    };
    EXPECT_TRUE(
        begins({"-Verbose", "-M", "-L2", "-W100m", "empty"}, "\n--- File merge sort processing started.--- \n"));
    EXPECT_TRUE(begins({"-Verbose", "-L2", "-W100m"}, "\n--- Standard input sort processing started.--- \n"));
}

TEST(PoolFallback, TheBudgetBecomesTheFallbacksSize) {
    const Box box;
    box.write("empty", "");
    const Outcome o = box.run({.args = {"-Verbose", "-L2", "-W100m", "empty"}, .before = [] { refuse({kWanted}); }});
    EXPECT_EQ(support::between(o.err, kToDefault, "KB.\n"), "Memory pool size is [65536]");
}

// The buffer for the data refused, although the pool was made for it: only when the sizes grew in between.

bool grow_then_refuse(orkan::kx_site site, orkan::kx_i64 bytes) {
    if (site == orkan::kx_site::allocate && bytes == kMinimum) {
        orkan::argsInfo.totalFileSize = 100 * kMib + 1023;
    }
    return site == orkan::kx_site::open || (site == orkan::kx_site::allocate && bytes >= 100 * kMib);
}

TEST(DataBuffer, RefusedMeansTemporaryFiles) {
    const Box box;
    box.write("in.dat", "b2a1");
    const auto before = [] { orkan::kx_fault_hook = grow_then_refuse; };
    const Outcome o = box.run({.args = {"-L2", "-O", "out", "in.dat"}, .before = before});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(support::steady(o), kStart + "☆ Failed to allocate [102400]KB memory!\n" +
                                      "☆ Insufficient memory, using temporary files for sorting.\n" +
                                      "☆ Using default memory [65536]KB.\n" +
                                      "☆ Failed to create temporary file [tmp/orkan_<pid>.tmp]!\n" + kFailed);
    const Outcome ja = box.run({.args = {"-L2", "-O", "out", "in.dat"}, .lang = kJapanese, .before = before});
    EXPECT_EQ(support::steady(ja), kStart + "☆[102400]KBメモリの割当は失敗しました！\n" +
                                       "☆メモリ不足の為、一時ファイルを使用してソートします。\n" +
                                       "☆デフォルトなメモリ[65536]KBを使用します。\n" +
                                       "☆一時ファイル[tmp/orkan_<pid>.tmp]は作成できませんでした！\n" + kFailedJa);
    EXPECT_EQ(box.files(), "in.dat tmp/");
}

// The budget's own lines

TEST(Budget, ShowsItsLimitsInAVerboseRun) {
    const Box box;
    box.write("in.dat", "b2a1");
    box.write("empty", "");
    const auto lines = [&box](const Args &args) {
        return support::between(box.run({.args = args}).err, "--- Memory pool processing started.--- \n", "\n\n###");
    };
    EXPECT_EQ(lines({"-Verbose", "-L2", "in.dat"}),
              "最小メモリサイズ[16384]KBを使用する。\nMemory pool size is [16384]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2", "-W1m", "empty"}),
              "最小メモリサイズ[16384]KBを使用する。\nMemory pool size is [16384]KB.");
    EXPECT_EQ(
        lines({"-Verbose", "-L2", "-W2048m", "empty"}),
        "最大メモリサイズ[2097152]KBを超えたので、デフォルトメモリサイズを使用する。\nMemory pool size is [65536]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2", "-W2147483647", "empty"}), "Memory pool size is [2097152]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2", "empty"}), "Memory pool size is [65536]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2"}), "Memory pool size is [65536]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2", "-W16777216", "empty"}), "Memory pool size is [16384]KB.");
    EXPECT_EQ(lines({"-Verbose", "-L2", "-W16777215", "empty"}),
              "最小メモリサイズ[16384]KBを使用する。\nMemory pool size is [16384]KB.");
}

} // namespace
