#include "GlassHobRender/program/ShaderProgram.h"

#include "GPU/Buffer.h"
#include "GPU/Encoders.h"
#include "GPU/Library.h"
#include "GlassHobRender/program/LibraryFromMSL.h"
#include "GlassHobRender/program/ParticleSimulation.h"
#include "GlassHobRender/program/ShaderCompiler.h"
#include "GlassHobRender/program/ShaderRun.h"

#include <algorithm>
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

// The host hands its uniforms to every function of a picture as buffer 0; members in the order of GHUniforms.
PictureInputs inputsOf(const msl::Reflection& reflection, ShaderKind kind) {
    if (kind == ShaderKind::particles) return {};
    std::uint64_t read = 0;
    for (const msl::EntryPoint& entry : reflection.entryPoints) {
        const bool draws =
            entry.name == ShaderAssembler::fragmentEntry || entry.name == ShaderAssembler::gridVertexEntry ||
            entry.name == ShaderAssembler::gridFragmentEntry || entry.name == ShaderAssembler::backgroundEntry;
        for (const msl::Binding& binding : entry.bindings)
            if (draws && binding.metalIndex == 0 && binding.byteSize > 0) read |= binding.membersRead;
    }
    enum : unsigned { resolution, time, timeDelta, mouse, frame };
    const auto has = [read](unsigned member) { return (read >> member & 1) != 0; };
    return {.time = has(time), .timeDelta = has(timeDelta), .mouse = has(mouse), .frame = has(frame)};
}

bool mayTellOfCutLoops(const msl::Reflection& reflection) {
    return std::ranges::any_of(reflection.entryPoints, [](const msl::EntryPoint& entry) {
        return std::ranges::any_of(entry.bindings, [](const msl::Binding& binding) {
            return binding.kind == msl::BindingKind::storageBuffer && binding.metalIndex == msl::cutLoopsIndex;
        });
    });
}

// Every device allocates as much in one piece.
constexpr std::uint64_t largestPiece = std::uint64_t(1) << 30;

} // namespace

std::expected<CompiledShader, ShaderError> ShaderProgram::compile(std::string_view source, const gpu::Device& device,
                                                                  std::chrono::milliseconds timeLimit,
                                                                  CutLoops cutLoops) {
    return ShaderCompiler::compile(source, timeLimit, std::min(largestPiece, device.maxBufferArgumentLength()),
                                   cutLoops);
}

ShaderProgram::ShaderProgram(std::string_view source, const std::shared_ptr<gpu::Device>& device,
                             gpu::PixelFormat pixelFormat, std::chrono::milliseconds timeLimit, CutLoops cutLoops)
    : ShaderProgram(
          [&] {
              auto compiled = compile(source, *device, timeLimit, cutLoops);
              if (!compiled) throw std::move(compiled.error());
              return std::move(*compiled);
          }(),
          device, pixelFormat) {}

ShaderProgram::ShaderProgram(CompiledShader&& compiled, const std::shared_ptr<gpu::Device>& device,
                             gpu::PixelFormat pixelFormat)
    : device_(device) {
    params_ = std::move(compiled.assembled.params);
    kind_ = compiled.assembled.kind();
    warnings_ = fromCompiler(compiled.library.warnings);
    warningText_ = msl::toText(compiled.library.warnings);
    coversTarget_ = std::ranges::none_of(compiled.library.reflection.entryPoints, [](const msl::EntryPoint& entry) {
        const bool isFullScreen =
            entry.name == ShaderAssembler::fragmentEntry || entry.name == ShaderAssembler::fadeEntry;
        return isFullScreen && entry.mayDiscard;
    });
    pictureInputs_ = inputsOf(compiled.library.reflection, kind_);
    if (mayTellOfCutLoops(compiled.library.reflection)) {
        cutLoops_ = orThrow(device->makeBuffer(2 * sizeof(std::uint32_t), gpu::StorageMode::shared));
        std::memset(cutLoops_->contents(), 0, cutLoops_->length());
    }
    library_ = orThrow(device->makeLibrary(libraryDescriptor(std::move(compiled.library), "shader")));

    gpu::RenderPipelineDescriptor picture;
    picture.vertexFunction = function(ShaderAssembler::vertexEntry);
    picture.fragmentFunction = function(ShaderAssembler::fragmentEntry);
    picture.colorAttachments[0].format = pixelFormat;
    picture.label = "picture";

    if (compiled.assembled.hasSound)
        soundPipeline_ = orThrow(device->makeComputePipelineState(function(ShaderAssembler::soundEntry)));
    if (compiled.assembled.particles >= 1) buildParticles(compiled);
    if (compiled.assembled.grid >= 1) buildMesh(compiled.assembled);
    pipeline_ = orThrow(device->makeRenderPipelineState(picture));
}

ShaderProgram::~ShaderProgram() = default;

// ShaderCompiler has found them all.
std::shared_ptr<gpu::Function> ShaderProgram::function(std::string_view name) const {
    auto found = library_->makeFunction(name);
    if (found == nullptr)
        fail("The host's " + std::string(name) + " entry point is missing from the compiled library.");
    return found;
}

gpu::RenderPipelineDescriptor ShaderProgram::dotsDescriptor(std::string_view vertex, std::string_view fragment) const {
    gpu::RenderPipelineDescriptor dots;
    dots.vertexFunction = function(vertex);
    dots.fragmentFunction = function(fragment);
    dots.colorAttachments[0] = {.format = gpu::PixelFormat::rgba16Float,
                                .blendingEnabled = true,
                                .sourceRGB = gpu::BlendFactor::one,
                                .destinationRGB = gpu::BlendFactor::one,
                                .sourceAlpha = gpu::BlendFactor::one,
                                .destinationAlpha = gpu::BlendFactor::one};
    return dots;
}

void ShaderProgram::buildParticles(CompiledShader& compiled) {
    ParticlePipelines made;
    made.count = compiled.assembled.particles;
    made.stride = compiled.stride;
    made.countInPiece = compiled.particlesInPiece;
    dotFunctions_ = std::move(compiled.dots);

    gpu::RenderPipelineDescriptor fade;
    fade.vertexFunction = function(ShaderAssembler::vertexEntry);
    fade.fragmentFunction = function(ShaderAssembler::fadeEntry);
    fade.colorAttachments[0].format = gpu::PixelFormat::rgba16Float;
    fade.label = "fade";
    gpu::RenderPipelineDescriptor dots = dotsDescriptor(dotFunctions_.pointVertex, dotFunctions_.pointFragment);
    dots.inputPrimitiveTopology = gpu::PrimitiveTopologyClass::point;
    dots.label = "dots";

    made.spawn = orThrow(device_->makeComputePipelineState(function(dotFunctions_.spawn)));
    made.update = orThrow(device_->makeComputePipelineState(function(dotFunctions_.update)));
    if (compiled.assembled.hasFade) made.fade = orThrow(device_->makeRenderPipelineState(fade));
    made.dots = orThrow(device_->makeRenderPipelineState(dots));
    if (device_->largestPoint() < ParticleSimulation::largestDot) made.squares = makeSquares();
    particles_ = std::move(made);
}

SquarePipelines ShaderProgram::makeSquares() const {
    gpu::RenderPipelineDescriptor squares = dotsDescriptor(dotFunctions_.squareVertex, dotFunctions_.squareFragment);
    squares.inputPrimitiveTopology = gpu::PrimitiveTopologyClass::triangle;
    squares.label = "large dots";
    return {.draw = orThrow(device_->makeRenderPipelineState(squares)),
            .scan = orThrow(device_->makeComputePipelineState(function(dotFunctions_.scan))),
            .reset = orThrow(device_->makeComputePipelineState(function(dotFunctions_.reset)))};
}

void ShaderProgram::buildMesh(const AssembledShader& assembled) {
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
        descriptor.vertexFunction = function(vertex);
        descriptor.fragmentFunction = function(fragment);
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
        work.kernels = {particles_->spawn, particles_->update};
        for (const auto& pipeline : {particles_->fade, particles_->dots})
            add(pipeline, gpu::PixelFormat::rgba16Float);
        if (particles_->squares) {
            work.kernels.insert(work.kernels.end(), {particles_->squares->scan, particles_->squares->reset});
            add(particles_->squares->draw, gpu::PixelFormat::rgba16Float);
        }
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
    if (ShaderRun::needsRun(*this)) {
        if (run == nullptr || run->program().get() != this) return;
        const std::shared_ptr<gpu::Texture> picture = run->pictureTexture();
        if (picture == nullptr) return;
        encoder.setFragmentTexture(picture, 0);
    }
    noticeCutLoops(encoder);
    encoder.setRenderPipelineState(pipeline_);
    encoder.setFragmentBytes(&uniforms, sizeof uniforms, 0);
    parameterArgument(values).setFragment(encoder, 1);
    encoder.drawPrimitives(gpu::PrimitiveType::triangle, 0, 3);
}

bool ShaderProgram::loopsWereCut() const {
    std::uint32_t word = 0;
    if (cutLoops_ != nullptr) std::memcpy(&word, cutLoops_->contents(), sizeof word);
    return word != 0;
}

void ShaderProgram::noticeCutLoops(gpu::RenderCommandEncoder& encoder) const {
    if (cutLoops_ != nullptr) encoder.setFragmentBuffer(cutLoops_, 0, msl::cutLoopsIndex);
}

void ShaderProgram::encodeSound(gpu::ComputeCommandEncoder& encoder, const std::shared_ptr<gpu::Buffer>& output,
                                double start, std::uint32_t count, const SliderValues& values) const {
    const SoundUniforms uniforms{float(start), float(ShaderAssembler::soundSampleRate), count, 0};
    encoder.setComputePipelineState(soundPipeline_);
    encoder.setBuffer(output, 0, 0);
    encoder.setBytes(&uniforms, sizeof uniforms, 1);
    parameterArgument(values).setKernel(encoder, 2);
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

ParameterArgument ShaderProgram::parameterArgument(const SliderValues& values) const {
    return {*device_, parameterFloats(values)};
}

} // namespace glasshob
