// fuzz_index_csv.cpp: the index of CSV records and fields against a plain cut of the same bytes.
//
//   newline code | delimiter's length | delimiter | quote | keys | columns | longest tail | first locators | bytes ...
#include "fuzz_state.h"
#include "kx_sort_csv/kx_sort_csv.h"

namespace fuzz {
namespace {

using support::CsvField;
using support::CsvRecord;
using support::CsvRules;
using support::Job;

CsvRules rules_from(FuzzInput &input) {
    CsvRules rules;
    rules.shape.newline = support::kCodes[input.below(3)];
    const std::string delimiter = input.text(1 + input.below(3));
    if (!delimiter.empty()) {
        rules.shape.delimiter = delimiter;
    }
    rules.shape.quote = static_cast<char>(input.byte());
    for (std::size_t keys = input.below(4); keys > 0; --keys) {
        rules.keys.push_back({.column = 1 + static_cast<int>(input.below(8))});
    }
    return rules;
}

void check_fields(const RecordInfo_csv &record, const std::vector<CsvField> &plain) {
    check(record.num == static_cast<std::int32_t>(plain.size()), "a locator for every field or key");
    for (std::size_t k = 0; k < plain.size(); ++k) {
        const KeyInfo_csv &field = record.keyInfo[k];
        check(CsvField{field.srtPos, field.len} == plain[k], "field by field");
        check(field.srtPos >= 0 && field.len >= 0 && field.srtPos + field.len <= record.len, "fields lie in records");
    }
}

/// The records that have all keys are listed in order; the others are left out.
void check_records(const kx_list *list, const std::vector<CsvRecord> &records, const CsvRules &rules) {
    kx_i64 next = 0;
    for (const CsvRecord &record : records) {
        const auto keys = support::csv_key_fields(record, rules.keys);
        if (!keys) {
            continue;
        }
        check(next < kx_list_len(list), "every complete record is listed");
        const auto &listed = *static_cast<const RecordInfo_csv *>(kx_list_get(list, next++));
        check(std::string(listed.addr, to_size(listed.len)) == record.bytes, "record by record");
        check_fields(listed, rules.keys.empty() ? record.fields : *keys);
    }
    check(next == kx_list_len(list), "no other record is listed");
}

void check_index(const Job &job, const std::string &text, kx_i64 longest_tail) {
    const Messages messages;
    const ExactBytes bytes(text);
    state().begin(job, FuzzState::Memory::system);
    const MemoryFile errors;
    FuzzState::keep_errors(errors);
    const std::vector<CsvRecord> records = support::csv_records(text, job.csv.shape);
    const std::size_t sum = support::csv_size(records);
    const kx_list_owner list(_kx_get_indexList_csv(bytes.begin(), to_i64(text.size()), longest_tail));
    check(bufDealedSize == to_i64(sum), "the lengths of all records add up");
    check((list.get() == nullptr) == (to_i64(text.size() - sum) > longest_tail), "too long a tail is refused");
    if (list.get() != nullptr) {
        check_records(list.get(), records, job.csv);
        check(dataEnd == bytes.end(), "the end of the data is known");
        check(errors.bytes() == (job.csv.keys.empty() ? "" : support::csv_rejected(text, job.csv)),
              "records without a key's column are error records");
    } else {
        check(messages.any(), "who refuses says so");
    }
}

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    FuzzInput input(data, size);
    Job job = support::whole_job(kx_format::csv);
    job.csv = rules_from(input);
    job.code = job.csv.shape.newline;
    const kx_i64 longest_tail = to_i64(input.word());
    FuzzState::expect(1 + to_i64(input.below(8)));
    check_index(job, input.rest(), longest_tail);
    return 0;
}
