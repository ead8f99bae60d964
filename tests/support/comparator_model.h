// comparator_model.h: the comparators' rules once more, over strings and one function per rule, written without the
// code under test; only the settings are shared.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace support::comparators {

struct ModelRecord {
    std::string bytes;
    std::string behind;                      ///< what a number may read on into
    std::vector<std::pair<int, int>> fields; ///< CSV: offset and length; one per key, or all
    long index = 0;                          ///< of the run or input
};

using Model = int (*)(const ModelRecord &, const ModelRecord &);

int model_keys(const ModelRecord &a, const ModelRecord &b);
int model_keys_csv(const ModelRecord &a, const ModelRecord &b);

int model_whole_fixed(const ModelRecord &a, const ModelRecord &b);
int model_whole_variable_memory(const ModelRecord &a, const ModelRecord &b);
int model_whole_variable_run(const ModelRecord &a, const ModelRecord &b);
int model_whole_variable_presorted(const ModelRecord &a, const ModelRecord &b);

int model_whole_csv_memory(const ModelRecord &a, const ModelRecord &b);
int model_whole_csv_run(const ModelRecord &a, const ModelRecord &b);
int model_whole_csv_presorted(const ModelRecord &a, const ModelRecord &b);

int model_differ(const ModelRecord &a, const ModelRecord &b);
int model_differ_csv(const ModelRecord &a, const ModelRecord &b);
int model_differ_csv_presorted(const ModelRecord &a, const ModelRecord &b);

/// The stabilised form of a model.
int model_stable(Model plain, const ModelRecord &a, const ModelRecord &b);

} // namespace support::comparators
