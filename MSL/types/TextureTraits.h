// What a kind of texture is made of: how many coordinates it is sampled and read with, and what comes with them. One
// table, used by every stage that meets a texture. Any thread.
#pragma once

#include "MSL/types/Types.h"

#include <optional>
#include <span>
#include <string_view>

namespace msl {

struct TextureTraits {
    unsigned sampleDimensions = 0; // float coordinates; 0: cannot be sampled
    unsigned readDimensions = 0;   // uint coordinates of a texel
    bool isArray = false;
    bool isDepth = false;
    bool isCube = false;
    bool isMultisample = false;
    unsigned offsetDimensions = 0; // 0: takes no offset
};

constexpr TextureTraits textureTraits(TextureShape shape) {
    switch (shape) {
    case TextureShape::texture1d: return {1, 1, false, false, false, false, 1};
    case TextureShape::texture1dArray: return {1, 1, true, false, false, false, 1};
    case TextureShape::texture2d: return {2, 2, false, false, false, false, 2};
    case TextureShape::texture2dArray: return {2, 2, true, false, false, false, 2};
    case TextureShape::texture2dMs: return {0, 2, false, false, false, true, 0};
    case TextureShape::texture2dMsArray: return {0, 2, true, false, false, true, 0};
    case TextureShape::texture3d: return {3, 3, false, false, false, false, 3};
    case TextureShape::cube: return {3, 2, false, false, true, false, 0};
    case TextureShape::cubeArray: return {3, 2, true, false, true, false, 0};
    case TextureShape::buffer: return {0, 1, false, false, false, false, 0};
    case TextureShape::depth2d: return {2, 2, false, true, false, false, 2};
    case TextureShape::depth2dArray: return {2, 2, true, true, false, false, 2};
    case TextureShape::depth2dMs: return {0, 2, false, true, false, true, 0};
    case TextureShape::depth2dMsArray: return {0, 2, true, true, false, true, 0};
    case TextureShape::depthCube: return {3, 2, false, true, true, false, 0};
    case TextureShape::depthCubeArray: return {3, 2, true, true, true, false, 0};
    }
    return {};
}

// Whether texels of a texture of this type are read and written as memory is, without a sampler's path: it may be
// written, or it is a cube whose texels are read one by one.
bool isReachedAsMemory(TypeRef texture);

// "texture2d_array" and its kin.
std::string_view textureTemplateName(TextureShape shape);
std::optional<TextureShape> textureShapeNamed(std::string_view name);
std::span<const std::string_view> textureTemplateNames();

} // namespace msl
