#include "GlassHobRender/formats/FrameConverter.h"

#include <algorithm>
#include <vector>

namespace glasshob::FrameConverter {

namespace {

void lumaRow(const std::uint8_t* bgra, int width, std::uint8_t* y) {
    for (int x = 0; x < width; ++x) {
        const auto sum = std::uint16_t(16 * bgra[4 * x] + 157 * bgra[4 * x + 1] + 47 * bgra[4 * x + 2] + 128);
        y[x] = std::uint8_t((sum >> 8) + 16);
    }
}

// The sums of two rows, one colour after the other: at most 510.
void addRows(const std::uint8_t* upper, const std::uint8_t* lower, int width, std::int16_t* b, std::int16_t* g,
             std::int16_t* r) {
    for (int x = 0; x < width; ++x) {
        b[x] = std::int16_t(upper[4 * x] + lower[4 * x]);
        g[x] = std::int16_t(upper[4 * x + 1] + lower[4 * x + 1]);
        r[x] = std::int16_t(upper[4 * x + 2] + lower[4 * x + 2]);
    }
}

// A quarter of the left neighbour, a half of the even column itself and a quarter of its right neighbour: chroma that
// is sited on the even columns. `sums` has one element before the first and after the last. Out of 255 again.
void filterRow(const std::int16_t* sums, int chromaWidth, std::int16_t* out) {
    for (int c = 0; c < chromaWidth; ++c)
        out[c] = std::int16_t((sums[2 * c - 1] + 2 * sums[2 * c] + sums[2 * c + 1] + 4) >> 3);
}

void chromaRow(const std::int16_t* b, const std::int16_t* g, const std::int16_t* r, int chromaWidth, std::uint8_t* u,
               std::uint8_t* v) {
    for (int c = 0; c < chromaWidth; ++c) {
        u[c] = std::uint8_t(((112 * b[c] - 86 * g[c] - 26 * r[c] + 128) >> 8) + 128);
        v[c] = std::uint8_t(((112 * r[c] - 102 * g[c] - 10 * b[c] + 128) >> 8) + 128);
    }
}

void weave(const std::uint8_t* u, const std::uint8_t* v, int chromaWidth, std::uint8_t* uv) {
    for (int c = 0; c < chromaWidth; ++c) {
        uv[2 * c] = u[c];
        uv[2 * c + 1] = v[c];
    }
}

} // namespace

void convertPlain(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes) {
    const int chromaWidth = (width + 1) / 2;
    const auto padded = std::size_t(width) + 2;
    std::vector<std::int16_t> sums(3 * padded + 3 * std::size_t(chromaWidth));
    std::vector<std::uint8_t> halves(2 * std::size_t(chromaWidth));
    std::int16_t* colors[3] = {&sums[1], &sums[padded + 1], &sums[2 * padded + 1]};
    std::int16_t* filtered[3] = {&sums[3 * padded], &sums[3 * padded + std::size_t(chromaWidth)],
                                 &sums[3 * padded + 2 * std::size_t(chromaWidth)]};
    for (int row = 0; row < height; row += 2) {
        const std::uint8_t* upper = bgra + std::size_t(row) * rowBytes;
        const std::uint8_t* lower = row + 1 < height ? upper + rowBytes : upper;
        lumaRow(upper, width, planes.y + std::size_t(row) * planes.yStride);
        if (row + 1 < height) lumaRow(lower, width, planes.y + std::size_t(row + 1) * planes.yStride);
        addRows(upper, lower, width, colors[0], colors[1], colors[2]);
        for (int i = 0; i < 3; ++i) {
            colors[i][-1] = colors[i][0];
            colors[i][width] = colors[i][width - 1];
            filterRow(colors[i], chromaWidth, filtered[i]);
        }
        const auto chroma = std::size_t(row / 2);
        if (planes.v != nullptr) {
            chromaRow(filtered[0], filtered[1], filtered[2], chromaWidth, planes.u + chroma * planes.uStride,
                      planes.v + chroma * planes.vStride);
        } else {
            std::uint8_t* v = halves.data() + chromaWidth;
            chromaRow(filtered[0], filtered[1], filtered[2], chromaWidth, halves.data(), v);
            weave(halves.data(), v, chromaWidth, planes.u + chroma * planes.uStride);
        }
    }
}

void convert(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes) {
    if (!convertWide(bgra, rowBytes, width, height, planes)) convertPlain(bgra, rowBytes, width, height, planes);
}

} // namespace glasshob::FrameConverter
