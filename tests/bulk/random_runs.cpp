// random_runs.cpp: random whole runs against the independent model, by the thousand.
//
//   random_runs FIRST COUNT      runs number FIRST to FIRST + COUNT - 1; 0 when none differs
//
// The number decides everything: format, records, keys, options, path, sizes of budget, pool and buffers, whether a
// file sorted in memory is mapped, and in complete mode, every fourth run, which inputs are pipes. Each run is repeated
// verbosely and must give the same bytes. A difference is shown with its number and arguments, and its files stay in
// the folder that is named.
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
#include "support/feeder.h"

namespace {

using namespace support;
using std::string;
namespace fs = std::filesystem;

enum class Path { in_memory, split, standard_input, presorted };

/// What one number stands for.
struct Run {
    CompleteTask task;
    Path path = Path::in_memory;
    bool complete = false;
    std::vector<bool> piped = {}; ///< which inputs are
    bool output_file = true, error_file = true;
    string memory = {}; ///< the option
    orkan::kx_small_sizes sizes{};
};

struct Result {
    int status = 0;
    string output, errors, said;
};

std::size_t below(std::mt19937 &random, std::size_t n) { return random() % n; }
bool flip(std::mt19937 &random) { return below(random, 2) == 0; }

bool is_csv(const Run &run) { return run.task.job.format == kx_format::csv; }
bool is_fixed(const Run &run) { return run.task.job.format == kx_format::fixed; }

/// Kept: without complete mode, several inputs of the split path overlap, and standard input is one anyway. Only a
/// single one is mapped.
std::size_t most_inputs(const Run &run) {
    const bool one = run.path == Path::standard_input || (run.path == Path::split && !run.complete);
    return one || run.sizes.mapping > 0 ? 1 : 4;
}

/// Kept: without complete mode only the sort in memory takes the header line off each input.
bool may_have_header(const Run &run) { return is_csv(run) && (run.path == Path::in_memory || run.complete); }

/// Without complete mode the parts are glued together before the last one gets its newline code.
bool may_lack_newline(const Run &run, bool last) { return !is_fixed(run) && (last || run.complete); }

string header_of(const Run &run) {
    const CsvShape &shape = run.task.job.csv.shape;
    return run.task.header ? "x" + shape.delimiter + "\"y\"" + shape.delimiter + "z" + shape.newline : "";
}

void add_inputs(Run &run, std::mt19937 &random) {
    const Job &job = run.task.job;
    run.task.header = may_have_header(run) && below(random, 3) == 0;
    for (std::size_t left = 1 + below(random, most_inputs(run)); left > 0; --left) {
        const std::size_t most = below(random, 10) == 0 ? 20000 : 1500;
        string input = header_of(run) + random_records(random, job, 1 + below(random, most));
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
    run.sizes.index = below(random, 3) == 0 ? 2 : 0; // few records are sorted by prefixes, too
    // Kept: without complete mode one buffer of each fixed-length input is merged.
    if (below(random, 4) > 0 && !(is_fixed(run) && run.path == Path::presorted && !run.complete)) {
        run.sizes.buffer = kLongest + static_cast<orkan::kx_i64>(below(random, 900));
    }
}

/// Delimiters, and two keys on one column: without complete mode they make every record too short.
void vary_columns(Job &job, std::mt19937 &random) {
    static const string delimiters[] = {";", "\t", "::", "--", "|-|"};
    if (flip(random)) {
        job.csv.shape.delimiter = delimiters[below(random, std::size(delimiters))];
    }
    std::vector<CsvKey> &keys = job.csv.keys;
    if (!keys.empty() && below(random, 8) == 0) {
        keys.push_back({.column = keys.front().column, .numeric = flip(random), .descending = flip(random)});
    }
}

/// In complete mode a number ends with its key, and an empty column is none: neither needs the care of random_job.
void vary_numbers(Job &job, std::mt19937 &random) {
    job.csv.empty_last = flip(random);
    for (ModelKey &key : job.rules.keys) {
        key.length = key.numeric ? below(random, key.length + 1) : key.length;
    }
}

/// Any size; for the split path less than the smallest data need, else more than the largest do in memory.
string memory_option(Path path, std::mt19937 &random) {
    static const string small[] = {"-W1", "-W999k", "-W1M", "-W1048576", "-W 512K"};
    static const string large[] = {"", "-W16M", "-W65536K", "-W100000000", "-W 3m"};
    const bool is_small = path == Path::split || (path != Path::in_memory && flip(random));
    return (is_small ? small : large)[below(random, 5)];
}

/// Without complete mode pipes are refused.
void choose_pipes(Run &run, std::mt19937 &random) {
    const bool any = run.complete && run.path != Path::standard_input && below(random, 3) == 0;
    for (std::size_t i = 0; i < run.task.inputs.size(); ++i) {
        run.piped.push_back(any && flip(random));
    }
}

Run run_of(unsigned number) {
    std::mt19937 random(number);
    Run run{.task = {.job = random_job(random, kFormats[below(random, 3)]), .inputs = {}},
            .path = static_cast<Path>(below(random, 4)),
            .complete = below(random, 4) == 0};
    vary_columns(run.task.job, random);
    if (run.complete) {
        vary_numbers(run.task.job, random);
    }
    make_unique(run.task.job, is_unique(run.task.job) && !misreads_numbers(run));
    run.output_file = below(random, 4) > 0;
    run.error_file = below(random, 4) > 0;
    run.memory = memory_option(run.path, random);
    run.sizes.mapping = run.path == Path::in_memory && below(random, 3) == 0 ? 1 : 0;
    add_inputs(run, random);
    choose_sizes(run, random);
    if (run.path == Path::presorted) {
        run.task.inputs = presorted_inputs(run.task);
    }
    choose_pipes(run, random);
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

/// A new file: rewriting one takes long on some file systems.
void write_file(const string &name, const string &bytes) {
    fs::remove(name);
    std::ofstream(name, std::ios::binary) << bytes;
}

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
    std::vector<string> args = {"orkan", "-T", "tmp"};
    const std::vector<string> options = options_of(run.task.job);
    args.insert(args.end(), options.begin(), options.end());
    for (const string &option : {run.output_file ? string("-Oout") : "", run.error_file ? string("-Eerrors") : "",
                                 run.memory, run.task.header ? string("-H") : "", verbose ? string("-Verbose") : "",
                                 run.path == Path::presorted ? string("-M") : ""}) {
        if (!option.empty()) {
            args.push_back(option);
        }
    }
    for (std::size_t i = 0; run.path != Path::standard_input && i < run.task.inputs.size(); ++i) {
        args.push_back("in" + std::to_string(i));
    }
    return args;
}

Result result_of(const Run &run, bool verbose) {
    PipedInputs pipes;
    for (std::size_t i = 0; i < run.task.inputs.size(); ++i) {
        const string name = "in" + std::to_string(i);
        run.piped[i] ? pipes.add(name, run.task.inputs[i]) : write_file(name, run.task.inputs[i]);
    }
    for (const char *name : {"out", "errors", "shown", "said"}) {
        write_file(name, "");
    }
    stand_in(run.path == Path::standard_input ? "in0" : "/dev/null", O_RDONLY, STDIN_FILENO);
    stand_in("shown", O_WRONLY, STDOUT_FILENO);
    stand_in("said", O_WRONLY, STDERR_FILENO);
    setenv("ORKAN_COMPLETE", run.complete ? "1" : "0", 1);
    std::vector<string> texts = arguments_of(run, verbose);
    std::vector<char *> argv(texts.size());
    std::transform(texts.begin(), texts.end(), argv.begin(), [](string &text) { return text.data(); });
    orkan::kx_small = run.sizes;
    const int status = orkan_file(static_cast<int>(argv.size()), argv.data());
    orkan::kx_small = {};
    orkan::VERBOSE = 0;
    return {status, read_file(run.output_file ? "out" : "shown"), read_file("errors"), read_file("said")};
}

// --- judging -------------------------------------------------------------------------------------------------------

struct Expected {
    string header;
    std::vector<Item> items;
    std::vector<string> rejected;
};

string glued(const Run &run) {
    string all;
    for (const string &input : run.task.inputs) {
        all += input.substr(header_of(run).size());
    }
    return ended(run.task.job, all);
}

Expected expected_of(const Run &run) {
    if (run.complete) {
        const CompleteResult plain = complete_sort(run.task);
        return {plain.header, plain.items, plain.rejected};
    }
    const string data = glued(run);
    const auto items = items_of(run.task.job, data);
    const bool nothing = items.empty() && is_unique(run.task.job); // Kept: then -U writes no header line either.
    return {nothing ? "" : header_of(run), items, rejected_of(run.task.job, data)};
}

/// In complete mode no record is dropped in silence.
string complaint_about_refusal(const Result &result) {
    const bool told =
        result.said.find(" a record that lacks a sort key! Specify an error file (-E).\n") != string::npos;
    return result.status == 1 && told ? "" : "records that lack a key are not refused: " + result.said;
}

string complaint_about(const Result &result, const Run &run, const Expected &expected) {
    if (run.complete && !run.error_file && !expected.rejected.empty()) {
        return complaint_about_refusal(result);
    }
    if (result.status != 0) {
        return "it fails: " + result.said;
    }
    if (result.output.substr(0, expected.header.size()) != expected.header) {
        return "the header line is missing";
    }
    const string records = result.output.substr(expected.header.size());
    if (const auto sorted = is_sorted_output(records, expected.items, order_of(run.task.job)); !sorted) {
        return sorted.message();
    }
    const bool same = records_of(run.task.job, result.errors) == expected.rejected;
    return same || (!run.error_file && result.errors.empty()) ? "" : "other error records";
}

/// Both say the same, but for the settings that a verbose run puts on standard output in front.
bool is_same(const Result &verbose, const Result &result, const Run &run) {
    const std::size_t least = result.output.size(), settings = std::max(verbose.output.size(), least) - least;
    const string output = verbose.output.substr(run.output_file ? 0 : settings);
    return verbose.status == result.status && output == result.output && verbose.errors == result.errors;
}

/// Empty, or what is wrong.
string complaint_about(const Run &run) {
    const Result result = result_of(run, false);
    if (string complaint = complaint_about(result, run, expected_of(run)); !complaint.empty()) {
        return complaint;
    }
    if (!is_same(result_of(run, true), result, run)) {
        return "verbosely it gives something else";
    }
    return fs::is_empty("tmp") ? "" : "a temporary file is left";
}

/// Keeps the files of a difference, and says what it is.
string shown_difference(unsigned number, const Run &run, const string &complaint) {
    std::ostringstream to;
    to << "run " << number << (run.complete ? " (complete)" : "") << ": " << complaint << "\n ";
    for (const string &arg : arguments_of(run, false)) {
        to << " '" << arg << "'";
    }
    to << "\n  budget " << run.sizes.budget << ", pool " << run.sizes.pool << ", buffer " << run.sizes.buffer
       << ", mapped from " << run.sizes.mapping << "\n";
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
