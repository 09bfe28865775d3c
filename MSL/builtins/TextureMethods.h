// The methods of textures as data: name, what they take and give, and which textures have them. A row stands for the
// method of every kind of texture: a parameter that a kind has no use for, as the array index of a texture that is no
// array, is no parameter there. Static tables, any thread.
#pragma once

#include "MSL/builtins/BuiltinId.h"
#include "MSL/types/TextureTraits.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace msl {

// One place of a method's signature, a parameter or the result.
enum class TextureSlot : std::uint8_t {
    none,
    void_,
    bool_,
    uint,
    float_,
    value,      // what the texture holds: four components, or one of a depth texture
    fourValues, // one component of four texels
    // parameters
    sampler,
    coordinate, // floats
    texel,      // uints
    face,       // of cubes
    arrayIndex, // of arrays
    sample,     // of multisampled textures
    comparison, // float
    operand,    // of an atomic operation: the value's type
    expected,   // of an atomic operation: thread pointer to it
    // parameters that may be left out
    options,   // level(x), bias(x) ...: any number of them
    offset,    // ints, of textures that take one
    component, // of four: int; not of depth textures
    level,     // uint, of textures that have levels
};

// What a texture must be or allow to have the method.
enum class TextureNeed : std::uint8_t {
    nothing,
    height,
    depth,
    layers,
    levels,
    samples,
    sampling,
    comparing,       // sampling, of a depth texture
    gathering,       // sampling, of a plane or a cube
    gatherComparing, // both
    reading,
    writing,
    readingAndWriting,
    atomics, // reading and writing, of ints or uints
};

inline constexpr unsigned maxTextureParameters = 6;

struct TextureParameter {
    TextureSlot slot = TextureSlot::none;
    std::string_view name;
};

struct TextureMethod {
    std::string_view name;
    BuiltinId id = BuiltinId::none;
    TextureNeed need = TextureNeed::nothing;
    TextureSlot result = TextureSlot::void_;
    TextureParameter parameters[maxTextureParameters] = {};
};

std::span<const TextureMethod> textureMethods();
const TextureMethod* findTextureMethod(std::string_view name);
const TextureMethod* findTextureMethod(BuiltinId id);

// Why a texture has no such method, as a phrase; empty when it has.
std::string_view whyNot(TextureNeed need, TypeRef texture);
// Whether a texture of the kind has a use for a parameter.
bool hasSlot(TextureShape shape, TextureSlot slot);
constexpr bool isOptional(TextureSlot slot) {
    return slot >= TextureSlot::options;
}
// The type of a slot; null for `options`.
TypeRef slotType(TypeTable& types, TextureSlot slot, TypeRef texture);
// "coordinate", "array index": what messages call a parameter.
std::string_view slotPhrase(TextureSlot slot);

// level(x), gradient2d(dx, dy) ...: what may stand for TextureSlot::options.
struct SampleOption {
    std::string_view name;
    BuiltinId id = BuiltinId::none;
    std::uint8_t dimensions = 1; // floats of each argument
    std::uint8_t count = 1;      // arguments
};
std::span<const SampleOption> sampleOptions();

} // namespace msl
