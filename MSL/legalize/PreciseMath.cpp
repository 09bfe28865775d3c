// The precise forms of the math functions, within the error that the language promises for them whatever the device's
// own functions give. They rest on sums and products that are rounded correctly and not contracted, on integers, and on
// a division and a root that are right to a few units in the last place; none needs a fused multiply-add. Everything is
// branch-free and works on vectors.
#include "MSL/legalize/Functions.h"

#include "MSL/legalize/Numbers.h"

#include <cmath>
#include <numbers>

namespace msl {

using ir::Value;

namespace {

constexpr ScalarKind floatKind = ScalarKind::float_;
constexpr ScalarKind intKind = ScalarKind::int_;
constexpr ScalarKind uintKind = ScalarKind::uint;
constexpr ScalarKind longKind = ScalarKind::long_;
constexpr ScalarKind ulongKind = ScalarKind::ulong;

constexpr unsigned infinityBits = 0x7F800000;
constexpr unsigned signBit = 0x80000000;

// ------------------------------------------------------------------------------------------------ the bits

// The float with these bits, in the shape of x.
Number special(const Number& x, unsigned bits) {
    return x.as(uintKind).constant(bits).as(floatKind);
}
Number infinity(const Number& x) {
    return special(x, infinityBits);
}
Number notANumber(const Number& x) {
    return special(x, 0x7FC00000);
}
Number magnitudeBits(const Number& x) {
    return x.as(uintKind) & (signBit - 1);
}
Number magnitude(const Number& x) {
    return magnitudeBits(x).as(floatKind);
}
Number signOf(const Number& x) {
    return x.as(uintKind) & signBit;
}
Number withSign(const Number& x, const Number& sign) {
    return (x.as(uintKind) ^ sign).as(floatKind);
}
Number isNan(const Number& x) {
    return magnitudeBits(x) > infinityBits;
}
Number isInfinite(const Number& x) {
    return magnitudeBits(x) == infinityBits;
}
Number isZero(const Number& x) {
    return magnitudeBits(x) == 0;
}
Number isNegative(const Number& x) { // -0 too
    return x.as(intKind) < 0;
}

// |x| = mantissa * 2^(exponent - 23), the mantissa from 2^23 up, for every finite x but zero.
struct Parts {
    Number mantissa; // uint
    Number exponent; // int
};
Parts split(const Number& x) {
    const Number bits = magnitudeBits(x);
    const Number isSubnormal = bits < 0x00800000;
    const Number shift = choose(isSubnormal, call(BuiltinId::clz, {bits}) - 8, 0);
    const Number mantissa = ((bits << shift) & 0x7FFFFF) | 0x800000;
    const Number exponent = choose(isSubnormal, 1 - shift.to(intKind), (bits >> 23).to(intKind)) - 127;
    return {mantissa, exponent};
}

Number powerOfTwo(const Number& exponent) { // -126 ... 127
    return ((exponent + 127) << 23).as(floatKind);
}
// x * 2^exponent for x near one, rounded once: to infinity, zero and subnormal numbers too.
Number scaled(const Number& x, const Number& exponent) {
    const Number bounded = call(BuiltinId::clamp, {exponent, exponent.constant(-250), exponent.constant(250)});
    const Number half = bounded >> 1;
    return x * powerOfTwo(half) * powerOfTwo(bounded - half);
}

// -------------------------------------------------------------------------------------- sums in two floats

struct Pair {
    Number high, low;
};
// The exact sum where |a| >= |b|, and for any two.
Pair quickSum(const Number& a, const Number& b) {
    const Number sum = a + b;
    return {sum, b - (sum - a)};
}
Pair sumOf(const Number& a, const Number& b) {
    const Number sum = a + b;
    const Number fromB = sum - a;
    return {sum, (a - (sum - fromB)) + (b - fromB)};
}
// The exact product, of factors below 2^100: the upper 12 bits of each by bits, the rest by subtraction.
Pair productOf(const Number& a, const Number& b) {
    const auto upper = [](const Number& x) { return (x.as(uintKind) & 0xFFFFF000U).as(floatKind); };
    const Number ah = upper(a);
    const Number al = a - ah;
    const Number bh = upper(b);
    const Number bl = b - bh;
    const Number product = a * b;
    return {product, ((ah * bh - product) + ah * bl + al * bh) + al * bl};
}

// Quotient and root of numbers of moderate size, the device's corrected once: half a unit and a little.
Number quotient(const Number& a, const Number& b) {
    const Number first = a / b;
    const Pair back = productOf(first, b);
    return first + ((a - back.high) - back.low) / b;
}
Number root(const Number& x) {
    const Number first = call(BuiltinId::sqrt, {x});
    const Pair square = productOf(first, first);
    return choose(isZero(x), x, first + ((x - square.high) - square.low) / (first + first));
}

// ------------------------------------------------------------------------- division and roots, correctly rounded

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
Parts splitEven(const Number& x) {
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

// --------------------------------------------------------------------------------- exponentials and logarithms

// The upper bits of a constant, so that products with small integers are exact.
double upperPart(double value) {
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    return std::ldexp(std::trunc(fraction * 32768), exponent - 15);
}

Number exponentialSeries(const Number& r) { // |r| up to 0.35
    return polynomial(r, {1.0, 1.0, 1.0 / 2, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720, 1.0 / 5040});
}

struct Reduced {
    Number whole;  // float
    Number factor; // the number's power is factor * 2^whole
};
// base^x, by x = whole * log(2) / log(base) + rest.
Reduced exponential(const Number& x, double base) {
    const double logarithm = std::log(base);
    const double step = std::numbers::ln2 / logarithm;
    const double limit = 300 * step;
    const Number bounded = call(BuiltinId::clamp, {x, x.constant(-limit), x.constant(limit)});
    const Number whole = call(BuiltinId::rint, {bounded * (1 / step)});
    Number rest = bounded - whole * upperPart(step);
    if (base != 2) rest = rest - whole * (step - upperPart(step));
    if (base != std::numbers::e) rest = rest * logarithm;
    return {whole, exponentialSeries(rest)};
}
Number power(const Number& x, double base, int shift = 0) {
    const auto [whole, factor] = exponential(x, base);
    return choose(isNan(x), x, scaled(factor, whole.to(intKind) + shift));
}

struct Logarithm {
    Number exponent; // float
    Number fraction; // x = 2^exponent * (1 + fraction), from sqrt(1/2) to sqrt(2)
};
Logarithm splitLogarithm(const Number& x) {
    const auto [mantissa, exponent] = split(x);
    const Number isUpper = mantissa > 0xB504F3;
    const Number unit = mantissa.to(floatKind) * choose(isUpper, x.constant(0x1p-24), 0x1p-23);
    return {choose(isUpper, exponent + 1, exponent).to(floatKind), unit - 1.0};
}
// log(1 + f) from log((1 + s) / (1 - s)) = 2s + 2/3 s^3 + ..., with s = f / (2 + f).
Number logarithmSeries(const Number& f, const Number& correction) {
    const Number s = f / (f + 2.0);
    const Number z = s * s;
    const Number tail = z * polynomial(z, {2.0 / 3, 2.0 / 5, 2.0 / 7, 2.0 / 9, 2.0 / 11});
    const Number half = f * f * 0.5;
    return f - (half - (s * (half + tail) + correction));
}
Number logarithmEnds(const Number& x, const Number& value) {
    const Number pole = choose(isZero(x), -infinity(x), choose(x.as(uintKind) == infinityBits, x, value));
    return choose(either(isNan(x), both(isNegative(x), isNot(isZero(x)))), notANumber(x), pole);
}
Number logarithm(const Number& x) {
    const auto [exponent, f] = splitLogarithm(x);
    const double upper = upperPart(std::numbers::ln2);
    const Number small = logarithmSeries(f, exponent * (std::numbers::ln2 - upper));
    return logarithmEnds(x, exponent * upper + small);
}
Number logarithmTo(const Number& x, double base) {
    const auto [exponent, f] = splitLogarithm(x);
    const double step = std::numbers::ln2 / std::log(base);
    const Number small = logarithmSeries(f, f.constant(0.0)) * (1 / std::log(base));
    if (base == 2) return logarithmEnds(x, exponent + small);
    return logarithmEnds(x, exponent * upperPart(step) + (exponent * (step - upperPart(step)) + small));
}
// log(1 + x) for x from -1/2 up: what the sum loses is put back.
Number logarithmOfNext(const Number& x) {
    const Number next = x + 1.0;
    const Number lost = choose(x > 1.0, 1.0 - (next - x), x - (next - 1.0));
    return logarithm(next) + lost / next;
}

// 2^(y log2 |x|) with the logarithm in two floats, for the error is multiplied by an exponent of up to 128.
Number powerOf(const Number& x, const Number& y, bool isReal) {
    const auto [exponent, f] = splitLogarithm(x);
    const Pair denominator = quickSum(f.constant(2.0), f);
    const Number s = f / denominator.high;
    const Pair back = productOf(s, denominator.high);
    const Number sLow = (((f - back.high) - back.low) - s * denominator.low) / denominator.high;
    const Number z = s * s;
    const Number tail = s * z * polynomial(z, {2.0 / 3, 2.0 / 5, 2.0 / 7, 2.0 / 9, 2.0 / 11, 2.0 / 13});
    const auto log2eHigh = static_cast<double>(static_cast<float>(std::numbers::log2e));
    const Pair scaledUp = productOf(s + s, s.constant(log2eHigh));
    const Number rest =
        scaledUp.low + (((s + s) * (std::numbers::log2e - log2eHigh) + (sLow + sLow + tail) * std::numbers::log2e));
    const Pair small = quickSum(scaledUp.high, rest);
    const Pair sum = sumOf(exponent, small.high);
    const Pair logarithm = quickSum(sum.high, sum.low + small.low);
    // Past 2^40 the result is over- or underflow whatever y is.
    const Number bounded = call(BuiltinId::clamp, {y, y.constant(-0x1p40), y.constant(0x1p40)});
    const Pair raised = productOf(bounded, logarithm.high);
    const Pair total = quickSum(raised.high, raised.low + bounded * logarithm.low);
    const Number high = call(BuiltinId::clamp, {total.high, y.constant(-300.0), y.constant(300.0)});
    const Number low = choose(high == total.high, total.low, 0.0);
    const Number whole = call(BuiltinId::rint, {high});
    const Number factor = exponentialSeries(((high - whole) + low) * std::numbers::ln2);
    Number value = scaled(factor, whole.to(intKind));

    const Number isOne = magnitudeBits(x) == 0x3F800000;
    const Number grows = isNegative(y);
    value = choose(isOne, 1.0, value);
    value = choose(isZero(x), choose(grows, infinity(x), 0.0), value);
    value = choose(isInfinite(x), choose(grows, 0.0, infinity(x)), value);
    const Number anyNan = either(isNan(x), isNan(y));
    const Number isBelow = both(isNegative(x), isNot(isZero(x)));
    if (isReal) {
        const Number isUndefined =
            either(both(isZero(y), either(isZero(x), isInfinite(x))), both(isInfinite(y), isOne));
        return choose(either(either(anyNan, isBelow), isUndefined), notANumber(x), choose(isZero(y), 1.0, value));
    }
    const Number size = magnitude(y);
    const Number isWhole = either(size >= 0x1p23, call(BuiltinId::trunc, {y}) == y);
    const Number small24 = call(BuiltinId::fmin, {size, size.constant(0x1p24)});
    const Number isOdd = both(both(isWhole, size < 0x1p24), (small24.to(intKind) & 1) != 0);
    value = withSign(value, choose(isOdd, signOf(x), 0));
    const Number isUndefined = both(both(isBelow, isNot(isWhole)), isNot(isInfinite(x)));
    value = choose(either(anyNan, isUndefined), notANumber(x), value);
    return choose(either(isZero(y), x.as(uintKind) == 0x3F800000), 1.0, value);
}

// ----------------------------------------------------------------------------------------------- circles

struct Angle {
    Number quadrant; // int
    Number rest;     // -pi/4 ... pi/4
};

// Any angle, however large: 2/pi to 224 bits, of which the 96 that matter are multiplied by the mantissa.
Angle reduceAngle(const Number& x) {
    constexpr unsigned words[] = {0,          0,          0xA2F9836E, 0x4E441529, 0xFC2757D1,
                                  0xF534DDC0, 0xDB629599, 0x3C439041, 0xFE5163AB};
    const Parts parts = split(x);
    // The first of four words, and how far into it, so that what lies above is a multiple of four quadrants.
    const Number position = call(BuiltinId::max, {parts.exponent + 31, parts.exponent.constant(0)}).as(uintKind);
    const Number word = position >> 5;
    const Number shift = position & 31;
    const auto wordAt = [&](unsigned offset) {
        Number found = word.constant(words[offset]);
        for (unsigned i = 1; i <= 4; ++i)
            found = choose(word == i, i + offset < std::size(words) ? words[i + offset] : 0U, found);
        return found;
    };
    const Number w[] = {wordAt(0), wordAt(1), wordAt(2), wordAt(3)};
    const auto shifted = [&](const Number& upper, const Number& lower) {
        const Number together = upper.to(ulongKind) << 32 | lower.to(ulongKind);
        return (together << shift.to(ulongKind)) >> 32;
    };
    const Number high = shifted(w[0], w[1]);
    const Number middle = shifted(w[1], w[2]);
    const Number low = shifted(w[2], w[3]);
    const Number mantissa = parts.mantissa.to(ulongKind) << 8;
    const Number product = (mantissa * high << 32) + mantissa * middle + (mantissa * low >> 32);
    // Two bits of quadrant above 62 of fraction, to the nearest quadrant.
    const Number quadrant = ((product + (1LL << 61)) >> 62).to(intKind);
    const Number fraction = (product << 2).as(longKind);
    const Number rest = fraction.to(floatKind) * (std::numbers::pi * 0x1p-65);
    const Number isSmall = magnitudeBits(x) <= 0x3F490FDA;
    const Number sign = signOf(x);
    const Number signedQuadrant = choose(sign != 0, 0 - quadrant, quadrant);
    return {choose(isSmall, 0, signedQuadrant), choose(isSmall, x, withSign(rest, sign))};
}

Number sineSeries(const Number& r) {
    const Number z = r * r;
    return r + r * (z * polynomial(z, {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880, -1.0 / 39916800}));
}
Number cosineSeries(const Number& r) {
    const Number z = r * r;
    return 1.0 - (z * 0.5 - z * z * polynomial(z, {1.0 / 24, -1.0 / 720, 1.0 / 40320, -1.0 / 3628800}));
}
Number sineOf(const Angle& angle, const Number& quadrant) {
    const Number isCosine = (quadrant & 1) != 0;
    const Number value = choose(isCosine, cosineSeries(angle.rest), sineSeries(angle.rest));
    return withSign(value, (quadrant << 30).as(uintKind) & signBit);
}
Number tangentOf(const Angle& angle) {
    const Number sine = sineSeries(angle.rest);
    const Number cosine = cosineSeries(angle.rest);
    const Number isTurned = (angle.quadrant & 1) != 0;
    return quotient(choose(isTurned, -cosine, sine), choose(isTurned, sine, cosine));
}
Number unlessInfinite(const Number& x, const Number& value) {
    return choose(magnitudeBits(x) >= infinityBits, notANumber(x), value);
}
Number tangent(const Number& x) {
    const Angle angle = reduceAngle(x);
    const Number isTiny = magnitudeBits(x) < 0x39000000; // the angle itself: the quotient would lose subnormal ones
    return unlessInfinite(x, choose(isTiny, x, tangentOf(angle)));
}

// Half turns: the nearest multiple of 1/2 leaves an exact rest.
Angle reduceTurn(const Number& x) {
    const Number bounded = choose(magnitude(x) >= 0x1p24, withSign(x.constant(0.0), signOf(x)), x);
    const Number nearest = call(BuiltinId::rint, {bounded + bounded});
    return {nearest.to(intKind), (bounded - nearest * 0.5) * std::numbers::pi};
}
// The sine of whole half turns has the argument's sign.
Number sineOfTurn(const Number& x, const Angle& angle) {
    const Number value = sineOf(angle, angle.quadrant);
    return unlessInfinite(x, choose(isZero(value), signOf(x).as(floatKind), value));
}
Number tangentOfTurn(const Number& x) {
    const Angle angle = reduceTurn(x);
    const Number quadrant = angle.quadrant;
    const Number value = tangentOf(angle);
    const Number isWhole = isZero(angle.rest);
    const Number isTurned = (quadrant & 1) != 0;
    // At n + 1/2 the pole's sign is that of (-1)^n, at n it is a zero with the sign of x times (-1)^n.
    const Number pole = withSign(infinity(x), ((quadrant << 30).as(uintKind) & signBit));
    const Number zero = (signOf(x) ^ ((quadrant << 30).as(uintKind) & signBit)).as(floatKind);
    return unlessInfinite(x, choose(isWhole, choose(isTurned, pole, zero), value));
}

constexpr double halfPiHigh = 0x1.921FB6p+0;
constexpr double halfPiLow = std::numbers::pi / 2 - halfPiHigh;

// atan(t) for 0 <= t <= 1.
Number arcSeries(const Number& t) {
    const Number isUpper = t > 0.41421356;
    const Number u = choose(isUpper, quotient(t - 1.0, t + 1.0), t);
    const Number z = u * u;
    const Number tail =
        z * polynomial(z, {-1.0 / 3, 1.0 / 5, -1.0 / 7, 1.0 / 9, -1.0 / 11, 1.0 / 13, -1.0 / 15, 1.0 / 17, -1.0 / 19});
    const Number value = u + u * tail;
    return choose(isUpper, (value + halfPiLow / 2) + halfPiHigh / 2, value);
}
Number arcTangent(const Number& x) {
    const Number size = magnitude(x);
    const Number isFar = size > 1.0;
    const Number bounded = call(BuiltinId::fmin, {size, size.constant(0x1p60)});
    const Number value = arcSeries(choose(isFar, quotient(x.constant(1.0), choose(isFar, bounded, 1.0)), size));
    const Number whole = choose(isFar, (halfPiLow - value) + halfPiHigh, value);
    return choose(isNan(x), x, withSign(whole, signOf(x)));
}
Number arcTangent(const Number& y, const Number& x) {
    const Number ySize = magnitude(y);
    const Number xSize = magnitude(x);
    const Number isSteep = ySize > xSize;
    Number ratio = divide(choose(isSteep, xSize, ySize), choose(isSteep, ySize, xSize));
    ratio = choose(both(isZero(x), isZero(y)), 0.0, choose(both(isInfinite(x), isInfinite(y)), 1.0, ratio));
    const Number first = arcSeries(ratio);
    const Number value = choose(isSteep, (halfPiLow - first) + halfPiHigh, first);
    const Number whole = choose(isNegative(x), (2 * halfPiLow - value) + 2 * halfPiHigh, value);
    return choose(either(isNan(x), isNan(y)), notANumber(x), withSign(whole, signOf(y)));
}

// asin(x) / x - 1 for x^2 = z up to 1/4.
Number arcSineTail(const Number& z) {
    return z * polynomial(z, {1.0 / 6, 3.0 / 40, 15.0 / 336, 105.0 / 3456, 945.0 / 42240, 10395.0 / 599040,
                              135135.0 / 9676800, 2027025.0 / 175472640, 34459425.0 / 3530096640,
                              654729075.0 / 78033715200, 13749310575.0 / 1880240947200});
}
struct ArcSine {
    Number isUpper, value; // asin(|x|), or asin of sqrt((1 - |x|) / 2)
};
ArcSine arcSineParts(const Number& x) {
    const Number size = magnitude(x);
    const Number isUpper = size > 0.5;
    const Number bounded = call(BuiltinId::fmin, {size, size.constant(1.0)});
    const Number z = choose(isUpper, (1.0 - bounded) * 0.5, bounded * bounded);
    const Number base = choose(isUpper, root(z), size);
    return {isUpper, base + base * arcSineTail(z)};
}
Number outsideOne(const Number& x, const Number& value) {
    return choose(magnitudeBits(x) > 0x3F800000, notANumber(x), value);
}
Number arcSine(const Number& x) {
    const auto [isUpper, value] = arcSineParts(x);
    const Number whole = choose(isUpper, (halfPiLow - (value + value)) + halfPiHigh, value);
    return outsideOne(x, withSign(whole, signOf(x)));
}
Number arcCosine(const Number& x) {
    const auto [isUpper, value] = arcSineParts(x);
    const Number twice = value + value;
    const Number far = choose(isNegative(x), (2 * halfPiLow - twice) + 2 * halfPiHigh, twice);
    const Number near = (halfPiLow - withSign(value, signOf(x))) + halfPiHigh;
    return outsideOne(x, choose(isUpper, far, near));
}

// --------------------------------------------------------------------------------------------- hyperbolas

Number hyperbolicSineSeries(const Number& x) { // |x| up to 1
    const Number z = x * x;
    return x + x * (z * polynomial(z, {1.0 / 6, 1.0 / 120, 1.0 / 5040, 1.0 / 362880, 1.0 / 39916800}));
}
Number hyperbolicSine(const Number& x) {
    const Number size = magnitude(x);
    const Number half = power(size, std::numbers::e, -1);
    const Number large = half - 0.25 / half;
    return choose(size < 1.0, hyperbolicSineSeries(x), withSign(large, signOf(x)));
}
Number hyperbolicCosine(const Number& x) {
    const Number half = power(magnitude(x), std::numbers::e, -1);
    return half + 0.25 / half;
}
Number hyperbolicTangent(const Number& x) {
    const Number size = magnitude(x);
    const Number z = x * x;
    const Number cosine =
        polynomial(z, {1.0, 1.0 / 2, 1.0 / 24, 1.0 / 720, 1.0 / 40320, 1.0 / 3628800, 1.0 / 479001600});
    const Number isSmall = size < 0.75;
    const Number isTiny = magnitudeBits(x) < 0x39000000;
    const Number small = quotient(hyperbolicSineSeries(x), choose(isSmall, cosine, 1.0));
    const Number bounded = call(BuiltinId::fmin, {size, size.constant(12.0)});
    const Number large = 1.0 - 2.0 / (power(bounded + bounded, std::numbers::e) + 1.0);
    const Number value = choose(isTiny, x, choose(isSmall, small, withSign(large, signOf(x))));
    return choose(isNan(x), x, value);
}
Number arcHyperbolicSine(const Number& x) {
    const Number size = magnitude(x);
    const Number isLarge = size > 16384.0;
    const Number bounded = choose(isLarge, 1.0, size);
    const Number square = bounded * bounded;
    const Number small = logarithmOfNext(bounded + quotient(square, root(square + 1.0) + 1.0));
    const Number value = choose(isLarge, logarithm(size) + std::numbers::ln2, small);
    return choose(magnitudeBits(x) < 0x39000000, x, withSign(value, signOf(x)));
}
Number arcHyperbolicCosine(const Number& x) {
    const Number isLarge = x > 16384.0;
    const Number rest = choose(isLarge, 1.0, x - 1.0);
    const Number small = logarithmOfNext(rest + root(rest * (rest + 2.0)));
    const Number value = choose(isLarge, logarithm(x) + std::numbers::ln2, small);
    return choose(either(isNan(x), x < 1.0), notANumber(x), value);
}
Number arcHyperbolicTangent(const Number& x) {
    const Number size = magnitude(x);
    const Number isEnd = size >= 1.0;
    const Number bounded = choose(isEnd, 0.5, size);
    const Number twice = bounded + bounded;
    const Number small = twice + quotient(twice * bounded, 1.0 - bounded);
    const Number value = logarithmOfNext(small) * 0.5;
    const Number whole = choose(magnitudeBits(x) < 0x39000000, size, choose(isEnd, infinity(x), value));
    return outsideOne(x, withSign(whole, signOf(x)));
}

// ------------------------------------------------------------------- NaN, the smallest and the largest numbers

Number smaller(const Number& x, const Number& y) {
    return choose(isNan(x), y, choose(isNan(y), x, choose(y < x, y, x)));
}
Number larger(const Number& x, const Number& y) {
    return choose(isNan(x), y, choose(isNan(y), x, choose(x < y, y, x)));
}

} // namespace

Value* preciseFunction(ir::Builder& builder, BuiltinId id, TypeRef type, std::span<Value* const> operands) {
    const Number x(builder, operands[0]);
    const Number y(builder, operands.size() > 1 ? operands[1] : operands[0]);
    const Number z(builder, operands.size() > 2 ? operands[2] : operands[0]);
    (void)type;
    switch (id) {
    case BuiltinId::acos: return arcCosine(x).value;
    case BuiltinId::acosh: return arcHyperbolicCosine(x).value;
    case BuiltinId::asin: return arcSine(x).value;
    case BuiltinId::asinh: return arcHyperbolicSine(x).value;
    case BuiltinId::atan: return arcTangent(x).value;
    case BuiltinId::atan2: return arcTangent(x, y).value;
    case BuiltinId::atanh: return arcHyperbolicTangent(x).value;
    case BuiltinId::sin: {
        const Angle angle = reduceAngle(x);
        return unlessInfinite(x, sineOf(angle, angle.quadrant)).value;
    }
    case BuiltinId::cos: {
        const Angle angle = reduceAngle(x);
        return unlessInfinite(x, sineOf(angle, angle.quadrant + 1)).value;
    }
    case BuiltinId::tan: return tangent(x).value;
    case BuiltinId::sinpi: return sineOfTurn(x, reduceTurn(x)).value;
    case BuiltinId::cospi: {
        const Angle angle = reduceTurn(x);
        const Number value = sineOf(angle, angle.quadrant + 1);
        return unlessInfinite(x, choose(isZero(value), 0.0, value)).value;
    }
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
