#pragma once

// The program behind `main`: finds the command, reads its options, gives help, runs it. Results go to the console's
// output, everything else to its error side. Touches Vulkan only in the commands that draw.

#include "hob/Console.h"

#include <span>
#include <string>

namespace hob {

// `words` are the arguments without the program's name.
ExitStatus run(std::span<const std::string> words, Console& console);

} // namespace hob
