// fixed_memory_test.cpp: memory that runs out in the sort of fixed-length records in memory.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx_memory/kx_memory.h"
#include "orkan/kx_run_state.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using orkan::kx_site;
using std::string;
using namespace support;

using Args = std::vector<string>;

// Memory that runs out behind the load: the pool is used up but for a few bytes and the system refuses more.

template <orkan::kx_i64 left> bool starve(kx_site site, orkan::kx_i64 /*bytes*/) {
    static bool starved = false;
    if (site == kx_site::read && !starved) {
        starved = true;
        void *hold = orkan::kx_malloc(orkan::memPool, left);
        for (orkan::kx_i64 size = 16 << 20; size > 0; size = size > 1024 ? size - 512 : size - 8) {
            while (orkan::kx_malloc(orkan::memPool, size) != nullptr) {
            }
        }
        orkan::kx_free(orkan::memPool, hold);
    }
    return starved && site == kx_site::allocate;
}

/// 1000 records of 4 bytes, whose index takes 8000 bytes.
string thousand() {
    string data;
    for (int i = 0; i < 1000; ++i) {
        data += std::to_string(1000 + i * 7 % 1000);
    }
    return data;
}

TEST(Memory, RunsOutInTheStableSort) {
    for (const bool japanese : {false, true}) {
        const Box box;
        box.write("in1", thousand());
        const Outcome o =
            box.run({.args = {"-S", "-L4", "-O", "out", "in1"}, .lang = japanese ? kJapanese : "C", .before = [] {
                         orkan::kx_fault_hook = starve<9000>;
                     }});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + (japanese ? "☆メモリ上での安定ソートは失敗しました!\n" + kFailedJa
                                            : "☆ In-memory stable sort failed!\n" + kFailed));
        EXPECT_EQ(box.files(), "in1 tmp/");
    }
}

TEST(Memory, ThePlainSortNeedsNoneBesidesItsIndex) {
    const Box box;
    const string data = thousand();
    box.write("in1", data);
    const Outcome o =
        box.run({.args = {"-L4", "-K1,3n", "in1"}, .before = [] { orkan::kx_fault_hook = starve<9000>; }});
    EXPECT_EQ(o.err, kStart + kEnd);
    string sorted;
    for (int i = 1000; i < 2000; ++i) {
        sorted += std::to_string(i);
    }
    EXPECT_EQ(o.out, sorted);
}

// By design the output is created and left empty.
TEST(Memory, RunsOutForTheIndex) {
    for (const Args &extra : {Args{}, Args{"-S"}, Args{"-U"}}) {
        const Box box;
        box.write("in1", thousand());
        Args args = extra;
        args.insert(args.end(), {"-L4", "-O", "out", "in1"});
        const Outcome o = box.run({.args = args, .before = [] { orkan::kx_fault_hook = starve<200>; }});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(box.files(), "in1 out tmp/");
        EXPECT_EQ(box.read("out"), "");
    }
}

} // namespace
