#include "hob/FrameExport.h"

#include "GlassHobRender/export/FrameExporter.h"
#include "GlassHobRender/formats/GifSink.h"
#include "GlassHobRender/formats/PngSink.h"
#include "GlassHobRender/formats/Y4mSink.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/ExportProgress.h"
#include "hob/Output.h"

#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace hob {

namespace {

using glasshob::ByteOutput;
using glasshob::FrameNames;
using glasshob::FrameSink;
using glasshob::PartialFile;

bool isThere(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

// Whether the places of numbered files are free, or may be taken; tells why when not.
bool checkPlaces(const ExportRequest& request, Console& console) {
    const auto names = FrameNames::parse(request.output);
    if (!names) {
        console.problem(names.error());
        return false;
    }
    if (request.replaces || (!names->folder().empty() && !isThere(names->folder()))) return true;
    const auto frames = request.frames.value_or(glasshob::FrameRange{0, request.plan().frameCount()});
    for (std::int64_t i = frames.first; i < frames.end; ++i) {
        const std::string place = names->folder() + names->name(i);
        if (!isThere(place)) continue;
        console.problem(place + " is there already: add --force to replace such files.");
        return false;
    }
    return true;
}

// `file` is null for numbered files and for standard output.
std::expected<std::unique_ptr<FrameSink>, std::string> makeSink(const ExportRequest& request, const PartialFile* file) {
    const glasshob::ExportPreset& preset = request.preset;
    if (request.format == ExportFormat::png) {
        auto names = FrameNames::parse(request.output);
        if (!names) return std::unexpected(names.error());
        return glasshob::PngSink::make(std::move(*names), preset.width, preset.height);
    }
    auto output = file != nullptr ? ByteOutput::file(file->path(), request.output)
                                  : ByteOutput::descriptor(STDOUT_FILENO, "Standard output");
    if (!output) return std::unexpected(output.error());
    if (request.format == ExportFormat::gif)
        return std::make_unique<glasshob::GifSink>(std::move(*output), preset.width, preset.height, preset.fps);
    return std::make_unique<glasshob::Y4mSink>(std::move(*output), preset.width, preset.height, preset.fps);
}

std::expected<void, std::string> work(const ExportRequest& request, const Program& opened,
                                      const SliderSettings& settings, const PartialFile* file, Console& console) {
    ExportProgress progress(console, request.tellsJson);
    const auto sink = makeSink(request, file);
    if (!sink) return std::unexpected(sink.error());
    const glasshob::ExportSegment segment(opened.program, settings.values, request.start, request.duration,
                                          request.hasMark, false);
    const auto tell = [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); };
    const auto done = glasshob::exportFrames({segment},
                                             {.preset = request.preset,
                                              .device = opened.device,
                                              .progress = tell,
                                              .stop = progress.stop(),
                                              .frames = request.frames},
                                             **sink);
    console.endProgress();
    return done;
}

} // namespace

ExitStatus exportFrames(const ExportRequest& request, const ShaderInput& input, Console& console) {
    std::optional<PartialFile> file;
    if (request.format == ExportFormat::png) {
        if (!checkPlaces(request, console)) return ExitStatus::failed;
    } else {
        if (!checkOutput(console, request.output, input.path)) return ExitStatus::failed;
        if (request.output != "-") {
            file = openOutput(console, request.output, request.replaces);
            if (!file) return ExitStatus::failed;
        }
    }
    const auto opened = openProgram(console, input.source, request.preset.width, request.preset.height);
    if (!opened) return ExitStatus::failed;
    for (const std::string& note : request.notes)
        console.problem(note);
    if (opened->program->soundPipeline() != nullptr)
        console.problem("The frames go without the shader's sound: hob sound writes that.");
    if (const auto done = work(request, *opened, input.settings, file ? &*file : nullptr, console); !done) {
        console.problem(done.error());
        return ExitStatus::failed;
    }
    return file ? finishOutput(console, *file) : ExitStatus::done;
}

} // namespace hob
