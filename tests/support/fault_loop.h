// fault_loop.h: a run again and again in one process, each time with another call of the operating system refused,
// until a run comes to its end before the call to be refused.
//
//   const LoopResult result = refuse_every_call(box, c);     // in a child process
//
// Every run is judged: its status and messages, what it wrote, what it left, and whether the next run of the process
// sorts as if nothing had happened.
#pragma once

#include <map>
#include <string>

#include "support/fault_case.h"
#include "support/fault_judge.h"
#include "support/run.h"

namespace support {

inline constexpr Refusal kRefusals[] = {Refusal::once, Refusal::that_site, Refusal::everything};

struct LoopResult {
    int complaints = 0;
    int positions = 0;                ///< calls of a run in which nothing is refused
    std::map<std::string, int> sites; ///< how many of them are at each site
    std::string text;                 ///< the complaints
};

/// The box is the working directory.
LoopResult refuse_every_call(const Box &box, const FaultCase &c);

} // namespace support
