// orkan_main.cpp: the command `orkan`: its arguments go to the library, the library's status comes back.
//
// The library leaves the usual signals alone. The command removes the temporary file and the progress line when one of
// them ends it, and then dies by that signal as it would have done anyway.
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "kx_io/kx_temporary_hook.h"
#include "orkan/orkan.h"
#include "progress_terminal.h"

namespace {

constexpr std::array<int, 6> kSignals{SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXCPU};

/// The temporary file, for the handler; changed only while the signals are blocked.
struct TemporaryFile {
    std::array<char, 4096> path; ///< empty: there is none
    dev_t device;
    ino_t inode;
};
TemporaryFile temporary;

sigset_t blocked_before;

void remove_and_die(int signal) {
    progress_erase();
    struct stat status {};
    if (temporary.path[0] != '\0' && stat(temporary.path.data(), &status) == 0 && status.st_dev == temporary.device &&
        status.st_ino == temporary.inode) {
        unlink(temporary.path.data());
    }
    std::raise(signal); // back to its default by SA_RESETHAND, delivered when the handler returns
}

/// Signals that were ignored stay ignored.
void install_handlers() {
    for (const int signal : kSignals) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
            action.sa_handler = remove_and_die;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigaction(signal, &action, nullptr);
        }
    }
}

void block_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kSignals) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, &blocked_before);
}

void remember(const char *path, dev_t device, ino_t inode) {
    const std::size_t length = std::strlen(path);
    if (length < temporary.path.size()) {
        std::memcpy(temporary.path.data(), path, length + 1);
        temporary.device = device;
        temporary.inode = inode;
    }
}

} // namespace

void orkan_temporary_file_event(orkan_temporary_event event, const char *path, dev_t device, ino_t inode) {
    if (event == orkan_temporary_changing) {
        block_signals();
        return;
    }
    if (event == orkan_temporary_exists) {
        remember(path, device, inode);
    } else if (event == orkan_temporary_gone) {
        temporary.path[0] = '\0';
    }
    sigprocmask(SIG_SETMASK, &blocked_before, nullptr);
}

int main(int argc, char **argv) {
    install_handlers();
    std::atexit(progress_erase);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a write error with its message
    return orkan_file(argc, argv);
}
