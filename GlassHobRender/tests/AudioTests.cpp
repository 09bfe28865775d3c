// Sound: chunks that join without a seam, and the bytes of a WAV file.
#include "GlassHobRender/output/AudioRenderer.h"
#include "GlassHobRender/tests/Programs.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace glasshob {
namespace {

using namespace glasshob::testing;

std::string withSound(const std::string& expression) {
    return "// @param level 0.5 0 1\n" + picture("float4(0)") + "float2 sound(float t, constant Params& p) { return " +
           expression + "; }\n";
}

TEST(AudioRenderer, ChunksJoinWithoutASeam) {
    const auto gpu = device();
    const auto made = program(withSound("float2(t / 8.0, p.level * 4.0)"), gpu);
    ASSERT_NE(made, nullptr);
    std::vector<double> progress;
    const auto samples = AudioRenderer::render(made, gpu, {{"level", 0.1F}}, 3.25, 1.5, [&](double done, double total) {
        progress.push_back(done / total);
        return true;
    });
    ASSERT_TRUE(samples);
    ASSERT_EQ(samples->size(), 144000U);
    for (std::size_t i = 0; i < 72000; ++i) {
        const float start = i < 48000 ? 3.25F : 4.25F;
        const float time = start + float(i % 48000) / 48000.0F;
        ASSERT_NEAR((*samples)[2 * i], time / 8.0F, 1e-6F) << i;
        ASSERT_NEAR((*samples)[2 * i + 1], 0.4F, 1e-6F) << i;
    }
    EXPECT_THAT(progress, ::testing::ElementsAre(::testing::DoubleNear(2.0 / 3.0, 1e-9), 1.0));
}

TEST(AudioRenderer, SamplesAreClamped) {
    const auto gpu = device();
    const auto made = program(withSound("float2(3.0, -p.level * 7.0)"), gpu);
    ASSERT_NE(made, nullptr);
    const auto samples = AudioRenderer::render(made, gpu, {}, 0, 3.0 / 48000.0);
    ASSERT_TRUE(samples);
    EXPECT_THAT(*samples, ::testing::ElementsAre(1, -1, 1, -1, 1, -1));
}

TEST(AudioRenderer, LengthsThatAreNoLengthAreTold) {
    const auto gpu = device();
    const auto made = program(withSound("float2(t)"), gpu);
    ASSERT_NE(made, nullptr);
    for (const double none : {0.0, -1.0, 0.4 / 48000.0}) {
        const auto samples = AudioRenderer::render(made, gpu, {}, 0, none);
        ASSERT_TRUE(samples) << none;
        EXPECT_TRUE(samples->empty()) << none;
    }
    EXPECT_EQ(AudioRenderer::render(made, gpu, {}, 0, 0.5 / 48000.0)->size(), 2U) << "half a sample rounds up";
    for (const double never : {std::numeric_limits<double>::quiet_NaN(), 1e12})
        EXPECT_FALSE(AudioRenderer::render(made, gpu, {}, 0, never));
    EXPECT_FALSE(AudioRenderer::render(program(picture("float4(0)"), gpu), gpu, {}, 0, 1)) << "no sound()";
    EXPECT_FALSE(AudioRenderer::render(made, gpu, {}, 0, 3, [](double, double) { return false; })) << "stopped";
}

TEST(AudioRenderer, TheWAVIsByteExact) {
    const float samples[] = {-1.0F, 0.5F, 1.0F, 2.0F, -7.0F, std::nanf(""), 0.0F, -0.00002F};
    const std::string wav = AudioRenderer::wav(samples);
    ASSERT_EQ(wav.size(), 44U + 16U);
    const auto number = [&](std::size_t at, int size) {
        std::uint32_t value = 0;
        for (int i = 0; i < size; ++i)
            value |= std::uint32_t(std::uint8_t(wav[at + std::size_t(i)])) << (8 * i);
        return value;
    };
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(number(4, 4), 36U + 16U);
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    struct Field {
        std::size_t at;
        int size;
        std::uint32_t expected;
    };
    for (const Field& field :
         {Field{16, 4, 16}, {20, 2, 1}, {22, 2, 2}, {24, 4, 48000}, {28, 4, 192000}, {32, 2, 4}, {34, 2, 16}})
        EXPECT_EQ(number(field.at, field.size), field.expected) << field.at;
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(number(40, 4), 16U);
    const int expected[] = {-32767, 16384, 32767, 32767, -32767, 32767, 0, -1};
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(std::int16_t(number(44 + 2 * i, 2)), expected[i]) << i;
    const std::string empty = AudioRenderer::wav({});
    EXPECT_EQ(empty.size(), 44U);
    EXPECT_EQ(std::uint8_t(empty[4]), 36);
}

} // namespace
} // namespace glasshob
