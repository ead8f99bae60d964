// kx_merge_loop.h: the one merge: runs whose heads are taken in order into the output. The runs are the blocks of the
// temporary file (kx_block_merge.h) or presorted inputs (kx_presorted_merge.h).
//
// What a format answers:
//
//   order(), rule(), prefix(run), text(run)   see kx_heads.h; `Heads` is the structure to use
//   record(run)            the current record's own bytes
//   next(run)              moves on to the run's next record and sees that it is held, or that the run is exhausted
//   trace_merged(left, run)  verbose line for an exhausted run
//   stage_is_full(bytes)   unique output: a record of so many bytes has to wait until the staged ones are written
//   differs(run)           the current record is no duplicate of the record staged last
//   staged(run, copy)      it was staged there; 0, or 1 with a message
#pragma once

#include "kx_io/kx_stage.h"
#include "kx_io/kx_writers.h"
#include "kx_sort/kx_heads.h"
#include "kx_sort/kx_unit.h"

namespace orkan {

enum class kx_next { held, exhausted, failed };

// --- output ------------------------------------------------------------------------------------------------------

/// Unique output gathers in a staging buffer that counts as full at `staging_size` bytes, other output in the stream's
/// own. 0, or 1 with a message.
int kx_open_merge_output(kx_stream &out, kx_i64 staging_size);

template <class Format> int kx_emit_unique(Format &format, UnitDataInfo &head, Bytes record, kx_stream &out) {
    if (format.stage_is_full(record.len) && !kx_stage_write_out(out)) {
        return kx_output_failed();
    }
    if (!format.differs(head)) {
        return 0;
    }
    const Bytes copy = kx_stage_append(record);
    numberMemo.forget(copy); // the next one is compared with these bytes
    return copy.ptr != nullptr ? format.staged(head, copy) : 1;
}

template <class Format> int kx_emit(Format &format, UnitDataInfo &head, kx_stream &out) {
    const Bytes record = format.record(head);
    if (argsInfo.bUnique != 0) {
        return kx_emit_unique(format, head, record, out);
    }
    return kx_stream_write(out, record.ptr, record.len) ? 0 : kx_output_failed();
}

// --- merge -------------------------------------------------------------------------------------------------------

/// Behind the record just emitted: the run's next one, or its end. 0, or 1 with a message.
template <class Format, class Heads> int kx_advance_first(Format &format, Heads &heads) {
    UnitDataInfo &head = heads.first();
    switch (format.next(head)) {
    case kx_next::held: heads.reorder_first(format); return 0;
    case kx_next::exhausted:
        format.trace_merged(heads.count(), head);
        heads.remove_first();
        return 0;
    default: return 1;
    }
}

/// The verbose line for an exhausted presorted input; how many are left is not told.
inline void kx_trace_input_merged(const UnitDataInfo &run) {
    kx_trace(msg::kBlockMerged, argsInfo.inFileNums, run.index + 1, kx_GetTimeInfo());
}

/// Merges the runs of the list, whose first records are held, and writes what was staged. 0, or 1.
template <class Format> int kx_merge_runs(Format &format, const kx_list *runs, kx_stream &out) {
    typename Format::Heads heads;
    int status = heads.open(format, runs);
    while (status == 0 && heads.count() > 0) {
        status = kx_emit(format, heads.first(), out) != 0 ? 1 : kx_advance_first(format, heads);
    }
    heads.close();
    if (status == 0 && argsInfo.bUnique != 0 && !kx_stage_write_out(out)) {
        return kx_output_failed();
    }
    return status;
}

/// Releases the runs of dataInfo and the staging buffer. Verbose or not, every merge ends by telling how long it took.
void kx_finish_merge();

} // namespace orkan
