// kx_inmemory.cpp: index, sort the index, write, release; the data never move.
#include "kx_sort/kx_inmemory.h"

#include "kx_io/kx_load.h"
#include "kx_io/kx_writers.h"
#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_index_sort.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_progress.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// Prints what the stretch since `start` took, and restarts `start`.
void trace_stretch(const kx_message<double> &message) {
    if (VERBOSE != 0) {
        finish = kx_clock();
        kx_say(message, elapsed_ms(start, finish));
        start = kx_clock();
    }
}

void release_all(kx_list *list, char *buf) {
    kx_release_locators();
    kx_list_destroy(list, nullptr);
    kx_release_input(buf);
}

int sort_in_memory(char *buf, kx_i64 size, bool stable) {
    if (VERBOSE != 0) {
        start = kx_clock();
    }
    kx_progress_begin(orkan_progress_sorting, 2, 3, 0, kx_progress_counts::nothing);
    const bool nothing = size < 1 && !keeps_every_record();
    kx_list *list = nothing ? nullptr : kx_build_index(buf, size, true);
    if (kx_check_input() != 0 || (list == nullptr && keeps_every_record())) {
        return 1; // before the output is touched
    }
    if (argsInfo.totalRecNum == 0) {
        argsInfo.totalRecNum = kx_list_len(list);
    }
    if (list != nullptr && kx_sort_index(list, stable) != 0) {
        return kx_fail(msg::kStableSortFailed);
    }
    if (kx_check_input() != 0) {
        return 1;
    }
    trace_stretch(stable ? msg::kStableSortTook : msg::kUnstableSortTook);
    kx_progress_begin(orkan_progress_writing, 3, 3, size, kx_progress_counts::writes);
    const auto output = argsInfo.bUnique == 1 ? kx_outputFile_list_unique : kx_outputFile_list;
    const bool written = output(list, nullptr) == 0;
    if (kx_check_input() != 0 || !written) {
        return 1; // nothing freed: the driver gives the whole pool back
    }
    trace_stretch(msg::kOutputTook);
    release_all(list, buf);
    trace_stretch(msg::kReleaseTook);
    return 0;
}

} // namespace

int kx_qsortInMemory(char *buf, kx_i64 size) { return sort_in_memory(buf, size, false); }

int kx_msortInMemory(char *buf, kx_i64 size) { return sort_in_memory(buf, size, true); }

} // namespace orkan
