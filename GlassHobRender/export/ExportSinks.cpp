#include "GlassHobRender/export/ExportSinks.h"

#include "GlassHobRender/formats/GifSink.h"
#include "GlassHobRender/formats/PngSink.h"
#include "GlassHobRender/formats/Y4mSink.h"

#include <unistd.h>

namespace glasshob {

MovieContainer containerOf(ExportFormat format) {
    if (format == ExportFormat::webm) return MovieContainer::webm;
    return format == ExportFormat::mov ? MovieContainer::mov : MovieContainer::mp4;
}

std::expected<std::unique_ptr<FrameSink>, std::string> makeSink(const SinkRequest& request) {
    const ExportPreset& preset = request.preset;
    if (ExportFormats::entry(request.format).isMovie)
        return std::make_unique<MovieSink>(
            request.path, MovieSettings{.container = containerOf(request.format),
                                        .video = VideoExporter::videoSettings(preset, request.encoding),
                                        .hasSound = request.hasSound,
                                        .chapters = request.encoding.chapters});
    if (request.format == ExportFormat::pngs) {
        auto names = FrameNames::parse(request.path);
        if (!names) return std::unexpected(names.error());
        return PngSink::make(std::move(*names), preset.width, preset.height, request.replaces);
    }
    auto output = request.path.empty() ? ByteOutput::descriptor(STDOUT_FILENO, request.name)
                                       : ByteOutput::file(request.path, request.name);
    if (!output) return std::unexpected(output.error());
    if (request.format == ExportFormat::gif)
        return std::make_unique<GifSink>(std::move(*output), preset.width, preset.height, preset.fps);
    return std::make_unique<Y4mSink>(std::move(*output), preset.width, preset.height, preset.fps);
}

} // namespace glasshob
