// kx_split_and_merge.cpp: the external path: every input in sorted blocks to the one temporary file, then its blocks
// merged into the output.
#include "kx_io/kx_header.h"
#include "kx_io/kx_temporary_file.h"
#include "kx_io/kx_writers.h"
#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_formats.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_progress.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

enum class phase { split, merge };

/// In the merge phase a blank line goes before the message.
int delete_temporary_file(phase now) {
    kx_stream_close(tmpFile); // not cleared: the cleanup meets it again
    if (kx_temporary_file_remove(argsInfo.tmpFile.path)) {
        return 0;
    }
    if (now == phase::merge) {
        kx_say(msg::kBlankLine);
    }
    return kx_fail(msg::kDeleteTemporaryFile, argsInfo.tmpFile.path);
}

// --- split phase -------------------------------------------------------------------------------------------------

int create_temporary_file() {
    if (kx_create_temporary_file() != 0) {
        return 1;
    }
    return kx_stream_set_buffer(tmpFile, kOutputBufferSize) ? 0 : kx_fail(msg::kTemporaryFileBuffer);
}

int skip_header(const FileInfo &file, kx_i64 &length) {
    return keeps_every_record() ? kx_take_header(inFile, length) : kx_skip_csv_header(inFile, file, length);
}

int split_sort(const FileInfo &file) {
    kx_i64 header_length = 0;
    const bool has_header = kx_record_format() == kx_format::csv && argsInfo.bHeader != 0;
    if (has_header && skip_header(file, header_length) != 0) {
        return 1;
    }
    if (kx_split_input(inFile, tmpFile, file.size - header_length) != 0) {
        return kx_fail(msg::kSplitSortFailed);
    }
    if (kx_stream_position(inFile) < file.size) { // it has become shorter since it was measured
        kx_say(msg::kReadSplitInput);
        return kx_fail(msg::kSplitSortFailed);
    }
    return 0;
}

int split_input(const FileInfo &file) {
    if (!kx_stream_open_read(inFile, file.path)) {
        return kx_fail(msg::kOpenInputFile, file.path);
    }
    dataOrigin = {&file, 1, 0};
    const int status = kx_stream_set_buffer(inFile, 0) ? split_sort(file) : kx_fail(msg::kInputBuffer);
    kx_stream_clear(inFile);
    return status;
}

int split_inputs() {
    for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
        if (split_input(argsInfo.arrInFile[i]) != 0) {
            return 1;
        }
    }
    return kx_stream_close(tmpFile) ? 0 : kx_fail(msg::kWriteTemporaryFile);
}

int split_phase() {
    kx_trace(msg::kSplitStarted, kx_GetTimeInfo());
    start = kx_clock();
    kx_progress_begin(orkan_progress_splitting, 1, 2, argsInfo.totalFileSize, kx_progress_counts::both);
    if (create_temporary_file() != 0) {
        return 1;
    }
    if (split_inputs() != 0) {
        delete_temporary_file(phase::split);
        return 1;
    }
    finish = kx_clock();
    kx_trace(msg::kSplitBlocks, dataInfo.cnt);
    kx_trace(msg::kSplitTook, elapsed_ms(start, finish));
    kx_trace(msg::kSplitCompleted, kx_GetTimeInfo());
    return 0;
}

// --- merge phase -------------------------------------------------------------------------------------------------

/// Kept: without blocks only the fixed-length merge is called.
int merge_blocks() {
    const kx_format format = kx_record_format();
    if (format == kx_format::csv && !kx_write_csv_header(outFile)) {
        return kx_output_failed();
    }
    return format == kx_format::fixed || dataInfo.cnt > 0 ? kx_merge_all_blocks(tmpFile, outFile) : 0;
}

int merge_to_output() {
    if (kx_open_output(msg::kCreateOutputFile) != 0) {
        return 1;
    }
    if (merge_blocks() != 0) {
        kx_say(msg::kMergeBlocksFailed);
        kx_stream_clear(outFile);
        return 1;
    }
    return kx_close_output();
}

int merge_phase() {
    kx_trace(msg::kMergeStarted, kx_GetTimeInfo());
    start = kx_clock();
    kx_progress_begin_merge();
    if (!kx_temporary_file_reopen(tmpFile, argsInfo.tmpFile.path)) {
        return kx_fail(msg::kOpenTemporaryFile, argsInfo.tmpFile.path);
    }
    const int merged = merge_to_output();
    const int deleted = delete_temporary_file(phase::merge);
    if (merged != 0 || deleted != 0) {
        return 1;
    }
    finish = kx_clock();
    kx_trace(msg::kMergeTook, elapsed_ms(start, finish));
    kx_trace(msg::kMergeCompleted, kx_GetTimeInfo());
    return 0;
}

} // namespace

int kx_sort_through_temporary_file() { return split_phase() != 0 ? 1 : merge_phase(); }

} // namespace orkan
