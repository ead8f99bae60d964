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
    struct sigaction before {}; ///< of SIGBUS
};
mapping mapped;
volatile std::sig_atomic_t damaged;

kx_i64 page_size() {
    static const kx_i64 size = sysconf(_SC_PAGESIZE);
    return size;
}

kx_i64 whole_pages(kx_i64 bytes) { return (bytes + page_size() - 1) / page_size() * page_size(); }

constexpr kx_i64 kHugePage = kx_i64{2} << 20;

/// The bytes to reserve for so many from the begin of a huge page on: where a file lies in huge pages of the page
/// cache, it is entered, and found, that way. Records in random order take half the time.
kx_i64 with_slack(kx_i64 whole) { return add_saturating(whole, kHugePage); }

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
    if ((before.sa_flags & SA_SIGINFO) != 0) {
        before.sa_sigaction(signal, info, context);
    } else if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
        before.sa_handler(signal);
    } else {
        sigaction(signal, &before, nullptr);
        raise(signal);
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
    return mmap(mapped.begin, to_size(bytes), kReadWrite, MAP_PRIVATE | MAP_FIXED, fd, 0) != MAP_FAILED;
}

/// Reads what is not in the page cache, in order, and enters all pages at once: one by one that takes longer. False
/// where a page cannot be read.
bool populate() {
#ifdef MADV_POPULATE_READ
    kx_prefer_huge_pages(mapped.begin, mapped.bytes); // what is read now is read into such
    madvise(mapped.begin, to_size(mapped.bytes), MADV_SEQUENTIAL);
    for (kx_i64 at = 0; at < mapped.bytes; at += kMostPerCall) {
        const kx_i64 step = std::min(kMostPerCall, mapped.bytes - at);
        if (madvise(mapped.begin + at, to_size(step), MADV_POPULATE_READ) != 0 && errno != EINVAL) {
            return false;
        }
        kx_progress_read(step);
    }
    madvise(mapped.begin, to_size(mapped.bytes), MADV_NORMAL);
#endif
    return true;
}

bool is_of_size(int fd, kx_i64 bytes) {
    kx_status status{};
    return kx_status_of(fd, status) && S_ISREG(status.st_mode) && status.st_size == bytes;
}

} // namespace

char *kx_map(const kx_stream &in, kx_i64 bytes, kx_i64 room) {
    kx_unmap();
    const kx_i64 whole = whole_pages(add_saturating(bytes, room));
    if (bytes <= 0 || kx_fault(kx_site::allocate, whole) || !is_of_size(in.fd, bytes)) {
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
              .before = {}};
    damaged = 0;
    catch_missing_pages();
    if (mapped.fd < 0 || !map_file(mapped.fd, bytes) || !populate()) {
        kx_unmap();
        return nullptr;
    }
    return mapped.begin;
}

void kx_unmap() {
    if (mapped.begin == nullptr) {
        return;
    }
    munmap(mapped.reserved, to_size(with_slack(mapped.whole)));
    if (mapped.fd >= 0) {
        ::close(mapped.fd);
    }
    sigaction(SIGBUS, &mapped.before, nullptr);
    mapped = {};
}

bool kx_mapping_damaged() {
    kx_status status{};
    const bool is_shorter =
        mapped.begin != nullptr && (!kx_status_of(mapped.fd, status) || status.st_size < mapped.bytes);
    return mapped.begin != nullptr && (is_shorter || damaged != 0);
}

bool kx_is_mapped(const char *at) {
    return mapped.begin != nullptr && at >= mapped.begin && at < mapped.begin + mapped.whole;
}

} // namespace orkan
