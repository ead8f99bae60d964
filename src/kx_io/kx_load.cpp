#include "kx_io/kx_load.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

#include "kx_io/kx_header.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_status.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

using TextMessage = kx_message<const char *>;

/// Reads exactly `bytes` bytes of the current input to buf + loaded, and counts them.
int read_into(char *buf, kx_i64 &loaded, kx_i64 bytes, const FileInfo &file, const TextMessage &failure) {
    if (kx_stream_read(inFile, buf + loaded, bytes) != bytes) {
        return kx_fail(failure, file.path);
    }
    loaded += bytes;
    return 0;
}

/// As above, to the input's end. In complete mode one that has grown since it was measured is an error: its last record
/// may be cut.
int read_rest_into(char *buf, kx_i64 &loaded, kx_i64 bytes, const FileInfo &file, const TextMessage &failure) {
    char probe = 0;
    if (read_into(buf, loaded, bytes, file, failure) != 0) {
        return 1;
    }
    return keeps_every_record() && kx_stream_read(inFile, &probe, 1) != 0 ? kx_fail(failure, file.path) : 0;
}

/// The input's first megabyte, through `scratch`, less its header line. A shorter one is an error: nothing that was not
/// read may be sorted.
int load_behind_header(char *scratch, kx_i64 head, char *buf, kx_i64 &loaded, const FileInfo &file) {
    kx_i64 held = 0;
    if (read_into(scratch, held, head, file, msg::kReadInputFile) != 0) {
        return 1;
    }
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    const char *line_end = kx_findstr(scratch, head, sep);
    if (line_end == nullptr) {
        return kx_fail(msg::kReadCsvHeader);
    }
    const kx_i64 length = line_end + sep.len - scratch;
    if (&file == argsInfo.arrInFile && kx_keep_header({scratch, length}) != 0) {
        return 1;
    }
    std::memcpy(buf + loaded, scratch + length, to_size(head - length));
    loaded += head - length;
    return 0;
}

int load_with_header(char *buf, kx_i64 &loaded, const FileInfo &file) {
    const kx_i64 head = std::min(file.size, kHeaderSearchLimit);
    auto *scratch = static_cast<char *>(kx_qmalloc(memPool, head));
    if (scratch == nullptr) {
        return kx_fail(msg::kNoMemory, kib_round_up(head));
    }
    const int status = load_behind_header(scratch, head, buf, loaded, file);
    kx_qfree(memPool, scratch);
    return status != 0 ? 1 : read_into(buf, loaded, file.size - head, file, msg::kReadInputFile);
}

/// In complete mode: the input less its header line.
int load_behind_line(char *buf, kx_i64 &loaded, const FileInfo &file) {
    kx_i64 length = 0;
    const int status = kx_take_header(inFile, length);
    return status != 0 ? 1 : read_rest_into(buf, loaded, file.size - length, file, msg::kReadInputFile);
}

int load_opened(char *buf, kx_i64 &loaded, const FileInfo &file) {
    if (!kx_stream_set_buffer(inFile, 0)) {
        return kx_fail(msg::kInputBuffer);
    }
    if (argsInfo.bCsv != 0 && argsInfo.bHeader != 0) {
        return keeps_every_record() ? load_behind_line(buf, loaded, file) : load_with_header(buf, loaded, file);
    }
    // Kept: a short read of a whole file is reported in Japanese everywhere.
    return read_rest_into(buf, loaded, file.size, file, msg::kReadInputFile.japanese_only());
}

int load(char *buf, kx_i64 &loaded, const FileInfo &file) {
    if (!kx_stream_open_read(inFile, file.path)) {
        return kx_fail(msg::kOpenInputFile, file.path);
    }
    const int status = load_opened(buf, loaded, file);
    kx_stream_clear(inFile);
    if (status == 0) {
        kx_trace(msg::kInputLoaded, file.path);
    }
    return status;
}

/// Data of newline-ended formats, from buf + first on, that do not end with the newline code get one.
void end_with_newline_code(char *buf, kx_i64 first, kx_i64 &loaded) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    if (argsInfo.bFixVar == kVariable && !ends_with({buf + first, loaded - first}, sep)) {
        std::memcpy(buf + loaded, sep.ptr, to_size(sep.len));
        loaded += sep.len;
    }
}

/// In complete mode each input ends with the newline code, and an empty one is no record.
void end_input(FileInfo &file, char *buf, kx_i64 first, kx_i64 &loaded) {
    if (loaded > first) {
        end_with_newline_code(buf, first, loaded);
    }
    file.end = loaded;
}

} // namespace

kx_i64 kx_load_room() {
    const kx_i64 codes = keeps_every_record() ? argsInfo.inFileNums : 1;
    return add_saturating(argsInfo.totalFileSize, multiply_saturating(codes, argsInfo.sep_len));
}

int kx_inputFile(char *buf) {
    kx_i64 loaded = 0;
    for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
        const kx_i64 first = loaded;
        if (load(buf, loaded, argsInfo.arrInFile[i]) != 0) {
            return 1;
        }
        if (keeps_every_record()) {
            end_input(argsInfo.arrInFile[i], buf, first, loaded);
        }
    }
    if (keeps_every_record()) {
        dataOrigin = {argsInfo.arrInFile, argsInfo.inFileNums, 0};
    } else {
        end_with_newline_code(buf, 0, loaded);
    }
    argsInfo.totalFileSize = loaded;
    return 0;
}

kx_i64 kx_expected_bytes() {
    if (argsInfo.bUnique != 0) {
        return 0;
    }
    kx_status status{};
    const bool from_file = argsInfo.inFileNums == 0 && kx_status_of(STDIN_FILENO, status) && S_ISREG(status.st_mode);
    return from_file ? status.st_size : argsInfo.totalFileSize;
}

} // namespace orkan
