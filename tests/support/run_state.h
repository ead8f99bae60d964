// run_state.h: the process-wide state of a run, for tests that call parts of the system directly.
//
// Each test starts from a clean state with a pool and English messages. Whatever a test leaves in the state goes the
// way a run's state goes, through kx_CleanupGlobalVars.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"
#include "support/run.h"

namespace support {

using namespace orkan;

/// A sort key over bytes.
inline KeyInfo key(std::int32_t position, std::int32_t length, std::int32_t type = kTypeAscii,
                   std::int32_t sequence = kSeqAsc) {
    return {nullptr, position, length, type, sequence};
}

class RunState : public testing::Test {
  public:
    ~RunState() override {
        kx_fault_hook = nullptr;
        EXPECT_EQ(memPool == nullptr ? nullptr : kx_pool_check(memPool), nullptr);
        kx_CleanupGlobalVars();
        VERBOSE = 0;
        setenv("LANG", "C", 1);
    }
    RunState(const RunState &) = delete;
    RunState &operator=(const RunState &) = delete;

  protected:
    RunState() {
        kx_CleanupGlobalVars();
        VERBOSE = 0;
        kx_reset_counters();
        setenv("LANG", "C", 1);
        use_pool(kx_i64{1} << 22);
    }

    /// A pool of that size in place of the one there is; with `may_grow` it goes to the system when exhausted.
    static void use_pool(kx_i64 bytes, bool may_grow = true) {
        kx_mem_pool_free(memPool);
        memPool = kx_mem_pool_create(bytes, may_grow ? 1 : 0);
        ASSERT_NE(memPool, nullptr);
    }

    static void speak_japanese() { setenv("LANG", kJapanese, 1); }

    static void set_separator(const char *code) {
        argsInfo.sep = code;
        argsInfo.sep_len = to_i64(std::string(code).size());
    }

    static void set_fixed(kx_i64 record_length) {
        argsInfo.bFixVar = kFix;
        argsInfo.recLen = record_length;
    }
    static void set_lines(const char *code = "\n") {
        argsInfo.bFixVar = kVariable;
        set_separator(code);
    }
    static void set_csv(const char *code = "\n") {
        set_lines(code);
        argsInfo.bCsv = 1;
    }

    static void set_keys(const std::vector<KeyInfo> &keys) {
        std::free(argsInfo.arrSortKey);
        argsInfo.arrSortKey =
            keys.empty() ? nullptr : static_cast<KeyInfo *>(std::calloc(keys.size(), sizeof(KeyInfo)));
        std::copy(keys.begin(), keys.end(), argsInfo.arrSortKey);
        argsInfo.keyNums = to_i64(keys.size());
    }

    /// The run's inputs, with the sizes that they are to have been found with.
    static void set_inputs(const std::vector<std::pair<std::string, std::size_t>> &files) {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            std::free(argsInfo.arrInFile[i].path);
        }
        std::free(argsInfo.arrInFile);
        argsInfo.arrInFile = static_cast<FileInfo *>(std::calloc(files.size() + 1, sizeof(FileInfo)));
        argsInfo.inFileNums = to_i64(files.size());
        argsInfo.totalFileSize = 0;
        for (std::size_t i = 0; i < files.size(); ++i) {
            argsInfo.arrInFile[i].path = kx_copy_text(files[i].first.c_str());
            argsInfo.arrInFile[i].size = to_i64(files[i].second);
            argsInfo.totalFileSize += to_i64(files[i].second);
        }
    }

    static void set_output(const std::string &path) {
        std::free(argsInfo.outFile.path);
        argsInfo.outFile.path = kx_copy_text(path.c_str());
    }
};

} // namespace support
