// stream_fixture.h: one stream handle and a folder for its files.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "kx_utils/kx_stream.h"
#include "support/run.h"

namespace support {

using namespace orkan;

/// What in_child must give when everything in the child was as it should be; 1 and up name the first thing that was
/// not.
inline constexpr int kAllWell = 0;

inline bool descriptor_open(int fd) { return fcntl(fd, F_GETFD) != -1; }

inline std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    return bytes;
}

inline bool put(kx_stream &s, const std::string &bytes) {
    return kx_stream_write(s, bytes.data(), to_i64(bytes.size()));
}

/// Up to `most` bytes of the stream; "(error)" when reading failed.
inline std::string take(kx_stream &s, std::size_t most) {
    std::string bytes(most, '\0');
    const kx_i64 got = kx_stream_read(s, bytes.data(), to_i64(most));
    bytes.resize(got < 0 ? 0 : to_size(got));
    return got < 0 ? "(error)" : bytes;
}

class Stream : public testing::Test {
  public:
    ~Stream() override { kx_stream_clear(s); }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

  protected:
    Stream() = default;

    void open_for_reading(const std::string &bytes) {
        box.write("in", bytes);
        ASSERT_TRUE(kx_stream_open_read(s, box.path("in").c_str()));
    }
    void open_for_writing(kx_i64 buffer = 0) {
        ASSERT_TRUE(kx_stream_open_write(s, box.path("out").c_str()));
        ASSERT_TRUE(kx_stream_set_buffer(s, buffer));
    }
    [[nodiscard]] std::string written() const { return box.read("out"); }

    Box box;
    kx_stream s{};
};

} // namespace support
