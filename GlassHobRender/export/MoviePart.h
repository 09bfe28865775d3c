#pragma once

// A part of an export that several machines share: which frames a file holds, and of what whole. It is written into the
// file as one entry of its metadata, as JSON, so that the parts can be joined without anything else: the shaders' texts
// and values are there to render the sound from.
//
// The entry's key is "glasshob.part". Its members: "version" (3), "first" and "end" (frame numbers of the whole, the
// end not included), "frames" (of the whole), "whole" (an identity that all parts of one export share), "width",
// "height", "fps", "bitrate", "codec" ("h264" or "hevc"), "shaders" (texts), "look" (an identity of what lies round and
// over the pictures, empty for nothing), "chapters" (as VideoChapters writes them, missing where there are none) and
// "segments", each with "start" and "duration" (seconds of shader time), "mark" (whether the Hob mark is drawn),
// "sound" (whether the shader is heard), "values" (slider values by name) and "shader" (its place among the texts);
// where another shader is heard, "heard" with "start", "values" and "shader". Values; pure; any thread.

#include "GlassHobCore/episode/VideoChapters.h"
#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/export/ExportSegment.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

class ShaderProgram;

struct MoviePart {
    static constexpr const char* metadataKey = "glasshob.part";

    // A shader that is heard while another is seen.
    struct Heard {
        double start = 0;
        SliderValues values;
        std::string shader;

        bool operator==(const Heard&) const = default;
    };
    struct Segment {
        double start = 0;
        double duration = 0;
        bool hasMark = false;
        bool hasSound = false;
        // All of the shader's sliders.
        SliderValues values;
        std::string shader;
        std::optional<Heard> heard;

        bool operator==(const Segment&) const = default;
    };

    // A part of the export of these segments; `text` gives the text that a program was made from.
    static MoviePart of(const std::vector<ExportSegment>& segments, const ExportPreset& preset, FrameRange frames,
                        const std::function<std::string(const ShaderProgram& program)>& text);
    // Nothing when the text is not what toText() makes, or its numbers contradict each other.
    static std::optional<MoviePart> fromText(std::string_view text);

    ExportPreset preset = ExportPreset::web();
    // In their order.
    std::vector<Segment> segments;
    // The same for equal layouts, and for no others: layouts themselves are not written down.
    std::string look;
    // Of an episode.
    std::optional<VideoChapters> chapters;
    // The frames that are here, by their numbers in the whole; `end` is not included.
    std::int64_t first = 0;
    std::int64_t end = 0;

    // Of the whole.
    std::int64_t frameCount() const;
    bool hasSound() const;
    // What the whole is heard from, and drawn but for its layouts; `program` makes the program of a text.
    std::vector<ExportSegment>
    exportSegments(const std::function<std::shared_ptr<const ShaderProgram>(const std::string& text)>& program) const;

    std::string toText() const;
    // The same for all parts of one export, and for no other.
    std::string wholeIdentity() const;
    // What sets two wholes apart, to be read behind "they differ in"; empty when nothing does.
    std::string differenceFrom(const MoviePart& other) const;
};

} // namespace glasshob
