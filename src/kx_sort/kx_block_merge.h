// kx_block_merge.h: the merge of the temporary file's blocks.
//
//   temporary file   | block 0 ........ | block 1 ........ | block 2 ... |
//                      |buf 0|            |buf 1|            |buf 2|       a window of each block in memory
//                        ^ head             ^ head             ^ head
//
// What a format answers besides kx_merge_loop.h (all sizes in bytes):
//
//   staging_size()         at how much the staging buffer of unique output counts as full
//   trace_budget()         verbose lines before the budget is divided
//   block_share(blocks)    what each block's buffer may take of the budget
//   longest_record()       the longest record, as the too-small rule sees it
//   trace_buffer(i, size)  verbose line for the buffer of block i
//   stored_size(run)       what the current record takes in the buffer with all in front of it, as far as the bytes
//                          held tell; 0 when it cannot be a record
//   needs_refill(run)      by the format's rule the next record is not complete in the buffer
#pragma once

#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_merge_loop.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

/// Bytes of each block's buffer, by the share and the too-small rule; into dataInfo.bufSize.
kx_i64 kx_choose_block_buffer(kx_i64 share, kx_i64 longest);

/// The descriptor of block i of dataInfo.
inline UnitDataInfo &kx_block(kx_i64 i) { return *static_cast<UnitDataInfo *>(kx_list_get(dataInfo.list, i)); }

/// So much of the chosen buffer is used, in bytes: what is read into a window stays in the cache until it is merged.
/// Enough for a file system to read ahead in.
inline constexpr kx_i64 kWindow = kx_i64{512} << 10;

/// Bytes of each block's window: the chosen buffer or less of it, but room for the longest record; all of it in a
/// verbose run, which tells of it.
inline kx_i64 kx_window(kx_i64 buffer_size, kx_i64 longest) {
    return VERBOSE != 0 ? buffer_size : std::min(buffer_size, std::max(kx_buffer_bytes(kWindow), longest));
}

/// Gives block i its buffer. 0, or 1 with a message.
int kx_open_block(kx_i64 i, kx_i64 buffer_size);

/// Gives block i its number and first fill. 0, or 1 with a message.
int kx_fill_block(kx_i64 i, kx_stream &tmp);

/// Moves the unread bytes to the front of the run's buffer and reads on behind them. 0, or 1 with a message.
int kx_refill_block(UnitDataInfo &run, kx_stream &tmp);

/// Enlarges the buffer of a run whose current record, `wanted` bytes with all in front of it, does not fit, and reads
/// on. 0, or 1 with a message, also when the block has no so many bytes left: then it is no record.
int kx_enlarge_block(UnitDataInfo &run, kx_i64 wanted, kx_stream &tmp);

/// The run's current record, at the begin of its buffer, is held whole. 0, or 1 with a message when it cannot be.
template <class Format> int kx_hold_current(const Format &format, UnitDataInfo &run, kx_stream &tmp) {
    for (kx_i64 wanted = 0; (wanted = format.stored_size(run)) > run.bufSize;) {
        if (kx_enlarge_block(run, wanted, tmp) != 0) {
            return 1;
        }
    }
    return format.stored_size(run) > 0 ? 0 : kx_fail(msg::kReadTemporaryFile);
}

/// The windows of all blocks outgrow the cache: what comes next in them is asked of the memory system.
inline constexpr kx_i64 kBytesAhead = 512;

/// next(run) of every block format.
template <class Format> kx_next kx_next_in_block(const Format &format, UnitDataInfo &run, kx_stream &tmp) {
    run.bufOffset += format.stored_size(run);
    ++run.currRec;
    __builtin_prefetch(run.buf + run.bufOffset + kBytesAhead);
    if (run.currRec >= run.totalRecNum) {
        return kx_next::exhausted;
    }
    if (format.needs_refill(run) && (kx_refill_block(run, tmp) != 0 || kx_hold_current(format, run, tmp) != 0)) {
        return kx_next::failed;
    }
    return kx_next::held;
}

/// Buffers and first fills of all blocks. 0, or 1 with a message.
template <class Format> int kx_open_blocks(const Format &format, kx_i64 buffer_size, kx_stream &tmp) {
    for (kx_i64 i = 0; i < dataInfo.cnt; ++i) {
        if (kx_open_block(i, buffer_size) != 0) {
            return 1;
        }
        format.trace_buffer(i, kx_block(i).bufSize);
    }
    for (kx_i64 i = 0; i < dataInfo.cnt; ++i) {
        if (kx_fill_block(i, tmp) != 0 || kx_hold_current(format, kx_block(i), tmp) != 0) {
            return 1;
        }
    }
    kx_trace(msg::kBlocksFilled);
    return 0;
}

/// The verbose lines of staging buffer and block count.
inline void kx_trace_output_and_blocks() {
    kx_trace(msg::kShowOutputBuffer, kib_round_up(argsInfo.outFile.outBufSize));
    kx_trace(msg::kShowBlockCount, dataInfo.cnt);
}

/// Merges all blocks of dataInfo from `tmp` into `out`. 0, or 1 with a message.
template <class Format> int kx_merge_blocks(Format format, kx_stream &tmp, kx_stream &out) {
    if (kx_open_merge_output(out, format.staging_size()) != 0) {
        return 1;
    }
    if (argsInfo.bUnique != 0) {
        kx_trace_output_and_blocks();
    }
    format.trace_budget();
    const kx_i64 share = dataInfo.cnt > 0 ? format.block_share(dataInfo.cnt) : 0;
    const kx_i64 longest = format.longest_record();
    if (kx_open_blocks(format, kx_window(kx_choose_block_buffer(share, longest), longest), tmp) != 0 ||
        kx_merge_runs(format, dataInfo.list, out) != 0) {
        return 1;
    }
    kx_finish_merge();
    return 0;
}

} // namespace orkan
