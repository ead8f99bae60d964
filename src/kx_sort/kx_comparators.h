// kx_comparators.h: the comparators that sorts, merges and unique output hand to the list operations.
//
// Names: _cmpList[_merge|_unit][_totalRec][_variable|_csv][_stabilize], _cmpIfEqual[_merge|_unit][_variable|_csv].
//
//   no word    index items                        _variable, _csv   the record format; else fixed-length
//   _unit      heads of runs (UnitDataInfo)       _totalRec         whole records (-A, -R); else by sort keys
//   _merge     heads of presorted inputs          _stabilize        a tie goes to the run of the smaller index (-S)
//
// Ordering comparators take two list slots and give -1, 0 or +1, the stabilised ones never 0. Duplicate tests take
// the items themselves and give 0 for a duplicate, else 1. All read argsInfo, allocate nothing and count their calls
// in a verbose run; a stabilised form calls, and so also counts, its plain form.
#pragma once

namespace orkan {

struct UnitDataInfo;

// Index items.
int _cmpList(const void *a, const void *b);
int _cmpList_totalRec(const void *a, const void *b);
int _cmpList_variable(const void *a, const void *b);
int _cmpList_totalRec_variable(const void *a, const void *b);
int _cmpList_csv(const void *a, const void *b);
int _cmpList_totalRec_csv(const void *a, const void *b);

// Heads of runs; the fixed-length ones also serve presorted inputs.
int _cmpList_unit(const void *a, const void *b);
int _cmpList_unit_stabilize(const void *a, const void *b);
int _cmpList_unit_totalRec(const void *a, const void *b);
int _cmpList_unit_totalRec_stabilize(const void *a, const void *b);
int _cmpList_unit_variable(const void *a, const void *b);
int _cmpList_unit_variable_stabilize(const void *a, const void *b);
int _cmpList_unit_totalRec_variable(const void *a, const void *b);
int _cmpList_unit_totalRec_variable_stabilize(const void *a, const void *b);
int _cmpList_unit_csv(const void *a, const void *b);
int _cmpList_unit_csv_stabilize(const void *a, const void *b);
int _cmpList_unit_totalRec_csv(const void *a, const void *b);
int _cmpList_unit_totalRec_csv_stabilize(const void *a, const void *b);

// Heads of presorted inputs: the current record of each input's RecordList.
int _cmpList_merge_variable(const void *a, const void *b);
int _cmpList_merge_variable_stabilize(const void *a, const void *b);
int _cmpList_merge_totalRec_variable(const void *a, const void *b);
int _cmpList_merge_totalRec_variable_stabilize(const void *a, const void *b);
int _cmpList_merge_csv(const void *a, const void *b);
int _cmpList_merge_csv_stabilize(const void *a, const void *b);
int _cmpList_merge_totalRec_csv(const void *a, const void *b);
int _cmpList_merge_totalRec_csv_stabilize(const void *a, const void *b);

// Duplicates: two index items; for the others `last` and `candidate` are the runs (UnitDataInfo) that hold the record
// last output (justOut fields) and the candidate.
int _cmpIfEqual(const void *a, const void *b);
/// As _cmpIfEqual, counted with it, in a merge: the record staged last, behind which nothing is held, and the
/// candidate's run.
int cmpIfEqual_head(const char *last, const UnitDataInfo &candidate);
int _cmpIfEqual_variable(const void *a, const void *b);
int _cmpIfEqual_csv(const void *a, const void *b);
int _cmpIfEqual_unit_variable(const void *last, const void *candidate);
int _cmpIfEqual_unit_csv(const void *last, const void *candidate);
int _cmpIfEqual_merge_variable(const void *last, const void *candidate);
int _cmpIfEqual_merge_csv(const void *last, const void *candidate);

} // namespace orkan
