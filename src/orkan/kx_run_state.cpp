#include "orkan/kx_run_state.h"

#include <cstdlib>
#include <cstring>

namespace orkan {

ArgsInfo argsInfo;
kx_mem_pool *memPool;
DataInfo dataInfo;

kx_stream inFile, outFile, tmpFile, errFile;
kx_temporary_identity temporaryFile;
bool completeMode;
kx_data_origin dataOrigin;
kx_sort_scratch sortScratch;
kx_progress_count progressCount;

std::int32_t processId;
kx_i64 startFirst, start, start_tmp, finish;
std::int32_t VERBOSE;

void *recordInfoArray;
KeyInfo_csv *keyInfoArray;
kx_i64 bufDealedSize;
kx_i64 csvKeyLenInTemp;
const char *dataEnd;
kx_number_memo numberMemo;

kx_i64 kx_splitSort_offset_fix, kx_splitSort_offset_variable, kx_splitSort_offset_csv;

kx_i64 cmpList, cmpList_totalRec, cmpList_unit, cmpList_unit_stabilize, cmpList_unit_totalRec,
    cmpList_unit_totalRec_stabilize;
kx_i64 cmpList_variable, cmpList_totalRec_variable, cmpList_unit_variable, cmpList_unit_variable_stabilize,
    cmpList_unit_totalRec_variable, cmpList_unit_totalRec_variable_stabilize;
kx_i64 cmpList_csv, cmpList_totalRec_csv, cmpList_unit_csv, cmpList_unit_csv_stabilize, cmpList_unit_totalRec_csv,
    cmpList_unit_totalRec_csv_stabilize;
kx_i64 cmpList_merge_variable, cmpList_merge_variable_stabilize, cmpList_merge_totalRec_variable,
    cmpList_merge_totalRec_variable_stabilize;
kx_i64 cmpList_merge_csv, cmpList_merge_csv_stabilize, cmpList_merge_totalRec_csv, cmpList_merge_totalRec_csv_stabilize;
kx_i64 cmpIfEqual, cmpIfEqual_variable, cmpIfEqual_csv, cmpIfEqual_unit_variable, cmpIfEqual_unit_csv,
    cmpIfEqual_merge_variable, cmpIfEqual_merge_csv;

void kx_read_complete_mode() {
    const char *wanted = std::getenv("ORKAN_COMPLETE");
    completeMode = wanted != nullptr && *wanted != '\0' && std::strcmp(wanted, "0") != 0;
}

} // namespace orkan
