// The time that the live picture runs by: seconds, frames and whether it stands still, how fast it runs and which
// stretch it repeats. It follows the canvas's clock without limit, so that a long stall is one long step; what rests on
// purpose calls forgetLastTick().
// A plain value; main thread.
#pragma once

#include <cstdint>
#include <optional>

namespace glasshob {

// A stretch of shader time in seconds; end is after start.
struct TimeStretch {
    double start = 0;
    double end = 0;
    double length() const { return end - start; }
    bool operator==(const TimeStretch&) const = default;
};

class PreviewClock {
  public:
    static constexpr double shortestLoop = 0.1;  // seconds
    static constexpr double latestTime = 359999; // seconds: 99 hours, 59 minutes and 59 seconds
    static constexpr double slowest = 0.5, fastest = 2;

    struct Tick {
        float time;
        float timeDelta;
        std::uint32_t frame;
    };

    // `now` in seconds of a clock that never goes back. Once for each frame.
    Tick tick(double now);
    // The moment of the next frame if the clock stands.
    Tick moment() const { return {float(time_), float(stepped_), frame_}; }
    // No frame has been drawn for a while: the next one starts without a leap.
    void forgetLastTick() { lastTick_.reset(); }

    double time() const { return time_; }
    std::uint32_t frame() const { return frame_; }
    bool paused() const { return paused_; }
    void setPaused(bool paused);
    // To 0, or to where the loop begins.
    void backToStart();
    // A sixtieth of a second and one frame further; the next tick tells the shader of it. Only while paused.
    void step();
    // Anywhere from 0 to latestTime; the frames count as if the picture had run there at sixty a second.
    void setTime(double seconds);

    // Seconds of the shader in one second, from slowest to fastest.
    double speed() const { return speed_; }
    void setSpeed(double speed);

    // The stretch that is repeated; none in ordinary time. It is put in order, kept from 0 to latestTime, and made at
    // least as long as the shortest. A time before or behind it moves to its start with the next tick.
    const std::optional<TimeStretch>& loop() const { return loop_; }
    void setLoop(std::optional<TimeStretch> loop);

  private:
    double time_ = 0;
    std::optional<double> lastTick_;
    std::uint32_t frame_ = 0;
    bool paused_ = false;
    double stepped_ = 0; // what steps have added since the last tick
    double speed_ = 1;
    std::optional<TimeStretch> loop_;
};

} // namespace glasshob
