// Division, roots, fused multiply-add and remainder, correctly rounded: estimates of the device's, put right by
// integers.
#include "MSL/legalize/PreciseForms.h"

namespace msl::precise {

Number divide(const Number& x, const Number& y) {
    const Parts a = split(x);
    const Parts b = split(y);
    // A quotient of 24 bits from the device's, then the exact remainder says by how much it is off.
    const Number isLess = a.mantissa < b.mantissa;
    const Number shift = choose(isLess, a.mantissa.constant(24), 23);
    const Number fromA = a.mantissa.to(floatKind);
    const Number fromB = b.mantissa.to(floatKind);
    const Number estimate = fromA / fromB * choose(isLess, fromA.constant(0x1p24), 0x1p23);
    Number result = call(BuiltinId::rint, {estimate}).to(longKind);
    const Number divisor = b.mantissa.to(longKind);
    const Number dividend = a.mantissa.to(longKind) << shift.to(longKind);
    const Number off = (dividend - result * divisor).to(floatKind) / fromB;
    result = result + call(BuiltinId::rint, {off}).to(longKind);
    const Number twice = (dividend - result * divisor) * 2;
    result = result + choose(twice > divisor, twice.constant(1), 0) - choose(twice < -divisor, twice.constant(1), 0);
    const Number exponent = a.exponent - b.exponent - (shift.to(intKind) - 23);
    Number value = scaled(result.to(floatKind) * 0x1p-23, exponent);
    value = choose(either(isInfinite(y), isZero(x)), 0.0, value);
    value = choose(either(isInfinite(x), isZero(y)), infinity(x), value);
    const Number isUndefined =
        either(either(isNan(x), isNan(y)), either(both(isInfinite(x), isInfinite(y)), both(isZero(x), isZero(y))));
    return choose(isUndefined, notANumber(x), withSign(value, signOf(x) ^ signOf(y)));
}

// x = mantissa * 2^(2 * halfExponent - 23), the mantissa from 2^23 to 2^25.
static Parts splitEven(const Number& x) {
    const Parts parts = split(x);
    const Number odd = parts.exponent & 1;
    return {parts.mantissa << odd.to(uintKind), (parts.exponent - odd) >> 1};
}

Number squareRoot(const Number& x) {
    const auto [mantissa, halfExponent] = splitEven(x);
    const Number estimate = call(BuiltinId::sqrt, {mantissa.to(floatKind) * 0x1p-23}) * 0x1p23;
    Number result = call(BuiltinId::rint, {estimate}).to(longKind);
    const Number target = mantissa.to(longKind) << 23;
    for (int round = 0; round < 4; ++round) {
        const Number rest = target - result * result;
        result = result + choose(rest > result, rest.constant(1), 0) - choose(rest <= -result, rest.constant(1), 0);
    }
    const Number value = scaled(result.to(floatKind) * 0x1p-23, halfExponent);
    const Number isSame = either(isZero(x), x.as(uintKind) == infinityBits);
    return choose(isSame, x, choose(either(isNan(x), isNegative(x)), notANumber(x), value));
}

Number inverseRoot(const Number& x) {
    const auto [mantissa, halfExponent] = splitEven(x);
    const Number estimate = call(BuiltinId::rsqrt, {mantissa.to(floatKind) * 0x1p-23}) * 0x1p24;
    Number result = call(BuiltinId::rint, {estimate}).to(longKind);
    const Number factor = mantissa.to(longKind);
    // The result is right when (result +- 1/2)^2 * mantissa lies on both sides of 2^71. Four times that is 2^73, which
    // is nothing modulo 2^64, and the differences are small enough to have their sign there.
    for (int round = 0; round < 4; ++round) {
        const Number above = result * 2 + 1;
        const Number below = result * 2 - 1;
        result = result + choose(above * above * factor < 0, above.constant(1), 0) -
                 choose(below * below * factor > 0, above.constant(1), 0);
    }
    const Number value = scaled(result.to(floatKind) * 0x1p-24, -halfExponent);
    const Number finite = choose(x.as(uintKind) == infinityBits, 0.0, value);
    const Number pole = (signOf(x) | infinityBits).as(floatKind);
    return choose(isZero(x), pole, choose(either(isNan(x), isNegative(x)), notANumber(x), finite));
}

// One rounding of the whole, in integers: the product's 48 bits and the addend lie at the top of 62 bits, the smaller
// is shifted down with a last bit that stands for all that fell off.
Number fusedMultiplyAdd(const Number& x, const Number& y, const Number& z) {
    const Parts a = split(x);
    const Parts b = split(y);
    const Parts c = split(z);
    const Number product =
        choose(either(isZero(x), isZero(y)), 0, (a.mantissa.to(ulongKind) * b.mantissa.to(ulongKind)) << 14);
    const Number addend = choose(isZero(z), 0, c.mantissa.to(ulongKind) << 38);
    // Both count units of 2^(exponent - 60) now.
    const Number productExponent = choose(product == 0, -500, a.exponent + b.exponent);
    const Number addendExponent = choose(addend == 0, -500, c.exponent - 1);
    const Number exponent = call(BuiltinId::max, {productExponent, addendExponent});
    const auto aligned = [&](const Number& bits, const Number& own) {
        const Number by = call(BuiltinId::min, {exponent - own, exponent.constant(63)}).to(ulongKind);
        const Number kept = bits >> by;
        return kept | choose((kept << by) != bits, kept.constant(1), 0);
    };
    const auto negated = [](const Number& bits, const Number& isNegated) {
        return choose(isNegated, 0 - bits, bits).as(longKind);
    };
    const Number productSign = signOf(x) ^ signOf(y);
    const Number sum = negated(aligned(product, productExponent), productSign != 0) +
                       negated(aligned(addend, addendExponent), isNegative(z));
    const Number size = choose(sum < 0, 0 - sum, sum).as(ulongKind);
    const Number top = call(BuiltinId::clz, {(size >> 32).to(uintKind)});
    const Number zeros = choose((size >> 32) == 0, call(BuiltinId::clz, {size.to(uintKind)}) + 32, top).to(intKind);
    // 24 bits and the rest, rounded to even; a subnormal result keeps fewer.
    const Number resultExponent = exponent + 3 - zeros; // of the leading bit
    const Number missing = call(BuiltinId::clamp, {-126 - resultExponent, zeros.constant(0), zeros.constant(23)});
    const Number drop = (missing + 40).to(ulongKind);
    const Number normal = size << call(BuiltinId::min, {zeros, zeros.constant(63)}).to(ulongKind);
    const Number kept = normal >> drop;
    const Number rest = normal - (kept << drop);
    const Number half = rest.constant(1) << (drop - 1);
    const Number isUp = either(rest > half, both(rest == half, (kept & 1) != 0));
    const Number rounded = (kept + choose(isUp, kept.constant(1), 0)).to(uintKind).to(floatKind) * 0x1p-23;
    const Number value =
        withSign(scaled(rounded, resultExponent + missing), choose(sum < 0, signOf(z).constant(signBit), 0));
    const Number zero = (productSign & signOf(z)).as(floatKind);
    Number result = choose(sum == 0, choose(both(product == 0, addend == 0), zero, 0.0), value);
    const Number isProductInfinite = either(isInfinite(x), isInfinite(y));
    result = choose(isInfinite(z), z, result);
    const Number clashes = both(isInfinite(z), productSign != signOf(z));
    result = choose(isProductInfinite, choose(clashes, notANumber(x), withSign(infinity(x), productSign)), result);
    const Number isUndefined = either(either(isNan(x), isNan(y)), isNan(z));
    const Number zeroTimesInfinite = either(both(isInfinite(x), isZero(y)), both(isZero(x), isInfinite(y)));
    return choose(either(isUndefined, zeroTimesInfinite), notANumber(x), result);
}

// x - y * trunc(x / y), exactly: the quotient's bits are divided away 39 at a time.
Number remainderTruncated(const Number& x, const Number& y) {
    const Parts a = split(x);
    const Parts b = split(y);
    const Number divisor = b.mantissa.to(ulongKind);
    Number left = call(BuiltinId::max, {a.exponent - b.exponent, a.exponent.constant(0)});
    Number rest = a.mantissa.to(ulongKind) % divisor;
    for (int round = 0; round < 8; ++round) {
        const Number step = call(BuiltinId::min, {left, left.constant(39)});
        rest = (rest << step.to(ulongKind)) % divisor;
        left = left - step;
    }
    const Number value = withSign(scaled(rest.to(floatKind) * 0x1p-23, b.exponent), signOf(x));
    const Number isWhole = either(magnitudeBits(x) < magnitudeBits(y), isInfinite(y));
    const Number isUndefined = either(either(isNan(x), isNan(y)), either(isInfinite(x), isZero(y)));
    return choose(isUndefined, notANumber(x), choose(isWhole, x, value));
}

} // namespace msl::precise
