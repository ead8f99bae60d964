// kx_quote_search_test.cpp: the search outside quotes, by 64 bytes at a time, against its plain definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kx_utils/kx_scan.h"
#include "kx_utils/kx_text.h"
#include "support/csv_model.h"

namespace {

using namespace orkan;
using std::string;
using support::csv_find;

constexpr kx_i64 kNowhere = -1;

/// Text in a heap block of exactly its size, so that a sanitizer sees every look behind it.
class Block {
  public:
    explicit Block(const string &text) : size_(to_i64(text.size())), bytes_(new char[text.size()]) {
        text.copy(bytes_.get(), text.size());
    }
    [[nodiscard]] const char *begin() const { return bytes_.get(); }
    [[nodiscard]] const char *end() const { return bytes_.get() + size_; }
    [[nodiscard]] kx_i64 size() const { return size_; }

  private:
    kx_i64 size_;
    std::unique_ptr<char[]> bytes_;
};

Bytes bytes_of(const string &text) { return {text.data(), to_i64(text.size())}; }

kx_i64 distance(const Block &block, const char *place) { return place == nullptr ? kNowhere : place - block.begin(); }

kx_i64 plain(const string &text, const string &pattern, char quote) {
    const std::size_t at = csv_find(text, 0, text.size(), pattern, quote);
    return at == string::npos ? kNowhere : to_i64(at);
}

/// Both searches, in the whole text and in its first bytes with the rest readable behind them.
void expect_as_defined(const string &text, const string &pattern, char quote = '"') {
    const Block block(text);
    const kx_i64 expected = plain(text, pattern, quote);
    const Bytes wanted = bytes_of(pattern);
    ASSERT_EQ(distance(block, kx_findstr_csv(block.begin(), block.size(), wanted, quote)), expected) << text;
    ASSERT_EQ(distance(block, kx_findstr_csv_within(block.begin(), block.size(), wanted, quote, block.end())), expected)
        << text;
}

void expect_stretch_as_defined(const string &text, std::size_t from, std::size_t to, const string &pattern) {
    const Block block(text);
    const string part = text.substr(from, to - from);
    const char *first = block.begin() + from;
    const char *place = kx_findstr_csv_within(first, to_i64(to - from), bytes_of(pattern), '"', block.end());
    ASSERT_EQ(place == nullptr ? kNowhere : place - first, plain(part, pattern, '"'))
        << "[" << from << ", " << to << ") of " << text;
}

string random_text(std::mt19937 &random, std::size_t size, const string &letters) {
    string text(size, ' ');
    for (char &c : text) {
        c = letters[random() % letters.size()];
    }
    return text;
}

const string kPatterns[] = {",", "\n", "\r", "\r\n", ";;", ",;,", "::::", "abab", "a", "\t", ",\n", "\n\n", "ab,", "x"};
const string kLetters[] = {"\",\n",
                           "\"a,;\r\n:",
                           "ab\"",
                           "\"\"\"\"a\r\n",
                           ",;:ab",
                           "xxxxxxxxxxxxxxxxxxxx\",\n",
                           "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab\";:\r\n,"};

TEST(QuoteSearch, EveryLengthOfRandomText) {
    std::mt19937 random(5);
    for (std::size_t size = 0; size <= 200; ++size) {
        for (const string &letters : kLetters) {
            const string text = random_text(random, size, letters);
            for (const string &pattern : kPatterns) {
                expect_as_defined(text, pattern);
            }
        }
    }
}

TEST(QuoteSearch, EveryStretchOfATextWithReadableBytesBehind) {
    std::mt19937 random(6);
    for (int round = 0; round < 1500; ++round) {
        const string &letters = kLetters[random() % std::size(kLetters)];
        const string text = random_text(random, 1 + random() % 300, letters);
        const std::size_t from = random() % text.size();
        const std::size_t to = from + random() % (text.size() - from + 1);
        for (const string &pattern : kPatterns) {
            expect_stretch_as_defined(text, from, to, pattern);
        }
    }
}

// The bytes behind the stretch complete a pattern that begins in it, and hold quotes: neither counts.
TEST(QuoteSearch, NothingBehindTheStretchCounts) {
    for (std::size_t length = 1; length < 140; ++length) {
        const string text = string(length - 1, 'a') + "\r\n" + string(100, '"') + "\r\n";
        expect_stretch_as_defined(text, 0, length, "\r\n");
        expect_stretch_as_defined(text, 0, length + 1, "\r\n");
    }
}

// One pattern at every place, in front of it nothing, one quote or two, at every place as well.
TEST(QuoteSearch, PatternsAndQuotesAtEveryPlaceOfTwoWords) {
    for (const string &pattern : {string(","), string("\r\n"), string("ab;"), string("wxyz")}) {
        for (std::size_t at = 0; at < 135; ++at) {
            string text = string(at, '.') + pattern + string(at % 7, '.');
            expect_as_defined(text, pattern);
            for (std::size_t quote = 0; quote < at; quote += 1 + at % 5) {
                text[quote] = '"';
                expect_as_defined(text, pattern);
            }
        }
    }
}

TEST(QuoteSearch, TheByteAtThePlaceItselfCounts) {
    expect_as_defined("\",\",", ",");
    const Block first("\"a\"a");
    EXPECT_EQ(distance(first, kx_findstr_csv(first.begin(), 4, bytes_of("\"a"), '"')), 2) << "the second quote is even";
    const Block none("\"a");
    EXPECT_EQ(kx_findstr_csv(none.begin(), 2, bytes_of("\"a"), '"'), nullptr) << "its own quote makes it odd";
}

TEST(QuoteSearch, QuotesRunOnOverManyWords) {
    for (std::size_t inside = 0; inside < 400; inside += 3) {
        expect_as_defined("\"" + string(inside, ',') + "\",", ",");
        expect_as_defined("\"" + string(inside, ','), ",");
        expect_as_defined(string(inside, '"') + ",x,", ",");
    }
}

TEST(QuoteSearch, DoubledQuotesKeepTheFieldTogether) {
    const string text = "\"say \"\"a,b\"\" twice\",next";
    const Block block(text);
    EXPECT_EQ(distance(block, kx_findstr_csv(block.begin(), block.size(), bytes_of(","), '"')), 19);
}

TEST(QuoteSearch, AnotherQuoteCharacter) {
    std::mt19937 random(7);
    for (const char quote : {'\'', '\0', '\xff', 'a'}) {
        for (int round = 0; round < 200; ++round) {
            const string text = random_text(random, random() % 150, string{',', ',', quote, 'b', '"', '\n'});
            expect_as_defined(text, ",", quote);
            expect_as_defined(text, ",\n", quote);
        }
    }
}

TEST(QuoteSearch, NothingToFind) {
    const string text(100, ',');
    EXPECT_EQ(kx_findstr_csv(nullptr, 100, bytes_of(","), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(text.data(), 0, bytes_of(","), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(text.data(), -1, bytes_of(","), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(text.data(), std::numeric_limits<kx_i64>::min(), bytes_of(","), '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(text.data(), 100, Bytes{}, '"'), nullptr);
    EXPECT_EQ(kx_findstr_csv(text.data(), 3, bytes_of(",,,,"), '"'), nullptr) << "longer than the stretch";
    EXPECT_NE(kx_findstr_csv(text.data(), 4, bytes_of(",,,,"), '"'), nullptr);
}

// The building blocks.

/// The masks of blocks, byte by byte; inside as the kernels carry it.
std::vector<kx_mask> plain_masks(const string &text, const kx_scan_rule &rule, bool odd) {
    std::vector<kx_mask> masks(text.size() / to_size(kMaskBytes));
    for (std::size_t i = 0; i < text.size(); ++i) {
        odd ^= rule.quoted && text[i] == rule.quote;
        const bool found = text[i] == rule.first && !odd;
        masks[i / to_size(kMaskBytes)] |= kx_mask{found} << i % to_size(kMaskBytes);
    }
    return masks;
}

void expect_kernel_as_defined(kx_scan_kernel kernel, const string &text, const kx_scan_rule &rule, bool odd) {
    const Block block(text);
    std::vector<kx_mask> masks(text.size() / to_size(kMaskBytes));
    kx_mask inside = odd ? ~kx_mask{0} : 0;
    kernel(block.begin(), to_i64(masks.size()), rule, masks.data(), inside);
    ASSERT_EQ(masks, plain_masks(text, rule, odd));
    const bool ends_inside = odd ^ (rule.quoted && std::count(text.begin(), text.end(), rule.quote) % 2 != 0);
    ASSERT_EQ(inside, ends_inside ? ~kx_mask{0} : 0);
}

TEST(ScanKernels, OneBitForEachCodeOutsideQuotes) {
    std::mt19937 random(8);
    for (int round = 0; round < 300; ++round) {
        const string text = random_text(random, to_size(kMaskBytes) * (1 + random() % 5), "abbb\"\x80\xff\x7f\x01");
        for (const char first : {'a', '"', '\x80', '\xff', '\0', '\x01'}) {
            for (const bool quoted : {false, true}) {
                for (const kx_scan_kernel kernel : {kx_scan_portably, kx_scan_blocks}) {
                    expect_kernel_as_defined(kernel, text, {first, quoted, '"'}, quoted && round % 2 != 0);
                }
            }
        }
    }
}

/// All codes that the walk meets, as distances from the text's start.
std::vector<kx_i64> walked(const Block &block, kx_i64 size, const string &code, bool quoted) {
    std::vector<kx_i64> places;
    kx_code_scan scan({block.begin(), size}, block.end(), bytes_of(code), quoted, '"');
    while (const char *place = scan.next()) {
        places.push_back(place - block.begin());
    }
    return places;
}

/// Each search begins anew behind the code before.
std::vector<kx_i64> searched(const string &text, const string &code, bool quoted) {
    std::vector<kx_i64> places;
    for (std::size_t from = 0;;) {
        const std::size_t at = quoted ? csv_find(text, from, text.size(), code, '"') : text.find(code, from);
        if (at == string::npos) {
            return places;
        }
        places.push_back(to_i64(at));
        from = at + code.size();
    }
}

TEST(CodeScan, MeetsEveryCodeThatASearchFromTheOneBeforeFinds) {
    std::mt19937 random(9);
    for (int round = 0; round < 3000; ++round) {
        const string text = random_text(random, random() % 1500, round % 2 == 0 ? "a\nb\"" : ",,a\"\n,bbbbbbbbbbb");
        const std::size_t size = text.size() - random() % (text.size() + 1) / 8;
        const Block block(text);
        for (const char *code : {"\n", ",", ",,", "a\n", "\"a", "a\"", "\"\"", ",\",", "\n\n\n"}) {
            for (const bool quoted : {false, true}) {
                ASSERT_EQ(walked(block, to_i64(size), code, quoted), searched(text.substr(0, size), code, quoted))
                    << code << " in " << text.substr(0, size);
            }
        }
    }
}

TEST(CodeScan, MeetsNothingWhereThereAreNoBytes) {
    for (const char *code : {"\n", "\r\n", "\""}) {
        for (const bool quoted : {false, true}) {
            kx_code_scan scan({nullptr, 0}, nullptr, bytes_of(code), quoted, '"');
            EXPECT_EQ(scan.next(), nullptr) << code;
        }
    }
}

TEST(ScanKernels, LowestBits) {
    EXPECT_EQ(lowest_bits(0), 0U);
    EXPECT_EQ(lowest_bits(1), 1U);
    EXPECT_EQ(lowest_bits(63), ~kx_mask{0} >> 1);
    EXPECT_EQ(lowest_bits(64), ~kx_mask{0});
    EXPECT_EQ(lowest_bits(1000), ~kx_mask{0});
}

} // namespace
