// The library's functions on constants. The same rules as in Scalar.h:
//
// - Functions of integers and truths are exact.
// - Functions of floats that are a few steps of arithmetic (abs, floor, clamp, mix, step, smoothstep, dot, reflect ...)
//   round every step to float, in the order in which the device has them; those of halves compute in float and round
//   once at the end.
// - The others (sin, exp, pow, atan2, normalize ...) are worked out in double by the C library and rounded once, which
//   is nearer to the exact number than a device has to be.
//
// Where the language leaves a result open (pow of a negative number, smoothstep of equal edges, ilogb of zero, a field
// past the end of its integer, the direction of a vector of length zero) nothing is known while compiling.
#pragma once

#include "MSL/builtins/BuiltinId.h"
#include "MSL/constant/Scalar.h"

namespace msl::constant {

// Puts the result's components into `result`, whose size is that of the result type, and whose kind is `resultKind`:
// frexp gives the exponent when an integer is wanted and the fraction otherwise; modf gives the fraction. A scalar
// beside vectors stands for all components. False: the result is not known while compiling, or `id` is none of the
// functions of numbers (textures, atomics, derivatives, threads); then `result` holds nothing of use.
bool call(BuiltinId id, Precision precision, std::span<const Operand> operands, ScalarKind resultKind,
          std::span<Scalar> result);

} // namespace msl::constant
