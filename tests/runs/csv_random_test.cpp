// csv_random_test.cpp: random CSV files against the model, in memory and through the temporary file.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/csv_runs.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using namespace support;

using Args = std::vector<string>;

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    std::size_t below(std::size_t n) { return engine_() % n; }
    bool flip() { return below(2) == 0; }

    string bytes(std::size_t size, bool blanks) {
        static const string alphabets[] = {
            "ab,\"\n", "0123456789,\n-", "abc,,\n\r",         ";:ab\"\"\r\n,,",
            ",,,,\n",  "  \t5-,\n",      " \t0123,,\"\"\n\n", string(90, ' ') + string(60, '\n') + "57,,"};
        const string &letters = alphabets[below(blanks ? 8 : 5)];
        string text(size, ' ');
        for (char &c : text) {
            c = letters[below(letters.size())];
        }
        return text;
    }

    CsvRules rules() {
        static const CsvShape shapes[] = {{},
                                          {},
                                          {},
                                          {.newline = "\r\n"},
                                          {.newline = "\r", .delimiter = ";"},
                                          {.delimiter = ";:"},
                                          {.delimiter = ",,"},
                                          {.delimiter = "\t"}};
        CsvRules rules{
            .shape = shapes[below(8)], .descending = flip(), .empty_last = flip(), .stable = flip(), .unique = flip()};
        for (std::size_t n = below(4); n > 0; --n) {
            const bool numeric = flip() && !(rules.unique && rules.empty_last);
            rules.keys.push_back({.column = static_cast<int>(n), .numeric = numeric, .descending = flip()});
        }
        if (flip() && rules.keys.size() > 1) {
            std::swap(rules.keys.front(), rules.keys.back());
        }
        return rules;
    }

  private:
    std::mt19937 engine_;
};

struct Case {
    CsvRules rules;
    string data;
    Args args;
};

string joined(const Args &args) {
    string text;
    for (const string &arg : args) {
        text += arg + " ";
    }
    return text;
}

/// Writes the inputs and completes the arguments. On the split path there is one input; without keys it is one block,
/// as the order of whole records differs between blocks.
Case random_case(Random &random, const Box &box, std::size_t number, bool split) {
    Case c{.rules = random.rules(), .data = {}, .args = {}};
    c.args = options_of(c.rules);
    c.args.insert(c.args.end(), {"-O", "out" + std::to_string(number), "-E", "errors" + std::to_string(number)});
    if (split) {
        c.args.emplace_back("-W1");
    }
    for (std::size_t files = split ? 1 : 1 + random.below(3); files > 0; --files) {
        string part = random.bytes(1 + random.below(random.flip() ? 40 : 4000), !split);
        if (split && c.rules.keys.empty()) {
            part = csv_ended(part, c.rules.shape);
            part.resize(csv_size(csv_records(part, c.rules.shape)));
        }
        c.args.push_back("in" + std::to_string(number) + "_" + std::to_string(files));
        box.write(c.args.back(), part);
        c.data += part;
    }
    if (!split || !c.data.empty()) {
        c.data = csv_ended(c.data, c.rules.shape);
    }
    return c;
}

void expect_as_model(unsigned seed, bool split) {
    const Box box;
    Random random(seed);
    std::vector<Case> cases;
    std::vector<Call> calls;
    for (std::size_t i = 0; i < 60; ++i) {
        cases.push_back(random_case(random, box, i, split));
        calls.push_back({.args = cases.back().args});
    }
    const std::vector<Outcome> runs = box.run_all(calls);
    ASSERT_EQ(runs.size(), calls.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE(joined(c.args));
        EXPECT_EQ(runs[i].status, 0);
        const std::vector<Item> items = csv_items(c.data, c.rules);
        EXPECT_TRUE(is_sorted_output(box.read("out" + std::to_string(i)), items, c.rules.order())) << c.data;
        if (!split) { // there every block turns its own around
            const string errors = c.rules.keys.empty() ? "" : csv_rejected(c.data, c.rules);
            EXPECT_EQ(box.read("errors" + std::to_string(i)), errors);
        }
    }
    EXPECT_EQ(box.files().find("orkan_"), string::npos);
}

class Differential : public testing::TestWithParam<unsigned> {};

TEST_P(Differential, InMemory) { expect_as_model(GetParam(), false); }
TEST_P(Differential, ThroughTheTemporaryFile) { expect_as_model(GetParam() + 1000, true); }

INSTANTIATE_TEST_SUITE_P(Seeds, Differential, testing::Range(1U, 13U));

// More than one chunk of the smallest budget: rows of about 1000 bytes, most of which stand in quotes.

string large_file(Random &random) {
    string data;
    for (int i = 0; i < 20000; ++i) {
        string text(900 + random.below(200), 'x');
        for (std::size_t n = 10; n > 0; --n) {
            text[random.below(text.size())] = "\n,;"[random.below(3)];
        }
        data += std::to_string(random.below(3000)) + ",\"" + text + "\"," + std::to_string(random.below(100)) + "\n";
    }
    return data;
}

TEST(Large, SeveralBlocks) {
    const Box box;
    Random random(99);
    const string header = string(1023, 'h') + "\n", data = large_file(random); // the header ends with a read
    box.write("in", header + data);
    for (const CsvRules &rules :
         {CsvRules{.keys = {{.column = 1}, {.column = 3, .numeric = true, .descending = true}}, .stable = true},
          {.keys = {{.column = 3, .numeric = true}}, .unique = true},
          {.keys = {{.column = 2, .descending = true}}}}) {
        Args args = options_of(rules);
        args.insert(args.end(), {"-H", "-W1", "-O", "out", "in"});
        SCOPED_TRACE(joined(args));
        EXPECT_EQ(box.run({.args = args}).status, 0);
        const string output = box.read("out");
        ASSERT_EQ(output.substr(0, 1024), header);
        EXPECT_TRUE(is_sorted_output(output.substr(1024), csv_items(data, rules), rules.order()));
    }
}

} // namespace
