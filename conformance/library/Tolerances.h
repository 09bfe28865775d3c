// How far the library's results may be from the exact ones, written down before any of them was measured.
//
// The plain and the fast forms may have the error that the Vulkan specification allows for the instruction behind them
// ("Precision and Operation of SPIR-V Instructions"): basic operations are rounded correctly, division has 2.5 units in
// the last place, exp 3 + 2|x|, log 3 or 2^-21 near 1, sin and cos 2^-11 within a half turn, the inverse angles 4096,
// and the composed functions what their formula inherits. The precise forms have the units that the Metal Shading
// Language specification lists for its math functions without fast maths ("ULP Values of Math Functions").
#pragma once

#include <algorithm>
#include <cmath>

namespace glasshob::testing {

// allowed = ulps * ulp(result) + absolute + scaledUlps * ulp(scale(arguments)). The last part is for formulas whose
// steps are greater than what they give: x * (1 - a) + y * a near zero.
struct Tolerance {
    double ulps = 0;
    double absolute = 0;
    double scaledUlps = 0;
    double (*scale)(double x, double y, double z) = nullptr;
};

// The distance between neighbouring numbers of a format at `value`: 24 and -125 for float, 11 and -13 for half.
inline double ulpOf(double value, int precision = 24, int smallestExponent = -125) {
    int exponent = 0;
    std::frexp(value, &exponent);
    return std::ldexp(1.0, std::max(exponent, smallestExponent) - precision);
}

namespace tolerance {

inline constexpr Tolerance exact{};
inline constexpr Tolerance rounded{0.5};   // correctly rounded
inline constexpr Tolerance oneRounding{1}; // towards zero or to nearest, as the device likes
inline constexpr Tolerance division{2.5};
inline constexpr Tolerance inverseRoot{2};
inline constexpr Tolerance root{4.5}; // one over the inverse root
inline constexpr Tolerance wave{0, 0x1p-11};
// sin / cos, each with 2^-11, inside 1.2 either way: tan' is below 8 there.
inline constexpr Tolerance waveQuotient{2.5, 0x1p-8};
inline constexpr Tolerance angle{4096, 0x1p-22};
inline constexpr Tolerance turned{2}; // by a constant: two roundings
inline constexpr Tolerance logarithm{3, 0x1p-21};
inline constexpr Tolerance otherLogarithm{4, 0x1p-21};
// 3 + 2|x| units; x is what is raised to, in octaves for exp2.
inline constexpr Tolerance exponential{3, 0, 2, [](double x, double, double) { return std::abs(x) * std::exp(x); }};
inline constexpr Tolerance exponential2{3, 0, 2, [](double x, double, double) { return std::abs(x) * std::exp2(x); }};
inline constexpr Tolerance exponential10{
    3, 0, 4, [](double x, double, double) { return (1 + std::abs(x) * 3.33) * std::pow(10, x); }};
// exp2(y log2 x): the logarithm's error, 2^-21 or 3 units, times y, and the exponential's own.
inline constexpr Tolerance power{3, 0, 16, [](double x, double y, double) {
                                     return (1 + std::abs(y) + std::abs(y * std::log2(x))) * std::pow(x, y);
                                 }};
// (exp(x) - exp(-x)) / 2 and its kin.
inline constexpr Tolerance hyperbola{4, 0, 8,
                                     [](double x, double, double) { return (1 + std::abs(x)) * std::cosh(x); }};
inline constexpr Tolerance hyperbolaQuotient{8, 0x1p-19};
// log(x + sqrt(x x + 1)) and its kin.
inline constexpr Tolerance inverseHyperbola{8, 0x1p-19};
// Three steps, the greatest of them about |x| + |y|.
inline constexpr Tolerance blend{
    2, 0, 2, [](double x, double y, double a) { return std::abs(x) * (1 + std::abs(a)) + std::abs(y * a); }};
inline constexpr Tolerance fused{1, 0, 1, [](double x, double y, double) { return x * y; }};
inline constexpr Tolerance ramp{8, 0x1p-20};
// x - y trunc(x / y), the quotient with 2.5 units.
inline constexpr Tolerance quotientRest{1, 0, 4, [](double x, double, double) { return x; }};

// The documented units of the precise forms.
constexpr Tolerance units(double ulps) {
    return {ulps};
}

} // namespace tolerance
} // namespace glasshob::testing
