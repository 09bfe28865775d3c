#pragma once

// The intermediate pictures of one program at one pixel size, and the work that comes before the picture pass. A
// per-pixel shader draws straight into its target and needs no run.
//
// Made for one program and size, never resized; used by one thread at a time (each drawer makes its own). make() gives
// null when the program needs no run or none can be made; the drawer then draws the picture pass with a null run.

#include "GPU/Texture.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/program/MeshTarget.h"
#include "GlassHobRender/program/ParticleSimulation.h"

#include <cstdint>
#include <memory>
#include <stop_token>

namespace gpu {
class CommandBuffer;
class CommandQueue;
class Device;
} // namespace gpu

namespace glasshob {

class ShaderProgram;

class ShaderRun {
  public:
    static constexpr std::int64_t noStepLimit = ParticleSimulation::noStepLimit;

    // Whether drawers of the program must make a run.
    static bool needsRun(const ShaderProgram& program);

    static std::unique_ptr<ShaderRun> make(std::shared_ptr<const ShaderProgram> program,
                                           const std::shared_ptr<gpu::Device>& device, std::int64_t width,
                                           std::int64_t height);

    const std::shared_ptr<const ShaderProgram>& program() const { return program_; }
    std::int64_t width() const { return width_; }
    std::int64_t height() const { return height_; }

    // What the picture pass samples; null when there is nothing.
    std::shared_ptr<gpu::Texture> pictureTexture() const;

    // Records the frame's work before the picture pass; at most `maxSteps` simulation steps. Does not commit.
    void encode(const GHUniforms& uniforms, gpu::CommandBuffer& commandBuffer, const SliderValues& values,
                std::int64_t maxSteps = noStepLimit);

    // Runs the simulation steps that lie before the frame at `time` and waits for them, in pieces; `stop` is looked at
    // between them. True when caught up, which a grid always is.
    bool catchUp(gpu::CommandQueue& queue, const SliderValues& values, const float* mouse, double time,
                 const std::stop_token& stop = {});

    // Null for a grid.
    const ParticleSimulation* simulation() const { return simulation_.get(); }

    ~ShaderRun();

  private:
    void encodeMesh(const GHUniforms& uniforms, gpu::CommandBuffer& commandBuffer, const SliderValues& values);

    ShaderRun(std::shared_ptr<const ShaderProgram> program, std::int64_t width, std::int64_t height);

    std::shared_ptr<const ShaderProgram> program_;
    std::int64_t width_;
    std::int64_t height_;
    // One of the two.
    std::unique_ptr<ParticleSimulation> simulation_;
    std::unique_ptr<MeshTarget> mesh_;
};

} // namespace glasshob
