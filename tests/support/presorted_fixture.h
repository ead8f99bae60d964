// presorted_fixture.h: presorted inputs merged by a direct call, from the opening of the files to their closing.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kx_sort/kx_merge_multi.h"
#include "support/job_fixture.h"
#include "support/presorted_model.h"

namespace support {

using Texts = std::vector<std::string>;

constexpr std::size_t kMib = std::size_t{1} << 20;

class PresortedState : public JobState {
  protected:
    struct Merged {
        int status = -1;
        std::string out, messages, errors;
    };

    PresortedState() {
        set_output(box.path("out"));
        set_error_file(box.path("short"));
    }

    /// The files of the inputs, as the settings describe them.
    void set_files(const Texts &inputs) {
        std::vector<std::pair<std::string, std::size_t>> files;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            const std::string name = "in" + std::to_string(i);
            box.write(name, inputs[i]);
            files.emplace_back(box.path(name), inputs[i].size());
        }
        set_inputs(files);
    }

    /// Merges the files just set, with the state of a fresh run.
    Merged merge_files() {
        Merged merged;
        kx_stream_clear(outFile);
        merged.messages = steady(messages_of([&] { merged.status = kx_mergeSortMultiFile(); }));
        kx_stream_clear(errFile);
        merged.out = box.read("out");
        merged.errors = box.read("short");
        return merged;
    }
    Merged merge(const Texts &inputs, kx_i64 pool = kx_i64{1} << 22) {
        use_pool(pool);
        std::remove(box.path("short").c_str());
        set_files(inputs);
        return merge_files();
    }

    static void expect_all_closed() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            EXPECT_FALSE(argsInfo.arrInFile[i].file.open) << "input " << i;
        }
        EXPECT_FALSE(outFile.open);
    }

    /// The bytes of the error file: those of each input in reverse.
    static std::string errors_of(const Job &job, const Texts &inputs) {
        std::string all;
        for (const std::string &input : inputs_in_use(inputs)) {
            const std::string data = ended(job, input);
            if (job.format == kx_format::csv && !job.csv.keys.empty()) {
                all += csv_rejected(data, job.csv);
            } else if (job.format == kx_format::variable) {
                all += line_items(data, job.code, job.rules).rejected();
            }
        }
        return all;
    }

    /// Everything that a merge of these inputs must do. `errors` only where no input is longer than its buffer.
    void expect_merged(const Job &job, const Texts &inputs, bool errors = true) {
        configure(job);
        const Merged merged = merge(inputs);
        EXPECT_EQ(merged.status, 0);
        EXPECT_EQ(merged.messages, kReleased);
        const std::string expected = model_presorted(job, inputs);
        EXPECT_EQ(merged.out.size(), expected.size());
        EXPECT_TRUE(merged.out == expected) << "first difference at byte " << difference(merged.out, expected);
        if (errors && job.format != kx_format::fixed && !inputs_in_use(inputs).empty()) {
            EXPECT_EQ(merged.errors, errors_of(job, inputs));
        }
        expect_all_closed();
        expect_counted(job, inputs);
    }

  private:
    static std::size_t difference(const std::string &a, const std::string &b) {
        std::size_t at = 0;
        while (at < a.size() && at < b.size() && a[at] == b[at]) {
            ++at;
        }
        return at;
    }

    /// Appended newline codes count, each for the input that lacked it.
    static void expect_counted(const Job &job, const Texts &inputs) {
        kx_i64 total = 0;
        const std::size_t used = inputs_in_use(inputs).size();
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            const kx_i64 size = to_i64(i < used ? ended(job, inputs[i]).size() : inputs[i].size());
            EXPECT_EQ(argsInfo.arrInFile[i].size, size) << "input " << i;
            total += size;
        }
        EXPECT_EQ(argsInfo.totalFileSize, total);
    }
};

} // namespace support
