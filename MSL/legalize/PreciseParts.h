// What the precise forms are made of: the bits of a float, sums and products in two floats, quotients and roots that
// the device's own are corrected to. Used by the files of the precise forms alone.
#pragma once

#include "MSL/legalize/Numbers.h"

namespace msl::precise {

inline constexpr ScalarKind floatKind = ScalarKind::float_;
inline constexpr ScalarKind intKind = ScalarKind::int_;
inline constexpr ScalarKind uintKind = ScalarKind::uint;
inline constexpr ScalarKind longKind = ScalarKind::long_;
inline constexpr ScalarKind ulongKind = ScalarKind::ulong;

inline constexpr unsigned infinityBits = 0x7F800000;
inline constexpr unsigned signBit = 0x80000000;

// ------------------------------------------------------------------------------------------------ the bits

// The float with these bits, in the shape of x.
inline Number special(const Number& x, unsigned bits) {
    return x.as(uintKind).constant(bits).as(floatKind);
}
inline Number infinity(const Number& x) {
    return special(x, infinityBits);
}
inline Number notANumber(const Number& x) {
    return special(x, 0x7FC00000);
}
inline Number magnitudeBits(const Number& x) {
    return x.as(uintKind) & (signBit - 1);
}
inline Number magnitude(const Number& x) {
    return magnitudeBits(x).as(floatKind);
}
inline Number signOf(const Number& x) {
    return x.as(uintKind) & signBit;
}
inline Number withSign(const Number& x, const Number& sign) {
    return (x.as(uintKind) ^ sign).as(floatKind);
}
inline Number isNan(const Number& x) {
    return magnitudeBits(x) > infinityBits;
}
inline Number isInfinite(const Number& x) {
    return magnitudeBits(x) == infinityBits;
}
inline Number isZero(const Number& x) {
    return magnitudeBits(x) == 0;
}
inline Number isNegative(const Number& x) { // -0 too
    return x.as(intKind) < 0;
}

// |x| = mantissa * 2^(exponent - 23), the mantissa from 2^23 up, for every finite x but zero.
struct Parts {
    Number mantissa; // uint
    Number exponent; // int
};
inline Parts split(const Number& x) {
    const Number bits = magnitudeBits(x);
    const Number isSubnormal = bits < 0x00800000;
    const Number shift = choose(isSubnormal, call(BuiltinId::clz, {bits}) - 8, 0);
    const Number mantissa = ((bits << shift) & 0x7FFFFF) | 0x800000;
    const Number exponent = choose(isSubnormal, 1 - shift.to(intKind), (bits >> 23).to(intKind)) - 127;
    return {mantissa, exponent};
}

inline Number powerOfTwo(const Number& exponent) { // -126 ... 127
    return ((exponent + 127) << 23).as(floatKind);
}
// x * 2^exponent for x near one, rounded once: to infinity, zero and subnormal numbers too.
inline Number scaled(const Number& x, const Number& exponent) {
    const Number bounded = call(BuiltinId::clamp, {exponent, exponent.constant(-250), exponent.constant(250)});
    const Number half = bounded >> 1;
    return x * powerOfTwo(half) * powerOfTwo(bounded - half);
}

// -------------------------------------------------------------------------------------- sums in two floats

struct Pair {
    Number high, low;
};
// The exact sum where |a| >= |b|, and for any two.
inline Pair quickSum(const Number& a, const Number& b) {
    const Number sum = a + b;
    return {sum, b - (sum - a)};
}
inline Pair sumOf(const Number& a, const Number& b) {
    const Number sum = a + b;
    const Number fromB = sum - a;
    return {sum, (a - (sum - fromB)) + (b - fromB)};
}
// The exact product, of factors below 2^100: the upper 12 bits of each by bits, the rest by subtraction.
inline Pair productOf(const Number& a, const Number& b) {
    const auto upper = [](const Number& x) { return (x.as(uintKind) & 0xFFFFF000U).as(floatKind); };
    const Number ah = upper(a);
    const Number al = a - ah;
    const Number bh = upper(b);
    const Number bl = b - bh;
    const Number product = a * b;
    return {product, ((ah * bh - product) + ah * bl + al * bh) + al * bl};
}

// Quotient and root of numbers of moderate size, the device's corrected once: half a unit and a little.
inline Number quotient(const Number& a, const Number& b) {
    const Number first = a / b;
    const Pair back = productOf(first, b);
    return first + ((a - back.high) - back.low) / b;
}
inline Number root(const Number& x) {
    const Number first = call(BuiltinId::sqrt, {x});
    const Pair square = productOf(first, first);
    return choose(isZero(x), x, first + ((x - square.high) - square.low) / (first + first));
}

} // namespace msl::precise
