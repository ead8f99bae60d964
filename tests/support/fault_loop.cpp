#include "support/fault_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "orkan/orkan.h"
#include "support/feeder.h"

namespace support {

namespace {

namespace fs = std::filesystem;
using orkan::kx_site;
using std::string;

constexpr unsigned kPatience = 60; // seconds until a run counts as hanging
constexpr int kMostPositions = 5000;
constexpr const char *kLeftover = "a leftover";

// --- the hook ------------------------------------------------------------------------------------------------------

struct Counting {
    Refusal refusal;
    int first;    ///< the call to be refused; 0: none
    int calls;    ///< so far
    kx_site site; ///< of the call to be refused
    std::map<kx_site, int> met, refused;
};
Counting counting;

bool refuse(kx_site site, orkan::kx_i64 /*bytes*/) {
    ++counting.met[site];
    if (++counting.calls == counting.first) {
        counting.site = site;
    }
    const bool later = counting.first > 0 && counting.calls > counting.first;
    const bool again =
        counting.refusal == Refusal::everything || (counting.refusal == Refusal::that_site && site == counting.site);
    const bool refused = counting.calls == counting.first || (later && again);
    counting.refused[site] += refused ? 1 : 0;
    return refused;
}

// --- one run -------------------------------------------------------------------------------------------------------

/// Lets a file stand in for a descriptor as long as it lives.
class StandIn {
  public:
    StandIn(int fd, const char *path, int flags) : fd_(fd), kept_(fcntl(fd, F_DUPFD_CLOEXEC, 10)) {
        const int file = open(path, flags | O_CLOEXEC, 0600);
        dup2(file, fd_);
        close(file);
    }
    ~StandIn() {
        dup2(kept_, fd_);
        close(kept_);
    }
    StandIn(const StandIn &) = delete;
    StandIn &operator=(const StandIn &) = delete;

  private:
    int fd_, kept_;
};

/// Sorted: the inputs of a merge are read by turns.
std::vector<string> lines_of(const string &text) {
    std::istringstream in(text);
    std::vector<string> lines;
    for (string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

constexpr int kFresh = O_CREAT | O_TRUNC | O_WRONLY | O_APPEND;

struct Ran {
    int status = 0;
    string messages;
};

class Loop {
  public:
    Loop(const Box &box, const FaultCase &c) : box_(box), case_(c), data_(data_of(c)) {
        fs::current_path(box.path(""));
        for (std::size_t i = 0; i < data_.inputs.size(); ++i) {
            names_.push_back("in" + std::to_string(i));
            if (!is_pipe(i)) {
                box.write(names_.back(), data_.inputs[i]);
            }
        }
        temporary_ = box.path("tmp/orkan_" + std::to_string(getpid()) + ".tmp");
        setenv("ORKAN_COMPLETE", c.complete ? "1" : "0", 1);
    }

    LoopResult go() {
        run_undisturbed("before");
        result_.positions = counting.calls;
        for (const auto &[site, calls] : counting.met) {
            result_.sites[name_of(site)] = calls;
        }
        for (const Refusal refusal : kRefusals) {
            int first = 1;
            for (; first <= kMostPositions && run_refused(refusal, first); ++first) {
                run_undisturbed("behind");
            }
            complain_unless(first <= kMostPositions, "has more positions than are tried", {});
        }
        return result_;
    }

  private:
    Ran run(Refusal refusal, int first) {
        for (const char *name :
             {"out", "errors", "printed", "messages"}) { // anew: some file systems write what replaces
            fs::remove(box_.path(name));
        }
        if (case_.has_leftover()) {
            box_.write(fs::relative(temporary_, box_.path("")).string(), kLeftover);
        }
        counting = {refusal, first, 0, kx_site::open, {}, {}};
        Ran ran;
        {
            PipedInputs pipes;
            for (std::size_t i = 0; i < names_.size(); ++i) {
                if (is_pipe(i)) {
                    pipes.add(names_[i], data_.inputs[i]);
                }
            }
            const StandIn input(STDIN_FILENO, case_.from_standard_input() ? "in0" : "/dev/null", O_RDONLY);
            const StandIn output(STDOUT_FILENO, case_.has_output() ? "printed" : "out", kFresh);
            const StandIn messages(STDERR_FILENO, "messages", kFresh);
            if (case_.closes_input()) {
                close(STDIN_FILENO);
            }
            ran.status = call();
        }
        ran.messages = box_.read("messages");
        return ran;
    }

    [[nodiscard]] bool is_pipe(std::size_t input) const { return case_.has_pipes() && input % 2 == 0; }

    int call() {
        std::vector<string> texts = arguments_of(case_, names_);
        texts.insert(texts.begin(), "orkan");
        std::vector<char *> argv;
        for (string &text : texts) {
            argv.push_back(text.data());
        }
        argv.push_back(nullptr);
        orkan::kx_small = sizes_of(case_);
        orkan::kx_fault_hook = refuse;
        alarm(kPatience);
        const int status = orkan_file(static_cast<int>(texts.size()), argv.data());
        orkan::kx_fault_hook = nullptr;
        orkan::kx_small = {};
        return status;
    }

    void run_undisturbed(const string &when) {
        at_ = "the run " + when + " " + at_;
        const Ran ran = run(Refusal::once, 0);
        complain_unless(ran.status == 0, "fails", ran);
        judge_success(ran);
        judge_surroundings(ran);
    }

    /// False when the run came to its end before the call to be refused.
    bool run_refused(Refusal refusal, int first) {
        static const char *const names[] = {"only call ", "that site from call ", "everything from call "};
        at_ = names[static_cast<int>(refusal)] + std::to_string(first);
        fs::remove(box_.path("position"));
        box_.write("position", case_.name() + ": " + at_);
        const Ran ran = run(refusal, first);
        if (counting.calls < first) {
            return false;
        }
        at_ += string(" (") + name_of(counting.site) + ")";
        complain_unless(ran.status == 0 || ran.status == 1, "has a status of its own", ran);
        if (ran.status == 0) {
            judge_success(ran);
        } else {
            const string wrong = wrong_in_failure(ran.messages, counting.site, refusal);
            complain_unless(wrong.empty(), wrong, ran);
        }
        judge_surroundings(ran);
        return true;
    }

    void judge_success(const Ran &ran) {
        const bool nothing = has_smallest_pool(ran.messages) && case_.from_standard_input() && !case_.complete;
        const string expected = nothing ? "" : data_.output;
        complain_unless(box_.read("out") == expected, "succeeds with another output", ran);
        // By design lines are sorted even without their error file.
        const bool may_miss = case_.format == orkan::kx_format::variable && !case_.complete;
        const bool complete = case_.has_errors() && case_.format != orkan::kx_format::fixed && !nothing &&
                              !(may_miss && misses_error_file(ran.messages));
        complain_unless(!complete || lines_of(box_.read("errors")) == lines_of(data_.errors),
                        "succeeds with another error file", ran);
        const string wrong = wrong_in_success(ran.messages, may_miss);
        complain_unless(wrong.empty(), wrong, ran);
    }

    void judge_surroundings(const Ran &ran) {
        for (std::size_t i = 0; i < names_.size(); ++i) {
            complain_unless(is_pipe(i) || box_.read(names_[i]) == data_.inputs[i], "changes an input", ran);
        }
        complain_unless(!fs::exists(temporary_) || may_stay(ran), "leaves its temporary file", ran);
        fs::remove(temporary_);
        complain_unless(fs::is_empty(box_.path("tmp")), "leaves something in the temporary folder", ran);
        const auto open_files = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
        descriptors_ = descriptors_ == 0 ? open_files : descriptors_;
        complain_unless(open_files == descriptors_, "leaves a file open", ran);
    }

    /// By the rules, or because it was never taken over, or what could not be made could not be removed either.
    [[nodiscard]] bool may_stay(const Ran &ran) const {
        const bool untouched = box_.read(fs::relative(temporary_, box_.path("")).string()) == kLeftover;
        const bool refused = counting.refused[kx_site::unlink] > 0 || case_.has_leftover();
        return untouched || may_leave_temporary_file(ran.messages) ||
               (cannot_make_temporary_file(ran.messages) && refused);
    }

    void complain_unless(bool good, const string &what, const Ran &ran) {
        constexpr int kMost = 20;
        if (!good && ++result_.complaints <= kMost) {
            result_.text += case_.name() + ", " + at_ + ": " + what + "; status " + std::to_string(ran.status) + "\n" +
                            ran.messages + "--\n";
        }
    }

    const Box &box_;
    const FaultCase case_;
    const FaultData data_;
    std::vector<string> names_;
    string temporary_, at_ = "everything";
    std::ptrdiff_t descriptors_ = 0; ///< open ones between two runs
    LoopResult result_;
};

} // namespace

LoopResult refuse_every_call(const Box &box, const FaultCase &c) { return Loop(box, c).go(); }

} // namespace support
