// The 16-bit brain float: conversions over every bit pattern, operators bit for bit, and where it may stand. What holds
// of every kind of number is tested in library/, for bfloat too.
#include "GlassHobRender/tests/Kernels.h"
#include "conformance/library/TableKernels.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using msl::ScalarKind;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

float wide(std::uint16_t bits) {
    return std::bit_cast<float>(std::uint32_t(bits) << 16);
}

// The nearest bfloat, of two that are as near the even one.
std::uint16_t narrow(double value) {
    return std::uint16_t(std::bit_cast<std::uint32_t>(float(roundedTo(ScalarKind::bfloat, value))) >> 16);
}

bool isNan(std::uint16_t bits) {
    return (bits & 0x7FFF) > 0x7F80;
}

// A device may take subnormal numbers for zero, going in and coming out.
std::uint16_t flushed(std::uint16_t bits) {
    return (bits & 0x7F80) == 0 ? std::uint16_t(bits & 0x8000) : bits;
}

TEST(Bfloat, EveryPatternBecomesTheFloatWithItsBitsOnTop) {
    std::vector<std::uint16_t> all(65536);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = std::uint16_t(i);
    std::vector<std::vector<std::byte>> buffers = {bytesOf(all), bytesOf(std::vector<std::uint32_t>(all.size())),
                                                   bytesOf(std::vector<std::uint32_t>(all.size()))};
    const std::string source = head + R"(
kernel void check(device const bfloat4* in [[buffer(0)]], device uint4* out [[buffer(1)]],
                  device uint* scalars [[buffer(2)]], uint i [[thread_position_in_grid]]) {
    if (i >= 16384) return;
    out[i] = as_type<uint4>(float4(in[i]));
    for (uint k = 0; k < 4; k++) { float x = in[i][k]; scalars[4 * i + k] = as_type<uint>(x); }
})";
    ASSERT_TRUE(runKernel(source, buffers, 16384));
    for (const std::size_t made : {1U, 2U}) {
        const auto got = valuesOf<std::uint32_t>(buffers[made]);
        for (std::size_t i = 0; i < all.size(); ++i)
            ASSERT_EQ(got[i], std::uint32_t(all[i]) << 16);
    }
}

TEST(Bfloat, FloatsRoundToTheNearest) {
    std::vector<std::uint32_t> in;
    for (std::uint32_t upper = 0; upper < 65536; ++upper) // on each number, around it and around the middle to the next
        for (const std::uint32_t lower : {0U, 1U, 0x7FFFU, 0x8000U, 0x8001U, 0xFFFFU})
            in.push_back(upper << 16 | lower);
    std::mt19937 random(3);
    for (int i = 0; i < 100'000; ++i)
        in.push_back(std::uint32_t(random()));
    const std::string source = head + "constant uint count = " + std::to_string(in.size()) + R"(;
kernel void check(device const float* in [[buffer(0)]], device bfloat* out [[buffer(1)]],
                  uint i [[thread_position_in_grid]]) { if (i < count) out[i] = bfloat(in[i]); })";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(in), bytesOf(std::vector<std::uint16_t>(in.size()))};
    ASSERT_TRUE(runKernel(source, buffers, std::uint32_t(in.size())));
    const auto got = valuesOf<std::uint16_t>(buffers[1]);
    for (std::size_t i = 0; i < in.size(); ++i) {
        const auto value = std::bit_cast<float>(in[i]);
        if (std::isnan(value))
            ASSERT_TRUE(isNan(got[i])) << std::hex << in[i];
        else
            ASSERT_EQ(got[i], narrow(double(value))) << std::hex << in[i];
    }
}

TEST(Bfloat, OperatorsAreRoundedOnce) {
    std::mt19937 random(5);
    std::vector<std::uint16_t> a, b;
    for (int i = 0; i < 40'000; ++i) {
        a.push_back(std::uint16_t(random()));
        // Every second one near the first, where sums cancel and quotients lie between neighbours.
        b.push_back(i % 2 == 0 ? std::uint16_t(random()) : std::uint16_t(a.back() + random() % 1024 - 512));
    }
    const std::size_t count = a.size();
    const std::string source = head + "constant uint count = " + std::to_string(count) + R"(;
kernel void check(device const bfloat* a [[buffer(0)]], device const bfloat* b [[buffer(1)]],
                  device bfloat* out [[buffer(2)]], device uchar* truths [[buffer(3)]],
                  uint i [[thread_position_in_grid]]) {
    if (i >= count) return;
    bfloat x = a[i], y = b[i];
    out[i] = x + y;
    out[count + i] = x - y;
    out[2 * count + i] = (bfloat2(x, y) * y).x;
    bfloat z = x;
    z /= y;
    out[3 * count + i] = z;
    out[4 * count + i] = -x;
    out[5 * count + i] = x++;
    out[6 * count + i] = x;
    out[7 * count + i] = fma(a[i], y, 1.5bf);
    truths[i] = uchar(a[i] < y) | uchar(a[i] <= y) << 1 | uchar(a[i] == y) << 2 | uchar(a[i] != y) << 3 |
                uchar(a[i] > y) << 4 | uchar(a[i] >= y) << 5 | uchar(bool(a[i])) << 6 | uchar(isnan(a[i])) << 7;
})";
    std::vector<std::vector<std::byte>> buffers = {
        bytesOf(a), bytesOf(b), bytesOf(std::vector<std::uint16_t>(8 * count)), std::vector<std::byte>(count)};
    ASSERT_TRUE(runKernel(source, buffers, std::uint32_t(count)));
    const auto got = valuesOf<std::uint16_t>(buffers[2]);
    const auto truths = valuesOf<std::uint8_t>(buffers[3]);
    const auto results = [](std::uint16_t first, std::uint16_t second) {
        const double x = double(wide(first));
        const double y = double(wide(second));
        return std::array<std::uint16_t, 8>{
            narrow(x + y), narrow(x - y), narrow(x * y), narrow(x / y),
            narrow(-x),    first,         narrow(x + 1), narrow(double(std::fma(wide(first), wide(second), 1.5F)))};
    };
    for (std::size_t i = 0; i < count; ++i) {
        const auto exact = results(a[i], b[i]);
        const auto other = results(flushed(a[i]), flushed(b[i]));
        for (std::size_t op = 0; op < exact.size(); ++op) {
            const std::uint16_t made = got[op * count + i];
            if (op == 4 || op == 5) { // no arithmetic
                ASSERT_EQ(made, op == 4 ? a[i] ^ 0x8000 : a[i]);
                continue;
            }
            const bool isRight = made == exact[op] || made == other[op] || made == flushed(exact[op]) ||
                                 made == flushed(other[op]) || (isNan(made) && isNan(exact[op]));
            ASSERT_TRUE(isRight) << "operator " << op << std::hex << " of " << a[i] << " and " << b[i] << ": got "
                                 << made << ", expected " << exact[op];
        }
        const auto truthsOf = [](float x, float y) {
            return std::uint8_t(int(x < y) | int(x <= y) << 1 | int(x == y) << 2 | int(x != y) << 3 | int(x > y) << 4 |
                                int(x >= y) << 5 | int(x != 0) << 6 | int(std::isnan(x)) << 7);
        };
        const bool isRight = truths[i] == truthsOf(wide(a[i]), wide(b[i])) ||
                             truths[i] == truthsOf(wide(flushed(a[i])), wide(flushed(b[i])));
        ASSERT_TRUE(isRight) << std::hex << a[i] << " and " << b[i] << ": " << int(truths[i]);
    }
}

// In structs, packed or not, in unions, in arrays of the thread and of the threadgroup, seen as other types.
TEST(Bfloat, LiesInMemoryAsItsBits) {
    const std::string source = head + R"(
struct Inner { packed_bfloat3 p; bfloat last; };
struct Data { bfloat a; bfloat2 b; uchar c; bfloat3 d; bfloat4 e; Inner inner[2]; packed_bfloat2 q; packed_bfloat4 r; };
static_assert(sizeof(bfloat) == 2 && sizeof(bfloat2) == 4 && sizeof(bfloat3) == 8 && sizeof(bfloat4) == 8, "");
static_assert(alignof(bfloat3) == 8 && sizeof(packed_bfloat3) == 6 && alignof(packed_bfloat3) == 2, "");
static_assert(sizeof(Inner) == 8 && sizeof(Data) == 64, "");
union Bits { bfloat2 number; uint word; };
kernel void check(device Data& d [[buffer(0)]], constant bfloat* numbers [[buffer(1)]], device ushort* out [[buffer(2)]],
                  device uchar* bytes [[buffer(3)]], uint i [[thread_index_in_threadgroup]]) {
    threadgroup bfloat shared[8];
    shared[i] = numbers[i] * 2;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    bfloat own[8];
    for (int k = 0; k < 8; k++) own[7 - k] = shared[k];
    if (i > 0) return;
    d.a = own[7];
    d.b = bfloat2(own[6], own[5]);
    d.d.y = own[4];
    d.e = bfloat4(bfloat3(d.b, 3.0bf), -1.0bf);
    d.inner[1].p = bfloat3(own[3], own[2], own[1]);
    d.inner[1].last = d.inner[1].p.y;
    d.q = d.e.zw;
    d.r.zyxw = d.e;
    Bits bits;
    bits.number = bfloat2(1.0bf, -2.0bf);
    out[0] = ushort(bits.word & 0xFFFF);
    out[1] = ushort(bits.word >> 16);
    bits.word ^= 0x80000000u;
    out[2] = as_type<ushort>(bits.number.y);
    out[3] = as_type<ushort2>(d.b).y;
    out[4] = as_type<ushort>(as_type<bfloat>(ushort(0x4049)));
    device bfloat* last = reinterpret_cast<device bfloat*>(bytes) + 1;
    *last = 2.5bf;
    out[5] = as_type<ushort>(bfloat(last[0] + 0.5bf));
    thread ushort* view = reinterpret_cast<thread ushort*>(own);
    out[6] = view[i + 3];
})";
    std::vector<std::uint16_t> numbers;
    for (int i = 0; i < 8; ++i)
        numbers.push_back(narrow(i + 1));
    std::vector<std::vector<std::byte>> buffers = {std::vector<std::byte>(64), bytesOf(numbers),
                                                   bytesOf(std::vector<std::uint16_t>(7)), std::vector<std::byte>(4)};
    ASSERT_TRUE(runKernel(source, buffers, 8, {.threadgroup = {8, 1, 1}}));
    const auto memory = valuesOf<std::uint16_t>(buffers[0]);
    std::vector<std::uint16_t> expected(32);
    const auto put = [&](std::size_t byte, std::initializer_list<double> values) {
        for (const double value : values) {
            expected[byte / 2] = narrow(value);
            byte += 2;
        }
    };
    put(0, {2});
    put(4, {4, 6});
    put(18, {8});
    put(24, {4, 6, 3, -1});
    put(40, {10, 12, 14, 12});
    put(48, {3, -1});
    put(52, {3, 6, 4, -1});
    EXPECT_EQ(memory, expected);
    EXPECT_EQ(valuesOf<std::uint16_t>(buffers[2]),
              (std::vector<std::uint16_t>{0x3F80, 0xC000, 0x4000, narrow(6), 0x4049, narrow(3), narrow(10)}));
    EXPECT_EQ(valuesOf<std::uint16_t>(buffers[3]), (std::vector<std::uint16_t>{0, narrow(2.5)}));
}

// Facts of the language; each gives one, known while compiling or at run time.
TEST(Bfloat, IsANumberLikeOthers) {
    const std::string source = head + R"(
constant bfloat scale [[function_constant(0)]];
constant bfloat2 pair [[function_constant(1)]];
#ifndef __HAVE_BFLOAT__
#error bfloat is part of the language
#endif
template <typename T> T twice(T x) { return x + x; }
template <typename T> struct Sum { T total = T(0); void add(T x) { total += x; } };
float asFloat(float x) { return x; }
int which(float) { return 1; }
int which(bfloat) { return 2; }
constexpr bfloat power(bfloat x, int n) { bfloat made = 1; for (int i = 0; i < n; ++i) made *= x; return made; }
static_assert(is_floating_point_v<bfloat> && is_arithmetic_v<bfloat> && is_signed_v<bfloat>, "");
static_assert(is_same_v<decltype(1.0bf + 1.0bf), bfloat> && is_same_v<decltype(1.0bf + 1), bfloat>, "");
static_assert(is_same_v<decltype(1.0bf * 1.0f), float> && is_same_v<decltype(exp(1.0bf)), bfloat>, "");
static_assert(is_same_v<vec<bfloat, 3>, bfloat3> && is_same_v<decltype(dot(bfloat2(1), bfloat2(2))), bfloat>, "");
static_assert(is_convertible_v<bfloat, float> && !is_convertible_v<float, bfloat>, "");
static_assert(!is_convertible_v<bfloat, half> && !is_convertible_v<half, bfloat> && is_convertible_v<int, bfloat>, "");
static_assert(numeric_limits<bfloat>::digits == 8 && numeric_limits<bfloat>::max_exponent == 128, "");
static_assert(1.0bf + numeric_limits<bfloat>::epsilon() != 1.0bf, "");
static_assert(1.0bf + numeric_limits<bfloat>::epsilon() / 2 == 1.0bf, "");
static_assert(numeric_limits<bfloat>::max() * 2.0bf == numeric_limits<bfloat>::infinity(), "");
static_assert(numeric_limits<bfloat>::lowest() == -numeric_limits<bfloat>::max(), "");
static_assert(power(1.5bf, 9) == bfloat(38.25), "each step is rounded");
static_assert(bfloat(257.0f) == 256.0bf && int(bfloat(3.995f)) == 4 && bfloat(half(0.333h)) == 0.33203125bf, "");
enum { fromBfloat = int(2.5BF * 3) };
constant bfloat table[3] = {1.0bf, 0.1bf, 3};
kernel void check(device const bfloat* in [[buffer(0)]], device float* out [[buffer(1)]],
                  uint i [[thread_index_in_threadgroup]]) {
    bfloat x = in[0]; // 3
    bfloat group = simd_sum(in[1]);
    bfloat shuffled = simd_broadcast_first(x);
    if (i > 0) return;
    uint n = 0;
    out[n++] = twice(x);
    Sum<bfloat> sum;
    for (int k = 0; k < 300; k++) sum.add(1);
    out[n++] = sum.total;
    out[n++] = asFloat(x);
    out[n++] = which(x);
    out[n++] = scale + pair.y;
    out[n++] = table[uint(x) - 2];
    out[n++] = fromBfloat;
    bfloat3 v = bfloat3(float3(1.0f, 2.0f, 257.0f));
    v.xy += x;
    v *= 2;
    out[n++] = v.x; out[n++] = v.y; out[n++] = v.z;
    out[n++] = (v > bfloat3(9)).y;
    out[n++] = select(bfloat2(1), bfloat2(2), bool2(false, true)).y;
    out[n++] = max(x, 2.5bf) + min(x, 2.5bf) + clamp(x, 0.0bf, 1.0bf);
    out[n++] = mix(bfloat(0), x, 0.5bf);
    out[n++] = dot(v, bfloat3(1));
    out[n++] = rsqrt(bfloat(0.25)) + sqrt(bfloat2(4)).y + abs(-x);
    out[n++] = x > 2 ? x : 1.0f;
    out[n++] = group == in[1] * bfloat(simd_sum(1)) ? shuffled : bfloat(0);
    out[n++] = modf(bfloat(2.5), x);
    out[n++] = x;
    int exponent;
    out[n++] = frexp(bfloat(12), exponent);
    out[n++] = exponent;
    out[n++] = uint(x + 254.0bf) + (!x ? 1 : 0) + (x && true ? 1 : 0);
    switch (int(x)) { case 2: out[n++] = 1; break; default: out[n++] = 0; }
})";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint16_t>{narrow(3), narrow(0.5)}),
                                                   bytesOf(std::vector<float>(24))};
    ASSERT_TRUE(runKernel(
        source, buffers, 1,
        {.threadgroup = {1, 1, 1}, .constants = {{64, 2, narrow(1.5)}, {72, 2, narrow(8)}, {73, 2, narrow(0.25)}}}));
    const float tenth = wide(narrow(0.1));
    EXPECT_EQ(valuesOf<float>(buffers[1]),
              (std::vector<float>{6,   256, 3,   2, 1.75F, tenth, 7,    8, 10,    512, 1,   2,
                                  6.5, 1.5, 528, 7, 3,     3,     0.5F, 2, 0.75F, 4,   257, 1}));
}

} // namespace
} // namespace glasshob
