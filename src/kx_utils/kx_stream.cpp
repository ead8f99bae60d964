#include "kx_utils/kx_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "kx_assert/kx_assert.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_progress.h"
#include "kx_utils/kx_status.h"
#include "kx_utils/kx_system_memory.h"

namespace orkan {

namespace {

// Descriptors 0 to 2 stay free of files even where the caller started us with a standard stream closed: otherwise
// messages or records for that stream would end up in the file.
int above_standard_streams(int fd) {
    if (fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = kx_fault(kx_site::duplicate) ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(fd);
    return moved;
}

bool open_file(kx_stream &s, const char *path, int flags) {
    s = kx_stream{};
    if (kx_fault(kx_site::open)) {
        errno = EACCES;
        return false;
    }
    constexpr mode_t kModeLessUmask = 0666;
    int fd = -1;
    do {
        fd = ::open(path, flags | O_CLOEXEC, kModeLessUmask);
    } while (fd < 0 && errno == EINTR);
    return fd >= 0 && kx_stream_adopt(s, fd);
}

void borrow(kx_stream &s, int fd) {
    s = kx_stream{};
    s.fd = fd;
    s.open = true;
    s.standard = true;
}

bool write_out(kx_stream &s, const char *from, kx_i64 bytes) {
    while (bytes > 0 && !s.failed) {
        const ssize_t n =
            kx_fault(kx_site::write) ? (errno = EIO, -1) : ::write(s.fd, from, to_size(std::min(bytes, kMostPerCall)));
        if (n > 0) {
            from += n;
            bytes -= n;
            kx_progress_written(n);
        } else if (n == 0 || errno != EINTR) {
            s.failed = true;
        }
    }
    return !s.failed;
}

/// Space behind the end of a file goes back when the file gets the size it has.
void return_space(const kx_stream &s) {
    kx_status status{};
    if (s.reserved > 0 && kx_status_of(s.fd, status) && status.st_size < s.reserved && !kx_fault(kx_site::truncate)) {
        [[maybe_unused]] const int unused = ftruncate(s.fd, status.st_size); // refused: the file is larger on disk
    }
}

bool seek(kx_stream &s, kx_i64 offset, int whence) {
    return s.open && kx_stream_flush(s) && !kx_fault(kx_site::seek) && lseek(s.fd, offset, whence) >= 0;
}

/// After a question without an answer: there may be a file all the same. Better none is emptied by mistake.
bool may_be_there() { return errno != ENOENT && errno != ENOTDIR; }

/// The path leads to that regular file.
bool leads_to(const char *path, const kx_status &file) {
    kx_status status{};
    if (path == nullptr || !kx_status_of(path, status)) {
        return path != nullptr && may_be_there();
    }
    return S_ISREG(status.st_mode) && kx_same_file(status, file);
}

} // namespace

bool kx_stream_open_read(kx_stream &s, const char *path) { return open_file(s, path, O_RDONLY); }

bool kx_stream_open_write(kx_stream &s, const char *path) { return open_file(s, path, O_WRONLY | O_CREAT | O_TRUNC); }

bool kx_stream_adopt(kx_stream &s, int fd) {
    s = kx_stream{};
    s.fd = above_standard_streams(fd);
    s.open = s.fd >= 0;
    return s.open;
}

void kx_stream_standard_output(kx_stream &s) {
    std::fflush(stdout);
    borrow(s, STDOUT_FILENO);
}

void kx_stream_standard_input(kx_stream &s) { borrow(s, STDIN_FILENO); }

bool kx_stream_set_buffer(kx_stream &s, kx_i64 wanted) {
    KX_ASSERT(s.open && s.filled == 0);
    const kx_i64 bytes = kx_buffer_bytes(wanted);
    std::free(s.buffer);
    s.buffer = nullptr;
    s.capacity = 0;
    if (kx_fault(kx_site::setvbuf)) {
        return false;
    }
    if (bytes > 0) {
        s.buffer = static_cast<char *>(kx_system_malloc(bytes));
        s.capacity = s.buffer != nullptr ? bytes : 0;
    }
    return s.capacity == bytes;
}

void kx_stream_reserve_space(kx_stream &s, kx_i64 bytes) {
#ifdef FALLOC_FL_KEEP_SIZE
    constexpr kx_i64 kWorthAsking = kx_i64{1} << 20;
    const bool wanted = s.open && !s.standard && bytes >= kx_buffer_bytes(kWorthAsking);
    if (wanted && !kx_fault(kx_site::reserve) && fallocate(s.fd, FALLOC_FL_KEEP_SIZE, 0, bytes) == 0) {
        s.reserved = bytes;
    }
#endif
}

kx_i64 kx_stream_read(kx_stream &s, void *to, kx_i64 bytes) {
    if (!s.open) {
        return -1;
    }
    kx_i64 got = 0;
    while (got < bytes) {
        const ssize_t n = kx_fault(kx_site::read) ? (errno = EIO, -1)
                                                  : ::read(s.fd, static_cast<char *>(to) + got,
                                                           to_size(std::min(bytes - got, kMostPerCall)));
        if (n > 0) {
            got += n;
            kx_progress_read(n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return got;
}

bool kx_stream_write_slowly(kx_stream &s, const void *from, kx_i64 bytes) {
    if (!s.open || bytes < 1) {
        return s.open && !s.failed;
    }
    if (bytes > s.capacity) {
        return kx_stream_flush(s) && write_out(s, static_cast<const char *>(from), bytes);
    }
    char *to = kx_stream_reserve(s, bytes);
    if (to == nullptr) {
        return false;
    }
    std::memcpy(to, from, to_size(bytes));
    kx_stream_commit(s, bytes);
    return true;
}

char *kx_stream_reserve_slowly(kx_stream &s, kx_i64 bytes) {
    if (s.failed || bytes > s.capacity || !kx_stream_flush(s)) {
        return nullptr;
    }
    return s.buffer + s.filled;
}

bool kx_stream_flush(kx_stream &s) {
    const kx_i64 filled = s.filled;
    s.filled = 0;
    return write_out(s, s.buffer, filled);
}

bool kx_stream_seek_to(kx_stream &s, kx_i64 position) { return seek(s, position, SEEK_SET); }
bool kx_stream_seek_by(kx_stream &s, kx_i64 distance) { return seek(s, distance, SEEK_CUR); }

kx_i64 kx_stream_position(const kx_stream &s) {
    return s.open && !kx_fault(kx_site::position) ? lseek(s.fd, 0, SEEK_CUR) : -1;
}

bool kx_stream_close(kx_stream &s) {
    if (!s.open) {
        return true;
    }
    bool complete = kx_stream_flush(s);
    std::free(s.buffer);
    s.buffer = nullptr;
    s.capacity = 0;
    s.open = false;
    if (!s.standard) {
        return_space(s);
        complete = ::close(s.fd) == 0 && complete;
        complete = !kx_fault(kx_site::close) && complete;
    }
    return complete;
}

bool kx_stream_clear(kx_stream &s) {
    const bool complete = kx_stream_close(s);
    s = kx_stream{};
    return complete;
}

bool kx_same_file(const char *path, const char *other) {
    kx_status status{};
    if (path == nullptr || other == nullptr || !kx_status_of(other, status)) {
        return path != nullptr && other != nullptr && may_be_there();
    }
    return leads_to(path, status);
}

bool kx_is_standard_input(const char *path) {
    kx_status status{};
    return kx_status_of(STDIN_FILENO, status) && leads_to(path, status);
}

bool kx_is_standard_output(const char *path) {
    kx_status status{};
    return kx_status_of(STDOUT_FILENO, status) && leads_to(path, status);
}

bool kx_unlink(const char *path) { return !kx_fault(kx_site::unlink) && ::unlink(path) == 0; }

} // namespace orkan
