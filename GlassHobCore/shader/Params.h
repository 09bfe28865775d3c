#pragma once

// The tunable inputs of a shader, declared by comment lines of the shader itself:
//
//     // @param name default min max description
//
// Each accepted line is one slider and one float of the `Params` block that the shader receives, in the order of the
// lines. A malformed line, or a second declaration of a name, makes no slider and no message. Pure; any thread.

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace glasshob {

// One declared parameter. `min` is always less than `max`, and the default lies between them (a default of NaN
// stays NaN).
struct ParamDecl {
    std::string name;
    float defaultValue = 0.0f;
    float min = 0.0f;
    float max = 1.0f;
    // Free text behind the numbers, without white space at its ends; may be empty.
    std::string detail;

    bool operator==(const ParamDecl&) const = default;
};

// Slider values by parameter name; a name that is missing stands at its declared default.
using SliderValues = std::map<std::string, float, std::less<>>;

namespace ParamParser {

// The declarations of a source in the order of their lines; empty when there are none. Never fails.
std::vector<ParamDecl> parse(std::string_view source);

} // namespace ParamParser
} // namespace glasshob
