// kx_stream_test.cpp: files and standard streams behind one kind of handle.
#include "kx_utils/kx_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "kx_utils/kx_status.h"
#include "support/fault.h"
#include "support/stream_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

// The handle

TEST_F(Stream, AZeroFilledHandleIsClosed) {
    EXPECT_FALSE(s.open);
    EXPECT_TRUE(kx_stream_close(s));
    EXPECT_TRUE(kx_stream_clear(s));
    EXPECT_FALSE(kx_stream_seek_to(s, 0));
    EXPECT_FALSE(kx_stream_seek_by(s, 0));
    EXPECT_TRUE(descriptor_open(STDIN_FILENO));
}

TEST_F(Stream, ClosingAgainIsHarmless) {
    open_for_writing(16);
    const int fd = s.fd;
    ASSERT_TRUE(put(s, "once"));
    EXPECT_TRUE(kx_stream_close(s));
    EXPECT_FALSE(descriptor_open(fd));
    const int other = open("/dev/null", O_RDONLY); // takes the number over
    ASSERT_EQ(other, fd);
    EXPECT_TRUE(kx_stream_close(s));
    EXPECT_TRUE(kx_stream_clear(s));
    EXPECT_TRUE(kx_stream_clear(s));
    EXPECT_TRUE(descriptor_open(other));
    close(other);
    EXPECT_EQ(written(), "once");
}

TEST_F(Stream, ClearedItIsAFreshHandle) {
    open_for_writing(16);
    EXPECT_TRUE(kx_stream_clear(s));
    EXPECT_FALSE(s.open);
    EXPECT_FALSE(s.failed);
    EXPECT_EQ(s.buffer, nullptr);
    EXPECT_EQ(s.capacity, 0);
    EXPECT_EQ(s.filled, 0);
    open_for_reading("again");
    EXPECT_EQ(take(s, 9), "again");
}

// A stale handle must not reach a file that was given its number since.
TEST_F(Stream, AClosedHandleNeitherReadsNorWrites) {
    open_for_writing();
    const int fd = s.fd;
    ASSERT_TRUE(kx_stream_close(s));
    box.write("other", "untouched");
    const int other = open(box.path("other").c_str(), O_RDWR);
    ASSERT_EQ(other, fd);
    EXPECT_FALSE(put(s, "STRAY"));
    EXPECT_EQ(take(s, 4), "(error)");
    close(other);
    EXPECT_EQ(box.read("other"), "untouched");
}

// Opening

TEST_F(Stream, WhatCannotBeOpenedLeavesTheHandleClosed) {
    errno = 0;
    EXPECT_FALSE(kx_stream_open_read(s, box.path("missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(s.open);
    EXPECT_FALSE(kx_stream_open_write(s, box.path("no/folder").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(kx_stream_open_write(s, box.path("tmp").c_str()));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(s.open);
    EXPECT_EQ(box.files(), "tmp/");
}

TEST_F(Stream, WritingTruncatesOrCreatesWithModeLessUmask) {
    box.write("out", "something longer");
    open_for_writing();
    EXPECT_EQ(written(), "");
    ASSERT_TRUE(kx_stream_clear(s));
    const mode_t before = umask(027);
    ASSERT_TRUE(kx_stream_open_write(s, box.path("new").c_str()));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(box.path("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(Stream, FilesStayClearOfTheStandardDescriptors) {
    box.write("in", "data");
    for (const std::vector<int> &closed : {std::vector<int>{0, 1, 2}, {0}, {1}, {2}, {1, 2}}) {
        const Outcome o = in_child([&] {
            std::for_each(closed.begin(), closed.end(), close);
            kx_stream r{};
            const bool opened =
                kx_stream_open_read(r, box.path("in").c_str()) && kx_stream_open_write(s, box.path("out").c_str());
            const bool above = r.fd > STDERR_FILENO && s.fd > STDERR_FILENO;
            const bool clear = std::none_of(closed.begin(), closed.end(), descriptor_open);
            const bool works = take(r, 9) == "data" && put(s, "data");
            const bool done = kx_stream_close(r) && kx_stream_close(s);
            return !opened ? 1 : !above ? 2 : !clear ? 3 : !works || !done ? 4 : kAllWell;
        });
        EXPECT_EQ(o.status, kAllWell) << closed.size() << " closed, the first " << closed.front();
        EXPECT_EQ(written(), "data");
    }
}

// Reading

TEST_F(Stream, ReadsWhatIsAskedForUntilTheEnd) {
    open_for_reading("abcdef");
    EXPECT_EQ(take(s, 0), "");
    EXPECT_EQ(take(s, 4), "abcd");
    EXPECT_EQ(take(s, 4), "ef");
    EXPECT_EQ(take(s, 4), "");
}

TEST_F(Stream, AReadErrorIsMinusOne) {
    ASSERT_TRUE(kx_stream_open_read(s, box.path("tmp").c_str())); // a folder opens, but cannot be read
    char byte = 0;
    EXPECT_EQ(kx_stream_read(s, &byte, 1), -1);
}

TEST_F(Stream, AReadErrorBehindSomeBytesIsMinusOne) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "ab", 2), 2);
    const Outcome o = in_child([&] {
        dup2(ends[0], STDIN_FILENO);
        kx_stream_standard_input(s);
        const Fault fault({.site = kx_site::read, .call = 2});
        return take(s, 10) == "(error)" ? kAllWell : 1;
    });
    EXPECT_EQ(o.status, kAllWell);
    close(ends[0]);
    close(ends[1]);
}

/// Timer signals from now on that make system calls return early.
void interrupt_all_the_time() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 500}, {0, 500}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

/// Runs `body` in a process beside this one.
template <class Body> void beside(Body body) {
    if (fork() == 0) {
        body();
        _exit(0);
    }
}

TEST_F(Stream, InterruptedAndPiecemealReadsGiveEverything) {
    const string fifo = box.path("fifo");
    const string bytes = pattern(200000);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Outcome o = in_child([&] {
        beside([&] {
            const int fd = open(fifo.c_str(), O_WRONLY);
            for (std::size_t at = 0; at < bytes.size() && write(fd, bytes.data() + at, 1000) == 1000; at += 1000) {
                usleep(300);
            }
        });
        interrupt_all_the_time();
        if (!kx_stream_open_read(s, fifo.c_str())) {
            return 1;
        }
        return take(s, bytes.size() + 50) == bytes && take(s, 1).empty() ? kAllWell : 2;
    });
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Stream, InterruptedAndShortWritesWriteEverything) {
    const string fifo = box.path("fifo");
    const string bytes = pattern(300000);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Outcome o = in_child([&] {
        beside([&] {
            const int from = open(fifo.c_str(), O_RDONLY);
            const int to = open(box.path("arrived").c_str(), O_WRONLY | O_CREAT, 0600);
            char piece[3000];
            for (ssize_t n = 0; (n = read(from, piece, sizeof piece)) > 0 && write(to, piece, to_size(n)) == n;) {
                usleep(300);
            }
        });
        interrupt_all_the_time();
        const bool complete = kx_stream_open_write(s, fifo.c_str()) && put(s, bytes) && kx_stream_close(s);
        kx_stream_clear(s); // or the reader would wait for ever
        while (wait(nullptr) < 0 && errno == EINTR) {
        }
        return complete ? kAllWell : 1;
    });
    EXPECT_EQ(o.status, kAllWell);
    EXPECT_TRUE(box.read("arrived") == bytes) << box.read("arrived").size() << " bytes";
}

// Writing

TEST_F(Stream, UnbufferedWritesArriveAtOnce) {
    open_for_writing();
    ASSERT_TRUE(put(s, "ab"));
    EXPECT_EQ(written(), "ab");
    EXPECT_TRUE(kx_stream_write(s, nullptr, 0));
    ASSERT_TRUE(put(s, "cd"));
    EXPECT_EQ(written(), "abcd");
}

TEST_F(Stream, BufferedWritesArriveWhenTheBufferIsFullOrFlushed) {
    open_for_writing(8);
    ASSERT_TRUE(put(s, "12345678"));
    EXPECT_EQ(written(), "");
    ASSERT_TRUE(put(s, "9"));
    EXPECT_EQ(written(), "12345678");
    EXPECT_TRUE(kx_stream_write(s, nullptr, 0));
    ASSERT_TRUE(kx_stream_flush(s));
    EXPECT_EQ(written(), "123456789");
    ASSERT_TRUE(put(s, "x"));
    ASSERT_TRUE(kx_stream_close(s));
    EXPECT_EQ(written(), "123456789x");
}

TEST_F(Stream, PiecesOfAllSizesKeepTheirOrder) {
    open_for_writing(64);
    string all;
    for (std::size_t size = 0; size < 200; size = size * 3 / 2 + 1) {
        all += pattern(size) + "|";
        ASSERT_TRUE(put(s, pattern(size)) && put(s, "|"));
    }
    all += pattern(3000000);
    ASSERT_TRUE(put(s, pattern(3000000)) && kx_stream_close(s));
    EXPECT_TRUE(written() == all);
}

TEST_F(Stream, ReservedRoomCountsOnceCommitted) {
    open_for_writing(8);
    ASSERT_TRUE(put(s, "abcde"));
    char *room = kx_stream_reserve(s, 3);
    ASSERT_NE(room, nullptr);
    EXPECT_EQ(written(), "");
    string("fgh").copy(room, 3);
    kx_stream_commit(s, 3);
    room = kx_stream_reserve(s, 8); // written out first
    ASSERT_NE(room, nullptr);
    EXPECT_EQ(written(), "abcdefgh");
    *room = 'X';
    EXPECT_EQ(kx_stream_reserve(s, 9), nullptr) << "more than the buffer holds";
    ASSERT_TRUE(put(s, "i") && kx_stream_close(s));
    EXPECT_EQ(written(), "abcdefghi");
}

// Positions

TEST_F(Stream, SpaceAskedForInAdvanceIsGivenBackWhereItIsNotUsed) {
    constexpr kx_i64 kWanted = 8 << 20;
    open_for_writing();
    kx_stream_reserve_space(s, kWanted);
    EXPECT_TRUE(put(s, "abc"));
    EXPECT_TRUE(kx_stream_close(s));
    kx_status status{};
    ASSERT_TRUE(kx_status_of(box.path("out").c_str(), status));
    EXPECT_EQ(status.st_size, 3);
    EXPECT_LT(status.st_blocks * 512, kWanted);
}

TEST_F(Stream, SpaceIsAskedForInItsOwnFilesOnly) {
    constexpr kx_i64 kWanted = 8 << 20;
    const Fault watch({.site = kx_site::reserve, .call = 1000});
    kx_stream_reserve_space(s, kWanted);
    kx_stream_standard_output(s);
    kx_stream_reserve_space(s, kWanted);
    EXPECT_EQ(Fault::calls(), 0);
    open_for_writing();
    kx_stream_reserve_space(s, kWanted);
    EXPECT_EQ(Fault::calls(), 1);
}

TEST_F(Stream, AClosedHandleHasNoPosition) {
    open_for_reading("abc");
    const int fd = s.fd;
    EXPECT_EQ(take(s, 2), "ab");
    EXPECT_EQ(kx_stream_position(s), 2);
    ASSERT_TRUE(kx_stream_close(s));
    const int other = open(box.path("in").c_str(), O_RDONLY); // takes the number over
    ASSERT_EQ(other, fd);
    EXPECT_EQ(kx_stream_position(s), -1);
    close(other);
}

TEST_F(Stream, SeeksWhileReading) {
    open_for_reading("0123456789");
    ASSERT_TRUE(kx_stream_seek_to(s, 7));
    EXPECT_EQ(take(s, 2), "78");
    ASSERT_TRUE(kx_stream_seek_by(s, -4));
    EXPECT_EQ(take(s, 1), "5");
    ASSERT_TRUE(kx_stream_seek_by(s, 3));
    EXPECT_EQ(take(s, 5), "9");
    EXPECT_FALSE(kx_stream_seek_to(s, -1));
    EXPECT_FALSE(kx_stream_seek_by(s, -11));
    EXPECT_EQ(take(s, 5), "");
}

TEST_F(Stream, SeekingFlushesFirst) {
    open_for_writing(64);
    ASSERT_TRUE(put(s, "abcdef"));
    ASSERT_TRUE(kx_stream_seek_to(s, 2));
    EXPECT_EQ(written(), "abcdef");
    ASSERT_TRUE(put(s, "XY") && kx_stream_seek_by(s, 1));
    ASSERT_TRUE(put(s, "Z") && kx_stream_close(s));
    EXPECT_EQ(written(), "abXYeZ");
}

TEST_F(Stream, APipeRefusesToSeek) {
    const Outcome o = in_child([&] {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[0], STDIN_FILENO) < 0) {
            return 1;
        }
        kx_stream_standard_input(s);
        return kx_stream_seek_to(s, 0) || kx_stream_seek_by(s, 0) ? 2 : kAllWell;
    });
    EXPECT_EQ(o.status, kAllWell);
}

} // namespace
