// kx_run_state.h: every process-wide variable of a run (the option scanner and the pool's counters keep theirs in
// their own headers).
//
// One run at a time: nothing is locked. kx_CleanupGlobalVars brings all of it back to zero, except VERBOSE and the
// two counters marked in kx_statistics.cpp.
#pragma once

#include <sys/types.h>

#include "kx_types/kx_args.h"
#include "kx_types/kx_unit.h"
#include "kx_utils/kx_number_memo.h"
#include "kx_utils/kx_progress_hook.h"

namespace orkan {

struct kx_mem_pool;

extern ArgsInfo argsInfo;    ///< the configuration; written by kx_paras, totals by the sorts
extern kx_mem_pool *memPool; ///< created by the driver
extern DataInfo dataInfo;    ///< the blocks of the split phase; written by the driver and the split sorts

extern kx_stream inFile, outFile, tmpFile, errFile;

/// What the temporary file is known by from its creation on; written by kx_temporary_file.
struct kx_temporary_identity {
    int lock; ///< descriptor that keeps the file locked; 0: none
    dev_t device;
    ino_t inode;
    bool exists;
};
extern kx_temporary_identity temporaryFile;

/// ORKAN_COMPLETE asks for the complete mode (docs/complete.md); read once, when a run starts.
extern bool completeMode;
void kx_read_complete_mode();

/// What complete mode promises, asked where a rule of the system would break it: no record is lost, ...
inline bool keeps_every_record() { return completeMode; }
/// ... and every path orders records alike.
inline bool orders_alike() { return completeMode; }
/// ... whose numbers end with their keys.
inline bool numbers_end_with_keys() { return completeMode; }
/// Then under -U an empty numeric CSV column is a key of its own.
inline bool tells_empty_from_zero() { return completeMode && argsInfo.bUnique != 0; }

/// In complete mode: whose bytes lie in the buffer that is being indexed (kx_io/kx_origin.h).
struct kx_data_origin {
    const FileInfo *inputs; ///< one behind the other, each with its `end`; that of the last one does not count
    kx_i64 count;           ///< 0: standard input
    kx_i64 gone;            ///< bytes of these inputs that were in the buffer before
};
extern kx_data_origin dataOrigin;

/// System memory for sorting an index, kept from block to block; written by kx_index_sort.
struct kx_sort_scratch {
    char *memory;
    kx_i64 size; ///< bytes
};
extern kx_sort_scratch sortScratch;

/// What the present phase has moved; written by kx_progress.
enum class kx_progress_counts { nothing, reads, writes, both };
struct kx_progress_count {
    orkan_progress now; ///< as last told; no steps: before the first phase
    kx_progress_counts counts;
    kx_i64 read, written; ///< bytes
};
extern kx_progress_count progressCount;

extern std::int32_t processId;
extern kx_i64 startFirst, start, start_tmp, finish; ///< clock() readings of the verbose timings
extern std::int32_t VERBOSE;                        ///< set by -Verbose, cleared by nobody: survives the run

extern void *recordInfoArray;     ///< pool block of the last index's RecordInfo or RecordInfo_csv
extern KeyInfo_csv *keyInfoArray; ///< pool block of the last CSV index's field locators
extern kx_i64 bufDealedSize;      ///< bytes of the buffer that the last index build covered
extern kx_i64 csvKeyLenInTemp;    ///< cleared, otherwise unused
extern const char *dataEnd;       ///< one past the last byte of the data behind the current index; no key is
                                  ///< parsed beyond it. Set by the index builders
extern kx_number_memo numberMemo; ///< of the data behind the current index, and of the buffers of a merge

/// The data of an index begin: numbers will be looked for in these bytes.
inline void kx_data_in(Bytes data) {
    numberMemo.forget(data);
    dataEnd = data.ptr + data.len;
}

extern kx_i64 kx_splitSort_offset_fix, kx_splitSort_offset_variable, kx_splitSort_offset_csv; ///< bytes

/// Calls of each comparator while VERBOSE is set; named like the comparator without its leading underscore.
extern kx_i64 cmpList, cmpList_totalRec, cmpList_unit, cmpList_unit_stabilize, cmpList_unit_totalRec,
    cmpList_unit_totalRec_stabilize;
extern kx_i64 cmpList_variable, cmpList_totalRec_variable, cmpList_unit_variable, cmpList_unit_variable_stabilize,
    cmpList_unit_totalRec_variable, cmpList_unit_totalRec_variable_stabilize;
extern kx_i64 cmpList_csv, cmpList_totalRec_csv, cmpList_unit_csv, cmpList_unit_csv_stabilize,
    cmpList_unit_totalRec_csv, cmpList_unit_totalRec_csv_stabilize;
extern kx_i64 cmpList_merge_variable, cmpList_merge_variable_stabilize, cmpList_merge_totalRec_variable,
    cmpList_merge_totalRec_variable_stabilize;
extern kx_i64 cmpList_merge_csv, cmpList_merge_csv_stabilize, cmpList_merge_totalRec_csv,
    cmpList_merge_totalRec_csv_stabilize;
extern kx_i64 cmpIfEqual, cmpIfEqual_variable, cmpIfEqual_csv, cmpIfEqual_unit_variable, cmpIfEqual_unit_csv,
    cmpIfEqual_merge_variable, cmpIfEqual_merge_csv;

/// Counts one call in a verbose run.
inline void count_call(kx_i64 &counter) {
    if (VERBOSE != 0) {
        ++counter;
    }
}

} // namespace orkan
