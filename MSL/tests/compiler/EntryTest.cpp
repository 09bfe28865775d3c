// Entry points and what their arguments, results and threads may be: each form becomes a valid module or is refused by
// name. What the values are is tested on the device.
#include "MSL/Compiler.h"
#include "MSL/tests/compiler/Validated.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace msl {
namespace {

using test::problems;
using ::testing::HasSubstr;

const std::string head = "#include <metal_stdlib>\n#include <metal_logging>\nusing namespace metal;\n";

TEST(EntryPoints, EveryFormBecomesAValidModule) {
    struct {
        const char* name;
        const char* source;
    } const cases[] = {
        {"everything that flows between stages", R"(
struct V { float4 p [[position]]; float2 a [[user(locn0)]]; float3 b [[center_no_perspective]];
           float c [[centroid_perspective]]; float4 d [[sample_no_perspective]]; half2 e [[user(h)]]; uint f [[flat]];
           float s [[point_size]]; float clip [[clip_distance]] [2]; uint layer [[render_target_array_index]];
           uint port [[viewport_array_index]]; float2x2 m; float many[3]; bool flag [[flat]]; };
vertex V v(uint id [[vertex_id]], uint inst [[instance_id]], uint bv [[base_vertex]], ushort bi [[base_instance]]) {
    V o = {}; o.p = float4(id); o.f = inst + bv + bi; o.clip[1] = -1; o.layer = id; o.m = float2x2(1); o.many[2] = 2;
    return o; }
fragment float4 f(V in [[stage_in]]) {
    return float4(in.a, in.b.x + in.c + in.d.x + in.e.x, in.f + in.m[0][0] + in.many[1] + in.flag + in.clip[1] +
                  in.layer + in.port + in.p.x + in.s); })"},
        {"one clip distance, invariant position", R"(
struct V { float4 p [[position, invariant]]; float clip [[clip_distance]]; };
vertex V v(uint id [[vertex_id]]) { return V{float4(id), 1.0}; }
fragment float4 f(V in [[stage_in]]) { return in.clip; })"},
        {"an array of one clip distance", R"(
struct V { float4 p [[position]]; float clip [[clip_distance]] [1]; };
vertex V v(uint id [[vertex_id]]) { V o; o.p = float4(id); o.clip[0] = o.p.x; return o; }
fragment float4 f(V in [[stage_in]]) { return in.clip[0]; })"},
        {"what the system tells a fragment, and all it can give", R"(
struct O { float4 c [[color(0)]]; half4 d [[color(1)]]; uint2 e [[color(2)]]; float depth [[depth(less)]];
           uint mask [[sample_mask]]; };
fragment O f(float4 p [[position]], float2 pc [[point_coord]], bool front [[front_facing]], uint prim [[primitive_id]],
             uint s [[sample_id]], uint mask [[sample_mask]], uint layer [[render_target_array_index]],
             uint port [[viewport_array_index]], uint lane [[thread_index_in_simdgroup]],
             ushort width [[threads_per_simdgroup]], uint q [[thread_index_in_quadgroup]]) {
    O o; o.c = float4(pc, front, prim); o.d = half4(s); o.e = uint2(mask, layer + port + lane + width + q);
    o.depth = p.z; o.mask = mask & 5; return o; })"},
        {"early tests, depth alone, nothing at all", R"(
[[early_fragment_tests]] fragment float4 early(float4 p [[position]]) { return p; }
struct D { float d [[depth(any)]]; };
fragment D depth() { return {0.25}; }
fragment void none(float4 p [[position]]) { if (p.x > 1) discard_fragment(); }
vertex void written(uint id [[vertex_id]], device float* o [[buffer(0)]]) { o[id] = id; })"},
        {"two sources of blending", R"(
struct O { float4 a [[color(0), index(0)]]; float4 b [[color(0), index(1)]]; };
fragment O f() { return {float4(1), float4(0.5)}; })"},
        {"vertex attributes", R"(
struct I { float3 p [[attribute(0)]]; half2 uv [[attribute(1)]]; ushort4 j [[attribute(4)]]; bool b [[attribute(8)]]; };
struct O { float4 p [[position]]; float4 c; };
vertex O v(I in [[stage_in]], constant float4x4& m [[buffer(1)]]) {
    O o; o.p = m * float4(in.p, in.uv.x + in.j.x); o.c = in.b; return o; })"},
        {"raster order groups", R"(
fragment float4 f(device float4* b [[buffer(0), raster_order_group(0)]], float4 p [[position]]) {
    b[0] += 1; return p; })"},
        {"arguments and members that depend on function constants", R"(
constant bool has [[function_constant(0)]];
constant bool hasNot = !has;
struct I { float3 p [[attribute(0)]]; float2 uv [[attribute(1), function_constant(has)]]; };
struct O { float4 p [[position]]; float4 c [[function_constant(has)]]; float2 q [[user(q), function_constant(hasNot)]]; };
vertex O v(I in [[stage_in]], constant float4* m [[buffer(1), function_constant(has)]]) {
    O o; o.p = float4(in.p, 1); if (has) o.c = m[0]; if (hasNot) o.q = 2; return o; }
fragment float4 f(O in [[stage_in]], texture2d<float> t [[texture(0), function_constant(has)]]) {
    if (has) return in.c + t.read(uint2(0)); return in.q.xyxy; })"},
        {"kernels under several spellings", R"(
kernel [[max_total_threads_per_threadgroup(64)]] void a(device uint* o [[buffer(0)]]) { o[0] = 1; }
[[kernel]] void b(device uint* o [[buffer(0)]]) { o[0] = 1; }
[[vertex]] float4 c() { return 0; } [[fragment]] float4 d() { return 0; })"},
        {"instances of a template, named for the host", R"(
template <typename T, int N> kernel void scale(device T* o [[buffer(0)]], threadgroup T* t [[threadgroup(0)]],
                                               uint i [[thread_position_in_grid]]) {
    t[i] = o[i]; threadgroup_barrier(mem_flags::mem_threadgroup); o[i] = simd_sum(t[i]) * N; }
template [[host_name("scale_i3")]] kernel void scale<int, 3>(device int*, threadgroup int*, uint);
template [[host_name("scale_f2")]] kernel void scale<float, 2>(device float*, threadgroup float*, uint);
template [[host_name("scale_h4")]] [[kernel]] decltype(scale<half, 4>) scale<half, 4>;
typedef decltype(scale<uint, 5>) scale_t; template [[host_name("scale_u5")]] kernel scale_t scale<uint, 5>;)"},
        {"a pack handed on to a texture", R"(
template <typename T, typename Tex, typename... Ts>
vec<T, 4> fetched(const thread Tex& t, sampler s, Ts... rest) { return t.gather(s, rest..., component::y); }
fragment float4 f(texture2d<float> t [[texture(0)]], sampler s [[sampler(0)]]) {
    return fetched<float, texture2d<float>, float2, int2>(t, s, float2(0.5), int2(1)); })"},
        {"a helper thread knows it", R"(
fragment float4 f(float4 p [[position]]) {
    if (p.x > 3) discard_fragment(); return simd_is_helper_thread() ? 1 : quad_sum(p.x); })"},
        {"logs mean nothing", R"(
constant metal::os_log logger("subsystem", "category");
kernel void k(device float* o, uint i [[thread_position_in_grid]]) {
    os_log_default.log("value %f", o[i]); logger.log_error("hi %d", i); o[i] = 1; })"},
        {"votes as masks, flags and orders as variables", R"(
kernel void k(device uint* o, device atomic_uint& n, uint i [[thread_position_in_grid]]) {
    simd_vote v = simd_ballot(i > 3); o[i] = uint((simd_vote::vote_t)v) + as_type<uint2>((quad_vote::vote_t)quad_ballot(i > 2)).x;
    mem_flags flags = mem_flags::mem_device; threadgroup_barrier(flags | mem_flags::mem_threadgroup);
    memory_order order = memory_order_relaxed; atomic_fetch_add_explicit(&n, 1u, order);
    atomic_thread_fence(flags, memory_order_seq_cst, thread_scope_device); })"},
        {"fences in every stage, of textures of every kind", R"(
template <typename T> void put(T t) { t.fence(); }
vertex float4 v(texture2d<float, access::read_write> a [[texture(0)]]) { put(a); return 0; }
fragment float4 f(texture1d<int, access::read_write> a [[texture(0)]],
                  texture1d_array<half, access::read_write> b [[texture(1)]],
                  texture2d<float, access::read_write> c [[texture(2)]],
                  texture2d_array<uint, access::read_write> d [[texture(3)]],
                  texture3d<float, access::read_write> e [[texture(4)]],
                  texture_buffer<float, access::read_write> g [[texture(5)]],
                  array<texture2d<float, access::read_write>, 2> h [[texture(6)]], uint i [[primitive_id]]) {
    c.write(1, uint2(0)); a.fence(); b.fence(); put(c); d.fence(); put(e); g.fence(); h[i & 1].fence();
    atomic_thread_fence(mem_flags::mem_device, memory_order_acq_rel, thread_scope_threadgroup);
    return c.read(uint2(0)); }
kernel void k(texture2d<float, access::read_write> a [[texture(0)]], uint i [[thread_position_in_grid]]) {
    a.write(1, uint2(i, 0)); put(a); a.write(a.read(uint2(i, 0)) * 2, uint2(i, 0)); })"},
        {"buffers that go on behind their type, packed and aligned structs", R"(
struct In { float b; float4 v[1]; }; struct Open { atomic_uint n; In in; };
struct Args { device Open* open [[id(0)]]; constant In& in [[id(1)]]; float fixed[1] [[id(2)]];
              texture2d<float> t [[id(3)]]; };
struct __attribute__((packed)) Packed { uchar a; float b; half4 c; ulong d; float2x2 e; };
struct Wide { float a; alignas(32) Packed b; In in; };
typedef uint Uints[1];
void put(device Open& o, device Uints& u, uint i) { o.in.v[i] = float4(u[i]); u[i + 1] = 3; }
kernel void k(constant Args& args [[buffer(0)]], device Wide* w [[buffer(1)]], device Uints& u [[buffer(2)]],
              constant Packed* p [[buffer(3)]], constant Wide& one [[buffer(4)]], uint i [[thread_position_in_grid]]) {
    put(*args.open, u, i); atomic_fetch_add_explicit(&args.open->n, 1u, memory_order_relaxed);
    w[i].b = p[i]; w[i + 1].b.e[1] = p->e[0] + args.in.v[i].xy.x; w->in.v[i].y = args.fixed[i] + one.in.v[i].x;
    In copy = args.in; args.open[1].in.v[i] = copy.v[0]; args.open->in = copy; })"},
        {"templates over where an atomic lies", R"(
struct Found { uint value; bool isSwapped; };
template <typename A> METAL_FUNC Found swapped(device A* at, uint expected, uint v) {
    bool is = metal::atomic_compare_exchange_weak_explicit(at, &expected, v, metal::memory_order_relaxed,
                                                           metal::memory_order_relaxed);
    return Found{expected, is}; }
template <typename A> Found swapped(threadgroup A* at, uint expected, uint v) {
    bool is = atomic_compare_exchange_weak_explicit(at, &expected, v, memory_order_relaxed, memory_order_relaxed);
    return Found{expected, is}; }
struct Inner { atomic_uint n[2]; };
kernel void k(device atomic_uint& n, threadgroup Inner& inner, device uint* o) {
    Found a = swapped(&n, 1u, 2u); Found b = swapped(&inner.n[1], a.value, 3u); o[0] = b.value + b.isSwapped; })"},
        {"an array of its own in threadgroup memory, cleared by one thread", R"(
template <typename T, size_t N> struct List {
    device T& operator[](size_t i) device { return elements[i]; }
    threadgroup T& operator[](size_t i) threadgroup { return elements[i]; }
    const threadgroup T& operator[](size_t i) const threadgroup { return elements[i]; }
    T elements[N]; };
struct Pair { List<float, 4> a; int n; };
struct Uses { threadgroup List<Pair, 8>* group; device List<float, 64>* out; };
static inline __attribute__((always_inline)) void work(threadgroup List<Pair, 8>& p, thread uint& i, Uses u) {
    p[i].a[2] = 1.0; threadgroup_barrier(mem_flags::mem_threadgroup); (*u.out)[i] = (*u.group)[i ^ 1].a[2]; }
kernel void k(device List<float, 64>* out [[buffer(0)]], uint i [[thread_index_in_threadgroup]]) {
    threadgroup List<Pair, 8> group;
    if (i == 0) group = {};
    threadgroup_barrier(mem_flags::mem_threadgroup);
    work(group, i, Uses{.group = &group, .out = out}); })"},
        {"one buffer under several types in several functions", R"(
struct Item { float3 v; half4 h; bool b[3]; uchar2 c; };
template <typename T> T first(device void* p) { return *(device T*)p; }
template <typename T> void fill(device T* p, T value, uint n) { for (uint i = 0; i < n; i++) p[i] = value; }
kernel void k(device uint* raw [[buffer(0)]], constant float4& c [[buffer(1)]], uint i [[thread_position_in_grid]]) {
    device Item* items = (device Item*)raw; Item copy = items[i]; copy.b[i] = true; items[i + 1] = copy;
    fill((device float2*)raw, float2(1), 3); fill((device half4x4*)(raw + i), half4x4(1), i);
    reinterpret_cast<device float4&>(raw[4]).xyz = ((constant float2*)&c)[1].xyx; })"},
        {"threadgroup memory of every shape", R"(
struct S { float a[4]; int n; void put(int i, float v) threadgroup { a[i] = v; n++; }
           float get(int i) const threadgroup { return a[i]; } };
template <typename T, int N> T total(threadgroup T (&a)[N]) { T s = 0; for (int k = 0; k < N; k++) s += a[k]; return s; }
kernel void k(threadgroup float4* t, threadgroup uint& n, device float* o, uint2 l [[thread_position_in_threadgroup]]) {
    threadgroup S s; threadgroup float4 tile[16][17]; threadgroup half3x3 m[2]; threadgroup packed_float3 p[4];
    threadgroup float a[32]; threadgroup bool flags[4];
    s.put(l.x, 2); t[l.x] = l.x; tile[l.y][l.x].xy = 2; m[1][2] = half3(1); p[l.x] = float3(1); flags[l.y] = true;
    threadgroup_barrier(mem_flags::mem_threadgroup);
    S copy = s; o[l.x] = s.get(1) + copy.n + t[n].x + tile[l.x][l.y].x + m[1][2].y + p[0].z + total(a) + flags[0];
    s = copy; })"},
    };
    for (const auto& [name, source] : cases) {
        SCOPED_TRACE(name);
        const auto compiled = compile(head + source);
        ASSERT_TRUE(compiled) << compiled.error().text;
        EXPECT_EQ(problems(compiled->spirv), "");
    }
}

// Every attachment that is read is one binding, however many parameters and members ask for it.
TEST(EntryPoints, ColourAttachmentsThatAreReadAreInputAttachments) {
    const auto compiled = compile(head + R"(
struct Kept { half4 a [[color(0), raster_order_group(0)]]; uint2 n [[color(2)]]; };
struct In { float4 p [[position]]; float2 uv; float b [[color(1)]]; };
fragment half4 f(In in [[stage_in]], Kept k, float4 again [[color(0)]], short unused [[color(3)]]) {
    return k.a * half(k.n.x) + half4(again) * half(in.b + in.uv.x);
})");
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(problems(compiled->spirv), "");
    const EntryPoint* entry = compiled->reflection.entryPoint("f");
    ASSERT_NE(entry, nullptr);
    std::vector<std::string> found;
    for (const Binding& binding : entry->bindings) {
        EXPECT_EQ(binding.kind, BindingKind::inputAttachment);
        EXPECT_EQ(binding.set, 1U);
        EXPECT_EQ(binding.binding, inputAttachmentBindingBase + binding.metalIndex);
        found.push_back(std::to_string(binding.metalIndex) + " " + binding.typeName);
    }
    std::ranges::sort(found);
    EXPECT_EQ(found, (std::vector<std::string>{"0 float4", "1 float4", "2 uint4"}));
    EXPECT_EQ(entry->inputs.size(), 1U) << "attachments have no location";
}

TEST(EntryPoints, WhatCannotBeIsRefusedByName) {
    struct {
        const char* source;
        const char* message;
    } const cases[] = {
        {"kernel void k(device int* o) { o[0] = 1; } kernel void k(device float* o) { o[0] = 1; }",
         "there is an entry point named 'k' already"},
        {"vertex float4 v(uint a [[amplification_id]]) { return a; }", "'amplification_id' is not supported here"},
        {"fragment float4 f(float3 b [[barycentric_coord]]) { return b.xyzz; }",
         "'barycentric_coord' is not supported here"},
        {"struct S { float4 c [[color(0)]]; uint s [[stencil]]; }; fragment S f() { return {float4(1), 2}; }",
         "'stencil' is not supported here"},
        {"fragment float4 f(float4 c [[color(0)]], uint4 d [[color(0)]]) { return c + float4(d); }",
         "the colour attachment 0 is read as 'float4' already"},
        {"fragment float4 f(float4x4 c [[color(0)]]) { return c[0]; }",
         "type 'float4x4' is not valid for attribute 'color'"},
        {"struct I { texture2d<float> t; interpolant<float2, interpolation::perspective> u; };\nkernel void k(constant "
         "I& i) {}",
         "memory that is reached by its address is not allowed here"},
        {"kernel void k(device float2* o) { o[0] = get_sample_position(0); }",
         "'get_sample_position' can be used in fragment functions only"},
        {"struct P { float4 p; }; [[patch(triangle, 3)]] vertex float4 v(device P* p [[buffer(0)]]) { return p[0].p; }",
         "'patch' is not supported here"},
        {"struct I { float3 p [[attribute(0)]]; }; kernel void k(I i [[stage_in]]) {}",
         "[[stage_in]] of a kernel function is not supported here"},
        {"float g(float x) { return dfdx(x); } kernel void k(device float* o) { o[0] = g(o[1]); }",
         "'dfdx' can be used in fragment functions only"},
        {"void g() { threadgroup_barrier(mem_flags::mem_none); } fragment float4 f() { g(); return 1; }",
         "'threadgroup_barrier' can be used in kernel functions only"},
        {"struct S { int i; S() { i = 1; discard_fragment(); } }; kernel void k(device int* o) { S s; o[0] = s.i; }",
         "'discard_fragment' can be used in fragment functions only"},
        {"vertex float4 v(uint i [[vertex_id]]) { return simd_sum(i); }",
         "'simd_sum' can be used in kernel and fragment functions only"},
        {"kernel void k() { atomic_uint n; }",
         "variable of type 'atomic_uint' must be in the device or threadgroup address space"},
        {"kernel void k(device uint* n) { atomic_fetch_add_explicit(n, 1u, memory_order_relaxed); }",
         "no matching function for call to 'atomic_fetch_add_explicit'"},
        {"kernel void k(constant atomic_uint* n) { atomic_fetch_add_explicit(n, 1u, memory_order_relaxed); }",
         "no matching function for call to 'atomic_fetch_add_explicit'"},
        {"kernel void k(device atomic_float* n) { atomic_fetch_max_explicit(n, 1.0f, memory_order_relaxed); }",
         "no matching function for call to 'atomic_fetch_max_explicit'"},
        {"kernel void k() { threadgroup float n; atomic_store_explicit((threadgroup atomic_uint*)&n, 1u, "
         "memory_order_relaxed); }",
         "an atomic operation on memory of another type is not supported here"},
        {"kernel void k(threadgroup float* n) { atomic_store_explicit((threadgroup atomic_uint*)n, 1u, "
         "memory_order_relaxed); }",
         "an atomic operation on memory of another type is not supported here"},
        {"kernel void k(threadgroup float* n) { ((threadgroup uchar*)n)[3] = 1; }",
         "writing a part of a number of threadgroup memory that is no int or uint is not supported here"},
        {"kernel void k(device atomic_uint* s, device uint* o) { o[0] = s[0]; }",
         "assigning to 'uint' from incompatible type 'atomic_uint'"},
        {"kernel void k(device float* o) { threadgroup float a[8]; threadgroup float b[9000]; o[0] = a[0] + b[0]; }",
         "the threadgroup variables of this kernel take too much memory: with 'b' they need 36032 bytes, and 32768 "
         "fit"},
        {"kernel void k(device int* o) { threadgroup int a = 3; o[0] = a; }",
         "variable 'a' in threadgroup address space cannot have an initializer"},
        {"fragment float4 f(threadgroup float4* t) { return t[0]; }",
         "invalid address space for parameter 't' of a fragment function: it must be device or constant"},
        {"void g() { threadgroup int a; } kernel void k() { g(); }",
         "threadgroup variables can be declared in kernel functions only"},
        {"constant int n [[function_constant(0)]]; kernel void k(device float* o) { float a[n]; o[0] = a[0]; }",
         "array size is not an integral constant expression"},
        {"constant int n [[function_constant(0)]] = 3; kernel void k(device float* o) { o[0] = n; }",
         "function constant 'n' cannot have an initializer"},
        {"constant int n [[function_constant(2)]]; constant int m [[function_constant(2)]];"
         "kernel void k(device float* o) { o[0] = n + m; }",
         "function constant 2 is already 'n'"},
        {"struct S { int a; }; constant S n [[function_constant(0)]]; kernel void k(device float* o) { o[0] = n.a; }",
         "invalid type 'S' for a function constant: it must be a scalar or vector type"},
        {"kernel void k(device float* o) { o[0] = is_function_constant_defined(o); }",
         "'is_function_constant_defined' takes the name of a function constant"},
    };
    for (const auto& [source, message] : cases) {
        const auto compiled = compile(head + source);
        ASSERT_FALSE(compiled) << source;
        EXPECT_THAT(compiled.error().text, HasSubstr(std::string("error: ") + message)) << source;
    }
}

TEST(EntryPoints, TheReflectionTellsWhatTheHostSets) {
    const auto compiled = compile(head + R"(
constant half3 tint [[function_constant(4)]];
constant bool isOn [[function_constant(7)]];
constant int unused [[function_constant(9)]];
[[host_name("shown")]] kernel void k(threadgroup float4* tile [[threadgroup(1)]], threadgroup int& n [[threadgroup(0)]], device float* o) {
    threadgroup float own[8];
    o[0] = tile[0].x + n + tint.x + isOn + own[1];
})");
    ASSERT_TRUE(compiled) << compiled.error().text;
    const EntryPoint& kernel = compiled->reflection.entryPoints.at(0);
    EXPECT_EQ(kernel.name, "shown");
    ASSERT_EQ(kernel.threadgroupArguments.size(), 2U);
    EXPECT_EQ(kernel.threadgroupArguments[0].metalIndex, 1U);
    EXPECT_EQ(kernel.threadgroupArguments[0].byteSize, 16U);
    EXPECT_TRUE(kernel.threadgroupArguments[0].isArray);
    EXPECT_FALSE(kernel.threadgroupArguments[1].isArray);
    EXPECT_EQ(kernel.threadgroupBytes, 36U) << "the array and the int";
    const auto& constants = compiled->reflection.functionConstants;
    ASSERT_EQ(constants.size(), 2U);
    EXPECT_EQ(constants[0].name + " " + constants[0].typeName, "tint half3");
    EXPECT_EQ(constants[0].metalIndex, 4U);
    EXPECT_EQ(constants[0].byteSize, 2U);
    EXPECT_EQ(constants[0].componentCount, 3U);
    EXPECT_EQ(constants[1].byteSize, 4U);
}

} // namespace
} // namespace msl
