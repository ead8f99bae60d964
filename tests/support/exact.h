// exact.h: bytes that end where their memory ends.
#pragma once

#include <memory>
#include <string>

#include "kx_types/kx_bytes.h"

namespace support {

/// Bytes in memory of exactly their size, so that a sanitizer sees every byte read outside.
struct Exact {
    explicit Exact(const std::string &bytes) : size(orkan::to_i64(bytes.size())), data(new char[bytes.size()]) {
        bytes.copy(data.get(), bytes.size());
    }
    orkan::kx_i64 size;
    std::unique_ptr<char[]> data;
};

} // namespace support
