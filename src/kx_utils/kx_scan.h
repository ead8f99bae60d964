// kx_scan.h: where codes (a newline code, a delimiter) stand in a stretch of bytes, quoted ones left out.
//
//   bytes   a , " b , c " , d \n      64 bytes at a time as one bit each: where the code's first byte stands, without
//   mask    0 1 0 0 0 0 0 1 0 0       the bits inside quotes, behind an odd number of them, an opening one included
//
// The running parity of the quote bits is carried from block to block (Langdale and Lemire, Parsing Gigabytes of JSON
// per Second).
#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "kx_types/kx_bytes.h"

namespace orkan {

using kx_mask = std::uint64_t;

inline constexpr kx_i64 kMaskBytes = 64;

/// What is looked for: the code's first byte; with `quoted` only outside quotes.
struct kx_scan_rule {
    char first;
    bool quoted;
    char quote;
};

/// Fills the masks of so many blocks of 64 bytes; `inside` is all ones while the bytes are inside quotes, and carried
/// on.
using kx_scan_kernel = void (*)(const char *from, kx_i64 blocks, kx_scan_rule rule, kx_mask *masks, kx_mask &inside);

/// Eight bytes at a time, on every machine.
void kx_scan_portably(const char *from, kx_i64 blocks, kx_scan_rule rule, kx_mask *masks, kx_mask &inside);

/// The fastest that this processor has.
extern const kx_scan_kernel kx_scan_blocks;

/// The lowest n bits, 0 <= n <= 64.
constexpr kx_mask lowest_bits(kx_i64 n) { return n >= kMaskBytes ? ~kx_mask{0} : (kx_mask{1} << n) - 1; }

/// Walks from code to code.
class kx_code_scan {
  public:
    /// In `data`; bytes behind it may be looked at, but never count, as long as they lie before `readable`.
    kx_code_scan(Bytes data, const char *readable, Bytes code, bool quoted, char quote)
        : end_(data.ptr + std::max<kx_i64>(data.len, 0)), readable_(readable),
          code_(code), rule_{code.len > 0 ? *code.ptr : '\0', quoted, quote},
          restart_(quoted && code.len > 0 && std::memchr(code.ptr, quote, to_size(code.len)) != nullptr) {
        begin_at(data.ptr);
    }

    /// The next code that does not overlap the one before; null when there is none. Quotes count from the start, which
    /// is the same as from the code before: where that stood they were even.
    const char *next() {
        for (;;) {
            while (pending_ != 0) {
                const char *place = block_ + __builtin_ctzll(pending_);
                pending_ &= pending_ - 1;
                if (place >= allowed_ && is_code(place)) {
                    after(place + code_.len);
                    return place;
                }
            }
            if (!next_block()) {
                return nullptr;
            }
        }
    }

  private:
    static constexpr kx_i64 kMostBlocks = 16;

    [[nodiscard]] bool is_code(const char *place) const {
        return code_.len == 1 || std::memcmp(place, code_.ptr, to_size(code_.len)) == 0;
    }

    void begin_at(const char *first) {
        block_ = next_ = allowed_ = first;
        last_place_ = code_.len > 0 && first != nullptr ? end_ - code_.len + 1 : first; // one behind it
        pending_ = inside_ = 0;
        filled_ = used_ = 0;
        span_ = 1;
    }

    void after(const char *end_of_code) {
        allowed_ = end_of_code;
        if (restart_) { // the code's own quotes do not count
            begin_at(end_of_code);
        }
    }

    bool next_block() {
        if (used_ == filled_ && !fill()) {
            return false;
        }
        block_ = next_;
        next_ += kMaskBytes;
        pending_ = masks_[to_size(used_++)] & lowest_bits(last_place_ - block_);
        return true;
    }

    /// More and more blocks at once: short stretches end soon.
    bool fill() {
        if (next_ >= last_place_) {
            return false;
        }
        const kx_i64 wanted = (last_place_ - next_ + kMaskBytes - 1) / kMaskBytes;
        const kx_i64 whole = (readable_ - next_) / kMaskBytes;
        used_ = 0;
        filled_ = std::min({wanted, whole, span_});
        if (filled_ > 0) {
            kx_scan_blocks(next_, filled_, rule_, masks_.data(), inside_);
        } else {
            fill_from_copy();
        }
        span_ = std::min(2 * span_, kMostBlocks);
        return true;
    }

    void fill_from_copy() {
        std::array<char, kMaskBytes> copy{};
        std::memcpy(copy.data(), next_, to_size(std::min(end_ - next_, kMaskBytes)));
        filled_ = 1;
        kx_scan_blocks(copy.data(), filled_, rule_, masks_.data(), inside_);
    }

    const char *end_, *readable_;
    Bytes code_;
    kx_scan_rule rule_;
    bool restart_;
    const char *block_, *next_;         ///< of the pending bits; behind it
    const char *allowed_, *last_place_; ///< where codes may begin
    kx_mask pending_, inside_;
    kx_i64 filled_, used_, span_;
    std::array<kx_mask, kMostBlocks> masks_;
};

} // namespace orkan
