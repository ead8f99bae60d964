// kx_comparators_whole_test.cpp: every comparator directly, rule by rule: of whole records.
#include <algorithm>

#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

// ---- Whole records ------------------------------------------------------------------------------------------------

TEST_F(Comparators, WholeFixedRecordsCompareRecLenBytesInTheDirection) {
    for (const kx_compare compare : {_cmpList_totalRec, _cmpList_unit_totalRec}) {
        sort_whole(kRecSortAsc);
        EXPECT_EQ(order(compare, "abc", "abd"), -1);
        EXPECT_EQ(order(compare, "abd", "abc"), 1);
        EXPECT_EQ(order(compare, "abc", "abc"), 0);
        sort_whole(kRecSortDesc);
        EXPECT_EQ(order(compare, "abc", "abd"), 1);
        EXPECT_EQ(order(compare, "abd", "abc"), -1);
        sort_whole(kRecSortNone);
        EXPECT_EQ(order(compare, "abc", "abd"), 0);
    }
}

TEST_F(Comparators, AbcAndAbcdAreEqualInMemoryButAbcComesFirstInAMerge) {
    sort_whole(kRecSortAsc);
    EXPECT_EQ(order(_cmpList_totalRec_variable, "abc", "abcd"), 0);
    EXPECT_EQ(order(_cmpList_unit_totalRec_variable, "abc", "abcd"), -1);
    EXPECT_EQ(order(_cmpList_unit_totalRec_variable, "abcd", "abc"), 1);
    EXPECT_EQ(order(_cmpList_merge_totalRec_variable, "abc", "abcd"), -1);
    sort_whole(kRecSortDesc);
    EXPECT_EQ(order(_cmpList_totalRec_variable, "abc", "abcd"), 0);
    EXPECT_EQ(order(_cmpList_unit_totalRec_variable, "abc", "abcd"), 1);
    EXPECT_EQ(order(_cmpList_merge_totalRec_variable, "abc", "abcd"), 1);
}

TEST_F(Comparators, WholeVariableRecordsCompareBytesBeforeLengths) {
    for (const kx_compare compare :
         {_cmpList_totalRec_variable, _cmpList_unit_totalRec_variable, _cmpList_merge_totalRec_variable}) {
        sort_whole(kRecSortAsc);
        EXPECT_EQ(order(compare, "b", "aaa"), 1);
        EXPECT_EQ(order(compare, "abc", "abc"), 0);
        sort_whole(kRecSortDesc);
        EXPECT_EQ(order(compare, "b", "aaa"), -1);
        EXPECT_EQ(order(compare, "abc", "abc"), 0);
    }
}

TEST_F(Comparators, WithoutADirectionRunsCompareLengthsAlonePresortedInputsOnlyPrefixesMemoryNothing) {
    sort_whole(kRecSortNone);
    EXPECT_EQ(order(_cmpList_totalRec_variable, "a", "bb"), 0);
    EXPECT_EQ(order(_cmpList_unit_totalRec_variable, "a", "bb"), 1) << "the shorter after";
    EXPECT_EQ(order(_cmpList_unit_totalRec_variable, "b", "a"), 0);
    EXPECT_EQ(order(_cmpList_merge_totalRec_variable, "a", "bb"), 0);
    EXPECT_EQ(order(_cmpList_merge_totalRec_variable, "a", "ab"), 1) << "the longer first";
}

constexpr std::array<kx_compare, 3> kWholeCsv{_cmpList_totalRec_csv, _cmpList_unit_totalRec_csv,
                                              _cmpList_merge_totalRec_csv};

TEST_F(Comparators, WholeCsvRecordsCompareFieldByField) {
    for (const kx_compare compare : kWholeCsv) {
        sort_whole(kRecSortAsc);
        EXPECT_EQ(order(compare, csv("a,c"), csv("a,b")), 1);
        EXPECT_EQ(order(compare, csv("a,b"), csv("a,b")), 0);
        EXPECT_EQ(order(compare, csv("ab,a"), csv("abc,a")), -1) << "the shorter field first";
        EXPECT_EQ(order(compare, csv("a b,c"), csv("a,c")), 1) << "not the bytes of the line";
        EXPECT_EQ(order(compare, csv("b"), csv("a,z")), 1) << "a field before the count";
        EXPECT_EQ(order(compare, csv("a"), csv("a,b")), -1) << "fewer fields first";
        sort_whole(kRecSortDesc);
        EXPECT_EQ(order(compare, csv("a,c"), csv("a,b")), -1);
        EXPECT_EQ(order(compare, csv("a,b"), csv("a,b")), 0);
        EXPECT_EQ(order(compare, csv("ab,a"), csv("abc,a")), 1);
        EXPECT_EQ(order(compare, csv("b"), csv("a,z")), -1);
        EXPECT_EQ(order(compare, csv("a"), csv("a,b")), 1) << "more fields first";
    }
}

TEST_F(Comparators, CsvRecordsWithoutFieldsGoByTheirCounts) {
    for (const kx_compare compare : kWholeCsv) {
        sort_whole(kRecSortAsc);
        EXPECT_EQ(order(compare, Sample("b\n"), Sample("a\n")), 0);
        EXPECT_EQ(order(compare, Sample("b\n"), csv("a")), -1);
        EXPECT_EQ(order(compare, csv("a"), Sample("b\n")), 1);
        sort_whole(kRecSortDesc);
        EXPECT_EQ(order(compare, Sample("b\n"), Sample("a\n")), 0);
        EXPECT_EQ(order(compare, Sample("b\n"), csv("a")), 1);
    }
}

TEST_F(Comparators, UnderNEmptyFieldsOfWholeCsvRecordsGoLastBothWays) {
    for (const kx_i64 direction : {kRecSortAsc, kRecSortDesc}) {
        for (const kx_compare compare : kWholeCsv) {
            sort_whole(direction);
            argsInfo.bNullLastOut = 1;
            EXPECT_EQ(order(compare, csv("a,"), csv("a,b")), 1);
            EXPECT_EQ(order(compare, csv("a,b"), csv("a,")), -1);
            const int by_second = direction == kRecSortAsc ? -1 : 1;
            EXPECT_EQ(order(compare, csv(",a"), csv(",b")), by_second) << "two empty fields are passed";
            EXPECT_EQ(order(compare, csv(","), csv(",")), 0);
            argsInfo.bNullLastOut = 0;
            EXPECT_EQ(order(compare, csv("a,"), csv("a,b")), by_second) << "without -N the empty one is the smaller";
        }
    }
}

TEST_F(Comparators, RunHeadsOfDifferentCountsGoByCountAtTheFirstAgreeingField) {
    sort_whole(kRecSortAsc);
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv("ab,z"), csv("a,b,c")), -1) << "not by the field lengths";
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv("a,z"), csv("a,b,c")), -1) << "not by the second field";
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv("b,z"), csv("a,b,c")), 1) << "no agreement";
    EXPECT_EQ(order(_cmpList_totalRec_csv, csv("ab,z"), csv("a,b,c")), 1);
    EXPECT_EQ(order(_cmpList_totalRec_csv, csv("a,z"), csv("a,b,c")), 1);
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("a,z"), csv("a,b,c")), 1);
    sort_whole(kRecSortDesc);
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv("ab,z"), csv("a,b,c")), 1);
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv("a,a"), csv("a,b,c")), 1);
}

TEST_F(Comparators, UnderNTwoEmptyFieldsAreNoAgreementOfRunHeads) {
    sort_whole(kRecSortAsc);
    argsInfo.bNullLastOut = 1;
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv(",z"), csv(",b,c")), 1) << "the second field decides";
    argsInfo.bNullLastOut = 0;
    EXPECT_EQ(order(_cmpList_unit_totalRec_csv, csv(",z"), csv(",b,c")), -1) << "the counts decide";
}

TEST_F(Comparators, PresortedInputsCompareFirstFieldLengthsWhenALaterFieldAgrees) {
    // Only without a direction can fields of different lengths be passed before.
    sort_whole(kRecSortNone);
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("aa,x"), csv("b,x")), -1) << "the longer first field first";
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("b,x"), csv("aa,x")), 1);
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("a,x"), csv("b,xy")), 0) << "current lengths decide nothing";
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("a,x"), csv("b,x,y")), 1) << "more fields first";
    sort_whole(kRecSortAsc);
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("ab,z"), csv("abc,a")), -1);
    sort_whole(kRecSortDesc);
    EXPECT_EQ(order(_cmpList_merge_totalRec_csv, csv("ab,z"), csv("abc,a")), 1);
}

TEST_F(Comparators, FieldsBehindTheShorterRecordsCountAreNeverRead) {
    for (const kx_compare compare : kWholeCsv) {
        for (const kx_i64 null_last : {0, 1}) {
            sort_whole(kRecSortAsc);
            argsInfo.bNullLastOut = null_last;
            EXPECT_EQ(order(compare, csv("a,b"), csv("a,b,,")), -1) << "the counts decide, under -N too";
            EXPECT_EQ(order(compare, csv("a,b,,"), csv("a,b")), 1);
        }
    }
}

} // namespace
