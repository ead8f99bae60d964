// lines_fixture.h: lines through index, split sort and block merge, called directly, with any memory budget.
//
//   set_budget(4000);                  // bytes above the reserve
//   EXPECT_EQ(split("b\na\n"), 0);     // once for each input
//   EXPECT_EQ(blocks(), ...);          // what the temporary file holds
//   EXPECT_EQ(merge(), 0);
//   EXPECT_EQ(output(), "a\nb\n");
#pragma once

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kx_sort/kx_budget.h"
#include "kx_sort_variable/kx_sort_variable.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/lists.h"
#include "support/model.h"
#include "support/run_state.h"

namespace support {

using Texts = std::vector<std::string>;

inline std::string joined(const Texts &texts) {
    std::string all;
    for (const std::string &text : texts) {
        all += text;
    }
    return all;
}

/// One block of the temporary file: its records, and the descriptor's numbers.
struct Block {
    Texts records;
    kx_i64 position;
    kx_i64 size;
};

class LinesState : public RunState {
  public:
    ~LinesState() override {
        for (kx_stream *stream : {&in_, &tmp_, &out_}) {
            kx_stream_clear(*stream);
        }
    }
    LinesState(const LinesState &) = delete;
    LinesState &operator=(const LinesState &) = delete;

  protected:
    LinesState() {
        set_lines();
        argsInfo.bRecSort = kRecSortAsc;
        dataInfo.list = __kx_list_create();
        set_budget(4000);
    }

    static void use_pool(kx_i64 bytes, bool may_grow = true) {
        RunState::use_pool(bytes, may_grow);
        dataInfo = {__kx_list_create(), 0, 0};
    }

    /// A pool that has no room left: every block comes from the system, where a sanitizer knows its bounds.
    static void use_exhausted_pool() {
        use_pool(4096, false);
        while (kx_malloc(memPool, 8) != nullptr) {
        }
        memPool->autoExtend = 1;
    }

    static void set_budget(kx_i64 above_reserve) { argsInfo.totalMemSize = BASIC_SIZE + above_reserve; }

    /// The options that say what the rules say.
    static void configure(const Rules &rules) {
        std::vector<KeyInfo> keys;
        argsInfo.keyMaxPos = 0;
        for (const ModelKey &k : rules.keys) {
            keys.push_back(key(static_cast<std::int32_t>(k.position), static_cast<std::int32_t>(k.length),
                               k.numeric ? kTypeNum : kTypeAscii, k.descending ? kSeqDesc : kSeqAsc));
            argsInfo.keyMaxPos = std::max(argsInfo.keyMaxPos, k.length == 0 ? 0 : to_i64(k.position + k.length));
        }
        set_keys(keys);
        argsInfo.bRecSort = !keys.empty() ? kRecSortNone : rules.descending ? kRecSortDesc : kRecSortAsc;
        argsInfo.bStabilize = rules.stable ? 1 : 0;
        argsInfo.bUnique = rules.unique ? 1 : 0;
    }

    void set_error_file(const std::string &name = "short") {
        std::free(argsInfo.errFile.path);
        argsInfo.errFile.path = kx_copy_text(name[0] == '/' ? name.c_str() : box.path(name).c_str());
    }
    /// The error file's bytes, written out.
    [[nodiscard]] std::string error_records(const std::string &name = "short") const {
        kx_stream_flush(errFile);
        return box.read(name);
    }

    int split(const std::string &data) {
        box.write("in", data);
        kx_stream_clear(in_);
        EXPECT_TRUE(kx_stream_open_read(in_, box.path("in").c_str()));
        EXPECT_TRUE(kx_stream_set_buffer(in_, 0));
        if (!tmp_.open) {
            EXPECT_TRUE(kx_stream_open_write(tmp_, box.path("blocks").c_str()));
            EXPECT_TRUE(kx_stream_set_buffer(tmp_, 65536));
        }
        return kx_splitSortFile_variable(in_, tmp_, to_i64(data.size()));
    }

    /// Puts a temporary file of other bytes in place.
    void forge(const std::string &bytes) {
        kx_stream_clear(tmp_);
        box.write("blocks", bytes);
    }

    int merge() {
        kx_stream_clear(tmp_);
        EXPECT_TRUE(kx_stream_open_read(tmp_, box.path("blocks").c_str()));
        kx_stream_clear(out_);
        EXPECT_TRUE(kx_stream_open_write(out_, box.path("out").c_str()));
        return kx_mergeSortFile_variable(tmp_, out_);
    }
    std::string output() {
        EXPECT_TRUE(kx_stream_clear(out_));
        return box.read("out");
    }

    /// Split and merge of one input, both without a message but the last line of every merge.
    std::string sorted(const std::string &data) {
        EXPECT_EQ(messages_of([&] { EXPECT_EQ(split(data), 0); }), "");
        if (dataInfo.cnt == 0) {
            return "";
        }
        EXPECT_EQ(steady(messages_of([&] { EXPECT_EQ(merge(), 0); })), kReleased);
        return output();
    }

    static const UnitDataInfo &unit(kx_i64 i) {
        return *static_cast<const UnitDataInfo *>(kx_list_get(dataInfo.list, i));
    }

    /// All blocks, as they stand one behind the other in the file.
    std::vector<Block> blocks() {
        EXPECT_TRUE(kx_stream_flush(tmp_));
        const std::string bytes = box.read("blocks");
        EXPECT_EQ(kx_list_len(dataInfo.list), dataInfo.cnt);
        std::vector<Block> all;
        std::size_t at = 0;
        for (kx_i64 i = 0; i < dataInfo.cnt; ++i) {
            const std::size_t begin = at;
            all.push_back({{}, unit(i).startPos, unit(i).size});
            for (kx_i64 n = 0; n < unit(i).totalRecNum && at + 4 <= bytes.size(); ++n) {
                std::int32_t length = 0;
                std::memcpy(&length, bytes.data() + at, sizeof length);
                all.back().records.push_back(bytes.substr(at + 4, static_cast<std::size_t>(length)));
                at += 4 + all.back().records.back().size();
            }
            EXPECT_EQ(unit(i).size, to_i64(at - begin)) << "block " << i;
            EXPECT_EQ(unit(i).totalRecNum, to_i64(all.back().records.size())) << "block " << i;
        }
        EXPECT_EQ(at, bytes.size());
        return all;
    }
    Texts block_texts() {
        Texts texts;
        for (const Block &block : blocks()) {
            texts.push_back(joined(block.records));
        }
        return texts;
    }

    static constexpr const char *kReleased = "メモリ解放がかかった[#]msです。\n";

    Box box;

  private:
    kx_stream in_{}, tmp_{}, out_{};
};

/// `count` lines of `length` bytes with their newline, ascending.
inline std::string numbered_lines(int count, int length, int first = 0) {
    std::string text;
    for (int i = first; i < first + count; ++i) {
        const std::string number = std::to_string(i);
        text += std::string(static_cast<std::size_t>(length - 1) - number.size(), '0') + number + "\n";
    }
    return text;
}

/// Random lines: few different bytes, so that ties are frequent. The byte in front of a newline code is never blank, so
/// that no number reads on into the next line.
inline std::string random_text(std::mt19937 &random, std::size_t lines, std::size_t longest,
                               const std::string &newline) {
    static const std::string alphabets[] = {"ab", " 0123456789", "+-0 19", "abcdefgh.", "\x01\x7f\x80\xff", "="};
    const std::string &letters = alphabets[random() % 6];
    std::string text;
    for (; lines > 0; --lines) {
        for (std::size_t n = random() % (longest + 1); n > 0; --n) {
            text += letters[random() % letters.size()];
        }
        text += "x" + newline;
    }
    return text;
}

/// Random rules for such lines. A numeric key starts in front of the byte that is never blank.
inline Rules random_rules(std::mt19937 &random, std::size_t longest, std::size_t newline) {
    Rules rules{.descending = random() % 2 == 0, .stable = random() % 2 == 0, .unique = random() % 2 == 0};
    for (std::size_t n = random() % 4; n > 0; --n) {
        ModelKey wanted{
            .position = random() % (longest / 2 + 1), .numeric = random() % 2 == 0, .descending = random() % 2 == 0};
        wanted.length = random() % (longest / 2 + 1);
        wanted.length = wanted.numeric ? std::max(wanted.length, newline + 1) : wanted.length;
        rules.keys.push_back(wanted);
    }
    return rules;
}

} // namespace support
