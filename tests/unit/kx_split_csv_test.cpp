// kx_split_csv_test.cpp: the split sort of CSV files with budgets of a few bytes to a few KiB.
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/csv_split_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

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
    CsvRules rules{.shape = shapes[random() % 4],
                   .whole = random() % 5 != 0,
                   .descending = flip(),
                   .empty_last = flip(),
                   .stable = flip(),
                   .unique = flip()};
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
    for (const Row &row :
         {Row{4, 4096, 1}, {4, 10, 1}, {4, 9, 1}, {4, 6, 2}, {4, 2, 4}, {1000, 40, 50}, {1001, 40, 51}}) {
        EXPECT_EQ(split("a\nb\n", row.budget, row.size).status, 0);
        EXPECT_EQ(dataInfo.list->tab_size, row.blocks) << row.size << " bytes, budget " << row.budget;
        forget_blocks();
    }
}

} // namespace
