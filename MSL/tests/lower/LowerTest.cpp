// Lowering: every module that comes out keeps the IR's invariants; and the shape of the few things that matter to those
// who read the IR: what takes memory, how references are specialised, how control flow nests.
#include "MSL/tests/lower/Lowered.h"

#include <gtest/gtest.h>

using namespace msl;
using msl::test::Lowered;

namespace {

std::size_t countOf(const std::string& text, std::string_view what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

// A kernel around a piece of text: "body" may use x (a float), i (an int) and out.
std::string kernel(std::string_view declarations, std::string_view body) {
    return std::string(declarations) +
           "\nkernel void k(device float* out [[buffer(0)]], constant float& given [[buffer(1)]],\n"
           "              uint id [[thread_position_in_grid]]) {\n    float x = given; int i = int(id);\n" +
           std::string(body) + "\n    out[id] = x;\n}\n";
}

TEST(Lower, KeepsTheInvariants) {
    struct {
        std::string_view name, declarations, body;
    } const cases[] = {
        {"swizzle writes", "",
         "float3 v = float3(x); v.xz *= float2(2, 3); v.zx = v.xz; v[1] = 3; v[i] = 2; v.x++; x = v.z;"},
        {"matrices", "",
         "float3x3 m = float3x3(x); m[1] = float3(2); m[0][i] = 1; m *= m; m = m + m - m / 2.0; m = -m;"
         "float3 v = m * float3(1) + float3(1) * m; v *= m; x = v.x + m[2].y;"},
        {"float3x2", "", "float3x2 m = float3x2(1, 2, 3, 4, 5, 6); float2 v = m * float3(x); x = v.y + (v * m).z;"},
        {"nested returns",
         "float f(float x) { for (int i = 0; i < 4; i++) { if (x > 3.0) return x; x *= 2.0; } return 0.0; }",
         "x = f(x);"},
        {"both branches return", "float f(float x) { if (x < 0) return 1.0; else return 2.0; }", "x = f(x);"},
        {"falls off its end", "float f(float x) { if (x < 0) return 1.0; }", "x = f(x);"},
        {"code behind a return", "float f(float x) { return x; x = 2.0; return x; }", "x = f(x);"},
        {"code behind a break", "", "for (;;) { x += 1.0; break; x += 2.0; }"},
        {"loops", "",
         "do { i++; if (i == 3) continue; if (i > 7) break; } while (i < 10); while (i > 0) i--; for (;;) { if (--i < "
         "-5) break; }"
         "for (int a = 0, b = 9; a < b; a++, b--) x += float(a * b);"},
        {"loop left in all its branches", "", "while (true) { if (x > 1.0) break; else break; }"},
        {"continue in a switch in a loop", "",
         "for (int a = 0; a < 4; a++) { switch (a) { case 0: continue; case 1: x = 1; break; default: x = 2; } x += "
         "1.0; }"},
        {"switch that falls through", "",
         "switch (i) { case 0: x = 1; case 1: x += 2; break; case 2: case 3: { x = 5; break; } default: x = 9; }"},
        {"switch without a default", "", "switch (i) { case -1: x = 1; break; case 4: return; }"},
        {"declaration between cases", "",
         "switch (i) { case 0: int a; a = 2; x = float(a); break; case 1: a = 3; x = float(a); }"},
        {"short circuit", "bool f(float x) { return x > 2.0; }",
         "bool a = x > 1.0 && f(x) || !f(x + 1.0); if (a && (i > 2 || x < 0.5)) x = 2;"},
        {"choices", "float f(float x) { return x; } struct S { float a; float2 b; };",
         "x = x > 1.0 ? f(x) : 2.0; S s = i > 1 ? S{1.0} : S{2.0, float2(3)}; x += s.a; float3 v = i > 2 ? float3(1) : "
         "float3(x);"},
        {"assignments as values", "", "float a, b; a = b = x; x = (a += b) * (b *= 2.0); i = (i++, ++i); (a) = 3;"},
        {"integer kinds", "",
         "uchar a = 250; a += 10; short b = short(a); b <<= 2; ushort c = ushort(b) | 1; long d = long(c) * 4; x = "
         "float(a + b) + float(c) + float(d); char e = 'a'; x += e; bool f = i; f = !f; x += f;"},
        {"halves", "", "half a = 0.5h; half3 b = half3(a, 1, x); b *= 2; x = b.z * a + a * x;"},
        {"arrays", "float sum(thread float v[4]) { float s = 0; for (int i = 0; i < 4; i++) s += v[i]; return s; }",
         "float w[4] = { 0.1, 0.2 }; w[i] = 2; float m[2][3] = {{1,2,3},{4,5,6}}; x = sum(w) + m[i][1]; m[1][i] = x;"},
        {"array of constants", "constant float3 ramp[] = { float3(0), float3(0.5), float3(1) };",
         "x = ramp[i].y + ramp[1].x;"},
        {"constants from constants",
         "constant float a = 2.0; constant float b = a * 3.0; constant float t[2] = { b, sqrt(a) }; struct P { float2 "
         "v; float k; }; constant P p = { float2(b), 2 };",
         "x = b + t[i] + t[1] + p.v.y + p.k;"},
        {"constant that is computed",
         "float f(float x) { return x * 2.0; } constant float c = 3.0; static constexpr constant float l = c + 1.0;",
         "const float m = f(c); constexpr float n = l * 2.0; x = m + n;"},
        {"references",
         "struct H { float d; float3 n; }; void g(thread float& v, float by = 1.0) { v += by; } void f(thread H& h) { "
         "g(h.d); g(h.d, 2.0); h.n = float3(h.d); }",
         "H h = {}; f(h); H a[3]; f(a[i]); f(a[1]); thread H& r = a[2]; r.d = 3; f(r); x = h.d + r.n.x;"},
        {"pointers",
         "void swap(thread float* a, thread float* b) { float t = *a; *a = *b; *b = t; } float sum(const device float* "
         "p, int n) { float s = 0; while (n-- > 0) s += *p++; return s; }",
         "float a = 1, b = 2; swap(&a, &b); float v[3] = {1, 2, 3}; swap(v, v + 2); swap(&v[i], &a); x = sum(out, 3) + "
         "sum(out + i, 2) + sum(&out[1], i); device float* q = out; q += 2; *q = 1; q[1] = 2; --q; x += *q;"},
        {"structs in buffers",
         "struct B { float3 c; float past[4]; packed_float3 s; bool on; }; float f(const device B& b, int i) { return "
         "b.past[i] + b.s.x; }",
         "device B* b = (device B*)nullptr; x = 1;"},
        {"members",
         "struct R { float3 o, d; R(float3 a, float3 b) : o(a), d(b) { o += 1.0; } float3 at(float t) const { return o "
         "+ t * d; } void move(float t) { o = at(t); } thread R& me() { return *this; } };",
         "R r(float3(x), float3(1)); r.move(2); r.me().o.x = 3; R s = r; s.me().move(1); x = r.at(x).y + R(r.o, "
         "s.d).at(1).x;"},
        {"temporary objects",
         "struct C { float n; float up() { n += 1.0; return n; } float get() const { return n; } };",
         "x = C{x}.up() + C{1.0}.up() + C{2.0}.get();"},
        {"arrays without a value", "",
         "for (int r = 0; r < 3; r++) { float a[8]; a[i] = x; x += a[r]; } float b[2][2]; b[i][i] = 1; x += b[1][0];"},
        {"default members", "struct L { float power = 1.0; float3 c = float3(2); };",
         "L a; L b{}; L c = { 3.0 }; x = a.power + b.c.x + c.c.y;"},
        {"operators",
         "struct C { float2 v; }; C operator*(C a, C b) { return C{a.v * b.v}; } thread C& operator+=(thread C& a, C "
         "b) { a.v += b.v; return a; }",
         "C c = C{float2(x)} * C{float2(2)}; c += c; (c += c).v.x = 2; x = c.v.x;"},
        {"templates",
         "template <typename T> T sq(T v) { return v * v; } template <int N> float rep(float v) { for (int i = 0; i < "
         "N; i++) v *= 2.0; return v; } template <typename T> struct P { T a, b; T sum() const { return a + b; } };",
         "P<float2> p = { float2(x), float2(1) }; x = sq(x) + sq(float2(2)).y + rep<3>(x) + p.sum().x;"},
        {"struct with a pointer",
         "struct Ctx { device float* table; float bias; float get(int i) const { return table[i] + bias; } }; float "
         "use(Ctx c, int i) { return c.get(i) * c.bias; }",
         "Ctx c = { out, 2.0 }; x = use(c, i) + c.get(1);"},
        {"library with results by reference", "",
         "float w; float f = modf(x, w); float c; float s = sincos(x, c); int e; float m = frexp(x, e); x = w + f + c "
         "+ s + float(e) + m;"},
        {"vector logic", "",
         "float3 v = float3(x); bool3 b = v < 1.0 && !(v > float3(2)); x = any(b) ? 1.0 : all(b) ? 2.0 : 3.0; v = "
         "select(v, float3(0), b); v = b ? v : float3(1);"},
        {"unions",
         "union U { float f; uint u; uchar4 b; }; union V { float3 v; uint2 u; ushort h; }; U g(U a) { a.u |= 1u; "
         "return a; }",
         "U a; a.f = x; a.u ^= 1u; a.b.xz = uchar2(1, 2); U b = a; x = g(b).f + b.f; V v = { float3(x) }; v.v.y = 2.0; "
         "v.h = 3; x += v.v.y + float(v.u.y);"},
        {"shadowed names",
         "float mod(float a, float b) { return a - b * floor(a / b); } float3 saturate(float3 v) { return v; }",
         "float k = x; { float k = 2.0; x += k; } for (int k = 0; k < 2; k++) x += float(k); x = mod(x, k) + "
         "saturate(float3(x)).x;"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        Lowered lowered(kernel(one.declarations, one.body));
        EXPECT_EQ(lowered.errors, "");
        EXPECT_EQ(lowered.fault, "");
        checkIndexes(lowered.module);
        EXPECT_EQ(ir::verify(lowered.module), "");
    }
}

TEST(Lower, OnlyWrittenVariablesTakeMemory) {
    Lowered lowered("float f(float a, float b) { float c = a * b; const float d = c + 1.0; b += d; return b; }\n"
                    "kernel void k(device float* out [[buffer(0)]]) { out[0] = f(1.0, 2.0); }");
    ASSERT_EQ(lowered.errors, "");
    EXPECT_EQ(lowered.function("f"), "function f#3(%0: float, %1: float) -> float {\n"
                                     "  local b.0: float\n"
                                     "  store b.0, %1\n"
                                     "  %2: float = load b.0\n"
                                     "  %3: float = mul %0, %2\n"
                                     "  %4: float = add %3, 1.0\n"
                                     "  %5: float = load b.0\n"
                                     "  %6: float = add %5, %4\n"
                                     "  store b.0, %6\n"
                                     "  %7: float = load b.0\n"
                                     "  return %7\n"
                                     "}\n");
}

TEST(Lower, ParameterThatIsWrittenLaterKeepsItsFirstValueWhereItWasRead) {
    // c must be a * the b of the call, whatever happens to b afterwards.
    Lowered lowered("float f(float a) { float b = a; float c = b; b = 5.0; return c + b; }\n"
                    "kernel void k(device float* out [[buffer(0)]]) { out[0] = f(out[1]); }");
    ASSERT_EQ(lowered.errors, "");
    const std::string text = lowered.function("f");
    EXPECT_LT(text.find("load b.0"), text.find("store b.0, 5.0")) << text;
}

TEST(Lower, ReadsOnlyTheMemberOfAUniform) {
    Lowered lowered("struct U { float2 size; float t; float4x4 m; };\n"
                    "float f(constant U& u) { return u.t + u.size.y + u.m[2].x; }\n"
                    "kernel void k(device float* out [[buffer(0)]], constant U& u [[buffer(1)]]) { out[0] = f(u); }");
    ASSERT_EQ(lowered.errors, "");
    EXPECT_EQ(lowered.function("f"), "function f#3() -> float {\n"
                                     "  %0: float = load @u.t\n"
                                     "  %1: float = load @u.size[1]\n"
                                     "  %2: float = add %0, %1\n"
                                     "  %3: float = load @u.m[2][0]\n"
                                     "  %4: float = add %2, %3\n"
                                     "  return %4\n"
                                     "}\n");
}

TEST(Lower, OneInstanceServesEveryElementOfAnArray) {
    Lowered lowered(
        "void f(thread float& x) { x += 1.0; }\n"
        "kernel void k(device float* out [[buffer(0)]], uint i [[thread_position_in_grid]]) {\n"
        "  float a[9] = {}; float b[9] = {}; float c = 0;\n"
        "  f(a[1]); f(a[2]); f(b[i]); f(b[i + 1u]); f(c); f(out[0]); f(out[i]); out[i] = a[1] + b[2] + c; }\n");
    EXPECT_NE(lowered.errors, ""); // a device float is no thread float
    Lowered fine("void f(thread float& x) { x += 1.0; }\n"
                 "kernel void k(device float* out [[buffer(0)]], uint i [[thread_position_in_grid]]) {\n"
                 "  float a[9] = {}; float b[9] = {}; float c = 0;\n"
                 "  f(a[1]); f(a[2]); f(b[i]); f(b[i + 1u]); f(c); out[i] = a[1] + b[2] + c; }\n");
    ASSERT_EQ(fine.errors, "");
    // By a signed index, by an unsigned one, and for a variable of its own.
    EXPECT_EQ(countOf(ir::toText(fine.module), "function f#"), 3U);
}

TEST(Lower, TheSameVariablePassedTwiceIsOneParameter) {
    Lowered lowered(
        "float f(thread float& a, thread float& b) { a = 1.0; b = 2.0; return a; }\n"
        "kernel void k(device float* out [[buffer(0)]]) { float x = 0, y = 0; out[0] = f(x, x) + f(x, y); }");
    ASSERT_EQ(lowered.errors, "");
    const std::string text = ir::toText(lowered.module);
    EXPECT_EQ(countOf(text, "(&x.0: float) -> float"), 1U) << text;
    EXPECT_EQ(countOf(text, "(&x.0: float, &y.1: float) -> float"), 1U) << text;
}

TEST(Lower, LoopsTestFirstAndStepInTheContinuingBlock) {
    Lowered lowered("float f(float x) { for (int i = 0; i < 3; i++) { if (x > 2.0) continue; x += 1.0; } return x; }\n"
                    "kernel void k(device float* out [[buffer(0)]]) { out[0] = f(out[1]); }");
    ASSERT_EQ(lowered.errors, "");
    EXPECT_EQ(lowered.function("f"), "function f#3(%0: float) -> float {\n"
                                     "  local x.0: float\n"
                                     "  local i.1: int\n"
                                     "  store x.0, %0\n"
                                     "  store i.1, 0\n"
                                     "  loop\n"
                                     "  body {\n"
                                     "    %1: int = load i.1\n"
                                     "    %2: bool = less %1, 3\n"
                                     "    if %2\n"
                                     "    then {\n"
                                     "    }\n"
                                     "    else {\n"
                                     "      break\n"
                                     "    }\n"
                                     "    %3: float = load x.0\n"
                                     "    %4: bool = greater %3, 2.0\n"
                                     "    if %4\n"
                                     "    then {\n"
                                     "      continue\n"
                                     "    }\n"
                                     "    %5: float = load x.0\n"
                                     "    %6: float = add %5, 1.0\n"
                                     "    store x.0, %6\n"
                                     "  }\n"
                                     "  continuing {\n"
                                     "    %7: int = load i.1\n"
                                     "    %8: int = add %7, 1\n"
                                     "    store i.1, %8\n"
                                     "  }\n"
                                     "  %9: float = load x.0\n"
                                     "  return %9\n"
                                     "}\n");
}

TEST(Lower, StagesMeetAtLocationsByName) {
    Lowered lowered(
        "struct V { float4 position [[position]]; float2 uv; uint id [[flat]]; };\n"
        "struct F { float2 uv; uint id [[flat]]; };\n"
        "struct O { half4 c [[color(1)]]; float z [[depth(any)]]; };\n"
        "vertex V v(uint vid [[vertex_id]]) { V o; o.position = float4(0); o.uv = float2(1); o.id = vid; return o; }\n"
        "fragment O f(F in [[stage_in]], float2 at [[point_coord]], constant float2* t [[buffer(3)]]) {\n"
        "  O o; o.c = half4(in.uv.xyxy) + half(in.id); o.z = at.x + t[1].y; return o; }\n");
    ASSERT_EQ(lowered.errors, "");
    ASSERT_EQ(lowered.fault, "");
    std::uint32_t uvOut = 99;
    std::uint32_t uvIn = 98;
    for (const ir::Variable* variable : lowered.module.globals) {
        if (variable->name == "uv") (variable->kind == ir::Variable::Kind::output ? uvOut : uvIn) = variable->location;
        if (variable->name == "id") {
            EXPECT_EQ(variable->interpolation, ir::Interpolation::flat);
            EXPECT_NE(variable->location, uvOut);
        }
        if (variable->name == "c") EXPECT_EQ(variable->location, 1U);
        if (variable->name == "z") EXPECT_EQ(variable->systemValue, ir::SystemValue::fragDepth);
        if (variable->name == "t") {
            EXPECT_EQ(variable->stage, Stage::fragment);
            EXPECT_EQ(variable->metalIndex, 3U);
            EXPECT_EQ(variable->space, AddressSpace::constant);
            EXPECT_FALSE(variable->isWritable);
        }
    }
    EXPECT_EQ(uvOut, uvIn);
    EXPECT_TRUE(lowered.module.entries[1]->usesDepthOutput);
}

TEST(Lower, RefusesWhatTheIrCannotSay) {
    struct {
        std::string_view declarations, body, message;
    } const cases[] = {
        {"float f(float x) { return x < 0 ? x : f(x - 1); }", "x = f(x);",
         "recursion is not supported: 'f' calls itself"},
        {"float g(float x); float f(float x) { return g(x); } float g(float x) { return f(x - 1); }", "x = f(x);",
         "recursion is not supported: 'f' calls itself through 'g'"},
        {"", "thread float* p[300] = {&x}; x = *p[i];", "an array of more than 256 pointers or textures is not"},
        {"", "thread float* p = nullptr; x = *p;", "a null pointer is dereferenced here"},
        {"", "ulong n = (ulong)&x; x = float(n);", "memory that is reached by its address is not allowed here"},
        {"union U { float f; thread float* p; };", "U u; u.f = x; x = u.f;", "a union of pointers or textures"},
        {"union U { float f; thread float* p; }; struct S { U u; };", "S s; s.u.f = x; x = s.u.f;",
         "or a struct or an array with one of them in it"},
        {"template <int N> float f(float x, int i) { float a[16000]; a[i] = x; return a[i + N]; }",
         "x = f<0>(x, i) + f<1>(x, i) + f<2>(x, i) + f<3>(x, i) + f<4>(x, i) + f<5>(x, i) + f<6>(x, i) + f<7>(x, i) + "
         "f<8>(x, i);",
         "the program's variables take too much memory"},
        {"", "threadgroup float t[9000]; t[i] = x; x = t[i + 1];", "with 't' they need 36000 bytes, and 32768 fit"},
    };
    for (const auto& one : cases) {
        Lowered lowered(kernel(one.declarations, one.body));
        EXPECT_NE(lowered.errors.find(one.message), std::string::npos) << one.message << "\n" << lowered.errors;
    }
}

TEST(Lower, DeepAndWideProgramsEndInAMessage) {
    // Every function calls the one before it twice, with references to different variables.
    std::string chain = "float f0(float x) { return x; }\n";
    for (int i = 1; i < 1000; ++i)
        chain += "float f" + std::to_string(i) + "(float x) { return f" + std::to_string(i - 1) + "(x) + 1.0; }\n";
    Lowered deep(kernel(chain, "x = f999(x);"));
    EXPECT_NE(deep.errors.find("the program is nested too deeply"), std::string::npos) << deep.errors.substr(0, 300);
    std::string wide = "void f0(thread float& a, thread float& b) { a += b; }\n";
    for (int i = 1; i < 40; ++i) {
        const std::string before = "f" + std::to_string(i - 1);
        wide += "void f" + std::to_string(i) + "(thread float2& v, thread float2& w) {}\n";
        wide += "void f" + std::to_string(i) + "(thread float& a, thread float& b) { float c = a; " + before +
                "(a, c); " + before + "(b, a); " + before + "(c, c); }\n";
    }
    // Functions that set a pointer of their caller are lowered into it, each twice as large as the one before.
    std::string setters = "struct P { thread float* p; }; void f0(thread P& a, thread float* q) { a.p = q; }\n";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "f" + std::to_string(i - 1) + "(a, q); ";
        setters += "void f" + std::to_string(i) + "(thread P& a, thread float* q) { " + before + before + "}\n";
    }
    Lowered set(kernel(setters, "float y = 1; P a = {&x}; f29(a, &y); *a.p = 2;"));
    EXPECT_NE(set.errors.find("the program is too large"), std::string::npos) << set.errors.substr(0, 300);
    Lowered many(kernel(wide, "float y = x; f39(x, y);"));
    EXPECT_EQ(many.errors, "");
    EXPECT_EQ(many.fault, "");
}

} // namespace
