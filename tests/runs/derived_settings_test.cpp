// derived_settings_test.cpp: the configuration that options and files give, field by field, and its release.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "kx_getopt/kx_getopt.h"
#include "kx_paras/kx_paras.h"
#include "orkan/kx_run_state.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using namespace orkan;
using std::string;
using support::Box;
using support::Outcome;

using Args = std::vector<string>;

bool is_empty(const FileInfo &file) {
    return file.path == nullptr && file.dir == nullptr && file.fileName == nullptr && file.outBuf == nullptr;
}

bool is_empty(const ArgsInfo &a) {
    return is_empty(a.tmpFile) && is_empty(a.outFile) && is_empty(a.errFile) && a.arrInFile == nullptr &&
           a.inFileNums == 0 && a.arrSortKey == nullptr && a.keyNums == 0 && a.sep == nullptr &&
           a.delimiter == nullptr &&
           a.bMerge + a.bCsv + a.bMemory + a.bFixVar + a.bStabilize + a.bUnique + a.recLen + a.totalMemSize + a.quote +
                   a.totalFileSize + a.totalRecNum + a.bRecSort + a.keyMaxPos + a.bHeader + a.bNullLastOut ==
               0;
}

/// Options into settings in a child whose folder holds "ten" (10 bytes), "none" (0 bytes) and "sub/four"; `look` sees
/// the result. Leaves the process id 17.
Outcome configured(const Args &args, const std::function<void(const ArgsInfo &)> &look) {
    const Box box;
    box.write("ten", "0123456789");
    box.write("none", "");
    box.make_folder("sub");
    box.write("sub/four", "abcd");
    return support::in_child(
        [&]() -> int {
            Args texts = {"orkan"};
            texts.insert(texts.end(), args.begin(), args.end());
            std::vector<char *> argv;
            for (string &text : texts) {
                argv.push_back(text.data());
            }
            if (chdir(box.path("").c_str()) != 0) {
                return 2;
            }
            processId = 17;
            ArgsInfo settings{};
            const int status = kx_GetParametersInfo(&settings, static_cast<int>(argv.size()), argv.data()) != 0 ||
                               kx_DealParametersInfo(&settings) != 0;
            look(settings);
            kx_CleanupArgsInfo(&settings);
            return status != 0 || !is_empty(settings);
        },
        {.tmpdir = "tmp"});
}

/// One line about the settings, as `show` prints it.
string shown(const Args &args, const std::function<void(const ArgsInfo &)> &show) {
    const Outcome o = configured(args, show);
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    return o.out;
}

string escaped(const char *text) {
    if (text == nullptr) {
        return "null";
    }
    string result;
    for (; *text != '\0'; ++text) {
        result += *text == '\n' ? "<LF>" : *text == '\r' ? "<CR>" : *text == '\t' ? "<TAB>" : string(1, *text);
    }
    return result;
}

void show_codes(const ArgsInfo &a) {
    std::printf("fixvar %ld sep %s %ld delimiter %s %ld quote %c", a.bFixVar, escaped(a.sep).c_str(), a.sep_len,
                escaped(a.delimiter).c_str(), a.delimiter_len, a.quote);
}

TEST(Derived, NewlineCodeAndDelimiter) {
    EXPECT_EQ(shown({}, show_codes), "fixvar 2 sep <LF> 1 delimiter null 0 quote \"");
    EXPECT_EQ(shown({"-P", "\\n"}, show_codes), "fixvar 2 sep <LF> 1 delimiter null 0 quote \"");
    EXPECT_EQ(shown({"-P", "\\r"}, show_codes), "fixvar 2 sep <CR> 1 delimiter null 0 quote \"");
    EXPECT_EQ(shown({"-P", "\\r\\n"}, show_codes), "fixvar 2 sep <CR><LF> 2 delimiter null 0 quote \"");
    EXPECT_EQ(shown({"-C"}, show_codes), "fixvar 2 sep <LF> 1 delimiter , 1 quote \"");
    EXPECT_EQ(shown({"-C", "-D", "\\t"}, show_codes), "fixvar 2 sep <LF> 1 delimiter <TAB> 1 quote \"");
    EXPECT_EQ(shown({"-C", "-D", "<=>"}, show_codes), "fixvar 2 sep <LF> 1 delimiter <=> 3 quote \"");
    EXPECT_EQ(shown({"-C", "-D", "\\t\\t", "-P\\r"}, show_codes), "fixvar 2 sep <CR> 1 delimiter \\t\\t 4 quote \"");
    EXPECT_EQ(shown({"-L2", "-P", "what"}, show_codes), "fixvar 1 sep what 0 delimiter null 0 quote \"");
    EXPECT_EQ(shown({"-L2"}, show_codes), "fixvar 1 sep null 0 delimiter null 0 quote \"");
}

void show_keys(const ArgsInfo &a) {
    std::printf("order %ld max %ld keys %ld", a.bRecSort, a.keyMaxPos, a.keyNums);
    for (kx_i64 k = 0; k < a.keyNums; ++k) {
        const KeyInfo &key = a.arrSortKey[k];
        std::printf(" (%s %d %d %d %d)", key.cmt, key.srtPos, key.len, key.type, key.srtSeq);
    }
}

TEST(Derived, KeysOfPositionFormats) {
    EXPECT_EQ(shown({"-K3,4"}, show_keys), "order 0 max 7 keys 1 (3,4 3 4 1 1)");
    EXPECT_EQ(shown({"-K3,4nd"}, show_keys), "order 0 max 7 keys 1 (3,4nd 3 4 2 2)");
    EXPECT_EQ(shown({"-K3,4NA"}, show_keys), "order 0 max 7 keys 1 (3,4NA 3 4 2 1)");
    EXPECT_EQ(shown({"-K3,4t"}, show_keys), "order 0 max 7 keys 1 (3,4t 3 4 3 1)");
    EXPECT_EQ(shown({"-K", "3,4D"}, show_keys), "order 0 max 7 keys 1 (3,4D 3 4 1 2)");
    EXPECT_EQ(shown({"-K3,4a", "-K0,2d", "-K9,"}, show_keys),
              "order 0 max 7 keys 3 (3,4a 3 4 1 1) (0,2d 0 2 1 2) (9, 9 0 1 1)");
    EXPECT_EQ(shown({"-K0,9", "-K3,4"}, show_keys), "order 0 max 9 keys 2 (0,9 0 9 1 1) (3,4 3 4 1 1)");
    EXPECT_EQ(shown({"-K2147483647,2147483647"}, show_keys),
              "order 0 max 4294967294 keys 1 (2147483647,2147483647 2147483647 2147483647 1 1)");
}

TEST(Derived, SuffixesCountOnlyInTheirOrder) {
    // number, then t, then n, then a or d: taken off from the end, in that order only
    EXPECT_EQ(shown({"-K3,4tnd"}, show_keys), "order 0 max 7 keys 1 (3,4tnd 3 4 3 2)");
    EXPECT_EQ(shown({"-K3,4nt"}, show_keys), "order 0 max 7 keys 1 (3,4nt 3 4 3 1)"); // the n stays in the text
    EXPECT_EQ(shown({"-K3,4dn"}, show_keys), "order 0 max 7 keys 1 (3,4dn 3 4 2 1)"); // the d stays in the text
    EXPECT_EQ(shown({"-K3,4da"}, show_keys), "order 0 max 7 keys 1 (3,4da 3 4 1 1)");
    EXPECT_EQ(shown({"-K3,4ad"}, show_keys), "order 0 max 7 keys 1 (3,4ad 3 4 1 2)");
}

TEST(Derived, KeysOfColumns) {
    EXPECT_EQ(shown({"-C", "-K3"}, show_keys), "order 0 max 0 keys 1 (3 3 0 1 1)");
    EXPECT_EQ(shown({"-C", "-K3nd", "-K", "1t", "-k2N"}, show_keys),
              "order 0 max 0 keys 3 (3nd 3 0 2 2) (1t 1 0 3 1) (2N 2 0 2 1)");
    EXPECT_EQ(shown({"-C", "-K2,5"}, show_keys), "order 0 max 0 keys 1 (2,5 2 0 1 1)");
}

TEST(Derived, WholeRecordOrder) {
    EXPECT_EQ(shown({}, show_keys), "order 1 max 0 keys 0");
    EXPECT_EQ(shown({"-A"}, show_keys), "order 1 max 0 keys 0");
    EXPECT_EQ(shown({"-R"}, show_keys), "order 2 max 0 keys 0");
    EXPECT_EQ(shown({"-K0,5", "-R", "-K3,4"}, show_keys), "order 2 max 0 keys 0");
}

void show_inputs(const ArgsInfo &a) {
    std::printf("memory %ld size %ld records %ld files %ld", a.bMemory, a.totalFileSize, a.totalRecNum, a.inFileNums);
    for (kx_i64 i = 0; i < a.inFileNums; ++i) {
        const FileInfo &file = a.arrInFile[i];
        std::printf(" (%s %s %s %ld %ld)", file.path, escaped(file.dir).c_str(), file.fileName, file.size,
                    file.outSize);
    }
}

TEST(Derived, Inputs) {
    EXPECT_EQ(shown({}, show_inputs), "memory 1 size 0 records 0 files 0");
    EXPECT_EQ(
        shown({"-L2", "ten", "none", "./sub/four"}, show_inputs),
        "memory 1 size 14 records 7 files 3 (ten null ten 10 0) (none null none 0 0) (./sub/four ./sub/ four 4 0)");
    EXPECT_EQ(shown({"-W1", "ten"}, show_inputs), "memory 0 size 10 records 0 files 1 (ten null ten 10 0)");
}

void show_outputs(const ArgsInfo &a) {
    for (const FileInfo *file : {&a.outFile, &a.errFile, &a.tmpFile}) {
        std::printf("(%s %s %s)", escaped(file->path).c_str(), escaped(file->dir).c_str(),
                    escaped(file->fileName).c_str());
    }
}

TEST(Derived, OutputsAndTemporaryPath) {
    EXPECT_EQ(shown({}, show_outputs), "(null null null)(null null null)(tmp/orkan_17.tmp tmp/ orkan_17.tmp)");
    EXPECT_EQ(shown({"-O", "sub/out", "-E", "err"}, show_outputs),
              "(sub/out sub/ out)(err null err)(tmp/orkan_17.tmp tmp/ orkan_17.tmp)");
    EXPECT_EQ(shown({"-T", "sub/"}, show_outputs),
              "(null null null)(null null null)(sub//orkan_17.tmp sub// orkan_17.tmp)");
}

TEST(Derived, FlagsAndNumbers) {
    const auto show = [](const ArgsInfo &a) {
        std::printf("%ld%ld%ld%ld%ld%ld %ld %ld", a.bMerge, a.bCsv, a.bStabilize, a.bUnique, a.bHeader, a.bNullLastOut,
                    a.recLen, a.totalMemSize);
    };
    EXPECT_EQ(shown({}, show), "000000 0 0");
    EXPECT_EQ(shown({"-mcsuhn", "-W3k"}, show), "111111 0 3072");
    EXPECT_EQ(shown({"-L", "0012", "-W", "64m"}, show), "000000 12 67108864");
}

TEST(Release, TakesNull) { kx_CleanupArgsInfo(nullptr); }

TEST(Release, IsCompleteAfterARefusal) {
    for (const Args &args : {Args{"-L3", "ten"}, Args{"-O", "no/out", "ten"}, Args{"-K0,1", "-K1", "ten", "none"},
                             Args{"-W", "x"}, Args{"-K0,1", "-L", "x"}, Args{"-T", "gone", "ten"}}) {
        const Outcome o = configured(args, [](const ArgsInfo &) {});
        EXPECT_EQ(o.status, 1) << args[0];
        EXPECT_NE(o.err, "") << args[0];
    }
}

// The n-th request for memory refused: the run fails with its message or does without; nothing is kept either way.
TEST(Release, IsCompleteWhenMemoryIsRefused) {
    const Box box;
    box.write("ten", "9876543210");
    int refusals = 0;
    for (int n = 1; n <= 40; ++n) {
        SCOPED_TRACE(n);
        const Outcome o = box.run({.args = {"-L2", "-K0,1", "-O", "out", "-E", "err", "-T", "tmp", "-K1,1", "ten"},
                                   .before = [n] { support::fail_call(kx_site::allocate, n); }});
        EXPECT_EQ(o.ending, support::Ending::returned);
        if (o.status == 0) {
            EXPECT_EQ(box.read("out"), "1032547698");
        } else {
            ++refusals;
            EXPECT_EQ(o.err.substr(o.err.size() - support::kFailed.size()), support::kFailed);
            EXPECT_GT(o.err.size(), support::kStart.size() + support::kFailed.size()) << "no message";
        }
    }
    EXPECT_GT(refusals, 9);
    EXPECT_LT(refusals, 40);
}

} // namespace
