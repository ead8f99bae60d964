// kx_split_csv_failures_test.cpp: what the split sort of CSV files gives back, tells, and does when it is refused
// something.
#include <string>
#include <vector>

#include "support/csv_split_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr kx_i64 kKilo = 1024;
const string kIndexed = "[_kx_get_indexList_csv]がかかった[#]msです。\n";

// --- what is given back ------------------------------------------------------------------------------------------

// The locators go back after each block, and once more at the end of the run.
TEST_F(SplitCsv, TheReleasedLocatorsMayBeReleasedAgain) {
    for (const kx_i64 pool : {kx_i64{1} << 22, kx_i64{4096}}) { // the small one takes them from the system
        start_over(pool);
        string data;
        for (int i = 0; i < 3000; ++i) {
            data += std::to_string(i) + ",x\n";
        }
        configure({.keys = {{.column = 1, .numeric = true, .descending = true}}});
        EXPECT_EQ(split(data, 8000).status, 0);
        EXPECT_GT(dataInfo.cnt, 3);
        EXPECT_NE(keyInfoArray, nullptr);
        EXPECT_EQ(recordInfoArray, nullptr);
        EXPECT_EQ(memPool->qnum, 0);
        kx_free(memPool, keyInfoArray);
        kx_free(memPool, keyInfoArray);
        EXPECT_EQ(kx_pool_check(memPool), nullptr);
        forget_blocks();
        if (pool > 4096) {
            EXPECT_EQ(memPool->num, 1) << "nothing but the block list's record";
        }
    }
}

// --- messages ----------------------------------------------------------------------------------------------------

TEST_F(SplitCsv, AVerboseRunTellsItsChunksAndCounts) {
    VERBOSE = 1;
    configure({.keys = {{.column = 1}}});
    const Outcome one = split("b\na\n", 5000 * kKilo);
    EXPECT_EQ(steady(one.messages),
              "最初分割ソート用バッファサイズは[0]KBです。\n" + kIndexed + "ブロック1 を処理しました！ \n");
    EXPECT_EQ(argsInfo.totalRecNum, 2);
    string data;
    while (data.size() < 6000) {
        data += "abcdefg\n";
    }
    const Outcome more = split(data, 8 * kKilo);
    EXPECT_EQ(steady(more.messages), "最初分割ソート用バッファサイズは[4]KBです。\n" + kIndexed +
                                         "ブロック2 を処理しました！ \n" + kIndexed + "ブロック3 を処理しました！ \n");
    EXPECT_EQ(argsInfo.totalRecNum, 2 + 750);
    configure({});
    EXPECT_NE(split(data, 32 * kKilo).messages.find("最初分割ソート用バッファサイズは[5]KBです。\n"), string::npos)
        << "the whole file and a newline code";
}

TEST_F(SplitCsv, WhatFailsIsTold) {
    struct Row {
        const char *name;
        FaultPlan plan;
        string english, japanese;
    };
    const Row rows[] = {
        {"read",
         {.site = kx_site::read},
         "☆ Error occurred while reading input file during split sort!\n",
         "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"},
        {"seek",
         {.site = kx_site::seek},
         "☆ Error occurred while reading input file during split sort!\n",
         "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"},
        {"write",
         {.site = kx_site::write, .onwards = true},
         "☆ Error occurred while writing to output file during split sort!\n",
         "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n"},
    };
    configure({.keys = {{.column = 1}}});
    for (const Row &row : rows) {
        for (const bool japanese : {false, true}) {
            setenv("LANG", japanese ? kJapanese : "C", 1);
            const Fault fault(row.plan);
            const Outcome outcome = split("bbbbbbb\naaaaaaa\nccccccc\nddddddd\n", 40);
            EXPECT_EQ(outcome.status, 1) << row.name;
            EXPECT_EQ(outcome.messages, japanese ? row.japanese : row.english);
        }
    }
}

TEST_F(SplitCsv, RefusedMemoryIsTold) {
    configure({.keys = {{.column = 1}}});
    start_over(8192, false);
    const Outcome list = split("a\n", 4, kx_i64{1} << 40);
    EXPECT_EQ(list.status, 1);
    EXPECT_EQ(list.messages, "☆ Failed to extend block information management memory [unit_cnt units]! \n");
    const Outcome buffer = split("a\n", 200 * kKilo + 2, 200 * kKilo);
    EXPECT_EQ(buffer.status, 1);
    EXPECT_EQ(buffer.messages, "☆ Failed to allocate [100]KB memory for split sort buffer! \n");
    speak_japanese();
    EXPECT_EQ(split("a\n", 4, kx_i64{1} << 40).messages,
              "☆ブロック情報管理用メモリ[unit_cnt個]の拡張は失敗しました！ \n");
    EXPECT_EQ(split("a\n", 200 * kKilo + 2, 200 * kKilo).messages,
              "☆分割ソート用バッファ[100]KBメモリの割当は失敗しました！ \n");
}

// Whatever is refused, a split ends with its status and the pool in order.
TEST_F(SplitCsv, EveryRefusedAllocation) {
    string data;
    for (int i = 0; i < 400; ++i) {
        data += std::to_string(i * 7919 % 400) + ",\"x\n\",\n";
    }
    for (const std::vector<CsvKey> &keys : {std::vector<CsvKey>{}, {{.column = 1}}}) {
        int failed = 0;
        for (kx_i64 size = 4096; size < 400000; size = size * 17 / 16) {
            start_over(size, false);
            configure({.keys = keys, .stable = true});
            const Outcome outcome = split(data, 6000);
            EXPECT_EQ(outcome.status == 0, outcome.messages.empty()) << outcome.messages;
            failed += outcome.status;
            EXPECT_EQ(kx_pool_check(memPool), nullptr);
        }
        EXPECT_GT(failed, 3);
    }
}

} // namespace
