// kx_mapping_test.cpp: a file's bytes where they are, and what happens when they go away.
#include "kx_utils/kx_mapping.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/fault.h"
#include "support/feeder.h"
#include "support/stream_fixture.h"

namespace {

using namespace support;
using std::string;

const auto kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));

class Mapping : public Stream {
  public:
    ~Mapping() override { kx_unmap(); }
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;

  protected:
    Mapping() = default;

    char *map(const string &bytes, kx_i64 room = 2) {
        open_for_reading(bytes);
        return kx_map(s, to_i64(bytes.size()), room);
    }
    /// Shorter or longer.
    void resize_to(std::size_t bytes) const { ASSERT_EQ(truncate(box.path("in").c_str(), to_i64(bytes)), 0); }

    /// As if the file had been written long ago: whoever writes to it now does so at another time for sure.
    void age() const {
        const timespec long_ago[] = {{1, 0}, {1, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, box.path("in").c_str(), long_ago, 0), 0);
    }
};

using Unmapped = Mapping;

// What is mapped

TEST_F(Mapping, HoldsTheBytesOfTheFileAndRoomBehindThem) {
    for (const std::size_t size : {std::size_t{1}, kPage - 1, kPage, kPage + 1, 5 * kPage - 2, 5 * kPage}) {
        for (const std::size_t room : {std::size_t{0}, std::size_t{2}, 2 * kPage}) {
            SCOPED_TRACE(std::to_string(size) + " and " + std::to_string(room));
            char *at = map(pattern(size), to_i64(room));
            ASSERT_NE(at, nullptr);
            std::fill_n(at + size, room, '!');
            EXPECT_EQ(string(at, size + room), pattern(size) + string(room, '!'));
            EXPECT_FALSE(kx_mapping_damaged(false));
            kx_stream_clear(s);
        }
    }
}

TEST_F(Mapping, IsPrivate) {
    char *at = map(pattern(3 * kPage));
    ASSERT_NE(at, nullptr);
    std::fill_n(at, 3 * kPage, '!');
    kx_unmap();
    EXPECT_EQ(box.read("in"), pattern(3 * kPage));
}

TEST_F(Mapping, OutlivesTheHandleAndTheName) {
    const char *at = map(pattern(3 * kPage));
    kx_stream_clear(s);
    ASSERT_EQ(unlink(box.path("in").c_str()), 0);
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(string(at, 3 * kPage), pattern(3 * kPage));
    EXPECT_FALSE(kx_mapping_damaged(false));
}

TEST_F(Mapping, KnowsItsBytes) {
    const char *at = map(pattern(kPage), 2);
    ASSERT_NE(at, nullptr);
    EXPECT_TRUE(kx_is_mapped(at));
    EXPECT_TRUE(kx_is_mapped(at + kPage + 1));
    EXPECT_FALSE(kx_is_mapped(at - 1));
    EXPECT_FALSE(kx_is_mapped(at + 2 * kPage)) << "two pages hold the file and the room";
    kx_unmap();
    EXPECT_FALSE(kx_is_mapped(at));
}

TEST_F(Mapping, LeavesNoDescriptorOpen) {
    const int before = dup(STDIN_FILENO);
    close(before);
    ASSERT_NE(map("abc"), nullptr);
    kx_stream_clear(s);
    kx_unmap();
    const int behind = dup(STDIN_FILENO);
    close(behind);
    EXPECT_EQ(behind, before);
}

// What is not

TEST_F(Unmapped, AFileOfAnotherSizeThanWasMeasured) {
    open_for_reading("abc");
    EXPECT_EQ(kx_map(s, 2, 0), nullptr);
    EXPECT_EQ(kx_map(s, 4, 0), nullptr);
    EXPECT_NE(kx_map(s, 3, 0), nullptr);
}

TEST_F(Unmapped, AnEmptyFile) { EXPECT_EQ(map(""), nullptr); }

TEST_F(Unmapped, APipe) {
    EXPECT_EQ(in_child(
                  [&] {
                      kx_stream_standard_input(s);
                      return kx_map(s, 4, 0) == nullptr ? kAllWell : 1;
                  },
                  {.before = [] { feed_in_pieces("abc\n", 4, 0); }})
                  .status,
              kAllWell);
}

TEST_F(Unmapped, MoreThanTheAddressSpaceHolds) {
    const Outcome o = in_child([&] {
        if (!kx_stream_open_write(s, box.path("in").c_str()) || ftruncate(s.fd, off_t{1} << 40) != 0) {
            return 1;
        }
        kx_stream_clear(s);
        struct rlimit before {};
        if (!kx_stream_open_read(s, box.path("in").c_str()) || getrlimit(RLIMIT_AS, &before) != 0) {
            return 2;
        }
        const struct rlimit narrow = {.rlim_cur = rlim_t{1} << 39, .rlim_max = before.rlim_max};
        if (setrlimit(RLIMIT_AS, &narrow) != 0) {
            return 3;
        }
        const char *at = kx_map(s, kx_i64{1} << 40, 0);
        return setrlimit(RLIMIT_AS, &before) == 0 && at == nullptr ? kAllWell : 4;
    });
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Unmapped, WhereTheSystemRefusesWhatItNeeds) {
    open_for_reading("abc");
    const std::vector<FaultPlan> plans = {{.site = kx_site::allocate},
                                          {.site = kx_site::allocate, .call = 2},
                                          {.site = kx_site::stat},
                                          {.site = kx_site::duplicate},
                                          {.site = kx_site::read}};
    for (const FaultPlan &plan : plans) {
        const Fault fault(plan);
        EXPECT_EQ(kx_map(s, 3, 0), nullptr);
        EXPECT_EQ(Fault::calls(), plan.call);
    }
    EXPECT_EQ(take(s, 10), "abc") << "it can still be read";
}

// What gets lost

TEST_F(Mapping, HasZeroBytesWhereTheFileLostItsOwn) {
    char *at = map(pattern(5 * kPage));
    resize_to(2 * kPage);
    ASSERT_NE(at, nullptr);
    EXPECT_TRUE(kx_mapping_damaged(false)) << "even untouched";
    EXPECT_EQ(string(at, 2 * kPage), pattern(2 * kPage));
    EXPECT_EQ(at[4 * kPage], 0) << "the first touch";
    EXPECT_EQ(string(at + 2 * kPage, 3 * kPage), string(3 * kPage, '\0'));
    std::fill_n(at + 5 * kPage, 2, '!');
    EXPECT_TRUE(kx_mapping_damaged(false));
}

TEST_F(Mapping, RemembersALossThatWasMadeUpFor) {
    open_for_reading(pattern(5 * kPage));
    age();
    const char *at = kx_map(s, to_i64(5 * kPage), 2);
    resize_to(0);
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(at[0], 0);
    box.write("in", pattern(5 * kPage));
    age();
    EXPECT_TRUE(kx_mapping_damaged(false)) << "though size and time are what they were";
    kx_unmap();
    EXPECT_FALSE(kx_mapping_damaged(false)) << "nothing is mapped";
    EXPECT_NE(map("abc"), nullptr);
    EXPECT_FALSE(kx_mapping_damaged(false)) << "another file";
}

TEST_F(Mapping, IsStrictlyDamagedWhereTheTimeOfWritingWasSetBack) {
    open_for_reading(pattern(kPage));
    age();
    usleep(20000); // to the next tick of the file system's clock
    const char *at = kx_map(s, to_i64(kPage), 0);
    ASSERT_NE(at, nullptr);
    EXPECT_FALSE(kx_mapping_damaged(true));
    box.write("in", string(kPage, 'x'));
    age();
    EXPECT_FALSE(kx_mapping_damaged(false));
    EXPECT_TRUE(kx_mapping_damaged(true));
}

TEST_F(Mapping, NoticesALossWithinTheLastPage) {
    ASSERT_NE(map(pattern(kPage + 100)), nullptr);
    resize_to(kPage + 99);
    EXPECT_TRUE(kx_mapping_damaged(false));
}

TEST_F(Mapping, IsNotDamagedByGrowth) {
    const char *at = map(pattern(kPage));
    resize_to(3 * kPage);
    EXPECT_FALSE(kx_mapping_damaged(false));
    EXPECT_TRUE(kx_mapping_damaged(true)) << "unless it must not grow";
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(string(at, kPage), pattern(kPage));
}

TEST_F(Mapping, IsDamagedByBytesThatChangeInTheirPlace) {
    open_for_reading(pattern(kPage));
    age();
    ASSERT_NE(kx_map(s, to_i64(kPage), 0), nullptr);
    EXPECT_FALSE(kx_mapping_damaged(false));
    box.write("in", string(kPage, 'x'));
    EXPECT_TRUE(kx_mapping_damaged(false));
}

void append_a_byte(const string &path) {
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0 || write(fd, "+", 1) != 1 || close(fd) != 0) {
        abort();
    }
}

TEST_F(Unmapped, AFileThatChangesWhileItIsReadIn) {
    static string path;
    path = box.path("in");
    const auto change = [](kx_site site, kx_i64 /*bytes*/) {
        if (site == kx_site::read) {
            append_a_byte(path);
        }
        return false;
    };
    open_for_reading(pattern(kPage));
    kx_fault_hook = change;
    const char *at = kx_map(s, to_i64(kPage), 0);
    kx_fault_hook = nullptr;
    EXPECT_EQ(at, nullptr);
    EXPECT_EQ(box.read("in"), pattern(kPage) + "+");
}

// SIGBUS that has nothing to do with it

volatile std::sig_atomic_t caught;
void count_signal(int /*signal*/) { caught = caught + 1; }
void count_information(int /*signal*/, siginfo_t *info, void * /*context*/) {
    caught = caught + (info->si_pid == getpid() ? 10 : 0);
}

TEST_F(Mapping, LeavesOtherSignalsToTheHandlerThatWasThere) {
    const Outcome o = in_child([&] {
        if (std::signal(SIGBUS, count_signal) == SIG_ERR || map("abc") == nullptr || raise(SIGBUS) != 0) {
            return 1;
        }
        if (caught != 1 || kx_mapping_damaged(false)) {
            return 2;
        }
        kx_unmap();
        struct sigaction action {};
        action.sa_sigaction = count_information;
        action.sa_flags = SA_SIGINFO;
        if (sigaction(SIGBUS, &action, nullptr) != 0 || map("abc") == nullptr || kill(getpid(), SIGBUS) != 0) {
            return 3;
        }
        resize_to(0);
        const char *at = map(pattern(kPage)); // what was mapped before is not any more
        resize_to(0);
        return caught == 11 && *at == 0 && kx_mapping_damaged(false) ? kAllWell : 4;
    });
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Mapping, GoesOnWhereOtherSignalsAreIgnored) {
    const Outcome o = in_child([&] {
        std::signal(SIGBUS, SIG_IGN);
        const char *at = map(pattern(kPage));
        if (at == nullptr || raise(SIGBUS) != 0) {
            return 1;
        }
        resize_to(0);
        return *at == 0 && kx_mapping_damaged(false) ? kAllWell : 2;
    });
    EXPECT_EQ(o.ending, Ending::returned);
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Unmapped, WhereTheSignalIsBlocked) {
    const Outcome o = in_child([&] {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGBUS);
        return pthread_sigmask(SIG_BLOCK, &signals, nullptr) == 0 && map("abc") == nullptr ? kAllWell : 1;
    });
    EXPECT_EQ(o.status, kAllWell);
}

TEST_F(Mapping, LetsTheProcessDieOfOtherSignals) {
    const auto die = [&] {
        std::signal(SIGBUS, SIG_DFL);
        return map("abc") != nullptr ? raise(SIGBUS) : 1;
    };
    const Outcome o = in_child(die, {.dies_of = SIGBUS});
    EXPECT_EQ(o.ending, Ending::killed);
    EXPECT_EQ(o.status, SIGBUS);
}

TEST_F(Mapping, PutsTheHandlerBackThatWasThere) {
    const Outcome o = in_child([&] {
        std::signal(SIGBUS, count_signal);
        if (map("abc") == nullptr) {
            return 1;
        }
        kx_unmap();
        return std::signal(SIGBUS, SIG_DFL) == count_signal ? kAllWell : 2;
    });
    EXPECT_EQ(o.status, kAllWell);
}

} // namespace
