#include "GlassHobCore/shader/ExportPreset.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace glasshob {

std::string_view rawValue(VideoCodec codec) {
    return codec == VideoCodec::h264 ? "h264" : "hevc";
}

std::optional<VideoCodec> videoCodec(std::string_view raw) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc})
        if (rawValue(codec) == raw) return codec;
    return std::nullopt;
}

const std::vector<ExportPreset>& ExportPreset::all() {
    static const std::vector<ExportPreset> presets = {
        {"main4k", "Main video · 3840×2160 · 60 fps", 3840, 2160, 60, 60'000'000, VideoCodec::hevc},
        {"web", "Web video · 1920×1080 · 60 fps", 1920, 1080, 60, 5'000'000, VideoCodec::h264},
        {"preview", "Preview · 1920×1080 · 60 fps", 1920, 1080, 60, 20'000'000, VideoCodec::h264},
        {"site", "Site capture · 1280×720 · 30 fps", 1280, 720, 30, 6'000'000, VideoCodec::h264},
    };
    return presets;
}

const ExportPreset& ExportPreset::main4k() {
    return all()[0];
}
const ExportPreset& ExportPreset::web() {
    return all()[1];
}
const ExportPreset& ExportPreset::preview() {
    return all()[2];
}
const ExportPreset& ExportPreset::site() {
    return all()[3];
}

const ExportPreset* ExportPreset::find(std::string_view id) {
    const auto found = std::ranges::find(all(), id, &ExportPreset::id);
    return found == all().end() ? nullptr : &*found;
}

ExportPlan::ExportPlan(ExportPreset preset_, double start_, double duration_)
    : preset(std::move(preset_)), start(start_ >= 0 ? start_ : 0), duration(duration_ >= 0 ? duration_ : 0) {}

std::int64_t ExportPlan::frameCount(double duration, std::int64_t fps) {
    // std::round takes halves away from zero.
    const double frames = std::round(duration * double(fps));
    if (!(frames < 0x1p63)) {
        std::fputs("An export of endless length was asked for.\n", stderr);
        std::abort();
    }
    return std::max<std::int64_t>(std::int64_t(frames), 1);
}

float ExportPlan::timeOfFrame(std::int64_t n) const {
    return float(start + double(n) / double(preset.fps));
}

WatermarkPlacement::Rect WatermarkPlacement::rect(std::int64_t width, std::int64_t height) {
    const auto w = float(width), h = float(height);
    const float size = std::min(w, h) * 0.11f;
    const float dx = size * 0.23f, dy = size * 0.33f;
    const bool isPortrait = width < height;
    const float cx = isPortrait ? w * 0.06f + dx : w + w * -0.03f - dx;
    const float cy = isPortrait ? h - (h * 0.09f + dy) : h * 0.04f + dy;
    return {cx - size * 0.5f, cy - size * 0.5f, size};
}

} // namespace glasshob
