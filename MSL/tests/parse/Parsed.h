// Parses a text for a test and keeps what came out as text.
#pragma once

#include "MSL/ast/Dump.h"
#include "MSL/parse/Parser.h"

#include <chrono>
#include <string>
#include <string_view>

namespace msl {

struct Parsed {
    std::string tree;
    std::string errors;
};

inline Parsed parsed(std::string_view text, std::size_t userTextBegin = 0, std::size_t userTextEnd = 0) {
    SourceManager sources(text, "t", userTextBegin, userTextEnd);
    Diagnostics diagnostics(sources);
    Arena arena;
    IdentifierTable identifiers(arena);
    WorkLimit limit(std::chrono::milliseconds(0));
    TranslationUnit* unit = parse(sources, identifiers, arena, diagnostics, limit);
    Parsed result;
    result.tree = dump(*unit);
    if (diagnostics.hasErrors()) result.errors = toText(diagnostics.messages());
    return result;
}

// The messages of the text without the source lines and carets.
inline std::string messages(std::string_view errors) {
    std::string result;
    while (!errors.empty()) {
        std::size_t end = errors.find('\n');
        std::string_view line = errors.substr(0, end);
        errors.remove_prefix(end == std::string_view::npos ? errors.size() : end + 1);
        if (line.find(": error: ") != std::string_view::npos || line.find(": note: ") != std::string_view::npos ||
            line.find(": warning: ") != std::string_view::npos)
            result += std::string(line) + '\n';
    }
    return result;
}

// The user's text between a host's texts, as the application assembles them.
struct Hosted {
    std::string text;
    std::size_t begin = 0;
    std::size_t end = 0;
};
inline Hosted hosted(std::string_view user) {
    Hosted result;
    result.text = "#include <metal_stdlib>\nusing namespace metal;\nstruct Uniforms { float time; };\n"
                  "#line 1 \"shader.metal\"\n";
    result.begin = result.text.size();
    result.text += user;
    if (!user.ends_with('\n')) result.text += '\n';
    result.end = result.text.size();
    result.text += "\n#line 1 \"gh_host\"\n"
                   "fragment float4 gh_fragment(constant Uniforms& u [[buffer(0)]]) {\n    return shade(u);\n}\n";
    return result;
}

} // namespace msl
