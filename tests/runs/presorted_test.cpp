// presorted_test.cpp: whole runs that merge presorted inputs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/args.h"
#include "support/job.h"
#include "support/presorted_model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using std::string;

const string kReleased = "メモリ解放がかかった[#]msです。\n";
const string kMergeFailed = "☆ File merge sort failed!\n", kMergeFailedJa = "☆ファイルのマージソートは失敗しました！\n";

// Random inputs. A number is compared for duplicates with the length of the last one, which the model does not do.

Job modelled_job(std::mt19937 &random, kx_format format) {
    Job job = random_job(random, format);
    if (format == kx_format::csv) {
        for (CsvKey &key : job.csv.keys) {
            key.numeric = key.numeric && !is_unique(job);
        }
    }
    return job;
}

TEST(Presorted, AgreesWithTheModel) {
    for (unsigned seed = 0; seed < 150; ++seed) {
        const Box box;
        std::mt19937 random(seed);
        const Job job = modelled_job(random, kFormats[seed % 3]);
        Args args = with(options_of(job), {"-M", "-E", "short"}), inputs;
        const bool to_file = random() % 2 == 0;
        if (to_file) {
            args.insert(args.end(), {"-O", "out"});
        }
        for (std::size_t n = 1 + random() % 20; n > 0; --n) {
            string data = presorted(job, random_records(random, job, random() % 1500));
            if (job.format != kx_format::fixed && data.size() > job.code.size() && random() % 4 == 0) {
                data.resize(data.size() - job.code.size());
            }
            args.push_back("in" + std::to_string(n));
            box.write(args.back(), data);
            inputs.push_back(data);
        }
        SCOPED_TRACE(seed);
        const Outcome o = box.run({.args = args});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(steady(o), kStart + kReleased + kEnd);
        string data;
        for (const string &input : inputs_in_use(inputs)) {
            data += ended(job, input);
        }
        EXPECT_TRUE(is_sorted_output(to_file ? box.read("out") : o.out, items_of(job, data), order_of(job)));
        const string errors = box.read("short");
        EXPECT_EQ(records_of(job, errors == "(no file)" ? "" : errors), rejected_of(job, data));
    }
}

// By design the first line is data, -H or not.
TEST(Presorted, HasNoHeader) {
    const Box box;
    box.write("a", "name,1\nzoe,1\n");
    box.write("b", "name,2\nbob,2\n");
    EXPECT_EQ(box.run({.args = {"-M", "-S", "-C", "-H", "-K1", "a", "b"}}).out, "name,1\nname,2\nbob,2\nzoe,1\n");
}

TEST(Presorted, WithoutInputsWritesAnEmptyOutput) {
    for (const string format : {"-L8", "-P\\n", "-C"}) {
        const Box box;
        box.write("out", "old");
        const Outcome o = box.run({.args = {"-M", format, "-O", "out"}, .input = "b\na\n"});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(steady(o), kStart + kReleased + kEnd);
        EXPECT_EQ(box.read("out"), "");
        EXPECT_EQ(box.run({.args = {"-M", format}}).out, "");
    }
}

// Above the buffers

TEST(Presorted, LargeInputsOfLines) {
    const Box box;
    string even, odd, all;
    for (int i = 0; i < 30000; ++i) {
        const string line = std::to_string(1000000 + i) + " " + string(static_cast<std::size_t>(i % 100), 'x') + "\n";
        (i % 2 == 0 ? even : odd) += line;
        all += line;
    }
    ASSERT_GT(all.size(), std::size_t{3} << 19);
    box.write("even", even);
    box.write("odd", odd.substr(0, odd.size() - 1));
    for (const Args &options : {Args{}, Args{"-S"}, Args{"-U"}, Args{"-K0,7n"}, Args{"-C", "-K1"}}) {
        const Outcome o = box.run({.args = with(options, {"-M", "-O", "out", "even", "odd", "even"})});
        EXPECT_EQ(o.status, 0);
        if (options == Args{"-U"}) {
            EXPECT_TRUE(box.read("out") == all);
        }
        EXPECT_EQ(box.run({.args = with(options, {"-M", "-O", "out", "odd", "even"})}).status, 0);
        EXPECT_TRUE(box.read("out") == all);
    }
}

// Files that are an input

TEST(Presorted, AnOutputThatIsAnInputIsRefusedUntouched) {
    const Box box;
    box.write("a", "a1bcdef\n");
    box.write("b", "b2bcdef\n");
    ASSERT_EQ(link(box.path("b").c_str(), box.path("hard").c_str()), 0);
    ASSERT_EQ(symlink("a", box.path("soft").c_str()), 0);
    for (const Args &format : {Args{"-L8"}, Args{"-P\\n"}, Args{"-C", "-K1"}, Args{"-U", "-P\\n"}}) {
        for (const string name : {"a", "b", "hard", "soft", "./a"}) {
            const Args args = with(format, {"-M", "-O", name, "a", "b"});
            EXPECT_EQ(box.run({.args = args}).err,
                      kStart + "☆ Cannot create output file [" + name + "]!\n" + kMergeFailed + kFailed);
            const Outcome ja = box.run({.args = args, .lang = kJapanese});
            EXPECT_EQ(ja.status, 1);
            EXPECT_EQ(ja.err, kStart + "☆出力ファイル[" + name + "]は作成できません！\n" + kMergeFailedJa + kFailedJa);
            EXPECT_EQ(box.read("a") + box.read("b"), "a1bcdef\nb2bcdef\n");
        }
    }
    EXPECT_EQ(box.run({.args = {"-M", "-L8", "-O", "hard", "a"}}).status, 0) << "no input of this run";
    EXPECT_EQ(box.read("b"), "a1bcdef\n");
}

TEST(Presorted, AnErrorFileThatIsAnInputIsRefusedUntouched) {
    const Box box;
    box.write("a", "a,1\n");
    box.write("b", "b\nc,2\n");
    ASSERT_EQ(link(box.path("b").c_str(), box.path("hard").c_str()), 0);
    for (const string name : {"a", "b", "hard"}) {
        const Outcome csv = box.run({.args = {"-M", "-C", "-K2", "-E", name, "-O", "out", "a", "b"}});
        EXPECT_EQ(csv.status, 1);
        EXPECT_EQ(csv.err, kStart + "☆エラーファイル[" + name + "]は作成できません！\n" + kMergeFailed + kFailed);
        const Outcome lines = box.run({.args = {"-M", "-K0,3", "-E", name, "-O", "out", "a", "b"}});
        EXPECT_EQ(lines.status, 0) << "kept: goes on without it";
        EXPECT_EQ(box.read("out"), "a,1\nc,2\n");
        EXPECT_EQ(box.read("a") + box.read("b"), "a,1\nb\nc,2\n");
    }
}

// Outputs that fail

TEST(Presorted, IntoAFullDeviceFails) {
    const Box box;
    box.write("a", "a1bcdef\n");
    string large;
    for (int i = 0; i < 100000; ++i) {
        large += "b1bcdef\n";
    }
    box.write("large", large);
    const string unwritten = "☆ Error occurred while writing output file [/dev/full]!\n",
                 unwritten_ja = "☆出力ファイル[/dev/full]の書き込み中にエラーが発生しました！\n";
    for (const Args &format : {Args{"-L8"}, Args{"-P\\n"}, Args{"-C", "-K1"}, Args{"-U", "-P\\n"}}) {
        const Args args = with(format, {"-M", "-O", "/dev/full", "a"});
        const Outcome o = box.run({.args = args});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(steady(o), kStart + kReleased + unwritten + kMergeFailed + kFailed);
        EXPECT_EQ(steady(box.run({.args = args, .lang = kJapanese})),
                  kStart + kReleased + unwritten_ja + kMergeFailedJa + kFailedJa);
        EXPECT_EQ(box.run({.args = with(args, {"large"})}).status, 1);
    }
}

TEST(Presorted, IntoAClosedOutputFails) {
    const Box box;
    box.write("a", "a1bcdef\n");
    for (const Args &format : {Args{"-L8"}, Args{"-P\\n"}, Args{"-C", "-K1"}}) {
        const Outcome o = box.run({.args = with(format, {"-M", "a"}), .before = [] { close(STDOUT_FILENO); }});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(steady(o),
                  kStart + kReleased + "☆ Error occurred while writing to standard output!\n" + kMergeFailed + kFailed);
        EXPECT_EQ(box.read("a"), "a1bcdef\n");
    }
}

TEST(Presorted, RunsAgainInTheSameProcess) {
    const Box box;
    box.write("a", "a1\nc1\n");
    box.write("b", "b2\nd2\n");
    const Call good{.args = {"-M", "a", "b"}}, bad{.args = {"-M", "-O", "b", "a", "b"}},
        full{.args = {"-M", "-U", "-O", "/dev/full", "a", "b"}};
    const std::vector<Outcome> all = box.run_all({good, bad, good, full, good});
    ASSERT_EQ(all.size(), 5U);
    for (const std::size_t i : {0U, 2U, 4U}) {
        EXPECT_EQ(all[i].status, 0);
        EXPECT_EQ(all[i].out, "a1\nb2\nc1\nd2\n");
    }
    EXPECT_EQ(all[1].status + all[3].status, 2);
}

// A verbose run

TEST(Presorted, AVerboseRunTellsWhichInputIsDone) {
    const Box box;
    box.write("a", "b0\n");
    box.write("b", "a1\nc1\n");
    const string prefix = "--- Memory pool processing completed.--- \n",
                 end = "--- File merge sort processing completed";
    const string index = "[_kx_get_indexList_variable]がかかった[#]msです。\n";
    const Outcome o = box.run({.args = {"-Verbose", "-M", "-U", "-K0,1", "a", "b"}});
    EXPECT_EQ(between(steady(o), prefix, end),
              "\n--- File merge sort processing started.--- \n出力バッファサイズは[640]KBです。\n" + index + index +
                  "総ブロック数:2  完成ブロック番号：1 - <time> \n総ブロック数:2  完成ブロック番号：2 - <time> \n" +
                  kReleased);
}

// Where the pool is refused

// 70 records of 1 MiB: more than the default pool.
constexpr std::size_t kLength = std::size_t{1} << 20;

string large_records(const string &keys) {
    string data;
    for (const char key : keys) {
        data += string(1, key) + string(kLength - 1, 'x');
    }
    return data;
}

string keys_of(const string &data) {
    string keys;
    for (std::size_t at = 0; at < data.size(); at += kLength) {
        keys += data[at];
    }
    return keys;
}

TEST(Presorted, MergesWithTheDefaultPool) {
    const Box box;
    box.write("a", large_records("bdfhj" + string(30, 'k')));
    box.write("b", large_records("aceg" + string(31, 'k')));
    constexpr kx_i64 kWanted = 71 << 20;
    const Args args = {"-M", "-L", std::to_string(kLength), "-K0,1", "-O", "out", "a", "b"};
    const string to_default = "☆ Failed to allocate [72705]KB memory! Allocating default memory [65536]KB.\n";
    const Outcome o = box.run({.args = args, .before = [] { refuse_allocations_from(kWanted); }});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(steady(o), kStart + to_default + kReleased + kEnd);
    EXPECT_EQ(keys_of(box.read("out")), "ab") << "kept: the first MiB of each";
}

// By design the smallest pool splits and sorts whatever was asked for; kept: of a second input it merges other bytes.
TEST(Presorted, IsSortedAsIfItWereNotWithTheSmallestPool) {
    const Box box;
    box.write("a", large_records("zy" + string(66, 'k') + "ba"));
    const Args args = {"-M", "-L", std::to_string(kLength), "-K0,1", "-O", "out", "a"};
    const auto refuse = [] { refuse_allocations_from(64 << 20); };
    const Outcome o = box.run({.args = args, .before = refuse, .time_limit = 200});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(steady(o), kStart + "☆ Failed to allocate [72705]KB memory! Allocating default memory [65536]KB.\n" +
                             "☆ Failed to allocate [65536]KB memory! Allocating minimum memory [16384]KB.\n" +
                             kReleased + kEnd);
    EXPECT_EQ(keys_of(box.read("out")), "ab" + string(66, 'k') + "yz");
}

} // namespace
