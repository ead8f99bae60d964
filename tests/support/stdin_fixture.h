// stdin_fixture.h: standard input sorted with a budget of a few hundred bytes, in a child process.
#pragma once

#include <functional>
#include <string>

#include "kx_io/kx_stdin.h"
#include "support/feeder.h"
#include "support/job_fixture.h"

namespace support {

class StdinState : public JobState {
  public:
    ~StdinState() override {
        std::free(argsInfo.tmpFile.dir);
        argsInfo.tmpFile.dir = nullptr;
    }
    StdinState(const StdinState &) = delete;
    StdinState &operator=(const StdinState &) = delete;

  protected:
    static constexpr const char *kTemporary = "tmp/blocks";

    StdinState() {
        set_temporary_folder(box.path("tmp/"));
        set_temporary_path(box.path(kTemporary));
    }

    static void set_temporary_folder(const std::string &folder) {
        std::free(argsInfo.tmpFile.dir);
        argsInfo.tmpFile.dir = kx_copy_text(folder.c_str());
    }
    static void set_temporary_path(const std::string &path) {
        std::free(argsInfo.tmpFile.path);
        argsInfo.tmpFile.path = kx_copy_text(path.c_str());
    }

    /// Sets the job and so many bytes above the reserve; the capacity of a chunk.
    std::size_t prepare(const Job &job, kx_i64 above) {
        configure(job);
        argsInfo.totalMemSize = BASIC_SIZE + above;
        const auto bytes = static_cast<std::size_t>(above);
        switch (job.format) {
        case kx_format::fixed: return job.length * (bytes / (job.length + (is_stable(job) ? 16 : 8)));
        case kx_format::csv: return job.csv.keys.empty() ? bytes / 4 : bytes / 2;
        default: return bytes / 4 * 3;
        }
    }

    struct Sorted {
        Outcome outcome;
        int status;
        int blocks;
    };

    static constexpr int kBlocksShift = 8;

    /// Runs it in a child whose standard input is the data.
    static Sorted sort(const std::string &data, Call surroundings = {}) {
        surroundings.input = data;
        const Outcome o = in_child(
            [] {
                const int status = kx_stdin();
                kx_stream_close(errFile);
                return status | static_cast<int>(dataInfo.cnt) << kBlocksShift;
            },
            surroundings);
        const bool returned = o.ending == Ending::returned;
        return {o, returned ? o.status & ((1 << kBlocksShift) - 1) : o.status, returned ? o.status >> kBlocksShift : 0};
    }
    static Sorted sort_in_pieces(const std::string &data, std::size_t piece, unsigned pause = 0) {
        return sort("", {.before = [&] { feed_in_pieces(data, piece, pause); }});
    }

    /// The records of the data came out in order, through the temporary file or not.
    void expect_sorted(const Sorted &sorted, const Job &job, const std::string &data, bool through_file) {
        EXPECT_EQ(sorted.outcome.ending, Ending::returned);
        EXPECT_EQ(sorted.status, 0);
        EXPECT_EQ(steady(sorted.outcome), through_file ? kReleased : "");
        EXPECT_TRUE(is_sorted_output(sorted.outcome.out, items_of(job, ended(job, data)), order_of(job)))
            << "of " << data << " came " << sorted.outcome.out;
        EXPECT_EQ(box.files(), "tmp/");
    }
};

} // namespace support
