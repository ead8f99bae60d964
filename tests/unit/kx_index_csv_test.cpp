// kx_index_csv_test.cpp: where the index finds records, fields and records without their key columns.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/csv_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kInvalidLength = "☆不正なレコード長を検知しました！ \n"; // in every language

using Fields = std::vector<CsvField>;

class CsvIndex : public CsvState {
  protected:
    /// What one index of a block holds.
    struct Built {
        bool complete = false; ///< there is a list
        string messages;
        std::vector<string> records;
        std::vector<Fields> fields;
        string errors; ///< all that the error file holds
    };

    Built build(const string &text) {
        block_.reset(new char[text.size()]);
        text.copy(block_.get(), text.size());
        Built built;
        kx_list *list = nullptr;
        built.messages = messages_of([&] { list = _kx_get_indexList_csv(block_.get(), to_i64(text.size())); });
        const kx_list_owner owner(list);
        built.complete = list != nullptr;
        for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
            take(built, *static_cast<const RecordInfo_csv *>(kx_list_get(list, i)));
        }
        if (errFile.open && !errFile.failed) {
            EXPECT_TRUE(kx_stream_flush(errFile));
            built.errors = box.read("errors");
        }
        return built;
    }

    static void take(Built &built, const RecordInfo_csv &record) {
        Fields fields;
        for (kx_i64 k = 0; k < record.num; ++k) {
            fields.push_back({record.keyInfo[k].srtPos, record.keyInfo[k].len});
        }
        built.fields.push_back(fields);
        built.records.emplace_back(record.addr, record.len);
    }

    /// The payload bytes of a pool block.
    static kx_i64 payload(const void *block) { return static_cast<const kx_mmu *>(block)[-1].size; }

    void expect_as_model(const string &text, const CsvRules &rules) {
        configure(rules);
        argsInfo.maxRecLen = 0;
        const Built built = build(text);
        const std::vector<CsvRecord> all = csv_records(text, rules.shape);
        ASSERT_TRUE(built.complete) << text;
        ASSERT_EQ(built.messages, "");
        ASSERT_EQ(bufDealedSize, to_i64(csv_size(all)));
        ASSERT_EQ(dataEnd, block_.get() + text.size());
        std::size_t next = 0;
        kx_i64 longest = 0;
        for (const CsvRecord &record : all) {
            longest = std::max(longest, to_i64(record.bytes.size()));
            const auto fields = rules.keys.empty() ? record.fields : csv_key_fields(record, rules.keys);
            if (fields) {
                ASSERT_LT(next, built.records.size()) << text;
                ASSERT_EQ(built.records[next], record.bytes) << text;
                ASSERT_EQ(built.fields[next], *fields) << text;
                ++next;
            }
        }
        EXPECT_EQ(next, built.records.size());
        EXPECT_EQ(argsInfo.maxRecLen, longest) << "error records count";
        release_arrays();
    }

    std::unique_ptr<char[]> block_;
};

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
        Cut{"quote_of_a_field_counts_from_the_field", "a,b\"c,\"d,e\n", {"a,b\"c,\"d,e\n"}, {{{0, 1}, {2, 6}, {9, 1}}}, 11},
        Cut{"long_delimiter", "a::b:c::d\n", {"a::b:c::d\n"}, {{{0, 1}, {3, 3}, {8, 1}}}, 10, {.delimiter = "::"}},
        Cut{"delimiter_is_newline", "ab\n", {"ab\n"}, {{{0, 2}, {3, 0}}}, 3, {.delimiter = "\n"}},
        Cut{"delimiter_takes_the_newline", "a;\n", {"a;\n"}, {{{0, 1}, {3, 0}}}, 3, {.delimiter = ";\n"}},
        Cut{"delimiter_is_half_a_newline", "a\r\n", {"a\r\n"}, {{{0, 1}, {2, 0}}}, 3, {.newline = "\r\n", .delimiter = "\r"}}),
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
    static const string letters[] = {"a,\"\n", "ab,;:\r\n\"\"\"\"", "abababababab:;,\n", "aaaaaaaaaaaaaa,b,c\n",
                                     ";;;;;;\"a\r\n\r\n", "\n\n\n,a"};
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

// --- growth ------------------------------------------------------------------------------------------------------

TEST_F(CsvIndex, RecordsGrowByDoubling) {
    for (const auto &[records, capacity] : {std::pair{1, 1024}, {1024, 1024}, {1025, 2048}, {2049, 4096}}) {
        configure({.keys = {{.column = 1}}});
        string text;
        for (int i = 0; i < records; ++i) {
            text += std::to_string(i) + "\n";
        }
        const Built built = build(text);
        EXPECT_EQ(to_i64(built.records.size()), records);
        EXPECT_EQ(payload(recordInfoArray), capacity * 32) << records;
        release_arrays();
    }
}

/// Room for the entries of so many fields, record by record.
kx_i64 room_for(const std::vector<int> &field_counts) {
    const kx_i64 records = to_i64(field_counts.size());
    kx_i64 capacity = records, used = 0;
    for (const int fields : field_counts) {
        for (int i = 1; i <= fields; ++i, ++used) {
            if (used == capacity) {
                capacity = i == fields ? capacity + records : 2 * capacity;
            }
        }
    }
    return capacity;
}

// A middle field doubles the array, a record's last field adds one entry for each record.
TEST_F(CsvIndex, FieldsGrowByTheirTwoRules) {
    std::mt19937 random(13);
    std::vector<std::vector<int>> cases = {{1}, {2}, {3}, {5}, {1, 1, 1}, {1, 2, 1}, {2, 1, 1}, {3, 1}, {1, 3}};
    for (int i = 0; i < 60; ++i) {
        cases.emplace_back(1 + random() % 20);
        std::generate(cases.back().begin(), cases.back().end(), [&] { return static_cast<int>(1 + random() % 6); });
    }
    for (const std::vector<int> &counts : cases) {
        string text;
        for (const int fields : counts) {
            text += "f" + string(static_cast<std::size_t>(fields - 1), ',') + "\n";
        }
        configure({});
        const Built built = build(text);
        EXPECT_EQ(built.records.size(), counts.size());
        EXPECT_EQ(payload(keyInfoArray), room_for(counts) * 8) << text;
        release_arrays();
    }
    EXPECT_EQ(room_for({1, 1, 5}), 9) << "3, doubled, then one more for each record";
    EXPECT_EQ(room_for({1, 1, 7}), 12) << "3, doubled twice";
}

// The array moves while it grows when something lies behind it.
TEST_F(CsvIndex, EntriesAreFoundAfterTheArrayHasMoved) {
    string text;
    for (int i = 0; i < 3000; ++i) {
        text += "a,\"b\n\",,d" + string(static_cast<std::size_t>(i % 9), ',') + "\n";
    }
    use_pool(4096); // everything of size comes from the system
    expect_as_model(text, {});
}

// --- error records -----------------------------------------------------------------------------------------------

TEST_F(CsvIndex, ErrorRecordsGoOutLastFirst) {
    configure({.keys = {{.column = 3}}});
    keep_errors();
    const Built built = build("a,b\n1,2,3\nc\n\n4,5,6,7\n\"x,y\",z\n");
    EXPECT_EQ(built.records, (std::vector<string>{"1,2,3\n", "4,5,6,7\n"}));
    EXPECT_EQ(built.errors, "\"x,y\",z\n\nc\na,b\n");
    EXPECT_EQ(argsInfo.maxRecLen, 8);
    release_arrays();
    EXPECT_EQ(build("d\ne\n").errors, "\"x,y\",z\n\nc\na,b\ne\nd\n") << "one file for the run, block after block";
    release_arrays();
}

TEST_F(CsvIndex, WithoutKeysNoRecordIsAnErrorRecord) {
    configure({});
    keep_errors();
    const Built built = build("\n,\n\"\n\"\n");
    EXPECT_EQ(built.records.size(), 3U);
    EXPECT_EQ(built.errors, "") << "but the file is there";
    EXPECT_TRUE(errFile.open);
    release_arrays();
}

TEST_F(CsvIndex, LengthOfErrorRecordsCounts) {
    configure({.keys = {{.column = 2}}});
    EXPECT_TRUE(build("longest of all\na,b\n").complete);
    EXPECT_EQ(argsInfo.maxRecLen, 15);
    release_arrays();
    EXPECT_TRUE(build("c,d\n").complete);
    EXPECT_EQ(argsInfo.maxRecLen, 15) << "raised, never lowered";
    release_arrays();
}

TEST_F(CsvIndex, ARefusedErrorFileEndsInJapanese) {
    for (const bool japanese : {false, true}) {
        setenv("LANG", japanese ? kJapanese : "C", 1);
        configure({.keys = {{.column = 1}}});
        keep_errors("none/errors");
        const Built built = build("a\n");
        EXPECT_FALSE(built.complete);
        EXPECT_EQ(built.messages, "☆エラーファイル[" + box.path("none/errors") + "]は作成できません！\n");
        keep_errors();
        const Fault fault({.site = kx_site::setvbuf});
        const Built unbuffered = build("a\n");
        EXPECT_FALSE(unbuffered.complete);
        EXPECT_EQ(unbuffered.messages, "☆エラーバッファの設定はできません！\n");
        kx_stream_clear(errFile);
    }
}

TEST_F(CsvIndex, AnErrorRecordThatCannotBeWrittenEndsTheIndex) {
    configure({.keys = {{.column = 2}}});
    keep_errors();
    const Fault fault({.site = kx_site::write, .onwards = true});
    const Built built = build(string(70000, 'x') + "\n");
    EXPECT_FALSE(built.complete);
    EXPECT_EQ(built.messages, "☆ Error occurred while writing error file [" + box.path("errors") + "]!\n");
    release_arrays();
}

// --- tails -------------------------------------------------------------------------------------------------------

TEST_F(CsvIndex, ALongTailIsRefusedInJapanese) {
    for (const string &open : {string(), string("\"\n\n,")}) {
        for (const std::vector<CsvKey> &keys : {std::vector<CsvKey>{}, {{.column = 1}}}) {
            configure({.keys = keys});
            const Built left = build("a,b\n" + open + string(655359 - open.size(), 'x'));
            EXPECT_TRUE(left.complete);
            EXPECT_EQ(left.records, std::vector<string>{"a,b\n"});
            EXPECT_EQ(left.messages, "");
            EXPECT_EQ(bufDealedSize, 4);
            release_arrays();
            const Built refused = build("a,b\n" + open + string(655360 - open.size(), 'x'));
            EXPECT_FALSE(refused.complete);
            EXPECT_EQ(refused.messages, kInvalidLength);
            release_arrays();
        }
    }
}

// --- memory, time ------------------------------------------------------------------------------------------------

TEST_F(CsvIndex, RefusedMemoryIsTold) {
    string text;
    for (int i = 0; i < 3000; ++i) {
        text += std::to_string(i) + ",b,c,d\n";
    }
    for (const std::vector<CsvKey> &keys : {std::vector<CsvKey>{}, {{.column = 2}, {.column = 1}}}) {
        int refused = 0, complete = 0;
        for (kx_i64 size = 4096; size < 700000; size = size * 9 / 8) {
            use_pool(size, false);
            configure({.keys = keys});
            const Built built = build(text);
            ++(built.complete ? complete : refused);
            EXPECT_EQ(built.complete, built.messages.empty());
            EXPECT_EQ(built.complete || built.messages.find("☆ Failed to allocate [") == 0, true) << built.messages;
            release_arrays();
        }
        EXPECT_GT(refused, 3);
        EXPECT_GT(complete, 3);
    }
}

TEST_F(CsvIndex, AVerboseRunTellsTheTime) {
    VERBOSE = 1;
    configure({.keys = {{.column = 1}}});
    start = kx_clock();
    EXPECT_EQ(steady(build("a\n").messages), "[_kx_get_indexList_csv]がかかった[#]msです。\n");
    EXPECT_GE(finish, start);
    release_arrays();
}

} // namespace
