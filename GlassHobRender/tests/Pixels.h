// Reads what only the GPU holds: the texels of a private texture and the bytes of a private buffer.
#pragma once

#include "GlassHobRender/tests/Kernels.h"

#include <array>

namespace glasshob::testing {

using Color = std::array<float, 4>;

// Runs one kernel that writes `words` 32-bit words, with the texture or buffer given at index 0, which are of that
// device.
inline std::vector<std::uint32_t> readWith(const std::shared_ptr<gpu::Device>& on, const std::string& kernel,
                                           const std::shared_ptr<gpu::Texture>& texture,
                                           const std::shared_ptr<gpu::Buffer>& buffer, std::uint32_t words,
                                           std::uint32_t threads) {
    auto compiled = msl::compile("#include <metal_stdlib>\nusing namespace metal;\n" + kernel);
    if (!compiled) {
        ADD_FAILURE() << compiled.error().text;
        return {};
    }
    const auto library = on->makeLibrary(libraryDescriptor(std::move(*compiled), "read"));
    const auto pipeline = on->makeComputePipelineState((*library)->makeFunction("check"));
    const auto queue = on->makeCommandQueue();
    const auto out = on->makeBuffer(std::size_t(words) * 4, gpu::StorageMode::shared);
    const auto commands = (*queue)->commandBuffer();
    gpu::ComputeCommandEncoder* encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(*pipeline);
    if (texture != nullptr) encoder->setTexture(texture, 0);
    if (buffer != nullptr) encoder->setBuffer(buffer, 0, 0);
    encoder->setBuffer(*out, 0, 1);
    encoder->dispatchThreads({threads, 1, 1});
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
    std::vector<std::uint32_t> result(words);
    std::memcpy(result.data(), (*out)->contents(), result.size() * 4);
    return result;
}

// The texels row by row from the top.
inline std::vector<Color> colorsOf(const std::shared_ptr<gpu::Texture>& texture,
                                   const std::shared_ptr<gpu::Device>& on = device()) {
    const std::uint32_t count = texture->width() * texture->height();
    const auto words =
        readWith(on,
                 "kernel void check(texture2d<float> t [[texture(0)]], device float4* out [[buffer(1)]],"
                 " uint i [[thread_position_in_grid]]) {"
                 " uint w = t.get_width(); if (i < w * t.get_height()) out[i] = t.read(uint2(i % w, i / w)); }",
                 texture, nullptr, count * 4, count);
    std::vector<Color> colors(count);
    std::memcpy(colors.data(), words.data(), words.size() * 4);
    return colors;
}

inline std::vector<std::uint32_t> wordsOf(const std::shared_ptr<gpu::Buffer>& buffer,
                                          const std::shared_ptr<gpu::Device>& on = device()) {
    const auto words = std::uint32_t(buffer->length() / 4);
    return readWith(on,
                    "kernel void check(const device uint* in [[buffer(0)]], device uint* out [[buffer(1)]],"
                    " uint i [[thread_position_in_grid]]) { if (i < " +
                        std::to_string(words) + "u) out[i] = in[i]; }",
                    nullptr, buffer, words, words);
}

} // namespace glasshob::testing
