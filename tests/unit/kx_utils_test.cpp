// kx_utils_test.cpp: the text helpers.
#include <array>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_text.h"
#include "support/exact.h"
#include "support/model.h"
#include "support/run.h"

namespace {

using namespace orkan;
using std::string;
using support::Exact;
using support::Outcome;

Bytes bytes_of(const string &text) { return {text.data(), to_i64(text.size())}; }

/// A string given to the caller, taken over; "(null)" for null.
string taken(char *text) {
    string copy = text == nullptr ? "(null)" : text;
    std::free(text);
    return copy;
}

// kx_trim_spaces

string trimmed(string text) {
    kx_trim_spaces(text.data());
    text.resize(std::strlen(text.data()));
    return text;
}

TEST(Trim, TakesWhiteSpaceOffBothEndsOnly) {
    EXPECT_EQ(trimmed("plain"), "plain");
    EXPECT_EQ(trimmed("  two words "), "two words");
    EXPECT_EQ(trimmed("\t\n\v\f\r x y \t\n\v\f\r"), "x y");
    EXPECT_EQ(trimmed(" a"), "a");
    EXPECT_EQ(trimmed("a "), "a");
    EXPECT_EQ(trimmed(""), "");
}

TEST(Trim, AllBlanksBecomeEmpty) {
    EXPECT_EQ(trimmed(" "), "");
    EXPECT_EQ(trimmed(" \t\n\v\f\r "), "");
}

TEST(Trim, LeavesOtherControlAndHighBytes) {
    EXPECT_EQ(trimmed("\x08 x \x0e"), "\x08 x \x0e");
    EXPECT_EQ(trimmed("\xa0x\x85"), "\xa0x\x85");
}

TEST(Trim, MovesTheTextInPlaceAndTakesNull) {
    string text = "  abc  ";
    kx_trim_spaces(text.data());
    EXPECT_EQ(text.substr(0, 4), string("abc\0", 4));
    kx_trim_spaces(nullptr);
}

// kx_strSplit

TEST(Split, CutsAtTheFirstSeparator) {
    char *pair[2] = {nullptr, nullptr};
    ASSERT_EQ(kx_strSplit(pair, "10,20,30", ","), 0);
    EXPECT_EQ(taken(pair[0]), "10");
    EXPECT_EQ(taken(pair[1]), "20,30");
}

TEST(Split, EitherPartMayBeEmpty) {
    char *pair[2] = {nullptr, nullptr};
    ASSERT_EQ(kx_strSplit(pair, ",x", ","), 0);
    EXPECT_EQ(taken(pair[0]), "");
    EXPECT_EQ(taken(pair[1]), "x");
    ASSERT_EQ(kx_strSplit(pair, "x,", ","), 0);
    EXPECT_EQ(taken(pair[0]), "x");
    EXPECT_EQ(taken(pair[1]), "");
}

TEST(Split, TakesSeparatorsOfSeveralBytes) {
    char *pair[2] = {nullptr, nullptr};
    ASSERT_EQ(kx_strSplit(pair, "a=b=>c", "=>"), 0);
    EXPECT_EQ(taken(pair[0]), "a=b");
    EXPECT_EQ(taken(pair[1]), "c");
}

TEST(Split, WithoutSeparatorLeavesThePairAlone) {
    char mark = 'm';
    char *pair[2] = {&mark, &mark};
    EXPECT_EQ(kx_strSplit(pair, "abc", ","), 1);
    EXPECT_EQ(kx_strSplit(pair, "", ","), 1);
    EXPECT_EQ(pair[0], &mark);
    EXPECT_EQ(pair[1], &mark);
}

// kx_getFileName, kx_getDir

TEST(Path, FileNameIsAPointerBehindTheLastSeparator) {
    const char *path = "/a/b/c.dat";
    EXPECT_EQ(kx_getFileName(path, '/'), path + 5);
    const char *bare = "c.dat";
    EXPECT_EQ(kx_getFileName(bare, '/'), bare);
    EXPECT_STREQ(kx_getFileName("dir/", '/'), "");
    EXPECT_STREQ(kx_getFileName("a/b:c", ':'), "c");
    EXPECT_STREQ(kx_getFileName("", '/'), "");
    EXPECT_EQ(kx_getFileName(nullptr, '/'), nullptr);
}

TEST(Path, DirKeepsItsSeparator) {
    EXPECT_EQ(taken(kx_getDir("/a/b/c.dat", '/')), "/a/b/");
    EXPECT_EQ(taken(kx_getDir("/c.dat", '/')), "/");
    EXPECT_EQ(taken(kx_getDir("a/", '/')), "a/");
    EXPECT_EQ(taken(kx_getDir("a/b:c", ':')), "a/b:");
    EXPECT_EQ(kx_getDir("c.dat", '/'), nullptr);
    EXPECT_EQ(kx_getDir("", '/'), nullptr);
    EXPECT_EQ(kx_getDir(nullptr, '/'), nullptr);
}

TEST(Path, CopiesAreNewAndNullStaysNull) {
    const char *text = "text";
    char *copy = kx_copy_text(text);
    EXPECT_NE(copy, text);
    EXPECT_EQ(taken(copy), "text");
    EXPECT_EQ(kx_copy_text(nullptr), nullptr);
}

TEST(Path, RefusedMemoryGivesNull) {
    const Outcome o = support::in_child([] {
        support::refuse_allocations_from(0);
        char *pair[2] = {nullptr, nullptr};
        const bool split_found = kx_strSplit(pair, "a,b", ",") == 0 && pair[0] == nullptr && pair[1] == nullptr;
        return kx_copy_text("x") == nullptr && kx_getDir("a/b", '/') == nullptr && split_found ? 42 : 1;
    });
    EXPECT_EQ(o.status, 42);
}

// kx_findstr, kx_findstr_csv

/// The position found, or -1.
kx_i64 find(const string &text, const string &pattern) {
    const Exact buffer(text);
    const char *at = kx_findstr(buffer.data.get(), buffer.size, bytes_of(pattern));
    return at == nullptr ? -1 : at - buffer.data.get();
}

kx_i64 find_csv(const string &text, const string &pattern, kx_i64 from = 0) {
    const Exact buffer(text);
    const char *at = kx_findstr_csv(buffer.data.get() + from, buffer.size - from, bytes_of(pattern), '"');
    return at == nullptr ? -1 : at - buffer.data.get();
}

TEST(Find, GivesTheFirstPlace) {
    EXPECT_EQ(find("a,b,c", ","), 1);
    EXPECT_EQ(find("aab", "ab"), 1);
    EXPECT_EQ(find("\r\r\n", "\r\n"), 1);
    EXPECT_EQ(find("abc", "abc"), 0);
    EXPECT_EQ(find(string("x\0y\n", 4), "\n"), 3);
    EXPECT_EQ(find("abcab", "b"), 1);
}

TEST(Find, AMatchMayEndAtTheLastByteButNotBehindIt) {
    EXPECT_EQ(find("xyab", "ab"), 2);
    EXPECT_EQ(kx_findstr("xyab", 3, bytes_of("ab")), nullptr);
}

TEST(Find, NothingInNothing) {
    EXPECT_EQ(find("ab", "abc"), -1);
    EXPECT_EQ(find("ab", "c"), -1);
    EXPECT_EQ(kx_findstr(nullptr, 5, bytes_of("a")), nullptr);
    EXPECT_EQ(kx_findstr("abc", 0, bytes_of("a")), nullptr);
    EXPECT_EQ(kx_findstr("abc", -1, bytes_of("a")), nullptr);
    EXPECT_EQ(kx_findstr("abc", 3, bytes_of("")), nullptr);
    EXPECT_EQ(kx_findstr("abc", 3, Bytes{}), nullptr);
}

TEST(FindCsv, SkipsWhatStandsInQuotes) {
    const string record = "1,\"two, three\",4\n";
    EXPECT_EQ(find_csv(record, ","), 1);
    EXPECT_EQ(find_csv(record, ",", 2), 14);
    EXPECT_EQ(find_csv("\"a\nb\"\n", "\n"), 5);
    EXPECT_EQ(find_csv("\"a,b", ","), -1);
}

TEST(FindCsv, DoubledQuotesLeaveTheParityAsItWas) {
    EXPECT_EQ(find_csv("\"a\"\",\",b", ","), 6);
    EXPECT_EQ(find_csv("\"\",x", ","), 2);
}

TEST(FindCsv, TheByteAtTheCandidatePlaceCounts) {
    EXPECT_EQ(find_csv("a\"\"b", "\""), 2); // at 1 one quote was met, at 2 two
    EXPECT_EQ(find_csv("\"ab", "\""), -1);
}

TEST(FindCsv, NothingInNothing) {
    EXPECT_EQ(find_csv("ab", "abc"), -1);
    EXPECT_EQ(find_csv("xab", "ab"), 1);
    EXPECT_EQ(kx_findstr_csv("xab", 2, bytes_of("ab"), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(nullptr, 5, bytes_of("a"), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv("abc", 0, bytes_of("a"), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv("abc", -7, bytes_of("a"), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv("abc", 3, Bytes{}, '"'), nullptr);
}

/// Both searches again, position by position.
kx_i64 model_find(const string &text, const string &pattern, bool quotes) {
    std::size_t met = 0;
    for (std::size_t p = 0; p + pattern.size() <= text.size(); ++p) {
        met += text[p] == '"' ? 1U : 0U;
        if ((!quotes || met % 2 == 0) && text.substr(p, pattern.size()) == pattern) {
            return to_i64(p);
        }
    }
    return -1;
}

TEST(Find, AgreesWithAPositionByPositionSearch) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        string text(1 + random() % 24, ' ');
        string pattern(1 + random() % 3, ' ');
        for (char &c : text) {
            c = "\"\",\r\nab"[random() % 7];
        }
        for (char &c : pattern) {
            c = "\",\r\na"[random() % 5];
        }
        ASSERT_EQ(find(text, pattern), model_find(text, pattern, false)) << text << " in search of " << pattern;
        ASSERT_EQ(find_csv(text, pattern), model_find(text, pattern, true)) << text << " in search of " << pattern;
    }
}

// kx_judgeQuote_front, kx_judgeQuote_back

TEST(JudgeQuote, CountsForwardsUpToTheLimit) {
    const Exact text("\"\"\"a");
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), 4, '"'), 3);
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), 2, '"'), 2);
    EXPECT_EQ(kx_judgeQuote_front(text.data.get() + 3, 1, '"'), 0);
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), 3, '\''), 0);
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), 0, '"'), 0);
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), -3, '"'), 0);
}

TEST(JudgeQuote, CountsBackwardsUpToTheLimit) {
    const Exact text("a\"\"\"");
    const char *last = text.data.get() + 3;
    EXPECT_EQ(kx_judgeQuote_back(last, 4, '"'), 3);
    EXPECT_EQ(kx_judgeQuote_back(last, 2, '"'), 2);
    EXPECT_EQ(kx_judgeQuote_back(text.data.get(), 1, '"'), 0);
    EXPECT_EQ(kx_judgeQuote_back(last, 0, '"'), 0);
    EXPECT_EQ(kx_judgeQuote_back(last, -1, '"'), 0);
}

TEST(JudgeQuote, StopsAtTheLimitOfItsMemory) {
    const Exact text("\"\"\"");
    EXPECT_EQ(kx_judgeQuote_front(text.data.get(), 3, '"'), 3);
    EXPECT_EQ(kx_judgeQuote_back(text.data.get() + 2, 3, '"'), 3);
}

} // namespace
