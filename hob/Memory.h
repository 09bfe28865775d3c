#pragma once

// Memory that runs out is told in a sentence, wherever that is noticed: here, in a library, or inside of a driver that
// goes down with it. `prepareForLackOfMemory()` is called once, first thing in main.

#include <optional>
#include <string>

namespace hob {

// From here on the process ends with a sentence and ExitStatus::failed where memory or threads run out. Where the
// process may use only so much address space, that also holds for the crash of a driver.
void prepareForLackOfMemory();

// Why no device can be opened under the limit on address space that is in force; nothing when there is enough or no
// limit.
std::optional<std::string> lackOfAddressSpace();

} // namespace hob
