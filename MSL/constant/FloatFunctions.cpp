#include "MSL/constant/Families.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace msl::constant {

namespace {

constexpr double pi = std::numbers::pi;

// In half turns: exact at every quarter.
double sineOfTurns(double x) {
    const double rest = std::remainder(x, 2.0);
    return rest == std::trunc(rest) ? std::copysign(0.0, x) : std::sin(pi * rest);
}
double cosineOfTurns(double x) {
    const double rest = std::fabs(std::remainder(x, 2.0));
    return rest == 0.5 ? 0.0 : std::cos(pi * rest);
}

// What is worked out in double.
std::optional<double> inDouble(BuiltinId id, Precision precision, double x, double y) {
    switch (id) {
    case BuiltinId::acos: return std::acos(x);
    case BuiltinId::acosh: return std::acosh(x);
    case BuiltinId::asin: return std::asin(x);
    case BuiltinId::asinh: return std::asinh(x);
    case BuiltinId::atan: return std::atan(x);
    case BuiltinId::atan2: return std::atan2(x, y);
    case BuiltinId::atanh: return std::atanh(x);
    case BuiltinId::cos: return std::cos(x);
    case BuiltinId::cosh: return std::cosh(x);
    case BuiltinId::cospi: return cosineOfTurns(x);
    case BuiltinId::exp: return std::exp(x);
    case BuiltinId::exp2: return std::exp2(x);
    case BuiltinId::exp10: return std::pow(10.0, x);
    case BuiltinId::ldexp: return std::ldexp(x, static_cast<int>(std::clamp(y, -1000.0, 1000.0)));
    case BuiltinId::log: return std::log(x);
    case BuiltinId::log2: return std::log2(x);
    case BuiltinId::log10: return std::log10(x);
    case BuiltinId::pow:
    case BuiltinId::powr:
        // The plain form of a negative number is the device's.
        if (x < 0 && precision != Precision::precise) return std::nullopt;
        return std::pow(x, y);
    case BuiltinId::rsqrt: return 1.0 / std::sqrt(x);
    case BuiltinId::sin: return std::sin(x);
    case BuiltinId::sinh: return std::sinh(x);
    case BuiltinId::sinpi: return sineOfTurns(x);
    case BuiltinId::tan: return std::tan(x);
    case BuiltinId::tanh: return std::tanh(x);
    case BuiltinId::tanpi: return sineOfTurns(x) / cosineOfTurns(x);
    default: return std::nullopt;
    }
}

float smoothstep(float low, float high, float x) {
    const float t = std::fmin(std::fmax((x - low) / (high - low), 0.0F), 1.0F);
    const float falling = 3.0F - 2.0F * t;
    return t * t * falling;
}

// What is a few steps of float arithmetic.
std::optional<float> inSteps(BuiltinId id, Precision precision, ScalarKind kind, float x, float y, float z) {
    switch (id) {
    case BuiltinId::fabs:
    case BuiltinId::abs: return std::fabs(x);
    case BuiltinId::absdiff: return std::fabs(x - y);
    case BuiltinId::ceil: return std::ceil(x);
    case BuiltinId::clamp: return std::fmin(std::fmax(x, y), z);
    case BuiltinId::copysign: return std::copysign(x, y);
    case BuiltinId::degrees: return x * static_cast<float>(180.0 / pi);
    case BuiltinId::divide: return x / y;
    case BuiltinId::fdim: return std::fdim(x, y);
    case BuiltinId::floor: return std::floor(x);
    case BuiltinId::fma: return std::fma(x, y, z);
    case BuiltinId::fmax:
    case BuiltinId::max: return std::fmax(x, y);
    case BuiltinId::fmax3:
    case BuiltinId::max3: return std::fmax(std::fmax(x, y), z);
    case BuiltinId::fmin:
    case BuiltinId::min: return std::fmin(x, y);
    case BuiltinId::fmin3:
    case BuiltinId::min3: return std::fmin(std::fmin(x, y), z);
    case BuiltinId::fmedian3:
    case BuiltinId::median3: return std::fmax(std::fmin(x, y), std::fmin(std::fmax(x, y), z));
    case BuiltinId::fmod: return std::fmod(x, y);
    case BuiltinId::fract: {
        const float part = x - std::floor(x);
        if (precision != Precision::precise) return part; // one, for negative numbers nearest to zero
        return std::fmin(part, kind == ScalarKind::half     ? 0x1.FFCp-1F
                               : kind == ScalarKind::bfloat ? 0x1.FEp-1F
                                                            : 0x1.FFFFFEp-1F);
    }
    case BuiltinId::mix: {
        const float first = x * (1.0F - z);
        const float second = y * z;
        return first + second;
    }
    case BuiltinId::modf: return std::isinf(x) ? std::copysign(0.0F, x) : x - std::trunc(x);
    case BuiltinId::radians: return x * static_cast<float>(pi / 180.0);
    case BuiltinId::remainder: return std::remainder(x, y);
    case BuiltinId::rint: return std::nearbyint(x);
    case BuiltinId::round: return std::round(x);
    case BuiltinId::saturate: return std::fmin(std::fmax(x, 0.0F), 1.0F);
    case BuiltinId::sign: return x > 0 ? 1.0F : x < 0 ? -1.0F : 0.0F;
    case BuiltinId::smoothstep: return x == y ? std::nullopt : std::optional(smoothstep(x, y, z));
    case BuiltinId::sqrt: return std::sqrt(x);
    case BuiltinId::step: return y < x ? 0.0F : 1.0F;
    case BuiltinId::trunc: return std::trunc(x);
    default: return std::nullopt;
    }
}

// One step of the bits away from zero or towards it; from zero the smallest number of the other's sign.
Scalar nextafter(Scalar from, Scalar to) {
    const float x = from.asFloat();
    const float y = to.asFloat();
    if (std::isnan(x)) return from;
    if (std::isnan(y) || x == y) return to;
    if (x == 0) return {from.kind, (to.bits & (byteSize(from.kind) == 2 ? 0x8000U : 0x80000000U)) | 1U};
    return {from.kind, (x < y) == (x > 0) ? from.bits + 1 : from.bits - 1};
}

std::optional<Scalar> relational(BuiltinId id, std::span<const Scalar> x) {
    const float number = x[0].asFloat();
    const bool isHalf = x[0].kind == ScalarKind::half;
    switch (id) {
    case BuiltinId::isfinite: return Scalar::boolean(std::isfinite(number));
    case BuiltinId::isinf: return Scalar::boolean(std::isinf(number));
    case BuiltinId::isnan: return Scalar::boolean(std::isnan(number));
    case BuiltinId::isnormal:
        return Scalar::boolean(std::isfinite(number) && std::fabs(number) >= (isHalf ? 0x1p-14F : 0x1p-126F));
    case BuiltinId::isordered: return Scalar::boolean(!std::isunordered(number, x[1].asFloat()));
    case BuiltinId::isunordered: return Scalar::boolean(std::isunordered(number, x[1].asFloat()));
    case BuiltinId::signbit: return Scalar::boolean((x[0].bits >> (bitWidth(x[0].kind) - 1U) & 1U) != 0);
    default: return std::nullopt;
    }
}

} // namespace

std::optional<Scalar> floatFunction(BuiltinId id, Precision precision, std::span<const Scalar> x,
                                    ScalarKind resultKind) {
    if (resultKind == ScalarKind::bool_) return relational(id, x);
    const double number = x[0].asDouble();
    if (id == BuiltinId::frexp) {
        if (!std::isfinite(number)) return std::nullopt;
        int exponent = 0;
        const double fraction = std::frexp(number, &exponent);
        return isInteger(resultKind) ? Scalar::integer(resultKind, static_cast<std::uint64_t>(exponent))
                                     : Scalar::floating(resultKind, fraction);
    }
    if (id == BuiltinId::ilogb) {
        if (!std::isfinite(number) || number == 0) return std::nullopt;
        return Scalar::integer(resultKind, static_cast<std::uint64_t>(std::ilogb(number)));
    }
    if (id == BuiltinId::nextafter) return nextafter(x[0], x[1]);
    const double second = x.size() > 1 ? x[1].asDouble() : 0;
    if (const auto made = inDouble(id, precision, number, second)) return Scalar::floating(resultKind, *made);
    // Not read where the function has one operand, or the operand is no float.
    const float third = x.size() > 2 ? x[2].asFloat() : 0;
    const auto made = inSteps(id, precision, x[0].kind, x[0].asFloat(), static_cast<float>(second), third);
    return made ? std::optional(Scalar::floating(resultKind, static_cast<double>(*made))) : std::nullopt;
}

} // namespace msl::constant
