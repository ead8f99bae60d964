// kx_progress_hook.h: tells the program around the library how far a run is, so that a command may show it. The
// library prints nothing of it: without a program that defines the hook nothing happens, nor does it in a verbose run.
#pragma once

#include <cstdint>

extern "C" {

enum orkan_progress_phase {
    orkan_progress_reading,   ///< inputs into memory; standard input altogether, wherever it goes
    orkan_progress_sorting,   ///< in memory; tells no bytes
    orkan_progress_writing,   ///< sorted records to the output
    orkan_progress_splitting, ///< inputs in sorted blocks to the temporary file
    orkan_progress_merging    ///< blocks or presorted inputs to the output
};

struct orkan_progress {
    enum orkan_progress_phase phase;
    int step, steps;        ///< the phase is number `step`, from 1, of about `steps` of the run
    std::int64_t done;      ///< bytes of the phase's data that are dealt with; never falls within a phase
    std::int64_t total;     ///< at most so many, or 0 where that is not known
    int to_standard_output; ///< not to a file with a name
    int japanese;           ///< the language of the run's messages
};

/// Defined by the program, or not at all. Called at the start of each phase and whenever bytes have been moved; with
/// null when the library is about to print. `now` is valid during the call only.
[[gnu::weak, gnu::visibility("default")]] void orkan_progress_event(const orkan_progress *now);
}
