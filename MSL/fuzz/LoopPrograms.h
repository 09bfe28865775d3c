// Kernels that try to make the index checks believe in an index that is out of range: loops of every kind over counters
// of every integer type, with steps that read another variable, run twice, go through functions, references and
// lambdas, wrap at the end of their type, or are undone in the body. Whatever such a kernel does, its IR must stay
// inside of what it indexes; the interpreter says whether it does.
#pragma once

#include <cstdint>
#include <string>

namespace msl::fuzz {

// The same text for the same seed.
std::string loopProgram(std::uint64_t seed);

// Compiles the text to IR and runs it with buffers of several sizes, the open ones empty too. What is wrong with it;
// empty when nothing is. Programs that do not end are fine.
std::string checkProgram(const std::string& text);

} // namespace msl::fuzz
