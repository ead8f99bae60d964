// kx_merge_variable_damaged_test.cpp: blocks of lines that are not what their descriptors say: the merge ends, with the
// temporary file's message or with output, and reads nothing outside its buffers.
#include <climits>
#include <random>
#include <string>
#include <vector>

#include "support/lines_merge_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

struct Extent {
    kx_i64 position, size, records;
};

class Damage : public LinesMerge {
  protected:
    void expect_end(const string &bytes, const std::vector<Extent> &extents, const Rules &rules) {
        start_again();
        configure(rules);
        argsInfo.maxRecLen = 20;
        set_budget((rules.unique ? kStage : 0) + 100);
        for (const Extent &extent : extents) {
            add_block(extent.position, extent.size, extent.records);
        }
        forge(bytes);
        int status = -1;
        const string text = steady(messages_of([&] { status = merge(); }));
        EXPECT_TRUE((status == 0 && text == kReleased) || (status == 1 && text == kUnread)) << status << text;
        ends[status == 0 ? 0 : 1]++;
    }
    static std::vector<Rules> all_rules() {
        std::vector<Rules> all;
        for (const bool stable : {false, true}) {
            for (const bool unique : {false, true}) {
                all.push_back({.stable = stable, .unique = unique});
                all.push_back({.descending = true, .stable = stable, .unique = unique});
                all.push_back({.keys = {{.position = 3, .length = 9}}, .stable = stable, .unique = unique});
                all.push_back({.keys = {{.position = 1, .length = 4, .numeric = true}, {.position = 0, .length = 2}},
                               .stable = stable,
                               .unique = unique});
            }
        }
        return all;
    }
    int ends[2] = {};
};

TEST_F(Damage, LengthsThatAreNone) {
    const string good = stored("aaaa\n"), other = stored("bb\n");
    for (const Rules &rules : all_rules()) {
        for (const int length : {-1, INT_MIN, INT_MAX, INT_MAX - 3, 21, 20, 7, 6, 4, 1, 0}) {
            const string bad = int32_bytes(length) + "aaaa\n";
            for (const string &bytes : {bad + good + good, good + bad + good, good + good + bad}) {
                const kx_i64 size = to_i64(bytes.size());
                expect_end(bytes + other, {{0, size, 3}, {size, to_i64(other.size()), 1}}, rules);
                expect_end(bytes, {{0, size, 1000000}}, rules);
            }
        }
    }
    EXPECT_GT(ends[0], 0);
    EXPECT_GT(ends[1], 0);
}

// No split sort stores such a length: each record has its newline code at least.
TEST_F(Damage, ALengthShorterThanTheNewlineCodeIsRefused) {
    int empty_lines = 0;
    for (const string code : {"\n", "\r\n"}) {
        set_separator(code.c_str());
        const string good = stored("a" + code);
        for (const Rules &rules : all_rules()) {
            const string empty_line = good + stored(code) + good;
            expect_end(empty_line, {{0, to_i64(empty_line.size()), 3}}, rules);
            EXPECT_EQ(ends[0], ++empty_lines);
            for (std::size_t length = 0; length < code.size(); ++length) {
                const string bad = stored(code.substr(0, length));
                for (const string &bytes : {bad + good + good, good + bad + good, good + good + bad}) {
                    expect_end(bytes, {{0, to_i64(bytes.size()), 3}}, rules);
                }
            }
        }
    }
    EXPECT_EQ(ends[0], empty_lines);
    EXPECT_EQ(ends[1], empty_lines / 2 * (1 + 2) * 3);
}

TEST_F(Damage, BlocksCutOff) {
    const string good = stored("aaaa\n");
    const string bytes = good + good + good;
    for (const Rules &rules : all_rules()) {
        for (kx_i64 size = 0; size <= 30; ++size) {
            expect_end(bytes, {{0, size, 3}}, rules);
            expect_end(bytes, {{30 - size, size, 3}, {0, 27, 9}}, rules);
            expect_end(bytes.substr(0, to_size(std::min<kx_i64>(size, 27))), {{0, 27, 3}}, rules);
        }
    }
    EXPECT_GT(ends[0], 0);
    EXPECT_GT(ends[1], 0);
}

TEST_F(Damage, RandomBytesAmongRecords) {
    std::mt19937 random(99);
    const std::vector<Rules> rules = all_rules();
    for (int round = 0; round < 1000; ++round) {
        string bytes;
        std::vector<Extent> extents;
        for (std::size_t blocks = 1 + random() % 3; blocks > 0; --blocks) {
            const kx_i64 start = to_i64(bytes.size()), records = 1 + to_i64(random() % 20);
            for (kx_i64 i = 0; i < records; ++i) {
                bytes += stored(string(random() % 20, static_cast<char>('a' + random() % 3)));
            }
            extents.push_back({start, to_i64(bytes.size()) - start, records});
        }
        for (std::size_t n = random() % 4; n > 0; --n) {
            bytes[random() % bytes.size()] = static_cast<char>(random() % 3 == 0 ? random() : random() % 16);
        }
        expect_end(bytes, extents, rules[to_size(round) % rules.size()]);
    }
    EXPECT_GT(ends[0], 0);
    EXPECT_GT(ends[1], 0);
}

} // namespace
