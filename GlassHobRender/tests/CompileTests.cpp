// What becomes of a text before a device sees it: texts that get in the way of the host's own, the sentences about what
// is missing, and the notes behind messages.
#include "GlassHobCore/code/Handbook.h"
#include "GlassHobRender/program/ShaderCompiler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace glasshob {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string dots = R"(// @particles 100
struct Particle { float2 at; };
Particle spawn(uint id, constant Params& p) { Particle q; q.at = float2(id); return q; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) { q.at += u.timeDelta; }
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.at, 0.1); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(at, 0.0, 1.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";
const std::string mesh = R"(// @grid 8
struct Vertex { float4 position [[position]]; };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) { return Vertex{float4(grid, 0.0, 1.0)}; }
float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(0.0); }
float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(1.0); }
)";
const std::string plain = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) { return float4(1.0); }\n";
const std::string loud = "float2 sound(float t, constant Params& p) { return float2(t); }\n";

// Why the host cannot use a text; empty when it can.
std::string problemOf(const std::string& source, std::uint64_t largestBuffer = std::uint64_t(1) << 30) {
    const auto compiled = ShaderCompiler::compile(source, {}, largestBuffer);
    return compiled ? std::string() : compiled.error().raw;
}

bool compilesAssembled(const std::string& source) {
    return msl::compile(ShaderAssembler::assemble(source).source).has_value();
}

TEST(ShaderCompiler, NoMacroOfTheAuthorReachesTheHostsOwnFunctions) {
    // Each word of the host's functions as a macro of nonsense at the end of a shader. Where the assembled text
    // compiles, so does all.
    const std::string functions = dotFunctions(ShaderAssembler::assemble(dots).source, true).text;
    std::istringstream text(functions);
    std::vector<std::string> words;
    for (std::string line; std::getline(text, line);)
        if (line.starts_with("#undef ")) words.push_back(line.substr(7));
    for (const char* const word : {"clamp", "abs", "select", "all", "metal", "float4", "guard", "corner", "if"})
        EXPECT_THAT(words, ::testing::Contains(word));
    int compiled = 0;
    for (const std::string& word : words)
        for (const char* const nonsense : {" nowhere +", "(a) ) a (", "(a, b, c) nowhere(a + b + c)"}) {
            const std::string source = dots + "#define " + word + nonsense + "\n";
            if (!compilesAssembled(source)) continue;
            ++compiled;
            for (const std::uint64_t largestBuffer : {1 << 30, 256})
                EXPECT_EQ(problemOf(source, largestBuffer), "") << word << nonsense;
        }
    EXPECT_GT(compiled, 80);
}

TEST(ShaderCompiler, NamesOfTheAuthorDoNotGetInTheWay) {
    const char* const cases[] = {
        "#define clamp(x, a, b) min(max(x, a), b)\n",
        "#define at at2\n",
        "#define GHDotOut Dot\n",
        "#define size extent\n#define id number\n",
        "#define Particle Dot\n",
        "#define Params Sliders\nstruct Sliders { float unused; };\n",
        "#define place(q, u, p) placed(ps, id, u, p)\n"
        "float3 placed(const device Particle* ps, uint id, constant Uniforms& u, constant Params& p)"
        " { return float3(ps[id].at, 1.0); }\n",
        "typedef float4 GHDots; struct gh_dots_Pass {}; float gh_dots_side(float x) { return x; }\n",
        "struct GHQuadOut {}; float gh_dot_size(float x) { return x; } kernel void gh_dot_scan() {}\n",
        "namespace gh_dots_ { struct gh_dots1_Pass {}; }\n",
    };
    for (const std::string source : cases) {
        int compiled = 0;
        for (const std::string& whole : {source + dots, dots + source}) {
            if (!compilesAssembled(whole)) continue;
            ++compiled;
            for (const std::uint64_t largestBuffer : {1 << 30, 256})
                EXPECT_EQ(problemOf(whole, largestBuffer), "") << source;
        }
        EXPECT_GT(compiled, 0) << source;
    }
}

TEST(ShaderCompiler, WhatDrawingCannotFindIsToldWithoutADevice) {
    struct Case {
        std::string source;
        const char* sentence;
    };
    const Case cases[] = {
        {plain + "#define fragment\n", "The host entry points are missing from the compiled library."},
        {plain + "#define gh_fragment other\n", "The host entry points are missing from the compiled library."},
        {plain + loud + "#define kernel\n", "The host's sound entry point is missing from the compiled library."},
        {dots + "#define gh_particle_size other\n",
         "The host's gh_particle_size entry point is missing from the compiled library."},
        {dots + "#define gh_spawn other\n", "The host's gh_spawn entry point is missing from the compiled library."},
        {dots + "#define gh_update other\n", "The host's gh_update entry point is missing from the compiled library."},
        {dots + "#define gh_fade other\n", "The host's gh_fade entry point is missing from the compiled library."},
        {dots + "#define gh_dot_vertex other\n",
         "The host's gh_dot_vertex entry point is missing from the compiled library."},
        {dots + "#define gh_dot_fragment other\n",
         "The host's gh_dot_fragment entry point is missing from the compiled library."},
        {dots + "#define vertex\n", "The host's gh_dot_vertex entry point is missing from the compiled library."},
        {mesh + "#define vertex\n", "The host's gh_grid_vertex entry point is missing from the compiled library."},
        {mesh + "#define gh_grid_fragment other\n",
         "The host's gh_grid_fragment entry point is missing from the compiled library."},
        {mesh + "#define gh_background other\n",
         "The host's gh_background entry point is missing from the compiled library."},
    };
    for (const Case& item : cases) {
        const auto compiled = ShaderCompiler::compile(item.source);
        ASSERT_FALSE(compiled) << item.source;
        EXPECT_THAT(compiled.error().diagnostics, ::testing::IsEmpty()) << item.source;
        EXPECT_EQ(compiled.error().raw, item.sentence) << item.source;
    }
}

TEST(ShaderCompiler, ALimitIsNoMissingFunction) {
    std::string busy = "constexpr int turns(int n) { int s = 0; for (int i = 0; i < n; ++i) s += i; return s; }\n";
    for (int i = 0; i < 2000; ++i)
        busy += "constexpr constant int v" + std::to_string(i) + " = turns(3000);\n";
    for (const std::string& kind : {dots, mesh}) {
        const auto compiled = ShaderCompiler::compile(kind + busy, 1ms);
        ASSERT_FALSE(compiled);
        EXPECT_THAT(compiled.error().raw, HasSubstr("takes too long"));
        EXPECT_THAT(compiled.error().raw, Not(HasSubstr("episode defines")));
    }
}

TEST(ShaderCompiler, AFunctionThatTheCompilerDoesNotSeeIsExplained) {
    struct Case {
        std::string source;
        const char* note; // empty: none
    };
    const std::string heading = "line 3 begins with 'float2 sound(', so the host calls sound(), but no function";
    const Case cases[] = {
        {"\n/*\n" + loud + "*/\n" + plain, heading.c_str()},
        {"\n#if 0\n" + loud + "#endif\n" + plain, heading.c_str()},
        {"\r\n/*\r\n" + loud + "*/\n" + dots, heading.c_str()},
        {mesh + "\n" + "#define background(a, b, c) missing(a, b, c)\n", ""},
        {"#if 0\nfloat4 fade(float2 uv)\n#endif\n" + dots,
         "line 2 begins with 'float4 fade(', so the host calls fade(),"},
        {loud, ""}, // only shade() is missing
        {plain + loud, ""},
    };
    for (const Case& item : cases) {
        const auto compiled = ShaderCompiler::compile(item.source);
        const std::vector<Diagnostic> told = compiled ? std::vector<Diagnostic>() : compiled.error().diagnostics;
        const auto notes = std::ranges::count_if(told, [&](const Diagnostic& entry) {
            return entry.severity == Diagnostic::Severity::note && entry.line == 0 &&
                   entry.message.contains("begins with");
        });
        EXPECT_EQ(notes, *item.note != 0 ? 1 : 0) << item.source;
        if (*item.note == 0) continue;
        EXPECT_THAT(compiled.error().raw, HasSubstr(std::string("\nnote: ") + item.note));
    }
    // The list of functions stays the last word.
    const auto particles = ShaderCompiler::compile("/*\n" + loud + "*/\n" + dots);
    ASSERT_FALSE(particles);
    EXPECT_TRUE(
        particles.error().raw.ends_with("a particle episode defines:\n" + std::string(ShaderAssembler::particleHelp)));
}

// What the handbook shows works, and each kind has its example.
TEST(Handbook, ItsShadersCompile) {
    std::set<std::string> kinds;
    for (const handbook::Page& page : handbook::pages())
        for (const handbook::Example& example : handbook::examples(page)) {
            const std::string text = example.text.toStdString();
            EXPECT_EQ(problemOf(text), "") << page.file.toStdString() << ", " << example.title.toStdString();
            kinds.insert(std::string(rawValue(ShaderAssembler::kind(text))));
        }
    EXPECT_EQ(kinds.size(), 3U);
}

} // namespace
} // namespace glasshob
