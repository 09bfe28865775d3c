#include "GPU/Device.h"
#include "GlassHobRender/export/MovieJoiner.h"
#include "GlassHobRender/program/ShaderProgram.h"
#include "hob/Commands.h"
#include "hob/ExportProgress.h"
#include "hob/Output.h"
#include "hob/Source.h"

namespace hob {

namespace {

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
    for (const std::string& part : arguments.operands())
        if (!checkOutput(console, *output, part, "one of the parts")) return ExitStatus::failed;
    auto file = openOutput(console, *output, arguments.has("--force"));
    if (!file) return ExitStatus::failed;
    Program program;
    if (joiner->whole().hasSound) {
        auto opened = openProgram(console, {"The shader in the parts", joiner->whole().shader});
        if (!opened) return ExitStatus::failed;
        program = std::move(*opened);
    }
    ExportProgress progress(console, arguments.has("--json"));
    const auto joined = joiner->join(
        file->path(), program.program, program.device,
        [&](std::int64_t done, std::int64_t total) { return progress.tell(done, total); }, progress.stop());
    console.endProgress();
    if (!joined) {
        console.problem(joined.error());
        return ExitStatus::failed;
    }
    return finishOutput(console, *file);
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
