// complete_both.h: the same call without and with complete mode.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "support/run.h"

namespace support {

struct Both {
    Outcome usual, complete;
};

inline void choose_mode(bool complete) { complete ? setenv("ORKAN_COMPLETE", "1", 1) : unsetenv("ORKAN_COMPLETE"); }

/// `before` is called in each run's process.
inline Both run_both(
    const Box &box, const std::vector<std::string> &args, const std::string &input = "",
    const std::function<void()> &before = [] {}) {
    const auto run = [&](bool complete) {
        return box.run({.args = args, .input = input, .before = [&before, complete] {
                            choose_mode(complete);
                            before();
                        }});
    };
    return {run(false), run(true)};
}

inline bool says(const Outcome &outcome, const std::string &message) {
    return outcome.err.find(message) != std::string::npos;
}

} // namespace support
