#include "GlassHobCore/shader/Params.h"

#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/Numbers.h"

#include <optional>
#include <unordered_set>

namespace glasshob::ParamParser {

namespace {

struct Declaration {
    std::string_view name;
    std::string_view defaultValue;
    std::string_view min;
    std::string_view max;
    std::string_view detail;
};

// ^\s*//\s*@param\s+([A-Za-z_][A-Za-z0-9_]*)\s+(\S+)\s+(\S+)\s+(\S+)\s*(.*?)\s*$
std::optional<Declaration> match(std::string_view line) {
    LineMatcher matcher(line);
    if (!matcher.directiveMark() || !matcher.literal("param") || matcher.whiteSpace() == 0) return std::nullopt;
    Declaration found;
    found.name = matcher.identifier();
    if (found.name.empty() || matcher.whiteSpace() == 0) return std::nullopt;
    found.defaultValue = matcher.token();
    if (matcher.whiteSpace() == 0) return std::nullopt;
    found.min = matcher.token();
    if (matcher.whiteSpace() == 0) return std::nullopt;
    found.max = matcher.token();
    if (found.max.empty()) return std::nullopt;
    matcher.whiteSpace();
    found.detail = trimmedEnd(matcher.rest());
    return found;
}

} // namespace

std::vector<ParamDecl> parse(std::string_view source) {
    std::vector<ParamDecl> declarations;
    std::unordered_set<std::string_view> names;
    LineReader lines(source);
    while (const auto line = lines.next()) {
        const auto found = match(*line);
        if (!found) continue;
        const auto value = parseFloat(found->defaultValue);
        const auto min = parseFloat(found->min);
        const auto max = parseFloat(found->max);
        if (!value || !min || !max || !(*min < *max)) continue;
        if (!names.insert(found->name).second) continue;
        // Written so that a default of NaN stays NaN.
        const float raised = *value <= *min ? *min : *value;
        const float clamped = *max < raised ? *max : raised;
        declarations.push_back({std::string(found->name), clamped, *min, *max, std::string(found->detail)});
    }
    return declarations;
}

} // namespace glasshob::ParamParser
