#pragma once

// What the command line asks of an export, read and checked before anything is made.

#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobRender/export/VideoExporter.h"
#include "hob/Arguments.h"

#include <array>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace hob {

struct ExportRequest {
    std::string output;
    glasshob::ExportFormat format = glasshob::ExportFormat::mp4;
    glasshob::ExportPreset preset = glasshob::ExportPreset::web();
    double start = 0;
    double duration = 10;
    bool hasMark = true;
    bool replaces = false;
    bool tellsJson = false;
    glasshob::VideoExporter::Encoding encoding;
    // What a person should know about how the options were taken; one sentence each.
    std::vector<std::string> notes;
    // A part of the whole alone.
    std::optional<glasshob::FrameRange> frames;

    glasshob::ExportPlan plan() const { return {preset, start, duration}; }
};

// How the pictures of a movie are made: readPicture() and readEncoding() take these.
inline constexpr std::array pictureOptions = {
    Option{"--size", "", "WxH", "width and height in pixels instead of the preset's"},
    Option{"--fps", "", "N", "frames a second instead of the preset's; a divisor of 48000"},
    Option{"--bitrate", "", "B", "bits a second instead of the preset's, such as 5000000 or 5M"},
    Option{"--codec", "", "h264|hevc", "the codec instead of the preset's"},
    Option{"--encoder", "", "NAME", "auto, software, vaapi or nvenc (auto)"},
    Option{"--quality", "", "NAME", "how long the encoder tries: fast, balanced or best (balanced)"},
};

std::span<const Option> exportOptions();

// What several commands read of an export's options. Each fails with a sentence that names the option.
// --preset, --size, --fps, --bitrate and --codec.
std::expected<void, std::string> readPicture(const Arguments& arguments, glasshob::ExportPreset& preset);
// --encoder and --quality.
std::expected<void, std::string> readEncoding(const Arguments& arguments, glasshob::VideoExporter::Encoding& encoding);
// "0:300", of a whole of so many frames.
std::expected<glasshob::FrameRange, std::string> readFrames(const std::string& text, std::int64_t count);

// Fails with a sentence that names the option.
std::expected<ExportRequest, std::string> readExportRequest(const Arguments& arguments);

} // namespace hob
