#include "GPU/Device.h"
#include "GlassHobRender/export/ExportSinks.h"
#include "GlassHobRender/export/MovieJoiner.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/Output.h"
#include "hob/Source.h"

#include <map>

namespace hob {

namespace {

using glasshob::ExportFormat;

constexpr Option options[] = {
    {"--output", "-o", "OUT.mp4", "the movie's file"},
    {"--force", "", "", "replace the file if there is one"},
    {"--json", "", "", "print progress as lines of JSON on standard output"},
};

ExitStatus run(const Arguments& arguments, Console& console) {
    const auto output = arguments.value("--output");
    if (!output || *output == "-") {
        console.problem(output ? "A movie cannot be sent to standard output: add -o OUT.mp4."
                               : "No file for the movie was given: add -o OUT.mp4.");
        return ExitStatus::wrongUsage;
    }
    const auto joiner = glasshob::MovieJoiner::make(arguments.operands());
    if (!joiner) {
        console.problem(joiner.error());
        return ExitStatus::failed;
    }
    const auto format = glasshob::ExportFormats::ofPath(*output);
    if (!format || (*format != ExportFormat::mp4 && *format != ExportFormat::mov)) {
        console.problem(*output + " cannot be joined from parts, which are MPEG-4: give -o OUT.mp4 or OUT.mov.");
        return ExitStatus::wrongUsage;
    }
    for (const std::string& part : arguments.operands())
        if (!checkOutput(console, *output, part, "one of the parts")) return ExitStatus::failed;
    const bool replaces = arguments.has("--force");
    auto file = openOutput(console, *output, replaces);
    if (!file) return ExitStatus::failed;
    std::optional<ChaptersOutput> chapters;
    if (const auto& whole = joiner->whole().chapters) {
        chapters = ChaptersOutput::open(console, *output, whole->json(), replaces);
        if (!chapters) return ExitStatus::failed;
    }
    bool allOpened = true;
    std::shared_ptr<gpu::Device> device;
    std::map<std::string, std::shared_ptr<const glasshob::ShaderProgram>> programs; // by their texts
    const auto segments = joiner->whole().exportSegments([&](const std::string& text) {
        if (!allOpened || !joiner->whole().hasSound()) return std::shared_ptr<const glasshob::ShaderProgram>();
        auto& program = programs[text];
        if (program != nullptr) return program;
        auto opened = openProgram(console, {"The shader in the parts", text});
        allOpened = opened.has_value();
        if (opened) {
            device = opened->device;
            program = std::move(opened->program);
        }
        return program;
    });
    if (!allOpened) return ExitStatus::failed;
    ExportProgress progress(console, arguments.has("--json"));
    const auto joined = joiner->join(
        file->path(), glasshob::containerOf(*format), segments, device,
        [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); }, progress.stop());
    console.endProgress();
    if (!joined) {
        console.problem(joined.error());
        return ExitStatus::failed;
    }
    return chapters ? chapters->finish(console, *file, *output, replaces)
                    : finishOutput(console, *file, *output, replaces);
}

} // namespace

const Command& joinCommand() {
    static const Command command = {
        .name = "join",
        .summary = "Join parts of a movie, made by hob export --frames, into the whole",
        .usage = "-o OUT.mp4 [--force] PART...",
        .notes =
            "The parts may be given in any order. Their pictures are taken over as they are; the sound is rendered\n"
            "from the shader, which the parts hold. --json prints progress as hob export does.\n",
        .operands = Operands::parts,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
