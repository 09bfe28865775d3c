// What a driver would need too long for is refused at the line where it becomes too much, and what real shaders do is
// far from that.
#include "MSL/Compiler.h"
#include "MSL/tests/compiler/Numbered.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace msl {
namespace {

using test::numbered;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;

std::string busyKernel(const std::string& body, const std::string& before = "") {
    return "#include <metal_stdlib>\nusing namespace metal;\n" + before +
           "kernel void k(device float* o [[buffer(0)]], constant int& n [[buffer(1)]],\n"
           "              uint i [[thread_position_in_grid]]) {\n" +
           body + "\n}\n";
}

TEST(PipelineCost, LimitsWhatIsEmitted) {
    const struct {
        const char* what;
        std::string text;
        const char* at; // of the message; null where the text is accepted
    } cases[] = {
        {"ten thousand operations", busyKernel("float x = o[i];\n" + numbered("x = x * x + $;\n", 5'000) + "o[i] = x;"),
         nullptr},
        {"a million operations",
         busyKernel("float x = o[i];\n" + numbered("x = f(x);\n", 1'000) + "o[i] = x;",
                    "float f(float x) {\n" + numbered("x = x * x + $;\n", 500) + "return x; }\n"),
         "program_source:[0-9]+:"},
        {"three hundred reads", busyKernel("float x = 0;\n" + numbered("x += o[int(x) + $];\n", 300) + "o[i] = x;"),
         nullptr},
        {"five thousand reads", busyKernel("float x = 0;\n" + numbered("x += o[int(x) + $];\n", 5'000) + "o[i] = x;"),
         "program_source:[0-9]+:[0-9]+: error: the program is too large"},
        {"reads of numbers that the host gives",
         "struct P {" + numbered("float m$;", 3'000) +
             "};\nkernel void k(constant P& p [[buffer(0)]], device float* o [[buffer(1)]]) {\nfloat x = 0;\n" +
             numbered("x += p.m$;\n", 3'000) + "o[0] = x; }",
         nullptr},
        {"functions that call functions twice",
         busyKernel(
             "o[i] = f30(1);", "float f0(float x) { return sin(x); }\n" +
                                   [] {
                                       std::string all;
                                       for (int i = 1; i <= 30; ++i)
                                           all += "float f" + std::to_string(i) + "(float x) { return f" +
                                                  std::to_string(i - 1) + "(x) + f" + std::to_string(i - 1) +
                                                  "(x + 1); }\n";
                                       return all;
                                   }()),
         "program_source:[0-9]+:[0-9]+: error"},
        {"twenty loops that nobody can count in advance",
         busyKernel("float x = o[i];\nint m = int(x);\n" +
                    numbered("for (int j = 0; j < m; ++j) x = x * x + $;\n", 20) + "o[i] = x;"),
         nullptr},
        {"three hundred such loops",
         busyKernel("float x = o[i];\nint m = int(x);\n" +
                    numbered("for (int j = 0; j < m; ++j) x = x * x + $;\n", 300) + "o[i] = x;"),
         nullptr},
        {"three thousand such loops",
         busyKernel("float x = o[i];\nint m = int(x);\n" +
                    numbered("for (int j = 0; j < m; ++j) x = x * x + $;\n", 3'000) + "o[i] = x;"),
         "program_source:[0-9]+:"},
        {"many loops of few turns that are laid out",
         busyKernel("float x = o[i];\n" + numbered("for (int j = 0; j < 30; ++j) x += sin(x + $);\n", 800) +
                    "o[i] = x;"),
         "program_source:[0-9]+:[0-9]+: error"},
        {"eighty loops with the caller's number of turns",
         busyKernel(
             "float x = o[i];\n" + numbered("x += fbm(x, 5);\n", 80) + "o[i] = x;",
             "float fbm(float x, int octaves) { float s = 0; for (int j = 0; j < octaves; ++j) s += fract(x * j); "
             "return s; }\n"),
         nullptr},
        {"an array of a thousand numbers", busyKernel("float a[1000]; a[n] = 1; a[i] = 2; o[i] = a[n * 2];"), nullptr},
        {"two arrays of sixteen thousand numbers",
         busyKernel("float a[16000], b[16000]; a[n] = b[i] = 1; b[n] = a[i] = 2; o[i] = a[n * 2] + b[n];"), "error"},
        {"a big struct that is copied",
         busyKernel("S s = {};\n" + numbered("{ S t = s; t.a[n] = s.a[i]; s = t; }\n", 100) + "o[i] = s.a[n];",
                    "struct S { float a[500]; };\n"),
         "program_source:[0-9]+:[0-9]+: error"},
        {"twenty thousand cases",
         busyKernel("switch (int(o[i])) {\n" + numbered("case $: o[i] = $; break;\n", 10'000) + "}"),
         "program_source:[0-9]+:[0-9]+: error"},
        {"four hundred cases", busyKernel("switch (int(o[i])) {\n" + numbered("case $: o[i] = $; break;\n", 400) + "}"),
         nullptr},
    };
    for (const auto& [what, text, at] : cases) {
        const auto compiled = compile(text);
        if (at == nullptr) {
            EXPECT_TRUE(compiled) << what << "\n" << compiled.error().text;
            continue;
        }
        ASSERT_FALSE(compiled) << what;
        EXPECT_THAT(compiled.error().text, ContainsRegex(at)) << what;
    }
}

// The line is the one at which it becomes too much, inside of the function that has most of it.
TEST(PipelineCost, IsToldInsideTheFunctionThatCosts) {
    const auto compiled = compile(busyKernel("o[i] = dear(o[i]) + cheap(o[i]);",
                                             "float cheap(float x) { return x + 1; }\nfloat dear(float x) {\n" +
                                                 numbered("x = sin(x) + $;\n", 20'000) + "return x; }\n"));
    ASSERT_FALSE(compiled);
    EXPECT_THAT(compiled.error().text, HasSubstr("the program is too large"));
    EXPECT_THAT(compiled.error().text, HasSubstr("\nx = sin(x) + "));
}

} // namespace
} // namespace msl
