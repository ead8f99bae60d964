// kx_presorted_merge.h: the merge of presorted inputs, newline-ended or CSV.
//
//   buf   | records of RecordList ............ | tail |      capacity
//           ^ currRec                            a record cut by the buffer's end
//
// When the records of a buffer are all taken, the tail moves to the front, the buffer is filled up and indexed anew. A
// tail that fills the whole buffer makes it grow. What a format answers besides kx_merge_loop.h:
//
//   index(buf, size, longest_tail, memory)   the index of the buffer, or null with a message
//   start_of(item)                           the first byte of the record behind an item of that index
#pragma once

#include "kx_sort/kx_index_scan.h"
#include "kx_sort/kx_newline_merge.h"
#include "kx_sort/kx_unit.h"

namespace orkan {

/// Bytes of each input's buffer to begin with.
inline constexpr kx_i64 kPresortedBuffer = 1048576;

/// What an input's run needs besides its descriptor.
struct kx_presorted_input {
    kx_i64 capacity;
    kx_i64 indexed;         ///< bytes of the buffer that the index covers; the tail lies behind
    kx_index_memory memory; ///< of that index, and then of the next
    bool ended;             ///< everything has been read
};

/// Buffer and bookkeeping; what does not depend on the format.
class kx_presorted_runs : public kx_newline_runs {
  public:
    static kx_head_order order() { return kx_choose_presorted_order(); }
    static void trace_merged(kx_i64 /*left*/, const UnitDataInfo &run) { kx_trace_input_merged(run); }

  protected:
    kx_presorted_runs() : kx_newline_runs(kx_choose_presorted_difference()) {}

    /// Room for the bookkeeping and the buffers of all inputs. 0, or 1 with a message.
    int open();
    void close() { kx_free(memPool, inputs_); }

    /// Moves the tail to the front and reads on behind it; `failure` is printed when that fails. 0, or 1.
    int read_on(UnitDataInfo &run, const kx_message<> &failure);
    /// Takes over the index just built.
    void adopt_index(UnitDataInfo &run, kx_list *list);
    static void release_list(UnitDataInfo &run) { kx_list_destroy(std::exchange(run.RecordList, nullptr), nullptr); }
    void release_index(UnitDataInfo &run) {
        release_list(run);
        kx_release_index_memory(input(run).memory);
    }

    [[nodiscard]] kx_presorted_input &input(const UnitDataInfo &run) const { return inputs_[run.index]; }

  private:
    kx_presorted_input *inputs_ = nullptr;
};

template <class Format> class kx_presorted_merge : public kx_presorted_runs {
  public:
    /// Merges all inputs into outFile. 0, or 1 with a message.
    static int run() {
        Format format;
        if (format.open() != 0 || kx_open_merge_output(outFile, Format::staging_size()) != 0) {
            return 1;
        }
        if (argsInfo.bUnique != 0) {
            kx_trace(msg::kShowOutputBuffer, kib_round_up(argsInfo.outFile.outBufSize));
        }
        if (format.first_fill() != 0 || kx_merge_runs(format, dataInfo.list, outFile) != 0) {
            return 1;
        }
        format.close();
        kx_finish_merge();
        return 0;
    }

    kx_next next(UnitDataInfo &run) {
        ++run.currRec;
        look_ahead(run);
        return run.currRec < run.totalRecNum ? kx_next::held : refill(run, msg::kReadTemporaryFile);
    }

  private:
    /// The runs together outgrow the cache: the records to come are asked of the memory system.
    static void look_ahead(const UnitDataInfo &run) {
        constexpr kx_i64 kLocatorsAhead = 8, kRecordsAhead = 3, kCacheLine = 64;
        if (run.currRec + kLocatorsAhead < run.totalRecNum) {
            __builtin_prefetch(kx_list_get(run.RecordList, run.currRec + kLocatorsAhead));
            const char *record = Format::start_of(kx_list_get(run.RecordList, run.currRec + kRecordsAhead));
            __builtin_prefetch(record);
            __builtin_prefetch(record + kCacheLine);
        }
    }

    /// By default the buffer grows for a cut record, up to a limit of its own.
    kx_i64 longest_rest(const UnitDataInfo &run) {
        const bool ended = input(run).ended;
        return ended || keeps_every_record() ? kx_longest_tail(ended) : run.bufSize;
    }

    /// Reads on until there are records, for a buffer may hold nothing but short ones.
    kx_next refill(UnitDataInfo &run, const kx_message<> &failure) {
        do {
            if (input(run).ended) {
                release_index(run);
                return kx_next::exhausted;
            }
            if (read_on(run, failure) != 0) {
                return kx_next::failed;
            }
            if (run.bufSize == 0) { // nothing left to index
                return kx_next::exhausted;
            }
            kx_list *list = Format::index(run.buf, run.bufSize, longest_rest(run), input(run).memory);
            if (list == nullptr) {
                return kx_next::failed;
            }
            adopt_index(run, list);
        } while (run.totalRecNum == 0);
        return kx_next::held;
    }

    /// Kept: an empty input ends the first fill; it and all later ones take no part. In complete mode it is skipped.
    int first_fill() {
        for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
            UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
            run.index = i;
            const kx_next filled = refill(run, msg::kReadMergeInput);
            if (filled == kx_next::failed) {
                return 1;
            }
            if (run.offset == 0 && !keeps_every_record()) {
                break;
            }
            if (filled == kx_next::held && kx_list_append(dataInfo.list, &run) != 0) {
                return kx_fail(msg::kBlockInformation, to_i64(sizeof(UnitDataInfo)));
            }
        }
        return 0;
    }
};

} // namespace orkan
