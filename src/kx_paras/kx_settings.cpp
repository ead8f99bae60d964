// kx_settings.cpp: raw option values into the settings the sorts use, and the checks of the file system.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_folder.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_status.h"
#include "kx_utils/kx_system_memory.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// An escape as typed and the code it stands for.
struct Escape {
    const char *typed;
    const char *code;
};

constexpr std::array<Escape, 3> kNewlineCodes{{{"\\r\\n", "\r\n"}, {"\\n", "\n"}, {"\\r", "\r"}}};

int convert_newline(ArgsInfo *args) {
    if (args->sep == nullptr) {
        args->sep = "\\n";
    }
    for (const Escape &escape : kNewlineCodes) {
        if (std::strcmp(args->sep, escape.typed) == 0) {
            args->sep = escape.code;
            args->sep_len = to_i64(std::strlen(escape.code));
            return 0;
        }
    }
    return kx_fail_unflushed(msg::kInvalidNewline, args->sep);
}

int derive_format(ArgsInfo *args) {
    args->bFixVar = args->recLen != 0 ? kFix : kVariable;
    return args->bFixVar == kFix ? 0 : convert_newline(args);
}

void convert_delimiter(ArgsInfo *args) {
    if (args->bCsv == 0) {
        return;
    }
    if (args->delimiter == nullptr) {
        args->delimiter = ",";
    } else if (std::strcmp(args->delimiter, "\\t") == 0) {
        args->delimiter = "\t";
    }
    args->delimiter_len = to_i64(std::strlen(args->delimiter));
}

int derive_path_parts(FileInfo &file) {
    if (file.path == nullptr) {
        return 0;
    }
    std::free(file.fileName);
    std::free(file.dir);
    file.fileName = kx_copy_text(kx_getFileName(file.path, '/'));
    file.dir = kx_getDir(file.path, '/');
    const bool has_folder = std::strchr(file.path, '/') != nullptr;
    return file.fileName == nullptr || (has_folder && file.dir == nullptr) ? kx_fail_unflushed(msg::kNoOptionMemory)
                                                                           : 0;
}

/// What is empty by its size and yet has data, as many files of /proc.
bool hides_its_size(const kx_status &status, const char *path) {
    kx_stream file{};
    char probe = 0;
    const bool hides = S_ISREG(status.st_mode) && status.st_size == 0 && kx_stream_open_read(file, path) &&
                       kx_stream_read(file, &probe, 1) > 0;
    kx_stream_close(file);
    return hides;
}

/// A pipe or device has no size to rely on: its data would be lost, were it not for complete mode, which reads pipes to
/// their end. /dev/null is the exception, being empty; a folder fails when it is read, if it has a size to read.
bool has_size(const kx_status &status) {
    const dev_t null_device = makedev(1, 3);
    return S_ISREG(status.st_mode) || (S_ISDIR(status.st_mode) && status.st_size > 0) ||
           (S_ISCHR(status.st_mode) && status.st_rdev == null_device);
}

/// The first `count` inputs have that pipe among them.
bool is_named(const ArgsInfo &args, kx_i64 count, const kx_status &pipe) {
    bool named = false;
    for (kx_i64 i = 0; !named && i < count; ++i) {
        kx_status input{};
        named = kx_status_of(args.arrInFile[i].path, input) && kx_same_file(input, pipe);
    }
    return named;
}

/// Only in complete mode. Two readers would take each other's data.
int take_pipe(ArgsInfo *args, const FileInfo &file, kx_i64 number, const kx_status &status) {
    ++args->pipeNums;
    return is_named(*args, number - 1, status) ? kx_fail_unflushed(msg::kPipeNamedBefore, number, file.path) : 0;
}

int measure_input(ArgsInfo *args, FileInfo &file, kx_i64 number) {
    if (derive_path_parts(file) != 0) {
        return 1;
    }
    kx_status status{};
    if (!kx_status_of(file.path, status)) {
        return kx_fail_unflushed(msg::kStatInputFile, number, file.path);
    }
    if (S_ISFIFO(status.st_mode) && keeps_every_record()) {
        return take_pipe(args, file, number, status);
    }
    if (!has_size(status) || hides_its_size(status, file.path)) {
        return kx_fail_unflushed(msg::kNoRegularInput, number, file.path);
    }
    file.size = status.st_size;
    file.outSize = 0;
    if (args->bFixVar == kFix) {
        if (file.size % args->recLen != 0) {
            return kx_fail_unflushed(msg::kInvalidInputSize, number, file.size);
        }
        args->totalRecNum = add_saturating(args->totalRecNum, file.size / args->recLen);
    }
    args->totalFileSize = add_saturating(args->totalFileSize, file.size);
    return 0;
}

int measure_inputs(ArgsInfo *args) {
    for (kx_i64 i = 0; i < args->inFileNums; ++i) {
        if (measure_input(args, args->arrInFile[i], i + 1) != 0) {
            return 1;
        }
    }
    if (args->pipeNums > 0) {
        args->totalFileSize = args->totalRecNum = 0;
    }
    return 0;
}

bool is_read(const ArgsInfo &args, const kx_status &pipe) {
    kx_status input{};
    return args.inFileNums > 0 ? is_named(args, args.inFileNums, pipe)
                               : kx_status_of(STDIN_FILENO, input) && kx_same_file(input, pipe);
}

/// The path (null: standard output) leads to a pipe that the run reads: it would feed itself, or wait for itself.
bool is_read_pipe(const ArgsInfo &args, const char *path) {
    kx_status status{};
    const bool told = path != nullptr ? kx_status_of(path, status) : kx_status_of(STDOUT_FILENO, status);
    return told && S_ISFIFO(status.st_mode) && is_read(args, status);
}

int check_pipes(const ArgsInfo &args) {
    const char *output = args.outFile.path, *errors = args.errFile.path;
    if (is_read_pipe(args, output)) {
        return output != nullptr ? kx_fail_unflushed(msg::kCreateOutputFile, output)
                                 : kx_fail_unflushed(msg::kWriteStandardOutput);
    }
    return errors != nullptr && is_read_pipe(args, errors) ? kx_fail_unflushed(msg::kCreateErrorFile, errors) : 0;
}

using TextMessage = kx_message<const char *>;

int check_target(FileInfo &file, const TextMessage &show_dir, const TextMessage &show_name,
                 const TextMessage &refusal) {
    if (derive_path_parts(file) != 0) {
        return 1;
    }
    kx_trace(show_dir, file.dir);
    kx_trace(show_name, file.fileName);
    return file.dir != nullptr && !kx_folder_usable(file.dir) ? kx_fail_unflushed(refusal, file.dir) : 0;
}

/// TMPDIR's value with "/" appended, in memory of our own: the environment stays as it is.
int take_system_folder(ArgsInfo *args) {
    const char *folder = std::getenv("TMPDIR");
    kx_trace(msg::kShowTemporaryFolder, folder);
    if (folder == nullptr) {
        return kx_fail_unflushed(msg::kNoTemporaryFolder);
    }
    args->tmpFile.dir = kx_join_text(folder, "/");
    if (args->tmpFile.dir == nullptr) {
        return kx_fail_unflushed(msg::kNoOptionMemory);
    }
    kx_trace(msg::kSystemTemporaryFolder, args->tmpFile.dir);
    return 0;
}

int derive_temporary_path(ArgsInfo *args) {
    FileInfo &file = args->tmpFile;
    if (file.dir == nullptr && take_system_folder(args) != 0) {
        return 1;
    }
    if (!kx_folder_usable(file.dir)) {
        return kx_fail_unflushed(msg::kTemporaryFolder, file.dir);
    }
    constexpr kx_i64 kNameRoom = 75;
    const kx_i64 folder_length = to_i64(std::strlen(file.dir));
    file.path = static_cast<char *>(kx_system_malloc(folder_length + kNameRoom));
    if (file.path == nullptr) {
        return kx_fail_unflushed(msg::kNoOptionMemory);
    }
    std::snprintf(file.path, to_size(folder_length + kNameRoom), "%s%s%ld%s", file.dir, "orkan_",
                  static_cast<long>(processId), ".tmp");
    file.fileName = file.path + folder_length; // borrowed from the path
    kx_trace(msg::kShowTemporaryPath, file.path);
    return 0;
}

} // namespace

int kx_DealParametersInfo(ArgsInfo *args) {
    kx_trace(msg::kCheckingStarted.japanese_only());
    if (args->totalMemSize == 0) {
        args->bMemory = 1;
    }
    if (derive_format(args) != 0) {
        return 1;
    }
    convert_delimiter(args);
    if (args->bFixVar == kFix) {
        args->bCsv = 0; // a record length wins: from here on nothing is CSV
    }
    if (measure_inputs(args) != 0 ||
        check_target(args->outFile, msg::kShowOutputFolder, msg::kShowOutputName, msg::kOutputFolder) != 0 ||
        check_target(args->errFile, msg::kShowErrorFolder, msg::kShowErrorName, msg::kErrorFolder) != 0 ||
        check_pipes(*args) != 0 || derive_temporary_path(args) != 0) {
        return 1;
    }
    return kx_parse_sort_keys(args);
}

} // namespace orkan
