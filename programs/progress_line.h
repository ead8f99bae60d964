// progress_line.h: what the progress line says and when it changes. Knows neither clock nor terminal.
//
//   sorting blocks  42%  210 MB/s  0:12 left         merging  87%  180 MB/s        reading  1210 MB  95 MB/s
//
// Percent is of the whole run, each of its phases an equal share; MB/s (10^6 bytes) of the present phase; the time left
// supposes that the rest goes as this phase has gone so far. Of standard input no size is known: then the bytes so far
// stand in place of percent.
#pragma once

#include <cstdint>
#include <string>

#include "kx_utils/kx_progress_hook.h"

/// What one line shows.
struct ProgressView {
    orkan_progress_phase phase = orkan_progress_reading;
    int percent = -1;                   ///< below 0: not known
    std::int64_t bytes = 0;             ///< of this phase
    std::int64_t bytes_per_second = -1; ///< below 0: not shown
    std::int64_t seconds_left = -1;     ///< below 0: not shown
    bool japanese = false;
};

/// The line in at most `columns` - 1 columns, so that it never wraps: what does not fit is left out from the right.
std::string progress_text(const ProgressView &view, int columns);

/// Columns that a text of ASCII and wide characters takes.
int progress_columns(const std::string &text);

/// Follows one run, which began at `now`. All times are milliseconds of any steady clock.
class ProgressPace {
  public:
    explicit ProgressPace(std::int64_t now) : run_began_(now) {}

    /// Takes in where the run is. True when the line is to be drawn anew: a second after the start at the earliest,
    /// then at each new phase and every tenth of a second.
    bool advance(const orkan_progress &progress, std::int64_t now);

    /// What to show of the latest state.
    [[nodiscard]] ProgressView view() const;

  private:
    [[nodiscard]] double share_done() const;
    [[nodiscard]] std::int64_t seconds_left() const;

    std::int64_t run_began_, phase_began_ = 0, drawn_ = 0, now_ = 0;
    orkan_progress latest_{};
};
