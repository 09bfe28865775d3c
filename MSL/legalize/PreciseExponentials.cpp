// Exponentials, logarithms, powers and the hyperbolic functions: series near zero, the rest by exact scaling.
#include "MSL/legalize/PreciseForms.h"

#include <cmath>
#include <numbers>

namespace msl::precise {

// The upper bits of a constant, so that products with small integers are exact.
static double upperPart(double value) {
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    return std::ldexp(std::trunc(fraction * 32768), exponent - 15);
}

static Number exponentialSeries(const Number& r) { // |r| up to 0.35
    return polynomial(r, {1.0, 1.0, 1.0 / 2, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720, 1.0 / 5040});
}

namespace {
struct Reduced {
    Number whole;  // float
    Number factor; // the number's power is factor * 2^whole
};
} // namespace
// base^x, by x = whole * log(2) / log(base) + rest.
static Reduced exponential(const Number& x, double base) {
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
Number power(const Number& x, double base, int shift) {
    const auto [whole, factor] = exponential(x, base);
    return choose(isNan(x), x, scaled(factor, whole.to(intKind) + shift));
}

namespace {
struct Logarithm {
    Number exponent; // float
    Number fraction; // x = 2^exponent * (1 + fraction), from sqrt(1/2) to sqrt(2)
};
} // namespace
static Logarithm splitLogarithm(const Number& x) {
    const auto [mantissa, exponent] = split(x);
    const Number isUpper = mantissa > 0xB504F3;
    const Number unit = mantissa.to(floatKind) * choose(isUpper, x.constant(0x1p-24), 0x1p-23);
    return {choose(isUpper, exponent + 1, exponent).to(floatKind), unit - 1.0};
}
// log(1 + f) from log((1 + s) / (1 - s)) = 2s + 2/3 s^3 + ..., with s = f / (2 + f).
static Number logarithmSeries(const Number& f, const Number& correction) {
    const Number s = f / (f + 2.0);
    const Number z = s * s;
    const Number tail = z * polynomial(z, {2.0 / 3, 2.0 / 5, 2.0 / 7, 2.0 / 9, 2.0 / 11});
    const Number half = f * f * 0.5;
    return f - (half - (s * (half + tail) + correction));
}
static Number logarithmEnds(const Number& x, const Number& value) {
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
static Number logarithmOfNext(const Number& x) {
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

// --------------------------------------------------------------------------------------------- hyperbolas

static Number hyperbolicSineSeries(const Number& x) { // |x| up to 1
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

} // namespace msl::precise
