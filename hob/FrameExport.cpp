#include "hob/FrameExport.h"

#include "GlassHobCore/PartialFile.h"
#include "GlassHobRender/FrameExporter.h"
#include "GlassHobRender/GifSink.h"
#include "GlassHobRender/PngSink.h"
#include "GlassHobRender/ShaderProgram.h"
#include "GlassHobRender/Y4mSink.h"
#include "hob/ExportProgress.h"
#include "hob/Interrupts.h"
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

// Whether the places are free, or may be taken; tells why when not.
bool checkPlaces(const ExportRequest& request, const std::string& path, Console& console) {
    if (request.format != ExportFormat::png) {
        if (!checkOutput(console, request.output, path)) return false;
        if (request.output == "-" || request.replaces || !isThere(request.output)) return true;
        console.problem(request.output + " is there already: add --force to replace it.");
        return false;
    }
    const auto names = FrameNames::parse(request.output);
    if (!names) {
        console.problem(names.error());
        return false;
    }
    if (request.replaces || (!names->folder().empty() && !isThere(names->folder()))) return true;
    const auto frames = request.frames.value_or(ExportRequest::Frames{0, request.plan().frameCount()});
    for (std::int64_t i = frames.first; i < frames.end; ++i) {
        const std::string place = names->folder() + names->name(i);
        if (!isThere(place)) continue;
        console.problem(place + " is there already: add --force to replace such files.");
        return false;
    }
    return true;
}

// The sink, and the file that it fills where there is one.
struct Target {
    std::unique_ptr<FrameSink> sink;
    std::optional<PartialFile> file;
};

std::expected<Target, std::string> makeTarget(const ExportRequest& request) {
    const glasshob::ExportPreset& preset = request.preset;
    Target target;
    if (request.format == ExportFormat::png) {
        auto names = FrameNames::parse(request.output);
        if (!names) return std::unexpected(names.error());
        auto sink = glasshob::PngSink::make(std::move(*names), preset.width, preset.height);
        if (!sink) return std::unexpected(sink.error());
        target.sink = std::move(*sink);
        return target;
    }
    if (request.output != "-") {
        auto file = PartialFile::beside(request.output);
        if (!file) return std::unexpected(file.error());
        target.file = std::move(*file);
    }
    auto output = target.file ? ByteOutput::file(target.file->path(), request.output)
                              : ByteOutput::descriptor(STDOUT_FILENO, "Standard output");
    if (!output) return std::unexpected(output.error());
    if (request.format == ExportFormat::gif)
        target.sink = std::make_unique<glasshob::GifSink>(std::move(*output), preset.width, preset.height, preset.fps);
    else
        target.sink = std::make_unique<glasshob::Y4mSink>(std::move(*output), preset.width, preset.height, preset.fps);
    return target;
}

std::expected<void, std::string> work(const ExportRequest& request, const Program& opened,
                                      const SliderSettings& settings, Console& console) {
    const Interrupts interrupts;
    auto target = makeTarget(request);
    if (!target) return std::unexpected(target.error());
    ExportProgress progress(console, request.tellsJson);
    const glasshob::ExportSegment segment(opened.program, settings.values, request.start, request.duration,
                                          request.hasMark, false);
    const auto frames =
        request.frames ? glasshob::FrameRange{request.frames->first, request.frames->end} : glasshob::FrameRange{};
    const auto done = glasshob::exportFrames({segment},
                                             {.preset = request.preset,
                                              .device = opened.device,
                                              .progress =
                                                  [&](std::int64_t number, std::int64_t total) {
                                                      progress.tell(number, total);
                                                      return !interrupts.happened() && !console.outputFailed();
                                                  },
                                              .stop = interrupts.token(),
                                              .frames = frames},
                                             *target->sink);
    console.endProgress();
    if (done && target->file) return target->file->moveIntoPlace();
    return done;
}

} // namespace

ExitStatus exportFrames(const ExportRequest& request, const std::string& path, const Source& source,
                        const SliderSettings& settings, Console& console) {
    if (!checkPlaces(request, path, console)) return ExitStatus::failed;
    const auto opened = openProgram(console, source, request.preset.width, request.preset.height);
    if (!opened) return ExitStatus::failed;
    for (const std::string& note : request.notes)
        console.problem(note);
    if (opened->program->soundPipeline() != nullptr)
        console.problem("The frames go without the shader's sound: hob sound writes that.");
    const auto done = work(request, *opened, settings, console);
    if (!done) console.problem(done.error());
    return done ? ExitStatus::done : ExitStatus::failed;
}

} // namespace hob
