#pragma once

// Where the frames of an export go when they do not become an MPEG-4 movie: pictures in files, an animation, a pipe.
// Made by whoever asks for the export and filled by exportFrames(). A sink that is destroyed without a finish() that
// succeeded leaves nothing behind. Errors are one sentence that says what happened and what to do.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <stop_token>
#include <string>

namespace glasshob {

class FrameSink {
  public:
    virtual ~FrameSink() = default;

    /// How many threads write at the same time. With 1 the frames come in their order; with more, they begin in it.
    virtual unsigned threadCount() const { return 1; }

    /// One frame of the export's size: blue, green, red and alpha bytes, rows `rowBytes` apart, the top one first. They
    /// are there until this returns. `number` is the frame's place in the whole export. A request to stop ends a wait;
    /// the error does not matter then.
    virtual std::expected<void, std::string> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                                   const std::stop_token& stop) = 0;

    /// After the last frame: what was written stays.
    virtual std::expected<void, std::string> finish() = 0;
};

} // namespace glasshob
