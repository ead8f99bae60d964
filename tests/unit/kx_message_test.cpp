// kx_message_test.cpp: locale and time, messages, the assertion handler, size arithmetic.
#include <gtest/gtest.h>
#include <stdio_ext.h>

#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <optional>
#include <regex>
#include <string>

#include "kx_assert/kx_assert.h"
#include "kx_utils/kx_locale.h"
#include "kx_utils/kx_message.h"
#include "support/run.h"

namespace {

using namespace orkan;
using std::string;
using support::Ending;
using support::Outcome;

// kx_IsJapaneseLocale, kx_GetTimeInfo, the stopwatch

int japanese_with(const std::optional<string> &lang) {
    return support::in_child(kx_IsJapaneseLocale, {.lang = lang}).status;
}

TEST(Locale, JapaneseWhenLangBeginsWithJa) {
    for (const char *lang : {"ja", "ja_JP.UTF-8", "ja_JP.eucJP", "japanese", "ja\n"}) {
        EXPECT_EQ(japanese_with(lang), 1) << lang;
    }
    for (const char *lang : {"", "j", "C", "JA", "Ja_JP", " ja", "en_US.UTF-8", "aj"}) {
        EXPECT_EQ(japanese_with(lang), 0) << lang;
    }
    EXPECT_EQ(japanese_with(std::nullopt), 0);
}

TEST(TimeInfo, IsTheLocalTimeWithABlankBehind) {
    const std::time_t before = std::time(nullptr);
    const string text = kx_GetTimeInfo();
    const std::time_t after = std::time(nullptr);
    ASSERT_TRUE(std::regex_match(text, std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d "))) << text;
    std::tm read{};
    ASSERT_NE(strptime(text.c_str(), "%Y-%m-%d %H:%M:%S ", &read), nullptr);
    read.tm_isdst = -1;
    const std::time_t shown = std::mktime(&read);
    EXPECT_LE(before, shown);
    EXPECT_LE(shown, after);
}

TEST(TimeInfo, EveryCallUsesTheSameBuffer) { EXPECT_EQ(kx_GetTimeInfo(), kx_GetTimeInfo()); }

TEST(Clock, CountsProcessorTimeInMillionths) {
    EXPECT_EQ(elapsed_ms(1000, 4000), 3.0);
    EXPECT_EQ(elapsed_ms(0, 1500), 1.5);
    const kx_i64 first = kx_clock();
    kx_i64 last = first;
    while (last == first) {
        last = kx_clock();
    }
    EXPECT_GT(last, first);
}

// kx_panic, KX_ASSERT

TEST(Panic, ReportsAndEndsTheProcess) {
    const Outcome o =
        support::in_child([]() -> int { kx_panic("dir/file.cpp", 4294967299, "some_function", "a < b"); });
    EXPECT_EQ(o.ending, Ending::exited);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "dir/file.cpp:4294967299: some_function: Assertion `a < b' failed.");
    EXPECT_EQ(o.out, "");
}

#ifndef NDEBUG
TEST(Assert, PassesAndPanics) {
    KX_ASSERT(1 + 1 == 2);
    const Outcome o = support::in_child([] {
        KX_ASSERT(1 + 1 == 3);
        return 0;
    });
    EXPECT_EQ(o.ending, Ending::exited);
    EXPECT_EQ(o.status, 1);
    const std::regex report(".*kx_message_test\\.cpp:[0-9]+: .*: Assertion `1 \\+ 1 == 3' failed\\.");
    EXPECT_TRUE(std::regex_match(o.err, report)) << o.err;
}
#endif

// kx_message

constexpr kx_message<kx_i64, const char *> kPair{"%ld of [%s]\n", "[%ld] の%s\n"};
constexpr kx_message<> kPlain{"plain\n"};

Outcome saying(const std::function<void()> &body, const char *lang = "C") {
    return support::in_child(
        [&] {
            body();
            return 0;
        },
        {.lang = lang});
}

TEST(Message, TakesTheWordingOfTheLocale) {
    EXPECT_EQ(saying([] { kx_say(kPair, 7, "x"); }).err, "7 of [x]\n");
    EXPECT_EQ(saying([] { kx_say(kPair, 7, "x"); }, support::kJapanese).err, "[7] のx\n");
    EXPECT_EQ(saying([] { kx_say(kPair.japanese_only(), 7, "x"); }).err, "[7] のx\n");
    EXPECT_EQ(saying([] { kx_say(kPlain); }, support::kJapanese).err, "plain\n");
}

TEST(Message, PrintsNullAsAWord) {
    EXPECT_EQ(saying([] { kx_say(kPair, 1, nullptr); }).err, "1 of [(null)]\n");
}

TEST(Message, FailingGivesStatusOne) {
    const Outcome o = support::in_child([] { return kx_fail(kPair, 1, "a"); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "1 of [a]\n");
}

TEST(Message, TracesInAVerboseRunOnly) {
    EXPECT_EQ(saying([] { kx_trace(kPlain); }).err, "");
    EXPECT_EQ(saying([] {
                  VERBOSE = 1;
                  kx_trace(kPlain);
              }).err,
              "plain\n");
}

TEST(Message, GoesToAnyStream) {
    const Outcome o = saying([] { kx_print(stdout, kPair, 3, "out"); });
    EXPECT_EQ(o.out, "3 of [out]\n");
    EXPECT_EQ(o.err, "");
}

/// Whether a fully buffered standard error still holds the message.
string flushed(const std::function<void()> &body) {
    const Outcome o = support::in_child([&] {
        static char buffer[4096];
        setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
        body();
        return static_cast<int>(__fpending(stderr));
    });
    EXPECT_EQ(o.err, "plain\n");
    return o.status == 0 ? "flushed" : "held";
}

TEST(Message, IsFlushedUnlessTheVerbSaysOtherwise) {
    EXPECT_EQ(flushed([] { kx_say(kPlain); }), "flushed");
    EXPECT_EQ(flushed([] { kx_fail(kPlain); }), "flushed");
    EXPECT_EQ(flushed([] {
                  VERBOSE = 1;
                  kx_trace(kPlain);
              }),
              "flushed");
    EXPECT_EQ(flushed([] { kx_say_unflushed(kPlain); }), "held");
    EXPECT_EQ(flushed([] { kx_print(stderr, kPlain); }), "held");
}

// Size arithmetic

TEST(Sizes, KibibytesRoundUpAndNothingIsOne) {
    EXPECT_EQ(kib_round_up(0), 1);
    EXPECT_EQ(kib_round_up(1), 1);
    EXPECT_EQ(kib_round_up(1024), 1);
    EXPECT_EQ(kib_round_up(1025), 2);
    EXPECT_EQ(kib_round_up(67108864), 65536);
}

TEST(Sizes, SaturateInsteadOfOverflowing) {
    const kx_i64 most = std::numeric_limits<kx_i64>::max();
    EXPECT_EQ(add_saturating(1, 2), 3);
    EXPECT_EQ(add_saturating(most, 0), most);
    EXPECT_EQ(add_saturating(most, 1), most);
    EXPECT_EQ(multiply_saturating(3, 4), 12);
    EXPECT_EQ(multiply_saturating(most, 0), 0);
    EXPECT_EQ(multiply_saturating(0, most), 0);
    EXPECT_EQ(multiply_saturating(most, 2), most);
}

} // namespace
