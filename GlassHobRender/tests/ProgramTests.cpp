// Compiling: what a program holds, and what its errors say.
#include "GPU/Testing.h"
#include "GlassHobRender/program/ShaderCompiler.h"
#include "GlassHobRender/program/ShaderRun.h"
#include "GlassHobRender/tests/Programs.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string black = picture("float4(0)");

TEST(ShaderProgram, ParameterFloatsFollowTheDeclarations) {
    const auto gpu = device();
    const auto two = program("// @param size 2 0 10\n// @param speed 0.5 0 1\n" + black, gpu);
    EXPECT_THAT(two->parameterFloats({}), ElementsAre(2.0F, 0.5F));
    EXPECT_THAT(two->parameterFloats({{"speed", 0.25F}, {"other", 9.0F}}), ElementsAre(2.0F, 0.25F));
    EXPECT_THAT(program(black, gpu)->parameterFloats({{"size", 3.0F}}), ElementsAre(0.0F));
}

TEST(ShaderProgram, HoldsWhatItsKindNeeds) {
    const auto gpu = device();
    const auto silent = program(black, gpu);
    EXPECT_NE(silent->pipeline(), nullptr);
    EXPECT_EQ(silent->soundPipeline(), nullptr);
    EXPECT_EQ(silent->kind(), ShaderKind::fragment);
    EXPECT_FALSE(ShaderRun::needsRun(*silent));
    EXPECT_EQ(ShaderRun::make(silent, gpu, 16, 16), nullptr);
    EXPECT_EQ(silent->pictureLoadAction(), gpu::LoadAction::dontCare);
    const auto loud = program(black + "float2 sound(float t, constant Params& p) { return float2(t); }\n", gpu);
    EXPECT_NE(loud->soundPipeline(), nullptr);
}

TEST(ShaderProgram, ErrorsLieOnTheUsersLines) {
    const auto gpu = device();
    const ShaderError error = errorOf("// one\n" + picture("float4(nowhere)"), gpu);
    ASSERT_FALSE(error.diagnostics.empty());
    EXPECT_EQ(error.diagnostics[0].severity, Diagnostic::Severity::error);
    EXPECT_EQ(error.diagnostics[0].line, 2);
    EXPECT_EQ(error.diagnostics[0].message, "use of undeclared identifier 'nowhere'");
    EXPECT_EQ(error.description(), error.raw);
    EXPECT_THAT(error.raw, HasSubstr("shader.metal:2:"));

    // A shader without shade(): the host's own line is at fault, which is nobody's line.
    const ShaderError missing = errorOf("// nothing here\n", gpu);
    ASSERT_FALSE(missing.diagnostics.empty());
    EXPECT_EQ(missing.diagnostics[0].line, 0);
    EXPECT_THAT(missing.raw, ::testing::Not(HasSubstr("episode defines")));
}

TEST(ShaderProgram, HostErrorsOfOtherKindsListTheFunctions) {
    struct Case {
        const char* source;
        const char* header;
        std::string_view help;
    };
    const Case cases[] = {
        {"// @particles 100\n", "a particle episode defines:\n", ShaderAssembler::particleHelp},
        {"// @grid 8\n", "a vertex episode defines:\n", ShaderAssembler::gridHelp},
    };
    for (const Case& item : cases) {
        const auto compiled = ShaderCompiler::compile(item.source);
        ASSERT_FALSE(compiled) << item.source;
        const ShaderError& error = compiled.error();
        const std::string hint = item.header + std::string(item.help);
        EXPECT_THAT(error.raw, EndsWith("\nnote: " + hint));
        const auto hints =
            std::ranges::count_if(error.diagnostics, [&](const Diagnostic& entry) { return entry.message == hint; });
        EXPECT_EQ(hints, 1);
        EXPECT_EQ(error.diagnostics.back(), (Diagnostic{Diagnostic::Severity::note, 0, 0, hint}));
    }
}

TEST(ShaderProgram, EveryKindCanBeWarmedUp) {
    const auto gpu = device();
    const std::string dots =
        "// @particles 10\nstruct Particle { float2 at; };\n"
        "Particle spawn(uint id, constant Params& p) { return Particle{float2(0.5)}; }\n"
        "void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}\n"
        "float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.at, 0.1); }\n"
        "float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(1); }\n"
        "float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { return previous.at(uv); "
        "}\n"
        "float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }\n";
    const std::string mesh =
        "// @grid 4\nstruct Vertex { float4 position [[position]]; };\n"
        "Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) { return Vertex{float4(grid, 0, 1)}; }\n"
        "float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(uv, 0, 1); }\n"
        "float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(1); }\n";
    for (const std::string& source : {black, dots, mesh}) {
        const auto made = program(source, gpu);
        ASSERT_NE(made, nullptr);
        const gpu::WarmWork work = made->warmWork();
        EXPECT_EQ(work.draws.back().pipeline, made->pipeline());
        std::atomic<int> result = -1;
        gpu::PipelineWarmer warmer(gpu);
        warmer.warm(work, [&](gpu::WarmResult seen) {
            result = int(seen);
            result.notify_all();
        });
        result.wait(-1);
        EXPECT_EQ(result, int(gpu::WarmResult::ready)) << source;
    }
}

TEST(ShaderProgram, AFailingDriverGivesOneSentenceWithoutMessages) {
    const auto gpu = device();
    for (const char* purpose :
         {"loading a shader library", "creating a render pipeline", "creating a compute pipeline"}) {
        const gpu::testing::InjectedFault fault(purpose);
        const ShaderError error =
            errorOf(black + "float2 sound(float t, constant Params& p) { return float2(t); }\n", gpu);
        EXPECT_TRUE(fault.happened());
        EXPECT_THAT(error.diagnostics, IsEmpty());
        EXPECT_THAT(error.raw, HasSubstr(purpose));
    }
}

} // namespace
} // namespace glasshob
