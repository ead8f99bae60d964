// kx_stdin.h: the sort of standard input.
#pragma once

namespace orkan {

/// Sorts the records arriving on standard input. 0, or 1 on failure.
int kx_stdin();

} // namespace orkan
