// run.cpp: the child process and what it leaves.
#include "support/run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "orkan/orkan.h"

#if defined(__SANITIZE_ADDRESS__)
#define SUPPORT_LEAK_CHECK
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SUPPORT_LEAK_CHECK
#endif
#endif
#ifdef SUPPORT_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

extern "C" int __llvm_profile_write_file() __attribute__((weak)); // there in a coverage build

namespace support {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostRuns = 64;

/// What the child tells the parent, in memory that both see.
struct Progress {
    std::size_t started;
    std::size_t returned;
    int status[kMostRuns];
    bool exited;
    int exit_status;
};
Progress *progress; // used by the exit handler of the child

/// An unnamed file that parent and child share.
class Capture {
  public:
    explicit Capture(const std::string &bytes = "") : fd_(memfd_create("capture", MFD_CLOEXEC)) {
        EXPECT_GE(fd_, 0);
        EXPECT_EQ(::write(fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        lseek(fd_, 0, SEEK_SET);
    }
    ~Capture() { close(fd_); }
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    void stand_in_for(int fd) const { dup2(fd_, fd); }
    [[nodiscard]] std::string text() const {
        std::string bytes(static_cast<std::size_t>(lseek(fd_, 0, SEEK_END)), '\0');
        const ssize_t got = pread(fd_, bytes.data(), bytes.size(), 0);
        bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return bytes;
    }

  private:
    int fd_;
};

/// The streams of one run.
struct Streams {
    explicit Streams(const Call &call) : in(call.input.value_or("")) {}
    Capture in, out, err;
};

void set_variable(const char *name, const std::optional<std::string> &value) {
    if (value) {
        setenv(name, value->c_str(), 1);
    } else {
        unsetenv(name);
    }
}

[[noreturn]] void leave(int status) {
    if (__llvm_profile_write_file != nullptr) {
        __llvm_profile_write_file();
    }
    _exit(status);
}

/// Stands in front of every other exit handler, those of the test program included.
void note_exit(int status, void * /*unused*/) {
    std::fflush(nullptr);
    progress->exited = true;
    progress->exit_status = status;
    leave(0);
}

void install(const Call &call, const Streams &streams) {
    set_variable("LANG", call.lang);
    set_variable("TMPDIR", call.tmpdir);
    streams.in.stand_in_for(STDIN_FILENO);
    streams.out.stand_in_for(STDOUT_FILENO);
    streams.err.stand_in_for(STDERR_FILENO);
    if (!call.input) {
        close(STDIN_FILENO);
    }
    if (call.before) {
        call.before();
    }
}

void flush_both() {
    std::fflush(stdout);
    std::fflush(stderr);
    std::clearerr(stdout);
    std::clearerr(stderr);
}

/// In the child: all runs, one after the other.
[[noreturn]] void live(const std::vector<Call> &calls, const std::vector<Streams *> &streams,
                       const std::function<int(const Call &)> &body, const Capture &leaks) {
    on_exit(note_exit, nullptr);
    for (std::size_t i = 0; i < calls.size(); ++i) {
        alarm(calls[i].time_limit);
        install(calls[i], *streams[i]);
        progress->started = i + 1;
        progress->status[i] = body(calls[i]);
        flush_both();
        progress->returned = i + 1;
    }
    orkan::kx_fault_hook = nullptr;
    leaks.stand_in_for(STDERR_FILENO);
#ifdef SUPPORT_LEAK_CHECK
    __lsan_do_recoverable_leak_check();
#endif
    leave(0);
}

/// How the run ended that did not return.
void judge_last(Outcome &last, int wait_status) {
    if (WIFSIGNALED(wait_status)) {
        last.ending = WTERMSIG(wait_status) == SIGALRM ? Ending::timed_out : Ending::killed;
        last.status = WTERMSIG(wait_status);
    } else if (progress->exited) {
        last.ending = Ending::exited;
        last.status = progress->exit_status;
    } else {
        last.ending = Ending::killed;
    }
}

bool died_unasked(const Outcome &o, const Call &call) {
    return o.ending == Ending::timed_out || (o.ending == Ending::killed && (o.status == 0 || o.status != call.dies_of));
}

std::vector<Outcome> collect(const std::vector<Call> &calls, const std::vector<Streams *> &streams, pid_t child,
                             int wait_status) {
    std::vector<Outcome> outcomes(progress->started);
    if (outcomes.empty()) {
        ADD_FAILURE() << "the child died before its first run";
        outcomes.resize(1);
        return outcomes;
    }
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        outcomes[i].out = streams[i]->out.text();
        outcomes[i].err = streams[i]->err.text();
        outcomes[i].pid = child;
        outcomes[i].ending = Ending::returned;
        outcomes[i].status = progress->status[i];
        if (i >= progress->returned) {
            judge_last(outcomes[i], wait_status);
        }
        if (died_unasked(outcomes[i], calls[i])) {
            ADD_FAILURE() << "the run died or hung, signal " << outcomes[i].status << "\n" << outcomes[i].err;
        }
    }
    return outcomes;
}

std::vector<Outcome> live_in_child(const std::vector<Call> &calls, const std::function<int(const Call &)> &body) {
    EXPECT_LE(calls.size(), kMostRuns);
    progress = static_cast<Progress *>(
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::vector<Streams *> streams;
    for (const Call &call : calls) {
        streams.push_back(new Streams(call));
    }
    const Capture leaks;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        live(calls, streams, body, leaks);
    }
    int wait_status = 0;
    EXPECT_EQ(waitpid(child, &wait_status, 0), child);
    std::vector<Outcome> outcomes = collect(calls, streams, child, wait_status);
    EXPECT_EQ(leaks.text(), "") << "memory was left behind";
    for (const Streams *s : streams) {
        delete s;
    }
    munmap(progress, sizeof(Progress));
    return outcomes;
}

/// Writable strings and the vector over them, as main() gets them.
int call_orkan(const Call &call) {
    std::vector<std::string> texts = {call.program};
    texts.insert(texts.end(), call.args.begin(), call.args.end());
    std::vector<char *> argv;
    for (std::string &text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    return orkan_file(static_cast<int>(texts.size()), argv.data());
}

} // namespace

void PrintTo(Ending ending, std::ostream *to) {
    static const char *const names[] = {"returned", "exited", "killed", "timed_out"};
    *to << names[static_cast<int>(ending)];
}

Box::Box() {
    std::string name = (fs::temp_directory_path() / "orkan_box_XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    make_folder("tmp");
}

Box::~Box() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void Box::write(const std::string &name, const std::string &bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
}

std::string Box::read(const std::string &name) const {
    const std::ifstream file(path(name), std::ios::binary);
    if (!file) {
        return "(no file)";
    }
    std::ostringstream bytes;
    bytes << file.rdbuf(); // block by block
    return bytes.str();
}

void Box::make_folder(const std::string &name) const { fs::create_directories(path(name)); }

std::string Box::files() const {
    std::set<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(folder_)) {
        names.insert(fs::relative(entry.path(), folder_).string() + (entry.is_directory() ? "/" : ""));
    }
    std::string all;
    for (const std::string &name : names) {
        all += (all.empty() ? "" : " ") + name;
    }
    return all;
}

Outcome Box::run(const Call &call) const {
    const std::vector<Outcome> outcomes = run_all({call});
    return outcomes.empty() ? Outcome{} : outcomes.front();
}

std::vector<Outcome> Box::run_all(const std::vector<Call> &calls) const {
    return live_in_child(calls,
                         [this](const Call &call) { return chdir(folder_.c_str()) == 0 ? call_orkan(call) : -1; });
}

Outcome in_child(const std::function<int()> &body, const Call &surroundings) {
    const std::vector<Outcome> outcomes = live_in_child({surroundings}, [&](const Call &) { return body(); });
    return outcomes.empty() ? Outcome{} : outcomes.front();
}

} // namespace support
