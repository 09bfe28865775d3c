#include "GlassHobRender/formats/Y4mSink.h"

#include "GlassHobRender/formats/FrameConverter.h"

#include <cstring>

namespace glasshob {

namespace {

constexpr char frameHeader[] = "FRAME\n";
constexpr std::size_t frameHeaderSize = sizeof frameHeader - 1;

} // namespace

Y4mSink::Y4mSink(ByteOutput output, std::int64_t width, std::int64_t height, std::int64_t fps)
    : output_(std::move(output)), width_(int(width)), height_(int(height)),
      header_("YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F" + std::to_string(fps) +
              ":1 Ip A1:1 C420mpeg2 XYSCSS=420MPEG2 XCOLORRANGE=LIMITED\n") {
    const auto luma = std::size_t(width) * std::size_t(height);
    const auto chroma = std::size_t((width + 1) / 2) * std::size_t((height + 1) / 2);
    frame_.resize(frameHeaderSize + luma + 2 * chroma);
    std::memcpy(frame_.data(), frameHeader, frameHeaderSize);
}

std::expected<void, ExportError> Y4mSink::write(std::int64_t, const std::byte* pixels, std::size_t rowBytes,
                                                const std::stop_token& stop) {
    if (!header_.empty()) {
        if (auto written = output_.write(std::as_bytes(std::span(header_)), stop); !written)
            return std::unexpected(ExportError(std::move(written.error())));
        header_.clear();
    }
    FrameConverter::Planes planes;
    planes.y = reinterpret_cast<std::uint8_t*>(frame_.data()) + frameHeaderSize;
    planes.yStride = std::size_t(width_);
    planes.uStride = planes.vStride = std::size_t((width_ + 1) / 2);
    planes.u = planes.y + planes.yStride * std::size_t(height_);
    planes.v = planes.u + planes.uStride * std::size_t((height_ + 1) / 2);
    FrameConverter::convert(reinterpret_cast<const std::uint8_t*>(pixels), rowBytes, width_, height_, planes);
    if (auto written = output_.write(frame_, stop); !written)
        return std::unexpected(ExportError(std::move(written.error())));
    return {};
}

std::expected<void, ExportError> Y4mSink::finish(const std::stop_token&) {
    if (auto closed = output_.close(); !closed) return std::unexpected(ExportError(std::move(closed.error())));
    return {};
}

} // namespace glasshob
