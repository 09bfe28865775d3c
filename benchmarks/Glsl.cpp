#include "benchmarks/Glsl.h"

#include <cstdio>
#include <cstdlib>
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>

namespace bench {

std::string wholeVertex() {
    return R"(#version 460
layout(location = 0) out vec2 uv;
void main() {
    uv = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
}
)";
}

std::string wholeFragment(const std::string& shade, float fresh) {
    char number[32];
    std::snprintf(number, sizeof number, "%.9e", double(fresh));
    return R"(#version 460
#extension GL_EXT_scalar_block_layout : require
layout(set = 0, binding = 0, scalar) uniform UniformBlock {
    vec2 resolution; float time; float timeDelta; vec2 mouse; uint frame; uint pad;
} u;
layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 color;
)" + shade +
           "\nvoid main() { color = shade(uv + " + number + "); }\n";
}

std::vector<std::uint32_t> compileGlsl(GlslStage stage, const std::string& text) {
    static const bool isStarted = glslang::InitializeProcess();
    const EShLanguage language = stage == GlslStage::vertex     ? EShLangVertex
                                 : stage == GlslStage::fragment ? EShLangFragment
                                                                : EShLangCompute;
    const char* const pointer = text.c_str();
    glslang::TShader shader(language);
    shader.setStrings(&pointer, 1);
    shader.setEnvInput(glslang::EShSourceGlsl, language, glslang::EShClientVulkan, 100);
    shader.setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_3);
    shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_6);
    const auto messages = EShMessages(EShMsgSpvRules | EShMsgVulkanRules);
    glslang::TProgram program;
    const bool isParsed = isStarted && shader.parse(GetDefaultResources(), 460, false, messages);
    program.addShader(&shader);
    if (!isParsed || !program.link(messages)) {
        std::fprintf(stderr, "%s\n%s\n", shader.getInfoLog(), program.getInfoLog());
        std::exit(2);
    }
    std::vector<std::uint32_t> spirv;
    glslang::SpvOptions options;
    options.disableOptimizer = true;
    glslang::GlslangToSpv(*program.getIntermediate(language), spirv, &options);
    return spirv;
}

} // namespace bench
