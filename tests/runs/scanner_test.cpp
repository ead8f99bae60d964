// scanner_test.cpp: how an argument vector is cut into options, their arguments and operands.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx_getopt/kx_getopt.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Box;
using support::Ending;
using support::kEnd;
using support::kFailed;
using support::kStart;
using support::Outcome;

const string kIllegal = kStart + "orkan: : illegal option -- \n";
const string kNoArgument = kStart + "orkan: : option requires an argument -- \n";

struct Row {
    const char *name;
    std::vector<string> args;
    string out;
};

void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }
string name_of(const testing::TestParamInfo<Row> &info) { return info.param.name; }

// Sorted runs: "in.dat" holds b2a1b2, "-" and "-x" hold d4c3.

class Scanned : public testing::TestWithParam<Row> {};

TEST_P(Scanned, SortsAndReturnsZero) {
    const Box box;
    box.write("in.dat", "b2a1b2");
    box.write("-", "d4c3");
    box.write("-x", "d4c3");
    const Outcome o = box.run({.args = GetParam().args});
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, GetParam().out);
    EXPECT_EQ(o.err, kStart + kEnd);
    EXPECT_EQ(box.files(), "- -x in.dat tmp/");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Scanned,
    testing::Values(Row{"argument_in_the_next_element", {"-L", "2", "in.dat"}, "a1b2b2"},
                    Row{"argument_in_the_same_element", {"-L2", "in.dat"}, "a1b2b2"},
                    Row{"next_element_is_trimmed", {"-L", " \t2 \n", "in.dat"}, "a1b2b2"},
                    Row{"same_element_is_trimmed", {"-L  2  ", "in.dat"}, "a1b2b2"},
                    Row{"letters_share_an_element", {"-SU", "-L2", "in.dat"}, "a1b2"},
                    Row{"last_letter_takes_the_rest", {"-suL2", "in.dat"}, "a1b2"},
                    Row{"last_letter_takes_the_next", {"-rSUl", "2", "in.dat"}, "b2a1"},
                    Row{"letters_may_repeat", {"-UU", "-S", "-S", "-L3", "-L2", "in.dat"}, "a1b2"},
                    Row{"a_dash_is_an_operand", {"-L2", "-"}, "c3d4"},
                    Row{"a_dash_after_an_operand", {"-L2", "in.dat", "-"}, "a1b2b2c3d4"},
                    Row{"two_dashes_end_the_options", {"-L2", "--", "-x"}, "c3d4"},
                    Row{"two_dashes_then_a_dash", {"-L2", "--", "-", "in.dat"}, "a1b2b2c3d4"},
                    Row{"argument_may_look_like_an_option", {"-V", "-L9", "-L2", "in.dat"}, "a1b2b2"},
                    Row{"argument_may_be_two_dashes", {"-V", "--", "-L2", "in.dat"}, "a1b2b2"}),
    name_of);

// Ends of the process: nothing on standard output, nothing on disk, status 0.

class Ended : public testing::TestWithParam<Row> {};

TEST_P(Ended, EndsTheProcessWithStatusZero) {
    const Box box;
    box.write("in.dat", "b2a1b2");
    const Outcome o = box.run({.args = GetParam().args});
    EXPECT_EQ(o.ending, Ending::exited);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, GetParam().out);
    EXPECT_EQ(box.files(), "in.dat tmp/");
}

INSTANTIATE_TEST_SUITE_P(
    UnknownLetter, Ended,
    testing::Values(Row{"alone", {"-Z", "-L2", "in.dat"}, kIllegal}, Row{"digit", {"-2", "in.dat"}, kIllegal},
                    Row{"colon", {"-:", "in.dat"}, kIllegal}, Row{"in_a_group", {"-SxU", "-L2", "in.dat"}, kIllegal},
                    Row{"colon_in_a_group", {"-S:", "in.dat"}, kIllegal}, Row{"long_option", {"--version"}, kIllegal},
                    Row{"help_behind_another_option", {"-S", "--help"}, kIllegal},
                    Row{"help_with_more", {"--help=all"}, kIllegal},
                    Row{"blank_behind_the_dash", {"- ", "in.dat"}, kIllegal},
                    Row{"high_byte", {"-\xe3\x81\x82", "in.dat"}, kIllegal},
                    Row{"behind_valid_ones", {"-L2", "-O", "out", "-A", "-Q", "in.dat"}, kIllegal}),
    name_of);

INSTANTIATE_TEST_SUITE_P(MissingArgument, Ended, testing::ValuesIn([] {
                             static std::vector<string> names;
                             std::vector<Row> rows;
                             names.reserve(20);
                             for (const char letter : string("VvWwLlPpDdTtKkOoEe")) {
                                 names.push_back(string(letter < 'a' ? "upper_" : "lower_") + letter);
                                 rows.push_back({names.back().c_str(), {"-S", string("-") + letter}, kNoArgument});
                             }
                             rows.push_back({"in_a_group", {"-L2", "-SUK"}, kNoArgument});
                             return rows;
                         }()),
                         name_of);

TEST(ScannerErrors, NameTheProgram) {
    const Box box;
    EXPECT_EQ(box.run({.args = {"-Z"}, .program = "/usr/bin/sorter"}).err,
              kStart + "/usr/bin/sorter: : illegal option -- \n");
    EXPECT_EQ(box.run({.args = {"-W"}, .program = "s o r t"}).err,
              kStart + "s o r t: : option requires an argument -- \n");
}

TEST(ScannerErrors, AreTheSameInJapanese) {
    const Box box;
    EXPECT_EQ(box.run({.args = {"-Z"}, .lang = support::kJapanese}).err, kIllegal);
    EXPECT_EQ(box.run({.args = {"-O"}, .lang = support::kJapanese}).err, kNoArgument);
}

TEST(ScannerErrors, AreSilentWithoutOpterr) {
    const Box box;
    for (const char *wrong : {"-Z", "-W"}) {
        const Outcome o = box.run({.args = {wrong}, .before = [] { orkan::opterr = 0; }});
        EXPECT_EQ(o.ending, Ending::exited);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, kStart);
    }
}

TEST(ScannerErrors, KeepWhatWasWrittenBefore) {
    const Box box;
    const Outcome o = box.run({.args = {"-Verbose", "-C", "-Z"}});
    EXPECT_EQ(o.ending, Ending::exited);
    EXPECT_EQ(o.err, kStart + "-C\norkan: : illegal option -- \n");
}

// Operands

TEST(Operands, BeginAtTheFirstElementThatIsNoOption) {
    const Box box;
    box.write("in.dat", "b2a1");
    for (const char *late : {"-R", "--", "--help", "-Z", ""}) {
        const Outcome o = box.run({.args = {"-L2", "in.dat", late}});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + "☆ Failed to stat input file 2 [" + late + "]!\n" + support::kArguments + kFailed);
    }
}

TEST(Operands, AnEmptyElementIsOne) {
    const Box box;
    EXPECT_EQ(box.run({.args = {"-L2", "", "-S"}}).err,
              kStart + "☆ Failed to stat input file 1 []!\n" + support::kArguments + kFailed);
}

TEST(Operands, AreNotTrimmed) {
    const Box box;
    box.write(" in.dat ", "b2a1");
    EXPECT_EQ(box.run({.args = {"-L2", " in.dat "}}).out, "a1b2");
}

// The scanner itself: state between its calls.

class Scanner : public testing::Test {
  protected:
    void SetUp() override { orkan::kx_getopt_reset(); }
    void TearDown() override { orkan::kx_getopt_reset(); }

    void set(std::vector<string> args) {
        texts = std::move(args);
        vector.clear();
        for (string &text : texts) {
            vector.push_back(text.data());
        }
    }
    int next() { return orkan::kx_getopt(static_cast<int>(vector.size()), vector.data(), "abo:"); }

    std::vector<string> texts;
    std::vector<char *> vector;
};

TEST_F(Scanner, WalksLettersArgumentsAndStops) {
    set({"prog", "-ab", "-o", " x ", "-oy", "-b", "rest", "-a"});
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(orkan::optarg, nullptr);
    EXPECT_EQ(orkan::optind, 1);
    EXPECT_EQ(orkan::kx_getopt_sp, 2);
    EXPECT_EQ(next(), 'b');
    EXPECT_EQ(orkan::optopt, 'b');
    EXPECT_EQ(orkan::optind, 2);
    EXPECT_EQ(orkan::kx_getopt_sp, 1);
    EXPECT_EQ(next(), 'o');
    EXPECT_STREQ(orkan::optarg, "x");
    EXPECT_EQ(orkan::optarg, vector[3]); // trimmed where it stands
    EXPECT_EQ(orkan::optind, 4);
    EXPECT_EQ(next(), 'o');
    EXPECT_EQ(orkan::optarg, vector[4] + 2);
    EXPECT_EQ(next(), 'b');
    EXPECT_EQ(orkan::optarg, nullptr);
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(orkan::optind, 6);
}

TEST_F(Scanner, EndsAtTheEndAtADashAndBehindTwoDashes) {
    set({"prog"});
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(orkan::optind, 1);
    set({"prog", "-"});
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(orkan::optind, 1);
    set({"prog", "--", "-a"});
    EXPECT_EQ(next(), -1);
    EXPECT_EQ(orkan::optind, 2);
}

TEST_F(Scanner, ResetRewindsAllButOpterr) {
    set({"prog", "-ab", "-oz"});
    next();
    orkan::opterr = 0;
    orkan::kx_getopt_reset();
    EXPECT_EQ(orkan::optind, 1);
    EXPECT_EQ(orkan::kx_getopt_sp, 1);
    EXPECT_EQ(orkan::optopt, 0);
    EXPECT_EQ(orkan::optarg, nullptr);
    EXPECT_EQ(orkan::opterr, 0);
    orkan::opterr = 1;
    EXPECT_EQ(next(), 'a');
    EXPECT_EQ(next(), 'b');
    EXPECT_EQ(next(), 'o');
    orkan::kx_getopt_reset();
    EXPECT_EQ(orkan::optarg, nullptr);
}

TEST_F(Scanner, AnArgumentOfBlanksBecomesEmpty) {
    set({"prog", "-o", " \t ", "-o   "});
    EXPECT_EQ(next(), 'o');
    EXPECT_STREQ(orkan::optarg, "");
    EXPECT_EQ(next(), 'o');
    EXPECT_STREQ(orkan::optarg, "");
}

} // namespace
