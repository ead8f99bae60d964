// kx_stdin_verbose_test.cpp: every line of a verbose sort of standard input.
#include <regex>
#include <string>

#include "support/stdin_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

/// Raw clock readings carry the label ms too.
string steady_clocks(const string &text) {
    static const std::regex split("にかった時間\\[[0-9]+\\]ms"), merge("かかった時間\\[[0-9]+\\]ms");
    return steady(std::regex_replace(std::regex_replace(text, split, "にかった時間<n>"), merge, "かかった時間<n>"));
}

class InputTrace : public StdinState {
  protected:
    InputTrace() { VERBOSE = 1; }

    static string trace_of(const string &data) {
        const Sorted sorted = sort(data, {.input = data});
        EXPECT_EQ(sorted.status, 0);
        return steady_clocks(sorted.outcome.err);
    }
};

const string kIndexed = "[_kx_get_indexList]がかかった[#]msです。\n",
             kIndexedLines = "[_kx_get_indexList_variable]がかかった[#]msです。\n",
             kIndexedCsv = "[_kx_get_indexList_csv]がかかった[#]msです。\n",
             kStarted = "-- 一時ファイルでのソートは開始します。 <time> \n",
             kFilled = "一時ファイル⇒ブロックバッファにデータを埋め込みました。\n",
             kReleasedLine = "メモリ解放がかかった[#]msです。\n",
             kDone =
                 "一時ファイルのマージソートがかかった時間<n>。\n-- 一時ファイルでのソートは完成しました。 <time> \n";

string written(int block) { return "ブロック" + std::to_string(block) + " を処理しました！ \n"; }
string split_done(int blocks) {
    return "分割したブロック数は[" + std::to_string(blocks) +
           "]です。\n分割ソートにかった時間<n>です。\n-- 一時ファイルでの分割ソートは完成しました。 <time> \n\n"
           "-- 一時ファイルのマージソートは開始します。 <time> \n";
}

TEST_F(InputTrace, InMemory) {
    const string rest = "出力がかかった[#]msです。\n" + kReleasedLine;
    Job job = key_job(kx_format::fixed, 2);
    prepare(job, 3000); // 1500 bytes
    EXPECT_EQ(trace_of(string(1496, 'a')),
              "ブロックのバッファサイズは[2]KBです。\n" + kIndexed + "不安定ソートがかかった[#]msです。\n" + rest);
    make_stable(job, true);
    prepare(job, 3072); // 1024 bytes
    EXPECT_EQ(trace_of(string(8, 'a')),
              "ブロックのバッファサイズは[1]KBです。\n" + kIndexed + "安定ソートがかかった[#]msです。\n" + rest);
    prepare(key_job(kx_format::variable, 2), 1368); // 1026 bytes
    EXPECT_EQ(trace_of("bb\naa"),
              "ブロックのバッファサイズは[2]KBです。\n" + kIndexedLines + "不安定ソートがかかった[#]msです。\n" + rest);
    prepare(whole_job(kx_format::csv), 4100); // 1025 bytes
    EXPECT_EQ(trace_of("b,b\na"),
              "ブロックのバッファサイズは[2]KBです。\n" + kIndexedCsv + "不安定ソートがかかった[#]msです。\n" + rest);
}

TEST_F(InputTrace, FixedLengthThroughTheTemporaryFile) {
    prepare(key_job(kx_format::fixed, 2), 400); // chunks of 200 bytes, block buffers of 150
    EXPECT_EQ(trace_of(string(200, 'a') + string(8, 'b')),
              "ブロックのバッファサイズは[1]KBです。\n" + kStarted + kIndexed + written(1) + kIndexed + written(2) +
                  split_done(2) + "各ブロックのバッファサイズは[0]KB, [150]Byteです。\n" + kFilled +
                  "総ブロック数:2  完成ブロック番号：1 - <time> \n総ブロック数:1  完成ブロック番号：2 - <time> \n" +
                  kReleasedLine + kDone);
}

TEST_F(InputTrace, LinesThroughTheTemporaryFile) {
    Job job = key_job(kx_format::variable, 1);
    make_unique(job, true);
    prepare(job, 40); // chunks of 30 bytes
    const string buffers = "出力バッファサイズは[640]KBです。\nブロックバッファ数は[2]です。\n";
    EXPECT_EQ(
        trace_of("a23456789\nb23456789\nc23456789\nd\nd"),
        "ブロックのバッファサイズは[1]KBです。\n" + kStarted + kIndexedLines + written(1) + kIndexedLines + written(2) +
            split_done(2) + buffers + "totalMemSizeのサイズは[1024]KB, [1048616]Byteです。\n" +
            "BASIC_SIZEのサイズは[1024]KB, [1048576]Byteです。\n" + buffers +
            "☆各ブロックのバッファサイズ[-245745]は最大レコード長[10]より小さいです。\n" +
            "☆各ブロックのバッファサイズを[40]Byteにします。\n各ブロックのバッファサイズは[0]KB, [40]Byteです。\n" +
            "ブロックバッファ0の[0]KB, [40]Byteの初期化は完了しました。\n" +
            "ブロックバッファ1の[0]KB, [6]Byteの初期化は完了しました。\n" + kFilled +
            "総ブロック数:2  完成ブロック番号：1\n総ブロック数:1  完成ブロック番号：2\n" + kReleasedLine + kDone);
}

TEST_F(InputTrace, CountsTheRecords) {
    for (const kx_format format : kFormats) {
        const Job job = key_job(format, 1);
        prepare(job, 400);
        const string record = format == kx_format::fixed ? "abcdefgh" : "abcdefg\n";
        for (const int records : {3, 25, 60, 100}) {
            string data;
            for (int i = 0; i < records; ++i) {
                data += record;
            }
            const Outcome o = in_child(
                [] {
                    kx_stdin();
                    return static_cast<int>(argsInfo.totalRecNum);
                },
                {.input = data});
            EXPECT_EQ(o.status, records);
        }
    }
}

} // namespace
