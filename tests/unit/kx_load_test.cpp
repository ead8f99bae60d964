// kx_load_test.cpp: all inputs into one buffer.
#include "kx_io/kx_load.h"

#include <memory>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/fault.h"
#include "support/feeder.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr std::size_t kLimit = 1048576; ///< how far into an input its header line is searched

class Load : public RunState {
  protected:
    /// Writes the inputs into the box and makes them the run's.
    void inputs(const std::vector<string> &contents) {
        std::vector<std::pair<string, std::size_t>> files;
        for (std::size_t i = 0; i < contents.size(); ++i) {
            const string name = "in" + std::to_string(i);
            box.write(name, contents[i]);
            files.emplace_back(box.path(name), contents[i].size());
        }
        set_inputs(files);
    }

    /// Loads into a block of exactly the promised size (all inputs and one newline code); the bytes loaded.
    static string loaded() {
        const kx_i64 room = argsInfo.totalFileSize + argsInfo.sep_len;
        const std::unique_ptr<char[]> buf(new char[to_size(room)]);
        const int status = kx_inputFile(buf.get());
        EXPECT_EQ(status, 0);
        EXPECT_FALSE(inFile.open);
        EXPECT_LE(argsInfo.totalFileSize, room);
        return status != 0 ? "(failed)" : string(buf.get(), to_size(argsInfo.totalFileSize));
    }

    /// The messages of a load that must fail.
    static string failure() {
        const std::unique_ptr<char[]> buf(new char[to_size(argsInfo.totalFileSize + argsInfo.sep_len)]);
        string text = messages_of([&] { EXPECT_EQ(kx_inputFile(buf.get()), 1); });
        EXPECT_FALSE(inFile.open) << "what was opened is closed";
        EXPECT_EQ(memPool->qnum, 0) << "the scratch block is given back";
        return text;
    }

    [[nodiscard]] string in(int i) const { return box.path("in" + std::to_string(i)); }
    static string header() { return {argsInfo.header, to_size(argsInfo.headerLen)}; }

    Box box;
};

// What a file of all records takes

TEST_F(Load, NamedInputsAreExpectedToTakeTheirSizes) {
    inputs({"ab\n", "c\n"});
    EXPECT_EQ(kx_expected_bytes(), 5);
    argsInfo.bUnique = 1;
    EXPECT_EQ(kx_expected_bytes(), 0) << "nobody knows how many are equal";
}

TEST_F(Load, StandardInputIsExpectedToTakeTheSizeOfItsFileAndOfAPipeNobodyKnows) {
    const auto expected = [] { return static_cast<int>(kx_expected_bytes()); };
    EXPECT_EQ(in_child(expected, {.input = "abc\n"}).status, 4);
    EXPECT_EQ(in_child(expected, {.before = [] { feed_in_pieces("abc\n", 4, 0); }}).status, 0);
}

// Whole files

TEST_F(Load, InputsStandBackToBack) {
    set_fixed(4);
    inputs({"aaaabbbb", "cc", "", "ccdddd"});
    EXPECT_EQ(loaded(), "aaaabbbbccccdddd");
    EXPECT_EQ(argsInfo.totalFileSize, 16);
}

TEST_F(Load, TheSameFileTwice) {
    set_fixed(2);
    box.write("in0", "abcd");
    set_inputs({{in(0), 4}, {in(0), 4}});
    EXPECT_EQ(loaded(), "abcdabcd");
}

TEST_F(Load, OnlyTheSizeThatWasFoundIsRead) {
    set_fixed(2);
    box.write("in0", "abcdefgh");
    set_inputs({{in(0), 4}});
    EXPECT_EQ(loaded(), "abcd");
}

TEST_F(Load, WithoutInputsNothing) {
    set_fixed(2);
    inputs({});
    EXPECT_EQ(loaded(), "");
}

TEST_F(Load, IsSilentUnlessVerboseAndThenJapanese) {
    set_fixed(2);
    inputs({"ab", "cd"});
    EXPECT_EQ(messages_of([&] { loaded(); }), "");
    VERBOSE = 1;
    const string lines = "入力ファイル[" + in(0) + "]の読み込みは完了しました。\n入力ファイル[" + in(1) +
                         "]の読み込みは完了しました。\n";
    EXPECT_EQ(messages_of([&] { EXPECT_EQ(loaded(), "abcd"); }), lines);
    speak_japanese();
    EXPECT_EQ(messages_of([&] { loaded(); }), lines);
}

// The newline code at the end

TEST_F(Load, LinesEndWithTheNewlineCode) {
    set_lines("\n");
    inputs({"a\nb"});
    EXPECT_EQ(loaded(), "a\nb\n");
    EXPECT_EQ(argsInfo.totalFileSize, 4);
    inputs({"a\nb\n"});
    EXPECT_EQ(loaded(), "a\nb\n");
    inputs({"a\n", "b"});
    EXPECT_EQ(loaded(), "a\nb\n");
}

TEST_F(Load, OnlyTheEndOfAllDataIsCompleted) {
    set_lines("\n");
    inputs({"a", "b\n"});
    EXPECT_EQ(loaded(), "ab\n");
    inputs({"a\n", ""});
    EXPECT_EQ(loaded(), "a\n");
}

TEST_F(Load, EmptyLoadsReceiveTheNewlineCode) {
    for (const char *code : {"\n", "\r", "\r\n"}) {
        set_lines(code);
        inputs({""});
        EXPECT_EQ(loaded(), code);
        inputs({"", ""});
        EXPECT_EQ(loaded(), code);
        inputs({});
        EXPECT_EQ(loaded(), code);
    }
}

TEST_F(Load, TheNewlineCodeCountsWhole) {
    set_lines("\r\n");
    inputs({"a\r\nb"});
    EXPECT_EQ(loaded(), "a\r\nb\r\n");
    inputs({"a\r\n"});
    EXPECT_EQ(loaded(), "a\r\n");
    inputs({"a\n"});
    EXPECT_EQ(loaded(), "a\n\r\n");
    inputs({"a\r"});
    EXPECT_EQ(loaded(), "a\r\r\n");
    inputs({"\n"}); // shorter than the code: nothing before the buffer is looked at
    EXPECT_EQ(loaded(), "\n\r\n");
    inputs({"a\r", "\n"});
    EXPECT_EQ(loaded(), "a\r\n");
    set_lines("\r");
    inputs({"a\r\n"});
    EXPECT_EQ(loaded(), "a\r\n\r");
}

TEST_F(Load, FixedLengthDataStayAsTheyAre) {
    set_fixed(3);
    set_separator("\n");
    inputs({"abcab"});
    EXPECT_EQ(loaded(), "abcab");
    inputs({""});
    EXPECT_EQ(loaded(), "");
}

// Header lines

TEST_F(Load, CsvHeadersAreDroppedAndTheFirstIsKept) {
    set_csv();
    argsInfo.bHeader = 1;
    inputs({"no,name\n2,b\n1,a\n", "NO,NAME,MORE\n3,c\n", "x\n", "last\n4,d"});
    EXPECT_EQ(loaded(), "2,b\n1,a\n3,c\n4,d\n");
    EXPECT_EQ(header(), "no,name\n");
    EXPECT_EQ(argsInfo.totalFileSize, 16);
}

TEST_F(Load, TheHeaderEndsAtTheFirstNewlineCodeEvenInQuotes) {
    set_csv("\r\n");
    argsInfo.bHeader = 1;
    inputs({"a,\"b\nc\r\nd\"\r\n1\r\n"});
    EXPECT_EQ(loaded(), "d\"\r\n1\r\n");
    EXPECT_EQ(header(), "a,\"b\nc\r\n");
}

TEST_F(Load, AHeaderAloneLeavesAnEmptyLoad) {
    set_csv("\r\n");
    argsInfo.bHeader = 1;
    inputs({"a,b\r\n"});
    EXPECT_EQ(loaded(), "\r\n");
    EXPECT_EQ(header(), "a,b\r\n");
    inputs({"\r\n1\r\n"});
    EXPECT_EQ(loaded(), "1\r\n");
    EXPECT_EQ(header(), "\r\n");
}

TEST_F(Load, WithoutAskingTheFirstLineIsData) {
    set_csv();
    inputs({"a\n1\n", "b\n2\n"});
    EXPECT_EQ(loaded(), "a\n1\nb\n2\n");
    EXPECT_EQ(argsInfo.header, nullptr);
}

TEST_F(Load, OnlyCsvHasHeaders) {
    set_lines();
    argsInfo.bHeader = 1;
    inputs({"a\n1\n"});
    EXPECT_EQ(loaded(), "a\n1\n");
    EXPECT_EQ(argsInfo.header, nullptr);
}

TEST_F(Load, FilesBeyondTheSearchLimitAreReadToTheEnd) {
    set_csv("\r\n");
    argsInfo.bHeader = 1;
    for (const std::size_t size : {kLimit - 1, kLimit, kLimit + 1, kLimit + 2, 2 * kLimit + 77}) {
        SCOPED_TRACE(size);
        string data = "head\r\n";
        while (data.size() < size) {
            data += static_cast<char>('a' + data.size() % 23);
        }
        inputs({data, data});
        EXPECT_TRUE(loaded() == data.substr(6) + data.substr(6) + "\r\n");
        EXPECT_EQ(header(), "head\r\n");
    }
}

TEST_F(Load, TheHeaderMustEndWithinTheFirstMiB) {
    set_csv("\r\n");
    argsInfo.bHeader = 1;
    inputs({string(kLimit - 2, 'x') + "\r\nrest\r\n"});
    EXPECT_EQ(loaded(), "rest\r\n");
    EXPECT_EQ(argsInfo.headerLen, to_i64(kLimit));
    const string message = "☆ Error occurred while reading CSV file header!\n";
    inputs({string(kLimit - 1, 'x') + "\r\nrest\r\n"});
    EXPECT_EQ(failure(), message);
    inputs({string(kLimit, 'x') + "\r\nrest\r\n"});
    EXPECT_EQ(failure(), message);
}

TEST_F(Load, AnInputWithoutAHeaderLineIsAFailure) {
    set_csv("\r\n");
    argsInfo.bHeader = 1;
    const string japanese = "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n";
    for (const char *content : {"", "no end", "one\n", "one\r", "\n\r"}) {
        setenv("LANG", "C", 1);
        inputs({content});
        EXPECT_EQ(failure(), "☆ Error occurred while reading CSV file header!\n") << content;
        speak_japanese();
        inputs({"fine\r\n", content});
        EXPECT_EQ(failure(), japanese) << content;
    }
}

// Failures

TEST_F(Load, AnInputThatCannotBeOpenedIsNamed) {
    set_fixed(2);
    inputs({"ab"});
    set_inputs({{in(0), 2}, {box.path("missing"), 2}});
    EXPECT_EQ(failure(), "☆ Cannot open input file [" + box.path("missing") + "]!\n");
    speak_japanese();
    EXPECT_EQ(failure(), "☆入力ファイル[" + box.path("missing") + "]は開くことはできません！\n");
    const Fault fault({.site = kx_site::open});
    EXPECT_EQ(failure(), "☆入力ファイル[" + in(0) + "]は開くことはできません！\n");
}

TEST_F(Load, RefusedUnbufferingIsReported) {
    set_fixed(2);
    inputs({"ab", "cd"});
    {
        const Fault fault({.site = kx_site::setvbuf, .call = 2});
        EXPECT_EQ(failure(), "☆ Failed to set input buffer!\n");
    }
    speak_japanese();
    const Fault fault({.site = kx_site::setvbuf});
    EXPECT_EQ(failure(), "☆入力バッファの設定はできません！\n");
}

// Kept: this one message is Japanese everywhere.
TEST_F(Load, AShortWholeFileIsReportedInJapaneseEverywhere) {
    box.write("in0", "abc");
    const string message = "☆入力ファイル[" + in(0) + "]の読み込み中にエラーが発生しました！\n";
    for (const bool japanese : {false, true}) {
        set_fixed(2);
        set_inputs({{in(0), 4}});
        if (japanese) {
            speak_japanese();
        }
        EXPECT_EQ(failure(), message);
        set_inputs({{in(0), 3}});
        const Fault fault({.site = kx_site::read});
        EXPECT_EQ(failure(), message);
    }
}

TEST_F(Load, AShortRestBehindAHeaderIsReportedPerLanguage) {
    set_csv();
    argsInfo.bHeader = 1;
    const string data = "head\n" + string(kLimit, 'x');
    box.write("in0", data);
    set_inputs({{in(0), data.size() + 1}});
    EXPECT_EQ(failure(), "☆ Error occurred while reading input file [" + in(0) + "]!\n");
    speak_japanese();
    const string japanese = "☆入力ファイル[" + in(0) + "]の読み込み中にエラーが発生しました！\n";
    EXPECT_EQ(failure(), japanese);
    set_inputs({{in(0), data.size()}});
    const Fault fault({.site = kx_site::read, .call = 2});
    EXPECT_EQ(failure(), japanese);
}

// A file that shrank, or cannot be read at all: never bytes that were not there.
TEST_F(Load, AnInputThatEndsWithinItsHeadIsAFailure) {
    set_csv();
    argsInfo.bHeader = 1;
    box.write("in0", "head\nab");
    set_inputs({{in(0), 9}});
    EXPECT_EQ(failure(), "☆ Error occurred while reading input file [" + in(0) + "]!\n");
    set_inputs({{in(0), 7}});
    const Fault fault({.site = kx_site::read});
    EXPECT_EQ(failure(), "☆ Error occurred while reading input file [" + in(0) + "]!\n");
}

TEST_F(Load, RefusedMemoryForTheHeaderIsReported) {
    set_csv();
    argsInfo.bHeader = 1;
    const string data = "head\n" + string(100000, 'x');
    inputs({data});
    use_pool(16384, false);
    EXPECT_EQ(failure(), "☆ Failed to allocate [98]KB memory!\n");
    speak_japanese();
    EXPECT_EQ(failure(), "☆[98]KBメモリの割当は失敗しました！\n");
    EXPECT_EQ(argsInfo.header, nullptr);
}

} // namespace
