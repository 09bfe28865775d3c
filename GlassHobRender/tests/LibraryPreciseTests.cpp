// The precise forms of the math functions within the error that the language documents for them, over numbers of every
// size, special ones among them; the bit functions of 64-bit integers; packing into uneven fields.
#include "GlassHobRender/tests/Kernels.h"

#include <cmath>
#include <functional>
#include <numbers>
#include <random>

namespace glasshob {
namespace {

using namespace glasshob::testing;

constexpr std::size_t count = 1024;

struct PreciseRow {
    const char* expression; // x and y are float3
    std::function<double(double, double)> reference;
    double ulps; // 0.5: correctly rounded
};

const PreciseRow preciseRows[] = {
    {"precise::sin(x)", [](double x, double) { return std::sin(x); }, 4},
    {"precise::cos(x)", [](double x, double) { return std::cos(x); }, 4},
    {"precise::tan(x)", [](double x, double) { return std::tan(x); }, 6},
    {"precise::asin(x)", [](double x, double) { return std::asin(x); }, 4},
    {"precise::acos(x)", [](double x, double) { return std::acos(x); }, 4},
    {"precise::atan(x)", [](double x, double) { return std::atan(x); }, 5},
    {"precise::atan2(x, y)", [](double x, double y) { return std::atan2(x, y); }, 6},
    {"precise::sinh(x)", [](double x, double) { return std::sinh(x); }, 4},
    {"precise::cosh(x)", [](double x, double) { return std::cosh(x); }, 4},
    {"precise::tanh(x)", [](double x, double) { return std::tanh(x); }, 5},
    {"precise::asinh(x)", [](double x, double) { return std::asinh(x); }, 4},
    {"precise::acosh(x)", [](double x, double) { return std::acosh(x); }, 4},
    {"precise::atanh(x)", [](double x, double) { return std::atanh(x); }, 5},
    {"precise::exp(x)", [](double x, double) { return std::exp(x); }, 4},
    {"precise::exp2(x)", [](double x, double) { return std::exp2(x); }, 4},
    {"precise::exp10(x)", [](double x, double) { return std::pow(10.0, x); }, 4},
    {"precise::log(x)", [](double x, double) { return std::log(x); }, 4},
    {"precise::log2(x)", [](double x, double) { return std::log2(x); }, 4},
    {"precise::log10(x)", [](double x, double) { return std::log10(x); }, 4},
    {"precise::pow(x, y)", [](double x, double y) { return std::pow(x, y); }, 16},
    {"precise::divide(x, y)", [](double x, double y) { return x / y; }, 0.5},
    {"precise::sqrt(x)", [](double x, double) { return std::sqrt(x); }, 0.5},
    {"precise::rsqrt(x)", [](double x, double) { return 1 / std::sqrt(x); }, 0.5},
    {"precise::fmod(x, y)", [](double x, double y) { return std::fmod(x, y); }, 0.5},
    {"precise::fmin(x, y)", [](double x, double y) { return std::fmin(x, y); }, 0.5},
    {"precise::fmax(x, y)", [](double x, double y) { return std::fmax(x, y); }, 0.5},
    {"precise::fma(x, y, x.yzx)", nullptr, 0.5}, // see below
};

// Special numbers in pairs, then every bit pattern's chance, then numbers of everyday size.
std::vector<float> numbers(unsigned seed) {
    const float specials[] = {0.0F,      -0.0F, 1.0F,   -1.0F, 0.5F, -2.0F, 3.0F,        INFINITY,
                              -INFINITY, NAN,   1e-30F, 3e38F, 1e7F, -1.5F, 16777216.0F, 0.78539816F};
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> everyday(-4, 4);
    std::vector<float> out;
    for (std::size_t i = 0; i < count * 3; ++i) {
        if (i < 256)
            out.push_back(specials[seed % 2 == 0 ? i / 16 : i % 16]);
        else if (i % 2 == 0)
            out.push_back(everyday(random));
        else
            out.push_back(std::bit_cast<float>(std::uint32_t(random())));
        if (std::fpclassify(out.back()) == FP_SUBNORMAL) out.back() = 0; // a device may take them for zero
    }
    return out;
}

double ulpOf(double value) {
    int exponent = 0;
    std::frexp(value, &exponent);
    return std::ldexp(1.0, std::max(exponent, -125) - 24);
}

TEST(LibraryPrecise, MathIsWithinTheDocumentedError) {
    std::string body;
    std::size_t number = 0;
    for (const PreciseRow& row : preciseRows)
        body += "out[" + std::to_string(number++) + " * count + i] = packed_float3(" + row.expression + ");\n";
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nconstant uint count = " + std::to_string(count) +
        ";\nkernel void check(device const packed_float3* xs [[buffer(0)]], device const packed_float3* ys "
        "[[buffer(1)]], device packed_float3* out [[buffer(2)]], uint i [[thread_position_in_grid]]) {\n"
        "if (i >= count) return;\nfloat3 x = xs[i], y = ys[i];\n" +
        body + "}\n";
    const std::vector<float> x = numbers(2);
    const std::vector<float> y = numbers(3);
    std::vector<std::vector<std::byte>> buffers = {bytesOf(x), bytesOf(y),
                                                   bytesOf(std::vector<float>(number * count * 3))};
    ASSERT_TRUE(runKernel(source, buffers, count));
    const auto got = valuesOf<float>(buffers[2]);
    for (number = 0; number < std::size(preciseRows); ++number) {
        const PreciseRow& row = preciseRows[number];
        int failures = 0;
        for (std::size_t i = 0; i < count * 3 && failures < 3; ++i) {
            const float third = x[i / 3 * 3 + (i % 3 + 1) % 3];
            const double exact = row.reference ? row.reference(x[i], y[i]) : double(std::fma(x[i], y[i], third));
            const double value = got[number * count * 3 + i];
            bool isRight;
            if (std::isnan(exact))
                isRight = std::isnan(value);
            else if (std::isinf(float(exact)) || std::isinf(value))
                isRight = value == double(float(exact)) || (row.ulps > 1 && std::abs(exact) > 3.4028e38 &&
                                                            std::abs(value) > 3.4028e38 && value * exact > 0);
            else if (std::abs(exact) < 0x1p-126) // may be zero instead
                isRight = std::abs(value) <= 0x1p-126;
            else
                isRight = std::abs(value - exact) <= (row.ulps + 1e-6) * ulpOf(exact);
            if (isRight) continue;
            ++failures;
            ADD_FAILURE() << row.expression << " of " << std::hexfloat << x[i] << ", " << y[i] << ": got " << value
                          << ", expected " << exact << ", off by " << std::defaultfloat
                          << std::abs(value - exact) / ulpOf(exact) << " units";
        }
    }
}

struct WideFact {
    const char* expression; // of longs a, b, c or ulongs ua, ub, uc
    std::function<std::uint64_t(std::int64_t, std::int64_t, std::int64_t)> reference;
};

using Wide = __int128;
using UnsignedWide = unsigned __int128;

const WideFact wideFacts[] = {
    {"clz(ua)", [](auto a, auto, auto) { return std::uint64_t(std::countl_zero(std::uint64_t(a))); }},
    {"ctz(a)", [](auto a, auto, auto) { return std::uint64_t(std::countr_zero(std::uint64_t(a))); }},
    {"popcount(a)", [](auto a, auto, auto) { return std::uint64_t(std::popcount(std::uint64_t(a))); }},
    {"reverse_bits(a)",
     [](auto a, auto, auto) {
         std::uint64_t out = 0;
         for (int bit = 0; bit < 64; ++bit)
             out |= (std::uint64_t(a) >> bit & 1) << (63 - bit);
         return out;
     }},
    {"extract_bits(a, 5u, 40u)", [](auto a, auto, auto) { return std::uint64_t(a << 19 >> 24); }},
    {"extract_bits(ua, 5u, 40u)", [](auto a, auto, auto) { return std::uint64_t(a) << 19 >> 24; }},
    {"extract_bits(a, 0u, 64u)", [](auto a, auto, auto) { return std::uint64_t(a); }},
    {"extract_bits(a, 7u, 0u)", [](auto, auto, auto) { return std::uint64_t(0); }},
    {"insert_bits(a, b, 30u, 12u)",
     [](auto a, auto b, auto) {
         const std::uint64_t mask = std::uint64_t(0xFFF) << 30;
         return (std::uint64_t(a) & ~mask) | (std::uint64_t(b) << 30 & mask);
     }},
    {"mulhi(a, b)", [](auto a, auto b, auto) { return std::uint64_t(Wide(a) * b >> 64); }},
    {"mulhi(ua, ub)",
     [](auto a, auto b, auto) { return std::uint64_t(UnsignedWide(std::uint64_t(a)) * std::uint64_t(b) >> 64); }},
    {"madhi(a, b, c)", [](auto a, auto b, auto c) { return std::uint64_t(Wide(a) * b >> 64) + std::uint64_t(c); }},
    {"madsat(a, b, c)",
     [](auto a, auto b, auto c) {
         const Wide sum = Wide(a) * b + c;
         return std::uint64_t(sum > INT64_MAX ? INT64_MAX : sum < INT64_MIN ? INT64_MIN : std::int64_t(sum));
     }},
    {"madsat(ua, ub, uc)",
     [](auto a, auto b, auto c) {
         const UnsignedWide product = UnsignedWide(std::uint64_t(a)) * std::uint64_t(b);
         const UnsignedWide sum = product + std::uint64_t(c);
         return sum < product || sum > UINT64_MAX ? UINT64_MAX : std::uint64_t(sum);
     }},
};

TEST(LibraryPrecise, WideIntegersAgreeWithTheCpu) {
    constexpr std::size_t rounds = 128;
    std::mt19937_64 random(5);
    std::vector<std::int64_t> given = {0,  0,  0,  INT64_MIN, INT64_MIN, INT64_MIN, INT64_MAX, INT64_MAX, -1,
                                       -1, -1, -1, 1,         INT64_MIN, -1,        INT64_MIN, -1,        0};
    while (given.size() < rounds * 3) // of every length
        given.push_back(std::int64_t(random()) >> (random() % 64));
    std::string body;
    std::size_t number = 0;
    for (const WideFact& fact : wideFacts)
        body += "out[" + std::to_string(number++) + " * 128 + i] = ulong(" + fact.expression + ");\n";
    // The same of vectors, whose second component it is.
    for (const WideFact& fact : wideFacts) {
        std::string expression = fact.expression;
        for (const char* name : {"ua", "ub", "uc"})
            for (auto at = expression.find(name); at != std::string::npos; at = expression.find(name, at + 5))
                expression.replace(at, 2, std::string("v") + name);
        body += "out[" + std::to_string(number++) + " * 128 + i] = ulong((" + expression + ")" +
                (expression.find("vu") != std::string::npos ? ".y" : "") + ");\n";
    }
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const long* given [[buffer(0)]], "
        "device ulong* out [[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i >= 128) return;\n"
        "long a = given[i * 3], b = given[i * 3 + 1], c = given[i * 3 + 2]; ulong ua = a, ub = b, uc = c;\n"
        "ulong3 vua(1, ua, 2), vub(3, ub, 4), vuc(5, uc, 6);\n" +
        body + "}\n";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(given),
                                                   bytesOf(std::vector<std::uint64_t>(number * rounds))};
    ASSERT_TRUE(runKernel(source, buffers, rounds));
    const auto got = valuesOf<std::uint64_t>(buffers[1]);
    for (std::size_t n = 0; n < number; ++n)
        for (std::size_t i = 0; i < rounds; ++i) {
            const WideFact& fact = wideFacts[n % std::size(wideFacts)];
            EXPECT_EQ(got[n * rounds + i], fact.reference(given[i * 3], given[i * 3 + 1], given[i * 3 + 2]))
                << fact.expression << " of " << given[i * 3] << ", " << given[i * 3 + 1] << ", " << given[i * 3 + 2];
        }
}

TEST(LibraryPrecise, UnevenFieldsArePackedFromTheLowestBit) {
    const struct {
        const char* expression;
        float expected;
    } facts[] = {
        {"pack_float_to_unorm10a2(float4(one, 0, 9, 0.34)) == (1023u | 1023u << 20 | 1u << 30)", 1},
        {"pack_float_to_unorm565(float3(one, 0, 0.5)) == (31 | 16 << 11)", 1},
        {"pack_half_to_unorm565(half3(half(one), 1, 0)) == (31 | 63 << 5)", 1},
        {"pack_half_to_unorm10a2(half4(0, half(one), 0, 1)) == (1023u << 10 | 3u << 30)", 1},
        {"pack_float_to_srgb_unorm4x8(float4(one, 0.2158605, 0.0015, 0.6)) == (255u | 128u << 8 | 5u << 16 | 153u << "
         "24)",
         1},
        {"unpack_unorm10a2_to_float((1023u | 341u << 10 | 2u << 30) * uint(one)).y", 341.0F / 1023},
        {"unpack_unorm10a2_to_float((1023u | 341u << 10 | 2u << 30) * uint(one)).w", 2.0F / 3},
        {"unpack_unorm565_to_float(ushort(31 | 21 << 5) * ushort(one)).y", 21.0F / 63},
        {"float(unpack_unorm565_to_half(ushort(31 | 21 << 5) * ushort(one)).x)", 1},
        {"unpack_unorm4x8_srgb_to_float(0x80008000u * uint(one)).y", 0.2158605F},
        {"unpack_unorm4x8_srgb_to_float(0x80008000u * uint(one)).w", 128.0F / 255},
        {"pack_half_to_snorm2x16(half2(half(one), -1)) == 0x80017FFFu", 1},
        {"pack_half_to_snorm4x8(half4(half(one), -1, 0, 1)) == 0x7F00817Fu", 1},
        {"pack_half_to_unorm2x16(half2(half(one), 0)) == 0xFFFFu", 1},
        {"pack_half_to_srgb_unorm4x8(half4(half(one), 0, 0, 1)) == 0xFF0000FFu", 1},
        {"unpack_snorm2x16_to_half(0x80017FFFu * uint(one)).y", -1},
        {"unpack_snorm4x8_to_half(0x7F00817Fu * uint(one)).y", -1},
        {"unpack_unorm2x16_to_half(0xFFFF0000u * uint(one)).y", 1},
        {"unpack_unorm4x8_srgb_to_half(0xFF0000FFu * uint(one)).x", 1},
        {"unpack_unorm10a2_to_half((1023u << 10) * uint(one)).y", 1},
        {"fmax3(one, 3.0, 2.0)", 3},
        {"fmin3(2.0, one, 3.0)", 1},
        {"fmedian3(3.0, one, 2.0)", 2},
        {"precise::fmedian3(3.0, one, 2.0)", 2},
        {"mad(one, 3.0, 2.0)", 5},
        {"fract(-1e-10 * one)", 0x1.FFFFFEp-1F},
        {"float(fract(half(-5.96e-8) * half(one)))", 0x1.FFCp-1F},
        {"precise::length(float3(3, 4, 12) * one)", 13},
        {"precise::distance(float2(3, 4) * one, float2(0))", 5},
        {"precise::normalize(float2(3, 4) * one).y", 0.8F},
    };
    std::string body;
    std::size_t number = 0;
    for (const auto& fact : facts)
        body += "out[" + std::to_string(number++) + "] = float(" + fact.expression + ");\n";
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const float* given [[buffer(0)]], "
        "device float* out [[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i != 0) return;\nfloat one = "
        "given[0];\n" +
        body + "}\n";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<float>{1}),
                                                   bytesOf(std::vector<float>(number, 12345))};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    const auto got = valuesOf<float>(buffers[1]);
    for (std::size_t n = 0; n < number; ++n)
        EXPECT_NEAR(got[n], facts[n].expected, 1e-5 * std::abs(facts[n].expected)) << facts[n].expression;
}

} // namespace
} // namespace glasshob
