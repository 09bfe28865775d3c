#pragma once

// The part of a compile that needs no GPU: the user's text is assembled and goes through the shading-language compiler.
// Pure; any thread; blocks for as long as the compiler works.

#include "GlassHobCore/ShaderAssembler.h"
#include "GlassHobRender/ShaderError.h"
#include "MSL/Compiler.h"

#include <chrono>
#include <expected>
#include <string_view>

namespace glasshob {

struct CompiledShader {
    AssembledShader assembled;
    msl::CompiledLibrary library;
};

namespace ShaderCompiler {

/// The time that a live compile, made while someone types, may take before it is given up with a message.
inline constexpr std::chrono::milliseconds liveTimeLimit{250};

/// The library of a particle shader holds more than the assembled text: the functions that draw its dots. A failure
/// carries the parsed messages and, where a particle or grid shader lacks a function that the host calls, the
/// list of the functions that it must define. A zero limit means none.
std::expected<CompiledShader, ShaderError> compile(std::string_view source, std::chrono::milliseconds timeLimit = {});

} // namespace ShaderCompiler
} // namespace glasshob
