// options_test.cpp: every option with its effect and its echo, the refusals, the size grammar, version and help texts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace {

using std::string;
using support::between;
using support::Box;
using support::Ending;
using support::kEnd;
using support::kJapanese;
using support::kStart;
using support::Outcome;

using Args = std::vector<string>;

Args operator+(Args first, const Args &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const auto name_of = [](const auto &info) { return info.param.name; };

string upper(string text) {
    text[1] = static_cast<char>(std::toupper(text[1]));
    return text;
}

string lower(string text) {
    text[1] = static_cast<char>(std::tolower(text[1]));
    return text;
}

/// What the options print while they are read in a verbose run.
string echo(const Args &args, const char *lang = "C") {
    const Box box;
    box.write("in.dat", "b2a1");
    const Outcome o = box.run({.args = Args{"-Verbose"} + args, .lang = lang});
    return between(o.err, kStart,
                   lang == string("C") ? "\n--- Argument loading completed.--- \n"
                                       : "\n--- 引数の読み込み処理は完成しました。。--- \n");
}

// Echo lines. The option's letter is given in either case; "%" stands for the letter in the echo.

struct Echo {
    const char *name;
    Args option;
    string english;
    string japanese;
};
void PrintTo(const Echo &row, std::ostream *to) { *to << row.name; }

class Echoes : public testing::TestWithParam<Echo> {};

string with_letter(string text, char letter) {
    if (const std::size_t at = text.find('%'); at != string::npos) {
        text[at] = letter;
    }
    return text;
}

TEST_P(Echoes, InBothCasesAndLanguages) {
    const Echo &row = GetParam();
    for (const bool capital : {true, false}) {
        Args option = row.option;
        option[0] = capital ? upper(option[0]) : lower(option[0]);
        SCOPED_TRACE(option[0]);
        EXPECT_EQ(echo(option), with_letter(row.english, option[0][1]));
        EXPECT_EQ(echo(option, kJapanese), with_letter(row.japanese, option[0][1]));
    }
}

const string kAscending = "☆ Sort all records in ascending order\n", kAscendingJa = "☆全レコードを昇順ソート\n";
const string kDescending = "☆ Sort all records in descending order\n", kDescendingJa = "☆全レコードを降順ソート\n";

Echo same(const char *name, const Args &option, const string &text) { return {name, option, text, text}; }

INSTANTIATE_TEST_SUITE_P(
    Rows, Echoes,
    testing::Values(Echo{"A", {"-A"}, kAscending, kAscendingJa}, Echo{"R", {"-R"}, kDescending, kDescendingJa},
                    Echo{"both_orders", {"-A", "-R"}, kAscending + kDescending, kAscendingJa + kDescendingJa},
                    same("C", {"-C"}, "-%\n"), same("S", {"-S"}, "-%\n"), same("U", {"-U"}, "-%\n"),
                    same("N", {"-N"}, "-%\n"), same("M", {"-M"}, "-%\n"),
                    Echo{"H", {"-H"}, "☆ Treat first line as header\n", "☆先頭の行をヘッダとして扱う\n"},
                    same("D", {"-D", "=>"}, "ソートの区切りとしてのデリミタは: =>\n"),
                    same("P", {"-P", "\\r\\n"}, "入力データの改行コードは: \\r\\n\n"),
                    same("E", {"-E", "errors"}, "エラーファイルは: errors\n"),
                    same("O", {"-O", "out dat"}, "出力ファイルは: out dat\n"),
                    same("T", {"-T", "tmp"}, "一時フォルダは: tmp/\n"),
                    same("T_with_a_slash", {"-T", "tmp/"}, "一時フォルダは: tmp//\n"),
                    same("K", {"-K", "0,1nd"}, "ソートキー1は:0,1nd\n"),
                    same("K_twice", {"-K0,1", "-K1,1"}, "ソートキー1は:0,1\nソートキー2は:1,1\n"),
                    same("L", {"-L", "002"}, "レコード長は: 2\n"), same("W", {"-W", "64m"}, "バッファサイズ：[64MB]\n"),
                    same("V", {"-V", "x"}, ""),
                    same("operands", {"-S", "in.dat", "./in.dat"},
                         "-%\n入力ファイル1のパスは: in.dat\n入力ファイル2のパスは: ./in.dat\n")),
    name_of);

TEST(EchoLines, ComeOnlyBehindVerbose) {
    const Box box;
    box.write("in.dat", "b2a1");
    const string err = box.run({.args = {"-S", "-L2", "-v", "erbose", "-U", "in.dat"}}).err;
    EXPECT_EQ(between(err, kStart, "\n--- Argument loading completed.--- \n"), "-U\n入力ファイル1のパスは: in.dat\n");
}

// -V

TEST(Version, OnlyErboseMakesARunVerbose) {
    for (const Args &quiet : {Args{"-Vx"}, Args{"-V", "x"}, Args{"-vERBOSE"}, Args{"-Verbos"}, Args{"-Verbose2"}}) {
        const Box box;
        box.write("in.dat", "b2a1");
        const Outcome o = box.run({.args = quiet + Args{"-L2", "in.dat"}});
        EXPECT_EQ(o.err, kStart + kEnd) << quiet[0];
        EXPECT_EQ(o.out, "a1b2") << quiet[0];
    }
    for (const Args &verbose : {Args{"-Verbose"}, Args{"-verbose"}, Args{"-V", " erbose "}}) {
        EXPECT_EQ(echo(verbose + Args{"-S"}), "-S\n") << verbose[0];
    }
}

TEST(Version, PrintsItsLinesAndEndsTheProcess) {
    for (const Args &empty : {Args{"-V", ""}, Args{"-V", "  "}, Args{"-v "}, Args{"-V\t"}}) {
        const Box box;
        const Outcome o = box.run({.args = empty + Args{"in.dat"}});
        EXPECT_EQ(o.ending, Ending::exited);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err.substr(0, kStart.size() + 16), kStart + "\nVersion: 3.0.0\n");
        EXPECT_NE(o.err.find("the orkan developers"), string::npos);
        EXPECT_NE(o.err.find("MIT"), string::npos);
        EXPECT_EQ(box.files(), "tmp/");
    }
    const string japanese = kStart + "\nバージョン：3.0.0\n";
    const Outcome o = Box().run({.args = {"-V", " "}, .lang = kJapanese});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err.substr(0, japanese.size()), japanese);
    EXPECT_NE(o.err.find("MIT"), string::npos);
}

// Help

TEST(Help, IsPrintedToTheByteInBothLanguages) {
    for (const bool more : {false, true}) {
        const Args args = more ? Args{"--help", "-Z", "in.dat"} : Args{"--help"};
        const Outcome o = Box().run({.args = args});
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + support::kHelp);
        EXPECT_EQ(Box().run({.args = args, .lang = kJapanese}).err, kStart + support::kHelpJa);
    }
}

// Refused options

struct Refusal {
    const char *name;
    Args option;
    string english;
    string japanese;
};
void PrintTo(const Refusal &row, std::ostream *to) { *to << row.name; }

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, WithMessageHelpAndStatusOne) {
    const Refusal &row = GetParam();
    for (const bool capital : {true, false}) {
        Args option = row.option;
        option[0] = capital ? upper(option[0]) : lower(option[0]);
        SCOPED_TRACE(option[0]);
        const Box box;
        box.write("in.dat", "b2a1");
        const Args args = Args{"-O", "out"} + option + Args{"-L2", "in.dat"};
        const std::vector<Outcome> runs = box.run_all({{.args = args}, {.args = args, .lang = kJapanese}});
        ASSERT_EQ(runs.size(), 2U);
        EXPECT_EQ(runs[0].status, 1);
        EXPECT_EQ(runs[0].out, "");
        EXPECT_EQ(runs[0].err, kStart + row.english + support::kSyntax + support::kHelp + support::kFailed);
        EXPECT_EQ(runs[1].status, 1);
        EXPECT_EQ(runs[1].err, kStart + row.japanese + support::kSyntaxJa + support::kHelpJa + support::kFailedJa);
        EXPECT_EQ(box.files(), "in.dat tmp/");
    }
}

Refusal invalid_option(const char *name, const Args &option) {
    return {name, option, "☆ Invalid option []!\n", "☆オプション[]不正です！\n"};
}
Refusal invalid_length(const char *name, const string &text, const string &shown) {
    return {name, {"-L", text}, "☆オプション[W" + shown + "]不正です！\n", "☆オプション[W" + shown + "]不正です！\n"};
}
Refusal invalid_size(const char *name, const string &text, const string &shown) {
    return {name, {"-W", text}, "☆ Invalid option [W" + shown + "]!\n", "☆オプション[W" + shown + "]不正です！\n"};
}
Refusal too_small(const char *name, const string &text, const string &shown) {
    return {
        name, {"-W", text}, "☆ Invalid buffer size [" + shown + "]!\n", "☆バッファサイズ[" + shown + "]不正です！\n"};
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Refused,
    testing::Values(invalid_option("empty_delimiter", {"-D", ""}), invalid_option("blank_delimiter", {"-D", " \t "}),
                    invalid_option("empty_newline", {"-P", ""}), invalid_option("real_newline", {"-P", "\n"}),
                    invalid_length("length_with_letters", "10x", "10x"), invalid_length("empty_length", "", ""),
                    invalid_length("negative_length", "-5", "-5"), invalid_length("signed_length", "+5", "+5"),
                    invalid_length("fractional_length", "1.5", "1.5"), invalid_length("two_numbers", "1 2", "1 2"),
                    invalid_size("two_letters_mb", "64MB", "64MB"), invalid_size("two_letters_kb", "1024KB", "1024KB"),
                    invalid_size("two_letters_mk", "64MK", "64M"), invalid_size("gigabytes", "1g", "1g"),
                    invalid_size("empty_size", "", ""), invalid_size("only_k", "K", ""),
                    invalid_size("only_m", "m", ""), invalid_size("letters_m", "xM", "x"),
                    invalid_size("negative_size", "-1", "-1"), invalid_size("negative_k", "-1k", "-1"),
                    invalid_size("fraction", "1.5M", "1.5"), invalid_size("signed_size", "+5", "+5"),
                    invalid_size("inner_blank", "6 4", "6 4"), invalid_size("blank_before_suffix", "64 M", "64 "),
                    too_small("zero", "0", "0"), too_small("zeros", "000", "000"), too_small("zero_k", "0k", "0K"),
                    too_small("zero_m", "0m", "0M"), too_small("zero_capital_m", "00M", "00M")),
    name_of);

TEST(OptionMemory, RefusedIsAMessageToo) {
    for (const Args &option : {Args{"-O", "out"}, Args{"-E", "err"}, Args{"-T", "tmp"}, Args{"-K0,1"}}) {
        SCOPED_TRACE(option[0]);
        const Box box;
        const auto before = [] { support::fail_call(orkan::kx_site::allocate, 1); };
        EXPECT_EQ(box.run({.args = option, .before = before}).err,
                  kStart + "☆ Failed to allocate memory for the options!\n" + support::kSyntax + support::kHelp +
                      support::kFailed);
        EXPECT_EQ(box.run({.args = option, .lang = kJapanese, .before = before}).err,
                  kStart + "☆オプション用メモリの割当は失敗しました！\n" + support::kSyntaxJa + support::kHelpJa +
                      support::kFailedJa);
    }
}

// The size grammar. With an empty input the pool has the size that -W gives.

struct Size {
    const char *text;
    const char *echo;
    const char *pool;
};

TEST(MemorySize, TakesBytesKibibytesAndMebibytes) {
    const Size rows[] = {
        {"64m", "64", "65536"},
        {"64M", "64", "65536"},
        {"32768k", "32", "32768"},
        {"32768K", "32", "32768"},
        {"67108864", "64", "65536"},
        {"67108865", "65", "65537"},
        {"1", "1", "16384"},
        {"1048577", "2", "16384"},
        {"007M", "7", "16384"},
        {"20000k", "20", "20000"},
        {" 64m ", "64", "65536"},
        {"1k", "1", "16384"},
        {"2048m", "2048", "65536"}, // at 2 GiB the pool falls back to 64 MiB
        {"1000000m", "1000000", "65536"},
    };
    for (const Size &row : rows) {
        SCOPED_TRACE(row.text);
        const Box box;
        box.write("in.dat", "");
        const string err = box.run({.args = {"-Verbose", "-W", row.text, "-L2", "in.dat"}}).err;
        EXPECT_EQ(between(err, "バッファサイズ：[", "MB]\n"), row.echo);
        EXPECT_EQ(between(err, "Memory pool size is [", "]KB.\n"), row.pool);
    }
}

TEST(MemorySize, NoNumberIsTooLarge) {
    const Box box;
    box.write("in.dat", "");
    for (const char *text : {"9223372036854775807", "99999999999999999999999", "9223372036854775807k",
                             "9223372036854775807m", "18014398509481984k", "17592186044416m"}) {
        const Outcome o = box.run({.args = {"-Verbose", "-L2", "-W", text, "in.dat"}});
        const string pool = between(o.err, "Memory pool size is [", "]KB.\n");
        EXPECT_EQ(pool, "65536") << text;
    }
}

// Effects

struct Effect {
    const char *name;
    Args args;
    string out;
};

TEST(Effects, OnOneInput) {
    const Effect rows[] = {
        {"whole records ascending is the default", {}, "a1a2b1b1"},
        {"-A", {"-A"}, "a1a2b1b1"},
        {"-R", {"-R"}, "b1b1a2a1"},
        {"the first of two orders wins", {"-r", "-a"}, "b1b1a2a1"},
        {"the first of two orders wins, the other way round", {"-A", "-R"}, "a1a2b1b1"},
        {"an order discards the keys", {"-K1,1d", "-A"}, "a1a2b1b1"},
        {"an order discards even an invalid key", {"-K", "what", "-R", "-K900,1"}, "b1b1a2a1"},
        {"-U", {"-U"}, "a1a2b1"},
        {"keys in their order", {"-K1,1d", "-K0,1"}, "a2a1b1b1"},
        {"-S", {"-S", "-K0,1"}, "a2a1b1b1"},
        {"the last record length counts", {"-L3", "-L2"}, "a1a2b1b1"},
        {"CSV is ignored", {"-C", "-H", "-N", "-D;", "-P", "bad"}, "a1a2b1b1"},
    };
    for (const Effect &row : rows) {
        SCOPED_TRACE(row.name);
        const Box box;
        box.write("in.dat", "b1a2b1a1");
        const Outcome o = box.run({.args = Args{"-L2"} + row.args + Args{"in.dat"}});
        EXPECT_EQ(o.out, row.out);
        EXPECT_EQ(o.err, kStart + kEnd);
        EXPECT_EQ(o.status, 0);
    }
}

TEST(Effects, TheLastPathCounts) {
    const Box box;
    box.write("in.dat", "b2a1");
    EXPECT_EQ(box.run({.args = {"-O", "one", "-L2", "-O", "two", "-T", "nowhere", "-T", "tmp", "in.dat"}}).status, 0);
    EXPECT_EQ(box.files(), "in.dat tmp/ two");
    EXPECT_EQ(box.read("two"), "a1b2");
}

TEST(Effects, ALengthOfZeroIsNoLength) {
    const Outcome o = Box().run({.args = {"-L0", "-P", "x"}});
    EXPECT_EQ(o.err, kStart + "☆ Invalid newline code [x]!\n" + support::kArguments + support::kFailed);
}

TEST(Effects, InputsAreTakenInTheirOrder) {
    const Box box;
    box.write("z", "k1");
    box.write("a", "k2");
    EXPECT_EQ(box.run({.args = {"-S", "-L2", "-K0,1", "z", "a"}}).out, "k1k2");
    EXPECT_EQ(box.run({.args = {"-S", "-L2", "-K0,1", "a", "z", "a"}}).out, "k2k1k2");
}

} // namespace
