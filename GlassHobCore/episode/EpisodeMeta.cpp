#include "GlassHobCore/episode/EpisodeMeta.h"

#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/Numbers.h"

#include <algorithm>
#include <array>
#include <optional>

namespace glasshob {

namespace {

struct Directive {
    std::string_view word;
    std::string_view value;
};

// A longer word stands before its beginning.
constexpr std::array<std::string_view, 9> words = {"episode", "length",   "variations", "variation", "still",
                                                   "teaches", "category", "tags",       "final"};

// ^\s*//\s*@(episode|...|final)\s+(.*?)\s*$
std::optional<Directive> match(std::string_view line) {
    LineMatcher matcher(line);
    if (!matcher.directiveMark()) return std::nullopt;
    const auto word = std::ranges::find_if(words, [&](std::string_view each) { return matcher.literal(each); });
    if (word == words.end() || matcher.whiteSpace() == 0) return std::nullopt;
    const std::string_view value = trimmedEnd(matcher.rest());
    // A line of this header ends at a line feed only; a value does not reach over another kind of break.
    for (std::string_view rest = value; !rest.empty();) {
        const DecodedCharacter character = decodeCharacter(rest);
        if (isLineBreak(character.value)) return std::nullopt;
        rest.remove_prefix(character.length);
    }
    return Directive{*word, value};
}

// The pieces around the first separator that ends a piece that is not empty; empty pieces are dropped.
std::array<std::string_view, 2> splitOnce(std::string_view value, char separator) {
    value.remove_prefix(std::min(value.find_first_not_of(separator), value.size()));
    const std::size_t at = value.find(separator);
    if (at == std::string_view::npos) return {value, {}};
    return {value.substr(0, at), value.substr(at + 1)};
}

void readVariations(std::string_view value, std::vector<std::int64_t>& variations) {
    variations.clear();
    while (!value.empty()) {
        const std::size_t comma = std::min(value.find(','), value.size());
        const auto number = parseInteger(trimmed(value.substr(0, comma)));
        if (number && *number > 0) variations.push_back(*number);
        value.remove_prefix(std::min(comma + 1, value.size()));
    }
}

void apply(const Directive& directive, EpisodeMeta& meta) {
    const auto [word, value] = directive;
    if (word == "episode") {
        const auto [first, second] = splitOnce(value, ' ');
        if (const auto number = parseInteger(first)) {
            meta.number = *number;
            if (!second.empty()) meta.title = second;
        }
    } else if (word == "length" || word == "variation") {
        const auto seconds = parseDouble(value);
        if (seconds && *seconds > 0) (word == "length" ? meta.length : meta.variationLength) = *seconds;
    } else if (word == "variations") {
        readVariations(value, meta.variations);
    } else if (word == "still") {
        const auto seconds = parseDouble(value);
        if (seconds && *seconds >= 0) meta.still = *seconds;
    } else if (word == "teaches") {
        meta.teaches = value;
    } else if (word == "category") {
        meta.category = value;
    } else if (word == "tags") {
        meta.tags = value;
    } else {
        const auto [title, summary] = splitOnce(value, '|');
        meta.finalTitle = trimmed(title);
        meta.finalSummary = trimmed(summary);
    }
}

} // namespace

EpisodeMeta EpisodeMeta::parse(std::string_view source) {
    EpisodeMeta meta;
    LineReader lines(source, LineBreaks::lineFeed);
    while (const auto line = lines.next()) {
        if (const auto directive = match(*line)) apply(*directive, meta);
    }
    return meta;
}

} // namespace glasshob
