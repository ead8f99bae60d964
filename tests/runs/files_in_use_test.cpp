// files_in_use_test.cpp: files that change while they are read, or that are input and output at once; arguments that
// may not be written to.
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "orkan/orkan.h"
#include "support/complete_both.h"
#include "support/run.h"
#include "support/small_sizes.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

constexpr off_t kShortened = 500;

/// The first opening of a file finds in.dat shorter than it was measured.
void shorten_at_first_open() {
    orkan::kx_fault_hook = [](kx_site site, kx_i64 /*bytes*/) {
        static bool done = false;
        if (site == kx_site::open && !done) {
            done = true;
            if (truncate("in.dat", kShortened) != 0) {
                abort();
            }
        }
        return false;
    };
}

string lines(int count) {
    string text;
    for (int i = 0; i < count; ++i) {
        text += "line " + std::to_string(10000 + i * 7919 % 10007).substr(1) + "\n";
    }
    return text;
}

TEST(ShrinkingInput, IsAFailureInEveryPath) {
    const std::vector<std::vector<string>> rows = {
        {"-A", "in.dat"},
        {"-A", "-W1", "in.dat"},
        {"-C", "-K1", "-W1", "in.dat"},
        {"-L5", "-A", "-W1", "in.dat"},
        {"-M", "-A", "in.dat"},
        {"-M", "-C", "-K1", "in.dat"},
    };
    for (const auto &args : rows) {
        SCOPED_TRACE(args.front() + args[1]);
        const Box box;
        box.write("in.dat", lines(1000)); // a multiple of 5 bytes
        const Outcome o = box.run({.args = args, .before = shorten_at_first_open});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1) << o.err;
        EXPECT_EQ(box.files().find(".tmp"), string::npos) << box.files();
    }
}

/// Runs with a standard stream that is a file of the box.
std::function<void()> stream_is(int descriptor, const string &path, int flags) {
    return [=] {
        const int fd = open(path.c_str(), flags);
        if (fd < 0 || dup2(fd, descriptor) != descriptor) {
            abort();
        }
    };
}

TEST(ErrorFile, IsNotTheFileBehindStandardInput) {
    const Box box;
    const string data = "a\nlong enough\nb\n";
    box.write("in.dat", data);
    const Outcome o =
        box.run({.args = {"-K0,5", "-E", "in.dat", "-O", "out"}, .before = stream_is(0, box.path("in.dat"), O_RDONLY)});
    EXPECT_EQ(o.status, 0) << "the run goes on without an error file";
    EXPECT_NE(o.err.find("☆ Cannot create error file [in.dat]!\n"), string::npos);
    EXPECT_EQ(box.read("in.dat"), data);
    EXPECT_EQ(box.read("out"), "long enough\n");
}

TEST(ErrorFile, IsNotTheFileBehindStandardOutput) {
    const Box box;
    box.write("in.dat", "a\nlong enough\nb\n");
    box.write("out", "");
    const Outcome o =
        box.run({.args = {"-K0,5", "-E", "out", "in.dat"}, .before = stream_is(1, box.path("out"), O_WRONLY)});
    EXPECT_EQ(o.status, 0);
    EXPECT_NE(o.err.find("☆ Cannot create error file [out]!\n"), string::npos);
    EXPECT_EQ(box.read("out"), "long enough\n");
}

TEST(ErrorFile, IsNotTheOutputFile) {
    const Box box;
    box.write("in.dat", "a\nlong enough\n");
    const Outcome o = box.run({.args = {"-K0,5", "-E", "same", "-O", "./same", "in.dat"}});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("☆ Cannot create output file [./same]! Please check permissions.\n"), string::npos);
}

/// Such an input is not mapped, however large: opening the output empties it.
class OutputThatIsTheInput : public testing::TestWithParam<bool> {
  protected:
    OutputThatIsTheInput() {
        box.write("in.dat", text);
        if (link(box.path("in.dat").c_str(), box.path("hard").c_str()) != 0 ||
            symlink("in.dat", box.path("soft").c_str()) != 0) {
            abort();
        }
    }
    void expect_sorted(
        std::vector<string> args, const std::function<void()> &before = [] {}) {
        args.insert(args.begin(), {"-S", "-A"});
        const Outcome o = box.run({.args = args, .before = [&] {
                                       orkan::kx_small.mapping = GetParam() ? 1 : 0;
                                       before();
                                   }});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_TRUE(box.read("in.dat") == sorted);
        EXPECT_TRUE(box.read("hard") == sorted);
        box.write("in.dat", text);
    }

    const string text = "c\na\nb\n", sorted = "a\nb\nc\n";
    Box box;
};

TEST_P(OutputThatIsTheInput, IsReplacedByItsRecords) {
    for (const string name : {"in.dat", "./in.dat", "hard", "soft"}) {
        for (const string memory : {"-W64M", "-W1"}) {
            SCOPED_TRACE(name + memory);
            expect_sorted({memory, "-O", name, "in.dat"});
            expect_sorted({memory, "-O", "in.dat", name});
            expect_sorted({memory, name}, stream_is(1, box.path("in.dat"), O_WRONLY));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, OutputThatIsTheInput, testing::Bool(),
                         [](const auto &large) { return large.param ? "large" : "small"; });

TEST(Presorted, IsNotAppendedToOneOfItsInputs) {
    const Box box;
    box.write("in.dat", "a\nb\n");
    const Outcome o =
        box.run({.args = {"-M", "-A", "in.dat"}, .before = stream_is(1, box.path("in.dat"), O_WRONLY | O_APPEND)});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("☆ Error occurred while writing to standard output!\n"), string::npos);
    EXPECT_EQ(box.read("in.dat"), "a\nb\n");
}

TEST(InputFile, ThatHidesItsSizeIsRefused) {
    if (access("/proc/cpuinfo", R_OK) != 0) {
        GTEST_SKIP() << "no /proc here";
    }
    const Box box;
    const Outcome o = box.run({.args = {"-A", "/proc/cpuinfo"}});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("☆ Input file 1 [/proc/cpuinfo] is not a regular file!\n"), string::npos);
}

// The temporary path, which has the process's number in it.

/// In the process of a run: a file there, with that link to it.
void plant(const Box &box, const string &data, const string &link) {
    const string path = box.path("tmp/orkan_" + std::to_string(getpid()) + ".tmp");
    if (!data.empty()) {
        std::ofstream(path) << data;
    }
    if (symlink(path.c_str(), box.path(link).c_str()) != 0) {
        abort();
    }
}

TEST(TemporaryFile, IsNoneOfTheInputs) {
    const string data = numbered(0, 200, 1);
    for (const bool complete : {false, true}) {
        for (const bool named : {false, true}) {
            const Box box;
            const std::vector<string> by_name{"-A", "-O", "out", "-W1", "in"}, by_stream{"-A", "-O", "out"};
            const Outcome o = box.run({.args = named ? by_name : by_stream, .before = [&] {
                                           choose_mode(complete);
                                           shrink_sizes();
                                           plant(box, data, "in");
                                           if (!named) {
                                               stream_is(STDIN_FILENO, box.path("in"), O_RDONLY)();
                                           }
                                       }});
            EXPECT_EQ(o.status, 1);
            EXPECT_NE(o.err.find("☆ Failed to create temporary file ["), string::npos) << o.err;
            EXPECT_EQ(box.read("in"), data) << (named ? "named" : "standard input");
        }
    }
}

TEST(TemporaryFile, IsNotTheErrorFile) {
    for (const std::vector<string> &format : {std::vector<string>{"-K0,3"}, {"-C", "-K2"}}) {
        for (const string &there : {string(), string("leftover")}) {
            const Box box;
            box.write("in", "abcd\nx\ny\nefgh\n");
            std::vector<string> args = format;
            args.insert(args.end(), {"-W1", "-E", "errors", "-O", "out", "in"});
            const Outcome o = box.run({.args = args, .before = [&] {
                                           choose_mode(true);
                                           plant(box, there, "errors");
                                       }});
            EXPECT_EQ(o.status, 1) << "the records that are too short would go with the temporary file";
            EXPECT_EQ(box.files().find(".tmp"), string::npos) << box.files();
        }
    }
}

TEST(Arguments, ThatNeedNoTrimmingMayBeLiterals) {
    const Box box;
    box.write("in.dat", "b\na\n");
    const Outcome o = in_child([&box] {
        if (chdir(box.path("").c_str()) != 0) {
            return 2;
        }
        static const char *const words[] = {"orkan", "-A", "-W", "64M", "-K", "0,1", "-O", "out", "-T", ".", "in.dat"};
        return orkan_file(std::size(words), const_cast<char **>(words));
    });
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(box.read("out"), "a\nb\n");
}

} // namespace
