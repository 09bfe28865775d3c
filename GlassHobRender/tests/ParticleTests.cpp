// Particle shaders: the state after N steps against a calculation here, replays, limits and failures.
#include "GPU/Testing.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Simulations.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <thread>

namespace glasshob {
namespace {

using namespace glasshob::testing;
using ::testing::HasSubstr;

// Nothing but sums and whole numbers, so that the CPU can say every bit.
const std::string counted = R"(// @particles 1000
// @param push 0.25 0 1
struct Particle { float at; uint random; float time; float passed; float2 mouse; packed_float3 last; uint frame; };
Particle spawn(uint id, constant Params& p) {
    Particle q;
    q.at = float(id);
    q.random = id * 747796405u + 1u;
    q.time = -1.0;
    q.passed = 0.0;
    q.mouse = float2(0.0);
    q.last = packed_float3(p.push, 0.0, 0.0);
    q.frame = 77u;
    return q;
}
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.at += p.push;
    q.random = q.random * 1664525u + 1013904223u + id;
    q.time = u.time;
    q.passed += u.timeDelta;
    q.mouse = u.mouse;
    q.last = packed_float3(u.resolution, float(u.pad));
    q.frame = u.frame;
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5, 0.5, 0.01); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(0.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";

struct Particle {
    float at = 0;
    std::uint32_t random = 0;
    float time = 0;
    float passed = 0;
    float mouse[2] = {};
    float last[3] = {};
    std::uint32_t frame = 0;
};

// Many dots of all sizes over one another with trails, where the order of every addition shows.
const std::string swarm = R"(// @particles 3000
// @param keep 0.95 0 1
struct Particle { float2 at; float2 speed; float size; uint id; }; // without gaps
static float random(thread uint& seed) { seed = seed * 1664525u + 1013904223u; return float(seed >> 8) / 16777216.0; }
Particle spawn(uint id, constant Params& p) {
    uint seed = id * 9781u + 7u;
    Particle q;
    q.at = float2(random(seed), random(seed));
    q.speed = float2(random(seed), random(seed)) - 0.5;
    q.id = id;
    q.size = id % 500u == 3u ? 3.0 : random(seed) * 0.1;
    return q;
}
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.speed += (u.mouse / u.resolution - q.at) * u.timeDelta;
    q.at += q.speed * u.timeDelta;
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(q.at, q.size); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) {
    return float4(0.013, 0.0071, 0.0037, 0.1) * saturate(1.0 - dot(at, at));
}
float4 fade(float2 uv, Trails previous, constant Uniforms& u, constant Params& p) { return previous.at(uv) * p.keep; }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)";

std::vector<Particle> reference(std::int64_t steps, float push, float width, float height) {
    std::vector<Particle> all(1000);
    for (std::uint32_t id = 0; id < all.size(); ++id) {
        Particle& q = all[id];
        q = {.at = float(id), .random = id * 747796405U + 1U, .time = -1, .last = {push, 0, 0}, .frame = 77};
        for (std::int64_t step = 1; step <= steps; ++step) {
            q.at += push;
            q.random = q.random * 1664525U + 1013904223U + id;
            q.passed += 1.0F / 60.0F;
            q.time = float(step) / 60.0F;
            q.frame = std::uint32_t(step);
            q.mouse[0] = width / 2;
            q.mouse[1] = height / 2;
            q.last[0] = width;
            q.last[1] = height;
            q.last[2] = 0;
        }
    }
    return all;
}

void expectState(const ShaderRun& run, std::int64_t steps, float push) {
    const std::vector<std::uint32_t> words = particlesOf(run);
    ASSERT_EQ(words.size() * 4, 1000 * sizeof(Particle));
    std::vector<Particle> seen(1000);
    std::memcpy(seen.data(), words.data(), words.size() * 4);
    const std::vector<Particle> expected = reference(steps, push, float(run.width()), float(run.height()));
    for (std::size_t id = 0; id < seen.size(); ++id) {
        const Particle &a = seen[id], &b = expected[id];
        ASSERT_EQ(std::memcmp(&a, &b, sizeof a), 0)
            << "particle " << id << " after " << steps << " steps: " << a.at << ", " << a.random << ", " << a.time
            << ", " << a.passed << ", " << a.mouse[0] << ", " << a.last[2] << ", " << a.frame << " instead of " << b.at
            << ", " << b.random << ", " << b.time << ", " << b.passed << ", " << b.mouse[0] << ", " << b.last[2] << ", "
            << b.frame;
    }
}

TEST(Particles, StateAfterNStepsIsTheCalculatedOne) {
    const auto made = program(counted, device());
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->kind(), ShaderKind::particles);
    ASSERT_NE(made->particles(), nullptr);
    EXPECT_EQ(made->particles()->count, 1000);
    EXPECT_EQ(made->particles()->stride, std::int64_t(sizeof(Particle)));
    EXPECT_EQ(made->mesh(), nullptr);
    const auto run = ShaderRun::make(made, made->device(), 6, 4);
    ASSERT_NE(run, nullptr);
    EXPECT_EQ(run->simulation()->step(), -1);
    for (const std::int64_t step : {0, 1, 2, 7, 60, 600}) {
        drawFrame(*run, float(step) / 60.0F);
        EXPECT_EQ(run->simulation()->step(), step);
        expectState(*run, step, 0.25F);
    }
    drawFrame(*run, 600.0F / 60.0F, {{"push", 0.5F}}); // the same step again: nothing happens
    expectState(*run, 600, 0.25F);
    drawFrame(*run, 2.0F / 60.0F, {{"push", 0.5F}}); // an earlier one: from the spawn, with the values of now
    expectState(*run, 2, 0.5F);
}

TEST(Particles, StepsSeeTheirOwnUniforms) {
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
    ASSERT_NE(made, nullptr);
    const auto run = ShaderRun::make(made, gpu, 20, 10);
    const auto seen = [&] {
        Texel texel;
        std::memcpy(texel.data(), particlesOf(*run).data(), sizeof texel);
        return texel;
    };
    drawFrame(*run, 30.0F / 60.0F);
    EXPECT_EQ(seen(), (Texel{30.0F / 60.0F, 1.0F / 60.0F, 10, 5}));
    EXPECT_EQ(pictureOf(*run)[0], (Texel{20, 10, 30, 1}));
    const float mouse[] = {3, 4};
    const auto queue = gpu->makeCommandQueue();
    ASSERT_TRUE(run->catchUp(**queue, {}, mouse, 32.0 / 60));
    EXPECT_EQ(seen(), (Texel{31.0F / 60.0F, 1.0F / 60.0F, 3, 4}));
}

TEST(Particles, TimeBecomesAStep) {
    const std::pair<double, std::int64_t> cases[] = {
        {0, 0},
        {-3, 0},
        {std::numeric_limits<double>::quiet_NaN(), 0},
        {-std::numeric_limits<double>::infinity(), 0},
        {0.5 / 60, 1}, // half a step rounds away from zero
        {0.49 / 60, 0},
        {1.0 / 60, 1},
        {double(1.0F / 60.0F), 1},
        {10, 600},
        {2.5, 150},
    };
    for (const auto& [time, step] : cases)
        EXPECT_EQ(ParticleSimulation::stepIndex(time), step) << time;
    EXPECT_GT(ParticleSimulation::stepIndex(1e300), std::int64_t(1) << 60);
}

TEST(Particles, AFrameRunsAtMostItsLimitOfSteps) {
    const auto made = program(counted, device());
    const auto run = ShaderRun::make(made, made->device(), 6, 4);
    drawFrame(*run, 0, {}, 4);
    EXPECT_EQ(run->simulation()->step(), 0);
    for (const std::int64_t step : {4, 8, 10, 10}) {
        drawFrame(*run, 10.0F / 60.0F, {}, 4);
        EXPECT_EQ(run->simulation()->step(), step);
        expectState(*run, step, 0.25F);
    }
    drawFrame(*run, 9.0F / 60.0F, {}, 4); // backwards: the first four from the spawn
    EXPECT_EQ(run->simulation()->step(), 3);
    drawFrame(*run, 9.0F / 60.0F, {}, 0);
    EXPECT_EQ(run->simulation()->step(), 3);
}

struct Snapshot {
    std::vector<std::uint32_t> particles;
    std::vector<Texel> picture;
    friend bool operator==(const Snapshot&, const Snapshot&) = default;
    friend void PrintTo(const Snapshot& snapshot, std::ostream* out) {
        *out << std::hash<std::string_view>()(
                    {reinterpret_cast<const char*>(snapshot.particles.data()), snapshot.particles.size() * 4})
             << " of the particles and "
             << std::hash<std::string_view>()(
                    {reinterpret_cast<const char*>(snapshot.picture.data()), snapshot.picture.size() * sizeof(Texel)})
             << " of the picture";
    }
};

Snapshot snapshot(const ShaderRun& run) {
    return {particlesOf(run), pictureOf(run)};
}

TEST(Particles, AReplayEqualsARunFromTheStartBitForBit) {
    const auto made = program(swarm, device());
    ASSERT_NE(made, nullptr);
    const auto fresh = [&] { return ShaderRun::make(made, made->device(), 150, 90); };
    constexpr float time = 60.0F / 60.0F;
    const auto straight = fresh();
    drawFrame(*straight, time);
    const Snapshot expected = snapshot(*straight);
    // Enough of them must be on the picture for this to mean something.
    EXPECT_GT(std::ranges::count_if(expected.picture, [](const Texel& texel) { return texel[0] > 0.01F; }), 5000);

    const auto back = fresh();
    drawFrame(*back, 2 * time);
    EXPECT_NE(snapshot(*back), expected);
    drawFrame(*back, time);
    EXPECT_EQ(snapshot(*back), expected) << "backwards";

    const auto small = fresh();
    while (small->simulation()->step() < 60)
        drawFrame(*small, time, {}, 4);
    EXPECT_EQ(snapshot(*small), expected) << "four steps at a time";

    const auto caught = fresh();
    const auto queue = made->device()->makeCommandQueue();
    for (int again = 0; again < 2; ++again) { // the second time starts over, as for an earlier frame
        ASSERT_TRUE(caught->catchUp(**queue, {}, nullptr, double(time)));
        EXPECT_EQ(caught->simulation()->step(), 59);
        drawFrame(*caught, time);
        EXPECT_EQ(snapshot(*caught), expected) << "caught up";
    }
}

TEST(Particles, WithoutFadeOnlyTheLastStepsDotsAreSeen) {
    std::string source = swarm;
    source.replace(source.find("float4 fade("), 12, "float4 unused(");
    const auto made = program(source, device());
    ASSERT_NE(made, nullptr);
    const auto jumped = ShaderRun::make(made, made->device(), 60, 40);
    const auto walked = ShaderRun::make(made, made->device(), 60, 40);
    drawFrame(*jumped, 0.5F);
    for (int step = 0; step <= 30; ++step)
        drawFrame(*walked, float(step) / 60.0F);
    EXPECT_EQ(snapshot(*jumped), snapshot(*walked));
    // The trails are what fade() makes of them: with it, and all kept, there is more ink everywhere.
    const auto kept = program(swarm, device());
    const auto trails = ShaderRun::make(kept, kept->device(), 60, 40);
    drawFrame(*trails, 0.5F, {{"keep", 1.0F}});
    const auto sum = [](const std::vector<Texel>& picture) {
        double total = 0;
        for (const Texel& texel : picture)
            total += double(texel[0]);
        return total;
    };
    EXPECT_GT(sum(pictureOf(*trails)), 10 * sum(pictureOf(*jumped)));
}

TEST(Particles, ACatchUpStopsBetweenItsPieces) {
    const auto made = program(counted, device());
    const auto run = ShaderRun::make(made, made->device(), 6, 4);
    const auto queue = made->device()->makeCommandQueue();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(run->catchUp(**queue, {}, nullptr, 1e6, stop.get_token()));
    EXPECT_EQ(run->simulation()->step(), -1);
    ASSERT_TRUE(run->catchUp(**queue, {}, nullptr, 20)); // several pieces
    EXPECT_EQ(run->simulation()->step(), 1199);
    expectState(*run, 1199, 0.25F);
    EXPECT_FALSE(StillRenderer::render(made, made->device(), 6, 4, 0, {}, 1e6F, stop.get_token()));
}

TEST(Particles, ALongCatchUpLetsTheLivePictureThrough) {
    const auto gpu = device();
    const auto made = program(swarm, gpu);
    const auto live = program(picture("float4(uv, 0.0, 1.0)"), gpu);
    const auto run = ShaderRun::make(made, gpu, 150, 90);
    // Far to go; a few frames of the live picture are enough to see that it need not wait for all of that.
    std::jthread worker([&](const std::stop_token& stop) {
        const auto queue = gpu->makeCommandQueue(gpu::QueuePriority::background);
        EXPECT_FALSE(run->catchUp(**queue, {}, nullptr, 60, stop));
    });
    for (int frame = 0; frame < 6; ++frame)
        EXPECT_TRUE(StillRenderer::render(live, gpu, 8, 8, 0, {}, 0));
    worker.request_stop();
    worker.join();
    EXPECT_LT(run->simulation()->step(), 3599);
}

TEST(Particles, AFailureOfTheGPUEndsACatchUp) {
    const auto made = program(counted, device());
    const auto run = ShaderRun::make(made, made->device(), 6, 4);
    const auto queue = made->device()->makeCommandQueue();
    const gpu::testing::InjectedFault fault("handing work to the graphics device");
    EXPECT_FALSE(run->catchUp(**queue, {}, nullptr, 20));
    EXPECT_TRUE(fault.happened());
}

TEST(Particles, WhatCannotBeMadeIsAbsent) {
    const auto made = program(counted, device());
    for (const std::int64_t side : {std::int64_t(0), std::int64_t(-1), std::int64_t(1) << 33}) {
        EXPECT_EQ(ShaderRun::make(made, made->device(), side, 4), nullptr) << side;
        EXPECT_EQ(ShaderRun::make(made, made->device(), 4, side), nullptr) << side;
    }
    for (const char* purpose : {"allocating a buffer", "creating a texture"}) {
        const gpu::testing::InjectedFault fault(purpose);
        EXPECT_EQ(ShaderRun::make(made, made->device(), 4, 4), nullptr) << purpose;
        EXPECT_TRUE(fault.happened()) << purpose;
    }
}

TEST(Particles, AnyTypeIsMeasured) {
    struct Case {
        const char* type;
        std::int64_t stride;
    };
    const Case cases[] = {{"struct Particle { float3 a; float b; };", 32},
                          {"typedef float4 Particle;", 16},
                          {"typedef float3 Particle;", 16},
                          {"using Particle = packed_float3;", 12},
                          {"struct Particle {};", 1},
                          {"struct P { half2 a; };\n#define Particle P", 4}};
    for (const auto& [type, stride] : cases) {
        const auto made = program(std::string("// @particles 3\n") + type + R"(
Particle spawn(uint id, constant Params& p) { Particle q = {}; return q; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(0.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)",
                                  device());
        ASSERT_NE(made, nullptr) << type;
        EXPECT_EQ(made->particles()->stride, stride) << type;
    }
}

// A device of its own that keeps to other limits.
std::shared_ptr<gpu::Device> limitedDevice(const gpu::testing::Limits& limits) {
    const auto made = gpu::Device::makeSeparate();
    EXPECT_TRUE(made) << made.error().text;
    if (!made) return nullptr;
    gpu::testing::setLimits(**made, limits);
    return *made;
}

TEST(Particles, ThoseThatOneBufferCannotHoldMoveAndLookAlike) {
    // 300, 1,024 and 2,999 swarm particles of 24 bytes in a buffer, so that the last one is full, short, or one alone.
    const auto whole = program(swarm, device());
    const auto one = ShaderRun::make(whole, whole->device(), 300, 200);
    for (const std::uint64_t most : {300, 1024, 2999}) {
        const std::uint64_t limit = most * 24 + 7;
        const auto pieces = program(swarm, limitedDevice({.bufferArgumentLength = limit}));
        ASSERT_NE(pieces, nullptr);
        const auto many = ShaderRun::make(pieces, pieces->device(), 300, 200);
        ASSERT_EQ(many->simulation()->particles().size(), (3000 + most - 1) / most);
        for (const float time : {0.0F, 5.0F / 60.0F}) {
            drawFrame(*one, time, {{"keep", 0.9F}});
            drawFrame(*many, time, {{"keep", 0.9F}});
            EXPECT_EQ(particlesOf(*many), particlesOf(*one)) << most;
            gpu::testing::setLimits(*pieces->device(), {.bufferArgumentLength = std::uint64_t(1) << 27}); // to read it
            const std::vector<Texel> expected = pictureOf(*one), seen = pictureOf(*many);
            gpu::testing::setLimits(*pieces->device(), {.bufferArgumentLength = limit});
            ASSERT_EQ(seen.size(), expected.size());
            for (std::size_t i = 0; i < seen.size(); ++i)
                for (std::size_t channel = 0; channel < 4; ++channel)
                    ASSERT_EQ(seen[i][channel], expected[i][channel])
                        << most << " in a buffer, step " << time * 60 << ", pixel " << i << ", channel " << channel;
        }
    }
}

TEST(Particles, FourMillionAreStepped) {
    const auto made = program(R"(// @particles 4000000
struct Particle { uint id; uint steps; };
Particle spawn(uint id, constant Params& p) { return Particle{id, 0}; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) { q.steps += id; }
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5, 0.5, 0.0); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(0.0); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)",
                              device());
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->particles()->count, 4'000'000);
    const auto run = ShaderRun::make(made, made->device(), 16, 16);
    ASSERT_NE(run, nullptr);
    drawFrame(*run, 1.0F / 60.0F);
    const std::vector<std::uint32_t> words = particlesOf(*run);
    ASSERT_EQ(words.size(), 8'000'000U);
    for (std::uint32_t id = 0; id < 4'000'000; ++id) {
        ASSERT_EQ(words[id * std::size_t(2)], id);
        ASSERT_EQ(words[id * std::size_t(2) + 1], id);
    }
}

TEST(Particles, AStillEqualsARunToItsTime) {
    const auto made = program(swarm, device());
    const auto still = StillRenderer::render(made, made->device(), 150, 90, 9, {}, 1.0F);
    ASSERT_TRUE(still);
    const auto run = ShaderRun::make(made, made->device(), 150, 90);
    drawFrame(*run, 1.0F);
    const std::vector<Texel> picture = pictureOf(*run);
    std::size_t lit = 0;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const int red = int(std::lround(255 * std::min(picture[i][0], 1.0F)));
        ASSERT_LE(std::abs(red - int(still->bytes[i * 4 + 2])), 1) << i;
        lit += red > 2 ? 1 : 0;
    }
    EXPECT_GT(lit, 5000U);
}

TEST(Particles, APictureOfAnotherProgramsRunIsNotDrawn) {
    // The same text compiled twice gives two programs.
    const auto gpu = device();
    const auto one = program(swarm, gpu);
    const auto other = program(swarm, gpu);
    const auto run = ShaderRun::make(one, gpu, 16, 16);
    drawFrame(*run, 0.1F);
    const auto drawnWith = [&](const ShaderProgram& program, const ShaderRun* with) {
        const auto texture = gpu->makeTexture({.width = 16,
                                               .height = 16,
                                               .storage = gpu::StorageMode::shared,
                                               .usage = {.shaderRead = false, .renderTarget = true}});
        const auto commands = (*gpu->makeCommandQueue())->commandBuffer();
        gpu::RenderPassDescriptor pass;
        pass.colorAttachments[0].texture = *texture;
        pass.colorAttachments[0].loadAction = program.pictureLoadAction();
        pass.colorAttachments[0].clearColor = {0, 1, 0, 1};
        gpu::RenderCommandEncoder* encoder = commands->makeRenderCommandEncoder(pass);
        program.encodePicture(*encoder, {}, {}, with);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        std::array<std::uint8_t, 4> pixel{};
        (*texture)->getBytes(pixel.data(), 4, {8, 8, 1, 1});
        return pixel;
    };
    constexpr std::array<std::uint8_t, 4> untouched{0, 255, 0, 255};
    EXPECT_NE(drawnWith(*one, run.get()), untouched);
    EXPECT_EQ(drawnWith(*other, run.get()), untouched);
    EXPECT_EQ(drawnWith(*one, nullptr), untouched);
}

} // namespace
} // namespace glasshob
