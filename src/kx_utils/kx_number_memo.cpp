#include "kx_utils/kx_number_memo.h"

#include <algorithm>

#include "kx_utils/kx_number.h"

namespace orkan {

namespace {

constexpr kx_i64 kLongStretch = 32, kVeryLongStretch = 4096, kLongNumber = 64; ///< bytes worth remembering

std::uintptr_t address(const char *place) { return reinterpret_cast<std::uintptr_t>(place); }

} // namespace

const char *kx_behind_white_space(const char *s, const char *end) {
    constexpr kx_i64 kEight = kx_eight_bytes::kSize;
    while (s < end && is_white_space(*s)) {
        s += end - s >= kEight ? std::max<kx_i64>(kx_eight_bytes(s).leading_blanks(), 1) : 1;
    }
    return s;
}

kx_number_memo::Stretch &kx_number_memo::stretch_at(const char *place) {
    return stretches_[address(place) / kBlock % to_size(kPlaces)];
}

kx_i64 kx_number_memo::rest_of_block(const char *place) {
    return kBlock - static_cast<kx_i64>(address(place) % kBlock);
}

const char *kx_number_memo::behind_white_space(const char *s, const char *end) {
    if (s >= end || !is_white_space(*s)) {
        return s;
    }
    const auto known = [s, end](const Stretch &stretch) {
        return stretch.end == end && stretch.from <= s && s < stretch.to;
    };
    if (const Stretch *stretch = longest_.find(known)) {
        return stretch->to;
    }
    const char *to = look(s, end);
    if (to - s >= kVeryLongStretch) {
        longest_.drop([to](const Stretch &stretch) { return stretch.to == to; }); // this one, which began later
        longest_.add({end, s, to});
    }
    return to;
}

/// The same by what the blocks tell.
const char *kx_number_memo::look(const char *s, const char *end) {
    const char *place = s;
    while (place < end) {
        const Stretch &known = stretch_at(place);
        const char *stop = place + std::min(end - place, rest_of_block(place));
        if (known.end == end && known.from <= place && place < known.to) {
            const char *to = known.to;
            remember({end, s, to}, place);
            return to;
        }
        if (known.end == end && place < known.from && known.from < stop) {
            stop = known.from;
        }
        place = kx_behind_white_space(place, stop);
        if (place < stop) {
            break;
        }
    }
    if (place - s >= kLongStretch) {
        remember({end, s, place}, place);
    }
    return place;
}

/// In all blocks from where the stretch begins to where it was known.
void kx_number_memo::remember(const Stretch &stretch, const char *known_from) {
    for (const char *from = stretch.from; from < known_from;) {
        stretch_at(from) = {stretch.end, from, stretch.to};
        from += std::min(known_from - from, rest_of_block(from));
        used_ = true;
    }
}

kx_i64 kx_number_memo::value(const char *s, kx_i64 limit, const char *end) {
    const kx_i64 readable = std::min(limit, end - s);
    const char *to = s + std::max<kx_i64>(readable, 0);
    if (readable < kLongNumber || std::find_if_not(s + 1, s + kLongNumber, is_digit) != s + kLongNumber) {
        return kx_number_within(s, limit, end);
    }
    const auto known = [=](const Number &number) {
        return number.from == s && number.limit == limit && number.end == end;
    };
    if (const Number *number = numbers_.find(known)) {
        return number->value;
    }
    const kx_i64 value = kx_number_within(s, limit, end);
    numbers_.add({end, s, to, limit, value});
    used_ = true;
    return value;
}

void kx_number_memo::forget_overlapping(Bytes changed) {
    if (changed.len >= kBlock * kPlaces) {
        stretches_.fill({});
    } else {
        for (kx_i64 at = 0; at < changed.len; at += rest_of_block(changed.ptr + at)) {
            stretch_at(changed.ptr + at) = {};
        }
    }
    const auto overlaps = [from = address(changed.ptr), to = address(changed.ptr + changed.len)](const auto &known) {
        return address(known.from) < to && from < address(known.to);
    };
    longest_.drop(overlaps);
    numbers_.drop(overlaps);
}

void kx_number_memo::forget_all() {
    if (used_) {
        stretches_.fill({});
        longest_ = {};
        numbers_ = {};
        used_ = false;
    }
}

} // namespace orkan
