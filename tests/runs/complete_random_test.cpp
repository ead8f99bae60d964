// complete_random_test.cpp: what complete mode guarantees, over random tasks: every record once in the output or the
// error file, in the order of an independent sort, and the same along every path.
#include <algorithm>

#include "support/complete_runs.h"
#include "support/dice.h"

namespace {

using namespace support;
using std::string;

/// Tasks full of what the other mode loses: blank numbers, empty and missing columns, inputs without a newline code.
class Tasks : public Dice {
  public:
    using Dice::Dice;

    CompleteTask task(kx_format format) {
        CompleteTask task{.job = job(format), .header = format == kx_format::csv && flip(), .inputs = {}};
        most_ = below(6) == 0 ? 600 : 60;
        for (std::size_t n = 1 + below(4); n > 0; --n) {
            task.inputs.push_back(input(task));
        }
        if (below(12) == 0) {
            task.inputs[below(task.inputs.size())] += broken(task.job);
        }
        return task;
    }

    /// A few hundred bytes, or enough for the fast order of many records.
    kx_i64 budget() { return below(3) == 0 ? 80000 : 150 + to_i64(below(400)); }

  private:
    std::size_t most_ = 0; ///< records of an input

    static string broken(const Job &job) { return job.format == kx_format::fixed ? "x" : "5\" pipe" + job.code; }

    Job job(kx_format format) {
        Job job{.format = format, .length = 1 + below(12), .code = kCodes[below(3)], .rules = {}, .csv = {}};
        job.csv.shape = {.newline = job.code, .delimiter = flip() ? "," : "::", .quote = '"'};
        job.rules.descending = job.csv.descending = flip();
        job.csv.empty_last = flip();
        const std::size_t longest = format == kx_format::fixed ? job.length : 8;
        for (std::size_t n = below(4); n > 0; --n) {
            const std::size_t position = below(longest);
            job.rules.keys.push_back({position, below(longest - position + 1), flip(), flip()});
            job.csv.keys.push_back({static_cast<int>(1 + below(3)), flip(), flip()}); // two may share a column
        }
        make_stable(job, flip());
        make_unique(job, flip());
        return job;
    }

    string input(const CompleteTask &task) {
        string data = task.header && below(5) > 0 ? "head,\"er" + string(below(3), 'x') + task.job.code : "";
        for (std::size_t n = below(3) == 0 ? below(3) : below(most_); n > 0; --n) {
            data += record(task.job);
        }
        const bool cut = task.job.format != kx_format::fixed && flip() && ends_plainly(data, task.job.code);
        return cut ? data.substr(0, data.size() - task.job.code.size()) : data;
    }
    /// Without its newline code it would get another one back.
    static bool ends_plainly(const string &data, const string &code) {
        return data.size() > 2 * code.size() && isalnum(data[data.size() - code.size() - 1]) != 0;
    }

    string record(const Job &job) {
        switch (job.format) {
        case kx_format::fixed: return number_text(job.length);
        case kx_format::csv: return csv_record(job);
        default: return number_text(below(20)) + job.code;
        }
    }
    string number_text(std::size_t length) {
        static const string alphabets[] = {" 01", "  -+012", "ab", string("\x01\x7f\x80\xff\x00", 5), "="};
        const string &letters = alphabets[below(5)];
        string text(length, ' ');
        for (char &c : text) {
            c = letters[below(letters.size())];
        }
        return text;
    }
    string csv_record(const Job &job) {
        string record = field(job);
        for (std::size_t n = below(8) == 0 ? 0 : below(4); n > 0; --n) {
            record += job.csv.shape.delimiter + field(job);
        }
        return record + job.code;
    }
    string field(const Job &job) {
        static const string numbers[] = {"0", "00", "-0", " ", "+", "-1", "  7", "10", "100", "1 2", "9"};
        switch (below(7)) {
        case 0: return "";
        case 1: return "\"" + number_text(below(4)) + (flip() ? job.code : job.csv.shape.delimiter) + "\"";
        case 2: return "\"a\"\"b\"" + string(below(2), 'c');
        case 3: return string(below(12), 'a') + string(below(3), 'b');
        default: return numbers[below(11)];
        }
    }
};

class Complete : public CompleteRuns, public testing::WithParamInterface<int> {
  protected:
    void check(const CompleteTask &task, const CompleteResult &expected, Path path, bool verbose) {
        const Result got = run(path, task, budget_, verbose);
        SCOPED_TRACE(name_of(path) + "\n" + got.messages);
        EXPECT_EQ(got.status, expected.broken ? 1 : 0);
        if (got.status != 0 || expected.broken) {
            return;
        }
        EXPECT_EQ(got.out.substr(0, expected.header.size()), expected.header);
        EXPECT_TRUE(is_sorted_output(got.out.substr(std::min(expected.header.size(), got.out.size())), expected.items,
                                     {.stable = is_stable(task.job), .unique = is_unique(task.job)}));
        EXPECT_TRUE(got.errors == expected.rejected) << "not the records rejected";
    }

    void check_everywhere(const CompleteTask &task, bool verbose) {
        const CompleteResult expected = complete_sort(task);
        for (const Path path : kUnsortedPaths) {
            if (path != Path::standard_input) {
                check(task, expected, path, verbose);
            }
        }
        for (const string &input : task.inputs) {
            const CompleteTask one{task.job, task.header, {input}};
            check(one, complete_sort(one), Path::standard_input, verbose);
        }
        const CompleteTask sorted{task.job, task.header, expected.broken ? task.inputs : presorted_inputs(task)};
        const CompleteResult merged = complete_sort(sorted);
        EXPECT_EQ(merged.broken, expected.broken);
        EXPECT_TRUE(expected.broken || merged.output() == expected.output()) << "the model disagrees with itself";
        for (const Path path : kPresortedPaths) {
            check(sorted, merged, path, verbose);
        }
    }

    void check_format(kx_format format) {
        Tasks tasks(static_cast<unsigned>(GetParam() * 3) + static_cast<unsigned>(format));
        for (int i = 0; i < 12 && !HasFailure(); ++i) {
            const CompleteTask task = tasks.task(format);
            budget_ = tasks.budget();
            string options;
            for (const string &option : options_of(task.job)) {
                options += option + " ";
            }
            SCOPED_TRACE("task " + std::to_string(i) + ": " + options + (task.header ? "-H" : "") + " within " +
                         std::to_string(budget_));
            check_everywhere(task, i % 4 == 3);
        }
    }

    kx_i64 budget_ = 0;
};

TEST_P(Complete, FixedLengthRecords) { check_format(kx_format::fixed); }
TEST_P(Complete, Lines) { check_format(kx_format::variable); }
TEST_P(Complete, Csv) { check_format(kx_format::csv); }

INSTANTIATE_TEST_SUITE_P(Seeds, Complete, testing::Range(1, 7));

} // namespace
