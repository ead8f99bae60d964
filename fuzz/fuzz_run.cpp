// fuzz_run.cpp: the same bytes sorted in memory, and through a temporary file with hardly any memory: both outputs are
// what the model makes of the records, and so the same under -S.
//
//   format | newline code | record length | stable, unique, descending, empty last | memory | budget (2) |
//   keys | each: position, length, number, order | bytes ...
#include <cstring>

#include "fuzz_state.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_inmemory.h"
#include "run_paths.h"

namespace fuzz {
namespace {

using support::Job;

void add_key(Job &job, FuzzInput &input) {
    const std::size_t longest = job.format == kx_format::fixed ? job.length : 20;
    support::ModelKey key{.position = input.below(longest), .length = input.byte()};
    key.length %= longest - key.position + 1;
    key.numeric = input.flag();
    key.descending = input.flag();
    job.rules.keys.push_back(key);
    job.csv.keys.push_back(
        {.column = 1 + static_cast<int>(key.position % 5), .numeric = key.numeric, .descending = key.descending});
}

Job job_from(FuzzInput &input) {
    Job job = support::whole_job(support::kFormats[input.below(3)], support::kCodes[input.below(3)]);
    job.length = 1 + input.below(24);
    support::make_stable(job, input.flag());
    support::make_unique(job, input.flag());
    job.rules.descending = job.csv.descending = input.flag();
    job.csv.empty_last = input.flag();
    return job;
}

/// By number an empty field equals a 0, but with the empty ones last does not stand beside it.
void settle_duplicates(Job &job) {
    const auto numeric = [](const support::CsvKey &key) { return key.numeric; };
    if (support::is_unique(job) && std::any_of(job.csv.keys.begin(), job.csv.keys.end(), numeric)) {
        job.csv.empty_last = false;
    }
}

struct Sorted {
    std::string output, errors;
};

Sorted sorted_in_memory(const Job &job, FuzzState::Memory memory, const std::string &data) {
    state().begin(job, memory);
    const MemoryFile output, errors;
    FuzzState::keep_errors(errors);
    FuzzState::set_output(output.path());
    const kx_i64 size = to_i64(data.size());
    auto *block = static_cast<char *>(kx_qmalloc(memPool, size));
    std::memcpy(block, data.data(), data.size());
    const int status = support::is_stable(job) ? kx_msortInMemory(block, size) : kx_qsortInMemory(block, size);
    check(status == 0, "the sort in memory succeeds");
    kx_stream_clear(errFile);
    return {output.bytes(), errors.bytes()};
}

Sorted sorted_in_blocks(const Job &job, FuzzState::Memory memory, const std::string &data, kx_i64 budget) {
    state().begin(job, memory);
    const MemoryFile input(data), blocks, output, errors;
    FuzzState::keep_errors(errors);
    argsInfo.totalMemSize = BASIC_SIZE + budget;
    input.open(inFile);
    blocks.open(tmpFile);
    check(kx_stream_set_buffer(tmpFile, 4096), "a buffer");
    check(kx_split_input(inFile, tmpFile, to_i64(data.size())) == 0, "the split sort succeeds");
    check(kx_stream_flush(tmpFile), "the temporary file is written");
    kx_stream_clear(errFile);
    blocks.open(tmpFile);
    output.open(outFile);
    check(dataInfo.cnt == 0 || kx_merge_all_blocks(tmpFile, outFile) == 0, "the merge succeeds");
    check(kx_stream_clear(outFile), "the output is written");
    return {output.bytes(), errors.bytes()};
}

void check_errors(const Job &job, const Sorted &sorted, const std::string &data) {
    check(support::records_of(job, sorted.errors) == support::rejected_of(job, data),
          "short records are error records");
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    const Messages messages;
    FuzzInput input(data, size);
    Job job = job_from(input);
    const auto memory = input.flag() ? FuzzState::Memory::pool : FuzzState::Memory::system;
    const kx_i64 budget = to_i64(job.length) + 16 + to_i64(input.word() % 4096);
    for (std::size_t keys = input.below(4); keys > 0; --keys) {
        add_key(job, input);
    }
    settle_duplicates(job);
    const std::string bytes = whole_records(job, input.rest());
    if (bytes.empty()) {
        return 0;
    }
    const std::string ended = support::ended(job, bytes);
    const Sorted first = sorted_in_memory(job, memory, ended);
    const Sorted second = sorted_in_blocks(job, memory, bytes, budget);
    const std::vector<support::Item> items = support::items_of(job, ended);
    check(bool(support::is_sorted_output(first.output, items, support::order_of(job))), "sorted in memory");
    if (paths_agree(job, ended)) {
        check(bool(support::is_sorted_output(second.output, items, support::order_of(job))), "sorted in blocks");
    } else {
        check(support::is_unique(job) || same_records(job, second.output, items), "blocks lose and add no record");
    }
    check_errors(job, first, ended);
    check_errors(job, second, ended);
    return 0;
}
