#pragma once

// The one table of what an export or a still can be written as: the endings, what each format holds, its limits and its
// help. The window and hob both read it. Constants; pure; any thread.

#include "GlassHobCore/shader/ExportPreset.h"

#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace glasshob {

enum class ExportFormat : std::uint8_t { mp4, mov, webm, gif, pngs, y4m, wav };

struct ExportFormatEntry {
    ExportFormat format = ExportFormat::mp4;
    // With its dot, in lower case.
    std::string_view ending;
    // What a person chooses by: "MP4 movie".
    std::string_view name;
    // What is in it, in a few words.
    std::string_view contents;
    // Whether --codec, --bitrate and the like mean something.
    bool isMovie = false;
    bool hasPictures = true;
    bool hasSound = false;
    // Bits a second of its sound.
    std::int64_t soundBitrate = 0;
    // Frames a second, and pixels a side.
    std::int64_t mostFps = 240;
    std::int64_t longestSide = 16384;
    // Whether the window's list has it; the others are for other programs.
    bool isOffered = true;
};

namespace ExportFormats {

// In the order in which they are offered.
std::span<const ExportFormatEntry> all();
const ExportFormatEntry& entry(ExportFormat format);
// By the path's ending, whatever its case; a path that ends in a slash is a folder of numbered PNG files. Fails with a
// sentence that tells the endings that are known.
std::expected<ExportFormat, std::string> ofPath(std::string_view path);
// ".mp4, .mov, .webm, ... or .wav"
std::string endings();
// The preset as the format can have it: its frame rate brought down to what the format takes.
ExportPreset fitted(ExportPreset preset, ExportFormat format);

} // namespace ExportFormats

enum class StillFormat : std::uint8_t { png, jpeg, webp };

struct StillFormatEntry {
    StillFormat format = StillFormat::png;
    // With their dots, in lower case; the first is the usual one. The second may be empty.
    std::string_view ending, otherEnding;
    // "PNG"
    std::string_view name;
    std::string_view contents;
    std::int64_t longestSide = 16384;
};

namespace StillFormats {

std::span<const StillFormatEntry> all();
const StillFormatEntry& entry(StillFormat format);
// As ExportFormats::ofPath.
std::expected<StillFormat, std::string> ofPath(std::string_view path);
// ".png, .jpg or .webp"
std::string endings();

} // namespace StillFormats

// The sizes that are offered beside the presets' own, for a still or a video.
struct PictureSize {
    std::string_view name;
    std::int64_t width = 0;
    std::int64_t height = 0;
};
std::span<const PictureSize> pictureSizes();

} // namespace glasshob
