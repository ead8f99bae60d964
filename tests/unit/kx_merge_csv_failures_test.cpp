// kx_merge_csv_failures_test.cpp: damaged blocks, verbose lines and failures of the merge of CSV blocks.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/csv_merge_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

// --- nothing, damage ---------------------------------------------------------------------------------------------

TEST_F(MergeCsv, NoBlocksAreAnEmptyMerge) {
    for (const bool unique : {false, true}) {
        configure({.unique = unique});
        EXPECT_EQ(merged({}), "");
    }
}

// Whatever stands in the temporary file: a status, and nothing read or written beside the buffers.
TEST_F(MergeCsv, DamagedBlocks) {
    std::mt19937 random(31);
    int failed = 0;
    for (int round = 0; round < 1500; ++round) {
        start_over(4096); // the buffers are the system's, so that a sanitizer guards them
        configure(random_rules(random));
        std::vector<Block> blocks;
        for (std::size_t n = 1 + random() % 3; n > 0; --n) {
            blocks.push_back(csv_records("a,b,c\n" + random_records(random, rules_.shape), rules_.shape));
        }
        string file = store(blocks);
        for (std::size_t n = 1 + random() % 4; n > 0; --n) {
            static const std::int32_t values[] = {-1, 0, 1, 2, 100, 1 << 20, INT32_MAX, INT32_MIN, INT32_MAX / 8};
            const string value = int32_bytes(values[random() % std::size(values)]);
            file.replace(random() % (file.size() - 4), 4, value);
        }
        if (random() % 5 == 0) {
            file.resize(random() % file.size());
        }
        const Outcome outcome = merge(file, static_cast<kx_i64>(random() % 700000));
        EXPECT_EQ(outcome.status == 1, outcome.messages == kUnreadable) << outcome.messages;
        failed += outcome.status;
    }
    EXPECT_GT(failed, 100);
}

struct Damage {
    const char *name;
    string stored;
    kx_i64 records;
};

TEST_F(MergeCsv, DamagedHeaders) {
    const string good = temporary_record("a\n", {{0, 1}});
    const auto header = [](std::int32_t length, std::int32_t count) {
        return int32_bytes(length) + int32_bytes(count);
    };
    const Damage all[] = {
        {"nothing", "", 1},
        {"half_a_header", good.substr(0, 5), 1},
        {"no_record_behind_the_first", good, 2},
        {"half_a_header_behind_the_first", good + good.substr(0, 7), 2},
        {"negative_length", header(-1, 1) + good, 2},
        {"length_zero", temporary_record("", {{0, 0}}) + good, 2},
        {"length_zero_behind_the_first", good + temporary_record("", {{0, 0}}) + good, 3},
        {"negative_count", header(2, -1) + good, 2},
        {"both_negative", header(INT32_MIN, INT32_MIN) + good, 2},
        {"longer_than_any_record", header(100, 1) + good + good + good + good + good + good, 2},
        {"longer_than_the_block", header(2, 100) + good, 2},
        {"huge_length", good + header(INT32_MAX, 1) + good, 3},
        {"huge_count", good + header(2, INT32_MAX) + good, 3},
    };
    for (const bool unique : {false, true}) {
        for (const Damage &damage : all) {
            SCOPED_TRACE(damage.name);
            start_over(4096);
            configure({.keys = {{.column = 1}}, .unique = unique});
            argsInfo.maxRecLen = 4;
            string file;
            add_block(file, damage.stored, to_size(damage.records));
            const Outcome outcome = merge(file, 4000);
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.messages, kUnreadable);
        }
    }
}

TEST_F(MergeCsv, ALengthShorterThanTheNewlineCodeIsRefused) {
    for (const string stored : {"", "\r", "\r\n"}) {
        start_over(4096);
        configure({.shape = {.newline = "\r\n"}, .keys = {{.column = 1}}});
        argsInfo.maxRecLen = 4;
        string file;
        add_block(file, temporary_record(stored, {{0, 0}}) + temporary_record("a\r\n", {{0, 1}}), 2);
        const Outcome outcome = merge(file, 4000);
        EXPECT_EQ(outcome.status, stored.size() < 2 ? 1 : 0) << stored.size();
        EXPECT_EQ(outcome.messages, stored.size() < 2 ? kUnreadable : kReleased) << stored.size();
    }
}

TEST_F(MergeCsv, RecordsWithoutFieldsAreDamage) {
    for (const std::vector<CsvKey> &keys : {std::vector<CsvKey>{{.column = 1}}, {}}) {
        start_over(4096);
        configure({.keys = keys});
        argsInfo.maxRecLen = 4;
        string file;
        add_block(file, temporary_record("b\n", {{0, 1}}), 1);
        add_block(file, temporary_record("a\n", {}), 1);
        const Outcome outcome = merge(file, 4000);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.messages, kUnreadable);
    }
}

// Fields that point outside their record count as far as they lie in it.
TEST_F(MergeCsv, DamagedLocators) {
    for (const CsvField &field :
         {CsvField{-1, 1}, {0, -1}, {0, 1000}, {1000, 1}, {INT32_MAX, INT32_MAX}, {INT32_MIN, 5}}) {
        for (const bool unique : {false, true}) {
            start_over(4096);
            configure({.keys = {{.column = 1}}, .unique = unique});
            argsInfo.maxRecLen = 4;
            string file;
            add_block(file, temporary_record("a\n", {field}), 1);
            add_block(file, temporary_record("b\n", {{0, 1}}), 1);
            const Outcome outcome = merge(file, 4000);
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(outcome.output.size(), 4U);
        }
    }
}

// --- messages ----------------------------------------------------------------------------------------------------

const string kTotals =
    "totalMemSizeのサイズは[1696]KB, [1736704]Byteです。\nBASIC_SIZEのサイズは[1024]KB, [1048576]Byteです。\n";

TEST_F(MergeCsv, AVerboseRunTellsItsBuffers) {
    VERBOSE = 1;
    configure({.keys = {{.column = 1}}});
    // (688128 / 2) / 4 * 3
    EXPECT_EQ(merge(store(blocks_of({"a\nc\n", "b\n"})), 688128).messages,
              kTotals + "出力バッファサイズは[1]KBです。\nブロックバッファ数は[2]です。\n" +
                  "各ブロックのバッファサイズは[252]KB, [258048]Byteです。\n"
                  "ブロックバッファ0の[0]KB, [36]Byteの初期化は完了しました。\n"
                  "ブロックバッファ1の[0]KB, [18]Byteの初期化は完了しました。\n"
                  "一時ファイル⇒ブロックバッファにデータを埋め込みました。\n"
                  "総ブロック数:2  完成ブロック番号：2\n"
                  "総ブロック数:1  完成ブロック番号：1\n" +
                  kReleased);
}

TEST_F(MergeCsv, AVerboseUniqueRunTellsSomeOfItTwice) {
    VERBOSE = 1;
    configure({.keys = {{.column = 1}}, .unique = true});
    const string output = "出力バッファサイズは[640]KBです。\nブロックバッファ数は[2]です。\n";
    // ((688128 - 655360) / 2) / 4 * 3
    EXPECT_EQ(merge(store(blocks_of({"a\n", "b\n"})), 688128).messages,
              output + kTotals + output +
                  "各ブロックのバッファサイズは[12]KB, [12288]Byteです。\n"
                  "ブロックバッファ0の[0]KB, [18]Byteの初期化は完了しました。\n"
                  "ブロックバッファ1の[0]KB, [18]Byteの初期化は完了しました。\n"
                  "一時ファイル⇒ブロックバッファにデータを埋め込みました。\n"
                  "総ブロック数:2  完成ブロック番号：1\n"
                  "総ブロック数:1  完成ブロック番号：2\n" +
                  kReleased);
}

TEST_F(MergeCsv, TooSmallAShareBecomesFourRecords) {
    VERBOSE = 1;
    configure({.keys = {{.column = 1}}});
    const string text = row("a", 100) + row("b", 100) + row("c", 100) + row("d", 100);
    const Outcome outcome = merge(store(blocks_of({text})), 135); // 135 / 4 * 3
    EXPECT_EQ(outcome.output, text);
    EXPECT_NE(outcome.messages.find("☆各ブロックのバッファサイズ[99]は最大レコード長[100]より小さいです。\n"
                                    "☆各ブロックのバッファサイズを[400]Byteにします。\n"
                                    "各ブロックのバッファサイズは[0]KB, [400]Byteです。\n"
                                    "ブロックバッファ0の[0]KB, [400]Byteの初期化は完了しました。\n"),
              string::npos)
        << outcome.messages;
}

TEST_F(MergeCsv, WhatFailsIsToldInJapanese) {
    struct Row {
        bool unique;
        FaultPlan plan;
        string message;
    };
    const Row rows[] = {
        {false, {.site = kx_site::seek}, "☆一時ファイルに対するfseek操作は失敗しました!\n"},
        {true, {.site = kx_site::seek, .call = 3}, "☆一時ファイルに対するfseek操作は失敗しました!\n"},
        {false, {.site = kx_site::read}, kUnreadable},
        {true, {.site = kx_site::read, .call = 2}, kUnreadable},
        {false, {.site = kx_site::setvbuf}, "☆出力バッファの設定はできません！\n"},
        {true, {.smallest = 655360}, "☆出力バッファ[640]KBメモリの割当は失敗しました！ \n"},
    };
    for (const Row &row : rows) {
        start_over(4096);
        configure({.keys = {{.column = 1}}, .unique = row.unique});
        const string file = store(blocks_of({"a\nb\n", "c\nd\n"}));
        const Fault fault(row.plan);
        const Outcome outcome = merge(file, 1 << 20);
        EXPECT_EQ(outcome.status, 1) << row.message;
        EXPECT_EQ(outcome.messages, row.message);
    }
}

TEST_F(MergeCsv, ABlockBufferThatIsRefusedIsTold) {
    for (const bool japanese : {false, true}) {
        setenv("LANG", japanese ? kJapanese : "C", 1);
        start_over(4096);
        configure({.keys = {{.column = 1}}});
        const string file = store(blocks_of({row("a", 10), row("b", 5000)}));
        const Fault fault({.site = kx_site::allocate, .call = 2, .smallest = 5000});
        EXPECT_EQ(merge(file, 1 << 20).messages, "☆ブロックバッファ1の[5]KBメモリの割当は失敗しました!\n");
    }
}

TEST_F(MergeCsv, AFullDiskIsTold) {
    for (const bool unique : {false, true}) {
        start_over(kx_i64{1} << 22);
        set_output(box.path("out"));
        configure({.keys = {{.column = 1}}, .unique = unique});
        const string file = store(blocks_of({row("a", 400000) + row("c", 400000), row("b", 400000)}));
        const Fault fault({.site = kx_site::write});
        const Outcome outcome = merge(file, 1 << 21);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.messages, "☆ Error occurred while writing output file [" + box.path("out") + "]!\n");
    }
}

} // namespace
