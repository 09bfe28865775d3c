// The icon and the colour of each severity of a compiler message: shared by the ruler, the list and the hover window.
#pragma once

#include "GlassHob/ui/controls/Icons.h"
#include "GlassHobRender/paint/ThemeTables.h"
#include "GlassHobCore/code/Diagnostics.h"

namespace glasshob {

inline Icon severityIcon(Diagnostic::Severity severity) {
    switch (severity) {
    case Diagnostic::Severity::error: return Icon::error;
    case Diagnostic::Severity::warning: return Icon::warning;
    case Diagnostic::Severity::note: break;
    }
    return Icon::note;
}

inline Role severityRole(Diagnostic::Severity severity) {
    switch (severity) {
    case Diagnostic::Severity::error: return Role::error;
    case Diagnostic::Severity::warning: return Role::warning;
    case Diagnostic::Severity::note: break;
    }
    return Role::note;
}

} // namespace glasshob
