// The library's functions on the device against the C++ library: float, float vectors and half.
#include "GlassHobRender/tests/Kernels.h"

#include <cmath>
#include <functional>
#include <numbers>

namespace glasshob {
namespace {

using namespace glasshob::testing;

// How far a result may be from the exact one: the precision that Vulkan asks of a device in single precision, which is
// also what Metal documents for fast maths, with a little room for results that are themselves rounded.
struct Tolerance {
    double ulps = 0; // of the exact result
    double absolute = 0;
};
constexpr Tolerance exact{0, 0};
constexpr Tolerance rounded{1, 0};               // one rounding
constexpr Tolerance division{3, 0};              // 2.5 ulp
constexpr Tolerance root{4, 0};                  // sqrt by way of rsqrt, 2 ulp
constexpr Tolerance wave{0, 1.0 / 2048};         // sin and cos inside -pi ... pi
constexpr Tolerance angle{4096, 1e-6};           // acos, asin, atan, atan2
constexpr Tolerance logarithm{4, 1.0 / 2097152}; // 3 ulp, or 2^-21 near 1
constexpr Tolerance power{64, 1e-6};             // 3 + 2|x| ulp of the exponent, which grows
constexpr Tolerance several{16, 1e-6};           // a few roundings, some of them cancelling

struct Row {
    const char* expression; // X, Y, Z stand for the arguments
    double low, high;       // the range of all of them
    std::function<double(double, double, double)> reference;
    Tolerance tolerance;
    bool alsoHalf = true;
};

double clamped(double x, double low, double high) {
    return std::min(std::max(x, low), high);
}
double sign(double x) {
    return double(x > 0) - double(x < 0);
}

const std::vector<Row>& rows() {
    static const std::vector<Row> table = {
        {"abs(X)", -50, 50, [](double x, double, double) { return std::abs(x); }, exact},
        {"fabs(X)", -50, 50, [](double x, double, double) { return std::abs(x); }, exact},
        {"ceil(X)", -50, 50, [](double x, double, double) { return std::ceil(x); }, exact},
        {"floor(X)", -50, 50, [](double x, double, double) { return std::floor(x); }, exact},
        {"trunc(X)", -50, 50, [](double x, double, double) { return std::trunc(x); }, exact},
        {"round(X)", -50, 50, [](double x, double, double) { return std::round(x); }, exact},
        {"rint(X)", -50, 50, [](double x, double, double) { return std::nearbyint(x); }, exact},
        {"fract(X)", -50, 50, [](double x, double, double) { return x - std::floor(x); }, {1, 1e-6}},
        {"sign(X)", -2, 2, [](double x, double, double) { return sign(x); }, exact},
        {"copysign(X, Y)", -2, 2, [](double x, double y, double) { return std::copysign(x, y); }, exact},
        {"min(X, Y)", -50, 50, [](double x, double y, double) { return std::min(x, y); }, exact},
        {"max(X, Y)", -50, 50, [](double x, double y, double) { return std::max(x, y); }, exact},
        {"fmin(X, Y)", -50, 50, [](double x, double y, double) { return std::min(x, y); }, exact},
        {"fmax(X, Y)", -50, 50, [](double x, double y, double) { return std::max(x, y); }, exact},
        {"min3(X, Y, Z)", -50, 50, [](double x, double y, double z) { return std::min({x, y, z}); }, exact},
        {"max3(X, Y, Z)", -50, 50, [](double x, double y, double z) { return std::max({x, y, z}); }, exact},
        {"median3(X, Y, Z)", -50, 50,
         [](double x, double y, double z) { return std::max(std::min(x, y), std::min(std::max(x, y), z)); }, exact},
        {"clamp(X, -1.0, 2.0)", -5, 5, [](double x, double, double) { return clamped(x, -1, 2); }, exact},
        {"saturate(X)", -2, 2, [](double x, double, double) { return clamped(x, 0, 1); }, exact},
        {"step(X, Y)", -2, 2, [](double x, double y, double) { return y < x ? 0.0 : 1.0; }, exact},
        {"mix(X, Y, Z)", 0, 4, [](double x, double y, double z) { return x + (y - x) * z; }, several},
        {"smoothstep(0.25, 3.0, X)", -1, 4,
         [](double x, double, double) {
             const double t = clamped((x - 0.25) / 2.75, 0, 1);
             return t * t * (3 - 2 * t);
         },
         several},
        {"smoothstep(3.0, 0.25, X)", -1, 4,
         [](double x, double, double) {
             const double t = clamped((x - 3.0) / -2.75, 0, 1);
             return t * t * (3 - 2 * t);
         },
         several},
        {"fmod(X, Y + 3.0)", -2, 2, [](double x, double y, double) { return std::fmod(x * 1.0, y + 3.0); }, {2, 1e-6}},
        {"fmod(X * 7.5, 2.0)", -2, 2, [](double x, double, double) { return std::fmod(x * 7.5, 2.0); }, {2, 1e-5}},
        {"fdim(X, Y)", -4, 4, [](double x, double y, double) { return std::max(x - y, 0.0); }, rounded},
        {"fma(X, Y, Z)", -4, 4, [](double x, double y, double z) { return x * y + z; }, {1, 2e-6}},
        {"divide(X, Y)", 0.5, 9, [](double x, double y, double) { return x / y; }, division},
        {"X / Y", 0.5, 9, [](double x, double y, double) { return x / y; }, division},
        {"sqrt(X)", 0.01, 99, [](double x, double, double) { return std::sqrt(x); }, root},
        {"rsqrt(X)", 0.01, 99, [](double x, double, double) { return 1 / std::sqrt(x); }, root},
        {"sin(X)", -3.1, 3.1, [](double x, double, double) { return std::sin(x); }, wave},
        {"cos(X)", -3.1, 3.1, [](double x, double, double) { return std::cos(x); }, wave},
        {"tan(X)", -1.2, 1.2, [](double x, double, double) { return std::tan(x); }, {0, 1.0 / 256}},
        {"sinpi(X)", -1, 1, [](double x, double, double) { return std::sin(std::numbers::pi * x); }, wave},
        {"cospi(X)", -1, 1, [](double x, double, double) { return std::cos(std::numbers::pi * x); }, wave},
        {"sinh(X)", -3, 3, [](double x, double, double) { return std::sinh(x); }, power},
        {"cosh(X)", -3, 3, [](double x, double, double) { return std::cosh(x); }, power},
        {"tanh(X)", -3, 3, [](double x, double, double) { return std::tanh(x); }, power},
        {"asin(X)", -1, 1, [](double x, double, double) { return std::asin(x); }, angle},
        {"acos(X)", -1, 1, [](double x, double, double) { return std::acos(x); }, angle},
        {"atan(X)", -9, 9, [](double x, double, double) { return std::atan(x); }, angle},
        {"atan2(X, Y)", -9, 9, [](double x, double y, double) { return std::atan2(x, y); }, angle},
        {"asinh(X)", 0.1, 9, [](double x, double, double) { return std::asinh(x); }, power},
        {"acosh(X)", 1.1, 9, [](double x, double, double) { return std::acosh(x); }, power},
        {"atanh(X)", -0.9, 0.9, [](double x, double, double) { return std::atanh(x); }, power},
        {"exp(X)", -5, 5, [](double x, double, double) { return std::exp(x); }, power},
        {"exp2(X)", -5, 5, [](double x, double, double) { return std::exp2(x); }, power},
        {"exp10(X)", -3, 3, [](double x, double, double) { return std::pow(10, x); }, power},
        {"log(X)", 0.01, 50, [](double x, double, double) { return std::log(x); }, logarithm},
        {"log2(X)", 0.01, 50, [](double x, double, double) { return std::log2(x); }, logarithm},
        {"log10(X)", 0.01, 50, [](double x, double, double) { return std::log10(x); }, logarithm},
        {"pow(X, Y)", 0.1, 4, [](double x, double y, double) { return std::pow(x, y); }, power},
        {"powr(X, Y)", 0.1, 4, [](double x, double y, double) { return std::pow(x, y); }, power},
        {"degrees(X)", -4, 4, [](double x, double, double) { return x * 180 / std::numbers::pi; }, {2, 0}},
        {"radians(X)", -90, 90, [](double x, double, double) { return x * std::numbers::pi / 180; }, {2, 0}},
        {"ldexp(X, 3)", -4, 4, [](double x, double, double) { return x * 8; }, exact, false},
        {"select(X, Y, X < Z)", -4, 4, [](double x, double y, double z) { return x < z ? y : x; }, exact},
        {"X - Y * Z", -4, 4, [](double x, double y, double z) { return x - y * z; }, {1, 2e-6}},
    };
    return table;
}

double ulpOf(double value, int mantissaBits, int smallestExponent) {
    int exponent = 0;
    std::frexp(value, &exponent);
    return std::ldexp(1.0, std::max(exponent, smallestExponent) - mantissaBits);
}

// Numbers that fill the range evenly without a pattern, its ends among them.
std::vector<float> inputs(double low, double high, double stride, std::size_t count) {
    std::vector<float> out(count);
    double at = 0;
    for (float& value : out) {
        at += stride;
        at -= std::floor(at);
        value = float(low + (high - low) * at);
    }
    out[0] = float(low);
    out[1] = float(high);
    return out;
}

std::string withArguments(std::string expression, const std::string& x, const std::string& y, const std::string& z) {
    std::string out;
    for (const char c : expression)
        out += c == 'X' ? x : c == 'Y' ? y : c == 'Z' ? z : std::string(1, c);
    return out;
}

TEST(LibraryFunctions, AgreeWithTheCpuInEveryForm) {
    constexpr std::size_t count = 128;
    enum Form { scalar, vector, half, formCount };
    // One kernel evaluates every row in every form; each row has inputs of its own range.
    std::string body;
    std::vector<float> given;
    std::size_t number = 0;
    for (const Row& row : rows()) {
        for (const auto& [offset, stride] : {std::pair{0, 0.6180339887}, {1, 0.7548776662}, {2, 0.5698402910}}) {
            const std::vector<float> one = inputs(row.low, row.high, stride + offset * 1e-3, count);
            given.insert(given.end(), one.begin(), one.end());
        }
        const std::string base = std::to_string(number * 3);
        body += "{ float x = given[(" + base + ") * count + i], y = given[(" + base +
                " + 1) * count + i], z = given[(" + base + " + 2) * count + i];\n";
        body += "  out[(" + base + ") * count + i] = " + withArguments(row.expression, "x", "y", "z") + ";\n";
        body += "  out[(" + base + " + 1) * count + i] = (" +
                withArguments(row.expression, "float3(0.75, x, 0.5)", "float3(0.6, y, 0.9)", "float3(0.3, z, 0.7)") +
                ").y;\n";
        if (row.alsoHalf)
            body += "  out[(" + base + " + 2) * count + i] = float(" +
                    withArguments(row.expression, "half(x)", "half(y)", "half(z)") + "); }\n";
        else
            body += "}\n";
        ++number;
    }
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nconstant uint count = " + std::to_string(count) +
        ";\nkernel void check(device const float* given [[buffer(0)]], device float* out "
        "[[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i >= count) return;\n" +
        body + "}\n";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(given), bytesOf(std::vector<float>(given.size()))};
    ASSERT_TRUE(runKernel(source, buffers, count));
    const std::vector<float> got = valuesOf<float>(buffers[1]);

    number = 0;
    for (const Row& row : rows()) {
        for (int form = scalar; form < (row.alsoHalf ? formCount : half); ++form) {
            int failures = 0;
            for (std::size_t i = 0; i < count && failures < 2; ++i) {
                double arguments[3];
                for (std::size_t a = 0; a < 3; ++a) {
                    const float value = given[(number * 3 + a) * count + i];
                    arguments[a] = form == half ? double(_Float16(value)) : double(value);
                }
                // At a pole's edge half's rounded argument may leave the domain.
                const double expected = row.reference(arguments[0], arguments[1], arguments[2]);
                if (!std::isfinite(expected)) continue;
                const double value = got[(number * 3 + std::size_t(form)) * count + i];
                double allowed = row.tolerance.absolute + row.tolerance.ulps * ulpOf(expected, 24, -125);
                // Half computes in float and rounds its arguments' functions once; constants round to half as well.
                if (form == half && row.tolerance.ulps + row.tolerance.absolute > 0)
                    allowed += 2.5 * ulpOf(std::max(std::abs(expected), 1.0), 11, -13) *
                               std::max({1.0, std::abs(arguments[0]), std::abs(arguments[1])});
                if (!(std::abs(value - expected) <= allowed)) {
                    ++failures;
                    ADD_FAILURE() << row.expression << " as "
                                  << (form == scalar   ? "float"
                                      : form == vector ? "float3"
                                                       : "half")
                                  << " of " << arguments[0] << ", " << arguments[1] << ", " << arguments[2] << ": got "
                                  << value << ", expected " << expected << " within " << allowed;
                }
            }
        }
        ++number;
    }
}

} // namespace
} // namespace glasshob
