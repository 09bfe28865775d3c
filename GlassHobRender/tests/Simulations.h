// What the tests of particles and grids share: a look into what only the GPU sees, and frames of a run.
#pragma once

#include "GlassHobRender/program/ShaderRun.h"
#include "GlassHobRender/tests/Pixels.h"

namespace glasshob::testing {

using Texel = Color;

// The particles of a run as words.
inline std::vector<std::uint32_t> particlesOf(const ShaderRun& run) {
    std::vector<std::uint32_t> all;
    for (const auto& buffer : run.simulation()->particles()) {
        const std::vector<std::uint32_t> words = wordsOf(buffer, run.program()->device());
        all.insert(all.end(), words.begin(), words.end());
    }
    return all;
}

// The picture that a run hands to the picture pass, rows from the top.
inline std::vector<Texel> pictureOf(const ShaderRun& run) {
    return colorsOf(run.pictureTexture(), run.program()->device());
}

// One frame of a run at a time, committed and waited for.
inline void drawFrame(ShaderRun& run, float time, const SliderValues& values = {},
                      std::int64_t maxSteps = ShaderRun::noStepLimit) {
    GHUniforms uniforms;
    uniforms.resolution[0] = float(run.width());
    uniforms.resolution[1] = float(run.height());
    uniforms.time = time;
    uniforms.mouse[0] = uniforms.resolution[0] * 0.5F;
    uniforms.mouse[1] = uniforms.resolution[1] * 0.5F;
    const auto queue = run.program()->device()->makeCommandQueue();
    const auto commands = (*queue)->commandBuffer();
    run.encode(uniforms, *commands, values, maxSteps);
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
}

} // namespace glasshob::testing
