#include "GlassHobRender/VideoExporter.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/ExportRequest.h"
#include "hob/Interrupts.h"
#include "hob/Output.h"
#include "hob/Source.h"
#include "hob/Values.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace hob {

namespace {

using glasshob::MovieEncoder;

// The movie is written beside its place and moved there when it is whole.
std::string unfinishedName(const std::string& output) {
    const std::size_t slash = output.rfind('/');
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    return output.substr(0, name) + "." + output.substr(name) + "." + std::to_string(getpid()) + ".part";
}

ExitStatus exportMovie(const ExportRequest& request, const Source& source, const SliderSettings& settings,
                       Console& console) {
    const auto opened = openProgram(console, source, request.preset.width, request.preset.height);
    if (!opened) return ExitStatus::failed;
    const auto& [device, program] = *opened;
    const glasshob::ExportPlan plan(request.preset, request.start, request.duration);
    const std::string unfinished = unfinishedName(request.output);
    const Interrupts interrupts;
    ExportProgress progress(console, request.tellsJson);
    try {
        glasshob::VideoExporter::exportMovie(
            program, settings.values, plan, request.hasMark, device, unfinished,
            [&](std::int64_t done, std::int64_t total) {
                progress.tell(done, total);
                return !interrupts.happened() && !console.outputFailed();
            },
            request.encoding, interrupts.token());
    } catch (const std::exception& error) {
        console.endProgress();
        const auto* export_ = dynamic_cast<const glasshob::ExportError*>(&error);
        const bool isHardware =
            request.encoding.encoder == MovieEncoder::vaapi || request.encoding.encoder == MovieEncoder::nvenc;
        if (isHardware && export_ != nullptr && export_->kind == glasshob::ExportError::Kind::setup)
            console.problem(std::string(error.what()) +
                            ". The chosen --encoder is not there or does not take this size on this machine: leave "
                            "the option out to encode without it.");
        else
            console.problem(error.what());
        return ExitStatus::failed;
    }
    console.endProgress();
    if (std::rename(unfinished.c_str(), request.output.c_str()) != 0) {
        console.problem("The movie is whole, but could not be moved to " + request.output + ": it is in " + unfinished +
                        ".");
        return ExitStatus::failed;
    }
    return ExitStatus::done;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto request = readExportRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const std::string& path = arguments.operands().front();
    const auto source = readSource(console, path);
    if (!source) return ExitStatus::failed;
    const auto settings = readSettings(arguments.values("--set"), glasshob::ParamParser::parse(source->text));
    if (!settings) {
        console.problem(settings.error());
        return ExitStatus::wrongUsage;
    }
    for (const std::string& note : settings->notes)
        console.problem(note);
    if (!checkOutput(console, request->output, path)) return ExitStatus::failed;
    struct stat status = {};
    if (!request->replaces && stat(request->output.c_str(), &status) == 0) {
        console.problem(request->output + " is there already: add --force to replace it.");
        return ExitStatus::failed;
    }
    return exportMovie(*request, *source, *settings, console);
}

} // namespace

const Command& exportCommand() {
    static const Command command = {
        .name = "export",
        .summary = "Render a shader into a movie with its sound",
        .usage = "FILE -o OUT.mp4 [--force] [--preset ID] [--start S] [--duration D] [OPTIONS]",
        .notes =
            "The movie is MPEG-4 with H.264 or HEVC pictures in Rec. 709 and AAC sound, where the shader has any.\n"
            "It appears under its name when it is whole. Ctrl-C ends the export and leaves nothing.\n"
            "--json prints one object a line: frame, frames, seconds, framesPerSecond, secondsLeft.\n",
        .operands = Operands::one,
        .options = exportOptions(),
        .run = run,
    };
    return command;
}

} // namespace hob
