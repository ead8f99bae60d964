// csv_test.cpp: whole runs over CSV files, in memory and through the temporary file.
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
using support::kFailedJa;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

const string kReleased = "メモリ解放がかかった[#]msです。\n"; // every block merge tells it
const string kNoHeader = "☆ Error occurred while reading CSV file header!\n";
const string kNoHeaderJa = "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n";

/// The arguments of a run over "in" to "out"; a budget of one byte sends it through the temporary file.
Args with_files(Args args, bool split, const Args &inputs = {"in"}) {
    args.insert(args.begin(), "-C");
    if (split) {
        args.emplace_back("-W1");
    }
    args.insert(args.end(), {"-O", "out"});
    args.insert(args.end(), inputs.begin(), inputs.end());
    return args;
}

/// What a good run says.
void expect_good(const Outcome &o, bool split, bool blocks = true) {
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(support::steady(o), kStart + (split && blocks ? kReleased : "") + kEnd);
}

// --- options -----------------------------------------------------------------------------------------------------

struct Row {
    const char *name;
    Args args;
    string input, output;
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Csv : public testing::TestWithParam<Row> {};

TEST_P(Csv, SortsOnBothPaths) {
    const Row &row = GetParam();
    for (const bool split : {false, true}) {
        SCOPED_TRACE(split ? "through the temporary file" : "in memory");
        const Box box;
        box.write("in", row.input);
        expect_good(box.run({.args = with_files(row.args, split)}), split);
        EXPECT_EQ(box.read("out"), row.output);
        EXPECT_EQ(box.files(), "in out tmp/");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Options, Csv,
    testing::Values(
        Row{"text", {"-K1"}, "b,1\nab,2\na,3\nabc,4\n", "a,3\nab,2\nabc,4\nb,1\n"},
        Row{"text_descending", {"-K1d"}, "b,1\nab,2\na,3\nabc,4\n", "b,1\nabc,4\nab,2\na,3\n"},
        Row{"text_is_not_numbers", {"-K1"}, "10\n9\n-1\n", "-1\n10\n9\n"},
        Row{"numeric", {"-K2n"}, "a,10\nb,9\nc,-1\nd,+3x\n", "c,-1\nd,+3x\nb,9\na,10\n"},
        Row{"numeric_descending", {"-K2nd"}, "a,10\nb,9\nc,-1\nd,+3x\n", "a,10\nb,9\nd,+3x\nc,-1\n"},
        Row{"quoted_numbers_are_no_numbers", {"-K1n", "-S"}, "\"5\"\n3\n\"-7\"\n-2\n", "-2\n\"5\"\n\"-7\"\n3\n"},
        Row{"keys_in_any_column_order", {"-K3d", "-K1"}, "b,x,1\na,y,1\nc,z,2\n", "c,z,2\na,y,1\nb,x,1\n"},
        Row{"three_keys", {"-K2", "-K3n", "-K1d"}, "a,x,10\nb,x,9\nc,x,9\nd,w,11\n", "d,w,11\nc,x,9\nb,x,9\na,x,10\n"},
        Row{"empty_first", {"-K2"}, "a,b\nc,\nd,a\n", "c,\nd,a\na,b\n"},
        Row{"empty_last", {"-K2", "-N"}, "a,b\nc,\nd,a\n", "d,a\na,b\nc,\n"},
        Row{"empty_last_descending", {"-K2d", "-N"}, "c,\na,b\nd,a\n", "a,b\nd,a\nc,\n"},
        Row{"empty_last_numeric", {"-K2n", "-N"}, "c,\na,5\nd,-5\n", "d,-5\na,5\nc,\n"},
        Row{"empty_numbers_are_0", {"-K2n"}, "c,\na,5\nd,-5\n", "d,-5\nc,\na,5\n"},
        Row{"whole_records", {}, "b\na,c\na\na,b,c\na,b\n", "a\na,b\na,b,c\na,c\nb\n"},
        Row{"whole_records_ascending", {"-A"}, "b\na,c\nab\na,b,c\na,b\n", "a,b\na,b,c\na,c\nab\nb\n"},
        Row{"whole_records_descending", {"-R"}, "b\na,c\nab\na,b,c\na,b\n", "b\nab\na,c\na,b,c\na,b\n"},
        Row{"whole_records_empty_last", {"-A", "-N"}, "b,\n,a\nb,c\n", "b,c\nb,\n,a\n"},
        Row{"whole_records_discard_keys", {"-R", "-K1"}, "a,1\nb,2\n", "b,2\na,1\n"},
        Row{"stable", {"-K1", "-S"}, "b,2\na,9\nb,1\na,3\nb,0\n", "a,9\na,3\nb,2\nb,1\nb,0\n"},
        Row{"unique", {"-K1", "-U", "-S"}, "b,2\na,9\nb,1\na,3\nb,0\n", "a,9\nb,2\n"},
        Row{"unique_numbers", {"-K1n", "-U", "-S"}, "5\n+5\n05\n-5\n5x\n", "-5\n5\n"},
        Row{"unique_quotes_count", {"-K1", "-U"}, "\"a\"\na\n\"a\"\n", "\"a\"\na\n"},
        Row{"unique_whole_records", {"-A", "-U"}, "a,b\na\na,b\n\"a\"\na\n", "\"a\"\na\na,b\n"},
        // In order a 0 and an empty field differ, as duplicates they are equal; here they are neighbours.
        Row{"unique_empty_and_0", {"-K1nd", "-N", "-U"}, ",x\n5,y\n0,z\n", "5,y\n0,z\n"},
        Row{"tab", {"-D", "\\t", "-K2"}, "a\t2\nb\t1\n", "b\t1\na\t2\n"},
        Row{"semicolon", {"-D", ";", "-K2"}, "a,x;2\nb;1\n", "b;1\na,x;2\n"},
        Row{"several_bytes", {"-D", "::", "-K2"}, "a:x::2\nb::1\n", "b::1\na:x::2\n"},
        Row{"multi_byte_character", {"-D", "；", "-K2"}, "a；2\nb；1\n\"；\"；0\n", "\"；\"；0\nb；1\na；2\n"},
        Row{"cr_lf", {"-P", "\\r\\n", "-K1"}, "b\n\r\na\r\r\n", "a\r\r\nb\n\r\n"},
        Row{"cr", {"-P", "\\r", "-K1"}, "b\n\ra\r", "a\rb\n\r"},
        Row{"lf", {"-P", "\\n", "-K2"}, "b,2\r\na,1\r\n", "a,1\r\nb,2\r\n"},
        Row{"quoted_newlines", {"-K2"}, "\"b\n\nc\",2\n\"a\n\",1\n", "\"a\n\",1\n\"b\n\nc\",2\n"},
        Row{"quoted_delimiters", {"-K2n"}, "\"a,9,\",2\n\"\"\"b,0\"\"\",1\n", "\"\"\"b,0\"\"\",1\n\"a,9,\",2\n"},
        Row{"doubled_quotes", {"-K2"}, "\"a\"\"\n\"\"\",2\nb,1\n\"\"\"\",0\n", "\"\"\"\",0\nb,1\n\"a\"\"\n\"\"\",2\n"},
        Row{"no_final_newline", {"-K1", "-S"}, "c\nb\na", "a\nb\nc\n"},
        Row{"no_final_cr_lf", {"-P", "\\r\\n", "-K1"}, "c\r\nb\r\na\n", "a\n\r\nb\r\nc\r\n"},
        Row{"one_record_without_newline", {"-K1"}, "a,b", "a,b\n"},
        Row{"short_records_dropped", {"-K2"}, "a\nc,1\n\nb,0\n", "b,0\nc,1\n"},
        Row{"open_quote_left_out", {"-K1"}, "b\na\n\"c\nd\n", "a\nb\n"},
        Row{"blank_records", {"-K1"}, "a\n\n\nb\n", "\n\na\nb\n"}),
    [](const auto &row) { return row.param.name; });

// --- error file --------------------------------------------------------------------------------------------------

TEST(CsvErrors, ShortRecordsGoToTheFileLastFirst) {
    for (const bool split : {false, true}) {
        const Box box;
        box.write("in", "a\nc,1\n\"x\ny\"\nb,0\nd\n");
        expect_good(box.run({.args = with_files({"-K2", "-E", "errors"}, split)}), split);
        EXPECT_EQ(box.read("out"), "b,0\nc,1\n");
        EXPECT_EQ(box.read("errors"), "d\n\"x\ny\"\na\n");
    }
}

TEST(CsvErrors, NothingButShortRecords) {
    for (const bool split : {false, true}) {
        const Box box;
        box.write("in", "a\nb\n");
        expect_good(box.run({.args = with_files({"-K2", "-E", "errors"}, split)}), split, false);
        EXPECT_EQ(box.read("out"), "");
        EXPECT_EQ(box.read("errors"), "b\na\n");
    }
}

TEST(CsvErrors, AFileThatCannotBeCreatedEndsTheRun) {
    for (const bool split : {false, true}) {
        for (const bool japanese : {false, true}) {
            const Box box;
            box.write("in", "a\nb\n");
            box.make_folder("errors");
            const Outcome o =
                box.run({.args = with_files({"-K1", "-E", "errors"}, split), .lang = japanese ? kJapanese : "C"});
            EXPECT_EQ(o.status, 1);
            const string phase = japanese ? "☆入力ファイルの分割ソート中にエラーが発生しました！\n"
                                          : "☆ Error occurred during input file split sort!\n";
            EXPECT_EQ(o.err, kStart + "☆エラーファイル[errors]は作成できません！\n" + (split ? phase : "") +
                                 (japanese ? kFailedJa : kFailed));
            EXPECT_EQ(box.files(), split ? "errors/ in tmp/" : "errors/ in out tmp/");
        }
    }
}

// --- header lines ------------------------------------------------------------------------------------------------

TEST(CsvHeader, StaysOnTopInMemory) {
    const Box box;
    box.write("in", "no,name\n2,b\n1,a\n");
    expect_good(box.run({.args = with_files({"-H", "-K1"}, false)}), false);
    EXPECT_EQ(box.read("out"), "no,name\n1,a\n2,b\n");
}

TEST(CsvHeader, OfTheFirstFileOnly) {
    const Box box;
    box.write("one", "no,name\n2,b\n");
    box.write("two", "another header\n1,a\n3,c\n");
    expect_good(box.run({.args = with_files({"-H", "-K1d"}, false, {"one", "two"})}), false);
    EXPECT_EQ(box.read("out"), "no,name\n3,c\n2,b\n1,a\n");
}

TEST(CsvHeader, OfAnEmptyListOnlyWithoutUnique) {
    const Box box;
    box.write("in", "no\n1\n");
    expect_good(box.run({.args = with_files({"-H", "-K2"}, false)}), false);
    EXPECT_EQ(box.read("out"), "no\n");
    expect_good(box.run({.args = with_files({"-H", "-K2", "-U"}, false)}), false);
    EXPECT_EQ(box.read("out"), "");
    expect_good(box.run({.args = with_files({"-H", "-K2", "-U"}, true)}), true, false);
    EXPECT_EQ(box.read("out"), "no\n") << "the split path always writes it";
}

/// Rows of 15 bytes, "r0999..." and so on, from the last to the first.
string falling_rows(int from, int to) {
    string rows;
    for (int i = from - 1; i >= to; --i) {
        const string number = std::to_string(i);
        rows += "r" + string(4 - number.size(), '0') + number + ",\"a\n,b\",c\n";
    }
    return rows;
}

// By design what was read while the header's end was searched is not sorted: all up to the next 1024 bytes.
TEST(CsvHeader, TheSplitPathGoesOnBehindWhatItHasRead) {
    const string header = "a header of 16b\n", rows = falling_rows(1000, 0);
    const string found = header + rows;
    ASSERT_EQ(found.substr(1024, 12), "32,\"a\n,b\",c\n") << "row 932 is cut";
    string expected = header + found.substr(1024, 12);
    for (int i = 0; i < 932; ++i) {
        expected += falling_rows(i + 1, i);
    }
    const Box box;
    box.write("in", found);
    expect_good(box.run({.args = with_files({"-H", "-K1"}, true)}), true);
    EXPECT_EQ(box.read("out"), expected);
}

TEST(CsvHeader, AShortFileIsItsHeaderOnTheSplitPath) {
    const Box box;
    box.write("in", "no\n2\n1\n");
    expect_good(box.run({.args = with_files({"-H", "-K1"}, true)}), true, false);
    EXPECT_EQ(box.read("out"), "no\n");
}

TEST(CsvHeader, AloneInItsFile) {
    const Box box;
    box.write("in", "no,name\n");
    expect_good(box.run({.args = with_files({"-H", "-K2"}, true)}), true, false);
    EXPECT_EQ(box.read("out"), "no,name\n");
    // In memory the empty rest is given its newline code: one empty record, which has no second column.
    expect_good(box.run({.args = with_files({"-H", "-K2", "-E", "errors"}, false)}), false);
    EXPECT_EQ(box.read("out"), "no,name\n");
    EXPECT_EQ(box.read("errors"), "\n");
    expect_good(box.run({.args = with_files({"-H", "-K1"}, false)}), false);
    EXPECT_EQ(box.read("out"), "no,name\n\n");
}

TEST(CsvHeader, MustEndInTheFirstMiB) {
    for (const string &input : {string(1048576, 'x') + "\na\n", string(2000, 'x'), string()}) {
        for (const bool split : {false, true}) {
            for (const bool japanese : {false, true}) {
                const Box box;
                box.write("in", input);
                const Outcome o =
                    box.run({.args = with_files({"-H", "-K1"}, split), .lang = japanese ? kJapanese : "C"});
                EXPECT_EQ(o.status, 1);
                EXPECT_EQ(o.err,
                          kStart + (split || japanese ? kNoHeaderJa : kNoHeader) + (japanese ? kFailedJa : kFailed));
                EXPECT_EQ(box.files(), "in tmp/");
            }
        }
    }
}

// --- inputs ------------------------------------------------------------------------------------------------------

TEST(CsvInputs, AnEmptyFile) {
    const Box box;
    box.write("in", "");
    expect_good(box.run({.args = with_files({"-K1"}, true)}), true, false);
    EXPECT_EQ(box.read("out"), "");
    expect_good(box.run({.args = with_files({"-K1"}, false)}), false);
    EXPECT_EQ(box.read("out"), "\n") << "in memory it is given its newline code";
}

TEST(CsvInputs, SeveralInMemoryAreOne) {
    const Box box;
    box.write("one", "d,1\nb,");
    box.write("two", "2\na,3\n");
    box.write("three", "c,4");
    expect_good(box.run({.args = with_files({"-K1"}, false, {"one", "two", "three"})}), false);
    EXPECT_EQ(box.read("out"), "a,3\nb,2\nc,4\nd,1\n");
}

// Kept: the blocks of each input count from the start of the temporary file again, so the first input's records come
// in place of the others'.
TEST(CsvInputs, SeveralOnTheSplitPathStartAtTheSamePosition) {
    const Box box;
    box.write("one", "d,1\nb,2\n");
    box.write("two", "c,3\na,4\n");
    expect_good(box.run({.args = with_files({"-K1"}, true, {"one", "two"})}), true);
    EXPECT_EQ(box.read("out"), "b,2\nb,2\nd,1\nd,1\n");
    // Where the first input's records do not fit into a block of another, that is told.
    box.write("one", string(300, 'x') + "," + string(200, 'y') + "\n");
    const Outcome o = box.run({.args = with_files({"-K1"}, true, {"one", "two"})});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("☆一時ファイルの読み込み中にエラーが発生しました！\n"), string::npos) << o.err;
    EXPECT_EQ(box.read("tmp/orkan_" + std::to_string(o.pid) + ".tmp"), "(no file)");
}

TEST(CsvInputs, ToStandardOutput) {
    for (const bool split : {false, true}) {
        const Box box;
        box.write("in", "b\na\n");
        Args args = {"-C", "-K1", "in"};
        if (split) {
            args.insert(args.begin(), "-W1");
        }
        const Outcome o = box.run({.args = args});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "a\nb\n");
    }
}

} // namespace
