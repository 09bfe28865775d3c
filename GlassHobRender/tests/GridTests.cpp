// Grid shaders: known pixels with and without a background, edges of four samples, and what hides what.
#include "GPU/Testing.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Simulations.h"

#include <gmock/gmock.h>

#include <cmath>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using Rgb = std::array<int, 3>;

constexpr Rgb behind{9, 7, 8}; // 0.035, 0.027, 0.031
constexpr Rgb white{255, 255, 255};

// A mesh of `cells` squares whose corner() and shade() have these bodies.
std::string meshOf(int cells, const std::string& corner, const std::string& shade = "return float4(1.0);") {
    return "// @grid " + std::to_string(cells) +
           "\n// @param edge 0 0 1\nstruct Vertex { float4 position [[position]]; float2 at; };\n"
           "Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) { Vertex v; v.at = grid; " +
           corner + " return v; }\nfloat4 shade(Vertex v, constant Uniforms& u, constant Params& p) { " + shade +
           " }\n";
}

const std::string halfAndHalf =
    "float4 background(float2 uv, constant Uniforms& u, constant Params& p) { return float4(uv.y > 0.5, 0, 1, 1); }\n";

class Grids : public ::testing::Test {
  protected:
    // Draws 16x8 pixels.
    void draw(const std::string& source, const SliderValues& values = {}, float time = 0) {
        const auto made = program(source, device());
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->kind(), ShaderKind::grid);
        EXPECT_EQ(made->particles(), nullptr);
        ASSERT_NE(made->mesh(), nullptr);
        const auto drawn = StillRenderer::render(made, made->device(), 16, 8, 5, values, time);
        ASSERT_TRUE(drawn);
        image = *drawn;
    }

    // With row 0 at the top.
    Rgb at(std::uint32_t x, std::uint32_t y) const {
        const std::uint8_t* bytes = image.bytes.data() + (std::size_t(y) * image.width + x) * 4;
        return {bytes[2], bytes[1], bytes[0]};
    }

    void expectNear(std::uint32_t x, std::uint32_t y, const Rgb& expected) const {
        const Rgb seen = at(x, y);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_LE(std::abs(seen[i] - expected[i]), 1)
                << "channel " << i << " of " << x << ", " << y << ": " << seen[i] << " instead of " << expected[i];
    }

    StillImage image;
};

TEST_F(Grids, TheMeshLiesOverTheBackgroundOrTheClearColor) {
    // The lower left quarter of the picture.
    const std::string quarter = "v.position = float4(grid - 1.0, 0.5, 1.0);";
    for (const int cells : {1, 2, 7, 100}) {
        SCOPED_TRACE(cells);
        draw(meshOf(cells, quarter));
        for (const auto& [x, y] : {std::pair{0U, 7U}, {7U, 7U}, {0U, 4U}, {7U, 4U}, {3U, 6U}})
            EXPECT_EQ(at(x, y), white) << x << ", " << y;
        for (const auto& [x, y] : {std::pair{8U, 7U}, {0U, 3U}, {8U, 3U}, {15U, 0U}})
            EXPECT_EQ(at(x, y), behind) << x << ", " << y;
    }
    draw(meshOf(3, quarter) + halfAndHalf);
    EXPECT_EQ(at(3, 6), white);
    EXPECT_EQ(at(12, 6), (Rgb{0, 0, 255})) << "the lower half of the background";
    EXPECT_EQ(at(3, 1), (Rgb{255, 0, 255})) << "the upper half of the background";
    // The far plane itself is not drawn, nor is what lies beyond; the near plane is.
    for (const auto& [depth, expected] :
         {std::pair{"1.0", behind}, {"1.5", behind}, {"-0.1", behind}, {"0.0", white}}) {
        draw(meshOf(1, "v.position = float4(grid * 2.0 - 1.0, " + std::string(depth) + ", 1.0);"));
        EXPECT_EQ(at(8, 4), expected) << depth;
    }
}

TEST_F(Grids, ShadeSeesTheInterpolatedVertexAndTheUniforms) {
    draw(meshOf(4, "v.position = float4(grid * 2.0 - 1.0, 0.5, 1.0);",
                "return float4(v.at, v.position.x / 255.0, 1.0);"));
    for (const auto& [x, y] : {std::pair{0U, 0U}, {15U, 7U}, {5U, 2U}})
        expectNear(
            x, y,
            {int(std::lround((x + 0.5) * 255 / 16)), int(std::lround((7.5 - y) * 255 / 8)), int(std::lround(x + 0.5))});
    draw(meshOf(1, "v.position = float4(grid * 2.0 - 1.0, 0.5, 1.0);",
                "return float4(p.edge, u.time, float(u.frame) / 255.0 + u.timeDelta, 1.0);"),
         {{"edge", 0.4F}}, 0.2F);
    expectNear(8, 4, {102, 51, 5});
}

TEST_F(Grids, EdgesAreOfFourSamples) {
    // Everything left of a vertical edge inside column 8. The standard places of the samples are at 1/8, 3/8, 5/8 and
    // 7/8 of a pixel, in each direction.
    const std::string left = "v.position = float4(-1.0 + grid.x * 2.0 * (8.0 + p.edge) / 16.0, grid.y * 2.0 - 1.0, "
                             "0.5, 1.0);";
    const std::string low = "v.position = float4(grid.x * 2.0 - 1.0, -1.0 + grid.y * 2.0 * (3.0 + p.edge) / 8.0, "
                            "0.5, 1.0);";
    for (int covered = 0; covered <= 4; ++covered) {
        const float edge = 0.25F * float(covered);
        Rgb mixed;
        for (std::size_t i = 0; i < 3; ++i)
            mixed[i] = int(std::lround(behind[i] + (255 - behind[i]) * covered / 4.0));
        draw(meshOf(2, left), {{"edge", edge}});
        EXPECT_EQ(at(7, 3), white);
        expectNear(8, 3, mixed);
        EXPECT_EQ(at(9, 3), behind);
        draw(meshOf(2, low), {{"edge", edge}});
        EXPECT_EQ(at(3, 5), white);
        expectNear(3, 4, mixed);
        EXPECT_EQ(at(3, 3), behind);
    }
}

TEST_F(Grids, NearerPartsHideFartherOnesWhateverTheirOrder) {
    // The mesh is folded along its middle, so that its left and right halves lie over one another.
    const std::string folded = "v.position = float4(1.0 - 2.0 * abs(2.0 * grid.x - 1.0), grid.y * 2.0 - 1.0, ";
    const std::string which = "return v.at.x < 0.5 ? float4(1, 0, 0, 1) : float4(0, 1, 0, 1);";
    for (const auto& [depth, color] :
         {std::pair{"0.25 + grid.x * 0.5", Rgb{255, 0, 0}}, {"0.75 - grid.x * 0.5", Rgb{0, 255, 0}}}) {
        draw(meshOf(2, folded + depth + ", 1.0);", which) + halfAndHalf);
        for (const auto& [x, y] : {std::pair{1U, 1U}, {6U, 6U}, {13U, 3U}})
            EXPECT_EQ(at(x, y), color) << depth << " at " << x << ", " << y;
    }
}

TEST_F(Grids, EveryFrameBeginsAnew) {
    const auto made =
        program(meshOf(1, "v.position = float4(grid * 2.0 - 1.0 + u.time, 0.5 - u.time * 0.1, 1.0);"), device());
    ASSERT_NE(made, nullptr);
    const auto run = ShaderRun::make(made, made->device(), 16, 8);
    ASSERT_NE(run, nullptr);
    EXPECT_EQ(run->simulation(), nullptr);
    const auto queue = made->device()->makeCommandQueue();
    EXPECT_TRUE(run->catchUp(**queue, {}, nullptr, 100));
    drawFrame(*run, 0);
    EXPECT_EQ(pictureOf(*run)[0], (Texel{1, 1, 1, 1}));
    drawFrame(*run, 1); // moved up and right by half the picture, and nearer: the old one is gone
    EXPECT_NE(pictureOf(*run)[7 * 16], (Texel{1, 1, 1, 1}));
    drawFrame(*run, 0); // back, and farther than what was there
    EXPECT_EQ(pictureOf(*run)[0], (Texel{1, 1, 1, 1}));
}

TEST_F(Grids, TheLargestMeshIsDrawnWhole) {
    draw(meshOf(5000, "v.position = float4(grid * 2.0 - 1.0, 0.5, 1.0);", "return float4(v.at, 0.0, 1.0);"));
    EXPECT_EQ(program(meshOf(5000, "v.position = float4(0);"), device())->mesh()->cells, 1024);
    for (const auto& [x, y] : {std::pair{0U, 0U}, {15U, 7U}, {15U, 0U}, {8U, 4U}})
        expectNear(x, y, {int(std::lround((x + 0.5) * 255 / 16)), int(std::lround((7.5 - y) * 255 / 8)), 0});
}

TEST_F(Grids, WhatCannotBeMadeIsAbsentOrAnError) {
    const std::string source = meshOf(1, "v.position = float4(0);") + halfAndHalf;
    const auto made = program(source, device());
    for (const std::int64_t side : {std::int64_t(0), std::int64_t(-1), std::int64_t(1) << 33}) {
        EXPECT_EQ(ShaderRun::make(made, made->device(), side, 4), nullptr) << side;
        EXPECT_EQ(ShaderRun::make(made, made->device(), 4, side), nullptr) << side;
    }
    for (const unsigned skipped : {0U, 1U, 2U}) {
        const gpu::testing::InjectedFault fault("creating a texture", gpu::ErrorKind::outOfMemory, skipped);
        EXPECT_EQ(ShaderRun::make(made, made->device(), 4, 4), nullptr) << skipped;
        EXPECT_TRUE(fault.happened());
    }
    const gpu::testing::InjectedFault fault("making a depth test");
    const ShaderError error = errorOf(source, device());
    EXPECT_THAT(error.diagnostics, ::testing::IsEmpty());
    EXPECT_EQ(error.raw, "Could not make the depth test.");
}

} // namespace
} // namespace glasshob
