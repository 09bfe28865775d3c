// What the language and its library offer, for an editor: names, signatures, and the types that simple expressions
// have. Types are texts as a person writes them: "float3", "texture2d<half, access::read>". Everything comes from the
// tables that the compiler itself works with. Pure functions over static data; any thread.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace msl::language {

struct Function {
    std::string_view name;
    std::string signature;     // "T mix(T x, T y, T a)"
    std::string typeParameter; // what T stands for: "a floating-point scalar or vector"; empty without one
    unsigned parameterCount = 0;
    bool hasPrecisions = false; // exists as metal::fast::name and metal::precise::name too
};
// Every function that a person may call, by name.
std::vector<Function> functions();
// What a call gives for the types of its arguments; empty where it is not known. An argument's type may be empty.
std::string resultOfCall(std::string_view function, std::span<const std::string> argumentTypes);

// "float3", "packed_half2", "uint32_t", "sampler" ...
bool isTypeName(std::string_view name);
// "vec", "array", "texture2d" ...: a type when arguments in < > follow.
bool isTypeTemplateName(std::string_view name);
std::span<const std::string_view> textureNames();

// A named value. Those of one enumeration stand together.
struct Constant {
    std::string_view enumeration; // "filter" of filter::linear; empty: visible without it
    std::string_view name;
};
std::vector<Constant> constants();

// The replacement text of a macro that exists before the first line; nothing for other names.
std::optional<std::string_view> predefinedMacro(std::string_view name);

// What may stand in [[ ]].
struct Attribute {
    std::string_view name;
    bool takesNumber = false; // [[buffer(0)]]
};
// By name, without those that the compiler refuses.
std::vector<Attribute> attributes();

struct Method {
    std::string_view name;
    std::string result;
    std::string signature;       // "float4 sample(sampler s, float2 coord)", without what may be left out but the level
    unsigned parameterCount = 0; // of the signature
};
// The methods that a texture's kind and access allow; nothing for a type that is no texture with its arguments.
std::optional<std::vector<Method>> textureMethods(std::string_view type);

// The number of components of a vector; 0 for other types.
unsigned componentCount(std::string_view type);
// The type of a swizzle of a vector, or what a method of a texture gives; empty where there is none.
std::string memberType(std::string_view type, std::string_view member);
// What [ ] gives of a vector or matrix; empty for other types.
std::string elementType(std::string_view type);
// The type of an arithmetic operator's result; either operand may be unknown (empty).
std::string resultOfOperator(std::string_view left, std::string_view right);

} // namespace msl::language
