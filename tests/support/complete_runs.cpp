#include "support/complete_runs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

#include "kx_getopt/kx_getopt.h"
#include "kx_io/kx_load.h"
#include "kx_io/kx_stdin.h"
#include "kx_list/kx_list.h"
#include "kx_paras/kx_paras.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_inmemory.h"
#include "kx_sort/kx_merge_multi.h"
#include "support/capture.h"

namespace support {

namespace {

/// A named pipe in which bytes wait for a reader.
class Feeder {
  public:
    Feeder(std::string path, const std::string &bytes) : path_(std::move(path)) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        writer_ = std::thread([this, bytes] {
            const int to = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
            for (std::size_t at = 0; at < bytes.size();) {
                const ssize_t n = write(to, bytes.data() + at, bytes.size() - at);
                if (n <= 0) {
                    break; // the reader has gone
                }
                at += static_cast<std::size_t>(n);
            }
            close(to);
            done_ = true;
        });
    }
    ~Feeder() {
        while (!done_) { // nobody came to read it all
            close(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
            usleep(100);
        }
        writer_.join();
        unlink(path_.c_str());
    }
    Feeder(const Feeder &) = delete;
    Feeder &operator=(const Feeder &) = delete;

  private:
    std::string path_;
    std::atomic<bool> done_ = false;
    std::thread writer_;
};

/// Lets a file be standard input.
class StandardInput {
  public:
    explicit StandardInput(const std::string &path) : kept_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        dup2(fd, STDIN_FILENO);
        close(fd);
    }
    ~StandardInput() {
        dup2(kept_, STDIN_FILENO);
        close(kept_);
    }
    StandardInput(const StandardInput &) = delete;
    StandardInput &operator=(const StandardInput &) = delete;

  private:
    int kept_;
};

int sort_in_memory() {
    auto *buf = static_cast<char *>(kx_qmalloc(memPool, kx_load_room()));
    EXPECT_NE(buf, nullptr);
    const auto sort = argsInfo.bStabilize == 1 ? kx_msortInMemory : kx_qsortInMemory;
    return kx_inputFile(buf) != 0 ? 1 : sort(buf, argsInfo.totalFileSize);
}

/// As the driver does it, behind the options.
int sort_along(Path path) {
    switch (path) {
    case Path::in_memory: return sort_in_memory();
    case Path::split: return kx_sort_through_temporary_file();
    case Path::standard_input:
    case Path::pipes: return kx_stdin();
    default: return kx_mergeSortMultiFile();
    }
}

bool through_pipes(Path path) { return path == Path::pipes || path == Path::presorted_pipes; }
bool is_presorted(Path path) { return path == Path::presorted || path == Path::presorted_pipes; }

} // namespace

std::string name_of(Path path) {
    static const char *const names[] = {"in memory", "split", "standard input", "pipes", "presorted", "sorted pipes"};
    return names[static_cast<int>(path)];
}

int CompleteRuns::sort(Path path, const std::vector<std::string> &arguments, kx_i64 above) {
    std::vector<std::string> texts = arguments;
    std::vector<char *> argv;
    for (std::string &text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    kx_CleanupGlobalVars();
    completeMode = true;
    processId = getpid();
    int status = kx_GetParametersInfo(&argsInfo, static_cast<int>(texts.size()), argv.data());
    status = status != 0 || kx_DealParametersInfo(&argsInfo) != 0 ? 1 : 0;
    if (status == 0) {
        memPool = kx_mem_pool_create(1 << 16, 1);
        argsInfo.totalMemSize = BASIC_SIZE + above;
        dataInfo.list = __kx_list_create();
        status = sort_along(path);
        EXPECT_EQ(kx_pool_check(memPool), nullptr);
    }
    kx_CleanupGlobalVars(); // closes the error file, too
    EXPECT_FALSE(completeMode || dataOrigin.inputs != nullptr) << "the next run begins anew";
    VERBOSE = 0;
    use_pool(kx_i64{1} << 16);
    return status;
}

CompleteRuns::Result CompleteRuns::run(Path path, const CompleteTask &task, kx_i64 above, bool verbose) {
    signal(SIGPIPE, SIG_IGN);
    const bool standard = path == Path::standard_input;
    std::vector<std::string> args = {"orkan"};
    for (const std::string &option : options_of(task.job)) {
        args.push_back(option);
    }
    if (task.job.format == kx_format::csv) {
        args.push_back("-D" + task.job.csv.shape.delimiter);
    }
    if (verbose) {
        args.emplace_back("-Verbose");
    }
    if (task.header) {
        args.emplace_back("-H");
    }
    if (is_presorted(path)) {
        args.emplace_back("-M");
    }
    for (const std::string &more : {std::string("-T"), box.path("tmp"), std::string("-E"), box.path("errors"),
                                    std::string("-O"), box.path("out")}) {
        args.push_back(more);
    }
    unlink(box.path("out").c_str());
    unlink(box.path("errors").c_str());
    std::vector<std::unique_ptr<Feeder>> feeders;
    std::string all;
    for (std::size_t i = 0; i < task.inputs.size(); ++i) {
        const std::string name = box.path((through_pipes(path) ? "pipe" : "in") + std::to_string(i));
        if (through_pipes(path)) {
            feeders.push_back(std::make_unique<Feeder>(name, task.inputs[i]));
        } else if (!standard) {
            box.write("in" + std::to_string(i), task.inputs[i]);
        }
        if (!standard) {
            args.push_back(name);
        }
        all += task.inputs[i];
    }
    box.write("all", all);
    Result result;
    const StandardInput input(box.path("all"));
    std::string ignored; // a verbose run dumps its settings there
    result.messages =
        messages_of([&] { ignored = written_to(STDOUT_FILENO, [&] { result.status = sort(path, args, above); }); });
    result.out = box.read("out");
    const std::string errors = box.read("errors");
    result.errors = errors == "(no file)" ? std::vector<std::string>{} : records_of(task.job, errors);
    EXPECT_EQ(box.files().find("orkan_"), std::string::npos) << "a temporary file is left";
    return result;
}

} // namespace support
