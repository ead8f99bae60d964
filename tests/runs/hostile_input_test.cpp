// hostile_input_test.cpp: inputs that vanish between the look at them and their opening, or once they are open.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

struct Row {
    const char *name;
    std::vector<string> args;
    string message; ///< where the input cannot be opened any more
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Vanishing : public testing::TestWithParam<Row> {
  protected:
    /// The run, in which `in.dat` is removed when something happens at that site for the first time.
    Outcome run(kx_site site) {
        box.write("in.dat", "b,2\na,1\nc,3\n");
        when = site;
        return box.run({.args = GetParam().args, .before = [] { orkan::kx_fault_hook = remove_once; }});
    }
    static bool remove_once(kx_site site, kx_i64 /*bytes*/) {
        static bool done = false;
        if (site == when && !done) {
            done = true;
            if (unlink("in.dat") != 0) {
                abort();
            }
        }
        return false;
    }

    Box box;
    static inline kx_site when;
};

TEST_P(Vanishing, BeforeItIsOpened) {
    const Outcome o = run(kx_site::open);
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_NE(o.err.find(GetParam().message), string::npos) << o.err;
    EXPECT_EQ(box.files(), "tmp/");
}

TEST_P(Vanishing, WhileItIsRead) {
    const Outcome o = run(kx_site::read);
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, GetParam().args[0] == "-M" ? "b,2\na,1\nc,3\n" : "a,1\nb,2\nc,3\n");
    EXPECT_EQ(box.files(), "tmp/");
}

INSTANTIATE_TEST_SUITE_P(
    Paths, Vanishing,
    testing::Values(Row{"memory", {"-A", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"memory_csv", {"-C", "-K1", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"split", {"-A", "-W1", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"split_fixed", {"-L4", "-A", "-W1", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"split_csv", {"-C", "-K1", "-W1", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"merge", {"-M", "-A", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"},
                    Row{"merge_fixed", {"-M", "-L4", "-A", "in.dat"}, "☆ Cannot open input file [in.dat]!\n"}),
    [](const auto &row) { return row.param.name; });

} // namespace
