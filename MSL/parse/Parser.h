// Source text to syntax tree. The parser resolves no names; it only keeps track of which names are types and templates
// in the visible scopes, because the grammar depends on it. It recovers from errors at statement and declaration level
// and reports several in one go; a tree always results.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Identifier.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/SourceManager.h"
#include "MSL/source/WorkLimit.h"

namespace msl {

TranslationUnit* parse(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics,
                       WorkLimit& limit);

} // namespace msl
