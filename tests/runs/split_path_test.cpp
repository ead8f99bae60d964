// split_path_test.cpp: the temporary file of the split path: created, filled, opened again, deleted; what fails there.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using orkan::kx_site;
using std::string;
using namespace support;

using Args = std::vector<string>;

/// The n-th call fails at the first site, and at the second.
struct Fault {
    kx_site site;
    int n;
};

void install(const std::vector<Fault> &faults) {
    for (const Fault &fault : faults) {
        support::fail_call(fault.site, fault.n);
    }
}

string in_tmp(const Outcome &o) { return "tmp/orkan_" + std::to_string(o.pid) + ".tmp"; }

struct Row {
    const char *name;
    Args args;
    std::vector<Fault> faults;
    string english, japanese; ///< between the banner and the end; "%" stands for the temporary path
    bool stays = false;       ///< the temporary file stays on disk
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

string with_path(string text, const string &path) {
    for (std::size_t at = 0; (at = text.find('%', at)) != string::npos; at += path.size()) {
        text.replace(at, 1, path);
    }
    return text;
}

const auto name_of = [](const auto &row) { return row.param.name; };

// The split phase. "in.dat" has two records of 2 bytes.

class Split : public testing::TestWithParam<Row> {};

TEST_P(Split, FailsWithItsMessage) {
    const Row &row = GetParam();
    for (const bool japanese : {false, true}) {
        SCOPED_TRACE(japanese);
        const Box box;
        box.write("in.dat", "b2a1");
        box.write("no_line", string(3000, 'x'));
        box.write("empty", "");
        const Outcome o =
            box.run({.args = row.args, .lang = japanese ? kJapanese : "C", .before = [&row] { install(row.faults); }});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + with_path(japanese ? row.japanese : row.english, in_tmp(o)) +
                             (japanese ? kFailedJa : kFailed));
        EXPECT_EQ(box.files(), "empty in.dat no_line tmp/" + (row.stays ? " " + in_tmp(o) : ""));
    }
}

const Args kFixed = {"-L2", "-W1", "-O", "out", "in.dat"};
const Args kNoHeader = {"-C", "-H", "-W1", "-O", "out", "no_line"};
const Args kEmptyCsv = {"-C", "-H", "-W1", "-O", "out", "empty"};

const string kUndeleted = "☆ Failed to delete temporary file [%]!\n",
             kUndeletedJa = "☆一時ファイル[%]は削除できませんでした！\n";
const string kNoInput = "☆ Cannot open input file [in.dat]!\n",
             kNoInputJa = "☆入力ファイル[in.dat]は開くことはできません！\n";
const string kSplit = "☆ Error occurred during input file split sort!\n";
const string kSplitJa = "☆入力ファイルの分割ソート中にエラーが発生しました！\n";
const string kUnwritten = "☆ Error occurred while writing to output file during split sort!\n";
const string kUnwrittenJa = "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n";
const string kMerge = "☆ Error occurred during temporary file merge sort!\n";
const string kMergeJa = "☆一時ファイルのマージソート中にエラーが発生しました！\n";
const string kUnsought = "☆ fseek operation on temporary file failed!\n";
const string kUnsoughtJa = "☆一時ファイルに対するfseek操作は失敗しました!\n";
const string kUnsplit = "☆ Error occurred while reading input file during split sort!\n" + kSplit;
const string kUnsplitJa = "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n" + kSplitJa;
const string kHeader = "☆ Error occurred while reading CSV file header!\n";
const string kHeaderJa = "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n";

INSTANTIATE_TEST_SUITE_P(
    Files, Split,
    testing::Values(
        Row{"file_not_created",
            kFixed,
            {{kx_site::open, 1}},
            "☆ Failed to create temporary file [%]!\n",
            "☆一時ファイル[%]は作成できませんでした！\n"},
        Row{"buffer_refused",
            kFixed,
            {{kx_site::setvbuf, 1}},
            "☆ Failed to set temporary file buffer!\n",
            "☆臨時ファイルのバッファの設定はできません！\n",
            true},
        Row{"input_not_opened", kFixed, {{kx_site::open, 2}}, kNoInput, kNoInputJa},
        Row{"input_not_opened_nor_deleted",
            kFixed,
            {{kx_site::open, 2}, {kx_site::unlink, 1}},
            kNoInput + kUndeleted,
            kNoInputJa + kUndeletedJa,
            true},
        Row{"input_not_read", kFixed, {{kx_site::read, 1}}, kUnsplit, kUnsplitJa},
        Row{"input_not_read_nor_deleted",
            kFixed,
            {{kx_site::read, 1}, {kx_site::unlink, 1}},
            kUnsplit + kUndeleted,
            kUnsplitJa + kUndeletedJa,
            true},
        // No header is looked for in fixed-length records.
        Row{"csv_is_ignored", {"-L2", "-C", "-H", "-W1", "in.dat"}, {{kx_site::read, 1}}, kUnsplit, kUnsplitJa},
        Row{"input_not_unbuffered",
            kFixed,
            {{kx_site::setvbuf, 2}},
            "☆ Failed to set input buffer!\n",
            "☆入力バッファの設定はできません！\n"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    Sorts, Split,
    testing::Values(
        Row{"last_block_not_written", kFixed, {{kx_site::write, 1}}, kUnwritten, kUnwrittenJa}, // noticed at the close
        Row{"block_not_sought",
            {"-L2", "-W1", "in.dat"},
            {{kx_site::seek, 1}},
            kUnsought + kMerge,
            kUnsoughtJa + kMergeJa},
        Row{"block_not_sought_nor_deleted",
            {"-L2", "-W1", "in.dat"},
            {{kx_site::seek, 1}, {kx_site::unlink, 1}},
            kUnsought + kMerge + "\n" + kUndeleted,
            kUnsoughtJa + kMergeJa + "\n" + kUndeletedJa,
            true}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    CsvHeader, Split,
    testing::Values(
        // By design: these two are Japanese everywhere.
        Row{"no_newline_in_the_file", kNoHeader, {}, kHeaderJa, kHeaderJa},
        Row{"empty_file", kEmptyCsv, {}, kHeaderJa, kHeaderJa},
        Row{"nor_deleted", kNoHeader, {{kx_site::unlink, 1}}, kHeaderJa + kUndeleted, kHeaderJa + kUndeletedJa, true},
        Row{"first_read_fails", kNoHeader, {{kx_site::read, 1}}, kHeader, kHeaderJa},
        Row{"second_read_fails", kNoHeader, {{kx_site::read, 2}}, kHeader, kHeaderJa}),
    name_of);

TEST(SplitFolder, GoneSinceItWasChecked) {
    for (const bool japanese : {false, true}) {
        const Box box;
        box.make_folder("short");
        box.write("in.dat", "b2a1");
        // The folder goes away when the pool is made, behind the checks of the settings.
        const Outcome o =
            box.run({.args = {"-L2", "-W1", "-T", "short", "in.dat"}, .lang = japanese ? kJapanese : "C", .before = [] {
                         orkan::kx_fault_hook = [](kx_site, orkan::kx_i64 bytes) {
                             return bytes == 16777216 && rmdir("short") != 0;
                         };
                     }});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart +
                             (japanese ? "☆一時フォルダ[short/]は存在しません、又は権限不足です！\n"
                                       : "☆ Temporary folder [short/] does not exist or insufficient permissions!\n") +
                             (japanese ? kFailedJa : kFailed));
    }
}

// The merge phase. A run without inputs gets there when only the minimum of memory is to be had; it merges nothing.

void grant_the_minimum(const std::vector<Fault> &faults) {
    install(faults);
    support::refuse_allocations({104857600, 67108864});
}

const string kMemory = "☆ Failed to allocate [102400]KB memory! Allocating default memory [65536]KB.\n"
                       "☆ Failed to allocate [65536]KB memory! Allocating minimum memory [16384]KB.\n";
const string kMemoryJa = "☆[102400]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n"
                         "☆[65536]KBメモリの割当は失敗しました！最小メモリ[16384]KBを割当します。\n";

class Merge : public testing::TestWithParam<Row> {};

TEST_P(Merge, FailsWithItsMessage) {
    const Row &row = GetParam();
    for (const bool japanese : {false, true}) {
        SCOPED_TRACE(japanese);
        const Box box;
        const Outcome o = box.run({.args = row.args, .lang = japanese ? kJapanese : "C", .before = [&row] {
                                       grant_the_minimum(row.faults);
                                   }});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + (japanese ? kMemoryJa : kMemory) +
                             with_path(japanese ? row.japanese : row.english, in_tmp(o)) +
                             (japanese ? kFailedJa : kFailed));
        const bool has_output = box.read("out").empty();
        EXPECT_EQ(box.files(), (has_output ? "out tmp/" : "tmp/") + (row.stays ? " " + in_tmp(o) : ""));
        EXPECT_EQ(has_output, row.name == string("not_deleted"));
    }
}

const Args kNothing = {"-W100m", "-O", "out"};
const string kNoOutput = "☆ Cannot create output file [out]!\n", kNoOutputJa = "☆出力ファイル[out]は作成できません！\n";

INSTANTIATE_TEST_SUITE_P(
    Files, Merge,
    testing::Values(Row{"not_opened_again",
                        kNothing,
                        {{kx_site::open, 2}},
                        "☆ Cannot open temporary file [%]!\n",
                        "☆一時ファイル[%]は開くことはできません！\n",
                        true},
                    Row{"output_not_created", kNothing, {{kx_site::open, 3}}, kNoOutput, kNoOutputJa},
                    Row{"output_not_created_nor_deleted",
                        kNothing,
                        {{kx_site::open, 3}, {kx_site::unlink, 1}},
                        kNoOutput + "\n" + kUndeleted,
                        kNoOutputJa + "\n" + kUndeletedJa,
                        true},
                    Row{"not_deleted", kNothing, {{kx_site::unlink, 1}}, "\n" + kUndeleted, "\n" + kUndeletedJa, true}),
    name_of);

TEST(MergeOfNothing, WritesAnEmptyOutput) {
    const Box box;
    const Outcome o = box.run({.args = kNothing, .before = [] { grant_the_minimum({}); }});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, kStart + kMemory + kEnd);
    EXPECT_EQ(box.files(), "out tmp/");
    EXPECT_EQ(box.read("out"), "");
}

string phases(const char *lang, const string &from, const string &to) {
    const Box box;
    const Outcome o = box.run({.args = {"-Verbose", "-W100m"}, .lang = lang, .before = [] { grant_the_minimum({}); }});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out.find("orkan"), o.out.find("orkan_")); // the dumps only
    return support::between(support::steady(o), from, to);
}

TEST(MergeOfNothing, ShowsItsPhasesInAVerboseRun) {
    EXPECT_EQ(phases("C", kMemory, "\n---固定長---\n"), "\n--- Split sort with temporary files started.--- <time> \n"
                                                        "Number of split blocks: [0].\n"
                                                        "Split sort took [#]ms.\n"
                                                        "--- Split sort with temporary files completed.--- <time> \n"
                                                        "\n--- Temporary file merge sort started.--- <time> \n"
                                                        "Merge sort took [#]ms.\n"
                                                        "--- Temporary file merge sort completed.--- <time> \n");
    EXPECT_EQ(phases(kJapanese, kMemoryJa, "\n---固定長---\n"),
              "\n--- 一時ファイルでの分割ソートは開始します。--- <time> \n"
              "分割したブロック数は[0]です。\n"
              "分割ソートがかかった[#]msです。\n"
              "--- 一時ファイルでの分割ソートは完成しました。--- <time> \n"
              "\n--- 一時ファイルのマージソートは開始します。--- <time> \n"
              "マージソートがかかった[#]msです。\n"
              "--- 一時ファイルのマージソートは完成しました。--- <time> \n");
    EXPECT_EQ(phases("C", "\nNumber of sorted records:  ", "\n"), "0");
}

} // namespace
