#include "kx_io/kx_temporary_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "kx_io/kx_load.h"
#include "kx_io/kx_temporary_hook.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_folder.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_status.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr mode_t kOwnerOnly = 0600;
// Nobody has to wait for the other end of a FIFO.
constexpr int kWriting = O_WRONLY | O_CLOEXEC | O_NONBLOCK;
constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK;

bool is_ours(const kx_status &status) {
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

/// The path leads to the open file.
bool leads_to(const char *path, int fd) {
    kx_status by_path{}, by_fd{};
    return kx_status_of(path, by_path) && kx_status_of(fd, by_fd) && kx_same_file(by_path, by_fd);
}

/// Where the file system knows no locks, there is none.
bool lock(int fd) { return kx_fault(kx_site::lock) || flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

bool set_empty(int fd) { return !kx_fault(kx_site::truncate) && ftruncate(fd, 0) == 0; }
bool set_mode(int fd) { return !kx_fault(kx_site::mode) && fchmod(fd, kOwnerOnly) == 0; }

int refuse(int fd) {
    ::close(fd);
    errno = EEXIST;
    return -1;
}

/// The run still has to read the file.
bool is_needed(const kx_status &file) {
    kx_status other{};
    bool needed = argsInfo.inFileNums == 0 && kx_status_of(STDIN_FILENO, other) && kx_same_file(file, other);
    for (kx_i64 i = 0; !needed && i < argsInfo.inFileNums; ++i) {
        needed = kx_status_of(argsInfo.arrInFile[i].path, other) && kx_same_file(file, other);
    }
    return needed;
}

/// Locks and empties a file that existed before; -1, closed, when it is needed, a live run has it or the path leads
/// elsewhere now.
int take_over(int fd, const char *path) {
    kx_status status{};
    const bool free = kx_status_of(fd, status) && !is_needed(status) && lock(fd) && leads_to(path, fd);
    return free && (!S_ISREG(status.st_mode) || set_empty(fd)) ? fd : refuse(fd);
}

int follow_link(const char *path, const kx_status &link) {
    if (link.st_uid != geteuid()) {
        errno = EACCES;
        return -1;
    }
    const int fd = ::open(path, kWriting | O_CREAT, kOwnerOnly);
    return fd < 0 ? -1 : take_over(fd, path);
}

int overwrite_leftover(const char *path, const kx_status &leftover) {
    if (!is_ours(leftover)) {
        errno = EEXIST;
        return -1;
    }
    int fd = ::open(path, kWriting | O_NOFOLLOW);
    kx_status opened{};
    if (fd >= 0 && (!kx_status_of(fd, opened) || !is_ours(opened))) {
        return refuse(fd);
    }
    fd = fd < 0 ? -1 : take_over(fd, path);
    return fd < 0 || set_mode(fd) ? fd : refuse(fd);
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
    kx_status there{};
    if (errno != EEXIST || !kx_status_of_link(path, there)) {
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
    kx_status status{};
    if (!kx_status_of(fd, status)) {
        return false;
    }
    const int lock = kx_fault(kx_site::duplicate) ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    temporaryFile = {lock, status.st_dev, status.st_ino, true};
    return true;
}

bool is_remembered(const kx_status &status) {
    return temporaryFile.exists && status.st_dev == temporaryFile.device && status.st_ino == temporaryFile.inode;
}

} // namespace

bool kx_temporary_file_create(kx_stream &s, const char *path) {
    kx_temporary_file_forget();
    kx_temporary_change change;
    s = kx_stream{};
    const int fd = open_for_writing(path);
    if (fd < 0) {
        return false;
    }
    if (!kx_stream_adopt(s, fd) || !remember(s.fd)) {
        kx_stream_clear(s);
        kx_unlink(path);
        return false;
    }
    fcntl(s.fd, F_SETFL, O_WRONLY); // no O_NONBLOCK any more
    change.exists(path);
    return true;
}

int kx_create_temporary_file() {
    const FileInfo &file = argsInfo.tmpFile;
    if (!kx_folder_usable(file.dir)) {
        return kx_fail(msg::kTemporaryFolder, file.dir);
    }
    if (!kx_temporary_file_create(tmpFile, file.path)) {
        return kx_fail(msg::kCreateTemporaryFile, file.path);
    }
    kx_stream_reserve_space(tmpFile, kx_expected_bytes());
    return 0;
}

bool kx_temporary_file_reopen(kx_stream &s, const char *path) {
    s = kx_stream{};
    const int fd = kx_fault(kx_site::open) ? -1 : ::open(path, kReading);
    kx_status status{};
    if (fd >= 0 && kx_stream_adopt(s, fd) && kx_status_of(s.fd, status) && is_remembered(status)) {
        return true;
    }
    kx_stream_clear(s);
    return false;
}

bool kx_temporary_file_remove(const char *path) {
    kx_status status{};
    kx_temporary_change change;
    if (!kx_status_of(path, status) || !is_remembered(status) || !kx_unlink(path)) {
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
