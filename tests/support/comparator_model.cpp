#include "support/comparator_model.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "orkan/kx_run_state.h"

namespace support::comparators {

using namespace orkan;

namespace {

long long number(const std::string &text, long limit) {
    std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == std::string::npos) {
        return 0;
    }
    std::string sign;
    if (text[at] == '+' || text[at] == '-') {
        sign = text[at++];
        --limit;
    }
    std::string digits;
    while (static_cast<long>(digits.size()) < limit && at < text.size() && std::isdigit(text[at]) != 0) {
        digits += text[at++];
    }
    return digits.empty() ? 0 : std::atoll((sign + digits).c_str());
}

std::string text_at(const ModelRecord &r, int pos, int len) {
    return r.bytes.substr(static_cast<std::size_t>(pos), static_cast<std::size_t>(len));
}

long long number_at(const ModelRecord &r, int pos, int len) {
    const std::string all = r.bytes + r.behind;
    return static_cast<std::size_t>(pos) > all.size() ? 0 : number(all.substr(static_cast<std::size_t>(pos)), len);
}

std::string field(const ModelRecord &r, std::size_t k) { return text_at(r, r.fields[k].first, r.fields[k].second); }

/// memcmp over the common length.
int common(const std::string &a, const std::string &b) {
    const std::size_t n = std::min(a.size(), b.size());
    return a.substr(0, n).compare(b.substr(0, n));
}

bool ascending(const KeyInfo &key) { return key.srtSeq == 1; }

} // namespace

int model_keys(const ModelRecord &a, const ModelRecord &b) {
    for (long k = 0; k < argsInfo.keyNums; ++k) {
        const KeyInfo &key = argsInfo.arrSortKey[k];
        if (key.type == 2) {
            const long long x = number_at(a, key.srtPos, key.len), y = number_at(b, key.srtPos, key.len);
            if (x < y) {
                return ascending(key) ? -1 : 1;
            }
            if (x > y) {
                return ascending(key) ? 1 : -1;
            }
        } else if (key.len > 0) {
            const int c = text_at(a, key.srtPos, key.len).compare(text_at(b, key.srtPos, key.len));
            if (c != 0) {
                return (c < 0) == ascending(key) ? -1 : 1;
            }
        }
    }
    return 0;
}

int model_keys_csv(const ModelRecord &a, const ModelRecord &b) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(argsInfo.keyNums); ++k) {
        const KeyInfo &key = argsInfo.arrSortKey[k];
        const std::string x = field(a, k), y = field(b, k);
        if (argsInfo.bNullLastOut != 0 && x.empty() && y.empty()) {
            continue;
        }
        if (argsInfo.bNullLastOut != 0 && (x.empty() || y.empty())) {
            return x.empty() ? 1 : -1;
        }
        if (key.type == 2) {
            const long long m = number_at(a, a.fields[k].first, a.fields[k].second);
            const long long n = number_at(b, b.fields[k].first, b.fields[k].second);
            if (m != n) {
                return (m < n) == ascending(key) ? -1 : 1;
            }
        } else if (common(x, y) != 0) {
            return (common(x, y) < 0) == ascending(key) ? -1 : 1;
        } else if (x.size() != y.size()) {
            return (x.size() < y.size()) == ascending(key) ? -1 : 1;
        }
    }
    return 0;
}

int model_whole_fixed(const ModelRecord &a, const ModelRecord &b) {
    const int c = a.bytes.compare(b.bytes);
    if (c == 0 || (argsInfo.bRecSort != 1 && argsInfo.bRecSort != 2)) {
        return 0;
    }
    return (c < 0) == (argsInfo.bRecSort == 1) ? -1 : 1;
}

int model_whole_variable_memory(const ModelRecord &a, const ModelRecord &b) {
    const int c = common(a.bytes, b.bytes);
    if (c == 0 || (argsInfo.bRecSort != 1 && argsInfo.bRecSort != 2)) {
        return 0;
    }
    return (c < 0) == (argsInfo.bRecSort == 1) ? -1 : 1;
}

int model_whole_variable_run(const ModelRecord &a, const ModelRecord &b) {
    const int c = argsInfo.bRecSort == 1 || argsInfo.bRecSort == 2 ? common(a.bytes, b.bytes) : 0;
    if (c != 0) {
        return (c < 0) == (argsInfo.bRecSort == 1) ? -1 : 1;
    }
    if (a.bytes.size() == b.bytes.size()) {
        return 0;
    }
    return (a.bytes.size() < b.bytes.size()) == (argsInfo.bRecSort == 1) ? -1 : 1;
}

int model_whole_variable_presorted(const ModelRecord &a, const ModelRecord &b) {
    const int c = common(a.bytes, b.bytes);
    if (c != 0) {
        if (argsInfo.bRecSort == 1) {
            return c < 0 ? -1 : 1;
        }
        return argsInfo.bRecSort == 2 ? (c < 0 ? 1 : -1) : 0;
    }
    if (a.bytes.size() == b.bytes.size()) {
        return 0;
    }
    return (a.bytes.size() < b.bytes.size()) == (argsInfo.bRecSort == 1) ? -1 : 1;
}

int model_whole_csv_memory(const ModelRecord &a, const ModelRecord &b) {
    const bool up = argsInfo.bRecSort == 1;
    for (std::size_t k = 0; k < std::min(a.fields.size(), b.fields.size()); ++k) {
        const std::string x = field(a, k), y = field(b, k);
        if (argsInfo.bNullLastOut != 0 && x.empty() != y.empty()) {
            return x.empty() ? 1 : -1;
        }
        // std::string orders a prefix first, as ascending fields do.
        if (x != y) {
            return (x < y) == up ? -1 : 1;
        }
    }
    if (a.fields.size() == b.fields.size()) {
        return 0;
    }
    return (a.fields.size() < b.fields.size()) == up ? -1 : 1;
}

int model_whole_csv_run(const ModelRecord &a, const ModelRecord &b) {
    const bool up = argsInfo.bRecSort == 1;
    const bool same_count = a.fields.size() == b.fields.size();
    const int by_count = same_count ? 0 : (a.fields.size() < b.fields.size()) == up ? -1 : 1;
    for (std::size_t k = 0; k < std::max(a.fields.size(), b.fields.size()); ++k) {
        if (k == a.fields.size() || k == b.fields.size()) {
            return by_count;
        }
        const std::string x = field(a, k), y = field(b, k);
        if (argsInfo.bNullLastOut != 0 && x.empty() != y.empty()) {
            return x.empty() ? 1 : -1;
        }
        if (argsInfo.bNullLastOut != 0 && x.empty()) {
            continue;
        }
        if (common(x, y) != 0) {
            return (common(x, y) < 0) == up ? -1 : 1;
        }
        if (!same_count) {
            return by_count;
        }
        if (x.size() != y.size()) {
            return (x.size() < y.size()) == up ? -1 : 1;
        }
    }
    return by_count;
}

int model_whole_csv_presorted(const ModelRecord &a, const ModelRecord &b) {
    const long dir = argsInfo.bRecSort;
    for (std::size_t k = 0; k < std::min(a.fields.size(), b.fields.size()); ++k) {
        const std::string x = field(a, k), y = field(b, k);
        if (argsInfo.bNullLastOut != 0) {
            if (x.empty() && y.empty()) {
                continue;
            }
            if (x.empty()) {
                return 1;
            }
            if (y.empty()) {
                return -1;
            }
        }
        const int c = common(x, y);
        if (c != 0 && dir == 1) {
            return c < 0 ? -1 : 1;
        }
        if (c != 0 && dir == 2) {
            return c < 0 ? 1 : -1;
        }
        if (c != 0) {
            continue;
        }
        const int first_a = a.fields[0].second, first_b = b.fields[0].second;
        if (first_a != first_b) {
            return (first_b > first_a) == (dir == 1) ? -1 : 1;
        }
        if (x.size() != y.size() && (dir == 1 || dir == 2)) {
            return (x.size() < y.size()) == (dir == 1) ? -1 : 1;
        }
    }
    if (a.fields.size() == b.fields.size()) {
        return 0;
    }
    return (a.fields.size() < b.fields.size()) == (dir == 1) ? -1 : 1;
}

int model_differ(const ModelRecord &a, const ModelRecord &b) {
    if (argsInfo.bRecSort != 0) {
        return a.bytes == b.bytes ? 0 : 1;
    }
    for (long k = 0; k < argsInfo.keyNums; ++k) {
        const KeyInfo &key = argsInfo.arrSortKey[k];
        const bool same = key.type == 2
                              ? number_at(a, key.srtPos, key.len) == number_at(b, key.srtPos, key.len)
                              : key.len == 0 || text_at(a, key.srtPos, key.len) == text_at(b, key.srtPos, key.len);
        if (!same) {
            return 1;
        }
    }
    return 0;
}

namespace {

int differ_csv(const ModelRecord &a, const ModelRecord &b, bool length_of_a) {
    if (argsInfo.bRecSort != 0) {
        bool same = a.fields.size() == b.fields.size();
        for (std::size_t k = 0; same && k < a.fields.size(); ++k) {
            same = field(a, k) == field(b, k);
        }
        return same ? 0 : 1;
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(argsInfo.keyNums); ++k) {
        bool same = field(a, k) == field(b, k);
        if (argsInfo.arrSortKey[k].type == 2) {
            const int limit = length_of_a ? a.fields[k].second : b.fields[k].second;
            same = number_at(a, a.fields[k].first, a.fields[k].second) == number_at(b, b.fields[k].first, limit);
        }
        if (!same) {
            return 1;
        }
    }
    return 0;
}

} // namespace

int model_differ_csv(const ModelRecord &a, const ModelRecord &b) { return differ_csv(a, b, false); }
int model_differ_csv_presorted(const ModelRecord &a, const ModelRecord &b) { return differ_csv(a, b, true); }

int model_stable(Model plain, const ModelRecord &a, const ModelRecord &b) {
    const int order = plain(a, b);
    return order != 0 ? order : a.index < b.index ? -1 : 1;
}

} // namespace support::comparators
