// comparator_cases.h: all comparators with the places where they find their records, and the fixture of their tests.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "kx_sort/kx_comparators.h"
#include "support/comparator_pair.h"

namespace support::comparators {

using std::string;

inline KeyInfo text(int pos, int len) { return {nullptr, pos, len, kTypeAscii, kSeqAsc}; }
inline KeyInfo date(int pos, int len) { return {nullptr, pos, len, kTypeDatetime, kSeqAsc}; }
inline KeyInfo number(int pos, int len) { return {nullptr, pos, len, kTypeNum, kSeqAsc}; }
inline KeyInfo down(KeyInfo key) {
    key.srtSeq = kSeqDesc;
    return key;
}
inline KeyInfo undirected(KeyInfo key) {
    key.srtSeq = 0;
    return key;
}
// CSV keys: which column a key names is the index builder's business, here locator k is that of key k.
inline KeyInfo text_column() { return text(1, 0); }
inline KeyInfo number_column() { return number(1, 0); }

struct Counter {
    const char *name;
    kx_compare compare;
    kx_i64 *calls;
    kx_i64 *plain_calls = nullptr; ///< of the plain form that a stabilised one calls
};

inline const std::array<Counter, 33> kCounters{{
    {"_cmpList", _cmpList, &cmpList},
    {"_cmpList_totalRec", _cmpList_totalRec, &cmpList_totalRec},
    {"_cmpList_unit", _cmpList_unit, &cmpList_unit},
    {"_cmpList_unit_stabilize", _cmpList_unit_stabilize, &cmpList_unit_stabilize, &cmpList_unit},
    {"_cmpList_unit_totalRec", _cmpList_unit_totalRec, &cmpList_unit_totalRec},
    {"_cmpList_unit_totalRec_stabilize", _cmpList_unit_totalRec_stabilize, &cmpList_unit_totalRec_stabilize,
     &cmpList_unit_totalRec},
    {"_cmpList_variable", _cmpList_variable, &cmpList_variable},
    {"_cmpList_totalRec_variable", _cmpList_totalRec_variable, &cmpList_totalRec_variable},
    {"_cmpList_unit_variable", _cmpList_unit_variable, &cmpList_unit_variable},
    {"_cmpList_unit_variable_stabilize", _cmpList_unit_variable_stabilize, &cmpList_unit_variable_stabilize,
     &cmpList_unit_variable},
    {"_cmpList_unit_totalRec_variable", _cmpList_unit_totalRec_variable, &cmpList_unit_totalRec_variable},
    {"_cmpList_unit_totalRec_variable_stabilize", _cmpList_unit_totalRec_variable_stabilize,
     &cmpList_unit_totalRec_variable_stabilize, &cmpList_unit_totalRec_variable},
    {"_cmpList_csv", _cmpList_csv, &cmpList_csv},
    {"_cmpList_totalRec_csv", _cmpList_totalRec_csv, &cmpList_totalRec_csv},
    {"_cmpList_unit_csv", _cmpList_unit_csv, &cmpList_unit_csv},
    {"_cmpList_unit_csv_stabilize", _cmpList_unit_csv_stabilize, &cmpList_unit_csv_stabilize, &cmpList_unit_csv},
    {"_cmpList_unit_totalRec_csv", _cmpList_unit_totalRec_csv, &cmpList_unit_totalRec_csv},
    {"_cmpList_unit_totalRec_csv_stabilize", _cmpList_unit_totalRec_csv_stabilize, &cmpList_unit_totalRec_csv_stabilize,
     &cmpList_unit_totalRec_csv},
    {"_cmpList_merge_variable", _cmpList_merge_variable, &cmpList_merge_variable},
    {"_cmpList_merge_variable_stabilize", _cmpList_merge_variable_stabilize, &cmpList_merge_variable_stabilize,
     &cmpList_merge_variable},
    {"_cmpList_merge_totalRec_variable", _cmpList_merge_totalRec_variable, &cmpList_merge_totalRec_variable},
    {"_cmpList_merge_totalRec_variable_stabilize", _cmpList_merge_totalRec_variable_stabilize,
     &cmpList_merge_totalRec_variable_stabilize, &cmpList_merge_totalRec_variable},
    {"_cmpList_merge_csv", _cmpList_merge_csv, &cmpList_merge_csv},
    {"_cmpList_merge_csv_stabilize", _cmpList_merge_csv_stabilize, &cmpList_merge_csv_stabilize, &cmpList_merge_csv},
    {"_cmpList_merge_totalRec_csv", _cmpList_merge_totalRec_csv, &cmpList_merge_totalRec_csv},
    {"_cmpList_merge_totalRec_csv_stabilize", _cmpList_merge_totalRec_csv_stabilize,
     &cmpList_merge_totalRec_csv_stabilize, &cmpList_merge_totalRec_csv},
    {"_cmpIfEqual", _cmpIfEqual, &cmpIfEqual},
    {"_cmpIfEqual_variable", _cmpIfEqual_variable, &cmpIfEqual_variable},
    {"_cmpIfEqual_csv", _cmpIfEqual_csv, &cmpIfEqual_csv},
    {"_cmpIfEqual_unit_variable", _cmpIfEqual_unit_variable, &cmpIfEqual_unit_variable},
    {"_cmpIfEqual_unit_csv", _cmpIfEqual_unit_csv, &cmpIfEqual_unit_csv},
    {"_cmpIfEqual_merge_variable", _cmpIfEqual_merge_variable, &cmpIfEqual_merge_variable},
    {"_cmpIfEqual_merge_csv", _cmpIfEqual_merge_csv, &cmpIfEqual_merge_csv},
}};

/// Where each comparator finds its records, and the model it must agree with.
struct Member {
    const char *name;
    kx_compare compare;
    Form form;
    Place place;
    bool whole; ///< of the ordering ones: by whole records
    Model model;
    kx_compare stable = nullptr;
};

inline const std::array kByKeys{
    Member{"_cmpList", _cmpList, Form::fixed, Place::index, false, model_keys},
    Member{"_cmpList_variable", _cmpList_variable, Form::variable, Place::index, false, model_keys},
    Member{"_cmpList_csv", _cmpList_csv, Form::csv, Place::index, false, model_keys_csv},
    Member{"_cmpList_unit", _cmpList_unit, Form::fixed, Place::run, false, model_keys, _cmpList_unit_stabilize},
    Member{"_cmpList_unit_variable", _cmpList_unit_variable, Form::variable, Place::run, false, model_keys,
           _cmpList_unit_variable_stabilize},
    Member{"_cmpList_unit_csv", _cmpList_unit_csv, Form::csv, Place::run, false, model_keys_csv,
           _cmpList_unit_csv_stabilize},
    Member{"_cmpList_merge_variable", _cmpList_merge_variable, Form::variable, Place::input, false, model_keys,
           _cmpList_merge_variable_stabilize},
    Member{"_cmpList_merge_csv", _cmpList_merge_csv, Form::csv, Place::input, false, model_keys_csv,
           _cmpList_merge_csv_stabilize},
};

inline const std::array kByRecord{
    Member{"_cmpList_totalRec", _cmpList_totalRec, Form::fixed, Place::index, true, model_whole_fixed},
    Member{"_cmpList_totalRec_variable", _cmpList_totalRec_variable, Form::variable, Place::index, true,
           model_whole_variable_memory},
    Member{"_cmpList_totalRec_csv", _cmpList_totalRec_csv, Form::csv, Place::index, true, model_whole_csv_memory},
    Member{"_cmpList_unit_totalRec", _cmpList_unit_totalRec, Form::fixed, Place::run, true, model_whole_fixed,
           _cmpList_unit_totalRec_stabilize},
    Member{"_cmpList_unit_totalRec_variable", _cmpList_unit_totalRec_variable, Form::variable, Place::run, true,
           model_whole_variable_run, _cmpList_unit_totalRec_variable_stabilize},
    Member{"_cmpList_unit_totalRec_csv", _cmpList_unit_totalRec_csv, Form::csv, Place::run, true, model_whole_csv_run,
           _cmpList_unit_totalRec_csv_stabilize},
    Member{"_cmpList_merge_totalRec_variable", _cmpList_merge_totalRec_variable, Form::variable, Place::input, true,
           model_whole_variable_presorted, _cmpList_merge_totalRec_variable_stabilize},
    Member{"_cmpList_merge_totalRec_csv", _cmpList_merge_totalRec_csv, Form::csv, Place::input, true,
           model_whole_csv_presorted, _cmpList_merge_totalRec_csv_stabilize},
};

inline const std::array kDifferences{
    Member{"_cmpIfEqual", _cmpIfEqual, Form::fixed, Place::index, false, model_differ},
    Member{"_cmpIfEqual_variable", _cmpIfEqual_variable, Form::variable, Place::index, false, model_differ},
    Member{"_cmpIfEqual_csv", _cmpIfEqual_csv, Form::csv, Place::index, false, model_differ_csv},
    Member{"_cmpIfEqual_unit_variable", _cmpIfEqual_unit_variable, Form::variable, Place::run, false, model_differ},
    Member{"_cmpIfEqual_unit_csv", _cmpIfEqual_unit_csv, Form::csv, Place::run, false, model_differ_csv},
    Member{"_cmpIfEqual_merge_variable", _cmpIfEqual_merge_variable, Form::variable, Place::input, false, model_differ},
    Member{"_cmpIfEqual_merge_csv", _cmpIfEqual_merge_csv, Form::csv, Place::input, false, model_differ_csv_presorted},
};

class Comparators : public ::testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    static void reset() {
        argsInfo = {};
        VERBOSE = 0;
        dataEnd = nullptr;
        for (const Counter &counter : kCounters) {
            *counter.calls = 0;
        }
    }

    void sort_by(std::vector<KeyInfo> keys) {
        keys_ = std::move(keys);
        argsInfo.arrSortKey = keys_.data();
        argsInfo.keyNums = to_i64(keys_.size());
        argsInfo.bRecSort = kRecSortNone;
    }
    void sort_whole(kx_i64 direction) {
        sort_by({});
        argsInfo.bRecSort = direction;
    }

    /// What every comparator of the set for this record form says, which must be one and the same.
    template <class Members>
    int agreed(const Members &members, Form form, const Sample &a, const Sample &b, const string &tail) {
        std::vector<int> results;
        for (const Member &member : members) {
            if (member.form == form) {
                results.push_back(Pair(form, member.place, a, b, tail).order(member.compare));
                EXPECT_EQ(Pair(form, member.place, b, a, tail).order(member.compare), -results.back()) << member.name;
                EXPECT_EQ(results.back(), results.front()) << member.name;
            }
        }
        return results.at(0);
    }
    int fixed(const string &a, const string &b, const string &tail = "") {
        return agreed(kByKeys, Form::fixed, Sample(a), Sample(b), tail);
    }
    int variable(const string &a, const string &b, const string &tail = "") {
        return agreed(kByKeys, Form::variable, Sample(a), Sample(b), tail);
    }
    int columns(const string &a, const string &b, const string &tail = "") {
        return agreed(kByKeys, Form::csv, csv(a), csv(b), tail);
    }

    static int order(kx_compare compare, const Sample &a, const Sample &b) {
        for (const auto &members : {std::vector<Member>(kByKeys.begin(), kByKeys.end()),
                                    std::vector<Member>(kByRecord.begin(), kByRecord.end())}) {
            for (const Member &member : members) {
                if (member.compare == compare || member.stable == compare) {
                    return Pair(member.form, member.place, a, b).order(compare);
                }
            }
        }
        ADD_FAILURE() << "no such comparator";
        return INT_MIN;
    }
    static int order(kx_compare compare, const string &a, const string &b) {
        return order(compare, Sample(a), Sample(b));
    }
    static int differ(kx_compare compare, const Sample &a, const Sample &b) {
        for (const Member &member : kDifferences) {
            if (member.compare == compare) {
                return Pair(member.form, member.place, a, b).differ(compare);
            }
        }
        ADD_FAILURE() << "no such duplicate test";
        return INT_MIN;
    }
    static int differ(kx_compare compare, const string &a, const string &b) {
        return differ(compare, Sample(a), Sample(b));
    }

    std::vector<KeyInfo> keys_;
};

} // namespace support::comparators
