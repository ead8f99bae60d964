// orkan.cpp: the order of a run's phases.
//
//   banner -> options -> settings -> memory pool -> exactly one path -> statistics -> cleanup
//
//   path               when                                             output written by
//   presorted merge    -M                                               kx_mergeSortMultiFile
//   in memory          inputs named and everything fits the budget      kx_qsortInMemory, kx_msortInMemory
//   split and merge    inputs named otherwise, or memory was refused    kx_mergeSortFile and its siblings
//   standard input     no inputs named                                  kx_stdin
//
// In complete mode the last one also takes named inputs with a pipe among them, and -M without inputs.
//
// Whoever detects a failure prints its message; here every failure becomes the status 1.
#include "orkan/orkan.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "kx_getopt/kx_getopt.h"
#include "kx_io/kx_load.h"
#include "kx_io/kx_stdin.h"
#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_paras/kx_help.h"
#include "kx_paras/kx_paras.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_inmemory.h"
#include "kx_sort/kx_merge_multi.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_progress.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

// --- banner, options, settings -----------------------------------------------------------------------------------

/// The start header of a run that is verbose before its options are read: an earlier run of the process was.
int announce_verbose_start() {
    constexpr std::size_t kBufferSize = 16384;
    if (kx_fault(kx_site::setvbuf) || std::setvbuf(stderr, nullptr, _IONBF, 0) != 0 ||
        std::setvbuf(stderr, nullptr, _IOFBF, kBufferSize) != 0) {
        return kx_fail(msg::kStandardErrorBuffer);
    }
    kx_print(stdout, msg::kBlankAndRule);
    std::fflush(stdout);
    kx_print(stdout, msg::kSortStarted, kx_GetTimeInfo());
    kx_print(stdout, msg::kRule);
    startFirst = kx_clock();
    return 0;
}

void say_help() {
    std::fputs(kx_GetHelp(), stderr);
    std::fflush(stderr);
}

void trace_settings() {
    if (VERBOSE != 0) {
        printArgsInfo(&argsInfo);
    }
}

int read_arguments(int argc, char **argv) {
    kx_trace(msg::kLoadingStarted);
    trace_settings();
    if (kx_GetParametersInfo(&argsInfo, argc, argv) != 0) {
        kx_say(msg::kSyntaxError);
        say_help();
        return 1;
    }
    trace_settings();
    kx_trace(msg::kLoadingCompleted);
    kx_trace(msg::kCheckingStarted);
    if (kx_DealParametersInfo(&argsInfo) != 0) {
        return kx_fail(msg::kArgumentError);
    }
    trace_settings();
    kx_trace(msg::kCheckingCompleted);
    kx_trace(msg::kArgumentsCompleted);
    return 0;
}

// --- paths -------------------------------------------------------------------------------------------------------

int merge_presorted_inputs() {
    kx_trace(msg::kMergeInputsStarted);
    kx_progress_begin(orkan_progress_merging, 1, 1, argsInfo.totalFileSize, kx_progress_counts::reads);
    if (kx_mergeSortMultiFile() != 0) {
        return kx_fail(msg::kMergeInputsFailed);
    }
    kx_trace(msg::kMergeInputsCompleted);
    return 0;
}

/// Or, in complete mode, named inputs with a pipe among them.
int sort_standard_input() {
    kx_trace(msg::kStandardInputStarted);
    if (kx_stdin() != 0) {
        return argsInfo.inFileNums > 0 ? 1 : kx_fail(msg::kStandardInputFailed);
    }
    kx_trace(msg::kStandardInputCompleted);
    return 0;
}

/// Where memory for the data is refused: the inputs are split-sorted within the default budget.
int sort_for_want_of_memory() {
    argsInfo.totalMemSize = kx_budget_bytes(kDefaultPoolSize); // the pool stays as it is
    kx_say(msg::kUseTemporaryFiles);
    kx_say(msg::kUseDefaultMemory, kib_round_up(argsInfo.totalMemSize));
    argsInfo.bMemory = 0;
    return kx_sort_through_temporary_file();
}

/// Into the room at `buf`; where they can be had without a copy that is given back, and `buf` is where they are.
int load_inputs(char *&buf) {
    start = kx_clock();
    kx_progress_begin(orkan_progress_reading, 1, 3, argsInfo.totalFileSize, kx_progress_counts::reads);
    char *mapped = nullptr;
    if (kx_map_input(mapped) != 0) {
        return 1;
    }
    if (mapped != nullptr) {
        kx_qfree(memPool, buf);
        buf = mapped;
    } else if (kx_inputFile(buf) != 0) {
        return 1;
    }
    finish = kx_clock();
    kx_trace(msg::kInputsRead, elapsed_ms(start, finish));
    return 0;
}

int sort_in_memory() {
    kx_trace(msg::kInMemoryStarted);
    auto *buf = static_cast<char *>(kx_qmalloc(memPool, kx_load_room()));
    if (buf == nullptr) {
        kx_say(msg::kNoMemory, argsInfo.totalFileSize / 1024);
        return sort_for_want_of_memory();
    }
    const auto sort = argsInfo.bStabilize == 1 ? kx_msortInMemory : kx_qsortInMemory;
    if (load_inputs(buf) != 0 || sort(buf, argsInfo.totalFileSize) != 0) {
        return 1;
    }
    kx_trace(msg::kInMemoryCompleted);
    return 0;
}

int create_block_list() {
    dataInfo.list = __kx_list_create();
    return dataInfo.list != nullptr ? 0 : kx_fail(msg::kNoMemory, kib_round_up(to_i64(sizeof(kx_list))));
}

int sort_by_configured_path() {
    const bool nothing_named = argsInfo.inFileNums == 0;
    if (argsInfo.bMerge == 1 && !(nothing_named && keeps_every_record())) { // Kept: without inputs nothing is merged.
        return merge_presorted_inputs();
    }
    if (nothing_named || argsInfo.pipeNums > 0) {
        return sort_standard_input();
    }
    return argsInfo.bMemory == 1 ? sort_in_memory() : kx_sort_through_temporary_file();
}

int sort() {
    kx_trace(msg::kPoolStarted);
    const kx_pool_result pool = kx_setup_pool(kx_calculate_memsize());
    if (pool == kx_pool_result::failed) {
        return 1;
    }
    if (pool == kx_pool_result::minimum_only && !keeps_every_record()) {
        // By design this goes for -M and standard input too; without inputs nothing is merged.
        return create_block_list() != 0 ? 1 : kx_sort_through_temporary_file();
    }
    if (argsInfo.totalFileSize >= kWorthHugePages) {
        kx_prefer_huge_pages(memPool, argsInfo.totalMemSize);
    }
    kx_trace(msg::kPoolSize, kib_round_up(argsInfo.totalMemSize));
    kx_memInfo_print(memPool);
    kx_trace(msg::kPoolCompleted);
    return create_block_list() != 0 ? 1 : sort_by_configured_path();
}

// --- exits -------------------------------------------------------------------------------------------------------

int finish_run() {
    if (!kx_stream_close(errFile)) { // not cleared: the cleanup meets it again
        return kx_fail(msg::kWriteErrorFile, argsInfo.errFile.path);
    }
    if (VERBOSE != 0) {
        kx_print_statistics();
        kx_print_closing_lines();
    }
    return 0;
}

int failure_exit() {
    kx_say(msg::kSortFailed);
    kx_CleanupGlobalVars();
    return 1;
}

int success_exit() {
    kx_CleanupGlobalVars();
    kx_say(msg::kEndBanner);
    return 0;
}

int run(int argc, char **argv) {
    kx_getopt_reset();
    kx_read_complete_mode();
    kx_say(msg::kStartBanner);
    if (VERBOSE != 0 && announce_verbose_start() != 0) {
        return 1;
    }
    processId = getpid();
    kx_trace(msg::kArgumentsStarted);
    if (argc >= 2 && std::strcmp(argv[1], "--help") == 0) {
        say_help();
        return 1;
    }
    const bool sorted = read_arguments(argc, argv) == 0 && sort() == 0 && finish_run() == 0;
    return sorted ? success_exit() : failure_exit();
}

} // namespace

} // namespace orkan

int orkan_file(int argc, char **argv) { return orkan::run(argc, argv); }
