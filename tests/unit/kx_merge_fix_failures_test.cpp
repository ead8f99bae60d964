// kx_merge_fix_failures_test.cpp: what can fail in the merge of fixed-length blocks, and what is printed then.
#include <unistd.h>

#include <functional>
#include <string>

#include "support/external.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kUnread = "☆一時ファイルの読み込み中にエラーが発生しました！\n"; // by design Japanese everywhere
const string kUnsought = "☆ fseek operation on temporary file failed!\n",
             kUnsoughtJa = "☆一時ファイルに対するfseek操作は失敗しました!\n";

FaultPlan of_size(kx_i64 bytes) { return {.smallest = bytes, .largest = bytes}; }

class MergeFixFails : public External {
  protected:
    /// Three blocks of ten records, 45 bytes of each held.
    void prepare() {
        use_pool(1 << 16);
        set_keys({key(0, 3)});
        start_blocks();
        set_budget(180);
        string data;
        for (int i = 0; i < 30; ++i) {
            data += std::to_string(100 + i * 37 % 100) + "......\n";
        }
        ASSERT_EQ(split(data), 0);
        ASSERT_EQ(layout(), "0+100/10 100+100/10 200+100/10");
        set_budget(60 * 3 + (argsInfo.bUnique != 0 ? 655360 : 0));
        exhaust_pool();
    }

    void expect(const FaultPlan &plan, const string &english, const string &japanese) {
        for (const bool ja : {false, true}) {
            setenv("LANG", ja ? kJapanese : "C", 1);
            prepare();
            const Fault fault(plan);
            EXPECT_EQ(merge(), 1);
            EXPECT_EQ(said_, ja ? japanese : english);
            EXPECT_GE(Fault::calls(), plan.call) << "nothing failed";
        }
    }

    string unwritten() { return "☆ Error occurred while writing output file [" + box.path("out") + "]!\n"; }
    string unwritten_ja() { return "☆出力ファイル[" + box.path("out") + "]の書き込み中にエラーが発生しました！\n"; }
};

TEST_F(MergeFixFails, WithoutAnOutputBuffer) {
    const string text = "☆出力バッファの設定はできません！\n";
    expect({.site = kx_site::setvbuf}, text, text);
    expect(of_size(655360), text, text);
}

TEST_F(MergeFixFails, WithoutAStagingBuffer) {
    argsInfo.bUnique = 1;
    const string text = "☆出力バッファ[640]KBメモリの割当は失敗しました！ \n";
    expect(of_size(655360), text, text);
}

// By design the English line shows the two numbers in each other's places.
TEST_F(MergeFixFails, WithoutABlockBuffer) {
    expect(of_size(45), "☆ Failed to allocate [0]KB memory for block buffer 1!\n",
           "☆ブロックバッファ0の[1]KBメモリの割当は失敗しました!\n");
    expect({.call = 3, .smallest = 45, .largest = 45}, "☆ Failed to allocate [2]KB memory for block buffer 1!\n",
           "☆ブロックバッファ2の[1]KBメモリの割当は失敗しました!\n");
}

TEST_F(MergeFixFails, WithoutSeeking) {
    for (const int call : {1, 3, 4, 6}) { // three first fills, then refills
        expect({.site = kx_site::seek, .call = call}, kUnsought, kUnsoughtJa);
    }
}

TEST_F(MergeFixFails, WithoutReading) {
    for (const int call : {1, 3, 4, 6}) {
        expect({.site = kx_site::read, .call = call}, kUnread, kUnread);
    }
}

TEST_F(MergeFixFails, WithAShortFirstFill) {
    for (const bool ja : {false, true}) {
        setenv("LANG", ja ? kJapanese : "C", 1);
        prepare();
        ASSERT_EQ(truncate(box.path("blocks").c_str(), 244), 0);
        EXPECT_EQ(merge(), 1);
        EXPECT_EQ(said_, kUnread);
    }
}

// The file must not end early during a refill either: the records behind would be lost.
TEST_F(MergeFixFails, WithAShortRefill) {
    for (const int length : {245, 250, 255, 289, 290, 299}) {
        prepare();
        ASSERT_EQ(truncate(box.path("blocks").c_str(), length), 0);
        EXPECT_EQ(merge(), 1) << length;
        EXPECT_EQ(said_, kUnread);
    }
}

TEST_F(MergeFixFails, WithoutWriting) {
    prepare();
    EXPECT_EQ(merge(), 0);
    for (const kx_i64 unique : {0, 1}) {
        argsInfo.bUnique = unique;
        prepare();
        const Fault fault({.site = kx_site::write});
        const int status = merge();
        if (unique == 0) { // all is in the stream's buffer still
            EXPECT_EQ(status, 0);
            EXPECT_FALSE(kx_stream_clear(other_));
        } else {
            EXPECT_EQ(status, 1);
            EXPECT_EQ(said_, unwritten());
        }
    }
}

TEST_F(MergeFixFails, WithoutWritingMoreThanABuffer) {
    for (const kx_i64 unique : {0, 1}) {
        for (const bool ja : {false, true}) {
            setenv("LANG", ja ? kJapanese : "C", 1);
            argsInfo.bUnique = unique;
            set_fixed(100000);
            start_blocks();
            set_budget(100008);
            for (const char key : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'}) {
                ASSERT_EQ(split(string(100000, key)), 0);
            }
            for (kx_i64 i = 0; i < 8; ++i) { // as if they came from one input
                static_cast<UnitDataInfo *>(kx_list_get(dataInfo.list, i))->startPos = i * 100000;
            }
            const Fault fault({.site = kx_site::write});
            EXPECT_EQ(merge(), 1);
            EXPECT_EQ(said_, ja ? unwritten_ja() : unwritten());
        }
    }
}

TEST_F(MergeFixFails, WithoutAListOfHeads) {
    expect(of_size(192), "☆ Failed to allocate [192] bytes for block information management! \n",
           "☆ブロック情報管理用[192]メモリの割当は失敗しました！ \n");
}

} // namespace
