// What people get wrong, and the messages they get: every case of mistakes.txt must give just the message written
// there.
#include "MSL/Compiler.h"
#include "MSL/tests/messages/Mistakes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace msl {
namespace {

using testing::Mistake;

TEST(Messages, SayWhatIsWrong) {
    const std::vector<Mistake> cases = testing::readMistakes(MSL_TEST_MISTAKES);
    ASSERT_GE(cases.size(), 200U);
    for (const Mistake& item : cases) {
        const auto compiled = compile(testing::mistakesPrelude + item.source);
        const std::string text = compiled ? toText(compiled->warnings) : compiled.error().text;
        EXPECT_EQ(item.isWhole ? text : text.substr(0, text.find('\n')), item.expected)
            << item.name << ":\n"
            << item.source << "\nall messages:\n"
            << text;
    }
}

// What is underlined, and what the fix-it makes of the line.
TEST(Messages, KnowTheirRangeAndHowToMendIt) {
    struct Row {
        const char* source;
        const char* underlined;
        const char* mended; // the line with the fix-it applied; empty when there is none
    };
    const Row rows[] = {
        {"float f() { return smoothstp(0, 1, 2); }", "smoothstp", "float f() { return smoothstep(0, 1, 2); }"},
        {"flot f() { return 1; }", "flot", "float f() { return 1; }"},
        {"float f(float x) { retrun x; }", "retrun", "float f(float x) { return x; }"},
        {"float f(Params p) { return p . sped; }", "sped", "float f(Params p) { return p . speed; }"},
        {"float f(Params p) { return p->speed; }", "speed", "float f(Params p) { return p.speed; }"},
        {"float f(thread Params* p) { return p.speed; }", "speed", "float f(thread Params* p) { return p->speed; }"},
        {"float4 f(texture2d<float> t, sampler s) { return t.smaple(s, 0); }", "smaple",
         "float4 f(texture2d<float> t, sampler s) { return t.sample(s, 0); }"},
        {"Params f() { return {.band = 1}; }", "band", "Params f() { return {.bands = 1}; }"},
        {"float f() { return 2 \xE2\x88\x92 1; }", "\xE2\x88\x92", "float f() { return 2 - 1; }"},
        {"float f() { return 1 }", "", "float f() { return 1; }"},
        {"float f() { return 1 2; }", "", ""},
        {"float f() { 1 <<= 2; return 0; }", "<<=", ""},
        {"float f() { return \"a\\\"b\" ; }", "\"a\\\"b\"", ""},
        // The word stands in the macro, not where the message points.
        {"#define SPEED(x) x.sped\nfloat f(Params p) { return SPEED(p); }", "SPEED", ""},
        {"#define nowher3 nowhere\nconstant float nowhere1 = 1; float f() { return nowher3; }", "nowher3", ""},
    };
    for (const Row& row : rows) {
        const auto compiled = compile(std::string(testing::mistakesPrelude) + row.source);
        ASSERT_FALSE(compiled) << row.source;
        const Diagnostic& first = compiled.error().diagnostics.front();
        std::string line(row.source);
        line = line.substr(line.rfind('\n') + 1);
        EXPECT_EQ(line.substr(first.column - 1, first.length), row.underlined) << compiled.error().text;
        std::string mended;
        if (first.fixIt) {
            EXPECT_EQ(first.fixIt->line, first.line);
            mended = line.replace(first.fixIt->column - 1, first.fixIt->length, first.fixIt->replacement);
        }
        EXPECT_EQ(mended, row.mended) << compiled.error().text;
    }
}

// The body of a function with a float2 uv, a uint n and an int i; the warnings without their echoed lines and notes.
std::string warningsOf(const std::string& body) {
    const auto compiled = compile("#include <metal_stdlib>\nusing namespace metal;\n#line 1 \"w\"\n"
                                  "fragment float4 f(constant float2& uv, constant uint& n, constant int& i) {\n" +
                                  body + "\nreturn 0;\n}\n");
    if (!compiled) return compiled.error().text;
    std::string result;
    for (const Diagnostic& warning : compiled->warnings)
        result += std::to_string(warning.line) + ":" + std::to_string(warning.column) + " " + warning.message + "\n";
    return result;
}

TEST(Warnings, SayWhatIsHardlyMeant) {
    struct Row {
        const char* body;
        const char* expected;
    };
    const Row rows[] = {
        {"float d = 1.0;", "2:7 unused variable 'd'\n"},
        {"int k = 0.5; return k;", "2:9 implicit conversion from 'float' to 'int' changes value from 0.5 to 0\n"},
        {"uchar k = 300; return k;", "2:11 implicit conversion from 'int' to 'uchar' changes value from 300 to 44\n"},
        {"char k = 200; return k;", "2:10 implicit conversion from 'int' to 'char' changes value from 200 to -56\n"},
        {"float x; return x + 1.0;", "2:17 variable 'x' is uninitialized when used here\n"},
        {"float2 v; float x = v.x; return x;", "2:21 variable 'v' is uninitialized when used here\n"},
        {"float x; x += 1.0; return x;", "2:10 variable 'x' is uninitialized when used here\n"},
        {"if (n >= 0) return 1;", "2:7 result of comparison of unsigned expression >= 0 is always true\n"},
        {"if (0 > n) return 1;", "2:7 result of comparison of unsigned expression < 0 is always false\n"},
        {"int k = i; if (k == k) return 1;", "2:18 self-comparison always evaluates to true\n"},
        {"bool b = i > 0; if (b == 2) return 1;",
         "2:23 comparison of constant 2 with expression of type 'bool' is always false\n"},
        {"int k = 0; if (k = i) return 1;",
         "2:18 using the result of an assignment as a condition without parentheses\n"},
        {"if (n & 3u == 0u) return 1;", "2:7 & has lower precedence than ==; == will be evaluated first\n"},
        {"if (n > 3);", "2:11 if statement has empty body\n"},
        {"float k = uv.x * (2 / 3); return k;", "2:21 integer division: 2 / 3 gives 0\n"},
        {"int k = i / 0; return k;", "2:11 division by zero is undefined\n"},
        {"uint k = 1u << 40; return k;", "2:13 shift count >= width of type\n"},
        {"int k = i; k = k; return k;", "2:14 explicitly assigning value of variable of type 'int' to itself\n"},
        {"sin(uv.x);", "2:1 the result of 'sin' is not used\n"},
        {"int k = i; k == 2;", "2:14 equality comparison result unused\n"},
        {"if (0 < i < 3) return 1;", "2:11 comparisons like 'X<=Y<=Z' don't have their mathematical meaning\n"},
        {"if (!i == 3) return 1;", "2:5 logical not is only applied to the left hand side of this comparison\n"},
        {"for (int k = 0; k < 3; k++); { return 1; }", "2:28 for loop has empty body\n"},
        {"for (int n = 0; n < 3; n++) if (n == i) return 1;", "2:10 declaration of 'n' shadows a parameter\n"},
        {"typedef struct { char a; float b; } S __attribute__((packed)); return sizeof(S);",
         "2:54 'packed' attribute ignored\n"},
        {"struct [[packed]] S { char a; float b; }; S s = {}; return s.b;",
         "2:10 unknown attribute 'packed' ignored\n"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(warningsOf(row.body), row.expected) << row.body;
}

// What may well be meant, and must not be nagged about.
TEST(Warnings, StaySilentWhereTheTextMayBeMeant) {
    const char* const bodies[] = {
        "float x; if (n > 3u) x = 1.0; else x = 2.0; return x;",
        "float last; for (int k = 0; k < 4; k++) { if (k > 0) return last; last = uv.x; }",
        "float x; switch (i) { case 0: x = 1.0; break; default: x = 2.0; } return x;",
        "float2 v; v.x = 1.0; v.y = 2.0; return float4(v, v);",
        "float c; float s = sincos(uv.x, c); return s * c;",
        "float w[3]; for (int k = 0; k < 3; k++) w[k] = 1.0; return w[i];",
        "float x = uv.x; if (x != x) return 1;",
        "if ((n & 3u) == 0u) return 1;",
        "int k = 7 / 2; return k;",
        "float k = 4 / 2; return k;",
        "uint k = -1; return k;",
        "if (n > 3) {}",
        "if (n >= 1u) return 1;",
        "bool b = i > 0; if (b == 1) return 1;",
        "for (int a = 0, b = 4; a < b; a++, b--) { float unusedOnPurpose [[maybe_unused]] = uv.x; }",
        "if (i == 1 & n == 2u) return 1;",
        "if ((i < 2) == (n < 3u)) return 1;",
        "if (!n == (i < 2)) return 1;",
        "int k = 0; while (k++ < 3); return k;",
        "float whole; float rest = modf(uv.x, whole); return rest + whole;",
    };
    for (const char* body : bodies)
        EXPECT_EQ(warningsOf(body), "") << body;
}

// Helpers that come along with pasted text are not used, and nobody is to tidy them up.
TEST(Warnings, SayNothingOfUnusedHelpers) {
    const auto compiled = compile(R"(#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;
#pragma mark - What's in here
constant float PI = 3.14159265;
static inline __attribute__((const)) float twice(float x) { return x * 2; }
__attribute__((always_inline, unused)) static float3 never(float3 c, float unusedParameter) { return c; }
template <typename T> T mod(T x, T y) { T unusedInATemplate; return x - y * floor(x / y); }
struct Unused { float a; float b() const { return a; } };
[[maybe_unused]] static constant int steps = 64;
float sum(float2 v) { (void)v; return 0; }
)");
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(toText(compiled->warnings), "");
}

// Pragmas silence a group from their line on; in a macro they stand as _Pragma. What other pragmas say is no code.
TEST(Warnings, AreSilencedByPragmas) {
    const std::string unused = "float d = 1.0;\n", warning = "unused variable 'd'\n";
    struct Row {
        std::string body;
        std::string expected;
    };
    const Row rows[] = {
        {"#pragma clang diagnostic ignored \"-Wunused-variable\"\n" + unused, ""},
        {"#pragma GCC diagnostic ignored \"-Wunused\"\n" + unused, ""},
        {"#pragma clang diagnostic ignored \"-Wshadow\"\n" + unused, "3:7 " + warning},
        {unused + "#pragma clang diagnostic ignored \"-Wall\"\n", "2:7 " + warning},
        {"#pragma clang diagnostic push\n#pragma clang diagnostic ignored \"-Wall\"\n{ float c; }\n"
         "#pragma clang diagnostic pop\n" +
             unused,
         "6:7 " + warning},
        {"#pragma clang diagnostic pop\n" + unused, "3:7 " + warning},
        {"_Pragma(\"clang diagnostic ignored \\\"-Wall\\\"\") " + unused, ""},
        {"#define UNROLL _Pragma(\"clang loop unroll(full)\")\nUNROLL\n#pragma mark - What's this\n" + unused,
         "5:7 " + warning},
        // The note goes with its warning.
        {"#pragma clang diagnostic ignored \"-Wempty-body\"\nif (n > 3);\n" + unused, "4:7 " + warning},
    };
    for (const Row& row : rows)
        EXPECT_EQ(warningsOf(row.body), row.expected) << row.body;
    EXPECT_EQ(warningsOf("#pragma clang diagnostic error \"-Wunused\"\n" + unused),
              "w:3:7: error: unused variable 'd'\nfloat d = 1.0;\n      ^\n");
    EXPECT_EQ(warningsOf("_Pragma(clang)"),
              "w:2:1: error: _Pragma takes a parenthesized string literal\n_Pragma(clang)\n^\n");
}

TEST(Warnings, AreLeftOutOrRefusedAsAsked) {
    const std::string host = "int theirs() { int h = 0.5; int unusedToo; return h; }\n#line 1 \"user\"\n";
    const std::string user = "int ours() { int d; return 0; }\n";
    CompileOptions options;
    options.userTextBegin = host.size();
    options.userTextEnd = host.size() + user.size();
    const std::string text = "user:1:18: warning: unused variable 'd'\nint ours() { int d; return 0; }\n"
                             "                 ^\n";
    auto compiled = compile(host + user, options);
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(toText(compiled->warnings), text) << "of the author's text only";

    options.warnings = CompileOptions::Warnings::ignored;
    compiled = compile(host + user, options);
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(toText(compiled->warnings), "");

    options.warnings = CompileOptions::Warnings::errors;
    compiled = compile(host + user, options);
    ASSERT_FALSE(compiled);
    std::string error = text;
    error.replace(error.find("warning"), 7, "error");
    EXPECT_EQ(compiled.error().text, error);
}

} // namespace
} // namespace msl
