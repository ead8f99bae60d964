// temporary_fixture.h: runs that make a temporary file, and what is done to it meanwhile.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/run.h"
#include "support/texts.h"

namespace support::temporary {

using orkan::kx_site;
using std::string;
namespace fs = std::filesystem;

// In a run of these arguments the files are opened in this order.
inline const std::vector<string> kArgs = {"-L2", "-W1", "-O", "out", "in"};
inline constexpr int kInput = 2, kMerge = 3, kOutput = 4;

inline std::function<void()> at_open;
inline int open_to_meet, opened;

/// Calls `action` when the n-th file is about to be opened.
inline void before_open(int n, std::function<void()> action) {
    at_open = std::move(action);
    open_to_meet = n;
    opened = 0;
    orkan::kx_fault_hook = [](kx_site site, orkan::kx_i64) {
        if (site == kx_site::open && ++opened == open_to_meet) {
            at_open();
        }
        return false;
    };
}

inline string mode_of(const string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? std::to_string(status.st_mode & 07777) : "none";
}
inline const string kOwnerOnly = std::to_string(0600), kEverybody = std::to_string(0644);

inline bool locked_by_somebody(const string &path) {
    const int fd = open(path.c_str(), O_RDONLY);
    const bool locked = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0;
    close(fd);
    return locked;
}

inline void say(const string &text) {
    EXPECT_EQ(write(STDERR_FILENO, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

class TemporaryFile : public testing::Test {
  protected:
    TemporaryFile() { box_.write("in", "d1b2a3c4"); }

    /// `prepare` is called in the process of the run with the path where the file will be.
    Outcome run(const std::function<void(const string &)> &prepare, const char *language = "C") {
        return box_.run({.args = kArgs, .lang = language, .before = [&] {
                             umask(0);
                             prepare(box_.path("tmp/orkan_" + std::to_string(getpid()) + ".tmp"));
                         }});
    }
    static string name(const Outcome &o) { return "tmp/orkan_" + std::to_string(o.pid) + ".tmp"; }

    void expect_sorted(const Outcome &o, const string &said = "") {
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(steady(o), kStart + said + "メモリ解放がかかった[#]msです。\n" + kEnd);
        EXPECT_EQ(box_.read("out"), "a3b2c4d1");
    }

    /// What `prepare` puts there is refused, in both languages, and still there as it was.
    void expect_refused(const std::function<void(const string &)> &prepare, const string &left = "stranger") {
        for (const bool japanese : {false, true}) {
            const Outcome o = run(prepare, japanese ? kJapanese : "C");
            EXPECT_EQ(o.ending, Ending::returned);
            EXPECT_EQ(o.status, 1);
            EXPECT_EQ(o.err, kStart +
                                 (japanese ? "☆一時ファイル[" + name(o) + "]は作成できませんでした！\n"
                                           : "☆ Failed to create temporary file [" + name(o) + "]!\n") +
                                 (japanese ? kFailedJa : kFailed));
            EXPECT_NE(mode_of(box_.path(name(o))), "none") << "what stood there is gone";
            if (!left.empty()) {
                EXPECT_EQ(box_.read(name(o)), left);
            }
            EXPECT_EQ(box_.read("out"), "(no file)");
            fs::remove_all(box_.path(name(o)));
        }
    }

    void put(const string &path, const string &bytes = "stranger") const {
        box_.write(fs::relative(path, box_.path("")).string(), bytes);
        chmod(path.c_str(), 0644);
    }

    Box box_;
};

} // namespace support::temporary
