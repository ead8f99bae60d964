#include "kx_assert/kx_assert.h"

#include <cstdio>
#include <cstdlib>

namespace orkan {

void kx_panic(const char *file, kx_i64 line, const char *function, const char *expression) {
    std::fprintf(stderr, "%s:%ld: %s: Assertion `%s' failed.", file, line, function, expression);
    std::fflush(stderr);
    std::exit(1);
}

} // namespace orkan
