// kx_stdin_messages_test.cpp: what the sort of standard input says, and what it leaves behind when something fails.
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "support/stdin_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;
using Texts = std::vector<string>;

const string kUnwritten = "☆ Error occurred while writing to output file during split sort!\n",
             kUnwrittenJa = "☆分割ソートでは、出力ファイルの書き込み中にエラーが発生しました！\n",
             kUnmerged = "☆ Error occurred during temporary file merge sort!\n",
             kUnmergedJa = "☆一時ファイルのマージソート中にエラーが発生しました！\n",
             kUnread = "☆ Error occurred while reading standard input!\n",
             kUnreadJa = "☆標準入力の読み込み中にエラーが発生しました！\n",
             kUndeletedJa = "☆一時ファイル[<temporary>]は削除できませんでした！\n",
             kUnsought = "☆ fseek operation on temporary file failed!\n",
             kUnsoughtJa = "☆一時ファイルに対するfseek操作は失敗しました!\n",
             kNoOutput = "☆ Cannot create output file [<box>/no/out]!\n",
             kNoOutputJa = "☆出力ファイル[<box>/no/out]は作成できません！\n";

class InputMessages : public StdinState {
  protected:
    InputMessages() { prepare(key_job(kx_format::fixed, 2), 400); }

    /// The texts with the names of this test's own files replaced.
    string general(string text) {
        for (const auto &[path, name] : {std::pair{box.path(kTemporary), "<temporary>"}, {box.path(""), "<box>/"}}) {
            for (std::size_t at = 0; (at = text.find(path, at)) != string::npos;) {
                text.replace(at, path.size(), name);
            }
        }
        return text;
    }
    string message_of(const string &data, bool japanese, const std::function<void()> &before = {}) {
        const Sorted sorted = sort(data, {.lang = japanese ? kJapanese : "C", .before = before});
        EXPECT_EQ(sorted.outcome.ending, Ending::returned);
        EXPECT_EQ(sorted.status, 1);
        return general(steady(sorted.outcome));
    }
    /// Both languages; the folder then holds these files.
    void expect_failure(const string &data, const string &english, const string &japanese, const string &files = "tmp/",
                        const std::function<void()> &before = {}) {
        for (const bool in_japanese : {false, true}) {
            SCOPED_TRACE(english);
            EXPECT_EQ(message_of(data, in_japanese, before), in_japanese ? japanese : english);
            EXPECT_EQ(box.files(), files);
            unlink(box.path(kTemporary).c_str());
        }
    }
};

const string kOneChunk(104, 'a'), kThreeChunks(600, 'a');

// The temporary file

TEST_F(InputMessages, NoTemporaryFolder) {
    std::free(argsInfo.tmpFile.dir);
    argsInfo.tmpFile.dir = nullptr;
    expect_failure(kThreeChunks, "☆ Temporary file path is invalid, sorting aborted!\n",
                   "☆一時ファイルのパスが不正の為、ソート中止しました！\n");
    EXPECT_EQ(sort(kOneChunk).outcome.out, kOneChunk) << "what fits in memory needs no folder";
}

TEST_F(InputMessages, AFolderThatIsNotThere) {
    set_temporary_folder(box.path("no/"));
    expect_failure(kThreeChunks, "☆ Temporary folder [<box>/no/] does not exist or insufficient permissions!\n",
                   "☆一時フォルダ[<box>/no/]は存在しません、又は権限不足です！\n");
}

struct Row {
    const char *name;
    std::vector<std::pair<kx_site, int>> faults;
    string english, japanese;
    bool stays = false;      ///< the temporary file
    const char *output = ""; ///< path; none: standard output
};
void PrintTo(const Row &row, std::ostream *to) { *to << row.name; }

class InputFaults : public InputMessages, public testing::WithParamInterface<Row> {};

TEST_P(InputFaults, HaveTheirMessage) {
    const Row &row = GetParam();
    if (*row.output != '\0') {
        set_output(row.output[0] == '/' ? row.output : box.path(row.output));
    }
    expect_failure(kThreeChunks, row.english, row.japanese, row.stays ? "tmp/ " + string(kTemporary) : "tmp/", [&row] {
        for (const auto &[site, call] : row.faults) {
            fail_call(site, call);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Split, InputFaults,
                         testing::Values(Row{"not_created",
                                             {{kx_site::open, 1}},
                                             "☆ Failed to create temporary file [<temporary>]!\n",
                                             "☆一時ファイル[<temporary>]は作成できませんでした！\n"},
                                         Row{"not_written", {{kx_site::write, 1}}, kUnwritten, kUnwrittenJa},
                                         Row{"not_closed", {{kx_site::close, 1}}, kUnwritten, kUnwrittenJa},
                                         Row{"not_written_nor_deleted",
                                             {{kx_site::write, 1}, {kx_site::unlink, 1}},
                                             kUnwritten + kUndeletedJa,
                                             kUnwrittenJa + kUndeletedJa,
                                             true},
                                         Row{"first_chunk_not_read", {{kx_site::read, 1}}, kUnread, kUnreadJa},
                                         Row{"last_chunk_not_read", {{kx_site::read, 3}}, kUnread, kUnreadJa},
                                         Row{"end_not_read", {{kx_site::read, 4}}, kUnread, kUnreadJa}),
                         [](const auto &row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Merge, InputFaults,
    testing::Values(Row{"not_opened_again",
                        {{kx_site::open, 2}},
                        "☆ Cannot open temporary file [<temporary>]!\n",
                        "☆一時ファイル[<temporary>]は開くことはできません！\n",
                        true},
                    Row{"no_output", {}, kNoOutput, kNoOutputJa, false, "no/out"},
                    Row{"no_output_and_not_deleted",
                        {{kx_site::unlink, 1}},
                        kNoOutput + "☆ Failed to delete temporary file [<temporary>]!\n",
                        kNoOutputJa + kUndeletedJa,
                        true,
                        "no/out"},
                    Row{"not_sought", {{kx_site::seek, 1}}, kUnsought + kUnmerged, kUnsoughtJa + kUnmergedJa},
                    Row{"not_sought_nor_deleted",
                        {{kx_site::seek, 1}, {kx_site::unlink, 1}},
                        kUnsought + kUnmerged + kUndeletedJa,
                        kUnsoughtJa + kUnmergedJa + kUndeletedJa,
                        true},
                    Row{"no_buffer",
                        {{kx_site::setvbuf, 2}},
                        "☆出力バッファの設定はできません！\n" + kUnmerged,
                        "☆出力バッファの設定はできません！\n" + kUnmergedJa},
                    Row{"output_full",
                        {},
                        string("メモリ解放がかかった[#]msです。\n") +
                            "☆ Error occurred while writing output file [/dev/full]!\n",
                        string("メモリ解放がかかった[#]msです。\n") +
                            "☆出力ファイル[/dev/full]の書き込み中にエラーが発生しました！\n",
                        false,
                        "/dev/full"}),
    [](const auto &row) { return row.param.name; });

// Kept: Japanese everywhere, although the output is complete.
TEST_F(InputMessages, ATemporaryFileThatCannotBeDeleted) {
    const string expected = string(kReleased) + kUndeletedJa;
    expect_failure(kThreeChunks, expected, expected, "tmp/ " + string(kTemporary),
                   [] { fail_call(kx_site::unlink, 1); });
    const Sorted sorted = sort(kThreeChunks, {.before = [] { fail_call(kx_site::unlink, 1); }});
    EXPECT_EQ(sorted.outcome.out, kThreeChunks);
}

// Data that cannot be sorted

TEST_F(InputMessages, FixedLengthDataThatFitAndAreNotWholeRecords) {
    for (const std::size_t size : {1U, 7U, 9U, 127U, 199U}) {
        const string number = std::to_string(size);
        expect_failure(string(size, 'a'), "☆ Invalid input data size [" + number + "]!\n",
                       "☆入力データのサイズ[" + number + "]は不正です！\n");
    }
}

TEST_F(InputMessages, ARecordLengthThatNoChunkHolds) {
    prepare({.length = 393}, 400); // and 8 bytes for its slot
    for (const std::size_t size : {1U, 393U, 1000U}) {
        expect_failure(string(size, 'a'), "☆ Record length [393] is too long for sorting within [1024]KB memory!\n",
                       "☆レコード長[393]はメモリ[1024]KBでのソートには長すぎます！\n");
    }
    EXPECT_EQ(sort("").outcome.ending, Ending::exited);
    EXPECT_EQ(sort("").status, 0);
    prepare({.length = 392}, 400);
    EXPECT_EQ(sort(string(392, 'a')).outcome.out, string(392, 'a'));
}

// An index that fails has spoken; in a later chunk too it ends the run.
TEST_F(InputMessages, ATailThatIsNoRecord) {
    const string japanese = "☆不正なレコード長を検知しました！ \n";
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        const Job job = whole_job(format);
        const std::size_t capacity = prepare(job, kx_i64{4} << 20);
        ASSERT_GT(capacity, 655360U);
        string first;
        while (first.size() < capacity) {
            first += string(999, 'a') + "\n";
        }
        for (const string &data : {string(capacity + 1, 'x'), first + string(capacity, 'x')}) {
            expect_failure(data, format == kx_format::csv ? japanese : "☆ Invalid record length detected! \n",
                           japanese);
        }
    }
}

TEST_F(InputMessages, AnErrorFileThatCannotBeCreated) {
    const string english = "☆ Cannot create error file [<box>/no/short]!\n",
                 japanese = "☆エラーファイル[<box>/no/short]は作成できません！\n";
    set_error_file(box.path("no/short"));
    const string data = "a\nb,b,b,b,b\n", twice = data + string(500, 'x') + "," + string(500, 'y') + "\n";
    Job job = key_job(kx_format::csv, 4);
    job.csv.keys = {{.column = 2}};
    prepare(job, 400);
    expect_failure(data, japanese, japanese);
    expect_failure(twice, japanese, japanese);
    job.format = kx_format::variable;
    prepare(job, 400);
    const Sorted sorted = sort(data); // kept: goes on without it
    EXPECT_EQ(sorted.status, 0);
    EXPECT_EQ(general(sorted.outcome.err), english);
    EXPECT_EQ(sorted.outcome.out, "b,b,b,b,b\n");
}

// Memory

/// 30 records of 100 bytes.
string hundred_byte_lines() {
    string data;
    for (int i = 0; i < 30; ++i) {
        data += string(97, static_cast<char>('a' + i * 7 % 26)) + (i < 10 ? "x1\n" : "x2\n");
    }
    return data;
}

/// In the child: sorts with pools from ample ones to ones that hold nothing.
int sort_with_ever_less(const std::function<void(kx_i64)> &set_pool, const char *temporary) {
    int left_behind = 0;
    for (kx_i64 size = 44000; size > 1000; size -= 16) {
        set_pool(size);
        lseek(STDIN_FILENO, 0, SEEK_SET);
        kx_stdin();
        kx_stream_clear(outFile);
        left_behind += access(temporary, F_OK) == 0 ? 1 : 0;
    }
    return left_behind;
}

std::set<string> lines_of(const string &text) {
    std::set<string> lines;
    for (const Item &item : line_items(text, "\n", {}).kept) {
        lines.insert(item.bytes);
    }
    return lines;
}

TEST_F(InputMessages, MemoryThatIsRefused) {
    Job job = key_job(kx_format::variable, 100);
    make_stable(job, true);
    prepare(job, 2000);
    const auto body = [&] {
        return sort_with_ever_less([](kx_i64 size) { use_pool(size, false); }, argsInfo.tmpFile.path);
    };
    for (const bool japanese : {false, true}) {
        const Outcome o = in_child(body, {.lang = japanese ? kJapanese : "C", .input = hundred_byte_lines()});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 0) << "temporary files left behind";
        const std::set<string> lines = lines_of(steady(o.err));
        const Texts expected =
            japanese ? Texts{"☆分割ソート用バッファ[1]KBメモリの割当は失敗しました！ \n",
                             "☆ブロック情報管理用[120]メモリの割当は失敗しました！ \n",
                             "☆分割ソート中にkx_list_msort函数の呼び込みは失敗しました(kx_stdin)！ \n", kReleased}
                     : Texts{"☆ Failed to allocate [1]KB memory for split sort buffer! \n",
                             "☆ Failed to allocate [120] bytes for block information management! \n",
                             "☆ Failed to call kx_list_msort function during split sort (kx_stdin)! \n", kReleased};
        for (const string &text : expected) {
            EXPECT_EQ(lines.count(text), 1U) << text << " among " << o.err;
        }
    }
}

} // namespace
