#pragma once

// The compression of GIF pictures: codes of 9 to 12 bits for sequences seen before. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace glasshob::GifCompression {

// Appends the image data of 256 possible values: the code size, blocks of at most 255 bytes, and the end.
void append(std::vector<std::byte>& bytes, std::span<const std::uint8_t> values);

} // namespace glasshob::GifCompression
