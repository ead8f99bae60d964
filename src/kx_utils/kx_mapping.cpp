#include "kx_utils/kx_mapping.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "kx_utils/kx_progress.h"
#include "kx_utils/kx_status.h"
#include "kx_utils/kx_system_memory.h"

namespace orkan {

namespace {

struct mapping {
    void *reserved = nullptr;
    char *begin = nullptr; ///< where a huge page begins
    kx_i64 bytes = 0;      ///< of the file
    kx_i64 whole = 0;      ///< with the room behind them, in whole pages
    int fd = -1;
    struct timespec written {
    }, changed{};               ///< when the file was, the last time; the second one nobody can set
    struct sigaction before {}; ///< of SIGBUS
};
mapping mapped;
volatile std::sig_atomic_t damaged;

kx_i64 page_size() {
    static const kx_i64 size = sysconf(_SC_PAGESIZE);
    return size;
}

kx_i64 whole_pages(kx_i64 bytes) { return (bytes + page_size() - 1) / page_size() * page_size(); }

/// The bytes to reserve for so many from the begin of a huge page on.
kx_i64 with_slack(kx_i64 whole) { return add_saturating(whole, kHugePage); }

/// Where the file begins: if it lies in huge pages of the page cache, it is entered, and found, that way.
char *first_huge_page(void *reserved) {
    const auto at = reinterpret_cast<std::uintptr_t>(reserved);
    return static_cast<char *>(reserved) + (kHugePage - to_i64(at % kHugePage)) % kHugePage;
}

constexpr int kPrivate = MAP_PRIVATE | MAP_ANONYMOUS;
constexpr int kReadWrite = PROT_READ | PROT_WRITE;

/// Zero bytes from the page of `at` to the end of the mapping.
bool blank_out(const char *at) {
    const kx_i64 first = (at - mapped.begin) / page_size() * page_size();
    return mmap(mapped.begin + first, to_size(mapped.whole - first), kReadWrite, kPrivate | MAP_FIXED, -1, 0) !=
           MAP_FAILED;
}

/// To where SIGBUS went before.
void pass_on(int signal, siginfo_t *info, void *context) {
    const struct sigaction &before = mapped.before;
    if (before.sa_handler == SIG_DFL || before.sa_handler == SIG_IGN) {
        if (before.sa_handler == SIG_DFL || info->si_code > 0) { // nobody can ignore a touch
            sigaction(signal, &before, nullptr);
            raise(signal);
        }
    } else if ((before.sa_flags & SA_SIGINFO) != 0) {
        before.sa_sigaction(signal, info, context);
    } else {
        before.sa_handler(signal);
    }
}

void on_missing_page(int signal, siginfo_t *info, void *context) {
    const int error = errno;
    const auto *at = static_cast<const char *>(info->si_addr);
    const bool touched = info->si_code > 0; // not sent by a process
    if (touched && kx_is_mapped(at) && blank_out(at)) {
        damaged = 1;
    } else {
        pass_on(signal, info, context);
    }
    errno = error;
}

void catch_missing_pages() {
    struct sigaction action {};
    action.sa_sigaction = on_missing_page;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, &mapped.before);
}

/// The file in the first pages of what is reserved for it.
bool map_file(int fd, kx_i64 bytes) {
    return !kx_fault(kx_site::allocate, bytes) &&
           mmap(mapped.begin, to_size(bytes), kReadWrite, MAP_PRIVATE | MAP_FIXED, fd, 0) != MAP_FAILED;
}

/// Reads what is not in the page cache, in order, and enters all pages at once: one by one that takes longer. False
/// where a page cannot be read.
bool populate() {
#ifdef MADV_POPULATE_READ
    kx_prefer_huge_pages(mapped.begin, mapped.bytes); // what is read now is read into such
    madvise(mapped.begin, to_size(mapped.bytes), MADV_SEQUENTIAL);
    for (kx_i64 at = 0; at < mapped.bytes; at += kMostPerCall) {
        const kx_i64 step = std::min(kMostPerCall, mapped.bytes - at);
        const bool refused = kx_fault(kx_site::read);
        if (refused || (madvise(mapped.begin + at, to_size(step), MADV_POPULATE_READ) != 0 && errno != EINVAL)) {
            return false;
        }
        kx_progress_read(step);
    }
    madvise(mapped.begin, to_size(mapped.bytes), MADV_NORMAL);
#endif
    return true;
}

/// A regular file of that size, whose pages are not larger than those that are reserved for it.
bool can_be_mapped(int fd, kx_i64 bytes, kx_status &status) {
    return kx_status_of(fd, status) && S_ISREG(status.st_mode) && status.st_size == bytes &&
           status.st_blksize < kHugePage;
}

/// Then a missing page would end the process.
bool is_signal_blocked() {
    sigset_t blocked;
    return pthread_sigmask(SIG_BLOCK, nullptr, &blocked) != 0 || sigismember(&blocked, SIGBUS) != 0;
}

bool is_same_time(const struct timespec &a, const struct timespec &b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

char *kx_map(const kx_stream &in, kx_i64 bytes, kx_i64 room) {
    kx_unmap();
    const kx_i64 whole = whole_pages(add_saturating(bytes, room));
    kx_status status{};
    if (bytes <= 0 || is_signal_blocked() || kx_fault(kx_site::allocate, whole) ||
        !can_be_mapped(in.fd, bytes, status)) {
        return nullptr;
    }
    void *reserved = mmap(nullptr, to_size(with_slack(whole)), kReadWrite, kPrivate, -1, 0);
    if (reserved == MAP_FAILED) {
        return nullptr;
    }
    const int fd = kx_fault(kx_site::duplicate) ? -1 : fcntl(in.fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    mapped = {.reserved = reserved,
              .begin = first_huge_page(reserved),
              .bytes = bytes,
              .whole = whole,
              .fd = fd,
              .written = status.st_mtim,
              .changed = status.st_ctim,
              .before = {}};
    damaged = 0;
    catch_missing_pages();
    // Reading may take long; a file that has changed by then is loaded, which tells what is to be told.
    if (mapped.fd < 0 || !map_file(mapped.fd, bytes) || !populate() || kx_mapping_damaged(true)) {
        kx_unmap();
        return nullptr;
    }
    return mapped.begin;
}

void kx_unmap() {
    if (mapped.begin == nullptr) {
        return;
    }
    sigaction(SIGBUS, &mapped.before, nullptr);
    munmap(mapped.reserved, to_size(with_slack(mapped.whole)));
    if (mapped.fd >= 0) {
        ::close(mapped.fd);
    }
    mapped = {};
}

bool kx_mapping_damaged(bool strictly) {
    if (mapped.begin == nullptr) {
        return false;
    }
    kx_status status{};
    const bool known = kx_status_of(mapped.fd, status);
    const bool untouched = status.st_size == mapped.bytes && is_same_time(status.st_mtim, mapped.written);
    const bool harmless = strictly ? untouched && is_same_time(status.st_ctim, mapped.changed)
                                   : untouched || status.st_size > mapped.bytes;
    return damaged != 0 || !known || !harmless;
}

bool kx_is_mapped(const char *at) {
    return mapped.begin != nullptr && at >= mapped.begin && at < mapped.begin + mapped.whole;
}

} // namespace orkan
