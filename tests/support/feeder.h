// feeder.h: standard input that arrives piece by piece.
#pragma once

#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>

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

} // namespace support
