#pragma once

// What the library's functions do, in a sentence each, and the groups in which a reference lists them. Static data; any
// thread.

#include <span>
#include <string_view>

namespace glasshob::libraryNames {

struct FunctionNote {
    std::string_view name;
    std::string_view text;
};

struct FunctionGroup {
    std::string_view title;
    std::string_view text; // what they have in common; may be empty
    std::span<const FunctionNote> functions;
};

// Every function of the library in one group, those that shaders use most first.
std::span<const FunctionGroup> functionGroups();
// Empty for a name that is no function of the library.
std::string_view onFunction(std::string_view name);

} // namespace glasshob::libraryNames
