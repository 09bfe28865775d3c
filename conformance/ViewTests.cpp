// Buffers seen as another type through casts of pointers and references, on the device, against the same bytes on the
// CPU.
#include "GlassHobRender/tests/Kernels.h"

#include <bit>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string head = "#include <metal_stdlib>\nusing namespace metal;\n";

template <typename T>
T at(const std::vector<std::byte>& bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// 256 bytes, all different from their neighbours at every width.
std::vector<std::byte> pattern() {
    std::vector<std::byte> bytes(256);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = std::byte(i * 37 + i / 16 + 11);
    return bytes;
}

TEST(BufferViews, ReadEveryWidthAtEveryPlace) {
    struct {
        const char* expression; // of p, a device uchar pointer to the pattern, n = 2, out gets a uint
        std::uint32_t (*reference)(const std::vector<std::byte>&);
    } const rows[] = {
        {"((device uint*)p)[3]", [](const auto& b) { return at<std::uint32_t>(b, 12); }},
        {"reinterpret_cast<device uint*>(p + 4 * n)[1]", [](const auto& b) { return at<std::uint32_t>(b, 12); }},
        {"*(device ushort*)(p + 6)", [](const auto& b) { return std::uint32_t(at<std::uint16_t>(b, 6)); }},
        {"uint(*(device char*)(p + 5))", [](const auto& b) { return std::uint32_t(at<std::int8_t>(b, 5)); }},
        {"as_type<uint>(((device float*)p)[n + 2])", [](const auto& b) { return at<std::uint32_t>(b, 16); }},
        {"as_type<uint>(((device half2*)p)[5])", [](const auto& b) { return at<std::uint32_t>(b, 20); }},
        {"uint(((device ulong*)p)[3] >> 20)",
         [](const auto& b) { return std::uint32_t(at<std::uint64_t>(b, 24) >> 20U); }},
        {"((device uint4*)p)[1].z", [](const auto& b) { return at<std::uint32_t>(b, 24); }},
        {"((device uint3*)p)[2].y", [](const auto& b) { return at<std::uint32_t>(b, 36); }},
        {"as_type<uint>(float3(((device packed_float3*)(p + 4))[2]).z)",
         [](const auto& b) { return at<std::uint32_t>(b, 4 + 24 + 8); }},
        {"as_type<uint>((*(device float2x3*)p)[1][n])", [](const auto& b) { return at<std::uint32_t>(b, 24); }},
        {"((device Mixed*)p)[1].c", [](const auto& b) { return at<std::uint32_t>(b, 32 + 20); }},
        {"as_type<ushort>(((device Mixed*)p)->h[1])",
         [](const auto& b) { return std::uint32_t(at<std::uint16_t>(b, 6)); }},
        {"((device Mixed*)p)[n].pair.y", [](const auto& b) { return at<std::uint32_t>(b, 64 + 12); }},
        {"sum(((device Mixed*)p)[1])",
         [](const auto& b) { return at<std::uint32_t>(b, 32) + at<std::uint32_t>(b, 44) + at<std::uint32_t>(b, 52); }},
        {"whole((device Mixed*)p, n)",
         [](const auto& b) { return at<std::uint32_t>(b, 72) + at<std::uint32_t>(b, 84); }},
        {"walk((device uint*)(p + 8))",
         [](const auto& b) { return at<std::uint32_t>(b, 8) + at<std::uint32_t>(b, 20) + at<std::uint32_t>(b, 16); }},
        {"reinterpret_cast<device uint2&>(((device uint*)p)[6]).y",
         [](const auto& b) { return at<std::uint32_t>(b, 28); }},
        {"((device const uchar*)((device uint*)p + 2))[3]", [](const auto& b) { return std::uint32_t(b[11]); }},
        {"((constant uint2*)&given)[1].x", [](const auto&) { return std::uint32_t{30}; }},
        {"reinterpret_cast<constant uint4&>(given).w", [](const auto&) { return std::uint32_t{40}; }},
    };
    std::string body;
    for (std::size_t i = 0; i < std::size(rows); ++i)
        body += "out[" + std::to_string(i) + "] = " + rows[i].expression + ";\n";
    std::vector<std::vector<std::byte>> buffers = {pattern(), bytesOf(std::vector<std::uint32_t>(std::size(rows))),
                                                   bytesOf(std::vector<std::uint32_t>{10, 20, 30, 40})};
    ASSERT_TRUE(runKernel(head + R"(
struct Mixed { uint a; half h[2]; uint2 pair; uchar b; uint c; float d; };
struct Given { uint a, b, c, d; };
uint sum(device const Mixed& m) { return m.a + m.pair.y + m.c; }
uint whole(device Mixed* m, uint i) { Mixed copy = m[i]; return copy.pair.x + copy.c; }
uint walk(device uint* p) { uint s = *p++; p += 2; s += *p; s += p[-1]; return s; }
kernel void check(device uchar* p [[buffer(0)]], device uint* out [[buffer(1)]], constant Given& given [[buffer(2)]]) {
    uint n = given.a / 5;
)" + body + "}",
                          buffers, 1, {.threadgroup = {1, 1, 1}}));
    const auto bytes = pattern();
    const auto out = valuesOf<std::uint32_t>(buffers[1]);
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(out[i], rows[i].reference(bytes)) << rows[i].expression;
}

TEST(BufferViews, WriteOnlyTheirOwnBytes) {
    std::vector<std::vector<std::byte>> buffers = {pattern(), bytesOf(std::vector<float>{1, 2, 3, 4})};
    ASSERT_TRUE(runKernel(head + R"(
struct Item { packed_float3 v; uchar kind; bool isSet; ushort n; };
void put(device Item& item) { item.kind = 7; item.isSet = true; item.v.y = 2.5f; }
kernel void check(device uint* raw [[buffer(0)]], device float* f [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    atomic_fetch_add_explicit((device atomic_float*)&f[2], 0.5f, memory_order_relaxed);
    if (id != 0) return;
    ((device uchar*)raw)[3] = 0xaa;
    ((device ushort*)raw)[4] = 0xbbcc;
    ((device half*)raw)[7] = 1.0h;
    ((device ulong*)raw)[3] = 0x0102030405060708ul;
    device float4* v = (device float4*)(raw + 8);
    v->zw = float2(1, 2);
    put(((device Item*)(raw + 16))[1]);
    ((device Item*)(raw + 32))[0] = Item{packed_float3(4, 5, 6), 9, false, 300};
    device uint* u = reinterpret_cast<device uint*>(f);
    u[0] ^= 0x80000000;
})",
                          buffers, 64, {.threadgroup = {64, 1, 1}}));
    auto expected = pattern();
    const auto put = [&](std::size_t offset, auto value) {
        std::memcpy(expected.data() + offset, &value, sizeof value);
    };
    put(3, std::uint8_t{0xaa});
    put(8, std::uint16_t{0xbbcc});
    put(14, std::uint16_t{0x3c00});
    put(24, std::uint64_t{0x0102030405060708});
    put(40, 1.0F);
    put(44, 2.0F);
    put(80 + 4, 2.5F);
    put(80 + 12, std::uint8_t{7});
    put(80 + 13, std::uint8_t{1});
    put(128, 4.0F);
    put(132, 5.0F);
    put(136, 6.0F);
    put(140, std::uint8_t{9});
    put(141, std::uint8_t{0});
    put(142, std::uint16_t{300});
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(int(buffers[0][i]), int(expected[i])) << "byte " << i;
    EXPECT_EQ(valuesOf<float>(buffers[1]), (std::vector<float>{-1, 2, 3 + 32, 4}));
}

TEST(BufferViews, UnionsLieInBuffers) {
    // Item: kind, 4 bytes of Bits, 8 of padding, 16 of Big.
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(16)),
                                                   bytesOf(std::vector<std::uint32_t>{0x40490fdb}),
                                                   bytesOf(std::vector<std::uint32_t>{1, 2, 3, 4})};
    ASSERT_TRUE(runKernel(head + R"(
union Bits { float f; uint u; };
union Big { float4 v; float a[4]; struct { half x, y; } h; };
struct Item { uint kind; Bits b; Big big; };
uint look(device const Item& item) { return item.b.u >> 24; }
kernel void check(device Item* items [[buffer(0)]], constant Bits& pi [[buffer(1)]], device Bits* bits [[buffer(2)]]) {
    items[1].b.f = pi.f + 0;
    items[1].kind = look(items[1]);
    items[0].big.v = float4(1, 2, 3, 4);
    items[0].big.a[pi.u & 3] = 8;
    items[0].big.h.y = 1.0h;
    bits[0] = bits[3];
    Bits local = bits[1];
    local.u += 10;
    bits[2] = local;
    device Item* p = items;
    p++;
    p->big.a[1] = as_type<float>(p->b.u + 1);
})",
                          buffers, 1, {.threadgroup = {1, 1, 1}}));
    const auto words = valuesOf<std::uint32_t>(buffers[0]);
    EXPECT_EQ(words[8], 0x40U);
    EXPECT_EQ(words[9], 0x40490fdbU);
    EXPECT_EQ(words[4], 0x3c000000U) << "half of the float 1 is the half 1 now";
    EXPECT_EQ(words[5], std::bit_cast<std::uint32_t>(2.0F));
    EXPECT_EQ(words[7], std::bit_cast<std::uint32_t>(8.0F));
    EXPECT_EQ(words[13], 0x40490fdcU);
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[2]), (std::vector<std::uint32_t>{4, 2, 12, 4}));
}

TEST(BufferViews, UnionsLieInStructsAndArraysOfTheThread) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(24)),
                                                   bytesOf(std::vector<std::uint32_t>{7, 0x40000000, 9, 0x40400000})};
    ASSERT_TRUE(runKernel(head + R"(
union Bits { float f; uint u; };
struct Cell {
    Bits b;
    int kind = 5;
    bool isOn;
    Cell() = default;
    Cell(float f, int k) : kind(k), isOn(true) { b.f = f; }
    uint sum() const { return b.u + uint(kind); }
    void raise(uint by) { b.u += by; kind++; }
};
struct Plain { int tag; union { float f; uint u; half2 h; }; float3 place; };
struct Row { Bits cells[3]; half last; };
struct Item { uint kind; Bits b; };
constant Plain fixed[2] = {{1, {2.0f}, float3(1, 2, 3)}, {2, {4.0f}, float3(4, 5, 6)}};

Plain made(int tag, float f) { return {tag, {f}, float3(f)}; }
uint taken(Plain p) { p.tag += 1; return p.u + uint(p.tag); }
union Three { float3 v; uint u; };
void doubled(thread uint& u, thread float3& v) { u += 1; v *= 2; }
void changed(thread Plain& p, thread Bits& b) { p.f = 8.0f; p.place.y = 0.5f; b.u = 77u; }

kernel void check(device uint* out [[buffer(0)]], device Item* items [[buffer(1)]]) {
    Cell c(1.0f, 3);
    out[0] = c.sum();
    c.raise(2);
    out[1] = c.b.u; out[2] = uint(c.kind) + (c.isOn ? 100u : 0u);
    Cell plain;
    out[3] = uint(plain.kind);
    Plain p = made(4, 2.0f);
    out[4] = taken(p); out[5] = uint(p.tag);
    Plain q = p;
    Bits loose; loose.f = 0;
    changed(q, loose);
    out[6] = p.u; out[7] = q.u; out[8] = uint(q.place.y * 10) + uint(q.place.x); out[9] = loose.u;
    q.h = half2(1.0h, 2.0h);
    out[10] = q.u;
    Bits row[4];
    for (int i = 0; i < 4; ++i) row[i].f = float(1 << i);
    int k = int(items[0].kind) - 5; // 2
    out[11] = row[k].u;
    row[k] = row[3];
    out[12] = row[2].u;
    uint total = 0;
    for (Bits b : row) total += b.u >> 20;
    out[13] = total;
    Row deep[2];
    deep[1].cells[k].u = 11; deep[1].last = 3.0h; deep[0] = deep[1];
    out[14] = deep[0].cells[2].u + uint(deep[0].last);
    out[15] = fixed[k - 1].u + uint(fixed[k - 1].place.z);
    Item item = items[1];
    item.b.f += 1.0f;
    items[0] = item;
    thread Bits* at = row;
    out[16] = at[1].u; at[1].u = 6; out[17] = row[1].u;
    Plain either = k == 2 ? p : q;
    out[18] = either.u;
    out[19] = uint(sizeof(Plain)) * 1000u + uint(sizeof(Row));
    thread float& ref = q.f;
    ref = 1.0f;
    out[20] = q.u;
    Plain a[2] = {made(1, 1.0f), made(2, 0.5f)};
    out[21] = a[k - 1].u + uint(a[0].tag);
    Three three; three.v = float3(1, 2, 3);
    doubled(loose.u, three.v);
    out[22] = loose.u; out[23] = three.u + uint(three.v.z);
})",
                          buffers, 1, {.threadgroup = {1, 1, 1}}));
    const auto bits = [](float f) { return std::bit_cast<std::uint32_t>(f); };
    const std::uint32_t rowSum = (bits(1) >> 20U) + (bits(2) >> 20U) + 2 * (bits(8) >> 20U);
    const std::uint32_t expected[] = {
        bits(1) + 3, bits(1) + 2,    104,     5,          bits(2) + 5, 4,           bits(2), bits(8), 5 + 2,   77,
        0x40003c00U, bits(4),        bits(8), rowSum,     11 + 3,      bits(4) + 6, bits(2), 6,       bits(2), 32016,
        bits(1),     bits(0.5F) + 1, 78,      bits(2) + 6};
    const auto out = valuesOf<std::uint32_t>(buffers[0]);
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(out[i], expected[i]) << "value " << i;
    EXPECT_EQ(valuesOf<std::uint32_t>(buffers[1]), (std::vector<std::uint32_t>{9, bits(4), 9, 0x40400000}));
}

TEST(BufferViews, ThreadgroupMemoryIsSharedOut) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(64 * 8))};
    ASSERT_TRUE(runKernel(head + R"(
struct Pair { half2 h; float f; };
kernel void check(device uint* out [[buffer(0)]], threadgroup uchar* memory [[threadgroup(0)]],
                  uint i [[thread_index_in_threadgroup]]) {
    threadgroup float numbers[64];
    threadgroup float4 rows[16];
    threadgroup ushort small[4][8][4];
    threadgroup uint* words = (threadgroup uint*)memory;
    threadgroup half* halves = (threadgroup half*)(memory + 256);
    threadgroup Pair* pairs = reinterpret_cast<threadgroup Pair*>(memory + 384);
    words[i] = i * 0x01010101u;
    halves[i] = half(i) + 0.5h;
    pairs[i] = Pair{half2(i, 1), float(i) * 0.25f};
    ((threadgroup uint*)numbers)[i] = 0x40000000u | (i << 8);
    ((threadgroup uint*)rows)[i] = i + 100;
    ((threadgroup uint*)small)[i] = i << 12;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    uint j = 63 - i;
    device uint* o = out + i * 8;
    o[0] = words[j];
    o[1] = uint(halves[j] * 2);
    o[2] = uint(pairs[j].f * 4) + uint(pairs[j].h.y);
    o[3] = as_type<uint>(numbers[j]);
    o[4] = as_type<uint>(rows[j / 4][j % 4]);
    o[5] = small[j / 16][j / 2 % 8][j % 2 * 2] + (uint(small[j / 16][j / 2 % 8][j % 2 * 2 + 1]) << 16);
    o[6] = memory[4 * j + 3];
    o[7] = ((threadgroup uchar*)numbers)[4 * j + 1];
})",
                          buffers, 64, {.threadgroup = {64, 1, 1}, .lengths = {{0, 384 + 64 * 8}}}));
    const auto out = valuesOf<std::uint32_t>(buffers[0]);
    for (std::uint32_t i = 0; i < 64; ++i) {
        const std::uint32_t j = 63 - i;
        const std::uint32_t expected[] = {j * 0x01010101U, 2 * j + 1, j + 1, 0x40000000U | j << 8U,
                                          j + 100,         j << 12U,  j,     j};
        for (std::size_t k = 0; k < std::size(expected); ++k)
            EXPECT_EQ(out[i * 8 + k], expected[k]) << "value " << k << " of thread " << i;
    }
}

TEST(BufferViews, WildIndexesStayInside) {
    std::vector<std::vector<std::byte>> buffers = {bytesOf(std::vector<std::uint32_t>(8)),
                                                   bytesOf(std::vector<std::int32_t>{-1000000, 1000000})};
    ASSERT_TRUE(runKernel(head + R"(
kernel void check(device uint* raw [[buffer(0)]], const device int* wild [[buffer(1)]]) {
    device float4* v = (device float4*)raw;
    v[wild[0]].y = 1; v[wild[1]] = float4(2);
    ((device uchar*)raw)[wild[1]] = 1;
    ((device packed_float3*)(raw + wild[0]))[wild[1]].z = 3;
})",
                          buffers, 1, {.threadgroup = {1, 1, 1}}));
}

} // namespace
} // namespace glasshob
