// reentry_test.cpp: several runs in one process. A run behind any other behaves as the first of a fresh process, but
// for VERBOSE and two counters, which survive.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "kx_getopt/kx_getopt.h"
#include "orkan/kx_run_state.h"
#include "orkan/orkan.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using orkan::kx_site;
using std::string;
using support::Box;
using support::Call;
using support::kEnd;
using support::kJapanese;
using support::kRule;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

void fill(const Box &box) {
    box.write("in.dat", "b2a1c3a1");
    box.write("odd", "abc");
    box.write("csv", "a,b\n1,2\n");
}

/// What must not differ between a fresh process and one that has run before.
string essence(const Outcome &o) {
    std::ostringstream text;
    PrintTo(o.ending, &text);
    text << " " << o.status << "\n"
         << std::regex_replace(o.out, std::regex("orkan_[0-9]+\\.tmp"), "orkan_<pid>.tmp") << "\n"
         << support::steady(o);
    return text.str();
}

void no_faults() { orkan::kx_fault_hook = nullptr; }

struct Row {
    const char *name;
    Args args;
    std::function<void()> before = no_faults;
    std::optional<string> tmpdir = "tmp";
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

std::function<void()> failing(kx_site site, int n, bool onwards = false) {
    return [=] { support::fail_call(site, n, onwards); };
}

class Behind : public testing::TestWithParam<Row> {};

const Args kSort = {"-L2", "-K0,1", "-O", "out", "in.dat"};
const Args kShow = {"-Verbose", "-S", "-U", "-L2", "-K0,1", "in.dat"};

TEST_P(Behind, ARunIsAsInAFreshProcess) {
    const Row &row = GetParam();
    const Box box;
    fill(box);
    const Call first = {.args = row.args, .tmpdir = row.tmpdir, .input = "b2a1", .before = row.before};
    const Call sort = {.args = kSort, .before = no_faults}, show = {.args = kShow, .before = no_faults};
    const std::vector<Outcome> runs = box.run_all({first, sort, first, show});
    ASSERT_EQ(runs.size(), 4U);
    const Outcome fresh = box.run(sort);
    EXPECT_EQ(fresh.err, kStart + kEnd);
    EXPECT_EQ(essence(runs[1]), essence(fresh));
    EXPECT_EQ(essence(runs[2]), essence(runs[0]));
    EXPECT_EQ(essence(runs[3]), essence(box.run(show)));
    EXPECT_EQ(box.read("out"), "a1a1b2c3");
}

INSTANTIATE_TEST_SUITE_P(
    Runs, Behind,
    testing::Values(
        Row{"a_sort", {"-L2", "-S", "in.dat"}}, Row{"a_unique_sort", {"-L2", "-U", "-R", "-O", "out2", "in.dat"}},
        Row{"help", {"--help"}}, Row{"a_syntax_error", {"-K0,1", "-E", "err", "-T", "tmp", "-Lx"}},
        Row{"an_invalid_size", {"-O", "out3", "-W64MB", "in.dat"}}, Row{"a_missing_input", {"-L2", "in.dat", "gone"}},
        Row{"an_odd_size", {"-L2", "in.dat", "odd"}}, Row{"an_invalid_key", {"-L2", "-K0,1", "-K2,1", "in.dat"}},
        Row{"no_folder", {"-L2", "-T", "gone", "in.dat"}}, Row{"no_tmpdir", {"-L2", "in.dat"}, no_faults, std::nullopt},
        Row{"an_unknown_newline", {"-P", "x", "csv"}},
        Row{"an_unopened_input", {"-L2", "in.dat"}, failing(kx_site::open, 1)},
        Row{"an_unread_input", {"-L2", "in.dat", "in.dat"}, failing(kx_site::read, 2)},
        Row{"an_uncreated_output", {"-L2", "-O", "tmp", "in.dat"}},
        Row{"an_unwritten_output", {"-L2", "-O", "/dev/full", "in.dat"}},
        Row{"failing_writes", {"-L2", "in.dat"}, failing(kx_site::write, 1, true)},
        Row{"a_failing_close", {"-L2", "-O", "out4", "in.dat"}, failing(kx_site::close, 1, true)},
        Row{"no_pool", {"-L2", "in.dat"}, [] { support::refuse_allocations({16777216}); }},
        Row{"no_free_list", {"-L2", "in.dat"}, [] { support::refuse_allocations({8192}); }},
        Row{"a_split", {"-L2", "-W1", "in.dat"}}, Row{"a_presorted_merge", {"-M", "-L2", "in.dat"}},
        Row{"standard_input", {"-L2"}}, Row{"lines", {"csv"}}, Row{"columns", {"-C", "-H", "csv"}},
        Row{"columns_through_temporary_files", {"-C", "-H", "-W1", "csv"}},
        Row{"an_uncreated_temporary_file", {"-L2", "-W1", "in.dat"}, failing(kx_site::open, 1)},
        Row{"an_unbuffered_temporary_file", {"-L2", "-W1", "in.dat"}, failing(kx_site::setvbuf, 1)}),
    [](const auto &row) { return row.param.name; });

TEST(Reentry, ManyRunsAndLanguages) {
    const Box box;
    fill(box);
    std::vector<Call> calls;
    for (int i = 0; i < 60; ++i) {
        calls.push_back(
            {.args = i % 3 == 0 ? Args{"-L2", "gone"} : Args{"-L2", "in.dat"}, .lang = i % 2 == 0 ? "C" : kJapanese});
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), 60U);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        EXPECT_EQ(runs[i].out, i % 3 == 0 ? "" : "a1a1b2c3");
        EXPECT_EQ(runs[i].status, i % 3 == 0 ? 1 : 0);
    }
    EXPECT_EQ(box.files(), "csv in.dat odd tmp/");
}

TEST(Reentry, LeavesNoFileOpenAndNoStandardStreamClosed) {
    const Box box;
    fill(box);
    const Outcome o = support::in_child([&box] {
        if (chdir(box.path("").c_str()) != 0) {
            return 1;
        }
        const auto next_descriptor = [] {
            const int fd = dup(0);
            close(fd);
            return fd;
        };
        const int before = next_descriptor();
        string name = "orkan", length = "-L2", option = "-O", input = "in.dat";
        for (string target : {"out", "/dev/full", "tmp"}) {
            char *argv[] = {name.data(), length.data(), option.data(), target.data(), input.data(), nullptr};
            orkan_file(5, argv);
        }
        char *to_output[] = {name.data(), length.data(), input.data(), nullptr};
        orkan_file(3, to_output);
        const bool standard_open = fcntl(0, F_GETFD) >= 0 && fcntl(1, F_GETFD) >= 0 && fcntl(2, F_GETFD) >= 0;
        return standard_open && next_descriptor() == before ? 42 : 1;
    });
    EXPECT_EQ(o.status, 42);
}

// VERBOSE survives

TEST(Verbose, SurvivesAndOpensTheNextRunWithAHeader) {
    const Box box;
    fill(box);
    for (const char *lang : {"C", kJapanese}) {
        const bool japanese = lang == string(kJapanese);
        const std::vector<Outcome> runs = box.run_all(
            {{.args = {"-Verbose", "-L2", "in.dat"}, .lang = lang}, {.args = {"-L2", "in.dat"}, .lang = lang}});
        ASSERT_EQ(runs.size(), 2U);
        const string header =
            "\n" + kRule + (japanese ? "\nソートが開始します。 <time> \n" : "\nSort started. <time> \n") + kRule + "\n";
        EXPECT_EQ(support::steady(runs[1].out).substr(0, header.size()), header);
        EXPECT_EQ(runs[1].out.substr(runs[1].out.size() - 8), "a1a1b2c3");
        const string opening =
            kStart +
            (japanese ? "\n--- 引数処理は開始します。--- \n\n--- 引数の読み込み処理は開始します。--- \n"
                      : "\n--- Argument processing started.--- \n\n--- Argument loading started.--- \n") +
            "レコード長は: 2\n入力ファイル1のパスは: in.dat\n";
        EXPECT_EQ(runs[1].err.substr(0, opening.size()), opening);
        // Behind the options it is a verbose run like the first.
        const string tail =
            japanese ? "\n--- 引数のチェック処理は開始します。--- \n" : "\n--- Argument checking started.--- \n";
        EXPECT_EQ(support::steady(runs[1]).substr(support::steady(runs[1]).find(tail)),
                  support::steady(runs[0]).substr(support::steady(runs[0]).find(tail)));
        std::size_t dumps = 0;
        for (std::size_t at = 0; (at = runs[1].out.find("errFile", at)) != string::npos; ++at) {
            ++dumps;
        }
        EXPECT_EQ(dumps, 3U); // before, behind reading, behind checking
    }
}

TEST(Verbose, TheNextRunMeasuresFromItsOwnStart) {
    const Box box;
    fill(box);
    const std::vector<Outcome> runs =
        box.run_all({{.args = {"-Verbose", "-L2", "in.dat"}}, {.args = {"-L2", "in.dat"}}});
    ASSERT_EQ(runs.size(), 2U);
    std::smatch m;
    ASSERT_TRUE(std::regex_search(runs[1].err, m,
                                  std::regex("finish=([0-9]+), startFirst=([0-9]+), finish-startFirst=([0-9]+),")));
    EXPECT_GT(std::stol(m[2]), 0);
    EXPECT_EQ(std::stol(m[1]) - std::stol(m[2]), std::stol(m[3]));
}

TEST(Verbose, SurvivesFailuresAndHelp) {
    const Box box;
    fill(box);
    const std::vector<Outcome> runs =
        box.run_all({{.args = {"-Verbose", "-L2", "gone"}}, {.args = {"--help"}}, {.args = {"-L2", "gone"}}});
    ASSERT_EQ(runs.size(), 3U);
    EXPECT_EQ(runs[1].err, kStart + "\n--- Argument processing started.--- \n" + support::kHelp);
    EXPECT_EQ(runs[1].status, 1);
    EXPECT_EQ(support::steady(runs[1].out), "\n" + kRule + "\nSort started. <time> \n" + kRule + "\n");
    EXPECT_NE(runs[2].err.find("\n--- Argument checking started.--- \n"), string::npos);
}

TEST(Verbose, AnUnbufferedErrorStreamEndsTheRunAtOnce) {
    const Box box;
    fill(box);
    for (const char *lang : {"C", kJapanese}) {
        const Call verbose = {.args = {"-Verbose", "-L2", "-O", "out", "in.dat"}, .lang = lang};
        const Call refused = {.args = {"-L2", "in.dat"}, .lang = lang, .before = failing(kx_site::setvbuf, 1)};
        const std::vector<Outcome> runs =
            box.run_all({verbose, refused, {.args = {"-L2", "in.dat"}, .before = no_faults}});
        ASSERT_EQ(runs.size(), 3U);
        EXPECT_EQ(runs[1].err, kStart + (lang == string("C") ? "☆ Failed to set stdout buffer!\n"
                                                             : "☆標準出力バッファの設定はできません！\n"));
        EXPECT_EQ(runs[1].out, "");
        EXPECT_EQ(runs[1].status, 1);
        EXPECT_EQ(runs[2].status, 0);
    }
}

// State between runs

TEST(State, TwoCountersSurviveAndTheOthersAreCleared) {
    const Box box;
    fill(box);
    const auto count = [] {
        orkan::cmpList_unit_totalRec_csv_stabilize += 5;
        orkan::cmpList_merge_totalRec_csv_stabilize += 7;
        orkan::cmpList_unit_csv += 9;
        orkan::cmpIfEqual_merge_csv += 11;
    };
    const std::vector<Outcome> runs =
        box.run_all({{.args = {"-Verbose", "-L2", "in.dat"}, .before = count}, {.args = {"-L2", "in.dat"}}});
    ASSERT_EQ(runs.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        const string &err = runs[i].err;
        EXPECT_NE(err.find("分割ソート比較函数[_cmpList_unit_totalRec_csv_stabilize]のコール回数は：5\n"),
                  string::npos);
        EXPECT_NE(err.find("ソート比較函数[_cmpList_merge_totalRec_csv_stabilize]のコール回数は：7\n"), string::npos);
        EXPECT_EQ(support::between(err, "分割ソート比較函数[_cmpList_unit_csv]のコール回数は：", "\n"),
                  i == 0 ? "9" : "0");
        EXPECT_EQ(support::between(err, "比較函数[_cmpIfEqual_merge_csv]のコール回数は：", "\n"), i == 0 ? "11" : "0");
    }
}

bool is_closed(const orkan::kx_stream &s) { return !s.open && s.buffer == nullptr; }

/// Whether every variable of a run is as at process start; called in the child behind its runs.
bool at_rest() {
    using namespace orkan;
    return memPool == nullptr && dataInfo.list == nullptr && dataInfo.cnt == 0 && dataInfo.bufSize == 0 &&
           is_closed(inFile) && is_closed(outFile) && is_closed(tmpFile) && is_closed(errFile) && processId == 0 &&
           startFirst == 0 && start == 0 && start_tmp == 0 && finish == 0 && recordInfoArray == nullptr &&
           keyInfoArray == nullptr && bufDealedSize == 0 && csvKeyLenInTemp == 0 && kx_splitSort_offset_fix == 0 &&
           kx_splitSort_offset_variable == 0 && kx_splitSort_offset_csv == 0 && cmpList == 0 && cmpIfEqual == 0 &&
           argsInfo.arrInFile == nullptr && argsInfo.totalFileSize == 0 && argsInfo.recLen == 0 && orkan::optind == 1 &&
           orkan::optarg == nullptr && orkan::kx_getopt_sp == 1 && orkan::optopt == 0;
}

TEST(State, IsAtRestBehindEveryRun) {
    const Box box;
    fill(box);
    for (const Args &args : {Args{"-L2", "in.dat"}, Args{"-Verbose", "-L2", "-U", "in.dat"}, Args{"-L2", "gone"},
                             Args{"-Lx"}, Args{"-L2", "-W1", "in.dat"}, Args{"-M", "-L2", "in.dat"}, Args{"-L2"},
                             Args{"-C", "-H", "csv"}, Args{"-L2", "-O", "/dev/full", "in.dat"}}) {
        SCOPED_TRACE(args[0] + " " + args.back());
        // The second run is one that says at its start whether all is at rest.
        const std::vector<Outcome> runs = box.run_all(
            {{.args = args, .input = "b2a1"},
             {.args = {"--help"}, .before = [] { std::fputs(at_rest() ? "at rest" : "left over", stdout); }}});
        ASSERT_EQ(runs.size(), 2U);
        EXPECT_EQ(runs[1].out.substr(0, 7), "at rest");
    }
}

} // namespace
