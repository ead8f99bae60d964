#include "kx_sort/kx_merge_multi.h"

#include <algorithm>

#include "kx_io/kx_header.h"
#include "kx_io/kx_load.h"
#include "kx_io/kx_writers.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_presorted_merge.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

namespace {

int skip_header(FileInfo &file) {
    kx_i64 length = 0;
    const int status = kx_take_header(file.file, length);
    file.size = std::max<kx_i64>(file.size - length, 0);
    return status;
}

int open_input(FileInfo &file) {
    UnitDataInfo *run = kx_unitDataInfo_create();
    if (run == nullptr) {
        return kx_fail(msg::kBlockInformation, to_i64(sizeof(UnitDataInfo)));
    }
    run->bufSize = kx_buffer_bytes(kPresortedBuffer);
    run->fileInfo = &file;
    file.unitDataInfo = run;
    if (!kx_stream_open_read(file.file, file.path)) {
        return kx_fail(msg::kOpenInputFile, file.path);
    }
    if (!kx_stream_set_buffer(file.file, 0)) {
        return kx_fail(msg::kInputBuffer);
    }
    return keeps_every_record() ? skip_header(file) : 0;
}

int open_output() {
    if (kx_output_is_an_input()) { // opening would empty what is still to be read; appending to it would never end
        return argsInfo.outFile.path != nullptr ? kx_fail(msg::kCreateOutputFile, argsInfo.outFile.path)
                                                : kx_fail(msg::kWriteStandardOutput);
    }
    if (kx_open_output(msg::kCreateOutputFile) != 0) {
        return 1;
    }
    return kx_stream_set_buffer(outFile, kOutputBufferSize) ? 0 : kx_fail(msg::kOutputBuffer);
}

/// The merge gives the output a buffer of its own.
int write_header() {
    const bool written = argsInfo.headerLen == 0 || (kx_write_csv_header(outFile) && kx_stream_flush(outFile));
    return written ? 0 : kx_output_failed();
}

void close_inputs() {
    for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
        kx_stream_clear(argsInfo.arrInFile[i].file);
    }
}

int merge() {
    for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
        if (open_input(argsInfo.arrInFile[i]) != 0) {
            return 1;
        }
    }
    if (open_output() != 0 || write_header() != 0 || kx_merge_presorted() != 0) {
        return 1;
    }
    return kx_close_output();
}

} // namespace

int kx_mergeSortMultiFile() {
    const int status = merge();
    close_inputs();
    return status;
}

} // namespace orkan
