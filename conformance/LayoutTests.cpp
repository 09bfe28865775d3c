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
        {"struct Data { float v[]; };", "device Data& d", "d.v", 0},
        {"struct Data { uint count; float v[]; }; static_assert(sizeof(Data) == 4, \"\");", "device Data& d", "d.v", 1},
        {"struct Data { float4 a; float b; float v[0]; }; static_assert(sizeof(Data) == 32, \"\");", "device Data* d",
         "d->v", 5},
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

// ------------------------------------------------------------------------------------------ packed and aligned structs

// The same text is structs of the host, whose compiler knows the attributes too, and of the shader.
#define IN_BOTH(...)                                                                                                   \
    __VA_ARGS__                                                                                                        \
    const std::string text = #__VA_ARGS__;

// NOLINTBEGIN
// clang-format off
namespace laid {
using uchar = std::uint8_t;
using ushort = std::uint16_t;
using uint = std::uint32_t;
using half = _Float16;
using packed_float3 = float[3];
typedef float float4 __attribute__((vector_size(16)));
struct alignas(8) float2x2 { float columns[4]; };

IN_BOTH(
struct __attribute__((packed)) A { uchar a; float b; ushort c; uint d[2]; half e; long f; };
struct B { uchar a; struct A b; ushort c; struct A d[3]; };
struct C { uchar a; float b __attribute__((packed)); uchar c; float4 d __attribute__((packed)); };
struct __attribute__((__packed__)) D { uchar a; float4 b; packed_float3 c; float2x2 d; struct { half x; uint y; } e; };
struct alignas(32) E { float a; float b; };
struct F { float a; alignas(16) float b; float c; struct E d; uchar e __attribute__((aligned(8))); };
struct G { uchar a; struct F b[2]; float c; } __attribute__((aligned(128)));
typedef float wide __attribute__((aligned(16)));
typedef float4 narrow __attribute__((aligned(4)));
struct H { float a; wide b; float c; narrow d; narrow e[2]; uchar f; };
struct __attribute__((packed, aligned(4))) I { uchar a; uint b; ushort c; uint d __attribute__((aligned(2))); };
_Pragma("pack(push, 2)")
struct J { uchar a; uint b; long c; half d; uchar e; float4 f; alignas(8) uchar g; };
_Pragma("pack(push, outer, 1)")
struct K { uchar a; struct J b; float c; };
_Pragma("pack()")
struct L { uchar a; float4 b; };
_Pragma("pack(pop, outer)")
struct M { uchar a; struct L b; uint c; };
_Pragma("pack(pop)")
struct N { uchar a; uint b; struct M c; };
struct __attribute__((packed)) O { uchar a; union { float f; uint u; } b; struct A c[2]; uchar d; };
struct P { uint a; } __attribute__((packed));
struct Q { uchar a; struct P b; uchar c; };
struct alignas(4) R : A { uchar g; float h; };
struct [[gnu::packed]] S { uchar a; float b; };
struct T { struct S a __attribute__((aligned(4))); struct S b; alignas(float) uchar c; };
)
} // namespace laid

struct Part { // a number or vector in a struct
    std::string path;
    std::size_t offset;
    std::size_t size;
};
struct Laid {
    std::string name;
    std::size_t size;
    std::size_t alignment;
    std::vector<Part> parts;
};
#define AT(path) Part{#path, offsetof(Type, path), sizeof(static_cast<Type*>(nullptr)->path)}
#define LAID(type, ...) [] { using Type = laid::type; return Laid{#type, sizeof(Type), alignof(Type), {__VA_ARGS__}}; }()
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winvalid-offsetof"
const std::vector<Laid>& laidStructs() {
    static const std::vector<Laid> all = {
        LAID(A, AT(a), AT(b), AT(c), AT(d[0]), AT(d[1]), AT(e), AT(f)),
        LAID(B, AT(a), AT(b.a), AT(b.b), AT(b.f), AT(c), AT(d[0].b), AT(d[1].d[1]), AT(d[2].e), AT(d[2].f)),
        LAID(C, AT(a), AT(b), AT(c), AT(d)),
        LAID(D, AT(a), AT(b), AT(c), AT(d), AT(e.x), AT(e.y)),
        LAID(E, AT(a), AT(b)),
        LAID(F, AT(a), AT(b), AT(c), AT(d.a), AT(d.b), AT(e)),
        LAID(G, AT(a), AT(b[0].b), AT(b[1].a), AT(b[1].e), AT(c)),
        LAID(H, AT(a), AT(b), AT(c), AT(d), AT(e[0]), AT(e[1]), AT(f)),
        LAID(I, AT(a), AT(b), AT(c), AT(d)),
        LAID(J, AT(a), AT(b), AT(c), AT(d), AT(e), AT(f), AT(g)),
        LAID(K, AT(a), AT(b.b), AT(b.c), AT(b.f), AT(b.g), AT(c)),
        LAID(L, AT(a), AT(b)),
        LAID(M, AT(a), AT(b.a), AT(b.b), AT(c)),
        LAID(N, AT(a), AT(b), AT(c.b.b), AT(c.c)),
        LAID(O, AT(a), AT(b.f), AT(c[0].b), AT(c[1].a), AT(c[1].f)),
        LAID(P, AT(a)),
        LAID(Q, AT(a), AT(b.a), AT(c)),
        LAID(R, AT(a), AT(b), AT(f), AT(g), AT(h)),
        LAID(S, AT(a), AT(b)),
        LAID(T, AT(a.a), AT(a.b), AT(b.a), AT(b.b), AT(c)),
    };
    return all;
}
#pragma clang diagnostic pop
// clang-format on
// NOLINTEND

// Part by part through references, one more from constant memory, and a copy of the whole: every byte is where the
// host's compiler puts it, and the others stay as they were.
TEST(PackedStructs, LieAsTheHostLaysThem) {
    for (const Laid& row : laidStructs()) {
        std::string moves;
        for (const Part& part : row.parts)
            moves += "to." + part.path + " = from." + part.path + "; ";
        const std::string source =
            head + laid::text + "\nvoid move(device " + row.name + "& to, device const " + row.name + "& from) { " +
            moves + "}\nvoid move(device " + row.name + "& to, constant " + row.name + "& from) { " + moves +
            "}\nkernel void check(device const " + row.name + "* from [[buffer(0)]], device " + row.name +
            "* to [[buffer(1)]], constant " + row.name + "& one [[buffer(2)]], device " + row.name +
            "* copies [[buffer(3)]], device uint* sizes [[buffer(4)]], uint i [[thread_position_in_grid]]) {\n"
            "move(to[i], from[3 - i]); if (i == 0) { move(to[3], one); sizes[0] = sizeof(" +
            row.name + "); sizes[1] = alignof(" + row.name + "); }\n" + row.name +
            " copy = from[i + 1]; copies[i] = copy; }";
        std::vector<std::byte> from(4 * row.size);
        for (std::size_t i = 0; i < from.size(); ++i)
            from[i] = std::byte((i * 37 + i / 16 + 11) % 60 + 1); // no number is NaN
        const std::vector<std::byte> one(from.begin() + static_cast<std::ptrdiff_t>(row.size),
                                         from.begin() + static_cast<std::ptrdiff_t>(2 * row.size));
        const std::vector<std::byte> zeros(from.size());
        std::vector<std::vector<std::byte>> buffers = {from, zeros, one, zeros, bytesOf(std::vector<std::uint32_t>(2))};
        ASSERT_TRUE(runKernel(source, buffers, 3, {.threadgroup = {3, 1, 1}})) << row.name;
        EXPECT_EQ(valuesOf<std::uint32_t>(buffers[4]),
                  (std::vector<std::uint32_t>{std::uint32_t(row.size), std::uint32_t(row.alignment)}))
            << row.name;
        std::vector<std::byte> expected = zeros;
        for (std::size_t i = 0; i < 4; ++i)
            for (const Part& part : row.parts) {
                const std::byte* bytes = i == 3 ? one.data() : from.data() + (3 - i) * row.size;
                std::memcpy(expected.data() + i * row.size + part.offset, bytes + part.offset, part.size);
                if (i == 3) continue;
                EXPECT_EQ(std::memcmp(buffers[3].data() + i * row.size + part.offset,
                                      from.data() + (i + 1) * row.size + part.offset, part.size),
                          0)
                    << row.name << "[" << i << "]." << part.path << " of a copy";
            }
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(int(buffers[1][i]), int(expected[i]))
                << "byte " << i % row.size << " of " << row.name << "[" << i / row.size << "]";
    }
}

// Pointers into packed structs, computed indexes, unions, and bytes that belong to other threads.
TEST(PackedStructs, AreReachedThroughPointersAndIndexes) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint8_t>(64 * 11)),
                                                   bytesOf(std::vector<float>(64))};
    const std::string source = head + R"(
struct __attribute__((packed)) Item { uchar kind; union { float f; uint u; }; ushort parts[3]; };
void raise(device ushort* parts, uint i) { parts[i % 3] += ushort(i); }
float doubled(device const float& f) { return f * 2; }
kernel void check(device Item* items [[buffer(0)]], device float* out [[buffer(1)]], uint i [[thread_position_in_grid]]) {
    device Item& item = items[i];
    item.kind = uchar(i + 1);
    item.f = float(i) + 0.5f;
    item.u ^= 0x80000000u;
    for (uint k = 0; k < 3; ++k) item.parts[k] = ushort(1000 * k + i);
    raise(item.parts, i);
    device Item* next = items;
    next += i;
    next->parts[(i + 1) % 3] ^= 0x8000;
    out[i] = doubled(item.f) + float(sizeof(Item));
})";
    ASSERT_TRUE(runKernel(source, buffers, 64, {.threadgroup = {64, 1, 1}}));
    for (std::uint32_t i = 0; i < 64; ++i) {
        const std::byte* item = buffers[0].data() + std::size_t(11) * i;
        float number = 0;
        std::uint16_t parts[3];
        std::memcpy(&number, item + 1, 4);
        std::memcpy(parts, item + 5, 6);
        EXPECT_EQ(int(item[0]), int(i + 1));
        EXPECT_EQ(number, -(float(i) + 0.5F));
        for (std::uint32_t k = 0; k < 3; ++k) {
            std::uint32_t expected = 1000 * k + i + (i % 3 == k ? i : 0);
            if ((i + 1) % 3 == k) expected ^= 0x8000U;
            EXPECT_EQ(parts[k], expected) << "item " << i << ", part " << k;
        }
        EXPECT_EQ(valuesOf<float>(buffers[1])[i], -2 * (float(i) + 0.5F) + 11);
    }
}

} // namespace
} // namespace glasshob
