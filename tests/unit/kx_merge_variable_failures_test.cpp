// kx_merge_variable_failures_test.cpp: what fails while blocks of lines are merged; by design told in Japanese
// everywhere.
#include <cstdlib>
#include <string>

#include "support/lines_merge_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

const string kUnsought = "☆一時ファイルに対するfseek操作は失敗しました!\n";

TEST_F(LinesMerge, FailingCallsAreReportedInJapanese) {
    const struct {
        FaultPlan plan;
        bool unique;
        string message;
    } rows[] = {
        {{.site = kx_site::setvbuf}, false, "☆出力バッファの設定はできません！\n"},
        {{.site = kx_site::seek, .call = 1}, false, kUnsought},
        {{.site = kx_site::seek, .call = 2}, true, kUnsought},
        {{.site = kx_site::seek, .call = 3}, false, kUnsought}, // the first refill
        {{.site = kx_site::read, .call = 1}, false, kUnread},
        {{.site = kx_site::read, .call = 3}, true, kUnread},
    };
    for (const auto &row : rows) {
        for (const char *lang : {"C", kJapanese}) {
            start_again();
            setenv("LANG", lang, 1);
            configure({.unique = row.unique});
            set_budget((row.unique ? kStage : 0) + 64);
            write_blocks({{"a\n", "c\n", "e\n", "g\n", "i\n"}, {"b\n", "d\n", "f\n", "h\n"}});
            const Fault fault(row.plan);
            EXPECT_EQ(failure(), row.message) << static_cast<int>(row.plan.site) << lang;
        }
    }
}

TEST_F(LinesMerge, RefusedMemoryIsReportedInJapanese) {
    for (const char *lang : {"C", kJapanese}) {
        setenv("LANG", lang, 1);
        start_again();
        use_pool(50000, false);
        configure({.unique = true});
        write_blocks({{"a\n"}, {"b\n"}});
        EXPECT_EQ(failure(), "☆出力バッファ[640]KBメモリの割当は失敗しました！ \n");
        configure({});
        use_pool(50000, false);
        set_budget(1 << 20);
        write_blocks({{"a\n"}, {string(60000, 'b') + "\n"}});
        EXPECT_EQ(failure(), "☆ブロックバッファ1の[59]KBメモリの割当は失敗しました!\n");
    }
}

TEST_F(LinesMerge, OutputThatCannotBeWritten) {
    argsInfo.outFile.path = kx_copy_text("out");
    for (const bool unique : {false, true}) {
        start_again();
        configure({.unique = unique});
        Texts many(3, string(300000, 'x') + "\n");
        for (std::size_t i = 0; i < many.size(); ++i) {
            many[i][0] = static_cast<char>('a' + i);
        }
        write_blocks({many});
        const Fault fault({.site = kx_site::write});
        EXPECT_EQ(failure(), "☆ Error occurred while writing output file [out]!\n");
    }
}

} // namespace
