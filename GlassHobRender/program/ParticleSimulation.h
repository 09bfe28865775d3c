#pragma once

// The particles of one program at one picture size, and the picture of their trails, advanced in steps of 1/60 s. Step
// 0 spawns the particles; every later step updates them, fades the previous trails into the other texture and adds the
// particles as dots. The state depends on every step before it, so a time that lies earlier is replayed from the spawn,
// and a replay gives the same bits.
//
// Dots come out the same on every device: a size of 0 or below, or one that is no number, draws nothing; others draw a
// square of 1 to 511 pixels wherever it touches the picture. Devices differ on points whose centre lies outside, so the
// viewport is wider than the picture; and they cut large points down silently, so what is larger than the device's
// largest point is drawn as squares, after the points. Where the viewport cannot be wide enough, squares are all there
// is: they need no room around the picture.
//
// Where one buffer cannot hold all particles, as a function reaches only so much through one argument, they lie in
// several: each is stepped and drawn by itself, in the order of the particles.
//
// Used by one thread at a time, the one that draws its run. All particle data stays on the GPU. make() gives null when
// the program has no particles, a side is below 1, or there is no memory.

#include "GPU/Buffer.h"
#include "GPU/Texture.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/program/DotFunctions.h"
#include "GlassHobRender/program/ShaderProgram.h"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

namespace gpu {
class CommandBuffer;
class CommandQueue;
class ComputeCommandEncoder;
class Device;
class RenderCommandEncoder;
} // namespace gpu

namespace glasshob {

class ParticleSimulation {
  public:
    static constexpr std::int64_t noStepLimit = std::numeric_limits<std::int64_t>::max();
    static constexpr double stepsPerSecond = 60.0;
    // Most steps in one command buffer of advance().
    static constexpr std::int64_t largestPiece = 240;
    // Side of the largest dot in pixels.
    static constexpr float largestDot = 511.0F;

    static std::unique_ptr<ParticleSimulation> make(std::shared_ptr<const ShaderProgram> program, gpu::Device& device,
                                                    std::int64_t width, std::int64_t height);

    // The step that stands for a time in seconds; 0 for negative times and those that are no number.
    static std::int64_t stepIndex(double time);

    // The last step that was recorded; -1 before the spawn.
    std::int64_t step() const { return step_; }
    const std::shared_ptr<gpu::Texture>& picture() const { return trails_[current_]; }
    // The buffers of particles in their order.
    std::vector<std::shared_ptr<gpu::Buffer>> particles() const;

    // Records the steps after step() up to `target`, at most `maxSteps` of them. A target before step() starts from
    // the spawn. `mouse` may be null: the centre. Does not commit.
    void encode(std::int64_t target, gpu::CommandBuffer& commandBuffer, const SliderValues& values, const float* mouse,
                std::int64_t maxSteps = noStepLimit);

    // Brings the simulation to `target` and waits for it, in pieces between which the device does other work and
    // `stop` is looked at. False when the GPU failed or it was stopped.
    bool advance(std::int64_t target, gpu::CommandQueue& queue, const SliderValues& values, const float* mouse,
                 const std::stop_token& stop = {});

    void reset() { step_ = -1; }

  private:
    struct Piece {
        DotPass pass;
        std::shared_ptr<gpu::Buffer> particles;
        std::shared_ptr<gpu::Buffer> squareCounts; // of the indirect draw; null without squares
    };

    ParticleSimulation(std::shared_ptr<const ShaderProgram> program, std::int64_t width, std::int64_t height);
    bool makePieces(gpu::Device& device);
    bool encodeStep(std::int64_t step, gpu::CommandBuffer& commandBuffer, const ParameterArgument& parameters,
                    const float* mouse);
    bool encodeParticles(std::int64_t step, gpu::CommandBuffer& commandBuffer, const GHUniforms& uniforms,
                         const ParameterArgument& parameters);
    void encodeScan(const Piece& piece, gpu::ComputeCommandEncoder& encoder, const GHUniforms& uniforms,
                    const ParameterArgument& parameters) const;
    bool encodePicture(std::int64_t step, gpu::CommandBuffer& commandBuffer, const GHUniforms& uniforms,
                       const ParameterArgument& parameters);
    void encodeDots(gpu::RenderCommandEncoder& encoder, const GHUniforms& uniforms,
                    const ParameterArgument& parameters) const;

    std::shared_ptr<const ShaderProgram> program_;
    std::int64_t width_;
    std::int64_t height_;
    std::int64_t step_ = -1;
    unsigned current_ = 0; // which of the trails holds the latest picture
    std::array<float, 2> guard_{1, 1};
    float largestPoint_ = 0; // larger dots are squares
    std::optional<SquarePipelines> squares_;
    std::vector<Piece> pieces_;
    std::array<std::shared_ptr<gpu::Texture>, 2> trails_;
};

} // namespace glasshob
