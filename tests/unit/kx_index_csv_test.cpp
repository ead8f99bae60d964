// kx_index_csv_test.cpp: where the index finds records, fields and records without their key columns.
#include <random>
#include <string>
#include <vector>

#include "support/csv_index_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

// --- records and fields ------------------------------------------------------------------------------------------

struct Cut {
    const char *name;
    string text;
    std::vector<string> records;
    std::vector<Fields> fields;
    kx_i64 used;
    CsvShape shape = {};
};
void PrintTo(const Cut &cut, std::ostream *to) { *to << cut.name; }

class CsvCuts : public CsvIndex, public testing::WithParamInterface<Cut> {};

TEST_P(CsvCuts, IntoRecordsAndFields) {
    const Cut &cut = GetParam();
    configure({.shape = cut.shape});
    const Built built = build(cut.text);
    EXPECT_TRUE(built.complete);
    EXPECT_EQ(built.messages, "");
    EXPECT_EQ(built.records, cut.records);
    EXPECT_EQ(built.fields, cut.fields);
    EXPECT_EQ(bufDealedSize, cut.used);
    release_arrays();
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CsvCuts,
    testing::Values(
        Cut{"nothing", "", {}, {}, 0}, Cut{"no_newline", "a,b", {}, {}, 0},
        Cut{"quoted_delimiter", "a,\"b,c\",d\n", {"a,\"b,c\",d\n"}, {{{0, 1}, {2, 5}, {8, 1}}}, 10},
        Cut{"quoted_newline", "1,\"x\ny\",2\n", {"1,\"x\ny\",2\n"}, {{{0, 1}, {2, 5}, {8, 1}}}, 10},
        Cut{"doubled_quotes", "\"a\"\",\"\"b\",c\n", {"\"a\"\",\"\"b\",c\n"}, {{{0, 9}, {10, 1}}}, 12},
        Cut{"empty_field", "a,,b\n", {"a,,b\n"}, {{{0, 1}, {2, 0}, {3, 1}}}, 5},
        Cut{"empty_fields_only", ",,\n", {",,\n"}, {{{0, 0}, {1, 0}, {2, 0}}}, 3},
        Cut{"empty_records", "\n\n", {"\n", "\n"}, {{{0, 0}}, {{0, 0}}}, 2},
        Cut{"one_field", "abc\r\n", {"abc\r\n"}, {{{0, 3}}}, 5, {.newline = "\r\n"}},
        Cut{"lone_cr_and_lf", "a\rb\nc\r\n", {"a\rb\nc\r\n"}, {{{0, 5}}}, 7, {.newline = "\r\n"}},
        Cut{"rest_left_out", "a\nb\nrest", {"a\n", "b\n"}, {{{0, 1}}, {{0, 1}}}, 4},
        Cut{"open_quote", "a\n\"b\nc\nd\n", {"a\n"}, {{{0, 1}}}, 2},
        Cut{"quote_in_the_middle", "a\"b,c\"d,e\n", {"a\"b,c\"d,e\n"}, {{{0, 7}, {8, 1}}}, 10},
        // The second field's own quotes are odd, so no delimiter follows in it although the record is balanced.
        Cut{"odd_field", "a\"x,y\",\"z\",b\n", {"a\"x,y\",\"z\",b\n"}, {{{0, 6}, {7, 3}, {11, 1}}}, 13},
        Cut{"quote_of_a_field_counts_from_the_field",
            "a,b\"c,\"d,e\n",
            {"a,b\"c,\"d,e\n"},
            {{{0, 1}, {2, 6}, {9, 1}}},
            11},
        Cut{"long_delimiter", "a::b:c::d\n", {"a::b:c::d\n"}, {{{0, 1}, {3, 3}, {8, 1}}}, 10, {.delimiter = "::"}},
        Cut{"delimiter_is_newline", "ab\n", {"ab\n"}, {{{0, 2}, {3, 0}}}, 3, {.delimiter = "\n"}},
        Cut{"delimiter_takes_the_newline", "a;\n", {"a;\n"}, {{{0, 1}, {3, 0}}}, 3, {.delimiter = ";\n"}},
        Cut{"delimiter_is_half_a_newline",
            "a\r\n",
            {"a\r\n"},
            {{{0, 1}, {2, 0}}},
            3,
            {.newline = "\r\n", .delimiter = "\r"}}),
    [](const auto &cut) { return cut.param.name; });

const CsvShape kShapes[] = {{},
                            {.newline = "\r\n"},
                            {.newline = "\r", .delimiter = ";"},
                            {.delimiter = "ab"},
                            {.delimiter = "aba"},
                            {.delimiter = "a::b"},
                            {.delimiter = ";;;;"},
                            {.delimiter = "\n"},
                            {.delimiter = ";\n"},
                            {.delimiter = "\n\n"},
                            {.newline = "\r\n", .delimiter = "\n"},
                            {.newline = "\r\n", .delimiter = "\r"},
                            {.newline = "\r\n", .delimiter = "\r\n"},
                            {.newline = "\r", .delimiter = "\r\n;"},
                            {.newline = "\r\n", .delimiter = "a\r"}};

string random_csv(std::mt19937 &random, std::size_t size) {
    static const string letters[] = {
        "a,\"\n", "ab,;:\r\n\"\"\"\"", "abababababab:;,\n", "aaaaaaaaaaaaaa,b,c\n", ";;;;;;\"a\r\n\r\n", "\n\n\n,a"};
    const string &from = letters[random() % std::size(letters)];
    string text(size, ' ');
    for (char &c : text) {
        c = from[random() % from.size()];
    }
    return text;
}

TEST_F(CsvIndex, RandomBytesWithoutKeys) {
    std::mt19937 random(11);
    for (int round = 0; round < 1500; ++round) {
        const CsvShape &shape = kShapes[random() % std::size(kShapes)];
        expect_as_model(random_csv(random, random() % 400), {.shape = shape});
    }
}

TEST_F(CsvIndex, RandomBytesWithKeys) {
    std::mt19937 random(12);
    for (int round = 0; round < 2000; ++round) {
        CsvRules rules{.shape = kShapes[random() % std::size(kShapes)]};
        for (std::size_t n = 1 + random() % 4; n > 0; --n) {
            rules.keys.push_back({.column = static_cast<int>(1 + random() % 5)}); // now and then one column twice
        }
        const string text = random_csv(random, random() % 400);
        expect_as_model(text, rules);
    }
}

// --- key entries -------------------------------------------------------------------------------------------------

TEST_F(CsvIndex, EntriesFollowTheKeysNotTheColumns) {
    configure({.keys = {{.column = 2}, {.column = 1}}});
    const Built built = build("x,y\nlong,,z\n");
    EXPECT_EQ(built.fields, (std::vector<Fields>{{{2, 1}, {0, 1}}, {{5, 0}, {0, 4}}}));
    EXPECT_EQ(payload(keyInfoArray), 2 * 2 * 8) << "sized once";
    release_arrays();
}

TEST_F(CsvIndex, TwoKeysOnOneColumnMakeEveryRecordAnErrorRecord) {
    configure({.keys = {{.column = 1}, {.column = 1}}});
    keep_errors();
    const Built built = build("a,b\nc\n");
    EXPECT_TRUE(built.complete);
    EXPECT_TRUE(built.records.empty());
    EXPECT_EQ(built.errors, "c\na,b\n");
    release_arrays();
}

// The quote behind the last key column would join everything that follows.
TEST_F(CsvIndex, ColumnsBehindTheLastKeyAreNotLookedAt) {
    configure({.keys = {{.column = 1}}});
    const Built built = build("a,\"b\"\"\n");
    EXPECT_TRUE(built.records.empty()) << "an odd number of quotes in the record";
    EXPECT_EQ(bufDealedSize, 0);
    release_arrays();
    const Built other = build("a,b\"c,\"d\n");
    EXPECT_EQ(other.fields, (std::vector<Fields>{{{0, 1}}}));
    release_arrays();
}

TEST_F(CsvIndex, EveryRecordsEntriesHaveTheirPlace) {
    configure({.keys = {{.column = 2}, {.column = 1}}});
    const string text = "a,b\nx\nc,d\n";
    block_.reset(new char[text.size()]);
    text.copy(block_.get(), text.size());
    const kx_list_owner list(_kx_get_indexList_csv(block_.get(), to_i64(text.size())));
    ASSERT_EQ(kx_list_len(list.get()), 2);
    const auto *records = static_cast<const RecordInfo_csv *>(recordInfoArray);
    EXPECT_EQ(kx_list_get(list.get(), 0), records);
    EXPECT_EQ(kx_list_get(list.get(), 1), records + 2);
    EXPECT_EQ(records[0].keyInfo, keyInfoArray);
    EXPECT_EQ(records[2].keyInfo, keyInfoArray + 4);
    EXPECT_EQ(payload(keyInfoArray), 3 * 2 * 8) << "error records have their entries, too";
    release_arrays();
}

} // namespace
