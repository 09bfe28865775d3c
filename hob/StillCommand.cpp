#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/shader/ExportLimits.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobRender/formats/StillFile.h"
#include "GlassHobRender/output/StillRenderer.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/Interrupts.h"
#include "hob/Output.h"
#include "hob/Source.h"
#include "hob/Values.h"

#include <cmath>

namespace hob {

namespace {

constexpr Option options[] = {
    {"--output", "-o", "OUT.png", "the picture's file, .png, .jpg or .webp; - for a PNG on standard output"},
    {"--force", "", "", "replace the file if there is one"},
    {"--size", "", "WxH", "width and height in pixels (1920x1080)"},
    {"--time", "", "T", "shader time in seconds (the shader's @still time, else 10)"},
    {"--frame", "", "N", "the frame number that the shader sees (0)"},
    {"--set", "", "NAME=VALUE", "set a slider; may be repeated"},
};

// What the options say, apart from the sliders, which need the shader.
struct Request {
    std::string output;
    bool replaces = false;
    glasshob::StillFormat format = glasshob::StillFormat::png;
    Size size;
    std::optional<double> time;
    std::uint32_t frame = 0;
};

std::expected<Request, std::string> readRequest(const Arguments& arguments) {
    Request request;
    const auto output = arguments.value("--output");
    if (!output || output->empty()) return std::unexpected("No file for the picture was given: add -o OUT.png.");
    request.output = *output;
    request.replaces = arguments.has("--force");
    if (*output != "-") {
        const auto format = glasshob::StillFormats::ofPath(*output);
        if (!format) return std::unexpected(format.error());
        request.format = *format;
    }
    if (const auto text = arguments.value("--size")) {
        const auto size = readSize(*text);
        if (!size) return std::unexpected(size.error());
        request.size = *size;
    }
    if (const auto text = arguments.value("--time")) {
        const auto time = readTime("--time", *text);
        if (!time) return std::unexpected(time.error());
        request.time = *time;
    }
    if (const auto text = arguments.value("--frame")) {
        const auto frame = readFrame(*text);
        if (!frame) return std::unexpected(frame.error());
        request.frame = *frame;
    }
    return request;
}

ExitStatus draw(const Request& request, const Source& source, const SliderSettings& settings, double time,
                Console& console) {
    const auto opened = openProgram(console, source, request.size.width, request.size.height);
    if (!opened) return ExitStatus::failed;
    const auto& [device, program] = *opened;
    if (program->particles() != nullptr && time > glasshob::ExportLimits::latestStart) {
        console.problem("Particles are run up to the moment step by step, and " + glasshob::shortestText(float(time)) +
                        " seconds would never be reached: give --time " +
                        std::to_string(std::int64_t(glasshob::ExportLimits::latestStart)) + " at most.");
        return ExitStatus::failed;
    }
    console.progress("Drawing " + source.name);
    const Interrupts interrupts("The drawing was cancelled.");
    const auto image = glasshob::StillRenderer::render(
        program, device, request.size.width, request.size.height, request.frame, settings.values,
        static_cast<float>(time), interrupts.token(),
        [&](double reached, double target) { console.progress(catchUpText(reached, target)); });
    console.endProgress();
    if (!image) {
        console.problem(interrupts.happened() ? "The drawing was cancelled." : "The still could not be drawn.");
        return ExitStatus::failed;
    }
    const auto bytes = glasshob::StillFile::encode(*image, request.format);
    if (!bytes) {
        console.problem(bytes.error());
        return ExitStatus::failed;
    }
    tellCutLoops(console, source, *opened);
    return writeOutput(console, request.output, *bytes, request.replaces) ? ExitStatus::done : ExitStatus::failed;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto request = readRequest(arguments);
    if (!request) {
        console.problem(request.error());
        return ExitStatus::wrongUsage;
    }
    const auto input = readShaderInput(console, arguments);
    if (!input) return input.error();
    const double time = request->time.value_or(glasshob::EpisodeMeta::parse(input->source.text).still);
    if (!std::isfinite(static_cast<float>(time))) {
        console.problem("The @still time of " + input->source.name + " is too large: give another with --time.");
        return ExitStatus::failed;
    }
    if (!checkOutput(console, request->output, input->path) || !checkPlace(console, request->output, request->replaces))
        return ExitStatus::failed;
    return draw(*request, input->source, input->settings, time, console);
}

} // namespace

const Command& stillCommand() {
    static constexpr Command command = {
        .name = "still",
        .summary = "Draw one picture of a shader into a file",
        .usage = "FILE -o OUT.png [--force] [--size WxH] [--time T] [--frame N] [--set NAME=VALUE]...",
        .notes = "The ending says the format: PNG, JPEG or WebP, opaque and sRGB. With --force an existing file is "
                 "replaced once\n"
                 "the picture is complete.\n",
        .operands = Operands::one,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
