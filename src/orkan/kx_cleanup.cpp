#include <initializer_list>

#include "kx_getopt/kx_getopt.h"
#include "kx_io/kx_temporary_file.h"
#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_paras/kx_paras.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_index_sort.h"
#include "kx_utils/kx_mapping.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

void release_pool() {
    if (dataInfo.list != nullptr) {
        kx_list_destroy(dataInfo.list, nullptr);
    }
    if (memPool != nullptr) {
        kx_mem_pool_free(memPool);
    }
    dataInfo = DataInfo{};
    memPool = nullptr;
}

} // namespace

void kx_CleanupGlobalVars() {
    for (kx_stream *handle : {&inFile, &outFile, &tmpFile, &errFile}) {
        kx_stream_clear(*handle); // harmless where the driver has closed it already
    }
    kx_temporary_file_forget();
    kx_unmap();
    kx_release_locators();
    dataEnd = nullptr;
    numberMemo.forget_all();
    kx_CleanupArgsInfo(&argsInfo);
    release_pool();
    kx_release_sort_scratch();
    bufDealedSize = csvKeyLenInTemp = 0;
    processId = 0;
    progressCount = {};
    completeMode = false;
    dataOrigin = {};
    kx_splitSort_offset_fix = kx_splitSort_offset_variable = kx_splitSort_offset_csv = 0;
    kx_getopt_reset();
    startFirst = start = start_tmp = finish = 0;
    kx_reset_counters();
    kx_reset_pool_counters();
}

} // namespace orkan
