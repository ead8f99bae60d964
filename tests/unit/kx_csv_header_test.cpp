// kx_csv_header_test.cpp: the header line of CSV inputs in the split phase, searched in steps of 1024 bytes.
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>

#include "support/capture.h"
#include "support/fault.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr kx_i64 kStep = 1024;
constexpr kx_i64 kLimit = 1048576;
const string kNotFound = "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n"; // in every language

/// What a search gave.
struct Found {
    int status = -1;
    kx_i64 length = -1;
    kx_i64 position = -1; ///< of the stream afterwards
    string messages = {};
};

class CsvHeader : public RunState {
  protected:
    CsvHeader() {
        set_csv();
        argsInfo.bHeader = 1;
    }

    /// Searches a file of those bytes that was found with that size, as input `number` of two.
    Found search(const string &bytes, kx_i64 size, int number = 0) {
        box.write("in", bytes);
        set_inputs({{box.path("in"), to_size(size)}, {box.path("in"), to_size(size)}});
        Found found;
        kx_stream in{};
        EXPECT_TRUE(kx_stream_open_read(in, box.path("in").c_str()));
        found.messages =
            messages_of([&] { found.status = kx_skip_csv_header(in, argsInfo.arrInFile[number], found.length); });
        EXPECT_TRUE(in.open) << "the stream is the caller's";
        found.position = lseek(in.fd, 0, SEEK_CUR);
        EXPECT_EQ(memPool->qnum, 0) << "the search buffer is given back";
        kx_stream_clear(in);
        return found;
    }
    Found search(const string &bytes) { return search(bytes, to_i64(bytes.size())); }

    /// The header must be the first `length` bytes, and the stream must stand at the end of the step that ends it.
    void expect_header(const string &bytes, kx_i64 length) {
        SCOPED_TRACE("header of " + std::to_string(length) + " of " + std::to_string(bytes.size()) + " bytes");
        const Found found = search(bytes);
        EXPECT_EQ(found.status, 0);
        EXPECT_EQ(found.length, length);
        EXPECT_EQ(found.position, std::min(to_i64(bytes.size()), (length + kStep - 1) / kStep * kStep));
        EXPECT_EQ(found.messages, "");
        EXPECT_TRUE(kept() == bytes.substr(0, to_size(length)));
    }

    static void expect_failure(const Found &found, const string &message) {
        EXPECT_EQ(found.status, 1);
        EXPECT_EQ(found.messages, message);
        EXPECT_EQ(argsInfo.header, nullptr);
        EXPECT_EQ(argsInfo.headerLen, 0);
    }

    static string kept() {
        return argsInfo.header == nullptr ? "(none)" : string(argsInfo.header, to_size(argsInfo.headerLen));
    }

    Box box;
};

// Where the newline code stands

TEST_F(CsvHeader, EndsAtEveryPlaceOfTheFirstSteps) {
    for (const char *code : {"\n", "\r", "\r\n"}) {
        set_separator(code);
        for (const kx_i64 around : {3, 512, 1024, 2048, 3072, 10240}) {
            for (kx_i64 length = std::max(around - 3, argsInfo.sep_len); length <= around + 3; ++length) {
                const string line = string(to_size(length - argsInfo.sep_len), 'h') + code;
                expect_header(line, length);
                expect_header(line + "1\n2" + code, length);
                expect_header(line + string(3000, 'd') + code, length);
            }
        }
    }
}

TEST_F(CsvHeader, HalfANewlineCodeAtTheEndOfAStepIsNone) {
    set_separator("\r\n");
    expect_header(string(1023, 'h') + "\r" + "x\r\n" + string(5000, 'd'), 1027);
    expect_header(string(1023, 'h') + "\r\r\n" + string(5000, 'd'), 1026);
    expect_header(string(1022, 'h') + "\n\r\n" + string(5000, 'd'), 1025);
    expect_header(string(1022, 'h') + "\r\n\r\n" + string(5000, 'd'), 1024);
}

TEST_F(CsvHeader, TheFirstNewlineCodeEndsItEvenInQuotes) {
    expect_header("a,\"b\nc\"\n1\n", 5);
    expect_header("\n\n\n", 1);
    set_separator("\r\n");
    expect_header("a\nb\rc\n\r\r\n\r\n", 9);
}

// By design what the last step read behind the header is not sorted: the stream is not moved back.
TEST_F(CsvHeader, TheStreamStaysWhereTheSearchStopped) {
    const string data = "h\n" + string(5000, 'd');
    EXPECT_EQ(search(data).position, 1024);
    EXPECT_EQ(search("h\n" + string(100, 'd')).position, 102);
    EXPECT_EQ(search(string(1023, 'h') + "\n" + data).position, 1024);
    EXPECT_EQ(search(string(1024, 'h') + "\n" + data).position, 2048);
    EXPECT_EQ(search(string(1048000, 'h') + "\n" + string(5000, 'd')).position, kLimit) << "the last step is shorter";
}

TEST_F(CsvHeader, AgreesWithAPlainSearchOnRandomBytes) {
    std::mt19937 random(1);
    set_separator("\r\n");
    for (int round = 0; round < 300; ++round) {
        string bytes(900 + random() % 3000, 'x');
        for (int n = 0; n < 6; ++n) {
            bytes[900 + random() % (bytes.size() - 900)] = "\r\n"[random() % 2];
        }
        bytes.replace(bytes.size() - 2, 2, "\r\n");
        expect_header(bytes, to_i64(bytes.find("\r\n")) + 2);
    }
}

// None

TEST_F(CsvHeader, WithoutANewlineCodeFailsInJapaneseEverywhere) {
    ASSERT_EQ(kNotFound.size(), 82U);
    for (const bool japanese : {false, true}) {
        if (japanese) {
            speak_japanese();
        }
        for (const kx_i64 size : {1, 2, 1023, 1024, 1025, 4096, 5000}) {
            expect_failure(search(string(to_size(size), 'x')), kNotFound);
        }
    }
}

TEST_F(CsvHeader, AnEmptyFileFails) {
    const Found found = search("");
    expect_failure(found, kNotFound);
    EXPECT_EQ(found.position, 0);
}

TEST_F(CsvHeader, HalfANewlineCodeAtTheEndFails) {
    set_separator("\r\n");
    for (const char *bytes : {"\r", "\n", "a\r", "\n\r"}) {
        expect_failure(search(bytes), kNotFound);
    }
    expect_failure(search(string(1023, 'x') + "\r"), kNotFound);
}

TEST_F(CsvHeader, MustEndWithinOneMiB) {
    set_separator("\r\n");
    expect_header(string(to_size(kLimit - 2), 'x') + "\r\n" + string(2000, 'd'), kLimit);
    expect_header(string(to_size(kLimit - 3), 'x') + "\r\n" + string(2000, 'd'), kLimit - 1);
    argsInfo.header = nullptr;
    argsInfo.headerLen = 0;
    expect_failure(search(string(to_size(kLimit - 1), 'x') + "\r\n" + string(2000, 'd')), kNotFound);
    const Found found = search(string(to_size(kLimit), 'x') + "\r\n");
    expect_failure(found, kNotFound);
    EXPECT_EQ(found.position, kLimit) << "nothing behind the limit is read";
}

TEST_F(CsvHeader, MustEndWithinTheSizeThatWasFound) {
    const Found found = search("abc\n1\n", 3);
    expect_failure(found, kNotFound);
    EXPECT_EQ(found.position, 3);
}

// A file that shrank since: the end of the input ends the search, and all there is was the header.
TEST_F(CsvHeader, TheEndOfTheInputEndsIt) {
    for (const kx_i64 size : {1, 700, 1024, 1500, 2048}) {
        const string bytes(to_size(size), 'h');
        const Found found = search(bytes, size + 3000);
        EXPECT_EQ(found.status, 0);
        EXPECT_EQ(found.length, size);
        EXPECT_EQ(found.position, size);
        EXPECT_EQ(found.messages, "");
        EXPECT_EQ(kept(), bytes);
    }
    const Found nothing = search("", 10);
    EXPECT_EQ(nothing.status, 0);
    EXPECT_EQ(nothing.length, 0);
    EXPECT_EQ(argsInfo.headerLen, 0);
    set_separator("\r\n");
    EXPECT_EQ(search("\r", 10).length, 1) << "shorter than the newline code";
}

// Which inputs

TEST_F(CsvHeader, OnlyTheFirstInputsLineIsKept) {
    EXPECT_EQ(search("first\n1\n").length, 6);
    EXPECT_EQ(search("later one\n2\n", 12, 1).length, 10);
    EXPECT_EQ(kept(), "first\n");
}

TEST_F(CsvHeader, ALaterInputAloneKeepsNothing) {
    EXPECT_EQ(search("later one\n2\n", 12, 1).length, 10);
    EXPECT_EQ(kept(), "(none)");
    EXPECT_EQ(argsInfo.headerLen, 0);
}

// Failures

TEST_F(CsvHeader, AReadErrorIsReportedPerLanguage) {
    const string bytes(5000, 'x');
    for (const int call : {1, 2, 5}) {
        const Fault fault({.site = kx_site::read, .call = call});
        expect_failure(search(bytes), "☆ Error occurred while reading CSV file header!\n");
        EXPECT_EQ(Fault::calls(), call);
    }
    speak_japanese();
    const Fault fault({.site = kx_site::read});
    expect_failure(search(bytes), kNotFound); // the pair's Japanese side is the same text
}

TEST_F(CsvHeader, RefusedMemoryIsReported) {
    const string bytes = "h\n" + string(100000, 'x');
    use_pool(16384, false);
    expect_failure(search(bytes), "☆ Failed to allocate [98]KB memory!\n");
    speak_japanese();
    expect_failure(search(bytes), "☆[98]KBメモリの割当は失敗しました！\n");
}

// The search buffer fits, the copy that is kept does not.
TEST_F(CsvHeader, RefusedMemoryForTheKeptLineIsReported) {
    const string bytes = string(9000, 'h') + "\n";
    use_pool(16384, false);
    expect_failure(search(bytes), "☆ Failed to allocate [9]KB memory!\n");
    EXPECT_EQ(search(bytes, to_i64(bytes.size()), 1).status, 0) << "a later line is not kept";
}

} // namespace
