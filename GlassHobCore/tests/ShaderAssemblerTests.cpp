#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/ShaderAssembler.h"

#include <gtest/gtest.h>

using namespace glasshob;

namespace {

// File and line that the compiler would report for the first place where a text stands.
std::string reportedPlace(const std::string& source, std::string_view needle) {
    const std::size_t at = source.find(needle);
    if (at == std::string::npos) return "absent";
    std::string file = "program_source";
    int line = 1;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = std::min(source.find('\n', start), source.size());
        if (at < end) return file + ":" + std::to_string(line);
        const std::string text = source.substr(start, end - start);
        if (text.starts_with("#line 1 \"")) {
            file = text.substr(9, text.size() - 10);
            line = 0;
        }
        ++line;
        start = end + 1;
    }
}

bool holds(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(ShaderAssembler, DecidesKindAndFeatures) {
    struct Case {
        std::string source;
        ShaderKind kind;
        ShaderKind reported;
        std::int64_t particles;
        std::int64_t grid;
        bool sound;
        bool fade;
        bool background;
    };
    using enum ShaderKind;
    const std::vector<Case> cases = {
        {"", fragment, fragment, 0, 0, false, false, false},
        {"// @particles 20000\nfloat4 fade(", particles, particles, 20000, 0, false, true, false},
        {"// @grid 64\n  float4  background (", grid, grid, 0, 64, false, false, true},
        {"// @grid 5000", grid, grid, 0, 1024, false, false, false},
        {"// @particles 9000000", particles, particles, 4000000, 0, false, false, false},
        {"// @particles 0", fragment, fragment, 0, 0, false, false, false},
        {"// @grid 8\n// @particles 100", grid, particles, 0, 8, false, false, false},
        {"// @particles 99999999999999999999\n// @particles 7", particles, particles, 7, 0, false, false, false},
        {"// @particles 5\n// @particles 7", particles, particles, 5, 0, false, false, false},
        {"// @particles -5\n// @particles 7 x\n// @particles7\n// @particles \xD9\xA1", fragment, fragment, 0, 0, false,
         false, false},
        {"// @grid 8\nfloat4 fade(\n", grid, grid, 0, 8, false, false, false},
        {"// @particles 8\nfloat4 background(\n", particles, particles, 8, 0, false, false, false},
        {"float2 sound(", fragment, fragment, 0, 0, true, false, false},
        {"\tfloat2\xC2\xA0sound (", fragment, fragment, 0, 0, true, false, false},
        {"int x; float2 sound(\n// float2 sound(\nfloat2 sounds(\nfloat2\nsound(\nfloat2sound(", fragment, fragment, 0,
         0, false, false, false},
        {"float4 fade(\nfloat4 background(", fragment, fragment, 0, 0, false, false, false},
    };
    for (const Case& each : cases) {
        const AssembledShader shader = ShaderAssembler::assemble(each.source);
        EXPECT_EQ(shader.kind(), each.kind) << each.source;
        EXPECT_EQ(ShaderAssembler::kind(each.source), each.reported) << each.source;
        EXPECT_EQ(shader.particles, each.particles) << each.source;
        EXPECT_EQ(shader.grid, each.grid) << each.source;
        EXPECT_EQ(shader.hasSound, each.sound) << each.source;
        EXPECT_EQ(shader.hasFade, each.fade) << each.source;
        EXPECT_EQ(shader.hasBackground, each.background) << each.source;
        EXPECT_EQ(holds(shader.source, "kernel void gh_sound"), each.sound) << each.source;
        EXPECT_EQ(holds(shader.source, "gh_background"), each.background) << each.source;
        EXPECT_EQ(holds(shader.source, "return fade("), each.fade) << each.source;
        EXPECT_EQ(holds(shader.source, "struct Trails"), each.kind == particles) << each.source;
        EXPECT_EQ(holds(shader.source, "gh_grid_vertex"), each.kind == grid) << each.source;
    }
    EXPECT_EQ(ShaderAssembler::gridCells("// @particles 3\n// @grid 5000"), 1024);
    EXPECT_EQ(ShaderAssembler::particleCount("// @grid 3\n// @particles 5000000"), 4000000);
}

TEST(ShaderAssembler, PutsThePiecesTogetherWithTheRightBreaks) {
    const std::string plain = ShaderAssembler::assemble("float4 shade();").source;
    EXPECT_TRUE(plain.starts_with("#include <metal_stdlib>\nusing namespace metal;\n\nstruct Uniforms {\n"));
    EXPECT_TRUE(holds(plain, "struct Params {\n    float unused;\n};\n\nstruct GHVertexOut {\n"));
    EXPECT_TRUE(holds(plain, "    return o;\n}\n\n#line 1 \"shader.metal\"\nfloat4 shade();\n\n#line 1 \"gh_host\"\n"
                             "fragment float4 gh_fragment(GHVertexOut in [[stage_in]],\n"));
    EXPECT_TRUE(plain.ends_with("    return shade(in.uv, u, p);\n}"));

    const std::string text = "// @param a 1 0 2\n// @param b 1 0 2\nfloat2 sound(float t) {}\n";
    const std::string sliders = ShaderAssembler::assemble(text).source;
    EXPECT_TRUE(holds(sliders, "struct Params {\n    float a;\n    float b;\n};\n\n"));
    EXPECT_TRUE(holds(sliders, text + "\n#line 1 \"gh_host\"\n")) << "no second line break behind the user's own";
    EXPECT_TRUE(holds(sliders, "}\n\nstruct SoundUniforms { float start; float rate; uint count; uint pad; };\n"));
    EXPECT_TRUE(sliders.ends_with("-1.0, 1.0);\n}"));

    const std::string dots = ShaderAssembler::assemble("// @particles 5\n").source;
    EXPECT_TRUE(holds(dots, "    return o;\n}\n\nstruct Trails {\n"));
    EXPECT_TRUE(holds(dots, "};\n\n#line 1 \"shader.metal\"\n// @particles 5\n\n#line 1 \"gh_host\"\nkernel void"));
    EXPECT_TRUE(holds(dots, "[[buffer(1)]]) {\n    return float4(0.0);\n}\n\nstruct GHDotOut {\n"));
    EXPECT_TRUE(holds(ShaderAssembler::assemble("// @particles 5\nfloat4 fade(\n").source,
                      "{\n    return fade(in.uv, Trails{previous}, u, p);\n}\n"));

    const std::string mesh = ShaderAssembler::assemble("// @grid 5\nfloat4 background(\n").source;
    EXPECT_TRUE(holds(mesh, "return shade(in, u, p);\n}\n\nfragment float4 gh_background("));
    EXPECT_TRUE(holds(mesh, "return background(in.uv, u, p);\n}\n\nfragment float4 gh_fragment("));
}

TEST(ShaderAssembler, NumbersTheUsersLinesAsTheEditorDoes) {
    for (const char* directive : {"", "// @particles 5", "// @grid 5"}) {
        const std::string source =
            ShaderAssembler::assemble(std::string(directive) + "\n\n\n\n\n\nhere\nfloat2 sound(").source;
        EXPECT_EQ(reportedPlace(source, "here"), "shader.metal:7");
        EXPECT_TRUE(reportedPlace(source, "gh_fragment").starts_with("gh_host:"));
        EXPECT_TRUE(reportedPlace(source, "gh_sound").starts_with("gh_host:"));
        EXPECT_EQ(reportedPlace(source, "struct Uniforms"), "program_source:4");
    }
}

TEST(ShaderAssembler, KeepsTheUsersBytes) {
    const std::string text = "\xEF\xBB\xBF"
                             "a\r\nb\xC2\xA0\rc\xE2\x80\xA8";
    EXPECT_TRUE(holds(ShaderAssembler::assemble(text).source, "#line 1 \"shader.metal\"\n" + text + "\n\n#line 1"));
}

TEST(ShaderTemplate, IsAShaderWithThreeSlidersAndASound) {
    const std::string text = ShaderTemplate::make("Untitled Shader");
    EXPECT_TRUE(text.starts_with("// Untitled Shader\n//\n// @still 4\n//\n"));
    EXPECT_TRUE(text.ends_with("    return float2(v, v);\n}\n"));
    const AssembledShader shader = ShaderAssembler::assemble(text);
    EXPECT_EQ(shader.kind(), ShaderKind::fragment);
    EXPECT_TRUE(shader.hasSound);
    ASSERT_EQ(shader.params.size(), 3u);
    EXPECT_EQ(shader.params[1], (ParamDecl{"bands", 5, 1, 20, "How many bands of colour cross the picture"}));
    EXPECT_EQ(EpisodeMeta::parse(text).still, 4.0);
}

TEST(ShaderKind, ReadsBackItsRawValue) {
    for (const ShaderKind kind : {ShaderKind::fragment, ShaderKind::particles, ShaderKind::grid}) {
        EXPECT_EQ(shaderKind(rawValue(kind)), kind);
    }
    EXPECT_EQ(shaderKind("Grid"), std::nullopt);
}
