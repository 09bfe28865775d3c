#pragma once

// Segments as one movie file: what exportFrames() does with a MovieSink, in one call.
//
// On success the file is whole; on a failure or a cancellation there is none (a file that was there before is only gone
// once the writing has begun). Throws ExportError.

#include "GlassHobCore/shader/ExportPreset.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobRender/export/ExportSegment.h"
#include "GlassHobRender/export/FrameExporter.h"
#include "GlassHobRender/export/MoviePart.h"
#include "GlassHobRender/formats/MovieSink.h"

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

using Progress = FrameExport::Progress;
using Preview = FrameExport::Preview;

// How the pictures are encoded, where the preset does not say it, what else is in the file, and what is called during a
// run up to the first frame.
struct Encoding {
    MovieEncoder encoder = MovieEncoder::automatic;
    MovieQuality quality = MovieQuality::balanced;
    MovieContainer container = MovieContainer::mp4;
    std::vector<MovieChapter> chapters = {};
    FrameDrawer::CatchUp catchUp = {};
};

VideoSettings videoSettings(const ExportPreset& preset, const Encoding& encoding);

void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding = {}, const std::stop_token& stop = {}, const Preview& preview = {});

// One shader over the stretch of a plan, with its own sound.
void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding = {},
                 const std::stop_token& stop = {}, const Preview& preview = {});

// The frames of a part of a longer export, as video alone that begins at 0: each is what it is in the whole, before it
// is encoded. The file tells what MovieJoiner needs. Frames count from 0 to the part's own length in `progress`, and
// have the whole's numbers in errors. `segments` are those that the part tells of (MoviePart::exportSegments()).
void exportPart(const std::vector<ExportSegment>& segments, const MoviePart& part,
                const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                const Encoding& encoding = {}, const std::stop_token& stop = {}, const Preview& preview = {});

} // namespace VideoExporter
} // namespace glasshob
