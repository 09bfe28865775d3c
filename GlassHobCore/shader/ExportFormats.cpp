#include "GlassHobCore/shader/ExportFormats.h"

#include <algorithm>
#include <array>

namespace glasshob {

namespace {

constexpr ExportFormatEntry exportFormats[] = {
    {.format = ExportFormat::mp4,
     .ending = ".mp4",
     .name = "MP4 movie",
     .contents = "H.264 or HEVC with AAC sound",
     .isMovie = true,
     .hasSound = true,
     .soundBitrate = 256'000},
    {.format = ExportFormat::mov,
     .ending = ".mov",
     .name = "MOV movie",
     .contents = "H.264 or HEVC with AAC sound",
     .isMovie = true,
     .hasSound = true,
     .soundBitrate = 256'000},
    {.format = ExportFormat::webm,
     .ending = ".webm",
     .name = "WebM movie",
     .contents = "VP9 with Opus sound",
     .isMovie = true,
     .hasSound = true,
     .soundBitrate = 192'000},
    // Players keep up with two hundredths of a second for a frame.
    {.format = ExportFormat::gif,
     .ending = ".gif",
     .name = "GIF animation",
     .contents = "256 colors, runs for ever, no sound",
     .mostFps = 50},
    {.format = ExportFormat::pngs,
     .ending = ".png",
     .name = "PNG pictures",
     .contents = "one numbered file a frame, no sound"},
    {.format = ExportFormat::wav,
     .ending = ".wav",
     .name = "Sound alone",
     .contents = "16-bit stereo WAV at 48 kHz",
     .hasPictures = false,
     .hasSound = true,
     .soundBitrate = 1'536'000},
    {.format = ExportFormat::y4m,
     .ending = ".y4m",
     .name = "Raw frames",
     .contents = "YUV4MPEG2 for other programs, no sound",
     .isOffered = false},
};

constexpr StillFormatEntry stillFormats[] = {
    {StillFormat::png, ".png", "", "PNG", "every pixel as it is"},
    {StillFormat::jpeg, ".jpg", ".jpeg", "JPEG", "small files, slightly changed"},
    {StillFormat::webp, ".webp", "", "WebP", "the smallest files, slightly changed", 16383},
};

constexpr PictureSize sizes[] = {
    {"4K", 3840, 2160},       {"Full HD", 1920, 1080},      {"HD", 1280, 720},        {"Square", 1080, 1080},
    {"Portrait", 1080, 1920}, {"Portrait 4:5", 1080, 1350}, {"Small film", 640, 360},
};

bool endsWith(std::string_view text, std::string_view ending) {
    return text.size() >= ending.size() &&
           std::ranges::equal(text.substr(text.size() - ending.size()), ending,
                              [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; });
}

std::string listed(std::span<const std::string_view> words) {
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i)
        list += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + std::string(words[i]);
    return list;
}

// The name's own ending, or why there is none to go by.
std::unexpected<std::string> unknownEnding(std::string_view path, const std::string& known) {
    const std::size_t slash = path.rfind('/') + 1;
    const std::string_view name = slash == path.size() ? path : path.substr(slash); // a folder's name is told whole
    const std::size_t dot = name.rfind('.');
    const bool hasEnding = dot != std::string_view::npos && dot > 0 && dot + 1 < name.size();
    return std::unexpected(std::string(name) +
                           (hasEnding ? ": there is no format for the ending " + std::string(name.substr(dot))
                                      : std::string(" has no ending that says what to write")) +
                           ". Choose a name that ends in " + known + ".");
}

} // namespace

namespace ExportFormats {

std::span<const ExportFormatEntry> all() {
    return exportFormats;
}

const ExportFormatEntry& entry(ExportFormat format) {
    return *std::ranges::find(exportFormats, format, &ExportFormatEntry::format);
}

std::expected<ExportFormat, std::string> ofPath(std::string_view path) {
    if (path.ends_with('/')) return ExportFormat::pngs;
    for (const ExportFormatEntry& each : exportFormats)
        if (endsWith(path, each.ending)) return each.format;
    return unknownEnding(path, endings());
}

std::string endings() {
    std::array<std::string_view, std::size(exportFormats)> words;
    std::ranges::transform(exportFormats, words.begin(), &ExportFormatEntry::ending);
    return listed(words);
}

ExportPreset fitted(ExportPreset preset, ExportFormat format) {
    preset.fps = std::min(preset.fps, entry(format).mostFps);
    return preset;
}

} // namespace ExportFormats

namespace StillFormats {

std::span<const StillFormatEntry> all() {
    return stillFormats;
}

const StillFormatEntry& entry(StillFormat format) {
    return *std::ranges::find(stillFormats, format, &StillFormatEntry::format);
}

std::expected<StillFormat, std::string> ofPath(std::string_view path) {
    for (const StillFormatEntry& each : stillFormats)
        if (endsWith(path, each.ending) || (!each.otherEnding.empty() && endsWith(path, each.otherEnding)))
            return each.format;
    return unknownEnding(path, endings());
}

std::string endings() {
    std::array<std::string_view, std::size(stillFormats)> words;
    std::ranges::transform(stillFormats, words.begin(), &StillFormatEntry::ending);
    return listed(words);
}

} // namespace StillFormats

std::span<const PictureSize> pictureSizes() {
    return sizes;
}

} // namespace glasshob
