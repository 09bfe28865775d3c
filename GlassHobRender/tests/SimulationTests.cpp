// Particles: their states against a calculation on the CPU, the steps that a frame takes, and the pixels that dots of
// every size cover.
#include "GPU/CommandBuffer.h"
#include "GPU/CommandQueue.h"
#include "GPU/Encoders.h"
#include "GlassHobRender/ShaderRun.h"
#include "GlassHobRender/StillRenderer.h"
#include "GlassHobRender/tests/Pixels.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using ::testing::HasSubstr;

// Whole numbers and powers of two only, so that both sides agree to the bit.
const std::string walkers = R"(// @particles 300
// @param push 3 0 10
struct Particle { uint seed; float2 at; packed_float3 speed; short turns; bool odd; };
uint next(uint s) { return s * 1664525u + 1013904223u; }
Particle spawn(uint id, constant Params& p) {
    Particle q;
    q.seed = next(id * 7u + 1u);
    q.at = float2(id % 16u, id / 16u);
    q.speed = float3(int(q.seed >> 29) - 4, 1, p.push);
    q.turns = short(id);
    q.odd = (id & 1u) != 0u;
    return q;
}
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.seed = next(q.seed + u.frame);
    q.at += float2(q.speed.x, q.odd ? 0.5 : -0.25);
    if (q.at.x > 64.0 || q.at.x < -64.0) { q.speed.x = -q.speed.x; q.turns += 1; }
    q.speed.y = float(q.seed >> 28);
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    return float3((q.at + 64.0) / 128.0, 3.0 / u.resolution.y);
}
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(0.125, 0.25, 0.5, 1.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";
const std::string fading = "float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { return "
                           "previous.at(uv) * 0.5; }\n";

struct Walker {
    std::uint32_t seed;
    std::uint32_t gap;
    float at[2];
    float speed[3];
    std::int16_t turns;
    bool odd;
    std::uint8_t end;
};
static_assert(sizeof(Walker) == 32);

std::uint32_t next(std::uint32_t s) {
    return s * 1664525U + 1013904223U;
}

std::vector<Walker> walk(std::uint32_t count, std::int64_t steps, float push) {
    std::vector<Walker> result(count);
    for (std::uint32_t id = 0; id < count; ++id) {
        Walker& q = result[id];
        q = {};
        q.seed = next(id * 7U + 1U);
        q.at[0] = float(id % 16U);
        q.at[1] = float(id / 16U);
        q.speed[0] = float(int(q.seed >> 29) - 4);
        q.speed[1] = 1;
        q.speed[2] = push;
        q.turns = std::int16_t(id);
        q.odd = (id & 1U) != 0;
        for (std::int64_t step = 1; step <= steps; ++step) {
            q.seed = next(q.seed + std::uint32_t(step));
            q.at[0] += q.speed[0];
            q.at[1] += q.odd ? 0.5F : -0.25F;
            if (q.at[0] > 64 || q.at[0] < -64) {
                q.speed[0] = -q.speed[0];
                q.turns += 1;
            }
            q.speed[1] = float(q.seed >> 28);
        }
    }
    return result;
}

// Records up to `target` and waits.
void runTo(ParticleSimulation& simulation, std::int64_t target, const SliderValues& values = {},
           const float* mouse = nullptr, std::int64_t maxSteps = ParticleSimulation::noStepLimit) {
    const auto queue = device()->makeCommandQueue();
    const auto commands = (*queue)->commandBuffer();
    simulation.encode(target, *commands, values, mouse, maxSteps);
    commands->commit();
    commands->waitUntilCompleted();
    ASSERT_EQ(commands->status(), gpu::CommandBufferStatus::completed);
}

TEST(ParticleSimulation, StatesAreThoseOfTheCpu) {
    const auto gpu = device();
    const auto made = program(walkers, gpu);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->particles()->count, 300);
    EXPECT_EQ(made->particles()->stride, std::int64_t(sizeof(Walker)));
    const auto simulation = ParticleSimulation::make(made, *gpu, 40, 30);
    ASSERT_NE(simulation, nullptr);
    for (const std::int64_t step : {0, 1, 7, 100}) {
        runTo(*simulation, step, {{"push", 5.0F}});
        EXPECT_EQ(simulation->step(), step);
        const auto words = wordsOf(simulation->particles());
        const auto expected = walk(300, step, 5.0F);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            Walker got{};
            std::memcpy(&got, words.data() + i * 8, sizeof got);
            ASSERT_EQ(got.seed, expected[i].seed) << "particle " << i << ", step " << step;
            ASSERT_EQ(got.at[0], expected[i].at[0]) << "particle " << i << ", step " << step;
            ASSERT_EQ(got.at[1], expected[i].at[1]) << "particle " << i << ", step " << step;
            ASSERT_EQ(got.speed[1], expected[i].speed[1]) << "particle " << i << ", step " << step;
            ASSERT_EQ(got.speed[2], 5.0F);
            ASSERT_EQ(got.turns, expected[i].turns) << "particle " << i << ", step " << step;
            ASSERT_EQ(got.odd, expected[i].odd);
        }
    }
}

TEST(ParticleSimulation, StepsFollowTheTime) {
    EXPECT_EQ(ParticleSimulation::stepIndex(0), 0);
    EXPECT_EQ(ParticleSimulation::stepIndex(-3), 0);
    EXPECT_EQ(ParticleSimulation::stepIndex(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(ParticleSimulation::stepIndex(10), 600);
    EXPECT_EQ(ParticleSimulation::stepIndex(0.5 / 60), 1); // half away from zero
    EXPECT_EQ(ParticleSimulation::stepIndex(0.49 / 60), 0);

    const auto gpu = device();
    const auto made = program(walkers, gpu);
    const auto simulation = ParticleSimulation::make(made, *gpu, 8, 8);
    EXPECT_EQ(simulation->step(), -1);
    runTo(*simulation, 10, {}, nullptr, 4);
    EXPECT_EQ(simulation->step(), 3);
    runTo(*simulation, 10, {}, nullptr, 4);
    EXPECT_EQ(simulation->step(), 7);
    runTo(*simulation, 5); // time went back: from the spawn
    EXPECT_EQ(simulation->step(), 5);
    runTo(*simulation, 3, {}, nullptr, 2);
    EXPECT_EQ(simulation->step(), 1);
    simulation->reset();
    EXPECT_EQ(simulation->step(), -1);
    for (const auto& [width, height] : {std::pair{0, 8}, {8, 0}, {-1, 8}, {1 << 20, 8}})
        EXPECT_EQ(ParticleSimulation::make(made, *gpu, width, height), nullptr);
}

// However the steps are cut into pieces, and after going back, the same bits come out.
TEST(ParticleSimulation, AReplayIsARunFromTheStart) {
    const auto gpu = device();
    const auto made = program(walkers + fading, gpu);
    const auto queue = gpu->makeCommandQueue();
    const auto whole = ParticleSimulation::make(made, *gpu, 64, 48);
    ASSERT_TRUE(whole->advance(90, **queue, {}, nullptr));
    const auto pieces = ParticleSimulation::make(made, *gpu, 64, 48);
    runTo(*pieces, 50);
    runTo(*pieces, 20);
    for (std::int64_t step = 21; step <= 90; step += 3)
        runTo(*pieces, std::min<std::int64_t>(step, 90));
    runTo(*pieces, 90);
    const auto state = [](const ParticleSimulation& of) {
        std::vector<std::uint32_t> words = wordsOf(of.particles());
        for (std::size_t i = 0; i < words.size(); i += 8) { // without the padding, which nobody writes
            words[i + 1] = 0;
            words[i + 7] &= 0x00FFFFFFU;
        }
        return words;
    };
    EXPECT_EQ(state(*whole), state(*pieces));
    EXPECT_EQ(colorsOf(whole->picture()), colorsOf(pieces->picture()));

    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(pieces->advance(1000, **queue, {}, nullptr, stop.get_token()));
    EXPECT_EQ(pieces->step(), 90);
}

TEST(ParticleSimulation, StepsSeeTheirOwnUniforms) {
    const auto gpu = device();
    const auto made = program(R"(// @particles 1
struct Particle { float4 seen; };
Particle spawn(uint id, constant Params& p) { return Particle{float4(0)}; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.seen = float4(u.time, u.timeDelta, u.mouse);
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5, 0.5, 100.0); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(u.resolution, u.frame, 1); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)",
                              gpu);
    const auto simulation = ParticleSimulation::make(made, *gpu, 20, 10);
    const auto seen = [&] {
        Color color{};
        const auto words = wordsOf(simulation->particles());
        std::memcpy(color.data(), words.data(), sizeof color);
        return color;
    };
    runTo(*simulation, 30);
    EXPECT_EQ(seen(), (Color{30.0F / 60.0F, 1.0F / 60.0F, 10, 5}));
    EXPECT_EQ(colorsOf(simulation->picture())[0], (Color{20, 10, 30, 1}));
    const float mouse[] = {3, 4};
    runTo(*simulation, 31, {}, mouse);
    EXPECT_EQ(seen(), (Color{31.0F / 60.0F, 1.0F / 60.0F, 3, 4}));
}

// ------------------------------------------------------------------------------------------------------------- dots

const std::string dot = R"(// @particles 2
// @param x 0 0 1
// @param y 0 0 1
// @param size 0 0 1
// @param nan 0 0 1
struct Particle { uint id; };
Particle spawn(uint id, constant Params& p) { return Particle{id}; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}
float3 place(Particle q, constant Uniforms& u, constant Params& p) {
    if (q.id == 1) return float3(0.5, 0.5, 0.0); // one that draws nothing
    return float3(float2(p.x, p.y) / u.resolution, p.nan > 0.5 ? as_type<float>(0x7fc00000u) : p.size / u.resolution.y);
}
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(at, 1, q.id == 0 ? 1 : 100); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";

// A dot is a square of its size around its place, wherever that lies: every pixel whose centre lies inside is inked
// once, with the right place in the dot, and no other.
TEST(Dots, CoverTheirSquare) {
    const auto gpu = device();
    const auto made = program(dot, gpu);
    struct Case {
        float x, y, size; // pixels; y from the bottom
    };
    std::vector<Case> cases = {{20.25F, 14.25F, 0},   {20.25F, 14.25F, -5},  {20.25F, 14.25F, 0.25F},
                               {20.25F, 14.25F, 1},   {20.25F, 14.25F, 10},  {20.25F, 14.25F, 255},
                               {20.25F, 14.25F, 256}, {20.25F, 14.25F, 511}, {20.25F, 14.25F, 900}};
    for (const float size : {3.0F, 40.0F, 254.0F, 300.0F, 511.0F}) {
        const float reach = size / 2 - 1.75F; // still covers a pixel from outside
        cases.push_back({-reach, 14.25F, size});
        cases.push_back({40 + reach, 14.25F, size});
        cases.push_back({20.25F, -reach, size});
        cases.push_back({20.25F, 30 + reach, size});
        cases.push_back({-reach, 30 + reach, size});
        cases.push_back({-size / 2 - 1, 14.25F, size}); // beside the picture
        cases.push_back({20.25F, 30 + size / 2 + 1, size});
    }
    for (const auto& [width, height] : {std::pair{40, 30}, {700, 600}}) {
        const auto simulation = ParticleSimulation::make(made, *gpu, width, height);
        ASSERT_NE(simulation, nullptr);
        for (const Case& item : cases) {
            if (width != 40 && item.x > 40 && item.size < 200) continue;
            simulation->reset();
            runTo(*simulation, 0, {{"x", item.x}, {"y", item.y}, {"size", item.size}});
            const std::vector<Color> colors = colorsOf(simulation->picture());
            const float size = item.size > 0 ? std::clamp(item.size, 1.0F, 511.0F) : 0;
            for (int row = 0; row < height; ++row) {
                for (int column = 0; column < width; ++column) {
                    const float dx = float(column) + 0.5F - item.x;
                    const float dy = float(height - 1 - row) + 0.5F - item.y;
                    const bool isInside = std::abs(dx) < size / 2 && std::abs(dy) < size / 2;
                    const Color& got = colors[std::size_t(row) * std::size_t(width) + std::size_t(column)];
                    ASSERT_EQ(got[3], isInside ? 1 : 0)
                        << item.x << ", " << item.y << ", size " << item.size << ": pixel " << column << ", " << row
                        << " of " << width << "x" << height;
                    if (!isInside) continue;
                    ASSERT_NEAR(got[0], dx / (size / 2), 0.01) << item.size << ": " << column << ", " << row;
                    ASSERT_NEAR(got[1], dy / (size / 2), 0.01) << item.size << ": " << column << ", " << row;
                }
            }
        }
        simulation->reset();
        runTo(*simulation, 0, {{"x", 20.0F}, {"y", 10.0F}, {"nan", 1.0F}});
        for (const Color& color : colorsOf(simulation->picture()))
            ASSERT_EQ(color, (Color{}));
    }
}

TEST(Dots, AddUpAndFade) {
    const auto gpu = device();
    std::string both = dot;
    both.replace(both.find("float3(0.5, 0.5, 0.0); // one"), 29, "float3(0.25, 0.5, p.size / u.resolution.y); //");
    const SliderValues values = {{"x", 10.0F}, {"y", 15.0F}, {"size", 6.0F}};
    const auto plain = program(both, gpu);
    const auto faded = program(both + fading, gpu);
    for (const auto& made : {plain, faded}) {
        ASSERT_NE(made, nullptr);
        const auto simulation = ParticleSimulation::make(made, *gpu, 40, 30);
        runTo(*simulation, 0, values);
        const auto alpha = [&](int column, int row) {
            return colorsOf(simulation->picture())[std::size_t(row * 40 + column)][3];
        };
        EXPECT_EQ(alpha(10, 15), 101); // both particles stand there
        EXPECT_EQ(alpha(30, 15), 0);
        // One moves away: with fade() half of the old picture stays where it was.
        SliderValues moved = values;
        moved["x"] = 30.0F;
        runTo(*simulation, 1, moved);
        EXPECT_EQ(alpha(30, 15), 1);
        EXPECT_EQ(alpha(10, 15), made == faded ? 150.5 : 100);
    }
}

// ------------------------------------------------------------------------------------------------------------ limits

TEST(ParticleProgram, TooMuchMemoryIsASentence) {
    const auto gpu = device();
    std::string many = walkers;
    many.replace(many.find("300"), 3, "4000000");
    many.replace(many.find("uint seed;"), 10, "uint seed; float4 more[400];");
    const ShaderError error = errorOf(many, gpu);
    EXPECT_TRUE(error.diagnostics.empty());
    EXPECT_THAT(error.raw, HasSubstr("4000000 particles of "));
    EXPECT_THAT(error.raw, HasSubstr("ask for fewer particles or make struct Particle smaller."));
}

TEST(ParticleProgram, FourMillionStep) {
    const auto gpu = device();
    std::string many = dot;
    many.replace(many.find("particles 2"), 11, "particles 4000000");
    const auto made = program(many, gpu);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->particles()->count, 4'000'000);
    const auto simulation = ParticleSimulation::make(made, *gpu, 16, 16);
    ASSERT_NE(simulation, nullptr);
    const auto queue = gpu->makeCommandQueue();
    EXPECT_TRUE(simulation->advance(0, **queue, {{"x", -90.0F}, {"y", 8.0F}, {"size", 1.0F}}, nullptr));
    EXPECT_EQ(wordsOf(simulation->particles())[3'999'999], 3'999'999U);
}

} // namespace
} // namespace glasshob
