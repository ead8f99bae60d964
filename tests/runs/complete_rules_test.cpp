// complete_rules_test.cpp: each rule that complete mode changes, beside what it is otherwise. "-W1" sends any inputs
// through the temporary file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/complete_both.h"
#include "support/feeder.h"
#include "support/texts.h"

namespace {

using namespace support;
using std::string;

using Args = std::vector<string>;

const string kReleased = "メモリ解放がかかった[#]msです。\n";
const string kInvalidLength = "☆不正なレコード長を検知しました！ \n";

string repeated(const string &text, std::size_t times) {
    string all;
    for (; times > 0; --times) {
        all += text;
    }
    return all;
}

class CompleteRules : public testing::Test {
  protected:
    void inputs(const std::vector<string> &contents) {
        for (std::size_t i = 0; i < contents.size(); ++i) {
            box.write(string(1, static_cast<char>('a' + i)), contents[i]);
        }
    }
    /// Both succeed and print that.
    static void expect_out(const Both &both, const string &usual, const string &complete) {
        EXPECT_EQ(both.usual.status, 0);
        EXPECT_EQ(both.complete.status, 0) << both.complete.err;
        EXPECT_EQ(both.usual.out, usual);
        EXPECT_EQ(both.complete.out, complete);
    }
    static void expect_failure(const Outcome &o, const string &message) {
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_TRUE(says(o, message)) << o.err;
    }

    /// In the process of a run: somebody writes that to "pipe".
    void fill_pipe(const string &data) const {
        const string pipe = box.path("pipe");
        unlink(pipe.c_str());
        if (mkfifo(pipe.c_str(), 0600) != 0) {
            _exit(98);
        }
        const pid_t reader = getpid();
        if (fork() == 0) {
            die_with(reader);
            write_pieces(open(pipe.c_str(), O_WRONLY | O_CLOEXEC), data, data.size(), 0);
            _exit(0);
        }
    }

    Box box;
};

TEST_F(CompleteRules, _1_BlocksOfSeveralInputsLieBehindEachOther) {
    inputs({"a2\na1\n", "b2\nb1\n"});
    expect_out(run_both(box, {"-W1", "a", "b"}), "a1\na1\na2\na2\n", "a1\na2\nb1\nb2\n");
    expect_out(run_both(box, {"-W1", "-L3", "a", "b"}), "a1\na1\na2\na2\n", "a1\na2\nb1\nb2\n");
    expect_out(run_both(box, {"-W1", "-C", "a", "b"}), "a1\na1\na2\na2\n", "a1\na2\nb1\nb2\n");
}

TEST_F(CompleteRules, _2_SortingStartsRightBehindTheHeader) {
    inputs({"id\nb\na\n", "other\nd\nc\n"});
    expect_out(run_both(box, {"-W1", "-C", "-H", "a"}), "id\n", "id\na\nb\n");
    expect_out(run_both(box, {"-W1", "-C", "-H", "a", "b"}), "id\n", "id\na\nb\nc\nd\n");
}

TEST_F(CompleteRules, _3_FixedLengthInputsAreMergedWhole) {
    const string a = repeated("a", 1100000), b = repeated("b", 1100000);
    inputs({a, b});
    expect_out(run_both(box, {"-M", "-L100", "a", "b"}), a.substr(0, 1048500) + b.substr(0, 1048500), a + b);
    const string long_record = repeated("c", 1100000); // longer than the buffer
    box.write("c", long_record + long_record);
    const Both both = run_both(box, {"-M", "-L1100000", "c", "a"});
    expect_failure(both.usual, "☆ Record length [1100000] is too long");
    EXPECT_TRUE(both.complete.out == a + long_record + long_record);
}

TEST_F(CompleteRules, _3_AnEmptyInputIsSkippedByAMerge) {
    inputs({"a\n", "", "c\n"});
    for (const char *format : {"-L2", "-A", "-C"}) {
        expect_out(run_both(box, {"-M", format, "a", "b", "c"}), "a\n", "a\nc\n");
        expect_out(run_both(box, {"-M", format, "b", "c"}), "", "c\n");
    }
}

TEST_F(CompleteRules, _4_HeadersOfStandardInputAndOfAMerge) {
    inputs({"id\na\nc\n", "ID\nb\n", "", "only"});
    expect_out(run_both(box, {"-C", "-H"}, "id\nb\na\n"), "a\nb\nid\n", "id\na\nb\n");
    expect_out(run_both(box, {"-M", "-C", "-H", "a", "b"}), "ID\nb\nid\na\nc\n", "id\na\nb\nc\n");
    EXPECT_EQ(run_both(box, {"-M", "-C", "-H", "-U", "d", "b", "a"}).complete.out, "only\na\nb\nc\n");
    EXPECT_EQ(run_both(box, {"-M", "-C", "-H", "c", "b", "a"}).complete.out, "ID\na\nb\nc\n"); // the first there is
    EXPECT_EQ(run_both(box, {"-L3", "-H"}, "id\nab\n").complete.out, "ab\nid\n") << "only CSV has headers";
}

TEST_F(CompleteRules, _5_InputsEndWithTheNewlineCode) {
    inputs({"b", "a\n", "", "c"});
    expect_out(run_both(box, {"a", "b", "d"}), "ba\nc\n", "a\nb\nc\n");
    expect_out(run_both(box, {"-C", "a", "b", "c", "d"}), "ba\nc\n", "a\nb\nc\n");
    box.write("cr", "x\r");
    box.write("lf", "\n");
    expect_out(run_both(box, {"-P\\r\\n", "cr", "lf"}), "x\r\n", "\n\r\nx\r\r\n");
    box.write("id", "id");
    EXPECT_EQ(run_both(box, {"-C", "-H", "id", "b"}).complete.out, "id\n") << "the header is cut off b, too";
}

TEST_F(CompleteRules, _6_AnUnbalancedQuoteIsAnError) {
    const string pipe = "1,tile\n2,5\" pipe\n3,bolt\n", balance = "9,\"\n";
    inputs({pipe, balance});
    const Both both = run_both(box, {"-C", "-K1", "-O", "out", "a"});
    EXPECT_EQ(both.usual.status, 0);
    EXPECT_EQ(box.read("out"), "1,tile\n"); // of the first run; the other one leaves it alone
    expect_failure(both.complete, kInvalidLength);
    EXPECT_EQ(run_both(box, {"-C", "a", "b"}).usual.out, pipe + balance) << "glued together";
    for (const Args &way : {Args{"-C", "a", "b"}, Args{"-C", "-W1", "a", "b"}, Args{"-C", "-M", "a", "b"}}) {
        expect_failure(run_both(box, way).complete, kInvalidLength);
    }
    expect_failure(run_both(box, {"-C"}, pipe).complete, kInvalidLength);
}

TEST_F(CompleteRules, _6_TwoKeysOnOneColumn) {
    expect_out(run_both(box, {"-C", "-K2n", "-K2d"}, "a,1\nb,01\nc,2\nd,0\n"), "", "d,0\na,1\nb,01\nc,2\n");
}

TEST_F(CompleteRules, _7_WholeCsvRecordsHaveOneOrder) {
    string data = "a,b,c\n";
    for (int i = 0; i < 4200; ++i) {
        data += "x" + repeated("y", 997) + "\n"; // more than a chunk
    }
    inputs({data + "a,c\n"});
    const Both both = run_both(box, {"-W1", "-C", "a"});
    EXPECT_EQ(both.usual.out.substr(0, 10), "a,c\na,b,c\n");
    EXPECT_EQ(both.complete.out.substr(0, 10), "a,b,c\na,c\n");
    EXPECT_EQ(both.complete.out.size(), data.size() + 4);
    EXPECT_TRUE(both.complete.out == run_both(box, {"-C", "a"}).complete.out);
}

TEST_F(CompleteRules, _8_AFragmentOnStandardInputIsAnError) {
    const string data = repeated(string(999, 'r') + "\n", 16000);
    const Both both = run_both(box, {"-W16M", "-L1000"}, data + "fragment");
    EXPECT_EQ(both.usual.status, 0);
    EXPECT_TRUE(both.usual.out == data);
    expect_failure(both.complete, "☆ Invalid input data size [16000008]!\n");
    expect_failure(run_both(box, {"-L2"}, "aab").complete, "☆ Invalid input data size [3]!\n");
}

TEST_F(CompleteRules, _9_ANumberEndsWithItsKey) {
    const string data = "  11\n  02\n";
    expect_out(run_both(box, {"-S", "-K0,2n"}, data), "  02\n  11\n", data);
    expect_out(run_both(box, {"-U", "-S", "-K0,2n"}, data), "  02\n  11\n", "  11\n");
    inputs({data});
    expect_out(run_both(box, {"-W1", "-S", "-K0,2n", "a"}), "  02\n  11\n", data);
    inputs({"  11\n", "  02\n"});
    expect_out(run_both(box, {"-M", "-S", "-K0,2n", "a", "b"}), "  02\n  11\n", data);
    expect_out(run_both(box, {"-L3", "-S", "-K0,1n"}, " 5 3  "), "3   5 ", " 5 3  ");
}

TEST_F(CompleteRules, _10_AnEmptyColumnIsNoZero) {
    const string data = "0,b\n,a\n0,c\n,d\n1,e\n-1,f\n";
    expect_out(run_both(box, {"-U", "-S", "-C", "-K1n"}, data), "-1,f\n0,b\n1,e\n", "-1,f\n,a\n0,b\n1,e\n");
    expect_out(run_both(box, {"-U", "-S", "-C", "-K1nd"}, data), "1,e\n0,b\n-1,f\n", "1,e\n0,b\n,a\n-1,f\n");
    EXPECT_EQ(run_both(box, {"-U", "-S", "-N", "-C", "-K1n"}, data).complete.out, "-1,f\n0,b\n1,e\n,a\n");
    expect_out(run_both(box, {"-S", "-C", "-K1n"}, data), "-1,f\n0,b\n,a\n0,c\n,d\n1,e\n",
               "-1,f\n0,b\n,a\n0,c\n,d\n1,e\n"); // without -U they are equal
    inputs({repeated(data, 200)});               // enough for the order by prefixes
    expect_out(run_both(box, {"-U", "-S", "-C", "-K1n", "a"}), "-1,f\n0,b\n1,e\n", "-1,f\n,a\n0,b\n1,e\n");
}

TEST_F(CompleteRules, _11_ARecordThatLacksAKeyEndsTheRun) {
    inputs({"long enough\n", "long enough, too\nshort\n"});
    box.write("out", "as before");
    const string named = "☆ Input file [b] has a record that lacks a sort key! Specify an error file (-E).\n";
    for (const Args &way : {Args{}, Args{"-W1"}, Args{"-M"}}) {
        Args args = way;
        args.insert(args.end(), {"-K0,10", "a", "b"});
        const Both both = run_both(box, args);
        EXPECT_EQ(both.usual.status, 0);
        expect_failure(both.complete, named);
    }
    const Both both = run_both(box, {"-C", "-K2", "-O", "csv", "b"});
    EXPECT_EQ(both.usual.status, 0);
    expect_failure(both.complete, named);
    choose_mode(true);
    EXPECT_EQ(box.run({.args = {"-K0,10", "-O", "out", "a", "b"}}).status, 1);
    EXPECT_EQ(box.read("out"), "as before");
    EXPECT_EQ(box.run({.args = {"-K0,10", "-E", "errors", "-O", "out", "a", "b"}}).status, 0);
    EXPECT_EQ(box.read("errors"), "short\n");
    choose_mode(false);
}

TEST_F(CompleteRules, _11_StandardInputIsNamedToo) {
    const Both both = run_both(box, {"-K0,10"}, "short\n");
    EXPECT_EQ(both.usual.status, 0);
    EXPECT_EQ(both.complete.status, 1);
    EXPECT_EQ(both.complete.err,
              kStart +
                  "☆ Standard input has a record that lacks a sort key! Specify an error file (-E).\n"
                  "☆ Standard input sort failed!\n" +
                  kFailed);
}

TEST_F(CompleteRules, _12_EmptyInputsGiveAnEmptyOutput) {
    inputs({"", ""});
    for (const char *format : {"-L10", "-A", "-C", "-U"}) {
        for (const Args &way :
             {Args{format, "a", "b"}, Args{format, "-W1", "a", "b"}, Args{format, "-M", "a", "b"}, Args{format}}) {
            Args args = way;
            args.insert(args.begin(), {"-O", "out"});
            ::unlink(box.path("out").c_str());
            const Outcome o = run_both(box, args).complete;
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_EQ(steady(o), kStart + (says(o, "メモリ") ? kReleased : "") + kEnd);
            EXPECT_EQ(box.read("out"), "");
        }
    }
    expect_failure(run_both(box, {"-L10", "a"}).usual, "☆ Sort failed.");
    EXPECT_EQ(run_both(box, {"a"}).usual.out, "\n");
}

TEST_F(CompleteRules, _12_OfHeadersOnlyOneIsLeft) {
    inputs({"id\n", "other\n"});
    for (const Args &way : {Args{"a", "b"}, Args{"-W1", "a", "b"}, Args{"-M", "a", "b"}, Args{"-U", "a", "b"}}) {
        Args args = way;
        args.insert(args.begin(), {"-C", "-H", "-K1"});
        EXPECT_EQ(run_both(box, args).complete.out, "id\n");
    }
    EXPECT_EQ(run_both(box, {"-C", "-H", "-K1"}, "id\n").complete.out, "id\n");
}

/// More of them in complete_pipes_test.cpp.
TEST_F(CompleteRules, _12_PipesAreReadToTheirEnd) {
    inputs({"b\nd"});
    for (const Args &way : {Args{"-A"}, Args{"-W1"}, Args{"-M"}, Args{"-C"}, Args{"-M", "-C"}}) {
        SCOPED_TRACE(way.front());
        Args args = way;
        args.insert(args.end(), {"a", "pipe"});
        const Both both = run_both(box, args, "", [this] { fill_pipe("a\nc"); });
        expect_failure(both.usual, "☆ Input file 2 [pipe] is not a regular file!\n");
        EXPECT_EQ(both.complete.status, 0) << both.complete.err;
        EXPECT_EQ(both.complete.out, "a\nb\nc\nd\n");
    }
}

} // namespace
