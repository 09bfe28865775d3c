#include "hob/ExportRequest.h"

#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobRender/formats/PngSink.h"
#include "hob/Values.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace hob {

namespace {

namespace ExportFormats = glasshob::ExportFormats;
namespace ExportLimits = glasshob::ExportLimits;
using glasshob::ExportFormat;
using glasshob::ExportFormatEntry;
using glasshob::ExportPreset;
using glasshob::MovieEncoder;
using glasshob::MovieQuality;

constexpr std::int64_t gifWidth = 640, gifHeight = 360;

constexpr auto options = joined(
    std::array{
        Option{"--output", "-o", "OUT", "the result, in the format of its ending; - for raw frames on standard output"},
        Option{"--force", "", "", "replace what is there"},
        Option{"--preset", "", "ID", "main4k, web, preview or site (web)"},
        Option{"--start", "", "S", "shader time of the first frame in seconds (0)"},
        Option{"--duration", "", "D", "length in seconds (10)"},
        Option{"--no-watermark", "", "", "leave out the Hob mark"},
        Option{"--set", "", "NAME=VALUE", "set a slider; may be repeated"},
    },
    pictureOptions,
    std::array{
        Option{"--frames", "", "A:B", "only frames A up to before B of the whole, as video alone, for hob join"},
        Option{"--json", "", "", "print progress as lines of JSON on standard output"},
    });

std::expected<std::int64_t, std::string> readBitrate(std::string_view text) {
    std::string_view digits = text;
    std::int64_t unit = 1;
    if (digits.ends_with('k') || digits.ends_with('K')) unit = 1000;
    if (digits.ends_with('M')) unit = 1'000'000;
    if (unit != 1) digits.remove_suffix(1);
    const auto value = glasshob::parseInteger(digits);
    if (!value || *value < 1 || *value > 1'000'000'000 / unit || *value * unit < 1000)
        return mistake("--bitrate " + std::string(text) + " is not a bit rate: give from 1000 to 1000M bits a second.");
    return *value * unit;
}

// One of a few words; its place in the list.
std::expected<std::size_t, std::string> readWord(std::string_view option, std::string_view text,
                                                 std::initializer_list<std::string_view> words) {
    std::string list;
    std::size_t at = 0;
    for (const std::string_view word : words) {
        if (word == text) return at;
        list += (at == 0 ? "" : at + 1 == words.size() ? " or " : ", ") + std::string(word);
        ++at;
    }
    return mistake(std::string(option) + " " + std::string(text) + " is not known: give " + list + ".");
}

std::expected<ExportFormat, std::string> readFormat(const std::string& output) {
    if (output == "-") return ExportFormat::y4m;
    const auto format = ExportFormats::ofPath(output);
    if (!format) return mistake(format.error());
    if (*format == ExportFormat::wav) return mistake(output + " is a sound: hob sound writes that.");
    if (*format != ExportFormat::pngs || output.ends_with('/')) return format;
    if (output.find('%') == std::string::npos)
        return mistake(output +
                       " has no place for the frames' numbers: write it as %05d, or give a folder with a slash "
                       "at its end. One picture is made by hob still.");
    if (const auto names = glasshob::FrameNames::parse(output); !names) return mistake(names.error());
    return format;
}

// What is not encoded has no codec, and a GIF a size and a pace of its own.
std::expected<void, std::string> fitToFormat(const Arguments& arguments, ExportRequest& request) {
    const ExportFormatEntry& format = ExportFormats::entry(request.format);
    if (request.format == ExportFormat::webm && arguments.has("--codec"))
        return mistake("--codec means nothing for " + request.output +
                       ": WebM has VP9. Leave it out, or export with -o OUT.mp4.");
    if (request.format == ExportFormat::webm && request.encoding.encoder != MovieEncoder::automatic &&
        request.encoding.encoder != MovieEncoder::software)
        return mistake("WebM is encoded in software: leave --encoder out, or export with -o OUT.mp4.");
    for (const std::string_view option : {"--bitrate", "--codec", "--encoder", "--quality"})
        if (!format.isMovie && arguments.has(option))
            return mistake(std::string(option) + " means nothing for " + request.output +
                           ": leave it out, or export a movie with -o OUT.mp4.");
    if (request.tellsJson && request.output == "-")
        return mistake("--json and -o - both need standard output: leave one of them out.");
    if (request.format == ExportFormat::gif && !arguments.has("--size") && !arguments.has("--preset")) {
        request.preset.width = gifWidth;
        request.preset.height = gifHeight;
    }
    const std::int64_t fps = request.preset.fps;
    request.preset = ExportFormats::fitted(request.preset, request.format);
    if (request.preset.fps != fps)
        request.notes.push_back("A GIF shows at most " + std::to_string(request.preset.fps) +
                                " frames a second: it has these instead of " + std::to_string(fps) +
                                ". Fewer make a smaller file (--fps 25).");
    return {};
}

} // namespace

std::span<const Option> exportOptions() {
    return options;
}

std::expected<void, std::string> readPicture(const Arguments& arguments, ExportPreset& preset) {
    if (const auto id = arguments.value("--preset")) {
        const ExportPreset* found = ExportPreset::find(*id);
        if (found == nullptr) return mistake("There is no preset " + *id + ": give main4k, web, preview or site.");
        preset = *found;
    }
    if (const auto text = arguments.value("--size")) {
        const auto size = readSize(*text);
        if (!size) return mistake(size.error());
        preset.width = size->width;
        preset.height = size->height;
    }
    if (const auto text = arguments.value("--fps")) {
        const auto fps = glasshob::parseInteger(*text);
        if (!fps || *fps < 1 || *fps > 240 || glasshob::AudioSettings::sampleRate % *fps != 0)
            return mistake("--fps " + *text +
                           " cannot be used: give a divisor of 48000 up to 240, such as 24, 25, 30, 50 "
                           "or 60.");
        preset.fps = *fps;
    }
    if (const auto text = arguments.value("--bitrate")) {
        const auto bitrate = readBitrate(*text);
        if (!bitrate) return mistake(bitrate.error());
        preset.bitrate = *bitrate;
    }
    if (const auto text = arguments.value("--codec")) {
        const auto codec = readWord("--codec", *text, {"h264", "hevc"});
        if (!codec) return mistake(codec.error());
        preset.codec = *codec == 0 ? glasshob::VideoCodec::h264 : glasshob::VideoCodec::hevc;
    }
    return {};
}

std::expected<glasshob::FrameRange, std::string> readFrames(const std::string& text, std::int64_t count) {
    const std::size_t colon = text.find(':');
    const auto first = glasshob::parseInteger(std::string_view(text).substr(0, colon));
    const auto end =
        colon == std::string::npos ? std::nullopt : glasshob::parseInteger(std::string_view(text).substr(colon + 1));
    if (!first || !end || *first < 0 || *end <= *first)
        return mistake("--frames " + text +
                       " names no frames: give the first one and the one behind the last, such as 0:300.");
    if (*end > count)
        return mistake("--frames " + text + " goes beyond the end: the whole has " + std::to_string(count) +
                       (count == 1 ? " frame" : " frames") + ", so the last number is " + std::to_string(count) +
                       " at most.");
    return glasshob::FrameRange{*first, *end};
}

std::expected<void, std::string> readEncoding(const Arguments& arguments, glasshob::VideoExporter::Encoding& encoding) {
    if (const auto text = arguments.value("--encoder")) {
        const auto encoder = readWord("--encoder", *text, {"auto", "software", "vaapi", "nvenc"});
        if (!encoder) return mistake(encoder.error());
        encoding.encoder = MovieEncoder(*encoder);
    }
    if (const auto text = arguments.value("--quality")) {
        const auto quality = readWord("--quality", *text, {"fast", "balanced", "best"});
        if (!quality) return mistake(quality.error());
        encoding.quality = MovieQuality(*quality);
    }
    return {};
}

std::expected<ExportRequest, std::string> readExportRequest(const Arguments& arguments) {
    ExportRequest request;
    const auto output = arguments.value("--output");
    if (!output || output->empty()) return mistake("No file for the movie was given: add -o OUT.mp4.");
    request.output = *output;
    const auto format = readFormat(*output);
    if (!format) return mistake(format.error());
    request.format = *format;
    request.replaces = arguments.has("--force");
    request.hasMark = !arguments.has("--no-watermark");
    request.tellsJson = arguments.has("--json");
    if (const auto picture = readPicture(arguments, request.preset); !picture) return mistake(picture.error());
    if (const auto text = arguments.value("--start")) {
        const auto start = readTime("--start", *text);
        if (!start) return mistake(start.error());
        if (*start < 0) return mistake("--start " + *text + " lies before the shader's time begins: give 0 or more.");
        if (*start > ExportLimits::latestStart)
            return mistake("--start " + *text + " lies too far on for a shader's time to be exact: give " +
                           std::to_string(std::int64_t(ExportLimits::latestStart)) + " seconds at most.");
        request.start = *start;
    }
    if (const auto text = arguments.value("--duration")) {
        const auto duration = readDuration("--duration", *text, ExportLimits::longestDuration);
        if (!duration) return mistake(duration.error());
        if (*duration == 0) return mistake("--duration 0 has nothing to show: give a number of seconds.");
        request.duration = *duration;
    }
    if (const auto encoding = readEncoding(arguments, request.encoding); !encoding) return mistake(encoding.error());
    if (const auto fitted = fitToFormat(arguments, request); !fitted) return mistake(fitted.error());
    if (const auto text = arguments.value("--frames")) {
        const auto frames = readFrames(*text, request.plan().frameCount());
        if (!frames) return mistake(frames.error());
        request.frames = *frames;
        const bool isPart = request.format == ExportFormat::mp4 || request.format == ExportFormat::mov;
        if (!isPart && ExportFormats::entry(request.format).isMovie)
            return mistake("Parts of a movie are MP4 or MOV files: give --frames with -o OUT.mp4.");
    }
    return request;
}

} // namespace hob
