#include "GlassHobCore/shader/ExportFormats.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobRender/output/AudioRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/Interrupts.h"
#include "hob/Output.h"
#include "hob/Source.h"
#include "hob/Values.h"

namespace hob {

namespace {

constexpr Option options[] = {
    {"--output", "-o", "OUT.wav", "the sound's file; - for standard output"},
    {"--force", "", "", "replace the file if there is one"},
    {"--start", "", "S", "shader time of the first sample in seconds (0)"},
    {"--duration", "", "D", "length in seconds (10)"},
    {"--set", "", "NAME=VALUE", "set a slider; may be repeated"},
};

struct Request {
    std::string output;
    bool replaces = false;
    double start = 0;
    double duration = 10;
};

std::expected<Request, std::string> readRequest(const Arguments& arguments) {
    Request request;
    const auto output = arguments.value("--output");
    if (!output || output->empty()) return std::unexpected("No file for the sound was given: add -o OUT.wav.");
    request.output = *output;
    request.replaces = arguments.has("--force");
    const auto format = glasshob::ExportFormats::ofPath(request.output);
    if (request.output != "-" && format != glasshob::ExportFormat::wav)
        return std::unexpected("Sound is written as a WAV file: " + request.output +
                               " is no name for one, so give a name that ends in .wav.");
    if (const auto text = arguments.value("--start")) {
        const auto start = readTime("--start", *text);
        if (!start) return std::unexpected(start.error());
        request.start = *start;
    }
    if (const auto text = arguments.value("--duration")) {
        const auto duration = readDuration("--duration", *text, glasshob::AudioRenderer::maxDuration);
        if (!duration) return std::unexpected(duration.error());
        request.duration = *duration;
    }
    return request;
}

ExitStatus render(const Request& request, const Source& source, const SliderSettings& settings, Console& console) {
    const auto opened = openProgram(console, source);
    if (!opened) return ExitStatus::failed;
    const auto& [device, program] = *opened;
    if (program->soundPipeline() == nullptr) {
        console.problem(source.name + " has no sound: give it a function float2 sound(float t, constant Params& p).");
        return ExitStatus::failed;
    }
    const Interrupts interrupts("The sound was cancelled.");
    const auto progress = [&](double done, double total) {
        console.progress("Sound: " + glasshob::twoDecimals(static_cast<float>(done)) + " of " +
                         glasshob::twoDecimals(static_cast<float>(total)) + " s");
        return !interrupts.happened();
    };
    const auto samples =
        glasshob::AudioRenderer::render(program, device, settings.values, request.start, request.duration, progress);
    console.endProgress();
    if (!samples) {
        console.problem(interrupts.happened() ? "The sound was cancelled." : "The sound could not be rendered.");
        return ExitStatus::failed;
    }
    const std::string bytes = glasshob::AudioRenderer::wav(*samples);
    return writeOutput(console, request.output, bytes, request.replaces) ? ExitStatus::done : ExitStatus::failed;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto request = readRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const auto input = readShaderInput(console, arguments);
    if (!input) return input.error();
    if (!checkOutput(console, request->output, input->path) || !checkPlace(console, request->output, request->replaces))
        return ExitStatus::failed;
    return render(*request, input->source, input->settings, console);
}

} // namespace

const Command& soundCommand() {
    static constexpr Command command = {
        .name = "sound",
        .summary = "Render a shader's sound into a WAV file",
        .usage = "FILE -o OUT.wav [--force] [--start S] [--duration D] [--set NAME=VALUE]...",
        .notes = "The sound is 16-bit stereo at 48000 Hz. With --force an existing file is replaced once the\n"
                 "sound is complete.\n",
        .operands = Operands::one,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
