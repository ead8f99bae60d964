// kx_merge_loop.h: the one merge: runs whose heads are taken in order into the output.
//
//   temporary file   | block 0 ........ | block 1 ........ | block 2 ... |
//                      |buf 0|            |buf 1|            |buf 2|       a window of each block in memory
//                        ^ head             ^ head             ^ head
//
// What a format answers (all sizes in bytes):
//
//   staging_size()         at how much the staging buffer of unique output counts as full
//   trace_budget()         verbose lines before the budget is divided
//   block_share(blocks)    what each block's buffer may take of the budget
//   longest_record()       the longest record, as the staging buffer and the too-small rule see it
//   trace_buffer(i, size)  verbose line for the buffer of block i
//   order(), prefix_decides(), prefix(run)   see kx_heads.h; `Heads` is the structure to use
//   record(run)            the current record's own bytes, as far as held
//   stored_size(run)       what the current record takes in the buffer with all in front of it, as far as the bytes
//                          held tell; 0 when it cannot be a record
//   needs_refill(run)      by the format's rule the next record is not complete in the buffer
//   trace_merged(left, run)  verbose line for an exhausted run
//   differs(run)           the current record is no duplicate of the record staged last
//   staged(run, copy)      it was staged there; 0, or 1 with a message
//   stage_is_full(bytes)   a record of so many bytes has to wait until the staged ones are written
#pragma once

#include "kx_io/kx_stage.h"
#include "kx_io/kx_writers.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_heads.h"
#include "kx_sort/kx_unit.h"

namespace orkan {

// --- block buffers -----------------------------------------------------------------------------------------------

/// Bytes of each block's buffer, by the share and the too-small rule; into dataInfo.bufSize.
kx_i64 kx_choose_block_buffer(kx_i64 share, kx_i64 longest);

/// The descriptor of block i of dataInfo.
inline UnitDataInfo &kx_block(kx_i64 i) { return *static_cast<UnitDataInfo *>(kx_list_get(dataInfo.list, i)); }

/// Gives block i its buffer. 0, or 1 with a message.
int kx_open_block(kx_i64 i, kx_i64 buffer_size);

/// Gives block i its number and first fill. 0, or 1 with a message.
int kx_fill_block(kx_i64 i, kx_stream &tmp);

/// Moves the unread bytes to the front of the run's buffer and reads on behind them. 0, or 1 with a message.
int kx_refill_block(UnitDataInfo &run, kx_stream &tmp);

/// Enlarges the buffer of a run whose current record, `wanted` bytes with all in front of it, does not fit, and reads
/// on. 0, or 1 with a message, also when the block has no so many bytes left: then it is no record.
int kx_enlarge_block(UnitDataInfo &run, kx_i64 wanted, kx_stream &tmp);

// --- output ------------------------------------------------------------------------------------------------------

inline void kx_trace_output_and_blocks() {
    kx_trace(msg::kShowOutputBuffer, kib_round_up(argsInfo.outFile.outBufSize));
    kx_trace(msg::kShowBlockCount, dataInfo.cnt);
}

/// Unique output gathers in the staging buffer, other output in the stream's own. 0, or 1 with a message.
template <class Format> int kx_open_merge_output(const Format &format, kx_stream &out) {
    if (argsInfo.bUnique == 0) {
        return kx_stream_set_buffer(out, kOutputBufferSize) ? 0 : kx_fail(msg::kOutputBuffer.japanese_only());
    }
    if (kx_stage_open(format.staging_size(), format.longest_record()) != 0) {
        return 1;
    }
    kx_trace_output_and_blocks();
    return 0;
}

template <class Format> int kx_emit_unique(Format &format, UnitDataInfo &head, Bytes record, kx_stream &out) {
    if (format.stage_is_full(record.len) && !kx_stage_write_out(out)) {
        return kx_output_failed();
    }
    return format.differs(head) ? format.staged(head, kx_stage_append(record)) : 0;
}

template <class Format> int kx_emit(Format &format, UnitDataInfo &head, kx_stream &out) {
    const Bytes record = format.record(head);
    if (argsInfo.bUnique != 0) {
        return kx_emit_unique(format, head, record, out);
    }
    return kx_stream_write(out, record.ptr, record.len) ? 0 : kx_output_failed();
}

// --- merge -------------------------------------------------------------------------------------------------------

/// The run's current record is held whole. 0, or 1 with a message when it cannot be.
template <class Format> int kx_hold_current(const Format &format, UnitDataInfo &run, kx_stream &tmp) {
    for (kx_i64 wanted = 0; (wanted = format.stored_size(run)) > run.bufSize - run.bufOffset;) {
        if (kx_enlarge_block(run, wanted, tmp) != 0) {
            return 1;
        }
    }
    return format.stored_size(run) > 0 ? 0 : kx_fail(msg::kReadTemporaryFile);
}

/// Behind the record just emitted: the run's next one, or its end.
template <class Format, class Heads> int kx_advance_first(Format &format, Heads &heads, kx_stream &tmp) {
    UnitDataInfo &head = heads.first();
    head.bufOffset += format.stored_size(head);
    ++head.currRec;
    if (head.currRec >= head.totalRecNum) {
        format.trace_merged(heads.count(), head);
        heads.remove_first();
        return 0;
    }
    if (format.needs_refill(head) && (kx_refill_block(head, tmp) != 0 || kx_hold_current(format, head, tmp) != 0)) {
        return 1;
    }
    heads.reorder_first(format);
    return 0;
}

/// Merges the runs of the list, whose first records are held. 0, or 1.
template <class Format> int kx_merge_runs(Format &format, const kx_list *runs, kx_stream &tmp, kx_stream &out) {
    typename Format::Heads heads;
    int status = heads.open(format, runs);
    while (status == 0 && heads.count() > 0) {
        status = kx_emit(format, heads.first(), out) != 0 ? 1 : kx_advance_first(format, heads, tmp);
    }
    heads.close();
    return status;
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

/// The end of every merge, verbose or not, tells how long giving memory back took.
void kx_finish_merge();

/// Merges all blocks of dataInfo from `tmp` into `out`. 0, or 1 with a message.
template <class Format> int kx_merge_blocks(Format format, kx_stream &tmp, kx_stream &out) {
    if (kx_open_merge_output(format, out) != 0) {
        return 1;
    }
    format.trace_budget();
    const kx_i64 share = dataInfo.cnt > 0 ? format.block_share(dataInfo.cnt) : 0;
    if (kx_open_blocks(format, kx_choose_block_buffer(share, format.longest_record()), tmp) != 0 ||
        kx_merge_runs(format, dataInfo.list, tmp, out) != 0) {
        return 1;
    }
    if (argsInfo.bUnique != 0 && !kx_stage_write_out(out)) {
        return kx_output_failed();
    }
    kx_finish_merge();
    return 0;
}

} // namespace orkan
