// Matrix operators, 64-bit integers, bit casts and vectors of integers in the shapes that people write them in.
// Executed on the device, the arguments read from a buffer so that nothing is worked out while compiling.
#include "GlassHobRender/tests/Kernels.h"

#include <array>
#include <cmath>
#include <limits>

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

constexpr double exact = 0;
constexpr double single = 1e-6; // a few roundings of float
constexpr double half = 2e-3;   // a few roundings of half

std::vector<NumberRow> numberRows() {
    const double dotted = ax * bx + ay * by + az * bz;
    return {
        // matrices: columns first
        {"float4(m2 * b.xy, b.xy * m2)",
         {ax * bx + az * by, ay * bx + aw * by, bx * ax + by * ay, bx * az + by * aw},
         single},
        {"float4(m23 * b.xy, zero)", {ax * bx + bx * by, ay * bx + by * by, az * bx + bz * by, 0}, single},
        {"float4(b.xyz * m23, 0, 0)", {dotted, bx * bx + by * by + bz * bz, 0, 0}, single},
        {"m4 * float4(1, zero, 0, 0)", {ax, ay, az, aw}, exact},
        {"(m4 * m4)[3]", {aw + 0, az + 0, ay + 1 * 2, ax + 2 * 2}, single},
        {"float4((m2 * 2.0 + m2)[1], (m2 - m2)[0])", {3 * az, 3 * aw, 0, 0}, single},
        {"float4(float2(h2 * hb.xy), 0, 0)", {ax * bx + bx * by, ay * bx + by * by, 0, 0}, half},
        {"float4(float2x2(m3[0].xy, m3[1].xy)[1], float2x2(2.0)[1])", {bx, by, 0, 2}, exact},
        // bits
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
    // 64 bits
    {"l", longest},
    {"l / 7", longest / 7},
    {"l % 1000007", longest % 1000007},
    {"l >> 3", longest >> 3},
    {"l * l", std::int64_t(std::uint64_t(longest) * std::uint64_t(longest))},
    {"long(ul / 3)", std::int64_t(std::uint64_t(longest) / 3)},
    {"long(ul >> 40)", std::int64_t(std::uint64_t(longest) >> 40)},
    {"long(float(i.z) * 1000.0)", 123456790528},
    {"long(1e30 * a.x)", INT64_MAX},
    {"long(uint(i.y))", 4294967276},
    {"long(i.y)", -20},
    {"l == -200000000000L && ul > 5ul && l < i.y ? 1 : 0", 1},
    // vectors
    {"(i.xy * i.yx).x", -140},
    {"(i.xyz >> int3(1, 2, 3)).y", -5},
    {"int((uchar4(i) + uchar4(30)).y)", 10}, // a vector's elements wrap, they are not promoted
    {"int((s.xy << short2(13)).x)", -8192},
    {"dot(float2(i.xy), float2(1, 2)) < 0 ? 1 : 0", 1},
    {"all((i.xyzw == int4(7, -20, 123456789, -2147483647))) ? 1 : 0", 1},
};

TEST(LibraryShapes, NumbersAgreeWithTheCpu) {
    const std::vector<NumberRow> rows = numberRows();
    std::string body;
    for (std::size_t n = 0; n < rows.size(); ++n)
        body += "out[" + std::to_string(n) + "] = " + rows[n].expression + ";\n";
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
