// Copies a declaration as the parser left it, for the instances of templates: every node below it is new, only
// identifiers and texts are shared. Not for trees that sema has been through.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/source/Arena.h"

#include <vector>

namespace msl {

FunctionDecl* clone(Arena& arena, const FunctionDecl& function);
VarDecl* clone(Arena& arena, const VarDecl& variable);
StructDecl* clone(Arena& arena, const StructDecl& structure);
TypeSyntax* clone(Arena& arena, const TypeSyntax* type);
Expr* clone(Arena& arena, const Expr* expression);

// Every name that is written in it, in order and as often as it is.
void namesIn(Arena& arena, const Expr* expression, std::vector<const Identifier*>& names);
void namesIn(Arena& arena, const TypeSyntax* type, std::vector<const Identifier*>& names);
void namesIn(Arena& arena, const FunctionDecl& function, std::vector<const Identifier*>& names);

} // namespace msl
