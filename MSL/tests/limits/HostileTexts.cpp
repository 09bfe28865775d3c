#include "HostileTexts.h"

#include <string_view>

namespace msl::test {
namespace {

constexpr std::string_view head = "#include <metal_stdlib>\nusing namespace metal;\n";

// Not the string's own constructor, which a compiler tries to run while it compiles.
std::string filled(std::size_t count, char c) {
    std::string out;
    out.resize(count, c);
    return out;
}

std::string repeated(std::string_view text, std::size_t times) {
    std::string out;
    out.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        out += text;
    return out;
}

// `text` for every number below `count`, with $ as the number and @ as the one before.
std::string numbered(std::string_view text, int count, int first = 1) {
    std::string out;
    for (int i = first; i < first + count; ++i)
        for (const char c : text) {
            if (c == '$')
                out += std::to_string(i);
            else if (c == '@')
                out += std::to_string(i - 1);
            else
                out += c;
        }
    return out;
}

std::string shader(std::string_view before, std::string_view body) {
    return std::string(head) + std::string(before) +
           "kernel void k(device float* o [[buffer(0)]], constant int& n [[buffer(1)]]) {\n" + std::string(body) +
           "\n}\n";
}

} // namespace

const std::vector<HostileText>& hostileTexts() {
    static const std::vector<HostileText> texts = {
        // bytes
        {"nothing", [] { return std::string(); }},
        {"a NUL byte", [] { return filled(1, '\0'); }},
        {"a megabyte of NUL bytes", [] { return filled(1 << 20, '\0'); }},
        {"NUL bytes inside a shader", [] { return shader(filled(100, '\0'), std::string("o[0] = \0 1;", 11)); }},
        {"broken UTF-8", [] { return repeated("\xff\xfe\xc3\x28\xf0\x9f", 100000); }},
        {"10 MB of blanks", [] { return shader(filled(10'000'000, ' '), "o[0] = 1;"); }},
        {"10 MB of line ends", [] { return shader(filled(10'000'000, '\n'), "o[0] = 1;"); }},
        {"10 MB of one word", [] { return shader("float " + filled(10'000'000, 'a') + ";", "o[0] = 1;"); }},
        {"10 MB of one comment", [] { return shader("/*" + filled(10'000'000, '*') + "*/", "o[0] = 1;"); }},
        {"10 MB of one digit", [] { return shader("", "o[0] = " + filled(10'000'000, '7') + ";"); }},
        {"10 MB of one string", [] { return shader("", "\"" + filled(10'000'000, 'x') + "\";"); }},
        {"5 million line splices", [] { return shader("", "o[0] = 1" + repeated("\\\n", 5'000'000) + ";"); }},
        {"10 MB of semicolons", [] { return filled(10'000'000, ';'); }},
        {"10 MB of commas", [] { return filled(10'000'000, ','); }},
        {"more than 64 MB", [] { return filled((64U << 20) + 1, ' '); }, "longer than 64 MB"},
        // depth
        {"open parentheses", [] { return shader("", "o[0] = " + filled(1'000'000, '(')); }},
        {"nested parentheses",
         [] { return shader("", "o[0] = " + filled(100'000, '(') + "1" + filled(100'000, ')') + ";"); }},
        {"nested braces", [] { return shader("", filled(500'000, '{') + filled(500'000, '}')); }},
        {"nested brackets", [] { return shader("", "o" + repeated("[o", 100'000) + ";"); }},
        {"nested calls",
         [] { return shader("", "o[0] = " + repeated("sin(", 50'000) + "1" + filled(50'000, ')') + ";"); }},
        {"a long sum", [] { return shader("", "o[0] = " + repeated("1+", 100'000) + "1;"); }},
        {"a long sum of loads", [] { return shader("", "o[0] = " + repeated("o[1]+", 100'000) + "1;"); }},
        {"one expression of a megabyte", [] { return shader("", "o[0] = 1" + repeated("+n*2-o[n]/3", 95'000) + ";"); }},
        {"a tower of minus signs", [] { return shader("", "o[0] = " + repeated("- ", 500'000) + "1;"); }},
        {"a tower of casts", [] { return shader("", "o[0] = " + repeated("(float)", 100'000) + "1;"); }},
        {"a chain of assignments", [] { return shader("", repeated("o[0] = ", 100'000) + "1;"); }},
        {"a chain of conditions", [] { return shader("", "o[0] = " + repeated("n ? 1 : ", 100'000) + "1;"); }},
        {"conditions inside conditions",
         [] { return shader("", "o[0] = " + repeated("n ? ", 50'000) + "1" + repeated(": 2", 50'000) + ";"); }},
        {"a chain of swizzles", [] { return shader("", "float4 v = 1; v = v" + repeated(".xyzw", 100'000) + ";"); }},
        {"a chain of else if", [] { return shader("", repeated("if (n) o[0] = 1; else ", 100'000) + ";"); }},
        {"nested loops", [] { return shader("", repeated("for (;;) ", 100'000) + ";"); }},
        {"nested structs", [] { return repeated("struct S { ", 100'000); }},
        {"nested namespaces", [] { return repeated("namespace n { ", 100'000) + repeated("}", 100'000); }},
        {"nested template arguments",
         [] {
             return repeated("template <typename T> struct A {}; ", 1) + repeated("A<", 50'000) + "int" +
                    repeated(">", 50'000) + " a;";
         }},
        {"a pointer to a pointer to", [] { return shader("", "thread float " + filled(500'000, '*') + "p;"); }},
        {"an array of arrays of", [] { return shader("", "float a" + repeated("[2]", 100'000) + ";"); }},
        {"nested initializers",
         [] { return shader("", "float a[2] = " + filled(100'000, '{') + filled(100'000, '}') + ";"); }},
        {"nested lambdas", [] { return shader("", repeated("auto f = [&] { ", 20'000) + repeated("};", 20'000)); }},
        {"nested attributes", [] { return repeated("[[", 200'000); }},
        {"structs inside structs by name",
         [] {
             return shader("struct S0 { float x[2]; };\n" + numbered("struct S$ { S@ a, b; };\n", 40),
                           "S40 s; o[0] = s.a.a.a.a.a.x[0];");
         }},
        // preprocessor
        {"two macros that name each other", [] { return std::string("#define A B\n#define B A\nA"); }},
        {"an exponential macro", [] { return numbered("#define M$ M@ M@\n", 60) + "#define M0 1;\nM60\n"; }, "macro"},
        {"an exponential macro with arguments",
         [] { return numbered("#define M$(x) M@(x x)\n", 60) + "#define M0(x) x\nM60(1)\n"; }, "macro"},
        {"an exponential macro of one line",
         [] { return "#define X(a) a a\n" + repeated("X(", 60) + "1" + repeated(")", 60); }},
        {"nested macro calls",
         [] { return "#define X(a) a\n" + repeated("X(", 100'000) + "1" + repeated(")", 100'000); }},
        {"a macro with a huge argument",
         [] { return "#define X(a) a a a a a a a a\n#define Y(a) X(X(a))\nY(Y(" + repeated("x ", 20'000) + "))\n"; }},
        {"a macro of a huge paste",
         [] { return numbered("#define P$(a) P@(a##a)\n", 40) + "#define P0(a) a\nP40(x)\n"; }},
        {"a macro of a huge string",
         [] {
             return numbered("#define S$(a) S@(a a)\n", 14) + "#define S0(a) T(a)\n#define T(a) #a\nS14(S14(S14(x)))\n";
         }},
        {"a hundred thousand macros", [] { return numbered("#define M$ $\n", 100'000); }},
        {"open #if", [] { return repeated("#if 1\n", 300'000); }},
        {"skipped #if", [] { return "#if 0\n" + repeated("#if 1\n", 300'000); }},
        {"a deep #if condition", [] { return "#if " + filled(300'000, '(') + "1\n#endif\n"; }},
        {"a long #if condition", [] { return "#if " + repeated("1 + ", 300'000) + "1\n#endif\n"; }},
        {"a tower in #if", [] { return "#if " + repeated("!", 300'000) + "1\n#endif\n"; }},
        {"many #line", [] { return repeated("#line 5 \"a\"\n", 200'000) + "x"; }},
        {"many errors", [] { return repeated("#error no\n", 300'000); }},
        {"a macro with a hundred thousand parameters",
         [] { return "#define M(" + numbered("a$,", 100'000) + "z) z\nM(1)\n"; }},
        // templates
        {"a struct template that includes itself",
         [] { return std::string("template <int N> struct S { S<N + 1> next; }; S<0> s;"); }, "template"},
        {"a struct template that includes itself, in a function",
         [] { return shader("template <int N> struct S { S<N + 1> next; };", "S<0> s;"); }, "template"},
        {"a function template that calls itself",
         [] { return shader("template <int N> float f() { return f<N + 1>(); }", "o[0] = f<0>();"); }, "template"},
        {"a function template that calls itself twice",
         [] { return shader("template <int N> float f() { return f<2 * N>() + f<2 * N + 1>(); }", "o[0] = f<1>();"); },
         "template"},
        {"a template whose type grows",
         [] {
             return shader(
                 "template <typename T> struct P { T a; }; template <typename T> float f(T t) { P<T> p; return f(p); }",
                 "o[0] = f(1.0f);");
         },
         "template"},
        {"a template whose type doubles",
         [] {
             return shader("template <typename A, typename B> struct P { A a; B b; }; template <typename T> float f(T "
                           "t) { P<T, T> p; return f(p); }",
                           "o[0] = f(1.0f);");
         }},
        {"a tree of template instances",
         [] {
             return shader("template <int N, int M> float f() { return f<N - 1, 2 * M>() + f<N - 1, 2 * M + 1>(); } "
                           "template <int M> float f<0, M>() { return 1; }",
                           "o[0] = f<40, 0>();");
         }},
        {"a tree of template overloads",
         [] {
             return shader("template <int N> struct I {}; float f(I<0>) { return 1; } template <int N> float f(I<N>) { "
                           "return f(I<N - 1>()) + f(I<N - 1>()); }",
                           "o[0] = f(I<60>());");
         }},
        {"a hundred thousand template parameters",
         [] { return "template <" + numbered("typename T$, ", 100'000) + "typename Z> struct S {};"; }},
        {"many instances",
         [] {
             return shader("template <int N> float f() { float s = 0; for (int i = 0; i < N; ++i) s += i; return s; }",
                           numbered("o[$] = f<$>();\n", 5'000));
         }},
        {"a variable template that needs itself",
         [] { return shader("template <int N> constexpr constant int v = v<N + 1>;", "o[0] = v<0>;"); }},
        // functions
        {"functions called twice by functions called twice",
         [] {
             return shader("float f0(float x) { return x; }\n" +
                               numbered("float f$(float x) { return f@(x) + f@(x + 1); }\n", 30),
                           "o[0] = f30(1);");
         }},
        {"the same with references",
         [] {
             return shader("void f0(thread float& x) { x += 1; }\n" +
                               numbered("void f$(thread float& x) { float y = x; f@(x); f@(y); }\n", 30),
                           "float a = 0; f30(a); o[0] = a;");
         }},
        {"the same with pointers to elements",
         [] {
             return shader("void f0(thread float* x, thread float* y) { x[0] += y[0]; }\n" +
                               numbered("void f$(thread float* x, thread float* y) { f@(x, y); f@(y, x); }\n", 30),
                           "float a[2], b[2]; f30(a, b); o[0] = a[0];");
         }},
        {"a function for every combination of members",
         [] {
             return shader("struct S { float a, b, c, d; };\nvoid f0(thread float& x, thread float& y, thread float& "
                           "z, thread float& w) { x += y + z + w; }\n" +
                               numbered("void f$(thread float& x, thread float& y, thread float& z, thread float& w) { "
                                        "f@(x, y, z, w); f@(y, x, z, w); f@(y, z, w, x); }\n",
                                        20),
                           "S s; f20(s.a, s.b, s.c, s.d); o[0] = s.a;");
         }},
        {"lambdas that call lambdas twice",
         [] {
             return shader("", "auto f0 = [&](float x) { return x + n; };\n" +
                                   numbered("auto f$ = [&](float x) { return f@(x) + f@(x + 1); };\n", 30) +
                                   "o[0] = f30(1);");
         }},
        {"generic lambdas that call each other twice",
         [] {
             return shader("", "auto f0 = [](auto x) { return x; };\n" +
                                   numbered("auto f$ = [=](auto x) { return f@(x) + f@(x); };\n", 30) +
                                   "o[0] = f30(1.0f);");
         }},
        {"six thousand overloads, six thousand calls",
         [] {
             return shader(numbered("struct S$ { float x; }; float f(S$ s) { return s.x; }\n", 6'000),
                           numbered("o[$] = f(S$());\n", 6'000));
         }},
        {"six thousand overloads that call the first",
         [] {
             return std::string(head) + "struct S0 { float x; }; float f(S0 s) { return s.x; }\n" +
                    numbered("struct S$ { float x; }; float f(S$ s) { return f(S0{}); }\n", 6'000);
         }},
        {"six thousand wrong calls of six thousand overloads",
         [] {
             return shader(numbered("struct S$ { float x; }; float f(S$ s);\n", 6'000),
                           repeated("o[0] = f(1);\n", 6'000));
         }},
        {"six thousand function templates of one name",
         [] {
             return shader(
                 numbered(
                     "template <typename T> struct P$ { T x; }; template <typename T> T f(P$<T> s) { return s.x; }\n",
                     6'000),
                 numbered("o[$] = f(P$<float>());\n", 6'000));
         }},
        {"an overload for every operator",
         [] {
             return shader(numbered("struct S$ { float x; }; S$ operator+(S$ a, S$ b) { return a; }\n", 3'000),
                           numbered("{ S$ a; o[$] = (a + a).x; }\n", 3'000));
         }},
        {"a call with a hundred thousand arguments",
         [] { return shader("", "o[0] = max(" + repeated("1, ", 100'000) + "1);"); }},
        {"a function with a hundred thousand parameters",
         [] {
             return shader("float f(" + numbered("float a$, ", 100'000) + "float z) { return z; }", "o[0] = f(1);");
         }},
        {"recursion", [] { return shader("float f(float x) { return f(x); }", "o[0] = f(1);"); }, "recursion"},
        {"recursion by a long way",
         [] {
             return shader("float f300(float x);\nfloat f0(float x) { return f300(x); }\n" +
                               numbered("float f$(float x) { return f@(x); }\n", 300),
                           "o[0] = f0(1);");
         },
         "recursion"},
        {"a chain of ten thousand calls",
         [] {
             return shader("float f0(float x) { return x; }\n" +
                               numbered("float f$(float x) { return f@(x) + 1; }\n", 10'000),
                           "o[0] = f10000(1);");
         }},
        // data
        {"a giant global array", [] { return std::string("float a[2000000000];"); }, "2000000000 elements"},
        {"a giant constant array", [] { return shader("constant float a[2000000000] = {};", "o[0] = a[n];"); }},
        {"a giant local array", [] { return shader("", "float a[100000000]; a[n] = 1; o[0] = a[0];"); },
         "400000000 bytes"},
        {"a giant local array of arrays",
         [] { return shader("", "float a[60000][60000][60000]; a[n][n][n] = 1; o[0] = a[0][0][0];"); }},
        {"a giant array in a struct",
         [] { return shader("struct S { float a[1 << 20]; };", "S s; s.a[n] = 1; o[0] = s.a[0];"); }},
        {"a giant array by value",
         [] {
             return shader("struct S { float a[16000]; }; S f(S s) { s.a[1] = 2; return s; }",
                           "S s; s = f(f(f(s))); o[0] = s.a[n];");
         }},
        {"giant structs copied often",
         [] {
             return shader("struct S { float a[16000]; };",
                           "S s = {}; " + repeated("{ S t = s; t.a[n] = s.a[1]; s = t; }\n", 3'000) + "o[0] = s.a[n];");
         }},
        {"a giant threadgroup array", [] { return shader("", "threadgroup float a[100000000]; a[n] = 1;"); }},
        {"an array of negative size", [] { return shader("", "float a[-1];"); }},
        {"an array of a huge computed size", [] { return shader("", "float a[0x7fffffff * 0x7fffffffL];"); }},
        {"a huge initializer",
         [] { return shader("constant float a[] = { " + repeated("1, ", 300'000) + "};", "o[0] = a[n];"); }},
        {"a huge initializer of a local",
         [] { return shader("", "float a[] = { " + repeated("n, ", 16'000) + "}; o[0] = a[n];"); }},
        {"a huge initializer of structs",
         [] {
             return shader("struct S { float a; int b[2]; }; constant S a[] = { " +
                               repeated("{ 1, { 2, 3 } }, ", 60'000) + "};",
                           "o[0] = a[n].b[n];");
         }},
        {"a huge switch",
         [] { return shader("", "switch (n) {\n" + numbered("case $: o[$] = $; break;\n", 20'000) + "}"); }},
        {"a huge switch that falls through",
         [] { return shader("", "switch (n) {\n" + numbered("case $: o[$] = $;\n", 20'000) + "}"); }},
        {"a switch with equal cases",
         [] { return shader("", "switch (n) {\n" + repeated("case 1: o[1] = 1; break;\n", 50'000) + "}"); }},
        {"a huge enum", [] { return shader("enum E { " + numbered("e$, ", 100'000) + "};", "o[0] = e77;"); }},
        {"a huge struct",
         [] {
             return shader("struct S { " + numbered("float m$;\n", 15'000) + "};", "S s; s.m77 = n; o[0] = s.m77;");
         }},
        {"a huge struct in a buffer",
         [] {
             return std::string(head) + "struct S { " + numbered("float m$;\n", 50'000) +
                    "};\nkernel void k(device S* o [[buffer(0)]]) { o[1].m77 = o[2].m78; }";
         }},
        {"indexes far outside",
         [] {
             return shader(
                 "constant int t[3] = { 1, 2, 3 };",
                 "float a[4] = {}; a[n] = t[n * 7]; o[n] = a[n - 1000000]; o[0x7fffffff] = a[3] + float4(1)[n];");
         }},
        {"constant indexes outside",
         [] {
             return shader(
                 "constant int t[3] = { 1, 2, 3 };",
                 "float a[4] = {}; a[-1] = t[99]; a[4000000000u] = 1; o[0] = float4(1)[7] + float4x4(1)[9][9];");
         }},
        {"constant evaluation without end",
         [] { return shader("constexpr int f(int n) { while (true) n++; return n; }", "int a[f(1)];"); }},
        {"a constant function that calls itself twice",
         [] { return shader("constexpr int f(int n) { return n < 2 ? n : f(n - 1) + f(n - 2); }", "int a[f(60)];"); }},
        {"constants that double",
         [] {
             return shader("constant float a0 = 1;\n" + numbered("constant float a$ = a@ + a@;\n", 2'000),
                           "o[0] = a2000;");
         }},
        {"loads that double",
         [] {
             return shader("", "float a0 = n;\n" + numbered("float a$ = (a@ + a@) * (a@ - a@);\n", 3'000) +
                                   "o[0] = a3000;");
         }},
        // long texts
        {"a hundred thousand lines of one function",
         [] { return shader("", repeated("o[n] = o[n + 1] * 0.5 + sin(o[2]);\n", 100'000)); }},
        {"a hundred thousand variables",
         [] {
             return shader("", "float a0 = n;\n" + numbered("float a$ = a@ * 0.5 + 1;\n", 100'000) + "o[0] = a100000;");
         }},
        {"a hundred thousand unused functions",
         [] { return shader(numbered("float f$(float x) { return x * $; }\n", 100'000), "o[0] = 1;"); }},
        {"thirty thousand called functions",
         [] {
             return shader(numbered("float f$(float x) { return x * $; }\n", 30'000),
                           numbered("o[$] = f$(n);\n", 30'000));
         }},
        {"ten thousand kernels",
         [] {
             return std::string(head) +
                    numbered("kernel void k$(device float* o [[buffer(0)]]) { o[0] = $; }\n", 10'000);
         }},
        {"a thousand kernels that call a long function",
         [] {
             return std::string(head) + "void f(device float* o, int n) {" +
                    repeated("o[n] = o[n + 1] * 0.5 + sin(o[2]);\n", 1'000) + "}\n" +
                    numbered("kernel void k$(device float* o [[buffer(0)]]) { f(o, $); }\n", 1'000);
         }},
        {"a hundred thousand wrong names", [] { return shader("", numbered("o[0] = wrong$;\n", 100'000)); }},
        {"many names, and one mistyped",
         [] {
             return shader(numbered("constant float someName$ = $;\n", 50'000), repeated("o[0] = someNam;\n", 2'000));
         }},
        {"unused variables without end", [] { return shader("", numbered("float unused$;\n", 100'000)); }},
        {"a hundred thousand using directives", [] { return repeated("using namespace metal;\n", 100'000); }},
        {"a hundred thousand namespaces", [] { return numbered("namespace n$ { float x; }\n", 100'000); }},
        {"using directives in a ring",
         [] {
             return shader("namespace a { float x; } namespace b { using namespace a; } namespace a { using namespace "
                           "b; } using namespace a; using namespace b;\n",
                           "o[0] = y;");
         }},
        {"a hundred thousand typedefs of typedefs",
         [] {
             return shader("typedef float T0;\n" + numbered("typedef T@ T$;\n", 100'000), "T100000 a = n; o[0] = a;");
         }},
        {"inheritance in a long line",
         [] {
             return shader("struct S0 { float x; };\n" + numbered("struct S$ : S@ { float y$; };\n", 5'000),
                           "S5000 s; s.x = n; o[0] = s.x;");
         }},
        // much out of little, by copying what is written once
        {"a long function template of many instances",
         [] {
             return shader("template <int N> float f() { float s = 0; " + repeated("s += sin(s) * N;", 2'000) +
                               "return s; }",
                           "o[0] = 0" + numbered("+ f<$>()", 4'000) + ";");
         }},
        {"a long method of a class template of many instances",
         [] {
             return shader("template <int N> struct P { float f() { float s = 0; " +
                               repeated("s += sin(s) * N;", 2'000) + "return s; } };",
                           numbered("{ P<$> p; o[0] = p.f(); }\n", 2'000));
         }},
        {"a long generic lambda for many types",
         [] {
             return shader(numbered("struct S$ {};", 3'000), "auto f = [&](auto x) { float s = 0;" +
                                                                 repeated("s += sin(s);", 3'000) + "return s; };" +
                                                                 numbered("f(S$());", 3'000));
         }},
        {"three thousand partial specialisations",
         [] {
             return shader("template <typename T, int N> struct P;\n" +
                               numbered("template <typename T> struct P<T, $> { T a; };\n", 3'000),
                           numbered("{ P<int, $> p; p.a = n; o[0] = p.a; }\n", 3'000));
         }},
        {"overloads for a long line of classes",
         [] {
             return shader("struct S0 { int a; };\n" + numbered("struct S$ : S@ {}; float f(S$ s);\n", 1'500),
                           numbered("{ S$ s; o[0] = f(s); }\n", 1'500));
         }},
        {"closures inside closures",
         [] {
             return shader("", "auto f0 = [](int x) { return x; };\n" +
                                   numbered("auto f$ = [&](int x) { return f@(x); };\n", 20'000) + "o[0] = f20000(n);");
         },
         "nested too deeply"},
        {"4 MB of empty lambdas", [] { return repeated("[]{};", 800'000); }},
        {"4 MB of empty lambdas in a function", [] { return shader("", repeated("[]{};", 800'000)); }},
        {"a #line name of 20 MB",
         [] { return "#line 5 \"" + filled(20'000'000, 'a') + "\"\n" + repeated("int x y;\n", 30); }},
        {"many different #line names", [] { return numbered("#line 5 \"a$\"\n", 400'000) + "x"; }},
        {"a line of 50 MB", [] { return shader("", repeated("o[n]+=1;", 6'250'000)); }},
        {"a line of 50 MB without code",
         [] { return "int a = " + filled(50'000'000, ' ') + ";" + repeated("x y;", 50); }},
        {"60 MB of line ends", [] { return filled(60'000'000, '\n') + "x"; }},
        {"a macro of ten million tokens",
         [] { return "#define M " + repeated("1,", 5'000'000) + "\nint a[] = {M M M};"; }},
        {"a macro's arguments of ten million tokens",
         [] { return "#define M(...) __VA_ARGS__\nint a[] = {M(" + repeated("1,", 5'000'000) + "1)};"; }},
        {"bools in a buffer copied often",
         [] {
             return std::string(head) + "struct S { bool a[10000]; };\nkernel void k(device S* o [[buffer(0)]]) {" +
                    repeated("o[0] = o[1];", 100'000) + "}";
         }},
        {"big structs in constant programs",
         [] {
             return shader(
                 "struct S { int a[1000]; }; constexpr S f(S s) { s.a[1] = 2; return s; } constexpr int g() { S "
                 "s = {}; for (int i = 0; i < 100; i++) s = f(s); return s.a[1]; }",
                 numbered("constexpr int c$ = g();", 4'000));
         }},
        {"twenty thousand sliders",
         [] {
             return std::string(head) + "struct Params {" + numbered("float m$;\n", 20'000) +
                    "};\nkernel void k(device float* o [[buffer(0)]], constant Params& p [[buffer(1)]]) {\nfloat x = "
                    "0;\n" +
                    numbered("x += p.m$;\n", 20'000) + "o[0] = x; }";
         }},
        // small ones that once brought the compiler down
        {"a method of a class template that never ends",
         [] {
             return std::string("template<typename struct Pair{sum(a};float4 shade(Uniforms u,Params p){arr;for()"
                                "clamp(y,q)+q);s=sq()+ sq(v).x +fbm+Pair<float>{}.sum()");
         }},
    };
    return texts;
}

} // namespace msl::test
