// fixed_failures_test.cpp: inputs that cannot be read and outputs that cannot be written, in the sort in memory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
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
using Step = std::function<void()>;

Step failing(kx_site site, int n) {
    return [=] { support::fail_call(site, n); };
}

struct Row {
    const char *name;
    Args args;
    Step before;
    string english, japanese; ///< between the banner and the end
    const char *files = "in1 in2 tmp/";
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Fails : public testing::TestWithParam<Row> {};

TEST_P(Fails, WithItsMessageInBothLanguages) {
    const Row &row = GetParam();
    for (const bool japanese : {false, true}) {
        SCOPED_TRACE(japanese);
        const Box box;
        box.write("in1", "b2a1");
        box.write("in2", "d2c1");
        const Outcome o = box.run({.args = row.args, .lang = japanese ? kJapanese : "C", .before = row.before});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + (japanese ? row.japanese + kFailedJa : row.english + kFailed));
        EXPECT_EQ(box.files(), row.files);
    }
}

const auto name_of = [](const auto &row) { return row.param.name; };

const Args kTwoInputs = {"-L2", "-O", "out", "in1", "in2"};

// By design Japanese everywhere.
string unread(const char *path) { return string("☆入力ファイル[") + path + "]の読み込み中にエラーが発生しました！\n"; }

/// Truncates or removes a file when the n-th input is opened.
template <int n, class Change> Step at_open(Change /*change*/) {
    return [] {
        orkan::kx_fault_hook = [](kx_site site, orkan::kx_i64) {
            static int opened = 0;
            return site == kx_site::open && ++opened == n && !Change()();
        };
    };
}

struct ShrinkSecond {
    bool operator()() const { return truncate("in2", 3) == 0; }
};
struct EmptyFirst {
    bool operator()() const { return truncate("in1", 0) == 0; }
};
struct RemoveSecond {
    bool operator()() const { return unlink("in2") == 0; }
};

INSTANTIATE_TEST_SUITE_P(
    Inputs, Fails,
    testing::Values(Row{"first_not_opened", kTwoInputs, failing(kx_site::open, 1), "☆ Cannot open input file [in1]!\n",
                        "☆入力ファイル[in1]は開くことはできません！\n"},
                    Row{"second_not_opened", kTwoInputs, failing(kx_site::open, 2), "☆ Cannot open input file [in2]!\n",
                        "☆入力ファイル[in2]は開くことはできません！\n"},
                    Row{"second_gone", kTwoInputs, at_open<2>(RemoveSecond()), "☆ Cannot open input file [in2]!\n",
                        "☆入力ファイル[in2]は開くことはできません！\n", "in1 tmp/"},
                    Row{"not_unbuffered", kTwoInputs, failing(kx_site::setvbuf, 1), "☆ Failed to set input buffer!\n",
                        "☆入力バッファの設定はできません！\n"},
                    Row{"second_not_unbuffered", kTwoInputs, failing(kx_site::setvbuf, 2),
                        "☆ Failed to set input buffer!\n", "☆入力バッファの設定はできません！\n"},
                    Row{"first_not_read", kTwoInputs, failing(kx_site::read, 1), unread("in1"), unread("in1")},
                    Row{"second_not_read", kTwoInputs, failing(kx_site::read, 2), unread("in2"), unread("in2")},
                    Row{"second_shrinks", kTwoInputs, at_open<2>(ShrinkSecond()), unread("in2"), unread("in2")},
                    Row{"first_loses_all", kTwoInputs, at_open<1>(EmptyFirst()), unread("in1"), unread("in1")},
                    Row{"a_folder", {"-L1", "-O", "out", "tmp"}, {}, unread("tmp"), unread("tmp")}),
    name_of);

const string kUncreated = "☆ Cannot create output file [tmp]! Please check permissions.\n";
const string kUncreatedJa = "☆出力ファイル[tmp]は作成できません！権限不足かをご確認ください。\n";
const string kUncreatedUnique = "☆ Cannot create output file [tmp]!\n",
             kUncreatedUniqueJa = "☆出力ファイル[tmp]は作成できません！\n";
const string kNoBuffer = "☆ Failed to set output buffer!\n", kNoBufferJa = "☆出力バッファの設定はできません！\n";
const string kUnwritten = "☆ Error occurred while writing output file [out]!\n";
const string kUnwrittenJa = "☆出力ファイル[out]の書き込み中にエラーが発生しました！\n";
const string kFull = "☆ Error occurred while writing output file [/dev/full]!\n";
const string kFullJa = "☆出力ファイル[/dev/full]の書き込み中にエラーが発生しました！\n";

INSTANTIATE_TEST_SUITE_P(
    Outputs, Fails,
    testing::Values(Row{"a_folder", {"-L2", "-O", "tmp", "in1"}, {}, kUncreated, kUncreatedJa},
                    Row{"a_folder_stable", {"-L2", "-S", "-O", "tmp", "in1"}, {}, kUncreated, kUncreatedJa},
                    // The unique writer has no hint on permissions.
                    Row{"a_folder_unique", {"-L2", "-U", "-O", "tmp", "in1"}, {}, kUncreatedUnique, kUncreatedUniqueJa},
                    Row{"a_folder_stable_unique",
                        {"-L2", "-S", "-U", "-O", "tmp", "in1"},
                        {},
                        kUncreatedUnique,
                        kUncreatedUniqueJa},
                    Row{"buffer_refused",
                        {"-L2", "-O", "out", "in1"},
                        failing(kx_site::setvbuf, 2),
                        kNoBuffer,
                        kNoBufferJa,
                        "in1 in2 out tmp/"},
                    Row{"buffer_refused_unique",
                        {"-L2", "-U", "-O", "out", "in1"},
                        failing(kx_site::setvbuf, 2),
                        kNoBuffer,
                        kNoBufferJa,
                        "in1 in2 out tmp/"},
                    Row{"write_fails",
                        {"-L2", "-O", "out", "in1"},
                        failing(kx_site::write, 1),
                        kUnwritten,
                        kUnwrittenJa,
                        "in1 in2 out tmp/"},
                    Row{"close_fails",
                        {"-L2", "-O", "out", "in1"},
                        failing(kx_site::close, 2),
                        kUnwritten,
                        kUnwrittenJa,
                        "in1 in2 out tmp/"},
                    Row{"full_disk", {"-L2", "-O", "/dev/full", "in1"}, {}, kFull, kFullJa},
                    Row{"full_disk_unique", {"-L2", "-U", "-O", "/dev/full", "in1"}, {}, kFull, kFullJa},
                    Row{"full_disk_stable", {"-L2", "-S", "-O", "/dev/full", "in1"}, {}, kFull, kFullJa}),
    name_of);

// Standard output

const string kBadOutput = "☆ Error occurred while writing to standard output!\n";
const string kBadOutputJa = "☆標準出力への書き込み中にエラーが発生しました！\n";

void output_to_full_disk() { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }
void output_closed() { close(STDOUT_FILENO); }
void output_to_broken_pipe() {
    int ends[2];
    if (pipe(ends) == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
    }
}
void output_to_ignored_broken_pipe() {
    std::signal(SIGPIPE, SIG_IGN);
    output_to_broken_pipe();
}

INSTANTIATE_TEST_SUITE_P(
    StandardOutput, Fails,
    testing::Values(Row{"full_disk", {"-L2", "in1"}, output_to_full_disk, kBadOutput, kBadOutputJa},
                    Row{"full_disk_unique", {"-L2", "-U", "in1"}, output_to_full_disk, kBadOutput, kBadOutputJa},
                    Row{"full_disk_stable", {"-L2", "-S", "in1"}, output_to_full_disk, kBadOutput, kBadOutputJa},
                    Row{"closed", {"-L2", "in1"}, output_closed, kBadOutput, kBadOutputJa},
                    Row{"closed_unique", {"-L2", "-U", "in1"}, output_closed, kBadOutput, kBadOutputJa},
                    Row{"broken_pipe", {"-L2", "in1"}, output_to_ignored_broken_pipe, kBadOutput, kBadOutputJa}),
    name_of);

TEST(StandardOutput, ABrokenPipeEndsTheProcessAsUsual) {
    const Box box;
    box.write("in1", "b2a1");
    const Outcome o = box.run({.args = {"-L2", "in1"}, .before = output_to_broken_pipe, .dies_of = SIGPIPE});
    EXPECT_EQ(o.ending, Ending::killed);
    EXPECT_EQ(o.status, SIGPIPE);
    EXPECT_EQ(o.err, kStart);
}

TEST(StandardOutput, TheLibraryLeavesSignalsAlone) {
    const Box box;
    box.write("in1", "b2a1");
    const auto tell = [] {
        struct sigaction now {};
        sigaction(SIGPIPE, nullptr, &now);
        std::fputs(now.sa_handler == SIG_DFL ? "default " : "changed ", stdout);
    };
    const std::vector<Outcome> runs = box.run_all({{.args = {"-L2", "in1"}}, {.args = {"-L2", "in1"}, .before = tell}});
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[1].out, "default a1b2");
}

// Every write of an output of several buffers fails once; the output's size tells how many there are.
TEST(Output, AFailureOfAnyWriteIsReported) {
    const Box box;
    string data;
    while (data.size() < 2000000) {
        data += string(39, static_cast<char>('a' + data.size() % 23)) + "\n";
    }
    box.write("in1", data);
    int failures = 0;
    for (int n = 1; n < 100; ++n) {
        const Outcome o = box.run({.args = {"-L40", "-O", "out", "in1"}, .before = failing(kx_site::write, n)});
        if (o.status == 0) {
            EXPECT_EQ(box.read("out").size(), data.size());
            break;
        }
        ++failures;
        EXPECT_EQ(o.err, kStart + kUnwritten + kFailed) << n;
    }
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, 99);
}

// Closed standard streams whose descriptors the run's own files may take.

TEST(ClosedStreams, DoNotSpoilTheOutput) {
    const std::pair<const char *, Step> rows[] = {
        {"output", output_closed},
        {"error", [] { close(STDERR_FILENO); }},
        {"both",
         [] {
             close(STDERR_FILENO);
             output_closed();
         }},
        {"all",
         [] {
             close(STDERR_FILENO);
             output_closed();
             close(STDIN_FILENO);
         }},
    };
    for (const auto &[name, step] : rows) {
        for (const Args &extra : {Args{}, Args{"-S"}, Args{"-U"}, Args{"-Verbose"}}) {
            SCOPED_TRACE(string(name) + (extra.empty() ? "" : extra[0]));
            const Box box;
            box.write("in1", "b2a1");
            Args args = extra;
            args.insert(args.end(), {"-L2", "-O", "out", "in1"});
            const Outcome o = box.run({.args = args, .before = step});
            EXPECT_EQ(o.status, 0);
            EXPECT_EQ(box.read("out"), "a1b2");
            EXPECT_EQ(box.read("in1"), "b2a1");
        }
    }
}

TEST(Inputs, MoreBytesThanMeasuredAreNotRead) {
    const Box box;
    box.write("in1", "b2a1");
    const Outcome o = box.run({.args = {"-L2", "in1"}, .before = [] {
                                   orkan::kx_fault_hook = [](kx_site site, orkan::kx_i64) {
                                       std::FILE *file = site == kx_site::open ? std::fopen("in1", "ab") : nullptr;
                                       if (file != nullptr) {
                                           std::fputs("0000", file);
                                           std::fclose(file);
                                       }
                                       return false;
                                   };
                               }});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "a1b2");
}

} // namespace
