// support_test.cpp: the harness and the model notice what they are there to notice.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Ending;
using support::fixed_items;
using support::in_child;
using support::is_sorted_output;
using support::Outcome;
using support::Rules;

TEST(Child, GivesBackWhatWasPrintedAndReturned) {
    const Outcome o = in_child([] {
        std::fputs("to output", stdout);
        std::fputs("to error", stderr);
        return 7;
    });
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 7);
    EXPECT_EQ(o.out, "to output");
    EXPECT_EQ(o.err, "to error");
    EXPECT_NE(o.pid, getpid());
}

TEST(Child, GivesBackAnExitWithWhatWasPrinted) {
    const Outcome o = in_child([]() -> int {
        std::fputs("unflushed", stdout);
        std::exit(3);
    });
    EXPECT_EQ(o.ending, Ending::exited);
    EXPECT_EQ(o.status, 3);
    EXPECT_EQ(o.out, "unflushed");
}

TEST(Child, HasTheEnvironmentAndTheInputOfItsCall) {
    const auto tell = [] {
        std::printf("%s %s ", std::getenv("LANG") != nullptr ? std::getenv("LANG") : "unset",
                    std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "unset");
        for (int c = 0; (c = std::getchar()) != EOF;) {
            std::putchar(c);
        }
        return 0;
    };
    EXPECT_EQ(in_child(tell, {.lang = "x", .tmpdir = "y", .input = "z\n"}).out, "x y z\n");
    EXPECT_EQ(in_child(tell, {.lang = std::nullopt, .tmpdir = std::nullopt, .input = std::nullopt}).out,
              "unset unset ");
}

TEST(Child, ADeathIsAFailureUnlessItIsExpected) {
    const auto die = []() -> int { return std::raise(SIGKILL); };
    EXPECT_NONFATAL_FAILURE(in_child(die), "died or hung");
    EXPECT_NONFATAL_FAILURE(in_child(die, {.dies_of = SIGPIPE}), "died or hung");
    const Outcome o = in_child(die, {.dies_of = SIGKILL});
    EXPECT_EQ(o.ending, Ending::killed);
    EXPECT_EQ(o.status, SIGKILL);
    EXPECT_NONFATAL_FAILURE(in_child([]() -> int { _exit(0); }), "died or hung");
}

TEST(Child, AHangIsAFailure) {
    const auto hang = [] { return pause(); };
    EXPECT_NONFATAL_FAILURE(in_child(hang, {.time_limit = 1}), "died or hung");
}

#ifdef __SANITIZE_ADDRESS__
void *volatile lost;

TEST(Child, LostMemoryIsAFailure) {
    const auto lose = [] {
        for (int i = 0; i < 10; ++i) { // the last one may still be seen somewhere
            lost = std::malloc(1000);
        }
        lost = nullptr;
        return 0;
    };
    EXPECT_NONFATAL_FAILURE(in_child(lose), "memory was left behind");
}
#endif

TEST(Steady, ReplacesWhatDiffersAndNothingElse) {
    EXPECT_EQ(support::steady("took [      12]ms at 2024-02-29 23:59:60  [7]KB\n"), "took [#]ms at <time>  [7]KB\n");
    EXPECT_EQ(support::steady("tmp/orkan_123.tmp, orkan_12a.tmp"), "tmp/orkan_<pid>.tmp, orkan_12a.tmp");
    EXPECT_EQ(support::steady("took [12]ms, [0.012]s."), "took [<n>]ms, [<n>]s.");
    EXPECT_NONFATAL_FAILURE(support::steady("took [12]ms"), "narrower");
}

// The model

bool accepts(const string &output, const string &input, const Rules &rules) {
    return is_sorted_output(output, fixed_items(input, 2, rules), rules);
}

TEST(Model, AcceptsAnyOrderOfTiesOfAPlainSort) {
    const Rules rules{.keys = {{.position = 0, .length = 1}}};
    EXPECT_TRUE(accepts("a1a2b3", "b3a2a1", rules));
    EXPECT_TRUE(accepts("a2a1b3", "b3a2a1", rules));
    EXPECT_FALSE(accepts("a1b3a2", "b3a2a1", rules)) << "out of order";
    EXPECT_FALSE(accepts("a1a1b3", "b3a2a1", rules)) << "one twice, one missing";
    EXPECT_FALSE(accepts("a1a2", "b3a2a1", rules)) << "one missing";
    EXPECT_FALSE(accepts("a1a2b3b3", "b3a2a1", rules)) << "one too many";
    EXPECT_FALSE(accepts("a1a2b3x", "b3a2a1", rules)) << "a byte too many";
}

TEST(Model, AcceptsOneResultOfAStableSort) {
    const Rules rules{.keys = {{.position = 0, .length = 1}}, .stable = true};
    EXPECT_TRUE(accepts("a2a1b3", "b3a2a1", rules));
    EXPECT_FALSE(accepts("a1a2b3", "b3a2a1", rules));
}

TEST(Model, KeepsOneOfEqualKeys) {
    Rules rules{.keys = {{.position = 0, .length = 1}}, .unique = true};
    EXPECT_TRUE(accepts("a1b3", "b3a2a1", rules));
    EXPECT_TRUE(accepts("a2b3", "b3a2a1", rules));
    EXPECT_FALSE(accepts("a2a1b3", "b3a2a1", rules));
    rules.stable = true;
    EXPECT_TRUE(accepts("a2b3", "b3a2a1", rules));
    EXPECT_FALSE(accepts("a1b3", "b3a2a1", rules));
}

TEST(Model, OrdersNumbersAndWholeRecords) {
    EXPECT_TRUE(accepts("-1 0 9", " 9-1 0", {.keys = {{.position = 0, .length = 2, .numeric = true}}}));
    EXPECT_TRUE(accepts("\xff\xff\x01\x01", "\x01\x01\xff\xff", {.descending = true}));
    EXPECT_FALSE(accepts("\xff\xff\x01\x01", "\x01\x01\xff\xff", {}));
}

TEST(Between, ComplainsAboutWhatIsMissing) {
    EXPECT_EQ(support::between("a<b>c", "<", ">"), "b");
    EXPECT_EQ(support::between("a<b", "<", ">"), "[>] is missing in a<b");
    EXPECT_EQ(support::between("a>b", "<", ">"), "[<] is missing in a>b");
}

} // namespace
