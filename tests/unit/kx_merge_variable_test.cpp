// kx_merge_variable_test.cpp: the blocks of lines merged into the output.
#include <climits>
#include <random>
#include <string>
#include <vector>

#include "support/lines_merge_fixture.h"
#include "support/texts.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

TEST_F(LinesMerge, BringsBlocksIntoOneOrder) {
    write_blocks({{"a\n", "d\n"}, {"b\n", "c\n", "e\n"}, {"aa\n"}});
    EXPECT_EQ(messages(), kReleased);
    EXPECT_EQ(output(), "a\naa\nb\nc\nd\ne\n");
}

TEST_F(LinesMerge, OfOneBlockIsTheBlock) {
    for (const bool unique : {false, true}) {
        start_again();
        configure({.unique = unique});
        write_blocks({{"b\n", "a\n", "c\n"}}); // not in order: a single block is not looked at
        EXPECT_EQ(messages(), kReleased);
        EXPECT_EQ(output(), "b\na\nc\n");
    }
}

TEST_F(LinesMerge, OfNoBlocksIsNothing) {
    for (const bool unique : {false, true}) {
        configure({.unique = unique});
        forge("");
        EXPECT_EQ(messages(), kReleased);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(dataInfo.bufSize, 0);
    }
}

TEST_F(LinesMerge, GivesItsMemoryBack) {
    for (const bool unique : {false, true}) {
        use_pool(1 << 20);
        configure({.unique = unique});
        const kx_i64 before = memPool->num;
        write_blocks({{"a\n", "c\n"}, {"b\n"}});
        messages();
        EXPECT_EQ(kx_list_len(dataInfo.list), 0);
        EXPECT_EQ(memPool->num, before + 1) << "the block list's slots stay";
        EXPECT_EQ(memPool->qnum, 0);
        EXPECT_EQ(argsInfo.outFile.outBuf, nullptr);
    }
}

// Ties

TEST_F(LinesMerge, AStableMergeTakesEqualRecordsInBlockOrder) {
    configure({.keys = {{.position = 0, .length = 1}}, .stable = true});
    write_blocks({{"a1\n", "a2\n", "b1\n"}, {"a3\n", "b2\n"}, {"a4\n", "a5\n", "b3\n"}});
    messages();
    EXPECT_EQ(output(), "a1\na2\na3\na4\na5\nb1\nb2\nb3\n");
}

// A block that was just advanced stays in front of blocks with an equal record.
TEST_F(LinesMerge, APlainMergeStaysInItsBlock) {
    configure({.keys = {{.position = 0, .length = 1}}});
    write_blocks({{"b1\n", "c1\n", "c3\n"}, {"a2\n", "c2\n", "c4\n"}});
    messages();
    EXPECT_EQ(output(), "a2\nb1\nc1\nc3\nc2\nc4\n");
}

// Lines in order, as prefixes of each other

TEST_F(LinesMerge, ShorterRecordsComeFirstAndLastWhenDescending) {
    write_blocks({{"ab"}, {"abc"}, {"a"}, {"abcdefghij"}, {"abcdefghi"}});
    messages();
    EXPECT_EQ(output(), "aababcabcdefghiabcdefghij");
    start_again();
    configure({.descending = true});
    write_blocks({{"ab"}, {"abc"}, {"a"}, {"abcdefghij"}, {"abcdefghi"}});
    messages();
    EXPECT_EQ(output(), "abcdefghijabcdefghiabcaba");
}

// Unique

TEST_F(LinesMerge, EqualRecordsOfDifferentBlocksGiveOne) {
    configure({.unique = true});
    write_blocks({{"a\n", "b\n", "c\n"}, {"a\n", "c\n", "d\n"}, {"b\n", "d\n"}});
    EXPECT_EQ(messages(), kReleased);
    EXPECT_EQ(output(), "a\nb\nc\nd\n");
}

TEST_F(LinesMerge, TheFirstMergedOfEqualKeysIsKept) {
    configure({.keys = {{.position = 0, .length = 1}}, .stable = true, .unique = true});
    write_blocks({{"b0\n"}, {"a1\n", "b1\n", "c1\n"}, {"a2\n", "c2\n"}});
    messages();
    EXPECT_EQ(output(), "a1\nb0\nc1\n");
    start_again();
    configure({.keys = {{.position = 0, .length = 2, .numeric = true}}, .stable = true, .unique = true});
    write_blocks({{"+5\n"}, {" 5\n", "05\n"}, {"-1\n", "5x\n", "06\n"}});
    messages();
    EXPECT_EQ(output(), "-1\n+5\n06\n");
}

TEST_F(LinesMerge, ARecordEqualToOneJustFlushedIsDropped) {
    configure({.unique = true});
    start_again();
    const string a = string(300000, 'a') + "\n", b = string(300000, 'b') + "\n", c = string(300000, 'c') + "\n";
    write_blocks({{a, b, c}, {a, b, c}, {b, c, "d\n"}});
    EXPECT_EQ(messages(), kReleased);
    EXPECT_TRUE(output() == a + b + c + "d\n");
}

// The staging buffer is written whenever the next record does not fit, and holds 655360 bytes exactly.
TEST_F(LinesMerge, TheStagingBufferIsFilledToTheLastByte) {
    configure({.unique = true});
    const struct {
        std::size_t last;
        int writes;
    } rows[] = {{327680, 1}, {327681, 2}};
    for (const auto &[last, writes] : rows) {
        start_again();
        const string a = string(327679, 'a') + "\n", b = string(last - 1, 'b') + "\n";
        write_blocks({{a}, {b}});
        const Fault count({.site = kx_site::write, .call = INT_MAX});
        messages();
        EXPECT_EQ(Fault::calls(), writes);
        EXPECT_TRUE(output() == a + b);
    }
}

TEST_F(LinesMerge, ARecordLongerThanTheStagingBuffer) {
    for (const bool unique : {true, false}) {
        start_again();
        configure({.unique = unique});
        const string huge(700000, 'h'), other(800000, 'i');
        write_blocks({{"a\n", huge + "\n", other + "\n"}, {"b\n", huge + "\n", "j\n"}});
        EXPECT_EQ(messages(), kReleased);
        const string twice = unique ? "" : huge + "\n";
        EXPECT_TRUE(output() == "a\nb\n" + huge + "\n" + twice + other + "\nj\n");
    }
}

TEST_F(LinesMerge, NoSystemCallPerRecord) {
    Texts many;
    for (int i = 0; i < 20000; ++i) {
        many.push_back(std::to_string(100000 + i) + "\n");
    }
    for (const bool unique : {false, true}) {
        for (const kx_site site : {kx_site::write, kx_site::read, kx_site::seek}) {
            start_again();
            configure({.unique = unique});
            set_budget(kx_i64{1} << 22);
            write_blocks({many, many});
            const Fault count({.site = site, .call = INT_MAX});
            messages();
            EXPECT_LE(Fault::calls(), 4);
            EXPECT_EQ(output().size(), unique ? 140000U : 280000U);
        }
    }
}

// Budget: three quarters of a whole quarter of each block's share; the whole share counts, not whole records.

struct Budget {
    kx_i64 above;
    bool unique;
    std::size_t longest;
    kx_i64 buffer;
};

TEST_F(LinesMerge, BlockBuffers) {
    const Budget rows[] = {
        {4000, false, 10, 1500},
        {4001, false, 10, 1500},
        {4006, false, 10, 1500},
        {4008, false, 10, 1503},
        {4000, false, 1500, 1500},
        {4000, false, 1501, 6004},
        {kStage + 4000, true, 10, 1500},
        {kStage + 4008, true, 10, 1503},
        {kStage + 4000, true, 1501, 6004},
        {kStage, true, 10, 40},
        {0, true, 10, 40},
        {0, false, 1, 4},
        {-5000, false, 1, 4},
    };
    for (const Budget &row : rows) {
        SCOPED_TRACE(std::to_string(row.above) + " bytes, longest " + std::to_string(row.longest));
        start_again();
        configure({.unique = row.unique});
        set_budget(row.above);
        const string first = string(row.longest - 1, 'a') + "\n";
        write_blocks({{first, "b\n"}, {"\n"}});
        argsInfo.maxRecLen = to_i64(row.longest);
        if (row.longest > 1) {
            EXPECT_EQ(messages(), kReleased);
            EXPECT_EQ(dataInfo.bufSize, row.buffer);
            EXPECT_EQ(output(), "\n" + first + "b\n");
        } else { // all records would have to be that short
            start_again();
            write_blocks({{"\n"}, {"\n"}});
            EXPECT_EQ(messages(), kReleased);
            EXPECT_EQ(dataInfo.bufSize, row.buffer);
        }
    }
}

// With its length in front, a record may need more than a buffer that holds the longest record.
TEST_F(LinesMerge, RecordsAboutAsLongAsTheBuffer) {
    for (const bool unique : {false, true}) {
        for (std::size_t length = 1490; length <= 1502; ++length) {
            start_again();
            configure({.unique = unique});
            set_budget((unique ? kStage : 0) + 4000);
            const auto record = [length](char c) { return string(length - 1, c) + "\n"; };
            write_blocks({{record('a'), record('c'), "d\n", record('e')}, {record('b'), "bb\n", record('d')}});
            EXPECT_EQ(messages(), kReleased);
            EXPECT_EQ(dataInfo.bufSize, length <= 1500 ? 1500 : to_i64(4 * length));
            EXPECT_EQ(output(), record('a') + record('b') + "bb\n" + record('c') + "d\n" + record('d') + record('e'));
        }
    }
}

TEST_F(LinesMerge, RecordsOfTheNewlineCodeAlone) {
    for (const bool unique : {false, true}) {
        start_again();
        configure({.unique = unique});
        set_budget((unique ? kStage : 0) + 48); // buffers of 18 bytes
        write_blocks({{"\n", "\n", "\n", "\n", "\n", "a\n", "a\n"}, {"\n", "\n", "\n", "\n", "\n", "\n"}});
        EXPECT_EQ(messages(), kReleased);
        EXPECT_EQ(output(), unique ? "\na\n" : string(11, '\n') + "a\na\n");
    }
}

// Verbose

const string kReserve = "BASIC_SIZEのサイズは[1024]KB, [1048576]Byteです。\n";
const string kFilled = "一時ファイル⇒ブロックバッファにデータを埋め込みました。\n";
const string kMerged = "総ブロック数:2  完成ブロック番号：2\n総ブロック数:1  完成ブロック番号：1\n";

TEST_F(LinesMerge, VerboseLines) {
    VERBOSE = 1;
    set_budget(9000);
    write_blocks({{string(1029, 'a') + "\n", "d\n"}, {"b\n", "c\n"}});
    EXPECT_EQ(messages(),
              "totalMemSizeのサイズは[1032]KB, [1057576]Byteです。\n" + kReserve +
                  "出力バッファサイズは[1]KBです。\nブロックバッファ数は[2]です。\n" // 0 bytes count as 1 KB
                  "各ブロックのバッファサイズは[3]KB, [3375]Byteです。\n"
                  "ブロックバッファ0の[1]KB, [1040]Byteの初期化は完了しました。\n"
                  "ブロックバッファ1の[0]KB, [12]Byteの初期化は完了しました。\n" +
                  kFilled + kMerged + kReleased);
}

// Kept: in unique mode the lines of output buffer and block count appear twice.
TEST_F(LinesMerge, VerboseLinesOfUniqueOutput) {
    VERBOSE = 1;
    configure({.unique = true});
    set_budget(kStage + 100);
    write_blocks({{"a\n", "dd\n"}, {"b\n", string(48, 'c') + "\n"}});
    const string twice = "出力バッファサイズは[640]KBです。\nブロックバッファ数は[2]です。\n";
    EXPECT_EQ(messages(), twice + "totalMemSizeのサイズは[1664]KB, [1704036]Byteです。\n" + kReserve + twice +
                              "☆各ブロックのバッファサイズ[36]は最大レコード長[49]より小さいです。\n"
                              "☆各ブロックのバッファサイズを[196]Byteにします。\n"
                              "各ブロックのバッファサイズは[0]KB, [196]Byteです。\n"
                              "ブロックバッファ0の[0]KB, [13]Byteの初期化は完了しました。\n"
                              "ブロックバッファ1の[0]KB, [59]Byteの初期化は完了しました。\n" +
                              kFilled + kMerged + kReleased);
    EXPECT_EQ(output(), "a\nb\n" + string(48, 'c') + "\ndd\n");
}

TEST_F(LinesMerge, ComparisonsAreCounted) {
    VERBOSE = 1;
    configure({.unique = true});
    write_blocks({{"a\n", "d\n"}, {"b\n", "c\n"}});
    messages();
    EXPECT_GT(cmpList_unit_totalRec_variable, 0);
    EXPECT_EQ(cmpIfEqual_unit_variable, 3) << "the first record is staged unseen";
}

// Kept: the second input's blocks are looked for at the temporary file's start, so other bytes are merged.
TEST_F(LinesMerge, BlocksOfASecondInputReadTheFirstInputsBytes) {
    split("b\na\nd\n");    // a b | d
    split("z\ny\nx\nw\n"); // x y z | w, taken for a b d | x
    EXPECT_EQ(messages(), kReleased);
    EXPECT_EQ(output(), "a\na\nb\nb\nd\nd\nx\n");
    start_again();
    forge("");
    configure({.unique = true});
    split("b\na\nd\n");
    split("z\ny\nx\nw\n");
    EXPECT_EQ(messages(), kReleased);
    EXPECT_EQ(output(), "a\nb\nd\nx\n");
}

// Random lines through tiny budgets against the model

TEST_F(LinesMerge, OfRandomLinesIsWhatTheModelSorts) {
    std::mt19937 random(31415);
    const string codes[] = {"\n", "\r", "\r\n"};
    for (int round = 0; round < 600; ++round) {
        const string &code = codes[round % 3];
        start_again();
        forge("");
        set_lines(code.c_str());
        string data = random_text(random, 1 + random() % 300, 1 + random() % 40, code);
        data.resize(data.size() - random() % 2 * code.size());
        const Rules rules = random_rules(random, 12, code.size());
        configure(rules);
        set_budget(100 + to_i64(random() % 4000));
        const string result = sorted(data);
        const Lines expected = line_items(terminated(data, code), code, rules);
        ASSERT_TRUE(is_sorted_output(result, expected.kept, rules)) << "round " << round;
    }
}

} // namespace
