// bfloat numbers on a target that only stores them. A bfloat is the upper half of a float's bits: operators work on
// floats, and what they give is rounded to nearest even, by the bits, so that no device has a say in it.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/Numbers.h"

namespace msl {

using ir::Op;
using ir::Value;

namespace {

bool isBfloat(TypeRef type) {
    return type->scalar == ScalarKind::bfloat;
}

Number widened(const Number& x) {
    if (!isBfloat(x.type())) return x;
    return (x.as(ScalarKind::ushort).to(ScalarKind::uint) << 16).as(ScalarKind::float_);
}

// A NaN stays one, whatever its upper bits are.
Number narrowed(const Number& x) {
    const Number bits = x.as(ScalarKind::uint);
    const Number isNan = (bits & 0x7FFFFFFF) > 0x7F800000;
    const Number rounded = bits + (((bits >> 16) & 1) + 0x7FFF);
    return (choose(isNan, bits | 0x400000, rounded) >> 16).to(ScalarKind::ushort).as(ScalarKind::bfloat);
}

} // namespace

Value* spellBfloat(ir::Builder& builder, const ir::Instruction& instruction) {
    const TypeRef type = instruction.result->type;
    // Bits are between any two sums and products: no device contracts them.
    const Number x(builder, instruction.operands[0], Number::Contraction::allowed);
    if (instruction.op == Op::convert) {
        const Number wide = widened(x);
        return isBfloat(type) ? narrowed(wide.to(ScalarKind::float_)).value : wide.to(type->scalar).value;
    }
    if (instruction.op == Op::neg) return (x.as(ScalarKind::ushort) ^ 0x8000).as(ScalarKind::bfloat).value;
    const TypeRef wide = isBfloat(type) ? builder.module.types.withScalar(type, ScalarKind::float_) : type;
    const Number y(builder, instruction.operands[1], Number::Contraction::allowed);
    const Number made = Number::binary(instruction.op, wide, widened(x), widened(y));
    return isBfloat(type) ? narrowed(made).value : made.value;
}

} // namespace msl
