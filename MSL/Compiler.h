// The compiler's whole public interface: Metal Shading Language text in, one SPIR-V module for Vulkan 1.3 with every
// entry point of the text, and its reflection, out.
//
// compile() is a pure function: no global state, no files, no environment, any thread, any number at once. It never
// throws and never crashes on any text; what a text can do wrong becomes diagnostics, and what the compiler itself
// does wrong becomes one "internal compiler error" diagnostic that names the place.
#pragma once

#include "MSL/Diagnostic.h"
#include "MSL/Reflection.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace msl {

inline constexpr std::uint32_t cutLoopsIndex = 30;

struct CompileOptions {
    // The name that messages give to text before the first #line directive.
    std::string fileName = "program_source";

    // The bytes of the source that come from the user ([userTextBegin, userTextEnd)), where a host puts text of its own
    // around them. A #line directive inside them changes what __LINE__ is there; messages go on counting the lines of
    // the text, and it cannot claim another file. Only they are warned about. Empty by default: all of the text is the
    // user's, and every #line is trusted.
    std::size_t userTextBegin = 0;
    std::size_t userTextEnd = 0;

    // Give up with a diagnostic after about this much wall time; zero means no limit. The fixed limits on depth,
    // expansion and output size hold regardless.
    std::chrono::milliseconds timeLimit{0};

    // What becomes of warnings: reported, left out, or reported as errors.
    enum class Warnings : std::uint8_t { reported, ignored, errors };
    Warnings warnings = Warnings::reported;

    // Take programs that reach memory by 64-bit addresses: pointers in buffers, numbers cast to pointers. Nothing keeps
    // such an access inside of what it means, so never for a text that a stranger wrote. See
    // Reflection::usesAddresses.
    bool allowAddresses = false;

    // Make loops that a driver ends early leave a trace, for hosts that want to know that their picture is not what the
    // text says: see passes/CutLoops.h. An entry point that may write one has a buffer "cutLoops" of two words at
    // [[buffer(cutLoopsIndex)]], both 0 at first; the first is 1 once a loop was cut.
    bool marksCutLoops = false;

    // Add OpName for functions, variables and members (for reading the output; drivers ignore them).
    bool debugNames = false;
};

struct CompiledLibrary {
    std::vector<std::uint32_t> spirv;
    Reflection reflection;
    std::vector<Diagnostic> warnings; // in the order of the text
};

struct CompileError {
    std::vector<Diagnostic> diagnostics; // errors, and warnings among them, in the order of the text
    std::string text;                    // the same as toText() prints them
};

std::expected<CompiledLibrary, CompileError> compile(std::string_view source, const CompileOptions& options = {});

// The compiler's version, as `mslc --version` prints it.
std::string_view version();

} // namespace msl
