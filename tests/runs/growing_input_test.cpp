// growing_input_test.cpp: inputs that get more bytes in front of the first read, the second and so on, after they were
// measured. In complete mode the output has all records of one moment, whole, or the run fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/complete_both.h"
#include "support/run.h"
#include "support/small_sizes.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

constexpr int kNeverSoMany = 2000; ///< reads
const string kCut = "z-cu";        ///< the last record when the run starts
const string kRest = "t\nz-d\n";   ///< then it is written to its end, and another one behind it

// In the process of a run.
string target;
int reads_left = 0;

bool lengthen(kx_site site, kx_i64 /*bytes*/) {
    if (site == kx_site::read && --reads_left == 0) {
        const int file = open(target.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (write(file, kRest.data(), kRest.size()) != static_cast<ssize_t>(kRest.size()) || close(file) != 0) {
            abort();
        }
    }
    return false;
}

struct Row {
    const char *name;
    std::vector<string> args;
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Growing : public testing::TestWithParam<Row> {
  protected:
    /// The run, in whose input the record that is last is completed before that read; false when it does not read so
    /// often.
    bool run(int read, const string &records) {
        box.write("in", records + kCut);
        outcome = box.run({.args = GetParam().args, .before = [&] {
                               choose_mode(true);
                               shrink_sizes();
                               target = box.path("in");
                               reads_left = read;
                               orkan::kx_fault_hook = lengthen;
                           }});
        return box.read("in").size() > records.size() + kCut.size();
    }

    Box box;
    Outcome outcome;
};

TEST_P(Growing, NoRecordIsTornInCompleteMode) {
    for (const int count : {1, 20, 100, 150}) {
        const string records = numbered(0, count, 1);
        const string before = records + kCut + "\n";
        const string after = records + kCut + kRest;
        int read = 1;
        for (; run(read, records); ++read) {
            SCOPED_TRACE("read " + std::to_string(read) + " of " + std::to_string(count) + " records");
            ASSERT_LT(read, kNeverSoMany);
            if (outcome.status == 0) {
                EXPECT_TRUE(outcome.out == before || outcome.out == after) << outcome.out;
            } else {
                EXPECT_TRUE(says(outcome, "☆")) << "a message";
            }
            EXPECT_EQ(box.files().find(".tmp"), string::npos) << box.files();
        }
        EXPECT_GT(read, 1) << "it reads at all";
        EXPECT_EQ(outcome.out, before);
    }
}

/// By whole records, behind the look whether it is as empty as it says, and before it is opened to be read.
TEST(EmptyInput, ThatGrowsIsReadOrRefusedInCompleteMode) {
    const string records = numbered(0, 30, 2), later = numbered(1, 30, 2);
    for (const std::vector<string> &format : {std::vector<string>{"-L8"}, {"-A"}, {"-C"}}) {
        for (const string &path : {string("-S"), string("-W1"), string("-M")}) {
            const Box box;
            box.write("empty", "");
            box.write("full", records);
            std::vector<string> args = format;
            args.insert(args.end(), {path, "empty", "full"});
            const Outcome o = box.run({.args = args, .before = [&] {
                                           choose_mode(true);
                                           shrink_sizes();
                                           orkan::kx_fault_hook = [](kx_site site, kx_i64 /*bytes*/) {
                                               static int opened = 0;
                                               if (site == kx_site::open && ++opened == 2) {
                                                   std::ofstream("empty") << numbered(1, 30, 2);
                                               }
                                               return false;
                                           };
                                       }});
            SCOPED_TRACE(format.front() + " " + path + "\n" + o.err);
            EXPECT_EQ(box.read("empty"), later);
            EXPECT_TRUE(o.status == 1 ? says(o, "☆") : o.out == numbered(0, 30, 1)) << o.out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, Growing,
                         testing::Values(Row{"memory_lines", {"-A", "in"}}, Row{"memory_csv", {"-C", "in"}},
                                         Row{"split_lines", {"-A", "-W1", "in"}},
                                         Row{"split_csv", {"-C", "-D-", "-K1", "-W1", "in"}},
                                         Row{"merge_lines", {"-A", "-M", "in"}}, Row{"merge_csv", {"-C", "-M", "in"}}),
                         [](const auto &row) { return string(row.param.name); });

} // namespace
