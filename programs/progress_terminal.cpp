#include "progress_terminal.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kx_utils/kx_progress_hook.h"
#include "progress_line.h"

namespace {

constexpr const char *kClearRest = "\033[K"; ///< from the cursor to the end of the line
constexpr char kErase[] = "\r\033[K";
constexpr int kColumnsUnlessTold = 80;

volatile std::sig_atomic_t visible = 0; ///< a line may be on the terminal

std::int64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

ProgressPace pace{milliseconds()};

/// A job in the background leaves the terminal alone.
bool in_foreground() { return tcgetpgrp(STDERR_FILENO) == getpgrp(); }

bool terminal_can_erase() {
    const char *kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && kind != nullptr && kind[0] != '\0' && std::strcmp(kind, "dumb") != 0;
}

/// Somebody types the records, or they are shown: on this terminal, or by the reader of the pipe (a pager, most often).
bool records_may_be_on_screen(const orkan_progress &now) {
    if (now.phase == orkan_progress_reading && now.total == 0) {
        return isatty(STDIN_FILENO) != 0;
    }
    const bool output = now.phase == orkan_progress_writing || now.phase == orkan_progress_merging;
    struct stat status {};
    return output && now.to_standard_output != 0 && fstat(STDOUT_FILENO, &status) == 0 &&
           (isatty(STDOUT_FILENO) != 0 || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

int columns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kColumnsUnlessTold;
}

/// What the terminal refuses is not tried again: the next line replaces this one anyway.
void put(const char *text, std::size_t bytes) {
    const ssize_t written = write(STDERR_FILENO, text, bytes);
    static_cast<void>(written);
}

void draw() {
    const std::string line = '\r' + progress_text(pace.view(), columns()) + kClearRest;
    visible = 1;
    put(line.data(), line.size());
}

void show(const orkan_progress &now) {
    static const bool can_erase = terminal_can_erase();
    if (!can_erase || !pace.advance(now, milliseconds())) {
        return;
    }
    if (records_may_be_on_screen(now)) {
        progress_erase();
    } else if (in_foreground()) {
        draw();
    }
}

} // namespace

void progress_erase() {
    const int kept = errno;
    if (visible != 0 && in_foreground()) {
        put(kErase, sizeof kErase - 1);
    }
    visible = 0;
    errno = kept;
}

void orkan_progress_event(const orkan_progress *now) {
    const int kept = errno;
    if (now == nullptr) {
        progress_erase();
    } else {
        show(*now);
    }
    errno = kept;
}
