// stdin_test.cpp: whole runs that sort standard input.
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "support/args.h"
#include "support/feeder.h"
#include "support/job.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_site;
using std::string;

const string kReleased = "メモリ解放がかかった[#]msです。\n";
const string kInputFailed = "☆ Standard input sort failed!\n", kInputFailedJa = "☆標準入力のソートは失敗しました！\n";

// The smallest budget is 16 MiB, of which 15 MiB are divided.
constexpr std::size_t kLinesChunk = (std::size_t{15} << 20) / 4 * 3, kCsvChunk = (std::size_t{15} << 20) / 2;

std::size_t chunk_of(const Job &job) {
    switch (job.format) {
    case kx_format::fixed: return job.length * ((15 << 20) / (job.length + (is_stable(job) ? 16 : 8)));
    case kx_format::csv: return job.csv.keys.empty() ? kCsvChunk / 2 : kCsvChunk;
    default: return kLinesChunk;
    }
}

void expect_sorted(const Box &box, const Job &job, const string &data, const Args &more, const Outcome &o,
                   bool through_file) {
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(steady(o), kStart + (through_file ? kReleased : "") + kEnd);
    const string out = more.empty() ? o.out : box.read("out");
    EXPECT_TRUE(is_sorted_output(out, items_of(job, ended(job, data)), order_of(job)));
}

// Random data in one chunk

TEST(StandardInput, AgreesWithTheModel) {
    for (unsigned seed = 0; seed < 150; ++seed) {
        const Box box;
        std::mt19937 random(seed);
        const Job job = random_job(random, kFormats[seed % 3]);
        const string data = random_records(random, job, 1 + random() % 5000);
        const Args output = random() % 2 == 0 ? Args{"-O", "out"} : Args{};
        SCOPED_TRACE(seed);
        Call call{.args = with(with(options_of(job), {"-E", "short"}), output), .input = data};
        if (seed % 10 == 0) {
            call.before = [&] { feed_in_pieces(data, 1 + seed); };
        }
        expect_sorted(box, job, data, output, box.run(call), false);
        const string errors = box.read("short");
        EXPECT_EQ(records_of(job, errors == "(no file)" ? "" : errors), rejected_of(job, data));
    }
}

// More than one chunk

/// Short and long records whose order is not theirs, together above `bytes`.
string many_records(const Job &job, std::size_t bytes) {
    std::mt19937 random(4711);
    string data;
    data.reserve(bytes + 1000);
    while (data.size() < bytes) {
        const string text = std::to_string(random() % 100000000) + ",";
        const std::size_t length = job.format == kx_format::fixed ? job.length : 20 + random() % 400;
        data += text + string(length - text.size(), 'x') + (job.format == kx_format::fixed ? "" : job.code);
    }
    return data;
}

Job large_job(kx_format format, bool stable) {
    Job job = key_job(format, 10);
    job.length = 100;
    job.csv.keys[0].numeric = true;
    make_stable(job, stable);
    return job;
}

TEST(StandardInput, OfAnyAmountGoesThroughTheTemporaryFile) {
    for (const kx_format format : kFormats) {
        for (const bool stable : {false, true}) {
            const Box box;
            const Job job = large_job(format, stable);
            const string data = many_records(job, 2 * chunk_of(job) + 1000);
            const Args args = with(options_of(job), {"-W", "1m"});
            expect_sorted(box, job, data, {}, box.run({.args = args, .input = data, .time_limit = 250}), true);
            EXPECT_EQ(box.files(), "tmp/");
        }
    }
}

TEST(StandardInput, OfExactlyOneChunkStaysInMemory) {
    for (const kx_format format : kFormats) {
        const Box box;
        const Job job = large_job(format, false);
        const std::size_t chunk = chunk_of(job);
        string data = many_records(job, chunk);
        data.resize(chunk);
        const Args args = with(options_of(job), {"-W", "1m", "-O", "out"});
        // Without a place for it there can be no temporary file.
        const auto no_folder = [] { fail_call(kx_site::open, 2); };
        expect_sorted(box, job, data, args, box.run({.args = args, .input = data, .before = no_folder}), false);
        const Outcome more =
            box.run({.args = args, .input = data + "y", .before = [] { fail_call(kx_site::open, 1); }});
        EXPECT_EQ(steady(more),
                  kStart + "☆ Failed to create temporary file [tmp/orkan_<pid>.tmp]!\n" + kInputFailed + kFailed);
    }
}

// Without data

TEST(StandardInput, WithoutDataEndsTheProcessAndCreatesNothing) {
    for (const Args &format : {Args{"-L8"}, Args{"-P\\n"}, Args{"-C", "-H"}}) {
        const Box box;
        const Outcome o = box.run({.args = with(format, {"-O", "out", "-E", "short"}), .input = ""});
        EXPECT_EQ(o.ending, Ending::exited);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart);
        EXPECT_EQ(box.files(), "tmp/");
    }
}

TEST(StandardInput, ThatIsClosedCannotBeRead) {
    const Box box;
    const Outcome o = box.run({.args = {"-L8", "-O", "out"}, .input = {}});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, kStart + "☆ Error occurred while reading standard input!\n" + kInputFailed + kFailed);
    const Outcome ja = box.run({.args = {"-L8", "-O", "out"}, .lang = kJapanese, .input = {}});
    EXPECT_EQ(ja.err, kStart + "☆標準入力の読み込み中にエラーが発生しました！\n" + kInputFailedJa + kFailedJa);
    EXPECT_EQ(box.files(), "tmp/");
}

// By design the first line is data, -H or not.
TEST(StandardInput, HasNoHeader) {
    const Box box;
    const Outcome o = box.run({.args = {"-C", "-H", "-K1"}, .input = "name,age\nbob,3\nann,5\nzoe,1\n"});
    EXPECT_EQ(o.out, "ann,5\nbob,3\nname,age\nzoe,1\n");
    EXPECT_EQ(o.err, kStart + kEnd);
}

// Data and outputs that fail

TEST(StandardInput, OfFragmentsIsRefused) {
    const Box box;
    const Outcome o = box.run({.args = {"-L8", "-O", "out"}, .input = "12345678123"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, kStart + "☆ Invalid input data size [11]!\n" + kInputFailed + kFailed);
    const Outcome ja = box.run({.args = {"-L8", "-O", "out"}, .lang = kJapanese, .input = "12345678123"});
    EXPECT_EQ(ja.err, kStart + "☆入力データのサイズ[11]は不正です！\n" + kInputFailedJa + kFailedJa);
    EXPECT_EQ(box.files(), "tmp/");
}

TEST(StandardInput, OfARecordLengthThatNoChunkHoldsIsRefused) {
    const Box box;
    const Outcome o = box.run({.args = {"-L", "16000000", "-W", "1m"}, .input = string(1000, 'x')});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, kStart + "☆ Record length [16000000] is too long for sorting within [16384]KB memory!\n" +
                         kInputFailed + kFailed);
}

TEST(StandardInput, IntoAFullDeviceFails) {
    for (const kx_format format : kFormats) {
        const Box box;
        const Job job = large_job(format, false);
        const Args args = with(options_of(job), {"-W", "1m", "-O", "/dev/full"});
        const string failed = "☆ Error occurred while writing output file [/dev/full]!\n" + kInputFailed + kFailed;
        EXPECT_EQ(box.run({.args = args, .input = many_records(job, 1000)}).err, kStart + failed);
        const Outcome o = box.run({.args = args, .input = many_records(job, chunk_of(job) + 1), .time_limit = 250});
        EXPECT_EQ(o.status, 1);
        // The merge notices it before its end.
        const string merge = "☆ Error occurred during temporary file merge sort!\n";
        EXPECT_EQ(steady(o), kStart + "☆ Error occurred while writing output file [/dev/full]!\n" + merge +
                                 kInputFailed + kFailed);
        EXPECT_EQ(box.files(), "tmp/");
    }
}

TEST(StandardInput, IntoAClosedOutputFails) {
    const Box box;
    const Outcome o = box.run({.args = {"-P\\n"}, .input = "b\na\n", .before = [] { close(STDOUT_FILENO); }});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, kStart + "☆ Error occurred while writing to standard output!\n" + kInputFailed + kFailed);
}

TEST(StandardInput, MayBeReadFromTheFileThatTheOutputReplaces) {
    const Box box; // everything has been read by then
    box.write("data", "b\na\n");
    const auto from_file = [&box] { ASSERT_NE(freopen(box.path("data").c_str(), "r", stdin), nullptr); };
    EXPECT_EQ(box.run({.args = {"-P\\n", "-O", "data"}, .before = from_file}).status, 0);
    EXPECT_EQ(box.read("data"), "a\nb\n");
}

} // namespace
