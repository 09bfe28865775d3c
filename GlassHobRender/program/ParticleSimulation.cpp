#include "GlassHobRender/program/ParticleSimulation.h"

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/program/ShaderProgram.h"

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
    auto most = float(double(largestViewport) / double(side));
    if (double(most) * double(side) > double(largestViewport)) most = std::nextafter(most, 0.0F);
    return std::min(guard, most);
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
    for (auto& trails : made->trails_) {
        trails = makeTrails(device, width, height);
        if (trails == nullptr) return nullptr;
    }
    const std::int64_t viewport = device.maxViewportSize();
    made->guard_ = {guardFor(width, viewport), guardFor(height, viewport)};
    made->largestPoint_ = std::min(device.largestPoint(), largestDot);
    if (made->guard_[0] == 1 || made->guard_[1] == 1) made->largestPoint_ = 0;
    return made->makePieces(device) ? std::move(made) : nullptr;
}

bool ParticleSimulation::makePieces(gpu::Device& device) {
    const ParticlePipelines& pipelines = *program_->particles();
    if (largestPoint_ < largestDot) {
        try {
            squares_ = pipelines.squares ? *pipelines.squares : program_->makeSquares();
        } catch (const ShaderError&) {
            return false;
        }
    }
    for (std::int64_t first = 0; first < pipelines.count; first += pipelines.countInPiece) {
        const std::int64_t count = std::min(pipelines.countInPiece, pipelines.count - first);
        Piece& piece = pieces_.emplace_back();
        piece.pass = {.guard = guard_,
                      .largestPoint = largestPoint_,
                      .first = std::uint32_t(first),
                      .end = std::uint32_t(first + count)};
        const auto particles =
            device.makeBuffer(std::size_t(count * pipelines.stride), gpu::StorageMode::privateToDevice);
        if (!particles) return false;
        piece.particles = *particles;
        if (!squares_) continue;
        const auto counts = device.makeBuffer(4 * sizeof(std::uint32_t), gpu::StorageMode::privateToDevice);
        if (!counts) return false;
        piece.squareCounts = *counts;
    }
    return true;
}

std::vector<std::shared_ptr<gpu::Buffer>> ParticleSimulation::particles() const {
    std::vector<std::shared_ptr<gpu::Buffer>> buffers;
    for (const Piece& piece : pieces_)
        buffers.push_back(piece.particles);
    return buffers;
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
    if (step_ == target) return;
    const ParameterArgument parameters = program_->parameterArgument(values);
    for (std::int64_t done = 0; step_ < target && done < maxSteps; ++done)
        if (!encodeStep(step_ + 1, commandBuffer, parameters, mouse)) return;
}

bool ParticleSimulation::encodeStep(std::int64_t step, gpu::CommandBuffer& commandBuffer,
                                    const ParameterArgument& parameters, const float* mouse) {
    GHUniforms uniforms;
    uniforms.resolution[0] = float(width_);
    uniforms.resolution[1] = float(height_);
    uniforms.time = float(step) / 60.0F;
    uniforms.timeDelta = 1.0F / 60.0F;
    uniforms.mouse[0] = mouse != nullptr ? mouse[0] : uniforms.resolution[0] * 0.5F;
    uniforms.mouse[1] = mouse != nullptr ? mouse[1] : uniforms.resolution[1] * 0.5F;
    uniforms.frame = std::uint32_t(step);
    return encodeParticles(step, commandBuffer, uniforms, parameters) &&
           encodePicture(step, commandBuffer, uniforms, parameters);
}

bool ParticleSimulation::encodeParticles(std::int64_t step, gpu::CommandBuffer& commandBuffer,
                                         const GHUniforms& uniforms, const ParameterArgument& parameters) {
    const ParticlePipelines& pipelines = *program_->particles();
    gpu::ComputeCommandEncoder* encoder = commandBuffer.makeComputeCommandEncoder();
    if (encoder == nullptr) return false;
    for (const Piece& piece : pieces_) {
        encoder->setBuffer(piece.particles, 0, 0);
        if (step == 0) {
            encoder->setComputePipelineState(pipelines.spawn);
            parameters.setKernel(*encoder, 1);
            encoder->setBytes(&piece.pass.end, sizeof piece.pass.end, 2);
            encoder->setBytes(&piece.pass, sizeof piece.pass, DotFunctions::spawnPass);
        } else {
            encoder->setComputePipelineState(pipelines.update);
            encoder->setBytes(&uniforms, sizeof uniforms, 1);
            parameters.setKernel(*encoder, 2);
            encoder->setBytes(&piece.pass.end, sizeof piece.pass.end, 3);
            encoder->setBytes(&piece.pass, sizeof piece.pass, DotFunctions::updatePass);
        }
        encoder->dispatchThreads({piece.pass.count(), 1, 1});
        if (squares_) encodeScan(piece, *encoder, uniforms, parameters);
    }
    encoder->endEncoding();
    return true;
}

// Finds out whether the piece has dots that are drawn as squares.
void ParticleSimulation::encodeScan(const Piece& piece, gpu::ComputeCommandEncoder& encoder, const GHUniforms& uniforms,
                                    const ParameterArgument& parameters) const {
    encoder.setComputePipelineState(squares_->reset);
    encoder.setBuffer(piece.squareCounts, 0, 0);
    encoder.dispatchThreads({4, 1, 1});
    encoder.setComputePipelineState(squares_->scan);
    encoder.setBuffer(piece.particles, 0, 0);
    encoder.setBytes(&uniforms, sizeof uniforms, 1);
    parameters.setKernel(encoder, 2);
    encoder.setBytes(&piece.pass, sizeof piece.pass, DotFunctions::drawPass);
    encoder.setBuffer(piece.squareCounts, 0, DotFunctions::squareCounts);
    encoder.dispatchThreads({piece.pass.count(), 1, 1});
}

bool ParticleSimulation::encodePicture(std::int64_t step, gpu::CommandBuffer& commandBuffer, const GHUniforms& uniforms,
                                       const ParameterArgument& parameters) {
    const ParticlePipelines& pipelines = *program_->particles();
    const unsigned target = step == 0 ? current_ : 1 - current_;
    const bool fades = step > 0 && pipelines.fade != nullptr;
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = trails_[target];
    pass.colorAttachments[0].loadAction =
        fades && program_->coversTarget() ? gpu::LoadAction::dontCare : gpu::LoadAction::clear;
    pass.colorAttachments[0].clearColor = {0, 0, 0, 0};
    gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
    if (encoder == nullptr) return false;
    program_->noticeCutLoops(*encoder);
    if (fades) {
        encoder->setRenderPipelineState(pipelines.fade);
        encoder->setFragmentTexture(trails_[current_], 0);
        encoder->setFragmentBytes(&uniforms, sizeof uniforms, 0);
        parameters.setFragment(*encoder, 1);
        encoder->drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
    }
    encodeDots(*encoder, uniforms, parameters);
    encoder->endEncoding();
    current_ = target;
    step_ = step;
    return true;
}

void ParticleSimulation::encodeDots(gpu::RenderCommandEncoder& encoder, const GHUniforms& uniforms,
                                    const ParameterArgument& parameters) const {
    const auto width = double(width_);
    const auto height = double(height_);
    const double guardX = guard_[0], guardY = guard_[1];
    encoder.setViewport({.originX = -width * (guardX - 1) / 2,
                         .originY = -height * (guardY - 1) / 2,
                         .width = width * guardX,
                         .height = height * guardY});
    encoder.setVertexBytes(&uniforms, sizeof uniforms, 1);
    parameters.setVertex(encoder, 2);
    encoder.setFragmentBytes(&uniforms, sizeof uniforms, 1);
    parameters.setFragment(encoder, 2);
    const auto setPiece = [&](const Piece& piece) {
        encoder.setVertexBuffer(piece.particles, 0, 0);
        encoder.setVertexBytes(&piece.pass, sizeof piece.pass, DotFunctions::drawPass);
        encoder.setFragmentBuffer(piece.particles, 0, 0);
        encoder.setFragmentBytes(&piece.pass, sizeof piece.pass, DotFunctions::drawPass);
    };
    if (largestPoint_ > 0) {
        encoder.setRenderPipelineState(program_->particles()->dots);
        for (const Piece& piece : pieces_) {
            setPiece(piece);
            encoder.drawPrimitives(gpu::PrimitiveType::point, piece.pass.first, piece.pass.count());
        }
    }
    if (!squares_) return;
    encoder.setRenderPipelineState(squares_->draw);
    for (const Piece& piece : pieces_) {
        setPiece(piece);
        encoder.drawPrimitives(gpu::PrimitiveType::triangleStrip, piece.squareCounts, 0);
    }
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
