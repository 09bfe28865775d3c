// Long chains of loops of every kind give what the same loops give here. With its chains unbroken a CPU driver takes ten
// times as long to build this program.
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Kernels.h"

namespace glasshob {
namespace {

using namespace glasshob::testing;

using uint = std::uint32_t;

// A function for this program and its text for the device.
#define FOR_BOTH(NAME, ...)                                                                                            \
    uint NAME(uint x, uint n) __VA_ARGS__ constexpr const char* NAME##Text =                                           \
        "uint " #NAME "(uint x, uint n) " #__VA_ARGS__ "\n";

FOR_BOTH(counted, {
    for (uint j = 0; j < n; ++j)
        x = x * 3 + j;
    return x;
})

FOR_BOTH(broken, {
    uint turns = n / 2;
    while (true) {
        if (turns > (x & 7)) break;
        ++turns;
        if (x % 3 == 0) {
            x += 2;
            continue;
        }
        x += turns;
    }
    do {
        x -= 1;
    } while (x % 5 != 0);
    return x;
})

FOR_BOTH(left, {
    for (uint j = 0; j < n; ++j) {
        if (x % 7 == 3) return x + j;
        x = x * 3 + 1;
        switch (x % 4) {
        case 0: x += 1; break;
        case 1: continue;
        default: x ^= j;
        }
    }
    return x;
})

FOR_BOTH(nested, {
    for (uint j = 0; j < n % 3; ++j) {
        for (uint k = 0; k < n; ++k)
            x = x * 5 + k;
        for (uint k = 0; k < 40; ++k)
            x ^= x >> 3;
    }
    return x;
})

FOR_BOTH(chain, {
    x = counted(x, n);
    x = counted(x, n + 1);
    x = counted(x, n + 2);
    x = counted(x, n + 3);
    x = counted(x, n + 4);
    x = counted(x, n + 5);
    x = counted(x, n + 6);
    x = counted(x, n + 7);
    x = counted(x, n + 8);
    x = counted(x, n + 9);
    x = counted(x, n + 10);
    x = counted(x, n + 11);
    x = counted(x, n + 12);
    x = broken(x, n);
    if (x % 2 == 0) {
        x = left(x, n + 1);
        x = counted(x, n % 4);
    } else {
        x = broken(x, n);
    }
    for (uint j = 0; j < n; ++j)
        x += j * x;
    return left(x, n * 2);
})

#undef FOR_BOTH

// One run of the chains for each pixel, as the number of its colour: the picture's stage is where chains cost most.
TEST(LoopChains, GiveWhatLoopsGive) {
    const std::string source = std::string(countedText) + brokenText + leftText + nestedText + chainText +
                               R"(
float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {
    uint i = uint(uv.y * 8) * 8 + uint(uv.x * 8);
    uint x = nested(i, i % 6);
    x = chain(x, i % 9);
    x = chain(x, i % 5);
    x = chain(x, i % 7);
    x = chain(x, i % 2);
    return float4(float3((uint3(x) >> uint3(0, 8, 16)) & 255) / 255.0, 1);
})";
    const auto gpu = device();
    const auto made = program(source, gpu);
    ASSERT_NE(made, nullptr);
    const auto image = StillRenderer::render(made, gpu, 8, 8, 0, {}, 0);
    ASSERT_TRUE(image);
    for (uint i = 0; i < 64; ++i) {
        const uint expected = chain(chain(chain(chain(nested(i, i % 6), i % 9), i % 5), i % 7), i % 2);
        const auto* pixel = &image->bytes[((7 - i / 8) * 8 + i % 8) * 4]; // blue, green, red
        EXPECT_EQ(uint(pixel[2]) | uint(pixel[1]) << 8 | uint(pixel[0]) << 16, expected & 0xFFFFFF) << "pixel " << i;
    }
}

} // namespace
} // namespace glasshob
