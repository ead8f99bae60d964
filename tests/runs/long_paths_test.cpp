// long_paths_test.cpp: output, error file and temporary folder at the ends of paths that are as long as the system
// allows, or longer.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/complete_both.h"
#include "support/texts.h"

namespace {

using namespace support;
using std::string;
using Args = std::vector<string>;

constexpr std::size_t kLongest = 4095;

/// That name in the working directory, by a path of so many bytes.
string path_of(std::size_t length, const string &name) {
    string path = (length - name.size()) % 2 == 0 ? "" : "/";
    while (path.size() + name.size() < length) {
        path.insert(0, "./");
    }
    return path + name;
}

const Args kPaths = {"-W64M", "-W1", "-M"};

class LongPaths : public testing::Test {
  protected:
    LongPaths() { box.write("in", "long enough\nshort\n"); } // sorted, too
    Both run(Args args) {
        args.emplace_back("in");
        return run_both(box, args);
    }
    Box box;
};

TEST_F(LongPaths, LeadToTheErrorFile) {
    for (const string &path : kPaths) {
        for (const Args &format : {Args{"-K0,10"}, Args{"-C", "-Dg", "-K2"}}) {
            SCOPED_TRACE(path + format.front());
            Args args = format;
            args.insert(args.end(), {path, "-E", path_of(kLongest, "errors")});
            const Both both = run(args);
            for (const Outcome *o : {&both.usual, &both.complete}) {
                EXPECT_EQ(o->status, 0) << o->err;
                EXPECT_EQ(o->out, "long enough\n");
                EXPECT_EQ(box.read("errors"), "short\n");
            }
        }
    }
}

/// By default lines are sorted without their error file, and with a message.
TEST_F(LongPaths, BeyondTheLimitLeadToNoErrorFile) {
    for (const string &path : kPaths) {
        SCOPED_TRACE(path);
        const string name = path_of(kLongest + 1, "errors");
        const Both lines = run({"-K0,10", path, "-E", name}), csv = run({"-C", "-Dg", "-K2", path, "-E", name});
        EXPECT_EQ(lines.usual.status, 0);
        EXPECT_EQ(lines.usual.out, "long enough\n");
        for (const Outcome *o : {&lines.usual, &lines.complete}) {
            EXPECT_TRUE(says(*o, "☆ Cannot create error file [" + name + "]!\n")) << o->err;
        }
        for (const Outcome *o : {&lines.complete, &csv.usual, &csv.complete}) {
            EXPECT_EQ(o->status, 1);
            EXPECT_EQ(o->out, "");
            EXPECT_TRUE(says(*o, name + "]") && says(*o, kFailed)) << o->err;
        }
        EXPECT_EQ(box.files(), "in tmp/");
    }
}

TEST_F(LongPaths, LeadToTheOutput) {
    for (const string &path : kPaths) {
        SCOPED_TRACE(path);
        const Both both = run({path, "-O", path_of(kLongest, "out")});
        EXPECT_EQ(both.usual.status + both.complete.status, 0) << both.usual.err << both.complete.err;
        EXPECT_EQ(box.read("out"), "long enough\nshort\n");
        const Both beyond = run({path, "-O", path_of(kLongest + 1, "none")});
        EXPECT_EQ(beyond.usual.status, 1);
        EXPECT_EQ(beyond.complete.status, 1);
        EXPECT_EQ(box.files(), "in out tmp/");
    }
}

/// The file's name goes behind it.
TEST_F(LongPaths, LeadToTheTemporaryFolder) {
    constexpr std::size_t kLongestName = sizeof "orkan_2147483647.tmp";
    box.make_folder("folder");
    for (const std::size_t length : {kLongest - 1 - kLongestName, kLongest - 1, kLongest}) {
        const string folder = path_of(length, "folder");
        const Both memory = run({"-T", folder}), split = run({"-T", folder, "-W1"});
        for (const Outcome *o : {&memory.usual, &memory.complete, &split.usual, &split.complete}) {
            SCOPED_TRACE(std::to_string(length) + o->err.substr(0, 200));
            const bool is_split = o == &split.usual || o == &split.complete;
            const bool fits = length < kLongest - 1 || (length < kLongest && !is_split);
            EXPECT_EQ(o->status, fits ? 0 : 1);
            EXPECT_EQ(o->out, fits ? "long enough\nshort\n" : "");
            EXPECT_TRUE(fits || says(*o, length < kLongest ? "☆ Failed to create temporary file [" + folder + "/"
                                                           : "☆ Temporary folder [" + folder + "/]"));
        }
        EXPECT_EQ(box.files(), "folder/ in tmp/");
    }
}

} // namespace
