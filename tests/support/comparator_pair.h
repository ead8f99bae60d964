// comparator_pair.h: two records laid out as a sort or a merge holds them, for calling a comparator on them.
//
// Everything a comparator may read lies in heap blocks of exactly its size, so that the address sanitizer sees a byte
// too much:
//
//   index    one block: record 0, record 1, tail; dataEnd behind the tail
//   run      a block per run: 3 taken bytes, the temporary record (so unaligned), tail
//   input    a block per input: a taken record, the current record, tail; and its RecordList
//   last     record 0 as last output of run 0: a block for the record, one for its field locators
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kx_list/kx_ring.h"
#include "kx_sort/kx_choose.h"
#include "orkan/kx_run_state.h"
#include "support/comparator_model.h"

namespace support::comparators {

using namespace orkan;

/// A heap block of exactly these bytes.
class ExactBytes {
  public:
    explicit ExactBytes(const std::string &bytes = "") : size_(bytes.size()), bytes_(new char[bytes.size()]) {
        bytes.copy(bytes_.get(), size_);
        numberMemo.forget({at(), size()}); // what was there before
    }
    char *at(std::size_t offset = 0) const { return bytes_.get() + offset; }
    kx_i64 size() const { return to_i64(size_); }

  private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

struct Sample {
    std::string bytes;
    std::vector<KeyInfo_csv> fields;
    explicit Sample(std::string text) : bytes(std::move(text)) {}
};

/// A record of comma-separated fields and a newline; every field is located.
inline Sample csv(const std::string &line) {
    Sample sample(line + "\n");
    for (std::size_t from = 0; from <= line.size();) {
        const std::size_t to = std::min(line.find(',', from), line.size());
        sample.fields.push_back({static_cast<std::int32_t>(from), static_cast<std::int32_t>(to - from)});
        from = to + 1;
    }
    return sample;
}

template <class T> std::string raw(const T &value) { return {reinterpret_cast<const char *>(&value), sizeof value}; }

inline std::string raw(const std::vector<KeyInfo_csv> &fields) {
    std::string bytes;
    for (const KeyInfo_csv &field : fields) {
        bytes += raw(field);
    }
    return bytes;
}

enum class Form { fixed, variable, csv };
enum class Place { index, run, input };

inline std::string temp_record(Form form, const Sample &sample) {
    const auto len = static_cast<std::int32_t>(sample.bytes.size());
    switch (form) {
    case Form::fixed: return sample.bytes;
    case Form::variable: return raw(len) + sample.bytes;
    case Form::csv: break;
    }
    return raw(len) + raw(static_cast<std::int32_t>(sample.fields.size())) + raw(sample.fields) + sample.bytes;
}

class Pair {
  public:
    Pair(Form form, Place place, const Sample &a, const Sample &b, std::string tail = "")
        : form_(form), place_(place), samples_{a, b}, tail_(std::move(tail)) {
        argsInfo.recLen = to_i64(a.bytes.size());
        for (std::size_t i : {0U, 1U}) {
            locators_[i] = ExactBytes(raw(samples_[i].fields));
            runs_[i].index = static_cast<kx_i64>(i);
        }
        if (place == Place::index) {
            place_index();
        } else {
            place_run(0);
            place_run(1);
            last_output();
        }
    }
    Pair(Form form, Place place, const std::string &a, const std::string &b, std::string tail = "")
        : Pair(form, place, Sample(a), Sample(b), std::move(tail)) {}
    Pair(const Pair &) = delete;
    Pair &operator=(const Pair &) = delete;
    ~Pair() = default;

    int order(kx_compare compare) const { return compare(&slots_[0], &slots_[1]); }
    int reversed(kx_compare compare) const { return compare(&slots_[1], &slots_[0]); }
    /// The duplicate test: two index items, or what run 0 last put out against the current record of run 1.
    int differ(kx_compare compare) const { return compare(slots_[0], slots_[1]); }
    UnitDataInfo &run(std::size_t i) { return runs_[i]; }

    ModelRecord model(std::size_t i) const {
        ModelRecord record{samples_[i].bytes,
                           i == 0 && place_ == Place::index ? samples_[1].bytes + tail_ : tail_,
                           {},
                           runs_[i].index};
        for (const KeyInfo_csv &field : samples_[i].fields) {
            record.fields.emplace_back(field.srtPos, field.len);
        }
        return record;
    }
    ModelRecord model_last() const {
        ModelRecord record = model(0);
        record.behind.clear();
        return record;
    }

  private:
    void place_index() {
        blocks_[0] = ExactBytes(samples_[0].bytes + samples_[1].bytes + tail_);
        kx_data_in({blocks_[0].at(), blocks_[0].size()});
        slots_[0] = item(0, blocks_[0].at());
        slots_[1] = item(1, blocks_[0].at(samples_[0].bytes.size()));
    }

    void place_run(std::size_t i) {
        const std::string taken = "zz\n";
        const std::string record = place_ == Place::run ? temp_record(form_, samples_[i]) : samples_[i].bytes;
        blocks_[i] = ExactBytes(taken + record + tail_);
        runs_[i].buf = blocks_[i].at();
        runs_[i].bufSize = blocks_[i].size();
        runs_[i].bufOffset = to_i64(taken.size());
        slots_[i] = &runs_[i];
        if (place_ == Place::input) {
            items_[i] = {nullptr, item(i, blocks_[i].at(taken.size()))};
            lists_[i].tab = items_[i].data();
            lists_[i].tab_size = lists_[i].len = 2;
            runs_[i].RecordList = &lists_[i];
            runs_[i].currRec = 1;
        }
    }

    void last_output() {
        last_ = ExactBytes(samples_[0].bytes);
        runs_[0].justOutRecAddr = last_.at();
        runs_[0].justOutRecLen = last_.size();
        runs_[0].justOutKeyInfo = reinterpret_cast<KeyInfo_csv *>(locators_[0].at());
        runs_[0].justOutKeyNum = to_i64(samples_[0].fields.size());
    }

    void *item(std::size_t i, char *addr) {
        const auto len = static_cast<std::int32_t>(samples_[i].bytes.size());
        records_[i] = {len, addr};
        csv_records_[i] = {addr, len, reinterpret_cast<KeyInfo_csv *>(locators_[i].at()),
                           static_cast<std::int32_t>(samples_[i].fields.size())};
        return form_ == Form::fixed      ? static_cast<void *>(addr)
               : form_ == Form::variable ? static_cast<void *>(&records_[i])
                                         : &csv_records_[i];
    }

    Form form_;
    Place place_;
    Sample samples_[2];
    std::string tail_;
    ExactBytes blocks_[2], locators_[2], last_;
    RecordInfo records_[2]{};
    RecordInfo_csv csv_records_[2]{};
    UnitDataInfo runs_[2]{};
    kx_list lists_[2]{};
    std::vector<void *> items_[2];
    void *slots_[2]{};
};

} // namespace support::comparators
