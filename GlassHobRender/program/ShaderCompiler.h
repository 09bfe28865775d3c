#pragma once

// The part of a compile that needs no GPU: the user's text is assembled, goes through the shading-language compiler,
// and is looked at for everything that the host will ask of it. Pure; any thread; blocks for as long as the compiler
// works.

#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobRender/program/DotFunctions.h"
#include "GlassHobRender/program/ShaderError.h"
#include "MSL/Compiler.h"

#include <chrono>
#include <cstdint>
#include <expected>
#include <limits>
#include <string_view>

namespace glasshob {

struct CompiledShader {
    AssembledShader assembled;
    // Has every entry point that the host asks for by the kind of the shader.
    msl::CompiledLibrary library;
    // Particles only: size in bytes of the user's Particle, at least 1.
    std::int64_t stride = 0;
    // Particles only: how many at most lie in one buffer; all of them unless that would be too large a buffer.
    std::int64_t particlesInPiece = 0;
    // Particles only.
    DotFunctions dots;
};

// Whether a driver that ends long loops early is noticed (ShaderProgram::loopsWereCut). Costs a little for each loop
// that may be so long; drivers of GPUs do not do it, Mesa's CPU driver does.
enum class CutLoops : bool { unnoticed, noticed };

namespace ShaderCompiler {

// The time that a live compile, made while someone types, may take before it is given up with a message.
inline constexpr std::chrono::milliseconds liveTimeLimit{250};

// The library of a particle shader holds more than the assembled text: the functions that draw its dots. A failure
// carries the parsed messages and, where a particle or grid shader lacks a function that the host calls, the
// list of the functions that it must define; or no messages and one sentence, where the text compiles and an entry
// point is missing all the same. A zero limit means none. `largestBuffer` is what a function reaches through one
// argument, in bytes.
std::expected<CompiledShader, ShaderError>
compile(std::string_view source, std::chrono::milliseconds timeLimit = {},
        std::uint64_t largestBuffer = std::numeric_limits<std::uint64_t>::max(),
        CutLoops cutLoops = CutLoops::unnoticed);

// How many texts this process has given to compile() so far.
std::uint64_t count();

} // namespace ShaderCompiler
} // namespace glasshob
