// lists.h: hand-made lists of located records, and the temporary records that must come of them.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kx_list/kx_list.h"
#include "orkan/kx_run_state.h"

namespace support {

using namespace orkan;

/// One record as a test writes it down.
struct Sample {
    std::string bytes;
    std::vector<KeyInfo_csv> fields = {};
};

/// The bytes of an integer as the machine holds it.
inline std::string int32_bytes(std::int32_t value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/// A list of locators of one format in the run's pool. The records stand one behind the other in a block of exactly
/// their size, the data behind the current index.
class Records {
  public:
    enum class Form { fixed, lines, csv };

    Records(Form form, std::vector<Sample> samples)
        : form_(form), samples_(std::move(samples)), list_(__kx_list_create()) {
        std::size_t size = 0;
        for (const Sample &sample : samples_) {
            size += sample.bytes.size();
        }
        block_.reset(new char[size]);
        char *addr = block_.get();
        for (const Sample &sample : samples_) {
            sample.bytes.copy(addr, sample.bytes.size());
            EXPECT_EQ(kx_list_append(list_.get(), item_of(sample, addr)), 0);
            addr += sample.bytes.size();
        }
        kx_data_in({block_.get(), to_i64(size)});
    }

    [[nodiscard]] kx_list *list() const { return list_.get(); }

    /// Exchanges two records' places in the list; their bytes stay where they are.
    void swap(kx_i64 a, kx_i64 b) {
        void *item = kx_list_get(list_.get(), a);
        kx_list_set(list_.get(), a, kx_list_get(list_.get(), b));
        kx_list_set(list_.get(), b, item);
    }

    /// Record i as it stands in the temporary file.
    [[nodiscard]] std::string temporary(std::size_t i) const {
        const Sample &sample = samples_[i];
        const auto len = static_cast<std::int32_t>(sample.bytes.size());
        if (form_ == Form::fixed) {
            return sample.bytes;
        }
        std::string bytes = int32_bytes(len);
        if (form_ == Form::csv) {
            bytes += int32_bytes(static_cast<std::int32_t>(sample.fields.size()));
        }
        for (const KeyInfo_csv &field : sample.fields) {
            bytes += int32_bytes(field.srtPos) + int32_bytes(field.len);
        }
        return bytes + sample.bytes;
    }
    [[nodiscard]] std::string temporary() const {
        std::string all;
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            all += temporary(i);
        }
        return all;
    }

  private:
    void *item_of(const Sample &sample, char *addr) {
        const auto len = static_cast<std::int32_t>(sample.bytes.size());
        if (form_ == Form::fixed) {
            return addr;
        }
        if (form_ == Form::lines) {
            return &lines_.emplace_back(RecordInfo{len, addr});
        }
        fields_.push_back(sample.fields);
        KeyInfo_csv *fields = fields_.back().empty() ? nullptr : fields_.back().data();
        return &csv_.emplace_back(RecordInfo_csv{addr, len, fields, static_cast<std::int32_t>(sample.fields.size())});
    }

    Form form_;
    std::vector<Sample> samples_;
    std::unique_ptr<char[]> block_;
    std::deque<RecordInfo> lines_;
    std::deque<RecordInfo_csv> csv_;
    std::deque<std::vector<KeyInfo_csv>> fields_;
    kx_list_owner list_;
};

} // namespace support
