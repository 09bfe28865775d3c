// Texts that try to make the compiler do too much, each as small as its attack allows. Made on demand: some have many
// megabytes.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace msl::test {

struct HostileText {
    const char* name;
    std::function<std::string()> make;
    // What the messages must say; empty where a module or any message will do.
    const char* message = "";
};

const std::vector<HostileText>& hostileTexts();

} // namespace msl::test
