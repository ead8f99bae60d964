// kx_comparators_test.cpp: every comparator directly, rule by rule.
#include <algorithm>

#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

// ---- The key rule -------------------------------------------------------------------------------------------------

TEST_F(Comparators, WithoutKeysEveryPairIsEqual) {
    sort_by({});
    EXPECT_EQ(fixed("aaa", "bbb"), 0);
    EXPECT_EQ(variable("aaa", "b"), 0);
    EXPECT_EQ(columns("a,b", "c,d"), 0);
    argsInfo.keyNums = -1;
    EXPECT_EQ(fixed("aaa", "bbb"), 0);
}

TEST_F(Comparators, TextKeyComparesItsBytesInItsDirection) {
    sort_by({text(1, 2)});
    EXPECT_EQ(fixed("zabz", "aaca"), -1);
    EXPECT_EQ(fixed("zabz", "aaba"), 0);
    EXPECT_EQ(variable("zab\n", "aacdef\n"), -1);
    sort_by({down(text(1, 2))});
    EXPECT_EQ(fixed("zabz", "aaca"), 1);
    EXPECT_EQ(variable("zab\n", "aacdef\n"), 1);
}

TEST_F(Comparators, TextKeyComparesBytesUnsignedAndPastNul) {
    sort_by({text(0, 2)});
    EXPECT_EQ(fixed("\xff.", "a."), 1);
    EXPECT_EQ(fixed(string("\0a", 2), string("\0b", 2)), -1);
}

TEST_F(Comparators, NumericKeyComparesValuesInItsDirection) {
    sort_by({number(0, 3)});
    EXPECT_EQ(fixed("9  ", "10 "), -1);
    EXPECT_EQ(fixed("-9 ", "-10"), 1);
    EXPECT_EQ(fixed("007", "7  "), 0);
    EXPECT_EQ(variable("9  \n", "10 \n"), -1);
    EXPECT_EQ(columns("9", "10"), -1);
    sort_by({down(number(0, 3))});
    EXPECT_EQ(fixed("9  ", "10 "), 1);
    EXPECT_EQ(columns("9", "10"), 1);
}

TEST_F(Comparators, TwoBlanksAndMinus12InFiveBytesIsMinus12AndPlus3InTwoIs3) {
    sort_by({number(0, 5)});
    EXPECT_EQ(fixed("  -12", "  -11"), -1);
    EXPECT_EQ(fixed("  -12", "-12  "), 0);
    sort_by({number(0, 2)});
    EXPECT_EQ(fixed("+3", " 3"), 0);
    EXPECT_EQ(fixed("+3", "04"), -1);
}

TEST_F(Comparators, BlankNumberIsZero) {
    sort_by({number(0, 3)});
    EXPECT_EQ(fixed("   ;", "  0;"), 0);
    EXPECT_EQ(fixed("   ;", " -1;"), 1);
    EXPECT_EQ(fixed("abc;", "0  ;"), 0);
}

TEST_F(Comparators, NumberWithLeadingBlanksReadsOnBehindItsKey) {
    sort_by({number(0, 2)});
    EXPECT_EQ(fixed(" 12;", "12 ;"), 0);
    EXPECT_EQ(variable("  12\n", "12  \n"), 0);
    sort_by({number_column()});
    EXPECT_EQ(columns(" 1", "1 "), 0) << "behind the field stands the newline code";
    EXPECT_EQ(Pair(Form::csv, Place::run, Sample(csv("  ")), csv("7"), "5").order(_cmpList_unit_csv), -1);
}

TEST_F(Comparators, NumberReadsOnIntoTheNextRecordButNotBehindTheData) {
    sort_by({number(0, 3)});
    EXPECT_EQ(Pair(Form::fixed, Place::index, "   ", "9  ").order(_cmpList), 0) << "reads the 9";
    EXPECT_EQ(Pair(Form::fixed, Place::index, "9  ", "   ").order(_cmpList), 1) << "the data end there";
    EXPECT_EQ(Pair(Form::fixed, Place::index, "9  ", "   ", "9").order(_cmpList), 0) << "data, not yet a record";
    EXPECT_EQ(Pair(Form::fixed, Place::run, "9  ", "   ").order(_cmpList_unit), 1);
    EXPECT_EQ(Pair(Form::fixed, Place::run, "9  ", "   ", "9").order(_cmpList_unit), 0);
    EXPECT_EQ(Pair(Form::variable, Place::index, "   \n", "9  \n").order(_cmpList_variable), 0) << "over its end";
    EXPECT_EQ(Pair(Form::variable, Place::input, "9  \n", "   \n").order(_cmpList_merge_variable), 1);
    EXPECT_EQ(Pair(Form::variable, Place::input, "9  \n", "   \n", "9").order(_cmpList_merge_variable), 0);
}

TEST_F(Comparators, NumbersAreSigned64Bit) {
    sort_by({number(0, 20)});
    EXPECT_EQ(fixed("-9223372036854775808", "9223372036854775807 "), -1);
    EXPECT_EQ(fixed("4294967296          ", "1                   "), 1);
}

TEST_F(Comparators, DateTimeKeyComparesBytes) {
    sort_by({date(0, 3)});
    EXPECT_EQ(fixed("9  ", "10 "), 1);
    EXPECT_EQ(fixed(" 1 ", "1  "), -1);
    EXPECT_EQ(columns("9", "10"), 1);
}

TEST_F(Comparators, LaterKeyDecidesOnlyWhenEarlierOnesTie) {
    sort_by({text(0, 1), down(number(1, 2)), text(3, 1)});
    EXPECT_EQ(fixed("a01x", "b02a"), -1);
    EXPECT_EQ(fixed("a01x", "a02a"), 1);
    EXPECT_EQ(fixed("a02x", "a02a"), 1);
    EXPECT_EQ(fixed("a02x", "a 2x"), 0);
    EXPECT_EQ(variable("a01x\n", "a02a\n"), 1);
    EXPECT_EQ(columns("a,1,x", "a,02,a"), 1);
    EXPECT_EQ(columns("a,2,x", "a,02,a"), 1);
    EXPECT_EQ(columns("a,2,x", "a,02,x"), 0);
}

TEST_F(Comparators, KeyOfNoDirectionDecidesNothingButATextLengthAsDescending) {
    sort_by({undirected(number(0, 1)), text(1, 1)});
    EXPECT_EQ(fixed("1b", "2a"), 1);
    EXPECT_EQ(columns("1,b", "2,a"), 1);
    sort_by({undirected(text_column())});
    EXPECT_EQ(columns("b", "a"), 0);
    EXPECT_EQ(columns("ab", "abc"), 1);
}

TEST_F(Comparators, NumericKeyOfLengthZeroIsZeroWhereverItStarts) {
    for (const int pos : {0, 3, 4, 1000, INT_MAX}) {
        sort_by({number(pos, 0), text(0, 1)});
        EXPECT_EQ(fixed("b99", "a11"), 1);
        EXPECT_EQ(variable("b99\n", "a1\n"), 1);
        EXPECT_EQ(differ(_cmpIfEqual, "a11", "a99"), 0);
        EXPECT_EQ(differ(_cmpIfEqual_variable, "a11\n", "a\n"), 0);
        EXPECT_EQ(differ(_cmpIfEqual_unit_variable, "a11\n", "a\n"), 0);
        EXPECT_EQ(differ(_cmpIfEqual_merge_variable, "a11\n", "a\n"), 0);
    }
}

TEST_F(Comparators, TextKeyOfLengthZeroTiesWhereverItStarts) {
    for (const int pos : {0, 3, 1000, INT_MAX}) {
        sort_by({text(pos, 0)});
        EXPECT_EQ(fixed("b99", "a11"), 0);
        EXPECT_EQ(variable("b99\n", "a\n"), 0);
        EXPECT_EQ(differ(_cmpIfEqual_unit_variable, "b11\n", "a\n"), 0);
    }
}

TEST_F(Comparators, NumbersBehindANullDataEndAreZero) {
    sort_by({number(0, 1)});
    const Pair pair(Form::fixed, Place::index, "1", "2");
    dataEnd = nullptr;
    EXPECT_EQ(pair.order(_cmpList), 0);
}

// ---- The CSV key rule ---------------------------------------------------------------------------------------------

TEST_F(Comparators, CsvTextAbSortsBeforeAbcAscendingAndAfterItDescending) {
    sort_by({text_column()});
    EXPECT_EQ(columns("ab", "abc"), -1);
    EXPECT_EQ(columns("abd", "abc"), 1);
    sort_by({down(text_column())});
    EXPECT_EQ(columns("ab", "abc"), 1);
    EXPECT_EQ(columns("abd", "abc"), -1);
}

TEST_F(Comparators, EmptyFieldIsTheSmallestWithoutN) {
    sort_by({text_column()});
    EXPECT_EQ(columns("", "a"), -1);
    sort_by({down(text_column())});
    EXPECT_EQ(columns("", "a"), 1);
    sort_by({number_column()});
    EXPECT_EQ(columns(",b", "0,a"), 0) << "an empty number is 0";
    EXPECT_EQ(columns("", "-1"), 1);
}

TEST_F(Comparators, UnderNAnEmptyFieldSortsLastBothWays) {
    argsInfo.bNullLastOut = 1;
    for (const KeyInfo &key : {text_column(), down(text_column()), number_column(), down(number_column())}) {
        sort_by({key});
        EXPECT_EQ(columns("", "7"), 1);
        EXPECT_EQ(columns("7", ""), -1);
    }
}

TEST_F(Comparators, UnderNTwoEmptyFieldsLeaveItToTheNextKey) {
    argsInfo.bNullLastOut = 1;
    sort_by({text_column(), text_column()});
    EXPECT_EQ(columns(",a", ",b"), -1);
    EXPECT_EQ(columns(",", ","), 0);
}

TEST_F(Comparators, NPlaysNoPartForBytePositions) {
    argsInfo.bNullLastOut = 1;
    sort_by({text(0, 0), text(0, 1)});
    EXPECT_EQ(fixed("a", "b"), -1);
    EXPECT_EQ(variable("a\n", "b\n"), -1);
}

TEST_F(Comparators, PresortedCsvNumbersAreTheRecordsOwnFields) {
    sort_by({number_column()});
    EXPECT_EQ(order(_cmpList_merge_csv, csv("2"), csv("10")), -1);
    Sample moved = csv("xx,10");
    moved.fields.erase(moved.fields.begin());
    EXPECT_EQ(order(_cmpList_merge_csv, csv("2"), moved), -1) << "each at its own offset, with its own length";
    EXPECT_EQ(order(_cmpList_merge_csv, moved, csv("2")), 1);
}

TEST_F(Comparators, KeyWithoutALocatedFieldIsEmpty) {
    sort_by({number_column(), text_column()});
    EXPECT_EQ(columns("0", "0,a"), -1);
    sort_by({text_column(), number_column()});
    EXPECT_EQ(columns("a", "a,-1"), 1);
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("a,5"), csv("a")), 1);
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("a,0"), csv("a")), 0);
    argsInfo.bNullLastOut = 1;
    EXPECT_EQ(columns("a", "a,-1"), 1);
    EXPECT_EQ(columns("a", "a,"), 0);
}

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

// ---- Stable merges ------------------------------------------------------------------------------------------------

TEST_F(Comparators, UnderSEqualHeadsLeaveInTheOrderOfTheirRuns) {
    for (const auto &members : {std::vector<Member>(kByKeys.begin(), kByKeys.end()),
                                std::vector<Member>(kByRecord.begin(), kByRecord.end())}) {
        for (const Member &member : members) {
            if (member.stable == nullptr) {
                continue;
            }
            sort_by({text(0, 2)});
            argsInfo.bRecSort = member.whole ? kRecSortAsc : kRecSortNone;
            Pair equal(member.form, member.place, csv("ab"), csv("ab"));
            EXPECT_EQ(equal.order(member.compare), 0) << member.name;
            EXPECT_EQ(equal.order(member.stable), -1) << member.name;
            EXPECT_EQ(equal.reversed(member.stable), 1) << member.name;
            equal.run(0).index = 7;
            EXPECT_EQ(equal.order(member.stable), 1) << member.name;
            const Pair different(member.form, member.place, csv("ab"), csv("aa"));
            EXPECT_EQ(different.order(member.stable), 1) << "the records come before the runs: " << member.name;
        }
    }
}

TEST_F(Comparators, UnderSEqualRecordsOfThreeInputsComeOutInInputOrder) {
    sort_by({text(0, 1)});
    Pair first(Form::variable, Place::input, "b1\n", "b2\n"), second(Form::variable, Place::input, "b3\n", "a4\n");
    second.run(0).index = 2;
    second.run(1).index = 3;
    std::vector<UnitDataInfo *> heads{&second.run(1), &second.run(0), &first.run(1), &first.run(0)};
    const auto before = [](UnitDataInfo *a, UnitDataInfo *b) { return _cmpList_merge_variable_stabilize(&a, &b) < 0; };
    std::sort(heads.begin(), heads.end(), before);
    EXPECT_EQ(heads, (std::vector<UnitDataInfo *>{&second.run(1), &first.run(0), &first.run(1), &second.run(0)}));
}

// ---- Duplicates ---------------------------------------------------------------------------------------------------

constexpr std::array<kx_compare, 3> kVariableDifferences{_cmpIfEqual_variable, _cmpIfEqual_unit_variable,
                                                         _cmpIfEqual_merge_variable};
constexpr std::array<kx_compare, 3> kCsvDifferences{_cmpIfEqual_csv, _cmpIfEqual_unit_csv, _cmpIfEqual_merge_csv};

TEST_F(Comparators, RecordsThatDifferOutsideTheKeysAreDuplicates) {
    sort_by({text(0, 2)});
    EXPECT_EQ(differ(_cmpIfEqual, "ab1", "ab2"), 0);
    EXPECT_EQ(differ(_cmpIfEqual, "ab1", "ac1"), 1);
    for (const kx_compare compare : kVariableDifferences) {
        EXPECT_EQ(differ(compare, "ab1\n", "ab234\n"), 0);
        EXPECT_EQ(differ(compare, "ab1\n", "ac1\n"), 1);
    }
    sort_by({text_column()});
    for (const kx_compare compare : kCsvDifferences) {
        EXPECT_EQ(differ(compare, csv("ab,1"), csv("ab,2,3")), 0);
        EXPECT_EQ(differ(compare, csv("ab,1"), csv("ac,1")), 1);
        EXPECT_EQ(differ(compare, csv("ab,1"), csv("abc,1")), 1) << "not by the common length";
    }
}

TEST_F(Comparators, VariableRecordsAbcAndAbcdAreDifferentUnderA) {
    sort_whole(kRecSortAsc);
    for (const kx_compare compare : kVariableDifferences) {
        EXPECT_EQ(differ(compare, "abc", "abcd"), 1);
        EXPECT_EQ(differ(compare, "abcd", "abc"), 1);
        EXPECT_EQ(differ(compare, "abc", "abd"), 1);
        EXPECT_EQ(differ(compare, "abc", "abc"), 0);
    }
}

TEST_F(Comparators, WholeRecordsDecideDuplicatesInBothDirectionsWhateverTheKeys) {
    for (const kx_i64 direction : {kRecSortAsc, kRecSortDesc}) {
        sort_by({text(0, 1)});
        argsInfo.bRecSort = direction;
        EXPECT_EQ(differ(_cmpIfEqual, "ab1", "ab2"), 1);
        EXPECT_EQ(differ(_cmpIfEqual, "ab1", "ab1"), 0);
        for (const kx_compare compare : kCsvDifferences) {
            EXPECT_EQ(differ(compare, csv("a,b"), csv("a,b")), 0);
            EXPECT_EQ(differ(compare, csv("a,b"), csv("a,c")), 1);
            EXPECT_EQ(differ(compare, csv("a,b"), csv("a,bc")), 1) << "field lengths";
            EXPECT_EQ(differ(compare, csv("a,b"), csv("a,b,c")), 1) << "field counts";
            EXPECT_EQ(differ(compare, csv("a,b,c"), csv("a,b")), 1);
        }
    }
}

TEST_F(Comparators, Plus5And5AreDuplicates) {
    sort_by({number(0, 2)});
    EXPECT_EQ(differ(_cmpIfEqual, "+5", "5;"), 0);
    EXPECT_EQ(differ(_cmpIfEqual, "+5", "-5"), 1);
    for (const kx_compare compare : kVariableDifferences) {
        EXPECT_EQ(differ(compare, "+5\n", "5;\n"), 0);
        EXPECT_EQ(differ(compare, "+5\n", "6;\n"), 1);
    }
    sort_by({number_column()});
    for (const kx_compare compare : kCsvDifferences) {
        EXPECT_EQ(differ(compare, csv("+5"), csv("5")), 0);
        EXPECT_EQ(differ(compare, csv("+5"), csv("6")), 1);
    }
}

TEST_F(Comparators, FirstDifferentKeyMakesDifferentAndNoKeysMakeEqual) {
    sort_by({text(0, 1), number(1, 1), date(2, 1)});
    EXPECT_EQ(differ(_cmpIfEqual, "a1x.", "a1x;"), 0);
    EXPECT_EQ(differ(_cmpIfEqual, "a1x", "b1x"), 1);
    EXPECT_EQ(differ(_cmpIfEqual, "a1x", "a2x"), 1);
    EXPECT_EQ(differ(_cmpIfEqual, "a1x", "a1y"), 1);
    sort_by({});
    EXPECT_EQ(differ(_cmpIfEqual, "a1x", "zzz"), 0);
    for (const kx_compare compare : kVariableDifferences) {
        EXPECT_EQ(differ(compare, "a\n", "zz\n"), 0);
    }
    for (const kx_compare compare : kCsvDifferences) {
        EXPECT_EQ(differ(compare, csv("a"), csv("z,z")), 0);
    }
}

TEST_F(Comparators, UnderNTwoEmptyFieldsAreDuplicatesAndOneIsNot) {
    argsInfo.bNullLastOut = 1;
    sort_by({text_column()});
    for (const kx_compare compare : kCsvDifferences) {
        EXPECT_EQ(differ(compare, csv(",a"), csv(",b")), 0);
        EXPECT_EQ(differ(compare, csv(""), csv("a")), 1);
        EXPECT_EQ(differ(compare, csv("a"), csv("")), 1);
    }
    sort_by({number_column()});
    for (const kx_compare compare : kCsvDifferences) {
        EXPECT_EQ(differ(compare, csv("0"), csv("")), 0) << "an empty number is 0";
    }
}

TEST_F(Comparators, PresortedCsvCandidatesNumberIsReadWithTheLastOutputFieldsLength) {
    sort_by({number_column()});
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("5"), csv("57")), 0) << "one digit of 57";
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("57"), csv("5")), 1);
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("05"), csv("5")), 0) << "the newline code ends it";
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv(""), csv("57")), 0) << "no digit of 57";
    EXPECT_EQ(differ(_cmpIfEqual_unit_csv, csv("5"), csv("57")), 1);
    EXPECT_EQ(differ(_cmpIfEqual_csv, csv("5"), csv("57")), 1);
    Sample before_blank(string("\t57\n"));
    before_blank.fields = {{0, 0}};
    EXPECT_EQ(differ(_cmpIfEqual_merge_csv, csv("57"), before_blank), 0) << "even of an empty field";
}

TEST_F(Comparators, LastOutputAndCandidateMayBelongToOneRun) {
    sort_by({text(0, 2)});
    Pair variable_pair(Form::variable, Place::run, "ab1\n", "ac\n");
    EXPECT_EQ(_cmpIfEqual_unit_variable(&variable_pair.run(0), &variable_pair.run(0)), 0);
    Pair csv_pair(Form::csv, Place::run, csv("ab"), csv("ac"));
    EXPECT_EQ(_cmpIfEqual_unit_csv(&csv_pair.run(0), &csv_pair.run(0)), 0);
    EXPECT_EQ(_cmpIfEqual_unit_csv(&csv_pair.run(0), &csv_pair.run(1)), 1);
}

TEST_F(Comparators, NumberOfTheLastOutputEndsWithItsRecord) {
    sort_by({number(0, 3)});
    Pair pair(Form::variable, Place::run, "   \n", "   \n", "9");
    EXPECT_EQ(pair.differ(_cmpIfEqual_unit_variable), 1) << "the candidate reads on, the last output does not";
}

TEST_F(Comparators, FixedRecordsOfMergeBuffersEndWhereTheirBytesDo) {
    const ExactBytes staged("12 "), current("  12");
    sort_by({number(0, 2)});
    argsInfo.recLen = 3;
    const char *a = staged.at(), *b = current.at();
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, b, b + 4), 0) << "reads the 2 behind the record";
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, b, b + 3), 1) << "the buffer ends there";
    sort_by({text(0, 3)});
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, b, b + 4), 1);
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, a, a + 3), 0);
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, a, a + 2), 1) << "a cut record";
    sort_whole(kRecSortAsc);
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, b, b + 4), 1);
    EXPECT_EQ(cmpIfEqual_within(a, a + 3, a, a + 3), 0);
    EXPECT_EQ(cmpIfEqual, 0);
    VERBOSE = 1;
    cmpIfEqual_within(a, a + 3, b, b + 4);
    EXPECT_EQ(cmpIfEqual, 1) << "counted with _cmpIfEqual";
}

// ---- Counters -----------------------------------------------------------------------------------------------------

TEST_F(Comparators, EachCallIsCountedOnlyWhileVerboseAndOnlyForItself) {
    sort_by({text(0, 1)});
    for (const Counter &counter : kCounters) {
        const string name = counter.name;
        const Form form = name.find("_csv") != string::npos        ? Form::csv
                          : name.find("_variable") != string::npos ? Form::variable
                                                                   : Form::fixed;
        const Place place = name.find("_unit") != string::npos    ? Place::run
                            : name.find("_merge") != string::npos ? Place::input
                                                                  : Place::index;
        const Pair pair(form, place, csv("a"), csv("b"));
        const auto call = [&] {
            return name.find("IfEqual") != string::npos ? pair.differ(counter.compare) : pair.order(counter.compare);
        };
        reset();
        call();
        EXPECT_EQ(*counter.calls, 0) << name;
        VERBOSE = 1;
        call();
        call();
        for (const Counter &other : kCounters) {
            const bool counted = other.calls == counter.calls || other.calls == counter.plain_calls;
            EXPECT_EQ(*other.calls, counted ? 2 : 0) << name << " counts " << other.name;
        }
    }
}

} // namespace
