#include "GlassHobCore/code/ParamEdits.h"

#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/NumberedLines.h"
#include "GlassHobCore/text/Numbers.h"

#include <set>

namespace glasshob {

namespace {

// Written with a point where the one before was.
std::string written(float value, std::string_view before) {
    std::string text = shortestText(value);
    const bool isPlain = text.find_first_not_of("-0123456789") == std::string::npos;
    if (isPlain && before.find('.') != std::string_view::npos) text += ".0";
    return text;
}

} // namespace

std::vector<msl::FixIt> defaultEdits(std::string_view source, const SliderValues& values) {
    std::vector<msl::FixIt> edits;
    std::set<std::string> known;
    NumberedLines lines(source);
    while (const auto line = lines.next()) {
        if (line->text.find("@param") == std::string_view::npos) continue;
        const std::vector<ParamDecl> declared = ParamParser::parse(line->text);
        if (declared.empty() || !known.insert(declared[0].name).second) continue;
        const auto value = values.find(declared[0].name);
        if (value == values.end() || value->second == declared[0].defaultValue) continue;
        LineMatcher matcher(line->text);
        matcher.directiveMark();
        matcher.literal("param");
        matcher.whiteSpace();
        matcher.identifier();
        matcher.whiteSpace();
        const std::string_view token = matcher.token();
        edits.push_back({std::uint32_t(line->number), std::uint32_t(line->columnOf(token)), std::uint32_t(token.size()),
                         written(value->second, token)});
    }
    return edits;
}

} // namespace glasshob
