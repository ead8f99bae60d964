// kx_options.cpp: the options, each into its raw value.
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "kx_getopt/kx_getopt.h"
#include "kx_paras/kx_help.h"
#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_number.h"
#include "kx_utils/kx_system_memory.h"
#include "kx_utils/kx_text.h"

namespace orkan {

namespace {

constexpr const char *kOptions = "CcSsUuAaRrNnHhMmV:v:W:w:L:l:P:p:D:d:T:t:K:k:O:o:E:e:";

constexpr kx_i64 kKib = 1024, kMib = kKib * kKib;

/// An array of system memory grown by one value-initialised entry; null when memory is refused (the array stays).
template <class T> T *grow_by_one(T *&array, kx_i64 &count) {
    auto *grown = static_cast<T *>(kx_system_realloc(array, (count + 1) * to_i64(sizeof(T))));
    if (grown == nullptr) {
        return nullptr;
    }
    array = grown;
    grown[count] = T{};
    return &grown[count++];
}

/// Makes `field` own the new text, or fails when there is none.
int take_text(char *&field, char *text) {
    if (text == nullptr) {
        return kx_fail(msg::kNoOptionMemory);
    }
    std::free(field);
    field = text;
    return 0;
}

void read_whole_record_order(ArgsInfo *args, kx_i64 order) {
    if (args->bRecSort == kRecSortNone) {
        args->bRecSort = order;
    }
    kx_trace(order == kRecSortAsc ? msg::kSortAscending : msg::kSortDescending);
}

void read_flag(kx_i64 &flag, int letter) {
    flag = 1;
    kx_trace(msg::kFlag, static_cast<char>(letter));
}

int read_code(const char *&field, const kx_message<const char *> &echo) {
    if (*optarg == '\0') {
        return kx_fail(msg::kInvalidOption, optarg);
    }
    field = optarg;
    kx_trace(echo, optarg);
    return 0;
}

int read_path(char *&field, const kx_message<const char *> &echo) {
    if (take_text(field, kx_copy_text(optarg)) != 0) {
        return 1;
    }
    kx_trace(echo, field);
    return 0;
}

// Always appended, even to a folder that ends in "/" already.
int read_temporary_folder(ArgsInfo *args) {
    if (take_text(args->tmpFile.dir, kx_join_text(optarg, "/")) != 0) {
        return 1;
    }
    kx_trace(msg::kEchoTemporaryFolder, args->tmpFile.dir);
    return 0;
}

int read_key(ArgsInfo *args) {
    KeyInfo *key = grow_by_one(args->arrSortKey, args->keyNums);
    if (key == nullptr) {
        return kx_fail(msg::kNoOptionMemory);
    }
    if (take_text(key->cmt, kx_copy_text(optarg)) != 0) {
        return 1;
    }
    kx_trace(msg::kEchoKey, args->keyNums, key->cmt);
    return 0;
}

int read_record_length(ArgsInfo *args) {
    if (kx_isnumeric(optarg) != 0) {
        return kx_fail(msg::kInvalidSize.japanese_only(), optarg); // Kept: the letter W, in Japanese everywhere.
    }
    args->recLen = std::atol(optarg);
    kx_trace(msg::kEchoRecordLength, args->recLen);
    return 0;
}

/// A number with at most one suffix letter, which messages show as upper case or, where the rest is no number, not at
/// all: the text changes.
int parse_size(char *text, kx_i64 &size) {
    const std::size_t length = std::strlen(text);
    char *last = length > 0 ? text + length - 1 : text;
    char suffix = '\0';
    kx_i64 unit = 1;
    if (*last == 'K' || *last == 'k') {
        suffix = 'K';
        unit = kKib;
    } else if (*last == 'M' || *last == 'm') {
        suffix = 'M';
        unit = kMib;
    }
    if (suffix != '\0') {
        *last = '\0';
    }
    if (kx_isnumeric(text) != 0) {
        return kx_fail(msg::kInvalidSize, text);
    }
    size = multiply_saturating(std::atol(text), unit);
    if (suffix != '\0') {
        *last = suffix;
    }
    return size < 1 ? kx_fail(msg::kInvalidBufferSize, text) : 0;
}

int read_memory_size(ArgsInfo *args) {
    kx_i64 size = 0;
    char *text = kx_copy_text(optarg);
    const int status = text != nullptr ? parse_size(text, size) : kx_fail(msg::kNoOptionMemory);
    std::free(text);
    if (status != 0) {
        return 1;
    }
    args->totalMemSize = size;
    kx_trace(msg::kEchoMemorySize, (size - 1) / kMib + 1);
    return 0;
}

[[noreturn]] void show_version_and_end() {
    for (const char *text : {kx_GetVersion(), kx_GetCopyright(), kx_GetContact(), kx_GetLicense()}) {
        std::fputs(text, stderr);
        std::fflush(stderr);
    }
    std::exit(0);
}

// Any other text is ignored. "-Verbose" arrives here as the letter V with the argument "erbose".
void read_version_or_verbose() {
    if (*optarg == '\0') {
        show_version_and_end();
    }
    if (std::strcmp(optarg, "erbose") == 0) {
        VERBOSE = 1;
    }
}

int upper_case(int letter) { return letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter; }

int read_option(ArgsInfo *args, int letter) {
    switch (upper_case(letter)) {
    case 'A': read_whole_record_order(args, kRecSortAsc); return 0;
    case 'R': read_whole_record_order(args, kRecSortDesc); return 0;
    case 'C': read_flag(args->bCsv, letter); return 0;
    case 'S': read_flag(args->bStabilize, letter); return 0;
    case 'U': read_flag(args->bUnique, letter); return 0;
    case 'N': read_flag(args->bNullLastOut, letter); return 0;
    case 'M': read_flag(args->bMerge, letter); return 0;
    case 'H':
        args->bHeader = 1;
        kx_trace(msg::kFirstLineHeader);
        return 0;
    case 'D': return read_code(args->delimiter, msg::kEchoDelimiter);
    case 'P': return read_code(args->sep, msg::kEchoNewline);
    case 'E': return read_path(args->errFile.path, msg::kEchoErrorFile);
    case 'O': return read_path(args->outFile.path, msg::kEchoOutputFile);
    case 'T': return read_temporary_folder(args);
    case 'K': return read_key(args);
    case 'L': return read_record_length(args);
    case 'W': return read_memory_size(args);
    case 'V': read_version_or_verbose(); return 0;
    default: std::fputs(kx_GetHelp(), stderr); return 0; // not reachable: the scanner knows only these letters
    }
}

int read_operand(ArgsInfo *args, const char *path) {
    FileInfo *file = grow_by_one(args->arrInFile, args->inFileNums);
    if (file == nullptr) {
        return 1;
    }
    if (take_text(file->path, kx_copy_text(path)) != 0) {
        return 1;
    }
    kx_trace(msg::kEchoInputFile, args->inFileNums, file->path);
    return 0;
}

} // namespace

int kx_GetParametersInfo(ArgsInfo *args, int argc, char **argv) {
    for (int letter = 0; (letter = kx_getopt(argc, argv, kOptions)) != -1;) {
        if (read_option(args, letter) != 0) {
            return 1;
        }
    }
    args->quote = '"';
    for (int i = optind; i < argc; ++i) {
        if (read_operand(args, argv[i]) != 0) {
            return 1;
        }
    }
    return 0;
}

} // namespace orkan
