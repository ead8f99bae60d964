// Every call of the operating system in every kind of run, refused: once, from then on, and all others with it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/fault_loop.h"

namespace {

using support::Box;
using support::FaultCase;
using support::LoopResult;
using support::Outcome;

class EveryFault : public testing::TestWithParam<FaultCase> {};

/// In the child: prints how many positions there are, and what is wrong.
int refuse_all(const Box &box, const FaultCase &c) {
    const LoopResult result = support::refuse_every_call(box, c);
    std::string sites;
    for (const auto &[site, calls] : result.sites) {
        sites += (sites.empty() ? "" : ", ") + site + " " + std::to_string(calls);
    }
    std::printf("%-32s %5d positions: %s\n", c.name().c_str(), result.positions, sites.c_str());
    std::fprintf(stderr, "%s", result.text.c_str());
    return result.complaints;
}

/// Thousands of runs: in memory where there is such a folder.
void prefer_memory() {
    if (access("/dev/shm", R_OK | W_OK) == 0) {
        setenv("TMPDIR", "/dev/shm", 1);
    }
}

TEST_P(EveryFault, IsSurvived) {
    prefer_memory();
    const Box box;
    const Outcome o = support::in_child([&] { return refuse_all(box, GetParam()); });
    EXPECT_EQ(o.ending, support::Ending::returned) << box.read("position") << "\n" << box.read("messages");
    EXPECT_EQ(o.status, 0) << o.err;
    std::printf("%s", o.out.c_str());
}

INSTANTIATE_TEST_SUITE_P(Calls, EveryFault, testing::ValuesIn(support::all_fault_cases()),
                         [](const auto &c) { return c.param.name(); });

} // namespace
