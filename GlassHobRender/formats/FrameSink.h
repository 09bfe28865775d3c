#pragma once

// Where an export goes: a movie, an animation, pictures in files, a pipe. Made by the export's caller and
// filled by exportFrames(), which may use it from several threads. A sink that is destroyed without a finish() that
// succeeded leaves nothing behind.

#include "GlassHobRender/formats/ExportError.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <stop_token>

namespace glasshob {

class FrameSink {
  public:
    virtual ~FrameSink() = default;

    // How many threads write at the same time. With 1 the frames come in their order; with more, they begin in it.
    virtual unsigned threadCount() const { return 1; }
    // How many frames are drawn ahead of those being written; each takes the memory of a frame.
    virtual unsigned framesAhead() const { return 2; }
    // Whether writeSound() is to be called where a segment is heard.
    virtual bool takesSound() const { return false; }

    // All else that the export needs is there: from here on files are touched.
    virtual std::expected<void, ExportError> start() { return {}; }

    // One frame of the export's size: blue, green, red and alpha bytes, rows `rowBytes` apart, the top one first. They
    // are there until this returns. `number` is the frame's place in the whole export. A request to stop ends a wait;
    // the error does not matter then.
    virtual std::expected<void, ExportError> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                                   const std::stop_token& stop) = 0;
    // The sound of the next frame: 48,000 pairs of left and right a second, interleaved. A thread of its own, beside
    // write(). After the last one comes endSound().
    virtual std::expected<void, ExportError> writeSound(std::span<const float> samples, const std::stop_token& stop) {
        (void)samples;
        (void)stop;
        return {};
    }
    virtual void endSound() {}

    // After the last frame: what was written stays. A request to stop ends it early, with an error.
    virtual std::expected<void, ExportError> finish(const std::stop_token& stop) = 0;
};

} // namespace glasshob
