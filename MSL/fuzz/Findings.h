// What the fuzzers hold the compiler to, beyond not crashing. A violation prints what was wrong and aborts, which
// libFuzzer reports as a finding together with the text that caused it.
#pragma once

#include "MSL/Diagnostic.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace msl::fuzz {

// A stable number made of the text: chooses among variants of a run, so that a finding repeats.
std::uint32_t hashOf(std::string_view text);

[[noreturn]] void finding(const std::string& what);

// Every message must be one line and stand at a place that the text has, and none may be an internal compiler error.
// With `isFailure` at least one must be an error.
void checkMessages(std::span<const Diagnostic> messages, std::string_view source, bool isFailure);

// SPIRV-Tools must accept the module for Vulkan 1.3.
void checkModule(const std::vector<std::uint32_t>& spirv);

} // namespace msl::fuzz
