#include "kx_io/kx_error_file.h"

#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kErrorBufferSize = 65536;

} // namespace

kx_error_file_state kx_error_file_open() {
    if (argsInfo.errFile.path == nullptr || errFile.open) {
        return kx_error_file_state::ready;
    }
    if (!kx_stream_open_write(errFile, argsInfo.errFile.path)) {
        return kx_error_file_state::cannot_create;
    }
    return kx_stream_set_buffer(errFile, kErrorBufferSize) ? kx_error_file_state::ready
                                                           : kx_error_file_state::no_buffer;
}

int kx_error_file_write(Bytes record) {
    const bool written = !errFile.open || kx_stream_write(errFile, record.ptr, record.len);
    return written ? 0 : kx_fail(msg::kWriteErrorFile, argsInfo.errFile.path);
}

} // namespace orkan
