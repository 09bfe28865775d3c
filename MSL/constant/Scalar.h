// A number known while compiling, and what the language's operators and conversions make of it. Sema's constant
// expressions, the IR's folding and whatever executes IR compute with these functions and no others, so that a number
// is the same wherever it is worked out: as the device would give it.
//
// - Integers wrap in their own width. Shift counts are taken modulo the width; the shift to the right fills with the
//   sign of signed kinds. A division by zero divides by one.
// - Floats round every operation to nearest, ties to even; half and bfloat are computed in float and rounded from
// there,
//   which for the operators is the same. An integer becomes a bfloat by way of float. Subnormal numbers are kept,
//   though a device may take them for zero; what kind of NaN comes out is not specified.
// - Float to integer truncates and stays in the target's range, NaN becomes 0; integer to integer wraps; a bool is
//   whether the number is not zero (NaN is not).
//
// C++ does not take everything as a constant expression that the device can compute: the fault beside a result says so.
// No AST, no IR, no state: any thread.
#pragma once

#include "MSL/types/Types.h"

#include <cstdint>
#include <span>
#include <string>

namespace msl::constant {

struct Scalar {
    ScalarKind kind = ScalarKind::int_;
    // floating: the bits of that format; bool: 0 or 1; integers: sign- or zero-extended.
    std::uint64_t bits = 0;

    static Scalar integer(ScalarKind kind, std::uint64_t value); // cut to the kind's width; bool: whether it is not 0
    static Scalar floating(ScalarKind kind, double value);       // rounded once
    static Scalar boolean(bool value) { return {ScalarKind::bool_, value ? 1U : 0U}; }
    static Scalar zero(ScalarKind kind) { return {kind, 0}; }

    bool isInteger() const { return msl::isInteger(kind); } // bool too
    bool isTrue() const;                                    // not zero
    // An integer's value; of a ulong its bits. A float is truncated.
    std::int64_t asInteger() const;
    // The value as a double: exact but for 64-bit integers past 2^53.
    double asDouble() const;
    // Of a floating kind, exactly.
    float asFloat() const;

    friend bool operator==(const Scalar&, const Scalar&) = default; // the same kind and bits
};

enum class Op : std::uint8_t {
    // of one operand
    neg,
    bitNot,
    logicalNot,
    // of two operands of the same kind, with a result of that kind. rem of floats is what is left of a quotient that
    // is cut towards zero.
    add,
    sub,
    mul,
    div,
    rem,
    shl, // the count's kind may be another
    shr,
    bitAnd,
    bitOr,
    bitXor,
    // with a bool for a result
    logicalAnd,
    logicalOr,
    equal,
    notEqual,
    less,
    lessEqual,
    greater,
    greaterEqual,
};

// Why C++ does not take a result for a constant.
enum class Fault : std::uint8_t {
    none,
    divisionByZero, // of integers
    overflow,       // of signed integers
    outOfRange,     // a float converted to an integer that cannot hold it, NaN too
};

struct Result {
    Scalar value; // what the device gives
    Fault fault = Fault::none;
};

Result compute(Op op, Scalar operand);
Result compute(Op op, Scalar left, Scalar right);
Result convert(Scalar value, ScalarKind to);
// The same bits as another kind of the same size.
Scalar bitcast(Scalar value, ScalarKind to);
// The bits of a vector seen as another: the first number's lowest bits come first. False when the sizes differ or are
// larger than those of a vector.
bool bitcast(std::span<const Scalar> from, ScalarKind to, std::span<Scalar> out);

// The fault in clang's words: "division by zero", "value 2147483648 is outside the range of representable values of
// type 'int'". The operands are those that gave it.
std::string faultText(Op op, Scalar left, Scalar right);
std::string conversionFaultText(Scalar value, ScalarKind to);

// A number as those messages have it: "-3", "3.0E+9", "true".
std::string describe(Scalar value);

// The bits of a kind's numbers: 1 for bool.
unsigned bitWidth(ScalarKind kind);

// A scalar, vector or matrix by its components; a matrix column by column.
struct Operand {
    std::span<const Scalar> parts;
    unsigned columns = 1; // more than one: a matrix
};

// The linear product: at least one operand is a matrix, the other a matrix, vector or scalar. Sums run from the first
// product to the last, each step rounded. False when the shapes do not fit, or `result` has not as many parts.
bool product(Operand left, Operand right, std::span<Scalar> result);

} // namespace msl::constant
