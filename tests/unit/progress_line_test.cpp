// progress_line_test.cpp: what the command's progress line says, and when it changes.
#include "progress_line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using std::string;

constexpr int kWide = 120;
constexpr orkan_progress_phase kPhases[] = {orkan_progress_reading, orkan_progress_sorting, orkan_progress_writing,
                                            orkan_progress_splitting, orkan_progress_merging};

ProgressView splitting(bool japanese = false) {
    return {.phase = orkan_progress_splitting,
            .percent = 42,
            .bytes = 1000000000,
            .bytes_per_second = 210000000,
            .seconds_left = 12,
            .japanese = japanese};
}

// The text

TEST(ProgressText, ShowsAllFieldsOnAWideTerminal) {
    EXPECT_EQ(progress_text(splitting(), kWide), "sorting blocks  42%  210 MB/s  0:12 left");
    EXPECT_EQ(progress_text(splitting(true), kWide), "分割ソート中  42%  210 MB/s  残り 0:12");
}

TEST(ProgressText, DropsFieldsFromTheRightOnANarrowTerminal) {
    struct Row {
        int columns;
        const char *text;
    };
    for (const Row &row : std::vector<Row>{{41, "sorting blocks  42%  210 MB/s  0:12 left"},
                                           {40, "sorting blocks  42%  210 MB/s"},
                                           {30, "sorting blocks  42%  210 MB/s"},
                                           {29, "sorting blocks  42%"},
                                           {20, "sorting blocks  42%"},
                                           {19, "sorting blocks"},
                                           {15, "sorting blocks"},
                                           {14, ""},
                                           {1, ""},
                                           {0, ""}}) {
        EXPECT_EQ(progress_text(splitting(), row.columns), row.text) << row.columns;
    }
    EXPECT_EQ(progress_text(splitting(true), 39), "分割ソート中  42%  210 MB/s  残り 0:12");
    EXPECT_EQ(progress_text(splitting(true), 38), "分割ソート中  42%  210 MB/s");
    EXPECT_EQ(progress_text(splitting(true), 12), "");
}

TEST(ProgressText, NeverFillsTheLastColumn) {
    for (const orkan_progress_phase phase : kPhases) {
        for (const bool japanese : {false, true}) {
            ProgressView view = splitting(japanese);
            view.phase = phase;
            for (int columns = 1; columns < kWide; ++columns) {
                EXPECT_LT(progress_columns(progress_text(view, columns)), columns) << progress_text(view, columns);
            }
        }
    }
}

TEST(ProgressText, NamesEveryPhaseInBothLanguages) {
    string english, japanese;
    for (const orkan_progress_phase phase : kPhases) {
        english += progress_text({.phase = phase, .percent = 5}, kWide) + "|";
        japanese += progress_text({.phase = phase, .percent = 5, .japanese = true}, kWide) + "|";
    }
    EXPECT_EQ(english, "reading  5%|sorting  5%|writing  5%|sorting blocks  5%|merging  5%|");
    EXPECT_EQ(japanese, "読み込み中  5%|ソート中  5%|書き込み中  5%|分割ソート中  5%|マージ中  5%|");
}

TEST(ProgressText, ShowsTheBytesWhereNoPercentIsKnown) {
    EXPECT_EQ(progress_text({.bytes = 1210400000, .bytes_per_second = 9870000}, kWide), "reading  1210 MB  9.8 MB/s");
    EXPECT_EQ(progress_text({.bytes = 0}, kWide), "reading  0.0 MB");
    EXPECT_EQ(progress_text({.bytes = 9999999}, kWide), "reading  9.9 MB");
    EXPECT_EQ(progress_text({.bytes = 10000000}, kWide), "reading  10 MB");
}

string left(std::int64_t seconds) {
    const string line = progress_text({.percent = 1, .seconds_left = seconds}, kWide);
    return line.substr(string("reading  1%").size());
}

TEST(ProgressText, ShowsTheTimeLeftInMinutesOrHours) {
    EXPECT_EQ(left(0), "  0:00 left");
    EXPECT_EQ(left(59), "  0:59 left");
    EXPECT_EQ(left(61), "  1:01 left");
    EXPECT_EQ(left(3599), "  59:59 left");
    EXPECT_EQ(left(3600), "  1:00:00 left");
    EXPECT_EQ(left(359999), "  99:59:59 left");
    EXPECT_EQ(left(360000), "");
    EXPECT_EQ(left(-1), "");
}

TEST(ProgressText, CountsWideCharactersAsTwoColumns) {
    EXPECT_EQ(progress_columns(""), 0);
    EXPECT_EQ(progress_columns("ab%"), 3);
    EXPECT_EQ(progress_columns("残り 0:12"), 9);
}

// The pace

orkan_progress at(orkan_progress_phase phase, int step, int steps, std::int64_t done, std::int64_t total) {
    return {phase, step, steps, done, total, 0, 0};
}

TEST(ProgressPace, ShowsNothingInTheFirstSecond) {
    ProgressPace pace(5000);
    EXPECT_FALSE(pace.advance(at(orkan_progress_splitting, 1, 2, 0, 100), 5000));
    EXPECT_FALSE(pace.advance(at(orkan_progress_splitting, 1, 2, 10, 100), 5999));
    EXPECT_TRUE(pace.advance(at(orkan_progress_splitting, 1, 2, 20, 100), 6000));
}

TEST(ProgressPace, ANewPhaseInTheFirstSecondIsNotShownEither) {
    ProgressPace pace(0);
    EXPECT_FALSE(pace.advance(at(orkan_progress_sorting, 2, 3, 0, 0), 999));
}

TEST(ProgressPace, ChangesTenTimesASecondAtMost) {
    ProgressPace pace(0);
    int drawn = 0;
    for (std::int64_t now = 0; now < 3000; ++now) {
        drawn += pace.advance(at(orkan_progress_splitting, 1, 2, now, 10000), now) ? 1 : 0;
    }
    EXPECT_EQ(drawn, 20);
}

TEST(ProgressPace, ANewPhaseIsShownAtOnce) {
    ProgressPace pace(0);
    EXPECT_TRUE(pace.advance(at(orkan_progress_splitting, 1, 2, 100, 100), 2000));
    EXPECT_TRUE(pace.advance(at(orkan_progress_merging, 2, 2, 0, 100), 2001));
    EXPECT_FALSE(pace.advance(at(orkan_progress_merging, 2, 2, 1, 100), 2002));
}

TEST(ProgressPace, PercentIsOfTheWholeRun) {
    ProgressPace pace(0);
    const auto percent = [&](const orkan_progress &progress) {
        pace.advance(progress, 0);
        return pace.view().percent;
    };
    EXPECT_EQ(percent(at(orkan_progress_splitting, 1, 2, 0, 1000)), 0);
    EXPECT_EQ(percent(at(orkan_progress_splitting, 1, 2, 500, 1000)), 25);
    EXPECT_EQ(percent(at(orkan_progress_splitting, 1, 2, 1000, 1000)), 50);
    EXPECT_EQ(percent(at(orkan_progress_merging, 2, 2, 999, 1000)), 99);
    EXPECT_EQ(percent(at(orkan_progress_merging, 2, 2, 1000, 1000)), 100);
    EXPECT_EQ(percent(at(orkan_progress_sorting, 2, 3, 0, 0)), 33);
    EXPECT_EQ(percent(at(orkan_progress_writing, 3, 3, 1, 2)), 83);
    EXPECT_EQ(percent(at(orkan_progress_reading, 1, 2, 70, 0)), -1) << "standard input";
}

TEST(ProgressPace, HugeRunsStayWithinTheirPercent) {
    ProgressPace pace(0);
    pace.advance(at(orkan_progress_merging, 2, 2, INT64_MAX, INT64_MAX), 1);
    EXPECT_EQ(pace.view().percent, 100);
}

TEST(ProgressPace, SpeedIsThatOfThePresentPhase) {
    ProgressPace pace(0);
    pace.advance(at(orkan_progress_splitting, 1, 2, 0, 1000), 1000);
    pace.advance(at(orkan_progress_splitting, 1, 2, 600, 1000), 4000);
    EXPECT_EQ(pace.view().bytes_per_second, 200);
    EXPECT_EQ(pace.view().bytes, 600);
    pace.advance(at(orkan_progress_merging, 2, 2, 0, 1000), 5000);
    EXPECT_EQ(pace.view().bytes_per_second, -1) << "nothing is known yet";
    pace.advance(at(orkan_progress_merging, 2, 2, 50, 1000), 7000);
    EXPECT_EQ(pace.view().bytes_per_second, 25);
}

TEST(ProgressPace, TheRestIsSupposedToGoAsThisPhaseHasGone) {
    ProgressPace pace(0);
    pace.advance(at(orkan_progress_splitting, 1, 2, 0, 1000), 0);
    pace.advance(at(orkan_progress_splitting, 1, 2, 100, 1000), 499);
    EXPECT_EQ(pace.view().seconds_left, -1) << "too early to tell";
    pace.advance(at(orkan_progress_splitting, 1, 2, 250, 1000), 3000);
    EXPECT_EQ(pace.view().seconds_left, 3 * 7) << "a quarter of the first of two phases in 3 s";
    pace.advance(at(orkan_progress_merging, 2, 2, 0, 1000), 9000);
    EXPECT_EQ(pace.view().seconds_left, -1);
    pace.advance(at(orkan_progress_merging, 2, 2, 800, 1000), 17000);
    EXPECT_EQ(pace.view().seconds_left, 2);
    pace.advance(at(orkan_progress_merging, 2, 2, 1000, 1000), 19000);
    EXPECT_EQ(pace.view().seconds_left, 0);
}

TEST(ProgressPace, ASortInMemoryTellsNeitherSpeedNorTime) {
    ProgressPace pace(0);
    pace.advance(at(orkan_progress_sorting, 2, 3, 0, 0), 1000);
    pace.advance(at(orkan_progress_sorting, 2, 3, 0, 0), 9000);
    EXPECT_EQ(progress_text(pace.view(), kWide), "sorting  33%");
}

TEST(ProgressPace, TheLanguageIsTheRunsOwn) {
    ProgressPace pace(0);
    pace.advance({orkan_progress_merging, 1, 1, 1, 4, 0, 1}, 1000);
    EXPECT_EQ(progress_text(pace.view(), kWide), "マージ中  25%");
}

} // namespace
