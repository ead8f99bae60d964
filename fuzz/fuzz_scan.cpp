// fuzz_scan.cpp: where codes stand: both kernels block by block, and the walk from code to code, against their plain
// definitions.
//
//   code's length | code | quote | quoted | bytes behind the data | inside quotes at first | bytes ...
#include "fuzz_input.h"
#include "kx_utils/kx_scan.h"
#include "support/csv_model.h"

namespace fuzz {
namespace {

using namespace orkan;

constexpr std::size_t kBlock = kMaskBytes;

/// Bit i: byte i is the code's first one, and with `quoted` an even number of quotes has come, itself included.
kx_mask plain_mask(const char *from, kx_scan_rule rule, bool &inside) {
    kx_mask mask = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        inside ^= rule.quoted && from[i] == rule.quote;
        mask |= from[i] == rule.first && !inside ? kx_mask{1} << i : 0;
    }
    return mask;
}

void check_kernels(const std::string &text, kx_scan_rule rule, bool inside_at_first) {
    const std::size_t blocks = text.size() / kBlock;
    const ExactBytes bytes(text.substr(0, blocks * kBlock));
    bool inside = inside_at_first;
    std::vector<kx_mask> plain, masks(blocks + 1);
    for (std::size_t i = 0; i < blocks; ++i) {
        plain.push_back(plain_mask(bytes.begin() + i * kBlock, rule, inside));
    }
    for (const kx_scan_kernel kernel : {kx_scan_portably, kx_scan_blocks}) {
        kx_mask carried = inside_at_first && rule.quoted ? ~kx_mask{0} : 0;
        kernel(bytes.begin(), to_i64(blocks), rule, masks.data(), carried);
        check(std::equal(plain.begin(), plain.end(), masks.begin()), "each mask says where the byte stands");
        check(!rule.quoted || carried == (inside ? ~kx_mask{0} : 0), "the quotes are carried on");
    }
}

std::size_t plain_find(const std::string &text, std::size_t from, std::size_t n, const std::string &code,
                       const kx_scan_rule &rule) {
    if (rule.quoted) {
        return support::csv_find(text, from, n, code, rule.quote);
    }
    const std::size_t at = std::string_view(text).substr(0, n).find(code, from);
    return at;
}

/// In the first n bytes, of which the others may be looked at.
void check_walk(const std::string &text, std::size_t n, const std::string &code, const kx_scan_rule &rule) {
    const ExactBytes bytes(text);
    kx_code_scan scan({bytes.begin(), to_i64(n)}, bytes.end(), {code.data(), to_i64(code.size())}, rule.quoted,
                      rule.quote);
    for (std::size_t from = 0; from <= n;) {
        const std::size_t at = plain_find(text, from, n, code, rule);
        const char *found = scan.next();
        check(found == (at == std::string::npos ? nullptr : bytes.begin() + at), "code by code");
        if (found == nullptr) {
            break;
        }
        from = at + code.size();
    }
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    const std::string code = input.text(1 + input.below(4));
    if (code.empty()) {
        return 0;
    }
    const char quote = static_cast<char>(input.byte());
    const bool quoted = input.flag();
    const std::size_t behind = input.byte();
    const bool inside = input.flag() && quoted;
    const std::string text = input.rest();
    const orkan::kx_scan_rule rule{code[0], quoted, quote};
    check_kernels(text, rule, inside);
    check_walk(text, text.size() - std::min(behind, text.size()), code, rule);
    return 0;
}
