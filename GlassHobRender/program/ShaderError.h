#pragma once

// A compile that failed, as the editor shows it. Thrown by the ShaderProgram constructor; a plain value otherwise.

#include "GlassHobCore/code/Diagnostics.h"

#include <exception>
#include <string>
#include <vector>

namespace glasshob {

class ShaderError : public std::exception {
  public:
    ShaderError(std::vector<Diagnostic> diagnostics_, std::string raw_)
        : diagnostics(std::move(diagnostics_)), raw(std::move(raw_)) {}

    // The compiler's messages in its order; empty when the failure is not about the text.
    std::vector<Diagnostic> diagnostics;
    // The compiler's whole text, or the one sentence that says what went wrong.
    std::string raw;

    const std::string& description() const { return raw; }
    const char* what() const noexcept override { return raw.c_str(); }
};

} // namespace glasshob
