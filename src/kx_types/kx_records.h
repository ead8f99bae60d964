// kx_records.h: record locators (what an index item points at) and the headers of records in the temporary file.
//
//   fixed-length   item -> the record's first byte; every record has ArgsInfo::recLen bytes
//   variable       item -> RecordInfo
//   CSV            item -> RecordInfo_csv -> KeyInfo_csv[num]
//
// Lengths include the record's newline code.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

struct kx_list;

/// One variable-length record.
struct RecordInfo {
    std::int32_t len;
    const char *addr;
};

/// One field of a CSV record: its offset from the record's first byte, and its length (0 for an empty field).
struct KeyInfo_csv {
    std::int32_t srtPos;
    std::int32_t len;
};

/// One CSV record. With sort keys, keyInfo[k] is the field of key k; without, there is one entry per field.
struct RecordInfo_csv {
    const char *addr;
    std::int32_t len;
    KeyInfo_csv *keyInfo;
    std::int32_t num;
};

/// What stands in front of a CSV record in the temporary file; `num` KeyInfo_csv follow, then `len` record bytes.
struct RecordInfo_csv_temp {
    std::int32_t len;
    std::int32_t num;
};

/// What stands in front of a variable-length record in the temporary file: the record's length.
using RecordLength_temp = std::int32_t;

static_assert(sizeof(RecordInfo) == 16 && sizeof(RecordInfo_csv) == 32);
static_assert(sizeof(KeyInfo_csv) == 8 && sizeof(RecordInfo_csv_temp) == 8 && sizeof(RecordLength_temp) == 4);

/// A set of blocks, or one loaded block: the list over it, how many items it counts, the bytes of a buffer.
struct DataInfo {
    kx_list *list;
    kx_i64 cnt;
    kx_i64 bufSize;
};

} // namespace orkan
