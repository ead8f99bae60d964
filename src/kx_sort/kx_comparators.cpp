#include "kx_sort/kx_comparators.h"

#include "kx_sort/kx_compare_core.h"

namespace orkan {

// ---- Index items -------------------------------------------------------------------------------------------------

int _cmpList(const void *a, const void *b) {
    count_call(cmpList);
    return by_keys(fixed_item(item_in(a)), fixed_item(item_in(b)));
}

int _cmpList_totalRec(const void *a, const void *b) {
    count_call(cmpList_totalRec);
    return by_record<kRuleInMemory>(fixed_item(item_in(a)), fixed_item(item_in(b)));
}

int _cmpList_variable(const void *a, const void *b) {
    count_call(cmpList_variable);
    return by_keys(variable_item(item_in(a)), variable_item(item_in(b)));
}

int _cmpList_totalRec_variable(const void *a, const void *b) {
    count_call(cmpList_totalRec_variable);
    return by_record<kRuleInMemory>(variable_item(item_in(a)), variable_item(item_in(b)));
}

int _cmpList_csv(const void *a, const void *b) {
    count_call(cmpList_csv);
    return by_keys(csv_item(item_in(a)), csv_item(item_in(b)));
}

int _cmpList_totalRec_csv(const void *a, const void *b) {
    count_call(cmpList_totalRec_csv);
    return by_all_fields<kFieldRuleInMemory>(csv_item(item_in(a)), csv_item(item_in(b)));
}

// ---- Heads of runs -----------------------------------------------------------------------------------------------

int _cmpList_unit(const void *a, const void *b) {
    count_call(cmpList_unit);
    return by_keys(fixed_head(run_in(a)), fixed_head(run_in(b)));
}

int _cmpList_unit_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_stabilize);
    return first_run_on_tie(_cmpList_unit(a, b), a, b);
}

int _cmpList_unit_totalRec(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec);
    return by_record<kRuleInMemory>(fixed_head(run_in(a)), fixed_head(run_in(b)));
}

int _cmpList_unit_totalRec_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec_stabilize);
    return first_run_on_tie(_cmpList_unit_totalRec(a, b), a, b);
}

int _cmpList_unit_variable(const void *a, const void *b) {
    count_call(cmpList_unit_variable);
    return by_keys(variable_head(run_in(a)), variable_head(run_in(b)));
}

int _cmpList_unit_variable_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_variable_stabilize);
    return first_run_on_tie(_cmpList_unit_variable(a, b), a, b);
}

int _cmpList_unit_totalRec_variable(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec_variable);
    return by_record<kRuleRunHead>(variable_head(run_in(a)), variable_head(run_in(b)));
}

int _cmpList_unit_totalRec_variable_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec_variable_stabilize);
    return first_run_on_tie(_cmpList_unit_totalRec_variable(a, b), a, b);
}

int _cmpList_unit_csv(const void *a, const void *b) {
    count_call(cmpList_unit_csv);
    return by_keys(csv_head(run_in(a)), csv_head(run_in(b)));
}

int _cmpList_unit_csv_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_csv_stabilize);
    return first_run_on_tie(_cmpList_unit_csv(a, b), a, b);
}

int _cmpList_unit_totalRec_csv(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec_csv);
    return by_all_fields<kFieldRuleRunHead>(csv_head(run_in(a)), csv_head(run_in(b)));
}

int _cmpList_unit_totalRec_csv_stabilize(const void *a, const void *b) {
    count_call(cmpList_unit_totalRec_csv_stabilize);
    return first_run_on_tie(_cmpList_unit_totalRec_csv(a, b), a, b);
}

// ---- Heads of presorted inputs -----------------------------------------------------------------------------------

int _cmpList_merge_variable(const void *a, const void *b) {
    count_call(cmpList_merge_variable);
    return by_keys(variable_current(run_in(a)), variable_current(run_in(b)));
}

int _cmpList_merge_variable_stabilize(const void *a, const void *b) {
    count_call(cmpList_merge_variable_stabilize);
    return first_run_on_tie(_cmpList_merge_variable(a, b), a, b);
}

int _cmpList_merge_totalRec_variable(const void *a, const void *b) {
    count_call(cmpList_merge_totalRec_variable);
    return by_record<kRulePresorted>(variable_current(run_in(a)), variable_current(run_in(b)));
}

int _cmpList_merge_totalRec_variable_stabilize(const void *a, const void *b) {
    count_call(cmpList_merge_totalRec_variable_stabilize);
    return first_run_on_tie(_cmpList_merge_totalRec_variable(a, b), a, b);
}

int _cmpList_merge_csv(const void *a, const void *b) {
    count_call(cmpList_merge_csv);
    return by_keys(csv_current(run_in(a)), csv_current(run_in(b)));
}

int _cmpList_merge_csv_stabilize(const void *a, const void *b) {
    count_call(cmpList_merge_csv_stabilize);
    return first_run_on_tie(_cmpList_merge_csv(a, b), a, b);
}

int _cmpList_merge_totalRec_csv(const void *a, const void *b) {
    count_call(cmpList_merge_totalRec_csv);
    return by_all_fields<kFieldRulePresorted>(csv_current(run_in(a)), csv_current(run_in(b)));
}

int _cmpList_merge_totalRec_csv_stabilize(const void *a, const void *b) {
    count_call(cmpList_merge_totalRec_csv_stabilize);
    return first_run_on_tie(_cmpList_merge_totalRec_csv(a, b), a, b);
}

// ---- Duplicates --------------------------------------------------------------------------------------------------

int _cmpIfEqual(const void *a, const void *b) {
    count_call(cmpIfEqual);
    return differ(fixed_item(a), fixed_item(b));
}

int cmpIfEqual_head(const char *last, const UnitDataInfo &candidate) {
    count_call(cmpIfEqual);
    return differ(last_fixed(last), fixed_head(candidate));
}

int _cmpIfEqual_variable(const void *a, const void *b) {
    count_call(cmpIfEqual_variable);
    return differ(variable_item(a), variable_item(b));
}

int _cmpIfEqual_csv(const void *a, const void *b) {
    count_call(cmpIfEqual_csv);
    return differ(csv_item(a), csv_item(b));
}

namespace {

const UnitDataInfo &run_of(const void *run) { return *static_cast<const UnitDataInfo *>(run); }

} // namespace

int _cmpIfEqual_unit_variable(const void *last, const void *candidate) {
    count_call(cmpIfEqual_unit_variable);
    return differ(last_variable(run_of(last)), variable_head(run_of(candidate)));
}

int _cmpIfEqual_unit_csv(const void *last, const void *candidate) {
    count_call(cmpIfEqual_unit_csv);
    return differ(last_csv(run_of(last)), csv_head(run_of(candidate)));
}

int _cmpIfEqual_merge_variable(const void *last, const void *candidate) {
    count_call(cmpIfEqual_merge_variable);
    return differ(last_variable(run_of(last)), variable_current(run_of(candidate)));
}

// Kept: the candidate's number is read with the length of the last output field, not with its own.
int _cmpIfEqual_merge_csv(const void *last, const void *candidate) {
    count_call(cmpIfEqual_merge_csv);
    return differ<number_limit::last_output_length>(last_csv(run_of(last)), csv_current(run_of(candidate)));
}

} // namespace orkan
