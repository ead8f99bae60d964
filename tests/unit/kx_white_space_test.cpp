// kx_white_space_test.cpp: where white space ends, by what was found out before.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kx_utils/kx_number.h"
#include "kx_utils/kx_white_space.h"
#include "support/exact.h"
#include "support/model.h"

namespace {

using namespace orkan;
using std::string;
using support::Exact;

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
    kx_white_space known{};
    EXPECT_EQ(known.behind(begin, end), begin + 8);
    EXPECT_EQ(known.behind(begin + 8, end), begin + 8);
    EXPECT_EQ(known.behind(begin + 9, end), end);
    EXPECT_EQ(known.behind(end, end), end);
    EXPECT_EQ(known.behind(begin, begin + 3), begin + 3) << "nothing is read behind the end";
}

TEST(WhiteSpace, IsTheSameFromAnyPlaceInAnyOrder) {
    std::mt19937 random(5);
    for (std::size_t round = 0; round < 300; ++round) {
        const Exact data(stretches(random, 1 + random() % 3000, 1 + random() % 600));
        const char *begin = data.data.get(), *end = begin + data.size;
        kx_white_space known{};
        for (kx_i64 step = 0; step < 2 * data.size; ++step) {
            const auto any = static_cast<kx_i64>(random() % to_size(data.size + 1));
            const kx_i64 places[] = {any, std::min(step, data.size), std::max<kx_i64>(data.size - step, 0)};
            const char *place = begin + places[round % 3];
            ASSERT_EQ(known.behind(place, end), kx_behind_white_space(place, end)) << "round " << round;
        }
    }
}

/// What was looked at once is not looked at again: bytes changed behind its back do not matter.
class Remembered : public testing::Test {
  protected:
    const char *begin() const { return text_.data(); }
    const char *end() const { return begin() + text_.size(); }
    const char *behind(std::size_t at) { return known_.behind(begin() + at, end()); }

    string text_ = string(100, ' ') + "1" + string(100, '\n') + "2" + string(100, '\t');
    kx_white_space known_{};
};

TEST_F(Remembered, AStretchIsFromAnyPlaceInIt) {
    ASSERT_EQ(behind(0), begin() + 100);
    text_[50] = 'x';
    EXPECT_EQ(behind(49), begin() + 100);
    EXPECT_EQ(behind(0), begin() + 100);
}

TEST_F(Remembered, AStretchGrowsToTheFront) {
    ASSERT_EQ(behind(60), begin() + 100);
    text_[80] = 'x';
    EXPECT_EQ(behind(20), begin() + 100);
    text_[40] = 'x';
    EXPECT_EQ(behind(30), begin() + 100);
}

TEST_F(Remembered, AreTwoStretches) {
    ASSERT_EQ(behind(0), begin() + 100);
    ASSERT_EQ(behind(101), begin() + 201);
    text_[50] = text_[150] = 'x';
    EXPECT_EQ(behind(10), begin() + 100);
    EXPECT_EQ(behind(110), begin() + 201);
    ASSERT_EQ(behind(202), end());
    EXPECT_EQ(behind(110), begin() + 201) << "the one used last is kept";
    EXPECT_EQ(behind(10), begin() + 50) << "the other is forgotten";
}

TEST_F(Remembered, NothingIsWithAnotherEnd) {
    ASSERT_EQ(behind(202), end());
    EXPECT_EQ(known_.behind(begin() + 202, end() - 50), end() - 50);
    text_[250] = 'x';
    EXPECT_EQ(behind(202), begin() + 250);
}

TEST(WhiteSpaceBeforeNumbers, LeavesTheirValueAlone) {
    std::mt19937 random(6);
    for (std::size_t round = 0; round < 300; ++round) {
        const string text = stretches(random, 1 + random() % 1000, 1 + random() % 300);
        const Exact data(text);
        const char *begin = data.data.get(), *end = begin + data.size;
        kx_white_space known{};
        for (std::size_t step = 0; step < 500; ++step) {
            const std::size_t at = random() % text.size(), limit = random() % 8;
            ASSERT_EQ(atol2_within(begin + at, to_i64(limit), end, &known), support::model_number(text, at, limit));
        }
    }
}

} // namespace
