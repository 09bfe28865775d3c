#include "GlassHobCore/files/NewFile.h"
#include "GlassHobCore/files/ShadersFolder.h"
#include "GlassHobCore/site/OpenLink.h"
#include "GlassHobCore/site/ShaderDownload.h"
#include "hob/Commands.h"
#include "hob/Interrupts.h"
#include "hob/Output.h"
#include "hob/SiteOption.h"

namespace hob {

namespace {

using glasshob::OpenLink;

constexpr Option options[] = {
    {"--output", "-o", "FILE", "where the shader goes; - is standard output"},
    {"--force", "", "", "replace FILE when it is there already"},
    siteOption,
};

// Whether the shader can go there; tells why when not.
bool check(Console& console, const std::string& output, bool replaces) {
    if (output != "-") return checkOutput(console, output, {}) && checkPlace(console, output, replaces);
    if (!console.outputIsTerminal()) return true;
    console.problem("Standard output is a terminal, which a text from elsewhere may steer: give a file, or send it on "
                    "with a pipe.");
    return false;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    Online online;
    const auto site = siteOf(arguments, console);
    if (!site) return ExitStatus::wrongUsage;
    const auto link = OpenLink::parse(arguments.operands()[0], *site);
    if (!link) {
        console.problem(link.error().description());
        return ExitStatus::failed;
    }
    const auto output = arguments.value("--output");
    const bool replaces = arguments.has("--force");
    if (output && !check(console, *output, replaces)) return ExitStatus::failed;

    const Interrupts interrupts("The shader was not fetched.");
    const auto text = online.wait(glasshob::ShaderDownload::fetch(*link, *site, online.session(), interrupts.token()));
    if (!text) {
        console.problem(interrupts.happened() ? "The shader was not fetched." : text.error().sentence);
        return ExitStatus::failed;
    }
    const std::string stamped = link->stamped(*text);
    if (output) {
        if (!writeOutput(console, *output, stamped, replaces)) return ExitStatus::failed;
        if (*output != "-") console.write(*output + "\n");
        return ExitStatus::done;
    }
    const auto path = glasshob::NewFile::write(glasshob::shadersFolder(), link->fileName, stamped);
    if (!path) {
        console.problem(path.error());
        return ExitStatus::failed;
    }
    console.write(*path + "\n");
    return ExitStatus::done;
}

} // namespace

const Command& fetchCommand() {
    static constexpr Command command = {
        .name = "fetch",
        .summary = "Save the shader of a link of the gallery, without running it",
        .usage = "LINK [-o FILE] [--force] [--site URL]",
        .notes =
            "LINK is what the gallery's \"Open in Glass Hob\" has: glasshob://open?src=... Its shader is checked and "
            "saved\n"
            "under a free name in Documents/Glass Hob, where the window keeps new shaders, or as FILE; the path is\n"
            "printed. Read it before you run it.\n",
        .operands = Operands::link,
        .options = options,
        .run = run,
    };
    return command;
}

} // namespace hob
