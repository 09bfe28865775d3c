#include "Parsed.h"

#include <gtest/gtest.h>

namespace msl {
namespace {

struct Row {
    std::string_view text;
    std::string_view tree;
};

// A declaration each.
TEST(Parser, ReadsDeclarations) {
    const Row rows[] = {
        {"using namespace metal;", "using namespace metal"},
        {"using metal::float3;", "using metal::float3"},
        {"constant float kPi = 3.0;", "global kPi: constant float = 3f"},
        {"constant float3 a[2] = { float3(0), float3(1) };",
         "global a: constant float3[2] = {new float3(0), new float3(1)}"},
        {"constant float w[] = {1.0, 2.0,};", "global w: constant float[] = {1f, 2f}"},
        {"constexpr sampler s(filter::linear, address::repeat);",
         "constexpr global s: sampler(filter::linear, address::repeat)"},
        {"constexpr constant int n = 2, m[2][3] = {};",
         "constexpr global n: constant int = 2\nconstexpr global m: constant int[3][2] = {}"},
        {"float noise(float2 p);", "function noise(p: float2) -> float"},
        {"static inline float f(float x, float k = 1.0) { return x; }",
         "static inline function f(x: float, k: float = 1f) -> float\n  return x"},
        {"void f(thread float& x, const device float* p, float a[3], thread float (&w)[4]) {}",
         "function f(x: thread float&, p: device const float*, a: float[3], w: thread float[4]&) -> void"},
        {"void f(device float* device* p, float device* q, const thread float* const r, constant float&, void*);",
         "function f(p: device float* device *, q: device float*, r: thread const float*const, <none>: constant "
         "float&, "
         "<none>: void*) -> void"},
        {"unsigned int f(unsigned a, long int b, unsigned char c, short int d, signed e);",
         "function f(a: uint, b: long, c: uchar, d: short, e: int) -> uint"},
        {"auto f() -> float { return 1; }", "function f() -> float\n  return 1"},
        {"fragment float4 f(Out in [[stage_in]], constant U& u [[buffer(0)]], texture2d<float> t [[texture(1)]])"
         " { return float4(1); }",
         "fragment function f([[stage_in]] in: Out, [[buffer(0)]] u: constant U&, [[texture(1)]] t: texture2d<float>) "
         "-> float4\n  return new float4(1)"},
        {"[[kernel]] void f(uint2 i [[thread_position_in_grid]]) {}",
         "[[kernel]] kernel function f([[thread_position_in_grid]] i: uint2) -> void"},
        {"[[stitchable]] half4 f(float2 p) { return 0; }", "[[stitchable]] function f(p: float2) -> half4\n  return 0"},
        {"fragment float4 f() [[early_fragment_tests]] { return 0; }",
         "[[early_fragment_tests]] fragment function f() -> float4\n  return 0"},
        {"__attribute__((always_inline, annotate(\"x\"))) float f();",
         "[[always_inline]] [[annotate(\"x\")]] function f() -> float"},
        {"struct [[maybe_unused]] A { float a, b[2]; int id [[flat]]; [[position]] float4 p; };",
         "[[maybe_unused]] struct A\n  field a: float\n  field b: float[2]\n  [[flat]] field id: int\n"
         "  [[position]] field p: float4"},
        {"struct L { float power = 1.0; float3 d{1.0}; static constexpr int n = 3; };",
         "struct L\n  field power: float = 1f\n  field d: float3 {1f}\n  static constexpr global n: int = 3"},
        {"class C : public B { public: C(float a) : x(a), y{1} {} float get() const { return x; } private: float x, y; "
         "};",
         "class C : B\n  constructor C(a: float) : x(a) : y{1}\n  function get() -> float const\n    return x\n"
         "  field x: float\n  field y: float"},
        {"struct S { float f() const constant; S operator+(S o) const; float operator()(int i); operator float() "
         "const; "
         "float& operator[](int i); };",
         "struct S\n  function f() -> float const constant \n  function operator+(o: S) -> S const\n"
         "  function operator()(i: int) -> float\n  conversion operator conversion() -> float const\n"
         "  function operator[](i: int) -> float&"},
        {"C operator*(C a, C b) { return C{a.x * b.x, 0.0}; }",
         "function operator*(a: C, b: C) -> C\n  return new C{(a.x * b.x), 0f}"},
        {"bool operator>>(A a, int b);", "function operator>>(a: A, b: int) -> bool"},
        {"union U { float f; uint u; };", "union U\n  field f: float\n  field u: uint"},
        {"struct S { union { float f; uint u; }; struct { int a; } in; };",
         "struct S\n  union <none>\n    field f: float\n    field u: uint\n  field in: struct{}"},
        {"struct S; struct S f(struct S s);", "struct S forward\nfunction f(s: S) -> S"},
        {"enum Mode { Flat, Wavy = 3, };", "enum Mode {Flat, Wavy = 3}"},
        {"enum class Tone : uint { warm = 1 << 2, cold };", "enum class Tone : uint {warm = (1 << 2), cold}"},
        {"typedef float2x2 Turn; Turn t();", "alias Turn = float2x2\nfunction t() -> Turn"},
        {"typedef struct { float a; } R; R r();", "alias R = struct{}\nfunction r() -> R"},
        {"typedef float T[3];", "alias T = float[3]"},
        {"using Colour = float3; Colour c();", "alias Colour = float3\nfunction c() -> Colour"},
        {"namespace tile { float f(); namespace a::b { float g(); } }",
         "namespace tile\n  function f() -> float\n  namespace a\n    namespace b\n      function g() -> float"},
        {"static_assert(sizeof(int) == 4, \"four\");", "static_assert (sizeof(int) == 4) \"four\""},
        {"extern \"C\" { float f(); }", "function f() -> float"},
        {"template <typename T> T sq(T x) { return x * x; }",
         "template<type T> function sq(x: T) -> T\n  return (x * x)"},
        {"template <int N = 2, class... Ts> float fbm(float2 p);",
         "template<int N = 2, type... Ts> function fbm(p: float2) -> float"},
        {"template <typename T> T one(); template <> float one<float>() { return 1.0; }",
         "template<type T> function one() -> T\ntemplate<> function one<float>() -> float\n  return 1f"},
        {"template <typename T> struct Pair { T a, b; Pair<T> twin(); }; Pair<Pair<float>> p();",
         "template<type T> struct Pair\n  field a: T\n  field b: T\n  function twin() -> Pair<T>\n"
         "function p() -> Pair<Pair<float>>"},
        {"template <typename T> struct S {}; template <> struct S<float> { int k; };",
         "template<type T> struct S\ntemplate<> struct S<float>\n  field k: int"},
        {"template <typename T> using V = vec<T, 3>; V<float> v();",
         "template<type T> alias V = vec<T, 3>\nfunction v() -> V<float>"},
        {"metal::array<float, (3 > 2)> a();", "function a() -> metal::array<float, (3 > 2)>"},
        {"alignas(16) constant float x = 1;", "[[alignas(16)]] global x: constant float = 1"},
        {"flot f(vec3 a, flot& b);", "function f(a: vec3, b: flot&) -> flot"}, // unknown types are sema's to report
    };
    for (const Row& row : rows) {
        Parsed result = parsed(row.text);
        EXPECT_EQ(result.tree, row.tree) << row.text;
        EXPECT_EQ(result.errors, "") << row.text;
    }
}

// Statements in "void f() { ... }", shown without the function.
TEST(Parser, ReadsStatements) {
    const Row rows[] = {
        {"float a = 1, b(2), c{3}, *p = &a;",
         "var a: float = 1\nvar b: float(2)\nvar c: float {3}\nvar p: float* = (& a)"},
        {"const float2 v = float2(1), w[2] = {v, v};",
         "var v: const float2 = new float2(1)\nvar w: const float2[2] = {v, v}"},
        {"if (a) b; else if (c) d; else { e; }", "if a\n  b\nelse\n  if c\n    d\n  else\n    block\n      e"},
        {"if (float x = f()) x; if (int i = 2; i > 1) i; if constexpr (true) {}",
         "if x\n  var x: float = f()\n  x\nif (i > 1)\n  var i: int = 2\n  i\nif constexpr true\n  block"},
        {"for (int i = 0, j = 9; i < j; i++, j--) s += i;",
         "for (i < j) step ((_++ i) , (_-- j))\n  var i: int = 0\n  var j: int = 9\ndo\n  (s += i)"},
        {"for (;;) break;", "for  step \ndo\n  break"},
        {"for (i = 0; ; ) { continue; }", "for  step \n  (i = 0)\ndo\n  block\n    continue"},
        {"for (auto x : w) x;", "for x: auto in w\n  x"},
        {"while (a < b) a++;", "while (a < b)\n  (_++ a)"},
        {"do { a--; } while (a > 0);", "do-while (a > 0)\n  block\n    (_-- a)"},
        {"switch (m) { case 0: x = 1; break; case A::b: default: x = 2; }",
         "switch m\n  case 0\n  (x = 1)\n  break\n  case A::b\n  default\n  (x = 2)"},
        {";", "null"},
        {"{ int a; }", "block\n  var a: int"},
        {"return {1, 2};", "return {1, 2}"},
        {"struct R { float a; } r = { .a = 1 }; R q;", "var r: R = {.a = 1}\nvar q: R"},
        {"typedef float F; F a; using G = F; G b;", "alias F = float\nvar a: F\nalias G = F\nvar b: G"},
        {"flot x = 1; a::Kind k = 2;", "var x: flot = 1\nvar k: a::Kind = 2"},
        {"array<float, 4> w; vec<float, 3> v = vec<float, 3>(1);",
         "var w: array<float, 4>\nvar v: vec<float, 3> = new vec<float, 3>(1)"},
        {"static constexpr float k = 2; [[maybe_unused]] float j;",
         "static constexpr var k: float = 2\n[[maybe_unused]] var j: float"},
        {"float3 float2 = 1; float2 < 3;", "var float2: float3 = 1\n(float2 < 3)"}, // a variable hides the type
        {"[[unroll]] for (;;) {}", "for  step \ndo\n  block"},
        {"float h(float x); int a(3); float3 c(float3(1), 2);",
         "function h(x: float) -> float\nvar a: int(3)\nvar c: float3(new float3(1), 2)"},
    };
    for (const Row& row : rows) {
        Parsed result = parsed("void f() {\n" + std::string(row.text) + "\n}");
        std::string tree = "function f() -> void";
        std::size_t begin = 0;
        for (std::string_view rest = row.tree; begin < rest.size();) {
            std::size_t end = std::min(rest.find('\n', begin), rest.size());
            tree += "\n  " + std::string(rest.substr(begin, end - begin));
            begin = end + 1;
        }
        EXPECT_EQ(result.tree, tree) << row.text;
        EXPECT_EQ(result.errors, "") << row.text;
    }
}

TEST(Parser, ReadsExpressions) {
    const Row rows[] = {
        {"a + b * c - d", "((a + (b * c)) - d)"},
        {"a = b = c += d", "(a = (b = (c += d)))"},
        {"a << 1 | b & c ^ d && e || f", "((((a << 1) | ((b & c) ^ d)) && e) || f)"},
        {"a < b == c > d", "((a < b) == (c > d))"},
        {"a >> 2 > b >= c", "(((a >> 2) > b) >= c)"},
        {"a >>= b >> 1", "(a >>= (b >> 1))"},
        {"a ? b : c ? d : e", "(a ? b : (c ? d : e))"},
        {"a ? b, c : d = e", "(a ? (b , c) : (d = e))"},
        {"-a.x * !b", "((- a.x) * (! b))"},
        {"- -a + ~b", "((- (- a)) + (~ b))"},
        {"++a, b--, *p, &a", "((((++_ a) , (_-- b)) , (* p)) , (& a))"},
        {"(a + b) * c", "((a + b) * c)"},
        {"m[i][j].xyz", "m[i][j].xyz"},
        {"p->a.b(c, d)[2]", "p->a.b(c, d)[2]"},
        {"(float)a / (float)b", "(cast<float>(a) / cast<float>(b))"},
        {"(float3)(1, 2)", "cast<float3>((1 , 2))"},
        {"(thread float*)p", "cast<thread float*>(p)"},
        {"(a)-b", "(a - b)"},
        {"(Ray){a, b}", "new Ray{a, b}"},
        {"Ray{a, {b}}", "new Ray{a, {b}}"},
        {"Light{ .power = 2, .d = {1} }", "new Light{{.power = 2, .d = {1}}}"},
        {"x = { [1] = 2 }", "(x = {[1] = 2})"},
        {"float3(1, 2., .5f).zyx", "new float3(1, 2f, 0.5f).zyx"},
        {"metal::float3(metal::fast::sin(a))", "new metal::float3(metal::fast::sin(a))"},
        {"::a::b(c)", "::a::b(c)"},
        {"int(a) + unsigned(b) + unsigned int(c)", "((new int(a) + new uint(b)) + new uint(c))"},
        {"static_cast<int>(a) + as_type<uint>(b)", "(static_cast<int>(a) + as_type<uint>(b))"},
        {"reinterpret_cast<device uint*>(p)", "reinterpret_cast<device uint*>(p)"},
        {"sizeof(Ray) + sizeof a + sizeof(float[3]) + alignof(int)",
         "(((sizeof(Ray) + sizeof(a)) + sizeof(float[3])) + alignof(int))"},
        {"numeric_limits<float>::max()", "numeric_limits<float>::max()"},
        {"metal::numeric_limits<half>::min() < 2", "(metal::numeric_limits<half>::min() < 2)"},
        {"sq<float>(a) < sq<3>(b)", "(sq<float>(a) < sq<3>(b))"},
        {"a < b && c > (d)", "((a < b) && (c > d))"},
        {"[&](float x) { return x; }(2)", "lambda[&]function operator()(x: float)\n    return x(2)"},
        {"[=, &a, b] { }", "lambda[= &a b]function operator()()"},
        {"true ? 'a' : 0x10u", "(true ? 97c : 16u)"},
        {"1.0h + 2 + nullptr", "((1h + 2) + nullptr)"},
        {"INFINITY - NAN", "(inff - nanf)"},
        {"Tone::warm", "Tone::warm"},
        {"f()()", "f()()"},
        {"not a and b or c", "(((! a) && b) || c)"},
        {"t.sample(s, uv, level(0)).r", "t.sample(s, uv, level(0)).r"},
    };
    for (const Row& row : rows) {
        Parsed result = parsed("struct Ray { float a, b; }; template <typename T> T sq(T x);\nvoid f() {\nx = " +
                               std::string(row.text) + ";\n}");
        std::string_view tree = result.tree;
        std::size_t begin = tree.find("(x = ");
        ASSERT_NE(begin, std::string_view::npos) << row.text << '\n' << tree;
        std::string expected = "(x = " + std::string(row.tree) + ")";
        if (row.text.find(", b--") != std::string_view::npos) // the comma reaches over the assignment
            expected = "((((x = (++_ a)) , (_-- b)) , (* p)) , (& a))", begin -= 3;
        EXPECT_EQ(tree.substr(begin), expected) << row.text;
        EXPECT_EQ(result.errors, "") << row.text;
    }
}

} // namespace
} // namespace msl
