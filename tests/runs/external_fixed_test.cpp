// external_fixed_test.cpp: whole runs over fixed-length files that do not fit into the memory they are given.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using orkan::kx_site;
using std::string;
using support::Box;
using support::Ending;
using support::fixed_items;
using support::is_sorted_output;
using support::kEnd;
using support::kFailed;
using support::kFailedJa;
using support::kJapanese;
using support::kStart;
using support::Outcome;
using support::Rules;

using Args = std::vector<string>;

const string kReleased = "メモリ解放がかかった[#]msです。\n";

/// Records whose first ten bytes are digits, few of them different; the rest tells every record from all others.
string generated(std::size_t records, std::size_t length) {
    std::mt19937 random(2024);
    string all;
    all.reserve(records * length);
    for (std::size_t i = 0; i < records; ++i) {
        string record =
            std::to_string(100000 + random() % 5000) + std::to_string(1000 + random() % 9000) + std::to_string(i) + ' ';
        record.resize(length, static_cast<char>('a' + random() % 26));
        all += record;
    }
    return all;
}

// 28,000 records of 997 bytes: two blocks, and a buffer that cuts records in both.
class External : public testing::Test {
  protected:
    static constexpr std::size_t kLength = 997, kRecords = 28000;

    static void SetUpTestSuite() {
        data_ = new string(generated(kRecords, kLength));
        box_ = new Box;
        box_->write("in", *data_);
    }
    static void TearDownTestSuite() {
        delete data_;
        delete box_;
    }

    static Rules rules(bool stable, bool unique) {
        return {
            .keys = {{.position = 0, .length = 6}, {.position = 6, .length = 2, .numeric = true, .descending = true}},
            .stable = stable,
            .unique = unique};
    }
    static Outcome run(const Rules &rules, Args more) {
        Args args = {"-L997", "-K0,6", "-K6,2nd", "-O", "out", "-T", "tmp", "in"};
        if (rules.stable) {
            args.insert(args.begin(), "-S");
        }
        if (rules.unique) {
            args.insert(args.begin(), "-U");
        }
        args.insert(args.begin(), more.begin(), more.end());
        return box_->run({.args = args, .time_limit = 300});
    }

    static inline const string *data_;
    static inline const Box *box_;
};

TEST_F(External, AgreesWithTheModel) {
    for (const bool stable : {false, true}) {
        for (const bool unique : {false, true}) {
            SCOPED_TRACE((stable ? "stable " : "") + string(unique ? "unique" : ""));
            const Rules how = rules(stable, unique);
            const Outcome o = run(how, {"-W16M"});
            EXPECT_EQ(o.status, 0);
            EXPECT_EQ(support::steady(o), kStart + kReleased + kEnd);
            EXPECT_EQ(box_->files(), "in out tmp/");
            EXPECT_TRUE(is_sorted_output(box_->read("out"), fixed_items(*data_, kLength, how), how));
        }
    }
}

TEST_F(External, AStableSortGivesWhatItGivesInMemory) {
    ASSERT_EQ(run(rules(true, false), {"-W16M"}).status, 0);
    const string external = box_->read("out");
    ASSERT_EQ(run(rules(true, false), {}).status, 0);
    EXPECT_TRUE(external == box_->read("out"));
}

// Less than the minimum is raised to it, with the same chunks and buffers.
TEST_F(External, ATinyBudgetIsRaised) {
    string lines[2];
    for (const bool tiny : {false, true}) {
        const Outcome o = run(rules(false, false), {tiny ? "-W1" : "-W16M", "-Verbose"});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err.find("最小メモリサイズ[16384]KBを使用する。\n") != string::npos, tiny);
        EXPECT_NE(o.err.find("Memory pool size is [16384]KB.\n"), string::npos);
        EXPECT_NE(o.err.find("\nNumber of split blocks: [2].\n"), string::npos);
        lines[tiny] = support::steady(support::between(o.err, "--- Split sort", "\n---固定長---\n"));
    }
    EXPECT_EQ(lines[0], lines[1]);
}

TEST_F(External, ShowsItsPhasesInAVerboseRun) {
    const Outcome o = run(rules(false, false), {"-W16M", "-Verbose"});
    const string index = "[_kx_get_indexList]がかかった[#]msです。\n";
    EXPECT_EQ(
        support::steady(support::between(o.err, "--- Memory pool processing completed.--- \n", "\n---固定長---\n")),
        "\n--- Split sort with temporary files started.--- <time> \n"
        "分割ソート用バッファサイズは[15237]KBです。\n" +
            index + "ブロック1 を処理しました！ \n" + index +
            "ブロック2 を処理しました！ \n"
            "Number of split blocks: [2].\n"
            "Split sort took [#]ms.\n"
            "--- Split sort with temporary files completed.--- <time> \n"
            "\n--- Temporary file merge sort started.--- <time> \n"
            "各ブロックのバッファサイズは[5759]KB, [5897502]Byteです。\n"
            "一時ファイル⇒ブロックバッファにデータを埋め込みました。\n"
            "総ブロック数:2  完成ブロック番号：" +
            string(o.err.find("番号：1 ") < o.err.find("番号：2 ") ? "1" : "2") +
            " - <time> \n"
            "総ブロック数:1  完成ブロック番号：" +
            string(o.err.find("番号：1 ") < o.err.find("番号：2 ") ? "2" : "1") + " - <time> \n" + kReleased +
            "Merge sort took [#]ms.\n"
            "--- Temporary file merge sort completed.--- <time> \n");
    EXPECT_EQ(support::between(o.err, "\nNumber of sorted records:  ", "\n"), std::to_string(kRecords));
}

// The temporary folder is full: the file may not grow beyond a limit.
TEST_F(External, AFullTemporaryFolder) {
    for (const bool japanese : {false, true}) {
        const Outcome o = box_->run({.args = {"-L997", "-W16M", "-O", "none", "in"},
                                     .lang = japanese ? kJapanese : "C",
                                     .before =
                                         [] {
                                             signal(SIGXFSZ, SIG_IGN);
                                             const rlimit limit{1 << 23, 1 << 23};
                                             setrlimit(RLIMIT_FSIZE, &limit);
                                         },
                                     .time_limit = 300});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + (japanese ? "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n"
                                              "☆入力ファイルの分割ソート中にエラーが発生しました！\n" +
                                                  kFailedJa
                                            : "☆ Error occurred while writing to output file during split sort!\n"
                                              "☆ Error occurred during input file split sort!\n" +
                                                  kFailed));
        EXPECT_EQ(box_->read("none"), "(no file)");
        EXPECT_EQ(box_->files().find("orkan_"), string::npos) << "the temporary file stays";
    }
}

// --- small inputs on the external path -------------------------------------------------------------------------------

struct Small {
    const char *name;
    Args args;
    string output;
};
void PrintTo(const Small &row, std::ostream *to) { *to << row.name; }

class SmallInputs : public testing::TestWithParam<Small> {};

// By design every further input's blocks are looked for from position 0 on, where the first input's blocks are. So of
// several inputs what comes out is this and nothing else. The temporary file is: a2 d1 | b4 c3 e5 f6.
TEST_P(SmallInputs, GiveExactlyThis) {
    const Small &row = GetParam();
    const Box box;
    box.write("one", "d1a2");
    box.write("two", "c3b4e5f6");
    box.write("three", "g7");
    box.write("empty", "");
    Args args = {"-L2", "-W1", "-O", "out"};
    args.insert(args.end(), row.args.begin(), row.args.end());
    const Outcome o = box.run({.args = args});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(support::steady(o), kStart + kReleased + kEnd);
    EXPECT_EQ(box.read("out"), row.output);
    EXPECT_EQ(box.files(), "empty one out three tmp/ two");
}

INSTANTIATE_TEST_SUITE_P(External, SmallInputs,
                         testing::Values(Small{"one_input", {"one"}, "a2d1"},
                                         Small{"two_inputs", {"one", "two"}, "a2a2d1b4c3d1"},
                                         Small{"two_inputs_stable", {"-S", "one", "two"}, "a2a2d1d1b4c3"},
                                         Small{"two_inputs_unique", {"-U", "one", "two"}, "a2d1b4c3d1"},
                                         Small{"the_other_way_round", {"two", "one"}, "b4b4c3c3e5f6"},
                                         Small{"three_inputs", {"one", "two", "three"}, "a2a2a2d1b4c3d1"},
                                         Small{"an_empty_one_first", {"empty", "two"}, "b4c3e5f6"},
                                         Small{"descending", {"-R", "one", "two"}, "d1d1a2f6e5a2"}),
                         [](const auto &row) { return row.param.name; });

struct Failure {
    const char *name;
    Args args;
    std::function<void()> before;
    string english, japanese; ///< between the banner and the end
    string files = "in out tmp/";
};
void PrintTo(const Failure &row, std::ostream *to) { *to << row.name; }

class Failures : public testing::TestWithParam<Failure> {};

TEST_P(Failures, HaveTheirMessages) {
    const Failure &row = GetParam();
    for (const bool japanese : {false, true}) {
        const Box box;
        box.write("in", "d1b2a3c4e");
        Args args = {"-W1", "-O", "out"};
        args.insert(args.end(), row.args.begin(), row.args.end());
        const Outcome o = box.run({.args = args, .lang = japanese ? kJapanese : "C", .before = row.before});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(support::steady(o), kStart + (japanese ? row.japanese + kFailedJa : row.english + kFailed));
        EXPECT_EQ(box.files(), row.files);
    }
}

std::function<void()> failing(kx_site site, int call) {
    return [=] { support::fail_call(site, call); };
}

const string kMerge = "☆ Error occurred during temporary file merge sort!\n",
             kMergeJa = "☆一時ファイルのマージソート中にエラーが発生しました！\n";
const string kUnread = "☆一時ファイルの読み込み中にエラーが発生しました！\n", // by design Japanese everywhere
    kNoBuffer = "☆出力バッファの設定はできません！\n";
const string kUnsplit = "☆ Error occurred while writing to output file during split sort!\n",
             kUnsplitJa = "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n";
const string kUnwritten = "☆ Error occurred while writing output file [out]!\n",
             kUnwrittenJa = "☆出力ファイル[out]の書き込み中にエラーが発生しました！\n";
const string kNoFolder = "☆ Temporary folder [none/] does not exist or insufficient permissions!\n",
             kNoFolderJa = "☆一時フォルダ[none/]は存在しません、又は権限不足です！\n";

INSTANTIATE_TEST_SUITE_P(
    External, Failures,
    testing::Values(
        Failure{"the_temporary_file_not_written",
                {"-L3", "in"},
                failing(kx_site::write, 1),
                kUnsplit,
                kUnsplitJa,
                "in tmp/"},
        Failure{"the_temporary_file_not_closed",
                {"-L3", "in"},
                failing(kx_site::close, 2),
                kUnsplit,
                kUnsplitJa,
                "in tmp/"},
        Failure{
            "no_output_buffer", {"-L3", "in"}, failing(kx_site::setvbuf, 3), kNoBuffer + kMerge, kNoBuffer + kMergeJa},
        Failure{"not_sought",
                {"-L3", "in"},
                failing(kx_site::seek, 1),
                "☆ fseek operation on temporary file failed!\n" + kMerge,
                "☆一時ファイルに対するfseek操作は失敗しました!\n" + kMergeJa},
        Failure{"not_read_again", {"-L3", "in"}, failing(kx_site::read, 4), kUnread + kMerge, kUnread + kMergeJa},
        Failure{"unique_output_not_written",
                {"-L3", "-U", "in"},
                failing(kx_site::write, 2),
                kUnwritten + kMerge,
                kUnwrittenJa + kMergeJa},
        Failure{"output_not_written",
                {"-L3", "in"},
                failing(kx_site::write, 2),
                kReleased + kUnwritten,
                kReleased + kUnwrittenJa}),
    [](const auto &row) { return row.param.name; });

TEST(ExternalRecords, TooLongForAChunkAreRefused) {
    const Box box;
    box.write("in", "");
    constexpr off_t kLength = 15728633; // one more than what the smallest budget can hold with its slot
    for (const bool japanese : {false, true}) {
        ASSERT_EQ(truncate(box.path("in").c_str(), kLength), 0);
        const Outcome o = box.run(
            {.args = {"-L" + std::to_string(kLength), "-W1", "-O", "out", "in"}, .lang = japanese ? kJapanese : "C"});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err,
                  kStart + (japanese ? "☆レコード長[15728633]はメモリ[16384]KBでのソートには長すぎます！\n"
                                       "☆入力ファイルの分割ソート中にエラーが発生しました！\n" +
                                           kFailedJa
                                     : "☆ Record length [15728633] is too long for sorting within [16384]KB memory!\n"
                                       "☆ Error occurred during input file split sort!\n" +
                                           kFailed));
        EXPECT_EQ(box.files(), "in tmp/");
    }
}

TEST(ExternalRecords, LongerThanTheOutputsBuffer) {
    constexpr std::size_t kLength = 700000;
    const Box box;
    string data;
    for (const char key : string("dbacbdaeffbacdeabdcdfeabcd")) {
        data += string(kLength - 1, '.') + key;
    }
    box.write("in", data);
    const Rules rules{.stable = true, .unique = true};
    const Outcome o = box.run({.args = {"-L700000", "-U", "-S", "-W1", "-O", "out", "in"}});
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(is_sorted_output(box.read("out"), fixed_items(data, kLength, rules), rules));
    EXPECT_EQ(box.files(), "in out tmp/");
}

} // namespace
