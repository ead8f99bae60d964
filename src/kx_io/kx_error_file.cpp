#include "kx_io/kx_error_file.h"

#include "kx_io/kx_origin.h"
#include "kx_sort/kx_choose.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kErrorBufferSize = 65536;

/// Opening it would empty an input that may still have to be read, the output or the temporary file.
bool is_in_use(const char *path) {
    const bool standard_output = argsInfo.outFile.path == nullptr && kx_is_standard_output(path);
    const bool standard_input = argsInfo.inFileNums == 0 && kx_is_standard_input(path);
    bool in_use = standard_output || standard_input || (outFile.open && kx_same_file(argsInfo.outFile.path, path)) ||
                  (temporaryFile.exists && kx_same_file(argsInfo.tmpFile.path, path));
    for (kx_i64 i = 0; !in_use && i < argsInfo.inFileNums; ++i) {
        in_use = kx_same_file(argsInfo.arrInFile[i].path, path);
    }
    return in_use;
}

int refuse(kx_i64 offset) {
    const FileInfo *input = kx_input_at(offset);
    return input != nullptr ? kx_fail(msg::kRecordLacksKey, input->path) : kx_fail(msg::kInputLacksKey);
}

} // namespace

bool kx_error_file_open() {
    const char *path = argsInfo.errFile.path;
    const bool csv = kx_record_format() == kx_format::csv; // Kept: its messages are Japanese everywhere.
    if (path == nullptr || errFile.open) {
        return true;
    }
    if (is_in_use(path) || !kx_stream_open_write(errFile, path)) {
        kx_say(csv ? msg::kCreateErrorFile.japanese_only() : msg::kCreateErrorFile, path);
        return !csv && !keeps_every_record(); // Kept: the run goes on, and records that are too short are dropped.
    }
    if (!kx_stream_set_buffer(errFile, kErrorBufferSize)) {
        kx_say(csv ? msg::kErrorBuffer.japanese_only() : msg::kErrorBuffer);
        return false;
    }
    return true;
}

int kx_error_file_write(Bytes record, kx_i64 offset) {
    if (argsInfo.errFile.path == nullptr && keeps_every_record()) {
        return refuse(offset);
    }
    const bool written = !errFile.open || kx_stream_write(errFile, record.ptr, record.len);
    return written ? 0 : kx_fail(msg::kWriteErrorFile, argsInfo.errFile.path);
}

} // namespace orkan
