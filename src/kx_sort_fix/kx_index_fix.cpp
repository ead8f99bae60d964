#include "kx_sort_fix/kx_sort_fix.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

kx_list *no_memory_for(kx_i64 records) {
    kx_say(msg::kNoMemory, kib_round_up(multiply_saturating(records, to_i64(sizeof(void *)))));
    return nullptr;
}

} // namespace

kx_list *_kx_get_indexList(const char *buf, kx_i64 size) {
    const kx_i64 records = size / argsInfo.recLen;
    kx_list *list = __kx_list_create();
    if (list == nullptr || kx_list_init(list, records) != 0) {
        kx_list_destroy(list, nullptr);
        return no_memory_for(records);
    }
    for (kx_i64 i = 0; i < records; ++i) {
        kx_list_set(list, i, const_cast<char *>(buf + i * argsInfo.recLen));
    }
    kx_data_in({buf, size});
    if (VERBOSE != 0) {
        finish = kx_clock(); // Kept: the time runs from whatever stamp the caller set last.
        kx_say(msg::kIndexTook, __func__, elapsed_ms(start, finish));
    }
    return list;
}

} // namespace orkan
