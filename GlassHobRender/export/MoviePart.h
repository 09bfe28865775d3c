#pragma once

// A part of an export that several machines share: which frames a file holds, and of what whole. It is written into the
// file as one entry of its metadata, as JSON, so that the parts can be joined without anything else: the shaders' texts
// and values are there to render the sound from.
//
// The entry's key is "glasshob.part". Its members: "version" (2), "first" and "end" (frame numbers of the whole, the
// end not included), "frames" (of the whole), "whole" (an identity that all parts of one export share), "width",
// "height", "fps", "bitrate", "codec" ("h264" or "hevc") and "segments", each with "start" and "duration" (seconds of
// shader time), "mark" (whether the Hob mark is drawn), "sound" (whether the shader is heard), "values" (slider values
// by name) and "shader" (its text). Values; pure; any thread.

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

    struct Segment {
        double start = 0;
        double duration = 0;
        bool hasMark = false;
        bool hasSound = false;
        // All of the shader's sliders.
        SliderValues values;
        std::string shader;

        bool operator==(const Segment&) const = default;
    };

    // A part of the export of this program, made from this text, over the stretch of a plan.
    static MoviePart of(const ShaderProgram& program, std::string text, const SliderValues& values,
                        const ExportPlan& plan, bool hasMark, std::int64_t first, std::int64_t end);
    // Nothing when the text is not what toText() makes, or its numbers contradict each other.
    static std::optional<MoviePart> fromText(std::string_view text);

    ExportPreset preset = ExportPreset::web();
    // In their order. Layouts and sounds of other programs are not told, so such segments have no parts.
    std::vector<Segment> segments;
    // The frames that are here, by their numbers in the whole; `end` is not included.
    std::int64_t first = 0;
    std::int64_t end = 0;

    // Of the whole.
    std::int64_t frameCount() const;
    bool hasSound() const;
    // What the whole is drawn and heard from; `program` makes the program of a text.
    std::vector<ExportSegment>
    exportSegments(const std::function<std::shared_ptr<const ShaderProgram>(const std::string& text)>& program) const;

    std::string toText() const;
    // The same for all parts of one export, and for no other.
    std::string wholeIdentity() const;
    // What sets two wholes apart, to be read behind "they differ in"; empty when nothing does.
    std::string differenceFrom(const MoviePart& other) const;
};

} // namespace glasshob
