#pragma once

// Recognises shaders that were written for other programs, and says what to do with them: another language, or a whole
// program with entry points of its own where the host expects shade(). Guesses from the words of the text; pure, any
// thread. Asked only about a text that does not compile.

#include "GlassHobCore/code/Diagnostics.h"

#include <optional>
#include <string_view>

namespace glasshob {

enum class ForeignKind {
    // OpenGL's shading language, of a web page or a program.
    glsl,
    // Metal, with vertex, fragment or kernel functions of its own and no shade().
    metalProgram,
};

struct ForeignCode {
    ForeignKind kind = ForeignKind::glsl;
    // A note for the top of the messages, at the line that gave it away: on its first line what this is, below it what
    // to do.
    Diagnostic row;
};

std::optional<ForeignCode> recogniseForeignCode(std::string_view source);

// For a message about a name that other programs give their shaders (`iTime`, `gl_FragCoord`, `mod`): what it is
// called here, as a note at the same place, with the edit where there is one.
std::optional<Diagnostic> foreignNameHint(const Diagnostic& message);

// The name in a message about one that is not declared; empty for other messages.
std::string_view undeclaredName(const Diagnostic& message);

} // namespace glasshob
