#include "kx_utils/kx_number_memo.h"

#include <algorithm>
#include <iterator>

#include "kx_utils/kx_number.h"

namespace orkan {

namespace {

constexpr kx_i64 kLongStretch = 32, kLongNumber = 64; ///< bytes worth remembering

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
    return stretches_[address(place) / kBlock % kPlaces];
}

kx_i64 kx_number_memo::rest_of_block(const char *place) {
    return kBlock - static_cast<kx_i64>(address(place) % kBlock);
}

const char *kx_number_memo::behind_white_space(const char *s, const char *end) {
    if (s >= end || !is_white_space(*s)) {
        return s;
    }
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
    const auto parsed = [&] { return parse_number(s, limit, [end](const char *p) { return p >= end; }); };
    if (limit < kLongNumber) {
        return parsed();
    }
    Number &known = numbers_[address(s) / kLongNumber % kNumbers];
    if (known.from != s || known.limit != limit || known.end != end) {
        known = {end, s, s + std::min(limit, end - s), limit, parsed()};
        used_ = true;
    }
    return known.value;
}

void kx_number_memo::forget_overlapping(Bytes changed) {
    if (changed.len >= kBlock * kPlaces) {
        forget_all();
        return;
    }
    for (kx_i64 at = 0; at < changed.len; at += rest_of_block(changed.ptr + at)) {
        stretch_at(changed.ptr + at) = {};
    }
    for (Number &number : numbers_) {
        if (number.from < changed.ptr + changed.len && changed.ptr < number.to) {
            number = {};
        }
    }
}

void kx_number_memo::forget_all() {
    if (used_) {
        std::fill(std::begin(stretches_), std::end(stretches_), Stretch{});
        std::fill(std::begin(numbers_), std::end(numbers_), Number{});
        used_ = false;
    }
}

} // namespace orkan
