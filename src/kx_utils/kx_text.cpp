#include "kx_utils/kx_text.h"

#include <cstring>

#include "kx_utils/kx_fault.h"

namespace orkan {

namespace {

char *copy_bytes(const char *from, std::size_t n) {
    auto *copy = static_cast<char *>(kx_system_malloc(to_i64(n) + 1));
    if (copy != nullptr) {
        std::memcpy(copy, from, n);
        copy[n] = '\0';
    }
    return copy;
}

} // namespace

char *kx_copy_text(const char *text) { return text == nullptr ? nullptr : copy_bytes(text, std::strlen(text)); }

char *kx_join_text(const char *first, const char *second) {
    const std::size_t first_length = std::strlen(first);
    const std::size_t second_length = std::strlen(second);
    auto *joined = static_cast<char *>(kx_system_malloc(to_i64(first_length + second_length) + 1));
    if (joined != nullptr) {
        std::memcpy(joined, first, first_length);
        std::memcpy(joined + first_length, second, second_length + 1);
    }
    return joined;
}

void kx_trim_spaces(char *text) {
    if (text == nullptr) {
        return;
    }
    const char *first = text;
    while (is_white_space(*first)) {
        ++first;
    }
    std::size_t n = std::strlen(first);
    while (n > 0 && is_white_space(first[n - 1])) {
        --n;
    }
    std::memmove(text, first, n);
    text[n] = '\0';
}

int kx_strSplit(char *(&pair)[2], const char *text, const char *separator) {
    const char *at = std::strstr(text, separator);
    if (at == nullptr) {
        return 1;
    }
    pair[0] = copy_bytes(text, static_cast<std::size_t>(at - text));
    pair[1] = kx_copy_text(at + std::strlen(separator));
    return 0;
}

const char *kx_getFileName(const char *path, char separator) {
    if (path == nullptr) {
        return nullptr;
    }
    const char *last = std::strrchr(path, separator);
    return last == nullptr ? path : last + 1;
}

char *kx_getDir(const char *path, char separator) {
    const char *last = path == nullptr ? nullptr : std::strrchr(path, separator);
    return last == nullptr ? nullptr : copy_bytes(path, static_cast<std::size_t>(last - path) + 1);
}

const char *kx_findstr(const char *buffer, kx_i64 n, Bytes pattern) {
    if (buffer == nullptr || n < 1 || pattern.len < 1 || pattern.len > n) {
        return nullptr;
    }
    return static_cast<const char *>(memmem(buffer, to_size(n), pattern.ptr, to_size(pattern.len)));
}

const char *kx_findstr_csv(const char *buffer, kx_i64 n, Bytes pattern, char quote) {
    if (buffer == nullptr || n < 1 || pattern.len < 1) {
        return nullptr;
    }
    bool inside = false;
    for (const char *p = buffer; p - buffer <= n - pattern.len; ++p) {
        inside ^= *p == quote;
        if (!inside && std::memcmp(p, pattern.ptr, to_size(pattern.len)) == 0) {
            return p;
        }
    }
    return nullptr;
}

int kx_judgeQuote_front(const char *p, kx_i64 n, char quote) {
    int count = 0;
    while (count < n && p[count] == quote) {
        ++count;
    }
    return count;
}

int kx_judgeQuote_back(const char *p, kx_i64 n, char quote) {
    int count = 0;
    while (count < n && p[-count] == quote) {
        ++count;
    }
    return count;
}

} // namespace orkan
