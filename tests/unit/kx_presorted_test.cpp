// kx_presorted_test.cpp: the merge of presorted inputs against a model of its procedure.
#include <random>
#include <string>
#include <vector>

#include "support/presorted_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class Presorted : public PresortedState {};

/// A record whose key is `key` and that tells by `mark` where it comes from.
string marked(const Job &job, const string &key, const string &mark) {
    switch (job.format) {
    case kx_format::fixed: return key + mark + string(job.length - key.size() - mark.size(), '.');
    case kx_format::csv: return key + "," + mark + job.code;
    default: return key + mark + job.code;
    }
}

Texts inputs_of(const Job &job, const std::vector<Texts> &keys) {
    Texts inputs;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        inputs.emplace_back();
        for (const string &key : keys[i]) {
            inputs.back() += marked(job, key, std::to_string(i));
        }
    }
    return inputs;
}

/// The same, as "key+input key+input ...".
string output_of(const Job &job, const Texts &keys_and_marks) {
    string out;
    for (const string &text : keys_and_marks) {
        out += marked(job, text.substr(0, 1), text.substr(1));
    }
    return out;
}

// Small inputs of all formats

TEST_F(Presorted, InputsInterleave) {
    for (const kx_format format : kFormats) {
        const Job job = key_job(format, 1);
        expect_merged(job, inputs_of(job, {{"1", "3", "5"}, {"2", "4", "6"}}));
        EXPECT_EQ(box.read("out"), output_of(job, {"10", "21", "30", "41", "50", "61"}));
    }
}

TEST_F(Presorted, StableMeansInTheOrderOfTheInputs) {
    for (const kx_format format : kFormats) {
        Job job = key_job(format, 1);
        make_stable(job, true);
        expect_merged(job, inputs_of(job, {{"a", "b", "b"}, {"a", "a", "b"}, {"a", "b"}}));
        EXPECT_EQ(box.read("out"), output_of(job, {"a0", "a1", "a1", "a2", "b0", "b0", "b1", "b2"}));
    }
}

TEST_F(Presorted, WithoutStableTheInputAdvancedLastGoesOn) {
    for (const kx_format format : kFormats) {
        const Job job = key_job(format, 1);
        expect_merged(job, inputs_of(job, {{"a", "b"}, {"b", "b"}, {"a", "b"}}));
        EXPECT_EQ(box.read("out"), output_of(job, {"a0", "a2", "b2", "b0", "b1", "b1"}));
    }
}

TEST_F(Presorted, UniqueKeepsTheFirstOfEqualKeys) {
    for (const kx_format format : kFormats) {
        Job job = key_job(format, 1);
        make_unique(job, true);
        make_stable(job, true);
        expect_merged(job, inputs_of(job, {{"a", "a", "c"}, {"a", "b", "b", "c"}, {"c", "d", "d"}}));
        EXPECT_EQ(box.read("out"), output_of(job, {"a0", "b1", "c0", "d2"}));
    }
}

TEST_F(Presorted, DescendingInputs) {
    for (const kx_format format : kFormats) {
        Job job = key_job(format, 1);
        job.rules.keys[0].descending = job.csv.keys[0].descending = true;
        expect_merged(job, inputs_of(job, {{"5", "3", "1"}, {"6", "4", "2"}}));
        EXPECT_EQ(box.read("out"), output_of(job, {"61", "50", "41", "30", "21", "10"}));
        Job whole = whole_job(format);
        whole.rules.descending = whole.csv.descending = true;
        expect_merged(whole, inputs_of(whole, {{"5", "3", "1"}, {"6", "4", "2"}}));
        EXPECT_EQ(box.read("out"), output_of(whole, {"61", "50", "41", "30", "21", "10"}));
    }
}

TEST_F(Presorted, NumbersCompareByValue) {
    Job job = key_job(kx_format::csv, 1);
    job.csv.keys = {{.column = 2, .numeric = true}};
    expect_merged(job, {"x,-5\nx,9\nx,100\n", "y,-40\ny,10\ny,99\n"});
    EXPECT_EQ(box.read("out"), "y,-40\nx,-5\nx,9\ny,10\ny,99\nx,100\n");
    Job lines = key_job(kx_format::variable, 1);
    lines.rules.keys = {{.position = 1, .length = 3, .numeric = true, .descending = true}};
    expect_merged(lines, {"x100\nx9.\nshort:\nx-5.\n", "y 99\ny10.\ny-40\n"});
    EXPECT_EQ(box.read("out"), "x100\ny 99\ny10.\nx9.\nshort:\nx-5.\ny-40\n");
}

TEST_F(Presorted, EmptyColumnsLast) {
    Job job = key_job(kx_format::csv, 1);
    job.csv.empty_last = true;
    expect_merged(job, {"a,0\nb,0\n,0\n", "a,1\nc,1\n,1\n"});
    EXPECT_EQ(box.read("out"), "a,0\na,1\nb,0\nc,1\n,1\n,0\n");
    job.csv.keys[0].descending = true;
    expect_merged(job, {"b,0\na,0\n,0\n", "c,1\n,1\n"});
    EXPECT_EQ(box.read("out"), "c,1\nb,0\na,0\n,0\n,1\n");
}

// Inputs that take no part

TEST_F(Presorted, AnEmptyInputEndsTheList) {
    for (const kx_format format : kFormats) {
        const Job job = key_job(format, 1);
        const Texts inputs = inputs_of(job, {{"b", "d"}, {"a", "c"}, {}, {"a"}, {"e"}});
        expect_merged(job, inputs);
        EXPECT_EQ(box.read("out"), output_of(job, {"a1", "b0", "c1", "d0"}));
        expect_merged(job, {"", inputs[0], inputs[1]});
        EXPECT_EQ(box.read("out"), "");
        expect_merged(job, {""});
        EXPECT_EQ(box.read("out"), "");
    }
}

TEST_F(Presorted, AnEmptyInputIsNotIndexed) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        configure(key_job(format, 1));
        EXPECT_EQ(merge({"", "a\n"}).errors, "(no file)");
        VERBOSE = 1;
        EXPECT_EQ(merge({"", "a\n"}).messages, kReleased);
        VERBOSE = 0;
    }
}

TEST_F(Presorted, WithoutInputsTheOutputIsEmpty) {
    for (const kx_format format : kFormats) {
        box.write("out", "old");
        expect_merged(key_job(format, 1), {});
        EXPECT_EQ(box.read("out"), "");
    }
}

TEST_F(Presorted, AnInputOfErrorRecordsOnlyEndsNothing) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        Job job = key_job(format, 4);
        job.csv.keys = {{.column = 2}};
        expect_merged(job, {"a,11\n", "x\n", "a,22\ny\n", "z\nw", "b,33"});
        EXPECT_EQ(box.read("short"), "x\ny\nw\nz\n");
        EXPECT_EQ(box.read("out"), "a,11\na,22\nb,33\n");
    }
}

// Newline codes

TEST_F(Presorted, AMissingFinalNewlineCodeIsAppendedToItsInput) {
    for (const string &code : kCodes) {
        for (const kx_format format : {kx_format::variable, kx_format::csv}) {
            const Job job = key_job(format, 1, code);
            expect_merged(job, {"a" + code + "c", "b" + code, "d", "b" + code + "e"});
            EXPECT_EQ(records_of(job, box.read("out")).size(), 6U);
        }
    }
}

TEST_F(Presorted, AHalfNewlineCodeIsData) {
    for (const kx_format format : {kx_format::variable, kx_format::csv}) {
        const Job job = key_job(format, 1, "\r\n");
        expect_merged(job, {"a\r\nc\r", "b\nb\r\n", "d\n"});
        EXPECT_EQ(box.read("out"), "a\r\nb\nb\r\nc\r\r\nd\n\r\n");
    }
}

// Random inputs

/// Nothing, one record or many, in order or not, perhaps without the last newline code.
string random_input(std::mt19937 &random, const Job &job) {
    const std::size_t kind = random() % 12;
    string data = kind == 0 ? "" : kind < 3 ? random_record(random, job) : random_records(random, job, random() % 2000);
    data = random() % 5 == 0 ? data : presorted(job, data);
    if (job.format != kx_format::fixed && random() % 3 == 0) {
        data.resize(data.size() - std::min(data.size(), job.code.size()));
    }
    return data;
}

TEST_F(Presorted, AgreesWithTheModel) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const Job job = random_job(random, kFormats[seed % 3]);
        Texts inputs(2 + random() % 19);
        for (string &input : inputs) {
            input = random_input(random, job);
        }
        expect_merged(job, inputs);
    }
}

TEST_F(Presorted, WholeCsvRecordsWithFirstFieldsOfOneLength) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        Job job = whole_job(kx_format::csv);
        job.csv.descending = random() % 2 == 0;
        job.csv.empty_last = random() % 2 == 0;
        make_stable(job, random() % 2 == 0);
        make_unique(job, random() % 2 == 0);
        Texts inputs(2 + random() % 19);
        for (string &input : inputs) {
            string data;
            for (std::size_t n = random() % 40; n > 0; --n) {
                data += string(1, static_cast<char>('a' + random() % 3)) + "," + random_record(random, job);
            }
            input = presorted(job, data);
        }
        expect_merged(job, inputs);
    }
}

// Inputs in no order at all: then only the procedure tells which record comes next.
TEST_F(Presorted, WholeCsvRecordsInAnyOrder) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Job job = whole_job(kx_format::csv);
        job.csv.descending = random() % 2 == 0;
        job.csv.empty_last = random() % 2 == 0;
        make_stable(job, random() % 2 == 0);
        make_unique(job, random() % 2 == 0);
        Texts inputs(3 + random() % 18);
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            inputs[i] = string(1, static_cast<char>('A' + i)) + ",,\n" + random_records(random, job, random() % 1500);
        }
        expect_merged(job, inputs);
    }
}

} // namespace
