// The conversion for processors with 32-byte vectors (AVX2), to the same bits as the plain one: 32 pixels of two rows
// at a time. What a row has over goes through blocks of its own, so that nothing outside the picture is touched.

#include "GlassHobRender/formats/FrameConverter.h"

#if defined(__x86_64__)

#include <algorithm>
#include <cstring>
#include <immintrin.h>
#include <vector>

#define GLASSHOB_AVX2 __attribute__((target("avx2")))

namespace glasshob::FrameConverter {

namespace {

constexpr int blockPixels = 32;

struct Coefficients {
    __m256i pixelOrder, lumaWeights, blueWeights, redWeights;
};

GLASSHOB_AVX2
__m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// Green comes twice, because its weight is more than a signed byte holds.
GLASSHOB_AVX2
Coefficients coefficients() {
    return {_mm256_setr_epi8(0, 1, 2, 1, 4, 5, 6, 5, 8, 9, 10, 9, 12, 13, 14, 13, 0, 1, 2, 1, 4, 5, 6, 5, 8, 9, 10, 9,
                             12, 13, 14, 13),
            _mm256_set1_epi32(16 | 79 << 8 | 47 << 16 | 78 << 24),
            _mm256_setr_epi16(112, -86, -26, 0, 112, -86, -26, 0, 112, -86, -26, 0, 112, -86, -26, 0),
            _mm256_setr_epi16(-10, -102, 112, 0, -10, -102, 112, 0, -10, -102, 112, 0, -10, -102, 112, 0)};
}

// Luma of 32 pixels.
GLASSHOB_AVX2
void lumaBlock(const std::uint8_t* bgra, std::uint8_t* y, const Coefficients& by) {
    __m256i parts[4];
    for (int i = 0; i < 4; ++i)
        parts[i] = _mm256_maddubs_epi16(_mm256_shuffle_epi8(load(bgra + 32 * i), by.pixelOrder), by.lumaWeights);
    const __m256i half = _mm256_set1_epi16(128);
    const __m256i first = _mm256_srli_epi16(_mm256_add_epi16(_mm256_hadd_epi16(parts[0], parts[1]), half), 8);
    const __m256i second = _mm256_srli_epi16(_mm256_add_epi16(_mm256_hadd_epi16(parts[2], parts[3]), half), 8);
    // Both steps above and this one keep to the halves of a vector; the order of fours says where they went.
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(first, second), order);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(y), _mm256_add_epi8(packed, _mm256_set1_epi8(16)));
}

// The sums of 32 pixels of two rows, component by component.
GLASSHOB_AVX2
void sumBlock(const std::uint8_t* upper, const std::uint8_t* lower, std::uint16_t* sums) {
    for (int i = 0; i < 8; ++i) {
        const __m256i a = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + 16 * i)));
        const __m256i b = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + 16 * i)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(sums + 16 * i), _mm256_add_epi16(a, b));
    }
}

// Four chroma samples as blue, green and red out of 255, from the sums of their eight pixels and those around.
GLASSHOB_AVX2
__m256i filtered(const std::uint16_t* sums) {
    const __m256i first = _mm256_add_epi16(load(sums), load(sums - 4));
    const __m256i second = _mm256_add_epi16(load(sums + 16), load(sums + 12));
    const __m256i all = _mm256_add_epi16(_mm256_unpacklo_epi64(first, second), _mm256_unpackhi_epi64(first, second));
    const __m256i rounded = _mm256_srli_epi16(_mm256_add_epi16(all, _mm256_set1_epi16(4)), 3);
    return _mm256_permute4x64_epi64(rounded, 0xD8);
}

GLASSHOB_AVX2
__m256i difference(__m256i a, __m256i b, __m256i weights) {
    const __m256i sum = _mm256_hadd_epi32(_mm256_madd_epi16(a, weights), _mm256_madd_epi16(b, weights));
    const __m256i rounded = _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(128)), 8);
    return _mm256_add_epi32(rounded, _mm256_set1_epi32(128));
}

// Blue and red differences in turn of eight chroma samples, 16 bits each.
GLASSHOB_AVX2
__m256i differences(const std::uint16_t* sums, const Coefficients& by) {
    const __m256i a = filtered(sums);
    const __m256i b = filtered(sums + 32);
    return _mm256_or_si256(difference(a, b, by.blueWeights), _mm256_slli_epi32(difference(a, b, by.redWeights), 16));
}

// Sixteen chroma samples, blue and red in turn.
GLASSHOB_AVX2
__m256i chromaBlock(const std::uint16_t* sums, const Coefficients& by) {
    const __m256i packed = _mm256_packus_epi16(differences(sums, by), differences(sums + 64, by));
    return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// The same, all blue ones first.
GLASSHOB_AVX2
__m256i parted(__m256i chroma) {
    const __m256i order = _mm256_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10, 12,
                                           14, 1, 3, 5, 7, 9, 11, 13, 15);
    return _mm256_permute4x64_epi64(_mm256_shuffle_epi8(chroma, order), 0xD8);
}

GLASSHOB_AVX2
void lumaRow(const std::uint8_t* bgra, int width, std::uint8_t* y, const Coefficients& by) {
    int x = 0;
    for (; x + blockPixels <= width; x += blockPixels)
        lumaBlock(bgra + 4 * x, y + x, by);
    if (x == width) return;
    std::uint8_t pixels[4 * blockPixels] = {}, luma[blockPixels];
    std::memcpy(pixels, bgra + 4 * x, 4 * std::size_t(width - x));
    lumaBlock(pixels, luma, by);
    std::memcpy(y + x, luma, std::size_t(width - x));
}

// `sums` has room for whole blocks, and a pixel before the first.
GLASSHOB_AVX2
void sumRow(const std::uint8_t* upper, const std::uint8_t* lower, int width, std::uint16_t* sums) {
    int x = 0;
    for (; x + blockPixels <= width; x += blockPixels)
        sumBlock(upper + 4 * x, lower + 4 * x, sums + 4 * x);
    if (x < width) {
        std::uint8_t rows[2][4 * blockPixels] = {};
        std::memcpy(rows[0], upper + 4 * x, 4 * std::size_t(width - x));
        std::memcpy(rows[1], lower + 4 * x, 4 * std::size_t(width - x));
        sumBlock(rows[0], rows[1], sums + 4 * x);
    }
    std::copy_n(sums, 4, sums - 4);
    std::copy_n(sums + 4 * (width - 1), 4, sums + 4 * width);
}

GLASSHOB_AVX2
void chromaRow(const std::uint16_t* sums, int chromaWidth, std::uint8_t* u, std::uint8_t* v, const Coefficients& by) {
    constexpr int block = blockPixels / 2;
    for (int c = 0; c < chromaWidth; c += block) {
        const auto count = std::size_t(std::min(block, chromaWidth - c));
        const __m256i chroma = chromaBlock(sums + 8 * c, by);
        std::uint8_t bytes[2 * block];
        if (v != nullptr) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), parted(chroma));
            std::memcpy(u + c, bytes, count);
            std::memcpy(v + c, bytes + block, count);
        } else if (count == block) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(u + 2 * c), chroma);
        } else {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), chroma);
            std::memcpy(u + 2 * c, bytes, 2 * count);
        }
    }
}

GLASSHOB_AVX2
void convertRows(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes) {
    const Coefficients by = coefficients();
    const int padded = (width + blockPixels) / blockPixels * blockPixels + blockPixels;
    std::vector<std::uint16_t> buffer(4 * std::size_t(padded + 1));
    std::uint16_t* sums = buffer.data() + 4;
    for (int row = 0; row < height; row += 2) {
        const std::uint8_t* upper = bgra + std::size_t(row) * rowBytes;
        const std::uint8_t* lower = row + 1 < height ? upper + rowBytes : upper;
        lumaRow(upper, width, planes.y + std::size_t(row) * planes.yStride, by);
        if (row + 1 < height) lumaRow(lower, width, planes.y + std::size_t(row + 1) * planes.yStride, by);
        sumRow(upper, lower, width, sums);
        const auto chroma = std::size_t(row / 2);
        chromaRow(sums, (width + 1) / 2, planes.u + chroma * planes.uStride,
                  planes.v != nullptr ? planes.v + chroma * planes.vStride : nullptr, by);
    }
}

} // namespace

bool convertWide(const std::uint8_t* bgra, std::size_t rowBytes, int width, int height, const Planes& planes) {
    if (!__builtin_cpu_supports("avx2")) return false;
    convertRows(bgra, rowBytes, width, height, planes);
    return true;
}

} // namespace glasshob::FrameConverter

#else

namespace glasshob::FrameConverter {

bool convertWide(const std::uint8_t*, std::size_t, int, int, const Planes&) {
    return false;
}

} // namespace glasshob::FrameConverter

#endif
