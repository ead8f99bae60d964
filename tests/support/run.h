// run.h: whole runs of orkan_file in a child process, observed from outside.
//
//   Box box;                                              // a fresh folder, the working directory of its runs
//   box.write("in.dat", "b2a1");
//   Outcome o = box.run({.args = {"-L", "2", "in.dat"}});
//   EXPECT_EQ(o.out, "a1b2");
//
// Everything a run can do to its process (exit, crash, hang, close a stream, keep memory) stays in the child. A hang
// or a memory leak found there is a failure of the test that made the run.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "kx_utils/kx_fault.h"

namespace support {

enum class Ending {
    returned,  ///< the function came back; the status is its result
    exited,    ///< the function ended the process; the status is the exit status
    killed,    ///< a signal ended it, or a sanitizer; the status is the signal's number (0: no signal)
    timed_out, ///< it did not end in time
};
void PrintTo(Ending ending, std::ostream *to);

/// What one run left.
struct Outcome {
    Ending ending = Ending::killed;
    int status = 0;
    std::string out, err; ///< all that arrived at standard output and standard error
    long pid = 0;         ///< of the child
};

/// One call of orkan_file.
struct Call {
    std::vector<std::string> args = {};        ///< argv[1] and so on
    std::string program = "orkan";             ///< argv[0]
    std::optional<std::string> lang = "C";     ///< LANG; unset when empty
    std::optional<std::string> tmpdir = "tmp"; ///< TMPDIR; unset when empty. "tmp" is a folder of the box
    std::optional<std::string> input = "";     ///< bytes of standard input; closed when empty
    std::function<void()> before = {};         ///< called in the child right before the run
    unsigned time_limit = 60;                  ///< seconds
    int dies_of = 0;                           ///< the signal that may end it; any other is a failure
};

/// The locale whose messages are Japanese.
inline constexpr const char *kJapanese = "ja_JP.UTF-8";

/// A fresh folder with a folder "tmp" in it, both removed at the end. Paths are relative to it.
class Box {
  public:
    Box();
    ~Box();
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;

    [[nodiscard]] std::string path(const std::string &name) const { return folder_ + "/" + name; }
    void write(const std::string &name, const std::string &bytes) const;
    [[nodiscard]] std::string read(const std::string &name) const; ///< "(no file)" when there is none
    void make_folder(const std::string &name) const;

    /// Everything in the folder, sorted, "tmp" and its contents included: "in.dat tmp/".
    [[nodiscard]] std::string files() const;

    [[nodiscard]] Outcome run(const Call &call) const;

    /// Several runs in one process, each with its own outcome; none behind the one that ended the process.
    [[nodiscard]] std::vector<Outcome> run_all(const std::vector<Call> &calls) const;

  private:
    std::string folder_;
};

/// Any function in a child process, with the call's environment, as for orkan_file.
Outcome in_child(const std::function<int()> &body, const Call &surroundings = {});

// For Call::before. Each adds to what fails in this process from now on.

/// The n-th call (from 1, counted from here) at a site fails; also every later one when `onwards`.
void fail_call(orkan::kx_site site, int n, bool onwards = false);

/// System allocations of these sizes are refused; each entry counts for one request, in order, or for all (`always`).
void refuse_allocations(std::initializer_list<orkan::kx_i64> sizes);
void refuse_allocations_from(orkan::kx_i64 smallest);

/// The text with what differs from run to run replaced: "[#]ms" for a time in milliseconds of width 8, "<time> " for
/// a time stamp with its blank, "orkan_<pid>.tmp", and "<n>" for the numbers of the closing lines.
std::string steady(const std::string &text);
std::string steady(const Outcome &outcome); ///< of its err

/// A file of real data: in the folder ORKAN_SHARED_DATA, or else next to the project; nothing when it is not there.
std::optional<std::string> shared_data(const std::string &name);

} // namespace support
