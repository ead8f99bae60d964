// writers_fixture.h: lists of the three formats and a folder for what is made of them.
#pragma once

#include <string>

#include "kx_io/kx_writers.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/lists.h"
#include "support/run_state.h"

namespace support {

using Form = Records::Form;

class Writers : public RunState {
  protected:
    /// Settings for a format, sorted by the first two bytes of a record or by its first field.
    static void configure(Form form) {
        argsInfo.bCsv = 0;
        form == Form::fixed ? set_fixed(4) : form == Form::lines ? set_lines() : set_csv();
        set_keys({form == Form::csv ? key(1, 0) : key(0, 2)});
    }

    /// Five records of which the second and the fourth equal their predecessors by key.
    static Records five(Form form) {
        switch (form) {
        case Form::fixed: return {form, {{"aa11"}, {"aa22"}, {"bb33"}, {"bb44"}, {"cc55"}}};
        case Form::lines: return {form, {{"aa1\n"}, {"aa\n"}, {"bb33\n"}, {"bb\r4\n"}, {"cc"}}};
        case Form::csv: break;
        }
        return {form,
                {{"1,aa\n", {{2, 2}, {0, 1}}},
                 {"aa\n", {{0, 2}}},
                 {"22,bb,\n", {{3, 2}}},
                 {"bb,x\n", {{0, 2}, {3, 1}, {1, 0}}},
                 {"5\n", {{1, 0}}}}};
    }
    static std::string whole_of_five(Form form) {
        return form == Form::fixed   ? "aa11aa22bb33bb44cc55"
               : form == Form::lines ? "aa1\naa\nbb33\nbb\r4\ncc"
                                     : "1,aa\naa\n22,bb,\nbb,x\n5\n";
    }
    static std::string unique_of_five(Form form) {
        return form == Form::fixed ? "aa11bb33cc55" : form == Form::lines ? "aa1\nbb33\ncc" : "1,aa\n22,bb,\n5\n";
    }

    static void set_header(const std::string &line) {
        argsInfo.bHeader = 1;
        argsInfo.headerLen = to_i64(line.size());
        argsInfo.header = static_cast<char *>(kx_malloc(memPool, argsInfo.headerLen));
        line.copy(argsInfo.header, line.size());
    }

    /// Runs a writer on a new file of the box, as a given stream, and gives the file's bytes.
    template <class Write> std::string stream_of(Write write) {
        kx_stream stream{};
        EXPECT_TRUE(kx_stream_open_write(stream, box.path("given").c_str()));
        EXPECT_TRUE(kx_stream_set_buffer(stream, 16));
        write(stream);
        EXPECT_TRUE(stream.open) << "a given stream stays open";
        EXPECT_TRUE(kx_stream_clear(stream));
        return box.read("given");
    }

    Box box;
};

inline constexpr Form kForms[] = {Form::fixed, Form::lines, Form::csv};

} // namespace support
