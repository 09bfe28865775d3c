// Any number of sliders: every value reaches every function of every kind.
#include "GlassHobRender/output/AudioRenderer.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/tests/Simulations.h"

#include <cstring>

namespace glasshob {
namespace {

using namespace glasshob::testing;

// On both sides of what inline bytes and a uniform buffer hold, and many more.
constexpr int counts[] = {4096, 4097, 10000};

float valueOf(int number) {
    return float((number * 7919) % 65536) / 65536.0F;
}

std::string declarations(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "// @param v" + std::to_string(i) + " 0.5 0 1\n";
    return text;
}

SliderValues values(int count) {
    SliderValues all;
    for (int i = 0; i < count; ++i)
        all["v" + std::to_string(i)] = valueOf(i);
    return all;
}

// The last slider, and one in the middle.
std::string lastOf(int count) {
    return "p.v" + std::to_string(count - 1);
}
constexpr int middle = 2741;

TEST(ManySliders, EachValueArrives) {
    for (const int count : counts) {
        // Each particle takes the value of its number, at its spawn and at a step.
        const auto made = program("// @particles " + std::to_string(count) + "\n" + declarations(count) + R"(
struct Particle { float spawned, last, updated; };
Particle spawn(uint id, constant Params& p) { return Particle{((constant float*)&p)[id], )" +
                                      lastOf(count) + R"(, 0.0}; }
void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {
    q.updated = ((constant float*)&p)[id];
}
float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.5, 0.5, )" +
                                      lastOf(count) + R"(); }
float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return float4(p.v2741 * 0.001); }
float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) { return trails.at(uv); }
)",
                                  device());
        ASSERT_NE(made, nullptr) << count;
        const auto run = ShaderRun::make(made, made->device(), 8, 8);
        drawFrame(*run, 1.0F / 60.0F, values(count));
        const std::vector<std::uint32_t> words = particlesOf(*run);
        ASSERT_EQ(words.size(), std::size_t(count) * 3);
        std::vector<float> seen(words.size());
        std::memcpy(seen.data(), words.data(), words.size() * 4);
        for (std::size_t id = 0; id < std::size_t(count); ++id) {
            ASSERT_EQ(seen[id * 3], valueOf(int(id))) << "slider " << id << " of " << count;
            ASSERT_EQ(seen[id * 3 + 1], valueOf(count - 1));
            ASSERT_EQ(seen[id * 3 + 2], valueOf(int(id)));
        }
    }
}

TEST(ManySliders, PicturesMeshesAndSoundsHaveThem) {
    for (const int count : counts) {
        const std::string both = "float4(" + lastOf(count) + ", p.v" + std::to_string(middle) + ", 0.0, 1.0)";
        const std::string sound = "float2 sound(float t, constant Params& p) { return float2(" + lastOf(count) +
                                  ", p.v" + std::to_string(middle) + "); }\n";
        const std::string grid =
            "// @grid 1\nstruct Vertex { float4 position [[position]]; float green; };\n"
            "Vertex corner(float2 grid, constant Uniforms& u, constant Params& p) {\n"
            "    return Vertex{float4(grid * 2.0 - 1.0, 0.0, 1.0), p.v" +
            std::to_string(middle) +
            "};\n}\nfloat4 shade(Vertex v, constant Uniforms& u, constant Params& p) { return float4(" + lastOf(count) +
            ", v.green, 0.0, 1.0); }\n";
        const SliderValues all = values(count);
        for (const std::string& body : {picture(both) + sound, grid}) {
            const auto made = program(declarations(count) + body, device());
            ASSERT_NE(made, nullptr) << count;
            const auto image = StillRenderer::render(made, made->device(), 4, 4, 1, all, 0);
            ASSERT_TRUE(image);
            EXPECT_NEAR(image->bytes[2], valueOf(count - 1) * 255, 0.6) << count;
            EXPECT_NEAR(image->bytes[1], valueOf(middle) * 255, 0.6) << count;
            if (made->soundPipeline() == nullptr) continue;
            const auto samples = AudioRenderer::render(made, made->device(), all, 0, 1.0 / 48000);
            ASSERT_TRUE(samples);
            EXPECT_EQ(*samples, (std::vector<float>{valueOf(count - 1), valueOf(middle)})) << count;
        }
    }
}

} // namespace
} // namespace glasshob
