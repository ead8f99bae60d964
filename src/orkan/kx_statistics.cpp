// kx_statistics.cpp: the comparators' call counters: one table, printed and reset from here.
#include <algorithm>
#include <array>
#include <initializer_list>

#include "kx_utils/kx_messages.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr const char *kSort = "ソート比較函数", *kSplitSort = "分割ソート比較函数", *kDifference = "比較函数";

struct Counter {
    kx_i64 *value;
    const char *name;
    const char *label;
    bool survives_run;
};

// Kept: two counters are not reset between the runs of a process.
const std::array<Counter, 33> kCounters{{
    {&cmpList, "_cmpList", kSort, false},
    {&cmpList_totalRec, "_cmpList_totalRec", kSort, false},
    {&cmpList_unit, "_cmpList_unit", kSplitSort, false},
    {&cmpList_unit_stabilize, "_cmpList_unit_stabilize", kSplitSort, false},
    {&cmpList_unit_totalRec, "_cmpList_unit_totalRec", kSplitSort, false},
    {&cmpList_unit_totalRec_stabilize, "_cmpList_unit_totalRec_stabilize", kSplitSort, false},
    {&cmpList_variable, "_cmpList_variable", kSort, false},
    {&cmpList_totalRec_variable, "_cmpList_totalRec_variable", kSort, false},
    {&cmpList_unit_variable, "_cmpList_unit_variable", kSplitSort, false},
    {&cmpList_unit_variable_stabilize, "_cmpList_unit_variable_stabilize", kSplitSort, false},
    {&cmpList_unit_totalRec_variable, "_cmpList_unit_totalRec_variable", kSplitSort, false},
    {&cmpList_unit_totalRec_variable_stabilize, "_cmpList_unit_totalRec_variable_stabilize", kSplitSort, false},
    {&cmpList_csv, "_cmpList_csv", kSort, false},
    {&cmpList_totalRec_csv, "_cmpList_totalRec_csv", kSort, false},
    {&cmpList_unit_csv, "_cmpList_unit_csv", kSplitSort, false},
    {&cmpList_unit_csv_stabilize, "_cmpList_unit_csv_stabilize", kSplitSort, false},
    {&cmpList_unit_totalRec_csv, "_cmpList_unit_totalRec_csv", kSplitSort, false},
    {&cmpList_unit_totalRec_csv_stabilize, "_cmpList_unit_totalRec_csv_stabilize", kSplitSort, true},
    {&cmpList_merge_variable, "_cmpList_merge_variable", kSort, false},
    {&cmpList_merge_variable_stabilize, "_cmpList_merge_variable_stabilize", kSort, false},
    {&cmpList_merge_totalRec_variable, "_cmpList_merge_totalRec_variable", kSort, false},
    {&cmpList_merge_totalRec_variable_stabilize, "_cmpList_merge_totalRec_variable_stabilize", kSort, false},
    {&cmpList_merge_csv, "_cmpList_merge_csv", kSort, false},
    {&cmpList_merge_csv_stabilize, "_cmpList_merge_csv_stabilize", kSort, false},
    {&cmpList_merge_totalRec_csv, "_cmpList_merge_totalRec_csv", kSort, false},
    {&cmpList_merge_totalRec_csv_stabilize, "_cmpList_merge_totalRec_csv_stabilize", kSort, true},
    {&cmpIfEqual, "_cmpIfEqual", kDifference, false},
    {&cmpIfEqual_variable, "_cmpIfEqual_variable", kDifference, false},
    {&cmpIfEqual_csv, "_cmpIfEqual_csv", kDifference, false},
    {&cmpIfEqual_unit_variable, "_cmpIfEqual_unit_variable", kDifference, false},
    {&cmpIfEqual_unit_csv, "_cmpIfEqual_unit_csv", kDifference, false},
    {&cmpIfEqual_merge_variable, "_cmpIfEqual_merge_variable", kDifference, false},
    {&cmpIfEqual_merge_csv, "_cmpIfEqual_merge_csv", kDifference, false},
}};

constexpr kx_message<const char *> kSection{"\n---%s---\n"};
constexpr kx_message<const char *, const char *, kx_i64> kCalls{"%s[%s]のコール回数は：%ld\n"};

void print_section(const char *title, std::initializer_list<const kx_i64 *> values) {
    kx_say(kSection, title);
    for (const kx_i64 *value : values) {
        const auto *row = std::find_if(kCounters.begin(), kCounters.end(),
                                       [&](const Counter &counter) { return counter.value == value; });
        kx_say(kCalls, row->label, row->name, *row->value);
    }
}

} // namespace

void kx_print_statistics() {
    print_section("固定長", {&cmpList, &cmpList_totalRec, &cmpList_unit, &cmpList_unit_stabilize,
                             &cmpList_unit_totalRec, &cmpList_unit_totalRec_stabilize, &cmpIfEqual});
    print_section("可変長",
                  {&cmpList_variable, &cmpList_totalRec_variable, &cmpList_unit_variable,
                   &cmpList_unit_variable_stabilize, &cmpList_unit_totalRec_variable,
                   &cmpList_unit_totalRec_variable_stabilize, &cmpIfEqual_variable, &cmpIfEqual_unit_variable});
    print_section("CSV", {&cmpList_csv, &cmpList_totalRec_csv, &cmpList_unit_csv, &cmpList_unit_csv_stabilize,
                          &cmpList_unit_totalRec_csv, &cmpList_unit_totalRec_csv_stabilize});
    print_section("ソート済みファイルのマージソート比較関数",
                  {&cmpList_merge_variable, &cmpList_merge_variable_stabilize, &cmpList_merge_totalRec_variable,
                   &cmpList_merge_totalRec_variable_stabilize, &cmpList_merge_csv, &cmpList_merge_csv_stabilize,
                   &cmpList_merge_totalRec_csv, &cmpList_merge_totalRec_csv_stabilize});
    print_section("ユニック出力比較関数",
                  {&cmpIfEqual, &cmpIfEqual_variable, &cmpIfEqual_csv, &cmpIfEqual_unit_variable, &cmpIfEqual_unit_csv,
                   &cmpIfEqual_merge_variable, &cmpIfEqual_merge_csv});
}

void kx_print_closing_lines() {
    constexpr kx_i64 kTicksPerSecond = 1000000;
    kx_say(msg::kSortedRecords, argsInfo.totalRecNum);
    kx_say(msg::kBlankAndRule);
    kx_say(msg::kSortCompleted, kx_GetTimeInfo());
    finish = kx_clock();
    kx_say(msg::kClockReadings, finish, startFirst, finish - startFirst, kTicksPerSecond);
    const double seconds = static_cast<double>(finish - startFirst) / static_cast<double>(kTicksPerSecond);
    kx_say(msg::kSortTook, seconds * 1000.0, seconds);
    kx_say(msg::kRule);
}

void kx_reset_counters() {
    for (const Counter &counter : kCounters) {
        if (!counter.survives_run) {
            *counter.value = 0;
        }
    }
}

} // namespace orkan
