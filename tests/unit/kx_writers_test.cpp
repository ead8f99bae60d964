// kx_writers_test.cpp: records into the output.
#include "kx_io/kx_writers.h"

#include <string>

#include "support/writers_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

using Writer = int (*)(const kx_list *, kx_stream *);
constexpr Writer kBoth[] = {kx_outputFile_list, kx_outputFile_list_unique};

string wording(Writer writer) { return writer == kx_outputFile_list ? "plain" : "unique"; }

/// What the writer puts into the output file out of `list`, which it opens itself.
string file_of(const Box &box, Writer writer, const kx_list *list, int status = 0) {
    if (argsInfo.outFile.path == nullptr) {
        argsInfo.outFile.path = kx_copy_text(box.path("out").c_str());
    }
    EXPECT_EQ(writer(list, nullptr), status);
    EXPECT_FALSE(outFile.open) << "what the writer opened is closed";
    return box.read("out");
}

TEST_F(Writers, WriteRecordsAsTheyLieInMemory) {
    for (const Form form : kForms) {
        configure(form);
        const Records records = five(form);
        box.write("out", "what was there before, and longer than what comes");
        EXPECT_EQ(file_of(box, kx_outputFile_list, records.list()), whole_of_five(form));
        EXPECT_EQ(file_of(box, kx_outputFile_list_unique, records.list()), unique_of_five(form));
    }
}

TEST_F(Writers, AGivenStreamIsUsedAndStaysOpen) {
    for (const Form form : kForms) {
        configure(form);
        set_output(box.path("out"));
        const Records records = five(form);
        EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputFile_list(records.list(), &to), 0); }),
                  whole_of_five(form));
        EXPECT_EQ(stream_of([&](kx_stream &to) {
                      EXPECT_EQ(kx_outputFile_list_unique(records.list(), &to), 0);
                      EXPECT_EQ(kx_outputFile_list(records.list(), &to), 0);
                  }),
                  unique_of_five(form) + whole_of_five(form));
        EXPECT_EQ(box.read("out"), "(no file)");
        std::free(argsInfo.outFile.path);
        argsInfo.outFile.path = nullptr;
    }
}

TEST_F(Writers, WithoutAPathWriteToStandardOutput) {
    for (const Form form : kForms) {
        configure(form);
        const Records records = five(form);
        const auto output = [&](Writer writer) {
            return written_to(STDOUT_FILENO, [&] {
                std::fputs("before ", stdout);
                EXPECT_EQ(writer(records.list(), nullptr), 0);
                std::fputs(" after", stdout);
            });
        };
        EXPECT_EQ(output(kx_outputFile_list), "before " + whole_of_five(form) + " after");
        EXPECT_EQ(output(kx_outputFile_list_unique), "before " + unique_of_five(form) + " after");
    }
    EXPECT_EQ(box.files(), "tmp/");
}

TEST_F(Writers, AreSilentAndLeaveTheListAlone) {
    configure(Form::csv);
    const Records records = five(Form::csv);
    EXPECT_EQ(messages_of([&] { file_of(box, kx_outputFile_list, records.list()); }), "");
    EXPECT_EQ(messages_of([&] { file_of(box, kx_outputFile_list_unique, records.list()); }), "");
    EXPECT_EQ(kx_list_len(records.list()), 5);
}

// Longer than every buffer, with records longer than the buffer among short ones.
TEST_F(Writers, WriteMuchMoreThanABuffer) {
    std::vector<Sample> samples;
    string all;
    for (std::size_t i = 0; i < 3000; ++i) {
        const std::size_t size = i % 1000 == 500 ? 300000 : i % 700;
        samples.push_back({string(size, static_cast<char>('a' + i % 26))});
        all += samples.back().bytes;
    }
    configure(Form::lines);
    set_keys({});
    argsInfo.bRecSort = kRecSortAsc;
    const Records records(Form::lines, samples);
    EXPECT_TRUE(file_of(box, kx_outputFile_list, records.list()) == all);
    EXPECT_TRUE(file_of(box, kx_outputFile_list_unique, records.list()) == all);
}

// A tie is judged against the neighbour in the list, written or not.
TEST_F(Writers, UniqueComparesWithTheNeighbourInTheList) {
    configure(Form::fixed);
    const Records runs(Form::fixed, {{"aa1_"}, {"aa2_"}, {"aa3_"}, {"bb4_"}, {"aa5_"}, {"aa6_"}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, runs.list()), "aa1_bb4_aa5_");
    const Records one(Form::fixed, {{"aa1_"}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, one.list()), "aa1_");
    configure(Form::csv); // a numeric column: +5 and 5 are the same
    set_keys({key(1, 0, kTypeNum)});
    const Records numbers(Form::csv, {{"+5\n", {{0, 2}}}, {"5\n", {{0, 1}}}, {"05x\n", {{0, 3}}}, {"6\n", {{0, 1}}}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, numbers.list()), "+5\n6\n");
}

TEST_F(Writers, UniqueByWholeRecords) {
    configure(Form::lines);
    argsInfo.bRecSort = kRecSortAsc;
    const Records lines(Form::lines, {{"abc"}, {"abc"}, {"abcd"}, {"abcd"}, {"abc"}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, lines.list()), "abcabcdabc");
    configure(Form::fixed);
    const Records fixed(Form::fixed, {{"aa11"}, {"aa12"}, {"aa12"}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, fixed.list()), "aa11aa12");
    configure(Form::csv);
    const Records csv(Form::csv, {{"a,b\n", {{0, 1}, {2, 1}}}, {"a,b\n", {{0, 1}, {2, 1}}}, {"a\n", {{0, 1}}}});
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, csv.list()), "a,b\na\n");
}

// The header

TEST_F(Writers, TheHeaderGoesFirst) {
    configure(Form::csv);
    set_header("no,\"na\nme\"\n");
    const Records records = five(Form::csv);
    EXPECT_EQ(file_of(box, kx_outputFile_list, records.list()), "no,\"na\nme\"\n" + whole_of_five(Form::csv));
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, records.list()), "no,\"na\nme\"\n" + unique_of_five(Form::csv));
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputFile_list(records.list(), &to), 0); }),
              "no,\"na\nme\"\n" + whole_of_five(Form::csv));
}

TEST_F(Writers, AnEmptyListIsTheHeaderAloneAndUniqueNothing) {
    configure(Form::csv);
    set_header("a,b\n");
    const Records none(Form::csv, {});
    EXPECT_EQ(file_of(box, kx_outputFile_list, none.list()), "a,b\n");
    EXPECT_EQ(file_of(box, kx_outputFile_list_unique, none.list()), "");
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputFile_list_unique(none.list(), &to), 0); }), "");
    EXPECT_EQ(written_to(STDOUT_FILENO, [&] { EXPECT_EQ(kx_outputFile_list(none.list(), nullptr), 0); }), "");
}

TEST_F(Writers, NoHeaderUnlessAskedForAndKept) {
    const Records csv = five(Form::csv);
    configure(Form::csv);
    set_header("a,b\n");
    argsInfo.bHeader = 0;
    EXPECT_EQ(file_of(box, kx_outputFile_list, csv.list()), whole_of_five(Form::csv));
    argsInfo.bHeader = 1;
    argsInfo.headerLen = 0;
    EXPECT_EQ(file_of(box, kx_outputFile_list, csv.list()), whole_of_five(Form::csv));
    argsInfo.headerLen = 4;
    configure(Form::lines);
    EXPECT_EQ(file_of(box, kx_outputFile_list, five(Form::lines).list()), whole_of_five(Form::lines));
    configure(Form::fixed);
    argsInfo.bCsv = 1; // a record length wins
    EXPECT_EQ(file_of(box, kx_outputFile_list, five(Form::fixed).list()), whole_of_five(Form::fixed));
}

// Without a list

TEST_F(Writers, NoListCreatesAnEmptyOutputAndFails) {
    configure(Form::csv);
    set_header("a,b\n");
    for (const Writer writer : kBoth) {
        SCOPED_TRACE(wording(writer));
        box.write("out", "old");
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(file_of(box, writer, nullptr, 1), ""); }), "");
        EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(writer(nullptr, &to), 1); }), "");
    }
}

TEST_F(Writers, AnEmptyListOfTheOtherFormatsCreatesAnEmptyOutput) {
    for (const Form form : {Form::fixed, Form::lines}) {
        configure(form);
        const Records none(form, {});
        for (const Writer writer : kBoth) {
            box.write("out", "old");
            EXPECT_EQ(file_of(box, writer, none.list()), "");
        }
    }
}

// Failures

TEST_F(Writers, AnOutputThatCannotBeCreatedIsReportedInTwoWordings) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    set_output(box.path("no/out"));
    const auto say = [&](Writer writer) { return messages_of([&] { EXPECT_EQ(writer(records.list(), nullptr), 1); }); };
    const string path = box.path("no/out");
    EXPECT_EQ(say(kx_outputFile_list), "☆ Cannot create output file [" + path + "]! Please check permissions.\n");
    EXPECT_EQ(say(kx_outputFile_list_unique), "☆ Cannot create output file [" + path + "]!\n");
    speak_japanese();
    EXPECT_EQ(say(kx_outputFile_list), "☆出力ファイル[" + path + "]は作成できません！権限不足かをご確認ください。\n");
    EXPECT_EQ(say(kx_outputFile_list_unique), "☆出力ファイル[" + path + "]は作成できません！\n");
    EXPECT_EQ(messages_of([&] { EXPECT_EQ(kx_outputFile_list(nullptr, nullptr), 1); }),
              "☆出力ファイル[" + path + "]は作成できません！権限不足かをご確認ください。\n");
}

TEST_F(Writers, ARefusedBufferIsReported) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    set_output(box.path("out"));
    for (const Writer writer : kBoth) {
        for (const kx_site site : {kx_site::setvbuf, kx_site::allocate}) {
            const auto say = [&] {
                const Fault fault({.site = site});
                return messages_of([&] { EXPECT_EQ(writer(records.list(), nullptr), 1); });
            };
            setenv("LANG", "C", 1);
            EXPECT_EQ(say(), "☆ Failed to set output buffer!\n");
            speak_japanese();
            EXPECT_EQ(say(), "☆出力バッファの設定はできません！\n");
            EXPECT_FALSE(outFile.open);
        }
    }
}

TEST_F(Writers, StandardOutputDoesWithoutABuffer) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    const Fault fault({.site = kx_site::allocate, .onwards = true});
    EXPECT_EQ(written_to(STDOUT_FILENO, [&] { EXPECT_EQ(kx_outputFile_list(records.list(), nullptr), 0); }),
              whole_of_five(Form::fixed));
}

TEST_F(Writers, AFullDiskIsReported) {
    set_output("/dev/full");
    for (const Form form : kForms) {
        configure(form);
        const Records records = five(form);
        for (const Writer writer : kBoth) {
            const auto say = [&] { return messages_of([&] { EXPECT_EQ(writer(records.list(), nullptr), 1); }); };
            setenv("LANG", "C", 1);
            EXPECT_EQ(say(), "☆ Error occurred while writing output file [/dev/full]!\n");
            speak_japanese();
            EXPECT_EQ(say(), "☆出力ファイル[/dev/full]の書き込み中にエラーが発生しました！\n");
        }
    }
}

TEST_F(Writers, EveryFailingWriteAndACloseThatFailsAreReported) {
    configure(Form::lines);
    Records records(Form::lines, {{string(700000, 'a')}, {"b"}, {string(700000, 'c')}, {"d"}});
    records.swap(0, 2); // neighbours would be written in one piece
    set_output(box.path("out"));
    const string message = "☆ Error occurred while writing output file [" + box.path("out") + "]!\n";
    for (int call = 1; call <= 4; ++call) {
        const Fault fault({.site = kx_site::write, .call = call});
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(kx_outputFile_list(records.list(), nullptr), 1); }), message) << call;
        EXPECT_FALSE(outFile.open);
    }
    const Fault fault({.site = kx_site::close});
    EXPECT_EQ(messages_of([&] { EXPECT_EQ(kx_outputFile_list(records.list(), nullptr), 1); }), message);
}

TEST_F(Writers, RecordsThatLieOneBehindTheOtherAreWrittenInOnePiece) {
    configure(Form::lines);
    Records records(Form::lines, {{string(400000, 'a')}, {string(400000, 'b')}, {string(400000, 'c')}, {"d"}});
    set_output(box.path("out"));
    const Fault in_order({.site = kx_site::write, .call = 1000});
    EXPECT_EQ(kx_outputFile_list(records.list(), nullptr), 0);
    EXPECT_EQ(Fault::calls(), 1);
    EXPECT_EQ(box.read("out"), string(400000, 'a') + string(400000, 'b') + string(400000, 'c') + "d");
    records.swap(0, 2);
    const Fault mixed({.site = kx_site::write, .call = 1000});
    EXPECT_EQ(kx_outputFile_list(records.list(), nullptr), 0);
    EXPECT_GT(Fault::calls(), 1);
    EXPECT_EQ(box.read("out"), string(400000, 'c') + string(400000, 'b') + string(400000, 'a') + "d");
}

TEST_F(Writers, StandardOutputThatFailsIsReported) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    for (const Writer writer : kBoth) {
        for (const char *lang : {"C", kJapanese}) {
            const Outcome o = in_child(
                [&] {
                    const Fault fault({.site = kx_site::write});
                    return writer(records.list(), nullptr);
                },
                {.lang = lang});
            EXPECT_EQ(o.status, 1);
            EXPECT_EQ(o.out, "");
            EXPECT_EQ(o.err, string(lang) == "C" ? "☆ Error occurred while writing to standard output!\n"
                                                 : "☆標準出力への書き込み中にエラーが発生しました！\n");
        }
    }
}

TEST_F(Writers, AGivenStreamThatFailsIsReported) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    kx_stream stream{};
    ASSERT_TRUE(kx_stream_open_write(stream, "/dev/full"));
    EXPECT_NE(messages_of([&] { EXPECT_EQ(kx_outputFile_list(records.list(), &stream), 1); }), "");
    EXPECT_TRUE(stream.open);
    kx_stream_clear(stream);
}

} // namespace
