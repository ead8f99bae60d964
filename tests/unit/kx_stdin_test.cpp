// kx_stdin_test.cpp: standard input cut into chunks at every place.
#include <random>
#include <string>
#include <vector>

#include "support/stdin_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class StandardInput : public StdinState {};

constexpr kx_i64 kBudget = 400;

/// All formats, with each newline code where there is one.
std::vector<Job> all_jobs(Job (*make)(kx_format, const string &)) {
    std::vector<Job> jobs = {make(kx_format::fixed, "\n")};
    for (const string &code : kCodes) {
        jobs.push_back(make(kx_format::variable, code));
        jobs.push_back(make(kx_format::csv, code));
    }
    return jobs;
}
Job by_key(kx_format format, const string &code) { return key_job(format, 2, code); }

/// Records of together exactly `size` bytes; the last one without its newline code when `cut`.
string exactly(const Job &job, std::size_t size, bool cut) {
    std::mt19937 random(static_cast<unsigned>(size));
    string data;
    while (data.size() + 60 < size) {
        data += random_record(random, job);
    }
    const std::size_t left = size - data.size() - (cut ? 0 : job.code.size());
    return data + string(left, 'm') + (cut ? "" : job.code);
}

// Around the ends of chunks

TEST_F(StandardInput, OfOneChunkIsSortedInMemoryAndNoMore) {
    for (Job job : all_jobs(by_key)) {
        for (const bool stable : {false, true}) {
            make_stable(job, stable);
            const std::size_t capacity = prepare(job, kBudget);
            for (std::size_t size = capacity - 3; size <= capacity + 3; ++size) {
                const bool cut = size % 2 == 0;
                SCOPED_TRACE(std::to_string(size) + " of " + std::to_string(capacity) + " bytes");
                const string data = exactly(job, size, cut);
                if (job.format == kx_format::fixed && size <= capacity && size % job.length != 0) {
                    continue; // refused: see the messages
                }
                const Sorted sorted = sort(data);
                expect_sorted(sorted, job, data, size > capacity);
                EXPECT_EQ(sorted.blocks > 0, size > capacity);
            }
        }
    }
}

TEST_F(StandardInput, OfSeveralWholeChunksIsComplete) {
    for (const Job &job : all_jobs(by_key)) {
        const std::size_t capacity = prepare(job, kBudget);
        for (const std::size_t chunks : {2U, 3U}) {
            for (std::size_t size = chunks * capacity - 2; size <= chunks * capacity + 2; ++size) {
                SCOPED_TRACE(std::to_string(size) + " bytes in chunks of " + std::to_string(capacity));
                const string data = exactly(job, size, size % 2 == 0);
                expect_sorted(sort(data), job, data, true);
            }
        }
    }
}

// A record across the end of the first chunk, at each of its bytes

string special_record(const Job &job) {
    if (job.format == kx_format::csv) {
        return "\"k,\"\"" + job.code + "\"," + job.code;
    }
    return job.format == kx_format::fixed ? "kspecial" : "kspecial" + job.code;
}

TEST_F(StandardInput, CutsRecordsAnywhere) {
    for (const Job &job : all_jobs(by_key)) {
        const std::size_t capacity = prepare(job, kBudget);
        const string special = special_record(job),
                     rest = job.format == kx_format::fixed ? "b2345678" : "bb" + job.code;
        for (std::size_t before = 0; before <= special.size() + job.code.size(); ++before) {
            if (job.format == kx_format::fixed && before % job.length != 0) {
                continue; // chunks hold whole records
            }
            SCOPED_TRACE(std::to_string(before) + " bytes before the end");
            const string data = exactly(job, capacity - before, job.format == kx_format::fixed) + special + rest + rest;
            const Sorted sorted = sort(data);
            expect_sorted(sorted, job, data, true);
            EXPECT_EQ(sorted.blocks, 2);
        }
    }
}

TEST_F(StandardInput, ARecordMayBeLongerThanAChunk) {
    for (const Job &job : all_jobs(by_key)) {
        if (job.format == kx_format::fixed) {
            continue;
        }
        const std::size_t capacity = prepare(job, kBudget);
        for (const std::size_t length : {capacity, capacity + 1, 3 * capacity, 10 * capacity}) {
            for (const string &end : {job.code, string()}) {
                const string data = "b" + job.code + "a" + job.code + string(length, 'c') + end;
                expect_sorted(sort(data), job, data, true);
            }
        }
    }
}

TEST_F(StandardInput, WithoutAFinalNewlineCodeEndsWithOne) {
    for (const Job &job : all_jobs(by_key)) {
        if (job.format == kx_format::fixed) {
            continue;
        }
        const std::size_t capacity = prepare(job, kBudget);
        EXPECT_EQ(sort("bb" + job.code + "aa").outcome.out, "aa" + job.code + "bb" + job.code);
        EXPECT_EQ(sort("bb").outcome.out, "bb" + job.code);
        for (std::size_t tail = 1; tail < 5; ++tail) { // the last one ends with the second chunk
            const string data = exactly(job, 2 * capacity - tail, false) + string(tail, 'a');
            expect_sorted(sort(data), job, data, true);
        }
    }
}

TEST_F(StandardInput, AHalfNewlineCodeIsData) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        const Job job = key_job(format, 1, "\r\n");
        const std::size_t capacity = prepare(job, kBudget);
        for (const string end : {"\r", "\n", "\n\r"}) {
            for (const std::size_t before : {end.size(), end.size() + 1, capacity / 2}) {
                const string data = exactly(job, capacity - before, false) + end;
                const Sorted sorted = sort(data);
                expect_sorted(sorted, job, data, false);
                const string twice = exactly(job, 2 * capacity - before, false) + end;
                expect_sorted(sort(twice), job, twice, true);
            }
        }
    }
}

// A fragment of a fixed-length record behind the first chunk is dropped.
TEST_F(StandardInput, DropsAFragmentBehindChunks) {
    const Job job = key_job(kx_format::fixed, 2);
    const std::size_t capacity = prepare(job, kBudget);
    for (std::size_t fragment = 1; fragment < job.length; ++fragment) {
        for (const std::size_t whole : {capacity, capacity + job.length, 2 * capacity}) {
            const string data = exactly(job, whole, true) + string(fragment, 'a');
            const Sorted sorted = sort(data);
            expect_sorted(sorted, job, data, true);
            EXPECT_EQ(sorted.outcome.out.size(), whole);
        }
    }
}

// Data that arrive in pieces

TEST_F(StandardInput, MayArriveInPiecesOfAnySize) {
    std::mt19937 random(1);
    for (const Job &job : all_jobs(by_key)) {
        const std::size_t capacity = prepare(job, kBudget);
        for (const std::size_t size : {capacity / 2, capacity, 3 * capacity}) {
            const std::size_t whole = size - (job.format == kx_format::fixed ? size % job.length : 0);
            const string data = exactly(job, whole, job.format == kx_format::fixed);
            for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, capacity - 1, capacity, capacity + 1}) {
                SCOPED_TRACE(std::to_string(data.size()) + " bytes in pieces of " + std::to_string(piece));
                expect_sorted(sort_in_pieces(data, piece), job, data, data.size() > capacity);
            }
        }
    }
}

TEST_F(StandardInput, MayArriveSlowly) {
    for (const Job &job : all_jobs(by_key)) {
        const std::size_t capacity = prepare(job, kBudget);
        const string data = exactly(job, 2 * capacity, job.format == kx_format::fixed);
        expect_sorted(sort_in_pieces(data, capacity / 3, 5000), job, data, true);
    }
}

// Records too short for the keys

TEST_F(StandardInput, AChunkOfErrorRecordsIsNoBlock) {
    for (const string &code : kCodes) {
        for (const kx_format format : {kx_format::variable, kx_format::csv}) {
            Job job = key_job(format, 3 + code.size(), code);
            job.csv.keys = {{.column = 2}};
            const std::size_t capacity = prepare(job, kBudget);
            set_error_file(box.path("short"));
            string bad;
            while (bad.size() < 3 * capacity + 1) {
                bad += "s" + code;
            }
            const string good = "k,22" + code + "k,11" + code;
            for (const string &data : {bad, good + bad, bad + good, bad + good + bad, bad + "k,333"}) {
                const Sorted sorted = sort(data);
                EXPECT_EQ(sorted.status, 0);
                EXPECT_EQ(steady(sorted.outcome), kReleased);
                EXPECT_EQ(sorted.blocks, data == bad ? 0 : 1);
                EXPECT_EQ(sorted.outcome.out, joined(model_sort(items_of(job, ended(job, data)), order_of(job))));
                EXPECT_EQ(records_of(job, box.read("short")), rejected_of(job, data));
                EXPECT_EQ(box.files(), "short tmp/");
            }
        }
    }
}

TEST_F(StandardInput, ErrorRecordsOfEachChunkComeInReverse) {
    prepare(key_job(kx_format::variable, 4), 40); // chunks of 30 bytes
    set_error_file(box.path("short"));
    string data;
    for (char c = 'a'; c < 'a' + 18; ++c) {
        data += string(1, c) + "\n";
    }
    EXPECT_EQ(sort(data + "long\n").outcome.out, "long\n");
    EXPECT_EQ(box.read("short"), "o\nn\nm\nl\nk\nj\ni\nh\ng\nf\ne\nd\nc\nb\na\nr\nq\np\n");
}

// No data

TEST_F(StandardInput, WithoutDataEndsTheProcess) {
    for (const Job &job : all_jobs(by_key)) {
        prepare(job, kBudget);
        set_output(box.path("out"));
        for (const bool verbose : {false, true}) {
            VERBOSE = verbose ? 1 : 0;
            const Outcome o = sort("").outcome;
            EXPECT_EQ(o.ending, Ending::exited);
            EXPECT_EQ(o.status, 0);
            EXPECT_EQ(o.out, "");
            EXPECT_EQ(o.err, verbose
                                 ? "ブロックのバッファサイズは[1]KBです。\n\n-- ソートデータ無しなので、終了する。\n"
                                 : "");
            EXPECT_EQ(box.files(), "tmp/");
        }
    }
}

// Random data against the model

TEST_F(StandardInput, AgreesWithTheModel) {
    for (unsigned seed = 0; seed < 240; ++seed) {
        std::mt19937 random(seed);
        const Job job = random_job(random, kFormats[seed % 3]);
        const std::size_t capacity = prepare(job, 100 + to_i64(random() % 3000));
        string data = random_records(random, job, 1 + random() % (6 * capacity));
        if (job.format == kx_format::variable) {
            data.resize(data.size() - random() % 3);
        }
        SCOPED_TRACE(seed);
        if (data.empty()) {
            continue;
        }
        const Sorted sorted = random() % 3 == 0 ? sort_in_pieces(data, 1 + random() % 200) : sort(data);
        expect_sorted(sorted, job, data, data.size() > capacity);
    }
}

} // namespace
