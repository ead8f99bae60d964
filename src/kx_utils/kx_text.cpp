#include "kx_utils/kx_text.h"

#include <algorithm>
#include <cstring>

#include "kx_utils/kx_scan.h"
#include "kx_utils/kx_system_memory.h"

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
    if (first != text) {
        std::memmove(text, first, n);
    }
    if (text[n] != '\0') { // what needs no trimming is not written to: it may be a literal
        text[n] = '\0';
    }
}

bool ends_with(Bytes data, Bytes code) {
    return code.len == 0 ||
           (data.len >= code.len && std::memcmp(data.ptr + data.len - code.len, code.ptr, to_size(code.len)) == 0);
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

// The pattern's last byte is searched at memory speed; memmem is several times slower for two bytes.
const char *kx_findstr(const char *buffer, kx_i64 n, Bytes pattern) {
    if (buffer == nullptr || n < 1 || pattern.len < 1) {
        return nullptr;
    }
    const kx_i64 before = pattern.len - 1;
    const char *end = buffer + n;
    for (const char *p = buffer; end - p > before;) {
        const auto *last =
            static_cast<const char *>(std::memchr(p + before, pattern.ptr[before], to_size(end - p - before)));
        if (last == nullptr) {
            return nullptr;
        }
        if (std::memcmp(last - before, pattern.ptr, to_size(before)) == 0) {
            return last - before;
        }
        p = last - before + 1;
    }
    return nullptr;
}

const char *kx_findstr_csv(const char *buffer, kx_i64 n, Bytes pattern, char quote) {
    return kx_findstr_csv_within(buffer, n, pattern, quote, buffer + (n < 1 ? 0 : n));
}

const char *kx_findstr_csv_within(const char *buffer, kx_i64 n, Bytes pattern, char quote, const char *readable) {
    return buffer == nullptr ? nullptr : kx_code_scan({buffer, n}, readable, pattern, true, quote).next();
}

int kx_judgeQuote_front(const char *p, kx_i64 n, char quote) {
    kx_i64 count = 0;
    while (count < n && p[count] == quote) {
        ++count;
    }
    return static_cast<int>(count);
}

int kx_judgeQuote_back(const char *p, kx_i64 n, char quote) {
    kx_i64 count = 0;
    while (count < n && p[-count] == quote) {
        ++count;
    }
    return static_cast<int>(count);
}

} // namespace orkan
