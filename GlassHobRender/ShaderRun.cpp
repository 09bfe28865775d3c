#include "GlassHobRender/ShaderRun.h"

#include "GlassHobRender/ShaderProgram.h"

namespace glasshob {

ShaderRun::ShaderRun(std::shared_ptr<const ShaderProgram> program, std::int64_t width, std::int64_t height)
    : program_(std::move(program)), width_(width), height_(height) {}

bool ShaderRun::needsRun(const ShaderProgram& program) {
    return program.kind() != ShaderKind::fragment;
}

// Every program that can be made today is a per-pixel one, which draws straight into its target: there is no
// intermediate to make, and nothing to do before the picture pass.
std::unique_ptr<ShaderRun> ShaderRun::make(std::shared_ptr<const ShaderProgram>, const std::shared_ptr<gpu::Device>&,
                                           std::int64_t, std::int64_t) {
    return nullptr;
}

std::shared_ptr<gpu::Texture> ShaderRun::pictureTexture() const {
    return nullptr;
}

void ShaderRun::encode(const GHUniforms&, gpu::CommandBuffer&, const SliderValues&, std::int64_t) {}

bool ShaderRun::catchUp(gpu::CommandQueue&, const SliderValues&, const float*, double) {
    return true;
}

} // namespace glasshob
