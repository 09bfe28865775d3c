#pragma once

// Renders segments, one after another, into one movie file: pictures drawn by the GPU into memory that the movie
// writer's encoder reads, sound computed beside them on a thread of its own.
//
// One call runs one export to its end and blocks its thread meanwhile, which must not be the one that drives the user
// interface. On success the file is whole; on a failure or a cancellation there is none (a file that was there before
// is only gone once the writing has begun). Throws ExportError, or std::runtime_error with a sentence when the file
// cannot be made.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/export/ExportError.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/export/MoviePart.h"
#include "GlassHobRender/formats/MovieWriter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {

class ShaderProgram;

namespace VideoExporter {

/// How the pictures are encoded, where it is not the preset's business.
struct Encoding {
    MovieEncoder encoder = MovieEncoder::automatic;
    MovieQuality quality = MovieQuality::balanced;
};

/// Called before each frame with its number and their count, and once more at the end; false cancels.
using Progress = std::function<bool(std::int64_t done, std::int64_t total)>;

/// A frame that has been drawn, for who looks on: rows of blue, green, red, alpha from the top, valid during the call.
/// Called on the exporting thread for the first frame, the last, and at most four in a second between them.
using Preview = std::function<void(const std::byte* pixels, std::size_t rowBytes)>;

/// `stop` cancels as well, and is also looked at while a particle simulation runs up to its first frame.
void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding = {}, const std::stop_token& stop = {}, const Preview& preview = {});

/// One shader over the stretch of a plan, with its own sound.
void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding = {},
                 const std::stop_token& stop = {}, const Preview& preview = {});

/// The frames of a part of a longer export, as video alone that begins at 0: each is what it is in the whole, before it
/// is encoded. The file tells what MovieJoiner needs. Frames count from 0 to the part's own length in `progress`, and
/// have the whole's numbers in errors. `program` is made from the part's text.
void exportPart(const std::shared_ptr<const ShaderProgram>& program, const MoviePart& part,
                const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                const Encoding& encoding = {}, const std::stop_token& stop = {}, const Preview& preview = {});

} // namespace VideoExporter
} // namespace glasshob
