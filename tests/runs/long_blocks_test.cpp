// long_blocks_test.cpp: whole runs over newline-ended data whose blocks are many times as long as the windows through
// which they are merged, with records that are longer than a window.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/model.h"
#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using namespace support;

/// 24 MB: lines of a few hundred bytes, each begun by 6 digits, and here and there one of 700,000.
string generated() {
    std::mt19937 random(77);
    string all;
    for (int i = 0; all.size() < 24'000'000; ++i) {
        const std::size_t length = i % 9000 == 100 ? 700'000 : random() % 500;
        all += std::to_string(100'000 + random() % 40'000) + ',' + std::to_string(i) + ',';
        all += string(length, static_cast<char>('a' + random() % 26)) + '\n';
    }
    return all;
}

class LongBlocks : public testing::TestWithParam<const char *> {};

TEST_P(LongBlocks, AreMergedThroughShortWindows) {
    const bool csv = GetParam() == string("csv");
    const Box box;
    const string data = generated();
    box.write("in", data);
    for (const char *mode : {"", "-S", "-U"}) {
        SCOPED_TRACE(mode);
        const Rules rules{
            .keys = {{.position = 0, .length = 6}}, .stable = mode == string("-S"), .unique = mode == string("-U")};
        std::vector<string> args = {"-W16M", "-O", "out", "-T", "tmp", "in"};
        const std::vector<string> format = csv ? std::vector<string>{"-C", "-K1"} : std::vector<string>{"-K0,6"};
        args.insert(args.begin(), format.begin(), format.end());
        if (mode[0] != 0) {
            args.insert(args.begin(), mode);
        }
        const Outcome o = box.run({.args = args, .time_limit = 300});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(steady(o), kStart + "メモリ解放がかかった[#]msです。\n" + kEnd);
        EXPECT_EQ(box.files(), "in out tmp/");
        EXPECT_TRUE(is_sorted_output(box.read("out"), line_items(data, "\n", rules).kept, rules));
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, LongBlocks, testing::Values("lines", "csv"),
                         [](const auto &row) { return string(row.param); });

} // namespace
