// The Vulkan validation layer: on when the environment variable GLASSHOB_VALIDATION is 1 as the first device is made.
// Every warning and error of it is printed to standard error and kept here, from any thread, for tests to fail on.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace gpu {

// Whether the layer was asked for, and whether it is really at work (false also when it is not installed).
bool validationRequested();
bool validationActive();

std::size_t validationMessageCount();
std::vector<std::string> validationMessages();

} // namespace gpu
