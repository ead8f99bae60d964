// unique_many_test.cpp: whole runs for unique output over many records of few kinds, against the model.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/job.h"
#include "support/run.h"

namespace {

using namespace support;
using std::string;

/// 70,000 records, each one of `kinds`.
string repeated(std::mt19937 &random, const Job &job, std::size_t kinds) {
    std::vector<string> records;
    while (records.size() < kinds) {
        records.push_back(random_record(random, job));
    }
    string data;
    for (int i = 0; i < 70'000; ++i) {
        data += records[random() % kinds];
    }
    return data;
}

class UniqueMany : public testing::TestWithParam<kx_format> {
  protected:
    void expect_model(const Job &job, const string &data) {
        const std::vector<Item> items = items_of(job, data);
        box.write("in", data);
        std::vector<string> args = options_of(job);
        args.insert(args.end(), {"-O", "out", "in"});
        EXPECT_EQ(box.run({.args = args}).status, 0);
        EXPECT_TRUE(is_sorted_output(box.read("out"), items, order_of(job)));
    }

    Box box;
    std::mt19937 random{7};
};

TEST_P(UniqueMany, EachKeyIsWrittenOnce) {
    for (const std::size_t kinds : {1U, 40U, 2000U}) {
        Job job = key_job(GetParam(), 4);
        make_unique(job, true);
        SCOPED_TRACE(kinds);
        expect_model(job, repeated(random, job, kinds));
    }
}

TEST_P(UniqueMany, EachRecordIsWrittenOnce) {
    Job job = whole_job(GetParam());
    make_unique(job, true);
    expect_model(job, repeated(random, job, 300));
}

TEST_P(UniqueMany, AnyKeysAreWrittenOnce) {
    for (int i = 0; i < 8; ++i) {
        Job job = random_job(random, GetParam());
        job.csv.empty_last = false; // an empty column and a 0 would count as one key where they meet
        make_unique(job, true);
        SCOPED_TRACE(i);
        expect_model(job, repeated(random, job, 500));
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, UniqueMany, testing::ValuesIn(kFormats));

} // namespace
