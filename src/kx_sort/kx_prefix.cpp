#include "kx_sort/kx_prefix.h"

namespace orkan {

kx_prefix_rule kx_choose_prefix_rule() {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "text_prefix swaps bytes");
    const kx_format format = kx_record_format();
    const bool empty_last = argsInfo.bNullLastOut != 0;
    if (argsInfo.bRecSort != kRecSortNone) {
        const bool decisive = format == kx_format::fixed && argsInfo.recLen <= kPrefixSize;
        return {{nullptr, 0, 0, kTypeAscii, static_cast<std::int32_t>(argsInfo.bRecSort)}, true, empty_last, decisive};
    }
    if (argsInfo.keyNums < 1) {
        return {{nullptr, 0, 0, kTypeAscii, kSeqAsc}, false, false, true}; // all records are equal
    }
    // CSV fields differ in length, which a text prefix does not tell, and -N takes a number's last bit. Other keys have
    // one length, unless a merge reads foreign bytes: then a cut key and one that goes on in NULs count as equal.
    const KeyInfo &first = argsInfo.arrSortKey[0];
    const bool numeric = first.type == kTypeNum;
    const bool complete = format == kx_format::csv ? numeric && !empty_last : numeric || first.len <= kPrefixSize;
    return {first, false, empty_last, argsInfo.keyNums == 1 && complete};
}

} // namespace orkan
