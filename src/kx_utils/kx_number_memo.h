// kx_number_memo.h: what is worth remembering of the bytes that numbers were looked for in.
//
// White space does not count against a numeric key's limit. Where many keys lie in one stretch of it, each would take
// as long as the stretch, so where it ends is remembered, for each block of the bytes that it touches:
//
//   |        block        |        block        |        block        |
//   | 17 |                                               | 4 |  text  |
//         ^ from           ^ from                ^ from   ^ to, of all three
//
// A number of a great many digits takes long as well, and may be compared with every other: its value is remembered.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Who changes bytes that numbers were looked for in, has them forgotten.
class kx_number_memo {
  public:
    /// The first place from s on where no white space is, or `end`.
    const char *behind_white_space(const char *s, const char *end);

    /// The value of what begins at s, where no white space is.
    kx_i64 value(const char *s, kx_i64 limit, const char *end);

    void forget(Bytes changed) {
        if (used_) {
            forget_overlapping(changed);
        }
    }
    void forget_all();

  private:
    struct Stretch {
        const char *end;       ///< of the bytes that it lies in
        const char *from, *to; ///< white space and nothing else; behind it is another byte, or the end
    };
    struct Number {
        const char *end;
        const char *from, *to; ///< no byte outside was looked at
        kx_i64 limit, value;
    };
    /// Blocks 32 MiB apart share a place, which the later one gets: of larger data, some are looked at again.
    static constexpr kx_i64 kBlock = 512, kPlaces = 65536, kNumbers = 64;

    Stretch &stretch_at(const char *place);
    static kx_i64 rest_of_block(const char *place);
    void remember(const Stretch &stretch, const char *known_from);
    void forget_overlapping(Bytes changed);

    Stretch stretches_[kPlaces]; ///< touched only where they are needed
    Number numbers_[kNumbers];
    bool used_;
};

/// Where white space ends, by looking at all of it.
const char *kx_behind_white_space(const char *s, const char *end);

} // namespace orkan
