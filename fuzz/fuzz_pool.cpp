// fuzz_pool.cpp: sequences of pool operations against a model: what is handed out overlaps nothing and keeps its bytes.
//
//   pool size (2) | may grow | operation, size, block ...
#include <cstring>
#include <map>

#include "fuzz_input.h"
#include "kx_memory/kx_memory.h"
#include "kx_memory/kx_pool_poison.h"
#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"

namespace fuzz {
namespace {

using namespace orkan;

bool refusing; // the system's memory

class PoolModel {
  public:
    PoolModel(kx_i64 bytes, kx_i64 may_grow, FuzzInput &input)
        : pool_(kx_mem_pool_create(bytes, may_grow)), input_(input) {
        check(pool_ != nullptr, "a pool");
    }
    ~PoolModel() {
        verify();
        while (!live_.empty()) {
            give(kx_free, live_.begin());
        }
        check(pool_->num == 0 && pool_->qnum == 0 && kx_list_len(pool_->listFree) == 1,
              "everything released is one free block again");
        kx_mem_pool_free(pool_);
    }
    PoolModel(const PoolModel &) = delete;
    PoolModel &operator=(const PoolModel &) = delete;

    void step() {
        switch (input_.below(10)) {
        case 0: take(kx_malloc); break;
        case 1: take(kx_malloc_hwm); break;
        case 2:
        case 3: take(kx_qmalloc); break;
        case 4: resize(kx_realloc); break;
        case 5: resize(kx_realloc_both); break;
        case 6: give(kx_free, pick()); break;
        case 7: give(kx_qfree, pick()); break;
        case 8: give_again(); break;
        default: refusing = input_.below(4) == 0; break;
        }
        if (++steps_ % 16 == 0) {
            verify();
        }
    }

  private:
    struct Block {
        kx_i64 bytes;
        std::uint8_t pattern;
    };
    using Live = std::map<char *, Block>;

    kx_i64 size() {
        const kx_i64 n = input_.byte();
        return n < 200 ? n : n < 250 ? (n - 199) * 40 : n == 255 ? -1 : n * 80;
    }

    Live::iterator pick() {
        const std::size_t n = input_.byte();
        return live_.empty() ? live_.end() : std::next(live_.begin(), static_cast<std::ptrdiff_t>(n % live_.size()));
    }

    void fill(char *p, kx_i64 bytes) {
        check(reinterpret_cast<std::uintptr_t>(p) % 8 == 0, "blocks begin at 8-byte boundaries");
        const Block block{bytes, ++pattern_};
        check(live_.emplace(p, block).second, "no block is handed out twice");
        std::memset(p, block.pattern, to_size(bytes));
    }

    static bool holds(const char *p, kx_i64 bytes, std::uint8_t pattern) {
        const bool first = bytes == 0 || static_cast<std::uint8_t>(*p) == pattern;
        return first && (bytes <= 1 || std::memcmp(p, p + 1, to_size(bytes - 1)) == 0); // each is like the one before
    }

    template <class Operation> void take(Operation operation) {
        const kx_i64 bytes = size();
        if (auto *p = static_cast<char *>(operation(pool_, bytes)); p != nullptr) {
            check(bytes >= 0, "no block of negative size");
            fill(p, bytes);
        }
    }

    template <class Operation> void resize(Operation operation) {
        const auto at = pick();
        const kx_i64 bytes = size();
        if (at == live_.end()) {
            return;
        }
        const auto [old, block] = *at;
        verify(*at);
        auto *p = static_cast<char *>(operation(pool_, old, bytes));
        if (p != nullptr) { // refused: the old block is still in use, and checked with all others
            check(holds(p, std::min(bytes, block.bytes), block.pattern), "a block takes its bytes along");
            live_.erase(at);
            released_ = p != old ? old : released_;
            fill(p, bytes);
        }
    }

    template <class Operation> void give(Operation operation, Live::iterator at) {
        if (at != live_.end()) {
            verify(*at);
            operation(pool_, at->first);
            check_poison(at->first, at->second.bytes);
            released_ = at->first;
            live_.erase(at);
        }
    }

    /// Under the address sanitizer nobody may look into what was released. Without a slot a block stays in use; and
    /// back blocks fall to the tail, which may be in use, too.
    void check_poison([[maybe_unused]] const char *p, [[maybe_unused]] kx_i64 bytes) const {
#ifdef KX_POISONS_FREE_MEMORY
        const bool nobodys = !refusing && pool_->edge_mmu->prev->status == kMmuFree;
        check(bytes == 0 || !nobodys || (mmu::is_poisoned(p) && mmu::is_poisoned(p + bytes - 1)),
              "what was released is nobody's");
#endif
    }

    /// Releasing a block twice does no harm.
    void give_again() {
        if (released_ != nullptr && live_.find(released_) == live_.end()) {
            input_.flag() ? kx_free(pool_, released_) : kx_qfree(pool_, released_);
            check(kx_realloc(pool_, released_, 10) == nullptr, "a released block cannot grow");
        }
    }

    static void verify(const Live::value_type &at) {
        check(holds(at.first, at.second.bytes, at.second.pattern), "nobody writes into a block in use");
    }
    void verify() const {
        check(kx_pool_check(pool_) == nullptr, "the pool is consistent");
        std::for_each(live_.begin(), live_.end(), [](const auto &at) { verify(at); });
    }

    kx_mem_pool *pool_;
    FuzzInput &input_;
    Live live_;
    char *released_ = nullptr; ///< the last one
    std::uint8_t pattern_ = 0;
    unsigned steps_ = 0;
};

} // namespace
} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    using namespace fuzz;
    const Messages messages;
    FuzzInput input(data, size);
    refusing = false;
    kx_fault_hook = [](kx_site site, kx_i64) { return site == kx_site::allocate && refusing; };
    const kx_i64 bytes = 700 + to_i64(input.word() % 12000);
    PoolModel model(bytes, input.flag() ? 1 : 0, input);
    for (int i = 0; i < 400 && !input.empty(); ++i) {
        model.step();
    }
    kx_fault_hook = nullptr;
    return 0;
}
