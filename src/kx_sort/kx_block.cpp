#include "kx_sort/kx_block.h"

#include "kx_io/kx_writers.h"
#include "kx_sort/kx_index_sort.h"
#include "kx_sort/kx_unit.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

int write_block(const kx_list *list, UnitDataInfo &unit, const kx_block_place &place) {
    if (argsInfo.bUnique != 0) {
        return kx_outputTempFile_list_unique(list, place.tmp, &unit);
    }
    if (place.caller_size == kWriterCounts) {
        return kx_outputTempFile_list(list, place.tmp, &unit);
    }
    unit.size = place.caller_size;
    unit.totalRecNum = kx_list_len(list);
    return kx_outputTempFile_list(list, place.tmp, nullptr);
}

} // namespace

int kx_add_block(kx_list *list, kx_block_place place) {
    if (kx_sort_index(list, argsInfo.bStabilize == 1) != 0) {
        return kx_fail(place.sort_failure);
    }
    UnitDataInfo *unit = kx_append_block(place.position);
    if (unit == nullptr) {
        return 1;
    }
    if (write_block(list, *unit, place) < 0) {
        return kx_fail(msg::kWriteTemporaryFile);
    }
    place.position += unit->size;
    kx_trace(msg::kBlockWritten, dataInfo.cnt);
    return 0;
}

} // namespace orkan
