// kx_split_fix_test.cpp: the split sort of fixed-length records: chunks, blocks, their descriptors, and what fails.
#include <random>
#include <string>
#include <vector>

#include "support/external.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kUnread = "☆ Error occurred while reading input file during split sort!\n",
             kUnreadJa = "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n";

class SplitFix : public External {
  protected:
    /// Each chunk of so many bytes in order.
    static string sorted_chunks(const string &data, std::size_t chunk, const Rules &rules) {
        string all;
        for (std::size_t at = 0; at < data.size(); at += chunk) {
            all += joined(model_sort(fixed_items(data.substr(at, chunk), to_size(argsInfo.recLen), rules), rules));
        }
        return all;
    }

    /// Requests for memory of at least so many bytes that an empty input makes; there is no pool to take them from.
    int requests_from(kx_i64 bytes) {
        start_blocks();
        const Fault refused({.smallest = bytes});
        messages_of([this] { split(""); });
        return Fault::calls();
    }

    std::mt19937 random_{7};
};

TEST_F(SplitFix, ChunksHoldWholeRecordsAndTheirSlots) {
    const struct {
        kx_i64 length, stable, total, chunk;
    } rows[] = {
        {100, 0, 16777216, 14563500},      {100, 1, 16777216, 13559100},    {100, 0, 67108864, 61166900},
        {1, 0, 16777216, 1747626},         {1, 1, 16777216, 925214},        {15728632, 0, 16777216, 15728632},
        {7, 0, 2147483647, 1001669697},    {7, 1, 2147483647, 653262841},   {8388608, 0, 67108864, 58720256},
        {15728624, 1, 16777216, 15728624}, {655361, 0, 16777216, 15073303},
    };
    use_pool(1024);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.length);
        set_fixed(row.length);
        argsInfo.bStabilize = row.stable;
        argsInfo.totalMemSize = row.total;
        EXPECT_EQ(requests_from(row.chunk), 1);
        EXPECT_EQ(requests_from(row.chunk + 1), 0);
    }
}

TEST_F(SplitFix, TenBlocksOfFourRecords) {
    const string data = random_bytes(random_, kAlphabets[1], 400);
    set_budget(4 * (10 + 8));
    ASSERT_EQ(split(data), 0);
    EXPECT_EQ(dataInfo.cnt, 10);
    EXPECT_EQ(layout(), "0+40/4 40+40/4 80+40/4 120+40/4 160+40/4 200+40/4 240+40/4 280+40/4 320+40/4 360+40/4");
    EXPECT_EQ(kx_splitSort_offset_fix, 400);
    const string sorted = temporary();
    for (std::size_t at = 0; at < 400; at += 40) {
        const Rules rules{.keys = {{.position = 0, .length = 2}}};
        EXPECT_TRUE(is_sorted_output(sorted.substr(at, 40), fixed_items(data.substr(at, 40), 10, rules), rules));
    }
}

TEST_F(SplitFix, ANewDescriptorHoldsNothingElse) {
    set_budget(18);
    ASSERT_EQ(split(string(10, 'x')), 0);
    const UnitDataInfo &unit = block(0);
    EXPECT_EQ(unit.offset + unit.currRec + unit.bufSize + unit.bufOffset + unit.index, 0);
    EXPECT_EQ(unit.justOutRecLen + unit.justOutKeyNum, 0);
    EXPECT_TRUE(unit.buf == nullptr && unit.justOutKeyInfo == nullptr && unit.justOutRecAddr == nullptr);
    EXPECT_TRUE(unit.fileInfo == nullptr && unit.RecordList == nullptr);
}

TEST_F(SplitFix, AStableSortTakesTwoSlotsARecord) {
    argsInfo.bStabilize = 1;
    set_budget(4 * 26);
    ASSERT_EQ(split(string(100, 'x')), 0);
    EXPECT_EQ(layout(), "0+40/4 40+40/4 80+20/2");
    start_blocks();
    set_budget(4 * 26 - 1);
    ASSERT_EQ(split(string(100, 'x')), 0);
    EXPECT_EQ(layout(), "0+30/3 30+30/3 60+30/3 90+10/1");
}

TEST_F(SplitFix, SortsByAllKindsOfKeys) {
    const std::vector<std::vector<ModelKey>> all_keys = {
        {},
        {{.position = 3, .length = 2}},
        {{.position = 1, .length = 4, .numeric = true}},
        {{.position = 0, .length = 1, .descending = true}, {.position = 6, .length = 3, .numeric = true}},
        {{.position = 9, .length = 1, .numeric = true}}, // reads on behind the record
    };
    for (const std::vector<ModelKey> &keys : all_keys) {
        for (const Alphabet &alphabet : kAlphabets) {
            SCOPED_TRACE(alphabet.name);
            const Rules rules{.keys = keys, .descending = random_() % 2 == 0, .stable = true};
            const string data = random_bytes(random_, alphabet, 630);
            start_blocks();
            set_rules(rules);
            set_budget(26 * 13);
            ASSERT_EQ(split(data), 0);
            EXPECT_EQ(dataInfo.cnt, 5);
            EXPECT_EQ(temporary(), sorted_chunks(data, 130, rules));
        }
    }
}

// A number at a record's end goes on in the next record of the chunk, and stops at the chunk's end.
TEST_F(SplitFix, ANumberReadsOnInItsChunkOnly) {
    set_fixed(4);
    set_rules({.keys = {{.position = 2, .length = 2, .numeric = true}}, .stable = true});
    set_budget(3 * (4 + 16));
    ASSERT_EQ(split("a   7b 3c    9d 1e  "), 0);
    // "a" is 7 (first digit of the next record), "7b 3" is 3, "c   " has nothing behind it in its chunk: 0.
    EXPECT_EQ(temporary(), "c   7b 3a    9d 1e  ");
    EXPECT_EQ(layout(), "0+12/3 12+8/2");
}

TEST_F(SplitFix, ExactlyWholeChunksAndOneByteMore) {
    set_budget(72);
    ASSERT_EQ(split(string(120, 'x')), 0);
    EXPECT_EQ(layout(), "0+40/4 40+40/4 80+40/4");
    start_blocks();
    ASSERT_EQ(split(string(121, 'x')), 0);
    // Kept: the block of one byte counts it, though nothing of it is written.
    EXPECT_EQ(layout(), "0+40/4 40+40/4 80+40/4 120+1/0");
    EXPECT_EQ(temporary().size(), 120U);
    EXPECT_EQ(kx_splitSort_offset_fix, 121);
}

TEST_F(SplitFix, AFragmentBehindRecordsCountsToo) {
    set_budget(72);
    ASSERT_EQ(split(string(69, 'x')), 0);
    EXPECT_EQ(layout(), "0+40/4 40+29/2");
    EXPECT_EQ(temporary().size(), 60U);
}

TEST_F(SplitFix, UniqueBlocksCountWhatTheyWrote) {
    argsInfo.bUnique = 1;
    set_budget(72);
    ASSERT_EQ(split("aa-------1bb-------1aa-------2aa-------3"
                    "cc-------1bb-------2aa-------4cc-------2"
                    "dd-------1dd----"),
              0);
    EXPECT_EQ(layout(), "0+20/2 20+30/3 50+10/1");
    EXPECT_EQ(kx_splitSort_offset_fix, 60);
    EXPECT_EQ(temporary(), "aa-------1bb-------1aa-------4bb-------2cc-------1dd-------1");
    start_blocks();
    ASSERT_EQ(split(string(40, 'x') + "y"), 0);
    EXPECT_EQ(layout(), "0+10/1 10+0/0") << "a fragment alone";
}

// By design every input starts at position 0 again, though its blocks are appended.
TEST_F(SplitFix, ASecondInputRestartsThePositions) {
    set_budget(72);
    ASSERT_EQ(split(string(60, 'x')), 0);
    ASSERT_EQ(split(string(50, 'y')), 0);
    EXPECT_EQ(dataInfo.cnt, 4);
    EXPECT_EQ(layout(), "0+40/4 40+20/2 0+40/4 40+10/1");
    EXPECT_EQ(kx_splitSort_offset_fix, 50);
    EXPECT_EQ(temporary(), string(60, 'x') + string(50, 'y'));
}

TEST_F(SplitFix, AnEmptyInputMakesNoBlock) {
    set_budget(72);
    kx_splitSort_offset_fix = 99;
    ASSERT_EQ(split(""), 0);
    EXPECT_EQ(layout(), "");
    EXPECT_EQ(dataInfo.cnt, 0);
    EXPECT_EQ(kx_splitSort_offset_fix, 0);
    EXPECT_EQ(memPool->qnum, 0) << "the chunk buffer is given back";
}

// The input grows while it is read: a chunk that came up short makes all later ones as short.
TEST_F(SplitFix, AfterAShortReadTheChunkStaysSmaller) {
    set_budget(72);
    static string path;
    path = box.path("in");
    static int reads;
    reads = 0;
    kx_fault_hook = [](kx_site site, kx_i64) {
        if (site == kx_site::read && ++reads == 3) { // behind 25 bytes and the end of the input
            const int fd = open(path.c_str(), O_WRONLY | O_APPEND);
            EXPECT_EQ(write(fd, string(30, 'y').c_str(), 30), 30);
            close(fd);
        }
        return false;
    };
    ASSERT_EQ(split(string(25, 'x')), 0);
    EXPECT_EQ(layout(), "0+25/2 25+25/2 50+5/0");
}

TEST_F(SplitFix, VerboseLines) {
    VERBOSE = 1;
    set_budget(18 * 300);
    string text = messages_of([this] { EXPECT_EQ(split(string(6000, 'x')), 0); });
    const string index = "[_kx_get_indexList]がかかった[#]msです。\n";
    EXPECT_EQ(steady(text), "分割ソート用バッファサイズは[2]KBです。\n" + index + "ブロック1 を処理しました！ \n" +
                                index + "ブロック2 を処理しました！ \n");
    speak_japanese(); // no other words there
    text = messages_of([this] { EXPECT_EQ(split(string(10, 'x')), 0); });
    EXPECT_EQ(steady(text), "分割ソート用バッファサイズは[2]KBです。\n" + index + "ブロック3 を処理しました！ \n");
    VERBOSE = 0;
    EXPECT_EQ(messages_of([this] { EXPECT_EQ(split(string(10, 'x')), 0); }), "");
}

// A record that no chunk can hold must not be lost in silence.
TEST_F(SplitFix, AChunkOfNoRecordsIsRefusedWithData) {
    for (const bool stable : {false, true}) {
        argsInfo.bStabilize = stable ? 1 : 0;
        set_budget(10 + (stable ? 16 : 8) - 1);
        EXPECT_EQ(messages_of([this] { EXPECT_EQ(split("0123456789"), 1); }),
                  "☆ Record length [10] is too long for sorting within [1024]KB memory!\n");
        EXPECT_EQ(messages_of([this] { EXPECT_EQ(split(""), 0); }), "");
        EXPECT_EQ(dataInfo.cnt, 0);
        set_budget(10 + (stable ? 16 : 8));
        EXPECT_EQ(messages_of([this] { EXPECT_EQ(split("0123456789"), 0); }), "");
        EXPECT_EQ(layout(), "0+10/1");
        start_blocks();
    }
    set_budget(0);
    speak_japanese();
    EXPECT_EQ(messages_of([this] { EXPECT_EQ(split("x"), 1); }),
              "☆レコード長[10]はメモリ[1024]KBでのソートには長すぎます！\n");
    const Fault fault({.site = kx_site::read});
    EXPECT_EQ(messages_of([this] { EXPECT_EQ(split("x"), 1); }), kUnreadJa);
}

// --- failures ------------------------------------------------------------------------------------------------------

FaultPlan of_size(kx_i64 bytes) { return {.smallest = bytes, .largest = bytes}; }

class SplitFixFails : public SplitFix {
  protected:
    SplitFixFails() { set_budget(18 * 300); }

    /// Both wordings of the failure of splitting 601 records in chunks of 300 while something is refused.
    void expect(const string &english, const string &japanese, FaultPlan plan) {
        for (const bool ja : {false, true}) {
            setenv("LANG", ja ? kJapanese : "C", 1);
            use_pool(1 << 16);
            start_blocks();
            exhaust_pool();
            const Fault fault(plan);
            EXPECT_EQ(messages_of([this] { EXPECT_EQ(split(string(6010, 'x')), 1); }), ja ? japanese : english);
            EXPECT_GE(Fault::calls(), plan.call);
        }
    }
};

TEST_F(SplitFixFails, WithoutAChunkBuffer) {
    expect("☆ Failed to allocate [2]KB memory for split sort buffer! \n",
           "☆分割ソート用バッファ[2]KBメモリの割当は失敗しました！ \n", of_size(3000));
}

TEST_F(SplitFixFails, WithoutReading) {
    expect(kUnread, kUnreadJa, {.site = kx_site::read, .call = 1});
    EXPECT_EQ(dataInfo.cnt, 0);
    expect(kUnread, kUnreadJa, {.site = kx_site::read, .call = 2});
    EXPECT_EQ(dataInfo.cnt, 1) << "a stream error is not the end of the input";
    expect(kUnread, kUnreadJa, {.site = kx_site::read, .call = 3, .onwards = true});
}

TEST_F(SplitFixFails, WithoutAnIndex) {
    expect("☆ Failed to allocate [3]KB memory!\n", "☆[3]KBメモリの割当は失敗しました！\n", of_size(300 * 8));
}

TEST_F(SplitFixFails, WithoutMergeBuffers) {
    argsInfo.bStabilize = 1;
    set_budget(26 * 300);
    expect("☆ Failed to call kx_list_msort function during split sort (kx_splitSortFile)! \n",
           "☆分割ソート中にkx_list_msort函数の呼び込みは失敗しました(kx_splitSortFile)！ \n", of_size(150 * 8));
    argsInfo.bStabilize = 0;
    set_budget(18 * 300);
    const Fault fault(of_size(150 * 8));
    EXPECT_EQ(split(string(3000, 'x')), 0) << "the other sort does without";
}

TEST_F(SplitFixFails, WithoutADescriptor) {
    expect("☆ Failed to allocate [120] bytes for block information management! \n",
           "☆ブロック情報管理用[120]メモリの割当は失敗しました！ \n", of_size(to_i64(sizeof(UnitDataInfo))));
    EXPECT_EQ(dataInfo.cnt, 0);
}

TEST_F(SplitFixFails, WithoutWriting) {
    for (const kx_i64 unique : {0, 1}) {
        argsInfo.bUnique = unique;
        expect("☆ Error occurred while writing to output file during split sort!\n",
               "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n",
               {.site = kx_site::write, .call = 1});
    }
}

} // namespace
