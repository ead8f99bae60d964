// merge_model.h: an independent block merge of fixed-length records by the literal procedure, to compare the system
// with: a list of heads of which only the first one moves, windows of the blocks as they are refilled.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/model.h"

namespace support {

/// A record in the bytes held of its block.
struct ModelHead {
    const std::string *held;
    std::size_t at;
};

/// -1, 0, 1 as record a stands before, beside or behind b. A number ends with the bytes held.
int model_order(const Rules &rules, std::size_t record_length, ModelHead a, ModelHead b);

/// The runs by their current records, in the order that is observable among equal ones too.
class ModelHeads {
  public:
    using Order = std::function<int(std::size_t, std::size_t)>;

    /// `order` tells how the current records of two runs stand. `stable`: a tie goes to the smaller number.
    ModelHeads(std::size_t runs, Order order, bool stable);

    [[nodiscard]] bool empty() const { return runs_.empty(); }
    [[nodiscard]] std::size_t first() const { return runs_.front(); }

    void advanced();  ///< the first run has another record now
    void exhausted(); ///< the first run has none left

  private:
    [[nodiscard]] int order(std::size_t a, std::size_t b) const;

    std::vector<std::size_t> runs_;
    Order order_;
    bool stable_;
};

struct ModelBlock {
    std::size_t start;
    std::size_t size;
    std::size_t records;
};

/// What the merge of these blocks of a file gives when at most `buffer` bytes of each are held.
std::string model_merge(const std::string &file, const std::vector<ModelBlock> &blocks, std::size_t buffer,
                        std::size_t record_length, const Rules &rules);

} // namespace support
