#include "kx_utils/kx_locale.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace orkan {

int kx_IsJapaneseLocale() {
    const char *lang = std::getenv("LANG");
    return lang != nullptr && lang[0] == 'j' && lang[1] == 'a' ? 1 : 0;
}

const char *kx_GetTimeInfo() {
    static std::array<char, 80> text; // six ints of any value fit
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d ", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text.data();
}

kx_i64 kx_clock() { return static_cast<kx_i64>(std::clock()); }

} // namespace orkan
