// lines_errors_test.cpp: lines too short for the keys, lines too long for a chunk, and files of lines that fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using orkan::kx_site;
using std::string;
using support::Box;
using support::kEnd;
using support::kFailed;
using support::kFailedJa;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

Args operator+(Args first, const Args &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const string kReleased = "メモリ解放がかかった[#]msです。\n";
const Args kPaths[] = {{}, {"-W1"}};
string released(const Args &path) { return path.empty() ? "" : kReleased; }

// The error file

TEST(ErrorFile, TakesTheShortRecordsInReverseOrder) {
    for (const Args &path : kPaths) {
        const Box box;
        box.write("in", "A\nlong b\nBB\n\nlong a\nC\nlong c\n");
        box.write("short", "from an earlier run");
        const Outcome o = box.run({.args = path + Args{"-K0,6", "-E", "short", "in"}});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(steady(o), kStart + released(path) + kEnd);
        EXPECT_EQ(o.out, "long a\nlong b\nlong c\n");
        EXPECT_EQ(box.read("short"), "C\n\nBB\nA\n");
    }
}

// Through the temporary file, the last record makes a chunk of its own, and so does each input.
TEST(ErrorFile, IsReversedChunkByChunk) {
    const Box box;
    box.write("in1", "A\nB\nC");
    box.write("in2", "D\nE\nF\n");
    const Outcome in_memory = box.run({.args = {"-K0,6", "-E", "short", "-O", "out", "in1", "in2"}});
    EXPECT_EQ(in_memory.status, 0);
    EXPECT_EQ(box.read("short"), "F\nE\nCD\nB\nA\n"); // in memory the inputs are one
    const Outcome o = box.run({.args = {"-W1", "-K0,6", "-E", "short", "-O", "out", "in1", "in2"}});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, kStart + kEnd) << "without blocks nothing is merged";
    EXPECT_EQ(box.read("short"), "B\nA\nC\nE\nD\nF\n");
    EXPECT_EQ(box.read("out"), "");
}

TEST(ErrorFile, IsThereAlthoughNothingWentWrong) {
    for (const Args &path : kPaths) {
        const Box box;
        box.write("in", "b\na\n");
        box.make_folder("errors");
        EXPECT_EQ(box.run({.args = path + Args{"-E", "errors/short", "in"}}).out, "a\nb\n");
        EXPECT_EQ(box.read("errors/short"), "");
    }
}

// Kept: the run goes on and drops the records; every chunk tries again.
TEST(ErrorFile, ThatCannotBeCreated) {
    for (const bool japanese : {false, true}) {
        const string message =
            japanese ? "☆エラーファイル[tmp]は作成できません！\n" : "☆ Cannot create error file [tmp]!\n";
        for (const Args &path : kPaths) {
            const Box box;
            box.write("in", "A\nlong b\nlong a\n");
            const Outcome o =
                box.run({.args = path + Args{"-K0,6", "-E", "tmp", "in"}, .lang = japanese ? kJapanese : "C"});
            EXPECT_EQ(o.status, 0);
            EXPECT_EQ(steady(o), kStart + message + (path.empty() ? "" : message) + released(path) + kEnd);
            EXPECT_EQ(o.out, "long a\nlong b\n");
        }
    }
}

TEST(ErrorFile, ThatCannotBeWritten) {
    for (const bool japanese : {false, true}) {
        const string message = japanese ? "☆エラーファイル[/dev/full]の書き込み中にエラーが発生しました！\n" + kFailedJa
                                        : "☆ Error occurred while writing error file [/dev/full]!\n" + kFailed;
        for (const Args &path : kPaths) {
            const Box box;
            box.write("in", "A\nlong b\nlong a\n");
            const Outcome o = box.run({.args = path + Args{"-K0,6", "-E", "/dev/full", "-O", "out", "in"},
                                       .lang = japanese ? kJapanese : "C"});
            EXPECT_EQ(o.status, 1);
            EXPECT_EQ(steady(o), kStart + released(path) + message);
            EXPECT_EQ(box.files(), "in out tmp/");
        }
    }
}

TEST(ErrorFile, ThatIsFullInTheMiddle) {
    string data = "long enough\n";
    for (int i = 0; i < 40000; ++i) {
        data += "A\n";
    }
    const string message = "☆ Error occurred while writing error file [/dev/full]!\n";
    for (const Args &path : kPaths) {
        const Box box;
        box.write("in", data);
        const Outcome o = box.run({.args = path + Args{"-K0,6", "-E", "/dev/full", "-O", "out", "in"}});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + message + (path.empty() ? "" : "☆ Error occurred during input file split sort!\n") +
                             kFailed);
        EXPECT_EQ(box.files().find("orkan_"), string::npos);
    }
}

// The log of the examples

TEST(Examples, AccessLog) {
    const auto project = std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
    std::ifstream file(project / "examples" / "access.log", std::ios::binary);
    const string data{std::istreambuf_iterator<char>(file), {}};
    const support::Rules rules{.keys = {{.position = 0, .length = 19}}, .stable = true};
    const support::Lines lines = line_items(data, "\n", rules);
    ASSERT_GT(lines.kept.size(), 100U);
    ASSERT_GT(lines.short_ones.size(), 0U);
    for (const Args &path : kPaths) {
        const Box box;
        box.write("in", data);
        EXPECT_EQ(box.run({.args = path + Args{"-S", "-K0,19", "-E", "short", "-O", "out", "in"}}).status, 0);
        EXPECT_EQ(box.read("out"), joined(model_sort(lines.kept, rules)));
        EXPECT_EQ(box.read("short"), lines.rejected());
    }
}

// Long lines. In a chunk, an unterminated rest of 655360 bytes is no record.

TEST(LongLines, AreFinishedUpTo655359Bytes) {
    const string line(655359, 'x');
    for (const string code : {"\n", "\r\n"}) {
        const Box box;
        box.write("in", line + code);
        box.write("open", line);
        for (const char *name : {"in", "open"}) {
            const Outcome o = box.run({.args = {"-W1", "-P", code == "\n" ? "\\n" : "\\r\\n", name}});
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_TRUE(o.out == line + code);
        }
    }
}

TEST(LongLines, OfMoreBytesAreRefusedInTheSplitPath) {
    for (const std::size_t length : {std::size_t{655360}, std::size_t{655361}, std::size_t{3000000}}) {
        const Box box;
        box.write("in", string(length, 'x') + "\n");
        Outcome o = box.run({.args = {"-W1", "-O", "out", "in"}});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + "☆ Invalid record length detected! \n" +
                             "☆ Error occurred during input file split sort!\n" + kFailed);
        o = box.run({.args = {"-W1", "-O", "out", "in"}, .lang = kJapanese});
        EXPECT_EQ(o.err, kStart + "☆不正なレコード長を検知しました！ \n" +
                             "☆入力ファイルの分割ソート中にエラーが発生しました！\n" + kFailedJa);
        EXPECT_EQ(box.files(), "in tmp/");
    }
}

TEST(LongLines, OfAnyLengthAreSortedInMemory) {
    const Box box;
    const string line = string(3000000, 'x') + "\n";
    box.write("in", line + "b\n" + line);
    for (const Args &options : {Args{}, Args{"-S"}}) {
        EXPECT_TRUE(box.run({.args = options + Args{"in"}}).out == "b\n" + line + line);
    }
}

TEST(LongLines, AmongShortOnesGoThroughTheTemporaryFile) {
    const Box box;
    const string a = string(600000, 'a') + "\n", b = string(700000, 'b') + "\n";
    box.write("in", b + a + b + "c\n");
    EXPECT_TRUE(box.run({.args = {"-W1", "in"}}).out == a + b + b + "c\n");
    EXPECT_TRUE(box.run({.args = {"-W1", "-U", "in"}}).out == a + b + "c\n");
    EXPECT_TRUE(box.run({.args = {"-W1", "-S", "-R", "in"}}).out == "c\n" + b + b + a);
}

// Calls that fail

struct Failing {
    const char *name;
    Args args;
    kx_site site;
    int call;
    string english, japanese;
    const char *files = "in tmp/";
};
void PrintTo(const Failing &row, std::ostream *to) { *to << row.name; }

class Fails : public testing::TestWithParam<Failing> {};

TEST_P(Fails, WithItsMessage) {
    const Failing &row = GetParam();
    for (const bool japanese : {false, true}) {
        const Box box;
        box.write("in", "b\na\n");
        const Outcome o =
            box.run({.args = row.args + Args{"-O", "out", "in"}, .lang = japanese ? kJapanese : "C", .before = [&row] {
                         support::fail_call(row.site, row.call);
                     }});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + (japanese ? row.japanese + kFailedJa : row.english + kFailed));
        EXPECT_EQ(box.files(), row.files);
    }
}

const string kSplit = "☆ Error occurred during input file split sort!\n",
             kSplitJa = "☆入力ファイルの分割ソート中にエラーが発生しました！\n";
const string kMerge = "☆ Error occurred during temporary file merge sort!\n",
             kMergeJa = "☆一時ファイルのマージソート中にエラーが発生しました！\n";
const string kUnread = "☆ Error occurred while reading input file during split sort!\n",
             kUnreadJa = "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n";
const string kUnreadTemporary = "☆一時ファイルの読み込み中にエラーが発生しました！\n";
const string kNoBuffer = "☆ Failed to set error buffer!\n", kNoBufferJa = "☆エラーバッファの設定はできません！\n";

// Opened in this order: temporary file, input, error file. Read: the input's chunks (the last at its end), the blocks.
INSTANTIATE_TEST_SUITE_P(
    Calls, Fails,
    testing::Values(
        Failing{"first_chunk", {"-W1"}, kx_site::read, 1, kUnread + kSplit, kUnreadJa + kSplitJa},
        Failing{"last_chunk", {"-W1"}, kx_site::read, 2, kUnread + kSplit, kUnreadJa + kSplitJa},
        Failing{"error_buffer", {"-E", "short"}, kx_site::setvbuf, 2, kNoBuffer, kNoBufferJa, "in out short tmp/"},
        Failing{"error_buffer_split",
                {"-W1", "-E", "short"},
                kx_site::setvbuf,
                3,
                kNoBuffer + kSplit,
                kNoBufferJa + kSplitJa,
                "in short tmp/"}),
    [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(Merge, Fails,
                         testing::Values(Failing{"output_buffer",
                                                 {"-W1"},
                                                 kx_site::setvbuf,
                                                 3,
                                                 "☆出力バッファの設定はできません！\n" + kMerge,
                                                 "☆出力バッファの設定はできません！\n" + kMergeJa,
                                                 "in out tmp/"},
                                         Failing{"first_block",
                                                 {"-W1", "-U"},
                                                 kx_site::seek,
                                                 2,
                                                 "☆一時ファイルに対するfseek操作は失敗しました!\n" + kMerge,
                                                 "☆一時ファイルに対するfseek操作は失敗しました!\n" + kMergeJa,
                                                 "in out tmp/"}),
                         [](const auto &row) { return row.param.name; });

} // namespace
