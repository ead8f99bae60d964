// complete_files_test.cpp: complete mode and its files along every path: inputs named twice, unsorted or growing,
// folders that look empty, the error file of inputs without records.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

#include "support/complete_both.h"
#include "support/small_sizes.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

using Args = std::vector<string>;

const string kInMemory; ///< needs no option
const Args kPaths = {kInMemory, "-W1", "-M"};

string lacks_key(const string &input) {
    return "☆ " + input + " has a record that lacks a sort key! Specify an error file (-E).\n";
}

class CompleteFiles : public testing::Test {
  protected:
    [[nodiscard]] Outcome run(
        const Args &args, const string &input = "", const std::function<void()> &before = [] {}) const {
        return box.run({.args = args, .input = input, .before = [&before] {
                            choose_mode(true);
                            before();
                        }});
    }
    /// Along that path, within small sizes.
    [[nodiscard]] Outcome run_small(const string &path, const Args &options, const Args &inputs) const {
        return run(along(path, options, inputs), "", shrink_sizes);
    }
    static Args along(const string &path, const Args &options, const Args &inputs) {
        Args args = path == kInMemory ? Args{} : Args{path};
        args.insert(args.end(), options.begin(), options.end());
        args.insert(args.end(), inputs.begin(), inputs.end());
        return args;
    }
    static string lines_sorted(const string &text) {
        Args lines;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = text.find('\n', at) + 1;
            lines.push_back(text.substr(at, end - at));
            at = end;
        }
        std::sort(lines.begin(), lines.end());
        string all;
        for (const string &line : lines) {
            all += line;
        }
        return all;
    }

    Box box;
};

// --- inputs --------------------------------------------------------------------------------------------------------

TEST_F(CompleteFiles, AnInputNamedTwiceHasItsRecordsTwice) {
    const string records = numbered(0, 100, 1);
    string twice;
    for (int i = 0; i < 100; ++i) {
        twice += numbered(i, i + 1, 1) + numbered(i, i + 1, 1);
    }
    for (const string &path : kPaths) {
        for (const Args &options : {Args{"-L8"}, Args{"-A"}, Args{"-C"}, Args{"-S"}, Args{"-C", "-H", "-K1"}}) {
            const string header = options.size() > 1 ? "header\n" : "";
            box.write("in", header + records);
            EXPECT_EQ(run_small(path, options, {"in", "in"}).out, header + twice) << path << options.front();
            Args unique = options;
            unique.emplace_back("-U");
            EXPECT_EQ(run_small(path, unique, {"in", "./in"}).out, header + records) << path << options.front();
        }
    }
}

TEST_F(CompleteFiles, AMergeWritesUnsortedRecordsOnceToo) {
    string first, second;
    for (int i = 0; i < 150; ++i) { // some buffers of each
        first += numbered(i * 37 % 300, i * 37 % 300 + 1, 1);
        second += numbered(i * 91 % 400, i * 91 % 400 + 1, 1);
    }
    const auto expect_all = [this](const Args &options, const string &a, const string &b) {
        box.write("a", a);
        box.write("b", b);
        const Outcome o = run_small("-M", options, {"a", "b"});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(lines_sorted(o.out), lines_sorted(a + b)) << options.front();
    };
    for (const Args &options : {Args{"-L8"}, Args{"-L8", "-K2,3n"}, Args{"-A"}, Args{"-S", "-K2,5"}, Args{"-C"}}) {
        expect_all(options, first, second);
        expect_all(options, second, first + first);
    }
    string fields;
    for (int i = 0; i < 200; ++i) {
        fields += string(static_cast<std::size_t>(i * 7 % 5), ',') + std::to_string(i * 13 % 50) + ",\"x,\"y\n";
    }
    expect_all({"-C"}, fields, first);
    expect_all({"-C", "-D-"}, second, fields);
    expect_all({"-C", "-S", "-N", "-R"}, fields, fields);
}

TEST_F(CompleteFiles, ARecordWithoutAKeyNamesItsInputAlongEveryPath) {
    const string records = numbered(0, 200, 1), broken = records + "x\n" + records;
    for (const Args &options : {Args{"-K0,5"}, Args{"-C", "-D-", "-K2"}}) {
        for (const string &path : kPaths) {
            for (const bool first : {false, true}) {
                box.write("a", first ? broken : records);
                box.write("b", first ? records : broken);
                const Outcome o = run_small(path, options, {"a", "b"});
                EXPECT_EQ(o.status, 1) << path;
                EXPECT_TRUE(says(o, lacks_key(string("Input file [") + (first ? "a" : "b") + "]"))) << o.err;
            }
        }
        const Outcome o = run(options, broken, shrink_sizes);
        EXPECT_EQ(o.err, kStart + lacks_key("Standard input") + "☆ Standard input sort failed!\n" + kFailed);
        EXPECT_EQ(o.out, "");
    }
}

/// The first opening of a file finds "in" longer than it was measured.
void grow_at_first_open() {
    orkan::kx_fault_hook = [](kx_site site, kx_i64 /*bytes*/) {
        static bool done = false;
        if (site == kx_site::open && !done) {
            done = true;
            std::ofstream("in", std::ios::app) << "t\na\n";
        }
        return false;
    };
}

TEST_F(CompleteFiles, AnInputThatGrowsIsNotCut) {
    for (const Args &options : {Args{"-A"}, Args{"-C"}, Args{"-C", "-H", "-K1"}}) {
        for (const string &path : kPaths) {
            const bool header = options.size() > 1;
            box.write("in", header ? "c\ncu" : "cu");
            const Outcome o = run(along(path, options, {"in"}), "", grow_at_first_open);
            if (path == kInMemory) {
                EXPECT_EQ(o.status, 1);
                EXPECT_EQ(o.out, "");
                EXPECT_TRUE(says(o, header ? "☆ Error occurred while reading input file [in]!\n"
                                           : "☆入力ファイル[in]の読み込み中にエラーが発生しました！\n"))
                    << o.err;
            } else {
                EXPECT_EQ(lines_sorted(o.out), header ? "a\nc\ncut\n" : "a\ncut\n") << path;
            }
        }
    }
    box.write("in", "cu");
    const Outcome usual = box.run({.args = {"in"}, .before = [] {
                                       choose_mode(false);
                                       grow_at_first_open();
                                   }});
    EXPECT_EQ(usual.out, "cu\n") << "what was measured";
}

TEST_F(CompleteFiles, AFolderIsNoInputWhateverItsSize) {
    const string sizeless = "/proc/self/task";
    struct stat status {};
    ASSERT_EQ(stat(sizeless.c_str(), &status), 0);
    ASSERT_EQ(status.st_size, 0);
    box.write("a", "0123456789");
    for (const string &path : kPaths) {
        for (const char *format : {"-L10", "-A", "-C"}) {
            const Both both = run_both(box, along(path, {format, "-O", "out"}, {"a", sizeless}));
            for (const Outcome &o : {both.usual, both.complete}) {
                EXPECT_EQ(o.err,
                          kStart + "☆ Input file 2 [" + sizeless + "] is not a regular file!\n" + kArguments + kFailed);
                EXPECT_EQ(o.status, 1);
            }
            EXPECT_EQ(box.read("out"), "(no file)");
            EXPECT_EQ(run(along(path, {format}, {"a", "tmp"})).status, 1);
        }
    }
}

TEST_F(CompleteFiles, AHeaderLongerThanTheOutputsBufferIsWrittenOrTheMergeFails) {
    const string header = string(300, 'h') + "\n";
    box.write("a", header + "1\n3\n");
    box.write("b", header + "2\n");
    EXPECT_EQ(run_small("-M", {"-C", "-H"}, {"a", "b"}).out, header + "1\n2\n3\n");
    const Outcome o = run_small("-M", {"-C", "-H", "-O", "/dev/full"}, {"a", "b"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, kStart + "☆ Error occurred while writing output file [/dev/full]!\n" +
                         "☆ File merge sort failed!\n" + kFailed);
}

// --- error file ----------------------------------------------------------------------------------------------------

/// What holds no record, and its options.
const std::vector<std::pair<string, Args>> kNothing = {
    {"", {"-K0,3"}}, {"", {"-C", "-K1"}}, {"id\n", {"-C", "-H", "-K1"}}};

TEST_F(CompleteFiles, TheErrorFileIsMadeWithoutRecordsToo) {
    for (const auto &[content, options] : kNothing) {
        for (const string &path : kPaths) {
            Args with_errors = options;
            with_errors.insert(with_errors.end(), {"-E", "errors"});
            box.write("errors", "of another run");
            box.write("in", content);
            const Outcome o = run(along(path, with_errors, {"in"}));
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_EQ(o.out, content);
            EXPECT_EQ(box.read("errors"), "") << path;
            box.write("errors", "of another run");
            EXPECT_EQ(run(with_errors, content).status, 0);
            EXPECT_EQ(box.read("errors"), "");
        }
    }
    box.write("errors", "of another run");
    box.write("in", "");
    for (const string &path : kPaths) {
        EXPECT_EQ(run(along(path, {"-L4", "-E", "errors"}, {"in"})).status, 0);
        EXPECT_EQ(box.read("errors"), "of another run") << "fixed-length records are never too short";
    }
}

TEST_F(CompleteFiles, TheErrorFileIsNoInputWithoutRecordsEither) {
    for (const auto &[content, options] : kNothing) {
        const bool csv = options.front() == "-C";
        for (const string &path : kPaths) {
            box.write("in", content);
            box.write("out", "as before");
            Args args = options;
            args.insert(args.end(), {"-E", "in", "-O", "out"});
            const Outcome o = run(along(path, args, {"in"}));
            EXPECT_EQ(o.status, 1) << path;
            EXPECT_TRUE(says(o, csv ? "☆エラーファイル[in]は作成できません！\n" : "☆ Cannot create error file [in]!\n"))
                << o.err;
            EXPECT_EQ(box.read("in"), content);
            EXPECT_EQ(box.read("out"), "as before") << path;
        }
    }
}

TEST_F(CompleteFiles, TheErrorFileIsNotTheOutputFile) {
    for (const char *content : {"", "long enough\nshort\n"}) {
        for (const string &path : kPaths) {
            box.write("in", content);
            const Outcome o = run(along(path, {"-K0,8", "-E", "same", "-O", "./same"}, {"in"}));
            EXPECT_EQ(o.status, 1) << path;
            EXPECT_TRUE(says(o, "☆ Cannot create output file [./same]!")) << o.err;
        }
    }
}

} // namespace
