// kx_split_variable_failures_test.cpp: what fails while lines are split into blocks, and what is said about it.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/lines_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class LinesSplitFailures : public LinesState {
  protected:
    string failure(const string &data) {
        return messages_of([&] { EXPECT_EQ(split(data), 1); });
    }

    /// What both languages say when the split of the data fails at one place.
    void expect_failure(FaultPlan plan, const string &data, const string &english, const string &japanese) {
        for (const bool in_japanese : {false, true}) {
            setenv("LANG", in_japanese ? kJapanese : "C", 1);
            use_pool(kx_i64{1} << 22);
            kx_stream_clear(errFile);
            forge("");
            const Fault fault(plan);
            EXPECT_EQ(failure(data), in_japanese ? japanese : english);
        }
    }
};

TEST_F(LinesSplitFailures, RefusedMemoryForTheChunk) {
    use_pool(4096, false);
    set_budget(80000);
    const string data = numbered_lines(5000, 10);
    EXPECT_EQ(failure(data), "☆ Failed to allocate [48]KB memory for split sort buffer! \n"); // 49999 bytes
    set_budget(12 * 1024);
    EXPECT_EQ(failure(data), "☆ Failed to allocate [8]KB memory for split sort buffer! \n"); // 9215 bytes
    speak_japanese();
    EXPECT_EQ(failure(data), "☆分割ソート用バッファ[8]KBメモリの割当は失敗しました！ \n");
}

const string kUnread = "☆ Error occurred while reading input file during split sort!\n",
             kUnreadJa = "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n";

TEST_F(LinesSplitFailures, ReadErrors) {
    expect_failure({.site = kx_site::read, .call = 1}, "b\na\n", kUnread, kUnreadJa);
    expect_failure({.site = kx_site::read, .call = 2}, "b\na\n", kUnread, kUnreadJa);
    expect_failure({.site = kx_site::read, .call = 3}, numbered_lines(1000, 10), kUnread, kUnreadJa);
    expect_failure({.site = kx_site::seek, .call = 1}, numbered_lines(1000, 10), kUnread,
                   kUnreadJa); // not to lose a cut record
}

TEST_F(LinesSplitFailures, ARefusedStableSort) {
    configure({.stable = true});
    use_pool(1 << 16, false);
    set_budget(1 << 15);
    // Chunk and index fit, the room for merging does not: found by trying every size of the pool.
    const string english = "☆ Failed to call kx_list_msort function during split sort (kx_splitSortFile)! \n";
    const string japanese = "☆分割ソート中にkx_list_msort函数の呼び込みは失敗しました(kx_splitSortFile)！ \n";
    bool seen = false, seen_ja = false;
    for (kx_i64 size = 1 << 15; size < 1 << 17; size += 512) {
        use_pool(size, false);
        forge("");
        setenv("LANG", size % 1024 == 0 ? "C" : kJapanese, 1);
        // Without scratch memory from the system the sort merges in the pool.
        const Fault no_scratch({.site = kx_site::allocate, .onwards = true, .smallest = 4 * 512, .largest = 1 << 15});
        const string text = messages_of([&] { split(numbered_lines(2000, 12)); });
        seen = seen || text == english;
        seen_ja = seen_ja || text == japanese;
    }
    EXPECT_TRUE(seen);
    EXPECT_TRUE(seen_ja);
}

TEST_F(LinesSplitFailures, RefusedMemoryAnywhereIsReportedOnce) {
    set_budget(1 << 15);
    std::vector<string> texts;
    for (kx_i64 size = 2048; size < 1 << 17; size += 256) {
        use_pool(size, false);
        forge("");
        int status = 0;
        const string text = messages_of([&] { status = split(numbered_lines(2000, 12)); });
        EXPECT_EQ(status == 0, text.empty()) << size << text;
        EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 1) << text;
        if (texts.empty() || texts.back() != text) {
            texts.push_back(text);
        }
    }
    EXPECT_GT(texts.size(), 3U);
    EXPECT_EQ(texts.front(), "☆ Failed to allocate [23]KB memory for split sort buffer! \n");
    EXPECT_EQ(texts.back(), "");
}

TEST_F(LinesSplitFailures, ADescriptorThatIsRefused) {
    bool seen = false, seen_ja = false;
    for (kx_i64 size = 16000; size < 20000; size += 8) { // the block's descriptor comes behind the first locators
        use_pool(size, false);
        forge("");
        setenv("LANG", size % 16 == 0 ? "C" : kJapanese, 1);
        const string text = messages_of([&] { split("b\na\n"); });
        seen = seen || text == "☆ Failed to allocate [120] bytes for block information management! \n";
        seen_ja = seen_ja || text == "☆ブロック情報管理用[120]メモリの割当は失敗しました！ \n";
    }
    EXPECT_TRUE(seen);
    EXPECT_TRUE(seen_ja);
}

TEST_F(LinesSplitFailures, WriteErrors) {
    set_budget(1 << 20);
    expect_failure({.site = kx_site::write, .call = 1}, numbered_lines(20000, 10),
                   "☆ Error occurred while writing to output file during split sort!\n",
                   "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n");
}

TEST_F(LinesSplitFailures, AnIndexThatFailsHasSpoken) {
    set_error_file();
    expect_failure({.site = kx_site::setvbuf, .call = 3}, "b\na\n", "☆ Failed to set error buffer!\n",
                   "☆エラーバッファの設定はできません！\n");
}

} // namespace
