#pragma once

// One compiled user shader with every GPU pipeline that its kind needs. Immutable once made: an edit makes a new one.
//
// Shared by the canvas, runs, stills and exports (std::shared_ptr<const ShaderProgram>); read from any thread. The
// constructor compiles on the calling thread and throws ShaderError; nothing is partly built. It waits for no work of
// the device.

#include "GPU/Device.h"
#include "GPU/Pipeline.h"
#include "GPU/PipelineWarmer.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/shader/Uniforms.h"
#include "GlassHobRender/program/DotFunctions.h"
#include "GlassHobRender/program/ParameterArgument.h"
#include "GlassHobRender/program/ShaderError.h"

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {
class Buffer;
class ComputeCommandEncoder;
class Library;
class RenderCommandEncoder;
} // namespace gpu

namespace glasshob {

class ShaderRun;
struct CompiledShader;
enum class CutLoops : bool;

// Adds dots as squares, and the kernels that find out whether there are any.
struct SquarePipelines {
    std::shared_ptr<gpu::RenderPipelineState> draw;
    std::shared_ptr<gpu::ComputePipelineState> scan;
    std::shared_ptr<gpu::ComputePipelineState> reset;
};

// What a particle shader needs besides its picture.
struct ParticlePipelines {
    // Above 0.
    std::int64_t count = 0;
    // Size in bytes of the user's struct Particle, as the compiler laid it out.
    std::int64_t stride = 0;
    // How many at most lie in one buffer; all where one can hold them.
    std::int64_t countInPiece = 0;
    std::shared_ptr<gpu::ComputePipelineState> spawn;
    std::shared_ptr<gpu::ComputePipelineState> update;
    // Draws the faded previous picture; null when the shader defines no fade(), and nothing of it stays.
    std::shared_ptr<gpu::RenderPipelineState> fade;
    // Adds the dots as points, up to the largest that the device draws.
    std::shared_ptr<gpu::RenderPipelineState> dots;
    // For larger dots; nothing where the device draws them all as points.
    std::optional<SquarePipelines> squares;
};

// What a grid shader needs besides its picture.
struct MeshPipelines {
    // The mesh is cells by cells squares; above 0.
    std::int64_t cells = 0;
    std::shared_ptr<gpu::RenderPipelineState> grid;
    // Null when the shader defines no background().
    std::shared_ptr<gpu::RenderPipelineState> background;
    std::shared_ptr<gpu::DepthStencilState> depth;
    std::shared_ptr<gpu::DepthStencilState> behind;
};

// What the picture depends on besides its size and the slider values.
struct PictureInputs {
    bool time = true;
    bool timeDelta = true;
    bool mouse = true;
    bool frame = true;
    // Whether the picture can change from frame to frame by itself.
    bool moves() const { return time || timeDelta || frame; }
};

class ShaderProgram {
  public:
    // `source` is the user's text as in the editor. `pixelFormat` is the colour format of `pipeline`. A time limit of
    // zero means none; the live compile passes ShaderCompiler::liveTimeLimit.
    ShaderProgram(std::string_view source, const std::shared_ptr<gpu::Device>& device,
                  gpu::PixelFormat pixelFormat = gpu::PixelFormat::bgra8Unorm, std::chrono::milliseconds timeLimit = {},
                  CutLoops cutLoops = {});
    // The two halves of it. The first is bounded in time by its limit; the second, in which drivers make the
    // pipelines, may take them many seconds.
    static std::expected<CompiledShader, ShaderError> compile(std::string_view source, const gpu::Device& device,
                                                              std::chrono::milliseconds timeLimit,
                                                              CutLoops cutLoops = {});
    ShaderProgram(CompiledShader&& compiled, const std::shared_ptr<gpu::Device>& device,
                  gpu::PixelFormat pixelFormat = gpu::PixelFormat::bgra8Unorm);
    ~ShaderProgram();
    ShaderProgram(const ShaderProgram&) = delete;
    ShaderProgram& operator=(const ShaderProgram&) = delete;

    const std::vector<ParamDecl>& params() const { return params_; }
    ShaderKind kind() const { return kind_; }
    const std::shared_ptr<gpu::RenderPipelineState>& pipeline() const { return pipeline_; }
    // Null when the shader has no sound().
    const std::shared_ptr<gpu::ComputePipelineState>& soundPipeline() const { return soundPipeline_; }
    // Null for the other kinds.
    const ParticlePipelines* particles() const { return particles_ ? &*particles_ : nullptr; }
    const MeshPipelines* mesh() const { return mesh_ ? &*mesh_ : nullptr; }
    const std::shared_ptr<gpu::Device>& device() const { return device_; }
    // The compiler's warnings with their notes, and the same as its text; both empty when there are none.
    const std::vector<Diagnostic>& warnings() const { return warnings_; }
    const std::string& warningText() const { return warningText_; }

    // Whether full-screen passes paint every pixel, so that their target need not be cleared before (a clear costs the
    // CPU driver as much as a full-screen pass).
    bool coversTarget() const { return coversTarget_; }
    // As far as the compiler can tell: what is false is never read. Particles depend on all of it.
    const PictureInputs& pictureInputs() const { return pictureInputs_; }
    // LoadAction::dontCare when the picture covers its target, else LoadAction::clear.
    gpu::LoadAction pictureLoadAction() const;

    // Every pipeline that a frame runs, to be warmed up beside the live picture.
    gpu::WarmWork warmWork() const;

    // Draws the full-screen picture into the render pass of `encoder`. A program that needs a run draws nothing
    // without one, or with one of another program.
    void encodePicture(gpu::RenderCommandEncoder& encoder, const GHUniforms& uniforms, const SliderValues& values,
                       const ShaderRun* run) const;

    // Whether the driver has ended a loop of a function that gives colours before it ended by itself, in any picture
    // so far that the device is through with. Always false for a program that was not asked to notice.
    bool loopsWereCut() const;
    // For passes that draw with the program's pipelines by themselves: lets them tell of it.
    void noticeCutLoops(gpu::RenderCommandEncoder& encoder) const;

    // Computes `count` sample frames of sound from `start` seconds on into the beginning of `output`, interleaved left
    // and right. Only for a program with a sound pipeline.
    void encodeSound(gpu::ComputeCommandEncoder& encoder, const std::shared_ptr<gpu::Buffer>& output, double start,
                     std::uint32_t count, const SliderValues& values) const;

    // The values in declaration order, the default where one is missing; the one float 0 when nothing is declared.
    std::vector<float> parameterFloats(const SliderValues& values) const;
    // The same as an argument of the shader's functions.
    ParameterArgument parameterArgument(const SliderValues& values) const;

    // Particles only: what ParticlePipelines::squares has where it has something. Throws ShaderError.
    SquarePipelines makeSquares() const;

  private:
    void buildParticles(CompiledShader& compiled);
    void buildMesh(const AssembledShader& assembled);
    std::shared_ptr<gpu::Function> function(std::string_view name) const;
    gpu::RenderPipelineDescriptor dotsDescriptor(std::string_view vertex, std::string_view fragment) const;

    std::shared_ptr<gpu::Device> device_;
    std::shared_ptr<gpu::Library> library_;
    DotFunctions dotFunctions_;
    std::vector<ParamDecl> params_;
    ShaderKind kind_ = ShaderKind::fragment;
    std::vector<Diagnostic> warnings_;
    std::string warningText_;
    bool coversTarget_ = true;
    PictureInputs pictureInputs_;
    // The two words that msl::CompileOptions::marksCutLoops speaks of; null where no loop can be so long.
    std::shared_ptr<gpu::Buffer> cutLoops_;
    std::shared_ptr<gpu::RenderPipelineState> pipeline_;
    std::shared_ptr<gpu::ComputePipelineState> soundPipeline_;
    std::optional<ParticlePipelines> particles_;
    std::optional<MeshPipelines> mesh_;
};

} // namespace glasshob
