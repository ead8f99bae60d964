// kx_newline_merge.h: what the merges of newline-ended and CSV records share: records vary in length, and the record
// staged last is remembered in its run's justOut fields.
#pragma once

#include "kx_sort/kx_block_merge.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

/// For blocks and presorted inputs alike.
class kx_newline_runs {
  public:
    static kx_i64 staging_size() { return kx_buffer_bytes(kOutputBufferSize); }
    [[nodiscard]] const kx_prefix_rule &rule() const { return rule_; }
    [[nodiscard]] bool differs(const UnitDataInfo &run) const { return last_ == nullptr || differs_(last_, &run) != 0; }

  protected:
    explicit kx_newline_runs(kx_compare difference) : differs_(difference) {}

    /// The copy in the staging buffer, not the run's own bytes: these move when the buffer is refilled.
    void remember(UnitDataInfo &run, Bytes copy) {
        run.justOutRecLen = copy.len;
        run.justOutRecAddr = copy.ptr;
        last_ = &run;
    }

    /// `locators` are KeyInfo_csv entries at any byte offset. 0, or 1 with a message.
    int remember(UnitDataInfo &run, Bytes copy, Bytes locators) {
        auto *kept = static_cast<KeyInfo_csv *>(kx_realloc(memPool, run.justOutKeyInfo, locators.len));
        if (kept == nullptr) {
            return kx_fail(msg::kBlockInformation, locators.len);
        }
        if (locators.len > 0) {
            std::memcpy(kept, locators.ptr, to_size(locators.len));
        }
        run.justOutKeyInfo = kept;
        run.justOutKeyNum = locators.len / to_i64(sizeof(KeyInfo_csv));
        remember(run, copy);
        return 0;
    }

    kx_prefix_rule rule_ = kx_choose_prefix_rule();

  private:
    kx_compare differs_;
    const UnitDataInfo *last_ = nullptr; ///< the run that the record staged last came from
};

/// For blocks: the budget knows only the longest record.
class kx_newline_blocks : public kx_newline_runs {
  public:
    static kx_i64 longest_record() { return argsInfo.maxRecLen; }

    /// Every record ends with its newline code: what is shorter was not stored so.
    static bool is_record_length(kx_i64 length) { return length >= argsInfo.sep_len && length <= longest_record(); }

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
    static bool stage_is_full(kx_i64 bytes) { return kx_stage_lacks_room(bytes); }

  protected:
    explicit kx_newline_blocks(kx_stream &tmp) : kx_newline_runs(kx_choose_run_difference()), tmp_(tmp) {}

    kx_stream &tmp_;
};

} // namespace orkan
