#pragma once

// The shader that a command works on: read from a file or from standard input, and run through the front end of the
// compiler, or compiled for the device. Everything that can be wrong with it is printed on the console here, in the
// same words for every command.

#include "GlassHobRender/program/ShaderCompiler.h"
#include "hob/Arguments.h"
#include "hob/Console.h"
#include "hob/Values.h"

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace gpu {
class Device;
} // namespace gpu

namespace glasshob {
class ShaderProgram;
} // namespace glasshob

namespace hob {

struct Source {
    // What messages call it.
    std::string name;
    std::string text;
};

// Reads the file, or standard input for "-". Nothing after the reason was printed; a file without any text counts as
// one that cannot be used.
std::optional<Source> readSource(Console& console, const std::string& path);

// The file of a command's first operand, with the sliders as --set wants them.
struct ShaderInput {
    std::string path;
    Source source;
    SliderSettings settings;
};

// Reads both. The exit status after the reason was printed.
std::expected<ShaderInput, ExitStatus> readShaderInput(Console& console, const Arguments& arguments);

// The front end's work on the source. Where it fails only on the host's own use of textures, the author's text is
// compiled with a host that uses none, so that a particle or grid shader can be checked and its records measured.
std::expected<glasshob::CompiledShader, glasshob::ShaderError> compileSource(const Source& source);

// Tells the compiler's messages and what they mean for the file.
void tellCompileError(Console& console, const Source& source, const glasshob::ShaderError& error);

// Tells the warnings of a compile that succeeded, and what is wrong with the directives; nothing when all is well.
void tellWarnings(Console& console, const Source& source, std::span<const glasshob::Diagnostic> warnings);

// The device, and the shader compiled for it.
struct Program {
    std::shared_ptr<gpu::Device> device;
    std::shared_ptr<const glasshob::ShaderProgram> program;
};

// Tells where the driver has cut loops short, so that what was drawn is not what the shader says.
void tellCutLoops(Console& console, const Source& source, const Program& program);

// Takes the device and compiles the shader for pictures of this size. Nothing after the reason was printed.
std::optional<Program> openProgram(Console& console, const Source& source, std::int64_t width = 1,
                                   std::int64_t height = 1);

} // namespace hob
