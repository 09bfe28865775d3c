// The time that the live picture runs by: seconds, frames and whether it stands still. It follows the canvas's clock
// without limit, so that a long stall is one long step; what rests on purpose calls forgetLastTick().
// A plain value; main thread.
#pragma once

#include <cstdint>
#include <optional>

namespace glasshob {

class PreviewClock {
  public:
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
    void backToStart();
    // A sixtieth of a second and one frame further; the next tick tells the shader of it. Only while paused.
    void step();

  private:
    double time_ = 0;
    std::optional<double> lastTick_;
    std::uint32_t frame_ = 0;
    bool paused_ = false;
    double stepped_ = 0; // what steps have added since the last tick
};

} // namespace glasshob
