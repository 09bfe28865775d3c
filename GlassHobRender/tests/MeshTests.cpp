// Grids at known pixels, and what every kind of run shares.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/ShaderRun.h"
#include "GlassHobRender/StillRenderer.h"
#include "GlassHobRender/tests/Programs.h"

#include <gmock/gmock.h>

#include <array>

namespace glasshob {
namespace {

using namespace glasshob::testing;

// A flat sheet from the bottom left corner to p.right, p.top of the picture, coloured by where on the grid it is.
std::string sheet(int cells, const std::string& depth = "0.5") {
    return "// @grid " + std::to_string(cells) + R"(
// @param right 1 0 2
// @param top 1 0 2
struct Vertex { float4 position [[position]]; float2 grid; };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    Vertex v;
    v.grid = grid;
    v.position = float4(grid * float2(p.right, p.top) * 2.0 - 1.0, )" +
           depth + R"(, 1.0);
    return v;
}
float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(v.grid, 1.0, 1.0); }
)";
}
const std::string green =
    "float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(0.0, 0.6, uv.y, 1.0); }\n";

std::array<int, 3> pixel(const StillImage& image, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* bytes = image.bytes.data() + (std::size_t(y) * image.width + x) * 4;
    return {bytes[2], bytes[1], bytes[0]};
}

StillImage still(const std::string& source, const SliderValues& values = {}, std::uint32_t width = 40,
                 std::uint32_t height = 20) {
    const auto gpu = device();
    const auto made = program(source, gpu);
    const auto image = made != nullptr ? StillRenderer::render(made, gpu, width, height, 0, values, 0) : std::nullopt;
    EXPECT_TRUE(image);
    return image.value_or(StillImage{width, height, std::vector<std::uint8_t>(std::size_t(width) * height * 4)});
}

TEST(Mesh, CoversWhatItsCornersSpan) {
    for (const int cells : {1, 3, 100}) {
        const StillImage image = still(sheet(cells));
        for (const auto& [x, y] : {std::pair{0U, 0U}, {39U, 0U}, {0U, 19U}, {20U, 10U}, {39U, 19U}}) {
            const auto got = pixel(image, x, y);
            EXPECT_NEAR(got[0], (float(x) + 0.5F) / 40 * 255, 1.01) << cells << ": " << x << ", " << y;
            EXPECT_NEAR(got[1], (19.5F - float(y)) / 20 * 255, 1.01) << cells << ": " << x << ", " << y;
            EXPECT_EQ(got[2], 255);
        }
    }
}

TEST(Mesh, WhatLiesBehindIsTheBackgroundOrTheClearColour) {
    const SliderValues half = {{"right", 0.5F}};
    const StillImage bare = still(sheet(4), half);
    EXPECT_EQ(pixel(bare, 30, 5), (std::array{9, 7, 8})); // 0.035, 0.027, 0.031
    EXPECT_EQ(pixel(bare, 10, 5)[2], 255);
    const StillImage behind = still(sheet(4) + green, half);
    EXPECT_EQ(pixel(behind, 30, 5)[0], 0);
    EXPECT_EQ(pixel(behind, 30, 5)[1], 153);
    EXPECT_NEAR(pixel(behind, 30, 5)[2], 14.5 / 20 * 255, 1.01);
    EXPECT_EQ(pixel(behind, 10, 5)[2], 255);
}

// The sheet ends in the middle of a column of pixels: half of the four samples are its own.
TEST(Mesh, EdgesAreSmooth) {
    const StillImage image = still(sheet(2) + green, {{"right", 10.5F / 40}, {"top", 1.0F}});
    const auto inside = pixel(image, 9, 10);
    const auto edge = pixel(image, 10, 10);
    const auto outside = pixel(image, 11, 10);
    EXPECT_GT(inside[0], 220);
    EXPECT_EQ(outside[0], 0);
    EXPECT_NEAR(edge[0], 128, 6);
    EXPECT_NEAR(edge[1], (inside[1] + outside[1]) / 2, 3);
}

// Two halves of the sheet lie over each other: the nearer one is seen, whichever comes first.
TEST(Mesh, TheNearerSideIsSeen) {
    const std::string folded = R"(// @grid 2
// @param flip 0 0 1
struct Vertex { float4 position [[position]]; float3 tint; };
Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {
    Vertex v;
    float z = p.flip > 0.5 ? 1.0 - grid.x : grid.x;
    v.position = float4(grid.x < 0.25 || grid.x > 0.75 ? -1.0 : 1.0, grid.y * 2.0 - 1.0, 0.1 + 0.8 * z, 1.0);
    v.tint = float3(grid.x, 0.0, 1.0 - grid.x);
    return v;
}
float4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(v.tint, 1.0); }
)";
    const auto first = pixel(still(folded), 3, 10);
    const auto last = pixel(still(folded, {{"flip", 1.0F}}), 3, 10);
    EXPECT_LT(first[0], 60);
    EXPECT_GT(first[2], 200);
    EXPECT_GT(last[0], 200);
    EXPECT_LT(last[2], 60);
}

TEST(ShaderRun, BelongsToItsProgram) {
    const auto gpu = device();
    const auto one = program(sheet(2), gpu);
    const auto two = program(sheet(2), gpu);
    ASSERT_TRUE(ShaderRun::needsRun(*one));
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-2, 4}})
        EXPECT_EQ(ShaderRun::make(one, gpu, width, height), nullptr);
    const auto run = ShaderRun::make(one, gpu, 8, 8);
    ASSERT_NE(run, nullptr);
    EXPECT_EQ(run->program(), one);
    EXPECT_EQ(run->simulation(), nullptr);

    // Drawn with the other program, or without a run, the picture pass leaves the target as it is.
    const auto queue = gpu->makeCommandQueue();
    GHUniforms uniforms;
    uniforms.resolution[0] = uniforms.resolution[1] = 8;
    const auto draw = [&](const ShaderProgram& with, const ShaderRun* given) {
        const auto target = gpu->makeTexture({.width = 8,
                                              .height = 8,
                                              .storage = gpu::StorageMode::shared,
                                              .usage = {.shaderRead = false, .renderTarget = true}});
        const auto commands = (*queue)->commandBuffer();
        run->encode(uniforms, *commands, {});
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0] = {
            .texture = *target, .loadAction = gpu::LoadAction::clear, .clearColor = {1, 0, 0, 1}};
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        with.encodePicture(*encoder, uniforms, {}, given);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        std::array<std::uint8_t, 4> bgra{};
        (*target)->getBytes(bgra.data(), 4, {0, 7, 1, 1});
        return bgra;
    };
    constexpr std::array<std::uint8_t, 4> untouched = {0, 0, 255, 255};
    EXPECT_NE(draw(*one, run.get()), untouched);
    EXPECT_EQ(draw(*two, run.get()), untouched);
    EXPECT_EQ(draw(*one, nullptr), untouched);
}

} // namespace
} // namespace glasshob
