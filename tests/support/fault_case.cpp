#include "support/fault_case.h"

#include <algorithm>
#include <initializer_list>

#include "kx_sort/kx_budget.h"

namespace support {

namespace {

using orkan::kx_format;
using std::string;

constexpr int kRecords = 90, kKeys = 40, kKeyLength = 4;
constexpr orkan::kx_i64 kPool = 1024, kBuffer = 256; // bytes; an input of fixed-length records fits one buffer
const string kHeader = "payload,key\n";

struct Record {
    string key, bytes;
};

string digits(int number, int width) {
    const string all = std::to_string(number);
    return string(static_cast<std::size_t>(width) - all.size(), '0') + all;
}

string bytes_of(const FaultCase &c, const string &key, const string &payload) {
    switch (c.format) {
    case kx_format::fixed: return key + payload;
    case kx_format::csv: return (payload.back() == '7' ? "\"" + payload + ",\"" : payload) + "," + key + "\n";
    default: return key + payload + (payload.back() == '7' ? "and more\n" : "\n");
    }
}

/// Records of one key are the same in every byte, unless their order is to be kept.
std::vector<Record> records_of(const FaultCase &c) {
    std::vector<Record> records;
    for (int i = 0; i < kRecords; ++i) {
        const int number = i * 37 % kKeys;
        const string key = digits(number, kKeyLength);
        records.push_back({key, bytes_of(c, key, digits(c.wish == Wish::stable ? i : number, kKeyLength))});
    }
    return records;
}

bool by_key(const Record &a, const Record &b) { return a.key < b.key; }

std::vector<Record> sorted(std::vector<Record> records) {
    std::stable_sort(records.begin(), records.end(), by_key);
    return records;
}

std::size_t inputs_of(const FaultCase &c) {
    switch (c.route) {
    case Route::presorted:
    case Route::pipes:
    case Route::presorted_pipes: return 3;
    case Route::in_memory:                        // goes the other way for want of memory
    case Route::split: return c.complete ? 2 : 1; // by design the blocks of several get mixed up
    default: return 1;
    }
}

string joined(const std::vector<Record> &records, bool unique) {
    string all;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!unique || i == 0 || records[i - 1].key != records[i].key) {
            all += records[i].bytes;
        }
    }
    return all;
}

} // namespace

string FaultCase::name() const {
    static const char *const formats[] = {"fixed", "lines", "csv"};
    static const char *const routes[] = {"in_memory", "mapped",    "split", "one_chunk",
                                         "chunks",    "presorted", "pipes", "presorted_pipes"};
    static const char *const wishes[] = {"plain", "stable", "unique"};
    const int kind = format == kx_format::fixed ? 0 : format == kx_format::csv ? 2 : 1;
    return string(formats[kind]) + "_" + routes[static_cast<int>(route)] + "_" + wishes[static_cast<int>(wish)] +
           (complete ? "_complete" : "");
}

std::vector<FaultCase> all_fault_cases() {
    std::vector<FaultCase> cases;
    const auto add = [&](bool complete, std::initializer_list<Route> routes) {
        for (const kx_format format : {kx_format::fixed, kx_format::variable, kx_format::csv}) {
            for (const Route route : routes) {
                for (const Wish wish : {Wish::plain, Wish::stable, Wish::unique}) {
                    cases.push_back({format, route, wish, complete, static_cast<int>(cases.size())});
                }
            }
        }
    };
    for (const bool complete : {false, true}) {
        add(complete,
            {Route::in_memory, Route::mapped, Route::split, Route::one_chunk, Route::chunks, Route::presorted});
    }
    add(true, {Route::pipes, Route::presorted_pipes});
    return cases;
}

FaultData data_of(const FaultCase &c) {
    FaultData data;
    const std::vector<Record> records = records_of(c);
    const std::size_t count = inputs_of(c), share = records.size() / count;
    const bool with_errors = c.has_errors() && c.format != kx_format::fixed;
    data.output = c.has_header() ? kHeader : "";
    for (std::size_t i = 0; i < count; ++i) {
        const auto first = records.begin() + static_cast<std::ptrdiff_t>(i * share);
        std::vector<Record> mine(first, first + static_cast<std::ptrdiff_t>(share));
        mine = c.is_presorted() ? sorted(mine) : mine;
        string bytes = c.has_header() ? kHeader : "";
        for (std::size_t k = 0; k < mine.size(); ++k) {
            const string error =
                with_errors && k % 4 == 3 ? string(1, static_cast<char>('a' + (i + k) % 26)) + "\n" : "";
            bytes += mine[k].bytes + error;
            data.errors += error;
        }
        data.inputs.push_back(bytes);
    }
    data.output += joined(sorted(records), c.wish == Wish::unique);
    return data;
}

std::vector<string> arguments_of(const FaultCase &c, const std::vector<string> &inputs) {
    std::vector<string> args;
    switch (c.format) {
    case kx_format::fixed: args = {"-L8", "-K0,4"}; break;
    case kx_format::csv: args = {"-C", "-K2"}; break;
    default: args = {"-K0,4"}; break;
    }
    const auto add = [&](bool wanted, std::vector<string> more) {
        if (wanted) {
            args.insert(args.end(), more.begin(), more.end());
        }
    };
    add(c.has_header(), {"-H"});
    add(c.wish == Wish::stable, {"-S"});
    add(c.wish == Wish::unique, {"-U"});
    add(c.is_presorted(), {"-M"});
    add(c.route == Route::split, {"-W1"});
    add(c.route == Route::chunks && c.wish == Wish::stable, {"-W100m"}); // more than the default, to fall back from
    add(c.has_output(), {"-O", "out"});
    add(c.has_errors(), {"-E", "errors"});
    add(!c.from_standard_input(), inputs);
    return args;
}

orkan::kx_small_sizes sizes_of(const FaultCase &c) {
    const orkan::kx_i64 above = c.route == Route::one_chunk ? 65536 : 400;
    return {.budget = orkan::BASIC_SIZE + above,
            .pool = kPool,
            .buffer = kBuffer,
            .mapping = c.route == Route::mapped ? 1 : 0,
            .index = c.wish == Wish::stable ? 0 : 2}; // sorted by comparisons, and by prefixes
}

} // namespace support
