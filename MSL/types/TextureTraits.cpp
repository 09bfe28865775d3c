#include "MSL/types/TextureTraits.h"

#include <algorithm>
#include <array>

namespace msl {
namespace {

// In the order of TextureShape.
constexpr std::array<std::string_view, 16> names = {
    "texture1d",  "texture1d_array",  "texture2d",         "texture2d_array", "texture2d_ms", "texture2d_ms_array",
    "texture3d",  "texturecube",      "texturecube_array", "texture_buffer",  "depth2d",      "depth2d_array",
    "depth2d_ms", "depth2d_ms_array", "depthcube",         "depthcube_array",
};
static_assert(std::size_t(TextureShape::depthCubeArray) + 1 == names.size());

} // namespace

std::string_view textureTemplateName(TextureShape shape) {
    return names[std::size_t(shape)];
}

std::optional<TextureShape> textureShapeNamed(std::string_view name) {
    const auto* found = std::ranges::find(names, name);
    return found == names.end() ? std::nullopt : std::optional(TextureShape(found - names.begin()));
}

std::span<const std::string_view> textureTemplateNames() {
    return names;
}

bool isReachedAsMemory(TypeRef texture) {
    if (texture->textureAccess == TextureAccess::write || texture->textureAccess == TextureAccess::readWrite)
        return true;
    return textureTraits(texture->textureShape).isCube && texture->textureAccess == TextureAccess::read;
}

} // namespace msl
