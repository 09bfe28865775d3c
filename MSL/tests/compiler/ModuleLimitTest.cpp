// What SPIR-V sets as the most that a module may hold. A text just inside is a valid module; one beyond it is told so
// at its line, and never becomes a module that a driver cannot read.
#include "MSL/Compiler.h"
#include "MSL/tests/compiler/Numbered.h"
#include "MSL/tests/compiler/Validated.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace msl {
namespace {

using test::numbered;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string kernel(const std::string& body, const std::string& before = "") {
    return before + "kernel void k(device float* o [[buffer(0)]], constant int& n [[buffer(1)]]) {\n" + body + "\n}\n";
}

std::string nestedStructs(int depth) {
    std::string text = "struct S0 { float x; };\n";
    for (int i = 1; i < depth; ++i)
        text += "struct S" + std::to_string(i) + " { S" + std::to_string(i - 1) + " s; };\n";
    return text + "kernel void k(device S" + std::to_string(depth - 1) + "* o [[buffer(0)]]) { o[0] = o[1]; }\n";
}

struct Limit {
    const char* what;
    std::function<std::string(int)> make;
    int inside;
    int outside;
    const char* message; // how the messages begin
};

TEST(ModuleLimits, AreToldAtTheirLine) {
    const Limit limits[] = {
        {"the name of an entry point",
         [](int n) {
             return "\nkernel void k" + std::string(static_cast<std::size_t>(n), 'a') +
                    "(device float* o [[buffer(0)]]) { o[0] = 1; }";
         },
         30'000, 300'000, "program_source:2:13: error: the name of an entry point has 300001 letters"},
        {"variables outside of functions",
         [](int n) {
             return numbered("kernel void k$(device float* a [[buffer(0)]], device float* b [[buffer(1)]], device "
                             "float* c [[buffer(2)]], device float* d [[buffer(3)]]) { a[0] = b[0] + c[0] + d[0]; }\n",
                             n);
         },
         200, 17'000, "program_source:"},
    };
    for (const Limit& limit : limits) {
        const auto inside = compile(limit.make(limit.inside));
        ASSERT_TRUE(inside) << limit.what << "\n" << inside.error().text;
        EXPECT_EQ(test::problems(inside->spirv), "") << limit.what;
        const auto outside = compile(limit.make(limit.outside));
        ASSERT_FALSE(outside) << limit.what;
        EXPECT_THAT(outside.error().text, StartsWith(limit.message)) << limit.what;
        EXPECT_THAT(outside.error().text, ::testing::Not(HasSubstr("internal"))) << limit.what;
    }
}

// Whatever the text, what comes out with a good answer is valid.
TEST(ModuleLimits, NoTextBecomesAnInvalidModule) {
    const std::pair<const char*, std::string> texts[] = {
        {"cases", kernel("switch (n) {\n" + numbered("case $: o[$] = 1; break;\n", 33'000) + "}")},
        {"cases without code", kernel("switch (n) {\n" + numbered("case $:\n", 40'000) + "o[0] = 1; }")},
        {"long cases", kernel("switch (long(n)) {\n" + numbered("case $:\n", 25'000) + "o[0] = 1; }")},
        {"members", kernel("S s = {}; s.m7 = n; o[0] = s.m7;", "struct S {" + numbered("bool m$;", 66'000) + "};\n")},
        {"members in a buffer", "struct S {" + numbered("float m$;", 70'000) +
                                    "};\nkernel void k(device S* o [[buffer(0)]]) { o[0] = o[1]; }\n"},
        {"elements", kernel("o[0] = a[n];", "constant float a[] = {" + numbered("$,", 66'000) + "};\n")},
        {"a copied array of bool",
         "struct S { bool a[66000]; };\nkernel void k(device S* o [[buffer(0)]]) { o[0] = o[1]; }\n"},
        {"a deep struct", nestedStructs(300)},
        {"a deep array", kernel(
                             "A400 a; o[0] = sizeof(a);", "typedef float A0;\n" +
                                                              [] {
                                                                  std::string text;
                                                                  for (int i = 1; i <= 400; ++i)
                                                                      text += "typedef A" + std::to_string(i - 1) +
                                                                              " A" + std::to_string(i) + "[1];\n";
                                                                  return text;
                                                              }())},
        {"deep control flow",
         kernel(
             [] {
                 std::string text;
                 for (int i = 0; i < 190; ++i)
                     text += "if (n > " + std::to_string(i) + ") {\n";
                 return text + "*f5(o, n) = 1;" + std::string(190, '}');
             }(),
             [] {
                 std::string text = "device float* f0(device float* p, int n) { return p; }\n";
                 for (int i = 1; i < 6; ++i) {
                     text += "device float* f" + std::to_string(i) + "(device float* p, int n) {\n";
                     for (int k = 0; k < 190; ++k)
                         text += "if (n > " + std::to_string(k) + ") {\n";
                     text += "*f" + std::to_string(i - 1) + "(p, n) = 1;" + std::string(190, '}') + "\nreturn p; }\n";
                 }
                 return text;
             }())},
        {"a long name of everything",
         [] {
             const std::string name(300'000, 'a');
             return "struct " + name + " { float " + name + "; };\nkernel void k(device " + name +
                    "* o [[buffer(0)]]) { o[0]." + name + " = 1; }\n";
         }()},
    };
    for (const auto& [what, text] : texts)
        for (const bool names : {false, true}) {
            CompileOptions options;
            options.debugNames = names;
            const auto compiled = compile(text, options);
            if (compiled) {
                EXPECT_EQ(test::problems(compiled->spirv), "") << what;
            } else {
                EXPECT_THAT(compiled.error().text, HasSubstr("error: ")) << what;
                EXPECT_THAT(compiled.error().text, ::testing::Not(HasSubstr("internal"))) << what;
            }
        }
}

// More sliders than SPIR-V's structs have members.
TEST(ModuleLimits, TwentyThousandMembersAreAValidModule) {
    const std::string text = "struct Params {" + numbered("float m$; float3 v$;", 10'000) +
                             "};\nkernel void k(device Params* o [[buffer(0)]], constant Params& p [[buffer(1)]]) {\n" +
                             numbered("o[1].m99$ = p.m98$ + p.v98$.y;\n", 100) + "}\n";
    const auto compiled = compile(text);
    ASSERT_TRUE(compiled) << compiled.error().text;
    EXPECT_EQ(test::problems(compiled->spirv), "");
    EXPECT_EQ(compiled->reflection.structs.at(0).members.size(), 20'000U);
}

} // namespace
} // namespace msl
