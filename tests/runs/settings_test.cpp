// settings_test.cpp: the checks of the settings and what is derived from them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "orkan/orkan.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::between;
using support::Box;
using support::Ending;
using support::kArguments;
using support::kArgumentsJa;
using support::kEnd;
using support::kFailed;
using support::kFailedJa;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

// Refusals. "in.dat" has 10 bytes, "csv" and "empty" none.

struct Row {
    const char *name;
    Args args;
    string english;
    string japanese;
    std::optional<string> tmpdir = "tmp";
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class Refused : public testing::TestWithParam<Row> {};

TEST_P(Refused, InBothLanguagesAndLeavesNothing) {
    const Row &row = GetParam();
    const Box box;
    box.write("in.dat", "0123456789");
    box.write("csv", "");
    const std::vector<Outcome> runs = box.run_all(
        {{.args = row.args, .tmpdir = row.tmpdir}, {.args = row.args, .lang = kJapanese, .tmpdir = row.tmpdir}});
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].err, kStart + row.english + kArguments + kFailed);
    EXPECT_EQ(runs[1].err, kStart + row.japanese + kArgumentsJa + kFailedJa);
    for (const Outcome &o : runs) {
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
    }
    EXPECT_EQ(box.files(), "csv in.dat tmp/");
}

Row newline(const char *name, const string &code) {
    return {name,
            {"-P", code, "csv"},
            "☆ Invalid newline code [" + code + "]!\n",
            "☆改行コード[" + code + "]は不正です！\n"};
}
Row no_input(const char *name, const Args &args, const string &number, const string &path) {
    return {name, args, "☆ Failed to stat input file " + number + " [" + path + "]!\n",
            "☆入力ファイル" + number + "[" + path + "]のstatを参照失敗しました！\n"};
}
Row folder(const char *name, const Args &args, const string &english, const string &japanese, const string &path,
           const std::optional<string> &tmpdir = "tmp") {
    return {name, args, "☆ " + english + " folder [" + path + "] does not exist or insufficient permissions!\n",
            "☆" + japanese + "フォルダ[" + path + "]は存在しません、又は権限不足です！\n", tmpdir};
}
Row key(const char *name, const Args &args, const string &number) {
    return {name, args, "☆ Sort key " + number + " is invalid!\n", "☆ソートキー" + number + "は不正です！\n"};
}
Row key_text(const char *name, const Args &args, const string &text) {
    return {name, args, "ソートキー[" + text + "]指定不正！\n", "ソートキー[" + text + "]指定不正！\n"};
}

const auto name_of = [](const auto &info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(Formats, Refused,
                         testing::Values(newline("letter", "x"), newline("bare_n", "n"), newline("tab", "\\t"),
                                         newline("swapped", "\\n\\r"), newline("doubled", "\\n\\n"),
                                         newline("upper_case", "\\N"), newline("real_newline_within", "\\n\n\\n")),
                         name_of);

INSTANTIATE_TEST_SUITE_P(Inputs, Refused,
                         testing::Values(no_input("missing", {"-L2", "nothing"}, "1", "nothing"),
                                         no_input("second_missing", {"-L2", "in.dat", "no/thing"}, "2", "no/thing"),
                                         no_input("missing_lines", {"gone"}, "1", "gone"),
                                         no_input("missing_csv", {"-C", "gone"}, "1", "gone"),
                                         // Kept: the English text shows number and size in each other's places.
                                         Row{"odd_size",
                                             {"-L3", "in.dat"},
                                             "☆ Invalid size [1] for input file 10!\n",
                                             "☆入力ファイル1のサイズ[10]は不正です！\n"},
                                         Row{"second_odd_size",
                                             {"-L4", "csv", "in.dat"},
                                             "☆ Invalid size [2] for input file 10!\n",
                                             "☆入力ファイル2のサイズ[10]は不正です！\n"},
                                         Row{"shorter_than_a_record",
                                             {"-L9999999999999999999", "in.dat"},
                                             "☆ Invalid size [1] for input file 10!\n",
                                             "☆入力ファイル1のサイズ[10]は不正です！\n"}),
                         name_of);

INSTANTIATE_TEST_SUITE_P(
    Folders, Refused,
    testing::Values(folder("output", {"-L2", "-O", "no/out", "in.dat"}, "Output", "出力", "no/"),
                    folder("output_below_a_file", {"-L2", "-O", "in.dat/out", "in.dat"}, "Output", "出力", "in.dat/"),
                    folder("error", {"-L2", "-E", "no/where/err", "in.dat"}, "Error", "エラー", "no/where/"),
                    folder("error_with_an_output", {"-O", "tmp/out", "-E", "no/err", "csv"}, "Error", "エラー", "no/"),
                    folder("temporary", {"-L2", "-T", "no", "in.dat"}, "Temporary", "一時", "no/"),
                    folder("temporary_is_a_file", {"-L2", "-T", "in.dat", "in.dat"}, "Temporary", "一時", "in.dat/"),
                    folder("tmpdir", {"-L2", "in.dat"}, "Temporary", "一時", "gone/", "gone"),
                    folder("tmpdir_with_a_slash", {"-L2", "in.dat"}, "Temporary", "一時", "gone//", "gone/"),
                    Row{"no_tmpdir",
                        {"-L2", "in.dat"},
                        "☆ Temporary folder is not specified!\n",
                        "☆一時フォルダは未指定です！\n",
                        std::nullopt}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    Keys, Refused,
    testing::Values(key_text("no_comma", {"-L10", "-K5", "in.dat"}, "5"),
                    key_text("no_comma_in_lines", {"-K5", "csv"}, "5"),
                    key_text("no_comma_but_suffixes", {"-L10", "-K", "5nd", "in.dat"}, "5"),
                    key_text("empty", {"-L10", "-K", "", "in.dat"}, ""),
                    key_text("csv_key_with_a_record_length", {"-L10", "-C", "-K1", "in.dat"}, "1"),
                    key("behind_the_record", {"-L10", "-K5,6", "in.dat"}, "1"),
                    key("starts_behind_the_record", {"-L10", "-K11,", "in.dat"}, "1"),
                    key("second_is_the_first_wrong", {"-L10", "-K0,10", "-K9,2", "-K0,11", "in.dat"}, "2"),
                    key("sum_beyond_32_bits", {"-L10", "-K2147483647,2147483647", "in.dat"}, "1"),
                    key("negative_start", {"-L10", "-K-1,5", "in.dat"}, "1"),
                    key("negative_length", {"-L10", "-K3,-2", "in.dat"}, "1"),
                    key("start_of_33_bits", {"-L10", "-K4294967296,1", "in.dat"}, "1"),
                    key("length_of_33_bits", {"-L10", "-K0,4294967297", "in.dat"}, "1"),
                    key("start_of_32_bits", {"-L10", "-K2147483648,1", "in.dat"}, "1"),
                    key("negative_start_in_lines", {"-K0,1", "-K-3,2", "csv"}, "2"),
                    key("length_of_33_bits_in_lines", {"-K0,4294967297", "csv"}, "1"),
                    key("start_beyond_64_bits", {"-K99999999999999999999,1", "csv"}, "1"),
                    key("column_zero", {"-C", "-K0", "csv"}, "1"), key("no_column", {"-C", "-K1", "-Kx", "csv"}, "2"),
                    key("empty_column", {"-C", "-K", "nd", "csv"}, "1"),
                    key("negative_column", {"-C", "-K-1", "csv"}, "1"),
                    key("column_of_33_bits", {"-C", "-K4294967297", "csv"}, "1")),
    name_of);

TEST(Refusals, OfPipesAndDevicesAsInputs) {
    const Box box;
    box.write("in.dat", "0123456789");
    ASSERT_EQ(mkfifo(box.path("pipe").c_str(), 0600), 0);
    for (const string path : {"pipe", "/dev/zero"}) {
        const Args args = {"-L2", "in.dat", path};
        EXPECT_EQ(box.run({.args = args}).err,
                  kStart + "☆ Input file 2 [" + path + "] is not a regular file!\n" + kArguments + kFailed);
        EXPECT_EQ(box.run({.args = args, .lang = kJapanese}).err,
                  kStart + "☆入力ファイル2[" + path + "]は通常ファイルではありません！\n" + kArgumentsJa + kFailedJa);
    }
}

TEST(Refusals, OfTheStatCallToo) {
    const Box box;
    box.write("in.dat", "0123456789");
    const Outcome o =
        box.run({.args = {"-L2", "in.dat", "in.dat"}, .before = [] { support::fail_call(orkan::kx_site::stat, 2); }});
    EXPECT_EQ(o.err, kStart + "☆ Failed to stat input file 2 [in.dat]!\n" + kArguments + kFailed);
}

TEST(Refusals, OfMemoryForAFoldersName) {
    const Box box;
    box.write("in.dat", "0123456789");
    const string folder(100, 'f');
    box.make_folder(folder);
    const Args args = {"-L2", "-O", folder + "/out", "in.dat"};
    const auto refuse = [] { support::refuse_allocations({100 + 2}); }; // with its slash and the end of the text
    EXPECT_EQ(box.run({.args = args, .before = refuse}).err,
              kStart + "☆ Failed to allocate memory for the options!\n" + kArguments + kFailed);
    EXPECT_EQ(box.run({.args = args}).err, kStart + kEnd);
}

// Accepted: all of these sort "in.dat" as one record of 10 bytes or five of 2.

TEST(Accepted, FoldersAndKeys) {
    struct Good {
        const char *name;
        Args args;
        std::optional<string> tmpdir = "tmp";
    };
    const Good rows[] = {
        {"key to the record's end", {"-L10", "-K0,10"}},
        {"key without length at the end", {"-L10", "-K10,"}},
        {"key without length", {"-L10", "-K5,"}},
        {"text without numbers", {"-L10", "-Kx,y"}},
        {"key with a record length and CSV", {"-L10", "-C", "-K1,2"}},
        {"keys overlap", {"-L10", "-K0,5", "-K3,7nd", "-K0,5"}},
        {"folder by option only", {"-L2", "-T", "tmp"}, std::nullopt},
        {"folder by option wins", {"-L2", "-T", "tmp/"}, "gone"},
        {"newline code unread with a record length", {"-L2", "-P", "x"}},
        {"the empty device is an empty input", {"-L2", "/dev/null"}},
    };
    for (const Good &row : rows) {
        SCOPED_TRACE(row.name);
        const Box box;
        box.write("in.dat", "0123456789");
        Args args = row.args;
        args.push_back("in.dat");
        const Outcome o = box.run({.args = args, .tmpdir = row.tmpdir});
        EXPECT_EQ(o.err, kStart + kEnd);
        EXPECT_EQ(o.out, "0123456789");
        EXPECT_EQ(box.files(), "in.dat tmp/");
    }
}

TEST(Accepted, AnEmptyInputThatCannotBeLookedInto) {
    const Box box;
    box.write("empty", "");
    const Outcome o =
        box.run({.args = {"-O", "out", "empty"}, .before = [] { support::fail_call(orkan::kx_site::open, 1); }});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, kStart + kEnd);
    EXPECT_EQ(box.read("out"), "\n") << "as of any empty input";
}

// TMPDIR

TEST(TemporaryFolder, TheEnvironmentStaysAsItIs) {
    const Box box;
    box.write("in.dat", "b2a1");
    const Outcome o = support::in_child(
        [&box]() -> int {
            char name[] = "orkan", verbose[] = "-Verbose", length[] = "-L2", input[] = "in.dat";
            char *argv[] = {name, verbose, length, input, nullptr};
            const bool sorted =
                chdir(box.path("").c_str()) == 0 && orkan_file(4, argv) == 0 && orkan_file(4, argv) == 0;
            std::fprintf(stderr, "TMPDIR is %s", std::getenv("TMPDIR"));
            return sorted ? 0 : 1;
        },
        {.tmpdir = "tmp"});
    EXPECT_EQ(o.status, 0);
    const string line = "using system temporary folder [tmp/].\n";
    const std::size_t first = o.err.find(line);
    ASSERT_NE(first, string::npos);
    EXPECT_NE(o.err.find(line, first + 1), string::npos);
    EXPECT_EQ(o.err.substr(o.err.rfind("TMPDIR is ")), "TMPDIR is tmp");
}

// Verbose lines of the checks

string checking(const Args &args, const std::optional<string> &tmpdir = "tmp", const char *lang = "C",
                const string &end = "\n--- Argument checking completed.--- \n") {
    const Box box;
    box.write("in.dat", "0123456789");
    Args all = {"-Verbose"};
    all.insert(all.end(), args.begin(), args.end());
    const Outcome o = box.run({.args = all, .lang = lang, .tmpdir = tmpdir});
    const string own = "\n--- 引数のチェック処理は開始します。--- \n"; // Japanese everywhere, behind the driver's
    const string drivers = lang == string("C") ? "\n--- Argument checking started.--- \n" : own;
    return between(support::steady(o), drivers + own, end);
}

const string kNoOutput = "出力フォルダ: (null)\n出力ファイル名: (null)\n";
const string kNoErrors = "Error folder: (null)\nError file name: (null)\n";
const string kPath = "一時パス: tmp/orkan_<pid>.tmp\n";
const string kFound =
    "Temporary folder: tmp\nTemporary folder not specified, using system temporary folder [tmp/].\n" + kPath;
const string kCommon = kNoOutput + kNoErrors + kFound;

TEST(VerboseChecks, ShowFoldersAndNames) {
    EXPECT_EQ(checking({"-L2", "-A", "in.dat"}), kCommon);
    EXPECT_EQ(checking({"-L2", "-A", "-O", "out", "-E", "./tmp/err", "in.dat"}),
              "出力フォルダ: (null)\n出力ファイル名: out\nError folder: ./tmp/\nError file name: err\n" + kFound);
    EXPECT_EQ(checking({"-L2", "-A", "-T", "./tmp", "-O", "tmp/../out.dat", "in.dat"}),
              "出力フォルダ: tmp/../\n出力ファイル名: out.dat\n" + kNoErrors + "一時パス: ./tmp/orkan_<pid>.tmp\n");
}

TEST(VerboseChecks, InJapanese) {
    EXPECT_EQ(checking({"-L2", "-A", "-E", "tmp/e", "in.dat"}, "tmp", kJapanese,
                       "\n--- 引数のチェック処理は完成しました。--- \n"),
              kNoOutput +
                  "エラーフォルダ: tmp/\nエラーファイル名: e\n一時フォルダ: tmp\n"
                  "一時フォルダは未指定の為、システムの一時フォルダ[tmp/]を使用する。\n" +
                  kPath);
}

TEST(VerboseChecks, ShowAnUnsetTemporaryFolder) {
    EXPECT_EQ(checking({"-L2", "in.dat"}, std::nullopt, "C", kArguments),
              kNoOutput + kNoErrors + "Temporary folder: (null)\n☆ Temporary folder is not specified!\n");
}

TEST(VerboseChecks, StopAtTheFirstRefusal) {
    EXPECT_EQ(checking({"-L3", "in.dat"}, "tmp", "C", kArguments), "☆ Invalid size [1] for input file 10!\n");
    EXPECT_EQ(checking({"-L2", "-O", "no/out", "in.dat"}, "tmp", "C", kArguments),
              "出力フォルダ: no/\n出力ファイル名: out\n"
              "☆ Output folder [no/] does not exist or insufficient permissions!\n");
}

string key_lines(const string &number, const string &order, const string &text, const string &start,
                 const string &length) {
    return "ソートキー" + number + "(" + order + ")は: " + text + "\nソートキー" + number + "(" + order +
           ")の開始位置は: " + start + "\nソートキー" + number + "(" + order + ")の長さは: " + length + "\n";
}

TEST(VerboseChecks, ShowTheKeys) {
    EXPECT_EQ(checking({"-L10", "-K0,3", "-K", "4,2ND", "-K5,a", "in.dat"}),
              kCommon + key_lines("1", "Asc", "0,3", "0", "3") + key_lines("2", "Desc", "4,2", "4", "2") +
                  key_lines("3", "Asc", "5,", "5", "0"));
    EXPECT_EQ(checking({"-C", "-K3d", "-K", "2n", "in.dat"}),
              kCommon + "ソートキー1(Desc)の位置は: 3\nソートキー2(Asc)の位置は: 2\n");
    EXPECT_EQ(checking({"-L2", "-R", "-K0,1", "in.dat"}), kCommon);
    EXPECT_EQ(checking({"-L2", "in.dat"}), kCommon + "☆ Sort all records in ascending order\n");
    EXPECT_EQ(checking({"-L2", "in.dat"}, "tmp", kJapanese, "\n--- 引数のチェック処理は完成しました。--- \n"),
              kNoOutput +
                  "エラーフォルダ: (null)\nエラーファイル名: (null)\n一時フォルダ: tmp\n"
                  "一時フォルダは未指定の為、システムの一時フォルダ[tmp/]を使用する。\n" +
                  kPath + "☆全レコードを昇順ソート\n");
}

TEST(VerboseChecks, ShowAKeyBeforeItsBoundIsChecked) {
    EXPECT_EQ(checking({"-L10", "-K0,1", "-K9,2", "-K0,1", "in.dat"}, "tmp", "C", kArguments),
              kCommon + key_lines("1", "Asc", "0,1", "0", "1") + key_lines("2", "Asc", "9,2", "9", "2") +
                  "☆ Sort key 2 is invalid!\n");
}

} // namespace
