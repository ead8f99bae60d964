// fixed_random_test.cpp: random and real fixed-length data against the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
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
using support::fixed_items;
using support::is_sorted_output;
using support::kEnd;
using support::kStart;
using support::ModelKey;
using support::Outcome;
using support::Rules;

using Args = std::vector<string>;

// Options that say what the rules say.

string key_option(const ModelKey &key) {
    return "-K" + std::to_string(key.position) + "," + std::to_string(key.length) + (key.numeric ? "n" : "") +
           (key.descending ? "d" : "a");
}

Args options_of(const Rules &rules, std::size_t record_length) {
    Args args = {"-L" + std::to_string(record_length)};
    for (const ModelKey &key : rules.keys) {
        args.push_back(key_option(key));
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

// Random data: few different bytes, so that ties, signs, blanks and numbers at any place are frequent.

class Random : public support::Dice {
  public:
    using Dice::Dice;

    string data(std::size_t bytes) {
        static const string alphabets[] = {"ab",
                                           " 0123456789",
                                           " \t-+019",
                                           "abcdefgh \n",
                                           "0000000001",
                                           "\x01\x7f\x80\xff",
                                           string(150, ' ') + "1234567"};
        return text(bytes, alphabets[below(7)]);
    }

    Rules rules(std::size_t record_length) {
        Rules rules{.descending = flip(), .stable = flip(), .unique = flip()};
        for (std::size_t n = below(4); n > 0; --n) {
            ModelKey key{.position = below(record_length + 1), .numeric = flip(), .descending = flip()};
            key.length = std::min(below(record_length - key.position + 1), below(30));
            rules.keys.push_back(key);
        }
        return rules;
    }
};

/// One random case: its call and what its output must satisfy.
struct Case {
    Rules rules;
    string data;
    std::size_t record_length;
    Args args;
    bool to_file;
};

string out_name(std::size_t number) { return "out" + std::to_string(number); }

Case random_case(Random &random, const Box &box, std::size_t number) {
    Case c;
    c.record_length = random.flip() ? 1 + random.below(12) : 1 + random.below(300);
    c.rules = random.rules(c.record_length);
    c.args = options_of(c.rules, c.record_length);
    c.to_file = random.flip();
    if (c.to_file) {
        c.args.insert(c.args.end(), {"-O", out_name(number)});
    }
    for (std::size_t files = 1 + random.below(3); files > 0; --files) {
        const std::size_t records = random.flip() ? 1 + random.below(8) : 1 + random.below(300);
        const string part = random.data(records * c.record_length);
        c.args.push_back("in" + std::to_string(number) + "_" + std::to_string(files));
        box.write(c.args.back(), part);
        c.data += part;
    }
    return c;
}

string joined(const Args &args) {
    string text;
    for (const string &arg : args) {
        text += arg + " ";
    }
    return text;
}

class Differential : public testing::TestWithParam<unsigned> {};

TEST_P(Differential, AgreesWithTheModel) {
    const Box box;
    Random random(GetParam());
    std::vector<Case> cases;
    std::vector<Call> calls;
    for (std::size_t i = 0; i < 50; ++i) {
        cases.push_back(random_case(random, box, i));
        calls.push_back({.args = cases.back().args});
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), calls.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE(joined(c.args));
        EXPECT_EQ(runs[i].status, 0);
        EXPECT_EQ(runs[i].err, kStart + kEnd);
        const string output = c.to_file ? box.read(out_name(i)) : runs[i].out;
        EXPECT_TRUE(is_sorted_output(output, fixed_items(c.data, c.record_length, c.rules), c.rules));
    }
    EXPECT_EQ(box.files().find("orkan_"), string::npos);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Differential, testing::Range(1U, 25U));

// Many records: beyond one output buffer, one growth step of a list, one small sort.

TEST(Large, AgreesWithTheModel) {
    const Box box;
    Random random(4711);
    const string data = random.data(std::size_t{30000} * 25);
    box.write("in", data);
    const ModelKey text{.position = 3, .length = 4},
        number{.position = 7, .length = 5, .numeric = true, .descending = true};
    for (const std::vector<ModelKey> &keys :
         {std::vector<ModelKey>{}, {text}, {number}, {text, number}, {number, text}}) {
        for (const bool stable : {false, true}) {
            const Rules rules{.keys = keys, .stable = stable, .unique = keys.size() == 2};
            Args args = options_of(rules, 25);
            SCOPED_TRACE(joined(args));
            args.insert(args.end(), {"-O", "out", "in"});
            EXPECT_EQ(box.run({.args = args}).err, kStart + kEnd);
            EXPECT_TRUE(is_sorted_output(box.read("out"), fixed_items(data, 25, rules), rules));
        }
    }
}

// Shapes on which sorts go wrong: sorted, reversed, all equal, two values, organ pipe.

TEST(Large, OrderedAndRepeatedInputs) {
    const Box box;
    constexpr int kRecords = 10000;
    std::map<string, string> shapes;
    for (int i = 0; i < kRecords; ++i) {
        char text[32];
        const auto add = [&](const char *shape, int value) {
            std::snprintf(text, sizeof text, "%06d%02d", value, i % 100);
            shapes[shape] += text;
        };
        add("rising", i);
        add("falling", kRecords - i);
        add("equal", 7);
        add("two_values", i * 7919 % 2);
        add("pipe", std::min(i, kRecords - i));
    }
    for (const auto &[shape, data] : shapes) {
        box.write(shape, data);
        for (const bool stable : {false, true}) {
            SCOPED_TRACE(shape + (stable ? " stable" : ""));
            const Rules rules{.keys = {{.position = 0, .length = 6, .numeric = stable}}, .stable = stable};
            Args args = options_of(rules, 8);
            args.insert(args.end(), {"-O", "out", shape});
            EXPECT_EQ(box.run({.args = args}).err, kStart + kEnd);
            EXPECT_TRUE(is_sorted_output(box.read("out"), fixed_items(data, 8, rules), rules));
        }
    }
}

// Real files, where they are at hand.

void check_real(const char *name, std::size_t record_length, const std::vector<Rules> &all) {
    const std::optional<string> data = support::shared_data(name);
    if (!data) {
        GTEST_SKIP() << "there is no " << name << " (set ORKAN_SHARED_DATA to its folder)";
    }
    ASSERT_EQ(data->size() % record_length, 0U);
    const Box box;
    box.write("in", *data);
    for (const Rules &rules : all) {
        Args args = options_of(rules, record_length);
        SCOPED_TRACE(joined(args));
        args.insert(args.end(), {"-O", "out", "in"});
        const Outcome o = box.run({.args = args});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, kStart + kEnd);
        EXPECT_TRUE(is_sorted_output(box.read("out"), fixed_items(*data, record_length, rules), rules));
    }
}

std::vector<Rules> real_rules(const std::vector<ModelKey> &keys) {
    std::vector<Rules> all = {{}, {.descending = true, .unique = true}};
    for (const bool stable : {false, true}) {
        for (const bool unique : {false, true}) {
            all.push_back({.keys = keys, .stable = stable, .unique = unique});
            for (const ModelKey &key : keys) {
                all.push_back({.keys = {key}, .stable = stable, .unique = unique});
            }
        }
    }
    return all;
}

TEST(RealData, GeographicHeadersOf402Bytes) {
    check_real("usgeo_excerpt.fixed402.txt", 402,
               real_rules({{.position = 200, .length = 90},
                           {.position = 18, .length = 7, .numeric = true},
                           {.position = 292, .length = 9, .numeric = true, .descending = true}}));
}

TEST(RealData, GeographicHeadersOf501Bytes) {
    check_real("ilgeo2010_excerpt.fixed501.txt", 501,
               real_rules({{.position = 226, .length = 90, .descending = true},
                           {.position = 18, .length = 7, .numeric = true},
                           {.position = 318, .length = 9, .numeric = true, .descending = true}}));
}

} // namespace
