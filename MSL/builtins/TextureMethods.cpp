#include "MSL/builtins/TextureMethods.h"

#include <algorithm>

namespace msl {
namespace {

using Id = BuiltinId;
using Need = TextureNeed;
using enum TextureSlot;

// clang-format off
constexpr TextureMethod methods[] = {
    {"sample", Id::textureSample, Need::sampling, value,
     {{sampler, "s"}, {coordinate, "coord"}, {arrayIndex, "array"}, {options, "options"}, {offset, "offset"}}},
    {"sample_compare", Id::textureSampleCompare, Need::comparing, value,
     {{sampler, "s"}, {coordinate, "coord"}, {arrayIndex, "array"}, {comparison, "compare_value"},
      {options, "options"}, {offset, "offset"}}},
    {"gather", Id::textureGather, Need::gathering, fourValues,
     {{sampler, "s"}, {coordinate, "coord"}, {arrayIndex, "array"}, {offset, "offset"}, {component, "c"}}},
    {"gather_compare", Id::textureGatherCompare, Need::gatherComparing, fourValues,
     {{sampler, "s"}, {coordinate, "coord"}, {arrayIndex, "array"}, {comparison, "compare_value"},
      {offset, "offset"}}},
    {"read", Id::textureRead, Need::reading, value,
     {{texel, "coord"}, {face, "face"}, {arrayIndex, "array"}, {sample, "sample"}, {level, "lod"}}},
    {"write", Id::textureWrite, Need::writing, void_,
     {{value, "color"}, {texel, "coord"}, {face, "face"}, {arrayIndex, "array"}, {level, "lod"}}},
    {"get_width", Id::textureWidth, Need::nothing, uint, {{level, "lod"}}},
    {"get_height", Id::textureHeight, Need::height, uint, {{level, "lod"}}},
    {"get_depth", Id::textureDepth, Need::depth, uint, {{level, "lod"}}},
    {"get_array_size", Id::textureArraySize, Need::layers, uint, {}},
    {"get_num_mip_levels", Id::textureMipLevels, Need::levels, uint, {}},
    {"get_num_samples", Id::textureSamples, Need::samples, uint, {}},
    {"fence", Id::textureFence, Need::readingAndWriting, void_, {}},
    {"calculate_clamped_lod", Id::textureCalculateLod, Need::sampling, float_,
     {{sampler, "s"}, {coordinate, "coord"}}},
    {"calculate_unclamped_lod", Id::textureCalculateUnclampedLod, Need::sampling, float_,
     {{sampler, "s"}, {coordinate, "coord"}}},
    {"atomic_load", Id::atomicLoad, Need::atomics, value, {{texel, "coord"}, {arrayIndex, "array"}}},
    {"atomic_store", Id::atomicStore, Need::atomics, void_, {{value, "color"}, {texel, "coord"}, {arrayIndex, "array"}}},
    {"atomic_compare_exchange_weak", Id::atomicCompareExchangeWeak, Need::atomics, bool_,
     {{texel, "coord"}, {arrayIndex, "array"}, {expected, "expected"}, {operand, "desired"}}},
    {"atomic_exchange", Id::atomicExchange, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_add", Id::atomicFetchAdd, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_sub", Id::atomicFetchSub, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_min", Id::atomicFetchMin, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_max", Id::atomicFetchMax, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_and", Id::atomicFetchAnd, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_or", Id::atomicFetchOr, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
    {"atomic_fetch_xor", Id::atomicFetchXor, Need::atomics, value,
     {{texel, "coord"}, {arrayIndex, "array"}, {operand, "operand"}}},
};

constexpr SampleOption options_[] = {
    {"level", Id::optionLevel},
    {"bias", Id::optionBias},
    {"min_lod_clamp", Id::optionMinLodClamp},
    {"gradient2d", Id::optionGradient2d, 2, 2},
    {"gradient3d", Id::optionGradient3d, 3, 2},
    {"gradientcube", Id::optionGradientCube, 3, 2},
};
// clang-format on

bool hasLevels(TextureShape shape) {
    return shape != TextureShape::buffer && !textureTraits(shape).isMultisample;
}

} // namespace

std::span<const TextureMethod> textureMethods() {
    return methods;
}

const TextureMethod* findTextureMethod(std::string_view name) {
    const auto* found = std::ranges::find(methods, name, &TextureMethod::name);
    return found == std::end(methods) ? nullptr : found;
}

const TextureMethod* findTextureMethod(BuiltinId id) {
    const auto* found = std::ranges::find(methods, id, &TextureMethod::id);
    return found == std::end(methods) ? nullptr : found;
}

std::string_view whyNot(TextureNeed need, TypeRef texture) {
    const TextureShape shape = texture->textureShape;
    const TextureAccess access = texture->textureAccess;
    const TextureTraits traits = textureTraits(shape);
    const bool samples =
        need == Need::sampling || need == Need::comparing || need == Need::gathering || need == Need::gatherComparing;
    const bool gathers = need == Need::gathering || need == Need::gatherComparing;
    const bool compares = need == Need::comparing || need == Need::gatherComparing;
    if (samples &&
        (traits.sampleDimensions == 0 || (gathers && traits.readDimensions != 2) || (compares && !traits.isDepth)))
        return "a texture of this kind cannot be sampled so";
    if (samples && access != TextureAccess::sample) return "a texture that is sampled needs access::sample";
    switch (need) {
    case Need::height: return traits.readDimensions >= 2 ? "" : "a texture of this kind has no height";
    case Need::depth: return traits.readDimensions >= 3 ? "" : "a texture of this kind has no depth";
    case Need::layers: return traits.isArray ? "" : "the texture is no array";
    case Need::levels: return hasLevels(shape) ? "" : "a texture of this kind has no levels of detail";
    case Need::samples: return traits.isMultisample ? "" : "a texture of this kind has no samples";
    case Need::reading: return access != TextureAccess::write ? "" : "a texture with access::write cannot be read";
    case Need::writing:
        return access == TextureAccess::write || access == TextureAccess::readWrite
                   ? ""
                   : "a texture that is written needs access::write or access::read_write";
    case Need::readingAndWriting:
        return access == TextureAccess::readWrite ? "" : "only a texture with access::read_write has a fence";
    case Need::atomics:
        if (traits.isCube || traits.isMultisample || traits.isDepth)
            return "a texture of this kind has no atomic operations";
        if (access != TextureAccess::readWrite) return "a texture with atomic operations needs access::read_write";
        return texture->scalar == ScalarKind::int_ || texture->scalar == ScalarKind::uint
                   ? ""
                   : "a texture with atomic operations needs components of type int or uint";
    default: return "";
    }
}

bool hasSlot(TextureShape shape, TextureSlot slot) {
    const TextureTraits traits = textureTraits(shape);
    switch (slot) {
    case none: return false;
    case face: return traits.isCube;
    case arrayIndex: return traits.isArray;
    case sample: return traits.isMultisample;
    case offset: return traits.offsetDimensions > 0;
    case component: return !traits.isDepth;
    case level: return hasLevels(shape);
    default: return true;
    }
}

TypeRef slotType(TypeTable& types, TextureSlot slot, TypeRef texture) {
    const TextureTraits traits = textureTraits(texture->textureShape);
    switch (slot) {
    case none:
    case options: return nullptr;
    case void_: return types.void_();
    case bool_: return types.bool_();
    case uint:
    case face:
    case arrayIndex:
    case sample:
    case level: return types.uint();
    case float_:
    case comparison: return types.float_();
    case value:
    case operand: return types.vector(texture->scalar, traits.isDepth ? 1 : 4);
    case fourValues: return types.vector(texture->scalar, 4);
    case sampler: return types.sampler();
    case coordinate: return types.vector(ScalarKind::float_, traits.sampleDimensions);
    case texel: return types.vector(ScalarKind::uint, traits.readDimensions);
    case offset: return types.vector(ScalarKind::int_, traits.offsetDimensions);
    case component: return types.int_();
    case expected: return types.pointer(types.vector(texture->scalar, 4), AddressSpace::thread, false);
    }
    return nullptr;
}

std::string_view slotPhrase(TextureSlot slot) {
    switch (slot) {
    case value: return "colour";
    case sampler: return "first argument";
    case coordinate:
    case texel: return "coordinate";
    case face: return "face";
    case arrayIndex: return "array index";
    case sample: return "sample";
    case comparison: return "comparison value";
    case operand: return "operand";
    case expected: return "expected value";
    case options: return "option";
    case offset: return "offset";
    case component: return "component";
    case level: return "level";
    default: return "argument";
    }
}

std::span<const SampleOption> sampleOptions() {
    return options_;
}

} // namespace msl
