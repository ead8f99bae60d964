// complete_model.h: what complete mode owes, said as plainly as possible: each input on its own, every record once.
//
//   const CompleteResult expected = complete_sort({.job = job, .inputs = {"b\n", "a"}});
//   EXPECT_EQ(box.read("out"), expected.output());   // of a stable sort
#pragma once

#include <string>
#include <vector>

#include "support/job.h"

namespace support {

struct CompleteTask {
    Job job;
    bool header = false;             ///< each CSV input begins with a header line
    std::vector<std::string> inputs; ///< their bytes
};

struct CompleteResult {
    bool broken = false;               ///< an input has a fragment or an unbalanced quote: the run must fail
    std::string header;                ///< of the first input that has one
    std::vector<Item> items;           ///< the records that have all keys, in input order
    std::vector<Item> sorted;          ///< in order, with -U the first of each key
    std::vector<std::string> rejected; ///< the others, sorted by their bytes

    [[nodiscard]] std::string output() const { return header + joined(sorted); }
};

CompleteResult complete_sort(const CompleteTask &task);

/// The inputs, each sorted on its own by the task's own rules, header lines in front.
std::vector<std::string> presorted_inputs(const CompleteTask &task);

} // namespace support
