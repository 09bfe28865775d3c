#include "HobProcess.h"

#include <QtEndian>

#include <cmath>

namespace {

quint32 word(const QByteArray& bytes, int at) {
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}

qint16 sample(const QByteArray& wav, int frame, int channel) {
    return qFromLittleEndian<qint16>(wav.constData() + 44 + (frame * 2 + channel) * 2);
}

const QByteArray ramp = "// @param gain 0.5 0 1\n" + plainShader("1") +
                        "float2 sound(float t, constant Params& p) { return float2(t * 0.25, p.gain); }\n";

} // namespace

TEST_F(HobTest, SoundWritesTheSamplesThatTheShaderGives) {
    put("a.metal", ramp);
    const Outcome outcome =
        hob({"sound", "a.metal", "-o", "a.wav", "--start", "1", "--duration", "1.5", "--set", "gain=1"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    EXPECT_EQ(outcome.error, "");
    const QByteArray wav = get("a.wav");
    ASSERT_EQ(wav.size(), 44 + 72000 * 4);
    EXPECT_EQ(wav.left(4) + wav.mid(8, 8) + wav.mid(36, 4), "RIFFWAVEfmt data");
    EXPECT_EQ(word(wav, 4), 36u + 72000 * 4);
    EXPECT_EQ(word(wav, 24), 48000u);
    EXPECT_EQ(word(wav, 40), 72000u * 4);
    for (const int frame : {0, 1, 4800, 47999, 48000, 71999}) {
        const double expected = (1.0 + frame / 48000.0) * 0.25 * 32767;
        EXPECT_NEAR(sample(wav, frame, 0), expected, 1.0) << frame;
        EXPECT_EQ(sample(wav, frame, 1), 32767) << frame;
    }
}

TEST_F(HobTest, SoundLastsTenSecondsUnlessToldAndMayBeEmpty) {
    put("a.metal", ramp);
    const Outcome usual = hob({"sound", "a.metal", "-o", "-"});
    ASSERT_EQ(usual.status, 0) << usual.shown();
    EXPECT_EQ(usual.output.size(), 44 + 480000 * 4);
    const Outcome empty = hob({"sound", "a.metal", "-o", "-", "--duration", "0"});
    ASSERT_EQ(empty.status, 0) << empty.shown();
    EXPECT_EQ(empty.output.size(), 44);
}

TEST_F(HobTest, SoundOfASilentShaderIsRefused) {
    put("a.metal", plainShader("1"));
    put("a.wav", "old");
    EXPECT_TRUE(hob({"sound", "a.metal", "-o", "a.wav"}, withoutDriver()).error.contains("add --force"));
    const Outcome outcome = hob({"sound", "a.metal", "--force", "-o", "a.wav"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(isOneSentence(outcome.error)) << outcome.shown();
    EXPECT_TRUE(outcome.error.contains("a.metal has no sound")) << outcome.shown();
    EXPECT_EQ(get("a.wav"), "old");
}

TEST_F(HobTest, TheSamplesSoundIsHeardWithoutClicks) {
    const Outcome outcome = hob({"sound", SAMPLE_SHADER, "-o", "-", "--duration", "20", "--set", "volume=1"});
    ASSERT_EQ(outcome.status, 0) << outcome.shown();
    const int frames = static_cast<int>((outcome.output.size() - 44) / 4);
    ASSERT_EQ(frames, 20 * 48000);
    double power = 0;
    int peak = 0;
    int step = 0;
    for (int i = 1; i < frames; ++i) {
        for (const int channel : {0, 1}) {
            const int value = sample(outcome.output, i, channel);
            power += static_cast<double>(value) * value;
            peak = std::max(peak, std::abs(value));
            step = std::max(step, std::abs(value - sample(outcome.output, i - 1, channel)));
        }
    }
    EXPECT_GT(std::sqrt(power / frames / 2), 1000) << "it can be heard";
    EXPECT_LT(peak, 32000) << "it is not cut off";
    EXPECT_LT(step, 4000) << "no jump between neighbouring samples";
}
