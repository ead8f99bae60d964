// complete_runs.h: the same task in complete mode along every path, with a budget of a few hundred bytes, so that a
// handful of records makes many blocks and cut records.
#pragma once

#include <string>
#include <vector>

#include "support/complete_model.h"
#include "support/run_state.h"

namespace support {

enum class Path { in_memory, split, standard_input, pipes, presorted, presorted_pipes };
inline constexpr Path kUnsortedPaths[] = {Path::in_memory, Path::split, Path::standard_input, Path::pipes};
inline constexpr Path kPresortedPaths[] = {Path::presorted, Path::presorted_pipes};
std::string name_of(Path path);

class CompleteRuns : public RunState {
  protected:
    struct Result {
        int status = 0;
        std::string out, messages;
        std::vector<std::string> errors; ///< the records of the error file, sorted by their bytes
    };

    /// Sorts within `above` bytes beyond the reserve. Standard input gets the inputs one behind the other.
    Result run(Path path, const CompleteTask &task, kx_i64 above, bool verbose = false);

    Box box;

  private:
    static int sort(Path path, const std::vector<std::string> &arguments, kx_i64 above);
};

} // namespace support
