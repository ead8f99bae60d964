// longest_record_test.cpp: the longest record of complete mode is the same along every path, and it takes no more
// memory than it needs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx_sort/kx_block_merge.h"
#include "orkan/kx_run_state.h"
#include "support/complete_both.h"
#include "support/run.h"
#include "support/run_state.h"
#include "support/small_sizes.h"

namespace {

using namespace support;
using orkan::kx_i64;
using std::string;

using Args = std::vector<string>;

constexpr kx_i64 kLimit = 1000; ///< bytes of a record, in these runs; some chunks and buffers

class LongestRecord : public testing::TestWithParam<Args> {
  protected:
    /// Among others a record of that many bytes with its newline code, which may be missing.
    Outcome run_with(kx_i64 bytes, bool ends, const string &path, bool complete) {
        const string record(static_cast<std::size_t>(bytes - 1), 'x');
        data = numbered(0, 50, 1) + record + "\n";
        const string given = numbered(0, 50, 1) + record + (ends ? "\n" : "");
        box.write("in", given);
        Args args = GetParam();
        if (path == "<") {
            return run(args, given, complete);
        }
        if (!path.empty()) {
            args.push_back(path);
        }
        args.emplace_back("in");
        return run(args, "", complete);
    }

    Box box;
    string data; ///< in order

  private:
    Outcome run(const Args &args, const string &input, bool complete) {
        return box.run({.args = args, .input = input, .before = [&] {
                            choose_mode(complete);
                            shrink_sizes();
                            orkan::kx_small.record = kLimit;
                        }});
    }
};

const Args kPaths{"", "-W1", "<", "-M"};

TEST_P(LongestRecord, TheLimitIsTheSameAlongEveryPathOfCompleteMode) {
    for (const string &path : kPaths) {
        for (const bool ends : {true, false}) {
            SCOPED_TRACE("path \"" + path + "\", newline code " + (ends ? "given" : "missing"));
            const Outcome longest = run_with(kLimit, ends, path, true);
            EXPECT_EQ(longest.status, 0) << longest.err;
            EXPECT_EQ(longest.out, data);
            for (const kx_i64 bytes : {kLimit + 1, 2 * kLimit, 5 * kLimit}) {
                const Outcome longer = run_with(bytes, ends, path, true);
                EXPECT_EQ(longer.status, 1) << bytes;
                EXPECT_TRUE(longer.out.empty() || path == "-M") << "a merge writes as it goes";
                EXPECT_TRUE(says(longer, "record length") || says(longer, "レコード長")) << longer.err;
            }
        }
    }
}

TEST_P(LongestRecord, TheDefaultModeHasNoneInMemory) {
    const Outcome o = run_with(kLimit + 1, true, "", false);
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, data);
}

INSTANTIATE_TEST_SUITE_P(Formats, LongestRecord,
                         testing::Values(Args{"-A"}, Args{"-K0,1"}, Args{"-C"}, Args{"-C", "-K1"}));

// Records that are longer than a block's share of the budget.

string large_records(int count, std::size_t bytes, int step) {
    string all;
    for (int i = 0; i < count; ++i) {
        const string number = std::to_string(100 + i * step % count);
        all += number + string(bytes - number.size() - 1, 'x') + "\n";
    }
    return all;
}

TEST(LargeRecords, AreMergedWhateverTheShareOfABlock) {
    for (const std::size_t bytes : {20000U, 33000U, 70000U}) {
        for (const Args &format : {Args{"-L" + std::to_string(bytes)}, Args{"-A"}, Args{"-C"}}) {
            for (const char *wish : {"-W1", "-S", "-U"}) {
                for (const bool complete : {false, true}) {
                    const Box box;
                    box.write("in", large_records(40, bytes, 17));
                    Args args = format;
                    args.insert(args.end(), {"-W1", wish, "in"});
                    const Outcome o = box.run({.args = args, .before = [&] {
                                                   choose_mode(complete);
                                                   const auto budget =
                                                       orkan::BASIC_SIZE + 3 * static_cast<kx_i64>(bytes);
                                                   orkan::kx_small = {budget, 1024, 256};
                                               }});
                    EXPECT_TRUE(o.status == 0 && o.out == large_records(40, bytes, 1))
                        << bytes << ' ' << format.front() << ' ' << wish << ' ' << complete << '\n'
                        << o.err;
                }
            }
        }
    }
}

// Buffers of a merge.

class BlockBuffers : public RunState {};

TEST_F(BlockBuffers, ByDefaultGrowToFourTimesTheLongestRecord) {
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, 1000), 1000);
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, 1001), 4004);
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, kx_i64{1} << 30), kx_i64{1} << 32);
    EXPECT_EQ(orkan::dataInfo.bufSize, kx_i64{1} << 32);
}

TEST_F(BlockBuffers, InCompleteModeDoNotAllGrowForOneLongRecord) {
    orkan::completeMode = true;
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, 1000), 1000);
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, 1001), 4004);
    EXPECT_EQ(orkan::kx_choose_block_buffer(1000, kx_i64{1} << 30), 32768);
    EXPECT_EQ(orkan::kx_choose_block_buffer(100000, kx_i64{1} << 30), 100000);
    EXPECT_EQ(orkan::kx_choose_block_buffer(-5, kx_i64{1} << 30), 32768);
    EXPECT_EQ(orkan::dataInfo.bufSize, 32768);
    orkan::completeMode = false;
}

} // namespace
