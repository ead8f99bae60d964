// csv_files_test.cpp: files from public collections, many of them broken on purpose, under many options.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "support/csv_runs.h"
#include "support/run.h"

namespace {

namespace fs = std::filesystem;
using std::string;
using namespace support;

using Args = std::vector<string>;

/// The folder of all collections: above the one named by ORKAN_SHARED_DATA, or else next to the project.
fs::path collections() {
    const char *real = std::getenv("ORKAN_SHARED_DATA");
    const fs::path project = fs::path(__FILE__).parent_path().parent_path().parent_path();
    return real != nullptr ? fs::path(real).parent_path() : project.parent_path() / "shared/data/csv";
}

std::vector<fs::path> all_files() {
    std::vector<fs::path> files;
    std::error_code none;
    for (fs::recursive_directory_iterator it(collections(), none), end; !none && it != end; it.increment(none)) {
        if (it->is_regular_file()) {
            files.push_back(it->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

string bytes_of(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Options {
    const char *name;
    CsvRules rules;
    bool header = false;
};
void PrintTo(const Options &options, std::ostream *to) { *to << options.name; }

/// One file under one set of options.
struct Job {
    fs::path file;
    bool split;
    string rows;    ///< what is sorted
    string header;  ///< what stays in front
    bool no_header; ///< a header line is wanted, and there is none
    string out;     ///< the name of the output
    Call call;
};

/// Takes the header line off, on the split path with all that is read while it is searched.
void take_header(Job &job, const Options &options) {
    const string &code = options.rules.shape.newline;
    const std::size_t at = job.rows.find(code);
    job.no_header = at == string::npos || at + code.size() > 1048576;
    if (!job.no_header) {
        const std::size_t end = at + code.size();
        const std::size_t gone = job.split ? std::min((end + 1023) / 1024 * 1024, job.rows.size()) : end;
        job.header = job.rows.substr(0, end);
        job.rows.erase(0, gone);
    }
}

Job job_of(const fs::path &file, const Options &options, bool split, std::size_t number) {
    Job job{
        .file = file, .split = split, .rows = bytes_of(file), .header = {}, .no_header = false, .out = {}, .call = {}};
    job.out = "out" + std::to_string(number);
    job.call.args = options_of(options.rules);
    job.call.args.insert(job.call.args.end(), {"-O", job.out});
    if (split) {
        job.call.args.emplace_back("-W1");
    }
    if (options.header) {
        job.call.args.emplace_back("-H");
        take_header(job, options);
    }
    job.call.args.push_back(file.string());
    if (!split || !job.rows.empty()) {
        job.rows = csv_ended(job.rows, options.rules.shape);
    }
    return job;
}

bool same_records(const string &output, const std::vector<Item> &items, const CsvShape &shape) {
    std::multiset<string> wanted, found;
    for (const Item &item : items) {
        wanted.insert(item.bytes);
    }
    const std::vector<CsvRecord> records = csv_records(output, shape);
    for (const CsvRecord &record : records) {
        found.insert(record.bytes);
    }
    return wanted == found && csv_size(records) == output.size();
}

/// On the split path a number may be read on into other bytes, and whole records go by another order there.
bool order_is_known(const Job &job, const CsvRules &rules) {
    const auto numeric = [](const CsvKey &key) { return key.numeric; };
    return !job.split || (!rules.keys.empty() && std::none_of(rules.keys.begin(), rules.keys.end(), numeric));
}

void check(const Job &job, const Outcome &outcome, const Box &box, const CsvRules &rules) {
    SCOPED_TRACE(job.file.string() + (job.split ? " through the temporary file" : " in memory"));
    EXPECT_EQ(outcome.status, job.no_header ? 1 : 0) << outcome.err;
    if (job.no_header) {
        return;
    }
    const std::vector<Item> items = csv_items(job.rows, rules);
    const string output = box.read(job.out);
    const bool headless = rules.unique && items.empty() && !job.split;
    const string header = headless ? "" : job.header;
    ASSERT_EQ(output.substr(0, header.size()), header);
    const string rows = output.substr(header.size());
    if (order_is_known(job, rules)) {
        EXPECT_TRUE(is_sorted_output(rows, items, rules.order()));
    } else if (!rules.unique) {
        EXPECT_TRUE(same_records(rows, items, rules.shape));
    }
}

class CsvFiles : public testing::TestWithParam<Options> {};

TEST_P(CsvFiles, GoThroughBothPaths) {
    const std::vector<fs::path> files = all_files();
    if (files.empty()) {
        GTEST_SKIP() << "there are no files in " << collections() << " (set ORKAN_SHARED_DATA to its folder real)";
    }
    EXPECT_GT(files.size(), 400U);
    const Options &options = GetParam();
    for (std::size_t first = 0; first < files.size(); first += 30) {
        const Box box;
        std::vector<Job> jobs;
        std::vector<Call> calls;
        for (std::size_t i = first; i < std::min(first + 30, files.size()); ++i) {
            for (const bool split : {false, true}) {
                jobs.push_back(job_of(files[i], options, split, jobs.size()));
                calls.push_back(jobs.back().call);
            }
        }
        const std::vector<Outcome> runs = box.run_all(calls);
        ASSERT_EQ(runs.size(), jobs.size()) << jobs[std::min(runs.size(), jobs.size() - 1)].file;
        for (std::size_t i = 0; i < runs.size(); ++i) {
            check(jobs[i], runs[i], box, options.rules);
        }
    }
}

const CsvShape kSemicolons{.newline = "\n", .delimiter = ";"}, kCrLf{.newline = "\r\n", .delimiter = ","};

INSTANTIATE_TEST_SUITE_P(
    Sets, CsvFiles,
    testing::Values(
        Options{"whole_descending", {.descending = true, .empty_last = true, .stable = true}},
        Options{"whole_unique", {.unique = true}}, Options{"first", {.keys = {{.column = 1}}, .stable = true}},
        Options{"first_unique", {.keys = {{.column = 1}}, .unique = true}, true},
        Options{"header", {.keys = {{.column = 2, .descending = true}, {.column = 1}}, .empty_last = true}, true},
        Options{"numbers",
                {.keys = {{.column = 1, .numeric = true}, {.column = 2, .numeric = true, .descending = true}}}},
        Options{"semicolons", {.shape = kSemicolons, .keys = {{.column = 2}}, .stable = true}},
        Options{"cr_lf", {.shape = kCrLf, .keys = {{.column = 1, .descending = true}}}, true},
        Options{"pipes", {.shape = {.newline = "\n", .delimiter = "||"}, .keys = {{.column = 1}}}}),
    [](const auto &options) { return options.param.name; });

} // namespace
