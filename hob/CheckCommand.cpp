#include "hob/Commands.h"
#include "hob/Source.h"

namespace hob {

namespace {

bool check(const std::string& path, Console& console) {
    const auto source = readSource(console, path);
    if (!source) return false;
    const auto compiled = compileSource(*source);
    if (!compiled) {
        tellCompileError(console, *source, compiled.error());
        return false;
    }
    tellWarnings(console, *source, glasshob::fromCompiler(compiled->library.warnings));
    if (console.outputIsTerminal()) console.write(source->name + " compiles.\n");
    return true;
}

ExitStatus run(const Arguments& arguments, Console& console) {
    bool allGood = true;
    for (const std::string& path : arguments.operands())
        allGood = check(path, console) && allGood;
    return allGood ? ExitStatus::done : ExitStatus::failed;
}

} // namespace

const Command& checkCommand() {
    static constexpr Command command = {
        .name = "check",
        .summary = "Compile shaders and show what is wrong with them",
        .usage = "FILE...",
        .notes = "Errors and warnings go to standard error as FILE:LINE:COLUMN, those about // @param lines and other\n"
                 "directives too. No GPU and no driver is needed. The exit status is 0 when every file compiles.\n"
                 "A FILE of - is read from standard input.\n",
        .operands = Operands::oneOrMore,
        .options = {},
        .run = run,
    };
    return command;
}

} // namespace hob
