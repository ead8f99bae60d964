// kx_split_variable_test.cpp: lines into sorted blocks of the temporary file.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/lines_fixture.h"
#include "support/texts.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class LinesSplit : public LinesState {
  protected:
    /// The blocks of one input that is split without a message.
    Texts blocks_of(const string &data) {
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(split(data), 0); }), "");
        return block_texts();
    }
    string failure(const string &data) {
        return messages_of([&] { EXPECT_EQ(split(data), 1); });
    }
};

// Chunks: three quarters of the budget above the reserve, in whole quarters, less room for a newline code.

struct Sizes {
    kx_i64 above;           ///< bytes of the budget above the reserve
    int records;            ///< of 10 bytes in the input
    const char *code;       ///< newline code
    Texts::size_type first; ///< records in the first block
};

TEST_F(LinesSplit, ChunksAreThreeQuartersOfTheBudget) {
    const Sizes rows[] = {
        {4000, 1000, "\n", 299},   {4003, 1000, "\n", 299},  {4007, 1000, "\n", 300}, {4016, 1000, "\n", 301},
        {4008, 1000, "\r\n", 300}, {40, 1000, "\n", 2},      {4000, 300, "\n", 299},  {4000, 301, "\n", 299},
        {40000, 20, "\n", 19},     {40000, 1000, "\n", 999},
    };
    for (const Sizes &row : rows) {
        SCOPED_TRACE(std::to_string(row.above) + " bytes, " + std::to_string(row.records) + " records");
        use_pool(1 << 20);
        forge("");
        set_lines(row.code);
        set_budget(row.above);
        string data = numbered_lines(row.records, 10);
        for (std::size_t at = 0; argsInfo.sep_len == 2 && (at = data.find('\n', at)) != string::npos; ++at) {
            data[at - 1] = '\r';
        }
        ASSERT_EQ(split(data), 0);
        ASSERT_GT(dataInfo.cnt, 0);
        EXPECT_EQ(blocks()[0].records.size(), row.first);
        EXPECT_EQ(joined(block_texts()), data);
    }
}

TEST_F(LinesSplit, ARecordCutByAChunksEndStandsWholeInTheNextBlock) {
    set_budget(40); // reads of 29 bytes
    EXPECT_EQ(blocks_of("bbbbbbbbb\naaaaaaaaa\ncut here by the end\nd\n"),
              (Texts{"aaaaaaaaa\nbbbbbbbbb\n", "cut here by the end\nd\n"}));
}

TEST_F(LinesSplit, ASmallFileComesInTwoBlocks) {
    EXPECT_EQ(blocks_of("c\nb\na\n"), (Texts{"b\nc\n", "a\n"}));
    EXPECT_EQ(kx_splitSort_offset_variable, 18);
}

TEST_F(LinesSplit, BlocksAreDescribed) {
    set_budget(40);
    split("3\n22\n1\n" + string(19, 'x') + "\n");
    const std::vector<Block> all = blocks();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].position, 0);
    EXPECT_EQ(all[0].size, 7 + 3 * 4);
    EXPECT_EQ(all[1].position, all[0].size);
    EXPECT_EQ(all[1].size, 20 + 4);
    EXPECT_EQ(kx_splitSort_offset_variable, 43);
    EXPECT_EQ(recordInfoArray, nullptr);
}

// Kept: every input's blocks are counted from 0 again, although they stand behind those of the inputs before it.
TEST_F(LinesSplit, TheSecondInputStartsAgainAtZero) {
    split("b\na\n");
    split("ddd\nccc\neee\n");
    EXPECT_EQ(block_texts(), (Texts{"b\n", "a\n", "ccc\nddd\n", "eee\n"}));
    EXPECT_EQ(unit(1).startPos, 6);
    EXPECT_EQ(unit(2).startPos, 0);
    EXPECT_EQ(unit(3).startPos, 16);
    EXPECT_EQ(kx_splitSort_offset_variable, 24);
}

// A missing last newline

TEST_F(LinesSplit, AMissingNewlineIsAppendedAndCounted) {
    struct Row {
        const char *code;
        const char *data;
        const char *appended;
    };
    const Row rows[] = {{"\n", "b\na\n", ""},        {"\n", "b\na", "\n"},    {"\n", "a", "\n"},
                        {"\r", "b\ra\r", ""},        {"\r", "b\ra\n", "\r"},  {"\r\n", "b\r\na\r\n", ""},
                        {"\r\n", "b\r\na", "\r\n"},  {"\r\n", "a\r", "\r\n"}, {"\r\n", "b\r\na\n", "\r\n"},
                        {"\r\n", "b\r\n\r", "\r\n"}, {"\r\n", "\n", "\r\n"}};
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::PrintToString(string(row.data)));
        use_pool(1 << 20);
        forge("");
        set_lines(row.code);
        argsInfo.totalFileSize = 1000;
        const Texts texts = blocks_of(row.data);
        string all = joined(texts), expected = string(row.data) + row.appended;
        std::sort(all.begin(), all.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(all, expected);
        EXPECT_EQ(argsInfo.totalFileSize, 1000 + to_i64(string(row.appended).size()));
    }
}

// Tiny inputs: nothing is lost and nothing fails.
TEST_F(LinesSplit, TinyInputs) {
    struct Row {
        const char *code;
        const char *data;
        string written; ///< in one block or two
    };
    const Row rows[] = {{"\n", "", ""},
                        {"\n", "a", "a\n"},
                        {"\n", "\n", "\n"},
                        {"\n", "a\n", "a\n"},
                        {"\n", "\na", "\na\n"},
                        {"\n", "\n\n", "\n\n"},
                        {"\n", "aa", "aa\n"},
                        {"\r\n", "", ""},
                        {"\r\n", "a", "a\r\n"},
                        {"\r\n", "\n", "\n\r\n"},
                        {"\r\n", "\r", "\r\r\n"},
                        {"\r\n", "\r\n", "\r\n"},
                        {"\r\n", "a\r\n", "a\r\n"},
                        {"\r\n", "\r\na", "\r\na\r\n"},
                        {"\r\n", "\r\n\r\n", "\r\n\r\n"},
                        {"\r\n", "\r\n\r", "\r\n\r\r\n"}};
    for (const Row &row : rows) {
        for (const kx_i64 above : {0, 4, 8, 4000}) {
            SCOPED_TRACE(testing::PrintToString(string(row.data)) + " within " + std::to_string(above));
            use_exhausted_pool();
            forge("");
            set_lines(row.code);
            set_budget(above);
            EXPECT_EQ(joined(blocks_of(row.data)), row.written);
        }
    }
}

// One record larger than what is read at once. Up to a rest of 655359 bytes it is finished, then it is no record.

TEST_F(LinesSplit, AFileOfOneRecordIsReadWhole) {
    for (const std::size_t length : {std::size_t{5}, std::size_t{5000}, std::size_t{655359}}) {
        for (const string code : {"\n", "\r\n"}) {
            use_pool(1 << 22);
            forge("");
            set_lines(code.c_str());
            set_budget(kx_i64{1} << 24);
            EXPECT_EQ(blocks_of(string(length, 'x') + code), Texts{string(length, 'x') + code});
            use_pool(1 << 22);
            forge("");
            EXPECT_EQ(blocks_of(string(length, 'y')), Texts{string(length, 'y') + code});
        }
    }
}

TEST_F(LinesSplit, ARecordOf655360BytesIsNone) {
    set_budget(kx_i64{1} << 24);
    EXPECT_EQ(failure(string(655360, 'x') + "\n"), "☆ Invalid record length detected! \n");
    EXPECT_EQ(failure("a\n" + string(655361, 'x')), "☆ Invalid record length detected! \n");
    speak_japanese();
    EXPECT_EQ(failure(string(2000000, 'x') + "\n"), "☆不正なレコード長を検知しました！ \n");
}

TEST_F(LinesSplit, RecordsBeyondTheChunkAreFinishedAnywhere) {
    set_budget(40);
    const string huge(1000, 'h');
    EXPECT_EQ(joined(blocks_of("b\n" + huge + "\na\n" + huge + "\n" + huge)),
              "b\n" + ("a\n" + huge + "\n" + huge + "\n" + huge + "\n"));
}

// Error records

TEST_F(LinesSplit, AChunkOfErrorRecordsOnlyMakesNoBlock) {
    set_error_file();
    set_budget(40);
    configure({.keys = {{.position = 0, .length = 10}}});
    EXPECT_EQ(blocks_of("A\nB\nC\nD\nE\nF\nG\nH\nI\nJ\nK\nL\nM\nN\na long line\nO\n"), Texts{"a long line\n"});
    EXPECT_EQ(error_records(), "N\nM\nL\nK\nJ\nI\nH\nG\nF\nE\nD\nC\nB\nA\nO\n");
    EXPECT_EQ(dataInfo.cnt, 1);
    EXPECT_EQ(unit(0).startPos, 0);
}

TEST_F(LinesSplit, AnInputOfErrorRecordsOnlyMakesNoBlockAtAll) {
    configure({.keys = {{.position = 0, .length = 10}}});
    EXPECT_EQ(blocks_of("A\nB\nC"), Texts{});
    EXPECT_EQ(kx_splitSort_offset_variable, 0);
}

// Order and uniqueness within a block

TEST_F(LinesSplit, DuplicatesWithinABlockAreNotWritten) {
    configure({.keys = {{.position = 0, .length = 1}}, .stable = true, .unique = true});
    EXPECT_EQ(blocks_of("b1\na1\nb2\na2\nb3\n"), (Texts{"a1\nb1\n", "b3\n"}));
    EXPECT_EQ(unit(0).size, 14);
    EXPECT_EQ(unit(0).totalRecNum, 2);
    EXPECT_EQ(unit(1).startPos, 14);
}

TEST_F(LinesSplit, AStableBlockKeepsTheOrderOfTies) {
    configure({.keys = {{.position = 0, .length = 1}}, .stable = true});
    EXPECT_EQ(blocks_of("b2\na2\nb1\na1\nb0\n"), (Texts{"a2\na1\nb2\nb1\n", "b0\n"}));
}

TEST_F(LinesSplit, WholeRecordsDescend) {
    configure({.descending = true});
    EXPECT_EQ(blocks_of("a\nb\naa\n\nc\nz\n"), (Texts{"c\nb\naa\na\n\n", "z\n"}));
}

// Verbose

TEST_F(LinesSplit, VerboseLines) {
    VERBOSE = 1;
    set_budget(4096);
    configure({.keys = {{.position = 0, .length = 5}}});
    argsInfo.totalRecNum = 7;
    const string chunk = "最初分割ソート用バッファサイズは[3]KBです。\n";
    const string index = "[_kx_get_indexList_variable]がかかった[#]msです。\n";
    EXPECT_EQ(steady(messages_of([&] { split(numbered_lines(400, 10)); })),
              chunk + index + "ブロック1 を処理しました！ \n" + index + "ブロック2 を処理しました！ \n");
    EXPECT_EQ(argsInfo.totalRecNum, 407);
    // The chunk is the whole input where that is smaller; blocks are counted through all inputs.
    EXPECT_EQ(steady(messages_of([&] { split(numbered_lines(205, 10) + "A\nB\nC\n"); })),
              "最初分割ソート用バッファサイズは[2]KBです。\n" + index + "ブロック3 を処理しました！ \n" + index);
    EXPECT_EQ(argsInfo.totalRecNum, 612) << "error records do not count";
}

TEST_F(LinesSplit, RecordsAreCountedOnlyWhenVerbose) {
    split(numbered_lines(400, 10));
    EXPECT_EQ(argsInfo.totalRecNum, 0);
}

// Random inputs against the model

/// What each chunk covers, when `most` bytes are read at once.
Texts model_chunks(const string &data, std::size_t most, const string &code) {
    Texts chunks;
    for (std::size_t at = 0; at < data.size();) {
        const bool to_end = data.size() - at < most;
        const string chunk = to_end ? terminated(data.substr(at), code) : data.substr(at, most);
        std::size_t covered = 0;
        for (const Item &item : line_items(chunk, code, {}).kept) {
            covered += item.bytes.size();
        }
        if (covered == 0) { // no whole record: all the rest
            most = data.size() - at + 2;
            continue;
        }
        chunks.push_back(chunk.substr(0, covered));
        at += covered;
    }
    return chunks;
}

TEST_F(LinesSplit, OfRandomLinesIsThatOfTheModel) {
    std::mt19937 random(4711);
    set_error_file();
    string short_ones;
    const string codes[] = {"\n", "\r", "\r\n"};
    for (int round = 0; round < 400; ++round) {
        const string &code = codes[round % 3];
        use_exhausted_pool();
        forge("");
        set_lines(code.c_str());
        string data = random_text(random, 1 + random() % 200, 1 + random() % 30, code);
        data.resize(data.size() - random() % 3);
        const kx_i64 above = 100 + to_i64(random() % 3000);
        set_budget(above);
        const Rules rules = random_rules(random, 10, code.size());
        configure(rules);
        const kx_i64 most = std::min(above / 4 * 3, to_i64(data.size())) - argsInfo.sep_len;
        const Texts texts = blocks_of(data);
        std::size_t i = 0;
        for (const string &chunk : model_chunks(data, to_size(std::max<kx_i64>(most, 1)), code)) {
            const Lines expected = line_items(chunk, code, rules);
            short_ones += expected.rejected();
            if (!expected.kept.empty()) {
                ASSERT_LT(i, texts.size());
                ASSERT_TRUE(is_sorted_output(texts[i++], expected.kept, rules)) << round;
            }
        }
        ASSERT_EQ(i, texts.size()) << round;
    }
    EXPECT_EQ(error_records(), short_ones);
}

} // namespace
