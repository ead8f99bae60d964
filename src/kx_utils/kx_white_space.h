// kx_white_space.h: long stretches of white space that numbers were looked for in.
//
// White space does not count against a numeric key's limit. Where many keys lie in one stretch of it, each would be as
// slow as the stretch is long, and all together quadratic, so its end is remembered.
//
//   | 17 |                                     | 4 |  text  |
//      from ^      ^ next number looked for here  ^ to         ^ end
#pragma once

namespace orkan {

/// What is known of the bytes in front of `end`, as long as these stay as they are: who changes them, forgets it.
/// All zero: nothing.
struct kx_white_space {
    struct Stretch {
        const char *from, *to; ///< white space and nothing else; at `to` is none or the end
    };
    static constexpr int kStretches = 2; ///< a comparison reads two numbers

    const char *end;
    Stretch known[kStretches];
    int newest;

    /// The first place from s on, not behind bytes_end, where no white space is.
    const char *behind(const char *s, const char *bytes_end);
};

/// The same by looking at all of it.
const char *kx_behind_white_space(const char *s, const char *end);

} // namespace orkan
