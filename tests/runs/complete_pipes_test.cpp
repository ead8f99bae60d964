// complete_pipes_test.cpp: complete mode with pipes among the inputs: what they hold reaches the output once, or the
// run fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/complete_both.h"
#include "support/feeder.h"
#include "support/small_sizes.h"
#include "support/texts.h"

namespace {

using namespace support;
using std::string;

using Args = std::vector<string>;

/// In the process of a run: a named pipe that somebody fills.
void feed(const string &path, const string &data) {
    if (mkfifo(path.c_str(), 0600) != 0) {
        _exit(98);
    }
    const pid_t reader = getpid();
    if (fork() == 0) {
        die_with(reader);
        write_pieces(open(path.c_str(), O_WRONLY | O_CLOEXEC), data, 3000, 0);
        _exit(0);
    }
}

/// In the process of a run: a standard stream is that file or pipe.
void stand_in(int stream, const string &path, int flags) {
    const int fd = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (fd < 0 || dup2(fd, stream) != stream) {
        _exit(97);
    }
}

class CompletePipes : public testing::Test {
  protected:
    /// Somebody fills the pipes "p" and "q".
    Outcome run(
        const Args &args, const string &p = "id\nd\nb", const string &q = "ID\nc\n",
        const std::function<void()> &before = [] {}, bool complete = true, const char *lang = "C") {
        const Outcome o = box.run({.args = args, .lang = lang, .before = [&] {
                                       choose_mode(complete);
                                       feed(box.path("p"), p);
                                       feed(box.path("q"), q);
                                       before();
                                   }});
        unlink(box.path("p").c_str());
        unlink(box.path("q").c_str());
        return o;
    }
    Outcome run_small(const Args &args, const string &p, const string &q = "") { return run(args, p, q, shrink_sizes); }
    static void expect_refusal(const Outcome &o, const string &message) {
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + message + kArguments + kFailed);
    }

    Box box;
};

TEST_F(CompletePipes, AreReadToTheirEndBesideFiles) {
    box.write("a", "id\na");
    EXPECT_EQ(run({"-C", "-H", "p", "a", "q"}).out, "id\na\nb\nc\nd\n");
    EXPECT_EQ(run({"a", "p", "q"}).out, "ID\na\nb\nc\nd\nid\nid\n");
    EXPECT_EQ(run({"-W1", "a", "p", "q"}).out, "ID\na\nb\nc\nd\nid\nid\n");
    EXPECT_EQ(run({"-M", "-C", "-H", "a", "q"}).out, "id\na\nc\n");
    EXPECT_EQ(run({"-L5", "q"}).out, "ID\nc\n");
    EXPECT_EQ(run({"-M", "-L5", "q"}).out, "ID\nc\n");
    EXPECT_TRUE(says(run({"-L4", "p"}), "☆ Invalid input data size [6]!"));
    EXPECT_TRUE(says(run({"-M", "-L4", "p"}), "☆ Invalid input data size [6]!"));
}

TEST_F(CompletePipes, AreNamedByMessages) {
    const Outcome o = run({"-K1,1", "-P\\r", "q", "p"});
    EXPECT_EQ(o.status, 0) << o.err;
    box.write("a", "long\n");
    for (const Args &names : {Args{"p", "a"}, Args{"a", "p"}}) {
        Args args = names;
        args.insert(args.begin(), "-K1,2");
        EXPECT_EQ(run(args).err,
                  kStart + "☆ Input file [p] has a record that lacks a sort key! Specify an error file (-E).\n" +
                      kFailed);
    }
}

TEST_F(CompletePipes, AreNamedWhereTheyCannotBeOpenedOrReadAndSoAreFilesBesideThem) {
    box.write("a", "a\n");
    const auto expect_failure = [this](const Args &inputs, orkan::kx_site site, int call, const string &message) {
        const Outcome o = run(inputs, "p\n", "", [site, call] { fail_call(site, call); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, kStart + message + kFailed);
    };
    expect_failure({"a", "p"}, orkan::kx_site::open, 2, "☆ Cannot open input file [p]!\n");
    expect_failure({"p", "a"}, orkan::kx_site::open, 2, "☆ Cannot open input file [a]!\n");
    const string unread = "☆ Error occurred while reading input file ";
    expect_failure({"p", "a"}, orkan::kx_site::read, 1, unread + "[p]!\n");
    expect_failure({"a", "p"}, orkan::kx_site::read, 1, unread + "[a]!\n");
    expect_failure({"a", "p"}, orkan::kx_site::read, 3, unread + "[p]!\n"); // behind a's bytes and its end
}

TEST_F(CompletePipes, NoRecordReachesIntoTheNextInput) {
    const string balance = "3,\"z\n";
    box.write("a", balance);
    const Outcome o = run({"-C", "p", "a"}, "1,a\n2,\"x\n");
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(says(o, "☆不正なレコード長を検知しました！ \n")) << o.err;
    EXPECT_EQ(run({"-C", "p"}, "1,a\n2,\"x\n" + balance).status, 0) << "in one input it is a quoted field";
}

TEST_F(CompletePipes, AreRefusedOtherwise) {
    const Outcome o = box.run({.args = {"p"}, .before = [this] {
                                   choose_mode(false);
                                   feed(box.path("p"), "a\n");
                               }});
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(says(o, "☆ Input file 1 [p] is not a regular file!"));
}

TEST_F(CompletePipes, AreEmptyInputsWhenNothingComes) {
    for (const Args &way : {Args{}, Args{"-C", "-H"}, Args{"-C", "-K1"}, Args{"-L10"}, Args{"-U"}, Args{"-S"}}) {
        for (const char *path : {"-A", "-M", "-W1"}) {
            Args args = way;
            args.insert(args.begin(), {path, "-O", "out"});
            args.insert(args.end(), {"p", "q"});
            box.write("out", "as before");
            const Outcome o = run(args, "", "");
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_EQ(box.read("out"), "") << path << (way.empty() ? "" : way.front());
        }
    }
    EXPECT_EQ(run({"-M", "-C", "-H", "p", "q"}, "", "id\n").out, "id\n");
    EXPECT_EQ(run({"-C", "-H", "p", "q"}, "", "id\n").out, "id\n");
}

// --- beyond one buffer or chunk --------------------------------------------------------------------------------------

TEST_F(CompletePipes, OfAnyLengthAreMerged) {
    for (const Args &format : {Args{"-L8"}, Args{"-A"}, Args{"-C"}, Args{"-C", "-H"}}) {
        const bool header = format.size() > 1;
        const string even = numbered(0, 400, 2), odd = numbered(1, 400, 2), head = header ? "payload\n" : "";
        Args args = format;
        args.insert(args.begin(), "-M");
        args.insert(args.end(), {"p", "q"});
        const Outcome o = run_small(args, head + even, head + odd);
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.out, head + numbered(0, 400, 1));
        box.write("a", head + odd);
        args.back() = "a";
        EXPECT_EQ(run_small(args, head + even).out, o.out) << "a file beside a pipe";
    }
}

TEST_F(CompletePipes, EndInAFragmentWherever) {
    const string records = numbered(0, 100, 1); // 800 bytes, some buffers
    box.write("a", records);
    for (const Args &way : {Args{"-M", "-L8", "p"}, Args{"-M", "-L8", "a", "p"}, Args{"-L8", "p", "a"}}) {
        const Outcome o = run_small(way, records + "cut");
        EXPECT_EQ(o.status, 1);
        EXPECT_TRUE(says(o, "☆ Invalid input data size [803]!\n")) << o.err;
    }
}

TEST_F(CompletePipes, AreNamedByMessagesBeyondTheFirstChunk) {
    const string records = numbered(0, 200, 1), broken = records + "x\n" + records; // of 200 bytes or so is a chunk
    const auto named = [](const string &name) {
        return "☆ Input file [" + name + "] has a record that lacks a sort key! Specify an error file (-E).\n";
    };
    for (const Args &way : {Args{"-K0,5"}, Args{"-C", "-D-", "-K2"}}) {
        const auto expect_named = [&](const Args &inputs, const string &p, const string &a, const string &name) {
            box.write("a", a);
            Args args = way;
            args.insert(args.end(), inputs.begin(), inputs.end());
            const Outcome o = run_small(args, p);
            EXPECT_EQ(o.status, 1);
            EXPECT_TRUE(says(o, named(name))) << o.err;
        };
        expect_named({"p", "a"}, records, broken, "a");
        expect_named({"a", "p"}, broken, records, "p");
        expect_named({"p", "a"}, broken, records, "p");
        expect_named({"a", "p"}, records, broken, "a");
        expect_named({"p", "a"}, records, records + "x", "a"); // its newline code is added
        expect_named({"-M", "p", "a"}, records, broken, "a");
        expect_named({"-M", "a", "p"}, broken, records, "p");
    }
}

TEST_F(CompletePipes, LoseNothingBesideAFileNamedTwice) {
    box.write("a", numbered(0, 50, 1));
    string expected;
    for (int i = 0; i < 50; ++i) {
        expected += numbered(i, i + 1, 1) + numbered(i, i + 1, 1);
    }
    expected += numbered(50, 100, 1);
    for (const char *path : {"-A", "-M"}) {
        EXPECT_EQ(run_small({path, "a", "p", "a"}, numbered(50, 100, 1)).out, expected);
    }
}

// --- pipes that are read twice, or written to
// --------------------------------------------------------------------------

TEST_F(CompletePipes, NamedTwiceAreRefused) {
    box.write("a", "id\n");
    ASSERT_EQ(symlink("p", box.path("link").c_str()), 0);
    struct Row {
        Args args;
        string number, name;
    };
    const Row rows[] = {
        {{"-M", "-C", "-H", "-K1n", "p", "p"}, "2", "p"}, {{"-M", "-L2", "p", "p"}, "2", "p"}, {{"p", "p"}, "2", "p"},
        {{"-C", "q", "a", "p", "./q"}, "4", "./q"},       {{"p", "a", "link"}, "3", "link"},
    };
    for (const Row &row : rows) {
        const string place = row.number + " [" + row.name + "]";
        expect_refusal(run(row.args), "☆ Input file " + place + " is a pipe that was named before!\n");
        const Outcome o = run(
            row.args, "", "", [] {}, true, kJapanese);
        const string japanese =
            "☆入力ファイル" + place.substr(0, 1) + place.substr(2) + "は既に指定されたパイプです！\n";
        EXPECT_EQ(o.err, kStart + japanese + kArgumentsJa + kFailedJa);
    }
    EXPECT_EQ(run({"a", "p", "a"}).out, "b\nd\nid\nid\nid\n") << "a regular file has its bytes twice";
}

TEST_F(CompletePipes, NamedTwiceAsStandardInputAreRefused) {
    for (const char *path : {"-M", "-A"}) {
        const Outcome o = run({path, "-C", "-H", "-K1n", "/dev/stdin", "/dev/stdin"}, "", "",
                              [] { feed_in_pieces("id\n1\n2\n", 8); });
        expect_refusal(o, "☆ Input file 2 [/dev/stdin] is a pipe that was named before!\n");
    }
}

TEST_F(CompletePipes, ThatAreReadAreNotWrittenTo) {
    box.write("a", "a\nlong enough\n");
    for (const Args &way : {Args{"-M", "p", "a"}, Args{"-M", "a", "p"}, Args{"p"}, Args{"-W1", "-L2", "q", "p"}}) {
        for (const string option : {"-O", "-E"}) {
            Args args = way;
            args.insert(args.begin(), {"-K0,2", option, "./p"});
            expect_refusal(run(args),
                           string("☆ Cannot create ") + (option == "-O" ? "output" : "error") + " file [./p]!\n");
        }
    }
    const Outcome o =
        run({"-M", "p", "a"}, "b\n", "", [this] { stand_in(STDOUT_FILENO, box.path("p"), O_RDWR); }); // as by the shell
    expect_refusal(o, "☆ Error occurred while writing to standard output!\n");
}

TEST_F(CompletePipes, AreNotWrittenToAsStandardInputEither) {
    for (const bool complete : {false, true}) {
        for (const string option : {"-O", "-E"}) {
            for (const string path : {"p", "/dev/stdin"}) {
                const Outcome o = run(
                    {"-K0,2", option, path}, "a\nlong enough\n", "",
                    [this] { stand_in(STDIN_FILENO, box.path("p"), O_RDONLY); }, complete);
                expect_refusal(o, "☆ Cannot create " + string(option == "-O" ? "output" : "error") + " file [" + path +
                                      "]!\n");
            }
        }
    }
}

/// In the process of a run: the pipe's data gather in a file.
void drain(const string &pipe, const string &file) {
    if (mkfifo(pipe.c_str(), 0600) != 0) {
        _exit(96);
    }
    const pid_t writer = getpid();
    if (fork() == 0) {
        if (getppid() != writer) {
            _exit(0); // before it wrote
        }
        stand_in(STDIN_FILENO, pipe, O_RDONLY);
        stand_in(STDOUT_FILENO, file, O_WRONLY | O_CREAT | O_TRUNC);
        execlp("cat", "cat", nullptr);
        _exit(95);
    }
}

TEST_F(CompletePipes, AreWrittenToOtherwise) {
    box.write("a", "short\nlong enough\n");
    for (const bool complete : {false, true}) {
        const Args both = {"-K0,8", "-O", "r", "-E", "r", "a"};
        const Outcome o = run(
            both, "", "", [this] { drain(box.path("r"), box.path("out")); }, complete);
        EXPECT_EQ(o.status, 0) << o.err;
        string out;
        for (int left = 1000; out.size() < 18 && left > 0; --left) { // the other end may lag behind
            usleep(10000);
            out = box.read("out");
        }
        EXPECT_EQ(out, "long enough\nshort\n");
        unlink(box.path("r").c_str());
        unlink(box.path("out").c_str());
        EXPECT_EQ(run(
                      {"-K0,8", "-O", "/dev/null", "-E", "/dev/null", "a", "/dev/null"}, "", "", [] {}, complete)
                      .status,
                  0);
    }
}

} // namespace
