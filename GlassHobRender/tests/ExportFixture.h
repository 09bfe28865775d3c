// What the tests of movies share: shaders whose pictures and sound tell their own frame and time, and a folder to write
// into.
#pragma once

#include "GlassHobRender/export/VideoExporter.h"
#include "GlassHobRender/tests/MovieReader.h"
#include "GlassHobRender/tests/Programs.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace glasshob::testing {

// The colour is that of the frame: red by the frame's number, green by the time, blue by a slider.
inline const std::string counting = "// @param blue 0.5 0 1\n"
                                    "float4 shade(float2 uv, constant Uniforms& u, constant Params& p) {\n"
                                    "    return float4(float(u.frame) / 100.0, fract(u.time), p.blue, 1.0);\n}\n";
// A click at one sample a second, at a third of the second.
inline const std::string clicking = counting +
                                    "float2 sound(float t, constant Params& p) {\n"
                                    "    int sample = int(round(t * 48000.0));\n"
                                    "    return sample % 48000 == 16000 ? float2(1.0, -1.0) : float2(0.25, 0.0);\n}\n";

inline ExportPreset preset(std::int64_t fps = 30, VideoCodec codec = VideoCodec::h264, std::int64_t width = 64,
                           std::int64_t height = 48) {
    return {"test", "Test", width, height, fps, 4'000'000, codec};
}

class ExportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        on = device();
        ASSERT_NE(on, nullptr);
        folder =
            std::filesystem::temp_directory_path() /
            ("export-" + std::to_string(::getpid()) + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder);
        path = folder / "movie.mp4";
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    ExportSegment segment(const std::string& source, double start, double duration) const {
        return {program(source, on), {}, start, duration, false, true};
    }
    // What the exporter throws, as it is shown; empty when it does not.
    std::string failureOf(
        const std::vector<ExportSegment>& segments, const ExportPreset& as,
        const VideoExporter::Progress& progress = [](auto, auto) { return true; }) const {
        try {
            VideoExporter::exportMovie(segments, as, on, path, progress);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    // Everything in the folder.
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& each : std::filesystem::directory_iterator(folder))
            found.push_back(each.path().filename());
        std::ranges::sort(found);
        return found;
    }

    std::shared_ptr<gpu::Device> on;
    std::filesystem::path folder;
    std::string path;
};

} // namespace glasshob::testing
