// Copies a declaration as the parser left it, for the instances of templates: every node below it is new, only
// identifiers and texts are shared. Not for trees that sema has been through.
#pragma once

#include "MSL/ast/Ast.h"
#include "MSL/source/Arena.h"

namespace msl {

FunctionDecl* clone(Arena& arena, const FunctionDecl& function);
StructDecl* clone(Arena& arena, const StructDecl& structure);
TypeSyntax* clone(Arena& arena, const TypeSyntax* type);
Expr* clone(Arena& arena, const Expr* expression);

} // namespace msl
