// kx_error_file.h: the file for records that are too short to hold every sort key.
//
// One file for the run, opened when the first index is built, in complete mode also when there is nothing to index, and
// shared by all inputs and chunks; without -E such records are dropped, or in complete mode end the run.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Opens errFile when -E names a file and it is not open yet. False, with a message, when the run cannot go on.
bool kx_error_file_open();

/// Writes an error record, which stands at `offset` of the buffer being indexed. Without a file it is dropped, in
/// complete mode refused. 0, or 1 with a message.
int kx_error_file_write(Bytes record, kx_i64 offset);

} // namespace orkan
