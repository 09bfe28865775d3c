// The library's functions that are not one number from numbers of the same type: geometry, matrices, packing, tests of
// a number's kind, functions with a second result, bit fields and 64-bit integers. Executed on the device, the
// arguments read from a buffer so that nothing is worked out while compiling.
#include "GlassHobRender/tests/Kernels.h"

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace glasshob {
namespace {

using namespace glasshob::testing;

using Four = std::array<double, 4>;

// What every expression below may name.
constexpr double ax = 1.5, ay = -2.25, az = 3, aw = 0.5;
constexpr double bx = 0.25, by = 2, bz = -1, bw = 4;
constexpr const char* names = R"(
float4 a = given[0], b = given[1]; half4 ha = half4(a), hb = half4(b);
float nan = given[2].x, inf = given[2].y, zero = given[2].w;
int4 i = ints[0]; uint4 u = uint4(i); short4 s = short4(i); ushort4 us = ushort4(i); uchar4 uc = uchar4(i);
long l = long(i.y) * 10000000000L; ulong ul = ulong(l);
float2x2 m2 = float2x2(a.x, a.y, a.z, a.w); float3x3 m3 = float3x3(a.xyz, b.xyz, float3(0.5, 1, 2));
float4x4 m4 = float4x4(a, b, a.wzyx, float4(0, 0, 1, 2)); float2x3 m23 = float2x3(a.xyz, b.xyz);
half2x2 h2 = half2x2(ha.xy, hb.xy);
)";
const std::vector<std::int32_t> theInts = {7, -20, 123456789, -2147483647};

struct NumberRow {
    const char* expression; // of type float4, or a float that stands for four equal ones
    Four expected;
    double tolerance; // of the whole, relative to the expected number or to 1 where that is less
};

Four all(double value) {
    return {value, value, value, value};
}

constexpr double exact = 0;
constexpr double single = 1e-6; // a few roundings of float
constexpr double coarse = 5e-4; // functions with an absolute error of 2^-11
constexpr double half = 2e-3;   // a few roundings of half

std::vector<NumberRow> numberRows() {
    const double dotted = ax * bx + ay * by + az * bz;
    const double length = std::sqrt(ax * ax + ay * ay + az * az);
    const double k = 1 - 0.25 * (1 - 0.36); // of refract() below, 0.5 the ratio, 0.6 the cosine
    const Four crossed = {ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx, 0};
    const double far = std::sqrt((ax - bx) * (ax - bx) + (ay - by) * (ay - by));
    return {
        // geometry
        {"float4(cross(a.xyz, b.xyz), 0)", crossed, single},
        {"float4(float3(cross(ha.xyz, hb.xyz)), 0)", crossed, half},
        {"dot(a.xyz, b.xyz)", all(dotted), single},
        {"float(dot(ha.xyz, hb.xyz))", all(dotted), half},
        {"length(a.xyz)", all(length), single},
        {"float(length(ha.xyz))", all(length), half},
        {"length_squared(a.xyz)", all(length * length), single},
        {"distance(a.xy, b.xy)", all(far), single},
        {"distance_squared(a.xy, b.xy)", all(far * far), single},
        {"float4(normalize(a.xyz), 1)", {ax / length, ay / length, az / length, 1}, single},
        {"float4(fast::normalize(a.xyz), precise::length(a.xyz))",
         {ax / length, ay / length, az / length, length},
         single},
        {"float4(reflect(a.xy, float2(0, 1)), 0, 0)", {ax, -ay, 0, 0}, single},
        {"float4(refract(float2(0.8, -0.6), float2(zero, 1), 0.5), 0, 0)", {0.4, -std::sqrt(k), 0, 0}, single},
        {"float4(refract(float2(0.8, -0.6), float2(zero, 1), 2.0), 0, 0)", all(0), exact}, // total reflection
        {"faceforward(a, b, a)", {ax, ay, az, aw}, exact},                                 // dot(a, b) is negative
        {"faceforward(a, b, -a)", {-ax, -ay, -az, -aw}, exact},
        // matrices: columns first
        {"determinant(m2)", all(ax * aw - az * ay), single},
        {"determinant(m3)", all(ax * (by * 2 - bz * 1) - ay * (bx * 2 - bz * 0.5) + az * (bx * 1 - by * 0.5)), single},
        {"float(determinant(h2))", all(ax * by - bx * ay), half},
        {"float4(m2 * b.xy, b.xy * m2)",
         {ax * bx + az * by, ay * bx + aw * by, bx * ax + by * ay, bx * az + by * aw},
         single},
        {"float4(transpose(m2)[0], transpose(m2)[1])", {ax, az, ay, aw}, exact},
        {"float4(transpose(m23)[0], transpose(m23)[2])", {ax, bx, az, bz}, exact},
        {"float4(m23 * b.xy, zero)", {ax * bx + bx * by, ay * bx + by * by, az * bx + bz * by, 0}, single},
        {"float4(b.xyz * m23, 0, 0)", {dotted, bx * bx + by * by + bz * bz, 0, 0}, single},
        {"m4 * float4(1, zero, 0, 0)", {ax, ay, az, aw}, exact},
        {"(m4 * m4)[3]", {aw + 0, az + 0, ay + 1 * 2, ax + 2 * 2}, single},
        {"float4((m2 * 2.0 + m2)[1], (m2 - m2)[0])", {3 * az, 3 * aw, 0, 0}, single},
        {"float4(float2(h2 * hb.xy), 0, 0)", {ax * bx + bx * by, ay * bx + by * by, 0, 0}, half},
        {"float4(float2x2(m3[0].xy, m3[1].xy)[1], float2x2(2.0)[1])", {bx, by, 0, 2}, exact},
        // kinds of numbers
        {"float4(isnan(nan), isnan(inf), isinf(-inf), isinf(nan))", {1, 0, 1, 0}, exact},
        {"float4(isfinite(float4(nan, inf, -inf, a.x)))", {0, 0, 0, 1}, exact},
        {"float4(isnormal(float4(nan, inf, zero, a.x)))", {0, 0, 0, 1}, exact},
        {"float4(isordered(nan, a.x), isordered(a.x, a.y), isunordered(nan, a.x), isunordered(a.x, a.y))",
         {0, 1, 1, 0},
         exact},
        {"float4(signbit(a))", {0, 1, 0, 0}, exact},
        {"float4(all(a > b), any(a > b), all(bool2(true, a.x > 0)), any(not(a.xy < 9)))", {0, 1, 1, 0}, exact},
        {"select(a, b, a < b)", {ax, by, az, bw}, exact},
        {"float4(ilogb(a.x), ilogb(0.3 + zero), ilogb(-b.w), 0)", {0, -2, 2, 0}, exact},
        {"float4(nextafter(a.x, 9.0) - a.x, nextafter(a.x, -9.0) - a.x, nextafter(a.x, a.x) - a.x, 0) * 8388608.0",
         {1, -1, 0, 0},
         exact},
        {"float4(remainder(7.5, b.w), remainder(a.z, b.y), remainder(-7.5, b.w), remainder(a.x, 1.0))",
         {std::remainder(7.5, 4), std::remainder(3, 2), std::remainder(-7.5, 4), std::remainder(1.5, 1)},
         single},
        {"tanpi(0.2 * a.x)", all(std::tan(std::numbers::pi * 0.3)), 4 * coarse},
        // packing: rounded to nearest, cut to range
        {"float(pack_float_to_unorm4x8(float4(zero, 0.2, 1.0, 9.0)) == 0xFFFF3300u)", all(1), exact},
        {"float(pack_float_to_snorm4x8(float4(zero, -1.0, 1.0, -9.0)) == 0x817F8100u)", all(1), exact},
        {"float(pack_float_to_unorm2x16(float2(a.x, zero)) == 0x0000FFFFu)", all(1), exact},
        {"float(pack_float_to_snorm2x16(float2(-a.x, 1.0)) == 0x7FFF8001u)", all(1), exact},
        {"float(pack_half_to_unorm4x8(half4(zero, 1.0, 0.2, 1.0)) == 0xFF33FF00u)", all(1), exact},
        {"unpack_unorm4x8_to_float(0xFF336600u + uint(zero))", {0, 0.4, 0.2, 1}, single},
        {"unpack_snorm4x8_to_float(0x80817F00u + uint(zero))", {0, 1, -1, -1}, single},
        {"float4(unpack_unorm2x16_to_float(0xFFFF3333u + uint(zero)), 0, 0)", {0.2, 1, 0, 0}, single},
        {"float4(unpack_snorm2x16_to_float(0x80017FFFu + uint(zero)), 0, 0)", {1, -1, 0, 0}, single},
        {"float4(unpack_unorm4x8_to_half(0xFF336600u + uint(zero)))", {0, 0.4, 0.2, 1}, half},
        {"float4(as_type<half2>(0x3C00C000u + uint(zero)), as_type<float>(0x40400000u + uint(zero)), 0)",
         {-2, 1, 3, 0},
         exact},
    };
}

struct IntegerFact {
    const char* expression;
    std::int64_t expected;
};

constexpr std::int64_t longest = -200'000'000'000;

const IntegerFact integerFacts[] = {
    {"extract_bits(u.z, 4u, 8u)", (123456789 >> 4) & 0xFF},
    {"extract_bits(i.y, 2u, 4u)", -5}, // the field's top bit is its sign
    {"insert_bits(u.x, 0x2Au, 8u, 6u)", 7 | 0x2A << 8},
    {"madhi(i.z, i.z, i.x)", (std::int64_t(123456789) * 123456789 >> 32) + 7},
    {"madsat(i.z, i.z, i.x)", INT32_MAX},
    {"madsat(i.z, i.y, i.x)", INT32_MIN},
    {"madsat(i.x, i.y, i.x)", 7 * -20 + 7},
    {"madsat(u.z, u.x, u.x)", 123456789LL * 7 + 7},
    {"madsat(u.z, u.z, u.x)", UINT32_MAX},
    {"mad24(i.x, i.y, i.x)", -133},
    {"mul24(i.x, i.y)", -140},
    {"abs(i.w)", INT32_MAX},
    {"absdiff(i.x, i.y)", 27},
    {"int(addsat(uc, uchar4(100)).y)", 255}, // -20 is 236
    {"int(popcount(us).y)", 13},             // 65516
    {"int(reverse_bits(uchar(uc.x)))", 0xE0},
    {"select(i.x, i.y, i.x > i.y)", -20},
    // 64 bits
    {"l", longest},
    {"l / 7", longest / 7},
    {"l % 1000007", longest % 1000007},
    {"l >> 3", longest >> 3},
    {"l * l", std::int64_t(std::uint64_t(longest) * std::uint64_t(longest))},
    {"long(ul / 3)", std::int64_t(std::uint64_t(longest) / 3)},
    {"long(ul >> 40)", std::int64_t(std::uint64_t(longest) >> 40)},
    {"max(l, long(i.x))", 7},
    {"abs(l)", -longest},
    {"long(float(i.z) * 1000.0)", 123456790528},
    {"long(1e30 * a.x)", INT64_MAX},
    {"long(uint(i.y))", 4294967276},
    {"long(i.y)", -20},
    {"l == -200000000000L && ul > 5ul && l < i.y ? 1 : 0", 1},
    {"int(extract_bits(s.y, 2u, 4u))", -5},
    {"int(insert_bits(uc.x, uchar(3), 6u, 2u))", 7 | 3 << 6},
    // vectors
    {"(i.xy * i.yx).x", -140},
    {"(i.xyz >> int3(1, 2, 3)).y", -5},
    {"int((uchar4(i) + uchar4(30)).y)", 10}, // a vector's elements wrap, they are not promoted
    {"int((s.xy << short2(13)).x)", -8192},
    {"dot(float2(i.xy), float2(1, 2)) < 0 ? 1 : 0", 1},
    {"all((i.xyzw == int4(7, -20, 123456789, -2147483647))) ? 1 : 0", 1},
};

TEST(LibraryShapes, NumbersAgreeWithTheCpu) {
    std::vector<NumberRow> rows = numberRows();
    // Functions that give a second result through a reference.
    const NumberRow twice[] = {
        {"float whole; r.x = modf(a.y, whole); r.y = whole; r.z = modf(b.w + a.w, whole); r.w = whole;",
         {-0.25, -2, 0.5, 4},
         exact},
        {"int power; r.x = frexp(a.z, power); r.y = power; r.z = frexp(-b.x, power); r.w = power;",
         {0.75, 2, -0.5, -1},
         exact},
        {"float c; r.x = sincos(a.x, c); r.y = c; half hc; r.z = float(sincos(ha.w, hc)); r.w = float(hc);",
         {std::sin(1.5), std::cos(1.5), std::sin(0.5), std::cos(0.5)},
         2 * coarse},
        {"float4 w; r = modf(a, w); r += w;", {ax, ay, az, aw}, exact},
        {"int4 e; float4 f = frexp(b, e); r = ldexp(f, e);", {bx, by, bz, bw}, exact},
    };
    std::string body;
    for (std::size_t n = 0; n < rows.size(); ++n)
        body += "out[" + std::to_string(n) + "] = " + rows[n].expression + ";\n";
    for (const NumberRow& row : twice) {
        body += "{ float4 r; " + std::string(row.expression) + " out[" + std::to_string(rows.size()) + "] = r; }\n";
        rows.push_back(row);
    }
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const float4* given [[buffer(0)]], "
        "device const int4* ints [[buffer(1)]], device float4* out [[buffer(2)]], uint at "
        "[[thread_position_in_grid]]) {\nif (at != 0) return;\n" +
        std::string(names) + body + "}\n";
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<float> given = {float(ax), float(ay), float(az), float(aw), float(bx), float(by),
                                      float(bz), float(bw), nan,       inf,       0,         0};
    std::vector<std::vector<std::byte>> buffers = {bytesOf(given), bytesOf(theInts),
                                                   bytesOf(std::vector<float>(rows.size() * 4, 12345))};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    const auto got = valuesOf<float>(buffers[2]);
    for (std::size_t n = 0; n < rows.size(); ++n)
        for (std::size_t c = 0; c < 4; ++c) {
            const double expected = rows[n].expected[c];
            const double allowed = rows[n].tolerance * std::max(1.0, std::abs(expected));
            EXPECT_LE(std::abs(got[n * 4 + c] - expected), allowed)
                << rows[n].expression << " component " << c << ": got " << got[n * 4 + c] << ", expected " << expected;
        }
}

TEST(LibraryShapes, IntegersAgreeWithTheCpu) {
    std::string body;
    std::size_t count = 0;
    for (const IntegerFact& fact : integerFacts)
        body += "out[" + std::to_string(count++) + "] = long(" + fact.expression + ");\n";
    const std::string source =
        "#include <metal_stdlib>\nusing namespace metal;\nkernel void check(device const float4* given [[buffer(0)]], "
        "device const int4* ints [[buffer(1)]], device long* out [[buffer(2)]], uint at "
        "[[thread_position_in_grid]]) {\nif (at != 0) return;\n" +
        std::string(names) + body + "}\n";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<float>(12, 1.5F)), bytesOf(theInts),
                                                   bytesOf(std::vector<std::int64_t>(count, 12345))};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    const auto got = valuesOf<std::int64_t>(buffers[2]);
    for (std::size_t n = 0; n < count; ++n)
        EXPECT_EQ(got[n], integerFacts[n].expected) << integerFacts[n].expression;
}

} // namespace
} // namespace glasshob
