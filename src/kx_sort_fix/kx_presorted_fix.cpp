#include "kx_sort/kx_unit.h"
#include "kx_sort_fix/kx_fixed_runs.h"
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

namespace {

/// Kept: an input contributes what its first read delivers, at most 1 MiB of whole records.
class FixedPresorted : public kx_fixed_runs {
  public:
    static void trace_merged(kx_i64 /*left*/, const UnitDataInfo &run) { kx_trace_input_merged(run); }

    kx_next next(UnitDataInfo &run) {
        run.bufOffset += length_;
        ++run.currRec;
        return run.currRec < run.totalRecNum ? kx_next::held : kx_next::exhausted;
    }

    int open_buffers() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
            const kx_i64 size = run.fileInfo->size;
            run.bufSize = run.bufSize <= size ? run.bufSize - run.bufSize % length_ : size;
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

    /// Kept: an empty input ends the first fill; it and all later ones take no part.
    int first_fill() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
            const kx_i64 got = kx_stream_read(run.fileInfo->file, run.buf, run.bufSize);
            if (got < 0) {
                return kx_fail(msg::kReadMergeInput);
            }
            if (got == 0) {
                break;
            }
            run.bufSize = got;
            run.index = i;
            run.totalRecNum = got / length_;
            if (run.totalRecNum > 0 && kx_list_append(dataInfo.list, &run) != 0) {
                return kx_fail(msg::kBlockInformation, to_i64(sizeof(UnitDataInfo)));
            }
        }
        return 0;
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
