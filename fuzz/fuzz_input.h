// fuzz_input.h: an input taken apart from its front, and what every target needs around it.
//
//   FuzzInput input(data, size);
//   const std::size_t keys = input.below(4);   // one byte; behind the end all bytes are 0
//   const std::string bytes = input.rest();
//   check(kx_isnumeric(bytes.c_str()) == 1, "letters are no number");
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace fuzz {

/// Ends the process where a property does not hold: that is a finding.
inline void check(bool holds, const char *property) {
    if (!holds) {
        dprintf(STDERR_FILENO, "does not hold: %s\n", property);
        std::abort();
    }
}

class FuzzInput {
  public:
    FuzzInput(const std::uint8_t *data, std::size_t size) : next_(data), end_(data + size) {}

    [[nodiscard]] bool empty() const { return next_ == end_; }
    std::uint8_t byte() { return empty() ? std::uint8_t{0} : *next_++; }
    std::size_t below(std::size_t n) { return byte() % n; }
    bool flag() { return below(2) == 1; }

    /// Two bytes, the high one first.
    std::size_t word() {
        const std::size_t high = byte();
        return high * 256 + byte();
    }

    /// Eight bytes, the high one first: any number.
    std::int64_t number() {
        std::uint64_t value = 0;
        for (int left = 8; left > 0; --left) {
            value = value * 256 + byte();
        }
        return static_cast<std::int64_t>(value);
    }

    /// At most n bytes.
    std::string text(std::size_t n) {
        const std::uint8_t *begin = next_;
        next_ += std::min(n, static_cast<std::size_t>(end_ - next_));
        return {begin, next_};
    }
    std::string rest() { return text(static_cast<std::size_t>(end_ - next_)); }

    /// The lines that are left, each up to its first NUL, without their line ends.
    std::vector<std::string> lines() {
        std::vector<std::string> all;
        while (!empty()) {
            const std::uint8_t *end = std::find(next_, end_, '\n');
            all.emplace_back(std::string(next_, end).c_str());
            next_ = end == end_ ? end : end + 1;
        }
        return all;
    }

  private:
    const std::uint8_t *next_, *end_;
};

/// Bytes in a block of exactly their size, where the address sanitizer sees every access outside.
class ExactBytes {
  public:
    explicit ExactBytes(const std::string &bytes) : size_(bytes.size()), block_(new char[size_]) {
        bytes.copy(block_.get(), size_);
    }
    [[nodiscard]] char *begin() const { return block_.get(); }
    [[nodiscard]] char *end() const { return block_.get() + size_; }

  private:
    std::size_t size_;
    std::unique_ptr<char[]> block_;
};

/// Without the blanks at both ends.
inline std::string trimmed(const std::string &text) {
    const char *blanks = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Keeps what the system says away from the terminal as long as it lives, unless the process ends meanwhile. The C
/// library lets its standard streams be replaced; reports of sanitizers and of check() go to the descriptor itself.
class Messages {
  public:
    Messages() : error_(stderr), output_(stdout), sink_(open_memstream(&text_, &size_)) {
        [[maybe_unused]] static const int registered = std::atexit(show_last_words);
        stderr = stdout = sink_;
        alive = this;
    }
    ~Messages() {
        alive = nullptr;
        stderr = error_;
        stdout = output_;
        std::fclose(sink_);
        std::free(text_);
    }
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    /// Anything since the beginning.
    [[nodiscard]] bool any() const {
        std::fflush(sink_);
        return size_ > 0;
    }

  private:
    static void show_last_words() {
        if (alive != nullptr && alive->any()) {
            dprintf(STDERR_FILENO, "%s\n", alive->text_);
        }
    }

    static inline const Messages *alive;
    std::FILE *error_, *output_;
    char *text_ = nullptr;
    std::size_t size_ = 0;
    std::FILE *sink_;
};

} // namespace fuzz
