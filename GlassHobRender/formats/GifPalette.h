#pragma once

// The few colours that stand for all of a picture, and which of them is nearest to any other. A palette that follows a
// moving picture changes no more than the picture needs: colours that stay are what keeps still parts still. Used by
// one thread.

#include <array>
#include <cstdint>
#include <vector>

namespace glasshob {

struct RgbColor {
    std::uint8_t red = 0, green = 0, blue = 0;
    bool operator==(const RgbColor&) const = default;
};

class GifPalette {
  public:
    // The colours; one index is left over, for pixels that stay as they are.
    static constexpr int size = 255;

    GifPalette();

    // Fits the colours to a picture of blue, green, red and alpha bytes, if those that are there fit it badly.
    void follow(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height);

    RgbColor color(int index) const;
    // Components from 0 to 255.
    int nearest(int red, int green, int blue);

  private:
    struct Point {
        std::int32_t color[3];
        float weight;
    };
    // Parallel arrays, padded with colours that nothing is near to.
    struct Colors {
        alignas(32) std::array<std::int32_t, 256> component[3];
    };
    struct Remembered {
        std::uint32_t color = ~0U;
        std::uint32_t index = 0;
    };

    void sample(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height);
    Colors cut() const;
    Colors refined(const Colors& colors) const;
    double error(const Colors& colors) const;
    static std::uint32_t nearestKey(const Colors& colors, std::int32_t red, std::int32_t green, std::int32_t blue);

    Colors colors_;
    bool isEmpty_ = true;
    double errorWhenCut_ = 0;
    std::uint32_t turn_ = 0;
    std::vector<std::uint32_t> seen_;
    std::vector<Point> points_;
    std::vector<Remembered> memory_;
};

} // namespace glasshob
