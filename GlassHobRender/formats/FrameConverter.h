#pragma once

// Turns frames of blue, green, red and alpha bytes into what video encoders take: 4:2:0 in the Rec. 709 matrix, limited
// range (16 to 235 and 16 to 240), chroma sited left. The red, green and blue are taken as they are: no transfer
// function is applied. Pure; any thread.
//
// The arithmetic is 16 bits wide so that it fills vector registers: coefficients are 256ths, and those of each chroma
// sum up to zero, so that grey has none. (Rec. ITU-R BT.709-6, 3.2 to 3.5.)

#include <cstddef>
#include <cstdint>

namespace glasshob::FrameConverter {

// Planes of a frame: luma width by height, chroma half of each, rounded up.
struct Planes {
    std::uint8_t* y = nullptr;
    std::size_t yStride = 0;
    // With `v` null: blue and red differences in turn (NV12), twice as wide.
    std::uint8_t* u = nullptr;
    std::size_t uStride = 0;
    std::uint8_t* v = nullptr;
    std::size_t vStride = 0;
};

// `bgra` rows are `rowBytes` apart, the top one first.
void convert(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes);

// The two ways in which convert() does it, to the same bits: on any processor, and faster on those with wide vectors,
// where it is true.
void convertPlain(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes);
bool convertWide(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes);

} // namespace glasshob::FrameConverter
