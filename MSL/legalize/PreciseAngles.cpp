// Functions of angles, and angles of functions: an angle is brought to -pi/4 ... pi/4 exactly, then a series.
#include "MSL/legalize/PreciseForms.h"

#include <numbers>

namespace msl::precise {

namespace {
struct Angle {
    Number quadrant; // int
    Number rest;     // -pi/4 ... pi/4
};
} // namespace

// Any angle, however large: 2/pi to 224 bits, of which the 96 that matter are multiplied by the mantissa.
static Angle reduceAngle(const Number& x) {
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

static Number sineSeries(const Number& r) {
    const Number z = r * r;
    return r + r * (z * polynomial(z, {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880, -1.0 / 39916800}));
}
static Number cosineSeries(const Number& r) {
    const Number z = r * r;
    return 1.0 - (z * 0.5 - z * z * polynomial(z, {1.0 / 24, -1.0 / 720, 1.0 / 40320, -1.0 / 3628800}));
}
static Number sineOf(const Angle& angle, const Number& quadrant) {
    const Number isCosine = (quadrant & 1) != 0;
    const Number value = choose(isCosine, cosineSeries(angle.rest), sineSeries(angle.rest));
    return withSign(value, (quadrant << 30).as(uintKind) & signBit);
}
static Number tangentOf(const Angle& angle) {
    const Number sine = sineSeries(angle.rest);
    const Number cosine = cosineSeries(angle.rest);
    const Number isTurned = (angle.quadrant & 1) != 0;
    return quotient(choose(isTurned, -cosine, sine), choose(isTurned, sine, cosine));
}
static Number unlessInfinite(const Number& x, const Number& value) {
    return choose(magnitudeBits(x) >= infinityBits, notANumber(x), value);
}
Number sine(const Number& x) {
    const Angle angle = reduceAngle(x);
    return unlessInfinite(x, sineOf(angle, angle.quadrant));
}
Number cosine(const Number& x) {
    const Angle angle = reduceAngle(x);
    return unlessInfinite(x, sineOf(angle, angle.quadrant + 1));
}
Number tangent(const Number& x) {
    const Angle angle = reduceAngle(x);
    const Number isTiny = magnitudeBits(x) < 0x39000000; // the angle itself: the quotient would lose subnormal ones
    return unlessInfinite(x, choose(isTiny, x, tangentOf(angle)));
}

// Half turns: the nearest multiple of 1/2 leaves an exact rest.
static Angle reduceTurn(const Number& x) {
    const Number bounded = choose(magnitude(x) >= 0x1p24, withSign(x.constant(0.0), signOf(x)), x);
    const Number nearest = call(BuiltinId::rint, {bounded + bounded});
    return {nearest.to(intKind), (bounded - nearest * 0.5) * std::numbers::pi};
}
// The sine of whole half turns has the argument's sign.
Number sineOfTurn(const Number& x) {
    const Angle angle = reduceTurn(x);
    const Number value = sineOf(angle, angle.quadrant);
    return unlessInfinite(x, choose(isZero(value), signOf(x).as(floatKind), value));
}
Number cosineOfTurn(const Number& x) {
    const Angle angle = reduceTurn(x);
    const Number value = sineOf(angle, angle.quadrant + 1);
    return unlessInfinite(x, choose(isZero(value), 0.0, value));
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

static constexpr double halfPiHigh = 0x1.921FB6p+0;
static constexpr double halfPiLow = std::numbers::pi / 2 - halfPiHigh;

// atan(t) for 0 <= t <= 1.
static Number arcSeries(const Number& t) {
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
static Number arcSineTail(const Number& z) {
    return z * polynomial(z, {1.0 / 6, 3.0 / 40, 15.0 / 336, 105.0 / 3456, 945.0 / 42240, 10395.0 / 599040,
                              135135.0 / 9676800, 2027025.0 / 175472640, 34459425.0 / 3530096640,
                              654729075.0 / 78033715200, 13749310575.0 / 1880240947200});
}
namespace {
struct ArcSine {
    Number isUpper, value; // asin(|x|), or asin of sqrt((1 - |x|) / 2)
};
} // namespace
static ArcSine arcSineParts(const Number& x) {
    const Number size = magnitude(x);
    const Number isUpper = size > 0.5;
    const Number bounded = call(BuiltinId::fmin, {size, size.constant(1.0)});
    const Number z = choose(isUpper, (1.0 - bounded) * 0.5, bounded * bounded);
    const Number base = choose(isUpper, root(z), size);
    return {isUpper, base + base * arcSineTail(z)};
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

} // namespace msl::precise
