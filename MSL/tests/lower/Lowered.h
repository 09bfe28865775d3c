// Runs a text through the front end and lowering, for tests: the module, its text, or the messages.
#pragma once

#include "MSL/ir/Ir.h"
#include "MSL/lex/Identifier.h"
#include "MSL/lower/Lower.h"
#include "MSL/parse/Parser.h"
#include "MSL/passes/IndexChecks.h"
#include "MSL/sema/Sema.h"
#include "MSL/source/SourceManager.h"

#include <chrono>
#include <string>

namespace msl::test {

struct Lowered {
    explicit Lowered(std::string text)
        : source("#include <metal_stdlib>\nusing namespace metal;\n" + std::move(text)),
          sources(source, "test.metal", 0, 0), diagnostics(sources), identifiers(arena),
          limit(std::chrono::milliseconds(0)) {
        TranslationUnit* unit = parse(sources, identifiers, arena, diagnostics, limit);
        if (!diagnostics.hasErrors()) analyze(*unit, module.types, identifiers, arena, diagnostics, limit);
        if (!diagnostics.hasErrors()) lower(*unit, module, diagnostics, limit);
        if (diagnostics.hasErrors()) errors = toText(diagnostics.messages());
        if (errors.empty()) fault = ir::verify(module);
    }

    // One function's text, from its header to its closing brace.
    std::string function(std::string_view name) const {
        const std::string all = ir::toText(module);
        const std::size_t begin = all.find("function " + std::string(name) + "#");
        return begin == std::string::npos ? std::string() : all.substr(begin, all.find("\n}\n", begin) + 3 - begin);
    }

    std::string source;
    Arena arena;
    SourceManager sources;
    Diagnostics diagnostics;
    IdentifierTable identifiers;
    WorkLimit limit;
    ir::Module module;
    std::string errors;
    std::string fault;
};

} // namespace msl::test
