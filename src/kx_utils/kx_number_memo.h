// kx_number_memo.h: what is worth remembering of the bytes that numbers were looked for in.
//
// White space does not count against a numeric key's limit. Where many keys lie in one stretch of it, each would take
// as long as the stretch, so where it ends is remembered, for each block of the bytes that it touches:
//
//   |        block        |        block        |        block        |
//   | 17 |                                               | 4 |  text  |
//         ^ from           ^ from                ^ from   ^ to, of all three
//
// Blocks 32 MiB apart share a place. So the longest stretches are remembered as a whole as well, those used last; and
// likewise the values of numbers of a great many digits, which may be compared with every other.
#pragma once

#include <algorithm>
#include <array>

#include "kx_types/kx_bytes.h"

namespace orkan {

/// The entries used last.
template <class Entry, std::size_t n> class kx_recent {
  public:
    /// The one that fits; null when there is none.
    template <class Fits> Entry *find(Fits fits) {
        const auto found = std::find_if(entries_.begin(), entries_.end(), fits);
        if (found == entries_.end()) {
            return nullptr;
        }
        std::rotate(entries_.begin(), found, found + 1);
        return &entries_.front();
    }
    void add(const Entry &entry) {
        std::rotate(entries_.begin(), entries_.end() - 1, entries_.end());
        entries_.front() = entry;
    }
    template <class Fits> void drop(Fits fits) { std::replace_if(entries_.begin(), entries_.end(), fits, Entry{}); }

  private:
    std::array<Entry, n> entries_{};
};

/// All is about the bytes up to an `end`, and counts for no other end. Who changes any of them has all up to the end
/// forgotten.
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
        const char *end;
        const char *from, *to; ///< white space and nothing else; behind it is another byte, or the end
    };
    struct Number {
        const char *end;
        const char *from, *to;
        kx_i64 limit, value;
    };
    static constexpr kx_i64 kBlock = 512, kPlaces = 65536;
    static constexpr std::size_t kRecent = 32;

    Stretch &stretch_at(const char *place);
    static kx_i64 rest_of_block(const char *place);
    const char *look(const char *s, const char *end);
    void remember(const Stretch &stretch, const char *known_from);
    void forget_overlapping(Bytes changed);

    std::array<Stretch, kPlaces> stretches_{}; ///< touched only where they are needed
    kx_recent<Stretch, kRecent> longest_{};
    kx_recent<Number, kRecent> numbers_{};
    bool used_ = false;
};

/// Where white space ends, by looking at all of it.
const char *kx_behind_white_space(const char *s, const char *end);

} // namespace orkan
