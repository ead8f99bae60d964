#include "kx_io/kx_header.h"

#include <cstring>

#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

int kx_keep_header(Bytes line) {
    auto *copy = static_cast<char *>(kx_malloc(memPool, line.len));
    if (copy == nullptr) {
        return kx_fail(msg::kNoMemory, kib_round_up(line.len));
    }
    std::memcpy(copy, line.ptr, to_size(line.len));
    argsInfo.header = copy;
    argsInfo.headerLen = line.len;
    return 0;
}

} // namespace orkan
