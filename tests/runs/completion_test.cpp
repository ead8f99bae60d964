// completion_test.cpp: what a verbose run tells at the end of standard input and of the merge of presorted inputs.
#include <gtest/gtest.h>
#include <string>

#include "support/run.h"
#include "support/texts.h"

namespace {

using namespace support;
using std::string;

struct Wording {
    const char *lang;
    const char *input;
    const char *merge;
};

const Wording kWordings[] = {
    {"C", "--- Standard input sort processing completed.--- \n", "--- File merge sort processing completed.--- \n"},
    {kJapanese, "--- 標準入力ソート処理は終了しました。--- \n", "--- ファイルのマージソート処理は終了しました。--- \n"},
};

TEST(Completion, OfStandardInputAndOfPresortedInputsIsToldInBothLanguages) {
    const Box box;
    box.write("in", "a\nb\n");
    for (const Wording &wording : kWordings) {
        const Outcome input =
            box.run({.args = {"-Verbose", "-A", "-O", "out"}, .lang = wording.lang, .input = "b\na\n"});
        EXPECT_EQ(input.status, 0);
        EXPECT_NE(input.err.find(wording.input), string::npos) << input.err;
        const Outcome merge = box.run({.args = {"-Verbose", "-M", "-A", "-O", "out", "in"}, .lang = wording.lang});
        EXPECT_EQ(merge.status, 0);
        EXPECT_NE(merge.err.find(wording.merge), string::npos) << merge.err;
    }
}

} // namespace
