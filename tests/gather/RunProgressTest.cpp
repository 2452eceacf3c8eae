#include "gather/RunProgress.h"

#include <gtest/gtest.h>

using namespace vantor;
using namespace std::chrono_literals;

TEST(RunProgress, PartsOnTheWireCountByTheirStepsAndFinishedOnesWhole) {
    gather::RunProgress run;
    const auto t0 = gather::RunProgress::Clock::time_point{};
    run.start(4, t0);
    EXPECT_EQ(run.fraction(), 0);
    run.step(0, 1, 4);
    run.step(1, 2, 4); // two shops on the wire at once
    EXPECT_DOUBLE_EQ(run.fraction(), (0.25 + 0.5) / 4);
    // The expectation grows as the shop learns its list: the bar may stand, it never runs ahead.
    run.step(1, 2, 8);
    EXPECT_DOUBLE_EQ(run.fraction(), (0.25 + 0.25) / 4);
    run.finished(1);
    EXPECT_DOUBLE_EQ(run.fraction(), (1 + 0.25) / 4);
    // A late step of a finished shop and a shop out of range change nothing.
    run.step(0, 1, 4);
    run.step(7, 1, 1);
    EXPECT_DOUBLE_EQ(run.fraction(), (1 + 0.25) / 4);
    run.finished(4);
    EXPECT_DOUBLE_EQ(run.fraction(), 1);
    // A new run starts from nothing.
    run.start(2, t0);
    EXPECT_EQ(run.fraction(), 0);
}

TEST(RunProgress, TheRemainingTimeFollowsThePaceOnceThereIsOneToJudge) {
    gather::RunProgress run;
    const auto t0 = gather::RunProgress::Clock::time_point{} + 100s;
    run.start(10, t0);
    run.finished(1);
    EXPECT_FALSE(run.remaining(t0 + 1s)) << "too early to judge";
    ASSERT_TRUE(run.remaining(t0 + 30s));
    EXPECT_EQ(*run.remaining(t0 + 30s), 270s); // a tenth in 30 s: nine tenths in 270 s
    run.finished(5);
    EXPECT_EQ(*run.remaining(t0 + 100s), 100s);
    run.finished(10);
    EXPECT_EQ(*run.remaining(t0 + 120s), 0s);

    gather::RunProgress idle;
    idle.start(3, t0);
    EXPECT_FALSE(idle.remaining(t0 + 1h)) << "nothing done: no pace";
}

TEST(RunProgress, TheRemainingTimeIsSaidInWholeMinutesRoundedUp) {
    EXPECT_EQ(gather::remainingText(std::nullopt), "正在估算剩余时间…");
    EXPECT_EQ(gather::remainingText(59s), "预计还需不到1分钟");
    EXPECT_EQ(gather::remainingText(61s), "预计还需约2分钟");
    EXPECT_EQ(gather::remainingText(3600s), "预计还需约1小时");
    EXPECT_EQ(gather::remainingText(3601s + 30min), "预计还需约1小时31分钟");
}
