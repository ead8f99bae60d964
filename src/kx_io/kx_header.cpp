#include "kx_io/kx_header.h"

#include <algorithm>
#include <cstring>

#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kReadStep = 1024;

/// The newline code that a header line ends in.
Bytes newline_code() { return {argsInfo.sep, argsInfo.sep_len}; }

/// The length of the line at the start of `held` bytes, newline code included; 0 when that is not among them. It does
/// not end in the first `seen` ones.
kx_i64 line_length(const char *buf, kx_i64 seen, kx_i64 held) {
    const Bytes sep = newline_code();
    const kx_i64 from = std::max<kx_i64>(seen - sep.len + 1, 0);
    const char *code = kx_findstr(buf + from, held - from, sep);
    return code == nullptr ? 0 : code + sep.len - buf;
}

/// Reads the first line: `length` bytes, of which the input's end may have cut the newline code. What was read behind
/// it is given back; a pipe takes nothing back and is read byte by byte.
int read_line(kx_stream &in, char *buf, kx_i64 &length) {
    const kx_i64 step = kx_stream_position(in) < 0 ? 1 : kReadStep;
    for (kx_i64 held = 0; held < kHeaderSearchLimit;) {
        const kx_i64 got = kx_stream_read(in, buf + held, std::min(step, kHeaderSearchLimit - held));
        if (got < 0) {
            return kx_fail(msg::kReadCsvHeader);
        }
        const kx_i64 line = line_length(buf, held, held + got);
        held += got;
        length = line > 0 || got > 0 ? line : held;
        if (line > 0 || got == 0) {
            return length == held || kx_stream_seek_by(in, length - held) ? 0 : kx_fail(msg::kReadCsvHeader);
        }
    }
    return kx_fail(msg::kReadCsvHeader);
}

/// Keeps the first line met, ended with the newline code.
int keep_first(char *buf, kx_i64 length) {
    const Bytes sep = newline_code();
    if (length == 0 || argsInfo.header != nullptr) {
        return 0;
    }
    if (!ends_with({buf, length}, sep)) {
        std::memcpy(buf + length, sep.ptr, to_size(sep.len));
        length += sep.len;
    }
    return kx_keep_header({buf, length});
}

} // namespace

int kx_take_header(kx_stream &in, kx_i64 &length) {
    length = 0;
    if (argsInfo.bCsv == 0 || argsInfo.bHeader == 0) {
        return 0;
    }
    const kx_i64 room = kHeaderSearchLimit + argsInfo.sep_len;
    auto *buf = static_cast<char *>(kx_qmalloc(memPool, room));
    if (buf == nullptr) {
        return kx_fail(msg::kNoMemory, kib_round_up(room));
    }
    const int status = read_line(in, buf, length) != 0 ? 1 : keep_first(buf, length);
    kx_qfree(memPool, buf);
    return status;
}

int kx_keep_header(Bytes line) {
    auto *copy = static_cast<char *>(kx_malloc(memPool, line.len));
    if (copy == nullptr) {
        return kx_fail(msg::kNoMemory, kib_round_up(line.len));
    }
    std::memcpy(copy, line.ptr, to_size(line.len));
    argsInfo.header = copy;
    argsInfo.headerLen = line.len;
    return 0;
}

} // namespace orkan
