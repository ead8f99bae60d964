// kx_presorted_large_test.cpp: presorted inputs longer than their buffers, and records longer than those.
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/presorted_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class LargePresorted : public PresortedState {};

string number(std::size_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08zu", value);
    return text;
}

/// Lines, or CSV records of two columns, in order: numbers from `first` on with filling up to `bytes` together. The
/// records are 16 to 1,015 bytes long.
string ascending(const Job &job, std::size_t bytes, std::size_t first, std::size_t step = 2) {
    string data;
    for (std::size_t i = first; data.size() < bytes; i += step) {
        data += number(i) + "," + string(6 + i * 7919 % 1000, 'x') + job.code;
    }
    return data;
}

/// One record of `length` bytes with its newline code, whose key is `key`; of CSV with quotes along its whole length.
string long_record(const Job &job, const string &key, std::size_t length) {
    if (job.format != kx_format::csv) {
        return key + "," + string(length - key.size() - 1 - job.code.size(), 'y') + job.code;
    }
    const string front = key + ",\"";
    string record = front;
    while (record.size() + 4 + 2 * job.code.size() < length) {
        record += "," + job.code; // data, between quotes
    }
    return record + string(length - record.size() - 1 - job.code.size(), ',') + "\"" + job.code;
}

constexpr kx_format kNewlineFormats[] = {kx_format::variable, kx_format::csv};

TEST_F(LargePresorted, InputsOfSeveralBuffersMergeCompletely) {
    for (const kx_format format : kNewlineFormats) {
        for (const bool unique : {false, true}) {
            Job job = key_job(format, 8);
            make_stable(job, true);
            make_unique(job, unique);
            const Texts inputs = {ascending(job, 2 * kMib + 300000, 0), ascending(job, kMib / 2, 1, 5),
                                  ascending(job, 1300000, 0, 3), "00000500,one" + job.code};
            expect_merged(job, inputs);
        }
    }
}

TEST_F(LargePresorted, BackwardsAndWithoutStableOrder) {
    for (const kx_format format : kNewlineFormats) {
        for (const bool unique : {false, true}) {
            Job job = key_job(format, 8);
            job.rules.keys[0].descending = job.csv.keys[0].descending = true;
            make_unique(job, unique);
            Texts inputs = {ascending(job, 1500000, 0), ascending(job, 1200000, 0, 3)};
            for (string &input : inputs) {
                input = presorted(job, input);
            }
            expect_merged(job, inputs);
        }
    }
}

// A record across the end of the buffer, at each of its bytes

TEST_F(LargePresorted, TheBuffersEndCutsRecordsAnywhere) {
    for (const kx_format format : kNewlineFormats) {
        for (const string &code : kCodes) {
            Job job = key_job(format, 8, code);
            const string special = long_record(job, "50000000", 20), last = "60000000,z";
            const std::size_t step = code.size() > 1 ? 1 : 7;
            for (std::size_t before = 0; before <= special.size() + code.size(); before += step) {
                SCOPED_TRACE(std::to_string(before) + " bytes before the end");
                make_unique(job, before % 2 == 0);
                const string front = long_record(job, "00000001", 1000),
                             filling = long_record(job, "00000002", kMib - 1000 - before);
                expect_merged(job, {front + filling + special + last, "50000000," + code + "55555555,b" + code});
            }
        }
    }
}

// A number goes on behind white space, so where that ends is remembered: for one filling of the buffer.
TEST_F(LargePresorted, NumbersBehindWhiteSpaceAreThoseOfThePresentBuffer) {
    for (const auto &[format, blank] : {std::pair(kx_format::variable, "\n"), std::pair(kx_format::csv, " \n")}) {
        Job job = key_job(format, 1);
        job.rules.keys[0].numeric = job.csv.keys[0].numeric = true;
        make_stable(job, true);
        string blanks, rest; // a buffer each
        while (blanks.size() < kMib) {
            blanks += blank;
            rest += "9\n";
        }
        ASSERT_EQ(blanks.size(), kMib);
        configure(job);
        const Merged merged = merge({blanks + blank + "7a\n" + blank + "8a\n" + rest, "5b\n7b\n8b\n"});
        EXPECT_EQ(merged.status, 0);
        const string expected = blanks + "5b\n" + blank + "7a\n7b\n" + blank + "8a\n8b\n" + rest;
        EXPECT_TRUE(merged.out == expected) << merged.out.substr(kMib, 40);
    }
}

TEST_F(LargePresorted, AnInputMayEndWithItsBuffer) {
    for (const kx_format format : kNewlineFormats) {
        for (const string &code : kCodes) {
            const Job job = key_job(format, 8, code);
            for (const std::size_t size : {kMib - 2, kMib - 1, kMib, kMib + 1, kMib + 2, 2 * kMib}) {
                const string whole = long_record(job, "00000001", 1000) + long_record(job, "00000003", size - 1000);
                const string open_end = long_record(job, "00000001", size - 12) + "00000003,000";
                for (const string &input : {whole, open_end}) {
                    expect_merged(job, {input, "00000002," + code});
                }
            }
        }
    }
}

// Records that are longer than the buffer, than twice the buffer, than the staging buffer

TEST_F(LargePresorted, ARecordMayBeLongerThanTheBuffer) {
    for (const kx_format format : kNewlineFormats) {
        for (const bool unique : {false, true}) {
            Job job = key_job(format, 8);
            make_unique(job, unique);
            const string small = "00000004,d" + job.code;
            for (const std::size_t length : {kMib - 1, kMib, kMib + 1, 5 * kMib / 2}) {
                const string record = long_record(job, "00000003", length);
                SCOPED_TRACE(length);
                expect_merged(job, {"00000001,a" + job.code + record + small, "00000002,b" + job.code + small});
                expect_merged(job, {record + record + small, record + record, "00000003,c"});
                expect_merged(job, {record.substr(0, record.size() - (format == kx_format::csv ? 1 : 7)), small});
            }
        }
    }
}

TEST_F(LargePresorted, WithoutANewlineCodeAnInputIsReadAsFarAsTheRunsMemoryGoes) {
    const Job job = key_job(kx_format::variable, 8);
    configure(job);
    argsInfo.totalMemSize = kDefaultPoolSize;
    const Merged merged = merge({"00000001,a\n", string(to_size(kDefaultPoolSize) + 1, '2')});
    EXPECT_EQ(merged.status, 1);
    EXPECT_EQ(merged.messages, "☆ Invalid record length detected! \n");
    EXPECT_EQ(merged.out, "");
}

TEST_F(LargePresorted, InCompleteModeARecordMayBeLongerThanTheRunsMemory) {
    configure(key_job(kx_format::variable, 8));
    completeMode = true;
    argsInfo.totalMemSize = kDefaultPoolSize;
    const string record(to_size(kDefaultPoolSize) + 1, '2');
    const Merged merged = merge({"00000001,a\n", record});
    EXPECT_EQ(merged.status, 0);
    EXPECT_EQ(merged.messages, kReleased);
    EXPECT_TRUE(merged.out == "00000001,a\n" + record + "\n");
}

TEST_F(LargePresorted, UniqueRecordsAroundTheStagingBuffersSize) {
    for (const kx_format format : kNewlineFormats) {
        Job job = key_job(format, 8);
        make_unique(job, true);
        for (const std::size_t length : {655359U, 655360U, 655361U, 900000U}) {
            for (const std::size_t front : {12U, 300000U, 655340U}) {
                const string first = long_record(job, "00000001", front), record = long_record(job, "00000002", length);
                expect_merged(job, {first + record + "00000003,a\n", first + record + record + "00000003,b\n"});
            }
        }
    }
}

// Duplicates of a record whose buffer has been refilled or moved since.
TEST_F(LargePresorted, UniqueComparesWithTheRecordAsItWas) {
    for (const kx_format format : kNewlineFormats) {
        Job job = key_job(format, 8);
        make_unique(job, true);
        make_stable(job, true);
        const string twin = "00000005,twin" + job.code;
        const string filling = long_record(job, "00000001", kMib - twin.size()); // the twin ends the first buffer
        expect_merged(job, {filling + twin + long_record(job, "00000006", 2 * kMib), twin + twin + "00000007,e\n"});
        EXPECT_EQ(records_of(job, box.read("out")).size(), 4U);
        Job whole = whole_job(format);
        make_unique(whole, true);
        expect_merged(whole, {filling + twin + long_record(whole, "00000006", 2 * kMib), twin + twin + "00000007,e\n"});
        EXPECT_EQ(records_of(whole, box.read("out")).size(), 4U);
    }
}

// Records too short for the keys

/// Error records and good ones, mixed: `share` of ten are good.
string mixed(const Job &job, std::size_t bytes, std::size_t share) {
    string data;
    for (std::size_t i = 0; data.size() < bytes; ++i) {
        const bool good = i * 7919 % 10 < share;
        data += good ? number(i) + "," + string(i * 31 % 300, 'g') + job.code : string(i % 7, 's') + job.code;
    }
    return data;
}

TEST_F(LargePresorted, ErrorRecordsOccupyBytesAndNothingElse) {
    for (const kx_format format : kNewlineFormats) {
        for (const bool unique : {false, true}) {
            Job job = key_job(format, 9);
            job.csv.keys = {{.column = 1}, {.column = 2}};
            make_unique(job, unique);
            const Texts inputs = {mixed(job, 1400000, 8), mixed(job, 1100000, 2), mixed(job, 2 * kMib + 9, 5) + "s"};
            expect_merged(job, inputs, false);
            Texts rejected;
            for (const string &input : inputs) {
                const Texts more = rejected_of(job, ended(job, input));
                rejected.insert(rejected.end(), more.begin(), more.end());
            }
            std::sort(rejected.begin(), rejected.end());
            EXPECT_TRUE(records_of(job, box.read("short")) == rejected);
        }
    }
}

TEST_F(LargePresorted, WholeBuffersOfErrorRecords) {
    for (const kx_format format : kNewlineFormats) {
        Job job = key_job(format, 9);
        job.csv.keys = {{.column = 2}};
        string bad;
        while (bad.size() < 2 * kMib + 1234) {
            bad += "short\n";
        }
        const string good = "00000001,a\n", late = "00000009,z\n";
        expect_merged(job, {bad + late, good, good + bad + late, bad}, false);
        EXPECT_EQ(box.read("out"), good + good + late + late);
        EXPECT_EQ(box.read("short").size(), 3 * bad.size());
    }
}

// Kept: of fixed-length inputs the first MiB, whole records.

TEST_F(LargePresorted, FixedLengthInputsContributeTheirFirstMib) {
    for (const std::size_t length : {16U, 100U, 1000U, 655361U}) {
        for (const bool unique : {false, true}) {
            Job job = key_job(kx_format::fixed, 8);
            job.length = length;
            make_stable(job, true);
            make_unique(job, unique);
            Texts inputs;
            for (const std::size_t records :
                 {kMib / length, kMib / length + 1, 2 * kMib / length + 5, std::size_t{1}}) {
                inputs.emplace_back();
                for (std::size_t i = 0; i < records; ++i) {
                    inputs.back() += number(i * 2 + records % 3) + string(length - 8, 'x');
                }
            }
            SCOPED_TRACE(length);
            expect_merged(job, inputs);
            if (!unique) {
                EXPECT_EQ(box.read("out").size(), (kMib / length * 3 + 1) * length);
            }
        }
    }
}

TEST_F(LargePresorted, OfManyInputsNoneIsLost) {
    std::mt19937 random(1);
    for (const kx_format format : kNewlineFormats) {
        const Job job = key_job(format, 8);
        Texts inputs;
        for (std::size_t i = 0; i < 20; ++i) {
            inputs.push_back(ascending(job, i % 7 == 0 ? kMib + random() % 200000 : random() % 100000, i, 20));
            if (inputs.back().empty()) {
                inputs.back() = "99999999,\n";
            }
        }
        expect_merged(job, inputs);
    }
}

} // namespace
