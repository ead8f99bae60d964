// kx_temporary_writers_test.cpp: records into the temporary file.
#include <string>

#include "support/writers_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

class TemporaryWriters : public Writers {
  protected:
    /// A descriptor that was used before.
    static UnitDataInfo used_unit() {
        UnitDataInfo unit{};
        unit.startPos = 77;
        unit.size = 12345;
        unit.totalRecNum = 678;
        unit.offset = 9;
        return unit;
    }

    static void expect_counted(const UnitDataInfo &unit, kx_i64 size, kx_i64 records) {
        EXPECT_EQ(unit.size, size);
        EXPECT_EQ(unit.totalRecNum, records);
        EXPECT_EQ(unit.startPos, 77) << "everything else stays";
        EXPECT_EQ(unit.offset, 9);
    }
};

// The layouts, byte for byte on a little-endian machine; elsewhere the integers turn round.
TEST_F(TemporaryWriters, LayoutsToTheByte) {
    ASSERT_EQ(int32_bytes(1), string("\x01\0\0\0", 4)) << "expectations for a little-endian machine";
    UnitDataInfo unit{};
    configure(Form::lines);
    const Records lines(Form::lines, {{"ab\n"}, {""}, {string(258, 'x')}});
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(lines.list(), to, &unit), 0); }),
              string("\x03\0\0\0ab\n", 7) + string("\0\0\0\0", 4) + string("\x02\x01\0\0", 4) + string(258, 'x'));
    configure(Form::csv);
    const Records csv(Form::csv, {{"1,aa\n", {{2, 2}, {0, 1}}}, {"x\n", {{0, 1}}}});
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(csv.list(), to, &unit), 0); }),
              string("\x05\0\0\0\x02\0\0\0"
                     "\x02\0\0\0\x02\0\0\0"
                     "\0\0\0\0\x01\0\0\0"
                     "1,aa\n",
                     29) +
                  string("\x02\0\0\0\x01\0\0\0"
                         "\0\0\0\0\x01\0\0\0"
                         "x\n",
                         18));
}

TEST_F(TemporaryWriters, ACsvRecordMayHaveNoLocators) {
    configure(Form::csv);
    const Records csv(Form::csv, {{"x\n"}, {""}});
    UnitDataInfo unit = used_unit();
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(csv.list(), to, &unit), 0); }),
              string("\x02\0\0\0\0\0\0\0x\n", 10) + string(8, '\0'));
    expect_counted(unit, 18, 2);
}

TEST_F(TemporaryWriters, EveryRecordIsWrittenAndCounted) {
    for (const Form form : {Form::lines, Form::csv}) {
        configure(form);
        const Records records = five(form);
        UnitDataInfo unit = used_unit();
        const string bytes =
            stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(records.list(), to, &unit), 0); });
        EXPECT_EQ(bytes, records.temporary());
        expect_counted(unit, to_i64(bytes.size()), 5);
    }
}

// By design the caller counts fixed-length records.
TEST_F(TemporaryWriters, FixedRecordsAreWrittenAndNotCounted) {
    configure(Form::fixed);
    const Records records = five(Form::fixed);
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(records.list(), to, nullptr), 0); }),
              whole_of_five(Form::fixed));
    UnitDataInfo unit = used_unit();
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(records.list(), to, &unit), 0); }),
              whole_of_five(Form::fixed));
    expect_counted(unit, 0, 0);
}

TEST_F(TemporaryWriters, UniqueWritesAndCountsWhatDiffersFromItsNeighbour) {
    for (const Form form : kForms) {
        configure(form);
        const Records records = five(form);
        UnitDataInfo unit = used_unit();
        const string bytes =
            stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list_unique(records.list(), to, &unit), 0); });
        EXPECT_EQ(bytes, records.temporary(0) + records.temporary(2) + records.temporary(4));
        expect_counted(unit, to_i64(bytes.size()), 3);
    }
}

TEST_F(TemporaryWriters, UniqueComparesWithTheNeighbourInTheList) {
    configure(Form::lines);
    const Records runs(Form::lines, {{"aa1"}, {"aa2"}, {"aa3"}, {"bb4"}, {"aa5"}, {"aa6"}});
    UnitDataInfo unit = used_unit();
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list_unique(runs.list(), to, &unit), 0); }),
              runs.temporary(0) + runs.temporary(3) + runs.temporary(4));
    expect_counted(unit, 21, 3);
}

TEST_F(TemporaryWriters, AppendAtTheStreamsPosition) {
    configure(Form::lines);
    const Records records = five(Form::lines);
    UnitDataInfo first{};
    UnitDataInfo second{};
    EXPECT_EQ(stream_of([&](kx_stream &to) {
                  EXPECT_EQ(kx_outputTempFile_list(records.list(), to, &first), 0);
                  EXPECT_EQ(kx_outputTempFile_list_unique(records.list(), to, &second), 0);
              }),
              records.temporary() + records.temporary(0) + records.temporary(2) + records.temporary(4));
    EXPECT_EQ(first.totalRecNum, 5);
    EXPECT_EQ(second.totalRecNum, 3) << "a descriptor counts its own block";
}

TEST_F(TemporaryWriters, NoHeader) {
    configure(Form::csv);
    set_header("a,b\n");
    const Records records = five(Form::csv);
    UnitDataInfo unit{};
    EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(kx_outputTempFile_list(records.list(), to, &unit), 0); }),
              records.temporary());
    EXPECT_EQ(unit.size, to_i64(records.temporary().size()));
}

TEST_F(TemporaryWriters, NoListIsNothingAtAll) {
    configure(Form::lines);
    UnitDataInfo unit = used_unit();
    EXPECT_EQ(stream_of([&](kx_stream &to) {
                  EXPECT_EQ(kx_outputTempFile_list(nullptr, to, &unit), 0);
                  EXPECT_EQ(kx_outputTempFile_list_unique(nullptr, to, &unit), 0);
              }),
              "");
    expect_counted(unit, 12345, 678);
}

TEST_F(TemporaryWriters, AnEmptyListCountsNothing) {
    for (const Form form : kForms) {
        configure(form);
        const Records none(form, {});
        for (const auto writer : {kx_outputTempFile_list, kx_outputTempFile_list_unique}) {
            UnitDataInfo unit = used_unit();
            EXPECT_EQ(stream_of([&](kx_stream &to) { EXPECT_EQ(writer(none.list(), to, &unit), 0); }), "");
            expect_counted(unit, 0, 0);
        }
    }
}

TEST_F(TemporaryWriters, AFailedWriteIsMinusOneWithoutAMessage) {
    for (const Form form : kForms) {
        configure(form);
        const Records records = five(form);
        for (const auto writer : {kx_outputTempFile_list, kx_outputTempFile_list_unique}) {
            UnitDataInfo unit{};
            kx_stream full{};
            ASSERT_TRUE(kx_stream_open_write(full, "/dev/full"));
            EXPECT_EQ(messages_of([&] { EXPECT_EQ(writer(records.list(), full, &unit), -1); }), "");
            EXPECT_TRUE(full.open);
            EXPECT_FALSE(kx_stream_clear(full));
        }
    }
}

TEST_F(TemporaryWriters, EveryFailingWriteIsNoticed) {
    configure(Form::csv);
    const Records records = five(Form::csv);
    kx_stream stream{};
    ASSERT_TRUE(kx_stream_open_write(stream, box.path("given").c_str()));
    UnitDataInfo unit{};
    const Fault count({.site = kx_site::write, .call = 1000});
    ASSERT_EQ(kx_outputTempFile_list(records.list(), stream, &unit), 0);
    const int writes = Fault::calls();
    ASSERT_GE(writes, 5);
    for (int call = 1; call <= writes; ++call) {
        kx_stream_clear(stream);
        ASSERT_TRUE(kx_stream_open_write(stream, box.path("given").c_str()));
        const Fault fault({.site = kx_site::write, .call = call});
        EXPECT_EQ(kx_outputTempFile_list(records.list(), stream, &unit), -1) << "write " << call;
    }
    kx_stream_clear(stream);
}

} // namespace
