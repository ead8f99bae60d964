// job.h: records of any format and what is asked of them: random ones, their options, and what the model makes of them.
//
//   Job job = random_job(random, kx_format::csv);
//   const string data = random_records(random, job, 1000);
//   EXPECT_TRUE(is_sorted_output(sorted, items_of(job, data), order_of(job)));
#pragma once

#include <random>
#include <string>
#include <vector>

#include "kx_sort/kx_choose.h"
#include "support/csv_model.h"
#include "support/model.h"

namespace support {

using orkan::kx_format;

struct Job {
    kx_format format = kx_format::fixed;
    std::size_t length = 8;  ///< of a fixed-length record
    std::string code = "\n"; ///< newline code of the other formats
    Rules rules = {};        ///< of fixed-length records and lines
    CsvRules csv = {};       ///< of CSV
};

inline constexpr kx_format kFormats[] = {kx_format::fixed, kx_format::variable, kx_format::csv};
inline const std::string kCodes[] = {"\n", "\r", "\r\n"};

/// A job over whole records, or over one text key that ends with the first `length` bytes (column 1 of CSV).
Job whole_job(kx_format format, const std::string &code = "\n");
Job key_job(kx_format format, std::size_t length, const std::string &code = "\n");

/// Any keys, directions and options. Whole CSV records have as many fields as each other.
Job random_job(std::mt19937 &random, kx_format format);

/// One record, newline code included, that may be too short for the keys. No number reads on into the next record.
std::string random_record(std::mt19937 &random, const Job &job);

/// Records of `bytes` bytes together, or a little more.
std::string random_records(std::mt19937 &random, const Job &job, std::size_t bytes);

void make_stable(Job &job, bool stable);
void make_unique(Job &job, bool unique);
[[nodiscard]] bool is_stable(const Job &job);
[[nodiscard]] bool is_unique(const Job &job);

/// The data with the newline code that they are given, if the format has one.
std::string ended(const Job &job, const std::string &data);

/// The records that take part, and the others, sorted by their bytes.
std::vector<Item> items_of(const Job &job, const std::string &data);
std::vector<std::string> rejected_of(const Job &job, const std::string &data);

/// The bytes of all records of terminated data, sorted by their bytes.
std::vector<std::string> records_of(const Job &job, const std::string &data);

/// The rules behind the values of items_of.
Rules order_of(const Job &job);

/// The options of the command line, without files.
std::vector<std::string> options_of(const Job &job);

} // namespace support
