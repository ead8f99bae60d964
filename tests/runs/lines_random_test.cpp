// lines_random_test.cpp: random lines against the model, in memory and through the temporary file.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/dice.h"
#include "support/model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::Box;
using support::Call;
using support::is_sorted_output;
using support::kEnd;
using support::kStart;
using support::line_items;
using support::ModelKey;
using support::Outcome;
using support::Rules;
using support::terminated;

using Args = std::vector<string>;

struct Code {
    const char *option;
    string bytes;
};
const Code kCodes[] = {{"\\n", "\n"}, {"\\r", "\r"}, {"\\r\\n", "\r\n"}};

Args options_of(const Rules &rules, const Code &code) {
    Args args = {"-P", code.option};
    for (const ModelKey &key : rules.keys) {
        args.push_back("-K" + std::to_string(key.position) + "," + (key.length == 0 ? "" : std::to_string(key.length)) +
                       (key.numeric ? "n" : "") + (key.descending ? "d" : "a"));
    }
    if (rules.keys.empty()) {
        args.emplace_back(rules.descending ? "-R" : "-A");
    }
    if (rules.stable) {
        args.emplace_back("-S");
    }
    if (rules.unique) {
        args.emplace_back("-U");
    }
    return args;
}

string joined(const Args &args) {
    string text;
    for (const string &arg : args) {
        text += arg + " ";
    }
    return text;
}

class Random : public support::Dice {
  public:
    using Dice::Dice;

    /// Bytes among which newline codes, signs and blanks are frequent.
    string bytes(std::size_t size) {
        static const string alphabets[] = {"ab\n\r",
                                           " 0123456789\r\n",
                                           " \t-+019\n\r",
                                           "abcdefgh    \r\n",
                                           "000000000000001\n",
                                           "\x01\x7f\x80\xff\n",
                                           string(90, ' ') + string(90, '\n') + "123456789"};
        string text = Dice::text(size, alphabets[below(7)]);
        for (std::size_t at = 0; at + 1 < size; at += 1 + below(60)) {
            text.replace(at, 2, "\r\n");
        }
        return text;
    }

    /// Lines behind which no number reads on: their last byte is never blank.
    string lines(std::size_t count, const string &code) {
        static const string alphabets[] = {"ab", " 0123456789", "+-0 19", "abcdefgh .", "\x01\x7f\x80\xff"};
        const string &letters = alphabets[below(5)];
        string text;
        for (; count > 0; --count) {
            for (std::size_t n = below(40); n > 0; --n) {
                text += letters[below(letters.size())];
            }
            text += "x" + code;
        }
        return flip() ? text : text.substr(0, text.size() - below(code.size() + 1));
    }

    /// `least`: bytes that a numeric key has at least.
    Rules rules(std::size_t least) {
        Rules rules{.descending = flip(), .stable = flip(), .unique = flip()};
        for (std::size_t n = below(4); n > 0; --n) {
            ModelKey key{.position = below(12), .length = below(12), .numeric = flip(), .descending = flip()};
            key.length = key.numeric ? std::max(key.length, least) : key.length;
            rules.keys.push_back(key);
        }
        return rules;
    }
};

struct Case {
    Rules rules;
    Code code;
    string data; ///< as it is sorted
    Args args;
};

string number(std::size_t i, const char *what) { return what + std::to_string(i); }

/// Any bytes in up to three inputs, which stand one behind the other in memory.
Case in_memory(Random &random, const Box &box, std::size_t i) {
    Case c{random.rules(0), kCodes[i % 3], "", {}};
    c.args = options_of(c.rules, c.code);
    c.args.insert(c.args.end(), {"-E", number(i, "short"), "-O", number(i, "out")});
    for (std::size_t files = 1 + random.below(3); files > 0; --files) {
        const string part = random.bytes(1 + random.below(random.flip() ? 100 : 5000));
        c.args.push_back(number(i, "in") + "_" + std::to_string(files));
        box.write(c.args.back(), part);
        c.data += part;
    }
    c.data = terminated(c.data, c.code.bytes);
    return c;
}

/// Lines of one input through two blocks.
Case through_blocks(Random &random, const Box &box, std::size_t i) {
    const Code &code = kCodes[i % 3];
    Case c{random.rules(code.bytes.size() + 1), code, "", {}};
    c.args = options_of(c.rules, code);
    c.args.insert(c.args.end(), {"-W1", "-E", number(i, "short"), "-O", number(i, "out"), number(i, "in")});
    const string data = random.lines(1 + random.below(200), code.bytes);
    box.write(c.args.back(), data);
    c.data = terminated(data, code.bytes);
    return c;
}

string reversed(const std::vector<string> &texts) { return std::accumulate(texts.rbegin(), texts.rend(), string()); }

class Differential : public testing::TestWithParam<unsigned> {
  protected:
    template <class Make> void compare(Make make, const string &last_line) {
        Random random(GetParam());
        for (std::size_t i = 0; i < 40; ++i) {
            cases.push_back(make(random, box, i));
            calls.push_back({.args = cases.back().args});
        }
        const std::vector<Outcome> runs = box.run_all(calls);
        ASSERT_EQ(runs.size(), calls.size());
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const Case &c = cases[i];
            SCOPED_TRACE(joined(c.args));
            const support::Lines lines = line_items(c.data, c.code.bytes, c.rules);
            EXPECT_EQ(runs[i].status, 0);
            EXPECT_EQ(steady(runs[i]), kStart + (lines.kept.empty() ? "" : last_line) + kEnd);
            EXPECT_TRUE(is_sorted_output(box.read(number(i, "out")), lines.kept, c.rules));
            expect_errors(box.read(number(i, "short")), lines.short_ones, last_line.empty());
        }
    }
    /// In memory all in reverse order; of a file that came in two chunks, the last line's follows.
    static void expect_errors(const string &errors, const std::vector<string> &short_ones, bool one_chunk) {
        const string all = reversed(short_ones);
        if (one_chunk || short_ones.empty() || errors == all) {
            EXPECT_EQ(errors, all);
        } else {
            EXPECT_EQ(errors, reversed({short_ones.begin(), short_ones.end() - 1}) + short_ones.back());
        }
    }

    Box box;
    std::vector<Case> cases;
    std::vector<Call> calls;
};

TEST_P(Differential, InMemory) { compare(in_memory, ""); }

TEST_P(Differential, ThroughTheTemporaryFile) { compare(through_blocks, "メモリ解放がかかった[#]msです。\n"); }

INSTANTIATE_TEST_SUITE_P(Seeds, Differential, testing::Range(1U, 13U));

// Two chunks of up to 12 MB, buffers of half that.
TEST(Large, ThroughChunksOfTheSmallestBudget) {
    const Box box;
    std::mt19937 random(2718);
    string data;
    while (data.size() < 14000000) {
        data += std::to_string(random() % 1000) + string(200 + random() % 700, static_cast<char>('a' + random() % 3));
        data += '\n';
    }
    box.write("in", data);
    const ModelKey value{.position = 0, .length = 3, .numeric = true, .descending = true};
    for (const Rules &rules : {Rules{.stable = true}, Rules{.unique = true}, Rules{.keys = {value}, .stable = true},
                               Rules{.keys = {value}, .stable = true, .unique = true}}) {
        Args args = options_of(rules, kCodes[0]);
        SCOPED_TRACE(joined(args));
        args.insert(args.end(), {"-W", "16M", "-O", "out", "in"});
        EXPECT_EQ(box.run({.args = args}).status, 0);
        EXPECT_TRUE(is_sorted_output(box.read("out"), line_items(data, "\n", rules).kept, rules));
    }
}

} // namespace
