// capture.h: what a piece of code writes to a descriptor of this very process.
//
//   EXPECT_EQ(support::written_to(STDERR_FILENO, [&] { status = load(); }), "☆ ...\n");
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace support {

/// Lets an unnamed file stand in for the descriptor as long as it lives.
class DescriptorCapture {
  public:
    explicit DescriptorCapture(int fd)
        : fd_(fd), kept_(fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), file_(memfd_create("capture", MFD_CLOEXEC)) {
        EXPECT_GE(kept_, 0);
        std::fflush(nullptr);
        EXPECT_EQ(dup2(file_, fd_), fd_);
    }
    ~DescriptorCapture() {
        std::fflush(nullptr);
        dup2(kept_, fd_);
        close(kept_);
        close(file_);
    }
    DescriptorCapture(const DescriptorCapture &) = delete;
    DescriptorCapture &operator=(const DescriptorCapture &) = delete;

    /// All that arrived, including what the C library still holds back.
    [[nodiscard]] std::string text() const {
        std::fflush(nullptr);
        std::string bytes(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(file_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

  private:
    int fd_, kept_, file_;
};

template <class Body> std::string written_to(int fd, Body body) {
    const DescriptorCapture capture(fd);
    body();
    return capture.text();
}

/// What `body` writes to standard error.
template <class Body> std::string messages_of(Body body) { return written_to(STDERR_FILENO, body); }

} // namespace support
