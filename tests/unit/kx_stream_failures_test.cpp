// kx_stream_failures_test.cpp: streams when the system says no, and the borrowed standard streams.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "support/capture.h"
#include "support/fault.h"
#include "support/stream_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

// Every call that may fail

TEST_F(Stream, RefusedOpenLeavesTheHandleClosed) {
    box.write("in", "x");
    for (int kind = 0; kind < 2; ++kind) {
        const Fault fault({.site = kx_site::open});
        const string path = box.path("in");
        EXPECT_FALSE(kind == 0 ? kx_stream_open_read(s, path.c_str()) : kx_stream_open_write(s, path.c_str()));
        EXPECT_FALSE(s.open);
        EXPECT_TRUE(kx_stream_close(s));
    }
    EXPECT_EQ(box.read("in"), "x");
}

TEST_F(Stream, RefusedReadIsMinusOneAndNotForEver) {
    open_for_reading("abc");
    {
        const Fault fault({.site = kx_site::read});
        EXPECT_EQ(take(s, 3), "(error)");
    }
    EXPECT_EQ(take(s, 3), "abc");
}

TEST_F(Stream, RefusedSeekIsReported) {
    open_for_reading("abc");
    const Fault fault({.site = kx_site::seek, .onwards = true});
    EXPECT_FALSE(kx_stream_seek_to(s, 0));
    EXPECT_FALSE(kx_stream_seek_by(s, 0));
}

TEST_F(Stream, RefusedCloseIsReportedAndTheFileIsClosedAllTheSame) {
    open_for_writing(8);
    const int fd = s.fd;
    ASSERT_TRUE(put(s, "abc"));
    const Fault fault({.site = kx_site::close, .onwards = true});
    EXPECT_FALSE(kx_stream_close(s));
    EXPECT_FALSE(descriptor_open(fd));
    EXPECT_FALSE(s.open);
    EXPECT_TRUE(kx_stream_close(s)) << "closed already";
    EXPECT_EQ(written(), "abc");
}

TEST_F(Stream, RefusedBufferLeavesAnUnbufferedStream) {
    ASSERT_TRUE(kx_stream_open_write(s, box.path("out").c_str()));
    {
        const Fault fault({.site = kx_site::allocate, .smallest = 4096});
        EXPECT_FALSE(kx_stream_set_buffer(s, 4096));
        EXPECT_EQ(Fault::calls(), 1);
    }
    ASSERT_TRUE(put(s, "direct"));
    EXPECT_EQ(written(), "direct");
    {
        const Fault fault({.site = kx_site::setvbuf});
        EXPECT_FALSE(kx_stream_set_buffer(s, 4096));
    }
    ASSERT_TRUE(put(s, "ly"));
    EXPECT_EQ(written(), "directly");
    const Fault fault({.site = kx_site::setvbuf});
    EXPECT_FALSE(kx_stream_set_buffer(s, 0));
}

TEST_F(Stream, ANewBufferReplacesTheOldOne) {
    open_for_writing(4);
    ASSERT_TRUE(kx_stream_set_buffer(s, 100));
    ASSERT_TRUE(put(s, "more than four"));
    EXPECT_EQ(written(), "");
    ASSERT_TRUE(kx_stream_flush(s) && kx_stream_set_buffer(s, 0) && put(s, "!"));
    EXPECT_EQ(written(), "more than four!");
}

TEST_F(Stream, AFailedWriteIsForEver) {
    open_for_writing();
    {
        const Fault fault({.site = kx_site::write});
        EXPECT_FALSE(put(s, "lost"));
    }
    const Fault watch({.site = kx_site::write, .call = 1000});
    EXPECT_FALSE(put(s, "later"));
    EXPECT_FALSE(put(s, ""));
    EXPECT_FALSE(kx_stream_flush(s));
    EXPECT_FALSE(kx_stream_seek_to(s, 0));
    EXPECT_EQ(kx_stream_reserve(s, 0), nullptr);
    EXPECT_FALSE(kx_stream_close(s));
    EXPECT_EQ(Fault::calls(), 0) << "later writes do not even try";
    EXPECT_EQ(written(), "");
}

TEST_F(Stream, AFailedBufferedWriteIsForEver) {
    open_for_writing(8);
    ASSERT_TRUE(put(s, "12345678"));
    {
        const Fault fault({.site = kx_site::write});
        EXPECT_FALSE(put(s, "9"));
    }
    EXPECT_FALSE(put(s, "0"));
    EXPECT_EQ(kx_stream_reserve(s, 1), nullptr);
    EXPECT_FALSE(kx_stream_close(s));
    EXPECT_EQ(written(), "");
    EXPECT_TRUE(kx_stream_clear(s));
    open_for_writing();
    EXPECT_TRUE(put(s, "a fresh start"));
}

TEST_F(Stream, EveryWriteOfASequenceMayFail) {
    for (int n = 1; n <= 4; ++n) {
        open_for_writing(4);
        const Fault fault({.site = kx_site::write, .call = n});
        const bool one = put(s, "abc");
        const bool two = put(s, "def");      // writes abc
        const bool three = put(s, "ghijkl"); // writes def, ghijkl
        const bool four = put(s, "m");
        EXPECT_TRUE(one);
        EXPECT_EQ(two, n > 1);
        EXPECT_EQ(three, n > 3);
        EXPECT_EQ(four, n > 3);
        EXPECT_FALSE(kx_stream_clear(s));
        EXPECT_EQ(written(), string("abcdefghijkl").substr(0, n < 4 ? 3U * static_cast<unsigned>(n - 1) : 12U));
    }
}

TEST_F(Stream, AFullDeviceIsNoticedWhenBytesLeaveTheBuffer) {
    ASSERT_TRUE(kx_stream_open_write(s, "/dev/full"));
    EXPECT_FALSE(put(s, "x"));
    EXPECT_FALSE(kx_stream_clear(s));

    ASSERT_TRUE(kx_stream_open_write(s, "/dev/full") && kx_stream_set_buffer(s, 8));
    EXPECT_TRUE(put(s, "x"));
    EXPECT_FALSE(kx_stream_flush(s));
    EXPECT_FALSE(kx_stream_clear(s));

    ASSERT_TRUE(kx_stream_open_write(s, "/dev/full") && kx_stream_set_buffer(s, 8));
    EXPECT_TRUE(put(s, "x"));
    EXPECT_FALSE(kx_stream_close(s)) << "closing flushes";
    EXPECT_TRUE(kx_stream_close(s)) << "closed already";
}

TEST_F(Stream, AReaderThatWentAwayIsAWriteFailure) {
    const Outcome o = in_child([&] {
        int ends[2];
        std::signal(SIGPIPE, SIG_IGN);
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
            return 1;
        }
        close(ends[0]);
        close(ends[1]);
        kx_stream_standard_output(s);
        return put(s, "x") || kx_stream_flush(s) || kx_stream_close(s) ? 2 : kAllWell;
    });
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Stream, UnlinkRemovesAFileOrSaysNo) {
    box.write("in", "x");
    {
        const Fault fault({.site = kx_site::unlink});
        EXPECT_FALSE(kx_unlink(box.path("in").c_str()));
    }
    EXPECT_EQ(box.read("in"), "x");
    EXPECT_TRUE(kx_unlink(box.path("in").c_str()));
    EXPECT_EQ(box.files(), "tmp/");
    EXPECT_FALSE(kx_unlink(box.path("in").c_str()));
}

// Standard streams

TEST_F(Stream, StandardOutputIsBorrowedBehindWhatTheCLibraryHolds) {
    const Outcome o = in_child([&] {
        std::fputs("first ", stdout);
        kx_stream_standard_output(s);
        return put(s, "second") ? kAllWell : 1;
    });
    EXPECT_EQ(o.status, kAllWell);
    EXPECT_EQ(o.out, "first second");
}

TEST_F(Stream, StandardOutputIsFlushedButNeverClosed) {
    const Outcome o = in_child([&] {
        kx_stream_standard_output(s);
        const bool held = s.open && kx_stream_set_buffer(s, 64) && put(s, "held");
        const bool closed = kx_stream_close(s) && kx_stream_close(s) && kx_stream_clear(s);
        const bool there = descriptor_open(STDOUT_FILENO) && std::fputs(" and more", stdout) >= 0;
        return !held ? 1 : !closed ? 2 : !there ? 3 : kAllWell;
    });
    EXPECT_EQ(o.status, kAllWell);
    EXPECT_EQ(o.out, "held and more");
}

TEST_F(Stream, StandardOutputThatFailsIsReportedByClose) {
    const Outcome o = in_child([&] {
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, STDOUT_FILENO);
        close(full);
        kx_stream_standard_output(s);
        const bool held = kx_stream_set_buffer(s, 64) && put(s, "lost");
        const bool closed = kx_stream_close(s);
        return !held ? 1 : closed ? 2 : !descriptor_open(STDOUT_FILENO) ? 3 : kAllWell;
    });
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Stream, StandardInputIsReadAndNeverClosed) {
    const Outcome o = in_child(
        [&] {
            kx_stream_standard_input(s);
            const bool begun = s.open && take(s, 3) == "abc";
            const bool closed = kx_stream_clear(s);
            const bool there = descriptor_open(STDIN_FILENO);
            kx_stream_standard_input(s);
            return !begun ? 1 : !closed || !there ? 2 : take(s, 9) != "de" ? 3 : kAllWell;
        },
        {.input = "abcde"});
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Stream, AClosedStandardStreamFailsWithoutHarm) {
    const Outcome o = in_child([&] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        kx_stream_standard_input(s);
        const bool no_input = take(s, 1) == "(error)" && kx_stream_clear(s);
        kx_stream_standard_output(s);
        const bool no_output = !put(s, "x") && !kx_stream_clear(s);
        return !no_input ? 1 : !no_output ? 2 : kAllWell;
    });
    EXPECT_EQ(o.status, kAllWell);
}

} // namespace
