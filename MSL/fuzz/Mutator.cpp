// Mutations that know what shader text is made of. Changing bytes alone hardly ever gets past the lexer; these move,
// copy and swap tokens, bracketed groups, lines and declarations, within a text and between two, and put words of the
// language in each other's places. libFuzzer calls the two functions at the end; equal seeds give equal texts.
#include "MSL/fuzz/Vocabulary.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace msl::fuzz {
namespace {

using Random = std::minstd_rand;

std::size_t below(Random& random, std::size_t limit) {
    return limit == 0 ? 0 : random() % limit;
}

template <typename Range>
const auto& anyOf(Random& random, const Range& range) {
    return range[below(random, std::size(range))];
}

// A piece of text that a mutation treats as one: a word, a number, a run of blanks, or a character. The views point
// into the text that was cut, into the vocabulary, or into literals.
using Pieces = std::vector<std::string_view>;

bool isWordByte(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

Pieces cut(std::string_view text) {
    Pieces out;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        if (isWordByte(text[at]))
            while (end < text.size() && (isWordByte(text[end]) || (text[end] == '.' && std::isdigit(text[at]))))
                ++end;
        else if (text[at] == ' ' || text[at] == '\t')
            while (end < text.size() && (text[end] == ' ' || text[end] == '\t'))
                ++end;
        else if (text.substr(at, 2) == "[[" || text.substr(at, 2) == "]]" || text.substr(at, 2) == "::")
            end = at + 2;
        out.push_back(text.substr(at, end - at));
        at = end;
    }
    return out;
}

std::string join(const Pieces& pieces) {
    std::string out;
    for (const std::string_view piece : pieces)
        out += piece;
    return out;
}

bool isWord(std::string_view piece) {
    return isWordByte(piece[0]) && !std::isdigit(static_cast<unsigned char>(piece[0]));
}
bool isNumber(std::string_view piece) {
    return std::isdigit(static_cast<unsigned char>(piece[0])) != 0;
}
bool isBlank(std::string_view piece) {
    return std::isspace(static_cast<unsigned char>(piece[0])) != 0;
}

// A random position whose piece satisfies the predicate; pieces.size() when there is none near.
template <typename Predicate>
std::size_t find(Random& random, const Pieces& pieces, Predicate predicate) {
    const std::size_t start = below(random, pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::size_t at = (start + i) % pieces.size();
        if (predicate(pieces[at])) return at;
    }
    return pieces.size();
}

struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool isEmpty() const { return begin == end; }
};

char closing(std::string_view piece) {
    if (piece == "(") return ')';
    if (piece == "[") return ']';
    if (piece == "{") return '}';
    if (piece == "<") return '>';
    return '\0';
}

// A bracketed group with its brackets; with `open` given, one of that kind.
Range group(Random& random, const Pieces& pieces, std::string_view open = {}) {
    const std::size_t begin = find(
        random, pieces, [&](std::string_view piece) { return open.empty() ? closing(piece) != '\0' : piece == open; });
    if (begin == pieces.size()) return {};
    const char close = closing(pieces[begin]);
    int depth = 0;
    for (std::size_t i = begin; i < pieces.size(); ++i) {
        if (pieces[i] == pieces[begin]) ++depth;
        if (pieces[i].size() == 1 && pieces[i][0] == close && --depth == 0) return {begin, i + 1};
    }
    return {};
}

// What separators at depth zero cut apart: statements of a body, arguments of a call, declarations of a file.
std::vector<Range> parts(const Pieces& pieces, Range within, bool isList) {
    std::vector<Range> out;
    int depth = 0;
    std::size_t begin = within.begin;
    for (std::size_t i = within.begin; i < within.end; ++i) {
        const std::string_view piece = pieces[i];
        if (piece == "(" || piece == "{" || piece == "[") ++depth;
        if (piece == ")" || piece == "}" || piece == "]") --depth;
        const bool ends = isList ? piece == "," : piece == ";" || piece == "}";
        if (depth <= 0 && ends) {
            out.push_back({begin, isList ? i : i + 1});
            begin = i + 1;
        }
    }
    if (begin < within.end) out.push_back({begin, within.end});
    return out;
}

Range line(Random& random, const Pieces& pieces) {
    std::size_t begin = below(random, pieces.size());
    while (begin > 0 && pieces[begin - 1] != "\n")
        --begin;
    std::size_t end = begin;
    while (end < pieces.size() && pieces[end] != "\n")
        ++end;
    return {begin, std::min(end + 1, pieces.size())};
}

// Some meaningful stretch: a declaration, a statement, an argument, a group, a line, or a few tokens.
Range stretch(Random& random, const Pieces& pieces) {
    if (pieces.empty()) return {};
    switch (below(random, 6)) {
    case 0: return anyOf(random, parts(pieces, {0, pieces.size()}, false));
    case 1:
    case 2: {
        const bool isList = below(random, 2) == 0;
        const Range inside = group(random, pieces, isList ? "(" : "{");
        if (inside.isEmpty() || inside.end - inside.begin < 3) return inside;
        return anyOf(random, parts(pieces, {inside.begin + 1, inside.end - 1}, isList));
    }
    case 3: return group(random, pieces);
    case 4: return line(random, pieces);
    default: {
        const std::size_t begin = below(random, pieces.size());
        return {begin, std::min(pieces.size(), begin + 1 + below(random, 8))};
    }
    }
}

Pieces copyOf(const Pieces& pieces, Range range) {
    return {pieces.begin() + std::ptrdiff_t(range.begin), pieces.begin() + std::ptrdiff_t(range.end)};
}

void replace(Pieces& pieces, Range range, const Pieces& by) {
    const auto at =
        pieces.erase(pieces.begin() + std::ptrdiff_t(range.begin), pieces.begin() + std::ptrdiff_t(range.end));
    pieces.insert(at, by.begin(), by.end());
}

std::string_view anyWord(Random& random) {
    switch (below(random, 8)) {
    case 0: return anyOf(random, keywords());
    case 1:
    case 2: return anyOf(random, types());
    case 3: return anyOf(random, functions());
    case 4: return anyOf(random, constants());
    case 5: return anyOf(random, attributes());
    case 6: return anyOf(random, numbers());
    default: return anyOf(random, phrases());
    }
}

bool isTypeWord(std::string_view piece) {
    return std::ranges::any_of(types(), [&](const std::string& type) { return type == piece; });
}

void mutate(Random& random, Pieces& pieces) {
    if (pieces.empty()) {
        pieces.push_back(anyWord(random));
        return;
    }
    const auto any = [](std::string_view) { return true; };
    switch (below(random, 16)) {
    case 0: { // a word of the text in the place of another
        const std::size_t to = find(random, pieces, isWord);
        const std::size_t from = find(random, pieces, isWord);
        if (to < pieces.size()) pieces[to] = pieces[from];
        break;
    }
    case 1: { // a word of the language in the place of any piece
        const std::size_t to = find(random, pieces, [](std::string_view piece) { return !isBlank(piece); });
        if (to < pieces.size()) pieces[to] = anyWord(random);
        break;
    }
    case 2: { // another type
        const std::size_t to = find(random, pieces, isTypeWord);
        if (to < pieces.size()) pieces[to] = anyOf(random, types());
        break;
    }
    case 3: { // another number
        const std::size_t to = find(random, pieces, isNumber);
        if (to < pieces.size()) pieces[to] = anyOf(random, numbers());
        break;
    }
    case 4: { // another operator
        static constexpr std::string_view operators[] = {"+", "-", "*", "/", "%", "&", "|", "^", "<", ">", "=", "!",
                                                         "~", ",", ".", "?", ":", ";", "(", ")", "{", "}", "[", "]"};
        const auto isOperator = [](std::string_view piece) {
            return std::ispunct(static_cast<unsigned char>(piece[0])) != 0;
        };
        const std::size_t to = find(random, pieces, isOperator);
        if (to < pieces.size()) pieces[to] = anyOf(random, operators);
        break;
    }
    case 5: // leave something out
        replace(pieces, stretch(random, pieces), {});
        break;
    case 6:
    case 7: { // the same once more, elsewhere
        const Pieces part = copyOf(pieces, stretch(random, pieces));
        const std::size_t at = below(random, pieces.size() + 1);
        replace(pieces, {at, at}, part);
        break;
    }
    case 8:
    case 9: { // one stretch in the place of another
        const Pieces part = copyOf(pieces, stretch(random, pieces));
        replace(pieces, stretch(random, pieces), part);
        break;
    }
    case 10: { // one group in the place of another of its kind
        static constexpr std::string_view opens[] = {"(", "{", "[", "<"};
        const std::string_view open = anyOf(random, opens);
        const Range to = group(random, pieces, open);
        const Pieces part = copyOf(pieces, group(random, pieces, open));
        if (!to.isEmpty()) replace(pieces, to, part);
        break;
    }
    case 11: { // put something in
        const std::size_t at = below(random, pieces.size() + 1);
        replace(pieces, {at, at}, {anyWord(random)});
        break;
    }
    case 12: { // a construct around a piece
        const std::size_t at =
            find(random, pieces, [](std::string_view piece) { return isWord(piece) || isNumber(piece); });
        if (at == pieces.size()) break;
        const std::string_view inner = pieces[at];
        switch (below(random, 6)) {
        case 0: replace(pieces, {at, at + 1}, {"(", inner, ")"}); break;
        case 1: replace(pieces, {at, at + 1}, {anyOf(random, types()), "(", inner, ")"}); break;
        case 2: replace(pieces, {at, at + 1}, {anyOf(random, functions()), "(", inner, ")"}); break;
        case 3: replace(pieces, {at, at + 1}, {inner, "[", inner, "]"}); break;
        case 4: replace(pieces, {at, at + 1}, {inner, ".", "x"}); break;
        default: replace(pieces, {at, at + 1}, {"&", inner}); break;
        }
        break;
    }
    case 13: { // every use of a name becomes another
        const std::size_t from = find(random, pieces, isWord);
        if (from == pieces.size()) break;
        const std::string_view name = pieces[from];
        const std::string_view by = below(random, 3) == 0 ? anyWord(random) : pieces[find(random, pieces, isWord)];
        std::ranges::replace(pieces, name, by);
        break;
    }
    case 14: { // many times the same
        const Pieces part = copyOf(pieces, stretch(random, pieces));
        const std::size_t at = below(random, pieces.size() + 1);
        const std::size_t times = 2 + below(random, 30);
        if (part.size() * times > 4000) break;
        for (std::size_t i = 0; i < times; ++i)
            replace(pieces, {at, at}, part);
        break;
    }
    default: { // two pieces change places
        const std::size_t first = find(random, pieces, any);
        std::swap(pieces[first], pieces[below(random, pieces.size())]);
        break;
    }
    }
}

std::size_t give(const std::string& text, std::uint8_t* data, std::size_t maxSize) {
    const std::size_t size = std::min(text.size(), maxSize);
    std::memcpy(data, text.data(), size);
    return size;
}

} // namespace
} // namespace msl::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    using namespace msl::fuzz;
    Random random(seed);
    if (below(random, 8) == 0) return LLVMFuzzerMutate(data, size, maxSize);
    const std::string text(reinterpret_cast<const char*>(data), size);
    Pieces pieces = cut(text);
    const std::size_t count = 1 + below(random, 3);
    for (std::size_t i = 0; i < count; ++i)
        mutate(random, pieces);
    return give(join(pieces), data, maxSize);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* first, std::size_t firstSize,
                                                 const std::uint8_t* second, std::size_t secondSize, std::uint8_t* out,
                                                 std::size_t maxOutSize, unsigned seed) {
    using namespace msl::fuzz;
    Random random(seed);
    const std::string_view left(reinterpret_cast<const char*>(first), firstSize);
    const std::string_view right(reinterpret_cast<const char*>(second), secondSize);
    Pieces pieces = cut(left);
    const Pieces others = cut(right);
    if (pieces.empty() || others.empty()) return give(std::string(right), out, maxOutSize);
    const Pieces part = copyOf(others, stretch(random, others));
    if (below(random, 2) == 0) {
        replace(pieces, stretch(random, pieces), part);
    } else { // between two declarations
        const Range declaration = anyOf(random, parts(pieces, {0, pieces.size()}, false));
        replace(pieces, {declaration.end, declaration.end}, part);
    }
    return give(join(pieces), out, maxOutSize);
}
