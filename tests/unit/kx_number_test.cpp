// kx_number_test.cpp: the digit test and the integer parsers.
#include <array>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kx_utils/kx_number.h"
#include "support/exact.h"
#include "support/model.h"

namespace {

using namespace orkan;
using std::string;
using support::Exact;

// kx_isnumeric

TEST(IsNumeric, ZeroForDigitsOnlyAndNotForEmpty) {
    EXPECT_EQ(kx_isnumeric("0"), 0);
    EXPECT_EQ(kx_isnumeric("0123456789"), 0);
    EXPECT_EQ(kx_isnumeric("99999999999999999999999999"), 0);
    for (const char *text : {"", "-1", "+1", "1 ", " 1", "1.0", "12a", "a", "1\n", "\xef\xbc\x91", "/", ":"}) {
        EXPECT_EQ(kx_isnumeric(text), 1) << text;
    }
}

// atol2, atol2_within

struct Number {
    const char *text;
    kx_i64 limit;
    kx_i64 value;
};

TEST(Atol2, Rows) {
    const Number rows[] = {
        {"123", 2, 12},
        {"-45", 2, -4},
        {"123", 3, 123},
        {"123", 9, 123},
        {"+45", 3, 45},
        {"  -12", 5, -12},
        {"  -12", 3, -12}, // blanks do not count
        {"+3", 2, 3},
        {" \t\n\v\f\r7", 1, 7},
        {"", 5, 0},
        {"     ", 5, 0},
        {"abc", 3, 0},
        {"12ab", 4, 12},
        {"-", 1, 0},
        {"+", 5, 0},
        {"-5", 1, 0}, // the sign took the limit
        {"5", 0, 0},
        {"5", -1, 0},
        {"-5", 0, 0},
        {"--5", 3, 0},
        {"+-5", 3, 0},
        {"- 5", 3, 0},
        {"-a", 2, 0},
        {"007", 3, 7},
        {"\x1f"
         "5",
         2, 0},
        {"1 2", 3, 1},
        {"9223372036854775807", 19, std::numeric_limits<kx_i64>::max()},
        {"-9223372036854775808", 20, std::numeric_limits<kx_i64>::min()},
        {"9223372036854775808", 19, std::numeric_limits<kx_i64>::min()}, // wraps
        {"18446744073709551617", 20, 1},
        {"-18446744073709551617", 21, -1},
    };
    for (const Number &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(atol2(row.text, row.limit), row.value);
        EXPECT_EQ(atol2_within(row.text, row.limit, row.text + string(row.text).size()), row.value);
    }
}

TEST(Atol2, ReadsOnBehindAKeyOfBlanks) {
    const string data = "   98765rest";
    EXPECT_EQ(atol2(data.data(), 3), 987);
    EXPECT_EQ(atol2_within(data.data(), 3, data.data() + data.size()), 987);
}

TEST(Atol2, NothingIsReadAtOrBehindTheEnd) {
    for (const char *text : {"   ", "  -", " 12", "", "+", "\t\t\t9"}) {
        const Exact data(text);
        const kx_i64 value = atol2_within(data.data.get(), 20, data.data.get() + data.size);
        EXPECT_EQ(value, support::model_number(text, 0, 20)) << '"' << text << '"';
    }
    const string digits = "12345";
    EXPECT_EQ(atol2_within(digits.data(), 5, digits.data() + 2), 12);
    EXPECT_EQ(atol2_within(digits.data(), 5, digits.data()), 0);
}

void expect_as_the_model(const string &text, std::size_t limit) {
    const Exact data(text);
    const kx_i64 expected = support::model_number(text, 0, limit);
    ASSERT_EQ(atol2_within(data.data.get(), to_i64(limit), data.data.get() + data.size), expected)
        << '"' << text << "\" limit " << limit;
    if (text.find('\0') == string::npos) {
        ASSERT_EQ(atol2(text.c_str(), to_i64(limit)), expected) << '"' << text << "\" limit " << limit;
    }
}

TEST(Atol2, AgreesWithTheModelOnNumbersOfEveryWidth) {
    const std::array<string, 6> behind{"", " ", "/", ":", "x99999999", string(30, '\xb5')};
    std::mt19937 random(4);
    for (std::size_t blanks = 0; blanks <= 20; ++blanks) {
        for (const char *sign : {"", "-", "+", "--", "\t", "\t-", "/", ":", "\xb0"}) {
            for (std::size_t digits = 0; digits <= 22; ++digits) {
                string text = string(blanks, ' ') + sign;
                for (std::size_t i = 0; i < digits; ++i) {
                    text += static_cast<char>('0' + random() % 10);
                }
                text += behind[random() % behind.size()] + string(random() % 2 * 20, ' ');
                ASSERT_NO_FATAL_FAILURE(expect_as_the_model(text, digits + 2));
                ASSERT_NO_FATAL_FAILURE(expect_as_the_model(text, random() % (digits + 2)));
            }
        }
    }
}

TEST(Atol2, AgreesWithTheModelOnRandomBytes) {
    const std::array<string, 3> alphabets{" \t\r+-0123456789x", "0123456789", "       -1234567"};
    std::mt19937 random(2);
    for (std::size_t round = 0; round < 200000; ++round) {
        string text(random() % 60, ' ');
        for (char &c : text) {
            const string &alphabet = alphabets[round % alphabets.size()];
            c = round % 4 == 0 ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
        }
        ASSERT_NO_FATAL_FAILURE(expect_as_the_model(text, random() % 26));
    }
}

TEST(Atof2, IsAPlaceholder) {
    EXPECT_EQ(atof2("7.5", 3), 0.1);
    EXPECT_EQ(atof2("", 0), 0.1);
    EXPECT_EQ(atof2(nullptr, -1), 0.1);
}

} // namespace
