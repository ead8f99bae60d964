// progress_test.cpp: what a run tells of its progress to the program around it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "kx_utils/kx_progress_hook.h"
#include "support/feeder.h"
#include "support/run.h"

namespace {

int events = -1; ///< in the child of a run: where the hook writes

} // namespace

/// One line an event: "phase step steps done total to_standard_output japanese", or "message".
void orkan_progress_event(const orkan_progress *now) {
    if (events < 0) {
        return;
    }
    if (now == nullptr) {
        dprintf(events, "message\n");
    } else {
        dprintf(events, "%d %d %d %ld %ld %d %d\n", now->phase, now->step, now->steps, now->done, now->total,
                now->to_standard_output, now->japanese);
    }
}

namespace {

using namespace support;
using std::string;

constexpr const char *kNames[] = {"reading", "sorting", "writing", "splitting", "merging"};

using Event = orkan_progress;

struct Story {
    Outcome outcome;
    std::vector<Event> events;
    string phases; ///< "reading 1/3, sorting 2/3"
    bool messages; ///< the hook was told of them
};

void read_event(const string &line, Story &story) {
    std::istringstream words(line);
    int phase = 0;
    Event e{};
    words >> phase >> e.step >> e.steps >> e.done >> e.total >> e.to_standard_output >> e.japanese;
    ASSERT_TRUE(words) << line;
    e.phase = static_cast<orkan_progress_phase>(phase);
    const bool starts = story.events.empty() || story.events.back().phase != e.phase;
    if (starts) {
        story.phases += (story.phases.empty() ? "" : ", ") + string(kNames[phase]) + " " + std::to_string(e.step) +
                        "/" + std::to_string(e.steps);
    }
    story.events.push_back(e);
}

Story run(const Box &box, Call call) {
    const auto before = call.before;
    const string file = box.path("events");
    ::unlink(file.c_str());
    call.before = [before, file] {
        if (before) {
            before();
        }
        events = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    };
    Story story{box.run(call), {}, "", false};
    std::istringstream lines(box.read("events"));
    for (string line; std::getline(lines, line);) {
        if (line == "message") {
            story.messages = true;
        } else {
            read_event(line, story);
        }
    }
    return story;
}

Event first(const Story &story) { return story.events.empty() ? Event{} : story.events.front(); }
Event last(const Story &story) { return story.events.empty() ? Event{} : story.events.back(); }

/// Of the whole run in ten-thousandths, as a display would have it; -1 where the total is not known.
int share(const Event &e) {
    if (e.total == 0 && e.phase == orkan_progress_reading) {
        return -1;
    }
    const double part = e.total > 0 ? static_cast<double>(e.done) / static_cast<double>(e.total) : 0;
    return static_cast<int>(10000 * (e.step - 1 + part) / e.steps);
}

void expect_rising_to(int end, const Story &story) {
    int before = -1;
    for (const Event &e : story.events) {
        EXPECT_GE(share(e), before) << story.phases;
        EXPECT_TRUE(e.total == 0 || e.done <= e.total) << story.phases;
        before = share(e);
    }
    EXPECT_GE(before, end) << story.phases;
    EXPECT_LE(before, 10000) << story.phases;
}
void expect_rising_to_the_end(const Story &story) { expect_rising_to(10000, story); }

string lines_of(int count) {
    string all;
    for (int i = 0; i < count; ++i) {
        all += std::to_string((i * 7919L) % 1000003 + 1000000) + ",some more text\n"; // 23 bytes
    }
    return all;
}

/// More than one chunk of the smallest budget, whatever the format.
const string &large() {
    static const string kLines = lines_of(700000);
    return kLines;
}

TEST(Progress, InMemory) {
    const Box box;
    box.write("a", lines_of(1000));
    box.write("b", lines_of(500));
    const Story story = run(box, {.args = {"-A", "-O", "out", "a", "b"}});
    EXPECT_EQ(story.outcome.status, 0);
    EXPECT_EQ(story.phases, "reading 1/3, sorting 2/3, writing 3/3");
    EXPECT_EQ(first(story).total, 34500);
    EXPECT_EQ(last(story).done, 34500);
    EXPECT_TRUE(story.messages);
    expect_rising_to_the_end(story);
}

TEST(Progress, ThroughTheTemporaryFile) {
    const Box box;
    box.write("in", large());
    const std::vector<std::vector<string>> formats = {{"-L", "23", "-K", "0,7"}, {"-A"}, {"-C", "-K", "1"}};
    for (std::vector<string> args : formats) {
        args.insert(args.end(), {"-W", "16M", "-O", "out", "in"});
        const Story story = run(box, {.args = args});
        EXPECT_EQ(story.outcome.status, 0) << story.outcome.err;
        EXPECT_EQ(story.phases, "splitting 1/2, merging 2/2");
        EXPECT_EQ(first(story).total, static_cast<std::int64_t>(large().size()));
        expect_rising_to_the_end(story);
    }
}

TEST(Progress, BehindAHeaderMissesWhatIsNotSorted) {
    const Box box;
    box.write("in", large());
    const Story story = run(box, {.args = {"-C", "-H", "-K", "1", "-W", "16M", "-O", "out", "in"}});
    EXPECT_EQ(story.outcome.status, 0) << story.outcome.err;
    EXPECT_EQ(story.phases, "splitting 1/2, merging 2/2");
    expect_rising_to(9990, story);
}

TEST(Progress, OfUniqueOutputEndsThoughItIsShort) {
    const Box box;
    const string once = lines_of(70000);
    string data;
    for (int i = 0; i < 10; ++i) {
        data += once;
    }
    box.write("in", data);
    const Story story = run(box, {.args = {"-A", "-U", "-W", "16M", "-O", "out", "in"}});
    EXPECT_EQ(box.read("out").size(), once.size());
    EXPECT_EQ(story.phases, "splitting 1/2, merging 2/2");
    expect_rising_to_the_end(story);
}

TEST(Progress, OfStandardInputKnowsNoTotalWhileItReads) {
    const Box box;
    for (const auto &[data, phases] :
         {std::pair<string, string>{lines_of(100), "reading 1/2, sorting 2/3, writing 3/3"},
          {large(), "reading 1/2, merging 2/2"}}) {
        const Story story = run(box, {.args = {"-A", "-W", "16M", "-O", "out"}, .input = data});
        EXPECT_EQ(story.outcome.status, 0) << story.outcome.err;
        EXPECT_EQ(story.phases, phases);
        std::int64_t read = 0;
        for (const Event &e : story.events) {
            if (e.phase == orkan_progress_reading) {
                EXPECT_EQ(e.total, 0);
                EXPECT_GE(e.done, read);
                read = e.done;
            }
        }
        EXPECT_EQ(read, static_cast<std::int64_t>(data.size()));
        expect_rising_to_the_end(story);
    }
}

TEST(Progress, OfAPipeIsToldPieceByPiece) {
    const Box box;
    const string data = lines_of(100);
    const Story story =
        run(box, {.args = {"-A", "-O", "out"}, .before = [&] { feed_in_pieces(data, data.size() / 4); }});
    std::vector<std::int64_t> done;
    for (const Event &e : story.events) {
        if (e.phase == orkan_progress_reading) {
            done.push_back(e.done);
        }
    }
    EXPECT_EQ(done, (std::vector<std::int64_t>{0, 575, 1150, 1725, 2300}));
}

TEST(Progress, OfPresortedInputs) {
    const Box box;
    string sorted;
    for (int i = 0; i < 200000; ++i) {
        sorted += std::to_string(1000000 + i) + ",a\n";
    }
    box.write("a", sorted);
    box.write("b", sorted);
    const Story story = run(box, {.args = {"-M", "-A", "-O", "out", "a", "b"}});
    EXPECT_EQ(story.outcome.status, 0) << story.outcome.err;
    EXPECT_EQ(story.phases, "merging 1/1");
    EXPECT_EQ(first(story).total, static_cast<std::int64_t>(2 * sorted.size()));
    expect_rising_to_the_end(story);
}

TEST(Progress, OfALargeInputIsToldWhileItIsRead) {
    const Box box;
    const std::size_t length = (std::size_t{20} << 20) + 100; // beyond two system calls
    box.write("in", string(length, 'x'));
    const Story story = run(box, {.args = {"-L", "4", "-A", "-W", "200M", "-O", "out", "in"}});
    const auto reads = std::count_if(story.events.begin(), story.events.end(),
                                     [](const Event &e) { return e.phase == orkan_progress_reading; });
    EXPECT_EQ(reads, 1 + 3);
    expect_rising_to_the_end(story);
}

TEST(Progress, TellsWhereTheOutputGoesAndTheLanguage) {
    const Box box;
    box.write("in", "b\na\n");
    for (const Event &e : run(box, {.args = {"-A", "in"}}).events) {
        EXPECT_EQ(e.to_standard_output, 1);
        EXPECT_EQ(e.japanese, 0);
    }
    for (const Event &e : run(box, {.args = {"-A", "-O", "out", "in"}, .lang = kJapanese}).events) {
        EXPECT_EQ(e.to_standard_output, 0);
        EXPECT_EQ(e.japanese, 1);
    }
}

TEST(Progress, OfAVerboseRunIsNotTold) {
    const Box box;
    box.write("in", large());
    const Story memory = run(box, {.args = {"-Verbose", "-A", "-O", "out", "in"}});
    const Story split = run(box, {.args = {"-Verbose", "-A", "-W", "16M", "-O", "out", "in"}});
    const Story input = run(box, {.args = {"-Verbose", "-A", "-O", "out"}, .input = "b\na\n"});
    for (const Story *story : {&memory, &split, &input}) {
        EXPECT_EQ(story->outcome.status, 0);
        EXPECT_EQ(story->phases, "");
    }
}

TEST(Progress, OfARunThatFailsBeforeItBeginsIsNotTold) {
    const Box box;
    const Story story = run(box, {.args = {"-A", "-O", "out", "missing"}});
    EXPECT_EQ(story.outcome.status, 1);
    EXPECT_EQ(story.phases, "");
    EXPECT_TRUE(story.messages);
}

TEST(Progress, ChangesNothingThatTheRunPrints) {
    const Box box;
    box.write("in", large());
    const std::vector<string> args = {"-A", "-W", "16M", "in"};
    const Outcome silent = box.run({.args = args});
    const Story told = run(box, {.args = args});
    EXPECT_TRUE(silent.out == told.outcome.out);
    EXPECT_EQ(steady(silent), steady(told.outcome));
}

} // namespace
