// temporary_file_test.cpp: the temporary file in a folder that strangers may share: who may stand in its place.
#include "support/temporary_fixture.h"

namespace {

using namespace support;
using namespace support::temporary;

constexpr uid_t kStranger = 54321;

TEST_F(TemporaryFile, IsTheOwnersOnlyAndGoneAtTheEnd) {
    const Outcome o = run([](const string &path) { before_open(kInput, [path] { say(mode_of(path) + "\n"); }); });
    expect_sorted(o, kOwnerOnly + "\n");
    EXPECT_EQ(box_.files(), "in out tmp/");
}

TEST_F(TemporaryFile, IsLockedAsLongAsTheRunLives) {
    for (const int when : {kInput, kMerge, kOutput}) {
        const Outcome o = run([when](const string &path) {
            before_open(when, [path] { say(locked_by_somebody(path) ? "locked\n" : "free\n"); });
        });
        expect_sorted(o, "locked\n");
    }
}

TEST_F(TemporaryFile, LeavesNoDescriptorBehind) {
    const auto count = [] {
        say(std::to_string(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator())) + "\n");
    };
    const auto outcomes =
        box_.run_all({{.args = kArgs}, {.args = kArgs, .before = count}, {.args = kArgs, .before = count}});
    ASSERT_EQ(outcomes.size(), 3U);
    EXPECT_EQ(outcomes[1].status + outcomes[2].status, 0);
    EXPECT_EQ(outcomes[1].err.substr(0, 3), outcomes[2].err.substr(0, 3)) << "descriptors at the start of each run";
}

// --- what may stand there before -----------------------------------------------------------------------------------

TEST_F(TemporaryFile, ALeftoverIsOverwritten) {
    const Outcome o = run([this](const string &path) {
        put(path, string(1000, 'x'));
        before_open(kMerge, [path] { say(mode_of(path) + " " + std::to_string(fs::file_size(path)) + "\n"); });
    });
    expect_sorted(o, kOwnerOnly + " 8\n");
    EXPECT_EQ(box_.files(), "in out tmp/");
}

TEST_F(TemporaryFile, OfAFailedRunIsOverwrittenByTheNextOne) {
    const auto outcomes =
        box_.run_all({{.args = kArgs, .before = [] { support::fail_call(kx_site::setvbuf, 1); }}, // leaves its file
                      {.args = kArgs, .before = [] { orkan::kx_fault_hook = nullptr; }}});
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].status, 1);
    expect_sorted(outcomes[1]);
    EXPECT_EQ(box_.files(), "in out tmp/");
}

TEST_F(TemporaryFile, FollowsALinkOfTheUser) {
    const Outcome o = run([this](const string &path) { fs::create_symlink(box_.path("elsewhere"), path); });
    expect_sorted(o);
    EXPECT_EQ(box_.files(), "elsewhere in out tmp/") << "the link is removed";
    EXPECT_EQ(box_.read("elsewhere"), "a3b2c4d1");
}

// As any open does: the old bytes go, the mode and other links stay.
TEST_F(TemporaryFile, FollowsALinkToAFile) {
    put(box_.path("elsewhere"), string(1000, 'x'));
    fs::create_hard_link(box_.path("elsewhere"), box_.path("second"));
    const Outcome o = run([this](const string &path) { fs::create_symlink(box_.path("elsewhere"), path); });
    expect_sorted(o);
    EXPECT_EQ(box_.read("second"), "a3b2c4d1");
    EXPECT_EQ(mode_of(box_.path("elsewhere")), kEverybody);
}

TEST_F(TemporaryFile, DoesNotFollowALinkToAFolderOrALiveRunsFile) {
    expect_refused([this](const string &path) { fs::create_directory_symlink(box_.path("tmp"), path); }, "");
    put(box_.path("elsewhere"));
    expect_refused([this](const string &path) {
        fs::create_symlink(box_.path("elsewhere"), path);
        flock(open(path.c_str(), O_RDONLY | O_CLOEXEC), LOCK_EX);
    });
}

TEST_F(TemporaryFile, RefusesAFileWithSeveralLinks) {
    put(box_.path("second"));
    expect_refused([this](const string &path) { fs::create_hard_link(box_.path("second"), path); });
    EXPECT_EQ(box_.read("second"), "stranger");
    EXPECT_EQ(mode_of(box_.path("second")), kEverybody);
}

TEST_F(TemporaryFile, RefusesAPipe) {
    expect_refused([](const string &path) { mkfifo(path.c_str(), 0600); }, "");
    expect_refused( // somebody waits at the other end
        [](const string &path) {
            mkfifo(path.c_str(), 0600);
            EXPECT_GE(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), 0);
        },
        "");
}

TEST_F(TemporaryFile, RefusesAFolder) {
    expect_refused([](const string &path) { mkdir(path.c_str(), 0700); }, "");
}

TEST_F(TemporaryFile, RefusesTheFileOfALiveRun) {
    for (const int lock : {LOCK_EX, LOCK_SH}) {
        expect_refused([this, lock](const string &path) {
            put(path);
            flock(open(path.c_str(), O_RDONLY | O_CLOEXEC), lock);
        });
    }
    const Outcome o = run([this](const string &path) {
        put(path);
        flock(open(path.c_str(), O_RDONLY | O_CLOEXEC), LOCK_EX);
    });
    EXPECT_EQ(mode_of(box_.path(name(o))), kEverybody) << "what is refused stays as it was";
}

/// Only the superuser can give things to a stranger.
class StrangersFile : public TemporaryFile {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs the right to change a file's owner";
        }
    }
};

TEST_F(StrangersFile, IsRefused) {
    expect_refused([this](const string &path) {
        put(path);
        EXPECT_EQ(chown(path.c_str(), kStranger, kStranger), 0);
    });
}

TEST_F(StrangersFile, IsRefusedAsALinkToo) {
    put(box_.path("elsewhere"));
    expect_refused([this](const string &path) {
        fs::create_symlink(box_.path("elsewhere"), path);
        EXPECT_EQ(lchown(path.c_str(), kStranger, kStranger), 0);
    });
    expect_refused( // a link that leads nowhere
        [this](const string &path) {
            fs::create_symlink(box_.path("nowhere"), path);
            EXPECT_EQ(lchown(path.c_str(), kStranger, kStranger), 0);
        },
        "");
    EXPECT_EQ(box_.read("nowhere"), "(no file)");
}

} // namespace
