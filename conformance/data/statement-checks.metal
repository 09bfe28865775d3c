// Programs about statements, initialisers, constants and pasted text; see class-checks.metal for how a section checks
// itself.

//= declarations in conditions
int next(thread int& n) { return n++ < 3 ? n : 0; }
MAIN {
    int seen = 0;
    if (int k = data[3]) seen += k;
    if (float f = float(data[0])) seen += 100; else seen += int(f) + 1;
    CHECK(seen == 4);
    int n = 0, s = 0;
    while (int m = next(n)) s += m;
    CHECK(s == 6);
    switch (int v = data[2]) { case 2: s += v; break; default: s = 0; }
    CHECK(s == 8);
    for (int i = 0, j = 4; int d = j - i; ++i) s += d;
    CHECK(s == 18);
    if (int q = data[1]; q == 1) s = q;
    CHECK(s == 1);
    switch (data[5]; data[1]) { case 1: s = 2; }
    CHECK(s == 2);
    if (thread int* p = &s) *p = 9;
    CHECK(s == 9);
}

//= control flow
int duff(int n) { int s = 0; switch (n) { default: s += 100; case 3: s += 3; case 2: s += 2; [[fallthrough]]; case 1: s += 1; } return s; }
int nested(int a, int b) {
    switch (a) { case 0: switch (b) { case 0: return 1; case 1: break; default: return 2; } return 3;
    case 1: { for (int i = 0; i < 5; i++) { if (i == b) break; if (i == 3) return i * 10; } return 4; } case 2: case 4: return 5; }
    return 6;
}
int inLoop(int n) { int s = 0; for (int i = 0; i < n; i++) { switch (i & 3) { case 0: continue; case 1: s += 1; break; case 2: if (i > 5) return s; s += 10; default: s += 100; } } return s; }
enum Colour { red, green = 5, blue };
enum class Shape : uchar { round, square = 200 };
int ofShape(Shape s) { switch (s) { case Shape::round: return 1; case Shape::square: return 2; } return 3; }
MAIN {
    CHECK(duff(3 + data[0]) == 6 && duff(1) == 1 && duff(data[9]) == 106);
    CHECK(nested(data[0], data[0]) == 1 && nested(0, data[1]) == 3 && nested(0, 7) == 2 && nested(1, data[2]) == 4 && nested(1, data[9]) == 30 && nested(data[4], 0) == 5 && nested(data[3], 0) == 6);
    CHECK(inLoop(data[4]) == 211 && inLoop(data[9]) == 212);
    CHECK(ofShape(Shape(data[0])) == 1 && ofShape(Shape::square) == 2 && int(Shape::square) == 200);
    Colour c = blue;
    int i = c;
    CHECK(i == 6 && c > green && (c == Colour::blue) && static_cast<Colour>(data[5]) == green);
    int x = (data[1], data[2], data[3]);
    CHECK(x == 3);
    int a = 0, b = 0;
    for (a = 0, b = 10; a < b; a++, b -= 2) ;
    CHECK(a == 4 && b == 2);
    a = b = 7;
    CHECK(a == 7);
    do { if (a == 5) break; a--; } while (true);
    CHECK(a == 5);
    for (;;) { if (--a == 0) break; }
    CHECK(a == 0);
    { int a = 3; { int a = 4; CHECK(a == 4); } CHECK(a == 3); }
    CHECK((data[1] ? data[2] ? 1 : 2 : 3) == 1);
    int y = data[1] && data[0] || data[2];
    CHECK(y == 1);
}

//= initialisers
struct In { int a; float2 b; };
struct Out { In in; In more[2]; float m[2][2]; float3 v; };
struct Bit { int x, y; int z = 4; };
typedef struct { float a, b; } Old;
typedef struct Tagged { int v; struct Tagged2 { int w; } t; } Tagged;
constant Out fixed = {.in = {.a = 1, .b = float2(2)}, .more = {{3, {4, 5}}, {6, {7, 8}}}, .m = {{1, 2}, {3, 4}}, .v = {9, 8, 7}};
constant float grid[2][3] = {1, 2, 3, 4, 5, 6};
constant In ins[] = {{1, {2, 3}}, {4, {5, 6}}};
constant int sparse[6] = {[1] = 10, [4] = 40};
float3 made() { return {1, 2, 3}; }
In madeIn(int a) { return {a, {1, 2}}; }
MAIN {
    CHECK(fixed.in.a == 1 && fixed.more[data[1]].b.y == 8 && fixed.m[1][data[0]] == 3 && fixed.v.z == 7);
    CHECK(grid[data[1]][data[2]] == 6 && ins[data[1]].b.x == 5 && sparse[data[4]] == 40 && sparse[2] == 0);
    Out o = {{1, float2(2, 3)}, {{4, 5}, {7, {8, 9}}}, {1, 2, 3, 4}, float3(5)};
    CHECK(o.in.b.y == 3 && o.more[0].b.y == 5 && o.more[1].a == 7 && o.m[1][1] == 4 && o.v.x == 5);
    Out e = {1, float2(2, 3), 4, float2(5), 7, float2(8), 1, 2, 3, 4, float3(5)};
    CHECK(e.more[1].b.x == 8 && e.m[1][0] == 3);
    Out named = {.in = 3, .more = 4, float2(6), .m = 1, .v = float3(2)}, at[2] = {[1] = 9};
    CHECK(named.in.a == 3 && named.more[0].a == 4 && named.more[0].b.y == 6 && named.more[1].a == 0);
    CHECK(named.m[0][0] == 1 && named.m[1][1] == 0 && named.v.z == 2 && at[1].in.a == 9 && at[0].in.a == 0);
    Bit b = {.y = 2 + data[0]}, c = {1}, d{1, 2, 3}, z{};
    CHECK(b.x == 0 && b.y == 2 && b.z == 4 && c.z == 4 && d.z == 3 && z.z == 4);
    Old old = {1, 2};
    Tagged t = {1, {2}};
    CHECK(old.b == 2 && t.t.w == 2);
    int n[2][3] = {{1}, {4, 5}};
    CHECK(n[0][0] == 1 && n[0][2] == 0 && n[data[1]][1] == 5);
    float3 v{1, 2, 3};
    float4 w = {v, 4};
    float2x2 m = {{1, 2}, {3, 4}};
    float2x2 m2{float2(1, 2), float2(3, 4)};
    CHECK(v.y == 2 && w.w == 4 && m[1][0] == 3 && m2[0][1] == 2);
    CHECK(made().z == 3 && madeIn(5).b.y == 2);
    int i{3}, j(4), k = {5};
    CHECK(i + j + k == 12);
    v = {4, 5, 6};
    CHECK(v.y == 5);
    In in = {};
    in = {7, {8, 9}};
    CHECK(in.b.y == 9);
    in = In{.b = float2(1), .a = 2};
    bool flags[3] = {true};
    CHECK(flags[0] && !flags[data[1]]);
    Out part = {.in.a = 3, .more[1].b = float2(4), .m[0][1] = 6};
    CHECK(part.in.a == 3 && part.more[1].b.x == 4 && part.m[0][1] == 6 && part.v.x == 0);
    const int size = 3;
    float sized[size + 1] = {};
    CHECK(sized[data[3]] == 0 && sizeof(sized) / sizeof(sized[0]) == 4);
}

//= constants
constexpr int factorial(int n) { return n <= 1 ? 1 : n * factorial(n - 1); }
constexpr int sumTo(int n) { int s = 0; for (int i = 1; i <= n; i++) s += i; return s; }
constexpr int gcd(int a, int b) { while (b != 0) { int t = a % b; a = b; b = t; } return a; }
constexpr int collatz(int n) { int c = 0; do { if (n % 2 == 0) n /= 2; else n = 3 * n + 1; ++c; } while (n != 1); return c; }
constexpr int table(int i) { int t[4] = {2, 3, 5, 7}; t[1] += 10; return t[i]; }
struct Dim { int w, h; constexpr int area() const { return w * h; } };
constexpr Dim dimOf(int k) { return Dim{k, k + 1}; }
constexpr int pick(int k) { switch (k) { case 1: return 10; case 2: k += 5; break; default: return 3; } return k; }
constexpr uint hash(uint x) { x ^= x >> 16; x *= 0x7feb352du; x ^= x >> 15; return x; }
constexpr float polynomial(float x) { return 1.0f + x * (2.0f + x); }
template <int N> struct Sized { int v[N]; };
constant constexpr int kSize = sumTo(3) + gcd(12, 18);
constant int values[factorial(3)] = {1, 2, 3, 4, 5, 6};
static_assert(factorial(5) == 120 && sumTo(10) == 55 && gcd(48, 36) == 12 && collatz(6) == 8, "loops");
static_assert(table(1) == 13 && dimOf(3).area() == 12 && pick(2) == 7 && pick(9) == 3, "locals");
static_assert(sizeof(Sized<kSize>) == 48);
static_assert(hash(1u) != 1u, "hash");
static_assert(polynomial(2.0f) == 9.0f, "floats");
static_assert(sizeof(float3) == 16 && alignof(float3) == 16 && sizeof(packed_float3) == 12 && sizeof(bool) == 1, "");
enum { kEnum = sumTo(4), kNext };
MAIN {
    int a[sumTo(3)];
    a[data[5]] = 4;
    CHECK(a[5] == 4 && sizeof(a) == 24 && values[data[5]] == 6 && kSize == 12 && kNext == 11);
    Sized<gcd(6, 4)> s = {{1, 2}};
    CHECK(s.v[data[1]] == 2);
    constexpr float third = 1.0 / 3.0;
    CHECK(third * 3 > 0.99);
    constexpr int local = sumTo(4);
    switch (data[10]) { case sumTo(4): CHECK(local == 10); break; default: CHECK(false); }
    CHECK(collatz(data[6]) == 8 && sumTo(data[4]) == 10 && gcd(data[12], data[8]) == 4 && hash(1u + uint(data[0])) == hash(1u));
    static constexpr constant float weights[] = {0.5, 0.25};
    CHECK(weights[data[1]] == 0.25);
    static constant int more[2] = {5, 6};
    CHECK(more[data[1]] == 6);
    alignas(16) float aligned = 1;
    CHECK(aligned == 1);
}

//= casts
enum E { e0, e1 };
MAIN {
    float f = 2.75 + data[0];
    CHECK((int)f == 2 && int(f) == 2 && static_cast<int>(f) == 2 && (int)-f == -2 && (uint)f + 1 == 3u);
    CHECK(int2(float2(1.5, -1.5)).y == -1 && all((int2)float2(3.9) == int2(3)));
    CHECK((float)data[3] / 2 == 1.5 && (half)f == 2.75h && (bool)data[3] && !(bool)data[0]);
    CHECK(as_type<float>(0x40000000 + data[0]) == 2 && as_type<uint2>(float2(1)).x == 0x3f800000u);
    CHECK(as_type<half2>(0x3c004000u + uint(data[0])).x == 2.0h && as_type<uchar4>(0x04030201u).z == 3);
    CHECK((E)data[1] == e1 && E(data[0]) == e0 && static_cast<E>(1) == e1);
    CHECK(((float3)f).z == 2.75);
    CHECK(((float2)(1)).y == 1);
    unsigned int ui = 3; unsigned uu = 4; short int si = 5; unsigned short us = 6; long l = 7; unsigned long ul = 8; signed char sc = -1; long int li = 2; unsigned char uc = 255;
    CHECK(ui + uu + si + us + l + ul + sc + li + uc == 289);
    int32_t a = 1; uint8_t b = 2; int16_t c = 3; uint64_t d = 4; size_t e = 5; ptrdiff_t g = 6;
    CHECK(a + b + c + d + e + g == 21);
    (void)a;
    const thread float* cp = &f;
    *const_cast<thread float*>(cp) = 3;
    CHECK(f == 3);
}

//= pasted text
#include <metal_stdlib>
#include <simd/simd.h>
#include <metal_math>
#include <metal_geometric>
#import <metal_stdlib>
using namespace metal;
using namespace simd;
#pragma once
#pragma mark - Types
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wunused-function"
#ifndef __METAL_VERSION__
#error "not Metal"
#endif
#if __METAL_VERSION__ >= 200 && defined(__METAL_VERSION__)
#define NEW 1
#endif
#if __has_include(<metal_stdlib>) && NEW
#define HAS 1
#endif
#if defined(__METAL_MACOS__) || defined(__METAL_IOS__) || 1
#define PLATFORM 2
#endif
#define CAT_(a, b) a##b
#define CAT(a, b) CAT_(a, b)
#define STR(x) #x
#define SUM(first, ...) total(first, __VA_ARGS__)
#define FOREACH(n) for (int CAT(i, __LINE__) = 0; CAT(i, __LINE__) < n; CAT(i, __LINE__)++)
#define LONG_MACRO(a) \
    (a + \
     1)
#define constant_value 5
#define EMPTY()
typedef struct { vector_float2 position; vector_float4 colour; matrix_float4x4 transform; simd_float3 extra; } Vertex;
typedef enum VertexIndex { VertexIndexA = 0, VertexIndexB = 1 } VertexIndex;
static_assert(sizeof(Vertex) == 112, STR(size));
__attribute__((always_inline)) static inline float total(float a, float b, float c) { return a + b + c; }
[[maybe_unused]] static float unusedOne(float x) { return x; }
inline __attribute__((const)) float attributed(float x) { return x; }
extern float declared(float x);
float declared(float x) { return x * 2; }
float prototype(float, float = 3);
float prototype(float a, float b) { return a * b; }
static float defaults(float a, float b = 2, float c = constant_value) { return a + b + c; }
void noArgs(void) {}
float unusedParameters(float, float y, float) { return y; }
MAIN {
    vector_float3 a = vector_float3(1, 2, 3);
    simd_float4 b = simd_float4(1);
    simd::float2 c = simd::float2(1, 2);
    simd_float4x4 m = simd_float4x4(1.0);
    matrix_float3x3 m3 = matrix_float3x3(2.0);
    vector_uint2 u = {1, 2};
    simd_int3 i3 = {1, 2, 3};
    simd_float3 made = simd_make_float3(1, 2, 3);
    simd_float4 made4 = simd_make_float4(made, 4);
    CHECK(a.y + b.x + c.y == 5 && m[2][2] == 1 && m3[1][1] == 2 && u.y == 2 && i3.z == 3 && made.z == 3 && made4.w == 4);
    CHECK(CAT(1, 2) == 12 && LONG_MACRO(2) == 3 && HAS == 1 && PLATFORM == 2 && SUM(1, 2, 3) == 6);
    int n = 0;
    FOREACH(3) n++;
    CHECK(n == 3 && prototype(2) == 6 && defaults(1) == 8 && declared(2) == 4 && attributed(1) == 1 && unusedParameters(1, 2, 3) == 2);
    noArgs();
#pragma unroll
    for (int i = 0; i < 2; i++) n += i;
    _Pragma("unroll(4)") for (int i = 0; i < 2; i++) n += i;
    [[maybe_unused]] int unused = 1;
    __attribute__((unused)) int unused2 = 1;
    CHECK(n == 5);
    Vertex v = {};
    v.transform = m;
    CHECK(v.transform.columns[1].y == 1);
    if (n == 5) [[likely]] { n = 6; }
    CHECK(n == 6 EMPTY());
    const char letter = 'a';
    CHECK(letter == 97);
#if 0
    this is not read ' "
#elif defined(UNKNOWN_THING)
    nor this
#else
    n = 7;
#endif
    CHECK(n == 7 && 1'000 == 1000 && 0b101 == 5 && 017 == 15 && 0x1p3f == 8.0f);
    /* a comment /* in a comment */
    float k = 1.f, l = .5f, e = 1e-2f, h2 = 0x1F;
    CHECK(k + l > 1.4 && e < 0.1 && h2 == 31);
}
#pragma clang diagnostic pop

//= entry points from a template
template <typename T>
kernel void body(device uint* failed [[buffer(0)]], device T* data [[buffer(1)]], uint i [[thread_position_in_grid]]) {
    CHECK(data[3] == T(3));
}
template [[host_name("check")]] kernel void body<int>(device uint*, device int*, uint);
template [[host_name("other")]] kernel void body<float>(device uint*, device float*, uint);
