// kx_stage.h: the staging buffer of unique output: a merge's records gather in it, and the last one stays there for
// comparison until the next is staged, even after the buffer was written out.
//
// The buffer is the output's: argsInfo.outFile.outBuf, outBufSize (bytes at which it counts as full), outBufOffset.
#pragma once

#include <cstring>

#include "kx_assert/kx_assert.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

/// Takes a staging buffer that counts as full at `size` bytes. 0, or 1 with a message.
inline int kx_stage_open(kx_i64 size) {
    FileInfo &output = argsInfo.outFile;
    output.outBuf = static_cast<char *>(kx_qmalloc(memPool, size));
    output.outBufSize = size;
    output.outBufOffset = 0;
    return output.outBuf != nullptr ? 0 : kx_fail(msg::kStagingMemory, kib_round_up(size));
}

/// True when so many bytes do not fit behind those staged.
inline bool kx_stage_lacks_room(kx_i64 bytes) {
    return argsInfo.outFile.outBufOffset + bytes > argsInfo.outFile.outBufSize;
}

/// Copies a record behind those staged and gives the copy. The caller has made room; a record longer than the buffer
/// comes alone, and the buffer grows for it. No bytes, with a message, when that is refused.
inline Bytes kx_stage_append(Bytes record) {
    FileInfo &output = argsInfo.outFile;
    if (record.len > output.outBufSize) {
        KX_ASSERT(output.outBufOffset == 0);
        auto *larger = static_cast<char *>(kx_realloc(memPool, output.outBuf, record.len));
        if (larger == nullptr) {
            kx_say(msg::kStagingMemory, kib_round_up(record.len));
            return {};
        }
        output.outBuf = larger;
    }
    char *place = output.outBuf + output.outBufOffset;
    std::memcpy(place, record.ptr, to_size(record.len));
    output.outBufOffset += record.len;
    return {place, record.len};
}

/// Writes the staged bytes. False when writing failed.
inline bool kx_stage_write_out(kx_stream &out) {
    FileInfo &output = argsInfo.outFile;
    const kx_i64 staged = output.outBufOffset;
    output.outBufOffset = 0;
    return kx_stream_write(out, output.outBuf, staged);
}

/// Gives the buffer back.
inline void kx_stage_close() {
    kx_qfree(memPool, argsInfo.outFile.outBuf);
    argsInfo.outFile.outBuf = nullptr;
}

} // namespace orkan
