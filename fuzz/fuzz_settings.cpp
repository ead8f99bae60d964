// fuzz_settings.cpp: option vectors into settings, against a plain reading of the vector. One argument per line.
//
// Where the scanner would end the process (an unknown letter, a missing argument, the version texts) nothing is called.
#include <cstring>
#include <optional>

#include "fuzz_input.h"
#include "kx_getopt/kx_getopt.h"
#include "kx_paras/kx_paras.h"
#include "orkan/kx_run_state.h"

namespace fuzz {
namespace {

using namespace orkan;
using Texts = std::vector<std::string>;

struct Option {
    char letter; ///< in lower case
    std::string argument;
};

struct PlainVector {
    std::vector<Option> options;
    Texts operands;

    [[nodiscard]] kx_i64 count(char letter) const {
        return std::count_if(options.begin(), options.end(), [&](const Option &o) { return o.letter == letter; });
    }
    /// The argument of the last option with this letter.
    [[nodiscard]] const char *last(char letter) const {
        const auto at = std::find_if(options.rbegin(), options.rend(), [&](auto &o) { return o.letter == letter; });
        return at == options.rend() ? nullptr : at->argument.c_str();
    }
};

bool is_one_of(char letter, const char *letters) { return std::strchr(letters, letter) != nullptr; }

/// Reads the letters of one element; false where the process would end.
bool read_element(PlainVector &plain, const Texts &args, std::size_t &i) {
    const std::string &element = args[i];
    for (std::size_t p = 1; p < element.size(); ++p) {
        const char upper = element[p];
        const char letter = static_cast<char>(upper >= 'A' && upper <= 'Z' ? upper - 'A' + 'a' : upper);
        if (is_one_of(letter, "csuarnhm")) {
            plain.options.push_back({letter, ""});
        } else if (is_one_of(letter, "vwlpdtkoe")) {
            const bool attached = p + 1 < element.size();
            if (!attached && ++i == args.size()) {
                return false;
            }
            plain.options.push_back({letter, trimmed(attached ? element.substr(p + 1) : args[i])});
            return letter != 'v' || !plain.options.back().argument.empty();
        } else {
            return false;
        }
    }
    return true;
}

std::optional<PlainVector> read_plainly(const Texts &args) {
    PlainVector plain;
    std::size_t i = 1;
    for (; i < args.size() && args[i].size() > 1 && args[i][0] == '-'; ++i) {
        if (args[i] == "--") {
            ++i;
            break;
        }
        if (!read_element(plain, args, i)) {
            return std::nullopt;
        }
    }
    plain.operands.assign(args.begin() + static_cast<std::ptrdiff_t>(std::min(i, args.size())), args.end());
    return plain;
}

bool same_text(const char *a, const char *b) { return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0; }

/// The bytes that a -W asks for: digits and at most one K or M, saturating; 0 where it is refused.
kx_i64 plain_size(std::string text) {
    const char suffix = text.empty() ? '\0' : text.back();
    const int shift = is_one_of(suffix, "Kk") ? 10 : is_one_of(suffix, "Mm") ? 20 : 0;
    if (suffix != '\0' && shift > 0) {
        text.pop_back();
    }
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    const kx_i64 size = std::strtoll(text.c_str(), nullptr, 10);
    return size > INT64_MAX >> shift ? INT64_MAX : size << shift;
}

/// Each -L must be a number, each -W a size.
bool sizes_are_valid(const PlainVector &plain) {
    return std::all_of(plain.options.begin(), plain.options.end(), [](const Option &o) {
        const bool digits = !o.argument.empty() && o.argument.find_first_not_of("0123456789") == std::string::npos;
        return o.letter == 'w' ? plain_size(o.argument) > 0 : o.letter != 'l' || digits;
    });
}

void check_options(const ArgsInfo &args, const PlainVector &plain) {
    check(args.bCsv == (plain.count('c') > 0) && args.bStabilize == (plain.count('s') > 0) &&
              args.bUnique == (plain.count('u') > 0) && args.bNullLastOut == (plain.count('n') > 0) &&
              args.bMerge == (plain.count('m') > 0) && args.bHeader == (plain.count('h') > 0),
          "a flag is set by its letter");
    check(args.keyNums == plain.count('k'), "each -K is a key");
    check(same_text(args.outFile.path, plain.last('o')) && same_text(args.errFile.path, plain.last('e')) &&
              same_text(args.sep, plain.last('p')) && same_text(args.delimiter, plain.last('d')),
          "the last text of an option counts");
    check(args.recLen == (plain.last('l') == nullptr ? 0 : std::atol(plain.last('l'))), "the last -L counts");
    check(sizes_are_valid(plain), "sizes that are none are refused");
    check(args.totalMemSize == (plain.last('w') == nullptr ? 0 : plain_size(plain.last('w'))), "the last -W counts");
    check(args.inFileNums == to_i64(plain.operands.size()), "each operand is an input");
    for (std::size_t i = 0; i < plain.operands.size(); ++i) {
        check(plain.operands[i] == args.arrInFile[i].path, "an input is its operand");
    }
}

void check_settings(const ArgsInfo &args) {
    const bool fixed = args.recLen != 0;
    check(args.bFixVar == (fixed ? kFix : kVariable) && (!fixed || args.bCsv == 0), "-L decides the format");
    check(fixed || args.sep_len == to_i64(std::strlen(args.sep)), "the newline code has its length");
    check(fixed || same_text(args.sep, "\n") || same_text(args.sep, "\r") || same_text(args.sep, "\r\n"),
          "a known newline code");
    check(args.bCsv == 0 || args.delimiter_len > 0, "CSV has a delimiter");
    check((args.bRecSort == kRecSortNone) == (args.keyNums > 0), "keys or whole records");
    check(args.totalFileSize >= 0 && args.totalRecNum >= 0 && args.keyMaxPos >= 0, "nothing is negative");
    check(args.tmpFile.path != nullptr, "there is a temporary path");
}

void check_run(std::vector<char *> &argv, const PlainVector &plain) {
    const Messages messages;
    ArgsInfo args{};
    if (kx_GetParametersInfo(&args, static_cast<int>(argv.size()), argv.data()) == 0) {
        check_options(args, plain);
        if (kx_DealParametersInfo(&args) == 0) {
            check_settings(args);
            printArgsInfo(&args);
        }
        check(args.tmpFile.path != nullptr || messages.any(), "who refuses says so");
    } else {
        check(messages.any(), "who refuses says so");
    }
    kx_CleanupArgsInfo(&args);
    kx_getopt_reset();
    VERBOSE = 0;
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    Texts args = FuzzInput(data, size).lines();
    args.insert(args.begin(), "orkan");
    const auto plain = read_plainly(args);
    if (!plain) {
        return 0;
    }
    std::vector<ExactBytes> elements;
    std::vector<char *> argv;
    for (const std::string &text : args) {
        argv.push_back(elements.emplace_back(text + '\0').begin());
    }
    check_run(argv, *plain);
    return 0;
}
