#pragma once

// What a movie is made of: segments, each one shader over a stretch of its own time, and the frames that they come to.
// Values; the programs in them are shared and never changed. Any thread.

#include "GPU/Types.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/episode/OverlaySequence.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace glasshob {

class ShaderProgram;

struct FrameLayout {
    struct Rectangle {
        std::int64_t x = 0, y = 0, width = 0, height = 0;
    };
    // Where the shader's picture stands, in pixels from the top left corner.
    Rectangle picture;
    // The frame outside of it.
    gpu::ClearColor background;
    // Premultiplied images of the whole frame's size, by the seconds since the segment's start; at least one. Painted
    // when their time comes near, and released after it.
    OverlaySequence overlays;
};

struct ExportSegment {
    // A start or a duration that is negative or not a number counts as 0.
    ExportSegment(std::shared_ptr<const ShaderProgram> program_, SliderValues values_, double start_, double duration_,
                  bool watermark_, bool sound_, std::optional<FrameLayout> layout_ = {},
                  std::shared_ptr<const ShaderProgram> soundProgram_ = {},
                  std::optional<SliderValues> soundValues_ = {}, std::optional<double> soundStart_ = {});

    std::shared_ptr<const ShaderProgram> program;
    SliderValues values;
    // Seconds: the shader's time at the first frame, and the length.
    double start = 0;
    double duration = 0;
    bool watermark = false;
    // Whether the segment is heard; silence otherwise.
    bool sound = false;
    std::optional<FrameLayout> layout;
    // What is heard where it is not the program itself, with its own values and time.
    std::shared_ptr<const ShaderProgram> soundProgram;
    std::optional<SliderValues> soundValues;
    std::optional<double> soundStart;

    // The program whose sound kernel is heard.
    const std::shared_ptr<const ShaderProgram>& heard() const;
};

// Some frames of an export by their numbers, the end left out.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t end = 0;
};

// The frames of all segments in their order. A frame's number is its place here. Refers to the segments it was made
// of.
class ExportTimeline {
  public:
    struct Entry {
        const ExportSegment* segment = nullptr;
        // The frame's number in its segment.
        std::int64_t local = 0;
    };

    ExportTimeline() = default;
    // A segment has `duration * fps` frames, rounded, and at least one.
    ExportTimeline(const std::vector<ExportSegment>& segments, std::int64_t fps);

    std::int64_t frameCount() const { return frameCount_; }
    std::int64_t fps() const { return fps_; }
    Entry operator[](std::int64_t frame) const;
    // Seconds since the segment's start.
    double localTime(std::int64_t frame) const { return double((*this)[frame].local) / double(fps_); }
    // Whether any segment is heard.
    bool hasSound() const;
    bool hasLayout() const;
    bool hasWatermark() const;

  private:
    struct Stretch {
        const ExportSegment* segment;
        std::int64_t first; // frame
    };
    std::vector<Stretch> stretches_;
    std::int64_t frameCount_ = 0;
    std::int64_t fps_ = 1;
};

} // namespace glasshob
