#include "kx_utils/kx_white_space.h"

#include <algorithm>

#include "kx_assert/kx_assert.h"
#include "kx_utils/kx_text.h"

namespace orkan {

namespace {

constexpr int kWorthRemembering = 32; ///< bytes

} // namespace

const char *kx_behind_white_space(const char *s, const char *end) {
    return std::find_if_not(s, std::max(s, end), is_white_space);
}

const char *kx_white_space::behind(const char *s, const char *bytes_end) {
    if (bytes_end != end) {
        *this = {bytes_end, {}, 0};
    }
    const char *stop = bytes_end;
    int met = kStretches; // the stretch that begins nearest behind s
    for (int i = 0; i < kStretches; ++i) {
        const Stretch &stretch = known[i];
        if (stretch.from <= s && s < stretch.to) {
            KX_ASSERT(is_white_space(*s) && (stretch.to == end || !is_white_space(*stretch.to)));
            newest = i;
            return stretch.to;
        }
        if (s < stretch.from && stretch.from < stop) {
            stop = stretch.from;
            met = i;
        }
    }
    const char *place = kx_behind_white_space(s, stop);
    if (met < kStretches && place == stop) {
        known[met].from = s;
        newest = met;
        return known[met].to;
    }
    if (place - s >= kWorthRemembering) {
        newest = (newest + 1) % kStretches;
        known[newest] = {s, place};
    }
    return place;
}

} // namespace orkan
