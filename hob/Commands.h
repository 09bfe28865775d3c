#pragma once

// The commands of hob. Each is one source file: its table of options, its help and the function that runs it. A command
// tells its own problems on the console and gives the exit status.

#include "hob/Arguments.h"
#include "hob/Console.h"

#include <span>
#include <string_view>

namespace hob {

struct Command {
    std::string_view name;
    // One line for the list of commands.
    std::string_view summary;
    // What follows the name on the usage line.
    std::string_view usage;
    // A few sentences under the options.
    std::string_view notes;
    Operands operands = Operands::one;
    std::span<const Option> options;
    ExitStatus (*run)(const Arguments& arguments, Console& console) = nullptr;
};

const Command& checkCommand();
const Command& infoCommand();
const Command& shareCommand();
const Command& stillCommand();
const Command& soundCommand();
const Command& exportCommand();
const Command& episodeCommand();
const Command& joinCommand();
const Command& devicesCommand();
const Command& samplesCommand();
const Command& fetchCommand();
const Command& updateCommand();
const Command& signInCommand();
const Command& signOutCommand();
const Command& accountCommand();
const Command& handleCommand();

} // namespace hob
