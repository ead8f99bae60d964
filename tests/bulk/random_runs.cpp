// random_runs.cpp: random whole runs against the independent model, by the thousand.
//
//   random_runs FIRST COUNT      runs number FIRST to FIRST + COUNT - 1; 0 when none differs
//
// The number decides everything: format, records, keys, options, path, sizes of budget, pool and buffers. Every eighth
// run is repeated verbosely and must give the same bytes; every fourth is in complete mode. A difference is shown with
// its number and arguments, and its files stay in the folder that is named.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "kx_sort/kx_budget.h"
#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"
#include "orkan/orkan.h"
#include "support/complete_model.h"

namespace {

using namespace support;
using std::string;
namespace fs = std::filesystem;

enum class Path { in_memory, split, standard_input, presorted };

/// What one number stands for.
struct Run {
    CompleteTask task;
    Path path = Path::in_memory;
    bool complete = false, verbosely_too = false;
    orkan::kx_small_sizes sizes{};
};

struct Result {
    int status = 0;
    string output, errors;
};

std::size_t below(std::mt19937 &random, std::size_t n) { return random() % n; }

bool is_csv(const Run &run) { return run.task.job.format == kx_format::csv; }
bool is_fixed(const Run &run) { return run.task.job.format == kx_format::fixed; }

/// Kept: without complete mode, several inputs of the split path overlap, and standard input is one anyway.
std::size_t most_inputs(const Run &run) {
    const bool one = run.path == Path::standard_input || (run.path == Path::split && !run.complete);
    return one ? 1 : 4;
}

/// Kept: without complete mode only the sort in memory takes the header line off each input.
bool may_have_header(const Run &run) {
    const bool known = run.path == Path::in_memory || run.complete;
    return is_csv(run) && known;
}

/// Without complete mode the parts are glued together before the last one gets its newline code.
bool may_lack_newline(const Run &run, bool last) { return !is_fixed(run) && (last || run.complete); }

void add_inputs(Run &run, std::mt19937 &random) {
    const Job &job = run.task.job;
    run.task.header = may_have_header(run) && below(random, 3) == 0;
    for (std::size_t left = 1 + below(random, most_inputs(run)); left > 0; --left) {
        const std::size_t most = below(random, 10) == 0 ? 20000 : 1500;
        string input = run.task.header ? "x,\"y\",z" + job.code : "";
        input += random_records(random, job, 1 + below(random, most));
        if (may_lack_newline(run, left == 1) && below(random, 4) == 0) {
            input.resize(input.size() - job.code.size());
        }
        run.task.inputs.push_back(input);
    }
}

/// Kept: without complete mode, a merge of presorted CSV reads the number of a candidate for a duplicate at the length
/// that the last record's has.
bool misreads_numbers(const Run &run) {
    const std::vector<CsvKey> &keys = run.task.job.csv.keys;
    return is_csv(run) && run.path == Path::presorted && !run.complete &&
           std::any_of(keys.begin(), keys.end(), [](const CsvKey &key) { return key.numeric; });
}

/// As small as the longest record allows; sometimes as in the product.
void choose_sizes(Run &run, std::mt19937 &random) {
    constexpr orkan::kx_i64 kLongest = 80;
    if (run.path != Path::in_memory && below(random, 10) > 0) {
        run.sizes.budget = orkan::BASIC_SIZE + 8 * kLongest + static_cast<orkan::kx_i64>(below(random, 6000));
    }
    run.sizes.pool = orkan::kx_i64{1024} << below(random, 10);
    // Kept: without complete mode one buffer of each fixed-length input is merged.
    if (below(random, 4) > 0 && !(is_fixed(run) && run.path == Path::presorted && !run.complete)) {
        run.sizes.buffer = kLongest + static_cast<orkan::kx_i64>(below(random, 900));
    }
}

Run run_of(unsigned number) {
    std::mt19937 random(number);
    Run run{.task = {.job = random_job(random, kFormats[below(random, 3)]), .inputs = {}},
            .path = static_cast<Path>(below(random, 4)),
            .complete = below(random, 4) == 0,
            .verbosely_too = below(random, 8) == 0};
    make_unique(run.task.job, is_unique(run.task.job) && !misreads_numbers(run));
    add_inputs(run, random);
    choose_sizes(run, random);
    if (run.path == Path::presorted) {
        run.task.inputs = presorted_inputs(run.task);
    }
    return run;
}

// --- running -------------------------------------------------------------------------------------------------------

class Folder {
  public:
    Folder() : name_((fs::temp_directory_path() / "orkan_runs_XXXXXX").string()) {
        if (mkdtemp(name_.data()) == nullptr || chdir(name_.c_str()) != 0) {
            std::cerr << "no folder " << name_ << "\n";
            std::exit(2);
        }
        fs::create_directory("tmp");
    }
    [[nodiscard]] const string &name() const { return name_; }

  private:
    string name_;
};

void write_file(const string &name, const string &bytes) { std::ofstream(name, std::ios::binary) << bytes; }

string read_file(const string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void stand_in(const char *path, int flags, int stream) {
    const int fd = open(path, flags | O_CREAT, 0600);
    if (fd < 0 || dup2(fd, stream) != stream || close(fd) != 0) {
        std::abort();
    }
}

std::vector<string> arguments_of(const Run &run, bool verbose) {
    std::vector<string> args = {"orkan", "-E", "errors", "-O", "out", "-T", "tmp"};
    const std::vector<string> options = options_of(run.task.job);
    args.insert(args.end(), options.begin(), options.end());
    for (const char *option : {run.task.header ? "-H" : "", verbose ? "-Verbose" : "",
                               run.path == Path::presorted ? "-M"
                               : run.path == Path::split   ? "-W1"
                                                           : ""}) {
        if (*option != '\0') {
            args.emplace_back(option);
        }
    }
    for (std::size_t i = 0; run.path != Path::standard_input && i < run.task.inputs.size(); ++i) {
        args.push_back("in" + std::to_string(i));
    }
    return args;
}

Result result_of(const Run &run, bool verbose) {
    for (std::size_t i = 0; i < run.task.inputs.size(); ++i) {
        write_file("in" + std::to_string(i), run.task.inputs[i]);
    }
    write_file("out", "");
    write_file("errors", "");
    stand_in(run.path == Path::standard_input ? "in0" : "/dev/null", O_RDONLY, STDIN_FILENO);
    stand_in("shown", O_WRONLY | O_TRUNC, STDOUT_FILENO);
    stand_in("said", O_WRONLY | O_TRUNC, STDERR_FILENO);
    setenv("ORKAN_COMPLETE", run.complete ? "1" : "0", 1);
    std::vector<string> texts = arguments_of(run, verbose);
    std::vector<char *> argv;
    for (string &text : texts) {
        argv.push_back(text.data());
    }
    orkan::kx_small = run.sizes;
    const int status = orkan_file(static_cast<int>(argv.size()), argv.data());
    orkan::kx_small = {};
    orkan::VERBOSE = 0;
    return {status, read_file("out"), read_file("errors")};
}

// --- judging -------------------------------------------------------------------------------------------------------

struct Expected {
    string header;
    std::vector<Item> items;
    std::vector<string> rejected;
};

string glued(const Run &run) {
    string all;
    const string header = "x,\"y\",z" + run.task.job.code;
    for (const string &input : run.task.inputs) {
        all += input.substr(run.task.header ? header.size() : 0);
    }
    return ended(run.task.job, all);
}

Expected expected_of(const Run &run) {
    if (run.complete) {
        const CompleteResult plain = complete_sort(run.task);
        return {plain.header, plain.items, plain.rejected};
    }
    const string data = glued(run);
    return {run.task.header ? "x,\"y\",z" + run.task.job.code : "", items_of(run.task.job, data),
            rejected_of(run.task.job, data)};
}

/// Empty, or what is wrong.
string complaint_about(const Run &run) {
    const Result result = result_of(run, false);
    if (result.status != 0) {
        return "it fails: " + read_file("said");
    }
    const Expected expected = expected_of(run);
    if (result.output.substr(0, expected.header.size()) != expected.header) {
        return "the header line is missing";
    }
    const string records = result.output.substr(expected.header.size());
    if (const auto sorted = is_sorted_output(records, expected.items, order_of(run.task.job)); !sorted) {
        return sorted.message();
    }
    if (records_of(run.task.job, result.errors) != expected.rejected) {
        return "other error records";
    }
    if (!fs::is_empty("tmp")) {
        return "a temporary file is left";
    }
    const Result verbose = run.verbosely_too ? result_of(run, true) : result;
    return verbose.status == 0 && verbose.output == result.output ? "" : "verbosely it gives something else";
}

/// Keeps the files of a difference, and says what it is.
string shown_difference(unsigned number, const Run &run, const string &complaint) {
    std::ostringstream to;
    to << "run " << number << (run.complete ? " (complete)" : "") << ": " << complaint << "\n ";
    for (const string &arg : arguments_of(run, false)) {
        to << " '" << arg << "'";
    }
    to << "\n  budget " << run.sizes.budget << ", pool " << run.sizes.pool << ", buffer " << run.sizes.buffer << "\n";
    const fs::path kept = "run" + std::to_string(number);
    fs::create_directory(kept);
    for (const auto &entry : fs::directory_iterator(".")) {
        if (entry.is_regular_file()) {
            fs::copy_file(entry, kept / entry.path().filename(), fs::copy_options::overwrite_existing);
        }
    }
    return to.str();
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: random_runs FIRST COUNT\n";
        return 2;
    }
    const auto first = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
    const auto count = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
    setenv("LANG", "C", 1);
    const Folder folder;
    const int shown = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    unsigned differences = 0;
    for (unsigned number = first; number < first + count; ++number) {
        const Run run = run_of(number);
        if (const string complaint = complaint_about(run); !complaint.empty()) {
            ++differences;
            dprintf(shown, "%s", shown_difference(number, run, complaint).c_str());
        }
    }
    dprintf(shown, "%u runs, %u differences%s\n", count, differences,
            differences > 0 ? (", see " + folder.name()).c_str() : "");
    if (differences == 0) {
        fs::remove_all(folder.name());
    }
    return differences == 0 && count > 0 ? 0 : 1;
}
