// kx_settings_dump.cpp: the configuration on standard output, for the verbose trace; and its release.
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_message.h"

namespace orkan {

namespace {

void show(const char *name, kx_i64 value) { std::printf("  %-14s = %ld\n", name, value); }

void show(const char *name, const char *text) { std::printf("  %-14s = %s\n", name, printable(text)); }

// Codes and headers hold control characters and are no C strings: other bytes are shown as \xHH.
void show(const char *name, Bytes bytes) {
    std::printf("  %-14s = ", name);
    for (kx_i64 i = 0; i < bytes.len; ++i) {
        const auto c = static_cast<unsigned char>(bytes.ptr[i]);
        if (c >= ' ' && c < 0x7f) {
            std::putchar(c);
        } else {
            std::printf("\\x%02x", c);
        }
    }
    std::putchar('\n');
}

void show_key(kx_i64 number, const KeyInfo &key) {
    std::printf("  arrSortKey[%ld]  = \"%s\" srtPos %d len %d type %d srtSeq %d\n", number, printable(key.cmt),
                key.srtPos, key.len, key.type, key.srtSeq);
}

void show_flags_and_sizes(const ArgsInfo *args) {
    show("bMerge", args->bMerge);
    show("bCsv", args->bCsv);
    show("bMemory", args->bMemory);
    show("bFixVar", args->bFixVar);
    show("bStabilize", args->bStabilize);
    show("bUnique", args->bUnique);
    show("recLen", args->recLen);
    show("maxRecLen", args->maxRecLen);
    show("maxCsvNum", args->maxCsvNum);
    show("totalMemSize", args->totalMemSize);
}

void show_files(const ArgsInfo *args) {
    printFileInfo("tmpFile", &args->tmpFile);
    printFileInfo("outFile", &args->outFile);
    printFileInfo("errFile", &args->errFile);
    for (kx_i64 i = 0; i < args->inFileNums; ++i) {
        printFileInfo("arrInFile", &args->arrInFile[i]);
    }
    show("inFileNums", args->inFileNums);
    show("totalFileSize", args->totalFileSize);
    show("totalRecNum", args->totalRecNum);
}

void show_order_and_codes(const ArgsInfo *args) {
    show("bRecSort", args->bRecSort);
    for (kx_i64 k = 0; k < args->keyNums; ++k) {
        show_key(k, args->arrSortKey[k]);
    }
    show("keyNums", args->keyNums);
    show("keyMaxPos", args->keyMaxPos);
    // Until it is converted, a code is a text without a length.
    args->sep_len > 0 ? show("sep", Bytes{args->sep, args->sep_len}) : show("sep", args->sep);
    show("sep_len", args->sep_len);
    args->delimiter_len > 0 ? show("delimiter", Bytes{args->delimiter, args->delimiter_len})
                            : show("delimiter", args->delimiter);
    show("delimiter_len", args->delimiter_len);
    show("bHeader", args->bHeader);
    show("header", Bytes{args->header, args->headerLen});
    show("headerLen", args->headerLen);
    show("quote", Bytes{&args->quote, args->quote != '\0' ? 1 : 0});
    show("bNullLastOut", args->bNullLastOut);
}

void release(char *&text) {
    std::free(text);
    text = nullptr;
}

void release_texts(FileInfo &file) {
    release(file.path);
    release(file.dir);
    release(file.fileName);
}

} // namespace

void printFileInfo(const char *name, const FileInfo *file) {
    std::printf("  %s:\n    path = %s, dir = %s, fileName = %s\n    size = %ld, outSize = %ld, outBufSize = %ld, "
                "outBufOffset = %ld\n",
                name, printable(file->path), printable(file->dir), printable(file->fileName), file->size, file->outSize,
                file->outBufSize, file->outBufOffset);
}

void printArgsInfo(const ArgsInfo *args) {
    std::printf("ArgsInfo:\n");
    show_flags_and_sizes(args);
    show_files(args);
    show_order_and_codes(args);
    std::fflush(stdout);
}

void kx_CleanupArgsInfo(ArgsInfo *args) {
    if (args == nullptr) {
        return;
    }
    args->tmpFile.fileName = nullptr; // always points into the path
    for (FileInfo *file : {&args->tmpFile, &args->outFile, &args->errFile}) {
        release_texts(*file);
        kx_stream_clear(file->file);
    }
    for (kx_i64 i = 0; i < args->inFileNums; ++i) {
        release_texts(args->arrInFile[i]);
        kx_stream_clear(args->arrInFile[i].file);
    }
    std::free(args->arrInFile);
    for (kx_i64 k = 0; k < args->keyNums; ++k) {
        std::free(args->arrSortKey[k].cmt);
    }
    std::free(args->arrSortKey);
    *args = ArgsInfo{};
}

} // namespace orkan
