#pragma once

// The blocks of bytes that the host hands to a shader's entry points, laid out exactly as the assembled source
// declares them. Plain values.

#include <cstddef>
#include <cstdint>

namespace glasshob {

// `Uniforms`: filled for every frame.
struct GHUniforms {
    // Size of the picture in pixels.
    float resolution[2] = {0, 0};
    // Seconds of shader time, and since the previous frame.
    float time = 0;
    float timeDelta = 0;
    // Position of the pointer.
    float mouse[2] = {0, 0};
    std::uint32_t frame = 0;
    std::uint32_t pad = 0;
};
static_assert(sizeof(GHUniforms) == 32 && alignof(GHUniforms) == 4);
static_assert(offsetof(GHUniforms, resolution) == 0);
static_assert(offsetof(GHUniforms, time) == 8);
static_assert(offsetof(GHUniforms, timeDelta) == 12);
static_assert(offsetof(GHUniforms, mouse) == 16);
static_assert(offsetof(GHUniforms, frame) == 24);
static_assert(offsetof(GHUniforms, pad) == 28);

// `SoundUniforms`: one dispatch of the sound kernel.
struct SoundUniforms {
    // Time of the first sample in seconds.
    float start = 0;
    // Samples per second.
    float rate = 48000;
    std::uint32_t count = 0;
    std::uint32_t pad = 0;
};
static_assert(sizeof(SoundUniforms) == 16 && alignof(SoundUniforms) == 4);
static_assert(offsetof(SoundUniforms, start) == 0);
static_assert(offsetof(SoundUniforms, rate) == 4);
static_assert(offsetof(SoundUniforms, count) == 8);
static_assert(offsetof(SoundUniforms, pad) == 12);

} // namespace glasshob
