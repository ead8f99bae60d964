// feeder.h: standard input and pipes that arrive piece by piece.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

namespace support {

/// A piece waits until the one before it has been taken, so that every read of the other side comes up short.
inline void write_pieces(int to, const std::string &data, std::size_t piece, unsigned pause) {
    for (std::size_t at = 0; at < data.size(); at += piece) {
        const std::size_t bytes = std::min(piece, data.size() - at);
        if (::write(to, data.data() + at, bytes) != static_cast<ssize_t>(bytes)) {
            return;
        }
        for (int left = 1; ioctl(to, FIONREAD, &left) == 0 && left > 0;) {
            sched_yield();
        }
        usleep(pause);
    }
}

/// In a child: it ends with its parent, and at once if that is gone already.
inline void die_with(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(0);
    }
}

/// In the child of a run: standard input becomes a pipe that gives the data in pieces, `pause` microseconds apart.
inline void feed_in_pieces(const std::string &data, std::size_t piece, unsigned pause = 0) {
    int ends[2];
    if (pipe(ends) != 0) {
        _exit(99);
    }
    const pid_t reader = getpid();
    if (fork() == 0) {
        die_with(reader);
        close(ends[0]);
        write_pieces(ends[1], data, piece, pause);
        _exit(0);
    }
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    close(ends[1]);
}

/// Named pipes, and who writes into them until this ends: a run that fails leaves some unread.
class PipedInputs {
  public:
    PipedInputs() = default;
    ~PipedInputs() {
        for (const pid_t writer : writers_) {
            kill(writer, SIGKILL);
            waitpid(writer, nullptr, 0);
        }
    }
    PipedInputs(const PipedInputs &) = delete;
    PipedInputs &operator=(const PipedInputs &) = delete;

    void add(const std::string &name, const std::string &bytes) {
        unlink(name.c_str());
        const pid_t reader = getpid();
        const pid_t writer = mkfifo(name.c_str(), 0600) == 0 ? fork() : -1;
        if (writer < 0) {
            std::abort();
        }
        if (writer == 0) {
            die_with(reader);
            write_pieces(open(name.c_str(), O_WRONLY | O_CLOEXEC), bytes, kPiece, 0);
            _exit(0);
        }
        writers_.push_back(writer);
    }

  private:
    static constexpr std::size_t kPiece = 50000; ///< bytes

    std::vector<pid_t> writers_;
};

} // namespace support
