// fuzz_index_lines.cpp: the index of newline-ended records against a plain cut of the same bytes.
//
//   newline code | end of the farthest key | longest tail | first locators | bytes ...
#include "fuzz_state.h"
#include "kx_sort_variable/kx_sort_variable.h"

namespace fuzz {
namespace {

using support::Job;
using support::Lines;

void check_records(const kx_list *list, const Lines &plain) {
    check(kx_list_len(list) == to_i64(plain.kept.size()), "every record long enough is listed");
    for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
        const auto *record = static_cast<const RecordInfo *>(kx_list_get(list, i));
        check(std::string(record->addr, to_size(record->len)) == plain.kept[to_size(i)].bytes, "record by record");
    }
}

struct Measures {
    kx_i64 sum = 0, longest = 0;
    void add(const std::string &record) {
        sum += to_i64(record.size());
        longest = std::max(longest, to_i64(record.size()));
    }
};

Measures measures_of(const Lines &lines) {
    Measures all;
    for (const support::Item &item : lines.kept) {
        all.add(item.bytes);
    }
    for (const std::string &record : lines.short_ones) {
        all.add(record);
    }
    return all;
}

void check_index(const Job &job, const std::string &text, kx_i64 longest_tail) {
    const Messages messages;
    const ExactBytes bytes(text);
    state().begin(job, FuzzState::Memory::system);
    const MemoryFile errors;
    FuzzState::keep_errors(errors);
    const Lines plain = support::line_items(text, job.code, job.rules);
    const Measures all = measures_of(plain);
    const kx_list_owner list(_kx_get_indexList_variable(bytes.begin(), to_i64(text.size()), longest_tail));
    check(bufDealedSize == all.sum, "the lengths of all records add up");
    check((list.get() == nullptr) == (to_i64(text.size()) - all.sum > longest_tail), "too long a tail is refused");
    if (list.get() != nullptr) {
        check_records(list.get(), plain);
        check(argsInfo.maxRecLen == all.longest, "the longest record is known");
        check(dataEnd == bytes.end(), "the end of the data is known");
        check(errors.bytes() == plain.rejected(), "short records are error records");
    } else {
        check(messages.any(), "who refuses says so");
    }
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    Job job = support::whole_job(kx_format::variable, support::kCodes[input.below(3)]);
    job.rules.keys = {{.position = 0, .length = input.below(64)}};
    const kx_i64 longest_tail = input.byte();
    FuzzState::expect(1 + to_i64(input.below(8)));
    check_index(job, input.rest(), longest_tail);
    return 0;
}
