// What a person is told about a compile that failed, and the edits that are offered: from the compiler's real messages.
#include "GlassHobCore/code/Explanations.h"
#include "GlassHobCore/code/ForeignCode.h"
#include "GlassHobCore/code/QuickFixes.h"

#include "GlassHobCore/shader/ShaderAssembler.h"
#include "MSL/Compiler.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace glasshob;
using Severity = Diagnostic::Severity;

namespace {

const std::string head = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n";

std::vector<Diagnostic> compile(const std::string& source) {
    const auto compiled = msl::compile(ShaderAssembler::assemble(source).source);
    return compiled ? std::vector<Diagnostic>() : fromCompiler(compiled.error().diagnostics);
}

std::vector<Diagnostic> told(const std::string& source) {
    return explain(compile(source), source);
}

const Diagnostic* find(const std::vector<Diagnostic>& messages, std::string_view part) {
    const auto found = std::ranges::find_if(
        messages, [&](const Diagnostic& message) { return message.message.find(part) != std::string::npos; });
    return found == messages.end() ? nullptr : &*found;
}

std::string applied(std::string source, const msl::FixIt& edit) {
    std::size_t at = 0;
    for (std::uint32_t line = 1; line < edit.line; ++line)
        at = source.find('\n', at) + 1;
    return source.replace(at + edit.column - 1, edit.length, edit.replacement);
}

} // namespace

TEST(Explanations, HostErrorsAreAboutTheAuthorsFunctions) {
    struct Case {
        std::string source;
        std::int64_t line;
        std::string says;
    };
    const Case cases[] = {
        {"float helper(float x) { return x; }\n", 0, "no shade() that can be called: a shader defines float4 shade("},
        {"#if 0\n" + head + "return 1; }\n#endif\n", 0, "no shade() that can be called"},
        {"\n  float3 shade(float2 uv) { return 1; }\n", 2, "shade() is called as float4 shade(float2 uv"},
        {"float3 shade(float2 uv, constant Uniforms& u, constant Params& p) { return 1; }\n", 1, "does not fit"},
        {"// @particles 10\nstruct Particle { float2 at; };\n", 0,
         "this particle shader defines no spawn(), update(), place(), ink() and shade()"},
        {"// @particles 10\n", 0, "struct Particle"},
        {"// @grid 10\nstruct Vertex { float4 position [[position]]; };\n", 0,
         "this grid shader defines no corner() and shade()"},
        {"/*\nfloat2 sound(float t, constant Params& p) */\n" + head + "return 1; }\n", 0, "no sound()"},
        {"// a\n// @param float 1 0 2\n" + head + "return 1; }\n", 2, "word of the language"},
    };
    for (const Case& each : cases) {
        const auto messages = told(each.source);
        const Diagnostic* found = find(messages, each.says);
        ASSERT_TRUE(found) << each.source << toText(messages, "x");
        EXPECT_EQ(found->severity, Severity::error);
        EXPECT_EQ(found->line, each.line) << each.source;
        const std::string text = toText(messages, "x");
        for (const char* hosts : {"gh_", "program_source", "in.uv"})
            EXPECT_EQ(text.find(hosts), std::string::npos) << text;
    }
}

// Wherever the compiler happened to be: also in a line of the host's.
TEST(Explanations, LimitsAreAboutTheWholeText) {
    Diagnostic limit;
    limit.severity = Severity::error;
    limit.message = "this text takes too long to compile";
    limit.excerpt = "    return shade(in.uv, u, p);\n           ^";
    const std::vector<Diagnostic> shown = explain(std::span(&limit, 1), head + "return 0; }");
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0].message, "this text takes too long to compile");
}

TEST(Explanations, WhatTheAuthorWroteStandsAsItIs) {
    const std::string source = "// @param speed 1 0 2\n" + head + "  return float4(p.sped);\n}\n";
    const auto messages = told(source);
    ASSERT_EQ(messages.size(), 1U) << "where the slider's field is declared is nowhere in the text";
    EXPECT_EQ(toText(messages, "a b.metal"), "a b.metal:3:19: error: no member named 'sped' in 'Params'; did you mean "
                                             "'speed'?\n  return float4(p.sped);\n                  ^\n");
    EXPECT_TRUE(explain({}, source).empty());
}

TEST(ForeignCode, IsNamedOnTop) {
    struct Case {
        std::string source;
        std::string says; // empty: it is ours
        std::int64_t line;
    };
    const Case cases[] = {
        {"// a\nvoid mainImage(out vec4 fragColor, in vec2 fragCoord) {\n fragColor = vec4(1);\n}\n", "This is GLSL",
         2},
        {"#version 300 es\nprecision mediump float;\nvoid main() {}\n", "This is GLSL", 1},
        {"vec3 f(vec2 a) { return vec3(a, 0); }\n", "This is GLSL", 1},
        {"#include <metal_stdlib>\nusing namespace metal;\n\nfragment float4 main_f(float4 at [[position]]) { return "
         "1; }\n",
         "This is a whole Metal program: Glass Hob calls shade()", 4},
        {"kernel void work(device float* x [[buffer(0)]]) {}\n", "This is a whole Metal program", 1},
        {head + " vec3 a = vec3(1); vec3 b = vec3(2); return 1; }\n", "", 0},
        {"float helper(float x) { return y; } // vec3 vec3 vec3 mainImage\n", "", 0},
    };
    for (const Case& each : cases) {
        const auto messages = told(each.source);
        ASSERT_FALSE(messages.empty()) << each.source;
        EXPECT_EQ(recogniseForeignCode(each.source).has_value(), !each.says.empty()) << each.source;
        if (each.says.empty()) continue;
        EXPECT_TRUE(messages[0].message.starts_with(each.says)) << toText(messages, "x");
        EXPECT_EQ(messages[0].line, each.line);
        EXPECT_EQ(messages[0].severity, Severity::note);
    }
}

TEST(QuickFixes, OfNamesFromElsewhereMakeTheShaderCompile) {
    struct Case {
        std::string body, title;
    };
    const Case cases[] = {
        {"return float4(iTime);", "Change to 'u.time'"},
        {"return float4(iResolution.x / u_time);", "Change to 'u.resolution'"},
        {"return float4(gl_FragCoord.xyxy);", "Change to '(uv * u.resolution)'"},
        {"return float4(atan(uv.y, uv.x));", "Change to 'atan2'"},
        {"return float4(mod(uv.x, 2.0));", "Define mod(x, y)"},
        {"return vec4(1);", "Change to 'float4'"},
        {"return float4(lenght(uv));", "Change to 'length'"},
        {"return float4(p.glow);", "Add a slider 'glow'"},
        {"return float4(p.sped + p.glow);", "Change to 'speed'"},
        {"return floot4(1.0)", "Insert ';'"},
    };
    for (const Case& each : cases) {
        std::string source = "// Title\n// @param speed 1 0 2\n\n" + head + each.body + "\n}\n";
        std::vector<std::string> titles;
        // One edit after the other, as a person would take them.
        for (int edits = 0; edits < 4 && !compile(source).empty(); ++edits)
            for (const Diagnostic& message : told(source)) {
                const auto fixes = quickFixes(message, source);
                if (fixes.empty()) continue;
                for (const QuickFix& fix : fixes)
                    titles.push_back(fix.title);
                source = applied(source, fixes.back().edit);
                break;
            }
        EXPECT_NE(std::ranges::find(titles, each.title), titles.end()) << each.body << testing::PrintToString(titles);
        EXPECT_TRUE(compile(source).empty()) << source << toText(compile(source), "x");
    }
    const std::string pictures = head + "return texture(iChannel0, uv);\n}\n";
    const auto messages = told(pictures);
    EXPECT_TRUE(find(messages, "no pictures")) << toText(messages, "x");
    EXPECT_TRUE(quickFixes(*find(messages, "'texture'"), pictures).empty()) << "a texture's type is no help";
}

TEST(QuickFixes, SlidersAreDeclaredWhereTheOthersAre) {
    struct Case {
        std::string before, after;
    };
    const std::string line = "// @param glow 0.5 0.0 1.0\n";
    const Case cases[] = {
        {"", line},
        {"// Title\n", "// Title\n" + line},
        {"// Title\n\n", "// Title\n" + line + "\n"},
        {"// Title\n// @param a 1 0 2\n// @param 9\n\n// more\n",
         "// Title\n// @param a 1 0 2\n" + line + "// @param 9\n\n// more\n"},
    };
    for (const Case& each : cases) {
        const std::string code = head + "return float4(p.glow);\n}\n", source = each.before + code;
        const auto messages = told(source);
        ASSERT_EQ(messages.size(), 1U);
        const auto fixes = quickFixes(messages[0], source);
        ASSERT_EQ(fixes.size(), 1U);
        EXPECT_EQ(applied(source, fixes[0].edit), each.after + code);
    }
}
