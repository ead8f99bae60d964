// kx_split_csv_test.cpp: the split sort of CSV files with budgets of a few bytes to a few KiB.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/csv_blocks.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kIndexed = "[_kx_get_indexList_csv]がかかった[#]msです。\n";

class SplitCsv : public CsvBlocks {
  protected:
    struct Outcome {
        int status = -1;
        string messages, temporary;
    };

    /// Splits the file of those bytes with `budget` bytes above the reserve.
    Outcome split(const string &data, kx_i64 budget, kx_i64 size) {
        box.write("in", data);
        argsInfo.totalMemSize = BASIC_SIZE + budget;
        argsInfo.totalFileSize = to_i64(data.size());
        Outcome outcome;
        with_files("in", "temporary", [&](kx_stream &in, kx_stream &tmp) {
            EXPECT_TRUE(kx_stream_set_buffer(tmp, 64));
            outcome.messages = messages_of([&] { outcome.status = kx_splitSortFile_csv(in, tmp, size); });
        });
        outcome.temporary = box.read("temporary");
        return outcome;
    }
    Outcome split(const string &data, kx_i64 budget) { return split(data, budget, to_i64(data.size())); }

    /// The chunks that such a split indexes, each with what it is given at the input's end.
    [[nodiscard]] std::vector<string> chunks_of(const string &data, kx_i64 budget) const {
        const kx_i64 size = to_i64(data.size()), code = to_i64(rules_.shape.newline.size());
        kx_i64 chunk = std::max<kx_i64>(rules_.keys.empty() ? budget / 4 : budget / 2, 1);
        chunk = chunk > size ? size + code : chunk;
        kx_i64 wanted = std::max<kx_i64>(chunk - code, 1);
        std::vector<string> chunks;
        for (kx_i64 at = 0; at < size;) {
            const kx_i64 got = std::min(wanted, size - at);
            const string part = data.substr(to_size(at), to_size(got));
            if (got < wanted) {
                chunks.push_back(csv_ended(part, rules_.shape));
                return chunks;
            }
            const kx_i64 used = to_i64(csv_size(csv_records(part, rules_.shape)));
            chunks.push_back(part.substr(0, to_size(used)));
            wanted = used == 0 ? std::max(size + code, 2 * wanted) : wanted;
            at += used;
        }
        return chunks;
    }

    /// The block's records, taken apart; their locators must be those of the record.
    string bytes_of_block(const string &temporary, const UnitDataInfo &unit) {
        string bytes;
        auto at = static_cast<std::size_t>(unit.startPos);
        for (kx_i64 i = 0; i < unit.totalRecNum; ++i) {
            std::int32_t length = 0;
            std::memcpy(&length, temporary.data() + at, sizeof length);
            std::int32_t count = 0;
            std::memcpy(&count, temporary.data() + at + 4, sizeof count);
            const string record = temporary.substr(at + 8 + 8 * to_size(count), to_size(length));
            const std::vector<CsvRecord> cut = csv_records(record, rules_.shape);
            EXPECT_EQ(cut.size(), 1U) << record;
            const string stored = cut.empty() ? "" : temporary_record(record, locators_of(cut[0], rules_));
            EXPECT_EQ(temporary.substr(at, stored.size()), stored) << record;
            bytes += record;
            at += stored.size();
        }
        EXPECT_EQ(to_i64(at), unit.startPos + unit.size);
        return bytes;
    }

    void expect_blocks(const string &data, kx_i64 budget) {
        SCOPED_TRACE(std::to_string(budget) + " bytes for " + data);
        const Outcome outcome = split(data, budget);
        ASSERT_EQ(outcome.status, 0);
        ASSERT_EQ(outcome.messages, "");
        kx_i64 number = 0, position = 0;
        for (const string &chunk : chunks_of(data, budget)) {
            const std::vector<Item> items = csv_items(chunk, rules_);
            if (items.empty()) {
                continue;
            }
            ASSERT_LT(number, dataInfo.cnt);
            const UnitDataInfo &unit = block(number++);
            ASSERT_EQ(unit.startPos, position);
            position += unit.size;
            ASSERT_TRUE(is_sorted_output(bytes_of_block(outcome.temporary, unit), items, rules_.order()));
        }
        EXPECT_EQ(number, dataInfo.cnt);
        EXPECT_EQ(position, to_i64(outcome.temporary.size()));
        forget_blocks();
    }

    static void forget_blocks() {
        for (kx_i64 i = 0; i < kx_list_len(dataInfo.list); ++i) {
            kx_unitDataInfo_destroy(&block(i));
        }
        kx_list_destroy(dataInfo.list, nullptr);
        dataInfo = DataInfo{};
        dataInfo.list = __kx_list_create();
    }
};

// --- chunks ------------------------------------------------------------------------------------------------------

TEST_F(SplitCsv, ChunksAreHalfTheBudgetWithKeysAndAQuarterWithout) {
    const string data = "b,1\na,2\nd,3\nc,4\n"; // 16 bytes
    configure({.keys = {{.column = 1}}});
    EXPECT_EQ(split(data, 18).status, 0); // chunks of 9 bytes, one of them for a newline code
    EXPECT_EQ(dataInfo.cnt, 2);
    EXPECT_EQ(block(0).totalRecNum, 2);
    forget_blocks();
    EXPECT_EQ(split(data, 17).status, 0); // 8, less one: a record each
    EXPECT_EQ(dataInfo.cnt, 4);
    forget_blocks();
    configure({});
    EXPECT_EQ(split(data, 36).status, 0);
    EXPECT_EQ(dataInfo.cnt, 2);
    forget_blocks();
    EXPECT_EQ(split(data, 35).status, 0);
    EXPECT_EQ(dataInfo.cnt, 4);
}

// 8 bytes a record, 8 a locator, and the bytes.
TEST_F(SplitCsv, BlockSizes) {
    configure({.keys = {{.column = 3}, {.column = 1}, {.column = 2}}});
    EXPECT_EQ(split("b,1,x\na,2,y\n", 4096).status, 0);
    EXPECT_EQ(block(0).size, 2 * 8 + 2 * 3 * 8 + 12);
    forget_blocks();
    configure({});
    EXPECT_EQ(split("b,1,x\n\na,\n", 4096).temporary.size(), 3U * 8 + (3 + 1 + 2) * 8 + 10);
}

TEST_F(SplitCsv, ASmallFileIsOneChunkIfItEndsWithANewlineCode) {
    configure({.keys = {{.column = 1}}});
    EXPECT_EQ(split("b\na\n", 4096).status, 0);
    EXPECT_EQ(dataInfo.cnt, 1);
    EXPECT_EQ(argsInfo.totalFileSize, 4);
    forget_blocks();
    const Outcome cut = split("c\nb\na", 4096);
    EXPECT_EQ(dataInfo.cnt, 2) << "the last record is read again";
    EXPECT_EQ(block(1).totalRecNum, 1);
    EXPECT_EQ(bytes_of_block(cut.temporary, block(1)), "a\n");
    EXPECT_EQ(argsInfo.totalFileSize, 6) << "the newline code counts";
}

TEST_F(SplitCsv, TheFileMustBeSmallerThanTheBudgetToBeOneChunk) {
    configure({.keys = {{.column = 1}}});
    for (const auto &[budget, blocks] : {std::pair{10, 1}, {9, 2}, {8, 2}}) { // chunks of 5, 4, 4 for 4 bytes
        EXPECT_EQ(split("b\na\n", budget).status, 0);
        EXPECT_EQ(dataInfo.cnt, blocks) << budget;
        forget_blocks();
    }
}

// A quoted newline code on the chunk's end: the whole record comes with the next chunk.
TEST_F(SplitCsv, ACutRecordIsReadAgainWithItsQuotes) {
    const string data = "k1,\"a\nb\"\nk2,\"c\n\n,d\"\nk0,e\nk3,\"\"\"\n\"\"\"\n";
    for (kx_i64 budget = 2; budget < 200; ++budget) {
        configure({.keys = {{.column = 1}}, .stable = budget % 2 == 0});
        expect_blocks(data, budget);
        expect_blocks(data + "k4,\"x\ny\"", budget);
    }
}

TEST_F(SplitCsv, EveryInputStartsAtPositionNull) {
    configure({.keys = {{.column = 1}}});
    EXPECT_EQ(split("b\na\n", 4096).status, 0);
    EXPECT_EQ(kx_splitSort_offset_csv, 36);
    EXPECT_EQ(split("d\nc\n", 4096).status, 0);
    ASSERT_EQ(dataInfo.cnt, 2);
    EXPECT_EQ(block(1).startPos, 0) << "kept so, though the file goes on";
}

string random_csv(std::mt19937 &random, std::size_t size) {
    static const string letters[] = {"a,\"\n", "0123456789,,\n", "abc,\"\"\"\"\n\n", ",,,,,,\n", "ab,;\r\n\"\""};
    const string &from = letters[random() % std::size(letters)];
    string text(size, ' ');
    for (char &c : text) {
        c = from[random() % from.size()];
    }
    return text;
}

CsvRules random_rules(std::mt19937 &random) {
    static const CsvShape shapes[] = {{}, {}, {.delimiter = ",,"}, {.newline = "\r\n", .delimiter = ";"}};
    const auto flip = [&] { return random() % 2 == 0; };
    CsvRules rules{.shape = shapes[random() % 4], .whole = random() % 5 != 0, .descending = flip(),
                   .empty_last = flip(), .stable = flip(), .unique = flip()};
    const int first = static_cast<int>(1 + random() % 2);
    for (int n = static_cast<int>(random() % 3); n > 0; --n) {
        const bool numeric = flip() && !(rules.unique && rules.empty_last);
        rules.keys.push_back({.column = first + n - 1, .numeric = numeric, .descending = flip()});
    }
    return rules;
}

TEST_F(SplitCsv, RandomFilesAndBudgets) {
    std::mt19937 random(21);
    for (int round = 0; round < 600; ++round) {
        configure(random_rules(random));
        expect_blocks(random_csv(random, random() % 600), static_cast<kx_i64>(random() % 1500));
    }
}

// --- the end of the input ----------------------------------------------------------------------------------------

TEST_F(SplitCsv, AnOpenQuoteAtTheEndIsLeftOut) {
    for (const char *data : {"\"", "\"a", "\"a\n", "\"a\nb\nc\n", "k\n\"a\nb\n", "k\n\"a,b", "k\nj\n\"a\n\"\"\n"}) {
        for (const std::vector<CsvKey> &keys : {std::vector<CsvKey>{}, {{.column = 1}}}) {
            for (kx_i64 budget = 0; budget < 60; ++budget) {
                configure({.keys = keys});
                expect_blocks(data, budget);
            }
        }
    }
}

TEST_F(SplitCsv, AnOpenQuoteOverALongRestIsRefused) {
    start_over(kx_i64{1} << 23);
    configure({.keys = {{.column = 1}}});
    const string start = "a,b\n\"";
    for (const kx_i64 budget : {kx_i64{100}, kx_i64{1} << 20, kx_i64{1} << 22}) {
        const Outcome left = split(start + string(655359 - 2, 'x'), budget); // with its quote and a newline code
        EXPECT_EQ(left.status, 0);
        EXPECT_EQ(left.messages, "");
        EXPECT_EQ(dataInfo.cnt, 1);
        forget_blocks();
        const Outcome refused = split(start + string(655360 - 2, 'x'), budget);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.messages, "☆不正なレコード長を検知しました！ \n");
        forget_blocks();
    }
}

// A record longer than the chunk is finished, not refused.
TEST_F(SplitCsv, ARecordLongerThanTheChunk) {
    configure({.keys = {{.column = 2}}});
    for (const kx_i64 budget : {0, 1, 2, 10, 100, 1000}) {
        expect_blocks(string(3000, 'x') + ",b\nx,a\n", budget);
        expect_blocks("x,a\n\"" + string(3000, '\n') + "\",b", budget);
        expect_blocks(string(70, 'y') + ",only", budget);
        expect_blocks("x,a\n" + string(90, 'x') + ",b\nz,c\n" + string(400, 'z') + ",0\n", budget);
    }
}

TEST_F(SplitCsv, EmptyInputs) {
    for (const kx_i64 budget : {0, 1, 5, 5000}) {
        configure({.keys = {{.column = 1}}});
        expect_blocks("", budget);
        configure({});
        expect_blocks("", budget);
    }
    EXPECT_EQ(split("a\n", 100, -5).status, 0) << "less than nothing behind the header";
}

TEST_F(SplitCsv, ChunksOfErrorRecordsMakeNoBlocks) {
    configure({.keys = {{.column = 2}}});
    keep_errors();
    EXPECT_EQ(split("a\nb\nc\nd\ne\n", 10).status, 0); // chunks of 5 bytes
    EXPECT_EQ(dataInfo.cnt, 0);
    EXPECT_EQ(dataInfo.list->tab_size, 2) << "as many as were expected: 10 / 5";
    ASSERT_TRUE(kx_stream_flush(errFile));
    EXPECT_EQ(box.read("errors"), "b\na\nd\nc\ne\n") << "each block's the other way round";
    EXPECT_EQ(argsInfo.maxRecLen, 2);
}

TEST_F(SplitCsv, TheBlockListGetsItsExpectedSize) {
    configure({.keys = {{.column = 2}}});
    struct Row {
        kx_i64 size, budget, blocks;
    };
    for (const Row &row : {Row{4, 4096, 1}, {4, 10, 1}, {4, 9, 1}, {4, 6, 2}, {4, 2, 4}, {1000, 40, 50}, {1001, 40, 51}}) {
        EXPECT_EQ(split("a\nb\n", row.budget, row.size).status, 0);
        EXPECT_EQ(dataInfo.list->tab_size, row.blocks) << row.size << " bytes, budget " << row.budget;
        forget_blocks();
    }
}

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
    const Outcome one = split("b\na\n", 5000 * 1024);
    EXPECT_EQ(steady(one.messages), "最初分割ソート用バッファサイズは[0]KBです。\n" + kIndexed + "ブロック1 を処理しました！ \n");
    EXPECT_EQ(argsInfo.totalRecNum, 2);
    string data;
    while (data.size() < 6000) {
        data += "abcdefg\n";
    }
    const Outcome more = split(data, 2 * 4096);
    EXPECT_EQ(steady(more.messages), "最初分割ソート用バッファサイズは[4]KBです。\n" + kIndexed +
                                         "ブロック2 を処理しました！ \n" + kIndexed + "ブロック3 を処理しました！ \n");
    EXPECT_EQ(argsInfo.totalRecNum, 2 + 750);
    configure({});
    EXPECT_NE(split(data, 8 * 4096).messages.find("最初分割ソート用バッファサイズは[5]KBです。\n"), string::npos)
        << "the whole file and a newline code";
}

TEST_F(SplitCsv, WhatFailsIsTold) {
    struct Row {
        const char *name;
        FaultPlan plan;
        string english, japanese;
    };
    const Row rows[] = {
        {"read", {.site = kx_site::read}, "☆ Error occurred while reading input file during split sort!\n",
         "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"},
        {"seek", {.site = kx_site::seek}, "☆ Error occurred while reading input file during split sort!\n",
         "☆分割ソートでは、入力ファイルの読み込み中にエラーが発生しました！\n"},
        {"write", {.site = kx_site::write, .onwards = true},
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
    const Outcome buffer = split("a\n", 2 * 100 * 1024 + 2, 200 * 1024);
    EXPECT_EQ(buffer.status, 1);
    EXPECT_EQ(buffer.messages, "☆ Failed to allocate [100]KB memory for split sort buffer! \n");
    speak_japanese();
    EXPECT_EQ(split("a\n", 4, kx_i64{1} << 40).messages,
              "☆ブロック情報管理用メモリ[unit_cnt個]の拡張は失敗しました！ \n");
    EXPECT_EQ(split("a\n", 2 * 100 * 1024 + 2, 200 * 1024).messages,
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
