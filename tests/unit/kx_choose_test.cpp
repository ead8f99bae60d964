// kx_choose_test.cpp: which comparators the settings choose.
#include "kx_sort/kx_choose.h"

#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

string name_of(kx_compare compare) {
    for (const Counter &counter : kCounters) {
        if (counter.compare == compare) {
            return counter.name;
        }
    }
    return compare == nullptr ? "-" : "?";
}

string names_of(kx_head_order order) { return name_of(order.plain) + " " + name_of(order.stable); }

class Choose : public Comparators {
  protected:
    static void set(kx_i64 fix_var, kx_i64 is_csv, kx_i64 whole) {
        argsInfo.bFixVar = fix_var;
        argsInfo.bCsv = is_csv;
        argsInfo.bRecSort = whole;
    }
    static string orders(kx_i64 fix_var, kx_i64 is_csv, kx_i64 whole) {
        set(fix_var, is_csv, whole);
        return name_of(kx_choose_index_comparator()) + " " + names_of(kx_choose_run_order()) + " " +
               names_of(kx_choose_presorted_order());
    }
    static string differences(kx_i64 fix_var, kx_i64 is_csv) {
        set(fix_var, is_csv, kRecSortNone);
        return name_of(kx_choose_index_difference()) + " " + name_of(kx_choose_run_difference()) + " " +
               name_of(kx_choose_presorted_difference());
    }
};

TEST_F(Choose, OrderFollowsFormatAndWholeRecordSetting) {
    EXPECT_EQ(orders(kFix, 0, kRecSortNone),
              "_cmpList _cmpList_unit _cmpList_unit_stabilize _cmpList_unit _cmpList_unit_stabilize");
    EXPECT_EQ(orders(kVariable, 0, kRecSortNone),
              "_cmpList_variable _cmpList_unit_variable _cmpList_unit_variable_stabilize "
              "_cmpList_merge_variable _cmpList_merge_variable_stabilize");
    EXPECT_EQ(orders(kVariable, 1, kRecSortNone), "_cmpList_csv _cmpList_unit_csv _cmpList_unit_csv_stabilize "
                                                  "_cmpList_merge_csv _cmpList_merge_csv_stabilize");
    for (const kx_i64 whole : {kRecSortAsc, kRecSortDesc}) {
        EXPECT_EQ(orders(kFix, 0, whole), "_cmpList_totalRec _cmpList_unit_totalRec _cmpList_unit_totalRec_stabilize "
                                          "_cmpList_unit_totalRec _cmpList_unit_totalRec_stabilize");
        EXPECT_EQ(orders(kVariable, 0, whole),
                  "_cmpList_totalRec_variable _cmpList_unit_totalRec_variable "
                  "_cmpList_unit_totalRec_variable_stabilize "
                  "_cmpList_merge_totalRec_variable _cmpList_merge_totalRec_variable_stabilize");
        EXPECT_EQ(orders(kVariable, 1, whole),
                  "_cmpList_totalRec_csv _cmpList_unit_totalRec_csv _cmpList_unit_totalRec_csv_stabilize "
                  "_cmpList_merge_totalRec_csv _cmpList_merge_totalRec_csv_stabilize");
    }
}

TEST_F(Choose, DuplicateTestFollowsFormat) {
    EXPECT_EQ(differences(kFix, 0), "_cmpIfEqual - -");
    EXPECT_EQ(differences(kVariable, 0), "_cmpIfEqual_variable _cmpIfEqual_unit_variable _cmpIfEqual_merge_variable");
    EXPECT_EQ(differences(kVariable, 1), "_cmpIfEqual_csv _cmpIfEqual_unit_csv _cmpIfEqual_merge_csv");
}

TEST_F(Choose, RecordLengthBeatsCsv) {
    EXPECT_EQ(orders(kFix, 1, kRecSortNone), orders(kFix, 0, kRecSortNone));
    EXPECT_EQ(orders(kFix, 1, kRecSortAsc), orders(kFix, 0, kRecSortAsc));
    EXPECT_EQ(differences(kFix, 1), differences(kFix, 0));
    set(kFix, 1, kRecSortNone);
    EXPECT_EQ(kx_record_format(), kx_format::fixed);
    set(kVariable, 1, kRecSortNone);
    EXPECT_EQ(kx_record_format(), kx_format::csv);
    set(kVariable, 0, kRecSortNone);
    EXPECT_EQ(kx_record_format(), kx_format::variable);
}

} // namespace
