// The sound beside the picture: the stream of samples under a clock that the test sets, and the player over an audio
// device that the test plays.

#include "GlassHob/model/SoundFeed.h"
#include "GlassHob/model/SoundPlayer.h"
#include "GlassHob/tests/ModelTestSupport.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>

namespace glasshob {
namespace {

constexpr SoundFeed::Frames blockFrames = 480; // 10 ms
constexpr double blockSeconds = 0.01;

// Plays a feed whose "sound" is its own frame number, so that every sample tells when it should be heard.
class SoundFeedTest : public ::testing::Test {
  protected:
    // Right holds `mark`, the slider's value.
    void renderWhatIsWanted() {
        while (const auto job = feed.nextJob(now)) {
            ++jobs;
            std::vector<float> samples;
            const float mark = job->source.values.empty() ? 0 : job->source.values.begin()->second;
            for (SoundFeed::Frames i = 0; i < job->frames; ++i) {
                samples.push_back(float(job->start + i));
                samples.push_back(mark);
            }
            if (breaks) samples.clear();
            feed.deliver(*job, std::move(samples));
            if (breaks) return;
        }
    }
    // One block, after which its time has passed.
    std::vector<float> play(double latency = 0) {
        std::vector<float> block(blockFrames * 2);
        wasHeard = feed.take(block, now, latency);
        now += blockSeconds;
        return block;
    }
    std::vector<float> playBlocks(int count) {
        std::vector<float> all;
        for (int i = 0; i < count; ++i) {
            renderWhatIsWanted();
            const auto block = play();
            all.insert(all.end(), block.begin(), block.end());
        }
        return all;
    }
    // The frame that a block ends with, as the sound tells it.
    static double lastFrame(const std::vector<float>& block) { return block[block.size() - 2]; }
    void source(float mark) { feed.setSource(SoundFeed::Source{nullptr, {{"mark", mark}}}); }
    double heardNow() const { return (clockTime + now - clockSet) * SoundFeed::rate; }
    void clock(double time, bool runs) {
        clockTime = time;
        clockSet = now;
        feed.setClock(time, runs, now);
    }

    SoundFeed feed;
    double now = 1000;
    double clockTime = 0, clockSet = 0;
    bool wasHeard = false;
    bool breaks = false;
    int jobs = 0;
};

TEST_F(SoundFeedTest, RunsWithTheClockWithoutHoleOrRepetition) {
    source(0.5F);
    clock(2, true);
    const auto sound = playBlocks(100);
    ASSERT_TRUE(wasHeard);
    // From silence in a fade of 10 ms, then frame by frame.
    EXPECT_LT(std::abs(sound[0]), 0.01F * 96000);
    for (std::size_t i = SoundFeed::fadeFrames; i + 1 < sound.size() / 2; ++i)
        ASSERT_EQ(sound[i * 2 + 2] - sound[i * 2], 1) << i;
    EXPECT_NEAR(lastFrame(sound), heardNow(), 2);
    // What is played a while after it is taken is taken from a while after.
    renderWhatIsWanted();
    clock(10, true);
    play(0.25);
    renderWhatIsWanted();
    play(0.25);
    const auto late = play(0.25);
    EXPECT_NEAR(lastFrame(late), heardNow() + 0.25 * SoundFeed::rate, 2);
}

TEST_F(SoundFeedTest, APauseFadesAndGoingOnTakesUpTheSameMoment) {
    source(0.5F);
    clock(2, true);
    playBlocks(20);
    clock(2.2, false);
    const auto fade = play();
    EXPECT_GT(std::abs(fade[0]), 0) << "no click";
    EXPECT_EQ(fade.back(), 0);
    play();
    EXPECT_FALSE(wasHeard) << "the device may rest";
    EXPECT_FALSE(feed.nextJob(now)) << "nothing is rendered meanwhile";
    now += 60;
    clock(2.2, true);
    const auto sound = playBlocks(10);
    EXPECT_NEAR(lastFrame(sound), heardNow(), 2);
    EXPECT_NEAR(heardNow(), 2.3 * SoundFeed::rate, 1);
}

TEST_F(SoundFeedTest, FollowsAStartFromTheBeginningAndIgnoresSmallDrift) {
    source(0.5F);
    clock(50, true);
    playBlocks(20);
    const int before = jobs;
    clock(50.2 + 0.03, true);
    auto sound = playBlocks(4);
    EXPECT_NEAR(lastFrame(sound), heardNow() - 0.03 * SoundFeed::rate, 2) << "a jump would be heard";
    EXPECT_LE(jobs, before + 1);
    clock(0, true);
    sound = playBlocks(4);
    EXPECT_NEAR(lastFrame(sound), heardNow(), 2);
}

TEST_F(SoundFeedTest, ASliderIsHeardAtOnceAndInACrossfade) {
    source(0.25F);
    clock(0, true);
    playBlocks(20);
    source(0.75F);
    // The renderer has not come to it: the old sound goes on.
    EXPECT_EQ(play().back(), 0.25F);
    const auto change = playBlocks(2);
    for (std::size_t i = 1; i + 2 < change.size(); i += 2)
        ASSERT_LE(std::abs(change[i + 2] - change[i]), 0.02F) << i;
    EXPECT_NEAR(change.back(), 0.75F, 1e-5);
    // Dragged on and on, with a renderer that is one change behind, it is never silent.
    for (int step = 0; step < 50; ++step) {
        const auto job = feed.nextJob(now);
        source(float(step % 2 ? 0.6 : 0.7));
        if (job) {
            std::vector<float> samples(std::size_t(job->frames) * 2, job->source.values.begin()->second);
            feed.deliver(*job, std::move(samples));
        }
        const auto block = play();
        ASSERT_GT(*std::ranges::min_element(block), 0.5F) << step;
    }
}

TEST_F(SoundFeedTest, WhatCannotBeRenderedIsSilentAndNotTriedForEver) {
    breaks = true;
    source(0.5F);
    clock(0, true);
    const auto sound = playBlocks(50);
    EXPECT_EQ(*std::ranges::max_element(sound), 0);
    EXPECT_EQ(jobs, 1);
    breaks = false;
    source(0.5F);
    EXPECT_NE(playBlocks(3).back(), 0) << "the next compile is tried";
}

// Takes what is written as fast as it comes, and tells how much of it was not silent.
struct Device {
    std::atomic<int> blocks = 0, loud = 0;
    std::atomic<bool> gone = false;
    std::atomic<int> open = 0;
};
class RecordedOutput : public SoundOutput {
  public:
    explicit RecordedOutput(Device& device) : device_(device) { ++device_.open; }
    ~RecordedOutput() override { --device_.open; }
    bool write(std::span<const float> samples) override {
        ++device_.blocks;
        device_.loud += std::ranges::any_of(samples, [](float sample) { return std::abs(sample) > 0.2F; });
        std::this_thread::yield();
        return !device_.gone;
    }
    double latency() override { return 0; }

  private:
    Device& device_;
};

class SoundPlayerTest : public AppModelTest {
  protected:
    void SetUp() override {
        AppModelTest::SetUp();
        model->setText(shader("") + "float2 sound(float time, constant Params& p) { return float2(0.5); }\n");
        model->compileNow();
        ASSERT_EQ(model->state(), AppModel::State::live) << model->statusText().toStdString();
        player = std::make_unique<SoundPlayer>(
            *model, [this] { return OpenedSound(std::make_unique<RecordedOutput>(device)); });
        QObject::connect(player.get(), &SoundPlayer::failed, [this](const QString& text) { failures << text; });
    }
    void TearDown() override {
        player.reset();
        AppModelTest::TearDown();
    }
    bool waitFor(auto condition) { return QTest::qWaitFor(condition, 10000); }

    Device device;
    std::unique_ptr<SoundPlayer> player;
    QStringList failures;
};

TEST_F(SoundPlayerTest, IsSilentUntilTurnedOnAndWhileTheClockStands) {
    EXPECT_FALSE(player->isOn());
    EXPECT_EQ(device.open, 0) << "no device is touched before";
    player->setOn(true);
    ASSERT_TRUE(waitFor([&] { return device.loud > 10; }));
    for (const bool byHiding : {false, true}) {
        if (byHiding)
            player->setPictureDrawn(false);
        else
            model->setPaused(true);
        // The writer rests once the fade is over.
        int last = -1;
        ASSERT_TRUE(waitFor([&] { return std::exchange(last, int(device.blocks)) == device.blocks; }));
        model->setPaused(false);
        player->setPictureDrawn(true);
        const int loud = device.loud;
        ASSERT_TRUE(waitFor([&] { return device.loud > loud + 5; }));
    }
    model->setText(shader(""));
    model->compileNow();
    int last = -1;
    EXPECT_TRUE(waitFor([&] { return std::exchange(last, int(device.blocks)) == device.blocks; })) << "no sound()";
    player->setOn(false);
    EXPECT_TRUE(waitFor([&] { return device.open == 0; }));
}

TEST_F(SoundPlayerTest, AMissingOrVanishedDeviceIsASentenceAndTurnsItOff) {
    SoundPlayer deaf(*model, [] { return OpenedSound(std::unexpected(QStringLiteral("Connect an audio device."))); });
    QString sentence;
    QObject::connect(&deaf, &SoundPlayer::failed, [&](const QString& text) { sentence = text; });
    deaf.setOn(true);
    ASSERT_TRUE(waitFor([&] { return !sentence.isEmpty(); }));
    EXPECT_EQ(sentence, "Connect an audio device.");
    EXPECT_FALSE(deaf.isOn());

    player->setOn(true);
    ASSERT_TRUE(waitFor([&] { return device.loud > 3; }));
    device.gone = true;
    ASSERT_TRUE(waitFor([&] { return !failures.isEmpty(); }));
    EXPECT_FALSE(player->isOn());
    device.gone = false;
    player->setOn(true);
    const int loud = device.loud;
    EXPECT_TRUE(waitFor([&] { return device.loud > loud + 3; })) << "it can be turned on again";
}

} // namespace
} // namespace glasshob
