// kx_temporary_file.h: the run's one temporary file.
//
// Its name is predictable and its folder may be shared with strangers. So it is created exclusively, with mode 0600,
// and kept locked while the run lives; it is opened again and removed only while the path still leads to the file that
// was created. Where something stands already:
//
//   a symbolic link of the effective user     followed, as an ordinary open would
//   a file of the effective user with one     a leftover: overwritten
//   link that no live run has locked
//   anything else                             refused
#pragma once

#include "kx_utils/kx_stream.h"

namespace orkan {

/// Creates the file, open for writing. False when that is refused; errno tells why.
bool kx_temporary_file_create(kx_stream &s, const char *path);

/// Creates the configured file as tmpFile after a look at its folder. 0, or 1 with a message.
int kx_create_temporary_file();

/// Opens it for reading. False when that fails or another file stands there now.
bool kx_temporary_file_reopen(kx_stream &s, const char *path);

/// Removes it. False when that fails or another file stands there now.
bool kx_temporary_file_remove(const char *path);

/// Gives the lock up, at the end of the run.
void kx_temporary_file_forget();

} // namespace orkan
