#include "MSL/FrontEnd.h"

#include "MSL/ast/Ast.h"
#include "MSL/lex/Identifier.h"
#include "MSL/lower/Lower.h"
#include "MSL/parse/Library.h"
#include "MSL/parse/Parser.h"
#include "MSL/passes/EntryFacts.h"
#include "MSL/passes/IndexChecks.h"
#include "MSL/passes/OpenArrays.h"
#include "MSL/passes/UnusedInputs.h"
#include "MSL/sema/Sema.h"

namespace msl {

void verifyAfter([[maybe_unused]] std::string_view pass, [[maybe_unused]] const ir::Module& module,
                 [[maybe_unused]] Diagnostics& diagnostics) {
#ifdef MSL_VERIFY_IR
    const std::string fault = ir::verify(module);
    if (!fault.empty())
        diagnostics.internalError(SourceLocation::atOffset(0), "after " + std::string(pass) + ": " + fault);
#endif
}

bool isOver(WorkLimit& limit, Diagnostics& diagnostics) {
    limit.lookAtClock();
    if (limit.exceeded() && !diagnostics.hasErrors())
        diagnostics.error(limit.place(), "this text takes too long to compile");
    return limit.exceeded();
}

std::unique_ptr<ir::Module> translate(SourceManager& sources, Diagnostics& diagnostics, WorkLimit& limit,
                                      const LowerOptions& options) {
    const auto tooMuchWork = [&] { return isOver(limit, diagnostics); };
    auto module = std::make_unique<ir::Module>(&limit);
    Arena arena(&limit); // of the tree

    // Text to tree. The preprocessor feeds the parser token by token, so these two are one pass over the text.
    IdentifierTable identifiers(arena);
    TranslationUnit* unit = parse(sources, identifiers, arena, diagnostics, limit);
    if (!tooMuchWork()) unit->library = parseLibrary(identifiers, arena, diagnostics, limit);

    // Names, types and conversions. Runs after syntax errors too, for the messages about the parts that were
    // understood.
    if (!tooMuchWork()) analyze(*unit, module->types, identifiers, arena, diagnostics, limit);
    if (tooMuchWork() || diagnostics.hasErrors()) return nullptr;

    // Tree to IR: only from a tree without errors, so that lowering need not doubt it. Pointers end here.
    lower(*unit, *module, diagnostics, limit, options);
    if (tooMuchWork() || diagnostics.hasErrors()) return nullptr;
    verifyAfter("lowering", *module, diagnostics);

    // What hosts ask of an entry point, while every call is in its place.
    findEntryFacts(*module);

    // Before the index checks, which cost something for each place that is left.
    dropUnusedInputs(*module);
    verifyAfter("leaving out unused inputs", *module, diagnostics);
    if (tooMuchWork()) return nullptr;

    // Before the index checks, which would keep indexes inside the one element that is declared.
    openArrays(*module);
    verifyAfter("opening the arrays at the ends of buffers", *module, diagnostics);

    // Before any writer, so that every writer's output is safe.
    checkIndexes(*module);
    verifyAfter("the index checks", *module, diagnostics);
    if (tooMuchWork()) return nullptr;
    module->arena.countWith(nullptr); // the module may outlive the limit
    return module;
}

} // namespace msl
