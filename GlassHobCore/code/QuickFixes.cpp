#include "GlassHobCore/code/QuickFixes.h"

#include "GlassHobCore/code/ForeignCode.h"
#include "GlassHobCore/shader/Params.h"
#include "GlassHobCore/text/Lines.h"

#include <algorithm>

namespace glasshob {

namespace {

// The line, from 1, before which a new `// @param` line belongs: behind the last of them, else behind the comment that
// the text begins with.
std::uint32_t lineForDeclarations(std::string_view source) {
    std::uint32_t number = 1, behindLast = 0, behindHead = 0;
    for (std::size_t at = 0; at <= source.size(); ++number) {
        const std::size_t end = std::min(source.find('\n', at), source.size());
        const std::string_view line = trimmed(source.substr(at, end - at));
        if (line.starts_with("//") && line.find("@param") != std::string_view::npos &&
            !ParamParser::parse(line).empty())
            behindLast = number + 1;
        if (behindHead == 0 && !line.starts_with("//")) behindHead = number;
        at = end + 1;
    }
    return behindLast > 0 ? behindLast : std::max(1U, behindHead);
}

QuickFix insertLine(std::string title, std::string_view source, std::string line) {
    return {std::move(title), msl::FixIt{lineForDeclarations(source), 1, 0, std::move(line) + '\n'}};
}

std::string titleOf(const msl::FixIt& edit) {
    if (edit.replacement.empty()) return "Take it away";
    if (edit.length == 0) return "Insert '" + edit.replacement + "'";
    return "Change to '" + edit.replacement + "'";
}

} // namespace

std::vector<QuickFix> quickFixes(const Diagnostic& message, std::string_view source) {
    std::vector<QuickFix> fixes;
    if (message.line <= 0) return fixes;
    // Its own meaning is better than a function of nearly the same name.
    if (message.severity == Diagnostic::Severity::error && undeclaredName(message) == "mod")
        fixes.push_back(insertLine("Define mod(x, y)", source, "#define mod(x, y) ((x) - (y) * floor((x) / (y)))"));
    if (message.fixIt) fixes.push_back({titleOf(*message.fixIt), *message.fixIt});

    constexpr std::string_view noMember = "no member named '";
    const std::string_view text = message.message;
    if (text.starts_with(noMember)) {
        const std::string_view rest = text.substr(noMember.size());
        const std::string name(rest.substr(0, rest.find('\'')));
        if (rest.substr(std::min(rest.size(), name.size())).starts_with("' in 'Params'"))
            fixes.push_back(insertLine("Add a slider '" + name + "'", source, "// @param " + name + " 0.5 0.0 1.0"));
    }
    return fixes;
}

} // namespace glasshob
