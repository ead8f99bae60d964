// kx_index_csv_growth_test.cpp: how the index's arrays grow, what it rejects, and what ends it.
#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/csv_index_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kInvalidLength = "☆不正なレコード長を検知しました！ \n"; // in every language

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
