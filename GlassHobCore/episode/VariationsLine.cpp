#include "GlassHobCore/episode/VariationsLine.h"

#include "GlassHobCore/episode/EpisodeMeta.h"
#include "GlassHobCore/text/LineMatcher.h"

#include <algorithm>

namespace glasshob {

namespace {

constexpr std::string_view ownWord = "variations";
constexpr std::uint32_t endOfLine = 1U << 30;

// Where something stands for an editor, which ends lines at line feeds, carriage returns and pairs of both.
struct Place {
    std::int64_t number = 1;
    std::size_t lineBegin = 0;
};

class Places {
  public:
    explicit Places(std::string_view source)
        : source_(source), at_(source.starts_with("\xEF\xBB\xBF") ? 3 : 0), place_{1, at_} {}
    // Places are asked for in rising order.
    Place of(std::size_t offset) {
        for (; at_ < offset; ++at_) {
            const bool isPair = source_[at_] == '\r' && at_ + 1 < source_.size() && source_[at_ + 1] == '\n';
            if (source_[at_] == '\n' || (source_[at_] == '\r' && !isPair)) place_ = {place_.number + 1, at_ + 1};
        }
        return place_;
    }

  private:
    std::string_view source_;
    std::size_t at_;
    Place place_;
};

struct Directive {
    std::string_view word;
    // "// @", as it is written.
    std::string_view mark;
    Place place;
    Place valuePlace;
    // Offsets in the text.
    std::size_t wordEnd = 0, valueBegin = 0;
    std::string_view value;
};

// The header's reader knows no value that goes on behind a break of another kind.
bool hasBreak(std::string_view value) {
    while (!value.empty()) {
        const DecodedCharacter character = decodeCharacter(value);
        if (isLineBreak(character.value)) return true;
        value.remove_prefix(character.length);
    }
    return false;
}

// The header lines that this is about, as the header's reader finds them.
std::vector<Directive> find(std::string_view source) {
    std::vector<Directive> found;
    Places places(source);
    LineReader lines(source, LineBreaks::lineFeed);
    while (const auto line = lines.next()) {
        if (line->find('@') == std::string_view::npos) continue;
        LineMatcher matcher(*line);
        matcher.whiteSpace();
        const auto offset = [&](std::string_view part) { return std::size_t(part.data() - source.data()); };
        const std::string_view fromMark = matcher.rest();
        if (!matcher.directiveMark()) continue;
        Directive directive;
        directive.mark = fromMark.substr(0, fromMark.size() - matcher.rest().size());
        directive.word = matcher.identifier();
        directive.wordEnd = offset(matcher.rest());
        const bool isBare = trimmed(matcher.rest()).empty();
        if (matcher.whiteSpace() == 0 && !isBare) continue;
        directive.value = trimmedEnd(matcher.rest());
        directive.valueBegin = isBare ? directive.wordEnd : offset(directive.value);
        const bool isOurs = directive.word == ownWord;
        if (!isOurs && (isBare || (directive.word != "variation" && directive.word != "episode"))) continue;
        if (hasBreak(directive.value)) continue;
        directive.place = places.of(offset(fromMark));
        directive.valuePlace = places.of(directive.valueBegin);
        found.push_back(directive);
    }
    return found;
}

const Directive* last(const std::vector<Directive>& directives, std::string_view word) {
    const auto found = std::find_if(directives.rbegin(), directives.rend(),
                                    [&](const Directive& directive) { return directive.word == word; });
    return found == directives.rend() ? nullptr : &*found;
}

} // namespace

VariationsLine VariationsLine::write(std::string_view source, std::span<const std::int64_t> indices) {
    const std::vector<Directive> directives = find(source);
    const Directive* own = last(directives, ownWord);
    const Directive* above = last(directives, "variation");
    if (above == nullptr) above = last(directives, "episode");
    VariationsLine line;
    if (indices.empty()) {
        for (const Directive& directive : directives)
            if (directive.word == ownWord) line.numbers.push_back(directive.place.number);
        if (!line.numbers.empty()) line.change = Change::remove;
        return line;
    }
    std::string list;
    for (const std::int64_t index : indices)
        list += (list.empty() ? "" : ", ") + std::to_string(index);
    if (own != nullptr) {
        const bool isBare = own->value.empty();
        line.numbers = {own->place.number};
        line.text = std::string(own->mark) + std::string(ownWord) + ' ' + list;
        if (!isBare && std::ranges::equal(EpisodeMeta::parse(source).variations, indices)) {
            line.text = std::string(own->mark) + std::string(ownWord) + ' ' + std::string(own->value);
            return line;
        }
        line.change = Change::rewrite;
        line.edit = {.line = std::uint32_t(own->valuePlace.number),
                     .column = std::uint32_t(own->valueBegin - own->valuePlace.lineBegin + 1),
                     .length = std::uint32_t(own->value.size()),
                     .replacement = (isBare ? " " : "") + list};
        return line;
    }
    if (above == nullptr) return line;
    line.change = Change::add;
    line.text = std::string(above->mark) + std::string(ownWord) + ' ' + list;
    line.numbers = {above->valuePlace.number + 1};
    line.under = '@' + std::string(above->word);
    const std::size_t markAt = std::size_t(above->mark.data() - source.data());
    const std::string_view before = source.substr(above->place.lineBegin, markAt - above->place.lineBegin);
    line.edit = {.line = std::uint32_t(above->valuePlace.number),
                 .column = endOfLine,
                 .length = 0,
                 .replacement = '\n' + std::string(before) + line.text};
    return line;
}

} // namespace glasshob
