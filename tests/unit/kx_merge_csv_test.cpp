// kx_merge_csv_test.cpp: the merge of CSV blocks, made by hand and by split sorts, in buffers of a few bytes.
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/csv_merge_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

// --- order -------------------------------------------------------------------------------------------------------

TEST_F(MergeCsv, ByKeysThroughTheirLocators) {
    configure({.keys = {{.column = 2, .numeric = true}, {.column = 1, .descending = true}}});
    EXPECT_EQ(merged({"x,1\nb,10\na,10\n", "z,1\n\"q,r\",9\n", "c,10\n"}), "z,1\nx,1\n\"q,r\",9\nc,10\nb,10\na,10\n");
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

/// The records of a text that have all key columns, in order.
Block sorted_block(const string &text, const CsvRules &rules) {
    Block block;
    const std::vector<Item> items = model_sort(csv_items(text, rules), {});
    for (const Item &item : items) {
        block.push_back(csv_records(item.bytes, rules.shape).at(0));
    }
    return block;
}

/// Blocks of random records. The first sort of heads that have no consistent order could go either way, so blocks of
/// whole records begin with the same one.
std::vector<Block> random_blocks(std::mt19937 &random, const CsvRules &rules) {
    std::vector<Block> blocks;
    for (std::size_t n = 1 + random() % 7; n > 0; --n) {
        Block block = sorted_block(random_records(random, rules.shape), rules);
        if (rules.keys.empty()) {
            block.insert(block.begin(), csv_records("k" + rules.shape.newline, rules.shape).at(0));
        }
        if (!block.empty()) {
            blocks.push_back(std::move(block));
        }
    }
    return blocks;
}

class MergeCsvRandom : public MergeCsv, public testing::WithParamInterface<unsigned> {};

TEST_P(MergeCsvRandom, GivesWhatTheModelGives) {
    std::mt19937 random(GetParam());
    for (int round = 0; round < 150; ++round) {
        configure(random_rules(random));
        expect_as_model(random_blocks(random, rules_),
                        random() % 3 == 0 ? 1 << 20 : static_cast<kx_i64>(random() % 9000));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MergeCsvRandom, testing::Range(1U, 7U));

// --- buffers -----------------------------------------------------------------------------------------------------

// One block of 3 records of 32 bytes each (16 in front, 16 of text), in buffers of any size.
TEST_F(MergeCsv, EveryBufferSize) {
    configure({.keys = {{.column = 1}}});
    const string text = row("a", 16) + row("b", 16) + row("c", 16);
    for (kx_i64 budget = 0; budget < 200; ++budget) {
        EXPECT_EQ(merged({text}, budget), text);
        EXPECT_EQ(merged({row("a", 16) + row("c", 16), row("b", 40)}, budget),
                  row("a", 16) + row("b", 40) + row("c", 16));
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
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 16) + row("c", 16), kx_i64{4} * 22), 2)
        << "66 bytes hold two and a bit more";
    EXPECT_EQ(seeks_of(row("a", 16) + row("b", 24) + row("c", 24), kx_i64{4} * 24), 3)
        << "72 bytes end with the second";
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

} // namespace
