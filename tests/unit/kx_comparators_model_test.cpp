// kx_comparators_model_test.cpp: every comparator on random records against an independent model.
#include <algorithm>
#include <map>
#include <random>

#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

class Random : public Comparators {
  protected:
    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    string bytes(int length) {
        static const string alphabet("aab0127 \t-+,\n\xff\0", 15);
        string result;
        for (int i = 0; i < length; ++i) {
            result += alphabet[static_cast<std::size_t>(below(static_cast<int>(alphabet.size())))];
        }
        return result;
    }

    /// A record of at least `least` bytes; for CSV with `count` fields anywhere in it.
    Sample sample(Form form, int least, int count) {
        Sample result(bytes(form == Form::fixed ? least : least + below(4)));
        for (int k = 0; form == Form::csv && k < count; ++k) {
            const int size = static_cast<int>(result.bytes.size()), pos = below(size + 1);
            result.fields.push_back({pos, std::min(below(4), size - pos)});
        }
        return result;
    }

    /// The same record with a byte or a field changed, so that ties are common.
    Sample similar(Form form, const Sample &to) {
        Sample result = to;
        if (!result.bytes.empty() && below(3) != 0) {
            result.bytes[static_cast<std::size_t>(below(static_cast<int>(result.bytes.size())))] = bytes(1)[0];
        }
        if (form == Form::csv && !result.fields.empty() && below(2) == 0) {
            KeyInfo_csv &field = result.fields[static_cast<std::size_t>(below(static_cast<int>(result.fields.size())))];
            field.len = std::min(below(4), static_cast<int>(result.bytes.size()) - field.srtPos);
        }
        if (form == Form::variable && below(2) == 0) {
            result.bytes += bytes(1);
        }
        return result;
    }

    std::vector<KeyInfo> some_keys() {
        std::vector<KeyInfo> keys;
        for (int n = below(4); n > 0; --n) {
            keys.push_back({nullptr, below(4), below(4), 1 + below(3), 1 + below(2)});
        }
        return keys;
    }

    static constexpr int kLongest = 7; ///< every key above ends before this
    static constexpr int kRounds = 4000;

    static void every_result_is_common(const std::map<int, int> &seen) {
        for (const auto &[result, times] : seen) {
            EXPECT_GT(times, kRounds / 2) << result;
        }
    }

    std::mt19937 random_{20240229};
};

TEST_F(Random, KeyComparatorsAgreeWithTheModel) {
    std::map<int, int> seen{{-1, 0}, {0, 0}, {1, 0}};
    for (const Member &member : kByKeys) {
        for (int round = 0; round < kRounds; ++round) {
            sort_by(some_keys());
            argsInfo.bNullLastOut = below(2);
            const int count = static_cast<int>(argsInfo.keyNums);
            const Sample a = sample(member.form, kLongest, count);
            const Sample b = below(2) == 0 ? similar(member.form, a) : sample(member.form, kLongest, count);
            Pair pair(member.form, member.place, a, b, bytes(below(3)));
            const int expected = member.model(pair.model(0), pair.model(1));
            ASSERT_EQ(pair.order(member.compare), expected) << member.name << " round " << round;
            ASSERT_EQ(pair.reversed(member.compare), -expected) << member.name << " round " << round;
            ++seen[expected];
            if (member.stable != nullptr) {
                pair.run(0).index = below(2) == 0 ? 0 : 2;
                const int stable = model_stable(member.model, pair.model(0), pair.model(1));
                ASSERT_EQ(pair.order(member.stable), stable) << member.name << " round " << round;
                ASSERT_EQ(pair.reversed(member.stable), -stable) << member.name << " round " << round;
            }
        }
    }
    every_result_is_common(seen);
}

TEST_F(Random, WholeRecordComparatorsAgreeWithTheModel) {
    std::map<int, int> seen{{-1, 0}, {0, 0}, {1, 0}};
    for (const Member &member : kByRecord) {
        // Without a direction the order of whole CSV records in memory and in runs is nobody's.
        const bool any_direction = member.form != Form::csv || member.place == Place::input;
        for (int round = 0; round < kRounds; ++round) {
            sort_whole(any_direction ? below(3) : 1 + below(2));
            argsInfo.bNullLastOut = below(2);
            const int least = 1 + below(4);
            const Sample a = sample(member.form, least, below(4));
            const Sample b = below(3) != 0 ? similar(member.form, a) : sample(member.form, least, below(4));
            Pair pair(member.form, member.place, a, b, bytes(below(3)));
            const int expected = member.model(pair.model(0), pair.model(1));
            ASSERT_EQ(pair.order(member.compare), expected) << member.name << " round " << round;
            ASSERT_EQ(pair.reversed(member.compare), -expected) << member.name << " round " << round;
            ++seen[expected];
            if (member.stable != nullptr) {
                pair.run(0).index = below(2) == 0 ? 0 : 2;
                const int stable = model_stable(member.model, pair.model(0), pair.model(1));
                ASSERT_EQ(pair.order(member.stable), stable) << member.name << " round " << round;
                ASSERT_EQ(pair.reversed(member.stable), -stable) << member.name << " round " << round;
            }
        }
    }
    every_result_is_common(seen);
}

TEST_F(Random, DuplicateTestsAgreeWithTheModel) {
    std::map<int, int> seen{{0, 0}, {1, 0}};
    for (const Member &member : kDifferences) {
        for (int round = 0; round < kRounds; ++round) {
            sort_by(some_keys());
            argsInfo.bRecSort = below(3);
            argsInfo.bNullLastOut = below(2);
            const int count = static_cast<int>(argsInfo.keyNums);
            const Sample a = sample(member.form, kLongest, count);
            const Sample b = below(3) != 0 ? similar(member.form, a) : sample(member.form, kLongest, count);
            const Pair pair(member.form, member.place, a, b, bytes(below(3)));
            const ModelRecord last = member.place == Place::index ? pair.model(0) : pair.model_last();
            const int expected = member.model(last, pair.model(1));
            ASSERT_EQ(pair.differ(member.compare), expected) << member.name << " round " << round;
            ++seen[expected];
        }
    }
    every_result_is_common(seen);
}

} // namespace
