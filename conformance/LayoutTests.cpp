// How types lie in buffers: arrays that go on to the buffer's end, packed and aligned structs, byte by byte.
#include "GlassHobRender/tests/Kernels.h"

#include <numeric>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

std::vector<std::byte> numbered(std::size_t count) {
    std::vector<float> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 100.0F);
    return bytesOf(numbers);
}

// ------------------------------------------------------------------------------- arrays that go on to the buffer's end

// A buffer of numbers in every spelling; each is read at its last number and behind the end, and written likewise.
TEST(OpenArrays, GoOnToWhereTheBufferEnds) {
    struct {
        const char* declarations;
        const char* parameter;
        const char* array;  // what the index is put behind
        std::size_t before; // numbers in front of the array
    } const rows[] = {
        {"struct Data { float v[1]; };", "device Data& d", "d.v", 0},
        {"struct Data { float v[1]; };", "device Data* d", "d->v", 0},
        {"struct Data { float v[1]; };", "device Data* d", "(*d).v", 0},
        {"struct Data { float v[1]; };", "device Data* d", "d[0].v", 0},
        {"struct Data { uint count; float v[1]; };", "device Data& d", "d.v", 1},
        {"struct Data { float4 a; float v[1]; };", "device Data& d", "d.v", 4},
        {"struct In { float b; float v[1]; }; struct Mid { float c[2]; In in; }; struct Data { float a; Mid mid; };",
         "device Data& d", "d.mid.in.v", 4},
        {"struct In { float b; float v[1]; }; struct Data { float2 a; In in; };", "device Data* d", "d->in.v", 3},
        {"struct Base { float a, b; }; struct Data : Base { float v[1]; };", "device Data& d", "d.v", 2},
        {"struct Data { float a; array<float, 1> v; };", "device Data& d", "d.v", 1},
        {"template <typename T, uint N> struct Run { T e[N]; device T& operator[](uint i) device { return e[i]; } };"
         "struct Data { float a; Run<float, 1> v; };",
         "device Data& d", "d.v", 1},
        {"typedef float floats[1];", "device floats& d", "d", 0},
        {"typedef float floats[1];", "device floats* d", "(*d)", 0},
        {"", "device float (&d)[1]", "d", 0},
    };
    for (const auto& row : rows)
        for (const std::size_t length : {1U, 2U, 37U, 1000U}) {
            const std::string array = row.array;
            const std::string source = head + row.declarations + "\nkernel void check(" + row.parameter +
                                       " [[buffer(0)]], device float* out [[buffer(1)]], device const uint* at "
                                       "[[buffer(2)]]) {\n"
                                       "out[0] = " +
                                       array +
                                       "[at[0]];\n"
                                       "out[1] = " +
                                       array +
                                       "[at[1]];\n"
                                       "out[2] = " +
                                       array +
                                       "[at[2]];\n"
                                       "out[3] = " +
                                       array + "[0];\n" + array + "[at[3]] += 0.5f;\n" + array + "[at[1]] = 7.0f;\n}";
            const auto last = std::uint32_t(length - 1);
            std::vector<std::vector<std::byte>> buffers = {
                numbered(row.before + length), bytesOf(std::vector<float>(4)),
                bytesOf(std::vector<std::uint32_t>{last, 0xFFFFFFFF, last + 1, last / 2})};
            ASSERT_TRUE(runKernel(source, buffers, 1, {.threadgroup = {1, 1, 1}})) << source;
            auto expected = valuesOf<float>(numbered(row.before + length));
            const float first = expected[row.before];
            EXPECT_EQ(valuesOf<float>(buffers[1]),
                      (std::vector<float>{expected.back(), expected.back(), expected.back(), first}))
                << length << source;
            expected[row.before + last / 2] += 0.5F;
            expected.back() = 7;
            EXPECT_EQ(valuesOf<float>(buffers[0]), expected) << length << source;
        }
}

// A bigger struct is an element; functions, references and pointers carry the array on; atomics count in it.
TEST(OpenArrays, AreReachedThroughFunctionsAndPointers) {
    std::vector<std::vector<std::byte>> buffers = {
        bytesOf(std::vector<std::uint32_t>(1 + 64)), bytesOf(std::vector<std::uint32_t>(2 + 3 * 4)),
        bytesOf(std::vector<float>{0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12})};
    const std::string source = head + R"(
struct Counts { atomic_uint count; uint items[1]; };
struct Histogram { uint first; uint second; atomic_uint bins[1]; };
struct Item { float2 place; float weight; };
struct Scene { float4 colour; float4 rows[1]; };
void append(device Counts& to, uint value) {
    uint at = atomic_fetch_add_explicit(&to.count, 1u, memory_order_relaxed);
    to.items[at] = value;
}
void count(device atomic_uint* bins, uint i) { atomic_fetch_add_explicit(bins + i % 12, 1u, memory_order_relaxed); }
float sum(constant float4* rows, uint n) { float s = 0; for (uint i = 0; i < n; ++i) s += rows[i].x + rows[i].w; return s; }
kernel void check(device Counts& list [[buffer(0)]], device Histogram* bins [[buffer(1)]],
                  constant Scene& scene [[buffer(2)]], uint i [[thread_position_in_grid]]) {
    append(list, i);
    count(bins->bins, i);
    if (i == 0) { bins->first = uint(sum(scene.rows, 3)); const constant auto& row = scene.rows[2]; bins->second = uint(row.y); }
})";
    ASSERT_TRUE(runKernel(source, buffers, 64, {.threadgroup = {64, 1, 1}}));
    auto items = valuesOf<std::uint32_t>(buffers[0]);
    EXPECT_EQ(items[0], 64U);
    std::sort(items.begin() + 1, items.end());
    for (std::uint32_t i = 0; i < 64; ++i)
        EXPECT_EQ(items[1 + i], i);
    const auto bins = valuesOf<std::uint32_t>(buffers[1]);
    EXPECT_EQ(bins[0], 1U + 4 + 5 + 8 + 9 + 12);
    EXPECT_EQ(bins[1], 10U);
    for (std::uint32_t i = 0; i < 12; ++i)
        EXPECT_EQ(bins[2 + i], i < 4 ? 6U : 5U);
}

// A copy of the whole is as long as its type says, and so is an element of a pointer to many.
TEST(OpenArrays, CopiesAndElementsAreAsLongAsTheirType) {
    std::vector<std::vector<std::byte>> buffers = {numbered(6), numbered(6), numbered(8),
                                                   bytesOf(std::vector<float>(6))};
    const std::string source = head + R"(
struct Data { float a; float v[1]; };
kernel void check(device Data& from [[buffer(0)]], device Data* to [[buffer(1)]], device Data* many [[buffer(2)]],
                  device float* out [[buffer(3)]], uint i [[thread_position_in_grid]]) {
    Data copy = from;
    copy.v[i + 3] += 1000; // an array of the thread: its one element
    copy.a = from.v[4];
    *to = copy;
    out[0] = to->v[i + 2];
    uint n = i + 2;
    many[n].v[n] = 5;      // element 2: its one element
    many[n + 1] = copy;
    out[1] = many[n].v[0] + many[n + 1].a;
    device Data* walk = many;
    walk += n;
    out[2] = walk->v[n + 7];
    out[3] = many[1].v[n];
})";
    ASSERT_TRUE(runKernel(source, buffers, 1, {.threadgroup = {1, 1, 1}}));
    EXPECT_EQ(valuesOf<float>(buffers[1]), (std::vector<float>{105, 1101, 102, 103, 104, 105}));
    EXPECT_EQ(valuesOf<float>(buffers[2]), (std::vector<float>{100, 101, 102, 103, 104, 5, 105, 1101}));
    EXPECT_EQ(valuesOf<float>(buffers[3]), (std::vector<float>{103, 5 + 105, 5, 103, 0, 0}));
}

} // namespace
} // namespace glasshob
