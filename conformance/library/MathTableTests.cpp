// Every function of the library's table that works number by number on floats: each kind, shape and form, with special
// and random numbers, against the C++ library in double precision. A row of the table without a reference here fails.
#include "conformance/library/TableKernels.h"
#include "conformance/library/Tolerances.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <numbers>
#include <random>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using msl::BuiltinClass;
using msl::BuiltinSlot;
using msl::ScalarKind;
namespace tol = glasshob::testing::tolerance;

constexpr double pi = std::numbers::pi;

struct Arguments {
    double x, y, z;
    ScalarKind kind;
    bool isPrecise;
};

// Where the plain form is held to its tolerance. The precise form is held to its own everywhere, infinities and NaN
// too, but where `Everywhere` says otherwise.
enum class Everywhere {
    precise, // the plain form in its range only
    both,    // no arithmetic is done: special numbers come out right in the plain form as well
    neither, // nothing is said of special numbers or of what is out of the range
};

struct Row {
    const char* name;
    double low, high; // of x in the plain form, and of the others if nothing more is said
    Tolerance plain;
    Tolerance precise;
    double (*reference)(const Arguments&);
    Everywhere everywhere = Everywhere::precise;
    bool (*isValid)(const Arguments&) = nullptr; // other arguments have no answer
    double otherLow = 0, otherHigh = 0;
    double (*second)(const Arguments&) = nullptr; // what comes through the reference parameter
};

double clamped(double x, double low, double high) {
    return std::fmin(std::fmax(x, low), high);
}
double rounding(double x) {
    return std::nearbyint(x);
}
double middle(double x, double y, double z) {
    return std::max(std::min(x, y), std::min(std::max(x, y), z));
}
bool noNan(const Arguments& a) {
    return !std::isnan(a.x) && !std::isnan(a.y) && !std::isnan(a.z);
}
bool finite(const Arguments& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}
double belowOne(ScalarKind kind) {
    return 1 - ulpOf(kind, 0.75);
}
double neighbour(const Arguments& a) {
    if (a.kind == ScalarKind::float_) return std::nextafter(float(a.x), float(a.y));
    if (a.x == a.y) return a.y;
    const std::int16_t step = (a.y > a.x) == (a.x > 0) ? 1 : -1;
    if (a.kind == ScalarKind::bfloat) {
        const auto bits = std::int16_t(std::bit_cast<std::int32_t>(float(a.x)) >> 16);
        return a.x == 0 ? std::copysign(0x1p-133, a.y)
                        : double(std::bit_cast<float>(std::int32_t(std::int16_t(bits + step)) << 16));
    }
    if (a.x == 0) return std::copysign(0x1p-24, a.y);
    return double(std::bit_cast<_Float16>(std::int16_t(std::bit_cast<std::int16_t>(_Float16(a.x)) + step)));
}
double smooth(const Arguments& a) {
    const double t = clamped((a.z - a.x) / (a.y - a.x), 0, 1);
    return t * t * (3 - 2 * t);
}
// In half turns: exact at every quarter.
double sineOfTurns(double x) {
    const double r = std::remainder(x, 2.0);
    return r == std::trunc(r) ? std::copysign(0.0, x) : std::sin(pi * r);
}
double cosineOfTurns(double x) {
    const double r = std::fabs(std::remainder(x, 2.0));
    return r == 0.5 ? 0.0 : std::cos(pi * r);
}

const Row rows[] = {
    {"abs", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fabs(a.x); }, Everywhere::both},
    {"acos", -1, 1, {4096, 0x1p-11}, tol::units(4), [](const Arguments& a) { return std::acos(a.x); }},
    {"acosh", 1, 90, tol::inverseHyperbola, tol::units(4), [](const Arguments& a) { return std::acosh(a.x); }},
    {"asin", -1, 1, {4096, 0x1p-11}, tol::units(4), [](const Arguments& a) { return std::asin(a.x); }},
    {"asinh", -90, 90, {8, 0x1p-15}, tol::units(4), [](const Arguments& a) { return std::asinh(a.x); }},
    {"atan", -90, 90, tol::angle, tol::units(5), [](const Arguments& a) { return std::atan(a.x); }},
    {"atan2", -90, 90, tol::angle, tol::units(6), [](const Arguments& a) { return std::atan2(a.x, a.y); },
     Everywhere::precise, [](const Arguments& a) { return a.isPrecise || a.x != 0 || a.y != 0; }},
    {"atanh", -0.99, 0.99, tol::inverseHyperbola, tol::units(5), [](const Arguments& a) { return std::atanh(a.x); }},
    {"ceil", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::ceil(a.x); }, Everywhere::both},
    {"clamp", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return clamped(a.x, a.y, a.z); },
     Everywhere::precise, [](const Arguments& a) { return a.y <= a.z; }},
    {"copysign", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return std::copysign(a.x, a.y); },
     Everywhere::both, [](const Arguments& a) { return !std::isnan(a.y); }},
    {"cos", -pi, pi, tol::wave, tol::units(4), [](const Arguments& a) { return std::cos(a.x); }},
    {"cosh", -20, 20, tol::hyperbola, tol::units(4), [](const Arguments& a) { return std::cosh(a.x); }},
    {"cospi", -1, 1, tol::wave, tol::units(4), [](const Arguments& a) { return cosineOfTurns(a.x); }},
    {"degrees", -9, 9, tol::turned, tol::turned, [](const Arguments& a) { return a.x * 180 / pi; }},
    {"divide", 0.1, 99, tol::division, tol::rounded, [](const Arguments& a) { return a.x / a.y; }},
    {"exp", -80, 80, tol::exponential, tol::units(4), [](const Arguments& a) { return std::exp(a.x); }},
    {"exp10", -30, 30, tol::exponential10, tol::units(4), [](const Arguments& a) { return std::pow(10.0, a.x); }},
    {"exp2", -100, 100, tol::exponential2, tol::units(4), [](const Arguments& a) { return std::exp2(a.x); }},
    {"fabs", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fabs(a.x); }, Everywhere::both},
    {"fdim", -9, 9, tol::oneRounding, tol::oneRounding, [](const Arguments& a) { return std::fdim(a.x, a.y); }},
    {"floor", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::floor(a.x); }, Everywhere::both},
    {"fma", -9, 9, tol::fused, tol::rounded, [](const Arguments& a) { return std::fma(a.x, a.y, a.z); }},
    {"fmax", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmax(a.x, a.y); }},
    {"fmax3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmax(std::fmax(a.x, a.y), a.z); }},
    {"fmedian3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return middle(a.x, a.y, a.z); },
     Everywhere::precise, noNan},
    {"fmin", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmin(a.x, a.y); }},
    {"fmin3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmin(std::fmin(a.x, a.y), a.z); }},
    // A whole quotient may come out one short in the plain form, so that the rest is the divisor.
    {"fmod", -50, 50, tol::quotientRest, tol::exact, [](const Arguments& a) { return std::fmod(a.x, a.y); },
     Everywhere::precise, nullptr, 0.5, 9},
    {"fract", -50, 50,
     tol::oneRounding, // may round up to one
     tol::rounded, [](const Arguments& a) { return std::min(a.x - std::floor(a.x), belowOne(a.kind)); },
     Everywhere::precise, finite},
    {"frexp", -50, 50, tol::exact, tol::exact,
     [](const Arguments& a) {
         int exponent = 0;
         return std::frexp(a.x, &exponent);
     },
     Everywhere::both, finite, 0, 0,
     [](const Arguments& a) {
         int exponent = 0;
         (void)std::frexp(a.x, &exponent);
         return double(exponent);
     }},
    {"ilogb", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return double(std::ilogb(a.x)); },
     Everywhere::both, [](const Arguments& a) { return std::isfinite(a.x) && a.x != 0; }},
    {"isfinite", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return double(std::isfinite(a.x)); },
     Everywhere::both},
    {"isinf", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return double(std::isinf(a.x)); },
     Everywhere::both},
    {"isnan", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return double(std::isnan(a.x)); },
     Everywhere::both},
    {"isnormal", -9, 9, tol::exact, tol::exact,
     [](const Arguments& a) { return double(std::isfinite(a.x) && std::fabs(a.x) >= smallestNormalOf(a.kind)); },
     Everywhere::both},
    {"isordered", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return double(!std::isunordered(a.x, a.y)); },
     Everywhere::both},
    {"isunordered", -9, 9, tol::exact, tol::exact,
     [](const Arguments& a) { return double(std::isunordered(a.x, a.y)); }, Everywhere::both},
    {"ldexp", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return std::ldexp(a.x, int(a.y)); },
     Everywhere::both,
     [](const Arguments& a) {
         const double made = std::fabs(std::ldexp(a.x, int(a.y)));
         return std::isnan(made) || made == 0 || std::isinf(a.x) ||
                (made >= smallestNormalOf(a.kind) && made <= largestOf(a.kind));
     },
     -20, 20},
    {"log", 0.001, 5000, tol::logarithm, tol::units(4), [](const Arguments& a) { return std::log(a.x); }},
    {"log10", 0.001, 5000, tol::otherLogarithm, tol::units(4), [](const Arguments& a) { return std::log10(a.x); }},
    {"log2", 0.001, 5000, tol::logarithm, tol::units(4), [](const Arguments& a) { return std::log2(a.x); }},
    {"mad", -9, 9, tol::fused, tol::rounded, [](const Arguments& a) { return std::fma(a.x, a.y, a.z); }},
    {"max", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmax(a.x, a.y); }},
    {"max3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmax(std::fmax(a.x, a.y), a.z); }},
    {"median3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return middle(a.x, a.y, a.z); },
     Everywhere::precise, noNan},
    {"min", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmin(a.x, a.y); }},
    {"min3", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::fmin(std::fmin(a.x, a.y), a.z); }},
    {"mix", -9, 9, tol::blend, tol::blend, [](const Arguments& a) { return a.x + (a.y - a.x) * a.z; },
     Everywhere::neither},
    {"modf", -50, 50, tol::exact, tol::exact,
     [](const Arguments& a) { return std::isinf(a.x) ? std::copysign(0.0, a.x) : a.x - std::trunc(a.x); },
     Everywhere::both, finite, 0, 0, [](const Arguments& a) { return std::trunc(a.x); }},
    {"nextafter", -9, 9, tol::exact, tol::exact, neighbour, Everywhere::both,
     [](const Arguments& a) { return a.x != 0 && noNan(a) && std::fabs(a.x) > 2 * smallestNormalOf(a.kind); }},
    {"pow", 0.05, 9, tol::power, tol::units(16), [](const Arguments& a) { return std::pow(a.x, a.y); },
     Everywhere::precise, nullptr, -9, 9},
    {"powr", 0.05, 9, tol::power, tol::units(16), [](const Arguments& a) { return std::pow(a.x, a.y); },
     Everywhere::precise,
     // Where the two differ powr has no number to give.
     [](const Arguments& a) { return a.x > 0 && std::isfinite(a.x) && std::isfinite(a.y) && !(a.x == 0 && a.y == 0); },
     -9, 9},
    {"radians", -900, 900, tol::turned, tol::turned, [](const Arguments& a) { return a.x * pi / 180; }},
    {"remainder",
     -50,
     50,
     {1, 0, 4, [](double x, double, double) { return x; }},
     tol::exact,
     [](const Arguments& a) { return std::remainder(a.x, a.y); },
     Everywhere::precise,
     nullptr,
     0.5,
     9},
    {"rint", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return rounding(a.x); }, Everywhere::both},
    {"round", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::round(a.x); }, Everywhere::both},
    {"rsqrt", 0.001, 9000, tol::inverseRoot, tol::rounded, [](const Arguments& a) { return 1 / std::sqrt(a.x); }},
    {"saturate", -2, 2, tol::exact, tol::exact, [](const Arguments& a) { return clamped(a.x, 0, 1); }},
    {"select", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return a.z != 0 ? a.y : a.x; },
     Everywhere::both},
    {"sign", -2, 2, tol::exact, tol::exact, [](const Arguments& a) { return double(a.x > 0) - double(a.x < 0); }},
    {"signbit", -9, 9, tol::exact, tol::exact, [](const Arguments& a) { return double(std::signbit(a.x)); },
     Everywhere::both, [](const Arguments& a) { return !std::isnan(a.x); }},
    {"sin", -pi, pi, tol::wave, tol::units(4), [](const Arguments& a) { return std::sin(a.x); }},
    {"sincos", -pi, pi, tol::wave, tol::units(4), [](const Arguments& a) { return std::sin(a.x); }, Everywhere::precise,
     nullptr, 0, 0, [](const Arguments& a) { return std::cos(a.x); }},
    {"sinh", -20, 20, tol::hyperbola, tol::units(4), [](const Arguments& a) { return std::sinh(a.x); }},
    {"sinpi", -1, 1, tol::wave, tol::units(4), [](const Arguments& a) { return sineOfTurns(a.x); }},
    {"smoothstep", -9, 9, tol::ramp, tol::ramp, smooth, Everywhere::neither,
     [](const Arguments& a) { return std::fabs(a.x - a.y) > 0.25; }},
    {"sqrt", 0.001, 9000, tol::root, tol::rounded, [](const Arguments& a) { return std::sqrt(a.x); }},
    {"step", -2, 2, tol::exact, tol::exact, [](const Arguments& a) { return a.y < a.x ? 0.0 : 1.0; },
     Everywhere::precise, noNan},
    {"tan", -1.2, 1.2, tol::waveQuotient, tol::units(6), [](const Arguments& a) { return std::tan(a.x); }},
    {"tanh", -40, 40, tol::hyperbolaQuotient, tol::units(5), [](const Arguments& a) { return std::tanh(a.x); }},
    {"tanpi", -0.38, 0.38, tol::waveQuotient, tol::units(6),
     [](const Arguments& a) { return std::tan(pi * std::remainder(a.x, 1.0)); }, Everywhere::precise,
     [](const Arguments& a) { return std::isfinite(a.x) && std::fabs(std::remainder(a.x, 1.0)) < 0.5; }},
    {"trunc", -50, 50, tol::exact, tol::exact, [](const Arguments& a) { return std::trunc(a.x); }, Everywhere::both},
};

constexpr std::size_t literalCount = 12;
constexpr std::size_t specialCount = 256;
constexpr std::size_t count = 768;

// Pairs of special numbers, then numbers of the plain range, then every bit pattern's chance. The first, which are
// worked out while compiling as well, are of the plain range.
std::vector<Column> argumentsFor(const Row& row, ScalarKind kind) {
    const bool isHalf = kind == ScalarKind::half;
    const double specials[] = {0.0,
                               -0.0,
                               1.0,
                               -1.0,
                               0.5,
                               -2.0,
                               3.0,
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::nan(""),
                               isHalf ? 1e-3 : 1e-30,
                               isHalf ? 6e4 : 3e38,
                               isHalf ? 2000.0 : 1e7,
                               -1.5,
                               isHalf ? 2048.0 : 16777216.0,
                               pi / 4};
    std::mt19937 random(unsigned(row.name[0]) * 7U + unsigned(row.name[1]));
    const bool hasOther = row.otherLow != row.otherHigh;
    std::uniform_real_distribution<double> x(row.low, row.high);
    std::uniform_real_distribution<double> other(hasOther ? row.otherLow : row.low,
                                                 hasOther ? row.otherHigh : row.high);
    std::vector<Column> columns(3);
    for (std::size_t i = 0; i < count; ++i) {
        double values[3];
        if (i >= literalCount && i < literalCount + specialCount) {
            const std::size_t s = i - literalCount;
            values[0] = specials[s / 16];
            values[1] = specials[s % 16];
            values[2] = specials[(s * 7 + s / 16) % 16];
        } else if (i < literalCount || i % 2 == 0) {
            values[0] = x(random);
            values[1] = other(random);
            values[2] = other(random);
            if (i % 4 == 0) // whole numbers and quarters, where functions have their corners
                for (double& value : values)
                    value = std::round(value * 4) / 4;
        } else {
            for (double& value : values)
                value = isHalf ? double(std::bit_cast<_Float16>(std::uint16_t(random())))
                               : double(std::bit_cast<float>(std::uint32_t(random())));
        }
        for (std::size_t a = 0; a < 3; ++a) {
            double value = roundedTo(kind, values[a]);
            // A device may take the smallest numbers for zero.
            if (std::fabs(value) < smallestNormalOf(kind)) value = std::copysign(0.0, value);
            columns[a].push_back({value, 0});
        }
    }
    return columns;
}

bool isMathRow(const msl::BuiltinFunction& function) {
    const msl::BuiltinSignature& s = *function.signature;
    if (s.typeClass != BuiltinClass::floating && s.typeClass != BuiltinClass::arithmetic &&
        s.typeClass != BuiltinClass::any)
        return false;
    if (s.shape != msl::BuiltinShape::scalarOrVector) return false;
    return !function.name.starts_with("simd_") && !function.name.starts_with("quad_") && function.name != "dfdx" &&
           function.name != "dfdy" && function.name != "fwidth";
}

bool isRight(double got, double exact, const Tolerance& tolerance, const Arguments& a, ScalarKind result) {
    if (isWhole(result)) return got == exact;
    if (std::isnan(exact)) return std::isnan(got);
    const double most = largestOf(result);
    // Beyond the range: infinity, or the largest number where a device rounds towards zero.
    if (std::fabs(exact) > most) return std::fabs(got) >= most && std::signbit(got) == std::signbit(exact);
    double allowed = tolerance.ulps * ulpOf(exact) + tolerance.absolute;
    if (tolerance.scale != nullptr) allowed += tolerance.scaledUlps * ulpOf(tolerance.scale(a.x, a.y, a.z));
    // Functions of half and bfloat compute in float and round once, in the device's way.
    if (result != ScalarKind::float_ && allowed > 0) allowed += ulpOf(result, exact);
    if (std::fabs(exact) < smallestNormalOf(result) && std::fabs(got) <= smallestNormalOf(result)) return true;
    if (std::isinf(got)) return std::fabs(exact) + allowed >= most && std::signbit(got) == std::signbit(exact);
    return std::fabs(got - exact) <= allowed * (1 + 1e-6);
}

void check(const Row& row, const msl::BuiltinFunction& function, ScalarKind kind) {
    const msl::BuiltinSignature& signature = *function.signature;
    std::vector<Column> columns = argumentsFor(row, kind);
    for (std::size_t a = 0; a < signature.parameterCount && a < 3; ++a) {
        const ScalarKind given = slotKind(signature.parameters[a], kind);
        if (!isWhole(given)) continue;
        for (Cell& cell : columns[a]) {
            // Numbers for ldexp, truths for select.
            const double number = std::isfinite(cell.real) ? std::clamp(std::trunc(cell.real), -20.0, 20.0) : 3;
            cell.whole = given == ScalarKind::bool_ ? Wide(number > 0) : Wide(number);
            cell.real = double(cell.whole);
        }
    }
    const ScalarKind result = slotKind(signature.result, kind);
    for (const TableForm& form :
         runTable({.function = &function, .kind = kind, .arguments = columns, .literals = literalCount})) {
        const Tolerance& tolerance = form.isPrecise ? row.precise : row.plain;
        int failures = 0;
        for (std::size_t i = 0; i < form.first.size() && failures < 2; ++i) {
            const std::size_t at = (i / form.shape + i % form.shape) % count;
            const Arguments a = {columns[0][at].real, columns[1][at].real, columns[2][at].real, kind, form.isPrecise};
            const auto lies = [&](double value, double low, double high) { return value >= low && value <= high; };
            const bool hasOther = row.otherLow != row.otherHigh;
            const double low = hasOther ? row.otherLow : row.low;
            const double high = hasOther ? row.otherHigh : row.high;
            const unsigned given = signature.parameterCount;
            const bool isOrdinary =
                lies(a.x, row.low, row.high) && (given < 2 || row.second != nullptr || lies(a.y, low, high)) &&
                (given < 3 || lies(a.z, low, high) || isWhole(slotKind(signature.parameters[2], kind)));
            const bool isHeld = isOrdinary || row.everywhere == Everywhere::both ||
                                (row.everywhere == Everywhere::precise && form.isPrecise);
            if (!isHeld || (row.isValid != nullptr && !row.isValid(a))) continue;
            const auto judge = [&](double got, double exact, const char* which) {
                if (isRight(got, exact, tolerance, a, result)) return;
                ++failures;
                ADD_FAILURE() << form.text << which << " of " << std::hexfloat << a.x << ", " << a.y << ", " << a.z
                              << std::defaultfloat << " (" << a.x << ", " << a.y << ", " << a.z << "): got " << got
                              << ", expected " << exact << ", off by " << std::fabs(got - exact) / ulpOf(exact)
                              << " units of float";
            };
            const Cell& got = form.first[i];
            judge(isWhole(result) ? double(got.whole) : got.real, row.reference(a), "");
            if (row.second == nullptr) continue;
            const Cell& more = form.isFolded ? got : form.second[i];
            if (form.isFolded) continue;
            const bool isInt = signature.parameters[signature.parameterCount - 1] == BuiltinSlot::threadIntOfT;
            judge(isInt ? double(more.whole) : more.real, row.second(a), " (second)");
        }
    }
}

class MathTable : public ::testing::TestWithParam<ScalarKind> {};

TEST_P(MathTable, EveryFunctionIsWithinItsTolerance) {
    for (const msl::BuiltinFunction& function : msl::builtinFunctions()) {
        if (!isMathRow(function)) continue;
        const auto* row = std::ranges::find_if(rows, [&](const Row& r) { return r.name == function.name; });
        if (row == std::end(rows)) {
            ADD_FAILURE() << "no reference for " << function.name;
            continue;
        }
        check(*row, function, GetParam());
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MathTable, ::testing::Values(ScalarKind::float_, ScalarKind::half, ScalarKind::bfloat),
                         [](const auto& info) { return kindName(info.param); });

} // namespace
} // namespace glasshob
