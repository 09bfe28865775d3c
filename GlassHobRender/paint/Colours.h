#pragma once

// The colours of both themes for painting: what a role looks like in light or dark. Pure; any thread.

#include "GlassHobCore/code/MSLSyntax.h"
#include "GlassHobRender/paint/ThemeTables.h"

#include <QColor>

namespace glasshob {

enum class Shade : bool { light, dark };

QColor colourOf(Role role, Shade shade);
QColor colourOf(CodeRole role, Shade shade);

// The role in which a kind of token is painted.
constexpr CodeRole codeRole(SyntaxKind kind) {
    static_assert(int(CodeRole::attribute) == int(SyntaxKind::attribute) + 1, "code roles follow the kinds of tokens");
    return CodeRole(int(kind) + 1);
}

} // namespace glasshob
