// kx_newline_merge.h: what the block merges of newline-ended and CSV records share. Records vary in length, so the
// budget knows only the longest, and the record staged last is remembered in its run's justOut fields.
#pragma once

#include "kx_sort/kx_merge_loop.h"

namespace orkan {

class kx_newline_merge {
  public:
    static kx_i64 staging_size() { return kStageSize; }
    static kx_i64 longest_record() { return argsInfo.maxRecLen; }

    /// Kept: in unique mode the lines of output buffer and block count appear a second time.
    static void trace_budget() {
        kx_trace(msg::kShowTotalMemory, argsInfo.totalMemSize / 1024, argsInfo.totalMemSize);
        kx_trace(msg::kShowReserve, BASIC_SIZE / 1024, BASIC_SIZE);
        kx_trace_output_and_blocks();
    }
    static kx_i64 block_share(kx_i64 blocks) {
        return (argsInfo.totalMemSize - BASIC_SIZE - argsInfo.outFile.outBufSize) / blocks / 4 * 3;
    }
    static void trace_buffer(kx_i64 number, kx_i64 size) {
        kx_trace(msg::kBlockBufferReady, number, size / 1024, size);
    }
    static void trace_merged(kx_i64 left, const UnitDataInfo &run) {
        kx_trace(msg::kBlockMergedUntimed, left, run.index + 1);
    }

    static kx_head_order order() { return kx_choose_run_order(); }
    [[nodiscard]] bool prefix_decides() const { return rule_.decisive; }

    [[nodiscard]] bool differs(const UnitDataInfo &run) const { return last_ == nullptr || differs_(last_, &run) != 0; }
    static bool stage_is_full(kx_i64 bytes) {
        return argsInfo.outFile.outBufOffset + bytes > argsInfo.outFile.outBufSize;
    }

  protected:
    kx_prefix_rule rule_ = kx_choose_prefix_rule();
    const UnitDataInfo *last_ = nullptr; ///< the run that the record staged last came from

  private:
    kx_compare differs_ = kx_choose_run_difference();
};

} // namespace orkan
