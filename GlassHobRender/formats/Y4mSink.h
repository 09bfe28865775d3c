#pragma once

// Raw frames for other programs: a YUV4MPEG2 stream of 4:2:0 planes in the Rec. 709 matrix, limited range, chroma sited
// left, at the exact frame rate. Frames come in their order, from one thread at a time.

#include "GlassHobRender/formats/ByteOutput.h"
#include "GlassHobRender/formats/FrameSink.h"

#include <vector>

namespace glasshob {

class Y4mSink : public FrameSink {
  public:
    Y4mSink(ByteOutput output, std::int64_t width, std::int64_t height, std::int64_t fps);

    std::expected<void, ExportError> write(std::int64_t number, const std::byte* pixels, std::size_t rowBytes,
                                           const std::stop_token& stop) override;
    std::expected<void, ExportError> finish(const std::stop_token& stop) override;

  private:
    ByteOutput output_;
    int width_, height_;
    std::string header_; // until it is written
    std::vector<std::byte> frame_;
};

} // namespace glasshob
