#include "GlassHobRender/export/ExportSinks.h"
#include "GlassHobRender/formats/PngSink.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/ExportRequest.h"
#include "hob/Output.h"
#include "hob/Source.h"

#include <stdexcept>
#include <sys/stat.h>

namespace hob {

namespace {

using glasshob::ExportError;
using glasshob::ExportFormat;
using glasshob::ExportSegment;
using glasshob::MovieEncoder;
using glasshob::PartialFile;

bool isMovie(const ExportRequest& request) {
    return glasshob::ExportFormats::entry(request.format).isMovie;
}

void tellFailure(const ExportError& error, const ExportRequest& request, Console& console) {
    const bool isHardware =
        request.encoding.encoder == MovieEncoder::vaapi || request.encoding.encoder == MovieEncoder::nvenc;
    if (isHardware && error.kind == ExportError::Kind::setup)
        console.problem(error.description + ". The chosen --encoder is not there or does not take this size on this "
                                            "machine: leave the option out to encode without it.");
    else
        console.problem(error.description);
}

void tellSize(const ExportRequest& request, Console& console) {
    const std::int64_t width = request.preset.width;
    const std::int64_t height = request.preset.height;
    if (width % 2 == 0 && height % 2 == 0) return;
    const std::string side = width % 2 == 0 ? "row" : height % 2 == 0 ? "column" : "column and row";
    console.problem("A movie has even sides: " + request.output + " is " + std::to_string(width + width % 2) + "x" +
                    std::to_string(height + height % 2) + ", with its last " + side + " twice.");
}

bool isThere(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

// Whether the places of numbered files are free, or may be taken; tells why when not.
bool checkPlaces(const ExportRequest& request, Console& console) {
    const auto names = glasshob::FrameNames::parse(request.output);
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

// A part of a movie tells of its whole; everything else goes into the sink of its format.
void exportInto(const ExportRequest& request, const ShaderInput& input, const Program& opened, const std::string& path,
                ExportProgress& progress) {
    glasshob::VideoExporter::Encoding encoding = request.encoding;
    encoding.container = glasshob::containerOf(request.format);
    encoding.catchUp = [&](double reached, double target) { progress.tellCatchUp(reached, target); };
    const auto tell = [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); };
    const std::vector<ExportSegment> segments = {ExportSegment(opened.program, input.settings.values, request.start,
                                                               request.duration, request.hasMark, isMovie(request))};
    if (isMovie(request) && request.frames) {
        const auto part = glasshob::MoviePart::of(segments, request.preset, *request.frames,
                                                  [&](const glasshob::ShaderProgram&) { return input.source.text; });
        glasshob::VideoExporter::exportPart(segments, part, opened.device, path, tell, encoding, progress.stop());
    } else if (isMovie(request)) {
        glasshob::VideoExporter::exportMovie(segments, request.preset, opened.device, path, tell, encoding,
                                             progress.stop());
    } else {
        const auto sink = glasshob::makeSink({.format = request.format,
                                              .path = path,
                                              .name = request.output == "-" ? "Standard output" : request.output,
                                              .preset = request.preset,
                                              .replaces = request.replaces});
        if (!sink) throw ExportError(sink.error());
        const auto done = glasshob::exportFrames(segments,
                                                 {.preset = request.preset,
                                                  .device = opened.device,
                                                  .progress = tell,
                                                  .stop = progress.stop(),
                                                  .frames = request.frames,
                                                  .catchUp = encoding.catchUp},
                                                 **sink);
        if (!done) throw ExportError(done.error());
    }
}

ExitStatus work(const ExportRequest& request, const ShaderInput& input, const std::string& path, Console& console) {
    const auto opened = openProgram(console, input.source, request.preset.width, request.preset.height);
    if (!opened) return ExitStatus::failed;
    for (const std::string& note : request.notes)
        console.problem(note);
    if (!isMovie(request) && opened->program->soundPipeline() != nullptr)
        console.problem("The frames go without the shader's sound: hob sound writes that.");
    ExportProgress progress(console, request.tellsJson);
    ExitStatus status = ExitStatus::done;
    try {
        exportInto(request, input, *opened, path, progress);
        console.endProgress();
        tellCutLoops(console, input.source, *opened);
    } catch (const ExportError& error) {
        console.endProgress();
        tellFailure(error, request, console);
        status = ExitStatus::failed;
    }
    return status;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto request = readExportRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const auto input = readShaderInput(console, arguments);
    if (!input) return input.error();
    if (request->format == ExportFormat::pngs)
        return checkPlaces(*request, console) ? work(*request, *input, request->output, console) : ExitStatus::failed;
    if (!checkOutput(console, request->output, input->path)) return ExitStatus::failed;
    if (request->output == "-") return work(*request, *input, {}, console);
    auto file = openOutput(console, request->output, request->replaces);
    if (!file) return ExitStatus::failed;
    ExitStatus status = work(*request, *input, file->path(), console);
    if (status == ExitStatus::done) status = finishOutput(console, *file, request->output, request->replaces);
    if (status == ExitStatus::done && isMovie(*request)) tellSize(*request, console);
    return status;
}

// One line for each ending, from the table that the window reads as well.
std::string formatHelp() {
    std::string text = "The ending of OUT says what is written:\n";
    for (const auto& each : glasshob::ExportFormats::all()) {
        if (each.format == ExportFormat::wav) continue;
        std::string ending(each.format == ExportFormat::pngs ? "%05d.png, or a folder/" : each.ending);
        ending.resize(24, ' ');
        text += "  " + ending + std::string(each.name) + ": " + std::string(each.contents) + "\n";
    }
    return text;
}

} // namespace

const Command& exportCommand() {
    static const std::string notes =
        formatHelp() +
        "\nA GIF is 640x360 unless --size or --preset say otherwise, and has at most 50 frames a second. Animations\n"
        "and pictures have no sound, and --codec, --bitrate, --encoder and --quality mean nothing for it; WebM has one "
        "codec.\n"
        "The result appears under its name when it is whole. Ctrl-C ends the export and leaves nothing; a second one\n"
        "does not wait for the frame at hand.\n"
        "--json prints one object a line: frame, frames, seconds, framesPerSecond, secondsLeft.\n"
        "--frames lets several machines share one movie: each renders a part, and hob join makes the whole. PNG\n"
        "files have the numbers of the whole.\n";
    static const Command command = {
        .name = "export",
        .summary = "Render a shader into a movie with its sound, an animation or pictures",
        .usage = "FILE -o OUT.mp4 [--force] [--preset ID] [--start S] [--duration D] [OPTIONS]",
        .notes = notes,
        .operands = Operands::one,
        .options = exportOptions(),
        .run = run,
    };
    return command;
}

} // namespace hob
