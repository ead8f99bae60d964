// fuzz_keys.cpp: the sort-key syntax of the three formats against a plain reading of it.
//
//   format | record length | order of whole records | verbose | one key per line ...
#include <cstring>

#include "fuzz_input.h"
#include "kx_paras/kx_paras.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace fuzz {
namespace {

using namespace orkan;

struct PlainKey {
    bool valid = false;
    kx_i64 position = 0, length = 0;
    std::int32_t type = kTypeAscii, order = kSeqAsc;
};

bool drop(std::string &text, const char *letters) {
    const bool there = !text.empty() && std::strchr(letters, text.back()) != nullptr;
    if (there) {
        text.pop_back();
    }
    return there;
}

bool fits(kx_i64 number) { return number >= 0 && number <= 2147483647; }

PlainKey plain_key(std::string text, const ArgsInfo &args) {
    PlainKey key;
    key.order = drop(text, "Dd") ? kSeqDesc : kSeqAsc;
    if (key.order == kSeqAsc) {
        drop(text, "Aa");
    }
    key.type = drop(text, "Nn") ? kTypeNum : kTypeAscii;
    key.type = drop(text, "Tt") ? kTypeDatetime : key.type;
    key.position = std::strtoll(text.c_str(), nullptr, 10);
    if (args.bCsv != 0) {
        key.valid = fits(key.position) && key.position > 0;
        return key;
    }
    const std::size_t comma = text.find(',');
    key.length = comma == std::string::npos ? -1 : std::strtoll(text.c_str() + comma + 1, nullptr, 10);
    key.valid =
        fits(key.position) && fits(key.length) && (args.bFixVar != kFix || key.position + key.length <= args.recLen);
    return key;
}

std::vector<std::string> read(FuzzInput &input, ArgsInfo &args) {
    const std::size_t format = input.below(3);
    args.bFixVar = format == 0 ? kFix : kVariable;
    args.bCsv = format == 2 ? 1 : 0;
    args.recLen = format == 0 ? to_i64(1 + input.byte()) : 0;
    args.bRecSort = to_i64(input.below(3));
    VERBOSE = input.flag() ? 1 : 0;
    std::vector<std::string> keys = input.lines();
    args.arrSortKey = static_cast<KeyInfo *>(std::calloc(keys.size() + 1, sizeof(KeyInfo)));
    args.keyNums = to_i64(keys.size());
    for (std::size_t k = 0; k < keys.size(); ++k) {
        args.arrSortKey[k].cmt = kx_copy_text(keys[k].c_str());
    }
    return keys;
}

bool as_plain(const KeyInfo &key, const PlainKey &plain) {
    return key.srtPos == plain.position && key.len == plain.length && key.type == plain.type &&
           key.srtSeq == plain.order;
}

void check_keys(const ArgsInfo &args, const std::vector<std::string> &keys, bool accepted) {
    kx_i64 end = 0;
    for (std::size_t k = 0; k < keys.size(); ++k) {
        const PlainKey plain = plain_key(keys[k], args);
        if (!plain.valid) {
            check(!accepted, "an invalid key is refused");
            return;
        }
        check(as_plain(args.arrSortKey[k], plain), "a key says what its text says");
        end = plain.length > 0 ? std::max(end, plain.position + plain.length) : end;
    }
    check(accepted, "valid keys are accepted");
    check(args.keyMaxPos == end, "keyMaxPos is the end of the farthest key");
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    const Messages messages;
    FuzzInput input(data, size);
    ArgsInfo args{};
    const std::vector<std::string> keys = read(input, args);
    const bool whole_records = args.bRecSort != kRecSortNone;
    const bool accepted = kx_parse_sort_keys(&args) == 0;
    check(accepted || messages.any(), "who refuses says so");
    if (whole_records) {
        check(accepted && args.keyNums == 0, "the order of whole records makes keys meaningless");
    } else {
        check_keys(args, keys, accepted);
        check(args.bRecSort == (keys.empty() ? kRecSortAsc : kRecSortNone), "without keys whole records ascend");
    }
    kx_CleanupArgsInfo(&args);
    VERBOSE = 0;
    return 0;
}
