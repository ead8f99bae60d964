#include "kx_utils/kx_number.h"

#include "kx_utils/kx_text.h"

namespace orkan {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

template <class AtEnd> kx_i64 parse(const char *s, kx_i64 limit, AtEnd at_end) {
    const auto byte = [&](const char *p) { return at_end(p) ? '\0' : *p; };
    while (is_white_space(byte(s))) {
        ++s;
    }
    const bool negative = byte(s) == '-';
    if (negative || byte(s) == '+') {
        ++s;
        --limit;
    }
    std::uint64_t value = 0; // unsigned: wraps without overflow
    for (; limit > 0 && is_digit(byte(s)); ++s, --limit) {
        value = value * 10 + static_cast<std::uint64_t>(*s - '0');
    }
    return static_cast<kx_i64>(negative ? 0 - value : value);
}

} // namespace

int kx_isnumeric(const char *text) {
    if (*text == '\0') {
        return 1;
    }
    for (; *text != '\0'; ++text) {
        if (!is_digit(*text)) {
            return 1;
        }
    }
    return 0;
}

kx_i64 atol2_within(const char *s, kx_i64 limit, const char *end) {
    return parse(s, limit, [end](const char *p) { return p >= end; });
}

kx_i64 atol2(const char *s, kx_i64 limit) {
    return parse(s, limit, [](const char *) { return false; });
}

double atof2(const char * /*s*/, kx_i64 /*limit*/) { return 0.1; }

} // namespace orkan
