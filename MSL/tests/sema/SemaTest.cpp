#include "Analyzed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace msl {
namespace {

constexpr std::string_view prelude = R"(#include <metal_stdlib>
using namespace metal;
struct Params { float bands; float speed; };
struct Ray { float3 o; float3 d; float at(float t) const { return t + o.x; } void move() { o.x = 1; } };
struct C { float x, y; };
C operator*(C a, C b) { return C{a.x * b.x - a.y * b.y, a.x * b.y + a.y * b.x}; }
enum Mode { Flat, Wavy, Last = 7 };
enum class Tone : uint { warm = 1, cold };
constant float3 ramp[3] = { float3(0), float3(0.5), float3(1) };
float2 rotate(float2 p, float a) { return p * a; }
float hash(float2 p) { return p.x; }
float two(float a, float b = 2) { return a + b; }
float three(float a, float b, float c) { return a + b + c; }
void inc(thread float& x) { x += 1; }
float clash(float a, int b) { return a + b; }
float clash(int a, float b) { return a + b; }
template <typename T> T sq(T x) { return x * x; }
template <int N> int times(int x) { return N * x; }
template <typename T, int N> struct Few { T items[N]; T first() const { return items[0]; } };
)";

// A function with the parameters below around one statement, which stands alone on its line.
std::string inFunction(std::string_view body) {
    return std::string(prelude) +
           "float4 shade(float2 uv, float3 v, half3 h, int i, uint n, bool b, int2 iv, half k, float2x2 m, constant "
           "Params& p, "
           "const float fixed, device float* out, Mode mode, Tone tone, Ray ray, C c, packed_float3 pk, ushort us) "
           "{\n" +
           std::string(body) + "\nreturn float4(1);\n}\n";
}
constexpr std::size_t bodyLine = static_cast<std::size_t>(std::ranges::count(prelude, '\n')) + 2;

// ---- types of expressions

struct TypeCase {
    std::string_view expression;
    std::string_view type;
};
void PrintTo(const TypeCase& c, std::ostream* out) {
    *out << c.expression;
}
class ExpressionType : public testing::TestWithParam<TypeCase> {};

TEST_P(ExpressionType, IsThis) {
    const Analyzed analyzed(inFunction("auto probe = " + std::string(GetParam().expression) + ";"));
    ASSERT_EQ(analyzed.errors(), "");
    EXPECT_EQ(checkTree(*analyzed.unit), "");
    const VarDecl* probe = analyzed.variable("probe");
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(typeName(probe->type), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Arithmetic, ExpressionType,
    testing::Values(TypeCase{"1", "int"}, TypeCase{"1u", "uint"}, TypeCase{"4294967295", "long"},
                    TypeCase{"0xffffffff", "uint"}, TypeCase{"1.0", "float"}, TypeCase{"1.0h", "half"},
                    TypeCase{"'a'", "char"}, TypeCase{"k * 2.0", "float"}, TypeCase{"k * 2", "half"},
                    TypeCase{"k * k", "half"}, TypeCase{"i * 2.0", "float"}, TypeCase{"i + n", "uint"},
                    TypeCase{"us + us", "int"}, TypeCase{"b + b", "int"}, TypeCase{"-us", "int"},
                    TypeCase{"v * 2", "float3"}, TypeCase{"2 * v", "float3"}, TypeCase{"h * 2.0", "half3"},
                    TypeCase{"h + k", "half3"}, TypeCase{"iv * 2", "int2"}, TypeCase{"iv % 3", "int2"},
                    TypeCase{"iv << 1", "int2"}, TypeCase{"us << 1", "int"}, TypeCase{"~n", "uint"},
                    TypeCase{"pk * 2", "float3"}, TypeCase{"pk + v", "float3"}, TypeCase{"mode + 1", "int"},
                    TypeCase{"m * uv", "float2"}, TypeCase{"uv * m", "float2"}, TypeCase{"m * m", "float2x2"},
                    TypeCase{"2 * m", "float2x2"}, TypeCase{"m / 2", "float2x2"}, TypeCase{"m + m", "float2x2"},
                    TypeCase{"float3x2(1) * v", "float2"}, TypeCase{"-m", "float2x2"}, TypeCase{"c * c", "C"},
                    TypeCase{"out + 1", "device float *"}, TypeCase{"&out[1] - out", "long"}));

INSTANTIATE_TEST_SUITE_P(Comparisons, ExpressionType,
                         testing::Values(TypeCase{"uv.x < 1", "bool"}, TypeCase{"uv < 1", "bool2"},
                                         TypeCase{"iv == iv", "bool2"}, TypeCase{"!b", "bool"},
                                         TypeCase{"!(uv < 1)", "bool2"}, TypeCase{"uv < 1 && b", "bool2"},
                                         TypeCase{"b || i", "bool"}, TypeCase{"mode == Wavy", "bool"},
                                         TypeCase{"tone == Tone::cold", "bool"},
                                         TypeCase{"b ? v : float3(0)", "float3"}, TypeCase{"b ? 1 : 0.5", "float"},
                                         TypeCase{"b ? v : 0", "float3"}, TypeCase{"uv < 1 ? uv : 0", "float2"},
                                         TypeCase{"b ? Flat : Wavy", "Mode"}));

INSTANTIATE_TEST_SUITE_P(
    Parts, ExpressionType,
    testing::Values(TypeCase{"v.x", "float"}, TypeCase{"v.zyx", "float3"}, TypeCase{"v.rg", "float2"},
                    TypeCase{"uv.xyxy", "float4"}, TypeCase{"v.zyx.y", "float"}, TypeCase{"v[1]", "float"},
                    TypeCase{"m[0]", "float2"}, TypeCase{"m[0][1]", "float"}, TypeCase{"m[0].y", "float"},
                    TypeCase{"pk.x", "float"}, TypeCase{"pk.xy", "float2"}, TypeCase{"ramp[i]", "float3"},
                    TypeCase{"ray.o.x", "float"}, TypeCase{"(&ray)->d", "float3"}, TypeCase{"out[2]", "float"},
                    TypeCase{"*out", "float"}, TypeCase{"p.bands", "float"}, TypeCase{"ray", "Ray"},
                    TypeCase{"&ray", "thread Ray *"}, TypeCase{"ray.at(1)", "float"},
                    TypeCase{"sizeof(Ray)", "ulong"}));

INSTANTIATE_TEST_SUITE_P(
    Constructions, ExpressionType,
    testing::Values(TypeCase{"float3(1)", "float3"}, TypeCase{"float4(uv, 0, 1)", "float4"},
                    TypeCase{"float4(1, v)", "float4"}, TypeCase{"half3(v)", "half3"}, TypeCase{"int2(uv)", "int2"},
                    TypeCase{"(int)uv.x", "int"}, TypeCase{"float2x2(1, 2, 3, 4)", "float2x2"},
                    TypeCase{"float2x2(uv, uv)", "float2x2"}, TypeCase{"half2x2(m)", "half2x2"},
                    TypeCase{"C{1, 2}", "C"}, TypeCase{"Ray{v, v}", "Ray"}, TypeCase{"Ray()", "Ray"},
                    TypeCase{"vec<float, 3>(1)", "float3"}, TypeCase{"metal::float3(1)", "float3"},
                    TypeCase{"simd_float3(1)", "float3"}, TypeCase{"array<float, 2>{1, 2}", "float [2]"},
                    TypeCase{"as_type<uint>(1.0)", "uint"}, TypeCase{"static_cast<int>(1.5)", "int"},
                    TypeCase{"Few<float, 3>{{1, 2, 3}}", "Few<float, 3>"},
                    TypeCase{"Few<int, 2>{{1, 2}}.first()", "int"}, TypeCase{"Mode(1)", "Mode"},
                    TypeCase{"packed_float3(v)", "packed_float3"}));

INSTANTIATE_TEST_SUITE_P(
    Calls, ExpressionType,
    testing::Values(TypeCase{"sin(uv)", "float2"}, TypeCase{"sin(k)", "half"}, TypeCase{"sqrt(2)", "float"},
                    TypeCase{"max(v, 0.0)", "float3"}, TypeCase{"max(i, 3)", "int"}, TypeCase{"max(h, 0.0)", "half3"},
                    TypeCase{"min(n, 3u)", "uint"}, TypeCase{"clamp(uv.x, 0, 1)", "float"},
                    TypeCase{"mix(v, v, 0.5)", "float3"}, TypeCase{"dot(uv, uv)", "float"},
                    TypeCase{"length(h)", "half"}, TypeCase{"cross(v, v)", "float3"}, TypeCase{"all(uv < 1)", "bool"},
                    TypeCase{"isnan(uv)", "bool2"}, TypeCase{"select(uv, uv, uv < 0)", "float2"},
                    TypeCase{"transpose(float2x3(1))", "float3x2"}, TypeCase{"determinant(m)", "float"},
                    TypeCase{"refract(v, v, 0.9)", "float3"}, TypeCase{"absdiff(i, 3)", "uint"},
                    TypeCase{"fast::exp(k)", "half"}, TypeCase{"length(pk)", "float"}, TypeCase{"abs(iv)", "int2"},
                    TypeCase{"rotate(uv, 1)", "float2"}, TypeCase{"rotate(n, 1u)", "uint"},
                    TypeCase{"sq(uv)", "float2"}, TypeCase{"sq(2)", "int"}, TypeCase{"times<3>(2)", "int"},
                    TypeCase{"two(1)", "float"}, TypeCase{"pack_float_to_unorm4x8(float4(1))", "uint"},
                    TypeCase{"numeric_limits<half>::max()", "half"}));

// ---- which function a call means: each candidate gives another type

struct OverloadCase {
    std::string_view declarations;
    std::string_view call;
    std::string_view type;
};
void PrintTo(const OverloadCase& c, std::ostream* out) {
    *out << c.declarations << " " << c.call;
}
class OverloadChoice : public testing::TestWithParam<OverloadCase> {};

TEST_P(OverloadChoice, IsTheBest) {
    const Analyzed analyzed(
        "#include <metal_stdlib>\nusing namespace metal;\n" + std::string(GetParam().declarations) +
        "\nvoid f(float x, half k, float2 uv, int i, ushort us, const float fixed) { auto probe = " +
        std::string(GetParam().call) + "; }\n");
    ASSERT_EQ(analyzed.errors(), "");
    ASSERT_NE(analyzed.variable("probe"), nullptr);
    EXPECT_EQ(typeName(analyzed.variable("probe")->type), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Ranking, OverloadChoice,
    testing::Values(
        OverloadCase{"int g(float) { return 1; } uint g(half) { return 1; } char g(int) { return 1; }", "g(x)", "int"},
        OverloadCase{"int g(float) { return 1; } uint g(half) { return 1; } char g(int) { return 1; }", "g(k)", "uint"},
        OverloadCase{"int g(float) { return 1; } uint g(half) { return 1; } char g(int) { return 1; }", "g(us)",
                     "char"},
        OverloadCase{"int g(float) { return 1; } uint g(float2) { return 1; } char g(float3) { return 1; }", "g(1)",
                     "int"},
        OverloadCase{"int g(float) { return 1; } uint g(float2) { return 1; } char g(float3) { return 1; }", "g(uv)",
                     "uint"},
        OverloadCase{"int g(thread float&) { return 1; } uint g(const thread float&) { return 1; }", "g(x)", "int"},
        OverloadCase{"int g(thread float&) { return 1; } uint g(const thread float&) { return 1; }", "g(fixed)",
                     "uint"},
        OverloadCase{"int g(float, float) { return 1; } uint g(float, float, float = 1) { return 1; }", "g(1, 2, 3)",
                     "uint"},
        OverloadCase{"template <typename T> int g(T x) { return 1; } uint g(float x) { return 1; }", "g(x)", "uint"},
        OverloadCase{"template <typename T> int g(T x) { return 1; } uint g(float x) { return 1; }", "g(i)", "int"},
        OverloadCase{
            "template <typename T> int g(vec<T, 2> x) { return 1; } template <typename T> uint g(T x) { return 1; }",
            "g(uv)", "int"}));

INSTANTIATE_TEST_SUITE_P(
    AgainstTheLibrary, OverloadChoice,
    testing::Values(OverloadCase{"int sign(float x) { return 1; }", "sign(x)", "int"},
                    OverloadCase{"int sign(float x) { return 1; }", "sign(uv)", "float2"},
                    OverloadCase{"int saturate(float2 x) { return 1; }", "saturate(x)", "float"},
                    OverloadCase{"int length(float2 p, float k) { return 1; }", "length(uv, 1)", "int"},
                    OverloadCase{"int length(float2 p, float k) { return 1; }", "length(uv)", "float"},
                    OverloadCase{"int mod(float a, float b) { return 1; }", "mod(x, 2)", "int"}));

// ---- faults

struct ErrorCase {
    std::string_view body;
    std::string_view message; // "column: text" of the first line of each message
};
void PrintTo(const ErrorCase& c, std::ostream* out) {
    *out << c.body;
}
class Fault : public testing::TestWithParam<ErrorCase> {};

std::string firstMessage(const std::string& text) {
    const std::string prefix = "t:" + std::to_string(bodyLine) + ":";
    const std::string line = text.substr(0, text.find('\n'));
    return line.starts_with(prefix) ? line.substr(prefix.size()) : line;
}

TEST_P(Fault, SaysWhatAndWhere) {
    const Analyzed analyzed(inFunction(GetParam().body));
    EXPECT_EQ(firstMessage(analyzed.errors()), GetParam().message);
    EXPECT_EQ(analyzed.diagnostics.errorCount(), 1U) << analyzed.errors();
}

INSTANTIATE_TEST_SUITE_P(
    Names, Fault,
    testing::Values(
        ErrorCase{"float x = y;", "11: error: use of undeclared identifier 'y'"},
        ErrorCase{"float x = smoothstp(0, 1, 2);",
                  "11: error: use of undeclared identifier 'smoothstp'; did you mean 'smoothstep'?"},
        ErrorCase{"float x = p.band;", "13: error: no member named 'band' in 'Params'; did you mean 'bands'?"},
        ErrorCase{"flot x = 1;", "1: error: unknown type name 'flot'; did you mean 'float'?"},
        ErrorCase{"vec3 x;", "1: error: unknown type name 'vec3'; did you mean 'float3'?"},
        ErrorCase{"float x = lerp(1, 2, 3);", "11: error: use of undeclared identifier 'lerp'; did you mean 'mix'?"},
        ErrorCase{"Rey r;", "1: error: unknown type name 'Rey'; did you mean 'Ray'?"},
        ErrorCase{"float x = 1; float x = 2;", "20: error: redefinition of 'x'"},
        ErrorCase{"float x = Ray;", "11: error: 'Ray' does not refer to a value"},
        ErrorCase{"float x = metal::sinn(1);", "18: error: no member named 'sinn' in namespace 'metal'"},
        ErrorCase{"float x = sin;",
                  "11: error: reference to overloaded function could not be resolved; did you mean to call it?"},
        ErrorCase{"uv();", "1: error: called object type 'float2' is not a function or function pointer"}));

INSTANTIATE_TEST_SUITE_P(
    Conversions, Fault,
    testing::Values(
        ErrorCase{"float3 x = uv;",
                  "8: error: cannot initialize a variable of type 'float3' with an lvalue of type 'float2'"},
        ErrorCase{"float2 x = float3(1);",
                  "8: error: cannot initialize a variable of type 'float2' with an rvalue of type 'float3'"},
        ErrorCase{"v = uv;", "3: error: assigning to 'float3' from incompatible type 'float2'"},
        ErrorCase{"float x = 1; x *= v;", "16: error: assigning to 'float' from incompatible type 'float3'"},
        ErrorCase{"return v;",
                  "8: error: cannot initialize return object of type 'float4' with an lvalue of type 'float3'"},
        ErrorCase{"Ray r = 1;", "5: error: no viable conversion from 'int' to 'Ray'"},
        ErrorCase{"half3 x = v;",
                  "7: error: cannot initialize a variable of type 'half3' with an lvalue of type 'float3'"},
        ErrorCase{"v + uv;", "3: error: invalid operands to binary expression ('float3' and 'float2')"},
        ErrorCase{"h * v;", "3: error: invalid operands to binary expression ('half3' and 'float3')"},
        ErrorCase{"uv.x % 2.0;", "6: error: invalid operands to binary expression ('float' and 'float')"},
        ErrorCase{"m * v;", "3: error: invalid operands to binary expression ('float2x2' and 'float3')"},
        ErrorCase{"if (uv < 1) {}", "5: error: value of type 'bool2' is not contextually convertible to 'bool'"},
        ErrorCase{"-ray;", "1: error: invalid argument type 'Ray' to unary expression"},
        ErrorCase{"float3 x = float3(1, 2);",
                  "12: error: too few elements in vector initialization (expected 3 elements, have 2)"},
        ErrorCase{"float3 x = float3(float4(1));",
                  "12: error: no matching conversion for functional-style cast from 'float4' to 'float3'"},
        ErrorCase{"Ray r = {v, v, 1};", "16: error: excess elements in struct initializer"},
        ErrorCase{"float a[2] = {1, 2, 3};", "21: error: excess elements in array initializer"},
        ErrorCase{"float w[3]({1, 2, 3, 4});", "22: error: excess elements in array initializer"},
        ErrorCase{"float x({1, 2});", "13: error: excess elements in scalar initializer"},
        ErrorCase{"Tone t = 1;",
                  "6: error: cannot initialize a variable of type 'Tone' with an rvalue of type 'int'"}));

INSTANTIATE_TEST_SUITE_P(
    Places, Fault,
    testing::Values(
        ErrorCase{"1 = 2;", "3: error: expression is not assignable"},
        ErrorCase{"uv.xx = uv;", "7: error: vector is not assignable (contains duplicate components)"},
        ErrorCase{"fixed = 2;", "7: error: cannot assign to variable 'fixed' with const-qualified type 'const float'"},
        ErrorCase{"p.bands = 1;",
                  "9: error: cannot assign to variable 'p' with const-qualified type 'const constant Params &'"},
        ErrorCase{"ramp[0].x = 1;",
                  "11: error: cannot assign to variable 'ramp' with const-qualified type 'const float3 [3]'"},
        ErrorCase{"float x = uv.z;", "14: error: vector component access exceeds type 'float2'"},
        ErrorCase{"float x = uv.q;", "14: error: illegal vector component name 'q'"},
        ErrorCase{"inc(1.0);", "1: error: no matching function for call to 'inc'"},
        ErrorCase{"thread float& r = uv.x;", "15: error: non-const reference cannot bind to vector element"},
        ErrorCase{"thread Params& r = p;",
                  "16: error: cannot bind reference in thread address space to object in constant address space"},
        ErrorCase{"float x = uv->x;",
                  "15: error: member reference type 'float2' is not a pointer; did you mean to use '.'?"},
        ErrorCase{"const Ray r = {}; r.move();",
                  "21: error: 'this' argument to member function 'move' has type 'const Ray', but function is not "
                  "marked const"}));

INSTANTIATE_TEST_SUITE_P(Calls, Fault,
                         testing::Values(ErrorCase{"two();", "1: error: no matching function for call to 'two'"},
                                         ErrorCase{"clash(1, 1);", "1: error: call to 'clash' is ambiguous"},
                                         ErrorCase{"length(1.0);", "1: error: call to 'length' is ambiguous"},
                                         ErrorCase{"dot(uv, v);", "1: error: no matching function for call to 'dot'"},
                                         ErrorCase{"atan(1, 2);", "1: error: no matching function for call to 'atan'"},
                                         ErrorCase{"sq(1, 2);", "1: error: no matching function for call to 'sq'"},
                                         ErrorCase{"Few<float> x;",
                                                   "1: error: too few template arguments: 'N' is missing"}));

INSTANTIATE_TEST_SUITE_P(
    Constants, Fault,
    testing::Values(ErrorCase{"float a[-1];", "9: error: array size is negative"},
                    ErrorCase{"float a[i];", "9: error: array size is not an integral constant expression"},
                    ErrorCase{"constexpr float x = uv.x;",
                              "17: error: constexpr variable 'x' must be initialized by a constant expression"},
                    ErrorCase{"switch (i) { case 1: break; case 1: break; }", "34: error: duplicate case value '1'"},
                    ErrorCase{"switch (i) { case i: break; }", "19: error: case value is not a constant expression"},
                    ErrorCase{"static_assert(1 > 2, \"no\");", "15: error: static assertion failed: no"},
                    ErrorCase{"const float x;",
                              "13: error: default initialization of an object of const type 'const float'"}));

// ---- whole texts, with notes and carets

TEST(Diagnostics, NoteCandidatesAndDeclarations) {
    EXPECT_EQ(
        Analyzed("float f(float3 a, float b);\nfloat g(float2 v) { return f(v, 1); }\n").errors(),
        "t:2:28: error: no matching function for call to 'f'\n"
        "float g(float2 v) { return f(v, 1); }\n"
        "                           ^\n"
        "t:1:7: note: candidate function not viable: no known conversion from 'float2' to 'float3' for 1st argument\n"
        "float f(float3 a, float b);\n"
        "      ^\n");
    EXPECT_EQ(Analyzed("float x;\nfloat x;\n").errors(),
              "t:1:7: error: program scope variable must reside in constant address space\n"
              "float x;\n      ^\n"
              "t:2:7: error: program scope variable must reside in constant address space\n"
              "float x;\n      ^\n");
    EXPECT_EQ(Analyzed("constant int k = 1;\nconstant int k = 2;\n").errors(),
              "t:2:14: error: redefinition of 'k'\nconstant int k = 2;\n             ^\n"
              "t:1:14: note: previous definition is here\nconstant int k = 1;\n             ^\n");
    EXPECT_EQ(Analyzed("float f(float a) { return sin(a); }\n").errors(),
              "t:1:27: error: use of undeclared identifier 'sin'; did you mean 'metal::sin'?\n"
              "float f(float a) { return sin(a); }\n                          ^\n");
}

TEST(Diagnostics, TheLibrarysClosestFormIsNoted) {
    struct Case {
        std::string_view call;
        std::string_view note;
    };
    constexpr Case cases[] = {
        {"mix(1, 2)", "'float mix(float x, float y, float a)' not viable: requires 3 arguments, but 2 were provided"},
        {"dot(uv, v)",
         "'float dot(float3 x, float3 y)' not viable: no known conversion from 'float2' to 'float3' for 1st argument"},
        {"modf(1.0, 2.0)",
         "'float modf(float x, thread float &intval)' not viable: expects a variable for 2nd argument"},
        {"length(1.0)", "'float length(float3 x)'; it takes any floating-point vector"},
    };
    for (const Case& c : cases) {
        const std::string text = Analyzed(inFunction(std::string(c.call) + ";")).errors();
        EXPECT_NE(text.find("note: candidate function " + std::string(c.note) + "\n"), std::string::npos) << text;
    }
}

TEST(Diagnostics, FaultsAreReportedOnce) {
    // One mistake in a declaration must not make its uses faulty too.
    EXPECT_EQ(
        Analyzed(inFunction("float3 q = nothing; q.x = 1; v = q * 2; v += noSuch(q) + q;")).diagnostics.errorCount(),
        2U);
    EXPECT_EQ(Analyzed(inFunction("Unheard a = 1; float b2 = a + 1; b2 *= a.x;")).diagnostics.errorCount(), 1U);
    EXPECT_EQ(Analyzed(inFunction("float x = sond(1, 2, 3, 4); float2x2 w = mat2(v);")).diagnostics.errorCount(), 2U);
    // What was probably meant is taken for what was meant.
    EXPECT_EQ(Analyzed(inFunction("flot a = 1; vec2 w = uv * a; v = p.band * w;")).diagnostics.errorCount(), 4U);
}

TEST(Diagnostics, WarningsOfAGoodText) {
    EXPECT_EQ(Analyzed("float f(bool a) { int left = 1; if (a) return 1; }\nfloat g() { }\n").warnings(),
              "t:1:23: warning: unused variable 'left'\n"
              "float f(bool a) { int left = 1; if (a) return 1; }\n"
              "                      ^\n"
              "t:1:50: warning: non-void function does not return a value in all control paths\n"
              "float f(bool a) { int left = 1; if (a) return 1; }\n"
              "                                                 ^\n"
              "t:2:13: warning: non-void function does not return a value\n"
              "float g() { }\n"
              "            ^\n");
    struct Case {
        std::string_view body;
        std::string_view message;
    };
    constexpr Case cases[] = {
        {"uv.x == 1;", "6: warning: equality comparison result unused"},
        {"uv + 1;", "4: warning: expression result unused"},
        {"if (i = 3) {}", "7: warning: using the result of an assignment as a condition without parentheses"},
        {"i = 2.5;", "5: warning: implicit conversion from 'float' to 'int' changes value from 2.5 to 2"},
        {"float x = uv[2];", "14: warning: index 2 is past the end of 'float2'"},
        {"i = int(2.5); i = 2.0; (void)i; if ((i = 3)) {}", ""},
    };
    for (const Case& c : cases) {
        std::string found;
        std::istringstream lines(Analyzed(inFunction(c.body)).warnings());
        for (std::string line; std::getline(lines, line) && found.empty();)
            if (line.find("warning: ") != std::string::npos && line.find("unused variable") == std::string::npos)
                found = firstMessage(line);
        EXPECT_EQ(found, c.message) << c.body;
    }
    EXPECT_EQ(Analyzed("int f(int a) { for (;;) { if (a > 3) return a; a++; } }\n"
                       "int g(int a) { switch (a) { case 1: return 1; default: return 2; } }\n"
                       "int h(bool a) { if (a) { return 1; } else { return 2; } }\n")
                  .warnings(),
              "");
}

// ---- entry points

TEST(EntryPoints, TakeWhatTheirStageMay) {
    struct Case {
        std::string_view text;
        std::string_view message;
    };
    constexpr Case cases[] = {
        {"fragment float4 f(constant float& a [[buffer(0)]], constant float& b [[buffer(0)]]) { return a; }",
         "t:1:72: error: cannot reserve 'buffer' resource location at index 0"},
        {"fragment float4 f(constant float& a [[buffer(31)]]) { return a; }",
         "t:1:46: error: 'buffer' attribute parameter is out of bounds: must be between 0 and 30"},
        {"kernel float f(uint i [[thread_position_in_grid]]) { return 1; }",
         "t:1:8: error: kernel function must have void return type, not 'float'"},
        {"fragment float4 f(uint i [[vertex_id]]) { return i; }",
         "t:1:28: error: attribute 'vertex_id' is not allowed in a fragment function"},
        {"vertex float4 f(float i [[vertex_id]]) { return i; }",
         "t:1:23: error: type 'float' is not valid for attribute 'vertex_id': it must be uint or ushort"},
        {"fragment float4 f(float2 uv) { return 1; }", "t:1:26: error: invalid type 'float2' for input declaration in "
                                                       "a fragment function: parameter 'uv' needs an attribute "
                                                       "such as [[stage_in]] or be a buffer, texture or sampler"},
        {"struct V { float2 uv; }; vertex V f() { return V{}; }",
         "t:1:35: error: vertex function 'f' must return a member with attribute [[position]]"},
    };
    for (const Case& c : cases) {
        const Analyzed analyzed{std::string(c.text)};
        const std::string text = analyzed.errors();
        EXPECT_EQ(text.substr(0, text.find('\n')), c.message) << c.text;
        EXPECT_TRUE(analyzed.unit->entryPoints.empty()) << c.text;
    }
}

TEST(EntryPoints, ResourcesWithoutAnIndexGetFreeOnes) {
    const Analyzed analyzed(
        "kernel void f(device float* a, constant int& b [[buffer(0)]], device float* c) { a[0] = c[b]; }\n");
    ASSERT_EQ(analyzed.errors(), "");
    ASSERT_EQ(analyzed.unit->entryPoints.size(), 1U);
    std::vector<std::uint64_t> indices;
    for (const VarDecl* parameter : analyzed.unit->entryPoints[0]->parameters)
        indices.push_back(static_cast<const IntLiteral*>(parameter->attributes.back().arguments[0])->value);
    EXPECT_EQ(indices, (std::vector<std::uint64_t>{1, 0, 2}));
}

// ---- constants and layout

TEST(Constants, AreComputed) {
    constexpr std::string_view assertions[] = {
        "7 / 2 == 3",
        "-7 / 2 == -3",
        "-7 % 3 == -1",
        "1 << 4 == 16",
        "(3 & 6 | 8) == 10",
        "~0 == -1",
        "0xffffffff + 1 == 0",
        "int(2.9) == 2",
        "uchar(300) == 44",
        "true && !false",
        "1.5 * 2 == 3.0",
        "int(sqrt(16.0)) == 4",
        "Last + 1 == 8",
        "uint(Tone::cold) == 2",
        "fact(5) == 120",
        "(2 > 1 ? 10 : 1 / 0) == 10",
        "table[2] == 30",
        "count == 12",
        "area(2.0) == 6.0",
        "numeric_limits<int>::max() == 2147483647",
        "numeric_limits<short>::min() == -32768",
        // every kind in its own width and rounding
        "pick(min(0xFFFFFFFFFFFFFFFFul, 5ul)) == 1",
        "max(9007199254740993L, 1L) == 9007199254740993L",
        "0xFFFFFFFFFFFFFFFFul / 10ul == 1844674407370955161ul",
        "float(0xFFFFFFFFFFFFFFFFul) == 18446744073709551616.0f",
        "float(0.1h + 0.2h) == 0.2998046875f",
        "tenth == 0.0999755859375f && middle == 1.0h",
        "float(18014399583223809l) == 18014400656965632.0f",
        "mulhi(0x8000000000000000ul, 2ul) == 1ul && clz(1ul) == 63ul",
        "uint(300.7f) + uchar(200) + uchar(100) == 600u",
        "mix(0.0f, 1e10f, 1.0f) == 1e10f",
        // vectors and matrices component by component
        "dot(float3(1, 2, 3), float3(4, 5, 6)) == 32",
        "(float2x2(1, 2, 3, 4) * float2(1, 1)).y == 6",
        "all(min(int2(3, -4), int2(1)) == int2(1, -4))",
        "as_type<uint>(half2(1, 2)) == 0x40003C00u",
        // programs
        "swapped(int2(1, 2)).x == 2",
        "summed() == 9",
        "nested(200) == 200",
        "all(numeric_limits<int3>::max() == int3(2147483647))",
        "numeric_limits<uint>::digits == 32 && numeric_limits<int>::digits == 31 && numeric_limits<half>::digits == 11",
        "numeric_limits<char>::digits10 == 2 && numeric_limits<ulong>::digits10 == 19",
        "numeric_limits<float>::max_exponent == 128 && metal::numeric_limits<float>::is_iec559",
        "!numeric_limits<uchar>::is_signed && numeric_limits<half>::has_infinity && !numeric_limits<bool>::is_modulo",
    };
    std::string text(prelude);
    text += "constexpr int fact(int n) { return n <= 1 ? 1 : n * fact(n - 1); }\n"
            "constexpr float area(float r) { if (r < 0) return 0; return r * 3; }\n"
            "constant int table[] = { 10, 20, 30 };\nconstexpr constant int count = sizeof(table);\n"
            "constexpr constant float tenth = 0.1h;\nconstexpr constant half middle = 1.000488281250001;\n"
            "constexpr int pick(ulong x) { return x == 5ul ? 1 : 2; }\n"
            "constexpr int2 swapped(int2 v) { v.xy = v.yx; return v; }\n"
            "constexpr int summed() { int t[] = {1, 2, 3}; int s = 0; for (thread int& e : t) { s += e; e = s; }\n"
            "    for (int e : t) if (e == 3) continue; else s += e == 6 ? 3 : 0; return s; }\n"
            "constexpr int nested(int n) { return n == 0 ? 0 : 1 + nested(n - 1); }\n";
    for (const std::string_view assertion : assertions) {
        const Analyzed analyzed(text + "static_assert(" + std::string(assertion) + ", \"\");\n");
        EXPECT_EQ(analyzed.errors(), "") << assertion;
        const Analyzed opposite(text + "static_assert(!(" + std::string(assertion) + "), \"\");\n");
        EXPECT_NE(opposite.errors(), "") << assertion;
    }
}

TEST(Layout, IsMetals) {
    struct Case {
        std::string_view type;
        unsigned size;
        unsigned alignment;
    };
    constexpr Case cases[] = {
        {"bool", 1, 1},           {"float3", 16, 16},
        {"packed_float3", 12, 4}, {"half3", 8, 8},
        {"uchar3", 4, 4},         {"float3x3", 48, 16},
        {"half2x4", 16, 8},       {"float2x2", 16, 8},
        {"long", 8, 8},           {"Inner", 32, 16},
        {"Mixed", 64, 16},        {"Packed", 16, 4},
        {"Either", 16, 16},       {"float[3]", 12, 4},
        {"Mode", 4, 4},           {"array<float3, 2>", 32, 16},
        {"size_t", 8, 8},         {"Few<packed_half3, 3>", 18, 2},
    };
    const std::string text =
        std::string(prelude) +
        "struct Inner { float a; float3 b; };\nstruct Mixed { bool a; Inner b; half c; float2 d; };\n"
        "struct Packed { packed_float3 a; float b; };\nunion Either { float4 a; uint b; };\n";
    for (const Case& c : cases) {
        const Analyzed analyzed(text + "static_assert(sizeof(" + std::string(c.type) +
                                ") == " + std::to_string(c.size) + " && alignof(" + std::string(c.type) +
                                ") == " + std::to_string(c.alignment) + ", \"\");\n");
        EXPECT_EQ(analyzed.errors(), "") << c.type;
    }
}

// ---- limits: what a text can ask for, and what it is told

TEST(Limits, EndInOneMessage) {
    const auto repeat = [](unsigned from, unsigned to, auto&& line) {
        std::string text;
        for (unsigned i = from; i < to; ++i)
            text += line(std::to_string(i), std::to_string(i - 1));
        return text;
    };
    const auto nested = [](const std::string& i, const std::string& before) {
        return "struct S" + i + " { S" + before + " a; };\n";
    };
    const auto doubled = [](const std::string& i, const std::string& before) {
        return "struct S" + i + " { S" + before + " a, b; };\n";
    };
    struct Case {
        std::string text;
        std::string_view message;
    };
    const Case cases[] = {
        {"struct S0 { float a; };\n" + repeat(1, 200, nested), "types are nested too deeply (more than 64 levels)"},
        {"struct S0 { float a; };\n" + repeat(1, 25, doubled) + "void f() { S20 x[] = {1, 2}; }\n",
         "variable 'x' is too large for the thread address space (4194304 bytes; at most 65536 fit)"},
        {"struct S0 { float a; };\n" + repeat(1, 40, doubled), "struct 'S29' is too large"},
        {"constant float a[2147483647] = {};\n", "array is too large (2147483647 elements)"},
        {"constant float a[2000000] = {[1999999] = 1};\n",
         "an array initializer that skips so many elements is not supported here"},
        {"template <int N> struct R { R<N + 1> r; };\nconstant R<0> x = {};\n",
         "recursive template instantiation exceeded maximum depth of 64"},
        {"constexpr int fib(int n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }\nconstant int x[fib(60)] = {};\n",
         "array size is not an integral constant expression"},
    };
    for (const Case& c : cases) {
        const std::string text = Analyzed(c.text).errors();
        EXPECT_NE(text.substr(0, text.find('\n')).find("error: " + std::string(c.message)), std::string::npos) << text;
    }
}

// ---- the whole language in one text

std::string readData(const std::string& name) {
    std::ifstream file(std::string(MSL_TEST_DATA) + "/" + name);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(Language, IsAcceptedAndTyped) {
    for (const std::string name : {"language.metal", "classes.metal", "generated.metal", "terse.metal"}) {
        const Analyzed analyzed(readData(name));
        EXPECT_EQ(analyzed.errors(), "") << name;
        EXPECT_EQ(checkTree(*analyzed.unit), "") << name;
        EXPECT_FALSE(analyzed.unit->entryPoints.empty()) << name;
    }
}

TEST(Language, BrokenTextsEndInDiagnostics) {
    // The text cut short anywhere, and with any one token left out: never a crash, and if no fault is found the tree
    // keeps sema's promises.
    const std::string text = readData("language.metal") + readData("classes.metal") + readData("terse.metal");
    for (std::size_t cut = 0; cut < text.size(); cut += 97) {
        const Analyzed analyzed(text.substr(0, cut));
        if (!analyzed.diagnostics.hasErrors()) {
            EXPECT_EQ(checkTree(*analyzed.unit), "") << cut;
        }
    }
    for (std::size_t at = 0; at + 1 < text.size(); at += 53) {
        std::size_t end = at;
        while (end < text.size() && std::isalnum(static_cast<unsigned char>(text[end])))
            ++end;
        const Analyzed analyzed(text.substr(0, at) + text.substr(std::max(end, at + 1)));
        if (!analyzed.diagnostics.hasErrors()) {
            EXPECT_EQ(checkTree(*analyzed.unit), "") << at;
        }
    }
}

} // namespace
} // namespace msl
