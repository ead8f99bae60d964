// kx_unit.h: one run of a merge: a sorted block of the temporary file, or one presorted input.
//
//   temporary file   | ... | block: size bytes from startPos          | ... |
//                                |<- offset bytes read ->|
//   buf              | taken records | current record ... |  bufSize bytes held
//                                    ^ bufOffset
#pragma once

#include "kx_types/kx_records.h"

namespace orkan {

struct FileInfo;

struct UnitDataInfo {
    kx_i64 startPos;             ///< position of the block's first byte in the temporary file; 0 for an input
    kx_i64 size;                 ///< bytes of the block
    kx_i64 totalRecNum;          ///< records of the block
    kx_i64 offset;               ///< bytes of the block already read into buf
    kx_i64 currRec;              ///< records already taken by the merge
    char *buf;                   ///< the run's buffer; pool memory owned by the descriptor
    kx_i64 bufSize;              ///< bytes held in buf (its capacity before the first fill)
    kx_i64 bufOffset;            ///< position of the current record in buf
    kx_i64 index;                ///< number of the run, 0 first; the stable merge breaks ties by it
    kx_i64 justOutRecLen;        ///< length of the record last output from this run
    kx_i64 justOutKeyNum;        ///< its number of field locators (CSV)
    KeyInfo_csv *justOutKeyInfo; ///< a copy of them (CSV); pool memory owned by the descriptor
    const char *justOutRecAddr;  ///< its bytes
    FileInfo *fileInfo;          ///< the input this run reads; null for blocks of the temporary file
    kx_list *RecordList;         ///< index of the records in buf (presorted variable and CSV inputs)
};

} // namespace orkan
