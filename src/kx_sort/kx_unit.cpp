#include "kx_sort/kx_unit.h"

#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

UnitDataInfo *kx_unitDataInfo_create() {
    auto *unit = static_cast<UnitDataInfo *>(kx_malloc(memPool, to_i64(sizeof(UnitDataInfo))));
    if (unit != nullptr) {
        *unit = UnitDataInfo{};
    }
    return unit;
}

void kx_unitDataInfo_destroy(UnitDataInfo *unit) {
    if (unit == nullptr) {
        return;
    }
    kx_free(memPool, unit->buf);
    kx_free(memPool, unit->justOutKeyInfo);
    kx_free(memPool, unit);
}

UnitDataInfo *kx_append_block(kx_i64 position) {
    UnitDataInfo *unit = kx_unitDataInfo_create();
    if (unit == nullptr || kx_list_append(dataInfo.list, unit) != 0) {
        kx_unitDataInfo_destroy(unit);
        kx_say(msg::kBlockInformation, to_i64(sizeof(UnitDataInfo)));
        return nullptr;
    }
    ++dataInfo.cnt;
    unit->startPos = position;
    return unit;
}

} // namespace orkan
