// fuzz_state.h: the state of a run, fresh for each input, and files that live in memory.
#pragma once

#include <sys/mman.h>

#include "fuzz_input.h"
#include "support/job_fixture.h"

namespace fuzz {

using namespace orkan;

/// An unnamed file, to be made when the state has begun: one that the last input had is used again, as new ones are
/// slow.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string &bytes = "") : fd_(unused()) {
        check(ftruncate(fd_, 0) == 0, "an empty file");
        check(pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()), "a file in memory");
    }
    ~MemoryFile() { spare.push_back(fd_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    /// Gives the handle this file, from its first byte on.
    void open(kx_stream &stream) const {
        kx_stream_clear(stream);
        lseek(fd_, 0, SEEK_SET);
        check(kx_stream_adopt(stream, fcntl(fd_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), "a handle");
    }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
    [[nodiscard]] std::string bytes() const {
        std::string all(static_cast<std::size_t>(lseek(fd_, 0, SEEK_END)), '\0');
        check(pread(fd_, all.data(), all.size(), 0) == static_cast<ssize_t>(all.size()), "reading it");
        return all;
    }

  private:
    static int unused() {
        if (spare.empty()) {
            return memfd_create("fuzz", MFD_CLOEXEC);
        }
        const int fd = spare.back();
        spare.pop_back();
        return fd;
    }

    static inline std::vector<int> spare;
    int fd_;
};

class FuzzState : public support::JobState {
  public:
    void TestBody() override {}

    /// Of the output buffers: an output of a few records fills them, and to make them is cheap.
    static constexpr kx_i64 kSmallBuffer = 1000;

    enum class Memory {
        pool,  ///< what fits comes from the pool
        system ///< every block is the system's own: the address sanitizer knows its bounds
    };

    /// The state in which a run with the options of this job begins.
    void begin(const support::Job &job, Memory memory) {
        check(kx_pool_check(memPool) == nullptr, "the pool is consistent");
        kx_CleanupGlobalVars();
        use_pool(memory == Memory::pool ? 65536 : 1024, false);
        for (kx_i64 size = memory == Memory::pool ? 0 : 1024; size >= 8; size /= 2) {
            while (kx_malloc(memPool, size) != nullptr) {
            }
        }
        memPool->autoExtend = 1;
        kx_small.buffer = kSmallBuffer;
        configure(job);
    }

    /// The next index begins with room for that many records, so that a few bytes make it grow.
    static void expect(kx_i64 records) { kx_small.locators = records; }

    using JobState::set_inputs;
    using JobState::set_output;

    /// The bytes of records that were refused go to this file.
    static void keep_errors(const MemoryFile &file) {
        set_error_file(file.path());
        file.open(errFile);
    }
};

/// The one state: making it is slow, beginning anew is not.
inline FuzzState &state() {
    static FuzzState all;
    return all;
}

} // namespace fuzz
