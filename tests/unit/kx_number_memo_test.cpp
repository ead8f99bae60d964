// kx_number_memo_test.cpp: where white space ends and what long numbers are, by what was found out before.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kx_utils/kx_number.h"
#include "kx_utils/kx_number_memo.h"
#include "support/exact.h"
#include "support/model.h"

namespace {

using namespace orkan;
using std::string;
using support::Exact;

/// Too large for a test's stack.
kx_number_memo &fresh() {
    static kx_number_memo known;
    known.forget_all();
    return known;
}

/// Stretches of white space of up to `longest` bytes, and a few bytes of a number between them.
string stretches(std::mt19937 &random, std::size_t size, std::size_t longest) {
    static const string spaces = " \t\n\v\f\r";
    string text;
    while (text.size() < size) {
        for (std::size_t n = random() % (longest + 1); n > 0; --n) {
            text += spaces[random() % spaces.size()];
        }
        text += std::to_string(static_cast<int>(random() % 2000) - 1000);
    }
    return text.substr(0, size);
}

TEST(WhiteSpace, EndsWhereTheFirstOtherByteIs) {
    const string text = "  \t\n\v\f\r x ";
    const char *begin = text.data(), *end = begin + text.size();
    kx_number_memo &known = fresh();
    EXPECT_EQ(known.behind_white_space(begin, end), begin + 8);
    EXPECT_EQ(known.behind_white_space(begin + 8, end), begin + 8);
    EXPECT_EQ(known.behind_white_space(begin + 9, end), end);
    EXPECT_EQ(known.behind_white_space(end, end), end);
    EXPECT_EQ(known.behind_white_space(begin, begin + 3), begin + 3) << "nothing is read behind the end";
}

TEST(WhiteSpace, IsTheSameFromAnyPlaceInAnyOrder) {
    std::mt19937 random(5);
    for (std::size_t round = 0; round < 300; ++round) {
        const Exact data(stretches(random, 1 + random() % 3000, 1 + random() % 600));
        const char *begin = data.data.get(), *end = begin + data.size;
        kx_number_memo &known = fresh();
        for (kx_i64 step = 0; step < 2 * data.size; ++step) {
            const auto any = static_cast<kx_i64>(random() % to_size(data.size + 1));
            const kx_i64 places[] = {any, std::min(step, data.size), std::max<kx_i64>(data.size - step, 0)};
            const char *place = begin + places[round % 3];
            ASSERT_EQ(known.behind_white_space(place, end), kx_behind_white_space(place, end)) << "round " << round;
        }
    }
}

// More than all places together stand for.
TEST(WhiteSpace, IsTheSameInLargeData) {
    constexpr std::size_t kStretch = std::size_t{19} << 20;
    string text;
    for (int n = 0; n < 4; ++n) {
        text += string(kStretch - 1, ' ') + "1";
    }
    const char *begin = text.data(), *end = begin + text.size();
    kx_number_memo &known = fresh();
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t at = random() % text.size();
        ASSERT_EQ(known.behind_white_space(begin + at, end), begin + (at / kStretch + 1) * kStretch - 1) << at;
    }
}

/// What was looked at once is not looked at again: bytes changed behind its back do not matter.
class Remembered : public testing::Test {
  protected:
    const char *begin() const { return text_.data(); }
    const char *end() const { return begin() + text_.size(); }
    kx_i64 behind(std::size_t at) { return known_.behind_white_space(begin() + at, end()) - begin(); }

    /// 2,000 bytes of white space, then a digit, three times.
    string text_ = string(2000, ' ') + "1" + string(2000, '\n') + "2" + string(2000, '\t') + "3";
    kx_number_memo &known_ = fresh();
};

TEST_F(Remembered, AStretchIsFromAnyPlaceInIt) {
    ASSERT_EQ(behind(0), 2000);
    text_[1000] = 'x';
    EXPECT_EQ(behind(999), 2000);
    EXPECT_EQ(behind(0), 2000);
}

TEST_F(Remembered, AStretchGrowsToTheFront) {
    ASSERT_EQ(behind(1500), 2000);
    text_[1900] = 'x';
    EXPECT_EQ(behind(20), 2000);
    text_[1200] = 'x';
    EXPECT_EQ(behind(30), 2000);
}

TEST_F(Remembered, AreAllStretches) {
    for (const std::size_t at : {0U, 4002U, 2001U}) {
        ASSERT_EQ(behind(at), to_i64(at) + 2000);
        text_[at + 1000] = 'x';
    }
    for (const std::size_t at : {2001U, 0U, 4002U}) {
        EXPECT_EQ(behind(at + 10), to_i64(at) + 2000);
    }
}

// Each longer than all blocks that have a place of their own.
TEST(RememberedWhole, AreTheLongestStretches) {
    string a(std::size_t{40} << 20, ' '), b(std::size_t{40} << 20, ' ');
    kx_number_memo &known = fresh();
    const auto ends = [&known](const string &text, std::size_t at) {
        return known.behind_white_space(text.data() + at, text.data() + text.size()) == text.data() + text.size();
    };
    ASSERT_TRUE(ends(a, 100) && ends(b, 0) && ends(a, 0));
    a[std::size_t{20} << 20] = b[std::size_t{20} << 20] = 'x';
    EXPECT_TRUE(ends(a, 10) && ends(b, 10));
    known.forget({a.data(), to_i64(a.size())});
    EXPECT_FALSE(ends(a, 10));
}

TEST_F(Remembered, NothingIsWithAnotherEnd) {
    ASSERT_EQ(behind(4002), 6002);
    EXPECT_EQ(known_.behind_white_space(begin() + 4002, begin() + 6000), begin() + 6000);
    text_[5000] = 'x';
    EXPECT_EQ(behind(4002), 5000);
}

TEST_F(Remembered, UntilTheBytesAreForgotten) {
    ASSERT_EQ(behind(0), 2000);
    ASSERT_EQ(behind(4002), 6002);
    text_[1] = text_[1999] = text_[5000] = 'x';
    known_.forget({begin(), 2000});
    EXPECT_EQ(behind(0), 1);
    EXPECT_EQ(behind(1998), 1999);
    EXPECT_EQ(behind(4990), 6002) << "other bytes";
    known_.forget_all();
    EXPECT_EQ(behind(4990), 5000);
}

class LongNumber : public testing::Test {
  protected:
    kx_i64 value(kx_i64 limit) { return memo_.value(text_.data(), limit, text_.data() + text_.size()); }

    string text_ = string(200, '0') + "7" + string(100, '0');
    kx_number_memo &memo_ = fresh();
};

TEST_F(LongNumber, IsRememberedWithItsLimit) {
    ASSERT_EQ(value(201), 7);
    text_[100] = '1';
    EXPECT_EQ(value(201), 7) << "not looked at again";
    EXPECT_EQ(value(101), 1);
    EXPECT_EQ(value(40), 0);
    text_[10] = '5';
    EXPECT_EQ(value(11), 5) << "short ones are not remembered";
}

TEST_F(LongNumber, IsForgottenWithAnyOfItsBytes) {
    ASSERT_EQ(value(201), 7);
    text_[200] = '8';
    memo_.forget({text_.data() + 201, 100});
    EXPECT_EQ(value(201), 7) << "other bytes";
    memo_.forget({text_.data() + 200, 1});
    EXPECT_EQ(value(201), 8);
    text_[200] = '9';
    memo_.forget_all();
    EXPECT_EQ(value(201), 9);
}

TEST_F(LongNumber, IsAnotherWithAnotherEnd) {
    ASSERT_EQ(value(300), atol2(text_.c_str(), 300));
    EXPECT_EQ(memo_.value(text_.data(), 300, text_.data() + 201), 7);
}

TEST_F(LongNumber, IsKeptWhileItIsUsed) {
    const string others(10000, '1');
    for (std::size_t at = 0; at < 1000; ++at) {
        ASSERT_EQ(value(201), 7);
        text_[195] = '1';
        memo_.value(others.data() + at, 100, others.data() + others.size());
    }
    for (std::size_t at = 0; at < 100; ++at) {
        memo_.value(others.data() + at, 100, others.data() + others.size());
    }
    EXPECT_NE(value(201), 7) << "others have been used since";
}

TEST(LongNumbers, HaveTheirValues) {
    std::mt19937 random(8);
    kx_number_memo &memo = fresh();
    const string text = stretches(random, 3000, 3) + string(500, '1') + stretches(random, 500, 200) + string(300, '9');
    for (std::size_t step = 0; step < 20000; ++step) {
        const std::size_t at = random() % text.size(), limit = random() % 400;
        ASSERT_EQ(atol2_within(text.data() + at, to_i64(limit), text.data() + text.size(), &memo),
                  support::model_number(text, at, limit));
    }
}

TEST(WhiteSpaceBeforeNumbers, LeavesTheirValueAlone) {
    std::mt19937 random(6);
    for (std::size_t round = 0; round < 300; ++round) {
        const string text = stretches(random, 1 + random() % 1000, 1 + random() % 300);
        const Exact data(text);
        const char *begin = data.data.get(), *end = begin + data.size;
        kx_number_memo &known = fresh();
        for (std::size_t step = 0; step < 500; ++step) {
            const std::size_t at = random() % text.size(), limit = random() % 8;
            ASSERT_EQ(atol2_within(begin + at, to_i64(limit), end, &known), support::model_number(text, at, limit));
        }
    }
}

} // namespace
