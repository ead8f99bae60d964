// kx_stdin.h: the sort of standard input.
#pragma once

namespace orkan {

/// Sorts the records arriving on standard input, of any format and amount: in memory when all of them come with the
/// first chunk, else through the temporary file. 0, or 1 with a message. Without any data the process ends, status 0.
int kx_stdin();

} // namespace orkan
