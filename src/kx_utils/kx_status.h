// kx_status.h: what the file system tells of a file. Each is false, with errno, where it tells nothing.
#pragma once

#include <cerrno>
#include <sys/stat.h>

#include "kx_utils/kx_fault.h"

namespace orkan {

using kx_status = struct stat;

/// The call that asks is refused by a test.
inline bool kx_status_refused() {
    const bool refused = kx_fault(kx_site::stat);
    if (refused) {
        errno = EIO;
    }
    return refused;
}

inline bool kx_status_of(const char *path, kx_status &status) {
    return !kx_status_refused() && stat(path, &status) == 0;
}
inline bool kx_status_of(int fd, kx_status &status) { return !kx_status_refused() && fstat(fd, &status) == 0; }

/// Of a symbolic link itself.
inline bool kx_status_of_link(const char *path, kx_status &status) {
    return !kx_status_refused() && lstat(path, &status) == 0;
}

inline bool kx_same_file(const kx_status &a, const kx_status &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace orkan
