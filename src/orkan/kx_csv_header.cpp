#include <algorithm>
#include <cstring>

#include "kx_io/kx_header.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kReadStep = 1024;

/// The end of the newline code that ends in buf[before..held), or 0.
kx_i64 header_end(const char *buf, kx_i64 before, kx_i64 held) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    for (kx_i64 end = std::max(sep.len, before - sep.len + 1); end <= held; ++end) {
        if (std::memcmp(buf + end - sep.len, sep.ptr, to_size(sep.len)) == 0) {
            return end;
        }
    }
    return 0;
}

/// Reads in small steps until the header line's end is in the buffer.
int find_header(kx_stream &in, char *buf, kx_i64 limit, kx_i64 &length) {
    for (kx_i64 held = 0; held < limit;) {
        const kx_i64 got = kx_stream_read(in, buf + held, std::min(limit - held, kReadStep));
        if (got < 0) {
            return kx_fail(msg::kReadCsvHeader);
        }
        if (got == 0) {
            length = held;
            return 0;
        }
        length = header_end(buf, held, held + got);
        if (length > 0) {
            return 0;
        }
        held += got;
    }
    return kx_fail(msg::kReadCsvHeader.japanese_only());
}

} // namespace

int kx_skip_csv_header(kx_stream &in, const FileInfo &file, kx_i64 &length) {
    const kx_i64 limit = std::min(file.size, kHeaderSearchLimit);
    auto *buf = static_cast<char *>(kx_qmalloc(memPool, limit));
    if (buf == nullptr) {
        return kx_fail(msg::kNoMemory, kib_round_up(limit));
    }
    int status = find_header(in, buf, limit, length);
    if (status == 0 && &file == argsInfo.arrInFile) {
        status = kx_keep_header({buf, length});
    }
    kx_qfree(memPool, buf);
    return status;
}

} // namespace orkan
