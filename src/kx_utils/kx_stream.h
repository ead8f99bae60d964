// kx_stream.h: the one way to files and standard streams.
//
// A handle is a plain value over a file descriptor. It outlives its file: closing forgets the descriptor first and
// is harmless the second time, so the driver may close without clearing and the cleanup may close everything. A
// zero-filled handle is closed. Standard streams are borrowed: flushed, never closed.
//
//   reading   no buffer: the sorts read whole chunks
//   writing   one buffer of the handle's own; gathered records go out in whole buffers, large pieces directly
#pragma once

#include <cstring>

#include "kx_types/kx_bytes.h"

namespace orkan {

/// One system call moves at most so many bytes: few enough to tell of progress often, and enough to cost nothing.
inline constexpr kx_i64 kMostPerCall = kx_i64{1} << 23;

struct kx_stream {
    int fd;        ///< meaningful while open
    bool open;     ///< a file or a borrowed standard stream stands behind the handle
    bool standard; ///< borrowed: close does not close the descriptor
    bool failed;   ///< a write failed; later writes fail at once
    char *buffer;  ///< system memory, owned; null when unbuffered
    kx_i64 capacity;
    kx_i64 filled;   ///< bytes in buffer not written yet
    kx_i64 reserved; ///< bytes of the file for which space was asked
};

/// Opens an existing file for reading. False (handle closed) when that fails; errno tells why.
bool kx_stream_open_read(kx_stream &s, const char *path);

/// Creates or truncates a file for writing, mode 0666 less the umask. False (handle closed) when that fails.
bool kx_stream_open_write(kx_stream &s, const char *path);

/// Takes an open descriptor over. False (handle and descriptor closed) when it cannot be moved above the standard ones.
bool kx_stream_adopt(kx_stream &s, int fd);

/// Borrows the process's standard output, after flushing what the C library holds back for it.
void kx_stream_standard_output(kx_stream &s);

/// Borrows the process's standard input.
void kx_stream_standard_input(kx_stream &s);

/// Gives a handle for writing a buffer of `bytes` bytes (0: none). False when the memory is refused.
bool kx_stream_set_buffer(kx_stream &s, kx_i64 bytes);

/// Asks the file system for the space of `bytes` bytes to be written, so that it need not look for it piece by piece (a
/// tenth of a large sort); nothing for few bytes. Only a wish; what is not used is given back by closing.
void kx_stream_reserve_space(kx_stream &s, kx_i64 bytes);

/// Reads until `bytes` bytes have come or the input ends; the count read, or -1 on a read error.
kx_i64 kx_stream_read(kx_stream &s, void *to, kx_i64 bytes);

/// Room for `bytes` bytes in the buffer, written out first if need be; null when a write failed or the buffer is
/// smaller than that. The bytes put there count with kx_stream_commit.
char *kx_stream_reserve_slowly(kx_stream &s, kx_i64 bytes);
inline char *kx_stream_reserve(kx_stream &s, kx_i64 bytes) {
    return !s.failed && bytes <= s.capacity - s.filled ? s.buffer + s.filled : kx_stream_reserve_slowly(s, bytes);
}
inline void kx_stream_commit(kx_stream &s, kx_i64 bytes) { s.filled += bytes; }

/// Writes `bytes` bytes, perhaps only into the buffer. False when this or an earlier write failed.
bool kx_stream_write_slowly(kx_stream &s, const void *from, kx_i64 bytes);
inline bool kx_stream_write(kx_stream &s, const void *from, kx_i64 bytes) {
    if (s.failed || bytes < 1 || bytes > s.capacity - s.filled) {
        return kx_stream_write_slowly(s, from, bytes);
    }
    std::memcpy(s.buffer + s.filled, from, to_size(bytes));
    kx_stream_commit(s, bytes);
    return true;
}

/// Writes the buffer out. False when this or an earlier write failed.
bool kx_stream_flush(kx_stream &s);

/// Moves to an absolute position, or by a distance from the current one (flushing first). False when refused.
bool kx_stream_seek_to(kx_stream &s, kx_i64 position);
bool kx_stream_seek_by(kx_stream &s, kx_i64 distance);

/// The present position in a file, in bytes; -1 where there is none, as in a pipe.
kx_i64 kx_stream_position(const kx_stream &s);

/// Flushes and closes; a closed handle is left alone (true). False when flushing or closing failed.
bool kx_stream_close(kx_stream &s);

/// Closes and makes the handle a fresh one.
bool kx_stream_clear(kx_stream &s);

/// True when both lead to the same regular file, or it cannot be told. A null path leads nowhere.
bool kx_same_file(const char *path, const char *other);
bool kx_is_standard_input(const char *path);
bool kx_is_standard_output(const char *path);

/// Removes a file by path. False when that fails.
bool kx_unlink(const char *path);

} // namespace orkan
