// The language on the device: facts that a shader checks by itself, integers against the CPU, struct layout byte by
// byte, and indexes that must not leave what they index.
#include "GlassHobCore/files/ShaderFile.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Kernels.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

TEST(Language, TheFactsHold) {
    const auto gpu = device();
    const auto source = ShaderFile::read(CONFORMANCE_DATA "/language-checks.metal");
    ASSERT_TRUE(source);
    const auto made = program(*source, gpu);
    ASSERT_NE(made, nullptr);
    const auto image = StillRenderer::render(made, gpu, 4, 4, 0, {}, 0);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bytes[2], 0) << "the number of the first CHECK that failed"; // blue, green, red
    EXPECT_EQ(image->bytes[1], 255);
}

// ------------------------------------------------------------------------------------------------------- integers

struct IntegerRow {
    const char* type;
    const char* expression; // of x, y and z, which have the type
    std::function<std::int64_t(std::int64_t, std::int64_t, std::int64_t)> reference; // before it is cut to the type
};

std::int64_t cutTo(const std::string& type, std::int64_t value) {
    if (type == "int") return std::int32_t(value);
    if (type == "uint") return std::uint32_t(value);
    if (type == "short") return std::int16_t(value);
    if (type == "ushort") return std::uint16_t(value);
    if (type == "char") return std::int8_t(value);
    if (type == "uchar") return std::uint8_t(value);
    return value;
}

std::int64_t saturated(const std::string& type, std::int64_t value) {
    const auto within = [&](std::int64_t low, std::int64_t high) { return std::clamp(value, low, high); };
    if (type == "int") return within(INT32_MIN, INT32_MAX);
    if (type == "uint") return within(0, UINT32_MAX);
    if (type == "short") return within(INT16_MIN, INT16_MAX);
    if (type == "ushort") return within(0, UINT16_MAX);
    if (type == "char") return within(INT8_MIN, INT8_MAX);
    return within(0, UINT8_MAX);
}

std::int64_t widthOf(const std::string& type) {
    return type.ends_with("int") ? 32 : type.ends_with("short") ? 16 : 8;
}

std::uint64_t bitsOf(const std::string& type, std::int64_t value) {
    return std::uint64_t(value) & (~std::uint64_t{0} >> (64 - widthOf(type)));
}

std::vector<IntegerRow> integerRows() {
    using I = std::int64_t;
    std::vector<IntegerRow> rows;
    for (const char* type : {"int", "uint", "short", "ushort", "char", "uchar"}) {
        const std::string t = type;
        const auto add = [&](const char* expression, std::function<I(I, I, I)> reference) {
            rows.push_back({type, expression, std::move(reference)});
        };
        add("x + y", [](I x, I y, I) { return x + y; });
        add("x - y", [](I x, I y, I) { return x - y; });
        add("x * y", [](I x, I y, I) { return I(std::uint64_t(x) * std::uint64_t(y)); });
        // Narrow operands are int by then; a divisor of zero counts as one.
        add("x / y", [](I x, I y, I) { return y == 0 ? x : x / y; });
        add("x % y", [](I x, I y, I) { return y == 0 ? 0 : x % y; });
        add("x & y", [](I x, I y, I) { return x & y; });
        add("x | y", [](I x, I y, I) { return x | y; });
        add("x ^ y", [](I x, I y, I) { return x ^ y; });
        add("~x", [](I x, I, I) { return ~x; });
        add("-x", [](I x, I, I) { return -x; });
        add("x << 3", [](I x, I, I) { return I(std::uint64_t(x) << 3U); });
        add("x >> 3", [](I x, I, I) { return x >> 3U; });
        add("x < y ? x : z", [](I x, I y, I z) { return x < y ? x : z; });
        add("x == y || x > z", [](I x, I y, I z) { return I(x == y || x > z); });
        add("min(x, y)", [](I x, I y, I) { return std::min(x, y); });
        add("max(x, y)", [](I x, I y, I) { return std::max(x, y); });
        add("clamp(x, min(y, z), max(y, z))",
            [](I x, I y, I z) { return std::clamp(x, std::min(y, z), std::max(y, z)); });
        add("median3(x, y, z)", [](I x, I y, I z) { return std::max(std::min(x, y), std::min(std::max(x, y), z)); });
        add("absdiff(x, y)", [](I x, I y, I) { return x > y ? x - y : y - x; });
        add("addsat(x, y)", [t](I x, I y, I) { return saturated(t, x + y); });
        add("subsat(x, y)", [t](I x, I y, I) { return saturated(t, x - y); });
        add("hadd(x, y)", [](I x, I y, I) { return (x + y) >> 1U; });
        add("rhadd(x, y)", [](I x, I y, I) { return (x + y + 1) >> 1U; });
        add("mulhi(x, y)", [t](I x, I y, I) {
            return t == "uint" ? I(std::uint64_t(x) * std::uint64_t(y) >> 32U) : (x * y) >> widthOf(t);
        });
        add("popcount(x)", [t](I x, I, I) { return I(std::popcount(bitsOf(t, x))); });
        add("clz(x)", [t](I x, I, I) { return std::countl_zero(bitsOf(t, x)) - (64 - widthOf(t)); });
        add("ctz(x)", [t](I x, I, I) { return x == 0 ? widthOf(t) : I(std::countr_zero(bitsOf(t, x))); });
        add("reverse_bits(x)", [t](I x, I, I) {
            std::uint64_t out = 0;
            for (I i = 0; i < widthOf(t); ++i)
                out |= (bitsOf(t, x) >> std::uint64_t(i) & 1U) << std::uint64_t(widthOf(t) - 1 - i);
            return I(out);
        });
        add("rotate(x, y)", [t](I x, I y, I) {
            const auto by = std::uint64_t(y) % std::uint64_t(widthOf(t));
            const std::uint64_t bits = bitsOf(t, x);
            return by == 0 ? I(bits) : I(bits << by | bits >> (std::uint64_t(widthOf(t)) - by));
        });
    }
    // Conversions: from float they truncate and stay in range.
    rows.push_back(
        {"int", "int(float(x) * 1e-3)", [](I x, I, I) { return I(std::int32_t(float(std::int32_t(x)) * 1e-3F)); }});
    rows.push_back({"int", "int(float(x) * 1e6)", [](I x, I, I) {
                        const float scaled = float(std::int32_t(x)) * 1e6F;
                        return scaled >= 0x1p31F ? I(INT32_MAX) : scaled < -0x1p31F ? I(INT32_MIN) : I(scaled);
                    }});
    rows.push_back({"int", "int(uint(float(x) * 1e6))", [](I x, I, I) {
                        const float scaled = float(std::int32_t(x)) * 1e6F;
                        return scaled >= 0x1p32F ? I(UINT32_MAX) : scaled < 0 ? I(0) : I(scaled);
                    }});
    rows.push_back({"int", "uchar(float(x))", [](I x, I, I) { return std::clamp(I(float(x)), I(0), I(255)); }});
    rows.push_back({"int", "char(x) + ushort(y)", [](I x, I y, I) { return I(std::int8_t(x)) + I(std::uint16_t(y)); }});
    rows.push_back(
        {"uint", "as_type<uint>(as_type<float>(x & 0x7F7FFFFFu))", [](I x, I, I) { return x & 0x7F7FFFFF; }});
    return rows;
}

TEST(Language, IntegersAgreeWithTheCpu) {
    const std::vector<std::int32_t> numbers = {
        0,   1,   -1,   2,     3,      7,     -8,    31,    100,       127,        -128,      200,
        255, 256, 1000, 32767, -32768, 40000, 65535, 65536, 123456789, -987654321, INT32_MAX, INT32_MIN};
    std::vector<std::int32_t> given; // triples
    for (const std::int32_t x : numbers)
        for (const std::int32_t y : numbers)
            given.insert(given.end(), {x, y, numbers[given.size() / 3 % numbers.size()]});
    const std::size_t count = given.size() / 3;
    const std::vector<IntegerRow> rows = integerRows();
    std::string body;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const std::string t = rows[r].type;
        body += "{ " + t + " x = " + t + "(given[i * 3]), y = " + t + "(given[i * 3 + 1]), z = " + t +
                "(given[i * 3 + 2]); " + t + " made = " + t + "(" + rows[r].expression + "); out[" + std::to_string(r) +
                " * count + i] = int(made); }\n";
    }
    const std::string source = head + "constant uint count = " + std::to_string(count) +
                               ";\nkernel void check(device const int* given [[buffer(0)]], device int* out "
                               "[[buffer(1)]], uint i [[thread_position_in_grid]]) {\nif (i >= count) return;\n" +
                               body + "}\n";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(given),
                                                   bytesOf(std::vector<std::int32_t>(count * rows.size()))};
    ASSERT_TRUE(runKernel(source, buffers, std::uint32_t(count)));
    const auto got = valuesOf<std::int32_t>(buffers[1]);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        int failures = 0;
        for (std::size_t i = 0; i < count && failures < 2; ++i) {
            const std::string t = rows[r].type;
            const std::int64_t x = cutTo(t, given[i * 3]);
            const std::int64_t y = cutTo(t, given[i * 3 + 1]);
            const std::int64_t z = cutTo(t, given[i * 3 + 2]);
            const auto expected = std::int32_t(cutTo(t, rows[r].reference(x, y, z)));
            if (got[r * count + i] == expected) continue;
            ++failures;
            ADD_FAILURE() << rows[r].expression << " as " << t << " of " << x << ", " << y << ", " << z << ": got "
                          << got[r * count + i] << ", expected " << expected;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------- calls

TEST(Language, FunctionsTakeAnyNumberOfArguments) {
    for (const int count : {254, 255, 256, 1000}) {
        std::string values;
        std::string references;
        std::string sum;
        std::string raised;
        std::string given;
        std::string own;
        std::string names;
        for (int i = 0; i < count; ++i) {
            const std::string n = std::to_string(i);
            const std::string separator = i == 0 ? "" : ", ";
            values += separator + (i % 3 == 0 ? "float" : i % 3 == 1 ? "int" : "ushort2") + " p" + n;
            references += separator + "thread float& r" + n;
            sum += "s += float(p" + n + (i % 3 == 2 ? ".y" : "") + ") * " + std::to_string(i % 7) + ";\n";
            raised += "if (r" + n + " > 5000) return; r" + n + " += " + n + ";\n";
            given += separator + "x + " + n;
            own += "float v" + n + " = x;\n";
            names += separator + "v" + n;
        }
        const std::string source = head + "float byValue(" + values + ") { float s = 0;\n" + sum +
                                   "return s; }\nvoid byReference(" + references + ") {\n" + raised +
                                   "}\nkernel void check(device float* out [[buffer(0)]],"
                                   " uint x [[thread_position_in_grid]]) {\nout[2 * x] = byValue(" +
                                   given + ");\n" + own + "byReference(" + names +
                                   ");\nout[2 * x + 1] = v1 + v100 + v253 + v" + std::to_string(count - 1) + ";\n}";
        std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<float>(4))};
        ASSERT_TRUE(runKernel(source, buffers, 2, {.threadgroup = {2, 1, 1}})) << count;
        for (int x = 0; x < 2; ++x) {
            float expected = 0;
            for (int i = 0; i < count; ++i)
                expected += float(x + i) * float(i % 7);
            EXPECT_EQ(valuesOf<float>(buffers[0])[std::size_t(2 * x)], expected) << count;
            EXPECT_EQ(valuesOf<float>(buffers[0])[std::size_t(2 * x + 1)], float(4 * x + 1 + 100 + 253 + count - 1))
                << count;
        }
    }
}

// --------------------------------------------------------------------------------------------------------- layout

TEST(Language, StructsLieInMemoryAsMetalLaysThem) {
    // Written by the device, read at known places by the CPU, and the other way round.
    const std::string source = head + R"(
struct Inner { half h; bool flag; float3 v; };
struct Mixed {
    char c;             // 0
    short s;            // 2
    packed_float3 p;    // 4
    float3 v;           // 16
    float after;        // 32
    half2x3 m;          // 40, columns of 8
    bool2 flags;        // 56
    Inner inner[2];     // 64, 32 each
    float2x2 f;         // 128
    ushort3 u;          // 144
    long wide;          // 152
};
kernel void check(device Mixed* all [[buffer(0)]], device uint* sizes [[buffer(1)]], uint i [[thread_position_in_grid]]) {
    if (i != 0) return;
    Mixed m = all[0];
    m.c += 1; m.s = short(m.s * 2); m.p = m.p.zyx; m.v += 1.0; m.after = m.inner[1].v.z; m.m[1] = m.m[0];
    m.flags = !m.flags; m.inner[1].flag = !m.inner[1].flag; m.inner[1].h *= 2.0h; m.f = transpose(m.f);
    m.u = m.u.yzx; m.wide = m.wide * 3 - 1;
    all[1] = m;
    sizes[0] = sizeof(Mixed); sizes[1] = sizeof(Inner); sizes[2] = sizeof(float3); sizes[3] = sizeof(packed_float3);
    sizes[4] = sizeof(bool3); sizes[5] = sizeof(half3x3); sizes[6] = sizeof(float4x3); sizes[7] = alignof(Mixed);
})";
    constexpr std::size_t size = 160;
    std::vector<std::byte> mixed(2 * size);
    const auto put = [&](std::size_t at, auto value) { std::memcpy(mixed.data() + at, &value, sizeof value); };
    put(0, std::int8_t(5));
    put(2, std::int16_t(-700));
    for (int i = 0; i < 3; ++i) {
        put(4 + std::size_t(i) * 4, float(i + 1));
        put(16 + std::size_t(i) * 4, float(i + 10));
        put(40 + std::size_t(i) * 2, _Float16(i + 20));
        put(144 + std::size_t(i) * 2, std::uint16_t(i + 60000));
    }
    put(56, std::uint8_t(1));
    put(96, _Float16(1.5F)); // inner[1].h
    put(98, std::uint8_t(0));
    put(112 + 8, 33.0F); // inner[1].v.z
    for (int i = 0; i < 4; ++i)
        put(128 + std::size_t(i) * 4, float(i));
    put(152, std::int64_t(-5'000'000'000));

    std::vector<std::vector<std::byte>> buffers = {mixed, bytesOf(std::vector<std::uint32_t>(8))};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1]), (std::vector<std::uint32_t>{160, 32, 16, 12, 4, 24, 64, 16}));
    const auto get = [&]<typename T>(std::size_t at, T) {
        T value;
        std::memcpy(&value, buffers[0].data() + size + at, sizeof value);
        return value;
    };
    EXPECT_EQ(get(0, std::int8_t()), 6);
    EXPECT_EQ(get(2, std::int16_t()), -1400);
    EXPECT_EQ(get(4, 0.0F), 3);
    EXPECT_EQ(get(12, 0.0F), 1);
    EXPECT_EQ(get(24, 0.0F), 13);
    EXPECT_EQ(get(32, 0.0F), 33);
    EXPECT_EQ(float(get(48 + 4, _Float16())), 22);
    EXPECT_EQ(get(56, std::uint8_t()), 0);
    EXPECT_EQ(get(57, std::uint8_t()), 1);
    EXPECT_EQ(float(get(96, _Float16())), 3);
    EXPECT_EQ(get(98, std::uint8_t()), 1);
    EXPECT_EQ(get(132, 0.0F), 2);
    EXPECT_EQ(get(148, std::uint16_t()), 60000);
    EXPECT_EQ(get(152, std::int64_t()), -15'000'000'001);
}

// -------------------------------------------------------------------------------------------------------- indexes

TEST(Language, NoIndexLeavesWhatItIndexes) {
    const std::string source = head + R"(
constant float table[4] = { 1, 2, 3, 4 };
struct Row { float before; float values[4]; float after; };
kernel void check(device float* out [[buffer(0)]], device const int* wild [[buffer(1)]], device Row* rows [[buffer(2)]],
                  uint i [[thread_position_in_grid]]) {
    if (i != 0) return;
    for (int k = 0; k < 8; k++) {
        int at = wild[k];
        float before[2] = { 5, 6 };
        float local[4] = { 1, 2, 3, 4 };
        float behind[2] = { 7, 8 };
        local[at] = 100;
        float4 v = float4(1, 2, 3, 4);
        v[at] = 50;
        float2x2 m = float2x2(1, 2, 3, 4);
        m[at][at] = 9;
        out[k] = before[0] + before[1] + behind[0] + behind[1] == 26 ? 1 : 0;
        float read = table[at] + local[at] + v[at] + m[at][at];
        out[8 + k] = isfinite(read) && read <= 163.0 ? 1 : 0;
        rows[1].values[at] = 77;
        rows[at].before = 55;
        out[at] = out[at];
    }
})";
    std::vector<float> rowValues(3 * 6, -1);
    std::vector<std::vector<std::byte>> buffers = {
        bytesOf(std::vector<float>(16, -1)),
        bytesOf(std::vector<std::int32_t>{-1, 4, 1000, -1000000, INT32_MAX, INT32_MIN, 17, 5}), bytesOf(rowValues)};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    const auto out = valuesOf<float>(buffers[0]);
    for (std::size_t i = 0; i < out.size(); ++i)
        EXPECT_EQ(out[i], 1) << i;
    rowValues = valuesOf<float>(buffers[2]);
    for (std::size_t i = 0; i < rowValues.size(); ++i) {
        const bool isBefore = i % 6 == 0;
        const bool isValueOfRowOne = i / 6 == 1 && i % 6 >= 1 && i % 6 <= 4;
        const bool mayChange = isBefore || isValueOfRowOne;
        EXPECT_TRUE(rowValues[i] == -1 || (mayChange && rowValues[i] == (isBefore ? 55 : 77))) << i;
    }
}

// Not even one element fits, though its first members would.
TEST(Language, ABufferWithoutAnElementReadsAsZeroAndTakesNoWrites) {
    const std::string source = R"(#include <metal_stdlib>
using namespace metal;
struct Wide { uint first; atomic_uint count; uint2 rest; float values[2]; };
uint all(device Wide& w, int i) { return w.first + w.rest.x + uint(w.values[i]); }
kernel void check(device uint* out [[buffer(0)]], device Wide* none [[buffer(1)]], device uint4* alsoNone [[buffer(2)]],
                  constant int3* constants [[buffer(3)]], device Wide* one [[buffer(4)]],
                  uint i [[thread_position_in_grid]]) {
    if (i != 0) return;
    out[0] = none[0].first;
    out[1] = none[7].rest[out[9]];
    out[2] = all(none[1], 1);
    out[3] = atomic_fetch_add_explicit(&none[0].count, 3u, memory_order_relaxed);
    none[0].first = 1;
    none[2].values[out[9]] = 2;
    for (int k = 0; k < 3; k++) alsoNone[k].y += 4;
    uint4 whole = alsoNone[0];
    out[4] = whole.x + whole.y;
    alsoNone[0] = uint4(9);
    out[5] = constants[0].x;
    one[1].first += 5;
    out[6] = one[3].first;
})";
    std::vector<std::vector<std::byte>> buffers = {
        bytesOf(std::vector<std::uint32_t>(10, 1)), bytesOf(std::vector<std::uint32_t>(5, 77)),
        bytesOf(std::vector<std::uint32_t>(3, 77)), bytesOf(std::vector<std::uint32_t>(3, 77)),
        bytesOf(std::vector<std::uint32_t>(9, 77))};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[0]), (std::vector<std::uint32_t>{0, 0, 0, 0, 0, 0, 82, 1, 1, 1}));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1]), std::vector<std::uint32_t>(5, 77));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[2]), std::vector<std::uint32_t>(3, 77));
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[4])[0], 82U);
}

// Big variables are cleared in loops: every element, in every pass of the loop around them, and nothing else.
TEST(Language, BigVariablesStartAsZero) {
    const std::string source = R"(#include <metal_stdlib>
using namespace metal;
struct Pair { int a; half h[3]; };
struct Big { int before; float3 v[41]; Pair pairs[9][5]; bool flags[37]; int after; };
int whole(thread const Big& b) {
    int sum = b.before + b.after;
    for (int k = 0; k < 41; ++k) sum += int(b.v[k].x + b.v[k].y + b.v[k].z);
    for (int k = 0; k < 45; ++k) sum += b.pairs[k / 5][k % 5].a + int(b.pairs[k / 5][k % 5].h[k % 3]);
    for (int k = 0; k < 37; ++k) sum += b.flags[k] ? 1 : 0;
    return sum;
}
kernel void check(device int* out [[buffer(0)]], uint i [[thread_position_in_grid]]) {
    int sum = 0;
    int written = 0;
    for (int pass = 0; pass < 3; ++pass) {
        int numbers[1023] = {};
        float4 vectors[70] = {};
        char small[33] = {};
        int table[7][50] = {};
        Big big = {};
        for (int k = 0; k < 1023; ++k) sum += abs(numbers[k]);
        for (int k = 0; k < 70; ++k) sum += int(dot(abs(vectors[k]), float4(1)));
        for (int k = 0; k < 33; ++k) sum += small[k];
        for (int k = 0; k < 350; ++k) sum += table[k / 50][k % 50];
        sum += whole(big);
        const int at = int(i) * 37 + pass;
        numbers[at % 1023] = 1;
        vectors[at % 70].z = 2;
        small[at % 33] = 3;
        table[at % 7][at % 50] = 4;
        big.v[at % 41].y = 5;
        big.pairs[at % 9][at % 5].a = 6;
        big.flags[at % 37] = true;
        written += numbers[at % 1023] + int(vectors[at % 70].z) + small[at % 33] + table[at % 7][at % 50] + whole(big);
    }
    out[2 * i] = sum;
    out[2 * i + 1] = written;
})";
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::int32_t>(128, -1))};
    ASSERT_TRUE(runKernel(source, buffers, 64));
    std::vector<std::int32_t> expected;
    for (int i = 0; i < 64; ++i)
        expected.insert(expected.end(), {0, 3 * (1 + 2 + 3 + 4 + 5 + 6 + 1)});
    EXPECT_EQ(valuesOf<std::int32_t>(buffers[0]), expected);
}

// A struct of more members than a module's structs can have is split: each member lies where it should.
TEST(Language, TwentyThousandMembersLieInTheirPlaces) {
    constexpr int count = 20'000;
    std::string source = "struct Many {\n";
    for (int i = 0; i < count; ++i)
        source += "float m" + std::to_string(i) + ";\n";
    source += "};\nkernel void check(device Many* out [[buffer(0)]], device const Many& given [[buffer(1)]]) {\n";
    const int looked[] = {0, 1, 16'381, 16'382, 16'383, 16'384, 19'998, 19'999};
    for (const int i : looked)
        source += "out[0].m" + std::to_string(i) + " = given.m" + std::to_string(i) + " + 0.5;\n";
    source += "}\n";
    std::vector<float> given(count);
    for (int i = 0; i < count; ++i)
        given[static_cast<std::size_t>(i)] = float(i);
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<float>(2 * count, -1)), bytesOf(given)};
    ASSERT_TRUE(runKernel(source, buffers, 1));
    const std::vector<float> out = valuesOf<float>(buffers[0]);
    for (const int i : looked)
        EXPECT_EQ(out[static_cast<std::size_t>(i)], float(i) + 0.5F);
    EXPECT_EQ(std::ranges::count(out, -1.0F), 2 * count - std::ssize(looked));
}

} // namespace
} // namespace glasshob
