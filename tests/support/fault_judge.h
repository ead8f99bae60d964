// fault_judge.h: is what a run says about a refused call what it should say?
#pragma once

#include <string>
#include <vector>

#include "kx_utils/kx_fault.h"

namespace support {

/// What of a run's calls is refused, from the n-th on.
enum class Refusal { once, that_site, everything };

const char *name_of(orkan::kx_site site);

/// The lines that begin with the system's mark, names and numbers left out: "☆ Cannot open input file []!".
std::vector<std::string> marked_lines(const std::string &messages);

/// What is wrong with the messages of a failed run, the first of whose refused calls was at this site; "" when nothing
/// is. There is a cause that such a refusal may have, exactly one where only one call was refused, and nothing but what
/// may go with it.
std::string wrong_in_failure(const std::string &messages, orkan::kx_site site, Refusal refusal);

/// The same of a run that succeeded.
std::string wrong_in_success(const std::string &messages, bool error_file_may_fail);

/// The run has said that it goes on without its error file.
bool misses_error_file(const std::string &messages);

/// By its rules the run has left its temporary file.
bool may_leave_temporary_file(const std::string &messages);

bool cannot_make_temporary_file(const std::string &messages);

/// A run without inputs that gets the smallest pool only merges nothing, by design.
bool has_smallest_pool(const std::string &messages);

} // namespace support
