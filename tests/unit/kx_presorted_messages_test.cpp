// kx_presorted_messages_test.cpp: what the merge of presorted inputs says, and what it refuses.
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "support/presorted_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kReleasedLine = "メモリ解放がかかった[#]msです。\n";

constexpr FaultPlan kNoFault{.call = 0};

class MergeMessages : public PresortedState {
  protected:
    /// The texts without the folder of this test.
    string general(string text) {
        const string folder = box.path("");
        for (std::size_t at = 0; (at = text.find(folder, at)) != string::npos;) {
            text.erase(at, folder.size());
        }
        return text;
    }

    static void speak(bool japanese) { setenv("LANG", japanese ? kJapanese : "C", 1); }

    /// The merge of these inputs fails with its message.
    void expect_failure(const Texts &inputs, const string &english, const string &japanese, FaultPlan plan) {
        for (const bool in_japanese : {false, true}) {
            speak(in_japanese);
            use_pool(kx_i64{1} << 22);
            set_files(inputs);
            const Fault fault(plan);
            const Merged merged = merge_files();
            EXPECT_EQ(merged.status, 1);
            EXPECT_EQ(general(merged.messages), in_japanese ? japanese : english);
        }
    }
};

// Files

struct Row {
    const char *name;
    FaultPlan fault;
    string english, japanese;
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class MergeFaults : public MergeMessages, public testing::WithParamInterface<Row> {};

TEST_P(MergeFaults, HaveTheirMessage) {
    for (const kx_format format : kFormats) {
        configure(key_job(format, 1));
        const Texts inputs = {"a1bcdef\nc1bcdef\n", "b2bcdef\nd2bcdef\n"};
        expect_failure(inputs, GetParam().english, GetParam().japanese, GetParam().fault);
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            EXPECT_FALSE(argsInfo.arrInFile[i].file.open);
        }
    }
}

const string kNoOutput = "☆ Cannot create output file [out]!\n", kNoOutputJa = "☆出力ファイル[out]は作成できません！\n",
             kNoBufferJa = "☆出力バッファの設定はできません！\n",
             kUnwritten = "☆ Error occurred while writing output file [out]!\n",
             kUnwrittenJa = "☆出力ファイル[out]の書き込み中にエラーが発生しました！\n",
             kUnread = "☆ Error occurred while reading input file during merge sort!\n",
             kUnreadJa = "☆マージソートでは、入力ファイルの読み込み中にエラーが発生しました！\n",
             kUnfilledJa = "☆一時ファイルの読み込み中にエラーが発生しました！\n";

INSTANTIATE_TEST_SUITE_P(
    Files, MergeFaults,
    testing::Values(
        Row{"first_input_not_opened",
            {.site = kx_site::open, .call = 1},
            "☆ Cannot open input file [in0]!\n",
            "☆入力ファイル[in0]は開くことはできません！\n"},
        Row{"second_input_not_opened",
            {.site = kx_site::open, .call = 2},
            "☆ Cannot open input file [in1]!\n",
            "☆入力ファイル[in1]は開くことはできません！\n"},
        Row{"input_not_unbuffered",
            {.site = kx_site::setvbuf, .call = 2},
            "☆ Failed to set input buffer!\n",
            "☆入力バッファの設定はできません！\n"},
        Row{"output_not_created", {.site = kx_site::open, .call = 3}, kNoOutput, kNoOutputJa},
        Row{"output_not_buffered",
            {.site = kx_site::setvbuf, .call = 3},
            "☆ Failed to set output buffer!\n",
            kNoBufferJa},
        Row{"output_not_buffered_again", {.site = kx_site::setvbuf, .call = 4}, kNoBufferJa, kNoBufferJa},
        Row{"first_input_not_read", {.site = kx_site::read, .call = 1}, kUnread, kUnreadJa},
        Row{"last_input_not_read", {.site = kx_site::read, .call = 2, .onwards = true}, kUnread, kUnreadJa},
        Row{"output_not_written", {.site = kx_site::write}, kReleasedLine + kUnwritten, kReleasedLine + kUnwrittenJa},
        Row{"output_not_closed", {.site = kx_site::close}, kReleasedLine + kUnwritten, kReleasedLine + kUnwrittenJa}),
    [](const auto &row) { return row.param.name; });

TEST_F(MergeMessages, ARefillThatCannotBeRead) {
    string large;
    while (large.size() < kMib + 100000) {
        large += string(999, 'a') + "\n";
    }
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        configure(key_job(format, 1));
        expect_failure({large}, kUnfilledJa, kUnfilledJa, {.site = kx_site::read, .call = 2});
        expect_failure({large, large}, kUnfilledJa, kUnfilledJa, {.site = kx_site::read, .call = 3});
    }
}

TEST_F(MergeMessages, AWriteThatFailsInTheMiddle) {
    string large;
    while (large.size() < kMib) {
        large += string(999, 'a') + "\n";
    }
    for (const kx_format format : kFormats) {
        Job job = whole_job(format);
        job.length = 1000;
        configure(job);
        expect_failure({large, large}, kUnwritten, kUnwrittenJa, {.site = kx_site::write, .call = 1});
        expect_failure({large, large}, kUnwritten, kUnwrittenJa, {.site = kx_site::write, .call = 2});
    }
}

TEST_F(MergeMessages, ARecordLengthAboveTheBuffer) {
    Job job = whole_job(kx_format::fixed);
    job.length = kMib + 1;
    configure(job);
    argsInfo.totalMemSize = 16777216;
    expect_failure({string(kMib + 1, 'x')},
                   "☆ Record length [1048577] is too long for sorting within [16384]KB memory!\n",
                   "☆レコード長[1048577]はメモリ[16384]KBでのソートには長すぎます！\n", kNoFault);
    EXPECT_EQ(merge({""}).status, 0);
}

// Files that are an input

TEST_F(MergeMessages, AnOutputThatIsAnInputIsRefusedUntouched) {
    const string a = "a1bcdef\n", b = "b2bcdef\n";
    for (const kx_format format : kFormats) {
        configure(key_job(format, 1));
        set_files({a, b});
        ASSERT_EQ(link(box.path("in1").c_str(), box.path("hard").c_str()), 0);
        ASSERT_EQ(symlink(box.path("in0").c_str(), box.path("soft").c_str()), 0);
        for (const char *name : {"in0", "in1", "hard", "soft", "tmp/../in1"}) {
            set_output(box.path(name));
            const string shown = "[" + string(name) + "]";
            expect_failure({a, b}, "☆ Cannot create output file " + shown + "!\n",
                           "☆出力ファイル" + shown + "は作成できません！\n", kNoFault);
            EXPECT_EQ(box.read("in0") + box.read("in1"), a + b);
        }
        std::remove(box.path("hard").c_str());
        std::remove(box.path("soft").c_str());
        set_output("/dev/null");
        EXPECT_EQ(merge({a, b}).status, 0);
    }
}

TEST_F(MergeMessages, AnErrorFileThatIsAnInputIsRefusedUntouched) {
    const Texts inputs = {"a,1\n", "b\nc,2\n"};
    const string english = "☆ Cannot create error file [in1]!\n", japanese = "☆エラーファイル[in1]は作成できません！\n";
    set_error_file(box.path("in1"));
    Job job = key_job(kx_format::csv, 3);
    job.csv.keys = {{.column = 2}};
    configure(job);
    expect_failure(inputs, japanese, japanese, kNoFault);
    EXPECT_EQ(box.read("in1"), inputs[1]);
    speak(false);
    job.format = kx_format::variable; // kept: goes on without it, and says so for every index
    configure(job);
    const Merged merged = merge(inputs);
    EXPECT_EQ(merged.status, 0);
    EXPECT_EQ(general(merged.messages), english + english + kReleasedLine);
    EXPECT_EQ(merged.out, "a,1\nc,2\n");
    EXPECT_EQ(box.read("in1"), inputs[1]);
}

TEST_F(MergeMessages, AnErrorFileThatIsTheOutputIsRefused) {
    set_error_file(box.path("out"));
    configure(key_job(kx_format::variable, 3));
    const Merged merged = merge({"a,1\n", "b\nc,2\n"});
    EXPECT_EQ(merged.status, 0);
    EXPECT_EQ(merged.out, "a,1\nc,2\n");
}

// Memory

/// All messages of pools from ample ones to ones that hold nothing.
class MergeMemory : public MergeMessages {
  protected:
    std::set<string> messages_of_pools(const Texts &inputs, kx_i64 most, kx_i64 step) {
        std::set<string> all;
        set_files(inputs);
        for (kx_i64 size = most; size > 300; size -= size > 3000 ? std::min(step, size - 3000) : 8) {
            use_pool(size, false);
            const Merged merged = merge_files();
            EXPECT_EQ(merged.status, merged.messages == kReleasedLine ? 0 : 1) << size << merged.messages;
            EXPECT_NE(merged.messages, "") << size;
            all.insert(merged.messages);
        }
        return all;
    }
    static void expect_among(const std::set<string> &all, const Texts &wanted) {
        for (const string &text : wanted) {
            EXPECT_EQ(all.count(text), 1U) << text;
        }
    }
};

const string kStagingJa = "☆出力バッファ[640]KBメモリの割当は失敗しました！ \n";

TEST_F(MergeMemory, ThatIsRefused) {
    for (const kx_format format : kFormats) {
        Job job = key_job(format, 1);
        make_unique(job, true);
        configure(job);
        const string kib = format == kx_format::fixed ? "0" : "1024";
        speak(false);
        expect_among(messages_of_pools({"a1bcdef\n", "b1bcdef\n"}, 3400000, 40000),
                     {kReleasedLine, kStagingJa,
                      "☆ Failed to allocate [120] bytes for block information management! \n",
                      "☆ Failed to allocate [" + kib + "]KB memory for merge sort buffer! \n"});
        speak(true);
        expect_among(messages_of_pools({"a1bcdef\n", "b1bcdef\n"}, 3400000, 40000),
                     {kReleasedLine, kStagingJa, "☆ブロック情報管理用[120]メモリの割当は失敗しました！ \n",
                      "☆マージソート用バッファ[" + kib + "]KBメモリの割当は失敗しました！ \n"});
    }
}

TEST_F(MergeMemory, ThatIsRefusedToALongRecord) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        Job job = key_job(format, 1);
        configure(job);
        speak(false);
        expect_among(messages_of_pools({"a\n" + string(3 * kMib, 'x') + "\n"}, 9000000, 300000),
                     {kReleasedLine, "☆ Failed to allocate [1024]KB memory for merge sort buffer! \n",
                      "☆ Failed to allocate [2048]KB memory for merge sort buffer! \n",
                      "☆ Failed to allocate [4096]KB memory for merge sort buffer! \n"});
        make_unique(job, true);
        configure(job);
        expect_among(messages_of_pools({"a\n" + string(3 * kMib, 'x') + "\n"}, 16000000, 500000),
                     {kReleasedLine, "☆出力バッファ[3073]KBメモリの割当は失敗しました！ \n"});
    }
}

// The lines of a verbose run

constexpr kx_i64 kAmple = 1 << 24; // nothing has to come from the system

string merged_line(int inputs, int number) {
    return "総ブロック数:" + std::to_string(inputs) + "  完成ブロック番号：" + std::to_string(number) + " - <time> \n";
}

TEST_F(MergeMessages, OfAVerboseRun) {
    const string stage = "出力バッファサイズは[640]KBです。\n";
    for (const kx_format format : kFormats) {
        const string name = format == kx_format::csv ? "csv" : "variable";
        const string index =
            format == kx_format::fixed ? "" : "[_kx_get_indexList_" + name + "]がかかった[#]msです。\n";
        for (const bool unique : {false, true}) {
            Job job = key_job(format, 1);
            make_unique(job, unique);
            configure(job);
            VERBOSE = 1;
            const string messages =
                merge({"b0bcdef\n", "a1bcdef\nc1bcdef\n", "a2bcdef\n", "", "e4bcdef\n"}, kAmple).messages;
            VERBOSE = 0;
            EXPECT_EQ(messages, (unique ? stage : "") + index + index + index + merged_line(5, 3) + merged_line(5, 1) +
                                    merged_line(5, 2) + kReleasedLine);
        }
    }
}

TEST_F(MergeMessages, OfAVerboseRunWithARefill) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        configure(key_job(format, 1));
        const string name = format == kx_format::csv ? "csv" : "variable";
        const string index = "[_kx_get_indexList_" + name + "]がかかった[#]msです。\n";
        string exact;
        while (exact.size() < kMib) {
            exact += string(1023, 'a') + "\n";
        }
        VERBOSE = 1;
        EXPECT_EQ(merge({exact}, kAmple).messages, index + merged_line(1, 1) + kReleasedLine);
        EXPECT_EQ(merge({exact + "b\n"}, kAmple).messages, index + index + merged_line(1, 1) + kReleasedLine);
        VERBOSE = 0;
    }
}

} // namespace
