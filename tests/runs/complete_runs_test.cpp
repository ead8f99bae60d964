// complete_runs_test.cpp: how complete mode is chosen, and what its promise asks for beyond the single rules.
#include <gtest/gtest.h>

#include <string>

#include "support/complete_both.h"
#include "support/texts.h"

namespace {

using namespace support;
using std::string;

using Args = std::vector<string>;

const string kBlanks = "  11\n  02\n"; ///< by -S -K0,2n: in this order in complete mode only

string chosen_by(const Box &box, const char *value) {
    const Outcome o = box.run({.args = {"-S", "-K0,2n"}, .input = kBlanks, .before = [value] {
                                   value != nullptr ? setenv("ORKAN_COMPLETE", value, 1) : unsetenv("ORKAN_COMPLETE");
                               }});
    EXPECT_EQ(o.status, 0);
    return o.out == kBlanks ? "complete" : "default";
}

TEST(CompleteMode, IsChosenByTheEnvironment) {
    const Box box;
    for (const char *value : {static_cast<const char *>(nullptr), "", "0"}) {
        EXPECT_EQ(chosen_by(box, value), "default");
    }
    for (const char *value : {"1", "2", "yes", "00", "0 ", " ", "no"}) {
        EXPECT_EQ(chosen_by(box, value), "complete") << value;
    }
}

TEST(CompleteMode, IsReadAnewByEachRunOfAProcess) {
    const Box box;
    const std::vector<bool> modes = {true, false, true, true, false};
    std::vector<Call> calls;
    for (const bool complete : modes) {
        for (const char *key : {"-K0,2n", "-K0,90"}) { // the second one fails in complete mode
            calls.push_back({.args = {"-S", key}, .input = kBlanks, .before = [complete] { choose_mode(complete); }});
        }
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), calls.size());
    for (std::size_t i = 0; i < runs.size(); i += 2) {
        EXPECT_EQ(runs[i].out == kBlanks, modes[i / 2]) << i;
        EXPECT_EQ(runs[i + 1].status, modes[i / 2] ? 1 : 0) << i;
    }
}

TEST(CompleteMode, TheDefaultIsUntouchedByAnEarlierRun) {
    const Box box;
    box.write("b", "");
    box.write("c", "x\n");
    const std::vector<Outcome> runs = box.run_all({{.args = {"-M", "b", "c"}, .before = [] { choose_mode(true); }},
                                                   {.args = {"-M", "b", "c"}, .before = [] { choose_mode(false); }},
                                                   {.args = {"b", "c"}, .before = [] { choose_mode(true); }},
                                                   {.args = {"b", "b"}, .before = [] { choose_mode(false); }}});
    ASSERT_EQ(runs.size(), 4U);
    EXPECT_EQ(runs[0].out, "x\n");
    EXPECT_EQ(runs[1].out, "");
    EXPECT_EQ(runs[2].out, "x\n");
    EXPECT_EQ(runs[3].out, "\n");
}

// --- what the promise asks for -----------------------------------------------------------------------------------

TEST(CompletePromise, AMergeWithoutInputsSortsStandardInput) {
    const Box box;
    const Both both = run_both(box, {"-M"}, "b\na\n");
    EXPECT_EQ(both.usual.out, "");
    EXPECT_EQ(both.complete.out, "a\nb\n");
}

TEST(CompletePromise, AnErrorFileThatCannotBeMadeEndsTheRun) {
    const Box box;
    box.write("in", "long enough\nshort\n");
    const Both both = run_both(box, {"-K0,10", "-E", "in", "in"});
    EXPECT_EQ(both.usual.out, "long enough\n");
    EXPECT_EQ(both.complete.out, "");
    EXPECT_EQ(both.complete.err, kStart + "☆ Cannot create error file [in]!\n" + kFailed);
}

TEST(CompletePromise, AMergeComparesWholeNumbersForDuplicates) {
    const Box box;
    box.write("a", "10\n");
    box.write("b", "100\n");
    const Both both = run_both(box, {"-M", "-U", "-C", "-K1n", "a", "b"});
    EXPECT_EQ(both.usual.out, "10\n");
    EXPECT_EQ(both.complete.out, "10\n100\n");
}

TEST(CompletePromise, StandardInputIsReadWithTheSmallestPool) {
    const Box box;
    const Both both = run_both(box, {"-W100M"}, "b\na\n", [] { refuse_allocations_from(20000000); });
    EXPECT_EQ(both.usual.out, "");
    EXPECT_EQ(both.usual.status, 0);
    EXPECT_EQ(both.complete.status, 0) << both.complete.err;
    EXPECT_EQ(both.complete.out, "a\nb\n");
}

TEST(CompletePromise, ALongRecordIsSortedWhereverAChunkEnds) {
    const Box box;
    const string longest = string(700000, 'a') + "\n";
    string lines, last;
    for (int i = 0; i < 11120; ++i) { // to where the first chunk ends in the long one
        lines += string(999, 'm') + "\n";
        last += i < 2000 ? string(999, 'z') + "\n" : "";
    }
    box.write("in", lines + longest + last);
    const string sorted = longest + lines + last;
    for (const char *format : {"-A", "-C"}) {
        const Both both = run_both(box, {"-W16M", format, "in"});
        EXPECT_TRUE(both.complete.out == sorted);
        EXPECT_TRUE(run_both(box, {"-W16M", format}, lines + longest + last).complete.out == sorted);
        if (string(format) == "-A") {
            EXPECT_EQ(both.usual.status, 1);
        }
    }
}

TEST(CompletePromise, AHeaderIsWrittenWithoutRecords) {
    const Box box;
    box.write("in", "a,b\n1\n");
    const Both both = run_both(box, {"-C", "-H", "-U", "-K2", "-E", "errors", "in"});
    EXPECT_EQ(both.usual.out, "");
    EXPECT_EQ(both.complete.out, "a,b\n");
    EXPECT_EQ(box.read("errors"), "1\n");
}

TEST(CompletePromise, AHeaderMayBeOneMebibyteLong) {
    const Box box;
    for (const std::size_t size : {std::size_t{1048575}, std::size_t{1048576}}) {
        const string header = string(size, 'h') + "\n";
        box.write("in", header + "a\n");
        for (const Args &way : {Args{"in"}, Args{"-W1", "in"}, Args{"-M", "in"}, Args{}}) {
            Args args = way;
            args.insert(args.begin(), {"-C", "-H", "-K1"});
            const Outcome o = run_both(box, args, header + "a\n").complete;
            EXPECT_EQ(o.status, size == 1048575 ? 0 : 1);
            EXPECT_TRUE(o.out == (size == 1048575 ? header + "a\n" : "")) << o.out.size();
        }
    }
}

TEST(CompletePromise, AVerboseRunGivesTheSame) {
    const Box box;
    box.write("a", "0,x\n,y\n00,z\n 7,w\n");
    box.write("b", "7,v\n,u");
    for (const Args &way : {Args{"-C", "-S"}, Args{"-C", "-S", "-U", "-K1n"}, Args{"-C", "-S", "-W1", "-K1nd", "-N"}}) {
        Args args = way;
        args.insert(args.end(), {"-O", "out", "a", "b"});
        EXPECT_EQ(run_both(box, args).complete.status, 0);
        const string quiet = box.read("out");
        args.insert(args.begin(), "-Verbose");
        EXPECT_EQ(run_both(box, args).complete.status, 0);
        EXPECT_EQ(box.read("out"), quiet);
    }
}

} // namespace
