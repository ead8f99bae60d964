// kx_keys.cpp: the sort-key syntax.
//
//   fixed and variable   START,[LENGTH] [t] [n] [a|d]      byte position from 0
//   CSV                  COLUMN [t] [n] [a|d]              column from 1
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_text.h"

namespace orkan {

namespace {

/// A copy of a key's text that loses its suffix letters; released with the guard.
class KeyText {
  public:
    explicit KeyText(const char *text) : text_(kx_copy_text(text)) {}
    KeyText(const KeyText &) = delete;
    KeyText &operator=(const KeyText &) = delete;
    ~KeyText() { std::free(text_); }

    [[nodiscard]] const char *get() const { return text_; }

    /// Takes the last character off when it is this letter, in either case.
    bool take_suffix(char upper) {
        const std::size_t length = std::strlen(text_);
        if (length == 0 || (text_[length - 1] != upper && text_[length - 1] != upper - 'A' + 'a')) {
            return false;
        }
        text_[length - 1] = '\0';
        return true;
    }

  private:
    char *text_;
};

// The order is the syntax: each letter counts only if it is the last character at that moment.
void take_suffixes(KeyText &text, KeyInfo &key) {
    key.srtSeq = kSeqAsc;
    key.type = kTypeAscii;
    if (text.take_suffix('D')) {
        key.srtSeq = kSeqDesc;
    } else {
        text.take_suffix('A');
    }
    if (text.take_suffix('N')) {
        key.type = kTypeNum;
    }
    if (text.take_suffix('T')) {
        key.type = kTypeDatetime;
    }
}

/// Stores a number that must not be negative and must fit 32 bits.
bool store(std::int32_t &field, kx_i64 value) {
    if (value < 0 || value > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    field = static_cast<std::int32_t>(value);
    return true;
}

const char *order_name(const KeyInfo &key) { return key.srtSeq == kSeqDesc ? "Desc" : "Asc"; }

int parse_csv_key(const char *text, KeyInfo &key, kx_i64 number) {
    if (!store(key.srtPos, std::atol(text)) || key.srtPos == 0) {
        return kx_fail_unflushed(msg::kInvalidKey, number);
    }
    kx_trace(msg::kShowCsvKey, number, order_name(key), key.srtPos);
    return 0;
}

int parse_position_key(const char *text, KeyInfo &key, kx_i64 number) {
    char *parts[2] = {nullptr, nullptr};
    if (kx_strSplit(parts, text, ",") != 0) {
        return kx_fail_unflushed(msg::kInvalidKeyText, text);
    }
    const bool complete = parts[0] != nullptr && parts[1] != nullptr;
    const kx_i64 position = complete ? std::atol(parts[0]) : 0;
    const kx_i64 length = complete ? std::atol(parts[1]) : 0;
    std::free(parts[0]);
    std::free(parts[1]);
    if (!complete) {
        return kx_fail_unflushed(msg::kNoOptionMemory);
    }
    if (!store(key.srtPos, position) || !store(key.len, length)) {
        return kx_fail_unflushed(msg::kInvalidKey, number);
    }
    kx_trace(msg::kShowKey, number, order_name(key), text);
    kx_trace(msg::kShowKeyStart, number, order_name(key), key.srtPos);
    kx_trace(msg::kShowKeyLength, number, order_name(key), key.len);
    return 0;
}

kx_i64 end_of(const KeyInfo &key) { return kx_i64{key.srtPos} + key.len; }

int parse_key(const ArgsInfo *args, KeyInfo &key, kx_i64 number) {
    KeyText text(key.cmt);
    if (text.get() == nullptr) {
        return kx_fail_unflushed(msg::kNoOptionMemory);
    }
    take_suffixes(text, key);
    if (args->bCsv != 0) {
        return parse_csv_key(text.get(), key, number);
    }
    if (parse_position_key(text.get(), key, number) != 0) {
        return 1;
    }
    return args->bFixVar == kFix && end_of(key) > args->recLen ? kx_fail_unflushed(msg::kInvalidKey, number) : 0;
}

void discard_keys(ArgsInfo *args) {
    for (kx_i64 k = 0; k < args->keyNums; ++k) {
        std::free(args->arrSortKey[k].cmt);
    }
    std::free(args->arrSortKey);
    args->arrSortKey = nullptr;
    args->keyNums = 0;
}

} // namespace

int kx_parse_sort_keys(ArgsInfo *args) {
    if (args->bRecSort != kRecSortNone) {
        discard_keys(args);
    } else if (args->keyNums == 0) {
        args->bRecSort = kRecSortAsc;
        kx_trace(msg::kSortAscending);
    }
    for (kx_i64 k = 0; k < args->keyNums; ++k) {
        KeyInfo &key = args->arrSortKey[k];
        if (parse_key(args, key, k + 1) != 0) {
            return 1;
        }
        if (key.len >= 1) {
            args->keyMaxPos = std::max(args->keyMaxPos, end_of(key));
        }
    }
    return 0;
}

} // namespace orkan
