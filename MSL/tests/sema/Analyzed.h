// One text taken through the parser and sema, for the tests.
#pragma once

#include "MSL/parse/Parser.h"
#include "MSL/sema/Sema.h"

#include <string>

namespace msl {

struct Analyzed {
    explicit Analyzed(std::string source)
        : text(std::move(source)), sources(text, "t", 0, 0), identifiers(arena), diagnostics(sources),
          limit(std::chrono::milliseconds(0)), types(arena) {
        unit = parse(sources, identifiers, arena, diagnostics, limit);
        analyze(*unit, types, identifiers, arena, diagnostics, limit);
    }

    std::string errors() const { return diagnostics.hasErrors() ? toText(diagnostics.messages()) : std::string(); }
    std::string warnings() const { return diagnostics.hasErrors() ? std::string() : toText(diagnostics.messages()); }

    // The variable of that name, wherever it is declared; null when there is none.
    const VarDecl* variable(std::string_view name) const;

    std::string text;
    Arena arena;
    SourceManager sources;
    IdentifierTable identifiers;
    Diagnostics diagnostics;
    WorkLimit limit;
    TypeTable types;
    TranslationUnit* unit = nullptr;
};

// The first fault in what sema promises about a tree without errors (every expression typed, every conversion made,
// arguments filled in); empty when it keeps its word.
std::string checkTree(const TranslationUnit& unit);

} // namespace msl
