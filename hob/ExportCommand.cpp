#include "GlassHobRender/export/VideoExporter.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/ExportRequest.h"
#include "hob/FrameExport.h"
#include "hob/Output.h"
#include "hob/Source.h"

#include <stdexcept>

namespace hob {

namespace {

using glasshob::MovieEncoder;

void tellFailure(const std::exception& error, const ExportRequest& request, Console& console) {
    const auto* export_ = dynamic_cast<const glasshob::ExportError*>(&error);
    const bool isHardware =
        request.encoding.encoder == MovieEncoder::vaapi || request.encoding.encoder == MovieEncoder::nvenc;
    if (isHardware && export_ != nullptr && export_->kind == glasshob::ExportError::Kind::setup)
        console.problem(std::string(error.what()) +
                        ". The chosen --encoder is not there or does not take this size on this machine: leave "
                        "the option out to encode without it.");
    else
        console.problem(error.what());
}

void tellSize(const ExportRequest& request, Console& console) {
    const std::int64_t width = request.preset.width;
    const std::int64_t height = request.preset.height;
    if (width % 2 == 0 && height % 2 == 0) return;
    const std::string side = width % 2 == 0 ? "row" : height % 2 == 0 ? "column" : "column and row";
    console.problem("A movie has even sides: " + request.output + " is " + std::to_string(width + width % 2) + "x" +
                    std::to_string(height + height % 2) + ", with its last " + side + " twice.");
}

ExitStatus exportMovie(const ExportRequest& request, const ShaderInput& input, const std::string& path,
                       Console& console) {
    const SliderSettings& settings = input.settings;
    const auto opened = openProgram(console, input.source, request.preset.width, request.preset.height);
    if (!opened) return ExitStatus::failed;
    const auto& [device, program] = *opened;
    ExportProgress progress(console, request.tellsJson);
    const auto tell = [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); };
    ExitStatus status = ExitStatus::done;
    try {
        if (request.frames)
            glasshob::VideoExporter::exportPart(program,
                                                glasshob::MoviePart::of(*program, input.source.text, settings.values,
                                                                        request.plan(), request.hasMark,
                                                                        request.frames->first, request.frames->end),
                                                device, path, tell, request.encoding, progress.stop());
        else
            glasshob::VideoExporter::exportMovie(program, settings.values, request.plan(), request.hasMark, device,
                                                 path, tell, request.encoding, progress.stop());
    } catch (const std::exception& error) {
        tellFailure(error, request, console);
        status = ExitStatus::failed;
    }
    console.endProgress();
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
    if (request->format != ExportFormat::movie) return exportFrames(*request, *input, console);
    if (!checkOutput(console, request->output, input->path)) return ExitStatus::failed;
    auto file = openOutput(console, request->output, request->replaces);
    if (!file) return ExitStatus::failed;
    ExitStatus status = exportMovie(*request, *input, file->path(), console);
    if (status == ExitStatus::done) status = finishOutput(console, *file);
    if (status == ExitStatus::done) tellSize(*request, console);
    return status;
}

} // namespace

const Command& exportCommand() {
    static const Command command = {
        .name = "export",
        .summary = "Render a shader into a movie with its sound",
        .usage = "FILE -o OUT.mp4 [--force] [--preset ID] [--start S] [--duration D] [OPTIONS]",
        .notes =
            "The movie is MPEG-4 with H.264 or HEVC pictures in Rec. 709 and AAC sound, where the shader has any.\n"
            "OUT.gif is an animation that runs for ever, 640x360 unless --size or --preset say otherwise, at most 50\n"
            "frames a second. frames/ (a folder, with the slash) or frames/%05d.png are sRGB PNG files, one a frame.\n"
            "OUT.y4m, or - for standard output, is raw 4:2:0 frames, for a pipe to ffmpeg -i - or such. These have no\n"
            "sound, and nothing is encoded: --codec, --bitrate, --encoder and --quality are for movies.\n"
            "The result appears under its name when it is whole. Ctrl-C ends the export and leaves nothing.\n"
            "--json prints one object a line: frame, frames, seconds, framesPerSecond, secondsLeft.\n"
            "--frames lets several machines share one movie: each renders a part, and hob join makes the whole. PNG\n"
            "files have the numbers of the whole.\n",
        .operands = Operands::one,
        .options = exportOptions(),
        .run = run,
    };
    return command;
}

} // namespace hob
