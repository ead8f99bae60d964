#include "kx_sort/kx_prefix.h"

namespace orkan {

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "text_prefix swaps bytes");

/// The prefix tells everything about the key. CSV fields differ in length, which a text prefix does not tell, and -N
/// takes a number's last bit; nor is an empty column always a 0. Other keys have one length, unless a merge reads
/// foreign bytes: then a cut key and one that goes on in NULs count as equal.
bool tells_all(const KeyInfo &key) {
    const bool numeric = key.type == kTypeNum;
    if (kx_record_format() == kx_format::csv) {
        return numeric && argsInfo.bNullLastOut == 0 && !tells_empty_from_zero();
    }
    return numeric || key.len <= kPrefixSize;
}

kx_prefix_rule whole_record_rule() {
    const KeyInfo all{nullptr, 0, 0, kTypeAscii, static_cast<std::int32_t>(argsInfo.bRecSort)};
    const bool decisive = kx_record_format() == kx_format::fixed && argsInfo.recLen <= kPrefixSize;
    return {all, 0, true, argsInfo.bNullLastOut != 0, decisive};
}

} // namespace

kx_prefix_rule kx_prefix_rule_of_key(kx_i64 k) {
    const KeyInfo &key = argsInfo.arrSortKey[k];
    return {key, k, false, argsInfo.bNullLastOut != 0, argsInfo.keyNums == 1 && tells_all(key)};
}

kx_prefix_rule kx_choose_prefix_rule() {
    if (argsInfo.bRecSort != kRecSortNone) {
        return whole_record_rule();
    }
    if (argsInfo.keyNums < 1) {
        return {{nullptr, 0, 0, kTypeAscii, kSeqAsc}, 0, false, false, true}; // all records are equal
    }
    return kx_prefix_rule_of_key(0);
}

} // namespace orkan
