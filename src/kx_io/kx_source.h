// kx_source.h: data of unknown size: standard input or, in complete mode, where a pipe is among the named inputs, all
// of these one behind the other.
//
// In complete mode each input loses its header line, gets a newline code at its end where one is missing, and must not
// end with a fragment of a fixed-length record.
#pragma once

#include <array>

#include "kx_types/kx_args.h"

namespace orkan {

class kx_source {
  public:
    /// Begins with the first input. 0, or 1 with a message.
    int open();
    void close();

    /// Reads `bytes` bytes, fewer only at the end of everything; -1 with a message.
    kx_i64 read(char *to, kx_i64 bytes);

  private:
    static constexpr kx_i64 kLongestCode = 2;

    int open_input();
    kx_i64 read_input(char *to, kx_i64 bytes);
    kx_i64 pay(char *to, kx_i64 bytes); ///< of the newline code that is owed
    void note(const char *from, kx_i64 bytes);
    int end_input();
    int next_input();
    int fail_reading() const;

    kx_stream in_{};
    kx_i64 current_ = 0;                    ///< number of the named input
    kx_i64 position_ = 0;                   ///< bytes handed out
    kx_i64 header_ = 0, taken_ = 0;         ///< of the current input: bytes of its header line, and those behind it
    std::array<char, kLongestCode> last_{}; ///< the last ones taken
    Bytes owed_;                            ///< newline code that the current input lacks
    bool over_ = false, ended_ = false;     ///< the current input; all of them
};

} // namespace orkan
