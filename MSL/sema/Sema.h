// Semantic analysis: resolves every name, overload and conversion of a syntax tree and types it in place, as Ast.h
// describes. Reports what is wrong in clang's wording; lowering runs only on a tree without errors.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Identifier.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/WorkLimit.h"

namespace msl {

void analyze(TranslationUnit& unit, TypeTable& types, IdentifierTable& identifiers, Arena& arena,
             Diagnostics& diagnostics, WorkLimit& limit);

} // namespace msl
