// shrinking_input_test.cpp: inputs that become shorter in front of the first read, the second and so on, after they
// were measured: the run fails, or had everything already.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/complete_both.h"
#include "support/feeder.h"
#include "support/run.h"
#include "support/small_sizes.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

constexpr int kRecords = 100;               ///< of 8 bytes in each input, some chunks or buffers
constexpr off_t kLengths[] = {0, 400, 404}; ///< cut to that, also within a record
constexpr int kNeverSoMany = 2000;          ///< reads
const string kHeader = "payload\n";         ///< a record's length, too

// In the process of a run.
string target;
int reads_left = 0;
off_t new_length = 0;

bool shorten(kx_site site, kx_i64 /*bytes*/) {
    if (site == kx_site::read && --reads_left == 0 && truncate(target.c_str(), new_length) != 0) {
        abort();
    }
    return false;
}

void shorten_before(const string &path, int read, off_t length) {
    target = path;
    reads_left = read;
    new_length = length;
    orkan::kx_fault_hook = shorten;
}

/// Somebody fills a pipe.
void feed(const string &path, const string &data) {
    if (mkfifo(path.c_str(), 0600) != 0) {
        abort();
    }
    const pid_t reader = getpid();
    if (fork() == 0) {
        die_with(reader);
        write_pieces(open(path.c_str(), O_WRONLY | O_CLOEXEC), data, 3000, 0);
        _exit(0);
    }
}

struct Row {
    const char *name;
    std::vector<string> args;
    std::vector<string> messages; ///< one of them
    bool usual = true;            ///< not only in complete mode
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

const string kInMemory = "☆入力ファイル[in.dat]の読み込み中にエラーが発生しました！\n";
const string kBehindHeader = "☆ Error occurred while reading input file [in.dat]!\n";
const string kSplit = "☆ Error occurred while reading input file during split sort!\n";
const string kRefill = "☆一時ファイルの読み込み中にエラーが発生しました！\n"; // kept: of any refill
const string kFragment = "☆ Invalid input data size [";
const string kMerge = "☆ Error occurred while reading input file during merge sort!\n";

class Shrinking : public testing::TestWithParam<Row> {
  protected:
    /// The run, in which in.dat loses its end in front of that read; false when the run does not read as often.
    bool run(bool complete, int read, off_t length) {
        const bool with_header = has("-H");
        unlink(box.path("in.dat").c_str()); // rewriting a file that was cut takes long on some file systems
        if (read == 1) {
            box.write("first.dat", (with_header ? kHeader : "") + numbered(kRecords, 2 * kRecords, 1));
        }
        box.write("in.dat", (with_header ? kHeader : "") + numbered(0, kRecords, 1));
        outcome = box.run({.args = GetParam().args, .before = [&] {
                               choose_mode(complete);
                               shrink_sizes();
                               if (has("pipe")) {
                                   feed(box.path("pipe"), numbered(kRecords, 2 * kRecords, 1));
                               }
                               shorten_before(box.path("in.dat"), read, length);
                           }});
        unlink(box.path("pipe").c_str());
        return box.read("in.dat").size() == static_cast<std::size_t>(length);
    }
    static bool has(const string &word) {
        const std::vector<string> &args = GetParam().args;
        return std::find(args.begin(), args.end(), word) != args.end();
    }
    [[nodiscard]] bool is_told_of() const {
        const std::vector<string> &messages = GetParam().messages;
        const bool told =
            std::any_of(messages.begin(), messages.end(), [this](const string &text) { return says(outcome, text); });
        return told && says(outcome, kFailed);
    }
    static string everything() {
        const bool two = has("first.dat") || has("pipe");
        return (has("-H") ? kHeader : "") + numbered(0, two ? 2 * kRecords : kRecords, 1);
    }

    /// How many runs failed.
    int shorten_at_every_read(bool complete, off_t length) {
        int failures = 0;
        for (int read = 1; run(complete, read, length); ++read) {
            SCOPED_TRACE("read " + std::to_string(read));
            EXPECT_LT(read, kNeverSoMany);
            EXPECT_EQ(outcome.ending, Ending::returned);
            if (outcome.status == 0) {
                EXPECT_TRUE(outcome.out == everything()) << outcome.out.size();
            } else {
                EXPECT_TRUE(is_told_of()) << outcome.err;
                ++failures;
            }
            EXPECT_EQ(box.files().find(".tmp"), string::npos) << box.files();
        }
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(outcome.out == everything()) << "nothing was lost";
        return failures;
    }

    Box box;
    Outcome outcome;
};

TEST_P(Shrinking, LosesNoRecordInSilence) {
    for (const bool complete : {false, true}) {
        for (const off_t length : kLengths) {
            if (complete || GetParam().usual) {
                SCOPED_TRACE((complete ? "complete, " : "default, ") + std::to_string(length) + " bytes are left");
                EXPECT_GT(shorten_at_every_read(complete, length), 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Paths, Shrinking,
    testing::Values(Row{"memory_lines", {"-A", "first.dat", "in.dat"}, {kInMemory}},
                    Row{"memory_csv", {"-C", "-K1", "first.dat", "in.dat"}, {kInMemory}},
                    Row{"memory_header", {"-C", "-H", "-K1", "first.dat", "in.dat"}, {kBehindHeader}},
                    Row{"memory_fixed", {"-L8", "-A", "first.dat", "in.dat"}, {kInMemory}},
                    Row{"split_lines", {"-A", "-W1", "in.dat"}, {kSplit}},
                    Row{"split_csv", {"-C", "-K1", "-W1", "in.dat"}, {kSplit}},
                    Row{"split_fixed", {"-L8", "-A", "-W1", "in.dat"}, {kSplit, kFragment}},
                    Row{"split_lines_two", {"-A", "-W1", "first.dat", "in.dat"}, {kSplit}, false},
                    Row{"split_header", {"-C", "-H", "-K1", "-W1", "first.dat", "in.dat"}, {kSplit}, false},
                    Row{"merge_lines", {"-M", "-A", "first.dat", "in.dat"}, {kMerge, kRefill}},
                    Row{"merge_csv", {"-M", "-C", "-K1", "first.dat", "in.dat"}, {kMerge, kRefill}},
                    Row{"merge_header", {"-M", "-C", "-H", "-K1", "first.dat", "in.dat"}, {kMerge, kRefill}, false},
                    Row{"merge_fixed", {"-M", "-L8", "-A", "first.dat", "in.dat"}, {kMerge, kFragment}, false},
                    Row{"beside_a_pipe_lines", {"-A", "in.dat", "pipe"}, {kBehindHeader}, false},
                    Row{"beside_a_pipe_fixed", {"-L8", "-A", "in.dat", "pipe"}, {kBehindHeader, kFragment}, false}),
    [](const auto &row) { return row.param.name; });

/// By design one buffer of each fixed-length input is merged, as much of it as its first read delivers, and an input
/// that delivers nothing ends the list.
TEST(ShrinkingPresorted, FixedLengthInputsGiveWhatTheirFirstReadDelivers) {
    const Box box;
    const string first = numbered(100, 110, 1), second = numbered(0, 10, 1);
    const auto merge = [&](bool complete, off_t length) {
        box.write("first.dat", first);
        box.write("in.dat", second);
        return box.run({.args = {"-M", "-L8", "-A", "first.dat", "in.dat"}, .before = [&] {
                            choose_mode(complete);
                            shorten_before(box.path("in.dat"), 2, length);
                        }});
    };
    for (const off_t length : {0, 32, 35}) {
        SCOPED_TRACE(length);
        const Outcome usual = merge(false, length), complete = merge(true, length);
        EXPECT_EQ(usual.status, 0);
        EXPECT_EQ(usual.out, second.substr(0, static_cast<std::size_t>(length / 8 * 8)) + first);
        EXPECT_EQ(complete.status, 1);
        EXPECT_TRUE(says(complete, length % 8 == 0 ? kMerge : "☆ Invalid input data size [35]!\n")) << complete.err;
    }
}

/// Nobody knows the size of standard input: it ends where it ends.
TEST(ShrinkingStandardInput, EndsWhereTheFileEndsByThen) {
    for (const std::vector<string> &args : {std::vector<string>{"-A"}, {"-C", "-K1"}, {"-L8", "-A"}}) {
        for (const bool complete : {false, true}) {
            for (const off_t length : {8, 400}) {
                SCOPED_TRACE(args.front() + " " + std::to_string(length));
                const Box box;
                const string data = numbered(0, kRecords, 1);
                box.write("in.dat", data);
                const Outcome o = box.run({.args = args, .before = [&] {
                                               choose_mode(complete);
                                               shrink_sizes();
                                               const int fd = open(box.path("in.dat").c_str(), O_RDONLY);
                                               if (fd < 0 || dup2(fd, STDIN_FILENO) != STDIN_FILENO) {
                                                   abort();
                                               }
                                               shorten_before(box.path("in.dat"), 1, length);
                                           }});
                EXPECT_EQ(o.status, 0) << o.err;
                EXPECT_TRUE(o.out == data.substr(0, static_cast<std::size_t>(length))) << o.out.size();
            }
        }
    }
}

} // namespace
