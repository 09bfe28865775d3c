#include "GlassHobRender/program/ShaderRun.h"

#include "GPU/CommandBuffer.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/program/ParameterArgument.h"
#include "GlassHobRender/program/ShaderProgram.h"

namespace glasshob {

ShaderRun::ShaderRun(std::shared_ptr<const ShaderProgram> program, std::int64_t width, std::int64_t height)
    : program_(std::move(program)), width_(width), height_(height) {}

ShaderRun::~ShaderRun() = default;

bool ShaderRun::needsRun(const ShaderProgram& program) {
    return program.particles() != nullptr || program.mesh() != nullptr;
}

std::unique_ptr<ShaderRun> ShaderRun::make(std::shared_ptr<const ShaderProgram> program,
                                           const std::shared_ptr<gpu::Device>& device, std::int64_t width,
                                           std::int64_t height) {
    if (program == nullptr || !needsRun(*program)) return nullptr;
    std::unique_ptr<ShaderRun> run(new ShaderRun(program, width, height));
    if (program->particles() != nullptr)
        run->simulation_ = ParticleSimulation::make(program, *device, width, height);
    else
        run->mesh_ = MeshTarget::make(*device, width, height);
    return run->simulation_ != nullptr || run->mesh_ != nullptr ? std::move(run) : nullptr;
}

std::shared_ptr<gpu::Texture> ShaderRun::pictureTexture() const {
    if (simulation_ != nullptr) return simulation_->picture();
    return mesh_ != nullptr ? mesh_->resolved : nullptr;
}

void ShaderRun::encode(const GHUniforms& uniforms, gpu::CommandBuffer& commandBuffer, const SliderValues& values,
                       std::int64_t maxSteps) {
    if (simulation_ != nullptr)
        simulation_->encode(ParticleSimulation::stepIndex(double(uniforms.time)), commandBuffer, values, uniforms.mouse,
                            maxSteps);
    else
        encodeMesh(uniforms, commandBuffer, values);
}

void ShaderRun::encodeMesh(const GHUniforms& uniforms, gpu::CommandBuffer& commandBuffer, const SliderValues& values) {
    const MeshPipelines& pipelines = *program_->mesh();
    const ParameterArgument parameters = program_->parameterArgument(values);
    const auto cells = std::uint32_t(pipelines.cells);
    gpu::RenderPassDescriptor pass;
    pass.colorAttachments[0] = {.texture = mesh_->color,
                                .resolveTexture = mesh_->resolved,
                                .loadAction = gpu::LoadAction::clear,
                                .storeAction = gpu::StoreAction::multisampleResolve,
                                .clearColor = {0.035, 0.027, 0.031, 1.0}};
    pass.depthAttachment = {.texture = mesh_->depth};
    gpu::RenderCommandEncoder* encoder = commandBuffer.makeRenderCommandEncoder(pass);
    if (encoder == nullptr) return;
    program_->noticeCutLoops(*encoder);
    encoder->setVertexBytes(&uniforms, sizeof uniforms, 0);
    parameters.setVertex(*encoder, 1);
    encoder->setVertexBytes(&cells, sizeof cells, 2);
    encoder->setFragmentBytes(&uniforms, sizeof uniforms, 0);
    parameters.setFragment(*encoder, 1);
    if (pipelines.background != nullptr) {
        encoder->setRenderPipelineState(pipelines.background);
        encoder->setDepthStencilState(pipelines.behind);
        encoder->drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
    }
    encoder->setRenderPipelineState(pipelines.grid);
    encoder->setDepthStencilState(pipelines.depth);
    encoder->drawPrimitives(gpu::PrimitiveType::triangle, 0, cells * cells * 6);
    encoder->endEncoding();
}

bool ShaderRun::catchUp(gpu::CommandQueue& queue, const SliderValues& values, const float* mouse, double time,
                        const std::stop_token& stop) {
    if (simulation_ == nullptr) return true;
    const std::int64_t target = ParticleSimulation::stepIndex(time);
    if (target <= simulation_->step()) simulation_->reset(); // the same or an earlier time replays from the spawn
    const std::int64_t last = target - 1;
    return simulation_->step() >= last || simulation_->advance(last, queue, values, mouse, stop);
}

} // namespace glasshob
