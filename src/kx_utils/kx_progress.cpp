#include "kx_utils/kx_progress.h"

#include <algorithm>

#include "kx_utils/kx_locale.h"

namespace orkan {

namespace {

/// Of bytes moved in a direction that counts, those that the phase's total has room for: a record cut by a chunk's end
/// is read twice, a CSV record is longer in the temporary file.
kx_i64 within_total(kx_i64 moved) {
    const kx_i64 total = progressCount.now.total;
    return total > 0 ? std::min(moved, total) : moved;
}

kx_i64 done() {
    switch (progressCount.counts) {
    case kx_progress_counts::reads: return within_total(progressCount.read);
    case kx_progress_counts::writes: return within_total(progressCount.written);
    case kx_progress_counts::both:
        return within_total(progressCount.read) / 2 + within_total(progressCount.written) / 2;
    default: return 0;
    }
}

} // namespace

void kx_progress_start(orkan_progress_phase phase, int step, int steps, kx_i64 total, kx_progress_counts counts) {
    const bool to_standard_output = argsInfo.outFile.path == nullptr;
    progressCount = {{phase, step, steps, 0, total, to_standard_output ? 1 : 0, kx_IsJapaneseLocale()}, counts, 0, 0};
    kx_progress_add(0, 0);
}

/// Unique output may be much shorter than the input, so there the blocks count as they are taken.
void kx_progress_start_merge() {
    const kx_i64 input = progressCount.now.total > 0 ? progressCount.now.total : progressCount.read;
    if (argsInfo.bUnique != 0) {
        kx_progress_start(orkan_progress_merging, 2, 2, progressCount.written, kx_progress_counts::reads);
    } else {
        kx_progress_start(orkan_progress_merging, 2, 2, input, kx_progress_counts::writes);
    }
}

void kx_progress_add(kx_i64 read, kx_i64 written) {
    if (VERBOSE != 0 || progressCount.now.steps == 0) { // before the first phase
        return;
    }
    progressCount.read += read;
    progressCount.written += written;
    progressCount.now.done = done();
    orkan_progress_event(&progressCount.now);
}

} // namespace orkan
