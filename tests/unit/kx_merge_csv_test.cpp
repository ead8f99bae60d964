// kx_merge_csv_test.cpp: the merge of CSV blocks, made by hand and by split sorts, in buffers of a few bytes.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/csv_blocks.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

using Block = std::vector<CsvRecord>;

const string kReleased = "メモリ解放がかかった[#]msです。\n";
const string kUnreadable = "☆一時ファイルの読み込み中にエラーが発生しました！\n"; // in every language

class MergeCsv : public CsvBlocks {
  protected:
    struct Outcome {
        int status = -1;
        string messages, output;
    };

    /// Merges the blocks of dataInfo, which stand in these bytes, with `budget` bytes above the reserve.
    Outcome merge(const string &temporary, kx_i64 budget) {
        box.write("temporary", temporary);
        argsInfo.totalMemSize = BASIC_SIZE + budget;
        Outcome outcome;
        with_files("temporary", "out", [&](kx_stream &tmp, kx_stream &out) {
            outcome.messages = steady(messages_of([&] { outcome.status = kx_mergeSortFile_csv(tmp, out); }));
        });
        outcome.output = box.read("out");
        return outcome;
    }

    /// The blocks' bytes, and their descriptors in dataInfo.
    string store(const std::vector<Block> &blocks) {
        string file;
        for (const Block &records : blocks) {
            string stored;
            for (const CsvRecord &record : records) {
                stored += temporary_record(record.bytes, locators_of(record, rules_));
                argsInfo.maxRecLen = std::max(argsInfo.maxRecLen, to_i64(record.bytes.size()));
            }
            add_block(file, stored, records.size());
        }
        return file;
    }

    /// Blocks of one text each, in the order in which they are written down.
    [[nodiscard]] std::vector<Block> blocks_of(const std::vector<string> &texts) const {
        std::vector<Block> blocks;
        for (const string &text : texts) {
            blocks.push_back(csv_records(text, rules_.shape));
        }
        return blocks;
    }

    string merged(const std::vector<string> &texts, kx_i64 budget = 1 << 20) {
        argsInfo.maxRecLen = 0;
        const Outcome outcome = merge(store(blocks_of(texts)), budget);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.messages, kReleased);
        EXPECT_EQ(kx_list_len(dataInfo.list), 0);
        EXPECT_EQ(memPool->qnum, 0);
        dataInfo.cnt = 0;
        return outcome.output;
    }

    void expect_as_model(const std::vector<Block> &blocks, kx_i64 budget) {
        argsInfo.maxRecLen = 0;
        const string file = store(blocks);
        const Outcome outcome = merge(file, budget);
        ASSERT_EQ(outcome.status, 0) << outcome.messages;
        ASSERT_EQ(outcome.messages, kReleased);
        ASSERT_EQ(outcome.output, csv_merge(blocks, rules_)) << "budget " << budget;
        dataInfo.cnt = 0;
    }
};

// --- order -------------------------------------------------------------------------------------------------------

TEST_F(MergeCsv, ByKeysThroughTheirLocators) {
    configure({.keys = {{.column = 2, .numeric = true}, {.column = 1, .descending = true}}});
    EXPECT_EQ(merged({"x,1\nb,10\na,10\n", "z,1\n\"q,r\",9\n", "c,10\n"}),
              "z,1\nx,1\n\"q,r\",9\nc,10\nb,10\na,10\n");
}

TEST_F(MergeCsv, EmptyFieldsLast) {
    for (const bool descending : {false, true}) {
        configure({.keys = {{.column = 1, .numeric = true, .descending = descending}}, .empty_last = true});
        EXPECT_EQ(merged(descending ? std::vector<string>{"5,a\n,b\n", "-1,c\n,d\n"}
                                    : std::vector<string>{"-1,c\n,d\n", "5,a\n,b\n"}),
                  descending ? "5,a\n-1,c\n,d\n,b\n" : "-1,c\n5,a\n,b\n,d\n")
            << "among equal heads the one advanced last";
    }
}

TEST_F(MergeCsv, EqualRecordsInBlockOrderWhenStable) {
    const std::vector<string> texts = {"a,1\na,2\nb,3\n", "a,4\na,5\n", "a,6\nb,7\n"};
    configure({.keys = {{.column = 1}}, .stable = true});
    EXPECT_EQ(merged(texts), "a,1\na,2\na,4\na,5\na,6\nb,3\nb,7\n");
    configure({.keys = {{.column = 1}}});
    EXPECT_EQ(merged({"a,1\na,2\n", "a,4\na,5\n"}), "a,1\na,2\na,4\na,5\n");
}

TEST_F(MergeCsv, UniqueKeepsTheFirstOfEachKey) {
    configure({.keys = {{.column = 2}, {.column = 1, .numeric = true}}, .stable = true, .unique = true});
    EXPECT_EQ(merged({"1,a,x\n2,b,x\n", "+1,a,y\n3,c,y\n", "01,a,z\n2,b,z\n"}), "1,a,x\n2,b,x\n3,c,y\n");
    EXPECT_EQ(merged({"1,a\n", "1,a\n", "1,a\n"}), "1,a\n");
    configure({.whole = false, .unique = true});
    EXPECT_EQ(merged({"x\ny\n", "z\n"}), "x\n") << "without keys all are equal";
}

// The count of fields decides as soon as a field ties, so "a,z" stands before "ab" and "ab" before "a,b,c".
TEST_F(MergeCsv, WholeRecordsByTheRunsOwnOrder) {
    configure({});
    EXPECT_EQ(merged({"a,z\n", "ab\n"}), "ab\na,z\n") << "fewer fields first";
    EXPECT_EQ(merged({"b\n", "a,z\n"}), "a,z\nb\n") << "unless the bytes differ";
    EXPECT_EQ(merged({"ab,x\n", "a,y\n"}), "a,y\nab,x\n") << "the same count: the shorter field";
    configure({.descending = true});
    EXPECT_EQ(merged({"a,z\n", "ab\n"}), "a,z\nab\n");
    EXPECT_EQ(merged({"a,y\n", "ab,x\n"}), "ab,x\na,y\n");
    configure({.empty_last = true});
    EXPECT_EQ(merged({",b,c\n", ",a\n"}), ",a\n,b,c\n") << "two empty fields are passed";
    EXPECT_EQ(merged({",b\n", "z\n"}), "z\n,b\n");
}

// --- against the model -------------------------------------------------------------------------------------------

string random_records(std::mt19937 &random, const CsvShape &shape) {
    string text;
    for (std::size_t n = 1 + random() % 30; n > 0; --n) {
        for (std::size_t fields = 1 + random() % 4; fields > 0; --fields) {
            static const string values[] = {"", "", "a", "b", "ab", "abc", "0", "7", "-7", "+7x", "\"q,\n\"", "\"\"\"\"", "10"};
            text += values[random() % std::size(values)] + (fields > 1 ? shape.delimiter : "");
        }
        text += random() % 20 == 0 ? string(random() % 200, '.') + shape.newline : shape.newline;
    }
    return text;
}

CsvRules random_rules(std::mt19937 &random) {
    static const CsvShape shapes[] = {{}, {.delimiter = ";;"}, {.newline = "\r\n"}};
    const auto flip = [&] { return random() % 2 == 0; };
    CsvRules rules{.shape = shapes[random() % 3], .descending = flip(), .empty_last = flip(), .stable = flip(),
                   .unique = flip()};
    for (int n = static_cast<int>(random() % 3); n > 0; --n) {
        rules.keys.push_back({.column = n, .numeric = flip(), .descending = flip()});
    }
    return rules;
}

/// The records of a text that have all key columns, in order.
Block sorted_block(const string &text, const CsvRules &rules) {
    Block block;
    const std::vector<Item> items = model_sort(csv_items(text, rules), {});
    for (const Item &item : items) {
        block.push_back(csv_records(item.bytes, rules.shape).at(0));
    }
    return block;
}

/// Whole records have no consistent order, so the first sort of three heads or more could go either way.
bool heads_are_in_one_order(const std::vector<Block> &blocks, const CsvRules &rules) {
    const auto order = [&](std::size_t a, std::size_t b) { return csv_head_order(blocks[a][0], blocks[b][0], rules); };
    const std::size_t n = blocks.size();
    for (std::size_t i = 0; i < n * n * n; ++i) {
        const std::size_t a = i % n, b = i / n % n, c = i / n / n;
        if (order(a, b) <= 0 && order(b, c) <= 0 && order(a, c) > std::max(order(a, b), order(b, c))) {
            return false;
        }
    }
    return true;
}

class MergeCsvRandom : public MergeCsv, public testing::WithParamInterface<unsigned> {};

TEST_P(MergeCsvRandom, GivesWhatTheModelGives) {
    std::mt19937 random(GetParam());
    for (int round = 0; round < 150; ++round) {
        configure(random_rules(random));
        std::vector<Block> blocks;
        for (std::size_t n = 1 + random() % 7; n > 0; --n) {
            Block block = sorted_block(random_records(random, rules_.shape), rules_);
            if (!block.empty()) {
                blocks.push_back(std::move(block));
            }
        }
        if (!heads_are_in_one_order(blocks, rules_)) {
            blocks.resize(2);
        }
        expect_as_model(blocks, random() % 3 == 0 ? 1 << 20 : static_cast<kx_i64>(random() % 9000));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MergeCsvRandom, testing::Range(1U, 7U));

// --- buffers -----------------------------------------------------------------------------------------------------

/// A record of that many bytes.
string row(const string &key, std::size_t bytes) { return key + "," + string(bytes - key.size() - 2, '.') + "\n"; }

// One block of 3 records of 32 bytes each (16 in front, 16 of text), in buffers of any size.
TEST_F(MergeCsv, EveryBufferSize) {
    configure({.keys = {{.column = 1}}});
    const string text = row("a", 16) + row("b", 16) + row("c", 16);
    for (kx_i64 budget = 0; budget < 200; ++budget) {
        EXPECT_EQ(merged({text}, budget), text);
        EXPECT_EQ(merged({row("a", 16) + row("c", 16), row("b", 40)}, budget), row("a", 16) + row("b", 40) + row("c", 16));
    }
}

/// Seeks during the merge of this one block.
class Seeks {
  public:
    Seeks() : fault_({.site = kx_site::seek, .call = 1 << 30}) {}
    [[nodiscard]] static int count() { return Fault::calls(); }

  private:
    Fault fault_;
};

// A record that ends exactly at the buffer's end is fetched again.
TEST_F(MergeCsv, ARecordAtTheBuffersEndCountsAsCut) {
    configure({.keys = {{.column = 1}}});
    const auto seeks_of = [&](const string &text, kx_i64 budget) {
        const Seeks seeks;
        EXPECT_EQ(merged({text}, budget), text);
        return Seeks::count();
    };
    EXPECT_EQ(seeks_of(row("a", 16), 4096), 1);
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 16), 4096), 2) << "the last one of every block";
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 16) + row("c", 16), 4096), 2);
    // Three quarters of the budget; 16 bytes stand in front of each record.
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 16) + row("c", 16), 4 * 22), 2) << "66 bytes hold two and a bit more";
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 24) + row("c", 24), 4 * 24), 3) << "72 bytes end with the second";
}

TEST_F(MergeCsv, RecordsWithFarMoreLocatorsThanBytes) {
    for (const bool unique : {false, true}) {
        for (const kx_i64 budget : {0, 10, 100, 1000, 100000}) {
            configure({.stable = true, .unique = unique});
            string first, second;
            for (std::size_t i = 1; i < 40; ++i) {
                first += string(2 * i, ',') + "\n";
                second += string(2 * i + 1, ',') + "\n";
            }
            string all;
            for (std::size_t i = 2; i < 80; ++i) {
                all += string(i, ',') + "\n";
            }
            EXPECT_EQ(merged({first, second}, budget), all);
        }
    }
}

TEST_F(MergeCsv, ManyBlocks) {
    configure({.keys = {{.column = 1, .numeric = true}}, .stable = true});
    std::vector<string> texts(300);
    string all;
    for (std::size_t i = 0; i < 3000; ++i) {
        texts[i * 7 % 300] += std::to_string(i) + "\n";
        all += std::to_string(i) + "\n";
    }
    EXPECT_EQ(merged(texts, 5000), all);
}

// --- unique output -----------------------------------------------------------------------------------------------

// The record staged last is compared in the staging buffer, also right after that was written out.
TEST_F(MergeCsv, StagingOverManyBuffers) {
    start_over(kx_i64{1} << 23);
    for (const bool whole : {false, true}) {
        configure({.keys = whole ? std::vector<CsvKey>{} : std::vector<CsvKey>{{.column = 1}}, .unique = true});
        string once, twice;
        for (int i = 100; i < 120; ++i) {
            once += row(std::to_string(i), 65536 + 13);
            twice += row(std::to_string(i), 65536 + 13) + row(std::to_string(i), 65536 + 13);
        }
        EXPECT_EQ(merged({once, twice, once}, kx_i64{1} << 22), once);
    }
}

TEST_F(MergeCsv, RecordsLongerThanTheStagingBuffer) {
    start_over(kx_i64{1} << 23);
    configure({.keys = {{.column = 1}}, .unique = true});
    const string a = row("a", 655360), b = row("b", 655361), c = row("c", 900000);
    EXPECT_EQ(merged({a + c, b + c, a + b}), a + b + c);
    EXPECT_EQ(merged({row("a", 10) + b, b + c, row("d", 10)}), row("a", 10) + b + c + row("d", 10));
}

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
    const auto header = [](std::int32_t length, std::int32_t count) { return int32_bytes(length) + int32_bytes(count); };
    const Damage all[] = {
        {"nothing", "", 1},
        {"half_a_header", good.substr(0, 5), 1},
        {"no_record_behind_the_first", good, 2},
        {"half_a_header_behind_the_first", good + good.substr(0, 7), 2},
        {"negative_length", header(-1, 1) + good, 2},
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

// Fields that point outside their record count as far as they lie in it.
TEST_F(MergeCsv, DamagedLocators) {
    for (const CsvField &field : {CsvField{-1, 1}, {0, -1}, {0, 1000}, {1000, 1}, {INT32_MAX, INT32_MAX}, {INT32_MIN, 5}}) {
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

const string kTotals = "totalMemSizeのサイズは[1696]KB, [1736704]Byteです。\nBASIC_SIZEのサイズは[1024]KB, [1048576]Byteです。\n";

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
