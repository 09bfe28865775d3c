// When the live picture is drawn, as far as that is arithmetic.
#include "GlassHob/ui/picture/FramePace.h"
#include "GlassHob/ui/picture/FrameRate.h"
#include "GlassHob/ui/picture/PreviewResolution.h"

#include <gtest/gtest.h>

namespace glasshob {
namespace {

using namespace std::chrono_literals;

TEST(FramePaceTest, SixtyASecondAndNeverMoreThanTheDisplay) {
    const struct {
        double display, frames;
    } rows[] = {{0, 60}, {60, 60}, {59.94, 59.94}, {50, 50}, {24, 24}, {75, 60}, {119.88, 59.94}, {144, 60}, {240, 60}};
    for (const auto& row : rows)
        EXPECT_NEAR(1e9 / double(FramePace::onDisplay(row.display).count()), row.frames, 0.001) << row.display;
}

TEST(FramePaceTest, LateTimersDoNotChangeTheRate) {
    FramePace pace;
    FramePace::Clock::time_point now{1h};
    const auto begin = now;
    pace.begin(now, FramePace::onDisplay(60));
    int frames = 0;
    for (; now < begin + 10s; ++frames)
        now += std::chrono::milliseconds(pace.next(now)) + (frames % 3) * 1ms; // up to 2 ms late
    EXPECT_NEAR(frames, 600, 1);
    // After a stall the frames that were missed are left out.
    now += 5s;
    EXPECT_LE(pace.next(now), 18);
}

TEST(FrameRateTest, ASlowShaderHasADecimal) {
    EXPECT_EQ(FrameRate::textOf(59.97), "60 fps");
    EXPECT_EQ(FrameRate::textOf(10), "10 fps");
    EXPECT_EQ(FrameRate::textOf(7.46), "7.5 fps");
    EXPECT_EQ(FrameRate::textOf(0.4), "0.4 fps");
}

TEST(AutomaticResolutionTest, KeepsThirtyFramesASecondAndGoesBack) {
    AutomaticResolution automatic;
    const auto draw = [&](double secondsWhole, int frames) {
        for (int i = 0; i < frames; ++i)
            automatic.add(secondsWhole / (automatic.divisor() * automatic.divisor()));
        return automatic.divisor();
    };
    EXPECT_EQ(draw(0.030, 200), 1);
    EXPECT_EQ(draw(0.100, 200), 2) << "25 ms at half";
    EXPECT_EQ(draw(0.100, 200), 2) << "and it stays there";
    EXPECT_EQ(draw(0.400, 200), 4);
    EXPECT_EQ(draw(3.000, 50), 4) << "the smallest there is";
    EXPECT_EQ(draw(0.010, 500), 1);
    // The first frames of a program take the driver's compile with them.
    automatic.forget();
    automatic.add(2.0);
    EXPECT_EQ(draw(0.010, 100), 1);
}

} // namespace
} // namespace glasshob
