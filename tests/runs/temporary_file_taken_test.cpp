// temporary_file_taken_test.cpp: somebody takes the temporary file's place during the run; what the program around the
// library learns of it.
#include <csignal>

#include "kx_io/kx_temporary_hook.h"
#include "support/temporary_fixture.h"

namespace {

using namespace support;
using namespace support::temporary;

struct Taker {
    const char *name;
    std::function<void(const string &)> take; ///< its place
    string left;                              ///< what can be read there afterwards
};

void write_file(const string &path, const string &bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

const Taker kTakers[] = {
    {"another file", [](const string &path) { write_file(path, "stranger"); }, "stranger"},
    {"the same bytes", [](const string &path) { write_file(path, "a3b2c4d1"); }, "a3b2c4d1"},
    {"a link", [](const string &path) { fs::create_symlink("../in", path); }, "d1b2a3c4"},
    {"a pipe", [](const string &path) { mkfifo(path.c_str(), 0600); }, ""},
    {"a folder", [](const string &path) { mkdir(path.c_str(), 0700); }, ""},
    {"nothing", [](const string &) {}, "(no file)"},
};

class Taken : public TemporaryFile {
  protected:
    Outcome run_taken(const Taker &taker, int when, const char *language) {
        return run(
            [&taker, when](const string &path) {
                before_open(when, [path, &taker] {
                    EXPECT_EQ(rename(path.c_str(), (fs::path(path).parent_path() / "moved").c_str()), 0);
                    taker.take(path);
                });
            },
            language);
    }
    void expect_left(const Outcome &o, const Taker &taker) {
        EXPECT_EQ(o.ending, Ending::returned);
        EXPECT_EQ(o.status, 1);
        if (!taker.left.empty()) {
            EXPECT_EQ(box_.read(name(o)), taker.left);
        } else {
            EXPECT_NE(mode_of(box_.path(name(o))), "none");
        }
        fs::remove_all(box_.path(name(o)));
    }
};

TEST_F(Taken, BeforeTheMergeItCannotBeOpened) {
    for (const Taker &taker : kTakers) {
        for (const bool japanese : {false, true}) {
            SCOPED_TRACE(taker.name);
            const Outcome o = run_taken(taker, kMerge, japanese ? kJapanese : "C");
            EXPECT_EQ(o.err, kStart +
                                 (japanese ? "☆一時ファイル[" + name(o) + "]は開くことはできません！\n"
                                           : "☆ Cannot open temporary file [" + name(o) + "]!\n") +
                                 (japanese ? kFailedJa : kFailed));
            expect_left(o, taker);
            EXPECT_EQ(box_.read("out"), "(no file)");
        }
    }
}

TEST_F(Taken, BeforeTheEndItCannotBeDeleted) {
    for (const Taker &taker : kTakers) {
        for (const bool japanese : {false, true}) {
            SCOPED_TRACE(taker.name);
            const Outcome o = run_taken(taker, kOutput, japanese ? kJapanese : "C");
            EXPECT_EQ(support::steady(o),
                      kStart + "メモリ解放がかかった[#]msです。\n" +
                          (japanese ? "\n☆一時ファイル[tmp/orkan_<pid>.tmp]は削除できませんでした！\n" + kFailedJa
                                    : "\n☆ Failed to delete temporary file [tmp/orkan_<pid>.tmp]!\n" + kFailed));
            expect_left(o, taker);
            EXPECT_EQ(box_.read("out"), "a3b2c4d1") << "the output is complete";
        }
    }
}

// --- the program around the library --------------------------------------------------------------------------------

std::function<void(orkan_temporary_event, const char *)> on_event;

TEST_F(TemporaryFile, TheProgramIsToldWhenItComesAndGoes) {
    const Outcome o = run([](const string &) {
        on_event = [](orkan_temporary_event event, const char *path) {
            static const char *const names[] = {"changing", "exists ", "gone", "unchanged"};
            say(names[event] + string(event == orkan_temporary_exists ? path : "") + "\n");
        };
    });
    EXPECT_EQ(support::steady(o), kStart +
                                      "changing\nexists tmp/orkan_<pid>.tmp\n"
                                      "メモリ解放がかかった[#]msです。\nchanging\ngone\n" +
                                      kEnd);
}

TEST_F(TemporaryFile, TheProgramIsToldWhenItCannotBeMade) {
    const Outcome o = run([](const string &path) {
        mkdir(path.c_str(), 0700);
        on_event = [](orkan_temporary_event event, const char *) {
            say(event == orkan_temporary_changing    ? "changing\n"
                : event == orkan_temporary_unchanged ? "unchanged\n"
                                                     : "?");
        };
    });
    EXPECT_EQ(o.err, kStart + "changing\nunchanged\n☆ Failed to create temporary file [" + name(o) + "]!\n" + kFailed);
}

constexpr int kDeadly[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE};

TEST_F(TemporaryFile, TheLibraryInstallsNoSignalHandler) {
    const Outcome o = run([](const string &) {
        for (const int number : kDeadly) {
            signal(number, SIG_DFL); // whatever the tests were started with
        }
        orkan::kx_fault_hook = [](kx_site, orkan::kx_i64) {
            for (const int number : kDeadly) {
                struct sigaction now {};
                if (sigaction(number, nullptr, &now) != 0 || now.sa_handler != SIG_DFL) {
                    say("a handler\n");
                }
            }
            return false;
        };
    });
    expect_sorted(o);
}

} // namespace

void orkan_temporary_file_event(orkan_temporary_event event, const char *path, dev_t /*device*/, ino_t /*inode*/) {
    if (on_event) {
        on_event(event, path);
    }
}
