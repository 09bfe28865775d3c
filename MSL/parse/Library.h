// The part of the library that is written in the language itself, for texts that name it.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/lex/Identifier.h"
#include "MSL/source/Diagnostics.h"
#include "MSL/source/WorkLimit.h"

namespace msl {

// Its declarations when the text, which has been parsed with these identifiers, has the name of one; else none. They
// stand nowhere in the text, and belong to no scope until sema puts them there.
std::span<Decl*> parseLibrary(IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics, WorkLimit& limit);

} // namespace msl
