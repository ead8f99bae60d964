// kx_mapping.h: the bytes of a large file where they are, in the system's page cache, instead of a copy of them.
//
//   begin -> | bytes of the file ... | room to write | rest of the last page |
//
// The mapping is private: what is written to it never reaches the file. Where the file becomes shorter meanwhile, or
// its disk fails, the first touch of a missing page would end the process by SIGBUS. While a file is mapped its handler
// puts zero bytes in the place of what is missing; everything goes on in bounds, and the run asks in the end. So it
// does for bytes that changed in their place, of which only the time of the last writing tells.
#pragma once

#include "kx_utils/kx_stream.h"

namespace orkan {

/// From so many bytes on it is worth it.
inline constexpr kx_i64 kWorthMapping = kx_i64{4} << 20;

/// Maps the stream's file, which must be a regular one of exactly `bytes` bytes, with `room` more behind them. Null
/// where that cannot be done, or where SIGBUS is blocked: then it can be read as if nothing had happened. One file at a
/// time: an earlier mapping ends.
char *kx_map(const kx_stream &in, kx_i64 bytes, kx_i64 room);

/// Ends it; nothing where no file is mapped. SIGBUS goes where it went before.
void kx_unmap();

/// A file is mapped, and has lost bytes, was written to, or nobody can tell. Unless `strictly` one that is longer now
/// counts as written to behind its end only, and one whose time of writing was set back as untouched.
bool kx_mapping_damaged(bool strictly);

/// The byte is among those mapped.
bool kx_is_mapped(const char *at);

} // namespace orkan
