// Dots: which pixels each covers, and what its ink is told there, against the square that it stands for.
#include "GPU/Testing.h"
#include "GlassHobRender/tests/Simulations.h"

#include <cmath>
#include <limits>

namespace glasshob {
namespace {

using namespace glasshob::testing;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

const std::string oneDot = R"(// @particles 1
// @param x 0 0 1
// @param y 0 0 1
// @param size 0 0 1
struct Particle { float unused; };
Particle spawn(uint id, constant Params& p) { Particle q; q.unused = 0.0; return q; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}
float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    return float3(p.x / u.resolution.x, p.y / u.resolution.y, p.size / u.resolution.y);
}
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(1.0, at, 0.5); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";

// The dot at (x, y) pixels from the bottom left, drawn on a picture.
class Dots : public ::testing::Test {
  protected:
    void SetUp() override { made = program(oneDot, device()); }

    std::vector<Texel> draw(std::int64_t width, std::int64_t height, float x, float y, float size) {
        if (run == nullptr || run->width() != width || run->height() != height)
            run = ShaderRun::make(made, made->device(), width, height);
        EXPECT_NE(run, nullptr);
        if (run == nullptr) return {};
        drawFrame(*run, 1.0F / 60.0F, {{"x", x}, {"y", y}, {"size", size}});
        drawFrame(*run, 0.0F, {{"x", x}, {"y", y}, {"size", size}}); // from the spawn, over a picture that has a dot
        return pictureOf(*run);
    }

    // Compares every pixel with the square of that side.
    void check(std::int64_t width, std::int64_t height, float x, float y, float size) {
        SCOPED_TRACE(::testing::Message() << width << "x" << height << " dot " << size << " at " << x << ", " << y);
        const std::vector<Texel> texels = draw(width, height, x, y, size);
        ASSERT_EQ(texels.size(), std::size_t(width * height));
        const double side = std::min(double(size), 511.0);
        const double tolerance = 0.001 + 0.02 / side;
        int wrong = 0;
        for (std::int64_t row = 0; row < height; ++row)
            for (std::int64_t column = 0; column < width; ++column) {
                const Texel& texel = texels[std::size_t(row * width + column)];
                const double right = double(column) + 0.5 - double(x);
                const double up = double(height - row) - 0.5 - double(y);
                const bool isCovered = std::abs(right) < side / 2 && std::abs(up) < side / 2;
                const Texel expected =
                    isCovered ? Texel{1, float(2 * right / side), float(2 * up / side), 0.5F} : Texel{};
                const bool isRight = texel[0] == expected[0] && texel[3] == expected[3] &&
                                     std::abs(double(texel[1]) - double(expected[1])) < tolerance &&
                                     std::abs(double(texel[2]) - double(expected[2])) < tolerance;
                if (!isRight && ++wrong <= 3)
                    ADD_FAILURE() << "column " << column << ", row " << row << ": " << texel[0] << " at " << texel[1]
                                  << ", " << texel[2] << " instead of " << expected[0] << " at " << expected[1] << ", "
                                  << expected[2];
            }
        EXPECT_EQ(wrong, 0);
    }

    std::shared_ptr<const ShaderProgram> made;
    std::unique_ptr<ShaderRun> run;
};

TEST_F(Dots, CoverTheirSquareAtAndOverEveryBorder) {
    struct Case {
        std::int64_t width;
        std::int64_t height;
        std::vector<float> sizes;
    };
    const Case cases[] = {
        {40, 30, {1, 2, 10}},
        {530, 520, {255, 256, 400, 511, 900}},
        {1, 1, {1, 511}},
        {700, 3, {10, 400}}, // lower than it is wide, so that the two sides need different room around the picture
    };
    for (const Case& item : cases)
        for (const float size : item.sizes) {
            const float half = std::min(size, 511.0F) / 2;
            const auto w = float(item.width), h = float(item.height);
            // In the middle, over each border with the centre within and without, just in touch, and just out of it.
            const float xs[] = {w / 2 + 0.3F, 0.3F, w - 0.2F, -half + 0.8F, w + half - 0.8F, -half - 0.3F};
            for (const float x : xs)
                check(item.width, item.height, x, h / 2 + 0.3F, size);
            const float ys[] = {0.3F, h - 0.2F, -half + 0.8F, h + half - 0.8F, h + half + 0.3F};
            for (const float y : ys)
                check(item.width, item.height, w / 2 + 0.3F, y, size);
            check(item.width, item.height, -half + 0.8F, h + half - 0.8F, size);
        }
}

TEST_F(Dots, OfNoSizeOrPlaceDrawNothing) {
    const std::array<float, 3> cases[] = {{8, 8, 0},      {8, 8, -0.0F},   {8, 8, -5},     {8, 8, nan},
                                          {8, 8, -inf},   {nan, 8, 4},     {8, nan, 4},    {inf, 8, 511},
                                          {8, -inf, 511}, {1e30F, 8, 511}, {nan, nan, nan}};
    for (const auto& [x, y, size] : cases)
        for (const Texel& texel : draw(16, 16, x, y, size))
            ASSERT_EQ(texel, Texel{}) << x << ", " << y << " of size " << size;
}

TEST_F(Dots, LessThanAPixelIsOnePixelAndEndlessIsTheLargest) {
    const std::vector<Texel> small = draw(16, 16, 5.3F, 4.6F, 0.01F);
    for (std::size_t i = 0; i < small.size(); ++i)
        EXPECT_EQ(small[i][0], i == 11 * 16 + 5 ? 1.0F : 0.0F) << i;
    check(16, 16, -247.0F, 8.3F, inf);
}

TEST_F(Dots, ReachThePicturesOfTheLargestSizes) {
    // Little or no room is left between these and the largest viewport.
    const auto most = std::int64_t(device()->maxTextureSize());
    for (const std::int64_t width : {most / 2 + 1, most - 600, most})
        for (const float size : {1.0F, 10.0F, 300.0F}) {
            check(width, 2, float(width) + size / 2 - 0.7F, 1.3F, size);
            check(width, 2, float(width / 2) + 0.3F, 1.3F, size);
        }
}

TEST_F(Dots, AreSquaresWhereTheViewportHasNoRoomForPoints) {
    // A device that draws every point, and whose viewport is hardly larger than its pictures.
    const auto separate = gpu::Device::makeSeparate();
    ASSERT_TRUE(separate) << separate.error().text;
    gpu::testing::setLimits(**separate, {.viewportSize = 712, .largestPoint = 511.0F});
    made = program(oneDot, *separate);
    EXPECT_FALSE(made->particles()->squares) << "pictures of the usual sizes need none";
    for (const auto& [width, height] : {std::pair{199, 20}, {200, 20}, {20, 200}, {712, 3}}) {
        const auto w = float(width), h = float(height);
        for (const float size : {1.0F, 2.0F, 40.0F, 200.0F}) {
            check(width, height, w / 2 + 0.3F, h / 2 + 0.3F, size);
            check(width, height, -size / 2 + 0.8F, h / 2 + 0.3F, size);
            check(width, height, w + size / 2 - 0.8F, h + size / 2 - 0.8F, size);
        }
    }
}

TEST_F(Dots, BothWaysOfDrawingAddToOnePicture) {
    // Eight dots of every kind of size over one another: the sum counts them.
    const auto many = program(R"(// @particles 8
struct Particle { float size; };
Particle spawn(uint id, constant Params& p) { Particle q; q.size = float(id) * 70.0 - 60.0; return q; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) { q.size = id == 2 ? 511.0 : 0.0; }
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5, 0.5, q.size / u.resolution.y); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(1.0, 0.0, 0.0, 2.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)",
                              device());
    ASSERT_NE(many, nullptr);
    const auto all = ShaderRun::make(many, many->device(), 640, 640);
    drawFrame(*all, 0);
    const std::vector<Texel> texels = pictureOf(*all);
    for (const int column : {319, 312, 300, 260, 230, 190, 150, 110, 80}) {
        int expected = 0; // sizes 10, 80, 150 ... 430
        for (int id = 1; id < 8; ++id)
            if (std::abs(double(column) + 0.5 - 320) < (id * 70 - 60) / 2.0) ++expected;
        EXPECT_EQ(texels[std::size_t(320 * 640 + column)], (Texel{float(expected), 0, 0, float(2 * expected)}))
            << column;
    }
    // One large dot is left, then none: what the step before had found is forgotten.
    drawFrame(*all, 1.0F / 60.0F);
    EXPECT_EQ(pictureOf(*all)[320 * 640 + 80], (Texel{1, 0, 0, 2}));
}

TEST_F(Dots, AddUpAndFade) {
    // Two dots on one place, then one of them elsewhere.
    const std::string pair = R"(// @particles 2
// @param x 0 0 1
struct Particle { uint id; };
Particle spawn(uint id, constant Params& p) { return Particle{id}; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}
float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    return float3(q.id == 0 ? p.x : 0.25, 0.5, 6.0 / u.resolution.y);
}
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(0, 0, 0, q.id * 99 + 1); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";
    const std::string fade = "float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { "
                             "return previous.at(uv) * 0.5; }\n";
    for (const bool fades : {false, true}) {
        const auto two = program(fades ? pair + fade : pair, device());
        ASSERT_NE(two, nullptr);
        const auto both = ShaderRun::make(two, two->device(), 40, 30);
        drawFrame(*both, 0, {{"x", 0.25F}});
        EXPECT_EQ(pictureOf(*both)[15 * 40 + 10][3], 101);
        EXPECT_EQ(pictureOf(*both)[15 * 40 + 30][3], 0);
        drawFrame(*both, 1.0F / 60.0F, {{"x", 0.75F}});
        EXPECT_EQ(pictureOf(*both)[15 * 40 + 10][3], fades ? 150.5F : 100.0F);
        EXPECT_EQ(pictureOf(*both)[15 * 40 + 30][3], 1);
    }
}

} // namespace
} // namespace glasshob
