// The precise forms of the math functions, within the error that the language promises for them whatever the device's
// own functions give. They rest on sums and products that are rounded correctly and not contracted, on integers, and on
// a division and a root that are right to a few units in the last place; none needs a fused multiply-add. Everything is
// branch-free and works on vectors.
#include "MSL/legalize/Functions.h"
#include "MSL/legalize/PreciseForms.h"

#include <numbers>

namespace msl {

using ir::Value;

namespace {

using namespace precise;

Number smaller(const Number& x, const Number& y) {
    return choose(isNan(x), y, choose(isNan(y), x, choose(y < x, y, x)));
}
Number larger(const Number& x, const Number& y) {
    return choose(isNan(x), y, choose(isNan(y), x, choose(x < y, y, x)));
}

} // namespace

Value* preciseFunction(ir::Builder& builder, BuiltinId id, Operands operands) {

    const Number x(builder, operands[0]);
    const Number y(builder, operands.size() > 1 ? operands[1] : operands[0]);
    const Number z(builder, operands.size() > 2 ? operands[2] : operands[0]);
    switch (id) {
    case BuiltinId::acos: return arcCosine(x).value;
    case BuiltinId::acosh: return arcHyperbolicCosine(x).value;
    case BuiltinId::asin: return arcSine(x).value;
    case BuiltinId::asinh: return arcHyperbolicSine(x).value;
    case BuiltinId::atan: return arcTangent(x).value;
    case BuiltinId::atan2: return arcTangent(x, y).value;
    case BuiltinId::atanh: return arcHyperbolicTangent(x).value;
    case BuiltinId::sin: return sine(x).value;
    case BuiltinId::cos: return cosine(x).value;
    case BuiltinId::tan: return tangent(x).value;
    case BuiltinId::sinpi: return sineOfTurn(x).value;
    case BuiltinId::cospi: return cosineOfTurn(x).value;
    case BuiltinId::tanpi: return tangentOfTurn(x).value;
    case BuiltinId::sinh: return hyperbolicSine(x).value;
    case BuiltinId::cosh: return hyperbolicCosine(x).value;
    case BuiltinId::tanh: return hyperbolicTangent(x).value;
    case BuiltinId::exp: return power(x, std::numbers::e).value;
    case BuiltinId::exp2: return power(x, 2).value;
    case BuiltinId::exp10: return power(x, 10).value;
    case BuiltinId::log: return logarithm(x).value;
    case BuiltinId::log2: return logarithmTo(x, 2).value;
    case BuiltinId::log10: return logarithmTo(x, 10).value;
    case BuiltinId::pow: return powerOf(x, y, false).value;
    case BuiltinId::powr: return powerOf(x, y, true).value;
    case BuiltinId::divide: return divide(x, y).value;
    case BuiltinId::sqrt: return squareRoot(x).value;
    case BuiltinId::rsqrt: return inverseRoot(x).value;
    case BuiltinId::fma: return fusedMultiplyAdd(x, y, z).value;
    case BuiltinId::fmod: return remainderTruncated(x, y).value;
    case BuiltinId::min:
    case BuiltinId::fmin: return smaller(x, y).value;
    case BuiltinId::max:
    case BuiltinId::fmax: return larger(x, y).value;
    case BuiltinId::min3:
    case BuiltinId::fmin3: return smaller(smaller(x, y), z).value;
    case BuiltinId::max3:
    case BuiltinId::fmax3: return larger(larger(x, y), z).value;
    case BuiltinId::clamp: return smaller(larger(x, y), z).value;
    case BuiltinId::saturate: return smaller(larger(x, x.constant(0.0)), x.constant(1.0)).value;
    case BuiltinId::sign: {
        const Number unit = (signOf(x) | 0x3F800000).as(floatKind);
        return choose(isNan(x), 0.0, choose(isZero(x), x, unit)).value;
    }
    case BuiltinId::fdim: {
        const Number difference = choose(x > y, x - y, 0.0);
        return choose(either(isNan(x), isNan(y)), notANumber(x), difference).value;
    }
    default: return nullptr;
    }
}

} // namespace msl
