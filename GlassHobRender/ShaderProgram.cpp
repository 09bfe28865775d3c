#include "GlassHobRender/ShaderProgram.h"

#include "GPU/Buffer.h"
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GPU/Library.h"
#include "GlassHobRender/LibraryFromMSL.h"
#include "GlassHobRender/ParticleSimulation.h"
#include "GlassHobRender/ShaderCompiler.h"
#include "GlassHobRender/ShaderRun.h"

#include <cstring>
#include <utility>

namespace glasshob {
namespace {

[[noreturn]] void fail(std::string text) {
    throw ShaderError({}, std::move(text));
}

template <class Value>
Value orThrow(gpu::Result<Value> result) {
    if (!result) fail(result.error().description());
    return std::move(*result);
}

std::shared_ptr<gpu::Function> function(const gpu::Library& library, std::string_view name) {
    auto found = library.makeFunction(name);
    if (found == nullptr)
        fail("The host's " + std::string(name) + " entry point is missing from the compiled library.");
    return found;
}

// The size of struct Particle is asked of the GPU, so that no second calculation of it can disagree.
std::int64_t measureParticle(gpu::Device& device, const gpu::Library& library, bool isHurried) {
    constexpr const char* problem = "Could not measure struct Particle.";
    const auto pipeline =
        orThrow(device.makeComputePipelineState(function(library, ShaderAssembler::particleSizeEntry), {1, 1, 1}));
    const auto queue = device.makeCommandQueue();
    const auto buffer = device.makeBuffer(sizeof(std::uint32_t), gpu::StorageMode::shared);
    const auto commands = queue ? (*queue)->commandBuffer() : nullptr;
    gpu::ComputeCommandEncoder* encoder = commands != nullptr ? commands->makeComputeCommandEncoder() : nullptr;
    if (!buffer || encoder == nullptr) fail(problem);
    std::uint32_t size = 0;
    std::memcpy((*buffer)->contents(), &size, sizeof size);
    encoder->setComputePipelineState(pipeline);
    encoder->setBuffer(*buffer, 0, 0);
    encoder->dispatchThreads({1, 1, 1});
    encoder->endEncoding();
    commands->commit();
    if (isHurried)
        commands->waitUntilCompleted(ShaderProgram::deviceTimeLimit);
    else
        commands->waitUntilCompleted();
    if (commands->status() == gpu::CommandBufferStatus::committed) {
        ShaderError busy({}, "The graphics device is still busy with an earlier frame: wait until it is drawn.");
        busy.deviceIsBusy = true;
        throw busy;
    }
    if (commands->status() == gpu::CommandBufferStatus::completed)
        std::memcpy(&size, (*buffer)->contents(), sizeof size);
    if (size == 0) fail(problem);
    return size;
}

std::string megabytes(std::uint64_t bytes) {
    return std::to_string((bytes + (1U << 20) - 1) >> 20);
}

} // namespace

ShaderProgram::ShaderProgram(std::string_view source, const std::shared_ptr<gpu::Device>& device,
                             gpu::PixelFormat pixelFormat, std::chrono::milliseconds timeLimit)
    : device_(device) {
    std::expected<CompiledShader, ShaderError> compiled = ShaderCompiler::compile(source, timeLimit);
    if (!compiled) throw std::move(compiled.error());
    params_ = std::move(compiled->assembled.params);
    kind_ = compiled->assembled.kind();
    warnings_ = fromCompiler(compiled->library.warnings);
    warningText_ = msl::toText(compiled->library.warnings);
    const msl::EntryPoint* fragment = compiled->library.reflection.entryPoint(ShaderAssembler::fragmentEntry);
    coversTarget_ = fragment != nullptr && !fragment->mayDiscard;
    const std::shared_ptr<gpu::Library> library =
        orThrow(device->makeLibrary(libraryDescriptor(std::move(compiled->library), "shader")));

    gpu::RenderPipelineDescriptor picture;
    picture.vertexFunction = library->makeFunction(ShaderAssembler::vertexEntry);
    picture.fragmentFunction = library->makeFunction(ShaderAssembler::fragmentEntry);
    picture.colorAttachments[0].format = pixelFormat;
    picture.label = "picture";
    if (picture.vertexFunction == nullptr || picture.fragmentFunction == nullptr)
        fail("The host entry points are missing from the compiled library.");

    if (compiled->assembled.hasSound) {
        const std::shared_ptr<gpu::Function> sound = library->makeFunction(ShaderAssembler::soundEntry);
        if (sound == nullptr) fail("The host's sound entry point is missing from the compiled library.");
        soundPipeline_ = orThrow(device->makeComputePipelineState(sound));
    }
    if (compiled->assembled.particles >= 1) buildParticles(*library, compiled->assembled, timeLimit.count() > 0);
    if (compiled->assembled.grid >= 1) buildMesh(*library, compiled->assembled);
    pipeline_ = orThrow(device->makeRenderPipelineState(picture));
}

ShaderProgram::~ShaderProgram() = default;

void ShaderProgram::buildParticles(const gpu::Library& library, const AssembledShader& assembled, bool isHurried) {
    ParticlePipelines made;
    made.count = assembled.particles;
    made.stride = measureParticle(*device_, library, isHurried);
    const auto length = std::uint64_t(made.count) * std::uint64_t(made.stride);
    if (length > device_->maxBufferArgumentLength())
        fail(std::to_string(made.count) + " particles of " + std::to_string(made.stride) + " bytes need " +
             megabytes(length) + " MB in one piece, and this graphics device gives a shader at most " +
             megabytes(device_->maxBufferArgumentLength()) +
             " MB: ask for fewer particles or make struct Particle smaller.");

    gpu::RenderPipelineDescriptor fade;
    fade.vertexFunction = function(library, ShaderAssembler::vertexEntry);
    fade.fragmentFunction = function(library, ShaderAssembler::fadeEntry);
    fade.colorAttachments[0].format = gpu::PixelFormat::rgba16Float;
    fade.label = "fade";
    gpu::RenderPipelineDescriptor dots;
    dots.vertexFunction = function(library, "gh_point_vertex");
    dots.fragmentFunction = function(library, ShaderAssembler::dotFragmentEntry);
    dots.colorAttachments[0] = {.format = gpu::PixelFormat::rgba16Float,
                                .blendingEnabled = true,
                                .sourceRGB = gpu::BlendFactor::one,
                                .destinationRGB = gpu::BlendFactor::one,
                                .sourceAlpha = gpu::BlendFactor::one,
                                .destinationAlpha = gpu::BlendFactor::one};
    dots.inputPrimitiveTopology = gpu::PrimitiveTopologyClass::point;
    dots.label = "dots";
    gpu::RenderPipelineDescriptor quads = dots;
    quads.vertexFunction = function(library, "gh_quad_vertex");
    quads.fragmentFunction = function(library, "gh_quad_fragment");
    quads.inputPrimitiveTopology = gpu::PrimitiveTopologyClass::triangle;
    quads.label = "large dots";

    made.spawn = orThrow(device_->makeComputePipelineState(function(library, ShaderAssembler::spawnEntry)));
    made.update = orThrow(device_->makeComputePipelineState(function(library, ShaderAssembler::updateEntry)));
    if (assembled.hasFade) made.fade = orThrow(device_->makeRenderPipelineState(fade));
    made.dots = orThrow(device_->makeRenderPipelineState(dots));
    if (device_->largestPoint() < ParticleSimulation::largestDot) {
        made.quads = orThrow(device_->makeRenderPipelineState(quads));
        made.scan = orThrow(device_->makeComputePipelineState(function(library, "gh_dot_scan")));
        made.reset = orThrow(device_->makeComputePipelineState(function(library, "gh_dot_reset")));
    }
    particles_ = std::move(made);
}

void ShaderProgram::buildMesh(const gpu::Library& library, const AssembledShader& assembled) {
    MeshPipelines made;
    made.cells = assembled.grid;
    const auto depth =
        device_->makeDepthStencilState({.depthCompare = gpu::CompareFunction::less, .depthWriteEnabled = true});
    const auto behind =
        device_->makeDepthStencilState({.depthCompare = gpu::CompareFunction::always, .depthWriteEnabled = false});
    if (!depth || !behind) fail("Could not make the depth test.");
    made.depth = *depth;
    made.behind = *behind;
    const auto pipeline = [&](std::string_view vertex, std::string_view fragment) {
        gpu::RenderPipelineDescriptor descriptor;
        descriptor.vertexFunction = function(library, vertex);
        descriptor.fragmentFunction = function(library, fragment);
        descriptor.colorAttachments[0].format = gpu::PixelFormat::bgra8Unorm;
        descriptor.depthFormat = gpu::PixelFormat::depth32Float;
        descriptor.rasterSampleCount = 4;
        descriptor.label = fragment;
        return orThrow(device_->makeRenderPipelineState(descriptor));
    };
    made.grid = pipeline(ShaderAssembler::gridVertexEntry, ShaderAssembler::gridFragmentEntry);
    if (assembled.hasBackground)
        made.background = pipeline(ShaderAssembler::vertexEntry, ShaderAssembler::backgroundEntry);
    mesh_ = std::move(made);
}

gpu::LoadAction ShaderProgram::pictureLoadAction() const {
    // A program that needs a run may have none, and then draws nothing.
    return coversTarget_ && !ShaderRun::needsRun(*this) ? gpu::LoadAction::dontCare : gpu::LoadAction::clear;
}

gpu::WarmWork ShaderProgram::warmWork() const {
    gpu::WarmWork work;
    const auto add = [&](const std::shared_ptr<gpu::RenderPipelineState>& pipeline, gpu::PixelFormat sampled,
                         const std::shared_ptr<gpu::DepthStencilState>& depthState = nullptr) {
        if (pipeline != nullptr) work.draws.push_back({pipeline, sampled, depthState});
    };
    if (particles_) {
        for (const auto& kernel : {particles_->spawn, particles_->update, particles_->scan, particles_->reset})
            if (kernel != nullptr) work.kernels.push_back(kernel);
        for (const auto& pipeline : {particles_->fade, particles_->dots, particles_->quads})
            add(pipeline, gpu::PixelFormat::rgba16Float);
    }
    if (mesh_) {
        add(mesh_->background, gpu::PixelFormat::bgra8Unorm, mesh_->behind);
        add(mesh_->grid, gpu::PixelFormat::bgra8Unorm, mesh_->depth);
    }
    add(pipeline_, particles_ ? gpu::PixelFormat::rgba16Float : gpu::PixelFormat::bgra8Unorm);
    return work;
}

void ShaderProgram::encodePicture(gpu::RenderCommandEncoder& encoder, const GHUniforms& uniforms,
                                  const SliderValues& values, const ShaderRun* run) const {
    const std::vector<float> floats = parameterFloats(values);
    if (ShaderRun::needsRun(*this)) {
        if (run == nullptr || run->program().get() != this) return;
        const std::shared_ptr<gpu::Texture> picture = run->pictureTexture();
        if (picture == nullptr) return;
        encoder.setFragmentTexture(picture, 0);
    }
    encoder.setRenderPipelineState(pipeline_);
    encoder.setFragmentBytes(&uniforms, sizeof uniforms, 0);
    encoder.setFragmentBytes(floats.data(), floats.size() * sizeof(float), 1);
    encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
}

void ShaderProgram::encodeSound(gpu::ComputeCommandEncoder& encoder, const std::shared_ptr<gpu::Buffer>& output,
                                double start, std::uint32_t count, const SliderValues& values) const {
    const SoundUniforms uniforms{float(start), float(ShaderAssembler::soundSampleRate), count, 0};
    const std::vector<float> floats = parameterFloats(values);
    encoder.setComputePipelineState(soundPipeline_);
    encoder.setBuffer(output, 0, 0);
    encoder.setBytes(&uniforms, sizeof uniforms, 1);
    encoder.setBytes(floats.data(), floats.size() * sizeof(float), 2);
    encoder.dispatchThreads({count, 1, 1});
}

std::vector<float> ShaderProgram::parameterFloats(const SliderValues& values) const {
    std::vector<float> floats;
    floats.reserve(params_.size() + 1);
    for (const ParamDecl& param : params_) {
        const auto value = values.find(param.name);
        floats.push_back(value != values.end() ? value->second : param.defaultValue);
    }
    if (floats.empty()) floats.push_back(0.0F);
    return floats;
}

} // namespace glasshob
