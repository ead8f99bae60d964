#include <algorithm>

#include "kx_sort/kx_unit.h"
#include "kx_sort_fix/kx_fixed_runs.h"
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

namespace {

/// Kept: an input contributes what its first read delivers, at most 1 MiB of whole records. In complete mode it is read
/// to its end.
class FixedPresorted : public kx_fixed_runs {
  public:
    static void trace_merged(kx_i64 /*left*/, const UnitDataInfo &run) { kx_trace_input_merged(run); }

    kx_next next(UnitDataInfo &run) {
        run.bufOffset += length_;
        ++run.currRec;
        if (run.currRec < run.totalRecNum) {
            return kx_next::held;
        }
        return keeps_every_record() ? fill(run) : kx_next::exhausted;
    }

    int open_buffers() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
            const kx_i64 size = run.fileInfo->size;
            run.bufSize = run.bufSize <= size || argsInfo.pipeNums > 0 ? whole_records(run.bufSize) : size;
            if (run.bufSize == 0 && size > 0) {
                return kx_fail(msg::kRecordTooLong, length_, argsInfo.totalMemSize / 1024); // not even one fits
            }
            run.buf = static_cast<char *>(kx_malloc(memPool, run.bufSize));
            if (run.buf == nullptr) {
                return kx_fail(msg::kMergeBuffer, run.bufSize / 1024);
            }
        }
        return 0;
    }

    /// Kept: an empty input ends the first fill; it and all later ones take no part. In complete mode it is skipped.
    int first_fill() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
            run.index = i;
            const kx_next filled = fill(run);
            if (filled == kx_next::failed) {
                return 1;
            }
            if (filled == kx_next::exhausted && !keeps_every_record()) {
                break;
            }
            if (run.totalRecNum > 0 && kx_list_append(dataInfo.list, &run) != 0) {
                return kx_fail(msg::kBlockInformation, to_i64(sizeof(UnitDataInfo)));
            }
        }
        return 0;
    }

  private:
    /// As many as fit into a buffer of so many bytes; in complete mode at least one.
    [[nodiscard]] kx_i64 whole_records(kx_i64 bytes) const {
        const kx_i64 whole = bytes - bytes % length_;
        return keeps_every_record() ? std::max(whole, length_) : whole;
    }

    /// Where nothing is read: the input has become shorter, or it was empty and so has no buffer, and is not any more.
    static bool is_another_size(UnitDataInfo &run) {
        char probe = 0;
        return run.offset < run.fileInfo->size ||
               (run.bufSize == 0 && kx_stream_read(run.fileInfo->file, &probe, 1) != 0);
    }

    /// Reads the next records into the buffer.
    kx_next fill(UnitDataInfo &run) const {
        const kx_i64 got = kx_stream_read(run.fileInfo->file, run.buf, run.bufSize);
        if (got < 0 || (got == 0 && keeps_every_record() && is_another_size(run))) {
            kx_say(msg::kReadMergeInput);
            return kx_next::failed;
        }
        if (got == 0) {
            return kx_next::exhausted;
        }
        run.offset += got;
        run.bufSize = got;
        numberMemo.forget({run.buf, got});
        run.bufOffset = 0;
        run.totalRecNum += got / length_;
        if (got % length_ != 0 && keeps_every_record()) {
            kx_say(msg::kInvalidDataSize, run.offset);
            return kx_next::failed;
        }
        return kx_next::held;
    }
};

} // namespace

int kx_mergeSortMultiFile_fix() {
    FixedPresorted format;
    if (format.open_buffers() != 0 || kx_open_merge_output(outFile, format.staging_size()) != 0) {
        return 1;
    }
    if (argsInfo.bUnique != 0) {
        kx_trace(msg::kShowOutputBuffer, kib_round_up(argsInfo.outFile.outBufSize));
    }
    if (format.first_fill() != 0 || kx_merge_runs(format, dataInfo.list, outFile) != 0) {
        return 1;
    }
    kx_finish_merge();
    return 0;
}

} // namespace orkan
