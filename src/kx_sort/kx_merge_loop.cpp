#include "kx_sort/kx_merge_loop.h"

namespace orkan {

int kx_open_merge_output(kx_stream &out, kx_i64 staging_size) {
    if (argsInfo.bUnique != 0) {
        return kx_stage_open(staging_size);
    }
    return kx_stream_set_buffer(out, kOutputBufferSize) ? 0 : kx_fail(msg::kOutputBuffer.japanese_only());
}

void kx_finish_merge() {
    const kx_i64 before = kx_clock();
    for (kx_i64 i = 0; i < kx_list_len(dataInfo.list); ++i) {
        kx_unitDataInfo_destroy(static_cast<UnitDataInfo *>(kx_list_get(dataInfo.list, i)));
    }
    kx_list_delete(dataInfo.list, 0, kx_list_len(dataInfo.list));
    if (argsInfo.bUnique != 0) {
        kx_stage_close();
    }
    kx_say(msg::kReleaseTook, elapsed_ms(before, kx_clock()));
}

} // namespace orkan
