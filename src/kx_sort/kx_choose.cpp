#include "kx_sort/kx_choose.h"

#include "kx_sort/kx_comparators.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// What serves one record format.
struct Family {
    kx_compare index_keys, index_whole;
    kx_head_order run_keys, run_whole;
    kx_head_order presorted_keys, presorted_whole;
    kx_compare index_difference, run_difference, presorted_difference;
};

constexpr Family kFixed{
    .index_keys = _cmpList,
    .index_whole = _cmpList_totalRec,
    .run_keys = {_cmpList_unit, _cmpList_unit_stabilize},
    .run_whole = {_cmpList_unit_totalRec, _cmpList_unit_totalRec_stabilize},
    .presorted_keys = {_cmpList_unit, _cmpList_unit_stabilize},
    .presorted_whole = {_cmpList_unit_totalRec, _cmpList_unit_totalRec_stabilize},
    .index_difference = _cmpIfEqual,
    .run_difference = nullptr,
    .presorted_difference = nullptr,
};

constexpr Family kVariableLength{
    .index_keys = _cmpList_variable,
    .index_whole = _cmpList_totalRec_variable,
    .run_keys = {_cmpList_unit_variable, _cmpList_unit_variable_stabilize},
    .run_whole = {_cmpList_unit_totalRec_variable, _cmpList_unit_totalRec_variable_stabilize},
    .presorted_keys = {_cmpList_merge_variable, _cmpList_merge_variable_stabilize},
    .presorted_whole = {_cmpList_merge_totalRec_variable, _cmpList_merge_totalRec_variable_stabilize},
    .index_difference = _cmpIfEqual_variable,
    .run_difference = _cmpIfEqual_unit_variable,
    .presorted_difference = _cmpIfEqual_merge_variable,
};

constexpr Family kCsv{
    .index_keys = _cmpList_csv,
    .index_whole = _cmpList_totalRec_csv,
    .run_keys = {_cmpList_unit_csv, _cmpList_unit_csv_stabilize},
    .run_whole = {_cmpList_unit_totalRec_csv, _cmpList_unit_totalRec_csv_stabilize},
    .presorted_keys = {_cmpList_merge_csv, _cmpList_merge_csv_stabilize},
    .presorted_whole = {_cmpList_merge_totalRec_csv, _cmpList_merge_totalRec_csv_stabilize},
    .index_difference = _cmpIfEqual_csv,
    .run_difference = _cmpIfEqual_unit_csv,
    .presorted_difference = _cmpIfEqual_merge_csv,
};

const Family &family() {
    switch (kx_record_format()) {
    case kx_format::fixed: return kFixed;
    case kx_format::csv: return kCsv;
    case kx_format::variable: break;
    }
    return kVariableLength;
}

template <class T> T by_setting(T keys, T whole) { return argsInfo.bRecSort != kRecSortNone ? whole : keys; }

} // namespace

kx_format kx_record_format() {
    if (argsInfo.bFixVar == kFix) {
        return kx_format::fixed;
    }
    return argsInfo.bCsv != 0 ? kx_format::csv : kx_format::variable;
}

kx_compare kx_choose_index_comparator() { return by_setting(family().index_keys, family().index_whole); }
kx_compare kx_choose_index_difference() { return family().index_difference; }

kx_head_order kx_choose_run_order() { return by_setting(family().run_keys, family().run_whole); }
kx_head_order kx_choose_presorted_order() { return by_setting(family().presorted_keys, family().presorted_whole); }

kx_compare kx_choose_run_difference() { return family().run_difference; }
kx_compare kx_choose_presorted_difference() { return family().presorted_difference; }

} // namespace orkan
