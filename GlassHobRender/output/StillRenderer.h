#pragma once

// Draws one frame of a program off screen, waits for it, and writes it as a PNG file. Any thread; blocks until the GPU
// is done. Every failure of render() gives no image.

#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/output/CatchUpInSteps.h"

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
}

namespace glasshob {

class ShaderProgram;

// An opaque picture: four bytes to a pixel in the order blue, green, red, unused; rows from the top, without gaps.
struct StillImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> bytes;
};

namespace StillRenderer {

// `time` is in seconds; `frame` is the counter that the shader sees. The pointer stands at the centre. A particle
// shader runs through all the time before; `stop` ends that early, without an image, and
// `catchUp` is called on the way.
std::optional<StillImage> render(const std::shared_ptr<const ShaderProgram>& program,
                                 const std::shared_ptr<gpu::Device>& device, std::int64_t width, std::int64_t height,
                                 std::uint32_t frame, const SliderValues& values, float time,
                                 const std::stop_token& stop = {}, const CatchUpInSteps::Told& catchUp = {});

// The bytes of a PNG file: 8-bit RGB without alpha, tagged sRGB. Empty when the image is.
std::string png(const StillImage& image);
// The same of pixels that lie elsewhere, rows `rowBytes` apart.
std::string png(const std::uint8_t* bgra, std::size_t rowBytes, std::int64_t width, std::int64_t height);

// Writes the PNG whole or not at all; the error is a sentence to show.
std::expected<void, std::string> writePNG(const StillImage& image, const std::string& path);

} // namespace StillRenderer
} // namespace glasshob
