// The compiler's whole public interface: Metal Shading Language text in, one SPIR-V module for Vulkan 1.3 with every
// entry point of the text, and its reflection, out.
//
// compile() is a pure function: no global state, no files, no environment, any thread, any number at once. It never
// throws and never crashes on any text; what a text can do wrong becomes diagnostics, and what the compiler itself
// does wrong becomes one "internal compiler error" diagnostic that names the place.
#pragma once

#include "MSL/Reflection.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace msl {

struct CompileOptions {
    // The name that messages give to text before the first #line directive.
    std::string fileName = "program_source";

    // The bytes of the source that a stranger wrote ([foreignBegin, foreignEnd)). A #line directive inside them may
    // renumber lines but cannot claim another file. Empty by default: every #line is trusted.
    std::size_t foreignBegin = 0;
    std::size_t foreignEnd = 0;

    // Give up with a diagnostic after about this much wall time; zero means no limit. The fixed limits on depth,
    // expansion and output size hold regardless.
    std::chrono::milliseconds timeLimit{0};

    // What becomes of warnings: told, left out, or told as errors.
    enum class Warnings : std::uint8_t { told, ignored, errors };
    Warnings warnings = Warnings::told;

    // Add OpName for functions, variables and members (for reading the output; drivers ignore them).
    bool debugNames = false;
};

struct CompiledLibrary {
    std::vector<std::uint32_t> spirv;
    Reflection reflection;
    std::string warnings; // the warnings and their notes in the shape of CompileError::text; empty when there are none
};

// The messages of a failed compile, one block of text: "file:line:column: error: message", the source line and the
// caret under it, notes in the same shape; no colour, no summary line, columns in UTF-8 bytes from 1. Every line ends
// with a line feed.
struct CompileError {
    std::string text;
};

std::expected<CompiledLibrary, CompileError> compile(std::string_view source, const CompileOptions& options = {});

// The compiler's version, as `mslc --version` prints it.
std::string_view version();

} // namespace msl
