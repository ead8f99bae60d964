#include "kx_io/kx_load.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

#include "kx_io/kx_header.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_mapping.h"
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

/// The header line at the begin of the input's first bytes; that of the first input is kept.
int take_header(Bytes head, const FileInfo &file, kx_i64 &length) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    const char *line_end = kx_findstr(head.ptr, head.len, sep);
    if (line_end == nullptr) {
        return kx_fail(msg::kReadCsvHeader);
    }
    length = line_end + sep.len - head.ptr;
    return &file == argsInfo.arrInFile ? kx_keep_header({head.ptr, length}) : 0;
}

/// The input's first megabyte, through `scratch`, less its header line. A shorter one is an error: nothing that was not
/// read may be sorted.
int load_behind_header(char *scratch, kx_i64 head, char *buf, kx_i64 &loaded, const FileInfo &file) {
    kx_i64 held = 0;
    if (read_into(scratch, held, head, file, msg::kReadInputFile) != 0) {
        return 1;
    }
    kx_i64 length = 0;
    if (take_header({scratch, head}, file, length) != 0) {
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

bool has_header() { return argsInfo.bCsv != 0 && argsInfo.bHeader != 0; }

int load_opened(char *buf, kx_i64 &loaded, const FileInfo &file) {
    if (!kx_stream_set_buffer(inFile, 0)) {
        return kx_fail(msg::kInputBuffer);
    }
    if (has_header()) {
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

/// Behind the last input.
void end_inputs(char *buf, kx_i64 loaded) {
    if (keeps_every_record()) {
        dataOrigin = {argsInfo.arrInFile, argsInfo.inFileNums, 0};
    } else {
        end_with_newline_code(buf, 0, loaded);
    }
    argsInfo.totalFileSize = loaded;
}

// --- without a copy ----------------------------------------------------------------------------------------------

bool is_worth_mapping() {
    const bool single = argsInfo.inFileNums == 1 && VERBOSE == 0;
    return single && argsInfo.arrInFile[0].size >= kx_least_mapped(kWorthMapping) && !kx_output_is_an_input();
}

/// Keeps the header line that the opened and mapped input may have; its length, or 0.
int take_mapped_header(const char *begin, const FileInfo &file, kx_i64 &length) {
    length = 0;
    if (!has_header()) {
        return 0;
    }
    return keeps_every_record() ? kx_take_header(inFile, length)
                                : take_header({begin, std::min(file.size, kHeaderSearchLimit)}, file, length);
}

int map_opened(char *&buf, FileInfo &file) {
    char *begin = kx_map(inFile, file.size, argsInfo.sep_len);
    if (begin == nullptr) {
        return 0;
    }
    kx_i64 header = 0;
    if (take_mapped_header(begin, file, header) != 0) {
        return 1;
    }
    buf = begin + header;
    kx_i64 loaded = file.size - header;
    if (keeps_every_record()) {
        end_input(file, buf, 0, loaded);
    }
    end_inputs(buf, loaded);
    return 0;
}

} // namespace

int kx_map_input(char *&buf) {
    buf = nullptr;
    if (!is_worth_mapping() || !kx_stream_open_read(inFile, argsInfo.arrInFile[0].path)) {
        return 0; // who loads it says why it cannot be opened
    }
    const int status = map_opened(buf, argsInfo.arrInFile[0]);
    kx_stream_clear(inFile);
    return status;
}

int kx_check_input() {
    if (!kx_mapping_damaged(keeps_every_record())) {
        return 0;
    }
    const bool whole = !has_header(); // Kept: Japanese everywhere, as where it is loaded.
    return kx_fail(whole ? msg::kReadInputFile.japanese_only() : msg::kReadInputFile, argsInfo.arrInFile[0].path);
}

void kx_release_input(char *buf) {
    if (kx_is_mapped(buf)) {
        kx_unmap();
    } else {
        kx_qfree(memPool, buf);
    }
}

bool kx_output_is_an_input() {
    const char *output = argsInfo.outFile.path;
    bool is_input = false;
    for (kx_i64 i = 0; !is_input && i < argsInfo.inFileNums; ++i) {
        const char *input = argsInfo.arrInFile[i].path;
        is_input = output != nullptr ? kx_same_file(input, output) : kx_is_standard_output(input);
    }
    return is_input;
}

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
    end_inputs(buf, loaded);
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
