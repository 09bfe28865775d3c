#pragma once

// What an editor may offer at a place of a shader, best first, and what it can say about a name: the library's, the
// host's and the file's functions with their signatures, types, keywords, members behind a dot, attributes, directives.
// Pure functions over a SymbolIndex; the thread that owns it. Nothing to offer is an empty list.

#include "GlassHobCore/code/SymbolIndex.h"

namespace glasshob {

struct Completion {
    Symbol symbol;
    // Which letters of the name were typed.
    std::vector<int> matched;
    int rank = 0;
    // How many functions of this name there are beside the one shown.
    int others = 0;
};

struct Completions {
    enum class Context : std::uint8_t { none, name, member, space, attribute, directive, preprocessor };
    Context context = Context::none;
    // The columns that an accepted name takes the place of.
    int from = 0, to = 0;
    QString typed;
    std::vector<Completion> items;
    // Whether they may be shown without being asked for.
    bool comesByItself = false;
};

// What comes into the text when a completion is accepted, and where the caret then stands in it.
struct Insertion {
    QString text;
    int caret = 0;
    // Whether a closing bracket stands behind the caret that was not there before.
    bool closes = false;
};

namespace CodeCompletion {

inline constexpr std::size_t mostItems = 200;

// `isAsked`: the person wants a list, however little was typed.
Completions complete(const SymbolIndex& index, int line, int column, bool isAsked);
// `after` is the text of the line behind the place.
Insertion insertion(const Symbol& symbol, Completions::Context context, QStringView after);

// Everything known under the name at a place: the overloads of a function one by one.
std::vector<Symbol> describe(const SymbolIndex& index, int line, int column);

// The call whose brackets a place stands in.
struct Call {
    std::vector<Symbol> functions;
    int argument = 0;
    // Where its opening bracket stands.
    SymbolIndex::Place opening;
};
std::optional<Call> callAround(const SymbolIndex& index, int line, int column);

// How well a name fits what was typed: nothing where it does not. Letters may be left out between words ("tpg" fits
// thread_position_in_grid).
struct Fit {
    int rank = 0;
    std::vector<int> matched;
};
std::optional<Fit> fit(QStringView typed, QStringView name);

} // namespace CodeCompletion
} // namespace glasshob
