#include "GlassHobRender/formats/GifSink.h"

#include "GlassHobRender/formats/GifCompression.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace glasshob {

namespace {

constexpr int unchanged = GifPalette::size; // the index of pixels that stay

void append(std::vector<std::byte>& bytes, std::initializer_list<int> values) {
    for (const int value : values)
        bytes.push_back(std::byte(value));
}
void append16(std::vector<std::byte>& bytes, int value) {
    append(bytes, {value & 255, value >> 8});
}
void append(std::vector<std::byte>& bytes, std::string_view text) {
    for (const char letter : text)
        bytes.push_back(std::byte(letter));
}

} // namespace

GifSink::GifSink(ByteOutput output, std::int64_t width, std::int64_t height, std::int64_t fps)
    : output_(std::move(output)), width_(int(width)), height_(int(height)), fps_(fps),
      indices_(std::size_t(width) * std::size_t(height)), shown_(indices_.size()),
      errors_(2 * 3 * (std::size_t(width) + 2)) {
    append(bytes_, "GIF89a");
    append16(bytes_, width_);
    append16(bytes_, height_);
    append(bytes_, {0x70, 0, 0}); // 8 bits a colour; no colours of the whole
    append(bytes_, {0x21, 0xFF, 11});
    append(bytes_, "NETSCAPE2.0");
    append(bytes_, {3, 1, 0, 0, 0}); // again and again
}

// What a pixel's colour lacks goes on: half to the next one, a quarter each to two of the row below. Parts of a step
// are dropped, so that slight differences come to rest and still parts of a picture stay still.
void GifSink::dither(const std::uint8_t* bgra, std::size_t rowBytes) {
    std::ranges::fill(errors_, 0);
    std::int32_t* current = errors_.data();
    std::int32_t* below = current + 3 * (width_ + 2);
    for (int y = 0; y < height_; ++y) {
        const std::uint8_t* row = bgra + std::size_t(y) * rowBytes;
        std::fill_n(below, 3 * (width_ + 2), 0);
        for (int x = 0; x < width_; ++x) {
            std::int32_t* here = current + 3 * (x + 1);
            int wanted[3];
            for (int c = 0; c < 3; ++c)
                wanted[c] = std::clamp(row[4 * x + 2 - c] + here[c], 0, 255);
            const int index = palette_.nearest(wanted[0], wanted[1], wanted[2]);
            const RgbColor color = palette_.color(index);
            const int got[3] = {color.red, color.green, color.blue};
            for (int c = 0; c < 3; ++c) {
                const int lacks = wanted[c] - got[c];
                here[3 + c] += lacks / 2;
                std::int32_t* under = below + 3 * (x + 1) + c;
                under[-3] += lacks / 4;
                under[0] += lacks / 4;
            }
            indices_[std::size_t(y) * std::size_t(width_) + std::size_t(x)] = std::uint8_t(index);
        }
        std::swap(current, below);
    }
}

// Marks the pixels that have the colour already, and finds the smallest part that has all others.
GifSink::Part GifSink::changedPart() {
    if (count_ == 0) {
        for (std::size_t i = 0; i < indices_.size(); ++i)
            shown_[i] = palette_.color(indices_[i]);
        return {0, 0, width_, height_};
    }
    Part part{width_, height_, 0, 0};
    std::size_t i = 0;
    for (int y = 0; y < height_; ++y)
        for (int x = 0; x < width_; ++x, ++i) {
            const RgbColor color = palette_.color(indices_[i]);
            if (color == shown_[i]) {
                indices_[i] = unchanged;
                continue;
            }
            shown_[i] = color;
            part = {std::min(part.left, x), std::min(part.top, y), std::max(part.right, x + 1),
                    std::max(part.bottom, y + 1)};
        }
    return part.right == 0 ? Part{0, 0, 1, 1} : part;
}

void GifSink::appendFrame(const Part& part, int delay) {
    append(bytes_, {0x21, 0xF9, 4, 0x05}); // stays when the next one comes; one index is transparent
    append16(bytes_, delay);
    append(bytes_, {unchanged, 0, 0x2C});
    const int width = part.right - part.left;
    const int height = part.bottom - part.top;
    for (const int value : {part.left, part.top, width, height})
        append16(bytes_, value);
    append(bytes_, {0x87}); // 256 colours of its own follow
    for (int i = 0; i < GifPalette::size; ++i) {
        const RgbColor color = palette_.color(i);
        append(bytes_, {color.red, color.green, color.blue});
    }
    append(bytes_, {0, 0, 0});
    std::vector<std::uint8_t> values;
    values.reserve(std::size_t(width) * std::size_t(height));
    for (int y = part.top; y < part.bottom; ++y) {
        const auto row = indices_.begin() + std::ptrdiff_t(y) * width_;
        values.insert(values.end(), row + part.left, row + part.right);
    }
    GifCompression::append(bytes_, values);
}

std::expected<void, ExportError> GifSink::write(std::int64_t, const std::byte* pixels, std::size_t rowBytes,
                                                const std::stop_token& stop) {
    const auto* bgra = reinterpret_cast<const std::uint8_t*>(pixels);
    palette_.follow(bgra, rowBytes, width_, height_);
    dither(bgra, rowBytes);
    const Part part = changedPart();
    const auto moment = [this](std::int64_t frame) { return (200 * frame + fps_) / (2 * fps_); };
    appendFrame(part, int(moment(count_ + 1) - moment(count_)));
    ++count_;
    const auto written = output_.write(bytes_, stop);
    bytes_.clear();
    if (!written) return std::unexpected(ExportError(written.error()));
    return {};
}

std::expected<void, ExportError> GifSink::finish(const std::stop_token&) {
    append(bytes_, {0x3B});
    if (auto written = output_.write(bytes_); !written) return std::unexpected(ExportError(std::move(written.error())));
    if (auto closed = output_.close(); !closed) return std::unexpected(ExportError(std::move(closed.error())));
    return {};
}

} // namespace glasshob
