// kx_settings.cpp: raw option values into the settings the sorts use, and the checks of the file system.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_folder.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

template <class... Args> int refuse(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    kx_say_unflushed(message, args...);
    return 1;
}

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
    return refuse(msg::kInvalidNewline, args->sep);
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

void derive_path_parts(FileInfo &file) {
    std::free(file.fileName);
    std::free(file.dir);
    file.fileName = kx_copy_text(kx_getFileName(file.path, '/'));
    file.dir = kx_getDir(file.path, '/');
}

/// A pipe or device has no size to rely on: its data would be lost. /dev/null is the exception, being empty; a folder
/// fails when it is read.
bool has_size(const struct stat &status) {
    const dev_t null_device = makedev(1, 3);
    return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) ||
           (S_ISCHR(status.st_mode) && status.st_rdev == null_device);
}

int measure_input(ArgsInfo *args, FileInfo &file, kx_i64 number) {
    derive_path_parts(file);
    struct stat status {};
    if (kx_fault(kx_site::stat) || stat(file.path, &status) != 0) {
        return refuse(msg::kStatInputFile, number, file.path);
    }
    if (!has_size(status)) {
        return refuse(msg::kNoRegularInput, number, file.path);
    }
    file.size = status.st_size;
    file.outSize = 0;
    if (args->bFixVar == kFix) {
        if (file.size % args->recLen != 0) {
            return refuse(msg::kInvalidInputSize, number, file.size);
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
    return 0;
}

using TextMessage = kx_message<const char *>;

int check_target(FileInfo &file, const TextMessage &show_dir, const TextMessage &show_name,
                 const TextMessage &refusal) {
    derive_path_parts(file);
    kx_trace(show_dir, file.dir);
    kx_trace(show_name, file.fileName);
    return file.dir != nullptr && !kx_folder_usable(file.dir) ? refuse(refusal, file.dir) : 0;
}

/// TMPDIR's value with "/" appended, in memory of our own: the environment stays as it is.
int take_system_folder(ArgsInfo *args) {
    const char *folder = std::getenv("TMPDIR");
    kx_trace(msg::kShowTemporaryFolder, folder);
    if (folder == nullptr) {
        return refuse(msg::kNoTemporaryFolder);
    }
    args->tmpFile.dir = kx_join_text(folder, "/");
    if (args->tmpFile.dir == nullptr) {
        return refuse(msg::kNoOptionMemory);
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
        return refuse(msg::kTemporaryFolder, file.dir);
    }
    constexpr kx_i64 kNameRoom = 75;
    const kx_i64 folder_length = to_i64(std::strlen(file.dir));
    file.path = static_cast<char *>(kx_system_malloc(folder_length + kNameRoom));
    if (file.path == nullptr) {
        return refuse(msg::kNoOptionMemory);
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
        derive_temporary_path(args) != 0) {
        return 1;
    }
    return kx_parse_sort_keys(args);
}

} // namespace orkan
