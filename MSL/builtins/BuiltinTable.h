// The functions of the library as data: name, what they take and give, and in which namespaces they exist. Overloads
// are patterns over one type parameter T (its class of scalars and its shape), so a row stands for up to a few dozen
// functions. Static tables, no set-up, any thread. Sema resolves calls with it; an editor can list and print it.
#pragma once

#include "MSL/builtins/BuiltinId.h"
#include "MSL/types/Types.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace msl {

// Which scalar kinds T may have.
enum class BuiltinClass : std::uint8_t {
    none,       // no type parameter: every slot is fixed
    floating,   // half, bfloat, float
    arithmetic, // every kind but bool
    integer,    // char ... ulong
    integer32,  // int, uint
    boolean,
    any,    // bool too
    atomic, // the value of the atomic that the first argument points at
};

// Which shapes T may have.
enum class BuiltinShape : std::uint8_t { scalarOrVector, scalar, vector, vector3, matrix, squareMatrix };

// One place of a signature, a parameter or the result.
enum class BuiltinSlot : std::uint8_t {
    none,
    void_,
    t,           // T
    elementOfT,  // its scalar
    boolOfT,     // bool in the shape of T
    intOfT,      // int in the shape of T
    unsignedOfT, // the unsigned kind in the shape of T
    transposedT,
    threadT,       // thread T &
    threadIntOfT,  // thread int & in the shape of T
    atomicPointer, // device or threadgroup pointer to an atomic of T
    bool_,
    int_,
    uint,
    ushort,
    ulong,
    float2,
    float3,
    float4,
    half2,
    half3,
    half4,
};

inline constexpr unsigned maxBuiltinParameters = 5;

struct BuiltinSignature {
    BuiltinClass typeClass = BuiltinClass::none;
    BuiltinShape shape = BuiltinShape::scalarOrVector;
    BuiltinSlot result = BuiltinSlot::void_;
    std::uint8_t parameterCount = 0;
    std::uint8_t requiredCount = 0; // trailing parameters beyond it may be left out
    BuiltinSlot parameters[maxBuiltinParameters] = {};
    std::string_view parameterNames[maxBuiltinParameters] = {};
};

// What a function works on, and so which part of lowering, legalizing and writing it belongs to.
enum class BuiltinFamily : std::uint8_t {
    none,
    math,       // numbers, component by component; integers too where the signature admits them
    integer,    // integers, component by component
    relational, // answers, choices and reductions of bools
    geometric,  // vectors and matrices as a whole
    derivative, // differences between neighbouring fragments
    control,    // the fate of a fragment
    packing,    // vectors to and from the bits of one number
    texture,
    sampleOption, // level(x) and its kin: no value outside of a texture's method
    atomic,
    barrier,
    simdgroup, // the threads of a SIMD-group
    quadgroup, // the threads of a quad
    functionConstant,
    interpolant, // methods of interpolants
    arrayRef,    // methods of array_ref
};

// Functions of numbers alone.
constexpr bool isNumeric(BuiltinFamily family) {
    using enum BuiltinFamily;
    return family == math || family == integer || family == relational || family == geometric || family == derivative ||
           family == packing;
}
// One result component for each component of the operands; scalars beside vectors stand for all components.
constexpr bool isComponentwise(BuiltinFamily family) {
    using enum BuiltinFamily;
    return family == math || family == integer || family == derivative;
}

struct BuiltinFunction {
    std::string_view name;
    BuiltinId id = BuiltinId::none;
    BuiltinFamily family = BuiltinFamily::none;
    const BuiltinSignature* signature = nullptr;
    bool hasPrecisions = false; // exists as metal::fast::name and metal::precise::name too
};

// Every function, sorted by name.
std::span<const BuiltinFunction> builtinFunctions();
const BuiltinFunction* findBuiltin(std::string_view name);
BuiltinFamily builtinFamily(BuiltinId id);
// Null for what the table does not have as a function: methods of textures, options of a sample.
const BuiltinSignature* builtinSignature(BuiltinId id);
// The name that the library gives to an id; the first of several.
std::string_view builtinName(BuiltinId id);

bool admitsKind(BuiltinClass typeClass, ScalarKind kind);
bool admitsShape(BuiltinShape shape, TypeRef type);

// The type of a slot for a given T (null for signatures without one). Reference slots give the referee.
TypeRef slotType(const TypeTable& types, BuiltinSlot slot, TypeRef t);
constexpr bool isReferenceSlot(BuiltinSlot slot) {
    return slot == BuiltinSlot::threadT || slot == BuiltinSlot::threadIntOfT;
}
// Whether an argument there has as many components as T.
constexpr bool hasShapeOfT(BuiltinSlot slot) {
    return slot == BuiltinSlot::t || slot == BuiltinSlot::boolOfT || slot == BuiltinSlot::intOfT ||
           slot == BuiltinSlot::unsignedOfT;
}
// Whether the function gives back through one of its arguments, too.
constexpr bool writesArgument(const BuiltinSignature& signature) {
    for (const BuiltinSlot slot : signature.parameters)
        if (isReferenceSlot(slot) || slot == BuiltinSlot::atomicPointer) return true;
    return false;
}

// "float3 mix(float3 x, float3 y, float3 a)"; with T null the pattern itself, "T mix(T x, T y, T a)".
std::string signatureText(const TypeTable& types, const BuiltinFunction& function, TypeRef t);
// What T stands for, as a phrase: "a floating-point scalar or vector". Empty when there is no T.
std::string describeTypeParameter(const BuiltinSignature& signature);

} // namespace msl
