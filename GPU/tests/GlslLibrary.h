// Functions and drawing for the tests of the GPU layer: shaders as GLSL text, one function to a module.
#pragma once

#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Device.h"
#include "GPU/Encoders.h"
#include "GPU/Pipeline.h"
#include "GPU/Texture.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace gpu::testing {

// The body stands behind the version and extension lines; the entry point is main. Fails the test on a compile error.
std::vector<std::uint32_t> compileGlsl(ShaderStage stage, const std::string& body);

LibraryDescriptor glslLibrary(ShaderStage stage, const std::string& body, std::vector<ArgumentBinding> arguments = {});

std::shared_ptr<Function> glslFunction(Device& device, ShaderStage stage, const std::string& body,
                                       std::vector<ArgumentBinding> arguments = {});

// A triangle over the whole target; `uv` at location 0 is (0, 0) at the bottom left, (1, 1) at the top right.
std::shared_ptr<Function> fullScreenVertex(Device& device);

std::shared_ptr<RenderPipelineState> fullScreenPipeline(Device& device, const std::string& fragmentBody,
                                                        std::vector<ArgumentBinding> arguments = {},
                                                        PixelFormat format = PixelFormat::bgra8Unorm);

std::shared_ptr<Texture> target(Device& device, std::uint32_t width, std::uint32_t height,
                                PixelFormat format = PixelFormat::bgra8Unorm,
                                StorageMode storage = StorageMode::shared);

RenderPassDescriptor passOn(const std::shared_ptr<Texture>& texture, LoadAction load = LoadAction::dontCare);

// Red, green, blue, alpha of a pixel of a shared bgra8Unorm texture.
std::array<int, 4> pixel(const Texture& texture, std::uint32_t x, std::uint32_t y);

// Uniform block, storage block, texture and sampler arguments of set 0 (vertex, kernel) or 1 (fragment).
ArgumentBinding uniformArgument(std::uint32_t set, std::uint32_t index, std::uint32_t length);
ArgumentBinding storageArgument(std::uint32_t set, std::uint32_t index, std::uint32_t length = 4);
ArgumentBinding textureArgument(std::uint32_t set, std::uint32_t index);
ArgumentBinding constantSamplerArgument(std::uint32_t set, std::uint32_t number, SamplerFilter filter);

} // namespace gpu::testing
