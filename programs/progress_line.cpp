#include "progress_line.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::int64_t kQuietAtFirst = 1000; ///< milliseconds: short runs show nothing
constexpr std::int64_t kBetweenLines = 100;
constexpr std::int64_t kUntilPaceIsKnown = 500; ///< of a phase
constexpr std::int64_t kMegabyte = 1000000;
constexpr std::int64_t kMostHours = 99;
constexpr const char *kGap = "  ";

const char *name_of(orkan_progress_phase phase, bool japanese) {
    switch (phase) {
    case orkan_progress_reading: return japanese ? "読み込み中" : "reading";
    case orkan_progress_sorting: return japanese ? "ソート中" : "sorting";
    case orkan_progress_writing: return japanese ? "書き込み中" : "writing";
    case orkan_progress_splitting: return japanese ? "分割ソート中" : "sorting blocks";
    default: return japanese ? "マージ中" : "merging";
    }
}

/// One decimal below 10.
std::string megabytes(std::int64_t bytes) {
    const std::int64_t tenths = bytes / (kMegabyte / 10);
    const std::string whole = std::to_string(tenths / 10);
    return tenths < 100 ? whole + "." + std::to_string(tenths % 10) : whole;
}

std::string two_digits(std::int64_t n) { return std::to_string(n / 10) + std::to_string(n % 10); }

/// m:ss or h:mm:ss
std::string duration(std::int64_t seconds) {
    const std::int64_t minutes = seconds / 60, hours = minutes / 60;
    const std::string in_front =
        hours > 0 ? std::to_string(hours) + ":" + two_digits(minutes % 60) : std::to_string(minutes);
    return in_front + ":" + two_digits(seconds % 60);
}

std::string time_left(const ProgressView &view) {
    if (view.seconds_left < 0 || view.seconds_left / 3600 > kMostHours) {
        return "";
    }
    const std::string time = duration(view.seconds_left);
    return view.japanese ? "残り " + time : time + " left";
}

/// The fields from left to right; an empty one is not there.
std::array<std::string, 4> fields_of(const ProgressView &view) {
    const bool counts = view.bytes_per_second >= 0;
    return {name_of(view.phase, view.japanese),
            view.percent >= 0 ? std::to_string(view.percent) + "%" : megabytes(view.bytes) + " MB",
            counts ? megabytes(view.bytes_per_second) + " MB/s" : "", time_left(view)};
}

} // namespace

int progress_columns(const std::string &text) {
    int columns = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool ascii = byte < 0x80, first_of_several = byte >= 0xC0;
        columns += ascii ? 1 : first_of_several ? 2 : 0;
    }
    return columns;
}

std::string progress_text(const ProgressView &view, int columns) {
    std::string line;
    for (const std::string &field : fields_of(view)) {
        if (field.empty()) {
            continue;
        }
        const std::string longer = line.empty() ? field : line + kGap + field;
        if (progress_columns(longer) >= columns) {
            break;
        }
        line = longer;
    }
    return line;
}

bool ProgressPace::advance(const orkan_progress &progress, std::int64_t now) {
    const bool new_phase = progress.step != latest_.step || progress.phase != latest_.phase;
    if (new_phase) {
        phase_began_ = now;
    }
    latest_ = progress;
    now_ = now;
    const bool due = now - run_began_ >= kQuietAtFirst && (new_phase || now - drawn_ >= kBetweenLines);
    if (due) {
        drawn_ = now;
    }
    return due;
}

/// Of the present phase, 0 to 1.
double ProgressPace::share_done() const {
    return latest_.total > 0 ? static_cast<double>(latest_.done) / static_cast<double>(latest_.total) : 0.0;
}

std::int64_t ProgressPace::seconds_left() const {
    const std::int64_t lasted = now_ - phase_began_;
    const double done = share_done();
    if (lasted < kUntilPaceIsKnown || done <= 0) {
        return -1;
    }
    const double rest = static_cast<double>(latest_.steps - latest_.step + 1) - done;
    constexpr double kNever = 1e9;
    return static_cast<std::int64_t>(std::min(static_cast<double>(lasted) / 1000 * rest / done + 0.5, kNever));
}

ProgressView ProgressPace::view() const {
    ProgressView view;
    view.phase = latest_.phase;
    view.japanese = latest_.japanese != 0;
    view.bytes = latest_.done;
    const bool size_known = latest_.total > 0 || latest_.phase != orkan_progress_reading;
    if (size_known && latest_.steps > 0) {
        view.percent = static_cast<int>(100 * (latest_.step - 1 + share_done()) / latest_.steps);
    }
    const std::int64_t lasted = now_ - phase_began_;
    if (lasted > 0 && latest_.done > 0) {
        view.bytes_per_second =
            static_cast<std::int64_t>(static_cast<double>(latest_.done) * 1000 / static_cast<double>(lasted));
    }
    view.seconds_left = seconds_left();
    return view;
}
