#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_newline_split.h"
#include "kx_sort_variable/kx_sort_variable.h"

namespace orkan {

namespace {

/// Chunks of three quarters of the budget, read with room for a newline code to be appended.
class VariableSplit : public kx_newline_split {
  public:
    explicit VariableSplit(kx_i64 size) : size_(size) {}

    int prepare(const kx_stream & /*in*/) {
        const kx_i64 chunk = std::min(kx_line_chunk_size(), size_);
        kx_trace(msg::kShowFirstSplitBuffer, chunk / 1024);
        const kx_i64 read_size = chunk - argsInfo.sep_len;
        set_sizes(size_, read_size, read_size);
        return 0;
    }

    kx_list *index(const char *buf, kx_i64 length) const {
        return _kx_get_indexList_variable(buf, length, longest_tail());
    }
    static void release_locators() {
        kx_free(memPool, recordInfoArray);
        recordInfoArray = nullptr;
    }
    static kx_i64 &position() { return kx_splitSort_offset_variable; }

  private:
    kx_i64 size_;
};

} // namespace

int kx_splitSortFile_variable(kx_stream &in, kx_stream &tmp, kx_i64 size) {
    return kx_split_sort(VariableSplit{size}, in, tmp);
}

} // namespace orkan
