#pragma once

// What a video export is, without the means to make one: the table of named presets, the stretch of shader time that is
// rendered, and where the Hob mark stands in a frame. Values; pure; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

enum class VideoCodec : std::uint8_t { h264, hevc };

// "h264", "hevc".
std::string_view rawValue(VideoCodec codec);
// The codec of exactly this raw value.
std::optional<VideoCodec> videoCodec(std::string_view raw);

struct ExportPreset {
    // Stable; what settings and command lines hold.
    std::string id;
    // What a person chooses by.
    std::string name;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t fps = 0;
    // Average bits in a second.
    std::int64_t bitrate = 0;
    VideoCodec codec = VideoCodec::h264;

    bool operator==(const ExportPreset&) const = default;

    static const ExportPreset& main4k();
    static const ExportPreset& web();
    static const ExportPreset& preview();
    static const ExportPreset& site();
    // The four, in the order in which they are offered.
    static const std::vector<ExportPreset>& all();
    // Null when there is none with this id.
    static const ExportPreset* find(std::string_view id);
};

struct ExportPlan {
    // A start or a duration that is negative or not a number counts as 0.
    ExportPlan(ExportPreset preset_, double start_, double duration_);

    ExportPreset preset;
    // Seconds of shader time.
    double start = 0;
    double duration = 0;

    bool operator==(const ExportPlan&) const = default;

    // At least 1. A duration too long to count ends the program.
    std::int64_t frameCount() const { return frameCount(duration, preset.fps); }
    static std::int64_t frameCount(double duration, std::int64_t fps);
    float timeOfFrame(std::int64_t n) const;
};

namespace WatermarkPlacement {

// The square of the mark in pixels: its lower left corner, y upward, and its side.
struct Rect {
    float x = 0;
    float y = 0;
    float size = 0;
};

// Bottom right; top left in a portrait frame.
Rect rect(std::int64_t width, std::int64_t height);

} // namespace WatermarkPlacement
} // namespace glasshob
