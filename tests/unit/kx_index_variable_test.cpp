// kx_index_variable_test.cpp: the index of newline-ended records.
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/lines_index_fixture.h"
#include "support/texts.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr kx_i64 kLongest = 655359; ///< bytes that an unterminated rest may have

TEST_F(LinesIndex, HoldsTheRecordsInOrder) {
    EXPECT_EQ(records_of("b\naa\n\nc\n"), (Texts{"b\n", "aa\n", "\n", "c\n"}));
    EXPECT_EQ(bufDealedSize, 8);
    EXPECT_EQ(argsInfo.maxRecLen, 3);
}

TEST_F(LinesIndex, OfNothingIsAnEmptyList) {
    bufDealedSize = 99;
    EXPECT_EQ(messages_of([&] { EXPECT_EQ(records_of(""), Texts{}); }), "");
    EXPECT_EQ(bufDealedSize, 0);
    EXPECT_EQ(argsInfo.maxRecLen, 0);
}

struct Code {
    const char *code;
    string bytes;
    Texts records;
    kx_i64 covered;
};

TEST_F(LinesIndex, FindsEveryNewlineCode) {
    const Code rows[] = {
        {"\n", "a\r\nb\rc\nd", {"a\r\n", "b\rc\n"}, 7},
        {"\r", "a\r\nb\rc\nd", {"a\r", "\nb\r"}, 5},
        {"\r\n", "a\r\nb\rc\nd", {"a\r\n"}, 3},
        {"\r\n", "a\rb\nc\r\n\r\r\n\n\r\n\r", {"a\rb\nc\r\n", "\r\r\n", "\n\r\n"}, 13},
        {"\r\n", "\r\n\r\n", {"\r\n", "\r\n"}, 4},
        {"\r\n", "\r", {}, 0},
        {"\r\n", "\n\r", {}, 0},
        {"\n", string("\0\n\0\0\n", 5), {string("\0\n", 2), string("\0\0\n", 3)}, 5},
    };
    for (const Code &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes) + " by " + testing::PrintToString(row.code));
        set_lines(row.code);
        EXPECT_EQ(records_of(row.bytes), row.records);
        EXPECT_EQ(bufDealedSize, row.covered);
    }
}

TEST_F(LinesIndex, LeavesAnUnterminatedRestOut) {
    EXPECT_EQ(records_of("ab\ncd"), Texts{"ab\n"});
    EXPECT_EQ(bufDealedSize, 3);
    EXPECT_EQ(records_of("abcd"), Texts{});
    EXPECT_EQ(bufDealedSize, 0);
    EXPECT_EQ(argsInfo.maxRecLen, 3) << "the rest does not count";
}

TEST_F(LinesIndex, ARestOf655359BytesIsStillLeftOut) {
    for (const char *code : {"\n", "\r\n"}) {
        set_lines(code);
        EXPECT_EQ(records_of(string(kLongest, 'x')), Texts{});
        EXPECT_EQ(bufDealedSize, 0);
        EXPECT_EQ(records_of(code + string(kLongest, 'x')), Texts{code});
        EXPECT_EQ(bufDealedSize, argsInfo.sep_len);
    }
}

TEST_F(LinesIndex, ARestOf655360BytesIsNoRecord) {
    const string rest(kLongest + 1, 'x');
    EXPECT_EQ(failure(rest), "☆ Invalid record length detected! \n");
    EXPECT_EQ(failure("a\n" + rest), "☆ Invalid record length detected! \n");
    EXPECT_NE(recordInfoArray, nullptr) << "stays for the caller's cleanup";
    speak_japanese();
    EXPECT_EQ(failure("a\n" + rest), "☆不正なレコード長を検知しました！ \n");
}

TEST_F(LinesIndex, ALongRecordWithItsNewlineIsOne) {
    const string record = string(2 * kLongest, 'x') + "\n";
    EXPECT_EQ(records_of(record + "a\n"), (Texts{record, "a\n"}));
    EXPECT_EQ(argsInfo.maxRecLen, 2 * kLongest + 1);
}

TEST_F(LinesIndex, ANumberMayReadUpToTheEndOfTheBlock) {
    index("a\n12");
    EXPECT_EQ(dataEnd, static_cast<RecordInfo *>(kx_list_get(list_, 0))->addr + 4);
}

// Error records: shorter, with their newline code, than the keys reach.

TEST_F(LinesIndex, ARecordReachesToTheKeysEndOrIsSetAside) {
    for (const string code : {"\n", "\r", "\r\n"}) {
        set_lines(code.c_str());
        argsInfo.keyMaxPos = 3 + argsInfo.sep_len;
        EXPECT_EQ(records_of("ab" + code + "abc" + code + "abcd" + code), (Texts{"abc" + code, "abcd" + code}));
        argsInfo.keyMaxPos = argsInfo.sep_len;
        EXPECT_EQ(records_of(code), Texts{code}) << "a newline code alone is long enough";
        argsInfo.keyMaxPos = argsInfo.sep_len + 1;
        EXPECT_EQ(records_of(code), Texts{});
        EXPECT_EQ(bufDealedSize, argsInfo.sep_len) << "error records are covered too";
        argsInfo.keyMaxPos = 0;
        EXPECT_EQ(records_of(code), Texts{code});
        kx_free(memPool, std::exchange(recordInfoArray, nullptr));
    }
    EXPECT_FALSE(errFile.open);
    EXPECT_EQ(box.files(), "tmp/");
}

// Kept: the walk runs from the last record to the first.
TEST_F(LinesIndex, ErrorRecordsOfABlockComeInReverseOrder) {
    set_error_file();
    argsInfo.keyMaxPos = 4;
    EXPECT_EQ(records_of("A\nlong\nBB\n\nlonger\nC\n"), (Texts{"long\n", "longer\n"}));
    EXPECT_EQ(error_records(), "C\n\nBB\nA\n");
    EXPECT_EQ(bufDealedSize, 20);
}

TEST_F(LinesIndex, OneErrorFileServesAllBlocks) {
    set_error_file();
    box.write("short", "from an earlier run");
    argsInfo.keyMaxPos = 3;
    index("A\nB\n");
    EXPECT_TRUE(errFile.open);
    EXPECT_EQ(errFile.capacity, 65536);
    index("long\n");
    index("C\nD\n");
    EXPECT_EQ(error_records(), "B\nA\nD\nC\n");
}

TEST_F(LinesIndex, TheErrorFileIsMadeEvenWhenNothingGoesThere) {
    set_error_file();
    index("");
    EXPECT_EQ(error_records(), "");
}

TEST_F(LinesIndex, TheLongestRecordMayBeAnErrorRecordAndStays) {
    argsInfo.keyMaxPos = 100;
    index("a\nabcde\nabc\n");
    EXPECT_EQ(kx_list_len(list_), 0);
    EXPECT_EQ(argsInfo.maxRecLen, 6);
    index("ab\n");
    EXPECT_EQ(argsInfo.maxRecLen, 6);
    index("abcdef\n");
    EXPECT_EQ(argsInfo.maxRecLen, 7);
}

TEST_F(LinesIndex, GoesOnWithoutAnErrorFileThatCannotBeMade) {
    set_error_file("no/folder");
    argsInfo.keyMaxPos = 3;
    const string name = box.path("no/folder");
    for (const bool japanese : {false, true}) {
        if (japanese) {
            speak_japanese();
        }
        const Fault no_buffer({.site = kx_site::setvbuf});
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(records_of("A\nlong\nB\n"), Texts{"long\n"}); }),
                  japanese ? "☆エラーファイル[" + name + "]は作成できません！\n"
                           : "☆ Cannot create error file [" + name + "]!\n")
            << "every block tries again";
        EXPECT_EQ(Fault::calls(), 0) << "no buffer is given to a file that is not there";
    }
    EXPECT_FALSE(errFile.open);
    EXPECT_EQ(box.files(), "tmp/");
}

TEST_F(LinesIndex, AnErrorFileWithoutBufferIsAFailure) {
    set_error_file();
    {
        const Fault fault({.site = kx_site::setvbuf});
        EXPECT_EQ(failure("a\n"), "☆ Failed to set error buffer!\n");
    }
    EXPECT_TRUE(errFile.open) << "stays for the run's cleanup";
    kx_stream_clear(errFile);
    speak_japanese();
    const Fault fault({.site = kx_site::setvbuf});
    EXPECT_EQ(failure("a\n"), "☆エラーバッファの設定はできません！\n");
}

TEST_F(LinesIndex, AnErrorFileThatCannotBeWrittenIsAFailure) {
    set_error_file("/dev/full");
    argsInfo.keyMaxPos = 1000;
    string records;
    while (records.size() <= 65536) {
        records += string(500, 'x') + "\n";
    }
    EXPECT_EQ(failure(records), "☆ Error occurred while writing error file [/dev/full]!\n");
    kx_stream_clear(errFile);
    speak_japanese();
    EXPECT_EQ(failure(records), "☆エラーファイル[/dev/full]の書き込み中にエラーが発生しました！\n");
}

// Verbose

// Kept: the time runs from the stamp that the caller set last, not from the builder's entry.
TEST_F(LinesIndex, TellsTheTimeSinceTheCallersStamp) {
    VERBOSE = 1;
    for (const bool japanese : {false, true}) {
        if (japanese) {
            speak_japanese();
        }
        start = 1000 - kx_i64{5000000} * 1000;
        const string text = messages_of([&] { index("a\n"); });
        EXPECT_EQ(start, 1000 - kx_i64{5000000} * 1000) << "the stamp stays";
        char line[200];
        std::snprintf(line, sizeof line, "[_kx_get_indexList_variable]がかかった[%8.0f]msです。\n",
                      static_cast<double>(finish - start) / 1000000.0 * 1000.0);
        EXPECT_EQ(text, line);
    }
    EXPECT_EQ(argsInfo.totalRecNum, 0) << "counting is the caller's";
}

TEST_F(LinesIndex, IsSilentUnlessVerbose) {
    EXPECT_EQ(messages_of([&] { index("a\nb"); }), "");
    EXPECT_EQ(finish, 0) << "no clock is read";
}

// Random bytes against a plain model.

string random_block(std::mt19937 &random) {
    static const string alphabets[] = {"\r\n", "a\r\n", "abcdefgh\r\n", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n\r",
                                       ""};
    const string &letters = alphabets[random() % 5];
    string bytes(random() % 3 == 0 ? random() % 20000 : random() % 200, '\0');
    for (char &c : bytes) {
        c = letters.empty() ? static_cast<char>(random()) : letters[random() % letters.size()];
    }
    return bytes;
}

TEST_F(LinesIndex, AnIndexTakesTheMemoryOfTheLastOneAndMoreWhereThatIsTooSmall) {
    const auto lines = [](std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += "x\n";
        }
        return text;
    };
    const std::string many = lines(5000), few = lines(3), more = lines(20000);
    kx_index_memory memory;
    const auto count = [&](const std::string &text) {
        const kx_list_owner list(kx_index_variable(text.data(), to_i64(text.size()), 0, memory));
        return kx_list_len(list.get());
    };
    EXPECT_EQ(count(many), 5000);
    const void *first = memory.records.block;
    const kx_i64 room = memory.records.bytes;
    EXPECT_GE(room, 5000 * to_i64(sizeof(RecordInfo)));
    EXPECT_EQ(count(few), 3);
    EXPECT_EQ(count(many), 5000);
    EXPECT_EQ(memory.records.block, first);
    EXPECT_EQ(memory.records.bytes, room);
    EXPECT_EQ(count(more), 20000);
    EXPECT_GE(memory.records.bytes, 20000 * to_i64(sizeof(RecordInfo)));
    kx_release_index_memory(memory);
    EXPECT_EQ(memory.records.block, nullptr);
}

TEST_F(LinesIndex, OfRandomBytesIsThatOfTheModel) {
    std::mt19937 random(20261121);
    set_error_file();
    const char *codes[] = {"\n", "\r", "\r\n"};
    string short_ones;
    for (int round = 0; round < 3000; ++round) {
        set_lines(codes[round % 3]);
        const std::size_t least = random() % 12;
        argsInfo.keyMaxPos = to_i64(least);
        const string bytes = random_block(random);
        const Lines expected = line_items(bytes, argsInfo.sep, {.keys = {{.position = 0, .length = least}}});
        Texts kept;
        for (const Item &item : expected.kept) {
            kept.push_back(item.bytes);
        }
        short_ones += expected.rejected();
        ASSERT_EQ(records_of(bytes), kept) << round;
        ASSERT_EQ(bufDealedSize, to_i64(joined(kept).size() + joined(expected.short_ones).size())) << round;
    }
    EXPECT_EQ(error_records(), short_ones);
}

} // namespace
