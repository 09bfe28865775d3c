#pragma once

// Renders segments, one after another, into one movie file: pictures drawn by the GPU into memory that the movie
// writer's encoder reads, sound computed beside them on a thread of its own.
//
// One call runs one export to its end and blocks its thread meanwhile, which must not be the one that drives the user
// interface. On success the file is whole; on a failure or a cancellation there is none (a file that was there before
// is only gone once the writing has begun). Throws ExportError, or std::runtime_error with a sentence when the file
// cannot be made.

#include "GPU/Types.h"
#include "GlassHobCore/ExportPreset.h"
#include "GlassHobCore/Params.h"
#include "GlassHobRender/MovieWriter.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
class Texture;
} // namespace gpu

namespace glasshob {

class ShaderProgram;

struct FrameLayout {
    struct Rectangle {
        std::int64_t x = 0, y = 0, width = 0, height = 0;
    };
    /// Where the shader's picture stands, in pixels from the top left corner.
    Rectangle picture;
    /// The frame outside of it.
    gpu::ClearColor background;
    /// Premultiplied images of the whole frame's size; at least one.
    std::vector<std::shared_ptr<gpu::Texture>> overlays;
    /// Which one lies over the frame, by the seconds since the segment's start; brought into the list's range.
    std::function<std::int64_t(double)> overlayIndex;
};

struct ExportSegment {
    /// A start or a duration that is negative or not a number counts as 0.
    ExportSegment(std::shared_ptr<const ShaderProgram> program_, SliderValues values_, double start_, double duration_,
                  bool watermark_, bool sound_, std::optional<FrameLayout> layout_ = {},
                  std::shared_ptr<const ShaderProgram> soundProgram_ = {},
                  std::optional<SliderValues> soundValues_ = {}, std::optional<double> soundStart_ = {});

    std::shared_ptr<const ShaderProgram> program;
    SliderValues values;
    /// Seconds: the shader's time at the first frame, and the length.
    double start = 0;
    double duration = 0;
    bool watermark = false;
    /// Whether the segment is heard; silence otherwise.
    bool sound = false;
    std::optional<FrameLayout> layout;
    /// What is heard where it is not the program itself, with its own values and time.
    std::shared_ptr<const ShaderProgram> soundProgram;
    std::optional<SliderValues> soundValues;
    std::optional<double> soundStart;
};

class ExportError : public std::exception {
  public:
    enum class Kind : std::uint8_t { setup, render, writer, cancelled };

    static ExportError setup(const std::string& message);
    /// The frame's number in the whole export.
    static ExportError render(std::int64_t frame);
    static ExportError writer(const std::string& message);
    static ExportError cancelled();

    Kind kind = Kind::setup;
    std::string description;
    const char* what() const noexcept override { return description.c_str(); }

  private:
    ExportError(Kind kind_, std::string description_) : kind(kind_), description(std::move(description_)) {}
};

namespace VideoExporter {

/// How the pictures are encoded, where it is not the preset's business.
struct Encoding {
    MovieEncoder encoder = MovieEncoder::automatic;
    MovieQuality quality = MovieQuality::balanced;
};

/// Called before each frame with its number and their count, and once more at the end; false cancels.
using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;

/// `stop` cancels as well, and is also looked at while a particle simulation runs up to its first frame.
void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding = {}, const std::stop_token& stop = {});

/// One shader over the stretch of a plan, with its own sound.
void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding = {},
                 const std::stop_token& stop = {});

} // namespace VideoExporter
} // namespace glasshob
