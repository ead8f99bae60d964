// kx_driver.h: the driver's phases that have a file of their own.
#pragma once

#include "kx_types/kx_args.h"

namespace orkan {

enum class kx_pool_result {
    ready,        ///< the run goes on as configured
    minimum_only, ///< only the smallest pool could be had: everything is split-sorted
    failed        ///< message printed
};

/// Creates memPool with `wanted` bytes, as kx_calculate_memsize says, with fallbacks to 64 MiB and 16 MiB.
kx_pool_result kx_setup_pool(kx_i64 wanted);

/// Finds the header line of a CSV input of the split phase, which must stand at its start; `length` receives its bytes,
/// newline code included. The first input's line is kept. The stream is left where the search stopped reading: by
/// design what lies between the header's end and there is not sorted. 0, or 1 with a message.
int kx_skip_csv_header(kx_stream &in, const FileInfo &file, kx_i64 &length);

/// Split-sorts every input into one temporary file, merges its blocks into the output and deletes it. 0, or 1 with a
/// message. The file is left behind only when its buffer is refused or it cannot be opened again.
int kx_sort_through_temporary_file();

/// Prints the comparators' call counters and the closing lines of a verbose run.
void kx_print_statistics();
void kx_print_closing_lines();

/// Zeroes the comparators' call counters, except the two that keep counting.
void kx_reset_counters();

/// Releases the run's state, so that the next run of the process starts as the first one did. VERBOSE stays.
void kx_CleanupGlobalVars();

} // namespace orkan
