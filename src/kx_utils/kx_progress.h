// kx_progress.h: how far the run is: the driver names the phases, the streams count the bytes, and kx_progress_hook.h
// hands both to the program around the library. Without its hook each of these is one test of an address.
//
//   path               step 1 of 2 or 3        step 2           step 3
//   in memory          reading (in)            sorting          writing (out)
//   split and merge    splitting (in, out)     merging (out)
//   standard input     reading (size unknown)  as one of those two
//   presorted merge    merging (in), the only step
//
// In parentheses the direction whose bytes make up the phase; where both do, half of their sum.
#pragma once

#include "kx_utils/kx_progress_hook.h"
#include "orkan/kx_run_state.h"

namespace orkan {

void kx_progress_start(orkan_progress_phase phase, int step, int steps, kx_i64 total, kx_progress_counts counts);
void kx_progress_start_merge();
void kx_progress_add(kx_i64 read, kx_i64 written);

/// A phase over `total` bytes (0: not known) starts.
inline void kx_progress_begin(orkan_progress_phase phase, int step, int steps, kx_i64 total,
                              kx_progress_counts counts) {
    if (orkan_progress_event != nullptr) {
        kx_progress_start(phase, step, steps, total, counts);
    }
}

/// The merge of what the phase before has written to the temporary file starts.
inline void kx_progress_begin_merge() {
    if (orkan_progress_event != nullptr) {
        kx_progress_start_merge();
    }
}

/// Bytes have come from, or gone to, a file or standard stream.
inline void kx_progress_read(kx_i64 bytes) {
    if (orkan_progress_event != nullptr) {
        kx_progress_add(bytes, 0);
    }
}
inline void kx_progress_written(kx_i64 bytes) {
    if (orkan_progress_event != nullptr) {
        kx_progress_add(0, bytes);
    }
}

/// A message follows.
inline void kx_progress_step_aside() {
    if (orkan_progress_event != nullptr) {
        orkan_progress_event(nullptr);
    }
}

} // namespace orkan
