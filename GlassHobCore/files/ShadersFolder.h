#pragma once

// Where a person's new shaders live: "Glass Hob" in the folder of documents. Paths are native bytes. Any thread.

#include <string>

namespace glasshob {

std::string shadersPath();
// The same, made when it is not there yet.
std::string shadersFolder();

} // namespace glasshob
