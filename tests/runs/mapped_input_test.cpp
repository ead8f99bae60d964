// mapped_input_test.cpp: a single large input is sorted where it is, without a copy; nobody can tell by the result.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/args.h"
#include "support/complete_both.h"
#include "support/run.h"
#include "support/small_sizes.h"
#include "support/texts.h"

namespace {

using namespace support;
using orkan::kx_i64;
using orkan::kx_site;
using std::string;

void map_everything() { orkan::kx_small = {.budget = 0, .pool = 0, .buffer = 0, .mapping = 1}; }
void map_in_mode(bool complete) {
    choose_mode(complete);
    map_everything();
}

string lines(int count) {
    string text;
    for (int i = 0; i < count; ++i) {
        text += "line," + std::to_string(10000 + i * 7919 % 1007).substr(1) + "\n";
    }
    return text;
}

const std::vector<Args> kKinds = {{"-L10", "-K5,4"}, {"-A"}, {"-K5,4n"}, {"-C", "-K2"}, {"-C", "-K2n", "-D,"}};
const std::vector<Args> kWishes = {{}, {"-S"}, {"-U"}};

// The same result

void expect_the_same(const string &input, const Args &args) {
    const Box box;
    box.write("in", input);
    for (const bool complete : {false, true}) {
        SCOPED_TRACE(complete ? "complete" : "default");
        const Outcome loaded = box.run({.args = with(args, {"in"}), .before = [=] { choose_mode(complete); }});
        const Outcome mapped = box.run({.args = with(args, {"in"}), .before = [=] { map_in_mode(complete); }});
        EXPECT_EQ(mapped.out, loaded.out);
        EXPECT_EQ(mapped.err, loaded.err);
        EXPECT_EQ(mapped.status, loaded.status);
        EXPECT_EQ(box.read("in"), input);
    }
}

TEST(MappedInput, GivesTheSameAsALoadedOneInEveryFormat) {
    for (const Args &kind : kKinds) {
        for (const Args &wish : kWishes) {
            SCOPED_TRACE(kind.back() + (wish.empty() ? "" : wish.front()));
            expect_the_same(lines(1000), with(kind, wish));
        }
    }
}

TEST(MappedInput, MayLackItsLastNewlineCodeEvenAtTheEndOfAPage) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (const std::size_t size : {page - 1, page, page + 1, 2 * page}) {
        SCOPED_TRACE(size);
        expect_the_same(lines(1000).substr(0, size), {"-A"});
        expect_the_same(lines(1000).substr(0, size), {"-A", "-P\\r\\n"});
        expect_the_same(lines(1000).substr(0, size), {"-C", "-K2"});
    }
}

TEST(MappedInput, HasItsHeaderLineTakenOff) {
    expect_the_same("text,number\n" + lines(1000), {"-C", "-H", "-K2"});
    expect_the_same("\"text\nand more\",number\n" + lines(1000), {"-C", "-H", "-K2", "-U"});
    expect_the_same("only the header line\n", {"-C", "-H", "-K1"});
    expect_the_same("no header line", {"-C", "-H", "-K1"});
}

TEST(MappedInput, OfAnInvalidSizeIsTheSameError) { expect_the_same(lines(1000) + "12345", {"-L10", "-K5,4"}); }

// A file that becomes shorter meanwhile

constexpr int kShortened = 5000; // bytes; in the middle of a page
int shorten_at, calls, opened;

/// Shortens the input at the chosen call of the system, from its opening on; "early" tells that no output is open yet.
void shorten_at_call() {
    map_everything();
    orkan::kx_fault_hook = [](kx_site site, kx_i64 /*bytes*/) {
        opened += site == kx_site::open ? 1 : 0;
        calls += opened > 0 ? 1 : 0;
        if (calls == shorten_at && truncate("in", kShortened) != 0) {
            abort();
        }
        if (calls == shorten_at && opened < 2 && mkdir("early", 0700) != 0) {
            abort();
        }
        return false;
    };
}

void expect_failure_wherever_it_shrinks(const Args &args, const string &sorted) {
    bool shortened = true;
    int failures = 0, early = 0;
    for (shorten_at = 1; shortened; ++shorten_at) {
        SCOPED_TRACE("call " + std::to_string(shorten_at));
        const Box box;
        box.write("in", lines(1000));
        box.write("out", "old");
        const Outcome o = box.run({.args = with(args, {"-O", "out", "in"}), .before = shorten_at_call});
        shortened = box.read("in").size() == kShortened;
        ASSERT_EQ(o.ending, Ending::returned);
        if (o.status == 0) {
            EXPECT_EQ(box.read("out"), sorted) << "only a whole result is a success";
        } else {
            EXPECT_TRUE(shortened);
            EXPECT_NE(o.err.find(kFailed), string::npos) << o.err;
            ++failures;
        }
        if (box.files().find("early/") != string::npos) {
            EXPECT_EQ(box.read("out"), "old") << "noticed before the output is touched";
            EXPECT_EQ(o.status, 1);
            ++early;
        }
    }
    EXPECT_GT(early, 3);
    EXPECT_GT(failures, early) << "also while the output is written";
}

TEST(MappedInput, ThatShrinksIsAFailureAtEveryCallThatComesAfter) {
    for (const Args &kind : kKinds) {
        for (const Args &wish : kWishes) {
            SCOPED_TRACE(kind.front() + (wish.empty() ? "" : wish.front()));
            const Args args = with(kind, wish);
            const Box box;
            box.write("in", lines(1000));
            expect_failure_wherever_it_shrinks(args, box.run({.args = with(args, {"in"})}).out);
        }
    }
}

TEST(MappedInput, ThatShrinksIsToldOfAsWhereItIsLoaded) {
    shorten_at = 8; // it is mapped by then
    for (const Args &args : {Args{"-A"}, Args{"-C", "-K2"}}) {
        const Box box;
        box.write("in", lines(1000));
        const Outcome o = box.run({.args = with(args, {"in"}), .before = shorten_at_call});
        EXPECT_EQ(o.err, kStart + "☆入力ファイル[in]の読み込み中にエラーが発生しました！\n" + kFailed);
    }
    const Box box;
    box.write("in", lines(1000));
    const Outcome o = box.run({.args = {"-C", "-K2", "-H", "in"}, .before = shorten_at_call});
    EXPECT_EQ(o.err, kStart + "☆ Error occurred while reading input file [in]!\n" + kFailed);
}

// Sorted input goes to the output from where it is: there it is the system that meets the missing pages.
TEST(MappedInput, ThatShrinksWhileItIsWrittenIsToldOf) {
    const Box box;
    const string sorted = numbered(0, 200000, 1); // more than the output's buffer
    box.write("in", sorted);
    const Outcome o = box.run({.args = {"-A", "-O", "out", "in"}, .before = [] {
                                   map_everything();
                                   orkan::kx_fault_hook = [](kx_site site, kx_i64 /*bytes*/) {
                                       static bool done;
                                       if (site == kx_site::write && !done) {
                                           done = true;
                                           if (truncate("in", 5000) != 0) {
                                               abort();
                                           }
                                       }
                                       return false;
                                   };
                               }});
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("☆入力ファイル[in]の読み込み中にエラーが発生しました！\n"), string::npos) << o.err;
}

// A file that is written to

/// When the output is opened, `text` replaces the input's bytes from there on.
string written;
off_t written_at;
bool write_when_output_opens(kx_site site, kx_i64 /*bytes*/) {
    opened += site == kx_site::open ? 1 : 0;
    if (site == kx_site::open && opened == 2) {
        const int fd = open("in", O_WRONLY | O_CLOEXEC);
        if (fd < 0 || pwrite(fd, written.data(), written.size(), written_at) != static_cast<ssize_t>(written.size()) ||
            close(fd) != 0) {
            abort();
        }
    }
    return false;
}

int status_when_written(bool complete, const string &text, off_t at) {
    written = text;
    written_at = at;
    const Box box;
    box.write("in", lines(1000));
    const timespec long_ago[] = {{1, 0}, {1, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, box.path("in").c_str(), long_ago, 0), 0);
    return box
        .run({.args = {"-A", "-O", "out", "in"},
              .before =
                  [&] {
                      map_in_mode(complete);
                      orkan::kx_fault_hook = write_when_output_opens;
                  }})
        .status;
}

TEST(MappedInput, ThatIsWrittenToIsAFailure) {
    EXPECT_EQ(status_when_written(false, "torn", 5000), 1);
    EXPECT_EQ(status_when_written(true, "torn", 5000), 1);
}

TEST(MappedInput, ThatGrowsIsAFailureInCompleteModeOnly) {
    EXPECT_EQ(status_when_written(false, "more\n", 10000), 0);
    EXPECT_EQ(status_when_written(true, "more\n", 10000), 1);
}

} // namespace
