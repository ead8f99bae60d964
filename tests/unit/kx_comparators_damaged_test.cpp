// kx_comparators_damaged_test.cpp: the merges' comparators on damaged and foreign temporary records.
#include <limits>
#include <random>

#include "kx_sort/kx_views.h"
#include "support/comparator_cases.h"

namespace {

using namespace orkan;
using namespace support::comparators;

/// A run whose buffer holds exactly these bytes.
struct Held {
    explicit Held(const string &bytes, kx_i64 offset = 0) : block(bytes) {
        run.buf = block.at();
        run.bufSize = block.size();
        run.bufOffset = offset;
    }
    ExactBytes block;
    UnitDataInfo run{};
};

class Damaged : public Comparators {
  protected:
    /// Every comparator of the form on this head, against a sound one and itself, under all settings.
    void survives(Form form, const string &bytes, kx_i64 offset = 0) {
        const Sample sound_sample = csv("ab,12,");
        argsInfo.recLen = to_i64(sound_sample.bytes.size());
        Held damaged(bytes, offset), sound(temp_record(form, sound_sample));
        const std::vector<KeyInfo> keys{text(0, 4), number(2, 3), text(3, 0), number(INT_MAX, 0)};
        for (const kx_i64 null_last : {0, 1}) {
            for (const kx_i64 whole : {kRecSortNone, kRecSortAsc, kRecSortDesc}) {
                sort_by(keys);
                argsInfo.bNullLastOut = null_last;
                argsInfo.bRecSort = whole;
                for (const Member &member : kByKeys) {
                    one_order(member, form, damaged.run, sound.run);
                }
                for (const Member &member : kByRecord) {
                    one_order(member, form, damaged.run, sound.run);
                }
                for (const Member &member : kDifferences) {
                    one_difference(member, form, sound.run, damaged.run);
                }
            }
        }
    }

    static void one_order(const Member &member, Form form, UnitDataInfo &damaged, UnitDataInfo &sound) {
        if (member.form != form || member.place != Place::run) {
            return;
        }
        const void *a = &damaged, *b = &sound;
        const int result = member.compare(&a, &b);
        ASSERT_TRUE(result >= -1 && result <= 1) << member.name;
        ASSERT_EQ(member.compare(&b, &a), -result) << member.name;
        ASSERT_EQ(member.compare(&a, &a), 0) << member.name;
        ASSERT_EQ(member.stable(&a, &a), 1) << member.name;
    }

    static void one_difference(const Member &member, Form form, UnitDataInfo &sound, UnitDataInfo &damaged) {
        if (member.form == form && member.place == Place::run) {
            const int result = member.compare(&sound, &damaged);
            ASSERT_TRUE(result == 0 || result == 1) << member.name;
        }
    }

    static string with_int32(string bytes, std::size_t at, std::int32_t value) {
        return bytes.replace(at, 4, raw(value));
    }
};

constexpr std::array<std::int32_t, 8> kHostile{-1, INT_MIN, INT_MAX, 0, 1, 7, 8, 100000};

TEST_F(Damaged, CutRecordsAreComparedByTheBytesHeld) {
    for (const Form form : {Form::fixed, Form::variable, Form::csv}) {
        const string whole = temp_record(form, csv("ab,12,"));
        for (std::size_t held = 0; held <= whole.size(); ++held) {
            survives(form, whole.substr(0, held));
            survives(form, string(1, 'x').append(whole, 0, held), 1);
        }
    }
}

TEST_F(Damaged, HostileLengthsCountsAndLocatorsReadNothingOutsideTheBuffer) {
    const string line = temp_record(Form::variable, csv("ab,12,")), record = temp_record(Form::csv, csv("ab,12,"));
    for (const std::int32_t value : kHostile) {
        survives(Form::variable, with_int32(line, 0, value));
        for (std::size_t at = 0; at < 8 + 3 * 8; at += 4) {
            survives(Form::csv, with_int32(record, at, value));
            for (const std::int32_t other : kHostile) {
                survives(Form::csv, with_int32(with_int32(record, at, value), (at + 4) % 32, other));
            }
        }
    }
}

TEST_F(Damaged, NegativeFieldLengthIsAnEmptyField) {
    const string record = temp_record(Form::csv, csv(",z")), negative = with_int32(record, 12, -7);
    Held sound(record), damaged(negative);
    const void *a = &sound.run, *b = &damaged.run;
    for (const kx_i64 null_last : {0, 1}) {
        argsInfo.bNullLastOut = null_last;
        sort_by({text_column(), text_column()});
        EXPECT_EQ(_cmpList_unit_csv(&a, &b), 0);
        argsInfo.bRecSort = kRecSortAsc;
        EXPECT_EQ(_cmpList_unit_totalRec_csv(&a, &b), 0);
    }
}

TEST_F(Damaged, CutKeysComeBeforeTheWholeOnesWhateverN) {
    Held cut("ab"), whole("abc"), empty("");
    const void *a = &cut.run, *b = &whole.run, *c = &empty.run;
    argsInfo.recLen = 3;
    argsInfo.bNullLastOut = 1;
    sort_by({text(0, 3)});
    EXPECT_EQ(_cmpList_unit(&a, &b), -1);
    EXPECT_EQ(_cmpList_unit(&c, &b), -1);
}

TEST_F(Damaged, PositionsOutsideTheBufferHoldNothing) {
    for (const Form form : {Form::fixed, Form::variable, Form::csv}) {
        const string whole = temp_record(form, csv("ab,12,"));
        for (const kx_i64 offset : {kx_i64{-1}, to_i64(whole.size()), to_i64(whole.size()) + 1,
                                    std::numeric_limits<kx_i64>::min(), std::numeric_limits<kx_i64>::max()}) {
            survives(form, whole, offset);
        }
    }
    UnitDataInfo empty{};
    EXPECT_EQ(held_from_current(empty).len, 0);
    empty.bufSize = 5;
    EXPECT_EQ(held_from_current(empty).len, 0) << "no buffer";
}

TEST_F(Damaged, RandomBytesAreSurvived) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        string bytes;
        for (auto n = random() % 48; n > 0; --n) {
            bytes += static_cast<char>(random() % 4 == 0 ? random() : random() % 4);
        }
        survives(round % 2 == 0 ? Form::csv : Form::variable, bytes);
    }
}

TEST_F(Damaged, LastOutputIsReadOnlyWithinItsRecordAndFields) {
    const string line = "ab,12,\n";
    for (const kx_i64 whole : {kRecSortNone, kRecSortAsc}) {
        for (const std::int32_t value : kHostile) {
            Pair pair(Form::csv, Place::run, csv("ab,12,"), csv("ab,12,"));
            const ExactBytes locators(raw(std::vector<KeyInfo_csv>{{value, 2}, {0, value}, {value, value}}));
            sort_by({text(0, 2), number(2, 9), text(5, 99)});
            argsInfo.bRecSort = whole;
            pair.run(0).justOutKeyInfo = reinterpret_cast<KeyInfo_csv *>(locators.at());
            EXPECT_EQ(pair.differ(_cmpIfEqual_unit_csv), 1) << value;
            EXPECT_EQ(Pair(Form::csv, Place::run, csv("ab,12,"), csv("ab,12,")).differ(_cmpIfEqual_unit_csv), 0);
            for (kx_i64 held = 0; held < to_i64(line.size()); ++held) {
                const ExactBytes cut(line.substr(0, to_size(held)));
                pair.run(0).justOutRecAddr = cut.at();
                pair.run(0).justOutRecLen = held;
                EXPECT_EQ(pair.differ(_cmpIfEqual_unit_csv), 1) << value << " held " << held;
            }
        }
    }
}

TEST_F(Damaged, NothingPutOutYetIsAnEmptyRecord) {
    UnitDataInfo none{};
    sort_by({text(0, 2)});
    Held variable_run(temp_record(Form::variable, Sample("ab\n"))), csv_run(temp_record(Form::csv, csv("ab")));
    EXPECT_EQ(_cmpIfEqual_unit_variable(&none, &variable_run.run), 1);
    EXPECT_EQ(_cmpIfEqual_unit_csv(&none, &csv_run.run), 1);
    none.justOutRecLen = 3;
    none.justOutKeyNum = 1;
    EXPECT_EQ(_cmpIfEqual_unit_variable(&none, &variable_run.run), 1) << "a length, but no bytes";
    EXPECT_EQ(_cmpIfEqual_unit_csv(&none, &csv_run.run), 1) << "a count, but no fields";
}

TEST_F(Damaged, ReadersTellWhatTheHeaderStates) {
    const string line = temp_record(Form::variable, Sample("abc\n")), record = temp_record(Form::csv, csv("ab,c"));
    const auto held = [](const string &bytes) { return Bytes{bytes.data(), to_i64(bytes.size())}; };
    EXPECT_EQ(read_variable_temp(held(line)).stored_size, 8);
    EXPECT_EQ(read_variable_temp(held(line)).bytes.len, 4);
    const string cut_line = line.substr(0, 6), no_header = line.substr(0, 3);
    EXPECT_EQ(read_variable_temp(held(cut_line)).stored_size, 8) << "as stated, though not held";
    EXPECT_EQ(read_variable_temp(held(cut_line)).bytes.len, 2);
    EXPECT_EQ(read_variable_temp(held(no_header)).stored_size, -1);
    EXPECT_EQ(read_csv_temp(held(record)).stored_size, 8 + 2 * 8 + 5);
    EXPECT_EQ(read_csv_temp(held(record)).locators.len, 16);
    EXPECT_EQ(string(read_csv_temp(held(record)).bytes.ptr, 5), "ab,c\n");
    const string negative = with_int32(record, 4, -1), huge = with_int32(record, 4, INT_MAX);
    EXPECT_EQ(read_csv_temp(held(negative)).stored_size, -1);
    EXPECT_EQ(read_csv_temp(held(negative)).locators.len, 0);
    EXPECT_EQ(read_csv_temp(held(huge)).stored_size, 8 + kx_i64{INT_MAX} * 8 + 5);
    EXPECT_EQ(read_csv_temp(held(huge)).locators.len, 16) << "whole entries only";
}

} // namespace
