// kx_comparators_merges_test.cpp: every comparator directly, rule by rule: stable merges, duplicates, and the counters.
#include <algorithm>

#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

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
    const char *last = staged.at();
    UnitDataInfo same{}, candidate{};
    same.buf = staged.at();
    same.bufSize = 3;
    candidate.buf = current.at();
    candidate.bufSize = 4;
    EXPECT_EQ(cmpIfEqual_head(last, candidate), 0) << "reads the 2 behind the record";
    candidate.bufSize = 3;
    EXPECT_EQ(cmpIfEqual_head(last, candidate), 1) << "the buffer ends there";
    sort_by({text(0, 3)});
    EXPECT_EQ(cmpIfEqual_head(last, candidate), 1);
    EXPECT_EQ(cmpIfEqual_head(last, same), 0);
    same.bufSize = 2;
    EXPECT_EQ(cmpIfEqual_head(last, same), 1) << "a cut record";
    sort_whole(kRecSortAsc);
    same.bufSize = 3;
    EXPECT_EQ(cmpIfEqual_head(last, candidate), 1);
    EXPECT_EQ(cmpIfEqual_head(last, same), 0);
    EXPECT_EQ(cmpIfEqual, 0);
    VERBOSE = 1;
    cmpIfEqual_head(last, candidate);
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
