#pragma once

// An animated GIF that runs for ever: every frame with the colours that suit it, dithered, and of each only what has
// changed. Delays are hundredths of a second, rounded so that no frame is ever shown 10 ms early or late. Frames come
// in their order, from one thread at a time.

#include "GlassHobRender/formats/ByteOutput.h"
#include "GlassHobRender/formats/FrameSink.h"
#include "GlassHobRender/formats/GifPalette.h"

#include <vector>

namespace glasshob {

class GifSink : public FrameSink {
  public:
    // What players keep up with: two hundredths of a second for a frame.
    static constexpr std::int64_t mostFps = 50;

    GifSink(ByteOutput output, std::int64_t width, std::int64_t height, std::int64_t fps);

    std::expected<void, ExportError> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                           const std::stop_token& stop) override;
    std::expected<void, ExportError> finish(const std::stop_token& stop) override;

  private:
    struct Part {
        int left = 0, top = 0, right = 0, bottom = 0; // the last two left out
    };

    void dither(const std::uint8_t* bgra, std::size_t rowBytes);
    Part changedPart();
    void appendFrame(const Part& part, int delay);

    ByteOutput output_;
    int width_, height_;
    std::int64_t fps_;
    std::int64_t count_ = 0;
    GifPalette palette_;
    std::vector<std::uint8_t> indices_; // of the frame at hand
    std::vector<RgbColor> shown_;       // what a player has on the screen
    std::vector<std::int32_t> errors_;  // of two rows, carried on to their neighbours
    std::vector<std::byte> bytes_;
};

} // namespace glasshob
