#include "GlassHobRender/ShaderProgram.h"

#include "GPU/Encoders.h"
#include "GPU/Library.h"
#include "GlassHobRender/LibraryFromMSL.h"
#include "GlassHobRender/ShaderCompiler.h"
#include "GlassHobRender/ShaderRun.h"

#include <utility>

namespace glasshob {
namespace {

[[noreturn]] void fail(std::string text) {
    throw ShaderError({}, std::move(text));
}

[[noreturn]] void refuse(ShaderKind kind) {
    fail("This version of Glass Hob draws per-pixel shaders only: " +
         std::string(kind == ShaderKind::grid ? "grid" : "particle") + " shaders are checked but cannot be drawn yet.");
}

template <class Value>
Value orThrow(gpu::Result<Value> result) {
    if (!result) fail(result.error().description());
    return std::move(*result);
}

} // namespace

ShaderProgram::ShaderProgram(std::string_view source, const std::shared_ptr<gpu::Device>& device,
                             gpu::PixelFormat pixelFormat, std::chrono::milliseconds timeLimit)
    : device_(device) {
    std::expected<CompiledShader, ShaderError> compiled = ShaderCompiler::compile(source, timeLimit);
    if (!compiled && ShaderCompiler::failedOnHostTextures(source, compiled.error()))
        refuse(ShaderAssembler::assemble(source).kind());
    if (!compiled) throw std::move(compiled.error());
    params_ = std::move(compiled->assembled.params);
    kind_ = compiled->assembled.kind();
    warnings_ = std::move(compiled->library.warnings);
    coversTarget_ = !mayDiscardPixels(compiled->library.spirv);
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
    if (kind_ != ShaderKind::fragment) refuse(kind_);
    pipeline_ = orThrow(device->makeRenderPipelineState(picture));
}

ShaderProgram::~ShaderProgram() = default;

gpu::LoadAction ShaderProgram::pictureLoadAction() const {
    // A program that needs a run may have none, and then draws nothing.
    return coversTarget_ && !ShaderRun::needsRun(*this) ? gpu::LoadAction::dontCare : gpu::LoadAction::clear;
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
