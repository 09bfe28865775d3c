#include "GlassHobRender/export/VideoExporter.h"

#include "GlassHobRender/export/ExportSound.h"

namespace glasshob::VideoExporter {

namespace {

void checkRate(const std::vector<ExportSegment>& segments, const ExportPreset& preset) {
    if (segments.empty()) throw ExportError::setup("nothing to export");
    if (preset.fps <= 0 || ExportSound::sampleRate % preset.fps != 0)
        throw ExportError::setup(std::to_string(preset.fps) + " fps does not divide the audio rate");
}

void write(const std::vector<ExportSegment>& segments, const FrameExport& request, FrameSink& sink) {
    if (auto done = exportFrames(segments, request, sink); !done) throw std::move(done.error());
}

} // namespace

VideoSettings videoSettings(const ExportPreset& preset, const Encoding& encoding) {
    return {.width = preset.width,
            .height = preset.height,
            .fps = preset.fps,
            .bitrate = preset.bitrate,
            .codec = preset.codec,
            .encoder = encoding.encoder,
            .quality = encoding.quality};
}

void exportMovie(const std::vector<ExportSegment>& segments, const ExportPreset& preset,
                 const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                 const Encoding& encoding, const std::stop_token& stop, const Preview& preview) {
    checkRate(segments, preset);
    const bool hasSound = ExportTimeline(segments, preset.fps).hasSound();
    MovieSink sink(path, {.container = encoding.container,
                          .video = videoSettings(preset, encoding),
                          .hasSound = hasSound,
                          .chapters = encoding.chapters});
    write(segments,
          {.preset = preset,
           .device = device,
           .progress = progress,
           .stop = stop,
           .preview = preview,
           .catchUp = encoding.catchUp},
          sink);
}

void exportMovie(const std::shared_ptr<const ShaderProgram>& program, const SliderValues& values,
                 const ExportPlan& plan, bool watermark, const std::shared_ptr<gpu::Device>& device,
                 const std::string& path, const Progress& progress, const Encoding& encoding,
                 const std::stop_token& stop, const Preview& preview) {
    exportMovie({ExportSegment(program, values, plan.start, plan.duration, watermark, true)}, plan.preset, device, path,
                progress, encoding, stop, preview);
}

void exportPart(const std::vector<ExportSegment>& segments, const MoviePart& part,
                const std::shared_ptr<gpu::Device>& device, const std::string& path, const Progress& progress,
                const Encoding& encoding, const std::stop_token& stop, const Preview& preview) {
    checkRate(segments, part.preset);
    MovieSink sink(path, {.container = encoding.container,
                          .video = videoSettings(part.preset, encoding),
                          .descriptionKey = MoviePart::metadataKey,
                          .description = part.toText()});
    write(segments,
          {.preset = part.preset,
           .device = device,
           .progress = progress,
           .stop = stop,
           .frames = FrameRange{part.first, part.end},
           .preview = preview,
           .catchUp = encoding.catchUp},
          sink);
}

} // namespace glasshob::VideoExporter
