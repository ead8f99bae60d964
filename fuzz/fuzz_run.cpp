// fuzz_run.cpp: the same bytes sorted in memory, and through a temporary file with hardly any memory: both outputs are
// what the model makes of the records, header line first, and so the same under -S.
//
//   format | newline code | record length | stable, unique, descending, empty last | complete, header |
//   delimiter's length | delimiter | memory | budget (2) | keys | each: position, length, number, order | bytes ...
#include <cstring>

#include "fuzz_state.h"
#include "kx_io/kx_header.h"
#include "kx_io/kx_load.h"
#include "kx_io/kx_writers.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_inmemory.h"
#include "run_paths.h"

namespace fuzz {
namespace {

/// What one input of the target stands for.
struct Run {
    CompleteTask task; ///< of one input
    bool complete = false;
    FuzzState::Memory memory = FuzzState::Memory::system;
    kx_i64 budget = 0;

    [[nodiscard]] const std::string &bytes() const { return task.inputs.front(); }
};

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
    const kx_format format = support::kFormats[input.below(3)]; // arguments are taken in any order
    Job job = support::whole_job(format, support::kCodes[input.below(3)]);
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

Run run_from(FuzzInput &input) {
    Run run{.task = {.job = job_from(input), .inputs = {}}};
    Job &job = run.task.job;
    run.complete = input.flag();
    run.task.header = input.flag() && job.format == kx_format::csv;
    const std::string delimiter = input.text(input.below(4));
    job.csv.shape.delimiter = delimiter.empty() ? "," : delimiter;
    run.memory = input.flag() ? FuzzState::Memory::pool : FuzzState::Memory::system;
    run.budget = to_i64(job.length) + 16 + to_i64(input.word() % 4096);
    for (std::size_t keys = input.below(4); keys > 0; --keys) {
        add_key(job, input);
    }
    if (!run.complete) {
        settle_duplicates(job);
    }
    run.task.inputs = {whole_records(job, input.rest())};
    return run;
}

void begin(const Run &run) {
    state().begin(run.task.job, run.memory);
    completeMode = run.complete;
    kx_small.index = run.budget % 2 == 0 ? 2 : 0; // a handful of records is sorted by prefixes, too
    argsInfo.bHeader = run.task.header ? 1 : 0;
}

struct Sorted {
    bool failed;
    std::string output, errors;
};

/// Into a block of exactly their size, where the address sanitizer sees every access outside. Null when that fails.
char *load_input() {
    auto *room = static_cast<char *>(kx_qmalloc(memPool, kx_load_room()));
    if (kx_inputFile(room) != 0) {
        return nullptr;
    }
    auto *block = static_cast<char *>(kx_qmalloc(memPool, argsInfo.totalFileSize));
    check(block != nullptr, "a block");
    std::memcpy(block, room, to_size(argsInfo.totalFileSize));
    kx_qfree(memPool, room);
    return block;
}

Sorted sorted_in_memory(const Run &run) {
    begin(run);
    const Messages messages;
    const MemoryFile input(run.bytes()), output, errors;
    FuzzState::keep_errors(errors);
    FuzzState::set_output(output.path());
    FuzzState::set_inputs({{input.path(), run.bytes().size()}});
    const auto sort = support::is_stable(run.task.job) ? kx_msortInMemory : kx_qsortInMemory;
    char *block = load_input();
    const bool failed = block == nullptr || sort(block, argsInfo.totalFileSize) != 0;
    check(!failed || messages.any(), "a sort in memory that fails says so");
    kx_stream_clear(errFile);
    return {failed, output.bytes(), errors.bytes()};
}

bool split(kx_i64 size) {
    kx_i64 header = 0;
    return kx_take_header(inFile, header) == 0 && kx_split_input(inFile, tmpFile, size - header) == 0;
}

bool merge() {
    return kx_write_csv_header(outFile) && (dataInfo.cnt == 0 || kx_merge_all_blocks(tmpFile, outFile) == 0);
}

Sorted sorted_in_blocks(const Run &run) {
    begin(run);
    const Messages messages;
    const MemoryFile input(run.bytes()), blocks, output, errors;
    FuzzState::keep_errors(errors);
    argsInfo.totalMemSize = BASIC_SIZE + run.budget;
    input.open(inFile);
    blocks.open(tmpFile);
    check(kx_stream_set_buffer(tmpFile, 4096), "a buffer");
    const bool failed = !split(to_i64(run.bytes().size()));
    check(!failed || messages.any(), "a split sort that fails says so");
    check(kx_stream_flush(tmpFile), "the temporary file is written");
    kx_stream_clear(errFile);
    blocks.open(tmpFile);
    output.open(outFile);
    check(failed || merge(), "the merge succeeds");
    check(kx_stream_clear(outFile), "the output is written");
    return {failed, output.bytes(), errors.bytes()};
}

/// `ordered`: the order is the model's, too.
void check_result(const Run &run, const CompleteResult &expected, const Sorted &sorted, bool ordered) {
    const Job &job = run.task.job;
    const std::string &header = expected.header;
    check(sorted.failed == expected.broken, "a run fails exactly where its input is broken");
    if (sorted.failed) {
        check(sorted.output.empty(), "a broken input leaves the output alone");
        return;
    }
    check(sorted.output.compare(0, header.size(), header) == 0, "the header line comes first");
    const std::string records = sorted.output.substr(header.size());
    if (ordered) {
        check(bool(support::is_sorted_output(records, expected.items, support::order_of(job))), "the records in order");
    } else {
        check(support::is_unique(job) || same_records(job, records, expected.items), "no record is lost or added");
    }
    check(support::records_of(job, sorted.errors) == expected.rejected, "records without a key are error records");
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    const Run run = run_from(input);
    if (run.bytes().empty()) {
        return 0;
    }
    const CompleteResult expected = expected_of(run.task, run.complete);
    check_result(run, expected, sorted_in_memory(run), true);
    if (blocks_know_headers(run.task, run.complete)) {
        check_result(run, expected, sorted_in_blocks(run), run.complete || paths_agree(run.task.job, run.bytes()));
    }
    return 0;
}
