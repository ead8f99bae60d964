// kx_comparators_test.cpp: every comparator directly, rule by rule: by keys.
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

} // namespace
