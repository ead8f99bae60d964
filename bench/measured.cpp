// Runs one command and prints what it took: wall seconds, processor seconds, peak bytes, wait status.
//
// usage: measured STDIN STDOUT STDERR COMMAND [ARGUMENT]...
//        measured --touch BYTES
//
// --touch only writes to so much memory and gives it back: a virtual machine's host may have taken back what was idle,
// and the first to use it again would wait for all the others.
//
// A process starts with the peak of the one that started it: this one is small, an interpreter is not.

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

double seconds_of(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

pid_t start(char **argv) {
    constexpr int kFresh = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, argv[1], O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, argv[2], kFresh, 0644);
    posix_spawn_file_actions_addopen(&files, 2, argv[3], kFresh, 0644);
    pid_t child = -1;
    const int problem = posix_spawnp(&child, argv[4], &files, nullptr, argv + 4, environ);
    if (problem != 0) {
        errno = problem;
        std::perror(argv[4]);
        std::exit(1);
    }
    return child;
}

int touch(std::size_t bytes) {
    constexpr std::size_t kPage = 4096;
    void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return 1;
    }
    madvise(memory, bytes, MADV_HUGEPAGE); // only faster
    auto *page = static_cast<volatile char *>(memory);
    for (std::size_t at = 0; at < bytes; at += kPage) {
        page[at] = 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::strcmp(argv[1], "--touch") == 0) {
        return touch(std::strtoull(argv[2], nullptr, 10));
    }
    if (argc < 5) {
        std::fputs("usage: measured STDIN STDOUT STDERR COMMAND [ARGUMENT]... | --touch BYTES\n", stderr);
        return 1;
    }
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = start(argv);
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
        std::perror("wait4");
        return 1;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    const double processor = seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
    std::printf("%.6f %.6f %ld %d\n", wall.count(), processor, usage.ru_maxrss * 1024, status);
    return 0;
}
