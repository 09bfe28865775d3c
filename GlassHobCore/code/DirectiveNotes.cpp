#include "GlassHobCore/code/DirectiveNotes.h"

#include "GlassHobCore/code/LibraryNames.h"
#include "GlassHobCore/code/MSLSyntax.h"
#include "GlassHobCore/shader/ShaderAssembler.h"
#include "GlassHobCore/text/LineMatcher.h"
#include "GlassHobCore/text/NumberedLines.h"
#include "GlassHobCore/text/Numbers.h"
#include "GlassHobCore/text/Text.h"
#include "MSL/Language.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace glasshob {

namespace {

const std::vector<std::string>& knownWords() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> names;
        for (const Symbol& directive : libraryNames::directives())
            names.push_back(directive.name.toStdString());
        return names;
    }();
    return all;
}

std::string quoted(std::string_view text) {
    constexpr std::size_t most = 40;
    std::string made = "'";
    made += text.substr(0, most);
    return made + (text.size() > most ? "...'" : "'");
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

// How many letters have to be changed, added or left out, upper and lower case being the same.
int distance(std::string_view a, std::string_view b) {
    std::vector<int> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = int(j);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        int diagonal = std::exchange(row[0], int(i));
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const int change = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

// The directive that an unknown word is a slip of; empty where it is another word.
std::string_view meantWord(std::string_view word) {
    if (word.size() < 3 || word.size() > 15) return {};
    const auto nearest =
        std::ranges::min_element(knownWords(), {}, [&](std::string_view known) { return distance(word, known); });
    return distance(word, *nearest) <= (word.size() < 5 ? 1 : 2) ? std::string_view(*nearest) : std::string_view();
}

std::string withoutComma(std::string_view text) {
    std::string made(text);
    std::ranges::replace(made, ',', '.');
    return made;
}

// A number as it was surely meant: "1,5" and "1.5f" are 1.5.
std::optional<std::string> meantNumber(std::string_view text) {
    std::string made = withoutComma(text);
    if (parseFloat(made)) return made;
    if (made.ends_with('f') || made.ends_with('F') || made.ends_with('h')) made.pop_back();
    if (parseFloat(made)) return made;
    return std::nullopt;
}

class Notes {
  public:
    std::vector<Diagnostic> take() { return std::move(notes_); }
    bool isFull() const { return notes_.size() >= mostDirectiveNotes; }

    void read(const NumberedLines::Line& line) {
        line_ = line;
        LineMatcher matcher(line.text);
        if (!matcher.directiveMark()) return;
        const std::string_view all = matcher.rest();
        std::size_t length = 0;
        while (length < all.size() && isWordPart(all[length]))
            ++length;
        const std::string_view word = all.substr(0, length);
        matcher.literal(word);
        const bool isSeparate = matcher.atEnd() || matcher.whiteSpace() > 0;
        if (std::ranges::find(knownWords(), word) == knownWords().end()) {
            readUnknown(word);
            return;
        }
        if (!isSeparate) {
            warn(word, "@" + std::string(word) + " is not read: a blank is missing behind it");
            return;
        }
        if (word == "param")
            readParam(word, matcher);
        else if (word == "particles" || word == "grid")
            readCount(word, trimmedEnd(matcher.rest()));
        else
            readHeader(word, trimmedEnd(matcher.rest()));
    }

    // What only the whole text tells.
    void finish() {
        const auto particles = counts_.find("particles"), grid = counts_.find("grid");
        if (particles == counts_.end() || grid == counts_.end() || isFull()) return;
        if (particles->second.count == 0 || grid->second.count == 0) return;
        Diagnostic note = particles->second.place;
        note.message =
            "@particles does nothing: this is a grid shader by line " + std::to_string(grid->second.place.line);
        const auto place = std::ranges::upper_bound(notes_, note.line, {}, &Diagnostic::line);
        notes_.insert(place, std::move(note));
    }

  private:
    static bool isWordPart(char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    }

    Diagnostic at(std::string_view place, std::string message) const {
        Diagnostic note;
        note.severity = Diagnostic::Severity::warning;
        note.line = line_.number;
        note.column = line_.columnOf(place);
        note.length = std::int64_t(place.size());
        note.message = std::move(message);
        return note;
    }
    Diagnostic& warn(std::string_view place, std::string message) {
        return notes_.emplace_back(at(place, std::move(message)));
    }
    void mend(Diagnostic& note, std::string_view place, std::string replacement) const {
        note.fixIt = msl::FixIt{std::uint32_t(line_.number), std::uint32_t(line_.columnOf(place)),
                                std::uint32_t(place.size()), std::move(replacement)};
    }

    void readUnknown(std::string_view word) {
        const std::string_view meant = meantWord(word);
        if (meant.empty()) return; // somebody else's
        Diagnostic& note =
            warn(word, "unknown directive '@" + std::string(word) + "'; did you mean '@" + std::string(meant) + "'?");
        mend(note, word, std::string(meant));
    }

    void readParam(std::string_view word, LineMatcher& matcher) {
        static constexpr std::string_view shape = "a name, a default, a minimum and a maximum, as in "
                                                  "// @param speed 0.6 0 3";
        const std::string_view name = matcher.token();
        if (name.empty()) {
            warn(word, "no slider: @param takes " + std::string(shape));
            return;
        }
        LineMatcher whole(name);
        if (whole.identifier() != name) {
            warn(name, "no slider: " + quoted(name) +
                           " is no name, which begins with a letter or _ and goes on with letters, digits and _");
            return;
        }
        std::array<std::string_view, 3> texts;
        std::array<float, 3> numbers = {};
        for (std::string_view& text : texts) {
            matcher.whiteSpace();
            text = matcher.token();
            if (!text.empty()) continue;
            warn(name, "no slider " + quoted(name) + ": @param takes " + std::string(shape));
            return;
        }
        for (std::size_t i = 0; i < texts.size(); ++i) {
            const auto number = parseFloat(texts[i]);
            if (!number) {
                Diagnostic& note =
                    warn(texts[i], "no slider " + quoted(name) + ": " + quoted(texts[i]) + " is not a number");
                if (auto meant = meantNumber(texts[i])) mend(note, texts[i], std::move(*meant));
                return;
            }
            numbers[i] = *number;
        }
        const auto [value, min, max] = numbers;
        if (!(min < max)) {
            const std::string_view both(texts[1].data(),
                                        std::size_t(texts[2].data() + texts[2].size() - texts[1].data()));
            Diagnostic& note = warn(both, "no slider " + quoted(name) + ": the minimum " + std::string(texts[1]) +
                                              " is not below the maximum " + std::string(texts[2]));
            if (max < min) mend(note, both, std::string(texts[2]) + ' ' + std::string(texts[1]));
            return;
        }
        const auto [first, isFirst] = sliders_.emplace(name, line_.number);
        if (!isFirst) {
            warn(name, "no second slider " + quoted(name) + ": line " + std::to_string(first->second) +
                           " declares it already");
            return;
        }
        if (isReserved(name))
            warn(name, quoted(name) + " is a word of the language and can name no slider: the shader does not compile");
        if (value < min || value > max) {
            const std::string held(value < min ? texts[1] : texts[2]);
            Diagnostic& note = warn(texts[0], "the default " + std::string(texts[0]) + " of " + quoted(name) +
                                                  " lies outside " + std::string(texts[1]) + " to " +
                                                  std::string(texts[2]) + ": the slider begins at " + held);
            mend(note, texts[0], held);
        }
    }

    static bool isReserved(std::string_view name) {
        const QString word = asQString(name);
        static const QStringList keywords = MSLSyntax::keywordNames();
        return keywords.contains(word) || msl::language::isTypeName(name);
    }

    void readCount(std::string_view word, std::string_view value) {
        const std::string name = "@" + std::string(word);
        const std::string_view what = word == "grid" ? "cells along each side" : "particles";
        const bool isNumber = !value.empty() && std::ranges::all_of(value, [](char c) { return c >= '0' && c <= '9'; });
        const auto count = isNumber ? parseInteger(value) : std::nullopt;
        if (!count) {
            warn(value.empty() ? word : value,
                 name + " is not read: it takes the number of " + std::string(what) + " and nothing behind it");
            return;
        }
        const std::string key(word);
        if (counts_.contains(key)) {
            warn(value,
                 name + " is not read: the one in line " + std::to_string(counts_.at(key).place.line) + " counts");
            return;
        }
        counts_.emplace(key, Count{at(word, {}), *count});
        const std::int64_t most = word == "grid" ? ShaderAssembler::gridLimit : ShaderAssembler::particleLimit;
        if (*count > most) {
            Diagnostic& note = warn(value, "there are at most " + std::to_string(most) + " " + std::string(what));
            mend(note, value, std::to_string(most));
        } else if (*count == 0) {
            warn(value, name + " 0 makes an ordinary shader, one that is drawn pixel by pixel");
        }
    }

    // The lines of an episode's header; @still is everybody's.
    void readHeader(std::string_view word, std::string_view value) {
        const std::string name = "@" + std::string(word);
        const std::string_view place = value.empty() ? word : value;
        if (word == "still" || word == "length" || word == "variation") {
            const auto seconds = parseDouble(value);
            const bool isGood = seconds && (word == "still" ? *seconds >= 0 : *seconds > 0);
            if (isGood) return;
            Diagnostic& note = warn(place, name + " is not read: it takes a number of seconds" +
                                               (word == "still" ? ", 0 or more" : " above 0"));
            if (auto meant = meantNumber(value); meant && !seconds) mend(note, value, std::move(*meant));
        } else if (word == "variations") {
            std::string_view rest = value;
            do {
                const std::size_t comma = std::min(rest.find(','), rest.size());
                const std::string_view piece = trimmed(rest.substr(0, comma));
                const auto number = parseInteger(piece);
                if (!number || *number <= 0) {
                    warn(piece.empty() ? place : piece,
                         "@variations takes numbers above 0 with commas between them, as in // @variations 3, 7, 12");
                    return;
                }
                rest.remove_prefix(std::min(comma + 1, rest.size()));
            } while (!rest.empty());
        } else if (word == "episode") {
            if (!parseInteger(value.substr(0, value.find(' '))))
                warn(place, "@episode is not read: it takes a number and a title, as in // @episode 12 Smoke rings");
        } else if (value.empty() && word != "forked-from") {
            warn(place, name + " is not read: nothing stands behind it");
        }
    }

    std::vector<Diagnostic> notes_;
    std::map<std::string_view, std::int64_t> sliders_; // the line of each
    struct Count {
        Diagnostic place;
        std::int64_t count = 0;
    };
    std::map<std::string, Count> counts_; // the first line of each
    NumberedLines::Line line_;
};

} // namespace

std::vector<Diagnostic> directiveNotes(std::string_view source) {
    Notes notes;
    NumberedLines lines(source);
    for (auto line = lines.next(); line && !notes.isFull(); line = lines.next())
        notes.read(*line);
    notes.finish();
    return notes.take();
}

} // namespace glasshob
