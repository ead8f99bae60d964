// fuzz_text.cpp: numbers, trimming and searches against their plain definitions.
//
//   limit | length of the pattern | pattern | quote | places searched | text ...
#include <string_view>

#include "fuzz_input.h"
#include "kx_utils/kx_number.h"
#include "kx_utils/kx_text.h"
#include "support/csv_model.h"

namespace fuzz {
namespace {

using namespace orkan;

void check_numbers(const std::string &text, kx_i64 limit) {
    const ExactBytes bytes(text);
    const kx_i64 value = support::model_number(text, 0, to_size(std::max<kx_i64>(limit, 0)));
    check(atol2_within(bytes.begin(), limit, bytes.end()) == value, "atol2_within gives the number");
    static kx_number_memo known; // too large for the stack
    known.forget({bytes.begin(), to_i64(text.size())});
    for (const std::size_t sixths : {4U, 2U, 3U, 0U}) {
        const std::size_t at = text.size() * sixths / 6;
        check(atol2_within(bytes.begin() + at, limit, bytes.end(), &known) ==
                  support::model_number(text, at, to_size(std::max<kx_i64>(limit, 0))),
              "what is known of white space changes no number");
    }
    check(atol2(text.c_str(), limit) == value, "atol2 gives the number");
}

void check_digits(const std::string &text) {
    const bool numeric = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    check(kx_isnumeric(text.c_str()) == (numeric ? 0 : 1), "kx_isnumeric tells digits");
}

void check_trimming(const std::string &text) {
    const ExactBytes bytes(text + '\0');
    kx_trim_spaces(bytes.begin());
    check(bytes.begin() == trimmed(text), "kx_trim_spaces takes the blanks off both ends");
}

const char *place(const ExactBytes &bytes, std::size_t at) {
    return at == std::string::npos ? nullptr : bytes.begin() + at;
}

/// Searches in the first n bytes of the text.
void check_searches(const std::string &text, std::size_t n, const std::string &pattern, char quote) {
    const ExactBytes bytes(text.substr(0, n)), all(text);
    const Bytes wanted{pattern.data(), to_i64(pattern.size())};
    const std::size_t none = std::string::npos;
    const std::size_t plain = pattern.empty() ? none : std::string_view(text).substr(0, n).find(pattern);
    const std::size_t outside = pattern.empty() ? none : support::csv_find(text, 0, n, pattern, quote);
    const kx_i64 size = to_i64(n);
    check(kx_findstr(bytes.begin(), size, wanted) == place(bytes, plain), "kx_findstr finds the first one");
    check(kx_findstr_csv(bytes.begin(), size, wanted, quote) == place(bytes, outside),
          "kx_findstr_csv finds the first one outside quotes");
    check(kx_findstr_csv_within(all.begin(), size, wanted, quote, all.end()) == place(all, outside),
          "kx_findstr_csv_within does not count the bytes behind");
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    const orkan::kx_i64 limit = orkan::kx_i64{input.byte()} - 4;
    const std::string pattern = input.text(input.below(5));
    const char quote = static_cast<char>(input.byte());
    const std::size_t behind = input.byte();
    const std::string text = input.rest(), line = text.substr(0, text.find('\0'));
    check_numbers(text, limit);
    check_digits(line);
    check_trimming(line);
    check_searches(text, text.size() - std::min(behind, text.size()), pattern, quote);
    return 0;
}
