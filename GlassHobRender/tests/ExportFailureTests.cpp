// What can go wrong while a movie is written, stage by stage: one sentence, and no file.
#include "GPU/Testing.h"
#include "GlassHobRender/export/ExportThreads.h"
#include "GlassHobRender/tests/ExportFixture.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stop_token>
#include <sys/resource.h>
#include <thread>

namespace glasshob {
namespace {

using namespace glasshob::testing;

const std::string stillDots =
    "// @particles 10\nstruct Particle { float2 at; };\n"
    "Particle spawn(uint id, constant Params& p) { return {float2(0.5)}; }\n"
    "void update(thread Particle& q, uint id, constant Uniforms& u, constant Params& p) {}\n"
    "float3 place(Particle q, constant Uniforms& u, constant Params& p) { return float3(0.1); }\n"
    "float4 ink(Particle q, float2 at, constant Uniforms& u, constant Params& p) { return 1; }\n"
    "float4 shade(float2 uv, constant Uniforms& u, constant Params& p, Trails trails) {\n"
    "    return trails.at(uv); }\n"
    "float2 sound(float t, constant Params& p) { return float2(0.1); }\n";
const std::string noise = "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                          "    float2 cell = floor(uv * 400.0);\n"
                          "    return float4(fract(sin(dot(cell, float2(12.9898, 78.233)) + u.time) * 43758.5)); }\n";

class ExportFailureTest : public ExportTest {
  protected:
    // What is thrown, as it is shown; empty when nothing is.
    std::string failureWith(
        const ExportSegment& segment, const ExportPreset& as,
        const VideoExporter::Progress& progress = [](auto, auto) { return true; },
        const VideoExporter::Preview& preview = {}, const std::stop_token& stop = {},
        const VideoExporter::Encoding& encoding = {}) const {
        try {
            VideoExporter::exportMovie({segment}, as, on, path, progress, encoding, stop, preview);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }
    std::size_t submissions() const {
        return std::size_t(std::ranges::count(log.purposes(), "handing work to the graphics device"));
    }

    gpu::testing::PurposeLog log;
};

TEST_F(ExportFailureTest, CancelledBetweenFramesItLeavesNothing) {
    for (const std::string& source : {counting, clicking, stillDots})
        for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc})
            for (const std::int64_t frame : {0, 1, 30, 59}) {
                std::int64_t calls = 0;
                const auto progress = [&](std::int64_t done, std::int64_t) {
                    ++calls;
                    return done < frame;
                };
                EXPECT_EQ(failureWith(segment(source, 0, 1), preset(60, codec), progress), "Export cancelled.");
                EXPECT_EQ(calls, frame + 1);
                EXPECT_EQ(names().size(), 0U);
            }
}

TEST_F(ExportFailureTest, StoppedInAParticleWarmUpItEndsSoon) {
    std::stop_source stop;
    std::jthread stopper;
    std::size_t before = 0;
    std::int64_t calls = 0;
    const auto progress = [&](auto, auto) {
        ++calls;
        before = submissions();
        stopper = std::jthread([&] {
            while (submissions() < before + 8)
                std::this_thread::yield();
            stop.request_stop();
        });
        return true;
    };
    // An hour of particles: 216,000 steps, in pieces of at most a few hundred.
    EXPECT_EQ(failureWith(segment(stillDots, 3600, 1), preset(), progress, {}, stop.get_token()), "Export cancelled.");
    EXPECT_EQ(calls, 1);
    EXPECT_LT(submissions(), before + 400);
    EXPECT_EQ(names().size(), 0U);
}

TEST_F(ExportFailureTest, StoppedBehindTheLastFrameItIsNotFinished) {
    for (const std::string& source : {counting, clicking}) {
        std::stop_source stop;
        std::int64_t calls = 0;
        const auto progress = [&](auto, auto) {
            ++calls;
            return true;
        };
        const auto preview = [&](auto, auto) {
            if (calls == 15) stop.request_stop();
        };
        EXPECT_EQ(failureWith(segment(source, 0, 0.5), preset(), progress, preview, stop.get_token()),
                  "Export cancelled.");
        EXPECT_EQ(calls, 15); // all frames, and no word of the end
        EXPECT_EQ(names().size(), 0U);
    }
}

TEST_F(ExportFailureTest, WhatWhoLooksOnThrowsLeavesNothing) {
    const auto throwing = [](std::int64_t done, auto) {
        if (done == 5) throw std::runtime_error("from outside");
        return true;
    };
    EXPECT_EQ(failureWith(segment(clicking, 0, 20), preset(), throwing), "from outside");
    EXPECT_EQ(names().size(), 0U);
}

TEST_F(ExportFailureTest, ADeviceThatFailsOnTheWayEndsIt) {
    const struct {
        std::string source;
        int skip;
    } cases[] = {{counting, 17}, {counting, 59}, {clicking, 30}, {stillDots, 9}};
    for (const auto& each : cases) {
        on = device(); // anew: the last one is lost
        const ExportSegment made = segment(each.source, 0, 1);
        const gpu::testing::InjectedFault fault("handing work", gpu::ErrorKind::deviceLost, unsigned(each.skip));
        const std::string failure = failureWith(made, preset(60));
        EXPECT_TRUE(fault.happened());
        // What was being done with the device decides on the words: a frame, its sound, or one more texture to draw
        // into, of which there are five at most and each takes a piece of work.
        int frame = -1;
        if (std::sscanf(failure.c_str(), "The GPU failed while drawing frame %d.", &frame) == 1) {
            EXPECT_LE(frame, each.skip);
            if (each.source == counting) {
                EXPECT_GE(frame, each.skip - 5);
            }
        } else {
            EXPECT_TRUE(failure == "Export could not start: could not get a pixel buffer" ||
                        (each.source != counting && failure.starts_with("Writing the video failed: audio failed")))
                << failure;
        }
        EXPECT_EQ(names().size(), 0U);
    }
    on = device();
    EXPECT_EQ(failureWith(segment(clicking, 0, 0.1), preset()), "");
}

TEST(ExportThreads, TheFirstFailureIsTheOneThatIsTold) {
    std::stop_source stop;
    ExportThreads threads(stop.get_token());
    EXPECT_FALSE(threads.hasFailed());
    EXPECT_FALSE(threads.ended().stop_requested());
    threads.fail(ExportError::render(3));
    stop.request_stop();
    threads.fail(ExportError::writer("late"));
    EXPECT_TRUE(threads.ended().stop_requested());
    ASSERT_TRUE(threads.failure());
    EXPECT_EQ(threads.failure()->description, "The GPU failed while drawing frame 3.");
}

TEST(ExportThreads, WhatAThreadThrowsIsAFailure) {
    ExportThreads threads({});
    threads.run([] { throw std::bad_alloc(); });
    threads.join();
    ASSERT_TRUE(threads.failure());
    EXPECT_EQ(threads.failure()->description, "There is not enough memory for this: choose a smaller size.");
}

TEST_F(ExportFailureTest, WhatLacksAtTheStartIsToldAndSparesAnOlderFile) {
    const ExportSegment sounding = segment(clicking, 0, 0.5);
    const auto with = [&](std::string_view purpose) {
        std::ofstream(path) << "older";
        const gpu::testing::InjectedFault fault(purpose);
        const std::string failure = failureWith(sounding, preset());
        EXPECT_TRUE(fault.happened()) << purpose;
        return failure;
    };
    EXPECT_EQ(with("creating a buffer"), "Export could not start: no audio buffer");
    EXPECT_EQ(std::filesystem::file_size(path), 5U);
    EXPECT_EQ(with("creating a texture"), "Export could not start: could not get a pixel buffer");
    EXPECT_EQ(names().size(), 0U); // by then the writing had begun
    for (const MovieEncoder encoder : {MovieEncoder::vaapi, MovieEncoder::nvenc}) {
        VideoExporter::Encoding encoding;
        encoding.encoder = encoder;
        const std::string failure = failureWith(
            sounding, preset(30, VideoCodec::h264, 128, 96), [](auto, auto) { return true; }, {}, {}, encoding);
        if (failure.empty()) continue; // this machine has one
        EXPECT_EQ(failure, "Export could not start: the writer rejected the video settings");
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(ExportFailureTest, AFolderInTheWayStays) {
    std::filesystem::create_directories(path);
    const std::string failure = failureWith(segment(counting, 0, 0.1), preset());
    EXPECT_TRUE(failure.starts_with("The file \"" + path + "\" could not be written: ")) << failure;
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(ExportFailureTest, ADiskThatTakesNoMoreIsTold) {
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    // Where it ends: in the header, in the middle, and where the index is put before the rest.
    const ExportSegment sounding = segment(noise + "float2 sound(float t, constant Params& p) { return 0.5; }\n", 0, 1);
    const ExportPreset as = preset(30, VideoCodec::h264, 320, 240);
    ASSERT_EQ(failureWith(sounding, as), "");
    const auto whole = std::filesystem::file_size(path);
    for (const rlim_t most : {rlim_t(1), rlim_t(whole / 3), rlim_t(whole - 1000), rlim_t(whole - 1)}) {
        const rlimit small = {most, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const std::string failure = failureWith(sounding, as);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(failure, "Writing the video failed: the file has become larger than files may be there, so choose "
                           "another place.")
            << most << " of " << whole;
        EXPECT_EQ(names().size(), 0U);
    }
    std::signal(SIGXFSZ, before);
}

} // namespace
} // namespace glasshob
