// kx_writers.h: lists of located records out again, to the output or to the temporary file.
//
//   temporary record   fixed     recLen bytes
//                      variable  int32 len | len bytes
//                      CSV       int32 len | int32 num | num x (int32 srtPos, int32 len) | len bytes
//
// Integers in the machine's byte order. Record bytes go out as they lie in memory; nothing is added.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_types/kx_unit.h"
#include "kx_utils/kx_message.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// Bytes of the buffer of every output stream, and of the staging buffer of unique output.
inline constexpr kx_i64 kOutputBufferSize = 655360;

/// Writes all records of the list in its order, behind the CSV header if there is one. To `out`, which stays open, or
/// (null) to the output file or standard output, opened and closed here. 0, or 1: message printed, or no list.
int kx_outputFile_list(const kx_list *list, kx_stream *out);

/// As kx_outputFile_list, but a record equal to its predecessor in the list is left out. An empty list writes nothing,
/// not even the header.
int kx_outputFile_list_unique(const kx_list *list, kx_stream *out);

/// Appends all records as temporary records. unit->size and totalRecNum become what was written, except for
/// fixed-length records, whose caller counts (unit may be null for them). 0, or -1 when writing failed.
int kx_outputTempFile_list(const kx_list *list, kx_stream &to, UnitDataInfo *unit);

/// As kx_outputTempFile_list without records equal to their predecessor; counts every format.
int kx_outputTempFile_list_unique(const kx_list *list, kx_stream &to, UnitDataInfo *unit);

/// Writes the header line that was kept, where -H asks for it. False when writing failed.
bool kx_write_csv_header(kx_stream &to);

/// Opens the output file (when refused, `cannot_create` is printed with its path), or borrows standard output, as
/// outFile; unbuffered. 0, or 1 with the message printed.
int kx_open_output(const kx_message<const char *> &cannot_create);

/// Closes outFile. 0, or 1 with a message when flushing or closing fails.
int kx_close_output();

/// Prints that writing the output failed, naming the file or standard output; 1.
int kx_output_failed();

} // namespace orkan
