// presorted_model.h: the merge of presorted inputs by the literal procedure, over strings. Format, keys and options are
// those of the run's state.
#pragma once

#include <string>
#include <vector>

#include "support/job.h"

namespace support {

/// What the inputs merge to. The job must be the one that the state was configured with.
std::string model_presorted(const Job &job, const std::vector<std::string> &inputs);

/// The inputs that take part: all in front of the first empty one.
std::vector<std::string> inputs_in_use(std::vector<std::string> inputs);

/// The data in order, as an input should be.
std::string presorted(const Job &job, const std::string &data);

} // namespace support
