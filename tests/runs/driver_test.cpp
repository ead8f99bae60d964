// driver_test.cpp: the order of a run's phases, its banners, statistics and exits.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Box;
using support::Ending;
using support::kArguments;
using support::kEnd;
using support::kFailed;
using support::kFailedJa;
using support::kJapanese;
using support::kRule;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

/// A box with inputs of two and more formats.
struct Inputs {
    Inputs() {
        box.write("in.dat", "b2a1c3");
        box.write("lines", "b\na\n");
        box.write("empty", "");
    }
    Box box;
};

// Quiet runs

TEST(Driver, ASortPrintsItsBannersAndReturnsZero) {
    const Inputs in;
    for (const char *lang : {"C", kJapanese}) {
        const Outcome o = in.box.run({.args = {"-L2", "in.dat"}, .lang = lang});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "a1b2c3");
        EXPECT_EQ(o.err, kStart + kEnd);
    }
    EXPECT_EQ(in.box.files(), "empty in.dat lines tmp/");
    EXPECT_EQ(kStart.size(), 19U);
    EXPECT_EQ(kEnd.size(), 15U);
}

TEST(Driver, RunsWithoutLangAndWithClosedInput) {
    const Inputs in;
    const Outcome o = in.box.run({.args = {"-L2", "in.dat"}, .lang = std::nullopt, .input = std::nullopt});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "a1b2c3");
    EXPECT_EQ(o.err, kStart + kEnd);
}

TEST(Driver, OnlyTheFirstArgumentIsHelp) {
    const Inputs in;
    EXPECT_EQ(in.box.run({.args = {"--help"}}).err, kStart + support::kHelp);
    EXPECT_EQ(in.box.run({.args = {"--help", "-L2", "in.dat"}}).status, 1);
    EXPECT_EQ(in.box.run({.args = {"-L2", "--help"}}).ending, Ending::exited);
    EXPECT_EQ(in.box.run({.args = {"-L2", "in.dat", "--help"}}).err,
              kStart + "☆ Failed to stat input file 2 [--help]!\n" + kArguments + kFailed);
}

TEST(Driver, FailuresHaveNoEndBanner) {
    const Inputs in;
    EXPECT_EQ(in.box.run({.args = {"-L2", "gone"}}).err,
              kStart + "☆ Failed to stat input file 1 [gone]!\n" + kArguments + kFailed);
    EXPECT_EQ(in.box.run({.args = {"-Lx", "gone"}}).err,
              kStart + "☆オプション[Wx]不正です！\n" + support::kSyntax + support::kHelp + kFailed);
}

// A path that fails: whatever its sort has said, the driver says which path it was.

TEST(Driver, PathsReportTheirFailure) {
    const Inputs in;
    struct Row {
        Args args;
        orkan::kx_site failing;
        string english, japanese;
    };
    const Row rows[] = {
        {{"-M", "-L2", "in.dat"},
         orkan::kx_site::open,
         "☆ File merge sort failed!\n",
         "☆ファイルのマージソートは失敗しました！\n"},
        {{"-L2"}, orkan::kx_site::read, "☆ Standard input sort failed!\n", "☆標準入力のソートは失敗しました！\n"},
        {{"-L2", "-W1", "in.dat"},
         orkan::kx_site::read,
         "☆ Error occurred during input file split sort!\n",
         "☆入力ファイルの分割ソート中にエラーが発生しました！\n"},
    };
    const auto last = [](const string &text, const string &end) {
        return text.size() < end.size() ? text : text.substr(text.size() - end.size());
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.english);
        const auto before = [&row] { support::fail_call(row.failing, 1); };
        const Outcome o = in.box.run({.args = row.args, .input = "b2a1", .before = before});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(last(o.err, row.english + kFailed), row.english + kFailed);
        const Outcome ja = in.box.run({.args = row.args, .lang = kJapanese, .input = "b2a1", .before = before});
        EXPECT_EQ(last(ja.err, row.japanese + kFailedJa), row.japanese + kFailedJa);
        EXPECT_EQ(in.box.files(), "empty in.dat lines tmp/");
    }
}

// The whole of a verbose run

string pool_lines() {
    string lines = "\n";
    for (const char *name :
         {"メモリ割当函数[kx_malloc]", "メモリ快速割当函数[kx_malloc_hwm]", "メモリ最快速割当函数[kx_qmalloc]",
          "メモリ再割当函数[kx_realloc]", "メモリ割当函数[malloc]", "メモリ再割当函数[realloc]", "メモリ解放函数[free]",
          "メモリ解放函数[qfree]"}) {
        lines += string("###") + name + "のコール回数は：0\n";
    }
    return lines +
           "###フロント側の割当済みメモリブロックは[0]個、バック側の割当済みメモリブロックは[0]個です。\n"
           "###トータルフリーメモリ数[1]個、サイズは[16384]KB、最大フリーメモリブロックサイズは[16384]KBです。\n";
}

/// Statistics lines with the given label; every count is 0 but those masked as <n>.
string counter_lines(const char *label, const Args &names) {
    string lines;
    for (const string &name : names) {
        lines += string(label) + "[" + name + "]のコール回数は：" + (name == "_cmpList" ? "<n>" : "0") + "\n";
    }
    return lines;
}

const char *const kWhole = "ソート比較函数", *const kUnit = "分割ソート比較函数", *const kEqual = "比較函数";

string statistics() {
    return "\n---固定長---\n" + counter_lines(kWhole, {"_cmpList", "_cmpList_totalRec"}) +
           counter_lines(kUnit, {"_cmpList_unit", "_cmpList_unit_stabilize", "_cmpList_unit_totalRec",
                                 "_cmpList_unit_totalRec_stabilize"}) +
           counter_lines(kEqual, {"_cmpIfEqual"}) + "\n---可変長---\n" +
           counter_lines(kWhole, {"_cmpList_variable", "_cmpList_totalRec_variable"}) +
           counter_lines(kUnit, {"_cmpList_unit_variable", "_cmpList_unit_variable_stabilize",
                                 "_cmpList_unit_totalRec_variable", "_cmpList_unit_totalRec_variable_stabilize"}) +
           counter_lines(kEqual, {"_cmpIfEqual_variable", "_cmpIfEqual_unit_variable"}) + "\n---CSV---\n" +
           counter_lines(kWhole, {"_cmpList_csv", "_cmpList_totalRec_csv"}) +
           counter_lines(kUnit, {"_cmpList_unit_csv", "_cmpList_unit_csv_stabilize", "_cmpList_unit_totalRec_csv",
                                 "_cmpList_unit_totalRec_csv_stabilize"}) +
           "\n---ソート済みファイルのマージソート比較関数---\n" +
           counter_lines(kWhole, {"_cmpList_merge_variable", "_cmpList_merge_variable_stabilize",
                                  "_cmpList_merge_totalRec_variable", "_cmpList_merge_totalRec_variable_stabilize",
                                  "_cmpList_merge_csv", "_cmpList_merge_csv_stabilize", "_cmpList_merge_totalRec_csv",
                                  "_cmpList_merge_totalRec_csv_stabilize"}) +
           "\n---ユニック出力比較関数---\n" +
           counter_lines(kEqual, {"_cmpIfEqual", "_cmpIfEqual_variable", "_cmpIfEqual_csv", "_cmpIfEqual_unit_variable",
                                  "_cmpIfEqual_unit_csv", "_cmpIfEqual_merge_variable", "_cmpIfEqual_merge_csv"});
}

string mask_count_of_cmpList(const string &text) {
    return std::regex_replace(text, std::regex("(\\[_cmpList\\]のコール回数は：)[0-9]+"), "$1<n>");
}

const string kFirstVerboseRun =
    kStart +
    "レコード長は: 2\nソートキー1は:0,1\n入力ファイル1のパスは: in.dat\n"
    "\n--- Argument loading completed.--- \n"
    "\n--- Argument checking started.--- \n"
    "\n--- 引数のチェック処理は開始します。--- \n"
    "出力フォルダ: (null)\n出力ファイル名: (null)\nError folder: (null)\nError file name: (null)\n"
    "Temporary folder: tmp\n"
    "Temporary folder not specified, using system temporary folder [tmp/].\n"
    "一時パス: tmp/orkan_<pid>.tmp\n"
    "ソートキー1(Asc)は: 0,1\nソートキー1(Asc)の開始位置は: 0\nソートキー1(Asc)の長さは: 1\n"
    "\n--- Argument checking completed.--- \n"
    "--- Argument processing completed.---\n"
    "\n--- Memory pool processing started.--- \n"
    "最小メモリサイズ[16384]KBを使用する。\n"
    "Memory pool size is [16384]KB.\n" +
    pool_lines() +
    "--- Memory pool processing completed.--- \n"
    "\n--- In-memory sort started.--- \n"
    "入力ファイル[in.dat]の読み込みは完了しました。\n"
    "Input file reading took [#]ms.\n"
    "[_kx_get_indexList]がかかった[#]msです。\n"
    "不安定ソートがかかった[#]msです。\n"
    "出力がかかった[#]msです。\n"
    "メモリ解放がかかった[#]msです。\n"
    "--- In-memory sort completed.--- \n" +
    statistics() + "\nNumber of sorted records:  3\n\n" + kRule +
    "\nSort completed successfully. <time>  \n"
    "finish=<n>, startFirst=<n>, finish-startFirst=<n>, CLOCKS_PER_SEC=1000000, \n"
    "Sort took [<n>]ms, [<n>]s.\n" +
    kRule + "\n" + kEnd;

const string kFirstVerboseRunJa =
    kStart +
    "レコード長は: 2\nソートキー1は:0,1\n入力ファイル1のパスは: in.dat\n"
    "\n--- 引数の読み込み処理は完成しました。。--- \n"
    "\n--- 引数のチェック処理は開始します。--- \n"
    "\n--- 引数のチェック処理は開始します。--- \n"
    "出力フォルダ: (null)\n出力ファイル名: (null)\nエラーフォルダ: (null)\nエラーファイル名: (null)\n"
    "一時フォルダ: tmp\n"
    "一時フォルダは未指定の為、システムの一時フォルダ[tmp/]を使用する。\n"
    "一時パス: tmp/orkan_<pid>.tmp\n"
    "ソートキー1(Asc)は: 0,1\nソートキー1(Asc)の開始位置は: 0\nソートキー1(Asc)の長さは: 1\n"
    "\n--- 引数のチェック処理は完成しました。--- \n"
    "--- 引数処理は完成しました。---\n"
    "\n--- メモリプール処理は開始します。--- \n"
    "最小メモリサイズ[16384]KBを使用する。\n"
    "メモリプールのサイズは[16384]KBです。\n" +
    pool_lines() +
    "--- メモリプール処理は終了しました。--- \n"
    "\n--- メモリ上でのソートは開始します。--- \n"
    "入力ファイル[in.dat]の読み込みは完了しました。\n"
    "入力ファイルの読み込みがかかった[#]msです。\n"
    "[_kx_get_indexList]がかかった[#]msです。\n"
    "不安定ソートがかかった[#]msです。\n"
    "出力がかかった[#]msです。\n"
    "メモリ解放がかかった[#]msです。\n"
    "--- メモリ上でのソートは終了しました。--- \n" +
    statistics() + "\nソートされたレコード数:  3\n\n" + kRule +
    "\nソートが正常終了しました。 <time>  \n"
    "finish=<n>, startFirst=<n>, finish-startFirst=<n>, CLOCKS_PER_SEC=1000000, \n"
    "ソートがかかった[<n>]ms, [<n>]sです。\n" +
    kRule + "\n" + kEnd;

const Args kVerboseArgs = {"-Verbose", "-L2", "-K0,1", "in.dat"};

TEST(Verbose, EveryLineInItsOrder) {
    const Inputs in;
    const Outcome o = in.box.run({.args = kVerboseArgs});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(mask_count_of_cmpList(support::steady(o)), kFirstVerboseRun);
}

TEST(Verbose, EveryLineInItsOrderInJapanese) {
    const Inputs in;
    const Outcome o = in.box.run({.args = kVerboseArgs, .lang = kJapanese});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(mask_count_of_cmpList(support::steady(o)), kFirstVerboseRunJa);
}

TEST(Verbose, PathsAnnounceThemselves) {
    const Inputs in;
    const auto announces = [&in](const Args &args, const char *lang, const string &line) {
        const string completed = lang == string("C") ? "--- Memory pool processing completed.--- \n"
                                                     : "--- メモリプール処理は終了しました。--- \n";
        const string err = in.box.run({.args = args, .lang = lang, .input = "b2a1"}).err;
        return err.find(completed + line) != string::npos;
    };
    const Args merge = {"-Verbose", "-M", "-L2", "in.dat"}, input = {"-Verbose", "-L2"};
    EXPECT_TRUE(announces(merge, "C", "\n--- File merge sort processing started.--- \n"));
    EXPECT_TRUE(announces(merge, kJapanese, "\n--- ファイルのマージソート処理は開始します。--- \n"));
    EXPECT_TRUE(announces(input, "C", "\n--- Standard input sort processing started.--- \n"));
    EXPECT_TRUE(announces(input, kJapanese, "\n--- 標準入力ソート処理は開始します。--- \n"));
}

TEST(Verbose, DumpsGoToStandardOutputBeforeTheRecords) {
    const Inputs in;
    const string out = in.box.run({.args = kVerboseArgs}).out;
    ASSERT_GT(out.size(), 6U);
    EXPECT_EQ(out.substr(out.size() - 6), "a1b2c3");
    for (const char *name : {"tmpFile", "outFile", "errFile"}) { // once after reading, once after checking
        const std::size_t first = out.find(name);
        ASSERT_NE(first, string::npos) << name;
        EXPECT_NE(out.find(name, first + 1), string::npos) << name;
    }
    EXPECT_EQ(out.find("Sort started."), string::npos);
}

TEST(Verbose, DumpsShowCodesByteByByte) {
    const Inputs in;
    const string out = in.box.run({.args = {"-Verbose", "-C", "-D", "~ \x7f\x80\xff", "-P", "\\r\\n", "in.dat"}}).out;
    EXPECT_NE(out.find("  delimiter      = ~ \\x7f\\x80\\xff\n"), string::npos) << out;
    EXPECT_NE(out.find("  sep            = \\x0d\\x0a\n"), string::npos) << out;
}

TEST(Verbose, TheFirstRunMeasuresFromTheStartOfTheProcess) {
    const Inputs in;
    const string err = in.box.run({.args = kVerboseArgs}).err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(
        err, m, std::regex("finish=([0-9]+), startFirst=0, finish-startFirst=([0-9]+), CLOCKS_PER_SEC=1000000, \n")));
    EXPECT_EQ(m[1], m[2]);
    const double seconds = std::stod(m[1]) / 1000000.0;
    char line[100];
    std::snprintf(line, sizeof line, "Sort took [%.0f]ms, [%.3f]s.\n", seconds * 1000.0, seconds);
    EXPECT_NE(err.find(line), string::npos) << line;
}

TEST(Verbose, UniqueAndWholeRecordsCountTheirComparators) {
    const Inputs in;
    const string err = in.box.run({.args = {"-Verbose", "-L2", "-U", "-S", "-A", "in.dat", "in.dat"}}).err;
    EXPECT_NE(err.find("比較函数[_cmpIfEqual]のコール回数は：5\n"), string::npos);
    EXPECT_NE(err.find("ソート比較函数[_cmpList]のコール回数は：0\n"), string::npos);
    EXPECT_NE(err.find("安定ソートがかかった["), string::npos);
    EXPECT_EQ(err.find("不安定ソートがかかった["), string::npos);
    EXPECT_NE(err.find("\nNumber of sorted records:  6\n"), string::npos);
}

} // namespace
