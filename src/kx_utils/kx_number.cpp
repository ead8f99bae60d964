#include "kx_utils/kx_number.h"

namespace orkan {

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

kx_i64 kx_number_within(const char *s, kx_i64 limit, const char *end) {
    return parse_number(s, limit, [end](const char *p) { return p >= end; });
}

kx_i64 atol2_of_any_length(const char *s, kx_i64 limit, const char *end, kx_number_memo *memo) {
    return memo != nullptr ? memo->value(memo->behind_white_space(s, end), limit, end)
                           : kx_number_within(s, limit, end);
}

kx_i64 atol2(const char *s, kx_i64 limit) {
    return parse_number(s, limit, [](const char *) { return false; });
}

double atof2(const char * /*s*/, kx_i64 /*limit*/) { return 0.1; }

} // namespace orkan
