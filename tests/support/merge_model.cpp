#include "support/merge_model.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace support {

namespace {

template <class T> int order_of(const T &a, const T &b) { return a < b ? -1 : b < a ? 1 : 0; }

int key_order(const ModelKey &key, ModelHead a, ModelHead b) {
    const auto text = [&key](ModelHead head) { return head.held->substr(head.at + key.position, key.length); };
    const auto number = [&key](ModelHead head) { return model_number(*head.held, head.at + key.position, key.length); };
    return key.numeric ? order_of(number(a), number(b)) : order_of(text(a), text(b));
}

/// One block during the merge.
struct Window {
    const std::string *file;
    ModelBlock block;
    std::size_t room; ///< bytes held at most; the last portion makes it less
    std::string held = {};
    std::size_t at = 0, read = 0, taken = 0;

    void read_on(std::size_t bytes) {
        const std::size_t wanted = std::min(bytes, block.size - read);
        const std::size_t from = block.start + read;
        const std::string got = from < file->size() ? file->substr(from, wanted) : "";
        held += got;
        read += got.size();
    }
    void refill() {
        const std::size_t gone = std::exchange(at, 0);
        held.erase(0, gone);
        read_on(gone);
    }
};

} // namespace

int model_order(const Rules &rules, std::size_t record_length, ModelHead a, ModelHead b) {
    if (rules.keys.empty()) {
        const int order = order_of(a.held->substr(a.at, record_length), b.held->substr(b.at, record_length));
        return rules.descending ? -order : order;
    }
    for (const ModelKey &key : rules.keys) {
        if (const int order = key_order(key, a, b); order != 0) {
            return key.descending ? -order : order;
        }
    }
    return 0;
}

ModelHeads::ModelHeads(std::size_t runs, Order order, bool stable)
    : runs_(runs), order_(std::move(order)), stable_(stable) {
    std::iota(runs_.begin(), runs_.end(), std::size_t{0});
    std::stable_sort(runs_.begin(), runs_.end(), [this](std::size_t a, std::size_t b) { return order_(a, b) < 0; });
}

int ModelHeads::order(std::size_t a, std::size_t b) const {
    const int order = order_(a, b);
    return order == 0 && stable_ ? order_of(a, b) : order;
}

void ModelHeads::advanced() {
    for (std::size_t i = 0; i + 1 < runs_.size() && order(runs_[i], runs_[i + 1]) == 1; ++i) {
        std::swap(runs_[i], runs_[i + 1]);
    }
}

void ModelHeads::exhausted() {
    runs_.erase(runs_.begin());
    advanced();
}

std::string model_merge(const std::string &file, const std::vector<ModelBlock> &blocks, std::size_t buffer,
                        std::size_t record_length, const Rules &rules) {
    std::vector<Window> windows;
    for (const ModelBlock &block : blocks) {
        windows.push_back({.file = &file, .block = block, .room = std::min(buffer, block.size)});
        windows.back().read_on(windows.back().room);
    }
    const auto head = [&windows](std::size_t i) { return ModelHead{&windows[i].held, windows[i].at}; };
    ModelHeads heads(
        windows.size(),
        [&](std::size_t a, std::size_t b) { return model_order(rules, record_length, head(a), head(b)); },
        rules.stable);
    std::string out, last;
    while (!heads.empty()) {
        Window &window = windows[heads.first()];
        const bool twin = !last.empty() && model_order(rules, record_length, {&last, 0}, head(heads.first())) == 0;
        if (!rules.unique || !twin) {
            last = window.held.substr(window.at, record_length);
            out += last;
        }
        window.at += record_length;
        if (++window.taken == window.block.records) {
            heads.exhausted();
            continue;
        }
        if (window.held.size() - window.at < record_length) {
            window.refill();
        }
        heads.advanced();
    }
    return out;
}

} // namespace support
