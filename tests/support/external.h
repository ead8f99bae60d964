// external.h: the split sort and the merge of fixed-length records, called directly with budgets of a few bytes, so
// that a handful of records makes many blocks, cut records and refills.
#pragma once

#include <fcntl.h>

#include <string>
#include <vector>

#include "kx_list/kx_list.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort_fix/kx_sort_fix.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/index.h"
#include "support/merge_model.h"
#include "support/run_state.h"

namespace support {

class External : public RunState {
  public:
    ~External() override {
        kx_stream_clear(tmp_);
        kx_stream_clear(other_);
    }
    External(const External &) = delete;
    External &operator=(const External &) = delete;

  protected:
    External() {
        set_fixed(10);
        set_keys({key(0, 2)});
        start_blocks();
        set_output(box.path("out"));
    }

    void start_blocks() {
        dataInfo.list = __kx_list_create();
        dataInfo.cnt = 0;
        kx_stream_clear(tmp_);
        EXPECT_TRUE(kx_stream_open_write(tmp_, box.path("blocks").c_str()));
    }

    /// `bytes` more than the reserve of the system.
    static void set_budget(kx_i64 bytes) { argsInfo.totalMemSize = 1048576 + bytes; }

    static void set_rules(const Rules &rules) {
        std::vector<KeyInfo> keys;
        for (const ModelKey &k : rules.keys) {
            keys.push_back(key(static_cast<std::int32_t>(k.position), static_cast<std::int32_t>(k.length),
                               k.numeric ? kTypeNum : kTypeAscii, k.descending ? kSeqDesc : kSeqAsc));
        }
        set_keys(keys);
        argsInfo.bRecSort = !keys.empty() ? kRecSortNone : rules.descending ? kRecSortDesc : kRecSortAsc;
        argsInfo.bStabilize = rules.stable ? 1 : 0;
        argsInfo.bUnique = rules.unique ? 1 : 0;
    }

    /// Splits an input of these bytes; its blocks go behind those that are there.
    int split(const std::string &bytes) {
        box.write("in", bytes);
        kx_stream_clear(other_);
        EXPECT_TRUE(kx_stream_open_read(other_, box.path("in").c_str()));
        const int status = kx_splitSortFile(other_, tmp_);
        kx_stream_clear(other_);
        return status;
    }

    /// What the blocks are in the file.
    std::string temporary() {
        EXPECT_TRUE(kx_stream_flush(tmp_));
        return box.read("blocks");
    }

    static const UnitDataInfo &block(kx_i64 i) {
        return *static_cast<const UnitDataInfo *>(kx_list_get(dataInfo.list, i));
    }
    static std::vector<ModelBlock> blocks() {
        std::vector<ModelBlock> all;
        for (kx_i64 i = 0; i < kx_list_len(dataInfo.list); ++i) {
            all.push_back({to_size(block(i).startPos), to_size(block(i).size), to_size(block(i).totalRecNum)});
        }
        return all;
    }
    /// "start+size/records ..."
    static std::string layout() {
        std::string all;
        for (const ModelBlock &b : blocks()) {
            all += (all.empty() ? "" : " ") + std::to_string(b.start) + "+" + std::to_string(b.size) + "/" +
                   std::to_string(b.records);
        }
        return all;
    }

    /// Merges what is there into "out"; said_ is what it prints.
    int merge() {
        kx_stream_clear(tmp_);
        kx_stream_clear(other_);
        EXPECT_TRUE(kx_stream_open_read(tmp_, box.path("blocks").c_str()));
        EXPECT_TRUE(kx_stream_open_write(other_, box.path("out").c_str()));
        int status = 0;
        said_ = messages_of([&] { status = kx_mergeSortFile(tmp_, other_); });
        EXPECT_TRUE(tmp_.open && other_.open) << "the merge closes nothing";
        return status;
    }
    std::string output() {
        kx_stream_clear(other_);
        return box.read("out");
    }

    /// Every later request goes to the system, where it can be refused.
    static void exhaust_pool() {
        const kx_i64 kept = std::exchange(memPool->autoExtend, 0);
        for (kx_i64 size = kx_i64{1} << 22; size >= 8; size /= 2) {
            while (kx_malloc(memPool, size) != nullptr) {
            }
        }
        memPool->autoExtend = kept;
    }

    Box box;
    kx_stream tmp_{}, other_{}; ///< the blocks; the input or the output
    std::string said_;
};

inline const std::string kReleased = "メモリ解放がかかった[#]msです。\n";

} // namespace support
