// fuzz_blocks.cpp: the merges of a temporary file whose bytes are not what they were when they were written: each ends,
// looks at nothing outside, and succeeds exactly where the bytes still read as the records that the blocks count.
//
//   format | record length | longest record (2) | unique, stable | keys | each: position, length, number, order |
//   budget (2) | blocks | each: size (2), records (1; 255: 8 more) | the file's bytes ...
#include "fuzz_state.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_unit.h"

namespace fuzz {
namespace {

using support::Job;

constexpr kx_i64 kUnreadable = -1, kFailed = -1;

void add_key(Job &job, FuzzInput &input) {
    const bool fixed = job.format == kx_format::fixed;
    support::ModelKey key{.position = input.below(fixed ? job.length : 24), .length = input.byte()};
    key.length %= (fixed ? job.length : 24) - key.position + 1;
    key.numeric = input.flag();
    key.descending = input.flag();
    job.rules.keys.push_back(key);
    job.csv.keys.push_back(
        {.column = 1 + static_cast<int>(key.position), .numeric = key.numeric, .descending = key.descending});
}

Job job_from(FuzzInput &input) {
    Job job = support::whole_job(support::kFormats[input.below(3)]);
    job.length = 1 + input.below(32);
    const kx_i64 longest = to_i64(input.word());
    support::make_unique(job, input.flag());
    support::make_stable(job, input.flag());
    for (std::size_t keys = input.below(4); keys > 0; --keys) {
        add_key(job, input);
    }
    state().begin(job, FuzzState::Memory::system);
    argsInfo.maxRecLen = longest;
    return job;
}

/// A small number of records, or any.
kx_i64 count_from(FuzzInput &input) {
    constexpr std::uint8_t kAny = 255;
    const std::uint8_t count = input.byte();
    return count == kAny ? input.number() : count;
}

/// The blocks stand one behind the other; what they say of themselves may be more than the file has.
void describe_blocks(FuzzInput &input) {
    kx_i64 position = 0;
    for (std::size_t blocks = 1 + input.below(5); blocks > 0; --blocks) {
        UnitDataInfo *unit = kx_append_block(position);
        check(unit != nullptr, "a block");
        unit->size = to_i64(input.word() % 2048);
        unit->totalRecNum = count_from(input);
        position += unit->size;
    }
}

std::int32_t integer_at(const std::string &bytes, std::size_t at) {
    std::int32_t value = 0;
    bytes.copy(reinterpret_cast<char *>(&value), sizeof value, at);
    return value;
}

/// The length of the record stored at bytes[at], which moves on behind it, or kUnreadable.
kx_i64 read_record(const Job &job, const std::string &bytes, std::size_t &at) {
    const bool fixed = job.format == kx_format::fixed, csv = job.format == kx_format::csv;
    const std::size_t header = fixed ? 0 : csv ? 8 : 4;
    if (bytes.size() - at < header) {
        return kUnreadable;
    }
    const kx_i64 length = fixed ? argsInfo.recLen : integer_at(bytes, at);
    const kx_i64 locators = csv ? integer_at(bytes, at + 4) : 0;
    const kx_i64 left = to_i64(bytes.size() - at - header);
    const kx_i64 least = to_i64(job.code.size()); // no record of lines or CSV is without
    const bool possible = (fixed || (length >= least && length <= argsInfo.maxRecLen)) && (!csv || locators > 0);
    if (!possible || locators * 8 + length > left) {
        return kUnreadable;
    }
    at += header + to_size(locators * 8 + length);
    return length;
}

/// The bytes of all records, or kUnreadable when a block does not hold what it counts.
kx_i64 read_records(const Job &job, const std::string &file) {
    kx_i64 sum = 0;
    for (kx_i64 i = 0; i < dataInfo.cnt; ++i) {
        const UnitDataInfo &unit = *static_cast<const UnitDataInfo *>(kx_list_get(dataInfo.list, i));
        const std::string block = file.substr(to_size(unit.startPos), to_size(unit.size));
        std::size_t at = 0;
        for (kx_i64 records = std::max<kx_i64>(unit.totalRecNum, 1); records > 0; --records) {
            const kx_i64 length = read_record(job, block, at);
            if (length == kUnreadable) {
                return kUnreadable;
            }
            sum += length;
        }
    }
    return sum;
}

kx_i64 end_of_blocks() {
    const auto *last = static_cast<const UnitDataInfo *>(kx_list_get(dataInfo.list, dataInfo.cnt - 1));
    return last->startPos + last->size;
}

/// Merges the file; the bytes written, or kFailed.
kx_i64 merge(const std::string &file) {
    const Messages messages;
    const MemoryFile blocks(file), output;
    blocks.open(tmpFile);
    output.open(outFile);
    const int status = kx_merge_all_blocks(tmpFile, outFile);
    check(status == 0 || (status == 1 && messages.any()), "a merge succeeds, or fails and says so");
    check(kx_stream_clear(outFile), "the output is written");
    return status == 0 ? to_i64(output.bytes().size()) : kFailed;
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    const Job job = job_from(input);
    argsInfo.totalMemSize = BASIC_SIZE + to_i64(input.word());
    describe_blocks(input);
    const std::string file = input.rest();
    const bool complete = end_of_blocks() <= to_i64(file.size());
    const kx_i64 plain = complete ? read_records(job, file) : kUnreadable;
    const kx_i64 written = merge(file);
    if (complete) {
        check((plain == kUnreadable) == (written == kFailed), "a merge succeeds exactly where the records can be read");
    }
    if (plain != kUnreadable) {
        check(argsInfo.bUnique != 0 ? written <= plain : written == plain, "all records are written");
    }
    return 0;
}
