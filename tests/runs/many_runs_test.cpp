// many_runs_test.cpp: a thousand runs in one process, good and failing ones in any order: each behaves as in a fresh
// process, and none leaves a handle or memory behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "orkan/orkan.h"
#include "support/dice.h"
#include "support/fault.h"
#include "support/run.h"

namespace {

using namespace support;
using orkan::kx_site;
using std::string;
namespace fs = std::filesystem;

constexpr int kRuns = 1000, kWarmUp = 200;
constexpr long kBoundedPages = 2048; ///< 8 MiB

struct Case {
    std::vector<string> args;
    string input = {};            ///< on standard input
    kx_site site = kx_site::open; ///< where the `fault`-th call fails
    int fault = 0;                ///< 0: none
    bool complete = false;
};

string data() {
    Dice dice(11);
    string all;
    for (int i = 0; i < 500; ++i) {
        all += std::to_string(1000000 + dice.below(900)).substr(1) + "," + std::to_string(10 + dice.below(50)) + "\n";
    }
    return all;
}

/// Every format in every path with every order.
void add_good_runs(std::vector<Case> &cases) {
    const std::vector<std::vector<string>> formats = {
        {"-L5", "-K0,3"}, {"-K2,3", "-E", "short"}, {"-C", "-K2n", "-K1d"}};
    for (const std::vector<string> &format : formats) {
        for (const char *path : {"-W64M", "-W1", "-M", ""}) {
            for (const char *order : {"-N", "-S", "-U"}) {
                Case c{.args = format};
                c.args.insert(c.args.end(), {order, *path != '\0' ? path : "-A", "-T", "tmp"});
                *path != '\0' ? c.args.emplace_back("in") : c.input = data();
                cases.push_back(c);
            }
        }
    }
}

void add_failing_runs(std::vector<Case> &cases) {
    const std::vector<std::vector<string>> refused = {
        {"-x"},
        {"-K", "-1,2", "in"},
        {"-L", "7", "-A", "in"},
        {"-A", "missing"},
        {"-A", "tmp"},
        {"-A", "-W0", "in"},
        {"-C", "-K0", "in"},
        {"-A", "-O", "missing/out", "in"},
        {"-M", "-A", "tmp"},
        {"-A", "-T", "missing", "in"},
    };
    for (const std::vector<string> &args : refused) {
        if (args[0] != "-x") { // which ends the process
            cases.push_back({.args = args});
        }
    }
    for (const kx_site site : {kx_site::open, kx_site::read, kx_site::write, kx_site::seek, kx_site::allocate}) {
        for (const int fault : {1, 2, 3, 5}) {
            cases.push_back({.args = {"-C", "-K2n", "-W1", "-U", "in"}, .site = site, .fault = fault});
            cases.push_back({.args = {"-K0,5", "-S"}, .input = data(), .site = site, .fault = fault});
        }
    }
}

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    add_good_runs(cases);
    add_failing_runs(cases);
    for (std::size_t i = 0, n = cases.size(); i < n; i += 2) {
        cases.push_back(cases[i]);
        cases.back().complete = true;
    }
    return cases;
}

void prepare(const Case &c) {
    static std::optional<Fault> fault;
    fault.reset();
    if (c.fault > 0) {
        fault.emplace(FaultPlan{.site = c.site, .call = c.fault});
    }
    setenv("ORKAN_COMPLETE", c.complete ? "1" : "0", 1);
}

/// Status and everything written.
string essence(int status, const string &out, const string &err) {
    return std::to_string(status) + "\n" + out + "\n" + steady(err);
}

string fresh(const Box &box, const Case &c) {
    const Outcome o = box.run({.args = c.args, .input = c.input, .before = [&c] { prepare(c); }});
    EXPECT_EQ(o.ending, Ending::returned);
    return essence(o.status, o.out, o.err);
}

// --- in the process of all runs ------------------------------------------------------------------------------------

string read_file(const string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void stand_in(const string &path, int stream) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | (stream != STDIN_FILENO ? O_TRUNC : 0), 0600);
    if (fd < 0 || dup2(fd, stream) != stream || close(fd) != 0) {
        abort();
    }
}

string run_here(const Box &box, const Case &c) {
    for (const auto &left : fs::directory_iterator(box.path("tmp"))) {
        fs::remove(left.path());
    }
    box.write("stdin", c.input);
    stand_in(box.path("stdin"), STDIN_FILENO);
    stand_in(box.path("stdout"), STDOUT_FILENO);
    stand_in(box.path("stderr"), STDERR_FILENO);
    std::vector<string> texts = {"orkan"};
    texts.insert(texts.end(), c.args.begin(), c.args.end());
    std::vector<char *> argv;
    for (string &text : texts) {
        argv.push_back(text.data());
    }
    prepare(c);
    const int status = orkan_file(static_cast<int>(argv.size()), argv.data());
    orkan::kx_fault_hook = nullptr;
    std::fflush(nullptr);
    return essence(status, read_file(box.path("stdout")), read_file(box.path("stderr")));
}

long handles() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); }

/// Of resident memory; the address sanitizer keeps freed memory on purpose.
long pages() {
#if defined(__SANITIZE_ADDRESS__)
    return 0;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return 0;
#endif
#endif
    long size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
}

int complain(int complaints, const string &what) {
    dprintf(complaints, "%s\n", what.c_str());
    return 1;
}

/// 0, or 1 when a run is not as expected.
int run_them_all(const Box &box, const std::vector<Case> &cases, const std::vector<string> &expected) {
    const int complaints = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
    if (chdir(box.path("").c_str()) != 0) {
        return complain(complaints, "no folder");
    }
    Dice dice(23);
    long handles_at_first = 0, pages_at_first = 0;
    for (int i = 0; i < kRuns; ++i) {
        const std::size_t n = dice.below(cases.size());
        if (const string got = run_here(box, cases[n]); got != expected[n]) {
            return complain(complaints, "run " + std::to_string(i) + ", case " + std::to_string(n) + ":\n" + got +
                                            "expected:\n" + expected[n]);
        }
        handles_at_first = i == 0 ? handles() : handles_at_first;
        pages_at_first = i < kWarmUp ? pages() : pages_at_first;
        if (handles() != handles_at_first || pages() > pages_at_first + kBoundedPages) {
            return complain(complaints, "case " + std::to_string(n) + " keeps handles or memory");
        }
    }
    return 0;
}

TEST(ManyRuns, InOneProcessAreAsFreshOnes) {
    const Box box;
    box.write("in", data());
    std::vector<string> expected;
    const std::vector<Case> cases = all_cases();
    for (const Case &c : cases) {
        expected.push_back(fresh(box, c));
        fs::remove_all(box.path("tmp"));
        box.make_folder("tmp");
    }
    const Outcome o = in_child([&] { return run_them_all(box, cases, expected); }, {.time_limit = 300});
    EXPECT_EQ(o.status, 0) << o.err;
}

} // namespace
