#include "GPU/tests/GlslLibrary.h"

#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>
#include <gtest/gtest.h>

namespace gpu::testing {

std::vector<std::uint32_t> compileGlsl(ShaderStage stage, const std::string& body) {
    static const bool isStarted = glslang::InitializeProcess();
    EXPECT_TRUE(isStarted);
    EShLanguage language = EShLangFragment;
    if (stage != ShaderStage::fragment) language = stage == ShaderStage::vertex ? EShLangVertex : EShLangCompute;
    const std::string text = "#version 460\n#extension GL_EXT_scalar_block_layout : require\n"
                             "#extension GL_EXT_samplerless_texture_functions : require\n" +
                             body;
    const char* const pointer = text.c_str();
    glslang::TShader shader(language);
    shader.setStrings(&pointer, 1);
    shader.setEnvInput(glslang::EShSourceGlsl, language, glslang::EShClientVulkan, 100);
    shader.setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_3);
    shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_6);
    const auto messages = EShMessages(EShMsgSpvRules | EShMsgVulkanRules);
    EXPECT_TRUE(shader.parse(GetDefaultResources(), 460, false, messages)) << shader.getInfoLog();
    glslang::TProgram program;
    program.addShader(&shader);
    EXPECT_TRUE(program.link(messages)) << program.getInfoLog();
    std::vector<std::uint32_t> spirv;
    if (const glslang::TIntermediate* intermediate = program.getIntermediate(language))
        glslang::GlslangToSpv(*intermediate, spirv);
    return spirv;
}

LibraryDescriptor glslLibrary(ShaderStage stage, const std::string& body, std::vector<ArgumentBinding> arguments) {
    LibraryDescriptor descriptor;
    descriptor.spirv = compileGlsl(stage, body);
    descriptor.functions.push_back({.name = "main", .stage = stage, .arguments = std::move(arguments)});
    return descriptor;
}

std::shared_ptr<Function> glslFunction(Device& device, ShaderStage stage, const std::string& body,
                                       std::vector<ArgumentBinding> arguments) {
    const auto library = device.makeLibrary(glslLibrary(stage, body, std::move(arguments)));
    EXPECT_TRUE(library) << (library ? "" : library.error().text);
    return library ? (*library)->makeFunction("main") : nullptr;
}

std::shared_ptr<Function> fullScreenVertex(Device& device) {
    return glslFunction(device, ShaderStage::vertex, R"(
        layout(location = 0) out vec2 uv;
        void main() {
            uv = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
            gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0);
        })");
}

std::shared_ptr<RenderPipelineState> fullScreenPipeline(Device& device, const std::string& fragmentBody,
                                                        std::vector<ArgumentBinding> arguments, PixelFormat format) {
    RenderPipelineDescriptor descriptor;
    descriptor.vertexFunction = fullScreenVertex(device);
    descriptor.fragmentFunction = glslFunction(device, ShaderStage::fragment, fragmentBody, std::move(arguments));
    descriptor.colorAttachments[0].format = format;
    auto pipeline = device.makeRenderPipelineState(descriptor);
    EXPECT_TRUE(pipeline) << (pipeline ? "" : pipeline.error().text);
    return pipeline ? *pipeline : nullptr;
}

std::shared_ptr<Texture> target(Device& device, std::uint32_t width, std::uint32_t height, PixelFormat format,
                                StorageMode storage) {
    TextureDescriptor descriptor;
    descriptor.width = width;
    descriptor.height = height;
    descriptor.format = format;
    descriptor.storage = storage;
    descriptor.usage = {.shaderRead = true, .renderTarget = true};
    auto texture = device.makeTexture(descriptor);
    EXPECT_TRUE(texture) << (texture ? "" : texture.error().text);
    return texture ? *texture : nullptr;
}

RenderPassDescriptor passOn(const std::shared_ptr<Texture>& texture, LoadAction load) {
    RenderPassDescriptor pass;
    pass.colorAttachments[0].texture = texture;
    pass.colorAttachments[0].loadAction = load;
    return pass;
}

std::array<int, 4> pixel(const Texture& texture, std::uint32_t x, std::uint32_t y) {
    std::array<std::uint8_t, 4> bytes{};
    texture.getBytes(bytes.data(), 4, {x, y, 1, 1});
    return {bytes[2], bytes[1], bytes[0], bytes[3]};
}

ArgumentBinding uniformArgument(std::uint32_t set, std::uint32_t index, std::uint32_t length) {
    return {.kind = ArgumentKind::uniformBuffer, .index = index, .set = set, .binding = index, .minimumLength = length};
}

ArgumentBinding storageArgument(std::uint32_t set, std::uint32_t index, std::uint32_t length) {
    return {.kind = ArgumentKind::storageBuffer, .index = index, .set = set, .binding = index, .minimumLength = length};
}

ArgumentBinding textureArgument(std::uint32_t set, std::uint32_t index) {
    return {.kind = ArgumentKind::sampledTexture, .index = index, .set = set, .binding = 32 + index};
}

ArgumentBinding constantSamplerArgument(std::uint32_t set, std::uint32_t number, SamplerFilter filter) {
    return {.kind = ArgumentKind::constantSampler,
            .set = set,
            .binding = 176 + number,
            .sampler = {.minFilter = filter, .magFilter = filter}};
}

} // namespace gpu::testing
