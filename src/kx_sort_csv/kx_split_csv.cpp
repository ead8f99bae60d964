#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_newline_split.h"
#include "kx_sort_csv/kx_sort_csv.h"

namespace orkan {

namespace {

/// Chunks of half the budget, or a quarter where every field gets a locator; a whole small file with room for a
/// newline code.
class CsvSplit : public kx_newline_split {
  public:
    explicit CsvSplit(kx_i64 size) : size_(std::max<kx_i64>(size, 0)) {}

    int prepare(const kx_stream & /*in*/) {
        kx_i64 chunk = std::max<kx_i64>(kx_csv_chunk_size(), 1);
        kx_i64 blocks = 1;
        if (chunk > size_) {
            chunk = size_ + argsInfo.sep_len;
        } else {
            blocks = (size_ - 1) / chunk + 1;
        }
        kx_trace(msg::kShowFirstSplitBuffer, chunk / 1024);
        set_sizes(size_, chunk - argsInfo.sep_len, chunk);
        return kx_list_enlarge(dataInfo.list, blocks) == 0 ? 0 : kx_fail(msg::kBlockListMemory);
    }

    kx_list *index(const char *buf, kx_i64 length) const { return _kx_get_indexList_csv(buf, length, longest_tail()); }

    /// Kept: keyInfoArray goes on pointing at what is released here; the pool takes a second release.
    static void release_locators() {
        kx_free(memPool, keyInfoArray);
        kx_free(memPool, recordInfoArray);
        recordInfoArray = nullptr;
    }
    static kx_i64 &position() { return kx_splitSort_offset_csv; }

  private:
    kx_i64 size_;
};

} // namespace

int kx_splitSortFile_csv(kx_stream &in, kx_stream &tmp, kx_i64 size) { return kx_split_sort(CsvSplit{size}, in, tmp); }

} // namespace orkan
