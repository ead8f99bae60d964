// kx_args.h: the configuration of one run: ArgsInfo, its files (FileInfo) and sort keys (KeyInfo).
//
// kx_paras fills it from the argument vector (raw values) and derives the rest; from the pool's creation on the
// sorts only read it, except for the totals and maxima that the text marks. A value-initialised ArgsInfo is the
// empty configuration.
#pragma once

#include "kx_types/kx_bytes.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

struct UnitDataInfo;

/// One file. `path`, `dir`, `fileName` are system memory, owned, unless the field's owner says otherwise.
struct FileInfo {
    char *path;
    char *dir;      ///< folder of the path, with a trailing "/"; null when the path has none
    char *fileName; ///< the part behind the folder
    kx_i64 size;    ///< bytes
    kx_i64 outSize; ///< bytes written, or consumed by a merge
    kx_stream file;
    char *outBuf; ///< staging buffer of unique output
    kx_i64 outBufSize;
    kx_i64 outBufOffset;
    UnitDataInfo *unitDataInfo; ///< the run that this file takes part in during a merge
    kx_i64 end;                 ///< where this input's bytes end among those of all inputs (complete mode)
};

/// Values of KeyInfo::type. Only Num is compared by value; the others compare bytes.
inline constexpr std::int32_t kTypeAscii = 1, kTypeNum = 2, kTypeDatetime = 3;
/// Values of KeyInfo::srtSeq.
inline constexpr std::int32_t kSeqAsc = 1, kSeqDesc = 2;
/// Values of ArgsInfo::bFixVar.
inline constexpr kx_i64 kFix = 1, kVariable = 2;
/// Values of ArgsInfo::bRecSort.
inline constexpr kx_i64 kRecSortNone = 0, kRecSortAsc = 1, kRecSortDesc = 2;

/// One sort key.
struct KeyInfo {
    char *cmt;           ///< the option's argument as given; system memory, owned
    std::int32_t srtPos; ///< byte position from 0, or CSV column from 1
    std::int32_t len;    ///< bytes; 0 when not given and for CSV
    std::int32_t type;
    std::int32_t srtSeq;
};

struct ArgsInfo {
    kx_i64 bMerge;
    kx_i64 bCsv;
    kx_i64 bMemory;
    kx_i64 bFixVar;
    kx_i64 bStabilize;
    kx_i64 bUnique;
    kx_i64 recLen;
    kx_i64 maxRecLen;    ///< longest record met so far, raised by the index builders
    kx_i64 maxCsvNum;    ///< largest number of CSV columns; derived by nobody yet
    kx_i64 totalMemSize; ///< the -W budget in bytes; the pool's size once it exists
    FileInfo tmpFile;
    FileInfo outFile;
    FileInfo errFile;
    FileInfo *arrInFile; ///< system memory, owned
    kx_i64 inFileNums;
    kx_i64 pipeNums;      ///< of them, pipes (complete mode); then no size is known and all totals are 0
    kx_i64 totalFileSize; ///< bytes of all inputs; after loading, the bytes loaded
    kx_i64 totalRecNum;
    kx_i64 bRecSort;
    KeyInfo *arrSortKey; ///< system memory, owned
    kx_i64 keyNums;
    kx_i64 keyMaxPos;
    const char *sep; ///< newline code; borrowed from the argument vector or constant
    kx_i64 sep_len;
    const char *delimiter; ///< borrowed like sep
    kx_i64 delimiter_len;
    kx_i64 bHeader;
    char *header; ///< the first input's header line; pool memory
    kx_i64 headerLen;
    char quote;
    kx_i64 bNullLastOut;
};

} // namespace orkan
