// The families of the library's functions, as Functions.cpp puts them together. Nothing: not known while compiling.
#pragma once

#include "MSL/constant/Functions.h"

#include <optional>

namespace msl::constant {

// One component of a function that works component by component, by the kind of its first operand. `x` has as many
// numbers as the function takes.
std::optional<Scalar> floatFunction(BuiltinId id, Precision precision, std::span<const Scalar> x,
                                    ScalarKind resultKind);
std::optional<Scalar> integerFunction(BuiltinId id, std::span<const Scalar> x, ScalarKind resultKind);

// Functions of whole vectors and matrices.
bool isVectorFunction(BuiltinId id);
bool vectorFunction(BuiltinId id, std::span<const Operand> x, std::span<Scalar> result);

// Vectors packed into a number and taken out of it.
bool packingFunction(BuiltinId id, std::span<const Operand> x, ScalarKind resultKind, std::span<Scalar> result);

} // namespace msl::constant
