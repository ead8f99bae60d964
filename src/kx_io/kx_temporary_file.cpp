#include "kx_io/kx_temporary_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kx_io/kx_temporary_hook.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_folder.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

using Status = struct stat;

constexpr mode_t kOwnerOnly = 0600;
// Nobody has to wait for the other end of a FIFO.
constexpr int kWriting = O_WRONLY | O_CLOEXEC | O_NONBLOCK;
constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK;

bool same_file(const Status &a, const Status &b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

bool is_ours(const Status &status) {
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

/// The path leads to the open file.
bool leads_to(const char *path, int fd) {
    Status by_path{}, by_fd{};
    return stat(path, &by_path) == 0 && fstat(fd, &by_fd) == 0 && same_file(by_path, by_fd);
}

/// Where the file system knows no locks, there is none.
bool lock(int fd) { return flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

int refuse(int fd) {
    ::close(fd);
    errno = EEXIST;
    return -1;
}

/// Locks and empties a file that existed before; -1, closed, when a live run has it or the path leads elsewhere now.
int take_over(int fd, const char *path) {
    Status status{};
    const bool taken = fstat(fd, &status) == 0 && lock(fd) && leads_to(path, fd) &&
                       (!S_ISREG(status.st_mode) || ftruncate(fd, 0) == 0);
    return taken ? fd : refuse(fd);
}

int follow_link(const char *path, const Status &link) {
    if (link.st_uid != geteuid()) {
        errno = EACCES;
        return -1;
    }
    const int fd = ::open(path, kWriting | O_CREAT, kOwnerOnly);
    return fd < 0 ? -1 : take_over(fd, path);
}

int overwrite_leftover(const char *path, const Status &leftover) {
    if (!is_ours(leftover)) {
        errno = EEXIST;
        return -1;
    }
    int fd = ::open(path, kWriting | O_NOFOLLOW);
    Status opened{};
    if (fd >= 0 && (fstat(fd, &opened) != 0 || !is_ours(opened))) {
        return refuse(fd);
    }
    fd = fd < 0 ? -1 : take_over(fd, path);
    return fd < 0 || fchmod(fd, kOwnerOnly) == 0 ? fd : refuse(fd);
}

int open_for_writing(const char *path) {
    if (kx_fault(kx_site::open)) {
        errno = EACCES;
        return -1;
    }
    const int fd = ::open(path, kWriting | O_CREAT | O_EXCL, kOwnerOnly);
    if (fd >= 0) {
        return lock(fd) ? fd : (::close(fd), -1);
    }
    Status there{};
    if (errno != EEXIST || lstat(path, &there) != 0) {
        return -1;
    }
    return S_ISLNK(there.st_mode) ? follow_link(path, there) : overwrite_leftover(path, there);
}

/// Keeps signals away while the file changes, and tells the program how it ended.
class kx_temporary_change {
  public:
    kx_temporary_change() { tell(orkan_temporary_changing, nullptr); }
    ~kx_temporary_change() { tell(outcome_, path_); }
    kx_temporary_change(const kx_temporary_change &) = delete;
    kx_temporary_change &operator=(const kx_temporary_change &) = delete;

    void exists(const char *path) {
        outcome_ = orkan_temporary_exists;
        path_ = path;
    }
    void gone() { outcome_ = orkan_temporary_gone; }

  private:
    static void tell(orkan_temporary_event event, const char *path) {
        if (orkan_temporary_file_event != nullptr) {
            orkan_temporary_file_event(event, path, temporaryFile.device, temporaryFile.inode);
        }
    }

    orkan_temporary_event outcome_ = orkan_temporary_unchanged;
    const char *path_ = nullptr;
};

/// Keeps the lock beyond the stream's own descriptor, and what the file is known by.
bool remember(int fd) {
    Status status{};
    if (fstat(fd, &status) != 0) {
        return false;
    }
    temporaryFile = {fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1), status.st_dev, status.st_ino, true};
    return true;
}

bool is_remembered(const Status &status) {
    return temporaryFile.exists && status.st_dev == temporaryFile.device && status.st_ino == temporaryFile.inode;
}

} // namespace

bool kx_temporary_file_create(kx_stream &s, const char *path) {
    kx_temporary_file_forget();
    kx_temporary_change change;
    const int fd = open_for_writing(path);
    if (fd < 0 || !kx_stream_adopt(s, fd)) {
        s = kx_stream{};
        return false;
    }
    fcntl(s.fd, F_SETFL, O_WRONLY); // no O_NONBLOCK any more
    if (!remember(s.fd)) {
        kx_stream_clear(s);
        return false;
    }
    change.exists(path);
    return true;
}

int kx_create_temporary_file() {
    const FileInfo &file = argsInfo.tmpFile;
    if (!kx_folder_usable(file.dir)) {
        return kx_fail(msg::kTemporaryFolder, file.dir);
    }
    return kx_temporary_file_create(tmpFile, file.path) ? 0 : kx_fail(msg::kCreateTemporaryFile, file.path);
}

bool kx_temporary_file_reopen(kx_stream &s, const char *path) {
    s = kx_stream{};
    const int fd = kx_fault(kx_site::open) ? -1 : ::open(path, kReading);
    Status status{};
    if (fd >= 0 && kx_stream_adopt(s, fd) && fstat(s.fd, &status) == 0 && is_remembered(status)) {
        return true;
    }
    kx_stream_clear(s);
    return false;
}

bool kx_temporary_file_remove(const char *path) {
    Status status{};
    kx_temporary_change change;
    if (stat(path, &status) != 0 || !is_remembered(status) || !kx_unlink(path)) {
        return false;
    }
    temporaryFile.exists = false;
    change.gone();
    return true;
}

void kx_temporary_file_forget() {
    if (temporaryFile.lock > STDERR_FILENO) {
        ::close(temporaryFile.lock);
    }
    temporaryFile = {};
}

} // namespace orkan
