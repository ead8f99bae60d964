// lines_test.cpp: files of lines sorted in memory and through the temporary file: the order of the records, row by row.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Box;
using support::kEnd;
using support::kFailed;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

Args operator+(Args first, const Args &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const auto name_of = [](const auto &row) { return row.param.name; };

struct Row {
    const char *name;
    Args args;
    string input;
    string sorted;
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

/// Every merge ends with this line, verbose or not.
const string kReleased = "メモリ解放がかかった[#]msです。\n";

// One input, in memory and through the temporary file, plain and, as no ties show, stable, in both languages.

class Lines : public testing::TestWithParam<Row> {};

TEST_P(Lines, InOrder) {
    const Row &row = GetParam();
    const Box box;
    box.write("in", row.input);
    std::vector<support::Call> calls;
    for (const char *lang : {"C", kJapanese}) {
        for (const Args &path : {Args{}, Args{"-S"}, Args{"-W1"}, Args{"-S", "-W1"}, Args{"-O", "out", "-W1"}}) {
            calls.push_back({.args = row.args + path + Args{"in"}, .lang = lang});
        }
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), calls.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(runs[i].status, 0);
        const bool in_memory = i % 5 < 2, to_file = i % 5 == 4;
        EXPECT_EQ(steady(runs[i]), kStart + (in_memory || row.sorted.empty() ? "" : kReleased) + kEnd);
        EXPECT_EQ(to_file ? box.read("out") : runs[i].out, row.sorted);
    }
    EXPECT_EQ(box.files(), "in out tmp/");
}

string bytes(const char *text, std::size_t n) { return {text, n}; }

INSTANTIATE_TEST_SUITE_P(
    WholeRecords, Lines,
    testing::Values(
        Row{"ascending_by_default", {}, "b\na\nc\n", "a\nb\nc\n"}, Row{"ascending", {"-A"}, "b\na\nc\n", "a\nb\nc\n"},
        Row{"descending", {"-R"}, "b\na\nc\n", "c\nb\na\n"},
        Row{"shorter_first", {}, "abc\nab\n\nabcd\na\n", "\na\nab\nabc\nabcd\n"},
        Row{"longer_first", {"-R"}, "abc\nab\n\nabcd\na\n", "abcd\nabc\nab\na\n\n"},
        // The newline code belongs to the record: bytes below it come before the record's end.
        Row{"the_newline_counts", {}, "a\na\tb\na b\n", "a\tb\na\na b\n"},
        Row{"the_newline_counts_descending", {"-R"}, "a\na\tb\na b\n", "a b\na\na\tb\n"},
        Row{"bytes_are_unsigned", {}, "\xff\nz\n\x01\n\x80\n", "\x01\nz\n\x80\n\xff\n"},
        Row{"any_byte_is_data", {}, bytes("\0b\n\0\0\n\0\n", 8), bytes("\0\0\n\0\n\0b\n", 8)},
        Row{"all_equal", {}, "a\na\na\n", "a\na\na\n"},
        Row{"eight_equal_bytes", {}, "abcdefghz\nabcdefgh\nabcdefghb\n", "abcdefgh\nabcdefghb\nabcdefghz\n"},
        Row{"one_record", {}, "only\n", "only\n"}, Row{"a_discards_keys", {"-K1,1", "-A"}, "a2\nb1\n", "a2\nb1\n"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    NewlineCodes, Lines,
    testing::Values(Row{"carriage_return", {"-P", "\\r"}, "b\ra\nx\rc\r", "a\nx\rb\rc\r"},
                    Row{"both", {"-P", "\\r\\n"}, "b\r\na\r\n\r\n", "\r\na\r\nb\r\n"},
                    Row{"halves_of_both_are_data", {"-P\\r\\n"}, "b\r\r\na\nz\r\n\n\r\n", "\n\r\na\nz\r\nb\r\r\n"},
                    Row{"line_feed", {"-P\\n"}, "b\r\na\r\n", "a\r\nb\r\n"},
                    Row{"both_descending", {"-R", "-P\\r\\n"}, "a\r\nb\r\nab\r\n", "b\r\nab\r\na\r\n"},
                    Row{"missing_at_the_end", {}, "b\na", "a\nb\n"},
                    Row{"missing_carriage_return", {"-P\\r"}, "b\ra\n", "a\n\rb\r"},
                    Row{"missing_both", {"-P\\r\\n"}, "b\r\na", "a\r\nb\r\n"},
                    Row{"missing_second_half", {"-P\\r\\n"}, "b\r\na\r", "a\r\r\nb\r\n"},
                    Row{"missing_everywhere", {}, "word", "word\n"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    Keys, Lines,
    testing::Values(Row{"in_the_middle", {"-K1,2"}, "xbb\nyaa\n", "yaa\nxbb\n"},
                    Row{"descending", {"-K1,2d"}, "xaa\nybb\n", "ybb\nxaa\n"},
                    Row{"several", {"-K1,1", "-K0,1d"}, "a2\nb1\na1\n", "b1\na1\na2\n"},
                    Row{"over_the_newline", {"-K0,3"}, "ab\nabc\nab c\n", "ab\nab c\nabc\n"},
                    Row{"longer_than_eight_bytes", {"-K0,10"}, "abcdefghzz\nabcdefghaa\n", "abcdefghaa\nabcdefghzz\n"},
                    Row{"numeric", {"-K2,4n"}, "a 1000x\nb  999x\nc -100x\n", "c -100x\nb  999x\na 1000x\n"},
                    Row{"numeric_descending", {"-K0,4nd"}, " 999x\n1000x\n-100x\n", "1000x\n 999x\n-100x\n"},
                    Row{"numeric_then_text", {"-K0,2n", "-K2,1d"}, "05a\n+5b\n 5c\n04d\n", "04d\n 5c\n+5b\n05a\n"},
                    Row{"numeric_ends_at_the_newline", {"-K0,5n"}, "12345\n0099\n7   \n", "7   \n0099\n12345\n"},
                    Row{"no_length_decides_nothing", {"-K7,", "-K0,1"}, "b\na\n", "a\nb\n"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(Unique, Lines,
                         testing::Values(Row{"whole_records", {"-U"}, "b\na\nb\na\na\n", "a\nb\n"},
                                         Row{"descending", {"-U", "-R"}, "b\na\nb\n", "b\na\n"},
                                         Row{"prefixes_differ", {"-U"}, "abc\nab\nabc\nab\n", "ab\nabc\n"},
                                         Row{"with_the_appended_newline", {"-U"}, "a\nb\na", "a\nb\n"},
                                         Row{"by_key", {"-U", "-K0,1"}, "b1\na1\nb1\na1\n", "a1\nb1\n"},
                                         Row{"last_record_alone_in_its_block", {"-U"}, "a\nz\nz\n", "a\nz\n"}),
                         name_of);

// Error records are dropped without -E.
INSTANTIATE_TEST_SUITE_P(ShortRecords, Lines,
                         testing::Values(Row{"dropped", {"-K2,2"}, "abcd\nab\nxxab\n\nabc\nz\n", "xxab\nabc\nabcd\n"},
                                         Row{"the_last_is_dropped", {"-K2,2"}, "abcd\nab\n", "abcd\n"},
                                         Row{"all_are_dropped", {"-K9,2"}, "abcd\nab\n", ""}),
                         name_of);

// Kept: leading blanks do not count, so in memory a key reads digits behind its last byte, even those of the next line.
TEST(NumericKeys, ReadOnIntoTheNextLine) {
    const Box box;
    box.write("in", "a  \n7z\nb  \n5z\nc6z\n");
    EXPECT_EQ(box.run({.args = {"-S", "-K1,1n", "in"}}).out, "7z\n5z\nb  \nc6z\na  \n");
}

// Ties in the order of the input, through blocks too.
TEST(StableSort, KeepsTheOrderOfEqualKeys) {
    const Box box;
    box.write("in", "b1\na2\nb3\na1\nb2\n");
    for (const Args &path : {Args{}, Args{"-W1"}}) {
        EXPECT_EQ(box.run({.args = path + Args{"-S", "-K0,1", "in"}}).out, "a2\na1\nb1\nb3\nb2\n");
        EXPECT_EQ(box.run({.args = path + Args{"-S", "-K0,1d", "in"}}).out, "b1\nb3\nb2\na2\na1\n");
        EXPECT_EQ(box.run({.args = path + Args{"-S", "-U", "-K0,1", "in"}}).out, "a2\nb1\n");
        EXPECT_EQ(box.run({.args = path + Args{"-S", "-U", "-K0,1n", "in"}}).out, "b1\n");
    }
}

// Several inputs

struct Inputs {
    const char *name;
    std::vector<string> files;
    string in_memory, split;
    Args args = {};
};
void PrintTo(const Inputs &row, std::ostream *to) { *to << row.name; }

class SeveralInputs : public testing::TestWithParam<Inputs> {};

TEST_P(SeveralInputs, InMemoryAndSplit) {
    const Inputs &row = GetParam();
    const Box box;
    Args names;
    for (const string &file : row.files) {
        names.push_back("in" + std::to_string(names.size() + 1));
        box.write(names.back(), file);
    }
    for (const Args &path : {Args{}, Args{"-W1"}}) {
        const Outcome o = box.run({.args = row.args + path + names});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.out, path.empty() ? row.in_memory : row.split);
    }
}

// Kept: through the temporary file, the blocks of a second input are looked for where those of the first one stand.
// With records of one length that gives other records, yet whole ones, and as many as there are.
INSTANTIATE_TEST_SUITE_P(
    Files, SeveralInputs,
    testing::Values(Inputs{"one_has_data", {"", "b\na\n", ""}, "a\nb\n", "a\nb\n"},
                    Inputs{"two_of_one_record_length", {"b\na\nd\n", "z\ny\n"}, "a\nb\nd\ny\nz\n", "a\na\nb\nb\nd\n"},
                    Inputs{"second_longer", {"c\n", "b\na\n"}, "a\nb\nc\n", "b\nc\nc\n"},
                    Inputs{"one_line_each", {"a\n", "b\n", "c\n"}, "a\nb\nc\n", "a\na\na\n"},
                    Inputs{"one_byte_each", {"a", "b"}, "ab\n", "a\na\n"},
                    Inputs{"one_byte_each_two_byte_code", {"a", "b"}, "ab\r\n", "a\r\na\r\n", {"-P\\r\\n"}},
                    Inputs{"newlines_only", {"\n", "\n"}, "\n\n", "\n\n"},
                    Inputs{"newlines_of_two_bytes", {"\r\n", "\r\n"}, "\r\n\r\n", "\r\n\r\n", {"-P\\r\\n"}},
                    Inputs{"unique", {"a\nb\n", "b\na\n"}, "a\nb\n", "a\nb\n", {"-U"}},
                    // In memory the inputs stand one behind the other, so a line may go on in the next one.
                    Inputs{"a_line_over_two_inputs", {"b\na", "c\nd\n"}, "ac\nb\nd\n", "a\na\nb\nb\n"}),
    [](const auto &row) { return row.param.name; });

TEST(SeveralInputs, WhoseRecordsDifferInLengthEndWithAMessage) {
    const Box box;
    box.write("long", "bbb\n");
    box.write("short", "a\n");
    for (const bool japanese : {false, true}) {
        const Outcome o = box.run({.args = {"-W1", "-O", "out", "long", "short"}, .lang = japanese ? kJapanese : "C"});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, kStart + "☆一時ファイルの読み込み中にエラーが発生しました！\n" +
                             (japanese ? "☆一時ファイルのマージソート中にエラーが発生しました！\n" + support::kFailedJa
                                       : "☆ Error occurred during temporary file merge sort!\n" + kFailed));
    }
    EXPECT_EQ(box.files(), "long out short tmp/");
}

// Kept: in memory no data at all are data without a newline code at their end, so they get one.
TEST(NoData, IsOneEmptyLineInMemoryAndNothingInTheSplitPath) {
    for (const Args &options : {Args{}, Args{"-S"}, Args{"-U"}, Args{"-K0,1n"}, Args{"-R"}, Args{"-P\\r\\n"}}) {
        const Box box;
        box.write("empty", "");
        box.write("out", "old");
        Outcome o = box.run({.args = options + Args{"-O", "out", "empty", "empty"}});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, kStart + kEnd);
        EXPECT_EQ(box.read("out"), options == Args{"-P\\r\\n"} ? "\r\n" : "\n");
        box.write("out", "old");
        o = box.run({.args = options + Args{"-W1", "-O", "out", "empty", "empty"}});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, kStart + kEnd);
        EXPECT_EQ(box.read("out"), "");
    }
}

// Tiny inputs through the temporary file: nothing is lost.
TEST(TinyInputs, AreSortedWhole) {
    const struct {
        const char *code;
        const char *input;
        string sorted;
    } rows[] = {
        {"\\n", "", ""},
        {"\\n", "a", "a\n"},
        {"\\n", "\n", "\n"},
        {"\\n", "a\n", "a\n"},
        {"\\n", "\na", "\na\n"},
        {"\\r\\n", "", ""},
        {"\\r\\n", "a", "a\r\n"},
        {"\\r\\n", "ab", "ab\r\n"},
        {"\\r\\n", "\r", "\r\r\n"},
        {"\\r\\n", "\n", "\n\r\n"},
        {"\\r\\n", "\r\n", "\r\n"},
        {"\\r\\n", "a\r\n", "a\r\n"},
        {"\\r\\n", "\r\na", "\r\na\r\n"},
        {"\\r\\n", "\r\n\r", "\r\n\r\r\n"},
    };
    for (const auto &row : rows) {
        for (const Args &options : {Args{}, Args{"-S"}, Args{"-U"}, Args{"-S", "-U"}}) {
            SCOPED_TRACE(testing::PrintToString(string(row.input)) + " by " + row.code);
            const Box box;
            box.write("in", row.input);
            const Outcome o = box.run({.args = options + Args{"-W1", "-P", row.code, "in"}});
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_EQ(o.out, row.sorted);
        }
    }
}

} // namespace
