// fixed_sort_test.cpp: fixed-length files sorted in memory: the order of the records, row by row.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Box;
using support::kEnd;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

Args operator+(Args first, const Args &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct Row {
    const char *name;
    Args args;
    std::vector<string> inputs;
    string sorted;
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Order : public testing::TestWithParam<Row> {};

// Every row to a file and to standard output, plain and, as no ties show, stable, in both languages.
TEST_P(Order, OfTheRecords) {
    const Row &row = GetParam();
    const Box box;
    Args inputs;
    for (const string &bytes : row.inputs) {
        inputs.push_back("in" + std::to_string(inputs.size() + 1));
        box.write(inputs.back(), bytes);
    }
    std::vector<support::Call> calls;
    for (const char *lang : {"C", kJapanese}) {
        for (const Args &extra : {Args{}, Args{"-S"}}) {
            const string out = "out" + std::to_string(calls.size());
            calls.push_back({.args = row.args + extra + Args{"-O", out} + inputs, .lang = lang});
            calls.push_back({.args = row.args + extra + inputs, .lang = lang});
        }
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), calls.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const bool to_file = i % 2 == 0;
        EXPECT_EQ(runs[i].status, 0);
        EXPECT_EQ(runs[i].err, kStart + kEnd);
        EXPECT_EQ(runs[i].out, to_file ? "" : row.sorted);
        EXPECT_EQ(box.read("out" + std::to_string(i / 2 * 2)), row.sorted);
    }
    EXPECT_EQ(box.files().substr(box.files().find("out")), "out0 out2 out4 out6 tmp/");
}

const auto name_of = [](const auto &row) { return row.param.name; };

string bytes(const char *text, std::size_t n) { return {text, n}; }

INSTANTIATE_TEST_SUITE_P(
    WholeRecords, Order,
    testing::Values(Row{"ascending_by_default", {"-L3"}, {"bbaabbaaa"}, "aaaabbbba"},
                    Row{"ascending", {"-L3", "-A"}, {"bbaabbaaa"}, "aaaabbbba"},
                    Row{"descending", {"-L3", "-R"}, {"bbaabbaaa"}, "bbaabbaaa"},
                    Row{"of_one_byte", {"-L1"}, {"hello world"}, " dehllloorw"},
                    Row{"one_record", {"-L5"}, {"12345"}, "12345"},
                    Row{"bytes_are_unsigned", {"-L1"}, {"\xff\x80z\x01"}, "\x01z\x80\xff"},
                    Row{"any_byte_is_data", {"-L2"}, {bytes("\0\n\n\0\0\0", 6)}, bytes("\0\0\0\n\n\0", 6)},
                    Row{"all_equal", {"-L2"}, {"aaaaaa"}, "aaaaaa"},
                    Row{"several_inputs", {"-L2"}, {"d1b1", "c1", "a1e1"}, "a1b1c1d1e1"},
                    Row{"an_empty_input_among_others", {"-L2"}, {"", "b1", "", "a1"}, "a1b1"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    TextKeys, Order,
    testing::Values(Row{"in_the_middle", {"-L4", "-K1,2"}, {"xbbxyaay"}, "yaayxbbx"},
                    Row{"descending", {"-L4", "-K1,2d"}, {"xaaxybby"}, "ybbyxaax"},
                    Row{"first_key_decides", {"-L2", "-K1,1", "-K0,1"}, {"a2b1a1"}, "a1b1a2"},
                    Row{"second_key_descending", {"-L2", "-K1,1", "-K0,1d"}, {"a2b1a1"}, "b1a1a2"},
                    Row{"overlapping_keys", {"-L3", "-K1,2", "-K0,2d"}, {"a12b12a11"}, "a11b12a12"},
                    Row{"the_same_key_twice", {"-L2", "-K0,1", "-K0,1d", "-K1,1"}, {"b2b1a9"}, "a9b1b2"},
                    Row{"a_whole_record_as_key", {"-L3", "-K0,3d"}, {"abcabdabb"}, "abdabcabb"},
                    Row{"bytes_are_unsigned",
                        {"-L2", "-K0,1"},
                        {"\xc3"
                         "1z2"},
                        "z2\xc3"
                        "1"},
                    Row{"digits_as_text", {"-L2", "-K0,2"}, {"10 9-1"}, " 9-110"},
                    Row{"no_length_decides_nothing", {"-L2", "-K0,", "-K1,1"}, {"a2b1"}, "b1a2"},
                    Row{"date_time_is_text", {"-L4", "-K0,4t"}, {"1000 999-100"}, " 999-1001000"},
                    Row{"date_time_and_number_is_text", {"-L4", "-K0,4tn"}, {"1000 999-100"}, " 999-1001000"},
                    Row{"number_before_date_time_is_text", {"-L4", "-K0,4nt"}, {"1000 999-100"}, " 999-1001000"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    NumericKeys, Order,
    testing::Values(Row{"by_value", {"-L4", "-K0,4n"}, {"1000 999-100"}, "-100 9991000"},
                    Row{"descending", {"-L4", "-K0,4nd"}, {" 999-1001000"}, "1000 999-100"},
                    Row{"d_before_n_is_ascending", {"-L4", "-K0,4dn"}, {"1000 999-100"}, "-100 9991000"},
                    Row{"signs", {"-L3", "-K0,3n"}, {"+10-10 +9-+5"}, "-10-+5 +9+10"}, // "-+5" is 0
                    Row{"no_digits_are_zero", {"-L3", "-K0,2n", "-K2,1"}, {"abd 1a--b-1c"}, "-1c--babd 1a"},
                    Row{"leading_zeros", {"-L3", "-K0,3n"}, {"010009011"}, "009010011"},
                    Row{"value_before_text", {"-L5", "-K0,2n", "-K2,3"}, {" 1bcd01abc+1aaa"}, "+1aaa01abc 1bcd"},
                    Row{"stops_at_the_first_other_byte", {"-L4", "-K0,4n"}, {"1x997   2 99"}, "1x992 997   "},
                    Row{"tabs_and_line_ends_are_blank", {"-L4", "-K0,4n"}, {"\t\n 93  8"}, "3  8\t\n 9"},
                    // 2^63 wraps to the smallest value, 2^64 to 0.
                    Row{"wraps",
                        {"-L20", "-K0,20n"},
                        {"00000000000000000001"
                         "18446744073709551616"
                         "09223372036854775808"},
                        "09223372036854775808"
                        "18446744073709551616"
                        "00000000000000000001"}),
    name_of);

// Kept: leading blanks do not count, so a key reads digits behind its last byte, even those of the next record, but
// nothing behind the data.
INSTANTIATE_TEST_SUITE_P(NumericKeysReadOn, Order,
                         testing::Values(Row{"behind_the_key", {"-L4", "-K0,2n"}, {"  3030  2550"}, "2550  3030  "},
                                         Row{"into_the_next_record", {"-L3", "-K2,1n"}, {"ab 7cdxy5"}, "7cdxy5ab "},
                                         Row{"through_blank_records", {"-L2", "-K0,2n"}, {"    9 4 "}, "4     9 "},
                                         Row{"up_to_the_end", {"-L3", "-K2,1n", "-K0,1d"}, {"ab2cd zz "}, "zz cd ab2"},
                                         Row{"a_sign_at_the_end", {"-L3", "-K1,2n"}, {"a-1b 1c -"}, "a-1c -b 1"},
                                         Row{"into_the_next_input", {"-L3", "-K2,1n"}, {"xy5ab ", "7cd"}, "7cdxy5ab "}),
                         name_of);

INSTANTIATE_TEST_SUITE_P(Unique, Order,
                         testing::Values(Row{"whole_records", {"-L2", "-U"}, {"b1a1b1a1a1"}, "a1b1"},
                                         Row{"whole_records_descending", {"-L2", "-U", "-R"}, {"b1a1b1"}, "b1a1"},
                                         Row{"same_bytes", {"-L2", "-U", "-K0,1"}, {"b1a1b1"}, "a1b1"},
                                         Row{"one_record", {"-L2", "-U"}, {"b1"}, "b1"},
                                         Row{"all_equal", {"-L1", "-U"}, {"aaaa"}, "a"},
                                         Row{"several_inputs", {"-L2", "-U"}, {"b1a1", "a1b1", "a1"}, "a1b1"}),
                         name_of);

// What only the stable sort promises.

struct Stable {
    const char *name;
    Args args;
    string input;
    string sorted;
};

TEST(StableSort, KeepsTheOrderOfEqualKeys) {
    const Stable rows[] = {
        {"text", {"-K0,1"}, "b1a2b3a1b2", "a2a1b1b3b2"},
        {"descending", {"-K0,1d"}, "a2b3a1b1", "b3b1a2a1"},
        {"no keys decide", {"-K0,"}, "b1a2c3", "b1a2c3"},
        {"numeric", {"-K0,1n"}, "x1y2a3", "x1y2a3"},
        {"the first of equal ones is kept", {"-K0,1", "-U"}, "b1a2b3a1", "a2b1"},
        {"nothing decides: one is kept", {"-K1,", "-U"}, "b1a2b3", "b1"},
        {"equal values are duplicates", {"-K0,2n", "-U"}, " 5+55505", " 555"},
    };
    for (const Stable &row : rows) {
        SCOPED_TRACE(row.name);
        const Box box;
        box.write("in", row.input);
        const Outcome o = box.run({.args = Args{"-S", "-L2"} + row.args + Args{"in"}});
        EXPECT_EQ(o.out, row.sorted);
        EXPECT_EQ(o.status, 0);
    }
}

TEST(StableSort, KeepsTheOrderOfTheInputs) {
    const Box box;
    box.write("z", "k1j1");
    box.write("a", "k2j2");
    EXPECT_EQ(box.run({.args = {"-S", "-L2", "-K0,1", "z", "a"}}).out, "j1j2k1k2");
    EXPECT_EQ(box.run({.args = {"-S", "-U", "-L2", "-K0,1", "a", "z"}}).out, "j2k2");
}

TEST(PlainSort, IsTheSameEveryTime) {
    const Box box;
    string data;
    for (int i = 0; i < 3000; ++i) {
        data += string(1, static_cast<char>('a' + i * 7 % 5)) + string(1, static_cast<char>(i % 251));
    }
    box.write("in", data);
    const std::vector<Outcome> runs = box.run_all({{.args = {"-L2", "-K0,1", "in"}}, {.args = {"-L2", "-K0,1", "in"}}});
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].out, runs[1].out);
    EXPECT_EQ(runs[0].out, box.run({.args = {"-L2", "-K0,1", "-O", "/dev/stdout", "in"}}).out);
}

// Outputs

TEST(Output, ReplacesAnOlderFile) {
    const Box box;
    box.write("in", "b2a1");
    box.write("out", string(100000, 'o'));
    EXPECT_EQ(box.run({.args = {"-L2", "-O", "out", "in"}}).status, 0);
    EXPECT_EQ(box.read("out"), "a1b2");
}

TEST(Output, MayBeTheInput) {
    const Box box;
    box.write("data", "b2a1");
    EXPECT_EQ(box.run({.args = {"-L2", "-O", "data", "data"}}).status, 0);
    EXPECT_EQ(box.read("data"), "a1b2");
    EXPECT_EQ(box.files(), "data tmp/");
}

TEST(Output, MayBeInAnotherFolder) {
    const Box box;
    box.make_folder("deep/er");
    box.write("deep/in", "b2a1");
    EXPECT_EQ(box.run({.args = {"-L2", "-O", "./deep/er/out", "deep/../deep/in"}}).status, 0);
    EXPECT_EQ(box.read("deep/er/out"), "a1b2");
}

TEST(Output, StandardOutputComesBehindWhatWasPrinted) {
    const Box box;
    box.write("in", "b2a1");
    const Outcome o = box.run({.args = {"-L2", "in"}, .before = [] { std::fputs("printed before ", stdout); }});
    EXPECT_EQ(o.out, "printed before a1b2");
}

// No data: by design the output is created and left empty, and the run fails without a message of its own.
TEST(NoData, CreatesAnEmptyOutputAndFails) {
    for (const Args &options : {Args{}, Args{"-S"}, Args{"-U"}, Args{"-S", "-U"}, Args{"-K0,1n"}, Args{"-R"}}) {
        const Box box;
        box.write("empty", "");
        box.write("out", "old");
        const Outcome o = box.run({.args = Args{"-L2"} + options + Args{"-O", "out", "empty", "empty"}});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + support::kFailed);
        EXPECT_EQ(box.read("out"), "");
        const Outcome to_output = box.run({.args = Args{"-L2"} + options + Args{"empty"}, .lang = kJapanese});
        EXPECT_EQ(to_output.status, 1);
        EXPECT_EQ(to_output.out, "");
        EXPECT_EQ(to_output.err, kStart + support::kFailedJa);
    }
}

} // namespace
