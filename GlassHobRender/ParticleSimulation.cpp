#include "GlassHobRender/ParticleSimulation.h"

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/ShaderProgram.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace glasshob {
namespace {

// How many times a side of the picture the viewport is, so that the centre of every dot that touches the picture lies
// inside: a power of two, which keeps positions exact, or what the device has. 1 where it has too little.
float guardFor(std::int64_t side, std::int64_t largestViewport) {
    const double needed = double(side) + double(ParticleSimulation::largestDot) + 2;
    if (needed > double(largestViewport)) return 1;
    float guard = 2;
    while (double(side) * double(guard) < needed)
        guard *= 2;
    return float(std::min(double(guard), double(largestViewport) / double(side)));
}

std::shared_ptr<gpu::Texture> makeTrails(gpu::Device& device, std::int64_t width, std::int64_t height) {
    gpu::TextureDescriptor descriptor;
    descriptor.format = gpu::PixelFormat::rgba16Float;
    descriptor.width = std::uint32_t(width);
    descriptor.height = std::uint32_t(height);
    descriptor.usage = {.shaderRead = true, .renderTarget = true};
    const auto made = device.makeTexture(descriptor);
    return made ? *made : nullptr;
}

} // namespace

ParticleSimulation::ParticleSimulation(std::shared_ptr<const ShaderProgram> program, std::int64_t width,
                                       std::int64_t height)
    : program_(std::move(program)), width_(width), height_(height) {}

std::unique_ptr<ParticleSimulation> ParticleSimulation::make(std::shared_ptr<const ShaderProgram> program,
                                                             gpu::Device& device, std::int64_t width,
                                                             std::int64_t height) {
    const ParticlePipelines* pipelines = program->particles();
    const std::int64_t limit = device.maxTextureSize();
    if (pipelines == nullptr || width < 1 || height < 1 || width > limit || height > limit) return nullptr;
    std::unique_ptr<ParticleSimulation> made(new ParticleSimulation(std::move(program), width, height));
    const auto buffer =
        device.makeBuffer(std::size_t(pipelines->count * pipelines->stride), gpu::StorageMode::privateToDevice);
    if (!buffer) return nullptr;
    made->particles_ = *buffer;
    for (auto& trails : made->trails_) {
        trails = makeTrails(device, width, height);
        if (trails == nullptr) return nullptr;
    }
    const std::int64_t viewport = device.maxViewportSize();
    made->dots_ = {.guard = {guardFor(width, viewport), guardFor(height, viewport)},
                   .largestPoint = std::min(device.largestPoint(), largestDot),
                   .count = std::uint32_t(pipelines->count)};
    if (made->dots_.guard[0] == 1 || made->dots_.guard[1] == 1) {
        if (pipelines->quads == nullptr) return nullptr;
        made->dots_.largestPoint = 0; // squares need no room around the picture
    }
    if (pipelines->quads != nullptr) {
        const auto counts = device.makeBuffer(4 * sizeof(std::uint32_t), gpu::StorageMode::privateToDevice);
        if (!counts) return nullptr;
        made->quadCounts_ = *counts;
    }
    return made;
}

std::int64_t ParticleSimulation::stepIndex(double time) {
    const double step = std::round(time * stepsPerSecond);
    if (!(step > 0)) return 0;
    constexpr double most = 9.0e18;
    return static_cast<std::int64_t>(std::min(step, most));
}

void ParticleSimulation::encode(std::int64_t target, gpu::CommandBuffer& commandBuffer, const SliderValues& values,
                                const float* mouse, std::int64_t maxSteps) {
    if (target < step_) reset();
    const std::vector<float> floats = program_->parameterFloats(values);
    for (std::int64_t done = 0; step_ < target && done < maxSteps; ++done)
        if (!encodeStep(step_ + 1, commandBuffer, floats, mouse)) return;
}

bool ParticleSimulation::encodeStep(std::int64_t step, gpu::CommandBuffer& commandBuffer,
                                    const std::vector<float>& floats, const float* mouse) {
    GHUniforms uniforms;
    uniforms.resolution[0] = float(width_);
    uniforms.resolution[1] = float(height_);
    uniforms.time = float(step) / 60.0F;
    uniforms.timeDelta = 1.0F / 60.0F;
    uniforms.mouse[0] = mouse != nullptr ? mouse[0] : uniforms.resolution[0] * 0.5F;
    uniforms.mouse[1] = mouse != nullptr ? mouse[1] : uniforms.resolution[1] * 0.5F;
    uniforms.frame = std::uint32_t(step);
    return encodeParticles(step, commandBuffer, uniforms, floats) &&
           encodePicture(step, commandBuffer, uniforms, floats);
}

bool ParticleSimulation::encodeParticles(std::int64_t step, gpu::CommandBuffer& commandBuffer,
                                         const GHUniforms& uniforms, const std::vector<float>& floats) {
    const ParticlePipelines& pipelines = *program_->particles();
    gpu::ComputeCommandEncoder* encoder = commandBuffer.makeComputeCommandEncoder();
    if (encoder == nullptr) return false;
    const std::size_t floatBytes = floats.size() * sizeof(float);
    encoder->setBuffer(particles_, 0, 0);
    if (step == 0) {
        encoder->setComputePipelineState(pipelines.spawn);
        encoder->setBytes(floats.data(), floatBytes, 1);
        encoder->setBytes(&dots_.count, sizeof dots_.count, 2);
    } else {
        encoder->setComputePipelineState(pipelines.update);
        encoder->setBytes(&uniforms, sizeof uniforms, 1);
        encoder->setBytes(floats.data(), floatBytes, 2);
        encoder->setBytes(&dots_.count, sizeof dots_.count, 3);
    }
    encoder->dispatchThreads({dots_.count, 1, 1});
    if (quadCounts_ != nullptr) {
        encoder->setComputePipelineState(pipelines.reset);
        encoder->setBuffer(quadCounts_, 0, 0);
        encoder->dispatchThreads({4, 1, 1});
        encoder->setComputePipelineState(pipelines.scan);
        encoder->setBuffer(particles_, 0, 0);
        encoder->setBytes(&uniforms, sizeof uniforms, 1);
        encoder->setBytes(floats.data(), floatBytes, 2);
        encoder->setBytes(&dots_, sizeof dots_, 3);
        encoder->setBuffer(quadCounts_, 0, 4);
        encoder->dispatchThreads({dots_.count, 1, 1});
    }
    encoder->endEncoding();
    return true;
}

bool ParticleSimulation::encodePicture(std::int64_t step, gpu::CommandBuffer& commandBuffer, const GHUniforms& uniforms,
                                       const std::vector<float>& floats) {
    const ParticlePipelines& pipelines = *program_->particles();
    const std::size_t floatBytes = floats.size() * sizeof(float);
    const unsigned target = step == 0 ? current_ : 1 - current_;
    const bool fades = step > 0 && pipelines.fade != nullptr;
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = trails_[target];
    pass.colorAttachments[0].loadAction =
        fades && program_->coversTarget() ? gpu::LoadAction::dontCare : gpu::LoadAction::clear;
    pass.colorAttachments[0].clearColor = {0, 0, 0, 0};
    gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
    if (encoder == nullptr) return false;
    if (fades) {
        encoder->setRenderPipelineState(pipelines.fade);
        encoder->setFragmentTexture(trails_[current_], 0);
        encoder->setFragmentBytes(&uniforms, sizeof uniforms, 0);
        encoder->setFragmentBytes(floats.data(), floatBytes, 1);
        encoder->drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
    }
    const auto width = double(width_);
    const auto height = double(height_);
    const double guardX = dots_.guard[0], guardY = dots_.guard[1];
    encoder->setViewport({.originX = -width * (guardX - 1) / 2,
                          .originY = -height * (guardY - 1) / 2,
                          .width = width * guardX,
                          .height = height * guardY});
    encoder->setRenderPipelineState(pipelines.dots);
    encoder->setVertexBuffer(particles_, 0, 0);
    encoder->setVertexBytes(&uniforms, sizeof uniforms, 1);
    encoder->setVertexBytes(floats.data(), floatBytes, 2);
    encoder->setVertexBytes(&dots_, sizeof dots_, 3);
    encoder->setFragmentBuffer(particles_, 0, 0);
    encoder->setFragmentBytes(&uniforms, sizeof uniforms, 1);
    encoder->setFragmentBytes(floats.data(), floatBytes, 2);
    encoder->drawPrimitives(gpu::PrimitiveType::point, 0, dots_.count);
    if (quadCounts_ != nullptr) {
        encoder->setRenderPipelineState(pipelines.quads);
        encoder->drawPrimitives(gpu::PrimitiveType::triangleStrip, quadCounts_, 0);
    }
    encoder->endEncoding();
    current_ = target;
    step_ = step;
    return true;
}

bool ParticleSimulation::advance(std::int64_t target, gpu::CommandQueue& queue, const SliderValues& values,
                                 const float* mouse, const std::stop_token& stop) {
    using Clock = std::chrono::steady_clock;
    // Pieces of about this length let frames of the live picture through in between.
    constexpr std::chrono::milliseconds wanted{30};
    if (target < step_) reset();
    std::int64_t piece = 4;
    while (step_ < target) {
        if (stop.stop_requested()) return false;
        const std::shared_ptr<gpu::CommandBuffer> commands = queue.commandBuffer();
        if (commands == nullptr) return false;
        const std::int64_t before = step_;
        const auto start = Clock::now();
        encode(std::min(target, step_ + piece), *commands, values, mouse);
        if (step_ == before) return false;
        commands->commit();
        commands->waitUntilCompleted();
        if (commands->status() != gpu::CommandBufferStatus::completed) return false;
        const auto took = Clock::now() - start;
        if (took < wanted / 2)
            piece = std::min(piece * 2, largestPiece);
        else if (took > wanted * 2)
            piece = std::max<std::int64_t>(piece / 2, 1);
    }
    return true;
}

} // namespace glasshob
